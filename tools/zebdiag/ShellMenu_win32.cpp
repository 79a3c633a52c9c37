#include <windows.h>
// After windows.h; it has the mask of a Unicode invocation.
#include <shellapi.h>

#include <algorithm>
#include <array>
#include <stdexcept>

#include "tools/zebdiag/HandlerObject_win32.h"
#include "tools/zebdiag/MenuWindow_win32.h"
#include "tools/zebdiag/ScannerWatch_win32.h"
#include "tools/zebdiag/Selection_win32.h"
#include "tools/zebdiag/Win32Verbs.h"
#include "tslib/platform/win32/WideText.h"

namespace HVR::zebdiag {

using Microsoft::WRL::ComPtr;
using tsLib::HResult;
using tsLib::platform::win32::FromWide;
using tsLib::platform::win32::ToWide;

namespace {

// Handlers get the ids between these; the shell's own items have the higher ones.
constexpr UINT kFirstId = 1;
constexpr UINT kLastId = 0x6FFF;
constexpr UINT kOpenId = 0x7000;

struct Handler {
    HandlerObject created;
    ComPtr<IContextMenu> menu;
};

class PopupMenu {
public:
    PopupMenu() : menu_(CreatePopupMenu()) {
        if (menu_ == nullptr) {
            throw std::runtime_error("there is no menu");
        }
    }
    ~PopupMenu() { DestroyMenu(menu_); }
    PopupMenu(const PopupMenu&) = delete;
    PopupMenu& operator=(const PopupMenu&) = delete;
    [[nodiscard]] HMENU Get() const noexcept { return menu_; }

private:
    HMENU menu_;
};

std::u16string CommandText(IContextMenu& menu, std::uint32_t offset, UINT type) {
    std::array<wchar_t, 512> text{};
    // The last unit stays ours, whatever the handler does.
    if (FAILED(menu.GetCommandString(offset, type, nullptr, reinterpret_cast<LPSTR>(text.data()),
                                     static_cast<UINT>(text.size() - 1)))) {
        return {};
    }
    return FromWide(text.data());
}

class Win32ShellMenu final : public ShellMenu {
public:
    // With `only`, no other handler is asked, and the menu has no items of the shell's own.
    Win32ShellMenu(const tsLib::platform::Platform& platform, std::vector<std::u16string> paths,
                   const RegisteredHandler* only = nullptr)
        : paths_(std::move(paths)),
          watch_(platform),
          selection_(std::make_unique<ShellSelection>(MakeSelection(paths_))) {
        contents_.whyOwnObject = selection_->whyOwn;
        if (only != nullptr) {
            Ask(*only);
            ReadItems();
            return;
        }
        AppendMenuW(menu_.Get(), MF_STRING, kOpenId, L"&Open");
        SetMenuDefaultItem(menu_.Get(), kOpenId, FALSE);
        for (const RegisteredHandler& registration :
             SelectionHandlers(platform.registry, paths_.front(), selection_->isFolder)) {
            Ask(registration);
        }
        AppendMenuW(menu_.Get(), MF_SEPARATOR, 0, nullptr);
        AppendMenuW(menu_.Get(), MF_STRING, kOpenId + 1, L"Cu&t");
        AppendMenuW(menu_.Get(), MF_STRING, kOpenId + 2, L"&Copy");
        AppendMenuW(menu_.Get(), MF_SEPARATOR, 0, nullptr);
        AppendMenuW(menu_.Get(), MF_STRING, kOpenId + 3, L"P&roperties");
        ReadItems();
    }

    [[nodiscard]] const MenuContents& Contents() const override { return contents_; }

    [[nodiscard]] HResult InvokeVerb(std::size_t index, const std::u16string& verb) override {
        std::string narrow;
        for (const char16_t unit : verb) {
            narrow += unit < 0x80 ? static_cast<char>(unit) : '?';
        }
        return Invoke(index, narrow.c_str(), ToWide(verb));
    }
    [[nodiscard]] HResult InvokeOffset(std::size_t index, std::uint32_t offset) override {
        return Invoke(index, MAKEINTRESOURCEA(offset), MAKEINTRESOURCEW(offset));
    }

    [[nodiscard]] std::optional<std::size_t> Show(
        const std::function<void()>& onShown, const std::function<void(const MenuItem& item)>& onHighlighted) override {
        const auto item = [this](UINT id) -> const MenuItem* {
            const auto found = std::find(ids_.begin(), ids_.end(), id);
            return found == ids_.end() ? nullptr : &contents_.items[static_cast<std::size_t>(found - ids_.begin())];
        };
        const MenuEvents events{onShown,
                                [&](UINT id) {
                                    if (const MenuItem* highlighted = item(id); highlighted != nullptr) {
                                        onHighlighted(*highlighted);
                                    }
                                },
                                [&](UINT id) {
                                    const MenuItem* highlighted = item(id);
                                    return highlighted == nullptr ? std::u16string() : highlighted->help;
                                }};
        const UINT chosen = TrackOverSelection(menu_.Get(), paths_, events);
        const MenuItem* found = chosen == 0 ? nullptr : item(chosen);
        return found == nullptr ? std::nullopt
                                : std::optional(static_cast<std::size_t>(found - contents_.items.data()));
    }

