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
    SystemError OpenForReading(const std::u16string& path, FileSharing sharing, FileHandle& file) override;
    SystemError Size(FileHandle file, std::uint64_t& bytes) override {
        return Call("Size", [&] { bytes = disk_.open[file].node->bytes.size(); });
    }
    SystemError Read(FileHandle file, std::span<std::byte> buffer, std::size_t& count) override;
    void Close(FileHandle file) noexcept override { disk_.open.Remove(file); }
    // Wildcards: "*" and "*.*" alone.
    SystemError FindFirst(const std::u16string& pattern, SearchHandle& search, FoundEntry& entry) override;
    SystemError FindNext(SearchHandle search, FoundEntry& entry) override {
        return Call("FindNext", [&] {
            std::list<FoundEntry>& left = searches_[search];
            Require(!left.empty(), SystemError::NoMoreFiles);
            entry = left.front();
            left.pop_front();
        });
    }
    void CloseSearch(SearchHandle search) noexcept override { searches_.Remove(search); }

    // The path that the open handle was opened with; empty for any other handle.
    [[nodiscard]] std::u16string PathOf(FileHandle file) const;

    std::vector<std::u16string> opened;          // every path asked of OpenForReading, in order
    std::vector<std::u16string> attributeReads;  // every path asked of Attributes, in order
    std::vector<std::u16string> searched;        // every pattern asked of FindFirst, in order
    std::size_t maximumRead = SIZE_MAX;          // the most that one Read gives

private:
    Disk& disk_;
    HandleTable<SearchHandle, std::list<FoundEntry>> searches_{core_, "search"};  // what is still to be found
};

// Made for one piece of work. Operations for the fault switch: "OpenText", "WriteLine", "CloseText". A line that fails
// leaves its beginning behind, as on a full disk.
class FakeTextOutput final : public TextOutput, FakePart {
public:
    explicit FakeTextOutput(Disk& disk) : FakePart(disk.Core()), disk_(disk) {}
    ~FakeTextOutput() { Close(); }

    StreamState Open(const std::u16string& path) override;
    void WriteLine(std::string_view utf8) override;
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
    std::size_t lines = 0;                                    // the lines that reached a file

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
    [[nodiscard]] std::uint32_t Count() override;
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
