#include "tools/zebdiag/Verbs.h"

#include <gtest/gtest.h>

#include "tests/fakes/FakePlatform.h"
#include "tests/fakes/FakeTrustVerifier.h"
#include "tslib/Utf8.h"

namespace tests {
namespace {

using namespace HVR::zebdiag;
using tsLib::HResult;
using Calls = std::vector<std::string>;
using Words = std::vector<std::u16string>;

bool Holds(const std::string& text, std::string_view part) { return text.find(part) != text.npos; }

// One call of zebdiag with the verbs that a test adds.
struct Called final : Console, Tracing {
    template <class AddVerbs>
    Called(AddVerbs&& addVerbs, const Words& arguments) {
        Program program(*this, *this);
        addVerbs(program);
        code = program.Call(arguments);
    }
    void Out(std::string_view line) override { out.append(line).append("\n"); }
    void Err(std::string_view line) override { err.append(line).append("\n"); }

    void Show() override { Err("tracing"); }
    [[nodiscard]] std::string LastError() const override { return "error 103: why"; }

    ExitCode code{};
    std::string out;
    std::string err;
};

TEST(Zebdiag, Texts_ArriveUnitForUnit_WhateverTheyLookLike) {
    const Words texts{u"",    u"-x",   u"-1", u"/x", u"//",     u"[a,b]",         u"{}",         u"%%", u"++", u"other",
                      u"a=b", u"\x01", u"ä",  u"€",  u"\xD800", u"\xDC00\xD800x", u"\U0001F600", u"a b"};
    Words operands;
    std::u16string value;
    const auto add = [&](Program& program) {
        program.Add({"other", "", ""}, {});
        program.Add({"verb", "", "", {{"TEXT", "", "", {}, Times::OnceOrMore}, {"--option", "", "X"}}},
                    [&](const Given& given, const Output&) {
                        operands = given.texts.at("TEXT");
                        value = given.Text("--option");
                        return ExitCode::Yes;
                    });
    };
    for (const std::u16string& text : texts) {
        for (const Words& words :
             {Words{u"verb", u"--option=" + text, text, text}, {u"verb", text, u"--option", text, u"--", text}}) {
            EXPECT_EQ(Called(add, words).code, ExitCode::Yes);
            EXPECT_EQ(operands, (Words{text, text}));
            EXPECT_EQ(value, text);
        }
    }
    EXPECT_EQ(Called(add, {u"verb", u"x", u"--option", u"--json", u"--", u"--option"}).out, "") << "options as texts";
    EXPECT_EQ(operands, (Words{u"x", u"--option"}));
    EXPECT_EQ(value, u"--json");
}

TEST(Zebdiag, ExitCodes_SayHowACallEnded_NumbersAreWholeDecimalsOfThirtyTwoBits) {
    const auto add = [](Program& program) {
        const Syntax verb{"verb", "", "", {{"END", "", "", {}, Times::Once}, {"--option", "", "X"}}};
        program.Add(verb, [](const Given& given, const Output& output) -> ExitCode {
            if (given.Text("END") == u"memory") {
                throw std::bad_alloc();
            }
            output.Object({{"cut", "\xFF"}});
            return output.Answer(ExitCode::No, "why");
        });
    };
    using Row = std::tuple<Words, ExitCode, std::string>;
    for (const auto& [words, code, says] :
         {Row{{u"verb", u"x", u"--trace"}, ExitCode::No, "{\"cut\":\"\xEF\xBF\xBD\"}\ntracing\nzebdiag verb: why\n"},
          {{u"verb", u"memory"}, ExitCode::Error, "zebdiag: out of memory\n"},
          {{u"v\xD800"}, ExitCode::Usage, "zebdiag: unknown verb v\xEF\xBF\xBD; see zebdiag --help\n"},
          {{u"verb", u"x", u"\xD800\u00E4"}, ExitCode::Usage, ": \xEF\xBF\xBD\xC3\xA4; see zebdiag verb --help\n"}}) {
        const Called called(add, words);
        EXPECT_EQ(called.code, code);
        EXPECT_TRUE((called.out + called.err).ends_with(says)) << called.out << called.err;
    }
    for (const Words& words :
         {Words{u"verb", u"x", u"--json=1"}, {u"verb", u"x", u"--json", u"--json"}, {u"verb", u"x", u"--js"}}) {
        EXPECT_EQ(Called(add, words).code, ExitCode::Usage);
    }
    EXPECT_EQ(HVR::commandline::Number(u"4294967295"), 4294967295U);
    for (const auto* text : {u"", u"4294967296", u"-1", u"+1", u"1a", u"0x1", u" 1", u"18446744073709551617"}) {
        EXPECT_FALSE(HVR::commandline::Number(text).has_value());
    }
}

std::u16string InC(const std::u16string& path) { return u"C:\\" + path; }

// A menu with a broken handler and two working ones: "First" with commands 0 and 1, "Second" with command 2.
struct FakeMenu final : ShellMenu {
    explicit FakeMenu(Calls& allCalls) : calls(allCalls) {}
    [[nodiscard]] const MenuContents& Contents() const override { return contents; }
    HResult InvokeVerb(std::size_t index, const std::u16string& verb) override {
        calls.push_back(std::to_string(index) + ":" + tsLib::ToUtf8(verb));
        return answers[index];
    }
    HResult InvokeOffset(std::size_t index, std::uint32_t offset) override {
        calls.push_back(std::to_string(index) + "#" + std::to_string(offset));
        return answers[index];
    }
    std::optional<std::size_t> Show(const std::function<void()>& onShown,
                                    const std::function<void(const MenuItem&)>& onHighlighted) override {
        onShown();
        onHighlighted(contents.items[0]);
        onHighlighted(contents.items[1]);
        return chosen;
    }
    StartedScanner Wait(std::uint32_t seconds) override {
        EXPECT_EQ(seconds, 7U);
        return scanner;
    }
    Words Close() override { return {u"C:\\x.dll"}; }

