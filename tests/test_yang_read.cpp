// The YANG text front end: the argument text each lexical rule gives, the
// position and message of each syntax fault, the YIN form of extension
// instances, and where the loader finds .yang files.

#include <fcntl.h>
#include <sys/stat.h>

#include "test_support.h"
#include "base/kz_dir_cache.h"
#include "yang/kz_yang_read.h"

using kztest::ScratchDir;
using kztest::DocPtr;

namespace {

DocPtr Read(const std::string &text, std::string *error, const std::vector<std::string> &dirs = {})
{
    return DocPtr(kz::yang::ReadYang(text.data(), text.size(), "f.yang", dirs, error));
}

// XML text of a node, for comparing whole YIN forms.
std::string Dump(xmlNode *node)
{
    xmlBuffer *buf = xmlBufferCreate();
    xmlNodeDump(buf, node->doc, node, 0, 0);
    std::string out(reinterpret_cast<const char *>(xmlBufferContent(buf)));
    xmlBufferFree(buf);
    return out;
}

const char *kHeader11 = "module t {\n  yang-version 1.1;\n  namespace urn:t;\n  prefix t;\n";
const char *kHeader10 = "module t {\n  namespace urn:t;\n  prefix t;\n";

} // namespace

TEST(YangRead, LexicalRulesGiveTheExactArgument)
{
    // "  description " puts the opening quote at column 14: continuation lines
    // lose up to 15 columns of indentation, a tab counting 8.
    struct Case {
        const char *header;
        const char *arg;
        const char *text;
    } cases[] = {
        {kHeader11, "plain", "plain"},
        {kHeader11, "a/b:c/*x*/", "a/b:c"},
        {kHeader11, "'it''s' + \"x\"", nullptr},  // two strings without '+' between: a fault (below)
        {kHeader11, "'a\\n \"b\"  \n c'", "a\\n \"b\"  \n c"},
        {kHeader11, "\"t\\tn\\nq\\\"b\\\\\"", "t\tn\nq\"b\\"},
        {kHeader11, "\"ab\" + 'cd'\n  + /* c */ \"e\" // x\n", "abcde"},
        {kHeader11, "\"first\n                second\"", "first\n second"},
        {kHeader11, "\"first\n    second\"", "first\nsecond"},
        {kHeader11, "\"first\n\t        second\"", "first\n second"},
        {kHeader11, "\"first\n\t\tsecond\"", "first\n second"},
        {kHeader11, "\"a  \t\n   b \\t\n\"", "a\nb \t\n"},
        {kHeader11, "\"a\r\n  b\"", "a\nb"},
        {kHeader11, "'a\r\nb\rc'", "a\nb\nc"},
        {kHeader11, "\"\"", ""},
        {kHeader10, "\"a\\d\\n\"", "a\\d\n"},  // YANG 1 keeps an unknown escape
    };
    for (const Case &c : cases) {
        std::string error;
        DocPtr doc = Read(std::string(c.header) + "  description " + c.arg + ";\n}\n", &error);
        if (c.text == nullptr) {
            EXPECT_EQ(doc, nullptr) << c.arg;
            continue;
        }
        ASSERT_NE(doc, nullptr) << c.arg << ": " << error;
        xmlNode *text = xmlDocGetRootElement(doc.get())->last->children;
        ASSERT_NE(text, nullptr) << c.arg;
        EXPECT_STREQ(reinterpret_cast<const char *>(text->name), "text");
        xmlChar *content = xmlNodeGetContent(text);
        EXPECT_STREQ(reinterpret_cast<const char *>(content), c.text) << c.arg;
        xmlFree(content);
    }
}

TEST(YangRead, ArgumentsTakeTheirYinForm)
{
    std::string error;
    DocPtr doc = Read(std::string(kHeader11) +
                          "  container c { presence \"p\"; must 'x' { error-message m; } }\n"
                          "  rpc r { input { leaf l { type string; } } }\n}\n",
                      &error);
    ASSERT_NE(doc, nullptr) << error;
    xmlNode *root = xmlDocGetRootElement(doc.get());
    EXPECT_EQ(Dump(root->last->prev),
              "<container name=\"c\"><presence value=\"p\"/><must condition=\"x\"><error-message>"
              "<value>m</value></error-message></must></container>");
    EXPECT_EQ(Dump(root->last),
              "<rpc name=\"r\"><input><leaf name=\"l\"><type name=\"string\"/></leaf></input></rpc>");
    EXPECT_STREQ(reinterpret_cast<const char *>(root->ns->href), "urn:ietf:params:xml:ns:yang:yin:1");
}

