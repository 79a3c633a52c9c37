// The signature in a file, and the certificates in it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tslib/platform/Owned.h"
#include "tslib/platform/SystemError.h"

namespace tsLib::platform {

enum class SignatureHandle : std::uintptr_t {};
enum class CertificateHandle : std::uintptr_t {};

// Outputs are untouched on failure. std::bad_alloc may be thrown and nothing else. Objects are used on one thread.
class Signatures {
public:
    // Opens the embedded signature of a file (CryptQueryObject: object type file, content PKCS#7 signed embedded,
    // format binary). The handle stands for the certificate store and the message together.
    virtual SystemError Open(const std::u16string& path, SignatureHandle& signature) = 0;
    // The first signer's information: its size in bytes, then the data, which is position dependent: the certificate
    // search must be given the very buffer that was filled here.
    virtual SystemError SignerInfoSize(SignatureHandle signature, std::uint32_t& size) = 0;
    virtual SystemError SignerInfo(SignatureHandle signature, std::span<std::byte> buffer) = 0;
    // The signer's certificate in the signature's store, by issuer and serial number. The caller frees it before it
    // closes the signature.
    virtual SystemError FindSignerCertificate(SignatureHandle signature, std::span<const std::byte> signerInfo,
                                              CertificateHandle& certificate) = 0;
    virtual void FreeCertificate(CertificateHandle certificate) noexcept = 0;
    // Closes the store, then the message.
    virtual void Close(SignatureHandle signature) noexcept = 0;

    // The enhanced key usages, as dotted object identifiers (CertGetEnhancedKeyUsage, size first). A certificate
    // that restricts nothing has none: an empty list with Success.
    virtual SystemError EnhancedKeyUsages(CertificateHandle certificate, std::vector<std::string>& usages) = 0;
    // One attribute of the subject by its dotted identifier, cut at 259 characters (CertGetNameStringW, attribute
    // form). NotFound when the subject lacks it or it is empty; InvalidData when it holds a NUL, which a comparison
    // of texts would stop at.
    virtual SystemError SubjectAttribute(CertificateHandle certificate, const char* identifier,
                                         std::u16string& value) = 0;
    // The whole subject, one attribute a line, "identifier=value" with CR LF between (CertNameToStrW, OID form).
    virtual SystemError SubjectText(CertificateHandle certificate, std::u16string& text) = 0;

protected:
    ~Signatures() = default;
};

using OwnedSignature = Owned<Signatures, SignatureHandle, &Signatures::Close>;
using OwnedCertificate = Owned<Signatures, CertificateHandle, &Signatures::FreeCertificate>;

}  // namespace tsLib::platform
