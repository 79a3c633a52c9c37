// Which files were found trusted, and at which level, for the life of the process.
#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tslib/Tracer.h"
#include "tslib/TrustResult.h"
#include "tslib/platform/Locks.h"
#include "tslib/platform/TextRules.h"

namespace tsLib {

// A queue of entries in insertion order, oldest first. An entry is kept under the hash of its path, not the path, and
// under the two options of its request; it does not expire and is not dropped when the file changes on disk. An index
// by path hash stands beside the queue, so that the cost of an operation does not grow with the number of entries.
//
// Any thread: every operation holds one lock while it touches the store, and calls nothing outside meanwhile. An
// empty path (or a null one) and a zero level give InvalidArgument. When memory runs out the store stays as it was.
class VerificationCache {
public:
    VerificationCache(platform::TextRules& rules, platform::TraceOutput& trace) noexcept
        : rules_(rules), tracer_(trace) {}
    VerificationCache(const VerificationCache&) = delete;
    VerificationCache& operator=(const VerificationCache&) = delete;

    // Trusted when the oldest entry of this path and these options satisfies the level, NotTrusted when it does not,
    // FileError when there is none. Only with a maximum set, the entry found becomes the youngest, whether it satisfied
    // or not. `extraFlag` is the entry's on Trusted, else 0. `levelConflict` is set when the entry is at 3, 4 or 5 and
    // another one of these three was asked for. Both are untouched by an invalid argument.
    TrustResult Lookup(std::u16string_view path, TrustLevel level, std::uint8_t optionA, std::uint8_t& extraFlag,
                       std::int32_t optionB, bool& levelConflict) noexcept;
    // Trusted when the entry is stored or an entry of the same path and options was there; OutOfMemory.
    TrustResult Add(std::u16string_view path, TrustLevel level, std::uint8_t optionA, std::uint8_t extraFlag,
                    std::int32_t optionB) noexcept;
    // Trusted when the path's oldest entry, whatever its options, was removed; InvalidArgument when there is none.
    TrustResult Remove(std::u16string_view path) noexcept;
    TrustResult Clear() noexcept;
    // 0 means no limit. Setting 0 on a store that holds entries empties it first; that is meant so.
    TrustResult SetMaximum(std::uint32_t count) noexcept;
    [[nodiscard]] std::uint32_t GetMaximum() noexcept;

    // Jenkins' one-at-a-time hash in 64-bit arithmetic over the units in the runtime's lower case; 0 for no text.
    [[nodiscard]] static std::uint64_t PathHash(const platform::TextRules& rules, std::u16string_view path) noexcept;

private:
    struct Entry {
        std::uint64_t pathHash;
        std::int32_t level;
        std::uint8_t optionA;
        std::uint8_t extraFlag;
        std::int32_t optionB;
    };
    using Queue = std::list<Entry>;
    using Chain = std::vector<Queue::iterator>;              // the entries of one path hash, in queue order
    using Index = std::unordered_map<std::uint64_t, Chain>;  // no chain is ever empty

    struct Found {
        Chain* chain;
        Chain::iterator place;
    };
    [[nodiscard]] std::optional<Found> Find(std::uint64_t hash, std::uint8_t optionA, std::int32_t optionB) noexcept;
    void Append(const Entry& entry);
    // Drops the first entry of a chain; that of the queue's first entry begins with it.
    void DropOldest(Index::iterator chain) noexcept;

    platform::TextRules& rules_;
    Tracer tracer_;
    platform::Lock lock_;
    Queue queue_;
    Index index_;
    std::uint32_t maximum_ = 0;
};

}  // namespace tsLib
