#include "tslib/verifytrust/tsVerifyTrustImpl.h"

#include <stdexcept>
#include <thread>

#include "tests/fakes/FailingNew.h"
#include "tests/fakes/FakeTrustVerifier.h"
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

struct VerifierTest : TrustTest {};

TEST_F(VerifierTest, EveryMaker_GivesOneReferenceAndTheInterface) {
    ComponentModule module({VerifierComponent(trust)});
    void* made = nullptr;
    ASSERT_EQ(module.CreateInstance(kTrustVerifierObjectId, kIVerifyTrustId, &made), VaneResult::Success);
    EXPECT_EQ(module.GetObjectCount(), 1u);
    for (IVerifyTrust* const object : {static_cast<IVerifyTrust*>(made), trust.Create()}) {
        EXPECT_EQ(object->Initialize(false), 1u);
        EXPECT_NE(Leftovers(), "");  // its hash provider
        EXPECT_EQ(object->Release(), 0u);
    }
    const FailingNew failing(1);
    EXPECT_TRUE(trust.Create() == nullptr);
}

TEST_F(VerifierTest, Initialize_ResetsTheOptionsAndLoadsThePolicyOnRequest) {
    PutPolicy(u"AlternateTrustPolicy", tsLib::DwordValue(0));
    TrustContext without(*this, nullptr, hashProviders);  // the alternate policy counts as on
    for (const bool policy : {true, false}) {
        const VaneRef<IVerifyTrust> verifier(CreateTrustVerifierStatic(policy ? trust : without));
        const auto options = [&] {
            return std::pair(verifier->GetAlternatePolicyOption(), verifier->GetProviderMode2());
        };
        EXPECT_EQ(options(), std::pair(true, false));
        verifier->SetAlternatePolicyOption(false);
        verifier->SetProviderMode2(true);
        EXPECT_EQ(options(), std::pair(false, true));
        EXPECT_EQ(verifier->Initialize(false), 1u);
        EXPECT_EQ(options(), std::pair(true, false));
        EXPECT_EQ(verifier->Initialize(true), 1u);
        EXPECT_EQ(options(), std::pair(!policy, false));
    }
    EXPECT_EQ(hashProviders.created, 2u);
}

TEST_F(VerifierTest, EveryForm_VerifiesTheNormalizedPath) {
    PutSigned(kFile, OurCertificate({kDriverUsage, kSystemUsage}));
    pathForms.environment[u"base"] = u"\\Device\\HarddiskVolume3\\Program Files";
    pathForms.dosDevices[u'C'] = u"\\Device\\HarddiskVolume3";
    const auto verifier = Make();
    bool components[2];
    const auto verify = [&](const char16_t* wide, const char* narrow, TrustLevel level) {
        components[0] = components[1] = level != 3;  // to be changed
        report.size = sizeof(report);
        return std::vector{
            verifier->VerifyFile(wide, level, true, &components[0]),
            verifier->VerifyFile(narrow, level, true, &components[1]),
            verifier->VerifyFile(wide, level, true),
            verifier->VerifyFile(narrow, level, true),
            verifier->DescribeFile(wide, level, true, false, &report),
            verifier->VerifyFileThorough(wide, level),
            verifier->VerifyFile(wide, level),
            verifier->VerifyFile(narrow, level),
        };
    };
    const auto withoutLevel = [&](const char16_t* wide, const char* narrow, bool driver) {
        return std::vector{verifier->VerifyFile(wide, driver), verifier->VerifyFile(narrow, driver)};
    };
    for (const auto& [wide, narrow, level] :
         {std::tuple(u"", "", 1u), {u"C:\\a", "C:\\a", 0u}, {nullptr, nullptr, 1u}}) {
        EXPECT_EQ(verify(wide, narrow, level), std::vector(8, InvalidArgument));
        EXPECT_FALSE(components[0] || components[1]);
    }
    EXPECT_TRUE(files.attributeReads.empty() && trustProvider.calls.empty());
    EXPECT_EQ(trace.Count(TraceEvent::TrustRefused), 24u);
    EXPECT_EQ(trace.Count(TraceLevel::Error), 24u);
    const char16_t* const kWide = u"%BASE%\\Halvora\\plugin.dll";
    const char* const kNarrow = "%BASE%\\Halvora\\plugin.dll";
    EXPECT_EQ(verify(kWide, kNarrow, 3), std::vector(8, Trusted));
    EXPECT_TRUE(components[0] && components[1]);
    EXPECT_EQ(withoutLevel(kWide, kNarrow, true), std::vector(2, Trusted));
    ASSERT_EQ(trustProvider.calls.size(), 10u);
    for (std::size_t i = 0; i < 10; ++i) {
        EXPECT_EQ(trustProvider.calls[i].path, kFile);
        EXPECT_EQ(trustProvider.calls[i].action == TrustAction::DriverVerify, i < 5 || i > 7) << i;
    }
    // The forms without a level ask for level 3: another maker's signature is not enough.
    PutSigned(kFile, ForeignCertificate());
    EXPECT_EQ(verify(kWide, kNarrow, 1).back(), Trusted);
    trace.records.clear();
    EXPECT_EQ(withoutLevel(kWide, kNarrow, false), std::vector(2, NotTrusted));
    EXPECT_EQ(trace.Count(TraceEvent::TrustRefused), 2u);
    EXPECT_EQ(trace.Count(TraceLevel::Error), 0u) << "an ordinary refusal";
    // Whatever is thrown becomes a verdict.
    trustProvider.onCall = [](const auto&) { throw std::runtime_error("broken"); };
    EXPECT_EQ(verify(kWide, kNarrow, 3), std::vector(8, CannotDetermine));
    EXPECT_EQ(trace.Count(TraceEvent::TrustUnexpectedFailure), 8u);
}

