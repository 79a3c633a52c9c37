#pragma once

#include "companions/protection/SuspensionMarks.h"

namespace HVR {

// A mark is a handle of the event by that name: there is one for as long as somebody holds one, and the system counts.
// What the event's state is does not matter.
//
// Every process of the session may have made an object by that name before: one of another kind is InvalidHandle, one
// without access AccessDenied.
class Win32SuspensionMarks final : public SuspensionMarks {
public:
    // The name is not copied.
    explicit Win32SuspensionMarks(const char16_t* name = u"Local\\HalvoraProtectionSuspended") noexcept : name_(name) {}

    tsLib::platform::SystemError Set(MarkHandle& mark) noexcept override;
    tsLib::platform::SystemError Remove(MarkHandle mark) noexcept override;
    tsLib::platform::SystemError IsAnySet(bool& isSet) noexcept override;

private:
    const char16_t* name_;
};

}  // namespace HVR
