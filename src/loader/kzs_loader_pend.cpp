/* The table of modules waiting to be loaded while the imports of a module
 * are loaded breadth-first. */
#include <cstring>

#include "loader/kzs_loader.h"
#include "base/kz_kit.h"

namespace {

bool CopyPendName(char (&dst)[kz::kNameBufSize], const char *name)
{
    const size_t len = std::strlen(name);
    if (len >= kz::kNameBufSize) {
        return false;
    }
    std::memcpy(dst, name, len + 1);
    return true;
}

/* A zeroed record holding a copy of name in its nameField, or null when the
 * allocation fails or the name does not fit. */
template <typename T>
T *NewNamed(char (T::*nameField)[kz::kNameBufSize], const char *name)
{
    auto *rec = kz::ZeroAlloc<T>();
    if (rec == nullptr) {
        return nullptr;
    }
    if (!CopyPendName(rec->*nameField, name)) {
        KZ_MemFree(rec);
        return nullptr;
    }
    return rec;
}

/* Links item in at the end of the ring that starts at first. */
template <typename T>
void RingAppend(T *&first, T *item)
{
    if (first == nullptr) {
        item->next = item;
        item->prev = item;
        first = item;
        return;
    }
    T *last = first->prev;
    item->prev = last;
    item->next = first;
    last->next = item;
    first->prev = item;
}

} /* namespace */

