#include "companions/protection/Win32ProtectionCounter_win32.h"

#include <algorithm>
#include <limits>

#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/WideText.h"

namespace HVR {

namespace {

using tsLib::platform::SystemError;
using namespace tsLib::platform::win32;

// The section's content. A new section is all zeros.
struct Shared {
    volatile LONG layout;
    volatile LONG count;
};
constexpr LONG kLayout = 0x31525048;

struct ViewTraits {
    using Value = void*;
    static Value Invalid() noexcept { return nullptr; }
    static void Close(Value value) noexcept { UnmapViewOfFile(value); }
};

struct Opened {
    UniqueKernelHandle section;  // keeps the section's name; a view alone would not
    UniqueHandle<ViewTraits> view;

    [[nodiscard]] Shared& Content() const noexcept { return *static_cast<Shared*>(view.Get()); }
};

// Touching memory that is only reserved, or not writable, would end the process.
bool IsPlainMemory(const void* view, bool writable) noexcept {
    MEMORY_BASIC_INFORMATION info{};
    return VirtualQuery(view, &info, sizeof(info)) != 0 && info.State == MEM_COMMIT &&
           info.RegionSize >= sizeof(Shared) && info.Protect == (writable ? PAGE_READWRITE : PAGE_READONLY);
}

SystemError Map(UniqueKernelHandle section, bool writable, Opened& opened) noexcept {
    if (!section) {
        return LastFailure();
    }
    const DWORD access = writable ? FILE_MAP_READ | FILE_MAP_WRITE : FILE_MAP_READ;
    UniqueHandle<ViewTraits> view(MapViewOfFile(section.Get(), access, 0, 0, sizeof(Shared)));
    if (!view) {
        return LastFailure();
    }
    if (!IsPlainMemory(view.Get(), writable)) {
        return SystemError::InvalidData;
    }
    opened.section = std::move(section);
    opened.view = std::move(view);
    return SystemError::Success;
}

SystemError OpenForChange(const char16_t* name, bool create, Opened& opened) noexcept {
    UniqueKernelHandle section(
        create ? CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(Shared), ToWide(name))
               : OpenFileMappingW(FILE_MAP_READ | FILE_MAP_WRITE, FALSE, ToWide(name)));
    if (const SystemError error = Map(std::move(section), true, opened); Failed(error)) {
        return error;
    }
    const LONG layout = InterlockedCompareExchange(&opened.Content().layout, kLayout, 0);
    return layout == 0 || layout == kLayout ? SystemError::Success : SystemError::InvalidData;
}

// Exchanges the number for what `change` makes of it; false when that refuses.
template <class Change>
bool Exchange(Shared& shared, Change&& change) noexcept {
    LONG before = shared.count;
    for (;;) {
        auto number = static_cast<std::uint32_t>(before);
        if (!change(number)) {
            return false;
        }
        const LONG found = InterlockedCompareExchange(&shared.count, static_cast<LONG>(number), before);
        if (found == before) {
            return true;
        }
        before = found;
    }
}

}  // namespace

Win32ProtectionCounter::~Win32ProtectionCounter() { CloseKept(); }

void Win32ProtectionCounter::CloseKept() noexcept {
    const UniqueKernelHandle section(std::exchange(section_, nullptr));
    const UniqueHandle<ViewTraits> view(std::exchange(view_, nullptr));
}

SystemError Win32ProtectionCounter::Add(std::uint32_t suspensions) noexcept {
    const std::lock_guard lock(mutex_);
    Opened fresh;
    if (view_ == nullptr) {
        if (const SystemError error = OpenForChange(name_, true, fresh); Failed(error)) {
            return error;
        }
    }
    Shared& shared = view_ != nullptr ? *static_cast<Shared*>(view_) : fresh.Content();
    const bool added = Exchange(shared, [suspensions](std::uint32_t& number) {
        const bool fits = suspensions <= std::numeric_limits<std::uint32_t>::max() - number;
        number += suspensions;
        return fits;
    });
    if (!added) {
        return SystemError::InvalidData;
    }
    own_ += std::min(suspensions, std::numeric_limits<std::uint32_t>::max() - own_);
    if (view_ == nullptr && own_ != 0) {
        section_ = fresh.section.Release();
        view_ = fresh.view.Release();
    }
    return SystemError::Success;
}

SystemError Win32ProtectionCounter::Subtract(std::uint32_t suspensions) noexcept {
    const std::lock_guard lock(mutex_);
    Opened fresh;
    if (view_ == nullptr) {
        const SystemError error = OpenForChange(name_, false, fresh);
        if (error == SystemError::FileNotFound) {
            return suspensions == 0 ? SystemError::Success : SystemError::InvalidData;
        }
        if (Failed(error)) {
            return error;
        }
    }
    Shared& shared = view_ != nullptr ? *static_cast<Shared*>(view_) : fresh.Content();
    const bool taken = Exchange(shared, [suspensions](std::uint32_t& number) {
        const bool isThere = suspensions <= number;
        number -= suspensions;
        return isThere;
    });
    if (!taken) {
        return SystemError::InvalidData;
    }
    own_ -= std::min(own_, suspensions);
    if (own_ == 0) {
        CloseKept();
    }
    return SystemError::Success;
}

SystemError Win32ProtectionCounter::Read(std::uint32_t& suspensions) noexcept {
    const std::lock_guard lock(mutex_);
    Opened fresh;
    if (view_ == nullptr) {
        UniqueKernelHandle section(OpenFileMappingW(FILE_MAP_READ, FALSE, ToWide(name_)));
        const SystemError error = Map(std::move(section), false, fresh);
        if (error == SystemError::FileNotFound) {
            suspensions = 0;  // nobody suspends anything
            return SystemError::Success;
        }
        if (Failed(error)) {
            return error;
        }
    }
    const Shared& shared = view_ != nullptr ? *static_cast<const Shared*>(view_) : fresh.Content();
    // Zero while the section's maker is still at it.
    if (shared.layout != 0 && shared.layout != kLayout) {
        return SystemError::InvalidData;
    }
    suspensions = static_cast<std::uint32_t>(shared.count);
    return SystemError::Success;
}

}  // namespace HVR
