// The doctor over a whole installation that is broken in one place at a time.
#include "tools/zebdiag/Doctor.h"

#include <stdexcept>

#include "resources/ProductKey.h"
#include "shellext/RegistryScriptRunner.h"
#include "tests/verifytrust/TrustFixture.h"
#include "tslib/Utf8.h"
#include "tslib/tsVaneModuleFactory.h"

namespace tests {
namespace {

using namespace HVR::zebdiag;
using HVR::RegistryScriptRunner;

constexpr auto kClasses = RegistryRoot::ClassesRoot;
const std::u16string kProduct = u"C:\\Program Files\\Halvora\\";
const std::u16string kDll = kProduct + u"zebshell2.dll";
const std::u16string kAgent = kProduct + u"ScanAgent.exe";
const std::u16string kControlDll = kProduct + u"tsQrtCtl.dll";
const std::u16string kKernel = u"C:\\windows\\system32\\kernel32.dll";
const std::u16string kClsidKey = u"CLSID\\{8BEEE74D-455E-4616-A97A-F6E86C317F32}";
const std::u16string kMenuKey = u"*\\Shellex\\ContextMenuHandlers\\OrloMenu";
const std::u16string kExtensions = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\";
constexpr std::string_view kScript = R"(
HKCR { Zebshell.1 = s 'Class'
       NoRemove CLSID { ForceRemove {8BEEE74D-455E-4616-A97A-F6E86C317F32} = s 'Class'
                        { InprocServer32 = s '%MODULE%' { val ThreadingModel = s 'Apartment' } } }
       NoRemove * { NoRemove Shellex { NoRemove ContextMenuHandlers
                    { ForceRemove OrloMenu = s '{8BEEE74D-455E-4616-A97A-F6E86C317F32}' } } } }
HKLM { NoRemove SOFTWARE { NoRemove Microsoft { NoRemove Windows { NoRemove CurrentVersion { NoRemove 'Shell Extensions'
       { NoRemove Approved { ForceRemove val {8BEEE74D-455E-4616-A97A-F6E86C317F32} = s 'Menu' } } } } } } }
)";

struct AskedMenu final : ShellMenu {
    [[nodiscard]] const MenuContents& Contents() const override { return contents; }
    HResult InvokeVerb(std::size_t, const std::u16string&) override { return HResult::Fail; }
    HResult InvokeOffset(std::size_t, std::uint32_t) override { return HResult::Fail; }
    std::optional<std::size_t> Show(const std::function<void()>&,
                                    const std::function<void(const MenuItem&)>&) override {
        return std::nullopt;
    }
    StartedScanner Wait(std::uint32_t) override { return {}; }
    Texts Close() override { return {}; }
    MenuContents contents;
};

struct DoctorWorld final : TrustSystem, DoctorMachine, Console, Tracing {
    DoctorWorld() {
        PutLibrary(0x8664);
        HVR::ScriptProblem problem;
        const HVR::ScriptReplacement module[] = {{u"MODULE", kDll}};
        script = HVR::ParseRegistryScript(std::u16string(kScript.begin(), kScript.end()), module, problem).value();
        EXPECT_EQ(RegistryScriptRunner(registry, trace).Register(script), Success);
        for (const char16_t* token : {u"hvrlogdir", u"hvrconfigdir", u"hvrstatedir", u"hvrresdlldir", u"hvrdriverdir",
                                      u"hvrfeaturestatedir", u"appdata", u"vaneplatformengine", u"basedir"}) {
            PutToken(token, u"%INSTALLDIR%\\Data");
        }
        PutToken(u"installdir", u"C:\\Program Files\\Halvora");
        PutToken(u"tsrootx64", u"C:\\Program Files\\Halvora");
        registry.PutText(kMachine, HVR::kProductKey, u"Home Directory", kProduct);
        registry.PutValue(kMachine, HVR::kProductKey, u"Orientation", DwordValue(1));
        PutPolicy(u"AlternateTrustPolicy", DwordValue(1));
        for (const char16_t* language : {u"1031", u"1033"}) {
            PutSigned(Language(language));
            disk.PutStrings(Language(language), {{1, u"a"}, {2, u"b"}, {101, u"c"}, {102, u"d"}});
        }
        PutSigned(kAgent);
        disk.PutFolder(u"C:\\Temp");
        // Modules that make nothing.
        const GetFactoryFunction getFactory = [](const ObjectId&, IFactory**) { return VaneResult::NoInterface; };
        const GetObjectCountFunction getCount = []() -> std::uint32_t { return 0; };
        for (const std::u16string& path : {kProduct + u"tsVrTrst.dll", kProduct + u"tsSet.dll", kControlDll}) {
            PutSigned(path);
            disk.PutModule(path, {{"GetFactory", reinterpret_cast<EntryPoint>(getFactory)},
                                  {"GetObjectCount", reinterpret_cast<EntryPoint>(getCount)}});
        }
        registry.PutText(kMachine, kHive + u"\\" + kSilo + u"\\OBJID\\{3FBFA03C-4417-4069-AEB4-19A75A170744}",
                         u"InProc64", u"%TSROOTX64%\\tsQrtCtl.dll", kKeyView32);
        disk.PutFile(kKernel, "system");
        disk.List(kKernel, kCatalog);
    }
    static std::u16string Language(const std::u16string& number) {
        return kProduct + u"res\\" + number + u"\\ZebShellRes.dll";
    }
    void PutLibrary(unsigned processor) {
        std::string bytes(0x100, '\0');
        bytes.replace(0, 2, "MZ").replace(0x3C, 1, "\x80").replace(0x80, 2, "PE");
        bytes[0x84] = static_cast<char>(processor & 0xFF);
        bytes[0x85] = static_cast<char>(processor >> 8);
        disk.PutFile(kDll, bytes);
        disk.Sign(kDll, OurCertificate());
    }
    void RemoveValue(const std::u16string& path, const std::u16string& name, std::uint32_t view = 0) {
        OwnedRegistryKey key(registry);
        EXPECT_EQ(registry.OpenKey(kMachine, path, kKeyRead | kKeyWrite | view, key.Receive()), Success);
        EXPECT_EQ(registry.DeleteValue(key.Get(), name), Success);
    }

