/* Merging a further source of a module into the module record already built:
 * global definitions are added where missing and checked where present, and
 * schema nodes are paired by position, new ones changing owner. */
#include <cstring>
#include <unordered_set>
#include <vector>

#include "couple/kzs_couple_int.h"
#include "schema/kzs_ctx.h"
#include "schema/kzs_diag.h"
#include "base/kz_array.h"
#include "base/kz_guard.h"

namespace {

KzDict *Dict(KzMod *mod)
{
    return &mod->ctx->dict;
}

bool IsCoupledAugment(const KzsNode *node)
{
    return node->kind == KZS_NODE_AUGMENT && (node->flags & KZS_NODE_FLAG_AUG_COUPLED) != 0;
}

void ClearDeviate(KzDict *dict, KzsDeviate *d)
{
    KZS_NODE_FreeMusts(dict, d->musts, d->mustCount);
    KZS_NODE_FreeDefaults(dict, d->defaults, d->defaultCount);
    if (d->type != nullptr) {
        KZT_TYPE_DestroyNytRealType(dict, d->type);
    }
    KZ_DICT_Remove(dict, d->units);
    KZS_EXT_FreeExtInsts(dict, d->extInsts, d->extInstCount);
    std::memset(d, 0, sizeof(*d));
}

uint32_t CopyDeviate(KzDict *dict, KzsDeviate *dst, const KzsDeviate *src)
{
    std::memset(dst, 0, sizeof(*dst));
    dst->kind = src->kind;
    dst->flags = src->flags;
    bool ok = true;
    if (src->mustCount != 0) {
        dst->musts = KZS_NODE_CopyMustsArray(dict, src->musts, src->mustCount);
        ok = ok && dst->musts != nullptr;
        dst->mustCount = dst->musts != nullptr ? src->mustCount : 0;
    }
    if (ok && src->defaultCount != 0) {
        dst->defaults = KZS_NODE_CopyDefaults(dict, src->defaults, src->defaultCount);
        ok = dst->defaults != nullptr;
        dst->defaultCount = ok ? src->defaultCount : 0;
    }
    if (ok && src->type != nullptr) {
        dst->type = KZT_TYPE_CopyNytRealType(dict, src->type);
        ok = dst->type != nullptr;
    }
    if (ok && src->units != nullptr) {
        dst->units = KZ_DICT_Insert(dict, src->units);
        ok = dst->units != nullptr;
    }
    if (ok && src->extInstCount != 0) {
        dst->extInsts = KZS_EXT_CopyExtInsts(dict, src->extInsts, src->extInstCount);
        ok = dst->extInsts != nullptr;
        dst->extInstCount = ok ? src->extInstCount : 0;
    }
    if (!ok) {
        ClearDeviate(dict, dst);
        return KZ_ENOMEM;
    }
    return 0;
}

/* Merges definitions found by name: one the target already has must be the
 * same (else the differs message, with the name, and 22), any other is
 * appended by append(dst, definition), which reports its own failures. */
template <typename Def, typename Find, typename Same, typename Append>
uint32_t MergeByName(KzMod *dst, const Def *defs, uint16_t count, Find find, Same same, const char *differs,
                     Append append)
{
    for (uint16_t i = 0; i < count; i++) {
        const Def *def = &defs[i];
        const Def *found = find(dst, def->name);
        if (found != nullptr) {
            if (same(found, def) == 0) {
                KZ_CTX_AddModError(dst->ctx, dst->name, differs, def->name);
                return KZ_EINVAL;
            }
            continue;
        }
        uint32_t ret = append(dst, def);
        if (ret != 0) {
            return ret;
        }
    }
    return 0;
}

/* Gives a just-appended definition a copy of the source's if-features. */
uint32_t CopyIfFeatures(KzMod *dst, const KzsIfFeature *from, uint16_t count, KzsIfFeature **to, uint16_t *toCount,
                        const char *failure, const char *name)
{
    if (count == 0) {
        return 0;
    }
    *to = KZS_NODE_CopyIfFeaturesArray(Dict(dst), from, count);
    if (*to == nullptr) {
        KZ_CTX_AddModError(dst->ctx, dst->name, failure, name);
        return KZ_ENOMEM;
    }
    *toCount = count;
    return 0;
}

uint32_t CopyIdentBases(KzMod *dst, const KzsIdentity *from, KzsIdentity *to)
{
    if (from->baseCount == 0) {
        return 0;
    }
    to->bases = KZS_MOD_CopyIdentBaseArray(Dict(dst), from->bases, from->baseCount);
    if (to->bases == nullptr) {
        KZ_CTX_AddModError(dst->ctx, dst->name, "Failed to merge base informations of identity \"%s\".", from->name);
        return KZ_ENOMEM;
    }
    to->baseCount = from->baseCount;
    return 0;
}

uint32_t AppendFeatureCopy(KzMod *dst, const KzsFeature *feat)
{
    uint32_t ret = KZS_MOD_AppendOneFeature(dst, feat->name);
    if (ret != 0) {
        KZ_CTX_AddModError(dst->ctx, dst->name, "Failed to merge feature name \"%s\".", feat->name);
        return ret;
    }
    KzsFeature *added = &dst->features[dst->featureCount - 1];
    return CopyIfFeatures(dst, feat->ifFeatures, feat->ifFeatureCount, &added->ifFeatures, &added->ifFeatureCount,
                          "Failed to merge if-feature informations of feature \"%s\".", feat->name);
}

uint32_t AppendIdentityCopy(KzMod *dst, const KzsIdentity *ident)
{
    uint32_t ret = KZS_MOD_AppendOneIdentity(dst, ident->name, ident->description);
    if (ret != 0) {
        KZ_CTX_AddModError(dst->ctx, dst->name, "Failed to merge identity name \"%s\".", ident->name);
        return ret;
    }
    KzsIdentity *added = &dst->identities[dst->identityCount - 1];
    ret = CopyIdentBases(dst, ident, added);
    if (ret != 0) {
        return ret;
    }
    return CopyIfFeatures(dst, ident->ifFeatures, ident->ifFeatureCount, &added->ifFeatures, &added->ifFeatureCount,
                          "Failed to merge if-feature informations of identity \"%s\".", ident->name);
}

uint32_t AppendExtensionCopy(KzMod *dst, const KzsExtension *ext)
{
    uint32_t ret = KZS_MOD_AppendOneExtension(dst, ext->name, ext->argName, ext->yinElement);
    if (ret != 0) {
        KZ_CTX_AddModError(dst->ctx, dst->name, "Failed to merge extension name \"%s\".", ext->name);
    }
    return ret;
}

} // namespace

