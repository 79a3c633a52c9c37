// Which extensions a shell asks for a selection or a property sheet, read from the registry.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tslib/Guid.h"
#include "tslib/platform/Registry.h"
#include "tslib/platform/RegistryEnumeration.h"

namespace HVR::zebdiag {

enum class SelectionKind : std::uint8_t { File, Folder, Drive };

// A drive's root is a drive. Shares and everything else that is a folder are folders.
[[nodiscard]] SelectionKind KindOf(std::u16string_view fullPath, bool isFolder) noexcept;

// The registry classes whose handlers are asked, in order. A drive is a folder too.
[[nodiscard]] std::vector<std::u16string> SelectionClasses(SelectionKind kind);

struct RegisteredHandler {
    std::u16string className;          // "*", "Drive", "Folder"; "Display" for a page
    std::u16string name;               // of its key
    std::optional<tsLib::Guid> clsid;  // nothing when the registration names no class
};

// For people: the class id, or "(no class id)".
[[nodiscard]] std::u16string ClassIdText(const RegisteredHandler& handler);

struct RegistryView {
    tsLib::platform::RegistryReader& reader;
    tsLib::platform::RegistryEnumeration& enumeration;
};

// The handlers below <class>\Shellex\ContextMenuHandlers of each class. A class that an earlier key named already
// is left out: a shell makes one object of it. The class id is the key's default value, or else the key's name. What
// cannot be read is left out; throws std::bad_alloc only.
[[nodiscard]] std::vector<RegisteredHandler> ContextMenuHandlers(RegistryView registry,
                                                                 const std::vector<std::u16string>& classes);

// The property-sheet handlers of the Display control panel, found in the same way.
[[nodiscard]] std::vector<RegisteredHandler> DisplayPageHandlers(RegistryView registry);

}  // namespace HVR::zebdiag
