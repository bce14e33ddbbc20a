// Directories searched for module files, in the order they were added.
#include <sys/stat.h>

#include <cstring>

#include "schema/kzs_ctx.h"
#include "base/kz_dir_cache.h"
#include "base/kz_safe.h"
#include "base/kz_kit.h"

namespace {

bool IsExistingDir(const char *path)
{
    struct stat st = {};
    return stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

extern "C" {

char *KZ_CTX_FormatInputPath(const char *path)
{
    if (path == nullptr || path[0] != '/') {
        return nullptr;
    }
    size_t len = strlen(path);
    // The leading '/' always stays: "/" and "//" both give "/".
    while (len > 1 && path[len - 1] == '/') {
        --len;
    }
    return kz::DupText(path, len);
}

uint32_t KZ_CTX_FindSearchDirInTbl(const KzCtx *ctx, const char *path, uint32_t *posOut)
{
    if (ctx == nullptr || path == nullptr || ctx->searchDirs == nullptr) {
        return KZ_ERR;
    }
    for (uint32_t i = 0; i < ctx->searchDirCount; ++i) {
        if (ctx->searchDirs[i] != nullptr && strcmp(ctx->searchDirs[i], path) == 0) {
            if (posOut != nullptr) {
                *posOut = i;
            }
            return KZ_OK;
        }
    }
    return KZ_ERR;
}

uint32_t KZ_CTX_AllocSearchDirBufferIfNeed(KzCtx *ctx)
{
    if (ctx == nullptr) {
        return KZ_EINVAL;
    }
    if (ctx->searchDirs != nullptr && ctx->searchDirCount < ctx->searchDirCapacity) {
        return KZ_OK;
    }
    // One slot at a time: the list is short and set up once.
    uint32_t oldCap = ctx->searchDirs == nullptr ? 0 : ctx->searchDirCapacity;
    uint32_t newCap = oldCap + 1;
    if (newCap == 0) {
        return KZ_ENOMEM;
    }
    size_t newBytes = static_cast<size_t>(newCap) * sizeof(const char *);
    auto *slots = kz::ZeroAlloc<const char *>(newCap);
    if (slots == nullptr) {
        return KZ_ENOMEM;
    }
    if (oldCap != 0 &&
        kz::base::MemcpyS(slots, newBytes, ctx->searchDirs, static_cast<size_t>(oldCap) * sizeof(const char *)) != 0) {
        KZ_MemFree(slots);
        return KZ_ENOMEM;
    }
    KZ_MemFree(ctx->searchDirs);
    ctx->searchDirs = slots;
    ctx->searchDirCapacity = newCap;
    return KZ_OK;
}

uint32_t KZ_CTX_AppendSearchDirToTbl(KzCtx *ctx, const char *path)
{
    if (ctx == nullptr || path == nullptr || ctx->searchDirs == nullptr ||
        ctx->searchDirCount >= ctx->searchDirCapacity || ctx->searchDirs[ctx->searchDirCount] != nullptr) {
        return KZ_EINVAL;
    }
    const char *interned = KZ_DICT_Insert(&ctx->dict, path);
    if (interned == nullptr) {
        return KZ_EINVAL;
    }
    ctx->searchDirs[ctx->searchDirCount++] = interned;
    return KZ_OK;
}

void KZ_CTX_ClearSearchDirAtPos(KzCtx *ctx, uint32_t pos)
{
    if (ctx == nullptr || ctx->searchDirs == nullptr || pos >= ctx->searchDirCount) {
        return;
    }
    KZ_DICT_Remove(&ctx->dict, ctx->searchDirs[pos]);
    for (uint32_t i = pos; i + 1 < ctx->searchDirCount; ++i) {
        ctx->searchDirs[i] = ctx->searchDirs[i + 1];
    }
    ctx->searchDirs[ctx->searchDirCount - 1] = nullptr;
    ctx->searchDirCount--;
}

uint32_t KZ_CTX_UpdateSearchDirAgainstTbl(KzCtx *ctx, const char *path, uint32_t remove)
{
    if (ctx == nullptr || path == nullptr) {
        return KZ_EINVAL;
    }
    char *norm = KZ_CTX_FormatInputPath(path);
    if (norm == nullptr) {
        return KZ_ENOTDIR;
    }
    uint32_t rc = KZ_OK;
    uint32_t pos = 0;
    bool found = false;
    // A directory that is gone from disk cannot be removed either.
    if (!IsExistingDir(norm)) {
        rc = KZ_ENOTDIR;
    } else {
        found = KZ_CTX_FindSearchDirInTbl(ctx, norm, &pos) == KZ_OK;
        if (remove != 0) {
            if (found) {
                KZ_CTX_ClearSearchDirAtPos(ctx, pos);
            }
        } else if (!found && strlen(norm) > KZ_CTX_SEARCH_DIR_MAX) {
            rc = KZ_EINVAL; // no module path under it would fit the loader's path buffer
        } else if (!found) {
            rc = KZ_CTX_AllocSearchDirBufferIfNeed(ctx);
            if (rc == KZ_OK) {
                rc = KZ_CTX_AppendSearchDirToTbl(ctx, norm);
            }
        }
    }
    KZ_MemFree(norm);
    return rc;
}

uint32_t KZ_CTX_SetSearchDir(KzCtx *ctx, const char *path)
{
    if (ctx == nullptr || path == nullptr) {
        return KZ_EINVAL;
    }
    return KZ_CTX_UpdateSearchDirAgainstTbl(ctx, path, 0);
}

void KZ_CTX_UnSetSearchDir(KzCtx *ctx, const char *path)
{
    if (ctx == nullptr) {
        return;
    }
    if (path != nullptr) {
        (void)KZ_CTX_UpdateSearchDirAgainstTbl(ctx, path, 1);
        return;
    }
    // Everything goes, but the slots stay allocated for later additions.
    for (uint32_t i = 0; i < ctx->searchDirCount; ++i) {
        KZ_DICT_Remove(&ctx->dict, ctx->searchDirs[i]);
        ctx->searchDirs[i] = nullptr;
    }
    ctx->searchDirCount = 0;
}

void KZ_CTX_FreeSearchDirs(KzCtx *ctx)
{
    if (ctx == nullptr) {
        return;
    }
    for (uint32_t i = 0; i < ctx->searchDirCount; ++i) {
        KZ_DICT_Remove(&ctx->dict, ctx->searchDirs[i]);
    }
    KZ_MemFree(ctx->searchDirs);
    ctx->searchDirs = nullptr;
    ctx->searchDirCount = 0;
    ctx->searchDirCapacity = 0;
}

}  // extern "C"

namespace kz::schema {

KzDirCache *DirCacheOf(KzCtx *ctx)
{
    if (ctx->dirCache == nullptr) {
        ctx->dirCache = kz::base::NewDirCache();
    }
    return ctx->dirCache;
}

} /* namespace kz::schema */
