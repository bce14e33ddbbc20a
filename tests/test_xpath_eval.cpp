// Condition evaluation on small instance trees.

#include <cmath>

#include "test_support.h"

namespace {

constexpr uint32_t kTrue = 0;
constexpr uint32_t kFalse = KZ_XPATH_FALSE;

const char *const kDoc =
    "<root>"
    "<top>"
    "<a>1</a><b>hello</b><num>10</num><frac> 2.5 </frac><empty/>"
    "<list><name>x1</name><v>first</v></list>"
    "<list><name>x2</name><v>second</v></list>"
    "<c><d>deep</d><d>later</d></c>"
    "</top>"
    "<other><a>2</a></other>"
    "</root>";

xmlNode *Child(xmlNode *parent, const char *name)
{
    for (xmlNode *c = parent->children; c != nullptr; c = c->next) {
        if (c->type == XML_ELEMENT_NODE && std::strcmp(reinterpret_cast<const char *>(c->name), name) == 0) {
            return c;
        }
    }
    return nullptr;
}

class XPathEval : public ::testing::Test {
protected:
    void SetUp() override
    {
        doc_ = kztest::ParseXml(kDoc);
        ASSERT_NE(doc_, nullptr);
        root_ = xmlDocGetRootElement(doc_.get());
        top_ = Child(root_, "top");
        ASSERT_NE(top_, nullptr);
    }

    uint32_t Eval(const char *expr) { return KZ_XPATH_EvalCondition(root_, top_, expr); }

    struct Case {
        const char *expr;
        uint32_t want;
    };
    // Evaluates every expression at ctxNode (top by default).
    void ExpectEval(std::initializer_list<Case> cases, xmlNode *ctxNode = nullptr)
    {
        for (const Case &c : cases) {
            EXPECT_EQ(KZ_XPATH_EvalCondition(root_, ctxNode != nullptr ? ctxNode : top_, c.expr), c.want) << c.expr;
        }
    }

    kztest::DocPtr doc_;
    xmlNode *root_ = nullptr;
    xmlNode *top_ = nullptr;
};

} // namespace

TEST_F(XPathEval, OperatorPrecedenceAssociativityAndTheBooleanResult)
{
    ExpectEval({
        // "and" binds tighter than "or": true or (false and false).
        {"1 = 1 or 1 = 2 and 1 = 2", kTrue}, {"1 = 2 and 1 = 2 or 1 = 1", kTrue},
        {"1 = 2 or 1 = 1 and 1 = 2", kFalse},
        // Equality is left-associative: (1 = 2) = 0 -> false = false.
        {"1 = 2 = 0", kTrue},
        // Relational binds tighter than equality: 1 = (3 > 2).
        {"1 = 3 > 2", kTrue},
        // Parentheses override priorities.
        {"(1 = 1 or 1 = 2) and 1 = 2", kFalse}, {"((((a = 1))))", kTrue},
        {"(a = 1) and (b = 'hello' or b = 'x')", kTrue},
        // The result as a boolean.
        {"a", kTrue}, {"missing", kFalse},
        {"empty", kTrue}, // a present node is true whatever its content
        {"'x'", kTrue}, {"''", kFalse}, {"0", kFalse},
        {"0.0000000000000000001", kFalse}, // below epsilon counts as zero
        {"0.5", kTrue},
        {".5.3", kFalse}, // not a number: NaN
        {"/", kTrue},
    });
}

TEST_F(XPathEval, ComparisonRules)
{
    ExpectEval({
        // A node compares by its string value; a number on either side makes it numeric.
        {"num = 10.0", kTrue}, {"num = '10.0'", kFalse}, {"num = '10'", kTrue},
        {"frac = 2.5", kTrue}, // blanks around a number are allowed
        {"b = 'hello'", kTrue}, {"b != 'hello'", kFalse}, {"'abc' = 'abc'", kTrue}, {"'a' = 'A'", kFalse},
        {"a = num", kFalse},
        // A missing node is the empty string.
        {"missing = ''", kTrue}, {"missing != ''", kFalse}, {"empty = ''", kTrue},
        // A boolean on either side makes both booleans.
        {"(1 = 1) = 'x'", kTrue}, {"(1 = 1) = ''", kFalse}, {"(1 = 1) = b", kTrue}, {"(1 = 2) = missing", kTrue},
        {"(1 = 1) = 0", kFalse},
        // NaN equals nothing, so "!=" with NaN holds.
        {"b = 1", kFalse}, {"b != 1", kTrue}, {"'1e3' = 1000", kFalse}, {"'-4' = 0 - 4", KZ_XPATH_ENOEVALFUNC},
        {"' -4 ' = '-4'", kFalse}, {"(' -4 ' = 4) = (1 = 2)", kTrue},
        // Numbers compare with an epsilon, not bit for bit.
        {"0.1 = .1", kTrue}, {"1 = 1.0000001", kFalse},
        // Orderings.
        {"a < 2", kTrue}, {"num >= 10", kTrue}, {"num > 10", kFalse}, {"num <= '10'", kTrue},
        {"'9' < num", kTrue}, // numeric, not string, ordering
        // NaN on either side: every ordering is false.
        {"b > 1", kFalse}, {"b <= 1", kFalse},
        // A node is first turned into its string: missing or empty gives "" and thus NaN.
        {"missing < 1", kFalse}, {"empty >= 0", kFalse}, {"missing != 0", kTrue}, {"(1 = 1) > 0", kTrue},
    });
}

