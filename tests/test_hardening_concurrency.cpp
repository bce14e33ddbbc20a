// Every read-only service of one loaded context at once: requests,
// notifications, value checks and condition evaluation on their own threads,
// each repeating a known answer.  Under ThreadSanitizer this is the check that
// none of them writes shared state.

#include <atomic>
#include <thread>

#include "test_support.h"

namespace {

const char *kModule = R"yin(<?xml version="1.0"?>
<module name="hx" xmlns="urn:ietf:params:xml:ns:yang:yin:1" xmlns:hx="urn:example:hx">
  <namespace uri="urn:example:hx"/>
  <prefix value="hx"/>
  <identity name="base-id"/>
  <identity name="child-id"><base name="hx:base-id"/></identity>
  <typedef name="small"><type name="int16"><range value="-10..10"/></type></typedef>
  <typedef name="smaller"><type name="hx:small"><range value="0..5"/></type></typedef>
  <container name="top">
    <leaf name="n"><type name="hx:smaller"/></leaf>
    <leaf name="word"><type name="string"><pattern value="[a-z]+"/></type></leaf>
    <leaf name="kind"><type name="identityref"><base name="hx:base-id"/></type></leaf>
    <leaf name="u"><type name="union"><type name="hx:small"/><type name="boolean"/></type></leaf>
    <leaf name="ref"><type name="leafref"><path value="../n"/></type></leaf>
    <leaf name="flags"><type name="bits"><bit name="x"/><bit name="y"/></type></leaf>
  </container>
  <rpc name="op">
    <input>
      <leaf name="n"><type name="hx:smaller"/><default value="1"/></leaf>
      <leaf name="extra"><when condition="../n &gt; 2"/><type name="string"/><default value="e"/></leaf>
      <list name="item">
        <key value="id"/>
        <leaf name="id"><type name="string"/></leaf>
        <must condition="id != 'bad'"/>
      </list>
    </input>
  </rpc>
  <notification name="event">
    <leaf name="level"><type name="uint8"/></leaf>
    <leaf name="note"><when condition="../level &gt; 3"/><type name="string"/></leaf>
  </notification>
</module>)yin";

class HardeningConcurrent : public kztest::SharedModuleTest<HardeningConcurrent> {
public:
    static const char *ModuleText() { return kModule; }
};

uint32_t KeepNotification(const char *text, void *arg)
{
    *static_cast<std::string *>(arg) = text;
    return 0;
}

TEST_F(HardeningConcurrent, AllServicesOnOneContext)
{
    constexpr int kRounds = 150;
    std::atomic<int> wrong{0};
    KzCtx *ctx = ctx_;
    struct ValueCase {
        const char *path;
        const char *value;
        uint32_t rc;
        KzsNode *node;
    };
    ValueCase values[] = {
        {"/hx:top/n", "4", KZ_OK, nullptr},
        {"/hx:top/n", "7", KZ_VAL_ERR_RANGE, nullptr},
        {"/hx:top/word", "abc", KZ_OK, nullptr},
        {"/hx:top/word", "ab1", KZ_VAL_ERR_PATTERN, nullptr},
        {"/hx:top/kind", "hx:child-id", KZ_OK, nullptr},
        {"/hx:top/u", "true", KZ_OK, nullptr},
        {"/hx:top/ref", "6", KZ_VAL_ERR_RANGE, nullptr},
        {"/hx:top/flags", "y x", KZ_OK, nullptr},
    };
    for (ValueCase &v : values) {
        v.node = KZ_CTX_GetTargetNode(ctx, v.path, nullptr);
        ASSERT_NE(v.node, nullptr) << v.path;
    }
    KzsNode *u = values[5].node;

    // One token list shared by every evaluating thread.
    const char *cond = "item/id = 'a' and n > 0 or n > 4";
    XpathLex *lex = KZ_XPATH_ExprTokenize(cond);
    ASSERT_NE(lex, nullptr);

    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kRounds; ++i) {
                bool good = (i + t) % 2 == 0;
                std::string body = good ? "<n>3</n><item><id>a</id></item>" : "<item><id>bad</id></item>";
                if ((ValidateRpcText("<op xmlns=\"urn:example:hx\">" + body + "</op>") == nullptr) != good) {
                    ++wrong;
                }
            }
        });
    }
    threads.emplace_back([&] {
        for (int i = 0; i < kRounds; ++i) {
            std::string out;
            int level = i % 8;
            std::string text = "<event xmlns=\"urn:example:hx\"><level>" + std::to_string(level) +
                               "</level><note>x</note></event>";
            if (KZ_CTX_ValidateNotifDataTree(ctx, text.c_str(), KeepNotification, &out) != KZ_OK ||
                (out.find("<note>") != std::string::npos) != (level > 3)) {
                ++wrong;
            }
        }
    });
    threads.emplace_back([&] {
        for (int i = 0; i < kRounds * 10; ++i) {
            bool ok = KZ_NODE_FindRealTypeMatchedValue(u, KZ_VAL_INPUT_STRING, "-3") != nullptr;
            for (const ValueCase &v : values) {
                ok = ok && KZ_NODE_ValidateValue(v.node, KZ_VAL_INPUT_STRING, v.value) == v.rc;
            }
            if (!ok) {
                ++wrong;
            }
        }
    });
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&, t] {
            // Each thread owns its instance tree; only the token list is shared.
            std::string text = "<op xmlns=\"urn:example:hx\"><n>" + std::to_string(t == 0 ? 1 : 5) +
                               "</n><item><id>a</id></item><item><id>b</id></item></op>";
            kztest::DocPtr doc = kztest::ParseXml(text, 0);
            if (doc == nullptr) {
                ++wrong;
                return;
            }
            xmlNode *root = xmlDocGetRootElement(doc.get());
            for (int i = 0; i < kRounds * 4; ++i) {
                if (KZ_XPATH_EvalTokenizedCondition(root, root, lex) != KZ_OK ||
                    KZ_XPATH_EvalCondition(root, root, "item/id = 'a' and not(n = 3)") != KZ_OK) {
                    ++wrong;
                }
            }
        });
    }
    for (std::thread &th : threads) {
        th.join();
    }
    KZ_XPATH_FreeXpathLex(lex);
    EXPECT_EQ(wrong.load(), 0);
}

} // namespace
