// Tokenizer: operator/name disambiguation, literals, numbers and rejects.

#include "test_support.h"

namespace {

struct Tok {
    uint32_t kind;
    std::string text;
};

// Tokens of expr; *ok tells whether tokenizing succeeded.
std::vector<Tok> Lex(const char *expr, bool *ok = nullptr)
{
    std::vector<Tok> out;
    XpathLex *lex = KZ_XPATH_ExprTokenize(expr);
    if (ok != nullptr) {
        *ok = lex != nullptr;
    }
    for (uint32_t i = 0; i < KZ_XPATH_GetTokenNumber(lex); i++) {
        uint32_t kind = 99;
        uint32_t len = 0;
        const char *at = KZ_XPATH_GetTokenExprByPos(lex, i, &kind, &len);
        out.push_back(Tok{kind, std::string(at, len)});
    }
    KZ_XPATH_FreeXpathLex(lex);
    return out;
}

bool Fails(const char *expr)
{
    bool ok = true;
    Lex(expr, &ok);
    return !ok;
}

void ExpectFail(std::initializer_list<const char *> exprs)
{
    for (const char *expr : exprs) {
        EXPECT_TRUE(Fails(expr)) << expr;
    }
}

// The tokens as "kind:text" words; kinds by short names.
std::string Show(const char *expr)
{
    static const char *const kKinds[] = {"(", ")", "[", "]", ".", "..", "@", ",", "N", "step", "F",
                                         "lit", "num", "path", "|", "mul", "add", "rel", "eq", "and", "or"};
    std::string out;
    for (const Tok &t : Lex(expr)) {
        out += (out.empty() ? "" : " ") + std::string(t.kind < 21 ? kKinds[t.kind] : "?") + ":" + t.text;
    }
    return out;
}

constexpr uint32_t kName = KZ_XPATH_TOK_NAMETEST;

} // namespace

// A token's kind depends on what precedes it.
TEST(XPathLexer, TokensByKindAndTheRejects)
{
    kztest::ExpectRows(Show, {
        // "*" is a multiplication only after an operand.
        {"a*b", "N:a mul:* N:b"}, {"*", "N:*"}, {"/*", "path:/ N:*"}, {"(*", "(:( N:*"}, {"a[*", "N:a [:[ N:*"},
        {"@*", "@:@ N:*"}, {"f(a,*", "F:f (:( N:a ,:, N:*"}, {"a = *", "N:a eq:= N:*"},
        {"a * * * b", "N:a mul:* N:* mul:* N:b"}, {") *", "):) mul:*"}, {"'s' * 2", "lit:'s' mul:* num:2"},
        // Operator names are operators only where an operator is expected.
        {"a and b", "N:a and:and N:b"}, {"x div 2", "N:x mul:div num:2"}, {"x mod 2", "N:x mul:mod num:2"},
        {"a or b", "N:a or:or N:b"},
        // At the start and after "/" an operator name is just a name.
        {"and", "N:and"}, {"/or/div", "path:/ N:or path:/ N:div"}, {"a and and", "N:a and:and N:and"},
        // The operator word is not checked to end: "orange" after an operand is "or" + "ange".
        {"a orange", "N:a or:or N:ange"},
        // Dots, numbers, paths.
        {"../x", "..:.. path:/ N:x"}, {"./x", ".:. path:/ N:x"}, {"a//b", "N:a path:// N:b"}, {".5", "num:.5"},
        {"1.", "num:1."}, {"12.75", "num:12.75"},
        {".5.3", "num:.5.3"}, // a number entered at "." may carry one more "."
        // Names may hold dots, dashes and digits; no sign or exponent in numbers.
        {"if-name.x_2", "N:if-name.x_2"}, {"x-1", "N:x-1"}, {"x -1", "N:x add:- num:1"},
        {"pfx:name", "N:pfx:name"}, {"pfx:*", "N:pfx:*"}, {"/a:b/c:d", "path:/ N:a:b path:/ N:c:d"},
        // A function name is retyped at its parenthesis; a number or ")" before "(" is not.
        {"not(x)", "F:not (:( N:x ):)"}, {"not (x)", "F:not (:( N:x ):)"}, {"text()", "F:text (:( ):)"},
        {"1 (2)", "num:1 (:( num:2 ):)"}, {"(a)(b)", "(:( N:a ):) (:( N:b ):)"},
        // Literals and comparison symbols.
        {"'a\"b'", "lit:'a\"b'"}, {"\"it's\"", "lit:\"it's\""}, {"''", "lit:''"}, {"x='a b'", "N:x eq:= lit:'a b'"},
        {"'\xc3\xa9'", "lit:'\xc3\xa9'"}, // non-ASCII bytes are fine inside a literal, not outside
        {"a!=b", "N:a eq:!= N:b"}, {"x>=3", "N:x rel:>= num:3"}, {"x> =3", "N:x rel:> eq:= num:3"},
        {"a<=b|c", "N:a rel:<= N:b |:| N:c"},
    });
    // A name where an operator is required; malformed numbers and axes; stray characters.
    ExpectFail({"a b", "1 nand 2", "'x' an", "1.2.3", "1..", "1e5", "a::b", "child::x", ":x", "\xc3\xa9", "'abc",
                "x = \"abc'", "a ! = b", "$var", "a # b", "a & b", "{a}"});
    EXPECT_EQ(KZ_XPATH_ExprTokenize(nullptr), nullptr);
}

