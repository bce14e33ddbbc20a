// Range and length expressions, their segments per width, decimal64 scaling
// and segment comparison.  Values against whole types are tabled in
// test_types_values_modules.cpp.

#include <deque>

#include "test_support.h"

using kztest::TypeYin;
using kztest::TypesFixture;

namespace {

// Records every part the tokenizer finishes.
uint32_t CollectPart(KztRealType *, KztTypeConstraint *entry, uint16_t *filled, const SegInt64 *rec)
{
    static_cast<std::vector<SegInt64> *>(entry->consData)->push_back(*rec);
    ++*filled;
    return 0;
}

struct Tokenized {
    uint32_t ret;
    std::vector<SegInt64> parts;
    bool minMax;
};

// With fraction digits the type is a decimal64 carrying them.
Tokenized Tokenize(const std::string &expr, uint8_t fractionDigits = 0)
{
    Tokenized out{};
    KztRealType rt{};
    KztConsDataFraction frac{fractionDigits};
    if (fractionDigits != 0) {
        rt.baseType = KZT_BASE_DECIMAL64;
        EXPECT_EQ(KZT_TYPE_ExpandConstraintArray(&rt, 1), 0u);
        rt.constraints[0] = {KZT_CONS_FRACTION, &frac};
        rt.consCount = 1;
    }
    KztTypeConstraint entry{8, &out.parts};
    KztRangePushArg arg{&rt, &entry, 0, 0};
    out.ret = KZT_LOADER_ScanParseRangeExprWithCb(expr.c_str(), CollectPart, &arg);
    out.minMax = arg.minMaxSeen != 0;
    KZ_MemFree(rt.constraints);
    return out;
}

std::string Parts(uint32_t n, const std::string &part)
{
    std::string s = part;
    for (uint32_t i = 1; i < n; ++i) {
        s += "|" + part;
    }
    return s;
}

struct Bounds {
    int64_t start;
    int64_t end;
    uint32_t startFlags;
    uint32_t endFlags;
};

uint32_t CollectBounds(const KztBoundVal *s, const KztBoundVal *e, void *arg)
{
    static_cast<std::vector<Bounds> *>(arg)->push_back({s->value, e->value, s->flags, e->flags});
    return 0;
}

} // namespace

/* ---- Tokenizer --------------------------------------------------------------- */

TEST(TypesRangeExpr, PartsBoundsAndSignedness)
{
    Tokenized t = Tokenize("  1 .. 5 | -3..7|9 |max");
    ASSERT_EQ(t.ret, 0u);
    ASSERT_EQ(t.parts.size(), 4u);
    EXPECT_EQ(t.parts[0].start, 1);
    EXPECT_EQ(t.parts[0].end, 5);
    EXPECT_EQ(t.parts[0].flags, KZT_SEGF_UNSIGNED);
    // The start's sign rules the part.
    EXPECT_EQ(t.parts[1].start, -3);
    EXPECT_EQ(t.parts[1].end, 7);
    EXPECT_EQ(t.parts[1].flags, KZT_SEGF_SIGNED);
    // A single value is both ends.
    EXPECT_EQ(t.parts[2].start, 9);
    EXPECT_EQ(t.parts[2].end, 9);
    // A lone "max" is "max..max".
    EXPECT_EQ(t.parts[3].flags, KZT_SEGF_START_MAX | KZT_SEGF_END_MAX);
    EXPECT_TRUE(t.minMax);

    Tokenized m = Tokenize("min..-1");
    ASSERT_EQ(m.ret, 0u);
    EXPECT_EQ(m.parts[0].flags, KZT_SEGF_START_MIN | KZT_SEGF_SIGNED);
    EXPECT_EQ(m.parts[0].end, -1);
    EXPECT_FALSE(Tokenize("1..2").minMax);

    // decimal64 bounds are scaled by the fraction digits.
    Tokenized d = Tokenize("-1.5..+12.34 | 100", 2);
    ASSERT_EQ(d.ret, 0u);
    ASSERT_EQ(d.parts.size(), 2u);
    EXPECT_EQ(d.parts[0].start, -150);
    EXPECT_EQ(d.parts[0].end, 1234);
    EXPECT_EQ(d.parts[0].flags, KZT_SEGF_SIGNED);
    EXPECT_EQ(d.parts[1].start, 10000);
    EXPECT_EQ(Tokenize("1.234..5", 2).ret, 22u);
}

