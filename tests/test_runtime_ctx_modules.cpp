// The context with real modules: registry, features, target paths, relation
// tables filled by augment coupling, change notification and deletion.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "schema/kzs_ctx.h"
#include "schema/kzs_diag.h"
#include "schema/kzs_mod.h"
#include "schema/kzs_node.h"
#include "test_support.h"

namespace {

const char *kBase = R"(<module name="rt-base" xmlns="urn:ietf:params:xml:ns:yang:yin:1">
  <namespace uri="urn:rt:base"/>
  <prefix value="b"/>
  <feature name="fast"/>
  <container name="top">
    <leaf name="x"><type name="string"/></leaf>
  </container>
</module>)";

const char *kExt = R"(<module name="rt-ext" xmlns="urn:ietf:params:xml:ns:yang:yin:1">
  <namespace uri="urn:rt:ext"/>
  <prefix value="e"/>
  <import module="rt-base"><prefix value="b"/></import>
  <augment target-node="/b:top">
    <leaf name="y"><type name="string"/></leaf>
  </augment>
</module>)";

const char *kSameNs = R"(<module name="rt-clash" xmlns="urn:ietf:params:xml:ns:yang:yin:1">
  <namespace uri="urn:rt:base"/>
  <prefix value="c"/>
</module>)";

uint32_t CollectDeps(const char *dep, uint32_t ordinal, void *arg)
{
    static_cast<std::vector<std::string> *>(arg)->push_back(std::string(dep) + "#" + std::to_string(ordinal));
    return 0;
}

class RuntimeCtxModules : public kztest::CtxTest {
protected:
    void SetUp() override
    {
        CtxTest::SetUp();
        ASSERT_EQ(0u, KZ_CTX_LoadMemory(ctx_, kBase));
    }
};

}  // namespace

TEST_F(RuntimeCtxModules, RegistryFindsLoadedModulesByNameAndNamespace)
{
    KzMod *base = KZ_CTX_GetModuleByModName(ctx_, "rt-base");
    ASSERT_NE(nullptr, base);
    EXPECT_EQ(base, KZ_CTX_GetModuleByModNs(ctx_, "urn:rt:base"));
    EXPECT_EQ(nullptr, KZ_MOD_GetSemanticVersion(base));
    // The same text again keeps the first module.
    EXPECT_EQ(0u, KZ_CTX_LoadMemory(ctx_, kBase));
    EXPECT_EQ(base, KZ_CTX_GetModuleByModName(ctx_, "rt-base"));
    // A second module with that namespace is refused and not registered.
    EXPECT_NE(0u, KZ_CTX_LoadMemory(ctx_, kSameNs));
    EXPECT_EQ(nullptr, KZ_CTX_GetModuleByModName(ctx_, "rt-clash"));
    EXPECT_EQ(base, KZ_CTX_GetModuleByModNs(ctx_, "urn:rt:base"));
}

TEST_F(RuntimeCtxModules, FeaturesAreQueriedAndDisabledThroughTheContext)
{
    KzMod *base = KZ_CTX_GetModuleByModName(ctx_, "rt-base");
    ASSERT_NE(nullptr, base);
    ASSERT_EQ(0u, KZ_MOD_EnableFeature(base, "fast"));
    EXPECT_EQ(1u, KZ_CTX_IsModFeatureEnable(ctx_, "rt-base", "fast"));
    EXPECT_EQ(0u, KZ_CTX_DisableModFeature(ctx_, "rt-base", "fast"));
    EXPECT_EQ(0u, KZ_CTX_IsModFeatureEnable(ctx_, "rt-base", "fast"));
    EXPECT_EQ(0u, KZ_CTX_IsModFeatureEnable(ctx_, "rt-base", "slow"));
    EXPECT_EQ(KZ_EINVAL, KZ_CTX_DisableModFeature(ctx_, "rt-base", "slow"));
    EXPECT_NE(nullptr, KZ_CTX_FindFeatureByModNameAndFeatName(ctx_, "rt-base", "fast"));
    EXPECT_EQ(nullptr, KZ_CTX_FindFeatureByModNameAndFeatName(ctx_, "rt-none", "fast"));
}

