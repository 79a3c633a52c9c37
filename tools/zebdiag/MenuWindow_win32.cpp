#include "tools/zebdiag/MenuWindow_win32.h"

// After windows.h.
#include <commctrl.h>
#include <shellapi.h>

#include <stdexcept>

#include "tslib/platform/win32/WideText.h"

namespace HVR::zebdiag {

using tsLib::platform::win32::ToWide;

namespace {

constexpr wchar_t kClassName[] = L"ZebdiagShellHost";

struct View {
    const MenuEvents& events;
    HWND list = nullptr;
    HWND status = nullptr;
    bool isShown = false;
};

LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept {
    auto* view = reinterpret_cast<View*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    try {
        if (view != nullptr && message == WM_SIZE) {
            RECT bar{};
            SendMessageW(view->status, WM_SIZE, 0, 0);
            GetWindowRect(view->status, &bar);
            MoveWindow(view->list, 0, 0, LOWORD(lParam), HIWORD(lParam) - (bar.bottom - bar.top), TRUE);
            return 0;
        }
        if (view != nullptr && message == WM_MENUSELECT && (HIWORD(wParam) & (MF_POPUP | MF_SEPARATOR)) == 0) {
            const UINT id = LOWORD(wParam);
            SendMessageW(view->status, SB_SETTEXTW, 0, reinterpret_cast<LPARAM>(ToWide(view->events.help(id))));
            UpdateWindow(view->status);
            view->events.highlighted(id);
            return 0;
        }
        if (view != nullptr && message == WM_ENTERIDLE && wParam == MSGF_MENU && !view->isShown) {
            view->isShown = true;
            view->events.shown();
            return 0;
        }
    } catch (...) {  // memory ran out: nothing is told this time
        return 0;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

HWND Child(HWND parent, const wchar_t* className, DWORD style) {
    return CreateWindowExW(0, className, L"", WS_CHILD | WS_VISIBLE | style, 0, 0, 0, 0, parent, nullptr,
                           GetModuleHandleW(nullptr), nullptr);
}

void Fill(HWND list, const std::vector<std::u16string>& paths) {
    wchar_t name[] = L"Name";
    LVCOLUMNW column{};
    column.mask = LVCF_TEXT | LVCF_WIDTH;
    column.pszText = name;
    column.cx = 480;
    SendMessageW(list, LVM_INSERTCOLUMNW, 0, reinterpret_cast<LPARAM>(&column));
    for (std::size_t i = 0; i < paths.size(); ++i) {
        SHFILEINFOW info{};
        const auto icons = SHGetFileInfoW(ToWide(paths[i]), 0, &info, sizeof(info),
                                          SHGFI_SYSICONINDEX | SHGFI_SMALLICON | SHGFI_DISPLAYNAME);
        if (icons != 0) {
            SendMessageW(list, LVM_SETIMAGELIST, LVSIL_SMALL, static_cast<LPARAM>(icons));
        }
        std::u16string shown = paths[i].substr(paths[i].size() > 3 ? paths[i].find_last_of(u'\\') + 1 : 0);
        LVITEMW item{};
        item.mask = LVIF_TEXT | LVIF_IMAGE | LVIF_STATE;
        item.iItem = static_cast<int>(i);
        item.pszText = ToWide(shown.data());
        item.iImage = info.iIcon;
        item.state = item.stateMask = LVIS_SELECTED;
        SendMessageW(list, LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item));
    }
}

class Window {
public:
    Window(View& view, const std::u16string& title) {
        const INITCOMMONCONTROLSEX controls{sizeof(controls), ICC_LISTVIEW_CLASSES | ICC_BAR_CLASSES};
        InitCommonControlsEx(&controls);
        WNDCLASSW description{};
        description.lpfnWndProc = &WindowProcedure;
        description.hInstance = GetModuleHandleW(nullptr);
        description.hCursor = LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_ARROW));
        description.hbrBackground = GetSysColorBrush(COLOR_WINDOW);
        description.lpszClassName = kClassName;
        RegisterClassW(&description);
        window_ = CreateWindowExW(0, kClassName, ToWide(title), WS_OVERLAPPEDWINDOW, 20, 20, 560, 400, nullptr, nullptr,
                                  description.hInstance, nullptr);
        if (window_ == nullptr) {
            throw std::runtime_error("there is no window to show the menu over");
        }
        view.list = Child(window_, WC_LISTVIEWW, LVS_REPORT | LVS_SHOWSELALWAYS | LVS_SHAREIMAGELISTS);
        view.status = Child(window_, STATUSCLASSNAMEW, 0);
        SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&view));
    }
    ~Window() { DestroyWindow(window_); }
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;
    [[nodiscard]] HWND Get() const noexcept { return window_; }

private:
    HWND window_ = nullptr;
};

}  // namespace

UINT TrackOverSelection(HMENU menu, const std::vector<std::u16string>& paths, const MenuEvents& events) {
    const std::u16string& first = paths.front();
    View view{events};
    const Window window(view, first.substr(0, first.find_last_of(u'\\')));
    Fill(view.list, paths);
    ShowWindow(window.Get(), SW_SHOWNORMAL);
    SetForegroundWindow(window.Get());
    SetFocus(view.list);
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    UpdateWindow(view.list);
    POINT corner{120, 60};
    ClientToScreen(window.Get(), &corner);
    const BOOL chosen =
        TrackPopupMenu(menu, TPM_RETURNCMD | TPM_RIGHTBUTTON, corner.x, corner.y, 0, window.Get(), nullptr);
    return static_cast<UINT>(chosen);
}

}  // namespace HVR::zebdiag
