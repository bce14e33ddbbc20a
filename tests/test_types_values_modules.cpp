/* Value checks through loaded modules: typedef chains with ranges, enum and
 * bits numbering, identityrefs across modules, unions, leafrefs, patterns,
 * binary lengths and deep chains; concurrent checks are in
 * test_hardening_concurrency.cpp. */

#include "test_support.h"

namespace {

using kztest::Module;

const char *kValBody = R"(
<typedef name="pct"><type name="int32"><range value="0..100"/></type></typedef>
<typedef name="narrow"><type name="pct"><range value="10..20"/></type></typedef>
<typedef name="upto20"><type name="pct"><range value="min..20"/></type></typedef>
<typedef name="plain"><type name="pct"/></typedef>
<leaf name="i8"><type name="int8"/></leaf>
<leaf name="narrow"><type name="narrow"/></leaf>
<leaf name="upto20"><type name="upto20"/></leaf>
<leaf name="plain"><type name="plain"/></leaf>
<leaf name="color"><type name="enumeration">
  <enum name="a"><description><text>Alpha. More text.</text></description></enum>
  <enum name="b"><value value="10"/></enum>
  <enum name="c"/>
  <enum name="d"><value value="5"/></enum>
  <enum name="e"><description><text>.hidden</text></description></enum>
</type></leaf>
<leaf name="flags"><type name="bits">
  <bit name="x"/><bit name="y"><position value="3"/></bit><bit name="z"/>
</type></leaf>
<leaf name="u"><type name="union"><type name="int8"/><type name="string"/></type></leaf>
<leaf name="u3"><type name="union"><type name="narrow"/><type name="boolean"/><type name="pct"/></type></leaf>
<leaf name="name"><type name="string">
  <pattern value="^[a-z]+$"/>
  <pattern value="admin"><modifier value="invert-match"/></pattern>
</type></leaf>
<leaf name="blob"><type name="binary"><length value="2..3"/></type></leaf>
<leaf name="bin0"><type name="binary"><length value="0"/></type></leaf>
<leaf name="bin1"><type name="binary"><length value="1"/></type></leaf>
<leaf name="bin4"><type name="binary"><length value="4"/></type></leaf>
<leaf name="yes"><type name="boolean"/></leaf>
<leaf name="s24"><type name="string"><length value="2..4"/></type></leaf>
<leaf name="i8gap"><type name="int8"><range value="1..10 | 20..max"/></type></leaf>
<leaf name="u64r"><type name="uint64"><range value="10..20 | 18446744073709551610..max"/></type></leaf>
<leaf name="i64r"><type name="int64"><range value="min..-9223372036854775800 | 0"/></type></leaf>
<leaf name="u32r"><type name="uint32"><range value="4294967290..max"/></type></leaf>
<leaf name="w-int16"><type name="int16"/></leaf><leaf name="w-int32"><type name="int32"/></leaf>
<leaf name="w-int64"><type name="int64"/></leaf><leaf name="w-uint16"><type name="uint16"/></leaf>
<leaf name="w-uint32"><type name="uint32"/></leaf><leaf name="w-uint64"><type name="uint64"/></leaf>
<leaf name="none"><type name="empty"/></leaf>
<leaf name="ref"><type name="leafref"><path value="../i8"/></type></leaf>
<leaf name="dangling"><type name="leafref"><path value="../nothing"/></type></leaf>
<leaf name="price"><type name="decimal64"><fraction-digits value="2"/><range value="-1.5..12.34 | 100"/></type></leaf>
<typedef name="short"><type name="string"><length value="1..8"/></type></typedef>
<leaf name="code"><type name="short"><length value="min..3"/></type></leaf>
<leaf name="small"><type name="uint8"><range value="1..10 | 20..max"/></type></leaf>
<leaf name="refOrName"><type name="union">
  <type name="leafref"><path value="../i8"/></type><type name="string"/>
</type></leaf>
)";

