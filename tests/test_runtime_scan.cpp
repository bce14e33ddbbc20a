// Identifier, path-step and integer scanners.

#include "test_support.h"

TEST(RuntimeScan, IdentifierClassForwardAndBackwardAndBlanks)
{
    EXPECT_EQ(8u, KZ_UTL_ConsumeIdentNameBestEffort("9a-b.c_d:x"));
    EXPECT_EQ(0u, KZ_UTL_ConsumeIdentNameBestEffort(":x"));
    EXPECT_EQ(0u, KZ_UTL_ConsumeIdentNameBestEffort(""));
    EXPECT_EQ(3u, KZ_UTL_ConsumeIdentNameFromTail("pre:abc", 7));
    EXPECT_EQ(3u, KZ_UTL_ConsumeIdentNameFromTail("pre:abc", 3));
    EXPECT_EQ(0u, KZ_UTL_ConsumeIdentNameFromTail("pre:", 4));
    EXPECT_EQ(0u, KZ_UTL_ConsumeIdentNameFromTail("abc", 0));
    EXPECT_EQ(5u, KZ_UTL_ConsumeIdentNameFromTail("a-b_c", 5));
    // Only space, tab and line feed are skipped as blanks.
    const char *s = " \t\n\rx";
    EXPECT_EQ(s + 3, KZ_UTL_ConsumeAllSpaceChar(s));
    const char *v = "\vx";
    EXPECT_EQ(v, KZ_UTL_ConsumeAllSpaceChar(v));
}

TEST(RuntimeScan, NextNodeNameAndPrefix)
{
    char name[4] = "zzz";
    EXPECT_EQ(0u, KZ_UTL_GetXPathNextNodeName("abc/def", name, sizeof name));
    EXPECT_STREQ("abc", name);
    EXPECT_EQ(KZ_ERR, KZ_UTL_GetXPathNextNodeName("/abc", name, sizeof name));
    EXPECT_STREQ("", name);
    EXPECT_EQ(KZ_EINVAL, KZ_UTL_GetXPathNextNodeName("ab:c", name, sizeof name));
    EXPECT_EQ(KZ_ECOPY, KZ_UTL_GetXPathNextNodeName("abcd", name, sizeof name));
    EXPECT_STREQ("", name);

    char prefix[8];
    char node[8];
    EXPECT_EQ(0u, KZ_UTL_GetXPathNextPrefixAndNode("if:name/x", prefix, sizeof prefix, node, sizeof node));
    EXPECT_STREQ("if", prefix);
    EXPECT_STREQ("name", node);
    EXPECT_EQ(0u, KZ_UTL_GetXPathNextPrefixAndNode("name", prefix, sizeof prefix, node, sizeof node));
    EXPECT_STREQ("", prefix);
    EXPECT_STREQ("name", node);
    EXPECT_EQ(KZ_ERR, KZ_UTL_GetXPathNextPrefixAndNode("", prefix, sizeof prefix, node, sizeof node));
    // A failing node name after the colon takes the prefix back out.
    EXPECT_EQ(KZ_ERR, KZ_UTL_GetXPathNextPrefixAndNode("if:", prefix, sizeof prefix, node, sizeof node));
    EXPECT_STREQ("", prefix);
    EXPECT_EQ(KZ_EINVAL, KZ_UTL_GetXPathNextPrefixAndNode("if:a:b", prefix, sizeof prefix, node, sizeof node));
    EXPECT_STREQ("", prefix);
    EXPECT_EQ(KZ_EINVAL, KZ_UTL_GetXPathNextPrefixAndNode("a[1]", prefix, sizeof prefix, node, sizeof node));
    EXPECT_EQ(KZ_EINVAL,
              KZ_UTL_GetXPathNextPrefixAndNode("longprefix:a", prefix, sizeof prefix, node, sizeof node));
    EXPECT_EQ(KZ_ECOPY, KZ_UTL_GetXPathNextPrefixAndNode("p:longname", prefix, sizeof prefix, node, sizeof node));
    EXPECT_STREQ("", prefix);
}

TEST(RuntimeScan, PredicatedStepsAndPredicatesEndingAtTheFirstClosingBracket)
{
    char prefix[8];
    char node[8];
    const char *s = "if:list[k='1'][v=2]/next";
    EXPECT_EQ(strchr(s, '/'), KZ_UTL_GetXPathNextPredicatedPrefixNode(s, prefix, sizeof prefix, node, sizeof node));
    EXPECT_STREQ("if", prefix);
    EXPECT_STREQ("list", node);
    const char *plain = "leaf";
    EXPECT_EQ(plain + 4, KZ_UTL_GetXPathNextPredicatedPrefixNode(plain, prefix, sizeof prefix, node, sizeof node));
    EXPECT_STREQ("", prefix);
    EXPECT_STREQ("leaf", node);
    for (const char *bad : {"a[x]y", "a[x", "a=b", "p:", "p:longname"}) {
        EXPECT_EQ(nullptr, KZ_UTL_GetXPathNextPredicatedPrefixNode(bad, prefix, sizeof prefix, node, sizeof node))
            << bad;
    }
    EXPECT_STREQ("", prefix); // cleared again after the too-long node name

    const char *preds = "[a][b]/x";
    EXPECT_EQ(preds + 6, KZ_UTL_SkipPredicateParis(preds));
    // No nesting, no quoting: the first ']' closes the predicate, leaving "]" behind.
    for (const char *bad : {"[a]x", "[a", "[a[b]]", "[k=']']"}) {
        EXPECT_EQ(nullptr, KZ_UTL_SkipPredicateParis(bad)) << bad;
    }
    const char *none = "";
    EXPECT_EQ(none, KZ_UTL_SkipPredicateParis(none));
}

TEST(RuntimeScan, SignedAndUnsignedIntegers)
{
    int64_t v = 0;
    const char *end = nullptr;
    EXPECT_EQ(0u, KZ_UTL_ReadInputStrAsSignedInteger("  -5xyz", &end, 0, &v));
    EXPECT_EQ(-5, v);
    EXPECT_STREQ("xyz", end);
    EXPECT_EQ(0u, KZ_UTL_ReadInputStrAsSignedInteger("-9223372036854775808", nullptr, 0, &v));
    EXPECT_EQ(INT64_MIN, v);
    for (const char *bad : {"9223372036854775808", "", "+", "abc"}) {
        EXPECT_EQ(KZ_EINVAL, KZ_UTL_ReadInputStrAsSignedInteger(bad, nullptr, 0, &v)) << bad;
    }

    uint64_t u = 0;
    // The C conversion would negate after its own white space ("\r-1"): still refused.
    for (const char *bad : {" -1", "-0", "18446744073709551616", "\r-1"}) {
        EXPECT_EQ(KZ_EINVAL, KZ_UTL_ReadInputStrAsUnsignedInteger(bad, nullptr, 0, &u)) << bad;
    }
    EXPECT_EQ(0u, KZ_UTL_ReadInputStrAsUnsignedInteger("18446744073709551615", nullptr, 0, &u));
    EXPECT_EQ(UINT64_MAX, u);
    EXPECT_EQ(0u, KZ_UTL_ReadInputStrAsUnsignedInteger("\r5", nullptr, 0, &u));
    EXPECT_EQ(5u, u);
    EXPECT_EQ(0u, KZ_UTL_ReadInputStrAsUnsignedInteger("+7 ", &end, 0, &u));
    EXPECT_EQ(7u, u);
    EXPECT_STREQ(" ", end);
}
