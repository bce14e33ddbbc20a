/* XPath function library: not, derived-from, derived-from-or-self. */
#include "xpath/kz_xpath.h"

#include <libxml/tree.h>

#include <cstring>

#include "schema/kzs_ctx.h"
#include "base/kz_kit.h"
#include "base/kz_mem.h"
#include "base/kz_xml.h"
#include "schema/kzs_mod.h"

namespace {

constexpr uint32_t kFuncNameBufSize = 21;

struct FuncEntry {
    const char *name;
    XpathFunc func;
};

constexpr FuncEntry kFuncTable[] = {
    {"not", KZ_XPATH_FuncNot},
    {"derived-from", KZ_XPATH_FuncDerivedFrom},
    {"derived-from-or-self", KZ_XPATH_FuncDerivedFromOfSelf},
};

/* Splits "module:name" (or "name") into two bounded buffers. `hasModule` tells
 * whether a module part was present. 0 on success, 22 when a part is too long. */
uint32_t SplitIdentity(const char *text, char *modOut, char *nameOut, bool *hasModule)
{
    const char *colon = std::strchr(text, ':');
    const char *name = colon != nullptr ? colon + 1 : text;
    size_t modLen = colon != nullptr ? static_cast<size_t>(colon - text) : 0;
    size_t nameLen = std::strlen(name);
    if (modLen >= kz::kNameBufSize || nameLen >= kz::kNameBufSize) {
        return KZ_EINVAL;
    }
    std::memcpy(modOut, text, modLen);
    modOut[modLen] = '\0';
    std::memcpy(nameOut, name, nameLen);
    nameOut[nameLen] = '\0';
    *hasModule = colon != nullptr;
    return KZ_OK;
}

const XpathValueAccessor *AccessorOf(const xmlNode *node)
{
    return node->doc != nullptr ? static_cast<const XpathValueAccessor *>(node->doc->_private) : nullptr;
}

uint32_t ValueKind(const xmlNode *node)
{
    const XpathValueAccessor *values = AccessorOf(node);
    return values != nullptr ? values->valueKind(node) : KZ_XPATH_VALUE_NO_SCHEMA;
}

} // namespace