class TypesValuesModule : public kztest::CtxTest {
protected:
    void Load(uint32_t flags, const std::vector<std::string> &texts)
    {
        Reopen(flags);
        for (const std::string &t : texts) {
            ASSERT_EQ(KZ_CTX_LoadMemory(ctx_, t.c_str()), 0u) << t;
        }
    }
    KzsNode *Leaf(const char *mod, const char *name)
    {
        KzMod *m = KZ_CTX_GetModuleByModName(ctx_, mod);
        KzsNode *n = kztest::FindSibling(m != nullptr ? m->dataNodes : nullptr, name);
        EXPECT_NE(n, nullptr) << mod << ":" << name;
        return n;
    }
    uint32_t Check(const char *mod, const char *leaf, const char *value)
    {
        KzsNode *n = Leaf(mod, leaf);
        return (n != nullptr) ? KZ_NODE_ValidateValue(n, KZ_VAL_INPUT_STRING, value) : 0xffffffffu;
    }
};

TEST_F(TypesValuesModule, ValueChecksAlongTypedefChains)
{
    Load(0, {Module("vt", kValBody)});
    constexpr uint32_t kRange = KZ_VAL_ERR_RANGE;
    constexpr uint32_t kLength = KZ_VAL_ERR_LENGTH;
    struct Case {
        const char *leaf;
        const char *value;
        uint32_t rc;
    };
    const Case cases[] = {
        /* Every built-in width at its edges; only white space may surround the number. */
        {"i8", "127", 0}, {"i8", "128", kRange}, {"i8", "-128", 0}, {"i8", "-129", kRange}, {"i8", " 5 \t\n", 0},
        {"i8", "5x", kRange}, {"i8", "5 x", kRange}, {"i8", "", kRange}, {"i8", "5.0", kRange}, {"i8", "0x10", kRange},
        {"w-int16", "-32768", 0}, {"w-int16", "32767", 0}, {"w-int16", "-32769", kRange}, {"w-int16", "32768", kRange},
        {"w-int32", "-2147483648", 0}, {"w-int32", "2147483647", 0}, {"w-int32", "-2147483649", kRange},
        {"w-int32", "2147483648", kRange}, {"w-int64", "-9223372036854775808", 0},
        {"w-int64", "9223372036854775807", 0}, {"w-int64", "-9223372036854775809", kRange},
        {"w-int64", "9223372036854775808", kRange}, {"small", "255", 0}, {"small", "-1", kRange},
        {"w-uint16", "65535", 0}, {"w-uint16", "65536", kRange}, {"w-uint16", "-1", kRange},
        {"w-uint32", "4294967295", 0}, {"w-uint32", "4294967296", kRange}, {"w-uint64", "0", 0},
        {"w-uint64", "18446744073709551615", 0}, {"w-uint64", "18446744073709551616", kRange},
        {"w-uint64", "-0", kRange},
        /* Gaps between segments, and the widest widths. */
        {"i8gap", "1", 0}, {"i8gap", "10", 0}, {"i8gap", "20", 0}, {"i8gap", "127", 0}, {"i8gap", "0", kRange},
        {"i8gap", "11", kRange}, {"i8gap", "19", kRange}, {"i8gap", "-1", kRange}, {"i8gap", "128", kRange},
        {"u64r", "15", 0}, {"u64r", "18446744073709551615", 0}, {"u64r", "18446744073709551609", kRange},
        {"u64r", "9", kRange}, {"i64r", "-9223372036854775808", 0}, {"i64r", "-9223372036854775799", kRange},
        {"i64r", "0", 0}, {"i64r", "1", kRange}, {"u32r", "4294967295", 0}, {"u32r", "4294967289", kRange},
        {"u32r", "4294967296", kRange},
        /* Lengths count bytes, not characters. */
        {"s24", "ab", 0}, {"s24", "abcd", 0}, {"s24", "a", kLength}, {"s24", "abcde", kLength},
        {"s24", "\xc3\xa9\xc3\xa9\xc3\xa9", kLength},
        /* narrow: pct 0..100 refined to 10..20; the built-in bounds are always checked. */
        {"narrow", "15", 0}, {"narrow", "50", kRange}, {"narrow", "5", kRange}, {"narrow", "4294967296", kRange},
        /* min..20 takes its "min" from pct, whose range is checked as well. */
        {"upto20", "0", 0}, {"upto20", "20", 0}, {"upto20", "21", kRange}, {"upto20", "50", kRange},
        {"upto20", "-1", kRange}, {"upto20", "2147483648", kRange},
        /* A typedef without a range of its own keeps its parent's. */
        {"plain", "100", 0}, {"plain", "101", kRange},
        /* decimal64 with two fraction digits over -1.5..12.34 | 100 */
        {"price", "12.34", 0}, {"price", "+12", 0}, {"price", "-1.5", 0}, {"price", "100", 0},
        {"price", "12.345", kRange}, {"price", "12.35", kRange}, {"price", "-1.51", kRange},
        {"price", "50", kRange}, {"price", "100.01", kRange},
        /* length min..3 over 1..8 */
        {"code", "abc", 0}, {"code", "", kLength}, {"code", "abcd", kLength},
        {"small", "10", 0}, {"small", "15", kRange}, {"small", "0", kRange}, {"small", "256", kRange},
        /* Enumeration names are exact. */
        {"color", "d", 0}, {"color", "f", KZ_VAL_ERR_ENUM}, {"color", "A", KZ_VAL_ERR_ENUM},
        {"color", "a ", KZ_VAL_ERR_ENUM}, {"color", "", KZ_VAL_ERR_ENUM},
        /* Bits in any order, each once, separated by white space only. */
        {"flags", "x z", 0}, {"flags", "z x", 0}, {"flags", "x\t y\nz", 0}, {"flags", "", 0},
        {"flags", "x x", KZ_VAL_ERR_BITS}, {"flags", "x,z", KZ_VAL_ERR_BITS}, {"flags", " x", KZ_VAL_ERR_BITS},
        {"flags", "x ", KZ_VAL_ERR_BITS}, {"flags", "w", KZ_VAL_ERR_BITS}, {"flags", "x y z x", KZ_VAL_ERR_BITS},
        /* Union members start afresh: a value outside narrow's 10..20 falls through to later members. */
        {"u3", "50", 0}, {"u3", "true", 0}, {"u3", "500", KZ_VAL_ERR_UNION},
        {"name", "root", 0}, {"name", "admin", KZ_VAL_ERR_PATTERN}, {"name", "Root", KZ_VAL_ERR_PATTERN},
        {"ref", "5", 0}, {"ref", "300", kRange}, {"dangling", "5", KZ_VAL_ERR_LEAFREF},
        /* Base64: the decoded length counts; outer white space and foreign characters are tolerated. */
        {"blob", "QUI=", 0}, {"blob", "QUJD", 0}, {"bin1", "QQ==", 0}, {"bin4", "QUJDRA==", 0},
        {"blob", " \n QUJD\t\n ", 0}, {"bin0", "", 0}, {"bin0", "  \t", 0}, {"blob", "QU!D", 0}, {"blob", "a/b=", 0},
        {"blob", "QQ==", kLength}, {"blob", "QUJDRA==", kLength}, {"blob", "QUJ", KZ_VAL_ERR_BINARY},
        {"blob", "Q===", KZ_VAL_ERR_BINARY}, {"blob", "QU=D", KZ_VAL_ERR_BINARY}, {"blob", "Q==/", KZ_VAL_ERR_BINARY},
        {"bin4", "QUJD\nQUJD", KZ_VAL_ERR_BINARY}, /* an inner line feed counts towards the length */
        {"yes", "true", 0}, {"yes", "false", 0}, {"yes", "True", KZ_VAL_ERR_BOOLEAN}, {"yes", " true", KZ_VAL_ERR_BOOLEAN},
        {"yes", "false ", KZ_VAL_ERR_BOOLEAN}, {"yes", "1", KZ_VAL_ERR_BOOLEAN}, {"yes", "", KZ_VAL_ERR_BOOLEAN},
        {"none", "", 0}, {"none", " ", KZ_VAL_ERR_EMPTY},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(Check("vt", c.leaf, c.value), c.rc) << c.leaf << " = \"" << c.value << '"';
    }
}

