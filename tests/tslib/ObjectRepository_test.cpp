#include "tslib/tsVaneObjectRepository.h"

#include "tests/tslib/ComponentWorld.h"

namespace tests {
namespace {

using enum VaneResult;

constexpr ObjectId kId1{0x10000000, 0, 0, {}}, kId2{0x20000000, 0, 0, {}}, kId3{0x30000000, 0, 0, {}};

struct ObjectRepositoryTest : testing::Test, ComponentWorld {
    // The id's path, or "-" when it is not known.
    std::u16string PathOf(const ObjectId& id) {
        std::u16string path = u"-";
        return repository.GetModulePath(id, path) || path == u"-" ? path : u"touched";
    }
    // Every entry as it is stored: the id's first digit, the source's letter, the text.
    Texts Stored() {
        std::vector<RepositoryEntry> entries;
        Texts stored;
        EXPECT_TRUE(repository.List(entries));
        for (const RepositoryEntry& entry : entries) {
            const bool isStore = entry.source == RepositoryEntry::Source::SettingsStore;
            stored.push_back(ToText(entry.objectId)[1] + std::u16string(isStore ? u"S " : u"R ") + entry.storedPath);
        }
        return stored;
    }
    // How often the registry's list of objects was opened since the last call.
    std::ptrdiff_t TakeLoads() {
        const auto& opened = std::exchange(registry.opened, {});
        return std::ranges::count(opened, kObjects, &FakeRegistry::Opened::path);
    }
};

TEST_F(ObjectRepositoryTest, BothSources_SettingsStoreWinsAndTextsStayUnexpanded) {
    PutObject(kId3, u"%where%\\three.dll");
    PutObject(kId1, u"C:\\registry.dll");
    PutSetting(kId1, u"%WHERE%\\store.dll");
    PutSetting(kId2, u"C:\\two.dll");
    EXPECT_EQ(Stored(), (Texts{u"1S %WHERE%\\store.dll", u"2S C:\\two.dll", u"3R %where%\\three.dll"}));
    EXPECT_EQ(trace.Count(TraceEvent::RepositoryDuplicate), 1u);
    EXPECT_EQ(PathOf(kId1), u"-");
    EXPECT_EQ(trace.Count(TraceEvent::RepositoryPathUnexpanded), 1u);
    for (const std::u16string where : {u"C:\\First", u"D:\\Moved"}) {
        PutToken(u"where", where);  // tokens are expanded when asked for
        EXPECT_EQ(PathOf(kId1), where + u"\\store.dll");
    }
    EXPECT_EQ(TakeLoads(), 1);
}

TEST_F(ObjectRepositoryTest, EveryMiss_CostsOneReload) {
    PutObject(kId1, u"C:\\one.dll");
    EXPECT_TRUE(repository.Exists(kId1) && repository.Load());
    PutObject(kId2, u"C:\\two.dll");
    EXPECT_TRUE(repository.Exists(kId1));
    EXPECT_EQ(TakeLoads(), 1);
    EXPECT_EQ(PathOf(kId2), u"C:\\two.dll");  // added since
    PutSetting(kId3, u"C:\\three.dll");
    EXPECT_TRUE(repository.Exists(kId3));
    EXPECT_EQ(TakeLoads(), 2);
    EXPECT_EQ(PathOf(kSampleId), u"-");
    EXPECT_EQ(trace.Count(TraceEvent::ObjectUnknown), 1u);
    EXPECT_TRUE(repository.Exists(kId1));
    EXPECT_EQ(TakeLoads(), 1);
    EXPECT_EQ(std::ranges::count(modules.alteredLoads, kStorePath), 1);
    EXPECT_EQ(verifiers.asked.size(), 1u);  // the store's module is verified once, not with every reload
}

TEST_F(ObjectRepositoryTest, OneSourceIsEnough_NoneIsAskedForAgain) {
    PutObject(kId1, u"C:\\one.dll");
    disk.Remove(kStorePath);
    EXPECT_TRUE(repository.Load());
    registry.RemoveKey(kMachine, kObjects, kKeyView32);
    EXPECT_TRUE(repository.Exists(kId1));  // still loaded
    EXPECT_FALSE(repository.Exists(kId2));
    EXPECT_FALSE(repository.Exists(kId1));  // nothing can be read any more
    std::vector<RepositoryEntry> entries(1);
    EXPECT_TRUE(!repository.List(entries) && entries.size() == 1);

    disk.PutModule(kStorePath, ModuleExports<1>::Both(storeObjects));
    registry.PutText(kMachine, kObjects + u"\\" + ToText(kId1), u"InProc64", u"x");
    EXPECT_FALSE(repository.Load());  // the store has no list yet, and the other registry view is not read
    PutSetting(kId2, u"C:\\two.dll");
    EXPECT_EQ(Stored(), Texts{u"2S C:\\two.dll"});
}

TEST_F(ObjectRepositoryTest, EntriesThatCannotBeRead_AreLeftOutAndTheGoodOnesFound) {
    const std::u16string id = ToText(kId1);
    const auto path = [](std::size_t length) { return StoredText(std::u16string(length, u'p')); };
    const std::tuple<std::u16string, RegistryValue, bool, bool> rows[] = {
        // good in the registry, in the store
        {u"{0000000a-0000-0000-0000-000000000000}", path(259), true, true},
        {id, path(260), true, false},
        {id, path(32767), true, false},
        {id, path(32768), false, false},
        {id, path(0), false, false},
        {id, DwordValue(1), false, false},
        {id + u"}", path(9), false, false},
        {std::u16string(40, u'x'), path(9), false, false},
    };
    PutSetting(kId2, u"C:\\good.dll");
    PutObject(kId3, u"C:\\good.dll");
    for (const auto& [name, value, inRegistry, inTheStore] : rows) {
        for (const bool inStore : {false, true}) {
            const bool isGood = inStore ? inTheStore : inRegistry;
            const std::u16string key = (inStore ? kSettings : kObjects) + u"\\" + name;
            registry.PutValue(kMachine, key, u"InProc64", value, kKeyView32);
            trace.records.clear();
            EXPECT_FALSE(repository.Exists(kOtherId));  // reloads
            EXPECT_EQ(Stored().size(), isGood ? 3u : 2u) << testing::PrintToString(name);
            const TraceEvent event = inStore ? TraceEvent::RepositoryStoreSkipped : TraceEvent::RepositoryEntrySkipped;
            EXPECT_EQ(trace.Count(event), isGood ? 0u : 1u) << testing::PrintToString(name);
            registry.RemoveKey(kMachine, key, kKeyView32);
        }
    }
}

// A store that lies: its list is endless, and each name is an id without a key, or has no end.
struct BrokenStore : IVaneBaseImpl<CVaneThreadSafeRefCount, ISettingsStore, kISettingsStoreId> {
    struct List : IVaneBaseImpl<CVaneThreadSafeRefCount, ISettingsEnumeration, kISettingsEnumerationId> {
        VaneResult SubkeyCount(std::uint32_t* count) noexcept override {
            *count = 0xFFFFFFFF;
            return Success;
        }
        VaneResult SubkeyName(std::uint32_t at, char16_t* name, std::uint32_t size, std::uint32_t*) noexcept override {
            std::fill_n(name, size, u'x');
            name[at % 2 == 0 ? ToText(kId1).copy(name, size) : 0] = at % 2 == 0 ? u'\0' : u'x';
            asked = at + 1;
            return Success;
        }
    };
    VaneResult OpenForEnumeration(const char16_t*, ISettingsEnumeration** list) noexcept override {
        *list = Succeeded(result) ? new List : nullptr;
        return result == ModuleMissing ? Success : result;  // a success without a list
    }
    VaneResult OpenForReading(const char16_t*, ISettingsKey**) noexcept override { return Success; }
    VaneResult OpenForWriting(const char16_t*, ISettingsKey**) noexcept override { return Success; }
    VaneResult DeleteKey(const char16_t*) noexcept override { return Success; }
    static inline VaneResult result{};
    static inline std::uint32_t asked = 0;
};

TEST_F(ObjectRepositoryTest, BrokenStore_LeavesTheRegistrysEntries) {
    PutObject(kId2, u"C:\\two.dll");
    ComponentModule broken{{{kSettingsStoreObjectId, &MakeCounted<BrokenStore>}}};
    disk.PutModule(kStorePath, ModuleExports<4>::Both(broken));
    for (const VaneResult result : {OutOfMemory, ModuleMissing, Success}) {
        BrokenStore::result = result;
        EXPECT_FALSE(repository.Exists(kId1));
        EXPECT_EQ(Stored(), Texts{u"2R C:\\two.dll"});
    }
    EXPECT_EQ(BrokenStore::asked, kMaximumRepositoryKeys);
    EXPECT_EQ(trace.Count(TraceEvent::RepositoryCutShort), 1u);
}

}  // namespace
}  // namespace tests
