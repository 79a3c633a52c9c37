#include "tslib/verifytrust/tsVerifyTrustPolicy.h"

#include "tslib/RegistryText.h"
#include "tslib/platform/Boundary.h"

namespace tsLib {

using platform::SystemError;

namespace {

constexpr const char16_t* kSubkey = u"\\Tessel\\tsVerifyTrust";
constexpr const char16_t* kAlternateTrustPolicy = u"AlternateTrustPolicy";
constexpr const char16_t* kTrustPolicy = u"TrustPolicy";

}  // namespace

bool tsVerifyTrustPolicy::IsAlternateTrustPolicy() noexcept {
    const Known known = known_.load(std::memory_order_relaxed);
    if (known != Known::Unread) {
        return known == Known::On;
    }
    bool on = true;
    const SystemError error = AtBoundary(SystemError::InternalError, [&] { return Read(on); });
    if (Failed(error)) {
        tracer_.Information(TraceEvent::TrustPolicyUnread, error);
        return true;
    }
    known_.store(on ? Known::On : Known::Off, std::memory_order_relaxed);
    return on;
}

bool tsVerifyTrustPolicy::SetAlternateTrustPolicy(bool on) noexcept {
    const SystemError error = AtBoundary(SystemError::InternalError, [&] { return Write(on); });
    if (Failed(error)) {
        tracer_.Error(TraceEvent::TrustPolicyUnwritten, error);
    }
    return Succeeded(error);
}

bool tsVerifyTrustPolicy::KeyPath(std::u16string& path) {
    if (!isolation_.Root(path)) {
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
                                          platform::kKeyRead | isolation_.RegistryViewFlag(), key.Receive());
    std::uint32_t number{};
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
    const std::uint32_t access = platform::kKeyWrite | isolation_.RegistryViewFlag();
    constexpr auto kRoot = platform::RegistryRoot::LocalMachine;
    const SystemError error = on ? registry_.CreateKey(kRoot, path, access, key.Receive())
                                 : registry_.OpenKey(kRoot, path, access, key.Receive());
    if (Failed(error)) {
        return error;
    }
    return on ? registry_.WriteValue(key.Get(), kAlternateTrustPolicy, DwordValue(1))
              : registry_.DeleteValue(key.Get(), kTrustPolicy);
}

}  // namespace tsLib
