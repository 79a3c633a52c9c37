// An installation with component modules over fakes: the verifier, the settings store, and one sample component.
#pragma once

#include <memory>
#include <string>

#include "companions/settingsstore/SettingsStore.h"
#include "tests/fakes/FakeModuleLoader.h"
#include "tests/fakes/FakeTrustVerifier.h"
#include "tests/tslib/PathWorld.h"
#include "tslib/ComponentModule.h"
#include "tslib/tsInstanceFactory.h"
#include "tslib/tsVaneInstanceFactoryImpl.h"
#include "tslib/tsVaneObjectRepository.h"
#include "tslib/tsVaneSettingsStoreLoader.h"

namespace tests {

inline constexpr tsLib::ObjectId kSampleId{0x11111111, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};
inline constexpr tsLib::ObjectId kOwnId{0x22222222, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};
inline constexpr tsLib::ObjectId kOtherId{0x33333333, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};
inline constexpr tsLib::InterfaceId kISampleId{0xABCDEF00, 1, 2, {1, 2, 3, 4, 5, 6, 7, 8}};

class ISample : public tsLib::IVaneBase {
protected:
    ~ISample() = default;
};
class CSample : public tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, ISample, kISampleId> {};

// The exports of a module: functions without an argument for whose they are, so one type for each module.
template <int number>
struct ModuleExports {
    static inline tsLib::ComponentModule* module = nullptr;
    static tsLib::VaneResult GetFactory(const tsLib::ObjectId& id, tsLib::IFactory** factory) {
        return module->GetFactory(id, factory);
    }
    static std::uint32_t GetObjectCount() { return module->GetObjectCount(); }
    static FakeModuleLoader::Exports Both(tsLib::ComponentModule& of) {
        module = &of;
        return {{"GetFactory", reinterpret_cast<tsLib::platform::EntryPoint>(&GetFactory)},
                {"GetObjectCount", reinterpret_cast<tsLib::platform::EntryPoint>(&GetObjectCount)}};
    }
};

struct ComponentWorld : PathWorld {
    using Handle = tsLib::platform::ModuleHandle;
    inline static const std::u16string kObjects = kHive + u"\\" + kSilo + u"\\OBJID";
    inline static const std::u16string kSettings = kHive + u"\\" + kSilo + u"\\Settings\\Tessel\\OBJID";
    inline static const std::u16string kVerifierPath = u"D:\\Root\\tsVrTrst.dll";
    inline static const std::u16string kStorePath = u"D:\\Root\\tsSet.dll";
    inline static const std::u16string kSamplePath = u"D:\\Root\\sample.dll";

    ComponentWorld() {
        PutToken(u"tsrootx64", u"D:\\Root");
        verifierModule = PutModule(kVerifierPath, ModuleExports<0>::Both(verifierObjects));
        storeModule = PutModule(kStorePath, ModuleExports<1>::Both(storeObjects));
        sampleModule = PutModule(kSamplePath, ModuleExports<2>::Both(sampleObjects));
        slot.Install(&factory);
    }
    Handle PutModule(const std::u16string& path, FakeModuleLoader::Exports exports) {
        files.PutFile(path, "MZ");
        return loader.PutModule(path, std::move(exports));
    }
    void PutObject(const std::u16string& name, std::u16string_view path) {
        registry.PutText(kMachine, kObjects + u"\\" + name, u"InProc64", path, tsLib::platform::kKeyView32);
    }
    void PutObject(const tsLib::ObjectId& id, std::u16string_view path) { PutObject(tsLib::ToText(id), path); }
    void PutSetting(const std::u16string& name, std::u16string_view path) {
        registry.PutText(kMachine, kSettings + u"\\" + name, u"InProc64", path, tsLib::platform::kKeyView32);
    }
    void PutSetting(const tsLib::ObjectId& id, std::u16string_view path) { PutSetting(tsLib::ToText(id), path); }
    void ShareAllFaults() {
        ShareFaults();
        loader.faults = &faults;
    }
    void Remove(const std::u16string& path) {
        files.Remove(path);
        loader.RemoveFile(path);
    }
    // The id's path, or "-" when it is not known.
    std::u16string PathOf(const tsLib::ObjectId& id) {
        std::u16string path = u"untouched";
        return repository.GetModulePath(id, path) ? path : path == u"untouched" ? u"-" : u"touched";
    }
    // How often the registry's list of objects was opened since the last call.
    std::size_t TakeLoads() {
        const auto count = std::count_if(registry.opened.begin(), registry.opened.end(),
                                         [](const auto& opened) { return opened.path == kObjects; });
        registry.opened.clear();
        return static_cast<std::size_t>(count);
    }
    // Creates a sample through the slot and releases it.
    tsLib::VaneResult Create(const tsLib::ObjectId& id = kSampleId) {
        tsLib::VaneRef<ISample> sample;
        return slot.Create(id, kISampleId, sample);
    }

    FakeModuleLoader loader;
    FakeTrustVerifierFactory verifiers;
    tsLib::ComponentModule verifierObjects{
        {{tsLib::kTrustVerifierObjectId, [this](auto&) { return verifiers.Create(); }}}};
    tsLib::ComponentModule storeObjects{
        {{tsLib::kSettingsStoreObjectId, [this](tsLib::ModuleObjectCount& count) {
              return tsLib::MakeCounted<HVR::CSettingsStore>(
                  count, HVR::SettingsStoreSeam{registry, registry, registry, trace, isolation, count});
          }}}};
    tsLib::ComponentModule sampleObjects{{{kSampleId, &tsLib::MakeCounted<CSample>},  //
                                          {kOtherId, &tsLib::MakeCounted<CSample>}}};
    tsLib::ComponentModule ownObjects{{{kOwnId, &tsLib::MakeCounted<CSample>}}};
    Handle verifierModule{};
    Handle storeModule{};
    Handle sampleModule{};

    const tsLib::tsVaneTrustedModuleLoader::Seam seam{loader, files, trace};
    tsLib::tsVaneSettingsStoreLoader store{seam, expansion};
    tsLib::tsVaneObjectRepository repository{{registry, registry, trace}, isolation, expansion, store};
    tsLib::tsInstanceFactory cache{loader, verifiers, trace};
    tsLib::tsVaneInstanceFactoryImpl factory{&ownObjects, repository, cache, seam, expansion};
    tsLib::InstanceFactorySlot slot;
};

}  // namespace tests
