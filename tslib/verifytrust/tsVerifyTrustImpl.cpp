#include "tslib/verifytrust/tsVerifyTrustImpl.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <optional>
#include <string_view>

#include "tslib/verifytrust/NormalizedPath.h"
#include "tslib/verifytrust/ResultShortcut.h"

namespace tsLib {

using platform::SystemError;

namespace {

bool IsAbsent(const char16_t* path, TrustLevel level) noexcept {
    return path == nullptr || *path == u'\0' || level == 0;
}

// Refusals that are nothing out of the ordinary; verdicts beside 3 are not given at present.
bool IsOrdinaryRefusal(TrustResult verdict) noexcept {
    switch (static_cast<std::uint32_t>(verdict)) {
        case 3:
        case 11:
        case 13:
        case 14:
        case 18:
            return true;
        default:
            return false;
    }
}

}  // namespace

tsVerifyTrustImpl::tsVerifyTrustImpl(const TrustServices& services, TrustProcessState& process,
                                     const VerifierOptions& options) noexcept
    : services_(services),
      process_(process),
      initial_(options),
      alternatePolicy_(options.alternatePolicy),
      useFileCache_(options.useFileCache),
      useResultShortcut_(options.useResultShortcut),
      providerMode2_(options.providerMode2) {}

TrustResult tsVerifyTrustImpl::Traced(TrustResult verdict, TrustLevel level, std::u16string_view path) noexcept {
    const auto number = static_cast<std::uint32_t>(verdict);
    if (IsOrdinaryRefusal(verdict)) {
        services_.tracer.Verbose(TraceEvent::TrustRefused, number, level, path);
    } else if (verdict != TrustResult::Trusted) {
        services_.tracer.Error(TraceEvent::TrustRefused, number, level, path);
    }
    return verdict;
}

std::uint32_t tsVerifyTrustImpl::Initialize(bool loadSettings) noexcept {
    ResetSettings();
    if (loadSettings) {
        SetAlternatePolicyOption(services_.policy == nullptr || services_.policy->IsAlternateTrustPolicy());
    }
    try {
        (void)EnsureHashProvider();
    } catch (...) {
        services_.tracer.Warning(TraceEvent::TrustNoHashProvider);
    }
    return 1;
}

void tsVerifyTrustImpl::ResetSettings() noexcept {
    alternatePolicy_ = initial_.alternatePolicy;
    useFileCache_ = initial_.useFileCache;
    useResultShortcut_ = initial_.useResultShortcut;
    providerMode2_ = initial_.providerMode2;
}

HashProvider* tsVerifyTrustImpl::EnsureHashProvider() {
    const std::lock_guard lock(hashProviderMutex_);
    if (hashProvider_ == nullptr) {
        hashProvider_ = services_.hashProviders.Create();
    }
    return hashProvider_.get();
}

std::int32_t tsVerifyTrustImpl::RevocationMode() const noexcept {
    return alternatePolicy_ ? kRevocationNone : kRevocationWholeChain;
}

TrustResult tsVerifyTrustImpl::VerifyFully(const std::u16string& path, TrustLevel level, bool driverMode, bool thorough,
                                           bool wantSubject, FileFindings& findings) {
    const FileCheck check{path, level, driverMode, thorough, RevocationMode()};
    return tsLib::VerifyFile(services_, check, wantSubject, findings);
}

TrustResult tsVerifyTrustImpl::Verify(const char16_t* path, TrustLevel level, bool driverMode, bool& systemComponent) {
    if (IsAbsent(path, level)) {
        return TrustResult::InvalidArgument;
    }
    const std::u16string normalized = NormalizePath(services_.pathForms, services_.tracer, path);
    HashProvider* const provider = EnsureHashProvider();
    if (useResultShortcut_ && provider != nullptr && level != 5) {
        const auto mode = providerMode2_ ? HashResultMode::Mode2 : HashResultMode::Mode1;
        const auto verdict =
            VerdictFromShortcut(services_, *provider, {normalized, level, driverMode, mode}, systemComponent);
        if (verdict) {
            return *verdict;
        }
    }
    const bool useFileCache = useFileCache_;
    const std::uint8_t optionA = driverMode ? 1 : 0;
    const std::int32_t optionB = RevocationMode();
    if (useFileCache) {
        std::uint8_t extraFlag = 0;
        bool conflict = false;
        const TrustResult kept = process_.cache.Lookup(normalized, level, optionA, extraFlag, optionB, conflict);
        services_.tracer.Verbose(TraceEvent::TrustCacheAnswer, static_cast<std::uint32_t>(kept), level, conflict,
                                 normalized);
        // An entry that does not satisfy the level refuses, also where the levels are not comparable.
        if (kept == TrustResult::Trusted || kept == TrustResult::NotTrusted) {
            systemComponent = extraFlag != 0;
            return kept;
        }
    }
    FileFindings findings;
    const FileCheck check{normalized, level, driverMode, false, optionB};
    const TrustResult verdict = tsLib::VerifyFile(services_, check, false, findings);
    systemComponent = verdict == TrustResult::Trusted && (findings.flags & kSystemComponent) != 0;
    if (verdict == TrustResult::Trusted && useFileCache) {
        const TrustResult kept =
            process_.cache.Add(normalized, systemComponent ? 4 : level, optionA, systemComponent ? 1 : 0, optionB);
        if (kept != TrustResult::Trusted) {
            services_.tracer.Warning(TraceEvent::TrustCacheNotKept, static_cast<std::uint32_t>(kept), normalized);
        }
    }
    return verdict;
}

TrustResult tsVerifyTrustImpl::VerifyFile(const char16_t* path, TrustLevel level, bool driverMode,
                                          bool* systemComponent) noexcept {
    bool component = false;
    const TrustResult verdict = Guarded([&] { return Verify(path, level, driverMode, component); });
    if (systemComponent != nullptr) {
        *systemComponent = component && verdict == TrustResult::Trusted;
    }
    return Traced(verdict, level, path == nullptr ? std::u16string_view() : std::u16string_view(path));
}

TrustResult tsVerifyTrustImpl::VerifyFile(const char* path, TrustLevel level, bool driverMode,
                                          bool* systemComponent) noexcept {
    if (systemComponent != nullptr) {
        *systemComponent = false;
    }
    if (path == nullptr) {
        return Traced(TrustResult::InvalidArgument, level, {});
    }
    std::u16string wide;
    const TrustResult converted = Guarded([&] {
        const SystemError error = services_.textRules.FromNarrow(path, wide);
        if (Failed(error)) {
            services_.tracer.Warning(TraceEvent::TrustNarrowPathRefused, error);
            return TrustResult::InvalidArgument;
        }
        return TrustResult::Trusted;
    });
    return converted == TrustResult::Trusted ? VerifyFile(wide.c_str(), level, driverMode, systemComponent)
                                             : Traced(converted, level, {});
}

TrustResult tsVerifyTrustImpl::VerifyFile(const char16_t* path, TrustLevel level) noexcept {
    return VerifyFile(path, level, false, nullptr);
}
TrustResult tsVerifyTrustImpl::VerifyFile(const char* path, TrustLevel level) noexcept {
    return VerifyFile(path, level, false, nullptr);
}
TrustResult tsVerifyTrustImpl::VerifyFile(const char16_t* path, TrustLevel level, bool driverMode) noexcept {
    return VerifyFile(path, level, driverMode, nullptr);
}
TrustResult tsVerifyTrustImpl::VerifyFile(const char* path, TrustLevel level, bool driverMode) noexcept {
    return VerifyFile(path, level, driverMode, nullptr);
}
TrustResult tsVerifyTrustImpl::VerifyFile(const char16_t* path, bool driverMode) noexcept {
    return VerifyFile(path, kProductTrustLevel, driverMode, nullptr);
}
TrustResult tsVerifyTrustImpl::VerifyFile(const char* path, bool driverMode) noexcept {
    return VerifyFile(path, kProductTrustLevel, driverMode, nullptr);
}

TrustResult tsVerifyTrustImpl::VerifyFileThorough(const char16_t* path, TrustLevel level) noexcept {
    const TrustResult verdict = Guarded([&] {
        if (IsAbsent(path, level)) {
            return TrustResult::InvalidArgument;
        }
        FileFindings findings;
        return VerifyFully(NormalizePath(services_.pathForms, services_.tracer, path), level, false, true, false,
                           findings);
    });
    return Traced(verdict, level, path == nullptr ? std::u16string_view() : std::u16string_view(path));
}

TrustResult tsVerifyTrustImpl::DescribeFile(const char16_t* path, TrustLevel level, bool driverMode, bool thorough,
                                            TrustReport* report) noexcept {
    if (report == nullptr || report->size != sizeof(TrustReport)) {
        return Traced(TrustResult::InvalidArgument, level, {});
    }
    *report = {};
    report->size = sizeof(TrustReport);
    FileFindings findings;
    const TrustResult verdict = Guarded([&] {
        if (IsAbsent(path, level)) {
            return TrustResult::InvalidArgument;
        }
        return VerifyFully(NormalizePath(services_.pathForms, services_.tracer, path), level, driverMode, thorough,
                           true, findings);
    });
    const auto copy = []<std::size_t size>(std::u16string_view text, char16_t(&to)[size]) {
        to[text.copy(to, size - 1)] = u'\0';
    };
    const auto copyName = [&](SignerAttribute attribute, auto& to) {
        if (const auto& name = findings.subject[static_cast<std::size_t>(attribute)]) {
            copy(*name, to);
        }
    };
    report->flags = findings.flags;
    report->platformAnswer = findings.platformAnswer;
    report->systemComponent = verdict == TrustResult::Trusted && (findings.flags & kSystemComponent) != 0 ? 1 : 0;
    copy(findings.catalogPath, report->catalogPath);
    copyName(SignerAttribute::CommonName, report->commonName);
    copyName(SignerAttribute::OrganizationalUnit, report->organizationalUnit);
    copyName(SignerAttribute::Organization, report->organization);
    copyName(SignerAttribute::Locality, report->locality);
    copyName(SignerAttribute::State, report->state);
    copyName(SignerAttribute::Country, report->country);
    return Traced(verdict, level, path == nullptr ? std::u16string_view() : std::u16string_view(path));
}

}  // namespace tsLib
