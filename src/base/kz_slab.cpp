// Slabs for the partition's small blocks. Schema nodes and their records are
// many and small; with the C heap's per-block header and rounding they cost a
// quarter more than their size.
//
// One address range is reserved once (untouched pages cost nothing), cut into
// 64 KiB slabs; a slab serves one size class. Whether a pointer is a slab
// block is a range test, so no block needs a header. Each class has its own
// lock; a slab that empties goes back to the range, its pages to the system.
// Under a memory checker (valgrind, sanitizers) slabs stay off so that every
// block stays visible to it.
#include "base/kz_slab.h"

#include <sys/mman.h>
#include <sys/single_threaded.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <atomic>
#include <new>
#include <thread>

#if defined(__has_include)
#if __has_include(<valgrind/valgrind.h>)
#include <valgrind/valgrind.h>
#define KZ_SLAB_HAVE_VALGRIND 1
#endif
#endif

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KZ_SLAB_UNDER_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define KZ_SLAB_UNDER_SANITIZER 1
#endif
#endif

namespace {

constexpr std::size_t kClassStep = 8;
constexpr std::size_t kSmallMax = 256;
constexpr std::size_t kClassCount = kSmallMax / kClassStep;
constexpr std::size_t kSlabBytes = 64 * 1024;
constexpr std::size_t kRangeBytes = std::size_t(16) << 30;
constexpr std::size_t kSlabCount = kRangeBytes / kSlabBytes;
constexpr uint32_t kNone = UINT32_MAX;
constexpr uint32_t kResidentReleased = 256;  // 16 MiB of emptied slabs kept ready at least

// The slab locks are held for a few instructions, less than a mutex's own
// cost; a waiter spins, and gives its time slice away after a while so that a
// holder that was preempted gets to finish.
class SpinLock {
public:
    void lock()
    {
        for (unsigned tries = 0; held_.exchange(true, std::memory_order_acquire); ++tries) {
            while (held_.load(std::memory_order_relaxed)) {
                if (++tries > kSpinsBeforeYield) {
                    std::this_thread::yield();
                }
            }
        }
    }
    void unlock()
    {
        held_.store(false, std::memory_order_release);
    }

private:
    static constexpr unsigned kSpinsBeforeYield = 64;
    std::atomic<bool> held_{false};
};

// Holds a slab lock unless the process has a single thread, which then cannot
// race itself. The locked exchange is not free even uncontended: it waits for
// every earlier store, and a free stores into a block that has often left the
// cache, so a deletion of many blocks would pay each such miss in full.
class SlabGuard {
public:
    explicit SlabGuard(SpinLock &lock) : lock_(__libc_single_threaded ? nullptr : &lock)
    {
        if (lock_ != nullptr) {
            lock_->lock();
        }
    }
    ~SlabGuard()
    {
        if (lock_ != nullptr) {
            lock_->unlock();
        }
    }
    SlabGuard(const SlabGuard &) = delete;
    SlabGuard &operator=(const SlabGuard &) = delete;

private:
    SpinLock *lock_;
};

struct SlabHead {
    void *freeList;    // freed slots, linked through their first word
    uint32_t used;     // slots handed out
    uint32_t fresh;    // slots never handed out start here
    uint32_t cls;      // size class index
    uint32_t prev;     // links of the class's list of slabs with room
    uint32_t next;
};

struct SizeClass {
    SpinLock lock;
    uint32_t withRoom = kNone;  // slabs that have a free or fresh slot
};

struct Range {
    char *base = nullptr;
    SlabHead *heads = nullptr;
    SpinLock lock;             // the fields below
    uint32_t untouched = 0;    // slabs from here on were never used
    uint32_t released = kNone; // slabs given back, linked through next
    uint32_t releasedCount = 0; // of those, how many kept their pages
    uint32_t inUse = 0;        // slabs serving a class now
    uint32_t peakInUse = 0;    // the most at once so far
    SizeClass classes[kClassCount];
};

bool UnderMemoryChecker()
{
#ifdef KZ_SLAB_UNDER_SANITIZER
    return true;
#else
#ifdef KZ_SLAB_HAVE_VALGRIND
    if (RUNNING_ON_VALGRIND) {
        return true;
    }
#endif
    const char *preload = std::getenv("LD_PRELOAD");
    return preload != nullptr && std::strstr(preload, "vgpreload") != nullptr;
#endif
}

Range *MakeRange()
{
    if (UnderMemoryChecker()) {
        return nullptr;
    }
    const int prot = PROT_READ | PROT_WRITE;
    const int flags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE;
    void *base = mmap(nullptr, kRangeBytes, prot, flags, -1, 0);
    if (base == MAP_FAILED) {
        return nullptr;
    }
    void *heads = mmap(nullptr, kSlabCount * sizeof(SlabHead), prot, flags, -1, 0);
    void *self = heads == MAP_FAILED ? MAP_FAILED : mmap(nullptr, sizeof(Range), prot, flags, -1, 0);
    if (heads == MAP_FAILED || self == MAP_FAILED) {
        munmap(base, kRangeBytes);
        if (heads != MAP_FAILED) {
            munmap(heads, kSlabCount * sizeof(SlabHead));
        }
        return nullptr;
    }
    // Lives to the end of the process: blocks may be freed during exit.
    auto *range = new (self) Range();
    range->base = static_cast<char *>(base);
    range->heads = static_cast<SlabHead *>(heads);
    return range;
}

Range *TheRange()
{
    static Range *const range = MakeRange();
    return range;
}

uint32_t SlotsPerSlab(uint32_t cls)
{
    return static_cast<uint32_t>(kSlabBytes / ((cls + 1) * kClassStep));
}

void LinkWithRoom(Range *r, SizeClass &c, uint32_t slab)
{
    SlabHead &h = r->heads[slab];
    h.prev = kNone;
    h.next = c.withRoom;
    if (c.withRoom != kNone) {
        r->heads[c.withRoom].prev = slab;
    }
    c.withRoom = slab;
}

void UnlinkWithRoom(Range *r, SizeClass &c, uint32_t slab)
{
    SlabHead &h = r->heads[slab];
    if (h.prev != kNone) {
        r->heads[h.prev].next = h.next;
    } else {
        c.withRoom = h.next;
    }
    if (h.next != kNone) {
        r->heads[h.next].prev = h.prev;
    }
}

// A slab for class cls, from the released ones first; kNone when the range is used up.
uint32_t TakeSlab(Range *r, uint32_t cls)
{
    uint32_t slab = kNone;
    {
        SlabGuard guard(r->lock);
        if (r->released != kNone) {
            slab = r->released;
            r->released = r->heads[slab].next;
            r->releasedCount -= r->heads[slab].fresh;  // 1 while released with its pages
        } else if (r->untouched < kSlabCount) {
            slab = r->untouched++;
        }
        if (slab != kNone) {
            r->inUse++;
            r->peakInUse = r->inUse > r->peakInUse ? r->inUse : r->peakInUse;
        }
    }
    if (slab != kNone) {
        r->heads[slab] = SlabHead{nullptr, 0, 0, cls, kNone, kNone};
    }
    return slab;
}

// Released slabs stay resident for the next load, as many as were ever in use
// at once (and 16 MiB at least): a process that loads again pays no page
// faults for memory it already needed. Beyond those the pages go back.
void ReleaseSlab(Range *r, uint32_t slab)
{
    bool keepPages;
    {
        SlabGuard guard(r->lock);
        r->heads[slab].next = r->released;
        r->released = slab;
        r->inUse--;
        keepPages = r->releasedCount < (r->peakInUse > kResidentReleased ? r->peakInUse : kResidentReleased);
        r->heads[slab].fresh = keepPages ? 1 : 0;
        r->releasedCount += r->heads[slab].fresh;
    }
    if (!keepPages) {
        madvise(r->base + static_cast<std::size_t>(slab) * kSlabBytes, kSlabBytes, MADV_DONTNEED);
    }
}

}  // namespace

