#pragma once

#include "tslib/platform/CodePage.h"

namespace tsLib::platform::win32 {

// Any thread.
class Win32CodePage final : public CodePage {
public:
    SystemError ToNarrow(std::u16string_view wide, std::string& narrow) override;
};

}  // namespace tsLib::platform::win32
