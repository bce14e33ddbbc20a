// Real types: constraint arrays, copy and destroy, queries, derived-reference
// binding and the built-in restriction check used for default values.
#include <cstring>

#include "base/kz_xml.h"
#include "types/kzt_cons.h"
#include "types/kzt_type.h"
#include "base/kz_kit.h"

extern "C" {

uint32_t KZT_TYPE_ExpandConstraintArray(KztRealType *realType, uint16_t count)
{
    if (realType == nullptr || realType->constraints != nullptr || count == 0) {
        return KZ_EINVAL;
    }
    auto *entries = kz::ZeroAlloc<KztTypeConstraint>(count);
    if (entries == nullptr) {
        return KZ_ENOMEM;
    }
    realType->constraints = entries;
    realType->consCount = 0;
    return KZ_OK;
}

/* ---- Destroy ----------------------------------------------------------------- */

void KZT_CONS_DestroyOneConsData(KzDict *dict, KztTypeConstraint *entry)
{
    if (entry == nullptr || entry->consData == nullptr) {
        return;
    }
    KztConsDestroyBodyFunc destroy = KZT_CONS_GetConsDataDestroyBodyFunc(entry->consType);
    if (destroy != nullptr) {
        destroy(dict, entry->consData);
    }
    entry->consData = nullptr;
}

void KZT_TYPE_DestroyTypeConstraintArray(KzDict *dict, KztRealType *realType)
{
    if (realType == nullptr) {
        return;
    }
    if (realType->constraints != nullptr) {
        for (uint16_t i = 0; i < realType->consCount; ++i) {
            KZT_CONS_DestroyOneConsData(dict, &realType->constraints[i]);
        }
        KZ_MemFree(realType->constraints);
    }
    realType->constraints = nullptr;
    realType->consCount = 0;
}

void KZT_TYPE_DestroyNytRealTypeInner(KzDict *dict, KztRealType *realType)
{
    if (realType == nullptr) {
        return;
    }
    KZT_TYPE_DestroyTypeConstraintArray(dict, realType);
    realType->baseType = KZT_BASE_DERIVED;
    realType->rngLenFlags = 0;
}

void KZT_TYPE_DestroyNytRealType(KzDict *dict, KztRealType *realType)
{
    if (realType == nullptr) {
        return;
    }
    KZT_TYPE_DestroyNytRealTypeInner(dict, realType);
    KZ_MemFree(realType);
}

/* ---- Copy ---------------------------------------------------------------------- */

void *KZT_CONS_CopyOneConsData(KzDict *dict, const KztTypeConstraint *entry)
{
    if (entry == nullptr || entry->consData == nullptr) {
        return nullptr;
    }
    KztConsCopyBodyFunc copy = KZT_CONS_GetConsDataCopyBodyFunc(entry->consType);
    return copy != nullptr ? copy(dict, entry->consData) : nullptr;
}

uint32_t KZT_TYPE_CopyNytRealTypeInner(KzDict *dict, KztRealType *dst, const KztRealType *src)
{
    if (dst == nullptr || src == nullptr || dst->constraints != nullptr) {
        return KZ_EINVAL;
    }
    if (src->constraints == nullptr || src->consCount == 0) {
        dst->baseType = src->baseType;
        return KZ_OK;
    }
    uint32_t ret = KZT_TYPE_ExpandConstraintArray(dst, src->consCount);
    if (ret != KZ_OK) {
        return ret;
    }
    dst->baseType = src->baseType;
    dst->rngLenFlags = src->rngLenFlags;
    for (uint16_t i = 0; i < src->consCount; ++i) {
        void *body = KZT_CONS_CopyOneConsData(dict, &src->constraints[i]);
        if (body == nullptr) {
            KZT_TYPE_DestroyNytRealTypeInner(dict, dst);
            return KZ_ENOMEM;
        }
        dst->constraints[i].consType = src->constraints[i].consType;
        dst->constraints[i].consData = body;
        dst->consCount = static_cast<uint16_t>(i + 1);
    }
    return KZ_OK;
}

KztRealType *KZT_TYPE_CopyNytRealType(KzDict *dict, const KztRealType *src)
{
    if (src == nullptr) {
        return nullptr;
    }
    auto *copy = kz::ZeroAlloc<KztRealType>();
    if (copy == nullptr) {
        return nullptr;
    }
    if (KZT_TYPE_CopyNytRealTypeInner(dict, copy, src) != KZ_OK) {
        KZ_MemFree(copy);
        return nullptr;
    }
    return copy;
}

/* ---- Queries ----------------------------------------------------------------------- */

void *KZT_TYPE_GetTypeConsDataByConsType(const KztRealType *realType, KztConsType kind)
{
    if (realType == nullptr || realType->constraints == nullptr) {
        return nullptr;
    }
    for (uint16_t i = 0; i < realType->consCount; ++i) {
        if (realType->constraints[i].consType == kind) {
            return realType->constraints[i].consData;
        }
    }
    return nullptr;
}

KztConsDataDerived *KZT_TYPE_GetTypeConsDataDerived(const KztRealType *realType)
{
    if (realType == nullptr || realType->constraints == nullptr || realType->consCount == 0 ||
        realType->constraints[0].consType != KZT_CONS_DERIVED) {
        return nullptr;
    }
    return static_cast<KztConsDataDerived *>(realType->constraints[0].consData);
}

uint8_t KZT_TYPE_GetTypeConsDataFractionVal(const KztRealType *realType)
{
    const auto *frac =
        static_cast<const KztConsDataFraction *>(KZT_TYPE_GetTypeConsDataByConsType(realType, KZT_CONS_FRACTION));
    return frac != nullptr ? frac->fracDigits : 0;
}

KztConsDataPath *KZ_TYPE_GetTypeConsDataLeafrefPath(const KztRealType *realType)
{
    return static_cast<KztConsDataPath *>(KZT_TYPE_GetTypeConsDataByConsType(realType, KZT_CONS_PATH));
}

const char *KZT_TYPE_GetInheritedTypDefName(const KztRealType *realType, const char **modName)
{
    const KztConsDataDerived *derived = KZT_TYPE_GetTypeConsDataDerived(realType);
    if (derived == nullptr) {
        return nullptr;
    }
    if (modName != nullptr) {
        *modName = derived->modName;
    }
    return derived->tdefName;
}

uint32_t KZ_TYPE_GetBuiltInBaseType(const KztRealType *realType)
{
    return realType != nullptr ? realType->baseType : static_cast<uint32_t>(KZT_BASE_INVALID);
}

uint32_t KZT_TYPE_IsTypeWithIdentref(const KztRealType *realType)
{
    return (realType != nullptr && realType->baseType == KZT_BASE_IDENTITYREF) ? 1u : 0u;
}

uint32_t KZT_TYPE_IsInvalidType(const KztRealType *realType)
{
    if (realType == nullptr || realType->baseType == KZT_BASE_INVALID) {
        return 1;
    }
    return (realType->baseType == KZT_BASE_DERIVED && realType->consCount == 0) ? 1u : 0u;
}

/* ---- Binding -------------------------------------------------------------------------- */

uint32_t KZT_TYPE_UpdateRealTypeDerivedFrom(KztRealType *realType, KzMod *mod)
{
    if (realType == nullptr || mod == nullptr) {
        return KZ_EINVAL;
    }
    if (realType->constraints == nullptr) {
        return KZ_OK;
    }
    for (uint16_t i = 0; i < realType->consCount; ++i) {
        KztTypeConstraint *entry = &realType->constraints[i];
        if (entry->consType != KZT_CONS_DERIVED && entry->consType != KZT_CONS_UNION) {
            continue;
        }
        KztConsUpdateDerFromFunc update = KZT_CONS_GetConsDataUpdateDerFromModFunc(entry->consType);
        if (update == nullptr || entry->consData == nullptr) {
            continue;
        }
        uint32_t ret = update(entry->consData, mod);
        if (ret != KZ_OK) {
            return ret;
        }
    }
    return KZ_OK;
}

uint32_t KZT_CONS_UpdateConsDataDerFromWithUnion(void *body, KzMod *mod)
{
    auto *un = static_cast<KztConsDataUnion *>(body);
    if (un == nullptr) {
        return KZ_EINVAL;
    }
    for (uint16_t i = 0; i < un->segCount && un->segs != nullptr; ++i) {
        uint32_t ret = KZT_TYPE_UpdateRealTypeDerivedFrom(&un->segs[i], mod);
        if (ret != KZ_OK) {
            return ret;
        }
    }
    return KZ_OK;
}

/* ---- Built-in restriction check ----------------------------------------------------------- */

const char *KZT_TYPE_GetInputValueAsSimpleStr(uint32_t inputKind, const void *input)
{
    if (input == nullptr) {
        return nullptr;
    }
    if (inputKind == KZ_VAL_INPUT_STRING) {
        return static_cast<const char *>(input);
    }
    if (inputKind == KZ_VAL_INPUT_XMLNODE) {
        return KZ_XML_GetElemNodeContent(static_cast<const xmlNode *>(input));
    }
    return nullptr;
}

uint32_t KZT_TYPE_CheckBaseTypeSystemRestriction(KztBaseType baseType, uint32_t inputKind, const void *input,
                                                 KztValCheckCtx *chk)
{
    const char *value = KZT_TYPE_GetInputValueAsSimpleStr(inputKind, input);
    KztBaseTypeCheckFunc check = KZT_CONS_GetBaseTypeDefRestrictCheckFunc(baseType);
    if (check == nullptr) {
        return KZ_OK;
    }
    KztValCheckCtx local{};
    return check(baseType, value, chk != nullptr ? chk : &local);
}

} // extern "C"