TEST(YangRead, EachSyntaxFaultNamesItsPlace)
{
    std::string deep = "module t {\n";
    for (int i = 0; i < 300; i++) {
        deep += "container c {\n";
    }
    struct Case {
        std::string text;
        const char *error;
    } cases[] = {
        {"module t {\n  description \"abc;\n}\n", "f.yang:2:15: unterminated string"},
        {"module t {\n  description 'abc;\n}\n", "f.yang:2:15: unterminated string"},
        {"module t {\n  /* note\n}\n", "f.yang:2:3: unterminated comment"},
        {"module t {\n  leaf;\n}\n", "f.yang:2:7: missing argument of \"leaf\""},
        {"module t {\n  prefix t\n  namespace x;\n}\n", "f.yang:3:3: missing \";\" or \"{\" after \"prefix\""},
        {"module t {\n  container c {\n", "f.yang:3:1: missing \"}\" for the block of \"container\" opened at line 2"},
        {"module t {\n}\n}\n", "f.yang:3:1: unexpected \"}\""},
        {"module t {\n}\nleaf x;\n", "f.yang:3:1: text after the end of the module"},
        {"module t {\n  lefa x;\n}\n", "f.yang:2:3: unknown keyword \"lefa\""},
        {"module t {\n  a:b:c x;\n}\n", "f.yang:2:3: invalid extension keyword \"a:b:c\""},
        {std::string(kHeader11) + "  description \"a\\qb\";\n}\n", "f.yang:5:17: bad escape \"\\q\" in a double-quoted string"},
        {"module t {\n  description \"\xC3\x28\";\n}\n", "f.yang:2:16: invalid UTF-8 or control character"},
        {"module t {\n  description \"\x01\";\n}\n", "f.yang:2:16: invalid UTF-8 or control character"},
        {"module t {\n  x:e;\n}\n", "f.yang:2:3: unknown prefix \"x\""},
        {"module t {\n  rpc r { input i; }\n}\n", "f.yang:2:17: \"input\" takes no argument"},
        {"module t {\n  description \"a\" + b;\n}\n", "f.yang:2:21: a quoted string must follow \"+\""},
        {"module t {\n  pattern a'b;\n}\n", "f.yang:2:12: a quote inside an unquoted string"},
        {"container t;\n", "f.yang:1:1: a module or submodule statement expected"},
        {"// nothing\n", "f.yang:1:1: no module or submodule statement"},
        {"module t {\n  ;\n}\n", "f.yang:2:3: a keyword expected before \";\""},
        {deep, "f.yang:257:1: statements nested deeper than 256 levels"},
    };
    for (const Case &c : cases) {
        std::string error;
        DocPtr doc = Read(c.text, &error);
        EXPECT_EQ(doc, nullptr) << c.error;
        EXPECT_EQ(error, c.error);
    }
}

