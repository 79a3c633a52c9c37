// The host side of the resource loader's contract suites.
#include "tests/contract/ResourceContractPlatform.h"
#include "tests/fakes/FakeDesktop.h"
#include "tests/fakes/FakeFileSearch.h"
#include "tests/fakes/FakeMessageTexts.h"
#include "tests/fakes/FakeResourceModules.h"

namespace tests {

namespace {

class FakeResourceContractPlatform final : public ResourceContractPlatform {
public:
    FakeResourceContractPlatform() {
        modules_.Put(u"C:\\German.dll", {{1, u"Mit Halvora \u00FCber&pr\u00FCfen"}, {101, u"Halvora"}});
        modules_.PutBroken(u"C:\\broken.dll");
        messages_.texts[{2U, std::uint16_t{0}}] = u"The file is not there.\r\n";
    }
    ResourceSeam Interfaces() override { return {files_, modules_, locales_, messages_, codePage_, station_}; }
    void SetUp() override {
        files_ = {};
        files_.PutFolder(u"C:\\scratch");
    }
    void TearDown() override {
        EXPECT_EQ(files_.OpenHandles() + files_.Misuses() + modules_.OpenHandles() + modules_.Misuses(), 0U);
    }
    std::u16string ScratchFolder() override { return u"C:\\scratch\\"; }
    void PutFile(const std::u16string& path) override { files_.PutFile(path); }
    void MakeFolder(const std::u16string& path) override { files_.PutFolder(path); }
    std::u16string GermanModule() override { return u"C:\\German.dll"; }
    std::u16string NoModule() override { return u"C:\\broken.dll"; }

private:
    FakeFileSearch files_;
    FakeResourceModules modules_;
    FakeLocales locales_;
    FakeMessageTexts messages_;
    FakeCodePage codePage_;
    FakeWindowStation station_;
};

}  // namespace

ResourceContractPlatform& ResourceContract() {
    static FakeResourceContractPlatform platform;
    return platform;
}

}  // namespace tests
