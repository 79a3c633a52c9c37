// Components by object id with real modules, registry, settings store and signatures.
#include <gtest/gtest.h>
#include <windows.h>

#include <thread>

#include "tests/wine/ComponentInstall.h"
#include "tests/wine/WinStaging.h"
#include "tslib/IProtectionControl.h"
#include "tslib/IVerifyTrust.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/platform/win32/Win32ProtectionCounter.h"
#include "tslib/tsVaneModuleLoader.h"

namespace tests {
namespace {

using tsLib::VaneResult;

const std::u16string kProbe = tsLib::ToText(kProbeId);
const tsLib::ObjectId kUnknownId{0xDEADBEEF, 1, 2, {3}};

class Components : public ::testing::Test {
protected:
    // With the verifier and the settings store.
    void PutWhole() {
        install_.PutProduct(u"tsVrTrst.dll");
        install_.PutProduct(u"tsSet.dll");
    }

    HVR::Win32Platform& platform_ = HVR::Win32Platform::Instance();
    ComponentInstall install_;
};

TEST_F(Components, FromTheRegistryAndFromTheStore_AndTheStoreWins) {
    PutWhole();
    const std::u16string first = install_.PutSample(u"component.dll", u"first.dll");
    const std::u16string second = install_.PutSample(u"component.dll", u"second.dll");
    install_.PutObject(kProbe, u"%TSROOTX64%\\first.dll");
    EXPECT_EQ(ComponentProcess(install_).ProbeModule(), first);
    install_.PutSetting(kProbe, u"%tsrootx64%\\second.dll");
    {
        ComponentProcess process(install_);
        EXPECT_EQ(process.ProbeModule(), second);
        std::vector<tsLib::RepositoryEntry> entries;
        ASSERT_TRUE(process.repository.List(entries));
        ASSERT_EQ(entries.size(), 1u);
        EXPECT_EQ(entries.front().storedPath, u"%tsrootx64%\\second.dll");
        EXPECT_FALSE(IsLoaded(first));
        EXPECT_TRUE(IsLoaded(second));
    }
    for (const std::u16string name : {u"first.dll", u"second.dll", u"tsSet.dll", u"tsVrTrst.dll"}) {
        EXPECT_FALSE(IsLoaded(install_.Folder() + name)) << testing::PrintToString(name);
    }
}

TEST_F(Components, FromTheStoreAlone_WithoutAnyObjectInTheRegistry) {
    PutWhole();
    const std::u16string module = install_.PutSample(u"component.dll", u"component.dll");
    install_.PutSetting(kProbe, u"%TSROOTX64%\\component.dll");
    EXPECT_EQ(ComponentProcess(install_).ProbeModule(), module);
}

TEST_F(Components, ALateObject_IsFound_AndAnUnknownOneCostsOneReloadEach) {
    PutWhole();
    install_.PutSample(u"component.dll", u"component.dll");
    install_.PutKey(u"OBJID");
    ComponentProcess process(install_);
    EXPECT_EQ(process.Create(kProbeId), VaneResult::ModuleMissing);
    EXPECT_EQ(process.TakeLoads(), 2u);  // the first load, and the reload
    install_.PutObject(kProbe, u"%TSROOTX64%\\component.dll");
    EXPECT_EQ(process.Create(kProbeId), VaneResult::Success);
    EXPECT_EQ(process.TakeLoads(), 1u);
    EXPECT_EQ(process.Create(kProbeId), VaneResult::Success);
    EXPECT_EQ(process.TakeLoads(), 0u);
    EXPECT_EQ(process.Create(kUnknownId), VaneResult::ModuleMissing);
    EXPECT_EQ(process.TakeLoads(), 1u);
    EXPECT_FALSE(process.repository.Exists(kUnknownId));
    EXPECT_EQ(process.TakeLoads(), 1u);
    EXPECT_EQ(process.Create(kProbeId, kUnknownId), VaneResult::NoInterface);
}

TEST_F(Components, BadModules_AreRefusedWithTheirResults_AndNotKeptLoaded) {
    const struct {
        std::u16string sample;
        VaneResult verified;
        VaneResult unverified;
    } cases[] = {
        {u"component-no-factory.dll", VaneResult::EntryPointMissing, VaneResult::EntryPointMissing},
        {u"component-no-count.dll", VaneResult::EntryPointMissing, VaneResult::EntryPointMissing},
        {u"component-tampered.dll", VaneResult::ModuleNotTrusted, VaneResult::Success},
        {u"component-unsigned.dll", VaneResult::ModuleNotTrusted, VaneResult::Success},
        {u"isolate.ini", VaneResult::ModuleMissing, VaneResult::ModuleMissing},
        {u"no-such.dll", VaneResult::ModuleMissing, VaneResult::ModuleMissing},
    };
    for (const bool hasVerifier : {true, false}) {
        if (hasVerifier) {
            install_.PutProduct(u"tsVrTrst.dll");
        } else {
            install_.Remove(u"tsVrTrst.dll");
        }
        for (const auto& row : cases) {
            const std::u16string path = row.sample.starts_with(u"component")
                                            ? install_.PutSample(row.sample, row.sample)
                                            : install_.Folder() + row.sample;
            install_.PutObject(kProbe, path);
            ComponentProcess process(install_);
            const VaneResult expected = hasVerifier ? row.verified : row.unverified;
            EXPECT_EQ(process.Create(kProbeId), expected) << testing::PrintToString(row.sample) << hasVerifier;
            EXPECT_EQ(IsLoaded(path), Succeeded(expected)) << testing::PrintToString(row.sample) << hasVerifier;
        }
    }
}

TEST_F(Components, ABrokenVerifierModule_LetsModulesLoadUnchecked) {
    install_.PutSample(u"component-tampered.dll", u"component.dll");
    install_.PutObject(kProbe, u"%TSROOTX64%\\component.dll");
    // No entry points; entry points but no such object; no module at all.
    for (const std::u16string sample : {u"component-no-count.dll", u"component.dll", u"good.exe"}) {
        install_.PutSample(sample, u"tsVrTrst.dll");
        EXPECT_EQ(ComponentProcess(install_).Create(kProbeId), VaneResult::Success) << testing::PrintToString(sample);
        EXPECT_FALSE(IsLoaded(install_.Folder() + u"tsVrTrst.dll"));
    }
}

TEST_F(Components, TwoPathTexts_LeadToOneFactory_AndOneReference) {
    const std::u16string path = install_.PutSample(u"component.dll", u"component.dll");
    std::u16string other = path;
    other.replace(other.rfind(u'\\'), 1, u"\\.\\");
    {
        ComponentProcess process(install_);
        tsLib::tsVaneModuleFactory* first = nullptr;
        tsLib::tsVaneModuleFactory* second = nullptr;
        EXPECT_EQ(process.cache.GetFactory(path.c_str(), true, 3, &first), VaneResult::Success);
        EXPECT_EQ(process.cache.GetFactory(other.c_str(), true, 3, &second), VaneResult::Success);
        EXPECT_NE(first, nullptr);
        EXPECT_EQ(first, second);
        tsLib::tsVaneModuleFactory* refused = nullptr;
        const std::u16string tampered = install_.PutSample(u"component-tampered.dll", u"tampered.dll");
        EXPECT_EQ(process.cache.GetFactory(tampered.c_str(), true, 3, &refused), VaneResult::ModuleNotTrusted);
        EXPECT_FALSE(IsLoaded(tampered));
        EXPECT_TRUE(IsLoaded(path));
    }
    EXPECT_FALSE(IsLoaded(path));
}

TEST_F(Components, ALiveObject_KeepsItsModuleLoaded_AndTheCountIsTrue) {
    const std::u16string path = install_.PutSample(u"component.dll", u"component.dll");
    install_.PutObject(kProbe, path);
    tsLib::VaneRef<IComponentProbe> probe;
    {
        ComponentProcess process(install_);
        ASSERT_EQ(process.CreateProbe(probe), VaneResult::Success);
    }
    ASSERT_TRUE(IsLoaded(path));
    const HMODULE module = GetModuleHandleW(tsLib::platform::win32::ToWide(path));
    const auto entries = tsLib::ComponentEntryPoints::Find(
        platform_.moduleLoader, tsLib::platform::ModuleHandle{reinterpret_cast<std::uintptr_t>(module)});
    ASSERT_TRUE(entries.AreComplete());
    EXPECT_EQ(entries.getObjectCount(), 1u);
    tsLib::VaneRef<tsLib::IFactory> factory;
    EXPECT_EQ(entries.GetFactory(kProbeId, factory.Receive()), VaneResult::Success);
    EXPECT_EQ(entries.GetFactory(kUnknownId, factory.Receive()), VaneResult::InvalidArgument);
    EXPECT_EQ(entries.GetFactory(kProbeId, factory.Receive()), VaneResult::Success);
    EXPECT_EQ(entries.getObjectCount(), 2u);
    factory.Reset();
    probe.Reset();
    EXPECT_EQ(entries.getObjectCount(), 0u);
    FreeLibrary(module);
    EXPECT_FALSE(IsLoaded(path));
}

TEST_F(Components, TheProductsModules_OfferTheirObjects) {
    PutWhole();
    install_.PutProduct(u"tsQrtCtl.dll");
    install_.PutObject(tsLib::ToText(tsLib::OBJID_QrtControl), u"%TSROOTX64%\\tsQrtCtl.dll");
    install_.PutObject(tsLib::ToText(tsLib::kTrustVerifierObjectId), u"%TSROOTX64%\\tsVrTrst.dll");
    install_.PutObject(tsLib::ToText(tsLib::kSettingsStoreObjectId), u"%TSROOTX64%\\tsSet.dll");
    const std::u16string tampered = install_.PutSample(u"component-tampered.dll", u"tampered.dll");
    ComponentProcess process(install_);

    tsLib::VaneRef<tsLib::IVerifyTrust> verifier;
    ASSERT_EQ(process.slot.Create(tsLib::kTrustVerifierObjectId, tsLib::kIVerifyTrustId, verifier),
              VaneResult::Success);
    EXPECT_EQ(verifier->Initialize(true), 1u);
    EXPECT_EQ(verifier->VerifyFile((install_.Folder() + u"tsSet.dll").c_str(), tsLib::kProductTrustLevel),
              tsLib::TrustResult::Trusted);
    EXPECT_EQ(verifier->VerifyFile(tampered.c_str(), tsLib::kProductTrustLevel), tsLib::TrustResult::NotTrusted);

    tsLib::VaneRef<tsLib::ISettingsStore> store;
    ASSERT_EQ(process.slot.Create(tsLib::kSettingsStoreObjectId, tsLib::kISettingsStoreId, store), VaneResult::Success);
    tsLib::VaneRef<tsLib::ISettingsKey> key;
    ASSERT_EQ(store->OpenForWriting(u"Test\\Key", key.Receive()), VaneResult::Success);
    EXPECT_EQ(key->WriteText(u"name", u"text"), VaneResult::Success);
    store.Reset();
    char16_t text[5] = {};
    EXPECT_EQ(key->ReadText(u"NAME", text, 5, nullptr), VaneResult::Success);
    EXPECT_EQ(std::u16string(text), u"text");

    tsLib::VaneRef<tsLib::IProtectionControl> first;
    tsLib::VaneRef<tsLib::IProtectionControl> second;
    for (auto* control : {&first, &second}) {
        ASSERT_EQ(process.slot.Create(tsLib::OBJID_QrtControl, tsLib::kIProtectionControlId, *control),
                  VaneResult::Success);
        EXPECT_EQ((*control)->DisableProtection(), tsLib::HResult::Ok);
    }
    EXPECT_EQ(first->DisableProtection(), tsLib::HResult::Ok);
    const auto suspensions = [] {
        std::uint32_t count = 99;
        EXPECT_EQ(tsLib::platform::win32::Win32ProtectionCounter().Read(count), tsLib::platform::SystemError::Success);
        return count;
    };
    EXPECT_EQ(suspensions(), 3u);
    EXPECT_EQ(second->EnableProtection(), tsLib::HResult::Ok);
    EXPECT_EQ(second->EnableProtection(), tsLib::HResult::False);
    EXPECT_EQ(suspensions(), 2u);
    first.Reset();  // forgot to resume
    EXPECT_EQ(suspensions(), 0u);
}

TEST_F(Components, EightThreads_CreateMissAndRelease_AndNothingIsLeft) {
    PutWhole();
    const std::u16string path = install_.PutSample(u"component.dll", u"component.dll");
    install_.PutObject(kProbe, u"%TSROOTX64%\\component.dll");
    {
        ComponentProcess process(install_);
        std::atomic<int> wrong{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 8; ++i) {
            threads.emplace_back([&] {
                for (int round = 0; round < 25; ++round) {
                    tsLib::VaneRef<IComponentProbe> probe;
                    wrong += process.CreateProbe(probe) != VaneResult::Success;
                    wrong += round % 5 == 0 && process.Create(kUnknownId) != VaneResult::ModuleMissing;
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(wrong, 0);
        tsLib::tsVaneModuleFactory* const factory = process.cache.Find(path.c_str());
        ASSERT_NE(factory, nullptr);
        EXPECT_EQ(factory->ObjectCount(), 0u);
    }
    EXPECT_FALSE(IsLoaded(path));
}

}  // namespace
}  // namespace tests
