// The shell's objects behind the portable interfaces.
#pragma once

#include <windows.h>
// After windows.h.
#include <objidl.h>

#include "shellext/ShellSurface.h"

namespace HVR {

class Win32Menu final : public MenuBuilder {
public:
    explicit Win32Menu(HMENU menu) noexcept : menu_(menu) {}
    tsLib::platform::SystemError InsertSeparator(std::uint32_t position) noexcept override;
    tsLib::platform::SystemError InsertItem(std::uint32_t position, std::uint32_t commandId,
                                            const std::u16string& text) noexcept override;
    void Remove(std::uint32_t position) noexcept override;

private:
    HMENU menu_;
};

class DataObjectSelection final : public Selection {
public:
    explicit DataObjectSelection(IDataObject& object) noexcept : object_(object) {}
    // An object that answers success with another medium than the one asked for has given no list.
    tsLib::HResult TakeDropList(DropHandle& dropList) override;

private:
    IDataObject& object_;
};

class ComApartment final : public Apartment {
public:
    void Enter() noexcept override;
    void Leave() noexcept override;
};

}  // namespace HVR
