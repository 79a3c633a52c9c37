#include "tests/fakes/FakeFiles.h"

#include <algorithm>

namespace tests {

SystemError FakeFiles::OpenForReading(const std::u16string& path, FileSharing sharing, FileHandle& file) {
    Keep(opened, path);
    return Call("OpenForReading", path, [&] {
        std::shared_ptr<Node> node = disk_.Existing(path);
        const bool alone = sharing == FileSharing::Readers;
        Require(!node->IsFolder(), SystemError::AccessDenied);
        Require(!alone || node->writers.use_count() == 1, SystemError::SharingViolation);
        file = disk_.open.Add({path, std::move(node), alone});
    });
}

SystemError FakeFiles::Read(FileHandle file, std::span<std::byte> buffer, std::size_t& count) {
    return Call("Read", [&] {
        Disk::OpenFile& state = disk_.open[file];
        const Bytes& bytes = state.node->bytes;
        const std::size_t from = std::min(state.position, bytes.size());
        count = std::min({bytes.size() - from, buffer.size(), maximumRead});
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(from), count, buffer.begin());
        state.position = from + count;
    });
}

SystemError FakeFiles::FindFirst(const std::u16string& pattern, SearchHandle& search, FoundEntry& entry) {
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
        entry = found.front();
        found.pop_front();
        search = searches_.Add(std::move(found));
    });
}

std::u16string FakeFiles::PathOf(FileHandle file) const {
    const auto lock = Lock();
    const auto found = disk_.open.All().find(file);
    return found == disk_.open.All().end() ? std::u16string() : found->second.path;
}

StreamState FakeTextOutput::Open(const std::u16string& path) {
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

void FakeTextOutput::WriteLine(std::string_view utf8) {
    if (!IsOpen() || state_ != StreamState::Good) {
        return;
    }
    const std::string line = std::string(utf8) + "\r\n";
    if (Failed(Call("WriteLine", path_, [&] { disk_.Append(path_, line); }))) {
        disk_.Append(path_, std::string_view(line).substr(0, line.size() / 2));
        state_ = StreamState::Bad;
    } else {
        ++lines;
    }
}

std::uint32_t FakeDropList::Count() {
    tally_.misuses += IsPresent() ? 0U : 1U;
    return Failed(Call("Count", [] {})) ? 0 : static_cast<std::uint32_t>(items.size());
}

}  // namespace tests
