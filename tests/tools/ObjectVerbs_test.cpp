#include <gtest/gtest.h>

#include "tests/fakes/FakeModuleLoader.h"
#include "tests/fakes/FakeTrustVerifier.h"
#include "tools/zebdiag/ObjectVerbs.h"

namespace tests {
namespace {

using namespace HVR::zebdiag;
using tsLib::TrustResult;
using tsLib::VaneResult;
using tsLib::platform::SystemError;

const tsLib::ObjectId kId{0x11111111, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};
const std::u16string kIdText = u"{11111111-2222-3333-0102-030405060708}";

struct Answer {
    ExitCode code;
    std::string out;
    std::string err;
};
Answer Call(Verb verb, std::vector<std::u16string> arguments) {
    struct KeptConsole final : Console {
        void Out(std::string_view line) override { out.append(line).append("\n"); }
        void Err(std::string_view line) override { err.append(line).append("\n"); }
        std::string out;
        std::string err;
    } console;
    arguments.insert(arguments.begin(), std::u16string(verb.name));
    const std::vector<Verb> verbs{std::move(verb)};
    const ExitCode code = Dispatch(verbs, arguments, console);
    return {code, console.out, console.err};
}
bool Has(const std::string& text, std::string_view part) { return text.find(part) != std::string::npos; }

class ZebdiagObjects : public ::testing::Test {
protected:
    ZebdiagObjects() {
        verifiers_.onVerify = [this] {
            const std::u16string& path = verifiers_.asked.back().path;
            verifiers_.verdict = path == u"C:\\bad.dll"       ? TrustResult::NotTrusted
                                 : path == u"C:\\unclear.dll" ? TrustResult::CannotDetermine
                                                              : TrustResult::Trusted;
        };
        const auto entry = reinterpret_cast<tsLib::platform::EntryPoint>(&Exported);
        loader_.PutModule(u"C:\\good.dll", {{"GetFactory", entry}, {"GetObjectCount", entry}});
        loader_.PutModule(u"C:\\bad.dll", {{"GetFactory", entry}, {"GetObjectCount", entry}});
        loader_.PutModule(u"C:\\unclear.dll", {{"GetFactory", entry}, {"GetObjectCount", entry}});
        loader_.PutModule(u"C:\\nofactory.dll", {{"GetObjectCount", entry}});
        loader_.PutModule(u"C:\\nocount.dll", {{"GetFactory", entry}});
        loader_.PutModule(u"C:\\neither.dll", {});
    }
    Answer Run(std::vector<std::u16string> arguments = {}) {
        return Call(MakeObjectsVerb(
                        [this](std::vector<KnownObject>& objects) {
                            objects = objects_;
                            return isRead_;
                        },
                        [](const std::u16string& text, std::u16string& expanded) {
                            expanded = text;
                            return text.find(u'%') == std::u16string::npos;
                        },
                        verifiers_, loader_),
                    std::move(arguments));
    }
    static void Exported() {}

