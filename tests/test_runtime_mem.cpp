// Allocator choice, arrays and allocated strings.

#include <set>
#include <thread>

#include "test_support.h"
#include "base/kz_slab.h"

namespace {

uint32_t ReadFigure(const std::string &text, uint64_t *out)
{
    FILE *f = fmemopen(const_cast<char *>(text.data()), text.size(), "r");
    if (f == nullptr) {
        return 99;
    }
    uint32_t rc = KZ_UTL_ReadTotalMemFromFile(f, out);
    fclose(f);
    return rc;
}

}  // namespace

TEST(RuntimeMemChoice, ThresholdIsFourGiBInKilobytes)
{
    uint32_t handle = 0;
    uint8_t pt = 0;
    EXPECT_EQ(KZ_MEM_STATE_LIBC, kz::base::ChooseMemState(0, 4194303, &handle, &pt));
    EXPECT_EQ(0u, handle);
    EXPECT_EQ(KZ_MEM_STATE_PARTITION, kz::base::ChooseMemState(0, 4194304, &handle, &pt));
    EXPECT_NE(0u, handle);
    EXPECT_NE(0u, pt);
    // An unreadable figure selects the C library whatever the number says.
    EXPECT_EQ(KZ_MEM_STATE_LIBC, kz::base::ChooseMemState(KZ_ERR, 1ull << 40, &handle, &pt));
}

TEST(RuntimeMemChoice, ReadsMemTotalFromTheFirstLineThatHasIt)
{
    uint64_t kb = 0;
    EXPECT_EQ(0u, ReadFigure("MemFree: 1 kB\nMemTotal:       4194304 kB\nMemTotal: 7 kB\n", &kb));
    EXPECT_EQ(4194304u, kb);
    // The key may stand anywhere in the line; the second token is the value.
    EXPECT_EQ(0u, ReadFigure("xMemTotalx\t123\n", &kb));
    EXPECT_EQ(123u, kb);
    EXPECT_EQ(KZ_ERR, ReadFigure("MemFree: 1 kB\n", &kb));
    EXPECT_EQ(KZ_ERR, ReadFigure("", &kb));
    EXPECT_EQ(KZ_ERR, ReadFigure("MemTotal: lots kB\n", &kb));
    EXPECT_EQ(KZ_ERR, ReadFigure("MemTotal:\n", &kb));
    // 20-byte value buffer: a 20-digit figure does not fit.
    EXPECT_EQ(KZ_ERR, ReadFigure("MemTotal: 12345678901234567890 kB\n", &kb));
    EXPECT_EQ(KZ_ERR, KZ_UTL_ReadTotalMemFromFile(nullptr, &kb));

    char value[4];
    EXPECT_EQ(0u, KZ_UTL_GetProcInfoValue("MemTotal: 123 kB", "MemTotal", value, sizeof value));
    EXPECT_STREQ("123", value);
    EXPECT_EQ(KZ_ERR, KZ_UTL_GetProcInfoValue("MemTotal: 1234 kB", "MemTotal", value, sizeof value));
    EXPECT_EQ(KZ_ERR, KZ_UTL_GetProcInfoValue("Other: 1 kB", "MemTotal", value, sizeof value));
}

TEST(RuntimeMemChoice, FirstAllocationDecidesFromThisMachine)
{
    void *p = KZ_MemMalloc(8);
    ASSERT_NE(nullptr, p);
    uint64_t kb = 0;
    uint32_t expected = (KZ_UTL_GetSysTotalMem(&kb) == 0 && kb >= KZ_MEM_PARTITION_THRESHOLD_KB)
                            ? KZ_MEM_STATE_PARTITION
                            : KZ_MEM_STATE_LIBC;
    EXPECT_EQ(expected, g_kzMemFuncInit);
    if (expected == KZ_MEM_STATE_PARTITION) {
        EXPECT_NE(0u, g_kzMemHandle);
        EXPECT_NE(0u, g_kzMemPt);
        uint64_t live = kz::base::PartLiveBlocks();
        KZ_MemFree(p);
        EXPECT_EQ(live - 1, kz::base::PartLiveBlocks());
    } else {
        KZ_MemFree(p);
    }
    // Decided once: a second set-up changes nothing.
    EXPECT_EQ(0u, KZ_UTL_MemFuncInit());
    EXPECT_EQ(expected, g_kzMemFuncInit);
}

