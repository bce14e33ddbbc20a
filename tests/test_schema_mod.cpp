/* Modules: global definitions, prefixes, node lookups by identifier and by
 * path, features and the module scans. */

#include "test_support.h"

namespace {

using SchemaMod = kztest::SchemaModTest;

using SchemaModDefs = SchemaMod;

TEST_F(SchemaModDefs, FamiliesAppendFindAndCompare)
{
    ASSERT_EQ(KZS_MOD_AppendOneExtension(mod, "e1", "arg", 1), KZ_OK);
    ASSERT_EQ(KZS_MOD_AppendOneExtension(mod, "e2", nullptr, 0), KZ_OK);
    EXPECT_EQ(KZS_MOD_AppendOneExtension(mod, nullptr, nullptr, 0), KZ_EINVAL);
    EXPECT_EQ(mod->extensionCount, 2u);
    KzsExtension *e1 = KZS_MOD_FindExtensionByName(mod, "e1");
    ASSERT_NE(e1, nullptr);
    EXPECT_EQ(e1->yinElement, 1u);
    EXPECT_EQ(KZS_MOD_FindExtensionByName(mod, "e3"), nullptr);
    KzsExtension probe{};
    ASSERT_EQ(KZS_MOD_SetExtension(dict(), &probe, "e1", "arg", 0), KZ_OK);
    EXPECT_EQ(KZS_MOD_CheckTwoExtensionSame(e1, &probe), 0u) << "yin-element differs";
    probe.yinElement = 1;
    EXPECT_EQ(KZS_MOD_CheckTwoExtensionSame(e1, &probe), 1u);
    KZS_MDL_ClearExtension(dict(), &probe);

    ASSERT_EQ(KZS_MOD_AppendOneFeature(mod, "f"), KZ_OK);
    KzsFeature *f = KZS_MOD_FindFeatureByName(mod, "f");
    ASSERT_EQ(KZS_NODE_AppendOneIfFeat(dict(), &f->ifFeatures, &f->ifFeatureCount, "a", "g"), KZ_OK);
    KzsFeature plain{};
    ASSERT_EQ(KZS_MOD_FillFeature(dict(), &plain, "f"), KZ_OK);
    EXPECT_EQ(KZS_MOD_CheckTwoFeatureSame(f, &plain), 0u) << "if-features differ";
    KZS_MDL_ClearFeature(dict(), &plain);

    ASSERT_EQ(KZS_MOD_AppendOneIdentity(mod, "id", "first text"), KZ_OK);
    KzsIdentity *id = KZS_MOD_FindIdentityByName(mod, "id");
    KzsIdentBase base{};
    ASSERT_EQ(KZS_MOD_FillIdentBase(dict(), &base, "a", "root"), KZ_OK);
    id->bases = KZS_MOD_CopyIdentBaseArray(dict(), &base, 1);
    ASSERT_NE(id->bases, nullptr);
    id->baseCount = 1;
    KzsIdentity twin{};
    ASSERT_EQ(KZS_MOD_FillIdentity(dict(), &twin, "id", "other text"), KZ_OK);
    twin.bases = KZS_MOD_CopyIdentBaseArray(dict(), &base, 1);
    twin.baseCount = 1;
    EXPECT_EQ(KZS_MOD_CheckTwoIdentitySame(id, &twin), 1u) << "descriptions are not compared";
    KZS_MDL_ClearIdentBase(dict(), &twin.bases[0]);
    ASSERT_EQ(KZS_MOD_FillIdentBase(dict(), &twin.bases[0], "a", "other-root"), KZ_OK);
    EXPECT_EQ(KZS_MOD_CheckTwoIdentitySame(id, &twin), 0u);
    KZS_MDL_ClearIdentity(dict(), &twin);
    KZS_MDL_ClearIdentBase(dict(), &base);

    std::vector<std::string> bases;
    ASSERT_EQ(KZ_MOD_ScanIdentityBase(
                  id,
                  [](const char *m, const char *n, void *c) -> uint32_t {
                      static_cast<std::vector<std::string> *>(c)->push_back(std::string(m) + ":" + n);
                      return 0;
                  },
                  &bases),
              KZ_OK);
    EXPECT_EQ(bases, std::vector<std::string>{"a:root"});
    EXPECT_STREQ(KZ_MOD_GetIdentityDescription(id), "first text");

    ASSERT_EQ(KZS_MOD_AppendOneInclude(mod, "a-sub"), KZ_OK);
    ASSERT_NE(KZS_MOD_FindIncludeBySubName(mod, "a-sub"), nullptr);
    EXPECT_EQ(KZS_MOD_AppendOneImport(mod, "x", nullptr), KZ_EINVAL);
    EXPECT_EQ(mod->importCount, 0u) << "a failed fill leaves the count";
}

TEST_F(SchemaModDefs, TopLevelChainsByKind)
{
    KzsNode *data = Top(KZS_NODE_CONTAINER, "dup");
    KzsNode *rpc = NewNode(mod, KZS_NODE_RPC, "dup");
    ASSERT_EQ(KZS_MOD_AddTopNodeToSchemaTree(mod, rpc), KZ_OK);
    KzsNode *notif = NewNode(mod, KZS_NODE_NOTIF, "n");
    ASSERT_EQ(KZS_MOD_AddTopNodeToSchemaTree(mod, notif), KZ_OK);
    KzsNode *aug = NewNode(mod, KZS_NODE_AUGMENT, "/b:x");
    ASSERT_EQ(KZS_MOD_AddTopNodeToSchemaTree(mod, aug), KZ_OK);
    KzsNode *second = Top(KZS_NODE_LEAF, "second");
    EXPECT_EQ(data->next, second);

    for (uint32_t kind : std::vector<uint32_t>{KZS_NODE_CASE, KZS_NODE_ACTION, KZS_NODE_INPUT, KZS_NODE_UNKNOWN, 15u}) {
        KzsNode bad{};
        bad.kind = kind;
        EXPECT_EQ(KZS_MOD_AddTopNodeToSchemaTree(mod, &bad), KZ_EINVAL) << kind;
    }
    EXPECT_EQ(KZS_MOD_FindTopLevelSchemaNode(mod, "dup"), data) << "data nodes are searched first";
    EXPECT_EQ(KZS_MOD_FindTopLevelSchemaNode(mod, "n"), notif);
    EXPECT_EQ(KZS_MOD_FindTopLevelSchemaNode(mod, "/b:x"), nullptr) << "augments are never found";

    std::vector<KzsNode *> seen;
    auto collect = [](KzsNode *n, uint32_t step, void *c) -> uint32_t {
        EXPECT_EQ(step, KZS_TRAV_START);
        static_cast<std::vector<KzsNode *> *>(c)->push_back(n);
        return 0;
    };
    ASSERT_EQ(KZ_MOD_IterScanTopmostNode(mod, collect, &seen), KZ_OK);
    EXPECT_EQ(seen, (std::vector<KzsNode *>{data, second, rpc, notif}));
    seen.clear();
    ASSERT_EQ(KZ_MOD_IterScanAugmentNode(mod, collect, &seen), KZ_OK);
    EXPECT_EQ(seen, std::vector<KzsNode *>{aug});
    EXPECT_EQ(KZ_MOD_IterScanTopmostNode(nullptr, collect, &seen), KZ_EINVAL);
}

using SchemaModPrefix = SchemaMod;

TEST_F(SchemaModPrefix, OwnPrefixWinsAndFirstImportWins)
{
    ASSERT_EQ(KZS_MOD_AppendOneImport(mod, "shadowed", "pa"), KZ_OK);
    ASSERT_EQ(KZS_MOD_AppendOneImport(mod, "first", "pi"), KZ_OK);
    ASSERT_EQ(KZS_MOD_AppendOneImport(mod, "second", "pi"), KZ_OK);
    EXPECT_STREQ(KZS_MOD_GetModuleNameByPrefix(mod, "pa"), "a");
    EXPECT_STREQ(KZS_MOD_GetModuleNameByPrefix(mod, "pi"), "first");
    EXPECT_EQ(KZS_MOD_GetModuleNameByPrefix(mod, "zz"), nullptr);

    auto convert = [&](const char *v) { return kztest::TakeText(KZS_MOD_ConvertPrefixValToJsonFormat(mod, v)); };
    EXPECT_EQ(convert("pi:thing"), "first:thing");
    EXPECT_EQ(convert("thing"), "a:thing");
    EXPECT_EQ(convert("zz:thing"), "(null)");
    EXPECT_EQ(convert("pi:"), "(null)");
    EXPECT_EQ(convert(("pi:" + std::string(65, 'x')).c_str()), "(null)");
    EXPECT_EQ(convert(("pi:" + std::string(64, 'x')).c_str()), "first:" + std::string(64, 'x'));

    std::vector<std::string> names;
    ASSERT_EQ(KZ_MOD_ScanImportModules(
                  mod,
                  [](KzMod *, const char *n, void *c) -> uint32_t {
                      static_cast<std::vector<std::string> *>(c)->push_back(n);
                      return 0;
                  },
                  &names),
              KZ_OK);
    EXPECT_EQ(names, (std::vector<std::string>{"shadowed", "first", "second"}));
}

/* container x { choice c { case k { leaf y; } } container in { choice h { case k2 {
 *   container deep { leaf l; } } } leaf b; } } */
class SchemaModPath : public SchemaMod {
protected:
    KzsNode *x, *c, *k, *y, *in, *deep, *l, *b;

