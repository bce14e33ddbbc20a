// Type statements: built-in names, counting and marking of sub-elements,
// constraint entries, derived references, copy and destroy.

#include "test_support.h"

using kztest::TypeYin;
using kztest::TypesFixture;

class TypesParse : public TypesFixture {};

namespace {

uint64_t Mark(const xmlNode *n)
{
    return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(n->_private));
}

const SegInt64 &RawSeg(const KztRealType &rt, uint16_t entry, uint16_t i)
{
    auto *body = static_cast<KztConsDataRange *>(rt.constraints[entry].consData);
    return static_cast<const SegInt64 *>(body->segs)[i];
}

} // namespace

TEST(TypesBuiltIn, ExactNamesOnlyAreBuiltIn)
{
    const char *names[] = {"binary", "bits", "boolean", "decimal64", "empty", "enumeration", "identityref",
                           "instance-identifier", "int8", "int16", "int32", "int64", "leafref", "string",
                           "uint8", "uint16", "uint32", "uint64", "union"};
    for (KztBaseType code = 1; code <= 19; ++code) {
        EXPECT_EQ(KZT_LOADER_GetBaseTypeFromTypeName(names[code - 1]), code) << names[code - 1];
    }
    // Case, prefixes, truncations and extensions all name typedefs.
    for (const char *name : {"Int8", "INT8", "int", "uint", "int8 ", " int8", "p:int8", "int128", "strings",
                             "b", "bool", "x", "", "unionx", "enumerations"}) {
        EXPECT_EQ(KZT_LOADER_GetBaseTypeFromTypeName(name), 0u) << '"' << name << '"';
    }
    EXPECT_EQ(KZT_LOADER_GetBaseTypeFromTypeName(nullptr), 0u);
}

TEST(TypesCount, CountsEachKindAndMarksElements)
{
    auto doc = kztest::ParseXml(TypeYin(
        "union",
        "<type name=\"int8\"/><range value=\"1\"/><description><text>d</text></description>"
        "<pattern value=\"a\"/><pattern value=\"b\"/><bit name=\"x\"/><base name=\"i\"/>"
        "<length value=\"1\"/><enum name=\"e\"/><fraction-digits value=\"2\"/><path value=\"/a\"/>"
        "<Range value=\"1\"/><patterns value=\"x\"/><require-instance value=\"true\"/><type name=\"string\"/>"));
    ASSERT_TRUE(doc);
    xmlNode *type = xmlDocGetRootElement(doc.get());
    uint16_t counters[KZT_TYPE_COUNTER_NUM] = {};
    KZT_LOADER_CountAndMarkTypeSubElem(type, counters);

    const uint16_t expected[KZT_TYPE_COUNTER_NUM] = {0, 1, 1, 1, 1, 1, 1, 2, 1, 2, 9};
    for (int k = 0; k < KZT_TYPE_COUNTER_NUM; ++k) {
        EXPECT_EQ(counters[k], expected[k]) << "counter " << k;
    }
    // Marks by tag; misspelt and unrelated children stay unmarked, 0x100 is never used.
    std::string marks;
    for (xmlNode *c = type->children; c != nullptr; c = c->next) {
        marks += std::to_string(Mark(c)) + " ";
    }
    EXPECT_EQ(marks, "512 128 0 64 64 2 1 16 4 8 32 0 0 0 512 ");
}

TEST_F(TypesParse, PlainBuiltInTypeHasNoConstraintArrayAndANamelessTypeFails)
{
    KztRealType rt{};
    ASSERT_EQ(ParseType(TypeYin("int8"), &rt), 0u);
    EXPECT_EQ(rt.baseType, 9u);
    EXPECT_EQ(rt.consCount, 0u);
    EXPECT_EQ(rt.constraints, nullptr);
    EXPECT_EQ(rt.rngLenFlags, 0u);
    EXPECT_EQ(KZT_TYPE_IsInvalidType(&rt), 0u);
    Destroy(&rt);

    KztRealType nameless{};
    EXPECT_EQ(ParseType("<type xmlns=\"urn:ietf:params:xml:ns:yang:yin:1\"/>", &nameless), 22u);
    EXPECT_EQ(KZT_LOADER_ParseTypeStmt(&mod_, xmlDocGetRootElement(doc_.get()), 60, nullptr), 22u);
    Destroy(&nameless);
    EXPECT_EQ(Leaked(), 0u);
}

