// The context's string pool: one reference-counted copy per distinct text,
// so that holders can compare names by pointer.
#include <cstring>

#include "runtime/kz_dict.h"
#include "runtime/kz_mem.h"

namespace {

KzDictBucket *BucketOf(KzDict *dict, const char *s)
{
    return &dict->buckets[KZ_DICT_HashVal(s) & (dict->bucketCount - 1)];
}

bool Usable(const KzDict *dict)
{
    return dict != nullptr && dict->buckets != nullptr && dict->bucketCount != 0;
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
    if (buckets == nullptr) {
        return KZ_ERR;
    }
    memset(buckets, 0, bytes);
    dict->bucketCount = KZ_DICT_BUCKET_COUNT;
    dict->headCount = 0;
    dict->buckets = buckets;
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
    KzDictBucket *bucket = BucketOf(dict, s);
    KzDictEntry *last = nullptr;
    for (KzDictEntry *e = bucket->head; e != nullptr; e = e->next) {
        if (strcmp(e->text, s) == 0) {
            e->refCount++;
            return e->text;
        }
        last = e;
    }
    // Counted before allocating and not taken back on failure (kept as is:
    // nothing reads the count for decisions).
    bucket->entryCount++;
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
    entry->next = nullptr;
    if (last == nullptr) {
        bucket->head = entry;
        dict->headCount++;
    } else {
        last->next = entry;
    }
    return entry->text;
}

void KZ_DICT_Remove(KzDict *dict, const char *s)
{
    if (s == nullptr || !Usable(dict)) {
        return;
    }
    KzDictBucket *bucket = BucketOf(dict, s);
    KzDictEntry *prev = nullptr;
    for (KzDictEntry *e = bucket->head; e != nullptr; prev = e, e = e->next) {
        if (strcmp(e->text, s) != 0) {
            continue;
        }
        if (--e->refCount != 0) {
            return;
        }
        if (prev == nullptr) {
            bucket->head = e->next;
            // Dropped whenever a head goes, even if the chain stays non-empty.
            dict->headCount--;
        } else {
            prev->next = e->next;
        }
        bucket->entryCount--;
        KZ_MemFree(e->text);
        KZ_MemFree(e);
        return;
    }
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
}

}  // extern "C"
