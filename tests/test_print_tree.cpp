// Schema tree printer: exact rows for every node kind, sections, alignment and buffering.

#include "print/kz_print.h"
#include "test_support.h"

namespace {

uint32_t failing(const char *, uint32_t, void *)
{
    return 1;
}

// Modules and nodes built by hand, so the printer is tested without the loader.
class PrintTree : public kztest::SchemaModTest {
protected:
    void TearDown() override
    {
        KZS_MOD_Free(mod); // before the other modules its nodes may name
        mod = nullptr;
        for (KzMod *m : others_) {
            KZS_MOD_Free(m);
        }
        SchemaModTest::TearDown();
    }

    KzsNode *node(uint32_t kind, const char *name, KzsNode *parent, KzMod *owner = nullptr, uint32_t flags = 0)
    {
        KzsNode *n = parent != nullptr ? NewNode(owner != nullptr ? owner : mod, kind, name, parent) : Top(kind, name);
        n->flags = flags;
        return n;
    }

    KzsNode *leaf(const char *name, KztBaseType type, KzsNode *parent, uint32_t flags = 0)
    {
        KzsNode *n = node(KZS_NODE_LEAF, name, parent, nullptr, flags);
        static_cast<KzsLeafInfo *>(n->schemaInfo)->realType.baseType = type;
        return n;
    }

    std::string print()
    {
        std::string out;
        EXPECT_EQ(KZ_MOD_PrintModelTree(mod, kztest::AppendText, &out), KZ_OK);
        return out;
    }

