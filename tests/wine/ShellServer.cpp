#include "tests/wine/ShellServer.h"

#include <cstring>
#include <iterator>

namespace tests {

namespace {

constexpr wchar_t kProductKey[] = L"Software\\Corvane\\Halvora\\AV";

std::wstring Hex(DWORD type, const BYTE* bytes, std::size_t size) {
    constexpr wchar_t digits[] = L"0123456789abcdef";
    std::wstring text = std::to_wstring(type) + L":";
    for (std::size_t i = 0; i < size; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

void AddKey(HKEY key, const std::wstring& path, RegistryState& state) {
    state[path] = L"";
    std::vector<wchar_t> name(16384);
    std::vector<BYTE> data(0x10000);
    for (DWORD index = 0;; ++index) {
        auto length = static_cast<DWORD>(name.size());
        auto size = static_cast<DWORD>(data.size());
        DWORD type = 0;
        if (RegEnumValueW(key, index, name.data(), &length, nullptr, &type, data.data(), &size) != ERROR_SUCCESS) {
            break;
        }
        state[path + L"|" + Lower(name.data())] = Hex(type, data.data(), size);
    }
    for (DWORD index = 0;; ++index) {
        auto length = static_cast<DWORD>(name.size());
        if (RegEnumKeyExW(key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
            break;
        }
        HKEY child = nullptr;
        const std::wstring childName = Lower(name.data());
        if (RegOpenKeyExW(key, childName.c_str(), 0, KEY_READ, &child) == ERROR_SUCCESS) {
            AddKey(child, path + L"\\" + childName, state);
            RegCloseKey(child);
        }
    }
}

}  // namespace

std::wstring Staged(const std::wstring& name) {
    wchar_t folder[1024] = {};
    const DWORD length = GetEnvironmentVariableW(L"HALVORA_STAGE", folder, static_cast<DWORD>(std::size(folder)));
    return length == 0 || length >= std::size(folder) ? std::wstring() : std::wstring(folder) + L"\\" + name;
}

HRESULT LoadedModule::Call(const char* name) const {
    const auto function = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(reinterpret_cast<void*>(Find(name)));
    return function == nullptr ? E_NOTIMPL : function();
}

HRESULT LoadedModule::GetClassObject(REFCLSID classId, REFIID interfaceId, void** object) const {
    const auto function = reinterpret_cast<HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**)>(
        reinterpret_cast<void*>(Find("DllGetClassObject")));
    return function == nullptr ? E_NOTIMPL : function(classId, interfaceId, object);
}

void AddState(HKEY root, const std::wstring& rootName, const std::wstring& path, RegistryState& state) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key) == ERROR_SUCCESS) {
        AddKey(key, Lower(rootName + L"\\" + path), state);
        RegCloseKey(key);
    }
}

RegistryState Added(const RegistryState& before, const RegistryState& after) {
    RegistryState added;
    for (const auto& [what, data] : after) {
        const auto old = before.find(what);
        if (old == before.end() || old->second != data) {
            added[what] = data;
        }
    }
    return added;
}

std::wstring Lower(std::wstring text) {
    CharLowerBuffW(text.data(), static_cast<DWORD>(text.size()));
    return text;
}

std::wstring StoredText(const std::wstring& text) {
    return Hex(REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()), (text.size() + 1) * 2);
}

SettingForTest::SettingForTest(std::wstring value, DWORD type, const void* data, DWORD size)
    : value_(std::move(value)) {
    HKEY key = nullptr;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, kProductKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
    std::vector<BYTE> old(4096);
    auto oldSize = static_cast<DWORD>(old.size());
    if (RegQueryValueExW(key, value_.c_str(), nullptr, &type_, old.data(), &oldSize) == ERROR_SUCCESS) {
        old.resize(oldSize);
        before_ = old;
    }
    if (data == nullptr) {
        RegDeleteValueW(key, value_.c_str());
    } else {
        RegSetValueExW(key, value_.c_str(), 0, type, static_cast<const BYTE*>(data), size);
    }
    RegCloseKey(key);
}

SettingForTest::~SettingForTest() {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kProductKey, 0, KEY_ALL_ACCESS, &key) == ERROR_SUCCESS) {
        if (before_) {
            RegSetValueExW(key, value_.c_str(), 0, type_, before_->data(), static_cast<DWORD>(before_->size()));
        } else {
            RegDeleteValueW(key, value_.c_str());
        }
        RegCloseKey(key);
    }
}

HRESULT TestDataObject::QueryInterface(REFIID interfaceId, void** object) {
    const bool known = IsEqualIID(interfaceId, IID_IUnknown) || IsEqualIID(interfaceId, IID_IDataObject);
    *object = known ? static_cast<IDataObject*>(this) : nullptr;
    references += known ? 1U : 0U;
    return known ? S_OK : E_NOINTERFACE;
}

HRESULT TestDataObject::GetData(FORMATETC* format, STGMEDIUM* medium) {
    asked.push_back(*format);
    if (beforeAnswer != nullptr) {
        beforeAnswer();
    }
    if (!block_ && !nullList) {
        return DV_E_FORMATETC;
    }
    *medium = {};
    medium->tymed = tymed;
    if (tymed == TYMED_HGLOBAL && !nullList) {
        medium->hGlobal = GlobalAlloc(GMEM_MOVEABLE, block_->size());
        if (void* bytes = GlobalLock(medium->hGlobal); bytes != nullptr) {
            std::memcpy(bytes, block_->data(), block_->size());
            GlobalUnlock(medium->hGlobal);
        }
    }
    return S_OK;
}

BoxCloser::BoxCloser() : thread_([this] { Run(); }) {}

BoxCloser::~BoxCloser() { Finish(); }

std::vector<std::wstring> BoxCloser::Finish() {
    stop_ = true;
    if (thread_.joinable()) {
        thread_.join();
    }
    return seen_;
}

void BoxCloser::Run() {
    while (!stop_) {
        HWND box = nullptr;
        while ((box = FindWindowExW(nullptr, box, L"#32770", nullptr)) != nullptr) {
            DWORD process = 0;
            GetWindowThreadProcessId(box, &process);
            const HWND label = GetDlgItem(box, 0xFFFF);
            if (process != GetCurrentProcessId() || label == nullptr || !IsWindowVisible(box)) {
                continue;
            }
            wchar_t caption[256] = {};
            wchar_t text[1024] = {};
            GetWindowTextW(box, caption, static_cast<int>(std::size(caption)));
            SendMessageW(label, WM_GETTEXT, std::size(text), reinterpret_cast<LPARAM>(text));
            seen_.push_back(std::wstring(caption) + L": " + text);
            SendMessageW(box, WM_COMMAND, IDOK, 0);
        }
        Sleep(10);
    }
}

}  // namespace tests
