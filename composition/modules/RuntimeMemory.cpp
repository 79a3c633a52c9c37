#include "composition/modules/RuntimeMemory.h"

namespace __gnu_cxx {

void __freeres();  // the runtime's own, declared in no header

}  // namespace __gnu_cxx

namespace HVR {

void GiveRuntimeMemoryBack() noexcept { __gnu_cxx::__freeres(); }

}  // namespace HVR
