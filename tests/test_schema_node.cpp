/* Schema nodes: flag inheritance, keys, walks, copies, extension instances
 * and the node queries, on trees built by hand. */

#include "test_support.h"

namespace {

using SchemaNode = kztest::SchemaModTest;

using SchemaNodeFlags = SchemaNode;

TEST_F(SchemaNodeFlags, ConfigFalseOverridesStatedTrueButNotTheReverse)
{
    KzsNode *ro = Top(KZS_NODE_CONTAINER, "ro");
    ro->flags = KZS_NODE_FLAG_CONFIG_FALSE | KZS_NODE_FLAG_CONFIG_SET;
    KzsNode *saysTrue = NewNode(mod, KZS_NODE_CONTAINER, "t", ro);
    saysTrue->flags = KZS_NODE_FLAG_CONFIG_TRUE | KZS_NODE_FLAG_CONFIG_SET;
    KzsNode *below = NewLeaf(mod, "below", saysTrue);

    KzsNode *rw = Top(KZS_NODE_CONTAINER, "rw");
    rw->flags = KZS_NODE_FLAG_CONFIG_TRUE | KZS_NODE_FLAG_CONFIG_SET;
    KzsNode *saysFalse = NewNode(mod, KZS_NODE_CONTAINER, "f", rw);
    saysFalse->flags = KZS_NODE_FLAG_CONFIG_FALSE | KZS_NODE_FLAG_CONFIG_SET;
    KzsNode *plain = NewLeaf(mod, "plain", rw);

    KZS_NODE_UpdateFlag(ro);
    KZS_NODE_UpdateFlag(rw);

    EXPECT_EQ(saysTrue->flags, KZS_NODE_FLAG_CONFIG_FALSE);
    EXPECT_EQ(below->flags, KZS_NODE_FLAG_CONFIG_FALSE) << "a changed child hands the change down";
    EXPECT_EQ(saysFalse->flags, KZS_NODE_FLAG_CONFIG_FALSE | KZS_NODE_FLAG_CONFIG_SET);
    EXPECT_EQ(plain->flags, KZS_NODE_FLAG_CONFIG_TRUE);
    EXPECT_EQ(KZ_NODE_IsRwConfig(saysTrue), 0u);
    EXPECT_EQ(KZ_NODE_IsRwConfig(plain), 1u);
}

TEST_F(SchemaNodeFlags, UnchangedChildStopsTheDescent)
{
    KzsNode *top = Top(KZS_NODE_CONTAINER, "top");
    top->flags = KZS_NODE_FLAG_CONFIG_FALSE;
    KzsNode *mid = NewNode(mod, KZS_NODE_CONTAINER, "mid", top);
    mid->flags = KZS_NODE_FLAG_CONFIG_FALSE;
    KzsNode *low = NewLeaf(mod, "low", mid);
    low->flags = KZS_NODE_FLAG_CONFIG_TRUE; /* inconsistent on purpose */

    EXPECT_EQ(KZS_NODE_UpdateConfigFlag(mid), 0u);
    KZS_NODE_UpdateFlag(top);
    EXPECT_EQ(low->flags, KZS_NODE_FLAG_CONFIG_TRUE);
    EXPECT_EQ(KZS_NODE_UpdateConfigFlag(low), 1u);
    EXPECT_EQ(low->flags, KZS_NODE_FLAG_CONFIG_FALSE);
}

TEST_F(SchemaNodeFlags, StatusReplacedInBothDirections)
{
    KzsNode *dep = Top(KZS_NODE_CONTAINER, "dep");
    dep->flags = KZS_NODE_FLAG_DEPRECATED;
    KzsNode *obs = NewNode(mod, KZS_NODE_CONTAINER, "obs", dep);
    obs->flags = KZS_NODE_FLAG_OBSOLETE;
    KzsNode *leaf = NewLeaf(mod, "x", obs);
    leaf->flags = KZS_NODE_FLAG_OBSOLETE;
    KzsNode *fresh = NewLeaf(mod, "y", dep);

    KZS_NODE_UpdateFlag(dep);
    EXPECT_EQ(obs->flags, KZS_NODE_FLAG_DEPRECATED);
    EXPECT_EQ(leaf->flags, KZS_NODE_FLAG_DEPRECATED);
    EXPECT_EQ(fresh->flags, KZS_NODE_FLAG_DEPRECATED);
    EXPECT_EQ(KZ_NODE_IsObsoleteNode(leaf), 0u);
    EXPECT_EQ(KZ_NODE_IsDeprecatedNode(leaf), 1u);
}

TEST_F(SchemaNodeFlags, AccessControlExtensionMarksWholeSubtreeOnce)
{
    KzsNode *c = Top(KZS_NODE_CONTAINER, "c");
    KzsNode *l = NewNode(mod, KZS_NODE_LIST, "l", c);
    KzsNode *k = NewLeaf(mod, "k", l);
    KzsNode *other = Top(KZS_NODE_CONTAINER, "other");

    ASSERT_EQ(KZ_NODE_AppendExtInst(c, "ietf-netconf-acm", "default-deny-write", nullptr), KZ_OK);
    ASSERT_EQ(KZ_NODE_AppendExtInst(c, "ietf-netconf-acm", "default-deny-write", nullptr), KZ_OK);
    EXPECT_EQ(c->extInstCount, 1u) << "an equal instance is not appended twice";
    for (KzsNode *n : {c, l, k}) {
        EXPECT_EQ(KZ_NODE_IsNacmDefaultDenyWrite(n), 1u) << n->name;
        EXPECT_EQ(KZ_NODE_IsNacmDefaultDenyAll(n), 0u) << n->name;
    }
    EXPECT_EQ(KZ_NODE_IsNacmDefaultDenyWrite(other), 0u);

    /* Another module's extension of the same name marks nothing. */
    ASSERT_EQ(KZ_NODE_AppendExtInst(other, "acme-ext", "default-deny-all", "x"), KZ_OK);
    EXPECT_EQ(KZ_NODE_IsNacmDefaultDenyAll(other), 0u);
    /* The argument takes part in the sameness test. */
    ASSERT_EQ(KZ_NODE_AppendExtInst(other, "acme-ext", "default-deny-all", "y"), KZ_OK);
    EXPECT_EQ(other->extInstCount, 2u);

    EXPECT_EQ(KZ_NODE_AppendExtInst(other, nullptr, "x", nullptr), KZ_EINVAL);
    EXPECT_EQ(KZ_NODE_AppendExtInst(other, "m", nullptr, nullptr), KZ_EINVAL);
}

using SchemaNodeKeys = SchemaNode;

TEST_F(SchemaNodeKeys, MarksListLeavesSeparatedBySpaceTabAndNewlineUntilAFault)
{
    KzsNode *l = Top(KZS_NODE_LIST, "l");
    KzsNode *a = NewLeaf(mod, "a", l);
    KzsNode *b = NewLeaf(mod, "b", l);
    NewLeaf(mod, "c", l);
    uint8_t count = 0;
    EXPECT_EQ(KZS_NODE_MarkKeyAttrToListLeafs(l, " a\t\nb \n", &count), KZ_OK);
    l->keyCount = count;
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(KZ_NODE_IsKey(a), 1u);
    EXPECT_EQ(KZ_NODE_IsKey(b), 1u);
    EXPECT_EQ(KZ_NODE_GetNodeKeyNum(l), 2u);

    /* The key flag outside a list makes no key. */
    KzsNode *c = Top(KZS_NODE_CONTAINER, "c");
    KzsNode *notKey = NewLeaf(mod, "a", c);
    notKey->flags |= KZS_NODE_FLAG_KEY;
    EXPECT_EQ(KZ_NODE_IsKey(notKey), 0u);

    /* Failures keep the marks made before them. */
    KzsNode *f = Top(KZS_NODE_LIST, "f");
    KzsNode *fa = NewLeaf(mod, "a", f);
    NewNode(mod, KZS_NODE_LEAFLIST, "b", f);
    KzsNode *fc = NewLeaf(mod, "c", f);
    count = 0;
    EXPECT_EQ(KZS_NODE_MarkKeyAttrToListLeafs(f, "a b", &count), KZ_EPARSE) << "a leaf-list is no key";
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(KZ_NODE_IsKey(fa), 1u);
    count = 0;
    EXPECT_EQ(KZS_NODE_MarkKeyAttrToListLeafs(f, "c\ra", &count), KZ_EPARSE)
        << "carriage return is not a separator";
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(KZ_NODE_IsKey(fc), 1u);
    EXPECT_EQ(KZS_NODE_MarkKeyAttrToListLeafs(f, "nosuch", &count), KZ_EPARSE);
    EXPECT_EQ(KZS_NODE_MarkKeyAttrToListLeafs(f, std::string(65, 'a').c_str(), &count), KZ_EPARSE);
    EXPECT_EQ(KZS_NODE_MarkKeyAttrToListLeafs(f, nullptr, &count), KZ_OK);
    KzsNode *empty = Top(KZS_NODE_LIST, "empty");
    EXPECT_EQ(KZS_NODE_MarkKeyAttrToListLeafs(empty, "a", &count), KZ_EINVAL);
}

using SchemaNodeWalk = SchemaNode;

// The full walk from node as "name:step" visits.
std::vector<std::string> Walk(KzsNode *node)
{
    std::vector<std::string> visits;
    auto record = [](KzsNode *n, uint32_t step, void *cookie) -> uint32_t {
        static_cast<std::vector<std::string> *>(cookie)->push_back(std::string(n->name) + ":" + std::to_string(step));
        return 0;
    };
    EXPECT_EQ(KZ_NODE_TreeScanAllNode(node, record, &visits), KZ_OK);
    return visits;
}

TEST_F(SchemaNodeWalk, FullWalkVisitsDownAndBackUpSkipsAndStops)
{
    KzsNode *r = Top(KZS_NODE_CONTAINER, "r");
    KzsNode *a = NewNode(mod, KZS_NODE_CONTAINER, "a", r);
    NewLeaf(mod, "a1", a);
    NewLeaf(mod, "b", r);
    Top(KZS_NODE_CONTAINER, "sibling-of-root");

    EXPECT_EQ(Walk(r), (std::vector<std::string>{"r:3", "a:0", "a1:0", "a:2", "b:1", "r:2"}));

    std::vector<std::string> names;
    auto skipA = [](KzsNode *n, uint32_t step, void *cookie) -> uint32_t {
        if (step != KZS_TRAV_PARENT) {
            static_cast<std::vector<std::string> *>(cookie)->push_back(n->name);
        }
        return std::strcmp(n->name, "a") == 0 ? KZS_TRAV_SKIP_CHILDREN : 0;
    };
    ASSERT_EQ(KZ_NODE_TreeScanAllNode(r, skipA, &names), KZ_OK);
    EXPECT_EQ(names, (std::vector<std::string>{"r", "a", "b"}));

    auto stopAtB = [](KzsNode *n, uint32_t, void *) -> uint32_t { return std::strcmp(n->name, "b") == 0 ? 7 : 0; };
    EXPECT_EQ(KZ_NODE_TreeScanAllNode(r, stopAtB, nullptr), 7u);
    EXPECT_EQ(KZ_NODE_IterScanChildrenNode(r, stopAtB, nullptr), 7u);
    EXPECT_EQ(KZ_NODE_IterScanChildrenNode(nullptr, stopAtB, nullptr), KZ_EINVAL);
}

/* container x { leaf p; choice ch { case k1 { leaf q; } case k2 { choice in { leaf r; } } } leaf s; } */
TEST_F(SchemaNodeWalk, DataTreeLooksThroughChoiceAndCase)
{
    KzsNode *x = Top(KZS_NODE_CONTAINER, "x");
    KzsNode *p = NewLeaf(mod, "p", x);
    KzsNode *ch = NewNode(mod, KZS_NODE_CHOICE, "ch", x);
    KzsNode *k1 = NewNode(mod, KZS_NODE_CASE, "k1", ch);
    KzsNode *q = NewLeaf(mod, "q", k1);
    KzsNode *k2 = NewNode(mod, KZS_NODE_CASE, "k2", ch);
    KzsNode *in = NewNode(mod, KZS_NODE_CHOICE, "in", k2);
    NewNode(mod, KZS_NODE_CASE, "empty", in); /* a case without children is passed over */
    KzsNode *r = NewLeaf(mod, "r", in);
    KzsNode *s = NewLeaf(mod, "s", x);

    std::vector<KzsNode *> order;
    for (KzsNode *n = KZS_NODE_GetFirstSlibingDataTreeNode(x->firstChild, x); n != nullptr;
         n = KZS_NODE_GetNextDataTreeNode(n, x)) {
        order.push_back(n);
    }
    EXPECT_EQ(order, (std::vector<KzsNode *>{p, q, r, s}));

    EXPECT_EQ(KZS_NODE_FindChildDataTreeNodeByName(x, nullptr, "r"), r);
    EXPECT_EQ(KZS_NODE_FindChildDataTreeNodeByName(x, "a", "q"), q);
    EXPECT_EQ(KZS_NODE_FindChildDataTreeNodeByName(x, "b", "q"), nullptr);
    EXPECT_EQ(KZS_NODE_FindChildDataTreeNodeByName(x, nullptr, "ch"), nullptr);
    EXPECT_EQ(KZS_NODE_FindChildDataTreeNodeByName(x, nullptr, "k2"), nullptr);
    EXPECT_EQ(KZS_NODE_GetParentDataTreeNode(r), x);
    EXPECT_EQ(KZ_NODE_GetNonChoiceCaseParent(r), x);
    EXPECT_EQ(KZS_NODE_FindChildNodeByName(x, nullptr, "ch"), ch);
}

TEST_F(SchemaNodeWalk, DeepTreesNeedNoRecursion)
{
    /* Deep enough that a recursive free, copy or search would exhaust the stack. */
    constexpr int kDepth = 200000;
    KzsNode *top = Top(KZS_NODE_CONTAINER, "top");
    KzsNode *cur = top;
    for (int i = 0; i < kDepth; ++i) {
        cur = NewNode(mod, (i % 2 == 0) ? KZS_NODE_CHOICE : KZS_NODE_CASE, "n", cur);
    }
    KzsNode *leaf = NewLeaf(mod, "deep", cur);

    EXPECT_EQ(KZS_NODE_FindChildDataTreeNodeByName(top, nullptr, "deep"), leaf);
    EXPECT_EQ(KZS_NODE_GetParentDataTreeNode(leaf), top);
    EXPECT_EQ(KZS_NODE_PrintPath(leaf), nullptr) << "longer than the path buffer";

    KzMod *other = NewModule("b", "pb");
    KzsNode *copy = KZS_NODE_CopyNodeTreeToModule(top, other);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(KZS_NODE_FindChildDataTreeNodeByName(copy, "b", "deep")->module, other);
    KZS_NODE_Free(copy);
    KZS_MOD_Free(other);
}

TEST_F(SchemaNodeWalk, JsonPathQualifiesModuleChanges)
{
    KzMod *other = NewModule("b", "pb");
    KzsNode *x = Top(KZS_NODE_CONTAINER, "x");
    KzsNode *ch = NewNode(mod, KZS_NODE_CHOICE, "ch", x);
    KzsNode *foreign = NewNode(other, KZS_NODE_CONTAINER, "z", ch);
    KzsNode *leaf = NewLeaf(other, "v", foreign);

    auto path = [](const KzsNode *n) { return kztest::TakeText(KZS_NODE_PrintPath(n)); };
    EXPECT_EQ(path(x), "/a:x");
    EXPECT_EQ(path(ch), "/a:x/ch");
    EXPECT_EQ(path(leaf), "/a:x/ch/b:z/v");

    KZS_NODE_Unlink(foreign);
    KZS_NODE_Free(foreign);
    KZS_MOD_Free(other);
}

TEST_F(SchemaNodeWalk, UnlinkKeepsChainsAndTopHeads)
{
    KzsNode *t1 = Top(KZS_NODE_CONTAINER, "t1");
    KzsNode *t2 = Top(KZS_NODE_LEAF, "t2");
    KzsNode *a = NewLeaf(mod, "a", t1);
    KzsNode *b = NewLeaf(mod, "b", t1);
    KzsNode *c = NewLeaf(mod, "c", t1);

    KZS_NODE_Unlink(b);
    EXPECT_EQ(a->next, c);
    EXPECT_EQ(c->prev, a);
    KZS_NODE_Unlink(c);
    EXPECT_EQ(t1->lastChild, a);
    EXPECT_EQ(KZS_NODE_AddAsFirstChild(t1, c), KZ_OK);
    EXPECT_EQ(t1->firstChild, c);
    EXPECT_EQ(c->next, a);

    KZS_NODE_Unlink(t1);
    EXPECT_EQ(mod->dataNodes, t2) << "the module's head moves to the next top node";
    EXPECT_EQ(KZS_NODE_LinkTreeNode(t2, b, 9), KZ_EINVAL);
    KZS_NODE_Free(t1);
    KZS_NODE_Free(b);
}

using SchemaNodeCopy = SchemaNode;

TEST_F(SchemaNodeCopy, SubtreeIntoAnotherModule)
{
    KzsNode *top = Top(KZS_NODE_CONTAINER, "top");
    top->description = Intern("the top");
    top->flags = KZS_NODE_FLAG_CONFIG_FALSE | KZS_NODE_FLAG_CONFIG_SET;
    top->when = Intern("../x");
    ASSERT_EQ(KZS_NODE_AppendOneIfFeat(dict(), &top->ifFeatures, &top->ifFeatureCount, "a", "f"), KZ_OK);
    ASSERT_EQ(KZS_NODE_AppendOneMust(dict(), &top->musts, &top->mustCount, "x > 1", "msg", nullptr), KZ_OK);
    ASSERT_EQ(KZ_NODE_AppendExtInst(top, "e", "ext", "arg"), KZ_OK);

    KzsNode *list = NewNode(mod, KZS_NODE_LIST, "l", top);
    KzsNode *key = NewLeaf(mod, "k", list, KZT_BASE_UINT8);
    auto *kinfo = static_cast<KzsLeafInfo *>(key->schemaInfo);
    kinfo->dflt = Intern("5");
    kinfo->units = Intern("s");
    uint8_t keys = 0;
    ASSERT_EQ(KZS_NODE_MarkKeyAttrToListLeafs(list, "k", &keys), KZ_OK);
    list->keyCount = keys;

    KzsNode *ll = NewNode(mod, KZS_NODE_LEAFLIST, "ll", top);
    const char *vals[] = {"x", "y"};
    ASSERT_EQ(KZS_NODE_AppendLeaflistDefaults(dict(), static_cast<KzsLeafListInfo *>(ll->schemaInfo), 2, vals),
              KZ_OK);
    KzsNode *ch = NewNode(mod, KZS_NODE_CHOICE, "ch", top);
    static_cast<KzsChoiceInfo *>(ch->schemaInfo)->defaultCase = Intern("k1");
    NewLeaf(mod, "q", NewNode(mod, KZS_NODE_CASE, "k1", ch));
    NewLeaf(mod, "last", top);

    KzMod *other = NewModule("b", "pb");
    KzsNode *copy = KZS_NODE_CopyNodeTreeToModule(top, other);
    ASSERT_NE(copy, nullptr);

    /* Same shape, new module, interned strings shared. */
    EXPECT_EQ(Walk(copy), Walk(top));
    EXPECT_EQ(copy->module, other);
    EXPECT_EQ(copy->parent, nullptr);
    EXPECT_EQ(copy->description, top->description);
    EXPECT_EQ(copy->extInstCount, 1u);
    EXPECT_EQ(copy->extInsts[0].argument, top->extInsts[0].argument);
    /* Flags, when, if-features and musts stay behind. */
    EXPECT_EQ(copy->flags, 0u);
    EXPECT_EQ(copy->when, nullptr);
    EXPECT_EQ(copy->ifFeatureCount, 0u);
    EXPECT_EQ(copy->mustCount, 0u);

    KzsNode *clist = KZS_NODE_FindChildNodeByName(copy, "b", "l");
    ASSERT_NE(clist, nullptr);
    EXPECT_EQ(clist->keyCount, 1u);
    KzsNode *ckey = clist->firstChild;
    EXPECT_EQ(ckey->module, other);
    EXPECT_EQ(KZ_NODE_GetRealType(ckey)->baseType, static_cast<uint32_t>(KZT_BASE_UINT8));
    EXPECT_EQ(KZ_NODE_GetDefaultValueStr(ckey), kinfo->dflt);
    EXPECT_EQ(KZ_NODE_GetUnitsValueStr(ckey), kinfo->units);
    auto *cll = static_cast<KzsLeafListInfo *>(KZS_NODE_FindChildNodeByName(copy, nullptr, "ll")->schemaInfo);
    ASSERT_EQ(cll->defaultCount, 2u);
    EXPECT_STREQ(cll->defaults[1], "y");
    auto *cch = static_cast<KzsChoiceInfo *>(KZS_NODE_FindChildNodeByName(copy, nullptr, "ch")->schemaInfo);
    EXPECT_STREQ(cch->defaultCase, "k1");
    EXPECT_EQ(copy->lastChild->name, top->lastChild->name);

    KZS_NODE_Free(copy);
    KZS_MOD_Free(other);

    /* A target needs a module with a context. */
    KzMod bare{};
    EXPECT_EQ(KZS_NODE_CopyNodeTreeToModule(top, &bare), nullptr);
    EXPECT_EQ(KZS_NODE_CopyNodeTreeToModule(top, nullptr), nullptr);
    EXPECT_EQ(KZS_NODE_CopyOneNodeToModule(nullptr, mod), nullptr);
}

using SchemaNodeFree = SchemaNode;

TEST_F(SchemaNodeFree, CoupledAugmentIsLeftAloneAndPrivateDataGoesToTheCallbackOnce)
{
    KzsNode *aug = NewNode(mod, KZS_NODE_AUGMENT, "/b:target");
    NewLeaf(mod, "moved", aug);
    aug->flags |= KZS_NODE_FLAG_AUG_COUPLED;
    KZS_NODE_Free(aug);
    EXPECT_STREQ(aug->name, "/b:target") << "still alive";
    EXPECT_STREQ(aug->firstChild->name, "moved");
    aug->flags &= ~KZS_NODE_FLAG_AUG_COUPLED;
    EXPECT_EQ(KZS_MOD_AddTopNodeToSchemaTree(mod, aug), KZ_OK); /* freed with the module */

    /* Private data goes to the callback once. */
    static int calls;
    calls = 0;
    KZ_CTX_SetPridataFreeFunc(ctx, [](KzCtx *, KzsNode *, void *priv) {
        ++calls;
        EXPECT_EQ(priv, reinterpret_cast<void *>(0x1234));
    });
    KzsNode *top = Top(KZS_NODE_CONTAINER, "top");
    KzsNode *child = NewLeaf(mod, "c", top);
    EXPECT_EQ(KZ_NODE_SetPrivate(child, reinterpret_cast<void *>(0x1234)), nullptr);
    EXPECT_EQ(KZ_NODE_GetPrivate(child), reinterpret_cast<void *>(0x1234));
    KZS_NODE_Unlink(top);
    KZS_NODE_Free(top);
    EXPECT_EQ(calls, 1);
}

using SchemaNodeExt = SchemaNode;

TEST_F(SchemaNodeExt, NestedCopyMergeAndSubtract)
{
    KzsExtInst outer{};
    ASSERT_EQ(KZS_EXT_FillExtInst(dict(), &outer, "m", "outer", "o"), KZ_OK);
    KzsExtInst inner{};
    ASSERT_EQ(KZS_EXT_FillExtInst(dict(), &inner, "m", "inner", nullptr), KZ_OK);
    KzsExtInst innermost{};
    ASSERT_EQ(KZS_EXT_FillExtInst(dict(), &innermost, "m", "innermost", "z"), KZ_OK);
    ASSERT_EQ(KZS_EXT_AppendOneExtInstToArray(&inner.children, &inner.childCount, &innermost), KZ_OK);
    ASSERT_EQ(KZS_EXT_AppendOneExtInstToArray(&outer.children, &outer.childCount, &inner), KZ_OK);

    KzsExtInst *copy = KZS_EXT_CopyExtInsts(dict(), &outer, 1);
    ASSERT_NE(copy, nullptr);
    ASSERT_EQ(copy->childCount, 1u);
    ASSERT_EQ(copy->children[0].childCount, 1u);
    EXPECT_EQ(copy->children[0].children[0].argument, innermost.argument);
    EXPECT_EQ(KZS_EXT_CopyExtInsts(dict(), &outer, 0), nullptr);

    /* Merging: the equal entry is skipped, the new one deep-copied. */
    KzsExtInst other{};
    ASSERT_EQ(KZS_EXT_FillExtInst(dict(), &other, "m", "other", nullptr), KZ_OK);
    KzsExtInst *arr = nullptr;
    uint16_t count = 0;
    ASSERT_EQ(KZS_EXT_MergeExtInsts(dict(), &arr, &count, copy, 1), KZ_OK);
    ASSERT_EQ(KZS_EXT_MergeExtInsts(dict(), &arr, &count, copy, 1), KZ_OK);
    ASSERT_EQ(KZS_EXT_MergeOneExtInstToArray(dict(), &arr, &count, &other), KZ_OK);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(arr[0].children[0].children[0].extName, innermost.extName);

    /* Subtracting drops the entries whose extension name was cleared. */
    KZ_DICT_Remove(dict(), arr[0].extName);
    arr[0].extName = nullptr;
    EXPECT_EQ(KZS_EXT_SubtractExtInstArray(dict(), &arr, &count, 0), KZ_OK);
    EXPECT_EQ(count, 2u) << "more survivors than room: left unchanged";
    EXPECT_EQ(KZS_EXT_SubtractExtInstArray(dict(), &arr, &count, 1), KZ_OK);
    ASSERT_EQ(count, 1u);
    EXPECT_EQ(arr[0].extName, other.extName);

    KZS_EXT_FreeExtInsts(dict(), arr, count);
    KZS_EXT_FreeExtInsts(dict(), copy, 1);
    KZS_EXT_ClearExtInst(dict(), &outer);
    KZS_EXT_ClearExtInst(dict(), &other);
    EXPECT_EQ(KZS_EXT_FillExtInst(dict(), &other, nullptr, "x", nullptr), KZ_EINVAL);
}

TEST_F(SchemaNodeExt, ReplaceScanAndClean)
{
    KzsNode *src = Top(KZS_NODE_CONTAINER, "src");
    KzsNode *dst = Top(KZS_NODE_CONTAINER, "dst");
    EXPECT_EQ(KZ_NODE_ReplaceDstExtInst(dst, src), KZ_EINVAL) << "source without instances";
    ASSERT_EQ(KZ_NODE_AppendExtInst(src, "m", "one", "1"), KZ_OK);
    ASSERT_EQ(KZ_NODE_AppendExtInst(src, "m", "two", nullptr), KZ_OK);
    ASSERT_EQ(KZ_NODE_AppendExtInst(dst, "m", "old", nullptr), KZ_OK);
    ASSERT_EQ(KZ_NODE_ReplaceDstExtInst(dst, src), KZ_OK);

    std::vector<std::string> names;
    auto collect = [](KzsExtInst *, const char *m, const char *e, const char *, void *cookie) -> uint32_t {
        static_cast<std::vector<std::string> *>(cookie)->push_back(std::string(m) + ":" + e);
        return 0;
    };
    ASSERT_EQ(KZ_NODE_ScanAllExtInsts(dst, collect, &names), KZ_OK);
    EXPECT_EQ(names, (std::vector<std::string>{"m:one", "m:two"}));
    KZ_NODE_CleanExtInsts(dst);
    EXPECT_EQ(dst->extInstCount, 0u);
    EXPECT_EQ(KZ_NODE_ScanAllExtInsts(dst, nullptr, nullptr), KZ_EINVAL);
}

using SchemaNodeCond = SchemaNode;

/* Must and default arrays are added to and subtracted from by every deviate
 * kind in test_couple_deviation.cpp, which also checks the exact undo. */
TEST_F(SchemaNodeCond, IfFeatureArraysCompareInOrder)
{
    KzsIfFeature *a = nullptr;
    KzsIfFeature *b = nullptr;
    uint16_t na = 0;
    uint16_t nb = 0;
    ASSERT_EQ(KZS_NODE_AppendOneIfFeat(dict(), &a, &na, "m", "f1"), KZ_OK);
    ASSERT_EQ(KZS_NODE_AppendOneIfFeat(dict(), &a, &na, "m", "f2"), KZ_OK);
    ASSERT_EQ(KZS_NODE_AppendOneIfFeat(dict(), &b, &nb, "m", "f2"), KZ_OK);
    ASSERT_EQ(KZS_NODE_AppendOneIfFeat(dict(), &b, &nb, "m", "f1"), KZ_OK);
    EXPECT_EQ(KZS_NODE_CheckTwoIfFeatureArraySame(a, na, b, nb), 0u);
    KzsIfFeature *c = KZS_NODE_CopyIfFeaturesArray(dict(), a, na);
    EXPECT_EQ(KZS_NODE_CheckTwoIfFeatureArraySame(a, na, c, na), 1u);
    EXPECT_EQ(KZS_NODE_CheckTwoIfFeatureArraySame(a, na, c, 1), 0u);
    EXPECT_EQ(KZS_NODE_FindIfFeature(b, nb, &a[0]), &b[1]);
    KZS_NODE_FreeIfFeatures(dict(), a, na);
    KZS_NODE_FreeIfFeatures(dict(), b, nb);
    KZS_NODE_FreeIfFeatures(dict(), c, na);
}

using SchemaNodeQuery = SchemaNode;

TEST_F(SchemaNodeQuery, ParentPresenceAndDefaultQueries)
{
    KzsNode *aug = NewNode(mod, KZS_NODE_AUGMENT, "/b:t");
    ASSERT_EQ(KZS_MOD_AddTopNodeToSchemaTree(mod, aug), KZ_OK);
    KzsNode *added = NewLeaf(mod, "added", aug);
    EXPECT_EQ(KZ_NODE_GetParentNode(added), nullptr);
    KzsNode *c = Top(KZS_NODE_CONTAINER, "c");
    c->flags |= KZS_NODE_FLAG_PRESENCE;
    EXPECT_EQ(KZ_NODE_GetParentNode(NewLeaf(mod, "x", c)), c);
    EXPECT_EQ(KZ_NODE_IsPresenceContainer(c), 1u);
    EXPECT_EQ(KZ_NODE_GetRealType(c), nullptr);
    EXPECT_EQ(KZ_NODE_GetNodeType(nullptr), 0u);
    EXPECT_EQ(KZ_NODE_IsEnabled(nullptr), 0u);
    EXPECT_EQ(KZ_NODE_IsEnabled(c), 1u) << "no if-features";

    /* A mandatory leaf offers no default. */
    KzsNode *leaf = NewLeaf(mod, "v", c);
    static_cast<KzsLeafInfo *>(leaf->schemaInfo)->dflt = Intern("7");
    EXPECT_STREQ(KZ_NODE_GetDefaultValueStr(leaf), "7");
    leaf->flags |= KZS_NODE_FLAG_MANDATORY_TRUE;
    EXPECT_EQ(KZ_NODE_GetDefaultValueStr(leaf), nullptr);
    EXPECT_EQ(KZ_NODE_IsMandatory(leaf), 1u);
}

} // namespace
