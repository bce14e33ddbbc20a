/* XPath values: objects, the object stack, conversions and comparisons. */
#include "xpath/kz_xpath.h"

#include <libxml/tree.h>

#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include "base/kz_xml.h"
#include "xpath/kz_xpath_stack.h"
#include "base/kz_kit.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

bool IsXpathBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

uint32_t SetBoolean(XpathObject *obj, bool value)
{
    if (obj->type == KZ_XPATH_OBJ_STRING) {
        KZ_MemFree(obj->val.str);
    }
    obj->type = KZ_XPATH_OBJ_BOOLEAN;
    obj->val.boolean = value ? 1u : 0u;
    return KZ_OK;
}

uint32_t SetNumber(XpathObject *obj, double value)
{
    if (obj->type == KZ_XPATH_OBJ_STRING) {
        KZ_MemFree(obj->val.str);
    }
    obj->type = KZ_XPATH_OBJ_NUMBER;
    obj->val.number = value;
    return KZ_OK;
}

bool NumbersEqual(double a, double b)
{
    return !std::isnan(a) && !std::isnan(b) && std::fabs(a - b) < DBL_EPSILON;
}

/* Truth and number of a value that is no node (a boolean, string or number), read in place. */
bool ValueAsBoolean(const XpathObject &obj)
{
    switch (obj.type) {
        case KZ_XPATH_OBJ_STRING:
            return obj.val.str != nullptr && obj.val.str[0] != '\0';
        case KZ_XPATH_OBJ_NUMBER:
            return !std::isnan(obj.val.number) && !(std::fabs(obj.val.number) < DBL_EPSILON);
        default:
            return obj.val.boolean != 0;
    }
}

double ValueAsNumber(const XpathObject &obj)
{
    switch (obj.type) {
        case KZ_XPATH_OBJ_STRING:
            return KZ_XPATH_StrToNumber(obj.val.str);
        case KZ_XPATH_OBJ_NUMBER:
            return obj.val.number;
        default:
            return obj.val.boolean != 0 ? 1.0 : 0.0;
    }
}

} // namespace

