#include "tools/zebdiag/VerifyVerb.h"

#include <array>
#include <memory>
#include <utility>

#include "tools/zebdiag/JsonWriter.h"
#include "tslib/VaneRef.h"

namespace HVR::zebdiag {

namespace {

using tsLib::IVerifyTrust;
using tsLib::TrustReport;
using tsLib::TrustResult;

struct NamedFlag {
    std::uint32_t bits;
    std::string_view name;
};
constexpr std::array<NamedFlag, 8> kFlagNames{{{tsLib::kSignatureOpened, "signature-opened"},
                                               {tsLib::kTestAPassed, "test-A"},
                                               {tsLib::kTestBPassed, "test-B"},
                                               {tsLib::kTestCPassed, "test-C"},
                                               {tsLib::kSystemComponent, "system-component"},
                                               {tsLib::kDriverVerified, "driver-verified"},
                                               {tsLib::kThroughCatalog, "through-catalog"},
                                               {tsLib::kSignerFound, "signer-found"}}};

struct Answer {
    TrustResult verdict = TrustResult::FileError;
    std::uint32_t level = 0;
    bool driverMode = false;
    std::optional<std::u16string> path;  // nothing when the target leads to no file
    bool described = false;              // whether `report` holds findings
    TrustReport report{};
    bool signerDespiteRefusal = false;  // the names come from a second, thorough look
};

// Test D has no flag: it is made at level 5 alone, where it decides behind tests A and C. Null when it was not made.
const char* TestD(const Answer& answer) {
    const std::uint32_t before = tsLib::kTestAPassed | tsLib::kTestCPassed;
    if (answer.level != 5 || answer.driverMode || answer.signerDespiteRefusal ||
        (answer.report.flags & before) != before) {
        return nullptr;
    }
    return answer.verdict == TrustResult::Trusted ? "passed" : "failed";
}

void PrintJson(const Answer& answer, Console& console) {
    JsonWriter json;
    json.BeginObject();
    if (answer.path) {
        json.Text("file", *answer.path);
    }
    json.Number("level", answer.level).Bool("driver", answer.driverMode);
    json.Number("result", static_cast<std::uint32_t>(answer.verdict)).Text("name", tsLib::Name(answer.verdict));
    json.Bool("refused", tsLib::RefusesFile(answer.verdict));
    if (answer.described) {
        const TrustReport& report = answer.report;
        json.Number("flags", report.flags).BeginArray("findings");
        for (const NamedFlag& flag : kFlagNames) {
            if ((report.flags & flag.bits) == flag.bits) {
                json.Element(flag.name);
            }
        }
        json.EndArray();
        if (const char* testD = TestD(answer)) {
            json.Text("testD", std::string_view(testD));
        }
        json.Text("platformAnswer", Hexadecimal(static_cast<std::uint32_t>(report.platformAnswer)));
        json.Bool("throughCatalog", (report.flags & tsLib::kThroughCatalog) != 0);
        json.Text("catalog", std::u16string_view(report.catalogPath));
        json.BeginObject("signer");
        json.Text("commonName", std::u16string_view(report.commonName));
        json.Text("organizationalUnit", std::u16string_view(report.organizationalUnit));
        json.Text("organization", std::u16string_view(report.organization));
        json.Text("locality", std::u16string_view(report.locality));
        json.Text("state", std::u16string_view(report.state));
        json.Text("country", std::u16string_view(report.country)).EndObject();
        json.Bool("signerReadDespiteRefusal", answer.signerDespiteRefusal);
    }
    console.Out(json.EndObject().Str());
}

void PrintText(const Answer& answer, Console& console) {
    console.Out("file      " + (answer.path ? Utf8(*answer.path) : std::string("(not found)")));
    console.Out("verdict   " + std::string(tsLib::Name(answer.verdict)) + " (" +
                std::to_string(static_cast<std::uint32_t>(answer.verdict)) + ") at level " +
                std::to_string(answer.level) + (answer.driverMode ? ", as a driver" : "") +
                (tsLib::RefusesFile(answer.verdict) ? "; the product refuses this file" : ""));
    if (!answer.described) {
        return;
    }
    const TrustReport& report = answer.report;
    std::string flags = "flags     " + Hexadecimal(report.flags);
    for (const NamedFlag& flag : kFlagNames) {
        if ((report.flags & flag.bits) == flag.bits) {
            flags += ' ';
            flags += flag.name;
        }
    }
    console.Out(flags);
    console.Out("platform  " + Hexadecimal(static_cast<std::uint32_t>(report.platformAnswer)));
    console.Out("catalog   " + ((report.flags & tsLib::kThroughCatalog) != 0
                                    ? Utf8(std::u16string_view(report.catalogPath))
                                    : std::string("none")));
    if ((report.flags & tsLib::kSignerFound) == 0) {
        console.Out("signer    none");
        return;
    }
    const auto name = [](std::string_view key, const char16_t* value) {
        return std::string(key) + "=" + Utf8(std::u16string_view(value));
    };
    console.Out("signer    " + name("CN", report.commonName) + ", " + name("OU", report.organizationalUnit) + ", " +
                name("O", report.organization) + ", " + name("L", report.locality) + ", " + name("ST", report.state) +
                ", " + name("C", report.country) +
                (answer.signerDespiteRefusal ? " (read although the signature is refused)" : ""));
    const auto test = [&](std::string_view label, std::uint32_t bits) {
        return std::string(label) + ((report.flags & bits) == bits ? " passed" : " failed");
    };
    console.Out("tests     " + test("A", tsLib::kTestAPassed) + ", " + test("B", tsLib::kTestBPassed) + ", " +
                test("C", tsLib::kTestCPassed) + (TestD(answer) != nullptr ? std::string(", D ") + TestD(answer) : ""));
}

void Describe(IVerifyTrust& verifier, Answer& answer) {
    if (!answer.path) {
        return;
    }
    const auto report = std::make_unique<TrustReport>();
    const auto look = [&](bool thorough) {
        *report = TrustReport{};
        report->size = sizeof(TrustReport);
        return verifier.DescribeFile(answer.path->c_str(), answer.level, answer.driverMode, thorough, report.get());
    };
    if (look(false) == TrustResult::InvalidArgument) {
        return;
    }
    if ((report->flags & tsLib::kSignerFound) == 0) {
        const std::int32_t plainAnswer = report->platformAnswer;
        if (look(true) != TrustResult::InvalidArgument && (report->flags & tsLib::kSignerFound) != 0) {
            answer.signerDespiteRefusal = true;
        }
        report->platformAnswer = plainAnswer;
    }
    answer.report = *report;
    answer.described = true;
}

class VerifyVerb {
public:
    VerifyVerb(tsLib::TrustVerifierFactory& verifiers, VerifyTargets& targets)
        : verifiers_(&verifiers), targets_(&targets) {}

