#include <gtest/gtest.h>

#include <limits>
#include <thread>
#include <vector>

#include "tslib/IVaneBaseImpl.h"
#include "tslib/VaneRef.h"

namespace tests {
namespace {

using namespace tsLib;

constexpr InterfaceId kThingId{1, 2, 3, {4}};
constexpr InterfaceId kOtherThingId{1, 2, 3, {5}};
constexpr InterfaceId kUnknownId{1, 2, 3, {6}};

class IThing : public IVaneBase {
public:
    virtual int Number() noexcept = 0;

protected:
    ~IThing() = default;
};

class Thing final : public IVaneBaseImpl<CVaneThreadSafeRefCount, IThing, kThingId, kOtherThingId> {
public:
    explicit Thing(int& deletions) : deletions_(deletions) {}
    ~Thing() override {
        ++deletions_;
        AddRef();  // as a call made while the object is torn down would
        Release();
    }
    int Number() noexcept override { return 7; }

private:
    int& deletions_;
};

TEST(VaneBase, QueryInterface_GivesACountedPointerForEachOfItsInterfaces) {
    int deletions = 0;
    const VaneRef<IThing> thing(new Thing(deletions));
    for (const InterfaceId& id : {kIVaneBaseId, kThingId, kOtherThingId}) {
        VaneRef<IThing> found;
        EXPECT_EQ(Query(*thing, id, found), VaneResult::Success);
        EXPECT_EQ(found->Number(), 7);
        EXPECT_EQ(thing->AddRef(), 3u);
        EXPECT_EQ(thing->Release(), 2u);
    }
    void* place = thing.Get();
    EXPECT_EQ(thing->QueryInterface(kUnknownId, &place), VaneResult::NoInterface);
    EXPECT_EQ(place, nullptr);
    EXPECT_EQ(thing->QueryInterface(kThingId, nullptr), VaneResult::InvalidArgument);
    EXPECT_EQ(deletions, 0);
}

TEST(VaneBase, LastReference_DeletesOnce) {
    int deletions = 0;
    VaneRef<IThing> first(new Thing(deletions));
    VaneRef<IThing> second = first;
    VaneRef<IThing> third = VaneRef<IThing>::Share(first.Get());
    second = std::move(third);
    first.Reset();
    EXPECT_EQ(deletions, 0);
    *second.Receive() = new Thing(deletions);
    EXPECT_EQ(deletions, 1);
    IThing* const detached = second.Detach();
    EXPECT_EQ(deletions, 1);
    EXPECT_EQ(detached->Release(), 0u);
    EXPECT_EQ(deletions, 2);
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

TEST(VaneBase, ThreadsThatShareAnObject_DeleteItOnce) {
    int deletions = 0;
    {
        VaneRef<IThing> thing(new Thing(deletions));
        std::vector<std::jthread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([mine = thing] {
                for (int round = 0; round < 2000; ++round) {
                    const VaneRef<IThing> again = mine;
                }
            });
        }
        thing.Reset();
    }
    EXPECT_EQ(deletions, 1);
}

}  // namespace
}  // namespace tests
