// What all verifiers of a process share.
#pragma once

#include <atomic>
#include <cstdint>

#include "tslib/Tracer.h"
#include "tslib/platform/TextRules.h"
#include "tslib/verifytrust/VerificationCache.h"

namespace tsLib {

// Made once by the composition root, before the first verifier; outlives them all. The flags are never reset: they are
// single stores without a lock, and a race between threads only repeats a check.
struct TrustProcessState {
    TrustProcessState(platform::TextRules& rules, Tracer tracer) noexcept : cache(rules, tracer) {}

    enum class Policy : std::uint8_t { Unread, Off, On };

    std::atomic<bool> currentProcessTrusted{false};  // at level 3
    std::atomic<bool> parentProcessTrusted{false};   // at level 3
    std::atomic<Policy> alternatePolicy{Policy::Unread};
    VerificationCache cache;
};

}  // namespace tsLib
