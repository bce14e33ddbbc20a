/* Schema nodes: the record, its per-kind information, links, walks and flags. */
#ifndef KZS_NODE_H
#define KZS_NODE_H

#include "korla.h"
#include "types/kzt_type.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct KzDict KzDict;

/* Node kinds. */
enum {
    KZS_NODE_UNKNOWN = 0,
    KZS_NODE_CONTAINER = 1,
    KZS_NODE_LEAF = 2,
    KZS_NODE_LEAFLIST = 3,
    KZS_NODE_LIST = 4,
    KZS_NODE_CHOICE = 5,
    KZS_NODE_CASE = 6,
    KZS_NODE_ANYDATA = 7,
    KZS_NODE_ANYXML = 8,
    KZS_NODE_ACTION = 9,
    KZS_NODE_RPC = 10,
    KZS_NODE_NOTIF = 11,
    KZS_NODE_INPUT = 12,
    KZS_NODE_OUTPUT = 13,
    KZS_NODE_AUGMENT = 14,
    KZS_NODE_KIND_MAX = 14
};

/* Node flag bits. */
#define KZS_NODE_FLAG_AUG_COUPLED        0x1u
#define KZS_NODE_FLAG_CONFIG_TRUE        0x2u
#define KZS_NODE_FLAG_CONFIG_FALSE       0x4u
#define KZS_NODE_FLAG_CONFIG_SET         0x8u
#define KZS_NODE_FLAG_MANDATORY_TRUE     0x10u
#define KZS_NODE_FLAG_MANDATORY_FALSE    0x20u
#define KZS_NODE_FLAG_ORDERED_BY_USER    0x80u
#define KZS_NODE_FLAG_KEY                0x100u
#define KZS_NODE_FLAG_DEPRECATED         0x200u
#define KZS_NODE_FLAG_OBSOLETE           0x400u
#define KZS_NODE_FLAG_PRESENCE           0x800u
#define KZS_NODE_FLAG_NACM_DENY_WRITE    0x1000u
#define KZS_NODE_FLAG_NACM_DENY_ALL      0x2000u

struct KzsExtInst {
    const char *modName;  /* interned: module defining the extension */
    const char *extName;  /* interned */
    const char *argument; /* interned or null */
    uint16_t childCount;
    KzsExtInst *children; /* nested extension instances */
};

typedef struct KzsIfFeature {
    const char *modName;  /* interned */
    const char *featName; /* interned */
} KzsIfFeature;

typedef struct KzsMust {
    const char *cond;      /* interned, required */
    const char *errMsg;    /* interned or null */
    const char *errAppTag; /* interned or null */
} KzsMust;

struct KzsNode {
    KzsNode *parent;
    KzsNode *firstChild;
    KzsNode *lastChild;
    KzsNode *next;
    KzsNode *prev;
    KzMod *module;
    const char *name;
    const char *description;
    uint32_t kind;
    uint32_t flags;
    const char *when;
    KzsIfFeature *ifFeatures;
    KzsMust *musts;
    uint16_t ifFeatureCount;
    uint16_t mustCount;
    uint16_t extInstCount;
    uint8_t keyCount;
    KzsExtInst *extInsts;
    void *schemaInfo;
    void *priv;
};

typedef struct KzsLeafInfo {
    KztRealType realType; /* first member: the node's real type is the info itself */
    const char *dflt;
    const char *units;
} KzsLeafInfo;

typedef struct KzsLeafListInfo {
    KztRealType realType;
    const char **defaults;
    uint32_t defaultCount;
    const char *units;
} KzsLeafListInfo;

typedef struct KzsChoiceInfo {
    const char *defaultCase;
} KzsChoiceInfo;

/* Node kind groups. */
#define KZS_NODE_IS_DATA(kind) \
    ((kind) == KZS_NODE_CONTAINER || (kind) == KZS_NODE_LEAF || (kind) == KZS_NODE_LEAFLIST || \
     (kind) == KZS_NODE_LIST || (kind) == KZS_NODE_ANYDATA || (kind) == KZS_NODE_ANYXML)
