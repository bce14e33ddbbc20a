/* Schema node record: creation, destruction and links between nodes. */
#include <cstring>

#include "schema/kzs_internal.h"
#include "types/kzt_type.h"
#include "base/kz_kit.h"

using namespace kz::schema;

namespace {

using DestroyInfoFunc = void (*)(KzDict *, void *);

constexpr DestroyInfoFunc kDestroyInfo[KZS_NODE_KIND_MAX + 1] = {
    nullptr, nullptr, KZS_NODE_DestroySchemaLeaf, KZS_NODE_DestroySchemaLeaflist, nullptr,
    KZS_NODE_DestroySchemaChoice, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
};

/* Releases everything a node owns except its children and the record itself. */
void ReleaseNodeContent(KzCtx *ctx, KzsNode *node)
{
    KzDict *dict = &ctx->dict;
    KZS_NODE_DestroyPrivateData(ctx, node);
    DictDrop(dict, node->name);
    DictDrop(dict, node->description);
    DictDrop(dict, node->when);
    FreeArrayAndClear(dict, node->ifFeatures, node->ifFeatureCount, KZS_NODE_FreeIfFeatures);
    FreeArrayAndClear(dict, node->musts, node->mustCount, KZS_NODE_FreeMusts);
    FreeArrayAndClear(dict, node->extInsts, node->extInstCount, KZS_EXT_FreeExtInsts);
    KZS_NODE_DestroySchemaInfo(node);
}

bool IsFreeable(const KzsNode *node)
{
    return node != nullptr && node->module != nullptr && node->module->ctx != nullptr &&
           (node->flags & KZS_NODE_FLAG_AUG_COUPLED) == 0;
}

} // namespace

