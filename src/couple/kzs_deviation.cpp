/* Deviation coupling: the deviates of a deviation change their target node
 * (add, delete, replace, not-supported).  Everything a coupling changes is
 * first saved in an undo log hung on the deviation, so that unloading the
 * deviating module leaves the target exactly as it was before. */
#include <algorithm>
#include <cstring>
#include <vector>

#include "couple/kzs_couple_int.h"
#include "schema/kzs_ctx.h"
#include "schema/kzs_diag.h"
#include "base/kz_mem.h"

namespace {

/* The deviation stage for the life of a scope: back to parsing on every way out,
 * a container's std::bad_alloc included. */
class DeviateStage {
public:
    explicit DeviateStage(KzCtx *ctx) : ctx_(ctx) { KZ_CTX_SetLoadStage(ctx_, KZ_LOAD_STAGE_DEVIATE); }
    ~DeviateStage() { KZ_CTX_SetLoadStage(ctx_, KZ_LOAD_STAGE_PARSE); }
    DeviateStage(const DeviateStage &) = delete;
    DeviateStage &operator=(const DeviateStage &) = delete;

private:
    KzCtx *ctx_;
};

enum UndoKind : uint32_t {
    UNDO_FLAGS,       // node flags word
    UNDO_LEAF_DFLT,   // leaf default
    UNDO_CHOICE_DFLT, // choice default case
    UNDO_UNITS,       // leaf or leaf-list units
    UNDO_LL_DEFAULTS, // leaf-list default array
    UNDO_MUSTS,       // must array
    UNDO_EXTINSTS,    // extension-instance array
    UNDO_TYPE,        // real type of a leaf or leaf-list
    UNDO_DETACH,      // node removed from its tree (not-supported)
};

struct UndoEntry {
    uint32_t kind;
    KzsNode *node;
    uint32_t flags;
    const char *str; // a reference of its own in the dictionary
    const char **defaults;
    uint32_t defaultCount;
    KzsMust *musts;
    uint16_t mustCount;
    uint16_t extCount;
    KzsExtInst *exts;
    KztRealType type;
    // UNDO_DETACH: where the node sat.
    KzsNode *parent;
    KzsNode *prev;
    KzMod *owner;
    KzsNode *rangeAug;
    bool wasFirst;
    bool wasLast;
};

struct DevUndo {
    KzCtx *ctx;
    KzMod *devMod;
    uint64_t seq;
    uint32_t count;
    uint32_t cap;
    UndoEntry *entries;
};

constexpr uint16_t CONFIG_BITS = KZS_NODE_FLAG_CONFIG_TRUE | KZS_NODE_FLAG_CONFIG_FALSE;
constexpr uint16_t CONFIG_ALL = CONFIG_BITS | KZS_NODE_FLAG_CONFIG_SET;
constexpr uint16_t MANDATORY_BITS = KZS_NODE_FLAG_MANDATORY_TRUE | KZS_NODE_FLAG_MANDATORY_FALSE;

KzDict *Dict(KzMod *mod)
{
    return &mod->ctx->dict;
}

DevUndo *UndoOf(KzsDeviation *dev)
{
    return static_cast<DevUndo *>(dev->undo);
}

UndoEntry *PushEntry(DevUndo *undo, uint32_t kind, KzsNode *node)
{
    if (undo == nullptr) {
        return nullptr;
    }
    if (undo->count == undo->cap) {
        uint32_t cap = undo->cap == 0 ? 8 : undo->cap * 2;
        auto *grown = static_cast<UndoEntry *>(KZ_MemMalloc(sizeof(UndoEntry) * cap));
        if (grown == nullptr) {
            return nullptr;
        }
        if (undo->count != 0) {
            std::memcpy(grown, undo->entries, sizeof(UndoEntry) * undo->count);
        }
        KZ_MemFree(undo->entries);
        undo->entries = grown;
        undo->cap = cap;
    }
    UndoEntry *e = &undo->entries[undo->count++];
    std::memset(e, 0, sizeof(*e));
    e->kind = kind;
    e->node = node;
    return e;
}

// Flags of the subtree's nodes that belong to the root's module: flag
// inheritance may change any of them.  Nodes of other modules (moved in by
// augments) may be gone by the time the deviation is undone, so they are not
// recorded.
uint32_t SaveSubtreeFlags(DevUndo *undo, KzsNode *root)
{
    for (KzsNode *n = root; n != nullptr; n = kzs_couple_next_in_subtree(root, n)) {
        if (n->module != root->module) {
            continue;
        }
        UndoEntry *e = PushEntry(undo, UNDO_FLAGS, n);
        if (e == nullptr) {
            return KZ_ENOMEM;
        }
        e->flags = n->flags;
    }
    return 0;
}

uint32_t SaveStr(DevUndo *undo, KzDict *dict, uint32_t kind, KzsNode *node, const char *value)
{
    UndoEntry *e = PushEntry(undo, kind, node);
    if (e == nullptr) {
        return KZ_ENOMEM;
    }
    if (value != nullptr) {
        e->str = KZ_DICT_Insert(dict, value);
        if (e->str == nullptr) {
            undo->count--;
            return KZ_ENOMEM;
        }
    }
    return 0;
}

/* Pushes an undo entry holding a copy of one of the node's arrays (nothing
 * when it is empty); `copy` returns null when out of memory. */
template <typename Arr, typename Count, typename Copy>
uint32_t SaveArrayCopy(DevUndo *undo, uint32_t kind, KzsNode *node, uint32_t count, Arr UndoEntry::*arrField,
                       Count UndoEntry::*countField, Copy copy)
{
    UndoEntry *e = PushEntry(undo, kind, node);
    if (e == nullptr) {
        return KZ_ENOMEM;
    }
    if (count != 0) {
        e->*arrField = copy();
        if (e->*arrField == nullptr) {
            undo->count--;
            return KZ_ENOMEM;
        }
        e->*countField = static_cast<Count>(count);
    }
    return 0;
}

uint32_t SaveLeafListDefaults(DevUndo *undo, KzDict *dict, KzsNode *node)
{
    auto *info = static_cast<KzsLeafListInfo *>(node->schemaInfo);
    return SaveArrayCopy(undo, UNDO_LL_DEFAULTS, node, info->defaultCount, &UndoEntry::defaults,
                         &UndoEntry::defaultCount,
                         [&] { return KZS_NODE_CopyDefaults(dict, info->defaults, info->defaultCount); });
}

uint32_t SaveMusts(DevUndo *undo, KzDict *dict, KzsNode *node)
{
    return SaveArrayCopy(undo, UNDO_MUSTS, node, node->mustCount, &UndoEntry::musts, &UndoEntry::mustCount,
                         [&] { return KZS_NODE_CopyMustsArray(dict, node->musts, node->mustCount); });
}

uint32_t SaveExtInsts(DevUndo *undo, KzDict *dict, KzsNode *node)
{
    return SaveArrayCopy(undo, UNDO_EXTINSTS, node, node->extInstCount, &UndoEntry::exts, &UndoEntry::extCount,
                         [&] { return KZS_EXT_CopyExtInsts(dict, node->extInsts, node->extInstCount); });
}

const char **UnitsSlot(KzsNode *node)
{
    if (node->schemaInfo == nullptr) {
        return nullptr;
    }
    if (node->kind == KZS_NODE_LEAF) {
        return &static_cast<KzsLeafInfo *>(node->schemaInfo)->units;
    }
    if (node->kind == KZS_NODE_LEAFLIST) {
        return &static_cast<KzsLeafListInfo *>(node->schemaInfo)->units;
    }
    return nullptr;
}

// Top-level chain a detached node goes back to; kinds never at the top
// fall back to the data nodes.
KzsNode **TopHead(KzMod *mod, uint32_t kind)
{
    if (mod == nullptr) {
        return nullptr;
    }
    KzsNode **head = kzs_mod_top_chain(mod, kind);
    return head != nullptr ? head : &mod->dataNodes;
}

bool InChain(KzsNode *first, const KzsNode *node)
{
    for (KzsNode *n = first; n != nullptr; n = n->next) {
        if (n == node) {
            return true;
        }
    }
    return false;
}

// Links node back after prev (at the head when prev is null or no longer in
// the chain), under parent or in its module's top-level chain.
void RelinkAfter(KzsNode *parent, KzsNode **topHead, KzsNode *prev, KzsNode *node)
{
    KzsNode **head = parent != nullptr ? &parent->firstChild : topHead;
    if (head == nullptr) {
        return;
    }
    if (prev != nullptr && !InChain(*head, prev)) {
        prev = nullptr;
    }
    node->parent = parent;
    node->prev = prev;
    node->next = prev != nullptr ? prev->next : *head;
    if (node->next != nullptr) {
        node->next->prev = node;
    } else if (parent != nullptr) {
        parent->lastChild = node;
    }
    if (prev != nullptr) {
        prev->next = node;
    } else {
        *head = node;
    }
}

void SetOwner(KzsNode *root, KzMod *mod)
{
    for (KzsNode *n = root; n != nullptr; n = kzs_couple_next_in_subtree(root, n)) {
        n->module = mod;
    }
}

void UndoDetach(UndoEntry *e)
{
    KzsNode *node = e->node;
    KzsNode *aug = e->rangeAug;
    if (aug != nullptr && (aug->flags & KZS_NODE_FLAG_AUG_COUPLED) == 0) {
        // The augment that brought the node in has been uncoupled since: the
        // node goes back to the augment, to follow it when it couples again.
        if (e->wasFirst) {
            (void)KZS_NODE_AddAsFirstChild(aug, node);
        } else {
            (void)KZS_NODE_AddChild(aug, node);
        }
        return;
    }
    RelinkAfter(e->parent, e->parent == nullptr ? TopHead(e->owner, node->kind) : nullptr, e->prev, node);
    if (aug != nullptr) {
        if (e->wasFirst) {
            aug->firstChild = node;
        }
        if (e->wasLast) {
            aug->lastChild = node;
        }
    }
}

// Puts one saved member back; the saved value's ownership moves to the node.
void ApplyEntry(KzDict *dict, UndoEntry *e)
{
    KzsNode *node = e->node;
    switch (e->kind) {
    case UNDO_FLAGS:
        node->flags = e->flags;
        break;
    case UNDO_LEAF_DFLT: {
        auto *info = static_cast<KzsLeafInfo *>(node->schemaInfo);
        KZ_DICT_Remove(dict, info->dflt);
        info->dflt = e->str;
        e->str = nullptr;
        break;
    }
    case UNDO_CHOICE_DFLT: {
        auto *info = static_cast<KzsChoiceInfo *>(node->schemaInfo);
        KZ_DICT_Remove(dict, info->defaultCase);
        info->defaultCase = e->str;
        e->str = nullptr;
        break;
    }
    case UNDO_UNITS: {
        const char **slot = UnitsSlot(node);
        KZ_DICT_Remove(dict, *slot);
        *slot = e->str;
        e->str = nullptr;
        break;
    }
    case UNDO_LL_DEFAULTS: {
        auto *info = static_cast<KzsLeafListInfo *>(node->schemaInfo);
        KZS_NODE_FreeDefaults(dict, info->defaults, info->defaultCount);
        info->defaults = e->defaults;
        info->defaultCount = e->defaultCount;
        e->defaults = nullptr;
        break;
    }
    case UNDO_MUSTS:
        KZS_NODE_FreeMusts(dict, node->musts, node->mustCount);
        node->musts = e->musts;
        node->mustCount = e->mustCount;
        e->musts = nullptr;
        break;
    case UNDO_EXTINSTS:
        KZS_EXT_FreeExtInsts(dict, node->extInsts, node->extInstCount);
        node->extInsts = e->exts;
        node->extInstCount = e->extCount;
        e->exts = nullptr;
        break;
    case UNDO_TYPE: {
        auto *rt = static_cast<KztRealType *>(node->schemaInfo);
        KZT_TYPE_DestroyNytRealTypeInner(dict, rt);
        *rt = e->type;
        std::memset(&e->type, 0, sizeof(e->type));
        break;
    }
    case UNDO_DETACH:
        UndoDetach(e);
        e->node = nullptr;
        break;
    default:
        break;
    }
}

// Releases what an entry still holds.  A detached node that was never put
// back is freed; it is handed to the deviating module first because its own
// module may already be gone when a context is deleted.
void DropEntry(KzDict *dict, KzMod *devMod, UndoEntry *e)
{
    KZ_DICT_Remove(dict, e->str);
    KZS_NODE_FreeDefaults(dict, e->defaults, e->defaultCount);
    KZS_NODE_FreeMusts(dict, e->musts, e->mustCount);
    KZS_EXT_FreeExtInsts(dict, e->exts, e->extCount);
    if (e->kind == UNDO_TYPE) {
        KZT_TYPE_DestroyNytRealTypeInner(dict, &e->type);
    }
    if (e->kind == UNDO_DETACH && e->node != nullptr) {
        SetOwner(e->node, devMod);
        KZS_NODE_Free(e->node);
    }
    std::memset(e, 0, sizeof(*e));
}

void FreeUndo(DevUndo *undo)
{
    if (undo == nullptr) {
        return;
    }
    for (uint32_t i = 0; i < undo->count; i++) {
        DropEntry(&undo->ctx->dict, undo->devMod, &undo->entries[i]);
    }
    KZ_MemFree(undo->entries);
    KZ_MemFree(undo);
}

// Applies the log newest first; the names of modules whose removed nodes came
// back are collected so that what depended on those nodes can couple again.
void RollBack(DevUndo *undo, std::vector<const char *> *restored)
{
    for (uint32_t i = undo->count; i-- > 0;) {
        UndoEntry *e = &undo->entries[i];
        if (e->kind == UNDO_DETACH && restored != nullptr && e->owner != nullptr) {
            restored->push_back(e->owner->name);
        }
        ApplyEntry(&undo->ctx->dict, e);
    }
}

void Log(KzMod *mod, const char *format, const KzsNode *target)
{
    KZ_CTX_AddModError(mod->ctx, mod->name, format, target->name);
}

} // namespace

