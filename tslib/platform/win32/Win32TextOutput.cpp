#include "tslib/platform/win32/Win32TextOutput.h"

#include <limits>

#include "tslib/platform/win32/CallArguments.h"
#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/PlatformPath.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

namespace {

// Nobody else's file by another name, and none that is to be read only, which a privileged user may be let open.
bool MayBeEmptied(HANDLE file) noexcept {
    constexpr DWORD kKept = FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_READONLY;
    BY_HANDLE_FILE_INFORMATION known{};
    return GetFileInformationByHandle(file, &known) && (known.dwFileAttributes & kKept) == 0 &&
           known.nNumberOfLinks <= 1;
}

}  // namespace

Win32TextOutput::~Win32TextOutput() { Close(); }

StreamState Win32TextOutput::Open(const std::u16string& path) {
    Close();
    state_ = StreamState::Failed;
    if (HoldsNul(path)) {
        return state_;
    }
    UniqueFile opened(std::apply(CreateFileW, WritingArguments(ToWide(PlatformPath(path)))));
    if (opened) {
        if (GetFileType(opened.Get()) != FILE_TYPE_DISK) {
            state_ = StreamState::Bad;
        } else if (MayBeEmptied(opened.Get()) && SetEndOfFile(opened.Get())) {
            state_ = StreamState::Good;
            file_ = opened.Release();
        }
    }
    return state_;
}

void Win32TextOutput::WriteLine(std::string_view utf8) {
    if (!IsOpen() || state_ != StreamState::Good) {
        return;
    }
    if (utf8.size() > std::numeric_limits<DWORD>::max() - 2) {
        state_ = StreamState::Bad;
        return;
    }
    line_.assign(utf8);
    line_ += "\r\n";
    const auto size = static_cast<DWORD>(line_.size());
    DWORD written = 0;
    if (!WriteFile(file_, line_.data(), size, &written, nullptr) || written != size) {
        state_ = StreamState::Bad;
    }
}

void Win32TextOutput::Close() noexcept {
    if (!IsOpen()) {
        return;
    }
    const LastErrorKeeper keeper;
    if (!CloseHandle(std::exchange(file_, nullptr)) && state_ == StreamState::Good) {
        state_ = StreamState::Failed;
    }
}

}  // namespace tsLib::platform::win32
