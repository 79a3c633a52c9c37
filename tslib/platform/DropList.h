// The shell's list of selected paths.
#pragma once

#include <cstdint>
#include <string>

namespace tsLib::platform {

// Reading all items costs time linear in the list's size. Used on one thread.
class DropList {
public:
    // Whether there is a drop list at all. The other operations may be called only while there is one.
    [[nodiscard]] virtual bool IsPresent() const noexcept = 0;
    // The number of items; 0 for a list that is malformed or cannot be read.
    [[nodiscard]] virtual std::uint32_t Count() = 0;
    // The item's full path, exactly as the shell lists it, of any length. Empty when it cannot be read. Throws
    // std::bad_alloc only.
    [[nodiscard]] virtual std::u16string Item(std::uint32_t index) = 0;

protected:
    ~DropList() = default;
};

}  // namespace tsLib::platform