TEST(RuntimeArray, NewAndExpandedArraysAreZeroFilled)
{
    void *arr = nullptr;
    EXPECT_EQ(KZ_EINVAL, KZ_UTL_NewArray(nullptr, 1, 4));
    EXPECT_EQ(KZ_EINVAL, KZ_UTL_NewArray(&arr, 1, 0));
    EXPECT_EQ(0u, KZ_UTL_NewArray(&arr, 0, 4));
    EXPECT_EQ(nullptr, arr);
    ASSERT_EQ(0u, KZ_UTL_NewArray(&arr, 3, 4));
    ASSERT_NE(nullptr, arr);
    const uint8_t zeros[12] = {0};
    EXPECT_EQ(0, memcmp(arr, zeros, sizeof zeros));
    void *kept = arr;
    EXPECT_EQ(KZ_EINVAL, KZ_UTL_NewArray(&arr, 3, 4));
    EXPECT_EQ(kept, arr);
    KZ_MemFree(arr);

    // Expanding from nothing is exactly a new array; content is kept and the tail zero-filled.
    uint64_t *grown = nullptr;
    void **slot = reinterpret_cast<void **>(&grown);
    ASSERT_EQ(0u, KZ_UTL_ExpandArray(slot, 0, 5, 8));
    ASSERT_NE(nullptr, grown);
    for (int i = 0; i < 5; ++i) {
        grown[i] = 100 + i;
    }
    uint64_t *before = grown;
    EXPECT_EQ(0u, KZ_UTL_ExpandArray(slot, 5, 0, 8));
    EXPECT_EQ(before, grown);
    ASSERT_EQ(0u, KZ_UTL_ExpandArray(slot, 5, 2, 8));
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(100u + i, grown[i]);
    }
    EXPECT_EQ(0u, grown[5]);
    EXPECT_EQ(0u, grown[6]);
    EXPECT_EQ(KZ_EINVAL, KZ_UTL_ExpandArray(slot, 7, 1, 0));
    EXPECT_EQ(KZ_EINVAL, KZ_UTL_ExpandArray(nullptr, 7, 1, 8));
    // The caller's count is 16 bits: growing past 65535 elements is refused.
    EXPECT_EQ(KZ_EINVAL, KZ_UTL_ExpandArray(slot, 7, 65529, 8));
    KZ_MemFree(grown);

    // ExpandArray from count 0 on a set pointer behaves as NewArray: refused.
    void *set = KZ_MemMalloc(1);
    void *p = set;
    EXPECT_EQ(KZ_EINVAL, KZ_UTL_ExpandArray(&p, 0, 1, 1));
    KZ_MemFree(set);
}

TEST(RuntimeString, CopiesComparisonsAndSearchesAtTheirEdges)
{
    EXPECT_EQ("hel", kztest::TakeText(KZ_UTL_StrDupWithSpecifyLength("hello", 3)));
    EXPECT_EQ(nullptr, KZ_UTL_StrDupWithSpecifyLength("hello", 6));  // longer than the text
    EXPECT_EQ(nullptr, KZ_UTL_StrDupWithSpecifyLength("hello", 0));
    EXPECT_EQ(nullptr, KZ_UTL_StrDup(nullptr));
    EXPECT_EQ(1u, KZ_UTL_IsNulStringEqual(nullptr, nullptr));
    EXPECT_EQ(0u, KZ_UTL_IsNulStringEqual("a", nullptr));
    EXPECT_EQ(0u, KZ_UTL_IsNulStringEqual(nullptr, "a"));
    EXPECT_EQ(3u, KZ_UTL_CountCharNumber("/a/b/c", '/'));
    EXPECT_EQ(0u, KZ_UTL_CountCharNumber(nullptr, '/'));

    // Strnchr looks at positions 0 to n.
    const char *s = "abc";
    EXPECT_EQ(s, KZ_UTL_Strnchr(s, 'a', 0));
    EXPECT_EQ(s + 1, KZ_UTL_Strnchr(s, 'b', 1));
    EXPECT_EQ(nullptr, KZ_UTL_Strnchr(s, 'c', 1));
    EXPECT_EQ(s + 2, KZ_UTL_Strnchr(s, 'c', 2));
    EXPECT_EQ(nullptr, KZ_UTL_Strnchr(s, 'b', 0));
    // Stops at the end of the text however large the limit.
    EXPECT_EQ(nullptr, KZ_UTL_Strnchr(s, 'z', 1000));
    EXPECT_EQ(nullptr, KZ_UTL_Strnchr("", 'z', 1000));
}

