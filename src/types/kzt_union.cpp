/* Union constraint: member types in document order; a value takes the
 * first member that accepts it. */
#include "schema/kzs_ctx.h"
#include "types/kzt_cons.h"
#include "types/kzt_seg_util.h"
#include "types/kzt_value_check.h"

extern "C" {

void *KZT_CONS_CreateConsDataBodyWithUnion(uint16_t segCount)
{
    return kz::types::NewSegBody<KztConsDataUnion, KztRealType>(segCount);
}

void KZT_CONS_DestroyConsDataBodyWithUnion(KzDict *dict, void *body)
{
    kz::types::DestroySegBody<KztConsDataUnion>(
        dict, body, [](KzDict *d, KztRealType &seg) { KZT_TYPE_DestroyNytRealTypeInner(d, &seg); });
}

void *KZT_CONS_CopyConsDataBodyWithUnion(KzDict *dict, const void *src)
{
    return kz::types::CopySegBody<KztConsDataUnion, KztRealType>(
        dict, src, KZT_CONS_DestroyConsDataBodyWithUnion, [](KzDict *d, KztRealType &to, const KztRealType &from) {
            return KZT_TYPE_CopyNytRealTypeInner(d, &to, &from) == KZ_OK;
        });
}

uint32_t KZT_CONS_ValidateValueNodeAgainstDataUnion(void *body, uint32_t inputKind, const void *input,
                                                    KztValCheckCtx *chk)
{
    auto *u = static_cast<KztConsDataUnion *>(body);
    if (u == nullptr || chk == nullptr || u->segCount == 0) {
        return KZ_VAL_ERR_UNION;
    }
    for (uint16_t i = 0; i < u->segCount; ++i) {
        /* Each member starts clean: the outer chain's bounds and explicit
         * range count do not apply inside a member. */
        KztValCheckCtx member;
        if (!kz::types::EnterFreshCheckCtx(chk, chk->schemaNode, &member)) {
            return KZ_VAL_ERR_UNION;
        }
        const uint32_t rc = KZT_TYPE_ValidateValueNodeAgainstRealType(&u->segs[i], inputKind, input, &member);
        kz::types::LeaveFreshCheckCtx(chk, &member);
        if (rc == KZ_OK) {
            KZT_TYPE_SetMatchRealType(chk, member.matchRealType != nullptr ? member.matchRealType : &u->segs[i]);
            return KZ_OK;
        }
    }
    return KZ_VAL_ERR_UNION;
}

} // extern "C"
