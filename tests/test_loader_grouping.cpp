// Grouping expansion: what a uses brings (refine, augment, when, if-feature,
// nested and scoped groupings, other modules' groupings), the faults it
// reports, and when it applies (YANG always, YIN with the option bit).

#include "test_support.h"

using kztest::PrintedTree;
using kztest::ScratchDir;

namespace {

std::string Yang(const std::string &body)
{
    return "module g { yang-version 1.1; namespace urn:g; prefix g;\n" + body + "}\n";
}

using CtxPtr = std::unique_ptr<KzCtx, decltype(&KZ_CTX_Delete)>;

// A context with module g of that body loaded.
CtxPtr LoadedG(const std::string &body)
{
    CtxPtr ctx(KZ_CTX_Create(0), KZ_CTX_Delete);
    EXPECT_EQ(KZ_CTX_LoadYangMemory(ctx.get(), Yang(body).c_str()), 0u) << body;
    return ctx;
}

} // namespace

TEST(LoaderGrouping, UsesBringsTheGroupingsNodes)
{
    struct Case {
        const char *body;
        const char *tree;
    } cases[] = {
        // Lexical scope: the innermost grouping of the name wins; nested uses expand.
        {"grouping a { leaf top { type string; } }\n"
         "grouping pair { leaf x { type int8; } uses a; }\n"
         "container c { grouping a { leaf inner { type string; } } uses a; uses pair; }\n",
         "module: g\n   +--rw c\n      +--rw inner?   string\n      +--rw x?       int8\n      +--rw top?     string\n"},
        // Refine: default, mandatory, presence, config, min/max-elements.
        {"grouping r { leaf l { type int8; } container p { leaf-list v { type int8; } } leaf m { type int8; } }\n"
         "container c { uses r { refine l { default 3; } refine p { presence on; config false; }\n"
         "  refine p/v { min-elements 1; max-elements 4; } refine m { mandatory true; } } }\n",
         "module: g\n   +--rw c\n      +--rw l?   int8 <3>\n      +--ro p!\n      |  +--ro v*   int8\n"
         "      +--rw m    int8\n"},
        // Augment inside uses, through a shorthand case; uses inside the augment.
        {"grouping leafy { leaf y { type string; } }\n"
         "grouping ch { choice k { leaf a { type string; } } container box; }\n"
         "container c { uses ch { augment box { uses leafy; } augment k/a { leaf b { type int8; } } } }\n",
         "module: g\n   +--rw c\n      +--rw (k)?\n      |  +--:(a)\n      |     +--rw a?   string\n"
         "      |     +--rw b?   int8\n      +--rw box\n         +--rw y?   string\n"},
        // Scoped typedefs: the same name in two scopes, one also at the top level.
        {"typedef t { type string; }\n"
         "grouping s { typedef t { type int8 { range 1..5; } } leaf a { type t; } }\n"
         "container c { typedef t { type uint16; } leaf b { type t; } uses s; }\n"
         "leaf d { type t; }\n",
         "module: g\n   +--rw c\n   |  +--rw b?   t-3\n   |  +--rw a?   t-2\n   +--rw d?   t\n"},
        // Groupings in rpc input and notifications; uses at the top level.
        {"grouping id { leaf id { type string; } }\n uses id;\n"
         "rpc r { input { grouping in { leaf n { type int8; } } uses in; uses id; } }\n"
         "notification e { uses id; }\n",
         "module: g\n   +--rw id?   string\nrpcs:\n   +---x r\n      +---w input\n         +---w n?    int8\n"
         "         +---w id?   string\nnotifications:\n   +---n e\n      +--ro id?   string\n"},
    };
    for (const Case &c : cases) {
        CtxPtr ctx = LoadedG(c.body);
        EXPECT_EQ(PrintedTree(ctx.get(), "g"), c.tree) << c.body;
        EXPECT_TRUE(kztest::LoadMessages(ctx.get()).empty()) << c.body;
    }
}

TEST(LoaderGrouping, WhenAndIfFeatureOfUsesReachEveryNode)
{
    CtxPtr ctx = LoadedG("feature f;\n grouping w { leaf a { type int8; when \"../k\"; }\n"
                         "  choice ch { leaf b { type int8; } } }\n"
                         "container c { leaf k { type int8; }\n"
                         "  uses w { when \"k > 1\"; if-feature f; } }\n");
    const KzsNode *a = KZ_CTX_GetTargetNode(ctx.get(), "/g:c/a", nullptr);
    ASSERT_NE(a, nullptr);
    EXPECT_STREQ(a->when, "(../k > 1) and (../k)");
    EXPECT_EQ(a->ifFeatureCount, 1u);
    const KzsNode *ch = a->next;
    ASSERT_NE(ch, nullptr);
    EXPECT_STREQ(ch->when, "k > 1"); // a choice has no data node: the parent stays the context
}

