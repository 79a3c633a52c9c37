#include "tools/zebdiag/ShellHandlers.h"

#include <algorithm>
#include <utility>

#include "tslib/RegistryText.h"
#include "tslib/Utf8.h"

namespace HVR::zebdiag {

using namespace tsLib::platform;

namespace {

// Longer names cannot exist.
constexpr std::uint32_t kNameCapacity = 256;

bool IsKnown(const std::vector<RegisteredHandler>& handlers, const tsLib::Guid& clsid) {
    return std::any_of(handlers.begin(), handlers.end(),
                       [&](const RegisteredHandler& handler) { return handler.clsid == clsid; });
}

void AddHandlers(Registry& registry, RegistryRoot root, const std::u16string& path, const std::u16string& className,
                 std::vector<RegisteredHandler>& handlers) {
    OwnedRegistryKey parent(registry);
    if (Failed(registry.OpenKey(root, path, kKeyRead, parent.Receive()))) {
        return;
    }
    std::u16string name;
    for (std::uint32_t index = 0;; ++index) {
        const SystemError error = registry.SubkeyName(parent.Get(), index, kNameCapacity, name);
        if (error == SystemError::MoreData) {
            continue;
        }
        if (Failed(error)) {
            return;
        }
        std::optional<tsLib::Guid> clsid;
        OwnedRegistryKey key(registry);
        std::u16string text;
        if (Succeeded(registry.OpenSubkey(parent.Get(), name, kKeyRead, key.Receive())) &&
            Succeeded(tsLib::ReadText(registry, key.Get(), {}, text))) {
            clsid = tsLib::GuidFromText(text);
        }
        if (!clsid) {
            clsid = tsLib::GuidFromText(name);
        }
        if (!clsid || !IsKnown(handlers, *clsid)) {
            handlers.push_back({className, name, clsid});
        }
    }
}

std::string ClassId(const AskedHandler& handler) {
    const auto& clsid = handler.registration.clsid;
    return clsid ? tsLib::ToUtf8(tsLib::ToText(*clsid)) : "(no class id)";
}

}  // namespace

std::vector<RegisteredHandler> SelectionHandlers(Registry& registry, std::u16string_view fullPath, bool isFolder) {
    const bool isDrive = fullPath.size() == 3 && fullPath.substr(1) == u":\\";
    std::vector<RegisteredHandler> handlers;
    const auto add = [&](const std::u16string& className) {
        AddHandlers(registry, RegistryRoot::ClassesRoot, className + u"\\Shellex\\ContextMenuHandlers", className,
                    handlers);
    };
    if (isDrive) {
        add(u"Drive");
    }
    add(isDrive || isFolder ? u"Folder" : u"*");
    return handlers;
}

std::vector<RegisteredHandler> DisplayPageHandlers(Registry& registry) {
    std::vector<RegisteredHandler> handlers;
    AddHandlers(registry, RegistryRoot::LocalMachine,
                u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Controls Folder\\Display\\shellex\\"
                u"PropertySheetHandlers",
                u"Display", handlers);
    return handlers;
}

std::string Text(const AskedHandler& handler, const std::string& what) {
    return ClassId(handler) + ": " +
           (handler.TakesPart() ? Count(handler.commands, what)
                                : handler.step + " failed with " + Hexadecimal(tsLib::Number(handler.result)));
}

JsonObject With(const AskedHandler& handler, const std::string& what, JsonObject json) {
    json["clsid"] = ClassId(handler);
    json["result"] = Hexadecimal(tsLib::Number(handler.result));
    if (handler.TakesPart()) {
        json[what + "s"] = handler.commands;
    } else {
        json["step"] = handler.step;
    }
    return json;
}

}  // namespace HVR::zebdiag
