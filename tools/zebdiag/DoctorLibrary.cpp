#include "tools/zebdiag/Examination.h"

#include <algorithm>
#include <array>
#include <optional>

#include "shellext/RegistryScript.h"
#include "tools/zebdiag/DoctorRegistration.h"
#include "tslib/Utf8.h"

namespace HVR::zebdiag {

using namespace tsLib::platform;
using tsLib::ToUtf8;

namespace {

std::string RegisterAdvice(const Examination& exam) {
    return "Register the library as an administrator: regsvr32 \"" + ToUtf8(exam.library) + "\".";
}

// The fixed part of a version resource begins with a mark and its own version; the file's follows.
void ExamineVersion(Examination& exam) {
    std::vector<std::byte> bytes;
    constexpr std::array<std::byte, 4> kMark{std::byte{0xBD}, std::byte{0x04}, std::byte{0xEF}, std::byte{0xFE}};
    if (Succeeded(exam.machine.ReadResource(exam.library, u"#16", 1, bytes))) {
        const auto mark = std::search(bytes.begin(), bytes.end(), kMark.begin(), kMark.end());
        const auto at = static_cast<std::size_t>(mark - bytes.begin());
        if (bytes.size() >= 16 && at <= bytes.size() - 16) {
            const auto word = [&](std::size_t from) {
                return std::to_string(std::to_integer<unsigned>(bytes[at + from]) |
                                      std::to_integer<unsigned>(bytes[at + from + 1]) << 8);
            };
            exam.diagnosis.version = word(10) + "." + word(8) + "." + word(14) + "." + word(12);
        }
    }
    const bool isKnown = !exam.diagnosis.version.empty();
    exam.Add(kVersionCheck, isKnown ? Verdict::Fine : Verdict::Remark,
             isKnown ? exam.diagnosis.version : "the library tells no version",
             isKnown ? "" : "Look whether this is the product's own file.");
}

void ExamineProcessor(Examination& exam) {
    std::array<std::byte, 4096> bytes{};
    std::size_t length = 0;
    OwnedFile file(exam.platform.files);
    SystemError error =
        exam.platform.files.OpenForReading(exam.library, FileSharing::ReadersAndWriters, file.Receive());
    std::size_t count = 1;
    while (Succeeded(error) && count != 0 && length < bytes.size()) {
        count = 0;
        error = exam.platform.files.Read(file.Get(), std::span(bytes).subspan(length), count);
        length += count;
    }
    if (Failed(error)) {
        exam.Add(kBitnessCheck, Verdict::NotKnown, "the file cannot be read, " + ErrorText(error),
                 "Let this user read the file.");
        return;
    }
    const auto number = [&](std::size_t at) {
        return at > bytes.size() - 2
                   ? 0U
                   : std::to_integer<std::uint32_t>(bytes[at]) | std::to_integer<std::uint32_t>(bytes[at + 1]) << 8;
    };
    const std::size_t header = number(0x3C);
    const bool isModule = number(0) == 0x5A4D && number(header) == 0x4550;
    const std::uint32_t machine = isModule ? number(header + 4) : 0;
    if (machine == 0x8664) {
        exam.Add(kBitnessCheck, Verdict::Fine, "64 bits (0x8664)");
    } else if (isModule) {
        exam.Add(kBitnessCheck, Verdict::Fault,
                 "made for processor " + Hexadecimal(machine) + (machine == 0x14C ? ", 32 bits" : ""),
                 "Install the 64-bit product: a 64-bit shell loads no other library.");
    } else {
        exam.Add(kBitnessCheck, Verdict::Fault, "the file is no module", kReinstallAdvice);
    }
}

std::optional<RegistryScript> ReadScript(Examination& exam, std::string& why) {
    std::vector<std::byte> bytes;
    if (const SystemError error = exam.machine.ReadResource(exam.library, u"REGISTRY", 101, bytes); Failed(error)) {
        why = "the library's registration script cannot be read, " + ErrorText(error);
        return std::nullopt;
    }
    std::u16string text;
    const ScriptReplacement replacement[] = {{u"MODULE", exam.library}};
    ScriptProblem problem;
    auto script = tsLib::FromUtf8({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, text)
                      ? ParseRegistryScript(text, replacement, problem)
                      : std::nullopt;
    why = script ? "" : "the library's registration script is broken in line " + std::to_string(problem.line);
    return script;
}

}  // namespace

void ExamineLibrary(Examination& exam, std::string_view how) {
    std::uint32_t attributes = 0;
    const SystemError error = exam.platform.files.Attributes(exam.library, attributes);
    const bool isFolder = Succeeded(error) && (attributes & kAttributeDirectory) != 0;
    const bool isThere = Succeeded(error) && !isFolder;
    const std::string name = ToUtf8(exam.library) + ", " + std::string(how);
    exam.Add(kFileCheck, isThere ? Verdict::Fine : Verdict::Fault,
             isThere    ? name
             : isFolder ? name + ", is a folder"
                        : name + ", is not there, " + ErrorText(error),
             isThere ? "" : "Repair the installation, or name the library that is meant: zebdiag doctor DLL.");
    if (!isThere) {
        for (const DoctorCheck* check : {&kSignatureCheck, &kVersionCheck, &kBitnessCheck}) {
            exam.NotKnown(*check, kFileCheck);
        }
        return;
    }
    exam.Judge(kSignatureCheck, exam.library);
    ExamineVersion(exam);
    ExamineProcessor(exam);
}

void ExamineRegistration(Examination& exam) {
    std::string why;
    const auto script = ReadScript(exam, why);
    if (!script) {
        for (const DoctorCheck& check : kRegistrationChecks) {
            exam.Add(check, Verdict::NotKnown, why);
        }
        return;
    }
    const RegistrationLook look = LookAtRegistration(exam.platform, *script);
    if (look.IsNothingThere()) {
        const std::string first = look.parts[0].wrong.empty() ? "" : "; " + look.parts[0].wrong.front();
        exam.Add(kRegistrationChecks[0], Verdict::Fault, "this library is not registered" + first,
                 RegisterAdvice(exam));
        for (std::size_t i = 1; i < kRegistrationParts; ++i) {
            exam.NotKnown(kRegistrationChecks[i], kRegistrationChecks[0]);
        }
        return;
    }
    for (std::size_t i = 0; i < kRegistrationParts; ++i) {
        const PartOfRegistration& part = look.parts[i];
        const DoctorCheck& check = kRegistrationChecks[i];
        if (!part.wrong.empty()) {
            exam.Add(check, Verdict::Fault, Joined(part.wrong, "; ", kListed), RegisterAdvice(exam));
        } else if (part.isHidden) {
            exam.NotKnown(check, kRegistrationChecks[0]);
        } else {
            exam.Add(check, Verdict::Fine, "keys and values as the library writes them: " + std::to_string(part.there));
        }
    }
}

void ExamineBlocking(Examination& exam) {
    constexpr std::pair<RegistryRoot, const char*> kRoots[] = {{RegistryRoot::LocalMachine, "HKLM"},
                                                               {RegistryRoot::CurrentUser, "HKCU"}};
    const std::u16string path = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Blocked";
    for (const auto& [root, name] : kRoots) {
        OwnedRegistryKey key(exam.platform.registry);
        RegistryValue value;
        if (Succeeded(exam.platform.registry.OpenKey(root, path, kKeyRead, key.Receive())) &&
            Succeeded(exam.platform.registry.ReadValue(key.Get(), tsLib::ToText(kHandlerClass), value))) {
            const std::string keyName = std::string(name) + "\\" + ToUtf8(path);
            exam.Add(kBlockedCheck, Verdict::Fault, "the handler's class is blocked in " + keyName,
                     "Ask who blocked it, and delete the value " + ToUtf8(tsLib::ToText(kHandlerClass)) + " there.");
        }
    }
    if (exam.WorstOf(kBlockedCheck) == Verdict::Fine) {
        exam.Add(kBlockedCheck, Verdict::Fine, "the handler's class is in neither list");
    }
}

}  // namespace HVR::zebdiag