// Couples again what depended on the nodes a rolled-back not-supported put
// back: augments of the modules built on them and, when asked, deviations
// into them.  A failed coupling asks for augments only, so that a deviation
// failing again cannot start over from here.
void kzs_couple_recouple_restored(KzCtx *ctx, const std::vector<const char *> &names, bool withDeviations)
{
    for (const char *name : names) {
        if (KZ_CTX_GetModuleByModName(ctx, name) == nullptr) {
            continue;
        }
        kzs_couple_recouple_dependants(ctx, name, [](KzMod *) { return false; });
        RelationTbl *tbl = KZ_CTX_FindModRelationTbl(ctx, name);
        std::vector<const char *> deviators;
        if (tbl != nullptr && tbl->items != nullptr) {
            RelationItem *it = tbl->items;
            do {
                if (withDeviations && it->kind == KZ_REL_DEVIATE) {
                    deviators.push_back(it->depModName);
                }
                it = it->next;
            } while (it != nullptr && it != tbl->items);
        }
        for (const char *dep : deviators) {
            KzMod *depMod = KZ_CTX_GetModuleByModName(ctx, dep);
            if (depMod == nullptr) {
                continue;
            }
            for (uint16_t i = 0; i < depMod->deviationCount; i++) {
                (void)KZS_MOD_CoupleDeviation(depMod, &depMod->deviations[i]);
            }
        }
    }
}

