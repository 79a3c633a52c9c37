#include "tslib/IniReader.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include "tslib/AsciiCase.h"
#include "tslib/Utf8.h"

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
    if (const SystemError error = files.OpenForReading(path, file.Receive()); Failed(error)) {
        return error;
    }
    std::uint64_t size = 0;
    if (const SystemError error = files.Size(file.Get(), size); Failed(error)) {
        return error;
    }
    if (size > kMaximumIniBytes) {
        return SystemError::FileTooLarge;
    }
    std::array<std::byte, 4096> piece;
    for (;;) {
        std::size_t count = 0;
        if (const SystemError error = files.Read(file.Get(), piece, count); Failed(error)) {
            return error;
        }
        if (count == 0) {
            return SystemError::Success;
        }
        // The size that a pipe or a device tells is not the number of bytes that it gives.
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
    return Failed(error) ? error : Parse(bytes);
}

SystemError IniReader::Parse(std::span<const std::byte> bytes) {
    if (bytes.size() >= 2 && bytes[0] == std::byte{0xFF} && bytes[1] == std::byte{0xFE}) {
        std::u16string text((bytes.size() - 2) / sizeof(char16_t), u'\0');
        if (!text.empty()) {
            std::memcpy(text.data(), bytes.data() + 2, text.size() * sizeof(char16_t));
        }
        text_ = std::move(text);
        return SystemError::Success;
    }
    std::string_view narrow;
    if (!bytes.empty()) {
        narrow = {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }
    constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
    if (FromUtf8(narrow.starts_with(kUtf8Mark) ? narrow.substr(kUtf8Mark.size()) : narrow, text_)) {
        return SystemError::Success;
    }
    return rules_.FromNarrow(narrow, text_);
}

std::optional<std::u16string_view> IniReader::Find(std::u16string_view section,
                                                   std::u16string_view key) const noexcept {
    bool inside = false;
    for (std::u16string_view rest = text_; !rest.empty();) {
        const std::u16string_view line = TakeLine(rest);
        if (line.starts_with(u';') || line.starts_with(u'#')) {
            continue;
        }
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
