/* Module record: its release and its top-level node chains. */
#include "base/kz_mem.h"
#include "schema/kzs_internal.h"

using namespace kz::schema;

namespace {

void FreeChain(KzsNode *&head)
{
    KzsNode *node = head;
    while (node != nullptr) {
        KzsNode *next = node->next;
        KZS_NODE_Free(node);
        node = next;
    }
    head = nullptr;
}

/* In the order of TopChainIndex. */
constexpr KzsNode *KzMod::*kTopChains[] = {&KzMod::dataNodes, &KzMod::rpcs, &KzMod::notifs, &KzMod::augments};

KzsNode *FindInChain(KzsNode *head, const char *name)
{
    for (KzsNode *n = head; n != nullptr; n = n->next) {
        if (kz::SameNonNullText(n->name, name)) {
            return n;
        }
    }
    return nullptr;
}

} // namespace

namespace kz::schema {

int32_t TopChainIndex(uint32_t kind)
{
    switch (kind) {
        case KZS_NODE_CONTAINER:
        case KZS_NODE_LEAF:
        case KZS_NODE_LEAFLIST:
        case KZS_NODE_LIST:
        case KZS_NODE_CHOICE:
        case KZS_NODE_ANYDATA:
        case KZS_NODE_ANYXML:
            return 0;
        case KZS_NODE_RPC:
            return 1;
        case KZS_NODE_NOTIF:
            return 2;
        case KZS_NODE_AUGMENT:
            return 3;
        default:
            return -1;
    }
}

KzsNode **TopChain(KzMod *mod, uint32_t kind)
{
    const int32_t index = TopChainIndex(kind);
    return index < 0 ? nullptr : &(mod->*kTopChains[index]);
}

} // namespace kz::schema

extern "C" {

void KZS_MOD_DestroyNonNodeMember(KzMod *mod)
{
    KzDict *dict = ModDict(mod);
    if (dict == nullptr) {
        return;
    }
    DictDrop(dict, mod->name);
    DictDrop(dict, mod->ns);
    DictDrop(dict, mod->prefix);
    DictDrop(dict, mod->description);
    DictDrop(dict, mod->revision);
    DictDrop(dict, mod->semVer);
    DictDrop(dict, mod->organization);
    DictDrop(dict, mod->srcPath);

    FreeArrayAndClear(dict, mod->imports, mod->importCount, KZS_MOD_FreeImports);
    FreeArrayAndClear(dict, mod->includes, mod->includeCount, KZS_MOD_FreeIncludes);
    FreeArrayAndClear(dict, mod->features, mod->featureCount, KZS_MOD_FreeFeatures);
    FreeArrayAndClear(dict, mod->identities, mod->identityCount, KZS_MOD_FreeIdentities);
    FreeArrayAndClear(dict, mod->extensions, mod->extensionCount, KZS_MOD_FreeExtensions);
    FreeArrayAndClear(dict, mod->deviations, mod->deviationCount, KZS_MOD_FreeDeviation);
    FreeArrayAndClear(dict, mod->mrgSrcs, mod->mrgSrcCount, KZS_NODE_FreeDefaults); /* same shape: interned strings */
    FreeArrayAndClear(dict, mod->extInsts, mod->extInstCount, KZS_EXT_FreeExtInsts);
    FreeArrayAndClear(dict, mod->typedefs, mod->typedefCount, KZS_TYPE_FreeTypDefArray);
}

void KZS_MOD_DestroyNodeMember(KzMod *mod)
{
    if (mod == nullptr) {
        return;
    }
    FreeChain(mod->dataNodes);
    FreeChain(mod->rpcs);
    FreeChain(mod->notifs);
    FreeChain(mod->augments);
}

void KZS_MOD_Free(KzMod *mod)
{
    if (mod == nullptr) {
        return;
    }
    KZS_MOD_DestroyNonNodeMember(mod);
    KZS_MOD_DestroyNodeMember(mod);
    KZ_MemFree(mod);
}

uint32_t KZS_MOD_AddTopNodeToSchemaTree(KzMod *mod, KzsNode *node)
{
    if (mod == nullptr || node == nullptr) {
        return KZ_EINVAL;
    }
    KzsNode **head = kz::schema::TopChain(mod, node->kind);
    if (head == nullptr) {
        return KZ_EINVAL;
    }
    if (*head == nullptr) {
        node->parent = nullptr;
        node->next = nullptr;
        node->prev = nullptr;
        *head = node;
        return KZ_OK;
    }
    return KZS_NODE_AddSibling(*head, node);
}

KzsNode *KZS_MOD_FindTopLevelSchemaNode(const KzMod *mod, const char *name)
{
    if (mod == nullptr || name == nullptr) {
        return nullptr;
    }
    KzsNode *found = FindInChain(mod->dataNodes, name);
    if (found == nullptr) {
        found = FindInChain(mod->rpcs, name);
    }
    if (found == nullptr) {
        found = FindInChain(mod->notifs, name);
    }
    return found;
}

} // extern "C"
