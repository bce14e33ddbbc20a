// The context's string pool: one reference-counted copy per distinct text,
// so that holders can compare names by pointer.
//
// The 1024 chains are the pool's visible layout (their order and counts are
// kept exactly); lookups go through a side index instead of walking a chain,
// so that interning stays constant-time however many names a module brings.
#include <cstring>

#include "base/kz_dict.h"
#include "base/kz_kit.h"

// The side index: 1024 small open-addressed tables (shards) of the entries,
// keyed by a hash of their text that reads eight bytes at a time, and the tail
// of every chain. A lookup neither walks a chain nor computes the chain's own
// byte-at-a-time hash, which only a new entry needs. The tables are many and
// small so that each stays small (the C heap handles many small blocks better
// than a few huge ones that grow and go).
// A slot keeps bits of its entry's hash beside the pointer: probing compares
// them without touching entries, and a table grows without reading any.
struct KzDictSlot {
    KzDictEntry *entry;
    uint32_t tag;
};

struct KzDictShard {
    KzDictSlot *slots;    // null until the shard's first entry
    uint32_t capacity;    // 0, or a power of two
    uint32_t used;
};

struct KzDictIndex {
    KzDictShard shards[KZ_DICT_BUCKET_COUNT];
    KzDictEntry *tails[KZ_DICT_BUCKET_COUNT];
    bool freeInBulk;  // see kz::base::DictFreeInBulk
};

