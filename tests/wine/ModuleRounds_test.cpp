// Component modules loaded and unloaded again and again: nothing is left behind.
#include <gtest/gtest.h>
#include <windows.h>
// After windows.h.
#include <tlhelp32.h>

#include <algorithm>
#include <memory>

#include "tests/wine/ComponentInstall.h"
#include "tests/wine/ShellServer.h"
#include "tslib/IProtectionControl.h"
#include "tslib/ISettingsStore.h"
#include "tslib/IVerifyTrust.h"
#include "tslib/tsVaneModuleLoader.h"

namespace tests {
namespace {

using tsLib::VaneResult;

struct Usage {
    std::size_t modules = 0;
    std::size_t handles = 0;
    std::size_t memory = 0;  // committed and private, the heaps' included
};

std::size_t LoadedModules() {
    MODULEENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPMODULE, 0);
    std::size_t count = 0;
    for (BOOL more = Module32FirstW(snapshot, &entry); more; more = Module32NextW(snapshot, &entry)) {
        ++count;
    }
    CloseHandle(snapshot);
    return count;
}

// Wine counts no handles (GetProcessHandleCount answers 0). There, and on Windows, a new handle gets the lowest free
// number, which rises when handles leak.
std::size_t Handles() {
    DWORD count = 0;
    if (GetProcessHandleCount(GetCurrentProcess(), &count) && count != 0) {
        return count;
    }
    const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    CloseHandle(event);
    return reinterpret_cast<std::uintptr_t>(event) / 4;
}

Usage Measure() {
    Usage usage{LoadedModules(), Handles(), 0};
    MEMORY_BASIC_INFORMATION info{};
    for (const char* at = nullptr; VirtualQuery(at, &info, sizeof(info)) != 0;
         at = static_cast<const char*>(info.BaseAddress) + info.RegionSize) {
        if (info.State == MEM_COMMIT && info.Type == MEM_PRIVATE) {
            usage.memory += info.RegionSize;
        }
    }
    return usage;
}

constexpr int kRounds = 1000;
constexpr std::size_t kMemorySlack = 64 * 1024;  // the heap's steps; it is 131 bytes a round

class ModuleRounds : public ::testing::Test {
protected:
    template <class Round>
    void ExpectFlat(Round&& round, int rounds = kRounds) {
        for (int i = 0; i < 20; ++i) {  // what the system keeps after the first uses
            ASSERT_NO_FATAL_FAILURE(round());
        }
        const Usage before = Measure();
        for (int i = 0; i < rounds / 2; ++i) {
            ASSERT_NO_FATAL_FAILURE(round());
        }
        const Usage half = Measure();
        for (int i = 0; i < rounds / 2; ++i) {
            ASSERT_NO_FATAL_FAILURE(round());
        }
        const Usage after = Measure();
        EXPECT_EQ(after.modules, before.modules);
        EXPECT_EQ(after.handles, before.handles);
        // A leak grows in both halves; the system growing something of its own, once, does not.
        const auto growth = [](const Usage& from, const Usage& to) {
            return to.memory > from.memory ? to.memory - from.memory : 0;
        };
        EXPECT_LE(std::min(growth(before, half), growth(half, after)), kMemorySlack);
    }

