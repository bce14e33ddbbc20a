/* Constraint bodies of every kind, the value-check context, and the per-kind
 * create/copy/destroy/fill/check operations. */
#ifndef KZT_CONS_H
#define KZT_CONS_H

#include "korla.h"
#include "base/kz_dict.h"
#include "base/kz_kit.h"
#include "types/kzt_type.h"

#include <libxml/tree.h>
#include <libxml/xmlregexp.h>

namespace kz::base {
class AsciiRegex;
}

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Bodies ------------------------------------------------------------ */

/* Base (kind 1): identity bases of an identityref. */
typedef struct KztSegBase {
    const char *modName;   /* interned */
    const char *identName; /* interned */
} KztSegBase;

typedef struct KztConsDataBase {
    uint16_t segCount;
    KztSegBase *segs;
} KztConsDataBase;

/* Bit (kind 2). */
typedef struct KztSegBit {
    const char *name; /* interned */
    uint32_t position;
} KztSegBit;

typedef struct KztConsDataBit {
    uint16_t segCount;
    KztSegBit *segs;
} KztConsDataBit;

/* Enum (kind 3). */
typedef struct KztSegEnum {
    const char *name; /* interned */
    int32_t value;
} KztSegEnum;

typedef struct KztConsDataEnum {
    uint16_t segCount;
    KztSegEnum *segs;
    const char **descs; /* segCount interned texts (entries may be null), or null */
} KztConsDataEnum;

/* Fraction (kind 4). */
typedef struct KztConsDataFraction {
    uint8_t fracDigits;
} KztConsDataFraction;

/* Range (kind 8) and Length (kind 5): segCount segments of segSize bytes,
 * allocated once the expression has been split. */
typedef struct KztConsDataRange {
    uint16_t segCount;
    uint16_t segSize;
    void *segs;
} KztConsDataRange;

/* Segment layouts by width; 64-bit and derived segments are SegInt64. */
typedef struct KztSegInt8 { int8_t start; int8_t end; } KztSegInt8;
typedef struct KztSegInt16 { int16_t start; int16_t end; } KztSegInt16;
typedef struct KztSegInt32 { int32_t start; int32_t end; } KztSegInt32;
typedef struct KztSegUint8 { uint8_t start; uint8_t end; } KztSegUint8;
typedef struct KztSegUint16 { uint16_t start; uint16_t end; } KztSegUint16;
typedef struct KztSegUint32 { uint32_t start; uint32_t end; } KztSegUint32;

#define KZT_SEG_SIZE_INT64 ((uint16_t)sizeof(SegInt64))
#define KZT_SEG_SIZE_LEN32 ((uint16_t)sizeof(KztSegUint32))

/* Path (kind 6): KztConsDataPath of korla.h (path interned, JSON form). */

/* Pattern (kind 7): the compiled expression is kept so that a value check
 * does not compile it again. */
typedef struct KztSegPattern {
    const char *pattern;        /* interned, anchors dropped */
    uint32_t invertMatch;       /* 0 or 1 */
    xmlRegexpPtr regexp;        /* owned; compiled from pattern */
    kz::base::AsciiRegex *ascii; /* owned; the faster matcher for ASCII values, when it applies */
} KztSegPattern;

typedef struct KztConsDataPattern {
    uint16_t segCount;
    KztSegPattern *segs;
} KztConsDataPattern;

/* Union (kind 9): member real types in document order. */
typedef struct KztConsDataUnion {
    uint16_t segCount;
    KztRealType *segs;
} KztConsDataUnion;

/* ---- Value-check context ----------------------------------------------- */

struct KztValCheckCtx {
    uint16_t derivedDepth;
    uint16_t fracDigits;
    uint32_t binLen;
    uint32_t baseType;
    uint32_t explicitCnt;
    uint32_t storeParent;
    SegInt64 parentMinMax;
    KzCtx *ctx;
    const KzsNode *schemaNode;
    KztRealType *curRealType;
    KztRealType *matchRealType;
    /* Bounds on nested checks (union members, leafref targets) and on the
     * total work of one top-level check; typedefs may refer to each other
     * through unions, so neither is bounded by the schema alone. */
    uint32_t nestDepth;
    uint32_t stepCount;
};

