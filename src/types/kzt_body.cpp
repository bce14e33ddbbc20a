// Bodies of the derived, fraction-digits, range and length constraints:
// creation, copy, destruction and the derived reference's binding.
#include <cstring>

#include "schema/kzs_mod.h"
#include "types/kzt_cons.h"
#include "types/kzt_type.h"
#include "base/kz_kit.h"

extern "C" {

/* ---- Derived ------------------------------------------------------------ */

void *KZT_CONS_CreateConsDataBodyWithDerived(uint16_t segCount)
{
    (void)segCount;
    return kz::ZeroAlloc<KztConsDataDerived>();
}

uint32_t KZT_CONS_FillConsDataDerived(KzDict *dict, KztConsDataDerived *body, const char *modName,
                                      const char *tdefName)
{
    if (dict == nullptr || body == nullptr || modName == nullptr || tdefName == nullptr) {
        return KZ_EINVAL;
    }
    const char *mod = KZ_DICT_Insert(dict, modName);
    if (mod == nullptr) {
        return KZ_ENOMEM;
    }
    const char *tdef = KZ_DICT_Insert(dict, tdefName);
    if (tdef == nullptr) {
        KZ_DICT_Remove(dict, mod);
        return KZ_ENOMEM;
    }
    body->modName = mod;
    body->tdefName = tdef;
    return KZ_OK;
}

void *KZT_CONS_CopyConsDataBodyWithDerived(KzDict *dict, const void *src)
{
    const auto *from = static_cast<const KztConsDataDerived *>(src);
    if (dict == nullptr || from == nullptr) {
        return nullptr;
    }
    auto *body = kz::ZeroAlloc<KztConsDataDerived>();
    if (body == nullptr) {
        return nullptr;
    }
    if (KZT_CONS_FillConsDataDerived(dict, body, from->modName, from->tdefName) != KZ_OK) {
        KZ_MemFree(body);
        return nullptr;
    }
    // The binding is not carried over: it points into a typedef array that may
    // be freed (merge sources) or grown while the copy lives. The copy is bound
    // by the next KZT_TYPE_UpdateRealTypeDerivedFrom, or looked up by name.
    return body;
}

void KZT_CONS_DestroyConsDataBodyWithDerived(KzDict *dict, void *body)
{
    auto *derived = static_cast<KztConsDataDerived *>(body);
    if (derived == nullptr) {
        return;
    }
    if (dict != nullptr) {
        KZ_DICT_Remove(dict, derived->modName);
        KZ_DICT_Remove(dict, derived->tdefName);
    }
    KZ_MemFree(derived);
}

uint32_t KZT_CONS_UpdateConsDataDerFromWithDerived(void *body, KzMod *mod)
{
    auto *derived = static_cast<KztConsDataDerived *>(body);
    if (derived == nullptr || mod == nullptr) {
        return KZ_EINVAL;
    }
    // Only references into this module are bound now; other modules' typedefs
    // are looked up at validation time. A reference bound earlier is bound
    // again: appending typedefs (merge) moves the array it pointed into.
    if (derived->modName != mod->name) {
        return KZ_OK;
    }
    KzsTypedef *tdef = KZS_MOD_FindTypDefObjByName(mod, derived->tdefName);
    if (tdef == nullptr) {
        return KZ_EINVAL;
    }
    derived->tdefRealType = &tdef->realType;
    return KZ_OK;
}

/* ---- Fraction digits ------------------------------------------------------ */

void *KZT_CONS_CreateConsDataBodyWithFraction(uint16_t segCount)
{
    (void)segCount;
    return kz::ZeroAlloc<KztConsDataFraction>();
}

void *KZT_CONS_CopyConsDataBodyWithFraction(KzDict *dict, const void *src)
{
    (void)dict;
    const auto *from = static_cast<const KztConsDataFraction *>(src);
    if (from == nullptr) {
        return nullptr;
    }
    auto *body = kz::ZeroAlloc<KztConsDataFraction>();
    if (body != nullptr) {
        *body = *from;
    }
    return body;
}

void KZT_CONS_DestroyConsDataBodyWithNoDynamic(KzDict *dict, void *body)
{
    (void)dict;
    if (body != nullptr) {
        KZ_MemFree(body);
    }
}

/* ---- Range and length ------------------------------------------------------ */

void *KZT_CONS_CreateConsDataBodyWithRange(uint16_t segCount)
{
    // Segments are allocated only once the expression has been split.
    (void)segCount;
    return kz::ZeroAlloc<KztConsDataRange>();
}

uint32_t KZT_CONS_AllocConsSegWithRange(KztConsDataRange *body, uint16_t segCount, uint16_t segSize)
{
    if (body == nullptr || body->segs != nullptr || segCount == 0 || segSize == 0) {
        return KZ_EINVAL;
    }
    void *segs = kz::ZeroAlloc<unsigned char>(static_cast<size_t>(segCount) * segSize);
    if (segs == nullptr) {
        return KZ_ENOMEM;
    }
    body->segs = segs;
    body->segCount = segCount;
    body->segSize = segSize;
    return KZ_OK;
}

void *KZT_CONS_CopyConsDataBodyWithRange(KzDict *dict, const void *src)
{
    (void)dict;
    const auto *from = static_cast<const KztConsDataRange *>(src);
    if (from == nullptr) {
        return nullptr;
    }
    auto *body = kz::ZeroAlloc<KztConsDataRange>();
    if (body == nullptr) {
        return nullptr;
    }
    if (from->segs != nullptr && from->segCount != 0) {
        if (KZT_CONS_AllocConsSegWithRange(body, from->segCount, from->segSize) != KZ_OK) {
            KZ_MemFree(body);
            return nullptr;
        }
        std::memcpy(body->segs, from->segs, static_cast<size_t>(from->segCount) * from->segSize);
    } else {
        body->segSize = from->segSize;
    }
    return body;
}

void KZT_CONS_DestroyConsDataBodyWithRange(KzDict *dict, void *body)
{
    (void)dict;
    auto *range = static_cast<KztConsDataRange *>(body);
    if (range == nullptr) {
        return;
    }
    if (range->segs != nullptr) {
        KZ_MemFree(range->segs);
    }
    KZ_MemFree(range);
}

} // extern "C"
