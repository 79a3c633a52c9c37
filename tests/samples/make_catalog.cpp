// make-catalog MEMBER CATALOG: writes an unsigned catalog that lists the file.
#include <windows.h>

#include <fstream>

#include "tests/wine/CatalogFile.h"
#include "tslib/platform/win32/WideText.h"

int wmain(int count, wchar_t** arguments) {
    if (count != 3) {
        return 2;
    }
    const auto hash = tests::CatalogHash(tsLib::platform::win32::FromWide(arguments[1]));
    std::ofstream output(arguments[2], std::ios::binary);
    output << tests::CatalogOf({hash});
    output.close();
    return output && !hash.empty() ? 0 : 1;
}
