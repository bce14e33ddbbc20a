/* Augment coupling: an augment's children are moved into its target's child
 * chain and the augment keeps the first and last of them as the bounds of the
 * moved range, so that the move can be undone. */
#include <cstring>

#include "couple/kzs_couple_int.h"
#include "schema/kzs_ctx.h"
#include "loader/kzs_loader.h"
#include "base/kz_kit.h"

namespace {

KzCtx *NodeCtx(const KzsNode *node)
{
    return (node != nullptr && node->module != nullptr) ? node->module->ctx : nullptr;
}

bool IsCoupled(const KzsNode *augment)
{
    return (augment->flags & KZS_NODE_FLAG_AUG_COUPLED) != 0;
}

/* Calls visit on each augment of mod not yet coupled, which may unlink and
 * free it; the first non-zero result ends the walk and is returned. */
template <typename Visit>
uint32_t ForEachUncoupledAugment(KzMod *mod, Visit visit)
{
    KzsNode *next = nullptr;
    for (KzsNode *aug = mod->augments; aug != nullptr; aug = next) {
        next = aug->next;
        if (IsCoupled(aug)) {
            continue;
        }
        uint32_t ret = visit(aug);
        if (ret != 0) {
            return ret;
        }
    }
    return 0;
}

/* Tries every augment of mod not yet coupled; a missing target is no error
 * (the augment is retried when the target arrives). */
void CoupleWaitingAugments(KzMod *mod)
{
    for (KzsNode *aug = mod->augments; aug != nullptr; aug = aug->next) {
        if (!IsCoupled(aug)) {
            (void)KZS_NODE_CoupleAugmentNode(aug);
        }
    }
}

} // namespace

