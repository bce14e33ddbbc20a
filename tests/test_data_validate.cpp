// Validation of requests and notifications: every kind of error record, defaults, when, must,
// mandatory, caller-owned trees and notifications cleaned of false conditions.

#include "test_support.h"

namespace {

const char *kModule = R"(<?xml version="1.0"?>
<module name="vt" xmlns="urn:ietf:params:xml:ns:yang:yin:1" xmlns:vt="urn:example:vt">
  <namespace uri="urn:example:vt"/>
  <prefix value="vt"/>
  <typedef name="percent"><type name="uint8"><range value="0..100"/></type></typedef>
  <container name="system">
    <leaf name="hostname"><type name="string"/></leaf>
    <action name="restart">
      <input>
        <leaf name="delay"><type name="uint16"/><default value="5"/></leaf>
      </input>
    </action>
  </container>
  <rpc name="configure">
    <input>
      <leaf name="name"><type name="string"/><mandatory value="true"/></leaf>
      <leaf name="mode"><type name="string"/><default value="auto"/></leaf>
      <leaf name="level"><type name="vt:percent"/></leaf>
      <container name="opts">
        <leaf name="retries"><type name="uint8"/><default value="3"/></leaf>
      </container>
      <container name="tuning">
        <presence value="tuning"/>
        <leaf name="gain"><type name="int8"/><default value="1"/></leaf>
        <leaf name="depth"><type name="int8"/><mandatory value="true"/></leaf>
      </container>
      <choice name="transport">
        <case name="tcp"><leaf name="port"><type name="uint16"/></leaf></case>
        <case name="udp"><leaf name="dgram"><type name="uint16"/></leaf></case>
      </choice>
      <list name="entry">
        <key value="id"/>
        <leaf name="id"><type name="string"/></leaf>
        <leaf name="kind"><type name="string"/><default value="plain"/></leaf>
        <leaf name="code"><type name="string"><pattern value="[A-Z]{2}[0-9]+"/></type></leaf>
        <leaf name="extra">
          <when condition="../kind = 'rich'"/>
          <type name="string"/>
          <default value="x"/>
        </leaf>
        <must condition="id != 'bad'">
          <error-message><value>id must not be bad</value></error-message>
          <error-app-tag value="bad-id"/>
        </must>
      </list>
      <list name="pair">
        <key value="k1 k2"/>
        <leaf name="k1"><type name="string"/></leaf>
        <leaf name="k2"><type name="string"/></leaf>
        <leaf name="v"><type name="int8"/></leaf>
      </list>
      <leaf name="ratio"><type name="uint8"/><must condition=". &lt; 50"/></leaf>
    </input>
  </rpc>
  <rpc name="needs">
    <input>
      <container name="limits"><leaf name="max"><type name="uint32"/><mandatory value="true"/></leaf></container>
      <choice name="way">
        <mandatory value="true"/>
        <leaf name="a"><type name="empty"/></leaf>
        <leaf name="b"><type name="empty"/></leaf>
      </choice>
      <list name="item">
        <key value="n"/>
        <leaf name="n"><type name="string"/></leaf>
        <leaf name="note"><type name="string"/></leaf>
        <leaf name="label"><type name="string"/><mandatory value="true"/></leaf>
      </list>
    </input>
  </rpc>
  <rpc name="order">
    <input>
      <leaf name="first"><type name="string"/><must condition="../second = ''"/></leaf>
      <leaf name="flag"><type name="string"/><default value="off"/></leaf>
      <leaf name="second"><when condition="../flag = 'on'"/><type name="string"/><default value="s"/></leaf>
    </input>
  </rpc>
  <rpc name="wide">
    <input>
      <leaf name="w0"><type name="string"/></leaf><leaf name="w1"><type name="string"/></leaf>
      <leaf name="w2"><type name="string"/></leaf><leaf name="w3"><type name="string"/></leaf>
      <leaf name="w4"><type name="string"/></leaf><leaf name="w5"><type name="string"/></leaf>
      <leaf name="w6"><type name="string"/></leaf><leaf name="w7"><type name="string"/></leaf>
      <leaf name="w8"><type name="string"/></leaf><leaf name="w9"><type name="string"/></leaf>
    </input>
  </rpc>
  <notification name="alarm">
    <leaf name="severity"><type name="uint8"/></leaf>
    <leaf name="detail"><when condition="../severity &gt; 3"/><type name="string"/></leaf>
  </notification>
</module>)";

