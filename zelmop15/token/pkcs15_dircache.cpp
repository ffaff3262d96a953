// The directory cache: 30 records of directory files, found through the references that point at their slots.
#include "token/pkcs15_dircache.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr uint32_t just_used = 0xFFFFFFFF;
constexpr uint32_t debug_level = 6;

bool belongs_to(const DirectoryCacheSlot &slot, const ObjectReference &reference) {
    return slot.objectType == reference.objectType && slot.objectId == reference.objectId;
}

// As long as the stores outnumber the hits the difference wraps and the rate is huge.
void log_hit_rate(const DirectoryCache &cache) {
    const uint32_t surplus = cache.hits - cache.writes;
    const double rate = cache.reads != 0 ? 100.0 * surplus / cache.reads : 0.0;
    pkcs15_LogMessage(debug_level, "PKCS#15 directory cache hit rate: %.2f%%", rate);
}

// The slot for a record, which ages the others by one. Slot 0 neither ages nor is recognised by its key.
DirectoryCacheSlot &choose_slot(DirectoryCache &cache, const ObjectReference &reference) {
    DirectoryCacheSlot *chosen = &cache.slots[0];
    uint32_t lowest = chosen->age;
    for (DirectoryCacheSlot *slot = cache.slots + 1; slot != std::end(cache.slots); ++slot) {
        if (belongs_to(*slot, reference)) {
            chosen = slot;
            lowest = 0;
        } else if (slot->age < lowest) {
            chosen = slot;
            lowest = slot->age;
        }
        if (slot->age != 0)
            --slot->age;
    }
    return *chosen;
}

}  // namespace

extern "C" {

uint32_t pkcs15_DirCacheGet(DirectoryCache *cache, const ObjectReference *reference, uint32_t flags, uint8_t *buffer,
                            uint32_t *length) {
    if (cache == nullptr)
        return PKCS15_E_FAILED;
    ++cache->reads;
    DirectoryCacheSlot *slot = reference->cacheSlot;
    if ((flags & FLAG_USE_CACHE) == 0 || slot == nullptr || slot->length == 0)
        return PKCS15_E_FAILED;
    if (!belongs_to(*slot, *reference)) {
        slot->length = 0;  // the other record goes as well
        return PKCS15_E_FAILED;
    }
    if (slot->length > *length)
        return PKCS15_E_BUFFER_TOO_SMALL;
    std::copy_n(slot->data, slot->length, buffer);
    slot->age = just_used;
    *length = slot->length;
    ++cache->hits;
    log_hit_rate(*cache);
    return 0;
}

void pkcs15_DirCachePut(DirectoryCache *cache, ObjectReference *reference, const uint8_t *data, uint32_t length) {
    if (cache == nullptr)
        return;
    ++cache->writes;
    DirectoryCacheSlot &slot = choose_slot(*cache, *reference);
    slot.age = just_used;
    slot.objectType = reference->objectType;
    slot.objectId = reference->objectId;
    slot.length = std::min<uint32_t>(length, sizeof slot.data);
    std::copy_n(data, slot.length, slot.data);
    reference->cacheSlot = &slot;
}

void pkcs15_DirCachePurge(DirectoryCache *cache, uint32_t objectType) {
    if (cache == nullptr)
        return;
    for (DirectoryCacheSlot &slot : cache->slots) {
        if (slot.objectType == objectType) {
            slot.age = 0;
            slot.length = 0;
        }
    }
}
}
