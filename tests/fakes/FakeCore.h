// What the fakes of one platform share: names, a lock, the fault switch, and a tally of what is open.
#pragma once

#include <algorithm>
#include <atomic>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "tests/fakes/PlatformErrors.h"

namespace tests {

using namespace tsLib::platform;

// Lower case of ASCII, Latin-1, Greek and Cyrillic capitals.
[[nodiscard]] inline char16_t SimpleLower(char16_t unit) noexcept {
    const auto within = [unit](char16_t first, char16_t last) { return unit >= first && unit <= last; };
    const bool isCapital =
        within(u'A', u'Z') || (within(0xC0, 0xDE) && unit != 0xD7) || within(0x391, 0x3A9) || within(0x410, 0x42F);
    return isCapital ? static_cast<char16_t>(unit + 32) : unit;
}
[[nodiscard]] inline std::u16string SimpleLower(std::u16string_view text) {
    std::u16string lower(text);
    std::ranges::transform(lower, lower.begin(), [](char16_t unit) { return SimpleLower(unit); });
    return lower;
}

[[nodiscard]] inline std::u16string LastElement(const std::u16string& path) {
    return path.substr(path.rfind(u'\\') + 1);
}
// Empty when there is no backslash.
[[nodiscard]] inline std::u16string ParentOf(const std::u16string& path) {
    const std::size_t end = path.rfind(u'\\');
    return path.substr(0, end == std::u16string::npos ? 0 : end);
}
// With one backslash between elements, none at the ends, and "." and ".." resolved where they are no names.
[[nodiscard]] inline std::u16string Elements(std::u16string_view path, const char16_t* separators,
                                             bool areDotsNames = false) {
    std::u16string elements;
    for (std::size_t from = 0; from < path.size();) {
        const std::size_t end = std::min(path.find_first_of(separators, from), path.size());
        const std::u16string_view element = path.substr(from, end - from);
        if (element == u".." && !areDotsNames) {
            elements = ParentOf(elements);
        } else if (!element.empty() && (element != u"." || areDotsNames)) {
            elements.append(elements.empty() ? u"" : u"\\").append(element);
        }
        from = end + 1;
    }
    return elements;
}
// A path with single backslashes and none at its end, without the long-path prefix.
[[nodiscard]] inline std::u16string TrimmedPath(std::u16string_view path) {
    const bool isLong = path.starts_with(u"\\\\?\\");
    const bool isLongShare = path.starts_with(u"\\\\?\\UNC\\");
    const bool isShare = isLongShare || (path.starts_with(u"\\\\") && !isLong);
    path.remove_prefix(isLongShare ? 7 : isLong ? 4 : 0);
    const std::u16string_view drive = path.substr(0, path.find(u':') == 1 ? 2 : 0);
    path.remove_prefix(drive.size());
    const std::u16string elements = Elements(path, u"\\/");
    const bool isRooted = path.starts_with(u'\\') || path.starts_with(u'/');
    return (isShare ? u"\\" : std::u16string(drive)) + (isRooted && !elements.empty() ? u"\\" : u"") + elements;
}
// The same in lower case: the one name of a file.
[[nodiscard]] inline std::u16string PlainPath(std::u16string_view path) { return SimpleLower(TrimmedPath(path)); }

[[nodiscard]] inline std::vector<std::byte> ToBytes(std::string_view text) {
    const auto* first = reinterpret_cast<const std::byte*>(text.data());
    return {first, first + text.size()};
}

// The one switch that makes the fakes fail. Change it only when no other thread is in a call.
class FaultPlan {
public:
    // The n-th seam call from now on fails, over all fakes, n counting from 1.
    void FailCall(std::uint32_t n, SystemError error) {
        error_ = error;
        Arm(n, n);
    }
    // The same with every call from the n-th on, each with one of its operation's own errors; what is given back fails
    // for no lack of anything, and is spared.
    void FailFrom(std::uint32_t n) {
        error_ = SystemError::Success;
        Arm(n, UINT32_MAX);
    }
    void Disarm() { failing_ = 0; }
    // Keeps the operation of every call from now on, whether it fails or not, in `heard`, and of those that were made
    // to fail in `struck`; null ends that.
    void Listen(std::vector<std::string_view>* heard, std::vector<std::string_view>* struck) {
        heard_ = heard;
        struck_ = struck;
    }
    // Whether the n-th call was reached; a sweep ends when a whole run leaves this false.
    [[nodiscard]] bool Fired() const { return failing_ != 0 && calls_ >= failing_; }
    // Every call of the operation fails from now on, or only those about this path or name; Success takes that back.
    // Operations are called as in the interfaces; the fakes' headers name the exceptions.
    void Fail(std::string_view operation, SystemError error, std::u16string_view about = {}) {
        rules_[{std::string(operation), PlainPath(about)}] = error;
    }

