#include "tslib/platform/RegistryTree.h"

#include "tests/contract/ContractPlatform.h"
#include "tests/fakes/FakeRegistry.h"

namespace tests {
namespace {

using namespace tsLib::platform;

class RegistryTreeContract : public ContractTest {
protected:
    void Make(const std::u16string& below) {
        OwnedRegistryKey key(seam.registry);
        ASSERT_EQ(seam.registry.CreateKey(RegistryRoot::LocalMachine, scratch + below, kKeyWrite, key.Receive()),
                  SystemError::Success);
        ASSERT_EQ(seam.registry.WriteValue(key.Get(), u"v", DwordValue(1)), SystemError::Success);
    }
    bool Exists(const std::u16string& below) {
        OwnedRegistryKey key(seam.registry);
        return Succeeded(seam.registry.OpenKey(RegistryRoot::LocalMachine, scratch + below, kKeyRead, key.Receive()));
    }
    SystemError DeleteKey(const std::u16string& below) {
        return seam.tree.DeleteKey(RegistryRoot::LocalMachine, scratch + below);
    }
    SystemError DeleteTree(const std::u16string& below) {
        return seam.tree.DeleteTree(RegistryRoot::LocalMachine, scratch + below);
    }

    const std::u16string scratch = Contract().ScratchKey();
};

TEST_F(RegistryTreeContract, KeyWithSubkeys_IsDeletedOnlyAsATree) {
    Make(u"\\a");
    Make(u"\\a\\b\\c");
    Make(u"\\ab");
    EXPECT_EQ(DeleteKey(u"\\a"), SystemError::KeyHasChildren);
    EXPECT_TRUE(Exists(u"\\a\\b\\c"));
    EXPECT_EQ(DeleteKey(u"\\A\\B\\c"), SystemError::Success) << "its values go with it";
    EXPECT_FALSE(Exists(u"\\a\\b\\c"));
    EXPECT_EQ(DeleteTree(u"\\a"), SystemError::Success);
    EXPECT_FALSE(Exists(u"\\a"));
    EXPECT_TRUE(Exists(u"\\ab"));
}

TEST_F(RegistryTreeContract, MissingKeys_AreNotFound) {
    Make(u"");
    EXPECT_EQ(DeleteKey(u"\\none"), SystemError::FileNotFound);
    EXPECT_EQ(DeleteTree(u"\\none\\deeper"), SystemError::FileNotFound);
}

TEST_F(RegistryTreeContract, EmptyComponentsAndNuls_AreRefused) {
    Make(u"");
    for (const std::u16string& below :
         {std::u16string(u"\\"), std::u16string(u"\\\\a"), std::u16string(u"\\a\\"), std::u16string(u"\\a\0b", 4)}) {
        EXPECT_EQ(DeleteKey(below), SystemError::InvalidParameter) << testing::PrintToString(below);
        EXPECT_EQ(DeleteTree(below), SystemError::InvalidParameter) << testing::PrintToString(below);
    }
    for (const char16_t* path : {u"", u"\\", u"\\x"}) {
        EXPECT_EQ(seam.tree.DeleteTree(RegistryRoot::CurrentUser, path), SystemError::InvalidParameter);
    }
    EXPECT_TRUE(Exists(u""));
}

TEST_F(RegistryTreeContract, CurrentUser_IsAHiveOfItsOwn) {
    const std::u16string path = scratch + u"\\user";
    OwnedRegistryKey key(seam.registry);
    ASSERT_EQ(seam.registry.CreateKey(RegistryRoot::CurrentUser, path, kKeyWrite, key.Receive()), SystemError::Success);
    key.Reset();
    EXPECT_FALSE(Exists(u"\\user"));
    EXPECT_EQ(seam.tree.DeleteTree(RegistryRoot::CurrentUser, scratch), SystemError::Success);
    EXPECT_EQ(seam.registry.OpenKey(RegistryRoot::CurrentUser, path, kKeyRead, key.Receive()),
              SystemError::FileNotFound);
}

class NarrowCharactersContract : public ContractTest {};

TEST_F(NarrowCharactersContract, LeadBytesTakeTheNextByteWhateverItIs) {
    struct Case {
        std::string_view text;
        std::size_t length;
    };
    for (const Case& c : {Case{"A", 1},
                          {"AB", 1},
                          {"\x83\x58", 2},
                          {"\x83\x58Z", 2},
                          {"\x9F\x40", 2},
                          {"\xE0\x5C", 2},
                          {"\xFC\x4B", 2},
                          {"\xB1", 1},
                          {"\xDF\x58", 1},
                          {"\x80", 1},
                          {"\xA0", 1},
                          {"\x83", 0}}) {
        EXPECT_EQ(seam.japanese.FirstLength(c.text), c.length) << testing::PrintToString(c.text);
    }
}

}  // namespace
}  // namespace tests
