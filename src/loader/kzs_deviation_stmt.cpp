/* Parsers of the deviation statement and its deviates, recorded for deviation coupling. */
#include <cstring>

#include "loader/kzs_loader.h"
#include "loader/kzs_stmt.h"
#include "loader/kzs_stmt_util.h"
#include "schema/kzs_diag.h"
#include "base/kz_mem.h"
#include "base/kz_xml.h"
#include "schema/kzs_mod.h"
#include "schema/kzs_node.h"
#include "types/kzt_type.h"
#include "xpath/kz_xpath.h"

namespace {

using kz::loader::ArrayElem;
using kz::loader::OnceElem;

using DeviateParseFunc = uint32_t (*)(KzMod *, xmlNode *, KzsDeviate *);

/* Indexed by deviate kind; not-supported reads no sub-statements. */
constexpr DeviateParseFunc kDeviateParsers[] = {
    nullptr,                        /* KZS_DEVIATE_NONE */
    KZS_LOADER_ParseDeviateAdd,     /* KZS_DEVIATE_ADD */
    KZS_LOADER_ParseDeviateDelete,  /* KZS_DEVIATE_DELETE */
    nullptr,                        /* KZS_DEVIATE_NOT_SUPPORTED */
    KZS_LOADER_ParseDeviateReplace, /* KZS_DEVIATE_REPLACE */
};

DeviateParseFunc GetDeviateParser(uint32_t kind)
{
    return kind < sizeof(kDeviateParsers) / sizeof(kDeviateParsers[0]) ? kDeviateParsers[kind] : nullptr;
}

/* Capacities the framework grows the deviate's arrays to while parsing. */
struct DeviateArraySizes {
    uint16_t must = 0;
    uint16_t dflt = 0;
    uint16_t extInst = 0;
    uint16_t type = 0;
};

SubParseElem Musts(KzsDeviate *deviate, DeviateArraySizes *sizes)
{
    return ArrayElem(KZS_STMT_MUST, &deviate->musts, &deviate->mustCount, &sizes->must, sizeof(KzsMust));
}

SubParseElem Defaults(KzsDeviate *deviate, DeviateArraySizes *sizes)
{
    return ArrayElem(KZS_STMT_DEFAULT, &deviate->defaults, &deviate->defaultCount, &sizes->dflt, sizeof(const char *));
}

SubParseElem ExtInsts(KzsDeviate *deviate, DeviateArraySizes *sizes)
{
    return ArrayElem(KZS_STMT_EXTENSION_INSTANCE, &deviate->extInsts, &deviate->extInstCount, &sizes->extInst,
                 sizeof(KzsExtInst));
}

/* Parses the deviate's sub-statements; the config and mandatory bits collected
 * in *flags (add and replace) are stored only once every one succeeded. */
template <uint32_t N>
uint32_t ParseDeviateBody(KzMod *mod, xmlNode *elem, SubParseElem (&elems)[N], const uint32_t *flags,
                          KzsDeviate *deviate)
{
    uint32_t ret = KZS_LOADER_ParseSubStatements(mod, elem, KZS_STMT_DEVIATE, elems, N);
    if (ret == KZ_OK && flags != nullptr) {
        deviate->flags = static_cast<uint16_t>(*flags);
    }
    return ret;
}

} /* namespace */

