// Loading modules by name from search directories: messages of each failure,
// merge sources across loads, registration refusals and imports.

#include "test_support.h"

using kztest::Diagnostics;
using kztest::LoadMessages;
using kztest::Module;
using kztest::ScratchDir;

namespace {

using Names = std::vector<std::string>;

class LoaderLoad : public kztest::CtxTest {
protected:
    void Open(uint32_t flags)
    {
        Reopen(flags);
        ASSERT_EQ(KZ_CTX_SetSearchDir(ctx_, dir_.Path().c_str()), 0u);
    }
    void SetUp() override { Open(0); }

    KzMod *Mod(const char *name) { return KZ_CTX_GetModuleByModName(ctx_, name); }

    static std::string Import(const std::string &name) { return kztest::Imports({name}); }
    static std::string Leaf(const std::string &name)
    {
        return "<leaf name=\"" + name + "\"><type name=\"string\"/></leaf>";
    }

    ScratchDir dir_;
};

} // namespace

TEST_F(LoaderLoad, EachFailureLeavesItsDiagnostics)
{
    struct Case {
        const char *name;
        const char *file; // written as <name>.yin when not null
        uint32_t status;
        std::vector<kztest::Diag> diags;
    };
    const Case cases[] = {
        {"absent", nullptr, 2, {{"absent", "", 1, "Module \"absent\" not found from search directories."}}},
        {"m", "other", 22, {{"m", "m.yin", 0, "Failed to parse module \"m\" from the yin file."}}},
        {"broken", "<module name=\"broken\"", 22,
         {{"broken", "broken.yin", 0, "Failed to read content from the yin file. Line 1: attributes construct error"},
          {"broken", "broken.yin", 0, "Failed to parse module \"broken\" from the yin file."}}},
        // The first error named is the repeated ID, met before the cut-off text.
        {"ids", "<module name=\"ids\" xml:id=\"a\"><leaf xml:id=\"a\"/><leaf", 22,
         {{"ids", "ids.yin", 0, "Failed to read content from the yin file. Line 1: ID a already defined"},
          {"ids", "ids.yin", 0, "Failed to parse module \"ids\" from the yin file."}}},
        {"sub", "<submodule name=\"sub\" xmlns=\"urn:ietf:params:xml:ns:yang:yin:1\"/>", 22,
         {{"sub", "sub.yin", 0, "Failed to parse module \"sub\" from the yin file."}}},
    };
    for (const Case &c : cases) {
        Open(0);
        if (c.file != nullptr) {
            // A file holding another module's text is refused by its name.
            dir_.Write(std::string(c.name) + ".yin", std::string(c.file) == "other" ? Module("other", "") : c.file);
        }
        EXPECT_EQ(KZ_CTX_LoadModule(ctx_, c.name), c.status) << c.name;
        EXPECT_EQ(Diagnostics(ctx_), c.diags) << c.name;
        EXPECT_EQ(Mod(c.name), nullptr);
    }
    EXPECT_EQ(Mod("other"), nullptr);
    EXPECT_EQ(KZ_CTX_LoadModule(nullptr, "absent"), 22u);
    EXPECT_EQ(KZ_CTX_LoadModule(ctx_, nullptr), 22u);
}

// A load after a failed one starts with clean diagnostics; a registered
// one-file module is not read again.
TEST_F(LoaderLoad, FreshLoadStartsCleanAndRegisteredModuleIsNotReadAgain)
{
    EXPECT_EQ(KZ_CTX_LoadModule(ctx_, "m"), 2u);
    dir_.Write("m.yin", Module("m", "  <container name=\"c\"/>\n"));
    EXPECT_EQ(KZ_CTX_LoadModule(ctx_, "m"), 0u);
    EXPECT_TRUE(Diagnostics(ctx_).empty());
    KzMod *first = Mod("m");
    ASSERT_NE(first, nullptr);
    EXPECT_NE(KZS_MOD_FindTopLevelSchemaNode(first, "c"), nullptr);
    dir_.Write("m.yin", "not xml at all");
    EXPECT_EQ(KZ_CTX_LoadModule(ctx_, "m"), 0u);
    EXPECT_EQ(Mod("m"), first);
    EXPECT_TRUE(Diagnostics(ctx_).empty());
}

