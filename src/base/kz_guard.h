// C entry points run their bodies through Guarded, so that no C++ exception
// ever reaches a C caller: a container that could not allocate (std::bad_alloc)
// ends the call with the result the entry point already gives when out of
// memory.  What the body changed before the throw is undone by its own RAII.
#ifndef KZ_GUARD_H
#define KZ_GUARD_H

#include <utility>

namespace kz {

template <typename Body>
auto Guarded(decltype(std::declval<Body>()()) onFailure, Body &&body) noexcept -> decltype(body())
{
    try {
        return body();
    } catch (...) {
        return onFailure;
    }
}

template <typename Body>
void GuardedVoid(Body &&body) noexcept
{
    try {
        body();
    } catch (...) {
    }
}

}  // namespace kz

#endif  // KZ_GUARD_H
