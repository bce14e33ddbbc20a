/* Data-definition statements: each creates a schema node, parses its accepted
 * sub-statements through the framework, checks what must be present, links
 * the node and pushes inherited flags into the subtree below it. */
#include <cstring>

#include "loader/kzs_augment_inherit.h"
#include "loader/kzs_stmt_util.h"
#include "schema/kzs_diag.h"
#include "base/kz_xml.h"
#include "schema/kzs_mod.h"
#include "schema/kzs_node.h"
#include "types/kzt_type.h"

using kz::loader::ElemArg;
using kz::loader::Keyword;
using kz::schema::ModDict;

namespace {

/* Child data-definition statements accepted by each parent. */
constexpr uint32_t kBodyNodes[] = {KZS_STMT_CONTAINER, KZS_STMT_LEAF,    KZS_STMT_LEAF_LIST,
                                   KZS_STMT_LIST,      KZS_STMT_CHOICE,  KZS_STMT_ANYDATA,
                                   KZS_STMT_ANYXML,    KZS_STMT_ACTION,  KZS_STMT_NOTIFICATION};
constexpr uint32_t kChoiceNodes[] = {KZS_STMT_CHOICE, KZS_STMT_CONTAINER, KZS_STMT_LEAF,  KZS_STMT_LEAF_LIST,
                                     KZS_STMT_LIST,   KZS_STMT_ANYDATA,   KZS_STMT_ANYXML, KZS_STMT_CASE};
constexpr uint32_t kPlainNodes[] = {KZS_STMT_CONTAINER, KZS_STMT_LEAF,    KZS_STMT_LEAF_LIST, KZS_STMT_LIST,
                                    KZS_STMT_CHOICE,    KZS_STMT_ANYDATA, KZS_STMT_ANYXML};
constexpr uint32_t kAugmentNodes[] = {KZS_STMT_CONTAINER, KZS_STMT_LEAF,   KZS_STMT_LEAF_LIST, KZS_STMT_LIST,
                                      KZS_STMT_CHOICE,    KZS_STMT_ANYDATA, KZS_STMT_ANYXML,   KZS_STMT_CASE,
                                      KZS_STMT_ACTION,    KZS_STMT_NOTIFICATION};

constexpr uint32_t kMaxSubElems = 18;

/* Data-definition statements recurse through the framework; the parser of
 * the documents already caps element nesting, this keeps the bound explicit. */
constexpr uint32_t kMaxNodeDepth = 512;

bool TooDeep(const xmlNode *elem)
{
    uint32_t depth = 0;
    for (const xmlNode *p = elem; p != nullptr; p = p->parent) {
        if (++depth > kMaxNodeDepth) {
            return true;
        }
    }
    return false;
}

/* Descriptors of one node's sub-statements, with the counters they need. */
struct NodeSubStmts {
    SubParseElem elems[kMaxSubElems]; /* the first `count` are set */
    uint32_t count = 0;
    uint16_t ifFeatureTotal = 0;
    uint16_t mustTotal = 0;
    uint16_t extInstTotal = 0;
    uint16_t defaultTotal = 0;
    uint16_t defaultFill = 0;
    const char *keyText = nullptr;

