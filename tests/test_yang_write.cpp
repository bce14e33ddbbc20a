// Writing a module's YIN document as YANG text or as canonical YIN, and the
// exported source printer.

#include "test_support.h"
#include "yang/kz_yang_read.h"
#include "yang/kz_yang_write.h"

namespace {

using kztest::DocPtr;
using kztest::AppendText;
using kztest::ParseXml;

const std::string kYinOpen = "<module name=\"m\" xmlns=\"urn:ietf:params:xml:ns:yang:yin:1\" xmlns:m=\"urn:m\" ";

struct Written {
    uint32_t status;
    std::string text;
};

enum class As { Yang, Yin };

// Parses yin and writes it back as YANG text or as canonical YIN.
Written Write(As form, const std::string &yin, const kz::yang::ExtensionArgLookup &lookup = {})
{
    DocPtr doc = ParseXml(yin);
    Written w{KZ_ERR, ""};
    if (doc != nullptr) {
        w.status = form == As::Yin ? kz::yang::WriteYin(doc.get(), AppendText, &w.text)
                                   : kz::yang::WriteYang(doc.get(), lookup, AppendText, &w.text);
    }
    return w;
}

TEST(YangWrite, ArgumentsAreQuotedOnlyWhereNeeded)
{
    struct Case {
        const char *text;
        const char *yang;
    } cases[] = {
        {"abc", "abc"},
        {"[a-z0-9\\-]+", "[a-z0-9\\-]+"},  // no escapes outside quotes
        {"", "\"\""},
        {"a b", "\"a b\""},
        {"a;b", "\"a;b\""},
        {"{", "\"{\""},
        {"a//b", "\"a//b\""},
        {"/*x", "\"/*x\""},
        {"x*/", "\"x*/\""},
        {"a/b*c", "a/b*c"},
        {"tab\there", "\"tab\there\""},
        {"don't", "\"don't\""},
        {"say \"hi\"", "'say \"hi\"'"},
        {"a\\d b", "'a\\d b'"},
        {"it's \"x\" \\", "\"it's \\\"x\\\" \\\\\""},
        // Multi-line: continuation lines indented, trailing white space and tabs kept through escapes.
        {"a\nb", "\"a\n     b\""},
        {"a\n  b", "\"a\n       b\""},
        {"a\n\nb", "\"a\n\n     b\""},
        {"a \nb", "\"a \\nb\""},
        {"a\tb\n\tc", "\"a\\tb\n     \\tc\""},
        {"x\n", "\"x\n     \""},
        {"'q'\n\"", "\"'q'\n     \\\"\""},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(kz::yang::FormatYangArgument(c.text, 5), c.yang) << c.text;
    }
}

// Whatever the text, the YANG written for it reads back to the same string,
// as an attribute argument and as a text element.
TEST(YangWrite, ArgumentsReadBackUnchanged)
{
    for (const char *text : {"+", "a + b", "'", "\"", "\\", "\\n", "", "//", "*/", "  lead", "trail  ",
                             "a  \n  b  ", "a\n\tb", "\t\n", " \n ", "a\n", "\n", "\n\n", "x\n\n  y\n",
                             "\u00fc\n\u00fcber", "tab\tend", "'\"\n\\'"}) {
        DocPtr doc(xmlNewDoc(BAD_CAST "1.0"));
        xmlNode *root = xmlNewNode(nullptr, BAD_CAST "module");
        xmlDocSetRootElement(doc.get(), root);
        xmlSetNs(root, xmlNewNs(root, BAD_CAST "urn:ietf:params:xml:ns:yang:yin:1", nullptr));
        xmlNewProp(root, BAD_CAST "name", BAD_CAST "m");
        xmlNewProp(xmlNewChild(root, root->ns, BAD_CAST "namespace", nullptr), BAD_CAST "uri", BAD_CAST "urn:m");
        xmlNewProp(xmlNewChild(root, root->ns, BAD_CAST "prefix", nullptr), BAD_CAST "value", BAD_CAST "m");
        xmlNewTextChild(xmlNewChild(root, root->ns, BAD_CAST "description", nullptr), root->ns, BAD_CAST "text",
                        BAD_CAST text);
        xmlNewProp(xmlNewChild(root, root->ns, BAD_CAST "must", nullptr), BAD_CAST "condition", BAD_CAST text);
        std::string yang;
        ASSERT_EQ(kz::yang::WriteYang(doc.get(), {}, AppendText, &yang), KZ_OK);
        std::string error;
        DocPtr reread(kz::yang::ReadYang(yang.data(), yang.size(), "", {}, &error));
        ASSERT_NE(reread, nullptr) << error << "\n" << yang;
        const xmlNode *r = xmlDocGetRootElement(reread.get());
        const xmlNode *description = r->children->next->next;
        const xmlNode *must = description->next;
        ASSERT_TRUE(description != nullptr && must != nullptr) << yang;
        auto take = [](xmlChar *owned) {
            std::string value = owned != nullptr ? reinterpret_cast<const char *>(owned) : "(none)";
            xmlFree(owned);
            return value;
        };
        EXPECT_EQ(take(xmlNodeGetContent(description)), text) << yang;
        EXPECT_EQ(take(xmlGetProp(must, BAD_CAST "condition")), text) << yang;
    }
}

TEST(YangWrite, ModuleLayoutWithTextsAndExtensionInstances)
{
    const std::string yin =
        kYinOpen + "xmlns:e=\"urn:e\" xmlns:x=\"urn:x\">"
                   "<namespace uri=\"urn:m\"/><prefix value=\"m\"/>"
                   "<import module=\"ext\"><prefix value=\"e\"/></import>"
                   "<import module=\"other\"><prefix value=\"x\"/></import>"
                   "<description><text>First line\n  indented line\nlast line</text></description>"
                   "<extension name=\"note\"><argument name=\"text\"><yin-element value=\"true\"/></argument></extension>"
                   "<container name=\"c\">"
                   "<m:note><m:text>kept as text</m:text></m:note>"
                   "<e:label name=\"a b\"/>"
                   "<x:flag><x:reason>guessed</x:reason></x:flag>"
                   "<must condition=\"../a = 'x'\"><error-message><value>Say \"no\"</value></error-message></must>"
                   "</container>"
                   "<leaf name=\"l\"><type name=\"string\"/></leaf>"
                   "</module>";
    auto lookup = [](const char *uri, const char *name, kz::yang::ExtensionArgForm *form) {
        if (std::string(uri) != "urn:e" || std::string(name) != "label") {
            return false;
        }
        form->argName = "name";
        return true;
    };
    Written w = Write(As::Yang, yin, lookup);
    ASSERT_EQ(w.status, KZ_OK);
    EXPECT_EQ(w.text, "module m {\n"
                      "  namespace urn:m;\n"
                      "  prefix m;\n"
                      "\n"
                      "  import ext {\n"
                      "    prefix e;\n"
                      "  }\n"
                      "\n"
                      "  import other {\n"
                      "    prefix x;\n"
                      "  }\n"
                      "\n"
                      "  description\n"
                      "    \"First line\n"
                      "       indented line\n"
                      "     last line\";\n"
                      "\n"
                      "  extension note {\n"
                      "    argument text {\n"
                      "      yin-element true;\n"
                      "    }\n"
                      "  }\n"
                      "\n"
                      "  container c {\n"
                      "    m:note \"kept as text\";\n"
                      "    e:label \"a b\";\n"
                      "    x:flag guessed;\n"
                      "    must \"../a = 'x'\" {\n"
                      "      error-message 'Say \"no\"';\n"
                      "    }\n"
                      "  }\n"
                      "\n"
                      "  leaf l {\n"
                      "    type string;\n"
                      "  }\n"
                      "}\n");
}

TEST(YangWrite, CanonicalYinIsStable)
{
    const std::string yin = "<?xml version=\"1.0\"?>\n" + kYinOpen +
                            ">\n\n   <must condition=\"a &lt; 1&#10;and b\">  <error-message><value>x &amp; y\n"
                            "  z</value></error-message></must><m:empty><!-- c --></m:empty><description><text>  </text></description>"
                            "</module>";
    Written w = Write(As::Yin, yin);
    ASSERT_EQ(w.status, KZ_OK);
    const std::string expected = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                 "<module name=\"m\" xmlns=\"urn:ietf:params:xml:ns:yang:yin:1\" xmlns:m=\"urn:m\">\n"
                                 "  <must condition=\"a &lt; 1&#10;and b\">\n"
                                 "    <error-message>\n"
                                 "      <value>x &amp; y\n"
                                 "  z</value>\n"
                                 "    </error-message>\n"
                                 "  </must>\n"
                                 "  <m:empty/>\n"
                                 "  <description>\n"
                                 "    <text>  </text>\n"
                                 "  </description>\n"
                                 "</module>\n";
    EXPECT_EQ(w.text, expected);
    EXPECT_EQ(Write(As::Yin, w.text).text, expected);
}

TEST(YangWrite, OddDocumentsAreRefusedOrWrittenAsTheyStand)
{
    struct Case {
        const char *yin;
        uint32_t status;
        const char *yang;
    } cases[] = {
        {"<module name=\"m\"/>", KZ_EINVAL, ""},  // not in the YIN namespace
        {"<container xmlns=\"urn:ietf:params:xml:ns:yang:yin:1\"/>", KZ_EINVAL, ""},
        {"<module xmlns=\"urn:ietf:params:xml:ns:yang:yin:1\"/>", KZ_OK, "module;\n"},
        {"<submodule xmlns=\"urn:ietf:params:xml:ns:yang:yin:1\"><leaf/><description/><text/></submodule>", KZ_OK,
         "submodule {\n  leaf;\n  description;\n  text;\n}\n"},
        {"<module xmlns=\"urn:ietf:params:xml:ns:yang:yin:1\"><q:x xmlns:q=\"urn:q\" a=\"1\"/></module>", KZ_OK,
         "module {\n  q:x 1;\n}\n"},
        // A submodule's own extension, found through its belongs-to prefix; the argument element comes second.
        {"<submodule xmlns=\"urn:ietf:params:xml:ns:yang:yin:1\" xmlns:p=\"urn:p\"><belongs-to module=\"m\">"
         "<prefix value=\"p\"/></belongs-to><extension name=\"e\"><argument name=\"a\"><yin-element value=\"true\"/>"
         "</argument></extension><p:e><p:z/><p:a>x</p:a></p:e></submodule>",
         KZ_OK,
         "submodule {\n  belongs-to m {\n    prefix p;\n  }\n\n  extension e {\n    argument a {\n"
         "      yin-element true;\n    }\n  }\n\n  p:e x {\n    p:z;\n  }\n}\n"},
        {"<module xmlns=\"urn:ietf:params:xml:ns:yang:yin:1\"><x xmlns=\"urn:q\"/></module>", KZ_EINVAL, ""},
        {"<module xmlns=\"urn:ietf:params:xml:ns:yang:yin:1\"><x xmlns=\"\"/></module>", KZ_EINVAL, ""},
    };
    for (const Case &c : cases) {
        Written w = Write(As::Yang, c.yin);
        EXPECT_EQ(w.status, c.status) << c.yin;
        if (c.status == KZ_OK) {
            EXPECT_EQ(w.text, c.yang) << c.yin;
            EXPECT_EQ(Write(As::Yin, c.yin).status, KZ_OK) << c.yin;
        }
    }
    // A failing callback stops the writers.
    DocPtr doc = ParseXml(kYinOpen + "/>");
    auto refuse = [](const char *, uint32_t, void *) -> uint32_t { return 1; };
    EXPECT_EQ(kz::yang::WriteYang(doc.get(), {}, refuse, nullptr), KZ_ERR);
    EXPECT_EQ(kz::yang::WriteYin(doc.get(), refuse, nullptr), KZ_ERR);
    EXPECT_EQ(kz::yang::WriteYin(nullptr, AppendText, nullptr), KZ_EINVAL);
}

const std::vector<std::string> kExampleDirs = {KORLA_SOURCE_DIR "/examples/yin", KORLA_SOURCE_DIR "/examples/yang"};

class PrintModuleSource : public kztest::CtxTest {
protected:
    void SetUp() override
    {
        Reopen(KZ_CTX_OPT_LOAD_IMPORTS);
        for (const std::string &dir : kExampleDirs) {
            ASSERT_EQ(KZ_CTX_SetSearchDir(ctx_, dir.c_str()), KZ_OK);
        }
    }

