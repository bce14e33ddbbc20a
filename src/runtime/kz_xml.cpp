// Accessors over libxml2 element nodes used by the YIN loader.  They only
// read the tree and never allocate.
#include <libxml/xmlerror.h>
#include <libxml/xmlstring.h>

#include "runtime/kz_xml.h"

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

}  // namespace

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

xmlRegexpPtr kz_xml_compile_regexp_quietly(const char *pattern)
{
    if (pattern == nullptr) {
        return nullptr;
    }
    GenericErrorsDropped quiet;
    return xmlRegexpCompile(reinterpret_cast<const xmlChar *>(pattern));
}

}  // extern "C"
