// What full checks found, kept for the life of the process: the findings that the result shortcut reads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "tslib/platform/Files.h"
#include "tslib/platform/Locks.h"
#include "tslib/platform/System.h"
#include "tslib/verifytrust/HashProvider.h"

namespace tsLib {

// A record is about one file in one state, both read through the handle that the check held: it is found again only by
// a file of the same identity whose size, times and journal number are what they were. See docs/trust.md for why that
// is safe, and where no record is relied on. Any thread; the lock is held for the look at the records alone.
class TrustRecords final : public HashProviders {
public:
    // When there are more, the oldest goes.
    static constexpr std::size_t kMaximum = 256;
    // A change within one step of a file system's clock may leave the times as they were: findings made so soon after
    // the last change are not relied on. The coarsest step, that of FAT, is two seconds.
    static constexpr std::uint64_t kTimeStep = 20'000'000;

    // Both outlive this, and this all providers that it creates.
    TrustRecords(platform::Files& files, platform::System& system) noexcept : files_(files), system_(system) {}
    TrustRecords(const TrustRecords&) = delete;
    TrustRecords& operator=(const TrustRecords&) = delete;

    [[nodiscard]] std::unique_ptr<HashProvider> Create() override;
    [[nodiscard]] std::size_t Count() const;

private:
    class Provider;
    class Record;
    struct Entry {
        platform::FileState state;
        CheckKind kind;
        std::uint32_t findings;
        bool isTooYoung;
    };

    // The file's word, kDoNotRelyOnCached included; nothing when there is no record of it.
    [[nodiscard]] std::optional<std::uint32_t> Find(const platform::HeldFile& file, CheckKind kind) const;
    void Keep(const platform::HeldFile& file, CheckKind kind, std::uint32_t findings);
    // False when the state cannot be read, or does not tell every change.
    [[nodiscard]] bool ReadState(const platform::HeldFile& file, platform::FileState& state) const;

    platform::Files& files_;
    platform::System& system_;
    mutable platform::Lock lock_;
    std::vector<Entry> entries_;  // oldest first
};

// No provider at all: every check is made in full.
class NoHashProviders final : public HashProviders {
public:
    [[nodiscard]] std::unique_ptr<HashProvider> Create() override { return nullptr; }
};

}  // namespace tsLib