#define KZS_NODE_IS_OPERATION(kind) \
    ((kind) == KZS_NODE_ACTION || (kind) == KZS_NODE_RPC || (kind) == KZS_NODE_NOTIF)

/* Flags that a parent hands down to its subtree. */
#define KZS_NODE_FLAG_INHERITED_MASK 0x3606u
#define KZS_NODE_FLAG_CONFIG_MASK (KZS_NODE_FLAG_CONFIG_TRUE | KZS_NODE_FLAG_CONFIG_FALSE)
#define KZS_NODE_FLAG_STATUS_MASK (KZS_NODE_FLAG_DEPRECATED | KZS_NODE_FLAG_OBSOLETE)
#define KZS_NODE_FLAG_NACM_MASK (KZS_NODE_FLAG_NACM_DENY_WRITE | KZS_NODE_FLAG_NACM_DENY_ALL)

/* KZS_NODE_LinkTreeNode modes. */
#define KZS_NODE_LINK_CHILD   0u
#define KZS_NODE_LINK_SIBLING 1u

/* JSON paths of nodes are built in a buffer of this size. */
#define KZS_NODE_PATH_BUF 3096u
/* Most leafref resolutions made when following a chain of leafrefs. */
#define KZS_NODE_LEAFREF_FOLLOW_MAX 129u

/* ---- Node record and links ---- */
KZ_API uint32_t KZS_NODE_GetInfoSize(uint32_t kind);
KZ_API KzsNode *KZS_NODE_New(uint32_t kind);
KZ_API void KZS_NODE_Free(KzsNode *node);
KZ_API void KZS_NODE_DestroySchemaInfo(KzsNode *node);
KZ_API void KZS_NODE_DestroyPrivateData(KzCtx *ctx, KzsNode *node);
KZ_API void KZS_NODE_DestroySchemaLeaf(KzDict *dict, void *info);
KZ_API void KZS_NODE_DestroySchemaLeaflist(KzDict *dict, void *info);
KZ_API void KZS_NODE_DestroySchemaChoice(KzDict *dict, void *info);
KZ_API uint32_t KZS_NODE_AddChild(KzsNode *parent, KzsNode *child);
KZ_API uint32_t KZS_NODE_AddAsFirstChild(KzsNode *parent, KzsNode *child);
KZ_API uint32_t KZS_NODE_AddSibling(KzsNode *node, KzsNode *newNode);
KZ_API uint32_t KZS_NODE_LinkTreeNode(KzsNode *anchor, KzsNode *node, uint32_t mode);
KZ_API KzsNode *KZS_NODE_GetLastSibling(KzsNode *node);
KZ_API void KZS_NODE_Unlink(KzsNode *node);
KZ_API KzsNode *KZS_NODE_FindChildNodeByName(KzsNode *parent, const char *modName, const char *name);
KZ_API uint32_t KZS_NODE_IsChildNode(const KzsNode *parent, const KzsNode *node);
/* The real type of a leaf or leaf-list (its schema information), else null. */
KZ_API KztRealType *KZS_NODE_GetLeafSchemaRealType(const KzsNode *node);
/* JSON path of the node ("/mod:a/b"); the caller frees it with KZ_MemFree. */
KZ_API char *KZS_NODE_PrintPath(const KzsNode *node);

/* ---- Walks ---- */
/* One step of the full walk; *step is the step by which node was reached and
 * receives the step of the returned node. Null when the walk is over. */