uint32_t CollectNameValue(const char *name, int64_t value, const char *desc, void *arg)
{
    auto *out = static_cast<std::vector<std::string> *>(arg);
    out->push_back(std::string(name) + "=" + std::to_string(value) + (desc != nullptr ? std::string("/") + desc : ""));
    return 0;
}

TEST_F(TypesValuesModule, EnumAndBitsNumberingLimitsAndDescriptionsOnlyWhenAsked)
{
    auto pairs = [this](const char *mod, const char *leaf) {
        std::vector<std::string> seen;
        EXPECT_EQ(KZ_TYPE_ScanNameValuePair(KZ_NODE_GetRealType(Leaf(mod, leaf)), CollectNameValue, &seen), 0u);
        return seen;
    };
    Load(0, {Module("vt", kValBody)});
    EXPECT_EQ(pairs("vt", "color"), (std::vector<std::string>{"a=0", "b=10", "c=11", "d=5", "e=12"}));
    EXPECT_EQ(pairs("vt", "flags"), (std::vector<std::string>{"x=0", "y=3", "z=4"}));
    EXPECT_EQ(KZ_TYPE_GetDecimal64Fraction(KZ_NODE_GetRealType(Leaf("vt", "price"))), 2u);

    auto dec = [](const char *fd) {
        return std::string("<leaf name=\"l\"><type name=\"decimal64\"><fraction-digits value=\"") + fd +
               "\"/></type></leaf>";
    };
    EXPECT_EQ(KZ_CTX_LoadMemory(ctx_, Module("f18", dec("18")).c_str()), 0u);
    EXPECT_NE(KZ_CTX_LoadMemory(ctx_, Module("f19", dec("19")).c_str()), 0u);
    EXPECT_NE(KZ_CTX_LoadMemory(ctx_, Module("f0", dec("0")).c_str()), 0u);

    auto enumLeaf = [](const char *v) {
        return std::string("<leaf name=\"l\"><type name=\"enumeration\"><enum name=\"a\"><value value=\"") + v +
               "\"/></enum><enum name=\"b\"/></type></leaf>\n";
    };
    EXPECT_NE(KZ_CTX_LoadMemory(ctx_, Module("e1", enumLeaf("2147483647")).c_str()), 0u);
    EXPECT_NE(KZ_CTX_LoadMemory(ctx_, Module("e2", enumLeaf("-2147483648")).c_str()), 0u);
    /* 2147483646 loads, and the next implicit value still fits. */
    ASSERT_EQ(KZ_CTX_LoadMemory(ctx_, Module("e4", enumLeaf("2147483646")).c_str()), 0u);
    EXPECT_EQ(pairs("e4", "l"), (std::vector<std::string>{"a=2147483646", "b=2147483647"}));
    const std::string bits = "<leaf name=\"l\"><type name=\"bits\">"
                             "<bit name=\"a\"><position value=\"4294967295\"/></bit></type></leaf>";
    EXPECT_NE(KZ_CTX_LoadMemory(ctx_, Module("b1", bits).c_str()), 0u);

    /* The first sentence only; a text starting with "." keeps nothing. */
    Load(KZ_CTX_OPT_KEEP_DESCRIPTION, {Module("vt", kValBody)});
    EXPECT_EQ(pairs("vt", "color"), (std::vector<std::string>{"a=0/Alpha", "b=10", "c=11", "d=5", "e=12"}));
}

