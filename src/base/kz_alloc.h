// C++ containers inside the library allocate through KZ_MemMalloc like every
// other record; a failed allocation throws std::bad_alloc, which the C entry
// points catch and turn into status 12.
#ifndef KZ_ALLOC_H
#define KZ_ALLOC_H

#include <cstddef>
#include <new>

#include "korla.h"

namespace kz {

template <typename T>
struct MemAllocator {
    using value_type = T;

    MemAllocator() noexcept = default;
    template <typename U>
    MemAllocator(const MemAllocator<U> &) noexcept
    {
    }

    T *allocate(std::size_t n)
    {
        if (n > static_cast<std::size_t>(-1) / sizeof(T)) {
            throw std::bad_alloc();
        }
        void *p = KZ_MemMalloc(n * sizeof(T));
        if (p == nullptr) {
            throw std::bad_alloc();
        }
        return static_cast<T *>(p);
    }

    void deallocate(T *p, std::size_t) noexcept
    {
        KZ_MemFree(p);
    }

    template <typename U>
    bool operator==(const MemAllocator<U> &) const noexcept
    {
        return true;
    }
    template <typename U>
    bool operator!=(const MemAllocator<U> &) const noexcept
    {
        return false;
    }
};

// Constructs a T in KZ_MemMalloc memory; nullptr when out of memory.
template <typename T>
T *NewObject()
{
    void *p = KZ_MemMalloc(sizeof(T));
    if (p == nullptr) {
        return nullptr;
    }
    return new (p) T();
}

template <typename T>
void DeleteObject(T *obj) noexcept
{
    if (obj != nullptr) {
        obj->~T();
        KZ_MemFree(obj);
    }
}

}  // namespace kz

#endif  // KZ_ALLOC_H
