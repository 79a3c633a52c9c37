// Finds, verifies and loads the resource module of the machine's language.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "resources/DebugLog.h"
#include "resources/DisableAutoProtect.h"
#include "resources/FailureBox.h"
#include "resources/IResourceLoader.h"
#include "resources/KnownModule.h"
#include "tslib/IComponentSource.h"
#include "tslib/Tracer.h"
#include "tslib/TrustVerifiers.h"
#include "tslib/VerifiedLoad.h"
#include "tslib/platform/Platform.h"

namespace HVR {

// Not locked; see IResourceLoader. Operations that are not noexcept may throw std::bad_alloc and nothing else.
class CResourceLoader : public IResourceLoader {
public:
    // `callingModule` is the module that the strings are for; `fileName` names the resource module without a folder.
    // What is passed outlives the loader.
    CResourceLoader(const tsLib::platform::Platform& platform, tsLib::platform::ModuleHandle callingModule,
                    std::u16string fileName, tsLib::TrustVerifiers& verifiers, const tsLib::Components& components);
    CResourceLoader(const CResourceLoader&) = delete;
    CResourceLoader& operator=(const CResourceLoader&) = delete;

    // The order of the virtual operations, those of IResourceLoader first, is fixed.
    ~CResourceLoader() override;
    [[nodiscard]] tsLib::platform::ModuleHandle GetResourceModule() const noexcept override { return module_; }
    // Fail for missing constructor arguments, for an unknown path of the calling module, and for every failed search
    // with reportFailure. Without it the search's own code: SignatureRefused when a module was refused, or else the
    // last one, FileNotFound when no module is there. OutOfMemory when memory ran out.
    tsLib::HResult Initialize(bool reportFailure) noexcept override;
    tsLib::HResult Unload() noexcept override;
    [[nodiscard]] const std::u16string& GetResourceDllName() const noexcept override { return fileName_; }
    [[nodiscard]] bool FormatString(std::uint32_t id, std::u16string& out,
                                    std::span<const std::u16string> inserts) noexcept override;
    [[nodiscard]] bool LoadString(std::uint32_t id, std::u16string& out) noexcept override;
    [[nodiscard]] bool LoadString(std::uint32_t id, std::string& out) noexcept override;
    // The directory above res\, from the registry. Fail, with `directory` untouched, when it cannot be read, is longer
    // than 259 characters or is not a full path.
    virtual tsLib::HResult GetInstallDir(std::u16string& directory);
    // Below HKEY_LOCAL_MACHINE.
    [[nodiscard]] virtual std::u16string_view GetRegistryKeyPath() const noexcept;
    [[nodiscard]] virtual bool UseRegistry64View() const noexcept { return false; }
    [[nodiscard]] virtual bool UseRegistry32View() const noexcept { return false; }
    [[nodiscard]] virtual std::u16string_view GetRegistryValueName() const noexcept;
    // The locale identifier that an entry of res\ stands for; 0 for what is no language's folder.
    [[nodiscard]] std::uint32_t LocaleOf(const tsLib::platform::FoundEntry& entry) const noexcept;
    // The language to look for.
    [[nodiscard]] virtual std::uint16_t GetLanguageId() const noexcept;

    // Gives the full path of the module from outside. Initialize tries it before it searches; with it the loader
    // needs neither a calling module nor a file name, and without those it does not search.
    void SetResourceModulePath(std::u16string path) noexcept { givenPath_ = std::move(path); }

    // Keeps the box about a failure for who shows it later; it outlives the loader. Without one Initialize shows it.
    void LeaveBoxTo(FailureBox& box) noexcept { box_ = &box; }

    // Loads a module that the trust verifier does not refuse, with real-time protection suspended while it is mapped.
    // Fail for an empty path, SignatureRefused when the file is refused or cannot be verified at all, or the platform's
    // error, also that of holding the file meanwhile. `module` is untouched on failure; the caller owns it.
    tsLib::HResult LoadTrustedDll(const std::u16string& path, tsLib::platform::ModuleHandle& module);
    // Ok when the file may be loaded, SignatureRefused when its signature is refused, Fail without a verifier.
    tsLib::HResult VerifyTrust(const std::u16string& path) noexcept;

