// Resource modules with string tables from a map.
#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/fakes/HandleTable.h"
#include "tests/fakes/SimpleLower.h"
#include "tslib/platform/ResourceModules.h"

namespace tests {

// One thread, except that ReadString may be called from any.
class FakeResourceModules final : public tsLib::platform::ResourceModules, public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;
    using Handle = tsLib::platform::ModuleHandle;
    using Strings = std::map<std::uint32_t, std::u16string>;

    SystemError Map(const std::u16string& path, Handle& module) override {
        mapped.push_back(path);
        if (onMap) {
            onMap();
        }
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        if (Failed(mapError)) {
            return mapError;
        }
        if (broken_.contains(SimpleLower(path))) {
            return SystemError{193};
        }
        const auto found = modules_.find(SimpleLower(path));
        if (found == modules_.end()) {
            return SystemError::FileNotFound;
        }
        module = open_.Add(found->second);
        return SystemError::Success;
    }
    SystemError Unmap(Handle module) noexcept override {
        open_.Remove(module);
        return unmapError;
    }
    [[nodiscard]] std::size_t ReadString(Handle module, std::uint32_t id,
                                         std::span<char16_t> buffer) noexcept override {
        const Strings* strings = open_.Find(module);
        if (strings == nullptr || !strings->contains(id) || buffer.empty() || Failed(Fault())) {
            return 0;
        }
        const std::u16string& text = strings->at(id);
        const std::size_t length = std::min(text.size(), buffer.size() - 1);
        std::copy_n(text.data(), length, buffer.data());
        buffer[length] = u'\0';
        return length;
    }

    void Put(const std::u16string& path, Strings strings) { modules_[SimpleLower(path)] = std::move(strings); }
    // A file that is no module.
    void PutBroken(const std::u16string& path) { broken_.insert(SimpleLower(path)); }
    [[nodiscard]] std::size_t OpenHandles() const { return open_.Size(); }
    [[nodiscard]] std::size_t Misuses() const { return open_.misuses; }

    SystemError mapError = SystemError::Success;
    SystemError unmapError = SystemError::Success;
    std::function<void()> onMap;         // runs while the module is being mapped
    std::vector<std::u16string> mapped;  // every path asked of Map, in order

private:
    std::map<std::u16string, Strings> modules_;  // by lower-case path
    std::set<std::u16string> broken_;
    HandleTable<Handle, Strings> open_;
};

}  // namespace tests
