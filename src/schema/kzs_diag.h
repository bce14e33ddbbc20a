/* Per-module load diagnostics kept by the context's error manager. */
#ifndef KZS_DIAG_H
#define KZS_DIAG_H

#include <pthread.h>
#include <stdarg.h>

#include "korla.h"
#include "schema/kzs_ctx.h"

#ifdef __cplusplus
extern "C" {
#endif

#define KZ_DIAG_RECORDS_PER_MODULE 2u
#define KZ_DIAG_MESSAGE_SIZE 512u /* at most 511 characters are kept */

typedef struct KzErrModTree KzErrModTree; /* ordered map of ErrModNode by module name */

/* One recorded message. */
typedef struct ErrInfoNode {
    char *yinFile;     /* private copy of the YIN file base name ("" when none) */
    char *message;     /* private copy */
    uint32_t level;    /* KZ_DIAG_LEVEL_ERROR or KZ_DIAG_LEVEL_WARNING */
    KzSysTime time;    /* moment of recording */
    uint32_t loadStage;
} ErrInfoNode;

/* The records of one module. */
typedef struct ErrModNode {
    const char *moduleName; /* interned; the tree key */
    uint32_t count;
    uint32_t capacity;      /* always 2 */
    ErrInfoNode *records;
} ErrModNode;

struct ErrMng {
    KzErrModTree *modules;
    pthread_rwlock_t lock;
    KzCtx *ctx;
};

/* Recording never fails visibly: bad arguments, allocation failures and a full
 * node drop the message. */
KZ_API void KZ_CTX_AddModError(KzCtx *ctx, const char *moduleName, const char *format, ...)
    __attribute__((format(printf, 3, 4)));
KZ_API void KZ_CTX_AddModWarning(KzCtx *ctx, const char *moduleName, const char *format, ...)
    __attribute__((format(printf, 3, 4)));
KZ_API void KZ_CTX_ImplAddModError(KzCtx *ctx, const char *moduleName, uint32_t level,
                                   const char *format, va_list args)
    __attribute__((format(printf, 4, 0)));
/* Finds or creates the module's node and records; caller holds the write lock. */
KZ_API uint32_t KZ_CTX_AddErrorMsgToMod(KzCtx *ctx, ErrMng *errMng, const char *moduleName,
                                        const char *message, uint32_t level);
/* Whether the module has recorded anything yet (the node, or NULL). */
KZ_API ErrModNode *KZ_CTX_GetErrNodeByModName(KzCtx *ctx, const char *moduleName);
KZ_API void KZ_CTX_DeleteErrNodeByModName(ErrMng *errMng, const char *moduleName);
KZ_API void KZ_CTX_ClearModErrByLoadStage(ErrMng *errMng, const char *moduleName, uint32_t stage);
/* Drops the records raised while coupling deviations (stage 1). */
KZ_API void KZ_CTX_ClearModCoupleErr(ErrMng *errMng, const char *moduleName);
KZ_API int32_t KZ_CTX_CompareModuleName(const char *a, const char *b);

KZ_API uint32_t KZ_CTX_InitErrMng(KzCtx *ctx);
KZ_API void KZ_CTX_DestroyErrMng(ErrMng *errMng);
KZ_API void KZ_CTX_DestoryErrMngTree(ErrMng *errMng);

/* Record helpers. */
KZ_API ErrModNode *KZS_MOD_CreateErrNode(KzDict *dict, const char *moduleName);
KZ_API void KZS_MOD_FreeErrModNode(KzDict *dict, ErrModNode *node);
KZ_API uint32_t KZS_MOD_RecordErrorInfo(KzCtx *ctx, ErrModNode *node, const char *message,
                                        uint32_t level);
KZ_API uint32_t KZS_MOD_SetErrInfoNode(KzCtx *ctx, ErrInfoNode *record, const char *moduleName,
                                       const char *message, uint32_t level);
KZ_API void KZS_MOD_ClearErrInfoNode(KzDict *dict, ErrInfoNode *record);
/* Returns the number of records cleared. */
KZ_API uint32_t KZ_MOD_ClearErrByLoadStage(KzDict *dict, ErrModNode *node, uint32_t stage);
KZ_API uint32_t KZS_MOD_ScanModAllLoadFail(ErrModNode *node, KzLoadFailScanCb callback, void *arg);

#ifdef __cplusplus
}
#endif

#endif /* KZS_DIAG_H */
