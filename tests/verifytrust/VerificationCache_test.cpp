#include "tslib/verifytrust/VerificationCache.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <string>
#include <thread>
#include <vector>

#include "tests/fakes/FailingNew.h"
#include "tests/fakes/FakeTextRules.h"
#include "tests/fakes/FakeTrace.h"

using namespace tests;
using namespace tsLib;
using platform::TraceLevel;

namespace {

struct Answer {
    TrustResult result;
    int extraFlag;
    bool conflict;
    bool operator==(const Answer&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Answer& answer) {
    return out << answer.result << " flag " << answer.extraFlag << (answer.conflict ? " conflict" : "");
}

class CacheTest : public testing::Test {
protected:
    Answer Lookup(std::u16string_view path, TrustLevel level, std::uint8_t a = 0, std::int32_t b = 0) {
        std::uint8_t extraFlag = 0xEE;
        bool conflict = true;
        const TrustResult result = cache.Lookup(path, level, a, extraFlag, b, conflict);
        return {result, extraFlag, conflict};
    }
    // Whether an entry is there, at level 3.
    bool Has(std::u16string_view path) { return Lookup(path, 3).result == TrustResult::Trusted; }
    void AddAll(std::initializer_list<const char16_t*> paths) {
        for (const char16_t* path : paths) {
            ASSERT_EQ(cache.Add(path, 3, 0, 0, 0), TrustResult::Trusted);
        }
    }

