// What the doctor asks of Windows.
#pragma once

#include "tools/zebdiag/Doctor.h"

namespace HVR::zebdiag {

class Win32DoctorMachine final : public DoctorMachine {
    using SystemError = tsLib::platform::SystemError;

public:
    // The platform outlives it.
    explicit Win32DoctorMachine(const tsLib::platform::Platform& platform) noexcept : platform_(platform) {}

    SystemError ReadResource(const std::u16string& module, const std::u16string& type, std::uint16_t id,
                             std::vector<std::byte>& bytes) override;
    SystemError TryWriting(const std::u16string& path) override;
    [[nodiscard]] std::unique_ptr<ShellMenu> MakeMenu(const RegisteredHandler& handler,
                                                      const std::u16string& path) override;
    SystemError IsProtectionSuspended(bool& isSuspended) override;

private:
    const tsLib::platform::Platform& platform_;
};

}  // namespace HVR::zebdiag
