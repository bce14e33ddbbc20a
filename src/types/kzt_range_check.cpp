// Numeric values: decimal64 scaling, built-in integer bounds, and the checks
// of a value against range and length segments.
#include <cstring>
#include <limits>
#include <type_traits>

#include "base/kz_scan.h"
#include "types/kzt_cons.h"
#include "types/kzt_seg.h"
#include "types/kzt_type.h"

namespace {

constexpr uint32_t kRangeFail = KZ_VAL_ERR_RANGE;
constexpr uint32_t kLengthFail = KZ_VAL_ERR_LENGTH;
constexpr size_t kDecimalBufSize = 32;
constexpr uint32_t kDecimalMaxDigits = 19; // integer plus fraction digits of an int64

inline bool IsSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n';
}

inline bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

inline bool OnlySpaceLeft(const char *p)
{
    while (IsSpace(*p)) {
        ++p;
    }
    return *p == '\0';
}

constexpr SegInt64 SignedBounds(int64_t lo, int64_t hi)
{
    return SegInt64{lo, hi, KZT_SEGF_SIGNED};
}

constexpr SegInt64 UnsignedBounds(uint64_t hi)
{
    return SegInt64{0, static_cast<int64_t>(hi), KZT_SEGF_UNSIGNED};
}

constexpr SegInt64 kNoBounds{0, 0, 0};

constexpr SegInt64 kBuiltInBounds[KZT_BASE_INVALID] = {
    kNoBounds,                                                                   // derived
    kNoBounds,                                                                   // binary
    kNoBounds,                                                                   // bits
    kNoBounds,                                                                   // boolean
    SignedBounds(std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max()), // decimal64
    kNoBounds,                                                                   // empty
    kNoBounds,                                                                   // enumeration
    kNoBounds,                                                                   // identityref
    kNoBounds,                                                                   // instance-identifier
    SignedBounds(INT8_MIN, INT8_MAX),                                            // int8
    SignedBounds(INT16_MIN, INT16_MAX),                                          // int16
    SignedBounds(INT32_MIN, INT32_MAX),                                          // int32
    SignedBounds(std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max()), // int64
    kNoBounds,                                                                   // leafref
    kNoBounds,                                                                   // string
    UnsignedBounds(UINT8_MAX),                                                   // uint8
    UnsignedBounds(UINT16_MAX),                                                  // uint16
    UnsignedBounds(UINT32_MAX),                                                  // uint32
    UnsignedBounds(UINT64_MAX),                                                  // uint64
    kNoBounds,                                                                   // union
};

constexpr SegInt64 kStringLengthBounds = UnsignedBounds(UINT32_MAX);

inline bool IsSignedBase(KztBaseType base)
{
    return base >= KZT_BASE_INT8 && base <= KZT_BASE_INT64;
}

inline bool IsUnsignedBase(KztBaseType base)
{
    return base >= KZT_BASE_UINT8 && base <= KZT_BASE_UINT64;
}

// Reads an integer value of an integer base type: signed or unsigned by the
// type, only white space may follow.
bool ParseIntegerValue(KztBaseType base, const char *text, SegInt64 *value)
{
    const char *end = nullptr;
    if (IsSignedBase(base)) {
        int64_t v = 0;
        if (KZ_UTL_ReadInputStrAsSignedInteger(text, &end, 0, &v) != KZ_OK) {
            return false;
        }
        *value = SegInt64{v, 0, KZT_SEGF_SIGNED};
    } else if (IsUnsignedBase(base)) {
        uint64_t v = 0;
        if (KZ_UTL_ReadInputStrAsUnsignedInteger(text, &end, 0, &v) != KZ_OK) {
            return false;
        }
        *value = SegInt64{static_cast<int64_t>(v), 0, KZT_SEGF_UNSIGNED};
    } else {
        return false;
    }
    return end != nullptr && OnlySpaceLeft(end);
}

template <typename T>
uint32_t Order(T v, T lo, T hi)
{
    if (v < lo) {
        return KZT_SEG_CMP_BELOW;
    }
    return v > hi ? KZT_SEG_CMP_ABOVE : KZT_SEG_CMP_INSIDE;
}

