/* Modules loaded from memory: data-definition statements, their links, flags
 * and conditions, and the exact failure messages of refused modules. */

#include "test_support.h"

namespace {

using kztest::ChildNames;
using kztest::LoadMessages;

/* A module m (prefix m) importing "other" under the prefix o. */
std::string Module(const std::string &body)
{
    return "<module name=\"m\" xmlns=\"urn:ietf:params:xml:ns:yang:yin:1\" xmlns:m=\"urn:m\" xmlns:o=\"urn:o\">"
           "<namespace uri=\"urn:m\"/><prefix value=\"m\"/>"
           "<import module=\"other\"><prefix value=\"o\"/></import>" +
           body + "</module>";
}

const KzsNode *Child(const KzsNode *node, const std::string &name)
{
    return kztest::FindSibling(node->firstChild, name);
}

class LoaderDataDef : public kztest::CtxTest {
protected:
    KzMod *Load(const std::string &text) { return LoadAs(text, "m"); }

    const KzsNode *Top(KzMod *mod, const std::string &name) { return kztest::FindSibling(mod->dataNodes, name); }
};

TEST_F(LoaderDataDef, EveryDataDefinitionKindWithKeysFlagsAndMusts)
{
    KzMod *mod = Load(Module(
        "<container name='top'><presence value='on'/><config value='false'/><status value='deprecated'/>"
        "  <list name='entry'><key value='a b'/>"
        "    <leaf name='a'><type name='string'/></leaf>"
        "    <leaf-list name='tags'><type name='string'/><default value='x'/><default value='y'/>"
        "      <ordered-by value='user'/></leaf-list>"
        "    <leaf name='b'><type name='uint8'/><mandatory value='true'/></leaf>"
        "  </list>"
        "  <choice name='how'><default value='fast'/>"
        "    <case name='fast'><leaf name='speed'><type name='uint8'/></leaf></case>"
        "    <leaf name='slow'><type name='empty'/></leaf>"
        "  </choice>"
        "  <anydata name='blob'/><anyxml name='raw'/>"
        "  <o:note value='a'/><q:skip xmlns:q='urn:q'/><o:note value='b'/>"
        "  <reference><text>ignored</text></reference><uses name='g'/><min-elements value='1'/>"
        "</container>"
        "<leaf name='plain'><type name='string'/><config value='true'/></leaf>"
        "<rpc name='reset'><output><leaf name='done'><type name='boolean'/></leaf></output>"
        "  <input><leaf name='delay'><type name='uint32'/></leaf><must condition='delay &lt; 10'/></input></rpc>"
        "<container name='box'><action name='poke'><input/></action>"
        "  <notification name='poked'><leaf name='by'><type name='string'/></leaf></notification></container>"
        "<notification name='alarm'><must condition='a'/><must condition='b'/></notification>"));
    ASSERT_NE(mod, nullptr) << status_;
    EXPECT_EQ(status_, 0u);
    /* config false and deprecated reach the whole subtree; an rpc's input goes before its output */
    EXPECT_EQ(kztest::PrintedTree(ctx_, "m"), "module: m\n"
                                              "   x--ro top!\n"
                                              "   |  x--ro entry* [a b]\n"
                                              "   |  |  x--ro a       string\n"
                                              "   |  |  x--ro tags*   string\n"
                                              "   |  |  x--ro b       uint8\n"
                                              "   |  x--ro (how)? <fast>\n"
                                              "   |  |  x--:(fast)\n"
                                              "   |  |  |  x--ro speed?   uint8\n"
                                              "   |  |  x--:(slow)\n"
                                              "   |  |     x--ro slow?   empty\n"
                                              "   |  x--ro blob?    anydata\n"
                                              "   |  x--ro raw?     anyxml\n"
                                              "   +--rw plain?   string\n"
                                              "   +--rw box\n"
                                              "      +---x poke\n"
                                              "      |  +---w input\n"
                                              "      +---n poked\n"
                                              "         +--ro by?   string\n"
                                              "rpcs:\n"
                                              "   +---x reset\n"
                                              "      +---w input\n"
                                              "      |  +---w delay?   uint32\n"
                                              "      +--ro output\n"
                                              "         +--ro done?   boolean\n"
                                              "notifications:\n"
                                              "   +---n alarm\n");
    const KzsNode *top = Top(mod, "top");
    ASSERT_NE(top, nullptr);
    EXPECT_EQ(top->flags & 0xFFFu, KZS_NODE_FLAG_PRESENCE | KZS_NODE_FLAG_CONFIG_FALSE | KZS_NODE_FLAG_CONFIG_SET |
                                       KZS_NODE_FLAG_DEPRECATED);
    EXPECT_EQ(Top(mod, "plain")->flags & 0xEu, KZS_NODE_FLAG_CONFIG_TRUE | KZS_NODE_FLAG_CONFIG_SET);
    /* extension instances of imported modules only, in document order */
    ASSERT_EQ(top->extInstCount, 2u);
    EXPECT_STREQ(top->extInsts[0].modName, "other");
    EXPECT_STREQ(top->extInsts[0].argument, "a");
    EXPECT_STREQ(top->extInsts[1].argument, "b");

    const KzsNode *entry = Child(top, "entry");
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->keyCount, 2u);
    const unsigned keyOrMandatory = KZS_NODE_FLAG_KEY | KZS_NODE_FLAG_MANDATORY_TRUE;
    EXPECT_EQ(Child(entry, "b")->flags & keyOrMandatory, keyOrMandatory);
    const KzsNode *tags = Child(entry, "tags");
    EXPECT_EQ(tags->flags & (KZS_NODE_FLAG_KEY | KZS_NODE_FLAG_ORDERED_BY_USER), KZS_NODE_FLAG_ORDERED_BY_USER);
    const auto *tagsInfo = static_cast<const KzsLeafListInfo *>(tags->schemaInfo);
    ASSERT_EQ(tagsInfo->defaultCount, 2u);
    EXPECT_STREQ(tagsInfo->defaults[0], "x");
    EXPECT_STREQ(tagsInfo->defaults[1], "y");
    /* a shorthand case stays a leaf under its choice */
    EXPECT_EQ(Child(Child(top, "how"), "slow")->kind, static_cast<uint32_t>(KZS_NODE_LEAF));

