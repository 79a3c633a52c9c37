// Folders in memory, which are enumerated in the order in which their entries were put.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/fakes/HandleTable.h"
#include "tests/fakes/SimpleLower.h"
#include "tslib/platform/FileSearch.h"

namespace tests {

// One thread.
class FakeFileSearch final : public tsLib::platform::FileSearch, public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;
    using Handle = tsLib::platform::SearchHandle;
    using Entry = tsLib::platform::FoundEntry;

    SystemError First(const std::u16string& pattern, Handle& search, Entry& entry) override {
        searched.push_back(pattern);
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        const auto folder = folders_.find(SimpleLower(FolderOf(pattern)));
        if (folder == folders_.end()) {
            return SystemError::PathNotFound;
        }
        const std::u16string name = SimpleLower(pattern.substr(pattern.rfind(u'\\') + 1));
        std::vector<Entry> found;
        for (const Entry& candidate : folder->second) {
            if (name == u"*.*" || SimpleLower(candidate.name) == name) {
                found.push_back(candidate);
            }
        }
        if (found.empty()) {
            return SystemError::FileNotFound;
        }
        entry = found.front();
        search = open_.Add({std::move(found), 1});
        return SystemError::Success;
    }
    SystemError Next(Handle search, Entry& entry) override {
        State* state = open_.Find(search);
        if (state == nullptr) {
            return SystemError::InvalidHandle;
        }
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        if (state->next == state->found.size()) {
            return SystemError::NoMoreFiles;
        }
        entry = state->found[state->next++];
        return SystemError::Success;
    }
    void Close(Handle search) noexcept override { open_.Remove(search); }

    // Staging; the folders on the way are made.
    void PutFile(const std::u16string& path) { Put(path, 0x20); }
    void PutFolder(const std::u16string& path) {
        if (folders_.try_emplace(SimpleLower(path), std::vector<Entry>{{0x10, u"."}, {0x10, u".."}}).second &&
            path.rfind(u'\\') != std::u16string::npos) {
            Put(path, tsLib::platform::kAttributeDirectory);
        }
    }

    [[nodiscard]] std::size_t OpenHandles() const { return open_.Size(); }
    [[nodiscard]] std::size_t Misuses() const { return open_.misuses; }

    std::vector<std::u16string> searched;  // every pattern asked of First, in order

private:
    struct State {
        std::vector<Entry> found;
        std::size_t next = 0;
    };

    static std::u16string FolderOf(const std::u16string& path) {
        const std::size_t end = path.rfind(u'\\');
        return end == std::u16string::npos ? std::u16string() : path.substr(0, end);
    }
    void Put(const std::u16string& path, std::uint32_t attributes) {
        PutFolder(FolderOf(path));
        folders_[SimpleLower(FolderOf(path))].push_back({attributes, path.substr(path.rfind(u'\\') + 1)});
    }

    std::map<std::u16string, std::vector<Entry>> folders_;  // by lower-case path
    HandleTable<Handle, State> open_;
};

}  // namespace tests
