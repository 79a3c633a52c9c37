#include "shellext/VerifiedProcessStart.h"

#include <string_view>

#include "tslib/VaneRef.h"

namespace HVR {

using tsLib::TraceEvent;
using tsLib::platform::OwnedFile;
using tsLib::platform::StartedProcess;

namespace {

// C:\... or \\server\...; the device forms \\?\ and \\.\ are left out, because path normalisation skips them.
bool IsFullyQualified(std::u16string_view path) {
    if (path.starts_with(u"\\\\")) {
        return path.size() > 2 && path[2] != u'?' && path[2] != u'.' && path[2] != u'\\';
    }
    const auto isLetter = [](char16_t unit) {
        return (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z');
    };
    return path.size() > 3 && isLetter(path[0]) && path[1] == u':' && path[2] == u'\\';
}

}  // namespace

bool VerifiedProcessStart::Start(const std::u16string& executable, const std::u16string& arguments,
                                 std::uint32_t creationFlags, tsLib::TrustLevel level, StartedProcess& started) {
    if (!IsPlain(executable, arguments)) {
        tracer_.Error(TraceEvent::ProcessPathRefused, executable);
        return false;
    }
    const std::u16string commandLine = u"\"" + executable + u"\" " + arguments;

    OwnedFile file(files_);  // closed last on every way out
    if (const auto error = files_.OpenForReading(executable, file.Receive()); Failed(error)) {
        tracer_.Error(TraceEvent::ProcessFileNotOpened, executable, error);
        return false;
    }
    if (!Verify(executable, level)) {
        return false;
    }
    if (const auto error = starter_.Start(commandLine, creationFlags, started); Failed(error)) {
        tracer_.Error(TraceEvent::ProcessNotCreated, executable, error);
        return false;
    }
    return true;
}

// The three platform calls that meet the path read it each in its own way: opening takes it as it is, the verifier
// expands environment variables in it, and process creation searches for a relative name in several folders and ends
// the quoted name at a quote. Only a path that means the same file to all of them may pass.
bool VerifiedProcessStart::IsPlain(const std::u16string& executable, const std::u16string& arguments) {
    if (!IsFullyQualified(executable) || executable.find(u'"') != std::u16string::npos ||
        executable.find(u'\0') != std::u16string::npos || arguments.find(u'\0') != std::u16string::npos) {
        return false;
    }
    std::u16string expanded;
    return Succeeded(pathForms_.ExpandEnvironment(executable, expanded)) && expanded == executable;
}

bool VerifiedProcessStart::Verify(const std::u16string& executable, tsLib::TrustLevel level) {
    const tsLib::VaneRef<tsLib::IVerifyTrust> verifier(verifiers_.Create());
    if (!verifier || verifier->Initialize(true) != 1) {
        tracer_.Error(TraceEvent::ProcessVerifierMissing, executable);
        return false;
    }
    const auto verdict = verifier->VerifyFile(executable.c_str(), level);
    if (RefusesFile(verdict)) {
        tracer_.Error(TraceEvent::ProcessFileRefused, executable, static_cast<std::uint32_t>(verdict));
        return false;
    }
    if (verdict != tsLib::TrustResult::Trusted) {
        tracer_.Warning(TraceEvent::ProcessStartedUnproven, executable, static_cast<std::uint32_t>(verdict));
    }
    return true;
}

}  // namespace HVR
