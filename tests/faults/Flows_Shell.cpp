// What the shell extension does: registration, a click, the strings of its language, its page.
#include "companions/pages/PageContent.h"
#include "companions/pages/resource.h"
#include "resources/RefCountedAtlResourceLoader.h"
#include "resources/ResourceLoader.h"
#include "shellext/MenuCommand.h"
#include "shellext/OrientationSetting.h"
#include "shellext/RegistryScriptRunner.h"
#include "shellext/ScanRequest.h"
#include "tests/fakes/FakeShell.h"
#include "tests/faults/Flow.h"

namespace tests {
namespace {

constexpr char16_t kScript[] =
    u"HKCR { NoRemove CLSID { ForceRemove {X} = s 'c' { P = s '%MODULE%' val T = s 'A' } } Q = s 'q' { val V = d 1 } "
    u"Delete Old }";

struct ScriptFlow : Flow {
    ScriptFlow() {
        HVR::ScriptProblem problem;
        const HVR::ScriptReplacement module[] = {{u"MODULE", u"C:\\Program Files\\Halvora\\zebshell2.dll"}};
        script = HVR::ParseRegistryScript(kScript, module, problem).value();
        registry.PutKey(RegistryRoot::ClassesRoot, u"CLSID\\{X}\\Old\\Deep");
        registry.PutKey(RegistryRoot::ClassesRoot, u"Old\\Deep");
        FakePlatform other;
        EXPECT_EQ(HVR::RegistryScriptRunner(other.registry, other.trace).Register(script), SystemError::Success);
        complete = other.registry.Contents();
        std::erase_if(complete, [](const auto& key) { return !IsClass(key.first); });
    }
    static bool IsClass(const std::u16string& key) { return key.starts_with(u"hklm\\software\\classes"); }
    std::map<std::u16string, FakeRegistry::Values> Classes() const {
        auto contents = registry.Contents();
        std::erase_if(contents, [](const auto& key) { return !IsClass(key.first); });
        return contents;
    }
    HVR::RegistryScript script;
    HVR::RegistryScriptRunner runner{registry, trace};
    std::map<std::u16string, FakeRegistry::Values> complete;
};

struct Registering : ScriptFlow {
    std::string Run() override {
        const SystemError error = runner.Register(script);
        return Told(error, Classes() == complete ? "complete" : "not all");
    }
    bool IsDocumented(const std::string& answer, SystemError met) const override {
        // What the platform calls absent counts as taken away.
        return ScriptFlow::IsDocumented(answer, met) || (answer == "not all" && met == SystemError::FileNotFound);
    }
};

struct Unregistering : ScriptFlow {
    void Prepare() override { EXPECT_EQ(runner.Register(script), SystemError::Success); }
    std::string Run() override {
        const SystemError error = runner.Remove(script);
        const auto left = Classes();
        EXPECT_TRUE(left.contains(u"hklm\\software\\classes\\clsid"));
        return Told(error, left.size() == 2 ? "gone" : "not all");
    }
    bool IsDocumented(const std::string& answer, SystemError met) const override {
        const bool isLeft = met == SystemError::FileNotFound || met == SystemError::KeyHasChildren || met == kAll;
        return ScriptFlow::IsDocumented(answer, met) || (answer == "not all" && isLeft);
    }
};

// The menu, its help, the scan, the list file and the scanner's verdict.
struct Clicking : Flow {
    inline static const std::u16string kScanner = u"C:\\Program Files\\Halvora\\ScanAgent.exe";
    inline static const std::u16string kCommand =
        u"\"" + kScanner + u"\" /UTF8 /Async /RightClickScan \"C:\\Temp\\ScanList742\"";