extern "C" {

const char *KZ_XPATH_PlainNodeValue(xmlNode *node)
{
    if (node == nullptr) {
        return "";
    }
    if (node->type != XML_ELEMENT_NODE) {
        return nullptr;
    }
    if (ValueKind(node) == KZ_XPATH_VALUE_IDENTITY) {
        return nullptr;
    }
    xmlNode *only = node->children;
    if (only != nullptr && only->type == XML_TEXT_NODE && only->next == nullptr && only->content != nullptr) {
        /* the common leaf: one text child is the whole content, no need to gather it */
        return reinterpret_cast<const char *>(only->content);
    }
    return nullptr;
}

char *KZ_XPATH_CopyElementNodeContent(xmlNode *node)
{
    const char *plain = KZ_XPATH_PlainNodeValue(node);
    if (plain != nullptr) {
        return kz::DupText(plain);
    }
    if (node->type == XML_ELEMENT_NODE && ValueKind(node) == KZ_XPATH_VALUE_IDENTITY) {
        /* identityref values compare in module:identity form, whatever prefix the document used */
        char *value = AccessorOf(node)->identityValue(node);
        return value != nullptr ? value : kz::DupText("");
    }
    return kz::base::DupTextContent(node); /* entity references stay unexpanded */
}

XpathFunc KZ_XPATH_GetXpathFunction(const char *name, uint32_t nameLength)
{
    if (name == nullptr || nameLength >= kFuncNameBufSize) {
        return nullptr;
    }
    char buf[kFuncNameBufSize];
    std::memcpy(buf, name, nameLength);
    buf[nameLength] = '\0';
    for (const FuncEntry &e : kFuncTable) {
        if (std::strcmp(buf, e.name) == 0) {
            return e.func;
        }
    }
    return nullptr;
}

uint32_t KZ_XPATH_FuncNot(XpathObjStack *stack)
{
    XpathObject *top = KZ_XPATH_PeekObject(stack);
    if (top == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t ret = KZ_XPATH_FuncBooleanInner(top);
    if (ret != KZ_OK) {
        return ret;
    }
    top->val.boolean = top->val.boolean != 0 ? 0u : 1u;
    return KZ_OK;
}

uint32_t KZ_XPATH_FuncDerivedFrom(XpathObjStack *stack)
{
    return KZ_XPATH_FuncDerivedFromInner(stack, 0);
}

uint32_t KZ_XPATH_FuncDerivedFromOfSelf(XpathObjStack *stack)
{
    return KZ_XPATH_FuncDerivedFromInner(stack, 1);
}

uint32_t KZ_XPATH_FuncDerivedFromInner(XpathObjStack *stack, uint32_t orSelf)
{
    XpathObject *identity = KZ_XPATH_GetArgumentByType(stack, KZ_XPATH_OBJ_STRING);
    if (identity == nullptr) {
        return KZ_XPATH_EFUNCARG;
    }
    XpathObject *node = KZ_XPATH_GetArgumentByType(stack, KZ_XPATH_OBJ_NODE);
    if (node == nullptr) {
        KZ_XPATH_FreeObject(identity);
        return KZ_XPATH_EFUNCARG;
    }
    uint32_t result = 0;
    uint32_t ret = KZ_XPATH_EFUNCARG;
    if (node->val.node != nullptr && identity->val.str != nullptr) {
        ret = KZ_XPATH_NodeValueDerivedFromIdentity(node->val.node, identity->val.str, orSelf, &result);
    }
    KZ_XPATH_FreeObject(identity);
    KZ_XPATH_FreeObject(node);
    if (ret != KZ_OK) {
        return ret;
    }
    return KZ_XPATH_PushBooleanToObjStack(stack, result);
}

uint32_t KZ_XPATH_NodeValueDerivedFromIdentity(xmlNode *node, const char *identity, uint32_t orSelf,
                                               uint32_t *result)
{
    if (node == nullptr || identity == nullptr || result == nullptr) {
        return KZ_EINVAL;
    }
    *result = 0;
    const uint32_t kind = ValueKind(node);
    if (kind == KZ_XPATH_VALUE_NO_SCHEMA) {
        return KZ_XPATH_ENOSCHEMA;
    }
    const XpathValueAccessor *values = AccessorOf(node);
    const char *ownModule = values->moduleName(node);
    if (kind != KZ_XPATH_VALUE_IDENTITY || ownModule == nullptr) {
        return KZ_EINVAL;
    }
    char valMod[kz::kNameBufSize];
    char valName[kz::kNameBufSize];
    bool hasModule = false;
    char *value = KZ_XPATH_CopyElementNodeContent(node);
    if (value == nullptr || value[0] == '\0') {
        KZ_MemFree(value);
        return KZ_OK; /* no value (or an unresolvable prefix): nothing derives */
    }
    uint32_t ret = SplitIdentity(value, valMod, valName, &hasModule);
    KZ_MemFree(value);
    if (ret != KZ_OK) {
        return ret;
    }
    if (!hasModule) {
        return KZ_OK;
    }
    const KzsIdentity *found = values->findIdentity(node, valMod, valName);
    if (found == nullptr) {
        return KZ_EINVAL;
    }
    char argMod[kz::kNameBufSize];
    char argName[kz::kNameBufSize];
    ret = SplitIdentity(identity, argMod, argName, &hasModule);
    if (ret != KZ_OK) {
        return ret;
    }
    const char *argModName = argMod;
    if (!hasModule) {
        argModName = ownModule;
    }
    *result = KZ_XPATH_CompareIdentDerivedFrom(found, valMod, valName, argModName, argName, orSelf);
    return KZ_OK;
}

uint32_t KZ_XPATH_CompareIdentDerivedFrom(const KzsIdentity *ident, const char *valueMod, const char *valueName,
                                          const char *argMod, const char *argName, uint32_t orSelf)
{
    if (ident == nullptr || valueMod == nullptr || valueName == nullptr || argMod == nullptr ||
        argName == nullptr) {
        return 0;
    }
    if (orSelf != 0 && std::strcmp(valueMod, argMod) == 0 && std::strcmp(valueName, argName) == 0) {
        return 1;
    }
    for (uint16_t i = 0; i < ident->baseCount; i++) {
        const KzsIdentBase &b = ident->bases[i];
        if (b.modName != nullptr && b.identName != nullptr && std::strcmp(b.modName, argMod) == 0 &&
            std::strcmp(b.identName, argName) == 0) {
            return 1;
        }
    }
    return 0;
}

} // extern "C"
