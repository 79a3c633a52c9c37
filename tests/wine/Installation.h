// An installation of the product: a folder and a registry root of its own, and what a process makes of them.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

#include "composition/ProductRuntime.h"
#include "tests/samples/Probe.h"
#include "tests/wine/WinStaging.h"

namespace tests {

// A value below HKEY_LOCAL_MACHINE for the length of a test, of the product's key unless another is named. What was
// there before comes back.
class SettingForTest {
public:
    explicit SettingForTest(const wchar_t* name);  // absent
    SettingForTest(const wchar_t* name, DWORD number);
    SettingForTest(const wchar_t* name, const std::u16string& text, const wchar_t* key = nullptr);
    ~SettingForTest() { Put(type_, before_.data(), before_.size()); }
    SettingForTest(const SettingForTest&) = delete;
    SettingForTest& operator=(const SettingForTest&) = delete;

private:
    SettingForTest(const wchar_t* key, const wchar_t* name, DWORD type, const void* data, std::size_t size);
    void Put(DWORD type, const void* data, std::size_t size);

    const wchar_t* key_;
    const wchar_t* name_;
    DWORD type_ = REG_NONE;  // which stands for a value that is absent
    std::vector<BYTE> before_;
};

// How isolate.ini is written: with "Native64=1", without it, which means the 32-bit view of the registry, or with it in
// UTF-16.
enum class IniKind { Native64, View32, Utf16 };

// The folder, which is the install directory too, with isolate.ini, and the registry root with %TSROOTX64% for it. No
// module is installed. Everything is removed at the end, which fails while a file is still open.
class Installation {
public:
    explicit Installation(IniKind kind = IniKind::Native64);
    ~Installation();
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;

    // Ends in a backslash.
    [[nodiscard]] const std::u16string& Folder() const { return folder_.Path(); }
    // Copies a file into the folder; the full path of the copy.
    std::u16string Put(const std::u16string& from, const std::u16string& name);
    std::u16string PutSample(const std::u16string& name) { return Put(Sample(name), name); }
    std::u16string PutProduct(const std::u16string& name) { return Put(Staged(name), name); }
    // The resource module at that path for a locale.
    std::u16string PutStrings(const std::u16string& from, const std::u16string& locale);

    // A text below the root; the two lists of objects: the registry's and the settings store's.
    void PutText(const std::u16string& key, const wchar_t* name, std::u16string_view text);
    void PutObject(const tsLib::ObjectId& id, std::u16string_view path) {
        PutText(u"OBJID\\" + tsLib::ToText(id), L"InProc64", path);
    }
    void PutSetting(const tsLib::ObjectId& id, std::u16string_view path) {
        PutText(u"Settings\\Tessel\\OBJID\\" + tsLib::ToText(id), L"InProc64", path);
    }
    [[nodiscard]] const std::string& Ini() const { return ini_; }

private:
    ScratchFolder folder_{L"hvi"};
    SettingForTest home_{L"Home Directory", folder_.Path()};
    std::wstring hive_;
    std::string ini_;
    REGSAM view_;
    HKEY root_ = nullptr;
};

// A process of the installation. Which one that is isolate.ini says, which lies beside this program meanwhile.
class ProcessOf {
    struct IniFile {
        explicit IniFile(const std::string& bytes);
        ~IniFile();
        std::u16string path;
    };
    IniFile ini_;

public:
    explicit ProcessOf(const Installation& installation) : ini_(installation.Ini()) {}

    // Creates an object and releases it.
    tsLib::VaneResult Create(const tsLib::ObjectId& id, const tsLib::InterfaceId& interfaceId = tsLib::kIVaneBaseId);
    tsLib::VaneResult CreateProbe(tsLib::VaneRef<IComponentProbe>& probe) {
        return runtime.Components().Create(kProbeId, kIComponentProbeId, probe);
    }
    // The full path of the module that the probe comes from; empty when it cannot be made.
    std::u16string ProbeModule();

    HVR::ProductRuntime runtime;
};

[[nodiscard]] bool IsLoaded(const std::u16string& path);
[[nodiscard]] tsLib::platform::ModuleHandle HandleOf(HMODULE module);

}  // namespace tests
