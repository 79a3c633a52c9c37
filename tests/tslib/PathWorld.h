// An installation on a fake platform: isolate.ini beside the module, an empty path-expansion map, and the objects that
// read them. What is left open when all of them are gone, or was used wrongly, fails the test.
#pragma once

#include <gtest/gtest.h>

#include "tests/fakes/FailingNew.h"
#include "tests/fakes/FakePlatform.h"
#include "tslib/Isolation.h"
#include "tslib/RegistryText.h"
#include "tslib/tsPathExpansion.h"

namespace tests {

using namespace tsLib;
using Texts = std::vector<std::u16string>;

struct PathWorld : FakePlatform {
    static constexpr auto kMachine = RegistryRoot::LocalMachine;
    inline static const std::string kSiloBytes = "{01234567-89AB-CDEF-0123-456789abcdef}";
    inline static const std::u16string kSilo = u"{01234567-89AB-CDEF-0123-456789abcdef}";
    inline static const std::u16string kHive = u"Software\\Corvane\\Isolation";
    inline static const std::u16string kMap = kHive + u"\\" + kSilo + u"\\Tessel\\PathExpansionMap";
    inline static const std::u16string kIni = u"C:\\Program Files\\Halvora\\isolate.ini";
    inline static const std::u16string kCurrentVersion = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion";

    PathWorld() {
        PutIni("[isolation]\r\nsilo=" + kSiloBytes + "\r\n");
        registry.PutKey(kMachine, kMap, kKeyView32);
    }
    void PutIni(std::string_view text) { disk.PutFile(kIni, text); }
    void PutToken(const std::u16string& name, std::u16string_view folder) {
        registry.PutText(kMachine, kMap, name, folder, kKeyView32);
    }
    void PutTokenAsSubkey(const std::u16string& name, std::u16string_view folder) {
        registry.PutText(kMachine, kMap + u"\\" + name, u"Path64", folder, kKeyView32);
    }
    void RemoveMap() { registry.RemoveKey(kMachine, kMap, kKeyView32); }
    // What Expand gives, behind a "+" for true and a "-" for false.
    std::u16string Expand(std::u16string_view input) {
        std::u16string out = u"untouched";
        const bool expanded = expansion.Expand(input, out);
        return (expanded ? u"+" : u"-") + out;
    }
    struct Check {
        ~Check() { EXPECT_EQ(platform.Leftovers(), ""); }
        FakePlatform& platform;
    } check{*this};

    Isolation isolation{*this};
    tsPathExpansion expansion{*this, isolation};
};

}  // namespace tests
