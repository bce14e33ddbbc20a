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

typedef struct KzsDeviation {
    const char *target; /* JSON form */
    KzsDeviate *deviates;
    uint16_t deviateCount;
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
};

/* (function declarations of modules follow) */

#ifdef __cplusplus
}
#endif

#endif /* KZS_MOD_H */
