#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

using namespace tsLib::platform;

class ModulesContract : public ContractTest {};

TEST_F(ModulesContract, FileName_OfTheExecutable_AndOfTheModuleOfThisCode) {
    std::u16string path;
    EXPECT_EQ(seam.modules.FileName(kMainExecutable, 0x8000, path), SystemError::Success);
    EXPECT_EQ(path, contract.ExecutablePath());
    path.clear();
    EXPECT_EQ(seam.modules.FileName(seam.modules.Own(), 0x8000, path), SystemError::Success);
    EXPECT_EQ(path, contract.ExecutablePath());
}

TEST_F(ModulesContract, ANameThatFillsTheBuffer_IsRefused_AndTouchesNothing) {
    const std::size_t size = contract.ExecutablePath().size();
    std::u16string path = u"before";
    for (const std::size_t capacity : {std::size_t{0}, std::size_t{1}, size - 1, size}) {
        EXPECT_EQ(seam.modules.FileName(kMainExecutable, capacity, path), SystemError::InsufficientBuffer) << capacity;
    }
    EXPECT_EQ(path, u"before");
    EXPECT_EQ(seam.modules.FileName(kMainExecutable, size + 1, path), SystemError::Success);
    EXPECT_EQ(path.size(), size);
}

TEST_F(ModulesContract, AnUnknownModule_IsNotFound) {
    std::u16string path = u"before";
    EXPECT_EQ(seam.modules.FileName(ModuleHandle{0x1230000}, 260, path), SystemError::ModuleNotFound);
    EXPECT_EQ(path, u"before");
}

}  // namespace
}  // namespace tests
