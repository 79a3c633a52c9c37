#include "tslib/tsPathExpansion.h"

#include <set>

#include "tslib/BuiltinFolders.h"
#include "tslib/RegistryText.h"

namespace tsLib {

using platform::Number;
using platform::RegistryRoot;
using platform::SystemError;

namespace {

constexpr std::u16string_view kDefaultVendorFolder = u"Corvane";
constexpr std::size_t kVendorFolderLength = 49;  // what fits a buffer of 50 with its terminator

// One pass gives what repeated replacing of two backslashes by one ends in.
void ReduceBackslashes(std::u16string& text) noexcept {
    std::size_t to = text.starts_with(u"\\\\") ? 2 : 0;  // a UNC prefix survives
    std::size_t from = to;
    while (from < text.size() && to == 2 && text[from] == u'\\') {
        ++from;
    }
    bool afterBackslash = false;
    for (; from < text.size(); ++from) {
        const bool backslash = text[from] == u'\\';
        if (!backslash || !afterBackslash) {
            text[to++] = text[from];
        }
        afterBackslash = backslash;
    }
    text.resize(to);
}

// Every exact occurrence, from left to right. False, with the text as it was, when the result would be too long. The
// token may be a view of the text.
bool ReplaceAll(std::u16string& text, std::u16string_view token, std::u16string_view replacement) {
    std::size_t count = 0;
    for (std::size_t at = text.find(token); at != std::u16string::npos; at = text.find(token, at + token.size())) {
        ++count;
    }
    if (count == 0) {
        return true;
    }
    const std::size_t kept = text.size() - count * token.size();
    if (kept > kMaximumExpandedPath || replacement.size() > (kMaximumExpandedPath - kept) / count) {
        return false;
    }
    std::u16string result;
    result.reserve(kept + count * replacement.size());
    std::size_t from = 0;
    for (std::size_t at = text.find(token); at != std::u16string::npos; at = text.find(token, from)) {
        result.append(text, from, at - from).append(replacement);
        from = at + token.size();
    }
    result.append(text, from);
    text = std::move(result);
    return true;
}

}  // namespace

// Expansions inside an expansion may fail without harm, so their records are no errors.
template <class... Arguments>
bool tsPathExpansion::Fail(const Source& source, TraceEvent event, const Arguments&... arguments) const noexcept {
    if (source.forVendorFolder) {
        tracer_.Verbose(event, arguments...);
    } else {
        tracer_.Error(event, arguments...);
    }
    return false;
}

bool tsPathExpansion::Expand(std::u16string_view input, std::u16string& out) noexcept {
    Source source;
    source.lookup = lookup_.load(std::memory_order_acquire);
    const bool ready = input.data() != nullptr && (source.lookup != nullptr || OpenMap(source));
    return ExpandInto(ready, source, input, out);
}

bool tsPathExpansion::Expand(platform::RegistryKey map, std::uint32_t access, std::u16string_view input,
                             std::u16string& out) noexcept {
    const Source source{lookup_.load(std::memory_order_acquire), map, access, false};
    const bool ready = map != platform::RegistryKey{};
    if (!ready && input.data() != nullptr) {
        (void)Fail(source, TraceEvent::PathMapKeyMissing);
    }
    return ExpandInto(ready, source, input, out);
}

// What is not ready has written its record already.
bool tsPathExpansion::ExpandInto(bool ready, const Source& source, std::u16string_view input,
                                 std::u16string& out) noexcept {
    if (input.data() == nullptr) {
        out.clear();
        return Fail(source, TraceEvent::PathInputMissing);
    }
    std::u16string working;
    try {
        working = input;  // before `out` changes, which the input may be a view of
        out = working;
    } catch (...) {
        out.clear();
        return ready && Fail(source, TraceEvent::PathUnexpectedFailure);
    }
    if (ready && working.size() < 3) {
        return true;  // as it is: the backslashes of a short input are left alone
    }
    bool expanded = false;
    try {
        expanded = ready && ExpandTokens(source, working);
    } catch (...) {
        (void)Fail(source, TraceEvent::PathUnexpectedFailure);
    }
    if (expanded) {
        out = std::move(working);
    }
    ReduceBackslashes(out);
    return expanded;
}

bool tsPathExpansion::OpenMap(Source& source) noexcept {
    if (!isMapOpen_.load(std::memory_order_acquire)) {
        try {
            if (!OpenMapOnce()) {
                return false;
            }
        } catch (...) {
            return Fail(source, TraceEvent::PathUnexpectedFailure);
        }
    }
    source.map = openedMap_.Get();
    source.access = openedMapAccess_;
    return true;
}

bool tsPathExpansion::OpenMapOnce() {
    // This lock is taken before the isolation settings' own, never after it.
    const std::lock_guard lock(mapMutex_);
    if (isMapOpen_.load(std::memory_order_relaxed)) {
        return true;
    }
    const IsolationSettings* settings = nullptr;
    if (const SystemError error = isolation_.Read(&settings); Failed(error)) {
        return Fail({}, TraceEvent::PathMapNotOpened, error, std::u16string_view());
    }
    const std::u16string path = settings->root + u"\\Tessel\\PathExpansionMap";
    const std::uint32_t access = platform::kKeyRead | settings->registryViewFlag;
    const SystemError error = seam_.registry.OpenKey(RegistryRoot::LocalMachine, path, access, openedMap_.Receive());
    if (Failed(error)) {
        return Fail({}, TraceEvent::PathMapNotOpened, error, path);
    }
    openedMapAccess_ = access;
    isMapOpen_.store(true, std::memory_order_release);
    return true;
}

// Folder texts are scanned in their turn: the search starts over after each replacement.
bool tsPathExpansion::ExpandTokens(const Source& source, std::u16string& working) {
    std::set<std::u16string> expanded;
    for (;;) {
        const std::size_t first = working.find(u'%');
        if (first == std::u16string::npos) {
            return true;
        }
        const std::size_t second = working.find(u'%', first + 1);
        if (second == std::u16string::npos) {
            return Fail(source, TraceEvent::PathMarkUnmatched, first, working);
        }
        if (second == first + 1) {
            return Fail(source, TraceEvent::PathTokenNameEmpty, first, working);
        }
        const auto token = std::u16string_view(working).substr(first, second - first + 1);
        std::u16string name;
        if (const SystemError error = seam_.textRules.LowerByLocale(token.substr(1, token.size() - 2), name);
            Failed(error)) {
            return Fail(source, TraceEvent::PathNameNotLowered, error, working);
        }

        std::u16string folder;
        if (!FolderInMap(source, name, folder)) {
            folder.clear();
            std::uint32_t error = 0;
            switch (FolderBuiltIn(source, name, folder, error)) {
                case Found::Yes:
                    break;
                case Found::Unknown:
                    return Fail(source, TraceEvent::PathTokenUnknown, name, working);
                case Found::Failed:
                    return Fail(source, TraceEvent::PathFolderQueryFailed, error, name, working);
            }
        }
        const auto [kept, isNew] = expanded.insert(std::move(name));
        if (!isNew) {
            return Fail(source, TraceEvent::PathTokenMetAgain, *kept, working);
        }
        if (!ReplaceAll(working, token, folder)) {
            return Fail(source, TraceEvent::PathTooLong, *kept, working);
        }
    }
}

// An empty folder counts as none: "%TOKEN%\x" must not become "\x", the root of whatever drive is the current one.
bool tsPathExpansion::FolderInMap(const Source& source, const std::u16string& name, std::u16string& folder) {
    if (source.lookup != nullptr) {
        return source.lookup->Folder(name, folder) && !folder.empty();
    }
    // The registry would stop reading the name at a NUL, and so take another name.
    if (name.find(u'\0') != std::u16string::npos) {
        return false;
    }
    if (Succeeded(ReadText(seam_.registry, source.map, name, folder)) && !folder.empty()) {
        return true;
    }
    platform::OwnedRegistryKey subkey(seam_.registry);
    return Succeeded(seam_.registry.OpenSubkey(source.map, name, source.access, subkey.Receive())) &&
           Succeeded(ReadText(seam_.registry, subkey.Get(), u"Path64", folder)) && !folder.empty();
}

tsPathExpansion::Found tsPathExpansion::FolderBuiltIn(const Source& source, std::u16string_view name,
                                                      std::u16string& folder, std::uint32_t& error) {
    const BuiltinFolder* const builtin = FindBuiltinFolder(name);
    if (builtin == nullptr) {
        return Found::Unknown;
    }
    switch (builtin->identifier) {
        case kCommonSiloData:
            return InstanceDataFolder(source, kShellCommonAppData, folder);
        case kLocalSiloData:
            return InstanceDataFolder(source, kShellLocalAppData, folder);
        case kProgramFilesX64:
            error = Number(CurrentVersionText(u"ProgramFilesDir", platform::kKeyView64, folder));
            break;
        case kCommonFilesX64:
            error = Number(CurrentVersionText(u"CommonFilesDir", platform::kKeyView64, folder));
            break;
        default: {
            const HResult result = seam_.knownFolders.DefaultShellFolder(builtin->identifier, folder);
            error = Failed(result) ? Number(result) : 0;
        }
    }
    return error == 0 && !folder.empty() ? Found::Yes : Found::Failed;
}

// The vendor's folder and the silo beneath an application data folder of the shell.
tsPathExpansion::Found tsPathExpansion::InstanceDataFolder(const Source& source, std::uint32_t shellFolder,
                                                           std::u16string& folder) {
    if (source.forVendorFolder) {
        return Found::Failed;  // the vendor's folder is named by a token that needs itself
    }
    Source vendorSource = source;
    vendorSource.forVendorFolder = true;
    std::u16string vendor = u"%APPDATAEXTENSION%";
    if (ExpandTokens(vendorSource, vendor)) {
        ReduceBackslashes(vendor);
    } else {
        vendor = kDefaultVendorFolder;
    }
    if (vendor.size() > kVendorFolderLength) {
        vendor.resize(kVendorFolderLength);
    }

    std::u16string path;
    std::u16string silo;
    if (!seam_.knownFolders.SpecialFolder(shellFolder, path) || !seam_.pathForms.Append(path, vendor) ||
        !isolation_.Silo(silo) || !seam_.pathForms.Append(path, silo)) {
        return Found::Failed;
    }
    folder = std::move(path);
    return Found::Yes;
}

SystemError tsPathExpansion::CurrentVersionText(const std::u16string& name, std::uint32_t viewFlag,
                                                std::u16string& text) {
    platform::OwnedRegistryKey key(seam_.registry);
    const SystemError error =
        seam_.registry.OpenKey(RegistryRoot::LocalMachine, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion",
                               platform::kKeyRead | viewFlag, key.Receive());
    return Failed(error) ? error : ReadText(seam_.registry, key.Get(), name, text);
}

bool tsPathExpansion::ExpandOrKeep(std::u16string_view input, std::u16string& folder) noexcept {
    std::u16string expanded;
    if (!Expand(input, expanded)) {
        return false;
    }
    folder = std::move(expanded);
    return true;
}

bool tsPathExpansion::DataFolder(std::u16string& folder) noexcept { return ExpandOrKeep(u"%TSDATA%\\", folder); }

bool tsPathExpansion::InstallFolder64(std::u16string& folder) noexcept {
    return ExpandOrKeep(u"%TSROOTX64%\\", folder);
}

bool tsPathExpansion::SharedComponentsFolder(std::u16string& folder) noexcept {
    try {
        std::u16string path;
        if (Failed(seam_.knownFolders.DefaultShellFolder(kShellCommonFiles, path)) || path.empty()) {
            if (const SystemError error = CurrentVersionText(u"CommonFilesDir", 0, path);
                Failed(error) || path.empty()) {
                return Fail({}, TraceEvent::SharedComponentsUnknown, error);
            }
        }
        if (path.ends_with(u'\\')) {
            path.pop_back();
        }
        path += u"\\Corvane Shared";
        folder = std::move(path);
        return true;
    } catch (...) {
        return Fail({}, TraceEvent::PathUnexpectedFailure);
    }
}

}  // namespace tsLib
