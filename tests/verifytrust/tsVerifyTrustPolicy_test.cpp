#include "tslib/verifytrust/tsVerifyTrustPolicy.h"

#include <gtest/gtest.h>

#include <optional>

#include "tests/verifytrust/TrustFixture.h"

using namespace tests;
using namespace tsLib;
using platform::kKeyView32;
using platform::RegistryRoot;

namespace {

const std::u16string kPolicyKey = u"Software\\Corvane\\Tessel\\tsVerifyTrust";

class PolicyTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_TRUE(system.NothingLeftOpen()); }

    [[nodiscard]] std::optional<std::uint32_t> Stored(const std::u16string& name) const {
        const auto* value = system.registry.Find(RegistryRoot::LocalMachine, kPolicyKey, name, kKeyView32);
        if (value == nullptr || value->type != platform::kValueDword || value->data.size() != 4) {
            return std::nullopt;
        }
        return std::to_integer<std::uint32_t>(value->data[0]);
    }
    void Put(const std::u16string& name, platform::RegistryValue value) {
        system.registry.PutValue(RegistryRoot::LocalMachine, kPolicyKey, name, std::move(value), kKeyView32);
    }

    TrustSystem system;
};

TEST_F(PolicyTest, IsAlternate_ReadsOnceAndCountsAsOnWhenUnreadable) {
    tsVerifyTrustPolicy& policy = system.policy;
    EXPECT_TRUE(policy.IsAlternateTrustPolicy());
    ASSERT_EQ(system.registry.opened.size(), 1u);
    EXPECT_EQ(system.registry.opened[0].access, platform::kKeyRead | kKeyView32);
    system.settings.known = false;
    EXPECT_TRUE(policy.IsAlternateTrustPolicy());
    system.settings.known = true;
    Put(u"AlternateTrustPolicy", TextValue(u"0"));
    EXPECT_TRUE(policy.IsAlternateTrustPolicy());
    Put(u"AlternateTrustPolicy", DwordValue(0));
    EXPECT_FALSE(policy.IsAlternateTrustPolicy());
    // What was read stays, for every policy object of the process.
    Put(u"AlternateTrustPolicy", DwordValue(2));
    EXPECT_FALSE(policy.IsAlternateTrustPolicy());
    TrustProcessState fresh{system.textRules, Tracer(system.trace)};
    tsVerifyTrustPolicy other{system.registry, system.settings, fresh, Tracer(system.trace)};
    EXPECT_TRUE(other.IsAlternateTrustPolicy());
}

TEST_F(PolicyTest, SetAlternate_OnWritesOneValueAndOffDeletesTheOther) {
    tsVerifyTrustPolicy& policy = system.policy;
    EXPECT_FALSE(policy.SetAlternateTrustPolicy(false));  // no key
    EXPECT_TRUE(policy.SetAlternateTrustPolicy(true));
    EXPECT_EQ(Stored(u"AlternateTrustPolicy"), 1u);
    EXPECT_EQ(system.registry.opened.back().access, platform::kKeyWrite | kKeyView32);
    Put(u"TrustPolicy", DwordValue(5));
    EXPECT_TRUE(policy.SetAlternateTrustPolicy(false));
    EXPECT_EQ(Stored(u"TrustPolicy"), std::nullopt);
    EXPECT_EQ(Stored(u"AlternateTrustPolicy"), 1u);
    EXPECT_FALSE(policy.SetAlternateTrustPolicy(false));  // no value
    system.settings.known = false;
    EXPECT_FALSE(policy.SetAlternateTrustPolicy(true));
}

}  // namespace
