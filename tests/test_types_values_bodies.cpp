/* Value checks on constraint bodies and real types built by hand, for what
 * module text cannot reach: bit name and count limits, compiled patterns,
 * entries without a body, self-referring unions and the public scans.  The
 * value rules of each type are tabled in test_types_values_modules.cpp. */

#include "test_support.h"

#include <libxml/xmlregexp.h>

#include "base/kz_ascii_regex.h"
#include "base/kz_xml.h"

namespace {

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
        KztValCheckCtx chk = KztValCheckCtx{};
        return KZT_CONS_ValidateValueNodeAgainstDataBit(&body, KZ_VAL_INPUT_STRING, v, &chk);
    }
};

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

/* Pattern bodies are made through the copy function, which compiles. */
class TypesValuesPattern : public kztest::CtxTest {
protected:

    KztConsDataPattern *Make(const char *pattern, uint32_t invert)
    {
        KztSegPattern seg{pattern, invert, nullptr, nullptr};
        KztConsDataPattern src{1, &seg};
        return static_cast<KztConsDataPattern *>(KZT_CONS_CopyConsDataBodyWithPattern(&ctx_->dict, &src));
    }
    uint32_t Check(KztConsDataPattern *body, const char *v)
    {
        KztValCheckCtx chk = KztValCheckCtx{};
        return KZT_CONS_ValidateValueNodeAgainstDataPattern(body, KZ_VAL_INPUT_STRING, v, &chk);
    }
};

TEST_F(TypesValuesPattern, CompiledOnceAnchoredAndInvertible)
{
    struct Row {
        const char *pattern;
        const char *value;
        bool matches;
    } rows[] = {
        {"[a-z]+", "abc", true}, {"[a-z]+", "ABC", false}, {"[a-z]+", "", false},
        {"[0-9]{1,3}(\\.[0-9]{1,3}){3}", "10.0.0.1", true}, {"[0-9]{1,3}(\\.[0-9]{1,3}){3}", "1.2.3", false},
        {"\\d*", "", true}, {"(ab|cd)+x?", "abcdx", true}, {"(ab|cd)+x?", "abcdxx", false},
        {"", "", true}, {"", "a", false}, {".*", "x\ny", false}, /* "." matches no line feed */
        {"[a-", "a-", false}, /* does not compile: matches nothing */
    };
    for (const Row &r : rows) {
        for (uint32_t invert = 0; invert < 2; ++invert) {
            KztConsDataPattern *body = Make(r.pattern, invert);
            ASSERT_NE(body, nullptr);
            EXPECT_EQ(Check(body, r.value), r.matches != (invert != 0) ? 0u : KZ_VAL_ERR_PATTERN)
                << r.pattern << " invert " << invert << " value " << r.value;
            KZT_CONS_DestroyConsDataBodyWithPattern(&ctx_->dict, body);
        }
    }
}

/* The ASCII matcher answers exactly as libxml2 wherever it answers: every value one edit away
 * from a matching one is asked of both. Expressions libxml2 misreads stay with it. */
