// derived-from and derived-from-or-self against identities of a loaded module.

#include "test_support.h"

namespace {

const char *const kModule =
    "<module name=\"idm\" xmlns=\"urn:ietf:params:xml:ns:yang:yin:1\" xmlns:idm=\"urn:idm\">"
    "<namespace uri=\"urn:idm\"/>"
    "<prefix value=\"idm\"/>"
    "<identity name=\"base\"/>"
    "<identity name=\"eth\"><base name=\"base\"/></identity>"
    "<identity name=\"fast-eth\"><base name=\"idm:eth\"/></identity>"
    "<container name=\"top\">"
    "<leaf name=\"type\"><type name=\"identityref\"><base name=\"base\"/></type></leaf>"
    "<leaf name=\"label\"><type name=\"string\"/></leaf>"
    "</container>"
    "</module>";

class XPathIdentity : public kztest::CtxTest {
protected:
    void SetUp() override
    {
        CtxTest::SetUp();
        KzMod *mod = LoadAs(kModule, "idm");
        ASSERT_NE(mod, nullptr);
        top_ = mod->dataNodes;
        ASSERT_NE(top_, nullptr);
        leaf_ = top_->firstChild;
        ASSERT_NE(leaf_, nullptr);
        ASSERT_STREQ(leaf_->name, "type");
    }

    // Parses an instance <top> holding the given <type> element and binds it.
    xmlNode *Instance(const char *typeElem)
    {
        doc_ = kztest::ParseXml(std::string("<top xmlns=\"urn:idm\" xmlns:x=\"urn:idm\">") + typeElem +
                                "<label>l</label></top>");
        // Bound as a validation binds it: schema nodes on the elements, the
        // validator's value accessor on the document.
        doc_->_private = const_cast<XpathValueAccessor *>(&kz::data::BoundValues());
        xmlNode *top = xmlDocGetRootElement(doc_.get());
        top->_private = top_;
        top->children->_private = leaf_;
        top->children->next->_private = leaf_->next;
        return top;
    }

    uint32_t Eval(const char *typeElem, const char *expr)
    {
        xmlNode *top = Instance(typeElem);
        return KZ_XPATH_EvalCondition(top, top, expr);
    }

    KzsNode *top_ = nullptr;
    KzsNode *leaf_ = nullptr;
    kztest::DocPtr doc_;
};

} // namespace

TEST_F(XPathIdentity, DerivedFromComparesWithTheValuesBases)
{
    const char *v = "<type>x:fast-eth</type>";
    EXPECT_EQ(Eval(v, "derived-from(type, 'idm:eth')"), KZ_OK);
    EXPECT_EQ(Eval(v, "derived-from(type, 'eth')"), KZ_OK); // no prefix: the leaf's module
    EXPECT_EQ(Eval(v, "derived-from(type, 'idm:fast-eth')"), KZ_XPATH_FALSE);
    EXPECT_EQ(Eval(v, "derived-from-or-self(type, 'idm:fast-eth')"), KZ_OK);
    EXPECT_EQ(Eval(v, "derived-from-or-self(type, 'idm:eth')"), KZ_OK);
    EXPECT_EQ(Eval(v, "derived-from(type, 'other:eth')"), KZ_XPATH_FALSE);
    EXPECT_EQ(Eval(v, "not(derived-from(type, 'idm:eth')) or label = 'l'"), KZ_OK);
    // The document's own prefix does not matter, nor its absence.
    EXPECT_EQ(Eval("<type>fast-eth</type>", "derived-from(type, 'idm:eth')"), KZ_OK);
    EXPECT_EQ(Eval("<type>eth</type>", "derived-from(type, 'idm:base')"), KZ_OK);
    EXPECT_EQ(Eval("<type>eth</type>", "derived-from(type, 'idm:eth')"), KZ_XPATH_FALSE);
    // The value compares as module:identity in comparisons too.
    EXPECT_EQ(Eval(v, "type = 'idm:fast-eth'"), KZ_OK);
    // An unknown identity, a leaf that is no identityref, arguments in the wrong order.
    EXPECT_EQ(Eval("<type>x:nope</type>", "derived-from(type, 'idm:eth')"), KZ_EINVAL);
    EXPECT_EQ(Eval("<type>x:eth</type>", "derived-from(label, 'idm:eth')"), KZ_EINVAL);
    EXPECT_EQ(Eval("<type>x:eth</type>", "derived-from(type, 1)"), KZ_XPATH_EFUNCARG);
    EXPECT_EQ(Eval("<type>x:eth</type>", "derived-from('idm:eth', type)"), KZ_XPATH_EFUNCARG);
}
