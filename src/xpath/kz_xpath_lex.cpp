/* XPath tokenizer: expression text to an array of (kind, length, start) tokens. */
#include "xpath/kz_xpath.h"

#include <cstring>

#include "base/kz_guard.h"
#include "base/kz_kit.h"

namespace {

inline bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

inline bool IsAlpha(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

inline bool IsNameChar(char c)
{
    return IsAlpha(c) || IsDigit(c) || c == '-' || c == '.' || c == '_';
}

inline bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

inline uint32_t PreviousKind(const XpathLex *lex)
{
    return lex->count == 0 ? static_cast<uint32_t>(KZ_XPATH_TOK_NONE) : lex->tokens[lex->count - 1].kind;
}

/* Grows the token array. Growth is geometric (first step 10) so that very long
 * conditions tokenize in linear time. */
uint32_t GrowTokens(XpathLex *lex)
{
    uint32_t add = lex->capacity < KZ_XPATH_LEX_INIT_CAPACITY ? KZ_XPATH_LEX_INIT_CAPACITY : lex->capacity;
    if (lex->capacity > UINT32_MAX / 2u / sizeof(XpathToken)) {
        return KZ_ENOMEM;
    }
    uint32_t newCap = lex->capacity + add;
    auto *grown = static_cast<XpathToken *>(KZ_MemMalloc(static_cast<size_t>(newCap) * sizeof(XpathToken)));
    if (grown == nullptr) {
        return KZ_ENOMEM;
    }
    if (lex->count != 0) {
        std::memcpy(grown, lex->tokens, static_cast<size_t>(lex->count) * sizeof(XpathToken));
    }
    KZ_MemFree(lex->tokens);
    lex->tokens = grown;
    lex->capacity = newCap;
    return KZ_OK;
}

} // namespace

extern "C" {

const XpathSymbolEntry g_kzXpathSymbolTbl[KZ_XPATH_SYMBOL_COUNT] = {
    {")", KZ_XPATH_TOK_RPAREN, 1},      {"[", KZ_XPATH_TOK_LBRACKET, 1},   {"]", KZ_XPATH_TOK_RBRACKET, 1},
    {"@", KZ_XPATH_TOK_AT, 1},          {",", KZ_XPATH_TOK_COMMA, 1},      {"|", KZ_XPATH_TOK_UNION, 1},
    {"+", KZ_XPATH_TOK_ADDITIVE, 1},    {"-", KZ_XPATH_TOK_ADDITIVE, 1},   {"=", KZ_XPATH_TOK_EQUALITY, 1},
    {"!=", KZ_XPATH_TOK_EQUALITY, 2},   {">=", KZ_XPATH_TOK_RELATIONAL, 2}, {"<=", KZ_XPATH_TOK_RELATIONAL, 2},
    {">", KZ_XPATH_TOK_RELATIONAL, 1},  {"<", KZ_XPATH_TOK_RELATIONAL, 1}, {"..", KZ_XPATH_TOK_DDOT, 2},
    {"//", KZ_XPATH_TOK_PATH, 2},       {"/", KZ_XPATH_TOK_PATH, 1},
};

const XpathSymbolEntry g_kzXpathOperatorNameTbl[KZ_XPATH_OPNAME_COUNT] = {
    {"and", KZ_XPATH_TOK_AND, 3},
    {"or", KZ_XPATH_TOK_OR, 2},
    {"div", KZ_XPATH_TOK_MULTIPLY, 3},
    {"mod", KZ_XPATH_TOK_MULTIPLY, 3},
};

uint32_t KZ_XPATH_IsCurTokenOperator(uint32_t kind)
{
    return (kind >= KZ_XPATH_TOK_PATH && kind < KZ_XPATH_TOK_NONE) ? 1u : 0u;
}

uint32_t KZ_XPATH_IsNextTokenOperator(uint32_t previousKind)
{
    switch (previousKind) {
        case KZ_XPATH_TOK_NONE:
        case KZ_XPATH_TOK_LPAREN:
        case KZ_XPATH_TOK_LBRACKET:
        case KZ_XPATH_TOK_AT:
        case KZ_XPATH_TOK_COMMA:
            return 0;
        default:
            return KZ_XPATH_IsCurTokenOperator(previousKind) ? 0u : 1u;
    }
}

uint32_t KZ_XPATH_GetTokenExprType(uint32_t kind)
{
    switch (kind) {
        case KZ_XPATH_TOK_UNION:
            return KZ_XPATH_EXPR_UNION;
        case KZ_XPATH_TOK_MULTIPLY:
            return KZ_XPATH_EXPR_MULTIPLY;
        case KZ_XPATH_TOK_ADDITIVE:
            return KZ_XPATH_EXPR_ADDITIVE;
        case KZ_XPATH_TOK_RELATIONAL:
            return KZ_XPATH_EXPR_RELATIONAL;
        case KZ_XPATH_TOK_EQUALITY:
            return KZ_XPATH_EXPR_EQUALITY;
        case KZ_XPATH_TOK_AND:
            return KZ_XPATH_EXPR_AND;
        case KZ_XPATH_TOK_OR:
            return KZ_XPATH_EXPR_OR;
        default:
            return KZ_XPATH_EXPR_NONE;
    }
}

uint32_t KZ_XPATH_GetTgtTokenFromSymbolTbl(const char *text, const XpathSymbolEntry *entries, uint32_t symbols,
                                           uint32_t entryCount)
{
    if (text == nullptr || entries == nullptr) {
        return entryCount;
    }
    uint32_t n = symbols < entryCount ? symbols : entryCount;
    for (uint32_t i = 0; i < n; i++) {
        /* The first characters decide most entries; strncmp stops at the text's
         * NUL, so a short tail never over-reads. */
        const XpathSymbolEntry &e = entries[i];
        if (e.length == 0 || (e.symbol[0] == text[0] && std::strncmp(text, e.symbol, e.length) == 0)) {
            return i;
        }
    }
    return entryCount;
}

uint32_t KZ_XPATH_GetOperatorType(const char *text, XpathTokenOut *tok)
{
    if (text == nullptr || tok == nullptr) {
        return KZ_EINVAL;
    }
    /* No check that the word ends here: after an operand, "orange" reads as "or". */
    uint32_t i = KZ_XPATH_GetTgtTokenFromSymbolTbl(text, g_kzXpathOperatorNameTbl, KZ_XPATH_OPNAME_COUNT,
                                                   KZ_XPATH_OPNAME_COUNT);
    if (i == KZ_XPATH_OPNAME_COUNT) {
        return KZ_ERR;
    }
    tok->kind = g_kzXpathOperatorNameTbl[i].kind;
    tok->length = g_kzXpathOperatorNameTbl[i].length;
    return KZ_OK;
}

uint32_t KZ_XPATH_GetTokenStartWithDigit(const XpathLex *lex, uint32_t pos, XpathTokenOut *tok)
{
    if (lex == nullptr || tok == nullptr) {
        return KZ_EINVAL;
    }
    const char *s = lex->expr + pos;
    /* The first character is not examined: a number entered at "." may hold one
     * further "." (".5.3" is one token). */
    uint32_t len = 1;
    uint32_t dots = 0;
    while (IsDigit(s[len]) || s[len] == '.') {
        if (s[len] == '.' && ++dots > 1) {
            return KZ_EINVAL;
        }
        len++;
    }
    tok->kind = KZ_XPATH_TOK_NUMBER;
    tok->length = len;
    return KZ_OK;
}

uint32_t KZ_XPATH_GetTokenStartWithNameStart(const XpathLex *lex, uint32_t pos, XpathTokenOut *tok)
{
    if (lex == nullptr || tok == nullptr) {
        return KZ_EINVAL;
    }
    const char *s = lex->expr + pos;
    if (KZ_XPATH_IsNextTokenOperator(PreviousKind(lex))) {
        return KZ_XPATH_GetOperatorType(s, tok);
    }
    uint32_t len = 1;
    while (IsNameChar(s[len])) {
        len++;
    }
    if (s[len] == ':') {
        if (s[len + 1] == '*') {
            len += 2;
        } else {
            len++;
            while (IsNameChar(s[len])) {
                len++;
            }
        }
    }
    tok->kind = KZ_XPATH_TOK_NAMETEST;
    tok->length = len;
    return KZ_OK;
}

uint32_t KZ_XPATH_ParseLiteralToken(const XpathLex *lex, uint32_t pos, XpathTokenOut *tok)
{
    if (lex == nullptr || tok == nullptr) {
        return KZ_EINVAL;
    }
    const char *s = lex->expr + pos;
    const char *close = std::strchr(s + 1, s[0]);
    if (close == nullptr) {
        return KZ_EINVAL;
    }
    tok->kind = KZ_XPATH_TOK_LITERAL;
    tok->length = static_cast<uint32_t>(close - s) + 1u;
    return KZ_OK;
}

uint32_t KZ_XPATH_ParseSpecialSymbol(XpathLex *lex, uint32_t pos, XpathTokenOut *tok)
{
    if (lex == nullptr || tok == nullptr) {
        return KZ_EINVAL;
    }
    const char *s = lex->expr + pos;
    uint32_t prev = PreviousKind(lex);
    switch (s[0]) {
        case '"':
        case '\'':
            return KZ_XPATH_ParseLiteralToken(lex, pos, tok);
        case '(':
            tok->kind = KZ_XPATH_TOK_LPAREN;
            tok->length = 1;
            if (prev == KZ_XPATH_TOK_NAMETEST) {
                lex->tokens[lex->count - 1].kind = KZ_XPATH_TOK_FUNCNAME;
            }
            return KZ_OK;
        case '*':
            tok->kind = KZ_XPATH_IsNextTokenOperator(prev) ? KZ_XPATH_TOK_MULTIPLY : KZ_XPATH_TOK_NAMETEST;
            tok->length = 1;
            return KZ_OK;
        case '.':
            if (IsDigit(s[1])) {
                return KZ_XPATH_GetTokenStartWithDigit(lex, pos, tok);
            }
            tok->kind = KZ_XPATH_TOK_DOT;
            tok->length = 1;
            return KZ_OK;
        default:
            return KZ_EINVAL;
    }
}

uint32_t KZ_XPATH_GetTokenStartWithOtherCh(XpathLex *lex, uint32_t pos, XpathTokenOut *tok)
{
    if (lex == nullptr || tok == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t i = KZ_XPATH_GetTgtTokenFromSymbolTbl(lex->expr + pos, g_kzXpathSymbolTbl, KZ_XPATH_SYMBOL_COUNT,
                                                   KZ_XPATH_SYMBOL_COUNT);
    if (i < KZ_XPATH_SYMBOL_COUNT) {
        tok->kind = g_kzXpathSymbolTbl[i].kind;
        tok->length = g_kzXpathSymbolTbl[i].length;
        return KZ_OK;
    }
    return KZ_XPATH_ParseSpecialSymbol(lex, pos, tok);
}

uint32_t KZ_XPATH_ParseCurTokenFromExpr(XpathLex *lex, uint32_t pos, XpathTokenOut *tok)
{
    if (lex == nullptr || tok == nullptr) {
        return KZ_EINVAL;
    }
    char c = lex->expr[pos];
    if (IsDigit(c)) {
        return KZ_XPATH_GetTokenStartWithDigit(lex, pos, tok);
    }
    if (IsAlpha(c) || c == '_') {
        return KZ_XPATH_GetTokenStartWithNameStart(lex, pos, tok);
    }
    return KZ_XPATH_GetTokenStartWithOtherCh(lex, pos, tok);
}

XpathLex *KZ_XPATH_ExprTokenize(const char *expr)
{
    return kz::Guarded(nullptr, [&]() -> XpathLex * {
        if (expr == nullptr) {
            return nullptr;
        }
        auto *lex = kz::ZeroAlloc<XpathLex>();
        if (lex == nullptr) {
            return nullptr;
        }
        lex->expr = expr;
        if (GrowTokens(lex) != KZ_OK) {
            KZ_MemFree(lex);
            return nullptr;
        }
        size_t total = std::strlen(expr);
        if (total >= UINT32_MAX) {
            KZ_XPATH_FreeXpathLex(lex);
            return nullptr;
        }
        uint32_t pos = 0;
        while (expr[pos] != '\0') {
            if (IsBlank(expr[pos])) {
                pos++;
                continue;
            }
            XpathTokenOut tok = {KZ_XPATH_TOK_NONE, 0};
            if (KZ_XPATH_ParseCurTokenFromExpr(lex, pos, &tok) != KZ_OK || tok.kind == KZ_XPATH_TOK_NONE ||
                tok.length == 0 || (lex->count == lex->capacity && GrowTokens(lex) != KZ_OK)) {
                KZ_XPATH_FreeXpathLex(lex);
                return nullptr;
            }
            lex->tokens[lex->count++] = XpathToken{tok.kind, tok.length, pos};
            pos += tok.length;
        }
        return lex;
    });
}

void KZ_XPATH_FreeXpathLex(XpathLex *lex)
{
    if (lex == nullptr) {
        return;
    }
    KZ_MemFree(lex->tokens);
    KZ_MemFree(lex);
}

uint32_t KZ_XPATH_GetTokenNumber(const XpathLex *lex)
{
    return lex == nullptr ? 0u : lex->count;
}

const char *KZ_XPATH_GetTokenExprByPos(const XpathLex *lex, uint32_t index, uint32_t *kindOut, uint32_t *lengthOut)
{
    if (lex == nullptr || index >= lex->count) {
        return nullptr;
    }
    const XpathToken &t = lex->tokens[index];
    if (kindOut != nullptr) {
        *kindOut = t.kind;
    }
    if (lengthOut != nullptr) {
        *lengthOut = t.length;
    }
    return lex->expr + t.start;
}

} // extern "C"
