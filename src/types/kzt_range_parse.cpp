// Splitting "range" and "length" expressions into per-width segments.
#include <cstring>
#include <limits>
#include <type_traits>

#include "base/kz_str.h"
#include "base/kz_scan.h"
#include "base/kz_xml.h"
#include "types/kzt_cons.h"
#include "types/kzt_type.h"
#include "types/kzt_seg.h"

namespace {

constexpr uint32_t kMaxRangeTokens = 256;
constexpr size_t kDecimalTextMax = 31; // characters of one decimal64 bound

inline bool IsSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n';
}

inline const char *SkipSpace(const char *p)
{
    while (IsSpace(*p)) {
        ++p;
    }
    return p;
}

inline bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Reads one bound at p. On success *out holds the value and *signFlag its
// sign flag, and the returned pointer is past the number and any white space.
const char *ReadBound(const char *p, const KztRealType *realType, int64_t *out, uint32_t *signFlag)
{
    const char *start = p;
    if (realType->baseType == KZT_BASE_DECIMAL64) {
        char text[kDecimalTextMax + 1];
        size_t n = 0;
        if (*p == '+' || *p == '-') {
            text[n++] = *p++;
        }
        while (IsDigit(*p) || (*p == '.' && p[1] != '.')) {
            if (n == kDecimalTextMax) {
                return nullptr;
            }
            text[n++] = *p++;
        }
        text[n] = '\0';
        if (p == start) {
            return nullptr;
        }
        int64_t value = 0;
        if (KZT_CONS_ConvertValStrToDecimal64PowerInteger(text, KZT_TYPE_GetTypeConsDataFractionVal(realType),
                                                          &value) != KZ_OK) {
            return nullptr;
        }
        *out = value;
        *signFlag = KZT_SEGF_SIGNED;
    } else if (*p == '-') {
        int64_t value = 0;
        const char *end = nullptr;
        if (KZ_UTL_ReadInputStrAsSignedInteger(p, &end, 0, &value) != KZ_OK || end == nullptr) {
            return nullptr;
        }
        p = end;
        *out = value;
        *signFlag = KZT_SEGF_SIGNED;
    } else {
        uint64_t value = 0;
        const char *end = nullptr;
        if (KZ_UTL_ReadInputStrAsUnsignedInteger(p, &end, 0, &value) != KZ_OK || end == nullptr) {
            return nullptr;
        }
        p = end;
        *out = static_cast<int64_t>(value);
        *signFlag = KZT_SEGF_UNSIGNED;
    }
    if (IsDigit(*p)) {
        return nullptr;
    }
    return SkipSpace(p);
}

// Finishes one "|"-separated part and hands it to the push function.
uint32_t FinishPart(SegInt64 *rec, uint32_t pos, KztRangePushFunc push, KztRangePushArg *arg)
{
    if (rec->flags == 0) {
        return KZ_EINVAL; // empty part
    }
    if (pos == 0) {
        if ((rec->flags & (KZT_SEGF_START_MIN | KZT_SEGF_START_MAX)) != 0) {
            if ((rec->flags & KZT_SEGF_START_MIN) != 0) {
                rec->flags |= KZT_SEGF_END_MIN;
            }
            if ((rec->flags & KZT_SEGF_START_MAX) != 0) {
                rec->flags |= KZT_SEGF_END_MAX;
            }
        } else {
            rec->end = rec->start;
        }
    }
    if (push(arg->realType, arg->entry, &arg->filled, rec) != KZ_OK) {
        return KZ_EINVAL;
    }
    return KZ_OK;
}

template <typename T>
using SegFor = typename kz::types::SegTraits<T>::Seg;

template <typename T>
bool FitsSigned(const SegInt64 *rec)
{
    constexpr auto limit = static_cast<uint64_t>(std::numeric_limits<T>::max());
    return static_cast<uint64_t>(rec->start) <= limit && static_cast<uint64_t>(rec->end) <= limit;
}

