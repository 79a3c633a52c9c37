#include "tslib/tsPathExpansion.h"

#include <set>

#include "tslib/BuiltinFolders.h"
#include "tslib/RegistryText.h"
#include "tslib/platform/Boundary.h"

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

// Every exact occurrence from `from` on, where the first one is, from left to right. False, with the text as it was,
// when the result would be too long. The token may be a view of the text.
bool ReplaceAll(std::u16string& text, std::size_t from, std::u16string_view token, std::u16string_view replacement) {
    std::size_t count = 1;
    for (std::size_t at = text.find(token, from + token.size()); at != std::u16string::npos;
         at = text.find(token, at + token.size())) {
        ++count;
    }
    const std::size_t kept = text.size() - count * token.size();
    if (kept > kMaximumExpandedPath || replacement.size() > (kMaximumExpandedPath - kept) / count) {
        return false;
    }
    if (count == 1) {
        text.replace(from, token.size(), replacement);
        return true;
    }
    std::u16string result;
    std::size_t done = 0;
    for (std::size_t at = from; at != std::u16string::npos; at = text.find(token, done)) {
        result.append(text, done, at - done).append(replacement);
        done = at + token.size();
    }
    result.append(text, done);
    text = std::move(result);
    return true;
}

}  // namespace

// Expansions inside an expansion may fail without harm, so their records are no errors.
template <class... Arguments>
bool tsPathExpansion::Fail(const Source& source, CheckedEvent<kFailureLevels, std::type_identity_t<Arguments>...> event,
                           const Arguments&... arguments) const noexcept {
    if (source.forVendorFolder) {
        tracer_.Verbose<Arguments...>(event, arguments...);
    } else {
        tracer_.Error<Arguments...>(event, arguments...);
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
    Source source;
    source.lookup = lookup_.load(std::memory_order_acquire);
    source.map = map;
    source.access = access;
    const bool ready = map != platform::RegistryKey{};
    if (!ready && input.data() != nullptr) {
        (void)Fail(source, TraceEvent::PathMapKeyMissing);
    }
    return ExpandInto(ready, source, input, out);
}

// What is not ready has written its record already.
bool tsPathExpansion::ExpandInto(bool ready, Source& source, std::u16string_view input, std::u16string& out) noexcept {
    if (input.data() == nullptr) {
        out.clear();
        return Fail(source, TraceEvent::PathInputMissing);
    }
    const auto unexpected = [&]() noexcept { return Fail(source, TraceEvent::PathUnexpectedFailure); };
    std::u16string working;
    const bool copied = AtBoundary(false, [&] {
        working = input;  // before `out` changes, which the input may be a view of
        out = working;
        return true;
    });
    if (!copied) {
        out.clear();
        return ready && unexpected();
    }
    if (ready && working.size() < 3) {
        return true;  // as it is: the backslashes of a short input are left alone
    }
    const bool expanded = ready && AtBoundary(unexpected, [&] { return ExpandTokens(source, working); });
    if (expanded) {
        out = std::move(working);
    }
    ReduceBackslashes(out);
    return expanded;
}

bool tsPathExpansion::OpenMap(Source& source) noexcept {
    return AtBoundary([&]() noexcept { return Fail(source, TraceEvent::PathUnexpectedFailure); },
                      [&] {
                          std::u16string path;
                          const SystemError error = UseMap(source, path);
                          return Succeeded(error) || Fail(source, TraceEvent::PathMapNotOpened, error, path);
                      });
}

// Gives the source the process's map in place of the one that it has, which is none at first and later one that is no
// good any more. `path` is the map's when it was to be opened here.
SystemError tsPathExpansion::UseMap(Source& source, std::u16string& path) {
    const OpenedMap* map = map_.load(std::memory_order_acquire);
    if (map == source.opened) {
        // This lock is taken before the isolation settings' own, never after it.
        const std::lock_guard lock(mapLock_);
        map = map_.load(std::memory_order_relaxed);
        if (map == source.opened) {
            const IsolationSettings* settings = nullptr;
            if (const SystemError error = isolation_.Read(&settings); Failed(error)) {
                return error;
            }
            path = settings->root + u"\\Tessel\\PathExpansionMap";
            OpenedMap opened{platform::OwnedRegistryKey(platform_.registry),
                             platform::kKeyRead | settings->registryViewFlag};
            if (const SystemError error =
                    platform_.registry.OpenKey(RegistryRoot::LocalMachine, path, opened.access, opened.key.Receive());
                Failed(error)) {
                return error;
            }
            map = &openedMaps_.emplace_front(std::move(opened));
            map_.store(map, std::memory_order_release);
        }
    }
    source.opened = map;
    source.map = map->key.Get();
    source.access = map->access;
    return SystemError::Success;
}

// Folder texts are scanned in their turn: the search goes on where the replaced token began.
bool tsPathExpansion::ExpandTokens(Source& source, std::u16string& working) {
    std::set<std::u16string> expanded;
    for (std::size_t first = 0;;) {
        first = working.find(u'%', first);
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
        if (const SystemError error = platform_.textRules.LowerByLocale(token.substr(1, token.size() - 2), name);
            Failed(error)) {
            return Fail(source, TraceEvent::PathNameNotLowered, error, working);
        }

        std::u16string folder;
        std::uint32_t error = 0;
        Found found = FolderInMap(source, name, folder, error);
        source.mapError = error;
        if (found == Found::Unknown) {
            folder.clear();
            found = FolderBuiltIn(source, name, folder, error);
        }
        if (found == Found::Unknown) {
            return Fail(source, TraceEvent::PathTokenUnknown, name, working);
        }
        if (found == Found::Failed) {
            return Fail(source, TraceEvent::PathFolderQueryFailed, error, name, working);
        }
        const auto [kept, isNew] = expanded.insert(std::move(name));
        if (!isNew) {
            return Fail(source, TraceEvent::PathTokenMetAgain, *kept, working);
        }
        if (!ReplaceAll(working, first, token, folder)) {
            return Fail(source, TraceEvent::PathTooLong, *kept, working);
        }
    }
}

// An entry that cannot be read is not one that is absent: a built-in folder in its place would be another folder.
tsPathExpansion::Found tsPathExpansion::FolderInMap(Source& source, const std::u16string& name, std::u16string& folder,
                                                    std::uint32_t& error) {
    if (source.lookup != nullptr) {
        return source.lookup->Folder(name, folder) && !folder.empty() ? Found::Yes : Found::Unknown;
    }
    // The registry would stop reading the name at a NUL, and take what is behind a backslash for a key below.
    constexpr std::u16string_view kForeign{u"\0\\", 2};
    if (name.find_first_of(kForeign) != std::u16string::npos) {
        return Found::Unknown;
    }
    SystemError result = ReadMapEntry(source, name, folder);
    // A repair of the product deletes the map's key and makes it anew.
    if (source.opened != nullptr && (result == SystemError::KeyDeleted || result == SystemError::InvalidHandle)) {
        std::u16string path;
        if (result = UseMap(source, path); Failed(result)) {
            error = Number(result);
            return Found::Failed;
        }
        result = ReadMapEntry(source, name, folder);
    }
    if (result == SystemError::FileNotFound) {
        return Found::Unknown;
    }
    error = Number(result);
    return Succeeded(result) ? Found::Yes : Found::Failed;
}

// FileNotFound when the token has no entry.
SystemError tsPathExpansion::ReadMapEntry(const Source& source, const std::u16string& name, std::u16string& folder) {
    if (const SystemError error = ReadFolder(source.map, name, folder); error != SystemError::FileNotFound) {
        return error;
    }
    platform::OwnedRegistryKey subkey(platform_.registry);
    const SystemError error = platform_.registry.OpenSubkey(source.map, name, source.access, subkey.Receive());
    return Failed(error) ? error : ReadFolder(subkey.Get(), u"Path64", folder);
}

// A value of another type counts as none, and so does an empty folder: "%TOKEN%\x" must not become "\x", the root of
// whatever drive is the current one.
SystemError tsPathExpansion::ReadFolder(platform::RegistryKey key, const std::u16string& name, std::u16string& folder) {
    const SystemError error = ReadText(platform_.registry, key, name, folder);
    return error == SystemError::UnsupportedType || (Succeeded(error) && folder.empty()) ? SystemError::FileNotFound
                                                                                         : error;
}

tsPathExpansion::Found tsPathExpansion::FolderBuiltIn(const Source& source, std::u16string_view name,
                                                      std::u16string& folder, std::uint32_t& error) {
    const BuiltinFolder* const builtin = FindBuiltinFolder(name);
    if (builtin == nullptr) {
        return Found::Unknown;
    }
    switch (builtin->identifier) {
        case kCommonSiloData:
            return InstanceDataFolder(source, kShellCommonAppData, folder, error);
        case kLocalSiloData:
            return InstanceDataFolder(source, kShellLocalAppData, folder, error);
        case kProgramFilesX64:
            error = Number(CurrentVersionText(u"ProgramFilesDir", platform::kKeyView64, folder));
            break;
        case kCommonFilesX64:
            error = Number(CurrentVersionText(u"CommonFilesDir", platform::kKeyView64, folder));
            break;
        default: {
            const HResult result = platform_.system.DefaultShellFolder(builtin->identifier, folder);
            error = Failed(result) ? Number(result) : 0;
        }
    }
    return error == 0 && !folder.empty() ? Found::Yes : Found::Failed;
}

// The vendor's folder and the silo beneath an application data folder of the shell.
tsPathExpansion::Found tsPathExpansion::InstanceDataFolder(const Source& source, std::uint32_t shellFolder,
                                                           std::u16string& folder, std::uint32_t& error) {
    if (source.forVendorFolder) {
        return Found::Failed;  // the vendor's folder is named by a token that needs itself
    }
    Source vendorSource = source;
    vendorSource.forVendorFolder = true;
    std::u16string vendor = u"%APPDATAEXTENSION%";
    if (ExpandTokens(vendorSource, vendor)) {
        ReduceBackslashes(vendor);
    } else if (vendorSource.mapError != 0) {
        error = vendorSource.mapError;
        return Found::Failed;
    } else {
        vendor = kDefaultVendorFolder;
    }
    if (vendor.size() > kVendorFolderLength) {
        vendor.resize(kVendorFolderLength);
    }

    std::u16string path;
    std::u16string silo;
    if (!platform_.system.SpecialFolder(shellFolder, path) || !platform_.pathForms.Append(path, vendor) ||
        !isolation_.Silo(silo) || !platform_.pathForms.Append(path, silo)) {
        return Found::Failed;
    }
    folder = std::move(path);
    return Found::Yes;
}

SystemError tsPathExpansion::CurrentVersionText(const std::u16string& name, std::uint32_t viewFlag,
                                                std::u16string& text) {
    platform::OwnedRegistryKey key(platform_.registry);
    const SystemError error =
        platform_.registry.OpenKey(RegistryRoot::LocalMachine, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion",
                                   platform::kKeyRead | viewFlag, key.Receive());
    return Failed(error) ? error : ReadText(platform_.registry, key.Get(), name, text);
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
    return AtBoundary([&]() noexcept { return Fail({}, TraceEvent::PathUnexpectedFailure); },
                      [&] {
                          std::u16string path;
                          if (Failed(platform_.system.DefaultShellFolder(kShellCommonFiles, path)) || path.empty()) {
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
                      });
}

}  // namespace tsLib
