/* Augment coupling through whole loads: into another module, into rpc input
 * and output that do not exist yet, into the module itself, late targets, and
 * the independence of the final schema from the order of loading. */
#include "test_support.h"

using namespace kztest;

namespace {

const std::string kBase = Yin("ca", R"(
  <container name="top">
    <leaf name="l1"><type name="string"/><default value="x"/></leaf>
    <container name="sub"><leaf name="s1"><type name="int8"/></leaf></container>
  </container>
  <container name="state"><config value="false"/></container>
  <rpc name="op"><output><leaf name="res"><type name="string"/></leaf></output></rpc>
  <rpc name="op2"><input><leaf name="i"><type name="string"/></leaf></input></rpc>)");

const std::string kAug = Yin("cb", R"(
  <augment target-node="/ca:top">
    <leaf name="e1"><type name="string"/></leaf>
    <container name="bx"><leaf name="b1"><type name="string"/></leaf></container>
  </augment>
  <augment target-node="/ca:state"><leaf name="counter"><type name="uint32"/></leaf></augment>
  <augment target-node="/ca:op/ca:input"><leaf name="arg"><type name="string"/></leaf></augment>
  <augment target-node="/ca:op2/ca:output"><leaf name="out"><type name="string"/></leaf></augment>)",
                             {"ca"});

/* Augments into a node that cb's augment adds, and deviates ca. */
const std::string kNested = Yin("cd", R"(
  <augment target-node="/ca:top/cb:bx"><leaf name="d1"><type name="string"/></leaf></augment>
  <deviation target-node="/ca:top/ca:l1"><deviate value="replace"><default value="y"/></deviate></deviation>)",
                                {"ca", "cb"});

KzsNode *FindAug(KzCtx *ctx, const char *mod, const char *path)
{
    KzMod *m = KZ_CTX_GetModuleByModName(ctx, mod);
    return FindSibling(m != nullptr ? m->augments : nullptr, Json(path));
}

// ca with cb's augments into it.
class CoupleAugmentLoaded : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(Load(ctx, kBase), 0u);
        ASSERT_EQ(Load(ctx, kAug), 0u);
    }
    Ctx ctx;
};

TEST_F(CoupleAugmentLoaded, ChildrenMoveIntoTargetOfAnotherModuleOrCreatedInputOutput)
{

    KzsNode *top = Node(ctx, "/ca:top");
    ASSERT_NE(top, nullptr);
    EXPECT_EQ(ChildNames(top), (std::vector<std::string>{"l1", "sub", "e1", "bx"}));
    KzsNode *e1 = top->firstChild->next->next;
    EXPECT_EQ(e1->parent, top);
    EXPECT_STREQ(e1->module->name, "cb");
    /* The moved child takes config from its new parent. */
    KzsNode *counter = Node(ctx, "/ca:state")->firstChild;
    ASSERT_NE(counter, nullptr);
    EXPECT_NE(counter->flags & KZS_NODE_FLAG_CONFIG_FALSE, 0u);
    /* Reaching a node added by an augment goes through the augmenting module. */
    EXPECT_EQ(Node(ctx, "/ca:top/cb:bx/cb:b1"), e1->next->firstChild);

    KzsNode *aug = FindAug(ctx, "cb", "/ca:top");
    ASSERT_NE(aug, nullptr);
    EXPECT_NE(aug->flags & KZS_NODE_FLAG_AUG_COUPLED, 0u);
    EXPECT_EQ(aug->firstChild, e1);
    EXPECT_EQ(aug->lastChild, e1->next);
    EXPECT_EQ(Relations(ctx, "ca"), (std::vector<std::string>{"0:cb"}));
    EXPECT_TRUE(Relations(ctx, "cb").empty());

    /* Augments into rpc input and output that do not exist yet create them. */
    KzsNode *op = Node(ctx, "/ca:op");
    ASSERT_NE(op, nullptr);
    /* The input goes first, before the existing output. */
    EXPECT_EQ(ChildNames(op), (std::vector<std::string>{"input", "output"}));
    EXPECT_EQ(op->firstChild->kind, static_cast<uint32_t>(KZS_NODE_INPUT));
    EXPECT_STREQ(op->firstChild->module->name, "ca");
    EXPECT_EQ(ChildNames(op->firstChild), (std::vector<std::string>{"arg"}));

    KzsNode *op2 = Node(ctx, "/ca:op2");
    EXPECT_EQ(ChildNames(op2), (std::vector<std::string>{"input", "output"}));
    EXPECT_EQ(op2->lastChild->kind, static_cast<uint32_t>(KZS_NODE_OUTPUT));
    EXPECT_EQ(ChildNames(op2->lastChild), (std::vector<std::string>{"out"}));

    /* Only input and output are ever made up; the created node outlives the
     * augment's uncoupling. */
    EXPECT_EQ(KZS_NODE_UpdateTargetPathWithInputOutput(ctx, "/ca:op/ca:other"), nullptr);
    EXPECT_EQ(KZS_NODE_UpdateTargetPathWithInputOutput(ctx, "/ca:top/input"), nullptr);
    EXPECT_EQ(KZS_NODE_UpdateTargetPathWithInputOutput(ctx, "noslash"), nullptr);
    ASSERT_EQ(KZS_NODE_UnCoupleAugmentNode(FindAug(ctx, "cb", "/ca:op/ca:input")), 0u);
    EXPECT_EQ(ChildNames(op), (std::vector<std::string>{"input", "output"}));
    EXPECT_EQ(op->firstChild->firstChild, nullptr);
}

