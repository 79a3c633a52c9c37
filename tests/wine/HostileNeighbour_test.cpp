// Somebody else's program that changes files and names while they are verified, loaded or started, or between two
// looks. Whatever it does: no bad file is accepted, loaded or started.
#include <chrono>
#include <thread>

#include "composition/ProductRuntime.h"
#include "shellext/VerifiedProcessStart.h"
#include "tests/wine/ShellServer.h"
#include "tslib/tsVaneModuleLoader.h"

namespace tests {
namespace {

using namespace tsLib;
using namespace tsLib::platform;

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
    // Does the work until the time is over, and counts how often it succeeds, which it must sometimes; on a machine
    // that is busy it may take longer until it has.
    template <class Work>
    void Run(Work&& work) {
        const auto begin = std::chrono::steady_clock::now();
        const auto isOver = [&](auto time) { return std::chrono::steady_clock::now() - begin > time; };
        std::size_t done = 0;
        std::size_t rounds = 0;
        for (; !isOver(kRaceTime) || (done == 0 && !isOver(10 * kRaceTime)); ++rounds) {
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
    TrustResult Verify(const std::u16string& path, tsLib::TrustLevel level = 3) const {
        return verifier->VerifyFile(path.c_str(), level);
    }
    bool Start(const std::u16string& path, StartedProcess& started) {
        return HVR::StartVerified(real, trust, path, u"", kCreateNoWindow, 3, started);
    }
    TrustRecords records{real.files, real.system};
    TrustContext trust{real, nullptr, records};
    const VaneRef<IVerifyTrust> verifier{trust.Create()};
};

// A component that is loaded meanwhile, if it can be.
struct Loaded {
    Loaded(Verifiers& by, const std::u16string& path, bool verify = true)
        : cache(real, by.trust), result(cache.GetFactory(path.c_str(), verify, 3, &factory)) {}
    [[nodiscard]] bool HasTheOtherText() const { return Succeeded(result) && IsTampered(factory->Module()); }

    tsInstanceFactory cache;
    tsVaneModuleFactory* factory = nullptr;
    const VaneResult result;
};

struct HostileNeighbour : testing::Test, Verifiers {
    const ScratchFolder scratch{L"hvh"};
};

// All at the same time: each has files of its own.
TEST_F(HostileNeighbour, WhoExchangesFilesAndFolders_GetsNothingIn) {
    const std::string goodProgram = GetBytes(Sample(u"good.exe"));
    const std::string goodModule = GetBytes(Sample(u"good.dll"));
    const auto below = [&](const char16_t* name) {
        CreateDirectoryW(ToWide(scratch.Path() + name), nullptr);
        return scratch.Path() + name + u"\\";
    };

    // Each of the two is refused, the one for its names, the other for its bytes; only parts of both would do.
    const std::jthread verifying([folder = below(u"verdict")] {
        const Verifiers own;
        Race race(folder, u"here", u"a.exe", GetBytes(Sample(u"other-names.exe")), GetBytes(Sample(u"tampered.exe")));
        race.Run([&] {
            const TrustResult verdict = own.Verify(race.path);
            EXPECT_TRUE(verdict == TrustResult::NotTrusted || verdict == TrustResult::FileError) << verdict;
            return verdict == TrustResult::NotTrusted;
        });
    });
    const std::jthread loading([folder = below(u"component"), &goodModule] {
        Verifiers own;
        Race race(folder, u"here", u"a.dll", goodModule, Tampered(goodModule, kStubText, kOtherStubText));
        race.Run([&] {
            const Loaded loaded(own, race.path);
            EXPECT_FALSE(loaded.HasTheOtherText());
            return Succeeded(loaded.result);
        });
    });
    const std::jthread starting([folder = below(u"program"), &goodProgram] {
        Verifiers own;
        Race race(folder, u"here", u"a.exe", goodProgram, Tampered(goodProgram, "exit code 7", "exit code 8"));
        race.Run([&] {
            StartedProcess started;
            const bool isStarted = own.Start(race.path, started);
            EXPECT_TRUE(!isStarted || ExitCode(started) == 7);
            return isStarted;
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

TEST_F(HostileNeighbour, WhoHoldsAFileOpen_KeepsItOut) {
    for (const char16_t* const name : {u"good.dll", u"tampered.dll"}) {
        const std::u16string path = scratch.Path() + name;
        ASSERT_TRUE(PutBytes(path, GetBytes(Sample(name))));
        for (const auto& [access, sharing] :
             {std::pair<DWORD, DWORD>{DELETE, 7}, {GENERIC_WRITE, 7}, {GENERIC_READ, 0}}) {
            const win32::UniqueFile holder(
                CreateFileW(ToWide(path), access, sharing, nullptr, OPEN_EXISTING, 0, nullptr));
            EXPECT_TRUE(holder);
            EXPECT_EQ(Verify(path), TrustResult::FileError);
            EXPECT_EQ(Verify(path, 5), TrustResult::NotTrusted);
            EXPECT_EQ(Loaded(*this, path, false).result, VaneResult::ModuleMissing);
            tsVaneModuleLoader loader(real);  // which verifies nothing
            EXPECT_EQ(loader.Load(path.c_str()), VaneResult::ModuleMissing);
            StartedProcess started;
            EXPECT_FALSE(Start(path, started));
        }
        EXPECT_FALSE(IsLoaded(path));
    }
}

TEST_F(HostileNeighbour, WhoPutsFilesUnderNamesReadInTwoWays_GetsNothingIn) {
    const std::string good = GetBytes(Sample(u"good.dll"));
    const std::u16string plug = scratch.Path() + u"plug";
    ASSERT_TRUE(PutBytes(plug, good));
    ASSERT_TRUE(PutBytes(plug + u".dll", Tampered(good, kStubText, kOtherStubText)));
    for (const char16_t* const suffix : {u"", u".", u" "}) {
        const Loaded loaded(*this, plug + suffix);
        EXPECT_TRUE(Succeeded(loaded.result) && !loaded.HasTheOtherText());
    }
    EXPECT_EQ(Loaded(*this, plug + u".dll").result, VaneResult::ModuleNotTrusted);

    // A running program in a folder that is called like a variable, and a signed one where the variable leads to.
    const VariableForTest variable(L"HVN", u"signed");
    for (const char16_t* const folder : {u"%HVN%", u"signed"}) {
        ASSERT_TRUE(CreateDirectoryW(ToWide(scratch.Path() + folder), nullptr));
    }
    const std::u16string program = scratch.Path() + u"%HVN%\\a.exe";
    ASSERT_TRUE(PutBytes(program, GetBytes(Sample(u"unsigned.exe"))));
    ASSERT_TRUE(PutBytes(scratch.Path() + u"signed\\a.exe", GetBytes(Sample(u"good.exe"))));
    EXPECT_EQ(Verify(u"\\\\?\\" + program), TrustResult::NotTrusted);
    for (const auto& [path, verdict] :
         {std::pair(program, TrustResult::NotTrusted), {Sample(u"good.exe"), TrustResult::Trusted}}) {
        StartedProcess started;
        ASSERT_EQ(real.processes.Start(u'"' + path + u"\" 60000", kCreateNoWindow, started), SystemError::Success);
        EXPECT_EQ(VaneRef(CreateTrustVerifierStatic())->VerifyProcess(started.processId, 3), verdict);
        TerminateProcess(win32::FromSeam<HANDLE>(started.process), 0);
        EXPECT_EQ(ExitCode(started), 0U);
    }

    // A class whose server is a bare name: COM would search for it elsewhere than where a signed file of that name
    // lies.
    constexpr tsLib::Guid kClass{0x5A1E0001, 0x1111, 0x2222, {1, 2, 3, 4, 5, 6, 7, 8}};
    const std::wstring key = std::wstring(L"Software\\Classes\\CLSID\\") + ToWide(tsLib::ToText(kClass));
    wchar_t before[MAX_PATH] = {};
    GetCurrentDirectoryW(MAX_PATH, before);
    SetCurrentDirectoryW(ToWide(scratch.Path() + u"signed"));
    for (const auto& [server, verdict] : {std::pair<std::u16string, TrustResult>{u"a.exe", TrustResult::FileError},
                                          {u"..\\signed\\a.exe", TrustResult::FileError},
                                          {scratch.Path() + u"signed\\a.exe", TrustResult::Trusted}}) {
        SetText(HKEY_LOCAL_MACHINE, key + L"\\InprocServer32", nullptr, server);
        EXPECT_EQ(VaneRef(CreateTrustVerifierStatic())->VerifyComServer(kClass, 3), verdict);
    }
    SetCurrentDirectoryW(before);
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str());
}

// Where the platform resolves links in the name of a file, the good module is loaded; elsewhere none.
TEST_F(HostileNeighbour, WhoRepointsALinkOnTheWay_GetsNothingIn) {
    if (VariableText(L"WINEPREFIX").empty()) {
        GTEST_SKIP() << "no Unix program to make the link";
    }
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
    const auto point = [&](const std::u16string& to) {
        run(std::wstring(L"Z:\\bin\\ln -sfn ") + ToWide(to) + L" link",
            [&] { return GetBytes(path) == GetBytes(scratch.Path() + to + u"\\a.dll"); });
    };
    point(u"good");
    tsInstanceFactory cache(real, trust);
    tsVaneModuleFactory* factory = nullptr;
    const auto repoint = [&](const char16_t* name) {
        EXPECT_FALSE(IsTampered(std::u16string(name)));
        point(u"bad");
        return VaneResult::Success;
    };
    const bool isLoaded = Succeeded(cache.GetFactory(path.c_str(), repoint, &factory));
    EXPECT_TRUE(IsTampered(path));
    EXPECT_FALSE(isLoaded && IsTampered(factory->Module()));
    run(L"Z:\\bin\\rm link", [&] { return GetBytes(path).empty(); });
}

// How often the platform was asked about a signature.
std::atomic<int> checks{0};
const auto realWinVerifyTrust = SystemFunction<LONG WINAPI(HWND, GUID*, void*)>(L"wintrust.dll", "WinVerifyTrust");
LONG WINAPI CountingWinVerifyTrust(HWND window, GUID* action, void* data) {
    ++checks;
    return realWinVerifyTrust(window, action, data);
}

// Opens a file for writing, does the work, and puts all its times back.
void Rewrite(const std::u16string& path, void (*work)(HANDLE)) {
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
void OverwriteThroughAView(HANDLE file) {
    const win32::UniqueKernelHandle section(CreateFileMappingW(file, nullptr, PAGE_READWRITE, 0, 0, nullptr));
    auto* const view = static_cast<char*>(MapViewOfFile(section.Get(), FILE_MAP_WRITE, 0, 0, 0));
    ASSERT_NE(view, nullptr);
    CopyMemory(view + 0x4E, "That", 4);
    UnmapViewOfFile(view);
}

// What a file's record must not outlive. Each is a copy of a good program that becomes a bad one.
TEST_F(HostileNeighbour, WhoChangesATrustedFile_MeetsNoOldAnswer) {
    using Path = const std::u16string&;
    const std::string good = GetBytes(Sample(u"good.exe"));
    const std::u16string aside = scratch.Path() + u"aside.exe";
    const std::pair<const char16_t*, std::function<void(Path)>> attacks[] = {
        {u"rewritten.exe", [](Path path) { Rewrite(path, OverwriteStub); }},
        {u"renamed over.exe",
         [&](Path path) {
             ASSERT_TRUE(PutBytes(aside, Tampered(good, kStubText, kOtherStubText)));
             EXPECT_TRUE(MoveFileExW(ToWide(aside), ToWide(path), MOVEFILE_REPLACE_EXISTING));
         }},
        {u"linked.exe",
         [&](Path path) {
             EXPECT_TRUE(CreateHardLinkW(ToWide(aside), ToWide(path), nullptr));
             Rewrite(aside, OverwriteStub);
             EXPECT_TRUE(DeleteFileW(ToWide(aside)));
         }},
        {u"mapped.exe", [](Path path) { Rewrite(path, OverwriteThroughAView); }},
    };
    const ImportPatch counting(GetModuleHandleW(nullptr), realWinVerifyTrust, &CountingWinVerifyTrust);
    // The verdict, and whether the platform was asked.
    const auto ask = [&](Path path) {
        checks = 0;
        const TrustResult verdict = Verify(path);
        return std::pair(verdict, checks > 0);
    };
    const std::pair checked(TrustResult::Trusted, true), spared(TrustResult::Trusted, false);
    const std::pair refused(TrustResult::NotTrusted, true);
    for (const auto& [name, attack] : attacks) {
        ASSERT_TRUE(PutBytes(scratch.Path() + name, good));
    }
    const std::u16string fresh = scratch.Path() + u"fresh.exe";
    ASSERT_TRUE(PutBytes(fresh, good));
    EXPECT_EQ(ask(fresh), checked);
    EXPECT_EQ(ask(fresh), checked) << "within the clock's step nothing is relied on";
    Rewrite(fresh, OverwriteStub);
    EXPECT_EQ(ask(fresh), refused);
    Sleep(static_cast<DWORD>(TrustRecords::kTimeStep / 10'000) + 200);
    for (const auto& [name, attack] : attacks) {
        const std::u16string path = scratch.Path() + name;
        EXPECT_EQ(ask(path), checked) << testing::PrintToString(path);
        EXPECT_EQ(ask(path), spared) << testing::PrintToString(path);
        attack(path);
        EXPECT_EQ(ask(path), refused) << testing::PrintToString(path);
        ASSERT_TRUE(PutBytes(path, good));  // a backup comes back
        EXPECT_EQ(ask(path), checked) << testing::PrintToString(path);
    }
}

}  // namespace
}  // namespace tests
