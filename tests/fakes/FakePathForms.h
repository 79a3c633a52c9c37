// Path transformations over a made-up environment, with the platform's rules for cutting and joining.
#pragma once

#include <map>
#include <mutex>
#include <string>

#include "tests/fakes/FakeFiles.h"
#include "tslib/platform/PathForms.h"

namespace tests {

// Any thread. Change the public state only when no other thread is in a call. A fault makes the operations that answer
// a bool answer false.
class FakePathForms final : public tsLib::platform::PathForms, public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;

    FakePathForms() = default;
    // Every path that exists in `files` is its own long form.
    explicit FakePathForms(FakeFiles& files) : files_(&files) {}

    SystemError ExpandEnvironment(const std::u16string& text, std::u16string& expanded) override;
    SystemError LongPath(const std::u16string& path, std::u16string& longPath) override;
    SystemError DosDeviceTarget(char16_t driveLetter, std::u16string& target) override;
    [[nodiscard]] bool Append(std::u16string& path, const std::u16string& element) override;
    [[nodiscard]] bool RemoveFileSpec(std::u16string& path) override;
    [[nodiscard]] bool IsUncServer(const std::u16string& path) override;

    std::map<std::u16string, std::u16string> environment;  // by lower-case name
    std::map<std::u16string, std::u16string> longPaths;    // by the lower-case short form
    std::map<char16_t, std::u16string> dosDevices;         // by capital drive letter

private:
    std::mutex mutex_;
    FakeFiles* files_ = nullptr;
};

}  // namespace tests
