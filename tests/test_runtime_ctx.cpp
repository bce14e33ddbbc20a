// The context: options, callbacks, current file, search directories, the
// module registry and relation tables.

#include <sys/stat.h>

#include <cstdlib>
#include <deque>

#include "test_support.h"

namespace {

class RuntimeCtx : public kztest::CtxTest {
protected:
    void TearDown() override
    {
        // Registered test records are not real modules: unlink, don't free.
        for (KzMod *m = KZ_CTX_GetFirstModule(ctx_); m != nullptr; m = KZ_CTX_GetFirstModule(ctx_)) {
            KZ_CTX_UnlinkModuleNode(ctx_, m);
        }
        CtxTest::TearDown();
    }
    std::string MakeDir() { return dirs_.emplace_back().Path(); }
    std::vector<std::string> Dirs() const
    {
        return std::vector<std::string>(ctx_->searchDirs, ctx_->searchDirs + ctx_->searchDirCount);
    }
    // Records that outlive the test body, since TearDown unlinks them.
    KzMod *Mod(const char *name, const char *ns)
    {
        mods_.emplace_back();
        KzMod &m = mods_.back();
        memset(&m, 0, sizeof m);
        m.name = name;
        m.ns = ns;
        return &m;
    }

    std::deque<KzMod> mods_;
    std::deque<kztest::ScratchDir> dirs_;
};

}  // namespace

TEST_F(RuntimeCtx, CurrentYinFileKeepsTheBaseNameIfItFits)
{
    EXPECT_STREQ("", KZ_CTX_GetCurYinFile(ctx_));
    KZ_CTX_SetCurYinFile(ctx_, "/srv/yang/ietf-ip@2018-02-22.yin");
    EXPECT_STREQ("ietf-ip@2018-02-22.yin", KZ_CTX_GetCurYinFile(ctx_));
    KZ_CTX_SetCurYinFile(ctx_, "plain.yin");
    EXPECT_STREQ("plain.yin", KZ_CTX_GetCurYinFile(ctx_));
    std::string fits(255, 'f');
    KZ_CTX_SetCurYinFile(ctx_, ("/d/" + fits).c_str());
    EXPECT_EQ(fits, KZ_CTX_GetCurYinFile(ctx_));
    KZ_CTX_SetCurYinFile(ctx_, ("/d/" + fits + "f").c_str());
    EXPECT_STREQ("", KZ_CTX_GetCurYinFile(ctx_));
    KZ_CTX_SetCurYinFile(ctx_, "a.yin");
    KZ_CTX_SetCurYinFile(ctx_, nullptr);
    EXPECT_STREQ("a.yin", KZ_CTX_GetCurYinFile(ctx_));
    KZ_CTX_ClearCurYinFile(ctx_);
    EXPECT_STREQ("", KZ_CTX_GetCurYinFile(ctx_));
    EXPECT_EQ(nullptr, KZ_CTX_GetCurYinFile(nullptr));
}

TEST_F(RuntimeCtx, FormatInputPathKeepsTheLeadingSlash)
{
    kztest::ExpectRows([](const char *in) { return kztest::TakeText(KZ_CTX_FormatInputPath(in)); },
                       {{"/", "/"}, {"//", "/"}, {"/tmp///", "/tmp"}, {"/a/b", "/a/b"}, {"/a//b/", "/a//b"},
                        {"yang/", "(null)"}, {"", "(null)"}});
    EXPECT_EQ(nullptr, KZ_CTX_FormatInputPath(nullptr));
}

