// Verdicts: by every way to ask, about a file of ours and one of somebody else's.
#include "tests/faults/Flow.h"

namespace tests {
namespace {

constexpr Guid kServedClass{0x01234567, 0x89AB, 0xCDEF, {1, 2, 3, 4, 5, 6, 7, 8}};
const std::u16string kNativeFile = u"\\Device\\HarddiskVolume3\\Program Files\\Halvora\\plugin.dll";

using Question = TrustResult (*)(IVerifyTrust&);

// A system on which every operation has a long way to go: an old one, a file in a native form and listed by the last of
// three catalogs.
template <Question question, bool ours>
struct Verdict : Flow {
    Verdict() {
        system.major = 6;
        system.minor = 1;
        disk.PutFile(kFile, "unsigned");
        disk.List(kFile, u"C:\\1.cat", kAnswerNoSignature);
        disk.List(kFile, u"C:\\2.cat", kAnswerNoSignature);
        disk.List(kFile, kCatalog);
        disk.Sign(kCatalog, ours ? OurCertificate({kDriverUsage}) : ForeignCertificate());
        pathForms.dosDevices[u'C'] = u"\\Device\\HarddiskVolume3";
        processes.images[50] = kNativeFile;
        modules.paths[kMainExecutable] = modules.paths[FakeModules::kExecutable] = kFile;
        registry.PutText(RegistryRoot::ClassesRoot, u"CLSID\\" + ToText(kServedClass) + u"\\LocalServer32", u"", kFile);
        registry.PutValue(kMachine, kPolicyKey, u"AlternateTrustPolicy", DwordValue(1), kKeyView32);
    }
    std::string Run() override {
        if (!verifier) {
            verifier = VaneRef<IVerifyTrust>(CreateTrustVerifierStatic(trust, {.useFileCache = true}));
        }
        const TrustResult verdict = verifier ? question(*verifier) : TrustResult::OutOfMemory;
        EXPECT_TRUE(ours || verdict != TrustResult::Trusted);
        return std::to_string(static_cast<std::uint32_t>(verdict));
    }
    bool IsDocumented(const std::string& answer, SystemError) const override {
        return answer != std::to_string(static_cast<std::uint32_t>(TrustResult::Trusted));
    }

    VaneRef<IVerifyTrust> verifier;
};

TrustResult AskFile(IVerifyTrust& v) { return v.VerifyFile(kNativeFile.c_str(), 4U); }
TrustResult AskNarrow(IVerifyTrust& v) { return v.VerifyFile("%ProgramFiles%\\Halvora\\plugin.dll", 5U, true); }
TrustResult AskCurrent(IVerifyTrust& v) { return v.VerifyCurrentProcess(4); }
TrustResult AskParent(IVerifyTrust& v) { return v.VerifyParentProcess(4); }
TrustResult AskServer(IVerifyTrust& v) { return v.VerifyComServer(kServedClass, 4); }
TrustResult AskThorough(IVerifyTrust& v) {
    return v.Initialize(true) == 1 ? v.VerifyFileThorough(kFile.c_str(), 3) : TrustResult::FileError;
}

// An embedded signature, whose verdict is kept, and another file under its name, which must not get it.
struct Kept : Flow {
    Kept() {
        disk.PutFile(kFile, "signed");
        disk.Sign(kFile, OurCertificate());
        system.fileTime = disk.NodeAt(kFile).changed + TrustRecords::kTimeStep * 2;
    }
    std::string Run() override {
        const auto ask = [this] {
            const VaneRef<IVerifyTrust> verifier(trust.Create());
            return verifier && verifier->Initialize(true) == 1 ? verifier->VerifyFile(kFile.c_str(), 3U)
                                                               : TrustResult{};
        };
        const TrustResult first = ask();
        Node& node = disk.NodeAt(kFile);
        ++node.changed;
        node.answer = kAnswerBadDigest;
        EXPECT_NE(ask(), TrustResult::Trusted) << "the record of the file before it";
        --node.changed;
        node.answer = 0;
        return first == TrustResult::Trusted ? "trusted" : "other";
    }
    bool IsDocumented(const std::string& answer, SystemError) const override { return answer == "other"; }
};

}  // namespace

std::vector<FlowEntry> TrustFlows() {
    return {Entry<Verdict<&AskFile, true>>("FileOurs"),
            Entry<Verdict<&AskFile, false>>("FileForeign"),
            Entry<Verdict<&AskNarrow, true>>("NarrowOurs"),
            Entry<Verdict<&AskCurrent, true>>("CurrentOurs"),
            Entry<Verdict<&AskParent, true>>("ParentOurs"),
            Entry<Verdict<&AskParent, false>>("ParentForeign"),
            Entry<Verdict<&AskServer, true>>("ServerOurs"),
            Entry<Verdict<&AskThorough, true>>("ThoroughOurs"),
            Entry<Verdict<&AskThorough, false>>("ThoroughForeign"),
            Entry<Kept>("TrustRecords")};
}

}  // namespace tests
