// platformkit: runs, from the unpacked kit, what this machine allows of the suites, and writes one report about it.
//
//   platformkit [--trust-test-root]
//
// Exit code 0 when all that ran passed and the machine is as before, 1 when something failed, 3 when it could not run.
#include <windows.h>

#include <atomic>
#include <cstdio>
#include <map>

#include "tools/platformkit/Machine_win32.h"
#include "tools/platformkit/Plan.h"
#include "tools/platformkit/TestRoot_win32.h"
#include "tools/platformkit/Watch_win32.h"

namespace {

using namespace HVR::platformkit;

constexpr int kPassed = 0, kFailed = 1, kCouldNotRun = 3;
constexpr DWORD kMinutes = 20;  // for one process

// Set by Ctrl+C, and by the end of the console or the session, which wait until the machine is put back.
HANDLE stop = nullptr;
std::atomic<bool> isDone = false;
BOOL WINAPI Stop(DWORD event) {
    SetEvent(stop);
    while (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT && !isDone) {
        Sleep(50);
    }
    return TRUE;
}
bool IsStopped() { return WaitForSingleObject(stop, 0) == WAIT_OBJECT_0; }

void Say(const std::string& line) {
    std::fputs((line + '\n').c_str(), stdout);
    std::fflush(stdout);
}
std::wstring Quoted(const std::wstring& text) { return L'"' + text + L'"'; }

// Lines of a test program's output that begin so: the count behind it, of all of them.
unsigned Counted(const std::string& output, const std::string& begin) {
    unsigned sum = 0;
    for (std::size_t at = output.find('\n' + begin); at != std::string::npos; at = output.find('\n' + begin, at + 1)) {
        sum += static_cast<unsigned>(std::strtoul(output.c_str() + at + 1 + begin.size(), nullptr, 10));
    }
    return sum;
}

// The names that the program lists: Suite.Test.
std::vector<std::wstring> TestsIn(const std::string& list) {
    std::vector<std::wstring> names;
    std::wstring suite;
    std::wstring line;
    for (const char letter : list + '\n') {
        if (letter != '\n') {
            line += letter == '\r' ? L' ' : static_cast<wchar_t>(letter);
            continue;
        }
        const std::wstring word = line.substr(0, line.find(L' ', line.starts_with(L"  ") ? 2 : 0));
        if (line.starts_with(L"  ")) {
            names.push_back(suite + word.substr(2));
        } else if (word.ends_with(L'.')) {
            suite = word;
        }
        line.clear();
    }
    return names;
}

// What came of a step's programs.
struct Tally {
    unsigned ran = 0, passed = 0, skipped = 0;
    DWORD code = 0;   // the last that was not 0
    DWORD error = 0;  // the same
    std::string bad;  // all that a program said that did not do as expected

    void Add(const std::wstring& what, const Ended& ended, bool isAsExpected) {
        code = ended.exitCode != 0 ? ended.exitCode : code;
        error = ended.error != 0 ? ended.error : error;
        if (ended.error != 0 || ended.exitCode != 0 || !isAsExpected) {
            bad += Utf8(what) + ": exit code " + std::to_string(ended.exitCode) + ", error " +
                   std::to_string(ended.error) + (ended.isOutOfTime ? ", ended after too long a time" : "") + '\n' +
                   ended.output + '\n';
        }
    }
    void AddTests(const std::wstring& filter, const Ended& ended) {
        const unsigned now = Counted(ended.output, "[==========] Running ");
        const unsigned good = Counted(ended.output, "[  PASSED  ] ");
        const unsigned left = Counted(ended.output, "[  SKIPPED ] ");
        ran += now;
        passed += good;
        skipped += left;
        Add(filter, ended, now != 0 && now == good + left);
    }
    [[nodiscard]] std::string Text() const {
        return std::to_string(passed) + " of " + std::to_string(ran) + " tests passed, " + std::to_string(skipped) +
               " skipped, exit code " + std::to_string(code) + (error != 0 ? ", error " + std::to_string(error) : "");
    }
};

class Kit {
public:
    Kit(std::wstring folder, std::wstring work) : folder_(std::move(folder)), work_(std::move(work)) {}

