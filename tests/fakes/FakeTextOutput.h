// A text output that writes into the file system in memory.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tests/fakes/FakeFiles.h"
#include "tslib/platform/TextOutput.h"

namespace tests {

// A fault from the plan makes Open fail and WriteLine bad; Close is asked only when `closeFails` is set.
class FakeTextOutput final : public tsLib::platform::TextOutput, public CanFail {
public:
    using StreamState = tsLib::platform::StreamState;

    explicit FakeTextOutput(FakeFiles& files) : files_(files) {}

    ~FakeTextOutput() { Close(); }

    StreamState Open(const std::u16string& path) override;
    void WriteLine(std::string_view utf8) override;
    [[nodiscard]] StreamState State() const noexcept override { return state_; }
    [[nodiscard]] bool IsOpen() const noexcept override { return isOpen_; }
    void Close() noexcept override;

    std::set<std::u16string> devices{u"NUL", u"\\\\.\\NUL"};  // names that lead to something other than a file
    bool closeFails = false;
    std::vector<std::u16string> opened;  // every path asked of Open, in order
    std::size_t lines = 0;               // the lines that reached a file
    std::size_t closes = 0;              // how often an open file was closed

private:
    FakeFiles& files_;
    std::u16string path_;
    std::shared_ptr<void> hold_;
    StreamState state_ = StreamState::Good;
    bool isOpen_ = false;
};

}  // namespace tests
