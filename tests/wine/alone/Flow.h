// How a module of ours is used from its loading to its unloading, and what its answers may be.
#pragma once

#include <concepts>
#include <initializer_list>
#include <memory>
#include <type_traits>

#include "companions/pages/PageContent.h"
#include "companions/protection/Win32SuspensionMarks_win32.h"
#include "shellext/server/IPageProvider.h"
#include "tests/wine/ShellServer.h"
#include "tslib/IFactory.h"
#include "tslib/ISettingsStore.h"
#include "tslib/IVerifyTrust.h"
#include "tslib/VaneRef.h"
#include "tslib/verifytrust/TrustRecords.h"

namespace tests {

// Judges what operations answer: when nothing fails the right answer, else also the others that are documented.
class Answers {
public:
    using Watch = void (*)(const char* operation, const std::function<void()>& call);
    explicit Answers(bool isWhole, Watch watch = nullptr) : isWhole_(isWhole), watch_(watch) {}
    // Makes a call, watched if somebody wants to.
    template <std::invocable Call, class Answer = std::invoke_result_t<Call>>
    Answer Of(const char* operation, Call&& call) const {
        Answer answer{};
        const auto make = [&] { answer = call(); };
        watch_ != nullptr ? watch_(operation, make) : make();
        return answer;
    }
    template <std::invocable Call>
    void Are(const char* operation, Call&& call) const {
        Are(operation, Of(operation, call));
    }
    template <std::invocable Call, class Answer = std::invoke_result_t<Call>>
    void Are(const char* operation, Call&& call, const std::type_identity_t<Answer>& right,
             std::initializer_list<std::type_identity_t<Answer>> others = {}) const {
        Are(operation, Of(operation, call), right, others);
    }
    template <class Answer>
    void Are(const char* operation, const Answer& answer, const std::type_identity_t<Answer>& right,
             std::initializer_list<std::type_identity_t<Answer>> others = {}) const {
        EXPECT_TRUE(answer == right || (!isWhole_ && std::ranges::find(others, answer) != others.end()))
            << operation << ": " << testing::PrintToString(answer);
    }
    void Are(const char* operation, HRESULT result) const { Are(operation, result, S_OK, {E_OUTOFMEMORY}); }
    void Are(const char* operation, tsLib::VaneResult result,
             tsLib::VaneResult right = tsLib::VaneResult::Success) const {
        Are(operation, result, right, {tsLib::VaneResult::OutOfMemory});
    }

private:
    bool isWhole_;
    Watch watch_;
};

// Of one module: Prepare, Begin, Use (by several threads, as often as wanted), End, CleanUp, MayGo.
class Flow : ForTest {
public:
    virtual ~Flow() = default;
    virtual void Prepare(const LoadedModule&) {}
    virtual void Begin(const LoadedModule&, const Answers&) {}
    virtual void Use(const LoadedModule&, const Answers&) = 0;
    virtual void End(const LoadedModule&, const Answers&) {}
    virtual void CleanUp() {}
    // What takes no time, in place of all that stands before MayGo.
    virtual void UseBriefly(const LoadedModule& module, const Answers& answers) { Use(module, answers); }
    [[nodiscard]] virtual bool MayGo(const LoadedModule& module) { return module.Call("DllCanUnloadNow") == S_OK; }

    [[nodiscard]] const std::u16string& Path() const { return path_; }

protected:
    // Verdicts about younger files are not relied on.
    static void LetFilesAge() { Sleep(static_cast<DWORD>(tsLib::TrustRecords::kTimeStep / 10'000) + 200); }

    explicit Flow(const std::u16string& module) : path_(installation.PutProduct(module)) {}

    Installation installation;

private:
    const std::u16string path_;
};

// Whether the scanner is started and the type library registered. Otherwise the library gets handles like a process's,
// since thousands of processes take too long; and no type library, because under Wine 8.0 each call of RegisterTypeLib
// leaves a handle open, whoever calls it.
inline bool isReal = false;
inline std::atomic<int> scannerStarts = 0, boxes = 0;

template <class... Rest>
BOOL WINAPI StartScanner(const wchar_t* application, wchar_t* commandLine, Rest... rest) {
    ++scannerStarts;
    PROCESS_INFORMATION& process = *std::get<PROCESS_INFORMATION*>(std::tuple(rest...));
    if (isReal) {
        DWORD code = 1;
        EXPECT_TRUE(CreateProcessW(application, commandLine, rest...) &&
                    WaitForSingleObject(process.hProcess, 60000) == WAIT_OBJECT_0 &&
                    GetExitCodeProcess(process.hProcess, &code) && code == 0);
        return TRUE;
    }
    const HANDLE own = GetCurrentProcess();
    DuplicateHandle(own, own, own, &process.hProcess, 0, FALSE, DUPLICATE_SAME_ACCESS);
    DuplicateHandle(own, GetCurrentThread(), own, &process.hThread, 0, FALSE, DUPLICATE_SAME_ACCESS);
    return TRUE;
}
inline HRESULT WINAPI RegisterTypes(ITypeLib* library, wchar_t* path, wchar_t* folder) {
    return isReal ? RegisterTypeLib(library, path, folder) : S_OK;
}
inline int WINAPI CountBox(HWND, const wchar_t*, const wchar_t*, UINT) {
    ++boxes;
    return IDOK;
}
inline BOOL CALLBACK DestroyPage(HPROPSHEETPAGE page, LPARAM count) {
    ++*reinterpret_cast<int*>(count);
    return DestroyPropertySheetPage(page);
}

}  // namespace tests
