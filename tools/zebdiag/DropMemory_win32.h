// The shell's own form of a selection.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace HVR::zebdiag {

// A drop list in global memory, freed at the end unless it was given away. The constructor throws std::bad_alloc.
class DropMemory {
public:
    explicit DropMemory(const std::vector<std::u16string>& paths);
    ~DropMemory();
    DropMemory(const DropMemory&) = delete;
    DropMemory& operator=(const DropMemory&) = delete;

    [[nodiscard]] HGLOBAL Get() const noexcept { return memory_; }
    // The caller's to free from now on.
    [[nodiscard]] HGLOBAL Release() noexcept {
        const HGLOBAL memory = memory_;
        memory_ = nullptr;
        return memory;
    }

private:
    HGLOBAL memory_ = nullptr;
};

}  // namespace HVR::zebdiag