const char *KZS_NODE_GetDiffReasonName(uint32_t reason)
{
    switch (reason) {
    case KZS_NODE_DIFF_NONE:
        return "none";
    case KZS_NODE_DIFF_EXT:
        return "extension";
    case KZS_NODE_DIFF_NAME:
        return "name";
    case KZS_NODE_DIFF_OTHER:
        return "other";
    default:
        return "unknown";
    }
}

// ---- global definitions ------------------------------------------------------

uint32_t KZS_MOD_MergeNonNodeMemberImport(KzMod *dst, KzMod *src)
{
    if (dst == nullptr || src == nullptr) {
        return KZ_EINVAL;
    }
    for (uint16_t i = 0; i < src->importCount; i++) {
        const KzsImport *imp = &src->imports[i];
        const KzsImport *found = KZS_MOD_FindImportByPrefix(dst, imp->prefix);
        if (found == nullptr) {
            uint32_t ret = KZS_MOD_AppendOneImport(dst, imp->modName, imp->prefix);
            if (ret != 0) {
                KZ_CTX_AddModError(dst->ctx, dst->name, "Failed to merge import module name \"%s\" with prefix \"%s\".",
                                   imp->modName, imp->prefix);
                return ret;
            }
        } else if (!kz::SameText(found->modName, imp->modName)) {
            KZ_CTX_AddModError(dst->ctx, dst->name,
                               "The import module name \"%s\" corresponding to the prefix \"%s\" is different from the "
                               "existing module name \"%s\".",
                               imp->modName, imp->prefix, found->modName);
            return KZ_EINVAL;
        }
    }
    return 0;
}

