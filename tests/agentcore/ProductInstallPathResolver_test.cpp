#include "AgentCore/ProductInstallPathResolver.h"

#include "tests/tslib/PathWorld.h"
#include "tslib/VaneRef.h"
#include "tslib/platform/Digits.h"

namespace tests {
namespace {

// By kind: the folder that a token of its name stands for, and what lies below.
const std::u16string kFolders[] = {u"installdir",         u"hvrlogdir",     u"hvrconfigdir", u"hvrstatedir",
                                   u"hvrresdlldir",       u"basedir",       u"hvrdriverdir", u"installdir\\Help",
                                   u"hvrfeaturestatedir", u"basedir\\Temp", u"basedir",      u"appdata",
                                   u"vaneplatformengine"};

struct ResolverTest : testing::Test, PathWorld {
    ResolverTest() {
        for (const std::u16string& folder : kFolders) {
            const std::u16string token = folder.substr(0, folder.find(u'\\'));
            PutToken(token, u"D:\\" + token);
        }
    }
    // The path of a call, or its result: "0x80070057".
    template <class Unit>
    std::u16string Ask(std::uint32_t kind, const Unit* file, std::uint32_t flags = 0) {
        char16_t untouched = u'?';
        char16_t* path = &untouched;
        const HResult result = resolver->GetPath(kind, file, &path, flags);
        EXPECT_EQ(path == &untouched, Failed(result));
        std::u16string text = Failed(result) ? u"0x" : path;
        if (Failed(result)) {
            AppendHex<8>(text, Number(result));
        } else {
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

    VaneRef<HVR::IProductInstallPathResolver> resolver{new HVR::CProductInstallPathResolver(*this, expansion)};
};

TEST_F(ResolverTest, EachKind_WithAndWithoutAFile) {
    for (std::uint32_t kind = 0; kind < std::size(kFolders); ++kind) {
        const std::u16string folder = u"D:\\" + kFolders[kind] + u"\\";
        EXPECT_EQ(Path(kind, u"a\u00E9.chm"), folder + u"a\u00E9.chm") << kind;
        EXPECT_EQ(Ask<char16_t>(kind, nullptr), folder);
        EXPECT_EQ(Ask<char>(kind, nullptr), folder);
    }
    // One backslash is behind every folder.
    for (const auto* folder : {u"C:\\P", u"C:\\P\\", u"C:\\P\\\\\\"}) {
        PutToken(u"installdir", folder);
        PutToken(u"basedir", folder);
        EXPECT_EQ(Path(0, u"f"), u"C:\\P\\f");
        EXPECT_EQ(Path(7, u"a.chm"), u"C:\\P\\Help\\a.chm");
        EXPECT_EQ(Path(9, u""), u"C:\\P\\Temp\\");
    }
    PutToken(u"installdir", u"\\\\");
    EXPECT_EQ(Path(0, u"f"), u"\\f");
    system.windows = u"C:\\";
    EXPECT_EQ(Path(6, u"HvrBoot.sys"), u"C:\\system32\\drivers\\HvrBoot.sys");
}

TEST_F(ResolverTest, Drivers_LieWhereTheTableSays) {
    for (const auto* name :
         {u"HvrBoot.sys", u"HvrFsFlt.sys", u"HvrNetFl.sys", u"HvrProc.sys", u"HvrReg.sys", u"hVRbOOT.SYS"}) {
        EXPECT_EQ(Path(6, name), u"C:\\windows\\system32\\drivers\\" + std::u16string(name));
    }
    for (const auto* name : {u"HvrBoot.sy", u"HvrScan.sys"}) {
        EXPECT_EQ(Path(6, name), u"D:\\hvrdriverdir\\" + std::u16string(name));
    }
    EXPECT_EQ(Path(7, u"HvrBoot.sys"), u"D:\\installdir\\Help\\HvrBoot.sys");
    // The system's folder needs no token.
    RemoveMap();
    EXPECT_EQ(Path(6, u"HvrBoot.sys"), u"C:\\windows\\system32\\drivers\\HvrBoot.sys");
}

TEST_F(ResolverTest, Failures_LeaveThePlaceUntouched) {
    EXPECT_EQ(Path(13, u"f"), u"0x80070057");
    EXPECT_EQ(resolver->GetPath(0, u"f", nullptr, 0), HResult::InvalidArgument);
    PutToken(u"installdir", u"%UNKNOWN%");
    EXPECT_EQ(Path(7, u"f"), u"0x80030003");
    EXPECT_EQ(resolver->GetPath(7, u"f", nullptr, 0), HResult::PathNotFound);  // found out first
    faults.Fail("WindowsFolder", SystemError::AccessDenied);
    EXPECT_EQ(Path(6, u"HvrBoot.sys"), u"0x80030003");
    faults.Fail("Allocate", SystemError::NotEnoughMemory);
    EXPECT_EQ(Path(5, u"f"), u"0x8007000E");
    faults.Fail("FromNarrow", SystemError{1113});
    EXPECT_EQ(Ask(5, "f"), u"0x80070459");
}

}  // namespace
}  // namespace tests
