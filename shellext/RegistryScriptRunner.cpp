#include "shellext/RegistryScriptRunner.h"

#include <algorithm>
#include <array>

#include "tslib/platform/AsciiCase.h"

namespace HVR {

using namespace tsLib::platform;
using tsLib::TraceEvent;

namespace {

constexpr std::uint32_t kSetValue = 0x0002;

std::u16string Join(const std::u16string& parent, const std::u16string& name) {
    return parent.empty() ? name : parent + u'\\' + name;
}

// Keys that are everybody's: no script takes one away as a whole, whatever it says, and by whatever way it leads there.
bool IsShared(std::u16string_view path) noexcept {
    constexpr std::u16string_view kClasses = u"Software\\Classes\\";
    if (tsLib::EqualsAscii(path.substr(0, kClasses.size()), kClasses)) {
        path.remove_prefix(kClasses.size());
    }
    static constexpr std::array<std::u16string_view, 14> shared{u"*",
                                                                u"AppID",
                                                                u"CLSID",
                                                                u"Component Categories",
                                                                u"Directory",
                                                                u"Drive",
                                                                u"Folder",
                                                                u"Interface",
                                                                u"Mime",
                                                                u"TypeLib",
                                                                u"Hardware",
                                                                u"Software",
                                                                u"Software\\Classes",
                                                                u"System"};
    return std::any_of(shared.begin(), shared.end(),
                       [path](std::u16string_view key) { return tsLib::EqualsAscii(path, key); });
}

void Keep(SystemError& first, SystemError error) noexcept {
    if (Succeeded(first)) {
        first = error;
    }
}

}  // namespace

SystemError RegistryScriptRunner::Register(const RegistryScript& script) {
    for (const ScriptHive& hive : script) {
        if (const SystemError error = WriteContents(hive.root, {}, hive.contents); Failed(error)) {
            return error;
        }
    }
    return SystemError::Success;
}

SystemError RegistryScriptRunner::WriteContents(Root root, const std::u16string& path, const ScriptKey& key) {
    // The values first: a key never has children before its own values are complete.
    if (!path.empty()) {
        // Making a key that exists opens it; a shared parent is opened for nothing more than that.
        OwnedRegistryKey written(registry_);
        SystemError error =
            registry_.CreateKey(root, path, key.values.empty() ? kKeyQueryValue : kSetValue, written.Receive());
        for (auto value = key.values.begin(); Succeeded(error) && value != key.values.end(); ++value) {
            error = registry_.WriteValue(written.Get(), value->name, value->data);
        }
        if (Failed(error)) {
            tracer_.Error(TraceEvent::ScriptKeyFailed, error, std::u16string_view(path));
            return error;
        }
    }
    for (const ScriptKey& child : key.keys) {
        if (const SystemError error = WriteKey(root, Join(path, child.name), child); Failed(error)) {
            return error;
        }
    }
    return SystemError::Success;
}

SystemError RegistryScriptRunner::WriteKey(Root root, const std::u16string& path, const ScriptKey& key) {
    if (key.rule == ScriptRule::ForceRemove || key.rule == ScriptRule::Delete) {
        if (const SystemError error = DeleteTree(root, path); Failed(error)) {
            return error;
        }
    }
    return key.rule == ScriptRule::Delete ? SystemError::Success : WriteContents(root, path, key);
}

SystemError RegistryScriptRunner::DeleteTree(Root root, const std::u16string& path) {
    SystemError error = IsShared(path) ? SystemError::Success : registry_.DeleteTree(root, path);
    if (error == SystemError::FileNotFound) {
        error = SystemError::Success;
    }
    if (Failed(error)) {
        tracer_.Error(TraceEvent::ScriptKeyFailed, error, std::u16string_view(path));
    }
    return error;
}

SystemError RegistryScriptRunner::Remove(const RegistryScript& script) {
    SystemError first = SystemError::Success;
    for (const ScriptHive& hive : script) {
        RemoveContents(hive.root, {}, hive.contents, first);
    }
    return first;
}

void RegistryScriptRunner::RemoveContents(Root root, const std::u16string& path, const ScriptKey& key,
                                          SystemError& first) {
    for (const ScriptKey& child : key.keys) {
        RemoveKey(root, Join(path, child.name), child, first);
    }
    if (!path.empty()) {
        const SystemError error = RemoveValues(root, path, key);
        if (Failed(error)) {
            tracer_.Error(TraceEvent::ScriptKeyFailed, error, std::u16string_view(path));
            Keep(first, error);
        }
    }
}

void RegistryScriptRunner::RemoveKey(Root root, const std::u16string& path, const ScriptKey& key, SystemError& first) {
    switch (key.rule) {
        case ScriptRule::Delete:
            return;
        case ScriptRule::ForceRemove:
            Keep(first, DeleteTree(root, path));
            return;
        case ScriptRule::NoRemove:
            RemoveContents(root, path, key, first);
            return;
        case ScriptRule::Plain:
            break;
    }
    RemoveContents(root, path, key, first);
    const SystemError error = IsShared(path) ? SystemError::Success : registry_.DeleteKey(root, path);
    if (error == SystemError::KeyHasChildren) {
        // Somebody else put keys below ours: theirs stay, and with them the way there.
        tracer_.Warning(TraceEvent::ScriptKeyLeft, std::u16string_view(path));
    } else if (Failed(error) && error != SystemError::FileNotFound) {
        tracer_.Error(TraceEvent::ScriptKeyFailed, error, std::u16string_view(path));
        Keep(first, error);
    }
}

SystemError RegistryScriptRunner::RemoveValues(Root root, const std::u16string& path, const ScriptKey& key) {
    const auto removed = [](const ScriptValue& value) { return value.rule != ScriptRule::NoRemove; };
    if (std::none_of(key.values.begin(), key.values.end(), removed)) {
        return SystemError::Success;
    }
    OwnedRegistryKey opened(registry_);
    SystemError first = registry_.OpenKey(root, path, kSetValue, opened.Receive());
    if (Failed(first)) {
        return first == SystemError::FileNotFound ? SystemError::Success : first;
    }
    for (const ScriptValue& value : key.values) {
        if (removed(value)) {
            const SystemError error = registry_.DeleteValue(opened.Get(), value.name);
            if (error != SystemError::FileNotFound) {
                Keep(first, error);
            }
        }
    }
    return first;
}

}  // namespace HVR
