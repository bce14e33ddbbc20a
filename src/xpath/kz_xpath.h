/*
 * XPath engine of when/must conditions: tokenizer, evaluator, and the path
 * rewriting helpers (JSON form, target-path splitting) used by the schema side.
 *
 * A token list borrows its expression text and is never modified by an
 * evaluation, so one list may be evaluated many times, also from several
 * threads at once (KZ_XPATH_EvalTokenizedCondition).
 */
#ifndef KZ_XPATH_H
#define KZ_XPATH_H

#include "korla.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Tokens ---------------------------------------------------------------- */

/* Token kinds; the evaluator tests ranges of these values, keep the numbering. */
enum {
    KZ_XPATH_TOK_LPAREN = 0,     /* "(" */
    KZ_XPATH_TOK_RPAREN = 1,     /* ")" */
    KZ_XPATH_TOK_LBRACKET = 2,   /* "[" */
    KZ_XPATH_TOK_RBRACKET = 3,   /* "]" */
    KZ_XPATH_TOK_DOT = 4,        /* "." */
    KZ_XPATH_TOK_DDOT = 5,       /* ".." */
    KZ_XPATH_TOK_AT = 6,         /* "@" */
    KZ_XPATH_TOK_COMMA = 7,      /* "," */
    KZ_XPATH_TOK_NAMETEST = 8,   /* NCName, prefix:name, prefix:*, "*" */
    KZ_XPATH_TOK_STEP = 9,       /* reserved step kind, never produced */
    KZ_XPATH_TOK_FUNCNAME = 10,  /* name directly followed by "(" */
    KZ_XPATH_TOK_LITERAL = 11,   /* quoted string, quotes included */
    KZ_XPATH_TOK_NUMBER = 12,
    KZ_XPATH_TOK_PATH = 13,      /* "/" and "//" */
    KZ_XPATH_TOK_UNION = 14,     /* "|" */
    KZ_XPATH_TOK_MULTIPLY = 15,  /* "*", "div", "mod" */
    KZ_XPATH_TOK_ADDITIVE = 16,  /* "+", "-" */
    KZ_XPATH_TOK_RELATIONAL = 17,/* "<", ">", "<=", ">=" */
    KZ_XPATH_TOK_EQUALITY = 18,  /* "=", "!=" */
    KZ_XPATH_TOK_AND = 19,
    KZ_XPATH_TOK_OR = 20,
    KZ_XPATH_TOK_NONE = 21       /* no previous token / unreadable */
};

typedef struct XpathToken {
    uint32_t kind;
    uint32_t length; /* characters in the text, quotes included for a literal */
    uint32_t start;  /* index of the first character in the expression */
} XpathToken;

struct XpathLex {
    XpathToken *tokens;
    const char *expr; /* borrowed */
    uint32_t count;
    uint32_t capacity;
};

/* One entry of the symbol table (characters that start neither a name nor a number). */
typedef struct XpathSymbolEntry {
    const char *symbol;
    uint32_t kind;
    uint32_t length;
} XpathSymbolEntry;

/* Kind and length of one token being read. */
typedef struct XpathTokenOut {
    uint32_t kind;
    uint32_t length;
} XpathTokenOut;

#define KZ_XPATH_SYMBOL_COUNT   17u
#define KZ_XPATH_OPNAME_COUNT   4u
#define KZ_XPATH_LEX_INIT_CAPACITY 10u

extern KZ_API const XpathSymbolEntry g_kzXpathSymbolTbl[KZ_XPATH_SYMBOL_COUNT];
extern KZ_API const XpathSymbolEntry g_kzXpathOperatorNameTbl[KZ_XPATH_OPNAME_COUNT];

/* Public tokenizer calls (KZ_XPATH_ExprTokenize, KZ_XPATH_FreeXpathLex,
 * KZ_XPATH_GetTokenNumber, KZ_XPATH_GetTokenExprByPos) are declared in korla.h. */
