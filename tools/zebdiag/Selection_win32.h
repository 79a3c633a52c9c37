// A selection as the shell hands it on.
#pragma once

#include <windows.h>
// After windows.h.
#include <shlobj.h>
#include <wrl/client.h>

#include <memory>
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

struct FreeItemList {
    void operator()(ITEMIDLIST* list) const noexcept { ILFree(list); }
};
using ItemList = std::unique_ptr<ITEMIDLIST, FreeItemList>;

struct ShellSelection {
    Microsoft::WRL::ComPtr<IDataObject> object;
    ItemList folder;        // that holds the items; null when the namespace does not know them
    std::string whyOwn;     // why the object is not the shell namespace's; empty when it is
    bool isFolder = false;  // whether the first item is a folder
};

// The data object of the shell namespace, as a folder window would get it. Where the namespace cannot give one that
// holds exactly these paths (items of several folders, paths too long for it), an object with just a drop list. Throws
// std::runtime_error for a path that does not exist. COM must be initialised on the thread.
[[nodiscard]] ShellSelection MakeSelection(const std::vector<std::u16string>& paths);

}  // namespace HVR::zebdiag
