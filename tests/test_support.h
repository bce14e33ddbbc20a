// Helpers shared by the test files: owning pointers, module texts, contexts
// loaded from memory, scratch directories, recorded load messages, dumps of
// schema trees, and fixtures for records built by hand.
#ifndef KORLA_TESTS_TEST_SUPPORT_H
#define KORLA_TESTS_TEST_SUPPORT_H

#include <ftw.h>
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "couple/kzs_couple.h"
#include "data/kzd_valid.h"
#include "loader/kzs_loader.h"
#include "loader/kzs_stmt.h"
#include "korla.h"
#include "schema/kzs_ctx.h"
#include "schema/kzs_diag.h"
#include "base/kz_array.h"
#include "base/kz_dict.h"
#include "base/kz_mem.h"
#include "base/kz_safe.h"
#include "base/kz_scan.h"
#include "base/kz_str.h"
#include "schema/kzs_mod.h"
#include "schema/kzs_node.h"
#include "types/kzt_cons.h"
#include "types/kzt_type.h"
#include "xpath/kz_xpath.h"

namespace kztest {

constexpr const char *kYinNs = "urn:ietf:params:xml:ns:yang:yin:1";

struct DocFree {
    void operator()(xmlDoc *doc) const { xmlFreeDoc(doc); }
};
using DocPtr = std::unique_ptr<xmlDoc, DocFree>;

struct ErrFree {
    void operator()(KzdErrNode *err) const { KZ_FreeErrNode(err); }
};
using ErrPtr = std::unique_ptr<KzdErrNode, ErrFree>;

// A context deleted with the scope; converts to the raw pointer.
struct Ctx {
    KzCtx *ctx;
    explicit Ctx(uint32_t flags = KZ_CTX_OPT_KEEP_UNITS) : ctx(KZ_CTX_Create(flags)) {}
    ~Ctx() { KZ_CTX_Delete(ctx); }
    Ctx(const Ctx &) = delete;
    Ctx &operator=(const Ctx &) = delete;
    operator KzCtx *() const { return ctx; }
};

inline DocPtr ParseXml(const std::string &text, int options = XML_PARSE_NOBLANKS)
{
    return DocPtr(xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, options));
}

// A directory under /tmp removed with everything in it at the end of the scope.
class ScratchDir {
public:
    ScratchDir()
    {
        char tmpl[] = "/tmp/korla-test-XXXXXX";
        const char *made = mkdtemp(tmpl);
        EXPECT_NE(made, nullptr);
        path_ = made != nullptr ? made : "";
    }
    ~ScratchDir()
    {
        if (!path_.empty()) {
            nftw(path_.c_str(), Remove, 8, FTW_DEPTH | FTW_PHYS);
        }
    }
    ScratchDir(const ScratchDir &) = delete;
    ScratchDir &operator=(const ScratchDir &) = delete;

    const std::string &Path() const { return path_; }
    std::string File(const std::string &name) const { return path_ + "/" + name; }

    void Write(const std::string &name, const std::string &text) const
    {
        FILE *f = std::fopen(File(name).c_str(), "wb");
        ASSERT_NE(f, nullptr) << File(name);
        std::fwrite(text.data(), 1, text.size(), f);
        std::fclose(f);
    }

private:
    static int Remove(const char *p, const struct stat *, int, struct FTW *) { return ::remove(p); }
    std::string path_;
};

// A module in YIN form (namespace urn:test:<name>, prefix = name unless
// given); body follows the header statements.
inline std::string Module(const std::string &name, const std::string &body, const std::string &prefix = "",
                          const std::string &extraNs = "")
{
    const std::string pfx = prefix.empty() ? name : prefix;
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<module name=\"" + name + "\" xmlns=\"" + kYinNs + "\" xmlns:" + pfx + "=\"urn:test:" + name + "\"" +
           extraNs + ">\n"
           "  <yang-version value=\"1.1\"/>\n"
           "  <namespace uri=\"urn:test:" + name + "\"/>\n"
           "  <prefix value=\"" + pfx + "\"/>\n" + body + "</module>\n";
}

