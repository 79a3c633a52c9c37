#include "AgentCore/ProductInstallPathResolver.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "AgentCore/DriverTable.h"
#include "tslib/platform/AsciiCase.h"
#include "tslib/platform/Boundary.h"

namespace HVR {

using tsLib::HResult;
using tsLib::TraceEvent;
using tsLib::platform::SystemError;

namespace {

struct FolderRule {
    std::u16string_view token;
    std::u16string_view below;
};

// By kind.
constexpr std::array<FolderRule, 13> kFolderRules{{
    {u"%INSTALLDIR%", u""},
    {u"%HVRLOGDIR%", u""},
    {u"%HVRCONFIGDIR%", u""},
    {u"%HVRSTATEDIR%", u""},
    {u"%HVRRESDLLDIR%", u""},
    {u"%BASEDIR%", u""},
    {u"%HVRDRIVERDIR%", u""},  // unless the driver belongs with the system's own
    {u"%INSTALLDIR%", u"Help"},
    {u"%HVRFEATURESTATEDIR%", u""},
    {u"%BASEDIR%", u"Temp"},
    {u"%BASEDIR%", u""},
    {u"%APPDATA%", u""},
    {u"%VanePlatformEngine%", u""},
}};

bool IsInSystemDriverFolder(std::u16string_view fileName) noexcept {
    return std::any_of(kDriverTable.begin(), kDriverTable.end(), [fileName](const DriverLocation& driver) {
        return tsLib::EqualsAscii(driver.fileName, fileName) && driver.location == kSystemDriverFolder;
    });
}

// Exactly one backslash at the end, also for a folder that is nothing but backslashes.
void EndInBackslash(std::u16string& folder) {
    folder.resize(folder.find_last_not_of(u'\\') + 1);
    folder += u'\\';
}

}  // namespace

std::u16string_view FolderToken(std::uint32_t kind) noexcept {
    return kind < kFolderRules.size() ? kFolderRules[kind].token : std::u16string_view();
}

HResult CProductInstallPathResolver::GetPath(std::uint32_t kind, const char* fileName, char16_t** path,
                                             std::uint32_t /*flags*/) noexcept {
    return AtBoundary(kind, [&] {
        std::u16string wide;
        if (fileName != nullptr && *fileName != '\0') {
            if (const SystemError error = platform_.textRules.FromNarrow(fileName, wide); Failed(error)) {
                return Traced(kind, tsLib::FromSystemError(error));
            }
        }
        return Resolve(kind, wide, path);
    });
}

HResult CProductInstallPathResolver::GetPath(std::uint32_t kind, const char16_t* fileName, char16_t** path,
                                             std::uint32_t /*flags*/) noexcept {
    return AtBoundary(kind, [&] {
        return Resolve(kind, fileName == nullptr ? std::u16string_view() : std::u16string_view(fileName), path);
    });
}

template <class Body>
HResult CProductInstallPathResolver::AtBoundary(std::uint32_t kind, Body&& body) noexcept {
    return tsLib::AtBoundary([&] { return Traced(kind, HResult::OutOfMemory); },
                             [&] { return Traced(kind, HResult::Unexpected); }, body);
}

HResult CProductInstallPathResolver::Resolve(std::uint32_t kind, std::u16string_view fileName, char16_t** path) {
    if (kind >= kFolderRules.size()) {
        tracer_.Error(TraceEvent::InstallPathKindUnknown, kind);
        return HResult::InvalidArgument;
    }
    std::u16string full;
    std::u16string_view below = kFolderRules[kind].below;
    if (kind == kDriverFolder && IsInSystemDriverFolder(fileName)) {
        if (const SystemError error = platform_.system.WindowsFolder(full); Failed(error)) {
            tracer_.Error(TraceEvent::InstallPathNoWindowsFolder, error);
            return HResult::PathNotFound;
        }
        below = u"system32\\drivers";
    } else if (const std::u16string_view token = kFolderRules[kind].token; !expansion_.Expand(token, full)) {
        tracer_.Error(TraceEvent::InstallPathUnexpanded, kind, token);
        return HResult::PathNotFound;
    }
    EndInBackslash(full);
    if (!below.empty()) {
        full += below;
        full += u'\\';
    }
    full += fileName;
    const HResult result = HandOver(full, path);
    return Failed(result) ? Traced(kind, result) : result;
}

HResult CProductInstallPathResolver::HandOver(std::u16string_view text, char16_t** path) noexcept {
    if (path == nullptr) {
        return HResult::InvalidArgument;
    }
    const std::size_t bytes = text.size() * sizeof(char16_t);
    auto* const block = static_cast<char16_t*>(platform_.system.Allocate(bytes + sizeof(char16_t)));
    if (block == nullptr) {
        return HResult::OutOfMemory;
    }
    std::memcpy(block, text.data(), bytes);
    block[text.size()] = u'\0';
    *path = block;
    return HResult::Ok;
}

HResult CProductInstallPathResolver::Traced(std::uint32_t kind, HResult result) noexcept {
    tracer_.Error(TraceEvent::InstallPathNotReturned, kind, result);
    return result;
}

}  // namespace HVR
