// The scanner's file system on Windows.
#pragma once

#include "companions/scanagent/ScanFiles.h"

namespace HVR {

// Full paths are given to the platform in their extended-length form, which it does not shorten, normalise or limit to
// 260 characters.
class Win32ScanFiles final : public ScanFiles {
public:
    tsLib::platform::SystemError Kind(const std::u16string& path, EntryKind& kind) override;
    tsLib::platform::SystemError OpenFolder(const std::u16string& path, FolderHandle& folder) override;
    tsLib::platform::SystemError NextEntry(FolderHandle folder, FolderEntry& entry) override;
    void CloseFolder(FolderHandle folder) noexcept override;
    tsLib::platform::SystemError OpenInput(const std::u16string& path, InputHandle& input) override;
    tsLib::platform::SystemError Read(InputHandle input, std::span<std::byte> buffer, std::size_t& count) override;
    void CloseInput(InputHandle input) noexcept override;

    tsLib::platform::SystemError Create(const std::u16string& path, OutputHandle& output) override;
    tsLib::platform::SystemError Write(OutputHandle output, std::string_view bytes) override;
    void CloseOutput(OutputHandle output) noexcept override;
    tsLib::platform::SystemError Rename(const std::u16string& from, const std::u16string& to) override;
    tsLib::platform::SystemError Remove(const std::u16string& path) override;
};

}  // namespace HVR
