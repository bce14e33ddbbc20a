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
    struct KzDictEntry *next;
} KzDictEntry;

typedef struct KzDictBucket {
    uint32_t entryCount;
    KzDictEntry *head;
} KzDictBucket;

typedef struct KzDict {
    uint32_t bucketCount; /* always 1024 */
    uint32_t headCount;
    KzDictBucket *buckets;
} KzDict;

/* (function declarations follow) */

#ifdef __cplusplus
}
#endif

#endif /* KZ_DICT_H */
