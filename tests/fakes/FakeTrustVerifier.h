// Trust verifiers with a scripted verdict, and one without.
#pragma once

#include <functional>
#include <new>
#include <string>
#include <vector>

#include "tslib/IVaneBaseImpl.h"
#include "tslib/TrustVerifiers.h"

namespace tests {

// A verifier that keeps which operation was called last, by its slot in the table, and does nothing.
class IdleTrustVerifier
    : public tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, tsLib::IVerifyTrust, tsLib::kIVerifyTrustId> {
public:
    using TrustResult = tsLib::TrustResult;
    using TrustLevel = tsLib::TrustLevel;

#define SLOT(number, result, operation)  \
    result operation noexcept override { \
        slot = number;                   \
        return result();                 \
    }
    SLOT(3, std::uint32_t, Initialize(bool))
    SLOT(4, void, ResetSettings())
    SLOT(5, TrustResult, VerifyFile(const char16_t*, TrustLevel))
    SLOT(6, TrustResult, VerifyFile(const char*, TrustLevel))
    SLOT(7, TrustResult, VerifyProcess(std::uint32_t, TrustLevel))
    SLOT(8, TrustResult, VerifyCurrentProcess(TrustLevel))
    SLOT(9, TrustResult, VerifyParentProcess(TrustLevel))
    SLOT(10, TrustResult, VerifyModule(tsLib::platform::ModuleHandle, TrustLevel))
    SLOT(11, TrustResult, VerifyFileThorough(const char16_t*, TrustLevel))
    SLOT(12, TrustResult, DescribeFile(const char16_t*, TrustLevel, bool, bool, tsLib::TrustReport*))
    SLOT(13, TrustResult, VerifyComServer(const tsLib::Guid&, TrustLevel))
    SLOT(14, void, SetAlternatePolicyOption(bool))
    SLOT(15, bool, GetAlternatePolicyOption())
    SLOT(16, void, SetProviderMode2(bool))
    SLOT(17, bool, GetProviderMode2())
    SLOT(18, TrustResult, VerifyFile(const char16_t*, TrustLevel, bool, bool*))
    SLOT(19, TrustResult, VerifyFile(const char*, TrustLevel, bool, bool*))
    SLOT(20, TrustResult, VerifyFile(const char16_t*, TrustLevel, bool))
    SLOT(21, TrustResult, VerifyFile(const char*, TrustLevel, bool))
    SLOT(22, TrustResult, VerifyFile(const char16_t*, bool))
    SLOT(23, TrustResult, VerifyFile(const char*, bool))
#undef SLOT
    int slot = 0;
};

// One thread. What is asked of any of its verifiers is kept here.
class FakeTrustVerifiers final : public tsLib::TrustVerifiers {
public:
    [[nodiscard]] tsLib::IVerifyTrust* Create() noexcept override {
        return none ? nullptr : new (std::nothrow) Verifier(*this);
    }

    bool none = false;  // no verifier can be made
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
    using TrustResult = tsLib::TrustResult;
    using TrustLevel = tsLib::TrustLevel;

    class Verifier final : public IdleTrustVerifier {
    public:
        using IdleTrustVerifier::VerifyFile;
        explicit Verifier(FakeTrustVerifiers& script) noexcept : script_(script) { ++script_.alive; }
        ~Verifier() override { --script_.alive; }

        std::uint32_t Initialize(bool loadSettings) noexcept override try {
            script_.initialized.push_back(loadSettings);
            ready_ = script_.initializeAnswer == 1;
            return script_.initializeAnswer;
        } catch (const std::bad_alloc&) {
            return 0;
        }
        TrustResult VerifyFile(const char16_t* path, TrustLevel level) noexcept override try {
            script_.unprepared += ready_ ? 0U : 1U;
            script_.asked.push_back({path, level});
            if (script_.onVerify) {
                script_.onVerify();
            }
            return script_.verdict;
        } catch (const std::bad_alloc&) {
            return TrustResult::OutOfMemory;
        }

    private:
        FakeTrustVerifiers& script_;
        bool ready_ = false;
    };
};

}  // namespace tests