    ASSERT_EQ(mod->rpcs->firstChild->mustCount, 1u);
    EXPECT_STREQ(mod->rpcs->firstChild->musts[0].cond, "delay < 10");
    ASSERT_EQ(mod->notifs->mustCount, 2u);
    EXPECT_STREQ(mod->notifs->musts[0].cond, "a");
    EXPECT_STREQ(mod->notifs->musts[1].cond, "b");
    EXPECT_TRUE(LoadMessages(ctx_).empty());
}

TEST_F(LoaderDataDef, TopLevelChainsKeepDocumentOrder)
{
    KzMod *mod = Load(Module("<leaf name='a'><type name='string'/></leaf><rpc name='r1'/>"
                             "<container name='b'/><notification name='n1'/><rpc name='r2'/>"
                             "<augment target-node='/o:x'/><choice name='c'/><notification name='n2'/>"
                             "<augment target-node='/o:y'/><anyxml name='d'/>"));
    ASSERT_NE(mod, nullptr) << status_;
    auto names = [](const KzsNode *head) {
        std::vector<std::string> out;
        for (const KzsNode *n = head; n != nullptr; n = n->next) {
            out.emplace_back(n->name);
            EXPECT_EQ(n->parent, nullptr);
            EXPECT_TRUE(n->next == nullptr || n->next->prev == n);
        }
        return out;
    };
    EXPECT_EQ(names(mod->dataNodes), (std::vector<std::string>{"a", "b", "c", "d"}));
    EXPECT_EQ(names(mod->rpcs), (std::vector<std::string>{"r1", "r2"}));
    EXPECT_EQ(names(mod->notifs), (std::vector<std::string>{"n1", "n2"}));
    EXPECT_EQ(names(mod->augments), (std::vector<std::string>{"/other:x", "/other:y"}));
}

