#include "tests/fakes/FakeRegistry.h"

#include <algorithm>
#include <cstring>

#include "tests/fakes/SimpleLower.h"

namespace tests {

using namespace tsLib::platform;

namespace {

constexpr std::uint32_t kSetValue = 0x0002;
constexpr SystemError kBadPath{161};

bool StartsWithKey(const std::u16string& path, std::u16string_view key) {
    return path.starts_with(key) && (path.size() == key.size() || path[key.size()] == u'\\');
}

// Lower case, with single backslashes and none at the end.
std::u16string PlainPath(const std::u16string& path) {
    std::u16string plain;
    for (const char16_t unit : SimpleLower(path)) {
        if (unit != u'\\' || !plain.ends_with(u'\\')) {
            plain += unit;
        }
    }
    if (plain.ends_with(u'\\')) {
        plain.pop_back();
    }
    return plain;
}

bool HoldsNul(const std::u16string& text) { return text.find(u'\0') != std::u16string::npos; }

std::u16string Join(const std::u16string& parent, const std::u16string& path) {
    return path.empty() ? parent : parent + u'\\' + path;
}

// The one name of a key: lower case, below "hklm", with the redirection of the 32-bit view done.
std::u16string FullPath(RegistryRoot root, const std::u16string& path, std::uint32_t view) {
    std::u16string below = PlainPath(path);
    if (root == RegistryRoot::ClassesRoot) {
        below = Join(u"software\\classes", below);
    }
    if ((view & kKeyView32) != 0) {
        const std::u16string_view classes = u"software\\classes";
        const std::u16string_view software = u"software";
        if (StartsWithKey(below, u"software\\classes\\clsid")) {
            below.insert(classes.size(), u"\\wow6432node");
        } else if (StartsWithKey(below, software) && !StartsWithKey(below, classes) &&
                   !StartsWithKey(below, u"software\\wow6432node")) {
            below.insert(software.size(), u"\\wow6432node");
        }
    }
    return Join(root == RegistryRoot::CurrentUser ? u"hkcu" : u"hklm", below);
}

}  // namespace

SystemError FakeRegistry::Open(const std::u16string& asked, std::u16string full, std::uint32_t access, bool create,
                               Key& key) {
    const SystemError result = [&] {
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        if (HoldsNul(asked)) {
            return SystemError::InvalidParameter;
        }
        if (asked.starts_with(u'\\')) {
            return kBadPath;
        }
        if (const auto error = openErrors_.find(full); error != openErrors_.end()) {
            return error->second;
        }
        if (create) {
            Make(full, asked);
        }
        return full == u"hklm" || full == u"hkcu" || full == u"hklm\\software\\classes" || keys_.contains(full)
                   ? SystemError::Success
                   : SystemError::FileNotFound;
    }();
    opened.push_back({asked, access, result});
    if (Succeeded(result)) {
        key = handles_.Add({std::move(full), access});
    }
    return result;
}

SystemError FakeRegistry::OpenKey(Root root, const std::u16string& path, std::uint32_t access, Key& key) {
    const std::lock_guard lock(mutex_);
    return Open(path, FullPath(root, path, access), access, false, key);
}

SystemError FakeRegistry::OpenSubkey(Key parent, const std::u16string& path, std::uint32_t access, Key& key) {
    const std::lock_guard lock(mutex_);
    const OpenState* state = handles_.Find(parent);
    if (state == nullptr) {
        return SystemError::InvalidHandle;
    }
    return Open(path, Join(state->path, PlainPath(path)), access, false, key);
}

SystemError FakeRegistry::CreateKey(Root root, const std::u16string& path, std::uint32_t access, Key& key) {
    const std::lock_guard lock(mutex_);
    return Open(path, FullPath(root, path, access), access, true, key);
}

SystemError FakeRegistry::ReadValue(Key key, const std::u16string& name, Value& value) {
    const std::lock_guard lock(mutex_);
    reads.push_back(name);
    const OpenState* state = handles_.Find(key);
    if (state == nullptr) {
        return SystemError::InvalidHandle;
    }
    if (const SystemError fault = Fault(); Failed(fault)) {
        return fault;
    }
    if ((state->access & kKeyQueryValue) == 0) {
        return SystemError::AccessDenied;
    }
    if (HoldsNul(name)) {
        return SystemError::InvalidParameter;
    }
    const Values& values = keys_[state->path];
    const auto found = values.find(SimpleLower(name));
    if (found == values.end()) {
        return SystemError::FileNotFound;
    }
    if (found->second.data.size() > kMaximumRegistryValueBytes) {
        return SystemError::MoreData;
    }
    Value copy = found->second;
    value = std::move(copy);
    return SystemError::Success;
}

void FakeRegistry::CloseKey(Key key) noexcept {
    const std::lock_guard lock(mutex_);
    handles_.Remove(key);
}

SystemError FakeRegistry::WriteValue(Key key, const std::u16string& name, const Value& value) {
    const std::lock_guard lock(mutex_);
    const OpenState* state = handles_.Find(key);
    if (state == nullptr) {
        return SystemError::InvalidHandle;
    }
    if (const SystemError fault = Fault(); Failed(fault)) {
        return fault;
    }
    if ((state->access & kSetValue) == 0) {
        return SystemError::AccessDenied;
    }
    if (HoldsNul(name) || value.data.size() > kMaximumRegistryValueBytes) {
        return SystemError::InvalidParameter;
    }
    Value copy = value;
    keys_[state->path][SimpleLower(name)] = std::move(copy);
    return SystemError::Success;
}

SystemError FakeRegistry::DeleteValue(Key key, const std::u16string& name) {
    const std::lock_guard lock(mutex_);
    const OpenState* state = handles_.Find(key);
    if (state == nullptr) {
        return SystemError::InvalidHandle;
    }
    if (const SystemError fault = Fault(); Failed(fault)) {
        return fault;
    }
    if ((state->access & kSetValue) == 0) {
        return SystemError::AccessDenied;
    }
    if (HoldsNul(name)) {
        return SystemError::InvalidParameter;
    }
    return keys_[state->path].erase(SimpleLower(name)) != 0 ? SystemError::Success : SystemError::FileNotFound;
}

SystemError FakeRegistry::Delete(Root root, const std::u16string& path, bool tree) {
    const std::lock_guard lock(mutex_);
    if (const SystemError fault = Fault(); Failed(fault)) {
        return fault;
    }
    if (path.empty() || path.starts_with(u'\\') || path.ends_with(u'\\') ||
        path.find(u"\\\\") != std::u16string::npos || path.find(u'\0') != std::u16string::npos) {
        return SystemError::InvalidParameter;
    }
    const std::u16string full = FullPath(root, path, 0);
    if (!keys_.contains(full)) {
        return SystemError::FileNotFound;
    }
    const auto below = [&](const auto& key) { return StartsWithKey(key.first, full); };
    if (!tree && std::count_if(keys_.begin(), keys_.end(), below) != 1) {
        return SystemError::KeyHasChildren;
    }
    if (const auto error = openErrors_.find(full); error != openErrors_.end()) {
        return error->second;
    }
    children_.clear();
    std::erase_if(keys_, below);
    return SystemError::Success;
}

SystemError FakeRegistry::DeleteKey(Root root, const std::u16string& path) { return Delete(root, path, false); }

SystemError FakeRegistry::DeleteTree(Root root, const std::u16string& path) { return Delete(root, path, true); }

void FakeRegistry::Make(const std::u16string& path, const std::u16string& asked) {
    children_.clear();
    Spell(path, asked);
    // A key that exists has all its parents.
    std::u16string key = path;
    while (keys_.try_emplace(key).second && key.find(u'\\') != std::u16string::npos) {
        key.resize(key.rfind(u'\\'));
    }
}

void FakeRegistry::PutKey(Root root, const std::u16string& path, std::uint32_t view) {
    const std::lock_guard lock(mutex_);
    Make(FullPath(root, path, view), path);
}

void FakeRegistry::PutValue(Root root, const std::u16string& path, const std::u16string& name, Value value,
                            std::uint32_t view) {
    const std::lock_guard lock(mutex_);
    const std::u16string full = FullPath(root, path, view);
    Make(full, path);
    keys_[full][SimpleLower(name)] = std::move(value);
}

void FakeRegistry::PutText(Root root, const std::u16string& path, const std::u16string& name, std::u16string_view text,
                           std::uint32_t view, std::uint32_t type) {
    PutValue(root, path, name, TextValue(text, type), view);
}

void FakeRegistry::FailOpening(Root root, const std::u16string& path, SystemError error, std::uint32_t view) {
    const std::lock_guard lock(mutex_);
    const std::u16string full = FullPath(root, path, view);
    if (Succeeded(error)) {
        openErrors_.erase(full);
    } else {
        openErrors_[full] = error;
    }
}

void FakeRegistry::RemoveKey(Root root, const std::u16string& path, std::uint32_t view) {
    const std::lock_guard lock(mutex_);
    const std::u16string full = FullPath(root, path, view);
    children_.clear();
    std::erase_if(keys_, [&](const auto& key) { return StartsWithKey(key.first, full); });
}

const FakeRegistry::Value* FakeRegistry::Find(Root root, const std::u16string& path, const std::u16string& name,
                                              std::uint32_t view) const {
    const std::lock_guard lock(mutex_);
    const auto key = keys_.find(FullPath(root, path, view));
    if (key == keys_.end()) {
        return nullptr;
    }
    const auto value = key->second.find(SimpleLower(name));
    return value == key->second.end() ? nullptr : &value->second;
}

std::size_t FakeRegistry::OpenHandles() const {
    const std::lock_guard lock(mutex_);
    return handles_.Size();
}

std::size_t FakeRegistry::Misuses() const {
    const std::lock_guard lock(mutex_);
    return handles_.misuses;
}

RegistryValue TextValue(std::u16string_view text, std::uint32_t type, bool terminated) {
    RegistryValue value{type, std::vector<std::byte>((text.size() + (terminated ? 1 : 0)) * sizeof(char16_t))};
    if (!text.empty()) {
        std::memcpy(value.data.data(), text.data(), text.size() * sizeof(char16_t));
    }
    return value;
}

RegistryValue DwordValue(std::uint32_t number) {
    RegistryValue value{kValueDword, std::vector<std::byte>(sizeof number)};
    std::memcpy(value.data.data(), &number, sizeof number);
    return value;
}

}  // namespace tests