TEST_F(TypesParse, DerivedTypeEntryComesFirstNamesThisModuleAndDefersMinMax)
{
    KztRealType rt{};
    ASSERT_EQ(ParseType(TypeYin("percent", "<range value=\"0..100\"/>"), &rt), 0u);
    EXPECT_EQ(rt.baseType, 0u);
    ASSERT_EQ(rt.consCount, 2u);
    EXPECT_EQ(rt.constraints[0].consType, 0u);
    EXPECT_EQ(rt.constraints[1].consType, 8u);
    EXPECT_EQ(rt.rngLenFlags, 3u);

    const char *modName = nullptr;
    const char *tdef = KZT_TYPE_GetInheritedTypDefName(&rt, &modName);
    ASSERT_NE(tdef, nullptr);
    EXPECT_STREQ(tdef, "percent");
    EXPECT_EQ(modName, mod_.name); // interned: the same pointer
    KztConsDataDerived *derived = KZT_TYPE_GetTypeConsDataDerived(&rt);
    ASSERT_NE(derived, nullptr);
    EXPECT_EQ(derived->tdefRealType, nullptr);

    // A derived range keeps the whole parse record.
    const SegInt64 &seg = RawSeg(rt, 1, 0);
    EXPECT_EQ(seg.start, 0);
    EXPECT_EQ(seg.end, 100);
    EXPECT_EQ(seg.flags, KZT_SEGF_UNSIGNED);

    Destroy(&rt);
    EXPECT_EQ(rt.constraints, nullptr);

    // A derived range using "min"/"max" defers them to the parent.
    ASSERT_EQ(ParseType(TypeYin("base-t", "<range value=\"min..10 | 20..max\"/>"), &rt), 0u);
    EXPECT_EQ(rt.rngLenFlags, 5u);
    EXPECT_EQ(RawSeg(rt, 1, 0).flags, KZT_SEGF_START_MIN | KZT_SEGF_UNSIGNED);
    EXPECT_EQ(RawSeg(rt, 1, 1).flags, KZT_SEGF_UNSIGNED | KZT_SEGF_END_MAX);
    Destroy(&rt);

    // A built-in type with "min"/"max" is resolved at once and enforced as written.
    KztRealType builtIn{};
    ASSERT_EQ(ParseType(TypeYin("int8", "<range value=\"min..10\"/>"), &builtIn), 0u);
    EXPECT_EQ(builtIn.rngLenFlags, 3u);
    Destroy(&builtIn);
    EXPECT_EQ(Leaked(), 0u);
}

TEST_F(TypesParse, FailedFillLeavesATypeTheOwnerCanDestroy)
{
    KztRealType rt{};
    // "string" has no range parser.
    EXPECT_EQ(ParseType(TypeYin("string", "<length value=\"1..4\"/><range value=\"1..2\"/>"), &rt), 22u);
    EXPECT_EQ(rt.baseType, 14u);
    EXPECT_EQ(rt.consCount, 2u);
    Destroy(&rt);
    EXPECT_EQ(Leaked(), 0u);

    KztRealType bad{};
    EXPECT_EQ(ParseType(TypeYin("t", "<range value=\"1..2||3\"/>"), &bad), 22u);
    Destroy(&bad);
    EXPECT_EQ(Leaked(), 0u);
}

TEST_F(TypesParse, EntriesFollowKindOrderAndCopiesOutliveTheirSource)
{
    KztRealType rt{};
    ASSERT_EQ(ParseType(TypeYin("t", "<range value=\"1..5|7\"/><length value=\"min..9\"/>"), &rt), 0u);
    ASSERT_EQ(rt.consCount, 3u);
    EXPECT_EQ(rt.constraints[0].consType, 0u);
    EXPECT_EQ(rt.constraints[1].consType, 5u);
    EXPECT_EQ(rt.constraints[2].consType, 8u);
    EXPECT_EQ(KZT_TYPE_GetTypeConsDataByConsType(&rt, 7), nullptr);
    EXPECT_EQ(KZT_TYPE_GetTypeConsDataByConsType(nullptr, 5), nullptr);
    const uint32_t afterParse = Leaked();

    KztRealType *copy = KZT_TYPE_CopyNytRealType(&ctx_.dict, &rt);
    ASSERT_NE(copy, nullptr);
    ASSERT_EQ(copy->consCount, 3u);
    EXPECT_EQ(Leaked(), 2 * afterParse); // every string referenced once more

    // Destroying the source first must leave the copy intact, its segments too.
    Destroy(&rt);
    KztValCheckCtx chk{};
    chk.baseType = 14;
    chk.curRealType = copy;
    EXPECT_EQ(KZT_CONS_ValidateValueNodeAgainstDataLength(KZT_TYPE_GetTypeConsDataByConsType(copy, KZT_CONS_LENGTH),
                                                          KZ_VAL_INPUT_STRING, "123456789", &chk), 0u);
    const char *modName = nullptr;
    EXPECT_STREQ(KZT_TYPE_GetInheritedTypDefName(copy, &modName), "t");
    EXPECT_STREQ(modName, "m");
    KZT_TYPE_DestroyNytRealType(&ctx_.dict, copy);
    EXPECT_EQ(Leaked(), 0u);

    KztRealType plain{};
    plain.baseType = 14;
    KztRealType plainCopy{};
    EXPECT_EQ(KZT_TYPE_CopyNytRealTypeInner(&ctx_.dict, &plainCopy, &plain), 0u);
    EXPECT_EQ(plainCopy.baseType, 14u);
    EXPECT_EQ(plainCopy.constraints, nullptr);

    // An entry without a body fails the copy and leaves nothing behind.
    KztRealType hole{};
    ASSERT_EQ(ParseType(TypeYin("t", "<range value=\"1\"/>"), &hole), 0u);
    void *saved = hole.constraints[1].consData;
    hole.constraints[1].consData = nullptr;
    KztRealType broken{};
    EXPECT_EQ(KZT_TYPE_CopyNytRealTypeInner(&ctx_.dict, &broken, &hole), 12u);
    EXPECT_EQ(broken.constraints, nullptr);
    EXPECT_EQ(broken.consCount, 0u);
    hole.constraints[1].consData = saved;
    Destroy(&hole);
    EXPECT_EQ(Leaked(), 0u);
}

