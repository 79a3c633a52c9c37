#include "tests/fakes/FakeFiles.h"

#include <algorithm>
#include <cstring>

#include "tests/fakes/SimpleLower.h"

namespace tests {

using namespace tsLib::platform;

namespace {

constexpr SystemError kInvalidName{123};
constexpr std::u16string_view kNeverInNames(u"\0*<>|\"", 6);

// No long-path prefix, backslashes only, no trailing one.
std::u16string Trimmed(std::u16string_view path) {
    std::u16string plain;
    if (path.starts_with(u"\\\\?\\UNC\\")) {
        plain = u"\\\\" + std::u16string(path.substr(8));
    } else {
        plain = path.starts_with(u"\\\\?\\") ? path.substr(4) : path;
    }
    std::replace(plain.begin(), plain.end(), u'/', u'\\');
    while (plain.size() > 1 && plain.ends_with(u'\\')) {
        plain.pop_back();
    }
    return plain;
}

// The one name of a path.
std::u16string PlainPath(std::u16string_view path) { return SimpleLower(Trimmed(path)); }

std::u16string NameOf(const std::u16string& plain) { return plain.substr(plain.rfind(u'\\') + 1); }

std::u16string ParentOf(const std::u16string& plain) {
    const std::size_t end = plain.rfind(u'\\');
    return end == std::u16string::npos ? std::u16string() : plain.substr(0, end);
}

}  // namespace

const FakeFiles::Node* FakeFiles::Lookup(const std::u16string& path) const {
    const auto found = nodes_.find(PlainPath(path));
    if (found == nodes_.end()) {
        return nullptr;
    }
    const bool folder = (found->second.attributes & kAttributeFolder) != 0;
    return !folder && (path.ends_with(u'\\') || path.ends_with(u'/')) ? nullptr : &found->second;
}

SystemError FakeFiles::WhyMissing(const std::u16string& path) const {
    if (path.find_first_of(kNeverInNames) != std::u16string::npos) {
        return kInvalidName;
    }
    const auto parent = nodes_.find(ParentOf(PlainPath(path)));
    const bool inFolder = parent != nodes_.end() && (parent->second.attributes & kAttributeFolder) != 0;
    return inFolder ? SystemError::FileNotFound : SystemError::PathNotFound;
}

SystemError FakeFiles::Attributes(const std::u16string& path, std::uint32_t& attributes) {
    const std::lock_guard lock(mutex_);
    attributeReads.push_back(path);
    if (const SystemError fault = Fault(); Failed(fault)) {
        return fault;
    }
    const Node* node = Lookup(path);
    if (node == nullptr) {
        return WhyMissing(path);
    }
    attributes = node->attributes;
    return SystemError::Success;
}

SystemError FakeFiles::OpenForReading(const std::u16string& path, Handle& file) {
    const std::lock_guard lock(mutex_);
    opened.push_back(path);
    if (const SystemError fault = Fault(); Failed(fault)) {
        return fault;
    }
    if (const auto error = openErrors_.find(PlainPath(path)); error != openErrors_.end()) {
        return error->second;
    }
    const Node* node = Lookup(path);
    if (node == nullptr) {
        return WhyMissing(path);
    }
    if ((node->attributes & kAttributeFolder) != 0) {
        return SystemError::AccessDenied;
    }
    if (node->writers.use_count() > 1) {
        return SystemError::SharingViolation;
    }
    file = handles_.Add({path});
    return SystemError::Success;
}

SystemError FakeFiles::Size(Handle file, std::uint64_t& bytes) {
    const std::lock_guard lock(mutex_);
    const OpenState* state = handles_.Find(file);
    if (state == nullptr) {
        return SystemError::InvalidHandle;
    }
    if (const SystemError fault = Fault(); Failed(fault)) {
        return fault;
    }
    const Node* node = Lookup(state->path);
    bytes = node == nullptr ? 0 : node->bytes.size();
    return SystemError::Success;
}

SystemError FakeFiles::Read(Handle file, std::span<std::byte> buffer, std::size_t& count) {
    const std::lock_guard lock(mutex_);
    OpenState* state = handles_.Find(file);
    if (state == nullptr) {
        return SystemError::InvalidHandle;
    }
    if (const SystemError fault = Fault(); Failed(fault)) {
        return fault;
    }
    const Node* node = Lookup(state->path);
    const std::size_t size = node == nullptr ? 0 : node->bytes.size();
    const std::size_t left = size - std::min(size, state->position);
    count = std::min({left, buffer.size(), maximumRead});
    if (count != 0) {
        std::memcpy(buffer.data(), node->bytes.data() + state->position, count);
    }
    state->position += count;
    return SystemError::Success;
}

void FakeFiles::Close(Handle file) noexcept {
    const std::lock_guard lock(mutex_);
    handles_.Remove(file);
}

void FakeFiles::MakeFolders(const std::u16string& path) {
    std::u16string folder = Trimmed(path);
    while (!folder.empty() && !nodes_.contains(SimpleLower(folder))) {
        nodes_[SimpleLower(folder)] = {NameOf(folder), kAttributeFolder, {}};
        folder = ParentOf(folder);
    }
}

void FakeFiles::PutFile(const std::u16string& path, Bytes bytes, std::uint32_t attributes) {
    const std::lock_guard lock(mutex_);
    MakeFolders(ParentOf(Trimmed(path)));
    nodes_[PlainPath(path)] = {NameOf(Trimmed(path)), attributes, std::move(bytes)};
}

void FakeFiles::PutFile(const std::u16string& path, std::string_view text) { PutFile(path, ToBytes(text)); }

void FakeFiles::PutFolder(const std::u16string& path) {
    const std::lock_guard lock(mutex_);
    MakeFolders(path);
}

void FakeFiles::Remove(const std::u16string& path) {
    const std::lock_guard lock(mutex_);
    nodes_.erase(PlainPath(path));
}

std::string FakeFiles::Text(const std::u16string& path) const {
    const std::lock_guard lock(mutex_);
    const Node* node = Lookup(path);
    std::string text(node == nullptr ? 0 : node->bytes.size(), '\0');
    if (!text.empty()) {
        std::memcpy(text.data(), node->bytes.data(), text.size());
    }
    return text;
}

std::u16string FakeFiles::Spelled(const std::u16string& path) const {
    const std::lock_guard lock(mutex_);
    if (Lookup(path) == nullptr) {
        return {};
    }
    std::u16string plain = PlainPath(path);
    std::u16string spelled;
    for (auto node = nodes_.find(plain); node != nodes_.end(); node = nodes_.find(plain)) {
        spelled = node->second.name + (spelled.empty() ? u"" : u"\\") + spelled;
        plain = ParentOf(plain);
    }
    // What is above the first element has no name, and a share has two backslashes there.
    if (plain.empty() && PlainPath(path).starts_with(u"\\\\")) {
        spelled.insert(0, 1, u'\\');
    }
    return path.ends_with(u'\\') ? spelled + u'\\' : spelled;
}

bool FakeFiles::Exists(const std::u16string& path) const {
    const std::lock_guard lock(mutex_);
    return Lookup(path) != nullptr;
}

void FakeFiles::FailOpening(const std::u16string& path, SystemError error) {
    const std::lock_guard lock(mutex_);
    if (Succeeded(error)) {
        openErrors_.erase(PlainPath(path));
    } else {
        openErrors_[PlainPath(path)] = error;
    }
}

std::shared_ptr<void> FakeFiles::HoldForWriting(const std::u16string& path) const {
    const std::lock_guard lock(mutex_);
    const Node* node = Lookup(path);
    return node == nullptr ? nullptr : node->writers;
}

SystemError FakeFiles::TryChange(const std::u16string& path) const {
    const std::lock_guard lock(mutex_);
    if (Lookup(path) == nullptr) {
        return WhyMissing(path);
    }
    const std::u16string plain = PlainPath(path);
    const auto& open = handles_.All();
    const bool read = std::any_of(open.begin(), open.end(),
                                  [&](const auto& handle) { return PlainPath(handle.second.path) == plain; });
    return read ? SystemError::SharingViolation : SystemError::Success;
}

SystemError FakeFiles::TryCreate(const std::u16string& path) {
    const SystemError error = TryChange(path);
    if (Failed(error) && error != SystemError::FileNotFound) {
        return error;
    }
    const std::lock_guard lock(mutex_);
    if (const Node* node = Lookup(path); node != nullptr && (node->attributes & kAttributeFolder) != 0) {
        return SystemError::AccessDenied;
    }
    nodes_[PlainPath(path)] = {NameOf(Trimmed(path)), kAttributeArchive, {}};
    return SystemError::Success;
}

void FakeFiles::AppendText(const std::u16string& path, std::string_view text) {
    const std::lock_guard lock(mutex_);
    const auto* first = reinterpret_cast<const std::byte*>(text.data());
    if (const auto node = nodes_.find(PlainPath(path)); node != nodes_.end()) {
        node->second.bytes.insert(node->second.bytes.end(), first, first + text.size());
    }
}

std::u16string FakeFiles::PathOf(Handle file) const {
    const std::lock_guard lock(mutex_);
    const auto found = handles_.All().find(file);
    return found == handles_.All().end() ? std::u16string() : found->second.path;
}

FakeFiles::Bytes FakeFiles::BytesOf(Handle file) const {
    const std::lock_guard lock(mutex_);
    const auto found = handles_.All().find(file);
    const Node* node = found == handles_.All().end() ? nullptr : Lookup(found->second.path);
    return node == nullptr ? Bytes() : node->bytes;
}

std::size_t FakeFiles::OpenHandles() const {
    const std::lock_guard lock(mutex_);
    return handles_.Size();
}

std::size_t FakeFiles::Misuses() const {
    const std::lock_guard lock(mutex_);
    return handles_.misuses;
}

std::vector<std::byte> ToBytes(std::string_view text) {
    const auto* first = reinterpret_cast<const std::byte*>(text.data());
    return {first, first + text.size()};
}

}  // namespace tests