uint32_t kz::couple::TargetModule(const char *path, char (&modName)[kz::kNameBufSize])
{
    modName[0] = '\0';
    if (path == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t ret = KZ_XPATH_SplitTargetNodeXpath(path, modName, kz::kNameBufSize, nullptr, nullptr);
    if (ret != 0) {
        return ret;
    }
    return modName[0] == '\0' ? KZ_EINVAL : 0;
}

bool kz::couple::InAugRange(const KzsNode *augment, const KzsNode *child)
{
    if (augment == nullptr || child == nullptr || augment->firstChild == nullptr) {
        return false;
    }
    for (const KzsNode *n = augment->firstChild; n != nullptr; n = n->next) {
        if (n == child) {
            return true;
        }
        if (n == augment->lastChild) {
            break;
        }
    }
    return false;
}

bool kz::couple::IsInSubtree(const KzsNode *root, const KzsNode *node)
{
    for (const KzsNode *n = node; n != nullptr; n = n->parent) {
        if (n == root) {
            return true;
        }
    }
    return false;
}

void kz::couple::ForceUncouple(KzsNode *augment)
{
    if (augment == nullptr || !IsCoupled(augment)) {
        return;
    }
    // The range is followed from wherever its nodes sit now (an enclosing
    // augment may have moved them), so that no moved node is left behind.
    KzsNode *child = augment->firstChild;
    KzsNode *last = augment->lastChild;
    augment->firstChild = nullptr;
    augment->lastChild = nullptr;
    if (child != nullptr) {
        KZS_NODE_NotifyAugmentFirstChildNodeRelink(child);
    }
    while (child != nullptr) {
        KzsNode *next = child->next;
        bool isLast = (child == last);
        KZS_NODE_Unlink(child);
        (void)KZS_NODE_AddChild(augment, child);
        if (isLast) {
            break;
        }
        child = next;
    }
    augment->flags &= ~KZS_NODE_FLAG_AUG_COUPLED;
}

void KZS_NODE_NotifyAugmentFirstChildNodeRelink(KzsNode *firstChild)
{
    KzCtx *ctx = NodeCtx(firstChild);
    if (ctx != nullptr && ctx->firstAugChildRelinkFunc != nullptr) {
        ctx->firstAugChildRelinkFunc(ctx, firstChild);
    }
}

KzsNode *KZS_NODE_GetAugRpcParentNodeAndChildType(KzCtx *ctx, const char *parentPath, const char *lastStep,
                                                  uint32_t *kindOut)
{
    if (ctx == nullptr || parentPath == nullptr || lastStep == nullptr) {
        return nullptr;
    }
    uint32_t kind;
    if (std::strcmp(lastStep, "input") == 0) {
        kind = KZS_NODE_INPUT;
    } else if (std::strcmp(lastStep, "output") == 0) {
        kind = KZS_NODE_OUTPUT;
    } else {
        return nullptr;
    }
    KzsNode *parent = KZ_CTX_GetTargetNode(ctx, parentPath, nullptr);
    if (parent == nullptr || (parent->kind != KZS_NODE_ACTION && parent->kind != KZS_NODE_RPC)) {
        return nullptr;
    }
    if (kindOut != nullptr) {
        *kindOut = kind;
    }
    return parent;
}

KzsNode *KZS_NODE_ConstructInputOutputNodeIfMatch(KzCtx *ctx, const char *parentPath, const char *lastStep)
{
    uint32_t kind = 0;
    KzsNode *parent = KZS_NODE_GetAugRpcParentNodeAndChildType(ctx, parentPath, lastStep, &kind);
    if (parent == nullptr) {
        return nullptr;
    }
    KzsNode *node = KZS_NODE_New(kind);
    if (node == nullptr) {
        return nullptr;
    }
    node->module = parent->module;
    node->name = KZ_DICT_Insert(&ctx->dict, lastStep);
    if (node->name == nullptr) {
        KZS_NODE_Free(node);
        return nullptr;
    }
    uint32_t ret = (kind == KZS_NODE_INPUT) ? KZS_NODE_AddAsFirstChild(parent, node) : KZS_NODE_AddChild(parent, node);
    if (ret != 0) {
        KZS_NODE_Free(node);
        return nullptr;
    }
    return node;
}

KzsNode *KZS_NODE_UpdateTargetPathWithInputOutput(KzCtx *ctx, const char *path)
{
    if (ctx == nullptr || path == nullptr) {
        return nullptr;
    }
    char *copy = kz::DupText(path);
    if (copy == nullptr) {
        return nullptr;
    }
    KzsNode *node = nullptr;
    char *slash = std::strrchr(copy, '/');
    if (slash != nullptr) {
        *slash = '\0';
        node = KZS_NODE_ConstructInputOutputNodeIfMatch(ctx, copy, slash + 1);
    }
    KZ_MemFree(copy);
    return node;
}

uint32_t KZS_NODE_CoupleAugmentNodeAndTargetNode(KzsNode *augment, KzsNode *target)
{
    if (augment == nullptr || target == nullptr) {
        return KZ_EINVAL;
    }
    KzsNode *first = augment->firstChild;
    if (first == nullptr) {
        return 0;
    }
    KzsNode *last = augment->lastChild;
    for (KzsNode *child = first; child != nullptr;) {
        KzsNode *next = child->next;
        child->parent = nullptr;
        child->next = nullptr;
        child->prev = nullptr;
        (void)KZS_NODE_AddChild(target, child);
        // The moved node takes config, access-control marks and status from
        // its new parent, as if it had been written there.
        (void)KZS_NODE_UpdateConfigFlag(child);
        (void)KZS_NODE_UpdateNacmFlag(child);
        (void)KZS_NODE_UpdateStatusFlag(child);
        child = next;
    }
    augment->firstChild = first;
    augment->lastChild = last;
    KZS_NODE_NotifyAugmentFirstChildNodeRelink(first);
    return 0;
}

uint32_t KZS_NODE_UnCoupleAugmentNodeAndTargetNode(KzsNode *augment, KzsNode *target)
{
    if (augment == nullptr || target == nullptr) {
        return KZ_EINVAL;
    }
    KzsNode *first = augment->firstChild;
    KzsNode *last = augment->lastChild;
    augment->firstChild = nullptr;
    augment->lastChild = nullptr;
    if (first == nullptr && last == nullptr) {
        return 0;
    }
    if (first == nullptr || last == nullptr) {
        return KZ_EINVAL;
    }
    if (KZS_NODE_IsChildNode(target, first) != 1) {
        // Keep the range: the children still sit somewhere else.
        augment->firstChild = first;
        augment->lastChild = last;
        return KZ_EINVAL;
    }
    KZS_NODE_NotifyAugmentFirstChildNodeRelink(first);
    for (KzsNode *child = first;;) {
        if (child == nullptr) {
            return KZ_EINVAL;
        }
        KzsNode *next = child->next;
        KZS_NODE_Unlink(child);
        (void)KZS_NODE_AddChild(augment, child);
        if (child == last) {
            break;
        }
        child = next;
    }
    return 0;
}

uint32_t KZS_NODE_CoupleAugmentNode(KzsNode *augment)
{
    if (augment == nullptr) {
        return KZ_EINVAL;
    }
    if (IsCoupled(augment)) {
        return 0;
    }
    KzCtx *ctx = NodeCtx(augment);
    if (ctx == nullptr) {
        return KZ_EINVAL;
    }
    KzsNode *target = KZ_CTX_GetTargetNode(ctx, augment->name, nullptr);
    if (target == nullptr) {
        target = KZS_NODE_UpdateTargetPathWithInputOutput(ctx, augment->name);
        if (target == nullptr) {
            return KZ_EINVAL;
        }
    }
    uint32_t ret = KZS_NODE_CoupleAugmentNodeAndTargetNode(augment, target);
    if (ret != 0) {
        return ret;
    }
    augment->flags |= KZS_NODE_FLAG_AUG_COUPLED;
    return 0;
}

uint32_t KZS_NODE_UnCoupleAugmentNode(KzsNode *augment)
{
    if (augment == nullptr || !IsCoupled(augment)) {
        return KZ_EINVAL;
    }
    KzCtx *ctx = NodeCtx(augment);
    if (ctx == nullptr) {
        return KZ_EINVAL;
    }
    KzsNode *target = KZ_CTX_GetTargetNode(ctx, augment->name, nullptr);
    if (target == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t ret = KZS_NODE_UnCoupleAugmentNodeAndTargetNode(augment, target);
    if (ret != 0) {
        return ret;
    }
    augment->flags &= ~KZS_NODE_FLAG_AUG_COUPLED;
    return 0;
}

void KZS_NODE_RemoveCoupledAugmentNodeChildLink(KzsNode *augment, KzsNode *child)
{
    if (augment == nullptr || child == nullptr || !IsCoupled(augment) || !kz::couple::InAugRange(augment, child)) {
        return;
    }
    bool isFirst = (augment->firstChild == child);
    bool isLast = (augment->lastChild == child);
    if (isFirst && isLast) {
        augment->firstChild = nullptr;
        augment->lastChild = nullptr;
    } else if (isFirst) {
        augment->firstChild = child->next;
    } else if (isLast) {
        augment->lastChild = child->prev;
    }
}

void KZS_LOADER_DestroySelfAugNode(KzsNode *augment)
{
    if (augment == nullptr) {
        return;
    }
    if (IsCoupled(augment)) {
        // The moved children now belong to their target for good.
        augment->firstChild = nullptr;
        augment->lastChild = nullptr;
        augment->flags &= ~KZS_NODE_FLAG_AUG_COUPLED;
    }
    KZS_NODE_Unlink(augment);
    KZS_NODE_Free(augment);
}

uint32_t KZS_LOADER_CoupleAugmentAndGenRelation(KzCtx *ctx, KzMod *mod)
{
    if (ctx == nullptr || mod == nullptr) {
        return KZ_EINVAL;
    }
    return ForEachUncoupledAugment(mod, [ctx, mod](KzsNode *aug) -> uint32_t {
        char target[kz::kNameBufSize];
        if (kz::couple::TargetModule(aug->name, target) != 0) {
            return KZ_EINVAL;
        }
        // A missing target is not an error: the augment is retried when
        // the target module arrives.
        (void)KZS_NODE_CoupleAugmentNode(aug);
        if (mod->name == nullptr || std::strcmp(target, mod->name) != 0) {
            (void)KZ_CTX_AddTwoModRelation(ctx, target, mod->name, KZ_REL_AUGMENT);
        } else {
            KZS_LOADER_DestroySelfAugNode(aug);
        }
        return 0;
    });
}

uint32_t KZS_LOADER_CoupleSelfAugmentNode(KzCtx *ctx, KzMod *mod)
{
    if (ctx == nullptr || mod == nullptr) {
        return KZ_EINVAL;
    }
    return ForEachUncoupledAugment(mod, [mod](KzsNode *aug) -> uint32_t {
        KzsNode *target = nullptr;
        if (KZS_MOD_FindAugNodeTargetInSelfMod(mod, aug, &target) != 0) {
            return KZ_EINVAL;
        }
        if (target == nullptr) {
            return 0;
        }
        uint32_t ret = KZS_NODE_CoupleAugmentNodeAndTargetNode(aug, target);
        if (ret != 0) {
            return ret;
        }
        aug->flags |= KZS_NODE_FLAG_AUG_COUPLED;
        KZS_LOADER_DestroySelfAugNode(aug);
        return 0;
    });
}

uint32_t KZS_LOADER_CoupleModRemainNodesToTgt(KzMod *mod)
{
    if (mod == nullptr) {
        return KZ_EINVAL;
    }
    CoupleWaitingAugments(mod);
    // The count is read again on every round: coupling must not be trusted
    // to leave the array alone.
    for (uint16_t i = 0; i < mod->deviationCount; i++) {
        if ((mod->deviations[i].flags & KZS_DEVIATION_FLAG_COUPLED) == 0) {
            (void)KZS_MOD_CoupleDeviation(mod, &mod->deviations[i]);
        }
    }
    return 0;
}

uint32_t KZS_MOD_CoupleAugmentFromDepMods(KzCtx *ctx, const char *modName, const char *depModName, void *arg)
{
    (void)modName;
    (void)arg;
    KzMod *dep = KZ_CTX_GetModuleByModName(ctx, depModName);
    if (dep == nullptr) {
        return KZ_ERR;
    }
    CoupleWaitingAugments(dep);
    return 0;
}

uint32_t KZS_MOD_UnCoupleAugmentFromDepMods(KzCtx *ctx, const char *modName, const char *depModName, void *arg)
{
    (void)arg;
    KzMod *dep = KZ_CTX_GetModuleByModName(ctx, depModName);
    if (dep == nullptr) {
        return KZ_ERR;
    }
    for (KzsNode *aug = dep->augments; aug != nullptr; aug = aug->next) {
        char target[kz::kNameBufSize];
        if (!IsCoupled(aug) || kz::couple::TargetModule(aug->name, target) != 0) {
            continue;
        }
        if (modName != nullptr && std::strcmp(target, modName) == 0) {
            (void)KZS_NODE_UnCoupleAugmentNode(aug);
        }
    }
    return 0;
}
