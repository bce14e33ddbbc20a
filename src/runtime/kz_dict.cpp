// The context's string pool: one reference-counted copy per distinct text,
// so that holders can compare names by pointer.
//
// The 1024 chains are the pool's visible layout (their order and counts are
// kept exactly); lookups go through a side index instead of walking a chain,
// so that interning stays constant-time however many names a module brings.
#include <cstring>

#include "runtime/kz_dict.h"
#include "runtime/kz_mem.h"

// Open-addressed table of the entries, keyed by their hash, plus the tail of
// every chain so that appending does not walk it either.
struct KzDictIndex {
    KzDictEntry *tails[KZ_DICT_BUCKET_COUNT];
    KzDictEntry **slots;
    uint32_t capacity;  // a power of two
    uint32_t used;
};

namespace {

constexpr uint32_t kFirstCapacity = 2048;

bool Usable(const KzDict *dict)
{
    return dict != nullptr && dict->buckets != nullptr && dict->bucketCount != 0 && dict->index != nullptr;
}

// The chain hash keeps only its low bits in the bucket number; the index
// spreads all of them.
uint32_t HomeSlot(const KzDictIndex *index, uint32_t hash)
{
    return (hash * 0x9E3779B1u) & (index->capacity - 1);
}

KzDictEntry **AllocSlots(uint32_t capacity)
{
    size_t bytes = static_cast<size_t>(capacity) * sizeof(KzDictEntry *);
    auto *slots = static_cast<KzDictEntry **>(KZ_MemMalloc(bytes));
    if (slots != nullptr) {
        memset(slots, 0, bytes);
    }
    return slots;
}

// Slot holding the entry for s, or the empty slot where it would go.
KzDictEntry **FindSlot(const KzDictIndex *index, const char *s, uint32_t hash)
{
    uint32_t mask = index->capacity - 1;
    for (uint32_t i = HomeSlot(index, hash);; i = (i + 1) & mask) {
        KzDictEntry *e = index->slots[i];
        if (e == nullptr || (e->hash == hash && strcmp(e->text, s) == 0)) {
            return &index->slots[i];
        }
    }
}

void PlaceEntry(KzDictIndex *index, KzDictEntry *entry)
{
    uint32_t mask = index->capacity - 1;
    uint32_t i = HomeSlot(index, entry->hash);
    while (index->slots[i] != nullptr) {
        i = (i + 1) & mask;
    }
    index->slots[i] = entry;
}

// Keeps the table at most half full; false when it cannot grow.
bool ReserveOneMore(KzDictIndex *index)
{
    if ((index->used + 1) * 2 <= index->capacity) {
        return true;
    }
    uint32_t oldCapacity = index->capacity;
    KzDictEntry **old = index->slots;
    KzDictEntry **grown = AllocSlots(oldCapacity * 2);
    if (grown == nullptr) {
        return false;
    }
    index->slots = grown;
    index->capacity = oldCapacity * 2;
    for (uint32_t i = 0; i < oldCapacity; ++i) {
        if (old[i] != nullptr) {
            PlaceEntry(index, old[i]);
        }
    }
    KZ_MemFree(old);
    return true;
}

// Empties a slot and moves later members of its probe run back so that no
// lookup stops early at the hole.
void ClearSlot(KzDictIndex *index, KzDictEntry **slot)
{
    uint32_t mask = index->capacity - 1;
    uint32_t hole = static_cast<uint32_t>(slot - index->slots);
    index->slots[hole] = nullptr;
    for (uint32_t i = (hole + 1) & mask; index->slots[i] != nullptr; i = (i + 1) & mask) {
        uint32_t home = HomeSlot(index, index->slots[i]->hash);
        // The entry may fill the hole when its home is not in (hole, i].
        bool homeAfterHole = ((i - home) & mask) < ((i - hole) & mask);
        if (!homeAfterHole) {
            index->slots[hole] = index->slots[i];
            index->slots[i] = nullptr;
            hole = i;
        }
    }
    index->used--;
}

void AppendToChain(KzDict *dict, KzDictBucket *bucket, KzDictEntry *entry)
{
    KzDictEntry **tail = &dict->index->tails[bucket - dict->buckets];
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

void UnlinkFromChain(KzDict *dict, KzDictBucket *bucket, KzDictEntry *entry)
{
    if (entry->prev == nullptr) {
        bucket->head = entry->next;
        // Dropped whenever a head goes, even if the chain stays non-empty.
        dict->headCount--;
    } else {
        entry->prev->next = entry->next;
    }
    if (entry->next == nullptr) {
        dict->index->tails[bucket - dict->buckets] = entry->prev;
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
    size_t bytes = KZ_DICT_BUCKET_COUNT * sizeof(KzDictBucket);
    auto *buckets = static_cast<KzDictBucket *>(KZ_MemMalloc(bytes));
    auto *index = static_cast<KzDictIndex *>(KZ_MemMalloc(sizeof(KzDictIndex)));
    KzDictEntry **slots = AllocSlots(kFirstCapacity);
    if (buckets == nullptr || index == nullptr || slots == nullptr) {
        KZ_MemFree(buckets);
        KZ_MemFree(index);
        KZ_MemFree(slots);
        return KZ_ERR;
    }
    memset(buckets, 0, bytes);
    memset(index->tails, 0, sizeof(index->tails));
    index->slots = slots;
    index->capacity = kFirstCapacity;
    index->used = 0;
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
    KzDictEntry **slot = FindSlot(dict->index, s, hash);
    if (*slot != nullptr) {
        (*slot)->refCount++;
        return (*slot)->text;
    }
    KzDictBucket *bucket = &dict->buckets[hash & (dict->bucketCount - 1)];
    // Counted before allocating and not taken back on failure (kept as is:
    // nothing reads the count for decisions).
    bucket->entryCount++;
    if (!ReserveOneMore(dict->index)) {
        return nullptr;
    }
    auto *entry = static_cast<KzDictEntry *>(KZ_MemMalloc(sizeof(KzDictEntry)));
    if (entry == nullptr) {
        return nullptr;
    }
    entry->text = KZ_UTL_StrDup(s);
    if (entry->text == nullptr) {
        KZ_MemFree(entry);
        return nullptr;
    }
    entry->refCount = 1;
    entry->hash = hash;
    AppendToChain(dict, bucket, entry);
    PlaceEntry(dict->index, entry);
    dict->index->used++;
    return entry->text;
}

void KZ_DICT_Remove(KzDict *dict, const char *s)
{
    if (s == nullptr || !Usable(dict)) {
        return;
    }
    uint32_t hash = KZ_DICT_HashVal(s);
    KzDictEntry **slot = FindSlot(dict->index, s, hash);
    KzDictEntry *e = *slot;
    if (e == nullptr || --e->refCount != 0) {
        return;
    }
    ClearSlot(dict->index, slot);
    UnlinkFromChain(dict, &dict->buckets[hash & (dict->bucketCount - 1)], e);
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
        KZ_MemFree(dict->index->slots);
        KZ_MemFree(dict->index);
        dict->index = nullptr;
    }
}

}  // extern "C"
