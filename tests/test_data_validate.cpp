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

// An error record's fields, "-" where one is missing; tag 0 for a valid request.
struct Record {
    uint32_t tag = 0;
    std::string appTag = "-", path = "-", message = "-", badElement = "-";
    bool operator==(const Record &o) const
    {
        return tag == o.tag && appTag == o.appTag && path == o.path && message == o.message &&
               badElement == o.badElement;
    }
};

void PrintTo(const Record &r, std::ostream *os)
{
    *os << "{" << r.tag << ", " << r.appTag << ", " << r.path << ", " << r.message << ", " << r.badElement << "}";
}

struct Row {
    std::string body;
    Record want;
};

class Validate : public kztest::SharedModuleTest<Validate> {
public:
    static const char *ModuleText() { return kModule; }

protected:
    // Every record is an application error without a bad attribute.
    static Record rpc(const std::string &body, std::vector<std::string> *added = nullptr)
    {
        Record r;
        kztest::ErrPtr err(KZ_CTX_ValidateRpcDataTree(ctx_, KZ_DATA_KIND_TEXT, const_cast<char *>(body.c_str()),
                                                      added != nullptr ? kztest::CollectAdded : nullptr, added));
        if (err != nullptr) {
            r = Record{KZ_GetErrorTag(err.get()), kztest::OrDash(KZ_GetErrorAppTag(err.get())),
                       kztest::OrDash(KZ_GetErrorPath(err.get())), kztest::OrDash(KZ_GetErrorMessage(err.get())),
                       kztest::OrDash(KZ_GetBadElement(err.get()))};
            EXPECT_EQ(KZ_GetErrorType(err.get()), KZ_ERR_TYPE_APPLICATION) << body;
            EXPECT_EQ(KZ_GetErrorSeverity(err.get()), KZ_ERR_SEVERITY_ERROR) << body;
            EXPECT_EQ(KZ_GetBadAttribute(err.get()), nullptr) << body;
        }
        return r;
    }

    static void ExpectRecords(const std::vector<Row> &rows)
    {
        for (const Row &row : rows) {
            EXPECT_EQ(rpc(row.body), row.want) << row.body;
        }
    }

    static std::string configure(const std::string &inner)
    {
        return "<configure xmlns=\"urn:example:vt\"><name>n</name>" + inner + "</configure>";
    }

    static std::string needs(const std::string &inner) { return "<needs xmlns=\"urn:example:vt\">" + inner + "</needs>"; }
};

