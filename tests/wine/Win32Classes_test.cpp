// What the Win32 classes promise beyond the contract suites.
#include "companions/protection/Win32SuspensionMarks_win32.h"
#include "tests/fakes/FailingNew.h"
#include "tests/wine/WinStaging.h"
#include "tslib/platform/win32/PlatformPath.h"
#include "tslib/platform/win32/Win32DropList.h"

namespace tests {
namespace {

using namespace tsLib::platform;
win32::Win32Platform& platform = win32::Win32Platform::Instance();

TEST(Win32Classes, MemoryRunningOut_LeavesNothingOpen) {
    const ScratchFolder folder(L"hvw");
    const std::u16string path = folder.Path() + u"good.exe";
    ASSERT_TRUE(PutBytes(path, GetBytes(Sample(u"good.exe"))));
    bool fired = true;
    for (std::uint32_t n = 1; fired && n < 1000; ++n) {
        const FailingNew failing(n);
        try {
            OwnedSignature signature(platform.signatures);
            EXPECT_EQ(platform.signatures.Open(path, signature.Receive()), SystemError::Success);
            OwnedSearch search(platform.files);
            FoundEntry entry;
            EXPECT_EQ(platform.files.FindFirst(folder.Path() + u"*.exe", search.Receive(), entry),
                      SystemError::Success);
            EXPECT_FALSE(fired = failing.Fired()) << "swallowed";
        } catch (const std::bad_alloc&) {
        }
    }
}

TEST(Win32Classes, PathThatHoldsANul_IsNeverCutToAnotherName) {
    const std::u16string whole = Sample(u"good.exe");
    const std::u16string path = whole + std::u16string(u"\0x", 2);
    SignatureHandle signature{};
    ModuleHandle module{};
    SearchHandle search{};
    FoundEntry entry;
    std::u16string text = path;
    for (const SystemError error :
         {platform.signatures.Open(path, signature), platform.modules.Load(path, module),
          platform.modules.MapResources(path, module), platform.files.FindFirst(path, search, entry),
          platform.pathForms.LongPath(path, text)}) {
        EXPECT_EQ(Number(error), 123U);
    }
    EXPECT_FALSE(platform.pathForms.RemoveFileSpec(text));
    TrustProvider& trust = platform.trustProvider;
    for (const TrustAnswer verdict :
         {trust.VerifyFile(path, {}, {}, {}), trust.VerifyCatalogMember({path, whole, {}, whole, {}, {}}, {}, {}),
          trust.VerifyCatalogMember({whole, path, {}, whole, {}, {}}, {}, {}),
          trust.VerifyCatalogMember({whole, whole, {}, path, {}, {}}, {}, {})}) {
        EXPECT_EQ(verdict, TRUST_E_SUBJECT_FORM_UNKNOWN);
    }
}

TEST(Win32Classes, StartedProcess_KnowsItsParent) {
    std::u16string path;
    ASSERT_TRUE(Succeeded(platform.modules.FileName(kMainExecutable, 1024, path)));
    const std::wstring own = std::to_wstring(GetCurrentProcessId());
    StartedProcess started;
    ASSERT_TRUE(Succeeded(
        platform.processes.Start(u"\"" + path + u"\" --parent-is " + FromWide(own.c_str()), kCreateNoWindow, started)));
    EXPECT_EQ(ExitCode(started), 0U);
}

TEST(Win32Classes, AddressesInAModule_LeadToIt_ByEitherWay) {
    OwnedModule module(platform.modules);
    ASSERT_TRUE(Succeeded(platform.modules.Load(Sample(u"good.dll"), module.Receive())));
    const EntryPoint entry = platform.modules.FindEntryPoint(module.Get(), "GetFactory");
    for (const auto from : {&Modules::FromAddress, &Modules::FromAddressByRanges}) {
        ModuleHandle found{};
        EXPECT_EQ((platform.modules.*from)(reinterpret_cast<const void*>(entry), found), SystemError::Success);
        EXPECT_EQ(found, module.Get());
    }
}

TEST(Win32DropList, Memory_IsLockedMeanwhile_AndReadAsWindowsReadsIt) {
    const std::string header = WideDropBlock({}).substr(0, 16) + std::string(4, '\0');  // of a narrow list
    const DropMemory memory(header + std::string("C:\\\0C:\\caf\xE9\0C:\\\x80.txt\0", 22));
    {
        win32::Win32DropList list(memory.Get());
        ASSERT_EQ(list.Count(), 3U);
        for (std::uint32_t i = 0; i < list.Count(); ++i) {
            wchar_t item[32] = {};
            EXPECT_GT(DragQueryFileW(memory.Get(), i, item, 32), 0U);
            EXPECT_EQ(list.Item(i), FromWide(item));
        }
        EXPECT_EQ(GlobalFlags(memory.Get()), 1U);
        SetLastError(4711);
    }
    EXPECT_EQ(GetLastError(), 4711U);
    EXPECT_EQ(GlobalFlags(memory.Get()), 0U);
    const DropMemory endless(header + std::string(4000, 'x'));
    EXPECT_EQ(win32::Win32DropList(endless.Get()).Count(), 0U);
    EXPECT_FALSE(win32::Win32DropList(nullptr).IsPresent());
}

TEST(Win32TextRules, ForeignBytesInACodePage_AreRefused_AndItsCharactersComeBack) {
    win32::Win32TextRules japanese(932);
    std::u16string wide;
    EXPECT_EQ(Number(japanese.FromNarrow("C:\\\xFD", wide)), 1113U);
    EXPECT_TRUE(Succeeded(japanese.FromNarrow("\x93\xFA\x96\x7B", wide)));
    EXPECT_EQ(wide, u"\u65E5\u672C");
}

TEST(PlatformPath, LongPaths_GetThePrefix_AndComeBackWithoutIt) {
    using win32::PlatformPath, win32::WithoutLongPrefix;
    const std::u16string name(244, u'n');
    for (const std::u16string& path : {u"C:\\" + name, u"\\\\.\\C:\\" + name, u"\\\\?\\C:\\" + name, name + name,
                                       u"C:" + name + name, std::u16string()}) {
        EXPECT_EQ(PlatformPath(path), path);  // short by one, a device, prefixed already, relative
    }
    EXPECT_EQ(PlatformPath(u"C:\\" + name + u"n"), u"\\\\?\\C:\\" + name + u"n");
    EXPECT_EQ(PlatformPath(u"\\\\server\\share\\" + name), u"\\\\?\\UNC\\server\\share\\" + name);
    EXPECT_EQ(PlatformPath(u"C:/a/../" + name + u"/./x."), u"\\\\?\\C:\\" + name + u"\\x");
    EXPECT_EQ(WithoutLongPrefix(u"\\\\?\\C:\\a"), u"C:\\a");
    EXPECT_EQ(WithoutLongPrefix(u"\\\\?\\UNC\\server\\share"), u"\\\\server\\share");
    EXPECT_EQ(WithoutLongPrefix(u"C:\\a"), u"C:\\a");
}

TEST(TraceLines, RecordsOfTheLevel_BecomeOneLineEach_WhateverTheirTexts_WithoutAllocating) {
    std::vector<std::u16string> lines;
    win32::Win32TraceOutput output;
    output.SetSink([](void* to, std::u16string_view line) { static_cast<decltype(&lines)>(to)->emplace_back(line); },
                   &lines);
    const std::u16string hostile = u"x\r\nHalvora trace 2 1 \"y" + std::u16string(5000, u'z');
    const TraceArgument some[] = {std::uint32_t{7}, std::u16string_view(u"C:\\a b"), std::uint64_t{1} << 63};
    const TraceArgument others[] = {std::u16string_view(hostile), std::uint32_t{7}};
    SetLastError(4711);
    output.Write({TraceLevel::Error, 301, some});
    EXPECT_EQ(GetLastError(), 4711U);
    output.Write({TraceLevel::Warning, 1, some});
    output.Enable(true, TraceLevel::Warning);
    output.Write({TraceLevel::Warning, 1, others});
    output.Enable(false, TraceLevel::Warning);
    output.Write({TraceLevel::Error, 1, some});
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], u"Halvora trace 2 301 7 \"C:\\a b\" 9223372036854775808");
    EXPECT_TRUE(lines[1].starts_with(u"Halvora trace 3 1 \"x??Halvora trace 2 1 ?yzzz"));
    EXPECT_EQ(lines[1].size(), 1022U);
    output.SetSink(nullptr, nullptr);
    output.Enable(true, TraceLevel::Error);
    const FailingNew failing(1);
    output.Write({TraceLevel::Error, 1, others});
    EXPECT_FALSE(failing.Fired());
}

