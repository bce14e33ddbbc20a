// The context: life, callbacks, options, load stage, current YIN file, and the
// lookups that go through the registry.
#include <cstring>

#include "couple/kzs_couple.h"
#include "schema/kzs_ctx.h"
#include "schema/kzs_diag.h"
#include "base/kz_dir_cache.h"
#include "base/kz_safe.h"
#include "schema/kzs_mod.h"
#include "base/kz_guard.h"
#include "base/kz_kit.h"

namespace {


/* Each augment gives its nodes back from wherever they sit now, which needs no path
 * lookup and so cannot fail for want of memory halfway through. */
void UnCoupleEveryAugment(KzCtx *ctx)
{
    for (KzMod *mod = KZ_CTX_GetFirstModule(ctx); mod != nullptr; mod = KZ_CTX_GetNextModule(ctx, mod)) {
        KZS_MOD_UnCoupleAllAugments(mod);
    }
}

void DestroyEveryModule(KzCtx *ctx)
{
    UnCoupleEveryAugment(ctx);
    for (KzMod *mod = KZ_CTX_GetFirstModule(ctx); mod != nullptr; mod = KZ_CTX_GetFirstModule(ctx)) {
        KZ_CTX_DestroyModuleNode(ctx, mod);
    }
}

}  // namespace

