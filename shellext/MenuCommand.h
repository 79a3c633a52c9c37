// The scan command in the shell's menus: everything that CZebshellEx decides, without COM.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "shellext/InstanceStrings.h"
#include "shellext/ShellSurface.h"
#include "tslib/Tracer.h"
#include "tslib/platform/HResult.h"
#include "tslib/platform/Platform.h"

namespace HVR {

// The command's name, the same in every language.
inline constexpr std::string_view kVerb = "NimShellScan";
inline constexpr std::u16string_view kWideVerb = u"NimShellScan";
inline constexpr std::size_t kVerbCapacity = 260;

// Strings of the resource module.
inline constexpr std::uint32_t kMenuTextId = 1;
inline constexpr std::uint32_t kHelpTextId = 2;
inline constexpr std::uint32_t kRefusalCaptionId = 101;
inline constexpr std::uint32_t kRefusalTextId = 102;

// Flags and numbers with the shell's values.
inline constexpr std::uint32_t kMenuVerbsOnly = 0x2;
inline constexpr std::uint32_t kMenuNoVerbs = 0x8;
inline constexpr std::uint32_t kMenuExplore = 0x10;
inline constexpr std::uint32_t kExtendedInvokeSize = 104;
inline constexpr std::uint32_t kInvokeUnicode = 0x4000;
inline constexpr std::uint32_t kCommandVerbNarrow = 0;
inline constexpr std::uint32_t kCommandHelpNarrow = 1;
inline constexpr std::uint32_t kCommandVerbWide = 4;
inline constexpr std::uint32_t kCommandHelpWide = 5;

// The fields of the shell's invoke information that count. A verb up to 65535 is a command offset, above that it is the
// address of a terminated text. `wideVerb` is looked at in the extended Unicode form only.
struct InvokeRequest {
    std::uint32_t size = 0;
    std::uint32_t mask = 0;
    std::uintptr_t verb = 0;
    std::uintptr_t wideVerb = 0;

    [[nodiscard]] bool IsExtendedUnicode() const noexcept {
        return size == kExtendedInvokeSize && (mask & kInvokeUnicode) != 0;
    }
};

// One per handler object, on its thread. What is passed must outlive it. Operations that are not noexcept may throw
// what the shell's objects throw, and std::bad_alloc. docs/shell-extension.md has the reasons.
class MenuCommand {
public:
    MenuCommand(const tsLib::platform::Platform& platform, const ResourceInstance& instance,
                ShellSurface& shell) noexcept
        : platform_(platform), strings_(platform, instance), shell_(shell), tracer_(platform.trace) {}
    // Gives the drop lists back, and leaves the apartment once when there is one, however often Initialize entered it.
    ~MenuCommand();
    MenuCommand(const MenuCommand&) = delete;
    MenuCommand& operator=(const MenuCommand&) = delete;

    // Takes the selection's drop list and forgets the menu that was built before. Fail without a selection, else the
    // selection's own answer.
    tsLib::HResult Initialize(SelectionHandle selection);

    // Adds the separator and the item, which do not depend on the selection. The number of command ids used: 0 or 1.
    [[nodiscard]] std::uint32_t AddItem(MenuHandle menu, std::uint32_t position, std::uint32_t firstId,
                                        std::uint32_t flags);

    // Whether the command may run: `scans` is set when it may, and a scan has to follow. Fail for another verb than the
    // one that AddItem stored. Ok with `scans` false for a refusal by the setting, which was shown to the user.
    tsLib::HResult Invoke(const InvokeRequest& request, bool& scans);

    // The verb or the help text for GetCommandString. `buffer` has `capacity` units of the type's width.
    // InvalidArgument when the verb was cut; a cut or missing help text, and an unknown type, are Ok.
    tsLib::HResult GetText(std::uint32_t type, void* buffer, std::uint32_t capacity);

    // What the page provider is told: 1 for the properties of a selection, 2 for a control panel.
    [[nodiscard]] std::uint32_t PageMode() const noexcept { return dropList_ != DropHandle{} ? 1 : 2; }

    [[nodiscard]] DropHandle HeldDropList() const noexcept { return dropList_; }

private:
    [[nodiscard]] bool IsOurVerb(const InvokeRequest& request) const noexcept;

    DropHandle dropList_{};             // the last one
    std::vector<TakenDropList> taken_;  // all
    char verb_[kVerbCapacity] = {};
    char16_t wideVerb_[kVerbCapacity] = {};
    const tsLib::platform::Platform& platform_;
    InstanceStrings strings_;
    ShellSurface& shell_;
    tsLib::Tracer tracer_;
};

}  // namespace HVR
