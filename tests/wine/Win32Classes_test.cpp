// What the Win32 classes promise beyond the contract suites.
#include <gmock/gmock.h>
#include <windows.h>

// After windows.h.
#include <shellapi.h>

#include <functional>
#include <new>
#include <thread>

#include "composition/Win32Platform.h"
#include "tests/fakes/FailingNew.h"
#include "tests/wine/Samples.h"
#include "tests/wine/WinStaging.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/platform/win32/Win32TextOutput.h"

namespace tests {

namespace {

using namespace tsLib::platform;
using testing::ElementsAre;
using win32::FromWide;
using win32::ToWide;

class Win32Classes : public testing::Test {
protected:
    void SetUp() override { folder = FreshFolder(L"hvw"); }
    void TearDown() override { EXPECT_TRUE(RemoveTree(folder.substr(0, folder.size() - 1))) << "a file was left open"; }

    // The exit code of this program run with the arguments.
    DWORD RunSelf(const std::u16string& arguments) {
        std::u16string path;
        EXPECT_EQ(platform.modules.FileName(kMainExecutable, 1024, path), SystemError::Success);
        StartedProcess started;
        EXPECT_EQ(platform.processStarter.Start(u"\"" + path + u"\" " + arguments, kCreateNoWindow, started),
                  SystemError::Success);
        const auto process = reinterpret_cast<HANDLE>(started.process);
        DWORD code = 0xFFFF;
        EXPECT_EQ(WaitForSingleObject(process, 60000), WAIT_OBJECT_0);
        EXPECT_TRUE(GetExitCodeProcess(process, &code));
        platform.processStarter.CloseThread(started.thread);
        platform.processStarter.CloseProcess(started.process);
        return code;
    }