TEST(YangRead, ExtensionInstancesTakeTheFormOfTheirDefinition)
{
    ScratchDir dir;
    dir.Write("ext@2020-01-01.yang",
              "module ext { namespace urn:ext; prefix e;\n"
              "  extension attr { argument name; }\n"
              "  extension elem { argument text { yin-element true; } }\n"
              "  extension bare;\n}\n");
    std::string error;
    DocPtr doc = Read("module m { namespace urn:m; prefix m;\n"
                      "  import ext { prefix x; }\n  import gone { prefix g; }\n"
                      "  x:attr a1; x:elem \"t1\" { description d; } x:bare; x:undefined u1;\n"
                      "  m:own o1; g:ext g1;\n"
                      "  extension own { argument val { yin-element false; } }\n}\n",
                      &error, {dir.Path()});
    ASSERT_NE(doc, nullptr) << error;
    std::vector<std::string> got;
    for (xmlNode *n = xmlDocGetRootElement(doc.get())->children; n != nullptr; n = n->next) {
        if (n->ns != nullptr && n->ns->prefix != nullptr) {
            got.push_back(Dump(n));
        }
    }
    const std::vector<std::string> want = {
        "<x:attr name=\"a1\"/>",
        "<x:elem><x:text>t1</x:text><description><text>d</text></description></x:elem>",
        "<x:bare/>",
        "<x:undefined value=\"u1\"/>",  // no such extension in its module: the fallback form
        "<m:own val=\"o1\"/>",          // defined further on in the same module
        "<g:ext value=\"g1\"/>",        // module not found: the fallback form
    };
    EXPECT_EQ(got, want);
    const std::string root = Dump(xmlDocGetRootElement(doc.get()));
    EXPECT_NE(root.find("xmlns:m=\"urn:m\" xmlns:x=\"urn:ext\" xmlns:g=\"urn:korla:unresolved-module:gone\""),
              std::string::npos)
        << root.substr(0, 200);
}

TEST(YangRead, LoaderFindsYangAfterYin)
{
    auto module = [](const std::string &name, const std::string &leaf) {
        return "module " + name + " { namespace urn:" + name + "; prefix p;\n  leaf " + leaf + " { type string; }\n}\n";
    };
    struct Case {
        std::vector<std::pair<int, std::string>> files; // directory index, file name
        const char *leaf;                               // the leaf of the file that must be read
    } cases[] = {
        {{{0, "m.yang"}, {0, "m.yin"}}, "yin"},
        {{{0, "m@2021-01-01.yang"}, {0, "m.yang"}}, "m_yang"},
        {{{0, "m@2019-05-01.yang"}, {0, "m@2021-01-01.yang"}, {0, "m@2020-12-31.yang"}}, "m_2021_01_01_yang"},
        {{{0, "m@2019-05-01.yang"}, {1, "m.yang"}}, "m_2019_05_01_yang"},
        {{{1, "m.yin"}, {0, "m.yang"}}, "yin"},
    };
    for (const Case &c : cases) {
        ScratchDir dirs[2];
        for (const auto &[index, file] : c.files) {
            std::string leaf = file;
            for (char &ch : leaf) {
                ch = (ch == '.' || ch == '@' || ch == '-') ? '_' : ch;
            }
            if (file == "m.yin") {
                dirs[index].Write(file, kztest::Module("m", "<leaf name=\"yin\"><type name=\"string\"/></leaf>", "p"));
            } else {
                dirs[index].Write(file, module("m", leaf));
            }
        }
        kztest::Ctx ctx(0);
        ASSERT_EQ(KZ_CTX_SetSearchDir(ctx, dirs[0].Path().c_str()), 0u);
        ASSERT_EQ(KZ_CTX_SetSearchDir(ctx, dirs[1].Path().c_str()), 0u);
        EXPECT_EQ(KZ_CTX_LoadModule(ctx, "m"), 0u) << c.leaf;
        EXPECT_NE(KZ_CTX_GetTargetNode(ctx, (std::string("/m:") + c.leaf).c_str(), nullptr), nullptr) << c.leaf;
    }
}

TEST(YangRead, MixedFolderLoadsImportsAndSubmodules)
{
    ScratchDir dir;
    dir.Write("top.yin", kztest::Module("top", "  <import module=\"lib\"><prefix value=\"l\"/></import>\n"
                                                   "  <include module=\"part\"/>\n"
                                                   "  <leaf name=\"a\"><type name=\"l:word\"/></leaf>\n",
                                            "top"));
    dir.Write("lib@2020-02-02.yang", "module lib { yang-version 1.1; namespace urn:lib; prefix l;\n"
                                     "  typedef word { type string { length 1..8; } }\n}\n");
    dir.Write("part.yang", "submodule part { yang-version 1.1; belongs-to top { prefix top; }\n"
                           "  leaf b { type string; }\n}\n");
    dir.Write("bad.yang", "module bad { namespace urn:bad; prefix b;\n  leaf x { type string }\n}\n");
    kztest::Ctx ctx(KZ_CTX_OPT_LOAD_IMPORTS);
    ASSERT_EQ(KZ_CTX_SetSearchDir(ctx, dir.Path().c_str()), 0u);
    EXPECT_EQ(KZ_CTX_LoadModule(ctx, "top"), 0u);
    EXPECT_NE(KZ_CTX_GetModuleByModName(ctx, "lib"), nullptr);
    EXPECT_NE(KZ_CTX_GetTargetNode(ctx, "/top:b", nullptr), nullptr);
    EXPECT_TRUE(kztest::LoadMessages(ctx).empty());

    // A syntax fault is recorded against the module, with the file's place.
    EXPECT_NE(KZ_CTX_LoadModule(ctx, "bad"), 0u);
    const auto messages = kztest::LoadMessages(ctx, "bad");
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages[0], dir.File("bad.yang") + ":2:24: missing \";\" or \"{\" after \"type\"");
}