uint32_t KZS_MOD_MergeNonNodeMemberInclude(KzMod *dst, KzMod *src)
{
    if (dst == nullptr || src == nullptr) {
        return KZ_EINVAL;
    }
    for (uint16_t i = 0; i < src->includeCount; i++) {
        const char *sub = src->includes[i];
        if (KZS_MOD_FindIncludeBySubName(dst, sub) != nullptr) {
            continue;
        }
        uint32_t ret = KZS_MOD_AppendOneInclude(dst, sub);
        if (ret != 0) {
            KZ_CTX_AddModError(dst->ctx, dst->name, "Failed to merge include module name \"%s\".", sub);
            return ret;
        }
    }
    return 0;
}

uint32_t KZS_MOD_MergeNonNodeMemberFeature(KzMod *dst, KzMod *src)
{
    if (dst == nullptr || src == nullptr) {
        return KZ_EINVAL;
    }
    return MergeByName(dst, src->features, src->featureCount, KZS_MOD_FindFeatureByName, KZS_MOD_CheckTwoFeatureSame,
                       "The if-feature informations of the feature \"%s\" are different from the existing feature",
                       AppendFeatureCopy);
}

uint32_t KZS_MOD_MergeNonNodeMemberIdentity(KzMod *dst, KzMod *src)
{
    if (dst == nullptr || src == nullptr) {
        return KZ_EINVAL;
    }
    return MergeByName(dst, src->identities, src->identityCount, KZS_MOD_FindIdentityByName,
                       KZS_MOD_CheckTwoIdentitySame,
                       "The information of the identity \"%s\" is different from the existing identity",
                       AppendIdentityCopy);
}

uint32_t KZS_MOD_MergeNonNodeMemberExtension(KzMod *dst, KzMod *src)
{
    if (dst == nullptr || src == nullptr) {
        return KZ_EINVAL;
    }
    return MergeByName(dst, src->extensions, src->extensionCount, KZS_MOD_FindExtensionByName,
                       KZS_MOD_CheckTwoExtensionSame,
                       "The information of the extension \"%s\" is different from the existing extension",
                       AppendExtensionCopy);
}

uint32_t KZS_MOD_MergeNonNodeMemberDeviation(KzMod *dst, KzMod *src)
{
    if (dst == nullptr || src == nullptr) {
        return KZ_EINVAL;
    }
    KzDict *dict = Dict(dst);
    for (uint16_t i = 0; i < src->deviationCount; i++) {
        const KzsDeviation *dev = &src->deviations[i];
        bool present = false;
        for (uint16_t j = 0; j < dst->deviationCount && !present; j++) {
            present = KZS_MOD_CheckTwoDeviationSame(&dst->deviations[j], dev) != 0;
        }
        if (present) {
            continue;
        }
        void *grown = dst->deviations;
        uint32_t ret = KZ_UTL_ExpandArray(&grown, dst->deviationCount, 1, sizeof(KzsDeviation));
        const char *target = ret == 0 ? KZ_DICT_Insert(dict, dev->target) : nullptr;
        if (ret == 0) {
            dst->deviations = static_cast<KzsDeviation *>(grown);
        }
        if (target == nullptr) {
            KZ_CTX_AddModError(dst->ctx, dst->name, "Failed to merge deviation \"%s\".", dev->target);
            return ret != 0 ? ret : KZ_ENOMEM;
        }
        KzsDeviation *added = &dst->deviations[dst->deviationCount];
        std::memset(added, 0, sizeof(*added));
        added->target = target;
        // The deviates are built aside and attached only when all copied.
        KzsDeviate *deviates = nullptr;
        if (dev->deviateCount != 0) {
            deviates = static_cast<KzsDeviate *>(KZ_MemMalloc(sizeof(KzsDeviate) * dev->deviateCount));
            uint16_t done = 0;
            ret = deviates == nullptr ? KZ_ENOMEM : 0;
            while (ret == 0 && done < dev->deviateCount) {
                ret = CopyDeviate(dict, &deviates[done], &dev->deviates[done]);
                done += (ret == 0) ? 1 : 0;
            }
            if (ret != 0) {
                for (uint16_t k = 0; deviates != nullptr && k < done; k++) {
                    ClearDeviate(dict, &deviates[k]);
                }
                KZ_MemFree(deviates);
                KZ_DICT_Remove(dict, target);
                added->target = nullptr;
                KZ_CTX_AddModError(dst->ctx, dst->name, "Failed to merge deviate informations of deviation \"%s\".",
                                   dev->target);
                return KZ_ENOMEM;
            }
        }
        added->deviates = deviates;
        added->deviateCount = dev->deviateCount;
        dst->deviationCount++;
    }
    return 0;
}

