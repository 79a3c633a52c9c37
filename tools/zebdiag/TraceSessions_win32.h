#pragma once

#include "tools/zebdiag/Verbs.h"

namespace HVR::zebdiag {

// One session, with a fixed name, for the whole machine.
class Win32TraceSessions final : public TraceSessions {
public:
    tsLib::platform::SystemError Start(const std::u16string& file, tsLib::platform::TraceLevel level) override;
    tsLib::platform::SystemError Stop() override;
    tsLib::platform::SystemError Decode(const std::u16string& file, const Decoded& decoded) override;
};

}  // namespace HVR::zebdiag
