#include "tests/fakes/FakeMessageTexts.h"

namespace tests {

using tsLib::platform::SystemError;

SystemError FakeMessageTexts::SystemText(std::uint32_t code, std::uint16_t language, std::u16string& text) {
    languagesAsked.push_back(language);
    if (const SystemError fault = Fault(); Failed(fault)) {
        return fault;
    }
    const auto found = texts.find({code, language});
    if (found == texts.end()) {
        return SystemError{317};
    }
    text = found->second;
    return SystemError::Success;
}

SystemError FakeMessageTexts::FillInserts(const std::u16string& format, std::span<const std::u16string> inserts,
                                          std::u16string& text) {
    if (const SystemError fault = Fault(); Failed(fault)) {
        return fault;
    }
    std::u16string filled;
    for (std::size_t i = 0; i < format.size(); ++i) {
        if (format[i] != u'%') {
            filled += format[i];
            continue;
        }
        const auto digit = [&](std::size_t at) {
            return at < format.size() && format[at] >= u'0' && format[at] <= u'9' ? format[at] - u'0' : -1;
        };
        if (++i == format.size()) {
            return SystemError::InvalidParameter;
        }
        if (format[i] == u'0') {
            break;
        }
        if (digit(i) < 0) {
            filled += format[i] == u'n' ? std::u16string(u"\r\n") : std::u16string(1, format[i]);
            continue;
        }
        auto number = static_cast<std::size_t>(digit(i));
        if (digit(i + 1) >= 0) {
            number = number * 10 + static_cast<std::size_t>(digit(++i));
        }
        const bool asText = format.compare(i + 1, 3, u"!s!") == 0;
        if (number > inserts.size() || (!asText && format.compare(i + 1, 1, u"!") == 0)) {
            ++wildReads;
            return SystemError::InvalidParameter;
        }
        filled += inserts[number - 1];
        i += asText ? 3 : 0;
    }
    if (filled.empty()) {
        return SystemError::InternalError;
    }
    text = std::move(filled);
    return SystemError::Success;
}

}  // namespace tests
