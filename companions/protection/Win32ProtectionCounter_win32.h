#pragma once

#include <mutex>

#include "companions/protection/ProtectionCounter.h"

namespace HVR {

// The number stands in a named shared section. The section is open here only while this object has added more than it
// took back, so the number is 0 again when the last process that suspended something is gone, however it ended.
//
// Every process of the session may have made the section before. One that is too small, not plain memory or of another
// layout is InvalidData; an object of another kind by that name is InvalidHandle, one without access AccessDenied.
class Win32ProtectionCounter final : public ProtectionCounter {
public:
    // The name is not copied.
    explicit Win32ProtectionCounter(const char16_t* name = u"Local\\HalvoraProtection") noexcept : name_(name) {}
    Win32ProtectionCounter(const Win32ProtectionCounter&) = delete;
    Win32ProtectionCounter& operator=(const Win32ProtectionCounter&) = delete;
    ~Win32ProtectionCounter();

    tsLib::platform::SystemError Add(std::uint32_t suspensions) noexcept override;
    tsLib::platform::SystemError Subtract(std::uint32_t suspensions) noexcept override;
    tsLib::platform::SystemError Read(std::uint32_t& suspensions) noexcept override;

private:
    void CloseKept() noexcept;

    const char16_t* name_;
    std::mutex mutex_;
    std::uint32_t own_ = 0;  // what was added here and not taken back
    void* section_ = nullptr;
    void* view_ = nullptr;
};

}  // namespace HVR
