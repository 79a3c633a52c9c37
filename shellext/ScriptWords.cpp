#include "shellext/ScriptWords.h"

#include <algorithm>

#include "tslib/platform/AsciiCase.h"

namespace HVR {

namespace {

// Replacements alone can make a word long; the longest value text of the registry seam fits.
constexpr std::size_t kMaximumWordLength = 0x7FFF;

bool IsSpace(char16_t unit) noexcept { return unit == u' ' || unit == u'\t' || unit == u'\r' || unit == u'\n'; }

}  // namespace

bool ScriptWord::Is(std::u16string_view keyword) const noexcept { return !quoted && tsLib::EqualsAscii(text, keyword); }

void ScriptWords::SkipSpace() noexcept {
    while (position_ < text_.size() && IsSpace(text_[position_])) {
        line_ += text_[position_] == u'\n' ? 1U : 0U;
        ++position_;
    }
}

std::u16string ScriptWords::Quoted() {
    std::u16string raw;
    for (++position_; position_ < text_.size(); ++position_) {
        const char16_t unit = text_[position_];
        if (unit == u'\'') {
            ++position_;
            if (position_ == text_.size() || text_[position_] != u'\'') {
                return raw;
            }
        }
        line_ += unit == u'\n' ? 1U : 0U;
        raw += unit;
    }
    fault_ = ScriptFault::UnclosedQuote;
    return raw;
}

std::u16string_view ScriptWords::Unquoted() noexcept {
    const std::size_t begin = position_;
    while (position_ < text_.size() && !IsSpace(text_[position_])) {
        ++position_;
    }
    return text_.substr(begin, position_ - begin);
}

std::u16string ScriptWords::Replaced(std::u16string_view raw) {
    std::u16string text;
    while (!raw.empty()) {
        const std::size_t percent = std::min(raw.find(u'%'), raw.size());
        text += raw.substr(0, percent);
        raw.remove_prefix(percent);
        if (!raw.empty()) {
            const std::size_t end = raw.find(u'%', 1);
            // Without an end the rest is looked for, and found nowhere: no name holds a percent sign.
            const std::u16string_view name = end == raw.npos ? raw : raw.substr(1, end - 1);
            const auto found = std::ranges::find_if(
                replacements_, [name](const auto& known) { return tsLib::EqualsAscii(known.name, name); });
            if (name.empty()) {
                text += u'%';
            } else if (found != replacements_.end()) {
                text += found->text;
            } else {
                fault_ = ScriptFault::UnknownReplacement;
                return text;
            }
            raw.remove_prefix(end + 1);
        }
        if (text.size() > kMaximumWordLength) {
            fault_ = ScriptFault::ValueTooLong;
            return text;
        }
    }
    return text;
}

bool ScriptWords::Next(ScriptWord& word) {
    SkipSpace();
    if (fault_ != ScriptFault::None || position_ == text_.size()) {
        return false;
    }
    const bool quoted = text_[position_] == u'\'';
    const std::u16string raw = quoted ? Quoted() : std::u16string(Unquoted());
    if (fault_ == ScriptFault::None) {
        word = {Replaced(raw), quoted};
    }
    return fault_ == ScriptFault::None;
}

bool ScriptWords::Take(std::u16string_view keyword) {
    const ScriptWords before = *this;
    ScriptWord word;
    if (Next(word) && word.Is(keyword)) {
        return true;
    }
    // A fault of the word shows again when it is read for good.
    *this = before;
    return false;
}

}  // namespace HVR
