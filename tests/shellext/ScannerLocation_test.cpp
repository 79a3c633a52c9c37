#include "shellext/ScannerLocation.h"

#include <gtest/gtest.h>

#include <functional>

#include "tests/shellext/ScanWorld.h"

namespace {

using tests::ScanWorld;
using tsLib::HResult;
using tsLib::platform::RegistryRoot;

constexpr char16_t kKey[] = u"Software\\Corvane\\InstalledApps";

TEST(ScannerLocation, Resolver_IsMadeForEachLookupAndGivenBack) {
    ScanWorld world;
    for (int lookup = 1; lookup <= 2; ++lookup) {
        std::u16string scanner;
        ASSERT_EQ(world.location.FindScanner(scanner), HResult::Ok);
        EXPECT_EQ(scanner, tests::kTestScanner);
    }
    EXPECT_EQ(world.resolvers.made, 2U);
    EXPECT_EQ(world.Leftovers(), 0U);
}

TEST(ScannerLocation, BothFail_ThePrimaryFailureCountsAndTheOutputStays) {
    const std::pair<std::function<void(ScanWorld&)>, HResult> table[] = {
        {[](ScanWorld& w) { w.resolvers.creation = HResult::NoInterface; }, HResult::NoInterface},
        {[](ScanWorld& w) { w.resolvers.givesNone = true; }, HResult::Fail},
        {[](ScanWorld& w) { w.resolvers.answer = HResult::PathNotFound; }, HResult::PathNotFound},
        {[](ScanWorld& w) { w.resolvers.givesNoText = true; }, HResult::Fail},
    };
    for (const auto& [arrange, expected] : table) {
        ScanWorld world;
        arrange(world);
        std::u16string scanner = u"before";
        EXPECT_EQ(world.location.FindScanner(scanner), expected);
        EXPECT_EQ(scanner, u"before");
        ASSERT_EQ(world.registry.opened.size(), 1U);
        EXPECT_EQ(world.registry.opened[0].path, kKey);
        world.PutFallback(u"E:\\Apps\\");
        EXPECT_EQ(world.location.FindScanner(scanner), HResult::Ok);
        EXPECT_EQ(scanner, u"E:\\Apps\\ScanAgent.exe");
        EXPECT_EQ(world.Leftovers(), 0U);
    }
}

TEST(ScannerLocation, FallbackValue_AsItStands_TextTypesOnly) {
    using tests::TextValue;
    const std::pair<tsLib::platform::RegistryValue, std::u16string> table[] = {
        {TextValue(u"E:\\Apps"), u"E:\\AppsScanAgent.exe"},
        {TextValue(u"E:\\Apps\\", tsLib::platform::kValueText, false), u"E:\\Apps\\ScanAgent.exe"},
        {TextValue(u"%ProgramFiles%\\x\\", tsLib::platform::kValueExpandText), u"%ProgramFiles%\\x\\ScanAgent.exe"},
        {TextValue(std::u16string(u"E:\\\0F:\\", 7)), u"E:\\ScanAgent.exe"},
        {TextValue(u""), u"ScanAgent.exe"},
        {TextValue(u"E:\\Apps\\", tsLib::platform::kValueBinary), u"none"},
        {tests::DwordValue(7), u"none"},
    };
    for (const auto& [value, expected] : table) {
        ScanWorld world;
        world.resolvers.answer = HResult::PathNotFound;
        world.registry.PutValue(RegistryRoot::LocalMachine, kKey, u"NimEdge", value);
        std::u16string scanner = u"none";
        EXPECT_EQ(world.location.FindScanner(scanner), expected == u"none" ? HResult::PathNotFound : HResult::Ok);
        EXPECT_EQ(scanner, expected);
    }
}

}  // namespace
