/* Value checks on constraint bodies and real types built by hand: base64
 * leniency, boolean/empty, bits value parsing, enumeration names, cached
 * patterns against per-value compilation, unions, derived chains and the
 * public scans. */
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "korla.h"
#include "schema/kzs_ctx.h"
#include "base/kz_str.h"
#include "types/kzt_cons.h"
#include "types/kzt_type.h"
#include "test_support.h"

namespace {

KztValCheckCtx FreshChk()
{
    KztValCheckCtx chk{};
    return chk;
}

uint32_t CheckBinary(const char *v, uint32_t *len)
{
    KztValCheckCtx chk = FreshChk();
    chk.binLen = 0xdeadu;
    const uint32_t rc = KZT_CONS_CheckValStrAgainstDefRestrictBinary(KZT_BASE_BINARY, v, &chk);
    *len = chk.binLen;
    return rc;
}

TEST(TypesValuesBinary, DecodedLengthPaddingAndForeignCharacters)
{
    const std::pair<const char *, uint32_t> rows[] = {
        {"QUJD", 3}, {"QUI=", 2}, {"QQ==", 1}, {"QUJDRA==", 4},
        /* Leading and trailing white space does not count. */
        {" \n QUJD\t\n ", 3}, {"", 0}, {"  \t", 0},
        /* Characters outside the alphabet are tolerated. */
        {"QU!D", 3}, {"a/b=", 2},
    };
    for (const auto &row : rows) {
        uint32_t len = 0;
        EXPECT_EQ(CheckBinary(row.first, &len), 0u) << row.first;
        EXPECT_EQ(len, row.second) << row.first;
    }
}

TEST(TypesValuesBinary, RejectsBadShapes)
{
    uint32_t len = 0;
    const char *bad[] = {
        "QUJ",      /* not a multiple of 4 */
        "Q===",     /* three pads */
        "QU=D",     /* data after padding */
        "Q==/",     /* slash after padding */
        "QUJD\nQUJD", /* inner line feed counts towards the length */
    };
    for (const char *v : bad) {
        EXPECT_EQ(CheckBinary(v, &len), KZ_VAL_ERR_BINARY) << v;
    }
    KztValCheckCtx chk = FreshChk();
    EXPECT_EQ(KZT_CONS_CheckValStrAgainstDefRestrictBinary(KZT_BASE_BINARY, nullptr, &chk), KZ_VAL_ERR_BINARY);
}

TEST(TypesValuesSimple, BooleanAndEmpty)
{
    KztValCheckCtx chk = FreshChk();
    EXPECT_EQ(KZT_CONS_CheckValStrAgainstDefRestrictBoolean(KZT_BASE_BOOLEAN, "true", &chk), 0u);
    EXPECT_EQ(KZT_CONS_CheckValStrAgainstDefRestrictBoolean(KZT_BASE_BOOLEAN, "false", &chk), 0u);
    for (const char *v : {"True", " true", "false ", "1", ""}) {
        EXPECT_EQ(KZT_CONS_CheckValStrAgainstDefRestrictBoolean(KZT_BASE_BOOLEAN, v, &chk), KZ_VAL_ERR_BOOLEAN) << v;
    }
    EXPECT_EQ(KZT_CONS_CheckValStrAgainstDefRestrictBoolean(KZT_BASE_BOOLEAN, nullptr, &chk), KZ_VAL_ERR_BOOLEAN);
    EXPECT_EQ(KZT_CONS_CheckValStrAgainstDefRestrictEmpty(KZT_BASE_EMPTY, nullptr, &chk), 0u);
    EXPECT_EQ(KZT_CONS_CheckValStrAgainstDefRestrictEmpty(KZT_BASE_EMPTY, "", &chk), 0u);
    EXPECT_EQ(KZT_CONS_CheckValStrAgainstDefRestrictEmpty(KZT_BASE_EMPTY, " ", &chk), KZ_VAL_ERR_EMPTY);
}

/* A bits body over the given names, positions in order. */
struct BitsBody {
    std::vector<std::string> names;
    std::vector<KztSegBit> segs;
    KztConsDataBit body{};

