// Loading through the verifier and the protection guard.
#include "resources/DisableAutoProtect.h"
#include "tests/resources/ResourceWorld.h"

namespace {

using namespace tests;
using tsLib::HResult;
using tsLib::TraceEvent;
using tsLib::platform::ModuleHandle;

const std::u16string kPath = u"C:\\Prog\\res\\1033\\ZebShellRes.dll";
const std::u16string kNoControl =
    u"CResourceLoader::LoadTrustedDll: Error, failed to create an auto-protection ctrl obj\n";
const std::u16string kSucceeded =
    u"CResourceLoader::LoadTrustedDll - load succeeded.  C:\\Prog\\res\\1033\\ZebShellRes.dll \n";

class TrustedLoading : public ResourceWorld {
protected:
    TrustedLoading() {
        PutModule(kPath);
        modules.paths[FakeModules::kOwn] = u"C:\\Prog\\zebshell2.dll";
    }
    // What LoadTrustedDll answers; a loaded module is freed again.
    HResult Load(const std::u16string& path = kPath) {
        auto loader = Loader();
        ModuleHandle module{};
        const HResult result = loader.LoadTrustedDll(path, module);
        EXPECT_EQ(module != ModuleHandle{}, Succeeded(result));
        if (module != ModuleHandle{}) {
            EXPECT_EQ(resources.Unmap(module), SystemError::Success);
        }
        EXPECT_EQ(protection.suspended, 0);
        return result;
    }
};

TEST_F(TrustedLoading, Loads_WithProtectionSuspendedMeanwhile) {
    EXPECT_EQ(Load(), HResult::Ok);
    EXPECT_EQ(debug.texts, Texts{kSucceeded});
    EXPECT_EQ(suspendedAtMap, std::vector<int>{1});
    EXPECT_EQ(protection.suspensions, 1);
    EXPECT_EQ(protection.resumes, 1);
    ASSERT_EQ(verifiers.asked.size(), 1U);
    EXPECT_EQ(verifiers.asked[0].level, 3U);
    EXPECT_EQ(verifiers.asked[0].path, kPath);
    EXPECT_EQ(verifiers.initialized, std::vector<bool>{true});
}

TEST_F(TrustedLoading, EmptyPath) {
    EXPECT_EQ(Load(u""), HResult::Fail);
    EXPECT_EQ(debug.texts, Texts{u"CResourceLoader::LoadTrustedDll - invalid arguments.\n"});
    EXPECT_TRUE(verifiers.initialized.empty());
}

TEST_F(TrustedLoading, RefusedSignature_NeverMappedAndProtectionUntouched) {
    refused = {kPath};
    auto loader = Loader();
    EXPECT_EQ(loader.Initialize(false), HResult::SignatureRefused);
    EXPECT_TRUE(resources.mapped.empty());
    EXPECT_EQ(protection.suspensions, 0);
    ASSERT_GE(debug.texts.size(), 2U);
    EXPECT_EQ(debug.texts[0],
              u"CResourceLoader::VerifyTrust - invalid digital signature for: C:\\Prog\\res\\1033\\ZebShellRes.dll."
              u"\nChecked by module: C:\\Prog\\zebshell2.dll\n");
    EXPECT_EQ(debug.texts[1],
              u"CResourceLoader::LoadTrustedDll - load failed.  Trust verification failed: Errorcode 0x80090325 "
              u"File:  C:\\Prog\\res\\1033\\ZebShellRes.dll \n");
}

TEST_F(TrustedLoading, NoVerifier_IsARefusal) {
    const Texts expected{
        u"CResourceLoader::CreateTrustVerifierStatic - failed to create trust verifier.\n",
        u"CResourceLoader::LoadTrustedDll - load failed.  Trust verification failed: Errorcode 0x80004005 "
        u"File:  C:\\Prog\\res\\1033\\ZebShellRes.dll \n"};
    verifiers.none = true;
    EXPECT_EQ(Load(), HResult::SignatureRefused);
    EXPECT_EQ(debug.texts, expected);
    debug.texts.clear();
    verifiers.none = false;
    verifiers.initializeAnswer = 0;
    EXPECT_EQ(Load(), HResult::SignatureRefused);
    EXPECT_EQ(debug.texts, expected);
    EXPECT_EQ(Loader().VerifyTrust(kPath), HResult::Fail);
    EXPECT_TRUE(resources.mapped.empty());
}

TEST_F(TrustedLoading, OnlyAClearRefusalRefuses) {
    for (const std::uint32_t verdict : {1U, 2U, 4U, 5U, 6U, 15U, 20U, 0U, 99U}) {
        otherVerdict = static_cast<tsLib::TrustResult>(verdict);
        EXPECT_EQ(Load(), HResult::Ok) << verdict;
    }
}

TEST_F(TrustedLoading, NoControl_LoadsWithoutSuspension) {
    const auto expectLoaded = [&](std::uint32_t traced) {
        debug.texts.clear();
        trace.records.clear();
        EXPECT_EQ(Load(), HResult::Ok);
        EXPECT_EQ(debug.texts, (Texts{kNoControl, kSucceeded}));
        ASSERT_FALSE(trace.records.empty());
        EXPECT_EQ(trace.records[0].event, TraceEvent::AutoProtectControlNotCreated);
        EXPECT_EQ(trace.records[0].texts, Texts{u"OBJID_QrtControl"});
        EXPECT_EQ(trace.records[0].numbers, std::vector<std::uint64_t>{traced});
        EXPECT_EQ(trace.Count(TraceEvent::AutoProtectUncontrolled), 1U);
    };
    components.Install(nullptr);
    expectLoaded(0x80010200);
    components.Install(&protection);
    protection.createAnswer = tsLib::VaneResult::ModuleMissing;
    expectLoaded(0x80010300);
    protection.createAnswer = tsLib::VaneResult::Success;
    protection.yieldsNothing = true;
    expectLoaded(0x00010000);
}

TEST_F(TrustedLoading, FailedSuspension_LoadsAllTheSame) {
    protection.disableAnswer = HResult::Fail;
    EXPECT_EQ(Load(), HResult::Ok);
    EXPECT_EQ(suspendedAtMap, std::vector<int>{0});
    EXPECT_EQ(protection.resumes, 0);
}

TEST_F(TrustedLoading, FailedMapping) {
    const struct {
        std::uint32_t error;
        std::uint32_t result;
        std::u16string text;
    } rows[] = {{193, 0x800700C1, u"0x800700C1"},
                {0x12345, 0x80072345, u"0x80072345"},
                {0x80030002, 0x80030002, u"0x80030002"}};
    for (const auto& row : rows) {
        debug.texts.clear();
        resources.mapError = static_cast<SystemError>(row.error);
        EXPECT_EQ(Load(), static_cast<HResult>(row.result));
        EXPECT_EQ(debug.texts, Texts{u"CResourceLoader::LoadTrustedDll - load failed.  Errorcode " + row.text +
                                     u" File:  C:\\Prog\\res\\1033\\ZebShellRes.dll \n"});
    }
    EXPECT_EQ(protection.suspensions, 3);
    EXPECT_EQ(protection.resumes, 3);
}

TEST_F(TrustedLoading, MappingThrows_ProtectionIsResumed) {
    resources.onMap = [] { throw std::bad_alloc(); };
    auto loader = Loader();
    EXPECT_EQ(loader.Initialize(false), HResult::OutOfMemory);
    EXPECT_EQ(debug.texts, Texts{u"CResourceLoader::Initialize failed, std::bad_alloc exception caught.\n"});
    EXPECT_EQ(protection.resumes, 1);
    EXPECT_EQ(protection.suspended, 0);
    resources.onMap = [] { throw 1; };
    EXPECT_EQ(loader.Initialize(false), HResult::Unexpected);
    EXPECT_EQ(protection.suspended, 0);
}

// Formatted sentences are cut to 511 characters, those put together from parts are not.
TEST_F(TrustedLoading, LongPathInSentences) {
    const std::u16string path = u"C:\\" + std::u16string(600, u'p');
    PutModule(path);
    EXPECT_EQ(Load(path), HResult::Ok);
    EXPECT_EQ(debug.texts,
              Texts{(u"CResourceLoader::LoadTrustedDll - load succeeded.  " + path).substr(0, 511) + u"\n"});
    refused = {path};
    debug.texts.clear();
    EXPECT_EQ(Load(path), HResult::SignatureRefused);
    EXPECT_EQ(debug.texts[0],
              u"CResourceLoader::VerifyTrust - invalid digital signature for: " + path + u".\nChecked by module: \n");
    EXPECT_EQ(debug.texts[1].size(), 512U);
}

class ProtectionGuard : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(protection.alive, 0); }
    // A control that only the guard holds in the end.
    [[nodiscard]] tsLib::VaneRef<tsLib::IProtectionControl> Control() {
        return tsLib::VaneRef<tsLib::IProtectionControl>(new FakeProtection::Control(protection));
    }
    [[nodiscard]] std::vector<TraceEvent> Events() const {
        std::vector<TraceEvent> events;
        for (const auto& record : trace.records) {
            events.push_back(record.event);
        }
        return events;
    }

    FakeProtection protection;
    FakeTrace trace;
    tsLib::Tracer tracer{trace};
};

