/* Candidate files of a module in the search directories, and the assister
 * that decides which merge source is read next. */
#include <fnmatch.h>
#include <sys/stat.h>

#include <algorithm>
#include <new>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "loader/kzs_loader.h"
#include "base/kz_dir_cache.h"
#include "yang/kz_yang_read.h"
#include "base/kz_guard.h"
#include "base/kz_kit.h"

/* The longest candidate: dir/name@@suffix.yin with a 9-character suffix. */
static_assert(KZ_CTX_SEARCH_DIR_MAX + 1 + KZ_CTX_MODULE_NAME_MAX + 2 + (KZS_LOADER_SUFFIX_MAX - 1) + 4 <
                  KZS_LOADER_PATH_MAX,
              "a search directory must leave room for every module file name");

namespace {

bool IsRegularFile(const char *path)
{
    struct stat st {};
    return stat(path, &st) == 0 && S_ISREG(st.st_mode);
}

/* The suffix of a merge source: the text between "@@" and the next '.'. */
uint32_t ExtractSuffix(const char *path, char *out, bool *hasMarker)
{
    out[0] = '\0';
    const char *base = std::strrchr(path, '/');
    base = (base == nullptr) ? path : base + 1;
    const char *marker = std::strstr(base, "@@");
    *hasMarker = marker != nullptr;
    if (marker == nullptr) {
        return KZ_OK;
    }
    const char *start = marker + 2;
    const char *dot = std::strchr(start, '.');
    if (dot == nullptr) {
        return KZ_EINVAL;
    }
    const size_t len = static_cast<size_t>(dot - start);
    if (len >= KZS_LOADER_SUFFIX_MAX) {
        return KZ_EINVAL;
    }
    std::memcpy(out, start, len);
    out[len] = '\0';
    return KZ_OK;
}

LoadSuffix *FindSuffix(LoadAssister *assister, const char *suffix)
{
    for (uint16_t i = 0; i < assister->suffixCount; i++) {
        if (std::strcmp(assister->suffixes[i].suffix, suffix) == 0) {
            return &assister->suffixes[i];
        }
    }
    return nullptr;
}

/* The name@*.yin files of one directory, sorted, added to coll. */
uint32_t FillWithRevision(const char *dir, const char *name, PathCollection *coll, KzDirCache *listings)
{
    if (dir == nullptr || name == nullptr || coll == nullptr) {
        return KZ_EINVAL;
    }
    const std::string pattern = std::string(name) + "@*.yin";
    std::vector<std::string> scratch;
    const std::vector<std::string> *names = kz::base::ListAtNames(listings, dir, &scratch);
    if (names == nullptr) {
        return KZ_ENOENT;
    }
    std::vector<std::string> found;
    for (const std::string &entry : *names) {
        if (fnmatch(pattern.c_str(), entry.c_str(), 0) == 0) {
            found.push_back(entry);
        }
    }
    /* Directory order differs between file systems; sort so that a load is repeatable. */
    std::sort(found.begin(), found.end());
    const std::string prefix = std::string(dir) + "/";
    for (const std::string &file : found) {
        const std::string path = prefix + file;
        if (!IsRegularFile(path.c_str())) {
            continue;
        }
        (void)KZS_LOADER_AppendOnePathObj(coll, path.c_str());
        /* Merge sources and other @ files of one module both present: stop here. */
        if (coll->hasSuffixed == coll->hasPlain) {
            return KZ_EINVAL;
        }
    }
    return KZ_OK;
}

} /* namespace */

