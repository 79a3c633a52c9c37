#include "composition/modules/ComponentExports.h"

#include "composition/modules/RuntimeMemory.h"

namespace HVR {

void GiveMemoryBack(void (*freeState)() noexcept, const void* processEnds) noexcept {
    if (processEnds == nullptr) {
        freeState();
        GiveRuntimeMemoryBack();
    }
}

}  // namespace HVR
