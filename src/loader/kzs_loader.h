/* Module file location, the load sequence, the table of modules waiting to
 * be loaded, and the parsers of the deviation statement. */
#ifndef KZS_LOADER_H
#define KZS_LOADER_H

#include <stdio.h>

#include <libxml/tree.h>

#include "korla.h"
#include "schema/kzs_ctx.h"
#include "schema/kzs_mod.h"
#include "base/kz_kit.h"

#ifdef __cplusplus
extern "C" {
#endif

#define KZS_LOADER_PATH_MAX 256u     /* bytes of a candidate path, NUL included */
#define KZS_LOADER_SUFFIX_MAX 10u    /* bytes of a merge-source suffix, NUL included */
#define KZS_LOADER_MAX_FILES 10u     /* files read in one load */

/* One candidate file of a module. */
typedef struct PathObj {
    char path[KZS_LOADER_PATH_MAX];
    char suffix[KZS_LOADER_SUFFIX_MAX]; /* text between "@@" and the next '.', empty without "@@" */
} PathObj;

/* The candidates of one module, collected over the search directories. */
typedef struct PathCollection {
    uint16_t count;
    uint8_t hasSuffixed;  /* a candidate with "@@" was added */
    uint8_t hasPlain;     /* a candidate without "@@" was added */
    uint8_t maxToProcess; /* 1 when created, KZS_LOADER_MAX_FILES while loading */
    uint8_t processed;    /* files handed out so far */
    PathObj *objs;
} PathCollection;

typedef struct LoadSuffix {
    char suffix[KZS_LOADER_SUFFIX_MAX];
    uint8_t processed;
} LoadSuffix;

/* Per-load state, on the caller's stack. */
struct LoadAssister {
    const char *modName; /* every file's "name" attribute must equal it */
    uint16_t suffixCount;
    LoadSuffix *suffixes;
    LoadSuffix *current; /* suffix being loaded, or null */
};
typedef struct LoadAssister LoadAssister;

/* A feature to enable again once a pending module is loaded. */
typedef struct ModFeatPend {
    struct ModFeatPend *next;
    struct ModFeatPend *prev;
    char featureName[kz::kNameBufSize];
} ModFeatPend;

/* One module waiting to be loaded. */
typedef struct ModPendNode {
    struct ModPendNode *next;
    struct ModPendNode *prev;
    ModFeatPend *feats; /* circular list, first entry or null */
    char moduleName[kz::kNameBufSize];
} ModPendNode;

/* Circular doubly linked list of pending modules, appended at the tail. */
typedef struct ModPendTbl {
    ModPendNode *first;
    uint32_t count;
} ModPendTbl;

/* ---- Candidate files ---- */
KZ_API uint32_t KZS_LOADER_LoadModuleByModName(KzCtx *ctx, const char *name);
KZ_API PathCollection *KZS_LOADER_CollectFilePathMatchedInAllDir(KzCtx *ctx, const char *name);
KZ_API uint32_t KZS_LOADER_FillFullNameWithNoRevision(const char *dir, const char *name, PathCollection *coll);
KZ_API uint32_t KZS_LOADER_FillFullNameWithRevision(const char *dir, const char *name, PathCollection *coll);
KZ_API uint32_t KZS_LOADER_AppendOnePathObj(PathCollection *coll, const char *path);
KZ_API void KZS_LOADER_DestroyPathCollection(PathCollection *coll);

/* ---- Load assister ---- */
KZ_API uint32_t KZS_LOADER_AppendOneSuffixToAssister(LoadAssister *assister, const char *suffix, uint8_t processed);
KZ_API uint32_t KZS_LOADER_AppendSuffixsToAssister(LoadAssister *assister, uint16_t count,
                                                   const char *const *suffixes, uint8_t processed);
/* Adds the non-empty suffixes of the candidates that are not there yet, as not processed. */
KZ_API uint32_t KZS_LOADER_AddPathObjToLoadAssister(const PathCollection *coll, LoadAssister *assister);
/* *needLoadOut is 0 when a registered module has nothing new to read. */
KZ_API uint32_t KZS_LOADER_PreFillLoadAssisterFromExisting(const KzMod *existingMod, const PathCollection *coll,
                                                           LoadAssister *assister, uint32_t *needLoadOut);
KZ_API void KZS_LOADER_UpdateNextLoadingSuffix(LoadAssister *assister);
KZ_API void KZS_LOADER_ResetCurrentLoadingSuffix(LoadAssister *assister, uint8_t processed);
KZ_API PathObj *KZS_LOADER_GetNextPathObjToProc(PathCollection *coll, LoadAssister *assister);
KZ_API void KZS_LOADER_ClearLoadAssister(LoadAssister *assister);

/* ---- Reading and building ---- */
/* *buildingInOut: the module being built (null at first); the file's module is merged into it. */
KZ_API uint32_t KZS_LOADER_LoadModuleByPath(KzCtx *ctx, const char *path, const char *name,
                                            LoadAssister *assister, KzMod **buildingInOut);
KZ_API KzMod *KZS_LOADER_ReadFilePathToNyMod(KzCtx *ctx, const char *path, const char *name,
                                             LoadAssister *assister);
KZ_API xmlDoc *KZS_LOADER_ReadYinFileToXmlDoc(const char *path);
/* Reads a module file into its YIN document: YANG text when the path ends in
 * ".yang", YIN otherwise.  A YANG syntax fault is recorded against moduleName
 * as "FILE:LINE:COLUMN: message" and *reported (when not NULL) set to 1. */
KZ_API xmlDoc *KZS_LOADER_ReadModuleFileToXmlDoc(KzCtx *ctx, const char *path, const char *moduleName,
                                                 uint32_t *reported);
/* Builds a module from YANG text in memory; NULL on a syntax fault, which is
 * then recorded against the module name when the text names one. */
KZ_API xmlDoc *KZS_LOADER_ReadYangTextToXmlDoc(KzCtx *ctx, const char *text, size_t length, const char *fileName,
                                               const char *moduleName);
KZ_API xmlDoc *KZS_LOADER_ReadFileContentAsDoc(FILE *file);
KZ_API KzMod *KZS_LOADER_ParseYinContent(KzCtx *ctx, xmlDoc *doc, LoadAssister *assister);
KZ_API KzMod *KZS_LOADER_ParseYinDocToNyMod(KzCtx *ctx, xmlNode *root, LoadAssister *assister);
KZ_API uint32_t KZS_LOADER_CheckParsedModNameMatched(const char *nameAttr, const LoadAssister *assister);

/* ---- Registration ---- */
KZ_API uint32_t KZS_LOADER_AppendModuleToCtx(KzCtx *ctx, KzMod *mod, LoadAssister *assister);
/* 1 when the module's merge-source list holds the suffix (text compare), else 0. */
KZ_API uint32_t KZS_LOADER_FindSuffixInModMrgSource(const KzMod *mod, const char *suffix);
KZ_API uint32_t KZS_LOADER_AddSuffixToModMrgSource(KzMod *mod, const char *suffix);
KZ_API uint32_t KZS_LOADER_SaveSuccLoadingSuffix(KzMod *mod, const LoadAssister *assister);

/* ---- Modules waiting to be loaded ---- */
KZ_API void KZS_LOADER_InitModPendTbl(ModPendTbl *tbl);
KZ_API void KZS_LOADER_DeInitModPendTbl(ModPendTbl *tbl);
KZ_API ModPendNode *KZS_LOADER_AddModPendNode(ModPendTbl *tbl, const char *name);
/* Couples what of modName and of every module on the table still waits for a
 * target, telling modName's dependants after each. */
KZ_API uint32_t KZS_LOADER_CoupleModPendTblAndCurMod(KzCtx *ctx, const char *modName, ModPendTbl *tbl);
KZ_API void KZS_LOADER_RemoveModPendNode(ModPendTbl *tbl, ModPendNode *node);
KZ_API ModPendNode *KZS_LOADER_FindModPendNodeByName(const ModPendTbl *tbl, const char *name);
KZ_API uint32_t KZS_LOADER_AddModFeatPend(ModPendNode *pendNode, const char *featureName);
KZ_API void KZS_LOADER_DestoryAllModFeatPend(ModPendNode *pendNode);
KZ_API uint32_t KZS_LOADER_AppendNyModImportsAsPending(KzCtx *ctx, ModPendTbl *tbl, const char *modName);
KZ_API uint32_t KZS_LOADER_LoadModuleImportedNames(KzCtx *ctx, const char *modName);

/* ---- Deviate kinds and their parsers ---- */
KZ_API uint32_t KZS_LOADER_GetDeviateType(const char *value);
KZ_API uint32_t KZS_LOADER_ParseDeviateAdd(KzMod *mod, xmlNode *elem, KzsDeviate *deviate);
KZ_API uint32_t KZS_LOADER_ParseDeviateDelete(KzMod *mod, xmlNode *elem, KzsDeviate *deviate);
KZ_API uint32_t KZS_LOADER_ParseDeviateReplace(KzMod *mod, xmlNode *elem, KzsDeviate *deviate);

#ifdef __cplusplus
}

#include <string>
#include <vector>

namespace kz::loader {
/* The context's search directories, in order. */
std::vector<std::string> SearchDirList(const KzCtx *ctx);
} /* namespace kz::loader */
#endif

#endif /* KZS_LOADER_H */
