#include "tools/zebdiag/Doctor.h"

#include <algorithm>
#include <utility>

#include "resources/ResourcePaths.h"
#include "tools/zebdiag/Examination.h"
#include "tslib/RegistryText.h"

namespace HVR::zebdiag {

using namespace tsLib::platform;

namespace {

// The server that COM would load; empty when none is registered.
std::u16string RegisteredServer(Registry& registry) {
    OwnedRegistryKey key(registry);
    std::u16string path;
    if (Succeeded(registry.OpenKey(RegistryRoot::ClassesRoot,
                                   u"CLSID\\" + tsLib::ToText(kHandlerClass) + u"\\InprocServer32", kKeyRead,
                                   key.Receive()))) {
        static_cast<void>(tsLib::ReadText(registry, key.Get(), {}, path));
    }
    return path;
}

}  // namespace

std::string_view Name(Verdict verdict) {
    constexpr std::string_view kNames[] = {"fine", "remark", "not known", "fault"};
    return kNames[static_cast<std::size_t>(verdict)];
}

Verdict Diagnosis::Worst() const noexcept {
    const auto worst = std::ranges::max_element(findings, {}, &Finding::verdict);
    return worst == findings.end() ? Verdict::NotKnown : worst->verdict;
}

Diagnosis Diagnose(const Platform& platform, DoctorMachine& machine, std::u16string library) {
    std::string_view how = "the one that was named";
    if (library.empty()) {
        library = RegisteredServer(platform.registry);
        how = "the registered one";
    }
    if (library.empty()) {
        std::u16string program;
        static_cast<void>(platform.modules.FileName(kMainExecutable, 0x8000, program));
        library = PathBeside(program, kLibraryFileName).value_or(kLibraryFileName);
        how = "the one beside this program, since none is registered";
    }
    Diagnosis diagnosis;
    diagnosis.library = std::move(library);
    Examination exam(platform, machine, diagnosis);
    ExamineLibrary(exam, how);
    ExamineRegistration(exam);
    ExamineBlocking(exam);
    ExamineIsolation(exam);
    ExamineTokens(exam);
    ExamineResources(exam);
    ExamineHandler(exam);
    ExamineOrientation(exam);
    ExamineScanner(exam);
    ExamineTemporaryFolder(exam);
    ExamineStart(exam);
    ExamineComponents(exam);
    ExamineProtection(exam);
    ExaminePolicy(exam);
    ExamineCatalogs(exam, true);
    ExamineCatalogs(exam, false);
    return diagnosis;
}

}  // namespace HVR::zebdiag