extern "C" {

KzCtx *KZ_CTX_Create(uint32_t flags)
{
    return kz::Guarded(nullptr, [&]() -> KzCtx * {
        auto *ctx = kz::ZeroAlloc<KzCtx>();
        if (ctx == nullptr) {
            return nullptr;
        }
        ctx->flags = flags;
        ctx->couple = &kz::couple::Hooks();
        if (KZ_DICT_Init(&ctx->dict) != KZ_OK || KZ_CTX_InitModuleTree(ctx) != KZ_OK ||
            KZ_CTX_InitModRelationTree(ctx) != KZ_OK || KZ_CTX_InitErrMng(ctx) != KZ_OK) {
            KZ_CTX_Delete(ctx);
            return nullptr;
        }
        return ctx;
    });
}

void KZ_CTX_Delete(KzCtx *ctx)
{
    kz::GuardedVoid([&] {
        if (ctx == nullptr) {
            return;
        }
        // Everything holding an interned text goes below: the counts need no upkeep.
        kz::base::DictFreeInBulk(&ctx->dict);
        KZ_CTX_DestroyErrMng(ctx->errMng);
        ctx->errMng = nullptr;
        DestroyEveryModule(ctx);
        KZ_CTX_DeInitModRelationTree(ctx);
        KZ_CTX_FreeSearchDirs(ctx);
        kz::base::FreeDirCache(ctx->dirCache);
        if (ctx->freeImportFacts != nullptr) {
            ctx->freeImportFacts(ctx->importFacts);
        }
        KZ_DICT_Destroy(&ctx->dict);
        KZ_CTX_DeInitModuleTree(ctx);
        KZ_MemFree(ctx);
    });
}

void KZ_CTX_SetPridataFreeFunc(KzCtx *ctx, KzPridataFreeFunc func)
{
    if (ctx != nullptr) {
        ctx->pridataFreeFunc = func;
    }
}

void KZ_CTX_SetFirstAugChildRelinkFunc(KzCtx *ctx, KzFirstAugChildRelinkFunc func)
{
    if (ctx != nullptr) {
        ctx->firstAugChildRelinkFunc = func;
    }
}

void KZ_CTX_SetBeforeDeviateNotSupportFunc(KzCtx *ctx, KzBeforeDeviateNotSupportFunc func)
{
    if (ctx != nullptr) {
        ctx->beforeDeviateNotSupportFunc = func;
    }
}

void KZ_CTX_SetBeforeDeviateExtInstFunc(KzCtx *ctx, KzBeforeDeviateExtInstFunc func)
{
    if (ctx != nullptr) {
        ctx->beforeDeviateExtInstFunc = func;
    }
}

void KZ_CTX_SetReloadModuleCbFunc(KzCtx *ctx, KzReloadModuleCbFunc func)
{
    if (ctx != nullptr) {
        ctx->reloadModuleCbFunc = func;
    }
}

void KZ_CTX_SetExtInstFilterCbFunc(KzCtx *ctx, KzExtInstFilterCbFunc func)
{
    if (ctx != nullptr) {
        ctx->extInstFilterCbFunc = func;
    }
}

uint32_t KX_CTX_IgnoreImportModError(const KzCtx *ctx)
{
    if (ctx == nullptr) {
        return 0;
    }
    return (ctx->flags & KZ_CTX_OPT_IGNORE_IMPORT_ERR) != 0 ? 1u : 0u;
}

void KZ_CTX_SetLoadStage(KzCtx *ctx, uint32_t stage)
{
    if (ctx != nullptr) {
        ctx->loadStage = stage;
    }
}

uint32_t KZ_CTX_GetLoadStage(const KzCtx *ctx)
{
    return ctx == nullptr ? KZ_LOAD_STAGE_PARSE : ctx->loadStage;
}

void KZ_CTX_SetCurYinFile(KzCtx *ctx, const char *path)
{
    if (ctx == nullptr || path == nullptr) {
        return;
    }
    const char *slash = strrchr(path, '/');
    const char *base = slash == nullptr ? path : slash + 1;
    // A name that does not fit leaves the buffer empty.
    (void)kz::base::StrcpyS(ctx->curYinFile, sizeof ctx->curYinFile, base);
}

void KZ_CTX_ClearCurYinFile(KzCtx *ctx)
{
    if (ctx != nullptr) {
        ctx->curYinFile[0] = '\0';
    }
}

const char *KZ_CTX_GetCurYinFile(const KzCtx *ctx)
{
    return ctx == nullptr ? nullptr : ctx->curYinFile;
}

KzsIdentity *KZ_CTX_FindIdentityByModNameAndIdentName(KzCtx *ctx, const char *modName,
                                                      const char *identName)
{
    KzMod *mod = KZ_CTX_GetModuleByModName(ctx, modName);
    return mod == nullptr ? nullptr : KZS_MOD_FindIdentityByName(mod, identName);
}

KzsTypedef *KZ_CTX_FindTdefObjByModAndTdefName(KzCtx *ctx, const char *modName, const char *tdefName)
{
    KzMod *mod = KZ_CTX_GetModuleByModName(ctx, modName);
    return mod == nullptr ? nullptr : KZS_MOD_FindTypDefObjByName(mod, tdefName);
}

KzsFeature *KZ_CTX_FindFeatureByModNameAndFeatName(KzCtx *ctx, const char *modName, const char *featName)
{
    KzMod *mod = KZ_CTX_GetModuleByModName(ctx, modName);
    return mod == nullptr ? nullptr : KZS_MOD_FindFeatureByName(mod, featName);
}

uint32_t KZ_CTX_DisableModFeature(KzCtx *ctx, const char *moduleName, const char *featureName)
{
    if (ctx == nullptr || moduleName == nullptr || featureName == nullptr) {
        return KZ_EINVAL;
    }
    KzsFeature *feat = KZ_CTX_FindFeatureByModNameAndFeatName(ctx, moduleName, featureName);
    if (feat == nullptr) {
        return KZ_EINVAL;
    }
    feat->flags = static_cast<uint16_t>(feat->flags & ~KZS_FEATURE_FLAG_ENABLED);
    return KZ_OK;
}

uint32_t KZ_CTX_IsModFeatureEnable(KzCtx *ctx, const char *moduleName, const char *featureName)
{
    // 22 reads as "enabled" to a caller that only tests for non-zero; that is
    // the established contract.
    if (ctx == nullptr || moduleName == nullptr || featureName == nullptr) {
        return KZ_EINVAL;
    }
    KzsFeature *feat = KZ_CTX_FindFeatureByModNameAndFeatName(ctx, moduleName, featureName);
    if (feat == nullptr) {
        return 0;
    }
    return (feat->flags & KZS_FEATURE_FLAG_ENABLED) != 0 ? 1u : 0u;
}

KzsNode *KZ_CTX_GetTargetNode(KzCtx *ctx, const char *path, KzsNode **augOut)
{
    return kz::Guarded(nullptr, [&]() -> KzsNode * {
        if (augOut != nullptr) {
            *augOut = nullptr;
        }
        if (ctx == nullptr || path == nullptr) {
            return nullptr;
        }
        char modName[kz::kNameBufSize] = {0};
        char *head = nullptr;
        char *tail = nullptr;
        if (KZ_XPATH_SplitTargetNodeXpath(path, modName, sizeof modName, &head, &tail) != KZ_OK) {
            KZ_MemFree(head);
            KZ_MemFree(tail);
            return nullptr;
        }
        KzsNode *node = nullptr;
        KzMod *mod = KZ_CTX_GetModuleByModName(ctx, modName);
        if (mod != nullptr) {
            // A head means the path runs into nodes that this module's augment
            // added under another module's node.
            if (head != nullptr) {
                node = KZS_MOD_GetNodeUnderAugmentBySchemaNodeId(mod, head, tail, augOut);
            } else {
                node = KZS_MOD_GetNodeBySchemaNodeId(mod, nullptr, path);
            }
        }
        KZ_MemFree(head);
        KZ_MemFree(tail);
        return node;
    });
}

const char *KZ_MOD_GetSemanticVersion(const KzMod *mod)
{
    return mod == nullptr ? nullptr : mod->semVer;
}

}  // extern "C"
