#include "tools/zebdiag/DoctorMachine_win32.h"

#include <windows.h>

#include <memory>

#include "companions/protection/Win32SuspensionMarks_win32.h"
#include "tools/zebdiag/Win32Verbs.h"
#include "tslib/platform/win32/LastError.h"
#include "tslib/platform/win32/WideText.h"

namespace HVR::zebdiag {

using tsLib::platform::SystemError;
using tsLib::platform::win32::LastFailure;
using tsLib::platform::win32::ToWide;

SystemError Win32DoctorMachine::ReadResource(const std::u16string& module, const std::u16string& type, std::uint16_t id,
                                             std::vector<std::byte>& bytes) {
    const auto unmap = [](HMODULE mapped) { FreeLibrary(mapped); };
    const std::unique_ptr<std::remove_pointer_t<HMODULE>, decltype(unmap)> mapped(
        LoadLibraryExW(ToWide(module), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE), unmap);
    const HRSRC found = mapped == nullptr ? nullptr : FindResourceW(mapped.get(), MAKEINTRESOURCEW(id), ToWide(type));
    const HGLOBAL loaded = found == nullptr ? nullptr : LoadResource(mapped.get(), found);
    if (loaded == nullptr) {
        return LastFailure();
    }
    const auto* const first = static_cast<const std::byte*>(LockResource(loaded));
    bytes.assign(first, first + SizeofResource(mapped.get(), found));
    return SystemError::Success;
}

SystemError Win32DoctorMachine::TryWriting(const std::u16string& path) {
    const HANDLE file = CreateFileW(ToWide(path), GENERIC_WRITE | DELETE, 0, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return LastFailure();
    }
    DWORD written = 0;
    const bool isWritten = WriteFile(file, "\r\n", 2, &written, nullptr) != FALSE;
    const SystemError error = isWritten ? SystemError::Success : LastFailure();
    CloseHandle(file);
    return error;
}

std::unique_ptr<ShellMenu> Win32DoctorMachine::MakeMenu(const RegisteredHandler& handler, const std::u16string& path) {
    return MakeWin32HandlerMenu(platform_, handler, path);
}

SystemError Win32DoctorMachine::IsProtectionSuspended(bool& isSuspended) {
    return Win32SuspensionMarks().IsAnySet(isSuspended);
}

}  // namespace HVR::zebdiag
