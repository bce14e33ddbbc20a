/* Internal helpers shared by the statement parsers: element marks, message
 * texts and access to the module's context. Nothing here is exported. */
#ifndef KZS_STMT_UTIL_H
#define KZS_STMT_UTIL_H

#include <cstdint>
#include <initializer_list>

#include <libxml/tree.h>

#include "loader/kzs_stmt.h"
#include "schema/kzs_ctx.h"
#include "schema/kzs_diag.h"
#include "base/kz_dict.h"
#include "base/kz_xml.h"
#include "schema/kzs_internal.h"
#include "schema/kzs_mod.h"

/* Message texts recorded against the module being loaded. */
#define KZS_MSG_GET_VALUE "Failed to get value of statement \"%s\"."
#define KZS_MSG_PARSE_VALUE "Failed to parse value \"%s\" of statement \"%s\"."
#define KZS_MSG_REPEATED "Statement \"%s\" under statement \"%s\" has repeated."
#define KZS_MSG_PARSE_UNDER "Failed to parse statement \"%s\" under statement \"%s\"."
#define KZS_MSG_PARSE_STMT "Failed to parse statement \"%s\"."
#define KZS_MSG_PARSE_NODE "Failed to parse \"%s\" statement \"%s\"."
#define KZS_MSG_PARSE_XPATH "Failed to parse xpath \"%s\"."
#define KZS_MSG_FIND_PREFIX "Failed to find module by prefix \"%s\"."
#define KZS_MSG_TRANS_PREFIX "Failed to transfer prefix to module name in statement \"%s\"."
#define KZS_MSG_LOAD_SUBMODULE "Failed to load submodule \"%s\"."
#define KZS_MSG_LEAF_NO_TYPE "leaf \"%s\" must define with type statement."
#define KZS_MSG_LEAFLIST_NO_TYPE "leaf-list \"%s\" must define with type statement."

/* Records an error against the module being built. */
#define KZS_LOADER_MOD_ERR(mod, ...) KZ_CTX_AddModError((mod)->ctx, (mod)->name, __VA_ARGS__)

namespace kz::loader {

inline uint32_t ElemMark(const xmlNode *node)
{
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(node->_private));
}

inline void OrElemMark(xmlNode *node, uint32_t stmt)
{
    node->_private = reinterpret_cast<void *>(reinterpret_cast<uintptr_t>(node->_private) | stmt);
}

inline void ClearElemMark(xmlNode *node)
{
    uintptr_t word = reinterpret_cast<uintptr_t>(node->_private);
    node->_private = reinterpret_cast<void *>(word & ~static_cast<uintptr_t>(0xFFFFFFFFu));
}

/* Records, while a module file is parsed, each element's own statement and the
 * statements among its child elements, in the element's psvi word (used by
 * schema validation only, which module files never go through).  A parent none
 * of whose children needs counting before the parse (repeated statements
 * collected into arrays, extension instances that a filter may refuse) is then
 * parsed in one pass over its children instead of two, so that the children of
 * a large list are not all visited before the first one is parsed.  The records
 * are trusted only while the document is as the parser made it. */
class ParseRecorder {
public:
    /* The parser's element hook; arg is the recorder. */
    static void Note(xmlNode *elem, void *arg);

private:
    /* KZS_LOADER_GetXmlNodeYangStmt, with the answers for the YIN namespace and
     * for element names (interned by the parser) kept for the next elements. */
    uint32_t StmtOf(const xmlNode *elem);

    struct NameSlot {
        const xmlChar *name;
        uint32_t stmt;
    };
    static constexpr uint32_t kNameSlots = 64;
    const xmlNs *yinNs_ = nullptr;
    NameSlot names_[kNameSlots] = {};
};

/* Declares the records of doc accurate (just parsed) or stale (about to change). */
void TrustParseRecords(xmlDoc *doc, bool trusted);

/* False only when elem's trusted record shows that none of its children is one
 * of the given statements: a pass looking for them can be left out. */
bool MayHaveChildOf(const xmlNode *elem, std::initializer_list<uint32_t> stmts);

inline const char *Keyword(uint32_t stmt)
{
    return KZS_LOADER_GetKeywordByStmt(stmt);
}

inline const char *ElemArg(const xmlNode *elem)
{
    return KZ_XML_GetFirstPropertyValue(elem);
}

/* Descriptor of a sub-statement parsed at most once into dest. */
inline SubParseElem OnceElem(uint32_t stmt, void *dest)
{
    return SubParseElem{stmt, dest, nullptr, nullptr, 0, KZS_SUB_FLAG_UNIQUE};
}

/* Descriptor of a repeated sub-statement collected into an array: filled from
 * *fillIndex (which ends as the element count), grown to *count elements. */
inline SubParseElem ArrayElem(uint32_t stmt, void *arrayPtr, uint16_t *fillIndex, uint16_t *count, uint32_t elemSize)
{
    return SubParseElem{stmt, arrayPtr, fillIndex, count, elemSize, KZS_SUB_FLAG_ARRAY};
}

/* Replaces an interned string slot, releasing what it held. */
inline void ReplaceInterned(KzDict *dict, const char **slot, const char *interned)
{
    const char *old = *slot;
    *slot = interned;
    if (old != nullptr) {
        KZ_DICT_Remove(dict, old);
    }
}

/* The statement's argument, or null after recording that it is missing. */
inline const char *RequireArg(KzMod *mod, const xmlNode *elem, uint32_t stmt)
{
    const char *value = ElemArg(elem);
    if (value == nullptr) {
        KZS_LOADER_MOD_ERR(mod, KZS_MSG_GET_VALUE, Keyword(stmt));
    }
    return value;
}

/* Interns `value` into the string slot `dest`, releasing what the slot held.
 * Parsers differ in how they report a failed insert, hence `failCode`. */
inline uint32_t InternInto(KzMod *mod, const char *value, void *dest, uint32_t failCode)
{
    const char *interned = KZ_DICT_Insert(kz::schema::ModDict(mod), value);
    if (interned == nullptr) {
        return failCode;
    }
    ReplaceInterned(kz::schema::ModDict(mod), static_cast<const char **>(dest), interned);
    return KZ_OK;
}

} /* namespace kz::loader */

#endif /* KZS_STMT_UTIL_H */
