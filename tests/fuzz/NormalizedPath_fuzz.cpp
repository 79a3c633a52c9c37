// Paths in any form, over drives, environment and short names that anybody may have chosen. The form that comes of one
// is final, is no native one where there is another, and names the same file.
//
// The input's first line is the path. Every further one is "C=target" for a drive's device, or "name=value" for a
// variable.
#include "tests/fakes/FakePlatform.h"
#include "tests/fuzz/Fuzz.h"
#include "tslib/platform/FullPath.h"
#include "tslib/verifytrust/NormalizedPath.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using namespace tests;
    const auto lines = fuzz::Lines({data, size});
    FakePlatform fake;
    fake.disk.PutFile(u"C:\\Program Files\\Halvora\\A long name.exe");
    fake.disk.PutShortName(u"C:\\Program Files", u"PROGRA~1");
    fake.disk.PutShortName(u"C:\\Program Files\\Halvora\\A long name.exe", u"ALONGN~1.EXE");
    fake.disk.PutFile(u"\\\\server\\share\\x");
    for (std::size_t i = 1; i < lines.size(); ++i) {
        const auto [name, value] = fuzz::Split(fuzz::Wide(lines[i]), u'=');
        if (name.size() == 1 && name[0] >= u'A' && name[0] <= u'Z') {
            fake.pathForms.dosDevices[name[0]] = value;
        } else {
            fake.pathForms.environment[SimpleLower(name)] = value;
        }
    }
    const std::u16string path = fuzz::Wide(lines[0]);
    const std::u16string rewritten = tsLib::SystemPath(fake, path);
    PROPERTY(tsLib::SystemPath(fake, rewritten) == rewritten);
    PROPERTY(rewritten == path || rewritten.starts_with(u"\\\\") || StartsAtDrive(rewritten));
    const std::u16string normalized = tsLib::NormalizePath(fake, path);
    PROPERTY(tsLib::SystemPath(fake, normalized) == normalized);
    if (IsLiteralPath(path)) {
        PROPERTY(normalized == path && rewritten == path);
    } else if (path.find_first_of(std::u16string_view(u"%\0", 2)) == std::u16string::npos) {
        const auto file = fake.disk.Find(rewritten);
        PROPERTY(file != nullptr ? fake.disk.Find(normalized) == file : normalized == rewritten);
    }
    // The number of a volume ends where its element ends.
    fake.pathForms.dosDevices = {{u'C', u"\\Device\\HarddiskVolume1"}, {u'D', u"\\Device\\HarddiskVolume10"}};
    PROPERTY(tsLib::SystemPath(fake, u"\\device\\harddiskVOLUME10\\" + path) == u"D:\\" + path);
    PROPERTY(fake.Leftovers().empty());
    return 0;
}
