/* Resolved types of leaves, leaf-lists and typedefs, and their constraint records. */
#ifndef KZT_TYPE_H
#define KZT_TYPE_H

#include "korla.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Built-in base types (KztBaseType). */
enum {
    KZT_BASE_DERIVED = 0,
    KZT_BASE_BINARY = 1,
    KZT_BASE_BITS = 2,
    KZT_BASE_BOOLEAN = 3,
    KZT_BASE_DECIMAL64 = 4,
    KZT_BASE_EMPTY = 5,
    KZT_BASE_ENUMERATION = 6,
    KZT_BASE_IDENTITYREF = 7,
    KZT_BASE_INSTANCE_ID = 8,
    KZT_BASE_INT8 = 9,
    KZT_BASE_INT16 = 10,
    KZT_BASE_INT32 = 11,
    KZT_BASE_INT64 = 12,
    KZT_BASE_LEAFREF = 13,
    KZT_BASE_STRING = 14,
    KZT_BASE_UINT8 = 15,
    KZT_BASE_UINT16 = 16,
    KZT_BASE_UINT32 = 17,
    KZT_BASE_UINT64 = 18,
    KZT_BASE_UNION = 19,
    KZT_BASE_INVALID = 20
};
typedef uint32_t KztBaseType;

/* Constraint kinds (KztConsType). */
enum {
    KZT_CONS_DERIVED = 0,
    KZT_CONS_BASE = 1,
    KZT_CONS_BIT = 2,
    KZT_CONS_ENUM = 3,
    KZT_CONS_FRACTION = 4,
    KZT_CONS_LENGTH = 5,
    KZT_CONS_PATH = 6,
    KZT_CONS_PATTERN = 7,
    KZT_CONS_RANGE = 8,
    KZT_CONS_UNION = 9,
    KZT_CONS_KIND_COUNT = 10
};
typedef uint32_t KztConsType;

typedef struct KztTypeConstraint {
    KztConsType consType;
    void *consData; /* the kind's ConsData body, owned by the entry */
} KztTypeConstraint;

struct KztRealType {
    KztBaseType baseType;
    uint16_t rngLenFlags;
    uint16_t consCount;
    KztTypeConstraint *constraints;
};

/* Body of a kind-0 (derived) constraint. */
typedef struct KztConsDataDerived {
    const char *modName;      /* interned: module defining the typedef */
    const char *tdefName;     /* interned: typedef name */
    KztRealType *tdefRealType; /* not owned; null until resolved */
} KztConsDataDerived;

/* Uniform form of one range part. */
typedef struct SegInt64 {
    int64_t start; /* read as uint64_t when flag 2 is set */
    int64_t end;
    uint32_t flags; /* 1 signed, 2 unsigned, 4 start min, 8 start max, 16 end min, 32 end max */
} SegInt64;

/* (function declarations of the type layer follow) */

#ifdef __cplusplus
}
#endif

#endif /* KZT_TYPE_H */
