/* Module-level definitions that are not schema nodes: extension (with
 * argument and yin-element), feature, identity and its bases. */
#include <cstring>

#include "loader/kzs_loader.h"
#include "loader/kzs_stmt.h"
#include "loader/kzs_stmt_util.h"
#include "schema/kzs_diag.h"
#include "base/kz_scan.h"
#include "base/kz_xml.h"
#include "schema/kzs_mod.h"
#include "base/kz_kit.h"

namespace {

using kz::loader::ArrayElem;
using kz::loader::OnceElem;


/* Interns the element's argument into *slot; records the missing-value message. */
uint32_t InternArgument(KzMod *mod, xmlNode *elem, uint32_t stmt, const char **slot)
{
    const char *value = kz::loader::RequireArg(mod, elem, stmt);
    if (value == nullptr) {
        return KZ_EINVAL;
    }
    *slot = KZ_DICT_Insert(&mod->ctx->dict, value);
    return *slot == nullptr ? KZ_ENOMEM : KZ_OK;
}

/* A named definition (extension, feature, identity): its name from the
 * argument, then its sub-statements; when those fail the failure is recorded
 * with the name and the record is cleared. */
template <typename Record, uint32_t N>
uint32_t ParseNamedDefinition(KzMod *mod, xmlNode *elem, uint32_t stmt, Record *rec, SubParseElem (&elems)[N],
                              void (*clear)(KzDict *, Record *))
{
    uint32_t ret = InternArgument(mod, elem, stmt, &rec->name);
    if (ret != KZ_OK) {
        return ret;
    }
    ret = KZS_LOADER_ParseSubStatements(mod, elem, stmt, elems, N);
    if (ret != KZ_OK) {
        KZ_CTX_AddModError(mod->ctx, mod->name, KZS_MSG_PARSE_VALUE, rec->name, kz::loader::Keyword(stmt));
        clear(&mod->ctx->dict, rec);
    }
    return ret;
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
    SubParseElem elems[] = {OnceElem(KZS_STMT_ARGUMENT, ext)};
    return ParseNamedDefinition(mod, elem, KZS_STMT_EXTENSION, ext, elems, KZS_MDL_ClearExtension);
}

KZ_API uint32_t KZS_LOADER_ParseArgument(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    auto *ext = static_cast<KzsExtension *>(dest);
    if (mod == nullptr || elem == nullptr || ext == nullptr) {
        return KZ_EINVAL;
    }
    const char *value = kz::loader::RequireArg(mod, elem, KZS_STMT_ARGUMENT);
    if (value == nullptr) {
        return KZ_EINVAL;
    }
    const char *interned = KZ_DICT_Insert(&mod->ctx->dict, value);
    if (interned == nullptr) {
        KZ_CTX_AddModError(mod->ctx, mod->name, KZS_MSG_PARSE_VALUE, value, "argument");
        return KZ_ENOMEM;
    }
    if (ext->argName != nullptr) {
        KZ_DICT_Remove(&mod->ctx->dict, ext->argName);
    }
    ext->argName = interned;
    SubParseElem elems[] = {OnceElem(KZS_STMT_YIN_ELEMENT, &ext->yinElement)};
    uint32_t ret = KZS_LOADER_ParseSubStatements(mod, elem, KZS_STMT_ARGUMENT, elems, 1);
    /* Only two messages are kept per module: the yin-element's own message and
     * the extension's are the informative ones, so this one is added only
     * when nothing was recorded yet. */
    if (ret != KZ_OK && KZ_CTX_GetErrNodeByModName(mod->ctx, mod->name) == nullptr) {
        KZ_CTX_AddModError(mod->ctx, mod->name, KZS_MSG_PARSE_VALUE, value, "argument");
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
    const char *value = kz::loader::RequireArg(mod, elem, KZS_STMT_YIN_ELEMENT);
    if (value == nullptr) {
        return KZ_EINVAL;
    }
    if (std::strcmp(value, "true") == 0) {
        *yinElement = 1;
    } else if (std::strcmp(value, "false") == 0) {
        *yinElement = 0;
    } else {
        KZ_CTX_AddModError(mod->ctx, mod->name, KZS_MSG_PARSE_VALUE, value, "yin-element");
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
    uint16_t ifFeatureSize = 0;
    SubParseElem elems[] = {
        ArrayElem(KZS_STMT_IF_FEATURE, &feat->ifFeatures, &feat->ifFeatureCount, &ifFeatureSize,
                  sizeof(KzsIfFeature)),
    };
    return ParseNamedDefinition(mod, elem, KZS_STMT_FEATURE, feat, elems, KZS_MDL_ClearFeature);
}

KZ_API uint32_t KZS_LOADER_ParseIdentity(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    auto *ident = static_cast<KzsIdentity *>(dest);
    if (mod == nullptr || elem == nullptr || ident == nullptr) {
        return KZ_EINVAL;
    }
    uint16_t baseSize = 0;
    uint16_t ifFeatureSize = 0;
    SubParseElem elems[] = {
        OnceElem(KZS_STMT_DESCRIPTION, &ident->description),
        ArrayElem(KZS_STMT_BASE, &ident->bases, &ident->baseCount, &baseSize, sizeof(KzsIdentBase)),
        ArrayElem(KZS_STMT_IF_FEATURE, &ident->ifFeatures, &ident->ifFeatureCount, &ifFeatureSize,
                  sizeof(KzsIfFeature)),
    };
    return ParseNamedDefinition(mod, elem, KZS_STMT_IDENTITY, ident, elems, KZS_MDL_ClearIdentity);
}

KZ_API uint32_t KZS_LOADER_ParseIdentBase(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    auto *base = static_cast<KzsIdentBase *>(dest);
    if (mod == nullptr || elem == nullptr || base == nullptr) {
        return KZ_EINVAL;
    }
    const char *value = kz::loader::RequireArg(mod, elem, KZS_STMT_BASE);
    if (value == nullptr) {
        return KZ_EINVAL;
    }
    char prefix[kz::kNameBufSize];
    char name[kz::kNameBufSize];
    if (KZ_UTL_GetXPathNextPrefixAndNode(value, prefix, kz::kNameBufSize, name, kz::kNameBufSize) != KZ_OK) {
        KZ_CTX_AddModError(mod->ctx, mod->name, KZS_MSG_PARSE_XPATH, value);
        return KZ_EINVAL;
    }
    const char *modName = mod->name;
    if (prefix[0] != '\0') {
        modName = KZS_MOD_GetModuleNameByPrefix(mod, prefix);
        if (modName == nullptr) {
            KZ_CTX_AddModError(mod->ctx, mod->name, KZS_MSG_FIND_PREFIX, prefix);
            return KZ_EINVAL;
        }
    }
    uint32_t ret = KZS_MOD_FillIdentBase(&mod->ctx->dict, base, modName, name);
    if (ret != KZ_OK) {
        KZ_CTX_AddModError(mod->ctx, mod->name, KZS_MSG_PARSE_VALUE, value, "base");
    }
    return ret;
}

} /* extern "C" */
