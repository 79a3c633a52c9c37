#include "shellext/MenuCommand.h"

#include <gtest/gtest.h>

#include "shellext/OrientationSetting.h"
#include "tests/fakes/FakePlatform.h"
#include "tests/fakes/FakeShell.h"
#include "tslib/platform/Digits.h"

namespace tests {
namespace {

using tsLib::HResult;

struct MenuCommandTest : testing::Test, FakePlatform {
    MenuCommandTest() {
        ModuleHandle module{};
        disk.PutStrings(u"C:\\res.dll", {{1, u"&Scan"}, {101, u"Halvora"}, {102, u"No"}});
        EXPECT_EQ(modules.MapResources(u"C:\\res.dll", module), SystemError::Success);
        static_cast<void>(instance.Exchange(module));
    }
    ~MenuCommandTest() override { EXPECT_EQ(OpenHandles() + Misuses(), 1U) << Leftovers(); }
    void SetStrings(Strings strings) { disk.Find(u"C:\\res.dll")->strings = std::move(strings); }
    void PutOrientation(const RegistryValue& value = tsLib::DwordValue(1)) {
        registry.PutValue(RegistryRoot::LocalMachine, HVR::kProductKey, HVR::kOrientationValue, value);
    }
    // The ids used, and what was done to the menu.
    std::u16string Build(std::uint32_t flags = 0, std::uint32_t position = 3) {
        shell.items.clear();
        const std::uint32_t used = command->AddItem(kMenu, position, 100, flags);
        return std::u16string(tsLib::DecimalText(used)) + u" " + shell.items;
    }
    // "scan", "ok" without a scan, or "fail".
    std::string Invoke(const HVR::InvokeRequest& request) {
        bool scans = true;
        const HResult result = command->Invoke(request, scans);
        EXPECT_TRUE(result == HResult::Ok || (result == HResult::Fail && !scans));
        return scans ? "scan" : Succeeded(result) ? "ok" : "fail";
    }
    std::string InvokeName(const char* verb) { return Invoke({56, 0, reinterpret_cast<std::uintptr_t>(verb), 0}); }
    std::string InvokeWide(const char16_t* verb, const char* narrow, std::uint32_t size = 104,
                           std::uint32_t mask = 0x4000) {
        return Invoke({size, mask, reinterpret_cast<std::uintptr_t>(narrow), reinterpret_cast<std::uintptr_t>(verb)});
    }
    // GetText into a buffer of `capacity` units between guards: the result and the text.
    template <class Unit>
    std::pair<HResult, std::basic_string<Unit>> Ask(std::uint32_t type, std::uint32_t capacity) {
        const std::basic_string<Unit> guard(4, Unit{0x7E});
        std::basic_string<Unit> buffer(capacity + 8, Unit{0x7E});
        const HResult result = command->GetText(type, &buffer[4], capacity);
        EXPECT_TRUE(buffer.starts_with(guard) && buffer.ends_with(guard)) << capacity;
        const std::size_t end = buffer.find(Unit{0});
        EXPECT_EQ(end == buffer.npos, capacity == 0);
        return {result, buffer.substr(4, end == buffer.npos ? 0 : end - 4)};
    }