// Compares the number held in value->start with a segment of width T.
template <typename T>
uint32_t CompareWithSeg(const SegInt64 *value, const void *segPtr)
{
    using Seg = typename kz::types::SegTraits<T>::Seg;
    if (value == nullptr || segPtr == nullptr) {
        return KZ_EINVAL;
    }
    const Seg &seg = *static_cast<const Seg *>(segPtr);
    const bool isSigned = (value->flags & KZT_SEGF_SIGNED) != 0;
    const bool isUnsigned = !isSigned && (value->flags & KZT_SEGF_UNSIGNED) != 0;
    if (!isSigned && !isUnsigned) {
        return KZ_EINVAL;
    }
    if constexpr (std::is_signed_v<T>) {
        if (isUnsigned && static_cast<uint64_t>(value->start) > static_cast<uint64_t>(INT64_MAX)) {
            return KZT_SEG_CMP_ABOVE;
        }
        return Order<int64_t>(value->start, static_cast<T>(seg.start), static_cast<T>(seg.end));
    } else {
        if (isSigned && value->start < 0) {
            return KZT_SEG_CMP_BELOW;
        }
        return Order<uint64_t>(static_cast<uint64_t>(value->start), static_cast<T>(seg.start),
                               static_cast<T>(seg.end));
    }
}

// Narrow segments become a signed SegInt64; 64-bit ones are already in that form.
template <typename T>
uint32_t ConvertSeg(const void *segPtr, SegInt64 *out)
{
    using Seg = typename kz::types::SegTraits<T>::Seg;
    if (segPtr == nullptr || out == nullptr) {
        return KZ_EINVAL;
    }
    if constexpr (sizeof(T) == sizeof(int64_t)) {
        *out = *static_cast<const SegInt64 *>(segPtr);
        return KZT_SEG_CONVERT_RAW;
    } else {
        const Seg &seg = *static_cast<const Seg *>(segPtr);
        *out = SegInt64{static_cast<int64_t>(seg.start), static_cast<int64_t>(seg.end), KZT_SEGF_SIGNED};
        return KZ_OK;
    }
}

uint32_t ConvertRawSeg(const void *segPtr, SegInt64 *out)
{
    return ConvertSeg<int64_t>(segPtr, out);
}

inline const void *SegAt(const KztConsDataRange *body, uint16_t i)
{
    return static_cast<const uint8_t *>(body->segs) + static_cast<size_t>(i) * body->segSize;
}

// Walks ascending segments: inside ends with success, below falls in a gap.
bool ValueInSegs(const SegInt64 *value, const KztConsDataRange *body, KztSegCompareFunc cmp,
                 const KztValCheckCtx *chk)
{
    if (body->segs == nullptr) {
        return false;
    }
    for (uint16_t i = 0; i < body->segCount; ++i) {
        uint32_t r = cmp(value, SegAt(body, i), chk);
        if (r == KZT_SEG_CMP_INSIDE) {
            return true;
        }
        if (r == KZT_SEG_CMP_BELOW) {
            return false;
        }
    }
    return false;
}

/* ---- Start/end pairs of the public scan ---- */

void MakeDerivedBound(int64_t v, uint32_t segFlags, uint32_t minFlag, uint32_t maxFlag, uint32_t signFlag,
                      KztBoundVal *out)
{
    if ((segFlags & minFlag) != 0) {
        *out = KztBoundVal{0, signFlag | KZ_BOUND_MIN};
    } else if ((segFlags & maxFlag) != 0) {
        *out = KztBoundVal{0, signFlag | KZ_BOUND_MAX};
    } else {
        *out = KztBoundVal{v, signFlag};
    }
}

template <typename T>
void MakePair(const void *segPtr, KztBoundVal *start, KztBoundVal *end)
{
    using Seg = typename kz::types::SegTraits<T>::Seg;
    const Seg &seg = *static_cast<const Seg *>(segPtr);
    const uint32_t flag = std::is_signed_v<T> ? KZ_BOUND_SIGNED : KZ_BOUND_UNSIGNED;
    *start = KztBoundVal{static_cast<int64_t>(static_cast<T>(seg.start)), flag};
    *end = KztBoundVal{static_cast<int64_t>(static_cast<T>(seg.end)), flag};
}

