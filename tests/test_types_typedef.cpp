// Typedef statements, union members, restrictions of several kinds together,
// and the binding of derived references to a module's typedefs.

#include "test_support.h"

using kztest::TypeYin;
using kztest::TypesFixture;

namespace {

std::string TypedefYin(const std::string &attrs, const std::string &body)
{
    return "<typedef xmlns=\"" + std::string(kztest::kYinNs) + "\"" + attrs + ">" + body + "</typedef>";
}

} // namespace

class TypesTypedef : public TypesFixture {
protected:
    void SetUp() override
    {
        TypesFixture::SetUp();
        ASSERT_EQ(KZ_CTX_InitErrMng(&ctx_), 0u);
    }

    void TearDown() override
    {
        KZ_CTX_DestroyErrMng(ctx_.errMng);
        ctx_.errMng = nullptr;
        TypesFixture::TearDown();
    }

    uint32_t ParseTypedef(const std::string &yin, KzsTypedef *tdef)
    {
        doc_ = kztest::ParseXml(yin);
        if (!doc_) {
            ADD_FAILURE() << "bad XML: " << yin;
            return 1;
        }
        return KZT_LOADER_ParseTypeDefStmt(&mod_, xmlDocGetRootElement(doc_.get()), 39, tdef);
    }

    // Recorded messages of module "m"; clearing them releases the interned module name.
    std::vector<std::string> TakeMessages()
    {
        std::vector<std::string> out = kztest::LoadMessages(&ctx_);
        KZ_CTX_DeleteErrNodeByModName(ctx_.errMng, "m");
        return out;
    }
};

TEST_F(TypesTypedef, TypeDefaultAndUnitsGoToTheRecordAndIdentityDefaultsNameTheModule)
{
    ctx_.flags = KZ_CTX_OPT_KEEP_UNITS;
    KzsTypedef tdef{};
    ASSERT_EQ(ParseTypedef(TypedefYin(" name=\"percent\"",
                                      "<description><text>share</text></description>"
                                      "<type name=\"uint8\"><range value=\"0..100\"/></type>"
                                      "<units name=\"%\"/><default value=\"5\"/>"),
                           &tdef),
              0u);
    EXPECT_STREQ(tdef.name, "percent");
    EXPECT_STREQ(tdef.dflt, "5");
    EXPECT_STREQ(tdef.units, "%");
    EXPECT_EQ(tdef.realType.baseType, 15u);
    ASSERT_EQ(tdef.realType.consCount, 1u);
    EXPECT_EQ(tdef.realType.constraints[0].consType, 8u);
    KZS_TYPE_DestroyTypDefInner(&ctx_.dict, &tdef);

    // An identity default is stored with the module name; an unknown prefix fails.
    const std::string identityref = "<type name=\"identityref\"><base name=\"mp:root\"/></type>";
    KzsTypedef kind{};
    ASSERT_EQ(ParseTypedef(TypedefYin(" name=\"kind\"", identityref + "<default value=\"mp:leaf-kind\"/>"), &kind), 0u);
    EXPECT_STREQ(kind.dflt, "m:leaf-kind");
    KZS_TYPE_DestroyTypDefInner(&ctx_.dict, &kind);
    EXPECT_TRUE(TakeMessages().empty());
    KzsTypedef unknown{};
    EXPECT_EQ(ParseTypedef(TypedefYin(" name=\"kind\"", identityref + "<default value=\"zz:leaf-kind\"/>"), &unknown),
              22u);
    TakeMessages();
    EXPECT_EQ(Leaked(), 0u);
}

