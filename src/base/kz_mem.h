/* The library allocator: its one-time choice between the C library and the
 * library's own partition, its process-wide state and its test hooks. */
#ifndef KZ_MEM_H
#define KZ_MEM_H

#include <pthread.h>
#include <stdio.h>

#include "korla.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Allocator state (process-wide; see kz_mem_globals.cpp for layout) ---- */
#define KZ_MEM_STATE_UNDECIDED 0u
#define KZ_MEM_STATE_LIBC      1u
#define KZ_MEM_STATE_PARTITION 2u

/* Machines with at least this much RAM (kB, as /proc/meminfo reports it)
 * allocate from the library's own partition. */
#define KZ_MEM_PARTITION_THRESHOLD_KB 4194304ull

KZ_API extern pthread_mutex_t g_kzMemMutex;
KZ_API extern uint8_t g_kzFirstProtectArr[16];
KZ_API extern uint32_t g_kzMemHandle;
KZ_API extern uint8_t g_kzMemPt;
KZ_API extern uint32_t g_kzMemFuncInit;
KZ_API extern uint8_t g_kzSecondProtectArr[16];

/* KZ_MemMalloc / KZ_MemFree are declared in korla.h. */
KZ_API uint32_t KZ_UTL_MemFuncInit(void);
KZ_API uint32_t KZ_UTL_MemFuncInitInner(void);
/* Total memory in kB from /proc/meminfo; 0 or 1. */
KZ_API uint32_t KZ_UTL_GetSysTotalMem(uint64_t *totalKb);
/* Same from an open meminfo-style stream (first line containing "MemTotal"). */
KZ_API uint32_t KZ_UTL_ReadTotalMemFromFile(FILE *stream, uint64_t *totalKb);
/* Copies the second token of a line holding key (delimiters " :\t\r\n"); 0 or 1. */
KZ_API uint32_t KZ_UTL_GetProcInfoValue(const char *line, const char *key, char *valueOut,
                                        uint32_t valueOutSize);

#ifdef __cplusplus
}

namespace kz::base {

/* Fault injection (tests only): the n-th KZ_MemMalloc from now returns NULL,
 * once; 0 disarms.  PendingAllocFailure is what is left of the countdown (0 once
 * the failure has been injected or when disarmed). */
void FailNthAlloc(uint64_t n);
uint64_t PendingAllocFailure();

/* Library-owned partition used in state 2 (hidden). */
uint32_t PartHandleInit(const char *name, uint32_t *handleOut);
void PartHandleFini(uint32_t handle);
uint32_t PartCreate(uint32_t handle, const char *name, const char *classLabel, uint32_t size, const void *param,
                    uint32_t paramLen, uint8_t *ptOut);
void *PartMalloc(uint32_t handle, uint8_t pt, size_t size);
void PartFree(void *ptr);
/* Blocks currently held from the partition (for checks and tests). */
uint64_t PartLiveBlocks();
/* The choice rule: readRc is the result of reading the total memory figure
 * (0 when totalKb is valid).  Returns state 1 or 2; for state 2 the handle and
 * partition created are stored. */
uint32_t ChooseMemState(uint32_t readRc, uint64_t totalKb, uint32_t *handleOut, uint8_t *ptOut);

}  // namespace kz::base
#endif

#endif /* KZ_MEM_H */
