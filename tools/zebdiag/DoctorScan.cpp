#include "tools/zebdiag/Examination.h"

#include <algorithm>
#include <stdexcept>

#include "shellext/OrientationSetting.h"
#include "shellext/ScanRequest.h"
#include "tslib/Utf8.h"

namespace HVR::zebdiag {

using namespace tsLib::platform;
using tsLib::HResult;
using tsLib::ToUtf8;
using tsLib::TraceEvent;

void ExamineHandler(Examination& exam) {
    if (const DoctorCheck* const cause = exam.FirstInTheWay(
            {&kFileCheck, &kSignatureCheck, &kBitnessCheck, &kRegistrationChecks[1], &kChoiceCheck})) {
        exam.NotKnown(kObjectCheck, *cause);
        exam.NotKnown(kItemCheck, *cause);
        return;
    }
    std::unique_ptr<ShellMenu> menu;
    try {
        menu = exam.machine.MakeMenu({u"*", u"OrloMenu", kHandlerClass}, exam.library);
    } catch (const std::runtime_error& error) {
        exam.Add(kObjectCheck, Verdict::NotKnown, std::string("no menu can be made here: ") + error.what());
        exam.NotKnown(kItemCheck, kObjectCheck);
        return;
    }
    const MenuContents& contents = menu->Contents();
    const AskedHandler asked = contents.handlers.empty() ? AskedHandler() : contents.handlers.front();
    const std::string failure = asked.step + " failed with " + Hexadecimal(Number(asked.result));
    const bool isMade = asked.TakesPart() || asked.step == "Initialize" || asked.step == "QueryContextMenu";
    exam.Add(kObjectCheck, isMade ? Verdict::Fine : Verdict::Fault, isMade ? "COM makes it" : failure,
             isMade ? "" : "Look for the reason with zebdiag menu --trace, and send what it says.");
    const auto item = std::ranges::find_if(contents.items, [](const MenuItem& one) { return one.offset.has_value(); });
    if (!isMade) {
        exam.NotKnown(kItemCheck, kObjectCheck);
    } else if (item != contents.items.end()) {
        exam.Add(kItemCheck, Verdict::Fine, "\"" + ToUtf8(item->text) + "\" was added to an empty menu");
    } else {
        exam.Add(kItemCheck, Verdict::Fault, asked.TakesPart() ? "the handler adds nothing to an empty menu" : failure,
                 "Look for the reason with zebdiag menu --trace, and send what it says.");
    }
    static_cast<void>(menu->Close());
}

void ExamineOrientation(Examination& exam) {
    Registry& registry = exam.platform.registry;
    if (OrientationAllowsScan(registry)) {
        exam.Add(kOrientationCheck, Verdict::Fine, "it allows scans");
        return;
    }
    const std::string name = "HKLM\\" + ToUtf8(kProductKey) + ": the value " + ToUtf8(kOrientationValue);
    OwnedRegistryKey key(registry);
    RegistryValue value;
    SystemError error = registry.OpenKey(RegistryRoot::LocalMachine, kProductKey, kKeyQueryValue, key.Receive());
    error = Failed(error) ? error : registry.ReadValue(key.Get(), kOrientationValue, value);
    exam.Add(kOrientationCheck, Verdict::Fault,
             Failed(error) ? name + " cannot be read, " + ErrorText(error)
                           : name + (value.data.size() > sizeof(std::uint32_t)
                                         ? " is too long to be a number"
                                         : " is " + std::to_string(kOrientationRefusal) + ", which refuses every scan"),
             "Set it to a number other than " + std::to_string(kOrientationRefusal) +
                 ", unless the administrator wants no scans from the menu.");
}

void ExamineScanner(Examination& exam) {
    ScanRequest request(exam.platform, exam.sight.expansion, exam.sight.verifiers);
    std::u16string scanner;
    exam.sight.trace.Clear();
    const HResult result = request.FindScanner(scanner);
    const DoctorCheck* const cause = exam.FirstInTheWay({&kIsolationCheck, &kMapCheck, &kTokenCheck});
    if (Failed(result)) {
        if (cause != nullptr) {
            exam.NotKnown(kScannerCheck, *cause);
        } else {
            exam.Add(kScannerCheck, Verdict::Fault,
                     "neither the installation nor the list of installed products knows its folder, " +
                         Hexadecimal(Number(result)),
                     "Repair the installation.");
        }
        exam.NotKnown(kScannerSignatureCheck, kScannerCheck);
        return;
    }
    const bool isFallback = exam.sight.trace.Find(TraceEvent::ScannerLookupFailed) != nullptr;
    const std::string fact =
        ToUtf8(scanner) + (isFallback ? ", from the list of installed products" : ", from the installation's folder");
    std::uint32_t attributes = 0;
    if (const SystemError error = exam.platform.files.Attributes(scanner, attributes); Failed(error)) {
        exam.Add(kScannerCheck, Verdict::Fault, fact + ", is not there, " + ErrorText(error),
                 "Repair the installation: the scanner is missing.");
        exam.NotKnown(kScannerSignatureCheck, kScannerCheck);
        return;
    }
    exam.Add(kScannerCheck, isFallback ? Verdict::Remark : Verdict::Fine, fact,
             isFallback ? "Repair the installation: its own folder is not known." : "");
    exam.Judge(kScannerSignatureCheck, scanner);
}

void ExamineTemporaryFolder(Examination& exam) {
    ScanRequest request(exam.platform, exam.sight.expansion, exam.sight.verifiers);
    std::u16string list;
    const std::string advice =
        "Set TEMP and TMP of this user to a folder that is there, can be written and is "
        "shorter than 260 characters.";
    if (const HResult result = request.NameListFile(list); Failed(result)) {
        exam.Add(kTemporaryCheck, Verdict::Fault,
                 "the system cannot name it, or it is longer than 260 characters, " + Hexadecimal(Number(result)),
                 advice);
        return;
    }
    const std::u16string folder = list.substr(0, list.rfind(u'\\'));
    std::uint32_t attributes = 0;
    SystemError error = exam.platform.files.Attributes(folder, attributes);
    const char* const what = Failed(error) ? " is not there, " : " cannot be written, ";
    error = Failed(error) ? error : exam.machine.TryWriting(list);
    exam.Add(kTemporaryCheck, Failed(error) ? Verdict::Fault : Verdict::Fine,
             ToUtf8(folder) + (Failed(error) ? what + ErrorText(error) : " can be written"),
             Failed(error) ? advice : "");
}

// All that the library does before a process is made.
void ExamineStart(Examination& exam) {
    if (const DoctorCheck* const cause =
            exam.FirstInTheWay({&kScannerCheck, &kScannerSignatureCheck, &kTemporaryCheck})) {
        exam.NotKnown(kStartCheck, *cause);
        return;
    }
    ScanRequest request(exam.platform, exam.sight.expansion, exam.sight.verifiers);
    std::u16string list;
    exam.sight.trace.Clear();
    exam.sight.processes.withheld.reset();
    if (Succeeded(request.NameListFile(list))) {
        static_cast<void>(request.LaunchScanner(list));
    }
    if (const auto& commandLine = exam.sight.processes.withheld) {
        exam.Add(kStartCheck, Verdict::Fine, "a click would start " + ToUtf8(*commandLine));
        return;
    }
    const KeptTrace::Record* const record =
        exam.sight.trace.Find(TraceEvent::ProcessPathRefused, TraceEvent::ProcessFileRefused);
    exam.Add(kStartCheck, Verdict::Fault,
             record == nullptr ? "the library starts nothing"
             : record->event == TraceEvent::ProcessPathRefused
                 ? ToUtf8(record->texts.front()) + " is no plain path on a drive or a share"
                 : ToUtf8(record->texts.front()) + " cannot be held open, error " + std::to_string(record->number),
             "Repair the installation, so that the scanner lies in a plain folder that nobody writes to.");
}

}  // namespace HVR::zebdiag
