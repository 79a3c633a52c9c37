#include "tslib/verifytrust/NormalizedPath.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "tslib/Tracer.h"
#include "tslib/platform/AsciiCase.h"
#include "tslib/platform/FullPath.h"

namespace tsLib {

namespace {

using platform::PathForms;

constexpr std::u16string_view kDevices = u"\\Device\\";
constexpr std::u16string_view kRedirectors[] = {u"\\Device\\Mup", u"\\Device\\LanmanRedirector"};
constexpr std::u16string_view kObjectManager = u"\\??\\";
constexpr std::u16string_view kObjectManagerUnc = u"\\??\\UNC\\";

bool StartsWith(std::u16string_view text, std::u16string_view prefix) noexcept {
    return EqualsAscii(text.substr(0, prefix.size()), prefix);
}

// \Device\HarddiskVolume1 must not match \Device\HarddiskVolume10\x.
bool StartsWithElements(std::u16string_view path, std::u16string_view prefix) noexcept {
    return StartsWith(path, prefix) && (path.size() == prefix.size() || path[prefix.size()] == u'\\');
}

std::u16string Joined(std::u16string_view head, std::u16string_view tail) { return std::u16string(head).append(tail); }

// Makes \\server\share\x of \;connection\server\share\x. Empty when no server is left.
std::u16string UncFromRedirected(std::u16string_view rest) {
    while (rest.starts_with(u"\\;")) {
        rest.remove_prefix(std::min(rest.size(), rest.find(u'\\', 1)));
    }
    return rest.size() > 1 ? Joined(u"\\", rest) : std::u16string();
}

std::u16string FromDevice(PathForms& forms, std::u16string_view path) {
    for (const std::u16string_view redirector : kRedirectors) {
        if (StartsWithElements(path, redirector)) {
            return UncFromRedirected(path.substr(redirector.size()));
        }
    }
    for (char16_t letter = u'A'; letter <= u'Z'; ++letter) {
        std::u16string target;
        if (Succeeded(forms.DosDeviceTarget(letter, target)) && !target.empty() && StartsWithElements(path, target)) {
            const std::u16string_view rest = path.substr(target.size());
            const char16_t drive[] = {letter, u':'};
            return Joined({drive, 2}, rest.empty() ? u"\\" : rest);
        }
    }
    return {};
}

// Empty when the path is not in a native form or has no other one.
std::u16string FromNative(PathForms& forms, std::u16string_view path) {
    if (StartsWith(path, kDevices)) {
        return FromDevice(forms, path);
    }
    if (StartsWith(path, kObjectManagerUnc)) {
        return Joined(u"\\\\", path.substr(kObjectManagerUnc.size()));
    }
    if (StartsWith(path, kObjectManager)) {
        const std::u16string_view rest = path.substr(kObjectManager.size());
        return Joined(platform::StartsAtDrive(rest) ? u"" : u"\\\\?\\", rest);
    }
    return {};
}

void TakeLongForm(PathForms& forms, const Tracer& tracer, std::u16string& path) {
    std::u16string longPath;
    if (const auto error = forms.LongPath(path, longPath); Failed(error)) {
        tracer.Verbose(TraceEvent::TrustPathFormFailed, error, path);
    } else {
        path = std::move(longPath);
    }
}

}  // namespace

std::u16string NormalizePath(const platform::Platform& platform, const std::u16string& path) {
    if (platform::IsLiteralPath(path)) {
        return path;
    }
    PathForms& forms = platform.pathForms;
    const Tracer tracer(platform.trace);
    std::u16string normalized;
    if (const auto error = forms.ExpandEnvironment(path, normalized); Failed(error)) {
        tracer.Verbose(TraceEvent::TrustPathFormFailed, error, path);
        normalized = path;
    }
    TakeLongForm(forms, tracer, normalized);
    if (std::u16string rewritten = FromNative(forms, normalized); !rewritten.empty()) {
        normalized = std::move(rewritten);
        TakeLongForm(forms, tracer, normalized);
    }
    return normalized;
}

std::u16string SystemPath(const platform::Platform& platform, const std::u16string& path) {
    std::u16string rewritten = FromNative(platform.pathForms, path);
    return rewritten.empty() ? path : rewritten;
}

}  // namespace tsLib
