// What is told about a failed search.
#include <array>

#include "resources/Inserts.h"
#include "resources/ResourceLoader.h"

namespace HVR {

using tsLib::HResult;

void CResourceLoader::ReportFailedSearch(bool refused, HResult last) {
    displayVisible_ = IsDisplayVisible();
    log_.Sentence(
        {u"Current window station ", displayVisible_ ? u"has" : u"does not have", u" visible display surfaces."});
    if (refused) {
        ReportLoadFailure(HResult::SignatureRefused);
    } else if (last == HResult::FileNotFound) {
        ReportLoadFailure(HResult::FileNotFound);
    }
}

bool CResourceLoader::IsDisplayVisible() noexcept {
    std::uint32_t flags = 0;
    return Succeeded(seam_.station.Flags(flags)) && (flags & tsLib::platform::kWindowStationVisible) != 0;
}

void CResourceLoader::ReportLoadFailure(HResult code) {
    const std::array<std::uint16_t, 3> languages{seam_.locales.UserLanguage(), seam_.locales.SystemLanguage(), 0};
    std::u16string text;
    for (const std::uint16_t language : languages) {
        if (Succeeded(seam_.messages.SystemText(Number(code), language, text))) {
            break;
        }
    }
    if (text.empty()) {
        return;
    }
    if (code == HResult::FileNotFound && AsksOnlyForTexts(text, 1)) {
        // Should this fail, the text with its insert unfilled still says what is wrong.
        static_cast<void>(seam_.messages.FillInserts(text, {&fileName_, 1}, text));
    }
    if (displayVisible_) {
        seam_.boxes.ShowError(text, nullptr);
    }
    log_.Sentence(text);
}

}  // namespace HVR
