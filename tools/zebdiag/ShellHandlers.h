// Which extensions a shell asks for a selection or a property sheet, read from the registry, and how they answered.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zebdiag/Output.h"
#include "tslib/Guid.h"
#include "tslib/platform/HResult.h"
#include "tslib/platform/Registry.h"

namespace HVR::zebdiag {

struct RegisteredHandler {
    std::u16string className;          // "*", "Drive", "Folder"; "Display" for a page
    std::u16string name;               // of its key
    std::optional<tsLib::Guid> clsid;  // nothing when the registration names no class
};

// The handlers that a shell asks for a selection with this first item: those of files, of folders, or of drives and
// folders for a drive's root. Shares and everything else that is a folder are folders. Handlers are registered below
// <class>\Shellex\ContextMenuHandlers; a class that an earlier key named already is left out: a shell makes one object
// of it. The class id is the key's default value, or else the key's name. What cannot be read is left out; throws
// std::bad_alloc only.
[[nodiscard]] std::vector<RegisteredHandler> SelectionHandlers(tsLib::platform::Registry& registry,
                                                               std::u16string_view fullPath, bool isFolder);

// The property-sheet handlers of the Display control panel, found in the same way.
[[nodiscard]] std::vector<RegisteredHandler> DisplayPageHandlers(tsLib::platform::Registry& registry);

// A handler that was asked for commands or pages. When `result` is a failure, `step` names what failed and the handler
// takes no further part.
struct AskedHandler {
    RegisteredHandler registration;
    tsLib::HResult result = tsLib::HResult::Ok;
    std::string step;
    std::uint32_t firstOffset = 0;  // of its commands in the whole menu
    std::uint32_t commands = 0;

    [[nodiscard]] bool TakesPart() const noexcept { return tsLib::Succeeded(result); }
};

// "{class id}: 2 commands", or what failed; `what` is "command" or "page".
[[nodiscard]] std::string Text(const AskedHandler& handler, const std::string& what);
// The same as members behind those of `json`.
[[nodiscard]] JsonObject With(const AskedHandler& handler, const std::string& what, JsonObject json);

}  // namespace HVR::zebdiag
