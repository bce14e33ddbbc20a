/* Module records and their global definitions. */
#ifndef KZS_MOD_H
#define KZS_MOD_H

#include "korla.h"
#include "schema/kzs_node.h"
#include "types/kzt_type.h"

#ifdef __cplusplus
extern "C" {
#endif

#define KZS_FEATURE_FLAG_ENABLED 0x40u

/* Deviate kinds. */
enum {
    KZS_DEVIATE_NONE = 0,
    KZS_DEVIATE_ADD = 1,
    KZS_DEVIATE_DELETE = 2,
    KZS_DEVIATE_NOT_SUPPORTED = 3,
    KZS_DEVIATE_REPLACE = 4
};

typedef struct KzsImport {
    const char *modName;
    const char *prefix;
} KzsImport;

typedef struct KzsFeature {
    const char *name;
    KzsIfFeature *ifFeatures;
    uint16_t ifFeatureCount;
    uint16_t flags; /* KZS_FEATURE_FLAG_ENABLED */
} KzsFeature;

typedef struct KzsIdentBase {
    const char *modName;
    const char *identName;
} KzsIdentBase;

struct KzsIdentity {
    const char *name;
    uint16_t ifFeatureCount;
    uint16_t baseCount;
    KzsIfFeature *ifFeatures;
    KzsIdentBase *bases;
    const char *description;
};

typedef struct KzsExtension {
    const char *name;
    const char *argName;  /* or null */
    uint32_t yinElement;  /* 1 when yin-element is true */
} KzsExtension;

typedef struct KzsTypedef {
    const char *name;
    const char *dflt;
    const char *units;
    KztRealType realType;
} KzsTypedef;

typedef struct KzsDeviate {
    uint32_t kind;
    uint16_t flags; /* config/mandatory bits with node-flag values */
    uint16_t mustCount;
    uint16_t defaultCount;
    uint16_t extInstCount;
    KzsMust *musts;
    const char **defaults;
    KztRealType *type; /* one-entry array, replace only */
    const char *units;
    KzsExtInst *extInsts;
} KzsDeviate;

/* Bit of KzsDeviation.flags: the deviation is applied to its target. */
#define KZS_DEVIATION_FLAG_COUPLED 0x1u

typedef struct KzsDeviation {
    const char *target; /* JSON form */
    KzsDeviate *deviates;
    uint16_t deviateCount;
    uint32_t flags; /* KZS_DEVIATION_FLAG_COUPLED */
    void *undo;     /* what coupling changed, kept to undo it: a kz::schema::DeviationUndoLog */
} KzsDeviation;

struct KzMod {
    KzCtx *ctx;
    const char *name;
    const char *ns;
    const char *prefix;
    const char *organization;
    uint32_t yangVersion; /* 0 for "1", 1 for "1.1" */
    uint16_t importCount;
    uint16_t includeCount;
    KzsImport *imports;
    const char **includes;
    const char *description;
    const char *revision;
    const char *semVer;
    uint16_t featureCount;
    uint16_t identityCount;
    uint16_t extensionCount;
    uint16_t typedefCount;
    uint16_t deviationCount;
    uint16_t extInstCount;
    KzsFeature *features;
    KzsIdentity *identities;
    KzsExtension *extensions;
    KzsTypedef *typedefs;
    KzsDeviation *deviations;
    KzsExtInst *extInsts;
    KzsNode *dataNodes;
    KzsNode *rpcs;
    KzsNode *notifs;
    KzsNode *augments;
    uint16_t mrgSrcCount;
    const char **mrgSrcs;
    void *priv;
    const char *srcPath; /* interned path of the file the module was read from; null from memory */
};

/* Semantic versions are kept to this many characters. */
#define KZS_MOD_SEMVER_MAX_LEN 32u

/* ---- Module life ---- */
KZ_API void KZS_MOD_Free(KzMod *mod);
KZ_API void KZS_MOD_DestroyNonNodeMember(KzMod *mod);
KZ_API void KZS_MOD_DestroyNodeMember(KzMod *mod);
KZ_API uint32_t KZS_MOD_AddTopNodeToSchemaTree(KzMod *mod, KzsNode *node);
KZ_API KzsNode *KZS_MOD_FindTopLevelSchemaNode(const KzMod *mod, const char *name);

/* ---- Extensions ---- */
KZ_API uint32_t KZS_MOD_SetExtension(KzDict *dict, KzsExtension *ext, const char *name, const char *argName,
                                     uint32_t yinElement);
KZ_API uint32_t KZS_MOD_AppendOneExtension(KzMod *mod, const char *name, const char *argName, uint32_t yinElement);
KZ_API KzsExtension *KZS_MOD_FindExtensionByName(const KzMod *mod, const char *name);
KZ_API void KZS_MDL_ClearExtension(KzDict *dict, KzsExtension *ext);
KZ_API void KZS_MOD_FreeExtensions(KzDict *dict, KzsExtension *exts, uint16_t count);
KZ_API uint32_t KZS_MOD_CheckTwoExtensionSame(const KzsExtension *a, const KzsExtension *b);

/* ---- Features ---- */
KZ_API uint32_t KZS_MOD_FillFeature(KzDict *dict, KzsFeature *feat, const char *name);
KZ_API uint32_t KZS_MOD_AppendOneFeature(KzMod *mod, const char *name);
KZ_API KzsFeature *KZS_MOD_FindFeatureByName(const KzMod *mod, const char *name);
KZ_API void KZS_MDL_ClearFeature(KzDict *dict, KzsFeature *feat);
KZ_API void KZS_MOD_FreeFeatures(KzDict *dict, KzsFeature *feats, uint16_t count);
KZ_API uint32_t KZS_MOD_CheckTwoFeatureSame(const KzsFeature *a, const KzsFeature *b);

/* ---- Identities ---- */
KZ_API uint32_t KZS_MOD_FillIdentity(KzDict *dict, KzsIdentity *ident, const char *name, const char *description);
KZ_API uint32_t KZS_MOD_AppendOneIdentity(KzMod *mod, const char *name, const char *description);
KZ_API KzsIdentity *KZS_MOD_FindIdentityByName(const KzMod *mod, const char *name);
KZ_API void KZS_MDL_ClearIdentity(KzDict *dict, KzsIdentity *ident);
KZ_API void KZS_MOD_FreeIdentities(KzDict *dict, KzsIdentity *idents, uint16_t count);
KZ_API uint32_t KZS_MOD_FillIdentBase(KzDict *dict, KzsIdentBase *base, const char *modName, const char *identName);
KZ_API KzsIdentBase *KZS_MOD_CopyIdentBaseArray(KzDict *dict, const KzsIdentBase *src, uint16_t count);
KZ_API void KZS_MDL_ClearIdentBase(KzDict *dict, KzsIdentBase *base);
KZ_API void KZS_MDL_FreeIdentBases(KzDict *dict, KzsIdentBase *bases, uint16_t count);
KZ_API uint32_t KZS_MOD_CheckTwoIdentBaseSame(const KzsIdentBase *a, const KzsIdentBase *b);
KZ_API uint32_t KZS_MOD_CheckTwoIdentitySame(const KzsIdentity *a, const KzsIdentity *b);

/* ---- Imports and includes ---- */
KZ_API uint32_t KZS_MOD_FillImport(KzDict *dict, KzsImport *imp, const char *modName, const char *prefix);
KZ_API uint32_t KZS_MOD_AppendOneImport(KzMod *mod, const char *modName, const char *prefix);
KZ_API KzsImport *KZS_MOD_FindImportByPrefix(const KzMod *mod, const char *prefix);
KZ_API void KZS_MOD_ClearImport(KzDict *dict, KzsImport *imp);
KZ_API void KZS_MOD_FreeImports(KzDict *dict, KzsImport *imps, uint16_t count);
KZ_API uint32_t KZS_MOD_FillInclude(KzDict *dict, const char **include, const char *subName);
KZ_API uint32_t KZS_MOD_AppendOneInclude(KzMod *mod, const char *subName);
/* The array slot holding the submodule name, or null. */
KZ_API const char **KZS_MOD_FindIncludeBySubName(const KzMod *mod, const char *subName);
KZ_API void KZS_MOD_ClearInclude(KzDict *dict, const char **include);
KZ_API void KZS_MOD_FreeIncludes(KzDict *dict, const char **includes, uint16_t count);

/* ---- Typedefs ---- */
/* Interns name, default and units, then copies realType into the entry. */
KZ_API uint32_t KZS_MOD_FillTypeDef(KzDict *dict, KzsTypedef *tdef, const char *name, const char *dflt,
                                    const char *units, const KztRealType *realType);
KZ_API uint32_t KZS_MOD_AppendOneTypeDef(KzMod *mod, const char *name, const char *dflt, const char *units,
                                         const KztRealType *realType);
KZ_API KzsTypedef *KZS_MOD_FindTypDefObjByName(const KzMod *mod, const char *name);
/* The real type held in the named typedef, or null. */
KZ_API KztRealType *KZS_MOD_FindNysTypDefByName(const KzMod *mod, const char *name);
KZ_API void KZS_TYPE_DestroyTypDefInner(KzDict *dict, KzsTypedef *tdef);
KZ_API void KZS_TYPE_FreeTypDefArray(KzDict *dict, KzsTypedef *tdefs, uint16_t count);

/* ---- Deviations ---- */
KZ_API void KZS_MOD_ClearDeviate(KzDict *dict, KzsDeviate *dev);
KZ_API void KZS_MOD_ClearDeviation(KzDict *dict, KzsDeviation *dev);
KZ_API void KZS_MOD_FreeDeviation(KzDict *dict, KzsDeviation *devs, uint16_t count);
/* Releases what a coupled deviation keeps to be undone, without undoing it
 * (for freeing a deviation record while it is coupled). */
KZ_API void KZS_MOD_FreeDeviationUndo(KzsDeviation *dev);
/* 1 when the two deviations have the same target. */
KZ_API uint32_t KZS_MOD_CheckTwoDeviationSame(const KzsDeviation *a, const KzsDeviation *b);

/* ---- Prefixes ---- */
KZ_API const char *KZS_MOD_GetModuleNameByPrefix(const KzMod *mod, const char *prefix);
KZ_API const char *KZS_MOD_GetImportModNameByPrefix(const KzMod *mod, const char *prefix);
/* "module:name" for a "prefix:name" value; the caller frees it with KZ_MemFree. */
KZ_API char *KZS_MOD_ConvertPrefixValToJsonFormat(const KzMod *mod, const char *value);

/* ---- Node lookup ---- */
KZ_API KzsNode *KZS_MOD_GetNodeBySchemaNodeId(const KzMod *mod, KzsNode *start, const char *path);
KZ_API KzsNode *KZS_MOD_GetNodeUnderAugmentBySchemaNodeId(const KzMod *mod, const char *targetPath, const char *path,
                                                          KzsNode **augment);
KZ_API uint32_t KZS_MOD_FindAugNodeTargetInSelfMod(const KzMod *mod, KzsNode *augment, KzsNode **target);
/* Sets *node (null for an absolute path) and returns the text where the steps begin, or null. */
KZ_API const char *KZS_MOD_GetStartPathAndNode(const char *path, KzsNode *start, KzsNode **node);
KZ_API const char *KZS_MOD_GetRelativePathRealStartNode(const char *path, KzsNode *start, KzsNode **node);
KZ_API KzsNode *KZS_MOD_GetDataTreeNodeByNodeIdentifier(const KzMod *mod, KzsNode *start, const char *path);
KZ_API KzsNode *KZS_MOD_GetNodeByXpath(const KzMod *mod, KzsNode *start, const char *path);

/* Path texts (kzs_path_text.cpp): writes the module-qualified (JSON) form of a
 * prefixed schema path into buf; 0, or 22.  KZ_XPATH_TransformToJsonFormat and
 * KZ_XPATH_SplitTargetNodeXpath are in korla.h. */
#define KZ_XPATH_JSON_BUF_SIZE 3096u
KZ_API uint32_t KZ_XPATH_GetJsonFormatXpath(const KzMod *mod, const char *path, char *buf, uint32_t bufSize);

#ifdef __cplusplus
}

namespace kz::schema {
/* Which top-level chain of a module holds a node of this kind: 0 data nodes,
 * 1 rpcs, 2 notifications, 3 augments; -1 for kinds never at the top. */
int32_t TopChainIndex(uint32_t kind);
/* Head of that chain in mod, or NULL for kinds never at the top. */
KzsNode **TopChain(KzMod *mod, uint32_t kind);
} // namespace kz::schema
#endif

#endif /* KZS_MOD_H */
