/* Statement tables and the sub-statement framework, driven on small YIN
 * snippets parsed with libxml2 against a bare module record. */

#include "test_support.h"

namespace {

using kztest::LoadMessages;

/* A bare module record over a fresh context, plus one parsed snippet. */
class LoaderStmt : public kztest::CtxTest {
protected:
    void SetUp() override
    {
        Reopen(KZ_CTX_OPT_KEEP_DESCRIPTION | KZ_CTX_OPT_KEEP_UNITS);
        mod_.ctx = ctx_;
        mod_.name = KZ_DICT_Insert(&ctx_->dict, "m");
    }

    void TearDown() override
    {
        for (const char *s : interned_) {
            KZ_DICT_Remove(&ctx_->dict, s);
        }
        KZ_DICT_Remove(&ctx_->dict, mod_.name);
        CtxTest::TearDown();
    }

    /* Parses <parent xmlns=yin>body</parent> and returns the parent element. */
    xmlNode *Parse(const std::string &parent, const std::string &body, const std::string &extraNs = "")
    {
        doc_ = kztest::ParseXml("<" + parent + " name=\"p\" xmlns=\"" + kztest::kYinNs + "\"" + extraNs + ">" + body +
                                "</" + parent + ">");
        EXPECT_NE(doc_, nullptr);
        return doc_ != nullptr ? xmlDocGetRootElement(doc_.get()) : nullptr;
    }

    void Keep(const char *s)
    {
        if (s != nullptr) {
            interned_.push_back(s);
        }
    }