TEST_F(XPathEval, LocationPaths)
{
    xmlNode *c = Child(top_, "c");
    xmlNode *d = Child(c, "d");
    ExpectEval({
        {"c/d = 'deep'", kTrue}, // first match wins
        {"c/d = 'later'", kFalse},
        {"c//d = 'deep'", kTrue}, // "//" inside a path acts as "/"
        {"./a = 1", kTrue}, {"/top/a = 1", kTrue}, {"/other/a = 2", kTrue}, {"/top/missing/a", kFalse},
    });
    ExpectEval({{"../../b = 'hello'", kTrue}, {". = 'deep'", kTrue}, {"../d = 'deep'", kTrue}}, d);
    ExpectEval({
        // ".." never climbs onto the root: from top it stays at top.
        {"../a = 1", kTrue}, {"../other", kFalse},
        // Prefixes are not compared, only local names.
        {"x:c/y:d = 'deep'", kTrue},
        // "*" is taken as the literal name "*".
        {"c/*", kFalse},
        // Predicates are skipped: the first list is taken.
        {"list[name='x2']/v = 'first'", kTrue},
        // Only one predicate is skipped; a second "[" cannot start an operand.
        {"list[name='x2'][1]/v = 'first'", KZ_EINVAL},
        // A trailing "/" is tolerated; "@" ends a path.
        {"c/", kTrue},
    });
}

// Plain "path op literal-or-number" conditions take a shortcut; wrapped in parentheses they
// take the general evaluator. Both must agree on every value shape and path step.
TEST_F(XPathEval, ShortcutComparisonsAgreeWithTheGeneralEvaluator)
{
    const std::string longText(70, 'x');
    const std::string conds[] = {
        "a = 1", "a != '1'", "num > 9.5", "num <= '10'", "frac = 2.5", "frac < ' 3 '", "b = 'hello'", "b > 1",
        "missing = ''", "missing < 1", "empty = ''", "empty >= 0", "../a = 1", "./a = 1", ". = 'deep'",
        "../../b = 'hello'", "x:c/y:d = 'deep'", "c//d = 'later'", "c/* = ''", "list/name = \"x1\"",
        "c = 'deeplater'", "b = '" + longText + "'", "a = 0.1e1", "a = 1.",
    };
    xmlNode *d = Child(Child(top_, "c"), "d");
    for (xmlNode *at : {top_, d}) {
        for (const std::string &cond : conds) {
            EXPECT_EQ(KZ_XPATH_EvalCondition(root_, at, cond.c_str()),
                      KZ_XPATH_EvalCondition(root_, at, ("(" + cond + ")").c_str()))
                << cond << " at " << at->name;
        }
    }
}