    SystemError ReadResource(const std::u16string& path, const std::u16string& type, std::uint16_t,
                             std::vector<std::byte>& bytes) override {
        // A version resource: a header, the mark, the structure's version, and 2.1.4.3.
        bytes = ToBytes(type == u"REGISTRY" ? kScript
                                            : std::string_view("head\xBD\x04\xEF\xFE\0\0\1\0\1\0\2\0\3\0\4\0", 20));
        return disk.Exists(path) ? Success : FileNotFound;
    }
    SystemError TryWriting(const std::u16string&) override { return writing; }
    std::unique_ptr<ShellMenu> MakeMenu(const RegisteredHandler& handler, const std::u16string&) override {
        ++menusMade;
        if (!hasMenus) {
            throw std::runtime_error("no apartment");
        }
        auto menu = std::make_unique<AskedMenu>();
        menu->contents = {{{handler, menuResult, menuStep, 0, addsItem ? 1U : 0U}}, {}, {}};
        if (addsItem) {
            menu->contents.items.push_back({false, u"&Scan", 0, {}, {}});
        }
        return menu;
    }
    SystemError IsProtectionSuspended(bool& suspended) override {
        suspended = isSuspended;
        return Success;
    }
    void Out(std::string_view line) override { out.append(line).append("\n"); }
    void Err(std::string_view line) override { out.append("! ").append(line).append("\n"); }
    void Show() override {}
    [[nodiscard]] std::string LastError() const override { return {}; }
    [[nodiscard]] bool ShowsColours() const override { return hasColours; }
    ExitCode Run(Texts arguments) {
        out.clear();
        Program program(*this, *this);
        AddDoctorVerb(program, *this, *this, [](const std::u16string& path) { return u"C:\\" + path; });
        arguments.insert(arguments.begin(), u"doctor");
        return program.Call(arguments);
    }

