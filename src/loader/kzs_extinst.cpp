/* Extension instances: elements of other namespaces inside a module. */
#include <cstring>

#include "loader/kzs_loader.h"
#include "loader/kzs_stmt.h"
#include "schema/kzs_diag.h"
#include "base/kz_xml.h"
#include "schema/kzs_mod.h"
#include "schema/kzs_node.h"

namespace {

constexpr const char *kMsgFindPrefix = "Failed to find module by prefix \"%s\".";
/* No full stop at the end: the text is kept as the embedding process knows it. */
constexpr const char *kMsgParseExtInst = "Failed to parse extension instance \"%s:%s\"";

const char *ElemPrefix(const xmlNode *elem)
{
    if (elem->ns == nullptr || elem->ns->prefix == nullptr) {
        return nullptr;
    }
    return reinterpret_cast<const char *>(elem->ns->prefix);
}

} /* namespace */

extern "C" {

KZ_API uint32_t KZS_LOADER_IsExtInstNeedParse(KzMod *mod, xmlNode *elem)
{
    if (mod == nullptr || elem == nullptr || elem->name == nullptr) {
        return 0;
    }
    const char *prefix = ElemPrefix(elem);
    if (prefix == nullptr) {
        return 0;
    }
    const char *modName = KZS_MOD_GetModuleNameByPrefix(mod, prefix);
    if (modName == nullptr) {
        return 0;
    }
    KzExtInstFilterCbFunc filter = (mod->ctx != nullptr) ? mod->ctx->extInstFilterCbFunc : nullptr;
    if (filter == nullptr) {
        return 1;
    }
    return filter(modName, reinterpret_cast<const char *>(elem->name)) == 0 ? 1u : 0u;
}

KZ_API uint32_t KZS_LOADER_ParseExtInst(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    if (mod == nullptr || mod->ctx == nullptr || elem == nullptr || elem->ns == nullptr || elem->name == nullptr ||
        dest == nullptr) {
        return KZ_EINVAL;
    }
    const char *prefix = ElemPrefix(elem);
    const char *modName = (prefix != nullptr) ? KZS_MOD_GetModuleNameByPrefix(mod, prefix) : nullptr;
    if (modName == nullptr) {
        KZ_CTX_AddModError(mod->ctx, mod->name, kMsgFindPrefix, prefix != nullptr ? prefix : "");
        return KZ_EINVAL;
    }
    KzDict *dict = &mod->ctx->dict;
    KzsNode *node = nullptr;
    KzsExtInst *entry = nullptr;
    if (KZS_LOADER_IsNodeStmtWithExtInst(parentStmt) != 0) {
        /* The framework sized the node's array by the instances it marked;
         * the count is raised here, one slot per instance. */
        node = static_cast<KzsNode *>(dest);
        if (node->extInsts == nullptr) {
            return KZ_EINVAL;
        }
        entry = &node->extInsts[node->extInstCount];
        node->extInstCount++;
    } else {
        entry = static_cast<KzsExtInst *>(dest);
    }
    const char *extName = reinterpret_cast<const char *>(elem->name);
    uint32_t ret = KZS_EXT_FillExtInst(dict, entry, modName, extName, KZ_XML_GetFirstPropertyValue(elem));
    if (ret == KZ_OK) {
        uint16_t childSize = 0;
        SubParseElem elems[] = {
            {KZS_STMT_EXTENSION_INSTANCE, &entry->children, &entry->childCount, &childSize, sizeof(KzsExtInst),
             KZS_SUB_FLAG_ARRAY},
        };
        ret = KZS_LOADER_ParseSubStatements(mod, elem, KZS_STMT_EXTENSION_INSTANCE, elems, 1);
    }
    if (ret != KZ_OK) {
        KZ_CTX_AddModError(mod->ctx, mod->name, kMsgParseExtInst, modName, extName);
        KZS_EXT_ClearExtInst(dict, entry);
        if (node != nullptr) {
            /* All or nothing: the instances parsed before this one are dropped too. */
            for (uint16_t i = 0; i < node->extInstCount; i++) {
                KZS_EXT_ClearExtInst(dict, &node->extInsts[i]);
            }
            node->extInstCount = 0;
        }
        return ret;
    }
    if (node != nullptr) {
        KZS_NODE_SetNacmFlag(node, entry->modName, entry->extName);
    }
    return KZ_OK;
}

} /* extern "C" */