extern "C" {

double KZ_XPATH_StrToNumber(const char *text)
{
    if (text == nullptr) {
        return kNaN;
    }
    const char *begin = text;
    while (IsXpathBlank(*begin)) {
        begin++;
    }
    const char *p = begin;
    if (*p == '-') {
        p++;
    }
    /* Only Digits ('.' Digits?)? | '.' Digits: no exponent, sign "+", inf or hex. */
    const char *digits = p;
    while (*p >= '0' && *p <= '9') {
        p++;
    }
    bool intDigits = p != digits;
    bool fracDigits = false;
    if (*p == '.') {
        p++;
        const char *frac = p;
        while (*p >= '0' && *p <= '9') {
            p++;
        }
        fracDigits = p != frac;
    }
    if (!intDigits && !fracDigits) {
        return kNaN;
    }
    const char *end = p;
    while (IsXpathBlank(*p)) {
        p++;
    }
    if (*p != '\0') {
        return kNaN;
    }
    double value = kNaN;
    auto res = std::from_chars(begin, end, value, std::chars_format::fixed);
    if (res.ec == std::errc::result_out_of_range) {
        /* More digits than a double holds: a non-zero integer part overflows, the rest underflows. */
        bool neg = *begin == '-';
        bool big = false;
        for (const char *q = digits; q < end && *q != '.'; q++) {
            big = big || *q != '0';
        }
        return big ? (neg ? -HUGE_VAL : HUGE_VAL) : (neg ? -0.0 : 0.0);
    }
    if (res.ec != std::errc() || res.ptr != end) {
        return kNaN;
    }
    return value;
}

XpathObject *KZ_XPATH_NewObject(uint32_t type)
{
    auto *obj = kz::ZeroAlloc<XpathObject>();
    if (obj == nullptr) {
        return nullptr;
    }
    obj->type = type;
    return obj;
}

void KZ_XPATH_FreeObject(XpathObject *obj)
{
    if (obj == nullptr) {
        return;
    }
    if (obj->type == KZ_XPATH_OBJ_STRING) {
        KZ_MemFree(obj->val.str);
    }
    KZ_MemFree(obj);
}

/* ---- Object stack ---- */

uint32_t KZ_XPATH_GetObjStackSize(const XpathObjStack *stack)
{
    return stack == nullptr ? 0u : static_cast<uint32_t>(stack->items.size());
}

XpathObject *KZ_XPATH_PeekObject(XpathObjStack *stack)
{
    return (stack == nullptr || stack->items.empty()) ? nullptr : stack->items.back();
}

XpathObject *KZ_XPATH_PopObject(XpathObjStack *stack)
{
    if (stack == nullptr || stack->items.empty()) {
        return nullptr;
    }
    XpathObject *obj = stack->items.back();
    stack->items.pop_back();
    return obj;
}

uint32_t KZ_XPATH_PushObject(XpathObjStack *stack, XpathObject *obj)
{
    if (stack == nullptr || obj == nullptr) {
        KZ_XPATH_FreeObject(obj);
        return KZ_EINVAL;
    }
    try {
        stack->items.push_back(obj);
    } catch (const std::bad_alloc &) {
        KZ_XPATH_FreeObject(obj);
        return KZ_ENOMEM;
    }
    return KZ_OK;
}

uint32_t KZ_XPATH_PushBooleanToObjStack(XpathObjStack *stack, uint32_t value)
{
    XpathObject *obj = KZ_XPATH_NewObject(KZ_XPATH_OBJ_BOOLEAN);
    if (obj == nullptr) {
        return KZ_ENOMEM;
    }
    obj->val.boolean = value != 0 ? 1u : 0u;
    return KZ_XPATH_PushObject(stack, obj);
}

uint32_t KZ_XPATH_PushNumberToObjStack(XpathObjStack *stack, double value)
{
    XpathObject *obj = KZ_XPATH_NewObject(KZ_XPATH_OBJ_NUMBER);
    if (obj == nullptr) {
        return KZ_ENOMEM;
    }
    obj->val.number = value;
    return KZ_XPATH_PushObject(stack, obj);
}

uint32_t KZ_XPATH_PushStringToObjStack(XpathObjStack *stack, const char *text, uint32_t length)
{
    if (text == nullptr && length != 0) {
        return KZ_EINVAL;
    }
    XpathObject *obj = KZ_XPATH_NewObject(KZ_XPATH_OBJ_STRING);
    if (obj == nullptr) {
        return KZ_ENOMEM;
    }
    obj->val.str = kz::DupText(text, length);
    if (obj->val.str == nullptr) {
        KZ_XPATH_FreeObject(obj);
        return KZ_ENOMEM;
    }
    return KZ_XPATH_PushObject(stack, obj);
}

uint32_t KZ_XPATH_PushNodeToObjStack(XpathObjStack *stack, xmlNode *node)
{
    XpathObject *obj = KZ_XPATH_NewObject(KZ_XPATH_OBJ_NODE);
    if (obj == nullptr) {
        return KZ_ENOMEM;
    }
    obj->val.node = node;
    return KZ_XPATH_PushObject(stack, obj);
}

uint32_t KZ_XPATH_ReplaceNodeToTopElemInObjStack(XpathObjStack *stack, xmlNode *node)
{
    XpathObject *top = KZ_XPATH_PeekObject(stack);
    if (top == nullptr || top->type != KZ_XPATH_OBJ_NODE) {
        return KZ_EINVAL;
    }
    top->val.node = node;
    return KZ_OK;
}

xmlNode *KZ_XPATH_GetStackTopObjNode(XpathObjStack *stack)
{
    XpathObject *top = KZ_XPATH_PeekObject(stack);
    return (top == nullptr || top->type != KZ_XPATH_OBJ_NODE) ? nullptr : top->val.node;
}

XpathObject *KZ_XPATH_GetArgumentByType(XpathObjStack *stack, uint32_t type)
{
    XpathObject *top = KZ_XPATH_PeekObject(stack);
    if (top == nullptr || top->type != type) {
        return nullptr;
    }
    return KZ_XPATH_PopObject(stack);
}

/* ---- Conversions ---- */

uint32_t KZ_XPATH_ConvertBooleanToString(XpathObject *obj)
{
    if (obj == nullptr || obj->type != KZ_XPATH_OBJ_BOOLEAN) {
        return KZ_EINVAL;
    }
    const char *text = obj->val.boolean != 0 ? "true" : "false";
    char *copy = kz::DupText(text, std::strlen(text));
    if (copy == nullptr) {
        return KZ_ENOMEM;
    }
    obj->type = KZ_XPATH_OBJ_STRING;
    obj->val.str = copy;
    return KZ_OK;
}

uint32_t KZ_XPATH_ConvertBooleanToNumber(XpathObject *obj)
{
    if (obj == nullptr || obj->type != KZ_XPATH_OBJ_BOOLEAN) {
        return KZ_EINVAL;
    }
    return SetNumber(obj, ValueAsNumber(*obj));
}

uint32_t KZ_XPATH_ConvertStringToNumber(XpathObject *obj)
{
    if (obj == nullptr || obj->type != KZ_XPATH_OBJ_STRING) {
        return KZ_EINVAL;
    }
    return SetNumber(obj, ValueAsNumber(*obj));
}

uint32_t KZ_XPATH_ConvertNodeToNumber(XpathObject *obj)
{
    if (obj == nullptr || obj->type != KZ_XPATH_OBJ_NODE) {
        return KZ_EINVAL;
    }
    if (obj->val.node == nullptr) {
        return SetNumber(obj, 0.0);
    }
    char *content = kz::base::DupTextContent(obj->val.node); /* entities never expanded */
    if (content == nullptr) {
        return KZ_ENOMEM;
    }
    double value = content[0] == '\0' ? 0.0 : KZ_XPATH_StrToNumber(content);
    KZ_MemFree(content);
    return SetNumber(obj, value);
}

uint32_t KZ_XPATH_ConvertStringToBoolean(XpathObject *obj)
{
    if (obj == nullptr || obj->type != KZ_XPATH_OBJ_STRING) {
        return KZ_EINVAL;
    }
    return SetBoolean(obj, ValueAsBoolean(*obj));
}

uint32_t KZ_XPATH_ConvertNumberToBoolean(XpathObject *obj)
{
    if (obj == nullptr || obj->type != KZ_XPATH_OBJ_NUMBER) {
        return KZ_EINVAL;
    }
    return SetBoolean(obj, ValueAsBoolean(*obj));
}

uint32_t KZ_XPATH_FuncBooleanInner(XpathObject *obj)
{
    if (obj == nullptr) {
        return KZ_EINVAL;
    }
    switch (obj->type) {
        case KZ_XPATH_OBJ_BOOLEAN:
            return KZ_OK;
        case KZ_XPATH_OBJ_STRING:
            return KZ_XPATH_ConvertStringToBoolean(obj);
        case KZ_XPATH_OBJ_NODE:
            return SetBoolean(obj, obj->val.node != nullptr);
        case KZ_XPATH_OBJ_NUMBER:
            return KZ_XPATH_ConvertNumberToBoolean(obj);
        default:
            return KZ_EINVAL;
    }
}

uint32_t KZ_XPATH_FuncNumberInner(XpathObject *obj)
{
    if (obj == nullptr) {
        return KZ_EINVAL;
    }
    switch (obj->type) {
        case KZ_XPATH_OBJ_BOOLEAN:
            return KZ_XPATH_ConvertBooleanToNumber(obj);
        case KZ_XPATH_OBJ_STRING:
            return KZ_XPATH_ConvertStringToNumber(obj);
        case KZ_XPATH_OBJ_NODE:
            return KZ_XPATH_ConvertNodeToNumber(obj);
        case KZ_XPATH_OBJ_NUMBER:
            return KZ_OK;
        default:
            return KZ_EINVAL;
    }
}

uint32_t KZ_XPATH_FuncStringInner(XpathObject *obj)
{
    if (obj == nullptr) {
        return KZ_EINVAL;
    }
    switch (obj->type) {
        case KZ_XPATH_OBJ_BOOLEAN:
            return KZ_XPATH_ConvertBooleanToString(obj);
        case KZ_XPATH_OBJ_STRING:
            return KZ_OK;
        case KZ_XPATH_OBJ_NODE: {
            char *value = KZ_XPATH_CopyElementNodeContent(obj->val.node);
            if (value == nullptr) {
                return KZ_ENOMEM;
            }
            obj->type = KZ_XPATH_OBJ_STRING;
            obj->val.str = value;
            return KZ_OK;
        }
        default: /* numbers are never turned into strings */
            return KZ_EINVAL;
    }
}

/* ---- Comparisons and logic ---- */

uint32_t KZ_XPATH_EvalCompareExpr(XpathEvalCtx *ctx, XpathObject *left, XpathObject *right, uint32_t opCode)
{
    if (ctx == nullptr || left == nullptr || right == nullptr) {
        return KZ_EINVAL;
    }
    if (!KZ_XPATH_IsEqualityOperator(opCode) && !KZ_XPATH_IsRelationalOperator(opCode)) {
        return KZ_EINVAL;
    }
    /* A node stands for its string value, never for a node-set. */
    for (XpathObject *obj : {left, right}) {
        if (obj->type == KZ_XPATH_OBJ_NODE) {
            uint32_t ret = KZ_XPATH_FuncStringInner(obj);
            if (ret != KZ_OK) {
                return ret;
            }
        }
    }
    return KZ_XPATH_PushBooleanToObjStack(ctx->objectStack, KZ_XPATH_CompareValues(left, right, opCode) ? 1u : 0u);
}

uint32_t KZ_XPATH_CompareValues(const XpathObject *left, const XpathObject *right, uint32_t opCode)
{
    if (KZ_XPATH_IsEqualityOperator(opCode)) {
        bool equal;
        if (left->type == KZ_XPATH_OBJ_BOOLEAN || right->type == KZ_XPATH_OBJ_BOOLEAN) {
            equal = ValueAsBoolean(*left) == ValueAsBoolean(*right);
        } else if (left->type != KZ_XPATH_OBJ_NUMBER && right->type != KZ_XPATH_OBJ_NUMBER) {
            equal = std::strcmp(left->val.str, right->val.str) == 0;
        } else {
            equal = NumbersEqual(ValueAsNumber(*left), ValueAsNumber(*right));
        }
        return (opCode == KZ_XPATH_OP_EQ ? equal : !equal) ? 1u : 0u;
    }
    double a = ValueAsNumber(*left);
    double b = ValueAsNumber(*right);
    if (std::isnan(a) || std::isnan(b)) {
        return 0;
    }
    switch (opCode) {
        case KZ_XPATH_OP_GT:
            return a > b ? 1u : 0u;
        case KZ_XPATH_OP_LT:
            return a < b ? 1u : 0u;
        case KZ_XPATH_OP_GE:
            return a >= b ? 1u : 0u;
        default:
            return a <= b ? 1u : 0u;
    }
}

uint32_t KZ_XPATH_EvalLogicExpr(XpathEvalCtx *ctx, XpathObject *left, XpathObject *right, uint32_t opCode)
{
    if (ctx == nullptr || left == nullptr || right == nullptr ||
        (opCode != KZ_XPATH_OP_OR && opCode != KZ_XPATH_OP_AND)) {
        return KZ_EINVAL;
    }
    uint32_t ret = KZ_XPATH_FuncBooleanInner(left);
    if (ret == KZ_OK) {
        ret = KZ_XPATH_FuncBooleanInner(right);
    }
    if (ret != KZ_OK) {
        return ret;
    }
    bool a = left->val.boolean != 0;
    bool b = right->val.boolean != 0;
    return KZ_XPATH_PushBooleanToObjStack(ctx->objectStack, (opCode == KZ_XPATH_OP_OR ? (a || b) : (a && b)) ? 1u : 0u);
}

uint32_t KZ_XPATH_EvalOrExpr(XpathEvalCtx *ctx, XpathObject *left, XpathObject *right, uint32_t opCode)
{
    return KZ_XPATH_EvalLogicExpr(ctx, left, right, opCode);
}

uint32_t KZ_XPATH_EvalAndExpr(XpathEvalCtx *ctx, XpathObject *left, XpathObject *right, uint32_t opCode)
{
    return KZ_XPATH_EvalLogicExpr(ctx, left, right, opCode);
}

uint32_t KZ_XPATH_EvalEqualityExpr(XpathEvalCtx *ctx, XpathObject *left, XpathObject *right, uint32_t opCode)
{
    return KZ_XPATH_EvalCompareExpr(ctx, left, right, opCode);
}

uint32_t KZ_XPATH_EvalRelationalExpr(XpathEvalCtx *ctx, XpathObject *left, XpathObject *right, uint32_t opCode)
{
    return KZ_XPATH_EvalCompareExpr(ctx, left, right, opCode);
}

} // extern "C"
