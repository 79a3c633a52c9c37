#include "resources/Inserts.h"

namespace HVR {

bool AsksOnlyForTexts(std::u16string_view format, std::size_t count) noexcept {
    const auto isDigit = [](char16_t unit) { return unit >= u'0' && unit <= u'9'; };
    for (std::size_t mark = format.find(u'%'); mark != std::u16string_view::npos; mark = format.find(u'%')) {
        format.remove_prefix(mark + 1);
        if (format.empty() || !isDigit(format[0]) || format[0] == u'0') {
            // Not an insert, but an escape of one character; that may be a percent sign.
            format.remove_prefix(format.empty() ? 0 : 1);
            continue;
        }
        // The platform reads at most two digits.
        const std::size_t digits = format.size() > 1 && isDigit(format[1]) ? 2 : 1;
        std::size_t number = 0;
        for (const char16_t digit : format.substr(0, digits)) {
            number = number * 10 + static_cast<std::size_t>(digit - u'0');
        }
        format.remove_prefix(digits);
        if (number > count || (format.starts_with(u'!') && !format.starts_with(u"!s!"))) {
            return false;
        }
    }
    return true;
}

}  // namespace HVR
