#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

using namespace tsLib::platform;

class ProcessesContract : public ContractTest {};

TEST_F(ProcessesContract, ImageFileName_OfThisProcess_NamesTheExecutable) {
    std::u16string path;
    ASSERT_EQ(seam.processes.ImageFileName(seam.processes.CurrentId(), path), SystemError::Success);
    // The volume may be named in either form; what follows it is the same.
    EXPECT_TRUE(path.ends_with(contract.ExecutablePath().substr(2)));
}

TEST_F(ProcessesContract, ImageFileName_OfNoProcess_IsInvalidParameter) {
    std::u16string path = u"before";
    for (const std::uint32_t id : {0U, 0xFFFFFFF0U}) {
        EXPECT_EQ(seam.processes.ImageFileName(id, path), SystemError::InvalidParameter);
    }
    EXPECT_EQ(path, u"before");
}

TEST_F(ProcessesContract, ParentId_IsAnotherProcess_OrNotFound) {
    std::uint32_t parent = 0;
    const SystemError error = seam.processes.ParentId(parent);
    if (Succeeded(error)) {
        EXPECT_NE(parent, 0U);
        EXPECT_NE(parent, seam.processes.CurrentId());
    } else {
        EXPECT_EQ(error, SystemError::NotFound);
        EXPECT_EQ(parent, 0U);
    }
}

class ProcessStarterContract : public ContractTest {
protected:
    void TearDown() override {
        if (started.thread != ThreadHandle{}) {
            seam.starter.CloseThread(started.thread);
        }
        if (started.process != ProcessHandle{}) {
            seam.starter.CloseProcess(started.process);
        }
        ContractTest::TearDown();
    }

    StartedProcess started;
};

TEST_F(ProcessStarterContract, Start_GivesBothHandlesAndIds) {
    ASSERT_EQ(seam.starter.Start(contract.HarmlessCommandLine(), kCreateNoWindow | kNormalPriorityClass, started),
              SystemError::Success);
    EXPECT_NE(started.process, ProcessHandle{});
    EXPECT_NE(started.thread, ThreadHandle{});
    EXPECT_NE(started.processId, 0U);
    EXPECT_NE(started.threadId, 0U);
    seam.starter.CloseThread(std::exchange(started.thread, ThreadHandle{}));
    seam.starter.CloseProcess(std::exchange(started.process, ProcessHandle{}));
}

TEST_F(ProcessStarterContract, AMissingExecutable_IsFileNotFound_AndStartsNothing) {
    const std::u16string missing = u"\"" + contract.ScratchFolder() + u"none.exe\" /x";
    EXPECT_EQ(seam.starter.Start(missing, kCreateNoWindow, started), SystemError::FileNotFound);
    EXPECT_EQ(seam.starter.Start(contract.HarmlessCommandLine() + std::u16string(u"\0x", 2), kCreateNoWindow, started),
              SystemError::InvalidParameter);
    EXPECT_EQ(started.process, ProcessHandle{});
    EXPECT_EQ(started.thread, ThreadHandle{});
    EXPECT_EQ(started.processId, 0U);
}

}  // namespace
}  // namespace tests
