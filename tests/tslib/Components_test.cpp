// What components are made of: slots, counted objects, modules that offer them; and the numbers of their traces.
#include <limits>
#include <stdexcept>
#include <thread>

#include "tests/tslib/ComponentWorld.h"
#include "tslib/IProtectionControl.h"
#include "tslib/tsVaneModuleFactory.h"

namespace tests {
namespace {

using namespace tsLib;

struct StubFactory : Implementing<IFactory, kIFactoryId> {
    VaneResult CreateInstance(const InterfaceId&, void**) noexcept override { return VaneResult{3}; }
};
struct StubKey : Implementing<ISettingsKey, kISettingsKeyId> {
    using Result = VaneResult;
    Result ReadText(const char16_t*, char16_t*, std::uint32_t, std::uint32_t*) noexcept override { return Result{3}; }
    Result ReadNumber(const char16_t*, std::uint32_t*) noexcept override { return Result{4}; }
    Result WriteText(const char16_t*, const char16_t*) noexcept override { return Result{5}; }
    Result WriteNumber(const char16_t*, std::uint32_t) noexcept override { return Result{6}; }
    Result DeleteValue(const char16_t*) noexcept override { return Result{7}; }
};
struct StubControl : Implementing<IProtectionControl, kIProtectionControlId> {
    HResult EnableProtection() noexcept override { return HResult{3}; }
    HResult DisableProtection() noexcept override { return HResult{4}; }
};

// A call as somebody makes it who knows nothing but the table that the object begins with.
std::uint32_t CallSlot(void* object, std::size_t slot, const void* first = nullptr, void* second = nullptr) {
    using Operation = std::uint32_t (*)(void*, const void*, void*, std::uintptr_t, void*);
    void* const* const table = *static_cast<void***>(object);
    return reinterpret_cast<Operation>(table[slot])(object, first, second, 0, nullptr);
}

void ExpectSlots(void* object, const InterfaceId& id, std::uint32_t end) {
    void* same = nullptr;
    EXPECT_EQ(CallSlot(object, 0, &id, &same), Number(VaneResult::Success));
    EXPECT_EQ(same, object);
    EXPECT_EQ(CallSlot(object, 1), 3u);
    for (std::uint32_t slot = 3; slot < end; ++slot) {
        EXPECT_EQ(CallSlot(object, slot), slot);
    }
    for (const std::uint32_t left : {2u, 1u, 0u}) {
        EXPECT_EQ(CallSlot(object, 2), left);
    }
}

TEST(Contracts, SlotsOfTheInterfaces) {
    ExpectSlots(new StubFactory, kIFactoryId, 4);
    ExpectSlots(new StubStore, kISettingsStoreId, 7);
    ExpectSlots(new StubKey, kISettingsKeyId, 8);
    ExpectSlots(new StubList, kISettingsEnumerationId, 5);
    ExpectSlots(new StubControl, kIProtectionControlId, 5);
}

// The compiler's name of an event, empty for a number without one.
template <TraceEvent event>
constexpr std::string_view Name() {
    constexpr std::string_view kBefore = "event = tsLib::TraceEvent::";
    std::string_view name = __PRETTY_FUNCTION__;
    const std::size_t at = name.find(kBefore);
    name.remove_prefix(at == std::string_view::npos ? name.size() : at + kBefore.size());
    return name.substr(0, name.find_first_of(";]"));
}
template <std::size_t... numbers>
constexpr auto Names(std::index_sequence<numbers...>) {
    return std::array{Name<static_cast<TraceEvent>(numbers)>()...};
}

// A number never gets a second meaning. A new event is added to its block's sum here; anything else that changes one is
// a mistake.
TEST(Contracts, NumbersOfTheTraceEvents) {
    constexpr auto kNames = Names(std::make_index_sequence<1200>());
    std::array<std::uint32_t, 12> sums{};
    for (std::uint32_t number = 0; number < kNames.size(); ++number) {
        std::uint32_t hash = kNames[number].empty() ? 0 : number;
        for (const char letter : kNames[number]) {
            hash = (hash ^ static_cast<unsigned char>(letter)) * 16777619U;
        }
        sums[number / 100] += hash;
    }
    EXPECT_EQ(sums, (std::array<std::uint32_t, 12>{0, 4102547189, 3048168880, 682195782, 4212072992, 3974643570,
                                                   4048070283, 3715863207, 2310724366, 1409909429, 1793086873, 0}));
}

struct CThing final : IVaneBaseImpl<CVaneThreadSafeRefCount, ISample, kISampleId, kSampleId> {
    explicit CThing(int& count) : deletions(count) {}
    ~CThing() override {
        ++deletions;
        AddRef();  // as a call made while the object is torn down would
        Release();
    }
    int& deletions;
};

TEST(VaneBase, ObjectAnswersToItsInterfacesAndIsDeletedOnce_WhateverTheThread) {
    int deletions = 0;
    VaneRef<ISample> first(new CThing(deletions));
    for (const InterfaceId& id : {kIVaneBaseId, kISampleId, kSampleId}) {
        VaneRef<ISample> found;
        EXPECT_EQ(Query(*first, id, found), VaneResult::Success);
        EXPECT_EQ(found.Get(), first.Get());
    }
    void* place = first.Get();
    EXPECT_EQ(first->QueryInterface(kOwnId, &place), VaneResult::NoInterface);
    EXPECT_EQ(place, nullptr);
    EXPECT_EQ(first->QueryInterface(kISampleId, nullptr), VaneResult::InvalidArgument);

    VaneRef<ISample> second = first;
    VaneRef<ISample> third = VaneRef<ISample>::Share(first.Get());
    second = std::move(third);
    first.Reset();
    EXPECT_EQ(deletions, 0);
    *second.Receive() = new CThing(deletions);
    EXPECT_EQ(deletions, 1);
    EXPECT_EQ(second.Detach()->Release(), 0u);
    EXPECT_EQ(deletions, 2);
    {
        std::vector<std::jthread> threads;
        const VaneRef<ISample> shared(new CThing(deletions));
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([mine = shared] {
                for (int round = 0; round < 2000; ++round) {
                    const VaneRef<ISample> again = mine;
                }
            });
        }
    }
    EXPECT_EQ(deletions, 3);
}

TEST(VaneBase, Count_NeitherWrapsNorComesBackFromZero) {
    constexpr std::uint32_t kMost = std::numeric_limits<std::uint32_t>::max();
    CVaneThreadSafeRefCount full(kMost - 1);
    EXPECT_EQ(full.Increase(), kMost);
    EXPECT_EQ(full.Increase(), kMost);
    EXPECT_EQ(full.Decrease().count, kMost);  // stuck: nobody knows any more how many references there are
    CVaneThreadSafeRefCount gone;
    EXPECT_TRUE(gone.Decrease().last);
    EXPECT_EQ(gone.Increase(), 0u);
    EXPECT_FALSE(gone.Decrease().last);
    EXPECT_EQ(gone.Decrease().count, 0u);
}

TEST(ComponentModule, ObjectsFactoriesAndLocks_AreCountedWhileTheyLive) {
    struct CThrowing : CSample {
        CThrowing() { throw std::bad_alloc(); }
    };
    constexpr ObjectId kThrowingId{2, 0, 0, {}}, kNullId{3, 0, 0, {}}, kBadId{4, 0, 0, {}};
    ComponentModule module{{{kSampleId, &MakeCounted<CSample>},
                            {kThrowingId, &MakeCounted<CThrowing>},
                            {kNullId, [](ModuleObjectCount&) -> IVaneBase* { return nullptr; }},
                            {kBadId, [](ModuleObjectCount&) -> IVaneBase* { throw std::runtime_error("no"); }}}};
    VaneRef<IFactory> factory;
    void* made = nullptr;
    ASSERT_EQ(module.GetFactory(kSampleId, factory.Receive()), VaneResult::Success);
    EXPECT_EQ(module.GetObjectCount(), 1u);
    ASSERT_EQ(factory->CreateInstance(kISampleId, &made), VaneResult::Success);
    EXPECT_EQ(module.GetObjectCount(), 2u);
    factory.Reset();
    VaneRef<ISample> sample(static_cast<ISample*>(made));
    EXPECT_EQ(module.GetObjectCount(), 1u);  // the object outlives its factory
    module.Count().Add();
    EXPECT_EQ(module.GetObjectCount(), 2u);
    module.Count().Remove();
    sample.Reset();
    const std::tuple<ObjectId, InterfaceId, VaneResult> failures[] = {
        {kSampleId, kIFactoryId, VaneResult::NoInterface},   {kThrowingId, kISampleId, VaneResult::OutOfMemory},
        {kNullId, kISampleId, VaneResult::OutOfMemory},      {kBadId, kISampleId, VaneResult::InternalFailure},
        {kOtherId, kISampleId, VaneResult::InvalidArgument},
    };
    for (const auto& [id, interfaceId, result] : failures) {
        made = &module;
        EXPECT_EQ(module.CreateInstance(id, interfaceId, &made), result);
        EXPECT_EQ(made, nullptr);
        EXPECT_EQ(module.CreateInstance(id, interfaceId, nullptr), VaneResult::InvalidArgument);
        EXPECT_EQ(module.GetObjectCount(), 0u);
    }
    auto* none = reinterpret_cast<IFactory*>(&module);
    EXPECT_EQ(module.GetFactory(kOtherId, &none), VaneResult::InvalidArgument);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(module.GetFactory(kSampleId, nullptr), VaneResult::InvalidArgument);
}

// What other people's modules may answer.
TEST(ComponentEntryPoints, AnswersOfForeignModules_AreNotTakenOnTrust) {
    const std::pair<GetFactoryFunction, VaneResult> rows[] = {
        {nullptr, VaneResult::InvalidArgument},
        {[](const ObjectId&, IFactory**) { return VaneResult::Success; }, VaneResult::InternalFailure},
        {[](const ObjectId&, IFactory**) -> VaneResult { throw std::bad_alloc(); }, VaneResult::OutOfMemory},
        {[](const ObjectId&, IFactory** factory) {
             *factory = reinterpret_cast<IFactory*>(0x10);
             return VaneResult::ModuleMissing;
         },
         VaneResult::ModuleMissing},
        {[](const ObjectId&, IFactory** factory) {
             *factory = new StubFactory;
             return VaneResult::Success;
         },
         VaneResult::InternalFailure},
    };
    for (const auto& [getFactory, result] : rows) {
        const ComponentEntryPoints points{getFactory, nullptr};
        void* made = &made;
        EXPECT_EQ(points.CreateInstance(kSampleId, kISampleId, &made), result);
        EXPECT_EQ(made, nullptr);
        EXPECT_EQ(points.CreateInstance(kSampleId, kISampleId, nullptr), VaneResult::InvalidArgument);
        EXPECT_EQ(points.GetFactory(kSampleId, nullptr), VaneResult::InvalidArgument);
    }
}

}  // namespace
}  // namespace tests
