#include "tslib/platform/win32/Win32Platform.h"

#include <memory>
#include <vector>

#include "tslib/platform/win32/CallArguments.h"
#include "tslib/platform/win32/LastError.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

namespace {

struct LocalFreer {
    void operator()(wchar_t* block) const noexcept {
        const LastErrorKeeper keeper;
        LocalFree(block);
    }
};

SystemError Format(DWORD flags, const void* source, DWORD code, DWORD language, va_list* arguments,
                   std::u16string& text) {
    wchar_t* block = nullptr;
    // With the allocation flag the platform writes a pointer where its buffer argument points to.
    const DWORD length = FormatMessageW(flags | FORMAT_MESSAGE_ALLOCATE_BUFFER, source, code, language,
                                        reinterpret_cast<wchar_t*>(&block), 0, arguments);
    const SystemError error = length == 0 ? LastFailure() : SystemError::Success;
    const std::unique_ptr<wchar_t, LocalFreer> owner(block);
    if (Succeeded(error)) {
        text = FromWide(block, length);
    }
    return error;
}

}  // namespace

std::uint16_t Win32Desktop::SystemLanguage() const noexcept { return GetSystemDefaultLangID(); }

std::uint16_t Win32Desktop::UserLanguage() const noexcept { return GetUserDefaultLangID(); }

bool Win32Desktop::IsLocale(std::uint32_t localeId) const noexcept {
    return GetLocaleInfoW(localeId, LOCALE_SNATIVELANGNAME, nullptr, 0) != 0;
}

SystemError Win32Desktop::SystemText(std::uint32_t code, std::uint16_t language, std::u16string& text) {
    return Format(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, language, nullptr, text);
}

SystemError Win32Desktop::FillInserts(const std::u16string& format, std::span<const std::u16string> inserts,
                                      std::u16string& text) {
    std::vector<DWORD_PTR> arguments;
    arguments.reserve(inserts.size());
    for (const std::u16string& insert : inserts) {
        arguments.push_back(reinterpret_cast<DWORD_PTR>(insert.c_str()));
    }
    return Format(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY, format.c_str(), 0, 0,
                  reinterpret_cast<va_list*>(arguments.data()), text);
}

SystemError Win32Desktop::WindowStationFlags(std::uint32_t& flags) noexcept {
    const HWINSTA station = GetProcessWindowStation();  // not to be closed
    USEROBJECTFLAGS found{};
    if (station == nullptr || !GetUserObjectInformationW(station, UOI_FLAGS, &found, sizeof(found), nullptr)) {
        return LastFailure();
    }
    flags = found.dwFlags;
    return SystemError::Success;
}

void Win32Desktop::ShowError(const std::u16string& text, const std::u16string* caption) noexcept {
    std::apply(MessageBoxW, ErrorBoxArguments(ToWide(text), caption == nullptr ? nullptr : ToWide(*caption)));
}

bool Win32Desktop::MarkProcess(const char16_t* mark) noexcept {
    const LastErrorKeeper keeper;
    const bool isSet = FindAtomW(ToWide(mark)) != 0;
    if (!isSet) {
        AddAtomW(ToWide(mark));
    }
    return !isSet;
}

void Win32Desktop::WriteDebug(const char16_t* text) noexcept {
    const LastErrorKeeper keeper;
    OutputDebugStringW(ToWide(text));
}

}  // namespace tsLib::platform::win32
