/* C++ view of the range/length segment layouts, for code that is written once
 * per width. */
#ifndef KZT_SEG_H
#define KZT_SEG_H

#include <cstdint>

#include "types/kzt_cons.h"

namespace kz::types {

template <typename T>
struct SegTraits;

template <> struct SegTraits<int8_t> { using Seg = KztSegInt8; };
template <> struct SegTraits<int16_t> { using Seg = KztSegInt16; };
template <> struct SegTraits<int32_t> { using Seg = KztSegInt32; };
template <> struct SegTraits<int64_t> { using Seg = SegInt64; };
template <> struct SegTraits<uint8_t> { using Seg = KztSegUint8; };
template <> struct SegTraits<uint16_t> { using Seg = KztSegUint16; };
template <> struct SegTraits<uint32_t> { using Seg = KztSegUint32; };
template <> struct SegTraits<uint64_t> { using Seg = SegInt64; };

} // namespace kz::types

#endif /* KZT_SEG_H */
