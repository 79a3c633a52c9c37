#include "shellext/InstanceStrings.h"

namespace HVR {

std::u16string InstanceStrings::Load(std::uint32_t id) {
    constexpr std::size_t kFirstCapacity = 256;
    constexpr std::size_t kLastCapacity = 8192;
    std::u16string text;
    for (std::size_t capacity = kFirstCapacity;; capacity *= 2) {
        text.resize(capacity);
        const std::size_t length = modules_.ReadString(instance_.Get(), id, text);
        // A full buffer means that the text may have been cut.
        if (length + 1 < capacity || capacity == kLastCapacity) {
            text.resize(length);
            return text;
        }
    }
}

std::string InstanceStrings::LoadNarrow(std::uint32_t id) {
    std::string narrow;
    return Succeeded(codePage_.ToNarrow(Load(id), narrow)) ? narrow : std::string();
}

}  // namespace HVR
