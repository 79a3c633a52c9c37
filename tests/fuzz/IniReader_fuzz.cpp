// INI files of any content. A value that is found has no blanks at its ends and is the same however the file is read
// and the question spelled, and nothing behind it changes it.
#include "tests/fakes/FakePlatform.h"
#include "tests/fuzz/Fuzz.h"
#include "tslib/IniReader.h"

namespace {

using tsLib::platform::SystemError;
using Answer = std::pair<SystemError, std::u16string>;

Answer Ask(const tsLib::IniReader& ini, std::u16string_view section, std::u16string_view key) {
    std::u16string value = u"untouched";
    const SystemError error = ini.Read(section, key, value);
    PROPERTY(Succeeded(error) || value == u"untouched");
    return {error, value};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    static tests::FakePlatform fake;
    const std::u16string path = u"C:\\isolate.ini";
    const fuzz::Bytes bytes(data, size);
    tests::Bytes file(std::as_bytes(bytes).begin(), std::as_bytes(bytes).end());
    tsLib::IniReader ini(fake.files, fake.textRules);
    ini.Parse(file);
    tsLib::IniReader loaded(fake.files, fake.textRules);
    fake.disk.PutFile(path, file);
    fake.files.maximumRead = 100;
    fake.files.opened.clear();
    PROPERTY(loaded.Load(path) == SystemError::Success && fake.OpenHandles() == 0);

    // A section of the same name behind everything; the line's end keeps it out of the last value.
    const bool isWide = size >= 2 && data[0] == 0xFF && data[1] == 0xFE;
    file.resize(isWide ? size & ~std::size_t{1} : size);
    for (const char unit : std::string_view("\n[isolation]\nsilo=behind\n")) {
        file.push_back(static_cast<std::byte>(unit));
        file.insert(file.end(), isWide ? 1 : 0, std::byte{0});
    }
    tsLib::IniReader longer(fake.files, fake.textRules);
    longer.Parse(file);

    for (const auto& [key, other] :
         {std::pair(u"silo", u"SILO"), {u"reghive", u"RegHive"}, {u"Native64", u"nATIVE64"}}) {
        const Answer answer = Ask(ini, u"isolation", key);
        const auto& [error, value] = answer;
        PROPERTY(answer == Ask(ini, u"ISOLATION", other) && answer == Ask(loaded, u"isolation", key));
        PROPERTY(error == SystemError::Success || error == SystemError::NotFound);
        if (Succeeded(error)) {
            PROPERTY(value.find(u'\n') == std::u16string::npos);
            PROPERTY(value.empty() || std::u16string_view(u" \t").find(value.front()) == std::u16string_view::npos);
            PROPERTY(value.empty() || std::u16string_view(u" \t").find(value.back()) == std::u16string_view::npos);
            PROPERTY(answer == Ask(longer, u"isolation", key));
        }
    }
    return 0;
}