uint32_t KZS_MOD_MergeNonNodeMemberTypeDef(KzMod *dst, KzMod *src)
{
    if (dst == nullptr || src == nullptr) {
        return KZ_EINVAL;
    }
    for (uint16_t i = 0; i < src->typedefCount; i++) {
        const KzsTypedef *tdef = &src->typedefs[i];
        // The first definition wins, without comparing the two.
        if (KZS_MOD_FindTypDefObjByName(dst, tdef->name) != nullptr) {
            continue;
        }
        uint32_t ret = KZS_MOD_AppendOneTypeDef(dst, tdef->name, tdef->dflt, tdef->units, &tdef->realType);
        if (ret != 0) {
            KZ_CTX_AddModError(dst->ctx, dst->name, "Failed to merge typedef \"%s\".", tdef->name);
            return ret;
        }
        ret = KZT_TYPE_UpdateRealTypeDerivedFrom(&dst->typedefs[dst->typedefCount - 1].realType, dst);
        if (ret != 0) {
            KZ_CTX_AddModError(dst->ctx, dst->name, "Failed to update real type of typedef \"%s\".", tdef->name);
            return ret;
        }
    }
    return 0;
}

uint32_t KZS_MOD_MergeGlobalDefData(KzMod *dst, KzMod *src)
{
    if (dst == nullptr || src == nullptr || dst->ctx == nullptr) {
        return KZ_EINVAL;
    }
    using MergeFunc = uint32_t (*)(KzMod *, KzMod *);
    static constexpr MergeFunc kSteps[] = {
        KZS_MOD_MergeNonNodeMemberImport,    KZS_MOD_MergeNonNodeMemberInclude,   KZS_MOD_MergeNonNodeMemberFeature,
        KZS_MOD_MergeNonNodeMemberIdentity,  KZS_MOD_MergeNonNodeMemberExtension, KZS_MOD_MergeNonNodeMemberDeviation,
        KZS_MOD_MergeNonNodeMemberTypeDef,
    };
    for (MergeFunc step : kSteps) {
        uint32_t ret = step(dst, src);
        if (ret != 0) {
            return ret;
        }
    }
    if (src->extInstCount != 0) {
        uint32_t ret = KZS_EXT_MergeExtInsts(Dict(dst), &dst->extInsts, &dst->extInstCount, src->extInsts,
                                             src->extInstCount);
        if (ret != 0) {
            KZ_CTX_AddModError(dst->ctx, dst->name, "%s", "Failed to merge global extension instance informations.");
            return ret;
        }
    }
    return 0;
}

// ---- schema nodes ------------------------------------------------------------

