#include <algorithm>

#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

class FilesContract : public ContractTest {
protected:
    OwnedFile Open(const std::u16string& name, FileSharing sharing = FileSharing::Readers,
                   SystemError expected = SystemError::Success) {
        OwnedFile file(files);
        EXPECT_EQ(files.OpenForReading(name, sharing, file.Receive()), expected);
        return file;
    }
    std::string ReadAll(const OwnedFile& file, std::size_t step) {
        std::string text;
        std::vector<std::byte> buffer(step);
        std::size_t count = 1;
        while (count != 0) {
            EXPECT_EQ(files.Read(file.Get(), buffer, count), SystemError::Success);
            text.append(reinterpret_cast<const char*>(buffer.data()), count);
        }
        return text;
    }
    std::uint32_t Attributes(const std::u16string& name) {
        std::uint32_t attributes = 0;
        EXPECT_EQ(files.Attributes(name, attributes), SystemError::Success) << testing::PrintToString(name);
        return attributes;
    }

    Files& files = platform.files;
    const std::u16string path = folder + u"file.txt";
    FoundEntry entry{7, u"before"};
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
        const bool isTooLong = row.path.size() > 300;
        for (const SystemError error :
             {files.Attributes(row.path, attributes), files.OpenForReading(row.path, FileSharing::Readers, file)}) {
            EXPECT_TRUE(error == row.error || (isTooLong && error == SystemError::FileNotFound))
                << error << " for " << testing::PrintToString(row.path);
        }
        EXPECT_EQ(attributes, 0x5A5AU);
        EXPECT_EQ(file, FileHandle{0x5A5A});
    }
}

TEST_F(FilesContract, Attributes_TellFoldersFromFiles) {
    contract.PutFile(path, "x");
    contract.MakeFolder(folder + u"sub");
    EXPECT_EQ(Attributes(path) & kAttributeDirectory, 0U);
    for (const std::u16string name : {u"sub", u"sub\\", u"SUB"}) {
        EXPECT_EQ(Attributes(folder + name) & kAttributeDirectory, kAttributeDirectory);
    }
    Open(folder + u"sub", FileSharing::Readers, SystemError::AccessDenied);
}

TEST_F(FilesContract, Reading_GivesAllBytes_InAnySteps) {
    for (const std::string& bytes : {std::string("one\r\n\0\x1A\xFFtwo", 11), std::string()}) {
        contract.PutFile(path, bytes);
        for (const std::size_t step : {1U, 4U, 11U, 4096U}) {
            const OwnedFile file = Open(path);
            std::uint64_t size = 9;
            EXPECT_EQ(files.Size(file.Get(), size), SystemError::Success);
            EXPECT_EQ(size, bytes.size());
            EXPECT_EQ(ReadAll(file, step), bytes) << step;
        }
    }
}

TEST_F(FilesContract, Names_AreUnicode_OfAnyLength_InAnyLetterCase) {
    const std::u16string deep = MakeDeepFolder();
    contract.PutFile(folder + u"Gr\u00FC\u00DFe \u4F60\u597D \U0001F600.txt", "found");
    contract.PutFile(deep + u"File.txt", "found");
    for (const std::u16string& name : {folder + u"GR\u00FC\u00DFe \u4F60\u597D \U0001F600.txt", deep + u"file.TXT"}) {
        EXPECT_EQ(ReadAll(Open(name), 16), "found");
        Attributes(name);
    }
    OwnedSearch search(files);
    EXPECT_EQ(files.FindFirst(deep + u"fILE.txt", search.Receive(), entry), SystemError::Success);
    EXPECT_EQ(entry.name, u"File.txt");
}

// Whoever writes here shares everything.
TEST_F(FilesContract, Sharing_DecidesWhoElseMayHaveTheFile) {
    contract.PutFile(path, "kept");
    for (const FileSharing sharing : {FileSharing::Readers, FileSharing::ReadersAndWriters}) {
        const bool alone = sharing == FileSharing::Readers;
        const SystemError whenAlone = alone ? SystemError::SharingViolation : SystemError::Success;
        {
            const OwnedFile file = Open(path, sharing);
            EXPECT_EQ(contract.TryWrite(path), whenAlone);
            EXPECT_EQ(contract.TryRemove(path), SystemError::SharingViolation);
            EXPECT_TRUE(Failed(contract.TryReplace(path)));
            Open(path, sharing);
            EXPECT_EQ(ReadAll(file, 16), "kept");
        }
        EXPECT_EQ(contract.TryWrite(path), SystemError::Success);
        const auto writer = contract.HoldForWriting(path);
        Open(path, sharing, whenAlone);
    }
    EXPECT_EQ(contract.TryRemove(path), SystemError::Success);
}

TEST_F(FilesContract, ASearch_FindsEverythingInAFolder_OnceEach) {
    contract.PutFile(folder + u"File.txt", "x");
    contract.PutFile(folder + u"no extension \u00E9\u4E2D", "x");
    contract.MakeFolder(folder + u"1033");
    OwnedSearch search(files);
    std::vector<std::u16string> names;
    std::vector<std::u16string> folders;
    SystemError error = files.FindFirst(folder + u"*.*", search.Receive(), entry);
    for (; Succeeded(error); error = files.FindNext(search.Get(), entry)) {
        names.push_back(entry.name);
        if ((entry.attributes & kAttributeDirectory) != 0) {
            folders.push_back(entry.name);
        }
    }
    EXPECT_EQ(error, SystemError::NoMoreFiles);
    std::ranges::sort(names);
    std::ranges::sort(folders);
    EXPECT_EQ(names, (std::vector<std::u16string>{u".", u"..", u"1033", u"File.txt", u"no extension \u00E9\u4E2D"}));
    EXPECT_EQ(folders, (std::vector<std::u16string>{u".", u"..", u"1033"}));

    ASSERT_EQ(files.FindFirst(folder + u"fILE.TXT", search.Receive(), entry), SystemError::Success);
    EXPECT_EQ(files.FindNext(search.Get(), entry), SystemError::NoMoreFiles);
    EXPECT_EQ(entry.name, u"File.txt");
}

TEST_F(FilesContract, ASearchForWhatIsMissing_SaysWhatIsMissing_AndTouchesNothing) {
    SearchHandle search{};
    EXPECT_EQ(files.FindFirst(folder + u"none", search, entry), SystemError::FileNotFound);
    EXPECT_EQ(files.FindFirst(folder + u"none\\*.*", search, entry), SystemError::PathNotFound);
    EXPECT_EQ(search, SearchHandle{});
    EXPECT_EQ(entry.attributes, 7U);
    EXPECT_EQ(entry.name, u"before");
}

}  // namespace
}  // namespace tests
