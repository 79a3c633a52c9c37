// zebdiag expand, zebdiag path.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tools/zebdiag/Verb.h"
#include "tslib/platform/HResult.h"

namespace HVR::zebdiag {

// Expands a text with path tokens; false leaves the input, cleaned up, in the output.
using Expander = std::function<bool(const std::u16string& text, std::u16string& expanded)>;
[[nodiscard]] Verb MakeExpandVerb(Expander expand);

// The path of a file (which may be empty) in the directory of a kind.
using PathResolver =
    std::function<tsLib::HResult(std::uint32_t kind, const std::u16string& file, std::u16string& path)>;
[[nodiscard]] Verb MakePathVerb(PathResolver resolve);

}  // namespace HVR::zebdiag
