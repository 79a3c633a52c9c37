// What the tests do to Windows past the seam.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

struct HDROP__;

namespace tests {

// A path of any length, normalised and absolute, for every file function of Windows.
[[nodiscard]] std::wstring AnyLength(const std::u16string& path);

bool PutBytes(const std::u16string& path, std::string_view bytes);
[[nodiscard]] std::string GetBytes(const std::u16string& path);
// Folders below it and all. False when something in it cannot be removed, because it is still open, say.
bool RemoveTree(const std::u16string& folder);
// An empty folder of this process below the Windows folder's Temp, ending in a backslash.
[[nodiscard]] std::u16string FreshFolder(const wchar_t* name);

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