TEST_F(ProtectionGuard, SuspendsAndResumesOnce) {
    {
        tsVane::CDisableAutoProtect guard(Control().Get(), false, tracer);
        EXPECT_EQ(protection.alive, 1);  // it keeps a reference of its own
        EXPECT_FALSE(guard.Enable());
        EXPECT_EQ(protection.resumes, 0);
        EXPECT_TRUE(guard.Disable());
        EXPECT_FALSE(guard.Disable());
        EXPECT_EQ(protection.suspended, 1);
        EXPECT_TRUE(guard.Enable());
        EXPECT_FALSE(guard.Enable());
        EXPECT_TRUE(guard.Disable());
    }
    EXPECT_EQ(protection.suspensions, 2);
    EXPECT_EQ(protection.resumes, 2);
    EXPECT_EQ(protection.suspended, 0);
    EXPECT_EQ(trace.Count(tsLib::platform::TraceLevel::Verbose), 4U);
    EXPECT_EQ(trace.Count(tsLib::platform::TraceLevel::Error), 0U);
}

TEST_F(ProtectionGuard, FailedSuspension_HasNothingToResume) {
    protection.disableAnswer = HResult::Fail;
    { const tsVane::CDisableAutoProtect guard(Control().Get(), true, tracer); }
    EXPECT_EQ(protection.suspensions, 1);
    EXPECT_EQ(protection.resumes, 0);
    ASSERT_EQ(Events(), std::vector<TraceEvent>{TraceEvent::AutoProtectNotSuspended});
    EXPECT_EQ(trace.records[0].level, tsLib::platform::TraceLevel::Error);
    EXPECT_EQ(trace.records[0].numbers, std::vector<std::uint64_t>{0x80004005});
}

