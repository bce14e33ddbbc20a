/* Validation of rpc/action requests and notifications against loaded schemas. */
#ifndef KZD_VALID_H
#define KZD_VALID_H

#include <libxml/tree.h>

#include "korla.h"
#include "schema/kzs_node.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Mode bits of KzdCheckAux.flags. */
#define KZD_CHECK_RPC        0x1u
#define KZD_CHECK_NOTIF      0x2u
#define KZD_CHECK_ACTION     0x4u
#define KZD_CHECK_IN_ACTION  0x8u
#define KZD_CHECK_MOUNT_SEEN 0x10u

/* Condition results of the XPath engine. */
#define KZD_COND_FALSE 0x7100u

/* Mark in xmlNode.line of an element added by default completion. */
#define KZD_DEFAULT_ADDED_LINE 256u

#define KZD_ERR_MAX_TEXT 10240u

struct KzdErrNode {
    uint32_t errorType;
    uint32_t severity;
    uint32_t tag;
    char *appTag;
    char *path;
    char *message;
    char *badElement;
    char *badAttribute;
};

/* One entry of the list of added default subtrees. */
typedef struct KzdDefaultNode {
    struct KzdDefaultNode *next;
    struct KzdDefaultNode *prev;
    xmlNode *element;
} KzdDefaultNode;

typedef struct KzXpathLexCache KzXpathLexCache;

/* A default leaf's name and text, interned in the validated document's dictionary once per
 * validation and shared by every element added for it. */
typedef struct KzdInternedDefault {
    const KzsNode *schema;
    const char *value; /* the default it was interned from */
    const xmlChar *name;
    const xmlChar *text;
} KzdInternedDefault;

#define KZD_INTERNED_DEFAULTS 8u

typedef struct KzdCheckAux {
    KzCtx *ctx;
    uint32_t flags;
    xmlNode *root;          /* parent of the validated top element */
    xmlNode *actionElement; /* the action found in an action request */
    KzdErrNode *err;
    KzdDefaultNode defaultList; /* head; links to itself when empty */
    KzDefaultAddedCb defaultAddedCb;
    void *defaultAddedArg;
    KzXpathLexCache *condCache; /* conditions tokenized once per validation */
    KzdInternedDefault internedDefaults[KZD_INTERNED_DEFAULTS]; /* by schema node address */
    uint32_t unlistedDefaults; /* the tree is freed unseen after validation: added elements go unlisted */
} KzdCheckAux;

/* Error records. */
KZ_API KzdErrNode *KZD_ERR_NewErrNode(KzdCheckAux *aux, uint32_t type, uint32_t severity, uint32_t tag,
                                      xmlNode *element);
KZ_API void KZD_ERR_SetErrorMsg(KzdErrNode *err, const char *format, ...) __attribute__((format(printf, 2, 3)));
KZ_API void KZD_ERR_SetErrorAppTag(KzdErrNode *err, const char *text);
KZ_API void KZD_ERR_SetBadElement(KzdErrNode *err, const char *text);
KZ_API char *KZD_ERR_GeneralErrorPath(KzdCheckAux *aux, xmlNode *element);
KZ_API char KZD_ERR_GetValueBoundaryQuota(const char *value);

/* Element helpers. */
KZ_API const char *KZD_NODE_GetModuleName(KzCtx *ctx, const xmlNode *element);
KZ_API char *KZD_NODE_GetValueContent(xmlNode *element, const KzsNode *schemaNode);
KZ_API char *KZD_NODE_ConvertPrefixValueToModValue(xmlNode *element, const KzsNode *schemaNode, const char *value);
KZ_API uint32_t KZD_NODE_IsKeyLeafNode(const xmlNode *element);
KZ_API xmlNode *KZD_PAS_FindChildDataNode(xmlNode *element, const char *name);
KZ_API xmlNode *KZD_NODE_CreateNewChildNode(xmlNode *parent, KzsNode *schemaNode);
KZ_API xmlNode *KZD_NODE_GetChildNodeWithSpecifyMdl(xmlNode *element, const KzsNode *schemaNode);
KZ_API KzsNode *KZD_NODE_GetChoiceInstanceCaseBranch(xmlNode *element, const KzsNode *choice);