TEST_F(CoupleAugmentLoaded, UncoupleAndCoupleAgainKeepOrderAndRanges)
{
    ASSERT_EQ(Load(ctx, Yin("ce", R"(<augment target-node="/ca:top"><leaf name="f1"><type name="string"/></leaf></augment>)",
                            {"ca"})),
              0u);
    KzsNode *top = Node(ctx, "/ca:top");
    EXPECT_EQ(ChildNames(top), (std::vector<std::string>{"l1", "sub", "e1", "bx", "f1"}));

    KzsNode *aug = FindAug(ctx, "cb", "/ca:top");
    EXPECT_EQ(KZS_NODE_CoupleAugmentNode(aug), 0u); /* already coupled: nothing moves */
    ASSERT_EQ(KZS_NODE_UnCoupleAugmentNode(aug), 0u);
    EXPECT_EQ(aug->flags & KZS_NODE_FLAG_AUG_COUPLED, 0u);
    EXPECT_EQ(ChildNames(top), (std::vector<std::string>{"l1", "sub", "f1"}));
    EXPECT_EQ(ChildNames(aug), (std::vector<std::string>{"e1", "bx"}));
    EXPECT_EQ(aug->firstChild->parent, aug);
    EXPECT_EQ(KZS_NODE_UnCoupleAugmentNode(aug), 22u);
    /* Flags received under the target go back with the children. */
    KzsNode *state = FindAug(ctx, "cb", "/ca:state");
    ASSERT_EQ(KZS_NODE_UnCoupleAugmentNode(state), 0u);
    EXPECT_NE(state->firstChild->flags & KZS_NODE_FLAG_CONFIG_FALSE, 0u);
    EXPECT_EQ(KZS_NODE_CoupleAugmentNode(state), 0u);

    KzsNode *other = FindAug(ctx, "ce", "/ca:top");
    EXPECT_EQ(other->firstChild, other->lastChild);
    EXPECT_STREQ(other->firstChild->name, "f1");

    ASSERT_EQ(KZS_NODE_CoupleAugmentNode(aug), 0u);
    EXPECT_EQ(ChildNames(top), (std::vector<std::string>{"l1", "sub", "f1", "e1", "bx"}));

    /* The relink callback sees the first child of each move. */
    static std::vector<std::string> relinked;
    relinked.clear();
    KZ_CTX_SetFirstAugChildRelinkFunc(ctx, [](KzCtx *, KzsNode *node) { relinked.emplace_back(node->name); });
    ASSERT_EQ(KZS_NODE_UnCoupleAugmentNode(aug), 0u);
    ASSERT_EQ(KZS_NODE_CoupleAugmentNode(aug), 0u);
    EXPECT_EQ(relinked, (std::vector<std::string>{"e1", "e1"}));
}

