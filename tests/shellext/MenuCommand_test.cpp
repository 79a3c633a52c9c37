#include "shellext/MenuCommand.h"

#include <gtest/gtest.h>

#include <cstring>

#include "shellext/Boundary.h"
#include "tests/fakes/FailingNew.h"
#include "tests/shellext/MenuWorld.h"

namespace tests {
namespace {

using tsLib::TraceEvent;
using tsLib::platform::RegistryRoot;
using tsLib::platform::TraceLevel;

class MenuCommandTest : public ::testing::Test {
protected:
    MenuWorld world;
};

TEST_F(MenuCommandTest, Initialize_KeepsListAndEntersApartmentOnce_LeavesAtTheEnd) {
    EXPECT_EQ(world.command->PageMode(), 2U);
    EXPECT_EQ(world.command->Initialize(&world), HResult::Ok);
    EXPECT_EQ(world.command->HeldDropList(), world.selected);
    EXPECT_EQ(world.command->PageMode(), 1U);
    EXPECT_EQ(world.entered, 1);
    EXPECT_EQ(world.left, 0);
    world.command.reset();
    EXPECT_EQ(world.left, 1);
}

TEST_F(MenuCommandTest, Initialize_Twice_EntersTwiceAndLeavesOnce) {
    ASSERT_EQ(world.command->Initialize(&world), HResult::Ok);
    world.selected = HVR::DropHandle{0x4712};
    EXPECT_EQ(world.command->Initialize(&world), HResult::Ok);
    EXPECT_EQ(world.command->HeldDropList(), HVR::DropHandle{0x4712});
    world.command.reset();
    EXPECT_EQ(world.entered, 2);
    EXPECT_EQ(world.left, 1);
}

TEST_F(MenuCommandTest, Initialize_WithoutListOrObject_SaysWhyAndKeepsWhatWasHeld) {
    ASSERT_EQ(world.command->Initialize(&world), HResult::Ok);
    const auto refused = static_cast<HResult>(-2147221404);  // 0x80040064
    world.selectionAnswer = refused;
    EXPECT_EQ(world.command->Initialize(&world), refused);
    EXPECT_EQ(world.command->Initialize(nullptr), HResult::Fail);
    EXPECT_EQ(world.command->HeldDropList(), world.selected);
    EXPECT_EQ(world.entered, 1);
    EXPECT_EQ(world.trace.Count(TraceEvent::MenuNoDropList), 1U);
    EXPECT_EQ(world.trace.Count(TraceEvent::MenuNoDataObject), 1U);
}

TEST_F(MenuCommandTest, Initialize_SuccessWithNullList_HoldsNothingAndStaysOut) {
    world.selected = {};
    EXPECT_EQ(world.command->Initialize(&world), HResult::Ok);
    EXPECT_EQ(world.command->PageMode(), 2U);
    world.command.reset();
    EXPECT_EQ(world.entered, 0);
    EXPECT_EQ(world.left, 0);
}

// Every way of Initialize forgets the menu: the verb is refused by name afterwards.
TEST_F(MenuCommandTest, Initialize_ClearsVerbs_WhateverItsResult) {
    world.PutOrientation(1);
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(world.Build(), 1U);
        ASSERT_EQ(world.InvokeName("NimShellScan"), HResult::Ok);
        world.selectionAnswer = round == 1 ? HResult::Fail : HResult::Ok;
        static_cast<void>(world.command->Initialize(round == 2 ? nullptr : &world));
        EXPECT_EQ(world.InvokeName("NimShellScan"), HResult::Fail) << round;
        EXPECT_EQ(world.InvokeWide(u"NimShellScan"), HResult::Fail) << round;
        EXPECT_EQ(world.InvokeName(""), HResult::Ok) << round;
    }
}

TEST_F(MenuCommandTest, AddItem_FlagsDecide) {
    struct Case {
        std::uint32_t flags;
        std::uint32_t used;
    };
    // Default only (1), extended verbs (0x100) and the upper half do not count.
    for (const Case& c : {Case{0, 1},
                          {1, 1},
                          {8, 0},
                          {8 | 16, 0},
                          {2, 0},
                          {2 | 16, 1},
                          {16, 1},
                          {2 | 8 | 16, 0},
                          {0x100, 1},
                          {0x00080000, 1},
                          {0x00020000, 1},
                          {0x00100000 | 2, 0}}) {
        MenuWorld fresh;
        EXPECT_EQ(fresh.Build(c.flags), c.used) << c.flags;
        EXPECT_EQ(fresh.items.size(), c.used * 2) << c.flags;
        EXPECT_EQ(fresh.trace.Count(TraceLevel::Information), 1U) << c.flags;
    }
}

TEST_F(MenuCommandTest, AddItem_SeparatorThenItemBehindIt) {
    EXPECT_EQ(world.Build(), 1U);
    EXPECT_EQ(world.items, (std::vector<KeptItem>{{3, std::nullopt, u""}, {4, 100, u"&Scan"}}));
    ASSERT_EQ(world.trace.records.size(), 1U);
    EXPECT_EQ(world.trace.records[0].texts, (std::vector<std::u16string>{u"&Scan", u"NimShellScan"}));
}

TEST_F(MenuCommandTest, AddItem_AtTheHighestPosition_AppendsBoth) {
    EXPECT_EQ(world.Build(0, 0xFFFFFFFF), 1U);
    EXPECT_EQ(world.items[1].position, 0xFFFFFFFFU);
}

TEST_F(MenuCommandTest, AddItem_TextIsCutAt259) {
    world.strings[1] = std::u16string(260, u'x');
    EXPECT_EQ(world.Build(), 1U);
    EXPECT_EQ(world.items[1].text, std::u16string(259, u'x'));
}

TEST_F(MenuCommandTest, AddItem_NoTextOrNoRoom_AddsNothingAtAll) {
    world.strings.clear();
    EXPECT_EQ(world.Build(), 0U);
    EXPECT_EQ(world.trace.Count(TraceEvent::MenuNoText), 1U);
    world.strings[1] = u"x";
    for (world.failingInsert = 1; world.failingInsert <= 2; ++world.failingInsert) {
        EXPECT_EQ(world.Build(), 0U);
    }
    EXPECT_TRUE(world.items.empty());
    EXPECT_EQ(world.trace.Count(TraceEvent::MenuItemNotInserted), 2U);
    EXPECT_EQ(world.InvokeName("NimShellScan"), HResult::Fail);
}

TEST_F(MenuCommandTest, Invoke_ByOffset_IsTheScanWhateverTheOffset) {
    world.PutOrientation(1);
    world.scanAnswer = HResult::Unexpected;
    for (const std::uintptr_t offset : {0U, 1U, 7U, 0xFFFFU}) {
        EXPECT_EQ(world.InvokeOffset(offset), HResult::Unexpected);
    }
    EXPECT_EQ(world.scans, 4);
}

TEST_F(MenuCommandTest, Invoke_ByName_ComparesExactly) {
    world.PutOrientation(1);
    ASSERT_EQ(world.Build(), 1U);
    EXPECT_EQ(world.InvokeName("NimShellScan"), HResult::Ok);
    for (const char* verb : {"nimshellscan", "NimShellScan ", "NimShellSca", "", "open"}) {
        EXPECT_EQ(world.InvokeName(verb), HResult::Fail) << verb;
    }
    EXPECT_EQ(world.InvokeWide(u"NimShellScan", "open"), HResult::Ok);
    for (const char16_t* verb : {u"nimshellscan", u"NimShellScan2", u"NimShellSca", u"", u"Nim\u0000"}) {
        EXPECT_EQ(world.InvokeWide(verb, "NimShellScan"), HResult::Fail);
    }
    EXPECT_EQ(world.scans, 2);
}

// Only the size 104 together with the mask makes the wide verb count.
TEST_F(MenuCommandTest, Invoke_OtherForms_LookAtTheNarrowVerbOnly) {
    world.PutOrientation(1);
    ASSERT_EQ(world.Build(), 1U);
    struct Form {
        std::uint32_t size;
        std::uint32_t mask;
    };
    for (const Form& form : {Form{104, 0}, {104, 0x4}, {103, 0x4000}, {56, 0x4000}, {112, 0x4000}, {0, 0}}) {
        EXPECT_EQ(world.InvokeWide(u"other", "NimShellScan", form.size, form.mask), HResult::Ok) << form.size;
        EXPECT_EQ(world.InvokeWide(u"NimShellScan", "other", form.size, form.mask), HResult::Fail) << form.size;
    }
    EXPECT_EQ(world.InvokeWide(u"other", "NimShellScan", 104, 0xFFFF), HResult::Fail);
}

TEST_F(MenuCommandTest, Invoke_SettingDecides) {
    using tsLib::platform::RegistryValue;
    struct Case {
        const char* what;
        std::optional<RegistryValue> value;
        bool scans;
    };
    const auto bytes = [](std::initializer_list<int> list) {
        RegistryValue value{tsLib::platform::kValueBinary, {}};
        for (const int byte : list) {
            value.data.push_back(static_cast<std::byte>(byte));
        }
        return value;
    };
    const Case cases[] = {{"absent", std::nullopt, false},
                          {"refusal", DwordValue(5134), false},
                          {"zero", DwordValue(0), true},
                          {"next", DwordValue(5135), true},
                          {"refusal as bytes", bytes({0x0E, 0x14, 0, 0}), false},
                          {"refusal in two bytes", bytes({0x0E, 0x14}), false},
                          {"five bytes", bytes({1, 0, 0, 0, 0}), false},
                          {"long text", TextValue(u"5135"), false}};
    for (const Case& c : cases) {
        MenuWorld fresh;
        if (c.value) {
            fresh.registry.PutValue(RegistryRoot::LocalMachine, HVR::kProductKey, HVR::kOrientationValue, *c.value);
        } else {
            fresh.registry.PutKey(RegistryRoot::LocalMachine, HVR::kProductKey);
        }
        EXPECT_EQ(fresh.InvokeOffset(0), HResult::Ok) << c.what;
        EXPECT_EQ(fresh.scans, c.scans ? 1 : 0) << c.what;
        EXPECT_EQ(fresh.boxes, c.scans ? std::vector<std::u16string>() : std::vector<std::u16string>{u"Halvora: No"});
        EXPECT_EQ(fresh.registry.OpenHandles(), 0U);
        EXPECT_EQ(fresh.registry.opened[0].access, tsLib::platform::kKeyQueryValue);
    }
}

TEST_F(MenuCommandTest, Invoke_NoKeyNoStrings_ShowsAnEmptyBox) {
    world.strings.clear();
    EXPECT_EQ(world.InvokeOffset(0), HResult::Ok);
    EXPECT_EQ(world.boxes, std::vector<std::u16string>{u": "});
    EXPECT_EQ(world.scans, 0);
}

// A buffer with guards on both sides.
template <class Unit>
struct Guarded {
    explicit Guarded(std::uint32_t size) : capacity(size), units(size + 8, static_cast<Unit>(0x7E)) {}
    Unit* Begin() { return units.data() + 4; }
    [[nodiscard]] bool Intact() const {
        const auto guard = [](Unit unit) { return unit == static_cast<Unit>(0x7E); };
        return std::all_of(units.begin(), units.begin() + 4, guard) && std::all_of(units.end() - 4, units.end(), guard);
    }
    std::uint32_t capacity;
    std::vector<Unit> units;
};

TEST_F(MenuCommandTest, GetText_Verb_CutAndReported) {
    const std::string verb = "NimShellScan";
    for (std::uint32_t size = 0; size <= 16; ++size) {
        Guarded<char> narrow(size);
        Guarded<char16_t> wide(size);
        const HResult expected = size == 0 || size > 12 ? HResult::Ok : HResult::InvalidArgument;
        EXPECT_EQ(world.command->GetText(0, narrow.Begin(), size), expected) << size;
        EXPECT_EQ(world.command->GetText(4, wide.Begin(), size), expected) << size;
        EXPECT_TRUE(narrow.Intact() && wide.Intact()) << size;
        if (size != 0) {
            const std::string cut = verb.substr(0, size - 1);
            EXPECT_EQ(std::string(narrow.Begin()), cut);
            EXPECT_EQ(std::u16string(wide.Begin()), std::u16string(cut.begin(), cut.end()));
        }
    }
}

TEST_F(MenuCommandTest, GetText_NullBufferOrUnknownType_WritesNothingAndIsOk) {
    Guarded<char> buffer(8);
    for (std::uint32_t type = 0; type < 8; ++type) {
        EXPECT_EQ(world.command->GetText(type, nullptr, 5), HResult::Ok) << type;
        EXPECT_EQ(world.command->GetText(type, nullptr, 0), HResult::Ok) << type;
        EXPECT_EQ(world.command->GetText(type, buffer.Begin(), 0), HResult::Ok) << type;
    }
    for (const std::uint32_t type : {2U, 3U, 6U, 7U, 0x80000000U}) {
        EXPECT_EQ(world.command->GetText(type, buffer.Begin(), 8), HResult::Ok) << type;
    }
    EXPECT_EQ(buffer.units, std::vector<char>(16, 0x7E));
}

TEST_F(MenuCommandTest, GetText_Help_LimitsAndMissingText) {
    struct Case {
        std::size_t length;
        std::uint32_t capacity;
        std::size_t expected;
    };
    for (const Case& c : {Case{0, 10, 0},
                          {5, 10, 5},
                          {9, 10, 9},
                          {10, 10, 9},
                          {510, 600, 510},
                          {511, 600, 511},
                          {512, 600, 511},
                          {2000, 600, 511},
                          {2000, 1, 0}}) {
        world.strings[2] = std::u16string(c.length, u'h');
        world.narrowStrings[2] = std::string(c.length, 'h');
        Guarded<char> narrow(c.capacity);
        Guarded<char16_t> wide(c.capacity);
        EXPECT_EQ(world.command->GetText(1, narrow.Begin(), c.capacity), HResult::Ok);
        EXPECT_EQ(world.command->GetText(5, wide.Begin(), c.capacity), HResult::Ok);
        EXPECT_EQ(std::string(narrow.Begin()), std::string(c.expected, 'h')) << c.length;
        EXPECT_EQ(std::u16string(wide.Begin()), std::u16string(c.expected, u'h')) << c.length;
        EXPECT_TRUE(narrow.Intact() && wide.Intact());
    }
}

// Code page 932: two-byte characters whose second byte may look like a letter, a half-width letter, a cut source.
TEST_F(MenuCommandTest, GetText_NarrowHelp_NeverSplitsACharacter) {
    const std::string text =
        "\x83\x58"
        "A"
        "\xB1"
        "\x8A\x5C"
        "\x95";
    struct Case {
        std::uint32_t capacity;
        std::string expected;
    };
    for (const Case& c : {Case{1, ""},
                          {2, ""},
                          {3, "\x83\x58"},
                          {4,
                           "\x83\x58"
                           "A"},
                          {5,
                           "\x83\x58"
                           "A\xB1"},
                          {6,
                           "\x83\x58"
                           "A\xB1"},
                          {7,
                           "\x83\x58"
                           "A\xB1\x8A\x5C"},
                          {8,
                           "\x83\x58"
                           "A\xB1\x8A\x5C"},
                          {100,
                           "\x83\x58"
                           "A\xB1\x8A\x5C"}}) {
        world.narrowStrings[2] = text;
        Guarded<char> buffer(c.capacity);
        EXPECT_EQ(world.command->GetText(1, buffer.Begin(), c.capacity), HResult::Ok);
        EXPECT_EQ(std::string(buffer.Begin()), c.expected) << c.capacity;
        EXPECT_TRUE(buffer.Intact());
    }
    // The limit of 511 bytes falls into a character, too.
    world.narrowStrings[2] = "A";
    for (int i = 0; i < 300; ++i) {
        world.narrowStrings[2] += "\x83\x58";
    }
    Guarded<char> buffer(600);
    EXPECT_EQ(world.command->GetText(1, buffer.Begin(), 600), HResult::Ok);
    EXPECT_EQ(std::strlen(buffer.Begin()), 511U);
    world.narrowStrings[2].erase(0, 1);
    EXPECT_EQ(world.command->GetText(1, buffer.Begin(), 600), HResult::Ok);
    EXPECT_EQ(std::strlen(buffer.Begin()), 510U);
}

TEST_F(MenuCommandTest, MemoryRunsOut_NothingIsHalfDone) {
    world.strings[1] = world.strings[101] = std::u16string(100, u'x');
    world.trace.enabled = false;
    world.items.reserve(2);
    for (std::uint32_t n = 1;; ++n) {
        HResult added{};
        HResult invoked{};
        world.items.clear();
        world.boxesLost = 0;
        bool fired = false;
        {
            const FailingNew failing(n);
            added = HVR::AtBoundary(HResult::Fail, [&] {
                static_cast<void>(world.Build());
                return HResult::Ok;
            });
            invoked = HVR::AtBoundary(HResult::Fail, [&] { return world.InvokeOffset(0); });
            fired = failing.Fired();
        }
        EXPECT_EQ(world.registry.OpenHandles(), 0U);
        EXPECT_NE(world.items.size(), 1U) << n;
        if (!fired) {
            EXPECT_EQ(added, HResult::Ok);
            EXPECT_EQ(invoked, HResult::Ok);
            EXPECT_GT(n, 3U);
            break;
        }
        EXPECT_TRUE(added == HResult::OutOfMemory || invoked == HResult::OutOfMemory || world.items.empty() ||
                    world.boxesLost != 0)
            << n;
    }
}

TEST(Boundary, Exceptions_BecomeTheDocumentedResults) {
    const HResult otherwise = HResult::Unexpected;
    EXPECT_EQ(HVR::AtBoundary(otherwise, []() -> HResult { throw std::bad_alloc(); }), HResult::OutOfMemory);
    EXPECT_EQ(HVR::AtBoundary(otherwise, []() -> HResult { throw std::bad_array_new_length(); }), HResult::OutOfMemory);
    EXPECT_EQ(HVR::AtBoundary(otherwise, []() -> HResult { throw 1; }), otherwise);
    EXPECT_EQ(HVR::AtBoundary(otherwise, [] { return HResult::False; }), HResult::False);
}

}  // namespace
}  // namespace tests