    // For fakes: the error of this call, or Success.
    [[nodiscard]] SystemError Next(std::string_view operation, std::u16string_view about = {}) {
        ++calls_;
        if (heard_ != nullptr) {
            heard_->push_back(operation);
        }
        if (failing_ != 0 && calls_ >= failing_ && calls_ <= lastFailing_ &&
            (calls_ == failing_ || !GivesBack(operation))) {
            if (struck_ != nullptr) {
                struck_->push_back(operation);
            }
            const auto errors = ErrorsOf(operation);
            return Failed(error_) || errors.empty() ? error_ : errors[failing_ % errors.size()];
        }
        for (const auto& [rule, error] : rules_) {
            if (Failed(error) && rule.first == operation && (rule.second.empty() || rule.second == PlainPath(about))) {
                return error;
            }
        }
        return SystemError::Success;
    }

private:
    void Arm(std::uint32_t first, std::uint32_t last) {
        calls_ = 0;
        failing_ = first;
        lastFailing_ = last;
    }

    std::uint32_t failing_ = 0;
    std::uint32_t lastFailing_ = 0;
    std::vector<std::string_view>* heard_ = nullptr;
    std::vector<std::string_view>* struck_ = nullptr;
    std::uint32_t calls_ = 0;
    SystemError error_ = SystemError::Success;
    std::map<std::pair<std::string, std::u16string>, SystemError> rules_;  // by operation and plain path
};

struct Tally {
    std::string_view kind;
    std::size_t open = 0;
    std::size_t misuses = 0;
};

struct FakeCore {
    // By kind.
    [[nodiscard]] std::map<std::string_view, std::size_t> Open() const {
        std::map<std::string_view, std::size_t> all;
        for (const Tally& tally : tallies) {
            all[tally.kind] += tally.open;
        }
        return all;
    }
    // What is open: of one kind, such as "file", or of all.
    [[nodiscard]] std::size_t OpenHandles(std::string_view kind = {}) const { return Sum(&Tally::open, kind); }
    // Uses and closes of what is not open, and whatever else the platform would not survive.
    [[nodiscard]] std::size_t Misuses() const { return Sum(&Tally::misuses, {}); }
    // Both in words, for fixtures: empty when everything that was opened is closed and nothing was used after that.
    [[nodiscard]] std::string Leftovers() const {
        std::string text;
        for (const auto& [kind, open, misuses] : tallies) {
            if (open + misuses != 0) {
                text.append(kind) += ": " + std::to_string(open) + " open, " + std::to_string(misuses) + " misused; ";
            }
        }
        return text;
    }

    FaultPlan faults;
    std::list<Tally> tallies;
    mutable std::recursive_mutex mutex;  // fakes may call each other; callbacks of tests run without it

private:
    [[nodiscard]] std::size_t Sum(std::size_t Tally::*number, std::string_view kind) const {
        const std::lock_guard lock(mutex);
        std::size_t sum = 0;
        for (const Tally& tally : tallies) {
            sum += kind.empty() || kind == tally.kind ? tally.*number : 0;
        }
        return sum;
    }
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
    // One seam call: the body runs under the lock unless the fault switch says otherwise; `half` is what is done by
    // then of an operation that may fail on its way. The body sets the outputs at its end, unless something is not as
    // it Requires.
    template <class Body, class Half>
    SystemError Call(std::string_view operation, std::u16string_view about, Body&& body, Half&& half) const {
        const auto lock = Lock();
        if (const SystemError fault = core_.faults.Next(operation, about); Failed(fault)) {
            half();
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
    SystemError Call(std::string_view operation, std::u16string_view about, Body&& body) const {
        return Call(operation, about, std::forward<Body>(body), [] {});
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

[[nodiscard]] inline std::uintptr_t NextHandleNumber() noexcept {
    static std::atomic<std::uintptr_t> last{0x1000};
    return ++last;
}

// Handles are never used twice, so that a use after close is always noticed. The caller holds the lock.
template <class Handle, class State>
class HandleTable final : FakePart {
public:
    HandleTable(FakeCore& core, std::string_view kind, SystemError closed = SystemError::InvalidHandle)
        : FakePart(core), tally_(NewTally(kind)), closed_(closed) {}

    [[nodiscard]] Handle Add(State state) {
        const Handle handle{NextHandleNumber()};
        open_.emplace(handle, std::move(state));
        ++tally_.open;
        return handle;
    }
    // Null when it is not open.
    [[nodiscard]] State* Find(Handle handle) {
        const auto found = open_.find(handle);
        return found == open_.end() ? nullptr : &found->second;
    }
    // Required to be open; it is a misuse if it is not.
    [[nodiscard]] State& operator[](Handle handle) {
        CountMisuse(!open_.contains(handle));
        return At(open_, handle, closed_);
    }
    void Remove(Handle handle) noexcept {
        const auto lock = Lock();  // closing is no call
        CountMisuse(!open_.contains(handle));
        tally_.open -= open_.erase(handle);
    }
    [[nodiscard]] const std::map<Handle, State>& All() const noexcept { return open_; }
    void CountMisuse(bool isMisuse) noexcept { tally_.misuses += isMisuse ? 1U : 0U; }

private:
    Tally& tally_;
    SystemError closed_;
    std::map<Handle, State> open_;
};

}  // namespace tests