    [[nodiscard]] StartedScanner Wait(std::uint32_t seconds) override { return watch_.Wait(seconds); }

    [[nodiscard]] std::vector<std::u16string> Close() override {
        std::vector<std::u16string> modules;
        for (const Handler& handler : handlers_) {
            modules.push_back(handler.created.module);
        }
        handlers_.clear();
        selection_.reset();
        return UnloadModules(modules);
    }

private:
    void Ask(const RegisteredHandler& registration) {
        Handler handler{CreateHandler(registration), nullptr};
        HandlerObject& created = handler.created;
        created.asked.firstOffset = nextOffset_;
        if (created.initializer) {
            HKEY classKey = nullptr;
            RegOpenKeyExW(HKEY_CLASSES_ROOT, ToWide(registration.className), 0, KEY_READ, &classKey);
            const bool isReady =
                created.Step("Initialize", created.initializer->Initialize(selection_->folder.get(),
                                                                           selection_->object.Get(), classKey)) &&
                created.Step("asking for IContextMenu", created.object.As(&handler.menu));
            if (classKey != nullptr) {
                RegCloseKey(classKey);
            }
            if (isReady) {
                AddCommands(handler);
            }
        }
        contents_.handlers.push_back(created.asked);
        handlers_.push_back(std::move(handler));
    }

    void AddCommands(Handler& handler) {
        const auto position = static_cast<UINT>(std::max(GetMenuItemCount(menu_.Get()), 0));
        const HRESULT used =
            handler.menu->QueryContextMenu(menu_.Get(), position, kFirstId + nextOffset_, kLastId, CMF_NORMAL);
        if (handler.created.Step("QueryContextMenu", used)) {
            handler.created.asked.commands = std::min<std::uint32_t>(HRESULT_CODE(used), kLastId - nextOffset_);
            nextOffset_ += handler.created.asked.commands;
        }
    }

    void ReadItems() {
        const int count = GetMenuItemCount(menu_.Get());
        for (int position = 0; position < count; ++position) {
            std::array<wchar_t, 512> text{};
            MENUITEMINFOW information{};
            information.cbSize = sizeof(information);
            information.fMask = MIIM_FTYPE | MIIM_ID | MIIM_STRING;
            information.dwTypeData = text.data();
            information.cch = static_cast<UINT>(text.size());
            MenuItem item;
            if (GetMenuItemInfoW(menu_.Get(), static_cast<UINT>(position), TRUE, &information) == FALSE ||
                (information.fType & MFT_SEPARATOR) != 0) {
                item.isSeparator = true;
                information.wID = 0;
            } else {
                item.text = FromWide(text.data());
                Describe(information.wID, item);
            }
            contents_.items.push_back(std::move(item));
            ids_.push_back(information.wID);
        }
    }

    void Describe(UINT id, MenuItem& item) {
        for (const Handler& handler : handlers_) {
            const AskedHandler& asked = handler.created.asked;
            const std::uint32_t inHandler = id - kFirstId - asked.firstOffset;
            if (id >= kFirstId && asked.TakesPart() && inHandler < asked.commands) {
                item.offset = id - kFirstId;
                item.verb = CommandText(*handler.menu.Get(), inHandler, GCS_VERBW);
                item.help = CommandText(*handler.menu.Get(), inHandler, GCS_HELPTEXTW);
            }
        }
    }

    HResult Invoke(std::size_t index, LPCSTR verb, LPCWSTR wideVerb) {
        CMINVOKECOMMANDINFOEX information{};
        information.cbSize = sizeof(information);
        information.fMask = CMIC_MASK_UNICODE;
        information.lpVerb = verb;
        information.lpVerbW = wideVerb;
        information.nShow = SW_SHOWNORMAL;
        return static_cast<HResult>(
            handlers_[index].menu->InvokeCommand(reinterpret_cast<CMINVOKECOMMANDINFO*>(&information)));
    }

    ShellApartment apartment_;  // first: every object below lives in it
    std::vector<std::u16string> paths_;
    ScannerWatch watch_;
    std::unique_ptr<ShellSelection> selection_;
    PopupMenu menu_;
    std::vector<Handler> handlers_;  // as many as contents_.handlers
    std::uint32_t nextOffset_ = 0;
    MenuContents contents_;
    std::vector<UINT> ids_;  // of contents_.items; 0 for separators
};

}  // namespace

std::unique_ptr<ShellMenu> MakeWin32ShellMenu(const tsLib::platform::Platform& platform,
                                              std::vector<std::u16string> paths) {
    // The shell names a folder without a separator at the end, unless it is a root.
    for (std::u16string& path : paths) {
        while (path.size() > 3 && path.ends_with(u'\\')) {
            path.pop_back();
        }
    }
    return std::make_unique<Win32ShellMenu>(platform, std::move(paths));
}

std::unique_ptr<ShellMenu> MakeWin32HandlerMenu(const tsLib::platform::Platform& platform,
                                                const RegisteredHandler& handler, std::u16string path) {
    return std::make_unique<Win32ShellMenu>(platform, std::vector<std::u16string>{std::move(path)}, &handler);
}

}  // namespace HVR::zebdiag