TEST_F(ProtectionGuard, FailedResumption_CountsAsSuspendedAndIsNotRepeated) {
    protection.enableAnswer = HResult::Fail;
    { const tsVane::CDisableAutoProtect guard(Control().Get(), true, tracer); }
    EXPECT_EQ(protection.resumes, 1);
    EXPECT_EQ(Events(), (std::vector<TraceEvent>{TraceEvent::AutoProtectSuspended, TraceEvent::AutoProtectNotResumed}));
    {
        tsVane::CDisableAutoProtect guard(Control().Get(), true, tracer);
        EXPECT_FALSE(guard.Enable());
        EXPECT_FALSE(guard.Disable());  // it still counts as suspended
        protection.enableAnswer = HResult::Ok;
    }
    EXPECT_EQ(protection.resumes, 3);
}

TEST_F(ProtectionGuard, WithoutControl_DoesNothing) {
    tsVane::CDisableAutoProtect guard(nullptr, true, tracer);
    EXPECT_FALSE(guard.Disable());
    EXPECT_FALSE(guard.Enable());
    EXPECT_EQ(Events(), std::vector<TraceEvent>(2, TraceEvent::AutoProtectUncontrolled));
    EXPECT_EQ(trace.Count(tsLib::platform::TraceLevel::Verbose), 2U);
}

}  // namespace
