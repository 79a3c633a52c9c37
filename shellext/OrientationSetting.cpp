#include "shellext/OrientationSetting.h"

namespace HVR {

using namespace tsLib::platform;

bool OrientationAllowsScan(Registry& registry) {
    OwnedRegistryKey key(registry);
    if (Failed(registry.OpenKey(RegistryRoot::LocalMachine, kProductKey, kKeyQueryValue, key.Receive()))) {
        return false;
    }
    RegistryValue value;
    if (Failed(registry.ReadValue(key.Get(), kOrientationValue, value)) || value.data.size() > sizeof(std::uint32_t)) {
        return false;
    }
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < value.data.size(); ++i) {
        number |= std::to_integer<std::uint32_t>(value.data[i]) << (8 * i);
    }
    return number != kOrientationRefusal;
}

}  // namespace HVR