// Import statements of the given modules, each under its own name as prefix.
inline std::string Imports(const std::vector<std::string> &modules)
{
    std::string text;
    for (const auto &m : modules) {
        text += "<import module=\"" + m + "\"><prefix value=\"" + m + "\"/></import>";
    }
    return text;
}

// A Module importing the given modules, each under its own name as prefix.
inline std::string Yin(const std::string &name, const std::string &body, const std::vector<std::string> &imports = {})
{
    return Module(name, Imports(imports) + body);
}

inline uint32_t Load(KzCtx *ctx, const std::string &text)
{
    return KZ_CTX_LoadMemory(ctx, text.c_str());
}

// The text of a string the library allocated, freed here; "(null)" for none.
inline std::string TakeText(char *owned)
{
    std::string text = owned != nullptr ? owned : "(null)";
    KZ_MemFree(owned);
    return text;
}

// `<type name="...">body</type>` in the YIN namespace.
inline std::string TypeYin(const std::string &name, const std::string &body = "")
{
    return "<type xmlns=\"" + std::string(kYinNs) + "\" name=\"" + name + "\">" + body + "</type>";
}

// A recorded load diagnostic; "(none)" stands for a missing file or message.
struct Diag {
    std::string module;
    std::string file;
    uint32_t level;
    std::string message;
    bool operator==(const Diag &o) const
    {
        return module == o.module && file == o.file && level == o.level && message == o.message;
    }
};

inline void PrintTo(const Diag &d, std::ostream *os)
{
    *os << "{" << d.module << ", " << d.file << ", " << d.level << ", " << d.message << "}";
}

// Every recorded load diagnostic in order.
inline std::vector<Diag> Diagnostics(KzCtx *ctx)
{
    std::vector<Diag> out;
    EXPECT_EQ(KZ_CTX_ScanAllSchemaLoadFail(
                  ctx,
                  [](const char *mod, const char *file, uint32_t level, const char *message, const KzSysTime *time,
                     void *p) -> uint32_t {
                      EXPECT_NE(time, nullptr);
                      static_cast<std::vector<Diag> *>(p)->push_back(Diag{mod != nullptr ? mod : "(none)",
                                                                          file != nullptr ? file : "(none)", level,
                                                                          message != nullptr ? message : "(none)"});
                      return 0;
                  },
                  &out),
              0u);
    return out;
}

// The recorded load messages in order; only module's when one is named.
inline std::vector<std::string> LoadMessages(KzCtx *ctx, const std::string &module = "")
{
    std::vector<std::string> out;
    for (const Diag &d : Diagnostics(ctx)) {
        if (module.empty() || d.module == module) {
            out.push_back(d.message);
        }
    }
    return out;
}

// Names of first and the siblings after it.
inline std::vector<std::string> SiblingNames(const KzsNode *first)
{
    std::vector<std::string> names;
    for (const KzsNode *n = first; n != nullptr; n = n->next) {
        names.emplace_back(n->name);
    }
    return names;
}

inline std::vector<std::string> ChildNames(const KzsNode *node)
{
    return SiblingNames(node != nullptr ? node->firstChild : nullptr);
}

// The node called name among first and the siblings after it.
inline KzsNode *FindSibling(KzsNode *first, const std::string &name)
{
    for (KzsNode *n = first; n != nullptr; n = n->next) {
        if (name == n->name) {
            return n;
        }
    }
    return nullptr;
}

// Validation callback recording the name of each element added as a default.
inline void CollectAdded(struct _xmlNode *added, void *names)
{
    static_cast<std::vector<std::string> *>(names)->emplace_back(reinterpret_cast<const char *>(added->name));
}

// fn(in) equals want for every {in, want} row.
template <class Fn>
void ExpectRows(Fn fn, std::initializer_list<std::pair<const char *, std::string>> rows)
{
    for (const auto &row : rows) {
        EXPECT_EQ(fn(row.first), row.second) << row.first;
    }
}

