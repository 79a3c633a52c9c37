#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

class TrustProviderContract : public ContractTest {
protected:
    TrustProvider& trust = platform.trustProvider;
};

TEST_F(TrustProviderContract, VerifyFile_AnswersBySignature_ForBothActions) {
    for (const TrustAction action : {TrustAction::GenericVerifyV2, TrustAction::DriverVerify}) {
        EXPECT_EQ(trust.VerifyFile(contract.SignedFile(), action, RevocationCheck::None), 0);
        EXPECT_EQ(trust.VerifyFile(contract.TamperedFile(), action, RevocationCheck::None),
                  static_cast<TrustAnswer>(0x80096010));
        EXPECT_EQ(trust.VerifyFile(contract.UnsignedFile(), action, RevocationCheck::None),
                  static_cast<TrustAnswer>(0x800B0100));
        EXPECT_NE(trust.VerifyFile(folder + u"none.dll", action, RevocationCheck::None), 0);
    }
}

TEST_F(TrustProviderContract, AMemberOfNoCatalog_IsNotTrusted) {
    OwnedCatalogContext context(platform.catalogs);
    ASSERT_EQ(platform.catalogs.AcquireContext(context.Receive()), SystemError::Success);
    const std::u16string catalog = folder + u"none.cat";
    const std::u16string file = contract.UnsignedFile();
    const std::u16string tag(40, u'A');
    const std::vector<std::byte> hash(20, std::byte{0xAA});
    EXPECT_NE(trust.VerifyCatalogMember({catalog, file, tag, hash, context.Get()}, TrustAction::GenericVerifyV2,
                                        RevocationCheck::None),
              0);
}

TEST_F(TrustProviderContract, ThePolicy_DoesNotForbidTheUsersDecision_UnlessAnAdministratorSaysSo) {
    EXPECT_EQ(trust.PolicyFlags() & kPolicyAllowOnlyPermanentTrust, 0U);
}

}  // namespace
}  // namespace tests
