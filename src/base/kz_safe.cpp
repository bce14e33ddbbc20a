// Bounded copies with the semantics the library relies on: a copy that does
// not fit fails (and leaves a string destination empty) instead of
// truncating, except VsnprintfTrunc, which exists to truncate.
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "base/kz_safe.h"

namespace {

constexpr size_t kMaxBuffer = SIZE_MAX >> 1;

bool Overlaps(const void *a, size_t aLen, const void *b, size_t bLen)
{
    auto pa = reinterpret_cast<uintptr_t>(a);
    auto pb = reinterpret_cast<uintptr_t>(b);
    return pa < pb + bLen && pb < pa + aLen;
}

}  // namespace

namespace kz::base {

int MemcpyS(void *dest, size_t destMax, const void *src, size_t count)
{
    if (dest == nullptr || destMax > kMaxBuffer) {
        return EINVAL;
    }
    if (count == 0) {
        return 0;
    }
    if (src == nullptr || count > destMax || Overlaps(dest, destMax, src, count)) {
        memset(dest, 0, destMax);
        return src == nullptr || count <= destMax ? EINVAL : ERANGE;
    }
    memcpy(dest, src, count);
    return 0;
}

int MemsetS(void *dest, size_t destMax, int c, size_t count)
{
    if (dest == nullptr || destMax > kMaxBuffer) {
        return EINVAL;
    }
    if (count > destMax) {
        memset(dest, c, destMax);
        return ERANGE;
    }
    memset(dest, c, count);
    return 0;
}

int StrncpyS(char *dest, size_t destMax, const char *src, size_t count)
{
    if (dest == nullptr || destMax == 0 || destMax > kMaxBuffer) {
        return EINVAL;
    }
    if (src == nullptr) {
        dest[0] = '\0';
        return EINVAL;
    }
    size_t len = strnlen(src, count);
    if (len >= destMax || Overlaps(dest, destMax, src, len + 1)) {
        dest[0] = '\0';
        return len >= destMax ? ERANGE : EINVAL;
    }
    memcpy(dest, src, len);
    dest[len] = '\0';
    return 0;
}

int StrcpyS(char *dest, size_t destMax, const char *src)
{
    return StrncpyS(dest, destMax, src, SIZE_MAX);
}

int StrcatS(char *dest, size_t destMax, const char *src)
{
    if (dest == nullptr || destMax == 0 || destMax > kMaxBuffer) {
        return EINVAL;
    }
    size_t used = strnlen(dest, destMax);
    if (used == destMax || src == nullptr) {
        dest[0] = '\0';
        return EINVAL;
    }
    int rc = StrcpyS(dest + used, destMax - used, src);
    if (rc != 0) {
        dest[0] = '\0';
    }
    return rc;
}

int VsnprintfS(char *dest, size_t destMax, const char *format, va_list args)
{
    if (dest == nullptr || destMax == 0 || destMax > kMaxBuffer) {
        return EINVAL;
    }
    if (format == nullptr) {
        dest[0] = '\0';
        return EINVAL;
    }
    int n = vsnprintf(dest, destMax, format, args);
    if (n < 0 || static_cast<size_t>(n) >= destMax) {
        dest[0] = '\0';
        return n < 0 ? EINVAL : ERANGE;
    }
    return 0;
}

int SnprintfS(char *dest, size_t destMax, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    int rc = VsnprintfS(dest, destMax, format, args);
    va_end(args);
    return rc;
}

int VsnprintfTrunc(char *dest, size_t destMax, const char *format, va_list args)
{
    if (dest == nullptr || destMax == 0 || destMax > kMaxBuffer) {
        return EINVAL;
    }
    if (format == nullptr) {
        dest[0] = '\0';
        return EINVAL;
    }
    if (vsnprintf(dest, destMax, format, args) < 0) {
        dest[0] = '\0';
        return EINVAL;
    }
    return 0;
}

char *StrtokS(char *str, const char *delim, char **savePtr)
{
    if (delim == nullptr || savePtr == nullptr) {
        return nullptr;
    }
    return strtok_r(str, delim, savePtr);
}

}  // namespace kz::base
