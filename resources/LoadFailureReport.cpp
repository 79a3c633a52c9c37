// What is told about a failed search.
#include <array>
#include <utility>

#include "resources/Inserts.h"
#include "resources/ResourceLoader.h"

namespace HVR {

using tsLib::HResult;

void CResourceLoader::ReportFailedSearch(HResult last) {
    displayVisible_ = IsDisplayVisible();
    log_.Sentence(
        {u"Current window station ", displayVisible_ ? u"has" : u"does not have", u" visible display surfaces."});
    if (refused_) {
        ReportLoadFailure(HResult::SignatureRefused);
    } else if (last == HResult::FileNotFound) {
        ReportLoadFailure(HResult::FileNotFound);
    }
}

bool CResourceLoader::IsDisplayVisible() noexcept {
    std::uint32_t flags = 0;
    return Succeeded(platform_.desktop.WindowStationFlags(flags)) &&
           (flags & tsLib::platform::kWindowStationVisible) != 0;
}

void CResourceLoader::ReportLoadFailure(HResult code) {
    const std::array<std::uint16_t, 3> languages{platform_.desktop.UserLanguage(), platform_.desktop.SystemLanguage(),
                                                 0};
    std::u16string text;
    for (const std::uint16_t language : languages) {
        if (Succeeded(platform_.desktop.SystemText(Number(code), language, text))) {
            break;
        }
    }
    if (text.empty()) {
        return;
    }
    if (code == HResult::FileNotFound && AsksOnlyForTexts(text, 1)) {
        // Should this fail, the text with its insert unfilled still says what is wrong.
        static_cast<void>(platform_.desktop.FillInserts(text, {&fileName_, 1}, text));
    }
    if (displayVisible_ && box_ == nullptr) {
        platform_.desktop.ShowError(text, nullptr);
    }
    log_.Sentence(text);
    if (displayVisible_ && box_ != nullptr) {
        box_->Keep(code, std::move(text));
    }
}

}  // namespace HVR
