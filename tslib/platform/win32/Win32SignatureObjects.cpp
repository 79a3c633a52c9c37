#include "tslib/platform/win32/Win32SignatureObjects.h"

#include <windows.h>
// After windows.h.
#include <wincrypt.h>

#include <algorithm>
#include <cstddef>
#include <memory>

#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/PlatformPath.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

// What a SignatureHandle stands for.
struct Signature {
    HCERTSTORE store = nullptr;
    HCRYPTMSG message = nullptr;
};

bool IsSignerInfoBuffer(std::span<const std::byte> buffer) noexcept {
    return buffer.size() >= sizeof(CMSG_SIGNER_INFO) &&
           reinterpret_cast<std::uintptr_t>(buffer.data()) % alignof(CMSG_SIGNER_INFO) == 0;
}

}  // namespace

SystemError Win32SignatureObjects::Open(const std::u16string& path, SignatureHandle& signature) {
    if (HoldsNul(path)) {
        return kInvalidName;
    }
    auto opened = std::make_unique<Signature>();
    if (!CryptQueryObject(CERT_QUERY_OBJECT_FILE, ToWide(PlatformPath(path)),
                          CERT_QUERY_CONTENT_FLAG_PKCS7_SIGNED_EMBED, CERT_QUERY_FORMAT_FLAG_BINARY, 0, nullptr,
                          nullptr, nullptr, &opened->store, &opened->message, nullptr)) {
        return LastFailure();
    }
    signature = ToSeam<SignatureHandle>(opened.release());
    return SystemError::Success;
}

SystemError Win32SignatureObjects::SignerInfoSize(SignatureHandle signature, std::uint32_t& size) {
    DWORD bytes = 0;
    if (!CryptMsgGetParam(FromSeam<Signature*>(signature)->message, CMSG_SIGNER_INFO_PARAM, 0, nullptr, &bytes)) {
        return LastFailure();
    }
    size = bytes;
    return SystemError::Success;
}

SystemError Win32SignatureObjects::SignerInfo(SignatureHandle signature, std::span<std::byte> buffer) {
    if (!IsSignerInfoBuffer(buffer)) {
        return SystemError::InvalidParameter;
    }
    auto bytes = static_cast<DWORD>(buffer.size());
    if (!CryptMsgGetParam(FromSeam<Signature*>(signature)->message, CMSG_SIGNER_INFO_PARAM, 0, buffer.data(), &bytes)) {
        return LastFailure();
    }
    return SystemError::Success;
}

SystemError Win32SignatureObjects::FindSignerCertificate(SignatureHandle signature,
                                                         std::span<const std::byte> signerInfo,
                                                         CertificateHandle& certificate) {
    if (!IsSignerInfoBuffer(signerInfo)) {
        return SystemError::InvalidParameter;
    }
    const auto* signer = reinterpret_cast<const CMSG_SIGNER_INFO*>(signerInfo.data());
    CERT_INFO wanted{};
    wanted.Issuer = signer->Issuer;
    wanted.SerialNumber = signer->SerialNumber;
    const PCCERT_CONTEXT found = CertFindCertificateInStore(FromSeam<Signature*>(signature)->store, kEncoding, 0,
                                                            CERT_FIND_SUBJECT_CERT, &wanted, nullptr);
    if (found == nullptr) {
        return LastFailure();
    }
    certificate = ToSeam<CertificateHandle>(found);
    return SystemError::Success;
}

void Win32SignatureObjects::FreeCertificate(CertificateHandle certificate) noexcept {
    const LastErrorKeeper keeper;
    CertFreeCertificateContext(FromSeam<PCCERT_CONTEXT>(certificate));
}

void Win32SignatureObjects::Close(SignatureHandle signature) noexcept {
    const LastErrorKeeper keeper;
    const std::unique_ptr<Signature> closing(FromSeam<Signature*>(signature));
    if (closing != nullptr) {
        CertCloseStore(closing->store, 0);
        CryptMsgClose(closing->message);
    }
}

SystemError Win32Certificates::EnhancedKeyUsages(CertificateHandle certificate, std::vector<std::string>& usages) {
    const auto context = FromSeam<PCCERT_CONTEXT>(certificate);
    DWORD size = 0;
    // The structure holds pointers, so the buffer is aligned for them.
    std::vector<std::max_align_t> buffer;
    for (int call = 0; call < 2; ++call) {
        auto* list = call == 0 ? nullptr : reinterpret_cast<CERT_ENHKEY_USAGE*>(buffer.data());
        if (!CertGetEnhancedKeyUsage(context, 0, list, &size)) {
            const SystemError error = LastFailure();
            if (error != static_cast<SystemError>(CRYPT_E_NOT_FOUND)) {
                return error;
            }
            usages.clear();
            return SystemError::Success;
        }
        if (call == 0) {
            if (size < sizeof(CERT_ENHKEY_USAGE)) {
                return SystemError::InvalidData;
            }
            buffer.resize(size / sizeof(std::max_align_t) + 1);
        }
    }
    const auto* list = reinterpret_cast<const CERT_ENHKEY_USAGE*>(buffer.data());
    usages.assign(list->rgpszUsageIdentifier, list->rgpszUsageIdentifier + list->cUsageIdentifier);
    return SystemError::Success;
}

SystemError Win32Certificates::SubjectAttribute(CertificateHandle certificate, const char* identifier,
                                                std::u16string& value) {
    constexpr std::size_t kLongest = 259;
    const auto context = FromSeam<PCCERT_CONTEXT>(certificate);
    // The platform wants a mutable pointer and only reads it. Its answer counts the terminator.
    void* const attribute = const_cast<char*>(identifier);
    const DWORD size = CertGetNameStringW(context, CERT_NAME_ATTR_TYPE, 0, attribute, nullptr, 0);
    if (size <= 1) {
        return SystemError::NotFound;
    }
    std::u16string whole(size, u'\0');
    const DWORD length = CertGetNameStringW(context, CERT_NAME_ATTR_TYPE, 0, attribute, ToWide(whole.data()), size);
    if (length <= 1 || length > size) {
        return SystemError::NotFound;
    }
    // The whole value is looked at before it is cut: a NUL anywhere in it is a forged name.
    whole.resize(length - 1);
    if (HoldsNul(whole)) {
        return SystemError::InvalidData;
    }
    whole.resize(std::min(whole.size(), kLongest));
    value = std::move(whole);
    return SystemError::Success;
}

SystemError Win32Certificates::SubjectText(CertificateHandle certificate, std::u16string& text) {
    constexpr DWORD kForm = CERT_OID_NAME_STR | CERT_NAME_STR_CRLF_FLAG;
    auto* subject = &FromSeam<PCCERT_CONTEXT>(certificate)->pCertInfo->Subject;
    const DWORD size = CertNameToStrW(kEncoding, subject, kForm, nullptr, 0);
    if (size == 0) {
        return LastFailure();
    }
    std::u16string whole(size, u'\0');
    const DWORD length = CertNameToStrW(kEncoding, subject, kForm, ToWide(whole.data()), size);
    if (length == 0 || length > size) {
        return SystemError::InvalidData;
    }
    whole.resize(length - 1);
    text = std::move(whole);
    return SystemError::Success;
}

}  // namespace tsLib::platform::win32
