#include <windows.h>
// After windows.h.
#include <commctrl.h>
#include <prsht.h>

#include <array>

#include "tools/zebdiag/HandlerObject_win32.h"
#include "tools/zebdiag/Win32Verbs.h"
#include "tslib/platform/win32/WideText.h"

namespace HVR::zebdiag {

using Microsoft::WRL::ComPtr;
using tsLib::platform::win32::FromWide;

namespace {

constexpr std::size_t kMostPages = 100;  // of one sheet, the platform's limit

using Pages = std::vector<HPROPSHEETPAGE>;

BOOL CALLBACK KeepPage(HPROPSHEETPAGE page, LPARAM parameter) noexcept {
    Pages& pages = *reinterpret_cast<Pages*>(parameter);
    if (page == nullptr || pages.size() == kMostPages) {
        return FALSE;
    }
    pages.push_back(page);  // has room
    return TRUE;
}

HandlerObject AskForPages(const RegisteredHandler& registration, Pages& pages) {
    HandlerObject handler = CreateHandler(registration);
    ComPtr<IShellPropSheetExt> sheet;
    if (!handler.object || !handler.Step("asking for IShellPropSheetExt", handler.object.As(&sheet))) {
        return handler;
    }
    if (handler.initializer) {
        // A control panel has no selection, and handlers say so; they are asked for pages nevertheless.
        static_cast<void>(handler.initializer->Initialize(nullptr, nullptr, nullptr));
    }
    const std::size_t before = pages.size();
    handler.Step("AddPages", sheet->AddPages(&KeepPage, reinterpret_cast<LPARAM>(&pages)));
    handler.asked.commands = static_cast<std::uint32_t>(pages.size() - before);
    return handler;
}

// The sheet's window starts hidden, so that nothing flashes up when pages are only listed.
int CALLBACK HideSheet(HWND, UINT message, LPARAM parameter) noexcept {
    if (message == PSCB_PRECREATE) {
        reinterpret_cast<DLGTEMPLATE*>(parameter)->style &= ~static_cast<DWORD>(WS_VISIBLE);
    }
    return 0;
}

HWND MakeSheet(Pages& pages, bool show) {
    PROPSHEETHEADERW header{};
    header.dwSize = sizeof(header);
    header.dwFlags = PSH_MODELESS | (show ? 0u : static_cast<DWORD>(PSH_USECALLBACK));
    header.hInstance = GetModuleHandleW(nullptr);
    header.pszCaption = L"Display Properties";
    header.nPages = static_cast<UINT>(pages.size());
    header.phpage = pages.data();
    header.pfnCallback = show ? nullptr : &HideSheet;
    const INT_PTR sheet = PropertySheetW(&header);
    return sheet <= 0 ? nullptr : reinterpret_cast<HWND>(sheet);
}

void ReadTitles(HWND sheet, std::vector<std::u16string>& titles) {
    const auto tabs = reinterpret_cast<HWND>(SendMessageW(sheet, PSM_GETTABCONTROL, 0, 0));
    const LRESULT count = SendMessageW(tabs, TCM_GETITEMCOUNT, 0, 0);
    for (LRESULT i = 0; i < count; ++i) {
        std::array<wchar_t, 256> text{};
        TCITEMW item{};
        item.mask = TCIF_TEXT;
        item.pszText = text.data();
        item.cchTextMax = static_cast<int>(text.size());
        SendMessageW(tabs, TCM_GETITEMW, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(&item));
        titles.emplace_back(FromWide(item.pszText));
    }
}

// Until the user closes the sheet; `onShown` when there is nothing left to paint.
void RunSheet(HWND sheet, const std::function<void()>& onShown) {
    bool isShown = false;
    while (SendMessageW(sheet, PSM_GETCURRENTPAGEHWND, 0, 0) != 0) {
        MSG message;
        if (!isShown && PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE) == FALSE) {
            isShown = true;
            SetForegroundWindow(sheet);
            SendMessageW(sheet, WM_NCACTIVATE, TRUE, 0);  // Wine paints the caption of a new sheet as inactive
            onShown();
        }
        if (GetMessageW(&message, nullptr, 0, 0) <= 0) {
            break;
        }
        if (SendMessageW(sheet, PSM_ISDIALOGMESSAGE, 0, reinterpret_cast<LPARAM>(&message)) == FALSE) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
    }
}

}  // namespace

PageSheet RunDisplaySheet(tsLib::platform::Registry& registry, bool show, const std::function<void()>& onShown) {
    const ShellApartment apartment;
    const INITCOMMONCONTROLSEX controls{sizeof(controls), ICC_TAB_CLASSES | ICC_STANDARD_CLASSES};
    InitCommonControlsEx(&controls);
    PageSheet result;
    std::vector<std::u16string> modules;
    {
        Pages pages;
        pages.reserve(kMostPages);
        std::vector<HandlerObject> handlers;
        for (const RegisteredHandler& registration : DisplayPageHandlers(registry)) {
            handlers.push_back(AskForPages(registration, pages));
            result.handlers.push_back(handlers.back().asked);
            modules.push_back(handlers.back().module);
        }
        if (!pages.empty()) {
            const HWND sheet = MakeSheet(pages, show);
            result.isShown = sheet != nullptr;
            if (sheet == nullptr) {
                for (const HPROPSHEETPAGE page : pages) {
                    DestroyPropertySheetPage(page);
                }
            } else {
                ReadTitles(sheet, result.titles);
                if (show) {
                    RunSheet(sheet, onShown);
                }
                DestroyWindow(sheet);
            }
        }
    }
    result.stayLoaded = UnloadModules(modules);
    return result;
}

}  // namespace HVR::zebdiag
