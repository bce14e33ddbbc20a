/* Stacks of one XPath evaluation (C++ only; the C surface sees them opaque). */
#ifndef KZ_XPATH_STACK_H
#define KZ_XPATH_STACK_H

#include "base/kz_small_vec.h"
#include "xpath/kz_xpath.h"

/* Pending operators and sub-expression markers, innermost last. */
struct XpathOpStack {
    kz::SmallVec<XpathPendingOp, 16> items;
};

/* Operand objects, owned by the stack while on it. */
struct XpathObjStack {
    kz::SmallVec<XpathObject *, 16> items;
};

/* Both stacks of one evaluation in one block; the operator stack is its first member, so the
 * context's operator-stack pointer is the block. */
struct XpathEvalStacks {
    XpathOpStack ops;
    XpathObjStack objects;
};

#endif /* KZ_XPATH_STACK_H */
