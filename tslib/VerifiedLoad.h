// A file on its way into use: held from before its verification until it is loaded, mapped or started.
#pragma once

#include <string>

#include "tslib/platform/HeldFile.h"
#include "tslib/platform/Modules.h"

namespace tsLib {

// The one way in which this library loads a module or starts a program that it names. The owner asks by Name() whether
// the file may be used, and then uses it through this object, or by that very name while this object lives. What came
// to be loaded is compared with the file that is held, so that no verdict about a name is taken for one about a file.
// One thread.
class VerifiedLoad {
public:
    // Nothing is held, and then nothing may be used, when that fails: ModuleNotFound for a path that depends on the
    // current folder or a search, or leads to a device, and which is not even looked at; else as HeldFile says. Throws
    // std::bad_alloc only.
    VerifiedLoad(platform::Files& files, platform::Modules& modules, const std::u16string& path);

    [[nodiscard]] explicit operator bool() const noexcept { return static_cast<bool>(file_); }
    [[nodiscard]] platform::SystemError Error() const noexcept { return file_.Error(); }
    // Only of a file that is held.
    [[nodiscard]] const std::u16string& Name() const noexcept { return file_.Name(); }

    // Both refuse with Error() when nothing is held, with ModuleNotFound a name that the platform would add an
    // extension to, and with FileInvalid when the platform came back with another file's module. Nothing is loaded or
    // mapped then.
    [[nodiscard]] platform::SystemError LoadToRun(platform::OwnedModule& module) const;
    // The caller unmaps it.
    [[nodiscard]] platform::SystemError MapResources(platform::ModuleHandle& module) const;

private:
    // The name by which the platform loads this file and no other.
    [[nodiscard]] platform::SystemError NameForLoader(std::u16string& name) const;

    platform::Modules& modules_;
    platform::HeldFile file_;
};

}  // namespace tsLib
