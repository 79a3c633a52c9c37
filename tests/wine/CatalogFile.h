// Catalog files made by the tests.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tests {

// The hash by which catalogs list a file; empty when it cannot be hashed.
[[nodiscard]] std::vector<std::byte> CatalogHash(const std::u16string& path);

// The bytes of a catalog without a signature that lists one member for each hash, with the hash in upper-case
// hexadecimal as its tag.
[[nodiscard]] std::string CatalogOf(const std::vector<std::vector<std::byte>>& hashes);

}  // namespace tests
