#include "tslib/platform/win32/Win32Platform.h"

#include "tslib/platform/win32/ModuleFunction.h"
#include "tslib/platform/win32/TrustArguments.h"

namespace tsLib::platform::win32 {

namespace {

using AcquireContext2 = BOOL(WINAPI*)(HCATADMIN*, const GUID*, const WCHAR*, const void*, DWORD);
using CalcHash2 = BOOL(WINAPI*)(HCATADMIN, HANDLE, DWORD*, BYTE*, DWORD);

AcquireContext2 FindAcquireContext2() noexcept {
    return LoadedFunction<AcquireContext2>(L"WinTrust.dll", "CryptCATAdminAcquireContext2");
}

CalcHash2 FindCalcHash2() noexcept {
    return LoadedFunction<CalcHash2>(L"WinTrust.dll", "CryptCATAdminCalcHashFromFileHandle2");
}

BYTE* Bytes(std::span<std::byte> buffer) noexcept {
    return buffer.empty() ? nullptr : reinterpret_cast<BYTE*>(buffer.data());
}

// Both hash functions agree on this: with no buffer they tell the size, and some systems call that a failure.
// Some read from where the handle stands.
template <class Call>
SystemError HashWith(FileHandle file, Call call, std::span<std::byte> buffer, std::uint32_t& size) {
    SetFilePointerEx(FromSeam<HANDLE>(file), {}, nullptr, FILE_BEGIN);
    auto bytes = static_cast<DWORD>(buffer.size());
    SetLastError(ERROR_SUCCESS);
    const BOOL done = call(&bytes, Bytes(buffer));
    const DWORD error = GetLastError();
    size = 0;
    if (buffer.empty() ? bytes != 0 || done : done && bytes <= buffer.size()) {
        size = bytes;
        return SystemError::Success;
    }
    if (done) {  // Wine tells the size again instead of failing
        return SystemError::InsufficientBuffer;
    }
    return error == ERROR_SUCCESS ? SystemError::InternalError : static_cast<SystemError>(error);
}

}  // namespace

bool Win32Catalogs::HasSha256Context() const noexcept { return FindAcquireContext2() != nullptr; }

SystemError Win32Catalogs::AcquireContext(CatalogContextHandle& context) {
    HCATADMIN admin = nullptr;
    return Give(CryptCATAdminAcquireContext(&admin, nullptr, 0) ? admin : nullptr, context);
}

SystemError Win32Catalogs::AcquireSha256Context(CatalogContextHandle& context) {
    const auto acquire = FindAcquireContext2();
    if (acquire == nullptr) {
        return SystemError::ProcedureNotFound;
    }
    HCATADMIN admin = nullptr;
    return Give(acquire(&admin, nullptr, L"SHA256", nullptr, 0) ? admin : nullptr, context);
}

void Win32Catalogs::ReleaseContext(CatalogContextHandle context) noexcept {
    if (context != CatalogContextHandle{}) {
        const LastErrorKeeper keeper;
        CryptCATAdminReleaseContext(FromSeam<HCATADMIN>(context), 0);
    }
}

SystemError Win32Catalogs::NextCatalog(CatalogContextHandle context, std::span<const std::byte> hash,
                                       CatalogHandle previous, CatalogHandle& next) {
    auto consumed = FromSeam<HCATINFO>(previous);
    SetLastError(ERROR_SUCCESS);
    // The platform declares the bytes as writable and only reads them. It gets a place for the previous catalog also
    // when there is none: without one it would take the call as a search for a single catalog and not go on from it.
    const HCATINFO found = CryptCATAdminEnumCatalogFromHash(
        FromSeam<HCATADMIN>(context), const_cast<BYTE*>(reinterpret_cast<const BYTE*>(hash.data())),
        static_cast<DWORD>(hash.size()), 0, &consumed);
    if (found == nullptr && IsEndOfCatalogs(GetLastError(), previous == CatalogHandle{})) {
        return SystemError::NotFound;
    }
    return Give(found, next);
}

SystemError Win32Catalogs::CatalogPath(CatalogHandle catalog, std::u16string& path) {
    CATALOG_INFO information{};
    information.cbStruct = sizeof(information);
    if (!CryptCATCatalogInfoFromContext(FromSeam<HCATINFO>(catalog), &information, 0)) {
        return LastFailure();
    }
    information.wszCatalogFile[MAX_PATH - 1] = L'\0';
    path = FromWide(information.wszCatalogFile);
    return SystemError::Success;
}

void Win32Catalogs::ReleaseCatalog(CatalogContextHandle context, CatalogHandle catalog) noexcept {
    if (catalog != CatalogHandle{}) {
        const LastErrorKeeper keeper;
        CryptCATAdminReleaseCatalogContext(FromSeam<HCATADMIN>(context), FromSeam<HCATINFO>(catalog), 0);
    }
}

bool Win32Catalogs::HasSha256Hash() const noexcept { return FindCalcHash2() != nullptr; }

SystemError Win32Catalogs::Hash(FileHandle file, std::span<std::byte> buffer, std::uint32_t& size) {
    return HashWith(
        file,
        [file](DWORD* bytes, BYTE* data) {
            return CryptCATAdminCalcHashFromFileHandle(FromSeam<HANDLE>(file), bytes, data, 0);
        },
        buffer, size);
}

SystemError Win32Catalogs::Sha256Hash(CatalogContextHandle context, FileHandle file, std::span<std::byte> buffer,
                                      std::uint32_t& size) {
    const auto calculate = FindCalcHash2();
    if (calculate == nullptr) {
        size = 0;
        return SystemError::ProcedureNotFound;
    }
    return HashWith(
        file,
        [=](DWORD* bytes, BYTE* data) {
            return calculate(FromSeam<HCATADMIN>(context), FromSeam<HANDLE>(file), bytes, data, 0);
        },
        buffer, size);
}

}  // namespace tsLib::platform::win32