TEST_F(RuntimeCtx, SearchDirsAreNormalisedUniqueOrderedAndKeepTheirSlots)
{
    EXPECT_EQ(KZ_ENOTDIR, KZ_CTX_SetSearchDir(ctx_, "yang"));
    EXPECT_EQ(KZ_ENOTDIR, KZ_CTX_SetSearchDir(ctx_, "/no/such/dir"));
    EXPECT_EQ(KZ_ENOTDIR, KZ_CTX_SetSearchDir(ctx_, "/proc/self/status"));  // not a directory
    EXPECT_EQ(KZ_EINVAL, KZ_CTX_SetSearchDir(ctx_, nullptr));
    EXPECT_EQ(KZ_EINVAL, KZ_CTX_SetSearchDir(nullptr, "/tmp"));
    EXPECT_EQ(0u, ctx_->searchDirCount);

    std::string a = MakeDir(), b = MakeDir(), c = MakeDir();
    EXPECT_EQ(0u, KZ_CTX_SetSearchDir(ctx_, (a + "///").c_str()));
    EXPECT_EQ(0u, KZ_CTX_SetSearchDir(ctx_, b.c_str()));
    EXPECT_EQ(0u, KZ_CTX_SetSearchDir(ctx_, a.c_str()));  // present: no duplicate, no reorder
    EXPECT_EQ(0u, KZ_CTX_SetSearchDir(ctx_, c.c_str()));
    EXPECT_EQ((std::vector<std::string>{a, b, c}), Dirs());
    EXPECT_EQ(3u, ctx_->searchDirCapacity);  // grown one slot at a time

    KZ_CTX_UnSetSearchDir(ctx_, (b + "/").c_str());
    EXPECT_EQ((std::vector<std::string>{a, c}), Dirs());
    EXPECT_EQ(nullptr, ctx_->searchDirs[2]);
    std::string never = MakeDir();
    KZ_CTX_UnSetSearchDir(ctx_, never.c_str());
    KZ_CTX_UnSetSearchDir(ctx_, "relative");
    EXPECT_EQ((std::vector<std::string>{a, c}), Dirs());
    EXPECT_EQ(0u, KZ_CTX_SetSearchDir(ctx_, b.c_str()));
    EXPECT_EQ((std::vector<std::string>{a, c, b}), Dirs());
    EXPECT_EQ(3u, ctx_->searchDirCapacity);

    // Unsetting them all keeps the slots.
    const char **slots = ctx_->searchDirs;
    KZ_CTX_UnSetSearchDir(ctx_, nullptr);
    EXPECT_EQ(0u, ctx_->searchDirCount);
    EXPECT_EQ(3u, ctx_->searchDirCapacity);
    EXPECT_EQ(0u, KZ_CTX_SetSearchDir(ctx_, b.c_str()));
    EXPECT_EQ(0u, KZ_CTX_SetSearchDir(ctx_, a.c_str()));
    EXPECT_EQ(slots, ctx_->searchDirs);
    EXPECT_EQ((std::vector<std::string>{b, a}), Dirs());
    // An occupied slot at the count is refused rather than overwritten.
    KZ_CTX_UnSetSearchDir(ctx_, nullptr);
    ctx_->searchDirs[0] = "stray";
    EXPECT_EQ(KZ_EINVAL, KZ_CTX_SetSearchDir(ctx_, a.c_str()));
    ctx_->searchDirs[0] = nullptr;

    // A directory gone from disk cannot be unset.
    ASSERT_EQ(0u, KZ_CTX_SetSearchDir(ctx_, a.c_str()));
    ASSERT_EQ(0, rmdir(a.c_str()));
    EXPECT_EQ(KZ_ENOTDIR, KZ_CTX_UpdateSearchDirAgainstTbl(ctx_, a.c_str(), 1));
    KZ_CTX_UnSetSearchDir(ctx_, a.c_str());
    EXPECT_EQ((std::vector<std::string>{a}), Dirs());
}

TEST_F(RuntimeCtx, RegistryRefusesDuplicateNamesAndNamespaces)
{
    KzMod &a = *Mod("a", "urn:a"), &b = *Mod("b", "urn:b"), &a2 = *Mod("a", "urn:other"), &c = *Mod("c", "urn:a");
    EXPECT_EQ(0u, KZ_CTX_AddModuleNode(ctx_, &b));
    EXPECT_EQ(0u, KZ_CTX_AddModuleNode(ctx_, &a));
    EXPECT_EQ(KZ_ERR, KZ_CTX_AddModuleNode(ctx_, &a2));
    EXPECT_EQ(KZ_ERR, KZ_CTX_AddModuleNode(ctx_, &c));
    // The refused namespace takes its name registration back with it.
    EXPECT_EQ(nullptr, KZ_CTX_GetModuleByModName(ctx_, "c"));
    EXPECT_EQ(&a, KZ_CTX_GetModuleByModName(ctx_, "a"));
    EXPECT_EQ(&a, KZ_CTX_GetModuleByModNs(ctx_, "urn:a"));
    EXPECT_EQ(&b, KZ_CTX_GetModuleByModNs(ctx_, "urn:b"));
    EXPECT_EQ(nullptr, KZ_CTX_GetModuleByModNs(ctx_, "urn:other"));
    EXPECT_EQ(nullptr, KZ_CTX_GetModuleByModName(ctx_, nullptr));
    EXPECT_EQ(nullptr, KZ_CTX_GetModuleByModName(nullptr, "a"));
    EXPECT_EQ(KZ_ERR, KZ_CTX_AddModuleNode(ctx_, nullptr));
    EXPECT_EQ(&a, KZ_CTX_GetFirstModule(ctx_));
    EXPECT_EQ(&b, KZ_CTX_GetNextModule(ctx_, &a));
    EXPECT_EQ(nullptr, KZ_CTX_GetNextModule(ctx_, &b));

    KZ_CTX_UnlinkModuleNode(ctx_, &a);
    EXPECT_EQ(nullptr, KZ_CTX_GetModuleByModName(ctx_, "a"));
    EXPECT_EQ(0u, KZ_CTX_AddModuleNode(ctx_, &c));
    EXPECT_EQ(&c, KZ_CTX_GetModuleByModNs(ctx_, "urn:a"));
}

