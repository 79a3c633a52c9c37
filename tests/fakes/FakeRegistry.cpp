#include "tests/fakes/FakeRegistry.h"

#include <algorithm>

namespace tests {

namespace {

constexpr std::uint32_t kSetValue = 0x0002;
constexpr std::uint32_t kEnumerateSubkeys = 0x0008;
constexpr SystemError kBadPath{161};
constexpr SystemError kKeyDeleted{1018};

bool IsAtOrBelow(const std::u16string& path, const std::u16string& key) {
    return path.starts_with(key) && (path.size() == key.size() || path[key.size()] == u'\\');
}

// Lower case, with single backslashes and none at the end.
std::u16string Below(std::u16string key, const std::u16string& path) {
    for (const char16_t unit : u'\\' + SimpleLower(path)) {
        if (unit != u'\\' || !key.ends_with(u'\\')) {
            key += unit;
        }
    }
    if (key.ends_with(u'\\')) {
        key.pop_back();
    }
    return key;
}

}  // namespace

std::u16string FakeRegistry::FullPath(RegistryRoot root, const std::u16string& path, std::uint32_t view) {
    const std::u16string hive = root == RegistryRoot::CurrentUser ? u"hkcu" : u"hklm";
    const std::u16string software = hive + u"\\software";
    const std::u16string classes = software + u"\\classes";
    std::u16string full = Below(root == RegistryRoot::ClassesRoot ? classes : hive, path);
    if ((view & kKeyView32) != 0) {
        if (IsAtOrBelow(full, classes + u"\\clsid")) {
            full.insert(classes.size(), u"\\wow6432node");
        } else if (IsAtOrBelow(full, software) && !IsAtOrBelow(full, classes) &&
                   !IsAtOrBelow(full, software + u"\\wow6432node")) {
            full.insert(software.size(), u"\\wow6432node");
        }
    }
    return full;
}

SystemError FakeRegistry::Open(const std::u16string& asked, const std::u16string& full, std::uint32_t access,
                               bool create, RegistryKey& key) {
    const SystemError result = Call("OpenKey", full, [&] {
        RequireNoNul(asked);
        Require(!asked.starts_with(u'\\'), kBadPath);
        const auto found = keys_.find(full);
        Require(found != keys_.end() || create, SystemError::FileNotFound);
        key = open_.Add({full, found == keys_.end() ? Make(full, asked) : found->second, access});
    });
    Keep(opened, {asked, access, result});
    return result;
}

SystemError FakeRegistry::OpenSubkey(RegistryKey parent, const std::u16string& path, std::uint32_t access,
                                     RegistryKey& key) {
    const auto lock = Lock();
    const auto found = open_.All().find(parent);
    open_.CountMisuse(found == open_.All().end());
    return found == open_.All().end() ? SystemError::InvalidHandle
                                      : Open(path, Below(found->second.path, path), access, false, key);
}

FakeRegistry::OpenState& FakeRegistry::Usable(RegistryKey key, std::uint32_t access, std::u16string_view valueName) {
    OpenState& state = open_[key];
    const auto found = keys_.find(state.path);
    Require(found != keys_.end() && found->second == state.node, kKeyDeleted);
    Require((state.access & access) == access, SystemError::AccessDenied);
    RequireNoNul(valueName);
    return state;
}

SystemError FakeRegistry::ReadValue(RegistryKey key, const std::u16string& name, RegistryValue& value) {
    Keep(reads, name);
    return Call("ReadValue", name, [&] {
        Values& values = Usable(key, kKeyQueryValue, name).node->values;
        RegistryValue copy = At(values, SimpleLower(name), SystemError::FileNotFound);
        Require(copy.data.size() <= kMaximumRegistryValueBytes, SystemError::MoreData);
        value = std::move(copy);
    });
}

SystemError FakeRegistry::WriteValue(RegistryKey key, const std::u16string& name, const RegistryValue& value) {
    return Call("WriteValue", name, [&] {
        Values& values = Usable(key, kSetValue, name).node->values;
        Require(value.data.size() <= kMaximumRegistryValueBytes, SystemError::InvalidParameter);
        RegistryValue copy = value;
        values[SimpleLower(name)] = std::move(copy);
    });
}

SystemError FakeRegistry::DeleteValue(RegistryKey key, const std::u16string& name) {
    return Call("DeleteValue", name, [&] {
        Values& values = Usable(key, kSetValue, name).node->values;
        Require(values.erase(SimpleLower(name)) != 0, SystemError::FileNotFound);
    });
}

const std::vector<std::u16string>& FakeRegistry::Children(const std::u16string& full) {
    if (const auto known = children_.find(full); known != children_.end()) {
        return known->second;
    }
    std::vector<std::u16string> names;
    const std::u16string prefix = full + u'\\';
    for (auto key = keys_.lower_bound(prefix); key != keys_.end() && key->first.starts_with(prefix); ++key) {
        if (key->first.find(u'\\', prefix.size()) == std::u16string::npos) {
            names.push_back(key->second->name);
        }
    }
    return children_.emplace(full, std::move(names)).first->second;
}

SystemError FakeRegistry::SubkeyInfo(RegistryKey key, std::uint32_t& count, std::uint32_t& longestName) {
    return Call("SubkeyInfo", [&] {
        const auto& names = Children(Usable(key, kEnumerateSubkeys | kKeyQueryValue).path);
        count = static_cast<std::uint32_t>(names.size());
        longestName = 0;
        for (const std::u16string& name : names) {
            longestName = std::max(longestName, static_cast<std::uint32_t>(name.size()));
        }
    });
}

SystemError FakeRegistry::SubkeyName(RegistryKey key, std::uint32_t index, std::uint32_t capacity,
                                     std::u16string& name) {
    return Call("SubkeyName", [&] {
        const auto& names = Children(Usable(key, kEnumerateSubkeys).path);
        Require(index < names.size(), SystemError::NoMoreItems);
        Require(names[index].size() < capacity, SystemError::MoreData);
        name = names[index];
    });
}

SystemError FakeRegistry::Delete(RegistryRoot root, const std::u16string& path, bool tree) {
    const std::u16string full = FullPath(root, path, 0);
    return Call("DeleteKey", full, [&] {
        RequireNoNul(path);
        Require(!path.empty() && path.find(u"\\\\") == std::u16string::npos, SystemError::InvalidParameter);
        Require(!path.starts_with(u'\\') && !path.ends_with(u'\\'), SystemError::InvalidParameter);
        Require(keys_.contains(full), SystemError::FileNotFound);
        Require(tree || Children(full).empty(), SystemError::KeyHasChildren);
        Erase(full);
    });
}

SystemError FakeRegistry::DeleteSubkeyTree(RegistryKey parent, const std::u16string& path) {
    return Call("DeleteKey", path, [&] {
        const OpenState& state = Usable(parent, kKeyWrite & ~kKeyRead);
        Require(!path.empty(), SystemError::InvalidParameter);
        Require(Erase(Below(state.path, path)) != 0, SystemError::FileNotFound);
    });
}

std::shared_ptr<FakeRegistry::KeyNode> FakeRegistry::Make(const std::u16string& full, const std::u16string& asked) {
    const auto lock = Lock();
    if (const auto known = keys_.find(full); known != keys_.end()) {
        return known->second;
    }
    children_.clear();
    const std::u16string names = asked.ends_with(u'\\') ? ParentOf(asked) : asked;
    if (!ParentOf(full).empty()) {
        Make(ParentOf(full), ParentOf(names));
    }
    return keys_[full] = std::make_shared<KeyNode>(KeyNode{LastElement(names.empty() ? full : names), {}});
}

std::size_t FakeRegistry::Erase(const std::u16string& full) {
    const auto lock = Lock();
    children_.clear();
    return std::erase_if(keys_, [&](const auto& key) { return IsAtOrBelow(key.first, full); });
}

void FakeRegistry::PutValue(RegistryRoot root, const std::u16string& path, const std::u16string& name,
                            RegistryValue value, std::uint32_t view) {
    const auto lock = Lock();
    Make(FullPath(root, path, view), path)->values[SimpleLower(name)] = std::move(value);
}

const RegistryValue* FakeRegistry::Find(RegistryRoot root, const std::u16string& path, const std::u16string& name,
                                        std::uint32_t view) const {
    const auto lock = Lock();
    const auto key = keys_.find(FullPath(root, path, view));
    const bool isThere = key != keys_.end() && key->second->values.contains(SimpleLower(name));
    return isThere ? &key->second->values.at(SimpleLower(name)) : nullptr;
}

std::map<std::u16string, FakeRegistry::Values> FakeRegistry::Contents() const {
    const auto lock = Lock();
    std::map<std::u16string, Values> contents;
    for (const auto& [path, node] : keys_) {
        contents[path] = node->values;
    }
    return contents;
}

RegistryValue StoredText(std::u16string_view text, std::uint32_t type, bool terminated) {
    RegistryValue value = tsLib::TextValue(text);
    value.type = type;
    value.data.resize(value.data.size() - (terminated ? 0 : sizeof(char16_t)));
    return value;
}

}  // namespace tests
