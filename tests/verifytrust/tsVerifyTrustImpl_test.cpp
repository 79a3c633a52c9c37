#include "tslib/verifytrust/tsVerifyTrustImpl.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <thread>

#include "tests/fakes/FailingNew.h"
#include "tests/verifytrust/TrustFixture.h"

using namespace tests;
using namespace tsLib;
using platform::kKeyView32;
using platform::ModuleHandle;
using platform::RegistryRoot;
using platform::SystemError;
using platform::TraceLevel;

namespace {

const std::u16string kPolicyKey = u"Software\\Corvane\\Tessel\\tsVerifyTrust";
const std::u16string kHost = u"C:\\Program Files\\Host\\host.exe";      // the current process
const std::u16string kParent = u"C:\\Program Files\\Host\\parent.exe";  // process 50
constexpr Guid kClass{0x01234567, 0x89AB, 0xCDEF, {1, 2, 3, 4, 5, 6, 7, 8}};
const std::u16string kClassKey = u"CLSID\\{01234567-89AB-CDEF-0102-030405060708}";

class VerifierTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_TRUE(system.NothingLeftOpen()); }

    TrustSystem system;
};

TEST_F(VerifierTest, Factory_GivesOneReferenceAndTheInterface) {
    IVerifyTrust* const verifier = CreateTrustVerifierStatic(system.services, system.state);
    ASSERT_NE(verifier, nullptr);
    void* other = nullptr;
    EXPECT_EQ(verifier->QueryInterface(kIVerifyTrustId, &other), VaneResult::Success);
    EXPECT_EQ(other, verifier);
    EXPECT_EQ(verifier->QueryInterface(kTrustVerifierObjectId, &other), VaneResult::NoInterface);
    EXPECT_EQ(verifier->Release(), 1u);
    EXPECT_EQ(verifier->Initialize(false), 1u);
    EXPECT_EQ(system.hash.live, 1);
    EXPECT_EQ(verifier->Release(), 0u);
    EXPECT_EQ(system.hash.live, 0);

    const FailingNew failing(1);
    EXPECT_TRUE(CreateTrustVerifierStatic(system.services, system.state) == nullptr);
}

TEST_F(VerifierTest, Initialize_ResetsTheOptionsAndLoadsThePolicyOnRequest) {
    system.registry.PutValue(RegistryRoot::LocalMachine, kPolicyKey, u"AlternateTrustPolicy", DwordValue(0),
                             kKeyView32);
    const auto verifier = system.Make();
    EXPECT_TRUE(verifier->GetAlternatePolicyOption());
    EXPECT_FALSE(verifier->GetProviderMode2());
    verifier->SetAlternatePolicyOption(false);
    verifier->SetProviderMode2(true);
    EXPECT_TRUE(!verifier->GetAlternatePolicyOption() && verifier->GetProviderMode2());
    EXPECT_EQ(verifier->Initialize(false), 1u);
    EXPECT_TRUE(verifier->GetAlternatePolicyOption() && !verifier->GetProviderMode2());
    EXPECT_TRUE(system.registry.opened.empty());
    EXPECT_EQ(system.hash.created, 1u);

    EXPECT_EQ(verifier->Initialize(true), 1u);
    EXPECT_FALSE(verifier->GetAlternatePolicyOption());
    EXPECT_EQ(system.hash.created, 1u);

    TrustServices withoutPolicy = system.services;
    withoutPolicy.policy = nullptr;
    VerifierOptions options;
    options.alternatePolicy = false;
    const VaneRef<IVerifyTrust> other(CreateTrustVerifierStatic(withoutPolicy, system.state, options));
    EXPECT_EQ(other->Initialize(false), 1u);
    EXPECT_FALSE(other->GetAlternatePolicyOption());
    EXPECT_EQ(other->Initialize(true), 1u);
    EXPECT_TRUE(other->GetAlternatePolicyOption());
    other->ResetSettings();
    EXPECT_FALSE(other->GetAlternatePolicyOption());
}

