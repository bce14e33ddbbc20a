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
// A slot is eight bytes: the entry's number in the pool below and bits of its
// hash, which probing compares without touching entries and by which a table
// grows without reading any. Small slots keep the tables of a module with
// hundreds of thousands of names in the cache.
struct KzDictSlot {
    uint32_t id;   // 0: empty
    uint32_t tag;
};

struct KzDictShard {
    KzDictSlot *slots;    // null until the shard's first entry
    uint32_t capacity;    // 0, or a power of two
    uint32_t used;
};

// The entries, in chunks of equal size and numbered from 1, so that a slot
// needs no pointer and a destroy frees chunks instead of every entry. A freed
// entry has no text and keeps the number of the next freed one in its hash;
// the chunks go when the last entry does, as an emptied dictionary holds no
// blocks beyond its fixed ones.
struct KzDictPool {
    KzDictEntry **chunks;
    uint32_t chunkCount;
    uint32_t chunkCapacity;
    uint32_t handedOut;  // entries 1..handedOut have been in use
    uint32_t freed;      // the last freed entry, 0 when none
    uint32_t live;       // entries in use
};

struct KzDictIndex {
    KzDictShard shards[KZ_DICT_BUCKET_COUNT];
    KzDictEntry *tails[KZ_DICT_BUCKET_COUNT];
    KzDictPool pool;
    bool freeInBulk;  // see kz::base::DictFreeInBulk
};

