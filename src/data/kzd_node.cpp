/* Element and schema-node helpers shared by the validation passes. */
#include <cstring>
#include <string>

#include "data/kzd_internal.h"
#include "schema/kzs_ctx.h"
#include "base/kz_xml.h"
#include "schema/kzs_mod.h"
#include "base/kz_kit.h"

using namespace kz::data;

namespace {

bool IsChoiceOrCase(const KzsNode *node)
{
    return node != nullptr && (node->kind == KZS_NODE_CHOICE || node->kind == KZS_NODE_CASE);
}

uint32_t LastBaseType(const char *, const char *, KztRealType *realType, void *arg)
{
    *static_cast<uint32_t *>(arg) = KZ_TYPE_GetBuiltInBaseType(realType);
    return 0;
}

} // namespace

extern "C" {

KZ_API const char *KZD_NODE_GetModuleName(KzCtx *ctx, const xmlNode *element)
{
    if (element == nullptr || element->type != XML_ELEMENT_NODE) {
        return nullptr;
    }
    const KzsNode *schema = SchemaOf(element);
    if (schema != nullptr) {
        return schema->module != nullptr ? schema->module->name : nullptr;
    }
    const char *ns = KZ_XML_GetXmlNodeDefaultNs(element);
    KzMod *mod = ns != nullptr ? KZ_CTX_GetModuleByModNs(ctx, ns) : nullptr;
    return mod != nullptr ? mod->name : nullptr;
}

KZ_API char *KZD_NODE_ConvertPrefixValueToModValue(xmlNode *element, const KzsNode *schemaNode, const char *value)
{
    if (element == nullptr || schemaNode == nullptr || schemaNode->module == nullptr || value == nullptr) {
        return nullptr;
    }
    const char *colon = strchr(value, ':');
    const char *modName = schemaNode->module->name;
    const char *name = value;
    if (colon != nullptr) {
        std::string prefix(value, colon - value);
        xmlNs *ns = xmlSearchNs(element->doc, element, reinterpret_cast<const xmlChar *>(prefix.c_str()));
        KzMod *mod = ns != nullptr && ns->href != nullptr
                         ? KZ_CTX_GetModuleByModNs(schemaNode->module->ctx, reinterpret_cast<const char *>(ns->href))
                         : nullptr;
        if (mod == nullptr) {
            return nullptr;
        }
        modName = mod->name;
        name = colon + 1;
    }
    std::string out = std::string(modName != nullptr ? modName : "") + ":" + name;
    return kz::DupText(out.c_str());
}

KZ_API char *KZD_NODE_GetValueContent(xmlNode *element, const KzsNode *schemaNode)
{
    const char *text = KZ_XML_GetElemNodeContent(element);
    if (text == nullptr) {
        return nullptr;
    }
    if (KZD_MDL_IsIdentityref(schemaNode)) {
        return KZD_NODE_ConvertPrefixValueToModValue(element, schemaNode, text);
    }
    return kz::DupText(text);
}

KZ_API uint32_t KZD_NODE_IsKeyLeafNode(const xmlNode *element)
{
    return KZ_NODE_IsKey(SchemaOf(element)) != 0 ? 1u : 0u;
}

KZ_API xmlNode *KZD_PAS_FindChildDataNode(xmlNode *element, const char *name)
{
    if (element == nullptr || name == nullptr) {
        return nullptr;
    }
    for (xmlNode *c = element->children; c != nullptr; c = c->next) {
        const auto *own = reinterpret_cast<const char *>(c->name);
        if (own != nullptr && own[0] == name[0] && strcmp(own, name) == 0) {
            return c;
        }
    }
    return nullptr;
}

KZ_API xmlNode *KZD_NODE_CreateNewChildNode(xmlNode *parent, KzsNode *schemaNode)
{
    if (parent == nullptr || schemaNode == nullptr || schemaNode->name == nullptr) {
        return nullptr;
    }
    xmlNode *child = xmlNewChild(parent, nullptr, reinterpret_cast<const xmlChar *>(schemaNode->name), nullptr);
    if (child == nullptr) {
        return nullptr;
    }
    child->_private = schemaNode;
    const KzsNode *parentSchema = SchemaOf(parent);
    const KzMod *parentMod = parentSchema != nullptr ? parentSchema->module : nullptr;
    if (schemaNode->module != parentMod && schemaNode->module != nullptr && schemaNode->module->ns != nullptr &&
        xmlNewProp(child, reinterpret_cast<const xmlChar *>("xmlns"),
                   reinterpret_cast<const xmlChar *>(schemaNode->module->ns)) == nullptr) {
        RemoveElement(child);
        return nullptr;
    }
    return child;
}

KZ_API xmlNode *KZD_NODE_GetChildNodeWithSpecifyMdl(xmlNode *element, const KzsNode *schemaNode)
{
    for (xmlNode *c = FirstChildElement(element); c != nullptr; c = NextElement(c)) {
        if (SchemaOf(c) == schemaNode) {
            return c;
        }
    }
    return nullptr;
}

KZ_API KzsNode *KZD_NODE_GetChoiceInstanceCaseBranch(xmlNode *element, const KzsNode *choice)
{
    for (xmlNode *c = FirstChildElement(element); c != nullptr; c = NextElement(c)) {
        for (KzsNode *n = SchemaOf(c); n != nullptr && n->parent != nullptr; n = n->parent) {
            if (n->parent == choice) {
                return n;
            }
            if (!IsChoiceOrCase(n->parent)) {
                break;
            }
        }
    }
    return nullptr;
}

KZ_API uint32_t KZD_MDL_IsChoiceOrCaseNode(const KzsNode *node)
{
    return IsChoiceOrCase(node) ? 1u : 0u;
}

KZ_API KzsNode *KZD_MDL_GetClosestAncestorNodeNotChoiceCase(const KzsNode *node)
{
    KzsNode *p = node != nullptr ? node->parent : nullptr;
    while (IsChoiceOrCase(p)) {
        p = p->parent;
    }
    return p;
}

KZ_API uint32_t KZD_MDL_GetChoiceCaseParentNode(const KzsNode *node, KzsNode **choiceOut, KzsNode **branchOut)
{
    KzsNode *parent = node != nullptr ? node->parent : nullptr;
    if (parent == nullptr) {
        return 0;
    }
    if (parent->kind == KZS_NODE_CHOICE) {
        *choiceOut = parent;
        *branchOut = const_cast<KzsNode *>(node);
        return 1;
    }
    if (parent->kind == KZS_NODE_CASE && parent->parent != nullptr) {
        *choiceOut = parent->parent;
        *branchOut = parent;
        return 1;
    }
    return 0;
}

KZ_API KzsNode *KZD_MDL_GetNextDataNodeInSameMod(KzsNode *node, KzsNode *ancestor)
{
    if (node == nullptr) {
        return nullptr;
    }
    const KzMod *mod = node->module;
    KzsNode *n = node;
    while ((n = KZS_NODE_GetNextDataTreeNode(n, ancestor)) != nullptr) {
        if (n->module == mod && KZ_NODE_IsEnabled(n)) {
            return n;
        }
    }
    return nullptr;
}

KZ_API uint32_t KZD_MDL_IsIdentityref(const KzsNode *node)
{
    const KztRealType *rt = KZ_NODE_GetRealType(node);
    if (rt == nullptr) {
        return 0;
    }
    uint32_t base = KZ_TYPE_GetBuiltInBaseType(rt);
    if (base == KZT_BASE_DERIVED) {
        KZ_TYPE_IterRealTypeDerivedName(const_cast<KztRealType *>(rt), node->module->ctx, LastBaseType, &base);
    }
    return base == KZT_BASE_IDENTITYREF ? 1u : 0u;
}

KZ_API uint32_t KZD_MDL_IsSchemaNodeDefineWithMountPoint(const KzsNode *node)
{
    if (node == nullptr || (node->kind != KZS_NODE_CONTAINER && node->kind != KZS_NODE_LIST)) {
        return 0;
    }
    for (uint16_t i = 0; i < node->extInstCount; ++i) {
        const KzsExtInst &ext = node->extInsts[i];
        if (ext.modName != nullptr && ext.extName != nullptr && strcmp(ext.modName, "ietf-yang-schema-mount") == 0 &&
            strcmp(ext.extName, "mount-point") == 0) {
            return 1;
        }
    }
    return 0;
}

KZ_API uint32_t KZD_MDL_IsSchemaNodeNeedSkipProcChildNode(const KzsNode *node)
{
    if (node == nullptr) {
        return 0;
    }
    if (node->kind == KZS_NODE_ANYDATA || node->kind == KZS_NODE_ANYXML) {
        return 1;
    }
    return KZD_MDL_IsSchemaNodeDefineWithMountPoint(node);
}

KZ_API KzsNode *KZD_MDL_GetChoiceDefaultChildNode(const KzsNode *choice)
{
    if (choice == nullptr || choice->kind != KZS_NODE_CHOICE || choice->schemaInfo == nullptr) {
        return nullptr;
    }
    const char *dflt = static_cast<const KzsChoiceInfo *>(choice->schemaInfo)->defaultCase;
    return dflt != nullptr ? KZS_NODE_FindChildNodeByName(const_cast<KzsNode *>(choice), nullptr, dflt) : nullptr;
}

} // extern "C"
