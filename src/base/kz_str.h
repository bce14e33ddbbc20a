/* Allocated string copies and small string predicates (results are freed
 * with KZ_MemFree). */
#ifndef KZ_STR_H
#define KZ_STR_H

#include "korla.h"

#ifdef __cplusplus
extern "C" {
#endif

KZ_API char *KZ_UTL_StrDup(const char *s);
KZ_API char *KZ_UTL_StrDupWithSpecifyLength(const char *s, uint32_t n);
KZ_API char *KZ_UTL_CreateEmptyString(void);
KZ_API uint32_t KZ_UTL_IsNulStringEqual(const char *a, const char *b);
KZ_API uint32_t KZ_UTL_CountCharNumber(const char *s, char c);
/* Looks at s[0] .. s[n] inclusive (n + 1 characters), stopping at NUL. */
KZ_API const char *KZ_UTL_Strnchr(const char *s, char c, uint32_t n);
/* 0 when str matches the (implicitly anchored) XML Schema pattern, else 22. */
KZ_API uint32_t KZ_UTL_MatchStrWithPattern(const char *str, const char *pattern);

#ifdef __cplusplus
}
#endif

#endif /* KZ_STR_H */
