// What the fakes of one platform share: names, a lock, the fault switch, and a tally of what is open.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tslib/platform/SystemError.h"

namespace tests {

using namespace tsLib::platform;

// Lower case of ASCII, Latin-1, Latin Extended-A, Greek and Cyrillic capitals.
[[nodiscard]] char16_t SimpleLower(char16_t unit) noexcept;
[[nodiscard]] std::u16string SimpleLower(std::u16string_view text);
// A path without the long-path prefix, with single backslashes, none at its end, and "." and ".." resolved.
[[nodiscard]] std::u16string TrimmedPath(std::u16string_view path);
// The same in lower case: the one name of a file.
[[nodiscard]] inline std::u16string PlainPath(std::u16string_view path) { return SimpleLower(TrimmedPath(path)); }
[[nodiscard]] std::u16string LastElement(const std::u16string& path);
[[nodiscard]] std::u16string ParentOf(const std::u16string& path);  // empty when there is no backslash
[[nodiscard]] std::vector<std::byte> ToBytes(std::string_view text);

// The one switch that makes the fakes fail. Change it only when no other thread is in a call.
class FaultPlan {
public:
    // The n-th seam call from now on fails, over all fakes, n counting from 1.
    void FailCall(std::uint32_t n, SystemError error);
    void Disarm() { failing_ = 0; }
    // Whether the n-th call was reached; a sweep ends when a whole run leaves this false.
    [[nodiscard]] bool Fired() const { return fired_; }
    // The calls that could have failed since FailCall, or since the beginning.
    [[nodiscard]] std::uint32_t Calls() const { return calls_; }
    // Every call of the operation fails from now on, or only those about this path or name; Success takes that back.
    // Operations are called as in the interfaces; the fakes' headers name the exceptions.
    void Fail(std::string_view operation, SystemError error, std::u16string_view about = {});

    // For fakes: the error of this call, or Success.
    [[nodiscard]] SystemError Next(std::string_view operation, std::u16string_view about = {});

private:
    std::atomic<std::uint32_t> failing_{0};
    std::atomic<std::uint32_t> calls_{0};
    std::atomic<bool> fired_{false};
    SystemError error_ = SystemError::Success;
    std::map<std::pair<std::string, std::u16string>, SystemError> rules_;  // by operation and plain path
};

struct Tally {
    std::string_view kind;
    std::size_t open = 0;
    std::size_t misuses = 0;
};

struct FakeCore {
    FakeCore() = default;
    FakeCore(const FakeCore&) = delete;
    FakeCore& operator=(const FakeCore&) = delete;

    // What is open: of one kind, such as "file", or of all.
    [[nodiscard]] std::size_t OpenHandles(std::string_view kind = {}) const { return Sum(&Tally::open, kind); }
    // Uses and closes of what is not open, and whatever else the platform would not survive.
    [[nodiscard]] std::size_t Misuses() const { return Sum(&Tally::misuses, {}); }
    // Both in words, for fixtures: empty when everything that was opened is closed and nothing was used after that.
    [[nodiscard]] std::string Leftovers() const;

    FaultPlan faults;
    std::list<Tally> tallies;
    mutable std::recursive_mutex mutex;  // fakes may call each other; callbacks of tests run without it

private:
    [[nodiscard]] std::size_t Sum(std::size_t Tally::*number, std::string_view kind) const;
};

// Ends a call with an error; used inside the fakes alone.
struct Refused {
    SystemError error;
};
inline void Require(bool condition, SystemError otherwise) {
    if (!condition) {
        throw Refused{otherwise};
    }
}
inline void RequireNoNul(std::u16string_view text) {
    Require(text.find(u'\0') == std::u16string_view::npos, SystemError::InvalidParameter);
}
template <class Map, class Key>
[[nodiscard]] auto& At(Map& map, const Key& key, SystemError otherwise) {
    const auto found = map.find(key);
    Require(found != map.end(), otherwise);
    return found->second;
}

class FakePart {
public:
    FakePart(const FakePart&) = delete;
    FakePart& operator=(const FakePart&) = delete;

protected:
    explicit FakePart(FakeCore& core) : core_(core) {}
    ~FakePart() = default;

    [[nodiscard]] std::unique_lock<std::recursive_mutex> Lock() const { return std::unique_lock(core_.mutex); }
    [[nodiscard]] Tally& NewTally(std::string_view kind) const { return core_.tallies.emplace_back(Tally{kind}); }
    // One seam call: the body runs under the lock unless the fault switch says otherwise. It sets the outputs at its
    // end, unless something is not as it Requires.
    template <class Body>
    SystemError Call(std::string_view operation, std::u16string_view about, Body&& body) const {
        const auto lock = Lock();
        if (const SystemError fault = core_.faults.Next(operation, about); Failed(fault)) {
            return fault;
        }
        try {
            body();
            return SystemError::Success;
        } catch (const Refused& refused) {
            return refused.error;
        }
    }
    template <class Body>
    SystemError Call(std::string_view operation, Body&& body) const {
        return Call(operation, {}, std::forward<Body>(body));
    }
    template <class Record>
    void Keep(std::vector<Record>& records, const Record& record) const {
        const auto lock = Lock();
        records.push_back(record);
    }

    FakeCore& core_;
};

[[nodiscard]] std::uintptr_t NextHandleNumber() noexcept;

// Handles are never used twice, so that a use after close is always noticed.
template <class Handle, class State>
class HandleTable final : FakePart {
public:
    HandleTable(FakeCore& core, std::string_view kind, SystemError closed = SystemError::InvalidHandle)
        : FakePart(core), tally_(NewTally(kind)), closed_(closed) {}

    [[nodiscard]] Handle Add(State state) {
        const auto lock = Lock();
        const Handle handle{NextHandleNumber()};
        open_.emplace(handle, std::move(state));
        ++tally_.open;
        return handle;
    }
    // Required to be open; it is a misuse if it is not.
    [[nodiscard]] State& operator[](Handle handle) {
        CountMisuse(!open_.contains(handle));
        return At(open_, handle, closed_);
    }
    void Remove(Handle handle) noexcept {
        const auto lock = Lock();
        const std::size_t removed = open_.erase(handle);
        tally_.open -= removed;
        CountMisuse(removed == 0);
    }
    [[nodiscard]] const std::map<Handle, State>& All() const noexcept { return open_; }
    void CountMisuse(bool isMisuse) noexcept { tally_.misuses += isMisuse ? 1U : 0U; }

private:
    Tally& tally_;
    SystemError closed_;
    std::map<Handle, State> open_;
};

}  // namespace tests
