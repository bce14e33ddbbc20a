/* Merging a second source of a module into the first: definitions added or
 * checked, nodes paired by position, new nodes changing owner. */
#include "test_support.h"

using namespace kztest;

namespace {

/* A module record built from text, not registered. */
struct Parsed {
    KzMod *mod = nullptr;
    Parsed(KzCtx *ctx, const std::string &text)
    {
        DocPtr doc = ParseXml(text);
        if (doc != nullptr) {
            mod = KZS_LOADER_ParseYinContent(ctx, doc.get(), nullptr);
        }
    }
    ~Parsed() { KZS_MOD_Free(mod); }
    Parsed(const Parsed &) = delete;
    Parsed &operator=(const Parsed &) = delete;
};

std::string Src(const std::string &body)
{
    bool ownImports = body.find("<import") != std::string::npos;
    return Yin("mm", body, ownImports ? std::vector<std::string>{} : std::vector<std::string>{"other"});
}

const char *kDst = R"(
  <typedef name="t"><type name="string"/></typedef>
  <feature name="f1"/>
  <container name="a">
    <leaf name="x"><type name="string"/></leaf>
    <container name="in"><leaf name="deep"><type name="string"/></leaf></container>
  </container>
  <leaf name="b"><type name="string"/></leaf>)";

struct MergeFixture {
    Ctx ctx;
    Parsed dst;
    explicit MergeFixture(const char *dstBody = kDst) : dst(ctx, Src(dstBody)) {}
    uint32_t Merge(const std::string &srcBody, std::string *srcLeft = nullptr)
    {
        Parsed src(ctx, Src(srcBody));
        EXPECT_NE(src.mod, nullptr);
        if (src.mod == nullptr) {
            return 0xdead;
        }
        uint32_t ret = KZS_MOD_MergeTwoModuleInSameCtx(dst.mod, src.mod);
        if (srcLeft != nullptr) {
            *srcLeft = DumpModule(src.mod);
        }
        return ret;
    }
};

TEST(CoupleMerge, IdenticalSourceChangesNothing)
{
    MergeFixture f;
    ASSERT_NE(f.dst.mod, nullptr);
    const std::string before = DumpModule(f.dst.mod);
    EXPECT_EQ(f.Merge(kDst), 0u);
    EXPECT_EQ(DumpModule(f.dst.mod), before);
    EXPECT_EQ(f.dst.mod->typedefCount, 1u);
    EXPECT_EQ(f.dst.mod->featureCount, 1u);
    EXPECT_TRUE(LoadMessages(f.ctx, "mm").empty());
}

/* New definitions are added; a typedef already there keeps its first
 * definition without a message. */
TEST(CoupleMerge, NewNodesMoveOverAndChangeOwner)
{
    MergeFixture f;
    std::string left;
    ASSERT_EQ(f.Merge(R"(
      <typedef name="t"><type name="int8"/></typedef>
      <typedef name="t2"><type name="int8"/></typedef>
      <feature name="f2"/>
      <identity name="id"/>
      <container name="a">
        <leaf name="x"><type name="string"/></leaf>
        <container name="in">
          <leaf name="deep"><type name="string"/></leaf>
          <leaf name="deeper"><type name="t2"/></leaf>
        </container>
        <leaf name="y"><type name="string"/></leaf>
      </container>
      <leaf name="c"><type name="string"/></leaf>
      <leaf name="d"><type name="string"/></leaf>)",
                      &left),
              0u);
    KzMod *dst = f.dst.mod;
    KzsNode *a = dst->dataNodes;
    EXPECT_EQ(ChildNames(a), (std::vector<std::string>{"x", "in", "y"}));
    EXPECT_EQ(ChildNames(a->firstChild->next), (std::vector<std::string>{"deep", "deeper"}));
    EXPECT_EQ(a->lastChild->module, dst);
    EXPECT_EQ(a->firstChild->next->lastChild->module, dst);
    /* Second top-level node differs by name: it and all after it come over. */
    EXPECT_EQ(SiblingNames(dst->dataNodes), (std::vector<std::string>{"a", "b", "c", "d"}));
    for (KzsNode *n = dst->dataNodes; n != nullptr; n = n->next) {
        EXPECT_EQ(n->module, dst) << n->name;
    }
    EXPECT_EQ(left.find("leaf"), std::string::npos) << left;
    EXPECT_EQ(dst->typedefCount, 2u);
    EXPECT_EQ(dst->typedefs[0].realType.baseType, static_cast<uint32_t>(KZT_BASE_STRING));
    EXPECT_NE(KZS_MOD_FindTypDefObjByName(dst, "t2"), nullptr);
    EXPECT_NE(KZS_MOD_FindFeatureByName(dst, "f2"), nullptr);
    EXPECT_NE(KZS_MOD_FindIdentityByName(dst, "id"), nullptr);
    EXPECT_TRUE(LoadMessages(f.ctx, "mm").empty());
}

