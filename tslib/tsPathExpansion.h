// Path tokens: %NAME% in a configured path stands for a folder, and is expanded at the moment of use.
//
// A token names one of the built-in folders, or a folder that an installer recorded in the path-expansion map, the
// registry key Tessel\PathExpansionMap under the installation's root. docs/paths.md has the rules.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <forward_list>
#include <string>
#include <string_view>

#include "tslib/Isolation.h"
#include "tslib/Tracer.h"
#include "tslib/platform/Locks.h"
#include "tslib/platform/PathForms.h"
#include "tslib/platform/Platform.h"
#include "tslib/platform/Registry.h"
#include "tslib/platform/System.h"
#include "tslib/platform/TextRules.h"

namespace tsLib {

// An expansion whose text would grow beyond this fails: a map could otherwise double it with every token.
inline constexpr std::size_t kMaximumExpandedPath = 32767;

// What can stand in for the path-expansion map. Any thread.
class PathTokenLookup {
public:
    // The folder of a token, whose name comes in lower case and without marks. False, or an empty folder, when the
    // token is not known here: the built-in folders are tried next. What it throws fails the expansion.
    [[nodiscard]] virtual bool Folder(std::u16string_view name, std::u16string& folder) = 0;

protected:
    ~PathTokenLookup() = default;
};

// One instance per process. Any thread. No operation throws or shows anything; every failed expansion writes one
// error-level trace record.
class tsPathExpansion {
public:
    // All that is passed must outlive this object.
    tsPathExpansion(const platform::Platform& platform, Isolation& isolation) noexcept
        : platform_(platform), isolation_(isolation), tracer_(platform.trace) {}

    // The path-expansion map is opened by the first call that can and kept; when its key turns out to have been deleted
    // it is opened again.
    //
    // Expands all tokens of the input and reduces doubled backslashes, except for a leading pair. An input below three
    // characters comes back as it is.
    //
    // False for: an input whose data() is null, a mark without a partner, an empty token name, an unknown token, a
    // token met again after its expansion, a folder that the system cannot tell, a map entry that cannot be read, a
    // path-expansion map that cannot be opened (whatever the input), a text above kMaximumExpandedPath, memory running
    // out. `out` then holds the input
    // with its doubled backslashes reduced, or nothing when there was no memory for that, and never half an expansion.
    // Nothing is remembered of a failure. `out` may be the text that the input is a view of.
    [[nodiscard]] bool Expand(std::u16string_view input, std::u16string& out) noexcept;
    // The same with an open key of the caller's in place of the process's path-expansion map, and so also when no
    // installation is known. Its subkeys are opened with `access`. False for a zero key.
    [[nodiscard]] bool Expand(platform::RegistryKey map, std::uint32_t access, std::u16string_view input,
                              std::u16string& out) noexcept;

    // While a lookup is installed it replaces the map in both forms, and the map is neither opened nor read. It must
    // stay alive until no expansion is under way any more; null takes it out.
    //
    // A lookup must neither create a component nor ask the object repository, nor wait for a thread that does: both
    // expand paths while they hold their locks, and would wait for themselves.
    void InstallLookup(PathTokenLookup* lookup) noexcept { lookup_.store(lookup, std::memory_order_release); }

    // The three below leave the output untouched when they give false.
    // The shared library's data folder and its 64-bit install folder, each with a trailing backslash.
    [[nodiscard]] bool DataFolder(std::u16string& folder) noexcept;
    [[nodiscard]] bool InstallFolder64(std::u16string& folder) noexcept;
    // The folder of components that all installations share. Needs neither tokens nor an installation.
    [[nodiscard]] bool SharedComponentsFolder(std::u16string& folder) noexcept;

private:
    struct OpenedMap {
        platform::OwnedRegistryKey key;
        std::uint32_t access;
    };
    // Where one call looks its tokens up.
    struct Source {
        PathTokenLookup* lookup = nullptr;
        platform::RegistryKey map{};
        std::uint32_t access = 0;
        bool forVendorFolder = false;       // inside the expansion that an instance data folder needs
        const OpenedMap* opened = nullptr;  // the process's map, if `map` is it
        std::uint32_t mapError = 0;         // what ended the expansion, if it was a map entry that cannot be read
    };
    // A folder was found, there is none, or that cannot be told, for the reason in `error`.
    enum class Found : std::uint8_t { Yes, Unknown, Failed };

    bool OpenMap(Source& source) noexcept;
    platform::SystemError UseMap(Source& source, std::u16string& path);
    bool ExpandInto(bool ready, Source& source, std::u16string_view input, std::u16string& out) noexcept;
    bool ExpandTokens(Source& source, std::u16string& working);
    Found FolderInMap(Source& source, const std::u16string& name, std::u16string& folder, std::uint32_t& error);
    platform::SystemError ReadMapEntry(const Source& source, const std::u16string& name, std::u16string& folder);
    platform::SystemError ReadFolder(platform::RegistryKey key, const std::u16string& name, std::u16string& folder);
    Found FolderBuiltIn(const Source& source, std::u16string_view name, std::u16string& folder, std::uint32_t& error);
    Found InstanceDataFolder(const Source& source, std::uint32_t shellFolder, std::u16string& folder,
                             std::uint32_t& error);
    platform::SystemError CurrentVersionText(const std::u16string& name, std::uint32_t viewFlag, std::u16string& text);
    bool ExpandOrKeep(std::u16string_view input, std::u16string& folder) noexcept;
    static constexpr auto kFailureLevels = trace_table::Error | trace_table::Verbose;
    template <class... Arguments>
    bool Fail(const Source& source, CheckedEvent<kFailureLevels, std::type_identity_t<Arguments>...> event,
              const Arguments&... arguments) const noexcept;

    const platform::Platform& platform_;
    Isolation& isolation_;
    Tracer tracer_;
    std::atomic<PathTokenLookup*> lookup_{nullptr};
    std::atomic<const OpenedMap*> map_{nullptr};  // null until the map was opened
    platform::Lock mapLock_;
    // The map and, behind it, those whose key was deleted: other threads may still be using one.
    std::forward_list<OpenedMap> openedMaps_;
};

}  // namespace tsLib
