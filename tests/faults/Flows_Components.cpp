// What the library below does: paths, components, settings, protection; and the stand-in scanner.
#include "companions/scanagent/ScanAgent.h"
#include "resources/DisableAutoProtect.h"
#include "tests/fakes/FakeScanFiles.h"
#include "tests/faults/Flow.h"
#include "tslib/tsVaneDllLifetimeMgrLocal.h"

namespace tests {
namespace {

struct Expanding : Flow {
    Expanding() {
        system.specialFolders[0x23] = u"C:\\All";
        PutTokenAsSubkey(u"csidl_fonts", u"D:\\Fonts");
        system.defaultFolders[0x14] = u"C:\\Fonts";
    }
    std::string Run() override {
        std::u16string out = u"before";
        const bool expanded = expansion.Expand(kInput, out);
        const std::u16string whole =
            u"C:\\windows\\C:\\All\\Corvane\\" + kSilo + u"\\C:\\Program Files\\Halvora\\D:\\Fonts";
        EXPECT_TRUE(expanded || out == kInput || out.empty());
        return !expanded ? "not expanded" : out == whole ? "expanded" : "expanded otherwise";
    }
    // Only for an entry that is not there another folder may stand.
    bool IsDocumented(const std::string& answer, SystemError met) const override {
        return answer == "not expanded" || met == SystemError::FileNotFound;
    }

    const std::u16string kInput = u"%CSIDL_WINDOWS%\\%COMMON_SILO_DATA%\\%InstallDir%\\%CSIDL_FONTS%";
};

struct Resolving : Flow {
    std::string Run() override {
        Words answer;
        VaneRef<HVR::IProductInstallPathResolver> resolver;
        answer << Number(
            components.Create(HVR::CLSID_ProductInstallPathResolver, HVR::kIProductInstallPathResolverId, resolver));
        const std::u16string product = u"C:\\Program Files\\Halvora\\";
        for (const auto& [kind, whole] : {std::pair(HVR::kInstallFolder, product + u"HvrBoot.sys"),
                                          {HVR::kHelpFolder, product + u"Help\\HvrBoot.sys"},
                                          {HVR::kDriverFolder, u"C:\\windows\\system32\\drivers\\HvrBoot.sys"}}) {
            char16_t* path = nullptr;
            const HResult result = resolver ? resolver->GetPath(kind, "HvrBoot.sys", &path, 0) : HResult::Fail;
            EXPECT_EQ(path != nullptr, Succeeded(result));
            EXPECT_TRUE(path == nullptr || path == whole);
            system.Free(path);
            answer << (Failed(result) ? " none" : " path");
        }
        return answer.str();
    }
    bool IsDocumented(const std::string& answer, SystemError) const override {
        return answer.find("none") != answer.npos;
    }
};

// By a setting that goes before the registry's entry: read through the store, verified, loaded, asked for an object.
struct Creating : Flow {
    Creating() {
        trace.enabled = true;
        PutModule<14>(u"sample.dll", sampleObjects);
        PutObject(kSampleId, u"D:\\registry.dll");
        registry.PutText(kMachine, ComponentWorld::kSettings + u"\\" + ToText(kSampleId), u"InProc64",
                         u"%TSROOTX64%\\sample.dll", kKeyView32);
    }
    void Prepare() override {
        trace.records.clear();
        files.attributeReads.clear();
    }
    void Recover() override { EXPECT_FALSE(repository.Exists(kOtherId)); }  // reads the lists again
    std::string Run() override {
        const VaneResult result = Created(components, kSampleId);
        // The registry's entry stands for the store's only when a record says that this one could not be read.
        EXPECT_TRUE(std::ranges::count(files.attributeReads, u"D:\\registry.dll") == 0 ||
                    trace.Count(TraceEvent::RepositoryStoreFailed) == 1 ||
                    trace.Count(TraceEvent::RepositoryStoreSkipped) == 1);
        return Told(result, "created");
    }

