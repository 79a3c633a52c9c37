// The trust verifier.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <new>
#include <string>

#include "tslib/IVaneBaseImpl.h"
#include "tslib/IVerifyTrust.h"
#include "tslib/verifytrust/HashProvider.h"
#include "tslib/verifytrust/TrustProcessState.h"
#include "tslib/verifytrust/TrustServices.h"
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
    tsVerifyTrustImpl(const TrustServices& services, TrustProcessState& process,
                      const VerifierOptions& options) noexcept;

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
    // The boundary: what a body throws becomes a verdict.
    template <class Body>
    TrustResult Guarded(Body&& body) noexcept;
    TrustResult Traced(TrustResult verdict, TrustLevel level, std::u16string_view path) noexcept;

    TrustResult Verify(const char16_t* path, TrustLevel level, bool driverMode, bool& systemComponent);
    TrustResult VerifyFully(const std::u16string& path, TrustLevel level, bool driverMode, bool thorough,
                            bool wantSubject, FileFindings& findings);
    platform::SystemError ProcessPath(std::uint32_t processId, std::u16string& path);
    platform::SystemError ComServerPath(const std::u16string& classId, std::u16string& path);
    HashProvider* EnsureHashProvider();
    [[nodiscard]] std::int32_t RevocationMode() const noexcept;

    const TrustServices services_;
    TrustProcessState& process_;
    const VerifierOptions initial_;
    std::atomic<bool> alternatePolicy_;
    std::atomic<bool> useFileCache_;
    std::atomic<bool> useResultShortcut_;
    std::atomic<bool> providerMode2_;
    std::mutex hashProviderMutex_;
    std::unique_ptr<HashProvider> hashProvider_;  // once made, it stays for the verifier's life
};

template <class Body>
TrustResult tsVerifyTrustImpl::Guarded(Body&& body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return TrustResult::OutOfMemory;
    } catch (...) {
        services_.tracer.Error(TraceEvent::TrustUnexpectedFailure);
        return TrustResult::CannotDetermine;
    }
}

}  // namespace tsLib
