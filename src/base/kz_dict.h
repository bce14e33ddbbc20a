/* The context's reference-counted string dictionary. */
#ifndef KZ_DICT_H
#define KZ_DICT_H

#include "korla.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct KzDictEntry {
    char *text;
    uint32_t refCount;
    uint32_t hash;             /* KZ_DICT_HashVal(text), whose low bits pick the chain */
    struct KzDictEntry *next;
    struct KzDictEntry *prev;  /* chain predecessor, so a remove walks nothing */
} KzDictEntry;

typedef struct KzDictBucket {
    uint32_t entryCount;
    KzDictEntry *head;
} KzDictBucket;

typedef struct KzDict {
    uint32_t bucketCount; /* always 1024 */
    uint32_t headCount;
    KzDictBucket *buckets;
    struct KzDictIndex *index; /* finds an entry without walking its chain */
} KzDict;

#define KZ_DICT_BUCKET_COUNT 1024u

/* 0, or 1 when the buckets cannot be allocated. */
KZ_API uint32_t KZ_DICT_Init(KzDict *dict);
KZ_API uint32_t KZ_DICT_HashVal(const char *s);
/* Interns s; equal texts share the returned pointer.  NULL for NULL s or on
 * allocation failure.  Each insert is matched by one KZ_DICT_Remove. */
KZ_API const char *KZ_DICT_Insert(KzDict *dict, const char *s);
/* Drops one reference; unknown strings are ignored. */
KZ_API void KZ_DICT_Remove(KzDict *dict, const char *s);
/* Frees the entry records and buckets (not copies still referenced). */
KZ_API void KZ_DICT_Destroy(KzDict *dict);

#ifdef __cplusplus
}

namespace kz::base {

/* For a dictionary about to be destroyed with everything that holds its texts:
 * from now on KZ_DICT_Remove does nothing, and KZ_DICT_Destroy frees every
 * text at once instead of each holder dropping its references one by one. */
void DictFreeInBulk(KzDict *dict);

/* Drops one reference of an interned text and clears the holder. */
inline void DictDrop(KzDict *dict, const char *&s)
{
    if (s != nullptr) {
        KZ_DICT_Remove(dict, s);
        s = nullptr;
    }
}

/* Interns src (when present) into dst; false when the insertion failed. */
inline bool DictPut(KzDict *dict, const char *&dst, const char *src)
{
    if (src == nullptr) {
        dst = nullptr;
        return true;
    }
    dst = KZ_DICT_Insert(dict, src);
    return dst != nullptr;
}

}  // namespace kz::base
#endif

#endif /* KZ_DICT_H */
