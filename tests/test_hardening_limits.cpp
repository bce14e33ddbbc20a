// Inputs far beyond anything a real peer sends: very deep and very wide
// instance trees, multi-megabyte values, huge conditions in a module and
// typedef chains past the derivation limit.  Each must end with a status or
// an error record without exhausting the stack; work is bounded by counts
// (allocations, callback calls) rather than by the clock, except for one
// ratio of two sibling counts that nothing countable reflects.

#include <chrono>

#include "test_support.h"

namespace {

const char *kModule = R"yin(<?xml version="1.0"?>
<module name="hl" xmlns="urn:ietf:params:xml:ns:yang:yin:1" xmlns:hl="urn:example:hl">
  <namespace uri="urn:example:hl"/>
  <prefix value="hl"/>
  <identity name="base-id"/>
  <container name="top">
    <leaf name="v-binary"><type name="binary"/></leaf>
    <leaf name="v-bits"><type name="bits"><bit name="a"/><bit name="b"/></type></leaf>
    <leaf name="v-boolean"><type name="boolean"/></leaf>
    <leaf name="v-decimal64"><type name="decimal64"><fraction-digits value="3"/></type></leaf>
    <leaf name="v-enumeration"><type name="enumeration"><enum name="on"/></type></leaf>
    <leaf name="v-identityref"><type name="identityref"><base name="hl:base-id"/></type></leaf>
    <leaf name="v-int64"><type name="int64"/></leaf>
    <leaf name="v-uint8"><type name="uint8"/></leaf>
    <leaf name="v-string"><type name="string"/></leaf>
    <leaf name="v-length"><type name="string"><length value="1..64"/></type></leaf>
    <leaf name="v-pattern"><type name="string"><pattern value="[a-z]+[0-9]*"/></type></leaf>
    <leaf name="v-union"><type name="union"><type name="int8"/><type name="boolean"/></type></leaf>
  </container>
  <rpc name="op">
    <input>
      <leaf name="text"><type name="string"/></leaf>
      <leaf name="code"><type name="string"><pattern value="[a-z]+"/></type></leaf>
      <anyxml name="blob"/>
      <container name="box">
        <leaf name="n"><type name="uint8"/></leaf>
        <must condition="not(../deep) or n &gt; 0"/>
      </container>
      <list name="item">
        <key value="id"/>
        <leaf name="id"><type name="uint32"/></leaf>
      </list>
      <leaf-list name="tag"><type name="uint32"/></leaf-list>
    </input>
  </rpc>
  <notification name="event">
    <leaf name="text"><type name="string"/></leaf>
  </notification>
</module>)yin";

using kztest::DocPtr;
using kztest::ErrPtr;

class HardeningLimits : public kztest::SharedModuleTest<HardeningLimits> {
public:
    static const char *ModuleText() { return kModule; }

protected:
    // An "op" request document whose top element is returned through top.
    static DocPtr NewRequest(xmlNode **top)
    {
        DocPtr doc(xmlNewDoc(BAD_CAST "1.0"));
        *top = xmlNewNode(nullptr, BAD_CAST "op");
        xmlDocSetRootElement(doc.get(), *top);
        xmlSetNs(*top, xmlNewNs(*top, BAD_CAST "urn:example:hl", nullptr));
        return doc;
    }

    static ErrPtr ValidateTree(xmlNode *top)
    {
        return ErrPtr(KZ_CTX_ValidateRpcDataTree(ctx_, KZ_DATA_KIND_XMLTREE, top, nullptr, nullptr));
    }

    static uint32_t Check(const char *leaf, const std::string &value)
    {
        KzsNode *node = KZ_CTX_GetTargetNode(ctx_, (std::string("/hl:top/") + leaf).c_str(), nullptr);
        EXPECT_NE(node, nullptr) << leaf;
        return KZ_NODE_ValidateValue(node, KZ_VAL_INPUT_STRING, value.c_str());
    }

};

TEST_F(HardeningLimits, TenThousandLevelsDeep)
{
    // Inside anyxml the content is opaque: a valid request however deep it is.
    // Under a container the second level is already unknown.
    for (const bool opaque : {true, false}) {
        xmlNode *top = nullptr;
        DocPtr doc = NewRequest(&top);
        xmlNode *n = xmlNewChild(top, nullptr, BAD_CAST(opaque ? "blob" : "box"), nullptr);
        for (int i = 0; i < 10000; ++i) {
            n = xmlNewChild(n, nullptr, BAD_CAST(opaque ? "d" : "box"), nullptr);
        }
        xmlNodeSetContent(n, BAD_CAST "leafmost");
        ErrPtr err = ValidateTree(top);
        EXPECT_EQ(err == nullptr, opaque);
        EXPECT_EQ(KZ_GetErrorTag(err.get()), opaque ? 0u : KZ_ERR_TAG_UNKNOWN_ELEMENT);
    }
    // As text the parser's own depth limit refuses it with an error record.
    std::string text = "<op xmlns=\"urn:example:hl\"><blob>";
    for (int i = 0; i < 10000; ++i) {
        text += "<d>";
    }
    for (int i = 0; i < 10000; ++i) {
        text += "</d>";
    }
    text += "</blob></op>";
    EXPECT_NE(ValidateRpcText(text), nullptr);
    EXPECT_EQ(KZ_CTX_ValidateNotifDataTree(ctx_, ("<event xmlns=\"urn:example:hl\">" + text + "</event>").c_str(),
                                           nullptr, nullptr),
              KZ_EINVAL);
}

