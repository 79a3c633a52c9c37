// Reading and searching the disk; writing a text file; a drop list.
#pragma once

#include <set>

#include "tests/fakes/Disk.h"
#include "tslib/platform/DropList.h"
#include "tslib/platform/Files.h"
#include "tslib/platform/TextOutput.h"

namespace tests {

// Any thread.
class FakeFiles final : public Files, FakePart {
public:
    explicit FakeFiles(Disk& disk) : FakePart(disk.Core()), disk_(disk) {}

    SystemError Attributes(const std::u16string& path, std::uint32_t& attributes) override {
        Keep(attributeReads, path);
        return Call("Attributes", path, [&] { attributes = disk_.Existing(path)->attributes; });
    }
    SystemError OpenForReading(const std::u16string& path, FileSharing sharing, FileHandle& file) override {
        Keep(opened, path);
        return Call("OpenForReading", path, [&] {
            const std::shared_ptr<Node> node = disk_.Existing(path);
            const bool alone = sharing == FileSharing::Readers;
            Require(!node->IsFolder(), SystemError::AccessDenied);
            Require(!alone || node->writers.use_count() == 1, SystemError::SharingViolation);
            file = disk_.open.Add({path, node, alone});
        });
    }
    SystemError Size(FileHandle file, std::uint64_t& bytes) override {
        return Call("Size", [&] { bytes = disk_.open[file].node->bytes.size(); });
    }
    SystemError Identity(FileHandle file, FileIdentity& identity) override {
        return Call("Identity", [&] { identity = IdentityOf(*disk_.open[file].node); });
    }
    SystemError State(FileHandle file, FileState& state) override {
        return Call("State", [&] {
            const Node& node = *disk_.open[file].node;
            state = {IdentityOf(node), node.bytes.size(), node.changed, node.changed, node.journalRecord};
        });
    }
    SystemError StampOf(const std::u16string& path, Stamp& stamp) override {
        return Call("StampOf", path, [&] {
            const std::shared_ptr<Node> node = disk_.Existing(path);
            stamp = {node->attributes, node->bytes.size(), node->number, node->changed, node->changed};
        });
    }
    SystemError VolumeOf(const std::u16string& path, Volume& answer) override {
        return Call("VolumeOf", path, [&] { answer = volume; });
    }
    SystemError FinalPath(FileHandle file, std::u16string& path) override {
        return Call("FinalPath", [&] {
            const std::u16string spelled = disk_.Spelled(disk_.open[file].path);
            path = spelled.starts_with(u"\\\\") ? u"\\\\?\\UNC" + spelled.substr(1) : u"\\\\?\\" + spelled;
        });
    }
    SystemError HoldFolder(const std::u16string& path, FileHandle& folder) override {
        return Call("HoldFolder", path, [&] {
            const std::shared_ptr<Node> node = disk_.Existing(path);
            folder = disk_.open.Add({path, node, true});
        });
    }
    SystemError Read(FileHandle file, std::span<std::byte> buffer, std::size_t& count) override {
        return Call("Read", [&] {
            Disk::OpenFile& state = disk_.open[file];
            const std::span<const std::byte> bytes = state.node->bytes;
            const auto left = bytes.subspan(std::min(state.position, bytes.size()));
            count = std::min({left.size(), buffer.size(), maximumRead});
            std::ranges::copy(left.first(count), buffer.begin());
            state.position += count;
        });
    }
    void Close(FileHandle file) noexcept override { disk_.open.Remove(file); }
    // Wildcards: "*" and "*.*" alone.
    SystemError FindFirst(const std::u16string& pattern, SearchHandle& search, FoundEntry& entry) override {
        Keep(searched, pattern);
        return Call("FindFirst", pattern, [&] {
            const std::u16string folder = ParentOf(pattern);
            const std::u16string name = SimpleLower(LastElement(pattern));
            const bool everything = name == u"*.*" || name == u"*";
            const std::shared_ptr<Node> node = disk_.Find(folder);
            Require(node != nullptr && node->IsFolder(), SystemError::PathNotFound);
            std::list<FoundEntry> found;
            if (everything && !ParentOf(folder).empty()) {  // a drive's root is in no folder
                found = {{kAttributeDirectory, u"."}, {kAttributeDirectory, u".."}};
            }
            for (const Disk::Entry& child : disk_.Children(folder)) {
                if (everything || SimpleLower(child.name) == name) {
                    found.push_back({child.node->attributes, child.name});
                }
            }
            Require(!found.empty(), SystemError::FileNotFound);
            search = searches_.Add(std::move(found));
            TakeNext(search, entry);
        });
    }
    SystemError FindNext(SearchHandle search, FoundEntry& entry) override {
        return Call("FindNext", [&] { TakeNext(search, entry); });
    }
    void CloseSearch(SearchHandle search) noexcept override { searches_.Remove(search); }

