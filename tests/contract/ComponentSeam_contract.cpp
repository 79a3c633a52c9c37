#include <algorithm>

#include "tests/contract/ComponentContractPlatform.h"
#include "tests/fakes/FakeRegistry.h"

namespace tests {
namespace {

using namespace tsLib::platform;

constexpr std::uint32_t kReadWrite = kKeyRead | kKeyWrite;

class RegistryKeysContract : public ComponentContractTest {
protected:
    OwnedRegistryKey Make(const std::u16string& below, std::uint32_t access = kReadWrite | kKeyView64) {
        OwnedRegistryKey key(seam.registry);
        EXPECT_EQ(
            seam.registry.CreateKey(RegistryRoot::LocalMachine, contract.ScratchKey() + below, access, key.Receive()),
            SystemError::Success);
        return key;
    }
    bool Exists(const std::u16string& below, std::uint32_t view = kKeyView64) {
        OwnedRegistryKey key(seam.registry);
        return Succeeded(seam.registry.OpenKey(RegistryRoot::LocalMachine, contract.ScratchKey() + below,
                                               kKeyRead | view, key.Receive()));
    }
    std::vector<std::u16string> Names(RegistryKey key) {
        std::uint32_t count = 0;
        std::uint32_t longest = 0;
        EXPECT_EQ(seam.enumeration.SubkeyInfo(key, count, longest), SystemError::Success);
        std::vector<std::u16string> names(count);
        for (std::uint32_t i = 0; i < count; ++i) {
            EXPECT_EQ(seam.enumeration.SubkeyName(key, i, longest + 1, names[i]), SystemError::Success);
        }
        std::sort(names.begin(), names.end());
        return names;
    }
};

TEST_F(RegistryKeysContract, Subkeys_AreCountedAndNamedAsWritten) {
    const OwnedRegistryKey empty = Make(u"\\empty");
    EXPECT_EQ(Names(empty.Get()), std::vector<std::u16string>{});
    const std::u16string longest(255, u'n');
    for (const std::u16string& name : {std::u16string(u"\\Mixed Case"), std::u16string(u"\\\u00C4\u65E5"),
                                       u'\\' + longest, std::u16string(u"\\b\\below")}) {
        Make(u"\\list" + name);
    }
    const OwnedRegistryKey list = Make(u"\\list");
    EXPECT_EQ(Names(list.Get()), (std::vector<std::u16string>{u"Mixed Case", u"b", longest, u"\u00C4\u65E5"}));
    std::uint32_t count = 0;
    std::uint32_t length = 0;
    ASSERT_EQ(seam.enumeration.SubkeyInfo(list.Get(), count, length), SystemError::Success);
    EXPECT_EQ(length, 255u);
}

TEST_F(RegistryKeysContract, NamesThatDoNotFit_AndIndexesTooHigh_TouchNothing) {
    Make(u"\\list\\four");
    const OwnedRegistryKey list = Make(u"\\list");
    std::u16string name = u"before";
    EXPECT_EQ(seam.enumeration.SubkeyName(list.Get(), 0, 4, name), SystemError::MoreData);
    EXPECT_EQ(seam.enumeration.SubkeyName(list.Get(), 1, 40, name), SystemError::NoMoreItems);
    EXPECT_EQ(name, u"before");
    EXPECT_EQ(seam.enumeration.SubkeyName(list.Get(), 0, 5, name), SystemError::Success);
    EXPECT_EQ(name, u"four");
}

TEST_F(RegistryKeysContract, DeletingATree_TakesAllBelow_AndNothingBeside) {
    for (const std::uint32_t view : {kKeyView64, kKeyView32}) {
        for (const std::u16string below :
             {u"\\top\\tree\\a\\b", u"\\top\\tree\\c", u"\\top\\tree2", u"\\top\\deep\\x\\y"}) {
            for (const std::uint32_t both : {kKeyView64, kKeyView32}) {
                const OwnedRegistryKey key = Make(below, kReadWrite | both);
                EXPECT_EQ(seam.registry.WriteValue(key.Get(), u"v", DwordValue(1)), SystemError::Success);
            }
        }
        const OwnedRegistryKey top = Make(u"\\top", kReadWrite | view);
        EXPECT_EQ(seam.removal.DeleteSubkeyTree(top.Get(), u"TREE"), SystemError::Success);
        EXPECT_FALSE(Exists(u"\\top\\tree", view));
        EXPECT_TRUE(Exists(u"\\top\\tree2", view));
        EXPECT_TRUE(Exists(u"\\top\\tree\\a\\b", view == kKeyView64 ? kKeyView32 : kKeyView64));
        EXPECT_EQ(seam.removal.DeleteSubkeyTree(top.Get(), u"deep\\x"), SystemError::Success);
        EXPECT_TRUE(Exists(u"\\top\\deep", view));
        EXPECT_FALSE(Exists(u"\\top\\deep\\x", view));
        EXPECT_EQ(seam.removal.DeleteSubkeyTree(top.Get(), u"none"), SystemError::FileNotFound);
        EXPECT_EQ(seam.removal.DeleteSubkeyTree(top.Get(), u""), SystemError::InvalidParameter);
        EXPECT_TRUE(Exists(u"\\top\\tree2", view));
    }
}

class ProtectionCounterContract : public ComponentContractTest {
protected:
    std::uint32_t Count() {
        std::uint32_t count = 99;
        EXPECT_EQ(seam.counter.Read(count), SystemError::Success);
        return count;
    }
};

TEST_F(ProtectionCounterContract, Suspensions_AddUp_AndStayInTheirRange) {
    EXPECT_EQ(Count(), 0u);
    EXPECT_EQ(seam.counter.Subtract(1), SystemError::InvalidData);
    EXPECT_EQ(seam.counter.Add(1), SystemError::Success);
    EXPECT_EQ(seam.counter.Add(0xFFFFFFFE), SystemError::Success);
    EXPECT_EQ(seam.counter.Add(1), SystemError::InvalidData);
    EXPECT_EQ(Count(), 0xFFFFFFFF);
    EXPECT_EQ(seam.counter.Subtract(0xFFFFFFFD), SystemError::Success);
    EXPECT_EQ(seam.counter.Subtract(3), SystemError::InvalidData);
    EXPECT_EQ(Count(), 2u);
    EXPECT_EQ(seam.counter.Subtract(2), SystemError::Success);
    EXPECT_EQ(Count(), 0u);
}

class ModuleLoaderContract : public ComponentContractTest {};

TEST_F(ModuleLoaderContract, EveryLoad_IsOneReference_OfTheSameModule) {
    ModuleHandle first{};
    ModuleHandle second{};
    EXPECT_FALSE(contract.IsModuleLoaded());
    ASSERT_EQ(seam.loader.LoadAltered(contract.Module(), first), SystemError::Success);
    ASSERT_EQ(seam.loader.Load(contract.Module(), second), SystemError::Success);
    EXPECT_EQ(first, second);
    EXPECT_NE(seam.loader.FindEntryPoint(first, "GetFactory"), nullptr);
    EXPECT_EQ(seam.loader.FindEntryPoint(first, "getfactory"), nullptr);
    EXPECT_EQ(seam.loader.FindEntryPoint(first, "NoSuch"), nullptr);
    seam.loader.Free(first);
    EXPECT_TRUE(contract.IsModuleLoaded());
    seam.loader.Free(second);
    EXPECT_FALSE(contract.IsModuleLoaded());
}

TEST_F(ModuleLoaderContract, WhatIsNoModule_IsNotLoaded) {
    ModuleHandle module{0x5A5A};
    EXPECT_EQ(seam.loader.LoadAltered(contract.Module() + u".none", module), SystemError::ModuleNotFound);
    EXPECT_EQ(seam.loader.Load(contract.Module() + u".none", module), SystemError::ModuleNotFound);
    EXPECT_TRUE(Failed(seam.loader.LoadAltered(contract.NoModule(), module)));
    EXPECT_EQ(module, ModuleHandle{0x5A5A});
}

TEST_F(ModuleLoaderContract, ANameWithoutItsFolder_IsNotSearchedFor) {
    ModuleHandle loaded{};
    ASSERT_EQ(seam.loader.Load(contract.Module(), loaded), SystemError::Success);
    const std::u16string name = contract.Module().substr(contract.Module().rfind(u'\\') + 1);
    for (const std::u16string& path : {name, u".\\" + name, u"C:" + name, u"\\" + name, std::u16string()}) {
        ModuleHandle module{0x5A5A};
        EXPECT_EQ(seam.loader.LoadAltered(path, module), SystemError::ModuleNotFound);
        EXPECT_EQ(seam.loader.Load(path, module), SystemError::ModuleNotFound);
        EXPECT_EQ(module, ModuleHandle{0x5A5A});
    }
    seam.loader.Free(loaded);
}

TEST_F(ModuleLoaderContract, AnAddressInNoModule_IsFoundByNeitherWay) {
    ModuleHandle module{0x5A5A};
    const void* const nowhere = reinterpret_cast<const void*>(16);
    EXPECT_TRUE(Failed(seam.addresses.FromAddress(nowhere, module)));
    EXPECT_NE(seam.addresses.FromAddress(nowhere, module), SystemError::ProcedureNotFound);
    EXPECT_EQ(seam.addresses.FromAddressByRanges(nowhere, module), SystemError::NotFound);
    EXPECT_EQ(module, ModuleHandle{0x5A5A});
    EXPECT_EQ(seam.addresses.MainExecutable(module), SystemError::Success);
    EXPECT_NE(module, ModuleHandle{});
}

}  // namespace
}  // namespace tests
