// Scanners for identifiers, schema-path steps and integers.  None reads past
// the terminating NUL.
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/kz_scan.h"
#include "base/kz_safe.h"

namespace {

constexpr bool IsIdentChar(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == '_';
}

// Only space, tab and line feed: carriage return and the rest are left to
// the caller on purpose.
constexpr bool IsSkippedSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n';
}

bool IsStepEnd(char c)
{
    return c == '\0' || c == '/';
}

void Clear(char *buf, uint32_t size)
{
    if (buf != nullptr && size != 0) {
        buf[0] = '\0';
    }
}

bool CopyIdent(char *out, uint32_t size, const char *s, uint32_t len)
{
    return out != nullptr && kz::base::StrncpyS(out, size, s, len) == 0;
}

}  // namespace

extern "C" {

uint32_t KZ_UTL_ConsumeIdentNameBestEffort(const char *s)
{
    if (s == nullptr) {
        return 0;
    }
    uint32_t n = 0;
    while (IsIdentChar(s[n])) {
        ++n;
    }
    return n;
}

uint32_t KZ_UTL_ConsumeIdentNameFromTail(const char *s, uint32_t len)
{
    if (s == nullptr) {
        return 0;
    }
    uint32_t n = 0;
    while (n < len && IsIdentChar(s[len - 1 - n])) {
        ++n;
    }
    return n;
}

const char *KZ_UTL_ConsumeAllSpaceChar(const char *s)
{
    if (s == nullptr) {
        return nullptr;
    }
    while (IsSkippedSpace(*s)) {
        ++s;
    }
    return s;
}

uint32_t KZ_UTL_GetXPathNextNodeName(const char *s, char *nameOut, uint32_t nameOutSize)
{
    Clear(nameOut, nameOutSize);
    if (s == nullptr || nameOut == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t n = KZ_UTL_ConsumeIdentNameBestEffort(s);
    if (n == 0) {
        return KZ_ERR;
    }
    if (!IsStepEnd(s[n])) {
        return KZ_EINVAL;
    }
    if (!CopyIdent(nameOut, nameOutSize, s, n)) {
        return KZ_ECOPY;
    }
    return KZ_OK;
}

uint32_t KZ_UTL_GetXPathNextPrefixAndNode(const char *s, char *prefixOut, uint32_t prefixSize,
                                          char *nodeOut, uint32_t nodeSize)
{
    Clear(prefixOut, prefixSize);
    Clear(nodeOut, nodeSize);
    if (s == nullptr || prefixOut == nullptr || nodeOut == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t n = KZ_UTL_ConsumeIdentNameBestEffort(s);
    if (n == 0) {
        return KZ_ERR;
    }
    if (s[n] == ':') {
        if (!CopyIdent(prefixOut, prefixSize, s, n)) {
            return KZ_EINVAL;
        }
        uint32_t rc = KZ_UTL_GetXPathNextNodeName(s + n + 1, nodeOut, nodeSize);
        if (rc != KZ_OK) {
            Clear(prefixOut, prefixSize);
        }
        return rc;
    }
    if (IsStepEnd(s[n])) {
        return CopyIdent(nodeOut, nodeSize, s, n) ? KZ_OK : KZ_ECOPY;
    }
    return KZ_EINVAL;
}

const char *KZ_UTL_GetXPathNextPredicatedPrefixNode(const char *s, char *prefixOut, uint32_t prefixSize,
                                                    char *nodeOut, uint32_t nodeSize)
{
    Clear(prefixOut, prefixSize);
    Clear(nodeOut, nodeSize);
    if (s == nullptr || prefixOut == nullptr || nodeOut == nullptr) {
        return nullptr;
    }
    uint32_t n = KZ_UTL_ConsumeIdentNameBestEffort(s);
    if (n == 0) {
        return nullptr;
    }
    const char *name = s;
    if (s[n] == ':') {
        if (!CopyIdent(prefixOut, prefixSize, s, n)) {
            return nullptr;
        }
        name = s + n + 1;
        n = KZ_UTL_ConsumeIdentNameBestEffort(name);
        if (n == 0) {
            return nullptr;
        }
    }
    if (name[n] != '\0' && name[n] != '[' && name[n] != '/') {
        return nullptr;
    }
    if (!CopyIdent(nodeOut, nodeSize, name, n)) {
        Clear(prefixOut, prefixSize);
        return nullptr;
    }
    return KZ_UTL_SkipPredicateParis(name + n);
}

const char *KZ_UTL_SkipPredicateParis(const char *s)
{
    if (s == nullptr) {
        return nullptr;
    }
    // Predicates end at their first ']': nesting and quotes are not seen.
    while (*s == '[') {
        const char *close = strchr(s, ']');
        if (close == nullptr) {
            return nullptr;
        }
        s = close + 1;
    }
    return IsStepEnd(*s) ? s : nullptr;
}

uint32_t KZ_UTL_ReadInputStrAsSignedInteger(const char *s, const char **endOut, uint32_t ignored,
                                            int64_t *valueOut)
{
    (void)ignored;
    if (s == nullptr || valueOut == nullptr) {
        return KZ_EINVAL;
    }
    const char *p = KZ_UTL_ConsumeAllSpaceChar(s);
    char *end = nullptr;
    errno = 0;
    long long v = strtoll(p, &end, 10);
    if (errno != 0 || end == p) {
        return KZ_EINVAL;
    }
    *valueOut = v;
    if (endOut != nullptr) {
        *endOut = end;
    }
    return KZ_OK;
}

uint32_t KZ_UTL_ReadInputStrAsUnsignedInteger(const char *s, const char **endOut, uint32_t ignored,
                                              uint64_t *valueOut)
{
    (void)ignored;
    if (s == nullptr || valueOut == nullptr) {
        return KZ_EINVAL;
    }
    const char *p = KZ_UTL_ConsumeAllSpaceChar(s);
    // strtoull would silently negate: refuse a sign wherever the C
    // conversion would start reading (it also skips '\r', '\v', '\f').
    const char *q = p;
    while (*q == '\r' || *q == '\v' || *q == '\f' || IsSkippedSpace(*q)) {
        ++q;
    }
    if (*q == '-') {
        return KZ_EINVAL;
    }
    char *end = nullptr;
    errno = 0;
    unsigned long long v = strtoull(p, &end, 10);
    if (errno != 0 || end == p) {
        return KZ_EINVAL;
    }
    *valueOut = v;
    if (endOut != nullptr) {
        *endOut = end;
    }
    return KZ_OK;
}

}  // extern "C"
