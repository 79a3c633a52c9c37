#include "tslib/tsVaneObjectRepository.h"

#include <algorithm>

#include "tslib/RegistryText.h"

namespace tsLib {

using platform::SystemError;

namespace {

constexpr char16_t kStoreKey[] = u"Tessel\\OBJID";
constexpr char16_t kRegistryKey[] = u"\\OBJID";
constexpr char16_t kPathValue[] = u"InProc64";
constexpr std::size_t kMaximumStoredPath = 32767;

// What a component left in a buffer, up to its first NUL. Nothing when it forgot the terminator.
template <std::size_t capacity>
bool TakeText(const char16_t (&buffer)[capacity], std::u16string& text) {
    const char16_t* const end = std::find(buffer, buffer + capacity, u'\0');
    if (end == buffer + capacity) {
        return false;
    }
    text.assign(buffer, end);
    return true;
}

}  // namespace

bool tsVaneObjectRepository::Load() noexcept {
    return Locked([&] { return isLoaded_ || LoadLocked(); });
}

bool tsVaneObjectRepository::Exists(const ObjectId& objectId) noexcept {
    return Locked([&] { return FindLocked(objectId) != nullptr; });
}

bool tsVaneObjectRepository::GetModulePath(const ObjectId& objectId, std::u16string& path) noexcept {
    std::u16string stored;
    const bool known = Locked([&] {
        const Stored* const found = FindLocked(objectId);
        if (found == nullptr) {
            return false;
        }
        stored = found->path;
        return true;
    });
    if (!known) {
        return false;
    }
    // Outside the lock: a lookup function of the expansion may be somebody's who asks the repository himself.
    std::u16string expanded;
    if (!paths_.Expand(stored, expanded)) {
        tracer_.Error(TraceEvent::RepositoryPathUnexpanded, GuidText(objectId), stored);
        return false;
    }
    path = std::move(expanded);
    return true;
}

bool tsVaneObjectRepository::List(std::vector<RepositoryEntry>& entries) noexcept {
    return Locked([&] {
        if (!isLoaded_ && !LoadLocked()) {
            return false;
        }
        std::vector<RepositoryEntry> list;
        for (const auto& [objectId, stored] : entries_) {
            list.push_back({objectId, stored.source, stored.path});
        }
        entries = std::move(list);
        return true;
    });
}

template <class Body>
bool tsVaneObjectRepository::Locked(Body&& body) noexcept {
    const auto fails = [&](VaneResult result) {
        return [this, result]() noexcept {
            tracer_.Error(TraceEvent::RepositoryUnexpected, Number(result));
            return false;
        };
    };
    return AtBoundary(fails(VaneResult::OutOfMemory), fails(VaneResult::InternalFailure), [&] {
        const std::lock_guard lock(lock_);
        return body();
    });
}

const tsVaneObjectRepository::Stored* tsVaneObjectRepository::FindLocked(const ObjectId& objectId) {
    if (!isLoaded_ && !LoadLocked()) {
        return nullptr;
    }
    auto found = entries_.find(objectId);
    if (found == entries_.end() && LoadLocked()) {
        found = entries_.find(objectId);
    }
    if (!isLoaded_ || found == entries_.end()) {
        tracer_.Warning(TraceEvent::ObjectUnknown, GuidText(objectId));
        return nullptr;
    }
    return &found->second;
}

bool tsVaneObjectRepository::LoadLocked() {
    isLoaded_ = false;
    // Published only when complete; what is thrown leaves the repository unloaded.
    Entries entries;
    const VaneResult fromStore = LoadFromStore(entries);
    if (Failed(fromStore)) {
        tracer_.Warning(TraceEvent::RepositoryStoreFailed, Number(fromStore));
    }
    const std::size_t stored = entries.size();
    const SystemError fromRegistry = LoadFromRegistry(entries);
    if (Failed(fromStore) && Failed(fromRegistry)) {
        return false;
    }
    tracer_.Verbose(TraceEvent::RepositoryLoaded, stored, entries.size() - stored);
    entries_ = std::move(entries);
    isLoaded_ = true;
    return true;
}

VaneResult tsVaneObjectRepository::LoadFromStore(Entries& entries) {
    VaneRef<ISettingsStore> store;
    if (const VaneResult result = store_.Create(store); Failed(result)) {
        return result;
    }
    VaneRef<ISettingsEnumeration> list;
    if (const VaneResult result = store->OpenForEnumeration(kStoreKey, list.Receive()); Failed(result)) {
        return result;
    }
    if (!list) {
        return VaneResult::InternalFailure;
    }
    std::uint32_t count{};
    if (const VaneResult result = list->SubkeyCount(&count); Failed(result)) {
        return result;
    }
    count = Limit(count);
    for (std::uint32_t index = 0; index < count; ++index) {
        std::u16string name;
        const VaneResult result = LoadStoreEntry(*store, *list, index, entries, name);
        if (Failed(result)) {
            tracer_.Warning(TraceEvent::RepositoryStoreSkipped, Number(result), index, name);
        }
    }
    return VaneResult::Success;
}

VaneResult tsVaneObjectRepository::LoadStoreEntry(ISettingsStore& store, ISettingsEnumeration& list,
                                                  std::uint32_t index, Entries& entries, std::u16string& name) {
    char16_t nameBuffer[40] = {};
    if (const VaneResult result = list.SubkeyName(index, nameBuffer, 40, nullptr); Failed(result)) {
        return result;
    }
    if (!TakeText(nameBuffer, name)) {
        return VaneResult::InternalFailure;
    }
    const auto objectId = GuidFromText(name);
    if (!objectId) {
        return VaneResult::InvalidArgument;
    }
    const std::u16string keyPath = std::u16string(kStoreKey) + u'\\' + name;
    VaneRef<ISettingsKey> key;
    if (const VaneResult result = store.OpenForReading(keyPath.c_str(), key.Receive()); Failed(result)) {
        return result;
    }
    if (!key) {
        return VaneResult::InternalFailure;
    }
    char16_t pathBuffer[260] = {};
    if (const VaneResult result = key->ReadText(kPathValue, pathBuffer, 260, nullptr); Failed(result)) {
        return result;
    }
    std::u16string path;
    if (!TakeText(pathBuffer, path) || path.empty()) {
        return VaneResult::InvalidArgument;
    }
    entries.insert_or_assign(*objectId, Stored{Source::SettingsStore, std::move(path)});
    return VaneResult::Success;
}

SystemError tsVaneObjectRepository::LoadFromRegistry(Entries& entries) {
    std::u16string path;
    if (!settings_.Root(path)) {
        tracer_.Warning(TraceEvent::RepositoryRegistryFailed, SystemError::NotFound, path);
        return SystemError::NotFound;
    }
    path += kRegistryKey;
    const std::uint32_t access = platform::kKeyRead | settings_.RegistryViewFlag();
    platform::OwnedRegistryKey list(platform_.registry);
    std::uint32_t count{};
    std::uint32_t longestName{};
    SystemError error = platform_.registry.OpenKey(platform::RegistryRoot::LocalMachine, path, access, list.Receive());
    if (Succeeded(error)) {
        error = platform_.registry.SubkeyInfo(list.Get(), count, longestName);
    }
    if (Failed(error)) {
        tracer_.Warning(TraceEvent::RepositoryRegistryFailed, error, path);
        return error;
    }
    count = Limit(count);
    for (std::uint32_t index = 0; index < count; ++index) {
        std::u16string name;
        const SystemError result = LoadRegistryEntry(list.Get(), index, longestName + 1, access, entries, name);
        if (Failed(result)) {
            tracer_.Warning(TraceEvent::RepositoryEntrySkipped, result, index, name);
        }
    }
    return SystemError::Success;
}

SystemError tsVaneObjectRepository::LoadRegistryEntry(platform::RegistryKey list, std::uint32_t index,
                                                      std::uint32_t capacity, std::uint32_t access, Entries& entries,
                                                      std::u16string& name) {
    if (const SystemError error = platform_.registry.SubkeyName(list, index, capacity, name); Failed(error)) {
        return error;
    }
    const auto objectId = GuidFromText(name);
    if (!objectId) {
        return SystemError::InvalidData;
    }
    platform::OwnedRegistryKey key(platform_.registry);
    if (const SystemError error = platform_.registry.OpenSubkey(list, name, access, key.Receive()); Failed(error)) {
        return error;
    }
    std::u16string path;
    if (const SystemError error = ReadText(platform_.registry, key.Get(), kPathValue, path); Failed(error)) {
        return error;
    }
    if (path.empty() || path.size() > kMaximumStoredPath) {
        return SystemError::InvalidData;
    }
    if (!entries.try_emplace(*objectId, Stored{Source::Registry, std::move(path)}).second) {
        tracer_.Information(TraceEvent::RepositoryDuplicate, GuidText(*objectId));
    }
    return SystemError::Success;
}

std::uint32_t tsVaneObjectRepository::Limit(std::uint32_t count) const noexcept {
    if (count > kMaximumRepositoryKeys) {
        tracer_.Warning(TraceEvent::RepositoryCutShort, count, kMaximumRepositoryKeys);
    }
    return std::min(count, kMaximumRepositoryKeys);
}

}  // namespace tsLib