KZ_API uint32_t KZ_XPATH_IsCurTokenOperator(uint32_t kind);
KZ_API uint32_t KZ_XPATH_IsNextTokenOperator(uint32_t previousKind);
KZ_API uint32_t KZ_XPATH_GetTokenExprType(uint32_t kind);

/* Reading steps: 0 on success, non-zero on failure; `pos` indexes lex->expr. */
KZ_API uint32_t KZ_XPATH_ParseCurTokenFromExpr(XpathLex *lex, uint32_t pos, XpathTokenOut *tok);
KZ_API uint32_t KZ_XPATH_GetTokenStartWithDigit(const XpathLex *lex, uint32_t pos, XpathTokenOut *tok);
KZ_API uint32_t KZ_XPATH_GetTokenStartWithNameStart(const XpathLex *lex, uint32_t pos, XpathTokenOut *tok);
KZ_API uint32_t KZ_XPATH_GetTokenStartWithOtherCh(XpathLex *lex, uint32_t pos, XpathTokenOut *tok);
KZ_API uint32_t KZ_XPATH_ParseSpecialSymbol(XpathLex *lex, uint32_t pos, XpathTokenOut *tok);
KZ_API uint32_t KZ_XPATH_ParseLiteralToken(const XpathLex *lex, uint32_t pos, XpathTokenOut *tok);
/* Operator name at `text` ("and", "or", "div", "mod"); 0 on a match. */
KZ_API uint32_t KZ_XPATH_GetOperatorType(const char *text, XpathTokenOut *tok);
/* Index of the first entry matching `text`, or `entryCount` when none does. */
KZ_API uint32_t KZ_XPATH_GetTgtTokenFromSymbolTbl(const char *text, const XpathSymbolEntry *entries,
                                                  uint32_t symbols, uint32_t entryCount);

/* ---- Evaluation ------------------------------------------------------------ */

/* Expression types, also the priorities (larger binds tighter). */
enum {
    KZ_XPATH_EXPR_OR = 0,
    KZ_XPATH_EXPR_AND = 1,
    KZ_XPATH_EXPR_EQUALITY = 2,
    KZ_XPATH_EXPR_RELATIONAL = 3,
    KZ_XPATH_EXPR_ADDITIVE = 4,
    KZ_XPATH_EXPR_MULTIPLY = 5,
    KZ_XPATH_EXPR_NOOP = 6,
    KZ_XPATH_EXPR_UNION = 7,
    KZ_XPATH_EXPR_NONE = 8,
    KZ_XPATH_EXPR_MARKER = 9 /* sub-expression barrier */
};

/* Operation codes read back from an operator token. */
enum {
    KZ_XPATH_OP_OR = 0,
    KZ_XPATH_OP_AND = 1,
    KZ_XPATH_OP_EQ = 2,
    KZ_XPATH_OP_NE = 3,
    KZ_XPATH_OP_GT = 4,
    KZ_XPATH_OP_LT = 5,
    KZ_XPATH_OP_GE = 6,
    KZ_XPATH_OP_LE = 7,
    KZ_XPATH_OP_NONE = 8
};

/* Object types. */
enum {
    KZ_XPATH_OBJ_BOOLEAN = 0,
    KZ_XPATH_OBJ_STRING = 1,
    KZ_XPATH_OBJ_NODE = 2, /* at most one element, possibly none */
    KZ_XPATH_OBJ_NUMBER = 3
};

/* What a data element's value is to the evaluator. */
#define KZ_XPATH_VALUE_NO_SCHEMA 0u /* nothing is known of the element: its text */
#define KZ_XPATH_VALUE_TEXT      1u /* its text */
#define KZ_XPATH_VALUE_IDENTITY  2u /* an identity, compared in module:identity form */