TEST_F(RuntimeCtx, AModuleWithoutNamespaceCollidesWithEveryOther)
{
    KzMod &a = *Mod("a", "urn:a"), &none = *Mod("none", nullptr), &z = *Mod("z", "urn:z");
    ASSERT_EQ(0u, KZ_CTX_AddModuleNode(ctx_, &a));
    EXPECT_EQ(KZ_ERR, KZ_CTX_AddModuleNode(ctx_, &none));
    EXPECT_EQ(nullptr, KZ_CTX_GetModuleByModName(ctx_, "none"));

    KZ_CTX_UnlinkModuleNode(ctx_, &a);
    ASSERT_EQ(0u, KZ_CTX_AddModuleNode(ctx_, &none));  // alone it fits
    EXPECT_EQ(KZ_ERR, KZ_CTX_AddModuleNode(ctx_, &z));
    EXPECT_EQ(nullptr, KZ_CTX_GetModuleByModName(ctx_, "z"));
    // While it is there, any namespace compares equal to its missing one.
    EXPECT_EQ(&none, KZ_CTX_GetModuleByModNs(ctx_, "urn:anything"));
    EXPECT_EQ(0, KZ_CTX_ModTreeKeyCompare(nullptr, "x"));
    EXPECT_GT(0, KZ_CTX_ModTreeKeyCompare("a", "b"));
}

TEST_F(RuntimeCtx, FeatureQueriesWithoutAModule)
{
    EXPECT_EQ(KZ_EINVAL, KZ_CTX_IsModFeatureEnable(ctx_, nullptr, "f"));
    EXPECT_EQ(KZ_EINVAL, KZ_CTX_IsModFeatureEnable(nullptr, "m", "f"));
    EXPECT_EQ(0u, KZ_CTX_IsModFeatureEnable(ctx_, "m", "f"));
    EXPECT_EQ(KZ_EINVAL, KZ_CTX_DisableModFeature(ctx_, "m", "f"));
    EXPECT_EQ(KZ_EINVAL, KZ_CTX_DisableModFeature(ctx_, "m", nullptr));
    EXPECT_EQ(nullptr, KZ_CTX_FindFeatureByModNameAndFeatName(ctx_, "m", "f"));
    EXPECT_EQ(nullptr, KZ_CTX_GetTargetNode(ctx_, nullptr, nullptr));
    EXPECT_EQ(nullptr, KZ_MOD_GetSemanticVersion(nullptr));
}

namespace {

struct Seen {
    std::vector<std::pair<std::string, uint32_t>> calls;
    uint32_t stopAt = 0;
};

uint32_t Record(const char *dep, uint32_t ordinal, void *arg)
{
    auto *seen = static_cast<Seen *>(arg);
    seen->calls.emplace_back(dep, ordinal);
    return ordinal == seen->stopAt ? 99u : 0u;
}

std::vector<std::string> Collect(KzCtx *ctx, const char *mod, uint32_t kind, uint32_t *rc)
{
    const char **names = nullptr;
    uint32_t count = 0;
    *rc = KZ_CTX_CollectDepModNamesRecursive(ctx, mod, kind, &names, &count);
    std::vector<std::string> out(names, names + count);
    KZ_MemFree(names);
    return out;
}

}  // namespace

