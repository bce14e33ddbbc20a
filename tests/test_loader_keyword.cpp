/* The statement keyword and parse-function tables and the keyword lookup. */
#include <gtest/gtest.h>

#include "loader/kzs_stmt.h"

namespace {

TEST(LoaderStmtTables, RowsAreInIdentifierOrderAndKeywordsRoundTrip)
{
    for (uint32_t i = 0; i < KZS_STMT_COUNT; i++) {
        EXPECT_EQ(g_kzsKeyWordTbl[i].stmt, i);
        EXPECT_EQ(g_kzStmtParseFuncMapTbl[i].stmt, i);
        EXPECT_EQ(KZS_LOADER_GetKeywordByStmt(i), g_kzsKeyWordTbl[i].keyword);
        /* Every keyword but the two pseudo statements is found by its name. */
        if (i != KZS_STMT_UNKNOWN && i != KZS_STMT_EXTENSION_INSTANCE) {
            EXPECT_EQ(KZS_LOADER_GetStmtByKeyword(g_kzsKeyWordTbl[i].keyword), i) << g_kzsKeyWordTbl[i].keyword;
        }
    }
    EXPECT_STREQ(KZS_LOADER_GetKeywordByStmt(KZS_STMT_COUNT), "unknown");
    EXPECT_EQ(KZS_LOADER_GetStmtParseFunc(KZS_STMT_COUNT), nullptr);
    EXPECT_EQ(KZS_LOADER_GetStmtParseFunc(KZS_STMT_IMPORT), nullptr);
    EXPECT_EQ(KZS_LOADER_GetStmtParseFunc(KZS_STMT_LEAF), &KZS_LOADER_ParseLeaf);
    EXPECT_EQ(KZS_LOADER_GetStmtParseFunc(KZS_STMT_TYPEDEF), &KZT_LOADER_ParseTypeDefStmt);
}

TEST(LoaderStmtTables, UnknownNamesGiveZero)
{
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