    int Go(bool trustRoot) {
        ReportLine("Halvora platform kit " HALVORA_VERSION ", begun " + Now());
        report_ += SystemFacts();
        const bool isAdministrator = IsAdministrator();
        const bool mayWrite = MayWriteMachineKeys();
        ReportLine(std::string("administrator: ") + (isAdministrator ? "yes" : "no") +
                   ", HKEY_LOCAL_MACHINE may be written: " + (mayWrite ? "yes" : "no"));
        if (const std::string earlier = ReadBytes(StatePath()); earlier.size() > 2) {
            if (earlier[1] == 'w' && !mayWrite) {
                return CannotRun(
                    "an earlier run by an administrator did not end: start it once more as one, who can put back");
            }
            ReportLine("an earlier run did not come to its end; taken away after it:");
            report_ += Watch::PutBack(earlier.substr(2));
            if (earlier[0] != '0') {
                Judge("test root removed", TestRoot(Certificate(), earlier[0] == 'm').Remove());
            }
        }
        marks_ = {'0', mayWrite ? 'w' : '-'};
        RemoveTree(work_);
        const Watch watch;
        if (!CreateDirectoryW(work_.c_str(), nullptr) || !CreateDirectoryW((work_ + L"\\scratch").c_str(), nullptr) ||
            !WriteBytes(StatePath(), marks_ + watch.ToText())) {
            return CannotRun("the folder " + Utf8(work_) + " cannot be made");
        }
        PrepareEnvironment();
        const Ended trial = Run(Quoted(Path(kSuites)) + L" --gtest_list_tests", work_, 2, stop);
        if (trial.error != 0 || trial.exitCode != 0) {
            RemoveTree(work_);
            return CannotRun("the suites do not start here: error " + std::to_string(trial.error) + ", exit code " +
                             std::to_string(trial.exitCode));
        }

        if (!mayWrite) {
            lacks_[kMachineKeys] = "HKEY_LOCAL_MACHINE cannot be written: start it as an administrator";
        } else if (!watch.IsMachineFree()) {
            lacks_[kMachineKeys] =
                "the product, or another of its maker's, is on this machine: the suites would use its keys";
        }
        if (!isAdministrator || !mayWrite) {
            lacks_[kCatalogs] = "the system's catalog database is written by administrators alone";
        }
        const TestRoot root(Certificate(), isAdministrator && mayWrite);
        const auto added = trustRoot ? AddRoot(root, isAdministrator && mayWrite, watch) : TestRoot::Added::No;
        if (!trustRoot) {
            lacks_[kTestRoot] = "the samples' root certificate is not trusted: start it with --trust-test-root";
        }

        ReportLine("\nSteps");
        for (const Step& step : kSteps) {
            Take(step);
        }
        Tell("zebdiag doctor", L"doctor --json");
        Tell("zebdiag about a file of a catalog", L"verify --json --level 1 " + Quoted(SystemFile()));

        ReportLine("\nAfterwards");
        const std::string taken = watch.PutBack(hasWritten_);
        ReportLine(taken.empty() ? "nothing was left behind" : "taken away, as it was not there before:");
        report_ += taken;
        if (added == TestRoot::Added::Yes) {
            Judge("test root removed", root.Remove());
        }
        RemoveTree(work_);
        Judge("folder removed", !Exists(work_));
        const std::string differences = watch.Differences();
        Judge("registry and catalogs as before", differences.empty());
        report_ += differences;
        return WriteReport();
    }

private:
    [[nodiscard]] std::wstring Path(const std::wstring& name) const { return folder_ + L'\\' + name; }
    [[nodiscard]] std::wstring StatePath() const { return work_ + L"\\state.txt"; }
    [[nodiscard]] std::string Certificate() const { return ReadBytes(Path(L"test-root.cer")); }
    static std::wstring SystemFile() {
        wchar_t system[MAX_PATH] = {};
        GetSystemDirectoryW(system, MAX_PATH);
        return std::wstring(system) + L"\\kernel32.dll";
    }
    static std::string Now() {
        SYSTEMTIME now;
        GetSystemTime(&now);
        char text[40];
        std::snprintf(text, sizeof(text), "%04u-%02u-%02u %02u:%02u:%02u UTC", now.wYear, now.wMonth, now.wDay,
                      now.wHour, now.wMinute, now.wSecond);
        return text;
    }

    void ReportLine(const std::string& line) {
        Say(line);
        report_ += line + '\n';
    }
    void Judge(const std::string& what, bool isGood) {
        ReportLine(std::string(isGood ? "passed   " : "FAILED   ") + what);
        failures_ += isGood ? 0 : 1;
    }
    static int CannotRun(const std::string& why) {
        Say("could not run: " + why);
        return kCouldNotRun;
    }

    void PrepareEnvironment() const {
        const std::pair<const wchar_t*, std::wstring> variables[] = {
            {L"HALVORA_SAMPLES", Path(L"samples")},
            {L"HALVORA_STAGE", Path(L"stage")},
            {L"HALVORA_SCRATCH", work_ + L"\\scratch"},
            {L"HALVORA_SWEEP_STEP", L"29"},
            {L"TMP", work_},
            {L"TEMP", work_},
        };
        for (const auto& [name, value] : variables) {
            SetEnvironmentVariableW(name, value.c_str());
        }
    }

    TestRoot::Added AddRoot(const TestRoot& root, bool isMachines, const Watch& watch) {
        const std::string whose = isMachines ? "the machine's" : "the user's";
        Say("adding the test root certificate to " + whose + " trusted roots; Windows may ask you");
        marks_[0] = isMachines ? 'm' : 'u';
        WriteBytes(StatePath(), marks_ + watch.ToText());
        const TestRoot::Added added = root.Add();
        ReportLine("test root: " + (added == TestRoot::Added::Yes ? "added to " + whose + " trusted roots for this run"
                                    : added == TestRoot::Added::WasThere
                                        ? "was among " + whose + " trusted roots, and stays"
                                        : "could not be added to " + whose + " trusted roots"));
        if (added != TestRoot::Added::Yes) {
            marks_[0] = '0';
            WriteBytes(StatePath(), marks_ + watch.ToText());
        }
        if (added == TestRoot::Added::No) {
            lacks_[kTestRoot] = "the samples' root certificate could not be made a trusted one";
        }
        return added;
    }