TEST_F(XPathEval, FunctionsAndFailureStatuses)
{
    ExpectEval({
        {"not(missing)", kTrue}, {"not(empty)", kFalse}, {"not(a = 2)", kTrue}, {"not (not(a))", kTrue},
        {"not('')", kTrue}, {"not(0) and not(missing)", kTrue}, {"not(b = 'hello') or a = 1", kTrue},
        {"not(1 = 1, 1 = 2)", KZ_EINVAL}, // acts on the last argument, one object too many
        {"not()", KZ_EINVAL}, {"count(a) > 0", KZ_XPATH_EUNKNOWNFUNC}, {"current()", KZ_XPATH_EUNKNOWNFUNC},
        {"boolean(a)", KZ_XPATH_EUNKNOWNFUNC},
        {"abcdefghijklmnopqrstu(a)", KZ_XPATH_EUNKNOWNFUNC}, // 21 characters
        // derived-from argument checks that need no schema.
        {"derived-from(a)", KZ_XPATH_EFUNCARG}, {"derived-from('m:x')", KZ_XPATH_EFUNCARG},
        {"derived-from(missing, 'm:x')", KZ_XPATH_EFUNCARG}, {"derived-from-or-self(a, 'm:x')", KZ_XPATH_ENOSCHEMA},
        // Operators without an evaluation, misplaced signs, parentheses, predicates and tokens.
        {"x + 1 > 2", KZ_XPATH_ENOEVALFUNC}, {"a | b", KZ_XPATH_ENOEVALFUNC}, {"a * 2 = 2", KZ_XPATH_ENOEVALFUNC},
        {"num div 2", KZ_XPATH_ENOEVALFUNC}, {"-1", KZ_XPATH_EPRIMARY}, {"a = -1", KZ_XPATH_EPRIMARY},
        {"(a", KZ_XPATH_EPAREN}, {"a)", KZ_XPATH_EPAREN}, {"a, b", KZ_XPATH_EPAREN}, {"(a, b)", KZ_XPATH_EPAREN},
        {"not(a", KZ_XPATH_EPAREN}, {"//a", KZ_XPATH_EROOTDSLASH}, {"a[1", KZ_XPATH_EPREDICATE},
        {"$x", KZ_XPATH_ETOKENIZE}, {"a = 'open", KZ_XPATH_ETOKENIZE},
        // Missing or surplus operands show up as malformed stack state.
        {"", KZ_EINVAL}, {"a =", KZ_EINVAL}, {"= a", KZ_EINVAL}, {"1 (2)", KZ_EINVAL}, {"@a", KZ_EINVAL},
        {"a/@b", KZ_EINVAL},
    });
    EXPECT_EQ(KZ_XPATH_EvalCondition(nullptr, top_, "a"), KZ_EINVAL);
    EXPECT_EQ(KZ_XPATH_EvalCondition(root_, nullptr, "a"), KZ_EINVAL);
    EXPECT_EQ(KZ_XPATH_EvalCondition(root_, top_, nullptr), KZ_EINVAL);
    // A schema node that is no identityref leaf is rejected.
    KzsNode container{};
    container.kind = KZS_NODE_CONTAINER;
    xmlNode *a = Child(top_, "a");
    a->_private = &container;
    a->doc->_private = const_cast<XpathValueAccessor *>(&kz::data::BoundValues());
    EXPECT_EQ(Eval("derived-from(a, 'm:x')"), KZ_EINVAL);
    a->doc->_private = nullptr;
    a->_private = nullptr;
}

TEST_F(XPathEval, StatusesUnreachableFromText)
{
    // Kind 9 is never produced by the tokenizer; a hand-made list reaches the step check.
    const char *expr = "x";
    XpathToken tok{KZ_XPATH_TOK_STEP, 1, 0};
    XpathLex lex{&tok, expr, 1, 1};
    EXPECT_EQ(KZ_XPATH_EvalTokenizedCondition(root_, top_, &lex), KZ_XPATH_ESTEPKIND);
    EXPECT_EQ(KZ_XPATH_EvalTokenizedCondition(root_, top_, nullptr), KZ_XPATH_ETOKENIZE);

    XpathLex *real = KZ_XPATH_ExprTokenize("a = 1");
    ASSERT_NE(real, nullptr);
    XpathEvalCtx ctx;
    ASSERT_EQ(KZ_XPATH_InitEvalCtx(&ctx, root_, top_, 3), KZ_OK);
    uint32_t pos = 0;
    EXPECT_EQ(KZ_XPATH_EvalSubExpr(&ctx, real, &pos), KZ_XPATH_ESUBSTART);
    // An equality entry whose token is no operator has no operation code.
    ASSERT_EQ(KZ_XPATH_PushNumberToObjStack(ctx.objectStack, 1), KZ_OK);
    ASSERT_EQ(KZ_XPATH_PushNumberToObjStack(ctx.objectStack, 1), KZ_OK);
    XpathPendingOp op{KZ_XPATH_EXPR_EQUALITY, 0};
    EXPECT_EQ(KZ_XPATH_CalculateOneExpr(&ctx, real, &op), KZ_XPATH_ENOOPCODE);
    EXPECT_EQ(KZ_XPATH_GetObjStackSize(ctx.objectStack), 0u); // operands freed anyway
    KZ_XPATH_DestroyEvalCtx(&ctx);
    KZ_XPATH_FreeXpathLex(real);
}


