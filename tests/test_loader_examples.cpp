// The example modules shipped with the library load without any diagnostic
// and come out as their text says.

#include "test_support.h"

namespace {

class LoaderExamples : public kztest::CtxTest {
protected:
    void SetUp() override
    {
        Reopen(KZ_CTX_OPT_LOAD_IMPORTS);
        ASSERT_EQ(KZ_CTX_SetSearchDir(ctx_, KORLA_SOURCE_DIR "/examples/yin"), 0u);
        ASSERT_EQ(KZ_CTX_SetSearchDir(ctx_, KORLA_SOURCE_DIR "/examples/yang"), 0u);
    }

    KzsNode *Node(const char *module, const char *path)
    {
        KzMod *mod = KZ_CTX_GetModuleByModName(ctx_, module);
        return mod != nullptr ? KZS_MOD_GetNodeBySchemaNodeId(mod, nullptr, path) : nullptr;
    }
};

} // namespace

// A submodule and two merge sources form one module each; augment
// conditions reach the added nodes.
TEST_F(LoaderExamples, WholeFamilyLoadsCleanly)
{
    for (const char *name : {"acme-system-ext", "acme-interfaces", "acme-routing"}) {
        EXPECT_EQ(KZ_CTX_LoadModule(ctx_, name), 0u) << name;
    }
    EXPECT_EQ(kztest::Diagnostics(ctx_), std::vector<kztest::Diag>{});
    EXPECT_NE(KZ_CTX_GetModuleByModName(ctx_, "acme-system"), nullptr); // loaded as an import
    EXPECT_EQ(Node("acme-system", "/system/location"), nullptr);         // deviated away
    EXPECT_NE(Node("acme-system", "/system/contact"), nullptr);

    EXPECT_NE(Node("acme-interfaces", "/interface-statistics/interface/in-octets"), nullptr);
    EXPECT_NE(Node("acme-interfaces", "/interfaces/interface/mtu"), nullptr);
    KzMod *routing = KZ_CTX_GetModuleByModName(ctx_, "acme-routing");
    ASSERT_NE(routing, nullptr);
    ASSERT_EQ(routing->mrgSrcCount, 2);
    EXPECT_STREQ(routing->mrgSrcs[0], "core");
    EXPECT_STREQ(routing->mrgSrcs[1], "static");
    EXPECT_NE(Node("acme-routing", "/routing/max-paths"), nullptr);
    EXPECT_NE(Node("acme-routing", "/routing/static-routes/route/next-hop"), nullptr);
    EXPECT_NE(KZS_MOD_FindTopLevelSchemaNode(routing, "clear-static-routes"), nullptr);

    KzsNode *drift = Node("acme-system", "/system/clock/max-drift");
    ASSERT_NE(drift, nullptr);
    EXPECT_STREQ(drift->when, "(../use-ntp = 'true') and (../timezone-offset = 0)");
    ASSERT_EQ(drift->ifFeatureCount, 1);
    EXPECT_STREQ(drift->ifFeatures[0].modName, "acme-system");
    EXPECT_STREQ(drift->ifFeatures[0].featName, "ntp");
    KzsNode *ntp = Node("acme-system", "/system/clock/ntp");
    ASSERT_NE(ntp, nullptr);
    EXPECT_STREQ(ntp->when, "../use-ntp = 'true'");
    ASSERT_EQ(ntp->extInstCount, 1);
    EXPECT_STREQ(ntp->extInsts[0].extName, "annotation");
}
