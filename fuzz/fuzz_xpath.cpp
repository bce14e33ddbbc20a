// Tokenizes an arbitrary condition and evaluates it at several context nodes
// of a fixed instance tree, directly and through the token list.
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <vector>

#include "fuzz_module.h"

namespace {

constexpr const char kInstance[] = R"xml(<configure xmlns="urn:example:fz">
  <name>r1</name><mode>manual</mode><level>42</level><price>12.50</price><kind>fast-eth</kind>
  <opts><retries>3</retries><tag>a</tag><tag>b</tag></opts>
  <tuning><gain>1</gain><depth>4</depth></tuning>
  <entry><id>e1</id><kind>rich</kind><code>AB1</code><extra>x</extra></entry>
  <entry><id>e2</id><kind>plain</kind><code>CD22</code><ref>e1</ref></entry>
  <pair><k1>p</k1><k2>-3</k2><v>7</v></pair>
  <ratio>10</ratio>
</configure>)xml";

struct Tree {
    xmlDoc *doc = nullptr;
    xmlNode *root = nullptr;
    std::vector<xmlNode *> contexts;
};

void Collect(xmlNode *node, std::vector<xmlNode *> &out)
{
    for (xmlNode *n = node; n != nullptr; n = n->next) {
        if (n->type == XML_ELEMENT_NODE) {
            out.push_back(n);
            Collect(n->children, out);
        }
    }
}

// The tree is bound to the schema by one validation so that functions which
// need a schema node (derived-from) reach their full path.
const Tree &SharedTree()
{
    static Tree tree = [] {
        Tree t;
        xmlKeepBlanksDefault(0);
        t.doc = xmlReadMemory(kInstance, sizeof(kInstance) - 1, nullptr, nullptr, XML_PARSE_NOBLANKS);
        t.root = xmlDocGetRootElement(t.doc);
        KzdErrNode *err = KZ_CTX_ValidateRpcDataTree(kzfuzz::SharedContext(), KZ_DATA_KIND_XMLTREE, t.root,
                                                     nullptr, nullptr);
        KZ_FreeErrNode(err);
        Collect(t.root, t.contexts);
        return t;
    }();
    return tree;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Tree &tree = SharedTree();
    if (size == 0) {
        return 0;
    }
    // First byte picks the context node, the rest is the condition.
    xmlNode *context = tree.contexts[data[0] % tree.contexts.size()];
    std::string expr = kzfuzz::AsText(data + 1, size - 1);

    XpathLex *lex = KZ_XPATH_ExprTokenize(expr.c_str());
    if (lex != nullptr) {
        uint32_t count = KZ_XPATH_GetTokenNumber(lex);
        volatile uint32_t sink = 0;
        for (uint32_t i = 0; i <= count; ++i) {
            uint32_t kind = 0, length = 0;
            const char *start = KZ_XPATH_GetTokenExprByPos(lex, i, &kind, &length);
            if (start != nullptr && length > 0) {
                sink += static_cast<unsigned char>(start[length - 1]) + kind;
            }
        }
        (void)sink;
    }
    uint32_t direct = KZ_XPATH_EvalCondition(tree.root, context, expr.c_str());
    uint32_t cached = KZ_XPATH_EvalTokenizedCondition(tree.root, context, lex);
    // With a token list the two ways must agree.
    if (lex != nullptr && direct != cached) {
        __builtin_trap();
    }
    KZ_XPATH_FreeXpathLex(lex);
    return 0;
}