/* Segment comparison outcomes. */
#define KZT_SEG_CMP_INSIDE 0u
#define KZT_SEG_CMP_BELOW  4097u
#define KZT_SEG_CMP_ABOVE  22u
/* A convert function's answer for segments already in SegInt64 form. */
#define KZT_SEG_CONVERT_RAW 4098u

/* ---- Create / copy / destroy of bodies ---------------------------------- */

KZ_API void *KZT_CONS_CreateConsDataBodyWithDerived(uint16_t segCount);
KZ_API void *KZT_CONS_CreateConsDataBodyWithBase(uint16_t segCount);
KZ_API void *KZT_CONS_CreateConsDataBodyWithBit(uint16_t segCount);
KZ_API void *KZT_CONS_CreateConsDataBodyWithEnum(uint16_t segCount);
KZ_API void *KZT_CONS_CreateConsDataBodyWithFraction(uint16_t segCount);
KZ_API void *KZT_CONS_CreateConsDataBodyWithRange(uint16_t segCount);
KZ_API void *KZT_CONS_CreateConsDataBodyWithPath(uint16_t segCount);
KZ_API void *KZT_CONS_CreateConsDataBodyWithPattern(uint16_t segCount);
KZ_API void *KZT_CONS_CreateConsDataBodyWithUnion(uint16_t segCount);

KZ_API void *KZT_CONS_CopyConsDataBodyWithDerived(KzDict *dict, const void *src);
KZ_API void *KZT_CONS_CopyConsDataBodyWithBase(KzDict *dict, const void *src);
KZ_API void *KZT_CONS_CopyConsDataBodyWithBit(KzDict *dict, const void *src);
KZ_API void *KZT_CONS_CopyConsDataBodyWithEnum(KzDict *dict, const void *src);
KZ_API void *KZT_CONS_CopyConsDataBodyWithFraction(KzDict *dict, const void *src);
KZ_API void *KZT_CONS_CopyConsDataBodyWithRange(KzDict *dict, const void *src);
KZ_API void *KZT_CONS_CopyConsDataBodyWithPath(KzDict *dict, const void *src);
KZ_API void *KZT_CONS_CopyConsDataBodyWithPattern(KzDict *dict, const void *src);
KZ_API void *KZT_CONS_CopyConsDataBodyWithUnion(KzDict *dict, const void *src);

KZ_API void KZT_CONS_DestroyConsDataBodyWithDerived(KzDict *dict, void *body);
KZ_API void KZT_CONS_DestroyConsDataBodyWithBase(KzDict *dict, void *body);
KZ_API void KZT_CONS_DestroyConsDataBodyWithBit(KzDict *dict, void *body);
KZ_API void KZT_CONS_DestroyConsDataBodyWithEnum(KzDict *dict, void *body);
KZ_API void KZT_CONS_DestroyConsDataBodyWithNoDynamic(KzDict *dict, void *body);
KZ_API void KZT_CONS_DestroyConsDataBodyWithRange(KzDict *dict, void *body);
KZ_API void KZT_CONS_DestroyConsDataBodyWithPath(KzDict *dict, void *body);
KZ_API void KZT_CONS_DestroyConsDataBodyWithPattern(KzDict *dict, void *body);
KZ_API void KZT_CONS_DestroyConsDataBodyWithUnion(KzDict *dict, void *body);

/* ---- Filling ------------------------------------------------------------ */

/* Fills one segment from one marked child; aux is the segment's auxiliary
 * byte (or null when the filler has none). */
typedef uint32_t (*KztSegFillOneFunc)(KzCtx *ctx, KzMod *mod, void *seg, uint8_t *aux, xmlNode *elem);

typedef struct KztSegFiller {
    uint16_t count;
    uint32_t segSize;
    uint32_t mark;
    KztSegFillOneFunc fillOne;
    uint8_t *aux; /* optional, count bytes */
} KztSegFiller;

