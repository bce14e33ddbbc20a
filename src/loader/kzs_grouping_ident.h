/* Identifiers of a grouping copied into another module or submodule: the
 * prefixes they carry (and the unprefixed names that mean the grouping's own
 * module) are rewritten to the using document's prefixes. */
#ifndef KZS_GROUPING_IDENT_H
#define KZS_GROUPING_IDENT_H

#include <string>
#include <unordered_map>

#include <libxml/tree.h>

namespace kz::loader {

/* The module a document's definitions belong to (a submodule's is the one it
 * belongs to) and what each of its prefixes stands for. */
struct PrefixScope {
    std::string module;
    std::string ownPrefix;
    std::unordered_map<std::string, std::string> prefixToModule; /* imports */
    std::unordered_map<std::string, std::string> moduleToPrefix;
};

/* A YIN statement element of that keyword (extension instances, in their own
 * namespace, are not). */
bool IsYinElement(const xmlNode *node, const char *keyword);

PrefixScope ReadPrefixScope(const xmlNode *root);

/* Rewrites the identifiers in `copy` (written in `from`) for `to`, whose
 * document root is `toRoot`; imports `to` lacks are added to it. */
void RewriteIdentifiers(xmlNode *copy, const PrefixScope &from, PrefixScope *to, xmlNode *toRoot);

/* Moves the typedefs defined inside groupings and data definitions to the
 * top level of the module or submodule `root` (renamed only when the name is
 * taken there), renaming the type statements of their scope that use them. */
void HoistScopedTypedefs(xmlNode *root);

} /* namespace kz::loader */

#endif /* KZS_GROUPING_IDENT_H */