TEST_F(TypesTypedef, FailingTypedefIsReportedAndEmptied)
{
    const std::string badRange = "<type name=\"int8\"><range value=\"1..2||3\"/></type>";
    struct Row {
        std::string attrs;
        std::string body;
        uint32_t ret;
        const char *firstMessage;
        bool onlyMessage;
    };
    const Row rows[] = {
        {" name=\"t\"", "<description><text>x</text></description>", 22u,
         "typedef \"t\" must define with type statement.", true},
        {"", "<type name=\"int8\"/>", 22u, "Failed to get value of statement \"typedef\".", true},
        // A failing type is reported for the type as well as for the typedef.
        {" name=\"t\"", badRange, 22u, "Failed to parse value \"int8\" of statement \"type\".", false},
        // A second "type" is a repeat of a unique statement.
        {" name=\"t\"", "<type name=\"int8\"/><type name=\"int16\"/>", 1u,
         "Statement \"type\" under statement \"typedef\" has repeated.", false},
    };
    for (const Row &r : rows) {
        KzsTypedef tdef{};
        EXPECT_EQ(ParseTypedef(TypedefYin(r.attrs, r.body), &tdef), r.ret) << r.body;
        std::vector<std::string> msgs = TakeMessages();
        ASSERT_FALSE(msgs.empty()) << r.body;
        EXPECT_EQ(msgs[0], r.firstMessage);
        EXPECT_TRUE(!r.onlyMessage || msgs.size() == 1u) << r.body;
        EXPECT_EQ(tdef.name, nullptr) << r.body;
        EXPECT_EQ(tdef.realType.constraints, nullptr) << r.body;
        EXPECT_EQ(Leaked(), 0u) << r.body;
    }
}

TEST_F(TypesTypedef, PatternsAndLengthShareOneTypeInKindOrder)
{
    KztRealType rt{};
    ASSERT_EQ(ParseType(TypeYin("string", "<pattern value=\"[a-z]+\"/><length value=\"1..8\"/>"
                                          "<pattern value=\"^x.*$\"><modifier value=\"invert-match\"/></pattern>"),
                        &rt),
              0u);
    ASSERT_EQ(rt.consCount, 2u);
    EXPECT_EQ(rt.constraints[0].consType, 5u);
    EXPECT_EQ(rt.constraints[1].consType, 7u);
    auto *len = static_cast<KztConsDataRange *>(rt.constraints[0].consData);
    EXPECT_EQ(len->segCount, 1u);
    auto *pat = static_cast<KztConsDataPattern *>(rt.constraints[1].consData);
    ASSERT_EQ(pat->segCount, 2u);
    EXPECT_STREQ(pat->segs[0].pattern, "[a-z]+");
    EXPECT_STREQ(pat->segs[1].pattern, "x.*");
    EXPECT_EQ(pat->segs[1].invertMatch, 1u);

    KztRealType *copy = KZT_TYPE_CopyNytRealType(&ctx_.dict, &rt);
    ASSERT_NE(copy, nullptr);
    Destroy(&rt);
    auto *copied = static_cast<KztConsDataPattern *>(KZT_TYPE_GetTypeConsDataByConsType(copy, 7));
    ASSERT_NE(copied, nullptr);
    EXPECT_STREQ(copied->segs[0].pattern, "[a-z]+");
    KZT_TYPE_DestroyNytRealType(&ctx_.dict, copy);
    EXPECT_EQ(Leaked(), 0u);
}

TEST_F(TypesTypedef, UnionMembersInDocumentOrder)
{
    KztRealType rt{};
    ASSERT_EQ(ParseType(TypeYin("union", "<type name=\"int8\"/><type name=\"counter\"><range value=\"1..9\"/></type>"
                                         "<type name=\"string\"/>"),
                        &rt),
              0u);
    EXPECT_EQ(rt.baseType, 19u);
    ASSERT_EQ(rt.consCount, 1u);
    auto *un = static_cast<KztConsDataUnion *>(rt.constraints[0].consData);
    ASSERT_EQ(un->segCount, 3u);
    EXPECT_EQ(un->segs[0].baseType, 9u);
    EXPECT_EQ(un->segs[1].baseType, 0u);
    EXPECT_EQ(un->segs[2].baseType, 14u);
    EXPECT_STREQ(KZT_TYPE_GetInheritedTypDefName(&un->segs[1], nullptr), "counter");
    EXPECT_EQ(un->segs[1].consCount, 2u);

    KztRealType *copy = KZT_TYPE_CopyNytRealType(&ctx_.dict, &rt);
    ASSERT_NE(copy, nullptr);
    Destroy(&rt);
    KZT_TYPE_DestroyNytRealType(&ctx_.dict, copy);
    EXPECT_EQ(Leaked(), 0u);
}

