#include "tests/fakes/FakeCore.h"

#include <algorithm>

namespace tests {

char16_t SimpleLower(char16_t unit) noexcept {
    const auto within = [unit](char16_t first, char16_t last) { return unit >= first && unit <= last; };
    if (within(u'A', u'Z') || (within(0xC0, 0xDE) && unit != 0xD7) || (within(0x391, 0x3A9) && unit != 0x3A2) ||
        within(0x410, 0x42F)) {
        return static_cast<char16_t>(unit + 32);
    }
    if (within(0x400, 0x40F)) {
        return static_cast<char16_t>(unit + 80);
    }
    // Pairs of capital and small letter: the capital is even in most of the block, odd in two stretches.
    const bool evenPairs = (within(0x100, 0x137) && unit != 0x130) || within(0x14A, 0x177);
    const bool oddPairs = within(0x139, 0x148) || within(0x179, 0x17E);
    const bool isCapital = (evenPairs && unit % 2 == 0) || (oddPairs && unit % 2 == 1);
    return unit == 0x178 ? char16_t{0xFF} : static_cast<char16_t>(unit + (isCapital ? 1 : 0));
}

std::u16string SimpleLower(std::u16string_view text) {
    std::u16string lower(text);
    std::ranges::transform(lower, lower.begin(), [](char16_t unit) { return SimpleLower(unit); });
    return lower;
}

std::u16string TrimmedPath(std::u16string_view path) {
    std::u16string plain;
    if (path.starts_with(u"\\\\?\\UNC\\") || (path.starts_with(u"\\\\") && !path.starts_with(u"\\\\?\\"))) {
        plain = u"\\";
    }
    path.remove_prefix(path.starts_with(u"\\\\?\\UNC\\") ? 7 : path.starts_with(u"\\\\?\\") ? 4 : 0);
    const std::size_t root = plain.size();
    const bool isRooted = path.starts_with(u'\\') || path.starts_with(u'/');
    for (std::size_t from = 0; from < path.size();) {
        const std::size_t end = std::min(path.find_first_of(u"\\/", from), path.size());
        const std::u16string_view element = path.substr(from, end - from);
        if (element == u"..") {
            plain.resize(std::max(root, std::min(plain.rfind(u'\\'), plain.size())));
        } else if (!element.empty() && element != u".") {
            plain.append(plain.empty() && !isRooted ? u"" : u"\\").append(element);
        }
        from = end + 1;
    }
    return plain;
}

std::u16string LastElement(const std::u16string& path) { return path.substr(path.rfind(u'\\') + 1); }

std::u16string ParentOf(const std::u16string& path) {
    const std::size_t end = path.rfind(u'\\');
    return end == std::u16string::npos ? std::u16string() : path.substr(0, end);
}

std::vector<std::byte> ToBytes(std::string_view text) {
    const auto* first = reinterpret_cast<const std::byte*>(text.data());
    return {first, first + text.size()};
}

void FaultPlan::FailCall(std::uint32_t n, SystemError error) {
    error_ = error;
    fired_ = false;
    calls_ = 0;
    failing_ = n;
}

void FaultPlan::Fail(std::string_view operation, SystemError error, std::u16string_view about) {
    const std::pair rule(std::string(operation), PlainPath(about));
    rules_.erase(rule);
    if (Failed(error)) {
        rules_[rule] = error;
    }
}

SystemError FaultPlan::Next(std::string_view operation, std::u16string_view about) {
    if (++calls_ == failing_) {
        fired_ = true;
        return error_;
    }
    for (const auto& [rule, error] : rules_) {
        if (rule.first == operation && (rule.second.empty() || rule.second == PlainPath(about))) {
            return error;
        }
    }
    return SystemError::Success;
}

std::size_t FakeCore::Sum(std::size_t Tally::*number, std::string_view kind) const {
    const std::lock_guard lock(mutex);
    std::size_t sum = 0;
    for (const Tally& tally : tallies) {
        sum += kind.empty() || kind == tally.kind ? tally.*number : 0;
    }
    return sum;
}

std::string FakeCore::Leftovers() const {
    const std::lock_guard lock(mutex);
    std::string text;
    for (const Tally& tally : tallies) {
        if (tally.open + tally.misuses != 0) {
            text.append(tally.kind) +=
                ": " + std::to_string(tally.open) + " open, " + std::to_string(tally.misuses) + " misused; ";
        }
    }
    return text;
}

std::uintptr_t NextHandleNumber() noexcept {
    static std::atomic<std::uintptr_t> last{0x1000};
    return ++last;
}

}  // namespace tests
