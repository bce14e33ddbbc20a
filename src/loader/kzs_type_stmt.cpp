// Parsing of YIN "type" and "typedef" statements into real types, and the
// per-kind fillers of their constraint bodies.
#include <cstdint>
#include <cstring>
#include <string_view>

#include "loader/kzs_stmt.h"
#include "schema/kzs_ctx.h"
#include "schema/kzs_diag.h"
#include "base/kz_xml.h"
#include "schema/kzs_mod.h"
#include "types/kzt_cons.h"
#include "types/kzt_type.h"
#include "base/kz_kit.h"

namespace {

constexpr const char *kMsgNoValue = "Failed to get value of statement \"%s\".";
constexpr const char *kMsgBadValue = "Failed to parse value \"%s\" of statement \"%s\".";

// Names of a prefix or typedef are bounded like every other identifier step.

// Nested union members parse recursively; a type nested deeper than this
// inside other "type" elements is refused so that copy, destroy and binding
// stay within a bounded recursion as well.
constexpr uint32_t kMaxTypeNesting = 32;

struct NameCode {
    std::string_view name; // full name; the first letter has matched already
    KztBaseType code;
};

// Per-letter lists, searched in this order.
constexpr NameCode kNamesB[] = {{"boolean", KZT_BASE_BOOLEAN}, {"bits", KZT_BASE_BITS}, {"binary", KZT_BASE_BINARY}};
constexpr NameCode kNamesD[] = {{"decimal64", KZT_BASE_DECIMAL64}};
constexpr NameCode kNamesE[] = {{"enumeration", KZT_BASE_ENUMERATION}, {"empty", KZT_BASE_EMPTY}};
constexpr NameCode kNamesI[] = {{"int32", KZT_BASE_INT32},       {"identityref", KZT_BASE_IDENTITYREF},
                                {"int8", KZT_BASE_INT8},         {"int16", KZT_BASE_INT16},
                                {"int64", KZT_BASE_INT64},       {"instance-identifier", KZT_BASE_INSTANCE_ID}};
constexpr NameCode kNamesL[] = {{"leafref", KZT_BASE_LEAFREF}};
constexpr NameCode kNamesS[] = {{"string", KZT_BASE_STRING}};
constexpr NameCode kNamesU[] = {{"uint32", KZT_BASE_UINT32}, {"uint16", KZT_BASE_UINT16}, {"uint8", KZT_BASE_UINT8},
                                {"uint64", KZT_BASE_UINT64}, {"union", KZT_BASE_UNION}};

template <size_t N>
KztBaseType SearchNames(const NameCode (&list)[N], std::string_view rest)
{
    for (const NameCode &row : list) {
        if (row.name.substr(1) == rest) {
            return row.code;
        }
    }
    return KZT_BASE_DERIVED;
}

struct SubElemName {
    std::string_view name;
    KztConsType kind;
    uint32_t mark;
};

constexpr SubElemName kSubB[] = {{"base", KZT_CONS_BASE, KZT_MARK_BASE}, {"bit", KZT_CONS_BIT, KZT_MARK_BIT}};
constexpr SubElemName kSubE[] = {{"enum", KZT_CONS_ENUM, KZT_MARK_ENUM}};
constexpr SubElemName kSubF[] = {{"fraction-digits", KZT_CONS_FRACTION, KZT_MARK_FRACTION}};
constexpr SubElemName kSubL[] = {{"length", KZT_CONS_LENGTH, KZT_MARK_LENGTH}};
constexpr SubElemName kSubP[] = {{"path", KZT_CONS_PATH, KZT_MARK_PATH},
                                 {"pattern", KZT_CONS_PATTERN, KZT_MARK_PATTERN}};
constexpr SubElemName kSubR[] = {{"range", KZT_CONS_RANGE, KZT_MARK_RANGE}};
constexpr SubElemName kSubT[] = {{"type", KZT_CONS_UNION, KZT_MARK_UNION}};

template <size_t N>
const SubElemName *SearchSubElem(const SubElemName (&list)[N], std::string_view rest)
{
    for (const SubElemName &row : list) {
        if (row.name.substr(1) == rest) {
            return &row;
        }
    }
    return nullptr;
}

const SubElemName *LookupSubElem(const char *tag)
{
    if (tag == nullptr || tag[0] == '\0') {
        return nullptr;
    }
    std::string_view rest(tag + 1);
    switch (tag[0]) {
        case 'b': return SearchSubElem(kSubB, rest);
        case 'e': return SearchSubElem(kSubE, rest);
        case 'f': return SearchSubElem(kSubF, rest);
        case 'l': return SearchSubElem(kSubL, rest);
        case 'p': return SearchSubElem(kSubP, rest);
        case 'r': return SearchSubElem(kSubR, rest);
        case 't': return SearchSubElem(kSubT, rest);
        default: return nullptr;
    }
}

inline uint64_t PrivMark(const xmlNode *node)
{
    return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(node->_private));
}

