// Bounded copies: they fail rather than truncate, except where the name says so.

#include <cerrno>

#include "test_support.h"

namespace {

int TruncFormat(char *dest, size_t size, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    int rc = kz::base::VsnprintfTrunc(dest, size, format, args);
    va_end(args);
    return rc;
}

}  // namespace

TEST(RuntimeSafeCopy, CopiesFailInsteadOfTruncating)
{
    char buf[4];
    EXPECT_EQ(0, kz::base::StrcpyS(buf, sizeof buf, "abc"));
    EXPECT_STREQ("abc", buf);
    EXPECT_EQ(ERANGE, kz::base::StrcpyS(buf, sizeof buf, "abcd"));
    EXPECT_STREQ("", buf);
    EXPECT_EQ(EINVAL, kz::base::StrcpyS(buf, sizeof buf, nullptr));
    EXPECT_EQ(EINVAL, kz::base::StrcpyS(buf, 0, "a"));

    EXPECT_EQ(0, kz::base::StrncpyS(buf, sizeof buf, "abcdef", 3));
    EXPECT_STREQ("abc", buf);
    EXPECT_EQ(ERANGE, kz::base::StrncpyS(buf, sizeof buf, "abcdef", 4));
    EXPECT_STREQ("", buf);

    EXPECT_EQ(0, kz::base::StrcpyS(buf, sizeof buf, "ab"));
    EXPECT_EQ(0, kz::base::StrcatS(buf, sizeof buf, "c"));
    EXPECT_STREQ("abc", buf);
    EXPECT_NE(0, kz::base::StrcatS(buf, sizeof buf, "d"));
    EXPECT_STREQ("", buf);

    // Memory copies check room and overlap.
    char mem[8] = "xxxxxxx";
    EXPECT_EQ(0, kz::base::MemcpyS(mem, sizeof mem, "12345678", 8));
    EXPECT_EQ(0, memcmp(mem, "12345678", 8));
    EXPECT_EQ(ERANGE, kz::base::MemcpyS(mem, 4, "12345", 5));
    EXPECT_EQ(EINVAL, kz::base::MemcpyS(mem, sizeof mem, mem + 2, 4));
    EXPECT_EQ(0, kz::base::MemcpyS(mem, sizeof mem, nullptr, 0));
}

TEST(RuntimeSafeCopy, FormattingFailsOrTruncatesAsNamed)
{
    char buf[6];
    EXPECT_EQ(0, kz::base::SnprintfS(buf, sizeof buf, "%s-%d", "ab", 12));
    EXPECT_STREQ("ab-12", buf);
    EXPECT_EQ(ERANGE, kz::base::SnprintfS(buf, sizeof buf, "%s-%d", "ab", 123));
    EXPECT_STREQ("", buf);
    EXPECT_EQ(0, TruncFormat(buf, sizeof buf, "%s", "truncated"));
    EXPECT_STREQ("trunc", buf);
}