struct Record {
    bool valid = true;
    uint32_t type = 0, severity = 0, tag = 0;
    std::string appTag, path, message, badElement;
};

std::string str(const char *s)
{
    return s != nullptr ? s : "<null>";
}

void collect_added(struct _xmlNode *added, void *arg)
{
    static_cast<std::vector<std::string> *>(arg)->emplace_back(reinterpret_cast<const char *>(added->name));
}

class Validate : public kztest::SharedModuleTest<Validate> {
public:
    static const char *ModuleText() { return kModule; }

protected:
    static Record rpc(const std::string &body, std::vector<std::string> *added = nullptr)
    {
        Record r;
        KzdErrNode *err = KZ_CTX_ValidateRpcDataTree(ctx_, KZ_DATA_KIND_TEXT, const_cast<char *>(body.c_str()),
                                                     added != nullptr ? collect_added : nullptr, added);
        if (err == nullptr) {
            return r;
        }
        r.valid = false;
        r.type = KZ_GetErrorType(err);
        r.severity = KZ_GetErrorSeverity(err);
        r.tag = KZ_GetErrorTag(err);
        r.appTag = str(KZ_GetErrorAppTag(err));
        r.path = str(KZ_GetErrorPath(err));
        r.message = str(KZ_GetErrorMessage(err));
        r.badElement = str(KZ_GetBadElement(err));
        EXPECT_EQ(KZ_GetBadAttribute(err), nullptr);
        KZ_FreeErrNode(err);
        return r;
    }

    static std::string configure(const std::string &inner)
    {
        return "<configure xmlns=\"urn:example:vt\"><name>n</name>" + inner + "</configure>";
    }
};

TEST_F(Validate, ValidRequestReportsEachAddedDefaultSubtreeOnce)
{
    std::vector<std::string> added;
    Record r = rpc(configure(""), &added);
    ASSERT_TRUE(r.valid) << r.message;
    // mode directly, retries inside the absent non-presence container opts (reported once, as
    // the container); nothing inside the absent presence container tuning.
    EXPECT_EQ(added, (std::vector<std::string>{"opts", "mode"}));
}

TEST_F(Validate, CallerTreeGainsDefaultsAndKeepsNoBinding)
{
    std::string text = configure("<tuning><depth>1</depth></tuning><entry><id>a</id><kind>rich</kind></entry>"
                                 "<entry><id>b</id></entry>");
    kztest::DocPtr doc = kztest::ParseXml(text);
    ASSERT_NE(doc, nullptr);
    xmlNode *top = xmlDocGetRootElement(doc.get());
    kztest::ErrPtr err(KZ_CTX_ValidateRpcDataTree(ctx_, KZ_DATA_KIND_XMLTREE, top, nullptr, nullptr));
    EXPECT_EQ(err, nullptr) << str(KZ_GetErrorMessage(err.get()));
    xmlChar *out = nullptr;
    int size = 0;
    xmlDocDumpMemory(doc.get(), &out, &size);
    std::string dumped(reinterpret_cast<char *>(out), size);
    xmlFree(out);
    // The rich entry keeps its extra default; the plain one had it added and removed again.
    EXPECT_NE(dumped.find("<entry><id>a</id><kind>rich</kind><extra>x</extra></entry>"), std::string::npos) << dumped;
    EXPECT_NE(dumped.find("<entry><id>b</id><kind>plain</kind></entry>"), std::string::npos) << dumped;
    EXPECT_NE(dumped.find("<tuning><depth>1</depth><gain>1</gain></tuning>"), std::string::npos) << dumped;
    for (xmlNode *n = top; n != nullptr; n = n->children) {
        EXPECT_EQ(n->_private, nullptr);
        EXPECT_EQ(n->line == 256 && n->psvi != nullptr, false);
    }
}