inline void AddPrivMark(xmlNode *node, uint32_t mark)
{
    node->_private = reinterpret_cast<void *>(reinterpret_cast<uintptr_t>(node->_private) | mark);
}

uint32_t TypeNestingDepth(const xmlNode *elem)
{
    uint32_t depth = 0;
    for (const xmlNode *p = elem->parent; p != nullptr && p->type == XML_ELEMENT_NODE; p = p->parent) {
        // The first letter rules out most parents (a leaf, a container) without a call.
        const char *name = reinterpret_cast<const char *>(p->name);
        if (name == nullptr || name[0] != 't' || std::strcmp(name, "type") != 0) {
            break;
        }
        ++depth;
    }
    return depth;
}

// Identity defaults are kept in module:name form, like those of leaves.
uint32_t RefreshTypedefDefault(KzMod *mod, KzsTypedef *tdef)
{
    if (tdef->dflt == nullptr || KZT_TYPE_IsTypeWithIdentref(&tdef->realType) == 0) {
        return KZ_OK;
    }
    char *json = KZS_MOD_ConvertPrefixValToJsonFormat(mod, tdef->dflt);
    if (json == nullptr) {
        return KZ_EINVAL;
    }
    const char *interned = KZ_DICT_Insert(&mod->ctx->dict, json);
    KZ_MemFree(json);
    if (interned == nullptr) {
        return KZ_EINVAL;
    }
    KZ_DICT_Remove(&mod->ctx->dict, tdef->dflt);
    tdef->dflt = interned;
    return KZ_OK;
}

// Every constraint kind's filler; unions parse their members as nested types.
constexpr KztConsFillAllSegFunc kFillTbl[KZT_CONS_KIND_COUNT] = {
    KZT_LOADER_FillConsDataAndAllDerivedSeg,  KZT_LOADER_FillConsDataAndAllBaseSeg,
    KZT_LOADER_FillConsDataAndAllBitSeg,      KZT_LOADER_FillConsDataAndAllEnumSeg,
    KZT_LOADER_FillConsDataAndAllFractionSeg, KZT_LOADER_FillConsDataAndAllLengthSeg,
    KZT_LOADER_FillConsDataAndAllPathSeg,     KZT_LOADER_FillConsDataAndAllPatternSeg,
    KZT_LOADER_FillConsDataAndAllRangeSeg,    KZT_LOADER_FillConsDataAndAllUnionSeg,
};

} // namespace

