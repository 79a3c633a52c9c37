#include "tools/zebdiag/TextLines.h"

#include <array>
#include <cstring>

#include "tslib/Utf8.h"

namespace HVR::zebdiag {

using namespace tsLib::platform;

namespace {

constexpr std::size_t kLargestList = std::size_t{256} << 20;

SystemError ReadAll(Files& files, const std::u16string& path, std::string& bytes) {
    OwnedFile file(files);
    if (const auto error = files.OpenForReading(path, FileSharing::ReadersAndWriters, file.Receive()); Failed(error)) {
        return error;
    }
    std::array<std::byte, 65536> piece;
    for (;;) {
        std::size_t count = 0;
        if (const auto error = files.Read(file.Get(), piece, count); Failed(error)) {
            return error;
        }
        if (count == 0) {
            return SystemError::Success;
        }
        bytes.append(reinterpret_cast<const char*>(piece.data()), count);
        if (bytes.size() > kLargestList) {
            return SystemError::FileTooLarge;
        }
    }
}

bool Decode(std::string_view bytes, std::u16string& text) {
    if (bytes.starts_with("\xFF\xFE")) {
        text.resize((bytes.size() - 2) / 2);
        std::memcpy(text.data(), bytes.data() + 2, text.size() * 2);
        return bytes.size() % 2 == 0;
    }
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    return tsLib::FromUtf8(bytes.substr(bytes.starts_with(kMark) ? kMark.size() : 0), text);
}

}  // namespace

SystemError ReadLines(Files& files, const std::u16string& path, std::vector<std::u16string>& lines) {
    std::string bytes;
    if (const auto error = ReadAll(files, path, bytes); Failed(error)) {
        return error;
    }
    std::u16string text;
    if (!Decode(bytes, text) || text.find(u'\0') != std::u16string::npos) {
        return SystemError::InvalidData;
    }
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(u'\n', at), text.size());
        std::u16string line = text.substr(at, end - at);
        at = end + 1;
        if (line.ends_with(u'\r')) {
            line.pop_back();
        }
        if (!line.empty()) {
            lines.push_back(std::move(line));
        }
    }
    return SystemError::Success;
}

}  // namespace HVR::zebdiag