namespace {

// The one default of a leaf or a choice (its default case).
const char **SingleDefaultSlot(KzsNode *target)
{
    return target->kind == KZS_NODE_LEAF ? &static_cast<KzsLeafInfo *>(target->schemaInfo)->dflt
                                         : &static_cast<KzsChoiceInfo *>(target->schemaInfo)->defaultCase;
}

uint32_t SingleDefaultUndo(const KzsNode *target)
{
    return target->kind == KZS_NODE_LEAF ? UNDO_LEAF_DFLT : UNDO_CHOICE_DFLT;
}

// The three changes of an interned text slot of target (a default or units),
// each saving what the slot held in the undo log first.

// An empty slot gets text.
uint32_t FillSavingEmpty(DevUndo *undo, KzDict *dict, uint32_t kind, KzsNode *target, const char **slot,
                         const char *text)
{
    if (SaveStr(undo, dict, kind, target, nullptr) != 0) {
        return KZ_ENOMEM;
    }
    *slot = KZ_DICT_Insert(dict, text);
    return *slot == nullptr ? KZ_ENOMEM : 0;
}

// A set slot is emptied.
uint32_t ClearSavingOld(DevUndo *undo, KzDict *dict, uint32_t kind, KzsNode *target, const char **slot)
{
    if (SaveStr(undo, dict, kind, target, *slot) != 0) {
        return KZ_ENOMEM;
    }
    KZ_DICT_Remove(dict, *slot);
    *slot = nullptr;
    return 0;
}

// A set slot gets text; an equal text leaves it alone.
uint32_t ReplaceSavingOld(DevUndo *undo, KzDict *dict, uint32_t kind, KzsNode *target, const char **slot,
                          const char *text)
{
    if (kzs_couple_same_text(*slot, text)) {
        return 0;
    }
    const char *value = KZ_DICT_Insert(dict, text);
    if (value == nullptr) {
        return KZ_ENOMEM;
    }
    if (SaveStr(undo, dict, kind, target, *slot) != 0) {
        KZ_DICT_Remove(dict, value);
        return KZ_ENOMEM;
    }
    KZ_DICT_Remove(dict, *slot);
    *slot = value;
    return 0;
}

// ---- add -------------------------------------------------------------------

uint32_t AddDefaults(KzMod *mod, DevUndo *undo, KzsDeviate *dvt, KzsNode *target)
{
    KzDict *dict = Dict(mod);
    switch (target->kind) {
    case KZS_NODE_LEAF:
    case KZS_NODE_CHOICE: {
        bool leaf = target->kind == KZS_NODE_LEAF;
        const char **slot = SingleDefaultSlot(target);
        if (dvt->defaultCount > 1) {
            Log(mod,
                leaf ? "Failed to add default to leaf node \"%s\",  because the number of default to be added > 1."
                     : "Failed to add default to choice node \"%s\", because the number of default to be added > 1.",
                target);
            return 0;
        }
        if (*slot != nullptr) {
            Log(mod,
                leaf ? "Failed to add default to leaf node \"%s\", because it had been set default statement."
                     : "Failed to add default to choice node \"%s\", because it had been set default statement.",
                target);
            return KZ_ERR;
        }
        return FillSavingEmpty(undo, dict, SingleDefaultUndo(target), target, slot, dvt->defaults[0]);
    }
    case KZS_NODE_LEAFLIST: {
        auto *info = static_cast<KzsLeafListInfo *>(target->schemaInfo);
        for (uint16_t i = 0; i < dvt->defaultCount; i++) {
            for (uint32_t j = 0; j < info->defaultCount; j++) {
                if (kzs_couple_same_text(dvt->defaults[i], info->defaults[j])) {
                    Log(mod, "Failed to add default to node \"%s\", because this value already exists.", target);
                    return KZ_ERR;
                }
            }
        }
        if (SaveLeafListDefaults(undo, dict, target) != 0) {
            return KZ_ENOMEM;
        }
        return KZS_NODE_AppendLeaflistDefaults(dict, info, dvt->defaultCount, dvt->defaults) == 0 ? 0 : KZ_ENOMEM;
    }
    default:
        return KZ_ERR;
    }
}

uint32_t AddMusts(KzMod *mod, DevUndo *undo, KzsDeviate *dvt, KzsNode *target)
{
    KzDict *dict = Dict(mod);
    if (SaveMusts(undo, dict, target) != 0) {
        return KZ_ENOMEM;
    }
    for (uint16_t i = 0; i < dvt->mustCount; i++) {
        const KzsMust *m = &dvt->musts[i];
        uint32_t ret = KZS_NODE_AppendOneMust(dict, &target->musts, &target->mustCount, m->cond, m->errMsg, m->errAppTag);
        if (ret != 0) {
            return ret;
        }
    }
    return 0;
}

uint32_t AddUnits(KzMod *mod, DevUndo *undo, KzsDeviate *dvt, KzsNode *target)
{
    const char **slot = UnitsSlot(target);
    if (slot == nullptr) {
        return KZ_ERR;
    }
    if (*slot != nullptr) {
        Log(mod, "Failed to add units to node \"%s\", because it already has units.", target);
        return KZ_ERR;
    }
    return FillSavingEmpty(undo, Dict(mod), UNDO_UNITS, target, slot, dvt->units);
}

void NotifyBeforeExtInst(KzsNode *node)
{
    KzCtx *ctx = node->module != nullptr ? node->module->ctx : nullptr;
    if (ctx != nullptr && ctx->beforeDeviateExtInstFunc != nullptr) {
        ctx->beforeDeviateExtInstFunc(ctx, node);
    }
}

uint32_t AddExtInsts(KzMod *mod, DevUndo *undo, KzsDeviate *dvt, KzsNode *target)
{
    KzDict *dict = Dict(mod);
    NotifyBeforeExtInst(target);
    if (SaveExtInsts(undo, dict, target) != 0 || SaveSubtreeFlags(undo, target) != 0) {
        return KZ_ENOMEM;
    }
    for (uint16_t i = 0; i < dvt->extInstCount; i++) {
        const KzsExtInst *inst = &dvt->extInsts[i];
        uint32_t ret = KZS_EXT_MergeOneExtInstToArray(dict, &target->extInsts, &target->extInstCount, inst);
        if (ret != 0) {
            return ret;
        }
        if (inst->modName != nullptr && std::strcmp(inst->modName, "ietf-netconf-acm") == 0) {
            KZS_NODE_SetNacmFlag(target, inst->modName, inst->extName);
            KZS_NODE_UpdateFlag(target);
        }
    }
    return 0;
}

// ---- delete ----------------------------------------------------------------

uint32_t DelDefaults(KzMod *mod, DevUndo *undo, KzsDeviate *dvt, KzsNode *target)
{
    KzDict *dict = Dict(mod);
    switch (target->kind) {
    case KZS_NODE_LEAF:
    case KZS_NODE_CHOICE: {
        bool leaf = target->kind == KZS_NODE_LEAF;
        const char **slot = SingleDefaultSlot(target);
        if (dvt->defaultCount > 1) {
            Log(mod,
                leaf ? "Failed to delete default from leaf node \"%s\", because the number of defaults to be deleted > 1."
                     : "Failed to delete default from choice node \"%s\", because default number > 1.",
                target);
            return KZ_ERR;
        }
        if (*slot == nullptr) {
            Log(mod,
                leaf ? "Failed to delete default from leaf node \"%s\" without default value."
                     : "Failed to delete default from choice node \"%s\" without default value.",
                target);
            return KZ_ERR;
        }
        if (dvt->defaultCount == 1 && !kzs_couple_same_text(*slot, dvt->defaults[0])) {
            Log(mod,
                leaf ? "Failed to find default value to be deleted in leaf node \"%s\"."
                     : "Failed to find default value to be deleted in choice node \"%s\".",
                target);
            return KZ_ERR;
        }
        return ClearSavingOld(undo, dict, SingleDefaultUndo(target), target, slot);
    }
    case KZS_NODE_LEAFLIST: {
        auto *info = static_cast<KzsLeafListInfo *>(target->schemaInfo);
        if (SaveLeafListDefaults(undo, dict, target) != 0) {
            return KZ_ENOMEM;
        }
        uint32_t capacity = info->defaultCount;
        if (dvt->defaultCount == 0) {
            KZS_NODE_FreeDefaults(dict, info->defaults, info->defaultCount);
            info->defaults = nullptr;
            info->defaultCount = 0;
            return 0;
        }
        uint32_t left = capacity;
        for (uint16_t i = 0; i < dvt->defaultCount; i++) {
            if (left == 0) {
                Log(mod, "Failed to delete default value from leaf-list node \"%s\".", target);
                return KZ_ERR;
            }
            uint32_t j = 0;
            while (j < capacity && !(info->defaults[j] != nullptr && kzs_couple_same_text(info->defaults[j], dvt->defaults[i]))) {
                j++;
            }
            if (j == capacity) {
                Log(mod, "Failed to find default value to be deleted in leaf-list node \"%s\".", target);
                return KZ_ERR;
            }
            KZ_DICT_Remove(dict, info->defaults[j]);
            info->defaults[j] = nullptr;
            left--;
        }
        return KZS_NODE_SubtractLeaflistDefaults(dict, info, capacity, 0);
    }
    default:
        return KZ_ERR;
    }
}

uint32_t DelMusts(KzMod *mod, DevUndo *undo, KzsDeviate *dvt, KzsNode *target)
{
    KzDict *dict = Dict(mod);
    if (SaveMusts(undo, dict, target) != 0) {
        return KZ_ENOMEM;
    }
    uint16_t capacity = target->mustCount;
    for (uint16_t i = 0; i < dvt->mustCount; i++) {
        uint16_t j = 0;
        while (j < capacity &&
               !(target->musts[j].cond != nullptr && kzs_couple_same_text(target->musts[j].cond, dvt->musts[i].cond))) {
            j++;
        }
        if (j == capacity) {
            Log(mod, "Failed to find must condition to be deleted in target node \"%s\".", target);
            return KZ_ERR;
        }
        KZS_NODE_ClearMust(dict, &target->musts[j]);
    }
    return KZS_NODE_SubtractMustsArray(dict, &target->musts, &target->mustCount, capacity);
}

uint32_t DelUnits(KzMod *mod, DevUndo *undo, KzsDeviate *dvt, KzsNode *target)
{
    const char **slot = UnitsSlot(target);
    if (slot == nullptr || *slot == nullptr || !kzs_couple_same_text(*slot, dvt->units)) {
        Log(mod, "Failed to delete units from node \"%s\", because it doesn't have units or the target units.", target);
        return KZ_ERR;
    }
    return ClearSavingOld(undo, Dict(mod), UNDO_UNITS, target, slot);
}

uint32_t DelExtInsts(KzMod *mod, DevUndo *undo, KzsDeviate *dvt, KzsNode *target)
{
    KzDict *dict = Dict(mod);
    NotifyBeforeExtInst(target);
    if (SaveExtInsts(undo, dict, target) != 0) {
        return KZ_ENOMEM;
    }
    uint16_t keep = target->extInstCount;
    for (uint16_t i = 0; i < dvt->extInstCount; i++) {
        KzsExtInst *found = KZS_EXT_FindSameExtInstInArray(target->extInsts, target->extInstCount, &dvt->extInsts[i]);
        if (found == nullptr) {
            return KZ_ERR;
        }
        KZ_DICT_Remove(dict, found->extName);
        found->extName = nullptr;
        keep--;
    }
    return KZS_EXT_SubtractExtInstArray(dict, &target->extInsts, &target->extInstCount, keep);
}

// ---- replace ---------------------------------------------------------------

uint32_t ReplDefaults(KzMod *mod, DevUndo *undo, KzsDeviate *dvt, KzsNode *target)
{
    KzDict *dict = Dict(mod);
    switch (target->kind) {
    case KZS_NODE_LEAF:
    case KZS_NODE_CHOICE: {
        bool leaf = target->kind == KZS_NODE_LEAF;
        const char **slot = SingleDefaultSlot(target);
        if (dvt->defaultCount > 1) {
            Log(mod,
                leaf ? "Failed to replace default of leaf node \"%s\", because the number of defaults to be deleted > 1."
                     : "Failed to replace default of choice node \"%s\", because default number > 1.",
                target);
            return 0;
        }
        if (*slot == nullptr) {
            Log(mod,
                leaf ? "Failed to replace default of leaf node \"%s\" without default value."
                     : "Failed to replace default of choice node \"%s\" without default value.",
                target);
            return KZ_ERR;
        }
        return ReplaceSavingOld(undo, dict, SingleDefaultUndo(target), target, slot, dvt->defaults[0]);
    }
    case KZS_NODE_LEAFLIST: {
        auto *info = static_cast<KzsLeafListInfo *>(target->schemaInfo);
        const char **values = KZS_NODE_CopyDefaults(dict, dvt->defaults, dvt->defaultCount);
        if (values == nullptr || SaveLeafListDefaults(undo, dict, target) != 0) {
            KZS_NODE_FreeDefaults(dict, values, dvt->defaultCount);
            Log(mod, "Failed to replace defaults of leaf-list node \"%s\".", target);
            return KZ_ENOMEM;
        }
        KZS_NODE_FreeDefaults(dict, info->defaults, info->defaultCount);
        info->defaults = values;
        info->defaultCount = dvt->defaultCount;
        return 0;
    }
    default:
        return KZ_ERR;
    }
}

uint32_t ReplType(KzMod *mod, DevUndo *undo, KzsDeviate *dvt, KzsNode *target)
{
    if (target->kind != KZS_NODE_LEAF && target->kind != KZS_NODE_LEAFLIST) {
        return KZ_ERR;
    }
    auto *rt = static_cast<KztRealType *>(target->schemaInfo);
    if (rt == nullptr) {
        return KZ_EINVAL;
    }
    KztRealType copy;
    std::memset(&copy, 0, sizeof(copy));
    uint32_t ret = KZT_TYPE_CopyNytRealTypeInner(Dict(mod), &copy, dvt->type);
    if (ret != 0) {
        KZT_TYPE_DestroyNytRealTypeInner(Dict(mod), &copy);
        return ret;
    }
    UndoEntry *e = PushEntry(undo, UNDO_TYPE, target);
    if (e == nullptr) {
        KZT_TYPE_DestroyNytRealTypeInner(Dict(mod), &copy);
        return KZ_ENOMEM;
    }
    // The original moves into the log whole, so that undoing gives back the
    // very record with its bindings.
    e->type = *rt;
    *rt = copy;
    (void)KZT_TYPE_UpdateRealTypeDerivedFrom(rt, mod);
    return 0;
}

uint32_t ReplUnits(KzMod *mod, DevUndo *undo, KzsDeviate *dvt, KzsNode *target)
{
    const char **slot = UnitsSlot(target);
    if (slot == nullptr || *slot == nullptr) {
        return KZ_ERR;
    }
    return ReplaceSavingOld(undo, Dict(mod), UNDO_UNITS, target, slot, dvt->units);
}

/* One sub-statement kind of a deviate: whether the deviate carries it, how it
 * changes the target, and the message when that fails. */
struct DeviateStep {
    bool (*present)(const KzsDeviate *dvt);
    uint32_t (*apply)(KzMod *mod, DevUndo *undo, KzsDeviate *dvt, KzsNode *target);
    const char *failure;
};

bool HasDefaults(const KzsDeviate *dvt)
{
    return dvt->defaultCount != 0 && dvt->defaults != nullptr;
}

/* Delete takes its defaults step when either the count or the array is set,
 * where add and replace want both. */
bool MentionsDefaults(const KzsDeviate *dvt)
{
    return dvt->defaultCount != 0 || dvt->defaults != nullptr;
}

bool HasMusts(const KzsDeviate *dvt)
{
    return dvt->mustCount != 0 && dvt->musts != nullptr;
}

bool HasUnits(const KzsDeviate *dvt)
{
    return dvt->units != nullptr;
}

bool HasExtInsts(const KzsDeviate *dvt)
{
    return dvt->extInstCount != 0 && dvt->extInsts != nullptr;
}

bool HasType(const KzsDeviate *dvt)
{
    return dvt->type != nullptr;
}

constexpr DeviateStep kAddSteps[] = {
    {HasDefaults, AddDefaults, "Failed to add default statements to node \"%s\"."},
    {HasMusts, AddMusts, "Failed to add must statements to node \"%s\"."},
    {HasUnits, AddUnits, "Failed to add units statement to node \"%s\"."},
    {HasExtInsts, AddExtInsts, "Failed to deviate-add extension-instance to node \"%s\"."},
};

constexpr DeviateStep kDelSteps[] = {
    {MentionsDefaults, DelDefaults, "Failed to delete default from node \"%s\"."},
    {HasMusts, DelMusts, "Failed to delete must from node \"%s\"."},
    {HasUnits, DelUnits, "Failed to delete units from node \"%s\"."},
    {HasExtInsts, DelExtInsts, "Failed to delete extension-instance to node \"%s\"."},
};

constexpr DeviateStep kReplSteps[] = {
    {HasDefaults, ReplDefaults, "Failed to replace default of node \"%s\"."},
    {HasType, ReplType, "Failed to replace type of node \"%s\"."},
    {HasUnits, ReplUnits, "Failed to replace units of node \"%s\"."},
};

/* Applies the steps the deviate carries, in order; the first failure is logged and ends the run. */
template <size_t N>
uint32_t RunDeviateSteps(KzMod *mod, DevUndo *undo, KzsDeviate *dvt, KzsNode *target, const DeviateStep (&steps)[N])
{
    for (const DeviateStep &step : steps) {
        if (!step.present(dvt)) {
            continue;
        }
        uint32_t ret = step.apply(mod, undo, dvt, target);
        if (ret != 0) {
            Log(mod, step.failure, target);
            return ret;
        }
    }
    return 0;
}

constexpr KzsCoupleDeviateFunc kDeviateFuncs[] = {
    nullptr,
    KZS_MOD_CoupleDevAdd,
    KZS_MOD_CoupleDevDel,
    KZS_MOD_CoupleDevNotSup,
    KZS_MOD_CoupleDevRepl,
};

std::vector<KzsDeviation *> CoupledNewestFirst(KzMod *mod, const char *targetMod)
{
    std::vector<KzsDeviation *> devs;
    for (uint16_t i = 0; i < mod->deviationCount; i++) {
        KzsDeviation *dev = &mod->deviations[i];
        if ((dev->flags & KZS_DEVIATION_FLAG_COUPLED) == 0) {
            continue;
        }
        if (targetMod != nullptr) {
            char name[KZS_COUPLE_MOD_NAME_BUF];
            if (kzs_couple_target_module(dev->target, name) != 0 || std::strcmp(name, targetMod) != 0) {
                continue;
            }
        }
        devs.push_back(dev);
    }
    std::sort(devs.begin(), devs.end(), [](const KzsDeviation *a, const KzsDeviation *b) {
        return kzs_couple_deviation_seq(a) > kzs_couple_deviation_seq(b);
    });
    return devs;
}

} // namespace

