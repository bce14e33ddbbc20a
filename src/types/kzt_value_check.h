/* Private helpers of the value checks: the fresh check contexts that union
 * members and leafref targets start with.  Not exported. */
#ifndef KZT_VALUE_CHECK_H
#define KZT_VALUE_CHECK_H

#include <cstring>

#include "types/kzt_cons.h"

namespace kz::types {

/* Union members and leafref targets nest check contexts; typedefs may refer
 * to each other through unions, so both the nesting and the total number of
 * steps of one top-level check are bounded. */
constexpr uint32_t kCheckNestMax = 16;
constexpr uint32_t kCheckStepMax = 65536;

/* Counts one step of the check; false once the budget is spent. */
inline bool TakeCheckStep(KztValCheckCtx *chk)
{
    return ++chk->stepCount <= kCheckStepMax;
}

/* Starts a context that only knows the library context and node; the step
 * budget and nesting carry over. */
inline bool EnterFreshCheckCtx(KztValCheckCtx *outer, const KzsNode *node, KztValCheckCtx *inner)
{
    std::memset(inner, 0, sizeof(*inner));
    inner->ctx = outer->ctx;
    inner->schemaNode = node;
    inner->nestDepth = outer->nestDepth + 1;
    inner->stepCount = outer->stepCount;
    return inner->nestDepth <= kCheckNestMax && TakeCheckStep(inner);
}

inline void LeaveFreshCheckCtx(KztValCheckCtx *outer, const KztValCheckCtx *inner)
{
    outer->stepCount = inner->stepCount;
}

} // namespace kz::types

#endif /* KZT_VALUE_CHECK_H */