uint32_t KZS_NODE_CompareTwoTreeNodeSelfData(const KzsNode *dstNode, const KzsNode *srcNode)
{
    if (dstNode == nullptr || srcNode == nullptr) {
        return KZS_NODE_DIFF_OTHER;
    }
    if (!kz::SameText(dstNode->name, srcNode->name)) {
        return KZS_NODE_DIFF_NAME;
    }
    // A registered module's augments are coupled while a fresh source's are
    // not; that bit says nothing about the definitions themselves.
    uint32_t ignore = dstNode->kind == KZS_NODE_AUGMENT ? KZS_NODE_FLAG_AUG_COUPLED : 0;
    if ((dstNode->flags & ~ignore) != (srcNode->flags & ~ignore)) {
        return KZS_NODE_DIFF_OTHER;
    }
    if (dstNode->kind != srcNode->kind) {
        return KZS_NODE_DIFF_OTHER;
    }
    if (srcNode->extInstCount == 0) {
        return KZS_NODE_DIFF_NONE;
    }
    if (dstNode->extInstCount == 0) {
        return KZS_NODE_DIFF_EXT;
    }
    return dstNode->extInstCount == srcNode->extInstCount ? KZS_NODE_DIFF_NONE : KZS_NODE_DIFF_OTHER;
}

void KZS_NODE_RefreshNodeTreeToNyMod(KzsNode *root, KzMod *mod)
{
    if (root == nullptr) {
        return;
    }
    for (KzsNode *n = root; n != nullptr; n = kz::schema::NextInSubtree(root, n)) {
        n->module = mod;
        if ((n->kind == KZS_NODE_LEAF || n->kind == KZS_NODE_LEAFLIST) && n->schemaInfo != nullptr && mod != nullptr) {
            (void)KZT_TYPE_UpdateRealTypeDerivedFrom(static_cast<KztRealType *>(n->schemaInfo), mod);
        }
    }
}

uint32_t KZS_NODE_MergeDstNodeWithMimExtInst(KzsNode *dstNode, const KzsNode *srcNode)
{
    if (dstNode == nullptr || srcNode == nullptr || dstNode->module == nullptr || dstNode->module->ctx == nullptr) {
        return KZ_EINVAL;
    }
    if (dstNode->extInstCount != 0) {
        return KZ_EINVAL;
    }
    if (srcNode->extInstCount == 0) {
        return 0;
    }
    KzsExtInst *copy = KZS_EXT_CopyExtInsts(Dict(dstNode->module), srcNode->extInsts, srcNode->extInstCount);
    if (copy == nullptr) {
        return KZ_ENOMEM;
    }
    dstNode->extInsts = copy;
    dstNode->extInstCount = srcNode->extInstCount;
    return 0;
}

uint32_t KZS_NODE_CheckPostSiblingNodeUnique(const KzsNode *dstNode, const KzsNode *srcNode)
{
    // Names are interned in the shared dictionary: one set of pointers keeps
    // the check linear.
    std::unordered_set<const char *> names;
    for (const KzsNode *d = dstNode; d != nullptr; d = d->next) {
        names.insert(d->name);
    }
    for (const KzsNode *s = srcNode; s != nullptr; s = s->next) {
        if (names.count(s->name) != 0) {
            return KZ_EINVAL;
        }
    }
    return 0;
}

uint32_t KZS_NODE_MergeNodeListToTgtWithTravType(KzsNode *anchor, KzsNode *srcNode, KzMod *dstMod, uint32_t linkMode)
{
    if (anchor == nullptr || dstMod == nullptr) {
        return KZ_EINVAL;
    }
    KzsNode *next = nullptr;
    for (KzsNode *n = srcNode; n != nullptr; n = next) {
        next = n->next;
        // Unlinked while still owned by the source, so that the source's
        // chain head follows.
        KZS_NODE_Unlink(n);
        KZS_NODE_RefreshNodeTreeToNyMod(n, dstMod);
        uint32_t ret = KZS_NODE_LinkTreeNode(anchor, n, linkMode);
        if (ret != 0) {
            KZS_NODE_Free(n);
            return ret;
        }
    }
    return 0;
}

