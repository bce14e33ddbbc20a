/* Small private helpers shared by the constraint bodies that hold a
 * (segCount, segs) pair.  Not exported. */
#ifndef KZT_SEG_UTIL_H
#define KZT_SEG_UTIL_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "korla.h"
#include "base/kz_dict.h"
#include "base/kz_kit.h"

namespace kz::types {

/* Allocates a zeroed body of type Body whose `segs` member holds segCount
 * zeroed segments of type Seg; null on failure. */
template <typename Body, typename Seg>
Body *NewSegBody(uint16_t segCount)
{
    Body *body = kz::ZeroAlloc<Body>();
    if (body == nullptr) {
        return nullptr;
    }
    if (segCount != 0) {
        body->segs = kz::ZeroAlloc<Seg>(segCount);
        if (body->segs == nullptr) {
            KZ_MemFree(body);
            return nullptr;
        }
    }
    body->segCount = segCount;
    return body;
}

/* Releases a body of type Body: clearSeg(dict, segment) on each segment, then
 * the segments and the body.  A null body is ignored. */
template <typename Body, typename ClearSeg>
void DestroySegBody(KzDict *dict, void *body, ClearSeg clearSeg)
{
    auto *b = static_cast<Body *>(body);
    if (b == nullptr) {
        return;
    }
    for (uint16_t i = 0; i < b->segCount && b->segs != nullptr; ++i) {
        clearSeg(dict, b->segs[i]);
    }
    KZ_MemFree(b->segs);
    KZ_MemFree(b);
}

/* A copy of a body of type Body whose segments copySeg(dict, to, from) fills;
 * when one returns false the copy is released with destroy and the result is
 * null. */
template <typename Body, typename Seg, typename CopySeg>
Body *CopySegBody(KzDict *dict, const void *src, void (*destroy)(KzDict *, void *), CopySeg copySeg)
{
    const auto *s = static_cast<const Body *>(src);
    if (dict == nullptr || s == nullptr) {
        return nullptr;
    }
    Body *d = NewSegBody<Body, Seg>(s->segCount);
    if (d == nullptr) {
        return nullptr;
    }
    for (uint16_t i = 0; i < s->segCount; ++i) {
        if (!copySeg(dict, d->segs[i], s->segs[i])) {
            destroy(dict, d);
            return nullptr;
        }
    }
    return d;
}

/* Whole-string test on a libxml2 element name. */
inline bool ElemNameIs(const void *elemName, const char *name)
{
    return kz::SameNonNullText(static_cast<const char *>(elemName), name);
}

/* Mark bits that the type parse stored in an element's private word. */
inline uint64_t ElemMarks(const void *priv)
{
    return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(priv));
}

} // namespace kz::types

#endif /* KZT_SEG_UTIL_H */
