// Lifetime managers with real modules.
#include <gtest/gtest.h>
#include <windows.h>

#include <memory>

#include "tests/wine/Installation.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/platform/win32/Win32Platform.h"
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

class ModuleLifetime : public ::testing::Test {
protected:
    // A copy of the component at a path of that many characters.
    std::u16string ComponentAt(std::size_t length) {
        std::u16string name = u"f";
        while (length - installation.Folder().size() - name.size() > 120) {
            CreateDirectoryW(AnyLength(installation.Folder() + name).c_str(), nullptr);
            name += u'\\' + std::u16string(60, u'f');
        }
        CreateDirectoryW(AnyLength(installation.Folder() + name).c_str(), nullptr);
        name += u'\\' + std::u16string(length - installation.Folder().size() - name.size() - 5, u'c') + u".dll";
        return installation.Put(component, name);
    }
    // A probe of the component, whose module is kept by `loader`.
    tsLib::VaneRef<IComponentProbe> Probe() {
        void* made = nullptr;
        EXPECT_EQ(loader.Load(component.c_str()), VaneResult::Success);
        EXPECT_EQ(loader.CreateInstance(kProbeId, kIComponentProbeId, &made), VaneResult::Success);
        return tsLib::VaneRef<IComponentProbe>(static_cast<IComponentProbe*>(made));
    }

    win32::Win32Platform& platform = win32::Win32Platform::Instance();
    Modules& modules = platform.modules;
    tsLib::MainExecutable executable{modules};
    Installation installation;
    const std::u16string component = installation.PutSample(u"component.dll");
    tsLib::tsVaneModuleLoader loader{modules, platform.trace};
};

TEST_F(ModuleLifetime, PathsOf259Characters_AreKept_AndOf260Refused) {
    const std::u16string longest = ComponentAt(259);
    tsVaneDllLifetimeMgr manager(modules, platform.trace, longest.c_str());
    EXPECT_EQ(manager.TakeReference(), VaneResult::Success);
    EXPECT_TRUE(IsLoaded(longest));
    EXPECT_EQ(manager.ReleaseReference(), VaneResult::Success);
    EXPECT_FALSE(IsLoaded(longest));

    const std::u16string tooLong = ComponentAt(260);
    tsVaneDllLifetimeMgr refused(modules, platform.trace, tooLong.c_str());
    EXPECT_EQ(refused.TakeReference(), VaneResult::InvalidArgument);
}

TEST_F(ModuleLifetime, Addresses_InTheExecutableOrTheOwnModule_HoldNothing_AndInNoModuleFail) {
    const int onStack = 0;
    const auto onHeap = std::make_unique<int>();
    const auto result = [&](const void* address) {
        tsVaneDllLifetimeMgrLocal manager(modules, platform.trace, executable, address);
        const VaneResult answer = manager.TakeReference();
        EXPECT_FALSE(manager.HoldsReference());
        return answer;
    };
    EXPECT_EQ(result(reinterpret_cast<const void*>(&IsLoaded)), VaneResult::Success);
    for (const void* nowhere :
         std::initializer_list<const void*>{&onStack, onHeap.get(), reinterpret_cast<const void*>(16)}) {
        EXPECT_EQ(result(nowhere), VaneResult::InvalidArgument);
    }
    // The same code in a component's module, where that module is its own.
    bool holds = true;
    EXPECT_EQ(Probe()->KeepOwnModule(&holds), VaneResult::Success);
    EXPECT_FALSE(holds);
}

TEST_F(ModuleLifetime, AComponent_StaysLoaded_ExactlyWhileOneManagerHoldsIt) {
    auto probe = Probe();
    const void* const address = probe->Address();
    tsVaneDllLifetimeMgrLocal byAddress(modules, platform.trace, executable, address);
    tsVaneDllLifetimeMgr byHandle(modules, platform.trace, HandleOf(GetModuleHandleW(win32::ToWide(component))));
    tsVaneDllLifetimeMgr byPath(modules, platform.trace, component.c_str());
    for (tsVaneDllLifetimeMgr* manager : std::initializer_list<tsVaneDllLifetimeMgr*>{&byAddress, &byHandle, &byPath}) {
        EXPECT_EQ(manager->TakeReference(), VaneResult::Success);
        EXPECT_TRUE(manager->HoldsReference());
    }
    loader.Unload();
    EXPECT_EQ(byAddress.ReleaseReference(), VaneResult::Success);
    EXPECT_EQ(byPath.ReleaseReference(), VaneResult::Success);
    ASSERT_TRUE(IsLoaded(component));
    EXPECT_EQ(probe->Address(), address);  // its code is still there
    probe.Reset();
    // Taking once more gives back what was held: still one reference.
    EXPECT_EQ(byHandle.TakeReference(), VaneResult::Success);
    EXPECT_EQ(byHandle.ReleaseReference(), VaneResult::Success);
    EXPECT_FALSE(IsLoaded(component));
}

TEST_F(ModuleLifetime, Factories_ComeWithTheirModule_AndFailuresHoldNothing) {
    const std::u16string other = installation.PutSample(u"component-no-factory.dll");
    const struct {
        std::u16string path;
        tsLib::ObjectId id;
        VaneResult result;
    } cases[] = {{component, kProbeId, VaneResult::Success},
                 {component, {1, 2, 3, {4}}, VaneResult::InvalidArgument},
                 {other, kProbeId, VaneResult::EntryPointMissing},
                 {installation.Folder() + u"missing.dll", kProbeId, VaneResult::InternalFailure}};
    for (const auto& row : cases) {
        {
            tsVaneDllFactoryLifetimeMgr manager(modules, platform.trace, row.path.c_str(), row.id);
            tsLib::VaneRef<tsLib::IFactory> factory;
            EXPECT_EQ(manager.GetFactory(factory.Receive()), row.result) << testing::PrintToString(row.path);
            EXPECT_EQ(manager.HoldsReference(), Succeeded(row.result));
            EXPECT_EQ(IsLoaded(row.path), Succeeded(row.result));
        }
        EXPECT_FALSE(IsLoaded(row.path));
    }
}

}  // namespace
}  // namespace tests
