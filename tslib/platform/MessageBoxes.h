// Message boxes.
#pragma once

#include <string>

namespace tsLib::platform {

class MessageBoxes {
public:
    // Shows the text with an error icon and an OK button, without an owner window, and returns when the user has closed
    // the box. Without a caption (null) the platform writes its own. The calling thread handles window messages
    // meanwhile, so that calls can arrive in between. A box that cannot be shown is passed over.
    virtual void ShowError(const std::u16string& text, const std::u16string* caption) noexcept = 0;

protected:
    ~MessageBoxes() = default;
};

}  // namespace tsLib::platform
