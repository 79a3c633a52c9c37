#include "companions/scanagent/ListReader.h"

#include <algorithm>

#include "tslib/Utf8.h"

namespace HVR {

using tsLib::platform::SystemError;

namespace {

constexpr std::size_t kReadBytes = 64 * 1024;
constexpr std::size_t kShownBytes = 256;

std::u16string Printable(const std::string& line) {
    std::u16string text;
    for (const char byte : line.substr(0, kShownBytes)) {
        text.push_back(static_cast<unsigned char>(byte) < 0x80 ? static_cast<char16_t>(byte) : u'\uFFFD');
    }
    return text;
}

}  // namespace

SystemError ListReader::Open(const std::u16string& path) {
    buffer_.clear();
    position_ = 0;
    return files_.OpenInput(path, input_.Receive());
}

SystemError ListReader::Next(std::u16string& path) {
    for (;;) {
        if (const auto error = NextLine(); Failed(error)) {
            return error;
        }
        if (lineCut_ || lineTooLong_) {
            path = Printable(line_);
            return lineCut_ ? kCut : kTooLong;
        }
        if (line_.ends_with('\r')) {
            line_.pop_back();
        }
        if (line_.empty()) {
            continue;
        }
        const bool holdsNul = line_.find('\0') != std::string::npos;  // the platform would take what is before it
        if (holdsNul || !tsLib::FromUtf8(line_, path)) {
            path = Printable(line_);
            return holdsNul ? kHoldsNul : kInvalidText;
        }
        return SystemError::Success;
    }
}

// One line without its LF, of which no more than the limit is kept.
SystemError ListReader::NextLine() {
    line_.clear();
    lineTooLong_ = lineCut_ = false;
    bool any = false;
    for (;;) {
        if (position_ == buffer_.size()) {
            if (const auto error = Fill(); Failed(error)) {
                return error;
            }
            if (buffer_.empty()) {
                lineCut_ = any;
                return any ? SystemError::Success : SystemError::NoMoreItems;
            }
        }
        any = true;
        const auto end = buffer_.find('\n', position_);
        const auto stop = std::min(end, buffer_.size());
        const auto room = kMaximumLineBytes + 1 - line_.size();  // and its CR
        lineTooLong_ = lineTooLong_ || stop - position_ > room;
        line_.append(buffer_, position_, std::min(stop - position_, room));
        if (end != std::string::npos) {
            position_ = end + 1;
            return SystemError::Success;
        }
        position_ = stop;
    }
}

SystemError ListReader::Fill() {
    buffer_.resize(kReadBytes);
    position_ = 0;
    std::size_t count = 0;
    const auto error = files_.Read(input_.Get(), std::as_writable_bytes(std::span(buffer_)), count);
    buffer_.resize(Succeeded(error) ? count : 0);
    return error;
}

}  // namespace HVR