    ComponentModule sampleObjects{{{kSampleId, &MakeCounted<CSample>}}};
};

// A reference on the module that an address lies in, which an old system has no function for.
template <bool old>
struct Holding : Flow {
    Holding() {
        modules.hasAddressFunction = !old;
        disk.PutFile(u"D:\\sample.dll");
        const ModuleHandle module = disk.PutModule(u"D:\\sample.dll");
        modules.paths[module] = u"D:\\sample.dll";
        modules.ranges.push_back({0x20000, 0x30000, module});
    }
    std::string Run() override {
        MainExecutable executable{modules};  // another one each time: it is asked for once
        tsVaneDllLifetimeMgrLocal manager(modules, trace, executable, reinterpret_cast<const void*>(0x20010));
        const VaneResult result = manager.TakeReference();
        EXPECT_EQ(OpenHandles("module"), Succeeded(result) ? 1U : 0U);
        return Told(result, "held");
    }
};

struct Settings : Flow {
    void Prepare() override {
        if (!settings) {
            settings = VaneRef<ISettingsStore>(MakeCounted<HVR::CSettingsStore>(objects, *this, isolation, objects));
            VaneRef<ISettingsKey> key;
            EXPECT_EQ(settings->OpenForWriting(u"A\\B", key.Receive()), VaneResult::Success);
            EXPECT_EQ(key->WriteText(u"T", u"text"), VaneResult::Success);
        }
    }
    std::string Run() override {
        VaneResult result = VaneResult::Success;
        char16_t text[16] = u"";
        {
            VaneRef<ISettingsEnumeration> list;
            VaneRef<ISettingsKey> key;
            std::uint32_t count = 0;
            const auto then = [&](auto&& step) { result = Succeeded(result) ? step() : result; };
            then([&] { return settings->OpenForEnumeration(u"A", list.Receive()); });
            then([&] { return list->SubkeyCount(&count); });
            then([&] { return list->SubkeyName(0, text, 16, nullptr); });
            then([&] { return settings->OpenForWriting(u"A\\B", key.Receive()); });
            then([&] { return key->ReadText(u"T", text, 16, nullptr); });
            then([&] { return key->WriteText(u"T", u"text"); });
            then([&] { return settings->OpenForWriting(u"A\\C", key.Receive()); });
            then([&] { return settings->DeleteKey(u"A\\C"); });
        }
        EXPECT_EQ(objects.Get(), 1U);
        EXPECT_TRUE(Failed(result) || std::u16string(text) == u"text");
        return Told(result, "done");
    }

    ModuleObjectCount objects;
    VaneRef<ISettingsStore> settings;
};

// Around a piece of work. Whatever fails, protection is resumed at its end.
struct Suspending : Flow {
    Suspending() { EXPECT_TRUE(MakeControl()); }
    std::string Run() override {
        std::string answer;
        {
            VaneRef<IProtectionControl> control = MakeControl();
            tsVane::CDisableAutoProtect guard(control.Get(), true, trace);
            answer = OpenHandles("mark") == 1 ? "suspended" : "not suspended";
            control.Reset();
        }
        EXPECT_EQ(OpenHandles("mark"), 0U);
        return answer;
    }
    bool IsDocumented(const std::string& answer, SystemError) const override { return answer == "not suspended"; }
};

struct AgentRun : Flow, HVR::ScanWatcher {
    inline static const std::u16string kList = u"C:\\Temp\\ScanList742";
    inline static const std::u16string kReport = u"C:\\Temp\\ScanReport-ScanList742.txt";

    AgentRun() { disk.PutFile(u"C:\\d\\f", "x"); }
    [[nodiscard]] bool GoesOn(const HVR::ScanCounts&) noexcept override { return true; }
    void Prepare() override {
        disk.PutFile(kList, "C:\\d\r\n");
        disk.Remove(kReport);
        disk.Remove(kReport + u".part");
    }
    std::string Run() override {
        HVR::ScanAgentInput input;
        const std::vector<std::u16string> arguments{u"/UTF8", u"/Async", u"/RightClickScan", kList};
        input.arguments = arguments;
        input.temporaryFolder = u"C:\\Temp\\";
        std::string message;
        FakeScanFiles scanFiles(*this);
        const auto exit = HVR::RunScanAgent(input, scanFiles, *this, message);
        EXPECT_TRUE(exit == HVR::ScanExit::Clean || exit == HVR::ScanExit::Errors);
        EXPECT_TRUE(exit == HVR::ScanExit::Errors || disk.Exists(kReport)) << "clean without a report";
        return exit == HVR::ScanExit::Clean ? "clean" : "errors";
    }
    bool IsDocumented(const std::string& answer, SystemError) const override { return answer == "errors"; }
};

}  // namespace

std::vector<FlowEntry> ComponentFlows() {
    return {Entry<Expanding>("Expansion"),
            Entry<Resolving>("Resolver"),
            Entry<Creating>("Creation"),
            Entry<Holding<false>>("ModuleReference"),
            Entry<Holding<true>>("ModuleReferenceOld"),
            Entry<Settings>("Settings"),
            Entry<Suspending>("Suspension"),
            Entry<AgentRun>("ScanAgent")};
}

}  // namespace tests
