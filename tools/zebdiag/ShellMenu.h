// A context menu as a shell builds it, seen from the verb that shows it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/zebdiag/Scanner.h"
#include "tools/zebdiag/ShellHandlers.h"
#include "tslib/platform/HResult.h"

namespace HVR::zebdiag {

struct MenuItem {
    bool isSeparator = false;
    std::u16string text;                  // with its mnemonic
    std::optional<std::uint32_t> offset;  // in the whole menu; nothing for the shell's own items
    std::u16string verb;
    std::u16string help;
};

struct MenuContents {
    std::vector<AskedHandler> handlers;
    std::vector<MenuItem> items;
    std::string whyOwnObject;  // why the data object is not the shell namespace's; empty when it is
};

// One menu on one selection, with its handlers alive. Used on the thread that made it.
class ShellMenu {
public:
    virtual ~ShellMenu() = default;
    [[nodiscard]] virtual const MenuContents& Contents() const = 0;
    // Invoke the command of the handler at `index` of Contents().handlers; `offset` counts within the handler.
    [[nodiscard]] virtual tsLib::HResult InvokeVerb(std::size_t index, const std::u16string& verb) = 0;
    [[nodiscard]] virtual tsLib::HResult InvokeOffset(std::size_t index, std::uint32_t offset) = 0;
    // Shows the menu over a window until the user chooses or gives up. The index of the chosen item.
    [[nodiscard]] virtual std::optional<std::size_t> Show(
        const std::function<void()>& onShown, const std::function<void(const MenuItem& item)>& onHighlighted) = 0;
    // Waits for the scanner that the last command started.
    [[nodiscard]] virtual StartedScanner Wait(std::uint32_t seconds) = 0;
    // Releases the handlers and unloads their modules; the paths of those that stay loaded. Nothing else is called
    // after this.
    [[nodiscard]] virtual std::vector<std::u16string> Close() = 0;
};

}  // namespace HVR::zebdiag
