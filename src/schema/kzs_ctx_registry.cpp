// The registry of loaded modules, by name and by namespace.
//
// Keys compare as strings, except that a NULL key compares equal to any key:
// a module without a namespace collides with whatever else is registered.
// An ordered map cannot take that comparator directly, so the rule is applied
// explicitly: a NULL-keyed module can only be registered into an empty tree,
// nothing can be registered next to it, and while it is there every lookup
// finds it.
#include <cstring>
#include <map>
#include <new>

#include "base/kz_alloc.h"
#include "schema/kzs_ctx.h"
#include "base/kz_scan.h"
#include "schema/kzs_diag.h"
#include "schema/kzs_mod.h"

namespace {

struct KeyLess {
    bool operator()(const char *a, const char *b) const
    {
        return strcmp(a, b) < 0;
    }
};

}  // namespace

struct KzModTree {
    std::map<const char *, KzMod *, KeyLess, kz::MemAllocator<std::pair<const char *const, KzMod *>>>
        byKey;
    KzMod *nullKeyMod = nullptr;
    bool keyedByNs = false;

    const char *KeyOf(const KzMod *mod) const
    {
        return keyedByNs ? mod->ns : mod->name;
    }

    // The colliding module, or nullptr once mod is registered.  Throws
    // std::bad_alloc.
    KzMod *Insert(KzMod *mod)
    {
        if (nullKeyMod != nullptr) {
            return nullKeyMod;
        }
        const char *key = KeyOf(mod);
        if (key == nullptr) {
            if (!byKey.empty()) {
                return byKey.begin()->second;
            }
            nullKeyMod = mod;
            return nullptr;
        }
        auto res = byKey.emplace(key, mod);
        return res.second ? nullptr : res.first->second;
    }

    KzMod *Find(const char *key) const
    {
        if (nullKeyMod != nullptr) {
            return nullKeyMod;
        }
        if (key == nullptr) {
            return byKey.empty() ? nullptr : byKey.begin()->second;
        }
        auto it = byKey.find(key);
        return it == byKey.end() ? nullptr : it->second;
    }

    void Remove(const KzMod *mod)
    {
        if (nullKeyMod == mod) {
            nullKeyMod = nullptr;
            return;
        }
        const char *key = KeyOf(mod);
        if (key == nullptr) {
            return;
        }
        auto it = byKey.find(key);
        if (it != byKey.end() && it->second == mod) {
            byKey.erase(it);
        }
    }

    KzMod *First() const
    {
        if (nullKeyMod != nullptr) {
            return nullKeyMod;
        }
        return byKey.empty() ? nullptr : byKey.begin()->second;
    }

    KzMod *Next(const KzMod *mod) const
    {
        const char *key = KeyOf(mod);
        if (mod == nullKeyMod || key == nullptr) {
            return nullptr;
        }
        auto it = byKey.upper_bound(key);
        return it == byKey.end() ? nullptr : it->second;
    }
};

extern "C" {

int32_t KZ_CTX_ModTreeKeyCompare(const char *a, const char *b)
{
    if (a == nullptr || b == nullptr) {
        return 0;
    }
    int c = strcmp(a, b);
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

uint32_t KZ_CTX_InitModuleTree(KzCtx *ctx)
{
    if (ctx == nullptr) {
        return KZ_EINVAL;
    }
    if (ctx->modsByName == nullptr) {
        ctx->modsByName = kz::NewObject<KzModTree>();
    }
    if (ctx->modsByNs == nullptr) {
        ctx->modsByNs = kz::NewObject<KzModTree>();
    }
    if (ctx->modsByName == nullptr || ctx->modsByNs == nullptr) {
        KZ_CTX_DeInitModuleTree(ctx);
        return KZ_ENOMEM;
    }
    ctx->modsByNs->keyedByNs = true;
    return KZ_OK;
}

void KZ_CTX_DeInitModuleTree(KzCtx *ctx)
{
    if (ctx == nullptr) {
        return;
    }
    kz::DeleteObject(ctx->modsByName);
    kz::DeleteObject(ctx->modsByNs);
    ctx->modsByName = nullptr;
    ctx->modsByNs = nullptr;
}

uint32_t KZ_CTX_AddModuleNode(KzCtx *ctx, KzMod *mod)
{
    if (ctx == nullptr || mod == nullptr || ctx->modsByName == nullptr || ctx->modsByNs == nullptr) {
        return KZ_ERR;
    }
    try {
        if (ctx->modsByName->Insert(mod) != nullptr) {
            return KZ_ERR;
        }
    } catch (const std::bad_alloc &) {
        return KZ_ERR;
    }
    KzMod *clash = nullptr;
    try {
        clash = ctx->modsByNs->Insert(mod);
    } catch (const std::bad_alloc &) {
        clash = mod;
    }
    if (clash != nullptr) {
        ctx->modsByName->Remove(mod);
        return KZ_ERR;
    }
    return KZ_OK;
}

void KZ_CTX_UnlinkModuleNode(KzCtx *ctx, const KzMod *mod)
{
    if (ctx == nullptr || mod == nullptr) {
        return;
    }
    if (ctx->modsByName != nullptr) {
        ctx->modsByName->Remove(mod);
    }
    if (ctx->modsByNs != nullptr) {
        ctx->modsByNs->Remove(mod);
    }
}

void KZ_CTX_DestroyModuleNode(KzCtx *ctx, KzMod *mod)
{
    if (ctx == nullptr || mod == nullptr) {
        return;
    }
    KZ_CTX_UnlinkModuleNode(ctx, mod);
    KZ_CTX_DeleteErrNodeByModName(ctx->errMng, mod->name);
    KZS_MOD_Free(mod);
}

uint32_t KZ_CTX_IsValidModuleName(const char *name)
{
    if (name == nullptr) {
        return 0;
    }
    const char first = name[0];
    if (!((first >= 'a' && first <= 'z') || (first >= 'A' && first <= 'Z') || first == '_')) {
        return 0;
    }
    const uint32_t len = KZ_UTL_ConsumeIdentNameBestEffort(name);
    return name[len] == '\0' && len <= KZ_CTX_MODULE_NAME_MAX ? 1u : 0u;
}

KzMod *KZ_CTX_GetModuleByModName(KzCtx *ctx, const char *moduleName)
{
    if (ctx == nullptr || moduleName == nullptr || ctx->modsByName == nullptr) {
        return nullptr;
    }
    return ctx->modsByName->Find(moduleName);
}

KzMod *KZ_CTX_GetModuleByModNs(KzCtx *ctx, const char *namespaceUri)
{
    if (ctx == nullptr || namespaceUri == nullptr || ctx->modsByNs == nullptr) {
        return nullptr;
    }
    return ctx->modsByNs->Find(namespaceUri);
}

KzMod *KZ_CTX_GetFirstModule(KzCtx *ctx)
{
    if (ctx == nullptr || ctx->modsByName == nullptr) {
        return nullptr;
    }
    return ctx->modsByName->First();
}

KzMod *KZ_CTX_GetNextModule(KzCtx *ctx, const KzMod *mod)
{
    if (ctx == nullptr || mod == nullptr || ctx->modsByName == nullptr) {
        return nullptr;
    }
    return ctx->modsByName->Next(mod);
}

}  // extern "C"
