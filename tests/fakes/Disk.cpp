#include "tests/fakes/Disk.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace tests {

namespace {

constexpr SystemError kInvalidName{123};

constexpr std::size_t kLongestName = 255;

}  // namespace

std::u16string Disk::Key(const std::u16string& path) const {
    std::u16string key = PlainPath(path);
    for (const auto& [shortForm, longForm] : shortNames_) {
        if ((key + u'\\').starts_with(shortForm + u'\\')) {
            key.replace(0, shortForm.size(), longForm);
        }
    }
    return key;
}

std::shared_ptr<Node> Disk::Find(const std::u16string& path) const {
    const auto lock = Lock();
    const auto found = entries_.find(Key(path));
    const bool asFolder = path.ends_with(u'\\') || path.ends_with(u'/');
    return found == entries_.end() || (asFolder && !found->second.node->IsFolder()) ? nullptr : found->second.node;
}

SystemError Disk::WhyMissing(const std::u16string& path) const {
    if (path.find_first_of(std::u16string_view(u"\0*<>|\"", 6)) != std::u16string::npos ||
        LastElement(path).size() > kLongestName) {
        return kInvalidName;
    }
    const std::shared_ptr<Node> parent = Find(ParentOf(TrimmedPath(path)));
    return parent != nullptr && parent->IsFolder() ? SystemError::FileNotFound : SystemError::PathNotFound;
}

std::shared_ptr<Node> Disk::Existing(const std::u16string& path) const {
    std::shared_ptr<Node> node = Find(path);
    Require(node != nullptr, node == nullptr ? WhyMissing(path) : SystemError::Success);
    return node;
}

std::u16string Disk::Spelled(const std::u16string& path) const {
    std::u16string key = Key(path);
    std::u16string spelled;
    // What is above the first element has no name, and a share has two backslashes there.
    const bool isShare = key.starts_with(u"\\\\");
    for (auto entry = entries_.find(key); entry != entries_.end(); entry = entries_.find(key)) {
        spelled = entry->second.name + (spelled.empty() ? u"" : u"\\") + spelled;
        key = ParentOf(key);
    }
    return (isShare ? u"\\" : u"") + spelled + (path.ends_with(u'\\') ? u"\\" : u"");
}

std::vector<Disk::Entry> Disk::Children(const std::u16string& folder) const {
    const std::u16string prefix = Key(folder) + u'\\';
    std::vector<Entry> children;
    for (auto entry = entries_.lower_bound(prefix); entry != entries_.end() && entry->first.starts_with(prefix);
         ++entry) {
        if (ParentOf(entry->first).size() + 1 == prefix.size()) {
            children.push_back(entry->second);
        }
    }
    std::ranges::sort(children, {}, [](const Entry& entry) { return entry.node->number; });
    return children;
}

void Disk::Put(const std::u16string& path, std::shared_ptr<Node> node) {
    const auto lock = Lock();
    const std::u16string trimmed = TrimmedPath(path);
    if (LastElement(trimmed).size() > kLongestName) {
        throw std::length_error("no disk takes such a name");
    }
    if (!ParentOf(trimmed).empty()) {
        PutFolder(ParentOf(trimmed));
    }
    entries_[Key(path)] = {LastElement(trimmed), std::move(node)};
}

std::shared_ptr<Node> Disk::FindStaged(const std::u16string& path) const {
    std::shared_ptr<Node> node = Find(path);
    if (node == nullptr) {
        throw std::logic_error("no such file was put on the disk");
    }
    return node;
}

void Disk::PutFile(const std::u16string& path, Bytes bytes, std::uint32_t attributes) {
    Put(path, std::make_shared<Node>(attributes, std::move(bytes)));
}

void Disk::PutFolder(const std::u16string& path) {
    if (!Exists(path)) {
        Put(path, std::make_shared<Node>(kAttributeDirectory));
    }
}

ModuleHandle Disk::PutModule(const std::u16string& path, Exports exports, Strings strings) {
    const auto lock = Lock();
    if (!Exists(path)) {
        PutFile(path, "MZ");
    }
    Node& node = *FindStaged(path);
    node.isModule = true;
    node.exports = std::move(exports);
    node.strings = std::move(strings);
    return ModuleHandle{node.number};
}

void Disk::PutShortName(const std::u16string& path, const std::u16string& shortName) {
    const auto lock = Lock();
    shortNames_[Key(ParentOf(TrimmedPath(path)) + u'\\' + shortName)] = Key(path);
}

void Disk::Remove(const std::u16string& path) {
    const auto lock = Lock();
    entries_.erase(Key(path));
}

void Disk::Sign(const std::u16string& path, FakeCertificate certificate, TrustAnswer answer) {
    const auto lock = Lock();
    FindStaged(path)->certificate = std::move(certificate);
    SetAnswer(path, answer);
}

void Disk::SetAnswer(const std::u16string& path, TrustAnswer answer) {
    const auto lock = Lock();
    FindStaged(path)->answer = answer;
}

void Disk::List(const std::u16string& path, const std::u16string& catalog, TrustAnswer answer, bool sha1, bool sha256) {
    const auto lock = Lock();
    if (!Exists(catalog)) {
        PutFile(catalog, "catalog");
    }
    for (const std::size_t length : {sha1 ? 20U : 0U, sha256 ? 32U : 0U}) {
        if (length != 0) {
            listings.push_back({catalog, MadeUpHash(FindStaged(path)->bytes, length), answer});
        }
    }
}

std::string Disk::Text(const std::u16string& path) const {
    const auto lock = Lock();
    const std::shared_ptr<Node> node = Find(path);
    return node == nullptr ? "" : std::string(reinterpret_cast<const char*>(node->bytes.data()), node->bytes.size());
}

SystemError Disk::WhyKept(const std::u16string& path, bool byAllReaders) const {
    const auto lock = Lock();
    const std::shared_ptr<Node> node = Find(path);
    if (node == nullptr || node->IsFolder()) {
        return node == nullptr ? WhyMissing(path) : SystemError::AccessDenied;
    }
    const bool isKept = std::ranges::any_of(open.All(), [&](const auto& file) {
        return file.second.node == node && (byAllReaders || file.second.keepsWritersAway);
    });
    return isKept ? SystemError::SharingViolation : SystemError::Success;
}

SystemError Disk::TryCreate(const std::u16string& path) {
    const auto lock = Lock();
    const SystemError error = TryWrite(path);
    if (error == SystemError::FileNotFound) {
        PutFile(path, "");
        return SystemError::Success;
    }
    if (Succeeded(error)) {
        FindStaged(path)->bytes.clear();
    }
    return error;
}

void Disk::Append(const std::u16string& path, std::string_view text) {
    const auto lock = Lock();
    const Bytes bytes = ToBytes(text);
    if (const std::shared_ptr<Node> node = Find(path); node != nullptr) {
        node->bytes.insert(node->bytes.end(), bytes.begin(), bytes.end());
    }
}

Bytes MadeUpHash(std::span<const std::byte> bytes, std::size_t length) {
    Bytes hash(length);
    for (std::size_t i = 0; i < length; ++i) {
        std::uint32_t mixed = 2166136261U + static_cast<std::uint32_t>(i) * 16777619U;
        for (const std::byte byte : bytes) {
            mixed = (mixed ^ static_cast<std::uint32_t>(byte)) * 16777619U;
        }
        hash[i] = static_cast<std::byte>(mixed >> 16 & 0xFFU);
    }
    return hash;
}

}  // namespace tests
