#include "AgentCore/ProductInstallPathResolver.h"

#include <gtest/gtest.h>

#include "AgentCore/DriverTable.h"
#include "tests/tslib/PathWorld.h"
#include "tslib/VaneRef.h"
#include "tslib/platform/Digits.h"

namespace tests {
namespace {

using tsLib::HResult;

struct ResolverWorld : PathWorld {
    ResolverWorld() {
        for (const auto* token :
             {u"installdir", u"hvrlogdir", u"hvrconfigdir", u"hvrstatedir", u"hvrresdlldir", u"basedir",
              u"hvrdriverdir", u"hvrfeaturestatedir", u"appdata", u"vaneplatformengine"}) {
            PutToken(token, u"D:\\" + std::u16string(token));
        }
    }
    // The path of a call, or its result: "0x80070057".
    template <class Unit>
    std::u16string Ask(std::uint32_t kind, const Unit* file, std::uint32_t flags = 0) {
        char16_t untouched = u'?';
        char16_t* path = &untouched;
        const HResult result = resolver->GetPath(kind, file, &path, flags);
        EXPECT_EQ(path == &untouched, Failed(result));
        std::u16string text = u"0x";
        if (Failed(result)) {
            tsLib::AppendHex<8>(text, Number(result));
        } else {
            text = path;
            system.Free(path);
        }
        return text;
    }
    // What both variants give; the fake's narrow texts are Latin-1.
    std::u16string Path(std::uint32_t kind, const std::u16string& wide) {
        const std::string narrow(wide.begin(), wide.end());
        const std::u16string path = Ask(kind, wide.c_str());
        return Ask(kind, narrow.c_str(), 0xFFFFFFFF) == path ? path : u"different";
    }

