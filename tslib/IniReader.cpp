#include "tslib/IniReader.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <vector>

#include "tslib/Utf8.h"
#include "tslib/platform/AsciiCase.h"

namespace tsLib {

using platform::SystemError;

namespace {

std::u16string_view Trim(std::u16string_view text) noexcept {
    constexpr std::u16string_view kBlanks = u" \t";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::u16string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// Takes the first line off the text, without its "\r\n" or "\n".
std::u16string_view TakeLine(std::u16string_view& text) noexcept {
    const std::size_t end = text.find(u'\n');
    std::u16string_view line = text.substr(0, end);
    text.remove_prefix(end == std::u16string_view::npos ? text.size() : end + 1);
    if (line.ends_with(u'\r')) {
        line.remove_suffix(1);
    }
    return Trim(line);
}

SystemError ReadWhole(platform::Files& files, const std::u16string& path, std::vector<std::byte>& bytes) {
    platform::OwnedFile file(files);
    if (const SystemError error = files.OpenForReading(path, platform::FileSharing::ReadersAndWriters, file.Receive());
        Failed(error)) {
        return error;
    }
    std::array<std::byte, 4096> piece;
    for (;;) {
        std::size_t count{};
        if (const SystemError error = files.Read(file.Get(), piece, count); Failed(error)) {
            return error;
        }
        if (count == 0) {
            return SystemError::Success;
        }
        // Counted here, since the size that a pipe or a device tells is not the number of bytes that it gives.
        if (bytes.size() + count > kMaximumIniBytes) {
            return SystemError::FileTooLarge;
        }
        bytes.insert(bytes.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(count));
    }
}

}  // namespace

SystemError IniReader::Load(const std::u16string& path) {
    std::vector<std::byte> bytes;
    const SystemError error = ReadWhole(files_, path, bytes);
    if (Succeeded(error)) {
        Parse(bytes);
    }
    return error;
}

void IniReader::Parse(std::span<const std::byte> bytes) {
    const auto startsWith = [bytes](std::initializer_list<unsigned char> mark) {
        return bytes.size() >= mark.size() &&
               std::equal(mark.begin(), mark.end(), bytes.begin(), [](auto a, auto b) { return std::byte{a} == b; });
    };
    isWide_ = startsWith({0xFF, 0xFE});
    std::u16string text;
    if (isWide_) {
        text.resize((bytes.size() - 2) / sizeof(char16_t));
        std::memcpy(text.data(), bytes.data() + 2, text.size() * sizeof(char16_t));
    } else {
        const auto content = bytes.subspan(startsWith({0xEF, 0xBB, 0xBF}) ? 3 : 0);
        text.resize(content.size());
        std::transform(content.begin(), content.end(), text.begin(),
                       [](std::byte byte) { return static_cast<char16_t>(byte); });
    }
    text_ = std::move(text);
}

// Of an 8-bit file only the value is decoded: a comment, or the value of somebody else's key, may hold anything. What
// is looked for before is ASCII, and no code page uses those bytes as the second half of a character where it would
// matter: an end of line, a blank, "=" and ";" never are, and "]" only counts behind an ASCII name.
SystemError IniReader::Read(std::u16string_view section, std::u16string_view key, std::u16string& value) const {
    const auto found = Find(section, key);
    if (!found) {
        return SystemError::NotFound;
    }
    if (isWide_ || found->empty()) {
        value = *found;
        return SystemError::Success;
    }
    std::string narrow(found->size(), '\0');
    std::transform(found->begin(), found->end(), narrow.begin(), [](char16_t unit) { return static_cast<char>(unit); });
    return FromUtf8(narrow, value) ? SystemError::Success : rules_.FromNarrow(narrow, value);
}

std::optional<std::u16string_view> IniReader::Find(std::u16string_view section,
                                                   std::u16string_view key) const noexcept {
    bool inside = false;
    for (std::u16string_view rest = text_; !rest.empty();) {
        const std::u16string_view line = TakeLine(rest);
        if (line.starts_with(u'[')) {
            if (inside) {
                return std::nullopt;
            }
            // A header that is not closed starts a section that no name fits.
            const std::size_t end = line.find(u']');
            inside = end != std::u16string_view::npos && EqualsAscii(Trim(line.substr(1, end - 1)), section);
            continue;
        }
        const std::size_t equals = line.find(u'=');
        if (inside && equals != std::u16string_view::npos && EqualsAscii(Trim(line.substr(0, equals)), key)) {
            return Trim(line.substr(equals + 1));
        }
    }
    return std::nullopt;
}

}  // namespace tsLib
