// The signed sample files.
#pragma once

#include <string>

namespace tests {

// The full path of a file in the folder that the environment variable HALVORA_SAMPLES names. Adds a test failure when
// the variable is not set.
[[nodiscard]] std::u16string Sample(const std::u16string& name);

}  // namespace tests
