// What the tests do to Windows past the seam.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

struct HDROP__;

namespace tests {

// A path of any length, normalised and absolute, for every file function of Windows.
[[nodiscard]] std::wstring AnyLength(const std::u16string& path);

bool PutBytes(const std::u16string& path, std::string_view bytes);
[[nodiscard]] std::string GetBytes(const std::u16string& path);

// A new empty folder below the Windows folder's Temp for the length of a test. Something in it that is still open at
// the end is a failure of this test, and of no other: no two folders are the same.
class ScratchFolder {
public:
    explicit ScratchFolder(const wchar_t* name);
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    // Ends in a backslash.
    [[nodiscard]] const std::u16string& Path() const { return path_; }

private:
    std::u16string path_;
};

// Runs a program without a window, and ends it if it does not end by itself within a minute; its exit code, or ~0.
// `meanwhile` is given the process.
DWORD RunProgram(std::wstring commandLine, const std::function<void(HANDLE)>& meanwhile = {});

// The full path of a signed sample, or of a file of the staged product. Adds a test failure when the environment
// variable that names their folder is not set: HALVORA_SAMPLES, HALVORA_STAGE.
[[nodiscard]] std::u16string Sample(const std::u16string& name);
[[nodiscard]] std::u16string Staged(const std::u16string& name);

// Empty when it is not set.
[[nodiscard]] std::wstring VariableText(const wchar_t* name);
// An environment variable for the length of a test.
class VariableForTest {
public:
    VariableForTest(const wchar_t* name, const std::u16string& value);
    ~VariableForTest();
    VariableForTest(const VariableForTest&) = delete;
    VariableForTest& operator=(const VariableForTest&) = delete;

private:
    const wchar_t* name_;
    std::wstring before_;  // empty when it was not set
};

// A drop handle's memory with these bytes, or with a header (wide or not) before them. Freed by DropMemory's end.
class DropMemory {
public:
    explicit DropMemory(std::string_view block);
    ~DropMemory();
    DropMemory(const DropMemory&) = delete;
    DropMemory& operator=(const DropMemory&) = delete;

    [[nodiscard]] HDROP__* Get() const { return static_cast<HDROP__*>(memory_); }

private:
    HGLOBAL memory_;
};

[[nodiscard]] std::string WideDropBlock(const std::vector<std::u16string>& items);
[[nodiscard]] std::string NarrowDropBlock(const std::vector<std::string>& items);

}  // namespace tests
