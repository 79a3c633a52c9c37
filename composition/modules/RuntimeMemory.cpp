#include "composition/modules/RuntimeMemory.h"

#include <cstdlib>

namespace __gnu_cxx {

void __freeres();  // the runtime's own, declared in no header

// In place of the runtime's own, which prints the exception's name to a console that no host has, and brings a
// demangler and the formatting of numbers along for it: a sixth of each module.
void __verbose_terminate_handler() { std::abort(); }

}  // namespace __gnu_cxx

namespace HVR {

void GiveRuntimeMemoryBack() noexcept { __gnu_cxx::__freeres(); }

}  // namespace HVR