extern "C" {

uint32_t KZS_NODE_GetInfoSize(uint32_t kind)
{
    switch (kind) {
        case KZS_NODE_LEAF:
            return sizeof(KzsLeafInfo);
        case KZS_NODE_LEAFLIST:
            return sizeof(KzsLeafListInfo);
        case KZS_NODE_CHOICE:
            return sizeof(KzsChoiceInfo);
        default:
            return 0;
    }
}

KzsNode *KZS_NODE_New(uint32_t kind)
{
    if (kind > KZS_NODE_KIND_MAX) {
        return nullptr;
    }
    KzsNode *node = kz::ZeroAlloc<KzsNode>();
    if (node == nullptr) {
        return nullptr;
    }
    node->kind = kind;
    uint32_t infoSize = KZS_NODE_GetInfoSize(kind);
    if (infoSize != 0) {
        node->schemaInfo = kz::ZeroAlloc<unsigned char>(infoSize);
        if (node->schemaInfo == nullptr) {
            KZ_MemFree(node);
            return nullptr;
        }
    }
    return node;
}

void KZS_NODE_DestroySchemaLeaf(KzDict *dict, void *info)
{
    if (info == nullptr) {
        return;
    }
    auto *leaf = static_cast<KzsLeafInfo *>(info);
    KZT_TYPE_DestroyNytRealTypeInner(dict, &leaf->realType);
    DictDrop(dict, leaf->dflt);
    DictDrop(dict, leaf->units);
    KZ_MemFree(leaf);
}

void KZS_NODE_DestroySchemaLeaflist(KzDict *dict, void *info)
{
    if (info == nullptr) {
        return;
    }
    auto *ll = static_cast<KzsLeafListInfo *>(info);
    KZT_TYPE_DestroyNytRealTypeInner(dict, &ll->realType);
    FreeArrayAndClear(dict, ll->defaults, ll->defaultCount, KZS_NODE_FreeDefaults);
    DictDrop(dict, ll->units);
    KZ_MemFree(ll);
}

void KZS_NODE_DestroySchemaChoice(KzDict *dict, void *info)
{
    if (info == nullptr) {
        return;
    }
    auto *choice = static_cast<KzsChoiceInfo *>(info);
    DictDrop(dict, choice->defaultCase);
    KZ_MemFree(choice);
}

void KZS_NODE_DestroySchemaInfo(KzsNode *node)
{
    KzDict *dict = NodeDict(node);
    if (dict == nullptr || node->schemaInfo == nullptr || node->kind > KZS_NODE_KIND_MAX) {
        return;
    }
    DestroyInfoFunc destroy = kDestroyInfo[node->kind];
    if (destroy == nullptr) {
        return;
    }
    destroy(dict, node->schemaInfo);
    node->schemaInfo = nullptr;
}

void KZS_NODE_DestroyPrivateData(KzCtx *ctx, KzsNode *node)
{
    if (ctx == nullptr || node == nullptr || node->priv == nullptr || ctx->pridataFreeFunc == nullptr) {
        return;
    }
    ctx->pridataFreeFunc(ctx, node, node->priv);
    node->priv = nullptr;
}

/* Frees the subtree without recursion: each node's own content goes first,
 * then its children are detached one by one from the head of its chain and
 * descended into; a node is freed once its chain is empty. */
void KZS_NODE_Free(KzsNode *node)
{
    if (!IsFreeable(node)) {
        return;
    }
    KzsNode *const root = node;
    ReleaseNodeContent(node->module->ctx, node);
    KzsNode *cur = node;
    while (cur != nullptr) {
        KzsNode *child = cur->firstChild;
        if (child != nullptr) {
            cur->firstChild = child->next;
            if (!IsFreeable(child)) {
                continue; /* left alone, as a direct free of it would */
            }
            ReleaseNodeContent(child->module->ctx, child);
            child->parent = cur; /* the way back up */
            cur = child;
            continue;
        }
        KzsNode *up = (cur == root) ? nullptr : cur->parent;
        KZ_MemFree(cur);
        cur = up;
    }
}

uint32_t KZS_NODE_AddChild(KzsNode *parent, KzsNode *child)
{
    if (parent == nullptr || child == nullptr) {
        return KZ_EINVAL;
    }
    child->parent = parent;
    child->next = nullptr;
    child->prev = nullptr;
    if (parent->lastChild != nullptr) {
        parent->lastChild->next = child;
        child->prev = parent->lastChild;
    } else {
        parent->firstChild = child;
    }
    parent->lastChild = child;
    return KZ_OK;
}

uint32_t KZS_NODE_AddAsFirstChild(KzsNode *parent, KzsNode *child)
{
    if (parent == nullptr || child == nullptr) {
        return KZ_EINVAL;
    }
    child->parent = parent;
    child->prev = nullptr;
    child->next = parent->firstChild;
    if (parent->firstChild != nullptr) {
        parent->firstChild->prev = child;
    } else {
        parent->lastChild = child;
    }
    parent->firstChild = child;
    return KZ_OK;
}

KzsNode *KZS_NODE_GetLastSibling(KzsNode *node)
{
    if (node == nullptr) {
        return nullptr;
    }
    if (node->parent != nullptr) {
        return node->parent->lastChild;
    }
    while (node->next != nullptr) {
        node = node->next;
    }
    return node;
}

uint32_t KZS_NODE_AddSibling(KzsNode *node, KzsNode *newNode)
{
    if (node == nullptr || newNode == nullptr) {
        return KZ_EINVAL;
    }
    KzsNode *last = KZS_NODE_GetLastSibling(node);
    if (last == nullptr) {
        last = node;
    }
    last->next = newNode;
    newNode->prev = last;
    newNode->next = nullptr;
    newNode->parent = node->parent;
    if (node->parent != nullptr) {
        node->parent->lastChild = newNode;
    }
    return KZ_OK;
}

uint32_t KZS_NODE_LinkTreeNode(KzsNode *anchor, KzsNode *node, uint32_t mode)
{
    switch (mode) {
        case KZS_NODE_LINK_CHILD:
            return KZS_NODE_AddChild(anchor, node);
        case KZS_NODE_LINK_SIBLING:
            return KZS_NODE_AddSibling(anchor, node);
        default:
            return KZ_EINVAL;
    }
}

void KZ_NODE_CalibrateTopNodeAddress(KzsNode *node, KzsNode *next)
{
    if (node == nullptr || node->module == nullptr) {
        return;
    }
    KzMod *mod = node->module;
    KzsNode **heads[] = {&mod->dataNodes, &mod->rpcs, &mod->notifs, &mod->augments};
    for (KzsNode **head : heads) {
        if (*head == node) {
            *head = next;
        }
    }
}

void KZS_NODE_Unlink(KzsNode *node)
{
    if (node == nullptr) {
        return;
    }
    KzsNode *parent = node->parent;
    if (parent != nullptr) {
        if (parent->firstChild == node) {
            parent->firstChild = node->next;
        }
        if (parent->lastChild == node) {
            parent->lastChild = node->prev;
        }
        node->parent = nullptr;
    } else {
        KZ_NODE_CalibrateTopNodeAddress(node, node->next);
    }
    if (node->next != nullptr) {
        node->next->prev = node->prev;
    }
    if (node->prev != nullptr) {
        node->prev->next = node->next;
    }
    node->next = nullptr;
    node->prev = nullptr;
}

/* Stops at the parent's last child: the children of a coupled augment sit in
 * the target's chain, and only the augment's own range belongs to it. */
KzsNode *KZS_NODE_FindChildNodeByName(KzsNode *parent, const char *modName, const char *name)
{
    if (parent == nullptr || name == nullptr) {
        return nullptr;
    }
    bool checkMod = modName != nullptr && modName[0] != '\0';
    for (KzsNode *c = parent->firstChild; c != nullptr; c = c->next) {
        if (kz::SameNonNullText(c->name, name) &&
            (!checkMod || (c->module != nullptr && kz::SameNonNullText(c->module->name, modName)))) {
            return c;
        }
        if (c == parent->lastChild) {
            break;
        }
    }
    return nullptr;
}

uint32_t KZS_NODE_IsChildNode(const KzsNode *parent, const KzsNode *node)
{
    if (parent == nullptr || node == nullptr) {
        return 0;
    }
    for (const KzsNode *c = parent->firstChild; c != nullptr; c = c->next) {
        if (c == node) {
            return 1;
        }
        if (c == parent->lastChild) {
            break;
        }
    }
    return 0;
}

KztRealType *KZS_NODE_GetLeafSchemaRealType(const KzsNode *node)
{
    if (node == nullptr || (node->kind != KZS_NODE_LEAF && node->kind != KZS_NODE_LEAFLIST)) {
        return nullptr;
    }
    return static_cast<KztRealType *>(node->schemaInfo);
}

/* Built backwards from the node up, so that no ancestor list is needed. */
char *KZS_NODE_PrintPath(const KzsNode *node)
{
    if (node == nullptr) {
        return nullptr;
    }
    char buf[KZS_NODE_PATH_BUF];
    size_t pos = sizeof(buf) - 1;
    buf[pos] = '\0';
    auto prepend = [&](const char *text, size_t len) {
        if (len > pos) {
            return false;
        }
        pos -= len;
        std::memcpy(buf + pos, text, len);
        return true;
    };
    for (const KzsNode *n = node; n != nullptr; n = n->parent) {
        if (n->name == nullptr) {
            return nullptr;
        }
        const KzsNode *parent = n->parent;
        if (n->kind == KZS_NODE_AUGMENT) {
            /* An augment's name is already the JSON path of its target. */
            if (!prepend(n->name, std::strlen(n->name))) {
                return nullptr;
            }
            break;
        }
        bool qualify = parent == nullptr || parent->kind == KZS_NODE_AUGMENT || parent->module != n->module;
        if (!prepend(n->name, std::strlen(n->name))) {
            return nullptr;
        }
        if (qualify) {
            if (n->module == nullptr || n->module->name == nullptr || !prepend(":", 1) ||
                !prepend(n->module->name, std::strlen(n->module->name))) {
                return nullptr;
            }
        }
        if (!prepend("/", 1)) {
            return nullptr;
        }
    }
    return kz::DupText(buf + pos, sizeof(buf) - 1 - pos);
}

} // extern "C"