/* What the evaluator needs to know of data elements beyond their text.  The owner of
 * the instance document (the validator) hangs one on the document, in xmlDoc::_private,
 * for the time it evaluates; without one every value is the element's text. */
typedef struct XpathValueAccessor {
    uint32_t (*valueKind)(const struct _xmlNode *element); /* KZ_XPATH_VALUE_* */
    /* New copy (KZ_MemFree) of an identity value in module:identity form; NULL when its
     * prefix names no module. */
    char *(*identityValue)(struct _xmlNode *element);
    /* The identity modName:identName as seen from the element; NULL when there is none. */
    const KzsIdentity *(*findIdentity)(const struct _xmlNode *element, const char *modName,
                                       const char *identName);
    /* The module of the element's schema node: an unprefixed identity names one of it. */
    const char *(*moduleName)(const struct _xmlNode *element);
} XpathValueAccessor;

typedef struct XpathObject {
    uint32_t type;
    union {
        uint32_t boolean;
        char *str; /* owned */
        struct _xmlNode *node; /* not owned */
        double number;
    } val;
} XpathObject;

typedef struct XpathPendingOp {
    uint32_t exprType; /* expression type, or KZ_XPATH_EXPR_MARKER */
    uint32_t tokenIndex;
} XpathPendingOp;

/* Stacks of one evaluation (opaque; growable, heap-backed). */
typedef struct XpathOpStack XpathOpStack;
typedef struct XpathObjStack XpathObjStack;

typedef struct XpathEvalCtx {
    struct _xmlNode *contextNode;
    struct _xmlNode *rootNode;
    XpathOpStack *exprTypeStack;
    XpathObjStack *objectStack;
} XpathEvalCtx;

typedef uint32_t (*XpathEvalFunc)(XpathEvalCtx *ctx, XpathObject *left, XpathObject *right, uint32_t opCode);
typedef uint32_t (*XpathFunc)(XpathObjStack *stack);

/* Context */
KZ_API uint32_t KZ_XPATH_InitEvalCtx(XpathEvalCtx *ctx, struct _xmlNode *rootNode, struct _xmlNode *contextNode,
                                     uint32_t sizeHint);
KZ_API void KZ_XPATH_DestroyEvalCtx(XpathEvalCtx *ctx);
KZ_API uint32_t KZ_XPATH_GetEvalResult(XpathEvalCtx *ctx);

/* Grammar steps: each consumes tokens from *pos and leaves *pos after them. */
KZ_API uint32_t KZ_XPATH_EvalExpr(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos);
KZ_API uint32_t KZ_XPATH_EvalSubExpr(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos);
KZ_API uint32_t KZ_XPATH_EvalPathExpr(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos);
KZ_API uint32_t KZ_XPATH_EvalPrimaryExpr(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos);
KZ_API uint32_t KZ_XPATH_EvalAbsoluteLocationPath(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos);
KZ_API uint32_t KZ_XPATH_EvalRelativeLocationPath(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos);
KZ_API uint32_t KZ_XPATH_EvalStep(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos);
KZ_API uint32_t KZ_XPATH_EvalDot(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos);
KZ_API uint32_t KZ_XPATH_EvalDDot(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos);
KZ_API uint32_t KZ_XPATH_EvalNameTest(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos);
KZ_API uint32_t KZ_XPATH_EvalLiteral(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos);
KZ_API uint32_t KZ_XPATH_EvalNumber(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos);
KZ_API uint32_t KZ_XPATH_EvalFunctionCall(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos);
KZ_API uint32_t KZ_XPATH_EvalFunctionCallArguments(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos);
KZ_API uint32_t KZ_XPATH_SkipPredicate(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t *pos);

/* Operator stack and reductions */
KZ_API uint32_t KZ_XPATH_PushExprTypeToStackByPriority(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t exprType,
                                                      uint32_t tokenIndex);
