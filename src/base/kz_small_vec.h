// A growable array of trivially copyable values whose first N live inside the
// object: short-lived stacks that usually stay small cost no allocation.
// Growth goes through KZ_MemMalloc and throws std::bad_alloc on failure, like
// MemAllocator.
#ifndef KZ_SMALL_VEC_H
#define KZ_SMALL_VEC_H

#include <cstddef>
#include <cstring>
#include <new>
#include <type_traits>

#include "korla.h"

namespace kz {

template <typename T, std::size_t N>
class SmallVec {
    static_assert(std::is_trivially_copyable<T>::value, "SmallVec moves its values with memcpy");

public:
    SmallVec() noexcept = default;
    SmallVec(const SmallVec &) = delete;
    SmallVec &operator=(const SmallVec &) = delete;
    ~SmallVec()
    {
        if (data_ != inline_) {
            KZ_MemFree(data_);
        }
    }

    void reserve(std::size_t wanted)
    {
        if (wanted <= capacity_) {
            return;
        }
        if (wanted > static_cast<std::size_t>(-1) / sizeof(T)) {
            throw std::bad_alloc();
        }
        auto *grown = static_cast<T *>(KZ_MemMalloc(wanted * sizeof(T)));
        if (grown == nullptr) {
            throw std::bad_alloc();
        }
        std::memcpy(static_cast<void *>(grown), data_, size_ * sizeof(T));
        if (data_ != inline_) {
            KZ_MemFree(data_);
        }
        data_ = grown;
        capacity_ = wanted;
    }
    void push_back(const T &value)
    {
        if (size_ == capacity_) {
            reserve(capacity_ * 2);
        }
        data_[size_++] = value;
    }
    void pop_back() noexcept
    {
        --size_;
    }
    T &back() noexcept
    {
        return data_[size_ - 1];
    }
    bool empty() const noexcept
    {
        return size_ == 0;
    }
    std::size_t size() const noexcept
    {
        return size_;
    }
    T *begin() noexcept
    {
        return data_;
    }
    T *end() noexcept
    {
        return data_ + size_;
    }

private:
    T inline_[N];
    T *data_ = inline_;
    std::size_t size_ = 0;
    std::size_t capacity_ = N;
};

}  // namespace kz

#endif  // KZ_SMALL_VEC_H