KZ_API KzsNode *KZS_NODE_GetTreeNodeNextNode(KzsNode *root, KzsNode *node, uint32_t *step);
KZ_API KzsNode *KZS_NODE_GetTreeNodeSibOrParent(KzsNode *root, KzsNode *node, uint32_t *step);
KZ_API KzsNode *KZS_NODE_GetParentDataTreeNode(KzsNode *node);
KZ_API KzsNode *KZS_NODE_GetFirstSlibingDataTreeNode(KzsNode *node, KzsNode *stop);
KZ_API KzsNode *KZS_NODE_GetNextDataTreeNode(KzsNode *node, KzsNode *stop);
KZ_API KzsNode *KZS_NODE_FindChildDataTreeNodeByName(KzsNode *node, const char *modName, const char *name);

/* ---- Copy ---- */
KZ_API KzsNode *KZS_NODE_CopyNodeTreeToModule(KzsNode *root, KzMod *mod);
KZ_API KzsNode *KZS_NODE_CopyOneNodeToModule(KzsNode *node, KzMod *mod);
KZ_API void *KZS_NODE_CopySchemaByType(KzDict *dict, uint32_t kind, const void *info);
KZ_API void *KZS_NODE_CopySchemaLeaf(KzDict *dict, const void *info);
KZ_API void *KZS_NODE_CopySchemaLeaflist(KzDict *dict, const void *info);
KZ_API void *KZS_NODE_CopySchemaChoice(KzDict *dict, const void *info);

/* ---- Flags and keys ---- */
KZ_API void KZS_NODE_UpdateFlag(KzsNode *node);
/* Walk callback: applies config, access-control and status inheritance to one child. */
KZ_API uint32_t KZS_NODE_ImplUpdateFlagCb(KzsNode *node, uint32_t step, void *cookie);
/* Each returns 1 when the node changed (and its subtree was updated), else 0. */
KZ_API uint32_t KZS_NODE_UpdateConfigFlag(KzsNode *node);
KZ_API uint32_t KZS_NODE_UpdateNacmFlag(KzsNode *node);
KZ_API uint32_t KZS_NODE_UpdateStatusFlag(KzsNode *node);
KZ_API void KZS_NODE_SetNacmFlag(KzsNode *node, const char *modName, const char *extName);
KZ_API uint32_t KZS_NODE_MarkKeyAttrToListLeafs(KzsNode *list, const char *keyText, uint8_t *keyCount);

/* ---- Extension instances ---- */
KZ_API uint32_t KZS_EXT_FillExtInst(KzDict *dict, KzsExtInst *inst, const char *modName, const char *extName,
                                    const char *argument);
KZ_API void KZS_EXT_ClearExtInst(KzDict *dict, KzsExtInst *inst);
KZ_API void KZS_EXT_FreeExtInsts(KzDict *dict, KzsExtInst *insts, uint16_t count);
/* Deep copy of count entries; null for zero entries or on failure. */
KZ_API KzsExtInst *KZS_EXT_CopyExtInsts(KzDict *dict, const KzsExtInst *src, uint16_t count);
/* dst's children become a deep copy of src's children. */
KZ_API uint32_t KZS_EXT_UpdateExtInstChildInsts(KzDict *dict, KzsExtInst *dst, const KzsExtInst *src);
KZ_API uint32_t KZS_EXT_CheckTwoExtInstSame(const KzsExtInst *a, const KzsExtInst *b);
KZ_API KzsExtInst *KZS_EXT_FindSameExtInstInArray(KzsExtInst *insts, uint16_t count, const KzsExtInst *inst);
/* Appends *inst (its strings are taken over) to the array. */
KZ_API uint32_t KZS_EXT_AppendOneExtInstToArray(KzsExtInst **insts, uint16_t *count, const KzsExtInst *inst);
/* Appends a deep copy of inst unless an equal entry is there. */
KZ_API uint32_t KZS_EXT_MergeOneExtInstToArray(KzDict *dict, KzsExtInst **insts, uint16_t *count,
                                               const KzsExtInst *inst);
