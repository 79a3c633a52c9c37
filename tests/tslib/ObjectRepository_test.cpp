#include <gtest/gtest.h>

#include <limits>

#include "tests/fakes/FailingNew.h"
#include "tests/tslib/ComponentWorld.h"

namespace tests {
namespace {

using namespace tsLib;
using namespace tsLib::platform;

constexpr ObjectId kId1{1, 0, 0, {}};
constexpr ObjectId kId2{2, 0, 0, {}};
constexpr ObjectId kId3{3, 0, 0, {}};

class ObjectRepositoryTest : public testing::Test {
protected:
    ~ObjectRepositoryTest() override {
        EXPECT_EQ(world_.registry.Misuses() + world_.loader.Misuses(), 0u);
        EXPECT_EQ(world_.storeObjects.GetObjectCount(), 0u);
    }
    // All ids that are known, with their stored texts.
    std::map<ObjectId, std::u16string> Stored() {
        std::vector<RepositoryEntry> entries;
        EXPECT_TRUE(world_.repository.List(entries));
        std::map<ObjectId, std::u16string> stored;
        for (const auto& entry : entries) {
            stored[entry.objectId] = entry.storedPath;
        }
        return stored;
    }
    ComponentWorld world_;
};

TEST_F(ObjectRepositoryTest, BothSources_SettingsStoreWinsAndTextsStayUnexpanded) {
    world_.PutToken(u"where", u"C:\\First");
    world_.PutObject(kId3, u"%where%\\three.dll");
    world_.PutObject(kId1, u"C:\\registry.dll");
    world_.PutSetting(kId1, u"%WHERE%\\store.dll");
    world_.PutSetting(kId2, u"C:\\two.dll");
    std::vector<RepositoryEntry> entries;
    ASSERT_TRUE(world_.repository.List(entries));
    ASSERT_EQ(entries.size(), 3u);
    const RepositoryEntry expected[] = {{kId1, RepositoryEntry::Source::SettingsStore, u"%WHERE%\\store.dll"},
                                        {kId2, RepositoryEntry::Source::SettingsStore, u"C:\\two.dll"},
                                        {kId3, RepositoryEntry::Source::Registry, u"%where%\\three.dll"}};
    for (std::size_t i = 0; i < entries.size(); ++i) {
        EXPECT_EQ(entries[i].objectId, expected[i].objectId);
        EXPECT_EQ(entries[i].source, expected[i].source);
        EXPECT_EQ(entries[i].storedPath, expected[i].storedPath);
    }
    EXPECT_EQ(world_.trace.Count(TraceEvent::RepositoryDuplicate), 1u);
    EXPECT_EQ(world_.PathOf(kId1), u"C:\\First\\store.dll");
    world_.PutToken(u"where", u"D:\\Moved");  // tokens are expanded when asked for
    EXPECT_EQ(world_.PathOf(kId1), u"D:\\Moved\\store.dll");
    EXPECT_EQ(world_.PathOf(kId3), u"D:\\Moved\\three.dll");
    EXPECT_EQ(world_.TakeLoads(), 1u);
}

TEST_F(ObjectRepositoryTest, EveryMiss_CostsOneReload) {
    world_.PutObject(kId1, u"C:\\one.dll");
    EXPECT_TRUE(world_.repository.Exists(kId1));
    EXPECT_TRUE(world_.repository.Load());
    EXPECT_EQ(world_.TakeLoads(), 1u);
    world_.PutObject(kId2, u"C:\\two.dll");
    EXPECT_TRUE(world_.repository.Exists(kId1));
    EXPECT_EQ(world_.TakeLoads(), 0u);
    EXPECT_EQ(world_.PathOf(kId2), u"C:\\two.dll");  // added since
    EXPECT_EQ(world_.TakeLoads(), 1u);
    world_.PutSetting(kId3, u"C:\\three.dll");
    EXPECT_TRUE(world_.repository.Exists(kId3));
    EXPECT_EQ(world_.TakeLoads(), 1u);
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(world_.repository.Exists(kSampleId));
        EXPECT_EQ(world_.PathOf(kSampleId), u"-");
        EXPECT_EQ(world_.TakeLoads(), 2u);
    }
    EXPECT_EQ(world_.trace.Count(TraceEvent::ObjectUnknown), 6u);
    EXPECT_TRUE(world_.repository.Exists(kId1));
    EXPECT_EQ(world_.TakeLoads(), 0u);
    EXPECT_EQ(world_.loader.References(world_.storeModule), 1u);
    EXPECT_EQ(std::count(world_.loader.loads.begin(), world_.loader.loads.end(), ComponentWorld::kStorePath), 1);
    EXPECT_EQ(world_.verifiers.asked.size(), 1u);  // the store's module is verified once, not with every reload
}

TEST_F(ObjectRepositoryTest, OneSourceIsEnough_NoneIsAskedForAgain) {
    world_.PutObject(kId1, u"C:\\one.dll");
    world_.Remove(ComponentWorld::kStorePath);
    EXPECT_TRUE(world_.repository.Exists(kId1));
    world_.registry.RemoveKey(PathWorld::kMachine, ComponentWorld::kObjects, kKeyView32);
    EXPECT_TRUE(world_.repository.Exists(kId1));  // still loaded
    EXPECT_FALSE(world_.repository.Exists(kId2));
    EXPECT_FALSE(world_.repository.Load());
    EXPECT_FALSE(world_.repository.Exists(kId1));  // nothing can be read any more

    world_.storeModule = world_.PutModule(ComponentWorld::kStorePath, ModuleExports<1>::Both(world_.storeObjects));
    EXPECT_FALSE(world_.repository.Load());  // the store has no list yet
    world_.PutSetting(kId2, u"C:\\two.dll");
    EXPECT_TRUE(world_.repository.Exists(kId2));
    EXPECT_FALSE(world_.repository.Exists(kId1));
    // The store's verdict counts: a refused store is no source.
    world_.verifiers.verdict = TrustResult::NotTrusted;
    tsVaneSettingsStoreLoader untrusted(world_.seam, world_.expansion);
    VaneRef<ISettingsStore> store;
    EXPECT_EQ(untrusted.Create(store), VaneResult::ModuleNotTrusted);
    EXPECT_FALSE(store);
}

TEST_F(ObjectRepositoryTest, OtherRegistryView_IsNotRead) {
    world_.registry.PutText(PathWorld::kMachine, ComponentWorld::kObjects + u"\\" + ToText(kId1), u"InProc64",
                            u"C:\\native.dll");
    EXPECT_FALSE(world_.repository.Load());
}

TEST_F(ObjectRepositoryTest, HostileEntries_AreLeftOutAndTheGoodOnesFound) {
    const std::u16string id = ToText(kId1);
    const std::u16string lower = u"{0000000a-0000-0000-0000-000000000000}";
    struct Row {
        std::u16string name;
        RegistryValue value;
        bool inStore;
        bool inRegistry;
    };
    const auto path = [](std::size_t length) { return TextValue(std::u16string(length, u'p')); };
    const Row rows[] = {
        {id, TextValue(u"C:\\a.dll"), true, true},
        {lower, TextValue(u"C:\\a.dll", kValueExpandText), true, true},
        {id, TextValue(u"C:\\a.dll", kValueText, false), true, true},  // unterminated
        {id, TextValue({u"C:\\a\0b", 6}), true, true},                 // cut at the NUL
        {id, path(259), true, true},
        {id, path(260), false, true},
        {id, path(32767), false, true},
        {id, {kValueText, std::vector<std::byte>(0x10000, std::byte{'p'})}, false, false},  // 32,768 characters
        {id, {kValueText, std::vector<std::byte>(0x10002, std::byte{'p'})}, false, false},
        {id, TextValue(u""), false, false},
        {id, {kValueText, {std::byte{'C'}}}, false, false},  // half a character
        {id, {kValueText, {}}, false, false},
        {id, DwordValue(1), false, false},
        {id, TextValue(u"C:\\a.dll", kValueBinary), false, false},
        {id.substr(1, 36), TextValue(u"C:\\a.dll"), false, false},  // no braces
        {id + u"}", TextValue(u"C:\\a.dll"), false, false},
        {std::u16string(39, u'x'), TextValue(u"C:\\a.dll"), false, false},
        {std::u16string(40, u'x'), TextValue(u"C:\\a.dll"), false, false},
        {std::u16string(255, u'x'), TextValue(u"C:\\a.dll"), false, false},
        {u"Program.Id.1", TextValue(u"C:\\a.dll"), false, false},
        {u"{\xD800" + id.substr(2), TextValue(u"C:\\a.dll"), false, false},
    };
    for (const Row& row : rows) {
        for (const bool store : {true, false}) {
            const std::u16string& list = store ? ComponentWorld::kSettings : ComponentWorld::kObjects;
            world_.PutSetting(kId2, u"C:\\good.dll");
            world_.PutObject(kId3, u"C:\\good.dll");
            world_.registry.PutValue(PathWorld::kMachine, list + u"\\" + row.name, u"InProc64", row.value, kKeyView32);
            world_.trace.records.clear();
            EXPECT_FALSE(world_.repository.Exists(kOtherId));  // reloads
            const std::size_t expected = 2 + ((store ? row.inStore : row.inRegistry) ? 1 : 0);
            EXPECT_EQ(Stored().size(), expected) << testing::PrintToString(row.name) << row.value.data.size() << store;
            const TraceEvent event = store ? TraceEvent::RepositoryStoreSkipped : TraceEvent::RepositoryEntrySkipped;
            EXPECT_EQ(world_.trace.Count(event) != 0, expected == 2);
            world_.registry.RemoveKey(PathWorld::kMachine, list, kKeyView32);
        }
    }
    world_.PutObject(kId1, u"%no-such-token%\\a.dll");
    EXPECT_TRUE(world_.repository.Exists(kId1));
    EXPECT_EQ(world_.PathOf(kId1), u"-");
    EXPECT_EQ(world_.trace.Count(TraceEvent::RepositoryPathUnexpanded), 1u);
    EXPECT_EQ(world_.registry.OpenHandles(), 1u);  // the path-expansion map
}

TEST_F(ObjectRepositoryTest, TenThousandEntries_AreAllFound) {
    for (std::uint32_t i = 0; i < 10000; ++i) {
        const std::u16string id = ToText(ObjectId{i, 1, 0, {}});
        if (i % 2 == 0) {
            world_.PutObject(id, u"C:\\registry.dll");
        } else {
            world_.PutSetting(i % 5 == 0 ? u"junk" + id : id, u"C:\\store.dll");
        }
    }
    world_.trace.enabled = false;
    EXPECT_EQ(Stored().size(), 9000u);
    EXPECT_EQ(world_.PathOf({9998, 1, 0, {}}), u"C:\\registry.dll");
    EXPECT_EQ(world_.PathOf({9999, 1, 0, {}}), u"C:\\store.dll");
}

// A store that is broken in each of its answers.
class BrokenStore : public IVaneBaseImpl<CVaneThreadSafeRefCount, ISettingsStore, kISettingsStoreId>,
                    public SettingsStoreSource {
public:
    class List : public IVaneBaseImpl<CVaneThreadSafeRefCount, ISettingsEnumeration, kISettingsEnumerationId> {
        VaneResult SubkeyCount(std::uint32_t* count) noexcept override {
            *count = std::numeric_limits<std::uint32_t>::max();
            return VaneResult::Success;
        }
        VaneResult SubkeyName(std::uint32_t index, char16_t* name, std::uint32_t capacity,
                              std::uint32_t*) noexcept override {
            std::fill_n(name, capacity, u'x');
            if (index % 2 == 0) {
                ToText(kId1).copy(name, 38);
                name[38] = u'\0';
            }
            return VaneResult::Success;
        }
    };
    VaneResult Create(VaneRef<ISettingsStore>& store) noexcept override {
        store = VaneRef<ISettingsStore>::Share(this);
        return VaneResult::Success;
    }
    VaneResult OpenForEnumeration(const char16_t*, ISettingsEnumeration** list) noexcept override {
        *list = givesList ? new List : nullptr;
        return VaneResult::Success;
    }
    VaneResult OpenForReading(const char16_t*, ISettingsKey** key) noexcept override {
        *key = nullptr;
        return VaneResult::Success;
    }
    VaneResult OpenForWriting(const char16_t*, ISettingsKey**) noexcept override { return VaneResult::Success; }
    VaneResult DeleteKey(const char16_t*) noexcept override { return VaneResult::Success; }
    bool givesList = false;
};

TEST_F(ObjectRepositoryTest, BrokenStore_EndsAndLeavesTheRegistrysEntries) {
    world_.PutObject(kId2, u"C:\\two.dll");
    world_.trace.enabled = false;
    VaneRef<BrokenStore> store(new BrokenStore);
    tsVaneObjectRepository repository({world_.registry, world_.registry, world_.trace}, world_.isolation,
                                      world_.expansion, *store);
    for (const bool givesList : {false, true}) {
        store->givesList = givesList;
        EXPECT_FALSE(repository.Exists(kId1));
        EXPECT_TRUE(repository.Exists(kId2));
    }
}

// A registry entry may stand for the store's only when the store failed as a whole, never when one entry of it did.
TEST_F(ObjectRepositoryTest, MemoryRunsOut_NoHalfReadStoreCounts) {
    world_.PutObject(kId1, u"C:\\registry.dll");
    world_.PutSetting(kId1, u"C:\\store.dll");
    bool fired = true;
    for (std::uint32_t n = 1; fired; ++n) {
        tsVaneSettingsStoreLoader store(world_.seam, world_.expansion);
        tsVaneObjectRepository repository({world_.registry, world_.registry, world_.trace}, world_.isolation,
                                          world_.expansion, store);
        std::u16string path;
        bool found = false;
        world_.trace.records.clear();
        {
            const FailingNew failing(n);
            found = repository.GetModulePath(kId1, path);
            fired = failing.Fired();
        }
        const bool withoutStore = world_.trace.Count(TraceEvent::RepositoryStoreFailed) != 0;
        EXPECT_EQ(path, !found ? u"" : withoutStore ? u"C:\\registry.dll" : u"C:\\store.dll") << n;
        ASSERT_TRUE(fired || (found && !withoutStore));
        EXPECT_FALSE(repository.Exists(kId2));  // the reload heals it
        EXPECT_TRUE(repository.GetModulePath(kId1, path)) << n;
        EXPECT_EQ(path, u"C:\\store.dll");
        EXPECT_EQ(world_.storeObjects.GetObjectCount(), 0u);
        ASSERT_LT(n, 2000u);
    }
    EXPECT_EQ(world_.registry.OpenHandles(), 1u);
    EXPECT_EQ(world_.loader.OpenHandles(), 0u);
}

}  // namespace
}  // namespace tests
