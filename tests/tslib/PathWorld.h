// An installation over fakes: isolate.ini beside the module, an empty path-expansion map, and the objects that read
// them.
#pragma once

#include <string>

#include "tests/fakes/FakeFiles.h"
#include "tests/fakes/FakeKnownFolders.h"
#include "tests/fakes/FakeModules.h"
#include "tests/fakes/FakePathForms.h"
#include "tests/fakes/FakeRegistry.h"
#include "tests/fakes/FakeTextRules.h"
#include "tests/fakes/FakeTrace.h"
#include "tslib/Isolation.h"
#include "tslib/tsPathExpansion.h"

namespace tests {

struct PathWorld {
    static constexpr auto kMachine = tsLib::platform::RegistryRoot::LocalMachine;
    inline static const std::string kSiloBytes = "{01234567-89AB-CDEF-0123-456789abcdef}";
    inline static const std::u16string kSilo = u"{01234567-89AB-CDEF-0123-456789abcdef}";
    inline static const std::u16string kHive = u"Software\\Corvane\\Isolation";
    inline static const std::u16string kMap = kHive + u"\\" + kSilo + u"\\Tessel\\PathExpansionMap";
    inline static const std::u16string kIni = u"C:\\Program Files\\Halvora\\isolate.ini";
    inline static const std::u16string kCurrentVersion = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion";

    PathWorld() {
        PutIni("[isolation]\r\nsilo=" + kSiloBytes + "\r\n");
        registry.PutKey(kMachine, kMap, tsLib::platform::kKeyView32);
    }
    void PutIni(std::string_view text) { files.PutFile(kIni, text); }
    void PutToken(const std::u16string& name, std::u16string_view folder) {
        registry.PutText(kMachine, kMap, name, folder, tsLib::platform::kKeyView32);
    }
    void PutTokenAsSubkey(const std::u16string& name, std::u16string_view folder) {
        registry.PutText(kMachine, kMap + u"\\" + name, u"Path64", folder, tsLib::platform::kKeyView32);
    }
    void ShareFaults() {
        registry.faults = files.faults = knownFolders.faults = pathForms.faults = textRules.faults = modules.faults =
            &faults;
    }
    // What Expand gives, behind a "+" for true and a "-" for false.
    std::u16string Expand(std::u16string_view input) {
        std::u16string out = u"untouched";
        const bool expanded = expansion.Expand(input, out);
        return (expanded ? u"+" : u"-") + out;
    }
    [[nodiscard]] std::size_t Misuses() const { return registry.Misuses() + files.Misuses(); }

    FaultPlan faults;
    FakeRegistry registry;
    FakeFiles files;
    FakeKnownFolders knownFolders;
    FakePathForms pathForms;
    FakeTextRules textRules;
    FakeModules modules;
    FakeTrace trace;
    tsLib::Isolation isolation{{modules, pathForms, files, registry, textRules, trace}};
    tsLib::tsPathExpansion expansion{{registry, knownFolders, pathForms, textRules, trace}, isolation};
};

}  // namespace tests
