/* Deviation coupling: each deviate kind with its messages, and that undoing a
 * deviation (unloading its module) gives the target back exactly. */
#include "test_support.h"

#include <functional>

using namespace kztest;

namespace {

const std::string kTarget = Yin("dv", R"(
  <container name="c">
    <leaf name="l"><type name="string"/><default value="x"/></leaf>
    <leaf name="nd"><type name="string"/></leaf>
    <leaf-list name="ll"><type name="string"/><default value="a"/><default value="b"/></leaf-list>
    <leaf name="u"><type name="string"/><units name="s"/></leaf>
    <choice name="ch"><default value="k1"/>
      <case name="k1"><leaf name="k1l"><type name="string"/></leaf></case>
      <case name="k2"><leaf name="k2l"><type name="string"/></leaf></case>
    </choice>
    <leaf name="m"><type name="string"/><must condition="../l != 'q'"/></leaf>
    <container name="st"><config value="false"/>
      <leaf name="sl"><type name="string"/></leaf>
      <container name="deep"><leaf name="dl"><type name="string"/></leaf></container>
    </container>
  </container>)");

std::string Deviation(const std::string &path, const std::string &deviates)
{
    return Yin("dx", "<deviation target-node=\"" + path + "\">" + deviates + "</deviation>", {"dv"});
}

struct Case {
    const char *what;
    const char *path;
    const char *deviates;
    bool coupled;
    std::vector<std::string> messages;
    std::function<void(KzCtx *)> check;
};

KzsLeafInfo *Leaf(KzCtx *ctx, const char *path)
{
    KzsNode *n = Node(ctx, path);
    return n != nullptr ? static_cast<KzsLeafInfo *>(n->schemaInfo) : nullptr;
}

std::vector<std::string> Defaults(KzCtx *ctx, const char *path)
{
    std::vector<std::string> out;
    KzsNode *n = Node(ctx, path);
    auto *info = n != nullptr ? static_cast<KzsLeafListInfo *>(n->schemaInfo) : nullptr;
    for (uint32_t i = 0; info != nullptr && i < info->defaultCount; i++) {
        out.emplace_back(info->defaults[i]);
    }
    return out;
}

const std::vector<Case> &Cases()
{
    static const std::vector<Case> cases = {
        {"add default to a leaf that has one", "/dv:c/dv:l", R"(<deviate value="add"><default value="y"/></deviate>)",
         false,
         {"Failed to add default to leaf node \"l\", because it had been set default statement.",
          "Failed to add default statements to node \"l\"."},
         [](KzCtx *ctx) { EXPECT_STREQ(Leaf(ctx, "/dv:c/dv:l")->dflt, "x"); }},
        {"add two defaults to a leaf", "/dv:c/dv:nd",
         R"(<deviate value="add"><default value="y"/><default value="z"/></deviate>)", true,
         {"Failed to add default to leaf node \"nd\",  because the number of default to be added > 1."},
         [](KzCtx *ctx) { EXPECT_EQ(Leaf(ctx, "/dv:c/dv:nd")->dflt, nullptr); }},
        {"add default and mandatory", "/dv:c/dv:nd",
         R"(<deviate value="add"><default value="z"/><mandatory value="true"/></deviate>)", true, {},
         [](KzCtx *ctx) {
             EXPECT_STREQ(Leaf(ctx, "/dv:c/dv:nd")->dflt, "z");
             EXPECT_NE(Node(ctx, "/dv:c/dv:nd")->flags & KZS_NODE_FLAG_MANDATORY_TRUE, 0u);
         }},
        {"add config where config is stated", "/dv:c/dv:st", R"(<deviate value="add"><config value="true"/></deviate>)",
         false,
         {"Failed to add config to node \"st\", because it had been set config statement.",
          "Failed to add config or mandatory to node \"st\"."},
         nullptr},
        {"add config false to a subtree", "/dv:c/dv:ch", R"(<deviate value="add"><config value="false"/></deviate>)",
         true, {},
         [](KzCtx *ctx) {
             EXPECT_NE(Node(ctx, "/dv:c/dv:ch/dv:k2/dv:k2l")->flags & KZS_NODE_FLAG_CONFIG_FALSE, 0u);
         }},
        {"add an existing leaf-list default", "/dv:c/dv:ll", R"(<deviate value="add"><default value="b"/></deviate>)",
         false,
         {"Failed to add default to node \"ll\", because this value already exists.",
          "Failed to add default statements to node \"ll\"."},
         nullptr},
        {"add leaf-list defaults", "/dv:c/dv:ll",
         R"(<deviate value="add"><default value="c"/><default value="d"/></deviate>)", true, {},
         [](KzCtx *ctx) {
             EXPECT_EQ(Defaults(ctx, "/dv:c/dv:ll"), (std::vector<std::string>{"a", "b", "c", "d"}));
         }},
        {"add units to a leaf that has units", "/dv:c/dv:u", R"(<deviate value="add"><units name="ms"/></deviate>)",
         false,
         {"Failed to add units to node \"u\", because it already has units.",
          "Failed to add units statement to node \"u\"."},
         nullptr},
        {"add must and units", "/dv:c/dv:nd",
         R"(<deviate value="add"><must condition="../l = 'x'"/><units name="ms"/></deviate>)", true, {},
         [](KzCtx *ctx) {
             KzsNode *nd = Node(ctx, "/dv:c/dv:nd");
             EXPECT_EQ(nd->mustCount, 1u);
             EXPECT_STREQ(Leaf(ctx, "/dv:c/dv:nd")->units, "ms");
         }},
        {"add a default to a choice that has one", "/dv:c/dv:ch",
         R"(<deviate value="add"><default value="k2"/></deviate>)", false,
         {"Failed to add default to choice node \"ch\", because it had been set default statement.",
          "Failed to add default statements to node \"ch\"."},
         nullptr},
        {"delete another leaf default", "/dv:c/dv:l", R"(<deviate value="delete"><default value="y"/></deviate>)",
         false,
         {"Failed to find default value to be deleted in leaf node \"l\".",
          "Failed to delete default from node \"l\"."},
         nullptr},
        {"delete a default the leaf lacks", "/dv:c/dv:nd", R"(<deviate value="delete"><default value="y"/></deviate>)",
         false,
         {"Failed to delete default from leaf node \"nd\" without default value.",
          "Failed to delete default from node \"nd\"."},
         nullptr},
        {"delete the leaf default", "/dv:c/dv:l", R"(<deviate value="delete"><default value="x"/></deviate>)", true, {},
         [](KzCtx *ctx) { EXPECT_EQ(Leaf(ctx, "/dv:c/dv:l")->dflt, nullptr); }},
        {"delete the choice default", "/dv:c/dv:ch", R"(<deviate value="delete"><default value="k1"/></deviate>)", true,
         {},
         [](KzCtx *ctx) {
             EXPECT_EQ(static_cast<KzsChoiceInfo *>(Node(ctx, "/dv:c/dv:ch")->schemaInfo)->defaultCase, nullptr);
         }},
        {"delete one leaf-list default", "/dv:c/dv:ll", R"(<deviate value="delete"><default value="a"/></deviate>)",
         true, {}, [](KzCtx *ctx) { EXPECT_EQ(Defaults(ctx, "/dv:c/dv:ll"), (std::vector<std::string>{"b"})); }},
        {"delete a missing leaf-list default", "/dv:c/dv:ll",
         R"(<deviate value="delete"><default value="a"/><default value="q"/></deviate>)", false,
         {"Failed to find default value to be deleted in leaf-list node \"ll\".",
          "Failed to delete default from node \"ll\"."},
         [](KzCtx *ctx) { EXPECT_EQ(Defaults(ctx, "/dv:c/dv:ll"), (std::vector<std::string>{"a", "b"})); }},
        {"delete the must", "/dv:c/dv:m", R"(<deviate value="delete"><must condition="../l != 'q'"/></deviate>)", true,
         {}, [](KzCtx *ctx) { EXPECT_EQ(Node(ctx, "/dv:c/dv:m")->mustCount, 0u); }},
        {"delete a must the node lacks", "/dv:c/dv:m", R"(<deviate value="delete"><must condition="../l"/></deviate>)",
         false,
         {"Failed to find must condition to be deleted in target node \"m\".", "Failed to delete must from node \"m\"."},
         [](KzCtx *ctx) { EXPECT_EQ(Node(ctx, "/dv:c/dv:m")->mustCount, 1u); }},
        {"delete other units", "/dv:c/dv:u", R"(<deviate value="delete"><units name="ms"/></deviate>)", false,
         {"Failed to delete units from node \"u\", because it doesn't have units or the target units.",
          "Failed to delete units from node \"u\"."},
         nullptr},
        {"delete the units", "/dv:c/dv:u", R"(<deviate value="delete"><units name="s"/></deviate>)", true, {},
         [](KzCtx *ctx) { EXPECT_EQ(Leaf(ctx, "/dv:c/dv:u")->units, nullptr); }},
        {"replace config by the same", "/dv:c/dv:st", R"(<deviate value="replace"><config value="false"/></deviate>)",
         true, {},
         [](KzCtx *ctx) {
             EXPECT_EQ(Node(ctx, "/dv:c/dv:st")->flags & 0xEu, KZS_NODE_FLAG_CONFIG_FALSE | KZS_NODE_FLAG_CONFIG_SET);
         }},
        {"replace config false by true", "/dv:c/dv:st", R"(<deviate value="replace"><config value="true"/></deviate>)",
         true, {},
         [](KzCtx *ctx) {
             EXPECT_NE(Node(ctx, "/dv:c/dv:st")->flags & KZS_NODE_FLAG_CONFIG_TRUE, 0u);
             EXPECT_NE(Node(ctx, "/dv:c/dv:st/dv:deep/dv:dl")->flags & KZS_NODE_FLAG_CONFIG_TRUE, 0u);
         }},
        {"replace a default by the same", "/dv:c/dv:l", R"(<deviate value="replace"><default value="x"/></deviate>)",
         true, {}, [](KzCtx *ctx) { EXPECT_STREQ(Leaf(ctx, "/dv:c/dv:l")->dflt, "x"); }},
        {"replace a default", "/dv:c/dv:l", R"(<deviate value="replace"><default value="y"/></deviate>)", true, {},
         [](KzCtx *ctx) { EXPECT_STREQ(Leaf(ctx, "/dv:c/dv:l")->dflt, "y"); }},
        {"replace a default the leaf lacks", "/dv:c/dv:nd",
         R"(<deviate value="replace"><default value="y"/></deviate>)", false,
         {"Failed to replace default of leaf node \"nd\" without default value.",
          "Failed to replace default of node \"nd\"."},
         nullptr},
        {"replace with two defaults", "/dv:c/dv:l",
         R"(<deviate value="replace"><default value="y"/><default value="z"/></deviate>)", true,
         {"Failed to replace default of leaf node \"l\", because the number of defaults to be deleted > 1."},
         [](KzCtx *ctx) { EXPECT_STREQ(Leaf(ctx, "/dv:c/dv:l")->dflt, "x"); }},
        {"replace leaf-list defaults", "/dv:c/dv:ll", R"(<deviate value="replace"><default value="z"/></deviate>)",
         true, {}, [](KzCtx *ctx) { EXPECT_EQ(Defaults(ctx, "/dv:c/dv:ll"), (std::vector<std::string>{"z"})); }},
        {"replace type, units and mandatory", "/dv:c/dv:u",
         R"(<deviate value="replace"><type name="int32"/><units name="ms"/><mandatory value="true"/></deviate>)", true,
         {},
         [](KzCtx *ctx) {
             EXPECT_EQ(Leaf(ctx, "/dv:c/dv:u")->realType.baseType, static_cast<uint32_t>(KZT_BASE_INT32));
             EXPECT_STREQ(Leaf(ctx, "/dv:c/dv:u")->units, "ms");
             EXPECT_NE(Node(ctx, "/dv:c/dv:u")->flags & KZS_NODE_FLAG_MANDATORY_TRUE, 0u);
         }},
        {"replace the type of a container", "/dv:c/dv:st", R"(<deviate value="replace"><type name="int32"/></deviate>)",
         false, {"Failed to replace type of node \"st\"."}, nullptr},
        {"not supported", "/dv:c/dv:st", R"(<deviate value="not-supported"/>)", true, {},
         [](KzCtx *ctx) {
             EXPECT_EQ(Node(ctx, "/dv:c/dv:st"), nullptr);
             EXPECT_EQ(ChildNames(Node(ctx, "/dv:c")).back(), "m");
         }},
        {"not supported at the top", "/dv:c", R"(<deviate value="not-supported"/>)", true, {},
         [](KzCtx *ctx) { EXPECT_EQ(KZ_CTX_GetModuleByModName(ctx, "dv")->dataNodes, nullptr); }},
        /* The second deviate fails: the first one's must does not stay. */
        {"a deviation applies whole or not at all", "/dv:c/dv:nd",
         R"(<deviate value="add"><must condition="../l"/></deviate>
            <deviate value="replace"><default value="y"/></deviate>)",
         false,
         {"Failed to replace default of leaf node \"nd\" without default value.",
          "Failed to replace default of node \"nd\"."},
         [](KzCtx *ctx) { EXPECT_EQ(Node(ctx, "/dv:c/dv:nd")->mustCount, 0u); }},
    };
    return cases;
}