    Calls& calls;
    MenuContents contents{{{{u"*", u"Broken", std::nullopt}, HResult::NoInterface, "CoCreateInstance", 0, 0},
                           {{u"*", u"First", std::nullopt}, HResult::Ok, "", 0, 2},
                           {{u"Folder", u"Second", std::nullopt}, HResult::Ok, "", 2, 1}},
                          {{false, u"&Open", std::nullopt, u"", u""},
                           {false, u"&Scan", 0, u"scan", u"Scans \u00E4ll."},
                           {false, u"&Later", 1, u"", u""}},
                          "of this"};
    HResult answers[3] = {HResult::Ok, HResult::Ok, HResult::Ok};
    std::optional<std::size_t> chosen;
    StartedScanner scanner;
};

struct ZebdiagMenu : testing::Test {
    // `says` is part of what was printed.
    void Run(Words arguments, ExitCode code, const Calls& calls = {}, const std::string& says = "") {
        arguments.insert(arguments.begin(), {u"menu", u"a", u"b"});
        calls_.clear();
        const auto make = [this](const Words& paths) {
            EXPECT_EQ(paths, (Words{u"C:\\a", u"C:\\b"}));
            return std::make_unique<FakeMenu>(menu_);
        };
        const Called called([&](Program& program) { AddMenuVerb(program, make, InC); }, arguments);
        EXPECT_EQ(called.code, code) << called.err;
        EXPECT_EQ(calls_, calls);
        EXPECT_TRUE(Holds(called.out + called.err, says)) << called.out << called.err;
    }
    Calls calls_;
    FakeMenu menu_{calls_};
};

TEST_F(ZebdiagMenu, List_TellsWhatFailed_AndWhatStays) {
    Run({}, ExitCode::Yes, {}, "drop list of its own, because of this\nhandler     Broken of *, (no class id): CoCre");
    Run({}, ExitCode::Yes, {}, "zebdiag menu: C:\\x.dll stays loaded\n");
    Run({u"--json"}, ExitCode::Yes, {}, "\"result\":\"0x80004002\",\"step\":\"CoCreateInstance\"},");
}

TEST_F(ZebdiagMenu, Commands_ReachTheirHandlers) {
    menu_.answers[1] = HResult::Fail;
    Run({u"--invoke", u"More"}, ExitCode::Yes, {"1:More", "2:More"}, "invoked     Second, result 0x0000");
    menu_.answers[1] = HResult::False;  // a success too
    Run({u"--invoke", u"More"}, ExitCode::Yes, {"1:More"});
    Run({u"--invoke", u"1"}, ExitCode::Yes, {"1#1"});
    menu_.answers[2] = HResult::Fail;
    Run({u"--invoke", u"2"}, ExitCode::No, {"2#0"});
    Run({u"--invoke", u"3"}, ExitCode::No);
    Run({u"--show"}, ExitCode::No, {}, "shown\nhighlighted - -\nhighlighted 0 scan\nzebdiag menu: nothing was ");
    menu_.chosen = 2;
    Run({u"--show"}, ExitCode::Yes, {"1#1"}, "chosen      &Later\n");
    menu_.chosen = 0;
    Run({u"--show", u"--json"}, ExitCode::No, {}, "\"chosen\":\"&Open\"}\n");
    for (const Words& words :
         {Words{u""}, {u"--list", u"--show"}, {u"--show", u"--invoke=0"}, {u"--invoke="}, {u"--wait=86401"}}) {
        Run(words, ExitCode::Usage, {});
    }
    menu_.scanner = {true, std::nullopt, true, 1, "infected\tC:\\a\r\nend"};  // gone before it was looked for
    Run({u"--invoke=0", u"--wait=7"}, ExitCode::Yes, {"1#0"}, "gone already\nreport\n  infected\tC:\\a\n  end\n");
}

// Without a display the command-line suite sees no sheet.
TEST(ZebdiagPage, ShownSheet_IsToldWithItsPages) {
    const auto host = [](bool show, const std::function<void()>& onShown) {
        onShown();
        return PageSheet{{}, {u"One"}, show ? Words{u"C:\\x.dll"} : Words{}, true};
    };
    const Called called([&](Program& program) { AddPageVerb(program, host); }, {u"page", u"--show", u"--json"});
    EXPECT_EQ(called.code, ExitCode::Yes);
    EXPECT_EQ(called.out, "{\"handlers\":[],\"pages\":[\"One\"]}\n");
    EXPECT_EQ(called.err, "shown\nzebdiag page: C:\\x.dll stays loaded\n");
}

struct ZebdiagScan : testing::Test {
    Called Run(const Words& more) {
        Words words{u"scan"};
        words.insert(words.end(), more.begin(), more.end());
        const auto scan = [this](const Words& paths, std::optional<std::uint32_t>) {
            selected_ = paths;
            return ScanOutcome{HResult::Ok, paths.size(), u"C:\\l", lines_, std::nullopt, scanner_};
        };
        return {[&](Program& program) { AddScanVerb(program, scan, InC, fake_.files); }, words};
    }

