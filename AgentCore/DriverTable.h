// Where the product's kernel drivers lie.
#pragma once

#include <array>
#include <string_view>

namespace HVR {

struct DriverLocation {
    std::u16string_view fileName;  // compared without regard to the case of A to Z
    std::u16string_view location;  // kSystemDriverFolder, or a folder of the product
};

// The location word for the system's own driver folder.
inline constexpr std::u16string_view kSystemDriverFolder = u"Default";

// A constant, so that there is no first use to guard.
inline constexpr std::array<DriverLocation, 6> kDriverTable{{
    {u"HvrBoot.sys", kSystemDriverFolder},   // early start
    {u"HvrFsFlt.sys", kSystemDriverFolder},  // file system filter
    {u"HvrNetFl.sys", kSystemDriverFolder},  // network filter
    {u"HvrProc.sys", kSystemDriverFolder},   // process watch
    {u"HvrReg.sys", kSystemDriverFolder},    // registry watch
    {u"HvrScan.sys", u"Product"},            // loaded by the scanner from the product's own folder
}};

}  // namespace HVR
