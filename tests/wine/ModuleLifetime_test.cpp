// Lifetime managers with real modules.
#include <gtest/gtest.h>
#include <windows.h>

#include "tests/wine/ComponentInstall.h"
#include "tests/wine/Samples.h"
#include "tests/wine/WinStaging.h"
#include "tslib/IProtectionControl.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/tsVaneDllLifetimeMgr.h"
#include "tslib/tsVaneDllLifetimeMgrLocal.h"
#include "tslib/tsVaneModuleLoader.h"

namespace tests {
namespace {

using namespace tsLib::platform;
using tsLib::tsVaneDllFactoryLifetimeMgr;
using tsLib::tsVaneDllLifetimeMgr;
using tsLib::tsVaneDllLifetimeMgrLocal;
using tsLib::VaneResult;
using win32::ToWide;

void InThisExecutable() {}

// A system without "GetModuleHandleExW".
class OldAddresses final : public ModuleAddresses {
public:
    SystemError MainExecutable(ModuleHandle& module) override { return target_.MainExecutable(module); }
    SystemError FromAddress(const void*, ModuleHandle&) override { return SystemError::ProcedureNotFound; }
    SystemError FromAddressByRanges(const void* address, ModuleHandle& module) override {
        return target_.FromAddressByRanges(address, module);
    }

private:
    win32::Win32ModuleAddresses target_;
};

class ModuleLifetime : public ::testing::Test {
protected:
    ModuleLifetime() : component_(install_.PutSample(u"component.dll", u"component.dll")) {}

    static ModuleHandle HandleOf(const std::u16string& path) {
        return ModuleHandle{reinterpret_cast<std::uintptr_t>(GetModuleHandleW(ToWide(path)))};
    }
    // A copy of the component at a path of that many characters.
    std::u16string ComponentAt(std::size_t length) {
        std::u16string folder = install_.Folder() + u"f";
        while (length - folder.size() > 120) {
            CreateDirectoryW(AnyLength(folder).c_str(), nullptr);
            folder += u'\\' + std::u16string(60, u'f');
        }
        CreateDirectoryW(AnyLength(folder).c_str(), nullptr);
        const std::u16string path = folder + u'\\' + std::u16string(length - folder.size() - 5, u'c') + u".dll";
        EXPECT_EQ(path.size(), length);
        EXPECT_TRUE(CopyFileW(AnyLength(component_).c_str(), AnyLength(path).c_str(), FALSE)) << GetLastError();
        return path;
    }

