// The contract suites' side of the fakes.
#include "tests/contract/ContractPlatform.h"
#include "tests/fakes/FakeCatalogHasher.h"
#include "tests/fakes/FakeCertificates.h"
#include "tests/fakes/FakeClock.h"
#include "tests/fakes/FakeComponentMemory.h"
#include "tests/fakes/FakeDropList.h"
#include "tests/fakes/FakeFiles.h"
#include "tests/fakes/FakeKnownFolders.h"
#include "tests/fakes/FakeModules.h"
#include "tests/fakes/FakeNarrowCharacters.h"
#include "tests/fakes/FakePathForms.h"
#include "tests/fakes/FakeProcessStarter.h"
#include "tests/fakes/FakeProcesses.h"
#include "tests/fakes/FakeRegistry.h"
#include "tests/fakes/FakeSystemInfo.h"
#include "tests/fakes/FakeTextOutput.h"
#include "tests/fakes/FakeTextRules.h"
#include "tests/fakes/FakeTrustProvider.h"
#include "tests/fakes/SimpleLower.h"

namespace tests {

using namespace tsLib::platform;

namespace {

const std::u16string kScratch = u"C:\\Temp\\contract\\";
const std::u16string kExecutable = u"C:\\Program Files\\Host\\host.exe";

struct Fakes {
    FakeRegistry registry;
    FakeFiles files;
    FakeTextOutput text{files};
    FakePathForms paths{files};
    FakeKnownFolders folders;
    FakeModules modules;
    FakeProcesses processes;
    FakeProcessStarter starter;
    FakeClock clock;
    FakeTextRules rules;
    FakeSystemInfo system;
    FakeTrustProvider trust;
    FakeCatalogAdmin catalogs;
    FakeCatalogHasher hasher{files, catalogs};
    FakeSignatureObjects signatures;
    FakeCertificates certificates{signatures};
    FakeComponentMemory memory;
    FakeNarrowCharacters japanese;
};

class FakeContractPlatform final : public ContractPlatform {
public:
    FakeContractPlatform() { Renew(); }

    [[nodiscard]] Seam Interfaces() override {
        Fakes& f = *fakes_;
        return {f.registry,   f.files,        f.text,   f.paths,    f.folders, f.modules,  f.processes,
                f.starter,    f.clock,        f.rules,  f.system,   f.trust,   f.catalogs, f.hasher,
                f.signatures, f.certificates, f.memory, f.registry, f.japanese};
    }

    void SetUp() override {}
    void TearDown() override {
        const Fakes& f = *fakes_;
        EXPECT_EQ(f.registry.OpenHandles() + f.files.OpenHandles() + f.starter.OpenHandles() +
                      f.catalogs.OpenHandles() + f.signatures.OpenHandles() + f.memory.OpenHandles(),
                  0U);
        EXPECT_EQ(f.registry.Misuses() + f.files.Misuses() + f.starter.Misuses() + f.catalogs.Misuses() +
                      f.hasher.Misuses() + f.signatures.Misuses() + f.memory.Misuses(),
                  0U);
        Renew();
    }

    [[nodiscard]] std::u16string ScratchFolder() override { return kScratch; }
    void PutFile(const std::u16string& path, std::string_view bytes) override { fakes_->files.PutFile(path, bytes); }
    void MakeFolder(const std::u16string& path) override { fakes_->files.PutFolder(path); }
    void RemoveFile(const std::u16string& path) override { fakes_->files.Remove(path); }
    [[nodiscard]] std::string FileText(const std::u16string& path) override { return fakes_->files.Text(path); }
    [[nodiscard]] std::shared_ptr<void> HoldForWriting(const std::u16string& path) override {
        return fakes_->files.HoldForWriting(path);
    }
    [[nodiscard]] SystemError TryOpenForWriting(const std::u16string& path) override {
        return fakes_->files.TryChange(path);
    }
    [[nodiscard]] SystemError TryRemove(const std::u16string& path) override { return fakes_->files.TryChange(path); }
    [[nodiscard]] SystemError TryReplace(const std::u16string& path) override { return fakes_->files.TryChange(path); }
    [[nodiscard]] std::u16string ShortForm(const std::u16string& path) override {
        const std::u16string shortForm = kScratch + u"SHORT~1.TXT";
        fakes_->paths.longPaths[SimpleLower(shortForm)] = path;
        return shortForm;
    }

