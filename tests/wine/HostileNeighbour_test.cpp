// Somebody else's program that changes files and names while they are verified, loaded or started, or between two
// looks. Whatever it does: no bad file is accepted, loaded or started.
#include <atomic>
#include <chrono>
#include <thread>

#include "shellext/VerifiedProcessStart.h"
#include "tests/wine/ShellServer.h"
#include "tslib/VaneRef.h"
#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/Win32Platform.h"
#include "tslib/tsInstanceFactory.h"
#include "tslib/tsVaneModuleLoader.h"
#include "tslib/verifytrust/TrustContext.h"
#include "tslib/verifytrust/TrustRecords.h"

namespace tests {
namespace {

using namespace tsLib::platform;
using tsLib::TrustLevel;
using tsLib::TrustResult;
using tsLib::VaneResult;
using win32::ToWide;

const Platform& real = win32::Win32Platform::Instance();
constexpr auto kRaceTime = std::chrono::seconds(10);

// A copy of `good` with another text in it, which its signature does not fit any more.
std::string Tampered(std::string bytes, std::string_view text, std::string_view other) {
    const std::size_t at = bytes.find(text);
    EXPECT_NE(at, std::string::npos) << text;
    return at == std::string::npos ? bytes : bytes.replace(at, other.size(), other);
}
constexpr std::string_view kStubText = "This program", kOtherStubText = "That program";
// Whether a loaded module has the other text in its header.
bool IsTampered(ModuleHandle module) {
    const auto* const begin = reinterpret_cast<const char*>(static_cast<std::uintptr_t>(module));
    return std::string_view(begin, 0x100).find(kOtherStubText) != std::string_view::npos;
}
bool IsTampered(const std::u16string& path) { return GetBytes(path).find(kOtherStubText) != std::string::npos; }

// Two folders with a file of one name in each, good and bad, which somebody exchanges as fast as he can: now the files,
// now the folders.
class Race : ForTest {
public:
    Race(const std::u16string& base, const std::u16string& here, const std::u16string& name, std::string_view good,
         std::string_view bad)
        : path(base + here + u"\\" + name) {
        const std::u16string folders[] = {base + here, base + u"there"};
        for (const std::u16string& folder : folders) {
            CreateDirectoryW(ToWide(folder), nullptr);
            EXPECT_TRUE(PutBytes(folder + u"\\" + name, folder == folders[0] ? good : bad));
        }
        neighbour_ = std::jthread([this, one = AnyLength(folders[0]), other = AnyLength(folders[1]),
                                   file = L"\\" + std::wstring(ToWide(name))](const std::stop_token& stop) {
            for (bool files = true; !stop.stop_requested(); files = !files) {
                exchanged += SwapNames(files ? one + file : one, files ? other + file : other) ? 1U : 0U;
            }
        });
    }
    // Does the work until the time is over, and counts how often it succeeds, which it must sometimes.
    template <class Work>
    void Run(Work&& work) {
        const auto end = std::chrono::steady_clock::now() + kRaceTime;
        std::size_t done = 0;
        std::size_t rounds = 0;
        for (; std::chrono::steady_clock::now() < end; ++rounds) {
            done += work() ? 1U : 0U;
        }
        neighbour_.request_stop();
        neighbour_.join();
        EXPECT_GT(exchanged, 100U);
        EXPECT_GT(done, 0U) << "of " << rounds;
    }

