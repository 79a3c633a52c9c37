// Strings of a resource module with any inserts: nothing is asked for that is not given, an insert's own text is never
// read as a format, and a failure leaves the output.
//
// The input's first line is the format, the further ones are the inserts.
#include "resources/ResourceLoader.h"
#include "tests/fakes/FakePlatform.h"
#include "tests/fakes/FakeTrustVerifier.h"
#include "tests/fuzz/Fuzz.h"

namespace {

using namespace tests;

struct World : FakePlatform {
    World() {
        disk.PutStrings(kPath, {{1, u"x"}});
        loader.SetResourceModulePath(kPath);
        PROPERTY(loader.Initialize(false) == tsLib::HResult::Ok);
        trace.enabled = false;
    }
    // Nothing when the string cannot be had.
    std::optional<std::u16string> Format(const std::vector<std::u16string>& inserts) {
        std::u16string out = u"untouched";
        const bool done = loader.FormatString(1, out, inserts);
        PROPERTY(done || out == u"untouched");
        PROPERTY(Misuses() == 0);
        desktop.debugTexts.clear();
        return done ? std::optional(out) : std::nullopt;
    }

    const std::u16string kPath = u"C:\\Shell\\ZebShellRes.dll";
    FakeTrustVerifiers verifiers;
    tsLib::Components components;
    HVR::CResourceLoader loader{*this, FakeModules::kOwn, u"ZebShellRes.dll", verifiers, components};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    static World world;
    const auto lines = fuzz::Lines({data, size});
    const std::u16string format = fuzz::Wide(lines[0]);
    std::vector<std::u16string> inserts;
    std::vector<std::u16string> marks;
    for (std::size_t i = 1; i < lines.size(); ++i) {
        inserts.push_back(fuzz::Wide(lines[i]));
        marks.emplace_back(1, static_cast<char16_t>(0xE000 + i));
    }
    world.disk.NodeAt(world.kPath).strings[1] = format;
    std::u16string plain;
    PROPERTY(world.loader.LoadString(1, plain) == (!format.empty() && format.size() <= 8190));
    world.desktop.debugTexts.clear();
    const auto marked = world.Format(marks);
    const auto filled = world.Format(inserts);
    const bool isStaged = std::ranges::none_of(format, [](char16_t unit) { return unit >= 0xE000 && unit < 0xF000; });
    if (isStaged && marked) {
        // The marks are no text of the format's, so each stands where its insert belongs.
        std::u16string expected;
        for (const char16_t unit : *marked) {
            expected += unit >= 0xE000 && unit < 0xF000 ? inserts[unit - 0xE001U] : std::u16string(1, unit);
        }
        PROPERTY(expected.empty() ? !filled : filled == expected);
    }
    return 0;
}
