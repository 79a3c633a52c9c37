// What the user and a debugger would see, and the languages of both.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/fakes/HandleTable.h"
#include "tslib/platform/CodePage.h"
#include "tslib/platform/DebugOutput.h"
#include "tslib/platform/Locales.h"
#include "tslib/platform/MessageBoxes.h"
#include "tslib/platform/WindowStation.h"

namespace tests {

// Keeps every text; texts that memory cannot hold are dropped. Any thread may write; read when no other thread writes.
class FakeDebugOutput final : public tsLib::platform::DebugOutput {
public:
    void Write(const char16_t* text) noexcept override {
        const std::lock_guard lock(mutex_);
        try {
            texts.emplace_back(text);
        } catch (const std::bad_alloc&) {
            ++dropped;
        }
    }

    std::vector<std::u16string> texts;
    std::size_t dropped = 0;

private:
    std::mutex mutex_;
};

class FakeLocales final : public tsLib::platform::Locales {
public:
    [[nodiscard]] std::uint16_t SystemLanguage() const noexcept override { return system; }
    [[nodiscard]] std::uint16_t UserLanguage() const noexcept override { return user; }
    [[nodiscard]] bool IsLocale(std::uint32_t localeId) const noexcept override { return known.contains(localeId); }

    std::uint16_t system = 1033;
    std::uint16_t user = 1033;
    std::set<std::uint32_t> known{1031, 1033, 1036, 1041, 2055, 3079, 4108, 66567};
};

// The code page is Latin-1.
class FakeCodePage final : public tsLib::platform::CodePage, public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;

    SystemError ToNarrow(std::u16string_view wide, std::string& narrow) override {
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        std::string bytes;
        for (const char16_t unit : wide) {
            bytes += unit < 0x100 ? static_cast<char>(unit) : '?';
        }
        narrow = std::move(bytes);
        return SystemError::Success;
    }
};

class FakeWindowStation final : public tsLib::platform::WindowStation, public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;

    SystemError Flags(std::uint32_t& result) noexcept override {
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        if (Succeeded(error)) {
            result = flags;
        }
        return error;
    }

    std::uint32_t flags = tsLib::platform::kWindowStationVisible;
    SystemError error = SystemError::Success;
};

class FakeMessageBoxes final : public tsLib::platform::MessageBoxes {
public:
    struct Shown {
        std::u16string text;
        std::optional<std::u16string> caption;
    };

    void ShowError(const std::u16string& text, const std::u16string* caption) noexcept override {
        try {
            shown.push_back({text, caption == nullptr ? std::nullopt : std::optional(*caption)});
        } catch (const std::bad_alloc&) {
            ++dropped;
        }
        if (onShow) {
            onShow();
        }
    }

    std::vector<Shown> shown;
    std::size_t dropped = 0;
    std::function<void()> onShow;  // what else the thread does while the box is up
};

}  // namespace tests