KZ_API uint32_t KZ_XPATH_CalculateHighPriorityExpr(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t exprType);
/* closing != 0: stop at the nearest marker (at ")" or ","); 0: reduce everything. */
KZ_API uint32_t KZ_XPATH_CalculateRemainExpr(XpathEvalCtx *ctx, const XpathLex *lex, uint32_t closing);
KZ_API uint32_t KZ_XPATH_CalculateOneExpr(XpathEvalCtx *ctx, const XpathLex *lex, const XpathPendingOp *op);
KZ_API XpathEvalFunc KZ_XPATH_GetExprEvalFunc(uint32_t exprType);
KZ_API uint32_t KZ_XPATH_GetTokenOperationType(const XpathLex *lex, uint32_t tokenIndex);
KZ_API uint32_t KZ_XPATH_IsEqualityOperator(uint32_t opCode);
KZ_API uint32_t KZ_XPATH_IsRelationalOperator(uint32_t opCode);
KZ_API uint32_t KZ_XPATH_EvalOrExpr(XpathEvalCtx *ctx, XpathObject *left, XpathObject *right, uint32_t opCode);
KZ_API uint32_t KZ_XPATH_EvalAndExpr(XpathEvalCtx *ctx, XpathObject *left, XpathObject *right, uint32_t opCode);
KZ_API uint32_t KZ_XPATH_EvalEqualityExpr(XpathEvalCtx *ctx, XpathObject *left, XpathObject *right, uint32_t opCode);
KZ_API uint32_t KZ_XPATH_EvalRelationalExpr(XpathEvalCtx *ctx, XpathObject *left, XpathObject *right,
                                            uint32_t opCode);
KZ_API uint32_t KZ_XPATH_EvalLogicExpr(XpathEvalCtx *ctx, XpathObject *left, XpathObject *right, uint32_t opCode);
KZ_API uint32_t KZ_XPATH_EvalCompareExpr(XpathEvalCtx *ctx, XpathObject *left, XpathObject *right, uint32_t opCode);
/* 1 when the comparison opCode holds between two values that are no nodes; reads them in place. */
KZ_API uint32_t KZ_XPATH_CompareValues(const XpathObject *left, const XpathObject *right, uint32_t opCode);

/* Objects and the object stack */
KZ_API XpathObject *KZ_XPATH_NewObject(uint32_t type);
KZ_API void KZ_XPATH_FreeObject(XpathObject *obj);
KZ_API uint32_t KZ_XPATH_GetObjStackSize(const XpathObjStack *stack);
KZ_API XpathObject *KZ_XPATH_PeekObject(XpathObjStack *stack);
KZ_API XpathObject *KZ_XPATH_PopObject(XpathObjStack *stack);
KZ_API uint32_t KZ_XPATH_PushObject(XpathObjStack *stack, XpathObject *obj); /* takes ownership, also on failure */
KZ_API uint32_t KZ_XPATH_PushBooleanToObjStack(XpathObjStack *stack, uint32_t value);
KZ_API uint32_t KZ_XPATH_PushNumberToObjStack(XpathObjStack *stack, double value);
KZ_API uint32_t KZ_XPATH_PushStringToObjStack(XpathObjStack *stack, const char *text, uint32_t length);
KZ_API uint32_t KZ_XPATH_PushNodeToObjStack(XpathObjStack *stack, struct _xmlNode *node);
KZ_API uint32_t KZ_XPATH_ReplaceNodeToTopElemInObjStack(XpathObjStack *stack, struct _xmlNode *node);
KZ_API struct _xmlNode *KZ_XPATH_GetStackTopObjNode(XpathObjStack *stack);
/* Pops and returns the top object when it has `type`; otherwise null, stack untouched. */
KZ_API XpathObject *KZ_XPATH_GetArgumentByType(XpathObjStack *stack, uint32_t type);

