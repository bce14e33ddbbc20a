/* The statement keyword and parse-function tables and the keyword lookup. */
#include "test_support.h"

namespace {

TEST(LoaderStmtTables, EveryKeywordIsFoundByItsNameAndNothingElse)
{
    /* All but the two pseudo statements; the lookup is a search of the sorted names. */
    for (uint32_t i = 0; i < KZS_STMT_COUNT; i++) {
        const char *keyword = KZS_LOADER_GetKeywordByStmt(i);
        if (i != KZS_STMT_UNKNOWN && i != KZS_STMT_EXTENSION_INSTANCE) {
            EXPECT_EQ(KZS_LOADER_GetStmtByKeyword(keyword), i) << keyword;
        }
    }
    EXPECT_STREQ(KZS_LOADER_GetKeywordByStmt(KZS_STMT_COUNT), "unknown");
    EXPECT_EQ(KZS_LOADER_GetStmtParseFunc(KZS_STMT_COUNT), nullptr);
    // Unknown names give zero.
    for (const char *name : {"Leaf", "xyz", "hello", "junk", "zoo", "quit", "leafs", "lea", "", "1leaf", "extension-instance"}) {
        EXPECT_EQ(KZS_LOADER_GetStmtByKeyword(name), 0u) << name;
    }
    EXPECT_EQ(KZS_LOADER_GetStmtByKeyword(nullptr), 0u);
    const KzsKeyWord map[] = {{"leaf", KZS_STMT_LEAF}};
    EXPECT_EQ(KZS_LOADER_GetStmtFromStmtMap(map, 0, "leaf"), 0u);
    /* Only the characters after the first are compared. */
    EXPECT_EQ(KZS_LOADER_GetStmtFromStmtMap(map, 1, "xeaf"), static_cast<uint32_t>(KZS_STMT_LEAF));
}

} /* namespace */
