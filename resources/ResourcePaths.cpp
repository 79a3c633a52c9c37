#include "resources/ResourcePaths.h"

#include <algorithm>
#include <limits>

#include "tslib/platform/AsciiCase.h"
#include "tslib/platform/Digits.h"
#include "tslib/platform/FullPath.h"

namespace HVR {

namespace {

constexpr std::size_t kLongestDirectory = 260;

}  // namespace

std::int32_t LeadingNumber(std::u16string_view name) noexcept {
    const std::size_t start = name.find_first_not_of(u" \t\n\v\f\r");
    if (start == std::u16string_view::npos) {
        return 0;
    }
    name.remove_prefix(start);
    const bool negative = name[0] == u'-';
    if (negative || name[0] == u'+') {
        name.remove_prefix(1);
    }
    constexpr std::int64_t kLowest = std::numeric_limits<std::int32_t>::min();
    constexpr std::int64_t kHighest = std::numeric_limits<std::int32_t>::max();
    std::int64_t number = 0;
    for (const char16_t unit : name) {
        if (unit < u'0' || unit > u'9') {
            break;
        }
        number = number * 10 + (negative ? u'0' - unit : unit - u'0');
        number = std::clamp(number, kLowest, kHighest);
    }
    return static_cast<std::int32_t>(number);
}

bool IsFullPath(std::u16string_view path) noexcept {
    using tsLib::platform::IsPathSeparator;
    return tsLib::platform::StartsAtDrive(path) ||
           (path.size() >= 3 && IsPathSeparator(path[0]) && IsPathSeparator(path[1]) && !IsPathSeparator(path[2]));
}

std::u16string_view WithoutBinariesFolder(std::u16string_view value) noexcept {
    constexpr std::u16string_view kBinaries = u"\\bin64\\";
    if (value.size() > kBinaries.size() &&
        tsLib::EqualsAscii(value.substr(value.size() - kBinaries.size()), kBinaries)) {
        value.remove_suffix(kBinaries.size());
    }
    return value;
}

std::u16string ResourceRoot(std::u16string_view installDirectory) {
    std::u16string root(installDirectory);
    if (!root.ends_with(u'\\')) {
        root += u'\\';
    }
    return root += u"res\\";
}

std::u16string CandidatePath(std::u16string_view installDirectory, std::uint32_t localeId,
                             std::u16string_view fileName) {
    std::u16string path = ResourceRoot(installDirectory);
    path += tsLib::DecimalText(localeId);
    path += u'\\';
    return path += fileName;
}

std::optional<std::u16string> PathBeside(std::u16string_view modulePath, std::u16string_view fileName) {
    if (!IsFullPath(modulePath)) {
        return std::nullopt;
    }
    const std::size_t drive = tsLib::platform::StartsAtDrive(modulePath) ? 2 : 0;
    const std::size_t end = modulePath.find_last_of(u"\\/") + 1;
    if (end - drive > kLongestDirectory) {
        return std::nullopt;
    }
    std::u16string path(modulePath.substr(0, end));
    return path += fileName;
}

}  // namespace HVR