    Written Print(const char *module, uint32_t format)
    {
        Written w{KZ_ERR, ""};
        w.status = KZ_CTX_PrintModuleSource(ctx_, module, format, AppendText, &w.text);
        return w;
    }
};

TEST_F(PrintModuleSource, StatusesOfTheCall)
{
    ASSERT_EQ(KZ_CTX_LoadModule(ctx_, "acme-routing"), KZ_OK);
    ASSERT_EQ(KZ_CTX_LoadMemory(ctx_, (kYinOpen + "><namespace uri=\"urn:m\"/><prefix value=\"m\"/></module>").c_str()),
              KZ_OK);
    ASSERT_EQ(KZ_CTX_LoadYangMemory(ctx_, "module y { namespace urn:y; prefix y; }"), KZ_OK);
    std::string out;
    EXPECT_EQ(KZ_CTX_PrintModuleSource(nullptr, "m", KZ_SRC_FORMAT_YANG, AppendText, &out), KZ_EINVAL);
    EXPECT_EQ(KZ_CTX_PrintModuleSource(ctx_, nullptr, KZ_SRC_FORMAT_YANG, AppendText, &out), KZ_EINVAL);
    EXPECT_EQ(KZ_CTX_PrintModuleSource(ctx_, "m", KZ_SRC_FORMAT_YANG, nullptr, &out), KZ_EINVAL);
    EXPECT_EQ(KZ_CTX_PrintModuleSource(ctx_, "m", 0, AppendText, &out), KZ_EINVAL);
    EXPECT_EQ(KZ_CTX_PrintModuleSource(ctx_, "no-such", KZ_SRC_FORMAT_YANG, AppendText, &out), KZ_ERR);
    EXPECT_EQ(KZ_CTX_PrintModuleSource(ctx_, "m", KZ_SRC_FORMAT_YANG, AppendText, &out), KZ_ENOENT);  // from memory
    EXPECT_EQ(KZ_CTX_PrintModuleSource(ctx_, "y", KZ_SRC_FORMAT_YIN, AppendText, &out), KZ_ENOENT);
    EXPECT_EQ(KZ_CTX_PrintModuleSource(ctx_, "acme-routing", KZ_SRC_FORMAT_YIN, AppendText, &out), KZ_ENOENT);
    EXPECT_EQ(out, "");
}

// Each example module, read from YIN or from YANG, written as YANG and read
// back gives the YIN it was written from.
TEST_F(PrintModuleSource, ExampleModulesRoundTripThroughYang)
{
    for (const char *name : {"acme-system", "acme-system-ext", "acme-interfaces", "acme-maintenance"}) {
        ASSERT_EQ(KZ_CTX_LoadModule(ctx_, name), KZ_OK) << name;
        Written yin = Print(name, KZ_SRC_FORMAT_YIN);
        Written yang = Print(name, KZ_SRC_FORMAT_YANG);
        ASSERT_EQ(yin.status, KZ_OK) << name;
        ASSERT_EQ(yang.status, KZ_OK) << name;
        std::string error;
        DocPtr reread(kz::yang::ReadYang(yang.text.data(), yang.text.size(), name, kExampleDirs, &error));
        ASSERT_NE(reread, nullptr) << error << "\n" << yang.text;
        std::string again;
        ASSERT_EQ(kz::yang::WriteYin(reread.get(), AppendText, &again), KZ_OK);
        EXPECT_EQ(again, yin.text) << name;
    }
    // The imported module's extension definition gives the argument form.
    EXPECT_NE(Print("acme-system-ext", KZ_SRC_FORMAT_YANG).text.find("\n      sys:annotation \"Servers are tried in the order given.\";\n"),
              std::string::npos);
}

}  // namespace
