// Modules loaded and unloaded again and again: nothing is left behind.
#include <algorithm>

#include "tests/wine/ShellServer.h"
#include "tslib/IProtectionControl.h"
#include "tslib/ISettingsStore.h"
#include "tslib/platform/win32/Win32Platform.h"
#include "tslib/tsVaneModuleLoader.h"
#include "tslib/tsVaneTrustedModuleLoader.h"

// After windows.h.
#include <psapi.h>

namespace tests {
namespace {

using tsLib::VaneResult;

struct Usage {
    std::size_t modules = 0;
    std::size_t handles = 0;
    std::size_t heap = 0;  // bytes in use in all heaps
};

std::size_t LoadedModules() {
    HMODULE first = nullptr;
    DWORD bytes = 0;
    EXPECT_TRUE(EnumProcessModules(GetCurrentProcess(), &first, sizeof(first), &bytes));
    return bytes / sizeof(first);
}

// A new handle gets the lowest free number, which rises when handles leak. (Wine counts none.)
std::size_t Handles() {
    const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    CloseHandle(event);
    return reinterpret_cast<std::uintptr_t>(event) / 4;
}

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

class Leaks : public ::testing::Test {
protected:
    // `kept` is what a round may leave behind for good, in bytes.
    template <class Round>
    void ExpectFlat(Round&& round, std::size_t kept = 0) {
        constexpr int kRounds = 20;
        const auto usageAfter = [&](int rounds) {
            for (int i = 0; i < rounds && !HasFatalFailure(); ++i) {
                round();
            }
            return Usage{LoadedModules(), Handles(), HeapInUse()};
        };
        const Usage before = usageAfter(10);  // what the system keeps after the first uses
        const Usage half = usageAfter(kRounds);
        const Usage after = usageAfter(kRounds);
        EXPECT_EQ(after.modules, before.modules);
        EXPECT_EQ(after.handles, before.handles);
        // A leak grows in both halves; the system growing something of its own, once, does not.
        EXPECT_LE(std::min(half.heap - before.heap, after.heap - half.heap), kRounds * kept);
    }

    const tsLib::platform::Platform& platform = tsLib::platform::win32::Win32Platform::Instance();
    Installation installation;
};

TEST_F(Leaks, ComponentModules_UsedAndUnloaded) {
    const std::u16string probe = installation.PutSample(u"component.dll");
    const std::u16string store = installation.PutProduct(u"tsSet.dll");
    const std::u16string control = installation.PutProduct(u"tsQrtCtl.dll");
    ExpectFlat([&] {
        tsLib::tsVaneModuleLoader loader(platform.modules, platform.trace);
        const auto create = [&](const std::u16string& path, const tsLib::ObjectId& id,
                                const tsLib::InterfaceId& interfaceId) {
            void* made = nullptr;
            loader.Unload();
            EXPECT_EQ(loader.Load(path.c_str()), VaneResult::Success);
            EXPECT_EQ(loader.CreateInstance(id, interfaceId, &made), VaneResult::Success);
            return made;
        };
        bool holds = true;
        const auto made = static_cast<IComponentProbe*>(create(probe, kProbeId, kIComponentProbeId));
        EXPECT_EQ(made->KeepOwnModule(&holds), VaneResult::Success);
        made->Release();
        {
            const tsLib::VaneRef<tsLib::ISettingsStore> settings(static_cast<tsLib::ISettingsStore*>(
                create(store, tsLib::kSettingsStoreObjectId, tsLib::kISettingsStoreId)));
            tsLib::VaneRef<tsLib::ISettingsKey> key;
            ASSERT_EQ(settings->OpenForWriting(u"Round", key.Receive()), VaneResult::Success);
            EXPECT_EQ(key->WriteNumber(u"n", 1), VaneResult::Success);
        }
        const tsLib::VaneRef<tsLib::IProtectionControl> suspended(static_cast<tsLib::IProtectionControl*>(
            create(control, tsLib::OBJID_QrtControl, tsLib::kIProtectionControlId)));
        EXPECT_EQ(suspended->DisableProtection(), tsLib::HResult::Ok);
    });
    EXPECT_FALSE(IsLoaded(probe) || IsLoaded(store) || IsLoaded(control));
}

// As a host uses it: each handler loads the strings, the verifier and the components anew.
TEST_F(Leaks, TheShellLibrary_UsedAndUnloaded) {
    const std::u16string path = installation.PutProduct(u"zebshell2.dll");
    installation.PutProduct(u"tsVrTrst.dll");
    installation.PutStrings(Staged(u"res\\1033\\ZebShellRes.dll"), u"1033");
    installation.PutObject(tsLib::OBJID_QrtControl, installation.PutProduct(u"tsQrtCtl.dll"));
    ExpectFlat(
        [&] {
            const ShellLibrary library(path);
            auto menu = library.NewHandler<IContextMenu>();
            ASSERT_EQ(library.CanUnloadNow(), S_FALSE);
            menu.Reset();
            ASSERT_EQ(library.CanUnloadNow(), S_OK);
        },
        24);  // the runtime keeps that for the recursive lock of the strings' holder
}

TEST_F(Leaks, AProcess_WithVerifierStoreAndComponent) {
    installation.PutProduct(u"tsVrTrst.dll");
    installation.PutProduct(u"tsSet.dll");
    const std::u16string probe = installation.PutSample(u"component.dll");
    installation.PutSetting(kProbeId, u"%TSROOTX64%\\component.dll");
    ExpectFlat([&] { ASSERT_EQ(ProcessOf(installation).ProbeModule(), probe); });
    EXPECT_FALSE(IsLoaded(probe));
}

}  // namespace
}  // namespace tests
