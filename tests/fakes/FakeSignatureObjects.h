// Signatures in files, and their certificates.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/fakes/HandleTable.h"
#include "tslib/platform/SignatureObjects.h"

namespace tests {

// A certificate as the tests describe it.
struct FakeCertificate {
    std::vector<std::string> usages;
    std::map<std::string, std::u16string> attributes;  // by dotted identifier
    std::u16string subjectText;
};

inline constexpr auto kNoSignatureObject = static_cast<tsLib::platform::SystemError>(0x80092009);
inline constexpr auto kNoCertificate = static_cast<tsLib::platform::SystemError>(0x80092004);

// One thread. Paths are compared without regard to letter case.
class FakeSignatureObjects final : public tsLib::platform::SignatureObjects, public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;
    using Signature = tsLib::platform::SignatureHandle;
    using Certificate = tsLib::platform::CertificateHandle;

    SystemError Open(const std::u16string& path, Signature& signature) override;
    SystemError SignerInfoSize(Signature signature, std::uint32_t& size) override;
    SystemError SignerInfo(Signature signature, std::span<std::byte> buffer) override;
    SystemError FindSignerCertificate(Signature signature, std::span<const std::byte> signerInfo,
                                      Certificate& certificate) override;
    void FreeCertificate(Certificate certificate) noexcept override;
    void Close(Signature signature) noexcept override;

    void PutSignature(const std::u16string& path, FakeCertificate certificate);
    // A certificate that is open without a signature; freed like any other.
    [[nodiscard]] Certificate OpenCertificate(FakeCertificate certificate);
    // What an open certificate says; null, and a misuse, when it is not open.
    [[nodiscard]] const FakeCertificate* Find(Certificate certificate);

    // Signatures and certificates that are still held.
    [[nodiscard]] std::size_t OpenHandles() const { return signatures_.Size() + certificates_.Size(); }
    // Uses of what is closed, signatures closed before their certificates, and searches with another buffer than the
    // one that was filled.
    [[nodiscard]] std::size_t Misuses() const { return misuses_ + signatures_.misuses + certificates_.misuses; }

    SystemError otherFiles = kNoSignatureObject;          // for files without a signature
    SystemError sizeError = SystemError::Success;         // answer of SignerInfoSize
    SystemError infoError = SystemError::Success;         // answer of SignerInfo
    SystemError certificateError = SystemError::Success;  // answer of FindSignerCertificate
    std::uint32_t signerInfoSize = 128;
    std::vector<std::u16string> opened;  // every path asked of Open, in order

private:
    struct SignatureState {
        FakeCertificate certificate;
        const std::byte* filled = nullptr;
    };
    struct CertificateState {
        FakeCertificate certificate;
        Signature signature{};
    };

    std::map<std::u16string, FakeCertificate> byPath_;
    HandleTable<Signature, SignatureState> signatures_;
    HandleTable<Certificate, CertificateState> certificates_;
    std::size_t misuses_ = 0;
};

}  // namespace tests