    // The module found last, and the primary language of the one loaded; 0 for one that lay in no language's folder.
    [[nodiscard]] const std::u16string& ResourceModulePath() const noexcept { return path_; }
    [[nodiscard]] std::uint16_t LoadedLanguage() const noexcept { return loadedLanguage_; }
    // What the last reported failure found.
    [[nodiscard]] bool DisplayVisible() const noexcept { return displayVisible_; }

private:
    using LocaleList = std::vector<std::uint32_t>;

    tsLib::HResult FindAndLoad(bool reportFailure);
    tsLib::HResult Search();
    [[nodiscard]] bool SetBinaryModulePath();
    tsLib::HResult LoadResUsingExactLocale(std::u16string_view installDir, LocaleList& sameLanguage,
                                           LocaleList& otherLanguages);
    tsLib::HResult LoadResUsingLocaleList(std::u16string_view installDir, const LocaleList& list);
    tsLib::HResult LoadResUsingDefaultLocale(std::u16string_view installDir);
    tsLib::HResult LoadResFromModuleDir();
    [[nodiscard]] bool FileExists(const std::u16string& path);
    tsLib::HResult Load(std::u16string path, std::uint16_t language);
    // VerifyTrust of the file by that name, which the log calls by its path.
    tsLib::HResult Judge(const std::u16string& name, const std::u16string& path, bool& isTrusted) noexcept;
    // Runs the mapping of a module, and nothing else, with protection suspended.
    template <class Mapping>
    tsLib::platform::SystemError Suspended(Mapping&& map) {
        const auto control = ProtectionControl();
        const tsVane::CDisableAutoProtect guard(control.Get(), true, platform_.trace);
        return map();
    }
    [[nodiscard]] tsLib::VaneRef<tsLib::IProtectionControl> ProtectionControl();

    // Nothing when it cannot be known.
    [[nodiscard]] std::optional<SearchBasis> BasisOf(const std::u16string& installDir);
    // Whether what the last search found is loaded again.
    [[nodiscard]] bool LoadKnown(const SearchBasis& basis);
    // Keeps what a trusted module was mapped from, and after the search what the module was found by. Without memory
    // for that the next search is a whole one.
    void Observe(const tsLib::VerifiedLoad& file, tsLib::platform::ModuleHandle module) noexcept;
    void Remember(const SearchBasis& basis) noexcept;
    [[nodiscard]] bool IsLasting(const SearchBasis& basis);

    void LogLoaded(const std::u16string& path) noexcept;
    void LogLoadFailure(std::u16string_view what, tsLib::HResult code, const std::u16string& path) noexcept;

    void ReportFailedSearch(tsLib::HResult last);
    [[nodiscard]] bool IsDisplayVisible() noexcept;
    void ReportLoadFailure(tsLib::HResult code);

    // Whether the body succeeds. If not, or if it throws, the sentence is logged.
    template <class Body>
    [[nodiscard]] bool OrLog(std::u16string_view sentence, Body&& body) noexcept;

    tsLib::platform::ModuleHandle module_{};
    tsLib::platform::ModuleHandle callingModule_;
    std::u16string fileName_;
    std::u16string path_;
    std::u16string binaryPath_;
    bool displayVisible_ = false;
    std::uint16_t loadedLanguage_ = 0;
    std::u16string givenPath_;
    FailureBox* box_ = nullptr;
    bool refused_ = false;    // whether the search has met a module that was refused
    bool hasMissed_ = false;  // whether it has looked for a file in vain, or met a module that could not be loaded
    std::optional<KnownModule> known_;
    std::optional<KnownModule> observed_;  // without a basis yet
    const tsLib::platform::Platform& platform_;
    tsLib::TrustVerifiers& verifiers_;
    const tsLib::Components& components_;
    DebugLog log_;
    tsLib::Tracer tracer_;
};

}  // namespace HVR
