/*
 * XPath evaluation: operator precedence over two stacks, location paths that
 * yield at most one node, and the conversion of the result to true/false.
 *
 * Parentheses and function calls are tracked on a heap-held frame list
 * instead of by recursion, so the nesting depth of a condition costs memory,
 * never native stack.
 */
#include "xpath/kz_xpath.h"

#include <libxml/tree.h>

#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "xpath/kz_xpath_stack.h"
#include "base/kz_guard.h"

namespace {

constexpr uint32_t kReserveCap = 1024;

inline uint32_t KindAt(const XpathLex *lex, uint32_t pos)
{
    return pos < lex->count ? lex->tokens[pos].kind : static_cast<uint32_t>(KZ_XPATH_TOK_NONE);
}

inline bool IsStepStart(uint32_t kind)
{
    return kind == KZ_XPATH_TOK_DOT || kind == KZ_XPATH_TOK_DDOT || kind == KZ_XPATH_TOK_NAMETEST ||
           kind == KZ_XPATH_TOK_STEP;
}

inline bool IsCloser(uint32_t kind)
{
    return kind == KZ_XPATH_TOK_RPAREN || kind == KZ_XPATH_TOK_COMMA;
}

uint32_t PushMarker(XpathEvalCtx *ctx, uint32_t tokenIndex)
{
    try {
        ctx->exprTypeStack->items.push_back(XpathPendingOp{KZ_XPATH_EXPR_MARKER, tokenIndex});
    } catch (const std::bad_alloc &) {
        return KZ_ENOMEM;
    }
    return KZ_OK;
}

/* First child element named `name` (document order); the prefix is not compared. */
xmlNode *FindChildElement(xmlNode *parent, const char *name, uint32_t len)
{
    for (xmlNode *c = parent->children; c != nullptr; c = c->next) {
        if (c->type != XML_ELEMENT_NODE || c->name == nullptr) {
            continue;
        }
        const char *cn = reinterpret_cast<const char *>(c->name);
        if (std::strncmp(cn, name, len) == 0 && cn[len] == '\0') {
            return c;
        }
    }
    return nullptr;
}

/* The child element a name test selects from node (null stays null). Only the local name
 * counts; "*" and "prefix:*" are taken literally as "*". */
xmlNode *StepToChild(xmlNode *node, const XpathLex *lex, const XpathToken &test)
{
    if (node == nullptr) {
        return nullptr;
    }
    const char *name = lex->expr + test.start;
    uint32_t len = test.length;
    const void *colon = std::memchr(name, ':', len);
    if (colon != nullptr) {
        uint32_t skip = static_cast<uint32_t>(static_cast<const char *>(colon) - name) + 1u;
        name += skip;
        len -= skip;
    }
    return FindChildElement(node, name, len);
}

/* ".." from node; it never climbs onto the node standing for the document root. */
xmlNode *StepToParent(xmlNode *node, xmlNode *rootNode)
{
    return node != nullptr && node->parent != rootNode ? node->parent : node;
}

/* Literals and numbers of simple comparisons are read from a buffer of this size. */
constexpr uint32_t kSimpleOperandMax = 64;

/* The node a relative path of plain steps ("a/../b") selects from contextNode, through tokens
 * [0, end); false when the tokens are not such a path. */
bool WalkPlainPath(xmlNode *rootNode, xmlNode *contextNode, const XpathLex *lex, uint32_t end, xmlNode **out)
{
    if (end % 2 == 0) {
        return false; /* steps and separators alternate, a step first and last */
    }
    xmlNode *node = contextNode;
    for (uint32_t i = 0; i < end; i++) {
        const XpathToken &t = lex->tokens[i];
        if (i % 2 == 1) {
            if (t.kind != KZ_XPATH_TOK_PATH) {
                return false;
            }
        } else if (t.kind == KZ_XPATH_TOK_NAMETEST) {
            node = StepToChild(node, lex, t);
        } else if (t.kind == KZ_XPATH_TOK_DDOT) {
            node = StepToParent(node, rootNode);
        } else if (t.kind != KZ_XPATH_TOK_DOT) {
            return false;
        }
    }
    *out = node;
    return true;
}

/* Conditions shaped "path op literal" or "path op number" (as "../id > 0"), the usual when and
 * must, evaluated without the operator machinery and without allocating. False, with nothing
 * decided, for any other shape or a value that is not plain text; the general evaluator then
 * decides, with the same result. */
bool EvalSimpleComparison(xmlNode *rootNode, xmlNode *contextNode, const XpathLex *lex, uint32_t *ret)
{
    if (lex->count < 3) {
        return false;
    }
    const XpathToken &op = lex->tokens[lex->count - 2];
    const XpathToken &operand = lex->tokens[lex->count - 1];
    if ((op.kind != KZ_XPATH_TOK_EQUALITY && op.kind != KZ_XPATH_TOK_RELATIONAL) ||
        (operand.kind != KZ_XPATH_TOK_LITERAL && operand.kind != KZ_XPATH_TOK_NUMBER)) {
        return false;
    }
    const bool literal = operand.kind == KZ_XPATH_TOK_LITERAL;
    const uint32_t length = literal ? operand.length - 2 : operand.length;
    xmlNode *node = nullptr;
    if (length >= kSimpleOperandMax || !WalkPlainPath(rootNode, contextNode, lex, lex->count - 2, &node)) {
        return false;
    }
    const char *value = KZ_XPATH_PlainNodeValue(node);
    if (value == nullptr) {
        return false;
    }
    char text[kSimpleOperandMax];
    std::memcpy(text, lex->expr + operand.start + (literal ? 1 : 0), length);
    text[length] = '\0';
    XpathObject left;
    left.type = KZ_XPATH_OBJ_STRING;
    left.val.str = const_cast<char *>(value); /* borrowed: compared in place, never freed */
    XpathObject right;
    if (literal) {
        right.type = KZ_XPATH_OBJ_STRING;
        right.val.str = text;
    } else {
        right.type = KZ_XPATH_OBJ_NUMBER;
        right.val.number = KZ_XPATH_StrToNumber(text);
    }
    uint32_t opCode = KZ_XPATH_GetTokenOperationType(lex, lex->count - 2);
    *ret = KZ_XPATH_CompareValues(&left, &right, opCode) != 0 ? KZ_OK : KZ_XPATH_FALSE;
    return true;
}

bool CheckArgs(XpathEvalCtx *ctx, const XpathLex *lex, const uint32_t *pos)
{
    return ctx != nullptr && lex != nullptr && pos != nullptr && ctx->exprTypeStack != nullptr &&
           ctx->objectStack != nullptr;
}

/* The token at *pos when the arguments are usable and it is of this kind, else null. */
const XpathToken *TokenOfKind(XpathEvalCtx *ctx, const XpathLex *lex, const uint32_t *pos, uint32_t kind)
{
    return CheckArgs(ctx, lex, pos) && KindAt(lex, *pos) == kind ? &lex->tokens[*pos] : nullptr;
}

/* Steps over the ")" expected at *pos. */
uint32_t ConsumeRightParen(const XpathLex *lex, uint32_t *pos)
{
    if (KindAt(lex, *pos) != KZ_XPATH_TOK_RPAREN) {
        return KZ_XPATH_EPAREN;
    }
    (*pos)++;
    return KZ_OK;
}

/* Open "(" of a primary expression (func null) or of a function call. */
using Frames = std::vector<XpathFunc>;

/* A ")" or "," reached inside an open frame, after reducing to its marker. */
uint32_t CloseFrame(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos, Frames &frames)
{
    XpathFunc func = frames.back();
    uint32_t kind = KindAt(lex, *pos);
    if (func == nullptr) {
        if (kind != KZ_XPATH_TOK_RPAREN) {
            return KZ_XPATH_EPAREN;
        }
        (*pos)++;
        frames.pop_back();
        return KZ_OK;
    }
    if (kind == KZ_XPATH_TOK_COMMA) {
        /* next argument: a new sub-expression starts at the comma */
        uint32_t ret = PushMarker(ctx, *pos);
        (*pos)++;
        return ret;
    }
    (*pos)++;
    frames.pop_back();
    return func(ctx->objectStack);
}

} // namespace

