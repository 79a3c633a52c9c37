// The system's catalog administrator, and the hash of a file by which catalogs list it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "tslib/platform/Files.h"
#include "tslib/platform/Owned.h"
#include "tslib/platform/SystemError.h"

namespace tsLib::platform {

enum class CatalogContextHandle : std::uintptr_t {};
enum class CatalogHandle : std::uintptr_t {};

// Outputs are untouched on failure. std::bad_alloc may be thrown and nothing else.
class Catalogs {
public:
    // Whether "CryptCATAdminAcquireContext2" is there, looked up in "WinTrust.dll" when that module is loaded already;
    // the module is never loaded for the question.
    [[nodiscard]] virtual bool HasSha256Context() const noexcept = 0;
    // A context for SHA-1 catalogs (CryptCATAdminAcquireContext).
    virtual SystemError AcquireContext(CatalogContextHandle& context) = 0;
    // A context for SHA-256 catalogs. ProcedureNotFound when HasSha256Context() is false.
    virtual SystemError AcquireSha256Context(CatalogContextHandle& context) = 0;
    virtual void ReleaseContext(CatalogContextHandle context) noexcept = 0;

    // The catalog after `previous` that holds the hash, or the first one for a zero `previous`. The platform consumes
    // the previous handle, also when there is no next one: after this call it must not be released or used, whatever
    // the result. NotFound at the end of the list, whichever way the platform says that; every other error as it is.
    virtual SystemError NextCatalog(CatalogContextHandle context, std::span<const std::byte> hash,
                                    CatalogHandle previous, CatalogHandle& next) = 0;
    virtual SystemError CatalogPath(CatalogHandle catalog, std::u16string& path) = 0;
    // A catalog is released through the context that enumerated it, so the context must outlive the catalog.
    virtual void ReleaseCatalog(CatalogContextHandle context, CatalogHandle catalog) noexcept = 0;

    // Whether "CryptCATAdminCalcHashFromFileHandle2" is there, looked up as above.
    [[nodiscard]] virtual bool HasSha256Hash() const noexcept = 0;
    // Of the whole file, wherever the handle stands; where it stands afterwards is not said.
    // One call of the platform, to be made twice: with an empty buffer to learn `size` in bytes, then with a buffer of
    // that size to fill. Success when the platform's call succeeded or, with an empty buffer, when it told a size.
    // Otherwise the platform's last error. `size` is always set, to 0 when the platform gave none.
    virtual SystemError Hash(FileHandle file, std::span<std::byte> buffer, std::uint32_t& size) = 0;
    virtual SystemError Sha256Hash(CatalogContextHandle context, FileHandle file, std::span<std::byte> buffer,
                                   std::uint32_t& size) = 0;

protected:
    ~Catalogs() = default;
};

using OwnedCatalogContext = Owned<Catalogs, CatalogContextHandle, &Catalogs::ReleaseContext>;

}  // namespace tsLib::platform
