/* Helpers of the coupling tests: modules written as YIN text, loaded from
 * memory, and a dump of schema trees and relations to compare states. */
#ifndef COUPLE_TEST_UTIL_H
#define COUPLE_TEST_UTIL_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "couple/kzs_couple.h"
#include "korla.h"
#include "schema/kzs_ctx.h"
#include "schema/kzs_mod.h"
#include "schema/kzs_node.h"
#include "test_support.h"

namespace couple_test {

struct Ctx {
    KzCtx *ctx;
    explicit Ctx(uint32_t flags = KZ_CTX_OPT_KEEP_UNITS) : ctx(KZ_CTX_Create(flags)) {}
    ~Ctx() { KZ_CTX_Delete(ctx); }
    Ctx(const Ctx &) = delete;
    Ctx &operator=(const Ctx &) = delete;
    operator KzCtx *() const { return ctx; }
};

/* A module named name (namespace urn:t:<name>, prefix = name) importing the
 * given modules with their names as prefixes. */
inline std::string Yin(const std::string &name, const std::string &body, const std::vector<std::string> &imports = {})
{
    std::string text = "<module name=\"" + name + "\" xmlns=\"urn:ietf:params:xml:ns:yang:yin:1\" xmlns:" + name +
                       "=\"urn:t:" + name + "\">";
    text += "<yang-version value=\"1.1\"/><namespace uri=\"urn:t:" + name + "\"/><prefix value=\"" + name + "\"/>";
    for (const auto &imp : imports) {
        text += "<import module=\"" + imp + "\"><prefix value=\"" + imp + "\"/></import>";
    }
    return text + body + "</module>";
}

inline uint32_t Load(KzCtx *ctx, const std::string &text)
{
    return KZ_CTX_LoadMemory(ctx, text.c_str());
}

inline const char *S(const char *s)
{
    return s != nullptr ? s : "-";
}

inline void DumpNode(const KzsNode *node, int depth, std::string &out)
{
    char buf[160];
    std::snprintf(buf, sizeof buf, "%*s%u %s:%s f=%x", depth * 2, "", node->kind,
                  node->module != nullptr ? S(node->module->name) : "?", S(node->name), node->flags);
    out += buf;
    if (node->kind == KZS_NODE_LEAF && node->schemaInfo != nullptr) {
        auto *li = static_cast<const KzsLeafInfo *>(node->schemaInfo);
        out += std::string(" type=") + std::to_string(li->realType.baseType) + " dflt=" + S(li->dflt) +
               " units=" + S(li->units);
    } else if (node->kind == KZS_NODE_LEAFLIST && node->schemaInfo != nullptr) {
        auto *li = static_cast<const KzsLeafListInfo *>(node->schemaInfo);
        out += std::string(" type=") + std::to_string(li->realType.baseType) + " dflts=";
        for (uint32_t i = 0; i < li->defaultCount; i++) {
            out += std::string(S(li->defaults[i])) + ",";
        }
        out += std::string(" units=") + S(li->units);
    } else if (node->kind == KZS_NODE_CHOICE && node->schemaInfo != nullptr) {
        out += std::string(" dflt=") + S(static_cast<const KzsChoiceInfo *>(node->schemaInfo)->defaultCase);
    }
    for (uint16_t i = 0; i < node->mustCount; i++) {
        out += std::string(" must=") + S(node->musts[i].cond);
    }
    for (uint16_t i = 0; i < node->extInstCount; i++) {
        out += std::string(" ext=") + S(node->extInsts[i].modName) + ":" + S(node->extInsts[i].extName);
    }
    out += "\n";
    for (const KzsNode *c = node->firstChild; c != nullptr; c = c->next) {
        DumpNode(c, depth + 1, out);
        if (node->kind == KZS_NODE_AUGMENT && c == node->lastChild) {
            break;
        }
    }
}

inline std::string DumpModule(const KzMod *mod)
{
    if (mod == nullptr) {
        return "(absent)\n";
    }
    std::string out = std::string("module ") + mod->name + "\n";
    for (const KzsNode *head : {mod->dataNodes, mod->rpcs, mod->notifs}) {
        for (const KzsNode *n = head; n != nullptr; n = n->next) {
            DumpNode(n, 1, out);
        }
    }
    for (const KzsNode *a = mod->augments; a != nullptr; a = a->next) {
        out += std::string("  augment ") + S(a->name) +
               ((a->flags & KZS_NODE_FLAG_AUG_COUPLED) != 0 ? " coupled\n" : " uncoupled\n");
    }
    for (uint16_t i = 0; i < mod->deviationCount; i++) {
        out += std::string("  deviation ") + S(mod->deviations[i].target) +
               ((mod->deviations[i].flags & KZS_DEVIATION_FLAG_COUPLED) != 0 ? " coupled\n" : " uncoupled\n");
    }
    return out;
}

/* Relation items of one module's table, as "kind:dependant" in list order. */
inline std::vector<std::string> Relations(KzCtx *ctx, const char *modName)
{
    std::vector<std::string> items;
    RelationTbl *tbl = KZ_CTX_FindModRelationTbl(ctx, modName);
    if (tbl == nullptr || tbl->items == nullptr) {
        return items;
    }
    RelationItem *it = tbl->items;
    do {
        items.push_back(std::to_string(it->kind) + ":" + it->depModName);
        it = it->next;
    } while (it != tbl->items);
    return items;
}

/* Every module of the list and its relation table; sorted relations when the
 * order of loading is not part of the comparison. */
inline std::string DumpState(KzCtx *ctx, const std::vector<std::string> &names, bool sortRelations)
{
    std::string out;
    for (const auto &name : names) {
        out += DumpModule(KZ_CTX_GetModuleByModName(ctx, name.c_str()));
        auto rel = Relations(ctx, name.c_str());
        if (sortRelations) {
            std::sort(rel.begin(), rel.end());
        }
        for (const auto &r : rel) {
            out += "  rel " + r + "\n";
        }
    }
    return out;
}

/* Messages recorded for one module, in order. */
inline std::vector<std::string> Messages(KzCtx *ctx, const std::string &modName)
{
    return kztest::LoadMessages(ctx, modName.c_str());
}

/* JSON form of a path written with a module on every step: the module is
 * kept only where it changes. */
inline std::string Json(const std::string &path)
{
    std::string out;
    std::string prevMod;
    size_t pos = 0;
    while (pos < path.size() && path[pos] == '/') {
        size_t end = path.find('/', pos + 1);
        std::string step = path.substr(pos + 1, end == std::string::npos ? std::string::npos : end - pos - 1);
        size_t colon = step.find(':');
        if (colon != std::string::npos) {
            std::string mod = step.substr(0, colon);
            if (mod == prevMod) {
                step = step.substr(colon + 1);
            }
            prevMod = mod;
        }
        out += "/" + step;
        pos = end == std::string::npos ? path.size() : end;
    }
    return out;
}

inline KzsNode *Node(KzCtx *ctx, const char *path)
{
    return KZ_CTX_GetTargetNode(ctx, Json(path).c_str(), nullptr);
}

using kztest::ChildNames;

} // namespace couple_test

#endif /* COUPLE_TEST_UTIL_H */
