/* Small blocks of the library's partition: equal-sized slots carved from
 * slabs in one reserved address range, so that a block carries no header and
 * costs at most its rounding to a multiple of 8 bytes. A block is aligned to
 * 16 when its size is a multiple of 16 and to 8 otherwise: enough for any
 * object that fits in it. */
#ifndef KZ_SLAB_H
#define KZ_SLAB_H

#include <cstddef>
#include <cstdint>

namespace kz::base {

/* A block of at least size bytes, or nullptr when slabs do not serve it (too
 * large, range exhausted, or slabs off under a memory checker). */
void *SlabAlloc(std::size_t size);

/* Frees ptr and returns true when it is a slab block; false otherwise. */
bool SlabFree(void *ptr);

/* Slab blocks handed out and not yet freed (for checks and tests: it visits
 * every slab). */
uint64_t SlabLiveBlocks();

}  // namespace kz::base

#endif /* KZ_SLAB_H */
