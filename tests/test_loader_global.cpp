// Module-level definitions: extensions, features, identities, extension
// instances with and without the filter, and the records of deviations.

#include "test_support.h"

using kztest::LoadMessages;
using kztest::Module;

namespace {

using Names = std::vector<std::string>;

const char *const kImportT =
    "  <import module=\"target\"><prefix value=\"t\"/></import>\n";
const char *const kTNs = " xmlns:t=\"urn:test:target\"";

class LoaderGlobal : public kztest::CtxTest {
protected:
    // Loads a module named g from memory; null when it is refused.
    KzMod *Load(const std::string &body, const std::string &extraNs = "")
    {
        return LoadAs(Module("g", body, "g", extraNs), "g");
    }
    Names Msgs() { return LoadMessages(ctx_, "g"); }
};

// Filter that refuses one extension by name.
uint32_t RefuseSecret(const char *, const char *extName)
{
    return std::string(extName) == "secret" ? 1u : 0u;
}

} // namespace

TEST_F(LoaderGlobal, ExtensionsFeaturesAndIdentitiesWithBases)
{
    KzMod *mod = Load(std::string(kImportT) +
                          "  <extension name=\"plain\"/>\n"
                          "  <extension name=\"note\"><argument name=\"text\"><yin-element value=\"true\"/></argument>"
                          "<description><text>ignored</text></description></extension>\n"
                          "  <extension name=\"tag\"><argument name=\"value\"/></extension>\n"
                          "  <feature name=\"base-feature\"/>\n"
                          "  <feature name=\"extra\"><if-feature name=\"base-feature\"/></feature>\n"
                          "  <identity name=\"root\"/>\n"
                          "  <identity name=\"child\"><base name=\"root\"/><base name=\"t:other\"/>"
                          "<if-feature name=\"g:extra\"/></identity>\n",
                      kTNs);
    ASSERT_NE(mod, nullptr);
    ASSERT_EQ(mod->extensionCount, 3);
    EXPECT_STREQ(mod->extensions[0].name, "plain");
    EXPECT_EQ(mod->extensions[0].argName, nullptr);
    EXPECT_EQ(mod->extensions[0].yinElement, 0u);
    EXPECT_STREQ(mod->extensions[1].argName, "text");
    EXPECT_EQ(mod->extensions[1].yinElement, 1u);
    EXPECT_STREQ(mod->extensions[2].argName, "value");
    EXPECT_EQ(mod->extensions[2].yinElement, 0u);

    ASSERT_EQ(mod->featureCount, 2);
    EXPECT_EQ(mod->features[0].ifFeatureCount, 0);
    ASSERT_EQ(mod->features[1].ifFeatureCount, 1);
    EXPECT_STREQ(mod->features[1].ifFeatures[0].modName, "g");
    EXPECT_STREQ(mod->features[1].ifFeatures[0].featName, "base-feature");

    ASSERT_EQ(mod->identityCount, 2);
    const KzsIdentity &child = mod->identities[1];
    EXPECT_STREQ(child.name, "child");
    ASSERT_EQ(child.baseCount, 2);
    EXPECT_STREQ(child.bases[0].modName, "g");
    EXPECT_STREQ(child.bases[0].identName, "root");
    EXPECT_STREQ(child.bases[1].modName, "target");
    EXPECT_STREQ(child.bases[1].identName, "other");
    ASSERT_EQ(child.ifFeatureCount, 1);
    EXPECT_STREQ(child.ifFeatures[0].featName, "extra");
}

// The filter decides which instances are parsed at all.
TEST_F(LoaderGlobal, ExtensionInstancesOfNodesAndModule)
{
    KZ_CTX_SetExtInstFilterCbFunc(ctx_, RefuseSecret);
    KzMod *mod = Load(std::string(kImportT) +
                          "  <t:annotate value=\"module level\"/>\n"
                          "  <container name=\"c\">\n"
                          "    <t:secret/>\n"
                          "    <t:annotate value=\"one\"><t:detail level=\"2\"/></t:annotate>\n"
                          "    <u:ignored xmlns:u=\"urn:undeclared\"/>\n"
                          "    <t:secret/>\n"
                          "    <t:flag/>\n"
                          "  </container>\n",
                      kTNs);
    ASSERT_NE(mod, nullptr);
    ASSERT_EQ(mod->extInstCount, 1);
    EXPECT_STREQ(mod->extInsts[0].modName, "target");
    EXPECT_STREQ(mod->extInsts[0].extName, "annotate");
    EXPECT_STREQ(mod->extInsts[0].argument, "module level");

    KzsNode *c = KZS_MOD_FindTopLevelSchemaNode(mod, "c");
    ASSERT_NE(c, nullptr);
    ASSERT_EQ(c->extInstCount, 2); // the element of an undeclared prefix is not one
    EXPECT_STREQ(c->extInsts[0].extName, "annotate");
    EXPECT_STREQ(c->extInsts[0].argument, "one");
    ASSERT_EQ(c->extInsts[0].childCount, 1);
    EXPECT_STREQ(c->extInsts[0].children[0].extName, "detail");
    EXPECT_STREQ(c->extInsts[0].children[0].argument, "2");
    EXPECT_STREQ(c->extInsts[1].extName, "flag");
    EXPECT_EQ(c->extInsts[1].argument, nullptr);
    EXPECT_TRUE(Msgs().empty());
}

