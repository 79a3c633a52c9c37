#include "tslib/platform/HeldFile.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "tslib/platform/AsciiCase.h"
#include "tslib/platform/FullPath.h"

namespace tsLib::platform {

namespace {

constexpr std::u16string_view kPrefix = u"\\\\?\\";
constexpr std::u16string_view kSharePrefix = u"\\\\?\\UNC\\";
// From here on the platform's functions begin to refuse paths without the prefix.
constexpr std::size_t kLongPathLength = 248;

// NUL, COM1 and the like, with or without an extension, lead to devices in any folder.
bool IsDeviceName(std::u16string_view element) noexcept {
    const std::u16string_view base = element.substr(0, element.find(u'.'));
    const auto isNumbered = [&](std::u16string_view device) {
        return base.size() == device.size() + 1 && EqualsAscii(base.substr(0, device.size()), device) &&
               base.back() >= u'0' && base.back() <= u'9';
    };
    return std::ranges::any_of(std::initializer_list<std::u16string_view>{u"CON", u"PRN", u"AUX", u"NUL"},
                               [&](std::u16string_view device) { return EqualsAscii(base, device); }) ||
           isNumbered(u"COM") || isNumbered(u"LPT");
}

bool IsPlainElement(std::u16string_view element) noexcept {
    return !element.empty() && element.back() != u'.' && element.back() != u' ' && !IsDeviceName(element) &&
           std::ranges::none_of(element, [](char16_t unit) {
               return unit < u' ' || std::u16string_view(u"/:\"*?<>|").find(unit) != std::u16string_view::npos;
           });
}

// The folder above, without a backslash at its end; empty above the root.
std::u16string_view FolderOf(std::u16string_view path) noexcept {
    const std::size_t end = path.rfind(u'\\');
    return path.substr(0, end == std::u16string_view::npos ? 0 : end);
}

}  // namespace

std::u16string PlainNameOf(const std::u16string& literalPath) {
    const bool isShare = literalPath.starts_with(kSharePrefix);
    std::u16string plain = isShare ? u"\\\\" + literalPath.substr(kSharePrefix.size())
                                   : literalPath.substr(std::min(kPrefix.size(), literalPath.size()));
    // Between two percent signs may be the name of a variable.
    if (plain.size() >= kLongPathLength || !(isShare ? StartsAtShare(plain) : StartsAtDrive(plain)) ||
        std::ranges::count(plain, u'%') > 1) {
        return literalPath;
    }
    for (std::u16string_view rest = std::u16string_view(plain).substr(isShare ? 2 : 3); !rest.empty();) {
        const std::u16string_view element = rest.substr(0, rest.find(u'\\'));
        if (!IsPlainElement(element)) {
            return literalPath;
        }
        rest.remove_prefix(std::min(rest.size(), element.size() + 1));
    }
    return plain;
}

HeldFile::HeldFile(Files& files, const std::u16string& path, What what) : files_(files), file_(files) {
    Conclude(Hold(path));
    if (what == What::FileAndName) {
        HoldName();
    }
}

void HeldFile::HoldName() {
    if (Succeeded(error_) && !isNameHeld_) {
        Conclude(KeepName());
        isNameHeld_ = Succeeded(error_);
    }
}

void HeldFile::Conclude(SystemError error) {
    error_ = error;
    if (Failed(error)) {
        file_.Reset();
        folders_.clear();
    }
}

SystemError HeldFile::Hold(const std::u16string& path) {
    if (const auto error = files_.OpenForReading(path, FileSharing::Readers, file_.Receive()); Failed(error)) {
        return error;
    }
    name_ = path;
    std::u16string final;
    return TakeName(final);
}

SystemError HeldFile::TakeName(std::u16string& final) {
    if (const auto error = files_.FinalPath(file_.Get(), final); Failed(error)) {
        return error;
    }
    if (std::u16string plain = PlainNameOf(final); !EqualsAscii(plain, name_)) {
        name_ = std::move(plain);
    }
    return SystemError::Success;
}

SystemError HeldFile::KeepName() {
    std::u16string final;
    if (const auto error = files_.Identity(file_.Get(), identity_); Failed(error)) {
        return error;
    }
    if (const auto error = TakeName(final); Failed(error)) {
        return error;
    }
    if (const auto error = HoldFolders(final); Failed(error)) {
        return error;
    }
    // A folder may have been renamed before it was held.
    return IsAt(name_) ? SystemError::Success : SystemError::FileInvalid;
}

SystemError HeldFile::HoldFolders(const std::u16string& path) {
    // A drive is not renamed, and neither is a share.
    const std::size_t root =
        path.starts_with(kSharePrefix) ? path.find(u'\\', kSharePrefix.size()) + 1 : kPrefix.size();
    for (std::u16string_view folder = FolderOf(path); folder.find(u'\\', root) != std::u16string_view::npos;
         folder = FolderOf(folder)) {
        OwnedFile held(files_);
        const auto error = files_.HoldFolder(std::u16string(folder), held.Receive());
        if (Succeeded(error)) {
            folders_.push_back(std::move(held));
        } else if (error != SystemError::AccessDenied) {  // only listing it is denied
            return error;
        }
    }
    return SystemError::Success;
}

bool HeldFile::IsAt(const std::u16string& path) const {
    OwnedFile other(files_);
    FileIdentity identity;
    return Succeeded(files_.OpenForReading(path, FileSharing::Readers, other.Receive())) &&
           Succeeded(files_.Identity(other.Get(), identity)) && identity == identity_;
}

bool HeldFile::IsFileOf(Modules& modules, ModuleHandle module) const {
    std::u16string path;
    return Succeeded(modules.MappedFile(module, path)) && IsAt(path);
}

}  // namespace tsLib::platform