TEST(XPathLexer, BlanksAndEmptyInput)
{
    for (const char *blank : {"", " \t\r\n "}) {
        bool ok = false;
        EXPECT_TRUE(Lex(blank, &ok).empty());
        EXPECT_TRUE(ok);
    }
    EXPECT_EQ(Show("\ta\n=\r'x' "), "N:a eq:= lit:'x'");
    ExpectFail({"a\v= b"}); // only four blank characters are skipped
}

TEST(XPathLexer, TokenAccessors)
{
    const char *expr = "  ab = 'c'";
    XpathLex *lex = KZ_XPATH_ExprTokenize(expr);
    ASSERT_NE(lex, nullptr);
    EXPECT_EQ(lex->expr, expr); // borrowed, not copied
    uint32_t kind = 77;
    uint32_t len = 77;
    EXPECT_EQ(KZ_XPATH_GetTokenExprByPos(lex, 0, &kind, &len), expr + 2);
    EXPECT_EQ(kind, static_cast<uint32_t>(kName));
    EXPECT_EQ(len, 2u);
    EXPECT_EQ(KZ_XPATH_GetTokenExprByPos(lex, 2, nullptr, &len), expr + 7);
    EXPECT_EQ(len, 3u);
    kind = len = 77;
    EXPECT_EQ(KZ_XPATH_GetTokenExprByPos(lex, 3, &kind, &len), nullptr);
    EXPECT_EQ(kind, 77u);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(KZ_XPATH_GetTokenExprByPos(nullptr, 0, &kind, &len), nullptr);
    EXPECT_EQ(KZ_XPATH_GetTokenNumber(nullptr), 0u);
    KZ_XPATH_FreeXpathLex(lex);
    KZ_XPATH_FreeXpathLex(nullptr);
}

// The token array grows geometrically: a fixed step would copy it once per
// step and make long conditions quadratic.  Four times the tokens cost a
// couple of allocations more, not four times as many.
TEST(XPathLexer, LongExpressionTokenizesInLinearTime)
{
    auto chain = [](int terms) {
        std::string expr = "a";
        for (int i = 0; i < terms; i++) {
            expr += " or b";
        }
        return expr;
    };
    const std::string small = chain(12500);
    const std::string large = chain(50000);
    XpathLex *lex = nullptr;
    const uint64_t smallCost = kztest::CountMallocs([&] { lex = KZ_XPATH_ExprTokenize(small.c_str()); });
    KZ_XPATH_FreeXpathLex(lex);
    const uint64_t largeCost = kztest::CountMallocs([&] { lex = KZ_XPATH_ExprTokenize(large.c_str()); });
    ASSERT_NE(lex, nullptr);
    EXPECT_LE(largeCost, smallCost + 3) << smallCost << " then " << largeCost;
    EXPECT_EQ(KZ_XPATH_GetTokenNumber(lex), 100001u);
    uint32_t kind = 0;
    KZ_XPATH_GetTokenExprByPos(lex, 100000, &kind, nullptr);
    EXPECT_EQ(kind, static_cast<uint32_t>(kName));
    KZ_XPATH_FreeXpathLex(lex);
}
