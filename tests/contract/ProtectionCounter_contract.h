// The protection counter of this executable's side: in memory on the host, real on Windows.
#pragma once

#include "companions/protection/ProtectionCounter.h"

namespace tests {

[[nodiscard]] HVR::ProtectionCounter& ContractCounter();

}  // namespace tests
