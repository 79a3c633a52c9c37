// Broken and hostile entries in the real registry and settings store.
#include <gtest/gtest.h>
#include <windows.h>

#include <map>

#include "tests/wine/ComponentInstall.h"

namespace tests {
namespace {

using tsLib::VaneResult;
using Source = tsLib::RepositoryEntry::Source;

std::u16string IdText(std::uint32_t number) { return tsLib::ToText({number, 0, 0, {1}}); }
std::string BytesOf(std::u16string_view text) {
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t)};
}
std::u16string PathOf(std::size_t length) { return u"C:\\" + std::u16string(length - 3, u'p'); }

class HostileObjects : public ::testing::TestWithParam<Source> {
protected:
    HostileObjects() {
        install_.PutProduct(u"tsSet.dll");
        install_.PutSample(u"component.dll", u"component.dll");
    }

    const std::u16string list_ = GetParam() == Source::Registry ? u"OBJID" : u"Settings\\Tessel\\OBJID";
    ComponentInstall install_;
};

TEST_P(HostileObjects, BrokenEntries_AreSkipped_AndGoodOnesFound) {
    const bool isStore = GetParam() == Source::SettingsStore;
    for (const std::u16string& name :
         {std::u16string(u"no id"), std::u16string(u"{}"), std::u16string(200, u'x'), tsLib::ToText(kProbeId) + u"x",
          tsLib::ToText(kProbeId).substr(1), std::u16string(u"{0D7E5B1C-2F43-4A86-8B19-55A1C0D3E7FG}")}) {
        install_.Put(list_ + u'\\' + name, u"C:\\bad.dll");
    }
    const struct {
        DWORD type;
        std::string bytes;
        std::u16string stored;  // empty when the entry is to be skipped
    } cases[] = {
        {REG_DWORD, std::string(4, '\1'), u""},
        {REG_BINARY, BytesOf(std::u16string(u"C:\\x.dll\0", 9)), u""},
        {REG_SZ, "", u""},
        {REG_SZ, BytesOf(std::u16string(1, u'\0')), u""},
        {REG_SZ, BytesOf(u"C:\\unterminated.dll"), u"C:\\unterminated.dll"},
        {REG_SZ, BytesOf(std::u16string(u"C:\\a.dll\0C:\\b.dll\0", 18)), u"C:\\a.dll"},
        {REG_SZ, BytesOf(PathOf(259) + u'\0'), PathOf(259)},
        // The store's buffer ends here.
        {REG_SZ, BytesOf(PathOf(260) + u'\0'), isStore ? u"" : PathOf(260)},
        {REG_SZ, BytesOf(PathOf(261)), isStore ? u"" : PathOf(261)},
        {REG_SZ, BytesOf(PathOf(30000) + u'\0'), isStore ? u"" : PathOf(30000)},
        {REG_SZ, BytesOf(PathOf(200000) + u'\0'), u""},
        {REG_SZ, BytesOf(std::u16string(u"%NOSUCH%\\x.dll\0", 15)), u"%NOSUCH%\\x.dll"},
        {REG_SZ, BytesOf(std::u16string(u"C:\\\xD800.dll\0", 9)), u"C:\\\xD800.dll"},
    };
    std::map<std::u16string, std::u16string> expected{{tsLib::ToText(kProbeId), u"%TSROOTX64%\\component.dll"}};
    for (std::uint32_t i = 0; i < std::size(cases); ++i) {
        install_.PutRaw(list_ + u'\\' + IdText(i), cases[i].type, cases[i].bytes);
        if (!cases[i].stored.empty()) {
            expected[IdText(i)] = cases[i].stored;
        }
    }
    install_.PutKey(list_ + u'\\' + IdText(500));  // without the value
    install_.Put(list_ + u'\\' + tsLib::ToText(kProbeId), u"%TSROOTX64%\\component.dll");

    ComponentProcess process(install_);
    std::vector<tsLib::RepositoryEntry> entries;
    ASSERT_TRUE(process.repository.List(entries));
    std::map<std::u16string, std::u16string> found;
    for (const auto& entry : entries) {
        EXPECT_EQ(entry.source, GetParam());
        found[tsLib::ToText(entry.objectId)] = entry.storedPath;
    }
    EXPECT_EQ(found, expected);
    EXPECT_EQ(process.Create(kProbeId), VaneResult::Success);
    std::u16string path = u"untouched";
    EXPECT_FALSE(process.repository.GetModulePath({11, 0, 0, {1}}, path));  // its token is not known
    EXPECT_EQ(path, u"untouched");
    EXPECT_EQ(process.Create({4, 0, 0, {1}}), VaneResult::ModuleMissing);
}

TEST_P(HostileObjects, TenThousandEntries_AreAllKnown) {
    install_.PutMany(list_, 10000, u"C:\\none.dll");
    install_.Put(list_ + u'\\' + tsLib::ToText(kProbeId), u"%TSROOTX64%\\component.dll");
    ComponentProcess process(install_);
    EXPECT_EQ(process.Create(kProbeId), VaneResult::Success);
    std::vector<tsLib::RepositoryEntry> entries;
    ASSERT_TRUE(process.repository.List(entries));
    EXPECT_EQ(entries.size(), 10001u);
    EXPECT_EQ(process.TakeLoads(), 1u);
}

INSTANTIATE_TEST_SUITE_P(Sources, HostileObjects, ::testing::Values(Source::Registry, Source::SettingsStore),
                         [](const auto& source) {
                             return source.param == Source::Registry ? "Registry" : "SettingsStore";
                         });

}  // namespace
}  // namespace tests
