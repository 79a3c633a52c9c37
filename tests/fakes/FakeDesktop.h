// What the user and a debugger would see; the system; traces.
#pragma once

#include <optional>
#include <set>

#include "tests/fakes/FakeCore.h"
#include "tslib/TraceEvents.h"
#include "tslib/platform/Desktop.h"
#include "tslib/platform/System.h"
#include "tslib/platform/TraceOutput.h"

namespace tests {

// Any thread; read the records when no other thread is in a call. Texts that memory cannot hold are dropped.
class FakeDesktop final : public Desktop, FakePart {
public:
    explicit FakeDesktop(FakeCore& core) : FakePart(core) {}

    [[nodiscard]] std::uint16_t SystemLanguage() const noexcept override { return systemLanguage; }
    [[nodiscard]] std::uint16_t UserLanguage() const noexcept override { return userLanguage; }
    [[nodiscard]] bool IsLocale(std::uint32_t localeId) const noexcept override {
        constexpr std::uint32_t kLocales[] = {1031, 1033, 1036, 1041, 2055, 3079, 4108, 66567};
        return std::ranges::count(kLocales, localeId) != 0;
    }
    SystemError SystemText(std::uint32_t code, std::uint16_t language, std::u16string& text) override {
        Keep(languagesAsked, language);
        return Call("SystemText", [&] { text = At(systemTexts, std::pair(code, language), SystemError{317}); });
    }
    // An insert that the platform would read from memory it was not given is a misuse.
    SystemError FillInserts(const std::u16string& format, std::span<const std::u16string> inserts,
                            std::u16string& text) override {
        return Call("FillInserts", [&] {
            const auto isDigit = [](char16_t unit) { return unit >= u'0' && unit <= u'9'; };
            std::u16string filled;
            for (std::size_t i = 0; i < format.size() && format.compare(i, 2, u"%0") != 0; ++i) {
                const bool isMark = format[i] == u'%';
                Require(!isMark || ++i < format.size(), SystemError::InvalidParameter);
                if (!isMark || !isDigit(format[i])) {
                    filled += isMark && format[i] == u'n' ? u"\r\n" : std::u16string(1, format[i]);
                    continue;
                }
                std::size_t number = format[i] - std::size_t{u'0'};
                if (i + 1 < format.size() && isDigit(format[i + 1])) {
                    number = number * 10 + format[++i] - u'0';
                }
                const bool asText = format.compare(i + 1, 3, u"!s!") == 0;
                const bool isWild = number > inserts.size() || (!asText && format[i + 1] == u'!');
                tally_.misuses += isWild ? 1U : 0U;
                Require(!isWild, SystemError::InvalidParameter);
                filled += inserts[number - 1];
                i += asText ? 3 : 0;
            }
            Require(!filled.empty(), SystemError::InternalError);
            text = std::move(filled);
        });
    }
    SystemError WindowStationFlags(std::uint32_t& flags) noexcept override {
        return Call("WindowStationFlags", [&] { flags = windowStation; });
    }
    void ShowError(const std::u16string& text, const std::u16string* caption) noexcept override try {
        Keep(boxes, {text, caption == nullptr ? std::nullopt : std::optional(*caption)});
    } catch (const std::bad_alloc&) {
    }
    [[nodiscard]] bool MarkProcess(const char16_t* mark) noexcept override try {
        bool isNew = true;
        static_cast<void>(Call("MarkProcess", [&] { isNew = marks.insert(mark).second; }));
        return isNew;
    } catch (const std::bad_alloc&) {
        return true;  // no room
    }
    void WriteDebug(const char16_t* text) noexcept override try {
        Keep(debugTexts, std::u16string(text));
    } catch (const std::bad_alloc&) {
    }

    std::uint16_t systemLanguage = 1033;
    std::uint16_t userLanguage = 1033;
    std::map<std::pair<std::uint32_t, std::uint16_t>, std::u16string> systemTexts;  // by code and language
    std::vector<std::uint16_t> languagesAsked;                                      // of SystemText, in order
    std::uint32_t windowStation = kWindowStationVisible;
    struct Box {
        std::u16string text;
        std::optional<std::u16string> caption;
    };
    std::set<std::u16string> marks;
    std::vector<Box> boxes;
    std::vector<std::u16string> debugTexts;

private:
    Tally& tally_ = NewTally("message text");
};

// The clock stands still until it is told otherwise. Component memory comes from the global allocator, so that a
// FailingNew makes it run out, and a sanitizer sees its misuse; blocks are counted. A fault is a general failure where
// the operation answers no error numbers. Any thread.
class FakeSystem final : public System, FakePart {
public:
    explicit FakeSystem(FakeCore& core) : FakePart(core) {}

