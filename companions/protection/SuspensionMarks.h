// The marks that say that on-access protection is suspended, at a place that all processes of a session share.
#pragma once

#include <cstdint>

#include "tslib/platform/SystemError.h"

namespace HVR {

enum class MarkHandle : std::uintptr_t {};

// Protection is suspended while there is a mark. A process's marks go with it, however it ends. Any thread; no
// operation throws, and outputs are untouched on failure.
class SuspensionMarks {
public:
    virtual tsLib::platform::SystemError Set(MarkHandle& mark) noexcept = 0;
    // The mark stays only when that fails.
    virtual tsLib::platform::SystemError Remove(MarkHandle mark) noexcept = 0;
    virtual tsLib::platform::SystemError IsAnySet(bool& isSet) noexcept = 0;

protected:
    ~SuspensionMarks() = default;
};

}  // namespace HVR
