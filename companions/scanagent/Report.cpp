#include "companions/scanagent/Report.h"

#include <algorithm>
#include <exception>

#include "tslib/Utf8.h"

namespace HVR {

using tsLib::platform::SystemError;

namespace {

constexpr std::size_t kFlushBytes = 64 * 1024;

}  // namespace

Report::~Report() {
    if (output_) {
        output_.Reset();
        try {
            static_cast<void>(files_.Remove(temporary_));
        } catch (const std::exception&) {
            // An incomplete report stays behind under its temporary name.
        }
    }
}

SystemError Report::Open(const std::u16string& path) {
    path_ = path;
    temporary_ = path + u".part";
    return files_.Create(temporary_, output_.Receive());
}

void Report::Line(std::string_view word, std::u16string_view text) {
    Add(word, text);
    EndLine();
}

void Report::Line(std::string_view word, std::u16string_view text, SystemError error) {
    Add(word, text);
    buffer_ += '\t';
    buffer_ += std::to_string(Number(error));
    EndLine();
}

SystemError Report::Commit(const ScanCounts& counts) {
    buffer_ += "summary";
    const auto add = [this](std::string_view name, std::uint64_t count) {
        buffer_ += '\t';
        buffer_ += name;
        buffer_ += '=';
        buffer_ += std::to_string(count);
    };
    add("items", counts.items);
    add("folders", counts.folders);
    add("files", counts.files);
    add("infected", counts.infected);
    add("unreadable", counts.unreadable);
    add("skipped", counts.skipped);
    buffer_ += counts.isListWhole ? "\tlist=complete" : "\tlist=cut";
    buffer_ += '\n';
    Flush();
    if (Failed(error_)) {
        return error_;
    }
    output_.Reset();
    const auto renamed = files_.Rename(temporary_, path_);
    if (Failed(renamed)) {
        static_cast<void>(files_.Remove(temporary_));
    }
    return renamed;
}

void Report::Add(std::string_view word, std::u16string_view text) {
    buffer_ += word;
    buffer_ += '\t';
    auto utf8 = tsLib::ToUtf8(text);
    std::replace_if(
        utf8.begin(), utf8.end(), [](char byte) { return static_cast<unsigned char>(byte) < 0x20; }, '?');
    buffer_ += utf8;
}

void Report::EndLine() {
    buffer_ += '\n';
    if (buffer_.size() >= kFlushBytes) {
        Flush();
    }
}

void Report::Flush() {
    if (Succeeded(error_)) {
        error_ = files_.Write(output_.Get(), buffer_);
    }
    buffer_.clear();
}

}  // namespace HVR
