// What the Win32 classes promise beyond the contract suites.
#include <functional>
#include <utility>

#include "companions/protection/Win32SuspensionMarks_win32.h"
#include "tests/fakes/FailingNew.h"
#include "tests/wine/WinStaging.h"
#include "tslib/Tracer.h"
#include "tslib/platform/win32/EventTracing.h"
#include "tslib/platform/win32/PlatformPath.h"
#include "tslib/platform/win32/Win32DropList.h"

namespace tests {
namespace {

using namespace tsLib::platform;
using tsLib::TraceEvent;
using tsLib::Tracer;
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

// A session that is told to the provider as the platform tells it.
struct StandInSession final : win32::EventTracingCalls {
    ULONG Register(WMIDPREQUEST control, void* context, TRACEHANDLE& registration) const noexcept override {
        control_ = [control, context](WMIDPREQUESTCODE request) {
            ULONG reserved = 0;
            return control(request, context, &reserved, nullptr);
        };
        registration = 7;
        return ERROR_SUCCESS;
    }
    void Unregister(TRACEHANDLE registration) const noexcept override { unregistered_ += registration == 7 ? 1 : 0; }
    bool Session(void*, TRACEHANDLE& session, ULONG& flags, UCHAR& level) const noexcept override {
        session = 9;
        flags = flags_;
        level = 3;
        return true;
    }
    void Message(TRACEHANDLE session, std::uint16_t event, std::span<std::byte> arguments) const noexcept override {
        SetLastError(ERROR_INVALID_HANDLE);
        messages_ +=
            std::to_string(session) + ' ' + std::to_string(event) + ' ' + std::to_string(arguments.size()) + '\n';
    }

    ULONG flags_ = win32::kTraceFlag;
    mutable std::function<ULONG(WMIDPREQUESTCODE)> control_;
    mutable std::string messages_;
    mutable int unregistered_ = 0;
};

TEST(EventTracing, RecordsGoToTheSessionUpToItsLevel_WhileThereIsOne) {
    win32::Win32TraceOutput output;
    output.Enable(false, TraceLevel::Error);
    StandInSession session;
    const Tracer tracer(output);
    const auto trace = [&] {
        SetLastError(4711);
        tracer.Error(TraceEvent::PathTokenUnknown, std::u16string_view(u"x"), std::u16string_view(u"%x%"));
        tracer.Warning(TraceEvent::ModuleLeftLoaded, 5U);
        tracer.Information(TraceEvent::MenuScanRefused);
        EXPECT_EQ(GetLastError(), 4711U);
        return std::exchange(session.messages_, {});
    };
    win32::EventTracing tracing(output, session);
    EXPECT_EQ(trace(), "");
    tracing.Start();
    tracing.Start();
    EXPECT_EQ(trace(), "");
    EXPECT_EQ(session.control_(WMI_ENABLE_EVENTS), ERROR_SUCCESS);
    EXPECT_EQ(trace(), "9 103 12\n9 707 8\n");
    session.flags_ = 2;
    EXPECT_EQ(session.control_(WMI_ENABLE_EVENTS), ERROR_SUCCESS);
    EXPECT_EQ(trace(), "") << "not our flag";
    session.flags_ = 3;
    EXPECT_EQ(session.control_(WMI_ENABLE_EVENTS), ERROR_SUCCESS);
    EXPECT_EQ(session.control_(WMI_DISABLE_EVENTS), ERROR_SUCCESS);
    EXPECT_EQ(trace(), "");
    EXPECT_EQ(session.control_(WMI_GET_ALL_DATA), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(session.control_(WMI_ENABLE_EVENTS), ERROR_SUCCESS);
    tracing.Stop();
    EXPECT_EQ(session.unregistered_, 0);
    tracing.End();
    tracing.End();
    EXPECT_EQ(session.unregistered_, 1);
    EXPECT_EQ(trace(), "");
    win32::EventTracing registered(output);
    const win32::EventTracingUse use(registered);  // what the platform registers for real
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
