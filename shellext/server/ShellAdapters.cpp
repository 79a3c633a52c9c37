#include "shellext/server/ShellAdapters.h"

#include <objbase.h>
#include <ole2.h>

#include "shellext/server/ComResult.h"
#include "tslib/platform/win32/LastError.h"
#include "tslib/platform/win32/WideText.h"

namespace HVR {

using tsLib::platform::SystemError;

namespace {

SystemError Insert(HMENU menu, UINT position, UINT flags, UINT_PTR id, const wchar_t* text) noexcept {
    return InsertMenuW(menu, position, MF_BYPOSITION | flags, id, text) != FALSE
               ? SystemError::Success
               : tsLib::platform::win32::LastFailure();
}

}  // namespace

SystemError Win32Menu::InsertSeparator(std::uint32_t position) noexcept {
    return Insert(menu_, position, MF_SEPARATOR, 0, nullptr);
}

SystemError Win32Menu::InsertItem(std::uint32_t position, std::uint32_t commandId,
                                  const std::u16string& text) noexcept {
    return Insert(menu_, position, MF_STRING, commandId, tsLib::platform::win32::ToWide(text));
}

void Win32Menu::Remove(std::uint32_t position) noexcept {
    // The separator that was appended is the last one by now.
    const int count = GetMenuItemCount(menu_);
    if (count > 0) {
        const auto last = static_cast<UINT>(count) - 1;
        DeleteMenu(menu_, position < last ? position : last, MF_BYPOSITION);
    }
}

tsLib::HResult DataObjectSelection::TakeDropList(DropHandle& dropList) {
    FORMATETC format{CF_HDROP, nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL};
    STGMEDIUM medium{};
    const HRESULT result = object_.GetData(&format, &medium);
    if (FAILED(result)) {
        return FromCom(result);
    }
    if (medium.tymed != TYMED_HGLOBAL) {
        ReleaseStgMedium(&medium);
        medium.hGlobal = nullptr;
    }
    dropList = static_cast<DropHandle>(reinterpret_cast<std::uintptr_t>(medium.hGlobal));
    return FromCom(result);
}

void ComApartment::Enter() noexcept {
    // An answer that says that the thread is in another kind of apartment needs no counterpart, but gets one.
    static_cast<void>(CoInitialize(nullptr));
}

void ComApartment::Leave() noexcept { CoUninitialize(); }

}  // namespace HVR
