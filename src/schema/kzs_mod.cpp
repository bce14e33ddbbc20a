/* Module record: its release and its top-level node chains. */
#include "runtime/kz_mem.h"
#include "schema/kzs_internal.h"

using namespace kzs;

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

/* In the order of kzs_mod_top_chain_index. */
constexpr KzsNode *KzMod::*kTopChains[] = {&KzMod::dataNodes, &KzMod::rpcs, &KzMod::notifs, &KzMod::augments};

KzsNode *FindInChain(KzsNode *head, const char *name)
{
    for (KzsNode *n = head; n != nullptr; n = n->next) {
        if (StrEq(n->name, name)) {
            return n;
        }
    }
    return nullptr;
}

} // namespace

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

    KZS_MOD_FreeImports(dict, mod->imports, mod->importCount);
    mod->imports = nullptr;
    mod->importCount = 0;
    KZS_MOD_FreeIncludes(dict, mod->includes, mod->includeCount);
    mod->includes = nullptr;
    mod->includeCount = 0;
    KZS_MOD_FreeFeatures(dict, mod->features, mod->featureCount);
    mod->features = nullptr;
    mod->featureCount = 0;
    KZS_MOD_FreeIdentities(dict, mod->identities, mod->identityCount);
    mod->identities = nullptr;
    mod->identityCount = 0;
    KZS_MOD_FreeExtensions(dict, mod->extensions, mod->extensionCount);
    mod->extensions = nullptr;
    mod->extensionCount = 0;
    KZS_MOD_FreeDeviation(dict, mod->deviations, mod->deviationCount);
    mod->deviations = nullptr;
    mod->deviationCount = 0;
    KZS_NODE_FreeDefaults(dict, mod->mrgSrcs, mod->mrgSrcCount); /* same shape: interned strings */
    mod->mrgSrcs = nullptr;
    mod->mrgSrcCount = 0;
    KZS_EXT_FreeExtInsts(dict, mod->extInsts, mod->extInstCount);
    mod->extInsts = nullptr;
    mod->extInstCount = 0;
    KZS_TYPE_FreeTypDefArray(dict, mod->typedefs, mod->typedefCount);
    mod->typedefs = nullptr;
    mod->typedefCount = 0;
}

int32_t kzs_mod_top_chain_index(uint32_t kind)
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

KzsNode **kzs_mod_top_chain(KzMod *mod, uint32_t kind)
{
    const int32_t index = kzs_mod_top_chain_index(kind);
    return index < 0 ? nullptr : &(mod->*kTopChains[index]);
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
    KzsNode **head = kzs_mod_top_chain(mod, node->kind);
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
