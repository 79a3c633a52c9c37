#include "resources/StringTable.h"

namespace HVR {

std::u16string ReadWholeString(tsLib::platform::Modules& modules, tsLib::platform::ModuleHandle module,
                               std::uint32_t id) {
    constexpr std::size_t kFirstBufferSize = 512;
    std::u16string text;
    for (std::size_t size = kFirstBufferSize;; size *= 2) {
        text.resize(size);
        const std::size_t length = modules.ReadString(module, id, text);
        // A text that fills the buffer may have been cut.
        if (length < size - 1 || size > kLongestString) {
            text.resize(length);
            return text;
        }
    }
}

}  // namespace HVR
