// Verdicts about the library's file, beside the platform's call alone.
#include "bench/shell/Rows.h"
#include "bench/shell/Shell.h"
#include "composition/ProductRuntime.h"
#include "tslib/VaneRef.h"
#include "tslib/platform/win32/WideText.h"

namespace bench {

namespace {

using tsLib::TrustLevel;

constexpr TrustLevel kWithoutRecord = 5;

class Verifier {
public:
    Verifier() : verifier_(HVR::ProductRuntime::Instance().TrustVerifiers().Create()) {
        if (!verifier_ || verifier_->Initialize(true) != 1) {
            throw Failure("no trust verifier");
        }
    }
    [[nodiscard]] bool Trusts(const std::wstring& path, TrustLevel level) const {
        const char16_t* const file = tsLib::platform::win32::FromWide(path.c_str());
        return verifier_->VerifyFile(file, level) == tsLib::TrustResult::Trusted;
    }

private:
    tsLib::VaneRef<tsLib::IVerifyTrust> verifier_;
};

template <class Call>
std::vector<double> Once(Call&& call) {
    const double begin = Now();
    if (!call(ProductFile(L"zebshell2.dll"))) {
        throw Failure("zebshell2.dll is not trusted");
    }
    return {Now() - begin};
}

}  // namespace

std::vector<double> FirstVerdict() {
    return Once([](const std::wstring& path) { return Verifier().Trusts(path, tsLib::kProductTrustLevel); });
}

std::vector<double> FirstBareVerify() {
    return Once([](const std::wstring& path) { return BareVerify(path); });
}

void MeasureVerdicts(Table& table) {
    const std::wstring path = ProductFile(L"zebshell2.dll");
    const Verifier verifier;
    table.Measure({
        InNewProcess({{"bare WinVerifyTrust, first of a process"}}, L"--first-bare-verify"),
        InNewProcess({{"verdict, cold: first of a process", "bare WinVerifyTrust, first of a process"}},
                     L"--first-verdict"),
    });
    table.Measure(
        {
            Timed({"bare WinVerifyTrust"}, [&] { return BareVerify(path); }),
            Timed({"verdict, warm, in full", "bare WinVerifyTrust"},
                  [&] { return verifier.Trusts(path, kWithoutRecord); }),
            Timed({"verdict, warm, with a record", "bare WinVerifyTrust"},
                  [&] { return verifier.Trusts(path, tsLib::kProductTrustLevel); }),
        },
        kManyTurns);
}

}  // namespace bench