TEST_F(VerifierTest, NothingToVerify_IsRefusedBeforeAnythingIsTouched) {
    system.PutSigned(kHost);
    const auto verifier = system.Make();
    TrustReport report{};
    report.size = sizeof(report);
    bool component = true;
    const char16_t* const none = nullptr;
    const char* const noneNarrow = nullptr;
    const char16_t* const path = kHost.c_str();
    const TrustResult verdicts[] = {
        verifier->VerifyFile(none, 1u),
        verifier->VerifyFile(u"", 1u),
        verifier->VerifyFile(path, 0u),
        verifier->VerifyFile(noneNarrow, 1u),
        verifier->VerifyFile("", 1u),
        verifier->VerifyFile("x", 0u),
        verifier->VerifyFile(none, 1u, false, &component),
        verifier->VerifyFile(noneNarrow, 1u, false, &component),
        verifier->VerifyFile(none, 1u, true),
        verifier->VerifyFile(noneNarrow, 1u, true),
        verifier->VerifyFile(u"", false),
        verifier->VerifyFile("", false),
        verifier->VerifyFileThorough(none, 1),
        verifier->VerifyFileThorough(path, 0),
        verifier->DescribeFile(path, 1, false, false, nullptr),
        verifier->DescribeFile(u"", 1, false, false, &report),
        verifier->DescribeFile(path, 0, false, false, &report),
        verifier->VerifyProcess(50, 0),
        verifier->VerifyCurrentProcess(0),
        verifier->VerifyParentProcess(0),
        verifier->VerifyModule(FakeModules::kOwn, 0),
        verifier->VerifyComServer(kClass, 0),
    };
    for (std::size_t i = 0; i < std::size(verdicts); ++i) {
        EXPECT_EQ(verdicts[i], TrustResult::InvalidArgument) << i;
    }
    report.size = sizeof(report) - 1;
    EXPECT_EQ(verifier->DescribeFile(path, 1, false, false, &report), TrustResult::InvalidArgument);
    EXPECT_FALSE(component);
    EXPECT_TRUE(system.files.opened.empty() && system.files.attributeReads.empty());
    EXPECT_TRUE(system.registry.opened.empty() && system.provider.calls.empty());
    EXPECT_EQ(system.trace.Count(TraceLevel::Error), std::size(verdicts) + 1);
}

TEST_F(VerifierTest, Verdict_IsTracedByItsWeight) {
    system.PutUnsigned(kFile);
    EXPECT_EQ(system.Verify(3), TrustResult::NotTrusted);
    EXPECT_EQ(system.trace.Count(TraceLevel::Error), 0u);
    EXPECT_EQ(system.trace.Count(TraceEvent::TrustRefused), 1u);
    system.files.Remove(kFile);
    EXPECT_EQ(system.Verify(3), TrustResult::FileError);
    EXPECT_EQ(system.trace.Count(TraceLevel::Error), 1u);
    system.PutSigned(kFile);
    EXPECT_EQ(system.Verify(3), TrustResult::Trusted);
    EXPECT_EQ(system.trace.Count(TraceEvent::TrustRefused), 2u);
}