    HVR::RegistryScript script;
    SystemError writing = Success;
    bool hasMenus = true;
    HResult menuResult = HResult::Ok;
    std::string menuStep;
    bool addsItem = true;
    int menusMade = 0;
    bool isSuspended = false;
    bool hasColours = false;
    std::string out;
};

struct Broken {
    std::string id;
    std::string word;  // of the fact
    std::function<void(DoctorWorld&)> breakIt;
    Verdict verdict = Verdict::Fault;
    bool keepsFromLoading = false;
};

// Nothing else may be found at fault. A library that is not trusted, or that is another one, is never loaded.
TEST(Doctor, WhatIsBroken_IsNamed_AndNothingElse) {
    using W = DoctorWorld;
    const auto fail = [](HResult result, const char* step) {
        return [=](W& world) { world.menuResult = result, world.menuStep = step, world.addsItem = false; };
    };
    const Broken rows[] = {
        {"library.file", "error 2", [](W& world) { world.disk.Remove(kDll); }},
        {"library.signature", "0x80096010", [](W& world) { world.disk.SetAnswer(kDll, kAnswerBadDigest); },
         Verdict::Fault, true},
        {"library.signature", "not trusted (3)", [](W& world) { world.disk.Sign(kDll, ForeignCertificate()); }},
        {"library.bitness", "32 bits", [](W& world) { world.PutLibrary(0x14C); }},
        {"registration.class", "not registered",
         [](W& world) { EXPECT_EQ(RegistryScriptRunner(world.registry, world.trace).Remove(world.script), Success); }},
        {"registration.class", "Zebshell.1 is missing",
         [](W& world) { world.registry.RemoveKey(kClasses, u"Zebshell.1"); }},
        {"registration.class", "32-bit view alone",
         [](W& world) {
             world.registry.RemoveKey(kClasses, kClsidKey);
             world.registry.PutKey(kClasses, kClsidKey, kKeyView32);
         }},
        {"registration.server", "\"C:\\old.dll\" instead of",
         [](W& world) { world.registry.PutText(kClasses, kClsidKey + u"\\InprocServer32", u"", u"C:\\old.dll"); },
         Verdict::Fault, true},
        {"registration.class", "(HKCU\\Software\\Classes), which",
         [](W& world) {
             world.registry.PutText(kClasses, u"Zebshell.1", u"", u"Other");
             world.registry.PutKey(RegistryRoot::CurrentUser, u"Software\\Classes\\Zebshell.1");
         }},
        {"registration.server", "ThreadingModel is \"Both\"",
         [](W& world) {
             world.registry.PutText(kClasses, kClsidKey + u"\\InprocServer32", u"ThreadingModel", u"Both");
         }},
        {"registration.handlers", "OrloMenu is missing",
         [](W& world) { world.registry.RemoveKey(kClasses, kMenuKey); }},
        {"registration.approved", "F32} is missing",
         [](W& world) { world.RemoveValue(kExtensions + u"Approved", tsLib::ToText(kHandlerClass)); }},
        {"registration.blocked", "HKCU",
         [](W& world) {
             world.registry.PutText(RegistryRoot::CurrentUser, kExtensions + u"Blocked", tsLib::ToText(kHandlerClass),
                                    u"");
         }},
        {"isolation.file", "no isolate.ini", [](W& world) { world.disk.Remove(W::kIni); }},
        {"isolation.file", "no good", [](W& world) { world.PutIni("[isolation]\r\nsilo={1}\r\n"); }},
        {"paths.map", "PathExpansionMap cannot be opened, error 2", [](W& world) { world.RemoveMap(); }},
        {"paths.tokens", "%installdir% is not in the map",
         [](W& world) { world.RemoveValue(W::kMap, u"installdir", kKeyView32); }},
        {"paths.tokens", "%tsrootx64% leads to itself", [](W& world) { world.PutToken(u"tsrootx64", u"%TSROOTX64%"); }},
        {"paths.tokens", "partner in 50%", [](W& world) { world.PutToken(u"installdir", u"50%"); }},
        {"resources.folder", "Home Directory",
         [](W& world) { world.RemoveValue(HVR::kProductKey, u"Home Directory"); }},
        {"resources.languages", "1031\\ZebShellRes.dll: its signature is refused",
         [](W& world) { world.disk.SetAnswer(W::Language(u"1031"), kAnswerBadDigest); }},
        {"resources.languages", "no text 102",
         [](W& world) {
             world.disk.PutStrings(W::Language(u"1033"), {{1, u"a"}, {2, u"b"}, {101, u"c"}});
         }},
        {"resources.languages", "there is none below",
         [](W& world) {
             world.disk.Remove(W::Language(u"1031"));
             world.disk.Remove(W::Language(u"1033"));
         }},
        {"resources.languages", "1031\\ZebShellRes.dll is not there",
         [](W& world) { world.disk.Remove(W::Language(u"1031")); }, Verdict::Remark},
        {"handler.object", "CoCreateInstance failed with 0x80004002", fail(HResult::NoInterface, "CoCreateInstance")},
        {"handler.item", "QueryContextMenu failed", fail(HResult::Fail, "QueryContextMenu")},
        {"handler.item", "adds nothing", fail(HResult::Ok, "")},
        {"handler.object", "no apartment", [](W& world) { world.hasMenus = false; }, Verdict::NotKnown},
        {"scan.orientation", "is 5134",
         [](W& world) { world.registry.PutValue(W::kMachine, HVR::kProductKey, u"Orientation", DwordValue(5134)); }},
        {"scan.orientation", "error 2", [](W& world) { world.RemoveValue(HVR::kProductKey, u"Orientation"); }},
        {"scan.scanner", "not there, error 2", [](W& world) { world.disk.Remove(kAgent); }},
        {"scan.signature", "0x800B0100", [](W& world) { world.PutUnsigned(kAgent); }},
        {"scan.start", "no plain path",
         [](W& world) { world.PutToken(u"installdir", u"\\\\?\\C:\\Program Files\\Halvora"); }},
        {"scan.temporary", "longer than 260", [](W& world) { world.system.temporaryLength = 261; }},
        {"scan.temporary", "C:\\Temp is not there", [](W& world) { world.disk.Remove(u"C:\\Temp"); }},
        {"scan.temporary", "written, error 5", [](W& world) { world.writing = AccessDenied; }},
        {"components.module", "tsQrtCtl.dll is not there", [](W& world) { world.disk.Remove(kControlDll); }},
        {"components.module", "not trusted (3), entry points not looked at",
         [](W& world) { world.disk.SetAnswer(kControlDll, kAnswerBadDigest); }},
        {"components.module", "both missing", [](W& world) { world.disk.PutModule(kControlDll); }},
        {"components.module", "tsSet.dll is not there", [](W& world) { world.disk.Remove(kProduct + u"tsSet.dll"); },
         Verdict::Remark},
        {"protection.suspended", "suspended", [](W& world) { world.isSuspended = true; }},
        {"trust.catalogs.sha256", "AcquireContext2: not there; ",
         [](W& world) { world.disk.listings.clear(), world.catalogs.hasSha256Context = false; }, Verdict::Remark},
    };
    for (const Broken& row : rows) {
        SCOPED_TRACE(row.id + ": " + row.word);
        DoctorWorld world;
        row.breakIt(world);
        const Diagnosis diagnosis = Diagnose(world, world, kDll);
        EXPECT_EQ(diagnosis.Worst(), row.verdict);
        bool isNamed = false;
        std::string told;
        for (const Finding& finding : diagnosis.findings) {
            isNamed = isNamed || (finding.id == row.id && finding.verdict == row.verdict &&
                                  finding.fact.find(row.word) != std::string::npos);
            EXPECT_TRUE(finding.verdict != Verdict::Fault || finding.id == row.id)
                << finding.id << ": " << finding.fact;
            EXPECT_TRUE(finding.verdict != Verdict::Fault || !finding.advice.empty()) << finding.id;
            told += finding.id + ", " + std::string(Name(finding.verdict)) + ": " + finding.fact + "\n";
        }
        EXPECT_TRUE(isNamed) << told;
        EXPECT_TRUE(!row.keepsFromLoading || world.menusMade == 0);
    }
}

TEST(Doctor, Whole_IsFine_AndTellsWhatItFound) {
    DoctorWorld world;
    EXPECT_EQ(world.Run({}), ExitCode::Yes);
    EXPECT_EQ(world.out.find("fault   "), std::string::npos) << world.out;
    for (const char* fact :
         {"zebshell2.dll, the registered one\n", "\n           2.1.4.3\n", "\"&Scan\" was added",
          "2 modules, trusted and with all texts: 1031, 1033", "32-bit view\n",
          "catalog: error 0, C:\\Windows\\one.cat; end of the catalogs: error 1168; verdict by the first: 0x0000",
          "a click would start \"C:\\Program Files\\Halvora\\ScanAgent.exe\" /UTF8",
          "\n0 fault, 0 not known, 0 remark, "}) {
        EXPECT_NE(world.out.find(fact), std::string::npos) << fact << "\n" << world.out;
    }
    EXPECT_EQ(world.out.find('\x1B'), std::string::npos);
    EXPECT_TRUE(world.processes.asked.empty());
    world.hasColours = true;
    EXPECT_EQ(world.Run({}), ExitCode::Yes);
    EXPECT_TRUE(world.out.starts_with("\x1B[32mfine       \x1B[0mThe library (library.file)\n"));

    // The server's short name, and another letter case, are the same file.
    world.disk.PutShortName(u"C:\\Program Files", u"PROGRA~1");
    world.registry.PutText(kClasses, kClsidKey + u"\\InprocServer32", u"", u"C:\\PROGRA~1\\HALVORA\\zebshell2.dll");
    EXPECT_EQ(Diagnose(world, world, kDll).Worst(), Verdict::Fine);

    // Where none is registered, the library beside the program is meant.
    world.registry.RemoveKey(kClasses, kClsidKey);
    EXPECT_EQ(world.Run({u"--json"}), ExitCode::No);
    EXPECT_TRUE(
        world.out.starts_with("{\"version\":\"\",\"library\":\"C:\\\\Program Files\\\\Host\\\\zebshell2.dll\","
                              "\"checks\":[{\"id\":\"library.file\",\"title\":\"The library\","
                              "\"verdict\":\"fault\",\"fact\":\""))
        << world.out;
    EXPECT_TRUE(world.out.ends_with("],\"worst\":\"fault\"}\n"));
    EXPECT_EQ(world.Run({u""}), ExitCode::Usage);
}

}  // namespace
}  // namespace tests
