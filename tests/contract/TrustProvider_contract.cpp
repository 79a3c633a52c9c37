#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

using namespace tsLib::platform;

class TrustProviderContract : public ContractTest {};

TEST_F(TrustProviderContract, VerifyFile_AnswersBySignature_ForBothActions) {
    for (const TrustAction action : {TrustAction::GenericVerifyV2, TrustAction::DriverVerify}) {
        EXPECT_EQ(seam.trust.VerifyFile(contract.SignedFile(), action, RevocationCheck::None), 0);
        EXPECT_EQ(seam.trust.VerifyFile(contract.TamperedFile(), action, RevocationCheck::None),
                  static_cast<TrustAnswer>(0x80096010));
        EXPECT_EQ(seam.trust.VerifyFile(contract.UnsignedFile(), action, RevocationCheck::None),
                  static_cast<TrustAnswer>(0x800B0100));
    }
}

TEST_F(TrustProviderContract, VerifyFile_OfAMissingFile_IsNotTrusted) {
    EXPECT_NE(seam.trust.VerifyFile(contract.ScratchFolder() + u"none.dll", TrustAction::GenericVerifyV2,
                                    RevocationCheck::None),
              0);
}

TEST_F(TrustProviderContract, AMemberOfNoCatalog_IsNotTrusted) {
    OwnedCatalogContext context(seam.catalogs);
    ASSERT_EQ(seam.catalogs.AcquireContext(context.Receive()), SystemError::Success);
    const std::u16string catalog = contract.ScratchFolder() + u"none.cat";
    const std::u16string file = contract.UnsignedFile();
    const std::u16string tag(40, u'A');
    const std::vector<std::byte> hash(20, std::byte{0xAA});
    EXPECT_NE(seam.trust.VerifyCatalogMember({catalog, file, tag, hash, context.Get()}, TrustAction::GenericVerifyV2,
                                             RevocationCheck::None),
              0);
}

TEST_F(TrustProviderContract, ThePolicy_DoesNotForbidTheUsersDecision_UnlessAnAdministratorSaysSo) {
    EXPECT_EQ(seam.trust.PolicyFlags() & kPolicyAllowOnlyPermanentTrust, 0U);
}

}  // namespace
}  // namespace tests
