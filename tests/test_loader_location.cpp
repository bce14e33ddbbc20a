// Which files of a module are read: candidates over the search directories,
// merge-source suffixes, the per-load file limit, and the pending table.

#include "test_support.h"
#include "base/kz_dir_cache.h"

using kztest::ScratchDir;

namespace {

// A context that carries only search directories: enough for candidate collection.
struct DirCtx {
    KzCtx ctx {};
    std::vector<const char *> dirs;
    explicit DirCtx(const std::vector<const ScratchDir *> &scratch)
    {
        for (const ScratchDir *d : scratch) {
            dirs.push_back(d->Path().c_str());
        }
        ctx.searchDirs = dirs.data();
        ctx.searchDirCount = static_cast<uint32_t>(dirs.size());
        ctx.searchDirCapacity = ctx.searchDirCount;
    }
    ~DirCtx() { kz::base::FreeDirCache(ctx.dirCache); }
};

struct AssisterGuard {
    LoadAssister a {};
    explicit AssisterGuard(const char *name) { a.modName = name; }
    ~AssisterGuard() { KZS_LOADER_ClearLoadAssister(&a); }
};

// Each candidate as "directory/file" (directory 0 is first), then the
// collection's plain, suffixed and read-limit figures.
std::string Found(const PathCollection *coll, const ScratchDir &first)
{
    std::string out;
    for (uint16_t i = 0; i < coll->count; i++) {
        const std::string path = coll->objs[i].path;
        out += (path.rfind(first.Path() + "/", 0) == 0 ? "0/" : "1/") + path.substr(path.rfind('/') + 1) + " ";
    }
    return out + "plain " + std::to_string(coll->hasPlain) + " suffixed " + std::to_string(coll->hasSuffixed) +
           " max " + std::to_string(coll->maxToProcess);
}

// Hands out files as the load sequence does, marking each suffix read.
std::vector<std::string> ReadOrder(PathCollection *coll, LoadAssister *a)
{
    std::vector<std::string> out;
    coll->maxToProcess = KZS_LOADER_MAX_FILES;
    for (PathObj *obj = KZS_LOADER_GetNextPathObjToProc(coll, a); obj != nullptr;
         obj = KZS_LOADER_GetNextPathObjToProc(coll, a)) {
        const char *base = std::strrchr(obj->path, '/');
        out.emplace_back(base != nullptr ? base + 1 : obj->path);
        KZS_LOADER_ResetCurrentLoadingSuffix(a, 1);
    }
    return out;
}

// m's candidates over the given directories, with an assister to read them.
struct Candidates {
    DirCtx dc;
    PathCollection *coll;
    AssisterGuard ag {"m"};
    uint32_t needLoad = 7;
    explicit Candidates(const std::vector<const ScratchDir *> &scratch)
        : dc(scratch), coll(KZS_LOADER_CollectFilePathMatchedInAllDir(&dc.ctx, "m")) {}
    ~Candidates() { KZS_LOADER_DestroyPathCollection(coll); }

    // Pre-fills the assister as for a module not loaded yet.
    uint32_t PreFill() { return KZS_LOADER_PreFillLoadAssisterFromExisting(nullptr, coll, &ag.a, &needLoad); }
    std::vector<std::string> Read() { return ReadOrder(coll, &ag.a); }
};

using Names = std::vector<std::string>;

} // namespace

// m's candidates over two directories and the files a load of m reads.
TEST(LoaderLocation, CandidatesAndTheFilesALoadReads)
{
    struct Case {
        std::vector<std::pair<int, const char *>> files; // directory, file name
        const char *found;
        Names read;
    } cases[] = {
        // The plain file stops the search before the revision file beside it.
        {{{1, "m.yin"}, {1, "m@2020-01-01.yin"}}, "1/m.yin plain 1 suffixed 0 max 1", {"m.yin"}},
        // A revision file of an earlier directory is the one read without merge sources.
        {{{0, "m@2020-01-01.yin"}, {1, "m.yin"}}, "0/m@2020-01-01.yin 1/m.yin plain 1 suffixed 0 max 1",
         {"m@2020-01-01.yin"}},
        // Merge sources are all read, in the order of their suffixes.
        {{{0, "m@@y.yin"}, {0, "m@@x.yin"}}, "0/m@@x.yin 0/m@@y.yin plain 0 suffixed 1 max 1",
         {"m@@x.yin", "m@@y.yin"}},
        // The scan of a mixed directory stops at the second kind (m@@y is not reached); a
        // candidate without suffix matches any current suffix and comes first.
        {{{0, "m@2020-01-01.yin"}, {0, "m@@x.yin"}, {0, "m@@y.yin"}, {1, "m@@z.yin"}},
         "0/m@2020-01-01.yin 0/m@@x.yin 1/m@@z.yin plain 1 suffixed 1 max 1", {"m@2020-01-01.yin", "m@2020-01-01.yin"}},
    };
    for (const Case &c : cases) {
        ScratchDir dirs[2];
        for (const auto &[dir, name] : c.files) {
            dirs[dir].Write(name, "<module/>");
        }
        Candidates g({&dirs[0], &dirs[1]});
        ASSERT_NE(g.coll, nullptr) << c.found;
        EXPECT_EQ(Found(g.coll, dirs[0]), c.found);
        ASSERT_EQ(g.PreFill(), 0u) << c.found;
        EXPECT_EQ(g.needLoad, 1u) << c.found;
        EXPECT_EQ(g.Read(), c.read) << c.found;
    }
}