    void Take(const Step& step) {
        std::string title = step.title;
        title.resize(30, ' ');
        for (const auto& [need, why] : lacks_) {
            if ((step.needs & need) != 0) {
                ReportLine("skipped  " + title + " " + why);
                return;
            }
        }
        if (IsStopped()) {
            ReportLine("FAILED   " + title + " stopped by the user");
            ++failures_;
            return;
        }
        hasWritten_ = hasWritten_ || (step.needs & kMachineKeys) != 0;
        const ULONGLONG begin = GetTickCount64();
        const std::wstring program = Quoted(Path(step.program)) + L" --gtest_filter=";
        std::vector<std::wstring> filters{step.filter};
        Tally tally;
        if (step.isEachAlone) {
            const Ended list = Run(program + step.filter + L" --gtest_list_tests", work_, 2, stop);
            filters = TestsIn(list.output);
            tally.Add(L"the list of tests", list, !filters.empty());
        }
        for (const std::wstring& filter : filters) {
            tally.AddTests(filter, Run(program + filter, work_, kMinutes, stop));
        }
        const bool isShort = step.isEachAlone && tally.ran != filters.size();
        Judge(title + ' ' + tally.Text() +
                  (isShort ? ", of " + std::to_string(filters.size()) + " that are there" : "") + ", " +
                  std::to_string((GetTickCount64() - begin) / 1000) + " s",
              tally.bad.empty());
        if (!tally.bad.empty()) {
            details_ += "\n==== " + std::string(step.title) + '\n' + tally.bad;
        }
    }

    // What it answers is for the reader; its verdicts are no failures here.
    void Tell(const std::string& title, const std::wstring& arguments) {
        const Ended ended = Run(Quoted(Path(L"stage\\zebdiag.exe")) + L' ' + arguments, work_, 2, stop);
        Judge(title + ", exit code " + std::to_string(ended.exitCode),
              ended.error == 0 && ended.exitCode <= 3 && !ended.isOutOfTime);
        details_ += "\n==== " + title + '\n' + ended.output + '\n';
    }

    int WriteReport() {
        ReportLine(failures_ == 0 ? "\nAll that ran passed." : "\n" + std::to_string(failures_) + " failed.");
        std::string bytes = "\xEF\xBB\xBF";
        for (const char letter : report_ + details_) {
            bytes += letter == '\n' ? "\r\n" : letter == '\r' ? "" : std::string(1, letter);
        }
        for (const std::wstring& folder : {folder_, home_}) {
            const std::wstring path = folder + L"\\halvora-report.txt";
            if (WriteBytes(path, bytes)) {
                Say("report: " + Utf8(path));
                return failures_ == 0 ? kPassed : kFailed;
            }
        }
        return CannotRun("the report cannot be written");
    }

    std::wstring folder_;  // of the kit
    std::wstring work_;    // of the run
    std::wstring home_ = Variable(L"TEMP");
    std::string report_;
    std::string details_;
    std::map<unsigned, std::string> lacks_;  // by need: why it is not met
    std::string marks_;                      // whose root certificate it is, and whether the machine's keys are written
    unsigned failures_ = 0;
    bool hasWritten_ = false;  // below HKEY_LOCAL_MACHINE
};

int Main(int count, wchar_t** arguments) {
    const bool trustRoot = count == 2 && std::wstring(arguments[1]) == L"--trust-test-root";
    if (count > 1 && !trustRoot) {
        Say("usage: run.cmd [--trust-test-root]; see README.md");
        return kCouldNotRun;
    }
    std::wstring folder(0x8000, L'\0');
    folder.resize(GetModuleFileNameW(nullptr, folder.data(), static_cast<DWORD>(folder.size())));
    folder.resize(folder.find_last_of(L'\\'));
    for (const wchar_t* const part :
         {kSuites, kAlone, L"samples\\good.exe", L"stage\\zebshell2.dll", L"test-root.cer"}) {
        if (folder.starts_with(L"\\\\") || !Exists(folder + L'\\' + part)) {
            Say("could not run: unpack the whole kit into a folder of a local disk");
            return kCouldNotRun;
        }
    }
    // A short path of plain letters that everybody may write to, which the suites want.
    std::wstring shared = Variable(L"PUBLIC");
    shared = shared.empty() || !Exists(shared) ? Variable(L"TEMP") : shared;
    return Kit(folder, shared + L"\\halvora-kit").Go(trustRoot);
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    stop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    SetConsoleCtrlHandler(&Stop, TRUE);
    const int code = Main(count, arguments);
    isDone = true;
    return code;
}