// As other processes see them.
TEST(SuspensionMarksOnWindows, AreThereUntilTheLastIsRemoved_AndNotInPlaceOfAnotherObject) {
    constexpr char16_t kName[] = u"Local\\HalvoraSuspensionTest";
    HVR::Win32SuspensionMarks marks(kName);
    HVR::Win32SuspensionMarks others(kName);
    const auto isSet = [&] {
        bool answer = false;
        EXPECT_EQ(others.IsAnySet(answer), SystemError::Success);
        return answer;
    };
    EXPECT_FALSE(isSet());
    HVR::MarkHandle first{};
    HVR::MarkHandle second{};
    ASSERT_EQ(marks.Set(first), SystemError::Success);
    ASSERT_EQ(others.Set(second), SystemError::Success);
    EXPECT_EQ(marks.Remove(first), SystemError::Success);
    EXPECT_TRUE(isSet());
    EXPECT_EQ(others.Remove(second), SystemError::Success);
    EXPECT_FALSE(isSet());
    const HANDLE hostile = CreateMutexW(nullptr, FALSE, L"Local\\HalvoraSuspensionTest");
    bool answer = true;
    EXPECT_EQ(marks.Set(first), SystemError::InvalidHandle);
    EXPECT_EQ(marks.IsAnySet(answer), SystemError::InvalidHandle);
    EXPECT_TRUE(answer);
    CloseHandle(hostile);
}

}  // namespace
}  // namespace tests
