#include <windows.h>

#include <iterator>
#include <sstream>

#include "bench/shell/Rows.h"
#include "tslib/platform/win32/Handles.h"

namespace bench {

namespace {

using tsLib::platform::win32::UniqueKernelHandle;

struct Pipe {
    Pipe() {
        SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        HANDLE ends[2] = {};
        CreatePipe(&ends[0], &ends[1], &inheritable, 0);
        read.Reset(ends[0]);
        write.Reset(ends[1]);
        SetHandleInformation(read.Get(), HANDLE_FLAG_INHERIT, 0);
    }
    UniqueKernelHandle read;
    UniqueKernelHandle write;
};

// What this program prints with these arguments.
std::string OutputWith(const std::wstring& arguments) {
    wchar_t own[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, own, MAX_PATH);
    std::wstring commandLine = L'"' + std::wstring(own) + L"\" " + arguments;
    Pipe pipe;
    STARTUPINFOW startUp{};
    startUp.cb = sizeof(startUp);
    startUp.dwFlags = STARTF_USESTDHANDLES;
    startUp.hStdOutput = pipe.write.Get();
    startUp.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION made{};
    if (!CreateProcessW(own, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startUp, &made)) {
        throw Failure("a new process cannot be started");
    }
    const UniqueKernelHandle thread(made.hThread);
    const UniqueKernelHandle process(made.hProcess);
    pipe.write.Reset();
    std::string output;
    char buffer[256];
    for (DWORD size = 0; ReadFile(pipe.read.Get(), buffer, sizeof(buffer), &size, nullptr) && size != 0;) {
        output.append(buffer, size);
    }
    WaitForSingleObject(process.Get(), INFINITE);
    DWORD code = 1;
    if (!GetExitCodeProcess(process.Get(), &code) || code != 0) {
        throw Failure("a new process failed");
    }
    return output;
}

}  // namespace

Work InNewProcess(std::vector<Row> rows, const std::wstring& option) {
    return {std::move(rows), [option] {
                std::istringstream output(OutputWith(option));
                return std::vector<double>(std::istream_iterator<double>(output), {});
            }};
}

}  // namespace bench
