#include "tools/zebdiag/Program.h"

#include <gtest/gtest.h>

#include "tests/tools/Called.h"

namespace tests {
namespace {

using namespace HVR::zebdiag;
namespace commandline = HVR::commandline;
using Words = std::vector<std::u16string>;

TEST(Zebdiag, Texts_ArriveUnitForUnit_WhateverTheyLookLike) {
    const Words texts{u"",    u"-x",   u"-1", u"/x", u"//",     u"[a,b]",         u"{}",         u"%%", u"++", u"other",
                      u"a=b", u"\x01", u"ä",  u"€",  u"\xD800", u"\xDC00\xD800x", u"\U0001F600", u"a b"};
    for (std::size_t shape = 0; shape < 3; ++shape) {
        Words operands;
        std::u16string value;
        const auto add = [&](Program& program) {
            program.Add("other", "", "");
            CLI::App& verb = program.Add("verb", "", "");
            const CLI::Option& operand = *verb.add_option("TEXT")->expected(1, -1)->allow_extra_args();
            const CLI::Option& option = *verb.add_option("--option");
            program.SetRun(verb, [&](const Output&) {
                operands = commandline::Texts(operand);
                value = commandline::Text(option);
                return ExitCode::Yes;
            });
        };
        for (const std::u16string& text : texts) {
            const Words words[]{{u"verb", text, u"--option", text, text},
                                {u"verb", u"--option=" + text, text, text},
                                {u"verb", text, u"--option", text, u"--", text}};
            const Called called = Call(add, words[shape]);
            EXPECT_EQ(called.code, ExitCode::Yes) << called.err;
            EXPECT_EQ(operands, (Words{text, text})) << shape;
            EXPECT_EQ(value, text) << shape;
        }
        EXPECT_EQ(Call(add, {u"verb", u"x", u"--", u"--option", u"--json"}).code, ExitCode::Yes);
        EXPECT_EQ(operands, (Words{u"x", u"--option", u"--json"}));
        EXPECT_EQ(Call(add, {u"verb", u"x", u"--option", u"--json"}).out, "") << "a value like an option";
        EXPECT_EQ(value, u"--json");
    }
}

TEST(Zebdiag, ExitCodes_SayHowACallEnded) {
    const auto add = [](Program& program) {
        CLI::App& verb = program.Add("verb", "", "");
        const CLI::Option& end = *verb.add_option("END")->required();
        verb.add_option("--option");
        program.SetRun(verb, [&end](const Output& output) -> ExitCode {
            const std::u16string text = commandline::Text(end);
            if (text == u"usage") {
                throw UsageError("does not fit");
            }
            if (text == u"broken") {
                throw std::runtime_error("broke");
            }
            if (text == u"memory") {
                throw std::bad_alloc();
            }
            if (output.IsJson()) {
                output.Object({{"key", "\xC3\xA4\n"}, {"cut", "\xED\xA0\x80"}});
            }
            return output.Answer(ExitCode::No, "why");
        });
    };
    const struct {
        Words words;
        ExitCode code;
        std::string out;
        std::string err;
    } table[] = {
        {{u"verb", u"x"}, ExitCode::No, "", "zebdiag verb: why\n"},
        {{u"verb", u"x", u"--json", u"--trace"},
         ExitCode::No,
         "{\"key\":\"\xC3\xA4\\n\",\"cut\":\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\"}\n",
         "tracing\nzebdiag verb: why\n"},
        {{u"verb", u"usage"}, ExitCode::Usage, "", "zebdiag verb: does not fit; see zebdiag verb --help\n"},
        {{u"verb", u"broken"}, ExitCode::Error, "", "zebdiag: broke\n"},
        {{u"verb", u"memory"}, ExitCode::Error, "", "zebdiag: out of memory\n"},
        {{u"v\xD800"}, ExitCode::Usage, "", "zebdiag: unknown verb v\xEF\xBF\xBD; see zebdiag --help\n"},
        {{u"verb", u"x", u"y\xD800\U0001F600"},
         ExitCode::Usage,
         "",
         "zebdiag verb: The following argument was not expected: y\xEF\xBF\xBD\xF0\x9F\x98\x80; see zebdiag verb "
         "--help\n"},
    };
    for (const auto& row : table) {
        const Called called = Call(add, row.words);
        EXPECT_EQ(called.code, row.code) << row.err;
        EXPECT_EQ(called.out, row.out);
        EXPECT_EQ(called.err, row.err);
    }
    for (const Words& words : {Words{u"--json", u"verb", u"x"},
                               {u"verb", u"x", u"--json=1"},
                               {u"verb", u"x", u"--json", u"--json"},
                               {u"verb", u"x", u"--option", u"1", u"--option", u"1"},
                               {u"verb", u"x", u"--option"},
                               {u"verb", u"x", u"--js"}}) {
        const Called called = Call(add, words);
        EXPECT_EQ(called.code, ExitCode::Usage);
        EXPECT_TRUE(called.out.empty() && called.err.starts_with("zebdiag")) << called.err;
    }
}

TEST(Zebdiag, Numbers_AreWholeDecimalsOfThirtyTwoBits) {
    EXPECT_EQ(commandline::Number(u"0"), 0U);
    EXPECT_EQ(commandline::Number(u"010"), 10U);
    EXPECT_EQ(commandline::Number(u"4294967295"), 4294967295U);
    for (const auto* text : {u"", u"4294967296", u"-1", u"+1", u"1a", u"0x1", u" 1", u"99999999999999999999"}) {
        EXPECT_FALSE(commandline::Number(text).has_value());
    }
}

}  // namespace
}  // namespace tests
