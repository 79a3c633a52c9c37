#pragma once

#include "tslib/platform/CatalogAdmin.h"

namespace tsLib::platform::win32 {

class Win32CatalogAdmin final : public CatalogAdmin {
public:
    [[nodiscard]] bool HasSha256Context() const noexcept override;
    SystemError AcquireContext(CatalogContextHandle& context) override;
    SystemError AcquireSha256Context(CatalogContextHandle& context) override;
    void ReleaseContext(CatalogContextHandle context) noexcept override;
    SystemError NextCatalog(CatalogContextHandle context, std::span<const std::byte> hash, CatalogHandle previous,
                            CatalogHandle& next) override;
    SystemError CatalogPath(CatalogHandle catalog, std::u16string& path) override;
    void ReleaseCatalog(CatalogContextHandle context, CatalogHandle catalog) noexcept override;
};

class Win32CatalogHasher final : public CatalogHasher {
public:
    [[nodiscard]] bool HasSha256Hash() const noexcept override;
    SystemError Hash(FileHandle file, std::span<std::byte> buffer, std::uint32_t& size) override;
    // ProcedureNotFound, with a size of 0, when HasSha256Hash() is false.
    SystemError Sha256Hash(CatalogContextHandle context, FileHandle file, std::span<std::byte> buffer,
                           std::uint32_t& size) override;
};

}  // namespace tsLib::platform::win32