    [[nodiscard]] std::u16string ScratchKey() override { return u"Software\\Halvora contract"; }
    void PutBinaryValue(const std::u16string& keyPath, const std::u16string& name, std::size_t bytes) override {
        fakes_->registry.PutValue(RegistryRoot::LocalMachine, keyPath, name,
                                  {kValueBinary, std::vector<std::byte>(bytes)});
    }

    void SetEnvironment(const std::u16string& name, const std::u16string& value) override {
        fakes_->paths.environment[SimpleLower(name)] = value;
    }

    [[nodiscard]] std::u16string SignedFile() override { return u"C:\\Samples\\signed.dll"; }
    [[nodiscard]] std::u16string TamperedFile() override { return u"C:\\Samples\\tampered.dll"; }
    [[nodiscard]] std::u16string UnsignedFile() override { return u"C:\\Samples\\unsigned.dll"; }
    [[nodiscard]] std::map<std::string, std::u16string> SignerAttributes() override {
        return {{"2.5.4.3", u"Some Signer"}, {"2.5.4.11", u"Unit"}, {"2.5.4.10", u"Some Maker"},
                {"2.5.4.7", u"Town"},        {"2.5.4.8", u"State"}, {"2.5.4.6", u"XX"}};
    }

    [[nodiscard]] std::u16string ExecutablePath() override { return kExecutable; }
    [[nodiscard]] std::u16string HarmlessCommandLine() override { return u"\"" + kExecutable + u"\" /quiet"; }

    void WithDropList(const std::vector<std::u16string>* items, const std::function<void(DropList&)>& use) override {
        FakeDropList list;
        list.present = items != nullptr;
        if (items != nullptr) {
            list.items = *items;
        }
        use(list);
    }

private:
    // Fresh fakes, scripted to answer as the platform was seen to.
    void Renew() {
        fakes_ = std::make_unique<Fakes>();
        Fakes& f = *fakes_;
        f.files.PutFolder(kScratch);
        f.files.PutFile(kExecutable, "MZ host");
        f.files.PutFile(SignedFile(), "MZ signed");
        f.files.PutFile(TamperedFile(), "MZ tampered");
        f.files.PutFile(UnsignedFile(), "MZ unsigned");
        f.starter.files = &f.files;
        f.modules.paths[FakeModules::kOwn] = kExecutable;
        f.modules.paths[kMainExecutable] = kExecutable;
        f.processes.images[f.processes.currentId] = u"\\Device\\HarddiskVolume1" + kExecutable.substr(2);
        f.paths.dosDevices[u'C'] = u"\\Device\\HarddiskVolume1";
        f.clock.fileTime = 133'500'000'000'000'000;
        f.trust.SetFileAnswer(SignedFile(), 0);
        f.trust.SetFileAnswer(TamperedFile(), kAnswerBadDigest);
        FakeCertificate certificate{{"1.3.6.1.5.5.7.3.3"}, SignerAttributes(), {}};
        for (const auto& [identifier, value] : certificate.attributes) {
            certificate.subjectText += certificate.subjectText.empty() ? u"" : u"\r\n";
            certificate.subjectText += std::u16string(identifier.begin(), identifier.end()) + u'=' + value;
        }
        f.signatures.PutSignature(SignedFile(), certificate);
        f.signatures.PutSignature(TamperedFile(), certificate);
    }

    std::unique_ptr<Fakes> fakes_;
};

}  // namespace

ContractPlatform& Contract() {
    static FakeContractPlatform platform;
    return platform;
}

}  // namespace tests
