/* Growable zero-filled arrays whose u16 count the caller keeps. */
#ifndef KZ_ARRAY_H
#define KZ_ARRAY_H

#include "korla.h"

#ifdef __cplusplus
extern "C" {
#endif

KZ_API uint32_t KZ_UTL_NewArray(void **arrayPtr, uint16_t count, uint32_t elemSize);
KZ_API uint32_t KZ_UTL_ExpandArray(void **arrayPtr, uint16_t oldCount, uint16_t addCount,
                                   uint32_t elemSize);

#ifdef __cplusplus
}
#endif

#endif /* KZ_ARRAY_H */