void MakeDerivedPair(const void *segPtr, uint32_t signFlag, KztBoundVal *start, KztBoundVal *end)
{
    const SegInt64 &seg = *static_cast<const SegInt64 *>(segPtr);
    MakeDerivedBound(seg.start, seg.flags, KZT_SEGF_START_MIN, KZT_SEGF_START_MAX, signFlag, start);
    MakeDerivedBound(seg.end, seg.flags, KZT_SEGF_END_MIN, KZT_SEGF_END_MAX, signFlag, end);
}

using PairFunc = void (*)(const void *, KztBoundVal *, KztBoundVal *);

void DerivedRangePair(const void *seg, KztBoundVal *s, KztBoundVal *e)
{
    MakeDerivedPair(seg, KZ_BOUND_SIGNED, s, e);
}

void DerivedLengthPair(const void *seg, KztBoundVal *s, KztBoundVal *e)
{
    MakeDerivedPair(seg, KZ_BOUND_UNSIGNED, s, e);
}

PairFunc RangePairFunc(KztBaseType base)
{
    switch (base) {
        case KZT_BASE_DERIVED: return DerivedRangePair;
        case KZT_BASE_INT8: return MakePair<int8_t>;
        case KZT_BASE_INT16: return MakePair<int16_t>;
        case KZT_BASE_INT32: return MakePair<int32_t>;
        case KZT_BASE_INT64:
        case KZT_BASE_DECIMAL64: return MakePair<int64_t>;
        case KZT_BASE_UINT8: return MakePair<uint8_t>;
        case KZT_BASE_UINT16: return MakePair<uint16_t>;
        case KZT_BASE_UINT32: return MakePair<uint32_t>;
        case KZT_BASE_UINT64: return MakePair<uint64_t>;
        default: return nullptr;
    }
}

uint32_t ScanPairs(const KztConsDataRange *body, PairFunc pair, KzTypeStartEndCb cb, void *arg)
{
    for (uint16_t i = 0; i < body->segCount && body->segs != nullptr; ++i) {
        KztBoundVal start{};
        KztBoundVal end{};
        pair(SegAt(body, i), &start, &end);
        uint32_t r = cb(&start, &end, arg);
        if (r != KZ_OK) {
            return r;
        }
    }
    return KZ_OK;
}

} // namespace

