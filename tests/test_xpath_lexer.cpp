// Tokenizer: operator/name disambiguation, literals, numbers and rejects.

#include "test_support.h"
#include "xpath/kz_xpath.h"

namespace {

struct Tok {
    uint32_t kind;
    std::string text;
    bool operator==(const Tok &o) const { return kind == o.kind && text == o.text; }
};

std::ostream &operator<<(std::ostream &os, const Tok &t)
{
    return os << "{" << t.kind << ",'" << t.text << "'}";
}

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

std::vector<uint32_t> Kinds(const char *expr)
{
    std::vector<uint32_t> kinds;
    for (const Tok &t : Lex(expr)) {
        kinds.push_back(t.kind);
    }
    return kinds;
}

constexpr uint32_t kName = KZ_XPATH_TOK_NAMETEST;
constexpr uint32_t kMul = KZ_XPATH_TOK_MULTIPLY;

} // namespace

TEST(XPathLexer, StarIsMultiplyOnlyAfterAnOperand)
{
    EXPECT_EQ(Kinds("a*b"), (std::vector<uint32_t>{kName, kMul, kName}));
    EXPECT_EQ(Kinds("*"), (std::vector<uint32_t>{kName}));
    EXPECT_EQ(Kinds("/*"), (std::vector<uint32_t>{KZ_XPATH_TOK_PATH, kName}));
    EXPECT_EQ(Kinds("(*"), (std::vector<uint32_t>{KZ_XPATH_TOK_LPAREN, kName}));
    EXPECT_EQ(Kinds("a[*"), (std::vector<uint32_t>{kName, KZ_XPATH_TOK_LBRACKET, kName}));
    EXPECT_EQ(Kinds("@*"), (std::vector<uint32_t>{KZ_XPATH_TOK_AT, kName}));
    EXPECT_EQ(Kinds("f(a,*"), (std::vector<uint32_t>{KZ_XPATH_TOK_FUNCNAME, KZ_XPATH_TOK_LPAREN, kName,
                                                    KZ_XPATH_TOK_COMMA, kName}));
    EXPECT_EQ(Kinds("a = *"), (std::vector<uint32_t>{kName, KZ_XPATH_TOK_EQUALITY, kName}));
    EXPECT_EQ(Kinds("a * * * b"), (std::vector<uint32_t>{kName, kMul, kName, kMul, kName}));
    EXPECT_EQ(Kinds(") *"), (std::vector<uint32_t>{KZ_XPATH_TOK_RPAREN, kMul}));
    EXPECT_EQ(Kinds("'s' * 2"), (std::vector<uint32_t>{KZ_XPATH_TOK_LITERAL, kMul, KZ_XPATH_TOK_NUMBER}));
}

TEST(XPathLexer, OperatorNamesOnlyWhereAnOperatorIsExpected)
{
    EXPECT_EQ(Lex("a and b"), (std::vector<Tok>{{kName, "a"}, {KZ_XPATH_TOK_AND, "and"}, {kName, "b"}}));
    EXPECT_EQ(Lex("x div 2"), (std::vector<Tok>{{kName, "x"}, {kMul, "div"}, {KZ_XPATH_TOK_NUMBER, "2"}}));
    EXPECT_EQ(Lex("x mod 2"), (std::vector<Tok>{{kName, "x"}, {kMul, "mod"}, {KZ_XPATH_TOK_NUMBER, "2"}}));
    EXPECT_EQ(Lex("a or b"), (std::vector<Tok>{{kName, "a"}, {KZ_XPATH_TOK_OR, "or"}, {kName, "b"}}));
    // At the start and after "/" an operator name is just a name.
    EXPECT_EQ(Lex("and"), (std::vector<Tok>{{kName, "and"}}));
    EXPECT_EQ(Lex("/or/div"), (std::vector<Tok>{{KZ_XPATH_TOK_PATH, "/"},
                                                 {kName, "or"},
                                                 {KZ_XPATH_TOK_PATH, "/"},
                                                 {kName, "div"}}));
    EXPECT_EQ(Lex("a and and"), (std::vector<Tok>{{kName, "a"}, {KZ_XPATH_TOK_AND, "and"}, {kName, "and"}}));
    // The operator word is not checked to end: "orange" after an operand is "or" + "ange".
    EXPECT_EQ(Lex("a orange"), (std::vector<Tok>{{kName, "a"}, {KZ_XPATH_TOK_OR, "or"}, {kName, "ange"}}));
    // A name where an operator is required fails.
    ExpectFail({"a b", "1 nand 2", "'x' an"});
}

