// What the Win32 classes promise beyond the contract suites.
#include <gtest/gtest.h>
#include <windows.h>

// After windows.h.
#include <shellapi.h>

#include <functional>
#include <new>

#include "tests/fakes/FailingNew.h"
#include "tests/wine/WinStaging.h"
#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/PlatformPath.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/platform/win32/Win32DropList.h"
#include "tslib/platform/win32/Win32Platform.h"
#include "tslib/platform/win32/Win32TextOutput.h"

namespace tests {
namespace {

using namespace tsLib::platform;
win32::Win32Platform& platform = win32::Win32Platform::Instance();

// Each operation opens something, or makes a text, and closes what is open at its end.
TEST(Win32Classes, MemoryRunningOut_IsBadAllocAndLeavesNothingOpen_AndClosingKeepsTheLastError) {
    const ScratchFolder scratch(L"hvw");
    const std::u16string folder = scratch.Path() + std::u16string(240, u'd') + u'\\';
    CreateDirectoryW(AnyLength(folder).c_str(), nullptr);
    const std::u16string path = folder + u"good.exe";
    ASSERT_TRUE(PutBytes(path, GetBytes(Sample(u"good.exe"))));
    FoundEntry entry;
    std::u16string text;
    const auto good = [](SystemError error) {
        EXPECT_EQ(error, SystemError::Success);
        SetLastError(4711);
    };
    const std::function<void()> operations[] = {
        [&] {
            OwnedFile file(platform.files);
            good(platform.files.OpenForReading(path, FileSharing::Readers, file.Receive()));
        },
        [&] {
            OwnedSignature signature(platform.signatures);
            good(platform.signatures.Open(path, signature.Receive()));
        },
        [&] {
            OwnedSearch search(platform.files);
            good(platform.files.FindFirst(folder + u"*", search.Receive(), entry));
        },
        [&] {
            win32::Win32TextOutput output;
            output.Open(folder + u"text");
            output.WriteLine("a line that does not fit into the text object itself");
            good(SystemError::Success);
        },
        [&] { good(platform.processes.ImageFileName(platform.processes.CurrentId(), text)); },
        [&] { good(platform.pathForms.LongPath(path, text)); },
        [&] { good(platform.modules.FileName(kMainExecutable, 1024, text)); },
        // From here on the last error alone is looked at.
        [&] {
            OwnedRegistryKey key(platform.registry);
            good(platform.registry.OpenKey(RegistryRoot::LocalMachine, u"Software", kKeyRead, key.Receive()));
            OwnedCatalogContext context(platform.catalogs);
            good(platform.catalogs.AcquireContext(context.Receive()));
        },
        // What is invalid at the seam is invalid behind it.
        [&] {
            void* const block = platform.system.Allocate(1);
            SetLastError(4711);
            platform.system.Free(block);
            platform.files.Close({});
            platform.registry.CloseKey({});
            platform.processes.CloseProcess({});
            platform.catalogs.ReleaseContext({});
            platform.signatures.Close({});
            platform.system.Free(nullptr);
            platform.modules.Free({});
        },
    };
    for (std::size_t i = 0; i < std::size(operations); ++i) {
        std::uint32_t n = 0;
        for (bool fired = true; fired && n < 1000;) {
            const FailingNew failing(++n);
            try {
                operations[i]();
                EXPECT_EQ(GetLastError(), 4711U) << i;
                EXPECT_FALSE(fired = failing.Fired()) << i << ' ' << n;
            } catch (const std::bad_alloc&) {
            }
        }
        EXPECT_TRUE(n > 1 || i >= 7) << i << " allocates nothing and shows nothing";
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
    EXPECT_EQ(trust.VerifyFile(path, {}, {}), TRUST_E_SUBJECT_FORM_UNKNOWN);
    EXPECT_EQ(trust.VerifyCatalogMember({path, whole, whole, {}, {}}, {}, {}), TRUST_E_SUBJECT_FORM_UNKNOWN);
    EXPECT_EQ(trust.VerifyCatalogMember({whole, path, whole, {}, {}}, {}, {}), TRUST_E_SUBJECT_FORM_UNKNOWN);
    EXPECT_EQ(trust.VerifyCatalogMember({whole, whole, path, {}, {}}, {}, {}), TRUST_E_SUBJECT_FORM_UNKNOWN);
}

TEST(Win32Classes, StartedProcess_IsTheOneOfItsHandlesAndIds_AndKnowsItsParent) {
    std::u16string path;
    ASSERT_TRUE(Succeeded(platform.modules.FileName(kMainExecutable, 1024, path)));
    const std::wstring own = std::to_wstring(GetCurrentProcessId());
    const std::u16string line = u"\"" + path + u"\" --parent-is " + win32::FromWide(own.c_str(), own.size());
    StartedProcess started;
    ASSERT_TRUE(Succeeded(platform.processes.Start(line, kCreateNoWindow, started)));
    const OwnedProcess process(platform.processes, started.process);
    const OwnedThread thread(platform.processes, started.thread);
    const auto handle = win32::FromSeam<HANDLE>(started.process);
    EXPECT_EQ(GetProcessId(handle), started.processId);
    EXPECT_EQ(GetThreadId(win32::FromSeam<HANDLE>(started.thread)), started.threadId);
    DWORD code = 99;
    EXPECT_EQ(WaitForSingleObject(handle, 60000), WAIT_OBJECT_0);
    EXPECT_TRUE(GetExitCodeProcess(handle, &code));
    EXPECT_EQ(code, 0U);
}

TEST(Win32Classes, AddressesInAModule_LeadToIt_ByEitherWay) {
    OwnedModule module(platform.modules);
    ASSERT_TRUE(Succeeded(platform.modules.Load(Sample(u"good.dll"), module.Receive())));
    const EntryPoint entry = platform.modules.FindEntryPoint(module.Get(), "SampleAnswer");
    for (const auto from : {&Modules::FromAddress, &Modules::FromAddressByRanges}) {
        ModuleHandle found{};
        EXPECT_TRUE(Failed((platform.modules.*from)(&found, found)));
        EXPECT_EQ((platform.modules.*from)(reinterpret_cast<const void*>(entry), found), SystemError::Success);
        EXPECT_EQ(found, module.Get());
    }
    module.Reset();
    EXPECT_EQ(GetModuleHandleW(L"good.dll"), nullptr);
}

TEST(Win32DropList, NarrowItems_ReadAsWindowsReadsThem) {
    const DropMemory memory(NarrowDropBlock({"C:\\", "C:\\caf\xE9", "C:\\\x80.txt"}));
    win32::Win32DropList list(memory.Get());
    ASSERT_EQ(list.Count(), 3U);
    for (std::uint32_t i = 0; i < list.Count(); ++i) {
        wchar_t item[32] = {};
        EXPECT_GT(DragQueryFileW(memory.Get(), i, item, 32), 0U);
        EXPECT_EQ(list.Item(i), win32::FromWide(item));
    }
}

TEST(Win32DropList, Memory_IsLockedAndReadWithinItsSize) {
    const DropMemory memory(WideDropBlock({}).substr(0, 20) + std::string(4000, 'x'));  // a list without an end
    {
        win32::Win32DropList list(memory.Get());
        EXPECT_EQ(list.Count(), 0U);
        EXPECT_EQ(list.Item(0), u"");
        EXPECT_EQ(GlobalFlags(memory.Get()), 1U);
        SetLastError(4711);
    }
    EXPECT_EQ(GetLastError(), 4711U);
    EXPECT_EQ(GlobalFlags(memory.Get()), 0U);
}

TEST(Win32TextRules, ForeignBytesInACodePage_AreRefused_AndItsCharactersComeBack) {
    win32::Win32TextRules japanese(932);
    std::u16string wide = u"before";
    std::string narrow;
    EXPECT_EQ(Number(japanese.FromNarrow("C:\\\xFD", wide)), 1113U);
    EXPECT_EQ(wide, u"before");
    EXPECT_TRUE(Succeeded(japanese.FromNarrow("\x93\xFA\x96\x7B", wide)));
    EXPECT_EQ(wide, u"\u65E5\u672C");
    EXPECT_TRUE(Succeeded(japanese.ToNarrow(wide, narrow)));
    EXPECT_EQ(narrow, "\x93\xFA\x96\x7B");
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

class TraceLines : public testing::Test {
protected:
    TraceLines() {
        output.SetSink(
            [](void* to, std::u16string_view line) { static_cast<TraceLines*>(to)->lines.emplace_back(line); }, this);
    }

    win32::Win32TraceOutput output;
    std::vector<std::u16string> lines;
};

TEST_F(TraceLines, Record_BecomesOneLine_WhateverItsTexts_WithoutAllocating) {
    const std::u16string hostile = u"x\r\nHalvora trace 2 1 \"y" + std::u16string(5000, u'z');
    const TraceArgument some[] = {std::uint32_t{7}, std::u16string_view(u"C:\\a b"), std::uint64_t{1} << 63};
    const TraceArgument others[] = {std::u16string_view(hostile), std::uint32_t{7}};
    SetLastError(4711);
    output.Write({TraceLevel::Error, 301, some});
    EXPECT_EQ(GetLastError(), 4711U);
    output.Write({TraceLevel::Error, 1, others});
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], u"Halvora trace 2 301 7 \"C:\\a b\" 9223372036854775808");
    EXPECT_TRUE(lines[1].starts_with(u"Halvora trace 2 1 \"x??Halvora trace 2 1 ?yzzz"));
    EXPECT_EQ(lines[1].size(), 1022U);
    output.SetSink(nullptr, nullptr);
    const FailingNew failing(1);
    output.Write({TraceLevel::Error, 1, others});
    EXPECT_FALSE(failing.Fired());
}

TEST_F(TraceLines, LevelAndFlag_DecideWhatIsWritten) {
    const auto written = [&] {
        lines.clear();
        for (std::uint8_t level = 2; level <= 5; ++level) {
            output.Write({TraceLevel{level}, 1, {}});
        }
        return lines.size();
    };
    EXPECT_EQ(written(), 1U);
    output.Enable(true, TraceLevel::Information);
    EXPECT_EQ(written(), 3U);
    output.Enable(false, TraceLevel::Verbose);
    EXPECT_EQ(written(), 0U);
}

}  // namespace
}  // namespace tests
