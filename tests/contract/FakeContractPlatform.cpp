// The contract suites' side of the fakes.
#include "tests/contract/ContractPlatform.h"
#include "tests/contract/ProtectionCounter_contract.h"
#include "tests/fakes/FakePlatform.h"
#include "tests/fakes/FakeProtectionCounter.h"

namespace tests {

namespace {

const std::u16string kScratch = u"C:\\Temp\\contract\\";
const std::u16string kExecutable = u"C:\\Program Files\\Host\\host.exe";
const std::u16string kVolume = u"\\Device\\HarddiskVolume1";

struct World : FakePlatform {
    FakeTextOutput text{disk};
    FakeTextRules japanese{*this};
};

class FakeContractPlatform final : public ContractPlatform {
public:
    [[nodiscard]] const Platform& Interfaces() override { return *world_; }
    [[nodiscard]] TextOutput& Text() override { return world_->text; }
    [[nodiscard]] TextRules& Japanese() override { return world_->japanese; }

    // A fresh platform, staged to answer as the real one was seen to.
    void SetUp() override {
        world_ = std::make_unique<World>();
        World& w = *world_;
        w.japanese.hasLeadBytes = true;
        w.disk.PutFolder(kScratch);
        w.modules.paths[FakeModules::kOwn] = kExecutable;
        w.processes.images[w.processes.CurrentId()] = kVolume + kExecutable.substr(2);
        w.pathForms.dosDevices[u'C'] = kVolume;
        w.system.fileTime = 133'500'000'000'000'000;
        w.desktop.systemTexts[{2U, std::uint16_t{0}}] = u"The file is not there.\r\n";
        w.disk.PutStrings(GermanModule(), {{1, u"Mit Halvora \u00FCber&pr\u00FCfen"}, {101, u"Halvora"}});
        FakeCertificate certificate{{"1.3.6.1.5.5.7.3.3"}, SignerAttributes(), {}};
        for (const auto& [identifier, value] : certificate.attributes) {
            certificate.subjectText += certificate.subjectText.empty() ? u"" : u"\r\n";
            certificate.subjectText += std::u16string(identifier.begin(), identifier.end()) + u'=' + value;
        }
        w.disk.PutFile(SignedFile(), "MZ signed");
        w.disk.PutFile(TamperedFile(), "MZ tampered");
        w.disk.PutFile(UnsignedFile(), "MZ unsigned");
        w.disk.Sign(SignedFile(), certificate);
        w.disk.Sign(TamperedFile(), certificate, kAnswerBadDigest);
    }
    void TearDown() override {
        world_->text.Close();
        EXPECT_EQ(world_->Leftovers(), "");
    }

    [[nodiscard]] std::u16string ScratchFolder() override { return kScratch; }
    void PutFile(const std::u16string& path, std::string_view bytes) override { world_->disk.PutFile(path, bytes); }
    void MakeFolder(const std::u16string& path) override { world_->disk.PutFolder(path); }
    [[nodiscard]] std::string FileText(const std::u16string& path) override { return world_->disk.Text(path); }
    [[nodiscard]] std::shared_ptr<void> HoldForWriting(const std::u16string& path) override {
        return world_->disk.HoldForWriting(path);
    }
    [[nodiscard]] SystemError TryWrite(const std::u16string& path) override { return world_->disk.TryWrite(path); }
    [[nodiscard]] SystemError TryRemove(const std::u16string& path) override { return world_->disk.TryRemove(path); }
    [[nodiscard]] SystemError TryReplace(const std::u16string& path) override { return world_->disk.TryRemove(path); }
    [[nodiscard]] std::u16string ShortForm(const std::u16string& path) override {
        world_->disk.PutShortName(path, u"SHORT~1.TXT");
        return kScratch + u"SHORT~1.TXT";
    }

    [[nodiscard]] std::u16string ScratchKey() override { return u"Software\\Halvora contract"; }
    void PutBinaryValue(const std::u16string& keyPath, const std::u16string& name, std::size_t bytes) override {
        world_->registry.PutValue(RegistryRoot::LocalMachine, keyPath, name,
                                  {kValueBinary, std::vector<std::byte>(bytes)});
    }

    void SetEnvironment(const char16_t* name, const std::u16string& value) override {
        world_->pathForms.environment[SimpleLower(name)] = value;
    }

    void PutModule(const std::u16string& path) override {
        world_->disk.PutModule(path, {{"GetFactory", reinterpret_cast<EntryPoint>(&Exported)}});
    }
    [[nodiscard]] bool IsLoaded(const std::u16string& path) override {
        return world_->modules.References(ModuleHandle{world_->disk.Find(path)->number}) != 0;
    }
    [[nodiscard]] std::u16string GermanModule() override { return u"C:\\German.dll"; }

    [[nodiscard]] std::u16string SignedFile() override { return u"C:\\Samples\\signed.dll"; }
    [[nodiscard]] std::u16string TamperedFile() override { return u"C:\\Samples\\tampered.dll"; }
    [[nodiscard]] std::u16string UnsignedFile() override { return u"C:\\Samples\\unsigned.dll"; }
    [[nodiscard]] std::map<std::string, std::u16string> SignerAttributes() override {
        return {{"2.5.4.3", u"Some Signer"}, {"2.5.4.11", u"Unit"}, {"2.5.4.10", u"Some Maker"},
                {"2.5.4.7", u"Town"},        {"2.5.4.8", u"State"}, {"2.5.4.6", u"XX"}};
    }
    void PutCatalog(const std::u16string& name, const std::vector<std::vector<std::byte>>& hashes) override {
        for (const std::vector<std::byte>& hash : hashes) {
            world_->disk.listings.push_back({u"C:\\Windows\\CatRoot\\" + name, hash, kAnswerNoSignature});
        }
    }

    [[nodiscard]] std::u16string ExecutablePath() override { return kExecutable; }
    [[nodiscard]] std::u16string HarmlessCommandLine() override { return u"\"" + kExecutable + u"\" /quiet"; }

    void WithDropList(const std::vector<std::u16string>* items, const std::function<void(DropList&)>& use) override {
        FakeDropList list(*world_, items == nullptr ? std::vector<std::u16string>() : *items);
        list.present = items != nullptr;
        use(list);
    }

private:
    static void Exported() {}

    std::unique_ptr<World> world_;
};

}  // namespace

ContractPlatform& Contract() {
    static FakeContractPlatform platform;
    return platform;
}

HVR::ProtectionCounter& ContractCounter() {
    static FakeCore core;
    static FakeProtectionCounter counter(core);
    return counter;
}

}  // namespace tests
