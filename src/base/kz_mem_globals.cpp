// Allocator state.  The two guard arrays must sit around the allocator
// globals (first between the mutex and the handle, second right after the
// set-up state), so these definitions stay together in this order and this
// file is compiled without top-level reordering.
#include "base/kz_mem.h"

extern "C" {
KZ_API pthread_mutex_t g_kzMemMutex = PTHREAD_MUTEX_INITIALIZER;
KZ_API uint8_t g_kzFirstProtectArr[16] = {0};
KZ_API uint32_t g_kzMemHandle = 0;
KZ_API uint8_t g_kzMemPt = 0;
KZ_API uint32_t g_kzMemFuncInit = KZ_MEM_STATE_UNDECIDED;
KZ_API uint8_t g_kzSecondProtectArr[16] = {0};
}
