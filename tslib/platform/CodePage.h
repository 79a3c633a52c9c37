// From UTF-16 to the system's ANSI code page.
#pragma once

#include <string>
#include <string_view>

#include "tslib/platform/SystemError.h"

namespace tsLib::platform {

// Any thread.
class CodePage {
public:
    // WideCharToMultiByte with CP_ACP. A character that the code page lacks becomes its default character, as a rule
    // "?". An embedded NUL is an ordinary character. Throws std::bad_alloc only; untouched on failure.
    virtual SystemError ToNarrow(std::u16string_view wide, std::string& narrow) = 0;

protected:
    ~CodePage() = default;
};

}  // namespace tsLib::platform
