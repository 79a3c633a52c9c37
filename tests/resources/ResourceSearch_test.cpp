// Where Initialize looks, in which order, and what it makes of what it finds.
#include "tests/resources/ResourceWorld.h"
#include "tests/tslib/PathWorld.h"
#include "tslib/RegistryText.h"

namespace tests {
namespace {

using tsLib::HResult;
using Texts = ResourceWorld::Texts;

// Entries of res\ in the order of the enumeration. Before a name: "-" a folder with a folder named like the module, "f"
// a file of that name, "!" a module that is refused.
TEST(ResourceSearch, LanguageOrder) {
    const struct {
        std::uint16_t system;
        Texts entries;
        std::string found;  // the folder; the module beside the library when it is empty
        std::uint16_t language;
    } rows[] = {{2055, {u"1031", u"2055", u"1033"}, "2055", 7},
                {3079, {u"1036", u"1031"}, "1031", 7},      // another sublanguage goes before another language
                {3079, {u"2055", u"1031"}, "2055", 7},      // in enumeration order, not in numeric order
                {1031, {u"1036", u"1033"}, "1033", 9},      // the default goes before other languages
                {1031, {u"-1031", u"2055"}, "2055", 7},     // an exact folder without a module is in no list
                {1031, {u"-1031", u"66567"}, "66567", 7},   // the sort order is no part of the language
                {1031, {u"-1031abc", u"1031"}, "1031", 7},  // a number with something behind it is that number
                {1031, {u"1039", u"none", u"0", u"1036"}, "1036", 12},  // no locale, no number, zero
                {1031, {u"f1036", u"1041"}, "1041", 17},                // a file is no folder
                {1031, {u"-1031", u"-1036"}, "", 0},                    // and a folder no module
                {1031, {u"1036", u"!1031", u"1041"}, "1036", 12},
                {1031, {u"!1036", u"!1031", u"1041"}, "", 0},  // an exact match ends the enumeration: 1041 is never met
                {3079, {u"1036", u"!1031", u"!2055", u"!1033"}, "1036", 12}};
    for (const auto& row : rows) {
        ResourceWorld world;
        world.desktop.systemLanguage = row.system;
        world.disk.PutFolder(u"C:\\Prog\\res");
        world.PutModule(kBeside);
        for (const auto& entry : row.entries) {
            const char16_t kind = std::u16string_view(u"f-!").find(entry[0]) == entry.npos ? u'\0' : entry[0];
            const std::u16string name = entry.substr(kind == u'\0' ? 0 : 1);
            const std::u16string module = ResourceWorld::LanguagePath(name);
            if (kind == u'f') {
                world.disk.PutFile(u"C:\\Prog\\res\\" + name);
            } else if (kind == u'-') {
                world.disk.PutFolder(module);
            } else {
                world.PutModule(module);
            }
            if (kind == u'!') {
                world.refused.insert(module);
            }
        }
        auto loader = world.MakeLoader();
        EXPECT_EQ(world.Find(loader), row.found.empty()
                                          ? "0x00000000 C:\\Shell\\ZebShellRes.dll"
                                          : "0x00000000 C:\\Prog\\res\\" + row.found + "\\ZebShellRes.dll");
        EXPECT_EQ(loader.LoadedLanguage(), row.language);
        EXPECT_EQ(world.verifiers.asked.size(), world.refused.size() + 1);
    }
}

// A refusal counts wherever it is met, whatever a later place fails with.
TEST(ResourceSearch, RefusalIsRemembered) {
    for (const Texts& folders : {Texts{u"1031"}, {u"2055", u"3079"}, {u"1033"}, {u"1036", u"1041"}}) {
        ResourceWorld world;
        world.desktop.systemLanguage = 1031;
        world.PutLanguages(folders);
        world.refused = {ResourceWorld::LanguagePath(folders[0])};
        world.faults.Fail("MapResources", SystemError{193});
        auto loader = world.MakeLoader();
        EXPECT_EQ(world.Find(loader), "0x80090325");
        EXPECT_EQ(world.Find(loader, true), "0x80004005");
        // A failed search may be tried again, and starts from the beginning.
        world.refused.clear();
        EXPECT_EQ(world.Find(loader), "0x80030002") << "in the last place";
        world.faults.Fail("MapResources", SystemError::Success);
        EXPECT_EQ(world.Find(loader, true).substr(0, 11), "0x00000000 ");
    }
}

TEST(ResourceSearch, NothingFound_ThenSomethingUnusable) {
    ResourceWorld world;
    auto loader = world.MakeLoader();
    EXPECT_FALSE(loader.DisplayVisible());
    EXPECT_EQ(world.Find(loader), "0x80030002");
    EXPECT_EQ(world.Log(), (Texts{u"LoadResUsingExactLocale - invalid handle.",
                                  u"Initialize failed to load resources from any search location: ZebShellRes.dll"}));
    EXPECT_EQ(world.files.searched, (Texts{u"C:\\Prog\\res\\*.*", ResourceWorld::LanguagePath(u"1033"), kBeside}));
    world.PutLanguages({u"1033"});
    world.faults.Fail("MapResources", SystemError{0x80030002});
    EXPECT_EQ(world.Find(loader), "0x80030002");
    EXPECT_EQ(world.Log().at(1), u"LoadResUsingExactLocale failed to load resource DLL.");
}

TEST(ResourceSearch, InstallDirectory) {
    const std::u16string longest = u"C:\\" + std::u16string(256, u'd');
    const std::u16string unread = u"GetInstallDir - failed to read registry.";
    const std::u16string invalid = u"GetInstallDir - failed to read registry: ERROR_INVALID_DATA.";
    ResourceWorld world;
    world.PutModule(kBeside);
    auto loader = world.MakeLoader();
    // The directory or, when it holds a blank, what is logged.
    using Row = std::pair<RegistryValue, std::u16string>;
    for (const auto& [value, expected] :
         {Row{StoredText(u"C:\\Prog\\bin64\\"), u"C:\\Prog"},
          Row{StoredText(longest, kValueExpandText, false), longest}, Row{StoredText(longest + u"d"), unread},
          Row{StoredText(std::u16string(5000, u'\\')), invalid}, Row{tsLib::DwordValue(1), invalid},
          Row{StoredText(u"C:\\Prog", kValueBinary), invalid}, Row{StoredText(u""), invalid},
          Row{StoredText(u"%ProgramFiles%\\Halvora", kValueExpandText), invalid}}) {
        world.registry.PutValue(RegistryRoot::LocalMachine, HVR::kProductKey, u"Home Directory", value);
        std::u16string directory = u"before";
        const bool fails = expected.find(u' ') != std::u16string::npos;
        EXPECT_EQ(loader.GetInstallDir(directory), fails ? HResult::Fail : HResult::Ok);
        EXPECT_EQ(directory, fails ? u"before" : expected);
        EXPECT_EQ(world.Log(), fails ? Texts{expected} : Texts{});
    }
    world.registry.FailOpening(RegistryRoot::LocalMachine, HVR::kProductKey, SystemError::AccessDenied);
    EXPECT_EQ(world.Find(loader), "0x00000000 C:\\Shell\\ZebShellRes.dll");
    EXPECT_EQ(world.Log().at(0), u"GetInstallDir - failed to open registry.");
    EXPECT_EQ(world.files.searched, (Texts{kBeside})) << "nowhere else";
}

TEST(ResourceSearch, RegistryViewsAndPlacesAreOverridable) {
    struct OtherProduct final : HVR::CResourceLoader {
        using CResourceLoader::CResourceLoader;
        std::u16string_view GetRegistryKeyPath() const noexcept override { return u"Software\\Other"; }
        bool UseRegistry64View() const noexcept override { return view == kKeyView64; }
        bool UseRegistry32View() const noexcept override { return view == kKeyView32; }
        std::u16string_view GetRegistryValueName() const noexcept override { return u"Dir"; }
        std::uint16_t GetLanguageId() const noexcept override { return 1036; }
        std::uint32_t view = 0;
    };
    ResourceWorld world;
    auto loader = world.MakeLoader<OtherProduct>();
    world.PutLanguages({u"1033", u"1036"});
    for (const std::uint32_t view : {0U, kKeyView64, kKeyView32}) {
        world.registry.PutText(RegistryRoot::LocalMachine, u"Software\\Other", u"Dir", u"C:\\Prog", view);
        loader.view = view;
        EXPECT_EQ(world.Find(loader), "0x00000000 C:\\Prog\\res\\1036\\ZebShellRes.dll");
        EXPECT_EQ(world.registry.opened.back().access, kKeyQueryValue | view);
        EXPECT_EQ(loader.Unload(), HResult::Ok);
    }
}

TEST(ResourceSearch, MissingArguments_NeedAnExplicitPath) {
    ResourceWorld world;
    world.PutModule(u"D:\\Given.dll");
    world.PutLanguages({u"1033"});
    auto nameless = world.MakeLoader(FakeModules::kOwn, u"");
    auto homeless = world.MakeLoader(ModuleHandle{});
    auto complete = world.MakeLoader();
    EXPECT_EQ(world.Find(nameless, true), "0x80004005");
    EXPECT_EQ(world.Find(homeless, true), "0x80004005");
    EXPECT_EQ(world.Log(), Texts(2, u"Initialize - invalid arguments to ctor."));
    nameless.SetResourceModulePath(u"D:\\Given.dll");
    EXPECT_EQ(world.Find(nameless), "0x00000000 D:\\Given.dll");
    EXPECT_EQ(nameless.LoadedLanguage(), 0);
    EXPECT_EQ(nameless.Unload(), HResult::Ok);
    homeless.SetResourceModulePath(u"D:\\Absent.dll");
    EXPECT_EQ(world.Find(homeless), "0x80070002");
    EXPECT_TRUE(world.files.searched.empty());
    // With a name and a calling module the search makes up for a given path that leads nowhere.
    complete.SetResourceModulePath(u"D:\\Absent.dll");
    EXPECT_EQ(world.Find(complete), "0x00000000 C:\\Prog\\res\\1033\\ZebShellRes.dll");
}

TEST(ResourceSearch, TheModulesOwnPath_MustBeKnown) {
    ResourceWorld world;
    world.PutLanguages({u"1033"});
    // How often it is asked; the last one does not fit the size before 8192.
    using Row = std::pair<std::size_t, std::size_t>;
    for (const auto& [length, calls] : {Row{1023, 1}, {1024, 2}, {2047, 2}, {2048, 3}, {7679, 13}, {7680, 13}}) {
        world.modules.paths[FakeModules::kOwn] = u"C:\\" + std::u16string(length - 3, u'm');
        world.modules.namesAsked = 0;
        auto loader = world.MakeLoader();
        EXPECT_EQ(loader.Initialize(true), length == 7680 ? HResult::Fail : HResult::Ok) << length;
        EXPECT_EQ(world.modules.namesAsked, calls) << length;
    }
    EXPECT_EQ(world.Log().back(), u"Initialize - SetBinaryModulePath failed.");
}

}  // namespace
}  // namespace tests