extern "C" {

KZ_API uint32_t KZS_LOADER_GetDeviateType(const char *value)
{
    if (value == nullptr) {
        return KZS_DEVIATE_NONE;
    }
    if (std::strcmp(value, "add") == 0) {
        return KZS_DEVIATE_ADD;
    }
    if (std::strcmp(value, "delete") == 0) {
        return KZS_DEVIATE_DELETE;
    }
    if (std::strcmp(value, "not-supported") == 0) {
        return KZS_DEVIATE_NOT_SUPPORTED;
    }
    if (std::strcmp(value, "replace") == 0) {
        return KZS_DEVIATE_REPLACE;
    }
    return KZS_DEVIATE_NONE;
}

KZ_API uint32_t KZS_LOADER_ParseDeviateAdd(KzMod *mod, xmlNode *elem, KzsDeviate *deviate)
{
    if (mod == nullptr || elem == nullptr || deviate == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t flags = 0;
    DeviateArraySizes sizes;
    SubParseElem elems[] = {
        OnceElem(KZS_STMT_CONFIG, &flags),
        OnceElem(KZS_STMT_MANDATORY, &flags),
        OnceElem(KZS_STMT_UNITS, &deviate->units),
        Musts(deviate, &sizes),
        Defaults(deviate, &sizes),
        ExtInsts(deviate, &sizes),
    };
    return ParseDeviateBody(mod, elem, elems, &flags, deviate);
}

KZ_API uint32_t KZS_LOADER_ParseDeviateReplace(KzMod *mod, xmlNode *elem, KzsDeviate *deviate)
{
    if (mod == nullptr || elem == nullptr || deviate == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t flags = 0;
    uint16_t typeFill = 0;
    DeviateArraySizes sizes;
    SubParseElem typeElem = ArrayElem(KZS_STMT_TYPE, &deviate->type, &typeFill, &sizes.type, sizeof(KztRealType));
    typeElem.flags |= KZS_SUB_FLAG_UNIQUE;
    SubParseElem elems[] = {
        OnceElem(KZS_STMT_CONFIG, &flags),
        OnceElem(KZS_STMT_MANDATORY, &flags),
        typeElem,
        OnceElem(KZS_STMT_UNITS, &deviate->units),
        Defaults(deviate, &sizes),
    };
    return ParseDeviateBody(mod, elem, elems, &flags, deviate);
}

KZ_API uint32_t KZS_LOADER_ParseDeviateDelete(KzMod *mod, xmlNode *elem, KzsDeviate *deviate)
{
    if (mod == nullptr || elem == nullptr || deviate == nullptr) {
        return KZ_EINVAL;
    }
    DeviateArraySizes sizes;
    SubParseElem elems[] = {
        OnceElem(KZS_STMT_UNITS, &deviate->units),
        Musts(deviate, &sizes),
        Defaults(deviate, &sizes),
        ExtInsts(deviate, &sizes),
    };
    return ParseDeviateBody(mod, elem, elems, nullptr, deviate);
}

KZ_API uint32_t KZS_LOADER_ParseDeviate(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    auto *deviate = static_cast<KzsDeviate *>(dest);
    if (mod == nullptr || elem == nullptr || deviate == nullptr) {
        return KZ_EINVAL;
    }
    const char *value = kz::loader::RequireArg(mod, elem, KZS_STMT_DEVIATE);
    if (value == nullptr) {
        return KZ_EPARSE;
    }
    const uint32_t kind = KZS_LOADER_GetDeviateType(value);
    if (kind == KZS_DEVIATE_NONE) {
        KZ_CTX_AddModError(mod->ctx, mod->name, KZS_MSG_PARSE_VALUE, value, "deviate");
        return KZ_EPARSE;
    }
    deviate->kind = kind;
    DeviateParseFunc parse = GetDeviateParser(kind);
    if (parse == nullptr) {
        return KZ_OK; /* not-supported: its children are not read */
    }
    uint32_t ret = parse(mod, elem, deviate);
    if (ret != KZ_OK) {
        KZ_CTX_AddModError(mod->ctx, mod->name, KZS_MSG_PARSE_VALUE, value, "deviate");
        KZS_MOD_ClearDeviate(&mod->ctx->dict, deviate);
    }
    return ret;
}

KZ_API uint32_t KZS_LOADER_ParseDeviation(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    auto *deviation = static_cast<KzsDeviation *>(dest);
    if (mod == nullptr || elem == nullptr || deviation == nullptr) {
        return KZ_EINVAL;
    }
    const char *target = KZ_XML_GetFirstPropertyValue(elem);
    if (target == nullptr || target[0] != '/') {
        KZ_CTX_AddModError(mod->ctx, mod->name, KZS_MSG_GET_VALUE, "deviation");
        return KZ_EINVAL;
    }
    char *json = KZ_XPATH_TransformToJsonFormat(mod, target);
    if (json == nullptr) {
        KZ_CTX_AddModError(mod->ctx, mod->name, KZS_MSG_PARSE_NODE, "deviation", target);
        return KZ_EINVAL;
    }
    deviation->target = KZ_DICT_Insert(&mod->ctx->dict, json);
    KZ_MemFree(json);
    if (deviation->target == nullptr) {
        KZ_CTX_AddModError(mod->ctx, mod->name, KZS_MSG_PARSE_NODE, "deviation", target);
        return KZ_EINVAL;
    }
    uint16_t deviateSize = 0;
    SubParseElem elems[] = {
        ArrayElem(KZS_STMT_DEVIATE, &deviation->deviates, &deviation->deviateCount, &deviateSize, sizeof(KzsDeviate)),
    };
    uint32_t ret = KZS_LOADER_ParseSubStatements(mod, elem, KZS_STMT_DEVIATION, elems, 1);
    if (ret != KZ_OK) {
        KZ_CTX_AddModError(mod->ctx, mod->name, KZS_MSG_PARSE_NODE, "deviation", target);
        KZS_MOD_ClearDeviation(&mod->ctx->dict, deviation);
    }
    return ret;
}

} /* extern "C" */