/* Functions */
KZ_API XpathFunc KZ_XPATH_GetXpathFunction(const char *name, uint32_t nameLength);
KZ_API uint32_t KZ_XPATH_FuncNot(XpathObjStack *stack);
KZ_API uint32_t KZ_XPATH_FuncDerivedFrom(XpathObjStack *stack);
KZ_API uint32_t KZ_XPATH_FuncDerivedFromOfSelf(XpathObjStack *stack);
KZ_API uint32_t KZ_XPATH_FuncDerivedFromInner(XpathObjStack *stack, uint32_t orSelf);
/* *result is 1 when the node's identity value derives from `identity` (module:name or name). */
KZ_API uint32_t KZ_XPATH_NodeValueDerivedFromIdentity(struct _xmlNode *node, const char *identity, uint32_t orSelf,
                                                     uint32_t *result);
KZ_API uint32_t KZ_XPATH_CompareIdentDerivedFrom(const KzsIdentity *ident, const char *valueMod,
                                                const char *valueName, const char *argMod, const char *argName,
                                                uint32_t orSelf);

/* Conversions (in place) */
KZ_API uint32_t KZ_XPATH_FuncBooleanInner(XpathObject *obj);
KZ_API uint32_t KZ_XPATH_FuncNumberInner(XpathObject *obj);
KZ_API uint32_t KZ_XPATH_FuncStringInner(XpathObject *obj);
KZ_API uint32_t KZ_XPATH_ConvertBooleanToString(XpathObject *obj);
KZ_API uint32_t KZ_XPATH_ConvertBooleanToNumber(XpathObject *obj);
KZ_API uint32_t KZ_XPATH_ConvertStringToNumber(XpathObject *obj);
KZ_API uint32_t KZ_XPATH_ConvertNodeToNumber(XpathObject *obj);
KZ_API uint32_t KZ_XPATH_ConvertStringToBoolean(XpathObject *obj);
KZ_API uint32_t KZ_XPATH_ConvertNumberToBoolean(XpathObject *obj);
/* The element's value where it needs neither gathering nor rewriting: "" for no node, the text
 * of a single text child; null otherwise (then KZ_XPATH_CopyElementNodeContent). */
KZ_API const char *KZ_XPATH_PlainNodeValue(struct _xmlNode *node);
/* New copy of the element's value (identityref values as module:name); "" when absent. */
KZ_API char *KZ_XPATH_CopyElementNodeContent(struct _xmlNode *node);
/* XPath number syntax (optional blanks and "-"); NaN for anything else. */
KZ_API double KZ_XPATH_StrToNumber(const char *text);

/* ---- Token lists kept across evaluations -------------------------------------
 * Conditions on schema nodes are interned texts, so one text pointer stands
 * for one condition. A validation run can keep a cache and evaluate each
 * element's when/must with KZ_XPATH_EvalTokenizedCondition(root, element,
 * KZ_XPATH_GetCachedLex(cache, cond)), tokenizing every distinct condition
 * once. The cache itself is not locked: use one per thread. */
typedef struct KzXpathLexCache KzXpathLexCache;

KZ_API KzXpathLexCache *KZ_XPATH_CreateLexCache(void);
/* Frees every token list of the cache (not the texts) and the cache; null is ignored. */
KZ_API void KZ_XPATH_DestroyLexCache(KzXpathLexCache *cache);
/* Token list of `expr`, made on first request and kept, keyed by the text's
 * address; the text must outlive the cache. Null when tokenizing fails (the
 * failure is remembered too) or on a null argument or exhausted memory. */
KZ_API const XpathLex *KZ_XPATH_GetCachedLex(KzXpathLexCache *cache, const char *expr);
/* KZ_XPATH_EvalCondition with the token list taken from the cache. */
KZ_API uint32_t KZ_XPATH_EvalCachedCondition(KzXpathLexCache *cache, struct _xmlNode *rootNode,
                                            struct _xmlNode *contextNode, const char *expr);

#ifdef __cplusplus
}
#endif

#endif /* KZ_XPATH_H */
