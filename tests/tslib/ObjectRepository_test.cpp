#include "tslib/tsVaneObjectRepository.h"

#include <limits>

#include "tests/tslib/ComponentWorld.h"

namespace tests {
namespace {

using namespace tsLib;
using Texts = std::vector<std::u16string>;

constexpr ObjectId kId1{0x10000000, 0, 0, {}};
constexpr ObjectId kId2{0x20000000, 0, 0, {}};
constexpr ObjectId kId3{0x30000000, 0, 0, {}};

class ObjectRepositoryTest : public testing::Test {
protected:
    // The id's path, or "-" when it is not known.
    std::u16string PathOf(const ObjectId& id) {
        std::u16string path = u"-";
        return world_.repository.GetModulePath(id, path) || path == u"-" ? path : u"touched";
    }
    // Every entry as it is stored: the id's first digit, the source's letter, the text.
    Texts Stored() {
        std::vector<RepositoryEntry> entries;
        Texts stored;
        EXPECT_TRUE(world_.repository.List(entries));
        for (const RepositoryEntry& entry : entries) {
            const bool isStore = entry.source == RepositoryEntry::Source::SettingsStore;
            stored.push_back(ToText(entry.objectId)[1] + std::u16string(isStore ? u"S " : u"R ") + entry.storedPath);
        }
        return stored;
    }
    // How often the registry's list of objects was opened since the last call.
    std::ptrdiff_t TakeLoads() {
        const auto& opened = std::exchange(world_.registry.opened, {});
        return std::ranges::count(opened, ComponentWorld::kObjects, &FakeRegistry::Opened::path);
    }

