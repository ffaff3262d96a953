// The arithmetic of the directory cache.
#include "token/pkcs15_dircache.h"
#include "token/sample_token.h"

namespace {

struct CacheTest : ::testing::Test {
    static ObjectReference reference(uint8_t id, uint32_t type = PKCS15_CERTIFICATES) {
        ObjectReference made{};
        made.objectType = type;
        made.objectId = id;
        return made;
    }
    void put(ObjectReference &ref) {
        const Octets octets = record(ref.objectId, {0xAB});
        pkcs15_DirCachePut(&cache, &ref, octets.data(), static_cast<uint32_t>(octets.size()));
    }
    uint32_t get(const ObjectReference &ref, uint32_t flags = FLAG_USE_CACHE) {
        length = sizeof buffer;
        return pkcs15_DirCacheGet(&cache, &ref, flags, buffer, &length);
    }
    ptrdiff_t slot_of(const ObjectReference &ref) const {
        return ref.cacheSlot - cache.slots;
    }

    DirectoryCache cache{};
    uint8_t buffer[PKCS15_MAX_RECORD];
    uint32_t length = 0;
};

TEST_F(CacheTest, LookupsThatMiss) {
    ObjectReference kept = reference(1);
    EXPECT_EQ(pkcs15_DirCacheGet(nullptr, &kept, FLAG_USE_CACHE, buffer, &length), PKCS15_E_FAILED);
    EXPECT_EQ(get(kept), PKCS15_E_FAILED);  // no slot
    put(kept);
    EXPECT_EQ(get(kept, FLAG_REFRESH_CACHE), PKCS15_E_FAILED);
    length = 2;
    EXPECT_EQ(pkcs15_DirCacheGet(&cache, &kept, FLAG_USE_CACHE, buffer, &length), PKCS15_E_BUFFER_TOO_SMALL);
    EXPECT_EQ(length, 2u);
    EXPECT_EQ(cache.reads, 3u);
    EXPECT_EQ(cache.hits, 0u);
    length = 3;
    EXPECT_EQ(pkcs15_DirCacheGet(&cache, &kept, FLAG_USE_CACHE, buffer, &length), 0u);
    EXPECT_EQ(to_hex(buffer, length), "0101AB");
    kept.cacheSlot->length = 0;
    EXPECT_EQ(get(kept), PKCS15_E_FAILED);
}

TEST_F(CacheTest, HitRateWrapsWhileStoresOutnumberHits) {
    LogCapture log;
    ObjectReference a = reference(1), b = reference(2);
    put(a);
    put(b);
    get(a, 0);
    get(a);  // reads 2, hits 1, writes 2: 100 * 0xFFFFFFFF / 2
    get(b);  // reads 3, hits 2, writes 2
    get(b);  // reads 4, hits 3, writes 2
    EXPECT_THAT(log.take(), ElementsAre("Debug PKCS#15 directory cache hit rate: 214748364750.00%",
                                        "Debug PKCS#15 directory cache hit rate: 0.00%",
                                        "Debug PKCS#15 directory cache hit rate: 25.00%"));
}

TEST_F(CacheTest, FillsInOrderThenReplacesTheOldestButKeepsSlotZero) {
    std::vector<ObjectReference> refs;
    for (uint8_t id = 1; id <= 31; ++id)
        refs.push_back(reference(id));
    for (size_t i = 0; i < 30; ++i) {
        put(refs[i]);
        EXPECT_EQ(slot_of(refs[i]), static_cast<ptrdiff_t>(i));
    }
    EXPECT_EQ(cache.slots[0].age, 0xFFFFFFFFu);
    EXPECT_EQ(cache.slots[1].age, 0xFFFFFFFFu - 28);
    EXPECT_EQ(cache.slots[29].age, 0xFFFFFFFFu);
    put(refs[30]);
    EXPECT_EQ(slot_of(refs[30]), 1);  // the second store's slot
    EXPECT_EQ(get(refs[0]), 0u);
    // The reference whose slot was taken over clears it, so the one that took it misses as well.
    EXPECT_EQ(get(refs[1]), PKCS15_E_FAILED);
    EXPECT_EQ(get(refs[30]), PKCS15_E_FAILED);
    EXPECT_EQ(cache.writes, 31u);
}

TEST_F(CacheTest, StoringAgainKeepsTheSlotExceptSlotZero) {
    ObjectReference first = reference(1), second = reference(2);
    put(first);
    put(second);
    put(second);
    EXPECT_EQ(slot_of(second), 1);
    put(first);
    EXPECT_EQ(slot_of(first), 2);
    EXPECT_EQ(cache.slots[0].length, 3u);  // the old copy stays
}

TEST_F(CacheTest, AHitMakesYoung) {
    std::vector<ObjectReference> refs;
    for (uint8_t id = 1; id <= 30; ++id)
        put(refs.emplace_back(reference(id)));
    EXPECT_EQ(get(refs[1]), 0u);
    ObjectReference more = reference(31);
    put(more);
    EXPECT_EQ(slot_of(more), 2);
}

TEST_F(CacheTest, SlotZeroIsTakenWhenAllOthersWereHit) {
    std::vector<ObjectReference> refs;
    for (uint8_t id = 1; id <= 30; ++id)
        put(refs.emplace_back(reference(id)));
    for (size_t i = 1; i < 30; ++i)
        EXPECT_EQ(get(refs[i]), 0u);
    ObjectReference more = reference(31);
    put(more);
    EXPECT_EQ(slot_of(more), 0);
}

TEST_F(CacheTest, PurgeEmptiesOneType) {
    ObjectReference certificate = reference(1), key = reference(1, PKCS15_PRIVATE_KEYS), late = reference(2);
    put(certificate);
    put(key);
    pkcs15_DirCachePurge(&cache, PKCS15_CERTIFICATES);
    EXPECT_EQ(get(certificate), PKCS15_E_FAILED);
    EXPECT_EQ(get(key), 0u);
    put(late);
    EXPECT_EQ(slot_of(late), 0);
    pkcs15_DirCachePurge(nullptr, 0);
    pkcs15_DirCachePut(nullptr, &late, buffer, 1);
}

}  // namespace