    explicit Clicking(std::uint32_t orientation = 1) {
        disk.PutFile(kScanner, "MZ");
        disk.Sign(kScanner, OurCertificate());
        disk.PutFolder(u"C:\\Temp");
        disk.PutStrings(u"C:\\res.dll", {{1, u"&Scan"}, {2, u"Help"}, {101, u"Halvora"}, {102, u"No"}});
        EXPECT_EQ(modules.MapResources(u"C:\\res.dll", strings), SystemError::Success);
        static_cast<void>(instance.Exchange(strings));
        registry.PutValue(kMachine, HVR::kProductKey, HVR::kOrientationValue, DwordValue(orientation));
        processes.onStart = [this] { EXPECT_EQ(disk.TryWrite(kScanner), SystemError::SharingViolation); };
        // Without the resolver's answer there is another one.
        registry.PutText(kMachine, u"Software\\Corvane\\InstalledApps", u"NimEdge", u"C:\\Program Files\\Halvora\\");
    }
    ~Clicking() override { modules.DropResources(strings); }
    void Prepare() override {
        shell.items.clear();
        shell.givenBack.clear();
        shell.entered = shell.left = 0;
        processes.asked.clear();
        desktop.boxes.clear();
        disk.Remove(u"C:\\Temp\\ScanList742");
    }
    std::string Run() override {
        Words answer;
        FakeTextOutput output(disk);
        FakeDropList drops(*this, {u"C:\\one item that is too long for a short text", u"C:\\two"});
        bool scans = false;
        {
            HVR::MenuCommand command(*this, instance, shell);
            answer << command.Initialize(kSelection) << ", ";
            answer << command.AddItem(kMenu, 3, 100, 0) << " item, ";
            char help[8] = "?";
            answer << command.GetText(HVR::kCommandHelpNarrow, help, 8) << ' ' << help << ", ";
            EXPECT_TRUE(help[0] == '\0' || std::string(help) == "Help");
            answer << command.Invoke({56, 0, 0, 0}, scans) << ", ";
        }
        EXPECT_EQ(shell.entered, shell.left);
        static const Texts kMenus{u"", u"--3 removed 3", u"--3+4:100 &Scan"};
        EXPECT_EQ(std::ranges::count(kMenus, shell.items), 1) << "this menu must never be";
        answer << (shell.items.ends_with(u'n') ? "menu, " : "no menu, ");
        if (scans) {
            const HResult result = request.Scan(drops, output);
            EXPECT_TRUE(Succeeded(result) || result == HResult::Unexpected || result == HResult::OutOfMemory);
            answer << result;
        }
        EXPECT_FALSE(output.IsOpen());
        const std::string list = disk.Text(u"C:\\Temp\\ScanList742");
        const std::string lines[] = {"C:\\one item that is too long for a short text\r\n", "C:\\two\r\n"};
        answer << (list == lines[0] + lines[1] ? ", list" : "");
        // What is in the list is a beginning of it, or lacks an item.
        EXPECT_TRUE((lines[0] + lines[1]).starts_with(list) || lines[1].starts_with(list));
        for (const auto& asked : processes.asked) {
            EXPECT_EQ(asked.commandLine, kCommand);
        }
        answer << (processes.asked.empty() ? "" : ", started") << (desktop.boxes.empty() ? "" : ", told");
        return answer.str();
    }
    bool IsDocumented(const std::string&, SystemError) const override { return true; }  // the parts are looked at

    FakeShell shell{*this};
    ModuleHandle strings{};
    HVR::ResourceInstance instance{ModuleHandle{}};
    HVR::ScanRequest request{*this, expansion, trust};
};

struct ClickRefused : Clicking {
    ClickRefused() : Clicking(HVR::kOrientationRefusal) {}
    std::string Run() override {
        const std::string answer = Clicking::Run();
        EXPECT_TRUE(processes.asked.empty());
        EXPECT_FALSE(disk.Exists(u"C:\\Temp\\ScanList742"));
        return answer;
    }
};

// Found, trusted, mapped with protection suspended, read, given back; then known again.
struct LanguageStrings : Flow {
    LanguageStrings() {
        EXPECT_TRUE(MakeControl());
        registry.PutText(kMachine, HVR::kProductKey, u"Home Directory", u"C:\\Prog");
        system.fileTime = 133'600'000'000'000'000;
        desktop.systemLanguage = 1036;
        for (const auto* language : {u"1033", u"1036"}) {
            const std::u16string path = u"C:\\Prog\\res\\" + std::u16string(language) + u"\\ZebShellRes.dll";
            disk.PutStrings(path, {{1, u"%1 in " + std::u16string(language)}});
            disk.Sign(path, OurCertificate());
        }
    }
    void Prepare() override { desktop.boxes.clear(); }
    std::string Run() override {
        Words answer;
        for (int round = 0; round < 2; ++round) {
            struct Reference {
                explicit Reference(HVR::CRefCountedResourceLoader& of) : shared(of) { EXPECT_EQ(shared.Acquire(), 1U); }
                ~Reference() { EXPECT_EQ(shared.Release(), 0U); }
                HVR::CRefCountedResourceLoader& shared;
            };
            EXPECT_EQ(instance.Get(), FakeModules::kOwn);
            const Reference reference(shared);
            answer << shared.Result();
            EXPECT_EQ(instance.Get() != FakeModules::kOwn, Succeeded(shared.Result()));
            std::u16string text;
            std::string narrow;
            const std::u16string inserts[] = {u"an insert that is too long for any small buffer"};
            const bool formatted = loader.FormatString(1, text, inserts);
            EXPECT_TRUE(!formatted || (text.starts_with(inserts[0] + u" in 103") && Succeeded(shared.Result())));
            const bool loaded = loader.LoadString(1, narrow);
            EXPECT_TRUE(!loaded || narrow.starts_with("%1 in 103"));
            answer << ' ' << (formatted ? static_cast<char>(text.back()) : '-') << (loaded ? narrow.back() : '-')
                   << "; ";
        }
        EXPECT_EQ(instance.Get(), FakeModules::kOwn);
        EXPECT_LE(desktop.boxes.size(), 2U);
        return answer.str();
    }
    bool IsDocumented(const std::string&, SystemError) const override { return true; }

