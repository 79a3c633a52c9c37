// A trust verifier with a scripted verdict, and its factory.
#pragma once

#include <functional>
#include <new>
#include <string>
#include <vector>

#include "tslib/IVaneBaseImpl.h"
#include "tslib/TrustVerifierFactory.h"

namespace tests {

// One thread. What is asked of any of its verifiers is kept here.
class FakeTrustVerifierFactory final : public tsLib::TrustVerifierFactory {
public:
    struct Asked {
        std::u16string path;
        tsLib::TrustLevel level;
    };

    [[nodiscard]] tsLib::IVerifyTrust* Create() noexcept override;

    bool none = false;  // no verifier can be made
    std::uint32_t initializeAnswer = 1;
    tsLib::TrustResult verdict = tsLib::TrustResult::Trusted;
    std::function<void()> onVerify;  // runs where the file would be verified
    std::vector<bool> initialized;   // the argument of each Initialize
    std::vector<Asked> asked;        // every file verified, in order
    std::size_t unprepared = 0;      // verifications before a successful Initialize
    std::size_t alive = 0;           // verifiers not released yet
};

class FakeTrustVerifier final
    : public tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, tsLib::IVerifyTrust, tsLib::kIVerifyTrustId> {
public:
    using TrustResult = tsLib::TrustResult;
    using TrustLevel = tsLib::TrustLevel;

    explicit FakeTrustVerifier(FakeTrustVerifierFactory& script) noexcept : script_(script) { ++script_.alive; }
    ~FakeTrustVerifier() override { --script_.alive; }

    std::uint32_t Initialize(bool loadSettings) noexcept override {
        try {
            script_.initialized.push_back(loadSettings);
        } catch (const std::bad_alloc&) {
            return 0;
        }
        ready_ = script_.initializeAnswer == 1;
        return script_.initializeAnswer;
    }
    TrustResult VerifyFile(const char16_t* path, TrustLevel level) noexcept override {
        script_.unprepared += ready_ ? 0U : 1U;
        try {
            script_.asked.push_back({path, level});
        } catch (const std::bad_alloc&) {
            return TrustResult::OutOfMemory;
        }
        if (script_.onVerify) {
            script_.onVerify();
        }
        return script_.verdict;
    }

    // Everything else is asked by nobody outside the trust subsystem.
    void ResetSettings() noexcept override {}
    TrustResult VerifyFile(const char*, TrustLevel) noexcept override { return TrustResult::CannotDetermine; }
    TrustResult VerifyProcess(std::uint32_t, TrustLevel) noexcept override { return TrustResult::CannotDetermine; }
    TrustResult VerifyCurrentProcess(TrustLevel) noexcept override { return TrustResult::CannotDetermine; }
    TrustResult VerifyParentProcess(TrustLevel) noexcept override { return TrustResult::CannotDetermine; }
    TrustResult VerifyModule(tsLib::platform::ModuleHandle, TrustLevel) noexcept override {
        return TrustResult::CannotDetermine;
    }
    TrustResult VerifyFileThorough(const char16_t*, TrustLevel) noexcept override {
        return TrustResult::CannotDetermine;
    }
    TrustResult DescribeFile(const char16_t*, TrustLevel, bool, bool, tsLib::TrustReport*) noexcept override {
        return TrustResult::CannotDetermine;
    }
    TrustResult VerifyComServer(const tsLib::Guid&, TrustLevel) noexcept override {
        return TrustResult::CannotDetermine;
    }
    void SetAlternatePolicyOption(bool) noexcept override {}
    bool GetAlternatePolicyOption() noexcept override { return true; }
    void SetProviderMode2(bool) noexcept override {}
    bool GetProviderMode2() noexcept override { return false; }
    TrustResult VerifyFile(const char16_t*, TrustLevel, bool, bool*) noexcept override {
        return TrustResult::CannotDetermine;
    }
    TrustResult VerifyFile(const char*, TrustLevel, bool, bool*) noexcept override {
        return TrustResult::CannotDetermine;
    }
    TrustResult VerifyFile(const char16_t*, TrustLevel, bool) noexcept override { return TrustResult::CannotDetermine; }
    TrustResult VerifyFile(const char*, TrustLevel, bool) noexcept override { return TrustResult::CannotDetermine; }
    TrustResult VerifyFile(const char16_t*, bool) noexcept override { return TrustResult::CannotDetermine; }
    TrustResult VerifyFile(const char*, bool) noexcept override { return TrustResult::CannotDetermine; }

private:
    FakeTrustVerifierFactory& script_;
    bool ready_ = false;
};

inline tsLib::IVerifyTrust* FakeTrustVerifierFactory::Create() noexcept {
    return none ? nullptr : new (std::nothrow) FakeTrustVerifier(*this);
}

}  // namespace tests