TEST(CoupleDeviation, EachDeviateKindAndItsMessages)
{
    for (const Case &c : Cases()) {
        SCOPED_TRACE(c.what);
        Ctx ctx;
        ASSERT_EQ(Load(ctx, kTarget), 0u);
        const std::string before = DumpModule(KZ_CTX_GetModuleByModName(ctx, "dv"));
        ASSERT_EQ(Load(ctx, Deviation(c.path, c.deviates)), 0u);
        KzMod *dx = KZ_CTX_GetModuleByModName(ctx, "dx");
        ASSERT_NE(dx, nullptr);
        ASSERT_EQ(dx->deviationCount, 1u);
        EXPECT_EQ((dx->deviations[0].flags & KZS_DEVIATION_FLAG_COUPLED) != 0, c.coupled);
        EXPECT_EQ(LoadMessages(ctx, "dx"), c.messages);
        EXPECT_EQ(KZ_CTX_GetLoadStage(ctx), 0u);
        EXPECT_EQ(Relations(ctx, "dv"), (std::vector<std::string>{"1:dx"}));
        if (c.check) {
            c.check(ctx);
        }
        if (!c.coupled) {
            EXPECT_EQ(DumpModule(KZ_CTX_GetModuleByModName(ctx, "dv")), before);
        }
        /* Coupling again changes nothing, whether it worked or not. */
        const std::string after = DumpModule(KZ_CTX_GetModuleByModName(ctx, "dv"));
        (void)KZS_MOD_CoupleDeviation(dx, &dx->deviations[0]);
        EXPECT_EQ(DumpModule(KZ_CTX_GetModuleByModName(ctx, "dv")), after);

        /* Unloading the deviating module gives the target back exactly. */
        ASSERT_EQ(KZ_CTX_UnloadModule(ctx, "dx"), 0u);
        EXPECT_EQ(DumpModule(KZ_CTX_GetModuleByModName(ctx, "dv")), before);
        EXPECT_TRUE(Relations(ctx, "dv").empty());
    }
}