TEST_F(VerifierTest, EveryForm_VerifiesTheNormalizedPath) {
    system.PutSigned(kFile, OurCertificate({kDriverUsage, kSystemUsage}));
    system.pathForms.environment[u"base"] = u"\\Device\\HarddiskVolume3\\Program Files";
    system.pathForms.dosDevices[u'C'] = u"\\Device\\HarddiskVolume3";
    const auto verifier = system.Make();
    const char16_t* const wide = u"%BASE%\\Halvora\\zebshell2.dll";
    const char* const narrow = "%BASE%\\Halvora\\zebshell2.dll";
    bool component[2] = {};
    const TrustResult verdicts[] = {
        verifier->VerifyFile(wide, 3u),
        verifier->VerifyFile(narrow, 3u),
        verifier->VerifyFile(wide, 3u, true, &component[0]),
        verifier->VerifyFile(narrow, 3u, true, &component[1]),
        verifier->VerifyFile(wide, 3u, true),
        verifier->VerifyFile(narrow, 3u, true),
        verifier->VerifyFile(wide, true),
        verifier->VerifyFile(narrow, true),
        verifier->VerifyFileThorough(wide, 3),
    };
    for (std::size_t i = 0; i < std::size(verdicts); ++i) {
        EXPECT_EQ(verdicts[i], TrustResult::Trusted) << i;
    }
    EXPECT_TRUE(component[0] && component[1]);
    ASSERT_EQ(system.provider.calls.size(), std::size(verdicts));
    for (std::size_t i = 0; i < std::size(verdicts); ++i) {
        EXPECT_EQ(system.provider.calls[i].path, kFile);
        const bool driver = system.provider.calls[i].action == platform::TrustAction::DriverVerify;
        EXPECT_EQ(driver, i >= 2 && i < 8) << i;
    }
    // The forms without a level ask for level 3: another maker's signature is not enough.
    system.PutSigned(kFile, ForeignCertificate());
    EXPECT_EQ(verifier->VerifyFile(wide, false), TrustResult::NotTrusted);
    EXPECT_EQ(verifier->VerifyFile(narrow, false), TrustResult::NotTrusted);
    EXPECT_EQ(verifier->VerifyFile(narrow, 1u), TrustResult::Trusted);
}

TEST_F(VerifierTest, Process_IsVerifiedByItsImageFile) {
    system.PutSigned(kHost);
    system.PutSigned(kParent);
    system.pathForms.dosDevices[u'C'] = u"\\Device\\HarddiskVolume3";
    system.processes.images = {{50, u"\\Device\\HarddiskVolume3\\Program Files\\Host\\parent.exe"}};
    const auto verifier = system.Make();
    EXPECT_EQ(verifier->VerifyProcess(50, 3), TrustResult::Trusted);
    EXPECT_EQ(system.provider.calls.back().path, kParent);
    EXPECT_EQ(verifier->VerifyProcess(77, 3), TrustResult::FileError);
    // The own process is not opened.
    const std::size_t opened = system.processes.imageCalls;
    EXPECT_EQ(verifier->VerifyProcess(100, 3), TrustResult::Trusted);
    EXPECT_EQ(system.provider.calls.back().path, kHost);
    EXPECT_EQ(system.processes.imageCalls, opened);
    system.modules.paths.clear();
    EXPECT_EQ(verifier->VerifyProcess(100, 3), TrustResult::FileError);
}

TEST_F(VerifierTest, CurrentAndParentProcess_ALevelThreeSuccessIsRememberedApart) {
    using Operation = TrustResult (IVerifyTrust::*)(TrustLevel) noexcept;
    struct Row {
        Operation operation;
        const std::u16string& path;
    };
    for (const Row& row :
         {Row{&IVerifyTrust::VerifyCurrentProcess, kHost}, Row{&IVerifyTrust::VerifyParentProcess, kParent}}) {
        const auto verify = [&](TrustLevel level) { return (*system.Make().*row.operation)(level); };
        system.PutUnsigned(row.path);
        system.provider.SetFileAnswer(row.path, kAnswerNoSignature);
        EXPECT_EQ(verify(3), TrustResult::NotTrusted);
        system.PutSigned(row.path);
        EXPECT_EQ(verify(1), TrustResult::Trusted);
        system.provider.SetFileAnswer(row.path, kAnswerNoSignature);
        EXPECT_EQ(verify(3), TrustResult::NotTrusted) << "neither a refusal nor another level is remembered";
        system.PutSigned(row.path);
        EXPECT_EQ(verify(3), TrustResult::Trusted);
        system.provider.SetFileAnswer(row.path, kAnswerNoSignature);
        EXPECT_EQ(verify(3), TrustResult::Trusted);
        EXPECT_EQ(verify(4), TrustResult::NotTrusted);
    }
}

