// Files and text outputs.
#include "tests/contract/ContractPlatform.h"
#include "tslib/platform/AsciiCase.h"

namespace tests {
namespace {

struct FilesContract : ContractTest {
    OwnedFile Open(const std::u16string& name, FileSharing sharing = FileSharing::Readers,
                   SystemError expected = SystemError::Success) {
        OwnedFile file(files);
        EXPECT_EQ(files.OpenForReading(name, sharing, file.Receive()), expected);
        return file;
    }
    std::string ReadAll(const OwnedFile& file, std::size_t step) {
        std::string bytes;
        std::vector<std::byte> buffer(step);
        for (std::size_t count = 1; count != 0 && bytes.size() < 100;) {
            EXPECT_EQ(files.Read(file.Get(), buffer, count), SystemError::Success);
            bytes.append(reinterpret_cast<const char*>(buffer.data()), std::min(count, step));
        }
        return bytes;
    }
    bool IsFolder(const std::u16string& name) {
        std::uint32_t attributes = 0;
        EXPECT_EQ(files.Attributes(name, attributes), SystemError::Success) << testing::PrintToString(name);
        return (attributes & kAttributeDirectory) != 0;
    }

    const std::u16string path = folder + u"file.txt";
    FoundEntry entry{7, u"before"};
};

TEST_F(FilesContract, WhatIsMissing_SaysWhatIsMissing_AndTouchesNothing) {
    PutFile(path, "x");
    const std::pair<std::u16string, SystemError> rows[] = {
        {folder + u"none", SystemError::FileNotFound},
        {folder + u"no folder\\none", SystemError::PathNotFound},
        {path + u"\\below a file", SystemError::PathNotFound},
        {u"", SystemError::PathNotFound},
        {folder + u"a*b", SystemError{123}},
        {path + std::u16string(u"\0x", 2), SystemError{123}},
    };
    for (const auto& [missing, expected] : rows) {
        std::uint32_t attributes = 0x5A5A;
        FileHandle file{0x5A5A};
        EXPECT_EQ(files.Attributes(missing, attributes), expected) << testing::PrintToString(missing);
        EXPECT_EQ(files.OpenForReading(missing, FileSharing::Readers, file), expected);
        EXPECT_EQ(attributes, 0x5A5AU);
        EXPECT_EQ(file, FileHandle{0x5A5A});
    }
    SearchHandle search{};
    EXPECT_EQ(files.FindFirst(folder + u"none", search, entry), SystemError::FileNotFound);
    EXPECT_EQ(files.FindFirst(folder + u"none\\*.*", search, entry), SystemError::PathNotFound);
    EXPECT_EQ(search, SearchHandle{});
    EXPECT_EQ(entry.attributes, 7U);
    EXPECT_EQ(entry.name, u"before");
}

TEST_F(FilesContract, Reading_GivesAllBytes_InAnySteps) {
    for (const std::string& bytes : {std::string("one\r\n\0\x1A\xFFtwo", 11), std::string()}) {
        PutFile(path, bytes);
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
    PutFile(folder + u"Gr\u00FC\u00DFe \u4F60\u597D \U0001F600.txt", "found");
    PutFile(deep + u"File.txt", "found");
    for (const std::u16string& name : {folder + u"GR\u00FC\u00DFe \u4F60\u597D \U0001F600.txt", deep + u"file.TXT"}) {
        EXPECT_EQ(ReadAll(Open(name), 16), "found");
        EXPECT_FALSE(IsFolder(name));
    }
    for (const std::u16string& name : {folder, folder.substr(0, folder.size() - 1), deep}) {
        EXPECT_TRUE(IsFolder(name));
        Open(name, FileSharing::Readers, SystemError::AccessDenied);
    }
    OwnedSearch search(files);
    EXPECT_EQ(files.FindFirst(deep + u"fILE.txt", search.Receive(), entry), SystemError::Success);
    EXPECT_EQ(entry.name, u"File.txt");
    EXPECT_EQ(files.FindNext(search.Get(), entry), SystemError::NoMoreFiles);
}

// Whoever writes here shares everything.
TEST_F(FilesContract, Sharing_DecidesWhoElseMayHaveTheFile) {
    PutFile(path, "kept");
    for (const FileSharing sharing : {FileSharing::Readers, FileSharing::ReadersAndWriters}) {
        const bool alone = sharing == FileSharing::Readers;
        const SystemError whenAlone = alone ? SystemError::SharingViolation : SystemError::Success;
        {
            const OwnedFile file = Open(path, sharing);
            EXPECT_EQ(TryWrite(path).first, whenAlone);
            EXPECT_EQ(TryRemove(path), SystemError::SharingViolation);
            Open(path, sharing);
            EXPECT_EQ(ReadAll(file, 16), "kept");
        }
        const auto [written, writer] = TryWrite(path);
        EXPECT_EQ(written, SystemError::Success);
        Open(path, sharing, whenAlone);
    }
    EXPECT_EQ(TryRemove(path), SystemError::Success);
}

TEST_F(FilesContract, State_TellsIdentitySizeAndTimes_OfTheFile_NotOfItsName) {
    FileState state;
    FileIdentity again, other;
    std::uint64_t now = 0;
    PutFile(path, "four");
    PutFile(folder + u"other.txt", "four");
    ASSERT_EQ(files.State(Open(path).Get(), state), SystemError::Success);
    ASSERT_EQ(system.FileTimeNow(now), SystemError::Success);
    EXPECT_EQ(files.Identity(Open(folder + u"FILE.txt").Get(), again), SystemError::Success);
    EXPECT_EQ(files.Identity(Open(folder + u"other.txt").Get(), other), SystemError::Success);
    EXPECT_TRUE(state.identity == again);
    EXPECT_FALSE(state.identity == other);
    EXPECT_EQ(state.size, 4U);
    for (const std::uint64_t time : {state.lastWrite, state.change}) {
        EXPECT_TRUE(time > 0 && time <= now + 10'000'000) << time;
    }
    Stamp stamp;
    ASSERT_EQ(files.StampOf(folder + u".\\FILE.txt", stamp), SystemError::Success);
    EXPECT_EQ(stamp.attributes & kAttributeDirectory, 0U);
    EXPECT_EQ(stamp.size, state.size);
    EXPECT_EQ(stamp.lastWrite, state.lastWrite);
    EXPECT_EQ(stamp.change, state.change);
}

TEST_F(FilesContract, AFoldersStamp_ChangesWithItsEntries) {
    MakeFolder(folder + u"sub");
    Stamp before, after;
    ASSERT_EQ(files.StampOf(folder + u"sub\\", before), SystemError::Success);
    EXPECT_NE(before.attributes & kAttributeDirectory, 0U);
    ASSERT_EQ(files.StampOf(folder + u"sub", after), SystemError::Success);
    EXPECT_TRUE(after == before);
    // Until the clock goes on.
    for (char16_t name[] = u"A"; name[0] != u'\u2000' && after.lastWrite == before.lastWrite; ++name[0]) {
        PutFile(folder + u"sub\\new" + name, "x");
        ASSERT_EQ(files.StampOf(folder + u"sub", after), SystemError::Success);
    }
    EXPECT_GT(after.lastWrite, before.lastWrite);
    EXPECT_EQ(files.StampOf(folder + u"none", after), SystemError::FileNotFound);
    Volume volume;
    ASSERT_EQ(files.VolumeOf(folder, volume), SystemError::Success);
    EXPECT_TRUE(volume.isFixed);
    EXPECT_EQ(volume.fileSystem, u"NTFS");
}

// In which letter case is not said: some platforms tell it as the file was opened.
TEST_F(FilesContract, FinalPath_IsTheWholeLiteralPath) {
    const std::u16string deep = MakeDeepFolder() + u"File.txt";
    PutFile(folder + u"File.txt", "x");
    PutFile(deep, "x");
    for (const auto& [given, full] : {std::pair(folder + u".\\FILE.TXT", folder + u"File.txt"), {deep, deep}}) {
        ASSERT_EQ(files.FinalPath(Open(given).Get(), text), SystemError::Success);
        EXPECT_TRUE(tsLib::EqualsAscii(text, u"\\\\?\\" + full)) << testing::PrintToString(text);
    }
}

TEST_F(FilesContract, AHeldFolder_IsNotRenamed) {
    const std::u16string one = folder + u"one";
    const std::u16string other = folder + u"other";
    for (const std::u16string& name : {one, other}) {
        MakeFolder(name);
        PutFile(name + u"\\file.txt", name == one ? "one" : "other");
    }
    {
        OwnedFile held(files);
        ASSERT_EQ(files.HoldFolder(one, held.Receive()), SystemError::Success);
        EXPECT_EQ(TrySwap(one, other), SystemError::SharingViolation);
        EXPECT_EQ(ReadAll(Open(one + u"\\file.txt"), 16), "one");
    }
    EXPECT_EQ(TrySwap(one, other), SystemError::Success);
    EXPECT_EQ(ReadAll(Open(one + u"\\file.txt"), 16), "other");
    FileHandle none{0x5A5A};
    EXPECT_EQ(files.HoldFolder(folder + u"none", none), SystemError::FileNotFound);
    EXPECT_EQ(none, FileHandle{0x5A5A});
}

TEST_F(FilesContract, ASearch_FindsEverythingInAFolder_OnceEach) {
    PutFile(folder + u"no extension \u00E9\u4E2D", "x");
    MakeFolder(folder + u"1033");
    OwnedSearch search(files);
    std::vector<std::pair<std::u16string, bool>> found;
    SystemError error = files.FindFirst(folder + u"*.*", search.Receive(), entry);
    for (; Succeeded(error); error = files.FindNext(search.Get(), entry)) {
        found.emplace_back(entry.name, (entry.attributes & kAttributeDirectory) != 0);
    }
    EXPECT_EQ(error, SystemError::NoMoreFiles);
    std::ranges::sort(found);
    const decltype(found) all{{u".", true}, {u"..", true}, {u"1033", true}, {u"no extension \u00E9\u4E2D", false}};
    EXPECT_EQ(found, all);
}

using TextOutputContract = FilesContract;

TEST_F(TextOutputContract, Lines_AreTheirBytes_ThenCrLf_AndThereForOthersAtOnce) {
    PutFile(path, "something longer than what follows, and gone when the file is opened");
    ASSERT_EQ(output.Open(path), StreamState::Good);
    EXPECT_TRUE(output.IsOpen());
    EXPECT_EQ(FileText(path), "");
    output.WriteLine("Gr\xC3\xBC\xC3\x9F\x65");
    EXPECT_EQ(FileText(path), "Gr\xC3\xBC\xC3\x9F\x65\r\n");
    output.WriteLine(std::string_view("a\nb\0c", 5));
    output.WriteLine("");
    // One who does not want to share with a writer is refused.
    FileHandle file{};
    EXPECT_EQ(files.OpenForReading(path, FileSharing::Readers, file), SystemError::SharingViolation);
    output.Close();
    EXPECT_FALSE(output.IsOpen());
    EXPECT_EQ(output.State(), StreamState::Good);
    output.WriteLine("late");
    EXPECT_EQ(FileText(path), std::string("Gr\xC3\xBC\xC3\x9F\x65\r\na\nb\0c\r\n\r\n", 18));
}

TEST_F(TextOutputContract, WhatCannotBeOpened_IsFailedOrBad_AndSwallowsLines_UntilTheNextOpening) {
    PutFile(path, "kept");
    OwnedFile reader(files);
    ASSERT_EQ(files.OpenForReading(path, FileSharing::Readers, reader.Receive()), SystemError::Success);
    const std::pair<std::u16string, StreamState> rows[] = {
        {folder + u"none\\list", StreamState::Failed},
        {folder, StreamState::Failed},
        {path + std::u16string(u"\0x", 2), StreamState::Failed},
        {path, StreamState::Failed},  // its reader keeps writers away
        {u"NUL", StreamState::Bad},   // a device
    };
    for (const auto& [name, state] : rows) {
        EXPECT_EQ(output.Open(name), state) << testing::PrintToString(name);
        EXPECT_FALSE(output.IsOpen());
        output.WriteLine("lost");
        output.Close();
        EXPECT_EQ(output.State(), state);
    }
    reader.Reset();
    ASSERT_EQ(output.Open(path), StreamState::Good);  // starts anew
    output.WriteLine("line");
    EXPECT_EQ(FileText(path), "line\r\n");
}

}  // namespace
}  // namespace tests
