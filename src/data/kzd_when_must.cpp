/* When and must evaluation over a bound instance tree. */
#include "data/kzd_internal.h"
#include "schema/kzs_ctx.h"
#include "schema/kzs_mod.h"
#include "xpath/kz_xpath.h"

namespace {

/* Values of bound elements as the evaluator sees them: the schema node each element
 * is bound to while a validation runs tells what its text means. */
uint32_t ValueKind(const xmlNode *element)
{
    const KzsNode *sn = kz::data::SchemaOf(element);
    if (sn == nullptr) {
        return KZ_XPATH_VALUE_NO_SCHEMA;
    }
    return KZD_MDL_IsIdentityref(sn) != 0 ? KZ_XPATH_VALUE_IDENTITY : KZ_XPATH_VALUE_TEXT;
}

char *IdentityValue(xmlNode *element)
{
    return KZD_NODE_GetValueContent(element, kz::data::SchemaOf(element));
}

const KzsIdentity *FindIdentity(const xmlNode *element, const char *modName, const char *identName)
{
    const KzsNode *sn = kz::data::SchemaOf(element);
    return sn != nullptr && sn->module != nullptr
               ? KZ_CTX_FindIdentityByModNameAndIdentName(sn->module->ctx, modName, identName)
               : nullptr;
}

const char *ModuleName(const xmlNode *element)
{
    const KzsNode *sn = kz::data::SchemaOf(element);
    return sn != nullptr && sn->module != nullptr ? sn->module->name : nullptr;
}

/* Hangs the accessor on the document for one evaluation, giving the owner's own
 * _private back afterwards. */
class BoundValuesScope {
public:
    explicit BoundValuesScope(xmlNode *contextNode) : doc_(contextNode != nullptr ? contextNode->doc : nullptr)
    {
        if (doc_ != nullptr) {
            saved_ = doc_->_private;
            doc_->_private = const_cast<XpathValueAccessor *>(&kz::data::BoundValues());
        }
    }
    ~BoundValuesScope()
    {
        if (doc_ != nullptr) {
            doc_->_private = saved_;
        }
    }
    BoundValuesScope(const BoundValuesScope &) = delete;
    BoundValuesScope &operator=(const BoundValuesScope &) = delete;

private:
    xmlDoc *doc_;
    void *saved_ = nullptr;
};

} // namespace

namespace kz::data {

const XpathValueAccessor &BoundValues()
{
    static constexpr XpathValueAccessor values = {ValueKind, IdentityValue, FindIdentity, ModuleName};
    return values;
}

} // namespace kz::data

using namespace kz::data;

uint32_t kz::data::EvalCondition(KzdCheckAux *aux, xmlNode *contextNode, const char *cond)
{
    BoundValuesScope values(contextNode);
    if (aux->condCache == nullptr) {
        aux->condCache = KZ_XPATH_CreateLexCache();
        if (aux->condCache == nullptr) {
            return KZ_XPATH_EvalCondition(aux->root, contextNode, cond);
        }
    }
    return KZ_XPATH_EvalCachedCondition(aux->condCache, aux->root, contextNode, cond);
}

void kz::data::FreeCondCache(KzdCheckAux *aux)
{
    KZ_XPATH_DestroyLexCache(aux->condCache);
    aux->condCache = nullptr;
}

