// The string dictionary.

#include "test_support.h"

namespace {

class RuntimeDict : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(0u, KZ_DICT_Init(&dict_));
    }
    void TearDown() override
    {
        KZ_DICT_Destroy(&dict_);
    }
    uint32_t Bucket(const char *s) const
    {
        return KZ_DICT_HashVal(s) & (dict_.bucketCount - 1);
    }
    // Two different texts that land in one bucket.
    std::pair<std::string, std::string> Colliding() const
    {
        std::string first = "k0";
        for (int i = 1; i < 100000; ++i) {
            std::string other = "k" + std::to_string(i);
            if (Bucket(other.c_str()) == Bucket(first.c_str())) {
                return {first, other};
            }
        }
        return {};
    }
    KzDict dict_{};
};

}  // namespace

TEST_F(RuntimeDict, HashTakesBytesAsSigned)
{
    EXPECT_EQ(0u, KZ_DICT_HashVal(""));
    EXPECT_EQ(3392050242u, KZ_DICT_HashVal("a"));
    EXPECT_EQ(4154750895u, KZ_DICT_HashVal("module"));
    EXPECT_EQ(2356222837u, KZ_DICT_HashVal("\xe9t\xe9"));
    EXPECT_EQ(1024u, dict_.bucketCount);
}

TEST_F(RuntimeDict, EqualTextsShareOneReferenceCountedCopy)
{
    std::string text = "ietf-interfaces";
    const char *a = KZ_DICT_Insert(&dict_, text.c_str());
    ASSERT_NE(nullptr, a);
    EXPECT_NE(text.c_str(), a);
    const char *b = KZ_DICT_Insert(&dict_, "ietf-interfaces");
    EXPECT_EQ(a, b);
    KzDictBucket &bucket = dict_.buckets[Bucket(a)];
    ASSERT_NE(nullptr, bucket.head);
    EXPECT_EQ(2u, bucket.head->refCount);
    EXPECT_EQ(1u, bucket.entryCount);

    KZ_DICT_Remove(&dict_, "ietf-interfaces");
    EXPECT_EQ(a, bucket.head->text);  // survives one remove
    KZ_DICT_Remove(&dict_, a);
    EXPECT_EQ(nullptr, bucket.head);
    EXPECT_EQ(0u, bucket.entryCount);
    // Unknown strings and NULL are ignored.
    KZ_DICT_Remove(&dict_, "never-inserted");
    KZ_DICT_Remove(&dict_, nullptr);
    EXPECT_EQ(nullptr, KZ_DICT_Insert(&dict_, nullptr));
}

TEST_F(RuntimeDict, ChainsAppendAndHeadCountDropsWheneverAHeadGoes)
{
    auto [first, second] = Colliding();
    ASSERT_FALSE(first.empty());
    const char *a = KZ_DICT_Insert(&dict_, first.c_str());
    const char *b = KZ_DICT_Insert(&dict_, second.c_str());
    KzDictBucket &bucket = dict_.buckets[Bucket(a)];
    EXPECT_EQ(2u, bucket.entryCount);
    EXPECT_EQ(a, bucket.head->text);
    EXPECT_EQ(b, bucket.head->next->text);
    EXPECT_EQ(1u, dict_.headCount);  // only an empty chain's new head counts

    // Removing the tail keeps the head count; removing a head always drops it.
    KZ_DICT_Insert(&dict_, second.c_str());
    KZ_DICT_Remove(&dict_, b);
    EXPECT_EQ(1u, dict_.headCount);
    KZ_DICT_Remove(&dict_, a);
    EXPECT_EQ(b, bucket.head->text);
    EXPECT_EQ(0u, dict_.headCount);
    KZ_DICT_Remove(&dict_, b);
    EXPECT_EQ(0xFFFFFFFFu, dict_.headCount);
    EXPECT_EQ(nullptr, bucket.head);
}

TEST(RuntimeDictLife, DestroyedDictionaryRefusesWork)
{
    KzDict dict{};
    EXPECT_EQ(nullptr, KZ_DICT_Insert(&dict, "x"));  // never initialised
    ASSERT_EQ(0u, KZ_DICT_Init(&dict));
    const char *s = KZ_DICT_Insert(&dict, "x");
    KZ_DICT_Remove(&dict, s);
    KZ_DICT_Destroy(&dict);
    EXPECT_EQ(nullptr, dict.buckets);
    EXPECT_EQ(nullptr, KZ_DICT_Insert(&dict, "x"));
    KZ_DICT_Destroy(&dict);
    EXPECT_EQ(KZ_ERR, KZ_DICT_Init(nullptr));
}

// Removing everything again returns every block (counted by the partition only).
TEST_F(RuntimeDict, ManyNamesStayFoundThroughRemovalsInAnyOrder)
{
    ASSERT_EQ(0u, KZ_UTL_MemFuncInit());
    const uint64_t before = kz::base::PartLiveBlocks();
    // Enough names to grow the lookup index several times and to fill every chain.
    constexpr int kNames = 20000;
    std::vector<const char *> kept;
    for (int i = 0; i < kNames; ++i) {
        kept.push_back(KZ_DICT_Insert(&dict_, ("leaf-" + std::to_string(i)).c_str()));
    }
    for (int i = 0; i < kNames; i += 3) {
        KZ_DICT_Remove(&dict_, kept[i]);
    }
    uint32_t chained = 0;
    for (uint32_t b = 0; b < dict_.bucketCount; ++b) {
        uint32_t n = 0;
        for (const KzDictEntry *e = dict_.buckets[b].head; e != nullptr; e = e->next) {
            ++n;
        }
        EXPECT_EQ(dict_.buckets[b].entryCount, n);
        chained += n;
    }
    EXPECT_EQ(static_cast<uint32_t>(kNames - (kNames + 2) / 3), chained);
    for (int i = 0; i < kNames; ++i) {
        std::string name = "leaf-" + std::to_string(i);
        const char *again = KZ_DICT_Insert(&dict_, name.c_str());
        if (i % 3 != 0) {
            EXPECT_EQ(kept[i], again) << name;
        }
        KZ_DICT_Remove(&dict_, again);
        if (i % 3 != 0) {
            KZ_DICT_Remove(&dict_, again);
        }
    }
    for (uint32_t b = 0; b < dict_.bucketCount; ++b) {
        EXPECT_EQ(nullptr, dict_.buckets[b].head);
    }
    if (g_kzMemFuncInit == KZ_MEM_STATE_PARTITION) {
        EXPECT_EQ(before, kz::base::PartLiveBlocks());
    }
}
