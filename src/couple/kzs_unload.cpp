/* Unloading: a module goes together with every module that augments or
 * deviates it, directly or through others, since those cannot stay coupled to
 * nothing.  Deviations are undone newest first, augments give their nodes
 * back, relation items go, and only then are the modules freed. */
#include <algorithm>
#include <cstring>
#include <vector>

#include "couple/kzs_couple_int.h"
#include "schema/kzs_ctx.h"
#include "base/kz_alloc.h"
#include "base/kz_guard.h"
#include "base/kz_kit.h"

namespace {

bool Contains(const std::vector<KzMod *> &mods, const KzMod *mod)
{
    return std::find(mods.begin(), mods.end(), mod) != mods.end();
}

// The module and everything built on it, breadth-first, without repeats.
uint32_t CollectUnloadSet(KzCtx *ctx, KzMod *root, std::vector<KzMod *> &set)
{
    set.push_back(root);
    for (size_t i = 0; i < set.size(); i++) {
        for (uint32_t kind : {KZ_REL_AUGMENT, KZ_REL_DEVIATE}) {
            const char **names = nullptr;
            uint32_t count = 0;
            uint32_t ret = KZ_CTX_CollectDepModNamesRecursive(ctx, set[i]->name, kind, &names, &count);
            if (ret != 0) {
                return ret;
            }
            kz::MemPtr<const char *> owned(names);
            for (uint32_t j = 0; j < count && names != nullptr; j++) {
                KzMod *dep = KZ_CTX_GetModuleByModName(ctx, names[j]);
                if (dep != nullptr && !Contains(set, dep)) {
                    set.push_back(dep);
                }
            }
        }
    }
    return 0;
}

void DropRelations(KzCtx *ctx, KzMod *mod)
{
    char target[kz::kNameBufSize];
    for (KzsNode *aug = mod->augments; aug != nullptr; aug = aug->next) {
        if (kz::couple::TargetModule(aug->name, target) == 0 && std::strcmp(target, mod->name) != 0) {
            (void)KZ_CTX_DelTwoModRelation(ctx, target, mod->name, KZ_REL_AUGMENT);
        }
    }
    for (uint16_t i = 0; i < mod->deviationCount; i++) {
        if (kz::couple::TargetModule(mod->deviations[i].target, target) == 0 &&
            std::strcmp(target, mod->name) != 0) {
            (void)KZ_CTX_DelTwoModRelation(ctx, target, mod->name, KZ_REL_DEVIATE);
        }
    }
}

} // namespace

void KZS_MOD_UnCoupleAllAugments(KzMod *mod)
{
    if (mod == nullptr) {
        return;
    }
    for (KzsNode *aug = mod->augments; aug != nullptr; aug = aug->next) {
        kz::couple::ForceUncouple(aug);
    }
}

uint32_t KZ_CTX_UnloadModule(KzCtx *ctx, const char *moduleName)
{
    return kz::Guarded(KZ_ENOMEM, [&]() -> uint32_t {
        if (ctx == nullptr || moduleName == nullptr) {
            return KZ_EINVAL;
        }
        KzMod *root = KZ_CTX_GetModuleByModName(ctx, moduleName);
        if (root == nullptr) {
            return KZ_ERR;
        }
        std::vector<KzMod *> set;
        uint32_t ret = CollectUnloadSet(ctx, root, set);
        if (ret != 0) {
            return ret;
        }
        if (ctx->reloadModuleCbFunc != nullptr) {
            for (KzMod *mod : set) {
                ctx->reloadModuleCbFunc(ctx, mod->name);
            }
        }

        // Deviations first, while every node they changed is still where they
        // found it.  Deviations of other modules coupled later come off too and
        // are coupled again at the end, on the schema without the set.
        std::vector<kz::couple::DevRef> devs;
        for (KzMod *mod : set) {
            for (uint16_t i = 0; i < mod->deviationCount; i++) {
                if ((mod->deviations[i].flags & KZS_DEVIATION_FLAG_COUPLED) != 0) {
                    devs.push_back({mod, &mod->deviations[i]});
                }
            }
        }
        std::vector<const char *> touched;
        std::vector<kz::couple::DevRef> redo = kz::couple::UndoDeviations(ctx, devs, &touched);
        std::vector<const char *> restored; // interned names of modules that stay
        for (const char *name : touched) {
            KzMod *owner = KZ_CTX_GetModuleByModName(ctx, name);
            if (owner != nullptr && !Contains(set, owner)) {
                restored.push_back(owner->name);
            }
        }

        // Augments give their nodes back; the nodes' current parents are used,
        // not the target paths, which nested augments may no longer resolve.
        for (KzMod *mod : set) {
            KZS_MOD_UnCoupleAllAugments(mod);
        }
        for (KzMod *mod : set) {
            DropRelations(ctx, mod);
        }
        for (KzMod *mod : set) {
            RelationTbl *tbl = KZ_CTX_FindModRelationTbl(ctx, mod->name);
            if (tbl != nullptr) {
                KZ_CTX_DeleteModRelationTbl(ctx, tbl);
            }
        }
        // Dependants first, the module asked for last.
        for (size_t i = set.size(); i-- > 0;) {
            KZ_CTX_DestroyModuleNode(ctx, set[i]);
        }
        // Nodes that a not-supported had removed are back: what stays loaded and
        // was built on them couples again, augments first, then the deviations
        // taken off above in their first order, then any still waiting.
        kz::couple::RecoupleRestored(ctx, restored, false);
        kz::couple::RedoDeviations(redo);
        kz::couple::RecoupleRestored(ctx, restored, true);
        return 0;
    });
}
