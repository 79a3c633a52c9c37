// A registry in memory. Names are compared without regard to letter case; the 32-bit view of Software and of the class
// ids lies under Wow6432Node, as on a 64-bit system.
#pragma once

#include <memory>

#include "tests/fakes/FakeCore.h"
#include "tslib/RegistryText.h"

namespace tests {

// The bytes of a text as the registry stores it: tsLib::TextValue for other types and for texts without their end.
inline RegistryValue StoredText(std::u16string_view text, std::uint32_t type = kValueText, bool terminated = true) {
    RegistryValue value = tsLib::TextValue(text);
    value.type = type;
    value.data.resize(value.data.size() - (terminated ? 0 : sizeof(char16_t)));
    return value;
}

// Any thread. For the fault switch every way to open or make a key is "OpenKey", every way to delete one "DeleteKey".
class FakeRegistry final : public Registry, FakePart {
public:
    using Values = std::map<std::u16string, RegistryValue>;  // by lower-case name

    explicit FakeRegistry(FakeCore& core) : FakePart(core) {
        PutKey(RegistryRoot::CurrentUser, u"");
        PutKey(RegistryRoot::LocalMachine, u"Software\\Classes");
    }

    SystemError OpenKey(RegistryRoot root, const std::u16string& path, std::uint32_t access,
                        RegistryKey& key) override {
        return Open(path, FullPath(root, path, access), access, false, key);
    }
    SystemError OpenSubkey(RegistryKey parent, const std::u16string& path, std::uint32_t access,
                           RegistryKey& key) override {
        const auto lock = Lock();
        const OpenState* const state = open_.Find(parent);
        open_.CountMisuse(state == nullptr);
        return state == nullptr ? SystemError::InvalidHandle
                                : Open(path, Below(state->node->path, path), access, false, key);
    }
    SystemError ReadValue(RegistryKey key, const std::u16string& name, RegistryValue& value) override {
        return Call("ReadValue", name, [&] {
            RegistryValue copy =
                At(Usable(key, kKeyQueryValue, name).values, SimpleLower(name), SystemError::FileNotFound);
            Require(copy.data.size() <= kMaximumRegistryValueBytes, SystemError::MoreData);
            value = std::move(copy);
        });
    }
    SystemError CreateKey(RegistryRoot root, const std::u16string& path, std::uint32_t access,
                          RegistryKey& key) override {
        return Open(path, FullPath(root, path, access), access, true, key);
    }
    SystemError WriteValue(RegistryKey key, const std::u16string& name, const RegistryValue& value) override {
        return Call("WriteValue", name, [&] {
            Values& values = Usable(key, kSetValue, name).values;
            Require(value.data.size() <= kMaximumRegistryValueBytes, SystemError::InvalidParameter);
            RegistryValue copy = value;
            values[SimpleLower(name)] = std::move(copy);
        });
    }
    SystemError DeleteValue(RegistryKey key, const std::u16string& name) override {
        return Call("DeleteValue", name, [&] {
            Require(Usable(key, kSetValue, name).values.erase(SimpleLower(name)) != 0, SystemError::FileNotFound);
        });
    }
    SystemError SubkeyInfo(RegistryKey key, std::uint32_t& count, std::uint32_t& longestName) override {
        return Call("SubkeyInfo", [&] {
            const auto& names = SubkeyNames(Usable(key, kEnumerateSubkeys | kKeyQueryValue).path);
            count = static_cast<std::uint32_t>(names.size());
            longestName = 0;
            for (const std::u16string& name : names) {
                longestName = std::max(longestName, static_cast<std::uint32_t>(name.size()));
            }
        });
    }
    SystemError SubkeyName(RegistryKey key, std::uint32_t index, std::uint32_t capacity,
                           std::u16string& name) override {
        return Call("SubkeyName", [&] {
            const auto& names = SubkeyNames(Usable(key, kEnumerateSubkeys).path);
            Require(index < names.size(), SystemError::NoMoreItems);
            Require(names[index].size() < capacity, SystemError::MoreData);
            name = names[index];
        });
    }
    SystemError DeleteKey(RegistryRoot root, const std::u16string& path) override { return Delete(root, path, false); }
    SystemError DeleteTree(RegistryRoot root, const std::u16string& path) override { return Delete(root, path, true); }
    SystemError DeleteSubkeyTree(RegistryKey parent, const std::u16string& path) override {
        return Call("DeleteKey", path, [&] {
            const std::u16string& top = Usable(parent, kKeyWrite & ~kKeyRead).path;
            Require(!path.empty(), SystemError::InvalidParameter);
            Require(Erase(Below(top, path)) != 0, SystemError::FileNotFound);
        });
    }
    void CloseKey(RegistryKey key) noexcept override { open_.Remove(key); }