    void Once(uint32_t stmt, void *dest) { Add({stmt, dest, nullptr, nullptr, 0, KZS_SUB_FLAG_UNIQUE}); }
    void Array(uint32_t stmt, void *arrayPtr, uint16_t *fill, uint16_t *total, uint32_t size)
    {
        Add({stmt, arrayPtr, fill, total, size, KZS_SUB_FLAG_ARRAY});
    }
    void IfFeatures(KzsNode *node)
    {
        Array(KZS_STMT_IF_FEATURE, &node->ifFeatures, &node->ifFeatureCount, &ifFeatureTotal, sizeof(KzsIfFeature));
    }
    void Musts(KzsNode *node)
    {
        Array(KZS_STMT_MUST, &node->musts, &node->mustCount, &mustTotal, sizeof(KzsMust));
    }
    /* The extension-instance parser appends to the node's own array itself. */
    void ExtInsts(KzsNode *node)
    {
        Add({KZS_STMT_EXTENSION_INSTANCE, node, nullptr, &extInstTotal, sizeof(KzsExtInst), KZS_SUB_FLAG_ARRAY});
    }
    template <size_t N>
    void Nodes(const uint32_t (&stmts)[N], KzsNode *node)
    {
        for (uint32_t stmt : stmts) {
            Add({stmt, node, nullptr, nullptr, 0, 0});
        }
    }
    void Add(const SubParseElem &elem)
    {
        if (count < kMaxSubElems) {
            elems[count++] = elem;
        }
    }
};

void FreeNode(KzsNode *node)
{
    if (node != nullptr) {
        KZS_NODE_Free(node);
    }
}

/* Frames the failure of a node's sub-statements and drops the node. */
uint32_t FailNode(KzMod *mod, KzsNode *node, uint32_t stmt, uint32_t ret)
{
    KZS_LOADER_MOD_ERR(mod, KZS_MSG_PARSE_NODE, Keyword(stmt), node->name != nullptr ? node->name : "");
    FreeNode(node);
    return ret;
}

/* Appends a top-level node after the last one this body appended to its
 * chain; the first append of a body goes through the module record, which
 * finds the end of whatever the chain already holds. */
uint32_t AppendTopNode(KzMod *mod, KzsNode *node, KzsTopNodeTails *tails)
{
    const int32_t index = kz::schema::TopChainIndex(node->kind);
    if (index < 0 || tails->tails[index] == nullptr) {
        uint32_t ret = KZS_MOD_AddTopNodeToSchemaTree(mod, node);
        if (ret == KZ_OK && index >= 0) {
            tails->tails[index] = node;
        }
        return ret;
    }
    KzsNode *tail = tails->tails[index];
    node->parent = nullptr;
    node->prev = tail;
    node->next = nullptr;
    tail->next = node;
    tails->tails[index] = node;
    return KZ_OK;
}

bool IsTopStmt(uint32_t parentStmt)
{
    return parentStmt == KZS_STMT_MODULE || parentStmt == KZS_STMT_SUBMODULE;
}

/* Links the finished node; flags are pushed down unless it is an augment. */
uint32_t LinkNode(KzMod *mod, KzsNode *node, uint32_t parentStmt, void *dest, bool updateFlags)
{
    uint32_t ret = (IsTopStmt(parentStmt) && dest != nullptr)
                       ? AppendTopNode(mod, node, static_cast<KzsTopNodeTails *>(dest))
                       : KZS_LOADER_AddNodeToSchemaTree(mod, IsTopStmt(parentStmt) ? nullptr : static_cast<KzsNode *>(dest),
                                                        node, parentStmt);
    if (ret != KZ_OK) {
        FreeNode(node);
        return ret;
    }
    if (updateFlags) {
        KZS_NODE_UpdateFlag(node);
    }
    return KZ_OK;
}

uint32_t ParseSubs(KzMod *mod, xmlNode *elem, uint32_t stmt, NodeSubStmts &subs)
{
    return KZS_LOADER_ParseSubStatements(mod, elem, stmt, subs.elems, subs.count);
}

/* The common sequence for nodes whose only extra step is the framework. */
template <typename Describe>
uint32_t ParsePlainNode(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest, uint32_t kind, uint32_t stmt,
                        Describe describe)
{
    KzsNode *node = KZS_LOADER_ParseNodeCommon(mod, elem, kind);
    if (node == nullptr) {
        return KZ_ENOMEM;
    }
    NodeSubStmts subs;
    describe(node, subs);
    uint32_t ret = ParseSubs(mod, elem, stmt, subs);
    if (ret != KZ_OK) {
        return FailNode(mod, node, stmt, ret);
    }
    return LinkNode(mod, node, parentStmt, dest, true);
}

/* Two node kinds parsed alike, with the statement of each. */
struct KindPair {
    uint32_t kindA;
    uint32_t stmtA;
    uint32_t kindB;
    uint32_t stmtB;
};

/* ParsePlainNode for a parser shared by a pair of kinds; any other kind is refused. */
template <typename Describe>
uint32_t ParsePairedNode(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest, uint32_t kind,
                         const KindPair &pair, Describe describe)
{
    if (kind != pair.kindA && kind != pair.kindB) {
        return KZ_EINVAL;
    }
    const uint32_t stmt = kind == pair.kindA ? pair.stmtA : pair.stmtB;
    return ParsePlainNode(mod, elem, parentStmt, dest, kind, stmt, describe);
}

constexpr KindPair kAnydataPair = {KZS_NODE_ANYDATA, KZS_STMT_ANYDATA, KZS_NODE_ANYXML, KZS_STMT_ANYXML};
constexpr KindPair kRpcPair = {KZS_NODE_RPC, KZS_STMT_RPC, KZS_NODE_ACTION, KZS_STMT_ACTION};
constexpr KindPair kInoutPair = {KZS_NODE_INPUT, KZS_STMT_INPUT, KZS_NODE_OUTPUT, KZS_STMT_OUTPUT};

/* Only defaults that were actually stored count; a failed one leaves an empty slot last. */
void SettleLeafListDefaults(KzsLeafListInfo *info, uint16_t filled)
{
    uint32_t n = 0;
    while (info->defaults != nullptr && n < filled && info->defaults[n] != nullptr) {
        n++;
    }
    info->defaultCount = n;
}

uint32_t AddFlag(KzMod *mod, xmlNode *elem, void *dest, uint32_t stmt, const char *trueText, uint32_t trueFlags,
                 const char *falseText, uint32_t falseFlags)
{
    if (mod == nullptr || elem == nullptr || dest == nullptr) {
        return KZ_EINVAL;
    }
    const char *value = kz::loader::RequireArg(mod, elem, stmt);
    if (value == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t *flags = static_cast<uint32_t *>(dest);
    if (std::strcmp(value, trueText) == 0) {
        *flags |= trueFlags;
        return KZ_OK;
    }
    if (std::strcmp(value, falseText) == 0) {
        *flags |= falseFlags;
        return KZ_OK;
    }
    KZS_LOADER_MOD_ERR(mod, KZS_MSG_PARSE_VALUE, value, Keyword(stmt));
    return KZ_EINVAL;
}

} /* namespace */

extern "C" {

/* ---- Shared steps ---- */

KZ_API KzsNode *KZS_LOADER_ParseNodeCommon(KzMod *mod, xmlNode *elem, uint32_t kind)
{
    if (mod == nullptr || mod->ctx == nullptr || elem == nullptr) {
        return nullptr;
    }
    const uint32_t stmt = KZS_NODE_GetStmtByNodeType(kind);
    if (TooDeep(elem)) {
        KZS_LOADER_MOD_ERR(mod, KZS_MSG_PARSE_NODE, Keyword(stmt), "");
        return nullptr;
    }
    const char *name;
    if (kind == KZS_NODE_INPUT || kind == KZS_NODE_OUTPUT) {
        name = Keyword(stmt);
    } else {
        name = kz::loader::RequireArg(mod, elem, stmt);
        if (name == nullptr) {
            return nullptr;
        }
    }
    KzsNode *node = KZS_NODE_New(kind);
    if (node == nullptr) {
        return nullptr;
    }
    node->module = mod;
    node->name = KZ_DICT_Insert(ModDict(mod), name);
    if (node->name == nullptr) {
        FreeNode(node);
        return nullptr;
    }
    return node;
}

KZ_API uint32_t KZS_LOADER_AddNodeToSchemaTree(KzMod *mod, KzsNode *parent, KzsNode *node, uint32_t parentStmt)
{
    if (mod == nullptr || node == nullptr) {
        return KZ_EINVAL;
    }
    if (parentStmt == KZS_STMT_MODULE || parentStmt == KZS_STMT_SUBMODULE) {
        return KZS_MOD_AddTopNodeToSchemaTree(mod, node);
    }
    if (parent == nullptr) {
        return KZ_EINVAL;
    }
    /* Input always precedes output, whatever the document order. */
    if (node->kind == KZS_NODE_INPUT) {
        return KZS_NODE_AddAsFirstChild(parent, node);
    }
    return KZS_NODE_AddChild(parent, node);
}

KZ_API uint32_t KZS_LOADER_RefreshLeafDefaultValue(KzMod *mod, KzsNode *leaf)
{
    if (mod == nullptr || leaf == nullptr || leaf->schemaInfo == nullptr) {
        return KZ_EINVAL;
    }
    KzsLeafInfo *info = static_cast<KzsLeafInfo *>(leaf->schemaInfo);
    if (info->dflt == nullptr || !KZT_TYPE_IsTypeWithIdentref(&info->realType)) {
        return KZ_OK;
    }
    char *json = KZS_MOD_ConvertPrefixValToJsonFormat(mod, info->dflt);
    if (json == nullptr) {
        return KZ_EINVAL;
    }
    const char *interned = KZ_DICT_Insert(ModDict(mod), json);
    KZ_MemFree(json);
    if (interned == nullptr) {
        return KZ_EINVAL;
    }
    kz::loader::ReplaceInterned(ModDict(mod), &info->dflt, interned);
    return KZ_OK;
}

KZ_API uint32_t KZS_LOADER_RefreshLeafListDefaultValue(KzMod *mod, KzsNode *leafList)
{
    if (mod == nullptr || leafList == nullptr || leafList->schemaInfo == nullptr) {
        return KZ_EINVAL;
    }
    KzsLeafListInfo *info = static_cast<KzsLeafListInfo *>(leafList->schemaInfo);
    if (info->defaultCount == 0 || !KZT_TYPE_IsTypeWithIdentref(&info->realType)) {
        return KZ_OK;
    }
    for (uint32_t i = 0; i < info->defaultCount; i++) {
        char *json = KZS_MOD_ConvertPrefixValToJsonFormat(mod, info->defaults[i]);
        if (json == nullptr) {
            return KZ_EINVAL;
        }
        const char *interned = KZ_DICT_Insert(ModDict(mod), json);
        KZ_MemFree(json);
        if (interned == nullptr) {
            return KZ_EINVAL;
        }
        kz::loader::ReplaceInterned(ModDict(mod), &info->defaults[i], interned);
    }
    return KZ_OK;
}

/* ---- Data-definition statements ---- */

KZ_API uint32_t KZS_LOADER_ParseContainer(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    return ParsePlainNode(mod, elem, parentStmt, dest, KZS_NODE_CONTAINER, KZS_STMT_CONTAINER,
                          [](KzsNode *node, NodeSubStmts &subs) {
                              subs.Once(KZS_STMT_WHEN, &node->when);
                              subs.Once(KZS_STMT_PRESENCE, &node->flags);
                              subs.Once(KZS_STMT_CONFIG, &node->flags);
                              subs.Once(KZS_STMT_STATUS, &node->flags);
                              subs.Once(KZS_STMT_DESCRIPTION, &node->description);
                              subs.IfFeatures(node);
                              subs.Musts(node);
                              subs.ExtInsts(node);
                              subs.Nodes(kBodyNodes, node);
                          });
}

KZ_API uint32_t KZS_LOADER_ParseLeaf(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    KzsNode *node = KZS_LOADER_ParseNodeCommon(mod, elem, KZS_NODE_LEAF);
    if (node == nullptr) {
        return KZ_ENOMEM;
    }
    KzsLeafInfo *info = static_cast<KzsLeafInfo *>(node->schemaInfo);
    NodeSubStmts subs;
    subs.Once(KZS_STMT_WHEN, &node->when);
    subs.Once(KZS_STMT_TYPE, &info->realType);
    subs.Once(KZS_STMT_DEFAULT, &info->dflt);
    subs.Once(KZS_STMT_CONFIG, &node->flags);
    subs.Once(KZS_STMT_MANDATORY, &node->flags);
    subs.Once(KZS_STMT_STATUS, &node->flags);
    subs.Once(KZS_STMT_DESCRIPTION, &node->description);
    subs.Once(KZS_STMT_UNITS, &info->units);
    subs.IfFeatures(node);
    subs.Musts(node);
    subs.ExtInsts(node);
    uint32_t ret = ParseSubs(mod, elem, KZS_STMT_LEAF, subs);
    if (ret != KZ_OK) {
        return FailNode(mod, node, KZS_STMT_LEAF, ret);
    }
    if (KZT_TYPE_IsInvalidType(&info->realType)) {
        KZS_LOADER_MOD_ERR(mod, KZS_MSG_LEAF_NO_TYPE, node->name);
        FreeNode(node);
        return KZ_EINVAL;
    }
    ret = KZS_LOADER_RefreshLeafDefaultValue(mod, node);
    if (ret != KZ_OK) {
        KZS_LOADER_MOD_ERR(mod, KZS_MSG_PARSE_VALUE, info->dflt, Keyword(KZS_STMT_DEFAULT));
        return FailNode(mod, node, KZS_STMT_LEAF, ret);
    }
    return LinkNode(mod, node, parentStmt, dest, true);
}

KZ_API uint32_t KZS_LOADER_ParseLeafList(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    KzsNode *node = KZS_LOADER_ParseNodeCommon(mod, elem, KZS_NODE_LEAFLIST);
    if (node == nullptr) {
        return KZ_ENOMEM;
    }
    KzsLeafListInfo *info = static_cast<KzsLeafListInfo *>(node->schemaInfo);
    NodeSubStmts subs;
    subs.Once(KZS_STMT_WHEN, &node->when);
    subs.Once(KZS_STMT_TYPE, &info->realType);
    subs.Once(KZS_STMT_CONFIG, &node->flags);
    subs.Once(KZS_STMT_ORDERED_BY, &node->flags);
    subs.Once(KZS_STMT_STATUS, &node->flags);
    subs.Once(KZS_STMT_DESCRIPTION, &node->description);
    subs.Once(KZS_STMT_UNITS, &info->units);
    subs.IfFeatures(node);
    subs.Musts(node);
    subs.Array(KZS_STMT_DEFAULT, &info->defaults, &subs.defaultFill, &subs.defaultTotal, sizeof(const char *));
    subs.ExtInsts(node);
    uint32_t ret = ParseSubs(mod, elem, KZS_STMT_LEAF_LIST, subs);
    SettleLeafListDefaults(info, subs.defaultFill);
    if (ret != KZ_OK) {
        return FailNode(mod, node, KZS_STMT_LEAF_LIST, ret);
    }
    if (KZT_TYPE_IsInvalidType(&info->realType)) {
        KZS_LOADER_MOD_ERR(mod, KZS_MSG_LEAFLIST_NO_TYPE, node->name);
        FreeNode(node);
        return KZ_EINVAL;
    }
    ret = KZS_LOADER_RefreshLeafListDefaultValue(mod, node);
    if (ret != KZ_OK) {
        return FailNode(mod, node, KZS_STMT_LEAF_LIST, ret);
    }
    return LinkNode(mod, node, parentStmt, dest, true);
}

KZ_API uint32_t KZS_LOADER_ParseListInner(KzMod *mod, xmlNode *elem, KzsNode *list)
{
    if (mod == nullptr || elem == nullptr || list == nullptr) {
        return KZ_EINVAL;
    }
    NodeSubStmts subs;
    subs.Once(KZS_STMT_WHEN, &list->when);
    subs.Once(KZS_STMT_KEY, &subs.keyText);
    subs.Once(KZS_STMT_CONFIG, &list->flags);
    subs.Once(KZS_STMT_ORDERED_BY, &list->flags);
    subs.Once(KZS_STMT_STATUS, &list->flags);
    subs.Once(KZS_STMT_DESCRIPTION, &list->description);
    subs.IfFeatures(list);
    subs.Musts(list);
    subs.ExtInsts(list);
    subs.Nodes(kBodyNodes, list);
    uint32_t ret = ParseSubs(mod, elem, KZS_STMT_LIST, subs);
    if (ret != KZ_OK) {
        return ret;
    }
    /* Keys are marked once every child exists, whatever their order. */
    if (subs.keyText == nullptr) {
        return KZ_OK;
    }
    return KZS_NODE_MarkKeyAttrToListLeafs(list, subs.keyText, &list->keyCount);
}

KZ_API uint32_t KZS_LOADER_ParseList(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    KzsNode *node = KZS_LOADER_ParseNodeCommon(mod, elem, KZS_NODE_LIST);
    if (node == nullptr) {
        return KZ_ENOMEM;
    }
    uint32_t ret = KZS_LOADER_ParseListInner(mod, elem, node);
    if (ret != KZ_OK) {
        return FailNode(mod, node, KZS_STMT_LIST, ret);
    }
    return LinkNode(mod, node, parentStmt, dest, true);
}

KZ_API uint32_t KZS_LOADER_ParseChoice(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    return ParsePlainNode(mod, elem, parentStmt, dest, KZS_NODE_CHOICE, KZS_STMT_CHOICE,
                          [](KzsNode *node, NodeSubStmts &subs) {
                              KzsChoiceInfo *info = static_cast<KzsChoiceInfo *>(node->schemaInfo);
                              subs.Once(KZS_STMT_WHEN, &node->when);
                              subs.Once(KZS_STMT_DEFAULT, &info->defaultCase);
                              subs.Once(KZS_STMT_CONFIG, &node->flags);
                              subs.Once(KZS_STMT_MANDATORY, &node->flags);
                              subs.Once(KZS_STMT_STATUS, &node->flags);
                              subs.Once(KZS_STMT_DESCRIPTION, &node->description);
                              subs.IfFeatures(node);
                              subs.ExtInsts(node);
                              subs.Nodes(kChoiceNodes, node);
                          });
}

KZ_API uint32_t KZS_LOADER_ParseCase(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    return ParsePlainNode(mod, elem, parentStmt, dest, KZS_NODE_CASE, KZS_STMT_CASE,
                          [](KzsNode *node, NodeSubStmts &subs) {
                              subs.Once(KZS_STMT_WHEN, &node->when);
                              subs.Once(KZS_STMT_STATUS, &node->flags);
                              subs.Once(KZS_STMT_DESCRIPTION, &node->description);
                              subs.IfFeatures(node);
                              subs.ExtInsts(node);
                              subs.Nodes(kPlainNodes, node);
                          });
}

KZ_API uint32_t KZS_LOADER_ParseAnydataInner(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest,
                                             uint32_t kind)
{
    return ParsePairedNode(mod, elem, parentStmt, dest, kind, kAnydataPair, [](KzsNode *node, NodeSubStmts &subs) {
        subs.Once(KZS_STMT_WHEN, &node->when);
        subs.Once(KZS_STMT_CONFIG, &node->flags);
        subs.Once(KZS_STMT_MANDATORY, &node->flags);
        subs.Once(KZS_STMT_STATUS, &node->flags);
        subs.Once(KZS_STMT_DESCRIPTION, &node->description);
        subs.IfFeatures(node);
        subs.Musts(node);
        subs.ExtInsts(node);
    });
}

KZ_API uint32_t KZS_LOADER_ParseAnydata(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    return KZS_LOADER_ParseAnydataInner(mod, elem, parentStmt, dest, KZS_NODE_ANYDATA);
}

KZ_API uint32_t KZS_LOADER_ParseAnyxml(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    return KZS_LOADER_ParseAnydataInner(mod, elem, parentStmt, dest, KZS_NODE_ANYXML);
}

KZ_API uint32_t KZS_LOADER_ParseRpcInner(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest, uint32_t kind)
{
    return ParsePairedNode(mod, elem, parentStmt, dest, kind, kRpcPair, [](KzsNode *node, NodeSubStmts &subs) {
        subs.Once(KZS_STMT_STATUS, &node->flags);
        subs.Once(KZS_STMT_DESCRIPTION, &node->description);
        subs.Once(KZS_STMT_INPUT, node);
        subs.Once(KZS_STMT_OUTPUT, node);
        subs.IfFeatures(node);
        subs.ExtInsts(node);
    });
}

KZ_API uint32_t KZS_LOADER_ParseRpc(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    return KZS_LOADER_ParseRpcInner(mod, elem, parentStmt, dest, KZS_NODE_RPC);
}

KZ_API uint32_t KZS_LOADER_ParseAction(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    return KZS_LOADER_ParseRpcInner(mod, elem, parentStmt, dest, KZS_NODE_ACTION);
}

KZ_API uint32_t KZS_LOADER_ParseInout(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest, uint32_t kind)
{
    return ParsePairedNode(mod, elem, parentStmt, dest, kind, kInoutPair, [](KzsNode *node, NodeSubStmts &subs) {
        subs.Musts(node);
        subs.ExtInsts(node);
        subs.Nodes(kPlainNodes, node);
    });
}

KZ_API uint32_t KZS_LOADER_ParseInput(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    return KZS_LOADER_ParseInout(mod, elem, parentStmt, dest, KZS_NODE_INPUT);
}

KZ_API uint32_t KZS_LOADER_ParseOutput(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    return KZS_LOADER_ParseInout(mod, elem, parentStmt, dest, KZS_NODE_OUTPUT);
}

KZ_API uint32_t KZS_LOADER_ParseNotif(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    return ParsePlainNode(mod, elem, parentStmt, dest, KZS_NODE_NOTIF, KZS_STMT_NOTIFICATION,
                          [](KzsNode *node, NodeSubStmts &subs) {
                              subs.Once(KZS_STMT_STATUS, &node->flags);
                              subs.Once(KZS_STMT_DESCRIPTION, &node->description);
                              subs.IfFeatures(node);
                              subs.Musts(node);
                              subs.ExtInsts(node);
                              subs.Nodes(kPlainNodes, node);
                          });
}

KZ_API uint32_t KZS_LOADER_ParseAugmentTargetNode(KzMod *mod, xmlNode *elem, KzsNode *augment)
{
    if (mod == nullptr || elem == nullptr || augment == nullptr) {
        return KZ_EINVAL;
    }
    const char *target = ElemArg(elem);
    /* A relative target is refused exactly like a missing one. */
    if (target == nullptr || target[0] != '/') {
        KZS_LOADER_MOD_ERR(mod, KZS_MSG_GET_VALUE, Keyword(KZS_STMT_AUGMENT));
        return KZ_EINVAL;
    }
    char *json = KZ_XPATH_TransformToJsonFormat(mod, target);
    if (json == nullptr) {
        KZS_LOADER_MOD_ERR(mod, KZS_MSG_PARSE_XPATH, target);
        KZS_LOADER_MOD_ERR(mod, KZS_MSG_PARSE_VALUE, target, Keyword(KZS_STMT_AUGMENT));
        return KZ_EINVAL;
    }
    const char *interned = KZ_DICT_Insert(ModDict(mod), json);
    KZ_MemFree(json);
    if (interned == nullptr) {
        return KZ_EPARSE;
    }
    kz::loader::ReplaceInterned(ModDict(mod), &augment->name, interned);
    return KZ_OK;
}

KZ_API uint32_t KZS_LOADER_ParseAugment(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    if (mod == nullptr || mod->ctx == nullptr || elem == nullptr) {
        return KZ_EINVAL;
    }
    KzsNode *node = KZS_NODE_New(KZS_NODE_AUGMENT);
    if (node == nullptr) {
        return KZ_ENOMEM;
    }
    node->module = mod;
    uint32_t ret = KZS_LOADER_ParseAugmentTargetNode(mod, elem, node);
    if (ret != KZ_OK) {
        FreeNode(node);
        return ret;
    }
    NodeSubStmts subs;
    subs.Once(KZS_STMT_WHEN, &node->when);
    subs.Once(KZS_STMT_STATUS, &node->flags);
    subs.Once(KZS_STMT_DESCRIPTION, &node->description);
    subs.IfFeatures(node);
    subs.Nodes(kAugmentNodes, node);
    ret = ParseSubs(mod, elem, KZS_STMT_AUGMENT, subs);
    if (ret == KZ_OK) {
        /* The augment's conditions hold for the nodes it adds. */
        ret = KZS_NODE_InheritAugNodeEvalToAllChildNode(ModDict(mod), node);
    }
    if (ret != KZ_OK) {
        return FailNode(mod, node, KZS_STMT_AUGMENT, ret);
    }
    return LinkNode(mod, node, parentStmt, dest, false);
}

/* ---- Simple value statements ---- */

KZ_API uint32_t KZS_LOADER_ParseConfig(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    return AddFlag(mod, elem, dest, KZS_STMT_CONFIG, "true", KZS_NODE_FLAG_CONFIG_TRUE | KZS_NODE_FLAG_CONFIG_SET,
                   "false", KZS_NODE_FLAG_CONFIG_FALSE | KZS_NODE_FLAG_CONFIG_SET);
}

KZ_API uint32_t KZS_LOADER_ParseMandatory(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    return AddFlag(mod, elem, dest, KZS_STMT_MANDATORY, "true", KZS_NODE_FLAG_MANDATORY_TRUE, "false",
                   KZS_NODE_FLAG_MANDATORY_FALSE);
}

KZ_API uint32_t KZS_LOADER_ParseOrderedBy(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    return AddFlag(mod, elem, dest, KZS_STMT_ORDERED_BY, "user", KZS_NODE_FLAG_ORDERED_BY_USER, "system", 0);
}

KZ_API uint32_t KZS_LOADER_ParsePresence(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    if (mod == nullptr || elem == nullptr || dest == nullptr) {
        return KZ_EINVAL;
    }
    if (kz::loader::RequireArg(mod, elem, KZS_STMT_PRESENCE) == nullptr) {
        return KZ_EINVAL;
    }
    *static_cast<uint32_t *>(dest) |= KZS_NODE_FLAG_PRESENCE;
    return KZ_OK;
}

KZ_API uint32_t KZS_LOADER_ParseKey(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    if (mod == nullptr || elem == nullptr || dest == nullptr) {
        return KZ_EINVAL;
    }
    const char *value = kz::loader::RequireArg(mod, elem, KZS_STMT_KEY);
    if (value == nullptr) {
        return KZ_EINVAL;
    }
    /* Borrowed from the document, which outlives the list's parse. */
    *static_cast<const char **>(dest) = value;
    return KZ_OK;
}

KZ_API uint32_t KZS_LOADER_ParseDefault(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    if (mod == nullptr || elem == nullptr || dest == nullptr) {
        return KZ_EINVAL;
    }
    const char *value = kz::loader::RequireArg(mod, elem, KZS_STMT_DEFAULT);
    if (value == nullptr) {
        return KZ_EINVAL;
    }
    const char *interned = KZ_DICT_Insert(ModDict(mod), value);
    if (interned == nullptr) {
        KZS_LOADER_MOD_ERR(mod, KZS_MSG_PARSE_VALUE, value, Keyword(KZS_STMT_DEFAULT));
        return KZ_EINVAL;
    }
    kz::loader::ReplaceInterned(ModDict(mod), static_cast<const char **>(dest), interned);
    return KZ_OK;
}

} /* extern "C" */
