// make-catalog MEMBER CATALOG: writes an unsigned catalog that lists the file by its catalog hash.
#include <windows.h>

#include <cstdio>

#include "tests/wine/CatalogFile.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/platform/win32/Win32CatalogAdmin.h"
#include "tslib/platform/win32/Win32Files.h"

int wmain(int count, wchar_t** arguments) {
    using namespace tsLib::platform;
    if (count != 3) {
        std::fputs("usage: make-catalog MEMBER CATALOG\n", stderr);
        return 2;
    }
    win32::Win32Files files;
    win32::Win32CatalogHasher hasher;
    OwnedFile file(files);
    std::uint32_t size = 0;
    std::vector<std::byte> hash;
    if (Failed(files.OpenForReading(win32::FromWide(arguments[1]), file.Receive())) ||
        Failed(hasher.Hash(file.Get(), {}, size)) || (hash.resize(size), Failed(hasher.Hash(file.Get(), hash, size)))) {
        std::fputs("make-catalog: the member cannot be hashed\n", stderr);
        return 1;
    }
    const std::string catalog = tests::CatalogOf({hash});
    std::FILE* output = _wfopen(arguments[2], L"wb");
    if (output == nullptr) {
        std::fputs("make-catalog: the catalog cannot be written\n", stderr);
        return 1;
    }
    const bool written = std::fwrite(catalog.data(), 1, catalog.size(), output) == catalog.size();
    return std::fclose(output) == 0 && written ? 0 : 1;
}