// Stores one part narrowed to T. Signed widths keep out-of-range unsigned
// parts as zeros and narrow signed values unchecked; unsigned widths refuse
// signed parts and narrow unchecked. Both are relied upon by existing modules.
template <typename T>
uint32_t PushNarrowed(KztTypeConstraint *entry, uint16_t *filled, const SegInt64 *rec)
{
    using Seg = SegFor<T>;
    auto *body = entry != nullptr ? static_cast<KztConsDataRange *>(entry->consData) : nullptr;
    if (body == nullptr || body->segs == nullptr || filled == nullptr || rec == nullptr ||
        *filled >= body->segCount || body->segSize != sizeof(Seg)) {
        return KZ_EINVAL;
    }
    Seg &seg = static_cast<Seg *>(body->segs)[*filled];
    if constexpr (std::is_signed_v<T>) {
        if ((rec->flags & KZT_SEGF_SIGNED) != 0 || ((rec->flags & KZT_SEGF_UNSIGNED) != 0 && FitsSigned<T>(rec))) {
            seg.start = static_cast<T>(rec->start);
            seg.end = static_cast<T>(rec->end);
        }
    } else {
        if ((rec->flags & KZT_SEGF_SIGNED) != 0) {
            return KZ_EINVAL;
        }
        seg.start = static_cast<T>(rec->start);
        seg.end = static_cast<T>(rec->end);
    }
    constexpr T lo = std::numeric_limits<T>::min();
    constexpr T hi = std::numeric_limits<T>::max();
    if ((rec->flags & KZT_SEGF_START_MIN) != 0) {
        seg.start = lo;
    }
    if ((rec->flags & KZT_SEGF_START_MAX) != 0) {
        seg.start = hi;
    }
    if ((rec->flags & KZT_SEGF_END_MIN) != 0) {
        seg.end = lo;
    }
    if ((rec->flags & KZT_SEGF_END_MAX) != 0) {
        seg.end = hi;
    }
    if constexpr (sizeof(T) == sizeof(int64_t)) {
        if constexpr (std::is_signed_v<T>) {
            seg.flags = KZT_SEGF_SIGNED;
        } else {
            seg.flags |= KZT_SEGF_UNSIGNED;
        }
    }
    ++*filled;
    return KZ_OK;
}

// A length bound can never be negative, even where the parse record is kept whole.
uint32_t PushLengthRecord(KztRealType *realType, KztTypeConstraint *entry, uint16_t *filled, const SegInt64 *rec)
{
    if (rec == nullptr || (rec->flags & KZT_SEGF_SIGNED) != 0) {
        return KZ_EINVAL;
    }
    return KZT_LOADER_PushRangeValueIntoSegIntUnknown(realType, entry, filled, rec);
}

// Shared by ranges and lengths: split the expression of the first child with
// the given mark and record the flags on the real type.
uint32_t FillRangeLike(xmlNode *typeElem, KztConsFillArg *arg, uint32_t mark, bool isLength)
{
    if (typeElem == nullptr || arg == nullptr || arg->realType == nullptr || arg->entry == nullptr ||
        arg->entry->consData == nullptr) {
        return KZ_EINVAL;
    }
    xmlNode *child = KZ_XML_GetFirstChildNodeWithPriVal(typeElem, mark);
    const char *expr = child != nullptr ? KZ_XML_GetFirstPropertyValue(child) : nullptr;
    if (expr == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t bars = KZ_UTL_CountCharNumber(expr, '|');
    if (bars >= UINT16_MAX) {
        return KZ_EINVAL;
    }
    KztRealType *realType = arg->realType;
    auto *body = static_cast<KztConsDataRange *>(arg->entry->consData);
    uint16_t segSize =
        isLength ? KZT_CONS_GetSegLengthSize(realType->baseType, expr) : KZT_CONS_GetNytSegIntegerSize(realType->baseType);
    uint32_t ret = KZT_CONS_AllocConsSegWithRange(body, static_cast<uint16_t>(bars + 1), segSize);
    if (ret != KZ_OK) {
        return ret;
    }
    KztRangePushFunc push = isLength ? KZT_LOADER_GetLengthSplitFillFunc(segSize)
                                     : KZT_LOADER_GetRangeSplitFillFunc(realType->baseType);
    if (push == nullptr) {
        return KZ_EINVAL;
    }
    if (push == KZT_LOADER_PushRangeValueIntoSegIntUnknown && isLength) {
        push = PushLengthRecord;
    }
    KztRangePushArg pushArg{realType, arg->entry, 0, 0};
    ret = KZT_LOADER_ScanParseRangeExprWithCb(expr, push, &pushArg);
    if (ret != KZ_OK) {
        return ret;
    }
    bool minMax = isLength ? std::strchr(expr, 'm') != nullptr : pushArg.minMaxSeen != 0;
    if (realType->baseType == KZT_BASE_DERIVED && minMax) {
        realType->rngLenFlags |= KZT_RNGLEN_PARSED | KZT_RNGLEN_PARENT_MINMAX;
    } else {
        realType->rngLenFlags |= KZT_RNGLEN_PARSED | KZT_RNGLEN_EXPLICIT;
    }
    return KZ_OK;
}

} // namespace

