// Enumeration and removal of FakeRegistry's keys.
#include <algorithm>

#include "tests/fakes/FakeRegistry.h"
#include "tests/fakes/SimpleLower.h"

namespace tests {

using namespace tsLib::platform;

namespace {

constexpr std::uint32_t kEnumerateSubkeys = 0x0008;

}  // namespace

void FakeRegistry::Spell(const std::u16string& full, const std::u16string& asked) {
    std::u16string path = full;
    std::u16string names = asked;
    while (!names.empty()) {
        if (names.ends_with(u'\\')) {
            names.pop_back();
            continue;
        }
        const std::size_t name = names.rfind(u'\\') + 1;
        if (!spelled_.try_emplace(path, names.substr(name)).second) {
            return;
        }
        names.resize(name);
        path.resize(std::min(path.rfind(u'\\'), path.size()));
    }
}

const std::vector<std::u16string>& FakeRegistry::Children(const std::u16string& full) {
    const auto known = children_.find(full);
    if (known != children_.end()) {
        return known->second;
    }
    const std::u16string prefix = full + u'\\';
    std::vector<std::u16string> names;
    for (auto key = keys_.lower_bound(prefix); key != keys_.end() && key->first.starts_with(prefix); ++key) {
        if (key->first.find(u'\\', prefix.size()) == std::u16string::npos) {
            const auto spelled = spelled_.find(key->first);
            names.push_back(spelled != spelled_.end() ? spelled->second : key->first.substr(prefix.size()));
        }
    }
    return children_.emplace(full, std::move(names)).first->second;
}

const FakeRegistry::OpenState* FakeRegistry::Usable(Key key, std::uint32_t access, SystemError& error) {
    const OpenState* state = handles_.Find(key);
    error = state == nullptr ? SystemError::InvalidHandle : Fault();
    if (Succeeded(error) && (state->access & access) != access) {
        error = SystemError::AccessDenied;
    }
    return Succeeded(error) ? state : nullptr;
}

SystemError FakeRegistry::SubkeyInfo(Key key, std::uint32_t& count, std::uint32_t& longestName) {
    const std::lock_guard lock(mutex_);
    SystemError error{};
    const OpenState* state = Usable(key, kEnumerateSubkeys | kKeyQueryValue, error);
    if (state == nullptr) {
        return error;
    }
    const auto& names = Children(state->path);
    std::size_t longest = 0;
    for (const auto& name : names) {
        longest = std::max(longest, name.size());
    }
    count = static_cast<std::uint32_t>(names.size());
    longestName = static_cast<std::uint32_t>(longest);
    return SystemError::Success;
}

SystemError FakeRegistry::SubkeyName(Key key, std::uint32_t index, std::uint32_t capacity, std::u16string& name) {
    const std::lock_guard lock(mutex_);
    SystemError error{};
    const OpenState* state = Usable(key, kEnumerateSubkeys, error);
    if (state == nullptr) {
        return error;
    }
    const auto& names = Children(state->path);
    if (index >= names.size()) {
        return SystemError::NoMoreItems;
    }
    if (names[index].size() >= capacity) {
        return SystemError::MoreData;
    }
    name = names[index];
    return SystemError::Success;
}

SystemError FakeRegistry::DeleteSubkeyTree(Key parent, const std::u16string& path) {
    const std::lock_guard lock(mutex_);
    SystemError error{};
    const OpenState* state = Usable(parent, kKeyWrite & ~kKeyRead, error);
    if (state == nullptr) {
        return error;
    }
    if (path.empty()) {
        return SystemError::InvalidParameter;
    }
    const std::u16string full = state->path + u'\\' + SimpleLower(path);
    children_.clear();
    return std::erase_if(keys_,
                         [&](const auto& key) { return key.first == full || key.first.starts_with(full + u'\\'); })
               ? SystemError::Success
               : SystemError::FileNotFound;
}

}  // namespace tests
