// Allocated string copies and small string predicates.
#include <cstring>

#include <libxml/xmlregexp.h>

#include "base/kz_mem.h"
#include "base/kz_xml.h"

extern "C" {

char *KZ_UTL_StrDup(const char *s)
{
    if (s == nullptr) {
        return nullptr;
    }
    size_t size = strlen(s) + 1;
    char *copy = static_cast<char *>(KZ_MemMalloc(size));
    if (copy == nullptr) {
        return nullptr;
    }
    if (kz_strcpy_s(copy, size, s) != 0) {
        KZ_MemFree(copy);
        return nullptr;
    }
    return copy;
}

char *KZ_UTL_StrDupWithSpecifyLength(const char *s, uint32_t n)
{
    if (s == nullptr || n == 0 || strnlen(s, n) < n) {
        return nullptr;
    }
    char *copy = static_cast<char *>(KZ_MemMalloc(static_cast<size_t>(n) + 1));
    if (copy == nullptr) {
        return nullptr;
    }
    if (kz_strncpy_s(copy, static_cast<size_t>(n) + 1, s, n) != 0) {
        KZ_MemFree(copy);
        return nullptr;
    }
    return copy;
}

char *KZ_UTL_CreateEmptyString(void)
{
    char *s = static_cast<char *>(KZ_MemMalloc(1));
    if (s != nullptr) {
        s[0] = '\0';
    }
    return s;
}

uint32_t KZ_UTL_IsNulStringEqual(const char *a, const char *b)
{
    if (a == nullptr || b == nullptr) {
        return (a == nullptr && b == nullptr) ? 1u : 0u;
    }
    return strcmp(a, b) == 0 ? 1u : 0u;
}

uint32_t KZ_UTL_CountCharNumber(const char *s, char c)
{
    if (s == nullptr) {
        return 0;
    }
    uint32_t n = 0;
    for (; *s != '\0'; ++s) {
        if (*s == c) {
            ++n;
        }
    }
    return n;
}

const char *KZ_UTL_Strnchr(const char *s, char c, uint32_t n)
{
    if (s == nullptr) {
        return nullptr;
    }
    if (s[0] == c) {
        return s;
    }
    if (s[0] == '\0') {
        return nullptr;
    }
    // Positions 1 .. n inclusive: callers count on the extra character.
    for (uint64_t i = 1; i <= n; ++i) {
        if (s[i] == '\0') {
            return nullptr;
        }
        if (s[i] == c) {
            return s + i;
        }
    }
    return nullptr;
}

uint32_t KZ_UTL_MatchStrWithPattern(const char *str, const char *pattern)
{
    if (str == nullptr || pattern == nullptr) {
        return KZ_EINVAL;
    }
    xmlRegexpPtr re = kz_xml_compile_regexp_quietly(pattern);
    if (re == nullptr) {
        return KZ_EINVAL;
    }
    int rc = xmlRegexpExec(re, reinterpret_cast<const xmlChar *>(str));
    xmlRegFreeRegexp(re);
    return rc == 1 ? KZ_OK : KZ_EINVAL;
}

}  // extern "C"