// Type-scan callback collecting "module:typedef:built-in base", "-" for a
// missing name.
inline uint32_t CollectTypeName(const char *mod, const char *name, KztRealType *rt, void *arg)
{
    static_cast<std::vector<std::string> *>(arg)->push_back(std::string(mod != nullptr ? mod : "-") + ":" +
                                                            (name != nullptr ? name : "-") + ":" +
                                                            std::to_string(KZ_TYPE_GetBuiltInBaseType(rt)));
    return 0;
}

// KZ_MemMalloc calls made by fn: the fault-injection countdown, armed far out
// of reach, counts them without failing any.  A deterministic measure of work
// where a wall clock would vary with the build and the machine.
template <class Fn>
uint64_t CountMallocs(Fn fn)
{
    constexpr uint64_t kFar = UINT64_MAX / 2;
    kz::base::FailNthAlloc(kFar);
    fn();
    const uint64_t left = kz::base::PendingAllocFailure();
    kz::base::FailNthAlloc(0);
    return kFar - left;
}

// References held by the strings of a dictionary.
inline uint32_t DictRefs(const KzDict &dict)
{
    uint32_t n = 0;
    for (uint32_t i = 0; i < dict.bucketCount && dict.buckets != nullptr; ++i) {
        for (const KzDictEntry *e = dict.buckets[i].head; e != nullptr; e = e->next) {
            n += e->refCount;
        }
    }
    return n;
}

// ---- Schema dumps: trees and relation tables as text to compare states ----

inline const char *OrDash(const char *s)
{
    return s != nullptr ? s : "-";
}

inline void DumpNode(const KzsNode *node, int depth, std::string &out)
{
    char buf[160];
    std::snprintf(buf, sizeof buf, "%*s%u %s:%s f=%x", depth * 2, "", node->kind,
                  node->module != nullptr ? OrDash(node->module->name) : "?", OrDash(node->name), node->flags);
    out += buf;
    if (node->kind == KZS_NODE_LEAF && node->schemaInfo != nullptr) {
        auto *li = static_cast<const KzsLeafInfo *>(node->schemaInfo);
        out += std::string(" type=") + std::to_string(li->realType.baseType) + " dflt=" + OrDash(li->dflt) +
               " units=" + OrDash(li->units);
    } else if (node->kind == KZS_NODE_LEAFLIST && node->schemaInfo != nullptr) {
        auto *li = static_cast<const KzsLeafListInfo *>(node->schemaInfo);
        out += std::string(" type=") + std::to_string(li->realType.baseType) + " dflts=";
        for (uint32_t i = 0; i < li->defaultCount; i++) {
            out += std::string(OrDash(li->defaults[i])) + ",";
        }
        out += std::string(" units=") + OrDash(li->units);
    } else if (node->kind == KZS_NODE_CHOICE && node->schemaInfo != nullptr) {
        out += std::string(" dflt=") + OrDash(static_cast<const KzsChoiceInfo *>(node->schemaInfo)->defaultCase);
    }
    for (uint16_t i = 0; i < node->mustCount; i++) {
        out += std::string(" must=") + OrDash(node->musts[i].cond);
    }
    for (uint16_t i = 0; i < node->extInstCount; i++) {
        out += std::string(" ext=") + OrDash(node->extInsts[i].modName) + ":" + OrDash(node->extInsts[i].extName);
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
        out += std::string("  augment ") + OrDash(a->name) +
               ((a->flags & KZS_NODE_FLAG_AUG_COUPLED) != 0 ? " coupled\n" : " uncoupled\n");
    }
    for (uint16_t i = 0; i < mod->deviationCount; i++) {
        out += std::string("  deviation ") + OrDash(mod->deviations[i].target) +
               ((mod->deviations[i].flags & KZS_DEVIATION_FLAG_COUPLED) != 0 ? " coupled\n" : " uncoupled\n");
    }
    return out;
}

// Output callback appending each chunk to the std::string at arg.
inline uint32_t AppendText(const char *text, uint32_t len, void *arg)
{
    static_cast<std::string *>(arg)->append(text, len);
    return 0;
}

