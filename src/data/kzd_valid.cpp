/* Validation entry points and the pipeline of passes. */
#include <libxml/parser.h>

#include <cstring>
#include <memory>

#include "data/kzd_internal.h"
#include "base/kz_xml.h"
#include "base/kz_guard.h"
#include "base/kz_kit.h"

using namespace kz::data;

namespace {

using DocPtr = kz::XmlDocPtr;

/* Blank text nodes are dropped, as the structure pass expects element-only content. Documents
 * come from the wire: no DTD, no entity substitution, no network access (NETCONF messages have
 * no use for a document type declaration, so one is refused before any of it is read). */
DocPtr ParseText(const char *text, kz::base::ParseReport *report)
{
    constexpr int kOptions = XML_PARSE_NOBLANKS | XML_PARSE_NONET | XML_PARSE_COMPACT;
    return DocPtr(kz::base::ParseXmlMemory(text, strlen(text), kOptions, kz::base::kRefuseDoctype, report));
}

KzdErrNode *GenericRecord(KzdCheckAux *aux)
{
    return KZD_ERR_NewErrNode(aux, KZ_ERR_TYPE_APPLICATION, KZ_ERR_SEVERITY_ERROR, KZ_ERR_TAG_OPERATION_FAILED,
                              nullptr);
}

/* A document refused before validation is a malformed message; the record is the one just
 * reported, or the generic one when even that could not be made. */
KzdErrNode *RefusedRecord(KzdCheckAux *aux)
{
    return aux->err != nullptr ? aux->err : GenericRecord(aux);
}

/* Entities are never expanded, so a caller's tree that still holds references is refused. */
bool RefuseEntityRefs(KzdCheckAux *aux, xmlNode *top, KzdErrNode **err)
{
    const xmlNode *ref = kz::base::FindEntityRef(top);
    if (ref == nullptr) {
        return false;
    }
    (void)Report(aux, KZ_ERR_TAG_MALFORMED_MESSAGE, ref->parent, nullptr, "Unexpected entity reference: %s.",
                     ElementName(ref));
    *err = RefusedRecord(aux);
    return true;
}

/* Settles the default list and the record after a validation of a request. */
KzdErrNode *FinishRequest(KzdCheckAux *aux, uint32_t rc)
{
    FreeCondCache(aux);
    if (rc == KZ_OK) {
        KZD_PAS_ClearDefaultNodeList(aux, 1);
        KZ_FreeErrNode(aux->err);
        return nullptr;
    }
    KZD_PAS_ClearDefaultNodeList(aux, 0);
    return aux->err != nullptr ? aux->err : GenericRecord(aux);
}

/* The request checks; a null record means valid. */
KzdErrNode *ValidateRequest(KzdCheckAux *aux, uint32_t dataKind, void *data)
{
    if (aux->ctx == nullptr || data == nullptr || (dataKind != KZ_DATA_KIND_XMLTREE && dataKind != KZ_DATA_KIND_TEXT)) {
        return GenericRecord(aux);
    }
    if (dataKind == KZ_DATA_KIND_XMLTREE) {
        auto *top = static_cast<xmlNode *>(data);
        aux->root = top->parent;
        KzdErrNode *refused = nullptr;
        if (RefuseEntityRefs(aux, top, &refused)) {
            return refused;
        }
        KZD_PAS_ClearXmlTreePrivate(top);
        KzdErrNode *err = FinishRequest(aux, KZD_PAS_ValidateDataTree(aux, top));
        KZD_PAS_ClearXmlTreePrivate(top);
        return err;
    }
    kz::base::ParseReport report;
    DocPtr doc = ParseText(static_cast<const char *>(data), &report);
    if (report.doctype) {
        (void)Report(aux, KZ_ERR_TAG_MALFORMED_MESSAGE, nullptr, nullptr, "Unexpected document type declaration.");
        return RefusedRecord(aux);
    }
    xmlNode *top = doc ? xmlDocGetRootElement(doc.get()) : nullptr;
    if (top == nullptr) {
        return GenericRecord(aux);
    }
    aux->root = reinterpret_cast<xmlNode *>(doc.get());
    aux->unlistedDefaults = aux->defaultAddedCb == nullptr ? 1u : 0u;
    return FinishRequest(aux, KZD_PAS_ValidateDataTree(aux, top));
}

} // namespace