TEST(TypesAsciiPattern, AgreesWithLibxml2OrStepsAside)
{
    const struct {
        const char *pattern;
        const char *match;
    } rows[] = {
        {"[A-Z]{2}[0-9]+", "AB12"}, {"\\d{4}-\\d{2}-\\d{2}T\\d{2}:\\d{2}(Z|[\\+\\-]\\d{2}:\\d{2})", "2024-01-02T03:04Z"},
        {"[a-zA-Z_][a-zA-Z0-9\\-_.]*", "a-b.c"}, {"-?\\p{L}\\w{0,3}\\s[^\\*]", "-ab$ x"}, {"(a|bc)?[x-z]{1,3}", "bcxy"},
        {"\\i\\c*", "_a:b"}, {"[-a]?\\.{2}", "-.."}, {"", ""},
    };
    for (const auto &r : rows) {
        const auto ascii = kz::base::AsciiRegex::Compile(r.pattern);
        ASSERT_NE(ascii, nullptr) << r.pattern;
        kz::XmlRegexpPtr re(kz::base::CompileRegexpQuietly(r.pattern));
        std::vector<std::string> values {r.match, "\t", "\x01"};
        for (size_t i = 0; i <= std::strlen(r.match); ++i) {
            for (char c : std::string("aZ09-._:$* \t\x7f")) {
                values.push_back(std::string(r.match).insert(i, 1, c));
                values.push_back(std::string(r.match).erase(i, 1));
            }
        }
        for (const std::string &v : values) {
            const bool theirs = xmlRegexpExec(re.get(), BAD_CAST v.c_str()) == 1;
            EXPECT_EQ(ascii->Match(v.c_str()) == kz::base::AsciiRegex::Result::kMatch, theirs) << r.pattern << " " << v;
        }
        EXPECT_EQ(ascii->Match("\xc3\xa9"), kz::base::AsciiRegex::Result::kNotAscii);
    }
    for (const char *misread : {"b?\\P{N}", "(x|){2}", "[a-c]?[^a]x", "(ab)+", "[a-z-[aeiou]]", "$a", "a{2,1}", "(a"}) {
        EXPECT_EQ(kz::base::AsciiRegex::Compile(misread), nullptr) << misread;
    }
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

TEST(TypesValuesDriver, EntryWithoutBodyNullNodeAndSelfReferringUnions)
{
    HandType t(KZT_BASE_ENUMERATION, KZT_CONS_ENUM, nullptr);
    KztValCheckCtx chk = KztValCheckCtx{};
    EXPECT_EQ(KZT_TYPE_ValidateValueNodeAgainstRealType(&t.type, KZ_VAL_INPUT_STRING, "a", &chk),
              KZ_VAL_ERR_NO_BODY);
    EXPECT_EQ(KZ_NODE_ValidateValue(nullptr, KZ_VAL_INPUT_STRING, "a"), KZ_EINVAL);
    EXPECT_EQ(KZ_NODE_FindRealTypeMatchedValue(nullptr, KZ_VAL_INPUT_STRING, "a"), nullptr);
    KztConsDataUnion empty{0, nullptr};
    HandType e(KZT_BASE_UNION, KZT_CONS_UNION, &empty);
    chk = KztValCheckCtx{};
    EXPECT_EQ(KZT_TYPE_ValidateValueNodeAgainstRealType(&e.type, KZ_VAL_INPUT_STRING, "x", &chk), KZ_VAL_ERR_UNION);

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
    HandType self(KZT_BASE_UNION, KZT_CONS_UNION, &u);
    der.tdefRealType = &self.type;
    chk = KztValCheckCtx{};
    EXPECT_EQ(KZT_TYPE_ValidateValueNodeAgainstRealType(&self.type, KZ_VAL_INPUT_STRING, "maybe", &chk),
              KZ_VAL_ERR_UNION);
    chk = KztValCheckCtx{};
    EXPECT_EQ(KZT_TYPE_ValidateValueNodeAgainstRealType(&self.type, KZ_VAL_INPUT_STRING, "true", &chk), 0u);
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
    EXPECT_EQ(KZ_TYPE_ScanUnionSubType(&t.type, kztest::CollectTypeName, &seen), 0u);
    EXPECT_EQ(seen, (std::vector<std::string>{"-:-:0", "-:-:14"}));
    seen.clear();
    EXPECT_EQ(KZ_TYPE_IterRealTypeDerivedName(&members[0], nullptr, kztest::CollectTypeName, &seen), 0u);
    EXPECT_EQ(seen, (std::vector<std::string>{"m:small:9"}));
    seen.clear();
    EXPECT_EQ(KZ_TYPE_IterRealTypeDerivedName(&t.type, nullptr, kztest::CollectTypeName, &seen), 0u);
    EXPECT_EQ(seen, (std::vector<std::string>{"-:-:19"}));
    /* A loop in the chain ends after 129 steps. */
    KztConsDataDerived self{"m", "loop", nullptr};
    KztTypeConstraint selfEntry{KZT_CONS_DERIVED, &self};
    KztRealType loop{KZT_BASE_DERIVED, 0, 1, &selfEntry};
    self.tdefRealType = &loop;
    seen.clear();
    EXPECT_EQ(KZ_TYPE_IterRealTypeDerivedName(&loop, nullptr, kztest::CollectTypeName, &seen), KZ_EINVAL);
    EXPECT_EQ(seen.size(), 129u);
}

} // namespace