    HVR::Win32Platform& platform = HVR::Win32Platform::Instance();
    std::u16string folder;
};

TEST_F(Win32Classes, ClosingAnything_KeepsTheLastError) {
    PutBytes(folder + u"file", "content");
    FileHandle file{};
    ASSERT_EQ(platform.files.OpenForReading(folder + u"file", file), SystemError::Success);
    RegistryKey key{};
    ASSERT_EQ(platform.registry.OpenKey(RegistryRoot::LocalMachine, u"Software", kKeyRead, key), SystemError::Success);
    CatalogContextHandle context{};
    ASSERT_EQ(platform.catalogAdmin.AcquireContext(context), SystemError::Success);
    SignatureHandle signature{};
    ASSERT_EQ(platform.signatures.Open(Sample(u"good.exe"), signature), SystemError::Success);
    win32::Win32TextOutput text;
    ASSERT_EQ(text.Open(folder + u"text"), StreamState::Good);
    void* const block = platform.memory.Allocate(1);
    const std::function<void()> closings[] = {
        [&] { platform.files.Close(file); },
        [&] { platform.registry.CloseKey(key); },
        [&] { platform.catalogAdmin.ReleaseContext(context); },
        [&] { platform.signatures.Close(signature); },
        [&] { text.Close(); },
        [&] { platform.memory.Free(block); },
        // What is invalid at the seam is invalid behind it.
        [&] { platform.files.Close(FileHandle{}); },
        [&] { platform.registry.CloseKey(RegistryKey{}); },
        [&] { platform.processStarter.CloseProcess(ProcessHandle{}); },
        [&] { platform.catalogAdmin.ReleaseContext(CatalogContextHandle{}); },
        [&] { platform.signatures.Close(SignatureHandle{}); },
        [&] { platform.memory.Free(nullptr); },
        [&] { platform.moduleLoader.Free(ModuleHandle{}); },
    };
    for (std::size_t i = 0; i < std::size(closings); ++i) {
        SetLastError(4711);
        closings[i]();
        EXPECT_EQ(GetLastError(), 4711U) << i;
    }
}

TEST_F(Win32Classes, TextThatHoldsANul_IsNeverCutToAnotherName) {
    PutBytes(folder + u"file", "content");
    const std::u16string path = folder + u"file" + std::u16string(u"\0.exe", 5);
    std::uint32_t attributes = 99;
    FileHandle file{};
    SignatureHandle signature{};
    RegistryKey key{};
    ModuleHandle module{};
    std::u16string text = u"before";
    win32::Win32TextOutput output;
    EXPECT_TRUE(Failed(platform.files.Attributes(path, attributes)));
    EXPECT_TRUE(Failed(platform.files.OpenForReading(path, file)));
    EXPECT_TRUE(Failed(platform.signatures.Open(path, signature)));
    EXPECT_TRUE(Failed(platform.moduleLoader.Load(path, module)));
    EXPECT_TRUE(Failed(platform.pathForms.ExpandEnvironment(path, text)));
    EXPECT_TRUE(Failed(platform.pathForms.LongPath(path, text)));
    EXPECT_FALSE(platform.pathForms.RemoveFileSpec(text = path));
    EXPECT_EQ(output.Open(path), StreamState::Failed);
    EXPECT_NE(platform.trustProvider.VerifyFile(Sample(u"good.exe") + std::u16string(u"\0x", 2),
                                                TrustAction::GenericVerifyV2, RevocationCheck::None),
              0);
    EXPECT_TRUE(Failed(
        platform.registry.OpenKey(RegistryRoot::LocalMachine, std::u16string(u"Software\0x", 10), kKeyRead, key)));
    EXPECT_EQ(GetBytes(folder + u"file"), "content");
}

TEST_F(Win32Classes, MemoryRunningOut_IsBadAllocAndLeavesNothingOpen) {
    const std::u16string longFolder = folder + std::u16string(240, u'd');
    CreateDirectoryW(AnyLength(longFolder).c_str(), nullptr);
    const std::u16string path = longFolder + u"\\good.exe";
    ASSERT_TRUE(PutBytes(path, GetBytes(Sample(u"good.exe"))));
    FileHandle file{};
    SignatureHandle signature{};
    std::u16string text;
    const std::function<void()> operations[] = {
        [&] {
            if (Succeeded(platform.files.OpenForReading(path, file))) {
                platform.files.Close(file);
            }
        },
        [&] {
            if (Succeeded(platform.signatures.Open(path, signature))) {
                platform.signatures.Close(signature);
            }
        },
        [&] {
            win32::Win32TextOutput output;
            output.Open(longFolder + u"\\text");
            output.WriteLine(std::string_view("a line that does not fit into the text object itself"));
        },
        [&] { static_cast<void>(platform.processes.ImageFileName(platform.processes.CurrentId(), text)); },
        [&] { static_cast<void>(platform.pathForms.LongPath(path, text)); },
        [&] { static_cast<void>(platform.modules.FileName(kMainExecutable, 1024, text)); },
    };
    for (std::size_t i = 0; i < std::size(operations); ++i) {
        for (std::uint32_t n = 1;; ++n) {
            bool fired = false;
            bool isBadAlloc = false;
            {
                const FailingNew failing(n);
                try {
                    operations[i]();
                } catch (const std::bad_alloc&) {
                    isBadAlloc = true;
                }
                fired = failing.Fired();
            }
            EXPECT_EQ(isBadAlloc, fired) << i << ' ' << n;
            if (!fired) {
                EXPECT_GT(n, 1U) << i << " allocates nothing and shows nothing";
                break;
            }
        }
    }
}

TEST_F(Win32Classes, TextOutput_HandsOverEachLineAtOnce_AndLetsOthersDelete) {
    const std::u16string path = folder + u"list";
    win32::Win32TextOutput output;
    ASSERT_EQ(output.Open(path), StreamState::Good);
    output.WriteLine("one");
    EXPECT_EQ(GetBytes(path), "one\r\n");
    EXPECT_TRUE(DeleteFileW(ToWide(path)));
    output.WriteLine("two");
    EXPECT_EQ(output.State(), StreamState::Good);
    output.Close();
    EXPECT_EQ(GetFileAttributesW(ToWide(path)), INVALID_FILE_ATTRIBUTES);
}

TEST_F(Win32Classes, TextOutput_OnADeviceIsBad) {
    win32::Win32TextOutput output;
    EXPECT_EQ(output.Open(u"\\\\.\\NUL"), StreamState::Bad);
    EXPECT_FALSE(output.IsOpen());
    output.WriteLine("dropped");
    EXPECT_EQ(output.Open(folder + u"file"), StreamState::Good);
}

TEST_F(Win32Classes, ParentId_OfAStartedProcess_IsThisProcess) {
    EXPECT_EQ(RunSelf(u"--parent-is " + FromWide(std::to_wstring(GetCurrentProcessId()).c_str(),
                                                 std::to_wstring(GetCurrentProcessId()).size())),
              0U);
    EXPECT_EQ(RunSelf(u"--parent-is 1"), 1U);
}

TEST_F(Win32Classes, ProcessStarter_TakesTheLineAsItIs_AndGivesHandlesOfThatProcess) {
    EXPECT_EQ(RunSelf(u"--parent-is \"a b\""), 1U);
    StartedProcess started;
    ASSERT_EQ(platform.processStarter.Start(u"\"" + Sample(u"good.exe") + u"\" 60000",
                                            kCreateNoWindow | kNormalPriorityClass, started),
              SystemError::Success);
    const auto process = reinterpret_cast<HANDLE>(started.process);
    EXPECT_EQ(GetProcessId(process), started.processId);
    EXPECT_EQ(GetThreadId(reinterpret_cast<HANDLE>(started.thread)), started.threadId);
    std::u16string image;
    EXPECT_EQ(platform.processes.ImageFileName(started.processId, image), SystemError::Success);
    EXPECT_TRUE(image.ends_with(u"\\good.exe"));
    EXPECT_TRUE(TerminateProcess(process, 0));
    EXPECT_EQ(WaitForSingleObject(process, 60000), WAIT_OBJECT_0);
    platform.processStarter.CloseThread(started.thread);
    platform.processStarter.CloseProcess(started.process);
}

TEST_F(Win32Classes, Modules_LoadedFoundByAddressAndFreed) {
    ModuleHandle module{};
    ASSERT_EQ(platform.moduleLoader.LoadAltered(Sample(u"good.dll"), module), SystemError::Success);
    const EntryPoint entry = platform.moduleLoader.FindEntryPoint(module, "SampleAnswer");
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(reinterpret_cast<int (*)()>(entry)(), 42);
    EXPECT_EQ(platform.moduleLoader.FindEntryPoint(module, "NoSuchEntry"), nullptr);
    for (const auto from : {&ModuleAddresses::FromAddress, &ModuleAddresses::FromAddressByRanges}) {
        ModuleAddresses& addresses = platform.moduleAddresses;
        ModuleHandle found{};
        EXPECT_EQ((addresses.*from)(reinterpret_cast<const void*>(entry), found), SystemError::Success);
        EXPECT_EQ(found, module);
        found = {};
        const auto onTheHeap = std::make_unique<int>(0);
        EXPECT_TRUE(Failed((addresses.*from)(onTheHeap.get(), found)));
        EXPECT_EQ(found, ModuleHandle{});
    }
    platform.moduleLoader.Free(module);
    EXPECT_EQ(GetModuleHandleW(L"good.dll"), nullptr);
    EXPECT_EQ(platform.moduleLoader.Load(folder + u"none.dll", module), SystemError::ModuleNotFound);
    PutBytes(folder + u"text.dll", "no module");
    EXPECT_EQ(platform.moduleLoader.Load(folder + u"text.dll", module), static_cast<SystemError>(ERROR_BAD_EXE_FORMAT));
}

class TraceLines : public testing::Test {
protected:
    void SetUp() override { output.SetSink(&Keep, this); }