    // Staging, within no call. `view` is kKeyView32, or anything else for the 64-bit view. Missing keys are made.
    void PutKey(RegistryRoot root, const std::u16string& path, std::uint32_t view = 0) {
        Make(FullPath(root, path, view), path);
    }
    void PutValue(RegistryRoot root, const std::u16string& path, const std::u16string& name, RegistryValue value,
                  std::uint32_t view = 0) {
        Make(FullPath(root, path, view), path)->values[SimpleLower(name)] = std::move(value);
    }
    // A terminated text.
    void PutText(RegistryRoot root, const std::u16string& path, const std::u16string& name, std::u16string_view text,
                 std::uint32_t view = 0, std::uint32_t type = kValueText) {
        PutValue(root, path, name, StoredText(text, type), view);
    }
    void RemoveKey(RegistryRoot root, const std::u16string& path, std::uint32_t view = 0) {
        Erase(FullPath(root, path, view));
    }
    // Opening, making and deleting the key answers `error` from now on; Success takes that back.
    void FailOpening(RegistryRoot root, const std::u16string& path, SystemError error, std::uint32_t view = 0) {
        core_.faults.Fail("OpenKey", error, FullPath(root, path, view));
        core_.faults.Fail("DeleteKey", error, FullPath(root, path, view));
    }
    // Null when the key or the value is missing.
    [[nodiscard]] const RegistryValue* Find(RegistryRoot root, const std::u16string& path, const std::u16string& name,
                                            std::uint32_t view = 0) const {
        const auto key = keys_.find(FullPath(root, path, view));
        const bool isThere = key != keys_.end() && key->second->values.contains(SimpleLower(name));
        return isThere ? &key->second->values.at(SimpleLower(name)) : nullptr;
    }
    // Every key by its full lower-case path, with its values: the whole state, to be compared.
    [[nodiscard]] std::map<std::u16string, Values> Contents() const {
        std::map<std::u16string, Values> contents;
        for (const auto& [path, node] : keys_) {
            contents[path] = node->values;
        }
        return contents;
    }

    struct Opened {
        std::u16string path;  // as asked, relative to the root or the parent
        std::uint32_t access;
    };
    std::vector<Opened> opened;  // every OpenKey, OpenSubkey and CreateKey, in order

private:
    static constexpr std::uint32_t kSetValue = 0x0002;
    static constexpr std::uint32_t kEnumerateSubkeys = 0x0008;
    static constexpr SystemError kBadPath{161};
    static constexpr SystemError kKeyDeleted{1018};

    struct KeyNode {
        std::u16string path;  // in full, in lower case
        std::u16string name;  // as it was written when it was made
        Values values;
    };
    struct OpenState {
        std::shared_ptr<KeyNode> node;
        std::uint32_t access;
    };