KZ_API void KZT_LOADER_InitSegFiller(KztSegFiller *filler, uint16_t count, uint32_t segSize, uint32_t mark,
                                     KztSegFillOneFunc fillOne);
KZ_API uint32_t KZT_LOADER_FillTypeConstraintSeg(KzCtx *ctx, KzMod *mod, void *segs, xmlNode *typeElem,
                                                 const KztSegFiller *filler);

KZ_API uint32_t KZT_LOADER_FillConsDataAndAllDerivedSeg(KzCtx *ctx, KzMod *mod, xmlNode *typeElem, KztConsFillArg *arg);
KZ_API uint32_t KZT_LOADER_FillConsDataAndAllBaseSeg(KzCtx *ctx, KzMod *mod, xmlNode *typeElem, KztConsFillArg *arg);
KZ_API uint32_t KZT_LOADER_FillConsDataAndAllBitSeg(KzCtx *ctx, KzMod *mod, xmlNode *typeElem, KztConsFillArg *arg);
KZ_API uint32_t KZT_LOADER_FillConsDataAndAllEnumSeg(KzCtx *ctx, KzMod *mod, xmlNode *typeElem, KztConsFillArg *arg);
KZ_API uint32_t KZT_LOADER_FillConsDataAndAllFractionSeg(KzCtx *ctx, KzMod *mod, xmlNode *typeElem,
                                                         KztConsFillArg *arg);
KZ_API uint32_t KZT_LOADER_FillConsDataAndAllLengthSeg(KzCtx *ctx, KzMod *mod, xmlNode *typeElem, KztConsFillArg *arg);
KZ_API uint32_t KZT_LOADER_FillConsDataAndAllPathSeg(KzCtx *ctx, KzMod *mod, xmlNode *typeElem, KztConsFillArg *arg);
KZ_API uint32_t KZT_LOADER_FillConsDataAndAllPatternSeg(KzCtx *ctx, KzMod *mod, xmlNode *typeElem,
                                                        KztConsFillArg *arg);
KZ_API uint32_t KZT_LOADER_FillConsDataAndAllRangeSeg(KzCtx *ctx, KzMod *mod, xmlNode *typeElem, KztConsFillArg *arg);

KZ_API uint32_t KZT_LOADER_FillOneConsSegBase(KzCtx *ctx, KzMod *mod, void *seg, uint8_t *aux, xmlNode *elem);
KZ_API uint32_t KZT_LOADER_FillOneConsSegBit(KzCtx *ctx, KzMod *mod, void *seg, uint8_t *aux, xmlNode *elem);
KZ_API uint32_t KZT_LOADER_FillOneConsSegEnum(KzCtx *ctx, KzMod *mod, void *seg, uint8_t *aux, xmlNode *elem);
KZ_API uint32_t KZT_LOADER_FillOneConsSegPattern(KzCtx *ctx, KzMod *mod, void *seg, uint8_t *aux, xmlNode *elem);

/* Interns both names into a derived body: 22 if either is null, 12 on a failed insert. */
KZ_API uint32_t KZT_CONS_FillConsDataDerived(KzDict *dict, KztConsDataDerived *body, const char *modName,
                                             const char *tdefName);

/* Binding of kind-0 references to mod's typedefs. */
KZ_API uint32_t KZT_CONS_UpdateConsDataDerFromWithDerived(void *body, KzMod *mod);
KZ_API uint32_t KZT_CONS_UpdateConsDataDerFromWithUnion(void *body, KzMod *mod);

/* ---- Range and length expressions --------------------------------------- */

/* State shared by the tokenizer and the push functions of one expression. */
typedef struct KztRangePushArg {
    KztRealType *realType;
    KztTypeConstraint *entry; /* its body is a KztConsDataRange */
    uint16_t filled;          /* segments stored so far */
    uint16_t minMaxSeen;      /* set when "min" or "max" occurred */
} KztRangePushArg;

/* Stores one finished part; filled counts the segments stored so far. */
typedef uint32_t (*KztRangePushFunc)(KztRealType *realType, KztTypeConstraint *entry, uint16_t *filled,
                                     const SegInt64 *rec);

