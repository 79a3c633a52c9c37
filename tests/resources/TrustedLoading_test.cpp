// Loading through the verifier and the protection guard.
#include "resources/DisableAutoProtect.h"
#include "tests/resources/ResourceWorld.h"

namespace tests {
namespace {

using tsLib::HResult;
using Texts = ResourceWorld::Texts;

const std::u16string kPath = ResourceWorld::LanguagePath(u"1033");
const std::u16string kLoaded = u"LoadTrustedDll - load succeeded.  " + kPath + u" ";
const std::u16string kUncontrolled = u"LoadTrustedDll: Error, failed to create an auto-protection ctrl obj";

std::u16string Failure(const std::u16string& what) {
    return u"LoadTrustedDll - load failed.  " + what + u" File:  " + kPath + u" ";
}

struct LoadingWorld : ResourceWorld {
    LoadingWorld() { PutModule(kPath); }
    // What LoadTrustedDll answers and logs; a loaded module is freed again.
    std::uint32_t Load(const Texts& expectedLog, const std::u16string& path = kPath) {
        auto loader = MakeLoader();
        ModuleHandle module{};
        const HResult result = loader.LoadTrustedDll(path, module);
        EXPECT_EQ(Log(), expectedLog);
        EXPECT_EQ(module != ModuleHandle{}, Succeeded(result));
        if (module != ModuleHandle{}) {
            static_cast<void>(modules.UnmapResources(module));
        }
        return Number(result);
    }
};

TEST(TrustedLoading, ProtectionIsSuspendedForTheMappingAlone) {
    LoadingWorld world;
    EXPECT_EQ(world.Load({kLoaded}), 0U);
    EXPECT_EQ(world.verifiers.asked[0].path, kPath);
    EXPECT_EQ(world.verifiers.asked[0].level, 3U);
    EXPECT_EQ(world.verifiers.initialized, std::vector<bool>{true});
    world.faults.Fail("MapResources", SystemError{193});
    EXPECT_EQ(world.Load({Failure(u"Errorcode 0x800700C1")}), 0x800700C1U);
    EXPECT_EQ(world.suspendedAtMap, std::vector<int>(2, 1));
    auto loader = world.MakeLoader();
    world.modules.onMap = [] { throw std::bad_alloc(); };
    EXPECT_EQ(loader.Initialize(false), HResult::OutOfMemory);
    EXPECT_EQ(world.Log().back(), u"Initialize failed, std::bad_alloc exception caught.");
    world.modules.onMap = [] { throw 1; };
    EXPECT_EQ(loader.Initialize(false), HResult::Unexpected);
    EXPECT_EQ(world.protection.resumes, 4);
}

TEST(TrustedLoading, WithoutControlOrSuspension_LoadsAllTheSame) {
    LoadingWorld world;
    world.protection.disableAnswer = HResult::Fail;
    EXPECT_EQ(world.Load({kLoaded}), 0U);
    world.protection.yieldsNothing = true;
    EXPECT_EQ(world.Load({kUncontrolled, kLoaded}), 0U);
    world.components.Install(nullptr);
    EXPECT_EQ(world.Load({kUncontrolled, kLoaded}), 0U);
    EXPECT_EQ(world.suspendedAtMap, std::vector<int>(3, 0));
    EXPECT_EQ(world.protection.resumes, 0);
}

TEST(TrustedLoading, OnlyAClearNotTrustedOrAMissingVerifierRefuses) {
    LoadingWorld world;
    for (const std::uint32_t verdict : {0U, 1U, 2U, 4U, 5U, 6U, 15U, 20U, 99U}) {
        world.verdict = tsLib::TrustResult{verdict};
        EXPECT_EQ(world.Load({kLoaded}), 0U) << verdict;
    }
    world.modules.mapped.clear();
    world.protection.suspensions = 0;
    EXPECT_EQ(world.Load({u"LoadTrustedDll - invalid arguments."}, u""), 0x80004005U);
    world.verifiers.none = true;
    EXPECT_EQ(world.Load({u"CreateTrustVerifierStatic - failed to create trust verifier.",
                          Failure(u"Trust verification failed: Errorcode 0x80004005")}),
              0x80090325U);
    world.verifiers.none = false;
    world.refused = {kPath};
    auto loader = world.MakeLoader();
    EXPECT_EQ(loader.Initialize(false), HResult::SignatureRefused);
    EXPECT_EQ(world.Log().at(0), u"VerifyTrust - invalid digital signature for: " + kPath +
                                     u".\nChecked by module: C:\\Shell\\zebshell2.dll");
    EXPECT_TRUE(world.modules.mapped.empty());
    EXPECT_EQ(world.protection.suspensions, 0);
    // Formatted sentences are cut to 511 characters, those put together from parts are not.
    const std::u16string folder(250, u'p');
    const std::u16string longPath = u"C:\\" + folder + u"\\" + folder;
    world.PutModule(longPath);
    world.refused = {u"\\\\?\\" + longPath};
    EXPECT_EQ(world.Load({u"VerifyTrust - invalid digital signature for: " + longPath + u".\nChecked by module: ",
                          (u"LoadTrustedDll - load failed.  Trust verification failed: Errorcode 0x80090325 File:  " +
                           longPath)
                              .substr(0, 511 - 17)},
                         longPath),
              0x80090325U);
}

TEST(TrustedLoading, AFileThatCannotBeHeld_OrIsNotTheOneMapped_IsNotLoaded) {
    LoadingWorld world;
    {
        const auto writer = world.disk.HoldForWriting(kPath);
        EXPECT_EQ(world.Load({Failure(u"Errorcode 0x80070020")}), 0x80070020U);
        EXPECT_TRUE(world.verifiers.asked.empty());
        EXPECT_TRUE(world.modules.mapped.empty());
    }
    world.PutModule(u"C:\\evil.dll");
    world.modules.comesBackWith = u"C:\\evil.dll";
    EXPECT_EQ(world.Load({Failure(u"Errorcode 0x800703EE")}), 0x800703EEU);
    EXPECT_EQ(world.OpenHandles("mapped resources"), 0U);
}

TEST(ProtectionGuard, SuspendsAndResumesOnce_FailuresAreNotRepeated) {
    FakeProtection protection;
    FakePlatform platform;
    tsLib::VaneRef<tsLib::IProtectionControl> control(new FakeProtection::Control(protection));
    {
        tsVane::CDisableAutoProtect guard(control.Get(), false, platform.trace);
        EXPECT_FALSE(guard.Enable());
        EXPECT_TRUE(guard.Disable());
        EXPECT_FALSE(guard.Disable());
        EXPECT_TRUE(guard.Enable());
        EXPECT_FALSE(guard.Enable());
        EXPECT_TRUE(guard.Disable());
    }
    EXPECT_EQ(protection.suspended, 0);
    EXPECT_FALSE(tsVane::CDisableAutoProtect(nullptr, true, platform.trace).Disable());
    platform.trace.records.resize(platform.trace.records.size() - 2);
    protection.disableAnswer = HResult::Fail;
    static_cast<void>(tsVane::CDisableAutoProtect(control.Get(), true, platform.trace));
    protection.disableAnswer = HResult::Ok;
    protection.enableAnswer = HResult::Fail;
    {
        tsVane::CDisableAutoProtect guard(control.Get(), true, platform.trace);
        control.Reset();                                  // the guard holds it
        EXPECT_FALSE(guard.Enable() || guard.Disable());  // still suspended
        protection.enableAnswer = HResult::Ok;
    }
    EXPECT_EQ(protection.alive + protection.suspended, 0);
    std::string events;
    for (const auto& record : platform.trace.records) {
        events += std::to_string(static_cast<int>(record.event)) + ' ';
    }
    EXPECT_EQ(events, "900 903 900 903 901 900 904 903 ");
}

}  // namespace
}  // namespace tests