// The member types of a union leaf, in order.
std::vector<KztRealType *> Members(KzsNode *leaf)
{
    std::vector<KztRealType *> members;
    KZ_TYPE_ScanUnionSubType(
        KZ_NODE_GetRealType(leaf),
        [](const char *, const char *, KztRealType *rt, void *arg) -> uint32_t {
            static_cast<std::vector<KztRealType *> *>(arg)->push_back(rt);
            return 0;
        },
        &members);
    return members;
}

uint32_t CollectBounds(const KztBoundVal *start, const KztBoundVal *end, void *arg)
{
    auto *out = static_cast<std::vector<std::string> *>(arg);
    auto text = [](const KztBoundVal *b) {
        if ((b->flags & KZ_BOUND_MIN) != 0) {
            return std::string("min");
        }
        if ((b->flags & KZ_BOUND_MAX) != 0) {
            return std::string("max");
        }
        return std::to_string(b->value);
    };
    out->push_back(text(start) + ".." + text(end));
    return 0;
}

/* The matched type is the typedef nearest the built-in type, the member of a
 * union (each member checked afresh), or the type a leafref points at, also
 * as a union member through its own path. */
TEST_F(TypesValuesModule, MatchedTypeOfAValueAndScansAlongTheChain)
{
    Load(0, {Module("vt", kValBody)});
    KzMod *mod = KZ_CTX_GetModuleByModName(ctx_, "vt");
    KztRealType *pct = KZ_MOD_GetRealTypeByTypDefName(mod, "pct");
    KztRealType *i8 = KZ_NODE_GetRealType(Leaf("vt", "i8"));
    std::vector<KztRealType *> u = Members(Leaf("vt", "u"));
    std::vector<KztRealType *> refOrName = Members(Leaf("vt", "refOrName"));
    ASSERT_TRUE(pct != nullptr && u.size() == 2 && refOrName.size() == 2);
    const struct {
        const char *leaf;
        const char *value;
        KztRealType *want;
    } rows[] = {
        {"narrow", "12", pct}, {"narrow", "99", nullptr}, {"i8", "1", i8},
        {"u", "5", u[0]}, {"u", "500", u[1]}, {"u", "x", u[1]}, {"u3", "15", pct},
        {"ref", "5", i8}, {"refOrName", "-5", i8}, {"refOrName", "500", refOrName[1]},
    };
    for (const auto &r : rows) {
        EXPECT_EQ(KZ_NODE_FindRealTypeMatchedValue(Leaf("vt", r.leaf), KZ_VAL_INPUT_STRING, r.value), r.want)
            << r.leaf << " = " << r.value;
    }

    /* The derived-name, range and pattern scans follow the typedef chain too. */
    std::vector<std::string> seen;
    EXPECT_EQ(KZ_TYPE_IterRealTypeDerivedName(KZ_NODE_GetRealType(Leaf("vt", "narrow")), ctx_,
                                              kztest::CollectTypeName, &seen),
              0u);
    EXPECT_EQ(seen, (std::vector<std::string>{"vt:narrow:0", "vt:pct:11"}));
    seen.clear();
    EXPECT_EQ(KZ_TYPE_ScanStartEndPair(KZ_MOD_GetRealTypeByTypDefName(mod, "upto20"), CollectBounds, &seen), 0u);
    EXPECT_EQ(KZ_TYPE_ScanStartEndPair(pct, CollectBounds, &seen), 0u);
    EXPECT_EQ(seen, (std::vector<std::string>{"min..20", "0..100"}));
    seen.clear();
    KZ_TYPE_ScanPatternInvertMatch(
        KZ_NODE_GetRealType(Leaf("vt", "name")),
        [](const char *p, uint32_t inv, void *arg) -> uint32_t {
            static_cast<std::vector<std::string> *>(arg)->push_back(std::string(p) + "/" + std::to_string(inv));
            return 0;
        },
        &seen);
    EXPECT_EQ(seen, (std::vector<std::string>{"[a-z]+/0", "admin/1"}));
}

