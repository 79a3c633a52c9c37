#include "shellext/RegistryScript.h"

#include <gtest/gtest.h>

#include <random>

#include "shellext/RegistryScriptRunner.h"
#include "tests/fakes/FailingNew.h"
#include "tests/fakes/FakeRegistry.h"
#include "tests/fakes/FakeTrace.h"

namespace tests {
namespace {

using HVR::ScriptFault;
using tsLib::platform::kValueBinary;
using tsLib::platform::RegistryRoot;
using tsLib::platform::RegistryValue;
using tsLib::platform::SystemError;
using Contents = std::map<std::u16string, std::map<std::u16string, RegistryValue>>;

const HVR::ScriptReplacement kModule[] = {{u"MODULE", u"C:\\It's\\100%\\zebshell2.dll"}, {u"EMPTY", u""}};

std::optional<HVR::RegistryScript> Parse(std::u16string_view text, HVR::ScriptProblem* problem = nullptr) {
    HVR::ScriptProblem ignored;
    return HVR::ParseRegistryScript(text, kModule, problem == nullptr ? ignored : *problem);
}

class RegistryScriptTest : public ::testing::Test {
protected:
    SystemError Register(std::u16string_view text) { return runner.Register(Parse(text).value()); }
    SystemError Remove(std::u16string_view text) { return runner.Remove(Parse(text).value()); }
    [[nodiscard]] bool HasKey(const std::u16string& path) const { return registry.Contents().contains(path); }
    [[nodiscard]] std::u16string Text(RegistryRoot root, const std::u16string& path, const std::u16string& name) const {
        const RegistryValue* value = registry.Find(root, path, name);
        if (value == nullptr || value->type != tsLib::platform::kValueText || value->data.size() < 2) {
            return u"<none>";
        }
        return {reinterpret_cast<const char16_t*>(value->data.data()), value->data.size() / 2 - 1};
    }

