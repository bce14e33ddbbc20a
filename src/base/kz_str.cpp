// Allocated string copies and small string predicates.
#include <cstring>

#include <libxml/xmlregexp.h>

#include "base/kz_str.h"
#include "base/kz_kit.h"
#include "base/kz_xml.h"

extern "C" {

char *KZ_UTL_StrDup(const char *s)
{
    return kz::DupText(s);
}

char *KZ_UTL_StrDupWithSpecifyLength(const char *s, uint32_t n)
{
    if (s == nullptr || n == 0 || strnlen(s, n) < n) {
        return nullptr;
    }
    return kz::DupText(s, n);
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
    return kz::SameText(a, b) ? 1u : 0u;
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
    kz::XmlRegexpPtr re(kz::base::CompileRegexpQuietly(pattern));
    if (re == nullptr) {
        return KZ_EINVAL;
    }
    return xmlRegexpExec(re.get(), reinterpret_cast<const xmlChar *>(str)) == 1 ? KZ_OK : KZ_EINVAL;
}

}  // extern "C"