/* Schema-side helpers. */
KZ_API uint32_t KZD_MDL_IsChoiceOrCaseNode(const KzsNode *node);
KZ_API KzsNode *KZD_MDL_GetClosestAncestorNodeNotChoiceCase(const KzsNode *node);
KZ_API uint32_t KZD_MDL_GetChoiceCaseParentNode(const KzsNode *node, KzsNode **choiceOut, KzsNode **branchOut);
KZ_API KzsNode *KZD_MDL_GetNextDataNodeInSameMod(KzsNode *node, KzsNode *ancestor);
KZ_API uint32_t KZD_MDL_IsIdentityref(const KzsNode *node);
KZ_API uint32_t KZD_MDL_IsSchemaNodeDefineWithMountPoint(const KzsNode *node);
KZ_API uint32_t KZD_MDL_IsSchemaNodeNeedSkipProcChildNode(const KzsNode *node);
KZ_API KzsNode *KZD_MDL_GetChoiceDefaultChildNode(const KzsNode *choice);

/* Pipeline. */
KZ_API void KZD_PAS_InitCheckAux(KzdCheckAux *aux, KzCtx *ctx, uint32_t flags, KzDefaultAddedCb cb, void *arg);
KZ_API uint32_t KZD_PAS_ValidateDataTree(KzdCheckAux *aux, xmlNode *top);
KZ_API void KZD_PAS_ClearXmlTreePrivate(xmlNode *element);
KZ_API uint32_t KZD_PAS_IsUnderRpcOrActionTree(const KzdCheckAux *aux);

/* Structure pass. */
KZ_API uint32_t KZD_PAS_FlushTreeWithSchema(KzdCheckAux *aux, xmlNode *top);
KZ_API uint32_t KZD_PAS_CheckTopSchemaNode(KzdCheckAux *aux, xmlNode *top, KzsNode *schemaNode);
KZ_API uint32_t KZD_PAS_FlushAllElementChildNodeWithSchema(KzdCheckAux *aux, xmlNode *element);
KZ_API uint32_t KZD_PAS_FlushSubTreeWithSchema(KzdCheckAux *aux, xmlNode *element, KzsNode *parentSchema);
KZ_API uint32_t KZD_PAS_CheckLeafXmlNodeType(KzdCheckAux *aux, xmlNode *element);
KZ_API uint32_t KZD_PAS_CheckMultipleInstanceNode(KzdCheckAux *aux, xmlNode *element);
KZ_API uint32_t KZD_PAS_CheckDataNodeValue(KzdCheckAux *aux, xmlNode *element);
KZ_API uint32_t KZD_PAS_SetInvalidValueErr(KzdCheckAux *aux, xmlNode *element);
KZ_API uint32_t KZD_PAS_CheckActionNodeRepeat(KzdCheckAux *aux, xmlNode *element);
KZ_API uint32_t KZD_PAS_CheckElementNodeOrder(KzdCheckAux *aux, xmlNode *element);
KZ_API uint32_t KZD_PAS_CheckMultiCases(KzdCheckAux *aux, xmlNode *element);

/* Default completion and the default list. */
KZ_API uint32_t KZD_PAS_IsDefaultAddNode(const xmlNode *element);
KZ_API uint32_t KZD_PAS_CompleteTree(KzdCheckAux *aux, xmlNode *op, uint32_t flags);
KZ_API uint32_t KZD_PAS_CompleteSubTree(KzdCheckAux *aux, xmlNode *parent, KzsNode *schemaNode, uint32_t *added);
KZ_API uint32_t KZD_PAS_CompleteDataTreeForContainer(KzdCheckAux *aux, xmlNode *parent, KzsNode *schemaNode,
                                                     uint32_t *added);
KZ_API uint32_t KZD_PAS_CompleteDataTreeForLeaf(KzdCheckAux *aux, xmlNode *parent, KzsNode *schemaNode,
                                                uint32_t *added);
KZ_API uint32_t KZD_PAS_CompleteDataTreeForLeaflist(KzdCheckAux *aux, xmlNode *parent, KzsNode *schemaNode,
                                                    uint32_t *added);