TEST_F(LoaderDataDef, ConditionsRewriteLiteralPrefixesOnlyAndUnlexableOnesStay)
{
    KzMod *mod = Load(Module(
        "<leaf name='kind'><type name='string'/>"
        "  <when condition=\"derived-from-or-self(o:type, 'o:ethernet') or . = 'x:y' or . = 'm:z'\"/>"
        "  <must condition=\"../o:a != 'o:b'\"><error-message><value>bad</value></error-message>"
        "    <error-app-tag value='tag'/></must>"
        "  <if-feature name='o:fast'/><if-feature name='local'/></leaf>"
        "<leaf name='l'><type name='string'/><when condition=\"$v = 'o:x'\"/></leaf>"));
    ASSERT_NE(mod, nullptr) << status_;
    const KzsNode *kind = Top(mod, "kind");
    ASSERT_NE(kind, nullptr);
    EXPECT_STREQ(kind->when, "derived-from-or-self(o:type, 'other:ethernet') or . = 'x:y' or . = 'm:z'");
    ASSERT_EQ(kind->mustCount, 1u);
    EXPECT_STREQ(kind->musts[0].cond, "../o:a != 'other:b'");
    EXPECT_STREQ(kind->musts[0].errMsg, "bad");
    EXPECT_STREQ(kind->musts[0].errAppTag, "tag");
    ASSERT_EQ(kind->ifFeatureCount, 2u);
    EXPECT_STREQ(kind->ifFeatures[0].modName, "other");
    EXPECT_STREQ(kind->ifFeatures[0].featName, "fast");
    EXPECT_STREQ(kind->ifFeatures[1].modName, "m");
    EXPECT_STREQ(kind->ifFeatures[1].featName, "local");
    /* A condition that does not lex is kept as written, with a message. */
    EXPECT_STREQ(Top(mod, "l")->when, "$v = 'o:x'");
    EXPECT_EQ(LoadMessages(ctx_),
              (std::vector<std::string>{"Failed to transfer prefix to module name in statement \"when\"."}));
}

TEST_F(LoaderDataDef, RefusedModuleIsNotLoadedAndMessagesAreExact)
{
    const struct {
        const char *body;
        std::vector<std::string> messages;
    } cases[] = {
        {"<container name='c'><config value='true'/><config value='false'/></container>",
         {"Statement \"config\" under statement \"container\" has repeated.",
          "Failed to parse \"container\" statement \"c\"."}},
        {"<container name='c'><leaf name='x'><description><text>no type</text></description></leaf>"
         "</container>",
         {"leaf \"x\" must define with type statement.", "Failed to parse \"container\" statement \"c\"."}},
        {"<leaf-list name='xs'/>", {"leaf-list \"xs\" must define with type statement."}},
        {"<leaf name='x'><type name='uint8'><range value='-1..5'/></type></leaf>",
         {"Failed to parse value \"uint8\" of statement \"type\".", "Failed to parse \"leaf\" statement \"x\"."}},
        {"<augment target-node='o:x'><leaf name='l'><type name='string'/></leaf></augment>",
         {"Failed to get value of statement \"augment\"."}},
        {"<leaf name='l'><type name='string'/><if-feature name='o:f and o:g'/></leaf>",
         {"Failed to parse xpath \"o:f and o:g\".",
          "Failed to parse value \"o:f and o:g\" of statement \"if-feature\"."}},
        {"<leaf name='l'><type name='string'/><if-feature name='z:f'/></leaf>",
         {"Failed to find module by prefix \"z\".",
          "Failed to parse value \"z:f\" of statement \"if-feature\"."}},
        {"<leaf name='l'><type name='string'/><mandatory value='yes'/></leaf>",
         {"Failed to parse value \"yes\" of statement \"mandatory\".",
          "Failed to parse \"leaf\" statement \"l\"."}},
        {"<list name='l'><key value='a b'/><leaf name='a'><type name='string'/></leaf>"
         "<leaf-list name='b'><type name='string'/></leaf-list></list>",
         {"Failed to parse \"list\" statement \"l\"."}},
        {"<container/>", {"Failed to get value of statement \"container\"."}},
        {"<leaf name='l'><type name='string'/><must condition='x'><error-app-tag/></must></leaf>",
         {"Failed to get value of statement \"error-app-tag\".",
          "Failed to parse value \"x\" of statement \"must\"."}},
        {"<rpc name='r'><input/><input/></rpc>",
         {"Statement \"input\" under statement \"rpc\" has repeated.",
          "Failed to parse \"rpc\" statement \"r\"."}},
    };
    for (const auto &c : cases) {
        Reopen(0);
        EXPECT_EQ(Load(Module(c.body)), nullptr) << c.body;
        EXPECT_NE(status_, 0u) << c.body;
        EXPECT_EQ(LoadMessages(ctx_), c.messages) << c.body;
    }
}

} /* namespace */