    HVR::ResourceInstance instance{FakeModules::kOwn};
    HVR::FailureBox box{desktop};
    HVR::CResourceLoader loader{*this, FakeModules::kOwn, u"ZebShellRes.dll", trust, components};
    HVR::CRefCountedAtlResourceLoader shared{&loader, true, instance, trace, &box};
};

// No module: the report about it.
struct StringsMissing : LanguageStrings {
    StringsMissing() {
        loader.LeaveBoxTo(box);
        for (const auto* language : {u"1033", u"1036"}) {
            disk.Remove(u"C:\\Prog\\res\\" + std::u16string(language) + u"\\ZebShellRes.dll");
        }
        desktop.systemTexts[{0x80030002, std::uint16_t{0}}] = u"%1 is not there";
    }
    void Prepare() override { desktop.marks.clear(); }
    std::string Run() override {
        desktop.boxes.clear();
        const std::string answer = LanguageStrings::Run();
        EXPECT_EQ(answer.find('3'), answer.npos);
        for (const auto& shown : desktop.boxes) {
            EXPECT_TRUE(shown.text.ends_with(u" is not there"));
        }
        return answer + (desktop.boxes.empty() ? "" : "told");
    }
};

// The page of a computer whose settings allow no scan.
struct Page : Flow {
    Page() {
        registry.PutText(kMachine, HVR::kProductKey, u"Home Directory", u"C:\\Prog");
        registry.PutValue(kMachine, HVR::kProductKey, HVR::kOrientationValue, DwordValue(HVR::kOrientationRefusal));
        disk.PutStrings(u"C:\\pages.dll",
                        {{TEXT_UNKNOWN, u"not known"}, {TEXT_ALLOWED, u"yes"}, {TEXT_REFUSED, u"no"}});
        EXPECT_EQ(modules.MapResources(u"C:\\pages.dll", words), SystemError::Success);
    }
    ~Page() override { modules.DropResources(words); }
    std::string Run() override {
        std::map<int, std::u16string> page;
        for (const auto& [control, text] : HVR::MakePageContent(registry, modules, words, u"1", HVR::kSelectionPage)) {
            page[control] = text;
        }
        EXPECT_NE(page[PAGE_STATE], u"yes");
        const std::u16string& folder = page[PAGE_FOLDER];
        return folder == u"C:\\Prog" ? "known" : folder.empty() || folder == u"not known" ? "not known" : "wrong";
    }
    bool IsDocumented(const std::string& answer, SystemError) const override { return answer == "not known"; }

    ModuleHandle words{};
};

}  // namespace

std::vector<FlowEntry> ShellFlows() {
    return {Entry<Registering>("Register"),
            Entry<Unregistering>("Unregister"),
            Entry<Clicking>("Click"),
            Entry<ClickRefused>("ClickRefused"),
            Entry<LanguageStrings>("Strings"),
            Entry<StringsMissing>("StringsMissing"),
            Entry<Page>("Page")};
}

}  // namespace tests
