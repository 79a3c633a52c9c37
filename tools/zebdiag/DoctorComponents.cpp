#include "tools/zebdiag/Examination.h"

#include <algorithm>

#include "tools/zebdiag/Verbs.h"
#include "tslib/ISettingsStore.h"
#include "tslib/Utf8.h"

namespace HVR::zebdiag {

using namespace tsLib::platform;
using tsLib::ToUtf8;
using tsLib::TrustResult;

namespace {

void ExamineComponent(Examination& exam, const KnownObject& object) {
    const std::string name =
        ToUtf8(tsLib::ToText(object.id)) + ", " + std::string(Name(object.source)) + ", " + ToUtf8(object.storedPath);
    const auto expand = [&exam](const std::u16string& text, std::u16string& path) { return exam.Expands(text, path); };
    std::u16string path;
    std::uint32_t attributes = 0;
    if (!exam.Expands(object.storedPath, path)) {
        if (exam.WorstOf(kTokenCheck) != Verdict::Fine) {
            exam.Add(kModuleCheck, Verdict::NotKnown,
                     name + ": not looked at, because of " + std::string(kTokenCheck.id));
        } else {
            exam.Add(kModuleCheck, Verdict::Fault, name + ": " + exam.WhyUnexpanded().why,
                     "Register the component again.");
        }
    } else if (const SystemError error = exam.platform.files.Attributes(path, attributes); Failed(error)) {
        const bool isOptional = object.source == KnownObject::Source::FixedPlace;
        exam.Add(kModuleCheck, isOptional ? Verdict::Remark : Verdict::Fault,
                 name + ": " + ToUtf8(path) + " is not there, " + ErrorText(error),
                 isOptional ? "Nothing needs doing when this feature was not installed."
                            : "Repair the installation: a component is missing.");
    } else if (const auto look = LookAt(object, expand, exam.sight.verifiers, exam.platform.modules); !look) {
        exam.Add(kModuleCheck, Verdict::NotKnown, name + ": no trust verifier could be made");
    } else {
        const TrustResult verdict = look->verdict.value_or(TrustResult::FileError);
        const bool isFault = tsLib::RefusesFile(verdict) || verdict == TrustResult::FileError ||
                             (verdict == TrustResult::Trusted && look->entries != ObjectEntries::Both);
        exam.Add(kModuleCheck,
                 isFault                           ? Verdict::Fault
                 : verdict == TrustResult::Trusted ? Verdict::Fine
                                                   : Verdict::Remark,
                 name + ": " + ToUtf8(path) + ", " + std::string(tsLib::Name(verdict)) + " (" +
                     std::to_string(static_cast<std::uint32_t>(verdict)) + "), entry points " +
                     std::string(Name(look->entries)),
                 isFault                           ? kReinstallAdvice
                 : verdict == TrustResult::Trusted ? ""
                                                   : "Ask zebdiag verify what the platform answers.");
    }
}

}  // namespace

void ExamineComponents(Examination& exam) {
    if (const DoctorCheck* const cause = exam.FirstInTheWay({&kIsolationCheck, &kMapCheck})) {
        exam.NotKnown(kListCheck, *cause);
        return;
    }
    using Source = KnownObject::Source;
    std::vector<tsLib::RepositoryEntry> entries;
    if (!exam.sight.repository.List(entries)) {
        exam.Add(kListCheck, Verdict::Fault, "neither the settings store nor the registry (OBJID) can be read",
                 "Repair the installation.");
    } else {
        exam.Add(kListCheck, Verdict::Fine, Count(entries.size(), "component"));
    }
    std::vector<KnownObject> objects;
    for (tsLib::RepositoryEntry& entry : entries) {
        const bool isStored = entry.source == tsLib::RepositoryEntry::Source::SettingsStore;
        objects.push_back(
            {entry.objectId, isStored ? Source::SettingsStore : Source::Registry, std::move(entry.storedPath)});
    }
    for (const KnownObject& fixed :
         {KnownObject{tsLib::kTrustVerifierObjectId, Source::FixedPlace, tsLib::kVerifierModulePath},
          KnownObject{tsLib::kSettingsStoreObjectId, Source::FixedPlace, tsLib::kSettingsStoreModulePath}}) {
        if (std::ranges::find(objects, fixed.id, &KnownObject::id) == objects.end()) {
            objects.push_back(fixed);
        }
    }
    for (const KnownObject& object : objects) {
        ExamineComponent(exam, object);
    }
}

void ExamineProtection(Examination& exam) {
    bool isSuspended = false;
    if (const SystemError error = exam.machine.IsProtectionSuspended(isSuspended); Failed(error)) {
        exam.Add(kSuspensionCheck, Verdict::NotKnown, "it cannot be read, " + ErrorText(error));
    } else {
        exam.Add(kSuspensionCheck, isSuspended ? Verdict::Fault : Verdict::Fine,
                 isSuspended ? "a program of this session holds protection suspended" : "nobody suspends protection",
                 isSuspended ? "End the program that loads a module just now, and look again." : "");
    }
}

}  // namespace HVR::zebdiag
