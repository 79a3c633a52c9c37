#include "tslib/Guid.h"

#include <gtest/gtest.h>

namespace tests {
namespace {

using namespace tsLib;

constexpr Guid kSample{0x00FF10A0, 0x0B00, 0xC00D, {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};

TEST(Guid, Text_HasEveryFieldInItsPlace) {
    EXPECT_EQ(ToText(kSample), u"{00FF10A0-0B00-C00D-0123-456789ABCDEF}");
    EXPECT_EQ(GuidFromText(ToText(kSample)), kSample);
    EXPECT_EQ(GuidFromText(u"{00ff10a0-0b00-c00d-0123-456789abcdef}"), kSample);
}

TEST(Guid, OtherText_IsNoGuid) {
    const std::u16string_view others[] = {
        u"",
        u"00FF10A0-0B00-C00D-0123-456789ABCDEF",
        u"{00FF10A0-0B00-C00D-0123-456789ABCDE}",
        u"{00FF10A0-0B00-C00D-0123-456789ABCDEF} ",
        u"{00FF10A0-0B00-C00D-0123-456789ABCDEG}",
        u"{00FF10A0+0B00-C00D-0123-456789ABCDEF}",
        u"{00FF10A0-0B00-C00D-0123-456789ABCDEF)",
        u"{00FF10A00-B00-C00D-0123-456789ABCDEF}",
        u"{\xFF10\xFF10\xFF10\xFF10\xFF10\xFF10\xFF10\xFF10-0B00-C00D-0123-456789ABCDEF}",  // other script's digits
    };
    for (const auto text : others) {
        EXPECT_EQ(GuidFromText(text), std::nullopt) << testing::PrintToString(std::u16string(text));
    }
}

}  // namespace
}  // namespace tests
