/* Structure pass: binds every element to its schema node and checks names, namespaces,
 * multiplicity, values, the action, element order and case exclusivity. */
#include <cstring>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "data/kzd_internal.h"
#include "schema/kzs_ctx.h"
#include "base/kz_xml.h"
#include "schema/kzs_mod.h"

using namespace kz::data;

namespace {

constexpr size_t kValueShownMax = 256; /* longer values are cut in messages */
constexpr size_t kValueShownCut = 253;

/* Schema nodes seen under one parent, each with a value. Most parents have a few such
 * children, kept in a small inline array (no allocation, and nothing to initialise, per
 * element); past that a hash map, made then, keeps every lookup constant-time. */
template <typename V>
class SeenMap {
public:
    /* Stores value for key unless key is there; returns the stored value and whether it is new. */
    std::pair<V, bool> Emplace(const KzsNode *key, V value)
    {
        if (spill_ == nullptr) {
            for (uint32_t i = 0; i < count_; ++i) {
                if (inline_[i].key == key) {
                    return {inline_[i].value, false};
                }
            }
            if (count_ < kInline) {
                inline_[count_++] = {key, value};
                return {value, true};
            }
            spill_ = std::make_unique<std::unordered_map<const KzsNode *, V>>();
            for (const Slot &slot : inline_) {
                spill_->emplace(slot.key, slot.value);
            }
        }
        auto seen = spill_->emplace(key, value);
        return {seen.first->second, seen.second};
    }

private:
    struct Slot {
        const KzsNode *key;
        V value;
    };
    static constexpr uint32_t kInline = 8;
    Slot inline_[kInline];
    uint32_t count_ = 0;
    std::unique_ptr<std::unordered_map<const KzsNode *, V>> spill_;
};

/* What the siblings bound so far under one parent have shown: single-instance schema nodes,
 * and the branch taken for each choice. It replaces scans of all earlier siblings. */
struct SiblingState {
    SeenMap<bool> single;
    SeenMap<const KzsNode *> branches;
};

uint32_t unexpected(KzdCheckAux *aux, xmlNode *element)
{
    return Report(aux, KZ_ERR_TAG_UNKNOWN_ELEMENT, element, ElementName(element), "Unexpected element: %s.",
                      ElementName(element));
}

bool IsMultiInstance(const KzsNode *node)
{
    return node->kind == KZS_NODE_LEAFLIST || node->kind == KZS_NODE_LIST;
}

uint32_t CheckSingleInstance(KzdCheckAux *aux, xmlNode *element, SiblingState &state)
{
    const KzsNode *schema = SchemaOf(element);
    if (element->parent == aux->root || IsMultiInstance(schema)) {
        return KZ_OK;
    }
    if (!state.single.Emplace(schema, true).second) {
        return unexpected(aux, element);
    }
    return KZ_OK;
}

uint32_t CheckCases(KzdCheckAux *aux, xmlNode *element, SiblingState &state)
{
    KzsNode *choice = nullptr;
    KzsNode *branch = nullptr;
    if (!KZD_MDL_GetChoiceCaseParentNode(SchemaOf(element), &choice, &branch)) {
        return KZ_OK;
    }
    auto seen = state.branches.Emplace(choice, branch);
    if (!seen.second && seen.first != branch && KZD_PAS_IsUnderRpcOrActionTree(aux)) {
        return Report(aux, KZ_ERR_TAG_BAD_ELEMENT, element, ElementName(element),
                          "Data for more than one case branch of a choice is present.");
    }
    return KZ_OK;
}

/* Module names of unbound elements by their namespace, remembering the last namespace asked
 * for: the elements of a request mostly share one declaration. */
class ModuleNames {
public:
    /* An instance element binds only through the namespace of a loaded module: one in any
     * other namespace (or none) is not read as belonging to its parent's module. */
    const char *Of(KzdCheckAux *aux, const xmlNode *element)
    {
        if (element->ns == nullptr) {
            return nullptr;
        }
        if (element->ns != ns_) {
            const char *uri = KZ_XML_GetXmlNodeDefaultNs(element);
            const KzMod *mod = uri != nullptr ? KZ_CTX_GetModuleByModNs(aux->ctx, uri) : nullptr;
            name_ = mod != nullptr ? mod->name : nullptr;
            ns_ = element->ns;
        }
        return name_;
    }

private:
    const xmlNs *ns_ = nullptr;
    const char *name_ = nullptr;
};

/* Schema nodes of elements by parent schema node, element name and namespace, remembered
 * for one walk. A parsed document takes its names from its dictionary, so the children of
 * every entry of a list share their name pointers and find their schema nodes without a
 * search; other trees just miss. Nothing is freed during a walk, so a pointer stays put. */
class ChildSchemas {
public:
    KzsNode *Find(KzdCheckAux *aux, const xmlNode *element, KzsNode *parentSchema)
    {
        const auto key = reinterpret_cast<uintptr_t>(parentSchema) ^ reinterpret_cast<uintptr_t>(element->name);
        Slot &slot = slots_[(key ^ (key >> 7) ^ (key >> 13)) % kSlots];
        if (slot.schema != nullptr && slot.parent == parentSchema && slot.name == element->name &&
            slot.ns == element->ns) {
            return slot.schema;
        }
        const char *module = modules_.Of(aux, element);
        KzsNode *schema = module != nullptr
                              ? KZS_NODE_FindChildDataTreeNodeByName(parentSchema, module, ElementName(element))
                              : nullptr;
        if (schema != nullptr) {
            slot = Slot {parentSchema, element->name, element->ns, schema};
        }
        return schema;
    }

private:
    struct Slot {
        const KzsNode *parent;
        const xmlChar *name;
        const xmlNs *ns;
        KzsNode *schema;
    };
    static constexpr size_t kSlots = 64;
    Slot slots_[kSlots] = {};
    ModuleNames modules_;
};

/* Steps of binding one child element, in order; the sibling checks use the parent's state. */
uint32_t BindChild(KzdCheckAux *aux, xmlNode *element, KzsNode *parentSchema, SiblingState &state,
                    ChildSchemas &schemas)
{
    if (element->_private != nullptr) {
        return KZ_OK;
    }
    KzsNode *schema = schemas.Find(aux, element, parentSchema);
    if (schema == nullptr) {
        return unexpected(aux, element);
    }
    element->_private = schema;
    uint32_t rc = CheckSingleInstance(aux, element, state);
    if (rc == KZ_OK) {
        rc = KZD_PAS_CheckDataNodeValue(aux, element);
    }
    if (rc == KZ_OK && schema->kind == KZS_NODE_ACTION) {
        rc = KZD_PAS_CheckActionNodeRepeat(aux, element);
    }
    if (rc == KZ_OK) {
        rc = KZD_PAS_CheckElementNodeOrder(aux, element);
    }
    if (rc == KZ_OK) {
        rc = CheckCases(aux, element, state);
    }
    return rc;
}

/* One element whose children are being bound. Made in place with its sibling state
 * default-initialised: a value-initialised one would clear both inline arrays, a block
 * clear per element that cost more than binding the element's children. */
struct Frame {
    Frame(xmlNode *e, xmlNode *firstChild, bool isAction) : element(e), next(firstChild), action(isAction) {}
    xmlNode *element;
    xmlNode *next; /* next child element to bind */
    bool action;
    SiblingState state;
};

/* Checks an element's own content; returns false when its children are not to be bound. */
bool EnterElement(KzdCheckAux *aux, xmlNode *element, uint32_t *rc)
{
    const KzsNode *schema = SchemaOf(element);
    *rc = KZ_OK;
    if (schema == nullptr) {
        return false;
    }
    if (schema->kind == KZS_NODE_ANYDATA || schema->kind == KZS_NODE_ANYXML) {
        return false;
    }
    if (KZD_MDL_IsSchemaNodeDefineWithMountPoint(schema)) {
        aux->flags |= KZD_CHECK_MOUNT_SEEN;
        return false;
    }
    if (schema->kind == KZS_NODE_LEAF || schema->kind == KZS_NODE_LEAFLIST) {
        *rc = KZD_PAS_CheckLeafXmlNodeType(aux, element);
        return false;
    }
    return true;
}

/* Binds the subtree below element without recursion. */
uint32_t WalkChildren(KzdCheckAux *aux, xmlNode *element)
{
    uint32_t rc;
    if (!EnterElement(aux, element, &rc)) {
        return rc;
    }
    std::vector<Frame> stack;
    ChildSchemas schemas;
    auto push = [&](xmlNode *e) {
        bool action = SchemaOf(e)->kind == KZS_NODE_ACTION;
        if (action) {
            aux->flags |= KZD_CHECK_IN_ACTION;
        }
        stack.emplace_back(e, FirstChildElement(e), action);
    };
    push(element);
    while (!stack.empty()) {
        Frame &top = stack.back();
        xmlNode *child = top.next;
        if (child == nullptr) {
            if (top.action) {
                aux->flags &= ~KZD_CHECK_IN_ACTION;
            }
            stack.pop_back();
            continue;
        }
        top.next = NextElement(child);
        rc = BindChild(aux, child, SchemaOf(top.element), top.state, schemas);
        if (rc != KZ_OK) {
            return rc;
        }
        if (EnterElement(aux, child, &rc)) {
            push(child);
        } else if (rc != KZ_OK) {
            return rc;
        }
    }
    return KZ_OK;
}

} // namespace

