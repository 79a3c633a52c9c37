#include "tests/contract/ContractPlatform.h"
#include "tests/fakes/FakeRegistry.h"

namespace tests {
namespace {

constexpr std::uint32_t kReadWrite = kKeyRead | kKeyWrite;
constexpr auto kMachine = RegistryRoot::LocalMachine;
constexpr auto kUser = RegistryRoot::CurrentUser;

struct RegistryContract : ContractTest {
    // Makes the key below the scratch key, with a value "v".
    OwnedRegistryKey Make(const std::u16string& below = u"", std::uint32_t access = kReadWrite | kKeyView64) {
        OwnedRegistryKey key(registry);
        EXPECT_EQ(registry.CreateKey(kMachine, scratch + below, access, key.Receive()), SystemError::Success);
        EXPECT_EQ(Write(key, u"v"), SystemError::Success);
        return key;
    }
    OwnedRegistryKey Open(const std::u16string& below, std::uint32_t access = kKeyRead | kKeyView64,
                          SystemError expected = SystemError::Success) {
        OwnedRegistryKey key(registry);
        EXPECT_EQ(registry.OpenKey(kMachine, scratch + below, access, key.Receive()), expected);
        return key;
    }
    bool Exists(const std::u16string& below, std::uint32_t view = kKeyView64) {
        OwnedRegistryKey key(registry);
        return Succeeded(registry.OpenKey(kMachine, scratch + below, kKeyRead | view, key.Receive()));
    }
    SystemError Read(const OwnedRegistryKey& key, const std::u16string& name) {
        return registry.ReadValue(key.Get(), name, value);
    }
    SystemError Write(const OwnedRegistryKey& key, const std::u16string& name) {
        return registry.WriteValue(key.Get(), name, tsLib::DwordValue(1));
    }
    SystemError DeleteKey(const std::u16string& below) { return registry.DeleteKey(kMachine, scratch + below); }
    SystemError DeleteTree(const std::u16string& below) { return registry.DeleteTree(kMachine, scratch + below); }