TEST_F(Validate, ValidRequestReportsEachAddedDefaultSubtreeOnce)
{
    std::vector<std::string> added;
    EXPECT_EQ(rpc(configure(""), &added), Record{});
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
    EXPECT_EQ(err, nullptr) << kztest::OrDash(KZ_GetErrorMessage(err.get()));
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

TEST_F(Validate, StructureErrors)
{
    ExpectRecords({
        {"<configure xmlns=\"urn:other\"/>",
         {KZ_ERR_TAG_UNKNOWN_NAMESPACE, "-", "/configure", "configure has invalid namespace: urn:other.", "configure"}},
        {configure("<bogus/>"),
         {KZ_ERR_TAG_UNKNOWN_ELEMENT, "-", "/vt:configure/bogus", "Unexpected element: bogus.", "bogus"}},
        {configure("<opts/><opts/>"),
         {KZ_ERR_TAG_UNKNOWN_ELEMENT, "-", "/vt:configure/opts", "Unexpected element: opts.", "opts"}},
        // A leaf holding an element is itself unexpected.
        {configure("<mode><x/></mode>"),
         {KZ_ERR_TAG_UNKNOWN_ELEMENT, "-", "/vt:configure/mode", "Unexpected element: mode.", "mode"}},
        {"<configure xmlns=\"urn:example:vt\"><mode>m</mode><name>n</name></configure>",
         {KZ_ERR_TAG_MISSING_ELEMENT, "-", "/vt:configure/name", "Invalid element order between name and mode.",
          "name"}},
        {configure("<port>1</port><dgram>2</dgram>"),
         {KZ_ERR_TAG_BAD_ELEMENT, "-", "/vt:configure/dgram",
          "Data for more than one case branch of a choice is present.", "dgram"}},
        // A request needs exactly one action.
        {"<system xmlns=\"urn:example:vt\"><hostname>h</hostname></system>",
         {KZ_ERR_TAG_UNKNOWN_ELEMENT, "-", "/", "Unexpected element: action.", "action"}},
        // Malformed input gives the generic record.
        {"<configure", {KZ_ERR_TAG_OPERATION_FAILED, "-", "/", "-", "-"}},
        {"<configure/>", {KZ_ERR_TAG_OPERATION_FAILED, "-", "/", "-", "-"}},
        {"", {KZ_ERR_TAG_OPERATION_FAILED, "-", "/", "-", "-"}},
        {"not xml at all", {KZ_ERR_TAG_OPERATION_FAILED, "-", "/", "-", "-"}},
    });
    KzdErrNode *err = KZ_CTX_ValidateRpcDataTree(nullptr, KZ_DATA_KIND_TEXT, nullptr, nullptr, nullptr);
    EXPECT_EQ(KZ_GetErrorTag(err), KZ_ERR_TAG_OPERATION_FAILED);
    KZ_FreeErrNode(err);
    EXPECT_EQ(KZ_GetErrorTag(nullptr), 0u);
    KZ_FreeErrNode(nullptr);
}

TEST_F(Validate, RepeatedLeafIsFoundAmongManySiblings)
{
    std::string all;
    for (int i = 0; i < 10; ++i) {
        all += "<w" + std::to_string(i) + ">v</w" + std::to_string(i) + ">";
    }
    const std::string open = "<wide xmlns=\"urn:example:vt\">";
    EXPECT_EQ(rpc(open + all + "</wide>"), Record{});
    for (const char *repeated : {"w0", "w8", "w9"}) {
        Record r = rpc(open + all + "<" + repeated + ">v</" + repeated + "></wide>");
        EXPECT_EQ(r.message, "Unexpected element: " + std::string(repeated) + ".") << repeated;
    }
}

// Long values are cut in the message; paths list the keys in reverse and
// quote around apostrophes.
TEST_F(Validate, InvalidValuesAndMusts)
{
    ExpectRecords({
        {configure("<level>101</level>"),
         {KZ_ERR_TAG_BAD_ELEMENT, "-", "/vt:configure/level", "level has invalid value 101.", "level"}},
        {configure("<entry><id>a</id><code>" + std::string(300, 'z') + "</code></entry>"),
         {KZ_ERR_TAG_BAD_ELEMENT, "-", "/vt:configure/entry[id='a']/code",
          "code has invalid value " + std::string(253, 'z') + "....", "code"}},
        {configure("<entry><id>a</id><code>AB12</code></entry>"), {}},
        {configure("<pair><k1>a</k1><k2>it's</k2><v>900</v></pair>"),
         {KZ_ERR_TAG_BAD_ELEMENT, "-", "/vt:configure/pair[k2=\"it's\"][k1='a']/v", "v has invalid value 900.", "v"}},
        // A must reports its own texts or the defaults.
        {configure("<entry><id>bad</id></entry>"),
         {KZ_ERR_TAG_OPERATION_FAILED, "bad-id", "/vt:configure/entry[id='bad']", "id must not be bad", "entry"}},
        {configure("<ratio>60</ratio>"),
         {KZ_ERR_TAG_OPERATION_FAILED, "must-violation", "/vt:configure/ratio", "ratio is not satisfied must condition.",
          "ratio"}},
        {configure("<ratio>10</ratio>"), {}},
    });
}

// Every when is settled, removing added elements whose when is false, before any must is
// checked: a must sees the tree without them, and a false when anywhere wins over a false must
// earlier in the document.  A false when on a request element is an unknown element.
TEST_F(Validate, WhensAreSettledBeforeMusts)
{
    const std::string order = "<order xmlns=\"urn:example:vt\"><first>1</first>";
    const Record falseWhen{KZ_ERR_TAG_UNKNOWN_ELEMENT, "-", "/vt:order/second", "second is not satisfied when condition.",
                           "second"};
    ExpectRecords({
        {order + "</order>", {}}, // the added second is removed before first's must
        {order + "<flag>on</flag></order>",
         {KZ_ERR_TAG_OPERATION_FAILED, "must-violation", "/vt:order/first", "first is not satisfied must condition.",
          "first"}},
        {order + "<flag>on</flag><second></second></order>", {}},
        {order + "<second>x</second></order>", falseWhen},
        {order + "<flag>off</flag><second></second></order>", falseWhen},
        {configure("<entry><id>bad</id></entry><entry><id>b</id><extra>y</extra></entry>"),
         {KZ_ERR_TAG_UNKNOWN_ELEMENT, "-", "/vt:configure/entry[id='b']/extra", "extra is not satisfied when condition.",
          "extra"}},
    });
}

// Each list entry is checked, the first one missing a mandatory leaf is reported.
TEST_F(Validate, MandatoryLeavesAndChoices)
{
    const std::string limits = "<limits><max>1</max></limits>";
    ExpectRecords({
        {"<configure xmlns=\"urn:example:vt\"/>",
         {KZ_ERR_TAG_MISSING_ELEMENT, "-", "/vt:configure", "Missing element: name.", "name"}},
        {needs("<a/>"), {KZ_ERR_TAG_MISSING_ELEMENT, "-", "/vt:needs/limits", "Missing element: max.", "max"}},
        {needs(limits),
         {KZ_ERR_TAG_DATA_MISSING, "missing-choice", "/vt:needs", "Mandatory choice way missing element.", "needs"}},
        {needs(limits + "<b/>"), {}},
        {needs(limits + "<b/><item><n>1</n><label>x</label></item><item><n>2</n><note>y</note></item>"),
         {KZ_ERR_TAG_MISSING_ELEMENT, "-", "/vt:needs/item[n='2']", "Missing element: label.", "label"}},
    });
}

TEST_F(Validate, ActionRequestGainsItsInputDefaults)
{
    std::vector<std::string> added;
    EXPECT_EQ(rpc("<system xmlns=\"urn:example:vt\"><restart/></system>", &added), Record{});
    EXPECT_EQ(added, std::vector<std::string>{"delay"});
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
    EXPECT_EQ(rpc(configure(entries)), Record{});
}

} // namespace
