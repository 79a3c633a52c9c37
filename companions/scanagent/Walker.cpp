#include "companions/scanagent/Walker.h"

#include <array>
#include <vector>

#include "companions/scanagent/TestPattern.h"

namespace HVR {

using tsLib::platform::SystemError;

namespace {

struct Level {
    OwnedFolder folder;
    std::size_t pathLength;  // of the folder's own path with its trailing backslash
};

}  // namespace

Walker::Walker(ScanFiles& files, Report& report, ScanCounts& counts, ScanWatcher& watcher)
    : files_(files), report_(report), counts_(counts), watcher_(watcher), pattern_(MakeTestPattern()) {}

bool Walker::Scan(const std::u16string& item) {
    if (!watcher_.GoesOn(counts_)) {
        return false;
    }
    EntryKind kind{};
    if (const auto error = files_.Kind(item, kind); Failed(error)) {
        Unreadable(item, error);
    } else if (kind == EntryKind::Folder) {
        return ScanFolder(item);
    } else {
        ScanFileOrLink(item, kind);
    }
    return true;
}

void Walker::Unreadable(std::u16string_view path, SystemError error) {
    ++counts_.unreadable;
    report_.Line("unreadable", path, error);
}

void Walker::ScanFileOrLink(const std::u16string& path, EntryKind kind) {
    if (kind == EntryKind::Link) {
        ++counts_.skipped;
        report_.Line("skipped", path);
        return;
    }
    OwnedInput input(files_);
    if (const auto error = files_.OpenInput(path, input.Receive()); Failed(error)) {
        Unreadable(path, error);
        return;
    }
    std::array<std::byte, kTestFileLimit + 1> start{};
    std::size_t filled = 0;
    while (filled < start.size()) {
        std::size_t count = 0;
        if (const auto error = files_.Read(input.Get(), std::span(start).subspan(filled), count); Failed(error)) {
            Unreadable(path, error);
            return;
        }
        if (count == 0) {
            break;
        }
        filled += count;
    }
    ++counts_.files;
    if (IsTestFile(std::span(start).first(filled), pattern_)) {
        ++counts_.infected;
        report_.Line("infected", path);
    }
}

// Depth first, with the open folders on a stack of their own: a tree may be deeper than the thread's stack allows.
bool Walker::ScanFolder(std::u16string path) {
    std::vector<Level> levels;
    const auto enter = [&] {
        OwnedFolder folder(files_);
        if (const auto error = files_.OpenFolder(path, folder.Receive()); Failed(error)) {
            Unreadable(path, error);
            return;
        }
        if (!path.ends_with(u'\\')) {  // a drive's root has one already
            path += u'\\';
        }
        ++counts_.folders;
        levels.push_back({std::move(folder), path.size()});
    };
    enter();
    FolderEntry entry;
    while (!levels.empty()) {
        path.resize(levels.back().pathLength);
        const auto error = files_.NextEntry(levels.back().folder.Get(), entry);
        if (Failed(error)) {
            if (error != SystemError::NoMoreItems) {
                Unreadable(path, error);
            }
            levels.pop_back();
            continue;
        }
        if (!watcher_.GoesOn(counts_)) {
            return false;
        }
        path += entry.name;
        if (entry.kind == EntryKind::Folder) {
            enter();
        } else {
            ScanFileOrLink(path, entry.kind);
        }
    }
    return true;
}

}  // namespace HVR
