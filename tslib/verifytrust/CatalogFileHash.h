// The hash of a file by which catalogs list it.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "tslib/platform/HeldFile.h"
#include "tslib/platform/Platform.h"
#include "tslib/verifytrust/CatalogContext.h"

namespace tsLib {

// Computed on construction, through the handle of the held file.
class CatalogFileHash {
public:
    // Of an acquired context. Every failure gives an empty, unsuccessful hash. The SHA-256 hash is made when it is
    // wanted and the system can; otherwise the SHA-1 hash. Throws std::bad_alloc only.
    CatalogFileHash(const platform::Platform& platform, const CatalogContext& context, const platform::HeldFile& file,
                    bool sha256);

    [[nodiscard]] bool Successful() const noexcept { return !bytes_.empty(); }
    // Empty when not successful, as is the tag.
    [[nodiscard]] std::span<const std::byte> Bytes() const noexcept { return bytes_; }
    // The member tag: the bytes in upper-case hexadecimal.
    [[nodiscard]] const std::u16string& Tag() const noexcept { return tag_; }
    // Why it is not successful. Success when the platform told no error: a hash of no bytes, for one.
    [[nodiscard]] platform::SystemError Error() const noexcept { return error_; }

private:
    std::vector<std::byte> bytes_;
    std::u16string tag_;
    platform::SystemError error_ = platform::SystemError::Success;
};

}  // namespace tsLib