TEST_F(VerifierTest, ProcessAndModule_AreVerifiedByTheirFile) {
    const auto verifier = Make();
    PutSigned(kHost);
    PutSigned(kParent);
    pathForms.dosDevices[u'C'] = u"\\Device\\HarddiskVolume3";
    processes.images = {{50, u"\\Device\\HarddiskVolume3\\Program Files\\Host\\parent.exe"}};
    EXPECT_EQ(verifier->VerifyProcess(50, 3), Trusted);
    EXPECT_EQ(trustProvider.calls.back().path, kParent);
    EXPECT_EQ(verifier->VerifyProcess(50, 0), InvalidArgument);
    EXPECT_EQ(verifier->VerifyProcess(77, 3), FileError);
    EXPECT_EQ(verifier->VerifyProcess(100, 3), Trusted);  // the own one is not in the list of images
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
        const auto verify = [&](TrustLevel level) { return (*Make().*operation)(level); };
        PutUnsigned(path);
        EXPECT_EQ(verify(3), NotTrusted);
        PutSigned(path);
        EXPECT_EQ(verify(1), Trusted);
        PutUnsigned(path);
        EXPECT_EQ(verify(3), NotTrusted) << "neither a refusal nor another level is remembered";
        PutSigned(path);
        EXPECT_EQ(verify(3), Trusted);
        PutUnsigned(path);
        EXPECT_EQ(verify(3), Trusted);
        EXPECT_EQ(verify(4), NotTrusted);
    }
}

