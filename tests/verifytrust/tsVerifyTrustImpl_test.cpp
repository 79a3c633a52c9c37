#include "tslib/verifytrust/tsVerifyTrustImpl.h"

#include <ranges>
#include <stdexcept>

#include "tests/verifytrust/TrustFixture.h"

namespace tests {
namespace {

const std::u16string kHost = u"C:\\Program Files\\Host\\host.exe";      // the current process
const std::u16string kParent = u"C:\\Program Files\\Host\\parent.exe";  // process 50
constexpr Guid kClass{0x01234567, 0x89AB, 0xCDEF, {1, 2, 3, 4, 5, 6, 7, 8}};
const std::u16string kClassKey = u"CLSID\\{01234567-89AB-CDEF-0102-030405060708}\\";

// A full path of that many characters.
std::u16string LongPath(std::size_t length) {
    return u"C:\\" + std::u16string(100, u'a') + u'\\' + std::u16string(length - 104, u'a');
}

using VerifierTest = TrustTest;

TEST_F(VerifierTest, Initialize_ResetsTheOptionsAndLoadsThePolicyOnRequest) {
    PutPolicy(u"AlternateTrustPolicy", DwordValue(0));
    TrustContext without(*this, nullptr, hashProviders);  // the alternate policy counts as on
    for (const bool policy : {true, false}) {
        const VaneRef<IVerifyTrust> verifier(CreateTrustVerifierStatic(policy ? trust : without));
        for (const bool load : {false, true}) {
            verifier->SetAlternatePolicyOption(false);
            verifier->SetProviderMode2(true);
            EXPECT_TRUE(!verifier->GetAlternatePolicyOption() && verifier->GetProviderMode2());
            EXPECT_EQ(verifier->Initialize(load), 1u);
            EXPECT_EQ(verifier->GetAlternatePolicyOption(), !policy || !load);
            EXPECT_FALSE(verifier->GetProviderMode2());
        }
    }
    EXPECT_EQ(hashProviders.created, 2u);  // once each
}

struct EveryFormTest : TrustTest {
    EveryFormTest() {
        PutSigned(kFile, OurCertificate({kDriverUsage, kSystemUsage}));
        pathForms.environment[u"base"] = u"C:\\Program Files";
    }
    // By the forms with a level: those that take a driver mode ask for it and come first.
    std::vector<TrustResult> Verify(const char16_t* wide, const char* narrow, TrustLevel level) {
        components[0] = components[1] = level != 3;  // to be changed
        report.size = sizeof(report);
        return {
            verifier->VerifyFile(wide, level, true, &components[0]),
            verifier->VerifyFile(narrow, level, true, &components[1]),
            verifier->VerifyFile(wide, level, true),
            verifier->VerifyFile(narrow, level, true),
            verifier->DescribeFile(wide, level, true, false, &report),
            verifier->VerifyFileThorough(wide, level),
            verifier->VerifyFile(wide, level),
            verifier->VerifyFile(narrow, level),
        };
    }
    std::vector<TrustResult> VerifyWithoutLevel(bool driver) {
        return {verifier->VerifyFile(kWide, driver), verifier->VerifyFile(kNarrow, driver)};
    }
    static constexpr const char16_t* kWide = u"%BASE%\\Halvora\\plugin.dll";
    static constexpr const char* kNarrow = "%BASE%\\Halvora\\plugin.dll";
    VaneRef<IVerifyTrust> verifier = Make();
    bool components[2]{};
};

TEST_F(EveryFormTest, NoPathOrNoLevel_IsAnInvalidArgument) {
    for (const auto& [wide, narrow, level] : {std::tuple(u"", "", 1u), {u"a", "a", 0u}, {nullptr, nullptr, 1u}}) {
        EXPECT_EQ(Verify(wide, narrow, level), std::vector(8, InvalidArgument));
        EXPECT_FALSE(components[0] || components[1]);
    }
    EXPECT_TRUE(files.attributeReads.empty() && trustProvider.calls.empty());
    EXPECT_EQ(trace.Count(TraceEvent::TrustRefused), 24u);
    EXPECT_EQ(trace.Count(TraceLevel::Error), 24u);
}

TEST_F(EveryFormTest, VerifiesTheNormalizedPathInItsMode) {
    EXPECT_EQ(Verify(kWide, kNarrow, 3), std::vector(8, Trusted));
    EXPECT_TRUE(components[0] && components[1]);
    EXPECT_EQ(VerifyWithoutLevel(true), std::vector(2, Trusted));
    ASSERT_EQ(trustProvider.calls.size(), 10u);  // no catalog where the file's own signature is trusted
    for (std::size_t i = 0; i < 10; ++i) {
        EXPECT_EQ(trustProvider.calls[i].path, kFile);
        EXPECT_EQ(trustProvider.calls[i].action == TrustAction::DriverVerify, i < 5 || i > 7) << i;
    }
    PutSigned(kFile, ForeignCertificate());
    EXPECT_EQ(Verify(kWide, kNarrow, 2).back(), Trusted);
    trace.records.clear();
    EXPECT_EQ(VerifyWithoutLevel(false), std::vector(2, NotTrusted)) << "level 3";
    EXPECT_EQ(trace.Count(TraceEvent::TrustRefused), 2u);
    EXPECT_EQ(trace.Count(TraceLevel::Error), 0u) << "an ordinary refusal";
    // Whatever is thrown becomes a verdict.
    trustProvider.onCall = [](const auto&) { throw std::runtime_error("broken"); };
    EXPECT_EQ(Verify(kWide, kNarrow, 3), std::vector(8, CannotDetermine));
    EXPECT_EQ(trace.Count(TraceEvent::TrustUnexpectedFailure), 8u);
}

TEST_F(VerifierTest, ProcessAndModule_AreVerifiedByTheirFile) {
    const auto verifier = Make();
    PutSigned(kHost);
    PutSigned(kParent);
    EXPECT_EQ(verifier->VerifyProcess(50, 3), Trusted);
    EXPECT_EQ(trustProvider.calls.back().path, kParent);
    EXPECT_EQ(verifier->VerifyProcess(50, 0), InvalidArgument);
    EXPECT_EQ(verifier->VerifyProcess(77, 3), FileError);
    processes.images.clear();
    EXPECT_EQ(verifier->VerifyProcess(100, 3), Trusted);  // the own one needs no opening
    modules.paths.clear();
    EXPECT_EQ(verifier->VerifyProcess(100, 3), FileError);
    processes.parentId.reset();
    EXPECT_EQ(verifier->VerifyParentProcess(3), FileError);
    for (const std::size_t length : {259u, 260u}) {
        modules.paths[FakeModules::kOwn] = LongPath(length);
        PutSigned(LongPath(length));
        EXPECT_EQ(verifier->VerifyModule(FakeModules::kOwn, 3), length == 259 ? Trusted : FileError);
    }
}

TEST_F(VerifierTest, CurrentAndParentProcess_ALevelThreeSuccessIsRememberedApart) {
    for (const auto operation : {&IVerifyTrust::VerifyCurrentProcess, &IVerifyTrust::VerifyParentProcess}) {
        const std::u16string& path = operation == &IVerifyTrust::VerifyCurrentProcess ? kHost : kParent;
        const auto verify = [&](bool isSigned, TrustLevel level) {
            isSigned ? PutSigned(path) : PutUnsigned(path);
            return (*Make().*operation)(level);
        };
        EXPECT_EQ(verify(true, 1), Trusted);
        EXPECT_EQ(verify(false, 3), NotTrusted) << "another level is not remembered";
        EXPECT_EQ(verify(true, 3), Trusted) << "and no refusal";
        EXPECT_EQ(verify(false, 3), Trusted);
        EXPECT_EQ(verify(false, 4), NotTrusted);
    }
}

TEST_F(VerifierTest, ComServer_InProcessThenLocal_EveryRow) {
    // The in-process server, whose file is not signed where there is one; the answer to opening its key; the verdict.
    const std::tuple<const char*, std::optional<RegistryValue>, SystemError, TrustResult> rows[] = {
        {"local", {}, Success, Trusted},
        {"without access", {}, AccessDenied, FileError},
        {"of another type", DwordValue(1), Success, FileError},
        // 520 bytes with the terminator, whether that is stored or not.
        {"259 characters", StoredText(LongPath(259)), Success, NotTrusted},
        {"260 characters", StoredText(LongPath(260)), Success, FileError},
        {"260 unterminated", StoredText(LongPath(260), kValueText, false), Success, FileError},
        {"empty", StoredText(u""), Success, InvalidArgument},
        {"relative", StoredText(u"host.exe"), Success, FileError},
        {"in the environment", StoredText(u"%Base%\\unsigned.dll"), Success, NotTrusted},
    };
    constexpr auto kRoot = RegistryRoot::ClassesRoot;
    for (const auto& [name, inProcess, opening, verdict] : rows) {
        TrustSystem fresh;
        fresh.PutUnsigned(LongPath(259));
        fresh.PutUnsigned(LongPath(260));
        fresh.PutSigned(kHost);
        fresh.PutUnsigned(u"C:\\Program Files\\unsigned.dll");
        fresh.pathForms.environment[u"base"] = u"C:\\Program Files";
        fresh.registry.PutKey(kRoot, kClassKey + u"InprocServer32");
        if (inProcess) {
            fresh.registry.PutValue(kRoot, kClassKey + u"InprocServer32", u"", *inProcess);
        }
        fresh.registry.FailOpening(kRoot, kClassKey + u"InprocServer32", opening);
        EXPECT_EQ(fresh.Make()->VerifyComServer(kClass, 3), inProcess ? verdict : FileError) << name;
        fresh.registry.PutText(kRoot, kClassKey + u"LocalServer32", u"", kHost);
        EXPECT_EQ(fresh.Make()->VerifyComServer(kClass, 3), verdict) << name;
    }
}

TEST_F(VerifierTest, DescribeFile_ReportsWhatWasFound) {
    FakeCertificate certificate = OurCertificate({kSystemUsage});
    certificate.attributes[subject::L] = std::u16string(300, u'L');
    PutListed(kFile, certificate);
    EXPECT_EQ(Describe(4, false), Trusted);
    EXPECT_EQ(report.flags,
              kSignatureOpened | kTestAPassed | kTestCPassed | kSystemComponent | kThroughCatalog | kSignerFound);
    EXPECT_EQ(report.systemComponent, 1u);
    EXPECT_EQ(std::u16string(report.catalogPath), kCatalog);
    EXPECT_EQ(std::u16string(report.locality), std::u16string(259, u'L'));
    // A refusal: the findings are told, but no system component.
    EXPECT_EQ(Describe(5, false), NotTrusted);
    EXPECT_EQ(report.flags & kSystemComponent, kSystemComponent);
    EXPECT_EQ(report.systemComponent, 0u);
    report.size = 0;
    EXPECT_EQ(Make()->DescribeFile(kFile.c_str(), 1, false, false, &report), InvalidArgument);
    EXPECT_EQ(Make()->DescribeFile(kFile.c_str(), 1, false, false, nullptr), InvalidArgument);
    // A tampered file's signer is told by a thorough check alone.
    PutSigned(kFile, OurCertificate(), kAnswerBadDigest);
    EXPECT_EQ(Describe(1, false), NotTrusted);
    EXPECT_EQ(report.flags, 0u);
    EXPECT_EQ(report.platformAnswer, kAnswerBadDigest);
    EXPECT_EQ(Describe(1, true), NotTrusted);
    EXPECT_EQ(report.flags, kSignatureOpened | kSignerFound | kTestAPassed | kTestBPassed | kTestCPassed);
    const std::vector<std::u16string> names{report.organization, report.organizationalUnit, report.commonName,
                                            report.country,      report.locality,           report.state};
    EXPECT_TRUE(std::ranges::equal(names, AcceptedNames() | std::views::values));  // in the order of the identifiers
}

TEST_F(VerifierTest, Policy_IsReadOnceAndCountsAsOnWhenUnreadable_OnWritesOneValue_OffDeletesAnotherOne) {
    faults.Fail("OpenForReading", AccessDenied);
    EXPECT_TRUE(trust.policy->IsAlternateTrustPolicy());  // no installation
    faults.Fail("OpenForReading", Success);
    PutPolicy(u"AlternateTrustPolicy", StoredText(u"0"));
    EXPECT_TRUE(trust.policy->IsAlternateTrustPolicy());
    for (const std::uint32_t number : {0u, 2u}) {
        tsVerifyTrustPolicy policy{registry, isolation, trace};
        for (const std::uint32_t now : {number, 2 - number}) {  // what was read stays
            PutPolicy(u"AlternateTrustPolicy", DwordValue(now));
            EXPECT_EQ(policy.IsAlternateTrustPolicy(), number != 0);
        }
    }
    EXPECT_EQ(registry.opened.back().access, kKeyRead | kKeyView32);
    tsVerifyTrustPolicy& policy = *trust.policy;
    EXPECT_FALSE(policy.SetAlternateTrustPolicy(false));  // no key
    EXPECT_TRUE(policy.SetAlternateTrustPolicy(true));
    EXPECT_EQ(registry.opened.back().access, kKeyWrite | kKeyView32);
    EXPECT_FALSE(policy.SetAlternateTrustPolicy(false));  // no value
    PutPolicy(u"TrustPolicy", DwordValue(5));
    EXPECT_TRUE(policy.SetAlternateTrustPolicy(false));
    const auto stored = [this](auto name) { return registry.Find(kMachine, kPolicyKey, name, kKeyView32); };
    EXPECT_EQ(stored(u"TrustPolicy"), nullptr);
    ASSERT_NE(stored(u"AlternateTrustPolicy"), nullptr);
    EXPECT_EQ(stored(u"AlternateTrustPolicy")->data, DwordValue(1).data);
}

}  // namespace
}  // namespace tests