TEST_F(CoupleAugmentLoaded, RangeFollowsRemovalOfItsChildren)
{
    KzsNode *aug = FindAug(ctx, "cb", "/ca:top");
    KzsNode *e1 = aug->firstChild;
    KzsNode *bx = aug->lastChild;
    KzsNode *l1 = Node(ctx, "/ca:top/ca:l1");

    KZS_NODE_RemoveCoupledAugmentNodeChildLink(aug, l1); /* not in the range */
    EXPECT_EQ(aug->firstChild, e1);
    KZS_NODE_RemoveCoupledAugmentNodeChildLink(aug, e1);
    EXPECT_EQ(aug->firstChild, bx);
    EXPECT_EQ(aug->lastChild, bx);
    KZS_NODE_RemoveCoupledAugmentNodeChildLink(aug, bx);
    EXPECT_EQ(aug->firstChild, nullptr);
    EXPECT_EQ(aug->lastChild, nullptr);
    /* An empty range uncouples without moving anything. */
    EXPECT_EQ(KZS_NODE_UnCoupleAugmentNode(aug), 0u);
    EXPECT_EQ(ChildNames(Node(ctx, "/ca:top")), (std::vector<std::string>{"l1", "sub", "e1", "bx"}));
    /* Those nodes now belong to nobody's range: hand them back for freeing. */
    KzsNode *top = Node(ctx, "/ca:top");
    KZS_NODE_Unlink(e1);
    KZS_NODE_Unlink(bx);
    (void)KZS_NODE_AddChild(aug, e1);
    (void)KZS_NODE_AddChild(aug, bx);
    EXPECT_EQ(ChildNames(top), (std::vector<std::string>{"l1", "sub"}));
}

TEST(CoupleAugment, MissingTargetCouplesWhenItsModuleArrives)
{
    Ctx ctx;
    ASSERT_EQ(Load(ctx, kAug), 0u);
    KzsNode *aug = FindAug(ctx, "cb", "/ca:top");
    ASSERT_NE(aug, nullptr);
    EXPECT_EQ(aug->flags & KZS_NODE_FLAG_AUG_COUPLED, 0u);
    EXPECT_EQ(ChildNames(aug), (std::vector<std::string>{"e1", "bx"}));
    /* The relation is there before the target is. */
    EXPECT_EQ(Relations(ctx, "ca"), (std::vector<std::string>{"0:cb"}));
    EXPECT_TRUE(LoadMessages(ctx, "cb").empty());

    ASSERT_EQ(Load(ctx, kBase), 0u);
    EXPECT_NE(aug->flags & KZS_NODE_FLAG_AUG_COUPLED, 0u);
    EXPECT_EQ(ChildNames(Node(ctx, "/ca:top")), (std::vector<std::string>{"l1", "sub", "e1", "bx"}));
    EXPECT_NE(Node(ctx, "/ca:op/ca:input"), nullptr);
}