uint64_t kzs_couple_deviation_seq(const KzsDeviation *dev)
{
    const auto *undo = static_cast<const DevUndo *>(dev->undo);
    return ((dev->flags & KZS_DEVIATION_FLAG_COUPLED) != 0 && undo != nullptr) ? undo->seq : 0;
}

KzsCoupleDeviateFunc KZS_MOD_GetCoupleDeviateFunc(uint32_t kind)
{
    return kind < sizeof(kDeviateFuncs) / sizeof(kDeviateFuncs[0]) ? kDeviateFuncs[kind] : nullptr;
}

void KZS_NODE_NotifyBeforeDeviateNotSupport(KzsNode *node)
{
    KzCtx *ctx = (node != nullptr && node->module != nullptr) ? node->module->ctx : nullptr;
    if (ctx != nullptr && ctx->beforeDeviateNotSupportFunc != nullptr) {
        ctx->beforeDeviateNotSupportFunc(ctx, node);
    }
}

uint32_t KZS_MOD_AddNodeMandatory(KzMod *mod, KzsNode *target, uint16_t mandatoryBits)
{
    if (mod == nullptr || target == nullptr) {
        return KZ_EINVAL;
    }
    if ((target->flags & MANDATORY_BITS) != 0) {
        Log(mod, "Failed to add mandatory flag to node \"%s\".", target);
        return KZ_ERR;
    }
    target->flags |= (mandatoryBits & MANDATORY_BITS);
    return 0;
}

