#include "companions/protection/Win32SuspensionMarks_win32.h"

#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/WideText.h"

namespace HVR {

using tsLib::platform::SystemError;
using namespace tsLib::platform::win32;

SystemError Win32SuspensionMarks::Set(MarkHandle& mark) noexcept {
    return Give(CreateEventW(nullptr, TRUE, FALSE, ToWide(name_)), mark);
}

SystemError Win32SuspensionMarks::Remove(MarkHandle mark) noexcept {
    return FromBool(CloseHandle(FromSeam<HANDLE>(mark)));
}

SystemError Win32SuspensionMarks::IsAnySet(bool& isSet) noexcept {
    const UniqueKernelHandle event(OpenEventW(SYNCHRONIZE, FALSE, ToWide(name_)));
    const SystemError error = event ? SystemError::Success : LastFailure();
    if (Failed(error) && error != SystemError::FileNotFound) {
        return error;
    }
    isSet = Succeeded(error);
    return SystemError::Success;
}

}  // namespace HVR