    HVR::Win32Platform& platform_ = HVR::Win32Platform::Instance();
    ComponentInstall install_;
};

TEST_F(ModuleRounds, EveryModule_UsedAndUnloaded_LeavesNothing) {
    const std::u16string probe = install_.PutSample(u"component.dll", u"component.dll");
    const std::u16string store = install_.PutProduct(u"tsSet.dll");
    const std::u16string control = install_.PutProduct(u"tsQrtCtl.dll");
    ExpectFlat([&] {
        tsLib::tsVaneModuleLoader loader(platform_.moduleLoader, platform_.trace);
        void* made = nullptr;
        ASSERT_EQ(loader.Load(probe.c_str()), VaneResult::Success);
        ASSERT_EQ(loader.CreateInstance(kProbeId, kIComponentProbeId, &made), VaneResult::Success);
        bool holds = true;
        ASSERT_EQ(static_cast<IComponentProbe*>(made)->KeepOwnModule(&holds), VaneResult::Success);
        static_cast<IComponentProbe*>(made)->Release();
        loader.Unload();

        ASSERT_EQ(loader.Load(store.c_str()), VaneResult::Success);
        ASSERT_EQ(loader.CreateInstance(tsLib::kSettingsStoreObjectId, tsLib::kISettingsStoreId, &made),
                  VaneResult::Success);
        tsLib::VaneRef<tsLib::ISettingsStore> settings(static_cast<tsLib::ISettingsStore*>(made));
        tsLib::VaneRef<tsLib::ISettingsKey> key;
        ASSERT_EQ(settings->OpenForWriting(u"Round", key.Receive()), VaneResult::Success);
        ASSERT_EQ(key->WriteNumber(u"n", 1), VaneResult::Success);
        ASSERT_EQ(loader.ObjectCount(), 2u);
        key.Reset();
        settings.Reset();
        ASSERT_EQ(loader.ObjectCount(), 0u);
        loader.Unload();

        ASSERT_EQ(loader.Load(control.c_str()), VaneResult::Success);
        ASSERT_EQ(loader.CreateInstance(tsLib::OBJID_QrtControl, tsLib::kIProtectionControlId, &made),
                  VaneResult::Success);
        ASSERT_EQ(static_cast<tsLib::IProtectionControl*>(made)->DisableProtection(), tsLib::HResult::Ok);
        static_cast<tsLib::IProtectionControl*>(made)->Release();
        loader.Unload();
        ASSERT_FALSE(IsLoaded(probe) || IsLoaded(store) || IsLoaded(control));
    });
}

// The library as a host uses it: each handler loads the strings, the verifier and the components anew.
TEST_F(ModuleRounds, TheShellLibrary_UsedAndUnloaded_LeavesNothing) {
    const SettingForTest home(L"Home Directory", Staged(L""));
    ExpectFlat(
        [] {
            const LoadedModule library(Staged(L"zebshell2.dll"));
            ASSERT_NE(library.Get(), nullptr);
            Microsoft::WRL::ComPtr<IClassFactory> factory;
            ASSERT_EQ(library.GetClassObject(kHandlerClass, IID_PPV_ARGS(&factory)), S_OK);
            Microsoft::WRL::ComPtr<IContextMenu> menu;
            ASSERT_EQ(factory->CreateInstance(nullptr, IID_PPV_ARGS(&menu)), S_OK);
            EXPECT_EQ(library.Call("DllCanUnloadNow"), S_FALSE);
            menu.Reset();
            factory.Reset();
            ASSERT_EQ(library.Call("DllCanUnloadNow"), S_OK);
        },
        200);
}

// Not through the factory cache, which keeps its modules: the shell library's rounds above end one each time.
TEST_F(ModuleRounds, ARepositoryWithVerifierAndStore_LeavesNothing) {
    install_.PutProduct(u"tsVrTrst.dll");
    install_.PutProduct(u"tsSet.dll");
    const std::u16string probe = install_.PutSample(u"component.dll", u"component.dll");
    install_.PutSetting(tsLib::ToText(kProbeId), u"%TSROOTX64%\\component.dll");
    ExpectFlat([&] {
        {
            ComponentProcess process(install_);
            std::u16string path;
            ASSERT_TRUE(process.repository.GetModulePath(kProbeId, path));
            tsLib::tsVaneTrustedModuleLoader loader(process.seam, process.expansion);
            ASSERT_EQ(loader.Load(path.c_str()), VaneResult::Success);
            ASSERT_TRUE(loader.HasVerifier());
            void* made = nullptr;
            ASSERT_EQ(loader.CreateInstance(kProbeId, kIComponentProbeId, &made), VaneResult::Success);
            static_cast<IComponentProbe*>(made)->Release();
            ASSERT_TRUE(IsLoaded(probe));
        }
        ASSERT_FALSE(IsLoaded(probe) || IsLoaded(install_.Folder() + u"tsVrTrst.dll") ||
                     IsLoaded(install_.Folder() + u"tsSet.dll"));
    });
}

TEST_F(ModuleRounds, ModulesWithoutAnEntryPoint_AreUnloadedEveryTime) {
    const std::u16string path = install_.PutSample(u"component-no-count.dll", u"component.dll");
    ExpectFlat([&] {
        tsLib::tsVaneModuleLoader loader(platform_.moduleLoader, platform_.trace);
        ASSERT_EQ(loader.Load(path.c_str()), VaneResult::EntryPointMissing);
        ASSERT_FALSE(IsLoaded(path));
    });
}

}  // namespace
}  // namespace tests
