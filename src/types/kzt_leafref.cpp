/* Leafref path constraint: body, fill (JSON-form path, require-instance)
 * and the check of a value through the target's type. */
#include <cstring>

#include "schema/kzs_ctx.h"
#include "base/kz_xml.h"
#include "schema/kzs_mod.h"
#include "schema/kzs_node.h"
#include "types/kzt_cons.h"
#include "types/kzt_seg_util.h"
#include "types/kzt_value_check.h"

extern "C" {

void *KZT_CONS_CreateConsDataBodyWithPath(uint16_t segCount)
{
    (void)segCount;
    return kz::ZeroAlloc<KztConsDataPath>();
}

void KZT_CONS_DestroyConsDataBodyWithPath(KzDict *dict, void *body)
{
    auto *p = static_cast<KztConsDataPath *>(body);
    if (p == nullptr) {
        return;
    }
    if (p->path != nullptr) {
        KZ_DICT_Remove(dict, p->path);
    }
    KZ_MemFree(p);
}

void *KZT_CONS_CopyConsDataBodyWithPath(KzDict *dict, const void *src)
{
    const auto *s = static_cast<const KztConsDataPath *>(src);
    if (dict == nullptr || s == nullptr) {
        return nullptr;
    }
    auto *d = kz::ZeroAlloc<KztConsDataPath>();
    if (d == nullptr) {
        return nullptr;
    }
    d->requireInstance = s->requireInstance;
    if (s->path != nullptr && (d->path = KZ_DICT_Insert(dict, s->path)) == nullptr) {
        KZ_MemFree(d);
        return nullptr;
    }
    return d;
}

uint32_t KZT_LOADER_FillConsDataAndAllPathSeg(KzCtx *ctx, KzMod *mod, xmlNode *typeElem, KztConsFillArg *arg)
{
    if (ctx == nullptr || typeElem == nullptr || arg == nullptr || arg->entry == nullptr ||
        arg->entry->consData == nullptr) {
        return KZ_EINVAL;
    }
    auto *body = static_cast<KztConsDataPath *>(arg->entry->consData);
    xmlNode *elem = KZ_XML_GetFirstChildNodeWithPriVal(typeElem, KZT_MARK_PATH);
    const char *path = (elem != nullptr) ? KZ_XML_GetFirstPropertyValue(elem) : nullptr;
    if (path == nullptr || body->path != nullptr) {
        return KZ_EINVAL;
    }
    /* Only an explicit "false" turns the instance requirement off. */
    body->requireInstance = 1;
    for (xmlNode *c = typeElem->children; c != nullptr; c = c->next) {
        if (c->type == XML_ELEMENT_NODE && kz::types::ElemNameIs(c->name, "require-instance")) {
            const char *v = KZ_XML_GetFirstPropertyValue(c);
            if (v != nullptr && v[0] == 'f') {
                body->requireInstance = 0;
            }
            break;
        }
    }
    if (path[0] != '.' && path[0] != '/') {
        return KZ_EINVAL;
    }
    char *json = KZ_XPATH_TransformToJsonFormat(mod, path);
    if (json == nullptr) {
        return KZ_EINVAL;
    }
    body->path = KZ_DICT_Insert(&ctx->dict, json);
    KZ_MemFree(json);
    return (body->path != nullptr) ? KZ_OK : KZ_ENOMEM;
}

uint32_t KZT_CONS_ValidateValueNodeAgainstDataPath(void *body, uint32_t inputKind, const void *input,
                                                   KztValCheckCtx *chk)
{
    const auto *p = static_cast<const KztConsDataPath *>(body);
    if (p == nullptr || chk == nullptr || chk->schemaNode == nullptr) {
        return KZ_VAL_ERR_LEAFREF;
    }
    const KzsNode *node = chk->schemaNode;
    KzsNode *target = KZ_NODE_GetLeafrefTargetNode(node, 0);
    if (target == nullptr && p->path != nullptr && node->module != nullptr) {
        /* A leafref that is a union member: the node's own type is not a
         * leafref, so resolve this member's path directly. */
        target = KZS_MOD_GetNodeByXpath(node->module, const_cast<KzsNode *>(node), p->path);
    }
    KztRealType *targetType = (target != nullptr) ? KZS_NODE_GetLeafSchemaRealType(target) : nullptr;
    if (targetType == nullptr) {
        return KZ_VAL_ERR_LEAFREF;
    }
    KztValCheckCtx inner;
    if (!kz::types::EnterFreshCheckCtx(chk, target, &inner)) {
        return KZ_VAL_ERR_LEAFREF;
    }
    const uint32_t rc = KZT_TYPE_ValidateValueNodeAgainstRealType(targetType, inputKind, input, &inner);
    kz::types::LeaveFreshCheckCtx(chk, &inner);
    if (rc != KZ_OK) {
        return rc;
    }
    KZT_TYPE_SetMatchRealType(chk, inner.matchRealType != nullptr ? inner.matchRealType : targetType);
    return KZ_OK;
}

} // extern "C"
