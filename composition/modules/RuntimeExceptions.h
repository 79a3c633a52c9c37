// What the language runtime needs for exceptions, made for a module in somebody else's process.
//
// A module that links this throws and catches without a lock, without a thread's own variable and, when there is no
// memory, from a reserve of its own. The runtime's versions of these functions, in whose place they are linked,
// allocate 73 KB at the module's start and leave them behind, take a lock that allocates when it is first used, and end
// the process when that fails: just when bad_alloc is thrown.
#pragma once

#include <cstddef>

namespace HVR {

// How many exceptions, and of which size, can be under way when there is no memory.
inline constexpr std::size_t kReservedExceptions = 64;
inline constexpr std::size_t kLargestReserved = 256;

// From DllMain when a thread ends: its place is another's from then on.
void ForgetThreadsExceptions() noexcept;

}  // namespace HVR
