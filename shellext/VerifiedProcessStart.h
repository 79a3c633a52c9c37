// Starting a program only after its signature has been verified.
#pragma once

#include <cstdint>
#include <string>

#include "tslib/Tracer.h"
#include "tslib/TrustResult.h"
#include "tslib/TrustVerifierFactory.h"
#include "tslib/platform/Files.h"
#include "tslib/platform/PathForms.h"
#include "tslib/platform/Processes.h"

namespace HVR {

// Keeps no state between calls. The interfaces must outlive it.
class VerifiedProcessStart {
public:
    VerifiedProcessStart(tsLib::platform::Files& files, tsLib::platform::PathForms& pathForms,
                         tsLib::platform::ProcessStarter& starter, tsLib::TrustVerifierFactory& verifiers,
                         tsLib::Tracer tracer) noexcept
        : files_(files), pathForms_(pathForms), starter_(starter), verifiers_(verifiers), tracer_(tracer) {}

    // Starts `executable` with the command line "<executable>" <arguments>, its path in double quotes. The file is
    // kept open with read sharing only from before its verification until the process exists, so that what was
    // verified is what starts. True when the process was created; the caller then closes the handles in `started`,
    // each that is set. False, with `started` untouched and the reason traced, when the path is not fully qualified
    // or not plain, the file cannot be opened, no verifier can be had, the verdict refuses the file, or the platform
    // does not create the process. May throw std::bad_alloc and nothing else; nothing stays open then. Any thread.
    [[nodiscard]] bool Start(const std::u16string& executable, const std::u16string& arguments,
                             std::uint32_t creationFlags, tsLib::TrustLevel level,
                             tsLib::platform::StartedProcess& started);

private:
    bool IsPlain(const std::u16string& executable, const std::u16string& arguments);
    bool Verify(const std::u16string& executable, tsLib::TrustLevel level);

    tsLib::platform::Files& files_;
    tsLib::platform::PathForms& pathForms_;
    tsLib::platform::ProcessStarter& starter_;
    tsLib::TrustVerifierFactory& verifiers_;
    tsLib::Tracer tracer_;
};

}  // namespace HVR
