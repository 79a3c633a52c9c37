// The shortcut through the findings that the hash provider keeps of a file.
#pragma once

#include <optional>
#include <string>

#include "tslib/TrustResult.h"
#include "tslib/platform/Platform.h"
#include "tslib/verifytrust/HashProvider.h"

namespace tsLib {

struct ShortcutRequest {
    const std::u16string& path;
    TrustLevel level;  // not 5: there no kept word may be used
    bool driverMode;
    HashResultMode mode;
};

// A final verdict from the provider's word, or nothing when the file must be checked in full: the provider has no word
// for it or the word says that it must not be relied on, or it refuses the file in driver mode. FileError when the file
// cannot be opened; it is held open, which keeps it from being changed, until the word is read. `systemComponent` is
// told with Trusted alone. Throws what the provider throws, and std::bad_alloc.
[[nodiscard]] std::optional<TrustResult> VerdictFromShortcut(const platform::Platform& platform, HashProvider& provider,
                                                             const ShortcutRequest& request, bool& systemComponent);

// Whether a kept word of TrustFlags satisfies a level. In driver mode level 4 also needs kDriverVerified; the other
// levels do not.
[[nodiscard]] bool WordSatisfies(std::uint32_t word, TrustLevel level, bool driverMode) noexcept;

}  // namespace tsLib
