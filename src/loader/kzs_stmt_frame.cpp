/* The sub-statement framework: marking accepted children, sizing their arrays
 * and dispatching each child to its parse function; plus the small
 * text-valued statement parsers. */
#include <cstring>

#include "loader/kzs_stmt_util.h"
#include "schema/kzs_diag.h"
#include "base/kz_array.h"
#include "base/kz_xml.h"
#include "schema/kzs_node.h"

using kz::loader::ElemArg;
using kz::loader::ElemMark;
using kz::loader::Keyword;
using kz::schema::ModDict;

namespace {

/* Parent statements whose extension instances are kept in the schema node. */
constexpr uint32_t kNodeParentsWithExtInst[] = {
    KZS_STMT_ACTION, KZS_STMT_ANYDATA, KZS_STMT_ANYXML, KZS_STMT_CASE, KZS_STMT_CHOICE,
    KZS_STMT_CONTAINER, KZS_STMT_INPUT, KZS_STMT_LEAF, KZS_STMT_LEAF_LIST, KZS_STMT_LIST,
    KZS_STMT_NOTIFICATION, KZS_STMT_OUTPUT, KZS_STMT_RPC,
};

bool IsExtInstInNode(const SubParseElem *elem, uint32_t parentStmt)
{
    return elem->stmt == KZS_STMT_EXTENSION_INSTANCE && KZS_LOADER_IsNodeStmtWithExtInst(parentStmt) != 0;
}

bool ModHasDiagnostics(KzMod *mod)
{
    return KZ_CTX_GetErrNodeByModName(mod->ctx, mod->name) != nullptr;
}

/* A parse record (see ParseRecorder): bit 63 says the parser made it, bits
 * 56-62 hold the element's own statement, bits 0-55 one bit per statement found
 * among its child elements (identifiers folded onto the 56 bits). */
constexpr bool kRecordsFit = sizeof(void *) >= sizeof(uint64_t);
constexpr uint64_t kRecorded = uint64_t{1} << 63;
constexpr unsigned kOwnStmtShift = 56;
constexpr uint64_t kOwnStmtMask = uint64_t{0x7F} << kOwnStmtShift;
constexpr uint32_t kChildBits = 56;

/* Its address marks a document whose records are accurate. */
int g_recordsTrusted;

uint64_t RecordOf(const xmlNode *node)
{
    return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(node->psvi));
}

void SetRecord(xmlNode *node, uint64_t record)
{
    node->psvi = reinterpret_cast<void *>(static_cast<uintptr_t>(record));
}

uint64_t ChildBit(uint32_t stmt)
{
    return uint64_t{1} << (stmt % kChildBits);
}

bool HasTrustedRecord(const xmlNode *node)
{
    return (RecordOf(node) & kRecorded) != 0 && node->doc != nullptr && node->doc->psvi == &g_recordsTrusted;
}

/* True when node's record shows that none of its children is collected into an
 * array or is an extension instance (which the marking pass filters): marking
 * and counting the children first would then change nothing. */
bool NeedsNoCounting(const xmlNode *node, const SubParseElem *elems, uint32_t elemCount)
{
    if (!HasTrustedRecord(node) || (elems == nullptr && elemCount != 0)) {
        return false;
    }
    uint64_t counted = 0;
    for (uint32_t i = 0; i < elemCount; i++) {
        const SubParseElem &elem = elems[i];
        const bool array = (elem.flags & KZS_SUB_FLAG_ARRAY) != 0;
        if (array && elem.count != nullptr && *elem.count != 0) {
            return false; /* sized by the caller beforehand */
        }
        if (array || elem.stmt == KZS_STMT_EXTENSION_INSTANCE) {
            counted |= ChildBit(elem.stmt);
        }
    }
    return (RecordOf(node) & counted) == 0;
}

/* The statement of a child element: from its record in a trusted document. */
uint32_t ChildStmt(const xmlNode *child)
{
    if (HasTrustedRecord(child)) {
        return static_cast<uint32_t>((RecordOf(child) & kOwnStmtMask) >> kOwnStmtShift);
    }
    return KZS_LOADER_GetXmlNodeYangStmt(child);
}

/* Dispatches each child whose statement (as stmtOf gives it) is accepted to its
 * parse function, in document order. */
