// The stand-in scanner's file system, over the fakes' disk.
#pragma once

#include "companions/scanagent/ScanFiles.h"
#include "tests/fakes/FakePlatform.h"

namespace tests {

inline constexpr std::uint32_t kAttributeLink = 0x400;

// What is written and fails leaves its first half behind, as on a full disk. Operations for the fault switch as in the
// interface, but "RemoveFile". One thread.
class FakeScanFiles final : public HVR::ScanFiles, FakePart {
public:
    explicit FakeScanFiles(FakePlatform& fake) : FakePart(fake), fake_(fake) {}

    SystemError Kind(const std::u16string& path, HVR::EntryKind& kind) override {
        return Call("Kind", path, [&] { kind = KindOf(*fake_.disk.Existing(path)); });
    }
    SystemError OpenFolder(const std::u16string& path, HVR::FolderHandle& folder) override {
        return Call("OpenFolder", path, [&] { folder = folders_.Add(fake_.disk.Children(path)); });
    }
    SystemError NextEntry(HVR::FolderHandle folder, HVR::FolderEntry& entry) override {
        return Call("NextEntry", [&] {
            auto& left = folders_[folder];
            Require(!left.empty(), SystemError::NoMoreItems);
            entry = {left.front().name, KindOf(*left.front().node)};
            left.erase(left.begin());
        });
    }
    void CloseFolder(HVR::FolderHandle folder) noexcept override { folders_.Remove(folder); }
    SystemError OpenInput(const std::u16string& path, HVR::InputHandle& input) override {
        FileHandle file{};
        const SystemError error = fake_.files.OpenForReading(path, FileSharing::ReadersAndWriters, file);
        input = Succeeded(error) ? static_cast<HVR::InputHandle>(file) : input;
        return error;
    }
    SystemError Read(HVR::InputHandle input, std::span<std::byte> buffer, std::size_t& count) override {
        return fake_.files.Read(static_cast<FileHandle>(input), buffer, count);
    }
    void CloseInput(HVR::InputHandle input) noexcept override { fake_.files.Close(static_cast<FileHandle>(input)); }

    SystemError Create(const std::u16string& path, HVR::OutputHandle& output) override {
        return Call("Create", path, [&] {
            const SystemError error = fake_.disk.TryCreate(path);
            Require(Succeeded(error), error);
            output = outputs_.Add(path);
        });
    }
    SystemError Write(HVR::OutputHandle output, std::string_view bytes) override {
        const auto put = [&](std::size_t count) { fake_.disk.Append(outputs_[output], bytes.substr(0, count)); };
        return Call(
            "Write", {}, [&] { put(bytes.size()); }, [&] { put(bytes.size() / 2); });
    }
    void CloseOutput(HVR::OutputHandle output) noexcept override { outputs_.Remove(output); }
    SystemError Rename(const std::u16string& from, const std::u16string& to) override {
        return Call("Rename", from, [&] {
            fake_.disk.PutFile(to, fake_.disk.Existing(from)->bytes);
            fake_.disk.Remove(from);
        });
    }
    SystemError Remove(const std::u16string& path) override {
        return Call("RemoveFile", path, [&] {
            Require(fake_.disk.Exists(path), SystemError::FileNotFound);
            fake_.disk.Remove(path);
        });
    }

private:
    static HVR::EntryKind KindOf(const Node& node) {
        return (node.attributes & kAttributeLink) != 0 ? HVR::EntryKind::Link
               : node.IsFolder()                       ? HVR::EntryKind::Folder
                                                       : HVR::EntryKind::File;
    }

    FakePlatform& fake_;
    HandleTable<HVR::FolderHandle, std::vector<Disk::Entry>> folders_{core_, "folder"};
    HandleTable<HVR::OutputHandle, std::u16string> outputs_{core_, "report"};
};

}  // namespace tests