TEST(CoupleDeviation, LatestDeviationIsUndoneFirst)
{
    Ctx ctx;
    ASSERT_EQ(Load(ctx, kTarget), 0u);
    const std::string before = DumpModule(KZ_CTX_GetModuleByModName(ctx, "dv"));
    ASSERT_EQ(Load(ctx, Yin("d1", R"(<deviation target-node="/dv:c/dv:l">
        <deviate value="replace"><default value="one"/></deviate></deviation>)",
                            {"dv"})),
              0u);
    ASSERT_EQ(Load(ctx, Yin("d2", R"(<deviation target-node="/dv:c/dv:l">
        <deviate value="replace"><default value="two"/></deviate></deviation>
        <deviation target-node="/dv:c/dv:st"><deviate value="not-supported"/></deviation>)",
                            {"dv"})),
              0u);
    EXPECT_STREQ(Leaf(ctx, "/dv:c/dv:l")->dflt, "two");
    /* Both go with dv: undone newest first, so nothing of d1 is left. */
    static std::vector<std::string> reloaded;
    reloaded.clear();
    KZ_CTX_SetReloadModuleCbFunc(ctx, [](KzCtx *, const char *name) { reloaded.emplace_back(name); });
    ASSERT_EQ(KZ_CTX_UnloadModule(ctx, "d1"), 0u);
    EXPECT_EQ(reloaded, (std::vector<std::string>{"d1"}));
    EXPECT_STREQ(Leaf(ctx, "/dv:c/dv:l")->dflt, "two");
    ASSERT_EQ(KZ_CTX_UnloadModule(ctx, "d2"), 0u);
    EXPECT_EQ(DumpModule(KZ_CTX_GetModuleByModName(ctx, "dv")), before);
}

