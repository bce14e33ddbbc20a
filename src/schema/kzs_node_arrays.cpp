/* Arrays of if-features, musts and leaf-list defaults held by nodes. */
#include <cstring>

#include "schema/kzs_internal.h"

using namespace kz::schema;

extern "C" {

/* ---- If-features ---- */

uint32_t KZS_NODE_FillIfFeature(KzDict *dict, KzsIfFeature *feat, const char *modName, const char *featName)
{
    if (dict == nullptr || feat == nullptr || modName == nullptr || featName == nullptr) {
        return KZ_EINVAL;
    }
    if (DictPut(dict, feat->modName, modName) && DictPut(dict, feat->featName, featName)) {
        return KZ_OK;
    }
    KZS_NODE_ClearIfFeature(dict, feat);
    return KZ_ENOMEM;
}

void KZS_NODE_ClearIfFeature(KzDict *dict, KzsIfFeature *feat)
{
    if (feat == nullptr) {
        return;
    }
    DictDrop(dict, feat->modName);
    DictDrop(dict, feat->featName);
}

void KZS_NODE_FreeIfFeatures(KzDict *dict, KzsIfFeature *feats, uint16_t count)
{
    FreeArray(dict, feats, count, KZS_NODE_ClearIfFeature);
}

KzsIfFeature *KZS_NODE_CopyIfFeaturesArray(KzDict *dict, const KzsIfFeature *src, uint16_t count)
{
    return CopyArray(dict, src, count, KZS_NODE_ClearIfFeature, [dict](KzsIfFeature *dst, const KzsIfFeature &from) {
        return KZS_NODE_FillIfFeature(dict, dst, from.modName, from.featName);
    });
}

uint32_t KZS_NODE_CheckTwoIfFeatureSame(const KzsIfFeature *a, const KzsIfFeature *b)
{
    if (a == nullptr || b == nullptr) {
        return 0;
    }
    return (a->modName == b->modName && a->featName == b->featName) ? 1 : 0;
}

uint32_t KZS_NODE_CheckTwoIfFeatureArraySame(const KzsIfFeature *a, uint16_t aCount, const KzsIfFeature *b,
                                             uint16_t bCount)
{
    if (aCount != bCount) {
        return 0;
    }
    for (uint16_t i = 0; i < aCount; ++i) {
        if (a == nullptr || b == nullptr || KZS_NODE_CheckTwoIfFeatureSame(&a[i], &b[i]) == 0) {
            return 0;
        }
    }
    return 1;
}

KzsIfFeature *KZS_NODE_FindIfFeature(KzsIfFeature *feats, uint16_t count, const KzsIfFeature *feat)
{
    if (feats == nullptr || feat == nullptr) {
        return nullptr;
    }
    for (uint16_t i = 0; i < count; ++i) {
        if (KZS_NODE_CheckTwoIfFeatureSame(&feats[i], feat) != 0) {
            return &feats[i];
        }
    }
    return nullptr;
}

uint32_t KZS_NODE_AppendOneIfFeat(KzDict *dict, KzsIfFeature **feats, uint16_t *count, const char *modName,
                                  const char *featName)
{
    if (dict == nullptr || feats == nullptr || count == nullptr || modName == nullptr || featName == nullptr) {
        return KZ_EINVAL;
    }
    return AppendOne(*feats, *count,
                     [&](KzsIfFeature *feat) { return KZS_NODE_FillIfFeature(dict, feat, modName, featName); });
}

/* ---- Musts ---- */

uint32_t KZS_NODE_FillMust(KzDict *dict, KzsMust *must, const char *cond, const char *errMsg,
                           const char *errAppTag)
{
    if (dict == nullptr || must == nullptr || cond == nullptr) {
        return KZ_EINVAL;
    }
    if (DictPut(dict, must->cond, cond) && DictPut(dict, must->errMsg, errMsg) &&
        DictPut(dict, must->errAppTag, errAppTag)) {
        return KZ_OK;
    }
    KZS_NODE_ClearMust(dict, must);
    return KZ_ENOMEM;
}

void KZS_NODE_ClearMust(KzDict *dict, KzsMust *must)
{
    if (must == nullptr) {
        return;
    }
    DictDrop(dict, must->cond);
    DictDrop(dict, must->errMsg);
    DictDrop(dict, must->errAppTag);
}

void KZS_NODE_FreeMusts(KzDict *dict, KzsMust *musts, uint16_t count)
{
    FreeArray(dict, musts, count, KZS_NODE_ClearMust);
}

KzsMust *KZS_NODE_CopyMustsArray(KzDict *dict, const KzsMust *src, uint16_t count)
{
    return CopyArray(dict, src, count, KZS_NODE_ClearMust, [dict](KzsMust *dst, const KzsMust &from) {
        return KZS_NODE_FillMust(dict, dst, from.cond, from.errMsg, from.errAppTag);
    });
}

uint32_t KZS_NODE_AppendOneMust(KzDict *dict, KzsMust **musts, uint16_t *count, const char *cond,
                                const char *errMsg, const char *errAppTag)
{
    if (dict == nullptr || musts == nullptr || count == nullptr || cond == nullptr) {
        return KZ_EINVAL;
    }
    return AppendOne(*musts, *count,
                     [&](KzsMust *must) { return KZS_NODE_FillMust(dict, must, cond, errMsg, errAppTag); });
}

void KZS_NODE_AssignMoveMust(KzsMust *dst, KzsMust *src)
{
    if (dst == nullptr || src == nullptr) {
        return;
    }
    *dst = *src;
    src->cond = nullptr;
    src->errMsg = nullptr;
    src->errAppTag = nullptr;
}

uint32_t KZS_NODE_CheckTwoMustSame(const KzsMust *a, const KzsMust *b)
{
    if (a == nullptr || b == nullptr) {
        return 0;
    }
    return a->cond == b->cond ? 1 : 0;
}

uint32_t KZS_NODE_SubtractMustsArray(KzDict *dict, KzsMust **musts, uint16_t *count, uint16_t capacity)
{
    if (dict == nullptr || musts == nullptr || count == nullptr) {
        return KZ_EINVAL;
    }
    uint16_t survivors = 0;
    for (uint16_t i = 0; *musts != nullptr && i < *count; ++i) {
        if ((*musts)[i].cond != nullptr) {
            ++survivors;
        }
    }
    if (survivors > capacity) {
        return KZ_OK;
    }
    KzsMust *fresh = nullptr;
    if (survivors != 0) {
        fresh = kz::ZeroAlloc<KzsMust>(survivors);
        if (fresh == nullptr) {
            return KZ_ENOMEM;
        }
        uint16_t n = 0;
        for (uint16_t i = 0; i < *count; ++i) {
            if ((*musts)[i].cond != nullptr) {
                KZS_NODE_AssignMoveMust(&fresh[n++], &(*musts)[i]);
            }
        }
    }
    /* What is left in the old array are the texts of the dropped entries. */
    KZS_NODE_FreeMusts(dict, *musts, *count);
    *musts = fresh;
    *count = survivors;
    return KZ_OK;
}

/* ---- Leaf-list defaults ---- */

const char **KZS_NODE_CopyDefaults(KzDict *dict, const char *const *src, uint32_t count)
{
    if (dict == nullptr || src == nullptr || count == 0) {
        return nullptr;
    }
    auto **dst = kz::ZeroAlloc<const char *>(count);
    if (dst == nullptr) {
        return nullptr;
    }
    for (uint32_t i = 0; i < count; ++i) {
        if (!DictPut(dict, dst[i], src[i])) {
            KZS_NODE_FreeDefaults(dict, dst, i);
            return nullptr;
        }
    }
    return dst;
}

void KZS_NODE_FreeDefaults(KzDict *dict, const char **defaults, uint32_t count)
{
    if (defaults == nullptr) {
        return;
    }
    for (uint32_t i = 0; i < count; ++i) {
        DictDrop(dict, defaults[i]);
    }
    KZ_MemFree(defaults);
}

uint32_t KZS_NODE_AppendLeaflistDefaults(KzDict *dict, KzsLeafListInfo *info, uint32_t n, const char *const *values)
{
    if (dict == nullptr || info == nullptr || (n != 0 && values == nullptr)) {
        return KZ_EINVAL;
    }
    if (n == 0) {
        return KZ_OK;
    }
    uint64_t total = static_cast<uint64_t>(info->defaultCount) + n;
    if (total > UINT32_MAX / sizeof(const char *)) {
        return KZ_EINVAL;
    }
    auto **fresh = kz::ZeroAlloc<const char *>(static_cast<size_t>(total));
    if (fresh == nullptr) {
        return KZ_ENOMEM;
    }
    for (uint32_t i = 0; i < total; ++i) {
        const char *src = i < info->defaultCount ? info->defaults[i] : values[i - info->defaultCount];
        if (src == nullptr || !DictPut(dict, fresh[i], src)) {
            KZS_NODE_FreeDefaults(dict, fresh, i);
            return KZ_ERR;
        }
    }
    KZS_NODE_FreeDefaults(dict, info->defaults, info->defaultCount);
    info->defaults = fresh;
    info->defaultCount = static_cast<uint32_t>(total);
    return KZ_OK;
}

uint32_t KZS_NODE_SubtractLeaflistDefaults(KzDict *dict, KzsLeafListInfo *info, uint32_t capacity,
                                           uint32_t ignored)
{
    (void)ignored;
    if (dict == nullptr || info == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t survivors = 0;
    for (uint32_t i = 0; info->defaults != nullptr && i < info->defaultCount; ++i) {
        if (info->defaults[i] != nullptr) {
            ++survivors;
        }
    }
    if (survivors > capacity) {
        return KZ_OK;
    }
    const char **fresh = nullptr;
    if (survivors != 0) {
        fresh = kz::ZeroAlloc<const char *>(survivors);
        if (fresh == nullptr) {
            return KZ_ENOMEM;
        }
        uint32_t n = 0;
        for (uint32_t i = 0; i < info->defaultCount; ++i) {
            if (info->defaults[i] != nullptr) {
                fresh[n++] = info->defaults[i]; /* the reference moves along */
            }
        }
    }
    KZ_MemFree(info->defaults);
    info->defaults = fresh;
    info->defaultCount = survivors;
    return KZ_OK;
}

} // extern "C"