    KzMod mod_{};
    kztest::DocPtr doc_;
    std::vector<const char *> interned_;
};

TEST_F(LoaderStmt, ElementIdentifierDependsOnNamespace)
{
    xmlNode *root = Parse("container",
                          "<leaf name='a'/><Leaf name='b'/><xyz/><e:leaf xmlns:e='urn:other'/>"
                          "<leaf xmlns='' name='c'/>");
    ASSERT_NE(root, nullptr);
    std::vector<uint32_t> ids;
    for (xmlNode *c = root->children; c != nullptr; c = c->next) {
        ids.push_back(KZS_LOADER_GetXmlNodeYangStmt(c));
    }
    EXPECT_EQ(ids, (std::vector<uint32_t>{KZS_STMT_LEAF, 0, 0, KZS_STMT_EXTENSION_INSTANCE, 0}));
}

TEST_F(LoaderStmt, ArrayCollectsEveryOccurrenceInOrderIgnoresTheRestAndIsFilledOnce)
{
    xmlNode *root = Parse("container", "<text>a</text><xyz/><text>b</text><Leaf/><text>c</text>"
                                       "<leaf name='x'/><text>d</text><text>e</text>");
    ASSERT_NE(root, nullptr);
    const char **texts = nullptr;
    uint16_t fill = 0;
    uint16_t total = 0;
    SubParseElem elems[] = {{KZS_STMT_TEXT, &texts, &fill, &total, sizeof(const char *), KZS_SUB_FLAG_ARRAY}};
    ASSERT_EQ(KZS_LOADER_ParseSubStatements(&mod_, root, KZS_STMT_CONTAINER, elems, 1), 0u);
    ASSERT_EQ(total, 5u);
    ASSERT_EQ(fill, 5u);
    std::vector<std::string> got;
    for (uint16_t i = 0; i < fill; i++) {
        got.emplace_back(texts[i]);
        Keep(texts[i]);
    }
    EXPECT_EQ(got, (std::vector<std::string>{"a", "b", "c", "d", "e"}));
    EXPECT_TRUE(LoadMessages(ctx_).empty());
    /* Only accepted children carry a mark. */
    std::vector<uint32_t> marks;
    for (xmlNode *c = root->children; c != nullptr; c = c->next) {
        marks.push_back(static_cast<uint32_t>(reinterpret_cast<uintptr_t>(c->_private)));
    }
    EXPECT_EQ(marks, (std::vector<uint32_t>{69, 0, 69, 0, 69, 0, 69, 69}));

    /* A second pass into the array already allocated is refused. */
    const char **collected = texts;
    EXPECT_EQ(KZS_LOADER_ParseSubStatements(&mod_, root, KZS_STMT_CONTAINER, elems, 1), 22u);
    EXPECT_EQ(texts, collected);
    KZ_MemFree(texts);
}

TEST_F(LoaderStmt, StatusValues)
{
    xmlNode *c = Parse("leaf", "<status value='deprecated'/><status value='obsolete'/><status value='current'/>"
                               "<status value='Current'/><status/>")->children;
    const std::pair<uint32_t, uint32_t> expected[] = {
        {0, KZS_NODE_FLAG_DEPRECATED}, {0, KZS_NODE_FLAG_OBSOLETE}, {0, 0}, {22, 0}, {22, 0}};
    for (const auto &[rc, flag] : expected) {
        uint32_t flags = 0;
        EXPECT_EQ(KZS_LOADER_ParseStatus(&mod_, c, KZS_STMT_LEAF, &flags), rc);
        EXPECT_EQ(flags, flag);
        c = c->next;
    }
    EXPECT_EQ(LoadMessages(ctx_), (std::vector<std::string>{"Failed to parse value \"Current\" of statement \"status\".",
                                                            "Failed to get value of statement \"status\"."}));
}

TEST_F(LoaderStmt, FailingChildKeepsItsOwnMessageOrGetsTheGenericOne)
{
    /* status names its own fault; nothing after it is parsed. */
    xmlNode *root = Parse("leaf", "<status value='gone'/><units name='s'/>");
    ASSERT_NE(root, nullptr);
    uint32_t flags = 0;
    const char *units = nullptr;
    SubParseElem elems[] = {{KZS_STMT_STATUS, &flags, nullptr, nullptr, 0, KZS_SUB_FLAG_UNIQUE},
                            {KZS_STMT_UNITS, &units, nullptr, nullptr, 0, KZS_SUB_FLAG_UNIQUE}};
    EXPECT_EQ(KZS_LOADER_ParseSubStatements(&mod_, root, KZS_STMT_LEAF, elems, 2), 22u);
    EXPECT_EQ(units, nullptr);

    /* units without a value fails silently; the framework names it, in a
     * module that has no message yet. */
    KzMod other = mod_;
    other.name = KZ_DICT_Insert(&ctx_->dict, "n");
    Keep(other.name);
    root = Parse("leaf", "<units/>");
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(KZS_LOADER_ParseSubStatements(&other, root, KZS_STMT_LEAF, &elems[1], 1), 22u);
    EXPECT_EQ(LoadMessages(ctx_, "m"),
              (std::vector<std::string>{"Failed to parse value \"gone\" of statement \"status\"."}));
    EXPECT_EQ(LoadMessages(ctx_, "n"),
              (std::vector<std::string>{"Failed to parse statement \"units\" under statement \"leaf\"."}));
}

TEST_F(LoaderStmt, OneStatementParsersHonourTheirPlaceAndTheContextOptions)
{
    xmlNode *must = Parse("must", "<value>ignored</value><error-message><value>too big</value></error-message>");
    ASSERT_NE(must, nullptr);
    const char *slot = nullptr;
    xmlNode *value = must->children;
    EXPECT_EQ(KZS_LOADER_ParseValue(&mod_, value, KZS_STMT_MUST, &slot), 0u);
    EXPECT_EQ(slot, nullptr);
    EXPECT_EQ(KZS_LOADER_ParseErrorMessage(&mod_, value->next, KZS_STMT_MUST, &slot), 0u);
    Keep(slot);
    EXPECT_STREQ(slot, "too big");

    xmlNode *root = Parse("leaf", "<description><text>d</text></description><units name='ms'/>");
    ASSERT_NE(root, nullptr);
    const uint32_t opened = ctx_->flags;
    for (const bool kept : {true, false}) {
        ctx_->flags = kept ? opened : 0;
        const char *desc = nullptr;
        const char *units = nullptr;
        EXPECT_EQ(KZS_LOADER_ParseDescription(&mod_, root->children, KZS_STMT_LEAF, &desc), 0u);
        EXPECT_EQ(KZS_LOADER_ParseUnits(&mod_, root->children->next, KZS_STMT_LEAF, &units), 0u);
        Keep(desc);
        Keep(units);
        EXPECT_STREQ(desc, kept ? "d" : nullptr);
        EXPECT_STREQ(units, kept ? "ms" : nullptr);
    }
}

} /* namespace */
