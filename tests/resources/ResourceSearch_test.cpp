// Where Initialize looks, in which order, and what it makes of what it finds.
#include "tests/fakes/FailingNew.h"
#include "tests/resources/ResourceWorld.h"

namespace {

using namespace tests;
using tsLib::HResult;
using tsLib::platform::ModuleHandle;

class ResourceSearch : public ResourceWorld {
protected:
    // The path of the module that a search finds, or the result in brackets.
    std::u16string Find() {
        auto loader = Loader();
        const HResult result = loader.Initialize(false);
        language = loader.LoadedLanguage();
        EXPECT_EQ(loader.GetResourceModule() != ModuleHandle{}, Succeeded(result));
        if (Failed(result)) {
            return u"none";
        }
        std::u16string path;
        EXPECT_TRUE(loader.LoadString(1, path));
        EXPECT_EQ(path, loader.ResourceModulePath());
        return path;
    }
    static std::u16string Beside() { return u"C:\\Shell\\ZebShellRes.dll"; }

    std::uint16_t language = 0;
};

TEST_F(ResourceSearch, ConstructedLoader_HoldsNothing) {
    auto loader = Loader();
    EXPECT_EQ(loader.GetResourceModule(), ModuleHandle{});
    EXPECT_EQ(loader.GetResourceDllName(), kModuleName);
    EXPECT_EQ(loader.ResourceModulePath(), u"");
    EXPECT_FALSE(loader.DisplayVisible());
    EXPECT_EQ(loader.LoadedLanguage(), 0);
    EXPECT_EQ(loader.Unload(), HResult::Ok);
}

// Folders stand in the order of the enumeration. "-" before a name: a folder without a module.
TEST_F(ResourceSearch, LanguageOrder) {
    const struct {
        std::uint16_t system;
        std::vector<std::u16string> folders;
        std::u16string found;  // folder
        std::uint16_t language;
    } rows[] = {
        {2055, {u"1031", u"2055", u"1033"}, u"2055", 7},
        {3079, {u"1036", u"1031"}, u"1031", 7},  // another sublanguage goes before another language
        {3079, {u"2055", u"1031"}, u"2055", 7},  // in enumeration order, not in numeric order
        {3079, {u"1031", u"2055"}, u"1031", 7},
        {1031, {u"1036", u"1033"}, u"1033", 9},                 // the default goes before other languages
        {1031, {u"1041", u"1036"}, u"1041", 17},                // other languages in enumeration order
        {1031, {u"-1031", u"2055"}, u"2055", 7},                // an exact folder without a module is in no list
        {1031, {u"-1031", u"66567"}, u"66567", 7},              // the sort order is no part of the language
        {1031, {u"-1031abc", u"1031"}, u"1031", 7},             // a number with something behind it is that number
        {1031, {u"1036", u"foo", u"0", u"1039"}, u"1036", 12},  // no number, zero, no locale
        {1033, {}, u"", 0},
    };
    for (const auto& row : rows) {
        files = {};
        locales.system = row.system;
        files.PutFolder(u"C:\\Prog\\res");
        for (const auto& folder : row.folders) {
            if (folder.starts_with(u'-')) {
                files.PutFolder(u"C:\\Prog\\res\\" + folder.substr(1));
            } else {
                PutLanguage(folder);
            }
        }
        PutModule(Beside());  // last of all
        EXPECT_EQ(Find(), row.found.empty() ? Beside() : LanguagePath(row.found));
        EXPECT_EQ(language, row.language);
    }
}

TEST_F(ResourceSearch, OnlyFoldersWithModulesThatAreFilesCount) {
    locales.system = 1031;
    files.PutFile(u"C:\\Prog\\res\\1036");                     // a file named like a locale
    files.PutFolder(u"C:\\Prog\\res\\1031\\ZebShellRes.dll");  // a folder named like a module
    EXPECT_EQ(Find(), u"none");
    EXPECT_TRUE(resources.mapped.empty());
    files = {};
    files.PutFile(u"C:\\Prog\\res\\1041.txt");  // does not put 1041 before 1036
    PutLanguage(u"1036");
    PutLanguage(u"1041");
    EXPECT_EQ(Find(), LanguagePath(u"1036"));
}

TEST_F(ResourceSearch, ExactMatchEndsTheEnumeration_ListsKeepWhatCameBefore) {
    locales.system = 1031;
    for (const auto* folder : {u"1036", u"1031", u"1041"}) {
        PutLanguage(folder);
    }
    refused = {LanguagePath(u"1031"), LanguagePath(u"1036")};
    EXPECT_EQ(Find(), u"none");
    EXPECT_EQ(verifiers.asked.size(), 2U);  // 1041 was never met
    refused = {LanguagePath(u"1031")};
    EXPECT_EQ(Find(), LanguagePath(u"1036"));
}

TEST_F(ResourceSearch, RefusedModulesAreSteppedOver) {
    locales.system = 3079;
    for (const auto* folder : {u"1036", u"1031", u"2055", u"1033"}) {
        PutLanguage(folder);
    }
    refused = {LanguagePath(u"1031")};
    EXPECT_EQ(Find(), LanguagePath(u"2055"));
    refused.insert(LanguagePath(u"2055"));
    EXPECT_EQ(Find(), LanguagePath(u"1033"));
    refused.insert(LanguagePath(u"1033"));
    EXPECT_EQ(Find(), LanguagePath(u"1036"));
    EXPECT_EQ(language, 12);
}

TEST_F(ResourceSearch, RefusalIsRemembered) {
    PutLanguage(u"1033");
    refused = {LanguagePath(u"1033")};
    auto loader = Loader();
    EXPECT_EQ(loader.Initialize(false), HResult::SignatureRefused);  // though the last place had no file at all
    EXPECT_EQ(loader.Initialize(true), HResult::Fail);
    // A failed search may be tried again.
    refused.clear();
    EXPECT_EQ(loader.Initialize(true), HResult::Ok);
    EXPECT_EQ(loader.Initialize(true), HResult::Ok);
    EXPECT_EQ(resources.mapped.size(), 1U);
}

TEST_F(ResourceSearch, NothingFound) {
    files.PutFolder(u"C:\\Prog\\res");
    auto loader = Loader();
    EXPECT_EQ(loader.Initialize(false), HResult::FileNotFound);
    EXPECT_EQ(Logged(u"CResourceLoader::Initialize failed to load resources from any search location: ZebShellRes.dll"),
              1U);
    EXPECT_EQ(debug.texts.size(), 1U);
}

TEST_F(ResourceSearch, NoResFolder_TheDefaultAndTheModuleFolderAreStillTried) {
    PutModule(Beside());
    EXPECT_EQ(Find(), Beside());
    EXPECT_EQ(Logged(u"CResourceLoader::LoadResUsingExactLocale - invalid handle."), 1U);
    EXPECT_EQ(files.searched, (Texts{u"C:\\Prog\\res\\*.*", LanguagePath(u"1033"), Beside()}));
}

TEST_F(ResourceSearch, ExactModuleVanishes_IsLogged) {
    PutLanguage(u"1033");
    resources.mapError = SystemError{0x80030002};
    EXPECT_EQ(Find(), u"none");
    EXPECT_EQ(Logged(u"CResourceLoader::LoadResUsingExactLocale failed to load resource DLL."), 1U);
}

TEST_F(ResourceSearch, InstallDirectory) {
    const std::u16string longest = u"C:\\" + std::u16string(256, u'd');
    using tsLib::platform::RegistryValue;
    const std::u16string invalid = u"CResourceLoader::GetInstallDir - failed to read registry: ERROR_INVALID_DATA.";
    const std::u16string unread = u"CResourceLoader::GetInstallDir - failed to read registry.";
    const struct {
        RegistryValue value;
        std::u16string directory;  // or the sentence, when it holds a blank
    } rows[] = {
        {TextValue(u"C:\\Prog\\bin64\\"), u"C:\\Prog"},
        {TextValue(u"C:\\Prog", tsLib::platform::kValueExpandText), u"C:\\Prog"},
        {TextValue(u"C:\\Prog", tsLib::platform::kValueText, false), u"C:\\Prog"},
        {TextValue(longest), longest},
        {TextValue(longest, tsLib::platform::kValueText, false), longest},
        {TextValue(longest + u"d"), unread},
        {TextValue(longest + u"d", tsLib::platform::kValueText, false), unread},
        {TextValue(std::u16string(5000, u'\\')), invalid},
        {DwordValue(1), invalid},
        {TextValue(u"C:\\Prog", tsLib::platform::kValueBinary), invalid},
        {TextValue(u""), invalid},
        {TextValue(u"Prog"), invalid},
        {TextValue(u"%ProgramFiles%\\Halvora", tsLib::platform::kValueExpandText), invalid},
    };
    for (const auto& row : rows) {
        registry.PutValue(FakeRegistry::Root::LocalMachine, kSettings, u"Home Directory", row.value);
        debug.texts.clear();
        auto loader = Loader();
        std::u16string directory = u"before";
        const bool fails = row.directory.find(u' ') != std::u16string::npos;
        EXPECT_EQ(loader.GetInstallDir(directory), fails ? HResult::Fail : HResult::Ok);
        EXPECT_EQ(directory, fails ? u"before" : row.directory);
        EXPECT_EQ(debug.texts, fails ? Texts{row.directory + u"\n"} : Texts{});
    }
    EXPECT_EQ(registry.opened.back().access, tsLib::platform::kKeyQueryValue);
}

TEST_F(ResourceSearch, NoInstallDirectory_OnlyTheModuleFolderIsSearched) {
    registry.FailOpening(FakeRegistry::Root::LocalMachine, kSettings, SystemError::AccessDenied);
    PutModule(Beside());
    PutLanguage(u"1033");
    EXPECT_EQ(Find(), Beside());
    EXPECT_EQ(Logged(u"CResourceLoader::GetInstallDir - failed to open registry."), 1U);
}

TEST_F(ResourceSearch, RegistryViewsAndPlacesAreOverridable) {
    class OtherProduct final : public HVR::CResourceLoader {
    public:
        using CResourceLoader::CResourceLoader;
        std::u16string_view GetRegistryKeyPath() const noexcept override { return u"Software\\Other"; }
        bool UseRegistry32View() const noexcept override { return true; }
        std::u16string_view GetRegistryValueName() const noexcept override { return u"Dir"; }
        std::uint16_t GetLanguageId() const noexcept override { return 1036; }
    };
    registry.PutText(FakeRegistry::Root::LocalMachine, u"Software\\Other", u"Dir", u"C:\\Prog",
                     tsLib::platform::kKeyView32);
    PutLanguage(u"1033");
    PutLanguage(u"1036");
    OtherProduct loader(FakeModules::kOwn, kModuleName, Seam());
    EXPECT_EQ(loader.Initialize(false), HResult::Ok);
    EXPECT_EQ(loader.ResourceModulePath(), LanguagePath(u"1036"));
    EXPECT_EQ(registry.opened.back().access, tsLib::platform::kKeyQueryValue | tsLib::platform::kKeyView32);
}

TEST_F(ResourceSearch, MissingArguments_NeedAnExplicitPath) {
    const std::u16string sentence = u"CResourceLoader::Initialize - invalid arguments to ctor.";
    HVR::CResourceLoader nameless(FakeModules::kOwn, u"", Seam());
    HVR::CResourceLoader homeless(ModuleHandle{}, kModuleName, Seam());
    EXPECT_EQ(nameless.Initialize(true), HResult::Fail);
    EXPECT_EQ(homeless.Initialize(true), HResult::Fail);
    EXPECT_EQ(Logged(sentence), 2U);

    PutModule(u"D:\\Given.dll");
    nameless.SetResourceModulePath(u"D:\\Given.dll");
    EXPECT_EQ(nameless.Initialize(false), HResult::Ok);
    EXPECT_EQ(nameless.ResourceModulePath(), u"D:\\Given.dll");
    EXPECT_EQ(nameless.LoadedLanguage(), 0);
    homeless.SetResourceModulePath(u"D:\\Absent.dll");
    EXPECT_EQ(homeless.Initialize(false), tsLib::FromSystemError(SystemError::FileNotFound));
    EXPECT_TRUE(files.searched.empty());
    // With a name and a calling module the search makes up for a given path that leads nowhere.
    PutLanguage(u"1033");
    auto loader = Loader();
    loader.SetResourceModulePath(u"D:\\Absent.dll");
    EXPECT_EQ(loader.Initialize(false), HResult::Ok);
    EXPECT_EQ(loader.ResourceModulePath(), LanguagePath(u"1033"));
}

TEST_F(ResourceSearch, LengthOfTheModulesOwnPath) {
    PutLanguage(u"1033");
    const struct {
        std::size_t length;
        std::size_t calls;  // 0: fails after all 12 sizes below 8192
    } rows[] = {{1023, 1}, {1024, 2}, {2047, 2}, {2048, 3}, {7679, 13}, {7680, 0}, {8191, 0}};
    for (const auto& row : rows) {
        modules.paths[FakeModules::kOwn] = u"C:\\" + std::u16string(row.length - 3, u'm');
        modules.calls = 0;
        auto loader = Loader();
        EXPECT_EQ(loader.Initialize(true), row.calls == 0 ? HResult::Fail : HResult::Ok) << row.length;
        EXPECT_EQ(modules.calls, row.calls == 0 ? 13 : row.calls) << row.length;
    }
    EXPECT_EQ(Logged(u"CResourceLoader::Initialize - SetBinaryModulePath failed."), 2U);
}

TEST_F(ResourceSearch, TenThousandFolders) {
    for (int i = 0; i < 10'000; ++i) {
        files.PutFolder(u"C:\\Prog\\res\\" + std::u16string(i % 2 == 0 ? u"1036x" : u"x") +
                        std::u16string(static_cast<std::size_t>(i / 100), u'y') +
                        std::u16string(static_cast<std::size_t>(i % 100), u'z'));
    }
    PutLanguage(u"1033");
    EXPECT_EQ(Find(), LanguagePath(u"1033"));
}

TEST_F(ResourceSearch, Unload_ClearsTheModuleWhateverThePlatformSays) {
    PutLanguage(u"1033");
    auto loader = Loader();
    ASSERT_EQ(loader.Initialize(false), HResult::Ok);
    resources.unmapError = SystemError::InvalidHandle;
    EXPECT_EQ(loader.Unload(), tsLib::FromSystemError(SystemError::InvalidHandle));
    EXPECT_EQ(loader.GetResourceModule(), ModuleHandle{});
    EXPECT_EQ(loader.Unload(), HResult::Ok);
    ASSERT_EQ(loader.Initialize(false), HResult::Ok);  // the destructor unloads as well
}

// Every platform call fails in turn; afterwards either a module is loaded or nothing is held, and protection is on.
TEST_F(ResourceSearch, EveryCallFailing) {
    FaultPlan faults;
    for (auto* fake : std::initializer_list<CanFail*>{&registry, &modules, &files, &resources, &messages, &station}) {
        fake->faults = &faults;
    }
    locales.system = 1031;
    for (const auto* folder : {u"1036", u"1031", u"1033"}) {
        PutLanguage(folder);
    }
    PutModule(Beside());
    for (std::uint32_t n = 1;; ++n) {
        faults.FailCall(n, SystemError::AccessDenied);
        auto loader = Loader();
        const HResult result = loader.Initialize(true);
        EXPECT_EQ(loader.GetResourceModule() != ModuleHandle{}, Succeeded(result)) << n;
        EXPECT_EQ(protection.suspended, 0) << n;
        EXPECT_EQ(files.OpenHandles() + registry.OpenHandles(), 0U) << n;
        faults.Disarm();
        if (!faults.Fired()) {
            EXPECT_GT(n, 5U);
            break;
        }
    }
}

TEST_F(ResourceSearch, MemoryRunningOut) {
    locales.system = 1031;
    for (const auto* folder : {u"1036", u"1031", u"1033"}) {
        PutLanguage(folder);
    }
    refused = {LanguagePath(u"1031")};
    std::size_t shortages = 0;
    for (std::uint32_t n = 1;; ++n) {
        auto loader = Loader();
        bool fired = false;
        HResult result{};
        {
            const FailingNew failing(n);
            result = loader.Initialize(true);
            fired = failing.Fired();
        }
        EXPECT_EQ(loader.GetResourceModule() != ModuleHandle{}, Succeeded(result)) << n;
        EXPECT_EQ(protection.suspended, 0) << n;
        shortages += result == HResult::OutOfMemory ? 1 : 0;
        if (!fired) {
            EXPECT_EQ(result, HResult::Ok);
            break;
        }
    }
    EXPECT_GT(shortages, 5U);
    EXPECT_GT(Logged(u"CResourceLoader::Initialize failed, std::bad_alloc exception caught."), 0U);
}

}  // namespace