extern "C" {

/* ---- decimal64 ------------------------------------------------------------------- */

uint32_t KZT_CONS_ConvertValStrToDecimal64PowerInteger(const char *text, uint8_t fracDigits, int64_t *out)
{
    if (text == nullptr || out == nullptr) {
        return KZ_EINVAL;
    }
    char buf[kDecimalBufSize];
    size_t n = 0;
    bool anyDigit = false;
    const char *p = text;
    while (IsSpace(*p)) {
        ++p;
    }
    // Leading zeros are dropped so that they do not count against the digit limit.
    bool skipZeros = true;
    if (*p == '+' || *p == '-') {
        if (*p == '-') {
            buf[n++] = '-';
        }
        ++p;
        skipZeros = (*p == '0');
    }
    if (skipZeros) {
        while (*p == '0') {
            ++p;
        }
    }
    uint32_t intDigits = 0;
    while (IsDigit(*p)) {
        buf[n++] = *p++;
        anyDigit = true;
        ++intDigits;
        if (n >= kDecimalBufSize - 1 || intDigits + fracDigits > kDecimalMaxDigits) {
            return KZ_EINVAL;
        }
    }
    uint32_t fraction = 0;
    if (*p == '.') {
        ++p;
        while (IsDigit(*p)) {
            if (++fraction > fracDigits || n >= kDecimalBufSize - 1) {
                return KZ_EINVAL; // no rounding
            }
            buf[n++] = *p++;
            anyDigit = true;
        }
    } else if (n + fracDigits > kDecimalBufSize - 2) {
        return KZ_EINVAL;
    }
    if (!OnlySpaceLeft(p)) {
        return KZ_EINVAL;
    }
    for (; fraction < fracDigits; ++fraction) {
        if (n >= kDecimalBufSize - 1) {
            return KZ_EINVAL;
        }
        buf[n++] = '0';
        anyDigit = true;
    }
    buf[n] = '\0';
    if (!anyDigit) {
        *out = 0; // an empty text, a lone "." or zeros without fraction digits
        return KZ_OK;
    }
    const char *end = nullptr;
    int64_t value = 0;
    if (KZ_UTL_ReadInputStrAsSignedInteger(buf, &end, 0, &value) != KZ_OK || end == nullptr || *end != '\0') {
        return KZ_EINVAL;
    }
    *out = value;
    return KZ_OK;
}

/* ---- Bounds and segment comparison --------------------------------------------------- */

uint32_t KZT_CONS_GetBasedIntegerMinMaxVal(KztBaseType baseType, SegInt64 *out)
{
    if (out == nullptr || baseType >= KZT_BASE_INVALID) {
        return KZ_EINVAL;
    }
    *out = kBuiltInBounds[baseType];
    return KZ_OK;
}

void KZT_CONS_UpdateSegInt64WithMinMaxValue(const SegInt64 *seg, const SegInt64 *parent, SegInt64 *out)
{
    if (seg == nullptr || parent == nullptr || out == nullptr) {
        return;
    }
    SegInt64 r{};
    r.start = (seg->flags & KZT_SEGF_START_MIN) != 0   ? parent->start
              : (seg->flags & KZT_SEGF_START_MAX) != 0 ? parent->end
                                                        : seg->start;
    r.end = (seg->flags & KZT_SEGF_END_MIN) != 0   ? parent->start
            : (seg->flags & KZT_SEGF_END_MAX) != 0 ? parent->end
                                                    : seg->end;
    r.flags = ((seg->flags | parent->flags) & KZT_SEGF_SIGNED) != 0 ? KZT_SEGF_SIGNED : KZT_SEGF_UNSIGNED;
    *out = r;
}

uint32_t KZT_CONS_CheckSegInt64WithExplictFlag(const SegInt64 *value, const SegInt64 *seg)
{
    if (value == nullptr || seg == nullptr) {
        return KZ_EINVAL;
    }
    if ((value->flags & KZT_SEGF_SIGNED) != 0) {
        if ((seg->flags & (KZT_SEGF_SIGNED | KZT_SEGF_UNSIGNED)) == 0) {
            return KZ_EINVAL;
        }
        return Order<int64_t>(value->start, seg->start, seg->end);
    }
    if ((value->flags & KZT_SEGF_UNSIGNED) == 0) {
        return KZ_EINVAL;
    }
    if ((seg->flags & KZT_SEGF_SIGNED) != 0) {
        if (seg->start < 0 || seg->end < 0) {
            return KZ_EINVAL;
        }
        if (static_cast<uint64_t>(value->start) > static_cast<uint64_t>(INT64_MAX)) {
            return KZT_SEG_CMP_ABOVE;
        }
        return Order<int64_t>(value->start, seg->start, seg->end);
    }
    return Order<uint64_t>(static_cast<uint64_t>(value->start), static_cast<uint64_t>(seg->start),
                           static_cast<uint64_t>(seg->end));
}

#define KZT_DEFINE_SEG_CMP(NAME, TYPE)                                                   \
    uint32_t NAME(const SegInt64 *value, const void *seg, const KztValCheckCtx *chk)     \
    {                                                                                    \
        (void)chk;                                                                       \
        return CompareWithSeg<TYPE>(value, seg);                                         \
    }

KZT_DEFINE_SEG_CMP(KZT_CONS_CheckValueAgainstRangeSegInt8Signed, int8_t)
KZT_DEFINE_SEG_CMP(KZT_CONS_CheckValueAgainstRangeSegInt16Signed, int16_t)
KZT_DEFINE_SEG_CMP(KZT_CONS_CheckValueAgainstRangeSegInt32Signed, int32_t)
KZT_DEFINE_SEG_CMP(KZT_CONS_CheckValueAgainstRangeSegInt64Signed, int64_t)
KZT_DEFINE_SEG_CMP(KZT_CONS_CheckValueAgainstRangeSegInt8Unsigned, uint8_t)
KZT_DEFINE_SEG_CMP(KZT_CONS_CheckValueAgainstRangeSegInt16Unsigned, uint16_t)
KZT_DEFINE_SEG_CMP(KZT_CONS_CheckValueAgainstRangeSegInt32Unsigned, uint32_t)
KZT_DEFINE_SEG_CMP(KZT_CONS_CheckValueAgainstRangeSegInt64Unsigned, uint64_t)

#undef KZT_DEFINE_SEG_CMP

uint32_t KZT_CONS_CheckValueAgainstRangeSegIntUnknown(const SegInt64 *value, const void *seg,
                                                      const KztValCheckCtx *chk)
{
    const auto *s = static_cast<const SegInt64 *>(seg);
    if (value == nullptr || s == nullptr) {
        return KZ_EINVAL;
    }
    if ((s->flags & KZT_SEGF_MINMAX) == 0) {
        return KZT_CONS_CheckSegInt64WithExplictFlag(value, s);
    }
    if (chk == nullptr) {
        return KZ_EINVAL;
    }
    SegInt64 resolved{};
    KZT_CONS_UpdateSegInt64WithMinMaxValue(s, &chk->parentMinMax, &resolved);
    return KZT_CONS_CheckSegInt64WithExplictFlag(value, &resolved);
}

KztSegCompareFunc KZT_CONS_GetValueStrToRangeCheckFunc(KztBaseType baseType)
{
    switch (baseType) {
        case KZT_BASE_DERIVED: return KZT_CONS_CheckValueAgainstRangeSegIntUnknown;
        case KZT_BASE_INT8: return KZT_CONS_CheckValueAgainstRangeSegInt8Signed;
        case KZT_BASE_INT16: return KZT_CONS_CheckValueAgainstRangeSegInt16Signed;
        case KZT_BASE_INT32: return KZT_CONS_CheckValueAgainstRangeSegInt32Signed;
        case KZT_BASE_INT64:
        case KZT_BASE_DECIMAL64: return KZT_CONS_CheckValueAgainstRangeSegInt64Signed;
        case KZT_BASE_UINT8: return KZT_CONS_CheckValueAgainstRangeSegInt8Unsigned;
        case KZT_BASE_UINT16: return KZT_CONS_CheckValueAgainstRangeSegInt16Unsigned;
        case KZT_BASE_UINT32: return KZT_CONS_CheckValueAgainstRangeSegInt32Unsigned;
        case KZT_BASE_UINT64: return KZT_CONS_CheckValueAgainstRangeSegInt64Unsigned;
        default: return nullptr;
    }
}

KztSegCompareFunc KZT_CONS_GetValueStrToLengthCheckFunc(uint16_t segSize)
{
    if (segSize == KZT_SEG_SIZE_LEN32) {
        return KZT_CONS_CheckValueAgainstRangeSegInt32Unsigned;
    }
    return segSize == KZT_SEG_SIZE_INT64 ? KZT_CONS_CheckValueAgainstRangeSegIntUnknown : nullptr;
}

KztSegConvertFunc KZT_CONS_GetRangeSegConvertFunc(KztBaseType baseType)
{
    switch (baseType) {
        case KZT_BASE_INT8: return ConvertSeg<int8_t>;
        case KZT_BASE_INT16: return ConvertSeg<int16_t>;
        case KZT_BASE_INT32: return ConvertSeg<int32_t>;
        case KZT_BASE_UINT8: return ConvertSeg<uint8_t>;
        case KZT_BASE_UINT16: return ConvertSeg<uint16_t>;
        case KZT_BASE_UINT32: return ConvertSeg<uint32_t>;
        case KZT_BASE_DERIVED:
        case KZT_BASE_INT64:
        case KZT_BASE_DECIMAL64:
        case KZT_BASE_UINT64: return ConvertRawSeg;
        default: return nullptr;
    }
}

KztSegConvertFunc KZT_CONS_GetLengthSegConvertFunc(uint16_t segSize)
{
    if (segSize == KZT_SEG_SIZE_LEN32) {
        return ConvertSeg<uint32_t>;
    }
    return segSize == KZT_SEG_SIZE_INT64 ? ConvertRawSeg : nullptr;
}

uint32_t KZT_CONS_StoreLatestParentTypeMinMaxValue(KztValCheckCtx *chk, const void *segs, uint16_t segCount,
                                                   uint16_t segSize, KztSegConvertFunc convert)
{
    if (chk == nullptr || chk->storeParent == 0) {
        return KZ_OK;
    }
    if (segCount == 0 || segs == nullptr) {
        return KZ_EINVAL;
    }
    if (convert == nullptr) {
        return KZ_OK;
    }
    const SegInt64 parent = chk->parentMinMax;
    SegInt64 first{};
    uint32_t ret = convert(segs, &first);
    uint32_t startFlags = first.flags;
    if (ret == KZT_SEG_CONVERT_RAW) {
        if ((first.flags & (KZT_SEGF_START_MIN | KZT_SEGF_START_MAX)) != 0) {
            first.start = (first.flags & KZT_SEGF_START_MIN) != 0 ? parent.start : parent.end;
            startFlags = parent.flags;
        }
    } else if (ret != KZ_OK) {
        return ret;
    }
    SegInt64 last{};
    ret = convert(static_cast<const uint8_t *>(segs) + static_cast<size_t>(segCount - 1) * segSize, &last);
    uint32_t endFlags = last.flags;
    if (ret == KZT_SEG_CONVERT_RAW) {
        if ((last.flags & (KZT_SEGF_END_MIN | KZT_SEGF_END_MAX)) != 0) {
            last.end = (last.flags & KZT_SEGF_END_MIN) != 0 ? parent.start : parent.end;
            endFlags = parent.flags;
        }
    } else if (ret != KZ_OK) {
        return ret;
    }
    chk->parentMinMax.start = first.start;
    chk->parentMinMax.end = last.end;
    chk->parentMinMax.flags =
        ((startFlags | endFlags) & KZT_SEGF_SIGNED) != 0 ? KZT_SEGF_SIGNED : KZT_SEGF_UNSIGNED;
    return KZ_OK;
}

/* ---- Built-in type checks -------------------------------------------------------------- */

uint32_t KZT_CONS_CheckValStrAgainstDefRestrictRange(KztBaseType baseType, const char *value, KztValCheckCtx *chk)
{
    if (value == nullptr) {
        return kRangeFail;
    }
    SegInt64 bounds{};
    if (KZT_CONS_GetBasedIntegerMinMaxVal(baseType, &bounds) != KZ_OK) {
        return kRangeFail;
    }
    SegInt64 v{};
    if (!ParseIntegerValue(baseType, value, &v)) {
        return kRangeFail;
    }
    if ((v.flags & KZT_SEGF_SIGNED) != 0) {
        if (v.start < bounds.start || v.start > bounds.end) {
            return kRangeFail;
        }
    } else if (static_cast<uint64_t>(v.start) > static_cast<uint64_t>(bounds.end)) {
        return kRangeFail;
    }
    return KZT_CONS_StoreLatestParentTypeMinMaxValue(chk, &bounds, 1, KZT_SEG_SIZE_INT64, ConvertRawSeg);
}

uint32_t KZT_CONS_CheckValStrAgainstDefRestrictDecimal64(KztBaseType baseType, const char *value,
                                                         KztValCheckCtx *chk)
{
    (void)baseType;
    if (value == nullptr || chk == nullptr || chk->fracDigits == 0) {
        return kRangeFail;
    }
    int64_t scaled = 0;
    if (KZT_CONS_ConvertValStrToDecimal64PowerInteger(value, static_cast<uint8_t>(chk->fracDigits), &scaled) !=
        KZ_OK) {
        return kRangeFail;
    }
    return KZ_OK;
}

uint32_t KZT_CONS_CheckValStrAgainstDefRestrictLength(KztBaseType baseType, const char *value, KztValCheckCtx *chk)
{
    (void)baseType;
    (void)value;
    return KZT_CONS_StoreLatestParentTypeMinMaxValue(chk, &kStringLengthBounds, 1, KZT_SEG_SIZE_INT64,
                                                     ConvertRawSeg);
}

/* ---- Range and length constraints ---------------------------------------------------------- */

uint32_t KZT_CONS_ValidateValueNodeAgainstDataRange(void *body, uint32_t inputKind, const void *input,
                                                    KztValCheckCtx *chk)
{
    const auto *range = static_cast<const KztConsDataRange *>(body);
    if (range == nullptr || chk == nullptr) {
        return KZ_EINVAL;
    }
    const char *text = KZT_TYPE_GetInputValueAsSimpleStr(inputKind, input);
    if (text == nullptr) {
        return kRangeFail;
    }
    if (chk->explicitCnt > 1) {
        return KZ_OK; // a more derived range, which lies within this one, is enforced instead
    }
    if (chk->baseType == KZT_BASE_DERIVED) {
        return kRangeFail;
    }
    SegInt64 value{};
    if (chk->baseType == KZT_BASE_DECIMAL64) {
        if (KZT_CONS_ConvertValStrToDecimal64PowerInteger(text, static_cast<uint8_t>(chk->fracDigits),
                                                          &value.start) != KZ_OK) {
            return kRangeFail;
        }
        value.flags = KZT_SEGF_SIGNED;
    } else if (!ParseIntegerValue(chk->baseType, text, &value)) {
        return kRangeFail;
    }
    // The segments' width follows the type that carries this range.
    KztBaseType segBase = chk->curRealType != nullptr ? chk->curRealType->baseType : chk->baseType;
    if (range->segSize != KZT_CONS_GetNytSegIntegerSize(segBase)) {
        return kRangeFail;
    }
    KztSegCompareFunc cmp = KZT_CONS_GetValueStrToRangeCheckFunc(segBase);
    if (cmp == nullptr || !ValueInSegs(&value, range, cmp, chk)) {
        return kRangeFail;
    }
    (void)KZT_CONS_StoreLatestParentTypeMinMaxValue(chk, range->segs, range->segCount, range->segSize,
                                                    KZT_CONS_GetRangeSegConvertFunc(segBase));
    return KZ_OK;
}

uint32_t KZT_CONS_ValidateValueNodeAgainstDataLength(void *body, uint32_t inputKind, const void *input,
                                                     KztValCheckCtx *chk)
{
    const auto *length = static_cast<const KztConsDataRange *>(body);
    if (length == nullptr || chk == nullptr) {
        return KZ_EINVAL;
    }
    uint64_t len = 0;
    if (chk->baseType == KZT_BASE_BINARY) {
        len = chk->binLen;
    } else {
        const char *text = KZT_TYPE_GetInputValueAsSimpleStr(inputKind, input);
        len = text != nullptr ? std::strlen(text) : 0;
    }
    if (chk->explicitCnt > 1) {
        return KZ_OK;
    }
    SegInt64 value{static_cast<int64_t>(len), 0, KZT_SEGF_UNSIGNED};
    KztSegCompareFunc cmp = KZT_CONS_GetValueStrToLengthCheckFunc(length->segSize);
    if (cmp == nullptr || !ValueInSegs(&value, length, cmp, chk)) {
        return kLengthFail;
    }
    (void)KZT_CONS_StoreLatestParentTypeMinMaxValue(chk, length->segs, length->segCount, length->segSize,
                                                    KZT_CONS_GetLengthSegConvertFunc(length->segSize));
    return KZ_OK;
}

/* ---- Start/end scans ---------------------------------------------------------------------- */

uint32_t KZT_CONS_ScanStartEndPairsWithRange(const void *body, KztBaseType baseType, KzTypeStartEndCb cb,
                                             void *arg)
{
    const auto *range = static_cast<const KztConsDataRange *>(body);
    if (range == nullptr || cb == nullptr || baseType >= KZT_BASE_INVALID) {
        return KZ_EINVAL;
    }
    PairFunc pair = RangePairFunc(baseType);
    if (pair == nullptr || range->segSize != KZT_CONS_GetNytSegIntegerSize(baseType)) {
        return KZ_EINVAL;
    }
    return ScanPairs(range, pair, cb, arg);
}

uint32_t KZT_CONS_ScanStartEndPairsWithLength(const void *body, KztBaseType baseType, KzTypeStartEndCb cb,
                                              void *arg)
{
    const auto *length = static_cast<const KztConsDataRange *>(body);
    if (length == nullptr || cb == nullptr || baseType >= KZT_BASE_INVALID) {
        return KZ_EINVAL;
    }
    if (length->segSize == KZT_SEG_SIZE_LEN32) {
        return ScanPairs(length, MakePair<uint32_t>, cb, arg);
    }
    if (length->segSize == KZT_SEG_SIZE_INT64) {
        return ScanPairs(length, DerivedLengthPair, cb, arg);
    }
    return KZ_EINVAL;
}

} // extern "C"