    ExitCode operator()(const CommandLine& line, Console& console) const {
        const std::size_t targets = line.operands.size() + std::size_t{line.Has(u"--pid")} +
                                    std::size_t{line.Has(u"--module")} + std::size_t{line.Has(u"--clsid")};
        if (targets != 1) {
            return UsageError(console, u"verify", "one FILE, or one of --pid, --module and --clsid, is needed");
        }
        Answer answer;
        answer.driverMode = line.Has(u"--driver");
        if (answer.driverMode && line.operands.empty()) {
            return UsageError(console, u"verify", "--driver goes with a FILE alone");
        }
        answer.level = tsLib::kProductTrustLevel;
        if (const auto* level = line.Value(u"--level")) {
            const auto number = Number(*level);
            if (!number || *number < 1 || *number > 5) {
                return UsageError(console, u"verify", "--level takes a number from 1 to 5");
            }
            answer.level = *number;
        }
        const tsLib::VaneRef<IVerifyTrust> verifier(verifiers_->Create());
        if (!verifier || verifier->Initialize(true) != 1) {
            console.Err("zebdiag verify: no trust verifier could be made");
            return ExitCode::Error;
        }
        if (const auto mistake = Ask(*verifier, line, answer)) {
            return UsageError(console, u"verify", *mistake);
        }
        Describe(*verifier, answer);
        if (line.Has(u"--json")) {
            PrintJson(answer, console);
        } else {
            PrintText(answer, console);
        }
        return answer.verdict == TrustResult::Trusted ? ExitCode::Yes : ExitCode::No;
    }

private:
    // Fills in the verdict and the path; returns what is wrong with the command line, if anything.
    std::optional<std::string> Ask(IVerifyTrust& verifier, const CommandLine& line, Answer& answer) const {
        if (const auto* pid = line.Value(u"--pid")) {
            const auto number = Number(*pid);
            if (!number) {
                return "--pid takes a process id";
            }
            answer.verdict = verifier.VerifyProcess(*number, answer.level);
            answer.path = targets_->ProcessPath(*number);
        } else if (const auto* module = line.Value(u"--module")) {
            const auto handle = targets_->LoadedModule(*module);
            if (!handle) {
                return "no module " + Utf8(*module) + " is loaded in this process";
            }
            answer.verdict = verifier.VerifyModule(*handle, answer.level);
            answer.path = targets_->ModulePath(*handle);
        } else if (const auto* classId = line.Value(u"--clsid")) {
            const auto guid = tsLib::GuidFromText(*classId);
            if (!guid) {
                return "--clsid takes a class id in braces";
            }
            answer.verdict = verifier.VerifyComServer(*guid, answer.level);
            answer.path = targets_->ComServerPath(*guid);
        } else {
            answer.path = line.operands.front();
            answer.verdict = verifier.VerifyFile(answer.path->c_str(), answer.level, answer.driverMode);
        }
        return std::nullopt;
    }

    tsLib::TrustVerifierFactory* verifiers_;
    VerifyTargets* targets_;
};

}  // namespace

Verb MakeVerifyVerb(tsLib::TrustVerifierFactory& verifiers, VerifyTargets& targets) {
    return {u"verify",
            "FILE | --pid ID | --module NAME | --clsid {CLASS-ID} [--level N] [--driver]",
            "whether a file, process, loaded module or COM server is trusted, and why",
            "  --level N        how strictly the signer is judged, 1 to 5 (3: what the product asks for)\n"
            "  --driver         judge FILE as a kernel driver\n"
            "  --pid ID         the image file of a running process\n"
            "  --module NAME    the file of a module loaded in zebdiag itself, such as wintrust.dll\n"
            "  --clsid {ID}     the server registered for a COM class\n"
            "\n"
            "Prints the verdict by name and number, the findings, the platform's last answer, whether a catalog was\n"
            "used, the signer's names and the signer tests. The product refuses a file only for \"not trusted\" (3).\n"
            "Exit code 0 when trusted, 1 for every other verdict.",
            WithCommonOptions(
                {{u"--level", true}, {u"--driver"}, {u"--pid", true}, {u"--module", true}, {u"--clsid", true}}),
            VerifyVerb(verifiers, targets)};
}

}  // namespace HVR::zebdiag