TEST_F(Validate, FailedCallerTreeKeepsNoAddedElement)
{
    std::string text = configure("<ratio>70</ratio>");
    kztest::DocPtr doc = kztest::ParseXml(text);
    xmlNode *top = xmlDocGetRootElement(doc.get());
    ASSERT_NE(kztest::ErrPtr(KZ_CTX_ValidateRpcDataTree(ctx_, KZ_DATA_KIND_XMLTREE, top, nullptr, nullptr)), nullptr);
    int children = 0;
    for (xmlNode *c = top->children; c != nullptr; c = c->next) {
        ++children;
        EXPECT_EQ(c->_private, nullptr);
    }
    EXPECT_EQ(children, 2);
}

TEST_F(Validate, StructureErrorsCarryTagMessagePathAndBadElement)
{
    Record r = rpc("<configure xmlns=\"urn:other\"/>");
    EXPECT_EQ(r.tag, KZ_ERR_TAG_UNKNOWN_NAMESPACE);
    EXPECT_EQ(r.message, "configure has invalid namespace: urn:other.");
    EXPECT_EQ(r.badElement, "configure");
    EXPECT_EQ(r.type, KZ_ERR_TYPE_APPLICATION);
    EXPECT_EQ(r.severity, KZ_ERR_SEVERITY_ERROR);

    r = rpc(configure("<bogus/>"));
    EXPECT_EQ(r.tag, KZ_ERR_TAG_UNKNOWN_ELEMENT);
    EXPECT_EQ(r.message, "Unexpected element: bogus.");
    EXPECT_EQ(r.path, "/vt:configure/bogus");
    EXPECT_EQ(r.badElement, "bogus");

    r = rpc(configure("<opts/><opts/>"));
    EXPECT_EQ(r.message, "Unexpected element: opts.");

    r = rpc(configure("<mode><x/></mode>"));
    EXPECT_EQ(r.tag, KZ_ERR_TAG_UNKNOWN_ELEMENT);

    r = rpc("<configure xmlns=\"urn:example:vt\"><mode>m</mode><name>n</name></configure>");
    EXPECT_EQ(r.tag, KZ_ERR_TAG_MISSING_ELEMENT);
    EXPECT_EQ(r.message, "Invalid element order between name and mode.");
    EXPECT_EQ(r.badElement, "name");

    r = rpc(configure("<port>1</port><dgram>2</dgram>"));
    EXPECT_EQ(r.tag, KZ_ERR_TAG_BAD_ELEMENT);
    EXPECT_EQ(r.message, "Data for more than one case branch of a choice is present.");
    EXPECT_EQ(r.badElement, "dgram");
}

TEST_F(Validate, RepeatedLeafIsFoundAmongManySiblings)
{
    std::string all;
    for (int i = 0; i < 10; ++i) {
        all += "<w" + std::to_string(i) + ">v</w" + std::to_string(i) + ">";
    }
    const std::string open = "<wide xmlns=\"urn:example:vt\">";
    EXPECT_TRUE(rpc(open + all + "</wide>").valid);
    for (const char *repeated : {"w0", "w8", "w9"}) {
        Record r = rpc(open + all + "<" + repeated + ">v</" + repeated + "></wide>");
        EXPECT_EQ(r.message, "Unexpected element: " + std::string(repeated) + ".") << repeated;
    }
}

