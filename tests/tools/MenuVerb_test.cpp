#include "tools/zebdiag/MenuVerb.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/tools/KeptConsole.h"
#include "tools/zebdiag/PageVerb.h"

namespace tests {
namespace {

using namespace HVR::zebdiag;
using tsLib::HResult;

constexpr HResult kNotRegistered = static_cast<HResult>(static_cast<std::int32_t>(0x80040154u));

// A menu with a broken handler and two working ones: "First" with commands 0 and 1, "Second" with command 2.
struct MenuState {
    MenuContents contents;
    std::vector<std::string> calls;
    HResult answers[3] = {HResult::Ok, HResult::Ok, HResult::Ok};
    std::optional<std::size_t> chosen;
    StartedScanner scanner;
    std::vector<std::u16string> stayLoaded;
    std::vector<std::u16string> paths;
    bool closed = false;

    MenuState() {
        contents.isShellObject = true;
        contents.handlers = {{{u"*", u"Broken", std::nullopt}, kNotRegistered, "CoCreateInstance", 0, 0},
                             {{u"*", u"First", tsLib::Guid{}}, HResult::Ok, "", 0, 2},
                             {{u"Folder", u"Second", tsLib::Guid{}}, HResult::Ok, "", 2, 1}};
        contents.items = {{false, u"&Open", std::nullopt, u"", u""},
                          {true, u"", std::nullopt, u"", u""},
                          {false, u"&Scan", 0, u"scan", u"Scans \u00E4ll."},
                          {false, u"&Later", 1, u"", u""},
                          {false, u"&More", 2, u"more", u""}};
    }
};

class FakeMenu final : public ShellMenu {
public:
    explicit FakeMenu(MenuState& state) : state_(state) {}
    [[nodiscard]] const MenuContents& Contents() const override { return state_.contents; }
    [[nodiscard]] HResult InvokeVerb(std::size_t index, const std::u16string& verb) override {
        state_.calls.push_back(std::to_string(index) + ":" + Utf8(verb));
        return state_.answers[index];
    }
    [[nodiscard]] HResult InvokeOffset(std::size_t index, std::uint32_t offset) override {
        state_.calls.push_back(std::to_string(index) + "#" + std::to_string(offset));
        return state_.answers[index];
    }
    [[nodiscard]] std::optional<std::size_t> Show(MenuWatcher& watcher) override {
        watcher.OnShown();
        watcher.OnHighlighted(state_.contents.items[0]);
        watcher.OnHighlighted(state_.contents.items[2]);
        return state_.chosen;
    }
    [[nodiscard]] StartedScanner Wait(std::uint32_t seconds) override {
        state_.calls.push_back("wait " + std::to_string(seconds));
        return state_.scanner;
    }
    [[nodiscard]] std::vector<std::u16string> Close() override {
        state_.closed = true;
        return state_.stayLoaded;
    }

private:
    MenuState& state_;
};

class MenuVerb : public testing::Test {
protected:
    ExitCode Run(std::vector<std::u16string> arguments) {
        arguments.insert(arguments.begin(), u"menu");
        console_.out.clear();
        console_.err.clear();
        state_.calls.clear();
        state_.closed = false;
        return Call({MakeMenuVerb(
                        [this](const std::vector<std::u16string>& paths) -> std::unique_ptr<ShellMenu> {
                            state_.paths = paths;
                            return std::make_unique<FakeMenu>(state_);
                        },
                        [](const std::u16string& path) { return u"C:\\" + path; })},
                    arguments, console_);
    }
    MenuState state_;
    KeptConsole console_;
};

using Calls = std::vector<std::string>;

TEST_F(MenuVerb, List_TellsEveryHandlerAndItem) {
    EXPECT_EQ(Run({u"a", u"b"}), ExitCode::Yes);
    EXPECT_EQ(state_.paths, (std::vector<std::u16string>{u"C:\\a", u"C:\\b"}));
    EXPECT_NE(console_.out.find("Broken of *, (no class id): CoCreateInstance failed with 0x80040154"),
              std::string::npos);
    EXPECT_NE(console_.out.find(": 2 commands\n"), std::string::npos);
    EXPECT_NE(console_.out.find(": 1 command\n"), std::string::npos);
    EXPECT_NE(console_.out.find("       &Open\n       ----\n    0  &Scan"), std::string::npos);
    EXPECT_TRUE(state_.calls.empty());
    EXPECT_TRUE(state_.closed);
    EXPECT_EQ(Run({u"a", u"--list", u"--json"}), ExitCode::Yes);
    EXPECT_NE(console_.out.find("\"dataObject\":\"shell\""), std::string::npos);
    EXPECT_NE(console_.out.find("{\"text\":\"&Open\"},{\"separator\":true},{\"text\":\"&Scan\",\"offset\":0,"
                                "\"verb\":\"scan\",\"help\":\"Scans \xC3\xA4ll.\"}"),
              std::string::npos);
    state_.contents.isShellObject = false;
    state_.contents.whyNot = "of this";
    EXPECT_EQ(Run({u"a"}), ExitCode::Yes);
    EXPECT_TRUE(console_.out.starts_with("selection   a drop list of its own, because of this\n"));
}

TEST_F(MenuVerb, List_WithoutAnyCommandIsNo) {
    state_.contents.items.resize(2);
    EXPECT_EQ(Run({u"a"}), ExitCode::No);
    EXPECT_TRUE(state_.closed);
}

TEST_F(MenuVerb, Verb_GoesFromHandlerToHandlerUntilOneTakesIt) {
    state_.answers[1] = HResult::Fail;
    EXPECT_EQ(Run({u"a", u"--invoke", u"More"}), ExitCode::Yes);
    EXPECT_EQ(state_.calls, (Calls{"1:More", "2:More"}));
    EXPECT_NE(console_.out.find("invoked     Second, result 0x00000000"), std::string::npos);
    state_.answers[1] = HResult::False;  // a success too
    EXPECT_EQ(Run({u"a", u"--invoke", u"More"}), ExitCode::Yes);
    EXPECT_EQ(state_.calls, (Calls{"1:More"}));
    state_.answers[1] = state_.answers[2] = HResult::Fail;
    EXPECT_EQ(Run({u"a", u"--invoke", u"More"}), ExitCode::No);
    EXPECT_EQ(state_.calls, (Calls{"1:More", "2:More"}));
}

TEST_F(MenuVerb, Offset_ReachesItsHandlerCountedFromTheHandlersFirst) {
    const struct {
        const char16_t* argument;
        Calls calls;
    } cases[] = {{u"0", {"1#0"}}, {u"1", {"1#1"}}, {u"2", {"2#0"}}, {u"3", {}}, {u"4294967295", {}}};
    for (const auto& row : cases) {
        EXPECT_EQ(Run({u"a", u"--invoke", row.argument}), row.calls.empty() ? ExitCode::No : ExitCode::Yes);
        EXPECT_EQ(state_.calls, row.calls);
        EXPECT_TRUE(state_.closed);
    }
}

TEST_F(MenuVerb, Show_NarratesAndInvokesTheChoice) {
    EXPECT_EQ(Run({u"a", u"--show"}), ExitCode::No);
    EXPECT_EQ(console_.err, "shown\nhighlighted - -\nhighlighted 0 scan\nzebdiag menu: nothing was chosen\n");
    state_.chosen = 4;
    EXPECT_EQ(Run({u"a", u"--show"}), ExitCode::Yes);
    EXPECT_EQ(state_.calls, (Calls{"2#0"}));
    EXPECT_NE(console_.out.find("chosen      &More\n"), std::string::npos);
    state_.chosen = 0;
    EXPECT_EQ(Run({u"a", u"--show", u"--json"}), ExitCode::No);
    EXPECT_TRUE(state_.calls.empty());
    EXPECT_NE(console_.out.find("\"chosen\":\"&Open\"}\n"), std::string::npos);
}

TEST_F(MenuVerb, Wait_TellsWhatBecameOfTheScanner) {
    EXPECT_EQ(Run({u"a", u"--invoke", u"0", u"--wait", u"7"}), ExitCode::No);
    EXPECT_EQ(state_.calls, (Calls{"1#0", "wait 7"}));
    EXPECT_NE(console_.out.find("scanner     not started\n"), std::string::npos);
    state_.scanner.started = true;
    state_.scanner.processId = 12;
    EXPECT_EQ(Run({u"a", u"--invoke", u"0", u"--wait", u"7"}), ExitCode::Error);
    state_.scanner.ended = true;
    state_.scanner.exitCode = 1;
    state_.scanner.report = "infected\tC:\\a\nend";
    EXPECT_EQ(Run({u"a", u"--invoke", u"0", u"--wait", u"7"}), ExitCode::Yes);
    EXPECT_NE(console_.out.find("ended       with exit code 1\nreport\n  infected\tC:\\a\n  end\n"), std::string::npos);
    EXPECT_EQ(Run({u"a", u"--invoke", u"0", u"--wait=7", u"--json"}), ExitCode::Yes);
    EXPECT_NE(console_.out.find("\"started\":true,\"ended\":true,\"processId\":12,\"scannerExitCode\":1,\"report\":"),
              std::string::npos);
    state_.scanner.processId.reset();  // gone before it was looked for
    EXPECT_EQ(Run({u"a", u"--invoke", u"0", u"--wait", u"7"}), ExitCode::Yes);
    EXPECT_EQ(console_.out.find("exit code"), std::string::npos);
}

TEST_F(MenuVerb, ModulesThatStayLoaded_AreNamed) {
    state_.stayLoaded = {u"C:\\x.dll"};
    EXPECT_EQ(Run({u"a"}), ExitCode::Yes);
    EXPECT_EQ(console_.err, "zebdiag menu: C:\\x.dll stays loaded\n");
}

TEST_F(MenuVerb, Mistakes_AreUsageErrorsAndBuildNoMenu) {
    const std::vector<std::u16string> cases[] = {
        {},
        {u""},
        {u"a", u"--list", u"--show"},
        {u"a", u"--show", u"--invoke", u"0"},
        {u"a", u"--invoke", u""},
        {u"a", u"--invoke", u"0", u"--wait", u"86401"},
        {u"a", u"--invoke"},
    };
    for (const auto& arguments : cases) {
        EXPECT_EQ(Run(arguments), ExitCode::Usage);
        EXPECT_TRUE(state_.paths.empty());
        EXPECT_TRUE(console_.out.empty());
    }
}

TEST(ZebdiagPage, SheetsBecomeExitCodes) {
    PageSheet sheet;
    bool shown = false;
    const std::vector<Verb> verbs{MakePageVerb([&](bool show, const std::function<void()>& onShown) {
        shown = show;
        if (show) {
            onShown();
        }
        return sheet;
    })};
    KeptConsole console;
    EXPECT_EQ(Call(verbs, {u"page"}, console), ExitCode::No);
    sheet.handlers = {{{u"Display", u"Broken", std::nullopt}, kNotRegistered, "CoCreateInstance", 0, 0},
                      {{u"Display", u"Good", tsLib::Guid{}}, HResult::Ok, "", 0, 2}};
    sheet.titles = {u"One", u"Two"};
    console.out.clear();
    EXPECT_EQ(Call(verbs, {u"page", u"--list"}, console), ExitCode::Yes);
    EXPECT_FALSE(shown);
    EXPECT_NE(console.out.find("Good, {00000000-0000-0000-0000-000000000000}: 2 pages\npage        One\n"),
              std::string::npos);
    console.out.clear();
    console.err.clear();
    EXPECT_EQ(Call(verbs, {u"page", u"--show", u"--json"}, console), ExitCode::Yes);
    EXPECT_TRUE(shown);
    EXPECT_EQ(console.err, "shown\n");
    EXPECT_NE(console.out.find("\"step\":\"CoCreateInstance\"},"), std::string::npos);
    EXPECT_NE(console.out.find("\"pages\":2}],\"pages\":[\"One\",\"Two\"]}"), std::string::npos);
    sheet.isShown = false;
    EXPECT_EQ(Call(verbs, {u"page"}, console), ExitCode::Error);
    EXPECT_EQ(Call(verbs, {u"page", u"x"}, console), ExitCode::Usage);
    EXPECT_EQ(Call(verbs, {u"page", u"--list", u"--show"}, console), ExitCode::Usage);
}

}  // namespace
}  // namespace tests