    // The path that the open handle was opened with; empty for any other handle.
    [[nodiscard]] std::u16string PathOf(FileHandle file) const {
        const auto lock = Lock();
        const Disk::OpenFile* const state = disk_.open.Find(file);
        return state == nullptr ? u"" : state->path;
    }

    std::vector<std::u16string> opened;          // every path asked of OpenForReading, in order
    std::vector<std::u16string> attributeReads;  // every path asked of Attributes, in order
    std::vector<std::u16string> searched;        // every pattern asked of FindFirst, in order
    Volume volume{true, u"NTFS"};                // of every path
    std::size_t maximumRead = SIZE_MAX;          // the most that one Read gives

private:
    [[nodiscard]] static FileIdentity IdentityOf(const Node& node) { return {1, {node.number, 0}}; }
    void TakeNext(SearchHandle search, FoundEntry& entry) {
        std::list<FoundEntry>& left = searches_[search];
        Require(!left.empty(), SystemError::NoMoreFiles);
        entry = left.front();
        left.pop_front();
    }

    Disk& disk_;
    HandleTable<SearchHandle, std::list<FoundEntry>> searches_{core_, "search"};  // what is still to be found
};

// Made for one piece of work. Operations for the fault switch: "OpenText", "WriteLine", "CloseText". A line that fails
// leaves its beginning behind, as on a full disk.
class FakeTextOutput final : public TextOutput, FakePart {
public:
    explicit FakeTextOutput(Disk& disk) : FakePart(disk.Core()), disk_(disk) {}
    ~FakeTextOutput() { Close(); }

    StreamState Open(const std::u16string& path) override {
        Close();
        Keep(opened, path);
        const bool isDevice = devices.contains(path);
        const SystemError error = Call("OpenText", path, [&] {
            const SystemError made = isDevice ? SystemError::InvalidFunction : disk_.TryCreate(path);
            Require(Succeeded(made), made);
            path_ = path;
            hold_ = disk_.HoldForWriting(path);
            ++tally_.open;
        });
        return state_ = Succeeded(error) ? StreamState::Good : isDevice ? StreamState::Bad : StreamState::Failed;
    }
    void WriteLine(std::string_view utf8) override {
        if (!IsOpen() || state_ != StreamState::Good) {
            return;
        }
        std::string line = std::string(utf8) + "\r\n";
        if (Failed(Call("WriteLine", path_, [] {}))) {
            line.resize(line.size() / 2);
            state_ = StreamState::Bad;
        }
        const auto lock = Lock();
        disk_.Append(path_, line);
    }
    [[nodiscard]] StreamState State() const noexcept override { return state_; }
    [[nodiscard]] bool IsOpen() const noexcept override { return hold_ != nullptr; }
    void Close() noexcept override {
        if (IsOpen()) {
            hold_.reset();
            --tally_.open;
            const bool isClosed = Succeeded(Call("CloseText", [] {}));
            state_ = isClosed || state_ != StreamState::Good ? state_ : StreamState::Failed;
        }
    }

    std::set<std::u16string> devices{u"NUL", u"\\\\.\\NUL"};  // names that lead to something other than a file
    std::vector<std::u16string> opened;                       // every path asked of Open, in order

private:
    Disk& disk_;
    std::u16string path_;
    std::shared_ptr<void> hold_;
    StreamState state_ = StreamState::Good;
    Tally& tally_ = NewTally("text output");
};

// Made for one piece of work. A fault empties the answer of Count or Item; to ask an absent list is a misuse.
class FakeDropList final : public DropList, FakePart {
public:
    explicit FakeDropList(FakeCore& core, std::vector<std::u16string> paths = {})
        : FakePart(core), items(std::move(paths)) {}

    [[nodiscard]] bool IsPresent() const noexcept override { return present && reads < goneAfterReads; }
    [[nodiscard]] std::uint32_t Count() override {
        tally_.misuses += IsPresent() ? 0U : 1U;
        return Failed(Call("Count", [] {})) ? 0 : static_cast<std::uint32_t>(items.size());
    }
    [[nodiscard]] std::u16string Item(std::uint32_t index) override {
        tally_.misuses += IsPresent() ? 0U : 1U;
        ++reads;
        return Failed(Call("Item", [] {})) || index >= items.size() ? std::u16string() : items[index];
    }

    std::vector<std::u16string> items;
    bool present = true;
    std::size_t goneAfterReads = SIZE_MAX;  // the list disappears after so many items were read
    std::size_t reads = 0;

private:
    Tally& tally_ = NewTally("drop list");
};

}  // namespace tests
