#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

class TextOutputContract : public ContractTest {
protected:
    void TearDown() override {
        text.Close();
        ContractTest::TearDown();
    }

    TextOutput& text = contract.Text();
    const std::u16string path = folder + u"list";
};

TEST_F(TextOutputContract, Lines_AreTheirBytes_ThenCrLf) {
    ASSERT_EQ(text.Open(path), StreamState::Good);
    EXPECT_TRUE(text.IsOpen());
    text.WriteLine("C:\\");
    text.WriteLine("Gr\xC3\xBC\xC3\x9F\x65");
    text.WriteLine(std::string_view("a\nb\0c", 5));
    text.WriteLine("");
    text.Close();
    EXPECT_FALSE(text.IsOpen());
    EXPECT_EQ(text.State(), StreamState::Good);
    EXPECT_EQ(contract.FileText(path), std::string("C:\\\r\nGr\xC3\xBC\xC3\x9F\x65\r\na\nb\0c\r\n\r\n", 23));
}

TEST_F(TextOutputContract, EachLine_IsThereForOthers_BeforeTheClose) {
    ASSERT_EQ(text.Open(path), StreamState::Good);
    text.WriteLine("one");
    EXPECT_EQ(contract.FileText(path), "one\r\n");
    text.WriteLine("two");
    EXPECT_EQ(contract.FileText(path), "one\r\ntwo\r\n");
    // One who does not want to share with a writer is refused.
    FileHandle file{};
    EXPECT_EQ(platform.files.OpenForReading(path, FileSharing::Readers, file), SystemError::SharingViolation);
}

TEST_F(TextOutputContract, AnOlderFile_IsTruncated) {
    contract.PutFile(path, "something longer than what follows");
    ASSERT_EQ(text.Open(path), StreamState::Good);
    EXPECT_EQ(contract.FileText(path), "");
    text.WriteLine("new");
    text.Close();
    EXPECT_EQ(contract.FileText(path), "new\r\n");
}

TEST_F(TextOutputContract, WhatCannotBeOpened_IsFailed_AndSwallowsLines) {
    contract.MakeFolder(folder + u"sub");
    for (const std::u16string& name : {folder + u"none\\list", folder + u"sub", path + std::u16string(u"\0x", 2)}) {
        EXPECT_EQ(text.Open(name), StreamState::Failed) << testing::PrintToString(name);
        EXPECT_EQ(text.State(), StreamState::Failed);
        EXPECT_FALSE(text.IsOpen());
        text.WriteLine("lost");
        text.Close();
        EXPECT_EQ(text.State(), StreamState::Failed);
    }
    EXPECT_EQ(contract.FileText(path), "");
}

TEST_F(TextOutputContract, AFileThatAReaderKeepsFromWriters_IsFailed) {
    contract.PutFile(path, "kept");
    OwnedFile reader(platform.files);
    ASSERT_EQ(platform.files.OpenForReading(path, FileSharing::Readers, reader.Receive()), SystemError::Success);
    EXPECT_EQ(text.Open(path), StreamState::Failed);
    EXPECT_EQ(contract.FileText(path), "kept");
}

TEST_F(TextOutputContract, ADevice_IsBad) {
    EXPECT_EQ(text.Open(u"NUL"), StreamState::Bad);
    EXPECT_FALSE(text.IsOpen());
}

TEST_F(TextOutputContract, OpeningAgain_StartsAnew) {
    EXPECT_EQ(text.Open(folder + u"none\\list"), StreamState::Failed);
    ASSERT_EQ(text.Open(path), StreamState::Good);
    text.WriteLine("first");
    ASSERT_EQ(text.Open(path + u"2"), StreamState::Good);
    text.WriteLine("second");
    text.Close();
    EXPECT_EQ(contract.FileText(path), "first\r\n");
    EXPECT_EQ(contract.FileText(path + u"2"), "second\r\n");
}

TEST_F(TextOutputContract, LinesWithoutAFile_AreDropped) {
    ASSERT_EQ(text.Open(path), StreamState::Good);
    text.Close();
    text.WriteLine("late");
    EXPECT_EQ(contract.FileText(path), "");
}

}  // namespace
}  // namespace tests