extern "C" {

KZ_API uint32_t KZD_PAS_IsUnderRpcOrActionTree(const KzdCheckAux *aux)
{
    if (aux->flags & KZD_CHECK_ACTION) {
        return (aux->flags & KZD_CHECK_IN_ACTION) ? 1u : 0u;
    }
    return (aux->flags & KZD_CHECK_RPC) ? 1u : 0u;
}

KZ_API uint32_t KZD_PAS_CheckTopSchemaNode(KzdCheckAux *aux, xmlNode *top, KzsNode *schemaNode)
{
    if ((aux->flags & KZD_CHECK_RPC) && schemaNode->kind != KZS_NODE_RPC) {
        aux->flags |= KZD_CHECK_ACTION;
    }
    if ((aux->flags & KZD_CHECK_NOTIF) && schemaNode->kind != KZS_NODE_NOTIF) {
        return unexpected(aux, top);
    }
    return KZ_OK;
}

KZ_API uint32_t KZD_PAS_FlushTreeWithSchema(KzdCheckAux *aux, xmlNode *top)
{
    if (top == nullptr) {
        return KZ_EINVAL;
    }
    if (top->_private != nullptr) {
        return KZ_OK;
    }
    if (top->type != XML_ELEMENT_NODE) {
        return KZ_EINVAL;
    }
    const char *ns = KZ_XML_GetXmlNodeDefaultNs(top);
    if (ns == nullptr) {
        return KZ_EINVAL;
    }
    KzMod *mod = KZ_CTX_GetModuleByModNs(aux->ctx, ns);
    if (mod == nullptr) {
        return Report(aux, KZ_ERR_TAG_UNKNOWN_NAMESPACE, top, ElementName(top), "%s has invalid namespace: %s.",
                          ElementName(top), ns);
    }
    KzsNode *schema = KZS_MOD_FindTopLevelSchemaNode(mod, ElementName(top));
    if (schema == nullptr) {
        return unexpected(aux, top);
    }
    top->_private = schema;
    uint32_t rc = KZD_PAS_CheckTopSchemaNode(aux, top, schema);
    return rc != KZ_OK ? rc : KZD_PAS_FlushAllElementChildNodeWithSchema(aux, top);
}

KZ_API uint32_t KZD_PAS_FlushAllElementChildNodeWithSchema(KzdCheckAux *aux, xmlNode *element)
{
    return WalkChildren(aux, element);
}

KZ_API uint32_t KZD_PAS_FlushSubTreeWithSchema(KzdCheckAux *aux, xmlNode *element, KzsNode *parentSchema)
{
    if (element->_private != nullptr) {
        return KZ_OK;
    }
    /* Standalone binding of one element: its earlier siblings give the sibling state. */
    SiblingState state;
    for (xmlNode *s = FirstChildElement(element->parent); s != nullptr && s != element;
         s = NextElement(s)) {
        const KzsNode *schema = SchemaOf(s);
        KzsNode *choice = nullptr;
        KzsNode *branch = nullptr;
        if (schema != nullptr && !IsMultiInstance(schema)) {
            state.single.Emplace(schema, true);
        }
        if (KZD_MDL_GetChoiceCaseParentNode(schema, &choice, &branch)) {
            state.branches.Emplace(choice, branch);
        }
    }
    ChildSchemas schemas;
    uint32_t rc = BindChild(aux, element, parentSchema, state, schemas);
    return rc != KZ_OK ? rc : WalkChildren(aux, element);
}

KZ_API uint32_t KZD_PAS_CheckLeafXmlNodeType(KzdCheckAux *aux, xmlNode *element)
{
    xmlNode *first = element->children;
    if (first == nullptr) {
        return KZ_OK;
    }
    if (first->type != XML_TEXT_NODE) {
        return unexpected(aux, element);
    }
    if (first->next != nullptr) {
        return unexpected(aux, first->next);
    }
    return KZ_OK;
}

KZ_API uint32_t KZD_PAS_CheckMultipleInstanceNode(KzdCheckAux *aux, xmlNode *element)
{
    const KzsNode *schema = SchemaOf(element);
    if (schema == nullptr || element->parent == aux->root || IsMultiInstance(schema)) {
        return KZ_OK;
    }
    for (xmlNode *s = element->prev; s != nullptr; s = s->prev) {
        if (SchemaOf(s) == schema) {
            return unexpected(aux, element);
        }
    }
    return KZ_OK;
}

KZ_API uint32_t KZD_PAS_SetInvalidValueErr(KzdCheckAux *aux, xmlNode *element)
{
    const char *text = KZ_XML_GetElemNodeContent(element);
    std::string shown = text != nullptr ? text : "";
    if (shown.size() > kValueShownMax) {
        shown = shown.substr(0, kValueShownCut) + "...";
    }
    return Report(aux, KZ_ERR_TAG_BAD_ELEMENT, element, ElementName(element), "%s has invalid value %s.",
                      ElementName(element), shown.c_str());
}

KZ_API uint32_t KZD_PAS_CheckDataNodeValue(KzdCheckAux *aux, xmlNode *element)
{
    const KzsNode *schema = SchemaOf(element);
    if (schema == nullptr || (schema->kind != KZS_NODE_LEAF && schema->kind != KZS_NODE_LEAFLIST) ||
        (aux->flags & KZD_CHECK_NOTIF)) {
        return KZ_OK;
    }
    uint32_t rc = KZ_NODE_ValidateValue(schema, KZ_VAL_INPUT_XMLNODE, element);
    if (rc != KZ_OK) {
        KZD_PAS_SetInvalidValueErr(aux, element);
    }
    return rc;
}

KZ_API uint32_t KZD_PAS_CheckActionNodeRepeat(KzdCheckAux *aux, xmlNode *element)
{
    if ((aux->flags & KZD_CHECK_ACTION) == 0) {
        return KZ_EINVAL;
    }
    if (aux->actionElement != nullptr) {
        return unexpected(aux, element);
    }
    aux->actionElement = element;
    return KZ_OK;
}

KZ_API uint32_t KZD_PAS_CheckElementNodeOrder(KzdCheckAux *aux, xmlNode *element)
{
    if (!KZD_PAS_IsUnderRpcOrActionTree(aux) || element->prev == nullptr) {
        return KZ_OK;
    }
    xmlNode *prev = element->prev;
    const KzsNode *prevSchema = SchemaOf(prev);
    KzsNode *schema = SchemaOf(element);
    if (prevSchema == nullptr || schema == nullptr || prevSchema == schema) {
        return KZ_OK; /* entries of one list or leaf-list follow each other */
    }
    KzsNode *ancestor = KZD_MDL_GetClosestAncestorNodeNotChoiceCase(schema);
    for (KzsNode *n = KZD_MDL_GetNextDataNodeInSameMod(schema, ancestor); n != nullptr;
         n = KZD_MDL_GetNextDataNodeInSameMod(n, ancestor)) {
        if (n == prevSchema) {
            Report(aux, KZ_ERR_TAG_MISSING_ELEMENT, element, ElementName(element),
                       "Invalid element order between %s and %s.", ElementName(element),
                       reinterpret_cast<const char *>(prev->name));
            return KZ_EINVAL;
        }
    }
    return KZ_OK;
}

KZ_API uint32_t KZD_PAS_CheckMultiCases(KzdCheckAux *aux, xmlNode *element)
{
    if (!KZD_PAS_IsUnderRpcOrActionTree(aux)) {
        return KZ_OK;
    }
    KzsNode *choice = nullptr;
    KzsNode *branch = nullptr;
    if (!KZD_MDL_GetChoiceCaseParentNode(SchemaOf(element), &choice, &branch)) {
        return KZ_OK;
    }
    for (xmlNode *s = FirstChildElement(element->parent); s != nullptr && s != element;
         s = NextElement(s)) {
        KzsNode *otherChoice = nullptr;
        KzsNode *otherBranch = nullptr;
        if (KZD_MDL_GetChoiceCaseParentNode(SchemaOf(s), &otherChoice, &otherBranch) && otherChoice == choice &&
            otherBranch != branch) {
            return Report(aux, KZ_ERR_TAG_BAD_ELEMENT, element, ElementName(element),
                              "Data for more than one case branch of a choice is present.");
        }
    }
    return KZ_OK;
}

} // extern "C"
