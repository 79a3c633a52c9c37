#include "shellext/VerifiedProcessStart.h"

#include <string_view>

#include "tslib/Tracer.h"
#include "tslib/platform/FullPath.h"

namespace HVR {

using tsLib::TraceEvent;
using tsLib::Tracer;
using tsLib::platform::Platform;

namespace {

// C:\... or \\server\...; the device forms \\?\ and \\.\ are left out, because path normalisation skips them.
bool IsFileOfDriveOrShare(std::u16string_view path) noexcept {
    return path.starts_with(u"\\\\") ? tsLib::platform::StartsAtShare(path)
                                     : path.size() > 3 && tsLib::platform::StartsAtDrive(path) && path[2] == u'\\';
}

// The three platform calls that meet the path read it each in its own way: opening takes it as it is, the verifier
// expands environment variables in it, and process creation searches for a relative name in several folders and ends
// the quoted name at a quote. Only a path that means the same file to all of them may pass.
bool IsPlain(const Platform& platform, const std::u16string& executable, const std::u16string& arguments) {
    if (!IsFileOfDriveOrShare(executable) || executable.find(u'"') != std::u16string::npos ||
        executable.find(u'\0') != std::u16string::npos || arguments.find(u'\0') != std::u16string::npos) {
        return false;
    }
    std::u16string expanded;
    return Succeeded(platform.pathForms.ExpandEnvironment(executable, expanded)) && expanded == executable;
}

bool MayStart(tsLib::TrustVerifiers& verifiers, const std::u16string& executable, tsLib::TrustLevel level,
              const Tracer& tracer) noexcept {
    const tsLib::FileUse use = tsLib::JudgeFile(verifiers, executable.c_str(), level);
    if (!use.judged) {
        tracer.Error(TraceEvent::ProcessVerifierMissing, executable);
        return false;
    }
    const auto verdict = static_cast<std::uint32_t>(use.verdict);
    if (use.IsRefused()) {
        tracer.Error(TraceEvent::ProcessFileRefused, executable, verdict);
        return false;
    }
    if (use.verdict != tsLib::TrustResult::Trusted) {
        tracer.Warning(TraceEvent::ProcessStartedUnproven, executable, verdict);
    }
    return true;
}

}  // namespace

bool StartVerified(const Platform& platform, tsLib::TrustVerifiers& verifiers, const std::u16string& executable,
                   const std::u16string& arguments, std::uint32_t creationFlags, tsLib::TrustLevel level,
                   tsLib::platform::StartedProcess& started) {
    const Tracer tracer(platform.trace);
    if (!IsPlain(platform, executable, arguments)) {
        tracer.Error(TraceEvent::ProcessPathRefused, executable);
        return false;
    }
    const std::u16string commandLine = u"\"" + executable + u"\" " + arguments;

    tsLib::platform::OwnedFile file(platform.files);  // closed last on every way out
    if (const auto error =
            platform.files.OpenForReading(executable, tsLib::platform::FileSharing::Readers, file.Receive());
        Failed(error)) {
        tracer.Error(TraceEvent::ProcessFileNotOpened, executable, error);
        return false;
    }
    if (!MayStart(verifiers, executable, level, tracer)) {
        return false;
    }
    if (const auto error = platform.processes.Start(commandLine, creationFlags, started); Failed(error)) {
        tracer.Error(TraceEvent::ProcessNotCreated, executable, error);
        return false;
    }
    return true;
}

}  // namespace HVR