    std::vector<KnownObject> objects_;
    bool isRead_ = true;
    FakeTrustVerifierFactory verifiers_;
    FakeModuleLoader loader_;
};

TEST_F(ZebdiagObjects, EachModule_IsJudged_AndLookedIntoOnlyWhenTrusted) {
    const struct {
        std::u16string stored;
        ExitCode code;
        std::string out;
        bool loaded;
    } cases[] = {
        {u"C:\\good.dll", ExitCode::Yes,
         "\"result\":1,\"name\":\"trusted\",\"refused\":false,\"entryPoints\":\"both there\"", true},
        {u"C:\\bad.dll", ExitCode::No,
         "\"result\":3,\"name\":\"not trusted\",\"refused\":true,\"entryPoints\":\"not looked at\"", false},
        {u"C:\\unclear.dll", ExitCode::No, "\"refused\":false,\"entryPoints\":\"not looked at\"", false},
        {u"C:\\nofactory.dll", ExitCode::No, "GetFactory missing", true},
        {u"C:\\nocount.dll", ExitCode::No, "GetObjectCount missing", true},
        {u"C:\\neither.dll", ExitCode::No, "both missing", true},
        {u"C:\\gone.dll", ExitCode::No, "module cannot be loaded", true},
        {u"%NOSUCH%\\x.dll", ExitCode::No,
         "\"stored\":\"%NOSUCH%\\\\x.dll\",\"expanded\":false,\"entryPoints\":\"not looked at\"", false},
    };
    for (const auto& row : cases) {
        objects_ = {{kId, KnownObject::Source::Registry, row.stored}};
        loader_.loads.clear();
        const Answer answer = Run({u"--json"});
        EXPECT_EQ(answer.code, row.code) << answer.out;
        EXPECT_TRUE(Has(answer.out, row.out)) << answer.out;
        EXPECT_EQ(!loader_.loads.empty(), row.loaded) << answer.out;
        EXPECT_EQ(loader_.OpenHandles() + verifiers_.alive, 0u) << answer.out;
    }
    for (const auto& asked : verifiers_.asked) {
        EXPECT_EQ(asked.level, tsLib::kProductTrustLevel);
    }
}

TEST_F(ZebdiagObjects, Sources_AreNamed_AndABuiltInObjectNeedsNoModule) {
    objects_ = {{kId, KnownObject::Source::BuiltIn, {}},
                {kId, KnownObject::Source::FixedPlace, u"C:\\good.dll"},
                {kId, KnownObject::Source::SettingsStore, u"C:\\good.dll"},
                {kId, KnownObject::Source::Registry, u"C:\\bad.dll"}};
    const Answer answer = Run();
    EXPECT_EQ(answer.code, ExitCode::No);
    const std::string id = Utf8(kIdText);
    const std::string good =
        "  stored        C:\\good.dll\n  path          C:\\good.dll\n  verdict       trusted (1)\n"
        "  entry points  both there\n";
    EXPECT_EQ(answer.out,
              id + "  built-in\n" + id + "  fixed-place\n" + good + id + "  settings-store\n" + good + id +
                  "  registry\n  stored        C:\\bad.dll\n  path          C:\\bad.dll\n"
                  "  verdict       not trusted (3); the product refuses this module\n  entry points  not looked at\n");
    objects_.pop_back();
    EXPECT_EQ(Run().code, ExitCode::Yes);
}

TEST_F(ZebdiagObjects, UnreadableInstallation_AndNoVerifier_AreErrors) {
    objects_ = {{kId, KnownObject::Source::BuiltIn, {}}};
    isRead_ = false;
    const Answer answer = Run({u"--json"});
    EXPECT_EQ(answer.code, ExitCode::Error);
    EXPECT_TRUE(Has(answer.out, "\"source\":\"built-in\"}],\"read\":false}")) << answer.out;
    EXPECT_TRUE(Has(answer.err, "could be read"));
    verifiers_.none = true;
    EXPECT_EQ(Run().code, ExitCode::Error);
    EXPECT_EQ(Run({u"x"}).code, ExitCode::Usage);
}

class Thing final : public tsLib::IVaneBase {
public:
    explicit Thing(int& references) : references_(references) { ++references_; }
    VaneResult QueryInterface(const tsLib::InterfaceId&, void**) noexcept override { return VaneResult::NoInterface; }
    std::uint32_t AddRef() noexcept override { return static_cast<std::uint32_t>(++references_); }
    std::uint32_t Release() noexcept override { return static_cast<std::uint32_t>(--references_); }

private:
    int& references_;
};

TEST(ZebdiagCreate, Results_AreNamedAndTheObjectIsReleased) {
    const struct {
        VaneResult result;
        ExitCode code;
        std::string out;
    } cases[] = {
        {VaneResult::Success, ExitCode::Yes, "result    0x00010000 success; created and released\n"},
        {VaneResult::ModuleMissing, ExitCode::No, "result    0x80010300 module missing\n"},
        {VaneResult::EntryPointMissing, ExitCode::No, "result    0x80010302 module lacks an entry point\n"},
        {VaneResult::ModuleNotTrusted, ExitCode::No, "result    0x80010303 module not trusted\n"},
        {VaneResult{0x80010400}, ExitCode::No, "result    0x80010400 the component's own result\n"},
    };
    for (const auto& row : cases) {
        int references = 0;
        Thing thing(references);
        const auto create = [&](const tsLib::ObjectId& id, const tsLib::InterfaceId& interfaceId,
                                tsLib::VaneRef<tsLib::IVaneBase>& object) {
            EXPECT_EQ(id, kId);
            EXPECT_EQ(interfaceId, tsLib::kIVaneBaseId);
            if (Succeeded(row.result)) {
                object = tsLib::VaneRef<tsLib::IVaneBase>(&thing);
            }
            return row.result;
        };
        const Answer answer = Call(MakeCreateVerb(create), {kIdText, tsLib::ToText(tsLib::kIVaneBaseId)});
        EXPECT_EQ(answer.code, row.code);
        EXPECT_EQ(answer.out, row.out);
        EXPECT_EQ(references, Succeeded(row.result) ? 0 : 1);
    }
    const auto never = [](auto&&...) {
        ADD_FAILURE() << "created";
        return VaneResult::Success;
    };
    for (const std::vector<std::u16string>& arguments :
         {std::vector<std::u16string>{}, {kIdText}, {kIdText, u"{no id}"}, {u"no id", kIdText}}) {
        EXPECT_EQ(Call(MakeCreateVerb(never), arguments).code, ExitCode::Usage);
    }
}

TEST(ZebdiagProtection, Number_DecidesTheExitCode) {
    const struct {
        SystemError error;
        std::uint32_t suspensions;
        ExitCode code;
        std::string out;
    } cases[] = {{SystemError::Success, 0, ExitCode::Yes, "{\"suspensions\":0,\"suspended\":false}\n"},
                 {SystemError::Success, 2, ExitCode::No, "{\"suspensions\":2,\"suspended\":true}\n"},
                 {SystemError::AccessDenied, 0, ExitCode::Error, ""}};
    for (const auto& row : cases) {
        const auto read = [&](std::uint32_t& suspensions) {
            suspensions = row.suspensions;
            return row.error;
        };
        const Answer answer = Call(MakeProtectionVerb(read), {u"--json"});
        EXPECT_EQ(answer.code, row.code);
        EXPECT_EQ(answer.out, row.out);
        EXPECT_EQ(Has(answer.err, "system error 5"), Failed(row.error));
    }
}

}  // namespace
}  // namespace tests
