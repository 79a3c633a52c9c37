#include "tools/zebdiag/Examination.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "tslib/IVerifyTrust.h"
#include "tslib/Utf8.h"
#include "tslib/VaneRef.h"

namespace HVR::zebdiag {

using namespace tsLib::platform;
using tsLib::ToUtf8;
using tsLib::TraceEvent;
using tsLib::TrustResult;

namespace {

constexpr std::string_view kBecause = "not looked at, because of ";

}  // namespace

std::string ErrorText(SystemError error) { return "error " + std::to_string(Number(error)); }

std::string Joined(const std::vector<std::string>& texts, std::string_view between, std::size_t most) {
    std::string joined;
    for (std::size_t i = 0; i < std::min(texts.size(), most); ++i) {
        joined.append(i == 0 ? "" : between).append(texts[i]);
    }
    return texts.size() > most ? joined + ", and " + std::to_string(texts.size() - most) + " more" : joined;
}

void Examination::Add(const DoctorCheck& check, Verdict verdict, std::string fact, std::string advice) {
    diagnosis.findings.push_back(
        {std::string(check.id), std::string(check.title), verdict, std::move(fact), std::move(advice)});
}

void Examination::NotKnown(const DoctorCheck& check, const DoctorCheck& because) {
    const auto cause = std::ranges::find_if(diagnosis.findings, [&](const Finding& finding) {
        return finding.id == because.id && finding.fact.starts_with(kBecause);
    });
    Add(check, Verdict::NotKnown,
        cause != diagnosis.findings.end() ? cause->fact : std::string(kBecause) + std::string(because.id));
}

Verdict Examination::WorstOf(const DoctorCheck& check) const {
    Verdict worst = Verdict::Fine;
    for (const Finding& finding : diagnosis.findings) {
        worst = finding.id == check.id ? std::max(worst, finding.verdict) : worst;
    }
    return worst;
}

const DoctorCheck* Examination::FirstInTheWay(std::initializer_list<const DoctorCheck*> checks) const {
    const auto* const found =
        std::ranges::find_if(checks, [this](const DoctorCheck* one) { return WorstOf(*one) >= Verdict::NotKnown; });
    return found == checks.end() ? nullptr : *found;
}

void Examination::Judge(const DoctorCheck& check, const std::u16string& path) {
    const tsLib::VaneRef<tsLib::IVerifyTrust> verifier(sight.verifiers.Create());
    if (!verifier || verifier->Initialize(true) != 1) {
        Add(check, Verdict::NotKnown, "no trust verifier could be made");
        return;
    }
    const auto report = std::make_unique<tsLib::TrustReport>();
    report->size = sizeof(tsLib::TrustReport);
    const TrustResult verdict =
        verifier->DescribeFile(path.c_str(), tsLib::kProductTrustLevel, false, false, report.get());
    std::string fact = ToUtf8(path) + ": " + std::string(tsLib::Name(verdict)) + " (" +
                       std::to_string(static_cast<std::uint32_t>(verdict)) + ")";
    if ((report->flags & tsLib::kSignerFound) != 0) {
        fact += ", signed by \"" + ToUtf8(report->commonName) + "\"";
    }
    fact += ", the platform answers " + Hexadecimal(static_cast<std::uint32_t>(report->platformAnswer));
    if (verdict == TrustResult::Trusted) {
        Add(check, Verdict::Fine, fact);
    } else if (tsLib::RefusesFile(verdict) || verdict == TrustResult::FileError) {
        Add(check, Verdict::Fault, fact, std::string(kReinstallAdvice) + " zebdiag verify tells more.");
    } else {
        Add(check, Verdict::Remark, fact + "; the product uses such a file all the same",
            "Ask zebdiag verify what the platform answers.");
    }
}

bool Examination::Expands(const std::u16string& text, std::u16string& path) {
    sight.trace.Clear();
    return sight.expansion.Expand(text, path);
}

Unexpanded Examination::WhyUnexpanded() const {
    const KeptTrace::Record* const record =
        sight.trace.Find(TraceEvent::PathInputMissing, TraceEvent::PathMapKeyMissing);
    if (record == nullptr) {
        return {TraceEvent::PathUnexpectedFailure, {}, "memory ran out", {}};
    }
    const std::u16string first = record->texts.empty() ? u"" : record->texts.front();
    const std::string name = "%" + ToUtf8(first) + "%";
    const std::string error = "error " + std::to_string(record->number);
    switch (record->event) {
        case TraceEvent::PathTokenUnknown:
            return {record->event, first, name + " is not in the map and no built-in folder", {}};
        case TraceEvent::PathTokenMetAgain:
            return {record->event, first, name + " leads to itself", {}};
        case TraceEvent::PathFolderQueryFailed:
            return {record->event, first, "the folder of " + name + " cannot be read, " + error, {}};
        case TraceEvent::PathTooLong:
            return {record->event, first, "with " + name + " the path grows too long", {}};
        case TraceEvent::PathMapNotOpened:
            return {record->event, {}, "HKLM\\" + ToUtf8(first) + " cannot be opened, " + error, {}};
        default:
            return {record->event, {}, "there is a percent sign without its partner in " + ToUtf8(first), {}};
    }
}

}  // namespace HVR::zebdiag