    FakeTextRules rules;
    FakeTrace trace;
    VerificationCache cache{rules, Tracer(trace)};
};

TEST_F(CacheTest, PathHash_KnownPaths_MatchesValuesComputedElsewhere) {
    EXPECT_EQ(VerificationCache::PathHash(rules, u""), 0u);
    EXPECT_EQ(VerificationCache::PathHash(rules, u"a"), 0x6CA2E9442u);
    EXPECT_EQ(VerificationCache::PathHash(rules, u"C:\\A.DLL"), 0xA2FCD6E00BB8DFF5u);
    EXPECT_EQ(VerificationCache::PathHash(rules, u"c:\\program files\\HALVORA\\zebshell2.dll"), 0x54D892F9FA982422u);
}

TEST_F(CacheTest, Lookup_StoredAgainstAskedLevel_FollowsTheTable) {
    struct Row {
        TrustLevel stored;
        std::string_view satisfied;  // asked levels 1 to 6: y yes, n no, c no with a conflict
    };
    const Row rows[] = {{1, "nnnnnn"}, {2, "ynnnnn"}, {3, "yyyccn"}, {4, "yycycn"}, {5, "yyccyn"}, {7, "yynnny"}};
    for (const Row& row : rows) {
        (void)cache.Clear();
        ASSERT_EQ(cache.Add(u"C:\\a.dll", row.stored, 0, 7, 0), TrustResult::Trusted);
        for (TrustLevel asked = 1; asked <= 6; ++asked) {
            const char expected = row.satisfied[asked - 1];
            const Answer answer = expected == 'y' ? Answer{TrustResult::Trusted, 7, false}
                                                  : Answer{TrustResult::NotTrusted, 0, expected == 'c'};
            EXPECT_EQ(Lookup(u"C:\\A.DLL", asked), answer) << "stored " << row.stored << " asked " << asked;
        }
    }
}

TEST_F(CacheTest, Lookup_OtherPathOrOptions_FindsNothing) {
    ASSERT_EQ(cache.Add(u"C:\\a.dll", 3, 1, 9, -2), TrustResult::Trusted);
    EXPECT_EQ(Lookup(u"C:\\a.dll", 3, 1, -2), (Answer{TrustResult::Trusted, 9, false}));
    const Answer missing{TrustResult::FileError, 0, false};
    EXPECT_EQ(Lookup(u"C:\\b.dll", 3, 1, -2), missing);
    EXPECT_EQ(Lookup(u"C:\\a.dll", 3, 0, -2), missing);
    EXPECT_EQ(Lookup(u"C:\\a.dll", 3, 1, 2), missing);
}

TEST_F(CacheTest, Add_EntryIsThere_RaisesLowLevelsAndSetsTheFlagOnce) {
    struct Row {
        TrustLevel first, second, kept;
    };
    for (const Row& row : {Row{1, 2, 2}, Row{1, 3, 3}, Row{2, 1, 2}, Row{2, 5, 5}, Row{1, 4, 4}, Row{3, 4, 3},
                           Row{4, 5, 4}, Row{5, 3, 5}}) {
        (void)cache.Clear();
        ASSERT_EQ(cache.Add(u"C:\\a", row.first, 0, 0, 0), TrustResult::Trusted);
        ASSERT_EQ(cache.Add(u"C:\\a", row.second, 0, 8, 0), TrustResult::Trusted);
        ASSERT_EQ(cache.Add(u"C:\\a", row.second, 0, 9, 0), TrustResult::Trusted);
        const TrustLevel probe = row.kept >= 3 ? row.kept : 1;
        EXPECT_EQ(Lookup(u"C:\\a", probe), (Answer{TrustResult::Trusted, 8, false})) << row.first << row.second;
        ASSERT_EQ(cache.Remove(u"C:\\a"), TrustResult::Trusted);
        EXPECT_EQ(Lookup(u"C:\\a", probe).result, TrustResult::FileError) << "a second entry was made";
    }
}

TEST_F(CacheTest, Add_OverTheMaximum_DropsTheLeastRecentlyUsed) {
    (void)cache.SetMaximum(2);
    AddAll({u"A", u"B"});
    EXPECT_EQ(Lookup(u"A", 4).result, TrustResult::NotTrusted);  // a refusal is a use, too
    AddAll({u"C"});
    EXPECT_TRUE(Has(u"A"));
    EXPECT_FALSE(Has(u"B"));
    EXPECT_TRUE(Has(u"C"));
    EXPECT_EQ(cache.GetMaximum(), 2u);
}

TEST_F(CacheTest, Lookup_WithoutMaximum_DoesNotReorder) {
    AddAll({u"A", u"B", u"C"});
    EXPECT_TRUE(Has(u"A"));
    (void)cache.SetMaximum(2);
    EXPECT_FALSE(Has(u"A"));
    EXPECT_TRUE(Has(u"B"));
    EXPECT_TRUE(Has(u"C"));
}

TEST_F(CacheTest, SetMaximum_Zero_EmptiesAndLeavesNoLimit) {
    AddAll({u"A", u"B", u"C", u"D", u"E", u"F", u"G", u"H", u"I", u"J"});
    EXPECT_EQ(cache.SetMaximum(0), TrustResult::Trusted);
    EXPECT_FALSE(Has(u"J"));
    AddAll({u"A", u"B", u"C"});
    EXPECT_TRUE(Has(u"A") && Has(u"B") && Has(u"C"));
}

TEST_F(CacheTest, Remove_SeveralOptions_TakesTheOldestWhateverItsOptions) {
    ASSERT_EQ(cache.Add(u"C:\\a", 3, 1, 0, 2), TrustResult::Trusted);
    ASSERT_EQ(cache.Add(u"C:\\a", 3, 0, 0, 0), TrustResult::Trusted);
    EXPECT_EQ(cache.Remove(u"c:\\A"), TrustResult::Trusted);
    EXPECT_EQ(Lookup(u"C:\\a", 3, 1, 2).result, TrustResult::FileError);
    EXPECT_EQ(Lookup(u"C:\\a", 3, 0, 0).result, TrustResult::Trusted);
    EXPECT_EQ(cache.Remove(u"C:\\a"), TrustResult::Trusted);
    EXPECT_EQ(cache.Remove(u"C:\\a"), TrustResult::InvalidArgument);
    EXPECT_EQ(trace.Count(TraceLevel::Warning), 1u);
}

TEST_F(CacheTest, InvalidArguments_AreRefusedAndTracedAsErrors) {
    std::uint8_t flag = 7;
    bool conflict = true;
    EXPECT_EQ(cache.Lookup({}, 3, 0, flag, 0, conflict), TrustResult::InvalidArgument);
    EXPECT_EQ(cache.Lookup(u"C:\\a", 0, 0, flag, 0, conflict), TrustResult::InvalidArgument);
    EXPECT_EQ(cache.Add(u"", 3, 0, 0, 0), TrustResult::InvalidArgument);
    EXPECT_EQ(cache.Add(u"C:\\a", 0, 0, 0, 0), TrustResult::InvalidArgument);
    EXPECT_EQ(cache.Remove(u""), TrustResult::InvalidArgument);
    EXPECT_EQ(trace.Count(TraceLevel::Error), 5u);
    EXPECT_EQ(flag, 7);
    EXPECT_TRUE(conflict);
}

TEST_F(CacheTest, Lookup_MissOrRefusal_IsTracedAsInformation) {
    AddAll({u"C:\\a"});
    (void)Lookup(u"C:\\b", 3);
    (void)Lookup(u"C:\\a", 4);
    ASSERT_EQ(trace.records.size(), 2u);
    EXPECT_EQ(trace.records[0].event, TraceEvent::CacheEntryMissing);
    EXPECT_EQ(trace.records[1].event, TraceEvent::CacheLevelUnsatisfied);
    EXPECT_EQ(trace.records[1].texts, std::vector<std::u16string>{u"C:\\a"});
    EXPECT_EQ(trace.records[1].numbers, std::vector<std::uint64_t>{4});
    EXPECT_EQ(trace.Count(TraceLevel::Information), 2u);
}

// The rules once more, over a plain queue without an index.
struct QueueModel {
    struct Entry {
        std::u16string path;
        std::int32_t level;
        std::uint8_t a, flag;
        std::int32_t b;
    };
    std::deque<Entry> queue;
    std::size_t maximum = 0;

