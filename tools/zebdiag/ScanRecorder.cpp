#include "tools/zebdiag/ScanRecorder.h"

namespace HVR::zebdiag {

using namespace tsLib::platform;

StreamState RecordingTextOutput::Open(const std::u16string& name) {
    path = name;
    lines.clear();
    return target_->Open(name);
}

void RecordingTextOutput::WriteLine(std::string_view utf8) {
    target_->WriteLine(utf8);
    if (target_->State() == StreamState::Good) {
        lines.emplace_back(utf8);
    }
}

RecordingProcessStarter::~RecordingProcessStarter() {
    if (kept_ != ProcessHandle{}) {
        target_->CloseProcess(kept_);
    }
}

SystemError RecordingProcessStarter::Start(const std::u16string& line, std::uint32_t creationFlags,
                                           StartedProcess& process) {
    commandLine = line;
    const SystemError error = target_->Start(line, creationFlags, process);
    if (Succeeded(error)) {
        started = process;
    }
    return error;
}

void RecordingProcessStarter::CloseProcess(ProcessHandle process) noexcept {
    if (started && process == started->process && kept_ == ProcessHandle{}) {
        kept_ = process;
    } else {
        target_->CloseProcess(process);
    }
}

}  // namespace HVR::zebdiag