TEST_F(Validate, InvalidValuesAreReportedWithLongValuesCutAndKeyedPaths)
{
    Record r = rpc(configure("<level>101</level>"));
    EXPECT_EQ(r.tag, KZ_ERR_TAG_BAD_ELEMENT);
    EXPECT_EQ(r.message, "level has invalid value 101.");
    EXPECT_EQ(r.path, "/vt:configure/level");

    std::string longCode(300, 'z');
    r = rpc(configure("<entry><id>a</id><code>" + longCode + "</code></entry>"));
    EXPECT_EQ(r.message, "code has invalid value " + std::string(253, 'z') + "....");
    EXPECT_EQ(r.path, "/vt:configure/entry[id='a']/code");
    EXPECT_TRUE(rpc(configure("<entry><id>a</id><code>AB12</code></entry>")).valid);

    // Paths list the keys in reverse and quote around apostrophes.
    r = rpc(configure("<pair><k1>a</k1><k2>it's</k2><v>900</v></pair>"));
    EXPECT_EQ(r.path, "/vt:configure/pair[k2=\"it's\"][k1='a']/v");
}

TEST_F(Validate, MustReportsItsOwnTextsOrTheDefaults)
{
    Record r = rpc(configure("<entry><id>bad</id></entry>"));
    EXPECT_EQ(r.tag, KZ_ERR_TAG_OPERATION_FAILED);
    EXPECT_EQ(r.appTag, "bad-id");
    EXPECT_EQ(r.message, "id must not be bad");
    EXPECT_EQ(r.path, "/vt:configure/entry[id='bad']");

    r = rpc(configure("<ratio>60</ratio>"));
    EXPECT_EQ(r.appTag, "must-violation");
    EXPECT_EQ(r.message, "ratio is not satisfied must condition.");
    EXPECT_TRUE(rpc(configure("<ratio>10</ratio>")).valid);
}

// Every when is settled, removing added elements whose when is false, before any must is
// checked: a must sees the tree without them, and a false when anywhere wins over a false must
// earlier in the document.
TEST_F(Validate, WhensAreSettledBeforeMusts)
{
    struct Case {
        const char *body;
        const char *message; /* null: valid */
    };
    const Case cases[] = {
        {"<first>1</first>", nullptr}, // the added second is removed before first's must
        {"<first>1</first><flag>on</flag>", "first is not satisfied must condition."},
        {"<first>1</first><flag>on</flag><second></second>", nullptr},
        {"<first>1</first><second>x</second>", "second is not satisfied when condition."},
        {"<first>1</first><flag>off</flag><second></second>", "second is not satisfied when condition."},
    };
    for (const Case &c : cases) {
        Record r = rpc(std::string("<order xmlns=\"urn:example:vt\">") + c.body + "</order>");
        EXPECT_EQ(r.valid, c.message == nullptr) << c.body;
        if (c.message != nullptr) {
            EXPECT_EQ(r.message, c.message) << c.body;
        }
    }
    // A false when on a request element is an unknown element.
    Record r = rpc(configure("<entry><id>bad</id></entry><entry><id>b</id><extra>y</extra></entry>"));
    EXPECT_EQ(r.tag, KZ_ERR_TAG_UNKNOWN_ELEMENT);
    EXPECT_EQ(r.message, "extra is not satisfied when condition.");
    EXPECT_EQ(r.badElement, "extra");
}

TEST_F(Validate, MandatoryLeavesAndChoices)
{
    Record r = rpc("<configure xmlns=\"urn:example:vt\"/>");
    EXPECT_EQ(r.tag, KZ_ERR_TAG_MISSING_ELEMENT);
    EXPECT_EQ(r.message, "Missing element: name.");
    EXPECT_EQ(r.badElement, "name");

    r = rpc("<needs xmlns=\"urn:example:vt\"><a/></needs>");
    EXPECT_EQ(r.message, "Missing element: max.");

    r = rpc("<needs xmlns=\"urn:example:vt\"><limits><max>1</max></limits></needs>");
    EXPECT_EQ(r.tag, KZ_ERR_TAG_DATA_MISSING);
    EXPECT_EQ(r.appTag, "missing-choice");
    EXPECT_EQ(r.message, "Mandatory choice way missing element.");
    EXPECT_EQ(r.badElement, "needs");

    EXPECT_TRUE(rpc("<needs xmlns=\"urn:example:vt\"><limits><max>1</max></limits><b/></needs>").valid);

    // Each list entry is checked, the first one missing a mandatory leaf is reported.
    r = rpc("<needs xmlns=\"urn:example:vt\"><limits><max>1</max></limits><b/>"
            "<item><n>1</n><label>x</label></item><item><n>2</n><note>y</note></item></needs>");
    EXPECT_EQ(r.message, "Missing element: label.");
    EXPECT_EQ(r.path, "/vt:needs/item[n='2']");
}