KZ_API uint32_t KZT_LOADER_ScanParseRangeExprWithCb(const char *expr, KztRangePushFunc push, KztRangePushArg *arg);
KZ_API KztRangePushFunc KZT_LOADER_GetRangeSplitFillFunc(KztBaseType baseType);
KZ_API KztRangePushFunc KZT_LOADER_GetLengthSplitFillFunc(uint16_t segSize);
KZ_API uint16_t KZT_CONS_GetNytSegIntegerSize(KztBaseType baseType);
KZ_API uint16_t KZT_CONS_GetSegLengthSize(KztBaseType baseType, const char *expr);
KZ_API uint32_t KZT_CONS_AllocConsSegWithRange(KztConsDataRange *body, uint16_t segCount, uint16_t segSize);

KZ_API uint32_t KZT_LOADER_IsValidUnSignedWithInt8(const SegInt64 *rec);
KZ_API uint32_t KZT_LOADER_IsValidUnSignedWithInt16(const SegInt64 *rec);
KZ_API uint32_t KZT_LOADER_IsValidUnSignedWithInt32(const SegInt64 *rec);
KZ_API uint32_t KZT_LOADER_IsValidUnSignedWithInt64(const SegInt64 *rec);

KZ_API uint32_t KZT_LOADER_PushRangeValueIntoSegInt8Signed(KztRealType *realType, KztTypeConstraint *entry,
                                                           uint16_t *filled, const SegInt64 *rec);
KZ_API uint32_t KZT_LOADER_PushRangeValueIntoSegInt16Signed(KztRealType *realType, KztTypeConstraint *entry,
                                                            uint16_t *filled, const SegInt64 *rec);
KZ_API uint32_t KZT_LOADER_PushRangeValueIntoSegInt32Signed(KztRealType *realType, KztTypeConstraint *entry,
                                                            uint16_t *filled, const SegInt64 *rec);
KZ_API uint32_t KZT_LOADER_PushRangeValueIntoSegInt64Signed(KztRealType *realType, KztTypeConstraint *entry,
                                                            uint16_t *filled, const SegInt64 *rec);
KZ_API uint32_t KZT_LOADER_PushRangeValueIntoSegInt8Unsigned(KztRealType *realType, KztTypeConstraint *entry,
                                                             uint16_t *filled, const SegInt64 *rec);
KZ_API uint32_t KZT_LOADER_PushRangeValueIntoSegInt16Unsigned(KztRealType *realType, KztTypeConstraint *entry,
                                                              uint16_t *filled, const SegInt64 *rec);
KZ_API uint32_t KZT_LOADER_PushRangeValueIntoSegInt32Unsigned(KztRealType *realType, KztTypeConstraint *entry,
                                                              uint16_t *filled, const SegInt64 *rec);
KZ_API uint32_t KZT_LOADER_PushRangeValueIntoSegInt64Unsigned(KztRealType *realType, KztTypeConstraint *entry,
                                                              uint16_t *filled, const SegInt64 *rec);
KZ_API uint32_t KZT_LOADER_PushRangeValueIntoSegIntUnknown(KztRealType *realType, KztTypeConstraint *entry,
                                                           uint16_t *filled, const SegInt64 *rec);

/* Scaled integer of a decimal64 text: 22 on malformed text or overflow. */
KZ_API uint32_t KZT_CONS_ConvertValStrToDecimal64PowerInteger(const char *text, uint8_t fracDigits, int64_t *out);

/* Bounds of a built-in type (all zero for non-integer rows); 22 above 19. */
KZ_API uint32_t KZT_CONS_GetBasedIntegerMinMaxVal(KztBaseType baseType, SegInt64 *out);

/* Compares value (a SegInt64 whose start holds the number) with one segment:
 * KZT_SEG_CMP_BELOW, KZT_SEG_CMP_ABOVE or KZT_SEG_CMP_INSIDE. */
