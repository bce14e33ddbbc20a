/* Module-level definitions that are not schema nodes: extension (with
 * argument and yin-element), feature, identity and its bases. */
#include <cstring>

#include "loader/kzs_loader.h"
#include "loader/kzs_stmt.h"
#include "runtime/kz_diag.h"
#include "runtime/kz_mem.h"
#include "runtime/kz_xml.h"
#include "schema/kzs_mod.h"

namespace {

constexpr const char *kMsgGetValue = "Failed to get value of statement \"%s\".";
constexpr const char *kMsgParseValue = "Failed to parse value \"%s\" of statement \"%s\".";
constexpr const char *kMsgParseXpath = "Failed to parse xpath \"%s\".";
constexpr const char *kMsgFindPrefix = "Failed to find module by prefix \"%s\".";
constexpr uint32_t kNameBuf = 65; /* identifier parts of at most 64 characters */

const char *ElemArg(const xmlNode *elem)
{
    return KZ_XML_GetFirstPropertyValue(const_cast<xmlNode *>(elem));
}

SubParseElem Once(uint32_t stmt, void *dest)
{
    return SubParseElem {stmt, dest, nullptr, nullptr, 0, KZS_SUB_FLAG_UNIQUE};
}

SubParseElem Array(uint32_t stmt, void *arrayPtr, uint16_t *fillIndex, uint16_t *count, uint32_t elemSize)
{
    return SubParseElem {stmt, arrayPtr, fillIndex, count, elemSize, KZS_SUB_FLAG_ARRAY};
}

/* Interns the element's argument into *slot; records the missing-value message. */
uint32_t InternArgument(KzMod *mod, xmlNode *elem, uint32_t stmt, const char **slot)
{
    const char *value = ElemArg(elem);
    if (value == nullptr) {
        KZ_CTX_AddModError(mod->ctx, mod->name, kMsgGetValue, KZS_LOADER_GetKeywordByStmt(stmt));
        return KZ_EINVAL;
    }
    *slot = KZ_DICT_Insert(&mod->ctx->dict, value);
    return *slot == nullptr ? KZ_ENOMEM : KZ_OK;
}

} /* namespace */