namespace {

constexpr uint32_t kFirstCapacity = 4;
constexpr uint32_t kShardBits = 10;
constexpr uint32_t kChunkBits = 10;
constexpr uint32_t kChunkEntries = 1u << kChunkBits;
static_assert(KZ_DICT_BUCKET_COUNT == 1u << kShardBits, "one shard per chain");

KzDictEntry *EntryAt(const KzDictPool &pool, uint32_t id)
{
    return &pool.chunks[(id - 1) >> kChunkBits][(id - 1) & (kChunkEntries - 1)];
}

bool AddChunk(KzDictPool &pool)
{
    if (pool.chunkCount == pool.chunkCapacity) {
        const uint32_t capacity = pool.chunkCapacity == 0 ? 8 : pool.chunkCapacity * 2;
        if (capacity > UINT32_MAX / kChunkEntries) {
            return false;
        }
        auto *chunks = kz::ZeroAlloc<KzDictEntry *>(capacity);
        if (chunks == nullptr) {
            return false;
        }
        if (pool.chunkCount != 0) {
            std::memcpy(chunks, pool.chunks, pool.chunkCount * sizeof(KzDictEntry *));
        }
        KZ_MemFree(pool.chunks);
        pool.chunks = chunks;
        pool.chunkCapacity = capacity;
    }
    auto *chunk = static_cast<KzDictEntry *>(KZ_MemMalloc(kChunkEntries * sizeof(KzDictEntry)));
    if (chunk == nullptr) {
        return false;
    }
    pool.chunks[pool.chunkCount++] = chunk;
    return true;
}

// A free entry and its number (0 when out of memory).
uint32_t TakeEntry(KzDictPool &pool)
{
    if (pool.freed != 0) {
        const uint32_t id = pool.freed;
        pool.freed = EntryAt(pool, id)->hash;
        pool.live++;
        return id;
    }
    if (pool.handedOut == pool.chunkCount * kChunkEntries && !AddChunk(pool)) {
        return 0;
    }
    pool.live++;
    return ++pool.handedOut;
}

void FreePool(KzDictPool &pool)
{
    for (uint32_t c = 0; c < pool.chunkCount; ++c) {
        KZ_MemFree(pool.chunks[c]);
    }
    KZ_MemFree(pool.chunks);
    pool = KzDictPool{};
}

void ReturnEntry(KzDictPool &pool, uint32_t id)
{
    if (--pool.live == 0) {
        FreePool(pool);
        return;
    }
    KzDictEntry *e = EntryAt(pool, id);
    e->text = nullptr;
    e->hash = pool.freed;
    pool.freed = id;
}

// Frees the texts still held by entries, in the order the entries were made,
// which is near the order the texts were: each text is asked for some entries
// ahead so that the misses of a dictionary larger than the cache overlap.
void FreeEntryTexts(const KzDictPool &pool)
{
    constexpr uint32_t kAhead = 8;
    for (uint32_t c = 0; c < pool.chunkCount; ++c) {
        KzDictEntry *chunk = pool.chunks[c];
        const uint32_t count = c + 1 < pool.chunkCount ? kChunkEntries : pool.handedOut - c * kChunkEntries;
        for (uint32_t i = 0; i < count; ++i) {
            if (i + kAhead < count && chunk[i + kAhead].text != nullptr) {
                __builtin_prefetch(chunk[i + kAhead].text, 1);
            }
            KZ_MemFree(chunk[i].text);
        }
    }
}

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
KzDictSlot *FindSlot(const KzDictShard *shard, const KzDictPool &pool, const Key &key)
{
    if (shard->capacity == 0) {
        return nullptr;
    }
    uint32_t mask = shard->capacity - 1;
    for (uint32_t i = HomeSlot(shard, key.tag);; i = (i + 1) & mask) {
        KzDictSlot *slot = &shard->slots[i];
        if (slot->id == 0) {
            return slot;
        }
        if (slot->tag == key.tag) {
            const char *text = EntryAt(pool, slot->id)->text;
            if (text == key.text || strcmp(text, key.text) == 0) {
                return slot;
            }
        }
    }
}

void PlaceSlot(KzDictShard *shard, const KzDictSlot &slot)
{
    uint32_t mask = shard->capacity - 1;
    uint32_t i = HomeSlot(shard, slot.tag);
    while (shard->slots[i].id != 0) {
        i = (i + 1) & mask;
    }
    shard->slots[i] = slot;
}

// Keeps the table at most three quarters full (its tags spare most probes a
// look at the entry); false when it cannot grow.
bool ReserveOneMore(KzDictShard *shard)
{
    if ((shard->used + 1) * 4 <= shard->capacity * 3) {
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
        if (old[i].id != 0) {
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
    shard->slots[hole].id = 0;
    for (uint32_t i = (hole + 1) & mask; shard->slots[i].id != 0; i = (i + 1) & mask) {
        uint32_t home = HomeSlot(shard, shard->slots[i].tag);
        // The entry may fill the hole when its home is not in (hole, i].
        bool homeAfterHole = ((i - home) & mask) < ((i - hole) & mask);
        if (!homeAfterHole) {
            shard->slots[hole] = shard->slots[i];
            shard->slots[i].id = 0;
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
    KzDictIndex *index = dict->index;
    const Key key = KeyOf(s);
    KzDictShard *shard = &index->shards[key.shard];
    KzDictSlot *slot = FindSlot(shard, index->pool, key);
    if (slot != nullptr && slot->id != 0) {
        KzDictEntry *found = EntryAt(index->pool, slot->id);
        found->refCount++;
        return found->text;
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
    const uint32_t id = TakeEntry(index->pool);
    if (id == 0) {
        return nullptr;
    }
    KzDictEntry *entry = EntryAt(index->pool, id);
    entry->text = kz::DupText(s, key.length);
    if (entry->text == nullptr) {
        ReturnEntry(index->pool, id);
        return nullptr;
    }
    entry->refCount = 1;
    entry->hash = hash;
    AppendToChain(dict, bucket, &index->tails[chain], entry);
    PlaceSlot(shard, KzDictSlot{id, key.tag});
    shard->used++;
    return entry->text;
}

void KZ_DICT_Remove(KzDict *dict, const char *s)
{
    if (s == nullptr || !Usable(dict) || dict->index->freeInBulk) {
        return;
    }
    KzDictIndex *index = dict->index;
    const Key key = KeyOf(s);
    KzDictShard *shard = &index->shards[key.shard];
    KzDictSlot *slot = FindSlot(shard, index->pool, key);
    if (slot == nullptr || slot->id == 0) {
        return;
    }
    const uint32_t id = slot->id;
    KzDictEntry *e = EntryAt(index->pool, id);
    if (--e->refCount != 0) {
        return;
    }
    ClearSlot(shard, slot);
    const uint32_t chain = e->hash & (dict->bucketCount - 1);
    UnlinkFromChain(dict, &dict->buckets[chain], &index->tails[chain], e);
    KZ_MemFree(e->text);
    ReturnEntry(index->pool, id);
}

void KZ_DICT_Destroy(KzDict *dict)
{
    if (dict == nullptr || dict->buckets == nullptr) {
        return;
    }
    // Copies still referenced stay with their holders, unless the holders
    // were told not to drop them; entries go in any case.
    if (dict->index != nullptr) {
        if (dict->index->freeInBulk) {
            FreeEntryTexts(dict->index->pool);
        }
        FreePool(dict->index->pool);
        for (KzDictShard &shard : dict->index->shards) {
            KZ_MemFree(shard.slots);
        }
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
