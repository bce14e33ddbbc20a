/* Bounded copies (internal, not exported): a copy that does not fit fails
 * instead of truncating. */
#ifndef KZ_SAFE_H
#define KZ_SAFE_H

#include <cstdarg>
#include <cstddef>

namespace kz::base {

/* Each returns 0 or an errno code (EINVAL, ERANGE); on failure a string
 * destination is left empty.  VsnprintfTrunc truncates instead of failing
 * and only reports format errors. */
int MemcpyS(void *dest, size_t destMax, const void *src, size_t count);
int MemsetS(void *dest, size_t destMax, int c, size_t count);
int StrcpyS(char *dest, size_t destMax, const char *src);
int StrncpyS(char *dest, size_t destMax, const char *src, size_t count);
int StrcatS(char *dest, size_t destMax, const char *src);
int SnprintfS(char *dest, size_t destMax, const char *format, ...) __attribute__((format(printf, 3, 4)));
int VsnprintfS(char *dest, size_t destMax, const char *format, va_list args) __attribute__((format(printf, 3, 0)));
int VsnprintfTrunc(char *dest, size_t destMax, const char *format, va_list args)
    __attribute__((format(printf, 3, 0)));
char *StrtokS(char *str, const char *delim, char **savePtr);

}  // namespace kz::base

#endif /* KZ_SAFE_H */