// The schema tree printer's text for a registered module.
inline std::string PrintedTree(KzCtx *ctx, const char *module)
{
    std::string out;
    KzMod *mod = KZ_CTX_GetModuleByModName(ctx, module);
    if (mod == nullptr) {
        return "(not loaded)";
    }
    EXPECT_EQ(KZ_MOD_PrintModelTree(mod, AppendText, &out), KZ_OK);
    return out;
}

// Relation items of one module's table, as "kind:dependant" in list order.
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

// Every module of the list and its relation table; sorted relations when the
// order of loading is not part of the comparison.
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

// JSON form of a path written with a module on every step: the module is
// kept only where it changes.
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

// ---- Fixtures ----

// A fresh context for every test; Reopen swaps in one with other options.
class CtxTest : public ::testing::Test {
protected:
    void SetUp() override { Reopen(0); }
    void TearDown() override
    {
        KZ_CTX_Delete(ctx_);
        ctx_ = nullptr;
    }

    void Reopen(uint32_t flags)
    {
        KZ_CTX_Delete(ctx_);
        ctx_ = KZ_CTX_Create(flags);
        ASSERT_NE(ctx_, nullptr);
    }

    // Loads a module text; returns the module called name, or null when refused.
    KzMod *LoadAs(const std::string &text, const char *name)
    {
        status_ = KZ_CTX_LoadMemory(ctx_, text.c_str());
        return KZ_CTX_GetModuleByModName(ctx_, name);
    }

    KzCtx *ctx_ = nullptr;
    uint32_t status_ = 0;
};

// One context holding Suite::ModuleText(), loaded once for the whole suite:
// the services under test only read it.
template <class Suite>
class SharedModuleTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        ctx_ = KZ_CTX_Create(0);
        ASSERT_NE(ctx_, nullptr);
        ASSERT_EQ(KZ_CTX_LoadMemory(ctx_, Suite::ModuleText()), KZ_OK);
    }
    static void TearDownTestSuite()
    {
        KZ_CTX_Delete(ctx_);
        ctx_ = nullptr;
    }

    static ErrPtr ValidateRpcText(const std::string &text)
    {
        return ErrPtr(
            KZ_CTX_ValidateRpcDataTree(ctx_, KZ_DATA_KIND_TEXT, const_cast<char *>(text.c_str()), nullptr, nullptr));
    }

    inline static KzCtx *ctx_ = nullptr;
};

// A context whose module "a" (prefix "pa") and nodes are built by hand; every
// string the test interned must be released again by the end.
class SchemaModTest : public ::testing::Test {
protected:
    KzCtx *ctx = nullptr;
    KzMod *mod = nullptr;
    bool registered = false;
    uint32_t baseline = 0; // references the context itself holds

    void SetUp() override
    {
        ctx = KZ_CTX_Create(0);
        ASSERT_NE(ctx, nullptr);
        baseline = DictRefs(*dict());
        mod = NewModule("a", "pa");
    }

    void TearDown() override
    {
        if (registered) {
            KZ_CTX_DestroyModuleNode(ctx, mod);
        } else {
            KZS_MOD_Free(mod);
        }
        EXPECT_EQ(DictRefs(*dict()), baseline);
        KZ_CTX_Delete(ctx);
    }

    KzDict *dict() { return &ctx->dict; }

    const char *Intern(const char *s) { return KZ_DICT_Insert(dict(), s); }

    void Register()
    {
        ASSERT_EQ(KZ_CTX_AddModuleNode(ctx, mod), KZ_OK);
        registered = true;
    }

    // A module record owned by the test (not registered unless asked).
    KzMod *NewModule(const char *name, const char *prefix)
    {
        auto *m = static_cast<KzMod *>(KZ_MemMalloc(sizeof(KzMod)));
        std::memset(m, 0, sizeof(*m));
        m->ctx = ctx;
        m->name = Intern(name);
        m->prefix = Intern(prefix);
        m->ns = Intern((std::string("urn:test:") + name).c_str());
        return m;
    }

    KzsNode *NewNode(KzMod *owner, uint32_t kind, const char *name, KzsNode *parent = nullptr)
    {
        KzsNode *node = KZS_NODE_New(kind);
        EXPECT_NE(node, nullptr);
        node->module = owner;
        node->name = Intern(name);
        if (parent != nullptr) {
            EXPECT_EQ(KZS_NODE_AddChild(parent, node), KZ_OK);
        }
        return node;
    }

