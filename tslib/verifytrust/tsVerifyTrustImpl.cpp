#include "tslib/verifytrust/tsVerifyTrustImpl.h"

#include <cstddef>
#include <string_view>

#include "tslib/verifytrust/NormalizedPath.h"
#include "tslib/verifytrust/ResultShortcut.h"

namespace tsLib {

using platform::SystemError;

namespace {

bool IsAbsent(const char16_t* path, TrustLevel level) noexcept {
    return path == nullptr || *path == u'\0' || level == 0;
}

bool IsSystemComponent(TrustResult verdict, const FileFindings& findings) noexcept {
    return verdict == TrustResult::Trusted && findings.systemComponent;
}

}  // namespace

tsVerifyTrustImpl::tsVerifyTrustImpl(TrustContext& context, const VerifierOptions& options) noexcept
    : context_(context),
      platform_(context.platform),
      tracer_(context.platform.trace),
      initial_(options),
      alternatePolicy_(options.alternatePolicy),
      useFileCache_(options.useFileCache),
      useResultShortcut_(options.useResultShortcut),
      providerMode2_(options.providerMode2) {}

TrustResult tsVerifyTrustImpl::Traced(TrustResult verdict, TrustLevel level, const char16_t* path) const noexcept {
    const std::u16string_view text = path == nullptr ? std::u16string_view() : path;
    if (verdict == TrustResult::NotTrusted) {  // nothing out of the ordinary
        tracer_.Verbose(TraceEvent::TrustRefused, verdict, level, text);
    } else if (verdict != TrustResult::Trusted) {
        tracer_.Error(TraceEvent::TrustRefused, verdict, level, text);
    }
    return verdict;
}

std::uint32_t tsVerifyTrustImpl::Initialize(bool loadSettings) noexcept {
    ResetSettings();
    if (loadSettings) {
        SetAlternatePolicyOption(!context_.policy || context_.policy->IsAlternateTrustPolicy());
    }
    (void)EnsureHashProvider();
    return 1;
}

void tsVerifyTrustImpl::ResetSettings() noexcept {
    alternatePolicy_ = initial_.alternatePolicy;
    useFileCache_ = initial_.useFileCache;
    useResultShortcut_ = initial_.useResultShortcut;
    providerMode2_ = initial_.providerMode2;
}

// Without a lock, for making one is others' code: of two that are made at the same time one goes again.
HashProvider* tsVerifyTrustImpl::EnsureHashProvider() noexcept {
    if (HashProvider* const known = hashProvider_.load(std::memory_order_acquire); known != nullptr) {
        return known;
    }
    std::unique_ptr<HashProvider> made =
        AtBoundary([] { return std::unique_ptr<HashProvider>(); }, [this] { return context_.hashProviders.Create(); });
    if (made == nullptr) {
        tracer_.Warning(TraceEvent::TrustNoHashProvider);
        return nullptr;
    }
    HashProvider* expected = nullptr;
    return hashProvider_.compare_exchange_strong(expected, made.get(), std::memory_order_acq_rel) ? made.release()
                                                                                                  : expected;
}

std::int32_t tsVerifyTrustImpl::RevocationMode() const noexcept {
    return alternatePolicy_ ? kRevocationNone : kRevocationWholeChain;
}

TrustResult tsVerifyTrustImpl::Verify(const std::u16string& path, TrustLevel level, bool driverMode,
                                      bool& systemComponent) {
    // A kept word is asked for by the handle alone.
    platform::HeldFile file(platform_.files, path, platform::HeldFile::What::FileAlone);
    const CheckKind kind{driverMode, RevocationMode()};
    HashProvider* const provider = EnsureHashProvider();
    if (useResultShortcut_ && provider != nullptr && level != 5) {
        if (!file) {
            tracer_.Information(TraceEvent::TrustShortcutUnopened, file.Error(), path);
            return TrustResult::FileError;
        }
        const auto mode = providerMode2_ ? HashResultMode::Mode2 : HashResultMode::Mode1;
        if (const auto verdict =
                VerdictFromShortcut(platform_, *provider, {file, level, kind, mode}, systemComponent)) {
            return *verdict;
        }
    }
    file.HoldName();
    const FileCheck check{path, file, level, kind, false};
    if (useFileCache_) {
        return VerifyThroughCache(check, systemComponent);
    }
    FileFindings findings;
    const TrustResult verdict = VerifyAndKeep(check, findings);
    systemComponent = IsSystemComponent(verdict, findings);
    return verdict;
}

TrustResult tsVerifyTrustImpl::VerifyThroughCache(const FileCheck& check, bool& systemComponent) {
    const std::uint8_t optionA = check.kind.driverMode ? 1 : 0;
    const std::int32_t optionB = check.kind.revocationMode;
    std::uint8_t extraFlag{};
    bool conflict{};
    TrustResult kept = context_.cache.Lookup(check.path, check.level, optionA, extraFlag, optionB, conflict);
    tracer_.Verbose(TraceEvent::TrustCacheAnswer, kept, check.level, conflict, check.path);
    // An entry that does not satisfy the level refuses, also where the levels are not comparable.
    if (kept == TrustResult::Trusted || kept == TrustResult::NotTrusted) {
        systemComponent = extraFlag != 0;
        return kept;
    }
    FileFindings findings;
    const TrustResult verdict = VerifyAndKeep(check, findings);
    systemComponent = IsSystemComponent(verdict, findings);
    if (verdict == TrustResult::Trusted) {
        // The bit needs test C too, the caller's flag does not.
        const TrustLevel level = (findings.flags & kSystemComponent) != 0 ? 4 : check.level;
        kept = context_.cache.Add(check.path, level, optionA, systemComponent ? 1 : 0, optionB);
        if (kept != TrustResult::Trusted) {
            tracer_.Warning(TraceEvent::TrustCacheNotKept, kept, check.path);
        }
    }
    return verdict;
}

TrustResult tsVerifyTrustImpl::VerifyAndKeep(const FileCheck& check, FileFindings& findings) {
    const TrustResult verdict = tsLib::VerifyFile(platform_, check, findings);
    // A catalog may go, and says nothing at level 3. And the word has no place for a system component without test C.
    const bool isWhole = findings.systemComponent == ((findings.flags & kSystemComponent) != 0);
    HashProvider* const provider = hashProvider_.load(std::memory_order_acquire);
    if (verdict == TrustResult::Trusted && findings.catalog == nullptr && isWhole && provider != nullptr) {
        const auto thrown = [this] { tracer_.Warning(TraceEvent::TrustHashProviderThrew); };
        AtBoundary(thrown, [&] { provider->Keep(check.file, check.kind, findings.flags); });
    }
    return verdict;
}

TrustResult tsVerifyTrustImpl::VerifyFile(const char16_t* path, TrustLevel level, bool driverMode,
                                          bool* systemComponent) noexcept {
    bool component = false;
    const TrustResult verdict = AtVerdictBoundary([&] {
        return IsAbsent(path, level) ? TrustResult::InvalidArgument
                                     : Verify(NormalizePath(platform_, path), level, driverMode, component);
    });
    if (systemComponent != nullptr) {
        *systemComponent = component && verdict == TrustResult::Trusted;
    }
    return Traced(verdict, level, path);
}

TrustResult tsVerifyTrustImpl::VerifyFile(const char* path, TrustLevel level, bool driverMode,
                                          bool* systemComponent) noexcept {
    if (systemComponent != nullptr) {
        *systemComponent = false;
    }
    std::u16string wide;
    const TrustResult converted = AtVerdictBoundary([&] {
        if (path == nullptr) {
            return TrustResult::InvalidArgument;
        }
        const SystemError error = platform_.textRules.FromNarrow(path, wide);
        if (Failed(error)) {
            tracer_.Warning(TraceEvent::TrustNarrowPathRefused, error);
        }
        return Failed(error) ? TrustResult::InvalidArgument : TrustResult::Trusted;
    });
    return converted == TrustResult::Trusted ? VerifyFile(wide.c_str(), level, driverMode, systemComponent)
                                             : Traced(converted, level, nullptr);
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

TrustResult tsVerifyTrustImpl::VerifyFully(const char16_t* path, TrustLevel level, bool driverMode, bool thorough,
                                           FileFindings& findings) const {
    if (IsAbsent(path, level)) {
        return TrustResult::InvalidArgument;
    }
    const std::u16string normalized = NormalizePath(platform_, path);
    const platform::HeldFile file(platform_.files, normalized);
    return tsLib::VerifyFile(platform_, {normalized, file, level, {driverMode, RevocationMode()}, thorough}, findings);
}

TrustResult tsVerifyTrustImpl::VerifyFileThorough(const char16_t* path, TrustLevel level) noexcept {
    const TrustResult verdict = AtVerdictBoundary([&] {
        FileFindings findings;
        return VerifyFully(path, level, false, true, findings);
    });
    return Traced(verdict, level, path);
}

TrustResult tsVerifyTrustImpl::DescribeFile(const char16_t* path, TrustLevel level, bool driverMode, bool thorough,
                                            TrustReport* report) noexcept {
    if (report == nullptr || report->size != sizeof(TrustReport)) {
        return Traced(TrustResult::InvalidArgument, level, path);
    }
    *report = {};
    report->size = sizeof(TrustReport);
    FileFindings findings;
    const TrustResult verdict =
        AtVerdictBoundary([&] { return VerifyFully(path, level, driverMode, thorough, findings); });
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
    report->systemComponent = IsSystemComponent(verdict, findings) ? 1 : 0;
    copy(findings.catalogPath, report->catalogPath);
    copyName(SignerAttribute::CommonName, report->commonName);
    copyName(SignerAttribute::OrganizationalUnit, report->organizationalUnit);
    copyName(SignerAttribute::Organization, report->organization);
    copyName(SignerAttribute::Locality, report->locality);
    copyName(SignerAttribute::State, report->state);
    copyName(SignerAttribute::Country, report->country);
    return Traced(verdict, level, path);
}

}  // namespace tsLib
