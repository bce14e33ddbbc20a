// The context's string pool: one reference-counted copy per distinct text,
// so that holders can compare names by pointer.
//
// The 1024 chains are the pool's visible layout (their order and counts are
// kept exactly); lookups go through a side index instead of walking a chain,
// so that interning stays constant-time however many names a module brings.
#include <cstring>

#include "base/kz_dict.h"
#include "base/kz_kit.h"

// For every chain, an open-addressed table of its entries keyed by their hash,
// and the chain's tail, so that neither a lookup nor an append walks it. The
// tables are per chain so that each stays small (the C heap handles many small
// blocks better than a few huge ones that grow and go).
// A slot keeps its entry's hash beside the pointer: probing compares hashes
// without touching entries.
struct KzDictSlot {
    KzDictEntry *entry;
    uint32_t hash;
};

struct KzDictChainIndex {
    KzDictSlot *slots;    // null until the chain's first entry
    uint32_t capacity;    // 0, or a power of two
    uint32_t used;
    KzDictEntry *tail;
};

struct KzDictIndex {
    KzDictChainIndex chains[KZ_DICT_BUCKET_COUNT];
};

namespace {

constexpr uint32_t kFirstCapacity = 4;

bool Usable(const KzDict *dict)
{
    return dict != nullptr && dict->buckets != nullptr && dict->bucketCount != 0 && dict->index != nullptr;
}

// The low bits of the hash chose the chain; the table takes the others.
uint32_t HomeSlot(const KzDictChainIndex *index, uint32_t hash)
{
    return (hash >> 10) & (index->capacity - 1);
}

// Slot holding the entry for s, or the empty slot where it would go; null when
// the chain has no table yet.  Most texts removed, and many inserted, are the
// interned copy itself, which needs no comparison.
KzDictSlot *FindSlot(const KzDictChainIndex *index, const char *s, uint32_t hash)
{
    if (index->capacity == 0) {
        return nullptr;
    }
    uint32_t mask = index->capacity - 1;
    for (uint32_t i = HomeSlot(index, hash);; i = (i + 1) & mask) {
        KzDictSlot *slot = &index->slots[i];
        if (slot->entry == nullptr ||
            (slot->hash == hash && (slot->entry->text == s || strcmp(slot->entry->text, s) == 0))) {
            return slot;
        }
    }
}

void PlaceSlot(KzDictChainIndex *index, const KzDictSlot &slot)
{
    uint32_t mask = index->capacity - 1;
    uint32_t i = HomeSlot(index, slot.hash);
    while (index->slots[i].entry != nullptr) {
        i = (i + 1) & mask;
    }
    index->slots[i] = slot;
}

// Keeps the table at most half full; false when it cannot grow.
bool ReserveOneMore(KzDictChainIndex *index)
{
    if ((index->used + 1) * 2 <= index->capacity) {
        return true;
    }
    uint32_t oldCapacity = index->capacity;
    uint32_t newCapacity = oldCapacity == 0 ? kFirstCapacity : oldCapacity * 2;
    KzDictSlot *old = index->slots;
    KzDictSlot *grown = kz::ZeroAlloc<KzDictSlot>(newCapacity);
    if (grown == nullptr) {
        return false;
    }
    index->slots = grown;
    index->capacity = newCapacity;
    // Moved by the hashes the slots keep: growing touches no entry.
    for (uint32_t i = 0; i < oldCapacity; ++i) {
        if (old[i].entry != nullptr) {
            PlaceSlot(index, old[i]);
        }
    }
    KZ_MemFree(old);
    return true;
}

// Empties a slot and moves later members of its probe run back so that no
// lookup stops early at the hole.
void ClearSlot(KzDictChainIndex *index, KzDictSlot *slot)
{
    uint32_t mask = index->capacity - 1;
    uint32_t hole = static_cast<uint32_t>(slot - index->slots);
    index->slots[hole].entry = nullptr;
    for (uint32_t i = (hole + 1) & mask; index->slots[i].entry != nullptr; i = (i + 1) & mask) {
        uint32_t home = HomeSlot(index, index->slots[i].hash);
        // The entry may fill the hole when its home is not in (hole, i].
        bool homeAfterHole = ((i - home) & mask) < ((i - hole) & mask);
        if (!homeAfterHole) {
            index->slots[hole] = index->slots[i];
            index->slots[i].entry = nullptr;
            hole = i;
        }
    }
    index->used--;
}

void AppendToChain(KzDict *dict, KzDictBucket *bucket, KzDictChainIndex *index, KzDictEntry *entry)
{
    entry->next = nullptr;
    entry->prev = index->tail;
    if (index->tail == nullptr) {
        bucket->head = entry;
        dict->headCount++;
    } else {
        index->tail->next = entry;
    }
    index->tail = entry;
}

void UnlinkFromChain(KzDict *dict, KzDictBucket *bucket, KzDictChainIndex *index, KzDictEntry *entry)
{
    if (entry->prev == nullptr) {
        bucket->head = entry->next;
        // Dropped whenever a head goes, even if the chain stays non-empty.
        dict->headCount--;
    } else {
        entry->prev->next = entry->next;
    }
    if (entry->next == nullptr) {
        index->tail = entry->prev;
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
    uint32_t hash = KZ_DICT_HashVal(s);
    uint32_t chain = hash & (dict->bucketCount - 1);
    KzDictChainIndex *index = &dict->index->chains[chain];
    KzDictSlot *slot = FindSlot(index, s, hash);
    if (slot != nullptr && slot->entry != nullptr) {
        slot->entry->refCount++;
        return slot->entry->text;
    }
    KzDictBucket *bucket = &dict->buckets[chain];
    // Counted before allocating and not taken back on failure: the counts are
    // part of the dictionary's visible layout, which embedders read as it has
    // always been kept, and nothing in the library decides by them.
    bucket->entryCount++;
    if (!ReserveOneMore(index)) {
        return nullptr;
    }
    auto *entry = static_cast<KzDictEntry *>(KZ_MemMalloc(sizeof(KzDictEntry)));
    if (entry == nullptr) {
        return nullptr;
    }
    entry->text = kz::DupText(s);
    if (entry->text == nullptr) {
        KZ_MemFree(entry);
        return nullptr;
    }
    entry->refCount = 1;
    entry->hash = hash;
    AppendToChain(dict, bucket, index, entry);
    PlaceSlot(index, KzDictSlot{entry, hash});
    index->used++;
    return entry->text;
}

void KZ_DICT_Remove(KzDict *dict, const char *s)
{
    if (s == nullptr || !Usable(dict)) {
        return;
    }
    uint32_t hash = KZ_DICT_HashVal(s);
    uint32_t chain = hash & (dict->bucketCount - 1);
    KzDictChainIndex *index = &dict->index->chains[chain];
    KzDictSlot *slot = FindSlot(index, s, hash);
    KzDictEntry *e = slot != nullptr ? slot->entry : nullptr;
    if (e == nullptr || --e->refCount != 0) {
        return;
    }
    ClearSlot(index, slot);
    if (index->used == 0) {
        // An emptied chain holds no block, as before it had any entry.
        KZ_MemFree(index->slots);
        index->slots = nullptr;
        index->capacity = 0;
    }
    UnlinkFromChain(dict, &dict->buckets[chain], index, e);
    KZ_MemFree(e->text);
    KZ_MemFree(e);
}

void KZ_DICT_Destroy(KzDict *dict)
{
    if (dict == nullptr || dict->buckets == nullptr) {
        return;
    }
    // Copies still referenced stay with their holders; only entries go.
    for (uint32_t i = 0; i < dict->bucketCount; ++i) {
        KzDictEntry *e = dict->buckets[i].head;
        while (e != nullptr) {
            KzDictEntry *next = e->next;
            KZ_MemFree(e);
            e = next;
        }
    }
    KZ_MemFree(dict->buckets);
    dict->buckets = nullptr;
    if (dict->index != nullptr) {
        for (KzDictChainIndex &index : dict->index->chains) {
            KZ_MemFree(index.slots);
        }
        KZ_MemFree(dict->index);
        dict->index = nullptr;
    }
}

}  // extern "C"