TEST_F(RuntimeCtx, RelationItemsAreUniqueNewestFirstAndTablesGoWhenEmpty)
{
    EXPECT_EQ(0u, KZ_CTX_AddTwoModRelation(ctx_, "base", "aug1", KZ_REL_AUGMENT));
    EXPECT_EQ(0u, KZ_CTX_AddTwoModRelation(ctx_, "base", "dev1", KZ_REL_DEVIATE));
    EXPECT_EQ(0u, KZ_CTX_AddTwoModRelation(ctx_, "base", "aug2", KZ_REL_AUGMENT));
    EXPECT_EQ(0u, KZ_CTX_AddTwoModRelation(ctx_, "base", "aug1", KZ_REL_AUGMENT));
    EXPECT_EQ(0u, KZ_CTX_AddTwoModRelation(ctx_, "base", "aug1", KZ_REL_DEVIATE));

    RelationTbl *tbl = KZ_CTX_FindModRelationTbl(ctx_, "base");
    ASSERT_NE(nullptr, tbl);
    EXPECT_EQ(-1, tbl->index);
    std::vector<std::pair<std::string, uint32_t>> items;
    const RelationItem *it = tbl->items;
    do {
        items.emplace_back(it->depModName, it->kind);
        EXPECT_EQ(it, it->next->prev);
        it = it->next;
    } while (it != tbl->items);
    EXPECT_EQ((std::vector<std::pair<std::string, uint32_t>>{
                  {"aug1", 1}, {"aug2", 0}, {"dev1", 1}, {"aug1", 0}}),
              items);
    // Items are found by the interned name's pointer and by kind, not by text.
    std::string copy = "aug1";
    EXPECT_EQ(nullptr, KZ_CTX_FindModRelationItem(tbl, KZ_REL_DEVIATE, copy.c_str()));
    const char *interned = KZ_DICT_Insert(&ctx_->dict, "aug1");
    EXPECT_EQ(tbl->items, KZ_CTX_FindModRelationItem(tbl, KZ_REL_DEVIATE, interned));
    EXPECT_EQ(tbl->items->prev, KZ_CTX_FindModRelationItem(tbl, KZ_REL_AUGMENT, interned));
    KZ_DICT_Remove(&ctx_->dict, interned);

    // Augmenting modules only, in list order, numbered from 1.
    KzModRef ref{ctx_, "base"};
    Seen seen;
    EXPECT_EQ(0u, KZ_MOD_ScanAugmentModules(&ref, Record, &seen));
    EXPECT_EQ((std::vector<std::pair<std::string, uint32_t>>{{"aug2", 1}, {"aug1", 2}}), seen.calls);
    Seen stop;
    stop.stopAt = 1;
    EXPECT_EQ(99u, KZ_MOD_ScanAugmentModules(&ref, Record, &stop));
    EXPECT_EQ(1u, stop.calls.size());
    KzModRef nobody{ctx_, "nobody"};
    EXPECT_EQ(0u, KZ_MOD_ScanAugmentModules(&nobody, Record, &seen));
    KzModRef noCtx{nullptr, "base"};
    EXPECT_EQ(KZ_ERR, KZ_MOD_ScanAugmentModules(&noCtx, Record, &seen));
    // A module record starts like a reference.
    KzMod &mod = *Mod("base", "urn:base");
    mod.ctx = ctx_;
    Seen viaMod;
    EXPECT_EQ(0u, KZ_MOD_ScanAugmentModules(reinterpret_cast<const KzModRef *>(&mod), Record, &viaMod));
    EXPECT_EQ(2u, viaMod.calls.size());

    EXPECT_EQ(KZ_ERR, KZ_CTX_DelTwoModRelation(ctx_, "base", "aug2", KZ_REL_DEVIATE));
    EXPECT_EQ(0u, KZ_CTX_DelTwoModRelation(ctx_, "base", "aug1", KZ_REL_AUGMENT));
    EXPECT_EQ(0u, KZ_CTX_DelTwoModRelation(ctx_, "base", "aug1", KZ_REL_DEVIATE));
    EXPECT_EQ(0u, KZ_CTX_DelTwoModRelation(ctx_, "base", "dev1", KZ_REL_DEVIATE));
    EXPECT_NE(nullptr, KZ_CTX_FindModRelationTbl(ctx_, "base"));
    EXPECT_EQ(0u, KZ_CTX_DelTwoModRelation(ctx_, "base", "aug2", KZ_REL_AUGMENT));
    EXPECT_EQ(nullptr, KZ_CTX_FindModRelationTbl(ctx_, "base"));
    EXPECT_EQ(KZ_ERR, KZ_CTX_DelTwoModRelation(ctx_, "base", "aug2", KZ_REL_AUGMENT));
}

