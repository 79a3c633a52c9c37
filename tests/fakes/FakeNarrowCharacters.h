// Characters of code page 932: lead bytes 81 to 9F and E0 to FC.
#pragma once

#include "tslib/platform/NarrowCharacters.h"

namespace tests {

class FakeNarrowCharacters final : public tsLib::platform::NarrowCharacters {
public:
    [[nodiscard]] std::size_t FirstLength(std::string_view text) const noexcept override {
        const auto lead = static_cast<unsigned char>(text.front());
        const std::size_t length = (lead >= 0x81 && lead <= 0x9F) || (lead >= 0xE0 && lead <= 0xFC) ? 2 : 1;
        return length <= text.size() ? length : 0;
    }
};

}  // namespace tests
