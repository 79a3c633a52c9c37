// What the trust verifiers of a process share, wired to Windows.
#pragma once

#include "composition/Win32Platform.h"
#include "tslib/LibrarySettings.h"
#include "tslib/verifytrust/HashProvider.h"
#include "tslib/verifytrust/TrustProcessState.h"
#include "tslib/verifytrust/TrustServices.h"
#include "tslib/verifytrust/tsVerifyTrustPolicy.h"

namespace HVR {

// What is passed must outlive it.
struct TrustRuntime {
    TrustRuntime(Win32Platform& platform, tsLib::LibrarySettings& settings) noexcept
        : state(platform.textRules, platform.tracer),
          policy(platform.registry, settings, state, platform.tracer),
          services{platform.files,        platform.pathForms,     platform.textRules,
                   platform.clock,        platform.systemInfo,    platform.modules,
                   platform.processes,    platform.registry,      platform.trustProvider,
                   platform.catalogAdmin, platform.catalogHasher, platform.signatures,
                   platform.certificates, hashProviders,          &policy,
                   platform.tracer} {}
    TrustRuntime(const TrustRuntime&) = delete;
    TrustRuntime& operator=(const TrustRuntime&) = delete;

    tsLib::TrustProcessState state;
    tsLib::tsVerifyTrustPolicy policy;
    tsLib::NullHashProviderFactory hashProviders;
    tsLib::TrustServices services;
};

}  // namespace HVR
