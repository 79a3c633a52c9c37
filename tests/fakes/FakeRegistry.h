// A registry in memory. Names are compared without regard to letter case; the 32-bit view of Software and of the class
// ids lies under Wow6432Node, as on a 64-bit system.
#pragma once

#include <memory>

#include "tests/fakes/FakeCore.h"
#include "tslib/RegistryText.h"

namespace tests {

// The bytes of a text as the registry stores it: tsLib::TextValue for other types and for texts without their end.
[[nodiscard]] RegistryValue StoredText(std::u16string_view text, std::uint32_t type = kValueText,
                                       bool terminated = true);

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
                           RegistryKey& key) override;
    SystemError ReadValue(RegistryKey key, const std::u16string& name, RegistryValue& value) override;
    SystemError CreateKey(RegistryRoot root, const std::u16string& path, std::uint32_t access,
                          RegistryKey& key) override {
        return Open(path, FullPath(root, path, access), access, true, key);
    }
    SystemError WriteValue(RegistryKey key, const std::u16string& name, const RegistryValue& value) override;
    SystemError DeleteValue(RegistryKey key, const std::u16string& name) override;
    SystemError SubkeyInfo(RegistryKey key, std::uint32_t& count, std::uint32_t& longestName) override;
    SystemError SubkeyName(RegistryKey key, std::uint32_t index, std::uint32_t capacity, std::u16string& name) override;
    SystemError DeleteKey(RegistryRoot root, const std::u16string& path) override { return Delete(root, path, false); }
    SystemError DeleteTree(RegistryRoot root, const std::u16string& path) override { return Delete(root, path, true); }
    SystemError DeleteSubkeyTree(RegistryKey parent, const std::u16string& path) override;
    void CloseKey(RegistryKey key) noexcept override { open_.Remove(key); }

    // Staging. `view` is kKeyView32, or anything else for the 64-bit view. Missing keys are made.
    void PutKey(RegistryRoot root, const std::u16string& path, std::uint32_t view = 0) {
        Make(FullPath(root, path, view), path);
    }
    void PutValue(RegistryRoot root, const std::u16string& path, const std::u16string& name, RegistryValue value,
                  std::uint32_t view = 0);
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
                                            std::uint32_t view = 0) const;
    // Every key by its full lower-case path, with its values: the whole state, to be compared.
    [[nodiscard]] std::map<std::u16string, Values> Contents() const;

    struct Opened {
        std::u16string path;  // as asked, relative to the root or the parent
        std::uint32_t access;
        SystemError result;
    };
    std::vector<Opened> opened;         // every OpenKey, OpenSubkey and CreateKey, in order
    std::vector<std::u16string> reads;  // the name of every value asked for, in order

private:
    struct KeyNode {
        std::u16string name;  // as it was written when it was made
        Values values;
    };
    struct OpenState {
        std::u16string path;
        std::shared_ptr<KeyNode> node;
        std::uint32_t access;
    };

    // The one name of a key, with the redirection of the 32-bit view done.
    [[nodiscard]] static std::u16string FullPath(RegistryRoot root, const std::u16string& path, std::uint32_t view);
    SystemError Open(const std::u16string& asked, const std::u16string& full, std::uint32_t access, bool create,
                     RegistryKey& key);
    SystemError Delete(RegistryRoot root, const std::u16string& path, bool tree);
    std::shared_ptr<KeyNode> Make(const std::u16string& full, const std::u16string& asked);
    std::size_t Erase(const std::u16string& full);
    [[nodiscard]] const std::vector<std::u16string>& Children(const std::u16string& full);
    // Required to be open with the access, on a key that is still there.
    [[nodiscard]] OpenState& Usable(RegistryKey key, std::uint32_t access, std::u16string_view valueName = {});

    std::map<std::u16string, std::shared_ptr<KeyNode>> keys_;         // by full lower-case path
    std::map<std::u16string, std::vector<std::u16string>> children_;  // as asked for since the last change
    HandleTable<RegistryKey, OpenState> open_{core_, "registry key"};
};

}  // namespace tests