    std::vector<KzMod *> others_;
};

TEST_F(PrintTree, ContainerWithMandatoryAndOptionalLeavesAlignsTypes)
{
    KzsNode *c = node(KZS_NODE_CONTAINER, "c", nullptr);
    leaf("a", KZT_BASE_STRING, c, KZS_NODE_FLAG_MANDATORY_TRUE);
    leaf("bb", KZT_BASE_INT8, c);
    EXPECT_EQ(print(), "module: a\n"
                       "   +--rw c\n"
                       "      +--rw a     string\n"
                       "      +--rw bb?   int8\n");
}

TEST_F(PrintTree, SiblingBarsStatusMarksAndAccess)
{
    KzsNode *top = node(KZS_NODE_CONTAINER, "top", nullptr, nullptr, KZS_NODE_FLAG_PRESENCE);
    leaf("old", KZT_BASE_BOOLEAN, top, KZS_NODE_FLAG_DEPRECATED);
    leaf("gone", KZT_BASE_EMPTY, top, KZS_NODE_FLAG_OBSOLETE | KZS_NODE_FLAG_CONFIG_FALSE);
    KzsNode *state = node(KZS_NODE_CONTAINER, "state", nullptr, nullptr, KZS_NODE_FLAG_CONFIG_FALSE);
    leaf("up", KZT_BASE_UINT32, state, KZS_NODE_FLAG_CONFIG_FALSE);
    EXPECT_EQ(print(), "module: a\n"
                       "   +--rw top!\n"
                       "   |  x--rw old?    boolean\n"
                       "   |  o--ro gone?   empty\n"
                       "   +--ro state\n"
                       "      +--ro up?   uint32\n");
}

TEST_F(PrintTree, ListKeysLeafListAndAnydata)
{
    KzsNode *l = node(KZS_NODE_LIST, "item", nullptr);
    leaf("k1", KZT_BASE_STRING, l, KZS_NODE_FLAG_KEY);
    leaf("k2", KZT_BASE_UINT8, l, KZS_NODE_FLAG_KEY);
    KzsNode *ll = node(KZS_NODE_LEAFLIST, "tags", l);
    static_cast<KzsLeafListInfo *>(ll->schemaInfo)->realType.baseType = KZT_BASE_STRING;
    node(KZS_NODE_ANYDATA, "blob", l, nullptr, KZS_NODE_FLAG_MANDATORY_TRUE);
    l->keyCount = 2;
    EXPECT_EQ(print(), "module: a\n"
                       "   +--rw item* [k1 k2]\n"
                       "      +--rw k1      string\n"
                       "      +--rw k2      uint8\n"
                       "      +--rw tags*   string\n"
                       "      +--rw blob    anydata\n");
}

TEST_F(PrintTree, ChoiceWithRealAndShorthandCases)
{
    KzsNode *c = node(KZS_NODE_CONTAINER, "c", nullptr);
    KzsNode *ch = node(KZS_NODE_CHOICE, "how", c);
    static_cast<KzsChoiceInfo *>(ch->schemaInfo)->defaultCase = Intern("fast");
    KzsNode *fast = node(KZS_NODE_CASE, "fast", ch);
    leaf("speed", KZT_BASE_INT32, fast);
    leaf("slow", KZT_BASE_STRING, ch);
    EXPECT_EQ(print(), "module: a\n"
                       "   +--rw c\n"
                       "      +--rw (how)? <fast>\n"
                       "         +--:(fast)\n"
                       "         |  +--rw speed?   int32\n"
                       "         +--:(slow)\n"
                       "            +--rw slow?   string\n");
}

TEST_F(PrintTree, RpcsNotificationsAndForeignAugmentNodes)
{
    KzsNode *rpc = node(KZS_NODE_RPC, "reboot", nullptr);
    KzsNode *in = node(KZS_NODE_INPUT, "input", rpc);
    leaf("delay", KZT_BASE_UINT16, in);
    KzsNode *out = node(KZS_NODE_OUTPUT, "output", rpc);
    leaf("when", KZT_BASE_STRING, out);

    KzsNode *n = node(KZS_NODE_NOTIF, "restarted", nullptr);
    KzMod *other = others_.emplace_back(NewModule("ext", "ext"));
    node(KZS_NODE_LEAF, "reason", n, other);
    static_cast<KzsLeafInfo *>(n->firstChild->schemaInfo)->realType.baseType = KZT_BASE_STRING;

    EXPECT_EQ(print(), "module: a\n"
                       "rpcs:\n"
                       "   +---x reboot\n"
                       "      +---w input\n"
                       "      |  +---w delay?   uint16\n"
                       "      +--ro output\n"
                       "         +--ro when?   string\n"
                       "notifications:\n"
                       "   +---n restarted\n"
                       "      +--ro ext:reason?   string\n");
}

TEST_F(PrintTree, BranchOfOneNodeShowsAncestorsOnlyAndFailuresReportTheirStatus)
{
    KzsNode *a = node(KZS_NODE_CONTAINER, "a", nullptr);
    node(KZS_NODE_CONTAINER, "zz", nullptr);
    KzsNode *b = node(KZS_NODE_CONTAINER, "b", a);
    leaf("x", KZT_BASE_STRING, a);
    leaf("y", KZT_BASE_STRING, b);
    std::string out;
    ASSERT_EQ(KZ_NODE_PrintNodesTree(b, kztest::AppendText, &out), KZ_OK);
    EXPECT_EQ(out, "module: a\n"
                   "   +--rw a\n"
                   "      +--rw b\n"
                   "         +--rw y?   string\n");

    // A missing callback or node, and a failing callback, end with their status.
    EXPECT_EQ(KZ_MOD_PrintModelTree(mod, nullptr, nullptr), KZ_EINVAL);
    EXPECT_EQ(KZ_MOD_PrintModelTree(mod, failing, nullptr), KZ_ERR);
    EXPECT_EQ(KZ_NODE_PrintNodesTree(nullptr, kztest::AppendText, nullptr), KZ_EINVAL);
}

TEST_F(PrintTree, LargeModuleIsFlushedInChunksWithoutChangingTheText)
{
    std::string expected = "module: a\n";
    for (int i = 0; i < 600; ++i) {
        std::string name = "leaf" + std::to_string(1000 + i);
        leaf(name.c_str(), KZT_BASE_STRING, nullptr);
        expected += "   +--rw " + name + "?   string\n";
    }
    std::vector<std::string> chunks;
    auto collect = [](const char *text, uint32_t len, void *arg) -> uint32_t {
        static_cast<std::vector<std::string> *>(arg)->emplace_back(text, len);
        return 0;
    };
    ASSERT_EQ(KZ_MOD_PrintModelTree(mod, collect, &chunks), KZ_OK);
    EXPECT_GE(chunks.size(), 3u);
    std::string all;
    for (const auto &chunk : chunks) {
        EXPECT_LE(chunk.size(), KZS_PRINT_BUF_SIZE);
        all += chunk;
    }
    EXPECT_EQ(all, expected);
}

} // namespace