extern "C" {

KZ_API void KZD_PAS_InitCheckAux(KzdCheckAux *aux, KzCtx *ctx, uint32_t flags, KzDefaultAddedCb cb, void *arg)
{
    memset(aux, 0, sizeof *aux);
    aux->ctx = ctx;
    aux->flags = flags;
    aux->defaultList.next = &aux->defaultList;
    aux->defaultList.prev = &aux->defaultList;
    aux->defaultAddedCb = cb;
    aux->defaultAddedArg = arg;
}

KZ_API void KZD_PAS_ClearXmlTreePrivate(xmlNode *element)
{
    ForEachElement(element, [](xmlNode *n) { n->_private = nullptr; });
}

KZ_API uint32_t KZD_PAS_ValidateDataTree(KzdCheckAux *aux, xmlNode *top)
{
    return kz::Guarded(KZ_ENOMEM, [&]() -> uint32_t {
        if (top == nullptr) {
            return KZ_EINVAL;
        }
        uint32_t rc = KZD_PAS_FlushTreeWithSchema(aux, top);
        if (rc != KZ_OK) {
            return rc;
        }
        const uint32_t actionMount = KZD_CHECK_ACTION | KZD_CHECK_MOUNT_SEEN;
        if ((aux->flags & actionMount) == actionMount) {
            return KZ_OK;
        }
        xmlNode *op = top;
        if (aux->flags & KZD_CHECK_ACTION) {
            if (aux->actionElement == nullptr) {
                if (aux->err == nullptr) {
                    aux->err = KZD_ERR_NewErrNode(aux, KZ_ERR_TYPE_APPLICATION, KZ_ERR_SEVERITY_ERROR,
                                                  KZ_ERR_TAG_UNKNOWN_ELEMENT, nullptr);
                }
                KZD_ERR_SetErrorMsg(aux->err, "Unexpected element: %s.", "action");
                KZD_ERR_SetBadElement(aux->err, "action");
                return KZ_EINVAL;
            }
            op = aux->actionElement;
        }
        rc = KZD_PAS_CompleteTree(aux, op, aux->flags);
        if (rc == KZ_OK) {
            rc = KZD_PAS_EvalDataTreeWhenMust(aux, op);
        }
        if (rc == KZ_OK) {
            rc = KZ_PAS_CheckTreeMandatory(aux, op);
        }
        return rc;
    });
}

KZ_API KzdErrNode *KZ_CTX_ValidateRpcDataTree(KzCtx *ctx, uint32_t dataKind, void *data,
                                              KzDefaultAddedCb defaultAddedCb, void *defaultAddedArg)
{
    KzdCheckAux aux;
    KZD_PAS_InitCheckAux(&aux, ctx, KZD_CHECK_RPC, defaultAddedCb, defaultAddedArg);
    /* The passes run guarded themselves; what can still throw here (the path of a refused
     * tree) comes before anything was added, so the generic record is all there is to give. */
    bool finished = false;
    KzdErrNode *err = kz::Guarded(static_cast<KzdErrNode *>(nullptr), [&]() -> KzdErrNode * {
        KzdErrNode *made = ValidateRequest(&aux, dataKind, data);
        finished = true;
        return made;
    });
    if (finished) {
        return err;
    }
    KZ_FreeErrNode(aux.err);
    aux.err = nullptr;
    return GenericRecord(&aux);
}

KZ_API uint32_t KZ_CTX_ValidateNotifDataTree(KzCtx *ctx, const char *text, KzNotifResultCb resultCb, void *resultArg)
{
    return kz::Guarded(KZ_EINVAL, [&]() -> uint32_t {
        if (ctx == nullptr || text == nullptr) {
            return KZ_EINVAL;
        }
        kz::base::ParseReport report;
        DocPtr doc = ParseText(text, &report);
        xmlNode *top = doc ? xmlDocGetRootElement(doc.get()) : nullptr;
        if (top == nullptr) {
            return KZ_EINVAL;
        }
        KzdCheckAux aux;
        KZD_PAS_InitCheckAux(&aux, ctx, KZD_CHECK_NOTIF, nullptr, nullptr);
        aux.root = reinterpret_cast<xmlNode *>(doc.get());
        uint32_t rc = KZD_PAS_ValidateDataTree(&aux, top);
        FreeCondCache(&aux);
        KZD_PAS_ClearDefaultNodeList(&aux, 0);
        KZ_FreeErrNode(aux.err);
        if (rc != KZ_OK) {
            return KZ_EINVAL;
        }
        xmlChar *dumped = nullptr;
        int size = 0;
        xmlDocDumpFormatMemoryEnc(doc.get(), &dumped, &size, "UTF-8", 1);
        doc.reset();
        if (dumped == nullptr || size <= 0) {
            xmlFree(dumped);
            return KZ_EINVAL;
        }
        uint32_t result = resultCb != nullptr ? resultCb(reinterpret_cast<const char *>(dumped), resultArg) : KZ_OK;
        xmlFree(dumped);
        return result;
    });
}

} // extern "C"
