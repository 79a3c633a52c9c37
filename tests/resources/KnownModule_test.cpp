// Loading again what the last search found, for as long as it would find the same.
#include <functional>

#include "tests/resources/ResourceWorld.h"

namespace tests {
namespace {

using tsLib::HResult;

const std::u16string kFound = ResourceWorld::LanguagePath(u"1031");

struct KnownModule : testing::Test, ResourceWorld {
    KnownModule() {
        desktop.systemLanguage = 1031;
        system.fileTime = 134'000'000'000'000'000;
        PutLanguages({u"1031", u"1033"});
        disk.PutFile(kFound, "bytes");
        PutModule(kFound);
        modules.onMap = [this] { suspendedAtMap.push_back(protection.suspended); };
    }
    // Whether the module was loaded again without a search and a verdict. With both, it is the one that is expected.
    bool IsKnown(const std::u16string& expected = kFound) {
        EXPECT_EQ(loader.Unload(), HResult::Ok);
        verifiers.asked.clear();
        files.searched.clear();
        EXPECT_EQ(loader.Initialize(false), HResult::Ok);
        EXPECT_EQ(loader.ResourceModulePath(), expected);
        EXPECT_EQ(loader.LoadedLanguage(), expected == kFound ? 7 : loader.LoadedLanguage());
        EXPECT_EQ(Log().back(), u"LoadTrustedDll - load succeeded.  " + expected + u" ");
        EXPECT_EQ(suspendedAtMap.back(), 1);
        EXPECT_EQ(verifiers.asked.empty(), files.searched.empty());
        return verifiers.asked.empty();
    }
    HVR::CResourceLoader loader = MakeLoader();
};

TEST_F(KnownModule, IsLoadedAgain_UntilSomethingThatItWasFoundFromChanges) {
    struct Row {
        const char* change;
        std::function<void()> make;
        std::u16string found = kFound;
    };
    const std::u16string other = u"D:\\Other";
    PutModule(other + u"\\res\\1031\\ZebShellRes.dll");
    const Row rows[] = {
        {"a language more", [&] { PutLanguages({u"1041"}); }},
        {"the file", [&] { ++disk.NodeAt(kFound).changed; }},
        {"its bytes, with the times put back", [&] { disk.NodeAt(kFound).bytes[0] = std::byte{1}; }},
        {"whether revocation is asked for", [&] { verifiers.asksForRevocation = true; }},
        {"the language", [&] { desktop.systemLanguage = 1033; }, LanguagePath(u"1033")},
        {"the installation",
         [&] { registry.PutText(RegistryRoot::LocalMachine, HVR::kProductKey, u"Home Directory", other); },
         other + u"\\res\\1031\\ZebShellRes.dll"},
    };
    EXPECT_FALSE(IsKnown());
    std::u16string found = kFound;
    for (const Row& row : rows) {
        EXPECT_TRUE(IsKnown(found)) << "before " << row.change;
        row.make();
        found = row.found;
        EXPECT_FALSE(IsKnown(found)) << row.change;
    }
}

TEST_F(KnownModule, IsNotKept_WhereAChangeWouldNotShow) {
    struct Row {
        const char* what;
        std::function<void()> make;
        std::function<void()> undo;
    };
    Node& folder = disk.NodeAt(u"C:\\Prog\\res");
    const Row rows[] = {
        {"no verdict", [&] { verdict = tsLib::TrustResult::CannotDetermine; },
         [&] { verdict = tsLib::TrustResult::Trusted; }},
        {"a file system without folder times", [&] { files.volume.fileSystem = u"FAT32"; },
         [&] { files.volume.fileSystem = u"ReFS"; }},
        {"not of this machine", [&] { files.volume.isFixed = false; }, [&] { files.volume.isFixed = true; }},
        {"within a step of the clock", [&] { system.fileTime = folder.changed + 20'000'000; },
         [&] { system.fileTime += 2; }},
        {"a file without times", [&] { disk.NodeAt(kFound).changed = 0; }, [&] { disk.NodeAt(kFound).changed = 1; }},
        {"more than is kept", [&] { disk.NodeAt(kFound).bytes.resize(0x100001); },
         [&] { disk.NodeAt(kFound).bytes.resize(0x100000); }},
        {"a place was empty",
         [&] {
             disk.PutFolder(LanguagePath(u"2055"));
             desktop.systemLanguage = 2055;
         },
         [&] { desktop.systemLanguage = 1031; }},
    };
    for (const Row& row : rows) {
        ++disk.NodeAt(kFound).changed;
        row.make();
        EXPECT_FALSE(IsKnown()) << row.what;
        EXPECT_FALSE(IsKnown()) << row.what;
        row.undo();
        EXPECT_FALSE(IsKnown()) << row.what;
        EXPECT_TRUE(IsKnown()) << row.what;
    }
}

// Whatever fails, the search is a whole one then, and finds what it finds.
TEST_F(KnownModule, FailuresOfTheShortWay_AreNoFailures) {
    for (const char* const operation : {"StampOf", "VolumeOf", "View", "FileTimeNow"}) {
        faults.Fail(operation, SystemError::AccessDenied);
        EXPECT_FALSE(IsKnown()) << operation;
        EXPECT_FALSE(IsKnown()) << operation;
        faults.Fail(operation, SystemError::Success);
        EXPECT_FALSE(IsKnown()) << operation;
        EXPECT_TRUE(IsKnown()) << operation;
        ++disk.NodeAt(kFound).changed;
    }
}

}  // namespace
}  // namespace tests
