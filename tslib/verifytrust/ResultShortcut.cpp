#include "tslib/verifytrust/ResultShortcut.h"

#include <memory>

#include "tslib/IVerifyTrust.h"
#include "tslib/platform/Boundary.h"
#include "tslib/verifytrust/ProviderTimer.h"

namespace tsLib {

using platform::SystemError;

namespace {

// Only a word that was read changes the output.
bool ReadWord(const platform::Platform& platform, HashProvider& provider, const ShortcutRequest& request,
              std::uint32_t& word) {
    const auto timed = [&](std::u16string_view what, auto&& call) {
        return TimedCall(platform, TraceEvent::TrustHashProviderSlow, what, request.file.Name(), call);
    };
    const auto absent = [&platform](SystemError error, std::uint32_t step) {
        Tracer(platform.trace).Verbose(TraceEvent::TrustShortcutAbsent, error, step);
        return false;
    };
    std::unique_ptr<HashRecord> record;
    SystemError error = timed(
        u"OpenRecord", [&] { return provider.OpenRecord(request.file, request.kind, kHashProviderName, record); });
    if (Failed(error) || record == nullptr) {
        return absent(error, 1);
    }
    std::unique_ptr<HashResult> result;
    error = timed(u"OpenResult", [&] { return record->OpenResult(request.mode, result); });
    if (Failed(error) || result == nullptr) {
        return absent(error, 2);
    }
    error = timed(u"ReadNumber", [&] { return result->ReadNumber(kVerifyTrustResultValue, word); });
    return Succeeded(error) || absent(error, 3);
}

}  // namespace

bool WordSatisfies(std::uint32_t word, TrustLevel level, bool driverMode) noexcept {
    switch (level) {
        case 4:
            return (word & kTestCPassed) != 0 && (!driverMode || (word & kDriverVerified) != 0);
        case 3:
            return (word & kTestBPassed) != 0;
        case 2:
            return (word & kTestAPassed) != 0;
        default:
            return (word & kSignatureOpened) != 0;
    }
}

std::optional<TrustResult> VerdictFromShortcut(const platform::Platform& platform, HashProvider& provider,
                                               const ShortcutRequest& request, bool& systemComponent) noexcept {
    const Tracer tracer(platform.trace);
    std::uint32_t word{};
    const auto thrown = [&tracer] {
        tracer.Warning(TraceEvent::TrustHashProviderThrew);
        return false;
    };
    if (!AtBoundary(thrown, [&] { return ReadWord(platform, provider, request, word); }) ||
        (word & kDoNotRelyOnCached) != 0) {
        return std::nullopt;
    }
    const bool driverMode = request.kind.driverMode;
    const auto verdict =
        WordSatisfies(word, request.level, driverMode) ? TrustResult::Trusted : TrustResult::NotTrusted;
    tracer.Verbose(TraceEvent::TrustShortcutAnswer, word, request.level, verdict);
    if (verdict == TrustResult::Trusted) {
        systemComponent = (word & kSystemComponent) != 0;
    } else if (driverMode) {
        return std::nullopt;
    }
    return verdict;
}

}  // namespace tsLib
