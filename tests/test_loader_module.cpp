/* Module header, linkage and body arrays; submodules read from a search
 * directory into the including module's record. */

#include <cstdlib>
#include <fstream>

#include "test_support.h"

namespace {

using kztest::LoadMessages;

std::string ModuleText(const std::string &name, const std::string &body)
{
    return "<module name=\"" + name + "\" xmlns=\"" + kztest::kYinNs + "\" xmlns:o=\"urn:o\">" + body +
           "</module>";
}

std::string SubmoduleText(const std::string &name, const std::string &body)
{
    return "<submodule name=\"" + name + "\" xmlns=\"" + kztest::kYinNs +
           "\"><belongs-to module=\"m\"><prefix value=\"m\"/></belongs-to>" + body + "</submodule>";
}

std::vector<std::string> TypedefNames(const KzMod *mod)
{
    std::vector<std::string> names;
    for (uint16_t i = 0; i < mod->typedefCount; i++) {
        names.emplace_back(mod->typedefs[i].name);
    }
    return names;
}

class LoaderModule : public kztest::CtxTest {
protected:
    KzMod *LoadText(const std::string &text, const char *name = "m") { return LoadAs(text, name); }

    /* Writes name.yin into a private search directory known to the context. */
    void WriteFile(const std::string &name, const std::string &text)
    {
        if (!searched_) {
            ASSERT_EQ(KZ_CTX_SetSearchDir(ctx_, dir_.Path().c_str()), 0u);
            searched_ = true;
        }
        dir_.Write(name + ".yin", text);
    }

    /* Parses a module text straight into a fresh record and returns the body status. */
    uint32_t ParseBody(const std::string &text)
    {
        kztest::DocPtr doc = kztest::ParseXml(text);
        EXPECT_NE(doc, nullptr);
        auto *mod = static_cast<KzMod *>(KZ_MemMalloc(sizeof(KzMod)));
        *mod = KzMod{};
        mod->ctx = ctx_;
        mod->name = KZ_DICT_Insert(&ctx_->dict, "m");
        uint32_t ret = KZS_LOADER_ParseModuleContent(mod, xmlDocGetRootElement(doc.get()), nullptr);
        KZS_MOD_Free(mod);
        return ret;
    }