template <typename StmtOf>
uint32_t ParseChildren(KzMod *mod, xmlNode *node, uint32_t parentStmt, SubParseElem *elems, uint32_t elemCount,
                       StmtOf stmtOf)
{
    for (xmlNode *child = node->children; child != nullptr; child = child->next) {
        if (child->type != XML_ELEMENT_NODE) {
            continue;
        }
        const uint32_t stmt = stmtOf(child);
        if (stmt == KZS_STMT_UNKNOWN) {
            continue;
        }
        SubParseElem *elem = KZS_LOADER_GetSubParseElem(stmt, elems, elemCount);
        KzsStmtParseFunc parse = KZS_LOADER_GetStmtParseFunc(stmt);
        if (elem == nullptr || parse == nullptr) {
            continue;
        }
        if (KZS_LOADER_CheckUniqueSubStmtRepeat(elem->flags) != 0) {
            KZS_LOADER_MOD_ERR(mod, KZS_MSG_REPEATED, Keyword(stmt), Keyword(parentStmt));
            return KZ_ERR;
        }
        elem->flags |= KZS_SUB_FLAG_SEEN;
        void *dest = KZS_LOADER_GetSubParseDest(elem, parentStmt);
        uint32_t ret = KZ_EINVAL;
        if (dest != nullptr || (elem->flags & KZS_SUB_FLAG_ARRAY) == 0) {
            ret = parse(mod, child, parentStmt, dest);
        }
        if (ret != KZ_OK) {
            if (!ModHasDiagnostics(mod)) {
                KZS_LOADER_MOD_ERR(mod, KZS_MSG_PARSE_UNDER, Keyword(stmt), Keyword(parentStmt));
            }
            return ret;
        }
    }
    return KZ_OK;
}

} /* namespace */

namespace kz::loader {

uint32_t ParseRecorder::StmtOf(const xmlNode *elem)
{
    const xmlNs *ns = elem->ns;
    if (ns == nullptr) {
        return KZS_STMT_UNKNOWN;
    }
    if (ns != yinNs_) {
        if (ns->href == nullptr || std::strcmp(reinterpret_cast<const char *>(ns->href), KZS_YIN_NAMESPACE) != 0) {
            return KZS_STMT_EXTENSION_INSTANCE;
        }
        yinNs_ = ns;
    }
    static_assert(kNameSlots == 64, "the slot is the top six bits of the hashed address");
    const auto key = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(elem->name));
    NameSlot &slot = names_[(key * 0x9E3779B97F4A7C15ull) >> 58];
    if (slot.name != elem->name) {
        slot = NameSlot{elem->name, KZS_LOADER_GetStmtByKeyword(reinterpret_cast<const char *>(elem->name))};
    }
    return slot.stmt;
}

void ParseRecorder::Note(xmlNode *elem, void *arg)
{
    if (!kRecordsFit) {
        return;
    }
    const uint32_t stmt = static_cast<ParseRecorder *>(arg)->StmtOf(elem);
    SetRecord(elem, kRecorded | (uint64_t{stmt} << kOwnStmtShift));
    xmlNode *parent = elem->parent;
    if (parent != nullptr && parent->type == XML_ELEMENT_NODE && (RecordOf(parent) & kRecorded) != 0) {
        SetRecord(parent, RecordOf(parent) | ChildBit(stmt));
    }
}

bool MayHaveChildOf(const xmlNode *elem, std::initializer_list<uint32_t> stmts)
{
    if (elem == nullptr || !HasTrustedRecord(elem)) {
        return true;
    }
    uint64_t wanted = 0;
    for (uint32_t stmt : stmts) {
        wanted |= ChildBit(stmt);
    }
    return (RecordOf(elem) & wanted) != 0;
}

void TrustParseRecords(xmlDoc *doc, bool trusted)
{
    if (doc != nullptr) {
        doc->psvi = trusted && kRecordsFit ? &g_recordsTrusted : nullptr;
    }
}

} /* namespace kz::loader */

