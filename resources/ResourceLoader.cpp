// The search for the resource module.
#include "resources/ResourceLoader.h"

#include <utility>

#include "resources/ProductKey.h"
#include "resources/ResourcePaths.h"
#include "tslib/RegistryText.h"
#include "tslib/platform/Boundary.h"

namespace HVR {

using tsLib::HResult;
using tsLib::platform::ModuleHandle;
using tsLib::platform::SystemError;

namespace {

constexpr std::uint32_t kDefaultLocale = 1033;
constexpr std::size_t kLongestInstallDir = 259;

constexpr std::size_t kFirstPathSize = 1024;
constexpr std::size_t kSecondPathSize = 2048;
constexpr std::size_t kPathSizeStep = 512;
constexpr std::size_t kPathSizeLimit = 8192;

}  // namespace

CResourceLoader::CResourceLoader(const tsLib::platform::Platform& platform, ModuleHandle callingModule,
                                 std::u16string fileName, tsLib::TrustVerifiers& verifiers,
                                 const tsLib::Components& components)
    : callingModule_(callingModule),
      fileName_(std::move(fileName)),
      platform_(platform),
      verifiers_(verifiers),
      components_(components),
      log_(platform.desktop),
      tracer_(platform.trace) {}

CResourceLoader::~CResourceLoader() { static_cast<void>(CResourceLoader::Unload()); }

HResult CResourceLoader::Unload() noexcept {
    if (module_ == ModuleHandle{}) {
        return HResult::Ok;
    }
    return tsLib::FromSystemError(platform_.modules.UnmapResources(std::exchange(module_, ModuleHandle{})));
}

std::u16string_view CResourceLoader::GetRegistryKeyPath() const noexcept { return kProductKey; }

std::u16string_view CResourceLoader::GetRegistryValueName() const noexcept { return u"Home Directory"; }

std::uint16_t CResourceLoader::GetLanguageId() const noexcept { return platform_.desktop.SystemLanguage(); }

HResult CResourceLoader::Initialize(bool reportFailure) noexcept {
    const auto caught = [&](std::u16string_view sentence, HResult result) {
        log_.Sentence(sentence);
        return result;
    };
    return tsLib::AtBoundary(
        [&] {
            return caught(u"CResourceLoader::Initialize failed, std::bad_alloc exception caught.",
                          HResult::OutOfMemory);
        },
        [&] { return caught(u"CResourceLoader::Initialize failed, unknown exception caught.", HResult::Unexpected); },
        [&] { return FindAndLoad(reportFailure); });
}

HResult CResourceLoader::FindAndLoad(bool reportFailure) {
    if (module_ != ModuleHandle{}) {
        return HResult::Ok;
    }
    const bool canSearch = !fileName_.empty() && callingModule_ != ModuleHandle{};
    if (!canSearch && givenPath_.empty()) {
        log_.Sentence(u"CResourceLoader::Initialize - invalid arguments to ctor.");
        return HResult::Fail;
    }
    if (!SetBinaryModulePath()) {
        log_.Sentence(u"CResourceLoader::Initialize - SetBinaryModulePath failed.");
        return HResult::Fail;
    }
    refused_ = false;
    HResult result = HResult::Fail;
    if (!givenPath_.empty()) {
        result = Load(givenPath_, 0);
    }
    if (Failed(result) && canSearch) {
        result = Search();
    }
    if (Succeeded(result)) {
        return HResult::Ok;
    }
    log_.Sentence({u"CResourceLoader::Initialize failed to load resources from any search location: ", fileName_});
    if (reportFailure) {
        ReportFailedSearch(result);
        return HResult::Fail;
    }
    return refused_ ? HResult::SignatureRefused : result;
}

HResult CResourceLoader::Search() {
    std::u16string installDir;
    if (Succeeded(GetInstallDir(installDir))) {
        const std::optional<SearchBasis> basis = BasisOf(installDir);
        if (basis && LoadKnown(*basis)) {
            return HResult::Ok;
        }
        known_.reset();
        hasMissed_ = false;
        LocaleList sameLanguage;
        LocaleList otherLanguages;
        if (Succeeded(LoadResUsingExactLocale(installDir, sameLanguage, otherLanguages)) ||
            Succeeded(LoadResUsingLocaleList(installDir, sameLanguage)) ||
            Succeeded(LoadResUsingDefaultLocale(installDir)) ||
            Succeeded(LoadResUsingLocaleList(installDir, otherLanguages))) {
            if (basis) {
                Remember(*basis);
            }
            return HResult::Ok;
        }
    }
    return LoadResFromModuleDir();
}

bool CResourceLoader::SetBinaryModulePath() {
    return tsLib::AtBoundary(false, [&] {
        SystemError error = SystemError::InsufficientBuffer;
        for (std::size_t size = kFirstPathSize; error == SystemError::InsufficientBuffer && size < kPathSizeLimit;
             size = size < kSecondPathSize ? kSecondPathSize : size + kPathSizeStep) {
            error = platform_.modules.FileName(callingModule_, size, binaryPath_);
        }
        return Succeeded(error);
    });
}

HResult CResourceLoader::GetInstallDir(std::u16string& directory) {
    std::uint32_t access = tsLib::platform::kKeyQueryValue;
    access |= UseRegistry64View() ? tsLib::platform::kKeyView64 : 0;
    access |= UseRegistry32View() ? tsLib::platform::kKeyView32 : 0;
    tsLib::platform::OwnedRegistryKey key(platform_.registry);
    if (Failed(platform_.registry.OpenKey(tsLib::platform::RegistryRoot::LocalMachine,
                                          std::u16string(GetRegistryKeyPath()), access, key.Receive()))) {
        log_.Sentence(u"CResourceLoader::GetInstallDir - failed to open registry.");
        return HResult::Fail;
    }
    std::u16string value;
    SystemError error = tsLib::ReadText(platform_.registry, key.Get(), std::u16string(GetRegistryValueName()), value);
    // A value that is no text, or no full path: modules must not come from wherever the host's current directory is.
    if (error == SystemError::UnsupportedType || (Succeeded(error) && !IsFullPath(value))) {
        error = SystemError::InvalidData;
    } else if (Succeeded(error) && value.size() > kLongestInstallDir) {
        error = SystemError::MoreData;
    }
    if (Failed(error)) {
        log_.Sentence(error == SystemError::InvalidData
                          ? u"CResourceLoader::GetInstallDir - failed to read registry: ERROR_INVALID_DATA."
                          : u"CResourceLoader::GetInstallDir - failed to read registry.");
        return HResult::Fail;
    }
    directory = WithoutBinariesFolder(value);
    return HResult::Ok;
}

std::uint32_t CResourceLoader::LocaleOf(const tsLib::platform::FoundEntry& entry) const noexcept {
    const auto localeId = static_cast<std::uint32_t>(LeadingNumber(entry.name));
    const bool isLanguage = (entry.attributes & tsLib::platform::kAttributeDirectory) != 0 && localeId != 0 &&
                            platform_.desktop.IsLocale(localeId);
    return isLanguage ? localeId : 0;
}

// The lists hold what was met before an exact match; a match that fails to load is not made up for by what comes after
// it in the enumeration.
HResult CResourceLoader::LoadResUsingExactLocale(std::u16string_view installDir, LocaleList& sameLanguage,
                                                 LocaleList& otherLanguages) {
    tsLib::platform::OwnedSearch search(platform_.files);
    tsLib::platform::FoundEntry entry;
    SystemError error = platform_.files.FindFirst(ResourceRoot(installDir) + u"*.*", search.Receive(), entry);
    if (Failed(error)) {
        hasMissed_ = true;  // what is there was not seen
        log_.Sentence(u"CResourceLoader::LoadResUsingExactLocale - invalid handle.");
        return HResult::FileNotFound;
    }
    const Language wanted = LanguageOf(GetLanguageId());
    for (; Succeeded(error); error = platform_.files.FindNext(search.Get(), entry)) {
        const std::uint32_t localeId = LocaleOf(entry);
        if (localeId == 0) {
            continue;
        }
        const Language language = LanguageOf(localeId);
        if (language == wanted) {
            std::u16string candidate = CandidatePath(installDir, localeId, fileName_);
            if (FileExists(candidate)) {
                search.Reset();
                const HResult result = Load(std::move(candidate), language.primary);
                if (result == HResult::FileNotFound) {
                    log_.Sentence(u"CResourceLoader::LoadResUsingExactLocale failed to load resource DLL.");
                }
                return result;
            }
        } else if (language.primary == wanted.primary) {
            sameLanguage.push_back(localeId);
        } else {
            otherLanguages.push_back(localeId);
        }
    }
    hasMissed_ = hasMissed_ || error != SystemError::NoMoreFiles;
    return HResult::FileNotFound;
}

HResult CResourceLoader::LoadResUsingLocaleList(std::u16string_view installDir, const LocaleList& list) {
    HResult result = HResult::Fail;
    for (const std::uint32_t localeId : list) {
        std::u16string candidate = CandidatePath(installDir, localeId, fileName_);
        if (FileExists(candidate)) {
            result = Load(std::move(candidate), LanguageOf(localeId).primary);
            if (Succeeded(result)) {
                break;
            }
        }
    }
    return result;
}

HResult CResourceLoader::LoadResUsingDefaultLocale(std::u16string_view installDir) {
    std::u16string candidate = CandidatePath(installDir, kDefaultLocale, fileName_);
    return FileExists(candidate) ? Load(std::move(candidate), LanguageOf(kDefaultLocale).primary)
                                 : HResult::FileNotFound;
}

HResult CResourceLoader::LoadResFromModuleDir() {
    auto candidate = PathBeside(binaryPath_, fileName_);
    return candidate && FileExists(*candidate) ? Load(*std::move(candidate), 0) : HResult::FileNotFound;
}

// A folder of that name is no file.
bool CResourceLoader::FileExists(const std::u16string& path) {
    tsLib::platform::OwnedSearch search(platform_.files);
    tsLib::platform::FoundEntry entry;
    const bool exists = Succeeded(platform_.files.FindFirst(path, search.Receive(), entry)) &&
                        (entry.attributes & tsLib::platform::kAttributeDirectory) == 0;
    hasMissed_ = hasMissed_ || !exists;
    return exists;
}

HResult CResourceLoader::Load(std::u16string path, std::uint16_t language) {
    path_ = std::move(path);
    const HResult result = LoadTrustedDll(path_, module_);
    if (Succeeded(result)) {
        loadedLanguage_ = language;
    }
    hasMissed_ = hasMissed_ || Failed(result);
    // A refusal must not be hidden by a later place that fails otherwise or where there is just no file.
    refused_ = refused_ || result == HResult::SignatureRefused;
    return result;
}

}  // namespace HVR