TEST_F(VerifierTest, ComServer_InProcessThenLocal_EveryRow) {
    const auto unterminated = [](std::size_t length) { return StoredText(LongPath(length), kValueText, false); };
    const struct {
        const char* name;
        std::optional<RegistryValue> inProcess;  // where it names a file, that one is not signed
        TrustResult verdict;
        SystemError opening = Success;  // the in-process key
    } rows[] = {
        {"local", {}, Trusted},
        {"in-process", StoredText(kFile), NotTrusted},
        {"without access", {}, FileError, AccessDenied},
        {"of another type", tsLib::DwordValue(1), FileError},
        // 520 bytes with the terminator, whether that is stored or not.
        {"259 characters", StoredText(LongPath(259)), NotTrusted},
        {"259 unterminated", unterminated(259), NotTrusted},
        {"260 characters", StoredText(LongPath(260)), FileError},
        {"260 unterminated", unterminated(260), FileError},
        {"empty", StoredText(u""), InvalidArgument},
    };
    constexpr auto kRoot = RegistryRoot::ClassesRoot;
    for (const auto& row : rows) {
        TrustSystem fresh;
        for (const std::u16string& path : {kFile, LongPath(259), LongPath(260)}) {
            fresh.PutUnsigned(path);
        }
        fresh.PutSigned(kHost);
        fresh.registry.PutKey(kRoot, kClassKey + u"InprocServer32");
        if (row.inProcess) {
            fresh.registry.PutValue(kRoot, kClassKey + u"InprocServer32", u"", *row.inProcess);
        }
        fresh.registry.FailOpening(kRoot, kClassKey + u"InprocServer32", row.opening);
        EXPECT_EQ(fresh.Make()->VerifyComServer(kClass, 3), row.inProcess ? row.verdict : FileError) << row.name;
        fresh.registry.PutText(kRoot, kClassKey + u"LocalServer32", u"", kHost);
        EXPECT_EQ(fresh.Make()->VerifyComServer(kClass, 3), row.verdict) << row.name;
        EXPECT_EQ(fresh.Leftovers(), "") << row.name;
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

    // A tampered file: its signer is told by a thorough check alone.
    PutSigned(kFile, OurCertificate(), kAnswerBadDigest);
    EXPECT_EQ(Describe(1, false), NotTrusted);
    EXPECT_EQ(report.flags, 0u);
    EXPECT_EQ(report.platformAnswer, kAnswerBadDigest);
    EXPECT_EQ(std::u16string(report.country), std::u16string());
    EXPECT_EQ(Describe(1, true), NotTrusted);
    EXPECT_EQ((Names{{subject::CN, report.commonName},
                     {subject::OU, report.organizationalUnit},
                     {subject::O, report.organization},
                     {subject::L, report.locality},
                     {subject::ST, report.state},
                     {subject::C, report.country}}),
              AcceptedNames());
    report.size = 0;
    EXPECT_EQ(Make()->DescribeFile(kFile.c_str(), 1, false, false, &report), InvalidArgument);
    EXPECT_EQ(Make()->DescribeFile(kFile.c_str(), 1, false, false, nullptr), InvalidArgument);
}

TEST_F(VerifierTest, SeveralThreads_ShareVerifierAndCache) {
    trace.enabled = false;
    hashProviders.exists = false;
    PutSigned(kFile);
    PutUnsigned(kHost);
    const auto work = [this, verifier = Make({.useFileCache = true})] {
        for (int i = 0; i < 200; ++i) {
            EXPECT_EQ(verifier->VerifyFile(kFile.c_str(), 3u), Trusted);
            EXPECT_EQ(verifier->VerifyCurrentProcess(3), NotTrusted);
            verifier->SetAlternatePolicyOption(i % 2 == 0);
            verifier->SetProviderMode2(verifier->GetAlternatePolicyOption());
            (void)(i % 50 == 0 ? trust.cache.SetMaximum(trust.cache.GetMaximum() + 1) : trust.cache.Remove(kFile));
            const VaneRef<IVerifyTrust> copy(verifier);
        }
    };
    const std::jthread threads[] = {std::jthread(work), std::jthread(work), std::jthread(work)};
}

TEST_F(VerifierTest, Policy_IsReadOnceAndCountsAsOnWhenUnreadable) {
    tsVerifyTrustPolicy& policy = *trust.policy;
    faults.Fail("OpenForReading", AccessDenied);
    EXPECT_TRUE(policy.IsAlternateTrustPolicy() && !policy.SetAlternateTrustPolicy(true));  // no installation
    faults.Fail("OpenForReading", Success);
    EXPECT_TRUE(policy.IsAlternateTrustPolicy());  // no key
    PutPolicy(u"AlternateTrustPolicy", StoredText(u"0"));
    EXPECT_TRUE(policy.IsAlternateTrustPolicy());
    for (const std::uint32_t number : {0u, 2u}) {
        tsVerifyTrustPolicy other{registry, isolation, trace};
        for (const std::uint32_t now : {number, 2 - number}) {  // what was read stays
            PutPolicy(u"AlternateTrustPolicy", tsLib::DwordValue(now));
            EXPECT_EQ(other.IsAlternateTrustPolicy(), number != 0);
        }
    }
    EXPECT_EQ(registry.opened.back().access, kKeyRead | kKeyView32);
}

TEST_F(VerifierTest, SetPolicy_OnWritesOneValueAndOffDeletesTheOther) {
    tsVerifyTrustPolicy& policy = *trust.policy;
    EXPECT_FALSE(policy.SetAlternateTrustPolicy(false));  // no key
    EXPECT_TRUE(policy.SetAlternateTrustPolicy(true));
    EXPECT_EQ(registry.opened.back().access, kKeyWrite | kKeyView32);
    EXPECT_FALSE(policy.SetAlternateTrustPolicy(false));  // no value
    PutPolicy(u"TrustPolicy", tsLib::DwordValue(5));
    EXPECT_TRUE(policy.SetAlternateTrustPolicy(false));
    const auto stored = [this](auto name) {
        return registry.Find(RegistryRoot::LocalMachine, kPolicyKey, name, kKeyView32);
    };
    EXPECT_EQ(stored(u"TrustPolicy"), nullptr);
    EXPECT_EQ(stored(u"AlternateTrustPolicy")->data, tsLib::DwordValue(1).data);
}

// Another module calls by the table alone. No argument is looked at, so that one type serves for all calls.
TEST(IVerifyTrust, EveryOperation_HasItsSlotInTheTable) {
    auto* const object = new IdleTrustVerifier;
    using Operation = std::uint32_t (*)(IVerifyTrust*);
    const Operation* const table = *reinterpret_cast<const Operation* const*>(static_cast<IVerifyTrust*>(object));
    for (int slot = 3; slot < 24; ++slot) {
        table[slot](object);
        EXPECT_EQ(object->slot, slot);
    }
    EXPECT_EQ(table[1](object), 2u);  // AddRef
    EXPECT_EQ(table[2](object), 1u);  // Release
    EXPECT_EQ(object->Release(), 0u);
}

}  // namespace
}  // namespace tests
