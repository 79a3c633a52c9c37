// The trust verifier.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "tslib/IVaneBaseImpl.h"
#include "tslib/IVerifyTrust.h"
#include "tslib/Tracer.h"
#include "tslib/platform/Boundary.h"
#include "tslib/verifytrust/HashProvider.h"
#include "tslib/verifytrust/TrustContext.h"
#include "tslib/verifytrust/VerifyFile.h"

namespace tsLib {

// A verifier's options at construction, which ResetSettings restores.
struct VerifierOptions {
    bool alternatePolicy = true;    // no revocation check; off: the whole chain is checked
    bool useFileCache = false;      // the verification cache
    bool useResultShortcut = true;  // the hash provider's kept findings
    bool providerMode2 = false;     // the hash provider's second kind of result
};

class tsVerifyTrustImpl : public IVaneBaseImpl<CVaneThreadSafeRefCount, IVerifyTrust, kIVerifyTrustId> {
public:
    tsVerifyTrustImpl(TrustContext& context, const VerifierOptions& options) noexcept;
    ~tsVerifyTrustImpl() override { delete hashProvider_.load(); }

    std::uint32_t Initialize(bool loadSettings) noexcept override;
    void ResetSettings() noexcept override;
    TrustResult VerifyFile(const char16_t* path, TrustLevel level) noexcept override;
    TrustResult VerifyFile(const char* path, TrustLevel level) noexcept override;
    TrustResult VerifyProcess(std::uint32_t processId, TrustLevel level) noexcept override;
    TrustResult VerifyCurrentProcess(TrustLevel level) noexcept override;
    TrustResult VerifyParentProcess(TrustLevel level) noexcept override;
    TrustResult VerifyModule(platform::ModuleHandle module, TrustLevel level) noexcept override;
    TrustResult VerifyFileThorough(const char16_t* path, TrustLevel level) noexcept override;
    TrustResult DescribeFile(const char16_t* path, TrustLevel level, bool driverMode, bool thorough,
                             TrustReport* report) noexcept override;
    TrustResult VerifyComServer(const Guid& classId, TrustLevel level) noexcept override;
    void SetAlternatePolicyOption(bool on) noexcept override { alternatePolicy_ = on; }
    bool GetAlternatePolicyOption() noexcept override { return alternatePolicy_; }
    void SetProviderMode2(bool on) noexcept override { providerMode2_ = on; }
    bool GetProviderMode2() noexcept override { return providerMode2_; }
    TrustResult VerifyFile(const char16_t* path, TrustLevel level, bool driverMode,
                           bool* systemComponent) noexcept override;
    TrustResult VerifyFile(const char* path, TrustLevel level, bool driverMode,
                           bool* systemComponent) noexcept override;
    TrustResult VerifyFile(const char16_t* path, TrustLevel level, bool driverMode) noexcept override;
    TrustResult VerifyFile(const char* path, TrustLevel level, bool driverMode) noexcept override;
    TrustResult VerifyFile(const char16_t* path, bool driverMode) noexcept override;
    TrustResult VerifyFile(const char* path, bool driverMode) noexcept override;

private:
    // The boundary of an operation that answers a verdict.
    template <class Body>
    TrustResult AtVerdictBoundary(Body&& body) const noexcept;
    // Returns the verdict. A null path is an empty one.
    TrustResult Traced(TrustResult verdict, TrustLevel level, const char16_t* path) const noexcept;
    // Verifies the file whose path `find` puts out, as it stands; FileError when it answers false, and has traced why.
    template <class Find>
    TrustResult VerifyFound(TrustLevel level, Find&& find) noexcept;
    [[nodiscard]] bool FindProcess(std::uint32_t processId, std::u16string& path) const;

    // The full form, with its shortcuts and without its boundary, for a path that is taken as it is.
    TrustResult Verify(const std::u16string& path, TrustLevel level, bool driverMode, bool& systemComponent);
    TrustResult VerifyThroughCache(const FileCheck& check, bool& systemComponent);
    // The full check, whose findings the provider may keep.
    TrustResult VerifyAndKeep(const FileCheck& check, FileFindings& findings);
    // The full check alone.
    TrustResult VerifyFully(const char16_t* path, TrustLevel level, bool driverMode, bool thorough,
                            FileFindings& findings) const;
    // Null when there is none.
    HashProvider* EnsureHashProvider() noexcept;
    [[nodiscard]] std::int32_t RevocationMode() const noexcept;

    TrustContext& context_;
    const platform::Platform& platform_;
    Tracer tracer_;
    const VerifierOptions initial_;
    std::atomic<bool> alternatePolicy_;
    std::atomic<bool> useFileCache_;
    std::atomic<bool> useResultShortcut_;
    std::atomic<bool> providerMode2_;
    std::atomic<HashProvider*> hashProvider_{nullptr};  // once made, it stays for the verifier's life
};

template <class Body>
TrustResult tsVerifyTrustImpl::AtVerdictBoundary(Body&& body) const noexcept {
    const auto unexpected = [this] {
        tracer_.Error(TraceEvent::TrustUnexpectedFailure);
        return TrustResult::CannotDetermine;
    };
    return AtBoundary(TrustResult::OutOfMemory, unexpected, body);
}

}  // namespace tsLib