    FakePlatform fake_;
    StartedScanner scanner_{true, 1, true, 0, "item\tC:\\a\nsummary\titems=1\tlist=complete\n"};
    std::vector<std::string> lines_{"C:\\a"};
    Words selected_;
};

TEST_F(ZebdiagScan, Outcome_IsToldByTextAndExitCode) {
    EXPECT_EQ(Run({u"a", u"--wait=1"}).code, ExitCode::Yes);
    scanner_.report = "item\tC:\\a\nunreadable\tC:\\a\t5\nsummary\titems=1\tlist=complete\n";
    EXPECT_TRUE(Holds(Run({u"a", u"--wait=1"}).err, "not everything was scanned: the scanner could not read"));
    scanner_.report = "item\tC:\\a\nsummary\titems=1\tlist=cut\n";
    EXPECT_TRUE(Holds(Run({u"a", u"--wait=1"}).err, "not everything was scanned: the scanner found the list cut"));
    scanner_.report = "summary\titems=0\tlist=complete\n";
    EXPECT_TRUE(Holds(Run({u"a", u"--wait=1"}).err, "0 of 1 lines of the list are in the report"));
    scanner_.report.reset();
    EXPECT_TRUE(Holds(Run({u"a", u"--wait=1", u"--json"}).out, "\"missing\":\"the scanner wrote no report\""));
    scanner_.ended = false;
    EXPECT_EQ(Run({u"a"}).code, ExitCode::Yes);
    EXPECT_EQ(Run({u"a", u"--wait", u"1"}).code, ExitCode::Error);
    const Called cut = Run({u"a", u"b"});
    EXPECT_EQ(cut.code, ExitCode::No);
    EXPECT_TRUE(Holds(cut.err, "1 of 2 paths are in the list")) << cut.err;
    lines_.assign(22, "x");
    scanner_.started = false;
    const Called unstarted = Run({u"a"});
    EXPECT_EQ(unstarted.code, ExitCode::No);
    EXPECT_TRUE(Holds(unstarted.out, "  x\n  and 2 more\nscanner     not started\n")) << unstarted.out;
}

TEST_F(ZebdiagScan, PathsOfAFile_AreSelectedToo) {
    fake_.disk.PutFile(u"C:\\list", "\xEF\xBB\xBFone\r\n\n\xC3\xA4");
    fake_.disk.PutFile(u"C:\\wide", std::string_view("\xFF\xFE"
                                                     "t\0w\0o\0\n\0",
                                                     10));
    Run({u"a", u"--from", u"list"});
    EXPECT_EQ(selected_, (Words{u"C:\\a", u"C:\\one", u"C:\\ä"}));
    Run({u"--from=wide"});
    EXPECT_EQ(selected_, (Words{u"C:\\two"}));
    for (const std::string_view bad : {std::string_view("\xFF\xFE"
                                                        "a",
                                                        3),
                                       std::string_view("a\0", 2), std::string_view("\xFF")}) {
        fake_.disk.PutFile(u"C:\\list", bad);
        EXPECT_EQ(Run({u"--from=list"}).code, ExitCode::Error);
    }
    fake_.disk.PutFile(u"C:\\list", "\r\n");
    for (const Words& words : {Words{}, {u"--from=list"}}) {
        EXPECT_EQ(Run(words).code, ExitCode::Usage);
    }
    EXPECT_EQ(Run({u"--from=none"}).err, "zebdiag: cannot read none: system error 2\n");
    EXPECT_EQ(fake_.Leftovers(), "");
}

TEST(ZebdiagOutcomes, OfProtection_BecomeExitCodes) {
    SystemError error = SystemError::Success;
    const auto protection = [&](Program& program) {
        AddProtectionVerb(program, [&](bool& isSuspended) {
            isSuspended = true;
            return error;
        });
    };
    EXPECT_EQ(Called(protection, {u"protection", u"--json"}).out, "{\"suspended\":true}\n");
    EXPECT_EQ(Called(protection, {u"protection"}).code, ExitCode::No);
    error = SystemError::AccessDenied;
    EXPECT_EQ(Called(protection, {u"protection"}).code, ExitCode::Error);
}

TEST(ZebdiagObjects, Modules_AreJudged_AndLookedIntoOnlyWhenTrusted) {
    FakePlatform fake;
    FakeTrustVerifiers verifiers;
    const auto entry = reinterpret_cast<EntryPoint>(+[] {});
    fake.disk.PutModule(u"C:\\nofactory.dll", {{"GetObjectCount", entry}});
    fake.disk.PutModule(u"C:\\nocount.dll", {{"GetFactory", entry}});
    bool isRead = true;
    const auto run = [&](const std::u16string& stored) {
        const auto list = [&](std::vector<KnownObject>& objects) {
            objects = {{{}, KnownObject::Source::SettingsStore, stored}};
            return isRead;
        };
        const auto expand = [](const std::u16string& text, std::u16string& expanded) {
            expanded = text;
            return text.front() != u'%';
        };
        return Called([&](Program& program) { AddObjectsVerb(program, list, expand, verifiers, fake.modules); },
                      {u"objects"});
    };
    using Row = std::pair<std::u16string, std::string>;
    for (const auto& [stored, entries] : {Row{u"C:\\nofactory.dll", "GetFactory missing"},
                                          {u"C:\\nocount.dll", "GetObjectCount missing"},
                                          {u"C:\\gone.dll", "module cannot be loaded"},
                                          {u"%X%", "not looked at"}}) {
        const Called called = run(stored);
        EXPECT_EQ(called.code, ExitCode::No);
        EXPECT_TRUE(Holds(called.out, "entry points  " + entries + "\n")) << called.out;
    }
    EXPECT_EQ(fake.Leftovers(), "");
    fake.modules.alteredLoads.clear();
    verifiers.verdict = tsLib::TrustResult::CannotDetermine;
    EXPECT_EQ(run(u"C:\\good.dll").code, ExitCode::No);
    EXPECT_TRUE(fake.modules.alteredLoads.empty()) << "loaded although it is not trusted";
    isRead = false;
    EXPECT_EQ(run(u"C:\\good.dll").code, ExitCode::Error);
    verifiers.none = true;
    EXPECT_EQ(run(u"C:\\good.dll").err, "zebdiag objects: no trust verifier could be made\n");
}

// Where the value names no class, the key's own name may.
TEST(ZebdiagHandlers, AreThoseOfTheSelectionsClasses_EachClassIdOnce) {
    const std::u16string one = u"{11111111-2222-3333-0102-030405060708}";
    const std::u16string other = u"{AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE}";
    FakePlatform fake;
    const std::u16string ofFolders = u"Folder\\Shellex\\ContextMenuHandlers\\";
    fake.registry.PutText(RegistryRoot::ClassesRoot, u"Drive\\Shellex\\ContextMenuHandlers\\A", u"", one);
    fake.registry.PutText(RegistryRoot::ClassesRoot, ofFolders + u"Again", u"", one);
    fake.registry.PutText(RegistryRoot::ClassesRoot, ofFolders + other, u"", u"a description");
    fake.registry.PutKey(RegistryRoot::ClassesRoot, ofFolders + u"nothing");
    const auto found = [&](std::u16string_view path) {
        Words words;
        for (const RegisteredHandler& handler : SelectionHandlers(fake.registry, path, true)) {
            words.push_back(handler.className + u" " + handler.name + (handler.clsid ? u"" : u" without class"));
        }
        return words;
    };
    EXPECT_EQ(found(u"C:\\"), (Words{u"Drive A", u"Folder nothing without class", u"Folder " + other}));
    EXPECT_EQ(found(u"\\\\s"), (Words{u"Folder Again", u"Folder nothing without class", u"Folder " + other}));
    EXPECT_EQ(fake.Leftovers(), "");
}

}  // namespace
}  // namespace tests