namespace {

bool IsOperationKind(uint32_t kind)
{
    return kind == KZS_NODE_ACTION || kind == KZS_NODE_RPC || kind == KZS_NODE_NOTIF || kind == KZS_NODE_INPUT ||
           kind == KZS_NODE_OUTPUT;
}

/* The next element after node in document order within op, skipping node's children. */
xmlNode *NextSkippingChildren(xmlNode *op, xmlNode *node)
{
    while (node != nullptr && node != op) {
        xmlNode *sib = NextElement(node);
        if (sib != nullptr) {
            return sib;
        }
        node = node->parent;
    }
    return nullptr;
}

xmlNode *NextInDocument(xmlNode *op, xmlNode *node, bool intoChildren)
{
    if (intoChildren) {
        xmlNode *child = FirstChildElement(node);
        if (child != nullptr) {
            return child;
        }
    }
    return NextSkippingChildren(op, node);
}

/* Evaluates every when below and at op in document order, removing (or reporting) the
 * elements whose when is false; held(element) follows each element whose when holds, and
 * removed() each removal. */
template <typename Held, typename Removed>
uint32_t WalkWhens(KzdCheckAux *aux, xmlNode *op, Held held, Removed removed)
{
    xmlNode *node = op;
    while (node != nullptr) {
        uint32_t holds = 1;
        uint32_t rc = KZD_PAS_EvalDataNodeWhenCond(aux, node, &holds);
        if (rc != KZ_OK) {
            return rc;
        }
        if (holds) {
            held(node);
            node = NextInDocument(op, node, !KZD_MDL_IsSchemaNodeNeedSkipProcChildNode(kz::data::SchemaOf(node)));
            continue;
        }
        xmlNode *gone = nullptr;
        rc = KZD_PAS_ProcDataNodeWhenCondNoPass(aux, node, &gone);
        if (rc != KZ_OK) {
            return rc;
        }
        xmlNode *next = NextSkippingChildren(op, gone);
        if (aux->flags & KZD_CHECK_NOTIF) {
            RemoveElement(gone);
        } else {
            KZD_PAS_DeleteDefaultAddNode(aux, gone);
        }
        removed();
        node = next;
    }
    return KZ_OK;
}

/* Schema node whose musts the must walk checks at op: the input of an rpc or action, the
 * notification itself; null when requests of this kind have no musts to check. */
KzsNode *MustStart(const KzdCheckAux *aux, xmlNode *op)
{
    KzsNode *start = kz::data::SchemaOf(op);
    if (start == nullptr) {
        return nullptr;
    }
    if (aux->flags & KZD_CHECK_RPC) {
        KzsNode *input = start->firstChild;
        while (input != nullptr && input->kind != KZS_NODE_INPUT) {
            input = input->next;
        }
        return input;
    }
    return (aux->flags & KZD_CHECK_NOTIF) != 0 ? start : nullptr;
}

/* Whether every must of schemaNode holds at element; evaluation only, nothing is reported. */
bool MustsHold(KzdCheckAux *aux, xmlNode *element, const KzsNode *schemaNode)
{
    if (schemaNode == nullptr) {
        return true;
    }
    for (uint16_t i = 0; i < schemaNode->mustCount; ++i) {
        const char *cond = schemaNode->musts[i].cond;
        if (cond == nullptr || EvalCondition(aux, element, cond) != KZ_OK) {
            return false;
        }
    }
    return true;
}

} // namespace

