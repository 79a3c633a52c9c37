// Modules loaded and unloaded again and again: nothing is left behind.
#include <algorithm>

#include "tests/wine/ShellServer.h"
#include "tslib/IProtectionControl.h"
#include "tslib/ISettingsStore.h"
#include "tslib/VaneRef.h"
#include "tslib/platform/win32/Win32Platform.h"
#include "tslib/tsVaneModuleLoader.h"

namespace tests {
namespace {

using tsLib::VaneResult;

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

class Leaks : public ::testing::Test {
protected:
    // `kept` is what a round may leave behind for good, in bytes.
    template <class Round>
    static void ExpectFlat(Round&& round, std::size_t kept = 0) {
        constexpr int kRounds = 20;
        const auto usageAfter = [&](int rounds) {
            for (int i = 0; i < rounds && !HasFatalFailure(); ++i) {
                round();
            }
            return std::pair(Handles(), HeapInUse());
        };
        const auto before = usageAfter(10);  // what the system keeps after the first uses
        const auto half = usageAfter(kRounds);
        const auto after = usageAfter(kRounds);
        EXPECT_EQ(after.first, before.first);
        // A leak grows in both halves; the system growing something of its own, once, does not.
        EXPECT_LE(std::min(half.second - before.second, after.second - half.second), kRounds * kept);
    }
    // An object of that module, which the loader keeps loaded.
    template <class Interface>
    static tsLib::VaneRef<Interface> Create(tsLib::tsVaneModuleLoader& loader, const std::u16string& path,
                                            const tsLib::ObjectId& id, const tsLib::InterfaceId& interfaceId) {
        void* made = nullptr;
        EXPECT_EQ(loader.Load(path.c_str()), VaneResult::Success);
        EXPECT_EQ(loader.CreateInstance(id, interfaceId, &made), VaneResult::Success);
        return tsLib::VaneRef<Interface>(static_cast<Interface*>(made));
    }

    Installation installation;
};

TEST_F(Leaks, ComponentModules_UsedAndUnloaded) {
    using namespace tsLib;
    const std::u16string storePath = installation.PutProduct(u"tsSet.dll");
    const std::u16string controlPath = installation.PutProduct(u"tsQrtCtl.dll");
    const platform::Platform& platform = platform::win32::Win32Platform::Instance();
    ExpectFlat([&] {
        tsVaneModuleLoader stores(platform);
        const auto store = Create<ISettingsStore>(stores, storePath, kSettingsStoreObjectId, kISettingsStoreId);
        VaneRef<ISettingsKey> key;
        ASSERT_EQ(store->OpenForWriting(u"Round", key.Receive()), VaneResult::Success);
        EXPECT_EQ(key->WriteNumber(u"n", 1), VaneResult::Success);
        tsVaneModuleLoader controls(platform);
        const auto control = Create<IProtectionControl>(controls, controlPath, OBJID_QrtControl, kIProtectionControlId);
        EXPECT_EQ(control->DisableProtection(), HResult::Ok);
        EXPECT_EQ(controls.ObjectCount(), 1U);
    });
    EXPECT_FALSE(IsLoaded(storePath) || IsLoaded(controlPath));
}

// As a host uses it: each handler loads the strings, the verifier and the components anew.
TEST_F(Leaks, TheShellLibrary_UsedAndUnloaded) {
    const std::u16string path = installation.PutProduct(u"zebshell2.dll");
    installation.PutProduct(u"tsVrTrst.dll");
    installation.PutStrings(Staged(u"res\\1033\\ZebShellRes.dll"), u"1033");
    installation.PutObject(tsLib::OBJID_QrtControl, installation.PutProduct(u"tsQrtCtl.dll"));
    const auto round = [&] {
        const ShellLibrary library(path);
        static_cast<void>(library.NewHandler<IContextMenu>());
    };
    // The runtime keeps 24 for the recursive lock of the strings' holder; newer heaps also grow by whole groups.
    ExpectFlat(round, tsLib::platform::win32::Win32Platform::Instance().catalogs.HasSha256Hash() ? 2048 : 24);
    EXPECT_FALSE(IsLoaded(path) || IsLoaded(installation.Folder() + u"tsVrTrst.dll"));
}

}  // namespace
}  // namespace tests
