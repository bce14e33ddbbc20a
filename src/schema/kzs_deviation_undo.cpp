/* Undo log of a coupled deviation: its entries, how each is saved, put back and released. */
#include "schema/kzs_deviation_undo.h"

#include <cstring>
#include <new>

#include "base/kz_alloc.h"
#include "base/kz_mem.h"
#include "schema/kzs_node.h"
#include "schema/kzs_node_subtree.h"
#include "types/kzt_type.h"

namespace kz::schema {

namespace {

enum EntryKind : uint32_t {
    ENTRY_FLAGS,       // node flags word
    ENTRY_TEXT,        // a default or units (TextSlot)
    ENTRY_LL_DEFAULTS, // leaf-list default array
    ENTRY_MUSTS,       // must array
    ENTRY_EXTINSTS,    // extension-instance array
    ENTRY_TYPE,        // real type of a leaf or leaf-list
    ENTRY_DETACH,      // node removed from its tree (not-supported)
};

void SetOwner(KzsNode *root, KzMod *mod)
{
    for (KzsNode *n = root; n != nullptr; n = NextInSubtree(root, n)) {
        n->module = mod;
    }
}

// Top-level chain a detached node goes back to; kinds never at the top
// fall back to the data nodes.
KzsNode **TopHead(KzMod *mod, uint32_t kind)
{
    if (mod == nullptr) {
        return nullptr;
    }
    KzsNode **head = kz::schema::TopChain(mod, kind);
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

void Reattach(KzsNode *node, const DetachedPlace &place)
{
    KzsNode *aug = place.rangeAug;
    if (aug != nullptr && (aug->flags & KZS_NODE_FLAG_AUG_COUPLED) == 0) {
        // The augment that brought the node in has been uncoupled since: the
        // node goes back to the augment, to follow it when it couples again.
        if (place.wasFirst) {
            (void)KZS_NODE_AddAsFirstChild(aug, node);
        } else {
            (void)KZS_NODE_AddChild(aug, node);
        }
        return;
    }
    RelinkAfter(place.parent, place.parent == nullptr ? TopHead(place.owner, node->kind) : nullptr, place.prev, node);
    if (aug != nullptr) {
        if (place.wasFirst) {
            aug->firstChild = node;
        }
        if (place.wasLast) {
            aug->lastChild = node;
        }
    }
}

} // namespace

struct DeviationUndoLog::Entry {
    uint32_t kind;
    KzsNode *node;
    uint32_t flags;
    TextSlot slot;
    const char *str; // a reference of its own in the dictionary
    const char **defaults;
    uint32_t defaultCount;
    KzsMust *musts;
    uint16_t mustCount;
    uint16_t extCount;
    KzsExtInst *exts;
    KztRealType type;
    DetachedPlace place;
};

const char **TextSlotOf(KzsNode *node, TextSlot which)
{
    switch (which) {
    case TextSlot::LeafDefault:
        return &static_cast<KzsLeafInfo *>(node->schemaInfo)->dflt;
    case TextSlot::ChoiceDefault:
        return &static_cast<KzsChoiceInfo *>(node->schemaInfo)->defaultCase;
    case TextSlot::Units:
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
    return nullptr;
}

DeviationUndoLog *DeviationUndoLog::Create(KzCtx *ctx, KzMod *devMod)
{
    void *mem = KZ_MemMalloc(sizeof(DeviationUndoLog));
    return mem != nullptr ? new (mem) DeviationUndoLog(ctx, devMod) : nullptr;
}

void DeviationUndoLog::Destroy(DeviationUndoLog *log)
{
    kz::DeleteObject(log);
}

DeviationUndoLog *DeviationUndoLog::Of(const KzsDeviation *dev)
{
    return static_cast<DeviationUndoLog *>(dev->undo);
}

DeviationUndoLog::~DeviationUndoLog()
{
    for (uint32_t i = 0; i < count_; i++) {
        Release(&entries_[i]);
    }
    KZ_MemFree(entries_);
}

DeviationUndoLog::Entry *DeviationUndoLog::Push(uint32_t kind, KzsNode *node)
{
    if (count_ == cap_) {
        uint32_t cap = cap_ == 0 ? 8 : cap_ * 2;
        auto *grown = static_cast<Entry *>(KZ_MemMalloc(sizeof(Entry) * cap));
        if (grown == nullptr) {
            return nullptr;
        }
        if (count_ != 0) {
            std::memcpy(grown, entries_, sizeof(Entry) * count_);
        }
        KZ_MemFree(entries_);
        entries_ = grown;
        cap_ = cap;
    }
    Entry *e = &entries_[count_++];
    std::memset(e, 0, sizeof(*e));
    e->kind = kind;
    e->node = node;
    return e;
}

uint32_t DeviationUndoLog::SaveFlags(KzsNode *node)
{
    Entry *e = Push(ENTRY_FLAGS, node);
    if (e == nullptr) {
        return KZ_ENOMEM;
    }
    e->flags = node->flags;
    return 0;
}

uint32_t DeviationUndoLog::SaveSubtreeFlags(KzsNode *root)
{
    for (KzsNode *n = root; n != nullptr; n = NextInSubtree(root, n)) {
        if (n->module == root->module && SaveFlags(n) != 0) {
            return KZ_ENOMEM;
        }
    }
    return 0;
}

uint32_t DeviationUndoLog::SaveText(KzsNode *node, TextSlot which)
{
    Entry *e = Push(ENTRY_TEXT, node);
    if (e == nullptr) {
        return KZ_ENOMEM;
    }
    e->slot = which;
    const char *value = *TextSlotOf(node, which);
    if (value != nullptr) {
        e->str = KZ_DICT_Insert(Dict(), value);
        if (e->str == nullptr) {
            DropLast();
            return KZ_ENOMEM;
        }
    }
    return 0;
}

/* Saves a copy of one of the node's arrays (nothing when it is empty); `copy`
 * returns null when out of memory. */
template <typename Arr, typename Count, typename Copy>
uint32_t DeviationUndoLog::SaveArrayCopy(uint32_t kind, KzsNode *node, uint32_t count, Arr Entry::*arrField,
                                         Count Entry::*countField, Copy copy)
{
    Entry *e = Push(kind, node);
    if (e == nullptr) {
        return KZ_ENOMEM;
    }
    if (count != 0) {
        e->*arrField = copy();
        if (e->*arrField == nullptr) {
            DropLast();
            return KZ_ENOMEM;
        }
        e->*countField = static_cast<Count>(count);
    }
    return 0;
}

uint32_t DeviationUndoLog::SaveLeafListDefaults(KzsNode *node)
{
    auto *info = static_cast<KzsLeafListInfo *>(node->schemaInfo);
    return SaveArrayCopy(ENTRY_LL_DEFAULTS, node, info->defaultCount, &Entry::defaults, &Entry::defaultCount,
                         [&] { return KZS_NODE_CopyDefaults(Dict(), info->defaults, info->defaultCount); });
}

uint32_t DeviationUndoLog::SaveMusts(KzsNode *node)
{
    return SaveArrayCopy(ENTRY_MUSTS, node, node->mustCount, &Entry::musts, &Entry::mustCount,
                         [&] { return KZS_NODE_CopyMustsArray(Dict(), node->musts, node->mustCount); });
}

uint32_t DeviationUndoLog::SaveExtInsts(KzsNode *node)
{
    return SaveArrayCopy(ENTRY_EXTINSTS, node, node->extInstCount, &Entry::exts, &Entry::extCount,
                         [&] { return KZS_EXT_CopyExtInsts(Dict(), node->extInsts, node->extInstCount); });
}

uint32_t DeviationUndoLog::SaveTypeReplacing(KzsNode *node, const KztRealType &replacement)
{
    Entry *e = Push(ENTRY_TYPE, node);
    if (e == nullptr) {
        return KZ_ENOMEM;
    }
    auto *rt = static_cast<KztRealType *>(node->schemaInfo);
    e->type = *rt;
    *rt = replacement;
    return 0;
}

uint32_t DeviationUndoLog::SaveDetached(KzsNode *node, const DetachedPlace &place)
{
    Entry *e = Push(ENTRY_DETACH, node);
    if (e == nullptr) {
        return KZ_ENOMEM;
    }
    e->place = place;
    return 0;
}

// Puts one saved member back; the saved value's ownership moves to the node.
void DeviationUndoLog::Apply(Entry *e)
{
    KzDict *dict = Dict();
    KzsNode *node = e->node;
    switch (e->kind) {
    case ENTRY_FLAGS:
        node->flags = e->flags;
        break;
    case ENTRY_TEXT: {
        const char **slot = TextSlotOf(node, e->slot);
        KZ_DICT_Remove(dict, *slot);
        *slot = e->str;
        e->str = nullptr;
        break;
    }
    case ENTRY_LL_DEFAULTS: {
        auto *info = static_cast<KzsLeafListInfo *>(node->schemaInfo);
        KZS_NODE_FreeDefaults(dict, info->defaults, info->defaultCount);
        info->defaults = e->defaults;
        info->defaultCount = e->defaultCount;
        e->defaults = nullptr;
        break;
    }
    case ENTRY_MUSTS:
        KZS_NODE_FreeMusts(dict, node->musts, node->mustCount);
        node->musts = e->musts;
        node->mustCount = e->mustCount;
        e->musts = nullptr;
        break;
    case ENTRY_EXTINSTS:
        KZS_EXT_FreeExtInsts(dict, node->extInsts, node->extInstCount);
        node->extInsts = e->exts;
        node->extInstCount = e->extCount;
        e->exts = nullptr;
        break;
    case ENTRY_TYPE: {
        auto *rt = static_cast<KztRealType *>(node->schemaInfo);
        KZT_TYPE_DestroyNytRealTypeInner(dict, rt);
        *rt = e->type;
        std::memset(&e->type, 0, sizeof(e->type));
        break;
    }
    case ENTRY_DETACH:
        Reattach(node, e->place);
        e->node = nullptr;
        break;
    default:
        break;
    }
}

void DeviationUndoLog::Release(Entry *e)
{
    KzDict *dict = Dict();
    KZ_DICT_Remove(dict, e->str);
    KZS_NODE_FreeDefaults(dict, e->defaults, e->defaultCount);
    KZS_NODE_FreeMusts(dict, e->musts, e->mustCount);
    KZS_EXT_FreeExtInsts(dict, e->exts, e->extCount);
    if (e->kind == ENTRY_TYPE) {
        KZT_TYPE_DestroyNytRealTypeInner(dict, &e->type);
    }
    if (e->kind == ENTRY_DETACH && e->node != nullptr) {
        SetOwner(e->node, devMod_);
        KZS_NODE_Free(e->node);
    }
    std::memset(e, 0, sizeof(*e));
}

void DeviationUndoLog::RollBack(std::vector<const char *> *restored)
{
    for (uint32_t i = count_; i-- > 0;) {
        Entry *e = &entries_[i];
        if (e->kind == ENTRY_DETACH && restored != nullptr && e->place.owner != nullptr) {
            restored->push_back(e->place.owner->name);
        }
        Apply(e);
    }
    // Every entry has handed what it held to its node.
    count_ = 0;
}

} /* namespace kz::schema */