TEST_F(LoaderLoad, MergeSourcesAndALaterLoadOfOnlyTheNewOne)
{
    dir_.Write("m@@a.yin", Module("m", "  <container name=\"c\">" + Leaf("x") + "</container>\n"));
    dir_.Write("m@@b.yin", Module("m", "  <container name=\"c\">" + Leaf("x") + Leaf("y") + "</container>\n"));
    ASSERT_EQ(KZ_CTX_LoadModule(ctx_, "m"), 0u);
    KzMod *mod = Mod("m");
    ASSERT_NE(mod, nullptr);
    ASSERT_EQ(mod->mrgSrcCount, 2);
    EXPECT_STREQ(mod->mrgSrcs[0], "a");
    EXPECT_STREQ(mod->mrgSrcs[1], "b");
    KzsNode *c = KZS_MOD_FindTopLevelSchemaNode(mod, "c");
    ASSERT_NE(c, nullptr);
    EXPECT_NE(KZS_NODE_FindChildNodeByName(c, nullptr, "y"), nullptr);

    // Sources already merged are not read again: breaking one shows it.
    dir_.Write("m@@a.yin", "broken");
    dir_.Write("m@@c.yin",
               Module("m", "  <container name=\"c\">" + Leaf("x") + Leaf("y") + Leaf("z") + "</container>\n"));
    EXPECT_EQ(KZ_CTX_LoadModule(ctx_, "m"), 0u);
    EXPECT_TRUE(Diagnostics(ctx_).empty());
    EXPECT_EQ(Mod("m"), mod);
    ASSERT_EQ(mod->mrgSrcCount, 3);
    EXPECT_STREQ(mod->mrgSrcs[2], "c");
    EXPECT_NE(KZS_NODE_FindChildNodeByName(c, nullptr, "z"), nullptr);
}

TEST_F(LoaderLoad, FailingMergeSourceKeepsWhatWasMergedBefore)
{
    dir_.Write("m@@a.yin", Module("m", "  <container name=\"c\"/>\n"));
    dir_.Write("m@@b.yin", Module("wrong", ""));
    EXPECT_EQ(KZ_CTX_LoadModule(ctx_, "m"), 0u); // the status is that of registering what was merged
    ASSERT_NE(Mod("m"), nullptr);
    EXPECT_EQ(LoadMessages(ctx_, "m"), Names({"Failed to parse module \"m\" from the yin file."}));
    ASSERT_EQ(Mod("m")->mrgSrcCount, 1);
    EXPECT_STREQ(Mod("m")->mrgSrcs[0], "a");
}

TEST_F(LoaderLoad, NamespaceAlreadyRegisteredIsRefused)
{
    dir_.Write("one.yin", Module("one", "", "p"));
    std::string two = Module("two", "", "p");
    two.replace(two.find("urn:test:two\"/>"), 12, "urn:test:one");
    dir_.Write("two.yin", two);
    ASSERT_EQ(KZ_CTX_LoadModule(ctx_, "one"), 0u);
    EXPECT_EQ(KZ_CTX_LoadModule(ctx_, "two"), 1u);
    EXPECT_EQ(Mod("two"), nullptr);
    EXPECT_EQ(LoadMessages(ctx_, "two"), Names({"Failed to load module \"two\"."}));
}

TEST_F(LoaderLoad, LoadMemoryKeepsTheFirstModule)
{
    const std::string first = Module("mem", "  <container name=\"first\"/>\n");
    const std::string second = Module("mem", "  <container name=\"second\"/>\n");
    EXPECT_EQ(KZ_CTX_LoadMemory(ctx_, first.c_str()), 0u);
    EXPECT_EQ(KZ_CTX_LoadMemory(ctx_, second.c_str()), 0u);
    ASSERT_NE(Mod("mem"), nullptr);
    EXPECT_NE(KZS_MOD_FindTopLevelSchemaNode(Mod("mem"), "first"), nullptr);
    EXPECT_EQ(KZS_MOD_FindTopLevelSchemaNode(Mod("mem"), "second"), nullptr);

    EXPECT_EQ(KZ_CTX_LoadMemory(ctx_, "<module"), 22u);
    EXPECT_EQ(KZ_CTX_LoadMemory(ctx_, "<submodule name=\"s\"/>"), 1u);
    EXPECT_EQ(KZ_CTX_LoadMemory(ctx_, nullptr), 22u);
    EXPECT_EQ(KZ_CTX_LoadMemory(nullptr, first.c_str()), 22u);
}

