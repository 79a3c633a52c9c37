#include "tslib/platform/win32/Win32Platform.h"

#include <algorithm>
#include <cstddef>
#include <memory>

#include "tslib/platform/win32/CallArguments.h"
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

// The text of a call that tells its size, terminator included, when it is given no buffer, and writes it into one.
template <class Call>
bool ReadName(std::u16string& name, Call call) {
    name.resize(call(nullptr, 0));
    const std::size_t length = name.empty() ? 0 : call(ToWide(name.data()), static_cast<DWORD>(name.size()));
    if (length == 0 || length > name.size()) {
        return false;
    }
    name.resize(length - 1);
    return true;
}

}  // namespace

SystemError Win32Signatures::Open(const std::u16string& path, SignatureHandle& signature) {
    if (HoldsNul(path)) {
        return kInvalidName;
    }
    auto opened = std::make_unique<Signature>();
    if (!std::apply(CryptQueryObject, SignatureArguments(ToWide(PlatformPath(path)), opened->store, opened->message))) {
        return LastFailure();
    }
    signature = ToSeam<SignatureHandle>(opened.release());
    return SystemError::Success;
}

SystemError Win32Signatures::SignerInfoSize(SignatureHandle signature, std::uint32_t& size) {
    DWORD bytes = 0;
    if (!CryptMsgGetParam(FromSeam<Signature*>(signature)->message, CMSG_SIGNER_INFO_PARAM, 0, nullptr, &bytes)) {
        return LastFailure();
    }
    size = bytes;
    return SystemError::Success;
}

SystemError Win32Signatures::SignerInfo(SignatureHandle signature, std::span<std::byte> buffer) {
    if (!IsSignerInfoBuffer(buffer)) {
        return SystemError::InvalidParameter;
    }
    auto bytes = static_cast<DWORD>(buffer.size());
    return FromBool(
        CryptMsgGetParam(FromSeam<Signature*>(signature)->message, CMSG_SIGNER_INFO_PARAM, 0, buffer.data(), &bytes));
}

SystemError Win32Signatures::FindSignerCertificate(SignatureHandle signature, std::span<const std::byte> signerInfo,
                                                   CertificateHandle& certificate) {
    if (!IsSignerInfoBuffer(signerInfo)) {
        return SystemError::InvalidParameter;
    }
    const auto* signer = reinterpret_cast<const CMSG_SIGNER_INFO*>(signerInfo.data());
    CERT_INFO wanted{};
    wanted.Issuer = signer->Issuer;
    wanted.SerialNumber = signer->SerialNumber;
    return Give(CertFindCertificateInStore(FromSeam<Signature*>(signature)->store, kEncoding, 0, CERT_FIND_SUBJECT_CERT,
                                           &wanted, nullptr),
                certificate);
}

void Win32Signatures::FreeCertificate(CertificateHandle certificate) noexcept {
    const LastErrorKeeper keeper;
    CertFreeCertificateContext(FromSeam<PCCERT_CONTEXT>(certificate));
}

void Win32Signatures::Close(SignatureHandle signature) noexcept {
    const LastErrorKeeper keeper;
    const std::unique_ptr<Signature> closing(FromSeam<Signature*>(signature));
    if (closing != nullptr) {
        CertCloseStore(closing->store, 0);
        CryptMsgClose(closing->message);
    }
}

SystemError Win32Signatures::EnhancedKeyUsages(CertificateHandle certificate, std::vector<std::string>& usages) {
    DWORD size = 0;
    const auto read = [&](CERT_ENHKEY_USAGE* list) {
        return FromBool(CertGetEnhancedKeyUsage(FromSeam<PCCERT_CONTEXT>(certificate), 0, list, &size));
    };
    SystemError error = read(nullptr);
    if (Succeeded(error) && size < sizeof(CERT_ENHKEY_USAGE)) {
        return SystemError::InvalidData;
    }
    // The structure holds pointers, so the buffer is aligned for them.
    std::vector<std::max_align_t> buffer(size / sizeof(std::max_align_t) + 1);
    auto* const list = reinterpret_cast<CERT_ENHKEY_USAGE*>(buffer.data());
    if (Succeeded(error)) {
        error = read(list);
    }
    if (error == static_cast<SystemError>(CRYPT_E_NOT_FOUND)) {
        usages.clear();
        return SystemError::Success;
    }
    if (Succeeded(error)) {
        usages.assign(list->rgpszUsageIdentifier, list->rgpszUsageIdentifier + list->cUsageIdentifier);
    }
    return error;
}

SystemError Win32Signatures::SubjectAttribute(CertificateHandle certificate, const char* identifier,
                                              std::u16string& value) {
    constexpr std::size_t kLongest = 259;
    std::u16string whole;
    if (!ReadName(whole,
                  [&](wchar_t* buffer, DWORD size) {
                      // The platform wants a mutable pointer and only reads it.
                      return CertGetNameStringW(FromSeam<PCCERT_CONTEXT>(certificate), CERT_NAME_ATTR_TYPE, 0,
                                                const_cast<char*>(identifier), buffer, size);
                  }) ||
        whole.empty()) {
        return SystemError::NotFound;
    }
    // The whole value is looked at before it is cut: a NUL anywhere in it is a forged name.
    if (HoldsNul(whole)) {
        return SystemError::InvalidData;
    }
    whole.resize(std::min(whole.size(), kLongest));
    value = std::move(whole);
    return SystemError::Success;
}

SystemError Win32Signatures::SubjectText(CertificateHandle certificate, std::u16string& text) {
    std::u16string whole;
    if (!ReadName(whole, [&](wchar_t* buffer, DWORD size) {
            return CertNameToStrW(kEncoding, &FromSeam<PCCERT_CONTEXT>(certificate)->pCertInfo->Subject,
                                  CERT_OID_NAME_STR | CERT_NAME_STR_CRLF_FLAG, buffer, size);
        })) {
        return LastFailure();
    }
    text = std::move(whole);
    return SystemError::Success;
}

}  // namespace tsLib::platform::win32
