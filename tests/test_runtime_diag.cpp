// Load diagnostics: limits, truncation, stage clearing and concurrent scans.

#include <atomic>
#include <thread>

#include "test_support.h"

namespace {

using Rec = kztest::Diag;

class RuntimeDiag : public kztest::CtxTest {
protected:
    std::vector<Rec> Scan() { return kztest::Diagnostics(ctx_); }
};

}  // namespace

TEST_F(RuntimeDiag, OnlyTheFirstTwoMessagesOfAModuleAreKept)
{
    KZ_CTX_SetCurYinFile(ctx_, "/y/m.yin");
    KZ_CTX_AddModWarning(ctx_, "m", "first %d", 1);
    KZ_CTX_AddModError(ctx_, "m", "second %s", "two");
    KZ_CTX_AddModError(ctx_, "m", "third");
    KZ_CTX_ClearCurYinFile(ctx_);
    KZ_CTX_AddModError(ctx_, "a", "Failed to load module \"%s\".", "a");
    EXPECT_EQ((std::vector<Rec>{{"a", "", 0, "Failed to load module \"a\"."},
                                {"m", "m.yin", 1, "first 1"},
                                {"m", "m.yin", 0, "second two"}}),
              Scan());
    ErrModNode *node = KZ_CTX_GetErrNodeByModName(ctx_, "m");
    ASSERT_NE(nullptr, node);
    EXPECT_EQ(2u, node->count);
    EXPECT_EQ(2u, node->capacity);
    EXPECT_EQ(nullptr, KZ_CTX_GetErrNodeByModName(ctx_, "other"));
    // Records carry the moment of recording.
    const KzSysTime &t = node->records[0].time;
    EXPECT_GE(t.year, 2024);
    EXPECT_GE(t.month, 1);
    EXPECT_LE(t.month, 12);
    EXPECT_GE(t.day, 1);
    EXPECT_LT(t.microsecond, 1000000u);
}

TEST_F(RuntimeDiag, LongMessagesAreTruncatedTo511CharactersAndEmptyCallsRecordNothing)
{
    std::string longText(600, 'x');
    KZ_CTX_AddModError(ctx_, "m", "%s", longText.c_str());
    std::string exact(511, 'y');
    KZ_CTX_AddModError(ctx_, "m", "%s", exact.c_str());
    auto recs = Scan();
    ASSERT_EQ(2u, recs.size());
    EXPECT_EQ(std::string(511, 'x'), recs[0].message);
    EXPECT_EQ(exact, recs[1].message);

    // Nothing is recorded without a module or a format.
    KZ_CTX_AddModError(ctx_, nullptr, "x");
    KZ_CTX_AddModError(nullptr, "m", "x");
    KZ_CTX_AddModWarning(ctx_, "m", nullptr);
    EXPECT_EQ(2u, Scan().size());
    auto ignore = [](const char *, const char *, uint32_t, const char *, const KzSysTime *, void *) -> uint32_t {
        return 0;
    };
    EXPECT_EQ(0u, KZ_CTX_ScanAllSchemaLoadFail(nullptr, ignore, nullptr));
    EXPECT_EQ(0u, KZ_CTX_ScanAllSchemaLoadFail(ctx_, nullptr, nullptr));
}