TEST(XPathLexer, DotsNumbersAndPaths)
{
    EXPECT_EQ(Lex("../x"), (std::vector<Tok>{{KZ_XPATH_TOK_DDOT, ".."}, {KZ_XPATH_TOK_PATH, "/"}, {kName, "x"}}));
    EXPECT_EQ(Lex("./x"), (std::vector<Tok>{{KZ_XPATH_TOK_DOT, "."}, {KZ_XPATH_TOK_PATH, "/"}, {kName, "x"}}));
    EXPECT_EQ(Lex("a//b"), (std::vector<Tok>{{kName, "a"}, {KZ_XPATH_TOK_PATH, "//"}, {kName, "b"}}));
    EXPECT_EQ(Lex(".5"), (std::vector<Tok>{{KZ_XPATH_TOK_NUMBER, ".5"}}));
    EXPECT_EQ(Lex("1."), (std::vector<Tok>{{KZ_XPATH_TOK_NUMBER, "1."}}));
    EXPECT_EQ(Lex("12.75"), (std::vector<Tok>{{KZ_XPATH_TOK_NUMBER, "12.75"}}));
    // A number entered at "." may carry one more ".".
    EXPECT_EQ(Lex(".5.3"), (std::vector<Tok>{{KZ_XPATH_TOK_NUMBER, ".5.3"}}));
    ExpectFail({"1.2.3", "1.."});
    // Names may hold dots, dashes and digits; no sign or exponent in numbers.
    EXPECT_EQ(Lex("if-name.x_2"), (std::vector<Tok>{{kName, "if-name.x_2"}}));
    ExpectFail({"1e5"});
    EXPECT_EQ(Kinds("x-1"), (std::vector<uint32_t>{kName}));
    EXPECT_EQ(Kinds("x -1"), (std::vector<uint32_t>{kName, KZ_XPATH_TOK_ADDITIVE, KZ_XPATH_TOK_NUMBER}));
}

TEST(XPathLexer, QualifiedNamesAndAxes)
{
    EXPECT_EQ(Lex("pfx:name"), (std::vector<Tok>{{kName, "pfx:name"}}));
    EXPECT_EQ(Lex("pfx:*"), (std::vector<Tok>{{kName, "pfx:*"}}));
    EXPECT_EQ(Lex("/a:b/c:d"), (std::vector<Tok>{{KZ_XPATH_TOK_PATH, "/"},
                                                  {kName, "a:b"},
                                                  {KZ_XPATH_TOK_PATH, "/"},
                                                  {kName, "c:d"}}));
    ExpectFail({"a::b", "child::x", ":x"});
}

TEST(XPathLexer, FunctionNamesAreRetypedAtTheParenthesis)
{
    EXPECT_EQ(Kinds("not(x)"), (std::vector<uint32_t>{KZ_XPATH_TOK_FUNCNAME, KZ_XPATH_TOK_LPAREN, kName,
                                                     KZ_XPATH_TOK_RPAREN}));
    EXPECT_EQ(Kinds("not (x)"), Kinds("not(x)"));
    EXPECT_EQ(Kinds("text()"), (std::vector<uint32_t>{KZ_XPATH_TOK_FUNCNAME, KZ_XPATH_TOK_LPAREN,
                                                     KZ_XPATH_TOK_RPAREN}));
    // Only a name test is retyped: a number or ")" before "(" stays as it is.
    EXPECT_EQ(Kinds("1 (2)")[0], static_cast<uint32_t>(KZ_XPATH_TOK_NUMBER));
    EXPECT_EQ(Kinds("(a)(b)")[2], static_cast<uint32_t>(KZ_XPATH_TOK_RPAREN));
}

TEST(XPathLexer, Literals)
{
    EXPECT_EQ(Lex("'a\"b'"), (std::vector<Tok>{{KZ_XPATH_TOK_LITERAL, "'a\"b'"}}));
    EXPECT_EQ(Lex("\"it's\""), (std::vector<Tok>{{KZ_XPATH_TOK_LITERAL, "\"it's\""}}));
    EXPECT_EQ(Lex("''"), (std::vector<Tok>{{KZ_XPATH_TOK_LITERAL, "''"}}));
    EXPECT_EQ(Lex("x='a b'"), (std::vector<Tok>{{kName, "x"}, {KZ_XPATH_TOK_EQUALITY, "="},
                                                 {KZ_XPATH_TOK_LITERAL, "'a b'"}}));
    // Non-ASCII bytes are fine inside a literal, not outside.
    EXPECT_EQ(Lex("'\xc3\xa9'").size(), 1u);
    ExpectFail({"\xc3\xa9", "'abc", "x = \"abc'"});
}

TEST(XPathLexer, ComparisonSymbolsAndRejects)
{
    EXPECT_EQ(Lex("a!=b"), (std::vector<Tok>{{kName, "a"}, {KZ_XPATH_TOK_EQUALITY, "!="}, {kName, "b"}}));
    EXPECT_EQ(Lex("x>=3"), (std::vector<Tok>{{kName, "x"}, {KZ_XPATH_TOK_RELATIONAL, ">="},
                                              {KZ_XPATH_TOK_NUMBER, "3"}}));
    EXPECT_EQ(Lex("x> =3"), (std::vector<Tok>{{kName, "x"}, {KZ_XPATH_TOK_RELATIONAL, ">"},
                                               {KZ_XPATH_TOK_EQUALITY, "="}, {KZ_XPATH_TOK_NUMBER, "3"}}));
    EXPECT_EQ(Lex("a<=b|c"), (std::vector<Tok>{{kName, "a"}, {KZ_XPATH_TOK_RELATIONAL, "<="}, {kName, "b"},
                                                {KZ_XPATH_TOK_UNION, "|"}, {kName, "c"}}));
    ExpectFail({"a ! = b", "$var", "a # b", "a & b", "{a}"});
    EXPECT_EQ(KZ_XPATH_ExprTokenize(nullptr), nullptr);
}

TEST(XPathLexer, BlanksAndEmptyInput)
{
    bool ok = false;
    EXPECT_TRUE(Lex("", &ok).empty());
    EXPECT_TRUE(ok);
    EXPECT_TRUE(Lex(" \t\r\n ", &ok).empty());
    EXPECT_TRUE(ok);
    auto toks = Lex("\ta\n=\r'x' ");
    ASSERT_EQ(toks.size(), 3u);
    EXPECT_EQ(toks[2].text, "'x'");
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
