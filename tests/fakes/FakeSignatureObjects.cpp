#include "tests/fakes/FakeSignatureObjects.h"

#include <algorithm>

#include "tests/fakes/SimpleLower.h"

namespace tests {

using namespace tsLib::platform;

SystemError FakeSignatureObjects::Open(const std::u16string& path, Signature& signature) {
    opened.push_back(path);
    if (const SystemError fault = Fault(); Failed(fault)) {
        return fault;
    }
    const auto found = byPath_.find(SimpleLower(path));
    if (found == byPath_.end()) {
        return otherFiles;
    }
    signature = signatures_.Add({found->second});
    return SystemError::Success;
}

SystemError FakeSignatureObjects::SignerInfoSize(Signature signature, std::uint32_t& size) {
    if (signatures_.Find(signature) == nullptr) {
        return SystemError::InvalidParameter;
    }
    if (const SystemError fault = Fault(); Failed(fault)) {
        return fault;
    }
    if (Succeeded(sizeError)) {
        size = signerInfoSize;
    }
    return sizeError;
}

SystemError FakeSignatureObjects::SignerInfo(Signature signature, std::span<std::byte> buffer) {
    SignatureState* state = signatures_.Find(signature);
    if (state == nullptr) {
        return SystemError::InvalidParameter;
    }
    if (const SystemError fault = Fault(); Failed(fault)) {
        return fault;
    }
    if (Failed(infoError)) {
        return infoError;
    }
    if (buffer.size() < signerInfoSize) {
        return SystemError::MoreData;
    }
    std::ranges::fill(buffer, std::byte{0x51});
    state->filled = buffer.data();
    return SystemError::Success;
}

SystemError FakeSignatureObjects::FindSignerCertificate(Signature signature, std::span<const std::byte> signerInfo,
                                                        Certificate& certificate) {
    SignatureState* state = signatures_.Find(signature);
    if (state == nullptr) {
        return SystemError::InvalidParameter;
    }
    if (signerInfo.data() == nullptr || signerInfo.data() != state->filled) {
        ++misuses_;
        return kNoCertificate;
    }
    if (const SystemError fault = Fault(); Failed(fault)) {
        return fault;
    }
    if (Failed(certificateError)) {
        return certificateError;
    }
    certificate = certificates_.Add({state->certificate, signature});
    return SystemError::Success;
}

void FakeSignatureObjects::FreeCertificate(Certificate certificate) noexcept { certificates_.Remove(certificate); }

void FakeSignatureObjects::Close(Signature signature) noexcept {
    const auto& open = certificates_.All();
    if (std::any_of(open.begin(), open.end(),
                    [signature](const auto& certificate) { return certificate.second.signature == signature; })) {
        ++misuses_;
    }
    signatures_.Remove(signature);
}

void FakeSignatureObjects::PutSignature(const std::u16string& path, FakeCertificate certificate) {
    byPath_[SimpleLower(path)] = std::move(certificate);
}

CertificateHandle FakeSignatureObjects::OpenCertificate(FakeCertificate certificate) {
    return certificates_.Add({std::move(certificate), {}});
}

const FakeCertificate* FakeSignatureObjects::Find(Certificate certificate) {
    const CertificateState* state = certificates_.Find(certificate);
    return state == nullptr ? nullptr : &state->certificate;
}

}  // namespace tests