TEST(LoaderLocation, OtherModulesAndNoCandidates)
{
    ScratchDir a;
    a.Write("m-extra.yin", "<module/>");
    a.Write("mm@@x.yin", "<module/>");
    DirCtx dc({&a});
    EXPECT_EQ(KZS_LOADER_CollectFilePathMatchedInAllDir(&dc.ctx, "m"), nullptr);
    DirCtx none({});
    EXPECT_EQ(KZS_LOADER_CollectFilePathMatchedInAllDir(&none.ctx, "m"), nullptr);

    // A name is never a path leading out of the search directories.
    ScratchDir outer;
    outer.Write("esc.yin", "<module/>");
    const std::string up = "../" + outer.Path().substr(outer.Path().rfind('/') + 1) + "/esc";
    EXPECT_EQ(KZS_LOADER_CollectFilePathMatchedInAllDir(&dc.ctx, up.c_str()), nullptr);
    EXPECT_EQ(KZS_LOADER_CollectFilePathMatchedInAllDir(&dc.ctx, ""), nullptr);
}

TEST(LoaderLocation, CandidatePathRules)
{
    PathCollection coll {};
    EXPECT_EQ(KZS_LOADER_AppendOnePathObj(&coll, "/d/m@@abcdefghi.yin"), 0u); // 9 characters fit
    EXPECT_EQ(KZS_LOADER_AppendOnePathObj(&coll, "/d/m@@abcdefghij.yin"), 22u);
    EXPECT_EQ(KZS_LOADER_AppendOnePathObj(&coll, "/d/m@@x"), 22u); // no '.' after the suffix
    ASSERT_EQ(coll.count, 1);
    EXPECT_STREQ(coll.objs[0].suffix, "abcdefghi");

    const std::string longPath = "/" + std::string(250, 'd') + "/m.yin";
    EXPECT_EQ(KZS_LOADER_AppendOnePathObj(&coll, longPath.c_str()), 0u); // silently not a candidate
    EXPECT_EQ(coll.count, 1);
    EXPECT_EQ(coll.hasPlain, 0);

    EXPECT_EQ(KZS_LOADER_AppendOnePathObj(&coll, "/d/m@rev.yin"), 0u);
    EXPECT_EQ(coll.count, 2);
    EXPECT_EQ(coll.hasPlain, 1);
    EXPECT_STREQ(coll.objs[1].suffix, "");
    KZ_MemFree(coll.objs);
}

TEST(LoaderLocation, AtMostTenFilesPerLoad)
{
    ScratchDir a;
    for (int i = 0; i < 12; i++) {
        a.Write("m@@s" + std::to_string(10 + i) + ".yin", "<module/>");
    }
    Candidates g({&a});
    ASSERT_NE(g.coll, nullptr);
    ASSERT_EQ(g.coll->count, 12);
    ASSERT_EQ(g.PreFill(), 0u);
    EXPECT_EQ(g.Read().size(), 10u);
    for (int i = 0; i < 12; i++) {
        EXPECT_EQ(g.ag.a.suffixes[i].processed, i < 10 ? 1 : 0) << i;
    }
}

// A registered module reading only new merge sources, or nothing without
// them, is pinned through whole loads in test_loader_load.cpp.
TEST(LoaderAssister, EverySourceAlreadyMergedRereadsTheFirstCandidateOnce)
{
    PathCollection coll {};
    ASSERT_EQ(KZS_LOADER_AppendOnePathObj(&coll, "/d/m@@x.yin"), 0u);
    KzMod registered {};
    const char *merged[] = {"x"};
    registered.mrgSrcs = merged;
    registered.mrgSrcCount = 1;
    AssisterGuard ag("m");
    uint32_t needLoad = 0;
    ASSERT_EQ(KZS_LOADER_PreFillLoadAssisterFromExisting(&registered, &coll, &ag.a, &needLoad), 0u);
    EXPECT_EQ(ReadOrder(&coll, &ag.a), Names({"m@@x.yin"}));
    KZ_MemFree(coll.objs);
}

