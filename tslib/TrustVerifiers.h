// Where trust verifiers come from, and the one question that they are made for.
#pragma once

#include <cstdint>

#include "tslib/IVerifyTrust.h"
#include "tslib/TrustResult.h"

namespace tsLib {

class TrustVerifiers {
public:
    // A new verifier with one reference that the caller releases; null when none could be made. Before anything else
    // Initialize(true) is called on it and must return 1. Any thread.
    [[nodiscard]] virtual IVerifyTrust* Create() noexcept = 0;
    // Whether those made now ask whether a certificate was revoked. With another answer, a verdict that was given may
    // not be given again. Any thread.
    [[nodiscard]] virtual bool AsksForRevocation() noexcept = 0;

protected:
    ~TrustVerifiers() = default;
};

// Whether a file may be used.
struct FileUse {
    bool judged = false;                                 // false: no verifier could be had
    TrustResult verdict = TrustResult::CannotDetermine;  // when judged

    [[nodiscard]] bool IsRefused() const noexcept { return judged && RefusesFile(verdict); }
};

// Makes a verifier for this file alone and asks it. What no verifier means is the caller's to say. Any thread.
[[nodiscard]] FileUse JudgeFile(TrustVerifiers& verifiers, const char16_t* path, TrustLevel level) noexcept;

}  // namespace tsLib
