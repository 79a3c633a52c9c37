#include "tslib/verifytrust/VerificationCache.h"

#include <algorithm>

#include "tslib/platform/Boundary.h"

namespace tsLib {

namespace {

// Levels 3, 4 and 5 have no order among themselves, each satisfies only itself; below them a stored level must be
// greater than the asked one, so that level 1 does not even satisfy itself.
bool Satisfies(std::int32_t stored, std::int32_t asked, bool& conflict) noexcept {
    conflict = false;
    if (asked < 3 || asked > 5) {
        return stored > asked;
    }
    conflict = stored != asked && stored >= 3 && stored <= 5;
    return stored == asked;
}

}  // namespace

std::uint64_t VerificationCache::PathHash(const platform::TextRules& rules, std::u16string_view path) noexcept {
    std::uint64_t hash = 0;
    for (const char16_t unit : path) {
        hash += rules.LowerByRuntime(unit);
        hash *= 1025;
        hash ^= hash >> 6;
    }
    hash *= 9;
    hash ^= hash >> 11;
    return hash * 32769;
}

TrustResult VerificationCache::Lookup(std::u16string_view path, TrustLevel level, std::uint8_t optionA,
                                      std::uint8_t& extraFlag, std::int32_t optionB, bool& levelConflict) noexcept {
    if (path.empty() || level == 0) {
        tracer_.Error(TraceEvent::CacheArgumentInvalid);
        return TrustResult::InvalidArgument;
    }
    const std::uint64_t hash = PathHash(rules_, path);
    extraFlag = 0;
    levelConflict = false;
    auto result = TrustResult::FileError;
    {
        const std::lock_guard lock(lock_);
        if (const auto found = Find(hash, optionA, optionB)) {
            const Queue::iterator entry = *found->place;
            result = TrustResult::NotTrusted;
            if (Satisfies(entry->level, static_cast<std::int32_t>(level), levelConflict)) {
                extraFlag = entry->extraFlag;
                result = TrustResult::Trusted;
            }
            if (maximum_ != 0) {
                // Relinking the node needs no memory, so the lookup cannot fail here.
                queue_.splice(queue_.end(), queue_, entry);
                std::rotate(found->place, found->place + 1, found->chain->end());
            }
        }
    }
    if (result == TrustResult::FileError) {
        tracer_.Information(TraceEvent::CacheEntryMissing, path);
    } else if (result == TrustResult::NotTrusted) {
        tracer_.Information(TraceEvent::CacheLevelUnsatisfied, path, level);
    }
    return result;
}

TrustResult VerificationCache::Add(std::u16string_view path, TrustLevel level, std::uint8_t optionA,
                                   std::uint8_t extraFlag, std::int32_t optionB) noexcept {
    if (path.empty() || level == 0) {
        tracer_.Error(TraceEvent::CacheArgumentInvalid);
        return TrustResult::InvalidArgument;
    }
    const std::uint64_t hash = PathHash(rules_, path);
    const auto newLevel = static_cast<std::int32_t>(level);
    const auto memoryShort = [&] {
        tracer_.Error(TraceEvent::CacheMemoryShort, path);
        return TrustResult::OutOfMemory;
    };
    return AtBoundary(memoryShort, [&] {
        const std::lock_guard lock(lock_);
        if (const auto found = Find(hash, optionA, optionB)) {
            Entry& entry = **found->place;
            bool conflict = false;
            if (!Satisfies(entry.level, newLevel, conflict) && entry.level < 3) {
                entry.level = newLevel;
            }
            if (entry.extraFlag == 0) {
                entry.extraFlag = extraFlag;
            }
            return TrustResult::Trusted;
        }
        Append({hash, newLevel, optionA, extraFlag, optionB});
        if (maximum_ != 0 && queue_.size() > maximum_) {
            DropOldest(index_.find(queue_.front().pathHash));
        }
        return TrustResult::Trusted;
    });
}

TrustResult VerificationCache::Remove(std::u16string_view path) noexcept {
    if (path.empty()) {
        tracer_.Error(TraceEvent::CacheArgumentInvalid);
        return TrustResult::InvalidArgument;
    }
    const std::uint64_t hash = PathHash(rules_, path);
    {
        const std::lock_guard lock(lock_);
        if (const auto chain = index_.find(hash); chain != index_.end()) {
            DropOldest(chain);
            return TrustResult::Trusted;
        }
    }
    tracer_.Warning(TraceEvent::CacheEntryMissing, path);
    return TrustResult::InvalidArgument;
}

TrustResult VerificationCache::Clear() noexcept {
    const std::lock_guard lock(lock_);
    index_.clear();
    queue_.clear();
    return TrustResult::Trusted;
}

TrustResult VerificationCache::SetMaximum(std::uint32_t count) noexcept {
    const std::lock_guard lock(lock_);
    while (queue_.size() > count) {
        DropOldest(index_.find(queue_.front().pathHash));
    }
    maximum_ = count;
    return TrustResult::Trusted;
}

std::uint32_t VerificationCache::GetMaximum() noexcept {
    const std::lock_guard lock(lock_);
    return maximum_;
}

std::optional<VerificationCache::Found> VerificationCache::Find(std::uint64_t hash, std::uint8_t optionA,
                                                                std::int32_t optionB) noexcept {
    const auto chain = index_.find(hash);
    if (chain == index_.end()) {
        return std::nullopt;
    }
    const auto place =
        std::find_if(chain->second.begin(), chain->second.end(), [optionA, optionB](const Queue::iterator& entry) {
            return entry->optionA == optionA && entry->optionB == optionB;
        });
    return place == chain->second.end() ? std::nullopt : std::optional<Found>({&chain->second, place});
}

// All memory is taken before the store changes.
void VerificationCache::Append(const Entry& entry) {
    Queue node{entry};
    if (const auto chain = index_.find(entry.pathHash); chain != index_.end()) {
        chain->second.push_back(node.begin());
    } else {
        index_.try_emplace(entry.pathHash, Chain{node.begin()});
    }
    queue_.splice(queue_.end(), node);
}

void VerificationCache::DropOldest(Index::iterator chain) noexcept {
    queue_.erase(chain->second.front());
    chain->second.erase(chain->second.begin());
    if (chain->second.empty()) {
        index_.erase(chain);
    }
}

}  // namespace tsLib