TEST(LoaderAssister, CurrentSuffixSurvivesGrowthAndDuplicatesAreSkipped)
{
    AssisterGuard ag("m");
    ASSERT_EQ(KZS_LOADER_AppendOneSuffixToAssister(&ag.a, "a", 1), 0u);
    ASSERT_EQ(KZS_LOADER_AppendOneSuffixToAssister(&ag.a, "b", 0), 0u);
    KZS_LOADER_UpdateNextLoadingSuffix(&ag.a);
    ASSERT_NE(ag.a.current, nullptr);
    EXPECT_STREQ(ag.a.current->suffix, "b");

    const char *more[] = {"b", "", "c", "d", "c"};
    ASSERT_EQ(KZS_LOADER_AppendSuffixsToAssister(&ag.a, 5, more, 0), 0u);
    EXPECT_EQ(ag.a.suffixCount, 4);
    ASSERT_NE(ag.a.current, nullptr);
    EXPECT_STREQ(ag.a.current->suffix, "b");
    EXPECT_EQ(KZS_LOADER_AppendOneSuffixToAssister(&ag.a, "0123456789", 0), 22u);

    KZS_LOADER_ResetCurrentLoadingSuffix(&ag.a, 1);
    EXPECT_EQ(ag.a.current, nullptr);
    KZS_LOADER_UpdateNextLoadingSuffix(&ag.a);
    ASSERT_NE(ag.a.current, nullptr);
    EXPECT_STREQ(ag.a.current->suffix, "c");
}

TEST(LoaderPending, TailAppendFindRemoveNameLimitsAndFeatureList)
{
    ModPendTbl tbl;
    KZS_LOADER_InitModPendTbl(&tbl);
    ASSERT_NE(KZS_LOADER_AddModPendNode(&tbl, "a"), nullptr);
    ModPendNode *b = KZS_LOADER_AddModPendNode(&tbl, "b");
    ASSERT_NE(b, nullptr);
    ASSERT_NE(KZS_LOADER_AddModPendNode(&tbl, "c"), nullptr);
    EXPECT_EQ(KZS_LOADER_FindModPendNodeByName(&tbl, "b"), b);
    EXPECT_EQ(KZS_LOADER_FindModPendNodeByName(&tbl, "d"), nullptr);

    KZS_LOADER_RemoveModPendNode(&tbl, b);
    ASSERT_NE(KZS_LOADER_AddModPendNode(&tbl, "b"), nullptr);
    std::vector<std::string> order;
    ModPendNode *n = tbl.first;
    do {
        order.emplace_back(n->moduleName);
        EXPECT_EQ(n->next->prev, n);
        n = n->next;
    } while (n != tbl.first);
    EXPECT_EQ(order, Names({"a", "c", "b"}));
    EXPECT_EQ(tbl.count, 3u);

    KZS_LOADER_DeInitModPendTbl(&tbl);
    EXPECT_EQ(tbl.first, nullptr);
    EXPECT_EQ(tbl.count, 0u);

    /* Name limits, and a node's feature list. */
    EXPECT_EQ(KZS_LOADER_AddModPendNode(&tbl, std::string(65, 'm').c_str()), nullptr);
    ModPendNode *node = KZS_LOADER_AddModPendNode(&tbl, std::string(64, 'm').c_str());
    ASSERT_NE(node, nullptr);

    EXPECT_EQ(KZS_LOADER_AddModFeatPend(node, "f1"), 0u);
    EXPECT_EQ(KZS_LOADER_AddModFeatPend(node, "f2"), 0u);
    EXPECT_EQ(KZS_LOADER_AddModFeatPend(node, std::string(65, 'f').c_str()), 22u);
    ASSERT_NE(node->feats, nullptr);
    EXPECT_STREQ(node->feats->featureName, "f1");
    EXPECT_STREQ(node->feats->next->featureName, "f2");
    EXPECT_EQ(node->feats->next->next, node->feats);

    KZS_LOADER_DestoryAllModFeatPend(node);
    EXPECT_EQ(node->feats, nullptr);
    EXPECT_EQ(KZS_LOADER_AddModFeatPend(node, "f3"), 0u);
    KZS_LOADER_DeInitModPendTbl(&tbl); // frees the node with its features
}
