// A file system in memory for the stand-in scanner.
#pragma once

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "companions/scanagent/ScanFiles.h"
#include "tests/fakes/HandleTable.h"

namespace tests {

class FakeScanFiles final : public HVR::ScanFiles, public HVR::ReportFiles, public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;

    struct Node {
        HVR::EntryKind kind = HVR::EntryKind::File;
        std::string bytes;
        SystemError opening = SystemError::Success;
    };
    // By exact path; folders without a trailing backslash, drive roots with one. Folders are staged like files.
    std::map<std::u16string, Node> nodes;
    std::size_t readLimit = SIZE_MAX;  // the most that one Read gives
    std::size_t peakFolders = 0;
    std::vector<std::u16string> created;

    void PutFolder(const std::u16string& path) { nodes[path].kind = HVR::EntryKind::Folder; }
    void PutFile(const std::u16string& path, std::string bytes) { nodes[path].bytes = std::move(bytes); }
    [[nodiscard]] std::size_t OpenHandles() const { return folders_.Size() + inputs_.Size() + outputs_.Size(); }
    [[nodiscard]] std::size_t Misuses() const { return folders_.misuses + inputs_.misuses + outputs_.misuses; }

    SystemError Kind(const std::u16string& path, HVR::EntryKind& kind) override {
        const auto [error, node] = Find(path);
        if (node != nullptr) {
            kind = node->kind;
        }
        return error;
    }
    SystemError OpenFolder(const std::u16string& path, HVR::FolderHandle& folder) override {
        if (const auto [error, node] = Find(path); Failed(error) || Failed(error_ = node->opening)) {
            return Failed(error) ? error : error_;
        }
        const auto prefix = path.ends_with(u'\\') ? path : path + u'\\';
        Listing listing;
        for (auto it = nodes.upper_bound(prefix); it != nodes.end() && it->first.starts_with(prefix); ++it) {
            if (const auto name = it->first.substr(prefix.size()); name.find(u'\\') == name.npos) {
                listing.entries.push_back({name, it->second.kind});
            }
        }
        folder = folders_.Add(std::move(listing));
        peakFolders = std::max(peakFolders, folders_.Size());
        return SystemError::Success;
    }
    SystemError NextEntry(HVR::FolderHandle folder, HVR::FolderEntry& entry) override {
        if (const auto fault = Fault(); Failed(fault)) {
            return fault;
        }
        auto* const listing = folders_.Find(folder);
        if (listing == nullptr) {
            return SystemError::InvalidHandle;
        }
        if (listing->next == listing->entries.size()) {
            return SystemError::NoMoreItems;
        }
        entry = listing->entries[listing->next++];
        return SystemError::Success;
    }
    void CloseFolder(HVR::FolderHandle folder) noexcept override { folders_.Remove(folder); }
    SystemError OpenInput(const std::u16string& path, HVR::InputHandle& input) override {
        if (const auto [error, node] = Find(path); Failed(error) || Failed(error_ = node->opening)) {
            return Failed(error) ? error : error_;
        }
        input = inputs_.Add({path, 0});
        return SystemError::Success;
    }
    SystemError Read(HVR::InputHandle input, std::span<std::byte> buffer, std::size_t& count) override {
        if (const auto fault = Fault(); Failed(fault)) {
            return fault;
        }
        auto* const open = inputs_.Find(input);
        if (open == nullptr) {
            return SystemError::InvalidHandle;
        }
        const auto& bytes = nodes[open->path].bytes;
        count = std::min({buffer.size(), readLimit, bytes.size() - open->position});
        std::copy_n(reinterpret_cast<const std::byte*>(bytes.data()) + open->position, count, buffer.begin());
        open->position += count;
        return SystemError::Success;
    }
    void CloseInput(HVR::InputHandle input) noexcept override { inputs_.Remove(input); }

    SystemError Create(const std::u16string& path, HVR::OutputHandle& output) override {
        if (const auto fault = Fault(); Failed(fault)) {
            return fault;
        }
        created.push_back(path);
        nodes[path] = {};
        output = outputs_.Add(path);
        return SystemError::Success;
    }
    SystemError Write(HVR::OutputHandle output, std::string_view bytes) override {
        if (const auto fault = Fault(); Failed(fault)) {
            return fault;
        }
        auto* const path = outputs_.Find(output);
        if (path == nullptr) {
            return SystemError::InvalidHandle;
        }
        nodes[*path].bytes += bytes;
        return SystemError::Success;
    }
    void CloseOutput(HVR::OutputHandle output) noexcept override { outputs_.Remove(output); }
    SystemError Rename(const std::u16string& from, const std::u16string& to) override {
        if (const auto [error, node] = Find(from); Failed(error)) {
            return error;
        }
        nodes[to] = std::move(nodes[from]);
        nodes.erase(from);
        return SystemError::Success;
    }
    SystemError Remove(const std::u16string& path) override {
        const auto error = Find(path).first;
        if (Succeeded(error)) {
            nodes.erase(path);
        }
        return error;
    }

private:
    struct Listing {
        std::vector<HVR::FolderEntry> entries;
        std::size_t next = 0;
    };
    struct Open {
        std::u16string path;
        std::size_t position;
    };

    std::pair<SystemError, Node*> Find(const std::u16string& path) {
        if (const auto fault = Fault(); Failed(fault)) {
            return {fault, nullptr};
        }
        const auto found = nodes.find(path);
        return found == nodes.end() ? std::pair<SystemError, Node*>{SystemError::FileNotFound, nullptr}
                                    : std::pair<SystemError, Node*>{SystemError::Success, &found->second};
    }

    SystemError error_ = SystemError::Success;
    HandleTable<HVR::FolderHandle, Listing> folders_;
    HandleTable<HVR::InputHandle, Open> inputs_;
    HandleTable<HVR::OutputHandle, std::u16string> outputs_;
};

}  // namespace tests
