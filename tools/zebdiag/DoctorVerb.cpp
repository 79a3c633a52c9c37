#include "tools/zebdiag/Doctor.h"
#include "tslib/Utf8.h"

namespace HVR::zebdiag {

using tsLib::ToUtf8;

namespace {

constexpr std::string_view kPlain = "\x1B[0m";

std::string_view ColourOf(Verdict verdict) {
    constexpr std::string_view kColours[] = {"\x1B[32m", "\x1B[33m", "\x1B[36m", "\x1B[31m"};
    return kColours[static_cast<std::size_t>(verdict)];
}

void PrintDiagnosis(const Diagnosis& diagnosis, const Output& output) {
    std::size_t counts[4]{};
    for (const Finding& finding : diagnosis.findings) {
        ++counts[static_cast<std::size_t>(finding.verdict)];
        std::string verdict(Name(finding.verdict));
        verdict.resize(11, ' ');
        if (output.IsColoured()) {
            verdict = std::string(ColourOf(finding.verdict)) + verdict + std::string(kPlain);
        }
        output.Line(verdict + finding.title + " (" + finding.id + ")");
        output.Line("           " + finding.fact);
        if (!finding.advice.empty()) {
            output.Line("           -> " + finding.advice);
        }
    }
    std::string sum;
    for (const Verdict verdict : {Verdict::Fault, Verdict::NotKnown, Verdict::Remark, Verdict::Fine}) {
        sum += (sum.empty() ? "" : ", ") + std::to_string(counts[static_cast<std::size_t>(verdict)]) + " " +
               std::string(Name(verdict));
    }
    output.Line(sum);
}

void WriteDiagnosis(const Diagnosis& diagnosis, const Output& output) {
    JsonList checks;
    for (const Finding& finding : diagnosis.findings) {
        checks.emplace_back(JsonObject{{"id", finding.id},
                                       {"title", finding.title},
                                       {"verdict", Name(finding.verdict)},
                                       {"fact", finding.fact},
                                       {"advice", finding.advice}});
    }
    output.Object({{"version", diagnosis.version},
                   {"library", ToUtf8(diagnosis.library)},
                   {"checks", std::move(checks)},
                   {"worst", Name(diagnosis.Worst())}});
}

}  // namespace

void AddDoctorVerb(Program& program, const tsLib::platform::Platform& platform, DoctorMachine& machine,
                   const FullPath& fullPath) {
    const Syntax verb{
        "doctor",
        "why the menu item is missing or the scan does not start",
        "Looks at everything that both need, in order, and tells for each check the verdict, the fact that was\n"
        "found and what to do. DLL is the library to look at; without it that is the registered one, or else\n"
        "zebshell2.dll beside this program. What cannot be looked at because of an earlier fault is \"not known\".\n"
        "Nothing is changed. Exit code by the worst finding: 0 fine or remarks, 1 a fault, 3 not known (and no\n"
        "fault). In colour on a terminal, unless NO_COLOR is set.",
        {{"DLL", "the library to look at"}}};
    program.Add(verb, [&platform, &machine, fullPath](const Given& given, const Output& output) {
        const std::u16string named = given.Text("DLL");
        if (given.Has("DLL") && named.empty()) {
            throw UsageError("DLL is empty");
        }
        const Diagnosis diagnosis = Diagnose(platform, machine, named.empty() ? named : fullPath(named));
        if (output.IsJson()) {
            WriteDiagnosis(diagnosis, output);
        } else {
            PrintDiagnosis(diagnosis, output);
        }
        const Verdict worst = diagnosis.Worst();
        return worst == Verdict::Fault ? ExitCode::No : worst == Verdict::NotKnown ? ExitCode::Error : ExitCode::Yes;
    });
}

}  // namespace HVR::zebdiag
