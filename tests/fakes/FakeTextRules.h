// Text mappings. The two lower-case mappings differ beyond ASCII, as on the platform.
#pragma once

#include <string>

#include "tests/fakes/HandleTable.h"
#include "tests/fakes/SimpleLower.h"
#include "tslib/platform/TextRules.h"

namespace tests {

// Any thread: no state but the fault switch.
class FakeTextRules final : public tsLib::platform::TextRules, public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;

    SystemError LowerByLocale(std::u16string_view text, std::u16string& lower) override {
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        lower = SimpleLower(text);
        return SystemError::Success;
    }
    // The runtime starts in a locale that knows the letters A to Z only.
    [[nodiscard]] char16_t LowerByRuntime(char16_t unit) const noexcept override {
        return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
    }
    [[nodiscard]] int CompareWords(const std::u16string& left, const std::u16string& right) override {
        return left.compare(right);
    }
    // Each byte is one character, as in Latin-1.
    SystemError FromNarrow(std::string_view narrow, std::u16string& wide) override {
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        std::u16string result;
        for (const char byte : narrow) {
            result += static_cast<char16_t>(static_cast<unsigned char>(byte));
        }
        wide = std::move(result);
        return SystemError::Success;
    }
};

}  // namespace tests
