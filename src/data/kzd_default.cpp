/* Default completion of rpc and action input, and the list of added default subtrees. */
#include <cstring>

#include "data/kzd_internal.h"

using namespace kz::data;

namespace {

using CompleteFn = uint32_t (*)(KzdCheckAux *, xmlNode *, KzsNode *, uint32_t *);

/* Added elements carry line 256 and a non-null psvi: their list entry when listed, else the
 * list head. psvi keeps a parsed element that happens to sit on line 256 from looking added,
 * and lets removal find the list entry without a search. */
void MarkAdded(KzdCheckAux *aux, xmlNode *element)
{
    element->line = KZD_DEFAULT_ADDED_LINE;
    element->psvi = &aux->defaultList;
}

uint32_t CompleteChildren(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode, uint32_t *added)
{
    for (KzsNode *c = schemaNode->firstChild; c != nullptr; c = c->next) {
        uint32_t rc = KZD_PAS_CompleteSubTree(aux, element, c, added);
        if (rc != KZ_OK) {
            return rc;
        }
        if (c == schemaNode->lastChild) {
            break;
        }
    }
    return KZ_OK;
}

uint32_t skip(KzdCheckAux *, xmlNode *, KzsNode *, uint32_t *)
{
    return KZ_OK;
}

constexpr CompleteFn kCompleteByKind[] = {
    skip,                                 /* unknown */
    KZD_PAS_CompleteDataTreeForContainer, /* container */
    KZD_PAS_CompleteDataTreeForLeaf,      /* leaf */
    KZD_PAS_CompleteDataTreeForLeaflist,  /* leaf-list */
    KZD_PAS_CompleteDataTreeForList,      /* list */
    KZD_PAS_CompleteDataTreeForChoice,    /* choice */
    KZD_PAS_CompleteDataTreeForCase,      /* case */
    skip,                                 /* anydata */
    skip,                                 /* anyxml */
    KZD_PAS_CompleteDataTreeForRpc,       /* action */
    KZD_PAS_CompleteDataTreeForRpc,       /* rpc */
    skip,                                 /* notification */
    KZD_PAS_CompleteDataTreeForInput,     /* input */
    skip,                                 /* output */
    skip,                                 /* augment */
};

/* Children of a list schema node that can add anything to an entry: disabled nodes, kinds
 * that are never completed and leaves without a default add nothing, so they are dropped once
 * for all entries. Everything else keeps its order and goes through KZD_PAS_CompleteSubTree. */
uint32_t CompletableChildren(KzsNode *schemaNode, ChildList &out)
{
    return ChildrenWhere(schemaNode, out, [](KzsNode *c) {
        const bool inert = c->kind <= KZS_NODE_KIND_MAX &&
                           (!KZ_NODE_IsEnabled(c) || kCompleteByKind[c->kind] == skip ||
                            (c->kind == KZS_NODE_LEAF && c->schemaInfo != nullptr &&
                             KZ_NODE_GetDefaultValueStr(c) == nullptr));
        return !inert;
    });
}

/* A text node whose content is shared, a text of the document's dictionary: libxml2 frees and
 * replaces such texts knowing they belong to the dictionary. */
xmlNode *SharedText(xmlDoc *doc, const xmlChar *shared)
{
    xmlNode *node = xmlNewDocText(doc, nullptr);
    if (node != nullptr) {
        node->content = const_cast<xmlChar *>(shared);
    }
    return node;
}

/* A text node holding value. In a document with a dictionary the text is shared from it, as
 * the parser shares names, instead of copied for every added element. */
xmlNode *NewText(xmlDoc *doc, const char *value)
{
    const auto *text = reinterpret_cast<const xmlChar *>(value);
    const xmlChar *shared = doc != nullptr && doc->dict != nullptr ? xmlDictLookup(doc->dict, text, -1) : nullptr;
    return shared != nullptr ? SharedText(doc, shared) : xmlNewDocText(doc, text);
}

/* Appends text (null when it could not be made) as a child of element. */
void AppendText(xmlNode *element, xmlNode *text)
{
    if (text != nullptr && xmlAddChild(element, text) == nullptr) {
        xmlFreeNode(text);
    }
}

/* Non-empty and free of entity references: one text node holds it as it is. */
bool IsPlainText(const char *value)
{
    return value[0] != '\0' && std::strchr(value, '&') == nullptr;
}

/* The element's content becomes value. A plain value is one text node, made directly;
 * anything else goes through libxml2's content parser (entity references, and no text node
 * at all for ""). */
void SetText(xmlNode *element, const char *value)
{
    if (IsPlainText(value)) {
        AppendText(element, NewText(element->doc, value));
        return;
    }
    xmlNodeSetContent(element, reinterpret_cast<const xmlChar *>(value));
}

/* The interned name and text for a default leaf of schemaNode holding value, or null when the
 * document has no dictionary. */
const KzdInternedDefault *InternedDefault(KzdCheckAux *aux, xmlDict *dict, const KzsNode *schemaNode,
                                          const char *value)
{
    KzdInternedDefault &slot =
        aux->internedDefaults[(reinterpret_cast<uintptr_t>(schemaNode) / alignof(KzsNode)) % KZD_INTERNED_DEFAULTS];
    if (slot.schema == schemaNode && slot.value == value) {
        return &slot;
    }
    const xmlChar *name = xmlDictLookup(dict, reinterpret_cast<const xmlChar *>(schemaNode->name), -1);
    const xmlChar *text = xmlDictLookup(dict, reinterpret_cast<const xmlChar *>(value), -1);
    if (name == nullptr || text == nullptr) {
        return nullptr;
    }
    slot = KzdInternedDefault{schemaNode, value, name, text};
    return &slot;
}

/* A leaf holding a default, as KZD_PAS_AddNewChildNodeWithValue makes it, without looking up
 * its name and text in the dictionary for every element when it is in its parent's
 * namespace and its text is plain. */
xmlNode *AddDefaultLeaf(KzdCheckAux *aux, xmlNode *parent, KzsNode *schemaNode, const char *value)
{
    xmlDoc *doc = parent->doc;
    const KzsNode *parentSchema = SchemaOf(parent);
    const KzdInternedDefault *interned =
        IsPlainText(value) && doc != nullptr && doc->dict != nullptr && parentSchema != nullptr &&
                parentSchema->module == schemaNode->module
            ? InternedDefault(aux, doc->dict, schemaNode, value)
            : nullptr;
    if (interned == nullptr) {
        return KZD_PAS_AddNewChildNodeWithValue(parent, schemaNode, value);
    }
    xmlNode *leaf = xmlNewDocNodeEatName(doc, parent->ns, const_cast<xmlChar *>(interned->name), nullptr);
    if (leaf == nullptr) {
        return nullptr;
    }
    xmlAddChild(parent, leaf);
    leaf->_private = schemaNode;
    AppendText(leaf, SharedText(doc, interned->text));
    return leaf;
}

/* Lists an added element, unless nobody will see the tree again: then the list would only be
 * walked to be freed. */
uint32_t ListAdded(KzdCheckAux *aux, xmlNode *element)
{
    return aux->unlistedDefaults ? KZ_OK : KZD_PAS_AddDefaultNodeToList(aux, element);
}

/* Adds a marked element for schemaNode; it is listed only when its parent is not itself added. */
xmlNode *AddMarked(KzdCheckAux *aux, xmlNode *parent, KzsNode *schemaNode, const char *value)
{
    xmlNode *e = value != nullptr ? AddDefaultLeaf(aux, parent, schemaNode, value)
                                  : KZD_NODE_CreateNewChildNode(parent, schemaNode);
    if (e != nullptr) {
        MarkAdded(aux, e);
    }
    return e;
}

} // namespace

