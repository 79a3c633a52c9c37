// Modules loaded and unloaded again and again: nothing is left behind.
#include "tests/wine/ShellServer.h"

namespace tests {
namespace {

// A new handle gets the lowest free number, which rises when handles leak. (Wine counts none.)
std::size_t Handles() {
    const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    CloseHandle(event);
    return reinterpret_cast<std::uintptr_t>(event) / 4;
}

// Bytes, in all heaps.
std::size_t HeapInUse() {
    HANDLE heaps[64] = {};
    const DWORD count = std::min<DWORD>(GetProcessHeaps(64, heaps), 64);
    std::size_t bytes = 0;
    for (DWORD i = 0; i < count; ++i) {
        PROCESS_HEAP_ENTRY entry{};
        while (HeapWalk(heaps[i], &entry)) {
            bytes += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? entry.cbData : 0;
        }
    }
    return bytes;
}

// As a host uses it: each handler loads the strings, the verifier, the settings store and the components anew.
TEST(Leaks, TheShellLibrary_UsedAndUnloaded) {
    Installation installation;
    const std::u16string modules[] = {u"zebshell2.dll", u"tsVrTrst.dll", u"tsSet.dll", u"tsQrtCtl.dll"};
    for (const std::u16string& name : modules) {
        installation.PutProduct(name);
    }
    installation.PutEnglishStrings();
    installation.PutObject(tsLib::OBJID_QrtControl, u"%TSROOTX64%\\tsQrtCtl.dll", u"Settings\\Tessel\\OBJID\\");
    const auto usageAfter = [&](int rounds) {
        for (int i = 0; i < rounds; ++i) {
            const ShellLibrary library(installation.Folder() + modules[0]);
            EXPECT_EQ(MenuItem(*library.NewHandler<IContextMenu>().Get()), L"&Scan with Halvora");
        }
        return std::pair(Handles(), HeapInUse());
    };
    constexpr int kRounds = 20;
    const auto before = usageAfter(10);  // what the system keeps after the first uses
    const auto half = usageAfter(kRounds);
    const auto after = usageAfter(kRounds);
    EXPECT_EQ(after.first, before.first);
    // Newer heaps grow by whole groups.
    const bool isNew = tsLib::platform::win32::Win32Platform::Instance().catalogs.HasSha256Hash();
    // A leak grows in both halves; the system growing something of its own, once, does not.
    EXPECT_LE(std::min(half.second - before.second, after.second - half.second), kRounds * (isNew ? 2048U : 0U));
    for (const std::u16string& name : modules) {
        EXPECT_FALSE(IsLoaded(installation.Folder() + name));
    }
}

}  // namespace
}  // namespace tests