TEST(RuntimeString, PatternsAreAnchoredXmlSchemaExpressions)
{
    EXPECT_EQ(0u, KZ_UTL_MatchStrWithPattern("123", "[0-9]+"));
    EXPECT_EQ(KZ_EINVAL, KZ_UTL_MatchStrWithPattern("a123", "[0-9]+"));
    EXPECT_EQ(KZ_EINVAL, KZ_UTL_MatchStrWithPattern("abc", "b"));
    EXPECT_EQ(0u, KZ_UTL_MatchStrWithPattern("eth0", "\\c+\\d"));
    EXPECT_EQ(KZ_EINVAL, KZ_UTL_MatchStrWithPattern("x", "("));
    EXPECT_EQ(KZ_EINVAL, KZ_UTL_MatchStrWithPattern(nullptr, "x"));
}

TEST(RuntimeSlab, SmallBlocksAreDistinctReusedAndTellThemselvesApart)
{
    void *probe = kz::base::SlabAlloc(16);
    if (probe == nullptr) {
        GTEST_SKIP() << "slabs are off under a memory checker";
    }
    EXPECT_TRUE(kz::base::SlabFree(probe));
    EXPECT_EQ(nullptr, kz::base::SlabAlloc(257));  // larger blocks stay with the C heap
    int onHeap = 0;
    EXPECT_FALSE(kz::base::SlabFree(&onHeap));

    // Enough blocks of every class to fill several slabs; each keeps its own bytes.
    std::vector<std::pair<unsigned char *, size_t>> blocks;
    for (int i = 0; i < 40000; ++i) {
        size_t size = static_cast<size_t>(i % 256) + 1;
        auto *b = static_cast<unsigned char *>(kz::base::SlabAlloc(size));
        ASSERT_NE(nullptr, b);
        // Aligned for any object that fits: 16 when the size allows one needing it.
        EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(b) % (size % 16 == 0 ? 16 : 8)) << size;
        std::memset(b, i & 0xFF, size);
        blocks.emplace_back(b, size);
    }
    std::set<unsigned char *> distinct;
    for (size_t i = 0; i < blocks.size(); ++i) {
        distinct.insert(blocks[i].first);
        EXPECT_EQ(static_cast<unsigned char>(i & 0xFF), blocks[i].first[blocks[i].second - 1]);
    }
    EXPECT_EQ(blocks.size(), distinct.size());
    for (size_t i = 0; i < blocks.size(); i += 2) {
        EXPECT_TRUE(kz::base::SlabFree(blocks[i].first));
    }
    // Freed slots serve new blocks of their class before fresh ones.
    void *again = kz::base::SlabAlloc(blocks[0].second);
    EXPECT_EQ(1u, distinct.count(static_cast<unsigned char *>(again)));
    EXPECT_TRUE(kz::base::SlabFree(again));
    for (size_t i = 1; i < blocks.size(); i += 2) {
        EXPECT_TRUE(kz::base::SlabFree(blocks[i].first));
    }
}

TEST(RuntimeSlab, OnlyAnEmptiedSlabStartsOver)
{
    // Two slabs' worth of one class; all blocks but one go back, then as many
    // come again: none of them may be the block still held.
    constexpr size_t kSize = 200;
    std::vector<void *> blocks;
    for (int i = 0; i < 700; ++i) {
        blocks.push_back(kz::base::SlabAlloc(kSize));
    }
    if (blocks[0] == nullptr) {
        GTEST_SKIP() << "slabs are off under a memory checker";
    }
    void *held = blocks[350];
    for (void *b : blocks) {
        if (b != held) {
            kz::base::SlabFree(b);
        }
    }
    for (void *&b : blocks) {
        b = kz::base::SlabAlloc(kSize);
        EXPECT_NE(held, b);
    }
    blocks.push_back(held);
    for (void *b : blocks) {
        kz::base::SlabFree(b);
    }
}

TEST(RuntimeSlab, ThreadsAllocateAndFreeConcurrently)
{
    auto churn = [] {
        std::vector<void *> held;
        for (int round = 0; round < 20000; ++round) {
            held.push_back(kz::base::SlabAlloc(static_cast<size_t>(round % 96) + 8));
            if (held.size() > 64) {
                for (void *p : held) {
                    kz::base::SlabFree(p);
                }
                held.clear();
            }
        }
        for (void *p : held) {
            kz::base::SlabFree(p);
        }
    };
    std::thread a(churn);
    std::thread b(churn);
    a.join();
    b.join();
}
