// Which modules augment or deviate which: one table per depended-on module,
// used to re-couple or uncouple dependants when a module comes or goes.
#include <cstring>
#include <map>
#include <new>
#include <unordered_set>
#include <vector>

#include "base/kz_alloc.h"
#include "schema/kzs_ctx.h"
#include "schema/kzs_diag.h"
#include "base/kz_kit.h"

namespace {

struct RelLess {
    bool operator()(const char *a, const char *b) const
    {
        return KZ_CTX_CompareModRelationTbl(a, b) < 0;
    }
};

constexpr uint32_t kCollectGrowth = 32;

KzModChangePass GetModChangePass(const KzCtx *ctx, uint32_t kind, uint32_t event)
{
    if (ctx->couple == nullptr || kind >= 2 || event >= 2) {
        return nullptr;
    }
    return ctx->couple->modChange[kind][event];
}

template <typename T>
using KzVector = std::vector<T, kz::MemAllocator<T>>;

}  // namespace

struct KzRelationTree {
    std::map<const char *, RelationTbl *, RelLess,
             kz::MemAllocator<std::pair<const char *const, RelationTbl *>>>
        tables;
};

extern "C" {

/* Tables are keyed by module name, ordered as the per-module error records are. */
int32_t KZ_CTX_CompareModRelationTbl(const char *a, const char *b)
{
    return KZ_CTX_CompareModuleName(a, b);
}

uint32_t KZ_CTX_InitModRelationTree(KzCtx *ctx)
{
    if (ctx == nullptr) {
        return KZ_EINVAL;
    }
    if (ctx->relationTree == nullptr) {
        ctx->relationTree = kz::NewObject<KzRelationTree>();
    }
    return ctx->relationTree == nullptr ? KZ_ENOMEM : KZ_OK;
}

void KZ_CTX_DeInitModRelationTree(KzCtx *ctx)
{
    if (ctx == nullptr || ctx->relationTree == nullptr) {
        return;
    }
    while (!ctx->relationTree->tables.empty()) {
        KZ_CTX_DeleteModRelationTbl(ctx, ctx->relationTree->tables.begin()->second);
    }
    kz::DeleteObject(ctx->relationTree);
    ctx->relationTree = nullptr;
}

RelationTbl *KZ_CTX_FindModRelationTbl(KzCtx *ctx, const char *modName)
{
    if (ctx == nullptr || modName == nullptr || ctx->relationTree == nullptr) {
        return nullptr;
    }
    auto it = ctx->relationTree->tables.find(modName);
    return it == ctx->relationTree->tables.end() ? nullptr : it->second;
}

RelationItem *KZ_CTX_FindModRelationItem(const RelationTbl *tbl, uint32_t kind, const char *depModName)
{
    if (tbl == nullptr || tbl->items == nullptr) {
        return nullptr;
    }
    RelationItem *item = tbl->items;
    do {
        if (item->kind == kind && item->depModName == depModName) {
            return item;
        }
        item = item->next;
    } while (item != tbl->items);
    return nullptr;
}

RelationTbl *KZ_CTX_AddModRelationTbl(KzCtx *ctx, const char *modName)
{
    if (ctx == nullptr || modName == nullptr || ctx->relationTree == nullptr) {
        return nullptr;
    }
    RelationTbl *existing = KZ_CTX_FindModRelationTbl(ctx, modName);
    if (existing != nullptr) {
        return existing;
    }
    auto *tbl = kz::ZeroAlloc<RelationTbl>();
    if (tbl == nullptr) {
        return nullptr;
    }
    tbl->index = -1;
    tbl->moduleName = KZ_DICT_Insert(&ctx->dict, modName);
    if (tbl->moduleName == nullptr) {
        KZ_MemFree(tbl);
        return nullptr;
    }
    try {
        ctx->relationTree->tables.emplace(tbl->moduleName, tbl);
    } catch (const std::bad_alloc &) {
        KZ_DICT_Remove(&ctx->dict, tbl->moduleName);
        KZ_MemFree(tbl);
        return nullptr;
    }
    return tbl;
}

uint32_t KZ_CTX_AddModRelationItem(KzCtx *ctx, RelationTbl *tbl, uint32_t kind, const char *depModName)
{
    if (ctx == nullptr || tbl == nullptr || depModName == nullptr) {
        return KZ_EINVAL;
    }
    auto *item = kz::ZeroAlloc<RelationItem>();
    if (item == nullptr) {
        return KZ_ENOMEM;
    }
    item->depModName = KZ_DICT_Insert(&ctx->dict, depModName);
    if (item->depModName == nullptr) {
        KZ_MemFree(item);
        return KZ_ENOMEM;
    }
    item->kind = kind;
    item->valid = 1;
    if (tbl->items == nullptr) {
        item->next = item;
        item->prev = item;
    } else {
        item->next = tbl->items;
        item->prev = tbl->items->prev;
        tbl->items->prev->next = item;
        tbl->items->prev = item;
    }
    tbl->items = item;
    return KZ_OK;
}

void KZ_CTX_DeleteModRelationItem(KzCtx *ctx, RelationTbl *tbl, RelationItem *item)
{
    if (ctx == nullptr || tbl == nullptr || item == nullptr) {
        return;
    }
    if (item->next == item) {
        tbl->items = nullptr;
    } else {
        item->prev->next = item->next;
        item->next->prev = item->prev;
        if (tbl->items == item) {
            tbl->items = item->next;
        }
    }
    KZ_DICT_Remove(&ctx->dict, item->depModName);
    KZ_MemFree(item);
}

void KZ_CTX_DeleteModRelationTbl(KzCtx *ctx, RelationTbl *tbl)
{
    if (ctx == nullptr || tbl == nullptr) {
        return;
    }
    if (ctx->relationTree != nullptr) {
        auto it = ctx->relationTree->tables.find(tbl->moduleName);
        if (it != ctx->relationTree->tables.end() && it->second == tbl) {
            ctx->relationTree->tables.erase(it);
        }
    }
    while (tbl->items != nullptr) {
        KZ_CTX_DeleteModRelationItem(ctx, tbl, tbl->items);
    }
    KZ_DICT_Remove(&ctx->dict, tbl->moduleName);
    KZ_MemFree(tbl);
}

uint32_t KZ_CTX_AddTwoModRelation(KzCtx *ctx, const char *modName, const char *depModName, uint32_t kind)
{
    if (ctx == nullptr || modName == nullptr || depModName == nullptr) {
        return KZ_EINVAL;
    }
    bool created = KZ_CTX_FindModRelationTbl(ctx, modName) == nullptr;
    RelationTbl *tbl = KZ_CTX_AddModRelationTbl(ctx, modName);
    if (tbl == nullptr) {
        return KZ_ENOMEM;
    }
    // Items hold interned names and are compared by pointer.
    const char *interned = KZ_DICT_Insert(&ctx->dict, depModName);
    uint32_t rc = KZ_ENOMEM;
    if (interned != nullptr) {
        rc = KZ_CTX_FindModRelationItem(tbl, kind, interned) != nullptr
                 ? KZ_OK
                 : KZ_CTX_AddModRelationItem(ctx, tbl, kind, interned);
        KZ_DICT_Remove(&ctx->dict, interned);
    }
    if (rc != KZ_OK && created && tbl->items == nullptr) {
        KZ_CTX_DeleteModRelationTbl(ctx, tbl);
    }
    return rc;
}

uint32_t KZ_CTX_DelTwoModRelation(KzCtx *ctx, const char *modName, const char *depModName, uint32_t kind)
{
    if (ctx == nullptr || modName == nullptr || depModName == nullptr) {
        return KZ_EINVAL;
    }
    RelationTbl *tbl = KZ_CTX_FindModRelationTbl(ctx, modName);
    if (tbl == nullptr) {
        return KZ_ERR;
    }
    const char *interned = KZ_DICT_Insert(&ctx->dict, depModName);
    if (interned == nullptr) {
        return KZ_ENOMEM;
    }
    RelationItem *item = KZ_CTX_FindModRelationItem(tbl, kind, interned);
    KZ_DICT_Remove(&ctx->dict, interned);
    if (item == nullptr) {
        return KZ_ERR;
    }
    KZ_CTX_DeleteModRelationItem(ctx, tbl, item);
    if (tbl->items == nullptr) {
        KZ_CTX_DeleteModRelationTbl(ctx, tbl);
    }
    return KZ_OK;
}

uint32_t KZ_CTX_CollectDepModNamesRecursive(KzCtx *ctx, const char *modName, uint32_t kind,
                                            const char ***namesOut, uint32_t *countOut)
{
    if (ctx == nullptr || modName == nullptr || namesOut == nullptr || countOut == nullptr) {
        return KZ_EINVAL;
    }
    const char **names = nullptr;
    uint32_t count = 0;
    uint32_t capacity = 0;
    uint32_t rc = KZ_OK;
    try {
        std::unordered_set<const char *, std::hash<const char *>, std::equal_to<const char *>,
                           kz::MemAllocator<const char *>>
            seen;
        // Breadth-first: modName's own dependants, then theirs, in list order.
        const char *current = modName;
        for (uint32_t next = 0;; ++next) {
            const RelationTbl *tbl = KZ_CTX_FindModRelationTbl(ctx, current);
            const RelationItem *item = tbl == nullptr ? nullptr : tbl->items;
            for (; item != nullptr; item = item->next == tbl->items ? nullptr : item->next) {
                if (item->kind != kind || seen.count(item->depModName) != 0) {
                    continue;
                }
                if (count + 1 >= capacity) {
                    uint32_t newCap = capacity + kCollectGrowth;
                    auto *grown = kz::ZeroAlloc<const char *>(newCap);
                    if (grown == nullptr) {
                        throw std::bad_alloc();
                    }
                    if (count != 0) {
                        memcpy(grown, names, count * sizeof(const char *));
                    }
                    KZ_MemFree(names);
                    names = grown;
                    capacity = newCap;
                }
                seen.insert(item->depModName);
                names[count++] = item->depModName;
            }
            if (next >= count) {
                break;
            }
            current = names[next];
            if (current == nullptr) {
                rc = KZ_EINVAL;
                break;
            }
        }
    } catch (const std::bad_alloc &) {
        rc = KZ_ENOMEM;
    }
    if (rc != KZ_OK || count == 0) {
        KZ_MemFree(names);
        return rc;
    }
    *namesOut = names;
    *countOut = count;
    return KZ_OK;
}

uint32_t KZ_MOD_ScanAugmentModules(const KzModRef *modRef, KzAugModScanCb callback, void *arg)
{
    if (modRef == nullptr || modRef->ctx == nullptr) {
        return KZ_ERR;
    }
    if (callback == nullptr) {
        return KZ_EINVAL;
    }
    const RelationTbl *tbl = KZ_CTX_FindModRelationTbl(modRef->ctx, modRef->moduleName);
    if (tbl == nullptr || tbl->items == nullptr) {
        return KZ_OK;
    }
    uint32_t ordinal = 0;
    const RelationItem *item = tbl->items;
    do {
        if (item->kind == KZ_REL_AUGMENT) {
            uint32_t rc = callback(item->depModName, ++ordinal, arg);
            if (rc != 0) {
                return rc;
            }
        }
        item = item->next;
    } while (item != tbl->items);
    return KZ_OK;
}

void KZ_CTX_NotifyModuleChange(KzCtx *ctx, const char *modName, uint32_t event, void *arg)
{
    if (ctx == nullptr || modName == nullptr || event > KZ_MOD_EVENT_UNCOUPLE) {
        return;
    }
    const RelationTbl *tbl = KZ_CTX_FindModRelationTbl(ctx, modName);
    if (tbl == nullptr || tbl->items == nullptr) {
        return;
    }
    // The passes may add or drop relation items, so work from a copy whose
    // names hold their own dictionary references.
    struct Pending {
        uint32_t kind;
        const char *depModName;
    };
    KzVector<Pending> pending;
    try {
        const RelationItem *item = tbl->items;
        do {
            pending.push_back({item->kind, nullptr});
            pending.back().depModName = KZ_DICT_Insert(&ctx->dict, item->depModName);
            item = item->next;
        } while (item != tbl->items);
    } catch (const std::bad_alloc &) {
        // Run what was gathered; the rest stays as it is.
    }
    const char *ownName = KZ_DICT_Insert(&ctx->dict, modName);
    for (const Pending &p : pending) {
        KzModChangePass pass = GetModChangePass(ctx, p.kind, event);
        if (pass != nullptr && p.depModName != nullptr && ownName != nullptr) {
            (void)pass(ctx, ownName, p.depModName, arg);
        }
    }
    for (const Pending &p : pending) {
        KZ_DICT_Remove(&ctx->dict, p.depModName);
    }
    KZ_DICT_Remove(&ctx->dict, ownName);
}

}  // extern "C"