    void SetUp() override
    {
        SchemaMod::SetUp();
        x = Top(KZS_NODE_CONTAINER, "x");
        c = NewNode(mod, KZS_NODE_CHOICE, "c", x);
        k = NewNode(mod, KZS_NODE_CASE, "k", c);
        y = NewLeaf(mod, "y", k);
        in = NewNode(mod, KZS_NODE_CONTAINER, "in", x);
        KzsNode *h = NewNode(mod, KZS_NODE_CHOICE, "h", in);
        KzsNode *k2 = NewNode(mod, KZS_NODE_CASE, "k2", h);
        deep = NewNode(mod, KZS_NODE_CONTAINER, "deep", k2);
        l = NewLeaf(mod, "l", deep);
        b = NewLeaf(mod, "b", in);
    }
};

TEST_F(SchemaModPath, SchemaNodeIdStepsThroughChoiceAndCaseADataPathDoesNot)
{
    EXPECT_EQ(KZS_MOD_GetNodeBySchemaNodeId(mod, nullptr, "/a:x/a:c/a:k/a:y"), y);
    EXPECT_EQ(KZS_MOD_GetNodeBySchemaNodeId(mod, nullptr, "x/c/k/y"), y);
    EXPECT_EQ(KZS_MOD_GetNodeBySchemaNodeId(mod, nullptr, "/a:x/a:y"), nullptr) << "case is a step here";
    EXPECT_EQ(KZS_MOD_GetNodeBySchemaNodeId(mod, nullptr, "/a:x/b:c"), nullptr) << "module part must match";
    EXPECT_EQ(KZS_MOD_GetNodeBySchemaNodeId(mod, x, "c/k"), k);
    EXPECT_EQ(KZS_MOD_GetNodeBySchemaNodeId(mod, nullptr, "/"), nullptr);
    EXPECT_EQ(KZS_MOD_GetNodeBySchemaNodeId(mod, nullptr, "/a:x/"), nullptr);
    EXPECT_EQ(KZS_MOD_GetNodeBySchemaNodeId(mod, nullptr, "/a:x[k='1']/a:in"), in) << "predicates skipped";

    /* A data path looks through choice and case, and ".." climbs over them. */
    Register();
    EXPECT_EQ(KZS_MOD_GetNodeByXpath(mod, nullptr, "/a:x/a:y"), y);
    EXPECT_EQ(KZS_MOD_GetNodeByXpath(mod, nullptr, "/a:x/a:c"), nullptr) << "a choice is no data step";
    EXPECT_EQ(KZS_MOD_GetNodeByXpath(mod, nullptr, "/a:x/a:in/deep/l"), l);
    EXPECT_EQ(KZS_MOD_GetNodeByXpath(mod, nullptr, "/zz:x"), nullptr);
    EXPECT_EQ(KZS_MOD_GetNodeByXpath(mod, x, "in/b"), b) << "relative child steps";
    EXPECT_EQ(KZS_MOD_GetNodeByXpath(mod, nullptr, "in/b"), nullptr) << "relative needs a start";

    EXPECT_EQ(KZS_MOD_GetNodeByXpath(mod, l, "../../b"), b);
    EXPECT_EQ(KZS_MOD_GetNodeByXpath(mod, l, "../../../a:y"), y);
    EXPECT_EQ(KZS_MOD_GetNodeByXpath(mod, l, "../../../../a:x/in"), in) << "above the top: module steps";
    EXPECT_EQ(KZS_MOD_GetNodeByXpath(mod, l, "../../../../../a:x"), nullptr) << "no node left";
    EXPECT_EQ(KZS_MOD_GetNodeByXpath(mod, l, ".."), nullptr);
    EXPECT_EQ(KZS_MOD_GetNodeByXpath(mod, l, "../"), nullptr);
    EXPECT_EQ(KZS_MOD_GetNodeByXpath(mod, l, "./b"), nullptr);
    EXPECT_EQ(KZS_MOD_GetNodeByXpath(mod, l, "."), nullptr);
    EXPECT_EQ(KZS_MOD_GetNodeByXpath(mod, l, "../.x"), nullptr);
}

TEST_F(SchemaModPath, LeafrefTargetsAndTheFollowGuard)
{
    Register();
    KzsNode *ref = NewLeaf(mod, "ref", in);
    MakeLeafref(ref, "../deep/l");
    EXPECT_EQ(KZ_NODE_GetLeafrefTargetNode(ref, 0), l);
    EXPECT_EQ(KZ_NODE_GetLeafrefTargetNode(l, 1), nullptr) << "not a leafref";

    /* r0 -> r1 -> ... -> r129 -> end: 130 resolutions from r0. */
    constexpr int kChain = 130;
    KzsNode *chain = Top(KZS_NODE_CONTAINER, "chain");
    std::vector<KzsNode *> refs;
    for (int i = 0; i < kChain; ++i) {
        refs.push_back(NewLeaf(mod, ("r" + std::to_string(i)).c_str(), chain));
    }
    KzsNode *end = NewLeaf(mod, "end", chain);
    for (int i = 0; i < kChain; ++i) {
        std::string target = (i + 1 < kChain) ? "r" + std::to_string(i + 1) : std::string("end");
        MakeLeafref(refs[i], ("../" + target).c_str());
    }
    EXPECT_EQ(KZ_NODE_GetLeafrefTargetNode(refs[0], 0), refs[1]);
    EXPECT_EQ(KZ_NODE_GetLeafrefTargetNode(refs[2], 1), end) << "128 resolutions";
    EXPECT_EQ(KZ_NODE_GetLeafrefTargetNode(refs[1], 1), nullptr) << "the 129th resolution gives up";

    /* A cycle ends at the guard too. */
    KzsNode *p = NewLeaf(mod, "p", chain);
    KzsNode *q = NewLeaf(mod, "q", chain);
    MakeLeafref(p, "../q");
    MakeLeafref(q, "/a:chain/p");
    EXPECT_EQ(KZ_NODE_GetLeafrefTargetNode(p, 1), nullptr);
}

TEST_F(SchemaModPath, AugmentScopedLookup)
{
    KzsNode *aug1 = NewNode(mod, KZS_NODE_AUGMENT, "/b:t");
    ASSERT_EQ(KZS_MOD_AddTopNodeToSchemaTree(mod, aug1), KZ_OK);
    NewLeaf(mod, "one", aug1);
    KzsNode *aug2 = NewNode(mod, KZS_NODE_AUGMENT, "/b:t");
    ASSERT_EQ(KZS_MOD_AddTopNodeToSchemaTree(mod, aug2), KZ_OK);
    KzsNode *two = NewNode(mod, KZS_NODE_CONTAINER, "two", aug2);
    KzsNode *inner = NewLeaf(mod, "inner", two);

    KzsNode *which = reinterpret_cast<KzsNode *>(1);
    EXPECT_EQ(KZS_MOD_GetNodeUnderAugmentBySchemaNodeId(mod, "/b:t", "a:two/a:inner", &which), inner);
    EXPECT_EQ(which, aug2);
    EXPECT_EQ(KZS_MOD_GetNodeUnderAugmentBySchemaNodeId(mod, "/b:other", "a:two", &which), nullptr);
    EXPECT_EQ(which, nullptr);
}

using SchemaModFeature = SchemaMod;

TEST_F(SchemaModFeature, WildcardOnlyForEnableAndNodeNeedsEveryIfFeature)
{
    Register();
    EXPECT_EQ(KZ_MOD_EnableFeature(mod, "*"), KZ_OK) << "no features at all";
    EXPECT_EQ(KZ_MOD_DisableFeature(mod, "*"), KZ_EINVAL);
    ASSERT_EQ(KZS_MOD_AppendOneFeature(mod, "f1"), KZ_OK);
    ASSERT_EQ(KZS_MOD_AppendOneFeature(mod, "f2"), KZ_OK);
    ASSERT_EQ(KZ_MOD_EnableFeature(mod, "*"), KZ_OK);
    EXPECT_NE(mod->features[0].flags & KZS_FEATURE_FLAG_ENABLED, 0u);
    EXPECT_NE(mod->features[1].flags & KZS_FEATURE_FLAG_ENABLED, 0u);
    EXPECT_EQ(KZ_MOD_DisableFeature(mod, "*"), KZ_EINVAL);
    ASSERT_EQ(KZ_MOD_DisableFeature(mod, "f1"), KZ_OK);
    EXPECT_EQ(mod->features[0].flags & KZS_FEATURE_FLAG_ENABLED, 0u);
    EXPECT_EQ(KZ_MOD_EnableFeature(mod, "f3"), KZ_EINVAL);
    EXPECT_EQ(KZ_MOD_EnableFeature(nullptr, "*"), KZ_EINVAL);

    ASSERT_EQ(KZ_MOD_DisableFeature(mod, "f2"), KZ_OK);
    KzsNode *n = Top(KZS_NODE_CONTAINER, "n");
    ASSERT_EQ(KZS_NODE_AppendOneIfFeat(dict(), &n->ifFeatures, &n->ifFeatureCount, "a", "f1"), KZ_OK);
    ASSERT_EQ(KZS_NODE_AppendOneIfFeat(dict(), &n->ifFeatures, &n->ifFeatureCount, "a", "f2"), KZ_OK);
    KzsNode *child = NewLeaf(mod, "child", n);
    EXPECT_EQ(KZ_NODE_IsEnabled(n), 0u);
    ASSERT_EQ(KZ_MOD_EnableFeature(mod, "f1"), KZ_OK);
    EXPECT_EQ(KZ_NODE_IsEnabled(n), 0u);
    ASSERT_EQ(KZ_MOD_EnableFeature(mod, "f2"), KZ_OK);
    EXPECT_EQ(KZ_NODE_IsEnabled(n), 1u);
    EXPECT_EQ(KZ_NODE_IsEnabled(child), 1u) << "ancestors' if-features are not consulted";
    ASSERT_EQ(KZ_MOD_DisableFeature(mod, "f2"), KZ_OK);
    EXPECT_EQ(KZ_NODE_IsEnabled(n), 0u);
    EXPECT_EQ(KZ_NODE_IsEnabled(child), 1u);
}

TEST_F(SchemaModFeature, DefaultAndUnitsThroughTypedefChain)
{
    Register();
    /* typedef outer : inner (no default, units "ms"); typedef inner : uint32 default "10". */
    KztRealType base{};
    base.baseType = KZT_BASE_UINT32;
    ASSERT_EQ(KZS_MOD_AppendOneTypeDef(mod, "inner", "10", "s", &base), KZ_OK);
    KztRealType viaInner{};
    MakeDerived(&viaInner, "a", "inner");
    ASSERT_EQ(KZS_MOD_AppendOneTypeDef(mod, "outer", nullptr, "ms", &viaInner), KZ_OK);
    KZT_TYPE_DestroyNytRealTypeInner(dict(), &viaInner);

    KzsNode *c = Top(KZS_NODE_CONTAINER, "c");
    KzsNode *leaf = NewLeaf(mod, "v", c);
    MakeDerived(KZS_NODE_GetLeafSchemaRealType(leaf), "a", "outer");
    EXPECT_STREQ(KZ_NODE_GetDefaultValueStr(leaf), "10");
    EXPECT_STREQ(KZ_NODE_GetUnitsValueStr(leaf), "ms");

    KzsNode *broken = NewLeaf(mod, "w", c);
    MakeDerived(KZS_NODE_GetLeafSchemaRealType(broken), "a", "missing");
    EXPECT_EQ(KZ_NODE_GetDefaultValueStr(broken), nullptr);
}

} // namespace
