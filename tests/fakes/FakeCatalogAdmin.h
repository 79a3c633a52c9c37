// A catalog administrator over made-up catalogs.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "tests/fakes/HandleTable.h"
#include "tslib/platform/CatalogAdmin.h"

namespace tests {

// Change the public state only when no other thread is in a call.
class FakeCatalogAdmin final : public tsLib::platform::CatalogAdmin, public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;
    using Context = tsLib::platform::CatalogContextHandle;
    using Catalog = tsLib::platform::CatalogHandle;
    using Hash = std::vector<std::byte>;
    // Apart from the library's own order, whose inlined form makes g++ 12 warn of sizes that cannot be.
    struct ByBytes {
        [[nodiscard]] bool operator()(const Hash& left, const Hash& right) const noexcept;
    };
    using Catalogs = std::map<Hash, std::vector<std::u16string>, ByBytes>;

    [[nodiscard]] bool HasSha256Context() const noexcept override { return hasSha256; }
    SystemError AcquireContext(Context& context) override;
    SystemError AcquireSha256Context(Context& context) override;
    void ReleaseContext(Context context) noexcept override;
    SystemError NextCatalog(Context context, std::span<const std::byte> hash, Catalog previous, Catalog& next) override;
    SystemError CatalogPath(Catalog catalog, std::u16string& path) override;
    void ReleaseCatalog(Context context, Catalog catalog) noexcept override;

    [[nodiscard]] bool IsSha256(Context context) const;
    [[nodiscard]] bool IsOpen(Context context) const;
    // Contexts and catalogs that are still held.
    [[nodiscard]] std::size_t OpenHandles() const;
    // Uses of handles that were released or consumed, catalogs released through another context, and contexts released
    // before their catalogs.
    [[nodiscard]] std::size_t Misuses() const;

    bool hasSha256 = true;
    SystemError acquireError = SystemError::Success;  // answers of the acquisitions
    SystemError acquireSha256Error = SystemError::Success;
    Catalogs sha1Catalogs;  // the catalogs that hold a hash, in the order they are enumerated
    Catalogs sha256Catalogs;
    SystemError endError = SystemError::NotFound;      // what ends an enumeration
    std::map<std::u16string, SystemError> pathErrors;  // answers of CatalogPath, by the catalog's path
    std::size_t acquired = 0;                          // successful acquisitions
    std::size_t enumerated = 0;                        // catalogs given out

private:
    struct ContextState {
        bool sha256;
    };
    struct CatalogState {
        Context context;
        Hash hash;
        std::size_t index;
    };

    SystemError Acquire(bool sha256, SystemError error, Context& context);
    [[nodiscard]] const std::vector<std::u16string>* Holding(Context context, const Hash& hash);

    mutable std::mutex mutex_;
    HandleTable<Context, ContextState> contexts_;
    HandleTable<Catalog, CatalogState> catalogs_;
    std::size_t misuses_ = 0;
};

}  // namespace tests