namespace kz::base {

void *SlabAlloc(std::size_t size)
{
    Range *r = size <= kSmallMax ? TheRange() : nullptr;
    if (r == nullptr) {
        return nullptr;
    }
    const uint32_t cls = size == 0 ? 0 : static_cast<uint32_t>((size - 1) / kClassStep);
    SizeClass &c = r->classes[cls];
    SlabGuard guard(c.lock);
    if (c.withRoom == kNone) {
        uint32_t slab = TakeSlab(r, cls);
        if (slab == kNone) {
            return nullptr;
        }
        LinkWithRoom(r, c, slab);
    }
    const uint32_t slab = c.withRoom;
    SlabHead &h = r->heads[slab];
    void *block;
    if (h.freeList != nullptr) {
        block = h.freeList;
        h.freeList = *static_cast<void **>(block);
    } else {
        block = r->base + static_cast<std::size_t>(slab) * kSlabBytes +
                static_cast<std::size_t>(h.fresh) * (cls + 1) * kClassStep;
        h.fresh++;
    }
    h.used++;
    if (h.freeList == nullptr && h.fresh == SlotsPerSlab(cls)) {
        UnlinkWithRoom(r, c, slab);
    }
    return block;
}

bool SlabFree(void *ptr)
{
    Range *r = TheRange();
    auto *p = static_cast<char *>(ptr);
    if (r == nullptr || p < r->base || p >= r->base + kRangeBytes) {
        return false;
    }
    const auto slab = static_cast<uint32_t>(static_cast<std::size_t>(p - r->base) / kSlabBytes);
    SlabHead &h = r->heads[slab];
    SizeClass &c = r->classes[h.cls];
    bool release = false;
    {
        SlabGuard guard(c.lock);
        const bool wasFull = h.freeList == nullptr && h.fresh == SlotsPerSlab(h.cls);
        *static_cast<void **>(ptr) = h.freeList;
        h.freeList = ptr;
        h.used--;
        if (wasFull) {
            LinkWithRoom(r, c, slab);
        }
        // An emptied slab goes back unless it is the class's only one with room (no churn
        // for a block allocated and freed over and over). Kept, it starts over from its
        // first slot: blocks come in address order again, and taking one reads no freed
        // block that has long left the cache.
        if (h.used == 0 && !(c.withRoom == slab && h.next == kNone)) {
            UnlinkWithRoom(r, c, slab);
            release = true;
        } else if (h.used == 0) {
            h.freeList = nullptr;
            h.fresh = 0;
        }
    }
    if (release) {
        ReleaseSlab(r, slab);
    }
    return true;
}

uint64_t SlabLiveBlocks()
{
    Range *r = TheRange();
    if (r == nullptr) {
        return 0;
    }
    uint32_t slabs;
    {
        SlabGuard guard(r->lock);
        slabs = r->untouched;
    }
    // A released slab counts none: it is only released once empty.
    uint64_t live = 0;
    for (uint32_t slab = 0; slab < slabs; ++slab) {
        SizeClass &c = r->classes[r->heads[slab].cls];
        SlabGuard guard(c.lock);
        live += r->heads[slab].used;
    }
    return live;
}

}  // namespace kz::base
