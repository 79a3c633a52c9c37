// The user's languages, message texts and boxes, and the debugger's output.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tslib/platform/SystemError.h"

namespace tsLib::platform {

inline constexpr std::uint32_t kWindowStationVisible = 1;  // WSF_VISIBLE

// Language and locale identifiers are the platform's: the low 10 bits are the primary language, the 6 bits above them
// the sublanguage. Any thread; throws std::bad_alloc only. Outputs are untouched on failure.
class Desktop {
public:
    // GetSystemDefaultLangID.
    [[nodiscard]] virtual std::uint16_t SystemLanguage() const noexcept = 0;
    // GetUserDefaultLangID.
    [[nodiscard]] virtual std::uint16_t UserLanguage() const noexcept = 0;
    // Whether GetLocaleInfoW knows the locale's native language name.
    [[nodiscard]] virtual bool IsLocale(std::uint32_t localeId) const noexcept = 0;

    // The system's text of a result code in a language, or with language 0 in the one that the platform chooses.
    // Inserts stay in the text as they are.
    virtual SystemError SystemText(std::uint32_t code, std::uint16_t language, std::u16string& text) = 0;
    // Replaces %1, %2, ... by the inserts, %% by a percent sign and so on. The platform knows neither the number of the
    // inserts nor their kind: the caller has made sure that the format asks for these texts alone. A result without any
    // character is a failure.
    virtual SystemError FillInserts(const std::u16string& format, std::span<const std::u16string> inserts,
                                    std::u16string& text) = 0;

    // The flags word of the process's window station (GetUserObjectInformationW with UOI_FLAGS). Untouched on failure.
    virtual SystemError WindowStationFlags(std::uint32_t& flags) noexcept = 0;

    // Shows the text with an error icon and an OK button, without an owner window, and returns when the user has closed
    // the box. Without a caption (null) the platform writes its own. The calling thread handles window messages
    // meanwhile, so that calls can arrive in between. A box that cannot be shown is passed over.
    virtual void ShowError(const std::u16string& text, const std::u16string* caption) noexcept = 0;

    // Whether nobody in this process has set the mark before; it is set then. Marks stay until the process ends (local
    // atoms). True as well when there is no room for another one.
    [[nodiscard]] virtual bool MarkProcess(const char16_t* mark) noexcept = 0;

    // OutputDebugStringW. The text ends with a NUL and is written as it is, without a line break of its own.
    virtual void WriteDebug(const char16_t* text) noexcept = 0;

protected:
    ~Desktop() = default;
};

}  // namespace tsLib::platform