TEST(CoupleMerge, ExtraTopLevelNodeStaysInSource)
{
    MergeFixture f(R"(<leaf name="b"><type name="string"/></leaf>)");
    std::string left;
    ASSERT_EQ(f.Merge(R"(<leaf name="b"><type name="string"/></leaf><leaf name="e"><type name="string"/></leaf>)",
                      &left),
              0u);
    EXPECT_EQ(f.dst.mod->dataNodes->next, nullptr);
    EXPECT_NE(left.find("mm:e"), std::string::npos);

    /* With an empty destination chain the extra nodes become it. */
    MergeFixture g("<feature name=\"f1\"/>");
    ASSERT_EQ(g.Merge(R"(<leaf name="p"><type name="string"/></leaf><leaf name="q"><type name="string"/></leaf>)"),
              0u);
    ASSERT_NE(g.dst.mod->dataNodes, nullptr);
    EXPECT_STREQ(g.dst.mod->dataNodes->name, "p");
    EXPECT_STREQ(g.dst.mod->dataNodes->next->name, "q");
    EXPECT_EQ(g.dst.mod->dataNodes->next->module, g.dst.mod);
}

TEST(CoupleMerge, DifferencesThatCannotMergeAreReported)
{
    struct Case {
        const char *what;
        const char *src;
        std::vector<std::string> messages;
    };
    const Case cases[] = {
        {"a moved name already used later", R"(
           <container name="a"><leaf name="x"><type name="string"/></leaf></container>
           <leaf name="z"><type name="string"/></leaf>
           <leaf name="b"><type name="string"/></leaf>)",
         {"Failed to merge node \"b\" with diff reason \"name\".", "Failed to merge schema tree."}},
        {"config differs", R"(
           <container name="a"><config value="false"/></container>)",
         {"Failed to merge node \"a\" with diff reason \"other\".", "Failed to merge schema tree."}},
        {"kind differs below the top", R"(
           <container name="a"><leaf-list name="x"><type name="string"/></leaf-list></container>)",
         {"Failed to merge node \"x\" under \"a\" with diff reason \"other\".", "Failed to merge schema tree."}},
        {"import prefix names another module", R"(<import module="third"><prefix value="other"/></import>)",
         {"The import module name \"third\" corresponding to the prefix \"other\" is different from the existing "
          "module name \"other\".",
          "Failed to merge global definitions."}},
        {"feature with other if-features", R"(<feature name="f0"/><feature name="f1"><if-feature name="f0"/></feature>)",
         {"The if-feature informations of the feature \"f1\" are different from the existing feature",
          "Failed to merge global definitions."}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        MergeFixture f;
        EXPECT_EQ(f.Merge(c.src), 22u);
        EXPECT_EQ(LoadMessages(f.ctx, "mm"), c.messages);
    }
}

TEST(CoupleMerge, ExtensionInstancesAreTakenWhenTheDestinationHasNone)
{
    const char *ext = R"(<extension name="tag"><argument name="v"/></extension>
      <container name="a"><mm:tag xmlns:mm="urn:test:mm" v="1"/></container>)";
    MergeFixture f(R"(<extension name="tag"><argument name="v"/></extension><container name="a"/>)");
    ASSERT_EQ(f.Merge(ext), 0u);
    ASSERT_EQ(f.dst.mod->dataNodes->extInstCount, 1u);
    EXPECT_STREQ(f.dst.mod->dataNodes->extInsts[0].extName, "tag");
    /* A different count once both have some is a difference. */
    EXPECT_EQ(KZS_NODE_CompareTwoTreeNodeSelfData(f.dst.mod->dataNodes, f.dst.mod->dataNodes), KZS_NODE_DIFF_NONE);
}

/* Lives here for the unregistered module record; the search pass is left
 * to the embedding process, the load itself never runs it. */
TEST(CoupleAugment, SelfAugmentsFoundBySearch)
{
    Ctx ctx;
    Parsed p(ctx, Yin("cs", R"(
      <container name="c"><leaf name="a"><type name="string"/></leaf></container>
      <augment target-node="/cs:c"><leaf name="x"><type name="string"/></leaf></augment>
      <augment target-node="/other:c"><leaf name="y"><type name="string"/></leaf></augment>)",
                      {"other"}));
    ASSERT_NE(p.mod, nullptr);
    ASSERT_EQ(KZS_LOADER_CoupleSelfAugmentNode(ctx, p.mod), 0u);
    EXPECT_EQ(ChildNames(p.mod->dataNodes), (std::vector<std::string>{"a", "x"}));
    /* Only the augment into another module is left, uncoupled. */
    ASSERT_NE(p.mod->augments, nullptr);
    EXPECT_EQ(p.mod->augments->next, nullptr);
    EXPECT_EQ(p.mod->augments->flags & KZS_NODE_FLAG_AUG_COUPLED, 0u);
    EXPECT_EQ(ChildNames(p.mod->augments), (std::vector<std::string>{"y"}));
    EXPECT_EQ(KZS_LOADER_CoupleSelfAugmentNode(ctx, nullptr), 22u);
}

/* The reason names are pinned by the messages above. */
TEST(CoupleMerge, ModulesOfTwoContextsAreRefused)
{
    Ctx one;
    Ctx two;
    Parsed a(one, Src(kDst));
    Parsed b(two, Src(kDst));
    EXPECT_EQ(KZS_MOD_MergeTwoModuleInSameCtx(a.mod, b.mod), 22u);
    EXPECT_EQ(KZS_MOD_MergeTwoModuleInSameCtx(nullptr, a.mod), 22u);
    EXPECT_TRUE(LoadMessages(one, "mm").empty());
}

} // namespace
