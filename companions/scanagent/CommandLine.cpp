#include "companions/scanagent/CommandLine.h"

#include <algorithm>
#include <string_view>

namespace HVR {

namespace {

bool IsSwitch(std::u16string_view argument, std::u16string_view name) {
    const auto fold = [](char16_t unit) {
        return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
    };
    return std::equal(argument.begin(), argument.end(), name.begin(), name.end(),
                      [fold](char16_t left, char16_t right) { return fold(left) == fold(right); });
}

}  // namespace

bool ParseScanArguments(std::span<const std::u16string> arguments, ScanOptions& options, std::u16string& problem) {
    ScanOptions parsed;
    bool utf8 = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const auto& argument = arguments[i];
        if (IsSwitch(argument, u"--help")) {
            parsed.help = true;
        } else if (IsSwitch(argument, u"/UTF8")) {
            utf8 = true;
        } else if (IsSwitch(argument, u"/Async")) {
            // The caller does not wait. Nothing here depends on it.
        } else if (IsSwitch(argument, u"/RightClickScan")) {
            if (!parsed.listFile.empty()) {
                problem = u"/RightClickScan is given twice";
                return false;
            }
            if (i + 1 == arguments.size() || arguments[i + 1].empty() || arguments[i + 1].starts_with(u'/')) {
                problem = u"/RightClickScan lacks the list";
                return false;
            }
            parsed.listFile = arguments[++i];
        } else {
            problem = u"unknown argument " + argument;
            return false;
        }
    }
    if (!parsed.help && parsed.listFile.empty()) {
        problem = u"/RightClickScan is missing";
        return false;
    }
    if (!parsed.help && !utf8) {
        problem = u"/UTF8 is missing: lists in other encodings are not understood";
        return false;
    }
    options = std::move(parsed);
    return true;
}

}  // namespace HVR
