#include "AgentCore/ProductInstallPathResolver.h"

#include <gtest/gtest.h>

#include "AgentCore/DriverTable.h"
#include "tests/fakes/FailingNew.h"
#include "tests/fakes/FakeComponentMemory.h"
#include "tests/tslib/PathWorld.h"
#include "tslib/VaneRef.h"

namespace tests {
namespace {

using namespace HVR;
using namespace tsLib;
using platform::SystemError;
using platform::TraceLevel;

struct ResolverWorld : PathWorld {
    ResolverWorld() {
        for (const std::u16string_view token :
             {u"installdir", u"hvrlogdir", u"hvrconfigdir", u"hvrstatedir", u"hvrresdlldir", u"basedir",
              u"hvrdriverdir", u"hvrfeaturestatedir", u"appdata", u"vaneplatformengine"}) {
            PutToken(std::u16string(token), u"D:\\" + std::u16string(token));
        }
    }
    // The path, or "failed" when there is none; a result of the two calls that differs is "different".
    std::u16string Path(std::uint32_t kind, const std::u16string& wide) {
        const std::string narrow(wide.begin(), wide.end());  // Latin-1, as the fake converts it
        char16_t* path = kSentinel;
        last = resolver->GetPath(kind, wide.c_str(), &path, 0);
        char16_t* other = kSentinel;
        const HResult otherResult = resolver->GetPath(kind, narrow.c_str(), &other, 0xFFFFFFFF);
        const std::u16string result = Take(path);
        return otherResult == last && Take(other) == result ? result : u"different";
    }
    std::u16string Take(char16_t* path) {
        if (path == kSentinel) {
            return u"untouched";
        }
        const std::u16string text = path;
        memory.Free(path);
        return text;
    }

