#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

using namespace tsLib::platform;

constexpr std::uint32_t kFolder = 0x10;

class FilesContract : public ContractTest {
protected:
    std::string ReadAll(const OwnedFile& file, std::size_t step) {
        std::string text;
        std::vector<std::byte> buffer(step);
        std::size_t count = 1;
        while (count != 0) {
            EXPECT_EQ(seam.files.Read(file.Get(), buffer, count), SystemError::Success);
            text.append(reinterpret_cast<const char*>(buffer.data()), count);
        }
        return text;
    }

    const std::u16string folder = contract.ScratchFolder();
    const std::u16string path = folder + u"file.txt";
};

TEST_F(FilesContract, WhatIsMissing_SaysWhatIsMissing_AndTouchesNothing) {
    contract.PutFile(path, "x");
    const struct {
        std::u16string path;
        SystemError error;
    } rows[] = {
        {folder + u"none", SystemError::FileNotFound},
        {folder + u"no folder\\none", SystemError::PathNotFound},
        {path + u"\\below a file", SystemError::PathNotFound},
        {u"", SystemError::PathNotFound},
        {folder + u"a*b", SystemError{123}},
        {path + std::u16string(u"\0x", 2), SystemError{123}},
        {folder + std::u16string(300, u'n'), SystemError{123}},  // longer than a name can be
    };
    for (const auto& row : rows) {
        std::uint32_t attributes = 0x5A5A;
        FileHandle file{0x5A5A};
        // Some file systems take a name of any length, and then it is just not there.
        const bool tooLong = row.path.size() > 300;
        const auto expect = [&](SystemError error) {
            EXPECT_TRUE(error == row.error || (tooLong && error == SystemError::FileNotFound))
                << error << " for " << testing::PrintToString(row.path);
        };
        expect(seam.files.Attributes(row.path, attributes));
        expect(seam.files.OpenForReading(row.path, file));
        EXPECT_EQ(attributes, 0x5A5AU);
        EXPECT_EQ(file, FileHandle{0x5A5A});
    }
}

TEST_F(FilesContract, Attributes_TellFoldersFromFiles) {
    contract.PutFile(path, "x");
    contract.MakeFolder(folder + u"sub");
    std::uint32_t attributes = 0;
    EXPECT_EQ(seam.files.Attributes(path, attributes), SystemError::Success);
    EXPECT_EQ(attributes & kFolder, 0U);
    for (const std::u16string name : {u"sub", u"sub\\", u"SUB"}) {
        attributes = 0;
        EXPECT_EQ(seam.files.Attributes(folder + name, attributes), SystemError::Success);
        EXPECT_EQ(attributes & kFolder, kFolder);
    }
    FileHandle file{};
    EXPECT_EQ(seam.files.OpenForReading(folder + u"sub", file), SystemError::AccessDenied);
}

TEST_F(FilesContract, Reading_GivesAllBytes_InAnySteps) {
    const std::string bytes("one\r\n\0\x1A\xFFtwo", 11);
    contract.PutFile(path, bytes);
    for (const std::size_t step : {1U, 4U, 11U, 4096U}) {
        OwnedFile file(seam.files);
        ASSERT_EQ(seam.files.OpenForReading(path, file.Receive()), SystemError::Success);
        std::uint64_t size = 0;
        EXPECT_EQ(seam.files.Size(file.Get(), size), SystemError::Success);
        EXPECT_EQ(size, bytes.size());
        EXPECT_EQ(ReadAll(file, step), bytes) << step;
    }
}

TEST_F(FilesContract, EmptyFile_EndsAtOnce) {
    contract.PutFile(path, "");
    OwnedFile file(seam.files);
    ASSERT_EQ(seam.files.OpenForReading(path, file.Receive()), SystemError::Success);
    std::uint64_t size = 9;
    EXPECT_EQ(seam.files.Size(file.Get(), size), SystemError::Success);
    EXPECT_EQ(size, 0U);
    EXPECT_EQ(ReadAll(file, 16), "");
}

TEST_F(FilesContract, Names_AreUnicode_OfAnyLength_InAnyLetterCase) {
    std::u16string deep = folder;
    for (int i = 0; i < 6; ++i) {
        deep += std::u16string(50, u'd') + u"\\";
        contract.MakeFolder(deep);
    }
    const std::u16string names[] = {folder + u"Gr\u00FC\u00DFe \u4F60\u597D \U0001F600.txt", deep + u"file.txt"};
    for (const std::u16string& name : names) {
        contract.PutFile(name, "found");
        OwnedFile file(seam.files);
        ASSERT_EQ(seam.files.OpenForReading(name, file.Receive()), SystemError::Success);
        EXPECT_EQ(ReadAll(file, 16), "found");
        std::uint32_t attributes = 0;
        EXPECT_EQ(seam.files.Attributes(name, attributes), SystemError::Success);
    }
    contract.PutFile(path, "x");
    std::uint32_t attributes = 0;
    EXPECT_EQ(seam.files.Attributes(folder + u"FILE.TXT", attributes), SystemError::Success);
    EXPECT_EQ(seam.files.Attributes(deep + u"FILE.txt", attributes), SystemError::Success);
}

TEST_F(FilesContract, AnOpenFile_CannotBeChanged_ButReadByOthers) {
    contract.PutFile(path, "kept");
    {
        OwnedFile file(seam.files);
        ASSERT_EQ(seam.files.OpenForReading(path, file.Receive()), SystemError::Success);
        EXPECT_EQ(contract.TryOpenForWriting(path), SystemError::SharingViolation);
        EXPECT_EQ(contract.TryRemove(path), SystemError::SharingViolation);
        EXPECT_TRUE(Failed(contract.TryReplace(path)));
        OwnedFile second(seam.files);
        EXPECT_EQ(seam.files.OpenForReading(path, second.Receive()), SystemError::Success);
        EXPECT_EQ(ReadAll(file, 16), "kept");
    }
    EXPECT_EQ(contract.TryOpenForWriting(path), SystemError::Success);
}

TEST_F(FilesContract, AFileOpenForWriting_IsASharingViolation) {
    contract.PutFile(path, "x");
    FileHandle file{};
    {
        const auto writer = contract.HoldForWriting(path);
        EXPECT_EQ(seam.files.OpenForReading(path, file), SystemError::SharingViolation);
        EXPECT_EQ(file, FileHandle{});
    }
    ASSERT_EQ(seam.files.OpenForReading(path, file), SystemError::Success);
    seam.files.Close(file);
}

}  // namespace
}  // namespace tests