// A million siblings: list entries, then leaf-list values.  Checking them
// compares siblings without allocating, so no count reflects a quadratic
// path there: the one clock-based check left compares the time of 4n
// siblings with that of n (linear gives about 4, quadratic 16; both runs slow
// down alike under valgrind or a sanitizer).  A bad key after the million
// entries is still found.
TEST_F(HardeningLimits, MillionSiblings)
{
    constexpr int kCount = 1000000;
    auto request = [](int n, bool list, xmlNode **top) {
        DocPtr doc = NewRequest(top);
        for (int i = 0; i < n; ++i) {
            const std::string id = std::to_string(i);
            if (list) {
                xmlNode *item = xmlNewChild(*top, nullptr, BAD_CAST "item", nullptr);
                xmlNewChild(item, nullptr, BAD_CAST "id", BAD_CAST(id.c_str()));
            } else {
                xmlNewChild(*top, nullptr, BAD_CAST "tag", BAD_CAST(id.c_str()));
            }
        }
        return doc;
    };
    auto seconds = [&](int n) {
        double total = 0;
        for (bool list : {true, false}) {
            xmlNode *top = nullptr;
            DocPtr doc = request(n, list, &top);
            const auto t0 = std::chrono::steady_clock::now();
            EXPECT_EQ(ValidateTree(top), nullptr);
            total += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        }
        return total;
    };
    const double quarter = seconds(kCount / 4);
    const double whole = seconds(kCount);
    EXPECT_LT(whole, 10 * quarter + 0.05) << quarter << " s then " << whole << " s";

    xmlNode *top = nullptr;
    DocPtr doc = request(kCount, true, &top);
    xmlNewChild(xmlNewChild(top, nullptr, BAD_CAST "item", nullptr), nullptr, BAD_CAST "id", BAD_CAST "not-a-number");
    EXPECT_NE(ValidateTree(top), nullptr);
}

TEST_F(HardeningLimits, TenMegabyteValues)
{
    constexpr size_t kSize = 10u << 20;
    const std::string letters(kSize, 'a');
    const std::string digits(kSize, '7');
    std::string bits;
    while (bits.size() < kSize) {
        bits += "a b ";
    }

    EXPECT_EQ(Check("v-string", letters), KZ_OK);
    EXPECT_EQ(Check("v-length", letters), KZ_VAL_ERR_LENGTH);
    EXPECT_EQ(Check("v-pattern", letters + "1234"), KZ_OK);
    EXPECT_EQ(Check("v-pattern", letters + "-"), KZ_VAL_ERR_PATTERN);
    EXPECT_EQ(Check("v-int64", digits), KZ_VAL_ERR_RANGE);
    EXPECT_EQ(Check("v-uint8", "-" + digits), KZ_VAL_ERR_RANGE);
    EXPECT_EQ(Check("v-decimal64", digits + ".5"), KZ_VAL_ERR_RANGE);
    EXPECT_EQ(Check("v-decimal64", "1." + digits), KZ_VAL_ERR_RANGE);
    EXPECT_EQ(Check("v-enumeration", letters), KZ_VAL_ERR_ENUM);
    EXPECT_EQ(Check("v-bits", bits), KZ_VAL_ERR_BITS);
    EXPECT_EQ(Check("v-boolean", letters), KZ_VAL_ERR_BOOLEAN);
    EXPECT_EQ(Check("v-identityref", letters + ":x"), KZ_VAL_ERR_IDENTREF);
    EXPECT_EQ(Check("v-identityref", "hl:" + letters), KZ_VAL_ERR_IDENTREF);
    EXPECT_EQ(Check("v-union", digits), KZ_VAL_ERR_UNION);
    // Base64 of 10 MB ("AAAA" decodes to three zero bytes).
    std::string b64;
    b64.reserve(kSize);
    while (b64.size() < kSize) {
        b64 += "AAAA";
    }
    EXPECT_EQ(Check("v-binary", b64), KZ_OK);
    EXPECT_EQ(Check("v-binary", b64 + "A"), KZ_VAL_ERR_BINARY);

    // The same values inside a request: accepted or refused as a whole.
    std::string body = "<op xmlns=\"urn:example:hl\"><text>" + letters + "</text></op>";
    EXPECT_EQ(ValidateRpcText(body), nullptr);
    ErrPtr bad = ValidateRpcText("<op xmlns=\"urn:example:hl\"><code>" + letters + "0</code></op>");
    ASSERT_NE(bad, nullptr);
    // The message quotes the value, so it must have been cut to a sane size.
    ASSERT_NE(KZ_GetErrorMessage(bad.get()), nullptr);
    EXPECT_LT(std::string(KZ_GetErrorMessage(bad.get())).size(), 4096u);
}