// Deep nesting must not recurse (a stack overflow would end the process), and
// the work of a flat chain grows with its length: four times the tokens may
// cost at most about four times the allocations.
TEST_F(XPathEval, HugeConditionsNeitherRecurseNorGoQuadratic)
{
    auto chain = [](size_t size) {
        std::string text = "a = 1";
        while (text.size() < size) {
            text += " and a = 1";
        }
        return text;
    };
    // 50,000 nested parentheses and 20,000 nested calls.
    std::string parens = std::string(50000, '(') + "a = 1" + std::string(50000, ')');
    std::string calls;
    for (int i = 0; i < 20000; i++) {
        calls += "not(";
    }
    calls += "a" + std::string(20000, ')');
    // Operands pile up when priorities rise: a or a and a = a < ... nested to the right.
    std::string rising;
    for (int i = 0; i < 25000; i++) {
        rising += "(a or ";
    }
    rising += "a" + std::string(25000, ')');

    const std::string small = chain(100000);
    const std::string large = chain(400000);
    const uint64_t smallCost = kztest::CountMallocs([&] { EXPECT_EQ(Eval(small.c_str()), kTrue); });
    const uint64_t largeCost = kztest::CountMallocs([&] { EXPECT_EQ(Eval(large.c_str()), kTrue); });
    EXPECT_LT(largeCost, 5 * smallCost) << smallCost << " then " << largeCost;
    EXPECT_EQ(Eval(parens.c_str()), kTrue);
    EXPECT_EQ(Eval(calls.c_str()), kTrue); // even count of "not"
    EXPECT_EQ(Eval(rising.c_str()), kTrue);
    EXPECT_EQ(Eval((parens + ")").c_str()), KZ_XPATH_EPAREN);
}

// Sharing one token list between threads is exercised by the hardening
// concurrency test.
TEST_F(XPathEval, TokenListServesManyNodesAndIsCachedPerText)
{
    XpathLex *lex = KZ_XPATH_ExprTokenize("../a = 2 or name = 'x2'");
    ASSERT_NE(lex, nullptr);
    xmlNode *list1 = Child(top_, "list");
    EXPECT_EQ(KZ_XPATH_EvalTokenizedCondition(root_, Child(Child(root_, "other"), "a"), lex), kTrue);
    EXPECT_EQ(KZ_XPATH_EvalTokenizedCondition(root_, list1, lex), kFalse);
    EXPECT_EQ(KZ_XPATH_EvalTokenizedCondition(root_, list1->next, lex), kTrue);
    EXPECT_EQ(KZ_XPATH_EvalTokenizedCondition(root_, list1, lex), kFalse);
    KZ_XPATH_FreeXpathLex(lex);

    KzXpathLexCache *cache = KZ_XPATH_CreateLexCache();
    ASSERT_NE(cache, nullptr);
    static const char kCond[] = "name = 'x2'";
    static const char kBad[] = "name = $v";
    const XpathLex *first = KZ_XPATH_GetCachedLex(cache, kCond);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(KZ_XPATH_GetCachedLex(cache, kCond), first);
    EXPECT_EQ(KZ_XPATH_GetCachedLex(cache, kBad), nullptr);
    EXPECT_EQ(KZ_XPATH_GetCachedLex(cache, kBad), nullptr);
    EXPECT_EQ(KZ_XPATH_EvalCachedCondition(cache, root_, list1, kCond), kFalse);
    EXPECT_EQ(KZ_XPATH_EvalCachedCondition(cache, root_, list1->next, kCond), kTrue);
    EXPECT_EQ(KZ_XPATH_EvalCachedCondition(cache, root_, list1, kBad), KZ_XPATH_ETOKENIZE);
    EXPECT_EQ(KZ_XPATH_EvalCachedCondition(nullptr, root_, list1, kCond), KZ_EINVAL);
    KZ_XPATH_DestroyLexCache(cache);
    KZ_XPATH_DestroyLexCache(nullptr);
}

TEST(XPathNumber, AcceptsOnlyTheXPathNumberForm)
{
    EXPECT_DOUBLE_EQ(KZ_XPATH_StrToNumber("  -12.5\t"), -12.5);
    EXPECT_DOUBLE_EQ(KZ_XPATH_StrToNumber("5."), 5.0);
    EXPECT_DOUBLE_EQ(KZ_XPATH_StrToNumber(".25"), 0.25);
    EXPECT_DOUBLE_EQ(KZ_XPATH_StrToNumber("007"), 7.0);
    EXPECT_TRUE(std::isinf(KZ_XPATH_StrToNumber(std::string(400, '9').c_str())));
    EXPECT_EQ(KZ_XPATH_StrToNumber(("0." + std::string(400, '0') + "1").c_str()), 0.0);
    for (const char *bad : {"", " ", ".", "-", "1e3", "+1", "inf", "nan", "0x10", "1 2", "1,5", "--1", "1.2.3"}) {
        EXPECT_TRUE(std::isnan(KZ_XPATH_StrToNumber(bad))) << bad;
    }
    EXPECT_TRUE(std::isnan(KZ_XPATH_StrToNumber(nullptr)));
}