TEST(TypesRangeExpr, MalformedExpressionsAndTokensPastTheLimitFail)
{
    for (const char *bad : {"1...5", "1..2||3", "|1", "1|", "1.5", "mix", "m", "ma", "1..2a", "1..x", "abc", "",
                            "1..99999999999999999999", "--1", "1..2 x"}) {
        EXPECT_EQ(Tokenize(bad).ret, 22u) << '"' << bad << '"';
    }
    // "mi" followed by "n" is enough; what follows is not examined.
    EXPECT_EQ(Tokenize("minimum..3").ret, 22u); // "imum" is not a token
    EXPECT_EQ(Tokenize("min ..3").ret, 0u);
    // n single-value parts make 2n-1 tokens.
    EXPECT_EQ(Tokenize(Parts(128, "1")).ret, 0u);  // 255 tokens
    EXPECT_EQ(Tokenize(Parts(129, "1")).ret, 22u); // 257 tokens
    EXPECT_EQ(Tokenize(Parts(64, "1..2")).ret, 0u);  // 255 tokens
    EXPECT_EQ(Tokenize(Parts(65, "1..2")).ret, 22u); // 259 tokens
}

/* ---- Segments per width ------------------------------------------------------- */

class TypesRangeLoad : public TypesFixture {
protected:
    // Parses `type name` with one range; returns its start/end pairs.
    uint32_t Load(const std::string &type, const std::string &range, std::vector<Bounds> *out)
    {
        KztRealType rt{};
        uint32_t ret = ParseType(TypeYin(type, "<range value=\"" + range + "\"/>"), &rt);
        if (ret == 0 && out != nullptr) {
            void *body = KZT_TYPE_GetTypeConsDataByConsType(&rt, KZT_CONS_RANGE);
            ret = KZT_CONS_ScanStartEndPairsWithRange(body, rt.baseType, CollectBounds, out);
        }
        Destroy(&rt);
        EXPECT_EQ(Leaked(), 0u);
        return ret;
    }
};

TEST_F(TypesRangeLoad, MinAndMaxOfEveryIntegerWidth)
{
    struct Row {
        const char *type;
        int64_t lo;
        int64_t hi;
        uint32_t flag;
    };
    const Row rows[] = {
        {"int8", -128, 127, 1},
        {"int16", -32768, 32767, 1},
        {"int32", INT32_MIN, INT32_MAX, 1},
        {"int64", INT64_MIN, INT64_MAX, 1},
        {"uint8", 0, 255, 2},
        {"uint16", 0, 65535, 2},
        {"uint32", 0, 4294967295LL, 2},
        {"uint64", 0, static_cast<int64_t>(UINT64_MAX), 2},
    };
    for (const Row &r : rows) {
        std::vector<Bounds> b;
        ASSERT_EQ(Load(r.type, "min..max", &b), 0u) << r.type;
        ASSERT_EQ(b.size(), 1u);
        EXPECT_EQ(b[0].start, r.lo) << r.type;
        EXPECT_EQ(b[0].end, r.hi) << r.type;
        EXPECT_EQ(b[0].startFlags, r.flag) << r.type;
        EXPECT_EQ(b[0].endFlags, r.flag) << r.type;
    }
}

TEST_F(TypesRangeLoad, NarrowingIsNotRejected)
{
    struct Row {
        const char *type;
        const char *range;
        size_t part;
        bool start; // which end of the part is checked
        int64_t value;
    };
    const Row rows[] = {
        // Unsigned bounds beyond a signed width leave the segment at zero.
        {"int8", "0..200", 0, true, 0}, {"int8", "0..200", 0, false, 0},
        {"int64", "0..9223372036854775808", 0, false, 0},
        // Signed bounds and unsigned widths narrow without a check.
        {"int8", "-200..5", 0, true, 56}, {"uint8", "0..300", 0, false, 44},
        {"int16", "min", 0, true, -32768}, {"int16", "min", 0, false, -32768},
        {"int8", "0..127|min", 1, false, -128},
        {"uint64", "5..18446744073709551615", 0, false, static_cast<int64_t>(UINT64_MAX)},
    };
    for (const Row &r : rows) {
        std::vector<Bounds> b;
        ASSERT_EQ(Load(r.type, r.range, &b), 0u) << r.type << " " << r.range;
        ASSERT_GT(b.size(), r.part);
        EXPECT_EQ(r.start ? b[r.part].start : b[r.part].end, r.value) << r.type << " " << r.range;
    }
}

