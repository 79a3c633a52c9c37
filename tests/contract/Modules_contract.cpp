// Modules and processes.
#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

constexpr ModuleHandle kUntouched{0x5A5A};
constexpr SystemError kNoModule{193};

struct ModulesContract : ContractTest {
    SystemError FileName(ModuleHandle of, std::size_t capacity = 0x8000) {
        return modules.FileName(of, capacity, text);
    }

    const std::u16string path = folder + u"module.dll";
    ModuleHandle module = kUntouched;
};

TEST_F(ModulesContract, FileName_OfTheExecutable_AndOfTheModuleOfThisCode) {
    EXPECT_EQ(FileName(ModuleHandle{0x1230000}), SystemError::ModuleNotFound);
    for (const std::size_t capacity : {std::size_t{0}, executable.size()}) {
        EXPECT_EQ(FileName(kMainExecutable, capacity), SystemError::InsufficientBuffer) << capacity;
    }
    EXPECT_EQ(text, u"before");
    EXPECT_EQ(FileName(kMainExecutable, executable.size() + 1), SystemError::Success);
    EXPECT_EQ(text, executable);
    EXPECT_EQ(modules.MainExecutable(module), SystemError::Success);
    for (const ModuleHandle known : {modules.Own(), module}) {
        text.clear();
        EXPECT_EQ(FileName(known), SystemError::Success);
        EXPECT_EQ(text, executable);
    }
}

TEST_F(ModulesContract, EveryLoad_IsOneReference_OfTheSameModule) {
    PutModule(path);
    ModuleHandle second{};
    ASSERT_EQ(modules.LoadAltered(path, module), SystemError::Success);
    ASSERT_EQ(modules.Load(folder + u"MODULE.DLL", second), SystemError::Success);
    EXPECT_EQ(module, second);
    EXPECT_NE(modules.FindEntryPoint(module, "GetFactory"), nullptr);
    EXPECT_EQ(modules.FindEntryPoint(module, "getfactory"), nullptr);
    modules.Free(module);
    EXPECT_EQ(FileName(module), SystemError::Success);
    EXPECT_EQ(text, path);
    modules.Free(second);
    EXPECT_EQ(FileName(module), SystemError::ModuleNotFound);
    // So is one at a long path. Mapping it is left out: Wine cannot.
    const std::u16string deep = MakeDeepFolder() + u"module.dll";
    PutModule(deep);
    ASSERT_EQ(modules.LoadAltered(deep, module), SystemError::Success);
    EXPECT_EQ(FileName(module), SystemError::Success);
    EXPECT_EQ(text, deep);
    EXPECT_EQ(FileName(module, 260), SystemError::InsufficientBuffer);
    modules.Free(module);
}

TEST_F(ModulesContract, MappedFile_IsTheOneThatWasLoadedOrMapped) {
    PutModule(path);
    FileIdentity expected, found;
    OwnedFile file(files);
    ASSERT_EQ(files.OpenForReading(path, FileSharing::Readers, file.Receive()), SystemError::Success);
    ASSERT_EQ(files.Identity(file.Get(), expected), SystemError::Success);
    for (const bool isLoaded : {true, false}) {
        ASSERT_EQ(isLoaded ? modules.LoadAltered(path, module) : modules.MapResources(path, module),
                  SystemError::Success);
        ASSERT_EQ(modules.MappedFile(module, text), SystemError::Success);
        OwnedFile mapped(files);
        EXPECT_EQ(files.OpenForReading(text, FileSharing::Readers, mapped.Receive()), SystemError::Success);
        EXPECT_EQ(files.Identity(mapped.Get(), found), SystemError::Success);
        EXPECT_TRUE(found == expected);
        isLoaded ? modules.Free(module) : modules.DropResources(module);
    }
}