    FakeShell shell{*this};
    HVR::ResourceInstance instance{ModuleHandle{}};
    std::optional<HVR::MenuCommand> command{std::in_place, *this, instance, shell};
};

// Whatever its result, the menu's verbs are forgotten, and nothing but such a verb equals the empty name.
TEST_F(MenuCommandTest, Initialize_KeepsTheListAndEntersTheApartment_LeavesOnceAtTheEnd) {
    PutOrientation();
    constexpr HVR::DropHandle kNone{}, kFirst{0x4711}, kSecond{0x4712};
    const std::tuple<HVR::SelectionHandle, HVR::DropHandle, HResult, HVR::DropHandle, int> rows[] = {
        {kSelection, kNone, HResult::Ok, kNone, 0},
        {kSelection, kFirst, HResult::Ok, kFirst, 1},
        {kSelection, kSecond, HResult::NoInterface, kFirst, 1},  // what fails keeps the list that is held
        {HVR::SelectionHandle{}, kSecond, HResult::Fail, kFirst, 1},
        {kSelection, kSecond, HResult::Ok, kSecond, 2},  // replaces the first one, and enters once more
    };
    for (const auto& [selection, given, result, held, entered] : rows) {
        shell.list = given;
        shell.answer = result;
        Build();
        EXPECT_EQ(InvokeName("") + InvokeWide(u"", nullptr), "failfail");
        EXPECT_EQ(command->Initialize(selection), result);
        EXPECT_EQ(InvokeName("") + InvokeWide(u"", nullptr), "scanscan");
        EXPECT_EQ(command->HeldDropList(), held);
        EXPECT_EQ(command->PageMode(), held == kNone ? 2U : 1U);
        EXPECT_EQ(shell.entered, entered);
    }
    EXPECT_EQ(shell.left, 0);
    command.emplace(*this, instance, shell);
    EXPECT_EQ(shell.left, 1);
    EXPECT_EQ(shell.givenBack, (std::vector{kFirst, kSecond}));
    command.reset();
    EXPECT_EQ(shell.left, 1) << "one without a list entered none";
}

TEST_F(MenuCommandTest, AddItem_FlagsDecide_AllOrNothingIsAdded) {
    // Default only (1), extended verbs (0x100) and the upper half do not count.
    for (const std::uint32_t flags : {0U, 1U, 2U | 16U, 0x00080100U, 0x00020000U}) {
        EXPECT_EQ(Build(flags), u"1 --3+4:100 &Scan") << flags;
    }
    EXPECT_EQ(Build(0, 0xFFFFFFFF), u"1 --4294967295+4294967295:100 &Scan") << "appends both";
    EXPECT_EQ(trace.records.back().texts, (std::vector<std::u16string>{u"&Scan", u"NimShellScan"}));
    SetStrings({{1, std::u16string(260, u'x')}});
    EXPECT_EQ(Build(), u"1 --3+4:100 " + std::u16string(259, u'x'));
    static_cast<void>(command->Initialize(kSelection));  // forgets the verbs
    for (const std::uint32_t flags : {8U, 8U | 16U, 2U, 0x00100002U}) {
        EXPECT_EQ(Build(flags), u"0 ") << flags;
    }
    SetStrings({});
    EXPECT_EQ(Build(), u"0 ");
    EXPECT_EQ(InvokeName("NimShellScan"), "fail");
    EXPECT_EQ(trace.Count(TraceLevel::Error), 1U);
}

TEST_F(MenuCommandTest, Invoke_ByOffset_IsTheScan_ByNameComparesExactly) {
    PutOrientation();
    for (const std::uintptr_t offset : {0U, 1U, 7U, 0xFFFFU}) {
        EXPECT_EQ(Invoke({56, 0, offset, 0}), "scan");
        EXPECT_EQ(Invoke({104, 0x4000, 0, offset}), "scan");
    }
    Build();
    EXPECT_EQ(InvokeName("NimShellScan"), "scan");
    for (const char* verb : {"nimshellscan", "NimShellScan ", "NimShellSca", ""}) {
        EXPECT_EQ(InvokeName(verb), "fail") << verb;
    }
    EXPECT_EQ(InvokeWide(u"NimShellScan", "open"), "scan");
    for (const char16_t* verb : {u"nimshellscan", u"NimShellScan2", u"NimShellSca", u""}) {
        EXPECT_EQ(InvokeWide(verb, "NimShellScan"), "fail");
    }
    // Only the size 104 together with the mask makes the wide verb count.
    using Form = std::pair<std::uint32_t, std::uint32_t>;
    for (const auto& [size, mask] : {Form{104, 0}, {104, 0x4}, {103, 0x4000}, {112, 0x4000}, {0, 0}}) {
        EXPECT_EQ(InvokeWide(u"other", "NimShellScan", size, mask), "scan") << size;
        EXPECT_EQ(InvokeWide(u"NimShellScan", "other", size, mask), "fail") << size;
    }
}

TEST_F(MenuCommandTest, Invoke_SettingDecides) {
    const auto bytes = [](std::string_view text) { return RegistryValue{kValueBinary, ToBytes(text)}; };
    const auto refuses = [&] {
        desktop.boxes.clear();
        const bool refused = Invoke({56, 0, 0, 0}) == "ok";
        EXPECT_EQ(desktop.boxes.size(), refused ? 1U : 0U);
        return refused;
    };
    EXPECT_TRUE(refuses()) << "no key";
    registry.PutKey(RegistryRoot::LocalMachine, HVR::kProductKey);
    EXPECT_TRUE(refuses()) << "no value";
    EXPECT_EQ(registry.opened.back().access, kKeyQueryValue);
    EXPECT_EQ(desktop.boxes[0].caption, u"Halvora");
    EXPECT_EQ(desktop.boxes[0].text, u"No");
    for (const auto& value : {tsLib::DwordValue(5134), bytes({"\x0E\x14\0\0", 4}), bytes("\x0E\x14"),
                              bytes({"\1\0\0\0\0", 5}), StoredText(u"5135")}) {
        PutOrientation(value);
        EXPECT_TRUE(refuses()) << value.data.size();
    }
    for (const std::uint32_t number : {0U, 5135U, 0x0001140EU, 0x0100140EU}) {
        PutOrientation(tsLib::DwordValue(number));
        EXPECT_FALSE(refuses()) << number;
    }
}

TEST_F(MenuCommandTest, GetText_IsCut_AndReportedForTheVerb) {
    for (std::uint32_t size = 0; size <= 16; ++size) {
        const HResult expected = size == 0 || size > 12 ? HResult::Ok : HResult::InvalidArgument;
        const std::string cut = std::string("NimShellScan").substr(0, size == 0 ? 0 : size - 1);
        EXPECT_EQ(Ask<char>(0, size), (std::pair{expected, cut})) << size;
        EXPECT_EQ(Ask<char16_t>(4, size), (std::pair{expected, std::u16string(cut.begin(), cut.end())}));
    }
    for (std::uint32_t type = 0; type <= 7; ++type) {
        EXPECT_EQ(command->GetText(type, nullptr, 5), HResult::Ok) << type;
    }
    for (const std::uint32_t type : {2U, 3U, 6U, 7U}) {
        char byte = 'x';
        EXPECT_EQ(command->GetText(type, &byte, 1), HResult::Ok) << type;
        EXPECT_EQ(byte, 'x') << type;
    }
    // The help: limits, a missing text, whole characters.
    using Row = std::array<std::uint32_t, 3>;
    for (const auto& [length, capacity, expected] :
         {Row{0, 10, 0}, Row{9, 10, 9}, Row{10, 10, 9}, Row{511, 600, 511}, Row{512, 600, 511}, Row{5, 0, 0}}) {
        SetStrings({{2, std::u16string(length, u'h')}});
        EXPECT_EQ(Ask<char>(1, capacity), (std::pair{HResult::Ok, std::string(expected, 'h')}));
        EXPECT_EQ(Ask<char16_t>(5, capacity), (std::pair{HResult::Ok, std::u16string(expected, u'h')}));
    }
    // A code page with two-byte characters whose second byte may look like a letter, a half-width letter, a cut source.
    textRules.hasLeadBytes = true;
    SetStrings({{2, u"\u0083\u0058\u0041\u00B1\u008A\u005C\u0095"}});
    const std::string whole = std::string("\x83\x58") + "A\xB1\x8A\x5C";
    const std::size_t lengths[] = {0, 0, 0, 2, 3, 4, 4, 6, 6};  // by capacity
    for (std::uint32_t capacity = 0; capacity < std::size(lengths); ++capacity) {
        EXPECT_EQ(Ask<char>(1, capacity).second, whole.substr(0, lengths[capacity])) << capacity;
    }
}

}  // namespace
}  // namespace tests
