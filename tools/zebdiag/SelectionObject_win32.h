// A selection as the shell hands it to its extensions.
#pragma once

#include <windows.h>
// After windows.h.
#include <shlobj.h>
#include <wrl/client.h>

#include <memory>
#include <string>
#include <vector>

namespace HVR::zebdiag {

struct FreeItemList {
    void operator()(ITEMIDLIST* list) const noexcept { ILFree(list); }
};
using ItemList = std::unique_ptr<ITEMIDLIST, FreeItemList>;

struct ShellSelection {
    Microsoft::WRL::ComPtr<IDataObject> object;
    ItemList folder;        // that holds the items; null when the namespace does not know them
    std::string whyNot;     // when the object is not the shell namespace's
    bool isFolder = false;  // whether the first item is a folder
};

// The data object of the shell namespace, as a folder window would get it. Where the namespace cannot give one that
// holds exactly these paths (items of several folders, paths too long for it), an object with just a drop list. Throws
// std::runtime_error for a path that does not exist. COM must be initialised on the thread.
[[nodiscard]] ShellSelection MakeSelection(const std::vector<std::u16string>& paths);

}  // namespace HVR::zebdiag
