/* Writers of a module's YIN document (module or submodule element in the
 * YIN namespace, as the loader walks it): as YANG text, or as canonical YIN.
 * Both keep statements in document order and indent by two spaces (comments
 * are not statements and are left out); the text goes out through a print
 * callback in chunks. */
#ifndef KZ_YANG_WRITE_H
#define KZ_YANG_WRITE_H

#include <functional>
#include <string>
#include <string_view>

#include <libxml/tree.h>

#include "korla.h"

namespace kz::yang {

/* Statements nested deeper than this are refused (status 22) rather than
 * walked: a document built elsewhere need not respect the parsers' limits. */
constexpr unsigned kMaxWriteDepth = 1024;

/* How an extension writes its argument in YIN (its argument and yin-element
 * statements); argName empty when it takes none. */
struct ExtensionArgForm {
    std::string argName;
    bool yinElement = false;
};
/* Finds the definition of extension `name` of the module with namespace
 * nsUri; false when unknown. */
using ExtensionArgLookup = std::function<bool(const char *nsUri, const char *name, ExtensionArgForm *form)>;

/* Writes the document as YANG text.  Extension instances are written
 * prefix:keyword with the module's own or an import's prefix for their
 * namespace; their argument form comes from the document's own extension
 * statements, then from lookup (may be empty), else from the element's
 * shape (first attribute, or a first child element holding only text).
 * 0; 22 when the root is not a YIN module or submodule, an element has no
 * prefix to be written with, or the nesting is too deep; 1 when the output
 * callback fails.  May throw std::bad_alloc. */
uint32_t WriteYang(const xmlDoc *doc, const ExtensionArgLookup &lookup, KzPrintOutputCb output, void *arg);

/* Writes the document as canonical YIN: an XML declaration, one element per
 * line indented by two spaces, attributes then namespace declarations in
 * document order, text content verbatim.  Same statuses as WriteYang. */
uint32_t WriteYin(const xmlDoc *doc, KzPrintOutputCb output, void *arg);

/* One argument as YANG text, unquoted where RFC 7950 allows it.  A multi-line
 * argument is double-quoted with its continuation lines indented by
 * continuationIndent spaces (one past the opening quote's column). */
std::string FormatYangArgument(std::string_view text, std::size_t continuationIndent);

} /* namespace kz::yang */

#endif /* KZ_YANG_WRITE_H */