TEST(CoupleAugment, AugmentIntoOwnModuleIsConsumed)
{
    Ctx ctx;
    ASSERT_EQ(Load(ctx, Yin("cs", R"(
      <container name="c"><leaf name="a"><type name="string"/></leaf></container>
      <augment target-node="/cs:c"><leaf name="x"><type name="string"/></leaf></augment>
      <augment target-node="/cs:nowhere"><leaf name="y"><type name="string"/></leaf></augment>)")),
              0u);
    KzMod *mod = KZ_CTX_GetModuleByModName(ctx, "cs");
    ASSERT_NE(mod, nullptr);
    EXPECT_EQ(mod->augments, nullptr); /* both consumed, coupled or not */
    KzsNode *c = Node(ctx, "/cs:c");
    EXPECT_EQ(ChildNames(c), (std::vector<std::string>{"a", "x"}));
    EXPECT_EQ(c->lastChild->module, mod);
    EXPECT_TRUE(Relations(ctx, "cs").empty());
}

TEST(CoupleAugment, EveryLoadOrderGivesTheSameSchema)
{
    const std::vector<std::string> names{"ca", "cb", "cd"};
    const std::vector<const std::string *> texts{&kBase, &kAug, &kNested};
    std::vector<int> order{0, 1, 2};
    std::string first;
    do {
        Ctx ctx;
        for (int i : order) {
            ASSERT_EQ(Load(ctx, *texts[i]), 0u) << names[i];
        }
        std::string state = DumpState(ctx, names, true);
        if (first.empty()) {
            first = state;
            EXPECT_NE(state.find("d1"), std::string::npos);
            EXPECT_NE(state.find("dflt=y"), std::string::npos);
            EXPECT_EQ(Node(ctx, "/ca:top/cb:bx/cd:d1")->parent, Node(ctx, "/ca:top/cb:bx"));
        } else {
            EXPECT_EQ(state, first) << "order " << order[0] << order[1] << order[2];
        }
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(CoupleAugment, ImportsLoadedAfterTheModuleCoupleAsFromMemory)
{
    ScratchDir dir;
    dir.Write("ca.yin", kBase);
    dir.Write("cb.yin", kAug);
    dir.Write("cd.yin", kNested);
    Ctx loaded(KZ_CTX_OPT_LOAD_IMPORTS | KZ_CTX_OPT_KEEP_UNITS);
    ASSERT_EQ(KZ_CTX_SetSearchDir(loaded, dir.Path().c_str()), 0u);
    /* cd comes first, its targets only with the imports that follow. */
    ASSERT_EQ(KZ_CTX_LoadModule(loaded, "cd"), 0u);

    Ctx fromMemory;
    for (const std::string *text : {&kBase, &kAug, &kNested}) {
        ASSERT_EQ(Load(fromMemory, *text), 0u);
    }
    const std::vector<std::string> names{"ca", "cb", "cd"};
    EXPECT_EQ(DumpState(loaded, names, true), DumpState(fromMemory, names, true));
    EXPECT_NE(Node(loaded, "/ca:top/cb:bx/cd:d1"), nullptr);
}

TEST(CoupleAugment, PassesRejectBadArguments)
{
    Ctx ctx;
    EXPECT_EQ(KZS_NODE_CoupleAugmentNode(nullptr), 22u);
    EXPECT_EQ(KZS_NODE_UnCoupleAugmentNode(nullptr), 22u);
    EXPECT_EQ(KZS_NODE_CoupleAugmentNodeAndTargetNode(nullptr, nullptr), 22u);
    EXPECT_EQ(KZS_NODE_UnCoupleAugmentNodeAndTargetNode(nullptr, nullptr), 22u);
    EXPECT_EQ(KZS_LOADER_CoupleModRemainNodesToTgt(nullptr), 22u);
    EXPECT_EQ(KZS_LOADER_CoupleModPendTblAndCurMod(ctx, "absent", nullptr), 22u);
    EXPECT_EQ(KZS_MOD_CoupleAugmentFromDepMods(ctx, "x", "absent", nullptr), 1u);
    EXPECT_EQ(KZS_MOD_UnCoupleAugmentFromDepMods(ctx, "x", "absent", nullptr), 1u);
}

TEST_F(CoupleAugmentLoaded, UncoupleNotificationLeavesAugmentsIntoOtherModules)
{
    ASSERT_EQ(Load(ctx, kNested), 0u);
    /* cd augments a node of cb, so its augment is filed under cb. */
    EXPECT_EQ(KZS_MOD_UnCoupleAugmentFromDepMods(ctx, "ca", "cd", nullptr), 0u);
    EXPECT_NE(FindAug(ctx, "cd", "/ca:top/cb:bx")->flags & KZS_NODE_FLAG_AUG_COUPLED, 0u);
    EXPECT_EQ(KZS_MOD_UnCoupleAugmentFromDepMods(ctx, "cb", "cd", nullptr), 0u);
    EXPECT_EQ(FindAug(ctx, "cd", "/ca:top/cb:bx")->flags & KZS_NODE_FLAG_AUG_COUPLED, 0u);
    EXPECT_EQ(KZS_MOD_CoupleAugmentFromDepMods(ctx, "cb", "cd", nullptr), 0u);
    EXPECT_NE(Node(ctx, "/ca:top/cb:bx/cd:d1"), nullptr);
}

} // namespace