extern "C" {

KZ_API uint32_t KZS_LOADER_ParseExtension(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    auto *ext = static_cast<KzsExtension *>(dest);
    if (mod == nullptr || elem == nullptr || ext == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t ret = InternArgument(mod, elem, KZS_STMT_EXTENSION, &ext->name);
    if (ret != KZ_OK) {
        return ret;
    }
    SubParseElem elems[] = {Once(KZS_STMT_ARGUMENT, ext)};
    ret = KZS_LOADER_ParseSubStatements(mod, elem, KZS_STMT_EXTENSION, elems, 1);
    if (ret != KZ_OK) {
        KZ_CTX_AddModError(mod->ctx, mod->name, kMsgParseValue, ext->name, "extension");
        KZS_MDL_ClearExtension(&mod->ctx->dict, ext);
    }
    return ret;
}

KZ_API uint32_t KZS_LOADER_ParseArgument(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    auto *ext = static_cast<KzsExtension *>(dest);
    if (mod == nullptr || elem == nullptr || ext == nullptr) {
        return KZ_EINVAL;
    }
    const char *value = ElemArg(elem);
    if (value == nullptr) {
        KZ_CTX_AddModError(mod->ctx, mod->name, kMsgGetValue, "argument");
        return KZ_EINVAL;
    }
    const char *interned = KZ_DICT_Insert(&mod->ctx->dict, value);
    if (interned == nullptr) {
        KZ_CTX_AddModError(mod->ctx, mod->name, kMsgParseValue, value, "argument");
        return KZ_ENOMEM;
    }
    if (ext->argName != nullptr) {
        KZ_DICT_Remove(&mod->ctx->dict, ext->argName);
    }
    ext->argName = interned;
    SubParseElem elems[] = {Once(KZS_STMT_YIN_ELEMENT, &ext->yinElement)};
    uint32_t ret = KZS_LOADER_ParseSubStatements(mod, elem, KZS_STMT_ARGUMENT, elems, 1);
    /* Only two messages are kept per module: the yin-element's own message and
     * the extension's are the informative ones, so this one is added only
     * when nothing was recorded yet. */
    if (ret != KZ_OK && KZ_CTX_GetErrNodeByModName(mod->ctx, mod->name) == nullptr) {
        KZ_CTX_AddModError(mod->ctx, mod->name, kMsgParseValue, value, "argument");
    }
    return ret;
}

KZ_API uint32_t KZS_LOADER_ParseYinElement(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    auto *yinElement = static_cast<uint32_t *>(dest);
    if (mod == nullptr || elem == nullptr || yinElement == nullptr) {
        return KZ_EINVAL;
    }
    const char *value = ElemArg(elem);
    if (value == nullptr) {
        KZ_CTX_AddModError(mod->ctx, mod->name, kMsgGetValue, "yin-element");
        return KZ_EINVAL;
    }
    if (std::strcmp(value, "true") == 0) {
        *yinElement = 1;
    } else if (std::strcmp(value, "false") == 0) {
        *yinElement = 0;
    } else {
        KZ_CTX_AddModError(mod->ctx, mod->name, kMsgParseValue, value, "yin-element");
        return KZ_EINVAL;
    }
    return KZ_OK;
}

KZ_API uint32_t KZS_LOADER_ParseFeature(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    auto *feat = static_cast<KzsFeature *>(dest);
    if (mod == nullptr || elem == nullptr || feat == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t ret = InternArgument(mod, elem, KZS_STMT_FEATURE, &feat->name);
    if (ret != KZ_OK) {
        return ret;
    }
    uint16_t ifFeatureSize = 0;
    SubParseElem elems[] = {
        Array(KZS_STMT_IF_FEATURE, &feat->ifFeatures, &feat->ifFeatureCount, &ifFeatureSize, sizeof(KzsIfFeature)),
    };
    ret = KZS_LOADER_ParseSubStatements(mod, elem, KZS_STMT_FEATURE, elems, 1);
    if (ret != KZ_OK) {
        KZ_CTX_AddModError(mod->ctx, mod->name, kMsgParseValue, feat->name, "feature");
        KZS_MDL_ClearFeature(&mod->ctx->dict, feat);
    }
    return ret;
}

KZ_API uint32_t KZS_LOADER_ParseIdentity(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    auto *ident = static_cast<KzsIdentity *>(dest);
    if (mod == nullptr || elem == nullptr || ident == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t ret = InternArgument(mod, elem, KZS_STMT_IDENTITY, &ident->name);
    if (ret != KZ_OK) {
        return ret;
    }
    uint16_t baseSize = 0;
    uint16_t ifFeatureSize = 0;
    SubParseElem elems[] = {
        Once(KZS_STMT_DESCRIPTION, &ident->description),
        Array(KZS_STMT_BASE, &ident->bases, &ident->baseCount, &baseSize, sizeof(KzsIdentBase)),
        Array(KZS_STMT_IF_FEATURE, &ident->ifFeatures, &ident->ifFeatureCount, &ifFeatureSize,
              sizeof(KzsIfFeature)),
    };
    ret = KZS_LOADER_ParseSubStatements(mod, elem, KZS_STMT_IDENTITY, elems, 3);
    if (ret != KZ_OK) {
        KZ_CTX_AddModError(mod->ctx, mod->name, kMsgParseValue, ident->name, "identity");
        KZS_MDL_ClearIdentity(&mod->ctx->dict, ident);
    }
    return ret;
}

KZ_API uint32_t KZS_LOADER_ParseIdentBase(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    auto *base = static_cast<KzsIdentBase *>(dest);
    if (mod == nullptr || elem == nullptr || base == nullptr) {
        return KZ_EINVAL;
    }
    const char *value = ElemArg(elem);
    if (value == nullptr) {
        KZ_CTX_AddModError(mod->ctx, mod->name, kMsgGetValue, "base");
        return KZ_EINVAL;
    }
    char prefix[kNameBuf];
    char name[kNameBuf];
    if (KZ_UTL_GetXPathNextPrefixAndNode(value, prefix, kNameBuf, name, kNameBuf) != KZ_OK) {
        KZ_CTX_AddModError(mod->ctx, mod->name, kMsgParseXpath, value);
        return KZ_EINVAL;
    }
    const char *modName = mod->name;
    if (prefix[0] != '\0') {
        modName = KZS_MOD_GetModuleNameByPrefix(mod, prefix);
        if (modName == nullptr) {
            KZ_CTX_AddModError(mod->ctx, mod->name, kMsgFindPrefix, prefix);
            return KZ_EINVAL;
        }
    }
    uint32_t ret = KZS_MOD_FillIdentBase(&mod->ctx->dict, base, modName, name);
    if (ret != KZ_OK) {
        KZ_CTX_AddModError(mod->ctx, mod->name, kMsgParseValue, value, "base");
    }
    return ret;
}

} /* extern "C" */
