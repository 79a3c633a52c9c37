// Running processes from a map.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "tests/fakes/HandleTable.h"
#include "tslib/platform/Processes.h"

namespace tests {

class FakeProcesses final : public tsLib::platform::Processes, public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;

    [[nodiscard]] std::uint32_t CurrentId() const noexcept override { return currentId; }
    SystemError ParentId(std::uint32_t& id) override {
        ++parentCalls;
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        if (!parentId) {
            return SystemError::NotFound;
        }
        id = *parentId;
        return SystemError::Success;
    }
    SystemError ImageFileName(std::uint32_t processId, std::u16string& path) override {
        ++imageCalls;
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        const auto found = images.find(processId);
        if (found == images.end()) {
            return SystemError::InvalidParameter;  // the platform's answer to an id that no process has
        }
        path = found->second;
        return SystemError::Success;
    }

    std::uint32_t currentId = 100;
    std::optional<std::uint32_t> parentId = 50;
    std::map<std::uint32_t, std::u16string> images{{100, u"C:\\Program Files\\Host\\host.exe"},
                                                   {50, u"C:\\Program Files\\Host\\parent.exe"}};
    std::size_t parentCalls = 0;
    std::size_t imageCalls = 0;
};

}  // namespace tests
