// The doctor at work: the checks, what they share, and what each has found so far.
#pragma once

#include <array>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zebdiag/Doctor.h"
#include "tools/zebdiag/DoctorRegistration.h"
#include "tools/zebdiag/DoctorSight.h"

namespace HVR::zebdiag {

struct DoctorCheck {
    std::string_view id;
    std::string_view title;
};
inline constexpr DoctorCheck kFileCheck{"library.file", "The library"};
inline constexpr DoctorCheck kSignatureCheck{"library.signature", "The library's signature"};
inline constexpr DoctorCheck kVersionCheck{"library.version", "The library's version"};
inline constexpr DoctorCheck kBitnessCheck{"library.bitness", "The library's processor"};
// By RegistrationPart.
inline constexpr std::array<DoctorCheck, kRegistrationParts> kRegistrationChecks{
    {{"registration.class", "Registration of the COM class and its names"},
     {"registration.server", "Registration of the library as the class's server"},
     {"registration.handlers", "Registration of the handlers in the shell"},
     {"registration.approved", "Registration in the list of approved extensions"}}};
inline constexpr DoctorCheck kBlockedCheck{"registration.blocked", "The shell's lists of blocked extensions"};
inline constexpr DoctorCheck kIsolationCheck{"isolation.file", "The installation that isolate.ini names"};
inline constexpr DoctorCheck kMapCheck{"paths.map", "The installation's map of folders"};
inline constexpr DoctorCheck kTokenCheck{"paths.tokens", "The tokens of the product's folders"};
inline constexpr DoctorCheck kResourceFolderCheck{"resources.folder", "The folder of the language modules"};
inline constexpr DoctorCheck kLanguagesCheck{"resources.languages", "The language modules"};
inline constexpr DoctorCheck kChoiceCheck{"resources.choice", "The language module for this machine"};
inline constexpr DoctorCheck kObjectCheck{"handler.object", "The handler as a COM object"};
inline constexpr DoctorCheck kItemCheck{"handler.item", "The menu item"};
inline constexpr DoctorCheck kOrientationCheck{"scan.orientation", "The setting \"Orientation\""};
inline constexpr DoctorCheck kScannerCheck{"scan.scanner", "The scanner"};
inline constexpr DoctorCheck kScannerSignatureCheck{"scan.signature", "The scanner's signature"};
inline constexpr DoctorCheck kStartCheck{"scan.start", "The scanner's start"};
inline constexpr DoctorCheck kTemporaryCheck{"scan.temporary", "The folder for temporary files"};
inline constexpr DoctorCheck kListCheck{"components.list", "The registered components"};
inline constexpr DoctorCheck kModuleCheck{"components.module", "A component"};
inline constexpr DoctorCheck kSuspensionCheck{"protection.suspended", "Suspended protection"};
inline constexpr DoctorCheck kPolicyCheck{"trust.policy", "The trust verifier's policy"};
inline constexpr DoctorCheck kSha256Check{"trust.catalogs.sha256", "The system's catalog functions, SHA-256"};
inline constexpr DoctorCheck kSha1Check{"trust.catalogs.sha1", "The system's catalog functions, SHA-1"};

inline constexpr std::size_t kListed = 3;  // of many things that are alike

inline constexpr char kReinstallAdvice[] = "Repair the installation: this file is not as it was delivered.";

[[nodiscard]] std::string ErrorText(tsLib::platform::SystemError error);
// With `most`, how many more there are is told at the end.
[[nodiscard]] std::string Joined(const std::vector<std::string>& texts, std::string_view between,
                                 std::size_t most = SIZE_MAX);

// Why a text was not expanded.
struct Unexpanded {
    tsLib::TraceEvent event{};
    std::u16string name;  // of the token that it failed at; empty when that has none
    std::string why;
    std::vector<std::string> texts{};  // those it is true of
};

// One thread. Throws std::bad_alloc only.
class Examination {
public:
    // What is passed outlives it; the findings go to `diagnosis`, whose library is examined.
    Examination(const tsLib::platform::Platform& real, DoctorMachine& theMachine, Diagnosis& findings)
        : machine(theMachine), diagnosis(findings), library(findings.library), sight(real, library) {}

    void Add(const DoctorCheck& check, Verdict verdict, std::string fact, std::string advice = {});
    // Tells which check began it, when `because` was not looked at itself.
    void NotKnown(const DoctorCheck& check, const DoctorCheck& because);
    // The worst of what a check has found.
    [[nodiscard]] Verdict WorstOf(const DoctorCheck& check) const;
    // The first of these checks behind which others cannot look; null when there is none.
    [[nodiscard]] const DoctorCheck* FirstInTheWay(std::initializer_list<const DoctorCheck*> checks) const;

    // The verdict that the product would reach about a file.
    void Judge(const DoctorCheck& check, const std::u16string& path);
    [[nodiscard]] bool Expands(const std::u16string& text, std::u16string& path);
    // After Expands has answered no.
    [[nodiscard]] Unexpanded WhyUnexpanded() const;

    DoctorMachine& machine;
    Diagnosis& diagnosis;
    const std::u16string library;
    DoctorSight sight;
    const tsLib::platform::Platform& platform = sight.platform;
};

// The checks, in their order. `how` tells how the library was chosen.
void ExamineLibrary(Examination& exam, std::string_view how);
void ExamineRegistration(Examination& exam);
void ExamineBlocking(Examination& exam);
void ExamineIsolation(Examination& exam);
void ExamineTokens(Examination& exam);
void ExamineResources(Examination& exam);
void ExamineHandler(Examination& exam);
void ExamineOrientation(Examination& exam);
void ExamineScanner(Examination& exam);
void ExamineTemporaryFolder(Examination& exam);
void ExamineStart(Examination& exam);
void ExamineComponents(Examination& exam);
void ExamineProtection(Examination& exam);
void ExaminePolicy(Examination& exam);
void ExamineCatalogs(Examination& exam, bool sha256);

}  // namespace HVR::zebdiag
