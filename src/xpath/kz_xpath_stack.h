/* Stacks of one XPath evaluation (C++ only; the C surface sees them opaque). */
#ifndef KZ_XPATH_STACK_H
#define KZ_XPATH_STACK_H

#include <vector>

#include "xpath/kz_xpath.h"

/* Pending operators and sub-expression markers, innermost last. */
struct XpathOpStack {
    std::vector<XpathPendingOp> items;
};

/* Operand objects, owned by the stack while on it. */
struct XpathObjStack {
    std::vector<XpathObject *> items;
};

#endif /* KZ_XPATH_STACK_H */