uint32_t KZS_NODE_MoveExtraNodeList(KzsNode **dstHead, KzsNode *srcNode, KzsNode *dstParent, KzMod *dstMod)
{
    if (dstHead == nullptr || srcNode == nullptr || dstMod == nullptr) {
        return KZ_EINVAL;
    }
    if (dstParent != nullptr) {
        return KZS_NODE_MergeNodeListToTgtWithTravType(dstParent, srcNode, dstMod, KZS_NODE_LINK_CHILD);
    }
    if (*dstHead != nullptr) {
        // Extra top-level nodes stay with the source: pairing by position
        // cannot tell where they belong.
        return 0;
    }
    KzsNode *rest = srcNode->next;
    KZS_NODE_Unlink(srcNode);
    KZS_NODE_RefreshNodeTreeToNyMod(srcNode, dstMod);
    *dstHead = srcNode;
    if (rest == nullptr) {
        return 0;
    }
    return KZS_NODE_MergeNodeListToTgtWithTravType(srcNode, rest, dstMod, KZS_NODE_LINK_SIBLING);
}

void KZS_NODE_RecordNodeListMergeError(KzMod *dstMod, const KzsNode *dstParent, const KzsNode *dstNode,
                                       uint32_t reason)
{
    if (dstMod == nullptr || dstNode == nullptr) {
        return;
    }
    const char *why = KZS_NODE_GetDiffReasonName(reason);
    if (dstParent == nullptr) {
        KZ_CTX_AddModError(dstMod->ctx, dstMod->name, "Failed to merge node \"%s\" with diff reason \"%s\".",
                           dstNode->name, why);
    } else {
        KZ_CTX_AddModError(dstMod->ctx, dstMod->name, "Failed to merge node \"%s\" under \"%s\" with diff reason \"%s\".",
                           dstNode->name, dstParent->name, why);
    }
}

void KZS_NODE_RecordExtraNodeListMergeError(KzMod *dstMod, const KzsNode *dstParent, const KzsNode *extraNode)
{
    if (dstMod == nullptr || extraNode == nullptr) {
        return;
    }
    if (dstParent == nullptr) {
        KZ_CTX_AddModError(dstMod->ctx, dstMod->name, "Failed to merge extra node list \"%s\".", extraNode->name);
    } else {
        KZ_CTX_AddModError(dstMod->ctx, dstMod->name, "Failed to merge extra node list \"%s\" under \"%s\".",
                           extraNode->name, dstParent->name);
    }
}

uint32_t KZS_NODE_MergeNodeListWithDiffReason(KzsNode *dstNode, KzsNode *srcNode, KzMod *dstMod, uint32_t reason,
                                              uint32_t *continueOut)
{
    if (continueOut != nullptr) {
        *continueOut = 1;
    }
    if (dstNode == nullptr || srcNode == nullptr || dstMod == nullptr || dstNode->module != dstMod) {
        return KZ_EINVAL;
    }
    switch (reason) {
    case KZS_NODE_DIFF_NONE:
        return 0;
    case KZS_NODE_DIFF_EXT:
        return KZS_NODE_MergeDstNodeWithMimExtInst(dstNode, srcNode);
    case KZS_NODE_DIFF_NAME: {
        if (KZS_NODE_CheckPostSiblingNodeUnique(dstNode, srcNode) != 0) {
            return KZ_EINVAL;
        }
        if (continueOut != nullptr) {
            *continueOut = 0;
        }
        return KZS_NODE_MergeNodeListToTgtWithTravType(dstNode, srcNode, dstMod, KZS_NODE_LINK_SIBLING);
    }
    default:
        return KZ_EINVAL;
    }
}

