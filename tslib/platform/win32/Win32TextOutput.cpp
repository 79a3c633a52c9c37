#include "tslib/platform/win32/Win32TextOutput.h"

#include <limits>

#include "tslib/platform/win32/CallArguments.h"
#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/PlatformPath.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

namespace {

UniqueFile Create(const wchar_t* path, DWORD disposition) noexcept {
    return UniqueFile(std::apply(CreateFileW, WritingArguments(path, disposition)));
}

// Whether somebody else's file could be here by this name. What cannot be told counts as a link.
bool IsLink(HANDLE file, bool& isReadOnly) noexcept {
    BY_HANDLE_FILE_INFORMATION known{};
    const bool isKnown = GetFileInformationByHandle(file, &known) != FALSE;
    isReadOnly = (known.dwFileAttributes & FILE_ATTRIBUTE_READONLY) != 0;
    return !isKnown || (known.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 || known.nNumberOfLinks > 1;
}

// Takes a link away, not what it leads to, and makes a file in its place.
void Replace(const wchar_t* path, UniqueFile& file) noexcept {
    file.Reset();
    if (DeleteFileW(path)) {
        file = Create(path, CREATE_NEW);
    }
}

}  // namespace

Win32TextOutput::~Win32TextOutput() { Close(); }

StreamState Win32TextOutput::Open(const std::u16string& path) {
    Close();
    state_ = StreamState::Failed;
    if (HoldsNul(path)) {
        return state_;
    }
    const std::u16string name = PlatformPath(path);
    UniqueFile opened = Create(ToWide(name), OPEN_ALWAYS);
    if (!opened) {
        return state_;
    }
    if (GetFileType(opened.Get()) != FILE_TYPE_DISK) {
        return state_ = StreamState::Bad;
    }
    bool isReadOnly = false;
    if (IsLink(opened.Get(), isReadOnly)) {
        Replace(ToWide(name), opened);
    }
    // A privileged user may be let open what is to be read only.
    if (opened && !isReadOnly && SetEndOfFile(opened.Get())) {
        state_ = StreamState::Good;
        file_ = opened.Release();
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
