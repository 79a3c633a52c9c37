#include "shellext/VerifiedProcessStart.h"

#include <string_view>

#include "tslib/Tracer.h"
#include "tslib/VerifiedLoad.h"
#include "tslib/platform/FullPath.h"

namespace HVR {

using tsLib::TraceEvent;
using tsLib::Tracer;
using tsLib::platform::Platform;

namespace {

// Whether process creation reads the path as it stands: it ends the quoted path at a quote, adds an extension where
// there is none, and does not take every \\?\ form.
bool IsPlain(std::u16string_view path) noexcept {
    return tsLib::platform::IsOnDriveOrShare(path) && !tsLib::platform::IsLiteralPath(path) &&
           path.find_first_of(std::u16string_view(u"\"\0", 2)) == std::u16string_view::npos &&
           path.find(u'.', path.rfind(u'\\')) != std::u16string_view::npos;
}

bool MayStart(tsLib::TrustVerifiers& verifiers, const std::u16string& executable, tsLib::TrustLevel level,
              const Tracer& tracer) noexcept {
    const tsLib::FileUse use = tsLib::JudgeFile(verifiers, executable.c_str(), level);
    if (!use.judged) {
        tracer.Error(TraceEvent::ProcessVerifierMissing, executable);
        return false;
    }
    if (use.IsRefused()) {
        tracer.Error(TraceEvent::ProcessFileRefused, executable, use.verdict);
        return false;
    }
    if (use.verdict != tsLib::TrustResult::Trusted) {
        tracer.Warning(TraceEvent::ProcessStartedUnproven, executable, use.verdict);
    }
    return true;
}

}  // namespace

bool StartVerified(const Platform& platform, tsLib::TrustVerifiers& verifiers, const std::u16string& executable,
                   const std::u16string& arguments, std::uint32_t creationFlags, tsLib::TrustLevel level,
                   tsLib::platform::StartedProcess& started) {
    const Tracer tracer(platform.trace);
    const auto refuse = [&] {
        tracer.Error(TraceEvent::ProcessPathRefused, executable);
        return false;
    };
    if (!IsPlain(executable) || arguments.find(u'\0') != std::u16string::npos) {
        return refuse();
    }
    const tsLib::VerifiedLoad file(platform.files, platform.modules, executable);  // held on every way out
    if (!file) {
        tracer.Error(TraceEvent::ProcessFileNotOpened, executable, file.Error());
        return false;
    }
    if (!IsPlain(file.Name())) {
        return refuse();
    }
    const std::u16string commandLine = u"\"" + file.Name() + u"\" " + arguments;
    if (!MayStart(verifiers, file.Name(), level, tracer)) {
        return false;
    }
    if (const auto error = platform.processes.Start(commandLine, creationFlags, started); Failed(error)) {
        tracer.Error(TraceEvent::ProcessNotCreated, executable, error);
        return false;
    }
    return true;
}

}  // namespace HVR