extern "C" {

/* ---- Context ---- */

uint32_t KZ_XPATH_InitEvalCtx(XpathEvalCtx *ctx, xmlNode *rootNode, xmlNode *contextNode, uint32_t sizeHint)
{
    if (ctx == nullptr) {
        return KZ_EINVAL;
    }
    ctx->rootNode = rootNode;
    ctx->contextNode = contextNode;
    ctx->exprTypeStack = nullptr;
    ctx->objectStack = nullptr;
    uint32_t reserve = sizeHint < kReserveCap ? sizeHint : kReserveCap;
    void *mem = KZ_MemMalloc(sizeof(XpathEvalStacks));
    if (mem == nullptr) {
        return KZ_ENOMEM;
    }
    auto *stacks = new (mem) XpathEvalStacks();
    ctx->exprTypeStack = &stacks->ops;
    ctx->objectStack = &stacks->objects;
    try {
        ctx->exprTypeStack->items.reserve(reserve);
        ctx->objectStack->items.reserve(reserve);
    } catch (const std::bad_alloc &) {
        KZ_XPATH_DestroyEvalCtx(ctx);
        return KZ_ENOMEM;
    }
    return KZ_OK;
}

void KZ_XPATH_DestroyEvalCtx(XpathEvalCtx *ctx)
{
    if (ctx == nullptr || ctx->exprTypeStack == nullptr) {
        return;
    }
    for (XpathObject *obj : ctx->objectStack->items) {
        KZ_XPATH_FreeObject(obj);
    }
    auto *stacks = reinterpret_cast<XpathEvalStacks *>(ctx->exprTypeStack);
    stacks->~XpathEvalStacks();
    KZ_MemFree(stacks);
    ctx->exprTypeStack = nullptr;
    ctx->objectStack = nullptr;
}

uint32_t KZ_XPATH_GetEvalResult(XpathEvalCtx *ctx)
{
    if (ctx == nullptr || KZ_XPATH_GetObjStackSize(ctx->objectStack) != 1) {
        return KZ_EINVAL;
    }
    XpathObject *obj = KZ_XPATH_PopObject(ctx->objectStack);
    uint32_t ret = KZ_XPATH_FuncBooleanInner(obj);
    if (ret == KZ_OK) {
        ret = obj->val.boolean != 0 ? KZ_OK : KZ_XPATH_FALSE;
    }
    KZ_XPATH_FreeObject(obj);
    return ret;
}

/* ---- Operators ---- */

XpathEvalFunc KZ_XPATH_GetExprEvalFunc(uint32_t exprType)
{
    static constexpr XpathEvalFunc kTable[] = {KZ_XPATH_EvalOrExpr, KZ_XPATH_EvalAndExpr,
                                               KZ_XPATH_EvalEqualityExpr, KZ_XPATH_EvalRelationalExpr};
    return exprType < sizeof(kTable) / sizeof(kTable[0]) ? kTable[exprType] : nullptr;
}

uint32_t KZ_XPATH_GetTokenOperationType(const XpathLex *lex, uint32_t tokenIndex)
{
    if (lex == nullptr || tokenIndex >= lex->count) {
        return KZ_XPATH_OP_NONE;
    }
    const XpathToken &t = lex->tokens[tokenIndex];
    bool gt = lex->expr[t.start] == '>';
    switch (t.kind) {
        case KZ_XPATH_TOK_OR:
            return KZ_XPATH_OP_OR;
        case KZ_XPATH_TOK_AND:
            return KZ_XPATH_OP_AND;
        case KZ_XPATH_TOK_EQUALITY:
            return t.length == 1 ? KZ_XPATH_OP_EQ : KZ_XPATH_OP_NE;
        case KZ_XPATH_TOK_RELATIONAL:
            if (t.length == 1) {
                return gt ? KZ_XPATH_OP_GT : KZ_XPATH_OP_LT;
            }
            return gt ? KZ_XPATH_OP_GE : KZ_XPATH_OP_LE;
        default:
            return KZ_XPATH_OP_NONE;
    }
}

uint32_t KZ_XPATH_IsEqualityOperator(uint32_t opCode)
{
    return (opCode == KZ_XPATH_OP_EQ || opCode == KZ_XPATH_OP_NE) ? 1u : 0u;
}

uint32_t KZ_XPATH_IsRelationalOperator(uint32_t opCode)
{
    return (opCode >= KZ_XPATH_OP_GT && opCode <= KZ_XPATH_OP_LE) ? 1u : 0u;
}

uint32_t KZ_XPATH_CalculateOneExpr(XpathEvalCtx *ctx, const XpathLex *lex, const XpathPendingOp *op)
{
    if (ctx == nullptr || lex == nullptr || op == nullptr || KZ_XPATH_GetObjStackSize(ctx->objectStack) < 2) {
        return KZ_EINVAL;
    }
    XpathObject *right = KZ_XPATH_PopObject(ctx->objectStack);
    XpathObject *left = KZ_XPATH_PopObject(ctx->objectStack);
    uint32_t ret;
    XpathEvalFunc func = KZ_XPATH_GetExprEvalFunc(op->exprType);
    uint32_t opCode = KZ_XPATH_GetTokenOperationType(lex, op->tokenIndex);
    if (func == nullptr) {
        ret = KZ_XPATH_ENOEVALFUNC;
    } else if (opCode == KZ_XPATH_OP_NONE) {
        ret = KZ_XPATH_ENOOPCODE;
    } else {
        ret = func(ctx, left, right, opCode);
    }
    KZ_XPATH_FreeObject(left);
    KZ_XPATH_FreeObject(right);
    return ret;
}

uint32_t KZ_XPATH_CalculateHighPriorityExpr(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t exprType)
{
    if (ctx == nullptr || ctx->exprTypeStack == nullptr) {
        return KZ_EINVAL;
    }
    auto &ops = ctx->exprTypeStack->items;
    while (!ops.empty() && ops.back().exprType != KZ_XPATH_EXPR_MARKER && ops.back().exprType >= exprType) {
        XpathPendingOp op = ops.back();
        ops.pop_back();
        uint32_t ret = KZ_XPATH_CalculateOneExpr(ctx, lex, &op);
        if (ret != KZ_OK) {
            return ret;
        }
    }
    return KZ_OK;
}

uint32_t KZ_XPATH_PushExprTypeToStackByPriority(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t exprType,
                                               uint32_t tokenIndex)
{
    /* Equal types reduce first: operators of one level associate to the left. */
    uint32_t ret = KZ_XPATH_CalculateHighPriorityExpr(ctx, lex, exprType);
    if (ret != KZ_OK) {
        return ret;
    }
    try {
        ctx->exprTypeStack->items.push_back(XpathPendingOp{exprType, tokenIndex});
    } catch (const std::bad_alloc &) {
        return KZ_ENOMEM;
    }
    return KZ_OK;
}

uint32_t KZ_XPATH_CalculateRemainExpr(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t closing)
{
    if (ctx == nullptr || ctx->exprTypeStack == nullptr) {
        return KZ_EINVAL;
    }
    auto &ops = ctx->exprTypeStack->items;
    while (!ops.empty()) {
        XpathPendingOp op = ops.back();
        ops.pop_back();
        if (op.exprType == KZ_XPATH_EXPR_MARKER) {
            /* closing: the sub-expression ends here; final: a "(" was never closed */
            return closing != 0 ? KZ_OK : KZ_XPATH_EPAREN;
        }
        uint32_t ret = KZ_XPATH_CalculateOneExpr(ctx, lex, &op);
        if (ret != KZ_OK) {
            return ret;
        }
    }
    return closing != 0 ? KZ_XPATH_EPAREN : KZ_OK;
}

/* ---- Expressions ---- */

uint32_t KZ_XPATH_EvalExpr(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos)
{
    if (!CheckArgs(ctx, lex, pos)) {
        return KZ_EINVAL;
    }
    Frames frames;
    while (*pos < lex->count) {
        uint32_t kind = lex->tokens[*pos].kind;
        uint32_t ret;
        if (IsCloser(kind)) {
            ret = KZ_XPATH_CalculateRemainExpr(ctx, lex, 1);
            if (ret != KZ_OK || frames.empty()) {
                return ret; /* the enclosing sub-expression ends at this token */
            }
            ret = CloseFrame(ctx, lex, pos, frames);
        } else if (KZ_XPATH_GetTokenExprType(kind) != KZ_XPATH_EXPR_NONE) {
            uint32_t prevKind = *pos == 0 ? static_cast<uint32_t>(KZ_XPATH_TOK_NONE) : lex->tokens[*pos - 1].kind;
            if (kind == KZ_XPATH_TOK_ADDITIVE && !KZ_XPATH_IsNextTokenOperator(prevKind)) {
                return KZ_XPATH_EPRIMARY; /* a sign where an operand belongs: no unary minus */
            }
            ret = KZ_XPATH_PushExprTypeToStackByPriority(ctx, lex, KZ_XPATH_GetTokenExprType(kind), *pos);
            (*pos)++;
        } else if (kind == KZ_XPATH_TOK_LPAREN) {
            ret = PushMarker(ctx, *pos);
            try {
                frames.push_back(nullptr);
            } catch (const std::bad_alloc &) {
                ret = KZ_ENOMEM;
            }
            (*pos)++;
        } else if (kind == KZ_XPATH_TOK_FUNCNAME) {
            XpathFunc func = KZ_XPATH_GetXpathFunction(lex->expr + lex->tokens[*pos].start, lex->tokens[*pos].length);
            if (func == nullptr) {
                return KZ_XPATH_EUNKNOWNFUNC;
            }
            (*pos)++;
            if (KindAt(lex, *pos) != KZ_XPATH_TOK_LPAREN) {
                return KZ_XPATH_EPAREN;
            }
            ret = PushMarker(ctx, *pos);
            try {
                frames.push_back(func);
            } catch (const std::bad_alloc &) {
                ret = KZ_ENOMEM;
            }
            (*pos)++;
        } else {
            ret = KZ_XPATH_EvalPathExpr(ctx, lex, pos);
        }
        if (ret != KZ_OK) {
            return ret;
        }
    }
    return KZ_XPATH_CalculateRemainExpr(ctx, lex, 0);
}

uint32_t KZ_XPATH_EvalSubExpr(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos)
{
    if (!CheckArgs(ctx, lex, pos)) {
        return KZ_EINVAL;
    }
    uint32_t kind = KindAt(lex, *pos);
    if (kind != KZ_XPATH_TOK_LPAREN && kind != KZ_XPATH_TOK_COMMA) {
        return KZ_XPATH_ESUBSTART;
    }
    uint32_t ret = PushMarker(ctx, *pos);
    if (ret != KZ_OK) {
        return ret;
    }
    (*pos)++;
    ret = KZ_XPATH_EvalExpr(ctx, lex, pos);
    if (ret != KZ_OK) {
        return ret;
    }
    return IsCloser(KindAt(lex, *pos)) ? KZ_OK : KZ_XPATH_ESUBEND;
}

uint32_t KZ_XPATH_EvalPrimaryExpr(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos)
{
    if (!CheckArgs(ctx, lex, pos)) {
        return KZ_EINVAL;
    }
    switch (KindAt(lex, *pos)) {
        case KZ_XPATH_TOK_LPAREN: {
            uint32_t ret = KZ_XPATH_EvalSubExpr(ctx, lex, pos);
            if (ret != KZ_OK) {
                return ret;
            }
            return ConsumeRightParen(lex, pos);
        }
        case KZ_XPATH_TOK_LITERAL:
            return KZ_XPATH_EvalLiteral(ctx, lex, pos);
        case KZ_XPATH_TOK_NUMBER:
            return KZ_XPATH_EvalNumber(ctx, lex, pos);
        case KZ_XPATH_TOK_FUNCNAME:
            return KZ_XPATH_EvalFunctionCall(ctx, lex, pos);
        default:
            return KZ_XPATH_EPRIMARY;
    }
}

uint32_t KZ_XPATH_EvalPathExpr(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos)
{
    if (!CheckArgs(ctx, lex, pos)) {
        return KZ_EINVAL;
    }
    uint32_t kind = KindAt(lex, *pos);
    if (kind == KZ_XPATH_TOK_LPAREN || kind == KZ_XPATH_TOK_FUNCNAME || kind == KZ_XPATH_TOK_LITERAL ||
        kind == KZ_XPATH_TOK_NUMBER) {
        return KZ_XPATH_EvalPrimaryExpr(ctx, lex, pos);
    }
    uint32_t ret = KZ_XPATH_PushNodeToObjStack(ctx->objectStack, nullptr);
    if (ret != KZ_OK) {
        return ret;
    }
    if (kind == KZ_XPATH_TOK_PATH) {
        return KZ_XPATH_EvalAbsoluteLocationPath(ctx, lex, pos);
    }
    if (IsStepStart(kind)) {
        return KZ_XPATH_EvalRelativeLocationPath(ctx, lex, pos);
    }
    return KZ_EINVAL;
}

uint32_t KZ_XPATH_EvalAbsoluteLocationPath(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos)
{
    if (TokenOfKind(ctx, lex, pos, KZ_XPATH_TOK_PATH) == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t ret = KZ_XPATH_ReplaceNodeToTopElemInObjStack(ctx->objectStack, ctx->rootNode);
    if (ret != KZ_OK) {
        return ret;
    }
    if (lex->tokens[*pos].length != 1) {
        return KZ_XPATH_EROOTDSLASH;
    }
    (*pos)++;
    if (IsStepStart(KindAt(lex, *pos))) {
        return KZ_XPATH_EvalRelativeLocationPath(ctx, lex, pos);
    }
    return KZ_OK; /* "/" alone: the root itself */
}

uint32_t KZ_XPATH_EvalRelativeLocationPath(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos)
{
    if (!CheckArgs(ctx, lex, pos)) {
        return KZ_EINVAL;
    }
    XpathObject *top = KZ_XPATH_PeekObject(ctx->objectStack);
    if (top == nullptr || top->type != KZ_XPATH_OBJ_NODE) {
        return KZ_EINVAL;
    }
    if (top->val.node == nullptr) {
        top->val.node = ctx->contextNode;
    }
    while (IsStepStart(KindAt(lex, *pos))) {
        uint32_t ret = KZ_XPATH_EvalStep(ctx, lex, pos);
        if (ret != KZ_OK) {
            return ret;
        }
        /* "//" inside a path acts as "/" */
        if (KindAt(lex, *pos) != KZ_XPATH_TOK_PATH) {
            break;
        }
        (*pos)++;
    }
    return KZ_OK;
}

uint32_t KZ_XPATH_EvalStep(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos)
{
    if (!CheckArgs(ctx, lex, pos)) {
        return KZ_EINVAL;
    }
    switch (KindAt(lex, *pos)) {
        case KZ_XPATH_TOK_DOT:
            return KZ_XPATH_EvalDot(ctx, lex, pos);
        case KZ_XPATH_TOK_DDOT:
            return KZ_XPATH_EvalDDot(ctx, lex, pos);
        case KZ_XPATH_TOK_NAMETEST:
            return KZ_XPATH_EvalNameTest(ctx, lex, pos);
        case KZ_XPATH_TOK_STEP:
            return KZ_XPATH_ESTEPKIND;
        default:
            return KZ_EINVAL;
    }
}

uint32_t KZ_XPATH_EvalDot(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos)
{
    if (!CheckArgs(ctx, lex, pos)) {
        return KZ_EINVAL;
    }
    (*pos)++;
    return KZ_OK;
}

uint32_t KZ_XPATH_EvalDDot(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos)
{
    if (!CheckArgs(ctx, lex, pos)) {
        return KZ_EINVAL;
    }
    XpathObject *top = KZ_XPATH_PeekObject(ctx->objectStack);
    if (top == nullptr || top->type != KZ_XPATH_OBJ_NODE) {
        return KZ_EINVAL;
    }
    top->val.node = StepToParent(top->val.node, ctx->rootNode);
    (*pos)++;
    return KZ_OK;
}

uint32_t KZ_XPATH_SkipPredicate(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos)
{
    if (!CheckArgs(ctx, lex, pos)) {
        return KZ_EINVAL;
    }
    if (KindAt(lex, *pos) != KZ_XPATH_TOK_LBRACKET) {
        return KZ_OK;
    }
    /* Predicates are not evaluated; brackets are not counted. */
    for (uint32_t i = *pos + 1; i < lex->count; i++) {
        if (lex->tokens[i].kind == KZ_XPATH_TOK_RBRACKET) {
            *pos = i + 1;
            return KZ_OK;
        }
    }
    return KZ_XPATH_EPREDICATE;
}

uint32_t KZ_XPATH_EvalNameTest(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos)
{
    const XpathToken *t = TokenOfKind(ctx, lex, pos, KZ_XPATH_TOK_NAMETEST);
    if (t == nullptr) {
        return KZ_EINVAL;
    }
    XpathObject *top = KZ_XPATH_PeekObject(ctx->objectStack);
    if (top == nullptr || top->type != KZ_XPATH_OBJ_NODE) {
        return KZ_EINVAL;
    }
    top->val.node = StepToChild(top->val.node, lex, *t);
    (*pos)++;
    return KZ_XPATH_SkipPredicate(ctx, lex, pos);
}

uint32_t KZ_XPATH_EvalLiteral(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos)
{
    const XpathToken *t = TokenOfKind(ctx, lex, pos, KZ_XPATH_TOK_LITERAL);
    if (t == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t ret = KZ_XPATH_PushStringToObjStack(ctx->objectStack, lex->expr + t->start + 1, t->length - 2);
    (*pos)++;
    return ret;
}

uint32_t KZ_XPATH_EvalNumber(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos)
{
    const XpathToken *t = TokenOfKind(ctx, lex, pos, KZ_XPATH_TOK_NUMBER);
    if (t == nullptr) {
        return KZ_EINVAL;
    }
    double value;
    try {
        std::string text(lex->expr + t->start, t->length);
        value = KZ_XPATH_StrToNumber(text.c_str());
    } catch (const std::bad_alloc &) {
        return KZ_ENOMEM;
    }
    (*pos)++;
    return KZ_XPATH_PushNumberToObjStack(ctx->objectStack, value);
}

uint32_t KZ_XPATH_EvalFunctionCallArguments(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos)
{
    if (!CheckArgs(ctx, lex, pos)) {
        return KZ_EINVAL;
    }
    while (*pos < lex->count && KindAt(lex, *pos) != KZ_XPATH_TOK_RPAREN) {
        uint32_t ret = KZ_XPATH_EvalSubExpr(ctx, lex, pos);
        if (ret != KZ_OK) {
            return ret;
        }
    }
    return ConsumeRightParen(lex, pos);
}

uint32_t KZ_XPATH_EvalFunctionCall(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos)
{
    const XpathToken *t = TokenOfKind(ctx, lex, pos, KZ_XPATH_TOK_FUNCNAME);
    if (t == nullptr) {
        return KZ_EINVAL;
    }
    XpathFunc func = KZ_XPATH_GetXpathFunction(lex->expr + t->start, t->length);
    if (func == nullptr) {
        return KZ_XPATH_EUNKNOWNFUNC;
    }
    (*pos)++;
    if (KindAt(lex, *pos) != KZ_XPATH_TOK_LPAREN) {
        return KZ_XPATH_EPAREN;
    }
    uint32_t ret = KZ_XPATH_EvalFunctionCallArguments(ctx, lex, pos);
    if (ret != KZ_OK) {
        return ret;
    }
    return func(ctx->objectStack);
}

/* ---- Entry points ---- */

uint32_t KZ_XPATH_EvalTokenizedCondition(xmlNode *rootNode, xmlNode *contextNode, const XpathLex *lex)
{
    return kz::Guarded(KZ_ENOMEM, [&]() -> uint32_t {
        if (rootNode == nullptr || contextNode == nullptr) {
            return KZ_EINVAL;
        }
        if (lex == nullptr) {
            return KZ_XPATH_ETOKENIZE;
        }
        uint32_t ret;
        if (EvalSimpleComparison(rootNode, contextNode, lex, &ret)) {
            return ret;
        }
        XpathEvalCtx ctx;
        ret = KZ_XPATH_InitEvalCtx(&ctx, rootNode, contextNode, lex->count);
        if (ret != KZ_OK) {
            return ret;
        }
        uint32_t pos = 0;
        ret = KZ_XPATH_EvalExpr(&ctx, lex, &pos);
        if (ret == KZ_OK) {
            ret = KZ_XPATH_GetEvalResult(&ctx);
        }
        KZ_XPATH_DestroyEvalCtx(&ctx);
        return ret;
    });
}

uint32_t KZ_XPATH_EvalCondition(xmlNode *rootNode, xmlNode *contextNode, const char *expr)
{
    if (rootNode == nullptr || contextNode == nullptr || expr == nullptr) {
        return KZ_EINVAL;
    }
    XpathLex *lex = KZ_XPATH_ExprTokenize(expr);
    if (lex == nullptr) {
        return KZ_XPATH_ETOKENIZE;
    }
    uint32_t ret = KZ_XPATH_EvalTokenizedCondition(rootNode, contextNode, lex);
    KZ_XPATH_FreeXpathLex(lex);
    return ret;
}

} // extern "C"
