#pragma once

#include "tslib/platform/NarrowCharacters.h"

namespace tsLib::platform::win32 {

// The characters of a code page: those of one byte, of two bytes with a lead byte, and of UTF-8.
class Win32NarrowCharacters final : public NarrowCharacters {
public:
    // 0 stands for the system's ANSI code page.
    explicit Win32NarrowCharacters(unsigned codePage = 0) noexcept;

    [[nodiscard]] std::size_t FirstLength(std::string_view text) const noexcept override;

private:
    unsigned codePage_;
};

}  // namespace tsLib::platform::win32
