#include "tools/zebdiag/Examination.h"

#include <algorithm>

#include "AgentCore/ProductInstallPathResolver.h"
#include "resources/ProductKey.h"
#include "resources/ResourceLoader.h"
#include "resources/ResourcePaths.h"
#include "shellext/MenuCommand.h"
#include "tslib/Utf8.h"

namespace HVR::zebdiag {

using namespace tsLib::platform;
using tsLib::HResult;
using tsLib::ToUtf8;
using tsLib::TraceEvent;

void ExamineIsolation(Examination& exam) {
    exam.sight.trace.Clear();
    const tsLib::IsolationSettings* settings = nullptr;
    const SystemError error = exam.sight.isolation.Read(&settings);
    if (Succeeded(error)) {
        exam.Add(kIsolationCheck, Verdict::Fine,
                 ToUtf8(settings->iniPath) + " counts: silo " + ToUtf8(settings->silo) + ", root HKLM\\" +
                     ToUtf8(settings->root) + (settings->registryViewFlag == 0 ? ", native view" : ", 32-bit view"));
        return;
    }
    const KeptTrace::Record* const record = exam.sight.trace.Find(TraceEvent::IsolationUnread);
    const std::string file = record == nullptr || record->texts.empty() ? "" : ToUtf8(record->texts.front());
    if (file.empty()) {
        exam.Add(kIsolationCheck, Verdict::Fault,
                 "there is no isolate.ini in the library's folder or above, " + ErrorText(error),
                 "Put the installation's isolate.ini beside the library.");
    } else {
        exam.Add(kIsolationCheck, Verdict::Fault,
                 file +
                     (error == SystemError::InvalidData ? " counts, and its silo or hive is no good, "
                                                        : " counts and cannot be used, ") +
                     ErrorText(error),
                 "Put back the isolate.ini that the installer wrote, with a silo of 38 characters in braces.");
    }
}

void ExamineTokens(Examination& exam) {
    if (exam.WorstOf(kIsolationCheck) != Verdict::Fine) {
        exam.NotKnown(kMapCheck, kIsolationCheck);
        exam.NotKnown(kTokenCheck, kIsolationCheck);
        return;
    }
    std::u16string path;
    if (!exam.Expands(u"C:\\", path)) {
        exam.Add(kMapCheck, Verdict::Fault, exam.WhyUnexpanded().why,
                 "Repair the installation: its registry map is missing.");
        exam.NotKnown(kTokenCheck, kMapCheck);
        return;
    }
    exam.Add(kMapCheck, Verdict::Fine, "it can be read");

    std::vector<std::u16string> texts{tsLib::kVerifierModulePath, tsLib::kSettingsStoreModulePath};
    for (std::uint32_t kind = 0; !FolderToken(kind).empty(); ++kind) {
        if (std::u16string token(FolderToken(kind)); std::ranges::find(texts, token) == texts.end()) {
            texts.push_back(std::move(token));
        }
    }
    std::vector<Unexpanded> faults;
    for (const std::u16string& text : texts) {
        if (exam.Expands(text, path)) {
            continue;
        }
        Unexpanded fault = exam.WhyUnexpanded();
        auto known = std::ranges::find_if(
            faults, [&](const Unexpanded& other) { return other.event == fault.event && other.name == fault.name; });
        if (known == faults.end()) {
            known = faults.insert(faults.end(), std::move(fault));
        }
        known->texts.push_back(ToUtf8(text));
    }
    for (const Unexpanded& fault : faults) {
        exam.Add(
            kTokenCheck, Verdict::Fault, fault.why + "; it is needed for " + Joined(fault.texts, ", "),
            "Put the folder back into the installation's map (Tessel\\PathExpansionMap), or repair the installation.");
    }
    if (faults.empty()) {
        static_cast<void>(exam.Expands(std::u16string(FolderToken(kInstallFolder)), path));
        exam.Add(kTokenCheck, Verdict::Fine,
                 "all expand; " + ToUtf8(FolderToken(kInstallFolder)) + " is " + ToUtf8(path));
    }
}

namespace {

// The texts that the library shows.
constexpr std::uint32_t kShownTexts[] = {kMenuTextId, kHelpTextId, kRefusalCaptionId, kRefusalTextId};

std::pair<Verdict, std::string> LookAtLanguage(Examination& exam, const std::u16string& path) {
    const std::string name = ToUtf8(path);
    std::uint32_t attributes = 0;
    if (const SystemError error = exam.platform.files.Attributes(path, attributes); Failed(error)) {
        return {Verdict::Remark, name + " is not there, " + ErrorText(error)};
    }
    CResourceLoader loader(exam.platform, LibraryModules::kLibrary, {}, exam.sight.verifiers, exam.sight.noComponents);
    loader.SetResourceModulePath(path);
    if (const HResult result = loader.Initialize(false); result == HResult::SignatureRefused) {
        return {Verdict::Fault, name + ": its signature is refused"};
    } else if (Failed(result)) {
        return {Verdict::Fault, name + " cannot be loaded, " + Hexadecimal(Number(result))};
    }
    for (const std::uint32_t id : kShownTexts) {
        if (std::u16string text; !loader.LoadString(id, text)) {
            return {Verdict::Fault, name + " has no text " + std::to_string(id)};
        }
    }
    return {Verdict::Fine, {}};
}

void ExamineLanguages(Examination& exam, const CResourceLoader& search, const std::u16string& folder) {
    OwnedSearch found(exam.platform.files);
    FoundEntry entry;
    std::vector<std::string> languages;
    std::size_t faults = 0;
    SystemError error = exam.platform.files.FindFirst(ResourceRoot(folder) + u"*.*", found.Receive(), entry);
    for (; Succeeded(error); error = exam.platform.files.FindNext(found.Get(), entry)) {
        if (const std::uint32_t localeId = search.LocaleOf(entry); localeId != 0) {
            const std::u16string path = CandidatePath(folder, localeId, kResourceModuleName);
            const auto [verdict, fact] = LookAtLanguage(exam, path);
            if (verdict == Verdict::Fine) {
                languages.push_back(std::to_string(localeId));
            } else {
                faults += verdict == Verdict::Fault ? 1U : 0U;
                exam.Add(kLanguagesCheck, verdict, fact,
                         "Repair the installation: users of language " + std::to_string(localeId) +
                             " get another one, or no item.");
            }
        }
    }
    if (!languages.empty()) {
        exam.Add(kLanguagesCheck, Verdict::Fine,
                 Count(languages.size(), "module") + ", trusted and with all texts: " + Joined(languages, ", "));
    } else if (faults == 0) {
        exam.Add(kLanguagesCheck, Verdict::Fault, "there is none below " + ToUtf8(ResourceRoot(folder)),
                 "Repair the installation: without texts the item is not added.");
    }
}

}  // namespace

void ExamineResources(Examination& exam) {
    CResourceLoader loader(exam.platform, LibraryModules::kLibrary, kResourceModuleName, exam.sight.verifiers,
                           exam.sight.noComponents);
    const HResult result = loader.Initialize(false);
    const bool isFound = Succeeded(result);
    std::u16string folder;
    if (Failed(loader.GetInstallDir(folder))) {
        const std::string fact = "HKLM\\" + ToUtf8(loader.GetRegistryKeyPath()) + ": the value " +
                                 ToUtf8(loader.GetRegistryValueName()) + " is missing or no full path";
        exam.Add(kResourceFolderCheck, isFound ? Verdict::Remark : Verdict::Fault, fact,
                 "Write the folder above res\\ there, or repair the installation.");
        if (!isFound) {
            exam.NotKnown(kLanguagesCheck, kResourceFolderCheck);
        }
    } else {
        exam.Add(kResourceFolderCheck, Verdict::Fine, ToUtf8(folder));
        ExamineLanguages(exam, loader, folder);
    }
    const std::string language = "language " + std::to_string(loader.GetLanguageId());
    if (isFound) {
        exam.Add(kChoiceCheck, Verdict::Fine, "for " + language + ": " + ToUtf8(loader.ResourceModulePath()));
    } else if (const DoctorCheck* const cause = exam.FirstInTheWay({&kResourceFolderCheck, &kLanguagesCheck})) {
        exam.NotKnown(kChoiceCheck, *cause);
    } else {
        exam.Add(kChoiceCheck, Verdict::Fault,
                 "none for " + language + " could be loaded, " + Hexadecimal(Number(result)),
                 "Repair the installation: without texts the item is not added.");
    }
}

}  // namespace HVR::zebdiag