    kztest::ScratchDir dir_;
    bool searched_ = false;
};

TEST_F(LoaderModule, HeaderValuesAndFirstRevision)
{
    KzMod *mod = LoadText(ModuleText(
        "m", "<yang-version value='1.1'/><namespace uri='urn:m'/><prefix value='m'/>"
             "<organization><text>Org</text></organization><description><text>about</text></description>"
             "<revision date='2024-02-02'><sv:version xmlns:sv='urn:ietf:params:xml:ns:yang:ietf-yang-semver'"
             " value='1.2.3-0123456789012345678901234567890'/></revision>"
             "<revision date='2023-01-01'/>"));
    ASSERT_NE(mod, nullptr) << status_;
    EXPECT_EQ(mod->yangVersion, 1u);
    EXPECT_STREQ(mod->ns, "urn:m");
    EXPECT_STREQ(mod->prefix, "m");
    EXPECT_STREQ(mod->revision, "2024-02-02");
    EXPECT_STREQ(mod->semVer, "1.2.3-01234567890123456789012345");
    EXPECT_STREQ(mod->organization, "Org");
    EXPECT_EQ(mod->description, nullptr); /* kept only with the context option */
}

TEST_F(LoaderModule, HeaderFailures)
{
    const struct {
        const char *body;
        uint32_t status;
        std::vector<std::string> messages;
    } cases[] = {
        {"<yang-version value='1.0'/><namespace uri='urn:m'/>", 0xFFFFFFFFu,
         {"Failed to parse value \"1.0\" of statement \"yang-version\".",
          "Failed to parse statement \"yang-version\"."}},
        {"<prefix value='a'/><namespace uri='urn:m'/><prefix value='b'/>", 1u,
         {"Statement \"prefix\" under statement \"module\" has repeated."}},
        {"<namespace/>", 22u,
         {"Failed to get value of statement \"namespace\".", "Failed to parse statement \"namespace\"."}},
        {"<description><text>a</text></description><description><text>b</text></description>", 1u,
         {"Statement \"description\" under statement \"module\" has repeated."}},
        {"<import module='x'><prefix/></import>", 22u,
         {"Failed to get value of statement \"prefix\".", "Failed to parse value \"x\" of statement \"import\"."}},
    };
    for (const auto &c : cases) {
        Reopen(0);
        EXPECT_EQ(ParseBody(ModuleText("m", c.body)), c.status) << c.body;
        EXPECT_EQ(LoadMessages(ctx_), c.messages) << c.body;
    }
}

TEST_F(LoaderModule, BodyArraysCollectInDocumentOrderAndImportsSkipExactDuplicates)
{
    std::string body = "<namespace uri='urn:m'/><prefix value='m'/><import module='other'><prefix value='o'/></import>"
                       "<import module='a'><prefix value='p'/></import><import module='a'><prefix value='p'/></import>"
                       "<import module='b'><prefix value='p'/></import><import module='c'/>";
    for (const char *t : {"t1", "t2", "t3", "t4", "t5"}) {
        body += std::string("<typedef name='") + t + "'><type name='string'/></typedef>";
    }
    body += "<feature name='f1'/><identity name='i1'/><feature name='f2'/><extension name='e1'/>"
            "<o:note xmlns:o='urn:o' value='v'/><q:skip xmlns:q='urn:q'/>";
    KzMod *mod = LoadText(ModuleText("m", body));
    ASSERT_NE(mod, nullptr) << status_;
    ASSERT_EQ(mod->importCount, 4u);
    EXPECT_STREQ(mod->imports[1].modName, "a");
    EXPECT_STREQ(mod->imports[2].modName, "b");
    EXPECT_STREQ(mod->imports[3].modName, "c");
    EXPECT_EQ(mod->imports[3].prefix, nullptr);
    EXPECT_EQ(TypedefNames(mod), (std::vector<std::string>{"t1", "t2", "t3", "t4", "t5"}));
    ASSERT_EQ(mod->featureCount, 2u);
    EXPECT_STREQ(mod->features[1].name, "f2");
    EXPECT_EQ(mod->identityCount, 1u);
    EXPECT_EQ(mod->extensionCount, 1u);
    /* the element whose prefix names no import is passed over */
    ASSERT_EQ(mod->extInstCount, 1u);
    EXPECT_STREQ(mod->extInsts[0].modName, "other");
    EXPECT_STREQ(mod->extInsts[0].extName, "note");
}

TEST_F(LoaderModule, IdentityrefDefaultsBecomeModuleQualifiedOrFailTheLeaf)
{
    KzMod *mod = LoadText(ModuleText(
        "m", "<namespace uri='urn:m'/><prefix value='m'/><import module='other'><prefix value='o'/></import>"
             "<identity name='eth'/>"
             "<leaf name='l'><type name='identityref'><base name='m:eth'/></type><default value='o:fast'/></leaf>"
             "<leaf-list name='ll'><type name='identityref'><base name='m:eth'/></type>"
             "  <default value='eth'/><default value='o:slow'/></leaf-list>"
             "<leaf name='s'><type name='string'/><default value='o:kept'/></leaf>"));
    ASSERT_NE(mod, nullptr) << status_ << " " << (LoadMessages(ctx_).empty() ? "" : LoadMessages(ctx_)[0]);
    const KzsNode *l = mod->dataNodes;
    ASSERT_NE(l, nullptr);
    EXPECT_STREQ(static_cast<const KzsLeafInfo *>(l->schemaInfo)->dflt, "other:fast");
    const auto *ll = static_cast<const KzsLeafListInfo *>(l->next->schemaInfo);
    ASSERT_EQ(ll->defaultCount, 2u);
    EXPECT_STREQ(ll->defaults[0], "m:eth");
    EXPECT_STREQ(ll->defaults[1], "other:slow");
    EXPECT_STREQ(static_cast<const KzsLeafInfo *>(l->next->next->schemaInfo)->dflt, "o:kept");

    /* A prefix that names no module fails the leaf. */
    Reopen(0);
    EXPECT_EQ(LoadText(ModuleText("m", "<namespace uri='urn:m'/><prefix value='m'/><identity name='eth'/>"
                                       "<leaf name='l'><type name='identityref'><base name='m:eth'/></type>"
                                       "<default value='zz:fast'/></leaf>")),
              nullptr);
    EXPECT_EQ(LoadMessages(ctx_), (std::vector<std::string>{"Failed to parse value \"zz:fast\" of statement \"default\".",
                                                            "Failed to parse \"leaf\" statement \"l\"."}));
}

TEST_F(LoaderModule, SubmodulesLoadIntoTheIncludingModule)
{
    WriteFile("s1", SubmoduleText("s1", "<include module='s2'/><include module='s1'/>"
                                        "<typedef name='sub-t'><type name='string'/></typedef>"
                                        "<container name='from-s1'/><uses name='g'/>"));
    WriteFile("s2", SubmoduleText("s2", "<leaf name='from-s2'><type name='string'/></leaf>"));
    const std::string text =
        ModuleText("m", "<namespace uri='urn:m'/><prefix value='m'/><include module='s1'/><include module='s1'/>"
                        "<typedef name='own-t'><type name='string'/></typedef><container name='own'/>");
    WriteFile("m", text);

    ASSERT_EQ(KZ_CTX_LoadModule(ctx_, "m"), 0u) << (LoadMessages(ctx_).empty() ? "" : LoadMessages(ctx_)[0]);
    KzMod *mod = KZ_CTX_GetModuleByModName(ctx_, "m");
    ASSERT_NE(mod, nullptr);
    ASSERT_EQ(mod->includeCount, 2u);
    EXPECT_STREQ(mod->includes[0], "s1");
    EXPECT_STREQ(mod->includes[1], "s2");
    /* submodules are read during linkage, before the module's own body */
    EXPECT_EQ(kztest::SiblingNames(mod->dataNodes), (std::vector<std::string>{"from-s2", "from-s1", "own"}));
    EXPECT_EQ(TypedefNames(mod), (std::vector<std::string>{"sub-t", "own-t"}));
    EXPECT_TRUE(LoadMessages(ctx_).empty());

    /* the same files through the in-memory entry */
    Reopen(0);
    ASSERT_EQ(KZ_CTX_SetSearchDir(ctx_, dir_.Path().c_str()), 0u);
    mod = LoadText(text);
    ASSERT_NE(mod, nullptr) << status_;
    EXPECT_EQ(kztest::SiblingNames(mod->dataNodes), (std::vector<std::string>{"from-s2", "from-s1", "own"}));
}

TEST_F(LoaderModule, SubmoduleFailures)
{
    WriteFile("notsub", ModuleText("notsub", "<namespace uri='urn:x'/>"));
    EXPECT_EQ(LoadText(ModuleText("m", "<prefix value='m'/><include module='nosuch'/>")), nullptr);
    EXPECT_EQ(LoadMessages(ctx_), (std::vector<std::string>{"Failed to load submodule \"nosuch\".",
                                                            "Failed to parse statement \"include\"."}));
    Reopen(0);
    ASSERT_EQ(KZ_CTX_SetSearchDir(ctx_, dir_.Path().c_str()), 0u);
    EXPECT_EQ(LoadText(ModuleText("m", "<prefix value='m'/><include module='notsub'/>")), nullptr);
    EXPECT_EQ(LoadMessages(ctx_), (std::vector<std::string>{"Failed to load submodule \"notsub\".",
                                                            "Failed to parse statement \"include\"."}));
    Reopen(0);
    EXPECT_EQ(LoadText(ModuleText("m", "<prefix value='m'/><include/>")), nullptr);
    EXPECT_EQ(LoadMessages(ctx_), (std::vector<std::string>{"Failed to get value of statement \"include\".",
                                                            "Failed to parse statement \"include\"."}));
}

} /* namespace */
