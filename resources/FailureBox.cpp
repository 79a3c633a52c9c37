#include "resources/FailureBox.h"

#include <array>
#include <string_view>
#include <utility>

#include "tslib/platform/Digits.h"

namespace HVR {

void FailureBox::Keep(tsLib::HResult failure, std::u16string text) noexcept {
    const std::lock_guard lock(lock_);
    failure_ = failure;
    text_ = std::move(text);
}

void FailureBox::Show() noexcept {
    std::u16string text;
    {
        const std::lock_guard lock(lock_);
        text.swap(text_);
        // The code's digits, which make the mark of this failure.
        std::array<char16_t, 32> mark{};
        const auto digits = tsLib::HexText<8>(Number(failure_));
        std::u16string_view(u"Halvora.LoadFailure.").copy(mark.data(), mark.size());
        std::u16string_view(digits.data(), digits.size()).copy(&mark[20], digits.size());
        if (text.empty() || quiet_ != 0 || !desktop_.MarkProcess(mark.data())) {
            return;
        }
    }
    desktop_.ShowError(text, nullptr);
}

void FailureBox::Count(int change) noexcept {
    const std::lock_guard lock(lock_);
    quiet_ += change;
}

}  // namespace HVR
