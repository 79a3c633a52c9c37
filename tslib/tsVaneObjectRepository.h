// The object repository: which module offers the component of an object id.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tslib/Guid.h"
#include "tslib/Isolation.h"
#include "tslib/Tracer.h"
#include "tslib/platform/Locks.h"
#include "tslib/platform/Platform.h"
#include "tslib/platform/Registry.h"
#include "tslib/tsPathExpansion.h"
#include "tslib/tsVaneSettingsStoreLoader.h"

namespace tsLib {

// More subkeys than this are not read from either source, so that a broken count cannot keep the process busy.
inline constexpr std::uint32_t kMaximumRepositoryKeys = 0x10000;

struct RepositoryEntry {
    enum class Source : std::uint8_t { SettingsStore, Registry };

    ObjectId objectId;
    Source source{};
    std::u16string storedPath;  // as it was stored, path tokens included
};

// Entries come from the settings store, key Tessel\OBJID, and from the registry, key OBJID under the installation's
// root; the settings store's win. Each is a subkey named by an object id in braces, with the module's path in the value
// InProc64. An entry that cannot be read, for whatever reason, is left out and traced; if it is the store's, a registry
// entry of the same id then stands.
//
// One instance per process. Any thread: calls are serialised by one lock, which is held while the entries are loaded.
// No operation throws.
class tsVaneObjectRepository {
public:
    // All that is passed must outlive this object.
    tsVaneObjectRepository(const platform::Platform& platform, Isolation& settings, tsPathExpansion& paths,
                           tsVaneSettingsStoreLoader& store) noexcept
        : platform_(platform), tracer_(platform.trace), settings_(settings), paths_(paths), store_(store) {}

    // True when the repository is loaded, which this does if need be. It fails when neither source can be read, or when
    // this module itself runs out of memory on the way.
    [[nodiscard]] bool Load() noexcept;
    // Whether the id is known. An unknown id costs one reload, so that a component is found that was registered since.
    [[nodiscard]] bool Exists(const ObjectId& objectId) noexcept;
    // The id's module path, expanded now. False, with the output untouched, when the id is not known or its path cannot
    // be expanded. Costs as Exists.
    [[nodiscard]] bool GetModulePath(const ObjectId& objectId, std::u16string& path) noexcept;
    // All entries, ordered by id, for diagnosis. False, with the output untouched, when the repository cannot be
    // loaded.
    [[nodiscard]] bool List(std::vector<RepositoryEntry>& entries) noexcept;

private:
    using Source = RepositoryEntry::Source;
    struct Stored {
        Source source;
        std::u16string path;
    };
    using Entries = std::map<ObjectId, Stored>;

    bool LoadLocked();
    const Stored* FindLocked(const ObjectId& objectId);
    VaneResult LoadFromStore(Entries& entries);
    VaneResult LoadStoreEntry(ISettingsStore& store, ISettingsEnumeration& list, std::uint32_t index, Entries& entries,
                              std::u16string& name);
    platform::SystemError LoadFromRegistry(Entries& entries);
    platform::SystemError LoadRegistryEntry(platform::RegistryKey list, std::uint32_t index, std::uint32_t capacity,
                                            std::uint32_t access, Entries& entries, std::u16string& name);
    std::uint32_t Limit(std::uint32_t count) const noexcept;
    template <class Body>
    bool Locked(Body&& body) noexcept;

    const platform::Platform& platform_;
    Tracer tracer_;
    Isolation& settings_;
    tsPathExpansion& paths_;
    tsVaneSettingsStoreLoader& store_;
    platform::Lock lock_;
    bool isLoaded_ = false;
    Entries entries_;
};

}  // namespace tsLib