extern "C" {

KZ_API uint32_t KZS_LOADER_AppendOnePathObj(PathCollection *coll, const char *path)
{
    if (coll == nullptr || path == nullptr) {
        return KZ_EINVAL;
    }
    const size_t len = std::strlen(path);
    if (len >= KZS_LOADER_PATH_MAX) {
        return KZ_OK; /* cannot be stored; silently not a candidate */
    }
    char suffix[KZS_LOADER_SUFFIX_MAX];
    bool hasMarker = false;
    uint32_t ret = ExtractSuffix(path, suffix, &hasMarker);
    if (ret != KZ_OK) {
        return ret;
    }
    if (coll->count == UINT16_MAX) {
        return KZ_ENOMEM;
    }
    auto *objs = static_cast<PathObj *>(KZ_MemMalloc(sizeof(PathObj) * (coll->count + 1u)));
    if (objs == nullptr) {
        return KZ_ENOMEM;
    }
    if (coll->count != 0) {
        std::memcpy(objs, coll->objs, sizeof(PathObj) * coll->count);
    }
    PathObj *obj = &objs[coll->count];
    std::memset(obj, 0, sizeof(*obj));
    std::memcpy(obj->path, path, len + 1);
    std::memcpy(obj->suffix, suffix, std::strlen(suffix) + 1);
    KZ_MemFree(coll->objs);
    coll->objs = objs;
    coll->count++;
    if (hasMarker) {
        coll->hasSuffixed = 1;
    } else {
        coll->hasPlain = 1;
    }
    return KZ_OK;
}

KZ_API void KZS_LOADER_DestroyPathCollection(PathCollection *coll)
{
    if (coll == nullptr) {
        return;
    }
    KZ_MemFree(coll->objs);
    KZ_MemFree(coll);
}

KZ_API uint32_t KZS_LOADER_FillFullNameWithNoRevision(const char *dir, const char *name, PathCollection *coll)
{
    if (dir == nullptr || name == nullptr || coll == nullptr) {
        return KZ_EINVAL;
    }
    char path[KZS_LOADER_PATH_MAX];
    const int n = std::snprintf(path, sizeof(path), "%s/%s.yin", dir, name);
    if (n < 0 || static_cast<size_t>(n) >= sizeof(path) || !IsRegularFile(path)) {
        return KZ_ENOENT;
    }
    return KZS_LOADER_AppendOnePathObj(coll, path);
}

KZ_API uint32_t KZS_LOADER_FillFullNameWithRevision(const char *dir, const char *name, PathCollection *coll)
{
    return kz::Guarded(KZ_ENOMEM, [&]() -> uint32_t { return FillWithRevision(dir, name, coll, nullptr); });
}


KZ_API PathCollection *KZS_LOADER_CollectFilePathMatchedInAllDir(KzCtx *ctx, const char *name)
{
    /* A module name is a YANG identifier: no way out of the search directories, and
     * nothing that the directory scan would read as a file pattern. */
    if (ctx == nullptr || KZ_CTX_IsValidModuleName(name) == 0) {
        return nullptr;
    }
    /* Owned until returned, so that a listing that cannot grow (bad_alloc) frees it. */
    struct CollFreer {
        void operator()(PathCollection *c) const { KZS_LOADER_DestroyPathCollection(c); }
    };
    std::unique_ptr<PathCollection, CollFreer> coll(kz::ZeroAlloc<PathCollection>());
    if (coll == nullptr) {
        return nullptr;
    }
    coll->maxToProcess = 1;
    return kz::Guarded(static_cast<PathCollection *>(nullptr), [&]() -> PathCollection * {
        for (uint32_t i = 0; i < ctx->searchDirCount; i++) {
            const char *dir = ctx->searchDirs[i];
            if (dir == nullptr) {
                continue;
            }
            if (KZS_LOADER_FillFullNameWithNoRevision(dir, name, coll.get()) == KZ_OK) {
                break;
            }
            (void)FillWithRevision(dir, name, coll.get(), kz::schema::DirCacheOf(ctx));
        }
        if (coll->count == 0) {
            /* No YIN file: the module's YANG text, searched the same way. */
            const std::string yang = kz::yang::FindYangFile(kz::loader::SearchDirList(ctx), name, kz::schema::DirCacheOf(ctx));
            if (!yang.empty()) {
                (void)KZS_LOADER_AppendOnePathObj(coll.get(), yang.c_str());
            }
        }
        return coll->count != 0 ? coll.release() : nullptr;
    });
}

KZ_API uint32_t KZS_LOADER_AppendOneSuffixToAssister(LoadAssister *assister, const char *suffix, uint8_t processed)
{
    if (assister == nullptr || suffix == nullptr) {
        return KZ_EINVAL;
    }
    const size_t len = std::strlen(suffix);
    if (len >= KZS_LOADER_SUFFIX_MAX || assister->suffixCount == UINT16_MAX) {
        return KZ_EINVAL;
    }
    auto *entries = static_cast<LoadSuffix *>(KZ_MemMalloc(sizeof(LoadSuffix) * (assister->suffixCount + 1u)));
    if (entries == nullptr) {
        return KZ_ENOMEM;
    }
    ptrdiff_t currentIndex = -1;
    if (assister->current != nullptr) {
        currentIndex = assister->current - assister->suffixes;
    }
    if (assister->suffixCount != 0) {
        std::memcpy(entries, assister->suffixes, sizeof(LoadSuffix) * assister->suffixCount);
    }
    LoadSuffix *entry = &entries[assister->suffixCount];
    std::memset(entry, 0, sizeof(*entry));
    std::memcpy(entry->suffix, suffix, len + 1);
    entry->processed = processed;
    KZ_MemFree(assister->suffixes);
    assister->suffixes = entries;
    assister->suffixCount++;
    assister->current = (currentIndex >= 0) ? &entries[currentIndex] : nullptr;
    return KZ_OK;
}

KZ_API uint32_t KZS_LOADER_AppendSuffixsToAssister(LoadAssister *assister, uint16_t count,
                                                   const char *const *suffixes, uint8_t processed)
{
    if (assister == nullptr || (suffixes == nullptr && count != 0)) {
        return KZ_EINVAL;
    }
    for (uint16_t i = 0; i < count; i++) {
        const char *suffix = suffixes[i];
        if (suffix == nullptr || suffix[0] == '\0' || FindSuffix(assister, suffix) != nullptr) {
            continue;
        }
        uint32_t ret = KZS_LOADER_AppendOneSuffixToAssister(assister, suffix, processed);
        if (ret != KZ_OK) {
            return ret;
        }
    }
    return KZ_OK;
}

KZ_API uint32_t KZS_LOADER_AddPathObjToLoadAssister(const PathCollection *coll, LoadAssister *assister)
{
    if (coll == nullptr || assister == nullptr) {
        return KZ_EINVAL;
    }
    if (coll->hasSuffixed == 0) {
        return KZ_OK;
    }
    for (uint16_t i = 0; i < coll->count; i++) {
        const char *suffix = coll->objs[i].suffix;
        if (suffix[0] == '\0' || FindSuffix(assister, suffix) != nullptr) {
            continue;
        }
        uint32_t ret = KZS_LOADER_AppendOneSuffixToAssister(assister, suffix, 0);
        if (ret != KZ_OK) {
            return ret;
        }
    }
    return KZ_OK;
}

KZ_API uint32_t KZS_LOADER_PreFillLoadAssisterFromExisting(const KzMod *existingMod, const PathCollection *coll,
                                                           LoadAssister *assister, uint32_t *needLoadOut)
{
    if (coll == nullptr || assister == nullptr || needLoadOut == nullptr) {
        return KZ_EINVAL;
    }
    *needLoadOut = 1;
    if (existingMod != nullptr) {
        if (existingMod->mrgSrcCount == 0) {
            *needLoadOut = 0; /* a registered one-file module has nothing new to read */
            return KZ_OK;
        }
        uint32_t ret = KZS_LOADER_AppendSuffixsToAssister(assister, existingMod->mrgSrcCount,
                                                          existingMod->mrgSrcs, 1);
        if (ret != KZ_OK) {
            return ret;
        }
    }
    return KZS_LOADER_AddPathObjToLoadAssister(coll, assister);
}

KZ_API void KZS_LOADER_UpdateNextLoadingSuffix(LoadAssister *assister)
{
    if (assister == nullptr || assister->current != nullptr) {
        return;
    }
    for (uint16_t i = 0; i < assister->suffixCount; i++) {
        if (assister->suffixes[i].processed == 0) {
            assister->current = &assister->suffixes[i];
            return;
        }
    }
}

KZ_API void KZS_LOADER_ResetCurrentLoadingSuffix(LoadAssister *assister, uint8_t processed)
{
    if (assister == nullptr || assister->current == nullptr) {
        return;
    }
    assister->current->processed = processed;
    assister->current = nullptr;
}

KZ_API PathObj *KZS_LOADER_GetNextPathObjToProc(PathCollection *coll, LoadAssister *assister)
{
    if (coll == nullptr) {
        return nullptr;
    }
    const char *current = nullptr;
    if (assister != nullptr) {
        KZS_LOADER_UpdateNextLoadingSuffix(assister);
        if (assister->current != nullptr && assister->current->suffix[0] != '\0') {
            current = assister->current->suffix;
        }
    }
    /* Without a merge source to load only one file is ever read. */
    if (current == nullptr && coll->processed != 0) {
        return nullptr;
    }
    if (coll->processed >= coll->maxToProcess || coll->count == 0) {
        return nullptr;
    }
    for (uint16_t i = 0; i < coll->count; i++) {
        PathObj *obj = &coll->objs[i];
        if (current == nullptr || obj->suffix[0] == '\0' || std::strcmp(obj->suffix, current) == 0) {
            coll->processed++;
            return obj;
        }
    }
    return nullptr;
}

KZ_API void KZS_LOADER_ClearLoadAssister(LoadAssister *assister)
{
    if (assister == nullptr) {
        return;
    }
    KZ_MemFree(assister->suffixes);
    assister->suffixes = nullptr;
    assister->suffixCount = 0;
    assister->current = nullptr;
}

} /* extern "C" */

namespace kz::loader {

std::vector<std::string> SearchDirList(const KzCtx *ctx)
{
    std::vector<std::string> dirs;
    for (uint32_t i = 0; i < ctx->searchDirCount; i++) {
        if (ctx->searchDirs[i] != nullptr) {
            dirs.emplace_back(ctx->searchDirs[i]);
        }
    }
    return dirs;
}

} /* namespace kz::loader */
