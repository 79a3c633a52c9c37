// Known folders from maps.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tests/fakes/HandleTable.h"
#include "tslib/platform/KnownFolders.h"

namespace tests {

// Any thread. Change the public state only when no other thread is in a call. A fault is answered as a general failure
// where the operation does not answer error numbers.
class FakeKnownFolders final : public tsLib::platform::KnownFolders, public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;

    tsLib::HResult DefaultShellFolder(std::uint32_t csidl, std::u16string& path) override {
        const std::lock_guard lock(mutex_);
        defaultAsked.push_back(csidl);
        if (Failed(Fault())) {
            return tsLib::HResult::Fail;
        }
        return Take(defaults, csidl, path) ? tsLib::HResult::Ok : tsLib::HResult::InvalidArgument;
    }
    [[nodiscard]] bool SpecialFolder(std::uint32_t csidl, std::u16string& path) override {
        const std::lock_guard lock(mutex_);
        specialAsked.push_back(csidl);
        return !Failed(Fault()) && Take(specials, csidl, path);
    }
    SystemError TemporaryFolder(std::u16string& path, std::size_t& length) override {
        const std::lock_guard lock(mutex_);
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        // A folder that does not fit is answered with the length of the buffer it needs, terminator included.
        const bool fits = temporary.size() < 260;
        const std::size_t answer = temporaryLength.value_or(fits ? temporary.size() : temporary.size() + 1);
        if (answer <= 260) {
            path = temporary;
        }
        length = answer;
        return SystemError::Success;
    }
    SystemError WindowsFolder(std::u16string& path) override {
        const std::lock_guard lock(mutex_);
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        path = windows;
        return SystemError::Success;
    }

    std::map<std::uint32_t, std::u16string> defaults{{0x24, u"C:\\windows"}};  // by CSIDL number
    std::map<std::uint32_t, std::u16string> specials{{0x24, u"C:\\windows"}};
    std::u16string windows = u"C:\\windows";
    std::u16string temporary = u"C:\\Temp\\";
    std::optional<std::size_t> temporaryLength;  // when set, the platform's answer whatever the text
    std::vector<std::uint32_t> defaultAsked;     // the folders asked for, in order
    std::vector<std::uint32_t> specialAsked;

private:
    static bool Take(const std::map<std::uint32_t, std::u16string>& from, std::uint32_t csidl, std::u16string& path) {
        const auto found = from.find(csidl);
        if (found == from.end()) {
            return false;
        }
        path = found->second;
        return true;
    }

    std::mutex mutex_;
};

}  // namespace tests
