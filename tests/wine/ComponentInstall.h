// An installation of component modules: a folder and a registry root of its own, and what a process makes of them.
#pragma once

#include <windows.h>

#include <atomic>
#include <string>
#include <string_view>

#include "composition/TrustRuntime.h"
#include "tests/samples/components/Probe.h"
#include "tslib/IInstanceFactory.h"
#include "tslib/Isolation.h"
#include "tslib/TrustVerifierFactory.h"
#include "tslib/tsInstanceFactory.h"
#include "tslib/tsPathExpansion.h"
#include "tslib/tsVaneInstanceFactoryImpl.h"
#include "tslib/tsVaneObjectRepository.h"
#include "tslib/tsVaneSettingsStoreLoader.h"

namespace tests {

// The folder, with isolate.ini, and the registry root with %TSROOTX64% for it. No module is installed. Everything is
// removed at the end, which fails while a file is still open.
class ComponentInstall {
public:
    ComponentInstall();
    ~ComponentInstall();
    ComponentInstall(const ComponentInstall&) = delete;
    ComponentInstall& operator=(const ComponentInstall&) = delete;

    // Ends in a backslash.
    [[nodiscard]] const std::u16string& Folder() const { return folder_; }
    // Copies a signed sample, or a module of the staged product, into the folder; its full path.
    std::u16string PutSample(const std::u16string& sample, const std::u16string& name);
    std::u16string PutProduct(const std::u16string& name);
    void Remove(const std::u16string& name);

    // An InProc64 value, below the registry's list of objects or below the settings store's.
    void PutObject(const std::u16string& id, std::u16string_view path) { Put(u"OBJID\\" + id, path); }
    void PutSetting(const std::u16string& id, std::u16string_view path) {
        Put(u"Settings\\Tessel\\OBJID\\" + id, path);
    }
    // The key below the root, with an InProc64 of any type and content.
    void PutRaw(const std::u16string& key, DWORD type, std::string_view bytes);
    void Put(const std::u16string& key, std::u16string_view path);
    void PutKey(const std::u16string& key);
    // Many entries at once, with different ids and the same path: below "OBJID", say.
    void PutMany(const std::u16string& list, std::uint32_t count, std::u16string_view path);

private:
    void Copy(const std::u16string& from, const std::u16string& to);

    std::u16string folder_;
    HKEY root_ = nullptr;
};

[[nodiscard]] bool IsLoaded(const std::u16string& path);
// The full path of the loaded module that an address lies in.
[[nodiscard]] std::u16string ModuleOf(const void* address);

// The components' side of one process of the installation. The library's own module counts as lying in the folder.
class ComponentProcess {
    using Platform = HVR::Win32Platform;
    Platform& platform_ = Platform::Instance();

    class ModulesIn final : public tsLib::platform::Modules {
    public:
        explicit ModulesIn(const std::u16string& folder) : path_(folder + u"library.dll") {}
        [[nodiscard]] tsLib::platform::ModuleHandle Own() const noexcept override {
            return tsLib::platform::ModuleHandle{1};
        }
        tsLib::platform::SystemError FileName(tsLib::platform::ModuleHandle, std::size_t,
                                              std::u16string& path) override {
            path = path_;
            return tsLib::platform::SystemError::Success;
        }

    private:
        std::u16string path_;
    };
    // Counts how often the registry's list of objects is opened.
    class WatchedRegistry final : public tsLib::platform::RegistryReader {
    public:
        explicit WatchedRegistry(tsLib::platform::RegistryReader& target) : target_(target) {}
        tsLib::platform::SystemError OpenKey(tsLib::platform::RegistryRoot root, const std::u16string& path,
                                             std::uint32_t access, tsLib::platform::RegistryKey& key) override {
            loads += path.ends_with(u"\\OBJID") ? 1U : 0U;
            return target_.OpenKey(root, path, access, key);
        }
        tsLib::platform::SystemError OpenSubkey(tsLib::platform::RegistryKey parent, const std::u16string& path,
                                                std::uint32_t access, tsLib::platform::RegistryKey& key) override {
            return target_.OpenSubkey(parent, path, access, key);
        }
        tsLib::platform::SystemError ReadValue(tsLib::platform::RegistryKey key, const std::u16string& name,
                                               tsLib::platform::RegistryValue& value) override {
            return target_.ReadValue(key, name, value);
        }
        void CloseKey(tsLib::platform::RegistryKey key) noexcept override { target_.CloseKey(key); }

        std::atomic<unsigned> loads{0};

    private:
        tsLib::platform::RegistryReader& target_;
    };
    class Verifiers final : public tsLib::TrustVerifierFactory {
    public:
        explicit Verifiers(HVR::TrustRuntime& trust) : trust_(trust) {}
        [[nodiscard]] tsLib::IVerifyTrust* Create() noexcept override;

    private:
        HVR::TrustRuntime& trust_;
    };

public:
    explicit ComponentProcess(const ComponentInstall& install) : modules_(install.Folder()) { slot.Install(&factory); }

    // Creates an object and releases it.
    tsLib::VaneResult Create(const tsLib::ObjectId& id, const tsLib::InterfaceId& interfaceId = tsLib::kIVaneBaseId) {
        tsLib::VaneRef<tsLib::IVaneBase> object;
        return slot.Create(id, interfaceId, object);
    }
    tsLib::VaneResult CreateProbe(tsLib::VaneRef<IComponentProbe>& probe) {
        return slot.Create(kProbeId, kIComponentProbeId, probe);
    }
    // The module that the probe comes from; empty when it cannot be made.
    std::u16string ProbeModule() {
        tsLib::VaneRef<IComponentProbe> probe;
        return Succeeded(CreateProbe(probe)) ? ModuleOf(probe->Address()) : std::u16string();
    }
    // How often the repository was loaded since the last call.
    unsigned TakeLoads() { return registry_.loads.exchange(0); }

private:
    ModulesIn modules_;
    WatchedRegistry registry_{platform_.registry};
    tsLib::Isolation isolation_{
        {modules_, platform_.pathForms, platform_.files, platform_.registry, platform_.textRules, platform_.trace}};
    HVR::TrustRuntime trust_{platform_, isolation_};
    Verifiers verifiers_{trust_};

public:
    const tsLib::tsVaneTrustedModuleLoader::Seam seam{platform_.moduleLoader, platform_.files, platform_.trace};
    tsLib::tsPathExpansion expansion{
        {platform_.registry, platform_.knownFolders, platform_.pathForms, platform_.textRules, platform_.trace},
        isolation_};
    // Destroyed after whoever holds components: it leaves a module loaded that still has live objects.
    tsLib::tsInstanceFactory cache{platform_.moduleLoader, verifiers_, platform_.trace};
    tsLib::tsVaneSettingsStoreLoader store{seam, expansion};
    tsLib::tsVaneObjectRepository repository{
        {registry_, platform_.registry, platform_.trace}, isolation_, expansion, store};
    tsLib::tsVaneInstanceFactoryImpl factory{nullptr, repository, cache, seam, expansion};
    tsLib::InstanceFactorySlot slot;
};

}  // namespace tests