    RegistryValue value = tsLib::DwordValue(7);
};

TEST_F(RegistryContract, WhatIsMissing_IsFileNotFound_AndTouchesNothing) {
    const OwnedRegistryKey made = Make();
    RegistryKey key{0x5A5A};
    EXPECT_EQ(registry.OpenKey(kMachine, scratch + u"\\no\\such", kKeyRead, key), SystemError::FileNotFound);
    EXPECT_EQ(registry.OpenSubkey(made.Get(), u"none", kKeyRead, key), SystemError::FileNotFound);
    EXPECT_EQ(key, RegistryKey{0x5A5A});
    EXPECT_EQ(Read(made, u"none"), SystemError::FileNotFound);
    EXPECT_EQ(Read(made, u""), SystemError::FileNotFound);
    EXPECT_EQ(value.data, tsLib::DwordValue(7).data);
    EXPECT_EQ(registry.DeleteValue(made.Get(), u"none"), SystemError::FileNotFound);
    EXPECT_EQ(DeleteKey(u"\\none"), SystemError::FileNotFound);
    EXPECT_EQ(DeleteTree(u"\\none\\deeper"), SystemError::FileNotFound);
}

TEST_F(RegistryContract, Values_ComeBackAsStored_WhateverTheirType_UntilDeleted) {
    const OwnedRegistryKey key = Make();
    // The platform looks behind a text and takes a terminator that it finds there, so none may be there by chance.
    RegistryValue unterminated = tsLib::TextValue(u"no end, no end");
    unterminated.data.resize(6 * sizeof(char16_t));
    const RegistryValue values[] = {
        StoredText(u"%TEMP%\\x", kValueExpandText),
        tsLib::TextValue(std::u16string(u"a\0\0b", 4)),
        StoredText({}, kValueText, false),
        unterminated,
        {kValueText, std::vector<std::byte>(5, std::byte{0x41})},  // half a character at the end
        {kValueDword, std::vector<std::byte>(3, std::byte{1})},
        {kValueBinary, std::vector<std::byte>(kMaximumRegistryValueBytes, std::byte{2})},
        {0x7777, std::vector<std::byte>(300, std::byte{3})},
    };
    for (const RegistryValue& stored : values) {
        for (const std::u16string name : {u"", u"Value"}) {
            ASSERT_EQ(registry.WriteValue(key.Get(), name, stored), SystemError::Success) << &stored - values;
            ASSERT_EQ(Read(key, name), SystemError::Success) << &stored - values;
            EXPECT_EQ(value.type, stored.type) << &stored - values;
            EXPECT_EQ(value.data, stored.data) << &stored - values;
        }
    }
    EXPECT_EQ(registry.DeleteValue(key.Get(), u"vALUE"), SystemError::Success);
    EXPECT_EQ(Read(key, u"Value"), SystemError::FileNotFound);
}

TEST_F(RegistryContract, LargeValues_MissingAccess_AndNamesThatHoldANul_AreRefused) {
    const OwnedRegistryKey key = Make();
    const RegistryValue large{kValueBinary, std::vector<std::byte>(kMaximumRegistryValueBytes + 1)};
    EXPECT_EQ(registry.WriteValue(key.Get(), u"large", large), SystemError::InvalidParameter);
    PutBinaryValue(u"large", large.data.size());
    EXPECT_EQ(Read(key, u"large"), SystemError::MoreData);
    EXPECT_EQ(Write(Open(u""), u"v"), SystemError::AccessDenied);
    EXPECT_EQ(Read(Open(u"", kKeyWrite | kKeyView64), u"v"), SystemError::AccessDenied);
    const std::u16string name(u"v\0x", 3);
    EXPECT_EQ(Read(key, name), SystemError::InvalidParameter);
    EXPECT_EQ(Write(key, name), SystemError::InvalidParameter);
    EXPECT_EQ(registry.DeleteValue(key.Get(), name), SystemError::InvalidParameter);
    Open(std::u16string(u"\0x", 2), kKeyRead, SystemError::InvalidParameter);
    EXPECT_EQ(value.data, tsLib::DwordValue(7).data);
}

TEST_F(RegistryContract, Names_IgnoreLetterCase_AndATrailingBackslash) {
    Make(u"\\Some Key\\Deeper");
    Make(u"\\Some Key");  // opens what exists
    const OwnedRegistryKey top = Make();
    for (const std::u16string name : {u"some key\\deeper", u"Some Key\\"}) {
        EXPECT_EQ(Read(Open(u"\\" + name), u"V"), SystemError::Success);
        OwnedRegistryKey key(registry);
        ASSERT_EQ(registry.OpenSubkey(top.Get(), name, kKeyRead, key.Receive()), SystemError::Success);
        EXPECT_EQ(Read(key, u"V"), SystemError::Success);
    }
}

TEST_F(RegistryContract, Views_AreSeparate_ClassesRootShowsTheMachinesClasses_AndCurrentUserIsAHiveOfItsOwn) {
    Make();
    Open(u"", kKeyRead);
    Open(u"", kKeyRead | kKeyView32, SystemError::FileNotFound);
    EXPECT_EQ(Write(Make(u"", kReadWrite | kKeyView32), u"32"), SystemError::Success);
    EXPECT_EQ(Read(Open(u""), u"32"), SystemError::FileNotFound);
    EXPECT_EQ(Read(Open(u"", kKeyRead | kKeyView32), u"32"), SystemError::Success);
    const std::u16string name = u".halvora-contract";
    OwnedRegistryKey key(registry);
    ASSERT_EQ(registry.CreateKey(kMachine, u"Software\\Classes\\" + name, kReadWrite, key.Receive()),
              SystemError::Success);
    EXPECT_EQ(registry.OpenKey(RegistryRoot::ClassesRoot, name, kKeyRead, key.Receive()), SystemError::Success);
    EXPECT_EQ(registry.DeleteTree(RegistryRoot::ClassesRoot, name), SystemError::Success);

    ASSERT_EQ(registry.CreateKey(kUser, scratch + u"\\user", kKeyWrite, key.Receive()), SystemError::Success);
    EXPECT_FALSE(Exists(u"\\user"));
    EXPECT_EQ(registry.DeleteTree(kUser, scratch), SystemError::Success);
    EXPECT_EQ(registry.OpenKey(kUser, scratch, kKeyRead, key.Receive()), SystemError::FileNotFound);
}

TEST_F(RegistryContract, Subkeys_AreCounted_AndNamedAsWritten_IfTheNameFits) {
    const std::vector<std::u16string> written{u"Mixed Case", u"b", std::u16string(255, u'n'), u"\u00C4\u65E5"};
    for (const std::u16string& name : written) {
        Make(u"\\list\\" + name);
    }
    Make(u"\\list\\b\\below");
    const OwnedRegistryKey list = Open(u"\\list");
    std::uint32_t count = 0;
    std::uint32_t length = 0;
    ASSERT_EQ(registry.SubkeyInfo(list.Get(), count, length), SystemError::Success);
    EXPECT_EQ(length, 255U);
    std::vector<std::u16string> names(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        EXPECT_EQ(registry.SubkeyName(list.Get(), i, length + 1, names[i]), SystemError::Success);
    }
    std::ranges::sort(names);
    EXPECT_EQ(names, written);
    const OwnedRegistryKey b = Open(u"\\list\\b");
    EXPECT_EQ(registry.SubkeyName(b.Get(), 0, 5, text), SystemError::MoreData);
    EXPECT_EQ(registry.SubkeyName(b.Get(), 1, 40, text), SystemError::NoMoreItems);
    EXPECT_EQ(text, u"before");
    EXPECT_EQ(registry.SubkeyName(b.Get(), 0, 6, text), SystemError::Success);
    ASSERT_EQ(registry.SubkeyInfo(Open(u"\\list\\b\\below").Get(), count, length), SystemError::Success);
    EXPECT_EQ(count, 0U);
}

TEST_F(RegistryContract, AKeyWithSubkeys_IsDeletedOnlyAsATree_AndByAPathWithoutEmptyElementsOrNuls) {
    Make(u"\\a\\b\\c");
    Make(u"\\ab");
    EXPECT_EQ(DeleteKey(u"\\a"), SystemError::KeyHasChildren);
    EXPECT_TRUE(Exists(u"\\a\\b\\c"));
    EXPECT_EQ(DeleteKey(u"\\A\\B\\c"), SystemError::Success) << "its values go with it";
    EXPECT_FALSE(Exists(u"\\a\\b\\c"));
    EXPECT_EQ(DeleteTree(u"\\a"), SystemError::Success);
    EXPECT_FALSE(Exists(u"\\a"));
    for (const std::u16string& below :
         {std::u16string(u"\\\\a"), std::u16string(u"\\a\\"), std::u16string(u"\0b", 2)}) {
        EXPECT_EQ(DeleteKey(below), SystemError::InvalidParameter) << testing::PrintToString(below);
        EXPECT_EQ(DeleteTree(below), SystemError::InvalidParameter) << testing::PrintToString(below);
    }
    for (const char16_t* path : {u"", u"\\", u"\\x"}) {
        EXPECT_EQ(registry.DeleteTree(kUser, path), SystemError::InvalidParameter);
    }
    EXPECT_TRUE(Exists(u"\\ab"));
}

TEST_F(RegistryContract, DeletingASubkeyTree_TakesAllBelowInItsView_AndNothingBeside) {
    for (const auto& [view, other] : {std::pair(kKeyView64, kKeyView32), std::pair(kKeyView32, kKeyView64)}) {
        for (const std::u16string below : {u"\\top\\tree\\a\\b", u"\\top\\tree2\\x"}) {
            Make(below, kReadWrite | view);
            Make(below, kReadWrite | other);
        }
        const OwnedRegistryKey top = Make(u"\\top", kReadWrite | view);
        EXPECT_EQ(registry.DeleteSubkeyTree(top.Get(), u"TREE"), SystemError::Success);
        EXPECT_FALSE(Exists(u"\\top\\tree", view));
        EXPECT_TRUE(Exists(u"\\top\\tree\\a\\b", other));
        EXPECT_EQ(registry.DeleteSubkeyTree(top.Get(), u"tree2\\x"), SystemError::Success);
        EXPECT_FALSE(Exists(u"\\top\\tree2\\x", view));
        EXPECT_EQ(registry.DeleteSubkeyTree(top.Get(), u"none"), SystemError::FileNotFound);
        EXPECT_EQ(registry.DeleteSubkeyTree(top.Get(), u""), SystemError::InvalidParameter);
        EXPECT_TRUE(Exists(u"\\top\\tree2", view));
    }
}

TEST_F(RegistryContract, AnOpenKeyThatIsDeleted_IsDead_AlsoWhenItIsMadeAgain) {
    constexpr SystemError kKeyDeleted{1018};
    const OwnedRegistryKey key = Make(u"\\gone");
    ASSERT_EQ(DeleteKey(u"\\gone"), SystemError::Success);
    EXPECT_EQ(Read(key, u"v"), kKeyDeleted);
    Make(u"\\gone");
    EXPECT_EQ(Write(key, u"v"), kKeyDeleted);
}

}  // namespace
}  // namespace tests
