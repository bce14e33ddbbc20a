// The allocator pair and its one-time choice between the C library and the
// library's own partition, made from the machine's total memory.
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/kz_mem.h"
#include "base/kz_safe.h"
#include "base/kz_slab.h"
#include "base/kz_kit.h"

namespace {

constexpr const char *kMemInfoPath = "/proc/meminfo";
constexpr const char *kMemTotalKey = "MemTotal";
constexpr const char *kPartName = "korla";
constexpr const char *kPartClass = "QRV";
constexpr uint32_t kPartSize = 16u * 1024u * 1024u;
constexpr size_t kLineMax = 256;
constexpr size_t kValueMax = 20;

// The partition stands in for the platform's light partition: small blocks
// come from its slabs (no per-block header), larger ones from the C heap.
// Slabs count their own blocks; the count here is of the C heap's, so that a
// small block costs no shared counter update.  Handles and partition ids are
// never zero.
std::atomic<uint32_t> g_nextHandle{0};
std::atomic<uint32_t> g_nextPt{0};
std::atomic<uint64_t> g_liveBlocks{0};
// Fault injection for the tests: the allocation that brings the countdown to
// zero fails; 0 means disarmed.
std::atomic<uint64_t> g_failCountdown{0};

bool InjectedFailure()
{
    uint64_t left = g_failCountdown.load(std::memory_order_relaxed);
    while (left != 0) {
        if (g_failCountdown.compare_exchange_weak(left, left - 1, std::memory_order_relaxed)) {
            return left == 1;
        }
    }
    return false;
}

uint32_t LoadState()
{
    return __atomic_load_n(&g_kzMemFuncInit, __ATOMIC_ACQUIRE);
}

}  // namespace

namespace kz::base {

void FailNthAlloc(uint64_t n)
{
    g_failCountdown.store(n, std::memory_order_relaxed);
}

uint64_t PendingAllocFailure()
{
    return g_failCountdown.load(std::memory_order_relaxed);
}

uint32_t PartHandleInit(const char *name, uint32_t *handleOut)
{
    if (name == nullptr || handleOut == nullptr) {
        return EINVAL;
    }
    uint32_t h = g_nextHandle.fetch_add(1) + 1;
    *handleOut = (h == 0) ? 1 : h;
    return 0;
}

void PartHandleFini(uint32_t handle)
{
    (void)handle;
}

uint32_t PartCreate(uint32_t handle, const char *name, const char *classLabel, uint32_t size,
                        const void *param, uint32_t paramLen, uint8_t *ptOut)
{
    if (handle == 0 || name == nullptr || classLabel == nullptr || size == 0 || param == nullptr ||
        paramLen != 24 || ptOut == nullptr) {
        return EINVAL;
    }
    uint32_t pt = (g_nextPt.fetch_add(1) % 255u) + 1u;
    *ptOut = static_cast<uint8_t>(pt);
    return 0;
}

void *PartMalloc(uint32_t handle, uint8_t pt, size_t size)
{
    if (handle == 0 || pt == 0) {
        return nullptr;
    }
    void *p = kz::base::SlabAlloc(size);
    if (p != nullptr) {
        return p;
    }
    p = malloc(size);
    if (p != nullptr) {
        g_liveBlocks.fetch_add(1, std::memory_order_relaxed);
    }
    return p;
}

void PartFree(void *ptr)
{
    if (ptr != nullptr && !kz::base::SlabFree(ptr)) {
        g_liveBlocks.fetch_sub(1, std::memory_order_relaxed);
        free(ptr);
    }
}

uint64_t PartLiveBlocks()
{
    return g_liveBlocks.load(std::memory_order_relaxed) + kz::base::SlabLiveBlocks();
}

uint32_t ChooseMemState(uint32_t readRc, uint64_t totalKb, uint32_t *handleOut, uint8_t *ptOut)
{
    if (readRc != 0 || totalKb < KZ_MEM_PARTITION_THRESHOLD_KB || handleOut == nullptr ||
        ptOut == nullptr) {
        return KZ_MEM_STATE_LIBC;
    }
    uint32_t handle = 0;
    if (PartHandleInit(kPartName, &handle) != 0 || handle == 0) {
        return KZ_MEM_STATE_LIBC;
    }
    // Parameter block: 47 at byte 4 and 1 at byte 8, the rest zero.
    uint8_t param[24] = {0};
    const uint32_t p4 = 47;
    const uint32_t p8 = 1;
    memcpy(param + 4, &p4, sizeof p4);
    memcpy(param + 8, &p8, sizeof p8);
    uint8_t pt = 0;
    if (PartCreate(handle, kPartName, kPartClass, kPartSize, param, sizeof param, &pt) != 0) {
        PartHandleFini(handle);
        return KZ_MEM_STATE_LIBC;
    }
    *handleOut = handle;
    *ptOut = pt;
    return KZ_MEM_STATE_PARTITION;
}

}  // namespace kz::base

