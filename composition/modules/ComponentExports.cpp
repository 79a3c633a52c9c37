#include "composition/modules/ComponentExports.h"

namespace __gnu_cxx {

// The language runtime's memory for exceptions that are thrown when there is no other. Every module has its own and
// would keep it for ever.
void __freeres();

}  // namespace __gnu_cxx

namespace HVR {

void GiveMemoryBack(void (*freeState)() noexcept, const void* processEnds) noexcept {
    if (processEnds == nullptr) {
        freeState();
        __gnu_cxx::__freeres();
    }
}

}  // namespace HVR