extern "C" {

KZ_API uint32_t KZD_PAS_IsDefaultAddNode(const xmlNode *element)
{
    return element != nullptr && element->type == XML_ELEMENT_NODE && element->line == KZD_DEFAULT_ADDED_LINE &&
                   element->psvi != nullptr
               ? 1u
               : 0u;
}

KZ_API xmlNode *KZD_PAS_AddNewChildNodeWithValue(xmlNode *element, KzsNode *schemaNode, const char *value)
{
    xmlNode *child = KZD_NODE_CreateNewChildNode(element, schemaNode);
    if (child != nullptr && value != nullptr) {
        SetText(child, value);
    }
    return child;
}

KZ_API uint32_t KZD_PAS_AddDefaultNodeToList(KzdCheckAux *aux, xmlNode *element)
{
    if (!KZD_PAS_IsDefaultAddNode(element) || KZD_PAS_IsDefaultAddNode(element->parent)) {
        return KZ_OK;
    }
    auto *entry = static_cast<KzdDefaultNode *>(KZ_MemMalloc(sizeof(KzdDefaultNode)));
    if (entry == nullptr) {
        return KZ_ENOMEM;
    }
    KzdDefaultNode *head = &aux->defaultList;
    entry->element = element;
    entry->prev = head;
    entry->next = head->next;
    head->next->prev = entry;
    head->next = entry;
    element->psvi = entry;
    return KZ_OK;
}

KZ_API void KZD_PAS_DeleteDefaultAddNode(KzdCheckAux *aux, xmlNode *element)
{
    if (element == nullptr) {
        return;
    }
    if (!KZD_PAS_IsDefaultAddNode(element->parent) && element->psvi != nullptr &&
        element->psvi != &aux->defaultList) {
        auto *entry = static_cast<KzdDefaultNode *>(element->psvi);
        entry->prev->next = entry->next;
        entry->next->prev = entry->prev;
        KZ_MemFree(entry);
    }
    RemoveElement(element);
}

KZ_API void KZD_PAS_ClearDefaultNodeTreeFlag(xmlNode *element)
{
    ForEachElement(element, [](xmlNode *n) {
        n->line = 0;
        n->psvi = nullptr;
    });
}

KZ_API void KZD_PAS_ClearDefaultNodeList(KzdCheckAux *aux, uint32_t keep)
{
    KzdDefaultNode *head = &aux->defaultList;
    KzdDefaultNode *entry = head->next;
    while (entry != head) {
        KzdDefaultNode *next = entry->next;
        if (keep) {
            KZD_PAS_ClearDefaultNodeTreeFlag(entry->element);
            if (aux->defaultAddedCb != nullptr) {
                aux->defaultAddedCb(entry->element, aux->defaultAddedArg);
            }
        } else {
            RemoveElement(entry->element);
        }
        KZ_MemFree(entry);
        entry = next;
    }
    head->next = head;
    head->prev = head;
}

KZ_API uint32_t KZD_PAS_CompleteSubTree(KzdCheckAux *aux, xmlNode *parent, KzsNode *schemaNode, uint32_t *added)
{
    if (schemaNode->kind > KZS_NODE_KIND_MAX) {
        return KZ_EINVAL;
    }
    if (!KZ_NODE_IsEnabled(schemaNode)) {
        return KZ_OK;
    }
    return kCompleteByKind[schemaNode->kind](aux, parent, schemaNode, added);
}

KZ_API uint32_t KZD_PAS_CompleteTree(KzdCheckAux *aux, xmlNode *op, uint32_t flags)
{
    if ((flags & KZD_CHECK_RPC) == 0) {
        return KZ_OK;
    }
    KzsNode *schema = SchemaOf(op);
    if (schema == nullptr || (schema->kind != KZS_NODE_ACTION && schema->kind != KZS_NODE_RPC)) {
        return KZ_EINVAL;
    }
    uint32_t added = 0;
    return KZD_PAS_CompleteDataTreeForRpc(aux, op, schema, &added);
}

KZ_API uint32_t KZD_PAS_CompleteDataTreeForRpc(KzdCheckAux *aux, xmlNode *parent, KzsNode *schemaNode,
                                               uint32_t *added)
{
    for (KzsNode *c = schemaNode->firstChild; c != nullptr; c = c->next) {
        uint32_t childAdded = 0;
        uint32_t rc = KZD_PAS_CompleteSubTree(aux, parent, c, &childAdded);
        if (rc != KZ_OK) {
            return rc;
        }
        *added |= childAdded;
        if (c == schemaNode->lastChild) {
            break;
        }
    }
    return KZ_OK;
}

KZ_API uint32_t KZD_PAS_CompleteDataTreeForInput(KzdCheckAux *aux, xmlNode *parent, KzsNode *schemaNode,
                                                 uint32_t *added)
{
    return CompleteChildren(aux, parent, schemaNode, added);
}

KZ_API uint32_t KZD_PAS_CompleteDataTreeForCase(KzdCheckAux *aux, xmlNode *parent, KzsNode *schemaNode,
                                                uint32_t *added)
{
    return CompleteChildren(aux, parent, schemaNode, added);
}

KZ_API uint32_t KZD_PAS_CompleteDataTreeForLeaf(KzdCheckAux *aux, xmlNode *parent, KzsNode *schemaNode,
                                                uint32_t *added)
{
    if (schemaNode->schemaInfo == nullptr) {
        return KZ_EINVAL;
    }
    const char *dflt = KZ_NODE_GetDefaultValueStr(schemaNode);
    if (dflt == nullptr || KZD_PAS_FindChildDataNode(parent, schemaNode->name) != nullptr) {
        return KZ_OK;
    }
    xmlNode *leaf = AddMarked(aux, parent, schemaNode, dflt);
    if (leaf == nullptr) {
        return KZ_ENOMEM;
    }
    uint32_t rc = ListAdded(aux, leaf);
    if (rc != KZ_OK) {
        RemoveElement(leaf);
        return rc;
    }
    *added = 1;
    return KZ_OK;
}

KZ_API uint32_t KZD_PAS_CompleteDataTreeForLeaflist(KzdCheckAux *, xmlNode *, KzsNode *, uint32_t *)
{
    /* Leaf-list defaults are not completed. */
    return KZ_OK;
}

KZ_API uint32_t KZD_PAS_CompleteDataTreeForContainer(KzdCheckAux *aux, xmlNode *parent, KzsNode *schemaNode,
                                                     uint32_t *added)
{
    xmlNode *existing = KZD_PAS_FindChildDataNode(parent, schemaNode->name);
    if (existing != nullptr) {
        return CompleteChildren(aux, existing, schemaNode, added);
    }
    if (schemaNode->flags & KZS_NODE_FLAG_PRESENCE) {
        return KZ_OK;
    }
    xmlNode *container = AddMarked(aux, parent, schemaNode, nullptr);
    if (container == nullptr) {
        return KZ_ENOMEM;
    }
    uint32_t inner = 0;
    uint32_t rc = CompleteChildren(aux, container, schemaNode, &inner);
    if (rc == KZ_OK && inner) {
        rc = ListAdded(aux, container);
        if (rc == KZ_OK) {
            *added = 1;
            return KZ_OK;
        }
    }
    RemoveElement(container);
    return rc;
}

KZ_API uint32_t KZD_PAS_CompleteDataTreeForList(KzdCheckAux *aux, xmlNode *parent, KzsNode *schemaNode,
                                                uint32_t *added)
{
    return ForEachEntryChild(parent, schemaNode, CompletableChildren,
                                    [&](xmlNode *e, KzsNode *c) { return KZD_PAS_CompleteSubTree(aux, e, c, added); });
}

KZ_API uint32_t KZD_PAS_CompleteDataTreeForChoice(KzdCheckAux *aux, xmlNode *parent, KzsNode *schemaNode,
                                                  uint32_t *added)
{
    KzsNode *branch = KZD_NODE_GetChoiceInstanceCaseBranch(parent, schemaNode);
    if (branch == nullptr) {
        branch = KZD_MDL_GetChoiceDefaultChildNode(schemaNode);
    }
    return branch != nullptr ? KZD_PAS_CompleteSubTree(aux, parent, branch, added) : KZ_OK;
}

} // extern "C"
