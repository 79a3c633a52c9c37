// Texts with inserts, and the system's own message texts.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tslib/platform/SystemError.h"

namespace tsLib::platform {

// FormatMessageW with a buffer of the platform's. Any thread; throws std::bad_alloc only; outputs are untouched on
// failure.
class MessageTexts {
public:
    // The system's text of a result code in a language, or with language 0 in the one that the platform chooses.
    // Inserts stay in the text as they are.
    virtual SystemError SystemText(std::uint32_t code, std::uint16_t language, std::u16string& text) = 0;
    // Replaces %1, %2, ... by the inserts, %% by a percent sign and so on. The platform knows neither the number of the
    // inserts nor their kind: the caller has made sure that the format asks for these texts alone. A result without any
    // character is a failure.
    virtual SystemError FillInserts(const std::u16string& format, std::span<const std::u16string> inserts,
                                    std::u16string& text) = 0;

protected:
    ~MessageTexts() = default;
};

}  // namespace tsLib::platform