using namespace kz::base;

extern "C" {

uint32_t KZ_UTL_GetProcInfoValue(const char *line, const char *key, char *valueOut,
                                 uint32_t valueOutSize)
{
    if (line == nullptr || key == nullptr || valueOut == nullptr || valueOutSize == 0) {
        return KZ_ERR;
    }
    valueOut[0] = '\0';
    if (strstr(line, key) == nullptr) {
        return KZ_ERR;
    }
    char copy[kLineMax];
    if (StrcpyS(copy, sizeof copy, line) != 0) {
        return KZ_ERR;
    }
    char *save = nullptr;
    const char *delim = " :\t\r\n";
    if (StrtokS(copy, delim, &save) == nullptr) {
        return KZ_ERR;
    }
    const char *value = StrtokS(nullptr, delim, &save);
    if (value == nullptr || StrcpyS(valueOut, valueOutSize, value) != 0) {
        return KZ_ERR;
    }
    return KZ_OK;
}

uint32_t KZ_UTL_ReadTotalMemFromFile(FILE *stream, uint64_t *totalKb)
{
    if (stream == nullptr || totalKb == nullptr) {
        return KZ_ERR;
    }
    char line[kLineMax];
    while (fgets(line, sizeof line, stream) != nullptr) {
        if (strstr(line, kMemTotalKey) == nullptr) {
            continue;
        }
        char value[kValueMax];
        if (KZ_UTL_GetProcInfoValue(line, kMemTotalKey, value, sizeof value) != 0) {
            return KZ_ERR;
        }
        // The figure must be a plain decimal number.
        if (value[0] < '0' || value[0] > '9') {
            return KZ_ERR;
        }
        char *end = nullptr;
        errno = 0;
        unsigned long long v = strtoull(value, &end, 10);
        if (errno != 0 || end == value || *end != '\0') {
            return KZ_ERR;
        }
        *totalKb = v;
        return KZ_OK;
    }
    return KZ_ERR;
}

uint32_t KZ_UTL_GetSysTotalMem(uint64_t *totalKb)
{
    if (totalKb == nullptr) {
        return KZ_ERR;
    }
    kz::FilePtr f(fopen(kMemInfoPath, "r"));
    if (f == nullptr) {
        return KZ_ERR;
    }
    return KZ_UTL_ReadTotalMemFromFile(f.get(), totalKb);
}

uint32_t KZ_UTL_MemFuncInitInner(void)
{
    if (LoadState() != KZ_MEM_STATE_UNDECIDED) {
        return KZ_OK;
    }
    uint64_t totalKb = 0;
    uint32_t readRc = KZ_UTL_GetSysTotalMem(&totalKb);
    uint32_t handle = 0;
    uint8_t pt = 0;
    uint32_t state = ChooseMemState(readRc, totalKb, &handle, &pt);
    if (state == KZ_MEM_STATE_PARTITION) {
        g_kzMemHandle = handle;
        g_kzMemPt = pt;
    }
    // Published last, so a reader that sees state 2 also sees the partition.
    __atomic_store_n(&g_kzMemFuncInit, state, __ATOMIC_RELEASE);
    return KZ_OK;
}

uint32_t KZ_UTL_MemFuncInit(void)
{
    if (LoadState() != KZ_MEM_STATE_UNDECIDED) {
        return KZ_OK;
    }
    if (pthread_mutex_lock(&g_kzMemMutex) != 0) {
        return KZ_ELOCK;
    }
    uint32_t rc = KZ_UTL_MemFuncInitInner();
    pthread_mutex_unlock(&g_kzMemMutex);
    return rc;
}

void *KZ_MemMalloc(size_t size)
{
    if (InjectedFailure()) {
        return nullptr;
    }
    // The choice is made once; every later block needs only to read it.
    uint32_t state = LoadState();
    if (state == KZ_MEM_STATE_UNDECIDED) {
        if (KZ_UTL_MemFuncInit() != KZ_OK) {
            return nullptr;
        }
        state = LoadState();
    }
    if (state == KZ_MEM_STATE_PARTITION) {
        return PartMalloc(g_kzMemHandle, g_kzMemPt, size);
    }
    return malloc(size);
}

void KZ_MemFree(void *ptr)
{
    if (LoadState() == KZ_MEM_STATE_PARTITION) {
        PartFree(ptr);
    } else {
        free(ptr);
    }
}

}  // extern "C"