typedef uint32_t (*KztSegCompareFunc)(const SegInt64 *value, const void *seg, const KztValCheckCtx *chk);
/* Converts one segment into a SegInt64; KZT_SEG_CONVERT_RAW for SegInt64 segments. */
typedef uint32_t (*KztSegConvertFunc)(const void *seg, SegInt64 *out);

KZ_API KztSegCompareFunc KZT_CONS_GetValueStrToRangeCheckFunc(KztBaseType baseType);
KZ_API KztSegCompareFunc KZT_CONS_GetValueStrToLengthCheckFunc(uint16_t segSize);
KZ_API KztSegConvertFunc KZT_CONS_GetRangeSegConvertFunc(KztBaseType baseType);
KZ_API KztSegConvertFunc KZT_CONS_GetLengthSegConvertFunc(uint16_t segSize);

KZ_API uint32_t KZT_CONS_CheckValueAgainstRangeSegInt8Signed(const SegInt64 *value, const void *seg,
                                                             const KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_CheckValueAgainstRangeSegInt16Signed(const SegInt64 *value, const void *seg,
                                                              const KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_CheckValueAgainstRangeSegInt32Signed(const SegInt64 *value, const void *seg,
                                                              const KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_CheckValueAgainstRangeSegInt64Signed(const SegInt64 *value, const void *seg,
                                                              const KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_CheckValueAgainstRangeSegInt8Unsigned(const SegInt64 *value, const void *seg,
                                                               const KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_CheckValueAgainstRangeSegInt16Unsigned(const SegInt64 *value, const void *seg,
                                                                const KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_CheckValueAgainstRangeSegInt32Unsigned(const SegInt64 *value, const void *seg,
                                                                const KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_CheckValueAgainstRangeSegInt64Unsigned(const SegInt64 *value, const void *seg,
                                                                const KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_CheckValueAgainstRangeSegIntUnknown(const SegInt64 *value, const void *seg,
                                                             const KztValCheckCtx *chk);

KZ_API void KZT_CONS_UpdateSegInt64WithMinMaxValue(const SegInt64 *seg, const SegInt64 *parent, SegInt64 *out);
KZ_API uint32_t KZT_CONS_CheckSegInt64WithExplictFlag(const SegInt64 *value, const SegInt64 *seg);
KZ_API uint32_t KZT_CONS_StoreLatestParentTypeMinMaxValue(KztValCheckCtx *chk, const void *segs, uint16_t segCount,
                                                          uint16_t segSize, KztSegConvertFunc convert);

KZ_API uint32_t KZT_CONS_ScanStartEndPairsWithRange(const void *body, KztBaseType baseType, KzTypeStartEndCb cb,
                                                    void *arg);
KZ_API uint32_t KZT_CONS_ScanStartEndPairsWithLength(const void *body, KztBaseType baseType, KzTypeStartEndCb cb,
                                                     void *arg);
KZ_API uint32_t KZT_CONS_ScanNameValuePairsWithBit(const void *body, KzTypeNameValueCb cb, void *arg);
KZ_API uint32_t KZT_CONS_ScanNameValuePairsWithEnum(const void *body, KzTypeNameValueCb cb, void *arg);

/* ---- Built-in type checks (value as a plain string, may be null) -------- */

KZ_API uint32_t KZT_CONS_CheckValStrAgainstDefRestrictRange(KztBaseType baseType, const char *value,
                                                            KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_CheckValStrAgainstDefRestrictDecimal64(KztBaseType baseType, const char *value,
                                                                KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_CheckValStrAgainstDefRestrictLength(KztBaseType baseType, const char *value,
                                                             KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_CheckValStrAgainstDefRestrictBinary(KztBaseType baseType, const char *value,
                                                             KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_CheckValStrAgainstDefRestrictBoolean(KztBaseType baseType, const char *value,
                                                              KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_CheckValStrAgainstDefRestrictEmpty(KztBaseType baseType, const char *value,
                                                            KztValCheckCtx *chk);

/* ---- Constraint checks (body, input kind, input, context) --------------- */

KZ_API uint32_t KZT_CONS_ValidateValueNodeAgainstDataDerived(void *body, uint32_t inputKind, const void *input,
                                                             KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_ValidateValueNodeAgainstDataBase(void *body, uint32_t inputKind, const void *input,
                                                          KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_ValidateValueNodeAgainstDataBit(void *body, uint32_t inputKind, const void *input,
                                                         KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_ValidateValueNodeAgainstDataEnum(void *body, uint32_t inputKind, const void *input,
                                                          KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_ValidateValueNodeAgainstDataFraction(void *body, uint32_t inputKind, const void *input,
                                                              KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_ValidateValueNodeAgainstDataLength(void *body, uint32_t inputKind, const void *input,
                                                            KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_ValidateValueNodeAgainstDataPath(void *body, uint32_t inputKind, const void *input,
                                                          KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_ValidateValueNodeAgainstDataPattern(void *body, uint32_t inputKind, const void *input,
                                                             KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_ValidateValueNodeAgainstDataRange(void *body, uint32_t inputKind, const void *input,
                                                           KztValCheckCtx *chk);
KZ_API uint32_t KZT_CONS_ValidateValueNodeAgainstDataUnion(void *body, uint32_t inputKind, const void *input,
                                                           KztValCheckCtx *chk);

/* ---- Helpers of the identityref, bits and binary checks ------------------ */

KZ_API uint32_t KZT_CONS_GetInputValAsIdentModAndName(KzCtx *ctx, uint32_t inputKind, const void *input,
                                                      char *modName, size_t modSize, char *identName,
                                                      size_t identSize);
KZ_API uint32_t KZT_CONS_GetLeafXmlNodeAsIdentModAndName(KzCtx *ctx, xmlNode *node, char *modName, size_t modSize,
                                                         char *identName, size_t identSize);
KZ_API uint32_t KZT_CONS_GetLeafJsonStrAsIdentModAndName(const char *value, char *modName, size_t modSize,
                                                         char *identName, size_t identSize);
/* Namespace URI of prefix (null: the element's default namespace) on node. */
KZ_API const char *KZT_CONS_GetIdentLeafXmlNsHref(xmlNode *node, const char *prefix);
KZ_API uint32_t KZT_CONS_CheckInputIdentMatchWithSegBase(KzCtx *ctx, const char *modName, const char *identName,
                                                         const KztSegBase *base);

/* Names read from a bits value. */
typedef struct KztBitValColl {
    uint16_t capacity;
    uint16_t count;
    char (*names)[kz::kNameBufSize];
} KztBitValColl;

KZ_API KztBitValColl *KZT_CONS_CreateBitValColl(uint16_t capacity);
KZ_API uint32_t KZT_CONS_AppendOneBitValueToColl(KztBitValColl *coll, const char *name, size_t len);
KZ_API uint32_t KZT_CONS_ReadInputValStrToBitValColl(const char *value, KztBitValColl *coll);
KZ_API uint32_t KZT_CONS_CheckBitValCollAgaistSegBits(const KztBitValColl *coll, const KztConsDataBit *bits);
KZ_API void KZT_CONS_DestroyBitValColl(KztBitValColl *coll);

/* Base64 scan of len characters; the number of "=" goes to padCount. */
KZ_API uint32_t KZT_CONS_CheckInputValueStrInBase64Encoded(const char *text, size_t len, uint32_t *padCount);

/* ---- Checking a value against a real type ------------------------------- */

KZ_API uint32_t KZT_TYPE_ValidateValueNodeAgainstRealType(KztRealType *realType, uint32_t inputKind,
                                                          const void *input, KztValCheckCtx *chk);
KZ_API void KZT_TYPE_PreProcValCheckAuxRngLenExplictCnt(const KztRealType *realType, KztValCheckCtx *chk);
KZ_API void KZT_TYPE_PostProcValCheckAuxRngLenExplictCnt(KztValCheckCtx *chk);
KZ_API void KZT_TYPE_SetMatchRealType(KztValCheckCtx *chk, KztRealType *realType);

#ifdef __cplusplus
}
#endif

#endif /* KZT_CONS_H */
