// A click on the command, up to the scanner's first instruction.
#include "bench/StartStamp.h"
#include "bench/shell/Rows.h"
#include "bench/shell/Shell.h"
#include "composition/ProductRuntime.h"
#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/WideText.h"

namespace bench {

namespace {

using tsLib::platform::win32::UniqueKernelHandle;

constexpr DWORD kLongestStart = 30'000;  // milliseconds

// Where the scanner leaves its stamp.
class StampPlace {
public:
    StampPlace() {
        if (stamp_ == nullptr || !event_) {
            throw Failure("no place for the scanner's stamp");
        }
    }
    ~StampPlace() { UnmapViewOfFile(stamp_); }
    StampPlace(const StampPlace&) = delete;
    StampPlace& operator=(const StampPlace&) = delete;

    // When the scanner began that is being started; it has ended on return. Throws Failure.
    double TakeStart() const {
        if (WaitForSingleObject(event_.Get(), kLongestStart) != WAIT_OBJECT_0) {
            throw Failure("the scanner does not start");
        }
        const UniqueKernelHandle process(OpenProcess(SYNCHRONIZE, FALSE, stamp_->processId));
        WaitForSingleObject(process.Get(), kLongestStart);
        return Microseconds(stamp_->performanceCount);
    }

private:
    UniqueKernelHandle section_{
        CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(StartStamp), kStampSection)};
    UniqueKernelHandle event_{CreateEventW(nullptr, FALSE, FALSE, kStampEvent)};
    const StartStamp* stamp_ =
        static_cast<const StartStamp*>(MapViewOfFile(section_.Get(), FILE_MAP_READ, 0, 0, sizeof(StartStamp)));
};

// While this lives the product looks for its scanner in the bench's folder.
class ScannerOfBench {
public:
    ScannerOfBench() {
        std::u16string root;
        DWORD size = sizeof(folder_);
        if (!HVR::ProductRuntime::Instance().Isolation().Root(root)) {
            throw Failure("the installation's root is not known");
        }
        map_ = tsLib::platform::win32::ToWide(root + u"\\Tessel\\PathExpansionMap");
        if (RegGetValueW(HKEY_LOCAL_MACHINE, map_.c_str(), kName, RRF_RT_REG_SZ, nullptr, folder_, &size) != 0) {
            throw Failure("the path map has no INSTALLDIR");
        }
        Set(BenchFolder());
    }
    ~ScannerOfBench() { Set(folder_); }
    ScannerOfBench(const ScannerOfBench&) = delete;
    ScannerOfBench& operator=(const ScannerOfBench&) = delete;

private:
    static constexpr wchar_t kName[] = L"INSTALLDIR";
    void Set(const std::wstring& folder) const {
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, map_.c_str(), kName, REG_SZ, folder.c_str(),
                        static_cast<DWORD>((folder.size() + 1) * sizeof(wchar_t)));
    }

    std::wstring map_;
    wchar_t folder_[MAX_PATH] = {};
};

bool BareStart(const std::wstring& scanner) {
    std::wstring commandLine = L'"' + scanner + L'"';
    STARTUPINFOW startUp{};
    startUp.cb = sizeof(startUp);
    PROCESS_INFORMATION made{};
    if (!BareVerify(scanner) || !CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW,
                                                nullptr, nullptr, &startUp, &made)) {
        return false;
    }
    const UniqueKernelHandle thread(made.hThread);
    const UniqueKernelHandle process(made.hProcess);
    return true;
}

}  // namespace

void MeasureScannerStart(Table& table) {
    const std::wstring scanner = BenchFile(L"ScanAgent.exe");
    SetEnvironmentVariableW(L"TMP", BenchFolder().c_str());  // for the list files, which stay
    const Library library;
    Selection selection(1);
    const StampPlace place;
    const ScannerOfBench scannerOfBench;
    const std::string bare = "WinVerifyTrust and CreateProcessW, to the same";
    table.Measure({
        {{{bare}},
         [&] {
             const double begin = Now();
             if (!BareStart(scanner)) {
                 throw Failure("the scanner cannot be started");
             }
             return std::vector{place.TakeStart() - begin};
         }},
        {{{"InvokeCommand to the scanner's first instruction", bare}},
         [&] {
             IContextMenu* const handler = library.NewHandler(selection);
             CMINVOKECOMMANDINFO information{};
             information.cbSize = sizeof(information);
             const double begin = Now();
             if (handler == nullptr || FAILED(handler->InvokeCommand(&information))) {
                 throw Failure("InvokeCommand failed");
             }
             const double figure = place.TakeStart() - begin;
             handler->Release();
             return std::vector{figure};
         }},
    });
}

}  // namespace bench
