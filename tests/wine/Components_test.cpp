// Components by object id with real modules, registry, settings store and signatures.
#include <gtest/gtest.h>
#include <windows.h>

#include "companions/protection/Win32ProtectionCounter_win32.h"
#include "tests/wine/Installation.h"
#include "tslib/ISettingsStore.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/platform/win32/Win32Platform.h"
#include "tslib/tsVaneModuleLoader.h"

namespace tests {
namespace {

using tsLib::VaneResult;

const tsLib::ObjectId kUnknownId{0xDEADBEEF, 1, 2, {3}};

class Components : public ::testing::Test {
protected:
    // With the verifier and the settings store.
    void PutWhole() {
        installation.PutProduct(u"tsVrTrst.dll");
        installation.PutProduct(u"tsSet.dll");
    }

    Installation installation;
};

TEST_F(Components, FromTheRegistryAndFromTheStore_AndTheStoreWins) {
    PutWhole();
    const std::u16string first = installation.Put(Sample(u"component.dll"), u"first.dll");
    const std::u16string second = installation.Put(Sample(u"component.dll"), u"second.dll");
    installation.PutObject(kProbeId, u"%TSROOTX64%\\first.dll");
    EXPECT_EQ(ProcessOf(installation).ProbeModule(), first);
    installation.PutSetting(kProbeId, u"%tsrootx64%\\second.dll");
    {
        ProcessOf process(installation);
        EXPECT_EQ(process.ProbeModule(), second);
        EXPECT_FALSE(IsLoaded(first));
        EXPECT_TRUE(IsLoaded(second));
    }
    for (const std::u16string name : {u"first.dll", u"second.dll", u"tsSet.dll", u"tsVrTrst.dll"}) {
        EXPECT_FALSE(IsLoaded(installation.Folder() + name)) << testing::PrintToString(name);
    }
}

// Entries that are none stand beside it in the real registry and store.
TEST_F(Components, ALateObject_IsFoundAmongBrokenEntries) {
    PutWhole();
    installation.PutSample(u"component.dll");
    for (const std::u16string list : {u"OBJID\\", u"Settings\\Tessel\\OBJID\\"}) {
        installation.PutText(list + u"no id", L"InProc64", u"C:\\bad.dll");
        installation.PutText(list + tsLib::ToText(kProbeId) + u"x", L"InProc64", u"C:\\bad.dll");
        installation.PutText(list + tsLib::ToText(kUnknownId), L"Other", u"C:\\bad.dll");
    }
    ProcessOf process(installation);
    EXPECT_EQ(process.Create(kProbeId), VaneResult::ModuleMissing);
    installation.PutObject(kProbeId, u"%TSROOTX64%\\component.dll");
    EXPECT_EQ(process.Create(kProbeId), VaneResult::Success);
    EXPECT_EQ(process.Create(kUnknownId), VaneResult::ModuleMissing);
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
    for (const bool hasVerifier : {false, true}) {
        if (hasVerifier) {
            installation.PutProduct(u"tsVrTrst.dll");
        }
        for (const auto& row : cases) {
            const std::u16string path = row.sample.starts_with(u"component") ? installation.PutSample(row.sample)
                                                                             : installation.Folder() + row.sample;
            installation.PutObject(kProbeId, path);
            ProcessOf process(installation);
            const VaneResult expected = hasVerifier ? row.verified : row.unverified;
            EXPECT_EQ(process.Create(kProbeId), expected) << testing::PrintToString(row.sample) << hasVerifier;
            EXPECT_EQ(IsLoaded(path), Succeeded(expected)) << testing::PrintToString(row.sample) << hasVerifier;
        }
    }
}

TEST_F(Components, ABrokenVerifierModule_LetsModulesLoadUnchecked) {
    installation.Put(Sample(u"component-tampered.dll"), u"component.dll");
    installation.PutObject(kProbeId, u"%TSROOTX64%\\component.dll");
    // No entry points; entry points but no such object; no module at all.
    for (const std::u16string sample : {u"component-no-count.dll", u"component.dll", u"good.exe"}) {
        installation.Put(Sample(sample), u"tsVrTrst.dll");
        EXPECT_EQ(ProcessOf(installation).Create(kProbeId), VaneResult::Success) << testing::PrintToString(sample);
        EXPECT_FALSE(IsLoaded(installation.Folder() + u"tsVrTrst.dll"));
    }
}

TEST_F(Components, ALiveObject_KeepsItsModuleLoaded_AndTheCountIsTrue) {
    const std::u16string path = installation.PutSample(u"component.dll");
    installation.PutObject(kProbeId, path);
    tsLib::VaneRef<IComponentProbe> probe;
    ASSERT_EQ(ProcessOf(installation).CreateProbe(probe), VaneResult::Success);
    ASSERT_TRUE(IsLoaded(path));
    // The module has its count for everybody who asks.
    tsLib::platform::win32::Win32Platform platform;
    tsLib::tsVaneModuleLoader other(platform.modules, platform.trace);
    ASSERT_EQ(other.Load(path.c_str()), VaneResult::Success);
    EXPECT_EQ(other.ObjectCount(), 1u);
    tsLib::VaneRef<tsLib::IFactory> factory;
    EXPECT_EQ(other.GetFactory(kUnknownId, factory.Receive()), VaneResult::InvalidArgument);
    EXPECT_EQ(other.GetFactory(kProbeId, factory.Receive()), VaneResult::Success);
    EXPECT_EQ(other.ObjectCount(), 2u);
    factory.Reset();
    probe.Reset();
    EXPECT_EQ(other.ObjectCount(), 0u);
    other.Unload();
    FreeLibrary(GetModuleHandleW(tsLib::platform::win32::ToWide(path)));  // which the process left loaded
    EXPECT_FALSE(IsLoaded(path));
}

TEST_F(Components, TheProductsModules_OfferTheirObjects) {
    PutWhole();
    installation.PutProduct(u"tsQrtCtl.dll");
    installation.PutObject(tsLib::OBJID_QrtControl, u"%TSROOTX64%\\tsQrtCtl.dll");
    installation.PutObject(tsLib::kTrustVerifierObjectId, u"%TSROOTX64%\\tsVrTrst.dll");
    installation.PutObject(tsLib::kSettingsStoreObjectId, u"%TSROOTX64%\\tsSet.dll");
    ProcessOf process(installation);
    const tsLib::Components& components = process.runtime.Components();

    tsLib::VaneRef<tsLib::IVerifyTrust> verifier;
    ASSERT_EQ(components.Create(tsLib::kTrustVerifierObjectId, tsLib::kIVerifyTrustId, verifier), VaneResult::Success);
    EXPECT_EQ(verifier->Initialize(true), 1u);
    EXPECT_EQ(verifier->VerifyFile(Sample(u"good.dll").c_str(), tsLib::kProductTrustLevel),
              tsLib::TrustResult::Trusted);
    EXPECT_EQ(verifier->VerifyFile(Sample(u"tampered.dll").c_str(), tsLib::kProductTrustLevel),
              tsLib::TrustResult::NotTrusted);

    tsLib::VaneRef<tsLib::ISettingsStore> store;
    ASSERT_EQ(components.Create(tsLib::kSettingsStoreObjectId, tsLib::kISettingsStoreId, store), VaneResult::Success);
    tsLib::VaneRef<tsLib::ISettingsKey> key;
    ASSERT_EQ(store->OpenForWriting(u"Test\\Key", key.Receive()), VaneResult::Success);
    EXPECT_EQ(key->WriteText(u"name", u"text"), VaneResult::Success);
    char16_t text[5] = {};
    EXPECT_EQ(key->ReadText(u"NAME", text, 5, nullptr), VaneResult::Success);
    EXPECT_EQ(std::u16string(text), u"text");

    tsLib::VaneRef<tsLib::IProtectionControl> control;
    ASSERT_EQ(components.Create(tsLib::OBJID_QrtControl, tsLib::kIProtectionControlId, control), VaneResult::Success);
    EXPECT_EQ(control->DisableProtection(), tsLib::HResult::Ok);
    std::uint32_t suspensions = 0;
    EXPECT_EQ(HVR::Win32ProtectionCounter().Read(suspensions), tsLib::platform::SystemError::Success);
    EXPECT_EQ(suspensions, 1u);
}

}  // namespace
}  // namespace tests
