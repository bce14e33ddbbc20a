/* The context: module registry, search directories, callbacks, options. */
#ifndef KZS_CTX_H
#define KZS_CTX_H

#include "korla.h"
#include "base/kz_dict.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct ErrMng ErrMng;
typedef struct KzModTree KzModTree;           /* ordered map of modules (by name or namespace) */
typedef struct KzRelationTree KzRelationTree; /* ordered map of RelationTbl by module name */
typedef struct KzDirCache KzDirCache;         /* search directory listings (kz_dir_cache.h) */

/* Relation kinds. */
#define KZ_REL_AUGMENT 0u
#define KZ_REL_DEVIATE 1u

/* Module-change events. */
#define KZ_MOD_EVENT_COUPLE   0u
#define KZ_MOD_EVENT_UNCOUPLE 1u

/* One coupling pass run for a module (modName) and a module that depends on it
 * (depModName). */
typedef uint32_t (*KzModChangePass)(KzCtx *ctx, const char *modName, const char *depModName, void *arg);

/* The coupling steps that the registry and the loader start.  Coupling sits above
 * both, so it hands them this table (the context installs it when it is made)
 * rather than being named by them. */
typedef struct KzCoupleHooks {
    /* [KZ_REL_*][KZ_MOD_EVENT_*]: the passes a module-change notification runs. */
    KzModChangePass modChange[2][2];
    /* A newly parsed module's augments, recording who augments whom. */
    uint32_t (*coupleNewAugments)(KzCtx *ctx, KzMod *mod);
    /* What of the module still waits for a target (augments, then deviations). */
    uint32_t (*coupleRemaining)(KzMod *mod);
    /* One source of a @@ module into the module built so far. */
    uint32_t (*mergeModules)(KzMod *dst, KzMod *src);
} KzCoupleHooks;

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
    uint64_t devCoupleSeq; /* numbers deviation couplings so that unload undoes them newest first */
    KzDirCache *dirCache;  /* made on first search; NULL until then */
    void *importFacts;     /* what the YANG reader learnt of imported module files; NULL until then */
    void (*freeImportFacts)(void *facts);
    const KzCoupleHooks *couple; /* installed by the context; NULL in a bare record */
};

/* One module that depends on the table's module. */
typedef struct RelationItem {
    struct RelationItem *next; /* circular, doubly linked */
    struct RelationItem *prev;
    uint32_t kind;             /* KZ_REL_AUGMENT or KZ_REL_DEVIATE */
    const char *depModName;    /* interned */
    uint32_t valid;            /* always 1 */
} RelationItem;

/* The modules that augment or deviate one module. */
typedef struct RelationTbl {
    const char *moduleName; /* interned; the tree key */
    int32_t index;          /* -1; unused */
    uint32_t reserved0;
    uint64_t reserved1;
    RelationItem *items;    /* newest first; NULL when empty */
} RelationTbl;

/* Public calls (create, delete, setters, search directories, loading,
 * lookups, features) are declared in korla.h. */

/* Options and stage. */
KZ_API uint32_t KX_CTX_IgnoreImportModError(const KzCtx *ctx);
KZ_API void KZ_CTX_SetLoadStage(KzCtx *ctx, uint32_t stage);
KZ_API uint32_t KZ_CTX_GetLoadStage(const KzCtx *ctx);

/* Current YIN file (base name; empty when none). */
KZ_API void KZ_CTX_SetCurYinFile(KzCtx *ctx, const char *path);
KZ_API void KZ_CTX_ClearCurYinFile(KzCtx *ctx);
KZ_API const char *KZ_CTX_GetCurYinFile(const KzCtx *ctx);

/* Module registry. */
KZ_API uint32_t KZ_CTX_InitModuleTree(KzCtx *ctx);
KZ_API void KZ_CTX_DeInitModuleTree(KzCtx *ctx);
/* strcmp order; a NULL key compares equal to anything. */
KZ_API int32_t KZ_CTX_ModTreeKeyCompare(const char *a, const char *b);
/* 0, or 1 for NULL arguments or a name/namespace already registered. */
KZ_API uint32_t KZ_CTX_AddModuleNode(KzCtx *ctx, KzMod *mod);
/* (internal) 1 when name is a YANG identifier of at most KZ_CTX_MODULE_NAME_MAX
 * characters, else 0 (NULL included). */
uint32_t KZ_CTX_IsValidModuleName(const char *name);
/* (internal) Unregisters the module from both trees without freeing it. */
void KZ_CTX_UnlinkModuleNode(KzCtx *ctx, const KzMod *mod);
/* Unregisters the module, drops its diagnostics and frees it (KZS_MOD_Free). */
KZ_API void KZ_CTX_DestroyModuleNode(KzCtx *ctx, KzMod *mod);
/* (internal) Registered modules in name order (NULL after the last); for walks that do
 * not change the registry. */