extern "C" {

KZ_API uint32_t KZD_PAS_EvalDataNodeWhenCond(KzdCheckAux *aux, xmlNode *element, uint32_t *holds)
{
    *holds = 1;
    KzsNode *schema = kz::data::SchemaOf(element);
    if (schema == nullptr || IsOperationKind(schema->kind)) {
        return KZ_OK;
    }
    auto eval = [&](xmlNode *ctxNode, const char *cond) -> uint32_t {
        uint32_t rc = EvalCondition(aux, ctxNode, cond);
        if (rc == KZD_COND_FALSE) {
            *holds = 0;
            return KZ_OK;
        }
        if (rc != KZ_OK) {
            Report(aux, KZ_ERR_TAG_OPERATION_FAILED, element, ElementName(element),
                       "Failed to check when condition of %s.", ElementName(element));
        }
        return rc;
    };
    if (schema->when != nullptr) {
        uint32_t rc = eval(element, schema->when);
        if (rc != KZ_OK || !*holds) {
            return rc;
        }
    }
    for (KzsNode *p = schema->parent; p != nullptr && (p->kind == KZS_NODE_CHOICE || p->kind == KZS_NODE_CASE);
         p = p->parent) {
        if (p->when == nullptr) {
            continue;
        }
        uint32_t rc = eval(element->parent, p->when);
        if (rc != KZ_OK || !*holds) {
            return rc;
        }
    }
    return KZ_OK;
}

KZ_API uint32_t KZD_PAS_ProcDataNodeWhenCondNoPass(KzdCheckAux *aux, xmlNode *element, xmlNode **removeOut)
{
    if (aux->flags & KZD_CHECK_NOTIF) {
        *removeOut = element;
        return KZ_OK;
    }
    if (!KZD_PAS_IsDefaultAddNode(element)) {
        Report(aux, KZ_ERR_TAG_UNKNOWN_ELEMENT, element, ElementName(element), "%s is not satisfied when condition.",
                   ElementName(element));
        return KZD_COND_FALSE;
    }
    /* Remove the added element, then its added ancestors that are left without elements. */
    xmlNode *last = element;
    xmlNode *parent = element->parent;
    while (parent != nullptr && KZD_PAS_IsDefaultAddNode(parent)) {
        xmlNode *other = FirstChildElement(parent);
        while (other == last) {
            other = NextElement(other);
        }
        if (other != nullptr) {
            break;
        }
        last = parent;
        parent = parent->parent;
    }
    *removeOut = last;
    return KZ_OK;
}

KZ_API uint32_t KZD_PAS_EvalDataTreeWhen(KzdCheckAux *aux, xmlNode *op)
{
    return WalkWhens(aux, op, [](xmlNode *) {}, [] {});
}

KZ_API uint32_t KZD_PAS_EvalDataNodeMustCond(KzdCheckAux *aux, xmlNode *element, const KzsNode *schemaNode)
{
    if (schemaNode == nullptr) {
        return KZ_OK;
    }
    for (uint16_t i = 0; i < schemaNode->mustCount; ++i) {
        const KzsMust &must = schemaNode->musts[i];
        if (must.cond == nullptr) {
            return KZ_EINVAL;
        }
        uint32_t rc = EvalCondition(aux, element, must.cond);
        if (rc == KZ_OK) {
            continue;
        }
        if (rc != KZD_COND_FALSE) {
            Report(aux, KZ_ERR_TAG_OPERATION_FAILED, element, ElementName(element),
                       "Failed to check must condition of %s.", ElementName(element));
            return rc;
        }
        if (aux->flags & KZD_CHECK_NOTIF) {
            return KZD_COND_FALSE;
        }
        if (aux->err == nullptr) {
            aux->err = KZD_ERR_NewErrNode(aux, KZ_ERR_TYPE_APPLICATION, KZ_ERR_SEVERITY_ERROR,
                                          KZ_ERR_TAG_OPERATION_FAILED, element);
        }
        KZD_ERR_SetBadElement(aux->err, ElementName(element));
        KZD_ERR_SetErrorAppTag(aux->err, must.errAppTag != nullptr ? must.errAppTag : "must-violation");
        if (must.errMsg != nullptr) {
            KZD_ERR_SetErrorMsg(aux->err, "%s", must.errMsg);
        } else {
            KZD_ERR_SetErrorMsg(aux->err, "%s is not satisfied must condition.", ElementName(element));
        }
        return KZD_COND_FALSE;
    }
    return KZ_OK;
}

KZ_API uint32_t KZD_PAS_EvalDataTreeMust(KzdCheckAux *aux, xmlNode *op)
{
    if (kz::data::SchemaOf(op) == nullptr) {
        return KZ_EINVAL;
    }
    KzsNode *start = MustStart(aux, op);
    if (start == nullptr) {
        return KZ_OK;
    }
    uint32_t rc = KZD_PAS_EvalDataNodeMustCond(aux, op, start);
    if (rc != KZ_OK) {
        return rc;
    }
    xmlNode *node = FirstChildElement(op);
    while (node != nullptr) {
        rc = KZD_PAS_EvalDataNodeMustCond(aux, node, kz::data::SchemaOf(node));
        if (rc == KZ_OK) {
            node = NextInDocument(op, node, !KZD_MDL_IsSchemaNodeNeedSkipProcChildNode(kz::data::SchemaOf(node)));
            continue;
        }
        if (rc == KZD_COND_FALSE && (aux->flags & KZD_CHECK_NOTIF)) {
            xmlNode *next = NextSkippingChildren(op, node);
            RemoveElement(node);
            node = next;
            continue;
        }
        return rc == KZD_COND_FALSE ? KZ_EINVAL : rc;
    }
    return KZ_OK;
}

KZ_API uint32_t KZD_PAS_EvalDataTreeWhenMust(KzdCheckAux *aux, xmlNode *op)
{
    if (op == nullptr || kz::data::SchemaOf(op) == nullptr) {
        return KZ_EINVAL;
    }
    /* Musts are checked along the when walk. While nothing is removed the tree they see is the
     * final one, so if all of them hold the must walk would find the same and is not needed.
     * Any removal or failing must leaves the decision, and the error record, to the must walk
     * after all whens, as always. */
    KzsNode *start = MustStart(aux, op);
    bool allHeld = start != nullptr && !KZD_MDL_IsSchemaNodeNeedSkipProcChildNode(kz::data::SchemaOf(op));
    uint32_t rc = WalkWhens(
        aux, op,
        [&](xmlNode *e) {
            allHeld = allHeld && MustsHold(aux, e, e == op ? start : kz::data::SchemaOf(e));
        },
        [&] { allHeld = false; });
    if (rc != KZ_OK || allHeld) {
        return rc;
    }
    return KZD_PAS_EvalDataTreeMust(aux, op);
}

} // extern "C"
