/* Mandatory check: missing mandatory leaves, anydata, anyxml and choices. */
#include "data/kzd_internal.h"

using namespace kz::data;

namespace {

using CheckFn = uint32_t (*)(KzdCheckAux *, xmlNode *, KzsNode *);

uint32_t skip(KzdCheckAux *, xmlNode *, KzsNode *)
{
    return KZ_OK;
}

constexpr CheckFn kCheckByKind[] = {
    skip,                                /* unknown */
    KZD_PAS_CheckContainerMandatory,     /* container */
    KZD_PAS_CheckDataNodeWithMandatory,  /* leaf */
    skip,                                /* leaf-list */
    KZD_PAS_CheckListMandatory,          /* list */
    KZD_PAS_CheckChoiceMandatory,        /* choice */
    KZD_PAS_CheckCaseMandatory,          /* case */
    KZD_PAS_CheckDataNodeWithMandatory,  /* anydata */
    KZD_PAS_CheckDataNodeWithMandatory,  /* anyxml */
    KZD_PAS_CheckRpcMandatory,           /* action */
    KZD_PAS_CheckRpcMandatory,           /* rpc */
    KZD_PAS_CheckNotifMandatory,         /* notification */
    KZD_PAS_CheckInputMandatory,         /* input */
    skip,                                /* output */
    skip,                                /* augment */
};

/* Children of a list schema node that can be missing from an entry: disabled nodes, kinds
 * that are never checked and leaves, anydata and anyxml that are not mandatory are dropped
 * once for all entries. */
uint32_t CheckableChildren(KzsNode *schemaNode, ChildList &out)
{
    return ChildrenWhere(schemaNode, out, [](KzsNode *c) {
        if (c->kind > KZS_NODE_KIND_MAX || !KZ_NODE_IsEnabled(c) || kCheckByKind[c->kind] == skip) {
            return false;
        }
        return kCheckByKind[c->kind] != KZD_PAS_CheckDataNodeWithMandatory || KZ_NODE_IsMandatory(c) != 0;
    });
}

/* Creates a temporary element for schemaNode under element and asks whether its when
 * conditions hold; the element is always removed again. */
uint32_t WhenHoldsIfPresent(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode, uint32_t *holds,
                               uint32_t (*onHold)(KzdCheckAux *, xmlNode *, KzsNode *))
{
    xmlNode *temp = KZD_NODE_CreateNewChildNode(element, schemaNode);
    if (temp == nullptr) {
        return KZ_ENOMEM;
    }
    uint32_t rc = KZD_PAS_EvalDataNodeWhenCond(aux, temp, holds);
    if (rc == KZ_OK && *holds && onHold != nullptr) {
        rc = onHold(aux, temp, schemaNode);
    }
    RemoveElement(temp);
    return rc;
}

} // namespace

extern "C" {

KZ_API uint32_t KZD_PAS_CheckSchemaNodeMandatory(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode)
{
    if (schemaNode->kind > KZS_NODE_KIND_MAX || !KZ_NODE_IsEnabled(schemaNode)) {
        return KZ_OK;
    }
    return kCheckByKind[schemaNode->kind](aux, element, schemaNode);
}

KZ_API uint32_t KZD_PAS_CheckAllSchemaChildMandatory(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode)
{
    for (KzsNode *c = schemaNode->firstChild; c != nullptr; c = c->next) {
        uint32_t rc = KZD_PAS_CheckSchemaNodeMandatory(aux, element, c);
        if (rc != KZ_OK) {
            return rc;
        }
        if (c == schemaNode->lastChild) {
            break;
        }
    }
    return KZ_OK;
}

KZ_API uint32_t KZD_PAS_CheckCaseMandatory(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode)
{
    return KZD_PAS_CheckAllSchemaChildMandatory(aux, element, schemaNode);
}

KZ_API uint32_t KZD_PAS_CheckNotifMandatory(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode)
{
    return KZD_PAS_CheckAllSchemaChildMandatory(aux, element, schemaNode);
}

KZ_API uint32_t KZD_PAS_CheckInputMandatory(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode)
{
    return KZD_PAS_CheckAllSchemaChildMandatory(aux, element, schemaNode);
}

KZ_API uint32_t KZD_PAS_CheckRpcMandatory(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode)
{
    for (KzsNode *c = schemaNode->firstChild; c != nullptr; c = c->next) {
        if (c->kind == KZS_NODE_INPUT) {
            return KZD_PAS_CheckInputMandatory(aux, element, c);
        }
        if (c == schemaNode->lastChild) {
            break;
        }
    }
    return KZ_OK;
}

KZ_API uint32_t KZD_PAS_CheckContainerMandatory(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode)
{
    xmlNode *child = KZD_NODE_GetChildNodeWithSpecifyMdl(element, schemaNode);
    if (child != nullptr) {
        return KZD_PAS_CheckAllSchemaChildMandatory(aux, child, schemaNode);
    }
    if (schemaNode->flags & KZS_NODE_FLAG_PRESENCE) {
        return KZ_OK;
    }
    /* Mandatory nodes below an absent non-presence container are still required, unless the
     * container's own when is false. */
    uint32_t holds = 1;
    return WhenHoldsIfPresent(aux, element, schemaNode, &holds, KZD_PAS_CheckAllSchemaChildMandatory);
}

KZ_API uint32_t KZD_PAS_CheckDataNodeWithMandatory(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode)
{
    if (!KZ_NODE_IsMandatory(schemaNode) || KZD_NODE_GetChildNodeWithSpecifyMdl(element, schemaNode) != nullptr) {
        return KZ_OK;
    }
    uint32_t holds = 1;
    uint32_t rc = WhenHoldsIfPresent(aux, element, schemaNode, &holds, nullptr);
    if (rc != KZ_OK || !holds) {
        return rc;
    }
    return Report(aux, KZ_ERR_TAG_MISSING_ELEMENT, element, schemaNode->name, "Missing element: %s.",
                      schemaNode->name);
}

KZ_API uint32_t KZD_PAS_CheckListMandatory(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode)
{
    return ForEachEntryChild(element, schemaNode, CheckableChildren,
                                    [&](xmlNode *e, KzsNode *c) { return KZD_PAS_CheckSchemaNodeMandatory(aux, e, c); });
}

KZ_API uint32_t KZD_PAS_CheckChoiceMandatory(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode)
{
    KzsNode *branch = KZD_NODE_GetChoiceInstanceCaseBranch(element, schemaNode);
    if (branch == nullptr) {
        branch = KZD_MDL_GetChoiceDefaultChildNode(schemaNode);
    }
    if (branch != nullptr) {
        return KZD_PAS_CheckSchemaNodeMandatory(aux, element, branch);
    }
    if (!KZ_NODE_IsMandatory(schemaNode)) {
        return KZ_OK;
    }
    Report(aux, KZ_ERR_TAG_DATA_MISSING, element, ElementName(element), "Mandatory choice %s missing element.",
               schemaNode->name);
    KZD_ERR_SetErrorAppTag(aux->err, "missing-choice");
    return KZ_EINVAL;
}

KZ_API uint32_t KZ_PAS_CheckTreeMandatory(KzdCheckAux *aux, xmlNode *op)
{
    if ((aux->flags & (KZD_CHECK_RPC | KZD_CHECK_NOTIF)) == 0) {
        return KZ_EINVAL;
    }
    KzsNode *schema = SchemaOf(op);
    return schema != nullptr ? KZD_PAS_CheckSchemaNodeMandatory(aux, op, schema) : KZ_EINVAL;
}

} // extern "C"