extern "C" {

uint32_t KZT_LOADER_FillOneConsSegUnion(KzCtx *ctx, KzMod *mod, void *seg, uint8_t *aux, xmlNode *elem)
{
    (void)ctx;
    (void)aux;
    return KZT_LOADER_ParseTypeStmt(mod, elem, KZS_STMT_TYPE, seg);
}

uint32_t KZT_LOADER_FillConsDataAndAllUnionSeg(KzCtx *ctx, KzMod *mod, xmlNode *typeElem, KztConsFillArg *arg)
{
    if (ctx == nullptr || typeElem == nullptr || arg == nullptr || arg->entry == nullptr ||
        arg->entry->consData == nullptr) {
        return KZ_EINVAL;
    }
    auto *body = static_cast<KztConsDataUnion *>(arg->entry->consData);
    KztSegFiller filler;
    KZT_LOADER_InitSegFiller(&filler, body->segCount, sizeof(KztRealType), KZT_MARK_UNION,
                             KZT_LOADER_FillOneConsSegUnion);
    return KZT_LOADER_FillTypeConstraintSeg(ctx, mod, body->segs, typeElem, &filler);
}

KztConsFillAllSegFunc KZT_LOADER_GetConsDataFillAllSegFunc(KztConsType kind)
{
    return kind < KZT_CONS_KIND_COUNT ? kFillTbl[kind] : nullptr;
}


KztBaseType KZT_LOADER_GetBaseTypeFromTypeName(const char *name)
{
    if (name == nullptr || name[0] == '\0') {
        return KZT_BASE_DERIVED;
    }
    std::string_view rest(name + 1);
    switch (name[0]) {
        case 'b': return SearchNames(kNamesB, rest);
        case 'd': return SearchNames(kNamesD, rest);
        case 'e': return SearchNames(kNamesE, rest);
        case 'i': return SearchNames(kNamesI, rest);
        case 'l': return SearchNames(kNamesL, rest);
        case 's': return SearchNames(kNamesS, rest);
        case 'u': return SearchNames(kNamesU, rest);
        default: return KZT_BASE_DERIVED;
    }
}

void KZT_LOADER_CountAndMarkTypeSubElem(xmlNode *typeElem, uint16_t *counters)
{
    if (typeElem == nullptr || counters == nullptr) {
        return;
    }
    for (xmlNode *child = typeElem->children; child != nullptr; child = child->next) {
        if (child->type != XML_ELEMENT_NODE) {
            continue;
        }
        const SubElemName *sub = LookupSubElem(reinterpret_cast<const char *>(child->name));
        if (sub == nullptr) {
            continue;
        }
        AddPrivMark(child, sub->mark);
        if (counters[sub->kind] == UINT16_MAX) {
            continue; // the segment arrays cannot hold more; the rest is ignored
        }
        if (++counters[sub->kind] == 1) {
            ++counters[KZT_TYPE_COUNTER_DISTINCT];
        }
    }
}

uint32_t KZT_LOADER_CreateConsDataInLastConstraint(KzCtx *ctx, KztTypeConstraint *entry, KztConsType kind,
                                                   uint16_t count)
{
    (void)ctx;
    if (entry == nullptr || entry->consData != nullptr) {
        return KZ_EINVAL;
    }
    KztConsCreateBodyFunc create = KZT_CONS_GetConsDataCreateBodyFunc(kind);
    if (create == nullptr) {
        return KZ_OK;
    }
    entry->consData = create(count);
    return entry->consData != nullptr ? KZ_OK : KZ_ENOMEM;
}

uint32_t KZT_LOADER_FillAllTypeConstraint(KzCtx *ctx, KzMod *mod, KztRealType *realType, xmlNode *typeElem,
                                          const uint16_t *counters)
{
    if (realType == nullptr || typeElem == nullptr || counters == nullptr) {
        return KZ_EINVAL;
    }
    for (KztConsType kind = 0; kind < KZT_CONS_KIND_COUNT; ++kind) {
        if (counters[kind] == 0) {
            continue;
        }
        KztConsFillAllSegFunc fill = KZT_LOADER_GetConsDataFillAllSegFunc(kind);
        if (fill == nullptr) {
            continue;
        }
        if (realType->constraints == nullptr || realType->consCount >= counters[KZT_TYPE_COUNTER_DISTINCT]) {
            return KZ_EINVAL;
        }
        KztTypeConstraint *entry = &realType->constraints[realType->consCount];
        // Range and length bodies size their segments after splitting the expression.
        uint16_t segCount = (kind == KZT_CONS_RANGE || kind == KZT_CONS_LENGTH) ? 0 : counters[kind];
        uint32_t ret = KZT_LOADER_CreateConsDataInLastConstraint(ctx, entry, kind, segCount);
        if (ret != KZ_OK) {
            return ret;
        }
        entry->consType = kind;
        ++realType->consCount;
        KztConsFillArg arg{realType, entry, counters[kind]};
        ret = fill(ctx, mod, typeElem, &arg);
        if (ret != KZ_OK) {
            return ret;
        }
    }
    return KZ_OK;
}

uint32_t KZT_LOADER_ParseTypeStmt(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    auto *realType = static_cast<KztRealType *>(dest);
    if (realType == nullptr || mod == nullptr || elem == nullptr) {
        return KZ_EINVAL;
    }
    KzCtx *ctx = mod->ctx;
    const char *name = KZ_XML_GetFirstPropertyValue(elem);
    if (name == nullptr) {
        KZ_CTX_AddModError(ctx, mod->name, kMsgNoValue, "typeName");
        return KZ_EINVAL;
    }
    if (TypeNestingDepth(elem) > kMaxTypeNesting) {
        KZ_CTX_AddModError(ctx, mod->name, kMsgBadValue, name, "type");
        return KZ_EINVAL;
    }
    uint16_t counters[KZT_TYPE_COUNTER_NUM] = {};
    KztBaseType base = KZT_LOADER_GetBaseTypeFromTypeName(name);
    if (base == KZT_BASE_DERIVED) {
        counters[KZT_CONS_DERIVED] = 1;
        counters[KZT_TYPE_COUNTER_DISTINCT] = 1;
    }
    KZT_LOADER_CountAndMarkTypeSubElem(elem, counters);
    realType->baseType = base;
    if (counters[KZT_TYPE_COUNTER_DISTINCT] == 0) {
        return KZ_OK;
    }
    uint32_t ret = KZT_TYPE_ExpandConstraintArray(realType, counters[KZT_TYPE_COUNTER_DISTINCT]);
    if (ret != KZ_OK) {
        return ret;
    }
    ret = KZT_LOADER_FillAllTypeConstraint(ctx, mod, realType, elem, counters);
    if (ret != KZ_OK) {
        KZ_CTX_AddModError(ctx, mod->name, kMsgBadValue, name, "type");
    }
    return ret;
}

uint32_t KZT_LOADER_ParseTypeDefStmt(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    auto *tdef = static_cast<KzsTypedef *>(dest);
    if (mod == nullptr || mod->ctx == nullptr || elem == nullptr || tdef == nullptr) {
        return KZ_EINVAL;
    }
    KzCtx *ctx = mod->ctx;
    const char *name = KZ_XML_GetFirstPropertyValue(elem);
    if (name == nullptr) {
        KZ_CTX_AddModError(ctx, mod->name, kMsgNoValue, "typedef");
        return KZ_EINVAL;
    }
    tdef->name = KZ_DICT_Insert(&ctx->dict, name);
    if (tdef->name == nullptr) {
        return KZ_EINVAL;
    }
    SubParseElem elems[] = {
        {KZS_STMT_TYPE, &tdef->realType, nullptr, nullptr, 0, KZS_SUB_FLAG_UNIQUE},
        {KZS_STMT_DEFAULT, &tdef->dflt, nullptr, nullptr, 0, KZS_SUB_FLAG_UNIQUE},
        {KZS_STMT_UNITS, &tdef->units, nullptr, nullptr, 0, KZS_SUB_FLAG_UNIQUE},
    };
    uint32_t ret = KZS_LOADER_ParseSubStatements(mod, elem, KZS_STMT_TYPEDEF, elems,
                                                 static_cast<uint32_t>(sizeof(elems) / sizeof(elems[0])));
    if (ret != KZ_OK) {
        KZ_CTX_AddModError(ctx, mod->name, kMsgBadValue, name, "typedef");
    } else if (KZT_TYPE_IsInvalidType(&tdef->realType) != 0) {
        KZ_CTX_AddModError(ctx, mod->name, "typedef \"%s\" must define with type statement.", name);
        ret = KZ_EINVAL;
    } else {
        ret = RefreshTypedefDefault(mod, tdef);
    }
    if (ret != KZ_OK) {
        KZS_TYPE_DestroyTypDefInner(&ctx->dict, tdef);
    }
    return ret;
}

} // extern "C"
