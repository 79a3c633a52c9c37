#include "tools/zebdiag/ShellHandlers.h"

#include <algorithm>
#include <utility>

#include "tslib/RegistryText.h"

namespace HVR::zebdiag {

using namespace tsLib::platform;

namespace {

// Longer names cannot exist.
constexpr std::uint32_t kNameCapacity = 256;

bool IsKnown(const std::vector<RegisteredHandler>& handlers, const tsLib::Guid& clsid) {
    return std::any_of(handlers.begin(), handlers.end(),
                       [&](const RegisteredHandler& handler) { return handler.clsid == clsid; });
}

void AddHandlers(RegistryView registry, RegistryRoot root, const std::u16string& path, const std::u16string& className,
                 std::vector<RegisteredHandler>& handlers) {
    OwnedRegistryKey parent(registry.reader);
    if (Failed(registry.reader.OpenKey(root, path, kKeyRead, parent.Receive()))) {
        return;
    }
    std::u16string name;
    for (std::uint32_t index = 0;; ++index) {
        const SystemError error = registry.enumeration.SubkeyName(parent.Get(), index, kNameCapacity, name);
        if (error == SystemError::MoreData) {
            continue;
        }
        if (Failed(error)) {
            return;
        }
        std::optional<tsLib::Guid> clsid;
        OwnedRegistryKey key(registry.reader);
        std::u16string text;
        if (Succeeded(registry.reader.OpenSubkey(parent.Get(), name, kKeyRead, key.Receive())) &&
            Succeeded(tsLib::ReadText(registry.reader, key.Get(), {}, text))) {
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

}  // namespace

SelectionKind KindOf(std::u16string_view fullPath, bool isFolder) noexcept {
    const bool isRoot = fullPath.size() == 3 && fullPath.substr(1) == u":\\";
    return isRoot ? SelectionKind::Drive : isFolder ? SelectionKind::Folder : SelectionKind::File;
}

std::vector<std::u16string> SelectionClasses(SelectionKind kind) {
    switch (kind) {
        case SelectionKind::Drive:
            return {u"Drive", u"Folder"};
        case SelectionKind::Folder:
            return {u"Folder"};
        default:
            return {u"*"};
    }
}

std::u16string ClassIdText(const RegisteredHandler& handler) {
    return handler.clsid ? tsLib::ToText(*handler.clsid) : u"(no class id)";
}

std::vector<RegisteredHandler> ContextMenuHandlers(RegistryView registry, const std::vector<std::u16string>& classes) {
    std::vector<RegisteredHandler> handlers;
    for (const std::u16string& className : classes) {
        AddHandlers(registry, RegistryRoot::ClassesRoot, className + u"\\Shellex\\ContextMenuHandlers", className,
                    handlers);
    }
    return handlers;
}

std::vector<RegisteredHandler> DisplayPageHandlers(RegistryView registry) {
    std::vector<RegisteredHandler> handlers;
    AddHandlers(registry, RegistryRoot::LocalMachine,
                u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Controls Folder\\Display\\shellex\\"
                u"PropertySheetHandlers",
                u"Display", handlers);
    return handlers;
}

}  // namespace HVR::zebdiag
