// The shortcut through the findings that the hash provider keeps of a file.
#pragma once

#include <optional>

#include "tslib/TrustResult.h"
#include "tslib/platform/Platform.h"
#include "tslib/verifytrust/HashProvider.h"

namespace tsLib {

struct ShortcutRequest {
    const platform::HeldFile& file;
    TrustLevel level;  // not 5: there no kept word may be used
    CheckKind kind;
    HashResultMode mode;
};

// A final verdict from the provider's word, or nothing when the file must be checked in full: the provider has no word
// for it or throws, or the word says that it must not be relied on, or it refuses the file in driver mode.
// `systemComponent` is told with Trusted alone. Does not throw.
[[nodiscard]] std::optional<TrustResult> VerdictFromShortcut(const platform::Platform& platform, HashProvider& provider,
                                                             const ShortcutRequest& request,
                                                             bool& systemComponent) noexcept;

// Whether a kept word of TrustFlags satisfies a level. In driver mode level 4 also needs kDriverVerified; the other
// levels do not.
[[nodiscard]] bool WordSatisfies(std::uint32_t word, TrustLevel level, bool driverMode) noexcept;

}  // namespace tsLib
