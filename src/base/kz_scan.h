/* Scanners for identifiers, schema-path steps and integers. */
#ifndef KZ_SCAN_H
#define KZ_SCAN_H

#include "korla.h"

#ifdef __cplusplus
extern "C" {
#endif

KZ_API uint32_t KZ_UTL_ConsumeIdentNameBestEffort(const char *s);
KZ_API uint32_t KZ_UTL_ConsumeIdentNameFromTail(const char *s, uint32_t len);
KZ_API const char *KZ_UTL_ConsumeAllSpaceChar(const char *s);
KZ_API uint32_t KZ_UTL_GetXPathNextNodeName(const char *s, char *nameOut, uint32_t nameOutSize);
KZ_API uint32_t KZ_UTL_GetXPathNextPrefixAndNode(const char *s, char *prefixOut, uint32_t prefixSize,
                                                 char *nodeOut, uint32_t nodeSize);
/* Returns the position after the step's predicates (at NUL or '/'), or NULL. */
KZ_API const char *KZ_UTL_GetXPathNextPredicatedPrefixNode(const char *s, char *prefixOut,
                                                           uint32_t prefixSize, char *nodeOut,
                                                           uint32_t nodeSize);
KZ_API const char *KZ_UTL_SkipPredicateParis(const char *s);
KZ_API uint32_t KZ_UTL_ReadInputStrAsSignedInteger(const char *s, const char **endOut,
                                                   uint32_t ignored, int64_t *valueOut);
KZ_API uint32_t KZ_UTL_ReadInputStrAsUnsignedInteger(const char *s, const char **endOut,
                                                     uint32_t ignored, uint64_t *valueOut);

#ifdef __cplusplus
}
#endif

#endif /* KZ_SCAN_H */
