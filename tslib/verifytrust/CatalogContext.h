// A context of the system's catalog administrator.
#pragma once

#include "tslib/platform/Platform.h"

namespace tsLib {

// Acquired on construction, released on destruction. Used on one thread.
class CatalogContext {
public:
    // For SHA-256 or SHA-1 catalogs. Where the system knows no SHA-256 catalogs, asking for them gives a context that
    // is not acquired and not for SHA-256; there is no way back to SHA-1 here. Throws std::bad_alloc only.
    CatalogContext(const platform::Platform& platform, bool sha256);

    [[nodiscard]] bool Acquired() const noexcept { return static_cast<bool>(context_); }
    // What was asked for, cleared when the system knows no SHA-256 catalogs.
    [[nodiscard]] bool Sha256() const noexcept { return sha256_; }
    // Zero when not acquired.
    [[nodiscard]] platform::CatalogContextHandle Handle() const noexcept { return context_.Get(); }

private:
    platform::OwnedCatalogContext context_;
    bool sha256_;
};

}  // namespace tsLib