TEST_F(ModulesContract, ANameWithoutExtension_GetsOne_UnlessItEndsInADot_OneWithoutItsFolder_IsNotSearchedFor) {
    ModuleHandle none = kUntouched;
    PutModule(folder + u"plug");
    PutModule(folder + u"plug.dll");
    for (const auto& [name, file] : {std::pair(u"plug", u"plug.dll"), {u"plug.", u"plug"}}) {
        ASSERT_EQ(modules.LoadAltered(folder + name, module), SystemError::Success);
        EXPECT_EQ(FileName(module), SystemError::Success);
        EXPECT_EQ(text, folder + file);
        for (const std::u16string sought : {u"plug.dll", u".\\plug.dll", u"C:plug.dll", u"\\plug.dll", u""}) {
            EXPECT_EQ(modules.LoadAltered(sought, none), SystemError::ModuleNotFound);
            EXPECT_EQ(modules.Load(sought, none), SystemError::ModuleNotFound);
        }
        modules.Free(module);
    }
    EXPECT_EQ(none, kUntouched);
}

TEST_F(ModulesContract, WhatIsNoModule_IsNeitherLoadedNorMappedNorFoundByAnAddress) {
    PutFile(folder + u"text.dll", "no module at all");
    for (const auto& [file, loading, mapping] :
         {std::tuple(folder + u"none.dll", SystemError::ModuleNotFound, SystemError::FileNotFound),
          std::tuple(folder + u"text.dll", kNoModule, kNoModule)}) {
        EXPECT_EQ(modules.LoadAltered(file, module), loading);
        EXPECT_EQ(modules.Load(file, module), loading);
        EXPECT_EQ(modules.MapResources(file, module), mapping);
    }
    const void* const nowhere = reinterpret_cast<const void*>(16);
    const SystemError error = modules.FromAddress(nowhere, module);
    EXPECT_TRUE(Failed(error) && error != SystemError::ProcedureNotFound) << error;
    EXPECT_EQ(modules.FromAddressByRanges(nowhere, module), SystemError::NotFound);
    EXPECT_EQ(module, kUntouched);
}

TEST_F(ModulesContract, ResourceStrings_AreCutToTheBuffer) {
    ASSERT_EQ(modules.MapResources(germanModule, module), SystemError::Success);
    const std::u16string whole = u"Mit Halvora \u00FCber&pr\u00FCfen";
    for (const std::size_t size : {std::size_t{512}, whole.size() + 1, whole.size(), std::size_t{1}}) {
        std::u16string buffer(size, u'#');
        const std::size_t length = modules.ReadString(module, 1, buffer);
        EXPECT_EQ(length, std::min(whole.size(), size - 1));
        EXPECT_EQ(buffer.substr(0, length), whole.substr(0, length));
        EXPECT_EQ(buffer[length], size == 1 ? buffer[0] : u'\0');
    }
    std::u16string buffer(16, u'#');
    EXPECT_EQ(modules.ReadString(module, 3, buffer), 0U);      // in a table that is there
    EXPECT_EQ(modules.ReadString(module, 60000, buffer), 0U);  // in none
    EXPECT_EQ(modules.ReadString(module, 1, {}), 0U);
    EXPECT_EQ(modules.UnmapResources(module), SystemError::Success);
}

using ProcessesContract = ContractTest;

TEST_F(ProcessesContract, ImageFileName_NamesTheExecutable_AndWhatCannotBeStartedTouchesNothing) {
    for (const std::uint32_t noProcess : {0U, 0xFFFFFFF0U}) {
        EXPECT_EQ(processes.ImageFileName(noProcess, text), SystemError::InvalidParameter);
    }
    EXPECT_EQ(text, u"before");
    ASSERT_EQ(processes.ImageFileName(processes.CurrentId(), text), SystemError::Success);
    // The volume may be named in either form; what follows it is the same.
    EXPECT_TRUE(text.ends_with(executable.substr(2)));
    const std::u16string missing = u'"' + folder + u"none.exe\" /x";
    const std::u16string cut = u'"' + samples + u"good.exe" + std::u16string(u"\"\0x", 3);
    StartedProcess started;
    EXPECT_EQ(processes.Start(missing, kCreateNoWindow, started), SystemError::FileNotFound);
    EXPECT_EQ(processes.Start(cut, kCreateNoWindow, started), SystemError::InvalidParameter);
    EXPECT_EQ(started.process, ProcessHandle{});
    EXPECT_EQ(started.thread, ThreadHandle{});
    EXPECT_EQ(started.processId, 0U);
}

}  // namespace
}  // namespace tests
