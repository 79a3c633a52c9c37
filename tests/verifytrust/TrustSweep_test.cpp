// Every call of the platform, and every allocation, fails in turn.
#include <set>

#include "tests/fakes/FailingNew.h"
#include "tests/verifytrust/TrustFixture.h"

namespace tests {
namespace {

constexpr Guid kClass{1, 2, 3, {4}};
const std::u16string kDevicePath = u"\\Device\\HarddiskVolume3\\Program Files\\Halvora\\plugin.dll";

// A system on which every operation has a long way to go: an old system, a file in a native form and listed by the last
// of three catalogs, a hash provider without a word for it.
struct SweepSystem : TrustSystem {
    explicit SweepSystem(bool ours) {
        trace.enabled = false;
        system.major = 6;
        system.minor = 1;
        PutUnsigned(kFile);
        disk.List(kFile, u"C:\\1.cat", kAnswerNoSignature);
        disk.List(kFile, u"C:\\2.cat", kAnswerNoSignature);
        disk.List(kFile, kCatalog);
        disk.Sign(kCatalog, ours ? OurCertificate({kDriverUsage}) : ForeignCertificate());
        pathForms.dosDevices[u'C'] = u"\\Device\\HarddiskVolume3";
        processes.images[50] = kDevicePath;
        modules.paths[kMainExecutable] = modules.paths[FakeModules::kExecutable] = kFile;
        registry.PutText(RegistryRoot::ClassesRoot, u"CLSID\\" + ToText(kClass) + u"\\LocalServer32", u"", kFile);
        PutPolicy(u"AlternateTrustPolicy", tsLib::DwordValue(1));
    }
    VaneRef<IVerifyTrust> verifier = Make({.useFileCache = true});
};

const std::pair<const char*, TrustResult (*)(IVerifyTrust&)> kOperations[] = {
    {"file", [](IVerifyTrust& v) { return v.VerifyFile(kDevicePath.c_str(), 4u); }},
    {"narrow", [](IVerifyTrust& v) { return v.VerifyFile("C:\\Program Files\\Halvora\\plugin.dll", 5u, true); }},
    {"current process", [](IVerifyTrust& v) { return v.VerifyCurrentProcess(4); }},
    {"parent process", [](IVerifyTrust& v) { return v.VerifyParentProcess(4); }},
    {"module", [](IVerifyTrust& v) { return v.VerifyModule(kMainExecutable, 4); }},
    {"class", [](IVerifyTrust& v) { return v.VerifyComServer(kClass, 4); }},
    {"initialize",
     [](IVerifyTrust& v) { return v.Initialize(true) == 1 ? v.VerifyFileThorough(kFile.c_str(), 3) : FileError; }},
};

TEST(TrustSweep, EveryPlatformCallFails_GivesAVerdictAndLeavesNothingOpen) {
    for (const SystemError error : {AccessDenied, InvalidParameter, NotFound}) {
        for (const auto& [name, run] : kOperations) {
            for (const bool ours : {true, false}) {
                std::uint32_t n = 0;
                for (bool fired = true; fired;) {
                    SweepSystem sweep(ours);
                    sweep.faults.FailCall(++n, error);
                    const TrustResult verdict = run(*sweep.verifier);
                    fired = sweep.faults.Fired();
                    EXPECT_NE(Name(verdict), "unknown") << name << ' ' << n;
                    EXPECT_TRUE((ours && fired) || (verdict == Trusted) == ours) << name << ' ' << n;
                    sweep.verifier = nullptr;
                    EXPECT_EQ(sweep.Leftovers(), "") << name << ' ' << n;
                }
                EXPECT_GT(n, 8u) << name << ": the way was not long";
            }
        }
    }
}

TEST(TrustSweep, MemoryRunsOut_GivesOutOfMemoryOrTheSameVerdict) {
    for (const auto& [name, run] : kOperations) {
        std::set<TrustResult> verdicts;
        std::uint32_t n = 0;
        for (bool fired = true; fired;) {
            SweepSystem sweep(true);
            TrustResult verdict;
            {
                const FailingNew failing(++n);
                verdict = run(*sweep.verifier);
                fired = failing.Fired();
            }
            verdicts.insert(verdict);
            // Afterwards everything works.
            EXPECT_EQ(sweep.verifier->VerifyFileThorough(kFile.c_str(), 3), Trusted) << name << ' ' << n;
            sweep.verifier = nullptr;
            EXPECT_EQ(sweep.Leftovers(), "") << name << ' ' << n;
        }
        EXPECT_EQ(verdicts, (std::set{Trusted, OutOfMemory})) << name;
    }
}

}  // namespace
}  // namespace tests
