// What the tests do to Windows past the seam.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

#include "tslib/IProtectionControl.h"

struct HDROP__;

namespace tests {

// Base of what is there for the length of a test.
struct ForTest {
    ForTest() = default;
    ForTest(const ForTest&) = delete;
    ForTest& operator=(const ForTest&) = delete;
};

// A path of any length, normalised and absolute, for every file function of Windows.
[[nodiscard]] std::wstring AnyLength(const std::u16string& path);

bool PutBytes(const std::u16string& path, std::string_view bytes);
[[nodiscard]] std::string GetBytes(const std::u16string& path);

// Exchanges two files or folders by renaming; neither has changed when that fails.
bool SwapNames(const std::wstring& one, const std::wstring& other);

// A new empty folder below the Windows folder's Temp. Something in it that is still open at the end is a failure of
// this test, and of no other: no two folders are the same.
class ScratchFolder : ForTest {
public:
    explicit ScratchFolder(const wchar_t* name);
    ~ScratchFolder();

    // Ends in a backslash.
    [[nodiscard]] const std::u16string& Path() const { return path_; }

private:
    std::u16string path_;
};

// The full path of a signed sample, or of a file of the staged product. Adds a test failure when the environment
// variable that names their folder is not set: HALVORA_SAMPLES, HALVORA_STAGE.
[[nodiscard]] std::u16string Sample(const std::u16string& name);
[[nodiscard]] std::u16string Staged(const std::u16string& name);
[[nodiscard]] bool IsLoaded(const std::u16string& path);

// Empty when it is not set.
[[nodiscard]] std::wstring VariableText(const wchar_t* name);
// An environment variable.
class VariableForTest : ForTest {
public:
    VariableForTest(const wchar_t* name, const std::u16string& value);
    ~VariableForTest();

private:
    const wchar_t* name_;
    std::wstring before_;  // empty when it was not set
};

// Makes the key too.
void SetText(HKEY root, const std::wstring& key, const wchar_t* name, const std::u16string& text);
// How isolate.ini is written: with "Native64=1", without it, which means the 32-bit view of the registry, or with it in
// UTF-16.
enum class IniKind { Native64, View32, Utf16 };

// An installation of the product: a folder, which is the install directory too, with isolate.ini, a registry root of
// its own with %TSROOTX64% for it, and the product's key, which only one can have. No module is installed.
class Installation : ForTest {
public:
    explicit Installation(IniKind kind = IniKind::Native64);
    ~Installation();

    // Ends in a backslash.
    [[nodiscard]] const std::u16string& Folder() const { return folder_.Path(); }
    // Copies a file into the folder; the full path of the copy.
    std::u16string Put(const std::u16string& from, const std::u16string& name);
    std::u16string PutSample(const std::u16string& name) { return Put(Sample(name), name); }
    std::u16string PutProduct(const std::u16string& name) { return Put(Staged(name), name); }
    // The resource module at that path for a locale.
    std::u16string PutStrings(const std::u16string& from, const std::u16string& locale);

    // The number that says whether scans are allowed.
    void PutOrientation(DWORD number);
    // A text below the root, and an entry of a list of objects, the registry's or the settings store's.
    void PutText(const std::u16string& key, const wchar_t* name, const std::u16string& text);
    void PutObject(const tsLib::ObjectId& id, const std::u16string& path, const char16_t* list = u"OBJID\\") {
        PutText(list + tsLib::ToText(id), L"InProc64", path);
    }

private:
    ScratchFolder folder_{L"hvi"};
    std::wstring hive_;  // below HKEY_LOCAL_MACHINE
};

// A catalog in the system's catalog folder, made of that file.
class CatalogForTest : ForTest {
public:
    CatalogForTest(const std::u16string& file, const std::u16string& name);
    ~CatalogForTest();

private:
    std::wstring name_;
    HANDLE admin_ = nullptr;
};

// A drop handle's memory with these bytes.
class DropMemory : ForTest {
public:
    explicit DropMemory(std::string_view block);
    ~DropMemory();

    [[nodiscard]] HDROP__* Get() const { return static_cast<HDROP__*>(memory_); }
    [[nodiscard]] HGLOBAL Release() { return std::exchange(memory_, nullptr); }

private:
    HGLOBAL memory_;
};

// The header, of 20 bytes, and the list.
[[nodiscard]] std::string WideDropBlock(const std::vector<std::u16string>& items);

}  // namespace tests