const char *kIdentBase = R"(
<identity name="crypto"/>
<identity name="hash"/>
<typedef name="small"><type name="int8"><range value="1..10"/></type></typedef>
<leaf name="alg"><type name="identityref"><base name="ida:crypto"/></type></leaf>
)";

const char *kIdentDerived = R"(
<import module="ida"><prefix value="a"/></import>
<identity name="aes"><base name="a:crypto"/></identity>
<identity name="aes256"><base name="aes"/></identity>
<identity name="sha"><base name="a:hash"/></identity>
<identity name="loop1"><base name="loop2"/></identity>
<identity name="loop2"><base name="loop1"/></identity>
<leaf name="alg"><type name="identityref"><base name="a:crypto"/></type></leaf>
<leaf name="any"><type name="identityref"><base name="a:hash"/><base name="aes"/></type></leaf>
<leaf name="imported"><type name="a:small"/></leaf>
)";

/* Identities and typedefs of another module are found at check time. */
TEST_F(TypesValuesModule, IdentityrefAndTypedefAcrossModulesAndFromXml)
{
    Load(0, {Module("ida", kIdentBase), Module("idb", kIdentDerived)});
    struct Case {
        const char *leaf;
        const char *value;
        uint32_t rc;
    } cases[] = {
        {"alg", "idb:aes", 0u},
        {"alg", "idb:aes256", 0u},          /* through two derivations */
        {"alg", "ida:crypto", 0u},          /* the base itself */
        {"alg", "idb:sha", KZ_VAL_ERR_IDENTREF},
        {"alg", "idb:loop1", KZ_VAL_ERR_IDENTREF}, /* a base cycle ends */
        {"alg", "idb:nothing", KZ_VAL_ERR_IDENTREF},
        {"alg", "nomod:aes", KZ_VAL_ERR_IDENTREF},
        {"alg", "aes", KZ_VAL_ERR_IDENTREF},       /* text form needs module:name */
        {"alg", ":aes", KZ_VAL_ERR_IDENTREF},
        {"alg", "idb:", KZ_VAL_ERR_IDENTREF},
        {"any", "idb:sha", 0u},                    /* any one base suffices */
        {"any", "idb:aes256", 0u},
        {"any", "ida:crypto", KZ_VAL_ERR_IDENTREF},
        {"imported", "5", 0u},
        {"imported", "50", KZ_VAL_ERR_RANGE},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(Check("idb", c.leaf, c.value), c.rc) << c.leaf << " " << c.value;
    }
    EXPECT_EQ(Check("ida", "alg", "idb:aes256"), 0u);
    EXPECT_EQ(KZ_NODE_FindRealTypeMatchedValue(Leaf("idb", "imported"), KZ_VAL_INPUT_STRING, "5"),
              KZ_MOD_GetRealTypeByTypDefName(KZ_CTX_GetModuleByModName(ctx_, "ida"), "small"));

    /* From XML the prefix is the element's namespace binding. */
    KzsNode *alg = Leaf("idb", "alg");
    struct XmlCase {
        const char *xml;
        uint32_t rc;
    } xmlCases[] = {
        {"<alg xmlns=\"urn:test:idb\" xmlns:x=\"urn:test:idb\">x:aes256</alg>", 0u},
        {"<alg xmlns=\"urn:test:idb\" xmlns:y=\"urn:test:ida\">y:crypto</alg>", 0u},
        {"<alg xmlns=\"urn:test:idb\">aes</alg>", 0u},          /* default namespace */
        {"<alg xmlns=\"urn:test:ida\">crypto</alg>", 0u},
        {"<alg xmlns=\"urn:test:idb\">q:aes</alg>", KZ_VAL_ERR_IDENTREF},  /* unknown prefix */
        {"<alg xmlns=\"urn:other\">aes</alg>", KZ_VAL_ERR_IDENTREF},  /* no such module */
        {"<alg xmlns=\"urn:test:idb\" xmlns:x=\"urn:test:idb\">x:</alg>", KZ_VAL_ERR_IDENTREF},
        {"<alg xmlns=\"urn:test:idb\"/>", KZ_VAL_ERR_IDENTREF},
    };
    for (const XmlCase &c : xmlCases) {
        kztest::DocPtr doc = kztest::ParseXml(c.xml, 0);
        ASSERT_NE(doc, nullptr) << c.xml;
        EXPECT_EQ(KZ_NODE_ValidateValue(alg, KZ_VAL_INPUT_XMLNODE, xmlDocGetRootElement(doc.get())), c.rc) << c.xml;
    }
}

} // namespace
