#include <array>
#include <memory>
#include <utility>

#include "tools/zebdiag/Verbs.h"
#include "tslib/IVerifyTrust.h"
#include "tslib/RegistryText.h"
#include "tslib/Utf8.h"
#include "tslib/VaneRef.h"

namespace HVR::zebdiag {

namespace {

using namespace tsLib::platform;
using tsLib::IVerifyTrust;
using tsLib::ToUtf8;
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
    std::uint32_t level = tsLib::kProductTrustLevel;
    bool driverMode = false;
    std::optional<std::u16string> path;   // nothing when the target leads to no file
    bool described = false;               // whether `report` holds findings
    std::optional<TrustResult> second{};  // the verdict of the look that made the report, when it is another one
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

// The names are arrays of a fixed size that end at a NUL.
std::string Utf8(const char16_t* text) { return ToUtf8(text); }

JsonObject ToJson(const Answer& answer) {
    JsonObject json;
    if (answer.path) {
        json["file"] = ToUtf8(*answer.path);
    }
    json["level"] = answer.level;
    json["driver"] = answer.driverMode;
    json["result"] = static_cast<std::uint32_t>(answer.verdict);
    json["name"] = tsLib::Name(answer.verdict);
    json["refused"] = tsLib::RefusesFile(answer.verdict);
    if (!answer.described) {
        return json;
    }
    if (answer.second) {
        json["secondResult"] = static_cast<std::uint32_t>(*answer.second);
    }
    const TrustReport& report = answer.report;
    json["flags"] = report.flags;
    JsonList findings;
    for (const NamedFlag& flag : kFlagNames) {
        if ((report.flags & flag.bits) == flag.bits) {
            findings.emplace_back(flag.name);
        }
    }
    json["findings"] = std::move(findings);
    if (const char* testD = TestD(answer)) {
        json["testD"] = testD;
    }
    json["platformAnswer"] = Hexadecimal(static_cast<std::uint32_t>(report.platformAnswer));
    json["throughCatalog"] = (report.flags & tsLib::kThroughCatalog) != 0;
    json["catalog"] = Utf8(report.catalogPath);
    json["signer"] = JsonObject{{"commonName", Utf8(report.commonName)},
                                {"organizationalUnit", Utf8(report.organizationalUnit)},
                                {"organization", Utf8(report.organization)},
                                {"locality", Utf8(report.locality)},
                                {"state", Utf8(report.state)},
                                {"country", Utf8(report.country)}};
    json["signerReadDespiteRefusal"] = answer.signerDespiteRefusal;
    return json;
}

void Print(const Answer& answer, const Output& output) {
    output.Line("file      " + (answer.path ? ToUtf8(*answer.path) : std::string("(not found)")));
    output.Line("verdict   " + std::string(tsLib::Name(answer.verdict)) + " (" +
                std::to_string(static_cast<std::uint32_t>(answer.verdict)) + ") at level " +
                std::to_string(answer.level) + (answer.driverMode ? ", as a driver" : "") +
                (tsLib::RefusesFile(answer.verdict) ? "; the product refuses this file" : ""));
    if (!answer.described) {
        return;
    }
    if (answer.second) {
        output.Line("again     " + std::string(tsLib::Name(*answer.second)) + " (" +
                    std::to_string(static_cast<std::uint32_t>(*answer.second)) +
                    "), by the look that the lines below are of");
    }
    const TrustReport& report = answer.report;
    std::string flags = "flags     " + Hexadecimal(report.flags);
    for (const NamedFlag& flag : kFlagNames) {
        if ((report.flags & flag.bits) == flag.bits) {
            flags += ' ';
            flags += flag.name;
        }
    }
    output.Line(flags);
    output.Line("platform  " + Hexadecimal(static_cast<std::uint32_t>(report.platformAnswer)));
    output.Line("catalog   " +
                ((report.flags & tsLib::kThroughCatalog) != 0 ? Utf8(report.catalogPath) : std::string("none")));
    if ((report.flags & tsLib::kSignerFound) == 0) {
        output.Line("signer    none");
        return;
    }
    const auto name = [](std::string_view key, const char16_t* value) { return std::string(key) + "=" + Utf8(value); };
    output.Line("signer    " + name("CN", report.commonName) + ", " + name("OU", report.organizationalUnit) + ", " +
                name("O", report.organization) + ", " + name("L", report.locality) + ", " + name("ST", report.state) +
                ", " + name("C", report.country) +
                (answer.signerDespiteRefusal ? " (read although the signature is refused)" : ""));
    const auto test = [&](std::string_view label, std::uint32_t bits) {
        return std::string(label) + ((report.flags & bits) == bits ? " passed" : " failed");
    };
    output.Line("tests     " + test("A", tsLib::kTestAPassed) + ", " + test("B", tsLib::kTestBPassed) + ", " +
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
    const TrustResult verdict = look(false);
    if (verdict == TrustResult::InvalidArgument) {
        return;
    }
    if (verdict != answer.verdict) {
        answer.second = verdict;
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

// The paths are for the report alone: the verdict is the verifier's, which finds the file by itself.
std::optional<std::u16string> ModulePath(const Platform& platform, ModuleHandle module) {
    std::u16string path;
    return Succeeded(platform.modules.FileName(module, 32768, path)) ? std::optional(path) : std::nullopt;
}

std::optional<std::u16string> ProcessPath(const Platform& platform, std::uint32_t processId) {
    if (processId == platform.processes.CurrentId()) {
        return ModulePath(platform, kMainExecutable);
    }
    std::u16string path;
    return Succeeded(platform.processes.ImageFileName(processId, path)) ? std::optional(path) : std::nullopt;
}

std::optional<std::u16string> ComServerPath(const Platform& platform, const tsLib::Guid& classId) {
    for (const char16_t* server : {u"\\InprocServer32", u"\\LocalServer32"}) {
        OwnedRegistryKey key(platform.registry);
        std::u16string path;
        if (Succeeded(platform.registry.OpenKey(RegistryRoot::ClassesRoot, u"CLSID\\" + tsLib::ToText(classId) + server,
                                                kKeyRead, key.Receive())) &&
            Succeeded(tsLib::ReadText(platform.registry, key.Get(), {}, path))) {
            return path;
        }
    }
    return std::nullopt;
}

// Asks the verifier about what is given. Fills in the verdict and the path.
void Ask(IVerifyTrust& verifier, const Platform& platform, const LoadedModules& findLoaded, const Given& given,
         Answer& answer) {
    if (given.Has("--pid")) {
        const auto processId = commandline::Number(given.Text("--pid"));
        if (!processId) {
            throw UsageError("--pid takes a process id");
        }
        answer.verdict = verifier.VerifyProcess(*processId, answer.level);
        answer.path = ProcessPath(platform, *processId);
    } else if (given.Has("--module")) {
        const std::u16string name = given.Text("--module");
        const auto module = findLoaded(name);
        if (!module) {
            throw UsageError("no module " + ToUtf8(name) + " is loaded in this process");
        }
        answer.verdict = verifier.VerifyModule(*module, answer.level);
        answer.path = ModulePath(platform, *module);
    } else if (given.Has("--clsid")) {
        const auto classId = tsLib::GuidFromText(given.Text("--clsid"));
        if (!classId) {
            throw UsageError("--clsid takes a class id in braces");
        }
        answer.verdict = verifier.VerifyComServer(*classId, answer.level);
        answer.path = ComServerPath(platform, *classId);
    } else {
        answer.path = given.Text("FILE");
        answer.verdict = verifier.VerifyFile(answer.path->c_str(), answer.level, answer.driverMode);
    }
}

}  // namespace

void AddVerifyVerb(Program& program, const Platform& platform, tsLib::TrustVerifiers& verifiers,
                   const LoadedModules& findLoaded) {
    const Syntax verb{
        "verify",
        "whether a file, process, loaded module or COM server is trusted, and why",
        "Takes one FILE, or one of --pid, --module and --clsid. Prints the verdict by name and number, the findings,\n"
        "the platform's last answer, whether a catalog was used, the signer's names and the signer tests. The\n"
        "product refuses a file only for \"not trusted\" (3). Exit code 0 when trusted, 1 for every other verdict.",
        {{"FILE", "the file to judge"},
         {"--pid", "the image file of a running process", "ID"},
         {"--module", "the file of a module loaded in zebdiag itself, such as wintrust.dll", "NAME"},
         {"--clsid", "the server registered for a COM class", "{CLASS-ID}"},
         {"--level", "how strictly the signer is judged, 1 to 5 (3: what the product asks for)", "N"},
         {"--driver", "judge FILE as a kernel driver"}}};
    program.Add(verb, [&platform, &verifiers, findLoaded](const Given& given, const Output& output) {
        if (given.Has("FILE") + given.Has("--pid") + given.Has("--module") + given.Has("--clsid") != 1) {
            throw UsageError("one FILE, or one of --pid, --module and --clsid, is needed");
        }
        Answer answer;
        answer.driverMode = given.Has("--driver");
        if (answer.driverMode && !given.Has("FILE")) {
            throw UsageError("--driver goes with a FILE alone");
        }
        if (given.Has("--level")) {
            const auto level = commandline::Number(given.Text("--level"));
            if (!level || *level < 1 || *level > 5) {
                throw UsageError("--level takes a number from 1 to 5");
            }
            answer.level = *level;
        }
        const tsLib::VaneRef<IVerifyTrust> verifier(verifiers.Create());
        if (!verifier || verifier->Initialize(true) != 1) {
            return output.Answer(ExitCode::Error, "no trust verifier could be made");
        }
        Ask(*verifier, platform, findLoaded, given, answer);
        Describe(*verifier, answer);
        if (output.IsJson()) {
            output.Object(ToJson(answer));
        } else {
            Print(answer, output);
        }
        return answer.verdict == TrustResult::Trusted ? ExitCode::Yes : ExitCode::No;
    });
}

}  // namespace HVR::zebdiag