    HVR::Win32Platform& platform_ = HVR::Win32Platform::Instance();
    const tsVaneDllLifetimeMgr::Seam seam_{platform_.moduleLoader, platform_.modules, platform_.trace};
    tsLib::MainExecutable executable_{platform_.moduleAddresses};
    OldAddresses oldAddresses_;
    ComponentInstall install_;
    const std::u16string component_;
};

TEST_F(ModuleLifetime, PathsOf259Characters_AreKept_AndOf260Refused) {
    const std::u16string longest = ComponentAt(259);
    tsVaneDllLifetimeMgr manager(seam_, longest.c_str());
    EXPECT_EQ(manager.Validate(), VaneResult::Success);
    EXPECT_EQ(manager.TakeReference(), VaneResult::Success);
    EXPECT_TRUE(IsLoaded(longest));
    EXPECT_EQ(manager.ReleaseReference(), VaneResult::Success);
    EXPECT_FALSE(IsLoaded(longest));
    EXPECT_EQ(manager.ReleaseReference(), VaneResult::Success);

    const std::u16string tooLong = ComponentAt(260);
    tsVaneDllLifetimeMgr refused(seam_, tooLong.c_str());
    EXPECT_EQ(refused.Validate(), VaneResult::InvalidArgument);
    EXPECT_EQ(refused.TakeReference(), VaneResult::InvalidArgument);
    EXPECT_FALSE(refused.HoldsReference());
    // Loaded by somebody who can: named by its handle its name does not fit.
    ModuleHandle module{};
    ASSERT_EQ(platform_.moduleLoader.LoadAltered(u"\\\\?\\" + tooLong, module), SystemError::Success);
    tsVaneDllLifetimeMgr byHandle(seam_, module);
    EXPECT_EQ(byHandle.Validate(), VaneResult::Success);
    EXPECT_EQ(byHandle.TakeReference(), VaneResult::InternalFailure);
    EXPECT_FALSE(byHandle.HoldsReference());
    platform_.moduleLoader.Free(module);
}

TEST_F(ModuleLifetime, NothingNamed_OrNothingThere_IsRefused) {
    tsVaneDllLifetimeMgr noPath(seam_, static_cast<const char16_t*>(nullptr));
    tsVaneDllLifetimeMgr noHandle(seam_, ModuleHandle{});
    tsVaneDllLifetimeMgrLocal noAddress(seam_, platform_.moduleAddresses, executable_, nullptr);
    for (tsVaneDllLifetimeMgr* manager : std::initializer_list<tsVaneDllLifetimeMgr*>{&noPath, &noHandle, &noAddress}) {
        EXPECT_EQ(manager->Validate(), VaneResult::InvalidArgument);
        EXPECT_EQ(manager->TakeReference(), VaneResult::InvalidArgument);
        EXPECT_FALSE(manager->HoldsReference());
    }
    const std::u16string missing = install_.Folder() + u"missing.dll";
    EXPECT_EQ(tsVaneDllLifetimeMgr(seam_, missing.c_str()).TakeReference(), VaneResult::InternalFailure);
    // A handle whose module is gone.
    ModuleHandle module{};
    ASSERT_EQ(platform_.moduleLoader.Load(component_, module), SystemError::Success);
    platform_.moduleLoader.Free(module);
    EXPECT_EQ(tsVaneDllLifetimeMgr(seam_, module).TakeReference(), VaneResult::InternalFailure);
}

TEST_F(ModuleLifetime, Addresses_InTheExecutableOrTheOwnModule_HoldNothing_AndInNoModuleFail) {
    const int onStack = 0;
    const auto onHeap = std::make_unique<int>();
    for (ModuleAddresses* addresses :
         std::initializer_list<ModuleAddresses*>{&platform_.moduleAddresses, &oldAddresses_}) {
        tsVaneDllLifetimeMgrLocal inside(seam_, *addresses, executable_,
                                         reinterpret_cast<const void*>(&InThisExecutable));
        EXPECT_EQ(inside.TakeReference(), VaneResult::Success);
        EXPECT_FALSE(inside.HoldsReference());
        for (const void* nowhere :
             std::initializer_list<const void*>{&onStack, onHeap.get(), reinterpret_cast<const void*>(16)}) {
            tsVaneDllLifetimeMgrLocal manager(seam_, *addresses, executable_, nowhere);
            EXPECT_EQ(manager.TakeReference(), VaneResult::InvalidArgument);
            EXPECT_FALSE(manager.HoldsReference());
        }
    }
    // The same code in a component's module, where that module is its own.
    tsLib::tsVaneModuleLoader loader(platform_.moduleLoader, platform_.trace);
    ASSERT_EQ(loader.Load(component_.c_str()), VaneResult::Success);
    void* made = nullptr;
    ASSERT_EQ(loader.CreateInstance(kProbeId, kIComponentProbeId, &made), VaneResult::Success);
    const tsLib::VaneRef<IComponentProbe> probe(static_cast<IComponentProbe*>(made));
    bool holds = true;
    EXPECT_EQ(probe->KeepOwnModule(&holds), VaneResult::Success);
    EXPECT_FALSE(holds);
}

TEST_F(ModuleLifetime, AComponent_StaysLoaded_ExactlyWhileOneManagerHoldsIt) {
    for (ModuleAddresses* addresses :
         std::initializer_list<ModuleAddresses*>{&platform_.moduleAddresses, &oldAddresses_}) {
        tsLib::tsVaneModuleLoader loader(platform_.moduleLoader, platform_.trace);
        ASSERT_EQ(loader.Load(component_.c_str()), VaneResult::Success);
        void* made = nullptr;
        ASSERT_EQ(loader.CreateInstance(kProbeId, kIComponentProbeId, &made), VaneResult::Success);
        tsLib::VaneRef<IComponentProbe> probe(static_cast<IComponentProbe*>(made));
        const void* const address = probe->Address();
        const ModuleHandle handle = HandleOf(component_);

        tsVaneDllLifetimeMgrLocal byAddress(seam_, *addresses, executable_, address);
        tsVaneDllLifetimeMgr byHandle(seam_, handle);
        tsVaneDllLifetimeMgr byPath(seam_, component_.c_str());
        tsVaneDllLifetimeMgrLocal sameAddress(seam_, *addresses, executable_, address);
        EXPECT_EQ(byAddress.SameModuleAs(sameAddress), VaneResult::Success);
        EXPECT_EQ(byAddress.SameModuleAs(byHandle), VaneResult::InvalidArgument);
        EXPECT_EQ(byPath.SameModuleAs(byPath), VaneResult::InvalidArgument);
        for (tsVaneDllLifetimeMgr* manager :
             std::initializer_list<tsVaneDllLifetimeMgr*>{&byAddress, &byHandle, &byPath}) {
            EXPECT_EQ(manager->TakeReference(), VaneResult::Success);
            EXPECT_TRUE(manager->HoldsReference());
        }
        loader.Unload();
        EXPECT_EQ(byAddress.ReleaseReference(), VaneResult::Success);
        EXPECT_EQ(byPath.ReleaseReference(), VaneResult::Success);
        ASSERT_TRUE(IsLoaded(component_));
        EXPECT_EQ(probe->Address(), address);  // its code is still there
        probe.Reset();
        // Taking once more gives back what was held: still one reference.
        EXPECT_EQ(byHandle.TakeReference(), VaneResult::Success);
        EXPECT_EQ(byHandle.ReleaseReference(), VaneResult::Success);
        EXPECT_FALSE(IsLoaded(component_));
    }
}

TEST_F(ModuleLifetime, Factories_ComeWithTheirModule_AndFailuresHoldNothing) {
    const std::u16string control = install_.PutProduct(u"tsQrtCtl.dll");
    {
        tsVaneDllFactoryLifetimeMgr manager(seam_, control.c_str(), tsLib::OBJID_QrtControl);
        tsLib::VaneRef<tsLib::IFactory> factory;
        ASSERT_EQ(manager.GetFactory(factory.Receive()), VaneResult::Success);
        void* made = nullptr;
        ASSERT_EQ(factory->CreateInstance(tsLib::kIProtectionControlId, &made), VaneResult::Success);
        EXPECT_EQ(static_cast<tsLib::IProtectionControl*>(made)->Release(), 0u);
        EXPECT_TRUE(IsLoaded(control));
    }
    EXPECT_FALSE(IsLoaded(control));
    const struct {
        std::u16string path;
        VaneResult result;
    } cases[] = {{control, VaneResult::InvalidArgument},  // another object id than its own
                 {install_.PutSample(u"component-no-factory.dll", u"none.dll"), VaneResult::EntryPointMissing},
                 {install_.Folder() + u"missing.dll", VaneResult::InternalFailure}};
    for (const auto& row : cases) {
        tsVaneDllFactoryLifetimeMgr manager(seam_, row.path.c_str(), kProbeId);
        tsLib::VaneRef<tsLib::IFactory> factory;
        EXPECT_EQ(manager.GetFactory(factory.Receive()), row.result) << testing::PrintToString(row.path);
        EXPECT_FALSE(manager.HoldsReference());
        EXPECT_FALSE(factory);
        EXPECT_FALSE(IsLoaded(row.path));
    }
}

}  // namespace
}  // namespace tests
