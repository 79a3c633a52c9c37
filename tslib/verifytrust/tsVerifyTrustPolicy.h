// The trust policy in the registry.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "tslib/Isolation.h"
#include "tslib/Tracer.h"
#include "tslib/platform/Registry.h"

namespace tsLib {

// The policy lives under HKEY_LOCAL_MACHINE, in the library's settings root followed by \Tessel\tsVerifyTrust. No
// operation throws. Any thread. The interfaces must outlive the object.
class tsVerifyTrustPolicy {
public:
    tsVerifyTrustPolicy(platform::Registry& registry, Isolation& isolation, platform::TraceOutput& trace) noexcept
        : registry_(registry), isolation_(isolation), tracer_(trace) {}

    // The number "AlternateTrustPolicy", non-zero meaning on; on when the key or the number cannot be read. A number
    // once read is the answer for the life of the process, also after SetAlternateTrustPolicy.
    [[nodiscard]] bool IsAlternateTrustPolicy() noexcept;
    // On writes 1 to "AlternateTrustPolicy", making the key where it is missing. Off deletes the value "TrustPolicy"
    // and leaves "AlternateTrustPolicy" as it is: the two are not each other's opposite. True when the platform did it;
    // false, too, when the value to delete is not there.
    [[nodiscard]] bool SetAlternateTrustPolicy(bool on) noexcept;

private:
    enum class Known : std::uint8_t { Unread, Off, On };

    [[nodiscard]] bool KeyPath(std::u16string& path);
    platform::SystemError Read(bool& on);
    platform::SystemError Write(bool on);

    platform::Registry& registry_;
    Isolation& isolation_;
    Tracer tracer_;
    std::atomic<Known> known_{Known::Unread};
};

}  // namespace tsLib
