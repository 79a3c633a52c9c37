// A context menu as a shell builds it, seen from the verb that shows it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/zebdiag/ShellHandlers.h"
#include "tslib/platform/HResult.h"

namespace HVR::zebdiag {

// A handler that was asked for commands. When `result` is a failure, `step` names what failed and the handler takes no
// further part.
struct AskedHandler {
    RegisteredHandler registration;
    tsLib::HResult result = tsLib::HResult::Ok;
    std::string step;
    std::uint32_t firstOffset = 0;  // of its commands in the whole menu
    std::uint32_t commands = 0;

    [[nodiscard]] bool TakesPart() const noexcept { return tsLib::Succeeded(result); }
};

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
    bool isShellObject = false;  // whether the data object is the shell namespace's
    std::string whyNot;          // when it is not
};

// What the user does in the shown menu.
class MenuWatcher {
public:
    virtual void OnShown() = 0;
    virtual void OnHighlighted(const MenuItem& item) = 0;

protected:
    ~MenuWatcher() = default;
};

// What is known of the processes that a command started.
struct StartedScanner {
    bool started = false;
    std::optional<std::uint32_t> processId;  // nothing when it was gone before it was looked for
    bool ended = false;
    std::uint32_t exitCode = 0;         // when it ended and its id is known
    std::optional<std::string> report;  // when it wrote one
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
    [[nodiscard]] virtual std::optional<std::size_t> Show(MenuWatcher& watcher) = 0;
    // Waits for the scanner that the last command started.
    [[nodiscard]] virtual StartedScanner Wait(std::uint32_t seconds) = 0;
    // Releases the handlers and unloads their modules; the paths of those that stay loaded. Nothing else is called
    // after this.
    [[nodiscard]] virtual std::vector<std::u16string> Close() = 0;
};

// Builds the menu for full paths. Throws std::runtime_error with a reason when there can be none.
using ShellMenuMaker = std::function<std::unique_ptr<ShellMenu>(const std::vector<std::u16string>& paths)>;

}  // namespace HVR::zebdiag