    ComponentWorld world_;
};

TEST_F(ObjectRepositoryTest, BothSources_SettingsStoreWinsAndTextsStayUnexpanded) {
    world_.PutObject(kId3, u"%where%\\three.dll");
    world_.PutObject(kId1, u"C:\\registry.dll");
    world_.PutSetting(kId1, u"%WHERE%\\store.dll");
    world_.PutSetting(kId2, u"C:\\two.dll");
    EXPECT_EQ(Stored(), (Texts{u"1S %WHERE%\\store.dll", u"2S C:\\two.dll", u"3R %where%\\three.dll"}));
    EXPECT_EQ(world_.trace.Count(TraceEvent::RepositoryDuplicate), 1u);
    EXPECT_EQ(PathOf(kId1), u"-");
    EXPECT_EQ(world_.trace.Count(TraceEvent::RepositoryPathUnexpanded), 1u);
    for (const std::u16string where : {u"C:\\First", u"D:\\Moved"}) {
        world_.PutToken(u"where", where);  // tokens are expanded when asked for
        EXPECT_EQ(PathOf(kId1), where + u"\\store.dll");
    }
    EXPECT_EQ(TakeLoads(), 1);
}

TEST_F(ObjectRepositoryTest, EveryMiss_CostsOneReload) {
    world_.PutObject(kId1, u"C:\\one.dll");
    EXPECT_TRUE(world_.repository.Exists(kId1) && world_.repository.Load());
    EXPECT_EQ(TakeLoads(), 1);
    world_.PutObject(kId2, u"C:\\two.dll");
    EXPECT_TRUE(world_.repository.Exists(kId1));
    EXPECT_EQ(TakeLoads(), 0);
    EXPECT_EQ(PathOf(kId2), u"C:\\two.dll");  // added since
    world_.PutSetting(kId3, u"C:\\three.dll");
    EXPECT_TRUE(world_.repository.Exists(kId3));
    EXPECT_EQ(TakeLoads(), 2);
    EXPECT_FALSE(world_.repository.Exists(kSampleId));
    EXPECT_EQ(PathOf(kSampleId), u"-");
    EXPECT_EQ(TakeLoads(), 2);
    EXPECT_EQ(world_.trace.Count(TraceEvent::ObjectUnknown), 2u);
    EXPECT_TRUE(world_.repository.Exists(kId1));
    EXPECT_EQ(TakeLoads(), 0);
    EXPECT_EQ(std::ranges::count(world_.modules.alteredLoads, ComponentWorld::kStorePath), 1);
    EXPECT_EQ(world_.verifiers.asked.size(), 1u);  // the store's module is verified once, not with every reload
}

TEST_F(ObjectRepositoryTest, OneSourceIsEnough_NoneIsAskedForAgain) {
    world_.PutObject(kId1, u"C:\\one.dll");
    world_.disk.Remove(ComponentWorld::kStorePath);
    EXPECT_TRUE(world_.repository.Exists(kId1));
    world_.registry.RemoveKey(PathWorld::kMachine, ComponentWorld::kObjects, kKeyView32);
    EXPECT_TRUE(world_.repository.Exists(kId1));  // still loaded
    EXPECT_FALSE(world_.repository.Exists(kId2));
    EXPECT_FALSE(world_.repository.Exists(kId1));  // nothing can be read any more
    std::vector<RepositoryEntry> entries(1);
    EXPECT_FALSE(world_.repository.List(entries));
    EXPECT_EQ(entries.size(), 1u);

    world_.disk.PutModule(ComponentWorld::kStorePath, ModuleExports<1>::Both(world_.storeObjects));
    world_.registry.PutText(PathWorld::kMachine, ComponentWorld::kObjects + u"\\" + ToText(kId1), u"InProc64", u"x");
    EXPECT_FALSE(world_.repository.Load());  // the store has no list yet, and the other registry view is not read
    world_.PutSetting(kId2, u"C:\\two.dll");
    EXPECT_EQ(Stored(), Texts{u"2S C:\\two.dll"});
    world_.verifiers.verdict = TrustResult::NotTrusted;  // a refused store is no source
    tsVaneSettingsStoreLoader untrusted(world_, world_.expansion);
    VaneRef<ISettingsStore> store;
    EXPECT_EQ(untrusted.Create(store), VaneResult::ModuleNotTrusted);
    EXPECT_FALSE(store);
}

TEST_F(ObjectRepositoryTest, EntriesThatCannotBeRead_AreLeftOutAndTheGoodOnesFound) {
    const std::u16string id = ToText(kId1);
    const auto path = [](std::size_t length) { return StoredText(std::u16string(length, u'p')); };
    const std::tuple<std::u16string, RegistryValue, bool, bool> rows[] = {
        {u"{0000000a-0000-0000-0000-000000000000}", path(259), true, true},
        {id, path(260), false, true},
        {id, path(32767), false, true},
        {id, {kValueText, std::vector<std::byte>(0x10000, std::byte{'p'})}, false, false},  // 32,768 characters
        {id, path(0), false, false},
        {id, tsLib::DwordValue(1), false, false},
        {id.substr(1, 36), path(9), false, false},  // no braces
        {id + u"}", path(9), false, false},
        {std::u16string(40, u'x'), path(9), false, false},
    };
    world_.PutSetting(kId2, u"C:\\good.dll");
    world_.PutObject(kId3, u"C:\\good.dll");
    const auto countAll = [&](bool store) {
        const TraceEvent event = store ? TraceEvent::RepositoryStoreSkipped : TraceEvent::RepositoryEntrySkipped;
        world_.trace.records.clear();
        EXPECT_FALSE(world_.repository.Exists(kOtherId));  // reloads
        const std::size_t count = Stored().size();
        EXPECT_EQ(world_.trace.Count(event) != 0, count == 2);
        return count;
    };
    for (const auto& [name, value, inStore, inRegistry] : rows) {
        for (const bool store : {true, false}) {
            const std::u16string key = (store ? ComponentWorld::kSettings : ComponentWorld::kObjects) + u"\\" + name;
            world_.registry.PutValue(PathWorld::kMachine, key, u"InProc64", value, kKeyView32);
            EXPECT_EQ(countAll(store), (store ? inStore : inRegistry) ? 3u : 2u) << testing::PrintToString(name);
            world_.registry.RemoveKey(PathWorld::kMachine, key, kKeyView32);
        }
    }
    // Also when it is memory that the one entry lacks.
    for (const bool store : {true, false}) {
        const std::u16string key = (store ? ComponentWorld::kSettings : ComponentWorld::kObjects) + u"\\" + id;
        world_.registry.PutKey(PathWorld::kMachine, key, kKeyView32);
        world_.registry.FailOpening(PathWorld::kMachine, key, SystemError::NotEnoughMemory, kKeyView32);
        EXPECT_EQ(countAll(store), 2u);
        world_.registry.RemoveKey(PathWorld::kMachine, key, kKeyView32);
    }
}

// A store that lies: its list is endless, and each name is an id without a key, or has no end.
struct BrokenStore : StubStore {
    struct List : StubList {
        VaneResult SubkeyCount(std::uint32_t* count) noexcept override {
            *count = std::numeric_limits<std::uint32_t>::max();
            return VaneResult::Success;
        }
        VaneResult SubkeyName(std::uint32_t index, char16_t* name, std::uint32_t size,
                              std::uint32_t*) noexcept override {
            std::fill_n(name, size, u'x');
            name[index % 2 == 0 ? ToText(kId1).copy(name, size) : 0] = index % 2 == 0 ? u'\0' : u'x';
            asked = index + 1;
            return VaneResult::Success;
        }
    };
    VaneResult OpenForEnumeration(const char16_t*, ISettingsEnumeration** list) noexcept override {
        *list = Succeeded(result) ? new List : nullptr;
        return result == VaneResult::ModuleMissing ? VaneResult::Success : result;  // a success without a list
    }
    static inline VaneResult result{};
    static inline std::uint32_t asked = 0;
};

TEST_F(ObjectRepositoryTest, BrokenStore_LeavesTheRegistrysEntries) {
    world_.PutObject(kId2, u"C:\\two.dll");
    ComponentModule broken{{{kSettingsStoreObjectId, &MakeCounted<BrokenStore>}}};
    world_.disk.PutModule(ComponentWorld::kStorePath, ModuleExports<4>::Both(broken));
    for (const VaneResult result : {VaneResult::OutOfMemory, VaneResult::ModuleMissing, VaneResult::Success}) {
        BrokenStore::result = result;
        EXPECT_FALSE(world_.repository.Exists(kId1));
        EXPECT_EQ(Stored(), Texts{u"2R C:\\two.dll"});
    }
    EXPECT_EQ(BrokenStore::asked, kMaximumRepositoryKeys);
    EXPECT_EQ(world_.trace.Count(TraceEvent::RepositoryCutShort), 1u);
    EXPECT_EQ(broken.GetObjectCount(), 0u);
}

// A registry entry stands for the store's only when a record says that this one could not be read.
TEST(ObjectRepositoryFaults, AnyFailure_IsTracedAndHealedByTheNextLoad) {
    Sweep([](auto&& failing, bool /*memory*/) {
        ComponentWorld world;
        world.PutObject(kId1, u"C:\\registry.dll");
        world.PutSetting(kId1, u"C:\\store.dll");
        std::u16string path;
        bool found = false;
        const bool struck = failing(world.faults, [&] { found = world.repository.GetModulePath(kId1, path); });
        const bool withoutStore = world.trace.Count(TraceEvent::RepositoryStoreFailed) +
                                      world.trace.Count(TraceEvent::RepositoryStoreSkipped) !=
                                  0;
        EXPECT_EQ(path, !found ? u"" : withoutStore ? u"C:\\registry.dll" : u"C:\\store.dll");
        EXPECT_TRUE(struck || (found && !withoutStore));
        EXPECT_FALSE(world.repository.Exists(kId2));
        EXPECT_TRUE(world.repository.GetModulePath(kId1, path));
        EXPECT_EQ(path, u"C:\\store.dll");
    });
}

}  // namespace
}  // namespace tests
