#include "tests/fakes/FakeTrace.h"

#include <algorithm>

namespace tests {

void FakeTrace::Write(const tsLib::platform::TraceRecord& record) noexcept {
    try {
        KeptTrace kept{record.level, static_cast<tsLib::TraceEvent>(record.event), {}, {}};
        for (const auto& argument : record.arguments) {
            if (const auto* text = std::get_if<std::u16string_view>(&argument)) {
                kept.texts.emplace_back(*text);
            } else if (const auto* number = std::get_if<std::uint32_t>(&argument)) {
                kept.numbers.push_back(*number);
            } else {
                kept.numbers.push_back(std::get<std::uint64_t>(argument));
            }
        }
        const std::lock_guard lock(mutex_);
        records.push_back(std::move(kept));
    } catch (...) {
    }
}

std::size_t FakeTrace::Count(tsLib::platform::TraceLevel level) const {
    return static_cast<std::size_t>(
        std::count_if(records.begin(), records.end(), [level](const KeptTrace& kept) { return kept.level == level; }));
}

std::size_t FakeTrace::Count(tsLib::TraceEvent event) const {
    return static_cast<std::size_t>(
        std::count_if(records.begin(), records.end(), [event](const KeptTrace& kept) { return kept.event == event; }));
}

}  // namespace tests