    const std::u16string path;
    std::size_t exchanged = 0;  // once the race is over

private:
    std::jthread neighbour_;
};

struct Verifiers {
    tsLib::TrustRecords records{real.files, real.system};
    tsLib::TrustContext trust{real, nullptr, records};
};

// All at the same time: each has files of its own.
TEST(HostileNeighbour, WhoExchangesFilesAndFolders_GetsNothingIn) {
    const ScratchFolder scratch(L"hvh");
    const std::string goodProgram = GetBytes(Sample(u"good.exe"));
    const std::string goodModule = GetBytes(Sample(u"good.dll"));
    const auto below = [&](const char16_t* name) {
        CreateDirectoryW(ToWide(scratch.Path() + name), nullptr);
        return scratch.Path() + name + u"\\";
    };

    // Each of the two is refused, the one for its names, the other for its bytes; only parts of both would do.
    const std::jthread verifying([folder = below(u"verdict")] {
        Verifiers verifiers;
        const tsLib::VaneRef<tsLib::IVerifyTrust> verifier(verifiers.trust.Create());
        Race race(folder, u"here", u"a.exe", GetBytes(Sample(u"other-names.exe")), GetBytes(Sample(u"tampered.exe")));
        race.Run([&] {
            const TrustResult verdict = verifier->VerifyFile(race.path.c_str(), TrustLevel{3});
            EXPECT_TRUE(verdict == TrustResult::NotTrusted || verdict == TrustResult::FileError) << verdict;
            return verdict == TrustResult::NotTrusted;
        });
    });
    const std::jthread loading([folder = below(u"component"), &goodModule] {
        Verifiers verifiers;
        Race race(folder, u"here", u"a.dll", goodModule, Tampered(goodModule, kStubText, kOtherStubText));
        race.Run([&] {
            tsLib::tsInstanceFactory cache(real, verifiers.trust);
            tsLib::tsVaneModuleFactory* factory = nullptr;
            const bool isLoaded = Succeeded(cache.GetFactory(race.path.c_str(), true, 3, &factory));
            EXPECT_FALSE(isLoaded && IsTampered(factory->Module()));
            return isLoaded;
        });
    });
    const std::jthread starting([folder = below(u"program"), &goodProgram] {
        Verifiers verifiers;
        Race race(folder, u"here", u"a.exe", goodProgram, Tampered(goodProgram, "exit code 7", "exit code 8"));
        race.Run([&] {
            StartedProcess started;
            if (!HVR::StartVerified(real, verifiers.trust, race.path, u"", kCreateNoWindow, 3, started)) {
                return false;
            }
            const OwnedProcess process(real.processes, started.process);
            const OwnedThread thread(real.processes, started.thread);
            const auto handle = win32::FromSeam<HANDLE>(started.process);
            DWORD code = 0;
            EXPECT_EQ(WaitForSingleObject(handle, 30000), WAIT_OBJECT_0);
            EXPECT_TRUE(GetExitCodeProcess(handle, &code) && code == 7) << code;
            return true;
        });
    });
    Installation installation;
    const std::u16string server = installation.PutProduct(u"zebshell2.dll");
    CreateDirectoryW(ToWide(installation.Folder() + u"res"), nullptr);
    const std::string goodStrings = GetBytes(Staged(u"res\\1033\\ZebShellRes.dll"));
    const ShellLibrary library(server);
    Race race(installation.Folder() + u"res\\", u"1033", u"ZebShellRes.dll", goodStrings,
              Tampered(goodStrings, std::string_view("S\0c\0a\0n\0", 8), std::string_view("S\0p\0a\0m\0", 8)));
    race.Run([&] {
        const std::wstring item = MenuItem(*library.NewHandler<IContextMenu>().Get());
        EXPECT_EQ(item.find(L"Spam"), std::wstring::npos);
        return !item.empty();
    });
}

TEST(HostileNeighbour, WhoHoldsAFileOpen_KeepsItOut) {
    const ScratchFolder scratch(L"hvh");
    Verifiers verifiers;
    const tsLib::VaneRef<tsLib::IVerifyTrust> verifier(verifiers.trust.Create());
    for (const char16_t* const name : {u"good.dll", u"tampered.dll"}) {
        const std::u16string path = scratch.Path() + name;
        ASSERT_TRUE(PutBytes(path, GetBytes(Sample(name))));
        for (const auto& [access, sharing] :
             {std::pair<DWORD, DWORD>{DELETE, 7}, {GENERIC_WRITE, 7}, {GENERIC_READ, 0}}) {
            const win32::UniqueFile holder(
                CreateFileW(ToWide(path), access, sharing, nullptr, OPEN_EXISTING, 0, nullptr));
            EXPECT_TRUE(holder);
            EXPECT_EQ(verifier->VerifyFile(path.c_str(), TrustLevel{3}), TrustResult::FileError);
            EXPECT_EQ(verifier->VerifyFile(path.c_str(), TrustLevel{5}), TrustResult::NotTrusted);
            tsLib::tsInstanceFactory cache(real, verifiers.trust);
            tsLib::tsVaneModuleFactory* factory = nullptr;
            tsLib::tsVaneModuleLoader loader(real);  // which verifies nothing
            EXPECT_EQ(cache.GetFactory(path.c_str(), false, 0, &factory), VaneResult::ModuleMissing);
            EXPECT_EQ(loader.Load(path.c_str()), VaneResult::ModuleMissing);
            StartedProcess started;
            EXPECT_FALSE(HVR::StartVerified(real, verifiers.trust, path, u"", kCreateNoWindow, 3, started));
        }
        EXPECT_FALSE(IsLoaded(path));
    }
}

TEST(HostileNeighbour, WhoPutsFilesUnderNamesReadInTwoWays_GetsNothingIn) {
    const ScratchFolder scratch(L"hvh");
    Verifiers verifiers;
    const tsLib::VaneRef<tsLib::IVerifyTrust> verifier(verifiers.trust.Create());
    const std::string good = GetBytes(Sample(u"good.dll"));
    const std::u16string plug = scratch.Path() + u"plug";
    ASSERT_TRUE(PutBytes(plug, good));
    ASSERT_TRUE(PutBytes(plug + u".dll", Tampered(good, kStubText, kOtherStubText)));
    tsLib::tsInstanceFactory cache(real, verifiers.trust);
    tsLib::tsVaneModuleFactory* factory = nullptr;
    for (const char16_t* const suffix : {u"", u".", u" "}) {
        ASSERT_EQ(cache.GetFactory((plug + suffix).c_str(), true, 3, &factory), VaneResult::Success);
        EXPECT_FALSE(IsTampered(factory->Module()));
    }
    EXPECT_EQ(cache.GetFactory((plug + u".dll").c_str(), true, 3, &factory), VaneResult::ModuleNotTrusted);

    // A running program in a folder that is called like a variable, and a signed one where the variable leads to.
    const VariableForTest variable(L"HVN", u"signed");
    for (const char16_t* const folder : {u"%HVN%", u"signed"}) {
        ASSERT_TRUE(CreateDirectoryW(ToWide(scratch.Path() + folder), nullptr));
    }
    const std::u16string program = scratch.Path() + u"%HVN%\\a.exe";
    ASSERT_TRUE(PutBytes(program, GetBytes(Sample(u"unsigned.exe"))));
    ASSERT_TRUE(PutBytes(scratch.Path() + u"signed\\a.exe", GetBytes(Sample(u"good.exe"))));
    EXPECT_EQ(verifier->VerifyFile((u"\\\\?\\" + program).c_str(), TrustLevel{3}), TrustResult::NotTrusted);
    StartedProcess started;
    ASSERT_EQ(real.processes.Start(u'"' + program + u"\" 60000", kCreateNoWindow, started), SystemError::Success);
    const OwnedProcess process(real.processes, started.process);
    const OwnedThread thread(real.processes, started.thread);
    EXPECT_EQ(verifier->VerifyProcess(started.processId, 3), TrustResult::NotTrusted);
    TerminateProcess(win32::FromSeam<HANDLE>(started.process), 0);
    WaitForSingleObject(win32::FromSeam<HANDLE>(started.process), 10000);
}

// Where the platform resolves links in the name of a file, the good module is loaded; elsewhere none.
TEST(HostileNeighbour, WhoRepointsALinkOnTheWay_GetsNothingIn) {
    if (VariableText(L"WINEPREFIX").empty()) {
        GTEST_SKIP() << "no Unix program to make the link";
    }
    const ScratchFolder scratch(L"hvh");
    const std::string good = GetBytes(Sample(u"good.dll"));
    for (const char16_t* const folder : {u"good", u"bad"}) {
        ASSERT_TRUE(CreateDirectoryW(ToWide(scratch.Path() + folder), nullptr));
        ASSERT_TRUE(PutBytes(scratch.Path() + folder + u"\\a.dll",
                             *folder == u'g' ? good : Tampered(good, kStubText, kOtherStubText)));
    }
    // Wine does not wait for such a program to end.
    const auto run = [&](std::wstring command, auto&& isDone) {
        STARTUPINFOW startUp{};
        startUp.cb = sizeof(startUp);
        PROCESS_INFORMATION started{};
        EXPECT_TRUE(CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, ToWide(scratch.Path()),
                                   &startUp, &started));
        for (int i = 0; i < 100 && !isDone(); ++i) {
            Sleep(50);
        }
    };
    const std::u16string path = scratch.Path() + u"link\\a.dll";
    const auto point = [&](const std::wstring& to) {
        run(L"Z:\\bin\\ln -sfn " + to + L" link", [&] { return IsTampered(path) == (to == L"bad"); });
    };
    point(L"good");
    Verifiers verifiers;
    tsLib::tsInstanceFactory cache(real, verifiers.trust);
    tsLib::tsVaneModuleFactory* factory = nullptr;
    const auto repoint = [&](const char16_t* name) {
        EXPECT_FALSE(IsTampered(std::u16string(name)));
        point(L"bad");
        return VaneResult::Success;
    };
    const bool isLoaded = Succeeded(cache.GetFactory(path.c_str(), repoint, &factory));
    EXPECT_TRUE(IsTampered(path));
    EXPECT_FALSE(isLoaded && IsTampered(factory->Module()));
    run(L"Z:\\bin\\rm link", [&] { return GetBytes(path).empty(); });
}

// What a file's record must not outlive. Each is a copy of a good program that has become a bad one.
std::atomic<int> checks{0};
const auto realWinVerifyTrust = reinterpret_cast<LONG(WINAPI*)(HWND, GUID*, void*)>(
    reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(L"wintrust.dll"), "WinVerifyTrust")));