extern "C" {

KZ_API uint32_t KZS_LOADER_IsNodeStmtWithExtInst(uint32_t parentStmt)
{
    for (uint32_t stmt : kNodeParentsWithExtInst) {
        if (stmt == parentStmt) {
            return 1;
        }
    }
    return 0;
}

KZ_API SubParseElem *KZS_LOADER_GetSubParseElem(uint32_t stmt, SubParseElem *elems, uint32_t elemCount)
{
    if (elems == nullptr) {
        return nullptr;
    }
    for (uint32_t i = 0; i < elemCount; i++) {
        if (elems[i].stmt == stmt) {
            return &elems[i];
        }
    }
    return nullptr;
}

KZ_API void KZS_LOADER_MarkSubNode(xmlNode *node)
{
    if (node == nullptr) {
        return;
    }
    for (xmlNode *child = node->children; child != nullptr; child = child->next) {
        if (child->type == XML_ELEMENT_NODE) {
            kz::loader::OrElemMark(child, ChildStmt(child));
        }
    }
}

KZ_API uint32_t KZS_LOADER_MarkSubNodeAndCountArraySize(KzMod *mod, xmlNode *node, SubParseElem *elems,
                                                        uint32_t elemCount)
{
    if (mod == nullptr || node == nullptr) {
        return KZ_EINVAL;
    }
    for (xmlNode *child = node->children; child != nullptr; child = child->next) {
        if (child->type != XML_ELEMENT_NODE) {
            continue;
        }
        const uint32_t stmt = ChildStmt(child);
        SubParseElem *elem = KZS_LOADER_GetSubParseElem(stmt, elems, elemCount);
        if (elem == nullptr) {
            continue;
        }
        if (stmt == KZS_STMT_EXTENSION_INSTANCE && KZS_LOADER_IsExtInstNeedParse(mod, child) == 0) {
            continue;
        }
        kz::loader::OrElemMark(child, stmt);
        if ((elem->flags & KZS_SUB_FLAG_ARRAY) != 0 && elem->count != nullptr) {
            if (*elem->count == UINT16_MAX) {
                return KZ_EINVAL; /* more occurrences than an array can count */
            }
            (*elem->count)++;
        }
    }
    return KZ_OK;
}

KZ_API uint32_t KZS_LOADER_NewSubStatementsArray(uint32_t parentStmt, SubParseElem *elems, uint32_t elemCount)
{
    if (elems == nullptr && elemCount != 0) {
        return KZ_EINVAL;
    }
    for (uint32_t i = 0; i < elemCount; i++) {
        SubParseElem *elem = &elems[i];
        if ((elem->flags & KZS_SUB_FLAG_ARRAY) == 0 || elem->count == nullptr || *elem->count == 0) {
            continue;
        }
        if (elem->dest == nullptr) {
            return KZ_EINVAL;
        }
        void **arrayPtr = IsExtInstInNode(elem, parentStmt)
                              ? reinterpret_cast<void **>(&static_cast<KzsNode *>(elem->dest)->extInsts)
                              : static_cast<void **>(elem->dest);
        uint32_t ret = KZ_UTL_NewArray(arrayPtr, *elem->count, elem->elemSize);
        if (ret != KZ_OK) {
            return ret;
        }
    }
    return KZ_OK;
}

KZ_API void *KZS_LOADER_GetSubParseDest(SubParseElem *elem, uint32_t parentStmt)
{
    if (elem == nullptr) {
        return nullptr;
    }
    if (IsExtInstInNode(elem, parentStmt) || (elem->flags & KZS_SUB_FLAG_ARRAY) == 0) {
        return elem->dest;
    }
    if (elem->dest == nullptr || elem->fillIndex == nullptr) {
        return nullptr;
    }
    char *base = *static_cast<char **>(elem->dest);
    const uint16_t index = *elem->fillIndex;
    /* The counter holds the array's size; never hand out a slot beyond it. */
    if (base == nullptr || (elem->count != nullptr && index >= *elem->count)) {
        return nullptr;
    }
    (*elem->fillIndex)++;
    return base + static_cast<size_t>(index) * elem->elemSize;
}

KZ_API uint32_t KZS_LOADER_CheckUniqueSubStmtRepeat(uint32_t flags)
{
    const uint32_t both = KZS_SUB_FLAG_UNIQUE | KZS_SUB_FLAG_SEEN;
    return (flags & both) == both ? 1u : 0u;
}

KZ_API uint32_t KZS_LOADER_ParseSubStatementsInner(KzMod *mod, xmlNode *node, uint32_t parentStmt,
                                                   SubParseElem *elems, uint32_t elemCount)
{
    if (mod == nullptr || node == nullptr) {
        return KZ_EINVAL;
    }
    return ParseChildren(mod, node, parentStmt, elems, elemCount, ElemMark);
}

KZ_API uint32_t KZS_LOADER_ParseSubStatements(KzMod *mod, xmlNode *node, uint32_t parentStmt,
                                              SubParseElem *elems, uint32_t elemCount)
{
    if (mod != nullptr && node != nullptr && NeedsNoCounting(node, elems, elemCount)) {
        return ParseChildren(mod, node, parentStmt, elems, elemCount, ChildStmt);
    }
    uint32_t ret = KZS_LOADER_MarkSubNodeAndCountArraySize(mod, node, elems, elemCount);
    if (ret != KZ_OK) {
        return ret;
    }
    ret = KZS_LOADER_NewSubStatementsArray(parentStmt, elems, elemCount);
    if (ret != KZ_OK) {
        return ret;
    }
    return KZS_LOADER_ParseSubStatementsInner(mod, node, parentStmt, elems, elemCount);
}

/* ---- Text-valued statements ---- */

KZ_API uint32_t KZS_LOADER_ParseText(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    if (mod == nullptr || elem == nullptr || dest == nullptr) {
        return KZ_EINVAL;
    }
    const char *text = KZ_XML_GetElemNodeContent(elem);
    if (text == nullptr) {
        return KZ_OK;
    }
    return kz::loader::InternInto(mod, text, dest, KZ_EINVAL);
}

KZ_API uint32_t KZS_LOADER_ParseValue(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    if (parentStmt != KZS_STMT_ERROR_MESSAGE) {
        return KZ_OK;
    }
    return KZS_LOADER_ParseText(mod, elem, parentStmt, dest);
}

KZ_API uint32_t KZS_LOADER_ParseDescription(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    if (mod == nullptr || mod->ctx == nullptr || elem == nullptr) {
        return KZ_EINVAL;
    }
    if ((mod->ctx->flags & KZ_CTX_OPT_KEEP_DESCRIPTION) == 0) {
        return KZ_OK;
    }
    SubParseElem text = {KZS_STMT_TEXT, dest, nullptr, nullptr, 0, 0};
    uint32_t ret = KZS_LOADER_ParseSubStatements(mod, elem, KZS_STMT_DESCRIPTION, &text, 1);
    if (ret != KZ_OK) {
        KZS_LOADER_MOD_ERR(mod, KZS_MSG_PARSE_STMT, Keyword(KZS_STMT_DESCRIPTION));
    }
    return ret;
}

KZ_API uint32_t KZS_LOADER_ParsePrefix(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    if (mod == nullptr || elem == nullptr || dest == nullptr) {
        return KZ_EINVAL;
    }
    const char *value = kz::loader::RequireArg(mod, elem, KZS_STMT_PREFIX);
    if (value == nullptr) {
        return KZ_EINVAL;
    }
    return kz::loader::InternInto(mod, value, dest, KZ_EINVAL);
}

KZ_API uint32_t KZS_LOADER_ParseStatus(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    if (mod == nullptr || elem == nullptr || dest == nullptr) {
        return KZ_EINVAL;
    }
    const char *value = kz::loader::RequireArg(mod, elem, KZS_STMT_STATUS);
    if (value == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t *flags = static_cast<uint32_t *>(dest);
    if (std::strcmp(value, "current") == 0) {
        return KZ_OK;
    }
    if (std::strcmp(value, "deprecated") == 0) {
        *flags |= KZS_NODE_FLAG_DEPRECATED;
        return KZ_OK;
    }
    if (std::strcmp(value, "obsolete") == 0) {
        *flags |= KZS_NODE_FLAG_OBSOLETE;
        return KZ_OK;
    }
    KZS_LOADER_MOD_ERR(mod, KZS_MSG_PARSE_VALUE, value, Keyword(KZS_STMT_STATUS));
    return KZ_EINVAL;
}

KZ_API uint32_t KZS_LOADER_ParseUnits(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    if (mod == nullptr || mod->ctx == nullptr || elem == nullptr || dest == nullptr) {
        return KZ_EINVAL;
    }
    if ((mod->ctx->flags & KZ_CTX_OPT_KEEP_UNITS) == 0) {
        return KZ_OK;
    }
    const char *value = ElemArg(elem);
    if (value == nullptr) {
        return KZ_EINVAL;
    }
    return kz::loader::InternInto(mod, value, dest, KZ_ENOMEM);
}

KZ_API uint32_t KZS_LOADER_ParseErrorMessage(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    if (mod == nullptr || elem == nullptr || dest == nullptr) {
        return KZ_EINVAL;
    }
    SubParseElem value = {KZS_STMT_VALUE, dest, nullptr, nullptr, 0, 0};
    return KZS_LOADER_ParseSubStatements(mod, elem, KZS_STMT_ERROR_MESSAGE, &value, 1);
}

KZ_API uint32_t KZS_LOADER_ParseErrorAppTag(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    if (mod == nullptr || elem == nullptr || dest == nullptr) {
        return KZ_EINVAL;
    }
    const char *value = kz::loader::RequireArg(mod, elem, KZS_STMT_ERROR_APP_TAG);
    if (value == nullptr) {
        return KZ_EINVAL;
    }
    return kz::loader::InternInto(mod, value, dest, KZ_EINVAL);
}

} /* extern "C" */
