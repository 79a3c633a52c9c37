#include "tools/zebdiag/Verbs.h"

#include <gtest/gtest.h>

#include "tests/fakes/FakePlatform.h"
#include "tests/fakes/FakeTrustVerifier.h"
#include "tests/tools/Called.h"
#include "tslib/Utf8.h"

namespace tests {
namespace {

using namespace HVR::zebdiag;
using testing::HasSubstr;
using tsLib::HResult;
using tsLib::TrustResult;
using tsLib::VaneResult;
using Calls = std::vector<std::string>;
using Words = std::vector<std::u16string>;

constexpr HResult kNotRegistered = static_cast<HResult>(static_cast<std::int32_t>(0x80040154u));
const tsLib::ObjectId kId{0x11111111, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};
const std::u16string kIdText = u"{11111111-2222-3333-0102-030405060708}";

// A menu with a broken handler and two working ones: "First" with commands 0 and 1, "Second" with command 2.
struct MenuScript {
    MenuContents contents{{{{u"*", u"Broken", std::nullopt}, kNotRegistered, "CoCreateInstance", 0, 0},
                           {{u"*", u"First", kId}, HResult::Ok, "", 0, 2},
                           {{u"Folder", u"Second", kId}, HResult::Ok, "", 2, 1}},
                          {{false, u"&Open", std::nullopt, u"", u""},
                           {true, u"", std::nullopt, u"", u""},
                           {false, u"&Scan", 0, u"scan", u"Scans \u00E4ll."},
                           {false, u"&Later", 1, u"", u""},
                           {false, u"&More", 2, u"more", u""}},
                          ""};
    HResult answers[3] = {HResult::Ok, HResult::Ok, HResult::Ok};
    std::optional<std::size_t> chosen;
    StartedScanner scanner;
    Words stayLoaded;
    Calls calls;
    Words paths;
};

class FakeMenu final : public ShellMenu {
public:
    explicit FakeMenu(MenuScript& script) : script_(script) {}
    [[nodiscard]] const MenuContents& Contents() const override { return script_.contents; }
    [[nodiscard]] HResult InvokeVerb(std::size_t index, const std::u16string& verb) override {
        script_.calls.push_back(std::to_string(index) + ":" + tsLib::ToUtf8(verb));
        return script_.answers[index];
    }
    [[nodiscard]] HResult InvokeOffset(std::size_t index, std::uint32_t offset) override {
        script_.calls.push_back(std::to_string(index) + "#" + std::to_string(offset));
        return script_.answers[index];
    }
    [[nodiscard]] std::optional<std::size_t> Show(const std::function<void()>& onShown,
                                                  const std::function<void(const MenuItem&)>& onHighlighted) override {
        onShown();
        onHighlighted(script_.contents.items[0]);
        onHighlighted(script_.contents.items[2]);
        return script_.chosen;
    }
    [[nodiscard]] StartedScanner Wait(std::uint32_t seconds) override {
        script_.calls.push_back("wait " + std::to_string(seconds));
        return script_.scanner;
    }
    [[nodiscard]] Words Close() override {
        script_.calls.emplace_back("close");
        return script_.stayLoaded;
    }

private:
    MenuScript& script_;
};

class ZebdiagMenu : public testing::Test {
protected:
    void Run(Words arguments, ExitCode code, const Calls& calls = {"close"}) {
        arguments.insert(arguments.begin(), {u"menu", u"a", u"b"});
        script_.calls.clear();
        called_ = Call(
            [this](Program& program) {
                AddMenuVerb(
                    program,
                    [this](const Words& paths) {
                        script_.paths = paths;
                        return std::make_unique<FakeMenu>(script_);
                    },
                    [](const std::u16string& path) { return u"C:\\" + path; });
            },
            arguments);
        EXPECT_EQ(called_.code, code) << called_.err;
        EXPECT_EQ(script_.calls, calls);
    }
    MenuScript script_;
    Called called_{};
};

TEST_F(ZebdiagMenu, List_TellsEveryHandlerAndItem) {
    Run({}, ExitCode::Yes);
    EXPECT_EQ(script_.paths, (Words{u"C:\\a", u"C:\\b"}));
    EXPECT_THAT(called_.out, HasSubstr("Broken of *, (no class id): CoCreateInstance failed with 0x80040154\n"));
    EXPECT_THAT(called_.out, HasSubstr("0102-030405060708}: 2 commands\n"));
    EXPECT_THAT(called_.out, HasSubstr(": 1 command\nmenu\n       &Open\n       ----\n    0  &Scan"));
    script_.contents.whyOwnObject = "of this";
    script_.stayLoaded = {u"C:\\x.dll"};
    Run({u"--list", u"--json"}, ExitCode::Yes);
    EXPECT_THAT(called_.out, HasSubstr("{\"dataObject\":\"own\",\"handlers\":[{\"name\":\"Broken\",\"class\":\"*\","
                                       "\"clsid\":\"(no class id)\",\"result\":\"0x80040154\",\"step\":"));
    EXPECT_THAT(called_.out, HasSubstr("{\"text\":\"&Open\"},{\"separator\":true},{\"text\":\"&Scan\",\"offset\":0,"
                                       "\"verb\":\"scan\",\"help\":\"Scans \xC3\xA4ll.\"}"));
    EXPECT_EQ(called_.err, "zebdiag menu: C:\\x.dll stays loaded\n");
    script_.contents.items.resize(2);
    Run({}, ExitCode::No);
}

TEST_F(ZebdiagMenu, Commands_ReachTheirHandlers) {
    script_.answers[1] = HResult::Fail;
    Run({u"--invoke", u"More"}, ExitCode::Yes, {"1:More", "2:More", "close"});
    EXPECT_THAT(called_.out, HasSubstr("invoked     Second, result 0x00000000"));
    script_.answers[2] = HResult::Fail;
    Run({u"--invoke", u"More"}, ExitCode::No, {"1:More", "2:More", "close"});
    script_.answers[1] = HResult::False;  // a success too
    Run({u"--invoke", u"More"}, ExitCode::Yes, {"1:More", "close"});
    Run({u"--invoke", u"1"}, ExitCode::Yes, {"1#1", "close"});
    Run({u"--invoke", u"2"}, ExitCode::No, {"2#0", "close"});
    Run({u"--invoke", u"3"}, ExitCode::No);
    Run({u"--invoke", u"4294967295"}, ExitCode::No);
}

TEST_F(ZebdiagMenu, Show_NarratesAndInvokesTheChoice) {
    Run({u"--show"}, ExitCode::No);
    EXPECT_EQ(called_.err, "shown\nhighlighted - -\nhighlighted 0 scan\nzebdiag menu: nothing was chosen\n");
    script_.chosen = 4;
    Run({u"--show"}, ExitCode::Yes, {"2#0", "close"});
    EXPECT_THAT(called_.out, HasSubstr("chosen      &More\n"));
    script_.chosen = 0;
    Run({u"--show", u"--json"}, ExitCode::No);
    EXPECT_TRUE(called_.out.ends_with("\"chosen\":\"&Open\"}\n"));
}

TEST_F(ZebdiagMenu, Wait_TellsWhatBecameOfTheScanner) {
    const Calls calls{"1#0", "wait 7", "close"};
    Run({u"--invoke", u"0", u"--wait", u"7"}, ExitCode::No, calls);
    EXPECT_THAT(called_.out, HasSubstr("scanner     not started\n"));
    script_.scanner = {true, 12, false, 0, std::nullopt};
    Run({u"--invoke", u"0", u"--wait", u"7"}, ExitCode::Error, calls);
    script_.scanner = {true, 12, true, 1, "infected\tC:\\a\r\nend"};
    Run({u"--invoke", u"0", u"--wait", u"7"}, ExitCode::Yes, calls);
    EXPECT_THAT(called_.out, HasSubstr("12\nended       with exit code 1\nreport\n  infected\tC:\\a\n  end\n"));
    script_.scanner.processId.reset();  // gone before it was looked for
    Run({u"--invoke", u"0", u"--wait=7"}, ExitCode::Yes, calls);
    EXPECT_THAT(called_.out, HasSubstr("started, gone already\nreport\n"));
}

TEST_F(ZebdiagMenu, Mistakes_BuildNoMenu) {
    for (const Words& words : {Words{u""},
                               {u"--list", u"--show"},
                               {u"--show", u"--invoke", u"0"},
                               {u"--invoke="},
                               {u"--invoke", u"0", u"--wait", u"86401"},
                               {u"--wait", u"x"}}) {
        Run(words, ExitCode::Usage, {});
    }
}

// Without a display the command-line suite sees no sheet.
TEST(ZebdiagPage, ShownSheet_IsToldWithItsPages) {
    const auto host = [](bool show, const std::function<void()>& onShown) {
        EXPECT_TRUE(show);
        onShown();
        return PageSheet{{{{u"Display", u"Good", kId}, HResult::Ok, "", 0, 1}}, {u"One"}, {u"C:\\x.dll"}, true};
    };
    const Called called = Call([&](Program& program) { AddPageVerb(program, host); }, {u"page", u"--show", u"--json"});
    EXPECT_EQ(called.code, ExitCode::Yes);
    EXPECT_EQ(called.out, "{\"handlers\":[{\"name\":\"Good\",\"clsid\":\"" + tsLib::ToUtf8(kIdText) +
                              "\",\"result\":\"0x00000000\",\"pages\":1}],\"pages\":[\"One\"]}\n");
    EXPECT_EQ(called.err, "shown\nzebdiag page: C:\\x.dll stays loaded\n");
}

TEST(ZebdiagScan, OutcomesBecomeExitCodes) {
    const StartedScanner running{true, 12, false, 0, std::nullopt};
    const StartedScanner ended{true, 12, true, 1, std::nullopt};
    const struct {
        StartedScanner scanner;
        bool waits;
        ExitCode code;
    } table[] = {{{}, false, ExitCode::No},
                 {{}, true, ExitCode::No},
                 {running, false, ExitCode::Yes},
                 {running, true, ExitCode::Error},
                 {ended, true, ExitCode::Yes}};
    for (const auto& row : table) {
        const auto scan = [&](const Words& paths, std::optional<std::uint32_t> wait) {
            EXPECT_EQ(paths, Words{u"C:\\a"});
            EXPECT_EQ(wait.has_value(), row.waits);
            return ScanOutcome{HResult::Ok, u"C:\\l", std::vector<std::string>(22, "x"), std::nullopt, row.scanner};
        };
        const auto add = [&](Program& program) {
            AddScanVerb(program, scan, [](const std::u16string& path) { return u"C:\\" + path; });
        };
        const Called called = Call(add, row.waits ? Words{u"scan", u"a", u"--wait", u"1"} : Words{u"scan", u"a"});
        EXPECT_EQ(called.code, row.code);
        EXPECT_THAT(called.out, HasSubstr("list file   C:\\l\n  x\n"));
        EXPECT_THAT(called.out, HasSubstr("  x\n  and 2 more\nscanner     "));
    }
}

TEST(ZebdiagObjects, Modules_AreJudged_AndLookedIntoOnlyWhenTrusted) {
    FakePlatform fake;
    FakeTrustVerifiers verifiers;
    const auto entry = reinterpret_cast<EntryPoint>(+[] {});
    fake.disk.PutModule(u"C:\\good.dll", {{"GetFactory", entry}, {"GetObjectCount", entry}});
    fake.disk.PutModule(u"C:\\nofactory.dll", {{"GetObjectCount", entry}});
    fake.disk.PutModule(u"C:\\nocount.dll", {{"GetFactory", entry}});
    fake.disk.PutModule(u"C:\\neither.dll");
    bool isRead = true;
    const struct {
        std::u16string stored;
        TrustResult verdict;
        ExitCode code;
        std::string out;
    } table[] = {
        {u"C:\\good.dll", TrustResult::Trusted, ExitCode::Yes,
         "\"result\":1,\"name\":\"trusted\",\"refused\":false,\"entryPoints\":\"both there\"}],\"read\":true}"},
        {u"C:\\good.dll", TrustResult::NotTrusted, ExitCode::No, "\"refused\":true,\"entryPoints\":\"not looked at\""},
        {u"C:\\good.dll", TrustResult::CannotDetermine, ExitCode::No, "\"entryPoints\":\"not looked at\""},
        {u"C:\\nofactory.dll", TrustResult::Trusted, ExitCode::No, "GetFactory missing"},
        {u"C:\\nocount.dll", TrustResult::Trusted, ExitCode::No, "GetObjectCount missing"},
        {u"C:\\neither.dll", TrustResult::Trusted, ExitCode::No, "both missing"},
        {u"C:\\gone.dll", TrustResult::Trusted, ExitCode::No, "module cannot be loaded"},
        {u"%X%", TrustResult::Trusted, ExitCode::No,
         "\"stored\":\"%X%\",\"expanded\":false,\"entryPoints\":\"not looked at\"}"},
    };
    const auto run = [&](const std::u16string& stored) {
        const auto list = [&](std::vector<KnownObject>& objects) {
            objects = {{kId, KnownObject::Source::BuiltIn, {}}, {kId, KnownObject::Source::SettingsStore, stored}};
            return isRead;
        };
        const auto expand = [](const std::u16string& text, std::u16string& expanded) {
            expanded = text;
            return text.front() != u'%';
        };
        return Call([&](Program& program) { AddObjectsVerb(program, list, expand, verifiers, fake.modules); },
                    {u"objects", u"--json"});
    };
    for (const auto& row : table) {
        verifiers.verdict = row.verdict;
        fake.modules.alteredLoads.clear();
        const Called called = run(row.stored);
        EXPECT_EQ(called.code, row.code);
        EXPECT_THAT(called.out, HasSubstr("\"source\":\"built-in\"},{\"id\":\"" + tsLib::ToUtf8(kIdText) +
                                          "\",\"source\":\"settings-store\","));
        EXPECT_THAT(called.out, HasSubstr(row.out));
        EXPECT_EQ(fake.modules.alteredLoads.empty(), row.verdict != TrustResult::Trusted || row.stored == u"%X%");
        EXPECT_EQ(fake.Leftovers(), "");
    }
    isRead = false;
    EXPECT_EQ(run(u"C:\\good.dll").code, ExitCode::Error);
    verifiers.none = true;
    EXPECT_EQ(run(u"C:\\good.dll").err, "zebdiag objects: no trust verifier could be made\n");
}

TEST(ZebdiagCreate, Object_IsReleased) {
    FakeTrustVerifiers verifiers;  // its objects count themselves
    const auto create = [&](const auto& id, const auto& interfaceId, tsLib::VaneRef<tsLib::IVaneBase>& object) {
        EXPECT_TRUE(id == kId && interfaceId == tsLib::kIVaneBaseId);
        object = tsLib::VaneRef<tsLib::IVaneBase>(verifiers.Create());
        return VaneResult{0x00010400};
    };
    const Called called = Call([&](Program& program) { AddCreateVerb(program, create); },
                               {u"create", kIdText, tsLib::ToText(tsLib::kIVaneBaseId)});
    EXPECT_EQ(called.out, "result    0x00010400 the component's own result; created and released\n");
    EXPECT_EQ(verifiers.alive, 0U);
}

TEST(ZebdiagNumbers, OfSuspensionsAndFailures_DecideTheExitCode) {
    SystemError error = SystemError::Success;
    const auto add = [&](Program& program) {
        AddProtectionVerb(program, [&](std::uint32_t& suspensions) {
            suspensions = 2;
            return error;
        });
        AddPathVerb(program, [](auto&&...) { return HResult::PathNotFound; });
    };
    const Called suspended = Call(add, {u"protection", u"--json"});
    EXPECT_EQ(suspended.code, ExitCode::No);
    EXPECT_EQ(suspended.out, "{\"suspensions\":2,\"suspended\":true}\n");
    error = SystemError::AccessDenied;
    EXPECT_EQ(Call(add, {u"protection"}).code, ExitCode::Error);
    EXPECT_THAT(Call(add, {u"protection"}).err, HasSubstr("system error 5"));
    EXPECT_EQ(Call(add, {u"path", u"8"}).code, ExitCode::No);
    EXPECT_EQ(Call(add, {u"path", u"8", u"--json"}).out, "{\"kind\":8,\"file\":\"\",\"result\":\"0x80030003\"}\n");
}

}  // namespace
}  // namespace tests