uint32_t KZS_MOD_CoupleDevAddFlag(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target)
{
    if (mod == nullptr || dev == nullptr || dvt == nullptr || target == nullptr) {
        return KZ_EINVAL;
    }
    DevUndo *undo = UndoOf(dev);
    if ((dvt->flags & CONFIG_BITS) != 0) {
        if ((target->flags & KZS_NODE_FLAG_CONFIG_SET) != 0) {
            Log(mod, "Failed to add config to node \"%s\", because it had been set config statement.", target);
            return KZ_ERR;
        }
        if (SaveSubtreeFlags(undo, target) != 0) {
            return KZ_ENOMEM;
        }
        target->flags = (target->flags & ~static_cast<uint32_t>(CONFIG_ALL)) | (dvt->flags & CONFIG_ALL);
        KZS_NODE_UpdateFlag(target);
    }
    if ((dvt->flags & MANDATORY_BITS) != 0) {
        if ((target->flags & MANDATORY_BITS) == 0) {
            UndoEntry *e = PushEntry(undo, UNDO_FLAGS, target);
            if (e == nullptr) {
                return KZ_ENOMEM;
            }
            e->flags = target->flags;
        }
        return KZS_MOD_AddNodeMandatory(mod, target, dvt->flags & MANDATORY_BITS);
    }
    return 0;
}

