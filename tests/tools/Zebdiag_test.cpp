#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/tools/KeptConsole.h"
#include "tools/zebdiag/CommandLine.h"
#include "tools/zebdiag/JsonWriter.h"
#include "tools/zebdiag/PathVerbs.h"
#include "tools/zebdiag/ScanVerb.h"

namespace tests {
namespace {

using namespace HVR::zebdiag;
using tsLib::HResult;

TEST(ZebdiagCommandLine, OptionsAnywhere_EndAtTwoDashes) {
    const std::vector<Option> options{{u"--level", true}, {u"--json"}};
    const std::vector<std::u16string> arguments{u"a", u"--level", u"4", u"b", u"--json", u"--", u"--level"};
    std::string error;
    const auto line = Parse(arguments, options, error);
    ASSERT_TRUE(line.has_value());
    EXPECT_EQ(line->operands, (std::vector<std::u16string>{u"a", u"b", u"--level"}));
    EXPECT_EQ(*line->Value(u"--level"), u"4");
    EXPECT_TRUE(line->Has(u"--json"));
}

TEST(ZebdiagCommandLine, Mistakes_AreNamed) {
    const std::vector<Option> options{{u"--level", true}, {u"--json"}};
    const struct {
        std::vector<std::u16string> arguments;
        std::string error;
    } cases[] = {
        {{u"--wrong"}, "unknown option --wrong"},
        {{u"--level"}, "option --level needs a value"},
        {{u"--json=1"}, "option --json takes no value"},
        {{u"--level=1", u"--level", u"2"}, "option --level is given twice"},
    };
    for (const auto& row : cases) {
        std::string error;
        EXPECT_FALSE(Parse(row.arguments, options, error).has_value());
        EXPECT_EQ(error, row.error);
    }
}

TEST(ZebdiagCommandLine, Number_TakesWholeDecimalsOfThirtyTwoBits) {
    EXPECT_EQ(Number(u"0"), 0u);
    EXPECT_EQ(Number(u"4294967295"), 4294967295u);
    for (const auto* text : {u"", u"4294967296", u"-1", u"+1", u"1a", u" 1", u"99999999999999999999"}) {
        EXPECT_FALSE(Number(text).has_value()) << testing::PrintToString(std::u16string(text));
    }
}

TEST(ZebdiagJson, Texts_AreEscapedAndLoneSurrogatesKept) {
    JsonWriter json;
    json.BeginObject().Text("path", std::u16string_view(u"C:\\\"\xD800x\u00E4\U0001F600\n"));
    json.BeginArray("list").Element("a").Element("b").EndArray().Number("n", 7).Bool("b", true);
    json.EndObject();
    EXPECT_EQ(
        json.Str(),
        "{\"path\":\"C:\\\\\\\"\\ud800x\xC3\xA4\xF0\x9F\x98\x80\\u000a\",\"list\":[\"a\",\"b\"],\"n\":7,\"b\":true}");
}

TEST(ZebdiagDispatch, HelpUnknownAndThrowingVerbs_AnswerWithTheirExitCodes) {
    const std::vector<Verb> verbs{
        MakeExpandVerb([](const std::u16string&, std::u16string&) -> bool { throw std::runtime_error("broken"); })};
    const struct {
        std::vector<std::u16string> arguments;
        ExitCode code;
        bool onStdout;
    } cases[] = {
        {{}, ExitCode::Usage, true},
        {{u"--help"}, ExitCode::Yes, true},
        {{u"expand", u"--help"}, ExitCode::Yes, true},
        {{u"nothing"}, ExitCode::Usage, false},
        {{u"expand"}, ExitCode::Usage, false},
        {{u"expand", u"x", u"--wrong"}, ExitCode::Usage, false},
        {{u"expand", u"x"}, ExitCode::Error, false},
    };
    for (const auto& row : cases) {
        KeptConsole console;
        EXPECT_EQ(Call(verbs, row.arguments, console), row.code);
        EXPECT_EQ(console.out.empty(), !row.onStdout);
        EXPECT_EQ(console.err.empty(), row.onStdout);
    }
}

TEST(ZebdiagPath, ResultsOfTheResolver_BecomeExitCodes) {
    const std::vector<Verb> verbs{
        MakePathVerb([](std::uint32_t kind, const std::u16string& file, std::u16string& path) {
            if (kind > 12) {
                return HResult::InvalidArgument;
            }
            if (kind == 8) {
                return HResult::PathNotFound;
            }
            path = u"C:\\P\\" + file;
            return HResult::Ok;
        })};
    KeptConsole console;
    EXPECT_EQ(Call(verbs, {u"path", u"7", u"a.chm"}, console), ExitCode::Yes);
    EXPECT_EQ(console.out, "C:\\P\\a.chm\n");
    EXPECT_EQ(Call(verbs, {u"path", u"8"}, console), ExitCode::No);
    EXPECT_EQ(Call(verbs, {u"path", u"13"}, console), ExitCode::Usage);
    EXPECT_EQ(Call(verbs, {u"path", u"x"}, console), ExitCode::Usage);
    console.out.clear();
    EXPECT_EQ(Call(verbs, {u"path", u"8", u"--json"}, console), ExitCode::No);
    EXPECT_EQ(console.out, "{\"kind\":8,\"file\":\"\",\"result\":\"0x80030003\"}\n");
}

TEST(ZebdiagScan, OutcomesOfTheRequest_BecomeExitCodes) {
    ScanOutcome outcome;
    std::vector<std::u16string> asked;
    const std::vector<Verb> verbs{MakeScanVerb(
        [&](const std::vector<std::u16string>& paths, std::optional<std::uint32_t>) {
            asked = paths;
            return outcome;
        },
        [](const std::u16string& path) { return u"C:\\" + path; })};
    KeptConsole console;
    outcome.result = HResult::Ok;
    outcome.listFile = u"C:\\Temp\\ScanList742";
    outcome.lines = {"C:\\a", "C:\\b"};
    EXPECT_EQ(Call(verbs, {u"scan", u"a", u"b"}, console), ExitCode::No);
    EXPECT_EQ(asked, (std::vector<std::u16string>{u"C:\\a", u"C:\\b"}));
    EXPECT_NE(console.out.find("scanner     not started"), std::string::npos);

    outcome.processId = 12;
    EXPECT_EQ(Call(verbs, {u"scan", u"a"}, console), ExitCode::Yes);
    EXPECT_EQ(Call(verbs, {u"scan", u"a", u"--wait", u"1"}, console), ExitCode::Error);
    outcome.ended = true;
    outcome.report = "infected\tC:\\a\r\nend";
    console.out.clear();
    EXPECT_EQ(Call(verbs, {u"scan", u"a", u"--wait", u"1"}, console), ExitCode::Yes);
    EXPECT_NE(console.out.find("\n  infected\tC:\\a\n  end\n"), std::string::npos);
    EXPECT_EQ(Call(verbs, {u"scan"}, console), ExitCode::Usage);
    EXPECT_EQ(Call(verbs, {u"scan", u""}, console), ExitCode::Usage);
    EXPECT_EQ(Call(verbs, {u"scan", u"a", u"--wait", u"x"}, console), ExitCode::Usage);
}

}  // namespace
}  // namespace tests
