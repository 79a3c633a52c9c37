// System texts from a map, and the platform's insert rules.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/fakes/HandleTable.h"
#include "tslib/platform/MessageTexts.h"

namespace tests {

// One thread.
class FakeMessageTexts final : public tsLib::platform::MessageTexts, public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;

    SystemError SystemText(std::uint32_t code, std::uint16_t language, std::u16string& text) override;
    SystemError FillInserts(const std::u16string& format, std::span<const std::u16string> inserts,
                            std::u16string& text) override;

    std::map<std::pair<std::uint32_t, std::uint16_t>, std::u16string> texts;  // by code and language
    std::vector<std::uint16_t> languagesAsked;
    std::size_t wildReads = 0;  // inserts that the platform would have read from memory it was not given
};

}  // namespace tests
