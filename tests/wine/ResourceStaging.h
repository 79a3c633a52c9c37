// The staged resource modules.
#pragma once

#include <cstdint>
#include <string>

namespace tests {

// The signed module of a language in the folder that the environment variable HALVORA_STAGE names, and the same without
// its signature. Adds a test failure when the variable is not set.
[[nodiscard]] std::u16string StagedModule(std::uint32_t localeId);
[[nodiscard]] std::u16string UnsignedModule(std::uint32_t localeId);

}  // namespace tests