KZ_API uint32_t KZS_EXT_MergeExtInsts(KzDict *dict, KzsExtInst **insts, uint16_t *count, const KzsExtInst *src,
                                      uint16_t srcCount);
KZ_API uint32_t KZS_EXT_SubtractExtInstArray(KzDict *dict, KzsExtInst **insts, uint16_t *count, uint16_t keep);
KZ_API uint32_t KZS_NODE_AppendOneExtInst(KzDict *dict, KzsNode *node, const char *modName, const char *extName,
                                          const char *argument);

/* ---- If-features ---- */
KZ_API uint32_t KZS_NODE_FillIfFeature(KzDict *dict, KzsIfFeature *feat, const char *modName, const char *featName);
KZ_API void KZS_NODE_ClearIfFeature(KzDict *dict, KzsIfFeature *feat);
KZ_API void KZS_NODE_FreeIfFeatures(KzDict *dict, KzsIfFeature *feats, uint16_t count);
KZ_API KzsIfFeature *KZS_NODE_CopyIfFeaturesArray(KzDict *dict, const KzsIfFeature *src, uint16_t count);
KZ_API KzsIfFeature *KZS_NODE_FindIfFeature(KzsIfFeature *feats, uint16_t count, const KzsIfFeature *feat);
KZ_API uint32_t KZS_NODE_AppendOneIfFeat(KzDict *dict, KzsIfFeature **feats, uint16_t *count, const char *modName,
                                         const char *featName);
KZ_API uint32_t KZS_NODE_CheckTwoIfFeatureSame(const KzsIfFeature *a, const KzsIfFeature *b);
KZ_API uint32_t KZS_NODE_CheckTwoIfFeatureArraySame(const KzsIfFeature *a, uint16_t aCount, const KzsIfFeature *b,
                                                    uint16_t bCount);

/* ---- Musts ---- */
KZ_API uint32_t KZS_NODE_FillMust(KzDict *dict, KzsMust *must, const char *cond, const char *errMsg,
                                  const char *errAppTag);
KZ_API void KZS_NODE_ClearMust(KzDict *dict, KzsMust *must);
KZ_API void KZS_NODE_FreeMusts(KzDict *dict, KzsMust *musts, uint16_t count);
KZ_API KzsMust *KZS_NODE_CopyMustsArray(KzDict *dict, const KzsMust *src, uint16_t count);
KZ_API uint32_t KZS_NODE_AppendOneMust(KzDict *dict, KzsMust **musts, uint16_t *count, const char *cond,
                                       const char *errMsg, const char *errAppTag);
KZ_API void KZS_NODE_AssignMoveMust(KzsMust *dst, KzsMust *src);
KZ_API uint32_t KZS_NODE_CheckTwoMustSame(const KzsMust *a, const KzsMust *b);
/* Keeps the musts whose condition is still set; *count becomes their number. */
KZ_API uint32_t KZS_NODE_SubtractMustsArray(KzDict *dict, KzsMust **musts, uint16_t *count, uint16_t capacity);

/* ---- Leaf-list defaults ---- */
KZ_API const char **KZS_NODE_CopyDefaults(KzDict *dict, const char *const *src, uint32_t count);
KZ_API void KZS_NODE_FreeDefaults(KzDict *dict, const char **defaults, uint32_t count);
KZ_API uint32_t KZS_NODE_AppendLeaflistDefaults(KzDict *dict, KzsLeafListInfo *info, uint32_t n,
                                                const char *const *values);
KZ_API uint32_t KZS_NODE_SubtractLeaflistDefaults(KzDict *dict, KzsLeafListInfo *info, uint32_t capacity,
                                                  uint32_t ignored);

/* ---- Internal part of the node query interface ---- */
/* When node heads one of its module's top-level chains, that head becomes next. */
KZ_API void KZ_NODE_CalibrateTopNodeAddress(KzsNode *node, KzsNode *next);

#ifdef __cplusplus
}
#endif

#endif /* KZS_NODE_H */
