#include "tslib/platform/win32/Win32Platform.h"

#include <algorithm>

#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

namespace {

HKEY RootKey(RegistryRoot root) noexcept {
    switch (root) {
        case RegistryRoot::ClassesRoot:
            return HKEY_CLASSES_ROOT;
        case RegistryRoot::CurrentUser:
            return HKEY_CURRENT_USER;
        default:
            return HKEY_LOCAL_MACHINE;
    }
}

// RegDeleteTreeW empties the key itself when the name is missing, so no path with an empty element may get there.
bool IsCompletePath(const std::u16string& path) noexcept {
    return !path.empty() && !HoldsNul(path) && path.front() != u'\\' && path.back() != u'\\' &&
           path.find(u"\\\\") == std::u16string::npos;
}

// The key that open(path, &key) opens or makes.
template <class Open>
SystemError OpenWith(const std::u16string& path, RegistryKey& key, Open open) noexcept {
    if (HoldsNul(path)) {
        return SystemError::InvalidParameter;
    }
    HKEY opened = nullptr;
    const SystemError error = FromStatus(open(ToWide(path), &opened));
    if (Succeeded(error)) {
        key = ToSeam<RegistryKey>(opened);
    }
    return error;
}

SystemError OpenBelow(HKEY parent, const std::u16string& path, std::uint32_t access, RegistryKey& key) noexcept {
    return OpenWith(path, key,
                    [=](const wchar_t* name, HKEY* opened) { return RegOpenKeyExW(parent, name, 0, access, opened); });
}

SystemError DeleteTreeBelow(HKEY parent, const std::u16string& path) noexcept {
    return IsCompletePath(path) ? FromStatus(RegDeleteTreeW(parent, ToWide(path))) : SystemError::InvalidParameter;
}

}  // namespace

SystemError Win32Registry::OpenKey(RegistryRoot root, const std::u16string& path, std::uint32_t access,
                                   RegistryKey& key) {
    return OpenBelow(RootKey(root), path, access, key);
}

SystemError Win32Registry::OpenSubkey(RegistryKey parent, const std::u16string& path, std::uint32_t access,
                                      RegistryKey& key) {
    return OpenBelow(FromSeam<HKEY>(parent), path, access, key);
}

SystemError Win32Registry::ReadValue(RegistryKey key, const std::u16string& name, RegistryValue& value) {
    if (HoldsNul(name)) {
        return SystemError::InvalidParameter;
    }
    // A value may grow between two calls. The size that a refused call tells is a hint only, so the buffer at least
    // doubles; at the limit the platform's MoreData is the answer.
    RegistryValue read;
    read.data.resize(256);
    for (;;) {
        DWORD type = 0;
        auto size = static_cast<DWORD>(read.data.size());
        const SystemError error = FromStatus(RegQueryValueExW(FromSeam<HKEY>(key), ToWide(name), nullptr, &type,
                                                              reinterpret_cast<BYTE*>(read.data.data()), &size));
        if (Succeeded(error)) {
            read.type = type;
            read.data.resize(std::min<std::size_t>(size, read.data.size()));
            value = std::move(read);
            return error;
        }
        if (error != SystemError::MoreData || read.data.size() == kMaximumRegistryValueBytes) {
            return error;
        }
        read.data.resize(std::min(std::max<std::size_t>(size, read.data.size() * 2), kMaximumRegistryValueBytes));
    }
}

void Win32Registry::CloseKey(RegistryKey key) noexcept {
    if (key != RegistryKey{}) {
        const LastErrorKeeper keeper;
        RegCloseKey(FromSeam<HKEY>(key));
    }
}

SystemError Win32Registry::CreateKey(RegistryRoot root, const std::u16string& path, std::uint32_t access,
                                     RegistryKey& key) {
    return OpenWith(path, key, [=](const wchar_t* name, HKEY* made) {
        return RegCreateKeyExW(RootKey(root), name, 0, nullptr, REG_OPTION_NON_VOLATILE, access, nullptr, made,
                               nullptr);
    });
}

SystemError Win32Registry::WriteValue(RegistryKey key, const std::u16string& name, const RegistryValue& value) {
    if (HoldsNul(name) || value.data.size() > kMaximumRegistryValueBytes) {
        return SystemError::InvalidParameter;
    }
    // For text the platform looks at the unit behind the data and stores it too when it is a terminator. Another unit
    // stands there, so that exactly the data is stored and nothing is read from outside.
    std::vector<std::byte> data = value.data;
    data.insert(data.end(), sizeof(wchar_t), std::byte{0xFF});
    return FromStatus(RegSetValueExW(FromSeam<HKEY>(key), ToWide(name), 0, value.type,
                                     reinterpret_cast<const BYTE*>(data.data()),
                                     static_cast<DWORD>(value.data.size())));
}

SystemError Win32Registry::DeleteValue(RegistryKey key, const std::u16string& name) {
    return HoldsNul(name) ? SystemError::InvalidParameter
                          : FromStatus(RegDeleteValueW(FromSeam<HKEY>(key), ToWide(name)));
}

SystemError Win32Registry::SubkeyInfo(RegistryKey key, std::uint32_t& count, std::uint32_t& longestName) {
    DWORD subkeys = 0;
    DWORD longest = 0;
    const SystemError error =
        FromStatus(RegQueryInfoKeyW(FromSeam<HKEY>(key), nullptr, nullptr, nullptr, &subkeys, &longest, nullptr,
                                    nullptr, nullptr, nullptr, nullptr, nullptr));
    if (Succeeded(error)) {
        count = subkeys;
        longestName = longest;
    }
    return error;
}

SystemError Win32Registry::SubkeyName(RegistryKey key, std::uint32_t index, std::uint32_t capacity,
                                      std::u16string& name) {
    // No key's name is longer than 255 characters, whatever capacity is asked for.
    std::u16string found(std::min<std::uint32_t>(capacity, 0x4000), u'\0');
    auto length = static_cast<DWORD>(found.size());
    const SystemError error = FromStatus(
        RegEnumKeyExW(FromSeam<HKEY>(key), index, ToWide(found.data()), &length, nullptr, nullptr, nullptr, nullptr));
    if (Succeeded(error)) {
        found.resize(length);
        name = std::move(found);
    }
    return error;
}

SystemError Win32Registry::DeleteSubkeyTree(RegistryKey parent, const std::u16string& path) {
    return DeleteTreeBelow(FromSeam<HKEY>(parent), path);
}

SystemError Win32Registry::DeleteKey(RegistryRoot root, const std::u16string& path) {
    if (!IsCompletePath(path)) {
        return SystemError::InvalidParameter;
    }
    OwnedRegistryKey key(*this);
    std::uint32_t subkeys = 0;
    std::uint32_t longestName = 0;
    SystemError error = OpenKey(root, path, KEY_QUERY_VALUE | DELETE, key.Receive());
    if (Failed(error) || Failed(error = SubkeyInfo(key.Get(), subkeys, longestName))) {
        return error;
    }
    return subkeys != 0 ? SystemError::KeyHasChildren : FromStatus(RegDeleteKeyW(RootKey(root), ToWide(path)));
}

SystemError Win32Registry::DeleteTree(RegistryRoot root, const std::u16string& path) {
    return DeleteTreeBelow(RootKey(root), path);
}

}  // namespace tsLib::platform::win32