KZ_API uint32_t KZD_PAS_CompleteDataTreeForList(KzdCheckAux *aux, xmlNode *parent, KzsNode *schemaNode,
                                                uint32_t *added);
KZ_API uint32_t KZD_PAS_CompleteDataTreeForChoice(KzdCheckAux *aux, xmlNode *parent, KzsNode *schemaNode,
                                                  uint32_t *added);
KZ_API uint32_t KZD_PAS_CompleteDataTreeForCase(KzdCheckAux *aux, xmlNode *parent, KzsNode *schemaNode,
                                                uint32_t *added);
KZ_API uint32_t KZD_PAS_CompleteDataTreeForRpc(KzdCheckAux *aux, xmlNode *parent, KzsNode *schemaNode,
                                               uint32_t *added);
KZ_API uint32_t KZD_PAS_CompleteDataTreeForInput(KzdCheckAux *aux, xmlNode *parent, KzsNode *schemaNode,
                                                 uint32_t *added);
KZ_API xmlNode *KZD_PAS_AddNewChildNodeWithValue(xmlNode *element, KzsNode *schemaNode, const char *value);
KZ_API uint32_t KZD_PAS_AddDefaultNodeToList(KzdCheckAux *aux, xmlNode *element);
KZ_API void KZD_PAS_DeleteDefaultAddNode(KzdCheckAux *aux, xmlNode *element);
KZ_API void KZD_PAS_ClearDefaultNodeTreeFlag(xmlNode *element);
KZ_API void KZD_PAS_ClearDefaultNodeList(KzdCheckAux *aux, uint32_t keep);

/* Conditions. */
KZ_API uint32_t KZD_PAS_EvalDataTreeWhenMust(KzdCheckAux *aux, xmlNode *op);
KZ_API uint32_t KZD_PAS_EvalDataTreeWhen(KzdCheckAux *aux, xmlNode *op);
KZ_API uint32_t KZD_PAS_EvalDataTreeMust(KzdCheckAux *aux, xmlNode *op);
KZ_API uint32_t KZD_PAS_EvalDataNodeWhenCond(KzdCheckAux *aux, xmlNode *element, uint32_t *holds);
KZ_API uint32_t KZD_PAS_EvalDataNodeMustCond(KzdCheckAux *aux, xmlNode *element, const KzsNode *schemaNode);
/* Decides what a failed when does to element: an error for a request element, otherwise the
 * topmost node to remove (the element or an added ancestor left empty) in *removeOut. */
KZ_API uint32_t KZD_PAS_ProcDataNodeWhenCondNoPass(KzdCheckAux *aux, xmlNode *element, xmlNode **removeOut);

/* Mandatory check. */
KZ_API uint32_t KZ_PAS_CheckTreeMandatory(KzdCheckAux *aux, xmlNode *op);
KZ_API uint32_t KZD_PAS_CheckSchemaNodeMandatory(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode);
KZ_API uint32_t KZD_PAS_CheckAllSchemaChildMandatory(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode);
KZ_API uint32_t KZD_PAS_CheckContainerMandatory(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode);
KZ_API uint32_t KZD_PAS_CheckDataNodeWithMandatory(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode);
KZ_API uint32_t KZD_PAS_CheckListMandatory(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode);
KZ_API uint32_t KZD_PAS_CheckChoiceMandatory(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode);
KZ_API uint32_t KZD_PAS_CheckCaseMandatory(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode);
KZ_API uint32_t KZD_PAS_CheckRpcMandatory(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode);
KZ_API uint32_t KZD_PAS_CheckNotifMandatory(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode);
KZ_API uint32_t KZD_PAS_CheckInputMandatory(KzdCheckAux *aux, xmlNode *element, KzsNode *schemaNode);

#ifdef __cplusplus
}
#endif

#ifdef __cplusplus
struct XpathValueAccessor;
namespace kz::data {
/* The values of elements bound by a validation, as the XPath evaluator reads them
 * (hung on the document while conditions are evaluated). */
const XpathValueAccessor &BoundValues();
} /* namespace kz::data */
#endif

#endif /* KZD_VALID_H */
