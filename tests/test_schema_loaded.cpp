/* Node and module queries on a module loaded from YIN text, through the
 * public surface only. */

#include "test_support.h"

namespace {

const char *kModule = R"(<module xmlns="urn:ietf:params:xml:ns:yang:yin:1" name="sl">
  <namespace uri="urn:sl"/><prefix value="s"/>
  <feature name="fast"/>
  <typedef name="ms"><type name="uint32"/><default value="100"/><units name="milliseconds"/></typedef>
  <typedef name="timeout"><type name="s:ms"/></typedef>
  <container name="sys">
    <config value="false"/>
    <list name="ifc">
      <key value="name unit"/>
      <leaf name="name"><type name="string"/></leaf>
      <leaf name="unit"><type name="uint8"/></leaf>
      <leaf name="peer"><type name="leafref"><path value="../../s:ifc/s:name"/></type></leaf>
    </list>
    <choice name="mode">
      <case name="a"><leaf name="wait"><type name="timeout"/></leaf></case>
      <case name="b"><leaf name="turbo"><if-feature name="fast"/><type name="empty"/></leaf></case>
    </choice>
  </container>
  <rpc name="reset"><input><leaf name="hard"><type name="boolean"/></leaf></input></rpc>
</module>)";

// Scan callback collecting node names, once per node.
uint32_t CollectName(KzsNode *n, uint32_t step, void *names)
{
    if (step != KZS_TRAV_PARENT) {
        static_cast<std::vector<std::string> *>(names)->push_back(KZ_NODE_GetNodeName(n));
    }
    return 0;
}

class SchemaLoaded : public kztest::CtxTest {
protected:
    void SetUp() override
    {
        Reopen(KZ_CTX_OPT_KEEP_UNITS);
        mod_ = LoadAs(kModule, "sl");
        ASSERT_NE(mod_, nullptr);
    }

    KzsNode *Find(const char *prefixedPath) { return KZ_MOD_GetNodeByPrefixedPath(mod_, nullptr, prefixedPath); }

    KzMod *mod_ = nullptr;
};

TEST_F(SchemaLoaded, KeysFlagsDataPathsAndTypedefChain)
{
    KzsNode *ifc = Find("/s:sys/s:ifc");
    ASSERT_NE(ifc, nullptr);
    EXPECT_EQ(KZ_NODE_GetNodeKeyNum(ifc), 2u);
    KzsNode *unit = Find("/s:sys/s:ifc/s:unit");
    ASSERT_NE(unit, nullptr);
    EXPECT_EQ(KZ_NODE_IsKey(unit), 1u);
    EXPECT_EQ(KZ_NODE_IsKey(Find("/s:sys/s:ifc/s:peer")), 0u);
    EXPECT_EQ(KZ_NODE_IsRwConfig(unit), 0u) << "config false handed down from sys";

    KzsNode *wait = Find("/s:sys/s:wait");
    ASSERT_NE(wait, nullptr) << "the data path looks through choice and case";
    EXPECT_EQ(KZ_NODE_GetNodeType(KZ_NODE_GetParentNode(wait)), KZ_NODE_KIND_CASE);
    EXPECT_EQ(KZ_NODE_GetNonChoiceCaseParent(wait), Find("/s:sys"));
    EXPECT_EQ(Find("/s:sys/s:mode"), nullptr);
    EXPECT_EQ(Find("/s:reset/s:hard"), KZ_MOD_GetNodeByPrefixedPath(mod_, Find("/s:reset"), "hard"));
    EXPECT_NE(Find("/s:reset/s:hard"), nullptr);

    /* The typedef chain gives default and units. */
    EXPECT_STREQ(KZ_NODE_GetDefaultValueStr(wait), "100");
    EXPECT_STREQ(KZ_NODE_GetUnitsValueStr(wait), "milliseconds");
    std::vector<std::string> chain;
    ASSERT_EQ(KZ_NODE_ScanDerivedType(wait, kztest::CollectTypeName, &chain), 0u);
    EXPECT_EQ(chain, (std::vector<std::string>{"sl:timeout:0", "sl:ms:17"}));
    EXPECT_EQ(KZ_NODE_GetDefaultValueStr(Find("/s:sys/s:ifc/s:unit")), nullptr);
}

TEST_F(SchemaLoaded, LeafrefFeatureAndTopmostScan)
{
    KzsNode *peer = Find("/s:sys/s:ifc/s:peer");
    ASSERT_NE(peer, nullptr);
    EXPECT_EQ(KZ_NODE_GetLeafrefTargetNode(peer, 1), Find("/s:sys/s:ifc/s:name"));

    KzsNode *turbo = Find("/s:sys/s:turbo");
    ASSERT_NE(turbo, nullptr);
    EXPECT_EQ(KZ_NODE_IsEnabled(turbo), 0u);
    ASSERT_EQ(KZ_MOD_EnableFeature(mod_, "*"), 0u);
    EXPECT_EQ(KZ_NODE_IsEnabled(turbo), 1u);

    std::vector<std::string> tops;
    ASSERT_EQ(KZ_MOD_IterScanTopmostNode(mod_, CollectName, &tops), 0u);
    EXPECT_EQ(tops, (std::vector<std::string>{"sys", "reset"}));
}

const char *kAugmenting = R"(<module xmlns="urn:ietf:params:xml:ns:yang:yin:1" name="ax">
  <namespace uri="urn:ax"/><prefix value="a"/>
  <import module="sl"><prefix value="s"/></import>
  <augment target-node="/s:sys">
    <leaf name="extra"><type name="string"/></leaf>
    <container name="more"><leaf name="deeper"><type name="int8"/></leaf></container>
  </augment>
</module>)";

TEST_F(SchemaLoaded, AugmentedNodesJoinTheTarget)
{
    ASSERT_EQ(KZ_CTX_LoadMemory(ctx_, kAugmenting), 0u);
    KzMod *ax = KZ_CTX_GetModuleByModName(ctx_, "ax");
    ASSERT_NE(ax, nullptr);
    std::vector<std::string> augs;
    ASSERT_EQ(KZ_MOD_IterScanAugmentNode(ax, CollectName, &augs), 0u);
    EXPECT_EQ(augs, std::vector<std::string>{"/sl:sys"});
    KzsNode *sys = Find("/s:sys");
    EXPECT_EQ(KZ_NODE_GetAugmentTargetNode(ax->augments), sys);
    EXPECT_EQ(KZ_NODE_GetAugmentTargetNode(sys), nullptr);

    KzsNode *deeper = KZ_MOD_GetNodeByPrefixedPath(ax, nullptr, "/s:sys/a:more/a:deeper");
    ASSERT_NE(deeper, nullptr);
    EXPECT_EQ(KZ_NODE_GetModule(deeper), ax);
    EXPECT_EQ(KZ_NODE_GetParentNode(KZ_NODE_GetParentNode(deeper)), sys) << "coupled: the target is the parent";
    EXPECT_EQ(KZ_NODE_IsRwConfig(deeper), 0u) << "config false inherited from the target";

    /* Walking the augment covers its own range only, not the rest of the target. */
    std::vector<std::string> names;
    ASSERT_EQ(KZ_NODE_TreeScanAllNode(ax->augments, CollectName, &names), 0u);
    EXPECT_EQ(names, (std::vector<std::string>{"/sl:sys", "extra", "more", "deeper"}));
}

} // namespace