TEST(YangRead, LaterReadsSeeModuleFilesChangedOrAddedMeanwhile)
{
    ScratchDir dir;
    // Files and directory unchanged for long: what was learnt of them is kept.
    const timespec old[2] = {{0, UTIME_OMIT}, {1000000000, 0}};
    dir.Write("lib@2020-01-01.yang", "module lib { namespace urn:one; prefix l; }\n");
    ASSERT_EQ(utimensat(AT_FDCWD, dir.File("lib@2020-01-01.yang").c_str(), old, 0), 0);
    ASSERT_EQ(utimensat(AT_FDCWD, dir.Path().c_str(), old, 0), 0);
    kztest::Ctx ctx(0);
    kz::yang::ImportFacts *facts = kz::yang::NewImportFacts();
    ASSERT_NE(facts, nullptr);
    auto importedNs = [&](const std::string &module) {
        const std::string text = "module a { namespace urn:a; prefix a; import " + module + " { prefix l; } }\n";
        DocPtr doc(kz::yang::ReadYang(text.data(), text.size(), "a.yang", {dir.Path()}, nullptr,
                                      kz::schema::DirCacheOf(ctx), facts));
        xmlNs *ns = doc ? xmlSearchNs(doc.get(), xmlDocGetRootElement(doc.get()), BAD_CAST "l") : nullptr;
        return ns != nullptr ? std::string(reinterpret_cast<const char *>(ns->href)) : std::string();
    };
    EXPECT_EQ(importedNs("lib"), "urn:one");
    // Rewritten, and dated long ago again: the file's other times tell.
    dir.Write("lib@2020-01-01.yang", "module lib { namespace urn:two; prefix l; }\n");
    ASSERT_EQ(utimensat(AT_FDCWD, dir.File("lib@2020-01-01.yang").c_str(), old, 0), 0);
    EXPECT_EQ(importedNs("lib"), "urn:two");
    dir.Write("new@2021-01-01.yang", "module new { namespace urn:new; prefix n; }\n");
    EXPECT_EQ(importedNs("new"), "urn:new");
    kz::yang::FreeImportFacts(facts);
}

TEST(YangRead, LoadYangMemory)
{
    kztest::Ctx ctx(0);
    EXPECT_EQ(KZ_CTX_LoadYangMemory(ctx, "module mem { namespace urn:mem; prefix m; leaf l { type int8; } }"), 0u);
    EXPECT_NE(KZ_CTX_GetTargetNode(ctx, "/mem:l", nullptr), nullptr);
    EXPECT_EQ(KZ_CTX_LoadYangMemory(ctx, "\xEF\xBB\xBFmodule bom { namespace urn:bom; prefix b; }"), 0u);
    EXPECT_NE(KZ_CTX_GetModuleByModName(ctx, "bom"), nullptr);
    EXPECT_EQ(KZ_CTX_LoadYangMemory(ctx, "module broken {\n  leaf l { type int8; }\n"), 22u);
    EXPECT_EQ(kztest::LoadMessages(ctx, "broken"),
              std::vector<std::string>{"3:1: missing \"}\" for the block of \"module\" opened at line 1"});
    EXPECT_EQ(KZ_CTX_LoadYangMemory(ctx, nullptr), 22u);
    EXPECT_EQ(KZ_CTX_LoadYangMemory(nullptr, "module x {}"), 22u);
}
