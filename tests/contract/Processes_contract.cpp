#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

class ProcessesContract : public ContractTest {
protected:
    Processes& processes = platform.processes;
    StartedProcess started;
};

TEST_F(ProcessesContract, ImageFileName_OfThisProcess_NamesTheExecutable) {
    std::u16string path = u"before";
    for (const std::uint32_t noProcess : {0U, 0xFFFFFFF0U}) {
        EXPECT_EQ(processes.ImageFileName(noProcess, path), SystemError::InvalidParameter);
    }
    EXPECT_EQ(path, u"before");
    ASSERT_EQ(processes.ImageFileName(processes.CurrentId(), path), SystemError::Success);
    // The volume may be named in either form; what follows it is the same.
    EXPECT_TRUE(path.ends_with(contract.ExecutablePath().substr(2)));
}

TEST_F(ProcessesContract, ParentId_IsAnotherProcess_OrNotFound) {
    std::uint32_t parent = 0;
    const SystemError error = processes.ParentId(parent);
    EXPECT_EQ(error, parent == 0 ? SystemError::NotFound : SystemError::Success);
    EXPECT_NE(parent, processes.CurrentId());
}

TEST_F(ProcessesContract, Start_GivesBothHandlesAndIds) {
    ASSERT_EQ(processes.Start(contract.HarmlessCommandLine(), kCreateNoWindow | kNormalPriorityClass, started),
              SystemError::Success);
    EXPECT_TRUE(OwnedThread(processes, started.thread));
    EXPECT_TRUE(OwnedProcess(processes, started.process));
    EXPECT_NE(started.processId, 0U);
    EXPECT_NE(started.threadId, 0U);
}

TEST_F(ProcessesContract, WhatCannotBeStarted_TouchesNothing) {
    const std::u16string missing = u"\"" + folder + u"none.exe\" /x";
    const std::u16string cut = contract.HarmlessCommandLine() + std::u16string(u"\0x", 2);
    EXPECT_EQ(processes.Start(missing, kCreateNoWindow, started), SystemError::FileNotFound);
    EXPECT_EQ(processes.Start(cut, kCreateNoWindow, started), SystemError::InvalidParameter);
    EXPECT_EQ(started.process, ProcessHandle{});
    EXPECT_EQ(started.thread, ThreadHandle{});
    EXPECT_EQ(started.processId, 0U);
}

}  // namespace
}  // namespace tests
