/* Small private helpers shared by the constraint bodies that hold a
 * (segCount, segs) pair.  Not exported. */
#ifndef KZT_SEG_UTIL_H
#define KZT_SEG_UTIL_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "korla.h"

namespace kzt {

/* Zeroed block from the library allocator; null on failure or for 0 bytes. */
inline void *ZeroAlloc(size_t size)
{
    if (size == 0) {
        return nullptr;
    }
    void *p = KZ_MemMalloc(size);
    if (p != nullptr) {
        std::memset(p, 0, size);
    }
    return p;
}

/* Allocates a zeroed body of type Body whose `segs` member holds segCount
 * zeroed segments of type Seg; null on failure. */
template <typename Body, typename Seg>
Body *NewSegBody(uint16_t segCount)
{
    Body *body = static_cast<Body *>(ZeroAlloc(sizeof(Body)));
    if (body == nullptr) {
        return nullptr;
    }
    if (segCount != 0) {
        body->segs = static_cast<Seg *>(ZeroAlloc(sizeof(Seg) * segCount));
        if (body->segs == nullptr) {
            KZ_MemFree(body);
            return nullptr;
        }
    }
    body->segCount = segCount;
    return body;
}

/* Frees with KZ_MemFree when going out of scope. */
struct MemFreeDeleter {
    void operator()(void *p) const { KZ_MemFree(p); }
};

/* Whole-string test on a libxml2 element name. */
inline bool ElemNameIs(const void *elemName, const char *name)
{
    return elemName != nullptr && std::strcmp(static_cast<const char *>(elemName), name) == 0;
}

/* Mark bits that the type parse stored in an element's private word. */
inline uint64_t ElemMarks(const void *priv)
{
    return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(priv));
}

} // namespace kzt

#endif /* KZT_SEG_UTIL_H */