uint32_t KZS_MOD_CoupleDevReplFlag(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target)
{
    if (mod == nullptr || dev == nullptr || dvt == nullptr || target == nullptr) {
        return KZ_EINVAL;
    }
    DevUndo *undo = UndoOf(dev);
    if ((dvt->flags & CONFIG_BITS) != 0 && (dvt->flags & CONFIG_BITS) != (target->flags & CONFIG_BITS)) {
        if (SaveSubtreeFlags(undo, target) != 0) {
            return KZ_ENOMEM;
        }
        target->flags = (target->flags & ~static_cast<uint32_t>(CONFIG_ALL)) | (dvt->flags & CONFIG_ALL);
        KZS_NODE_UpdateFlag(target);
    }
    if ((dvt->flags & MANDATORY_BITS) != 0) {
        UndoEntry *e = PushEntry(undo, UNDO_FLAGS, target);
        if (e == nullptr) {
            return KZ_ENOMEM;
        }
        e->flags = target->flags;
        target->flags = (target->flags & ~static_cast<uint32_t>(MANDATORY_BITS)) | (dvt->flags & MANDATORY_BITS);
    }
    return 0;
}

uint32_t KZS_MOD_CoupleDevAdd(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target)
{
    if (mod == nullptr || mod->ctx == nullptr || dev == nullptr || dvt == nullptr || target == nullptr) {
        return KZ_EINVAL;
    }
    if ((dvt->flags & (CONFIG_BITS | MANDATORY_BITS)) != 0) {
        uint32_t ret = KZS_MOD_CoupleDevAddFlag(mod, dev, dvt, target);
        if (ret != 0) {
            Log(mod, "Failed to add config or mandatory to node \"%s\".", target);
            return ret;
        }
    }
    return RunDeviateSteps(mod, UndoOf(dev), dvt, target, kAddSteps);
}

uint32_t KZS_MOD_CoupleDevDel(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target)
{
    if (mod == nullptr || mod->ctx == nullptr || dev == nullptr || dvt == nullptr || target == nullptr) {
        return KZ_EINVAL;
    }
    return RunDeviateSteps(mod, UndoOf(dev), dvt, target, kDelSteps);
}

