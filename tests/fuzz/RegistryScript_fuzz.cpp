// Registration scripts of any content. One that is read keeps the bounds of the registry, can be carried out, taken
// back and carried out again with the same result, and leaves what is everybody's.
#include <algorithm>

#include "shellext/RegistryScriptRunner.h"
#include "tests/fakes/FakePlatform.h"
#include "tests/fuzz/Fuzz.h"

namespace {

using namespace tests;

void CheckKey(const HVR::ScriptKey& key, std::size_t depth) {
    PROPERTY(depth <= 32 && key.name.size() <= 255);
    PROPERTY(key.name.find_first_of(std::u16string_view(u"\\\0", 2)) == std::u16string::npos);
    PROPERTY(key.rule != HVR::ScriptRule::Delete || (key.values.empty() && key.keys.empty()));
    for (const HVR::ScriptValue& value : key.values) {
        PROPERTY(value.rule != HVR::ScriptRule::Delete && value.name.find(u'\0') == std::u16string::npos);
        PROPERTY(value.data.data.size() <= kMaximumRegistryValueBytes);
    }
    for (const HVR::ScriptKey& child : key.keys) {
        PROPERTY(!child.name.empty());
        CheckKey(child, depth + 1);
    }
}

// Somebody else's key below one that is everybody's; no script can name it.
const std::u16string kTheirs(300, u'z');
const std::u16string kShared[] = {u"CLSID",  u"AppID",     u"*",    u"Directory", u"Drive",
                                  u"Folder", u"Interface", u"Mime", u"TypeLib",   u"Component Categories"};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::u16string text = fuzz::Wide({data, size});
    const HVR::ScriptReplacement replacements[] = {{u"MODULE", u"C:\\It's { 100% }\\zebshell2.dll"}, {u"EMPTY", u""}};
    HVR::ScriptProblem problem;
    const auto script = HVR::ParseRegistryScript(text, replacements, problem);
    PROPERTY(script.has_value() == (problem.fault == HVR::ScriptFault::None));
    PROPERTY(problem.line <= 1 + std::ranges::count(text, u'\n'));
    if (!script) {
        return 0;
    }
    FakePlatform fake;
    for (const std::u16string& key : kShared) {
        fake.registry.PutKey(RegistryRoot::ClassesRoot, key + u"\\" + kTheirs);
    }
    for (const char16_t* key : {u"Software", u"System", u"Hardware"}) {
        fake.registry.PutKey(RegistryRoot::LocalMachine, key + (u"\\" + kTheirs));
    }
    const auto before = fake.registry.Contents();
    const auto keepsTheirs = [&] {
        const auto now = fake.registry.Contents();
        return std::ranges::all_of(
            before, [&](const auto& key) { return !key.first.ends_with(kTheirs) || now.contains(key.first); });
    };
    for (const HVR::ScriptHive& hive : *script) {
        CheckKey(hive.contents, 0);
    }
    HVR::RegistryScriptRunner runner(fake.registry, fake.trace);
    PROPERTY(runner.Register(*script) == SystemError::Success && keepsTheirs());
    const auto registered = fake.registry.Contents();
    PROPERTY(runner.Register(*script) == SystemError::Success && fake.registry.Contents() == registered);
    PROPERTY(runner.Remove(*script) == SystemError::Success && keepsTheirs());
    PROPERTY(runner.Remove(*script) == SystemError::Success);
    PROPERTY(runner.Register(*script) == SystemError::Success && fake.registry.Contents() == registered);
    PROPERTY(fake.Leftovers().empty());
    return 0;
}
