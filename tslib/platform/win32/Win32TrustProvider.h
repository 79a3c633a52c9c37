#pragma once

#include "tslib/platform/TrustProvider.h"

namespace tsLib::platform::win32 {

class Win32TrustProvider final : public TrustProvider {
public:
    TrustAnswer VerifyFile(const std::u16string& path, TrustAction action, RevocationCheck revocation) override;
    TrustAnswer VerifyCatalogMember(const CatalogMember& member, TrustAction action,
                                    RevocationCheck revocation) override;
    [[nodiscard]] std::uint32_t PolicyFlags() override;
};

}  // namespace tsLib::platform::win32
