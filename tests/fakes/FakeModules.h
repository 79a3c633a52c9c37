// Loaded modules from a map.
#pragma once

#include <map>
#include <mutex>
#include <string>

#include "tests/fakes/HandleTable.h"
#include "tslib/platform/Modules.h"

namespace tests {

// Any thread. Change the public state only when no other thread is in a call.
class FakeModules final : public tsLib::platform::Modules, public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;
    using Handle = tsLib::platform::ModuleHandle;

    static constexpr Handle kOwn{0x10000000};

    [[nodiscard]] Handle Own() const noexcept override { return kOwn; }
    SystemError FileName(Handle module, std::size_t capacity, std::u16string& path) override {
        const std::lock_guard lock(mutex_);
        ++calls;
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        const auto found = paths.find(module);
        if (found == paths.end()) {
            return SystemError::ModuleNotFound;
        }
        if (found->second.size() >= capacity) {
            return SystemError::InsufficientBuffer;
        }
        path = found->second;
        return SystemError::Success;
    }

    std::map<Handle, std::u16string> paths{{tsLib::platform::kMainExecutable, u"C:\\Program Files\\Host\\host.exe"},
                                           {kOwn, u"C:\\Program Files\\Halvora\\zebshell2.dll"}};
    std::size_t calls = 0;

private:
    std::mutex mutex_;
};

}  // namespace tests