    explicit BitsBody(std::vector<std::string> n) : names(std::move(n))
    {
        for (size_t i = 0; i < names.size(); ++i) {
            segs.push_back(KztSegBit{names[i].c_str(), static_cast<uint32_t>(i)});
        }
        body.segCount = static_cast<uint16_t>(segs.size());
        body.segs = segs.data();
    }

    uint32_t Check(const char *v)
    {
        KztValCheckCtx chk = FreshChk();
        return KZT_CONS_ValidateValueNodeAgainstDataBit(&body, KZ_VAL_INPUT_STRING, v, &chk);
    }
};

TEST(TypesValuesBits, ValueParsing)
{
    BitsBody b({"x", "y", "z"});
    for (const char *ok : {"x z", "z x", "x\t y\nz", ""}) { /* order is free */
        EXPECT_EQ(b.Check(ok), 0u) << ok;
    }
    for (const char *bad : {"x x", "x,z", " x", "x ", "w", "x y z x"}) { /* the last has more names than bits */
        EXPECT_EQ(b.Check(bad), KZ_VAL_ERR_BITS) << bad;
    }
    EXPECT_EQ(b.Check(nullptr), KZ_VAL_ERR_BITS);
}

TEST(TypesValuesBits, NameLengthAndCountLimits)
{
    std::vector<std::string> names;
    for (int i = 0; i < 200; ++i) {
        names.push_back("b" + std::to_string(i));
    }
    const std::string long64(64, 'a');
    const std::string long65(65, 'a');
    names.push_back(long64);
    names.push_back(long65);
    BitsBody b(names);

    std::string v129;
    for (int i = 0; i < 129; ++i) {
        v129 += (i ? " b" : "b") + std::to_string(i);
    }
    EXPECT_EQ(b.Check(v129.c_str()), 0u);
    const std::string v130 = v129 + " b129";
    EXPECT_EQ(b.Check(v130.c_str()), KZ_VAL_ERR_BITS);
    EXPECT_EQ(b.Check(long64.c_str()), 0u);
    /* A bit may be declared with a longer name but can never be set. */
    EXPECT_EQ(b.Check(long65.c_str()), KZ_VAL_ERR_BITS);
}

TEST(TypesValuesEnum, ExactNames)
{
    KztSegEnum segs[] = {{"up", 0}, {"down", 1}, {"", 2}};
    KztConsDataEnum body{2, segs, nullptr};
    KztValCheckCtx chk = FreshChk();
    EXPECT_EQ(KZT_CONS_ValidateValueNodeAgainstDataEnum(&body, KZ_VAL_INPUT_STRING, "up", &chk), 0u);
    EXPECT_EQ(KZT_CONS_ValidateValueNodeAgainstDataEnum(&body, KZ_VAL_INPUT_STRING, "down", &chk), 0u);
    for (const char *v : {"Up", "up ", "", "do"}) {
        EXPECT_EQ(KZT_CONS_ValidateValueNodeAgainstDataEnum(&body, KZ_VAL_INPUT_STRING, v, &chk), KZ_VAL_ERR_ENUM)
            << v;
    }
    EXPECT_EQ(KZT_CONS_ValidateValueNodeAgainstDataEnum(&body, KZ_VAL_INPUT_STRING, nullptr, &chk), KZ_VAL_ERR_ENUM);
    KztConsDataEnum none{0, nullptr, nullptr};
    EXPECT_EQ(KZT_CONS_ValidateValueNodeAgainstDataEnum(&none, KZ_VAL_INPUT_STRING, "up", &chk), KZ_VAL_ERR_ENUM);
}

/* Pattern bodies are made through the copy function, which compiles. */
class TypesValuesPattern : public kztest::CtxTest {
protected:

