/* Public walks over a real type: derived names, union members, identity
 * bases, patterns, name/value pairs and start/end pairs. */
#include "schema/kzs_ctx.h"
#include "schema/kzs_mod.h"
#include "types/kzt_cons.h"

namespace {

/* Derived steps followed before a chain is taken to loop. */
constexpr uint32_t kDerivedWalkMax = 129;

/* Calls visit on each segment of the type's constraint of one kind (none:
 * nothing to visit); the first non-zero result ends the walk. */
template <typename Body, typename Visit>
uint32_t ScanSegs(const KztRealType *realType, KztConsType kind, Visit visit)
{
    const auto *body = static_cast<const Body *>(KZT_TYPE_GetTypeConsDataByConsType(realType, kind));
    if (body == nullptr) {
        return KZ_OK;
    }
    for (uint16_t i = 0; i < body->segCount; ++i) {
        const uint32_t rc = visit(body->segs[i]);
        if (rc != 0) {
            return rc;
        }
    }
    return KZ_OK;
}

/* Calls visit on each constraint entry that has a body; the first non-zero
 * result ends the walk. */
template <typename Visit>
uint32_t ScanConstraints(const KztRealType *realType, Visit visit)
{
    for (uint16_t i = 0; i < realType->consCount; ++i) {
        const KztTypeConstraint &entry = realType->constraints[i];
        if (entry.consData == nullptr) {
            continue;
        }
        const uint32_t rc = visit(entry);
        if (rc != 0) {
            return rc;
        }
    }
    return KZ_OK;
}

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
    return ScanSegs<KztConsDataUnion>(realType, KZT_CONS_UNION,
                                      [&](KztRealType &member) { return cb(nullptr, nullptr, &member, arg); });
}

uint32_t KZ_TYPE_ScanIdentRefBase(const KztRealType *realType, KzTypeIdentBaseCb cb, void *arg)
{
    if (realType == nullptr || cb == nullptr) {
        return KZ_EINVAL;
    }
    return ScanSegs<KztConsDataBase>(realType, KZT_CONS_BASE,
                                     [&](const KztSegBase &base) { return cb(base.modName, base.identName, arg); });
}

uint32_t KZ_TYPE_ScanPatternInvertMatch(const KztRealType *realType, KzTypePatternCb cb, void *arg)
{
    if (realType == nullptr || cb == nullptr) {
        return KZ_EINVAL;
    }
    return ScanSegs<KztConsDataPattern>(realType, KZT_CONS_PATTERN, [&](const KztSegPattern &seg) {
        return cb(seg.pattern, seg.invertMatch != 0 ? 1u : 0u, arg);
    });
}

uint32_t KZ_TYPE_ScanNameValuePair(const KztRealType *realType, KzTypeNameValueCb cb, void *arg)
{
    if (realType == nullptr || cb == nullptr) {
        return KZ_EINVAL;
    }
    return ScanConstraints(realType, [&](const KztTypeConstraint &entry) -> uint32_t {
        KztConsScanNameValueFunc scan = KZT_CONS_GetConsDataScanNameValueFunc(entry.consType);
        return scan != nullptr ? scan(entry.consData, cb, arg) : 0;
    });
}

uint32_t KZ_TYPE_ScanStartEndPair(const KztRealType *realType, KzTypeStartEndCb cb, void *arg)
{
    if (realType == nullptr || cb == nullptr) {
        return KZ_EINVAL;
    }
    return ScanConstraints(realType, [&](const KztTypeConstraint &entry) -> uint32_t {
        KztConsScanStartEndFunc scan = KZT_CONS_GetConsDataScanStartEndFunc(entry.consType);
        return scan != nullptr ? scan(entry.consData, realType->baseType, cb, arg) : 0;
    });
}

} // extern "C"
