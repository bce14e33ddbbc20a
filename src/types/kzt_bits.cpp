/* Bits constraint: body, fill with positions, value parsing and check, and
 * name/value scan. */
#include <cstring>
#include <memory>

#include "schema/kzs_ctx.h"
#include "base/kz_scan.h"
#include "base/kz_xml.h"
#include "types/kzt_cons.h"
#include "types/kzt_seg_fill.h"
#include "types/kzt_seg_util.h"

namespace {

constexpr uint64_t kBitPositionMax = 4294967294u;
/* A bits value names at most this many bits; the collection never needs
 * more room than that, whatever the type's bit count. */
constexpr uint16_t kBitValueMaxNames = 129;
constexpr size_t kBitNameMax = 64;

bool IsSeparator(char c)
{
    return c == '\t' || c == '\n' || c == ' ';
}

} // namespace

extern "C" {

void *KZT_CONS_CreateConsDataBodyWithBit(uint16_t segCount)
{
    return kz::types::NewSegBody<KztConsDataBit, KztSegBit>(segCount);
}

void KZT_CONS_DestroyConsDataBodyWithBit(KzDict *dict, void *body)
{
    kz::types::DestroySegBody<KztConsDataBit>(dict, body, [](KzDict *d, KztSegBit &seg) { kz::base::DictDrop(d, seg.name); });
}

void *KZT_CONS_CopyConsDataBodyWithBit(KzDict *dict, const void *src)
{
    return kz::types::CopySegBody<KztConsDataBit, KztSegBit>(
        dict, src, KZT_CONS_DestroyConsDataBodyWithBit, [](KzDict *d, KztSegBit &to, const KztSegBit &from) {
            to.position = from.position;
            return kz::base::DictPut(d, to.name, from.name);
        });
}

uint32_t KZT_LOADER_FillOneConsSegBit(KzCtx *ctx, KzMod *mod, void *seg, uint8_t *aux, xmlNode *elem)
{
    (void)mod;
    return kz::types::FillOneNumberedSeg<KztSegBit>(ctx, seg, aux, elem, "position", [](const char *text, KztSegBit *s) {
        uint64_t v = 0;
        if (KZ_UTL_ReadInputStrAsUnsignedInteger(text, nullptr, 0, &v) != KZ_OK || v > kBitPositionMax) {
            return false;
        }
        s->position = static_cast<uint32_t>(v);
        return true;
    });
}

uint32_t KZT_LOADER_FillConsDataAndAllBitSeg(KzCtx *ctx, KzMod *mod, xmlNode *typeElem, KztConsFillArg *arg)
{
    KztConsDataBit *body = nullptr;
    kz::types::ExplicitMarks explicitPos;
    const uint32_t rc = kz::types::FillNumberedSegs<KztConsDataBit, KztSegBit>(
        ctx, mod, typeElem, arg, KZT_MARK_BIT, KZT_LOADER_FillOneConsSegBit, &body, &explicitPos);
    if (rc != KZ_OK || body->segCount == 0) {
        return rc;
    }
    uint64_t next = 0;
    for (uint16_t i = 0; i < body->segCount; ++i) {
        if (explicitPos.get()[i] == 0) {
            if (next > UINT32_MAX) {
                return KZ_EINVAL;
            }
            body->segs[i].position = static_cast<uint32_t>(next++);
        } else if (body->segs[i].position >= next) {
            next = static_cast<uint64_t>(body->segs[i].position) + 1;
        }
    }
    return KZ_OK;
}

KztBitValColl *KZT_CONS_CreateBitValColl(uint16_t capacity)
{
    auto *coll = kz::ZeroAlloc<KztBitValColl>();
    if (coll == nullptr) {
        return nullptr;
    }
    if (capacity > kBitValueMaxNames) {
        capacity = kBitValueMaxNames;
    }
    if (capacity != 0) {
        coll->names = kz::ZeroAlloc<char[kz::kNameBufSize]>(capacity);
        if (coll->names == nullptr) {
            KZ_MemFree(coll);
            return nullptr;
        }
    }
    coll->capacity = capacity;
    return coll;
}

void KZT_CONS_DestroyBitValColl(KztBitValColl *coll)
{
    if (coll != nullptr) {
        KZ_MemFree(coll->names);
        KZ_MemFree(coll);
    }
}

uint32_t KZT_CONS_AppendOneBitValueToColl(KztBitValColl *coll, const char *name, size_t len)
{
    if (coll == nullptr || name == nullptr || len > kBitNameMax) {
        return KZ_EINVAL;
    }
    for (uint16_t i = 0; i < coll->count; ++i) {
        if (std::strlen(coll->names[i]) == len && std::memcmp(coll->names[i], name, len) == 0) {
            return KZ_EINVAL; /* a bit named twice */
        }
    }
    if (coll->count >= coll->capacity) {
        return KZ_EINVAL;
    }
    std::memcpy(coll->names[coll->count], name, len);
    coll->names[coll->count][len] = '\0';
    ++coll->count;
    return KZ_OK;
}

uint32_t KZT_CONS_ReadInputValStrToBitValColl(const char *value, KztBitValColl *coll)
{
    if (value == nullptr || coll == nullptr) {
        return KZ_EINVAL;
    }
    const char *p = value;
    for (uint32_t n = 0;; ++n) {
        if (n >= kBitValueMaxNames) {
            return KZ_EINVAL;
        }
        const uint32_t len = KZ_UTL_ConsumeIdentNameBestEffort(p);
        if (KZT_CONS_AppendOneBitValueToColl(coll, p, len) != KZ_OK) {
            return KZ_EINVAL;
        }
        p += len;
        if (!IsSeparator(*p)) {
            break;
        }
        p = KZ_UTL_ConsumeAllSpaceChar(p);
    }
    return (*p == '\0') ? KZ_OK : KZ_EINVAL;
}

uint32_t KZT_CONS_CheckBitValCollAgaistSegBits(const KztBitValColl *coll, const KztConsDataBit *bits)
{
    if (coll == nullptr || bits == nullptr) {
        return KZ_EINVAL;
    }
    for (uint16_t i = 0; i < coll->count; ++i) {
        bool found = false;
        for (uint16_t j = 0; j < bits->segCount && !found; ++j) {
            found = bits->segs[j].name != nullptr && std::strcmp(bits->segs[j].name, coll->names[i]) == 0;
        }
        if (!found) {
            return KZ_EINVAL;
        }
    }
    return KZ_OK;
}

uint32_t KZT_CONS_ValidateValueNodeAgainstDataBit(void *body, uint32_t inputKind, const void *input,
                                                  KztValCheckCtx *chk)
{
    (void)chk;
    const auto *bits = static_cast<const KztConsDataBit *>(body);
    const char *value = KZT_TYPE_GetInputValueAsSimpleStr(inputKind, input);
    if (bits == nullptr || value == nullptr) {
        return KZ_VAL_ERR_BITS;
    }
    if (value[0] == '\0') {
        return KZ_OK; /* no bit set */
    }
    KztBitValColl *coll = KZT_CONS_CreateBitValColl(bits->segCount);
    if (coll == nullptr) {
        return KZ_VAL_ERR_BITS;
    }
    uint32_t rc = KZT_CONS_ReadInputValStrToBitValColl(value, coll);
    if (rc == KZ_OK) {
        rc = KZT_CONS_CheckBitValCollAgaistSegBits(coll, bits);
    }
    KZT_CONS_DestroyBitValColl(coll);
    return (rc == KZ_OK) ? KZ_OK : KZ_VAL_ERR_BITS;
}

uint32_t KZT_CONS_ScanNameValuePairsWithBit(const void *body, KzTypeNameValueCb cb, void *arg)
{
    const auto *b = static_cast<const KztConsDataBit *>(body);
    if (b == nullptr || cb == nullptr) {
        return KZ_EINVAL;
    }
    for (uint16_t i = 0; i < b->segCount; ++i) {
        const uint32_t rc = cb(b->segs[i].name, b->segs[i].position, nullptr, arg);
        if (rc != 0) {
            return rc;
        }
    }
    return KZ_OK;
}

} // extern "C"