TEST_F(LoaderGlobal, AccessControlInstancesMarkTheSubtree)
{
    KzMod *mod = Load("  <import module=\"ietf-netconf-acm\"><prefix value=\"nacm\"/></import>\n"
                      "  <container name=\"secrets\"><nacm:default-deny-all/>"
                      "<leaf name=\"key\"><type name=\"string\"/></leaf></container>\n"
                      "  <container name=\"open\"><nacm:default-deny-write/></container>\n",
                      " xmlns:nacm=\"urn:ietf:params:xml:ns:yang:ietf-netconf-acm\"");
    ASSERT_NE(mod, nullptr);
    KzsNode *secrets = KZS_MOD_FindTopLevelSchemaNode(mod, "secrets");
    ASSERT_NE(secrets, nullptr);
    EXPECT_NE(secrets->flags & KZS_NODE_FLAG_NACM_DENY_ALL, 0u);
    KzsNode *key = KZS_NODE_FindChildNodeByName(secrets, nullptr, "key");
    ASSERT_NE(key, nullptr);
    EXPECT_NE(key->flags & KZS_NODE_FLAG_NACM_DENY_ALL, 0u);
    KzsNode *open = KZS_MOD_FindTopLevelSchemaNode(mod, "open");
    ASSERT_NE(open, nullptr);
    EXPECT_NE(open->flags & KZS_NODE_FLAG_NACM_DENY_WRITE, 0u);
    EXPECT_EQ(open->flags & KZS_NODE_FLAG_NACM_DENY_ALL, 0u);
}

// The units, defaults and types a deviate carries are checked through the
// coupled target in test_couple_deviation.cpp.
TEST_F(LoaderGlobal, DeviationRecords)
{
    Reopen(KZ_CTX_OPT_KEEP_UNITS);
    KzMod *mod = Load(std::string(kImportT) +
                          "  <deviation target-node=\"/t:system/t:mtu\">\n"
                          "    <deviate value=\"add\"><config value=\"false\"/><units name=\"octets\"/>"
                          "<must condition=\". &gt; 64\"/><default value=\"1500\"/><t:why reason=\"hw\"/></deviate>\n"
                          "    <deviate value=\"replace\"><mandatory value=\"true\"/>"
                          "<type name=\"uint16\"/><default value=\"9000\"/></deviate>\n"
                          "    <deviate value=\"delete\"><config value=\"true\"/><units name=\"octets\"/></deviate>\n"
                          "  </deviation>\n"
                          "  <deviation target-node=\"/t:system/t:legacy\">\n"
                          "    <deviate value=\"not-supported\"><config value=\"bogus\"/></deviate>\n"
                          "  </deviation>\n",
                      kTNs);
    ASSERT_NE(mod, nullptr) << (Msgs().empty() ? "" : Msgs()[0]);
    ASSERT_EQ(mod->deviationCount, 2);
    const KzsDeviation &mtu = mod->deviations[0];
    EXPECT_STREQ(mtu.target, "/target:system/mtu");
    ASSERT_EQ(mtu.deviateCount, 3);

    const KzsDeviate &add = mtu.deviates[0];
    EXPECT_EQ(add.kind, static_cast<uint32_t>(KZS_DEVIATE_ADD));
    EXPECT_EQ(add.flags, KZS_NODE_FLAG_CONFIG_FALSE | KZS_NODE_FLAG_CONFIG_SET);
    ASSERT_EQ(add.mustCount, 1);
    EXPECT_STREQ(add.musts[0].cond, ". > 64");
    ASSERT_EQ(add.extInstCount, 1);
    EXPECT_STREQ(add.extInsts[0].extName, "why");

    const KzsDeviate &replace = mtu.deviates[1];
    EXPECT_EQ(replace.kind, static_cast<uint32_t>(KZS_DEVIATE_REPLACE));
    EXPECT_EQ(replace.flags, KZS_NODE_FLAG_MANDATORY_TRUE);

    const KzsDeviate &del = mtu.deviates[2];
    EXPECT_EQ(del.kind, static_cast<uint32_t>(KZS_DEVIATE_DELETE));
    EXPECT_EQ(del.flags, 0); // delete takes no config

    // not-supported does not read its children, so the bad config passes.
    ASSERT_EQ(mod->deviations[1].deviateCount, 1);
    EXPECT_EQ(mod->deviations[1].deviates[0].kind, static_cast<uint32_t>(KZS_DEVIATE_NOT_SUPPORTED));
}

TEST_F(LoaderGlobal, RefusedDefinitionsAndTheirMessages)
{
    struct Case {
        std::string body;
        Names messages;
    };
    const std::string dev = std::string(kImportT) + "  <deviation target-node=\"/t:system\">";
    const Case cases[] = {
        {"<extension name=\"e\"><argument name=\"a\"><yin-element value=\"yes\"/></argument></extension>",
         {"Failed to parse value \"yes\" of statement \"yin-element\".",
          "Failed to parse value \"e\" of statement \"extension\"."}},
        {"<identity name=\"i\"><base name=\"q:root\"/></identity>",
         {"Failed to find module by prefix \"q\".", "Failed to parse value \"i\" of statement \"identity\"."}},
        {std::string(kImportT) + "<deviation target-node=\"t:system\"/>",
         {"Failed to get value of statement \"deviation\"."}},
        {dev + "<deviate value=\"change\"/></deviation>",
         {"Failed to parse value \"change\" of statement \"deviate\".",
          "Failed to parse \"deviation\" statement \"/t:system\"."}},
        {dev + "<deviate value=\"replace\"><config value=\"maybe\"/></deviate></deviation>",
         {"Failed to parse value \"maybe\" of statement \"config\".",
          "Failed to parse value \"replace\" of statement \"deviate\"."}},
    };
    for (const Case &c : cases) {
        Reopen(0);
        EXPECT_EQ(Load(c.body, kTNs), nullptr) << c.body;
        EXPECT_EQ(status_, 1u) << c.body;
        EXPECT_EQ(Msgs(), c.messages) << c.body;
    }
}