    FakeRegistry registry;
    FakeTrace trace;
    HVR::RegistryScriptRunner runner{registry, registry, tsLib::Tracer(trace)};
};

TEST_F(RegistryScriptTest, ValuesOfEveryType_AreWrittenAsTheyStand) {
    ASSERT_EQ(
        Register(u"HKEY_CURRENT_USER { A = s 'It''s a {test}' { val S = s '%module%' val '' = s x "
                 u"val 'd 1' = d '4294967295' val H = d &h1F val B = b '00fFa1' val E = b '' val '%%' = s '%EMPTY%' } }"
                 u" hklm\r\n{\tnoremove 'NoRemove'\r\n{ 'val' = s '=' } }"),
        SystemError::Success);
    const auto value = [&](const char16_t* name) { return *registry.Find(RegistryRoot::CurrentUser, u"A", name); };
    EXPECT_EQ(Text(RegistryRoot::CurrentUser, u"A", u"S"), u"C:\\It's\\100%\\zebshell2.dll");
    EXPECT_EQ(Text(RegistryRoot::CurrentUser, u"A", u""), u"x");  // the later of two default values
    EXPECT_EQ(value(u"d 1").data, DwordValue(0xFFFFFFFF).data);
    EXPECT_EQ(value(u"H").data, DwordValue(31).data);
    EXPECT_EQ(value(u"B").type, kValueBinary);
    EXPECT_EQ(value(u"B").data, (std::vector<std::byte>{std::byte{0}, std::byte{0xFF}, std::byte{0xA1}}));
    EXPECT_TRUE(value(u"E").data.empty());
    EXPECT_EQ(Text(RegistryRoot::CurrentUser, u"A", u"%"), u"");
    // Quoted words are names, whatever they look like.
    EXPECT_EQ(Text(RegistryRoot::LocalMachine, u"NoRemove\\val", u""), u"=");
}

TEST_F(RegistryScriptTest, FaultyScripts_AreNamedWithTheirLine) {
    struct Case {
        std::u16string text;
        ScriptFault fault;
        std::uint32_t line;
    };
    const std::u16string deep = [] {
        std::u16string text = u"HKCR { ";
        for (int i = 0; i < 40; ++i) {
            text += u"k { ";
        }
        return text;
    }();
    const Case cases[] = {
        {u"HKXX { }", ScriptFault::UnknownHive, 1},
        {u"'HKCR' { }", ScriptFault::UnknownHive, 1},
        {u"\n\nHKCR A", ScriptFault::BraceExpected, 3},
        {u"HKCR {", ScriptFault::BraceUnclosed, 1},
        {u"HKCR { A { }", ScriptFault::BraceUnclosed, 1},
        {u"HKCR { } }", ScriptFault::UnknownHive, 1},
        {u"HKCR { NoRemove", ScriptFault::NameMissing, 1},
        {u"HKCR { val", ScriptFault::NameMissing, 1},
        {u"HKCR { NoRemove }", ScriptFault::NameNotAllowed, 1},
        {u"HKCR { { } }", ScriptFault::NameNotAllowed, 1},
        {u"HKCR { '' }", ScriptFault::NameNotAllowed, 1},
        {u"HKCR { a\\b }", ScriptFault::NameNotAllowed, 1},
        {std::u16string(u"HKCR { a\0b }", 12), ScriptFault::NameNotAllowed, 1},
        {u"HKCR { " + std::u16string(256, u'k') + u" }", ScriptFault::NameNotAllowed, 1},
        {u"HKCR { val " + std::u16string(16384, u'v') + u" = s 'x' }", ScriptFault::NameNotAllowed, 1},
        {u"HKCR { Delete val x = s 'y' }", ScriptFault::RuleNotAllowed, 1},
        {u"HKCR { Delete x = s 'y' }", ScriptFault::RuleNotAllowed, 1},
        {u"HKCR { Delete x { y } }", ScriptFault::RuleNotAllowed, 1},
        {u"HKCR { val x s 'y' }", ScriptFault::AssignmentExpected, 1},
        {u"HKCR { x = s", ScriptFault::AssignmentExpected, 1},
        {u"HKCR { x =\r\n m 'y' }", ScriptFault::UnknownType, 2},
        {u"HKCR { x = 's' 'y' }", ScriptFault::UnknownType, 1},
        {u"HKCR { x = d '4294967296' }", ScriptFault::NumberMalformed, 1},
        {u"HKCR { x = d '99999999999999999999999999' }", ScriptFault::NumberMalformed, 1},
        {u"HKCR { x = d '&H' }", ScriptFault::NumberMalformed, 1},
        {u"HKCR { x = d '-1' }", ScriptFault::NumberMalformed, 1},
        {u"HKCR { x = d '1F' }", ScriptFault::NumberMalformed, 1},
        {u"HKCR { x = d '' }", ScriptFault::NumberMalformed, 1},
        {u"HKCR { x = b '1' }", ScriptFault::BytesMalformed, 1},
        {u"HKCR { x = b '1G' }", ScriptFault::BytesMalformed, 1},
        {u"HKCR { x = s 'y", ScriptFault::UnclosedQuote, 1},
        {u"HKCR { 'x", ScriptFault::UnclosedQuote, 1},
        {u"HKCR { x = s 'a\n\n%NONE%' }", ScriptFault::UnknownReplacement, 3},
        {u"HKCR { x = s '%MODULE' }", ScriptFault::UnknownReplacement, 1},
        {u"HKCR { x = s '%' }", ScriptFault::UnknownReplacement, 1},
        {u"HKCR { x = s '" + std::u16string(0x8000, u'y') + u"' }", ScriptFault::ValueTooLong, 1},
        {deep, ScriptFault::NestedTooDeep, 1},
        {std::u16string(0x10001, u' '), ScriptFault::TextTooLong, 1},
    };
    for (const Case& c : cases) {
        HVR::ScriptProblem problem;
        EXPECT_FALSE(Parse(c.text, &problem).has_value());
        EXPECT_EQ(problem.fault, c.fault) << testing::PrintToString(c.text.substr(0, 60));
        EXPECT_EQ(problem.line, c.line) << testing::PrintToString(c.text.substr(0, 60));
    }
    EXPECT_TRUE(Parse(u"").has_value());
    EXPECT_TRUE(Parse(u" \r\n").has_value());
}

// Any damage to a script gives a script or a named fault, never a crash; the sanitizers watch.
TEST_F(RegistryScriptTest, DamagedScripts_AreRefusedOrRead) {
    const std::u16string whole =
        u"HKCR { NoRemove 'A b' = s '%MODULE%%%' { ForceRemove val c = d '&H1f' Delete d val e = b '0a' } }";
    std::minstd_rand random(7);
    const std::u16string_view units = u"{}'=%& \nsdbvalx\\\0";
    std::size_t refused = 0;
    for (int round = 0; round < 20000; ++round) {
        std::u16string text = whole.substr(0, 1 + random() % whole.size());
        for (unsigned changes = random() % 4; changes != 0; --changes) {
            text[random() % text.size()] = units[random() % units.size()];
        }
        HVR::ScriptProblem problem;
        if (!Parse(text, &problem)) {
            ++refused;
            ASSERT_NE(problem.fault, ScriptFault::None);
            ASSERT_GE(problem.line, 1U);
        }
    }
    EXPECT_GT(refused, 15000U);
}

TEST_F(RegistryScriptTest, RemovalRules) {
    const std::u16string text =
        u"HKLM { NoRemove Shared = s 'ours' { val V = s '1' NoRemove val Kept = s '2' ForceRemove val F = s '3'"
        u" Plain = s 'p' { Sub = s 'q' }  Foreign { Sub2 } ForceRemove Whole { Inner }  NoRemove Stays { Below } } }";
    registry.PutText(RegistryRoot::LocalMachine, u"Shared", u"Theirs", u"t");
    ASSERT_EQ(Register(text), SystemError::Success);
    registry.PutText(RegistryRoot::LocalMachine, u"Shared\\Plain", u"TheirValue", u"goes with the key");
    registry.PutKey(RegistryRoot::LocalMachine, u"Shared\\Foreign\\Theirs");
    registry.PutText(RegistryRoot::LocalMachine, u"Shared\\Whole\\Theirs", u"x", u"y");
    ASSERT_EQ(Remove(text), SystemError::Success);
    const Contents expected{
        {u"hklm", {}},
        {u"hklm\\shared", {{u"", TextValue(u"ours")}, {u"kept", TextValue(u"2")}, {u"theirs", TextValue(u"t")}}},
        {u"hklm\\shared\\foreign", {}},
        {u"hklm\\shared\\foreign\\theirs", {}},
        {u"hklm\\shared\\stays", {}}};
    const Contents left = registry.Contents();
    for (const auto& [path, values] : expected) {
        ASSERT_TRUE(left.contains(path)) << testing::PrintToString(path);
        ASSERT_EQ(left.at(path).size(), values.size()) << testing::PrintToString(path);
        for (const auto& [name, value] : values) {
            EXPECT_EQ(left.at(path).at(name).data, value.data);
        }
    }
    EXPECT_EQ(left.size(), expected.size());
    EXPECT_EQ(trace.Count(tsLib::TraceEvent::ScriptKeyLeft), 1U);
    EXPECT_EQ(Remove(text), SystemError::Success) << "nothing left to remove is no failure";
    EXPECT_EQ(registry.OpenHandles(), 0U);
}

TEST_F(RegistryScriptTest, Registration_ForceRemoveAndDelete_TakeTheOldTree) {
    registry.PutText(RegistryRoot::LocalMachine, u"A\\Class\\Old\\Deep", u"v", u"x");
    registry.PutKey(RegistryRoot::LocalMachine, u"A\\Gone\\Below");
    registry.PutText(RegistryRoot::LocalMachine, u"A\\Kept", u"Theirs", u"x");
    const std::u16string text = u"HKLM { NoRemove A { ForceRemove Class = s 'new' Delete Gone Kept = s 'k' } }";
    ASSERT_EQ(Register(text), SystemError::Success);
    EXPECT_FALSE(HasKey(u"hklm\\a\\class\\old"));
    EXPECT_FALSE(HasKey(u"hklm\\a\\gone"));
    EXPECT_EQ(Text(RegistryRoot::LocalMachine, u"A\\Class", u""), u"new");
    EXPECT_EQ(Text(RegistryRoot::LocalMachine, u"A\\Kept", u"Theirs"), u"x");
    registry.PutKey(RegistryRoot::LocalMachine, u"A\\Gone");
    ASSERT_EQ(Remove(text), SystemError::Success);
    EXPECT_TRUE(HasKey(u"hklm\\a\\gone")) << "removal does not look at Delete";
}

TEST_F(RegistryScriptTest, SharedKeys_AreNeverTakenWhole) {
    registry.PutKey(RegistryRoot::ClassesRoot, u"CLSID\\{Theirs}");
    registry.PutKey(RegistryRoot::LocalMachine, u"Software\\Theirs");
    registry.PutKey(RegistryRoot::LocalMachine, u"Software\\Classes\\Theirs");
    const std::u16string text =
        u"HKCR { ForceRemove clsid { X } Delete * } HKLM { ForceRemove SOFTWARE { Delete Classes } }";
    EXPECT_EQ(Register(text), SystemError::Success);
    EXPECT_EQ(Remove(text), SystemError::Success);
    EXPECT_TRUE(HasKey(u"hklm\\software\\classes\\clsid\\{theirs}"));
    EXPECT_TRUE(HasKey(u"hklm\\software\\theirs"));
    EXPECT_TRUE(HasKey(u"hklm\\software\\classes\\theirs"));
}

const std::u16string kSmall =
    u"HKCR { NoRemove CLSID { ForceRemove {X} = s 'c' { P = s 'p' val T = s 'A' } } Q = s 'q' { val V = s 'v' } }";

// Each step may fail: the failure is returned, nothing stays open, and a second run completes the work.
TEST_F(RegistryScriptTest, EveryStepFailing_IsReportedAndMended) {
    const HVR::RegistryScript script = Parse(kSmall).value();
    ASSERT_EQ(runner.Register(script), SystemError::Success);
    const Contents complete = registry.Contents();
    const auto same = [](const Contents& left, const Contents& right) {
        return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](const auto& a, const auto& b) {
            return a.first == b.first && a.second.size() == b.second.size() &&
                   std::equal(a.second.begin(), a.second.end(), b.second.begin(), [](const auto& c, const auto& d) {
                       return c.first == d.first && c.second.data == d.second.data;
                   });
        });
    };
    FaultPlan plan;
    registry.faults = &plan;
    for (const bool remove : {false, true}) {
        for (std::uint32_t n = 1;; ++n) {
            plan.FailCall(n, SystemError::AccessDenied);
            const SystemError result = remove ? runner.Remove(script) : runner.Register(script);
            plan.Disarm();
            EXPECT_EQ(registry.OpenHandles(), 0U);
            EXPECT_EQ(result, plan.Fired() ? SystemError::AccessDenied : SystemError::Success) << n;
            if (!plan.Fired()) {
                EXPECT_GT(n, 4U);
                break;
            }
            EXPECT_GT(trace.Count(tsLib::TraceEvent::ScriptKeyFailed), 0U);
            ASSERT_EQ(remove ? runner.Remove(script) : SystemError::Success, SystemError::Success);
            ASSERT_EQ(runner.Register(script), SystemError::Success);
            EXPECT_TRUE(same(registry.Contents(), complete)) << n;
        }
    }
    EXPECT_FALSE(HasKey(u"hklm\\software\\classes\\q"));
    EXPECT_FALSE(HasKey(u"hklm\\software\\classes\\clsid\\{x}"));
}

TEST_F(RegistryScriptTest, Removal_GoesOnAfterAFailure) {
    ASSERT_EQ(Register(kSmall), SystemError::Success);
    registry.FailOpening(RegistryRoot::ClassesRoot, u"CLSID\\{X}", SystemError::AccessDenied);
    EXPECT_EQ(Remove(kSmall), SystemError::AccessDenied);
    EXPECT_FALSE(HasKey(u"hklm\\software\\classes\\q"));
    EXPECT_TRUE(HasKey(u"hklm\\software\\classes\\clsid\\{x}"));
}

TEST_F(RegistryScriptTest, MemoryRunsOut_NothingStaysOpen) {
    trace.enabled = false;
    std::uint32_t n = 1;
    for (bool fired = true; fired; ++n) {
        try {
            const FailingNew failing(n);
            fired = false;
            const auto script = Parse(kSmall);
            static_cast<void>(runner.Register(*script));
            static_cast<void>(runner.Remove(*script));
        } catch (const std::bad_alloc&) {
            fired = true;
        }
        EXPECT_EQ(registry.OpenHandles(), 0U);
    }
    EXPECT_GT(n, 50U);
}

}  // namespace
}  // namespace tests