TEST_F(TypesTypedef, DeeplyNestedUnionsAreRefused)
{
    auto nested = [](int depth) {
        std::string open;
        std::string close;
        for (int i = 0; i < depth; ++i) {
            open += "<type name=\"union\">";
            close += "</type>";
        }
        return TypeYin("union", open + "<type name=\"int8\"/>" + close);
    };
    KztRealType ok{};
    EXPECT_EQ(ParseType(nested(20), &ok), 0u);
    Destroy(&ok);
    KztRealType deep{};
    EXPECT_EQ(ParseType(nested(200), &deep), 22u);
    Destroy(&deep);
    TakeMessages();
    EXPECT_EQ(Leaked(), 0u);
}

TEST_F(TypesTypedef, BindingReachesOwnTypedefsOnly)
{
    KzsImport imp{"other", "o"};
    mod_.imports = &imp;
    mod_.importCount = 1;
    KzsTypedef tdefs[1]{};
    tdefs[0].name = "counter";
    mod_.typedefs = tdefs;
    mod_.typedefCount = 1;

    KztRealType rt{};
    ASSERT_EQ(ParseType(TypeYin("union", "<type name=\"o:counter\"/><type name=\"mp:counter\"/>"
                                         "<type name=\"counter\"/>"),
                        &rt),
              0u);
    auto *un = static_cast<KztConsDataUnion *>(rt.constraints[0].consData);
    const char *modName = nullptr;
    EXPECT_STREQ(KZT_TYPE_GetInheritedTypDefName(&un->segs[0], &modName), "counter");
    EXPECT_STREQ(modName, "other");
    KZT_TYPE_GetInheritedTypDefName(&un->segs[1], &modName);
    EXPECT_EQ(modName, mod_.name);

    ASSERT_EQ(KZT_TYPE_UpdateRealTypeDerivedFrom(&rt, &mod_), 0u);
    EXPECT_EQ(KZT_TYPE_GetTypeConsDataDerived(&un->segs[0])->tdefRealType, nullptr);
    EXPECT_EQ(KZT_TYPE_GetTypeConsDataDerived(&un->segs[1])->tdefRealType, &tdefs[0].realType);
    EXPECT_EQ(KZT_TYPE_GetTypeConsDataDerived(&un->segs[2])->tdefRealType, &tdefs[0].realType);

    // A copy carries no binding; binding again follows the typedef array when it moves.
    KztRealType *copy = KZT_TYPE_CopyNytRealType(&ctx_.dict, &un->segs[2]);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(KZT_TYPE_GetTypeConsDataDerived(copy)->tdefRealType, nullptr);
    KZT_TYPE_DestroyNytRealType(&ctx_.dict, copy);
    KzsTypedef moved[1]{};
    moved[0].name = "counter";
    mod_.typedefs = moved;
    ASSERT_EQ(KZT_TYPE_UpdateRealTypeDerivedFrom(&rt, &mod_), 0u);
    EXPECT_EQ(KZT_TYPE_GetTypeConsDataDerived(&un->segs[2])->tdefRealType, &moved[0].realType);
    Destroy(&rt);

    KztRealType missing{};
    ASSERT_EQ(ParseType(TypeYin("gauge"), &missing), 0u);
    EXPECT_EQ(KZT_TYPE_UpdateRealTypeDerivedFrom(&missing, &mod_), 22u);
    Destroy(&missing);

    KztRealType unknownPrefix{};
    EXPECT_EQ(ParseType(TypeYin("zz:counter"), &unknownPrefix), 22u);
    Destroy(&unknownPrefix);
    TakeMessages();
    mod_.imports = nullptr;
    mod_.importCount = 0;
    mod_.typedefs = nullptr;
    mod_.typedefCount = 0;
    EXPECT_EQ(Leaked(), 0u);
}
