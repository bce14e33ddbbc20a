/* Bounded copies (internal, not exported): a copy that does not fit fails
 * instead of truncating. */
#ifndef KZ_SAFE_H
#define KZ_SAFE_H

#include <stdarg.h>
#include <stddef.h>

#include "korla.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Each returns 0 or an errno code (EINVAL, ERANGE); on failure a string
 * destination is left empty.  kz_vsnprintf_trunc truncates instead of failing
 * and only reports format errors. */
int kz_memcpy_s(void *dest, size_t destMax, const void *src, size_t count);
int kz_memset_s(void *dest, size_t destMax, int c, size_t count);
int kz_strcpy_s(char *dest, size_t destMax, const char *src);
int kz_strncpy_s(char *dest, size_t destMax, const char *src, size_t count);
int kz_strcat_s(char *dest, size_t destMax, const char *src);
int kz_snprintf_s(char *dest, size_t destMax, const char *format, ...)
    __attribute__((format(printf, 3, 4)));
int kz_vsnprintf_s(char *dest, size_t destMax, const char *format, va_list args)
    __attribute__((format(printf, 3, 0)));
int kz_vsnprintf_trunc(char *dest, size_t destMax, const char *format, va_list args)
    __attribute__((format(printf, 3, 0)));
char *kz_strtok_s(char *str, const char *delim, char **savePtr);

#ifdef __cplusplus
}
#endif

#endif /* KZ_SAFE_H */