    static void Keep(void* context, std::u16string_view line) {
        static_cast<TraceLines*>(context)->lines.emplace_back(line);
    }

    win32::Win32TraceOutput output;
    std::vector<std::u16string> lines;
};

TEST_F(TraceLines, Record_BecomesOneLine_AndKeepsTheLastError) {
    const TraceArgument arguments[] = {std::uint32_t{7}, std::u16string_view(u"C:\\a b"), std::uint64_t{1} << 63};
    SetLastError(4711);
    output.Write({TraceLevel::Error, 301, arguments});
    EXPECT_EQ(GetLastError(), 4711U);
    output.Write({TraceLevel::Error, 0, {}});
    EXPECT_THAT(lines, ElementsAre(u"Halvora trace 2 301 7 \"C:\\a b\" 9223372036854775808", u"Halvora trace 2 0"));
}

TEST_F(TraceLines, HostileText_NeitherEndsTheLineNorGrowsIt) {
    const std::u16string text = u"x\r\nHalvora trace 2 1 \"y" + std::u16string(5000, u'z');
    const TraceArgument arguments[] = {std::u16string_view(text), std::uint32_t{7}};
    output.Write({TraceLevel::Error, 1, arguments});
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].size(), 1022U);
    EXPECT_TRUE(lines[0].starts_with(u"Halvora trace 2 1 \"x??Halvora trace 2 1 ?yzzz"));
}

TEST_F(TraceLines, LevelAndFlag_DecideWhatIsWritten) {
    const auto written = [&] {
        lines.clear();
        std::u16string levels;
        for (const TraceLevel level :
             {TraceLevel::Error, TraceLevel::Warning, TraceLevel::Information, TraceLevel::Verbose}) {
            const std::size_t before = lines.size();
            output.Write({level, 1, {}});
            EXPECT_EQ(output.IsEnabled(level), lines.size() > before);
            levels += output.IsEnabled(level) ? u'x' : u'-';
        }
        return levels;
    };
    EXPECT_EQ(written(), u"x---");
    output.Enable(true, TraceLevel::Information);
    EXPECT_EQ(written(), u"xxx-");
    output.Enable(false, TraceLevel::Verbose);
    EXPECT_EQ(written(), u"----");
    output.Enable(true, TraceLevel::Verbose);
    EXPECT_EQ(written(), u"xxxx");
}

TEST_F(TraceLines, Tracing_AllocatesNothing) {
    output.SetSink(nullptr, nullptr);
    const std::u16string text(2000, u'x');
    const TraceArgument arguments[] = {std::u16string_view(text)};
    const FailingNew failing(1);
    output.Write({TraceLevel::Error, 1, arguments});
    EXPECT_FALSE(failing.Fired());
}

}  // namespace

}  // namespace tests
