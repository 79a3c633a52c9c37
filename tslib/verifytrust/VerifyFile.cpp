#include "tslib/verifytrust/VerifyFile.h"

#include <cstddef>
#include <memory>
#include <span>
#include <utility>

namespace tsLib {

using platform::SystemError;

namespace {

TrustResult JudgeSigner(const TrustServices& services, const FileCheck& check, bool wantSubject,
                        FileFindings& findings) {
    const bool throughCatalog = !findings.catalogPath.empty();
    if (throughCatalog) {
        findings.flags |= kThroughCatalog;
    }
    // A catalog is opened in the form of an embedded signature, too. A platform that does not take its content for one
    // leaves the signer of such a file unknown.
    const std::u16string& signedFile = throughCatalog ? findings.catalogPath : check.path;
    platform::OwnedSignature signature(services.signatures);
    if (const SystemError error = services.signatures.Open(signedFile, signature.Receive()); Failed(error)) {
        services.tracer.Error(TraceEvent::TrustSignatureUnopened, error, signedFile);
        return TrustResult::CannotDetermine;
    }
    findings.flags |= kSignatureOpened;

    std::uint32_t size = 0;
    SystemError error = services.signatures.SignerInfoSize(signature.Get(), size);
    if (Failed(error) || size == 0) {
        services.tracer.Error(TraceEvent::TrustSignerUnread, error, signedFile);
        return TrustResult::CannotDetermine;
    }
    const auto bytes = std::make_unique_for_overwrite<std::byte[]>(size);
    const std::span<std::byte> signerInfo(bytes.get(), size);
    error = services.signatures.SignerInfo(signature.Get(), signerInfo);
    if (Failed(error)) {
        services.tracer.Error(TraceEvent::TrustSignerUnread, error, signedFile);
        return TrustResult::CannotDetermine;
    }

    platform::OwnedCertificate certificate(services.signatures);
    error = services.signatures.FindSignerCertificate(signature.Get(), signerInfo, certificate.Receive());
    if (Failed(error)) {
        services.tracer.Error(TraceEvent::TrustSignerNotFound, error, signedFile);
        return TrustResult::CannotDetermine;
    }
    findings.flags |= kSignerFound;

    SignerTests tests(services.certificates, services.textRules, services.tracer);
    if (wantSubject) {
        findings.subject = tests.ReadSubject(certificate.Get());
    }
    const TrustResult verdict = tests.Judge(certificate.Get(), check.level, check.driverMode, findings.flags);
    services.tracer.Information(TraceEvent::TrustSignerJudged, findings.flags, check.level,
                                static_cast<std::uint32_t>(verdict));
    return verdict;
}

}  // namespace

TrustResult VerifyFile(const TrustServices& services, const FileCheck& check, bool wantSubject,
                       FileFindings& findings) {
    std::uint32_t attributes = 0;
    if (const SystemError error = services.files.Attributes(check.path, attributes); Failed(error)) {
        services.tracer.Information(TraceEvent::TrustFileNotFound, error, check.path);
        return TrustResult::FileError;
    }
    SignatureFinding signature = CheckSignature(services, check);
    findings.platformAnswer = signature.platformAnswer;
    findings.catalogPath = std::move(signature.catalogPath);
    const bool refused = signature.verdict != TrustResult::Trusted;
    if (signature.verdict == TrustResult::OutOfMemory || (refused && !check.thorough)) {
        return signature.verdict;
    }
    const TrustResult signer = JudgeSigner(services, check, wantSubject, findings);
    const bool keepsSignatureVerdict =
        signer == TrustResult::Trusted || (refused && signer == TrustResult::CannotDetermine);
    return keepsSignatureVerdict ? signature.verdict : signer;
}

}  // namespace tsLib