TEST_F(Validate, ActionRequestsNeedExactlyOneAction)
{
    std::vector<std::string> added;
    Record r = rpc("<system xmlns=\"urn:example:vt\"><restart/></system>", &added);
    EXPECT_TRUE(r.valid) << r.message;
    EXPECT_EQ(added, std::vector<std::string>{"delay"});

    r = rpc("<system xmlns=\"urn:example:vt\"><hostname>h</hostname></system>");
    EXPECT_EQ(r.tag, KZ_ERR_TAG_UNKNOWN_ELEMENT);
    EXPECT_EQ(r.message, "Unexpected element: action.");
    EXPECT_EQ(r.badElement, "action");
    EXPECT_EQ(r.path, "/");
}

TEST_F(Validate, MalformedInputGivesTheGenericRecord)
{
    for (const char *text : {"<configure", "<configure/>", "", "not xml at all"}) {
        Record r = rpc(text);
        EXPECT_FALSE(r.valid) << text;
        EXPECT_EQ(r.tag, KZ_ERR_TAG_OPERATION_FAILED) << text;
        EXPECT_EQ(r.path, "/") << text;
        EXPECT_EQ(r.message, "<null>") << text;
    }
    KzdErrNode *err = KZ_CTX_ValidateRpcDataTree(nullptr, KZ_DATA_KIND_TEXT, nullptr, nullptr, nullptr);
    EXPECT_EQ(KZ_GetErrorTag(err), KZ_ERR_TAG_OPERATION_FAILED);
    KZ_FreeErrNode(err);
    EXPECT_EQ(KZ_GetErrorTag(nullptr), 0u);
    KZ_FreeErrNode(nullptr);
}

uint32_t keep_text(const char *text, void *arg)
{
    *static_cast<std::string *>(arg) = text;
    return 0;
}

TEST_F(Validate, NotificationsDropFalseConditionsAndSkipValueChecks)
{
    for (const char *severity : {"2", "9"}) {
        std::string out;
        const std::string text = std::string("<alarm xmlns=\"urn:example:vt\"><severity>") + severity +
                                 "</severity><detail>d</detail></alarm>";
        EXPECT_EQ(KZ_CTX_ValidateNotifDataTree(ctx_, text.c_str(), keep_text, &out), KZ_OK);
        EXPECT_NE(out.find(std::string("<severity>") + severity + "</severity>"), std::string::npos) << out;
        // detail's when holds only above severity 3; otherwise no trace of it is left.
        const bool kept = severity[0] == '9';
        EXPECT_EQ(out.find(kept ? "<detail>d</detail>" : "detail") != std::string::npos, kept) << out;
    }

    EXPECT_EQ(KZ_CTX_ValidateNotifDataTree(ctx_, "<alarm xmlns=\"urn:example:vt\"><severity>x</severity></alarm>",
                                           nullptr, nullptr),
              KZ_OK);
    EXPECT_EQ(KZ_CTX_ValidateNotifDataTree(ctx_, "<configure xmlns=\"urn:example:vt\"/>", nullptr, nullptr),
              KZ_EINVAL);
    EXPECT_EQ(KZ_CTX_ValidateNotifDataTree(ctx_, "<alarm", nullptr, nullptr), KZ_EINVAL);
}

TEST_F(Validate, ManySiblingsWithDefaultsAndMustsStayLinear)
{
    std::string entries;
    for (int i = 0; i < 20000; ++i) {
        entries += "<entry><id>e" + std::to_string(i) + "</id><code>AB" + std::to_string(i) + "</code></entry>";
    }
    EXPECT_TRUE(rpc(configure(entries)).valid);
}

} // namespace
