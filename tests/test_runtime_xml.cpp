// libxml2 node accessors and the non-recursive walk.

#include "base/kz_xml.h"
#include "test_support.h"

namespace {

xmlNode *Root(const kztest::DocPtr &doc)
{
    return xmlDocGetRootElement(doc.get());
}

std::string Name(const xmlNode *n)
{
    return n == nullptr ? "(null)" : reinterpret_cast<const char *>(n->name);
}

// The walk from root as (name, direction) steps.
std::vector<std::pair<std::string, uint32_t>> Walk(xmlNode *root)
{
    std::vector<std::pair<std::string, uint32_t>> steps;
    uint32_t dir = KZ_XML_DIR_START;
    for (xmlNode *n = root; (n = KZ_XML_GetXmlDomNextNode(root, n, &dir)) != nullptr;) {
        steps.emplace_back(Name(n), dir);
        if (steps.size() > 100) {
            break;
        }
    }
    return steps;
}

}  // namespace

TEST(RuntimeXml, AttributeAndContentAccessors)
{
    // An attribute made only of an entity reference has no text child.
    kztest::DocPtr d = kztest::ParseXml("<!DOCTYPE leaf [<!ENTITY e 'x'>]>"
          "<leaf xmlns='urn:y' xmlns:p='urn:p' p:name='&e;' name='v' other='w'>"
          "<default value='x'/>text-after</leaf>");
    xmlNode *root = Root(d);
    ASSERT_NE(nullptr, root);
    // The first attribute of that name has no text: the next one counts.
    EXPECT_STREQ("v", KZ_XML_GetTargetPropertyValue(root, "name"));
    EXPECT_STREQ("w", KZ_XML_GetTargetPropertyValue(root, "other"));
    EXPECT_EQ(nullptr, KZ_XML_GetTargetPropertyValue(root, "missing"));
    EXPECT_EQ(nullptr, KZ_XML_GetFirstPropertyValue(root));
    EXPECT_STREQ("x", KZ_XML_GetFirstPropertyValue(root->children));
    EXPECT_STREQ("urn:y", KZ_XML_GetXmlNodeDefaultNs(root));
    // The first child is an element, so the element has no content here.
    EXPECT_EQ(nullptr, KZ_XML_GetElemNodeContent(root));

    kztest::DocPtr t = kztest::ParseXml("<description><text>hello</text></description>");
    EXPECT_STREQ("hello", KZ_XML_GetElemNodeContent(Root(t)->children));
    EXPECT_EQ(nullptr, KZ_XML_GetXmlNodeDefaultNs(Root(t)));
    EXPECT_EQ(nullptr, KZ_XML_GetTargetPropertyValue(nullptr, "x"));
}

TEST(RuntimeXml, ChildByPrivateMark)
{
    kztest::DocPtr d = kztest::ParseXml("<r><a/><b/><c/></r>");
    xmlNode *a = Root(d)->children;
    xmlNode *b = a->next;
    xmlNode *c = b->next;
    b->_private = reinterpret_cast<void *>(uintptr_t{0x4});
    c->_private = reinterpret_cast<void *>(uintptr_t{0x6});
    EXPECT_EQ(b, KZ_XML_GetFirstChildNodeWithPriVal(Root(d), 0x2 | 0x4));
    EXPECT_EQ(c, KZ_XML_GetFirstChildNodeWithPriVal(Root(d), 0x2));
    EXPECT_EQ(nullptr, KZ_XML_GetFirstChildNodeWithPriVal(Root(d), 0x1));
    b->_private = nullptr;
    c->_private = nullptr;
}

TEST(RuntimeXml, WalkIsPreOrderAndStaysUnderItsRoot)
{
    kztest::DocPtr d = kztest::ParseXml("<r><a><b/><c/></a><d/></r>");
    using Steps = std::vector<std::pair<std::string, uint32_t>>;
    EXPECT_EQ((Steps{{"a", 0}, {"b", 0}, {"c", 1}, {"a", 2}, {"d", 1}, {"r", 2}}), Walk(Root(d)));
    // A subtree root with a next sibling: the walk must not leave it.
    xmlNode *a = Root(d)->children;
    EXPECT_EQ((Steps{{"b", 0}, {"c", 1}, {"a", 2}}), Walk(a));
    // A leaf root ends at once.
    EXPECT_TRUE(Walk(a->next).empty());

    uint32_t dir = KZ_XML_DIR_START;
    EXPECT_EQ(nullptr, KZ_XML_GetXmlDomSibOrParent(a, a, &dir));
    xmlNode *b = a->children;
    EXPECT_EQ(b->next, KZ_XML_GetXmlDomSibOrParent(a, b, &dir));
    EXPECT_EQ(KZ_XML_DIR_SIBLING, dir);

    // The parent a step's direction leaves behind.
    EXPECT_EQ(b, KZ_XML_GetParentNodeByTraverse(b, KZ_XML_DIR_CHILD));
    EXPECT_EQ(b, KZ_XML_GetParentNodeByTraverse(b, KZ_XML_DIR_START));
    EXPECT_EQ(a, KZ_XML_GetParentNodeByTraverse(b, KZ_XML_DIR_SIBLING));
    EXPECT_EQ(nullptr, KZ_XML_GetParentNodeByTraverse(b, KZ_XML_DIR_PARENT));
    EXPECT_EQ(nullptr, KZ_XML_GetParentNodeByTraverse(b, 7));
}

TEST(RuntimeXml, WalkDepthIsNotBoundByTheStack)
{
    std::string text;
    const int depth = 50000;
    for (int i = 0; i < depth; ++i) {
        text += "<n>";
    }
    for (int i = 0; i < depth; ++i) {
        text += "</n>";
    }
    kztest::DocPtr doc = kztest::ParseXml(text, XML_PARSE_HUGE);
    ASSERT_NE(nullptr, doc);
    xmlNode *root = Root(doc);
    uint32_t dir = KZ_XML_DIR_START;
    size_t visited = 0;
    for (xmlNode *n = root; (n = KZ_XML_GetXmlDomNextNode(root, n, &dir)) != nullptr;) {
        ++visited;
    }
    EXPECT_EQ(2u * (depth - 1), visited);  // each node entered once and climbed back once
}