    tsLib::VaneRef<HVR::IProductInstallPathResolver> resolver{new HVR::CProductInstallPathResolver(*this, expansion)};
};

TEST(ProductInstallPathResolver, EachKind_WithAndWithoutAFile) {
    const std::u16string folders[] = {u"installdir",         u"hvrlogdir",     u"hvrconfigdir", u"hvrstatedir",
                                      u"hvrresdlldir",       u"basedir",       u"hvrdriverdir", u"installdir\\Help",
                                      u"hvrfeaturestatedir", u"basedir\\Temp", u"basedir",      u"appdata",
                                      u"vaneplatformengine"};
    ResolverWorld world;
    for (std::uint32_t kind = 0; kind < std::size(folders); ++kind) {
        const std::u16string folder = u"D:\\" + folders[kind] + u"\\";
        EXPECT_EQ(world.Path(kind, u""), folder) << kind;
        EXPECT_EQ(world.Path(kind, u"a\u00E9.chm"), folder + u"a\u00E9.chm") << kind;
        EXPECT_EQ(world.Ask<char16_t>(kind, nullptr), folder);
        EXPECT_EQ(world.Ask<char>(kind, nullptr), folder);
    }
}

TEST(ProductInstallPathResolver, OneBackslashBehindEveryFolder) {
    ResolverWorld world;
    for (const auto* folder : {u"C:\\P", u"C:\\P\\", u"C:\\P\\\\\\"}) {
        world.PutToken(u"installdir", folder);
        world.PutToken(u"basedir", folder);
        EXPECT_EQ(world.Path(0, u"f"), u"C:\\P\\f");
        EXPECT_EQ(world.Path(7, u"a.chm"), u"C:\\P\\Help\\a.chm");
        EXPECT_EQ(world.Path(9, u""), u"C:\\P\\Temp\\");
    }
    world.PutToken(u"installdir", u"\\\\");
    EXPECT_EQ(world.Path(0, u"f"), u"\\f");
    world.system.windows = u"C:\\";
    EXPECT_EQ(world.Path(6, u"HvrBoot.sys"), u"C:\\system32\\drivers\\HvrBoot.sys");
}

TEST(ProductInstallPathResolver, Drivers_LieWhereTheTableSays) {
    ResolverWorld world;
    for (const auto* name : {u"HvrBoot.sys", u"HvrFsFlt.sys", u"HvrNetFl.sys", u"HvrProc.sys", u"HvrReg.sys",
                             u"hVRbOOT.SYS", u"HvrBoot.sy", u"HvrScan.sys"}) {
        const bool own = std::u16string_view(name) == u"HvrBoot.sy" || std::u16string_view(name) == u"HvrScan.sys";
        EXPECT_EQ(world.Path(6, name),
                  (own ? u"D:\\hvrdriverdir\\" : u"C:\\windows\\system32\\drivers\\") + std::u16string(name));
    }
    EXPECT_EQ(world.Path(7, u"HvrBoot.sys"), u"D:\\installdir\\Help\\HvrBoot.sys");
    EXPECT_EQ(HVR::kDriverTable.size(), 6U);
    // The system's folder needs no token.
    world.registry.RemoveKey(PathWorld::kMachine, PathWorld::kMap, kKeyView32);
    EXPECT_EQ(world.Path(6, u"HvrBoot.sys"), u"C:\\windows\\system32\\drivers\\HvrBoot.sys");
}

TEST(ProductInstallPathResolver, Failures_LeaveThePlaceUntouched) {
    ResolverWorld world;
    for (const std::uint32_t kind : {13U, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(world.Path(kind, u"f"), u"0x80070057");
    }
    EXPECT_EQ(world.resolver->GetPath(0, u"f", nullptr, 0), HResult::InvalidArgument);
    EXPECT_EQ(world.resolver->GetPath(0, "f", nullptr, 0), HResult::InvalidArgument);
    world.PutToken(u"installdir", u"%UNKNOWN%");
    world.PutToken(u"hvrdriverdir", u"");
    EXPECT_EQ(world.Path(7, u"f"), u"0x80030003");
    EXPECT_EQ(world.Path(6, u"f"), u"0x80030003");
    EXPECT_EQ(world.resolver->GetPath(7, u"f", nullptr, 0), HResult::PathNotFound);  // found out first
    world.faults.Fail("WindowsFolder", SystemError::AccessDenied);
    EXPECT_EQ(world.Path(6, u"HvrBoot.sys"), u"0x80030003");
    world.faults.Fail("Allocate", SystemError::NotEnoughMemory);
    EXPECT_EQ(world.Path(5, u"f"), u"0x8007000E");
    world.faults.Fail("FromNarrow", SystemError{1113});
    EXPECT_EQ(world.Ask(5, "f"), u"0x80070459");
    Sweep([&](auto& failing, bool memory) {
        ResolverWorld fresh;
        fresh.trace.enabled = false;
        char16_t* path = nullptr;
        HResult result{};
        const auto* file = "a long enough file name.txt";
        const bool struck = failing(fresh.faults, [&] { result = fresh.resolver->GetPath(9, file, &path, 0); });
        EXPECT_EQ(path == nullptr, Failed(result));
        EXPECT_TRUE(struck ? !memory || Failed(result) : result == HResult::Ok);
        fresh.system.Free(path);
    });
}

// Other modules call through the table: behind IVaneBase's three operations the narrow variant, then the wide one.
TEST(ProductInstallPathResolver, SlotsOfTheTable) {
    ResolverWorld world;
    auto* const resolver = world.resolver.Get();
    void* const* const table = *reinterpret_cast<void* const* const*>(resolver);
    const auto call = [&]<class Unit>(std::size_t slot, const Unit* name) {
        using Operation = HResult (*)(void*, std::uint32_t, const Unit*, char16_t**, std::uint32_t);
        char16_t* path = nullptr;
        EXPECT_EQ(reinterpret_cast<Operation>(table[slot])(resolver, 0, name, &path, 0), HResult::Ok);
        const std::u16string text = path == nullptr ? u"" : path;
        world.system.Free(path);
        return text;
    };
    EXPECT_EQ(call(3, "abcd"), u"D:\\installdir\\abcd");
    EXPECT_EQ(call(4, u"abcd"), u"D:\\installdir\\abcd");
}

}  // namespace
}  // namespace tests
