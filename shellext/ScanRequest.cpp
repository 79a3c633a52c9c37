#include "shellext/ScanRequest.h"

#include <cstdint>
#include <new>

#include "tslib/Utf8.h"
#include "tslib/platform/Owned.h"

namespace HVR {

using tsLib::HResult;
using tsLib::TraceEvent;
using tsLib::platform::DropList;
using tsLib::platform::ProcessHandle;
using tsLib::platform::ProcessStarter;
using tsLib::platform::StreamState;
using tsLib::platform::TextOutput;
using tsLib::platform::ThreadHandle;

namespace {

constexpr std::size_t kTemporaryFolderLimit = 260;

using OwnedProcess = tsLib::platform::Owned<ProcessStarter, ProcessHandle, &ProcessStarter::CloseProcess>;
using OwnedThread = tsLib::platform::Owned<ProcessStarter, ThreadHandle, &ProcessStarter::CloseThread>;

// Closes the list file when memory runs out between two lines.
class CloseOnExit {
public:
    explicit CloseOnExit(TextOutput& output) noexcept : output_(output) {}
    CloseOnExit(const CloseOnExit&) = delete;
    CloseOnExit& operator=(const CloseOnExit&) = delete;
    ~CloseOnExit() {
        if (output_.IsOpen()) {
            output_.Close();
        }
    }

private:
    TextOutput& output_;
};

void AppendDecimal(std::u16string& text, std::uint32_t number) {
    for (const char digit : std::to_string(number)) {
        text.push_back(static_cast<char16_t>(digit));
    }
}

}  // namespace

HResult ScanRequest::Scan(DropList& dropList) noexcept {
    try {
        std::u16string listFile;
        if (const auto named = NameListFile(listFile); Failed(named)) {
            return named;
        }
        services_.tracer.Information(TraceEvent::ScanListNamed, listFile);
        // Neither step's result is passed on: from here on the request counts as accepted.
        if (WriteScanList(dropList, listFile) == HResult::Ok) {
            static_cast<void>(LaunchScanner(listFile));
        }
        return HResult::Ok;
    } catch (const std::bad_alloc&) {
        services_.tracer.Error(TraceEvent::ScanOutOfMemory);
        return HResult::OutOfMemory;
    } catch (...) {
        return HResult::Unexpected;
    }
}

HResult ScanRequest::NameListFile(std::u16string& listFile) {
    std::u16string path;
    std::size_t length = 0;
    const auto error = services_.folders.TemporaryFolder(path, length);
    if (Failed(error) || length == 0 || length > kTemporaryFolderLimit || path.empty()) {
        services_.tracer.Error(TraceEvent::ScanTemporaryFolderUnknown, error, length);
        return HResult::Unexpected;
    }
    std::uint64_t now = 0;
    if (Failed(services_.clock.FileTimeNow(now))) {
        return HResult::Unexpected;
    }
    // The two halves are two decimal numbers side by side, not one 64-bit number: 7 and 42 give ScanList742.
    path += u"ScanList";
    AppendDecimal(path, static_cast<std::uint32_t>(now >> 32));
    AppendDecimal(path, static_cast<std::uint32_t>(now & 0xFFFFFFFFu));
    listFile = std::move(path);
    return HResult::Ok;
}

HResult ScanRequest::WriteScanList(DropList& dropList, const std::u16string& listFile) {
    const auto& tracer = services_.tracer;
    if (!dropList.IsPresent()) {
        tracer.Error(TraceEvent::ScanNoDropList);
        return HResult::InvalidArgument;
    }
    const auto count = dropList.Count();
    if (count == 0) {
        tracer.Error(TraceEvent::ScanEmptyDropList);
        return HResult::Fail;
    }
    auto& output = services_.output;
    const CloseOnExit closer(output);
    const auto opened = output.Open(listFile);
    // Only the bad state ends the request. A file that could not be opened leaves the stream merely failed: nothing
    // is written then, and the scanner is started all the same, because it is the scanner that reports a list it
    // cannot read.
    if (opened == StreamState::Bad) {
        tracer.Error(TraceEvent::ScanListBadStream, listFile);
        return HResult::InvalidArgument;
    }
    WriteItems(dropList, count);
    if (output.IsOpen()) {
        output.Close();
    }
    // What the stream came to after a good start is traced and changes nothing.
    if (opened == StreamState::Good && output.State() != StreamState::Good) {
        tracer.Error(TraceEvent::ScanListWriteFailed, listFile);
    }
    return HResult::Ok;
}

void ScanRequest::WriteItems(DropList& dropList, std::uint32_t count) {
    // Its owner may give the drop list back in between: what was written until then is the list.
    std::string line;
    for (std::uint32_t index = 0; index < count && dropList.IsPresent(); ++index) {
        const auto item = dropList.Item(index);
        if (item.empty()) {
            services_.tracer.Warning(TraceEvent::ScanItemUnreadable, index);  // an empty line is never written
            continue;
        }
        line.clear();
        tsLib::AppendUtf8(item, line);
        services_.output.WriteLine(line);
    }
}

HResult ScanRequest::LaunchScanner(const std::u16string& listFile) {
    const auto& tracer = services_.tracer;
    tracer.Verbose(TraceEvent::ScanLaunch, listFile);
    if (listFile.empty()) {
        tracer.Error(TraceEvent::ScanListAbsent);
        return HResult::InvalidArgument;
    }
    std::u16string scanner;
    if (const auto found = services_.location.FindScanner(scanner); Failed(found)) {
        return found;
    }
    const std::u16string arguments = u"/UTF8 /Async /RightClickScan \"" + listFile + u"\"";
    tsLib::platform::StartedProcess started;
    if (!services_.start.Start(scanner, arguments,
                               tsLib::platform::kCreateNoWindow | tsLib::platform::kNormalPriorityClass,
                               tsLib::kProductTrustLevel, started)) {
        tracer.Error(TraceEvent::ScannerNotStarted, scanner, arguments);
        return HResult::Fail;
    }
    // Nobody waits for the scanner: the thread's handle is closed first, then the process's.
    const OwnedProcess process(services_.processes, started.process);
    const OwnedThread thread(services_.processes, started.thread);
    return HResult::Ok;
}

}  // namespace HVR
