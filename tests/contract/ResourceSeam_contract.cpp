#include <algorithm>
#include <array>
#include <vector>

#include "tests/contract/ResourceContractPlatform.h"

namespace tests {
namespace {

using namespace tsLib::platform;

class FileSearchContract : public ResourceContractTest {
protected:
    const std::u16string folder = contract.ScratchFolder();
};

TEST_F(FileSearchContract, EverythingInAFolder_OnceEach) {
    contract.PutFile(folder + u"file.txt");
    contract.PutFile(folder + u"no extension \u00E9\u4E2D");
    contract.MakeFolder(folder + u"1033");
    OwnedSearch search(seam.files);
    FoundEntry entry;
    std::vector<std::u16string> names;
    std::vector<std::u16string> folders;
    SystemError error = seam.files.First(folder + u"*.*", search.Receive(), entry);
    for (; Succeeded(error); error = seam.files.Next(search.Get(), entry)) {
        names.push_back(entry.name);
        if ((entry.attributes & kAttributeDirectory) != 0) {
            folders.push_back(entry.name);
        }
    }
    EXPECT_EQ(error, SystemError::NoMoreFiles);
    std::sort(names.begin(), names.end());
    std::sort(folders.begin(), folders.end());
    EXPECT_EQ(names, (std::vector<std::u16string>{u".", u"..", u"1033", u"file.txt", u"no extension \u00E9\u4E2D"}));
    EXPECT_EQ(folders, (std::vector<std::u16string>{u".", u"..", u"1033"}));
}

TEST_F(FileSearchContract, OneFile_InAnyLetterCase) {
    contract.PutFile(folder + u"File.txt");
    OwnedSearch search(seam.files);
    FoundEntry entry;
    ASSERT_EQ(seam.files.First(folder + u"fILE.TXT", search.Receive(), entry), SystemError::Success);
    EXPECT_EQ(entry.name, u"File.txt");
    EXPECT_EQ(seam.files.Next(search.Get(), entry), SystemError::NoMoreFiles);
    EXPECT_EQ(entry.name, u"File.txt");
}

TEST_F(FileSearchContract, WhatIsMissing_SaysWhatIsMissing_AndTouchesNothing) {
    SearchHandle search{};
    FoundEntry entry{7, u"before"};
    EXPECT_EQ(seam.files.First(folder + u"none", search, entry), SystemError::FileNotFound);
    EXPECT_EQ(seam.files.First(folder + u"none\\*.*", search, entry), SystemError::PathNotFound);
    EXPECT_EQ(search, SearchHandle{});
    EXPECT_EQ(entry.attributes, 7U);
    EXPECT_EQ(entry.name, u"before");
}

class ResourceModulesContract : public ResourceContractTest {};

TEST_F(ResourceModulesContract, StringsAreCutToTheBuffer) {
    ModuleHandle module{};
    ASSERT_EQ(seam.modules.Map(contract.GermanModule(), module), SystemError::Success);
    const std::u16string whole = u"Mit Halvora \u00FCber&pr\u00FCfen";
    for (const std::size_t size : {std::size_t{512}, whole.size() + 1, whole.size(), std::size_t{2}, std::size_t{1}}) {
        std::u16string buffer(size, u'#');
        const std::size_t length = seam.modules.ReadString(module, 1, buffer);
        EXPECT_EQ(length, std::min(whole.size(), size - 1));
        EXPECT_EQ(buffer.substr(0, length), whole.substr(0, length));
        EXPECT_EQ(buffer[length], size == 1 ? buffer[0] : u'\0');
    }
    std::array<char16_t, 16> buffer{};
    EXPECT_EQ(seam.modules.ReadString(module, 101, buffer), 7U);
    EXPECT_EQ(seam.modules.ReadString(module, 3, buffer), 0U);      // in a table that is there
    EXPECT_EQ(seam.modules.ReadString(module, 60000, buffer), 0U);  // in none
    EXPECT_EQ(seam.modules.ReadString(module, 1, {}), 0U);
    EXPECT_EQ(seam.modules.Unmap(module), SystemError::Success);
}

TEST_F(ResourceModulesContract, WhatIsNoModule_IsNotMapped) {
    ModuleHandle module{};
    EXPECT_EQ(seam.modules.Map(contract.ScratchFolder() + u"none.dll", module), SystemError::FileNotFound);
    EXPECT_EQ(seam.modules.Map(contract.NoModule(), module), SystemError{193});
    EXPECT_EQ(module, ModuleHandle{});
}

class ResourceTextsContract : public ResourceContractTest {};

TEST_F(ResourceTextsContract, Locales) {
    for (const std::uint32_t locale : {1031U, 1033U, 1036U, 2055U, 3079U, 66567U}) {
        EXPECT_TRUE(seam.locales.IsLocale(locale)) << locale;
    }
    for (const std::uint32_t locale : {9999U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_FALSE(seam.locales.IsLocale(locale)) << locale;
    }
    EXPECT_TRUE(seam.locales.IsLocale(seam.locales.SystemLanguage()));
    EXPECT_TRUE(seam.locales.IsLocale(seam.locales.UserLanguage()));
}

TEST_F(ResourceTextsContract, SystemText) {
    std::u16string text = u"before";
    ASSERT_EQ(seam.messages.SystemText(2, 0, text), SystemError::Success);
    EXPECT_NE(text, u"before");
    EXPECT_FALSE(text.empty());
    const std::u16string before = text;
    EXPECT_NE(seam.messages.SystemText(0xE1234567, 0, text), SystemError::Success);
    EXPECT_EQ(text, before);
}

TEST_F(ResourceTextsContract, Inserts) {
    const std::vector<std::u16string> inserts{u"%2", u"", u"three\u4E2D"};
    const struct {
        std::u16string format, filled;
    } rows[] = {
        {u"no insert", u"no insert"},
        {u"%1", u"%2"},  // an insert is not looked at again
        {u"%3!s!, %1!s!%2", u"three\u4E2D, %2"},
        {u"100%% of %3", u"100% of three\u4E2D"},
        {u"%%1", u"%1"},
        {u"one%nline%!", u"one\r\nline!"},
        {u"end%0 of it", u"end"},
    };
    for (const auto& row : rows) {
        std::u16string text = u"before";
        EXPECT_EQ(seam.messages.FillInserts(row.format, inserts, text), SystemError::Success);
        EXPECT_EQ(text, row.filled) << ::testing::PrintToString(row.format);
    }
    std::u16string text = u"%3";
    EXPECT_EQ(seam.messages.FillInserts(text, inserts, text), SystemError::Success);
    EXPECT_EQ(text, inserts[2]);
    EXPECT_NE(seam.messages.FillInserts(u"%2", inserts, text), SystemError::Success);  // nothing is left
    EXPECT_EQ(text, inserts[2]);
}

TEST_F(ResourceTextsContract, NarrowText) {
    std::string narrow = "before";
    EXPECT_EQ(seam.codePage.ToNarrow(u"", narrow), SystemError::Success);
    EXPECT_EQ(narrow, "");
    EXPECT_EQ(seam.codePage.ToNarrow(u"Halvora \u4E2D", narrow), SystemError::Success);
    EXPECT_EQ(narrow, "Halvora ?");
    EXPECT_EQ(seam.codePage.ToNarrow(std::u16string(u"a\0b", 3), narrow), SystemError::Success);
    EXPECT_EQ(narrow, std::string("a\0b", 3));
}

TEST_F(ResourceTextsContract, WindowStationIsVisible) {
    std::uint32_t flags = 0;
    EXPECT_EQ(seam.station.Flags(flags), SystemError::Success);
    EXPECT_EQ(flags & kWindowStationVisible, kWindowStationVisible);
}

}  // namespace
}  // namespace tests
