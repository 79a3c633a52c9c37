// The library while memory runs out: every allocation that it makes fails in turn, alone and with all that follow.
#include <shellapi.h>

#include "tests/wine/ShellServer.h"

namespace tests {
namespace {

template <class Function>
Function* Runtime(const char* name) {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"msvcrt.dll"), name)));
}
const auto allocate = Runtime<void* __cdecl(std::size_t)>("malloc");
const auto allocateClear = Runtime<void* __cdecl(std::size_t, std::size_t)>("calloc");
const auto reallocate = Runtime<void* __cdecl(void*, std::size_t)>("realloc");

// In place of the allocations of one module.
class Shortage {
public:
    explicit Shortage(HMODULE module)
        : allocate_(module, allocate, &Allocate),
          clear_(module, allocateClear, &Clear),
          grow_(module, reallocate, &Grow) {}

    // Number `first` fails, and with `goesOn` all after it. Counting begins anew.
    static void Begin(std::size_t first, bool goesOn) {
        asked = 0;
        failing = first;
        isEndless = goesOn;
    }
    static void End() { failing = 0; }
    static inline std::size_t asked = 0;

private:
    static bool Fails() {
        ++asked;
        return failing != 0 && (asked == failing || (isEndless && asked > failing));
    }
    static void* __cdecl Allocate(std::size_t size) { return Fails() ? nullptr : allocate(size); }
    static void* __cdecl Clear(std::size_t count, std::size_t size) {
        return Fails() ? nullptr : allocateClear(count, size);
    }
    static void* __cdecl Grow(void* block, std::size_t size) { return Fails() ? nullptr : reallocate(block, size); }

    static inline std::size_t failing = 0;
    static inline bool isEndless = false;
    ImportPatch allocate_;
    ImportPatch clear_;
    ImportPatch grow_;
};

// The whole life of a right-click. What each step answered.
std::vector<HRESULT> UseIt(const ShellLibrary& library, std::wstring& item) {
    std::vector<HRESULT> answers{library.Call("DllRegisterServer")};
    TestDataObject data({u"C:\\a"});
    ComPtr<IClassFactory> factory;
    ComPtr<IShellExtInit> init;
    ComPtr<IContextMenu> handler;
    answers.push_back(library.GetClassObject(HVR::kHandlerClassId, IID_PPV_ARGS(&factory)));
    answers.push_back(factory->CreateInstance(nullptr, IID_PPV_ARGS(&init)));
    if (init) {
        answers.push_back(init->Initialize(nullptr, &data, nullptr));
        answers.push_back(init.As(&handler));
        item = MenuItem(*handler.Get());
        char help[100] = {};
        answers.push_back(handler->GetCommandString(0, GCS_HELPTEXTA, nullptr, help, 100));
        CMINVOKECOMMANDINFO information{};
        information.cbSize = sizeof(information);
        answers.push_back(handler->InvokeCommand(&information));
    }
    handler.Reset();
    init.Reset();
    factory.Reset();
    answers.push_back(library.CanUnloadNow());
    answers.push_back(library.Call("DllUnregisterServer"));
    return answers;
}

// Every HALVORA_SWEEP_STEP-th when that is set.
TEST(MemorySweep, TheShellLibrary_AnswersWhateverAllocationFails) {
    Installation installation;
    installation.PutEnglishStrings();
    installation.PutOrientation(5134);
    installation.PutProduct(u"tsQrtCtl.dll");
    installation.PutObject(tsLib::OBJID_QrtControl, u"%TSROOTX64%\\tsQrtCtl.dll");
    const ShellLibrary library(installation.PutProduct(u"zebshell2.dll"));
    const std::wstring text = VariableText(L"HALVORA_SWEEP_STEP");
    const std::size_t step = text.empty() ? 1 : std::stoul(text);
    const Shortage shortage(library.Get());
    const auto use = [&](std::size_t first, bool goesOn) {
        std::wstring item;
        Shortage::Begin(first, goesOn);
        const std::vector<HRESULT> answers = UseIt(library, item);
        Shortage::End();
        EXPECT_TRUE(item == L"&Scan with Halvora" || (first != 0 && item.empty()));
        for (const HRESULT answer : answers) {
            EXPECT_TRUE(answer == S_OK || (first != 0 && answer == E_OUTOFMEMORY)) << std::hex << answer;
        }
    };
    use(0, false);
    const std::size_t all = Shortage::asked;
    std::size_t swept = 0;
    for (const bool goesOn : {false, true}) {
        for (std::size_t number = 1; number <= all && !HasFailure(); number += step) {
            SCOPED_TRACE(number);
            use(number, goesOn);
            ++swept;
        }
        use(0, false);
    }
    std::cout << swept << " of " << 2 * all << " failures swept\n";
    EXPECT_GT(all, 1000U);
}

}  // namespace
}  // namespace tests
