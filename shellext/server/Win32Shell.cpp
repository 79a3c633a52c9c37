#include "shellext/server/Win32Shell.h"

#include <objbase.h>
#include <ole2.h>

#include "shellext/server/ComResult.h"
#include "tslib/platform/win32/LastError.h"
#include "tslib/platform/win32/WideText.h"

namespace HVR {

using tsLib::platform::SystemError;

namespace {

HMENU ToMenu(MenuHandle menu) noexcept { return reinterpret_cast<HMENU>(static_cast<std::uintptr_t>(menu)); }

SystemError Insert(MenuHandle menu, UINT position, UINT flags, UINT_PTR id, const wchar_t* text) noexcept {
    return InsertMenuW(ToMenu(menu), position, MF_BYPOSITION | flags, id, text) != FALSE
               ? SystemError::Success
               : tsLib::platform::win32::LastFailure();
}

}  // namespace

SystemError Win32Shell::InsertSeparator(MenuHandle menu, std::uint32_t position) noexcept {
    return Insert(menu, position, MF_SEPARATOR, 0, nullptr);
}

SystemError Win32Shell::InsertItem(MenuHandle menu, std::uint32_t position, std::uint32_t commandId,
                                   const std::u16string& text) noexcept {
    return Insert(menu, position, MF_STRING, commandId, tsLib::platform::win32::ToWide(text));
}

void Win32Shell::RemoveItem(MenuHandle menu, std::uint32_t position) noexcept {
    // The separator that was appended is the last one by now.
    const int count = GetMenuItemCount(ToMenu(menu));
    if (count > 0) {
        const auto last = static_cast<UINT>(count) - 1;
        DeleteMenu(ToMenu(menu), position < last ? position : last, MF_BYPOSITION);
    }
}

tsLib::HResult Win32Shell::TakeDropList(SelectionHandle selection, TakenDropList& taken) {
    auto* const object = reinterpret_cast<IDataObject*>(static_cast<std::uintptr_t>(selection));
    FORMATETC format{CF_HDROP, nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL};
    STGMEDIUM medium{};
    const HRESULT result = object->GetData(&format, &medium);
    if (FAILED(result)) {
        return FromCom(result);
    }
    if (medium.tymed != TYMED_HGLOBAL) {
        ReleaseStgMedium(&medium);
        medium = {};
    }
    taken = {DropHandle{reinterpret_cast<std::uintptr_t>(medium.hGlobal)},
             DropOwner{reinterpret_cast<std::uintptr_t>(medium.pUnkForRelease)}};
    return FromCom(result);
}

void Win32Shell::GiveBack(const TakenDropList& taken) noexcept {
    STGMEDIUM medium{};
    medium.tymed = TYMED_HGLOBAL;
    medium.hGlobal = reinterpret_cast<HGLOBAL>(static_cast<std::uintptr_t>(taken.list));
    medium.pUnkForRelease = reinterpret_cast<IUnknown*>(static_cast<std::uintptr_t>(taken.owner));
    // The owner is an object of the host's.
    static_cast<void>(EntryPoint(tsLib::HResult::Fail, [&] {
        ReleaseStgMedium(&medium);
        return tsLib::HResult::Ok;
    }));
}

void Win32Shell::EnterApartment() noexcept {
    // An answer that says that the thread is in another kind of apartment needs no counterpart, but gets one.
    static_cast<void>(CoInitialize(nullptr));
}

void Win32Shell::LeaveApartment() noexcept { CoUninitialize(); }

}  // namespace HVR
