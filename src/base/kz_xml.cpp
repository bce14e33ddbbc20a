// Accessors over libxml2 element nodes used by the YIN loader (they only read
// the tree and never allocate), and the one way the library parses XML text.
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/SAX2.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlstring.h>

#include <climits>
#include <cstring>

#include "base/kz_safe.h"
#include "base/kz_xml.h"

namespace {

void DropGenericError(void *, const char *, ...) {}

/* libxml2 keeps the generic error handler per thread, so swapping it here
 * cannot silence, or be undone by, another thread. */
class GenericErrorsDropped {
public:
    GenericErrorsDropped() : func_(xmlGenericError), ctx_(xmlGenericErrorContext)
    {
        /* A null handler would mean libxml2's default, which writes to stderr. */
        xmlSetGenericErrorFunc(nullptr, DropGenericError);
    }
    ~GenericErrorsDropped()
    {
        xmlSetGenericErrorFunc(ctx_, func_);
    }
    GenericErrorsDropped(const GenericErrorsDropped &) = delete;
    GenericErrorsDropped &operator=(const GenericErrorsDropped &) = delete;

private:
    xmlGenericErrorFunc func_;
    void *ctx_;
};

const char *Text(const xmlChar *s)
{
    return reinterpret_cast<const char *>(s);
}

bool IsElement(const xmlNode *node)
{
    return node != nullptr && node->type == XML_ELEMENT_NODE;
}

const char *TextChildOf(const xmlAttr *attr)
{
    if (attr->children != nullptr && attr->children->type == XML_TEXT_NODE) {
        return Text(attr->children->content);
    }
    return nullptr;
}

// An entity reference's children belong to the entity declaration, outside
// the walked subtree, so the walk does not descend into them.
bool HasWalkableChildren(const xmlNode *node)
{
    return node->children != nullptr && node->type != XML_ENTITY_REF_NODE;
}

#if LIBXML_VERSION >= 21200
using XmlErrorArg = const xmlError *;
#else
using XmlErrorArg = xmlErrorPtr;
#endif

/* What one parse reports to and calls back, hung from the parser context's _private. */
struct ParseState {
    kz::base::ParseReport *report;
    kz::base::ElementHook onElement;
    void *hookArg;
};

/* The parser hands its context as the user data of every callback (the
 * context's own userData). */
ParseState *StateOf(void *userData)
{
    return static_cast<ParseState *>(static_cast<xmlParserCtxtPtr>(userData)->_private);
}

kz::base::ParseReport *ReportOf(void *userData)
{
    return StateOf(userData)->report;
}

/* libxml2's own element start, then the hook on the element it made (none when
 * it ran out of memory, which leaves the current node as it was). */
void StartElementWithHook(void *userData, const xmlChar *localname, const xmlChar *prefix, const xmlChar *uri,
                          int nbNamespaces, const xmlChar **namespaces, int nbAttributes, int nbDefaulted,
                          const xmlChar **attributes)
{
    auto *ctxt = static_cast<xmlParserCtxtPtr>(userData);
    xmlNode *before = ctxt->node;
    xmlSAX2StartElementNs(userData, localname, prefix, uri, nbNamespaces, namespaces, nbAttributes, nbDefaulted,
                          attributes);
    if (ctxt->node != nullptr && ctxt->node != before) {
        const ParseState *state = StateOf(userData);
        state->onElement(ctxt->node, state->hookArg);
    }
}

void KeepFirstError(void *userData, XmlErrorArg error)
{
    kz::base::ParseReport *report = ReportOf(userData);
    if (error == nullptr || error->level == XML_ERR_WARNING || report->message[0] != '\0' ||
        error->message == nullptr) {
        return;
    }
    report->line = error->line;
    const size_t len = strcspn(error->message, "\n");
    (void)kz::base::StrncpyS(report->message, sizeof report->message, error->message,
                       len < sizeof report->message ? len : sizeof report->message - 1);
}

void StopAtDoctype(void *userData, const xmlChar *, const xmlChar *, const xmlChar *)
{
    ReportOf(userData)->doctype = true;
    xmlStopParser(static_cast<xmlParserCtxtPtr>(userData));
}

/* Visits node and every node below it in document order, not entering entity
 * references (their children belong to the declaration). */
template <typename Visit>
void ForEachNode(const xmlNode *node, Visit visit)
{
    uint32_t direction = KZ_XML_DIR_START;
    for (xmlNode *n = const_cast<xmlNode *>(node); n != nullptr; n = KZ_XML_GetXmlDomNextNode(node, n, &direction)) {
        if (direction != KZ_XML_DIR_PARENT && !visit(n)) {
            return;
        }
    }
}

bool IsText(const xmlNode *n)
{
    return (n->type == XML_TEXT_NODE || n->type == XML_CDATA_SECTION_NODE) && n->content != nullptr;
}

/* One parse of ParseXmlMemory. */
xmlDoc *ParseOnce(const char *text, size_t len, int options, unsigned rules, kz::base::ParseReport *report,
                  kz::base::ElementHook onElement, void *hookArg)
{
    xmlParserCtxtPtr ctxt = xmlCreateMemoryParserCtxt(text, static_cast<int>(len));
    if (ctxt == nullptr) {
        return nullptr;
    }
    (void)xmlCtxtUseOptions(ctxt, options | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    if ((rules & kz::base::kSkipIds) != 0) {
        ctxt->loadsubset |= XML_SKIP_IDS;
    }
    ParseState state{report, onElement, hookArg};
    ctxt->_private = &state;
    ctxt->sax->serror = KeepFirstError;
    if ((rules & kz::base::kRefuseDoctype) != 0) {
        ctxt->sax->internalSubset = StopAtDoctype;
    }
    if (onElement != nullptr) {
        ctxt->sax->startElementNs = StartElementWithHook;
    }
    (void)xmlParseDocument(ctxt);
    xmlDoc *doc = ctxt->myDoc;
    ctxt->myDoc = nullptr;
    const bool ok = ctxt->wellFormed != 0 && !report->doctype;
    xmlFreeParserCtxt(ctxt);
    if (!ok) {
        xmlFreeDoc(doc);
        return nullptr;
    }
    return doc;
}

}  // namespace

namespace kz::base {

xmlDoc *ParseXmlMemory(const char *text, size_t len, int options, unsigned rules, ParseReport *report,
                       ElementHook onElement, void *hookArg)
{
    if (text == nullptr || report == nullptr || len > static_cast<size_t>(INT_MAX)) {
        return nullptr;
    }
    xmlDoc *doc = ParseOnce(text, len, options, rules, report, onElement, hookArg);
    if (doc == nullptr && (rules & kSkipIds) != 0) {
        // Read again in full, for the report such a parse makes.
        *report = ParseReport{};
        doc = ParseOnce(text, len, options, rules & ~kSkipIds, report, nullptr, nullptr);
    }
    return doc;
}

char *DupTextContent(const xmlNode *node)
{
    size_t len = 0;
    ForEachNode(node, [&len](const xmlNode *n) {
        len += IsText(n) ? strlen(Text(n->content)) : 0;
        return true;
    });
    auto *out = static_cast<char *>(KZ_MemMalloc(len + 1));
    if (out == nullptr) {
        return nullptr;
    }
    size_t at = 0;
    ForEachNode(node, [out, &at](const xmlNode *n) {
        if (IsText(n)) {
            const size_t piece = strlen(Text(n->content));
            memcpy(out + at, n->content, piece);
            at += piece;
        }
        return true;
    });
    out[at] = '\0';
    return out;
}

const xmlNode *FindEntityRef(const xmlNode *node)
{
    const xmlNode *found = nullptr;
    ForEachNode(node, [&found](const xmlNode *n) {
        found = n->type == XML_ENTITY_REF_NODE ? n : nullptr;
        return found == nullptr;
    });
    return found;
}

}  // namespace kz::base

extern "C" {

const char *KZ_XML_GetTargetPropertyValue(const xmlNode *node, const char *attrName)
{
    if (!IsElement(node) || attrName == nullptr) {
        return nullptr;
    }
    const xmlChar *want = reinterpret_cast<const xmlChar *>(attrName);
    for (const xmlAttr *attr = node->properties; attr != nullptr; attr = attr->next) {
        if (xmlStrEqual(attr->name, want)) {
            const char *value = TextChildOf(attr);
            if (value != nullptr) {
                return value;
            }
        }
    }
    return nullptr;
}

const char *KZ_XML_GetFirstPropertyValue(const xmlNode *node)
{
    if (!IsElement(node) || node->properties == nullptr) {
        return nullptr;
    }
    return TextChildOf(node->properties);
}

const char *KZ_XML_GetXmlNodeDefaultNs(const xmlNode *node)
{
    if (node == nullptr || node->ns == nullptr) {
        return nullptr;
    }
    return Text(node->ns->href);
}

const char *KZ_XML_GetElemNodeContent(const xmlNode *node)
{
    if (node == nullptr || node->children == nullptr || node->children->type != XML_TEXT_NODE) {
        return nullptr;
    }
    return Text(node->children->content);
}

xmlNode *KZ_XML_GetFirstChildNodeWithPriVal(const xmlNode *node, uint64_t mask)
{
    if (node == nullptr) {
        return nullptr;
    }
    for (xmlNode *child = node->children; child != nullptr; child = child->next) {
        auto marks = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(child->_private));
        if ((marks & mask) != 0) {
            return child;
        }
    }
    return nullptr;
}

xmlNode *KZ_XML_GetXmlDomSibOrParent(const xmlNode *root, xmlNode *node, uint32_t *direction)
{
    if (root == nullptr || node == nullptr || direction == nullptr || node == root) {
        return nullptr;
    }
    if (node->next != nullptr) {
        *direction = KZ_XML_DIR_SIBLING;
        return node->next;
    }
    *direction = KZ_XML_DIR_PARENT;
    return node->parent;
}

xmlNode *KZ_XML_GetXmlDomNextNode(const xmlNode *root, xmlNode *node, uint32_t *direction)
{
    if (root == nullptr || node == nullptr || direction == nullptr) {
        return nullptr;
    }
    if (*direction != KZ_XML_DIR_PARENT && HasWalkableChildren(node)) {
        *direction = KZ_XML_DIR_CHILD;
        return node->children;
    }
    return KZ_XML_GetXmlDomSibOrParent(root, node, direction);
}

xmlNode *KZ_XML_GetParentNodeByTraverse(xmlNode *node, uint32_t direction)
{
    if (node == nullptr) {
        return nullptr;
    }
    switch (direction) {
        case KZ_XML_DIR_CHILD:
        case KZ_XML_DIR_START:
            return node;
        case KZ_XML_DIR_SIBLING:
            return node->parent;
        default:
            return nullptr;
    }
}

}  // extern "C"

xmlRegexpPtr kz::base::CompileRegexpQuietly(const char *pattern)
{
    if (pattern == nullptr) {
        return nullptr;
    }
    GenericErrorsDropped quiet;
    return xmlRegexpCompile(reinterpret_cast<const xmlChar *>(pattern));
}
