// The contract suites' side of the fakes.
#include "tests/contract/ContractPlatform.h"
#include "tests/fakes/FakePlatform.h"

namespace tests {

namespace {

const std::u16string kSamples = u"C:\\Samples\\";
const std::u16string kVolume = u"\\Device\\HarddiskVolume1";

struct World : FakePlatform {
    FakeTextOutput text{disk};
    FakeTextRules japanese{*this};
};
std::unique_ptr<World> world;

}  // namespace

// Staged to answer as the real platform was seen to.
ContractTest::ContractTest()
    : Platform(*(world = std::make_unique<World>())),
      output(world->text),
      japanese(world->japanese),
      executable(world->modules.paths[FakeModules::kExecutable]),
      germanModule(u"C:\\German.dll"),
      samples(kSamples),
      folder(u"C:\\Temp\\contract\\"),
      scratch(u"Software\\Halvora contract") {
    World& w = *world;
    w.japanese.hasLeadBytes = true;
    w.disk.PutFolder(folder);
    w.modules.paths[FakeModules::kOwn] = executable;
    w.processes.images[w.processes.CurrentId()] = kVolume + executable.substr(2);
    w.pathForms.dosDevices[u'C'] = kVolume;
    w.system.fileTime = 133'500'000'000'000'000;
    w.desktop.systemTexts[{2U, std::uint16_t{0}}] = u"The file is not there.\r\n";
    w.disk.PutStrings(germanModule, {{1, u"Mit Halvora \u00FCber&pr\u00FCfen"}, {101, u"Halvora"}});
    FakeCertificate certificate{{"1.3.6.1.5.5.7.3.3"}, SignerAttributes(), {}};
    for (const auto& [identifier, value] : certificate.attributes) {
        certificate.subjectText += certificate.subjectText.empty() ? u"" : u"\r\n";
        certificate.subjectText += std::u16string(identifier.begin(), identifier.end()) + u'=' + value;
    }
    for (const char16_t* const name : {u"good.exe", u"tampered.exe", u"unsigned.exe"}) {
        w.disk.PutFile(samples + name);
    }
    w.disk.Sign(samples + u"good.exe", certificate);
    w.disk.Sign(samples + u"tampered.exe", certificate, kAnswerBadDigest);
}
ContractTest::~ContractTest() {
    output.Close();
    EXPECT_EQ(world->Leftovers(), "");
}

void ContractTest::PutFile(const std::u16string& path, std::string_view bytes) { world->disk.PutFile(path, bytes); }
void ContractTest::MakeFolder(const std::u16string& path) { world->disk.PutFolder(path); }
void ContractTest::PutModule(const std::u16string& path) {
    world->disk.PutModule(path, {{"GetFactory", [] {}}});
}
std::string ContractTest::FileText(const std::u16string& path) { return world->disk.Text(path); }
SystemError ContractTest::TryRemove(const std::u16string& path) { return world->disk.TryRemove(path); }
std::pair<SystemError, std::shared_ptr<void>> ContractTest::TryWrite(const std::u16string& path) {
    const SystemError error = world->disk.TryWrite(path);
    return {error, Failed(error) ? nullptr : world->disk.HoldForWriting(path)};
}
SystemError ContractTest::TrySwap(const std::u16string& one, const std::u16string& other) {
    return world->disk.TrySwap(one, other);
}
void ContractTest::PutBinaryValue(const char16_t* name, std::size_t bytes) {
    world->registry.PutValue(RegistryRoot::LocalMachine, scratch, name, {kValueBinary, Bytes(bytes)});
}
void ContractTest::SetEnvironment(const char16_t* name, const std::u16string& value) {
    world->pathForms.environment[SimpleLower(name)] = value;
}
void ContractTest::PutCatalog(const char16_t* name) {
    world->disk.List(kSamples + u"unsigned.exe", u"C:\\Windows\\CatRoot\\" + std::u16string(name));
}

}  // namespace tests
