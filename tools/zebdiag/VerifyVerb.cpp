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

// The names are arrays of a fixed size that end at a NUL.
std::string Utf8(const char16_t* text) { return ToUtf8(text); }

Json ToJson(const Answer& answer) {
    Json json = Json::object();
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
    const TrustReport& report = answer.report;
    json["flags"] = report.flags;
    json["findings"] = Json::array();
    for (const NamedFlag& flag : kFlagNames) {
        if ((report.flags & flag.bits) == flag.bits) {
            json["findings"].push_back(flag.name);
        }
    }
    if (const char* testD = TestD(answer)) {
        json["testD"] = testD;
    }
    json["platformAnswer"] = Hexadecimal(static_cast<std::uint32_t>(report.platformAnswer));
    json["throughCatalog"] = (report.flags & tsLib::kThroughCatalog) != 0;
    json["catalog"] = Utf8(report.catalogPath);
    json["signer"] = {{"commonName", Utf8(report.commonName)},
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

// Finds what the verifier is to be asked about, and asks it. The paths are for the report alone: the verdict is the
// verifier's, which finds the file by itself.
class VerifyVerb {
public:
    VerifyVerb(CLI::App& verb, const Platform& platform, tsLib::TrustVerifiers& verifiers, LoadedModules findLoaded)
        : platform_(&platform),
          verifiers_(&verifiers),
          findLoaded_(std::move(findLoaded)),
          file_(verb.add_option("FILE", "the file to judge")),
          pid_(verb.add_option("--pid", "the image file of a running process")->type_name("ID")),
          module_(verb.add_option("--module", "the file of a module loaded in zebdiag itself, such as wintrust.dll")
                      ->type_name("NAME")),
          classId_(verb.add_option("--clsid", "the server registered for a COM class")->type_name("{CLASS-ID}")),
          level_(verb.add_option("--level", "how strictly the signer is judged, 1 to 5 (3: what the product asks for)")
                     ->type_name("N")),
          driver_(commandline::AddFlag(verb, "--driver", "judge FILE as a kernel driver")) {}

    ExitCode operator()(const Output& output) const {
        if (file_->count() + pid_->count() + module_->count() + classId_->count() != 1) {
            throw UsageError("one FILE, or one of --pid, --module and --clsid, is needed");
        }
        Answer answer;
        answer.driverMode = !driver_->empty();
        if (answer.driverMode && file_->empty()) {
            throw UsageError("--driver goes with a FILE alone");
        }
        answer.level = tsLib::kProductTrustLevel;
        if (!level_->empty()) {
            const auto level = commandline::Number(commandline::Text(*level_));
            if (!level || *level < 1 || *level > 5) {
                throw UsageError("--level takes a number from 1 to 5");
            }
            answer.level = *level;
        }
        const tsLib::VaneRef<IVerifyTrust> verifier(verifiers_->Create());
        if (!verifier || verifier->Initialize(true) != 1) {
            return output.Answer(ExitCode::Error, "no trust verifier could be made");
        }
        Ask(*verifier, answer);
        Describe(*verifier, answer);
        if (output.IsJson()) {
            output.Object(ToJson(answer));
        } else {
            Print(answer, output);
        }
        return answer.verdict == TrustResult::Trusted ? ExitCode::Yes : ExitCode::No;
    }

private:
    // Fills in the verdict and the path.
    void Ask(IVerifyTrust& verifier, Answer& answer) const {
        if (!pid_->empty()) {
            const auto processId = commandline::Number(commandline::Text(*pid_));
            if (!processId) {
                throw UsageError("--pid takes a process id");
            }
            answer.verdict = verifier.VerifyProcess(*processId, answer.level);
            answer.path = ProcessPath(*processId);
        } else if (!module_->empty()) {
            const std::u16string name = commandline::Text(*module_);
            const auto module = findLoaded_(name);
            if (!module) {
                throw UsageError("no module " + ToUtf8(name) + " is loaded in this process");
            }
            answer.verdict = verifier.VerifyModule(*module, answer.level);
            answer.path = ModulePath(*module);
        } else if (!classId_->empty()) {
            const auto classId = tsLib::GuidFromText(commandline::Text(*classId_));
            if (!classId) {
                throw UsageError("--clsid takes a class id in braces");
            }
            answer.verdict = verifier.VerifyComServer(*classId, answer.level);
            answer.path = ComServerPath(*classId);
        } else {
            answer.path = commandline::Text(*file_);
            answer.verdict = verifier.VerifyFile(answer.path->c_str(), answer.level, answer.driverMode);
        }
    }
    std::optional<std::u16string> ProcessPath(std::uint32_t processId) const {
        if (processId == platform_->processes.CurrentId()) {
            return ModulePath(kMainExecutable);
        }
        std::u16string path;
        return Succeeded(platform_->processes.ImageFileName(processId, path)) ? std::optional(path) : std::nullopt;
    }
    std::optional<std::u16string> ModulePath(ModuleHandle module) const {
        std::u16string path;
        return Succeeded(platform_->modules.FileName(module, 32768, path)) ? std::optional(path) : std::nullopt;
    }
    std::optional<std::u16string> ComServerPath(const tsLib::Guid& classId) const {
        for (const char16_t* server : {u"\\InprocServer32", u"\\LocalServer32"}) {
            OwnedRegistryKey key(platform_->registry);
            std::u16string path;
            if (Succeeded(platform_->registry.OpenKey(RegistryRoot::ClassesRoot,
                                                      u"CLSID\\" + tsLib::ToText(classId) + server, kKeyRead,
                                                      key.Receive())) &&
                Succeeded(tsLib::ReadText(platform_->registry, key.Get(), {}, path))) {
                return path;
            }
        }
        return std::nullopt;
    }

    const Platform* platform_;
    tsLib::TrustVerifiers* verifiers_;
    LoadedModules findLoaded_;
    const CLI::Option* file_;
    const CLI::Option* pid_;
    const CLI::Option* module_;
    const CLI::Option* classId_;
    const CLI::Option* level_;
    const CLI::Option* driver_;
};

}  // namespace

void AddVerifyVerb(Program& program, const Platform& platform, tsLib::TrustVerifiers& verifiers,
                   LoadedModules findLoaded) {
    CLI::App& verb = program.Add(
        "verify", "whether a file, process, loaded module or COM server is trusted, and why",
        "Takes one FILE, or one of --pid, --module and --clsid. Prints the verdict by name and number, the findings,\n"
        "the platform's last answer, whether a catalog was used, the signer's names and the signer tests. The\n"
        "product refuses a file only for \"not trusted\" (3). Exit code 0 when trusted, 1 for every other verdict.");
    program.SetRun(verb, VerifyVerb(verb, platform, verifiers, std::move(findLoaded)));
}

}  // namespace HVR::zebdiag
