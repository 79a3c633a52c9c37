// Catalog files made by the tests.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace tests {

// The bytes of a catalog without a signature that lists one member for each hash, with the hash in upper-case
// hexadecimal as its tag.
[[nodiscard]] std::string CatalogOf(const std::vector<std::vector<std::byte>>& hashes);

// "0AFF" for the bytes 0x0A 0xFF.
[[nodiscard]] std::u16string MemberTag(std::span<const std::byte> hash);

}  // namespace tests