    static inline char16_t sentinel = u'\0';
    static inline char16_t* const kSentinel = &sentinel;
    FakeComponentMemory memory;
    HResult last = HResult::Ok;
    VaneRef<IProductInstallPathResolver> resolver{
        new CProductInstallPathResolver(expansion, {knownFolders, textRules, memory, trace})};
};

TEST(ProductInstallPathResolver, EachKind) {
    const std::pair<std::uint32_t, std::u16string> rows[] = {
        {0, u"D:\\installdir\\"},          {1, u"D:\\hvrlogdir\\"},        {2, u"D:\\hvrconfigdir\\"},
        {3, u"D:\\hvrstatedir\\"},         {4, u"D:\\hvrresdlldir\\"},     {5, u"D:\\basedir\\"},
        {6, u"D:\\hvrdriverdir\\"},        {7, u"D:\\installdir\\Help\\"}, {8, u"D:\\hvrfeaturestatedir\\"},
        {9, u"D:\\basedir\\Temp\\"},       {10, u"D:\\basedir\\"},         {11, u"D:\\appdata\\"},
        {12, u"D:\\vaneplatformengine\\"},
    };
    ResolverWorld world;
    for (const auto& [kind, folder] : rows) {
        EXPECT_EQ(world.Path(kind, u""), folder) << kind;
        EXPECT_EQ(world.Path(kind, u"a\u00E9.chm"), folder + u"a\u00E9.chm") << kind;
        EXPECT_EQ(world.last, HResult::Ok);
    }
    char16_t* path = nullptr;
    EXPECT_EQ(world.resolver->GetPath(7, static_cast<const char16_t*>(nullptr), &path, 0), HResult::Ok);
    EXPECT_EQ(world.Take(path), u"D:\\installdir\\Help\\");
    EXPECT_EQ(world.resolver->GetPath(7, static_cast<const char*>(nullptr), &path, 0), HResult::Ok);
    EXPECT_EQ(world.Take(path), u"D:\\installdir\\Help\\");
    EXPECT_EQ(world.memory.OpenHandles() + world.memory.Misuses(), 0u);
}

TEST(ProductInstallPathResolver, FolderEndsInOneBackslash) {
    ResolverWorld world;
    for (const auto& [folder, path] : {std::pair<std::u16string, std::u16string>{u"C:\\P", u"C:\\P\\f"},
                                       {u"C:\\P\\", u"C:\\P\\f"},
                                       {u"C:\\P\\\\\\", u"C:\\P\\f"},
                                       {u"\\", u"\\f"},
                                       {u"\\\\", u"\\f"}}) {
        world.PutToken(u"installdir", folder);
        EXPECT_EQ(world.Path(0, u"f"), path);
    }
}

TEST(ProductInstallPathResolver, Drivers_LieWhereTheTableSays) {
    ResolverWorld world;
    std::size_t own = 0;
    for (const DriverLocation& driver : kDriverTable) {
        const std::u16string name(driver.fileName);
        const bool system = driver.location == u"Default";
        own += system ? 0 : 1;
        EXPECT_EQ(world.Path(6, name), (system ? u"C:\\windows\\system32\\drivers\\" : u"D:\\hvrdriverdir\\") + name);
        EXPECT_EQ(world.Path(7, name), u"D:\\installdir\\Help\\" + name);
    }
    EXPECT_EQ(kDriverTable.size(), 6u);
    EXPECT_GT(own, 0u);
    EXPECT_EQ(world.Path(6, u"hVRbOOT.SYS"), u"C:\\windows\\system32\\drivers\\hVRbOOT.SYS");
    EXPECT_EQ(world.Path(6, u"HvrBoot.sy"), u"D:\\hvrdriverdir\\HvrBoot.sy");
    // The system's folder needs no token.
    world.files.Remove(PathWorld::kIni);
    world.registry.RemoveKey(PathWorld::kMachine, PathWorld::kMap, platform::kKeyView32);
    EXPECT_EQ(world.Path(6, u"HvrBoot.sys"), u"C:\\windows\\system32\\drivers\\HvrBoot.sys");
}

TEST(ProductInstallPathResolver, Failures_LeaveThePlaceUntouched) {
    ResolverWorld world;
    for (const std::uint32_t kind : {13u, 0x80000000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(world.Path(kind, u"f"), u"untouched");
        EXPECT_EQ(world.last, HResult::InvalidArgument);
    }
    EXPECT_EQ(world.resolver->GetPath(0, u"f", nullptr, 0), HResult::InvalidArgument);
    EXPECT_EQ(world.resolver->GetPath(0, "f", nullptr, 0), HResult::InvalidArgument);
    EXPECT_EQ(world.resolver->GetPath(13, u"f", nullptr, 0), HResult::InvalidArgument);

    world.PutToken(u"installdir", u"%UNKNOWN%");
    world.PutToken(u"hvrdriverdir", u"");
    EXPECT_EQ(world.Path(7, u"f"), u"untouched");
    EXPECT_EQ(world.last, HResult::PathNotFound);
    EXPECT_EQ(world.Path(6, u"f"), u"untouched");
    EXPECT_EQ(world.last, HResult::PathNotFound);
    EXPECT_EQ(world.resolver->GetPath(7, u"f", nullptr, 0), HResult::PathNotFound);  // found out first

    FaultPlan faults;
    char16_t* path = ResolverWorld::kSentinel;
    world.knownFolders.faults = world.memory.faults = world.textRules.faults = &faults;
    faults.FailCall(1, SystemError::AccessDenied);
    EXPECT_EQ(world.resolver->GetPath(6, u"HvrBoot.sys", &path, 0), HResult::PathNotFound);
    faults.FailCall(1, SystemError{1113});
    EXPECT_EQ(Number(world.resolver->GetPath(5, "f", &path, 0)), 0x80070459u);
    faults.FailCall(2, SystemError::NotEnoughMemory);  // the lower-case mapping comes before
    EXPECT_EQ(world.resolver->GetPath(5, u"f", &path, 0), HResult::OutOfMemory);
    EXPECT_EQ(path, ResolverWorld::kSentinel);
    EXPECT_EQ(world.memory.OpenHandles(), 0u);
}

TEST(ProductInstallPathResolver, MemoryRunningOut_IsReported) {
    bool fired = true;
    for (std::uint32_t n = 1; fired; ++n) {
        ResolverWorld world;
        world.trace.enabled = false;
        char16_t* path = ResolverWorld::kSentinel;
        HResult result;
        {
            const FailingNew failing(n);
            result = world.resolver->GetPath(9, "a long enough file name.txt", &path, 0);
            fired = failing.Fired();
        }
        EXPECT_EQ(world.Take(path), fired ? u"untouched" : u"D:\\basedir\\Temp\\a long enough file name.txt") << n;
        // An expansion says only that it failed.
        EXPECT_TRUE(result == (fired ? HResult::OutOfMemory : HResult::Ok) ||
                    (fired && result == HResult::PathNotFound))
            << n << ' ' << result;
        EXPECT_EQ(world.memory.OpenHandles() + world.memory.Misuses(), 0u) << n;
    }
}

TEST(ProductInstallPathResolver, IsAComponent) {
    ResolverWorld world;
    VaneRef<IProductInstallPathResolver> again;
    EXPECT_EQ(Query(*world.resolver, kIProductInstallPathResolverId, again), VaneResult::Success);
    EXPECT_EQ(again.Get(), world.resolver.Get());
    EXPECT_NE(CLSID_ProductInstallPathResolver, kIProductInstallPathResolverId);
}

}  // namespace
}  // namespace tests
