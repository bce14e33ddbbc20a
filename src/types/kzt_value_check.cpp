/* Checking a value against a real type: the recursive walk over the
 * constraint entries, the derived chain, and the public entry points. */
#include <cstring>

#include "schema/kzs_ctx.h"
#include "schema/kzs_mod.h"
#include "schema/kzs_node.h"
#include "types/kzt_cons.h"
#include "types/kzt_value_check.h"
#include "base/kz_guard.h"

namespace {

/* Derived steps one context may take; one more is refused. */
constexpr uint16_t kDerivedDepthMax = 128;

/* Shared by the two public entry points; rc is the check's result. */
KztRealType *CheckNodeValue(const KzsNode *node, uint32_t inputKind, const void *input, KztValCheckCtx *chk,
                            uint32_t *rc)
{
    std::memset(chk, 0, sizeof(*chk));
    if (node == nullptr || node->module == nullptr || node->module->ctx == nullptr) {
        *rc = KZ_EINVAL;
        return nullptr;
    }
    KztRealType *realType = KZS_NODE_GetLeafSchemaRealType(node);
    if (realType == nullptr) {
        *rc = KZ_EINVAL;
        return nullptr;
    }
    chk->ctx = node->module->ctx;
    chk->schemaNode = node;
    *rc = KZT_TYPE_ValidateValueNodeAgainstRealType(realType, inputKind, input, chk);
    return realType;
}

} // namespace

extern "C" {

void KZT_TYPE_PreProcValCheckAuxRngLenExplictCnt(const KztRealType *realType, KztValCheckCtx *chk)
{
    if (chk->explicitCnt != 0) {
        /* Inside an explicitly restricted type: only count the depth. */
        if (++chk->explicitCnt != 0) {
            return;
        }
    }
    if ((realType->rngLenFlags & KZT_RNGLEN_EXPLICIT) != 0) {
        chk->explicitCnt = 1;
    } else if ((realType->rngLenFlags & KZT_RNGLEN_PARENT_MINMAX) != 0) {
        /* "min"/"max" resolve against the nearest parent's bounds, which
         * the inner checks record as they run. */
        chk->storeParent = 1;
    }
}

void KZT_TYPE_PostProcValCheckAuxRngLenExplictCnt(KztValCheckCtx *chk)
{
    if (chk->explicitCnt != 0) {
        --chk->explicitCnt;
    }
}

void KZT_TYPE_SetMatchRealType(KztValCheckCtx *chk, KztRealType *realType)
{
    /* Inner checks finish first, so the first setter is the deepest match. */
    if (chk != nullptr && chk->matchRealType == nullptr) {
        chk->matchRealType = realType;
    }
}

uint32_t KZT_TYPE_ValidateValueNodeAgainstRealType(KztRealType *realType, uint32_t inputKind, const void *input,
                                                   KztValCheckCtx *chk)
{
    if (realType == nullptr || chk == nullptr) {
        return KZ_EINVAL;
    }
    KZT_TYPE_PreProcValCheckAuxRngLenExplictCnt(realType, chk);
    KztRealType *saved = chk->curRealType;
    chk->curRealType = realType;
    if (realType->baseType != KZT_BASE_DERIVED) {
        chk->baseType = realType->baseType;
        chk->fracDigits = KZT_TYPE_GetTypeConsDataFractionVal(realType);
        const uint32_t rc = KZT_TYPE_CheckBaseTypeSystemRestriction(realType->baseType, inputKind, input, chk);
        if (rc != KZ_OK) {
            return rc;
        }
    }
    /* Array order puts the derived entry first: the whole parent chain is
     * checked before this type's own restrictions. */
    for (uint16_t i = 0; i < realType->consCount; ++i) {
        const KztTypeConstraint &entry = realType->constraints[i];
        KztConsCheckFunc check = KZT_CONS_GetConsDataValueRestricationCheckFunc(entry.consType);
        if (entry.consData == nullptr) {
            return KZ_VAL_ERR_NO_BODY;
        }
        if (check != nullptr) {
            const uint32_t rc = check(entry.consData, inputKind, input, chk);
            if (rc != KZ_OK) {
                return rc; /* the context is dropped after a failure */
            }
        }
    }
    chk->curRealType = saved;
    KZT_TYPE_PostProcValCheckAuxRngLenExplictCnt(chk);
    return KZ_OK;
}

uint32_t KZT_CONS_ValidateValueNodeAgainstDataDerived(void *body, uint32_t inputKind, const void *input,
                                                      KztValCheckCtx *chk)
{
    const auto *d = static_cast<const KztConsDataDerived *>(body);
    if (d == nullptr || chk == nullptr || chk->derivedDepth > kDerivedDepthMax) {
        return KZ_VAL_ERR_DERIVED;
    }
    KztRealType *parent = d->tdefRealType;
    if (parent == nullptr) {
        /* Typedefs of other modules are bound late, at each check. */
        KzsTypedef *tdef = KZ_CTX_FindTdefObjByModAndTdefName(chk->ctx, d->modName, d->tdefName);
        if (tdef == nullptr) {
            return KZ_VAL_ERR_DERIVED;
        }
        parent = &tdef->realType;
    }
    if (!kz::types::TakeCheckStep(chk)) {
        return KZ_VAL_ERR_DERIVED;
    }
    ++chk->derivedDepth;
    const uint32_t rc = KZT_TYPE_ValidateValueNodeAgainstRealType(parent, inputKind, input, chk);
    if (rc != KZ_OK) {
        return rc;
    }
    KZT_TYPE_SetMatchRealType(chk, parent);
    return KZ_OK;
}

uint32_t KZ_NODE_ValidateValue(const KzsNode *node, uint32_t inputKind, const void *input)
{
    return kz::Guarded(KZ_ENOMEM, [&]() -> uint32_t {
        KztValCheckCtx chk;
        uint32_t rc = KZ_EINVAL;
        (void)CheckNodeValue(node, inputKind, input, &chk, &rc);
        return rc;
    });
}

KztRealType *KZ_NODE_FindRealTypeMatchedValue(const KzsNode *node, uint32_t inputKind, const void *input)
{
    return kz::Guarded(nullptr, [&]() -> KztRealType * {
        KztValCheckCtx chk;
        uint32_t rc = KZ_EINVAL;
        KztRealType *own = CheckNodeValue(node, inputKind, input, &chk, &rc);
        if (rc != KZ_OK) {
            return nullptr;
        }
        return (chk.matchRealType != nullptr) ? chk.matchRealType : own;
    });
}

uint8_t KZ_TYPE_GetDecimal64Fraction(const KztRealType *realType)
{
    return (realType != nullptr) ? KZT_TYPE_GetTypeConsDataFractionVal(realType) : 0;
}

} // extern "C"