namespace {

constexpr uint32_t kFirstCapacity = 4;
constexpr uint32_t kShardBits = 10;
static_assert(KZ_DICT_BUCKET_COUNT == 1u << kShardBits, "one shard per chain");

bool Usable(const KzDict *dict)
{
    return dict != nullptr && dict->buckets != nullptr && dict->bucketCount != 0 && dict->index != nullptr;
}

// A text's place in the side index: its shard, and the tag that picks the
// slot within it and tells most other texts apart.
struct Key {
    const char *text;
    size_t length;
    uint32_t shard;
    uint32_t tag;
};

Key KeyOf(const char *s)
{
    constexpr uint64_t kMul = 0x9E3779B97F4A7C15u;
    const size_t len = strlen(s);
    uint64_t h = len * kMul;
    size_t i = 0;
    for (; i + sizeof(uint64_t) <= len; i += sizeof(uint64_t)) {
        uint64_t w;
        memcpy(&w, s + i, sizeof(w));
        h = (h ^ w) * kMul;
        h = (h << 29) | (h >> 35);
    }
    uint64_t tail = 0;
    for (size_t shift = 0; i < len; i++, shift += 8) {
        tail |= static_cast<uint64_t>(static_cast<unsigned char>(s[i])) << shift;
    }
    h ^= tail;
    h ^= h >> 33;
    h *= 0xFF51AFD7ED558CCDu;
    h ^= h >> 33;
    return Key{s, len, static_cast<uint32_t>(h) & (KZ_DICT_BUCKET_COUNT - 1), static_cast<uint32_t>(h >> 32)};
}

uint32_t HomeSlot(const KzDictShard *shard, uint32_t tag)
{
    return tag & (shard->capacity - 1);
}

// Slot holding the entry for the key's text, or the empty slot where it would
// go; null when the shard has no table yet.  Most texts removed, and many
// inserted, are the interned copy itself, which needs no comparison.
KzDictSlot *FindSlot(const KzDictShard *shard, const Key &key)
{
    if (shard->capacity == 0) {
        return nullptr;
    }
    uint32_t mask = shard->capacity - 1;
    for (uint32_t i = HomeSlot(shard, key.tag);; i = (i + 1) & mask) {
        KzDictSlot *slot = &shard->slots[i];
        if (slot->entry == nullptr ||
            (slot->tag == key.tag &&
             (slot->entry->text == key.text || strcmp(slot->entry->text, key.text) == 0))) {
            return slot;
        }
    }
}

void PlaceSlot(KzDictShard *shard, const KzDictSlot &slot)
{
    uint32_t mask = shard->capacity - 1;
    uint32_t i = HomeSlot(shard, slot.tag);
    while (shard->slots[i].entry != nullptr) {
        i = (i + 1) & mask;
    }
    shard->slots[i] = slot;
}

// Keeps the table at most half full; false when it cannot grow.
bool ReserveOneMore(KzDictShard *shard)
{
    if ((shard->used + 1) * 2 <= shard->capacity) {
        return true;
    }
    uint32_t oldCapacity = shard->capacity;
    uint32_t newCapacity = oldCapacity == 0 ? kFirstCapacity : oldCapacity * 2;
    KzDictSlot *old = shard->slots;
    KzDictSlot *grown = kz::ZeroAlloc<KzDictSlot>(newCapacity);
    if (grown == nullptr) {
        return false;
    }
    shard->slots = grown;
    shard->capacity = newCapacity;
    for (uint32_t i = 0; i < oldCapacity; ++i) {
        if (old[i].entry != nullptr) {
            PlaceSlot(shard, old[i]);
        }
    }
    KZ_MemFree(old);
    return true;
}

// Empties a slot and moves later members of its probe run back so that no
// lookup stops early at the hole.
void ClearSlot(KzDictShard *shard, KzDictSlot *slot)
{
    uint32_t mask = shard->capacity - 1;
    uint32_t hole = static_cast<uint32_t>(slot - shard->slots);
    shard->slots[hole].entry = nullptr;
    for (uint32_t i = (hole + 1) & mask; shard->slots[i].entry != nullptr; i = (i + 1) & mask) {
        uint32_t home = HomeSlot(shard, shard->slots[i].tag);
        // The entry may fill the hole when its home is not in (hole, i].
        bool homeAfterHole = ((i - home) & mask) < ((i - hole) & mask);
        if (!homeAfterHole) {
            shard->slots[hole] = shard->slots[i];
            shard->slots[i].entry = nullptr;
            hole = i;
        }
    }
    shard->used--;
    if (shard->used == 0) {
        // An emptied shard holds no block, as before it had any entry.
        KZ_MemFree(shard->slots);
        shard->slots = nullptr;
        shard->capacity = 0;
    }
}

void AppendToChain(KzDict *dict, KzDictBucket *bucket, KzDictEntry **tail, KzDictEntry *entry)
{
    entry->next = nullptr;
    entry->prev = *tail;
    if (*tail == nullptr) {
        bucket->head = entry;
        dict->headCount++;
    } else {
        (*tail)->next = entry;
    }
    *tail = entry;
}

void UnlinkFromChain(KzDict *dict, KzDictBucket *bucket, KzDictEntry **tail, KzDictEntry *entry)
{
    if (entry->prev == nullptr) {
        bucket->head = entry->next;
        // Dropped whenever a head goes, even if the chain stays non-empty.
        dict->headCount--;
    } else {
        entry->prev->next = entry->next;
    }
    if (entry->next == nullptr) {
        *tail = entry->prev;
    } else {
        entry->next->prev = entry->prev;
    }
    bucket->entryCount--;
}

// Frees entries (and their texts when withTexts) that lie anywhere in memory:
// each entry and text is asked for some steps ahead, so that their cache
// misses overlap instead of following one another as along a chain.
void FreeEntries(KzDictEntry *const *entries, uint32_t count, bool withTexts)
{
    constexpr uint32_t kEntriesAhead = 16;
    constexpr uint32_t kTextsAhead = 8;
    for (uint32_t i = 0; i < count && i < kEntriesAhead; ++i) {
        __builtin_prefetch(entries[i], 1);
    }
    for (uint32_t i = 0; i < count; ++i) {
        if (i + kEntriesAhead < count) {
            __builtin_prefetch(entries[i + kEntriesAhead], 1);
        }
        if (withTexts && i + kTextsAhead < count) {
            __builtin_prefetch(entries[i + kTextsAhead]->text, 1);
        }
        if (withTexts) {
            KZ_MemFree(entries[i]->text);
        }
        KZ_MemFree(entries[i]);
    }
}

// Frees every entry, in batches gathered from the side index's tables, which
// are read in address order, and the tables themselves.
void FreeIndexedEntries(KzDictIndex *index, bool withTexts)
{
    constexpr uint32_t kBatch = 256;
    KzDictEntry *batch[kBatch];
    uint32_t count = 0;
    for (KzDictShard &shard : index->shards) {
        for (uint32_t i = 0; i < shard.capacity; ++i) {
            if (shard.slots[i].entry == nullptr) {
                continue;
            }
            batch[count++] = shard.slots[i].entry;
            if (count == kBatch) {
                FreeEntries(batch, count, withTexts);
                count = 0;
            }
        }
        KZ_MemFree(shard.slots);
        shard = KzDictShard{};
    }
    FreeEntries(batch, count, withTexts);
}

}  // namespace

