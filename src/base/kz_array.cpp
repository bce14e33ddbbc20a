// Zero-filled arrays whose u16 count the caller keeps.  Growth is exact: the
// loader counts first and sizes once, so there is no doubling here.
#include <cstring>

#include "base/kz_array.h"
#include "base/kz_safe.h"
#include "base/kz_kit.h"

namespace {

constexpr uint32_t kMaxElems = 0xFFFFu;

// Byte size of count elements, or false when it does not fit in 32 bits.
bool ByteSize(uint32_t count, uint32_t elemSize, uint32_t *out)
{
    uint64_t bytes = static_cast<uint64_t>(count) * elemSize;
    if (bytes > 0xFFFFFFFFull) {
        return false;
    }
    *out = static_cast<uint32_t>(bytes);
    return true;
}

}  // namespace

extern "C" {

uint32_t KZ_UTL_NewArray(void **arrayPtr, uint16_t count, uint32_t elemSize)
{
    if (arrayPtr == nullptr || elemSize == 0 || *arrayPtr != nullptr) {
        return KZ_EINVAL;
    }
    if (count == 0) {
        return KZ_OK;
    }
    uint32_t bytes = 0;
    if (!ByteSize(count, elemSize, &bytes)) {
        return KZ_ENOMEM;
    }
    void *p = kz::ZeroAlloc<unsigned char>(bytes);
    if (p == nullptr) {
        return KZ_ENOMEM;
    }
    *arrayPtr = p;
    return KZ_OK;
}

uint32_t KZ_UTL_ExpandArray(void **arrayPtr, uint16_t oldCount, uint16_t addCount, uint32_t elemSize)
{
    if (arrayPtr == nullptr || elemSize == 0) {
        return KZ_EINVAL;
    }
    if (oldCount == 0) {
        return KZ_UTL_NewArray(arrayPtr, addCount, elemSize);
    }
    if (addCount == 0) {
        return KZ_OK;
    }
    // The caller's count is 16 bits wide; a larger array could not be counted.
    uint32_t newCount = static_cast<uint32_t>(oldCount) + addCount;
    if (newCount > kMaxElems) {
        return KZ_EINVAL;
    }
    uint32_t newBytes = 0;
    uint32_t oldBytes = 0;
    if (!ByteSize(newCount, elemSize, &newBytes) || !ByteSize(oldCount, elemSize, &oldBytes)) {
        return KZ_ENOMEM;
    }
    void *p = kz::ZeroAlloc<unsigned char>(newBytes);
    if (p == nullptr) {
        return KZ_ENOMEM;
    }
    if (kz::base::MemcpyS(p, newBytes, *arrayPtr, oldBytes) != 0) {
        KZ_MemFree(p);
        return KZ_ENOMEM;
    }
    KZ_MemFree(*arrayPtr);
    *arrayPtr = p;
    return KZ_OK;
}

}  // extern "C"
