#include "tslib/verifytrust/EncipheredText.h"

namespace tsLib {

namespace {

volatile std::uint32_t textKey = detail::kTextKey;

}  // namespace

DecipheredText::DecipheredText(const EncipheredText& text) : text_(text.units.size(), u'\0') {
    detail::KeyStream stream(textKey, text.seed);
    for (std::size_t i = 0; i < text.units.size(); ++i) {
        text_[i] = static_cast<char16_t>(text.units[i] ^ stream.Next());
    }
}

DecipheredText::~DecipheredText() {
    volatile char16_t* const units = text_.data();
    for (std::size_t i = 0; i < text_.size(); ++i) {
        units[i] = u'\0';
    }
}

}  // namespace tsLib
