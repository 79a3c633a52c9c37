#include <array>

#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

constexpr ModuleHandle kUntouched{0x5A5A};
constexpr SystemError kNoModule{193};

class ModulesContract : public ContractTest {
protected:
    SystemError FileName(ModuleHandle of, std::size_t capacity = 0x8000) {
        return modules.FileName(of, capacity, name);
    }

    Modules& modules = platform.modules;
    const std::u16string path = folder + u"module.dll";
    std::u16string name = u"before";
    ModuleHandle module = kUntouched;
};

TEST_F(ModulesContract, FileName_OfTheExecutable_AndOfTheModuleOfThisCode) {
    for (const ModuleHandle known : {kMainExecutable, modules.Own()}) {
        EXPECT_EQ(FileName(known), SystemError::Success);
        EXPECT_EQ(std::exchange(name, u"before"), contract.ExecutablePath());
    }
    EXPECT_EQ(FileName(ModuleHandle{0x1230000}), SystemError::ModuleNotFound);
    const std::size_t size = contract.ExecutablePath().size();
    for (const std::size_t capacity : {std::size_t{0}, std::size_t{1}, size - 1, size}) {
        EXPECT_EQ(FileName(kMainExecutable, capacity), SystemError::InsufficientBuffer) << capacity;
    }
    EXPECT_EQ(name, u"before");
    EXPECT_EQ(FileName(kMainExecutable, size + 1), SystemError::Success);
}

TEST_F(ModulesContract, EveryLoad_IsOneReference_OfTheSameModule) {
    contract.PutModule(path);
    std::u16string capitals = path;
    capitals.replace(path.size() - 10, 10, u"MODULE.DLL");
    ModuleHandle second{};
    ASSERT_EQ(modules.LoadAltered(path, module), SystemError::Success);
    ASSERT_EQ(modules.Load(capitals, second), SystemError::Success);
    EXPECT_EQ(module, second);
    EXPECT_NE(modules.FindEntryPoint(module, "GetFactory"), nullptr);
    EXPECT_EQ(modules.FindEntryPoint(module, "getfactory"), nullptr);
    EXPECT_EQ(modules.FindEntryPoint(module, "NoSuch"), nullptr);
    EXPECT_EQ(FileName(module), SystemError::Success);
    EXPECT_EQ(name, path);
    modules.Free(module);
    EXPECT_TRUE(contract.IsLoaded(path));
    modules.Free(second);
    EXPECT_FALSE(contract.IsLoaded(path));
}

TEST_F(ModulesContract, WhatIsNoModule_IsNeitherLoadedNorMapped) {
    contract.PutFile(folder + u"text.dll", "no module at all");
    const struct {
        std::u16string path;
        SystemError loading, mapping;
    } rows[] = {
        {folder + u"none.dll", SystemError::ModuleNotFound, SystemError::FileNotFound},
        {folder + u"text.dll", kNoModule, kNoModule},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(modules.LoadAltered(row.path, module), row.loading);
        EXPECT_EQ(modules.Load(row.path, module), row.loading);
        EXPECT_EQ(modules.MapResources(row.path, module), row.mapping);
    }
    EXPECT_EQ(module, kUntouched);
}

TEST_F(ModulesContract, ANameWithoutItsFolder_IsNotSearchedFor) {
    contract.PutModule(path);
    ModuleHandle loaded{};
    ASSERT_EQ(modules.Load(path, loaded), SystemError::Success);
    for (const std::u16string text : {u"module.dll", u".\\module.dll", u"C:module.dll", u"\\module.dll", u""}) {
        EXPECT_EQ(modules.LoadAltered(text, module), SystemError::ModuleNotFound);
        EXPECT_EQ(modules.Load(text, module), SystemError::ModuleNotFound);
    }
    EXPECT_EQ(module, kUntouched);
    modules.Free(loaded);
}

// Mapping one is left out: Wine cannot.
TEST_F(ModulesContract, AModuleAtALongPath_IsLoadedAndNamedLikeAnyOther) {
    const std::u16string deep = MakeDeepFolder() + u"module.dll";
    contract.PutModule(deep);
    ASSERT_EQ(modules.LoadAltered(deep, module), SystemError::Success);
    EXPECT_EQ(FileName(module), SystemError::Success);
    EXPECT_EQ(name, deep);
    EXPECT_EQ(FileName(module, 260), SystemError::InsufficientBuffer);
    modules.Free(module);
}

TEST_F(ModulesContract, AnAddressInNoModule_IsFoundByNeitherWay) {
    const void* const nowhere = reinterpret_cast<const void*>(16);
    const SystemError error = modules.FromAddress(nowhere, module);
    EXPECT_TRUE(Failed(error) && error != SystemError::ProcedureNotFound) << error;
    EXPECT_EQ(modules.FromAddressByRanges(nowhere, module), SystemError::NotFound);
    EXPECT_EQ(module, kUntouched);
    EXPECT_EQ(modules.MainExecutable(module), SystemError::Success);
    EXPECT_EQ(FileName(module), SystemError::Success);
    EXPECT_EQ(name, contract.ExecutablePath());
}

TEST_F(ModulesContract, ResourceStrings_AreCutToTheBuffer) {
    ASSERT_EQ(modules.MapResources(contract.GermanModule(), module), SystemError::Success);
    const std::u16string whole = u"Mit Halvora \u00FCber&pr\u00FCfen";
    for (const std::size_t size : {std::size_t{512}, whole.size() + 1, whole.size(), std::size_t{2}, std::size_t{1}}) {
        std::u16string buffer(size, u'#');
        const std::size_t length = modules.ReadString(module, 1, buffer);
        EXPECT_EQ(length, std::min(whole.size(), size - 1));
        EXPECT_EQ(buffer.substr(0, length), whole.substr(0, length));
        EXPECT_EQ(buffer[length], size == 1 ? buffer[0] : u'\0');
    }
    std::array<char16_t, 16> buffer{};
    EXPECT_EQ(modules.ReadString(module, 101, buffer), 7U);
    EXPECT_EQ(modules.ReadString(module, 3, buffer), 0U);      // in a table that is there
    EXPECT_EQ(modules.ReadString(module, 60000, buffer), 0U);  // in none
    EXPECT_EQ(modules.ReadString(module, 1, {}), 0U);
    EXPECT_EQ(modules.UnmapResources(module), SystemError::Success);
}

}  // namespace
}  // namespace tests
