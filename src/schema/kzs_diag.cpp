// Per-module load diagnostics.  Steps of loading and coupling record text
// against a module; the caller reads it back with a scan, possibly from
// another thread, hence the read-write lock.
#include <cstring>
#include <ctime>
#include <map>
#include <new>

#include "base/kz_alloc.h"
#include "schema/kzs_diag.h"
#include "base/kz_safe.h"
#include "base/kz_kit.h"

struct StrLess {
    bool operator()(const char *a, const char *b) const
    {
        return KZ_CTX_CompareModuleName(a, b) < 0;
    }
};

struct KzErrModTree {
    std::map<const char *, ErrModNode *, StrLess,
             kz::MemAllocator<std::pair<const char *const, ErrModNode *>>>
        nodes;
};

namespace {

ErrModNode *FindNode(ErrMng *errMng, const char *moduleName)
{
    auto it = errMng->modules->nodes.find(moduleName);
    return it == errMng->modules->nodes.end() ? nullptr : it->second;
}

void FillTime(KzSysTime *t)
{
    memset(t, 0, sizeof *t);
    struct timespec ts = {};
    struct tm parts = {};
    if (clock_gettime(CLOCK_REALTIME, &ts) != 0 || localtime_r(&ts.tv_sec, &parts) == nullptr) {
        return;
    }
    t->year = static_cast<uint16_t>(parts.tm_year + 1900);
    t->month = static_cast<uint8_t>(parts.tm_mon + 1);
    t->day = static_cast<uint8_t>(parts.tm_mday);
    t->hour = static_cast<uint8_t>(parts.tm_hour);
    t->minute = static_cast<uint8_t>(parts.tm_min);
    t->second = static_cast<uint8_t>(parts.tm_sec);
    t->microsecond = static_cast<uint32_t>(ts.tv_nsec / 1000);
}

// Write-locked section over the manager; does nothing when the lock fails.
class WriteGuard {
public:
    explicit WriteGuard(ErrMng *m) : mng_(m), held_(pthread_rwlock_wrlock(&m->lock) == 0) {}
    ~WriteGuard()
    {
        if (held_) {
            pthread_rwlock_unlock(&mng_->lock);
        }
    }
    WriteGuard(const WriteGuard &) = delete;
    WriteGuard &operator=(const WriteGuard &) = delete;
    bool held() const
    {
        return held_;
    }

private:
    ErrMng *mng_;
    bool held_;
};

bool Usable(const ErrMng *errMng)
{
    return errMng != nullptr && errMng->modules != nullptr && errMng->ctx != nullptr;
}

}  // namespace