TEST_F(TypesRangeLoad, RangesThatFailToLoad)
{
    EXPECT_EQ(Load("uint8", "-1..5", nullptr), 22u);  // a signed part on an unsigned width
    EXPECT_EQ(Load("uint64", "-0..5", nullptr), 22u);
    EXPECT_EQ(Load("boolean", "1", nullptr), 22u);  // no range parser
    EXPECT_EQ(Load("int8", "1 .. 5", nullptr), 0u);
}

TEST_F(TypesRangeLoad, LengthSegmentWidthFollowsDerivationAndMinMax)
{
    struct Row {
        const char *type;
        const char *expr;
        uint16_t size;
        uint16_t flags;
        uint32_t ret;
    };
    const Row rows[] = {
        {"string", "1..4", KZT_SEG_SIZE_LEN32, 3, 0},
        {"string", "min..max", KZT_SEG_SIZE_LEN32, 3, 0},
        {"t", "1..4", KZT_SEG_SIZE_LEN32, 3, 0},
        {"t", "min..4", KZT_SEG_SIZE_INT64, 5, 0},
        {"string", "-1..4", 0, 0, 22},
        {"t", "-1..max", 0, 0, 22},
    };
    for (const Row &r : rows) {
        KztRealType rt{};
        uint32_t ret = ParseType(TypeYin(r.type, std::string("<length value=\"") + r.expr + "\"/>"), &rt);
        EXPECT_EQ(ret, r.ret) << r.type << " " << r.expr;
        if (ret == 0) {
            auto *body = static_cast<KztConsDataRange *>(KZT_TYPE_GetTypeConsDataByConsType(&rt, KZT_CONS_LENGTH));
            ASSERT_NE(body, nullptr);
            EXPECT_EQ(body->segSize, r.size) << r.type << " " << r.expr;
            EXPECT_EQ(rt.rngLenFlags, r.flags) << r.type << " " << r.expr;
        }
        Destroy(&rt);
    }

    // A derived length from "min" scans as "min".
    KztRealType rt{};
    ASSERT_EQ(ParseType(TypeYin("t", "<length value=\"min..3\"/>"), &rt), 0u);
    std::vector<Bounds> b;
    void *body = KZT_TYPE_GetTypeConsDataByConsType(&rt, KZT_CONS_LENGTH);
    ASSERT_EQ(KZT_CONS_ScanStartEndPairsWithLength(body, rt.baseType, CollectBounds, &b), 0u);
    ASSERT_EQ(b.size(), 1u);
    EXPECT_EQ(b[0].startFlags, KZ_BOUND_UNSIGNED | KZ_BOUND_MIN);
    EXPECT_EQ(b[0].end, 3);
    EXPECT_EQ(b[0].endFlags, KZ_BOUND_UNSIGNED);
    Destroy(&rt);
    EXPECT_EQ(Leaked(), 0u);
}

/* ---- decimal64 --------------------------------------------------------------------- */

TEST(TypesDecimal64, ConversionDigitLimitsAndTheBuiltInCheck)
{
    struct Row {
        const char *text;
        int64_t value;
        uint8_t fractionDigits = 2;
    };
    const Row ok[] = {
        {"1.5", 150}, {"-0.25", -25}, {" 007 ", 700}, {"1.", 100}, {"", 0}, {".", 0},
        {"+12", 1200}, {"-0", 0}, {"0.01", 1}, {"\t-3.1\n", -310}, {"+0.5", 50}, {"-00012.30", -1230},
        {"92233720368547758.07", INT64_MAX}, {"-92233720368547758.08", INT64_MIN},
        // Leading zeros do not count towards the nineteen digits.
        {"000000000000000000001", 1000000000000000000LL, 18}, {"0.000000000000000001", 1, 18},
        {"9223372036854775807", INT64_MAX, 0},
    };
    for (const Row &r : ok) {
        int64_t v = 42;
        EXPECT_EQ(KZT_CONS_ConvertValStrToDecimal64PowerInteger(r.text, r.fractionDigits, &v), 0u)
            << '"' << r.text << '"';
        EXPECT_EQ(v, r.value) << '"' << r.text << '"';
    }
    for (const char *bad : {"1.234", "1.230", "1..2", "1 2", "1x", "x", "--1", "1.2.3", "92233720368547758.08",
                            "123456789012345678", "1e3", static_cast<const char *>(nullptr)}) {
        int64_t v = 0;
        EXPECT_EQ(KZT_CONS_ConvertValStrToDecimal64PowerInteger(bad, 2, &v), 22u)
            << '"' << (bad != nullptr ? bad : "(null)") << '"';
    }
    int64_t v = 0;
    EXPECT_EQ(KZT_CONS_ConvertValStrToDecimal64PowerInteger("10", 18, &v), 22u);

    // The built-in check needs the fraction digits.
    KztValCheckCtx chk{};
    EXPECT_EQ(KZT_CONS_CheckValStrAgainstDefRestrictDecimal64(4, "1.5", &chk), 28680u);
    chk.fracDigits = 2;
    EXPECT_EQ(KZT_CONS_CheckValStrAgainstDefRestrictDecimal64(4, "12.34", &chk), 0u);
    EXPECT_EQ(KZT_CONS_CheckValStrAgainstDefRestrictDecimal64(4, "+12", &chk), 0u);
    EXPECT_EQ(KZT_CONS_CheckValStrAgainstDefRestrictDecimal64(4, "12.345", &chk), 28680u);
    EXPECT_EQ(KZT_CONS_CheckValStrAgainstDefRestrictDecimal64(4, nullptr, &chk), 28680u);
}