// Only a load by name with the option loads imports, transitively.
TEST_F(LoaderLoad, ImportsAreLoadedOnlyWithTheOption)
{
    dir_.Write("top.yin", Module("top", Import("mid")));
    dir_.Write("mid.yin", Module("mid", Import("leaf")));
    dir_.Write("leaf.yin", Module("leaf", ""));
    ASSERT_EQ(KZ_CTX_LoadModule(ctx_, "top"), 0u);
    EXPECT_EQ(Mod("mid"), nullptr);

    Open(KZ_CTX_OPT_LOAD_IMPORTS);
    EXPECT_EQ(KZ_CTX_LoadMemory(ctx_, Module("mem", Import("mid")).c_str()), 0u);
    EXPECT_NE(Mod("mem"), nullptr);
    EXPECT_EQ(Mod("mid"), nullptr) << "a load from memory loads no imports";
    ASSERT_EQ(KZ_CTX_LoadModule(ctx_, "top"), 0u);
    EXPECT_NE(Mod("mid"), nullptr);
    EXPECT_NE(Mod("leaf"), nullptr);
    EXPECT_TRUE(Diagnostics(ctx_).empty());
}

TEST_F(LoaderLoad, ImportsLoadBreadthFirstAndStopAtTheFirstFailureUnlessIgnored)
{
    // top imports b and c; b imports the missing x. Breadth-first, c is loaded
    // before x fails; the walk then stops and nothing after x is loaded.
    dir_.Write("top.yin", Module("top", Import("b") + Import("c")));
    dir_.Write("b.yin", Module("b", Import("x")));
    dir_.Write("c.yin", Module("c", Import("d") + Import("b")));
    dir_.Write("d.yin", Module("d", ""));
    Open(KZ_CTX_OPT_LOAD_IMPORTS);
    EXPECT_EQ(KZ_CTX_LoadModule(ctx_, "top"), 2u);
    EXPECT_NE(Mod("top"), nullptr);
    EXPECT_NE(Mod("b"), nullptr);
    EXPECT_NE(Mod("c"), nullptr);
    EXPECT_EQ(Mod("d"), nullptr);
    EXPECT_EQ(LoadMessages(ctx_, "x"), Names({"Module \"x\" not found from search directories."}));
    EXPECT_TRUE(LoadMessages(ctx_, "top").empty());

    Open(KZ_CTX_OPT_LOAD_IMPORTS | KZ_CTX_OPT_IGNORE_IMPORT_ERR);
    EXPECT_EQ(KZ_CTX_LoadModule(ctx_, "top"), 0u);
    EXPECT_NE(Mod("d"), nullptr);
    EXPECT_EQ(Mod("x"), nullptr);
}

TEST_F(LoaderLoad, PendingImportsSkipRegisteredAndPendingNames)
{
    dir_.Write("top.yin", Module("top", Import("a") + Import("b") +
                                           "  <import module=\"a\"><prefix value=\"again\"/></import>\n"));
    dir_.Write("a.yin", Module("a", ""));
    dir_.Write("b.yin", Module("b", ""));
    ASSERT_EQ(KZ_CTX_LoadModule(ctx_, "top"), 0u);
    ASSERT_EQ(KZ_CTX_LoadModule(ctx_, "b"), 0u);

    ModPendTbl tbl;
    KZS_LOADER_InitModPendTbl(&tbl);
    ASSERT_EQ(KZS_LOADER_AppendNyModImportsAsPending(ctx_, &tbl, "top"), 0u);
    ASSERT_EQ(tbl.count, 1u);
    EXPECT_STREQ(tbl.first->moduleName, "a");
    EXPECT_EQ(KZS_LOADER_AppendNyModImportsAsPending(ctx_, &tbl, "unknown"), 2u);
    KZS_LOADER_DeInitModPendTbl(&tbl);
}
