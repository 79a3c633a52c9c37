#include "tslib/verifytrust/VerificationCache.h"

#include <gtest/gtest.h>

#include <deque>

#include "tests/fakes/FailingNew.h"
#include "tests/fakes/FakePlatform.h"

namespace tests {
namespace {

using tsLib::TraceEvent, tsLib::TrustLevel, tsLib::TrustResult, tsLib::VerificationCache;
using enum TrustResult;
using Answer = std::tuple<TrustResult, int, bool>;  // with the extra flag and whether levels conflict

class CacheTest : public testing::Test, public FakePlatform {
protected:
    Answer Lookup(std::u16string_view path, TrustLevel level, std::uint8_t a = 0, std::int32_t b = 0) {
        std::uint8_t flag = 0xEE;
        bool conflict = true;
        const TrustResult result = cache.Lookup(path, level, a, flag, b, conflict);
        return {result, flag, conflict};
    }
    bool Has(std::u16string_view path, std::uint8_t a = 0) { return Lookup(path, 3, a) == Answer(Trusted, 0, false); }

    VerificationCache cache{textRules, trace};
};

TEST_F(CacheTest, PathHash_KnownPaths_MatchesValuesComputedElsewhere) {
    EXPECT_EQ(VerificationCache::PathHash(textRules, u""), 0u);
    EXPECT_EQ(VerificationCache::PathHash(textRules, u"a"), 0x6CA2E9442u);
    EXPECT_EQ(VerificationCache::PathHash(textRules, u"C:\\A.DLL"), 0xA2FCD6E00BB8DFF5u);
    EXPECT_EQ(VerificationCache::PathHash(textRules, u"c:\\program files\\HALVORA\\zebshell2.dll"),
              0x54D892F9FA982422u);
}

// Levels stored (rows) against levels asked (columns), 1 to 7: y satisfied, n not, c not with a conflict.
constexpr std::string_view kSatisfied[] = {"nnnnnnn", "ynnnnnn", "yyyccnn", "yycycnn", "yyccynn", "yynnnnn", "yynnnyn"};

// The rules once more, over a plain queue of lower-case paths: no hash, no index.
struct PlainCache {
    struct Entry {
        char16_t path;
        TrustLevel level;
        std::uint8_t a, flag;
        std::int32_t b;
    };
    std::deque<Entry> queue;
    std::uint32_t maximum = 0;

    auto Find(const Entry& asked) {
        return std::ranges::find_if(
            queue, [&](const Entry& e) { return e.path == asked.path && e.a == asked.a && e.b == asked.b; });
    }
    Answer Lookup(const Entry& asked) {
        const auto found = Find(asked);
        if (found == queue.end()) {
            return {FileError, 0, false};
        }
        const Entry entry = *found;
        if (maximum != 0) {
            queue.erase(found);
            queue.push_back(entry);
        }
        const char satisfied = kSatisfied[entry.level - 1][asked.level - 1];
        return satisfied == 'y' ? Answer(Trusted, entry.flag, false) : Answer(NotTrusted, 0, satisfied == 'c');
    }
    void Add(const Entry& added) {
        if (const auto found = Find(added); found != queue.end()) {
            found->level = found->level < 3 ? std::max(found->level, added.level) : found->level;
            found->flag = found->flag != 0 ? found->flag : added.flag;
            return;
        }
        queue.push_back(added);
        if (maximum != 0 && queue.size() > maximum) {
            queue.pop_front();
        }
    }
    bool Remove(char16_t path) {
        const auto found = std::ranges::find(queue, path, &Entry::path);
        return found != queue.end() && (queue.erase(found), true);
    }
    void SetMaximum(std::uint32_t count) {
        while (queue.size() > count) {
            queue.pop_front();
        }
        maximum = count;
    }
};

TEST_F(CacheTest, LongRunOfOperations_AgreesWithAPlainQueue) {
    trace.enabled = false;
    PlainCache plain;
    std::uint32_t random = 12345;
    const auto next = [&random](std::uint32_t bound) {
        random = random * 1664525u + 1013904223u;
        return (random >> 8) % bound;
    };
    for (int step = 0; step < 40000; ++step) {
        const PlainCache::Entry e{static_cast<char16_t>(u'a' + next(12)), 1 + next(7),
                                  static_cast<std::uint8_t>(next(2)), static_cast<std::uint8_t>(next(3)),
                                  static_cast<std::int32_t>(2 * next(2))};
        const std::u16string path(1, static_cast<char16_t>(e.path - 32 * next(2)));  // in either letter case
        if (const std::uint32_t operation = next(160); operation == 0) {
            ASSERT_EQ(cache.Clear(), Trusted);
            plain.queue.clear();
        } else if (operation < 3) {
            plain.SetMaximum(next(16));
            ASSERT_EQ(cache.SetMaximum(plain.maximum), Trusted);
        } else if (operation < 20) {
            ASSERT_EQ(cache.Remove(path), plain.Remove(e.path) ? Trusted : InvalidArgument) << step;
        } else if (operation < 80) {
            ASSERT_EQ(cache.Add(path, e.level, e.a, e.flag, e.b), Trusted);
            plain.Add(e);
        } else {
            ASSERT_EQ(Lookup(path, e.level, e.a, e.b), plain.Lookup(e)) << step;
        }
        ASSERT_EQ(cache.GetMaximum(), plain.maximum) << step;
    }
}

TEST_F(CacheTest, InvalidArgumentMissOrRefusal_IsTracedByItsWeight) {
    std::uint8_t flag = 7;
    bool conflict = true;
    EXPECT_EQ(cache.Lookup({}, 3, 0, flag, 0, conflict), InvalidArgument);
    EXPECT_EQ(cache.Lookup(u"a", 0, 0, flag, 0, conflict), InvalidArgument);
    EXPECT_EQ(std::pair(+flag, conflict), std::pair(7, true));
    EXPECT_EQ(cache.Add(u"", 3, 0, 0, 0), InvalidArgument);
    EXPECT_EQ(cache.Add(u"a", 0, 0, 0, 0), InvalidArgument);
    EXPECT_EQ(cache.Remove(u""), InvalidArgument);
    EXPECT_EQ(cache.Add(u"a", 3, 0, 0, 0), Trusted);
    (void)Lookup(u"b", 3);
    (void)Lookup(u"a", 4);
    (void)cache.Remove(u"b");
    EXPECT_EQ(trace.Count(TraceEvent::CacheArgumentInvalid), 5u);
    EXPECT_EQ(trace.Count(TraceEvent::CacheLevelUnsatisfied), 1u);
    EXPECT_EQ(trace.Count(TraceEvent::CacheEntryMissing), 2u);
    EXPECT_EQ(trace.Count(TraceLevel::Information), 2u);  // the removal is a warning
}

TEST_F(CacheTest, Add_MemoryRunsOut_LeavesTheStoreAsItWas) {
    trace.enabled = false;
    (void)cache.Add(u"A", 3, 0, 0, 0);
    for (const char16_t* path : {u"C", u"A"}) {  // new, and with an entry under other options
        std::uint32_t n = 0;
        for (TrustResult result = OutOfMemory; result == OutOfMemory;) {
            {
                const FailingNew failing(++n);
                result = cache.Add(path, 3, 1, 0, 0);
            }
            ASSERT_EQ(Has(path, 1), result == Trusted) << n;
            ASSERT_TRUE(Has(u"A")) << n;
        }
        EXPECT_GE(n, 3u) << "allocations";
    }
    EXPECT_TRUE(cache.Remove(u"C") == Trusted && cache.Remove(u"C") == InvalidArgument);
}

}  // namespace
}  // namespace tests
