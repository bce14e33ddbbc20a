/* The context: module registry, search directories, callbacks, options. */
#ifndef KZ_CTX_H
#define KZ_CTX_H

#include "korla.h"
#include "runtime/kz_dict.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct ErrMng ErrMng;
typedef struct KzModTree KzModTree;           /* ordered map of modules (by name or namespace) */
typedef struct KzRelationTree KzRelationTree; /* ordered map of RelationTbl by module name */

/* Relation kinds. */
#define KZ_REL_AUGMENT 0u
#define KZ_REL_DEVIATE 1u

/* Load stages. */
#define KZ_LOAD_STAGE_PARSE 0u
#define KZ_LOAD_STAGE_DEVIATE 1u

struct KzCtx {
    KzModTree *modsByName;
    KzModTree *modsByNs;
    const char **searchDirs;
    uint32_t searchDirCount;
    uint32_t searchDirCapacity;
    char curYinFile[256];
    ErrMng *errMng;
    KzDict dict;
    KzPridataFreeFunc pridataFreeFunc;
    KzFirstAugChildRelinkFunc firstAugChildRelinkFunc;
    KzBeforeDeviateNotSupportFunc beforeDeviateNotSupportFunc;
    KzBeforeDeviateExtInstFunc beforeDeviateExtInstFunc;
    KzReloadModuleCbFunc reloadModuleCbFunc;
    KzExtInstFilterCbFunc extInstFilterCbFunc;
    KzRelationTree *relationTree;
    uint32_t flags;
    uint32_t loadStage;
};

/* (function declarations follow) */

#ifdef __cplusplus
}
#endif

#endif /* KZ_CTX_H */
