// What the handler asks of the shell and of the string tables.
//
// Used on the handler's own thread. Operations may throw std::bad_alloc and, since some reach code of the host,
// anything else; the handler's entry points are its boundary.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tslib/platform/HResult.h"
#include "tslib/platform/SystemError.h"

namespace HVR {

// The shell's drop list as a handle; null for none.
enum class DropHandle : std::uintptr_t {};

// The strings of the current resource instance, which changes while the process runs.
class MenuStrings {
public:
    // The whole string; empty when there is none.
    [[nodiscard]] virtual std::u16string Load(std::uint32_t id) = 0;
    // The same in the system's ANSI code page.
    [[nodiscard]] virtual std::string LoadNarrow(std::uint32_t id) = 0;

protected:
    ~MenuStrings() = default;
};

// The menu that the shell is building. Positions count from 0; one behind the end appends.
class MenuBuilder {
public:
    virtual tsLib::platform::SystemError InsertSeparator(std::uint32_t position) noexcept = 0;
    virtual tsLib::platform::SystemError InsertItem(std::uint32_t position, std::uint32_t commandId,
                                                    const std::u16string& text) noexcept = 0;
    virtual void Remove(std::uint32_t position) noexcept = 0;

protected:
    ~MenuBuilder() = default;
};

// The data object of a selection.
class Selection {
public:
    // The drop list, which nobody frees after this. The output is untouched on failure; success without a list gives
    // null.
    virtual tsLib::HResult TakeDropList(DropHandle& dropList) = 0;

protected:
    ~Selection() = default;
};

// COM on this thread.
class Apartment {
public:
    virtual void Enter() noexcept = 0;
    virtual void Leave() noexcept = 0;

protected:
    ~Apartment() = default;
};

// What the command does: CZebshellEx::Scan.
class ScanOperation {
public:
    virtual tsLib::HResult Scan() = 0;

protected:
    ~ScanOperation() = default;
};

}  // namespace HVR