TEST(LoaderGrouping, FaultsNameTheUsesAndFailTheLoad)
{
    struct Case {
        const char *body;
        const char *message;
    } cases[] = {
        {"container c { uses nope; }\n", "Grouping \"nope\" used at \"/c\" not found."},
        {"grouping a { uses a; }\n container c { uses a; }\n", "Grouping \"a\" used at \"/a\" uses itself."},
        {"grouping a { container x { uses b; } }\n grouping b { uses a; }\n leaf-list l { type int8; }\n uses b;\n",
         "Grouping \"b\" used at \"/a/x\" uses itself."},
        {"grouping a { leaf x { type int8; } }\n container c { uses a { refine y { default 1; } } }\n",
         "Refine target \"y\" at \"/c/a\" not found."},
        {"grouping a { leaf x { type int8; } }\n container c { uses a { refine x { presence p; } } }\n",
         "Refine of \"x\" at \"/c/a\": \"presence\" does not apply to a leaf."},
        {"grouping a { leaf x { type int8; } }\n container c { uses a { augment z { leaf q { type int8; } } } }\n",
         "Augment target \"z\" at \"/c/a\" not found."},
        {"grouping x { uses y:z; }\n uses x;\n", "Grouping \"y:z\" used at \"/x\" not found."},
    };
    for (const Case &c : cases) {
        kztest::Ctx ctx(0);
        EXPECT_NE(KZ_CTX_LoadYangMemory(ctx, Yang(c.body).c_str()), 0u) << c.body;
        EXPECT_EQ(KZ_CTX_GetModuleByModName(ctx, "g"), nullptr) << c.body;
        const auto messages = kztest::LoadMessages(ctx, "g");
        ASSERT_FALSE(messages.empty()) << c.body;
        EXPECT_EQ(messages[0], c.message);
    }
}

TEST(LoaderGrouping, RunawayExpansionHitsALimit)
{
    // Each level doubles (2^40 nodes if nothing stopped it); each level adds
    // five containers (300 levels); a chain of 100 groupings.
    auto chain = [](int levels, int copies, int wraps) {
        std::string body = "grouping g0 { leaf a { type int8; } }\n";
        for (int i = 1; i <= levels; i++) {
            std::string use = "uses g" + std::to_string(i - 1) + ";";
            for (int w = 0; w < wraps; w++) {
                use = "container w" + std::to_string(w) + " { " + use + " }";
            }
            body += "grouping g" + std::to_string(i) + " {";
            for (int c = 0; c < copies; c++) {
                body += " container c" + std::to_string(c) + " { " + use + " }";
            }
            body += " }\n";
        }
        return body + "uses g" + std::to_string(levels) + ";\n";
    };
    struct Case {
        std::string body;
        const char *message;
    } cases[] = {
        {chain(40, 2, 0), "exceeds the expansion limit"},
        {chain(60, 1, 4), "exceeds the expansion limit"},
        {chain(100, 1, 0), "Groupings nested too deeply"},
    };
    for (const Case &c : cases) {
        kztest::Ctx ctx(0);
        EXPECT_NE(KZ_CTX_LoadYangMemory(ctx, Yang(c.body).c_str()), 0u);
        const auto messages = kztest::LoadMessages(ctx, "g");
        ASSERT_FALSE(messages.empty());
        EXPECT_NE(messages[0].find(c.message), std::string::npos) << messages[0];
    }
}

