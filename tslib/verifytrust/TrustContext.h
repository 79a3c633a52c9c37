// What all trust verifiers of a process share.
#pragma once

#include <atomic>
#include <optional>

#include "tslib/Isolation.h"
#include "tslib/TrustVerifiers.h"
#include "tslib/platform/Platform.h"
#include "tslib/verifytrust/HashProvider.h"
#include "tslib/verifytrust/VerificationCache.h"
#include "tslib/verifytrust/tsVerifyTrustPolicy.h"

namespace tsLib {

// One for each process, made by its composition root; it and what it is made with outlive the verifiers. Any thread.
struct TrustContext final : TrustVerifiers {
    // Without an installation (null) there is no policy object, and the alternate policy counts as on.
    TrustContext(const platform::Platform& thePlatform, Isolation* isolation, HashProviders& providers) noexcept
        : platform(thePlatform), hashProviders(providers), cache(platform.textRules, platform.trace) {
        if (isolation != nullptr) {
            policy.emplace(platform.registry, *isolation, platform.trace);
        }
    }
    TrustContext(const TrustContext&) = delete;
    TrustContext& operator=(const TrustContext&) = delete;

    // CreateTrustVerifierStatic with the options of the product.
    [[nodiscard]] IVerifyTrust* Create() noexcept override;
    [[nodiscard]] bool AsksForRevocation() noexcept override { return policy && !policy->IsAlternateTrustPolicy(); }

    const platform::Platform& platform;
    HashProviders& hashProviders;
    std::optional<tsVerifyTrustPolicy> policy;
    VerificationCache cache;
    // That the process was found trusted at level 3. Never reset, and stored without a lock: a race between threads
    // only repeats a check.
    std::atomic<bool> currentProcessTrusted{false};
    std::atomic<bool> parentProcessTrusted{false};
};

}  // namespace tsLib
