// Which module an address lies in, from a list of ranges.
#pragma once

#include <cstdint>
#include <vector>

#include "tests/fakes/HandleTable.h"
#include "tslib/platform/ModuleLoader.h"

namespace tests {

// One thread.
class FakeModuleAddresses final : public tsLib::platform::ModuleAddresses, public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;
    using Handle = tsLib::platform::ModuleHandle;

    static constexpr Handle kExecutable{0x400000};

    SystemError MainExecutable(Handle& module) override {
        ++executableAsked;
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        module = kExecutable;
        return SystemError::Success;
    }
    SystemError FromAddress(const void* address, Handle& module) override {
        ++addressAsked;
        return hasFunction ? Find(address, module) : SystemError::ProcedureNotFound;
    }
    SystemError FromAddressByRanges(const void* address, Handle& module) override {
        ++rangesAsked;
        return Find(address, module);
    }

    struct Range {
        std::uintptr_t begin;
        std::uintptr_t end;
        Handle module;
    };
    std::vector<Range> ranges{{0x400000, 0x500000, kExecutable}};
    bool hasFunction = true;
    std::size_t executableAsked = 0;
    std::size_t addressAsked = 0;
    std::size_t rangesAsked = 0;

private:
    SystemError Find(const void* address, Handle& module) const {
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        const auto value = reinterpret_cast<std::uintptr_t>(address);
        for (const Range& range : ranges) {
            if (value >= range.begin && value < range.end) {
                module = range.module;
                return SystemError::Success;
            }
        }
        return SystemError::NotFound;
    }
};

}  // namespace tests