extern "C" {

uint32_t KZ_DICT_Init(KzDict *dict)
{
    if (dict == nullptr) {
        return KZ_ERR;
    }
    auto *buckets = kz::ZeroAlloc<KzDictBucket>(KZ_DICT_BUCKET_COUNT);
    auto *index = kz::ZeroAlloc<KzDictIndex>();
    if (buckets == nullptr || index == nullptr) {
        KZ_MemFree(buckets);
        KZ_MemFree(index);
        return KZ_ERR;
    }
    dict->bucketCount = KZ_DICT_BUCKET_COUNT;
    dict->headCount = 0;
    dict->buckets = buckets;
    dict->index = index;
    return KZ_OK;
}

uint32_t KZ_DICT_HashVal(const char *s)
{
    uint32_t h = 0;
    if (s == nullptr) {
        return h;
    }
    for (; *s != '\0'; ++s) {
        // Bytes count as signed: 0x80 and above add a negative number.
        h += static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(*s)));
        h += h << 10;
        h ^= h >> 6;
    }
    h += h << 3;
    h ^= h >> 11;
    h += h << 15;
    return h;
}

const char *KZ_DICT_Insert(KzDict *dict, const char *s)
{
    if (s == nullptr || !Usable(dict)) {
        return nullptr;
    }
    const Key key = KeyOf(s);
    KzDictShard *shard = &dict->index->shards[key.shard];
    KzDictSlot *slot = FindSlot(shard, key);
    if (slot != nullptr && slot->entry != nullptr) {
        slot->entry->refCount++;
        return slot->entry->text;
    }
    uint32_t hash = KZ_DICT_HashVal(s);
    uint32_t chain = hash & (dict->bucketCount - 1);
    KzDictBucket *bucket = &dict->buckets[chain];
    // Counted before allocating and not taken back on failure: the counts are
    // part of the dictionary's visible layout, which embedders read as it has
    // always been kept, and nothing in the library decides by them.
    bucket->entryCount++;
    if (!ReserveOneMore(shard)) {
        return nullptr;
    }
    auto *entry = static_cast<KzDictEntry *>(KZ_MemMalloc(sizeof(KzDictEntry)));
    if (entry == nullptr) {
        return nullptr;
    }
    entry->text = kz::DupText(s, key.length);
    if (entry->text == nullptr) {
        KZ_MemFree(entry);
        return nullptr;
    }
    entry->refCount = 1;
    entry->hash = hash;
    AppendToChain(dict, bucket, &dict->index->tails[chain], entry);
    PlaceSlot(shard, KzDictSlot{entry, key.tag});
    shard->used++;
    return entry->text;
}

void KZ_DICT_Remove(KzDict *dict, const char *s)
{
    if (s == nullptr || !Usable(dict) || dict->index->freeInBulk) {
        return;
    }
    const Key key = KeyOf(s);
    KzDictShard *shard = &dict->index->shards[key.shard];
    KzDictSlot *slot = FindSlot(shard, key);
    KzDictEntry *e = slot != nullptr ? slot->entry : nullptr;
    if (e == nullptr || --e->refCount != 0) {
        return;
    }
    ClearSlot(shard, slot);
    const uint32_t chain = e->hash & (dict->bucketCount - 1);
    UnlinkFromChain(dict, &dict->buckets[chain], &dict->index->tails[chain], e);
    KZ_MemFree(e->text);
    KZ_MemFree(e);
}

void KZ_DICT_Destroy(KzDict *dict)
{
    if (dict == nullptr || dict->buckets == nullptr) {
        return;
    }
    // Copies still referenced stay with their holders, unless the holders
    // were told not to drop them; entries go in any case.
    if (dict->index != nullptr) {
        FreeIndexedEntries(dict->index, dict->index->freeInBulk);
        KZ_MemFree(dict->index);
        dict->index = nullptr;
    }
    KZ_MemFree(dict->buckets);
    dict->buckets = nullptr;
}

}  // extern "C"

namespace kz::base {

void DictFreeInBulk(KzDict *dict)
{
    if (Usable(dict)) {
        dict->index->freeInBulk = true;
    }
}

}  // namespace kz::base