TEST(CoupleDeviation, NotSupportedTakesAugmentsBelowAndGivesThemBack)
{
    Ctx ctx;
    static int notified = 0;
    notified = 0;
    KZ_CTX_SetBeforeDeviateNotSupportFunc(ctx, [](KzCtx *, KzsNode *node) {
        EXPECT_STREQ(node->name, "st");
        notified++;
    });
    ASSERT_EQ(Load(ctx, kTarget), 0u);
    ASSERT_EQ(Load(ctx, Yin("da", R"(
      <augment target-node="/dv:c/dv:st/dv:deep"><leaf name="a1"><type name="string"/></leaf></augment>
      <augment target-node="/dv:c"><leaf name="a2"><type name="string"/></leaf></augment>)",
                            {"dv"})),
              0u);
    const std::string before = DumpState(ctx, {"dv", "da"}, false);
    ASSERT_NE(Node(ctx, "/dv:c/dv:st/dv:deep/da:a1"), nullptr);

    ASSERT_EQ(Load(ctx, Deviation("/dv:c/dv:st", R"(<deviate value="not-supported"/>)")), 0u);
    EXPECT_EQ(notified, 1);
    EXPECT_EQ(Node(ctx, "/dv:c/dv:st"), nullptr);
    KzMod *da = KZ_CTX_GetModuleByModName(ctx, "da");
    EXPECT_EQ(da->augments->flags & KZS_NODE_FLAG_AUG_COUPLED, 0u); /* into the removed subtree */
    EXPECT_EQ(ChildNames(da->augments), (std::vector<std::string>{"a1"}));
    EXPECT_NE(da->augments->next->flags & KZS_NODE_FLAG_AUG_COUPLED, 0u);

    /* An augment into the removed part loaded later stays uncoupled. */
    ASSERT_EQ(Load(ctx, Yin("db", R"(<augment target-node="/dv:c/dv:st"><leaf name="b"><type name="string"/></leaf></augment>)",
                            {"dv"})),
              0u);
    EXPECT_EQ(KZ_CTX_GetModuleByModName(ctx, "db")->augments->flags & KZS_NODE_FLAG_AUG_COUPLED, 0u);
    ASSERT_EQ(KZ_CTX_UnloadModule(ctx, "db"), 0u);

    ASSERT_EQ(KZ_CTX_UnloadModule(ctx, "dx"), 0u);
    EXPECT_EQ(DumpState(ctx, {"dv", "da"}, false), before);
}

