/* Coupling between modules: augments moved into their targets, deviations
 * applied to (and undone from) their targets, merging the sources of one
 * module, and unloading a module together with the modules built on it. */
#ifndef KZS_COUPLE_H
#define KZS_COUPLE_H

#include "korla.h"
#include "schema/kzs_ctx.h"
#include "schema/kzs_node.h"
#include "schema/kzs_mod.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Reasons why two nodes of two sources of one module differ. */
#define KZS_NODE_DIFF_NONE  0u
#define KZS_NODE_DIFF_EXT   1u
#define KZS_NODE_DIFF_NAME  2u
#define KZS_NODE_DIFF_OTHER 4u

/* ---- Augments ------------------------------------------------------------ */

/* Couples one augment: 0 (also when already coupled), 22 for a null augment
 * or a target that cannot be found or created. */
KZ_API uint32_t KZS_NODE_CoupleAugmentNode(KzsNode *augment);
/* 22 for a null or uncoupled augment, or a target that is gone. */
KZ_API uint32_t KZS_NODE_UnCoupleAugmentNode(KzsNode *augment);
/* The moves themselves; the augment keeps first/last as the moved range. */
KZ_API uint32_t KZS_NODE_CoupleAugmentNodeAndTargetNode(KzsNode *augment, KzsNode *target);
KZ_API uint32_t KZS_NODE_UnCoupleAugmentNodeAndTargetNode(KzsNode *augment, KzsNode *target);

/* A missing input or output of an rpc or action named by path; the node is
 * created and linked, or NULL. */
KZ_API KzsNode *KZS_NODE_UpdateTargetPathWithInputOutput(KzCtx *ctx, const char *path);
KZ_API KzsNode *KZS_NODE_ConstructInputOutputNodeIfMatch(KzCtx *ctx, const char *parentPath,
                                                         const char *lastStep);
/* The rpc/action at parentPath when lastStep is "input" or "output"; *kindOut
 * gets KZS_NODE_INPUT or KZS_NODE_OUTPUT.  NULL otherwise. */
KZ_API KzsNode *KZS_NODE_GetAugRpcParentNodeAndChildType(KzCtx *ctx, const char *parentPath,
                                                         const char *lastStep, uint32_t *kindOut);

/* Calls the context's first-aug-child relink callback, when set. */
KZ_API void KZS_NODE_NotifyAugmentFirstChildNodeRelink(KzsNode *firstChild);
/* Keeps a coupled augment's range right when child leaves the target. */
KZ_API void KZS_NODE_RemoveCoupledAugmentNodeChildLink(KzsNode *augment, KzsNode *child);

/* Pass at append: couples the module's augments and records the relations;
 * augments into the module itself are consumed.  22 for a bad target path. */
KZ_API uint32_t KZS_LOADER_CoupleAugmentAndGenRelation(KzCtx *ctx, KzMod *mod);
/* Couples every uncoupled augment, then applies every uncoupled deviation. */
KZ_API uint32_t KZS_LOADER_CoupleModRemainNodesToTgt(KzMod *mod);
/* Pass after the imports of modName were loaded through tbl. */
/* Augments of a module into itself, found by search (for the embedding process). */
KZ_API uint32_t KZS_LOADER_CoupleSelfAugmentNode(KzCtx *ctx, KzMod *mod);
/* Unlinks and frees a self-augment; coupled children stay in the target. */
KZ_API void KZS_LOADER_DestroySelfAugNode(KzsNode *augment);

/* Module-change passes for relation kind 0 (augments) and kind 1
 * (deviations): modName is the module that changed, depModName the module
 * whose augments or deviations are coupled or uncoupled.  1 when depModName
 * is not loaded, else 0. */
KZ_API uint32_t KZS_MOD_CoupleAugmentFromDepMods(KzCtx *ctx, const char *modName, const char *depModName,
                                                 void *arg);
KZ_API uint32_t KZS_MOD_UnCoupleAugmentFromDepMods(KzCtx *ctx, const char *modName, const char *depModName,
                                                   void *arg);

/* ---- Deviations ---------------------------------------------------------- */

/* Applies every deviation of depModName (recording kind-1 relations for the
 * target modules); modName may be NULL.  Called at append with the module's
 * own name as depModName. */
KZ_API uint32_t KZS_MOD_CoupleDeviationFromDepMods(KzCtx *ctx, const char *modName, const char *depModName,
                                                   void *arg);
/* Undoes the deviations of depModName whose target lies in modName (every
 * coupled one when modName is NULL). */
KZ_API uint32_t KZS_MOD_UnCoupleDeviationFromDepMods(KzCtx *ctx, const char *modName, const char *depModName,
                                                     void *arg);
/* Applies one deviation of mod; 0 when coupled, already coupled or without
 * target; 1 rule violation, 12 out of memory, 22 other failure.  A failing
 * deviation leaves its target as it was. */
KZ_API uint32_t KZS_MOD_CoupleDeviation(KzMod *mod, KzsDeviation *dev);
/* Restores the target of a coupled deviation exactly as it was. */
KZ_API uint32_t KZS_MOD_UnCoupleDeviation(KzMod *mod, KzsDeviation *dev);