// A must of 100,000 tokens in a module: the loader either keeps it or refuses
// it with a message; if kept, evaluating it on a request still ends.  Loading
// and checking four times the tokens costs at most about four times the
// allocations.
TEST(HardeningConditions, HundredThousandTokenMustInAModule)
{
    auto loadAndCheck = [](size_t size) {
        std::string cond = ". = 1";
        while (cond.size() < size) {
            cond += " and . = 1";
        }
        const std::string yin = kztest::Module(
            "hc", "<rpc name=\"go\"><input><leaf name=\"n\"><type name=\"uint8\"/><must condition=\"" + cond +
                      "\"/></leaf></input></rpc>", "p");
        kztest::Ctx ctx(0);
        return kztest::CountMallocs([&] {
            if (KZ_CTX_LoadMemory(ctx, yin.c_str()) != KZ_OK) {
                EXPECT_FALSE(kztest::LoadMessages(ctx).empty());
                return;
            }
            std::string ok = "<go xmlns=\"urn:test:hc\"><n>1</n></go>";
            std::string bad = "<go xmlns=\"urn:test:hc\"><n>2</n></go>";
            EXPECT_EQ(KZ_CTX_ValidateRpcDataTree(ctx, KZ_DATA_KIND_TEXT, ok.data(), nullptr, nullptr), nullptr);
            EXPECT_NE(ErrPtr(KZ_CTX_ValidateRpcDataTree(ctx, KZ_DATA_KIND_TEXT, bad.data(), nullptr, nullptr)),
                      nullptr);
        });
    };
    const uint64_t quarter = loadAndCheck(100000);
    const uint64_t whole = loadAndCheck(400000);
    EXPECT_LT(whole, 5 * quarter) << quarter << " then " << whole;
}

// Typedef chains: 129 derived steps are the most a value check takes, a
// longer chain and a cycle both end with the derivation status, and the
// derived-name walk refuses a cycle instead of spinning.
TEST(HardeningTypedefChains, PastTheDerivationLimit)
{
    auto chain = [](int length) {
        std::string body = "<typedef name=\"t0\"><type name=\"uint8\"/></typedef>";
        for (int i = 1; i < length; ++i) {
            body += "<typedef name=\"t" + std::to_string(i) + "\"><type name=\"p:t" + std::to_string(i - 1) +
                    "\"/></typedef>";
        }
        return body + "<leaf name=\"x\"><type name=\"p:t" + std::to_string(length - 1) + "\"/></leaf>";
    };
    struct Case {
        int typedefs;
        uint32_t expected;
    };
    // The leaf's own step counts too: t0..t127 is 128 steps from the leaf.
    for (const Case &c : {Case{100, KZ_OK}, Case{129, KZ_OK}, Case{130, KZ_VAL_ERR_DERIVED},
                          Case{2000, KZ_VAL_ERR_DERIVED}}) {
        kztest::Ctx ctx(0);
        ASSERT_NE(ctx, nullptr);
        ASSERT_EQ(KZ_CTX_LoadMemory(ctx, kztest::Module("tc", chain(c.typedefs), "p").c_str()), KZ_OK) << c.typedefs;
        KzsNode *x = KZ_CTX_GetTargetNode(ctx, "/tc:x", nullptr);
        ASSERT_NE(x, nullptr);
        EXPECT_EQ(KZ_NODE_ValidateValue(x, KZ_VAL_INPUT_STRING, "7"), c.expected) << c.typedefs;
        if (c.expected == KZ_OK) {
            EXPECT_EQ(KZ_NODE_ValidateValue(x, KZ_VAL_INPUT_STRING, "700"), KZ_VAL_ERR_RANGE) << c.typedefs;
        }
    }

    // t0 -> t1 -> t0: a cycle that no base type ends.
    std::string cycle = "<typedef name=\"t0\"><type name=\"p:t1\"/></typedef>"
                        "<typedef name=\"t1\"><type name=\"p:t0\"/></typedef>"
                        "<leaf name=\"x\"><type name=\"p:t0\"/></leaf>";
    kztest::Ctx ctx(0);
    if (KZ_CTX_LoadMemory(ctx, kztest::Module("cy", cycle, "p").c_str()) == KZ_OK) {
        KzsNode *x = KZ_CTX_GetTargetNode(ctx, "/cy:x", nullptr);
        ASSERT_NE(x, nullptr);
        EXPECT_EQ(KZ_NODE_ValidateValue(x, KZ_VAL_INPUT_STRING, "7"), KZ_VAL_ERR_DERIVED);
        EXPECT_EQ(KZ_NODE_FindRealTypeMatchedValue(x, KZ_VAL_INPUT_STRING, "7"), nullptr);
        uint32_t steps = 0;
        EXPECT_EQ(KZ_TYPE_IterRealTypeDerivedName(
                      KZ_NODE_GetRealType(x), ctx,
                      [](const char *, const char *, KztRealType *, void *n) -> uint32_t {
                          ++*static_cast<uint32_t *>(n);
                          return 0;
                      },
                      &steps),
                  KZ_EINVAL);
        EXPECT_LE(steps, 129u) << "the walk stops at the derivation limit";
    }
}

} // namespace