TEST(LoaderGrouping, OtherModulesGroupingsResolveTheirIdentifiersAtHome)
{
    ScratchDir dir;
    // lib's grouping names its own typedef, an identity base, a feature and
    // a third module's type through lib's prefixes, which "use" does not import.
    dir.Write("types.yang", "module types { namespace urn:types; prefix ty;\n"
                            "  typedef small { type int8 { range 0..9; } } }\n");
    dir.Write("lib.yang", "module lib { yang-version 1.1; namespace urn:lib; prefix l;\n"
                          "  import types { prefix t; }\n  include libsub;\n"
                          "  feature fast;\n  identity base-id;\n  identity one { base l:base-id; }\n"
                          "  typedef word { type string { length 1..4; } }\n"
                          "  grouping g { leaf w { type word; } leaf s { type t:small; }\n"
                          "    leaf i { if-feature fast; type identityref { base base-id; } default one; }\n"
                          "    uses from-sub; } }\n");
    dir.Write("libsub.yang", "submodule libsub { yang-version 1.1; belongs-to lib { prefix lb; }\n"
                             "  grouping from-sub { leaf u { type lb:word; } } }\n");
    dir.Write("use.yang", "module use { yang-version 1.1; namespace urn:use; prefix u;\n"
                          "  import lib { prefix x; }\n  container c { uses x:g; } }\n");
    kztest::Ctx ctx(KZ_CTX_OPT_LOAD_IMPORTS);
    ASSERT_EQ(KZ_CTX_SetSearchDir(ctx, dir.Path().c_str()), 0u);
    EXPECT_EQ(KZ_CTX_LoadModule(ctx, "use"), 0u);
    EXPECT_EQ(KZ_MOD_EnableFeature(KZ_CTX_GetModuleByModName(ctx, "lib"), "fast"), 0u);
    EXPECT_TRUE(kztest::LoadMessages(ctx).empty()) << kztest::LoadMessages(ctx)[0];
    EXPECT_EQ(PrintedTree(ctx, "use"), "module: use\n   +--rw c\n      +--rw w?   lib:word\n"
                                       "      +--rw s?   types:small\n      +--rw i?   identityref <lib:one>\n"
                                       "      +--rw u?   lib:word\n");
    const KzsNode *w = KZ_CTX_GetTargetNode(ctx, "/use:c/w", nullptr);
    ASSERT_NE(w, nullptr);
    EXPECT_STREQ(KZ_MOD_GetModuleName(w->module), "use"); // expanded nodes belong to the user

    // Another module augments and deviates nodes a grouping brought; unloading it undoes both.
    dir.Write("dev.yang", "module dev { yang-version 1.1; namespace urn:dev; prefix d;\n"
                          "  import use { prefix u; }\n"
                          "  augment /u:c { leaf extra { type string; } }\n"
                          "  deviation /u:c/u:s { deviate not-supported; } }\n");
    ASSERT_EQ(KZ_CTX_LoadModule(ctx, "dev"), 0u);
    EXPECT_NE(KZ_CTX_GetTargetNode(ctx, "/use:c/dev:extra", nullptr), nullptr);
    EXPECT_EQ(KZ_CTX_GetTargetNode(ctx, "/use:c/s", nullptr), nullptr);
    ASSERT_EQ(KZ_CTX_UnloadModule(ctx, "dev"), 0u);
    EXPECT_EQ(KZ_CTX_GetTargetNode(ctx, "/use:c/dev:extra", nullptr), nullptr);
    EXPECT_NE(KZ_CTX_GetTargetNode(ctx, "/use:c/s", nullptr), nullptr);
}

TEST(LoaderGrouping, YinExpandsOnlyWithTheOptionBit)
{
    const std::string yin = kztest::Module(
        "y", "<grouping name=\"gr\"><leaf name=\"l\"><type name=\"string\"/></leaf></grouping>\n"
             "<container name=\"c\"><uses name=\"gr\"/></container>\n",
        "y");
    for (uint32_t flags : {0u, static_cast<uint32_t>(KZ_CTX_OPT_EXPAND_GROUPINGS)}) {
        kztest::Ctx ctx(flags);
        ASSERT_EQ(KZ_CTX_LoadMemory(ctx, yin.c_str()), 0u);
        EXPECT_EQ(KZ_CTX_GetTargetNode(ctx, "/y:c/l", nullptr) != nullptr, flags != 0) << flags;
    }
}

TEST(LoaderGrouping, RequestsValidateAgainstGroupingBuiltInput)
{
    // Input built from groupings: a refined default and mandatory, a must
    // brought by the grouping, a when on the uses (context: the input).
    CtxPtr ctx = LoadedG("grouping opts { leaf mode { type string; }\n"
                         "  leaf level { type uint8; must \". < 50\"; } }\n"
                         "grouping extra { leaf note { type string; } }\n"
                         "rpc run { input { leaf kind { type string; }\n"
                         "  uses opts { refine mode { default auto; } refine level { mandatory true; } }\n"
                         "  uses extra { when \"kind = 'rich'\"; } } }\n");
    struct Case {
        const char *inner;
        const char *error; // message, "" when valid
    } cases[] = {
        {"<level>3</level>", ""},
        {"<kind>rich</kind><level>3</level><note>n</note>", ""},
        {"<kind>poor</kind><level>3</level><note>n</note>", "note is not satisfied when condition."},
        {"<level>70</level>", "level is not satisfied must condition."},
        {"<kind>x</kind>", "Missing element: level."},
    };
    for (const Case &c : cases) {
        const std::string body = std::string("<run xmlns=\"urn:g\">") + c.inner + "</run>";
        std::vector<std::string> added;
        kztest::ErrPtr err(KZ_CTX_ValidateRpcDataTree(ctx.get(), KZ_DATA_KIND_TEXT, const_cast<char *>(body.c_str()),
                                                      kztest::CollectAdded, &added));
        EXPECT_EQ(err != nullptr ? KZ_GetErrorMessage(err.get()) : "", std::string(c.error)) << c.inner;
        if (err == nullptr) {
            EXPECT_EQ(added, std::vector<std::string>{"mode"}) << c.inner;
        }
    }
}