extern "C" {

int32_t KZ_CTX_CompareModuleName(const char *a, const char *b)
{
    if (a == b) {
        return 0;
    }
    if (a == nullptr || b == nullptr) {
        return a == nullptr ? -1 : 1;
    }
    int c = strcmp(a, b);
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

ErrModNode *KZS_MOD_CreateErrNode(KzDict *dict, const char *moduleName)
{
    if (dict == nullptr || moduleName == nullptr) {
        return nullptr;
    }
    auto *node = kz::ZeroAlloc<ErrModNode>();
    if (node == nullptr) {
        return nullptr;
    }
    node->records = kz::ZeroAlloc<ErrInfoNode>(KZ_DIAG_RECORDS_PER_MODULE);
    node->moduleName = KZ_DICT_Insert(dict, moduleName);
    if (node->records == nullptr || node->moduleName == nullptr) {
        KZ_DICT_Remove(dict, node->moduleName);
        KZ_MemFree(node->records);
        KZ_MemFree(node);
        return nullptr;
    }
    node->capacity = KZ_DIAG_RECORDS_PER_MODULE;
    return node;
}

void KZS_MOD_ClearErrInfoNode(KzDict *dict, ErrInfoNode *record)
{
    (void)dict;
    if (record == nullptr) {
        return;
    }
    KZ_MemFree(record->yinFile);
    KZ_MemFree(record->message);
    memset(record, 0, sizeof *record);
}

void KZS_MOD_FreeErrModNode(KzDict *dict, ErrModNode *node)
{
    if (node == nullptr) {
        return;
    }
    // Every slot, not only the first count: a stage clear can leave a live
    // record beyond the count.
    if (node->records != nullptr) {
        for (uint32_t i = 0; i < node->capacity; ++i) {
            KZS_MOD_ClearErrInfoNode(dict, &node->records[i]);
        }
    }
    KZ_MemFree(node->records);
    KZ_DICT_Remove(dict, node->moduleName);
    KZ_MemFree(node);
}

uint32_t KZS_MOD_SetErrInfoNode(KzCtx *ctx, ErrInfoNode *record, const char *moduleName,
                                const char *message, uint32_t level)
{
    (void)moduleName;
    if (ctx == nullptr || record == nullptr || message == nullptr) {
        return KZ_EINVAL;
    }
    record->message = kz::DupText(message);
    record->yinFile = kz::DupText(ctx->curYinFile);
    if (record->message == nullptr || record->yinFile == nullptr) {
        KZS_MOD_ClearErrInfoNode(&ctx->dict, record);
        return KZ_ENOMEM;
    }
    FillTime(&record->time);
    record->level = level;
    record->loadStage = ctx->loadStage;
    return KZ_OK;
}

uint32_t KZS_MOD_RecordErrorInfo(KzCtx *ctx, ErrModNode *node, const char *message, uint32_t level)
{
    if (ctx == nullptr || node == nullptr || node->records == nullptr || message == nullptr) {
        return KZ_EINVAL;
    }
    // Only the first two messages of a module are kept.
    if (node->count >= node->capacity) {
        return KZ_ERR;
    }
    ErrInfoNode *record = &node->records[node->count];
    // The slot may still hold a record hidden by an earlier stage clear.
    KZS_MOD_ClearErrInfoNode(&ctx->dict, record);
    uint32_t rc = KZS_MOD_SetErrInfoNode(ctx, record, node->moduleName, message, level);
    if (rc == KZ_OK) {
        node->count++;
    }
    return rc;
}

uint32_t KZ_CTX_AddErrorMsgToMod(KzCtx *ctx, ErrMng *errMng, const char *moduleName, const char *message,
                                 uint32_t level)
{
    if (ctx == nullptr || !Usable(errMng) || moduleName == nullptr || message == nullptr) {
        return KZ_EINVAL;
    }
    ErrModNode *node = FindNode(errMng, moduleName);
    if (node == nullptr) {
        node = KZS_MOD_CreateErrNode(&ctx->dict, moduleName);
        if (node == nullptr) {
            return KZ_ENOMEM;
        }
        try {
            errMng->modules->nodes.emplace(node->moduleName, node);
        } catch (const std::bad_alloc &) {
            KZS_MOD_FreeErrModNode(&ctx->dict, node);
            return KZ_ENOMEM;
        }
    }
    return KZS_MOD_RecordErrorInfo(ctx, node, message, level);
}

void KZ_CTX_ImplAddModError(KzCtx *ctx, const char *moduleName, uint32_t level, const char *format,
                            va_list args)
{
    if (ctx == nullptr || moduleName == nullptr || format == nullptr || !Usable(ctx->errMng)) {
        return;
    }
    char message[KZ_DIAG_MESSAGE_SIZE];
    if (kz::base::VsnprintfTrunc(message, sizeof message, format, args) != 0) {
        return;
    }
    WriteGuard guard(ctx->errMng);
    if (guard.held()) {
        (void)KZ_CTX_AddErrorMsgToMod(ctx, ctx->errMng, moduleName, message, level);
    }
}

void KZ_CTX_AddModError(KzCtx *ctx, const char *moduleName, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    KZ_CTX_ImplAddModError(ctx, moduleName, KZ_DIAG_LEVEL_ERROR, format, args);
    va_end(args);
}

void KZ_CTX_AddModWarning(KzCtx *ctx, const char *moduleName, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    KZ_CTX_ImplAddModError(ctx, moduleName, KZ_DIAG_LEVEL_WARNING, format, args);
    va_end(args);
}

ErrModNode *KZ_CTX_GetErrNodeByModName(KzCtx *ctx, const char *moduleName)
{
    if (ctx == nullptr || moduleName == nullptr || !Usable(ctx->errMng)) {
        return nullptr;
    }
    WriteGuard guard(ctx->errMng);
    return guard.held() ? FindNode(ctx->errMng, moduleName) : nullptr;
}

void KZ_CTX_DeleteErrNodeByModName(ErrMng *errMng, const char *moduleName)
{
    if (!Usable(errMng) || moduleName == nullptr) {
        return;
    }
    WriteGuard guard(errMng);
    if (!guard.held()) {
        return;
    }
    auto it = errMng->modules->nodes.find(moduleName);
    if (it != errMng->modules->nodes.end()) {
        ErrModNode *node = it->second;
        errMng->modules->nodes.erase(it);
        KZS_MOD_FreeErrModNode(&errMng->ctx->dict, node);
    }
}

uint32_t KZ_MOD_ClearErrByLoadStage(KzDict *dict, ErrModNode *node, uint32_t stage)
{
    if (node == nullptr || node->records == nullptr) {
        return 0;
    }
    // Emptied records keep their slots and only the count shrinks, so a record
    // of another stage behind a cleared one drops out of view.  Kept as is.
    uint32_t cleared = 0;
    for (uint32_t i = 0; i < node->count; ++i) {
        if (node->records[i].loadStage == stage) {
            KZS_MOD_ClearErrInfoNode(dict, &node->records[i]);
            ++cleared;
        }
    }
    node->count -= cleared;
    return cleared;
}

void KZ_CTX_ClearModErrByLoadStage(ErrMng *errMng, const char *moduleName, uint32_t stage)
{
    if (!Usable(errMng) || moduleName == nullptr) {
        return;
    }
    WriteGuard guard(errMng);
    if (guard.held()) {
        (void)KZ_MOD_ClearErrByLoadStage(&errMng->ctx->dict, FindNode(errMng, moduleName), stage);
    }
}

void KZ_CTX_ClearModCoupleErr(ErrMng *errMng, const char *moduleName)
{
    KZ_CTX_ClearModErrByLoadStage(errMng, moduleName, KZ_LOAD_STAGE_DEVIATE);
}

uint32_t KZS_MOD_ScanModAllLoadFail(ErrModNode *node, KzLoadFailScanCb callback, void *arg)
{
    if (node == nullptr || callback == nullptr || node->records == nullptr) {
        return KZ_OK;
    }
    for (uint32_t i = 0; i < node->count; ++i) {
        const ErrInfoNode *r = &node->records[i];
        uint32_t rc = callback(node->moduleName, r->yinFile, r->level, r->message, &r->time, arg);
        if (rc != 0) {
            return rc;
        }
    }
    return KZ_OK;
}

uint32_t KZ_CTX_ScanAllSchemaLoadFail(KzCtx *ctx, KzLoadFailScanCb callback, void *arg)
{
    if (ctx == nullptr || callback == nullptr || !Usable(ctx->errMng)) {
        return KZ_OK;
    }
    ErrMng *errMng = ctx->errMng;
    if (pthread_rwlock_rdlock(&errMng->lock) != 0) {
        return KZ_OK;
    }
    uint32_t rc = KZ_OK;
    for (const auto &entry : errMng->modules->nodes) {
        rc = KZS_MOD_ScanModAllLoadFail(entry.second, callback, arg);
        if (rc != 0) {
            break;
        }
    }
    pthread_rwlock_unlock(&errMng->lock);
    return rc;
}

uint32_t KZ_CTX_InitErrMng(KzCtx *ctx)
{
    if (ctx == nullptr) {
        return KZ_EINVAL;
    }
    auto *errMng = kz::ZeroAlloc<ErrMng>();
    if (errMng == nullptr) {
        return KZ_ENOMEM;
    }
    errMng->modules = kz::NewObject<KzErrModTree>();
    if (errMng->modules == nullptr) {
        KZ_MemFree(errMng);
        return KZ_ENOMEM;
    }
    int rc = pthread_rwlock_init(&errMng->lock, nullptr);
    if (rc != 0) {
        kz::DeleteObject(errMng->modules);
        KZ_MemFree(errMng);
        return static_cast<uint32_t>(rc);
    }
    errMng->ctx = ctx;
    ctx->errMng = errMng;
    return KZ_OK;
}

void KZ_CTX_DestoryErrMngTree(ErrMng *errMng)
{
    if (!Usable(errMng)) {
        return;
    }
    WriteGuard guard(errMng);
    for (auto &entry : errMng->modules->nodes) {
        KZS_MOD_FreeErrModNode(&errMng->ctx->dict, entry.second);
    }
    errMng->modules->nodes.clear();
}

void KZ_CTX_DestroyErrMng(ErrMng *errMng)
{
    if (errMng == nullptr) {
        return;
    }
    KZ_CTX_DestoryErrMngTree(errMng);
    pthread_rwlock_destroy(&errMng->lock);
    kz::DeleteObject(errMng->modules);
    if (errMng->ctx != nullptr && errMng->ctx->errMng == errMng) {
        errMng->ctx->errMng = nullptr;
    }
    KZ_MemFree(errMng);
}

}  // extern "C"