TEST_F(RuntimeDiag, ClearingAStageEmptiesSlotsOnlyShrinksTheCountAndKeepsOtherStages)
{
    KZ_CTX_SetLoadStage(ctx_, KZ_LOAD_STAGE_DEVIATE);
    KZ_CTX_AddModError(ctx_, "m", "while deviating");
    KZ_CTX_SetLoadStage(ctx_, KZ_LOAD_STAGE_PARSE);
    KZ_CTX_AddModError(ctx_, "m", "while parsing");
    KZ_CTX_ClearModCoupleErr(ctx_->errMng, "m");
    // The emptied slot is still visited; the parse record behind it is not.
    EXPECT_EQ((std::vector<Rec>{{"m", "(none)", 0, "(none)"}}), Scan());

    // The next message takes the slot of the hidden one.
    KZ_CTX_AddModWarning(ctx_, "m", "later");
    EXPECT_EQ((std::vector<Rec>{{"m", "(none)", 0, "(none)"}, {"m", "", 1, "later"}}), Scan());

    // Clearing by stage keeps the records of other stages in front.
    KZ_CTX_AddModError(ctx_, "n", "parse");
    KZ_CTX_SetLoadStage(ctx_, KZ_LOAD_STAGE_DEVIATE);
    KZ_CTX_AddModError(ctx_, "n", "deviate");
    KZ_CTX_ClearModErrByLoadStage(ctx_->errMng, "n", KZ_LOAD_STAGE_DEVIATE);
    EXPECT_EQ((std::vector<Rec>{{"m", "(none)", 0, "(none)"}, {"m", "", 1, "later"}, {"n", "", 0, "parse"}}), Scan());
    KZ_CTX_ClearModErrByLoadStage(ctx_->errMng, "unknown", 0);
}

TEST_F(RuntimeDiag, DeletingAModulesNodeDropsItsRecordsAndScansStopEarly)
{
    KZ_CTX_AddModError(ctx_, "b", "x");
    KZ_CTX_AddModError(ctx_, "a", "y");
    KZ_CTX_DeleteErrNodeByModName(ctx_->errMng, "b");
    EXPECT_EQ((std::vector<Rec>{{"a", "", 0, "y"}}), Scan());
    EXPECT_EQ(nullptr, KZ_CTX_GetErrNodeByModName(ctx_, "b"));
    KZ_CTX_AddModError(ctx_, "b", "again");
    EXPECT_EQ(2u, Scan().size());

    // A non-zero callback result stops the scan.
    int calls = 0;
    auto stop = [](const char *, const char *, uint32_t, const char *, const KzSysTime *, void *arg) -> uint32_t {
        ++*static_cast<int *>(arg);
        return 5;
    };
    EXPECT_EQ(5u, KZ_CTX_ScanAllSchemaLoadFail(ctx_, stop, &calls));
    EXPECT_EQ(1, calls);
}

TEST_F(RuntimeDiag, ScanFromAnotherThreadWhileRecording)
{
    constexpr int kModules = 400;
    std::atomic<bool> done{false};
    std::atomic<int> badRecords{0};
    std::atomic<int> scans{0};
    struct Check {
        std::atomic<int> *bad;
        std::string last;
        bool ordered = true;
    };
    std::thread reader([&] {
        while (!done.load()) {
            Check check{&badRecords, "", true};
            auto cb = [](const char *mod, const char *file, uint32_t level, const char *msg,
                         const KzSysTime *, void *arg) -> uint32_t {
                auto *c = static_cast<Check *>(arg);
                if (mod == nullptr || file == nullptr || msg == nullptr || level > 1 ||
                    std::string(msg).rfind(mod, 0) != 0) {
                    c->bad->fetch_add(1);
                }
                if (mod != nullptr && !c->last.empty() && c->last > mod) {
                    c->ordered = false;
                }
                c->last = mod == nullptr ? "" : mod;
                return 0;
            };
            KZ_CTX_ScanAllSchemaLoadFail(ctx_, cb, &check);
            if (!check.ordered) {
                badRecords.fetch_add(1);
            }
            scans.fetch_add(1);
        }
    });
    for (int i = 0; i < kModules; ++i) {
        std::string mod = "mod" + std::to_string(i * 7919 % kModules);
        for (int j = 0; j < 3; ++j) {
            KZ_CTX_AddModError(ctx_, mod.c_str(), "%s: message %d", mod.c_str(), j);
        }
        if (i % 50 == 0) {
            KZ_CTX_DeleteErrNodeByModName(ctx_->errMng, mod.c_str());
        }
    }
    while (scans.load() < 3) {
        std::this_thread::yield();
    }
    done.store(true);
    reader.join();
    EXPECT_EQ(0, badRecords.load());
    EXPECT_EQ(2u * (kModules - kModules / 50), Scan().size());
}
