// INI files of any content: read, and asked for the product's keys.
#include "tests/fakes/FakePlatform.h"
#include "tslib/IniReader.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    static tests::FakePlatform fake;
    tsLib::IniReader ini(fake.files, fake.textRules);
    ini.Parse(std::as_bytes(std::span(data, size)));
    std::u16string value;
    for (const char16_t* key : {u"silo", u"reghive", u"Native64"}) {
        static_cast<void>(ini.Read(u"isolation", key, value));
    }
    return 0;
}