    KztConsDataPattern *Make(const char *pattern, uint32_t invert)
    {
        KztSegPattern seg{pattern, invert, nullptr};
        KztConsDataPattern src{1, &seg};
        return static_cast<KztConsDataPattern *>(KZT_CONS_CopyConsDataBodyWithPattern(&ctx_->dict, &src));
    }
    uint32_t Check(KztConsDataPattern *body, const char *v)
    {
        KztValCheckCtx chk = FreshChk();
        return KZT_CONS_ValidateValueNodeAgainstDataPattern(body, KZ_VAL_INPUT_STRING, v, &chk);
    }
};

TEST_F(TypesValuesPattern, CachedMatchesPerValueCompilation)
{
    const char *patterns[] = {"[a-z]+", "[0-9]{1,3}(\\.[0-9]{1,3}){3}", "\\d*", "(ab|cd)+x?", "[a-", "", ".*"};
    const char *values[] = {"abc", "ABC", "", "10.0.0.1", "1.2.3", "abcdx", "cdab", "123", "a-", "x\ny"};
    for (const char *p : patterns) {
        for (uint32_t invert = 0; invert < 2; ++invert) {
            KztConsDataPattern *body = Make(p, invert);
            ASSERT_NE(body, nullptr);
            for (const char *v : values) {
                const bool perValueMatch = KZ_UTL_MatchStrWithPattern(v, p) == 0;
                const bool expectOk = perValueMatch != (invert != 0);
                EXPECT_EQ(Check(body, v), expectOk ? 0u : KZ_VAL_ERR_PATTERN)
                    << "pattern " << p << " invert " << invert << " value " << v;
            }
            KZT_CONS_DestroyConsDataBodyWithPattern(&ctx_->dict, body);
        }
    }
}

TEST_F(TypesValuesPattern, EveryPatternMustHoldAndNullFails)
{
    KztSegPattern segs[] = {{"[a-z]+", 0, nullptr}, {"admin", 1, nullptr}};
    KztConsDataPattern src{2, segs};
    auto *body = static_cast<KztConsDataPattern *>(KZT_CONS_CopyConsDataBodyWithPattern(&ctx_->dict, &src));
    ASSERT_NE(body, nullptr);
    EXPECT_EQ(Check(body, "root"), 0u);
    EXPECT_EQ(Check(body, "admin"), KZ_VAL_ERR_PATTERN);
    EXPECT_EQ(Check(body, "Root"), KZ_VAL_ERR_PATTERN);
    EXPECT_EQ(Check(body, nullptr), KZ_VAL_ERR_PATTERN);
    KZT_CONS_DestroyConsDataBodyWithPattern(&ctx_->dict, body);
}

/* Real types assembled by hand: one-entry constraint arrays. */
struct HandType {
    KztTypeConstraint entry{};
    KztRealType type{};

