#include "tests/wine/ShellServer.h"

#include <algorithm>
#include <mutex>
#include <span>

namespace tests {

namespace {

std::mutex textsMutex;
std::vector<std::wstring> texts;

void WINAPI KeepDebugText(const wchar_t* text) {
    if (ShellLibrary::onDebugText) {
        ShellLibrary::onDebugText();
    }
    const std::lock_guard lock(textsMutex);
    texts.emplace_back(text);
}

int WINAPI KeepBox(HWND, const wchar_t* text, const wchar_t* caption, UINT) {
    ShellLibrary::boxes.emplace_back(caption == nullptr ? L"" : caption, text);
    return IDOK;
}

}  // namespace

void** ImportPatch::Find(HMODULE module, void* imported) {
    if (module == nullptr) {
        return nullptr;
    }
    auto* const base = reinterpret_cast<BYTE*>(module);
    const auto* nt =
        reinterpret_cast<const IMAGE_NT_HEADERS*>(base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
    const IMAGE_DATA_DIRECTORY& table = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IAT];
    const std::span<void*> imports(reinterpret_cast<void**>(base + table.VirtualAddress), table.Size / sizeof(void*));
    const auto found = std::ranges::find(imports, imported);
    EXPECT_NE(found, imports.end()) << "not imported";
    return found == imports.end() ? nullptr : &*found;
}

void ImportPatch::Write(void* function) {
    DWORD protection = 0;
    if (place_ != nullptr && VirtualProtect(place_, sizeof(*place_), PAGE_READWRITE, &protection)) {
        *place_ = function;
        VirtualProtect(place_, sizeof(*place_), protection, &protection);
    }
}

std::vector<std::pair<std::wstring, std::wstring>> ShellLibrary::boxes;
std::function<void()> ShellLibrary::onDebugText;

ShellLibrary::ShellLibrary(const std::u16string& path)
    : LoadedModule(path),
      messageBox_(Get(), &MessageBoxW, &KeepBox),
      debugOutput_(Get(), &OutputDebugStringW, &KeepDebugText) {
    boxes.clear();
    texts.clear();
}

std::ptrdiff_t ShellLibrary::DebugTexts(std::wstring_view part) {
    return std::ranges::count_if(texts, [&](const std::wstring& text) { return text.find(part) != text.npos; });
}

Microsoft::WRL::ComPtr<IClassFactory> ShellLibrary::ClassObject() const {
    Microsoft::WRL::ComPtr<IClassFactory> factory;
    EXPECT_EQ(GetClassObject(HVR::kHandlerClassId, IID_PPV_ARGS(&factory)), S_OK);
    return factory;
}

std::wstring MenuItem(IContextMenu& handler) {
    wchar_t text[300] = {};
    const HMENU menu = CreatePopupMenu();
    static_cast<void>(handler.QueryContextMenu(menu, 0, 1, 2, 0));
    GetMenuStringW(menu, 1, text, 300, MF_BYPOSITION);
    DestroyMenu(menu);
    return text;
}

HRESULT TestDataObject::QueryInterface(REFIID interfaceId, void** object) {
    const bool known = IsEqualIID(interfaceId, IID_IUnknown) || IsEqualIID(interfaceId, IID_IDataObject);
    *object = known ? static_cast<IDataObject*>(this) : nullptr;
    references += known ? 1U : 0U;
    return known ? S_OK : E_NOINTERFACE;
}

}  // namespace tests