uint32_t KZS_NODE_CompareAndMergeNodeList(KzsNode **dstHead, KzsNode **srcHead, KzsNode *dstParent, KzMod *dstMod)
{
    if (dstHead == nullptr || srcHead == nullptr || dstMod == nullptr) {
        return KZ_EINVAL;
    }
    KzsNode *d = *dstHead;
    KzsNode *s = *srcHead;
    while (d != nullptr && s != nullptr) {
        uint32_t reason = KZS_NODE_CompareTwoTreeNodeSelfData(d, s);
        KzsNode *sNext = s->next;
        uint32_t more = 1;
        uint32_t ret = KZS_NODE_MergeNodeListWithDiffReason(d, s, dstMod, reason, &more);
        if (ret != 0) {
            KZS_NODE_RecordNodeListMergeError(dstMod, dstParent, d, reason);
            return ret;
        }
        if (more == 0) {
            // The rest of the level moved over; unlinking kept the source's
            // head slot right, but a slot that is not a chain head is cleared.
            if (*srcHead == s) {
                *srcHead = nullptr;
            }
            return 0;
        }
        d = d->next;
        s = sNext;
    }
    if (s != nullptr && d == nullptr) {
        bool wasHead = (*srcHead == s);
        uint32_t ret = KZS_NODE_MoveExtraNodeList(dstHead, s, dstParent, dstMod);
        if (ret != 0) {
            KZS_NODE_RecordExtraNodeListMergeError(dstMod, dstParent, s);
            return ret;
        }
        if (wasHead && s->module == dstMod && *srcHead == s) {
            *srcHead = nullptr;
        }
    }
    return 0;
}

uint32_t KZS_NODE_MergeTreeNodeFromRootStart(KzsNode **dstHead, KzsNode **srcHead, KzsNode *dstParent, KzMod *dstMod)
{
    uint32_t ret = KZS_NODE_CompareAndMergeNodeList(dstHead, srcHead, dstParent, dstMod);
    if (ret != 0) {
        return ret;
    }
    if (*dstHead == nullptr || *srcHead == nullptr) {
        return 0;
    }
    // Depth-first over the pairs of each level, with an explicit stack so
    // that a deep source cannot exhaust the call stack.
    struct Pair {
        KzsNode *d;
        KzsNode *s;
    };
    std::vector<Pair> stack{{*dstHead, *srcHead}};
    while (!stack.empty()) {
        Pair &top = stack.back();
        if (top.d == nullptr || top.s == nullptr) {
            stack.pop_back();
            continue;
        }
        KzsNode *d = top.d;
        KzsNode *s = top.s;
        top.d = d->next;
        top.s = s->next;
        // A coupled augment's children sit in another module's tree.
        if (IsCoupledAugment(d)) {
            continue;
        }
        ret = KZS_NODE_CompareAndMergeNodeList(&d->firstChild, &s->firstChild, d, dstMod);
        if (ret != 0) {
            return ret;
        }
        if (d->firstChild != nullptr && s->firstChild != nullptr) {
            stack.push_back({d->firstChild, s->firstChild});
        }
    }
    return 0;
}

uint32_t KZS_MOD_MergeTreeNodeData(KzMod *dst, KzMod *src)
{
    if (dst == nullptr || src == nullptr) {
        return KZ_EINVAL;
    }
    KzsNode **dstHeads[] = {&dst->dataNodes, &dst->rpcs, &dst->notifs, &dst->augments};
    KzsNode **srcHeads[] = {&src->dataNodes, &src->rpcs, &src->notifs, &src->augments};
    for (size_t i = 0; i < 4; i++) {
        uint32_t ret = KZS_NODE_MergeTreeNodeFromRootStart(dstHeads[i], srcHeads[i], nullptr, dst);
        if (ret != 0) {
            return ret;
        }
    }
    return 0;
}

uint32_t KZS_MOD_MergeTwoModuleInSameCtx(KzMod *dst, KzMod *src)
{
    return kz::Guarded(KZ_ENOMEM, [&]() -> uint32_t {
        if (dst == nullptr || src == nullptr || dst->ctx == nullptr || dst->ctx != src->ctx) {
            return KZ_EINVAL;
        }
        uint32_t ret = KZS_MOD_MergeGlobalDefData(dst, src);
        if (ret != 0) {
            KZ_CTX_AddModError(dst->ctx, dst->name, "%s", "Failed to merge global definitions.");
            return ret;
        }
        ret = KZS_MOD_MergeTreeNodeData(dst, src);
        if (ret != 0) {
            KZ_CTX_AddModError(dst->ctx, dst->name, "%s", "Failed to merge schema tree.");
            return ret;
        }
        return 0;
    });
}
