#include "tslib/verifytrust/VerifyFile.h"

#include <cstddef>
#include <vector>

#include "tslib/IVerifyTrust.h"
#include "tslib/Tracer.h"

namespace tsLib {

using platform::SystemError;

namespace {

TrustResult CheckSigner(const platform::Platform& platform, const FileCheck& check, FileFindings& findings) {
    const bool throughCatalog = findings.catalog != nullptr;
    if (throughCatalog) {
        findings.flags |= kThroughCatalog;
    }
    // A catalog is opened in the form of an embedded signature, too. A platform that does not take its content for one
    // leaves the signer of such a file unknown.
    const std::u16string& signedFile = throughCatalog ? findings.catalog->Name() : check.file.Name();
    const Tracer tracer(platform.trace);
    const auto fails = [&](CheckedEvent<trace_table::Error, SystemError, std::u16string> event, SystemError error) {
        if (Failed(error)) {
            tracer.Error(event, error, signedFile);
        }
        return Failed(error);
    };
    platform::Signatures& signatures = platform.signatures;
    platform::OwnedSignature signature(signatures);
    if (fails(TraceEvent::TrustSignatureUnopened, signatures.Open(signedFile, signature.Receive()))) {
        return TrustResult::CannotDetermine;
    }
    findings.flags |= kSignatureOpened;

    std::uint32_t size{};
    if (fails(TraceEvent::TrustSignerUnread, signatures.SignerInfoSize(signature.Get(), size)) || size == 0) {
        return TrustResult::CannotDetermine;
    }
    std::vector<std::byte> signerInfo(size);
    if (fails(TraceEvent::TrustSignerUnread, signatures.SignerInfo(signature.Get(), signerInfo))) {
        return TrustResult::CannotDetermine;
    }
    platform::OwnedCertificate certificate(signatures);
    if (fails(TraceEvent::TrustSignerNotFound,
              signatures.FindSignerCertificate(signature.Get(), signerInfo, certificate.Receive()))) {
        return TrustResult::CannotDetermine;
    }
    findings.flags |= kSignerFound;

    findings.subject = ReadSubject(signatures, certificate.Get());
    const TrustResult verdict = JudgeSigner(platform, certificate.Get(), findings.subject, check.level,
                                            check.kind.driverMode, findings.flags, findings.systemComponent);
    tracer.Information(TraceEvent::TrustSignerJudged, findings.flags, check.level, verdict);
    return verdict;
}

}  // namespace

TrustResult VerifyFile(const platform::Platform& platform, const FileCheck& check, FileFindings& findings) {
    if (!check.file) {
        const Tracer tracer(platform.trace);
        std::uint32_t attributes{};
        if (const SystemError error = platform.files.Attributes(check.path, attributes); Failed(error)) {
            tracer.Information(TraceEvent::TrustFileNotFound, error, check.path);
            return TrustResult::FileError;
        }
        // What it is now says nothing of what it will be.
        tracer.Warning(TraceEvent::TrustFileNotHeld, check.file.Error(), check.path);
        return TrustResult::NotTrusted;
    }
    const TrustResult signature = CheckSignature(platform, check, findings);
    const bool refused = signature != TrustResult::Trusted;
    if (refused && !check.thorough) {
        return signature;
    }
    const TrustResult signer = CheckSigner(platform, check, findings);
    const bool keepsSignatureVerdict =
        signer == TrustResult::Trusted || (refused && signer == TrustResult::CannotDetermine);
    return keepsSignatureVerdict ? signature : signer;
}

}  // namespace tsLib
