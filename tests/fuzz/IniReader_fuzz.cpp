// INI files of any content: read, and asked for the product's keys.
#include "tests/fakes/FakeFiles.h"
#include "tests/fakes/FakeTextRules.h"
#include "tslib/IniReader.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    tests::FakeFiles files;
    tests::FakeTextRules rules;
    tsLib::IniReader ini(files, rules);
    if (Succeeded(ini.Parse(std::as_bytes(std::span(data, size))))) {
        for (const char16_t* key : {u"silo", u"reghive", u"Native64"}) {
            static_cast<void>(ini.Find(u"isolation", key));
        }
    }
    return 0;
}