    auto Find(const std::u16string& path, std::uint8_t a, std::int32_t b) {
        return std::find_if(queue.begin(), queue.end(),
                            [&](const Entry& e) { return e.path == path && e.a == a && e.b == b; });
    }
    TrustResult Lookup(const std::u16string& path, std::int32_t level, std::uint8_t a, std::int32_t b) {
        const auto found = Find(path, a, b);
        if (found == queue.end()) {
            return TrustResult::FileError;
        }
        const Entry entry = *found;
        if (maximum != 0) {
            queue.erase(found);
            queue.push_back(entry);
        }
        const bool satisfied = level < 3 ? entry.level > level : entry.level == level;
        return satisfied ? TrustResult::Trusted : TrustResult::NotTrusted;
    }
    void Add(const std::u16string& path, std::int32_t level, std::uint8_t a, std::int32_t b) {
        const auto found = Find(path, a, b);
        if (found != queue.end()) {
            if (found->level < 3 && level >= found->level) {
                found->level = level;
            }
            return;
        }
        queue.push_back({path, level, a, 0, b});
        if (maximum != 0 && queue.size() > maximum) {
            queue.pop_front();
        }
    }
    bool Remove(const std::u16string& path) {
        const auto found =
            std::find_if(queue.begin(), queue.end(), [&](const Entry& entry) { return entry.path == path; });
        if (found == queue.end()) {
            return false;
        }
        queue.erase(found);
        return true;
    }
    void SetMaximum(std::size_t count) {
        while (queue.size() > count) {
            queue.pop_front();
        }
        maximum = count;
    }
};

TEST_F(CacheTest, LongRunOfOperations_AgreesWithAPlainQueue) {
    QueueModel model;
    std::uint32_t random = 12345;
    const auto next = [&random](std::uint32_t bound) {
        random = random * 1664525u + 1013904223u;
        return (random >> 8) % bound;
    };
    for (int step = 0; step < 20000; ++step) {
        const std::u16string path(1, static_cast<char16_t>(u'a' + next(12)));
        const TrustLevel level = 1 + next(5);
        const auto a = static_cast<std::uint8_t>(next(2));
        const auto b = static_cast<std::int32_t>(next(2)) * 2;
        switch (next(8)) {
            case 0:
            case 1:
            case 2:
                ASSERT_EQ(cache.Add(path, level, a, 0, b), TrustResult::Trusted);
                model.Add(path, static_cast<std::int32_t>(level), a, b);
                break;
            case 3:
                ASSERT_EQ(cache.Remove(path) == TrustResult::Trusted, model.Remove(path)) << step;
                break;
            case 4:
                if (next(20) == 0) {
                    const std::uint32_t count = next(16);
                    (void)cache.SetMaximum(count);
                    model.SetMaximum(count);
                }
                break;
            default:
                ASSERT_EQ(Lookup(path, level, a, b).result, model.Lookup(path, static_cast<std::int32_t>(level), a, b))
                    << step;
        }
    }
}

TEST_F(CacheTest, SeveralThreads_StayWithinTheMaximum) {
    trace.enabled = false;
    constexpr std::uint32_t kMaximum = 8;
    const auto path = [](int i) { return u"C:\\" + std::u16string(1, static_cast<char16_t>(u'A' + i)); };
    (void)cache.SetMaximum(kMaximum);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 2000; ++i) {
                std::uint8_t flag = 0;
                bool conflict = false;
                (void)cache.Add(path((i * 7 + t) % 24), 3, 0, 1, 0);
                (void)cache.Lookup(path((i + t) % 24), 3, 0, flag, 0, conflict);
                if (i % 50 == 0) {
                    (void)cache.Remove(path(i % 24));
                    (void)cache.SetMaximum(kMaximum);
                    EXPECT_EQ(cache.GetMaximum(), kMaximum);
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    int kept = 0;
    for (int i = 0; i < 24; ++i) {
        kept += Has(path(i)) ? 1 : 0;
    }
    EXPECT_EQ(kept, 8);
}

TEST_F(CacheTest, Add_MemoryRunsOut_LeavesTheStoreAsItWas) {
    trace.enabled = false;
    (void)cache.SetMaximum(2);
    AddAll({u"A", u"B"});
    std::uint32_t failures = 0;
    for (std::uint32_t n = 1;; ++n) {
        TrustResult result;
        bool fired = false;
        {
            const FailingNew failing(n);
            result = cache.Add(u"C", 3, 0, 0, 0);
            fired = failing.Fired();
        }
        if (!fired) {
            EXPECT_EQ(result, TrustResult::Trusted);
            break;
        }
        ++failures;
        ASSERT_EQ(result, TrustResult::OutOfMemory);
        ASSERT_FALSE(Has(u"C")) << n;
        ASSERT_TRUE(Has(u"A") && Has(u"B")) << n;
        ASSERT_EQ(cache.Remove(u"C"), TrustResult::InvalidArgument) << n;
    }
    EXPECT_GE(failures, 3u);
    EXPECT_FALSE(Has(u"A"));
    EXPECT_TRUE(Has(u"B") && Has(u"C"));
}

}  // namespace
