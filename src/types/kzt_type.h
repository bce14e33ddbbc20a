/* Resolved types of leaves, leaf-lists and typedefs, and their constraint records. */
#ifndef KZT_TYPE_H
#define KZT_TYPE_H

#include "korla.h"
#include "base/kz_dict.h"

#include <libxml/tree.h>

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

/* SegInt64 flags. */
#define KZT_SEGF_SIGNED    0x1u
#define KZT_SEGF_UNSIGNED  0x2u
#define KZT_SEGF_START_MIN 0x4u
#define KZT_SEGF_START_MAX 0x8u
#define KZT_SEGF_END_MIN   0x10u
#define KZT_SEGF_END_MAX   0x20u
#define KZT_SEGF_MINMAX    (KZT_SEGF_START_MIN | KZT_SEGF_START_MAX | KZT_SEGF_END_MIN | KZT_SEGF_END_MAX)

/* Per-type flags of rngLenFlags: a range or length restriction was parsed. */
#define KZT_RNGLEN_PARSED        0x1u
#define KZT_RNGLEN_EXPLICIT      0x2u /* enforced as written */
#define KZT_RNGLEN_PARENT_MINMAX 0x4u /* derived type using "min"/"max" */

/* Sub-element marks OR-ed into an element's _private word while counting.
 * 0x100 is never assigned. */
#define KZT_MARK_BASE     0x1u
#define KZT_MARK_BIT      0x2u
#define KZT_MARK_ENUM     0x4u
#define KZT_MARK_FRACTION 0x8u
#define KZT_MARK_LENGTH   0x10u
#define KZT_MARK_PATH     0x20u
#define KZT_MARK_PATTERN  0x40u
#define KZT_MARK_RANGE    0x80u
#define KZT_MARK_UNION    0x200u

/* Counter array of a type parse: one per kind, then the number of distinct kinds. */
#define KZT_TYPE_COUNTER_DISTINCT KZT_CONS_KIND_COUNT
#define KZT_TYPE_COUNTER_NUM      (KZT_CONS_KIND_COUNT + 1)

typedef struct KztValCheckCtx KztValCheckCtx; /* defined in types/kzt_cons.h */

/* Argument handed to a kind's fill-all function. */
typedef struct KztConsFillArg {
    KztRealType *realType;
    KztTypeConstraint *entry;
    uint16_t count; /* number of sub-elements of the kind */
} KztConsFillArg;

/* Per-kind operations. */
typedef void *(*KztConsCreateBodyFunc)(uint16_t segCount);
typedef void *(*KztConsCopyBodyFunc)(KzDict *dict, const void *src);
typedef void (*KztConsDestroyBodyFunc)(KzDict *dict, void *body);
typedef uint32_t (*KztConsFillAllSegFunc)(KzCtx *ctx, KzMod *mod, xmlNode *typeElem, KztConsFillArg *arg);
typedef uint32_t (*KztConsCheckFunc)(void *body, uint32_t inputKind, const void *input, KztValCheckCtx *chk);
typedef uint32_t (*KztConsScanNameValueFunc)(const void *body, KzTypeNameValueCb cb, void *arg);
typedef uint32_t (*KztConsScanStartEndFunc)(const void *body, KztBaseType baseType, KzTypeStartEndCb cb,
                                            void *arg);
typedef uint32_t (*KztConsUpdateDerFromFunc)(void *body, KzMod *mod);
/* Restriction of a built-in type; value is a plain string (may be null). */
typedef uint32_t (*KztBaseTypeCheckFunc)(KztBaseType baseType, const char *value, KztValCheckCtx *chk);

/* Dispatchers: null for an index out of range or a kind without the operation. */
KZ_API KztConsCreateBodyFunc KZT_CONS_GetConsDataCreateBodyFunc(KztConsType kind);
KZ_API KztConsCopyBodyFunc KZT_CONS_GetConsDataCopyBodyFunc(KztConsType kind);
KZ_API KztConsDestroyBodyFunc KZT_CONS_GetConsDataDestroyBodyFunc(KztConsType kind);
KZ_API KztConsCheckFunc KZT_CONS_GetConsDataValueRestricationCheckFunc(KztConsType kind);
KZ_API KztConsScanNameValueFunc KZT_CONS_GetConsDataScanNameValueFunc(KztConsType kind);
KZ_API KztConsScanStartEndFunc KZT_CONS_GetConsDataScanStartEndFunc(KztConsType kind);
KZ_API KztConsUpdateDerFromFunc KZT_CONS_GetConsDataUpdateDerFromModFunc(KztConsType kind);
KZ_API KztBaseTypeCheckFunc KZT_CONS_GetBaseTypeDefRestrictCheckFunc(KztBaseType baseType);

/* Real type arrays, copy and destroy (dict: the context's dictionary). */
KZ_API uint32_t KZT_TYPE_ExpandConstraintArray(KztRealType *realType, uint16_t count);
KZ_API KztRealType *KZT_TYPE_CopyNytRealType(KzDict *dict, const KztRealType *src);
KZ_API uint32_t KZT_TYPE_CopyNytRealTypeInner(KzDict *dict, KztRealType *dst, const KztRealType *src);
KZ_API void KZT_TYPE_DestroyNytRealType(KzDict *dict, KztRealType *realType);
KZ_API void KZT_TYPE_DestroyNytRealTypeInner(KzDict *dict, KztRealType *realType);
KZ_API void KZT_TYPE_DestroyTypeConstraintArray(KzDict *dict, KztRealType *realType);
/* Returns a copy of the entry's body, or null (also for a missing body). */
KZ_API void *KZT_CONS_CopyOneConsData(KzDict *dict, const KztTypeConstraint *entry);
KZ_API void KZT_CONS_DestroyOneConsData(KzDict *dict, KztTypeConstraint *entry);

/* Queries. */
KZ_API void *KZT_TYPE_GetTypeConsDataByConsType(const KztRealType *realType, KztConsType kind);
KZ_API KztConsDataDerived *KZT_TYPE_GetTypeConsDataDerived(const KztRealType *realType);
KZ_API uint8_t KZT_TYPE_GetTypeConsDataFractionVal(const KztRealType *realType);
/* Typedef name of a derived type (module name through modName), or null. */
KZ_API const char *KZT_TYPE_GetInheritedTypDefName(const KztRealType *realType, const char **modName);
KZ_API uint32_t KZT_TYPE_IsTypeWithIdentref(const KztRealType *realType);
KZ_API uint32_t KZT_TYPE_IsInvalidType(const KztRealType *realType);

/* Binds the kind-0 references of mod's own typedefs (recursing into unions). */
KZ_API uint32_t KZT_TYPE_UpdateRealTypeDerivedFrom(KztRealType *realType, KzMod *mod);

/* Input kinds: KZ_VAL_INPUT_STRING or KZ_VAL_INPUT_XMLNODE (text content);
 * any other kind gives null. */
KZ_API const char *KZT_TYPE_GetInputValueAsSimpleStr(uint32_t inputKind, const void *input);
KZ_API uint32_t KZT_TYPE_CheckBaseTypeSystemRestriction(KztBaseType baseType, uint32_t inputKind, const void *input,
                                                        KztValCheckCtx *chk);

#ifdef __cplusplus
}
#endif

#endif /* KZT_TYPE_H */
