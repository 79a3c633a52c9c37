// Every call of the platform, and every allocation, fails in turn.
#include <gtest/gtest.h>

#include <functional>
#include <set>

#include "tests/fakes/FailingNew.h"
#include "tests/verifytrust/TrustFixture.h"

using namespace tests;
using namespace tsLib;
using platform::RegistryRoot;
using platform::SystemError;

namespace {

constexpr Guid kClass{1, 2, 3, {4}};
const std::u16string kDevicePath = u"\\Device\\HarddiskVolume3\\Program Files\\Halvora\\zebshell2.dll";

// A system on which every operation has a long way to go: an old system, a file in a native form and listed by the last
// of three catalogs, a hash provider without a word for it.
struct SweepSystem : TrustSystem {
    explicit SweepSystem(bool ours) {
        trace.enabled = false;
        systemInfo.major = 6;
        systemInfo.minor = 1;
        PutCatalogSigned(kFile, ours ? OurCertificate({kDriverUsage}) : ForeignCertificate());
        catalogs.sha256Catalogs.begin()->second = {u"C:\\1.cat", u"C:\\2.cat", kCatalog};
        pathForms.dosDevices[u'C'] = u"\\Device\\HarddiskVolume3";
        processes.images[50] = kDevicePath;
        modules.paths[platform::kMainExecutable] = kFile;
        registry.PutText(RegistryRoot::ClassesRoot, u"CLSID\\" + ToText(kClass) + u"\\LocalServer32", u"", kFile);
        registry.PutValue(RegistryRoot::LocalMachine, u"Software\\Corvane\\Tessel\\tsVerifyTrust",
                          u"AlternateTrustPolicy", DwordValue(1), platform::kKeyView32);
        options.useFileCache = true;
    }
    VerifierOptions options;
};

struct Operation {
    const char* name;
    std::function<TrustResult(IVerifyTrust&)> run;
};

const std::vector<Operation>& Operations() {
    static const std::vector<Operation> kOperations{
        {"file", [](IVerifyTrust& v) { return v.VerifyFile(kDevicePath.c_str(), 4u); }},
        {"narrow file",
         [](IVerifyTrust& v) {
             bool component = false;
             return v.VerifyFile("C:\\Program Files\\Halvora\\zebshell2.dll", 5u, true, &component);
         }},
        {"thorough", [](IVerifyTrust& v) { return v.VerifyFileThorough(kFile.c_str(), 3); }},
        {"describe",
         [](IVerifyTrust& v) {
             static TrustReport report;
             report.size = sizeof(report);
             return v.DescribeFile(kFile.c_str(), 4, false, true, &report);
         }},
        {"current process", [](IVerifyTrust& v) { return v.VerifyCurrentProcess(4); }},
        {"parent process", [](IVerifyTrust& v) { return v.VerifyParentProcess(4); }},
        {"module", [](IVerifyTrust& v) { return v.VerifyModule(platform::kMainExecutable, 4); }},
        {"class", [](IVerifyTrust& v) { return v.VerifyComServer(kClass, 4); }},
        {"initialize",
         [](IVerifyTrust& v) { return v.Initialize(true) == 1 ? TrustResult::Trusted : TrustResult::FileError; }},
    };
    return kOperations;
}

bool IsVerdict(TrustResult verdict) { return Name(verdict) != "unknown"; }

TEST(TrustSweep, EveryPlatformCallFails_GivesAVerdictAndLeavesNothingOpen) {
    for (const SystemError error : {SystemError::AccessDenied, SystemError::InvalidParameter, SystemError::NotFound}) {
        for (const bool ours : {true, false}) {
            for (const Operation& operation : Operations()) {
                for (std::uint32_t n = 1;; ++n) {
                    SweepSystem system(ours);
                    FaultPlan faults;
                    system.ShareFaults(&faults);
                    auto verifier = system.Make(system.options);
                    faults.FailCall(n, error);
                    const TrustResult verdict = operation.run(*verifier);
                    EXPECT_TRUE(IsVerdict(verdict)) << operation.name << ' ' << n;
                    const bool initialize = std::string_view(operation.name) == "initialize";
                    if (!ours && !initialize) {
                        EXPECT_NE(verdict, TrustResult::Trusted) << operation.name << ' ' << n;
                    }
                    verifier = nullptr;
                    EXPECT_TRUE(system.NothingLeftOpen()) << operation.name << ' ' << n;
                    if (!faults.Fired()) {
                        EXPECT_EQ(verdict == TrustResult::Trusted, ours || initialize) << operation.name;
                        EXPECT_GT(n, initialize ? 2u : 8u) << operation.name << ": the way was not long";
                        break;
                    }
                }
            }
        }
    }
}

TEST(TrustSweep, MemoryRunsOut_GivesOutOfMemoryOrTheSameVerdict) {
    for (const Operation& operation : Operations()) {
        std::set<TrustResult> verdicts;
        for (std::uint32_t n = 1;; ++n) {
            SweepSystem system(true);
            auto verifier = system.Make(system.options);
            bool fired = false;
            TrustResult verdict;
            {
                const FailingNew failing(n);
                verdict = operation.run(*verifier);
                fired = failing.Fired();
            }
            verdicts.insert(verdict);
            // Afterwards everything works.
            system.provider.SetFileAnswer(kFile, 0);
            system.signatures.PutSignature(kFile, OurCertificate());
            EXPECT_EQ(verifier->VerifyFileThorough(kFile.c_str(), 3), TrustResult::Trusted)
                << operation.name << ' ' << n;
            verifier = nullptr;
            EXPECT_TRUE(system.NothingLeftOpen()) << operation.name << ' ' << n;
            if (!fired) {
                break;
            }
        }
        const bool initialize = std::string_view(operation.name) == "initialize";
        EXPECT_EQ(verdicts, initialize ? std::set{TrustResult::Trusted}
                                       : (std::set{TrustResult::Trusted, TrustResult::OutOfMemory}))
            << operation.name;
    }
}

}  // namespace
