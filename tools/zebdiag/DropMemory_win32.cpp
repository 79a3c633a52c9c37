#include "tools/zebdiag/DropMemory_win32.h"

// After windows.h.
#include <shlobj.h>

#include <cstddef>
#include <cstring>
#include <new>

namespace HVR::zebdiag {

DropMemory::DropMemory(const std::vector<std::u16string>& paths) {
    std::u16string list;
    for (const std::u16string& path : paths) {
        list.append(path).push_back(u'\0');
    }
    list.push_back(u'\0');
    DROPFILES header{};
    header.pFiles = sizeof(header);
    header.fWide = TRUE;
    const std::size_t bytes = list.size() * sizeof(char16_t);
    memory_ = GlobalAlloc(GMEM_MOVEABLE, sizeof(header) + bytes);
    void* block = memory_ == nullptr ? nullptr : GlobalLock(memory_);
    if (block == nullptr) {
        GlobalFree(memory_);
        throw std::bad_alloc();
    }
    std::memcpy(block, &header, sizeof(header));
    std::memcpy(static_cast<std::byte*>(block) + sizeof(header), list.data(), bytes);
    GlobalUnlock(memory_);
}

DropMemory::~DropMemory() { GlobalFree(memory_); }

}  // namespace HVR::zebdiag