KzMod *KZ_CTX_GetFirstModule(KzCtx *ctx);
KzMod *KZ_CTX_GetNextModule(KzCtx *ctx, const KzMod *mod);
KZ_API struct KzsIdentity *KZ_CTX_FindIdentityByModNameAndIdentName(KzCtx *ctx, const char *modName,
                                                                   const char *identName);
KZ_API struct KzsTypedef *KZ_CTX_FindTdefObjByModAndTdefName(KzCtx *ctx, const char *modName,
                                                            const char *tdefName);
KZ_API struct KzsFeature *KZ_CTX_FindFeatureByModNameAndFeatName(KzCtx *ctx, const char *modName,
                                                                const char *featName);

/* Search directory steps (KZ_CTX_SetSearchDir/UnSetSearchDir drive them). */
/* New copy of an absolute path without trailing '/' ("/" stays); NULL for a
 * NULL or relative path.  Freed with KZ_MemFree. */
KZ_API char *KZ_CTX_FormatInputPath(const char *path);
/* 0 and *posOut when found, 1 when not. */
KZ_API uint32_t KZ_CTX_FindSearchDirInTbl(const KzCtx *ctx, const char *path, uint32_t *posOut);
/* Makes room for one more directory (growing one slot at a time); 0 or 12. */
KZ_API uint32_t KZ_CTX_AllocSearchDirBufferIfNeed(KzCtx *ctx);
/* Interns path into the slot at the count; 22 when it is taken or on failure. */
KZ_API uint32_t KZ_CTX_AppendSearchDirToTbl(KzCtx *ctx, const char *path);
/* Releases the entry at pos and shifts later ones down. */
KZ_API void KZ_CTX_ClearSearchDirAtPos(KzCtx *ctx, uint32_t pos);
/* Adds (remove 0) or removes (remove 1) one directory; 0, 12, 20 or 22. */
KZ_API uint32_t KZ_CTX_UpdateSearchDirAgainstTbl(KzCtx *ctx, const char *path, uint32_t remove);
/* Releases every directory and the slot array. */
KZ_API void KZ_CTX_FreeSearchDirs(KzCtx *ctx);

/* Relation tables. */
KZ_API uint32_t KZ_CTX_AddTwoModRelation(KzCtx *ctx, const char *modName, const char *depModName,
                                         uint32_t kind);
/* 0 when the item was found and removed, 1 otherwise. */
KZ_API uint32_t KZ_CTX_DelTwoModRelation(KzCtx *ctx, const char *modName, const char *depModName,
                                         uint32_t kind);
KZ_API RelationTbl *KZ_CTX_FindModRelationTbl(KzCtx *ctx, const char *modName);
/* depModName is compared by pointer: pass the interned one. */
KZ_API RelationItem *KZ_CTX_FindModRelationItem(const RelationTbl *tbl, uint32_t kind,
                                                const char *depModName);
/* New empty table for modName, registered in the tree; NULL on failure. */
KZ_API RelationTbl *KZ_CTX_AddModRelationTbl(KzCtx *ctx, const char *modName);
/* Adds an item at the head of the table's list; 0 or 12. */
KZ_API uint32_t KZ_CTX_AddModRelationItem(KzCtx *ctx, RelationTbl *tbl, uint32_t kind,
                                          const char *depModName);
KZ_API void KZ_CTX_DeleteModRelationItem(KzCtx *ctx, RelationTbl *tbl, RelationItem *item);
/* Unregisters and frees the table with its items. */
KZ_API void KZ_CTX_DeleteModRelationTbl(KzCtx *ctx, RelationTbl *tbl);
KZ_API uint32_t KZ_CTX_InitModRelationTree(KzCtx *ctx);
KZ_API void KZ_CTX_DeInitModRelationTree(KzCtx *ctx);
KZ_API int32_t KZ_CTX_CompareModRelationTbl(const char *a, const char *b);
/* Transitive dependants of one kind, breadth-first, without repeats.  With at
 * least one name, *namesOut (freed by the caller with KZ_MemFree) and
 * *countOut are set; 0, 12, or 22 for a NULL name met on the way. */
KZ_API uint32_t KZ_CTX_CollectDepModNamesRecursive(KzCtx *ctx, const char *modName, uint32_t kind,
                                                   const char ***namesOut, uint32_t *countOut);

/* Runs the couple (event 0) or uncouple (event 1) pass of every module
 * related to modName: augments for kind 0, deviations for kind 1.  The
 * passes' results are ignored; events above 1 do nothing. */
KZ_API void KZ_CTX_NotifyModuleChange(KzCtx *ctx, const char *modName, uint32_t event, void *arg);

#ifdef __cplusplus
}
#endif

#ifdef __cplusplus
namespace kz::schema {
/* The context's listing cache, made on first use; nullptr when memory is short. */
KzDirCache *DirCacheOf(KzCtx *ctx);
} /* namespace kz::schema */
#endif

#endif /* KZS_CTX_H */
