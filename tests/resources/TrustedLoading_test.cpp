// Loading through the verifier and the protection guard.
#include "resources/DisableAutoProtect.h"
#include "tests/resources/ResourceWorld.h"

namespace tests {
namespace {

using tsLib::HResult;
using tsLib::TraceEvent;
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
    world.faults.Fail("MapResources", SystemError{0x80030002});
    EXPECT_EQ(world.Load({Failure(u"Errorcode 0x80030002")}), 0x80030002U);
    EXPECT_EQ(world.suspendedAtMap, std::vector<int>(3, 1));
    auto loader = world.MakeLoader();
    world.modules.onMap = [] { throw std::bad_alloc(); };
    EXPECT_EQ(loader.Initialize(false), HResult::OutOfMemory);
    EXPECT_EQ(world.Log().back(), u"Initialize failed, std::bad_alloc exception caught.");
    world.modules.onMap = [] { throw 1; };
    EXPECT_EQ(loader.Initialize(false), HResult::Unexpected);
    EXPECT_EQ(world.protection.suspensions, 5);
    EXPECT_EQ(world.protection.resumes, 5);
}

TEST(TrustedLoading, WithoutControlOrSuspension_LoadsAllTheSame) {
    LoadingWorld world;
    world.protection.disableAnswer = HResult::Fail;
    EXPECT_EQ(world.Load({kLoaded}), 0U);
    world.protection.yieldsNothing = true;
    EXPECT_EQ(world.Load({kUncontrolled, kLoaded}), 0U);
    world.trace.records.clear();
    world.components.Install(nullptr);
    EXPECT_EQ(world.Load({kUncontrolled, kLoaded}), 0U);
    EXPECT_EQ(world.trace.records[0].texts, Texts{u"OBJID_QrtControl"});
    EXPECT_EQ(world.trace.records[0].numbers, std::vector<std::uint64_t>{0x80010200});
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
    const Texts log = world.Log();
    EXPECT_EQ(log.at(0), u"VerifyTrust - invalid digital signature for: " + kPath +
                             u".\nChecked by module: C:\\Shell\\zebshell2.dll");
    EXPECT_EQ(log.at(1), Failure(u"Trust verification failed: Errorcode 0x80090325"));
    EXPECT_TRUE(world.modules.mapped.empty());
    EXPECT_EQ(world.protection.suspensions, 0);
    // Formatted sentences are cut to 511 characters, those put together from parts are not.
    std::u16string longPath = u"C:";
    while (longPath.size() < 600) {
        longPath += u"\\" + std::u16string(99, u'p');  // a disk takes no longer elements
    }
    world.PutModule(longPath);
    EXPECT_EQ(world.Load({(u"LoadTrustedDll - load succeeded.  " + longPath).substr(0, 511 - 17)}, longPath), 0U);
    world.refused = {longPath};
    EXPECT_EQ(world.Load({u"VerifyTrust - invalid digital signature for: " + longPath + u".\nChecked by module: ",
                          (u"LoadTrustedDll - load failed.  Trust verification failed: Errorcode 0x80090325 File:  " +
                           longPath)
                              .substr(0, 511 - 17)},
                         longPath),
              0x80090325U);
}

TEST(ProtectionGuard, SuspendsAndResumesOnce_FailuresAreNotRepeated) {
    FakeProtection protection;
    FakePlatform platform;
    // What happens to a guard that alone holds its control. The numbers of the events that it traces.
    const auto guarded = [&](bool controlled, bool suspendNow, auto&& body) {
        platform.trace.records.clear();
        {
            tsLib::VaneRef<tsLib::IProtectionControl> control(controlled ? new FakeProtection::Control(protection)
                                                                         : nullptr);
            tsVane::CDisableAutoProtect guard(control.Get(), suspendNow, platform.trace);
            control.Reset();
            body(guard);
        }
        EXPECT_EQ(protection.alive, 0);
        std::string events;
        for (const auto& record : platform.trace.records) {
            events += std::to_string(static_cast<int>(record.event)) + ' ';
        }
        return events;
    };
    const auto nothing = [](auto&) {};
    const auto both = [&](auto& guard) {
        EXPECT_FALSE(guard.Enable());
        EXPECT_TRUE(guard.Disable());
        EXPECT_FALSE(guard.Disable());
        EXPECT_TRUE(guard.Enable());
        EXPECT_FALSE(guard.Enable());
        EXPECT_TRUE(guard.Disable());
    };
    EXPECT_EQ(guarded(true, false, both), "900 903 900 903 ");
    EXPECT_EQ(protection.suspended, 0);
    EXPECT_EQ(guarded(false, true, [](auto& guard) { EXPECT_FALSE(guard.Enable() || guard.Disable()); }), "902 902 ");
    protection.disableAnswer = HResult::Fail;
    EXPECT_EQ(guarded(true, true, nothing), "901 ");
    protection.disableAnswer = HResult::Ok;
    protection.enableAnswer = HResult::Fail;
    EXPECT_EQ(guarded(true, true, nothing), "900 904 ");
    // What failed to resume still counts as suspended.
    const auto failing = [&](auto& guard) {
        EXPECT_FALSE(guard.Enable() || guard.Disable());
        protection.enableAnswer = HResult::Ok;
    };
    EXPECT_EQ(guarded(true, true, failing), "900 904 903 ");
}

}  // namespace
}  // namespace tests
