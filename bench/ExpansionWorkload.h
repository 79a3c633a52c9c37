// The path expansion that is measured, on the host and on Windows alike.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "tslib/tsPathExpansion.h"

namespace bench {

// A typical configured path: one token of the map.
inline constexpr std::u16string_view kConfiguredPath = u"%TSROOTX64%\\Components\\ProtectionControl\\tsProtect.dll";

// Expands `path` `rounds` times; the sum of the results' lengths, 0 when one of them failed.
inline std::size_t ExpandPaths(tsLib::tsPathExpansion& expansion, std::u16string_view path, std::size_t rounds) {
    std::size_t sum = 0;
    std::u16string out;
    for (std::size_t round = 0; round < rounds; ++round) {
        if (!expansion.Expand(path, out)) {
            return 0;
        }
        sum += out.size();
    }
    return sum;
}

}  // namespace bench