LONG WINAPI CountingWinVerifyTrust(HWND window, GUID* action, void* data) {
    ++checks;
    return realWinVerifyTrust(window, action, data);
}

// Opens a file for writing, does the work, and puts all its times back.
template <class Work>
void Rewrite(const std::u16string& path, Work&& work) {
    const win32::UniqueFile file(
        CreateFileW(ToWide(path), GENERIC_READ | GENERIC_WRITE, 7, nullptr, OPEN_EXISTING, 0, nullptr));
    FILE_BASIC_INFO times{};
    EXPECT_TRUE(GetFileInformationByHandleEx(file.Get(), FileBasicInfo, &times, sizeof(times)));
    work(file.Get());
    EXPECT_TRUE(SetFileInformationByHandle(file.Get(), FileBasicInfo, &times, sizeof(times)));
}
void OverwriteStub(HANDLE file) {
    DWORD written = 0;
    SetFilePointer(file, 0x4E, nullptr, FILE_BEGIN);
    EXPECT_TRUE(WriteFile(file, "That", 4, &written, nullptr));
}

TEST(HostileNeighbour, WhoChangesATrustedFile_MeetsNoOldAnswer) {
    const ScratchFolder scratch(L"hvh");
    const std::string good = GetBytes(Sample(u"good.exe"));
    const std::u16string aside = scratch.Path() + u"aside.exe";
    const std::pair<const char16_t*, std::function<void(const std::u16string&)>> attacks[] = {
        {u"rewritten.exe", [](const std::u16string& path) { Rewrite(path, OverwriteStub); }},
        {u"renamed over.exe",
         [&](const std::u16string& path) {
             ASSERT_TRUE(PutBytes(aside, Tampered(good, kStubText, kOtherStubText)));
             EXPECT_TRUE(MoveFileExW(ToWide(aside), ToWide(path), MOVEFILE_REPLACE_EXISTING));
         }},
        {u"linked.exe",
         [&](const std::u16string& path) {
             EXPECT_TRUE(CreateHardLinkW(ToWide(aside), ToWide(path), nullptr));
             Rewrite(aside, OverwriteStub);
             EXPECT_TRUE(DeleteFileW(ToWide(aside)));
         }},
        {u"mapped.exe",
         [](const std::u16string& path) {
             Rewrite(path, [](HANDLE file) {
                 const win32::UniqueKernelHandle section(
                     CreateFileMappingW(file, nullptr, PAGE_READWRITE, 0, 0, nullptr));
                 auto* const view = static_cast<char*>(MapViewOfFile(section.Get(), FILE_MAP_WRITE, 0, 0, 0));
                 ASSERT_NE(view, nullptr);
                 CopyMemory(view + 0x4E, "That", 4);
                 UnmapViewOfFile(view);
             });
         }},
        {u"grown.exe",
         [](const std::u16string& path) {
             Rewrite(path, [](HANDLE file) {
                 SetFilePointer(file, 0x4E, nullptr, FILE_BEGIN);
                 OverwriteStub(file);
                 SetFilePointer(file, 0, nullptr, FILE_END);
                 DWORD written = 0;
                 EXPECT_TRUE(WriteFile(file, "x", 1, &written, nullptr));
             });
         }},
    };
    Verifiers verifiers;
    const ImportPatch counting(GetModuleHandleW(nullptr), realWinVerifyTrust, &CountingWinVerifyTrust);
    const tsLib::VaneRef<tsLib::IVerifyTrust> verifier(verifiers.trust.Create());
    const auto ask = [&](const std::u16string& path) {
        checks = 0;
        const TrustResult verdict = verifier->VerifyFile(path.c_str(), TrustLevel{3});
        return std::pair(verdict, checks > 0);
    };
    for (const auto& [name, attack] : attacks) {
        ASSERT_TRUE(PutBytes(scratch.Path() + name, good));
    }
    const std::u16string fresh = scratch.Path() + u"fresh.exe";
    ASSERT_TRUE(PutBytes(fresh, good));
    EXPECT_EQ(ask(fresh), std::pair(TrustResult::Trusted, true));
    EXPECT_EQ(ask(fresh), std::pair(TrustResult::Trusted, true)) << "within the clock's step nothing is relied on";
    Rewrite(fresh, OverwriteStub);
    EXPECT_EQ(ask(fresh), std::pair(TrustResult::NotTrusted, true));
    Sleep(static_cast<DWORD>(tsLib::TrustRecords::kTimeStep / 10'000) + 200);
    for (const auto& [name, attack] : attacks) {
        const std::u16string path = scratch.Path() + name;
        EXPECT_EQ(ask(path), std::pair(TrustResult::Trusted, true)) << testing::PrintToString(path);
        EXPECT_EQ(ask(path), std::pair(TrustResult::Trusted, false)) << testing::PrintToString(path);
        attack(path);
        EXPECT_EQ(ask(path), std::pair(TrustResult::NotTrusted, true)) << testing::PrintToString(path);
        ASSERT_TRUE(PutBytes(path, good));  // a backup comes back
        EXPECT_EQ(ask(path), std::pair(TrustResult::Trusted, true)) << testing::PrintToString(path);
    }
}

}  // namespace
}  // namespace tests