TEST(TypesSegCompare, DerivedSegmentsAndMixedSigns)
{
    const SegInt64 signedSeg{-10, 10, KZT_SEGF_SIGNED};
    const SegInt64 unsignedSeg{5, static_cast<int64_t>(UINT64_MAX), KZT_SEGF_UNSIGNED};
    const SegInt64 noSign{0, 5, 0};
    const SegInt64 negV{-11, 0, KZT_SEGF_SIGNED};
    const SegInt64 v3{3, 0, KZT_SEGF_UNSIGNED};
    const SegInt64 big{static_cast<int64_t>(UINT64_MAX - 1), 0, KZT_SEGF_UNSIGNED};
    const SegInt64 none{3, 0, 0};

    EXPECT_EQ(KZT_CONS_CheckSegInt64WithExplictFlag(&negV, &signedSeg), 4097u);
    EXPECT_EQ(KZT_CONS_CheckSegInt64WithExplictFlag(&negV, &noSign), 22u);
    EXPECT_EQ(KZT_CONS_CheckSegInt64WithExplictFlag(&v3, &signedSeg), 22u); // negative start
    const SegInt64 positive{1, 10, KZT_SEGF_SIGNED};
    EXPECT_EQ(KZT_CONS_CheckSegInt64WithExplictFlag(&v3, &positive), 0u);
    EXPECT_EQ(KZT_CONS_CheckSegInt64WithExplictFlag(&v3, &unsignedSeg), 4097u);
    EXPECT_EQ(KZT_CONS_CheckSegInt64WithExplictFlag(&big, &unsignedSeg), 0u);
    EXPECT_EQ(KZT_CONS_CheckSegInt64WithExplictFlag(&none, &unsignedSeg), 22u);

    // "max" of a derived segment takes the parent's end.
    KztValCheckCtx chk{};
    chk.parentMinMax = SegInt64{0, 255, KZT_SEGF_UNSIGNED};
    const SegInt64 toMax{10, 0, KZT_SEGF_UNSIGNED | KZT_SEGF_END_MAX};
    const SegInt64 v200{200, 0, KZT_SEGF_UNSIGNED};
    const SegInt64 v256{256, 0, KZT_SEGF_UNSIGNED};
    EXPECT_EQ(KZT_CONS_CheckValueAgainstRangeSegIntUnknown(&v200, &toMax, &chk), 0u);
    EXPECT_EQ(KZT_CONS_CheckValueAgainstRangeSegIntUnknown(&v256, &toMax, &chk), 22u);
    SegInt64 resolved{};
    KZT_CONS_UpdateSegInt64WithMinMaxValue(&toMax, &chk.parentMinMax, &resolved);
    EXPECT_EQ(resolved.start, 10);
    EXPECT_EQ(resolved.end, 255);
    EXPECT_EQ(resolved.flags, KZT_SEGF_UNSIGNED);
    chk.parentMinMax.flags = KZT_SEGF_SIGNED;
    KZT_CONS_UpdateSegInt64WithMinMaxValue(&toMax, &chk.parentMinMax, &resolved);
    EXPECT_EQ(resolved.flags, KZT_SEGF_SIGNED);
}