TEST_F(RuntimeCtx, CollectDependantsBreadthFirstWithoutRepeats)
{
    // base <- b <- c <- base (a cycle), base <- d, and a deviation that must not count.
    ASSERT_EQ(0u, KZ_CTX_AddTwoModRelation(ctx_, "base", "b", KZ_REL_AUGMENT));
    ASSERT_EQ(0u, KZ_CTX_AddTwoModRelation(ctx_, "base", "d", KZ_REL_AUGMENT));
    ASSERT_EQ(0u, KZ_CTX_AddTwoModRelation(ctx_, "b", "c", KZ_REL_AUGMENT));
    ASSERT_EQ(0u, KZ_CTX_AddTwoModRelation(ctx_, "c", "base", KZ_REL_AUGMENT));
    ASSERT_EQ(0u, KZ_CTX_AddTwoModRelation(ctx_, "d", "b", KZ_REL_AUGMENT));
    ASSERT_EQ(0u, KZ_CTX_AddTwoModRelation(ctx_, "b", "x", KZ_REL_DEVIATE));
    uint32_t rc = 1;
    EXPECT_EQ((std::vector<std::string>{"d", "b", "c", "base"}), Collect(ctx_, "base", KZ_REL_AUGMENT, &rc));
    EXPECT_EQ(0u, rc);
    EXPECT_TRUE(Collect(ctx_, "base", KZ_REL_DEVIATE, &rc).empty());
    EXPECT_EQ((std::vector<std::string>{"x"}), Collect(ctx_, "b", KZ_REL_DEVIATE, &rc));

    // Nothing found: success with the outputs left alone.
    const char **names = reinterpret_cast<const char **>(uintptr_t{1});
    uint32_t count = 7;
    EXPECT_EQ(0u, KZ_CTX_CollectDepModNamesRecursive(ctx_, "x", KZ_REL_AUGMENT, &names, &count));
    EXPECT_EQ(reinterpret_cast<const char **>(uintptr_t{1}), names);
    EXPECT_EQ(7u, count);
    EXPECT_EQ(KZ_EINVAL, KZ_CTX_CollectDepModNamesRecursive(ctx_, nullptr, 0, &names, &count));

    // A chain of 70 dependants grows the result past its first block.
    std::vector<std::string> expected;
    for (int i = 0; i < 70; ++i) {
        std::string dep = "m" + std::to_string(i);
        ASSERT_EQ(0u, KZ_CTX_AddTwoModRelation(ctx_, i == 0 ? "root" : ("m" + std::to_string(i - 1)).c_str(),
                                               dep.c_str(), KZ_REL_AUGMENT));
        expected.push_back(dep);
    }
    rc = 1;
    EXPECT_EQ(expected, Collect(ctx_, "root", KZ_REL_AUGMENT, &rc));
    EXPECT_EQ(0u, rc);
}

TEST(RuntimeCtxLife, DeleteReleasesEverythingTheContextHolds)
{
    ASSERT_EQ(0u, KZ_UTL_MemFuncInit());
    if (g_kzMemFuncInit != KZ_MEM_STATE_PARTITION) {
        GTEST_SKIP() << "block count is kept by the partition only";
    }
    uint64_t before = kz::base::PartLiveBlocks();
    KzCtx *ctx = KZ_CTX_Create(0);
    ASSERT_NE(nullptr, ctx);
    ASSERT_EQ(0u, KZ_CTX_SetSearchDir(ctx, "/tmp"));
    ASSERT_EQ(0u, KZ_CTX_AddTwoModRelation(ctx, "a", "b", KZ_REL_AUGMENT));
    ASSERT_EQ(0u, KZ_CTX_AddTwoModRelation(ctx, "c", "b", KZ_REL_DEVIATE));
    KZ_CTX_SetCurYinFile(ctx, "/x/y.yin");
    // Its interned names go in bulk with the context, not one by one.
    ASSERT_EQ(0u, KZ_CTX_LoadMemory(ctx, R"(<module name="life" xmlns="urn:ietf:params:xml:ns:yang:yin:1">
      <namespace uri="urn:life"/><prefix value="l"/>
      <container name="top"><leaf name="x"><type name="string"/></leaf></container></module>)"));
    KZ_CTX_Delete(ctx);
    EXPECT_EQ(before, kz::base::PartLiveBlocks());
}

// With real modules: features through the context, a path through a coupled
// augment, change notifications that uncouple and couple again, and the
// diagnostics going with a destroyed module.
using RuntimeCtxLoaded = kztest::CtxTest;

const char *kBase = R"(<module name="rt-base" xmlns="urn:ietf:params:xml:ns:yang:yin:1">
  <namespace uri="urn:rt:base"/><prefix value="b"/><feature name="fast"/>
  <container name="top"><leaf name="x"><type name="string"/></leaf></container>
</module>)";

