// A text with tokens, and a map that anybody may have written. Whatever comes of it is bounded and whole: all tokens
// are expanded, or none; it is told once; and every way to ask gives the same.
//
// The input's first line is the text. Every further one is an entry of the map: how it is stored, the name, "=", the
// folder.
#include <algorithm>

#include "tests/fakes/FakePlatform.h"
#include "tests/fuzz/Fuzz.h"
#include "tslib/Isolation.h"
#include "tslib/tsPathExpansion.h"

namespace {

using namespace tests;

const std::u16string kMap =
    u"Software\\Corvane\\Isolation\\{01234567-89AB-CDEF-0123-456789abcdef}\\Tessel\\PathExpansionMap";

void PutEntry(FakeRegistry& registry, const std::u16string& line) {
    const auto [name, folder] = fuzz::Split(line.substr(1), u'=');
    const char16_t kind = line.front();
    RegistryValue value =
        StoredText(kind == u'l' ? std::u16string(32'760, u'x') + folder : folder, kValueText, kind != u'u');
    for (const auto& [letter, type] :
         {std::pair(u'e', kValueExpandText), {u'b', kValueBinary}, {u'd', kValueDword}, {u'n', 0U}}) {
        value.type = kind == letter ? type : value.type;
    }
    value.data.resize(kind == u'n' ? 0 : value.data.size() + (kind == u'o' ? 1 : 0));
    const bool isKey = kind == u'k';
    registry.PutValue(RegistryRoot::LocalMachine, isKey ? kMap + u"\\" + name : kMap, isKey ? u"Path64" : name,
                      std::move(value), kKeyView32);
}

// Pairs of backslashes become single ones for as long as there are any; a leading pair stays.
std::u16string Reduced(const std::u16string& text) {
    const std::size_t kept = text.starts_with(u"\\\\") ? 1 : 0;
    std::u16string rest = text.substr(kept);
    while (rest.find(u"\\\\") != std::u16string::npos) {
        rest = fuzz::Replaced(rest, u"\\\\", u"\\");
    }
    return text.substr(0, kept) + rest;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const auto lines = fuzz::Lines({data, size});
    FakePlatform fake;
    fake.disk.PutFile(u"C:\\Program Files\\Halvora\\isolate.ini",
                      "[isolation]\r\nsilo={01234567-89AB-CDEF-0123-456789abcdef}\r\n");
    fake.registry.PutKey(RegistryRoot::LocalMachine, kMap, kKeyView32);
    fake.registry.PutText(RegistryRoot::LocalMachine, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion",
                          u"ProgramFilesDir", u"C:\\Program Files");
    for (const std::uint32_t folder : {0x1CU, 0x23U}) {
        fake.system.specialFolders[folder] = u"C:\\data";
    }
    for (std::size_t i = 1; i < lines.size(); ++i) {
        if (const std::u16string line = fuzz::Wide(lines[i]); !line.empty()) {
            PutEntry(fake.registry, line);
        }
    }
    const std::u16string text = fuzz::Wide(lines[0]);
    tsLib::Isolation isolation(fake);
    tsLib::tsPathExpansion expansion(fake, isolation);
    std::u16string out = u"before";
    const bool expanded = expansion.Expand(text, out);
    PROPERTY(fake.trace.Count(TraceLevel::Error) == (expanded ? 0U : 1U));
    PROPERTY(expanded || out == Reduced(text));
    if (expanded && text.size() >= 3) {
        PROPERTY(out.find(u'%') == std::u16string::npos && out.find(u"\\\\", 1) == std::u16string::npos);
        PROPERTY(out.size() <= std::max(text.size(), tsLib::kMaximumExpandedPath));
        PROPERTY(text.find(u'%') != std::u16string::npos || out == Reduced(text));
    }
    // Again, in place, and through a key of the caller's.
    std::u16string inPlace = text;
    PROPERTY(expansion.Expand(inPlace, inPlace) == expanded && inPlace == out);
    OwnedRegistryKey key(fake.registry);
    PROPERTY(Succeeded(fake.registry.OpenKey(RegistryRoot::LocalMachine, kMap, kKeyRead | kKeyView32, key.Receive())));
    std::u16string byKey;
    PROPERTY(expansion.Expand(key.Get(), kKeyRead | kKeyView32, text, byKey) == expanded && byKey == out);
    PROPERTY(fake.OpenHandles() == 2 && fake.Misuses() == 0);  // the map and the caller's key
    return 0;
}
