#include "tslib/verifytrust/tsVerifyTrustPolicy.h"

#include <cstring>

#include "tslib/RegistryText.h"

namespace tsLib {

using platform::SystemError;

namespace {

constexpr const char16_t* kSubkey = u"\\Tessel\\tsVerifyTrust";
constexpr const char16_t* kAlternateTrustPolicy = u"AlternateTrustPolicy";
constexpr const char16_t* kTrustPolicy = u"TrustPolicy";

}  // namespace

bool tsVerifyTrustPolicy::IsAlternateTrustPolicy() noexcept {
    using Policy = TrustProcessState::Policy;
    const Policy known = state_.alternatePolicy.load(std::memory_order_relaxed);
    if (known != Policy::Unread) {
        return known == Policy::On;
    }
    bool on = true;
    auto error = SystemError::InternalError;
    try {
        error = Read(on);
    } catch (...) {
    }
    if (Failed(error)) {
        tracer_.Information(TraceEvent::TrustPolicyUnread, error);
        return true;
    }
    state_.alternatePolicy.store(on ? Policy::On : Policy::Off, std::memory_order_relaxed);
    return on;
}

bool tsVerifyTrustPolicy::SetAlternateTrustPolicy(bool on) noexcept {
    auto error = SystemError::InternalError;
    try {
        error = Write(on);
    } catch (...) {
    }
    if (Failed(error)) {
        tracer_.Error(TraceEvent::TrustPolicyUnwritten, error);
    }
    return Succeeded(error);
}

bool tsVerifyTrustPolicy::KeyPath(std::u16string& path) {
    if (!settings_.Root(path)) {
        return false;
    }
    path += kSubkey;
    return true;
}

SystemError tsVerifyTrustPolicy::Read(bool& on) {
    std::u16string path;
    if (!KeyPath(path)) {
        return SystemError::PathNotFound;
    }
    platform::OwnedRegistryKey key(registry_);
    SystemError error = registry_.OpenKey(platform::RegistryRoot::LocalMachine, path,
                                          platform::kKeyRead | settings_.RegistryViewFlag(), key.Receive());
    std::uint32_t number = 0;
    if (Succeeded(error)) {
        error = ReadDword(registry_, key.Get(), kAlternateTrustPolicy, number);
    }
    if (Succeeded(error)) {
        on = number != 0;
    }
    return error;
}

SystemError tsVerifyTrustPolicy::Write(bool on) {
    std::u16string path;
    if (!KeyPath(path)) {
        return SystemError::PathNotFound;
    }
    platform::OwnedRegistryKey key(registry_);
    const std::uint32_t access = platform::kKeyWrite | settings_.RegistryViewFlag();
    if (!on) {
        const SystemError error = registry_.OpenKey(platform::RegistryRoot::LocalMachine, path, access, key.Receive());
        return Failed(error) ? error : registry_.DeleteValue(key.Get(), kTrustPolicy);
    }
    const SystemError error = registry_.CreateKey(platform::RegistryRoot::LocalMachine, path, access, key.Receive());
    if (Failed(error)) {
        return error;
    }
    constexpr std::uint32_t kOn = 1;
    platform::RegistryValue value{platform::kValueDword, std::vector<std::byte>(sizeof(kOn))};
    std::memcpy(value.data.data(), &kOn, sizeof(kOn));
    return registry_.WriteValue(key.Get(), kAlternateTrustPolicy, value);
}

}  // namespace tsLib
