// A shell for the menu command, with records of what was done to it.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "shellext/MenuCommand.h"
#include "shellext/OrientationSetting.h"
#include "tests/fakes/FakeNarrowCharacters.h"
#include "tests/fakes/FakeRegistry.h"
#include "tests/fakes/FakeTrace.h"

namespace tests {

using tsLib::HResult;
using tsLib::platform::SystemError;

struct KeptItem {
    std::uint32_t position;
    std::optional<std::uint32_t> id;  // none for a separator
    std::u16string text;
    friend bool operator==(const KeptItem&, const KeptItem&) = default;
};

struct MenuWorld final : HVR::MenuStrings,
                         HVR::MenuBuilder,
                         HVR::Selection,
                         HVR::Apartment,
                         tsLib::platform::MessageBoxes,
                         HVR::ScanOperation {
    std::u16string Load(std::uint32_t id) override { return strings[id]; }
    std::string LoadNarrow(std::uint32_t id) override { return narrowStrings[id]; }
    SystemError InsertSeparator(std::uint32_t position) noexcept override {
        return failingInsert == 1 ? SystemError::AccessDenied : Add(position, std::nullopt, {});
    }
    SystemError InsertItem(std::uint32_t position, std::uint32_t id, const std::u16string& text) noexcept override {
        return failingInsert == 2 ? SystemError::AccessDenied : Add(position, id, text);
    }
    void Remove(std::uint32_t position) noexcept override {
        std::erase_if(items, [=](const KeptItem& item) { return item.position == position; });
    }
    HResult TakeDropList(HVR::DropHandle& dropList) override {
        if (Succeeded(selectionAnswer)) {
            dropList = selected;
        }
        return selectionAnswer;
    }
    void Enter() noexcept override { ++entered; }
    void Leave() noexcept override { ++left; }
    void ShowError(const std::u16string& text, const std::u16string* caption) noexcept override {
        try {
            boxes.push_back((caption == nullptr ? u"none" : *caption) + u": " + text);
        } catch (const std::bad_alloc&) {
            ++boxesLost;
        }
    }
    HResult Scan() override {
        ++scans;
        return scanAnswer;
    }

    void PutOrientation(std::uint32_t number) {
        registry.PutValue(tsLib::platform::RegistryRoot::LocalMachine, HVR::kProductKey, HVR::kOrientationValue,
                          DwordValue(number));
    }
    // The calls that the shell makes, with the first id 100.
    std::uint32_t Build(std::uint32_t flags = 0, std::uint32_t position = 3) {
        return command->AddItem(*this, position, 100, flags);
    }
    HResult InvokeOffset(std::uintptr_t offset) { return command->Invoke({56, 0, offset, 0}, *this); }
    HResult InvokeName(const char* verb) {
        return command->Invoke({56, 0, reinterpret_cast<std::uintptr_t>(verb), 0}, *this);
    }
    HResult InvokeWide(const char16_t* verb, const char* narrow = nullptr, std::uint32_t size = 104,
                       std::uint32_t mask = 0x4000) {
        return command->Invoke(
            {size, mask, reinterpret_cast<std::uintptr_t>(narrow), reinterpret_cast<std::uintptr_t>(verb)}, *this);
    }

    std::map<std::uint32_t, std::u16string> strings{{1, u"&Scan"}, {2, u"Scans it"}, {101, u"Halvora"}, {102, u"No"}};
    std::map<std::uint32_t, std::string> narrowStrings{{2, "Scans it"}};
    int failingInsert = 0;
    std::vector<KeptItem> items;
    HVR::DropHandle selected{0x4711};
    HResult selectionAnswer = HResult::Ok;
    int entered = 0;
    int left = 0;
    std::vector<std::u16string> boxes;
    int boxesLost = 0;
    int scans = 0;
    HResult scanAnswer = HResult::Ok;
    FakeRegistry registry;
    FakeTrace trace;
    FakeNarrowCharacters characters;
    std::optional<HVR::MenuCommand> command{
        std::in_place, HVR::MenuCommand::Services{*this, characters, registry, *this, *this, tsLib::Tracer(trace)}};

private:
    SystemError Add(std::uint32_t position, std::optional<std::uint32_t> id, std::u16string_view text) noexcept {
        try {
            items.push_back({position, id, std::u16string(text)});
            return SystemError::Success;
        } catch (const std::bad_alloc&) {
            return SystemError::NotEnoughMemory;
        }
    }
};

}  // namespace tests
