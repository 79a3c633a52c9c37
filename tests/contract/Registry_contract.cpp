#include "tests/contract/ContractPlatform.h"
#include "tests/fakes/FakeRegistry.h"

namespace tests {
namespace {

using namespace tsLib::platform;

constexpr std::uint32_t kReadWrite = kKeyRead | kKeyWrite;
constexpr RegistryKey kUntouched{0x5A5A};

class RegistryContract : public ContractTest {
protected:
    // Makes the key below the scratch key.
    OwnedRegistryKey Make(const std::u16string& below = u"", std::uint32_t access = kReadWrite | kKeyView64) {
        OwnedRegistryKey key(seam.registry);
        EXPECT_EQ(seam.registry.CreateKey(RegistryRoot::LocalMachine, scratch + below, access, key.Receive()),
                  SystemError::Success);
        return key;
    }
    SystemError Open(const std::u16string& path, std::uint32_t access, OwnedRegistryKey& key) {
        return seam.registry.OpenKey(RegistryRoot::LocalMachine, path, access, key.Receive());
    }

    const std::u16string scratch = contract.ScratchKey();
};

TEST_F(RegistryContract, MissingKeys_AreFileNotFound_AndTouchNothing) {
    const OwnedRegistryKey parent = Make();
    RegistryKey key = kUntouched;
    EXPECT_EQ(seam.registry.OpenKey(RegistryRoot::LocalMachine, scratch + u"\\no\\such", kKeyRead, key),
              SystemError::FileNotFound);
    EXPECT_EQ(
        seam.registry.OpenKey(RegistryRoot::ClassesRoot, u"CLSID\\{no such class}\\InprocServer32", kKeyRead, key),
        SystemError::FileNotFound);
    EXPECT_EQ(seam.registry.OpenSubkey(parent.Get(), u"none", kKeyRead, key), SystemError::FileNotFound);
    EXPECT_EQ(key, kUntouched);
}

TEST_F(RegistryContract, MissingValues_AreFileNotFound_AndTouchNothing) {
    const OwnedRegistryKey key = Make();
    RegistryValue value = DwordValue(7);
    for (const std::u16string name : {u"none", u""}) {
        EXPECT_EQ(seam.registry.ReadValue(key.Get(), name, value), SystemError::FileNotFound);
    }
    EXPECT_EQ(seam.registry.DeleteValue(key.Get(), u"none"), SystemError::FileNotFound);
    EXPECT_EQ(value.data, DwordValue(7).data);
}

TEST_F(RegistryContract, Values_ComeBackAsStored_WhateverTheirType) {
    const OwnedRegistryKey key = Make();
    std::vector<RegistryValue> values{
        TextValue(u"text"),
        TextValue(u"%TEMP%\\x", kValueExpandText),
        TextValue(std::u16string(u"a\0\0b", 4)),
        TextValue({}, kValueText, false),
        DwordValue(0xFFFFFFFF),
        {kValueText, std::vector<std::byte>(5, std::byte{0x41})},  // half a character at the end
        {kValueDword, std::vector<std::byte>(3, std::byte{1})},
        {kValueBinary, std::vector<std::byte>(kMaximumRegistryValueBytes, std::byte{2})},
        {0x7777, std::vector<std::byte>(300, std::byte{3})},
    };
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::u16string name = i == 0 ? u"" : u"value" + std::u16string(i, u'x');
        ASSERT_EQ(seam.registry.WriteValue(key.Get(), name, values[i]), SystemError::Success) << i;
        RegistryValue read;
        ASSERT_EQ(seam.registry.ReadValue(key.Get(), name, read), SystemError::Success) << i;
        EXPECT_EQ(read.type, values[i].type) << i;
        EXPECT_EQ(read.data, values[i].data) << i;
    }
}

TEST_F(RegistryContract, UnterminatedText_StaysUnterminated) {
    const OwnedRegistryKey key = Make();
    // The platform looks behind the text and takes a terminator that it finds there, so none may be there by chance.
    RegistryValue unterminated = TextValue(u"no end, no end");
    unterminated.data.resize(6 * sizeof(char16_t));
    ASSERT_EQ(seam.registry.WriteValue(key.Get(), u"v", unterminated), SystemError::Success);
    RegistryValue read;
    ASSERT_EQ(seam.registry.ReadValue(key.Get(), u"v", read), SystemError::Success);
    EXPECT_EQ(read.data, TextValue(u"no end", kValueText, false).data);
}

TEST_F(RegistryContract, LargerValues_AreMoreData_AndCannotBeWritten) {
    const OwnedRegistryKey key = Make();
    const RegistryValue large{kValueBinary, std::vector<std::byte>(kMaximumRegistryValueBytes + 1)};
    EXPECT_EQ(seam.registry.WriteValue(key.Get(), u"large", large), SystemError::InvalidParameter);
    contract.PutBinaryValue(scratch, u"large", large.data.size());
    RegistryValue value = DwordValue(7);
    EXPECT_EQ(seam.registry.ReadValue(key.Get(), u"large", value), SystemError::MoreData);
    EXPECT_EQ(value.data, DwordValue(7).data);
}

TEST_F(RegistryContract, Names_IgnoreLetterCase_AndATrailingBackslash) {
    const OwnedRegistryKey made = Make(u"\\Some Key");
    ASSERT_EQ(seam.registry.WriteValue(made.Get(), u"Some Value", DwordValue(1)), SystemError::Success);
    const OwnedRegistryKey scratchKey = Make();
    OwnedRegistryKey key(seam.registry);
    RegistryValue value;
    for (const std::u16string name : {u"SOME KEY", u"some key", u"Some Key\\"}) {
        ASSERT_EQ(Open(scratch + u"\\" + name, kKeyRead | kKeyView64, key), SystemError::Success);
        EXPECT_EQ(seam.registry.ReadValue(key.Get(), u"sOME vALUE", value), SystemError::Success);
        ASSERT_EQ(seam.registry.OpenSubkey(scratchKey.Get(), name, kKeyRead, key.Receive()), SystemError::Success);
        EXPECT_EQ(seam.registry.ReadValue(key.Get(), u"some value", value), SystemError::Success);
    }
}

TEST_F(RegistryContract, CreateKey_MakesTheWay_AndOpensWhatExists) {
    {
        const OwnedRegistryKey deep = Make(u"\\a\\b\\c");
        ASSERT_EQ(seam.registry.WriteValue(deep.Get(), u"v", DwordValue(1)), SystemError::Success);
    }
    OwnedRegistryKey key(seam.registry);
    EXPECT_EQ(Open(scratch + u"\\a\\b", kKeyRead | kKeyView64, key), SystemError::Success);
    const OwnedRegistryKey again = Make(u"\\a\\b\\c");
    RegistryValue value;
    EXPECT_EQ(seam.registry.ReadValue(again.Get(), u"v", value), SystemError::Success);
}

TEST_F(RegistryContract, Views_OfSoftware_AreSeparate) {
    const OwnedRegistryKey wide = Make();
    OwnedRegistryKey narrow(seam.registry);
    EXPECT_EQ(Open(scratch, kKeyRead | kKeyView32, narrow), SystemError::FileNotFound);
    const OwnedRegistryKey made = Make(u"", kReadWrite | kKeyView32);
    ASSERT_EQ(seam.registry.WriteValue(made.Get(), u"v", DwordValue(32)), SystemError::Success);
    RegistryValue value;
    EXPECT_EQ(seam.registry.ReadValue(wide.Get(), u"v", value), SystemError::FileNotFound);
    ASSERT_EQ(Open(scratch, kKeyRead | kKeyView32, narrow), SystemError::Success);
    EXPECT_EQ(seam.registry.ReadValue(narrow.Get(), u"v", value), SystemError::Success);
}

TEST_F(RegistryContract, NoFlag_IsThe64BitView) {
    const OwnedRegistryKey wide = Make(u"\\only64");
    OwnedRegistryKey key(seam.registry);
    EXPECT_EQ(Open(scratch + u"\\only64", kKeyRead, key), SystemError::Success);
}

TEST_F(RegistryContract, ClassesRoot_ShowsTheMachinesClasses) {
    const std::u16string name = u".halvora-contract";
    OwnedRegistryKey key(seam.registry);
    ASSERT_EQ(
        seam.registry.CreateKey(RegistryRoot::LocalMachine, u"Software\\Classes\\" + name, kReadWrite, key.Receive()),
        SystemError::Success);
    ASSERT_EQ(seam.registry.WriteValue(key.Get(), u"", TextValue(u"type")), SystemError::Success);
    ASSERT_EQ(seam.registry.OpenKey(RegistryRoot::ClassesRoot, name, kKeyRead, key.Receive()), SystemError::Success);
    RegistryValue value;
    EXPECT_EQ(seam.registry.ReadValue(key.Get(), u"", value), SystemError::Success);
    EXPECT_EQ(value.data, TextValue(u"type").data);
}

TEST_F(RegistryContract, KeysOpenedWithoutTheAccess_AreAccessDenied) {
    const OwnedRegistryKey made = Make();
    OwnedRegistryKey readOnly(seam.registry);
    ASSERT_EQ(Open(scratch, kKeyRead | kKeyView64, readOnly), SystemError::Success);
    EXPECT_EQ(seam.registry.WriteValue(readOnly.Get(), u"v", DwordValue(1)), SystemError::AccessDenied);
    OwnedRegistryKey writeOnly(seam.registry);
    ASSERT_EQ(Open(scratch, kKeyWrite | kKeyView64, writeOnly), SystemError::Success);
    RegistryValue value;
    EXPECT_EQ(seam.registry.ReadValue(writeOnly.Get(), u"v", value), SystemError::AccessDenied);
}

TEST_F(RegistryContract, DeletedValues_AreGone) {
    const OwnedRegistryKey key = Make();
    ASSERT_EQ(seam.registry.WriteValue(key.Get(), u"v", DwordValue(1)), SystemError::Success);
    EXPECT_EQ(seam.registry.DeleteValue(key.Get(), u"V"), SystemError::Success);
    RegistryValue value;
    EXPECT_EQ(seam.registry.ReadValue(key.Get(), u"v", value), SystemError::FileNotFound);
}

TEST_F(RegistryContract, NamesThatHoldANul_AreRefused) {
    const OwnedRegistryKey made = Make();
    const std::u16string name(u"v\0x", 3);
    ASSERT_EQ(seam.registry.WriteValue(made.Get(), u"v", DwordValue(1)), SystemError::Success);
    RegistryValue value;
    EXPECT_EQ(seam.registry.ReadValue(made.Get(), name, value), SystemError::InvalidParameter);
    EXPECT_EQ(seam.registry.WriteValue(made.Get(), name, DwordValue(1)), SystemError::InvalidParameter);
    EXPECT_EQ(seam.registry.DeleteValue(made.Get(), name), SystemError::InvalidParameter);
    OwnedRegistryKey key(seam.registry);
    EXPECT_EQ(Open(scratch + std::u16string(u"\0x", 2), kKeyRead, key), SystemError::InvalidParameter);
}

}  // namespace
}  // namespace tests