TEST_F(RuntimeCtxModules, TargetPathsResolveInsideAModuleAndThroughAnAugment)
{
    KzsNode *x = KZ_CTX_GetTargetNode(ctx_, "/rt-base:top/x", nullptr);
    ASSERT_NE(nullptr, x);
    EXPECT_STREQ("x", x->name);
    EXPECT_EQ(nullptr, KZ_CTX_GetTargetNode(ctx_, "/rt-none:top", nullptr));
    EXPECT_EQ(nullptr, KZ_CTX_GetTargetNode(ctx_, "/rt-base:top/none", nullptr));

    ASSERT_EQ(0u, KZ_CTX_LoadMemory(ctx_, kExt));
    KzsNode *aug = nullptr;
    KzsNode *y = KZ_CTX_GetTargetNode(ctx_, "/rt-base:top/rt-ext:y", &aug);
    ASSERT_NE(nullptr, y);
    EXPECT_STREQ("y", y->name);
    ASSERT_NE(nullptr, aug);
    EXPECT_EQ(static_cast<uint32_t>(KZS_NODE_AUGMENT), aug->kind);
}

TEST_F(RuntimeCtxModules, AugmentingModulesAreListedAndFollowNotifications)
{
    ASSERT_EQ(0u, KZ_CTX_LoadMemory(ctx_, kExt));
    KzMod *base = KZ_CTX_GetModuleByModName(ctx_, "rt-base");
    ASSERT_NE(nullptr, base);
    std::vector<std::string> deps;
    EXPECT_EQ(0u, KZ_MOD_ScanAugmentModules(reinterpret_cast<const KzModRef *>(base), CollectDeps, &deps));
    EXPECT_EQ((std::vector<std::string>{"rt-ext#1"}), deps);

    KzsNode *top = KZ_CTX_GetTargetNode(ctx_, "/rt-base:top", nullptr);
    ASSERT_NE(nullptr, top);
    auto childNames = [top] { return kztest::ChildNames(top); };
    EXPECT_EQ((std::vector<std::string>{"x", "y"}), childNames());
    KZ_CTX_NotifyModuleChange(ctx_, "rt-base", KZ_MOD_EVENT_UNCOUPLE, nullptr);
    EXPECT_EQ((std::vector<std::string>{"x"}), childNames());
    KZ_CTX_NotifyModuleChange(ctx_, "rt-base", 2, nullptr);
    EXPECT_EQ((std::vector<std::string>{"x"}), childNames());
    KZ_CTX_NotifyModuleChange(ctx_, "rt-base", KZ_MOD_EVENT_COUPLE, nullptr);
    EXPECT_EQ((std::vector<std::string>{"x", "y"}), childNames());
    // Deleting the context with the augment coupled must uncouple it first
    // (checked by the leak and address checkers in TearDown).
}

TEST_F(RuntimeCtxModules, DestroyingAModuleDropsItsDiagnostics)
{
    KzMod *base = KZ_CTX_GetModuleByModName(ctx_, "rt-base");
    ASSERT_NE(nullptr, base);
    KZ_CTX_AddModWarning(ctx_, "rt-base", "note");
    ASSERT_NE(nullptr, KZ_CTX_GetErrNodeByModName(ctx_, "rt-base"));
    KZ_CTX_DestroyModuleNode(ctx_, base);
    EXPECT_EQ(nullptr, KZ_CTX_GetModuleByModName(ctx_, "rt-base"));
    EXPECT_EQ(nullptr, KZ_CTX_GetModuleByModNs(ctx_, "urn:rt:base"));
    EXPECT_EQ(nullptr, KZ_CTX_GetErrNodeByModName(ctx_, "rt-base"));
}
