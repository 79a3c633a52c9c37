// A file that stays what it is for as long as it is looked at, and the one name that leads to it meanwhile.
#pragma once

#include <string>
#include <vector>

#include "tslib/platform/Files.h"
#include "tslib/platform/Modules.h"

namespace tsLib::platform {

// Held from construction to destruction: opened once, with read sharing only, so that it can be neither written, nor
// renamed, nor deleted. Some file systems let a folder be renamed although a file below it is open: the folders above
// it are held too, as far as they may be opened. What takes no handle is asked by Name(), which leads to this file for
// as long as it is held. One thread.
class HeldFile {
public:
    // Where nothing but the handle is asked the file alone will do; its name may lead elsewhere at any time then.
    enum class What { FileAndName, FileAlone };
    // The path is taken as it is. Nothing is held when that fails: SharingViolation when somebody writes the file or
    // may rename it, FileInvalid when it was exchanged meanwhile. Throws std::bad_alloc only.
    HeldFile(Files& files, const std::u16string& path, What what = What::FileAndName);
    // Holds nothing, for that reason.
    HeldFile(Files& files, SystemError reason) noexcept : files_(files), file_(files), error_(reason) {}

    // Holds the name too, of a file that was held alone. Nothing is held any more when that fails.
    void HoldName();

    [[nodiscard]] explicit operator bool() const noexcept { return Succeeded(error_); }
    [[nodiscard]] SystemError Error() const noexcept { return error_; }
    // Only of a file that is held:
    [[nodiscard]] FileHandle Handle() const noexcept { return file_.Get(); }
    // Fully qualified, without links on the way, and as it was given when it differs in letter case alone. It
    // begins with \\?\ unless every function of the platform takes it for this file without that.
    [[nodiscard]] const std::u16string& Name() const noexcept { return name_; }
    // Whether a loaded or mapped module is a view of this very file.
    [[nodiscard]] bool IsFileOf(Modules& modules, ModuleHandle module) const;

private:
    SystemError Hold(const std::u16string& path);
    SystemError KeepName();
    SystemError TakeName(std::u16string& final);
    void Conclude(SystemError error);
    [[nodiscard]] SystemError HoldFolders(const std::u16string& path);
    // Whether the path leads to this file now.
    [[nodiscard]] bool IsAt(const std::u16string& path) const;

    Files& files_;
    std::vector<OwnedFile> folders_;  // let go after the file
    OwnedFile file_;
    FileIdentity identity_;  // while the name is held
    bool isNameHeld_ = false;
    std::u16string name_;
    SystemError error_ = SystemError::Success;
};

// Of a path with \\?\ in front: the form without it when every function of the platform takes that for the same file,
// else the path itself. Functions cut blanks and dots at the end of elements, know names that stand for devices and
// limits of length; and some replace what stands between percent signs.
[[nodiscard]] std::u16string PlainNameOf(const std::u16string& literalPath);

}  // namespace tsLib::platform
