// What the menu command asks of the shell and of COM.
#pragma once

#include <cstdint>
#include <string>

#include "tslib/platform/HResult.h"
#include "tslib/platform/SystemError.h"

namespace HVR {

// The shell's objects, which only an implementation of ShellSurface understands; null for none.
enum class DropHandle : std::uintptr_t {};
// Who frees a drop list, if it is not its holder (IUnknown).
enum class DropOwner : std::uintptr_t {};
enum class MenuHandle : std::uintptr_t {};
enum class SelectionHandle : std::uintptr_t {};

struct TakenDropList {
    DropHandle list{};
    DropOwner owner{};
};

// Used on the handler's own thread. An operation that is not noexcept runs code of the host, which may throw anything;
// the handler's entry points are the boundary.
class ShellSurface {
public:
    // The menu that the shell is building. Positions count from 0; one behind the end appends.
    virtual tsLib::platform::SystemError InsertSeparator(MenuHandle menu, std::uint32_t position) noexcept = 0;
    virtual tsLib::platform::SystemError InsertItem(MenuHandle menu, std::uint32_t position, std::uint32_t commandId,
                                                    const std::u16string& text) noexcept = 0;
    virtual void RemoveItem(MenuHandle menu, std::uint32_t position) noexcept = 0;

    // The drop list of a selection, to be given to GiveBack once. The output is untouched on failure; success without
    // a list gives null.
    virtual tsLib::HResult TakeDropList(SelectionHandle selection, TakenDropList& taken) = 0;
    virtual void GiveBack(const TakenDropList& taken) noexcept = 0;

    // COM on this thread.
    virtual void EnterApartment() noexcept = 0;
    virtual void LeaveApartment() noexcept = 0;

protected:
    ~ShellSurface() = default;
};

}  // namespace HVR