namespace {

struct FillLog {
    std::vector<std::string> names;
    uint32_t failAt = UINT32_MAX;
};
FillLog *g_fillLog = nullptr;

uint32_t LogFillOne(KzCtx *, KzMod *, void *seg, uint8_t *aux, xmlNode *elem)
{
    auto *slot = static_cast<uint32_t *>(seg);
    *slot = static_cast<uint32_t>(g_fillLog->names.size()) + 1;
    if (aux != nullptr) {
        *aux = 0xAA;
    }
    xmlChar *name = xmlGetProp(elem, BAD_CAST "name");
    g_fillLog->names.emplace_back(reinterpret_cast<const char *>(name));
    xmlFree(name);
    return g_fillLog->names.size() == g_fillLog->failAt ? 22u : 0u;
}

} // namespace

TEST_F(TypesParse, SegmentFillerVisitsMarkedChildrenUpToCount)
{
    auto doc = kztest::ParseXml(
        TypeYin("bits", "<bit name=\"a\"/><enum name=\"skip\"/><bit name=\"b\"/><bit name=\"c\"/>"));
    xmlNode *type = xmlDocGetRootElement(doc.get());
    uint16_t counters[KZT_TYPE_COUNTER_NUM] = {};
    KZT_LOADER_CountAndMarkTypeSubElem(type, counters);

    FillLog log;
    g_fillLog = &log;
    uint32_t segs[3] = {};
    uint8_t aux[3] = {};
    KztSegFiller filler;
    KZT_LOADER_InitSegFiller(&filler, 2, sizeof(uint32_t), KZT_MARK_BIT, LogFillOne);
    filler.aux = aux;
    EXPECT_EQ(KZT_LOADER_FillTypeConstraintSeg(&ctx_, &mod_, segs, type, &filler), 0u);
    EXPECT_EQ(log.names, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(segs[0], 1u);
    EXPECT_EQ(segs[1], 2u);
    EXPECT_EQ(segs[2], 0u);
    EXPECT_EQ(aux[1], 0xAA);
    EXPECT_EQ(aux[2], 0);

    log = FillLog{};
    log.failAt = 2;
    KZT_LOADER_InitSegFiller(&filler, 3, sizeof(uint32_t), KZT_MARK_BIT, LogFillOne);
    EXPECT_EQ(KZT_LOADER_FillTypeConstraintSeg(&ctx_, &mod_, segs, type, &filler), 22u);
    EXPECT_EQ(log.names.size(), 2u);
    g_fillLog = nullptr;
}

TEST(TypesSystemCheck, InputKindsAndTypesWithoutCheck)
{
    KztValCheckCtx chk{};
    EXPECT_EQ(KZT_TYPE_CheckBaseTypeSystemRestriction(9, KZ_VAL_INPUT_STRING, "12", &chk), 0u);
    EXPECT_EQ(KZT_TYPE_CheckBaseTypeSystemRestriction(9, KZ_VAL_INPUT_STRING, "200", &chk), 28680u);
    // Any other input kind gives no string, which an integer refuses.
    EXPECT_EQ(KZT_TYPE_CheckBaseTypeSystemRestriction(9, 3, "12", &chk), 28680u);
    // Enumerations are checked by their constraint only.
    EXPECT_EQ(KZT_TYPE_CheckBaseTypeSystemRestriction(6, KZ_VAL_INPUT_STRING, "anything", &chk), 0u);

    auto doc = kztest::ParseXml("<v>-7</v>");
    xmlNode *v = xmlDocGetRootElement(doc.get());
    EXPECT_EQ(KZT_TYPE_CheckBaseTypeSystemRestriction(10, KZ_VAL_INPUT_XMLNODE, v, nullptr), 0u);
    EXPECT_EQ(KZT_TYPE_CheckBaseTypeSystemRestriction(15, KZ_VAL_INPUT_XMLNODE, v, nullptr), 28680u);
}

TEST(TypesDispatch, IndexesAreBounded)
{
    EXPECT_EQ(KZT_CONS_GetConsDataCreateBodyFunc(10), nullptr);
    EXPECT_EQ(KZT_LOADER_GetConsDataFillAllSegFunc(0xFFFFFFFFu), nullptr);
    EXPECT_EQ(KZT_CONS_GetBaseTypeDefRestrictCheckFunc(20), nullptr);
    EXPECT_EQ(KZ_TYPE_GetBuiltInBaseType(nullptr), 20u);
}