/* One deviate and its kinds; mod is the deviating module. */
KZ_API uint32_t KZS_MOD_CoupleDeviate(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target);
KZ_API uint32_t KZS_MOD_CoupleDevAdd(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target);
KZ_API uint32_t KZS_MOD_CoupleDevDel(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target);
KZ_API uint32_t KZS_MOD_CoupleDevNotSup(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target);
KZ_API uint32_t KZS_MOD_CoupleDevRepl(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target);
typedef uint32_t (*KzsCoupleDeviateFunc)(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target);
/* NULL for a kind out of range. */
KZ_API KzsCoupleDeviateFunc KZS_MOD_GetCoupleDeviateFunc(uint32_t kind);
KZ_API uint32_t KZS_MOD_CoupleDevAddFlag(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target);
KZ_API uint32_t KZS_MOD_AddNodeMandatory(KzMod *mod, KzsNode *target, uint16_t mandatoryBits);
KZ_API uint32_t KZS_MOD_CoupleDevReplFlag(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target);
/* Re-interns identityref default values of the deviate in module-name form. */
KZ_API uint32_t KZS_MOD_RefreshDeviateDefaults(KzMod *mod, KzsDeviate *dvt, KzsNode *target);
/* Calls the context's before-not-supported callback, when set. */
KZ_API void KZS_NODE_NotifyBeforeDeviateNotSupport(KzsNode *node);
/* Uncouples the augments of the modules built on mod whose target lies at or
 * below the node named by path. */
KZ_API uint32_t KZS_MOD_RemoveAllModAugmentStartsWithDeviationPath(KzMod *mod, const char *path);

/* ---- Merging two sources of one module ----------------------------------- */

KZ_API uint32_t KZS_MOD_MergeTwoModuleInSameCtx(KzMod *dst, KzMod *src);
KZ_API uint32_t KZS_MOD_MergeGlobalDefData(KzMod *dst, KzMod *src);
KZ_API uint32_t KZS_MOD_MergeNonNodeMemberImport(KzMod *dst, KzMod *src);
KZ_API uint32_t KZS_MOD_MergeNonNodeMemberInclude(KzMod *dst, KzMod *src);
KZ_API uint32_t KZS_MOD_MergeNonNodeMemberFeature(KzMod *dst, KzMod *src);
KZ_API uint32_t KZS_MOD_MergeNonNodeMemberIdentity(KzMod *dst, KzMod *src);
KZ_API uint32_t KZS_MOD_MergeNonNodeMemberExtension(KzMod *dst, KzMod *src);
KZ_API uint32_t KZS_MOD_MergeNonNodeMemberDeviation(KzMod *dst, KzMod *src);
KZ_API uint32_t KZS_MOD_MergeNonNodeMemberTypeDef(KzMod *dst, KzMod *src);
KZ_API uint32_t KZS_MOD_MergeTreeNodeData(KzMod *dst, KzMod *src);

/* Heads are the first-child slots (or top-level chain heads) of one level. */
KZ_API uint32_t KZS_NODE_MergeTreeNodeFromRootStart(KzsNode **dstHead, KzsNode **srcHead, KzsNode *dstParent,
                                                    KzMod *dstMod);
KZ_API uint32_t KZS_NODE_CompareAndMergeNodeList(KzsNode **dstHead, KzsNode **srcHead, KzsNode *dstParent,
                                                 KzMod *dstMod);
/* One of KZS_NODE_DIFF_*. */
KZ_API uint32_t KZS_NODE_CompareTwoTreeNodeSelfData(const KzsNode *dstNode, const KzsNode *srcNode);
KZ_API const char *KZS_NODE_GetDiffReasonName(uint32_t reason);
/* *continueOut becomes 0 when the rest of the level was taken over. */
KZ_API uint32_t KZS_NODE_MergeNodeListWithDiffReason(KzsNode *dstNode, KzsNode *srcNode, KzMod *dstMod,
                                                     uint32_t reason, uint32_t *continueOut);
KZ_API uint32_t KZS_NODE_CheckPostSiblingNodeUnique(const KzsNode *dstNode, const KzsNode *srcNode);
/* Moves srcNode and its following siblings to anchor (mode 0 as children,
 * mode 1 as siblings), each re-owned by dstMod. */
KZ_API uint32_t KZS_NODE_MergeNodeListToTgtWithTravType(KzsNode *anchor, KzsNode *srcNode, KzMod *dstMod,
                                                        uint32_t linkMode);
KZ_API uint32_t KZS_NODE_MoveExtraNodeList(KzsNode **dstHead, KzsNode *srcNode, KzsNode *dstParent,
                                           KzMod *dstMod);
KZ_API uint32_t KZS_NODE_MergeDstNodeWithMimExtInst(KzsNode *dstNode, const KzsNode *srcNode);
KZ_API void KZS_NODE_RefreshNodeTreeToNyMod(KzsNode *root, KzMod *mod);
KZ_API void KZS_NODE_RecordNodeListMergeError(KzMod *dstMod, const KzsNode *dstParent, const KzsNode *dstNode,
                                              uint32_t reason);
KZ_API void KZS_NODE_RecordExtraNodeListMergeError(KzMod *dstMod, const KzsNode *dstParent,
                                                   const KzsNode *extraNode);

/* ---- Unloading ------------------------------------------------------------ */

/* Uncouples every coupled augment of mod (used before modules are freed). */
KZ_API void KZS_MOD_UnCoupleAllAugments(KzMod *mod);
/* Undoes every coupled deviation of mod, newest first. */
KZ_API void KZS_MOD_UnCoupleAllDeviations(KzMod *mod);
/* Removes a module with every module that augments or deviates it, directly
 * or through others (public; also declared in korla.h). */
KZ_API uint32_t KZ_CTX_UnloadModule(KzCtx *ctx, const char *moduleName);

#ifdef __cplusplus
}
#endif

#ifdef __cplusplus
namespace kz::couple {
/* The coupling steps the registry and the loader run (KzCoupleHooks). */
const KzCoupleHooks &Hooks();
} /* namespace kz::couple */
#endif

#endif /* KZS_COUPLE_H */
