/* Unloading: a module leaves with everything built on it, targets are given
 * back exactly, and loading the family again couples as a fresh load. */
#include "test_support.h"

using namespace kztest;

namespace {

const std::string kA = Yin("ua", R"(
  <container name="top">
    <leaf name="l1"><type name="string"/><default value="x"/></leaf>
    <container name="sub"><leaf name="s1"><type name="int8"/></leaf></container>
    <container name="keep"><leaf name="k"><type name="string"/></leaf></container>
  </container>
  <rpc name="op"/>)");

const std::string kB = Yin("ub", R"(
  <augment target-node="/ua:top"><container name="bx"><leaf name="b1"><type name="string"/></leaf></container></augment>
  <augment target-node="/ua:top/ua:sub"><leaf name="sx"><type name="string"/></leaf></augment>
  <augment target-node="/ua:op/ua:input"><leaf name="arg"><type name="string"/></leaf></augment>)",
                           {"ua"});

const std::string kC = Yin("uc", R"(
  <deviation target-node="/ua:top/ua:l1"><deviate value="replace"><default value="y"/></deviate></deviation>
  <deviation target-node="/ua:top/ua:sub"><deviate value="not-supported"/></deviation>
  <deviation target-node="/ua:top"><deviate value="add"><must condition="ua:l1 != 'z'"/></deviate></deviation>)",
                           {"ua"});

/* Built on ub only: goes when ua goes, through ub. */
const std::string kD = Yin("ud", R"(
  <augment target-node="/ua:top/ub:bx"><leaf name="d1"><type name="string"/></leaf></augment>)",
                           {"ua", "ub"});

const std::vector<std::string> kFamily{"ua", "ub", "uc", "ud"};

std::vector<std::string> &Reloaded()
{
    static std::vector<std::string> names;
    return names;
}

void LoadFamily(KzCtx *ctx)
{
    for (const std::string *text : {&kA, &kB, &kC, &kD}) {
        ASSERT_EQ(Load(ctx, *text), 0u);
    }
}

TEST(CoupleUnload, ReloadingTheFamilyGivesTheFirstState)
{
    Ctx ctx;
    KZ_CTX_SetReloadModuleCbFunc(ctx, [](KzCtx *, const char *name) { Reloaded().emplace_back(name); });
    LoadFamily(ctx);
    const std::string first = DumpState(ctx, kFamily, false);
    ASSERT_NE(Node(ctx, "/ua:top/ub:bx/ud:d1"), nullptr);
    ASSERT_EQ(Node(ctx, "/ua:top/ua:sub"), nullptr);

    for (int round = 0; round < 3; round++) {
        SCOPED_TRACE(round);
        Reloaded().clear();
        ASSERT_EQ(KZ_CTX_UnloadModule(ctx, "ua"), 0u);
        std::vector<std::string> gone = Reloaded();
        std::sort(gone.begin(), gone.end());
        EXPECT_EQ(gone, kFamily); /* once each */
        for (const auto &name : kFamily) {
            EXPECT_EQ(KZ_CTX_GetModuleByModName(ctx, name.c_str()), nullptr) << name;
            EXPECT_EQ(KZ_CTX_FindModRelationTbl(ctx, name.c_str()), nullptr) << name;
        }
        LoadFamily(ctx);
        EXPECT_EQ(DumpState(ctx, kFamily, false), first);
    }
}

TEST(CoupleUnload, DependantsGoAndTheRestIsGivenBack)
{
    Ctx ctx;
    ASSERT_EQ(Load(ctx, kA), 0u);
    ASSERT_EQ(Load(ctx, kB), 0u);
    ASSERT_EQ(Load(ctx, kD), 0u);
    const std::string withAugments = DumpState(ctx, {"ua", "ub", "ud"}, false);
    ASSERT_EQ(Load(ctx, kC), 0u);

    /* The deviating module alone: the removed sub comes back with the
     * augment that was coupled into it. */
    ASSERT_EQ(KZ_CTX_UnloadModule(ctx, "uc"), 0u);
    EXPECT_EQ(DumpState(ctx, {"ua", "ub", "ud"}, false), withAugments);
    EXPECT_NE(Node(ctx, "/ua:top/ua:sub/ub:sx"), nullptr);

    /* ub takes ud with it; ua stays as it was before either. */
    Reloaded().clear();
    KZ_CTX_SetReloadModuleCbFunc(ctx, [](KzCtx *, const char *name) { Reloaded().emplace_back(name); });
    ASSERT_EQ(KZ_CTX_UnloadModule(ctx, "ub"), 0u);
    EXPECT_EQ(Reloaded(), (std::vector<std::string>{"ub", "ud"}));
    EXPECT_EQ(KZ_CTX_GetModuleByModName(ctx, "ud"), nullptr);
    KzsNode *op = Node(ctx, "/ua:op");
    /* The input made for ub's augment is part of ua now and stays. */
    EXPECT_EQ(ChildNames(op), (std::vector<std::string>{"input"}));
    EXPECT_EQ(op->firstChild->firstChild, nullptr);
    EXPECT_EQ(DumpModule(KZ_CTX_GetModuleByModName(ctx, "ua")).find("bx"), std::string::npos);
    EXPECT_TRUE(Relations(ctx, "ua").empty());
}

TEST(CoupleUnload, UnknownAndBadArguments)
{
    Ctx ctx;
    EXPECT_EQ(KZ_CTX_UnloadModule(nullptr, "ua"), 22u);
    EXPECT_EQ(KZ_CTX_UnloadModule(ctx, nullptr), 22u);
    EXPECT_EQ(KZ_CTX_UnloadModule(ctx, "ua"), 1u);
    ASSERT_EQ(Load(ctx, kA), 0u);
    ASSERT_EQ(KZ_CTX_UnloadModule(ctx, "ua"), 0u);
    EXPECT_EQ(KZ_CTX_UnloadModule(ctx, "ua"), 1u);
}

TEST(CoupleUnload, ContextDeleteWithEverythingCoupled)
{
    /* Nothing leaks or is freed twice when the context goes with coupled
     * augments and deviations (checked under the sanitizers). */
    Ctx ctx;
    LoadFamily(ctx);
    ASSERT_EQ(Load(ctx, Yin("ue", R"(<deviation target-node="/ua:top/ub:bx"><deviate value="not-supported"/></deviation>)",
                            {"ua", "ub"})),
              0u);
    EXPECT_EQ(Node(ctx, "/ua:top/ub:bx"), nullptr);
}

} // namespace