    static bool IsAtOrBelow(const std::u16string& path, const std::u16string& key) {
        return (path + u'\\').starts_with(key + u'\\');
    }
    static std::u16string Below(const std::u16string& key, const std::u16string& path) {
        const std::u16string names = Elements(path, u"\\", true);
        return key + (names.empty() ? u"" : u"\\") + SimpleLower(names);
    }
    // The one name of a key, with the redirection of the 32-bit view done.
    static std::u16string FullPath(RegistryRoot root, const std::u16string& path, std::uint32_t view) {
        const std::u16string hive = root == RegistryRoot::CurrentUser ? u"hkcu" : u"hklm";
        const std::u16string software = hive + u"\\software";
        const std::u16string classes = software + u"\\classes";
        std::u16string full = Below(root == RegistryRoot::ClassesRoot ? classes : hive, path);
        if ((view & kKeyView32) != 0 && IsAtOrBelow(full, classes + u"\\clsid")) {
            full.insert(classes.size(), u"\\wow6432node");
        } else if ((view & kKeyView32) != 0 && IsAtOrBelow(full, software) && !IsAtOrBelow(full, classes) &&
                   !IsAtOrBelow(full, software + u"\\wow6432node")) {
            full.insert(software.size(), u"\\wow6432node");
        }
        return full;
    }
    SystemError Open(const std::u16string& asked, const std::u16string& full, std::uint32_t access, bool create,
                     RegistryKey& key) {
        Keep(opened, {asked, access});
        return Call(
            "OpenKey", full,
            [&] {
                RequireNoNul(asked);
                Require(!asked.starts_with(u'\\'), kBadPath);
                Require(create || keys_.contains(full), SystemError::FileNotFound);
                key = open_.Add({Make(full, asked), access});
            },
            [&] {
                if (create && !ParentOf(full).empty()) {
                    Make(ParentOf(full),
                         ParentOf(Elements(asked, u"\\", true)));  // the keys on the way are there by then
                }
            });
    }
    // Required to be open with the access, on a key that is still there.
    KeyNode& Usable(RegistryKey key, std::uint32_t access, std::u16string_view valueName = {}) {
        const auto& [node, granted] = open_[key];
        const auto found = keys_.find(node->path);
        Require(found != keys_.end() && found->second == node, kKeyDeleted);
        Require((granted & access) == access, SystemError::AccessDenied);
        RequireNoNul(valueName);
        return *node;
    }
    SystemError Delete(RegistryRoot root, const std::u16string& path, bool tree) {
        const std::u16string full = FullPath(root, path, 0);
        return Call(
            "DeleteKey", full,
            [&] {
                RequireNoNul(path);
                // Without empty elements.
                Require(!path.empty() && path == Elements(path, u"\\", true), SystemError::InvalidParameter);
                Require(keys_.contains(full), SystemError::FileNotFound);
                Require(tree || SubkeyNames(full).empty(), SystemError::KeyHasChildren);
                Erase(full);
            },
            [&] {
                for (const std::u16string& name : tree ? SubkeyNames(full) : std::vector<std::u16string>()) {
                    Erase(Below(full, name));  // from below, in whatever order
                    break;
                }
            });
    }
    std::vector<std::u16string> SubkeyNames(const std::u16string& full) const {
        std::vector<std::u16string> names;
        for (auto key = keys_.upper_bound(full); key != keys_.end() && key->first.starts_with(full); ++key) {
            if (ParentOf(key->first) == full) {
                names.push_back(key->second->name);
            }
        }
        return names;
    }
    std::shared_ptr<KeyNode> Make(const std::u16string& full, const std::u16string& asked) {
        if (const auto known = keys_.find(full); known != keys_.end()) {
            return known->second;
        }
        const std::u16string names = Elements(asked, u"\\", true);
        if (!ParentOf(full).empty()) {
            Make(ParentOf(full), ParentOf(names));
        }
        KeyNode made{full, LastElement(names.empty() ? full : names), Values()};
        return keys_[full] = std::make_shared<KeyNode>(std::move(made));
    }
    std::size_t Erase(const std::u16string& full) {
        std::vector<std::u16string> gone;  // all or none: nothing throws while they go
        for (const auto& [path, node] : keys_) {
            if (IsAtOrBelow(path, full)) {
                gone.push_back(path);
            }
        }
        return std::erase_if(keys_, [&](const auto& key) { return std::ranges::count(gone, key.first) != 0; });
    }

    std::map<std::u16string, std::shared_ptr<KeyNode>> keys_;  // by full lower-case path
    HandleTable<RegistryKey, OpenState> open_{core_, "registry key"};
};

}  // namespace tests