TEST_F(VerifierTest, ParentProcess_NotFound_IsAFileError) {
    system.processes.parentId.reset();
    EXPECT_EQ(system.Make()->VerifyParentProcess(3), TrustResult::FileError);
}

TEST_F(VerifierTest, Module_NameMustFitTwoHundredSixtyCharacters) {
    constexpr ModuleHandle kLong{0x20000000}, kTooLong{0x30000000};
    const std::u16string fits = u"C:\\" + std::u16string(256, u'a');
    system.modules.paths[kLong] = fits;
    system.modules.paths[kTooLong] = fits + u'a';
    system.PutSigned(fits);
    system.PutSigned(fits + u'a');
    const auto verifier = system.Make();
    EXPECT_EQ(verifier->VerifyModule(kLong, 3), TrustResult::Trusted);
    EXPECT_EQ(verifier->VerifyModule(kTooLong, 3), TrustResult::FileError);
    EXPECT_EQ(verifier->VerifyModule(ModuleHandle{0x40000000}, 3), TrustResult::FileError);
}

TEST_F(VerifierTest, ComServer_InProcessThenLocal_EveryRow) {
    const std::u16string inProcess = kClassKey + u"\\InprocServer32";
    const std::u16string local = kClassKey + u"\\LocalServer32";
    const std::u16string longPath = u"C:\\" + std::u16string(257, u'a');
    struct Row {
        const char* name;
        std::function<void(FakeRegistry&)> arrange;
        TrustResult verdict;
        std::u16string verified;
    };
    const auto put = [](FakeRegistry& r, const std::u16string& key, std::u16string_view text) {
        r.PutText(RegistryRoot::ClassesRoot, key, u"", text);
    };
    const Row rows[] = {
        {"none", [](FakeRegistry&) {}, TrustResult::FileError, {}},
        {"in-process", [&](FakeRegistry& r) { put(r, inProcess, kFile), put(r, local, kHost); }, TrustResult::Trusted,
         kFile},
        {"local", [&](FakeRegistry& r) { put(r, local, kHost); }, TrustResult::Trusted, kHost},
        {"in-process key without a value",
         [&](FakeRegistry& r) { r.PutKey(RegistryRoot::ClassesRoot, inProcess), put(r, local, kHost); },
         TrustResult::Trusted, kHost},
        {"in-process key without access",
         [&](FakeRegistry& r) {
             put(r, inProcess, kFile), put(r, local, kHost);
             r.FailOpening(RegistryRoot::ClassesRoot, inProcess, SystemError::AccessDenied);
         },
         TrustResult::FileError,
         {}},
        {"in-process value of another type",
         [&](FakeRegistry& r) {
             r.PutValue(RegistryRoot::ClassesRoot, inProcess, u"", DwordValue(1)), put(r, local, kHost);
         },
         TrustResult::FileError,
         {}},
        {"unterminated, 260 characters",
         [&](FakeRegistry& r) {
             r.PutValue(RegistryRoot::ClassesRoot, inProcess, u"", TextValue(longPath, platform::kValueText, false));
         },
         TrustResult::Trusted, longPath},
        {"261 characters", [&](FakeRegistry& r) { put(r, inProcess, longPath + u'a'); }, TrustResult::FileError, {}},
        {"empty", [&](FakeRegistry& r) { put(r, inProcess, u""); }, TrustResult::InvalidArgument, {}},
    };
    for (const Row& row : rows) {
        TrustSystem fresh;
        for (const std::u16string& path : {kFile, kHost, longPath, longPath + u'a'}) {
            fresh.PutSigned(path);
        }
        row.arrange(fresh.registry);
        EXPECT_EQ(fresh.Make()->VerifyComServer(kClass, 3), row.verdict) << row.name;
        EXPECT_EQ(fresh.provider.calls.empty() ? std::u16string() : fresh.provider.calls[0].path, row.verified)
            << row.name;
        EXPECT_TRUE(fresh.NothingLeftOpen()) << row.name;
    }
}

