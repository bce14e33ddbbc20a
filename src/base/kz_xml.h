/* Read-only accessors over libxml2 element nodes, and a non-recursive DOM walk. */
#ifndef KZ_XML_H
#define KZ_XML_H

#include <libxml/tree.h>
#include <libxml/xmlregexp.h>

#include "korla.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Directions of the DOM walk. */
#define KZ_XML_DIR_CHILD   0u /* last move descended to a first child */
#define KZ_XML_DIR_SIBLING 1u /* last move went to the next sibling */
#define KZ_XML_DIR_PARENT  2u /* last move climbed to the parent */
#define KZ_XML_DIR_START   3u /* the walk is at its root */

/* Text of the first attribute named attrName that has a text child, or NULL. */
KZ_API const char *KZ_XML_GetTargetPropertyValue(const xmlNode *node, const char *attrName);
/* Text of the node's first attribute, or NULL. */
KZ_API const char *KZ_XML_GetFirstPropertyValue(const xmlNode *node);
/* href of the node's own namespace, or NULL. */
KZ_API const char *KZ_XML_GetXmlNodeDefaultNs(const xmlNode *node);
/* Content of the first child when it is a text node, else NULL. */
KZ_API const char *KZ_XML_GetElemNodeContent(const xmlNode *node);
/* First child whose _private word (a u64 mark set) shares a bit with mask. */
KZ_API xmlNode *KZ_XML_GetFirstChildNodeWithPriVal(const xmlNode *node, uint64_t mask);

/* One pre-order step under root.  *direction holds the last move on entry and
 * the move taken on return; NULL ends the walk. */
KZ_API xmlNode *KZ_XML_GetXmlDomNextNode(const xmlNode *root, xmlNode *node, uint32_t *direction);
/* The sibling-or-parent part of that step (no descent). */
KZ_API xmlNode *KZ_XML_GetXmlDomSibOrParent(const xmlNode *root, xmlNode *node, uint32_t *direction);
/* Parent to use for a node reached with direction: the node itself for 0 and
 * 3, its parent for 1, NULL otherwise. */
KZ_API xmlNode *KZ_XML_GetParentNodeByTraverse(xmlNode *node, uint32_t direction);

#ifdef __cplusplus
}

namespace kz::base {

/* xmlRegexpCompile with libxml2's report of a bad expression dropped: a library
 * inside another process must not write to its stderr.  The calling thread's
 * generic error handler is restored afterwards.  NULL when pattern is NULL or
 * does not compile. */
xmlRegexpPtr CompileRegexpQuietly(const char *pattern);

/* What one parse reported: the parser's first error (line and message, without
 * its trailing newline), and whether it stopped at a document type declaration. */
struct ParseReport {
    int line = 0;
    bool doctype = false;
    char message[256] = {};
};

/* Called with each element as soon as the parser has made it (linked to its
 * parent, its namespace and attributes set, its children still to come) and
 * the argument given with the hook. */
using ElementHook = void (*)(xmlNode *element, void *arg);

/* What ParseXmlMemory does beyond the parser's XML_PARSE_* options (bits). */
enum ParseRule : unsigned {
    /* A document type declaration stops the parse before any of it is read. */
    kRefuseDoctype = 1u << 0,
    /* No ID is registered (xml:id, or an attribute a DTD declares an ID): the
     * check per attribute costs a few percent of reading a module file, whose
     * reader never looks an element up by ID.  A document that fails is read
     * again with IDs and without the hook, so that the report names the error a
     * full parse meets first (a repeated or malformed ID is one). */
    kSkipIds = 1u << 1,
};

/* Parses len bytes with the given XML_PARSE_* options and ParseRule bits
 * through a parser context of its own: the parser's errors are captured in
 * report (never printed) and nothing process-wide is changed, so parses on two
 * threads do not meet.  onElement, when given, sees every element while it is
 * being read.  NULL on any failure. */
xmlDoc *ParseXmlMemory(const char *text, size_t len, int options, unsigned rules, ParseReport *report,
                       ElementHook onElement = nullptr, void *hookArg = nullptr);

/* The text and CDATA content of node and everything below it, entity references
 * left out (never expanded); a KZ_MemMalloc string, NULL when out of memory. */
char *DupTextContent(const xmlNode *node);

/* The first entity reference node below node (attributes aside), or NULL. */
const xmlNode *FindEntityRef(const xmlNode *node);

}  // namespace kz::base
#endif

#endif /* KZ_XML_H */
