// An augment's when condition moved one level down, and the hand-down of an
// augment's when and if-features to its children.

#include "loader/kzs_augment_inherit.h"
#include "test_support.h"

namespace {

std::string Moved(const char *cond)
{
    return kztest::TakeText(KZS_NODE_GetParentCond(cond, nullptr));
}

class LoaderCondTree : public kztest::CtxTest {
protected:
    void SetUp() override
    {
        CtxTest::SetUp();
        mod_.ctx = ctx_;
        dict_ = &ctx_->dict;
        augment_ = New(KZS_NODE_AUGMENT);
        ASSERT_NE(augment_, nullptr);
    }
    void TearDown() override
    {
        KZS_NODE_Free(augment_); // the children and every string go with it
        CtxTest::TearDown();
    }

    KzsNode *New(uint32_t kind)
    {
        KzsNode *n = KZS_NODE_New(kind);
        if (n != nullptr) {
            n->module = &mod_;
        }
        return n;
    }

    KzsNode *Child(uint32_t kind, const char *when = nullptr)
    {
        KzsNode *n = New(kind);
        if (n == nullptr) {
            return nullptr;
        }
        if (when != nullptr) {
            n->when = KZ_DICT_Insert(dict_, when);
        }
        KZS_NODE_AddChild(augment_, n);
        return n;
    }

    void AddIfFeature(KzsNode *n, const char *mod, const char *feat)
    {
        ASSERT_EQ(KZS_NODE_AppendOneIfFeat(dict_, &n->ifFeatures, &n->ifFeatureCount, mod, feat), 0u);
    }

    KzMod mod_ {};
    KzDict *dict_ = nullptr;
    KzsNode *augment_ = nullptr;
};

} // namespace

TEST(LoaderCond, ConditionMovedOneLevelDown)
{
    kztest::ExpectRows(Moved, {
        {"../x = 'a'", "../../x = 'a'"}, {"x and y", "../x and ../y"}, {"current()/y", "current()/../y"},
        {"/m:a/m:b", "/m:a/m:b"}, {". = 'on'", ".. = 'on'"}, {"count(x) > 1", "count(../x) > 1"},
        {"m:type = 'eth' or m:speed != 10", "../m:type = 'eth' or ../m:speed != 10"},
        {"../a/b = current()/../c", "../../a/b = current()/../../c"}, {"  ", ""},
        // Unreadable conditions give null.
        {"a::b = 1", "(null)"}, {"x = 'open", "(null)"}, {"$v = 1", "(null)"},
    });
    EXPECT_EQ(KZS_NODE_GetParentCond(nullptr, nullptr), nullptr);
}

TEST_F(LoaderCondTree, WhenAndIfFeaturesReachEveryDataChild)
{
    augment_->when = KZ_DICT_Insert(dict_, "../type = 'eth'");
    AddIfFeature(augment_, "m", "f1");
    AddIfFeature(augment_, "m", "f2");
    KzsNode *leaf = Child(KZS_NODE_LEAF, "x != 0");
    KzsNode *container = Child(KZS_NODE_CONTAINER);
    KzsNode *action = Child(KZS_NODE_ACTION);
    KzsNode *notif = Child(KZS_NODE_NOTIF);
    ASSERT_TRUE(leaf && container && action && notif);
    AddIfFeature(leaf, "m", "f2"); // already there: kept once

    ASSERT_EQ(KZS_NODE_InheritAugNodeEvalToAllChildNode(dict_, augment_), 0u);

    EXPECT_STREQ(leaf->when, "(../../type = 'eth') and (x != 0)");
    EXPECT_STREQ(container->when, "../../type = 'eth'");
    EXPECT_EQ(container->when, KZ_DICT_Insert(dict_, "../../type = 'eth'")); // interned
    KZ_DICT_Remove(dict_, container->when);

    ASSERT_EQ(leaf->ifFeatureCount, 2);
    EXPECT_STREQ(leaf->ifFeatures[0].featName, "f2");
    EXPECT_STREQ(leaf->ifFeatures[1].featName, "f1");
    ASSERT_EQ(container->ifFeatureCount, 2);
    EXPECT_STREQ(container->ifFeatures[0].featName, "f1");
    EXPECT_STREQ(container->ifFeatures[1].featName, "f2");

    EXPECT_EQ(action->when, nullptr);
    EXPECT_EQ(action->ifFeatureCount, 0);
    EXPECT_EQ(notif->when, nullptr);
    EXPECT_EQ(notif->ifFeatureCount, 0);

    // The augment keeps its own copies.
    EXPECT_STREQ(augment_->when, "../type = 'eth'");
    EXPECT_EQ(augment_->ifFeatureCount, 2);
}

TEST_F(LoaderCondTree, UnreadableWhenStillHandsDownIfFeatures)
{
    augment_->when = KZ_DICT_Insert(dict_, "a::b");
    AddIfFeature(augment_, "m", "f1");
    KzsNode *leaf = Child(KZS_NODE_LEAF, "x = 1");
    ASSERT_NE(leaf, nullptr);
    ASSERT_EQ(KZS_NODE_InheritAugNodeEvalToAllChildNode(dict_, augment_), 0u);
    EXPECT_STREQ(leaf->when, "x = 1");
    EXPECT_EQ(leaf->ifFeatureCount, 1);
}