    HandType(KztBaseType base, KztConsType kind, void *body)
    {
        entry.consType = kind;
        entry.consData = body;
        type.baseType = base;
        type.consCount = 1;
        type.constraints = &entry;
    }
};

TEST(TypesValuesDriver, DerivedChainStopsAfter129Steps)
{
    /* chain[0] is "boolean"; chain[i] derives from chain[i-1]. */
    const int depth = 131;
    std::vector<KztConsDataDerived> bodies(depth);
    std::vector<KztTypeConstraint> entries(depth);
    std::vector<KztRealType> chain(depth);
    chain[0].baseType = KZT_BASE_BOOLEAN;
    for (int i = 1; i < depth; ++i) {
        bodies[i] = KztConsDataDerived{"m", "t", &chain[i - 1]};
        entries[i] = KztTypeConstraint{KZT_CONS_DERIVED, &bodies[i]};
        chain[i] = KztRealType{KZT_BASE_DERIVED, 0, 1, &entries[i]};
    }
    KztValCheckCtx chk = FreshChk();
    EXPECT_EQ(KZT_TYPE_ValidateValueNodeAgainstRealType(&chain[129], KZ_VAL_INPUT_STRING, "true", &chk), 0u);
    EXPECT_EQ(chk.derivedDepth, 129u);
    /* The deepest derived step reports the type nearest the built-in. */
    EXPECT_EQ(chk.matchRealType, &chain[0]);
    chk = FreshChk();
    EXPECT_EQ(KZT_TYPE_ValidateValueNodeAgainstRealType(&chain[129], KZ_VAL_INPUT_STRING, "yes", &chk),
              KZ_VAL_ERR_BOOLEAN);
    chk = FreshChk();
    EXPECT_EQ(KZT_TYPE_ValidateValueNodeAgainstRealType(&chain[130], KZ_VAL_INPUT_STRING, "true", &chk),
              KZ_VAL_ERR_DERIVED);
}

TEST(TypesValuesDriver, EntryWithoutBodyAndNullNode)
{
    HandType t(KZT_BASE_ENUMERATION, KZT_CONS_ENUM, nullptr);
    KztValCheckCtx chk = FreshChk();
    EXPECT_EQ(KZT_TYPE_ValidateValueNodeAgainstRealType(&t.type, KZ_VAL_INPUT_STRING, "a", &chk),
              KZ_VAL_ERR_NO_BODY);
    EXPECT_EQ(KZ_NODE_ValidateValue(nullptr, KZ_VAL_INPUT_STRING, "a"), KZ_EINVAL);
    EXPECT_EQ(KZ_NODE_FindRealTypeMatchedValue(nullptr, KZ_VAL_INPUT_STRING, "a"), nullptr);
}

TEST(TypesValuesDriver, UnionTakesFirstAcceptingMember)
{
    KztSegEnum enumSegs[] = {{"auto", 0}};
    KztConsDataEnum enumBody{1, enumSegs, nullptr};
    KztRealType members[3] = {};
    members[0].baseType = KZT_BASE_BOOLEAN;
    KztTypeConstraint enumEntry{KZT_CONS_ENUM, &enumBody};
    members[1] = KztRealType{KZT_BASE_ENUMERATION, 0, 1, &enumEntry};
    members[2].baseType = KZT_BASE_EMPTY;
    KztConsDataUnion u{3, members};
    HandType t(KZT_BASE_UNION, KZT_CONS_UNION, &u);

    struct Case {
        const char *value;
        uint32_t rc;
        KztRealType *match;
    } cases[] = {
        {"true", 0u, &members[0]},
        {"auto", 0u, &members[1]},
        {"", 0u, &members[2]},
        {"manual", KZ_VAL_ERR_UNION, nullptr},
    };
    for (const Case &c : cases) {
        KztValCheckCtx chk = FreshChk();
        EXPECT_EQ(KZT_TYPE_ValidateValueNodeAgainstRealType(&t.type, KZ_VAL_INPUT_STRING, c.value, &chk), c.rc)
            << c.value;
        if (c.rc == 0) {
            EXPECT_EQ(chk.matchRealType, c.match) << c.value;
        }
    }
    KztConsDataUnion empty{0, nullptr};
    HandType e(KZT_BASE_UNION, KZT_CONS_UNION, &empty);
    KztValCheckCtx chk = FreshChk();
    EXPECT_EQ(KZT_TYPE_ValidateValueNodeAgainstRealType(&e.type, KZ_VAL_INPUT_STRING, "x", &chk), KZ_VAL_ERR_UNION);
}

TEST(TypesValuesDriver, SelfReferringUnionsAreBounded)
{
    /* A typedef t = union { t, t, boolean }: every level tries itself twice
     * before the boolean member, so only the nesting and step bounds make
     * the check end. */
    KztConsDataDerived der{"m", "t", nullptr};
    KztTypeConstraint derEntry{KZT_CONS_DERIVED, &der};
    KztRealType members[3] = {};
    members[0] = KztRealType{KZT_BASE_DERIVED, 0, 1, &derEntry};
    members[1] = members[0];
    members[2].baseType = KZT_BASE_BOOLEAN;
    KztConsDataUnion u{3, members};
    HandType t(KZT_BASE_UNION, KZT_CONS_UNION, &u);
    der.tdefRealType = &t.type;
    KztValCheckCtx chk = FreshChk();
    EXPECT_EQ(KZT_TYPE_ValidateValueNodeAgainstRealType(&t.type, KZ_VAL_INPUT_STRING, "maybe", &chk),
              KZ_VAL_ERR_UNION);
    chk = FreshChk();
    EXPECT_EQ(KZT_TYPE_ValidateValueNodeAgainstRealType(&t.type, KZ_VAL_INPUT_STRING, "true", &chk), 0u);
    EXPECT_EQ(chk.matchRealType, &members[2]);
}

uint32_t CollectNameValue(const char *name, int64_t value, const char *desc, void *arg)
{
    auto *out = static_cast<std::vector<std::string> *>(arg);
    out->push_back(std::string(name) + "=" + std::to_string(value) + (desc ? std::string("/") + desc : ""));
    return out->size() == 3 ? 77u : 0u;
}

TEST(TypesValuesScan, NameValuePairsAndEarlyStop)
{
    KztSegEnum segs[] = {{"a", 0}, {"b", 10}};
    const char *descs[] = {"First", nullptr};
    KztConsDataEnum e{2, segs, descs};
    KztSegBit bsegs[] = {{"x", 0}, {"y", 3}};
    KztConsDataBit b{2, bsegs};
    KztTypeConstraint entries[] = {{KZT_CONS_BIT, &b}, {KZT_CONS_ENUM, &e}};
    KztRealType t{KZT_BASE_ENUMERATION, 0, 2, entries};
    std::vector<std::string> seen;
    EXPECT_EQ(KZ_TYPE_ScanNameValuePair(&t, CollectNameValue, &seen), 77u);
    EXPECT_EQ(seen, (std::vector<std::string>{"x=0", "y=3", "a=0/First"}));
    EXPECT_EQ(KZ_TYPE_ScanNameValuePair(&t, nullptr, &seen), KZ_EINVAL);
    EXPECT_EQ(KZ_TYPE_ScanNameValuePair(nullptr, CollectNameValue, &seen), KZ_EINVAL);
}

uint32_t CountRealType(const char *mod, const char *name, KztRealType *rt, void *arg)
{
    auto *out = static_cast<std::vector<std::string> *>(arg);
    out->push_back(std::string(mod ? mod : "-") + ":" + (name ? name : "-") + ":" +
                   std::to_string(KZ_TYPE_GetBuiltInBaseType(rt)));
    return 0;
}

TEST(TypesValuesScan, UnionMembersAndDerivedNamesWithoutContext)
{
    KztRealType base{};
    base.baseType = KZT_BASE_INT8;
    KztConsDataDerived der{"m", "small", &base};
    KztTypeConstraint derEntry{KZT_CONS_DERIVED, &der};
    KztRealType members[2] = {};
    members[0] = KztRealType{KZT_BASE_DERIVED, 0, 1, &derEntry};
    members[1].baseType = KZT_BASE_STRING;
    KztConsDataUnion u{2, members};
    HandType t(KZT_BASE_UNION, KZT_CONS_UNION, &u);

    std::vector<std::string> seen;
    EXPECT_EQ(KZ_TYPE_ScanUnionSubType(&t.type, CountRealType, &seen), 0u);
    EXPECT_EQ(seen, (std::vector<std::string>{"-:-:0", "-:-:14"}));
    seen.clear();
    EXPECT_EQ(KZ_TYPE_IterRealTypeDerivedName(&members[0], nullptr, CountRealType, &seen), 0u);
    EXPECT_EQ(seen, (std::vector<std::string>{"m:small:9"}));
    seen.clear();
    EXPECT_EQ(KZ_TYPE_IterRealTypeDerivedName(&t.type, nullptr, CountRealType, &seen), 0u);
    EXPECT_EQ(seen, (std::vector<std::string>{"-:-:19"}));
    /* A loop in the chain ends after 129 steps. */
    KztConsDataDerived self{"m", "loop", nullptr};
    KztTypeConstraint selfEntry{KZT_CONS_DERIVED, &self};
    KztRealType loop{KZT_BASE_DERIVED, 0, 1, &selfEntry};
    self.tdefRealType = &loop;
    seen.clear();
    EXPECT_EQ(KZ_TYPE_IterRealTypeDerivedName(&loop, nullptr, CountRealType, &seen), KZ_EINVAL);
    EXPECT_EQ(seen.size(), 129u);
}

} // namespace