extern "C" {

KZ_API void KZS_LOADER_InitModPendTbl(ModPendTbl *tbl)
{
    if (tbl != nullptr) {
        tbl->first = nullptr;
        tbl->count = 0;
    }
}

KZ_API void KZS_LOADER_DeInitModPendTbl(ModPendTbl *tbl)
{
    if (tbl == nullptr) {
        return;
    }
    while (tbl->first != nullptr) {
        KZS_LOADER_RemoveModPendNode(tbl, tbl->first);
    }
}

KZ_API ModPendNode *KZS_LOADER_AddModPendNode(ModPendTbl *tbl, const char *name)
{
    if (tbl == nullptr || name == nullptr) {
        return nullptr;
    }
    ModPendNode *node = NewNamed(&ModPendNode::moduleName, name);
    if (node == nullptr) {
        return nullptr;
    }
    RingAppend(tbl->first, node);
    tbl->count++;
    return node;
}

KZ_API void KZS_LOADER_RemoveModPendNode(ModPendTbl *tbl, ModPendNode *node)
{
    if (tbl == nullptr || node == nullptr || tbl->first == nullptr) {
        return;
    }
    if (node->next == node) {
        tbl->first = nullptr;
    } else {
        node->prev->next = node->next;
        node->next->prev = node->prev;
        if (tbl->first == node) {
            tbl->first = node->next;
        }
    }
    tbl->count--;
    KZS_LOADER_DestoryAllModFeatPend(node);
    KZ_MemFree(node);
}

KZ_API ModPendNode *KZS_LOADER_FindModPendNodeByName(const ModPendTbl *tbl, const char *name)
{
    if (tbl == nullptr || name == nullptr || tbl->first == nullptr) {
        return nullptr;
    }
    ModPendNode *node = tbl->first;
    do {
        if (std::strcmp(node->moduleName, name) == 0) {
            return node;
        }
        node = node->next;
    } while (node != tbl->first);
    return nullptr;
}

KZ_API uint32_t KZS_LOADER_AddModFeatPend(ModPendNode *pendNode, const char *featureName)
{
    if (pendNode == nullptr || featureName == nullptr) {
        return KZ_EINVAL;
    }
    if (std::strlen(featureName) >= kz::kNameBufSize) {
        return KZ_EINVAL;
    }
    ModFeatPend *feat = NewNamed(&ModFeatPend::featureName, featureName);
    if (feat == nullptr) {
        return KZ_ENOMEM;
    }
    RingAppend(pendNode->feats, feat);
    return KZ_OK;
}

KZ_API void KZS_LOADER_DestoryAllModFeatPend(ModPendNode *pendNode)
{
    if (pendNode == nullptr || pendNode->feats == nullptr) {
        return;
    }
    ModFeatPend *feat = pendNode->feats;
    feat->prev->next = nullptr; /* open the ring */
    while (feat != nullptr) {
        ModFeatPend *next = feat->next;
        KZ_MemFree(feat);
        feat = next;
    }
    pendNode->feats = nullptr;
}

KZ_API uint32_t KZS_LOADER_AppendNyModImportsAsPending(KzCtx *ctx, ModPendTbl *tbl, const char *modName)
{
    if (ctx == nullptr || tbl == nullptr || modName == nullptr) {
        return KZ_EINVAL;
    }
    KzMod *mod = KZ_CTX_GetModuleByModName(ctx, modName);
    if (mod == nullptr) {
        return KZ_ENOENT;
    }
    for (uint16_t i = 0; i < mod->importCount; i++) {
        const char *imported = mod->imports[i].modName;
        if (imported == nullptr || KZ_CTX_GetModuleByModName(ctx, imported) != nullptr ||
            KZS_LOADER_FindModPendNodeByName(tbl, imported) != nullptr) {
            continue;
        }
        if (KZS_LOADER_AddModPendNode(tbl, imported) == nullptr) {
            return KZ_ENOMEM;
        }
    }
    return KZ_OK;
}

KZ_API uint32_t KZS_LOADER_CoupleModPendTblAndCurMod(KzCtx *ctx, const char *modName, ModPendTbl *tbl)
{
    KzMod *mod = KZ_CTX_GetModuleByModName(ctx, modName);
    if (mod == nullptr || ctx->couple == nullptr) {
        return KZ_EINVAL;
    }
    (void)ctx->couple->coupleRemaining(mod);
    KZ_CTX_NotifyModuleChange(ctx, modName, KZ_MOD_EVENT_COUPLE, nullptr);
    if (tbl == nullptr || tbl->first == nullptr) {
        return 0;
    }
    ModPendNode *pend = tbl->first;
    do {
        KzMod *pendMod = KZ_CTX_GetModuleByModName(ctx, pend->moduleName);
        if (pendMod != nullptr) {
            (void)ctx->couple->coupleRemaining(pendMod);
            // Names the current module, not the pending one: the modules that
            // waited for the current one are the ones to couple again, once
            // per pending module whose arrival may have given them targets.
            KZ_CTX_NotifyModuleChange(ctx, modName, KZ_MOD_EVENT_COUPLE, nullptr);
        }
        pend = pend->next;
    } while (pend != nullptr && pend != tbl->first);
    return 0;
}

KZ_API uint32_t KZS_LOADER_LoadModuleImportedNames(KzCtx *ctx, const char *modName)
{
    if (ctx == nullptr || modName == nullptr) {
        return KZ_EINVAL;
    }
    const bool ignoreFailures = (ctx->flags & KZ_CTX_OPT_IGNORE_IMPORT_ERR) != 0;
    ModPendTbl tbl;
    KZS_LOADER_InitModPendTbl(&tbl);
    uint32_t result = KZS_LOADER_AppendNyModImportsAsPending(ctx, &tbl, modName);
    if (result == KZ_OK && tbl.first != nullptr) {
        /* The ring grows at its tail while it is walked: breadth-first order. */
        ModPendNode *node = tbl.first;
        do {
            uint32_t ret = KZS_LOADER_LoadModuleByModName(ctx, node->moduleName);
            if (ret == KZ_OK) {
                ret = KZS_LOADER_AppendNyModImportsAsPending(ctx, &tbl, node->moduleName);
            }
            if (ret != KZ_OK && !ignoreFailures) {
                result = ret;
                break;
            }
            node = node->next;
        } while (node != tbl.first);
    }
    (void)KZS_LOADER_CoupleModPendTblAndCurMod(ctx, modName, &tbl);
    KZS_LOADER_DeInitModPendTbl(&tbl);
    return result;
}

} /* extern "C" */