TEST(CoupleDeviation, IdentityrefDefaultsTakeModuleNames)
{
    Ctx ctx;
    ASSERT_EQ(Load(ctx, Yin("di", R"(
      <identity name="base"/>
      <identity name="one"><base name="base"/></identity>
      <leaf name="kind"><type name="identityref"><base name="base"/></type></leaf>)")),
              0u);
    /* The deviating module knows di under another prefix. */
    const char *text = R"(<module name="dz" xmlns="urn:ietf:params:xml:ns:yang:yin:1">
      <namespace uri="urn:t:dz"/><prefix value="dz"/>
      <import module="di"><prefix value="p"/></import>
      <deviation target-node="/p:kind"><deviate value="add"><default value="p:one"/></deviate></deviation>
    </module>)";
    ASSERT_EQ(KZ_CTX_LoadMemory(ctx, text), 0u);
    EXPECT_TRUE(LoadMessages(ctx, "dz").empty());
    EXPECT_STREQ(Leaf(ctx, "/di:kind")->dflt, "di:one");
    ASSERT_EQ(KZ_CTX_UnloadModule(ctx, "dz"), 0u);
    EXPECT_EQ(Leaf(ctx, "/di:kind")->dflt, nullptr);
}

TEST(CoupleDeviation, DeviationWaitsForItsTargetModule)
{
    Ctx ctx;
    ASSERT_EQ(Load(ctx, Deviation("/dv:c/dv:l", R"(<deviate value="replace"><default value="y"/></deviate>)")), 0u);
    KzMod *dx = KZ_CTX_GetModuleByModName(ctx, "dx");
    EXPECT_EQ(dx->deviations[0].flags & KZS_DEVIATION_FLAG_COUPLED, 0u);
    EXPECT_EQ(Relations(ctx, "dv"), (std::vector<std::string>{"1:dx"}));
    ASSERT_EQ(Load(ctx, kTarget), 0u);
    EXPECT_NE(dx->deviations[0].flags & KZS_DEVIATION_FLAG_COUPLED, 0u);
    EXPECT_STREQ(Leaf(ctx, "/dv:c/dv:l")->dflt, "y");
    EXPECT_EQ(KZS_MOD_CoupleDeviationFromDepMods(ctx, nullptr, "absent", nullptr), 1u);
    EXPECT_EQ(KZS_MOD_GetCoupleDeviateFunc(5), nullptr);
    EXPECT_EQ(KZS_MOD_GetCoupleDeviateFunc(0), nullptr);
}

} // namespace
