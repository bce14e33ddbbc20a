/* Grouping expansion: every "uses" of a module or submodule document is
 * replaced, among its siblings, by copies of its grouping's data definitions
 * (refines, augments, when and if-feature applied), before the loader walks
 * the document.  Only the loader's copy of a document is changed. */
#ifndef KZS_GROUPING_H
#define KZS_GROUPING_H

#include <cstddef>
#include <string>

#include <libxml/tree.h>

#include "schema/kzs_ctx.h"

namespace kz::loader {

/* YIN elements one document may gain by expansion (about 280k schema nodes,
 * some 250 MiB of document); a grouping that expands past it (for example
 * exponentially, through nested uses) is refused. */
constexpr std::size_t kMaxExpandedElements = 1000000;

/* Groupings may use groupings this deep; deeper chains are refused. */
constexpr std::size_t kMaxGroupingNesting = 64;

/* Statements may nest this deep once expanded (the module statement is level
 * 1), as in YANG text; a uses that would go deeper is refused. */
constexpr std::size_t kMaxExpandedDepth = 256;

/* Expands the uses of `doc` (a module or submodule in YIN form).  Groupings
 * are looked up lexically, then in the module's submodules, and for
 * PREFIX:NAME in the imported module, read from the search directories.
 * Identifiers of a grouping from another module are rewritten to resolve in
 * that module (imports are added to `doc` as needed).  Returns false with
 * *error set on an unknown grouping, a cycle, a missing refine or augment
 * target, or a limit reached. */
bool ExpandGroupings(KzCtx *ctx, xmlDoc *doc, std::string *error);

/* Expands `doc`, just read, when loading asks for it: always for YANG text, for
 * YIN when the context has KZ_CTX_OPT_EXPAND_GROUPINGS.  A failure is reported
 * against moduleName (when given) and gives false.  The parser's records of the
 * document's elements are trusted when it stays as read. */
bool ExpandGroupingsForLoad(KzCtx *ctx, xmlDoc *doc, bool fromYang, const char *moduleName);

/* Whether a module file path names YANG text (".yang"). */
bool IsYangPath(const char *path);

} /* namespace kz::loader */

#endif /* KZS_GROUPING_H */
