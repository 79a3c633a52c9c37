// The allocator whose blocks may be freed by another module than the one that allocated them.
#pragma once

#include <cstddef>

namespace tsLib::platform {

// Backed by CoTaskMemAlloc and CoTaskMemFree: a caller outside the library frees with CoTaskMemFree. Any thread.
class ComponentMemory {
public:
    // Null when there is no memory. Aligned for any fundamental type.
    [[nodiscard]] virtual void* Allocate(std::size_t bytes) noexcept = 0;
    // Null is allowed.
    virtual void Free(void* block) noexcept = 0;

protected:
    ~ComponentMemory() = default;
};

}  // namespace tsLib::platform
