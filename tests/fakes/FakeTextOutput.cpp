#include "tests/fakes/FakeTextOutput.h"

namespace tests {

using namespace tsLib::platform;

StreamState FakeTextOutput::Open(const std::u16string& path) {
    Close();
    opened.push_back(path);
    if (Failed(Fault())) {
        return state_ = StreamState::Failed;
    }
    if (devices.contains(path)) {
        return state_ = StreamState::Bad;
    }
    if (Failed(files_.TryCreate(path))) {
        return state_ = StreamState::Failed;
    }
    path_ = path;
    hold_ = files_.HoldForWriting(path_);
    isOpen_ = true;
    return state_ = StreamState::Good;
}

void FakeTextOutput::WriteLine(std::string_view utf8) {
    if (!isOpen_ || state_ != StreamState::Good) {
        return;
    }
    if (Failed(Fault())) {
        state_ = StreamState::Bad;
        return;
    }
    files_.AppendText(path_, std::string(utf8) + "\r\n");
    ++lines;
}

void FakeTextOutput::Close() noexcept {
    if (!isOpen_) {
        return;
    }
    isOpen_ = false;
    hold_.reset();
    ++closes;
    if (closeFails && state_ == StreamState::Good) {
        state_ = StreamState::Failed;
    }
}

}  // namespace tests
