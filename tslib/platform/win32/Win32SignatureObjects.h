#pragma once

#include "tslib/platform/SignatureObjects.h"

namespace tsLib::platform::win32 {

class Win32SignatureObjects final : public SignatureObjects {
public:
    SystemError Open(const std::u16string& path, SignatureHandle& signature) override;
    SystemError SignerInfoSize(SignatureHandle signature, std::uint32_t& size) override;
    // InvalidParameter for a buffer that is not aligned as memory from operator new is.
    SystemError SignerInfo(SignatureHandle signature, std::span<std::byte> buffer) override;
    SystemError FindSignerCertificate(SignatureHandle signature, std::span<const std::byte> signerInfo,
                                      CertificateHandle& certificate) override;
    void FreeCertificate(CertificateHandle certificate) noexcept override;
    void Close(SignatureHandle signature) noexcept override;
};

class Win32Certificates final : public Certificates {
public:
    SystemError EnhancedKeyUsages(CertificateHandle certificate, std::vector<std::string>& usages) override;
    SystemError SubjectAttribute(CertificateHandle certificate, const char* identifier, std::u16string& value) override;
    SystemError SubjectText(CertificateHandle certificate, std::u16string& text) override;
};

}  // namespace tsLib::platform::win32
