#include "tests/wine/ShellServer.h"

#include <algorithm>
#include <mutex>

#include "tslib/platform/win32/WideText.h"

namespace tests {

namespace {

std::mutex textsMutex;
std::vector<std::string> texts;
std::function<void()> onText;

// Windows tells a debugger the wide text first and, when nobody takes it, the narrow one; other systems only the
// latter.
LONG CALLBACK KeepDebugText(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    constexpr DWORD kNarrowPrint = 0x40010006;
    if (record.ExceptionCode != kNarrowPrint || record.NumberParameters < 2) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    if (onText) {
        onText();
    }
    const std::lock_guard lock(textsMutex);
    texts.emplace_back(reinterpret_cast<const char*>(record.ExceptionInformation[1]));
    return EXCEPTION_CONTINUE_EXECUTION;
}

int WINAPI KeepBox(HWND owner, const wchar_t* text, const wchar_t* caption, UINT type) {
    ShellLibrary::boxes.push_back({text, caption == nullptr ? L"none" : caption, type, owner});
    return IDOK;
}

}  // namespace

LoadedModule::LoadedModule(const std::u16string& path) : module_(LoadLibraryW(tsLib::platform::win32::ToWide(path))) {
    EXPECT_NE(module_, nullptr) << testing::PrintToString(path);
}

LoadedModule::~LoadedModule() {
    if (module_ != nullptr) {
        FreeLibrary(module_);
    }
}

HRESULT LoadedModule::Call(const char* name) const {
    const auto function =
        reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
    return function == nullptr ? E_NOTIMPL : function();
}

HRESULT LoadedModule::GetClassObject(REFCLSID classId, REFIID interfaceId, void** object) const {
    const auto function = reinterpret_cast<HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**)>(
        reinterpret_cast<void*>(GetProcAddress(module_, "DllGetClassObject")));
    return function == nullptr ? E_NOTIMPL : function(classId, interfaceId, object);
}

ImportPatch::ImportPatch(HMODULE module, std::string_view name, void* replacement) {
    if (module == nullptr) {
        return;
    }
    auto* const base = reinterpret_cast<BYTE*>(module);
    const auto* nt =
        reinterpret_cast<const IMAGE_NT_HEADERS*>(base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
    const auto* library = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(
        base + nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
    for (; library->Name != 0; ++library) {
        const auto* names = reinterpret_cast<const IMAGE_THUNK_DATA*>(base + library->OriginalFirstThunk);
        for (std::size_t i = 0; names[i].u1.AddressOfData != 0; ++i) {
            const auto* imported = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + names[i].u1.AddressOfData);
            if (!IMAGE_SNAP_BY_ORDINAL(names[i].u1.Ordinal) && name == reinterpret_cast<const char*>(imported->Name)) {
                place_ = reinterpret_cast<void**>(base + library->FirstThunk) + i;
            }
        }
    }
    EXPECT_NE(place_, nullptr) << name << " is not imported";
    if (place_ != nullptr) {
        original_ = *place_;
        Write(replacement);
    }
}

void ImportPatch::Write(void* function) {
    DWORD protection = 0;
    if (place_ != nullptr && VirtualProtect(place_, sizeof(*place_), PAGE_READWRITE, &protection)) {
        *place_ = function;
        VirtualProtect(place_, sizeof(*place_), protection, &protection);
    }
}

std::vector<ShownBox> ShellLibrary::boxes;

ShellLibrary::ShellLibrary(const std::u16string& path)
    : LoadedModule(path), messageBox_(Get(), "MessageBoxW", reinterpret_cast<void*>(&KeepBox)) {}

Microsoft::WRL::ComPtr<IClassFactory> ShellLibrary::ClassObject() const {
    Microsoft::WRL::ComPtr<IClassFactory> factory;
    EXPECT_EQ(GetClassObject(HVR::kHandlerClassId, IID_PPV_ARGS(&factory)), S_OK);
    return factory;
}

HRESULT TestDataObject::QueryInterface(REFIID interfaceId, void** object) {
    const bool known = IsEqualIID(interfaceId, IID_IUnknown) || IsEqualIID(interfaceId, IID_IDataObject);
    *object = known ? static_cast<IDataObject*>(this) : nullptr;
    references += known ? 1U : 0U;
    return known ? S_OK : E_NOINTERFACE;
}

DebugTexts::DebugTexts(std::function<void()> callback) {
    texts.clear();
    onText = std::move(callback);
    handler_ = AddVectoredExceptionHandler(1, &KeepDebugText);
}

DebugTexts::~DebugTexts() {
    RemoveVectoredExceptionHandler(handler_);
    onText = nullptr;
}

std::ptrdiff_t DebugTexts::Count(std::string_view part) const {
    const std::lock_guard lock(textsMutex);
    return std::count_if(texts.begin(), texts.end(),
                         [&](const std::string& text) { return text.find(part) != std::string::npos; });
}

}  // namespace tests