extern "C" {

uint32_t KZT_LOADER_ScanParseRangeExprWithCb(const char *expr, KztRangePushFunc push, KztRangePushArg *arg)
{
    if (expr == nullptr || push == nullptr || arg == nullptr || arg->realType == nullptr) {
        return KZ_EINVAL;
    }
    const char *p = SkipSpace(expr);
    SegInt64 rec{};
    uint32_t pos = 0;
    uint32_t tokens = 0;
    while (*p != '\0') {
        if (*p == '.') {
            if (p[1] != '.') {
                return KZ_EINVAL;
            }
            p = SkipSpace(p + 2);
            pos = 1;
        } else if (*p == '|') {
            if (FinishPart(&rec, pos, push, arg) != KZ_OK) {
                return KZ_EINVAL;
            }
            p = SkipSpace(p + 1);
            rec = SegInt64{};
            pos = 0;
        } else if (*p == 'm') {
            uint32_t flag = 0;
            if (p[1] == 'a' && p[2] == 'x') {
                flag = pos == 0 ? KZT_SEGF_START_MAX : KZT_SEGF_END_MAX;
            } else if (p[1] == 'i' && p[2] == 'n') {
                flag = pos == 0 ? KZT_SEGF_START_MIN : KZT_SEGF_END_MIN;
            } else {
                return KZ_EINVAL;
            }
            rec.flags |= flag;
            arg->minMaxSeen = 1;
            p = SkipSpace(p + 3);
        } else {
            int64_t value = 0;
            uint32_t signFlag = 0;
            p = ReadBound(p, arg->realType, &value, &signFlag);
            if (p == nullptr) {
                return KZ_EINVAL;
            }
            if (pos == 0) {
                rec.start = value;
                rec.flags |= signFlag;
            } else {
                rec.end = value;
                // The start's signedness rules the part.
                if ((rec.flags & (KZT_SEGF_SIGNED | KZT_SEGF_UNSIGNED)) == 0) {
                    rec.flags |= signFlag;
                }
            }
        }
        if (++tokens > kMaxRangeTokens) {
            return KZ_EINVAL;
        }
    }
    return FinishPart(&rec, pos, push, arg);
}

uint16_t KZT_CONS_GetNytSegIntegerSize(KztBaseType baseType)
{
    switch (baseType) {
        case KZT_BASE_INT8: return sizeof(KztSegInt8);
        case KZT_BASE_INT16: return sizeof(KztSegInt16);
        case KZT_BASE_INT32: return sizeof(KztSegInt32);
        case KZT_BASE_UINT8: return sizeof(KztSegUint8);
        case KZT_BASE_UINT16: return sizeof(KztSegUint16);
        case KZT_BASE_UINT32: return sizeof(KztSegUint32);
        default: return KZT_SEG_SIZE_INT64; // int64, decimal64, uint64, derived, and the rest
    }
}

uint16_t KZT_CONS_GetSegLengthSize(KztBaseType baseType, const char *expr)
{
    if (baseType == KZT_BASE_DERIVED && expr != nullptr && std::strchr(expr, 'm') != nullptr) {
        return KZT_SEG_SIZE_INT64;
    }
    return KZT_SEG_SIZE_LEN32;
}

KztRangePushFunc KZT_LOADER_GetRangeSplitFillFunc(KztBaseType baseType)
{
    switch (baseType) {
        case KZT_BASE_DERIVED: return KZT_LOADER_PushRangeValueIntoSegIntUnknown;
        case KZT_BASE_INT8: return KZT_LOADER_PushRangeValueIntoSegInt8Signed;
        case KZT_BASE_INT16: return KZT_LOADER_PushRangeValueIntoSegInt16Signed;
        case KZT_BASE_INT32: return KZT_LOADER_PushRangeValueIntoSegInt32Signed;
        case KZT_BASE_INT64:
        case KZT_BASE_DECIMAL64: return KZT_LOADER_PushRangeValueIntoSegInt64Signed;
        case KZT_BASE_UINT8: return KZT_LOADER_PushRangeValueIntoSegInt8Unsigned;
        case KZT_BASE_UINT16: return KZT_LOADER_PushRangeValueIntoSegInt16Unsigned;
        case KZT_BASE_UINT32: return KZT_LOADER_PushRangeValueIntoSegInt32Unsigned;
        case KZT_BASE_UINT64: return KZT_LOADER_PushRangeValueIntoSegInt64Unsigned;
        default: return nullptr;
    }
}

KztRangePushFunc KZT_LOADER_GetLengthSplitFillFunc(uint16_t segSize)
{
    if (segSize == KZT_SEG_SIZE_LEN32) {
        return KZT_LOADER_PushRangeValueIntoSegInt32Unsigned;
    }
    if (segSize == KZT_SEG_SIZE_INT64) {
        return KZT_LOADER_PushRangeValueIntoSegIntUnknown;
    }
    return nullptr;
}

uint32_t KZT_LOADER_IsValidUnSignedWithInt8(const SegInt64 *rec)
{
    return (rec != nullptr && FitsSigned<int8_t>(rec)) ? 1u : 0u;
}

uint32_t KZT_LOADER_IsValidUnSignedWithInt16(const SegInt64 *rec)
{
    return (rec != nullptr && FitsSigned<int16_t>(rec)) ? 1u : 0u;
}

uint32_t KZT_LOADER_IsValidUnSignedWithInt32(const SegInt64 *rec)
{
    return (rec != nullptr && FitsSigned<int32_t>(rec)) ? 1u : 0u;
}

uint32_t KZT_LOADER_IsValidUnSignedWithInt64(const SegInt64 *rec)
{
    return (rec != nullptr && FitsSigned<int64_t>(rec)) ? 1u : 0u;
}

#define KZT_DEFINE_PUSH(NAME, TYPE)                                                                        \
    uint32_t NAME(KztRealType *realType, KztTypeConstraint *entry, uint16_t *filled, const SegInt64 *rec) \
    {                                                                                                      \
        (void)realType;                                                                                    \
        return PushNarrowed<TYPE>(entry, filled, rec);                                                     \
    }

KZT_DEFINE_PUSH(KZT_LOADER_PushRangeValueIntoSegInt8Signed, int8_t)
KZT_DEFINE_PUSH(KZT_LOADER_PushRangeValueIntoSegInt16Signed, int16_t)
KZT_DEFINE_PUSH(KZT_LOADER_PushRangeValueIntoSegInt32Signed, int32_t)
KZT_DEFINE_PUSH(KZT_LOADER_PushRangeValueIntoSegInt64Signed, int64_t)
KZT_DEFINE_PUSH(KZT_LOADER_PushRangeValueIntoSegInt8Unsigned, uint8_t)
KZT_DEFINE_PUSH(KZT_LOADER_PushRangeValueIntoSegInt16Unsigned, uint16_t)
KZT_DEFINE_PUSH(KZT_LOADER_PushRangeValueIntoSegInt32Unsigned, uint32_t)
KZT_DEFINE_PUSH(KZT_LOADER_PushRangeValueIntoSegInt64Unsigned, uint64_t)

#undef KZT_DEFINE_PUSH

uint32_t KZT_LOADER_PushRangeValueIntoSegIntUnknown(KztRealType *realType, KztTypeConstraint *entry,
                                                    uint16_t *filled, const SegInt64 *rec)
{
    (void)realType;
    auto *body = entry != nullptr ? static_cast<KztConsDataRange *>(entry->consData) : nullptr;
    if (body == nullptr || body->segs == nullptr || filled == nullptr || rec == nullptr ||
        *filled >= body->segCount || body->segSize != KZT_SEG_SIZE_INT64) {
        return KZ_EINVAL;
    }
    // "min"/"max" stay as flags: they resolve against the parent at validation.
    static_cast<SegInt64 *>(body->segs)[*filled] = *rec;
    ++*filled;
    return KZ_OK;
}

uint32_t KZT_LOADER_FillConsDataAndAllRangeSeg(KzCtx *ctx, KzMod *mod, xmlNode *typeElem, KztConsFillArg *arg)
{
    (void)ctx;
    (void)mod;
    return FillRangeLike(typeElem, arg, KZT_MARK_RANGE, false);
}

uint32_t KZT_LOADER_FillConsDataAndAllLengthSeg(KzCtx *ctx, KzMod *mod, xmlNode *typeElem, KztConsFillArg *arg)
{
    (void)ctx;
    (void)mod;
    return FillRangeLike(typeElem, arg, KZT_MARK_LENGTH, true);
}

} // extern "C"