TEST_F(VerifierTest, DescribeFile_ReportsWhatWasFound) {
    FakeCertificate certificate = OurCertificate({kSystemUsage});
    certificate.attributes["2.5.4.7"] = std::u16string(300, u'L');
    certificate.attributes.erase("2.5.4.6");
    system.PutCatalogSigned(kFile, certificate);
    const auto verifier = system.Make();
    TrustReport report{};
    report.size = sizeof(report);
    EXPECT_EQ(verifier->DescribeFile(kFile.c_str(), 4, false, false, &report), TrustResult::Trusted);
    EXPECT_EQ(report.flags,
              kSignatureOpened | kTestAPassed | kTestCPassed | kSystemComponent | kThroughCatalog | kSignerFound);
    EXPECT_EQ(report.systemComponent, 1u);
    EXPECT_EQ(report.platformAnswer, 0);
    EXPECT_EQ(std::u16string(report.catalogPath), kCatalog);
    EXPECT_EQ(std::u16string(report.commonName), AcceptedNames()["2.5.4.3"]);
    EXPECT_EQ(std::u16string(report.locality), std::u16string(259, u'L'));
    EXPECT_EQ(std::u16string(report.country), std::u16string());

    // A refusal: the findings are told, but no system component.
    EXPECT_EQ(verifier->DescribeFile(kFile.c_str(), 5, false, false, &report), TrustResult::NotTrusted);
    EXPECT_EQ(report.flags & kSystemComponent, kSystemComponent);
    EXPECT_EQ(report.systemComponent, 0u);

    // A tampered file: its signer is told by a thorough check alone.
    system.PutSigned(kFile);
    system.catalogs.sha256Catalogs.clear();
    system.provider.SetFileAnswer(kFile, kAnswerBadDigest);
    EXPECT_EQ(verifier->DescribeFile(kFile.c_str(), 1, false, false, &report), TrustResult::NotTrusted);
    EXPECT_EQ(report.flags, 0u);
    EXPECT_EQ(std::u16string(report.commonName), std::u16string());
    EXPECT_EQ(report.platformAnswer, kAnswerBadDigest);
    EXPECT_EQ(verifier->DescribeFile(kFile.c_str(), 1, false, true, &report), TrustResult::NotTrusted);
    EXPECT_EQ(std::u16string(report.organization), AcceptedNames()["2.5.4.10"]);
}

TEST_F(VerifierTest, WhateverIsThrown_BecomesAVerdict) {
    system.PutSigned(kFile);
    system.provider.onCall = [](const FakeTrustProvider::Call&) { throw std::bad_alloc(); };
    EXPECT_EQ(system.Verify(3), TrustResult::OutOfMemory);
    EXPECT_EQ(system.Make()->VerifyFileThorough(kFile.c_str(), 3), TrustResult::OutOfMemory);
    system.provider.onCall = [](const FakeTrustProvider::Call&) { throw std::runtime_error("broken"); };
    EXPECT_EQ(system.Verify(3), TrustResult::CannotDetermine);
    EXPECT_EQ(system.trace.Count(TraceEvent::TrustUnexpectedFailure), 1u);
}

TEST_F(VerifierTest, SeveralThreads_ShareOneVerifier) {
    system.trace.enabled = false;
    system.hash.exists = false;
    system.PutUnsigned(kFile);
    system.PutUnsigned(kHost);
    VerifierOptions options;
    options.useFileCache = true;
    const auto verifier = system.Make(options);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, reference = verifier] {
            for (int i = 0; i < 200; ++i) {
                EXPECT_EQ(reference->VerifyFile(kFile.c_str(), 3u), TrustResult::NotTrusted);
                EXPECT_EQ(reference->VerifyCurrentProcess(3), TrustResult::NotTrusted);
                reference->SetAlternatePolicyOption(i % 2 == 0);
                reference->SetProviderMode2(reference->GetAlternatePolicyOption());
                const VaneRef<IVerifyTrust> copy(reference);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
