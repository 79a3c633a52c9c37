#include "shellext/RegistryScript.h"

#include "shellext/RegistryScriptRunner.h"
#include "tests/tslib/PathWorld.h"

namespace tests {
namespace {

using HVR::ScriptFault;
using namespace std::string_literals;

const HVR::ScriptReplacement kModule[] = {{u"MODULE", u"C:\\It's\\100%\\zebshell2.dll"}, {u"EMPTY", u""}};

std::optional<HVR::RegistryScript> Parse(std::u16string_view text) {
    HVR::ScriptProblem ignored;
    return HVR::ParseRegistryScript(text, kModule, ignored);
}

struct ScriptWorld : FakePlatform {
    ~ScriptWorld() { EXPECT_EQ(Leftovers(), ""); }
    SystemError Register(std::u16string_view text) { return runner.Register(Parse(text).value()); }
    SystemError Remove(std::u16string_view text) { return runner.Remove(Parse(text).value()); }
    HVR::RegistryScriptRunner runner{registry, trace};
};

TEST(RegistryScript, ValuesOfEveryType_AreWrittenAsTheyStand) {
    ScriptWorld world;
    ASSERT_EQ(
        world.Register(
            u"HKEY_CURRENT_USER { A = s 'It''s a {test}' { val S = s '%module%' val '' = s x "
            u"val 'd 1' = d '4294967295' val H = d &h1F val B = b '00fFa1' val E = b '' val '%%' = s '%EMPTY%' } }"
            u" hkey_local_machine\r\n{\tnoremove 'NoRemove'\r\n{ 'val' = s '=' } } HKEY_CLASSES_ROOT { '{' }"),
        SystemError::Success);
    ScriptWorld expected;
    const auto put = [&](const char16_t* name, const RegistryValue& value) {
        expected.registry.PutValue(RegistryRoot::CurrentUser, u"A", name, value);
    };
    put(u"S", StoredText(u"C:\\It's\\100%\\zebshell2.dll"));
    put(u"", StoredText(u"x"));  // the later of two default values
    put(u"d 1", tsLib::DwordValue(0xFFFFFFFF));
    put(u"H", tsLib::DwordValue(31));
    put(u"B", {kValueBinary, ToBytes({"\x00\xFF\xA1", 3})});
    put(u"E", {kValueBinary, {}});
    put(u"%", StoredText(u""));
    // Quoted words are names, whatever they look like.
    expected.registry.PutText(RegistryRoot::LocalMachine, u"NoRemove\\val", u"", u"=");
    expected.registry.PutKey(RegistryRoot::ClassesRoot, u"{");
    EXPECT_EQ(world.registry.Contents(), expected.registry.Contents());
}

TEST(RegistryScript, FaultyScripts_AreNamedWithTheirLine) {
    const auto named = [](std::size_t length) { return u"HKCR { " + std::u16string(length, u'k') + u" }"; };
    const auto valued = [](std::size_t length) {
        return u"HKCR { val " + std::u16string(length, u'v') + u" = s 'x' }";
    };
    const auto worded = [](std::size_t length) { return u"HKCR { x = s '" + std::u16string(length, u'y') + u"' }"; };
    const auto nested = [](int depth) {
        std::u16string text = u"HKCR { }";
        for (int i = 1; i < depth; ++i) {
            text.insert(7, u"k { ").append(u" }");
        }
        return text;
    };
    using enum ScriptFault;
    const std::tuple<ScriptFault, std::uint32_t, Texts> rows[] = {
        {UnknownHive, 1, {u"HKXX { }", u"'HKCR' { }", u"HKCR { } }"}},
        {BraceExpected, 3, {u"\n\nHKCR A"}},
        {BraceUnclosed, 1, {u"HKCR {", u"HKCR { A { }"}},
        {NameMissing, 1, {u"HKCR { NoRemove", u"HKCR { val"}},
        {NameNotAllowed, 1, {u"HKCR { NoRemove }", u"HKCR { { } }", u"HKCR { = }", u"HKCR { '' }", u"HKCR { a\\b }"}},
        {NameNotAllowed, 1, {u"HKCR { a\0b }"s, u"HKCR { val a\0b = s x }"s, named(256), valued(16384)}},
        {RuleNotAllowed, 1, {u"HKCR { Delete val x = s y }", u"HKCR { Delete x = s y }", u"HKCR { Delete x { y } }"}},
        {AssignmentExpected, 1, {u"HKCR { val x s 'y' }", u"HKCR { x = s", u"HKCR { x ="}},
        {UnknownType, 2, {u"HKCR { x =\r\n m 'y' }", u"HKCR {\n x = 's' 'y' }", u"HKCR {\n val x = m y }"}},
        {NumberMalformed, 1, {u"HKCR { x = d '4294967296' }", u"HKCR { x = d '99999999999999999999999999' }"}},
        {NumberMalformed, 1, {u"HKCR { x = d '&H' }", u"HKCR { x = d '-1' }", u"HKCR { x = d '1A' }"}},
        {NumberMalformed, 1, {u"HKCR { x = d '&HG' }", u"HKCR { x = d '' }"}},
        {BytesMalformed, 1, {u"HKCR { x = b '1' }", u"HKCR { x = b '1G' }", u"HKCR { x = b 'G1' }"}},
        {UnclosedQuote, 1, {u"HKCR { x = s 'y", u"HKCR { 'x", u"HKCR { 'x''"}},
        {UnknownReplacement, 3, {u"HKCR { x = s 'a\n\n%NONE%' }", u"HKCR\n{ x = s\n'%MODULE' }", u"\n\nHKCR { % }"}},
        {ValueTooLong, 1, {worded(0x8000)}},
        {NestedTooDeep, 1, {nested(33)}},
        {TextTooLong, 1, {std::u16string(0x10001, u' ')}},
        {None, 0, {u"", std::u16string(0x10000, u' '), named(255), valued(16383), worded(0x7FFF), nested(32)}},
    };
    for (const auto& [fault, line, texts] : rows) {
        for (const std::u16string& text : texts) {
            HVR::ScriptProblem problem;
            EXPECT_EQ(HVR::ParseRegistryScript(text, kModule, problem).has_value(), fault == None);
            EXPECT_EQ(problem.fault, fault) << testing::PrintToString(text.substr(0, 60));
            EXPECT_EQ(problem.line, line) << testing::PrintToString(text.substr(0, 60));
        }
    }
}

// A script; what the registry holds before and after registration, what others add, and what removal leaves.
TEST(RegistryScript, Rules) {
    const std::array<const char16_t*, 5> rows[] = {
        {u"HKLM { NoRemove Shared = s o { val V = s 1 NoRemove val Kept = s 2 ForceRemove val F = s 3 Plain = s p "
         u"{ Sub } Foreign { Sub } ForceRemove Whole { Inner } NoRemove Stays { Below } } }",
         u"HKLM { Shared { val T = s t Whole { T { T } } } }",
         u"HKLM { Shared = s o { val T = s t val V = s 1 val Kept = s 2 val F = s 3 Plain = s p "
         u"{ Sub } Foreign { Sub } Whole { Inner } Stays { Below } } }",
         u"HKLM { Shared { Plain { val T = s t } Foreign { T } Whole { val T = s t T } } }",
         u"HKLM { Shared = s o { val T = s t val Kept = s 2 Foreign { T } Stays } }"},
        {u"HKLM { NoRemove A { ForceRemove Class = s new Delete Gone Kept = s k } }",
         u"HKLM { A { Class { Old { Deep } } Gone { Below } Kept { val T = s x } } }",
         u"HKLM { A { Class = s new Kept = s k { val T = s x } } }", u"HKLM { A { Gone } }", u"HKLM { A { Gone } }"},
        {u"HKLM { ForceRemove SOFTWARE { Delete Classes } }", u"HKLM { Software { T Classes { T } } }",
         u"HKLM { Software { T Classes { T } } }", u"", u"HKLM { Software { T Classes { T } } }"},
        {u"HKCR { CLSID { X } }", u"HKCR { CLSID }", u"HKCR { CLSID { X } }", u"", u"HKCR { CLSID }"},
    };
    for (const auto& [script, before, registered, added, removed] : rows) {
        const auto contents = [](const char16_t* text) {
            ScriptWorld expected;
            EXPECT_EQ(expected.Register(text), SystemError::Success);
            return expected.registry.Contents();
        };
        ScriptWorld world;
        ASSERT_EQ(world.Register(before), SystemError::Success);
        EXPECT_EQ(world.Register(script), SystemError::Success);
        EXPECT_EQ(world.registry.Contents(), contents(registered));
        ASSERT_EQ(world.Register(added), SystemError::Success);
        EXPECT_EQ(world.Remove(script), SystemError::Success);
        EXPECT_EQ(world.registry.Contents(), contents(removed));
        EXPECT_EQ(world.trace.Count(TraceEvent::ScriptKeyLeft), script == rows[0][0] ? 1U : 0U);
        EXPECT_EQ(world.Remove(script), SystemError::Success) << "nothing left to remove is no failure";
    }
}

TEST(RegistryScript, Removal_GoesOnAfterAFailure) {
    const std::u16string script = u"HKCR { NoRemove CLSID { ForceRemove {X} = s 'c' } Q = s 'q' { val V = s 'v' } }";
    ScriptWorld complete;
    ASSERT_EQ(complete.Register(script), SystemError::Success);
    complete.registry.FailOpening(RegistryRoot::ClassesRoot, u"CLSID\\{X}", SystemError::AccessDenied);
    EXPECT_EQ(complete.Remove(script), SystemError::AccessDenied);
    EXPECT_FALSE(complete.registry.Contents().contains(u"hklm\\software\\classes\\q"));
}

}  // namespace
}  // namespace tests