const char *kExt = R"(<module name="rt-ext" xmlns="urn:ietf:params:xml:ns:yang:yin:1">
  <namespace uri="urn:rt:ext"/><prefix value="e"/><import module="rt-base"><prefix value="b"/></import>
  <augment target-node="/b:top"><leaf name="y"><type name="string"/></leaf></augment>
</module>)";

TEST_F(RuntimeCtxLoaded, FeaturesOfALoadedModule)
{
    ASSERT_EQ(0u, KZ_CTX_LoadMemory(ctx_, kBase));
    ASSERT_EQ(0u, KZ_MOD_EnableFeature(KZ_CTX_GetModuleByModName(ctx_, "rt-base"), "fast"));
    EXPECT_EQ(1u, KZ_CTX_IsModFeatureEnable(ctx_, "rt-base", "fast"));
    EXPECT_EQ(0u, KZ_CTX_DisableModFeature(ctx_, "rt-base", "fast"));
    EXPECT_EQ(0u, KZ_CTX_IsModFeatureEnable(ctx_, "rt-base", "fast"));
    EXPECT_EQ(KZ_EINVAL, KZ_CTX_DisableModFeature(ctx_, "rt-base", "slow"));
}

TEST_F(RuntimeCtxLoaded, NotificationsUncoupleAndCoupleAugments)
{
    KZ_CTX_NotifyModuleChange(ctx_, "lonely", KZ_MOD_EVENT_COUPLE, nullptr);  // no relations: nothing to do
    ASSERT_EQ(0u, KZ_CTX_LoadMemory(ctx_, kBase));
    ASSERT_EQ(0u, KZ_CTX_LoadMemory(ctx_, kExt));
    KzsNode *aug = nullptr;
    KzsNode *y = KZ_CTX_GetTargetNode(ctx_, "/rt-base:top/rt-ext:y", &aug);
    ASSERT_NE(nullptr, y);
    ASSERT_NE(nullptr, aug);
    EXPECT_EQ(static_cast<uint32_t>(KZS_NODE_AUGMENT), aug->kind);

    KzsNode *top = KZ_CTX_GetTargetNode(ctx_, "/rt-base:top", nullptr);
    ASSERT_NE(nullptr, top);
    KZ_CTX_NotifyModuleChange(ctx_, "rt-base", KZ_MOD_EVENT_UNCOUPLE, nullptr);
    EXPECT_EQ((std::vector<std::string>{"x"}), kztest::ChildNames(top));
    KZ_CTX_NotifyModuleChange(ctx_, "rt-base", 2, nullptr);  // no pass for events above 1
    EXPECT_EQ((std::vector<std::string>{"x"}), kztest::ChildNames(top));
    KZ_CTX_NotifyModuleChange(ctx_, "rt-base", KZ_MOD_EVENT_COUPLE, nullptr);
    EXPECT_EQ((std::vector<std::string>{"x", "y"}), kztest::ChildNames(top));
    // TearDown deletes the context with the augment coupled.
}

TEST_F(RuntimeCtxLoaded, DestroyingAModuleDropsItsDiagnostics)
{
    ASSERT_EQ(0u, KZ_CTX_LoadMemory(ctx_, kBase));
    KZ_CTX_AddModWarning(ctx_, "rt-base", "note");
    ASSERT_NE(nullptr, KZ_CTX_GetErrNodeByModName(ctx_, "rt-base"));
    KZ_CTX_DestroyModuleNode(ctx_, KZ_CTX_GetModuleByModName(ctx_, "rt-base"));
    EXPECT_EQ(nullptr, KZ_CTX_GetModuleByModNs(ctx_, "urn:rt:base"));
    EXPECT_EQ(nullptr, KZ_CTX_GetErrNodeByModName(ctx_, "rt-base"));
}
