// Trust verifiers with a scripted verdict.
#pragma once

#include <functional>

#include "tslib/IVaneBaseImpl.h"
#include "tslib/TrustVerifiers.h"

namespace tests {

// One thread. What is asked of any of its verifiers is kept here.
class FakeTrustVerifiers final : public tsLib::TrustVerifiers {
public:
    [[nodiscard]] tsLib::IVerifyTrust* Create() noexcept override { return none ? nullptr : new Verifier(*this); }

    [[nodiscard]] bool AsksForRevocation() noexcept override { return asksForRevocation; }

    bool none = false;  // no verifier can be made
    bool asksForRevocation = false;
    std::uint32_t initializeAnswer = 1;
    tsLib::TrustResult verdict = tsLib::TrustResult::Trusted;
    std::function<void()> onVerify;  // runs where the file would be verified
    std::vector<bool> initialized;   // the argument of each Initialize
    struct Asked {
        std::u16string path;
        tsLib::TrustLevel level;
    };
    std::vector<Asked> asked;    // every file verified, in order
    std::size_t unprepared = 0;  // verifications before a successful Initialize
    std::size_t alive = 0;       // verifiers not released yet

private:
    // Asked of it are Initialize and the plainest way to verify a file; all else is nobody's business here.
    struct Verifier final
        : tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, tsLib::IVerifyTrust, tsLib::kIVerifyTrustId> {
        using TrustResult = tsLib::TrustResult;
        using TrustLevel = tsLib::TrustLevel;

        explicit Verifier(FakeTrustVerifiers& theScript) noexcept : script(theScript) { ++script.alive; }
        ~Verifier() override { --script.alive; }

        std::uint32_t Initialize(bool loadSettings) noexcept override {
            script.initialized.push_back(loadSettings);
            isReady = script.initializeAnswer == 1;
            return script.initializeAnswer;
        }
        TrustResult VerifyFile(const char16_t* path, TrustLevel level) noexcept override {
            script.unprepared += isReady ? 0U : 1U;
            script.asked.push_back({path, level});
            if (script.onVerify) {
                script.onVerify();
            }
            return script.verdict;
        }
#define UNASKED(result, operation) \
    result operation noexcept override { return result(); }
        UNASKED(void, ResetSettings())
        UNASKED(TrustResult, VerifyFile(const char*, TrustLevel))
        UNASKED(TrustResult, VerifyProcess(std::uint32_t, TrustLevel))
        UNASKED(TrustResult, VerifyCurrentProcess(TrustLevel))
        UNASKED(TrustResult, VerifyParentProcess(TrustLevel))
        UNASKED(TrustResult, VerifyModule(tsLib::platform::ModuleHandle, TrustLevel))
        UNASKED(TrustResult, VerifyFileThorough(const char16_t*, TrustLevel))
        UNASKED(TrustResult, DescribeFile(const char16_t*, TrustLevel, bool, bool, tsLib::TrustReport*))
        UNASKED(TrustResult, VerifyComServer(const tsLib::Guid&, TrustLevel))
        UNASKED(void, SetAlternatePolicyOption(bool))
        UNASKED(bool, GetAlternatePolicyOption())
        UNASKED(void, SetProviderMode2(bool))
        UNASKED(bool, GetProviderMode2())
        UNASKED(TrustResult, VerifyFile(const char16_t*, TrustLevel, bool, bool*))
        UNASKED(TrustResult, VerifyFile(const char*, TrustLevel, bool, bool*))
        UNASKED(TrustResult, VerifyFile(const char16_t*, TrustLevel, bool))
        UNASKED(TrustResult, VerifyFile(const char*, TrustLevel, bool))
        UNASKED(TrustResult, VerifyFile(const char16_t*, bool))
        UNASKED(TrustResult, VerifyFile(const char*, bool))
#undef UNASKED

        FakeTrustVerifiers& script;
        bool isReady = false;
    };
};

}  // namespace tests