    SystemError FileTimeNow(std::uint64_t& now) override {
        return Call("FileTimeNow", [&] { now = fileTime; });
    }
    [[nodiscard]] std::uint32_t TickCount() const noexcept override { return ticks; }
    [[nodiscard]] bool IsAtLeast(std::uint32_t wantedMajor, std::uint32_t wantedMinor) const noexcept override {
        return std::pair(major, minor) >= std::pair(wantedMajor, wantedMinor);
    }
    tsLib::HResult DefaultShellFolder(std::uint32_t csidl, std::u16string& path) override {
        const SystemError error =
            Call("DefaultShellFolder", [&] { path = At(defaultFolders, csidl, SystemError::InvalidParameter); });
        return Succeeded(error)                 ? tsLib::HResult::Ok
               : defaultFolders.contains(csidl) ? tsLib::HResult::Fail
                                                : tsLib::HResult::InvalidArgument;
    }
    [[nodiscard]] bool SpecialFolder(std::uint32_t csidl, std::u16string& path) override {
        return Succeeded(
            Call("SpecialFolder", [&] { path = At(specialFolders, csidl, SystemError::InvalidParameter); }));
    }
    SystemError TemporaryFolder(std::u16string& path, std::size_t& length) override {
        return Call("TemporaryFolder", [&] {
            length = temporaryLength.value_or(temporary.size());
            path = length <= 260 ? temporary : path;  // what does not fit is not written
        });
    }
    SystemError WindowsFolder(std::u16string& path) override {
        return Call("WindowsFolder", [&] { path = windows; });
    }
    [[nodiscard]] void* Allocate(std::size_t bytes) noexcept override {
        void* block = nullptr;
        static_cast<void>(Call("Allocate", [&] {
            block = ::operator new(bytes, std::nothrow);
            tally_.open += block != nullptr ? 1U : 0U;
        }));
        return block;
    }
    void Free(void* block) noexcept override {
        const auto lock = Lock();
        tally_.open -= block != nullptr ? 1U : 0U;
        ::operator delete(block);
    }

    std::atomic<std::uint64_t> fileTime{(7ULL << 32) | 42};
    std::atomic<std::uint32_t> ticks{1000};
    std::uint32_t major = 10;
    std::uint32_t minor = 0;
    std::map<std::uint32_t, std::u16string> defaultFolders{{0x24, u"C:\\windows"}};  // by CSIDL number
    std::map<std::uint32_t, std::u16string> specialFolders{{0x24, u"C:\\windows"}};
    std::u16string windows = u"C:\\windows";
    std::u16string temporary = u"C:\\Temp\\";
    std::optional<std::size_t> temporaryLength;  // when set, the platform's answer whatever the text

private:
    Tally& tally_ = NewTally("memory block");
};

struct KeptTrace {
    TraceLevel level;
    tsLib::TraceEvent event;
    std::vector<std::uint64_t> numbers;  // the numeric arguments, in order
    std::vector<std::u16string> texts;   // the text arguments, in order
};

// Any thread may write; read when no other thread writes. Records that memory cannot hold are dropped.
class FakeTrace final : public TraceOutput, FakePart {
public:
    explicit FakeTrace(FakeCore& core) : FakePart(core) {}

    [[nodiscard]] bool IsEnabled(TraceLevel) const noexcept override { return enabled; }
    void Write(const TraceRecord& record) noexcept override try {
        KeptTrace kept{record.level, static_cast<tsLib::TraceEvent>(record.event), {}, {}};
        for (const TraceArgument& argument : record.arguments) {
            if (const auto* text = std::get_if<std::u16string_view>(&argument)) {
                kept.texts.emplace_back(*text);
            } else {
                const auto* number = std::get_if<std::uint32_t>(&argument);
                kept.numbers.push_back(number != nullptr ? *number : std::get<std::uint64_t>(argument));
            }
        }
        Keep(records, kept);
    } catch (const std::bad_alloc&) {
    }

    [[nodiscard]] std::size_t Count(TraceLevel level) const {
        return static_cast<std::size_t>(std::ranges::count(records, level, &KeptTrace::level));
    }
    [[nodiscard]] std::size_t Count(tsLib::TraceEvent event) const {
        return static_cast<std::size_t>(std::ranges::count(records, event, &KeptTrace::event));
    }

    bool enabled = true;
    std::vector<KeptTrace> records;
};

}  // namespace tests
