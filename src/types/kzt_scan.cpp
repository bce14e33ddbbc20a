/* Public walks over a real type: derived names, union members, identity
 * bases, patterns, name/value pairs and start/end pairs. */
#include "runtime/kz_ctx.h"
#include "schema/kzs_mod.h"
#include "types/kzt_cons.h"

namespace {

/* Derived steps followed before a chain is taken to loop. */
constexpr uint32_t kDerivedWalkMax = 129;

} // namespace

extern "C" {

uint32_t KZ_TYPE_IterRealTypeDerivedName(KztRealType *realType, KzCtx *ctx, KzTypeRealTypeCb cb, void *arg)
{
    if (realType == nullptr || cb == nullptr) {
        return KZ_EINVAL;
    }
    if (realType->baseType != KZT_BASE_DERIVED) {
        return cb(nullptr, nullptr, realType, arg);
    }
    KztRealType *cur = realType;
    for (uint32_t step = 0; step < kDerivedWalkMax; ++step) {
        if (cur == nullptr || cur->baseType != KZT_BASE_DERIVED) {
            return KZ_OK;
        }
        const char *modName = nullptr;
        const char *tdefName = KZT_TYPE_GetInheritedTypDefName(cur, &modName);
        if (tdefName == nullptr || modName == nullptr) {
            return KZ_EINVAL;
        }
        KztRealType *found = nullptr;
        if (ctx != nullptr) {
            KzsTypedef *tdef = KZ_CTX_FindTdefObjByModAndTdefName(ctx, modName, tdefName);
            found = (tdef != nullptr) ? &tdef->realType : nullptr;
        } else {
            /* Without a context only references bound at load time can be followed. */
            const KztConsDataDerived *d = KZT_TYPE_GetTypeConsDataDerived(cur);
            found = (d != nullptr) ? d->tdefRealType : nullptr;
        }
        const uint32_t rc = cb(modName, tdefName, found, arg);
        if (rc != 0) {
            return rc;
        }
        cur = found;
    }
    return KZ_EINVAL; /* the chain loops */
}

uint32_t KZ_TYPE_ScanUnionSubType(const KztRealType *realType, KzTypeRealTypeCb cb, void *arg)
{
    if (realType == nullptr || cb == nullptr) {
        return KZ_EINVAL;
    }
    const auto *u = static_cast<const KztConsDataUnion *>(KZT_TYPE_GetTypeConsDataByConsType(realType, KZT_CONS_UNION));
    if (u == nullptr) {
        return KZ_OK;
    }
    for (uint16_t i = 0; i < u->segCount; ++i) {
        const uint32_t rc = cb(nullptr, nullptr, &u->segs[i], arg);
        if (rc != 0) {
            return rc;
        }
    }
    return KZ_OK;
}

uint32_t KZ_TYPE_ScanIdentRefBase(const KztRealType *realType, KzTypeIdentBaseCb cb, void *arg)
{
    if (realType == nullptr || cb == nullptr) {
        return KZ_EINVAL;
    }
    const auto *b = static_cast<const KztConsDataBase *>(KZT_TYPE_GetTypeConsDataByConsType(realType, KZT_CONS_BASE));
    if (b == nullptr) {
        return KZ_OK;
    }
    for (uint16_t i = 0; i < b->segCount; ++i) {
        const uint32_t rc = cb(b->segs[i].modName, b->segs[i].identName, arg);
        if (rc != 0) {
            return rc;
        }
    }
    return KZ_OK;
}

uint32_t KZ_TYPE_ScanPatternInvertMatch(const KztRealType *realType, KzTypePatternCb cb, void *arg)
{
    if (realType == nullptr || cb == nullptr) {
        return KZ_EINVAL;
    }
    const auto *p =
        static_cast<const KztConsDataPattern *>(KZT_TYPE_GetTypeConsDataByConsType(realType, KZT_CONS_PATTERN));
    if (p == nullptr) {
        return KZ_OK;
    }
    for (uint16_t i = 0; i < p->segCount; ++i) {
        const uint32_t rc = cb(p->segs[i].pattern, p->segs[i].invertMatch != 0 ? 1u : 0u, arg);
        if (rc != 0) {
            return rc;
        }
    }
    return KZ_OK;
}

uint32_t KZ_TYPE_ScanNameValuePair(const KztRealType *realType, KzTypeNameValueCb cb, void *arg)
{
    if (realType == nullptr || cb == nullptr) {
        return KZ_EINVAL;
    }
    for (uint16_t i = 0; i < realType->consCount; ++i) {
        const KztTypeConstraint &entry = realType->constraints[i];
        KztConsScanNameValueFunc scan = KZT_CONS_GetConsDataScanNameValueFunc(entry.consType);
        if (scan == nullptr || entry.consData == nullptr) {
            continue;
        }
        const uint32_t rc = scan(entry.consData, cb, arg);
        if (rc != 0) {
            return rc;
        }
    }
    return KZ_OK;
}

uint32_t KZ_TYPE_ScanStartEndPair(const KztRealType *realType, KzTypeStartEndCb cb, void *arg)
{
    if (realType == nullptr || cb == nullptr) {
        return KZ_EINVAL;
    }
    for (uint16_t i = 0; i < realType->consCount; ++i) {
        const KztTypeConstraint &entry = realType->constraints[i];
        KztConsScanStartEndFunc scan = KZT_CONS_GetConsDataScanStartEndFunc(entry.consType);
        if (scan == nullptr || entry.consData == nullptr) {
            continue;
        }
        const uint32_t rc = scan(entry.consData, realType->baseType, cb, arg);
        if (rc != 0) {
            return rc;
        }
    }
    return KZ_OK;
}

} // extern "C"