    KzsNode *NewLeaf(KzMod *owner, const char *name, KzsNode *parent, uint32_t base = KZT_BASE_STRING)
    {
        KzsNode *leaf = NewNode(owner, KZS_NODE_LEAF, name, parent);
        static_cast<KzsLeafInfo *>(leaf->schemaInfo)->realType.baseType = base;
        return leaf;
    }

    // A top-level node of module "a".
    KzsNode *Top(uint32_t kind, const char *name)
    {
        KzsNode *n = NewNode(mod, kind, name);
        EXPECT_EQ(KZS_MOD_AddTopNodeToSchemaTree(mod, n), KZ_OK);
        return n;
    }

    // One constraint of the given type and body on a fresh real type.
    void SetOnlyConstraint(KztRealType *rt, uint32_t base, uint32_t consType, void *body)
    {
        rt->baseType = base;
        ASSERT_EQ(KZT_TYPE_ExpandConstraintArray(rt, 1), KZ_OK);
        rt->constraints[0].consType = consType;
        rt->constraints[0].consData = body;
        rt->consCount = 1;
    }

    // Turns a leaf into a leafref with the given JSON-form path.
    void MakeLeafref(KzsNode *leaf, const char *path)
    {
        auto *body = static_cast<KztConsDataPath *>(KZT_CONS_CreateConsDataBodyWithPath(1));
        ASSERT_NE(body, nullptr);
        body->path = Intern(path);
        SetOnlyConstraint(KZS_NODE_GetLeafSchemaRealType(leaf), KZT_BASE_LEAFREF, KZT_CONS_PATH, body);
    }

    // Makes a real type that derives from modName:tdefName.
    void MakeDerived(KztRealType *rt, const char *modName, const char *tdefName)
    {
        auto *body = static_cast<KztConsDataDerived *>(KZT_CONS_CreateConsDataBodyWithDerived(1));
        ASSERT_NE(body, nullptr);
        body->modName = Intern(modName);
        body->tdefName = Intern(tdefName);
        SetOnlyConstraint(rt, KZT_BASE_DERIVED, KZT_CONS_DERIVED, body);
    }
};

// A context reduced to what the type layer touches, and one module "m".
class TypesFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::memset(&ctx_, 0, sizeof(ctx_));
        ASSERT_EQ(KZ_DICT_Init(&ctx_.dict), 0u);
        std::memset(&mod_, 0, sizeof(mod_));
        mod_.ctx = &ctx_;
        mod_.name = KZ_DICT_Insert(&ctx_.dict, "m");
        mod_.prefix = KZ_DICT_Insert(&ctx_.dict, "mp");
        baseline_ = DictRefs(ctx_.dict);
    }

    void TearDown() override
    {
        KZ_DICT_Remove(&ctx_.dict, mod_.name);
        KZ_DICT_Remove(&ctx_.dict, mod_.prefix);
        KZ_DICT_Destroy(&ctx_.dict);
    }

    // Parses a whole `type` element into rt (owned by the test).
    uint32_t ParseType(const std::string &yin, KztRealType *rt)
    {
        doc_ = ParseXml(yin);
        if (!doc_) {
            ADD_FAILURE() << "bad XML: " << yin;
            return 1;
        }
        return KZT_LOADER_ParseTypeStmt(&mod_, xmlDocGetRootElement(doc_.get()), KZS_STMT_TYPE_ID, rt);
    }

    void Destroy(KztRealType *rt) { KZT_TYPE_DestroyNytRealTypeInner(&ctx_.dict, rt); }

    uint32_t Leaked() const { return DictRefs(ctx_.dict) - baseline_; }

    static constexpr uint32_t KZS_STMT_TYPE_ID = 60;

    KzCtx ctx_;
    KzMod mod_;
    DocPtr doc_;
    uint32_t baseline_ = 0;
};

} // namespace kztest

#endif // KORLA_TESTS_TEST_SUPPORT_H
