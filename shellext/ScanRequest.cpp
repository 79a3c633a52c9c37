#include "shellext/ScanRequest.h"

#include <memory>
#include <new>
#include <utility>

#include "AgentCore/ProductInstallPathResolver.h"
#include "shellext/VerifiedProcessStart.h"
#include "tslib/RegistryText.h"
#include "tslib/Utf8.h"
#include "tslib/VaneRef.h"
#include "tslib/platform/Boundary.h"
#include "tslib/platform/Digits.h"

namespace HVR {

using tsLib::HResult;
using tsLib::TraceEvent;
using tsLib::platform::DropList;
using tsLib::platform::StreamState;
using tsLib::platform::TextOutput;

namespace {

constexpr std::size_t kTemporaryFolderLimit = 260;

// Closes the list file on every way out, also when memory runs out between two lines.
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

void WriteItems(DropList& dropList, std::uint32_t count, TextOutput& output, const tsLib::Tracer& tracer) {
    std::string line;
    // Its owner may give the drop list back in between: what was written until then is the list.
    for (std::uint32_t index = 0; index < count && dropList.IsPresent(); ++index) {
        const auto item = dropList.Item(index);
        if (item.empty()) {
            tracer.Warning(TraceEvent::ScanItemUnreadable, index);  // an empty line is never written
            continue;
        }
        line.clear();
        tsLib::AppendUtf8(item, line);
        output.WriteLine(line);
    }
}

}  // namespace

HResult ScanRequest::Scan(DropList& dropList, TextOutput& output) noexcept {
    const auto outOfMemory = [&] {
        tracer_.Error(TraceEvent::ScanOutOfMemory);
        return HResult::OutOfMemory;
    };
    return tsLib::AtBoundary(outOfMemory, HResult::Unexpected, [&] {
        std::u16string listFile;
        if (const auto named = NameListFile(listFile); Failed(named)) {
            return named;
        }
        tracer_.Information(TraceEvent::ScanListNamed, listFile);
        // Neither step's result is passed on: from here on the request counts as accepted.
        if (WriteScanList(dropList, output, listFile) == HResult::Ok) {
            static_cast<void>(LaunchScanner(listFile));
        }
        return HResult::Ok;
    });
}

HResult ScanRequest::NameListFile(std::u16string& listFile) {
    std::u16string path;
    std::size_t length = 0;
    const auto error = platform_.system.TemporaryFolder(path, length);
    if (Failed(error) || length == 0 || length > kTemporaryFolderLimit || path.empty()) {
        tracer_.Error(TraceEvent::ScanTemporaryFolderUnknown, error, length);
        return HResult::Unexpected;
    }
    std::uint64_t now = 0;
    if (Failed(platform_.system.FileTimeNow(now))) {
        return HResult::Unexpected;
    }
    // The two halves are two decimal numbers side by side, not one 64-bit number: 7 and 42 give ScanList742.
    path += u"ScanList";
    path += tsLib::DecimalText(now >> 32);
    path += tsLib::DecimalText(now & 0xFFFFFFFFu);
    listFile = std::move(path);
    return HResult::Ok;
}

HResult ScanRequest::WriteScanList(DropList& dropList, TextOutput& output, const std::u16string& listFile) {
    if (!dropList.IsPresent()) {
        tracer_.Error(TraceEvent::ScanNoDropList);
        return HResult::InvalidArgument;
    }
    const auto count = dropList.Count();
    if (count == 0) {
        tracer_.Error(TraceEvent::ScanEmptyDropList);
        return HResult::Fail;
    }
    auto opened = StreamState::Failed;
    {
        const CloseOnExit closer(output);
        opened = output.Open(listFile);
        // Only the bad state ends the request. A file that could not be opened leaves the stream merely failed: nothing
        // is written then, and the scanner is started all the same, because it is the scanner that reports a list it
        // cannot read.
        if (opened == StreamState::Bad) {
            tracer_.Error(TraceEvent::ScanListBadStream, listFile);
            return HResult::InvalidArgument;
        }
        WriteItems(dropList, count, output, tracer_);
    }
    // What the stream came to after a good start is traced and changes nothing.
    if (opened == StreamState::Good && output.State() != StreamState::Good) {
        tracer_.Error(TraceEvent::ScanListWriteFailed, listFile);
    }
    return HResult::Ok;
}

HResult ScanRequest::FindScanner(std::u16string& scanner) {
    const auto asked = AskResolver(scanner);
    if (Succeeded(asked)) {
        return HResult::Ok;
    }
    tracer_.Warning(TraceEvent::ScannerLookupFailed, kScannerFileName, asked);
    if (Failed(ReadInstalledApps(scanner))) {
        tracer_.Error(TraceEvent::ScannerUnknown, kScannerFileName, asked);
        return asked;  // the fallback's own failure says less
    }
    return HResult::Ok;
}

HResult ScanRequest::AskResolver(std::u16string& scanner) {
    const tsLib::VaneRef<IProductInstallPathResolver> resolver(new (std::nothrow)
                                                                   CProductInstallPathResolver(platform_, expansion_));
    if (!resolver) {
        return HResult::OutOfMemory;
    }
    char16_t* path = nullptr;
    if (const auto result = resolver->GetPath(kInstallFolder, kScannerFileName, &path, 0); Failed(result)) {
        return result;
    }
    const auto free = [this](char16_t* text) { platform_.system.Free(text); };
    const std::unique_ptr<char16_t, decltype(free)> owned(path, free);
    scanner = path;
    return HResult::Ok;
}

HResult ScanRequest::ReadInstalledApps(std::u16string& scanner) {
    tsLib::platform::OwnedRegistryKey key(platform_.registry);
    std::u16string folder;
    if (Failed(platform_.registry.OpenKey(tsLib::platform::RegistryRoot::LocalMachine,
                                          u"Software\\Corvane\\InstalledApps", tsLib::platform::kKeyRead,
                                          key.Receive())) ||
        Failed(tsLib::ReadText(platform_.registry, key.Get(), u"NimEdge", folder))) {
        return HResult::Fail;
    }
    // The value ends in a backslash; one that does not names no scanner, and starting it fails.
    scanner = folder + kScannerFileName;
    return HResult::Ok;
}

HResult ScanRequest::LaunchScanner(const std::u16string& listFile) {
    tracer_.Verbose(TraceEvent::ScanLaunch, listFile);
    if (listFile.empty()) {
        tracer_.Error(TraceEvent::ScanListAbsent);
        return HResult::InvalidArgument;
    }
    std::u16string scanner;
    if (const auto found = FindScanner(scanner); Failed(found)) {
        return found;
    }
    const std::u16string arguments = u"/UTF8 /Async /RightClickScan \"" + listFile + u"\"";
    tsLib::platform::StartedProcess started;
    if (!StartVerified(platform_, verifiers_, scanner, arguments,
                       tsLib::platform::kCreateNoWindow | tsLib::platform::kNormalPriorityClass,
                       tsLib::kProductTrustLevel, started)) {
        tracer_.Error(TraceEvent::ScannerNotStarted, scanner, arguments);
        return HResult::Fail;
    }
    // Nobody waits for the scanner: the thread's handle is closed first, then the process's.
    const tsLib::platform::OwnedProcess process(platform_.processes, started.process);
    const tsLib::platform::OwnedThread thread(platform_.processes, started.thread);
    return HResult::Ok;
}

}  // namespace HVR
