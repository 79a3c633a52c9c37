#pragma once

#include "tslib/platform/RegistryTree.h"

namespace tsLib::platform::win32 {

// No state. A path that holds a NUL is refused with InvalidParameter too.
class Win32RegistryTree final : public RegistryTree {
public:
    SystemError DeleteKey(RegistryRoot root, const std::u16string& path) override;
    SystemError DeleteTree(RegistryRoot root, const std::u16string& path) override;
};

}  // namespace tsLib::platform::win32