uint32_t KZS_MOD_CoupleDevRepl(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target)
{
    if (mod == nullptr || mod->ctx == nullptr || dev == nullptr || dvt == nullptr || target == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t ret = KZS_MOD_CoupleDevReplFlag(mod, dev, dvt, target);
    if (ret != 0) {
        return ret;
    }
    return RunDeviateSteps(mod, UndoOf(dev), dvt, target, kReplSteps);
}

uint32_t KZS_MOD_RemoveAllModAugmentStartsWithDeviationPath(KzMod *mod, const char *path)
{
    if (mod == nullptr || mod->ctx == nullptr || path == nullptr) {
        return KZ_EINVAL;
    }
    KzCtx *ctx = mod->ctx;
    KzsNode *root = KZ_CTX_GetTargetNode(ctx, path, nullptr);
    if (root == nullptr) {
        return 0;
    }
    const char **names = nullptr;
    uint32_t count = 0;
    uint32_t ret = KZ_CTX_CollectDepModNamesRecursive(ctx, mod->name, KZ_REL_AUGMENT, &names, &count);
    if (ret != 0) {
        return ret;
    }
    // Collected first and uncoupled afterwards: uncoupling an enclosing
    // augment moves the targets of the augments nested in it.
    std::vector<KzsNode *> found;
    for (uint32_t i = 0; i < count && names != nullptr; i++) {
        KzMod *dep = KZ_CTX_GetModuleByModName(ctx, names[i]);
        if (dep == nullptr) {
            continue;
        }
        for (KzsNode *aug = dep->augments; aug != nullptr; aug = aug->next) {
            if ((aug->flags & KZS_NODE_FLAG_AUG_COUPLED) == 0) {
                continue;
            }
            const KzsNode *tgt = aug->firstChild != nullptr ? aug->firstChild->parent
                                                            : KZ_CTX_GetTargetNode(ctx, aug->name, nullptr);
            if (tgt != nullptr && kzs_couple_is_in_subtree(root, tgt)) {
                found.push_back(aug);
            }
        }
    }
    KZ_MemFree(names);
    for (KzsNode *aug : found) {
        kzs_couple_force_uncouple(aug);
    }
    return 0;
}

uint32_t KZS_MOD_CoupleDevNotSup(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target)
{
    (void)dvt;
    if (mod == nullptr || mod->ctx == nullptr || dev == nullptr || target == nullptr) {
        return KZ_EINVAL;
    }
    if (target->kind == KZS_NODE_AUGMENT) {
        return KZ_EINVAL;
    }
    KZS_NODE_NotifyBeforeDeviateNotSupport(target);
    KzMod *owner = target->module;
    // Augments of other modules that sit at or below the target leave first:
    // they take their nodes back and couple again when the target returns.
    uint32_t ret = KZS_MOD_RemoveAllModAugmentStartsWithDeviationPath(owner, dev->target);
    if (ret != 0) {
        return ret;
    }
    UndoEntry *e = PushEntry(UndoOf(dev), UNDO_DETACH, target);
    if (e == nullptr) {
        return KZ_ENOMEM;
    }
    e->parent = target->parent;
    e->prev = target->prev;
    e->owner = owner;
    for (KzsNode *aug = owner != nullptr ? owner->augments : nullptr; aug != nullptr; aug = aug->next) {
        if ((aug->flags & KZS_NODE_FLAG_AUG_COUPLED) != 0 && kzs_couple_in_aug_range(aug, target)) {
            e->rangeAug = aug;
            e->wasFirst = (aug->firstChild == target);
            e->wasLast = (aug->lastChild == target);
            KZS_NODE_RemoveCoupledAugmentNodeChildLink(aug, target);
            break;
        }
    }
    // The subtree is kept detached rather than freed so that the deviation
    // can be undone; it is freed with the deviation's undo log.
    KZS_NODE_Unlink(target);
    return 0;
}

uint32_t KZS_MOD_RefreshDeviateDefaults(KzMod *mod, KzsDeviate *dvt, KzsNode *target)
{
    if (mod == nullptr || mod->ctx == nullptr || dvt == nullptr || target == nullptr) {
        return KZ_EINVAL;
    }
    if (dvt->defaults == nullptr || dvt->defaultCount == 0 ||
        (target->kind != KZS_NODE_LEAF && target->kind != KZS_NODE_LEAFLIST) || target->schemaInfo == nullptr) {
        return 0;
    }
    if (!KZT_TYPE_IsTypeWithIdentref(static_cast<const KztRealType *>(target->schemaInfo))) {
        return 0;
    }
    KzDict *dict = Dict(mod);
    for (uint16_t i = 0; i < dvt->defaultCount; i++) {
        const char *value = dvt->defaults[i];
        if (value == nullptr) {
            continue;
        }
        // A value already in module-name form has no prefix that resolves and
        // stays as it is, so refreshing twice changes nothing.
        char *converted = KZS_MOD_ConvertPrefixValToJsonFormat(mod, value);
        if (converted == nullptr) {
            continue;
        }
        if (std::strcmp(converted, value) != 0) {
            const char *interned = KZ_DICT_Insert(dict, converted);
            if (interned == nullptr) {
                KZ_MemFree(converted);
                return KZ_ENOMEM;
            }
            KZ_DICT_Remove(dict, value);
            dvt->defaults[i] = interned;
        }
        KZ_MemFree(converted);
    }
    return 0;
}

uint32_t KZS_MOD_CoupleDeviate(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target)
{
    if (mod == nullptr || dev == nullptr || dvt == nullptr || target == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t ret = KZS_MOD_RefreshDeviateDefaults(mod, dvt, target);
    if (ret != 0) {
        return ret;
    }
    KzsCoupleDeviateFunc func = KZS_MOD_GetCoupleDeviateFunc(dvt->kind);
    if (func == nullptr) {
        return KZ_ERR;
    }
    return func(mod, dev, dvt, target);
}

uint32_t KZS_MOD_CoupleDeviation(KzMod *mod, KzsDeviation *dev)
{
    if (mod == nullptr || mod->ctx == nullptr || dev == nullptr) {
        return KZ_EINVAL;
    }
    if ((dev->flags & KZS_DEVIATION_FLAG_COUPLED) != 0) {
        return 0;
    }
    KzCtx *ctx = mod->ctx;
    KzsNode *target = KZ_CTX_GetTargetNode(ctx, dev->target, nullptr);
    if (target == nullptr) {
        return 0;
    }
    FreeUndo(UndoOf(dev));
    auto *undo = static_cast<DevUndo *>(KZ_MemMalloc(sizeof(DevUndo)));
    if (undo == nullptr) {
        dev->undo = nullptr;
        return KZ_ENOMEM;
    }
    std::memset(undo, 0, sizeof(*undo));
    undo->ctx = ctx;
    undo->devMod = mod;
    dev->undo = undo;

    uint32_t ret = 0;
    {
        DeviateStage stage(ctx);
        for (uint16_t i = 0; i < dev->deviateCount && ret == 0; i++) {
            ret = KZS_MOD_CoupleDeviate(mod, dev, &dev->deviates[i], target);
        }
    }

    if (ret != 0) {
        // A deviation applies whole or not at all: what its earlier deviates
        // changed is put back, so that a later attempt starts from the same
        // target.
        std::vector<const char *> restored;
        RollBack(undo, &restored);
        FreeUndo(undo);
        dev->undo = nullptr;
        kzs_couple_recouple_restored(ctx, restored, false);
        return ret;
    }
    undo->seq = ++ctx->devCoupleSeq;
    dev->flags |= KZS_DEVIATION_FLAG_COUPLED;
    return 0;
}

uint32_t kzs_couple_undo_deviation(KzMod *mod, KzsDeviation *dev, const char **restoredModOut)
{
    if (restoredModOut != nullptr) {
        *restoredModOut = nullptr;
    }
    if (mod == nullptr || dev == nullptr || (dev->flags & KZS_DEVIATION_FLAG_COUPLED) == 0) {
        return KZ_EINVAL;
    }
    DevUndo *undo = UndoOf(dev);
    std::vector<const char *> restored;
    if (undo != nullptr) {
        RollBack(undo, &restored);
        FreeUndo(undo);
    }
    dev->undo = nullptr;
    dev->flags &= ~KZS_DEVIATION_FLAG_COUPLED;
    if (restoredModOut != nullptr && !restored.empty()) {
        *restoredModOut = restored.front();
    }
    return 0;
}

std::vector<KzsDevRef> kzs_couple_undo_deviations(KzCtx *ctx, const std::vector<KzsDevRef> &devs,
                                                 std::vector<const char *> *restored)
{
    std::vector<KzsDevRef> others;
    if (ctx == nullptr || devs.empty()) {
        return others;
    }
    uint64_t oldest = UINT64_MAX;
    for (const KzsDevRef &r : devs) {
        oldest = std::min(oldest, kzs_couple_deviation_seq(r.dev));
    }
    // A deviation's saved state holds what the deviations coupled before it
    // made; those coupled after it saved states that include its changes.
    // So everything from the oldest one on comes off, newest first, and the
    // deviations not asked for are handed back to be coupled again.
    std::vector<KzsDevRef> stack;
    for (KzMod *mod = KZ_CTX_GetFirstModule(ctx); mod != nullptr; mod = KZ_CTX_GetNextModule(ctx, mod)) {
        for (uint16_t i = 0; i < mod->deviationCount; i++) {
            KzsDeviation *dev = &mod->deviations[i];
            if ((dev->flags & KZS_DEVIATION_FLAG_COUPLED) != 0 && kzs_couple_deviation_seq(dev) >= oldest) {
                stack.push_back({mod, dev});
            }
        }
    }
    std::sort(stack.begin(), stack.end(), [](const KzsDevRef &a, const KzsDevRef &b) {
        return kzs_couple_deviation_seq(a.dev) > kzs_couple_deviation_seq(b.dev);
    });
    for (const KzsDevRef &r : stack) {
        bool asked = std::any_of(devs.begin(), devs.end(), [&](const KzsDevRef &d) { return d.dev == r.dev; });
        const char *owner = nullptr;
        (void)kzs_couple_undo_deviation(r.mod, r.dev, &owner);
        if (owner != nullptr && restored != nullptr &&
            std::find(restored->begin(), restored->end(), owner) == restored->end()) {
            restored->push_back(owner);
        }
        if (!asked) {
            others.push_back(r);
        }
    }
    std::reverse(others.begin(), others.end());
    return others;
}

void kzs_couple_redo_deviations(const std::vector<KzsDevRef> &devs)
{
    for (const KzsDevRef &r : devs) {
        (void)KZS_MOD_CoupleDeviation(r.mod, r.dev);
    }
}

namespace {

void UndoAndRedo(KzCtx *ctx, const std::vector<KzsDevRef> &devs)
{
    std::vector<const char *> restored;
    std::vector<KzsDevRef> others = kzs_couple_undo_deviations(ctx, devs, &restored);
    // Augments first: later deviations may target nodes they bring.  The
    // undone deviations themselves must not be coupled again here.
    kzs_couple_recouple_restored(ctx, restored, false);
    kzs_couple_redo_deviations(others);
}

} // namespace

uint32_t KZS_MOD_UnCoupleDeviation(KzMod *mod, KzsDeviation *dev)
{
    if (mod == nullptr || mod->ctx == nullptr || dev == nullptr || (dev->flags & KZS_DEVIATION_FLAG_COUPLED) == 0) {
        return KZ_EINVAL;
    }
    UndoAndRedo(mod->ctx, {{mod, dev}});
    return 0;
}

void KZS_MOD_FreeDeviationUndo(KzsDeviation *dev)
{
    if (dev == nullptr) {
        return;
    }
    FreeUndo(UndoOf(dev));
    dev->undo = nullptr;
    dev->flags &= ~KZS_DEVIATION_FLAG_COUPLED;
}

uint32_t KZS_MOD_CheckTwoDeviationSame(const KzsDeviation *a, const KzsDeviation *b)
{
    if (a == nullptr || b == nullptr) {
        return 0;
    }
    return kzs_couple_same_text(a->target, b->target) ? 1 : 0;
}

uint32_t KZS_MOD_CoupleDeviationFromDepMods(KzCtx *ctx, const char *modName, const char *depModName, void *arg)
{
    (void)modName;
    (void)arg;
    KzMod *dep = KZ_CTX_GetModuleByModName(ctx, depModName);
    if (dep == nullptr) {
        return KZ_ERR;
    }
    for (uint16_t i = 0; i < dep->deviationCount; i++) {
        KzsDeviation *dev = &dep->deviations[i];
        char target[KZS_COUPLE_MOD_NAME_BUF];
        // The relation is kept even while the target is missing, so that the
        // target module's arrival couples the deviation.
        if (kzs_couple_target_module(dev->target, target) == 0 && std::strcmp(target, dep->name) != 0) {
            (void)KZ_CTX_AddTwoModRelation(ctx, target, dep->name, KZ_REL_DEVIATE);
        }
        (void)KZS_MOD_CoupleDeviation(dep, dev);
    }
    return 0;
}

uint32_t KZS_MOD_UnCoupleDeviationFromDepMods(KzCtx *ctx, const char *modName, const char *depModName, void *arg)
{
    (void)arg;
    KzMod *dep = KZ_CTX_GetModuleByModName(ctx, depModName);
    if (dep == nullptr) {
        return KZ_ERR;
    }
    std::vector<KzsDevRef> devs;
    for (KzsDeviation *dev : CoupledNewestFirst(dep, modName)) {
        devs.push_back({dep, dev});
    }
    UndoAndRedo(ctx, devs);
    return 0;
}

void KZS_MOD_UnCoupleAllDeviations(KzMod *mod)
{
    if (mod == nullptr) {
        return;
    }
    for (KzsDeviation *dev : CoupledNewestFirst(mod, nullptr)) {
        (void)kzs_couple_undo_deviation(mod, dev, nullptr);
    }
}
