// A registry in memory. Names are compared without regard to letter case; the 32-bit view of Software and of the class
// ids lies under Wow6432Node, as on a 64-bit system.
#pragma once

#include <map>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/fakes/HandleTable.h"
#include "tslib/platform/Registry.h"
#include "tslib/platform/RegistryEnumeration.h"
#include "tslib/platform/RegistryRemoval.h"
#include "tslib/platform/RegistryTree.h"

namespace tests {

// Any thread. Change the public state only when no other thread is in a call.
class FakeRegistry final : public tsLib::platform::Registry,
                           public tsLib::platform::RegistryTree,
                           public tsLib::platform::RegistryEnumeration,
                           public tsLib::platform::RegistryRemoval,
                           public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;
    using Key = tsLib::platform::RegistryKey;
    using Root = tsLib::platform::RegistryRoot;
    using Value = tsLib::platform::RegistryValue;

    SystemError OpenKey(Root root, const std::u16string& path, std::uint32_t access, Key& key) override;
    SystemError OpenSubkey(Key parent, const std::u16string& path, std::uint32_t access, Key& key) override;
    SystemError ReadValue(Key key, const std::u16string& name, Value& value) override;
    void CloseKey(Key key) noexcept override;
    SystemError CreateKey(Root root, const std::u16string& path, std::uint32_t access, Key& key) override;
    SystemError WriteValue(Key key, const std::u16string& name, const Value& value) override;
    SystemError DeleteValue(Key key, const std::u16string& name) override;
    SystemError DeleteKey(Root root, const std::u16string& path) override;
    SystemError DeleteTree(Root root, const std::u16string& path) override;
    SystemError SubkeyInfo(Key key, std::uint32_t& count, std::uint32_t& longestName) override;
    SystemError SubkeyName(Key key, std::uint32_t index, std::uint32_t capacity, std::u16string& name) override;
    SystemError DeleteSubkeyTree(Key parent, const std::u16string& path) override;

    // Staging. `view` is kKeyView32, or anything else for the 64-bit view. Missing keys are made.
    void PutKey(Root root, const std::u16string& path, std::uint32_t view = 0);
    void PutValue(Root root, const std::u16string& path, const std::u16string& name, Value value,
                  std::uint32_t view = 0);
    // A terminated text.
    void PutText(Root root, const std::u16string& path, const std::u16string& name, std::u16string_view text,
                 std::uint32_t view = 0, std::uint32_t type = tsLib::platform::kValueText);
    // Opening the key answers `error` from now on; Success takes that back.
    void FailOpening(Root root, const std::u16string& path, SystemError error, std::uint32_t view = 0);
    void RemoveKey(Root root, const std::u16string& path, std::uint32_t view = 0);
    // Null when the key or the value is missing.
    [[nodiscard]] const Value* Find(Root root, const std::u16string& path, const std::u16string& name,
                                    std::uint32_t view = 0) const;
    // Every key by its full lower-case path, with its values: the whole state, to be compared.
    [[nodiscard]] std::map<std::u16string, std::map<std::u16string, Value>> Contents() const { return keys_; }
    [[nodiscard]] std::size_t OpenHandles() const;
    // Closes and uses of keys that were not open.
    [[nodiscard]] std::size_t Misuses() const;

    struct Opened {
        std::u16string path;  // as asked, relative to the root or the parent
        std::uint32_t access;
        SystemError result;
    };
    std::vector<Opened> opened;         // every OpenKey, OpenSubkey and CreateKey, in order
    std::vector<std::u16string> reads;  // the name of every value asked for, in order

private:
    struct OpenState {
        std::u16string path;
        std::uint32_t access;
    };
    using Values = std::map<std::u16string, Value>;

    [[nodiscard]] SystemError Open(const std::u16string& asked, std::u16string full, std::uint32_t access, bool create,
                                   Key& key);
    [[nodiscard]] SystemError Delete(Root root, const std::u16string& path, bool tree);
    void Make(const std::u16string& path, const std::u16string& asked);
    // Remembers how the names at the end of a full path were written when they were made.
    void Spell(const std::u16string& full, const std::u16string& asked);
    [[nodiscard]] const std::vector<std::u16string>& Children(const std::u16string& full);
    // The key's state if the handle is open with the access, else null with the error.
    [[nodiscard]] const OpenState* Usable(Key key, std::uint32_t access, SystemError& error);

    mutable std::mutex mutex_;
    std::map<std::u16string, Values> keys_;                           // by full lower-case path
    std::map<std::u16string, std::u16string> spelled_;                // a key's own name by full lower-case path
    std::map<std::u16string, std::vector<std::u16string>> children_;  // as asked for since the last change
    std::map<std::u16string, SystemError> openErrors_;
    HandleTable<Key, OpenState> handles_;
};

// The bytes of a text as the registry stores it, with a terminator unless told otherwise.
[[nodiscard]] tsLib::platform::RegistryValue TextValue(std::u16string_view text,
                                                       std::uint32_t type = tsLib::platform::kValueText,
                                                       bool terminated = true);
[[nodiscard]] tsLib::platform::RegistryValue DwordValue(std::uint32_t number);

}  // namespace tests
