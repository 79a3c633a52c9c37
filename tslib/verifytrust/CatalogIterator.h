// The catalogs that list a file, and the choice of the hash to look it up by.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "tslib/platform/Platform.h"
#include "tslib/verifytrust/CatalogContext.h"
#include "tslib/verifytrust/CatalogFileHash.h"

namespace tsLib {

// The paths of all catalogs that hold a hash, in the order in which the administrator gives them. Used on one thread.
class CatalogIterator {
public:
    // Of an acquired context and a successful hash. Empty and at its end when no catalog holds it; a failure on the way
    // ends the list where it stands. The context must outlive the object, which may keep a catalog open. Throws
    // std::bad_alloc only.
    CatalogIterator(const platform::Platform& platform, const CatalogContext& context, const CatalogFileHash& hash);

    [[nodiscard]] bool AtEnd() const noexcept { return next_ == paths_.size(); }
    // The path to try; only when not at the end.
    [[nodiscard]] const std::u16string& Path() const noexcept { return paths_[next_]; }
    void Advance() noexcept { ++next_; }

private:
    // The catalog of the enumeration at hand. Going on gives it up to the platform, whatever comes of it.
    class CurrentCatalog {
    public:
        CurrentCatalog(platform::Catalogs& catalogs, platform::CatalogContextHandle context) noexcept
            : catalogs_(catalogs), context_(context) {}
        CurrentCatalog(const CurrentCatalog&) = delete;
        CurrentCatalog& operator=(const CurrentCatalog&) = delete;
        ~CurrentCatalog();
        platform::SystemError GoOn(std::span<const std::byte> hash);
        [[nodiscard]] platform::CatalogHandle Get() const noexcept { return handle_; }

    private:
        platform::Catalogs& catalogs_;
        platform::CatalogContextHandle context_;
        platform::CatalogHandle handle_{};
    };

    CurrentCatalog current_;
    std::vector<std::u16string> paths_;
    std::size_t next_ = 0;
};

// Whether the file is to be looked up in SHA-256 catalogs: always from Windows 8 on; before that when a SHA-256 catalog
// lists the file, or when that cannot be found out although the system knows such catalogs. `embeddedAnswer` is what
// the provider said of the file itself, for the trace. Throws std::bad_alloc only.
[[nodiscard]] bool ChooseSha256(const platform::Platform& platform, platform::TrustAnswer embeddedAnswer,
                                const platform::HeldFile& file);

}  // namespace tsLib
