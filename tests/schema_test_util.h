/* Helpers for the schema tests: a context, hand-built modules and nodes, and
 * a check that every interned string has been released. */
#ifndef SCHEMA_TEST_UTIL_H
#define SCHEMA_TEST_UTIL_H

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "korla.h"
#include "schema/kzs_ctx.h"
#include "base/kz_dict.h"
#include "schema/kzs_mod.h"
#include "schema/kzs_node.h"
#include "types/kzt_cons.h"
#include "types/kzt_type.h"

class SchemaTestBase : public ::testing::Test {
protected:
    KzCtx *ctx = nullptr;
    uint32_t baseline = 0; /* strings the context itself interns */

    void SetUp() override
    {
        ctx = KZ_CTX_Create(0);
        ASSERT_NE(ctx, nullptr);
        baseline = LiveStrings();
    }

    /* Every string the test interned has been removed again. */
    void ExpectDictClean() { EXPECT_EQ(LiveStrings(), baseline); }

    void TearDown() override
    {
        KZ_CTX_Delete(ctx);
    }

    KzDict *dict() { return &ctx->dict; }

    const char *Intern(const char *s) { return KZ_DICT_Insert(dict(), s); }

    /* A module record owned by the test (not registered unless asked). */
    KzMod *NewModule(const char *name, const char *prefix)
    {
        auto *mod = static_cast<KzMod *>(KZ_MemMalloc(sizeof(KzMod)));
        std::memset(mod, 0, sizeof(*mod));
        mod->ctx = ctx;
        mod->name = Intern(name);
        mod->prefix = Intern(prefix);
        mod->ns = Intern((std::string("urn:test:") + name).c_str());
        return mod;
    }

    KzsNode *NewNode(KzMod *mod, uint32_t kind, const char *name, KzsNode *parent = nullptr)
    {
        KzsNode *node = KZS_NODE_New(kind);
        EXPECT_NE(node, nullptr);
        node->module = mod;
        node->name = Intern(name);
        if (parent != nullptr) {
            EXPECT_EQ(KZS_NODE_AddChild(parent, node), KZ_OK);
        }
        return node;
    }

    KzsNode *NewLeaf(KzMod *mod, const char *name, KzsNode *parent, uint32_t base = KZT_BASE_STRING)
    {
        KzsNode *leaf = NewNode(mod, KZS_NODE_LEAF, name, parent);
        static_cast<KzsLeafInfo *>(leaf->schemaInfo)->realType.baseType = base;
        return leaf;
    }

    /* Turns a leaf into a leafref with the given JSON-form path. */
    void MakeLeafref(KzsNode *leaf, const char *path)
    {
        KztRealType *rt = KZS_NODE_GetLeafSchemaRealType(leaf);
        ASSERT_NE(rt, nullptr);
        rt->baseType = KZT_BASE_LEAFREF;
        ASSERT_EQ(KZT_TYPE_ExpandConstraintArray(rt, 1), KZ_OK);
        auto *body = static_cast<KztConsDataPath *>(KZT_CONS_CreateConsDataBodyWithPath(1));
        ASSERT_NE(body, nullptr);
        body->path = Intern(path);
        rt->constraints[0].consType = KZT_CONS_PATH;
        rt->constraints[0].consData = body;
        rt->consCount = 1;
    }

    /* Makes a real type that derives from modName:tdefName. */
    void MakeDerived(KztRealType *rt, const char *modName, const char *tdefName)
    {
        rt->baseType = KZT_BASE_DERIVED;
        ASSERT_EQ(KZT_TYPE_ExpandConstraintArray(rt, 1), KZ_OK);
        auto *body = static_cast<KztConsDataDerived *>(KZT_CONS_CreateConsDataBodyWithDerived(1));
        ASSERT_NE(body, nullptr);
        body->modName = Intern(modName);
        body->tdefName = Intern(tdefName);
        rt->constraints[0].consType = KZT_CONS_DERIVED;
        rt->constraints[0].consData = body;
        rt->consCount = 1;
    }

    /* Number of strings still interned in the context's dictionary. */
    uint32_t LiveStrings()
    {
        uint32_t n = 0;
        for (uint32_t i = 0; i < dict()->bucketCount; ++i) {
            for (KzDictEntry *e = dict()->buckets[i].head; e != nullptr; e = e->next) {
                ++n;
            }
        }
        return n;
    }
};

/* One module "a" (prefix "pa") with top-level nodes; freed with the test,
 * through the context once registered. */
class SchemaModTest : public SchemaTestBase {
protected:
    KzMod *mod = nullptr;
    bool registered = false;

    void SetUp() override
    {
        SchemaTestBase::SetUp();
        mod = NewModule("a", "pa");
    }

    void TearDown() override
    {
        if (registered) {
            KZ_CTX_DestroyModuleNode(ctx, mod);
        } else {
            KZS_MOD_Free(mod);
        }
        ExpectDictClean();
        SchemaTestBase::TearDown();
    }

    void Register()
    {
        ASSERT_EQ(KZ_CTX_AddModuleNode(ctx, mod), KZ_OK);
        registered = true;
    }

    KzsNode *Top(uint32_t kind, const char *name)
    {
        KzsNode *n = NewNode(mod, kind, name);
        EXPECT_EQ(KZS_MOD_AddTopNodeToSchemaTree(mod, n), KZ_OK);
        return n;
    }
};

#endif /* SCHEMA_TEST_UTIL_H */
