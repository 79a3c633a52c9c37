// The shell's objects behind the portable interface.
#pragma once

#include <windows.h>
// After windows.h.
#include <objidl.h>
#include <shellapi.h>

#include "shellext/ShellSurface.h"

namespace HVR {

// The handles are the platform's own: HMENU, IDataObject* and HDROP.
[[nodiscard]] inline MenuHandle FromMenu(HMENU menu) noexcept {
    return MenuHandle{reinterpret_cast<std::uintptr_t>(menu)};
}
[[nodiscard]] inline SelectionHandle FromSelection(IDataObject* object) noexcept {
    return SelectionHandle{reinterpret_cast<std::uintptr_t>(object)};
}
[[nodiscard]] inline HDROP ToDropList(DropHandle list) noexcept {
    return reinterpret_cast<HDROP>(static_cast<std::uintptr_t>(list));
}

class Win32Shell final : public ShellSurface {
public:
    tsLib::platform::SystemError InsertSeparator(MenuHandle menu, std::uint32_t position) noexcept override;
    tsLib::platform::SystemError InsertItem(MenuHandle menu, std::uint32_t position, std::uint32_t commandId,
                                            const std::u16string& text) noexcept override;
    void RemoveItem(MenuHandle menu, std::uint32_t position) noexcept override;
    // An object that answers success with another medium than the one asked for has given no list.
    tsLib::HResult TakeDropList(SelectionHandle selection, TakenDropList& taken) override;
    void GiveBack(const TakenDropList& taken) noexcept override;
    void EnterApartment() noexcept override;
    void LeaveApartment() noexcept override;
};

}  // namespace HVR
