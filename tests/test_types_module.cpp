// Ranges, lengths and decimal64 of loaded modules, checked through the
// public value check.
#include <gtest/gtest.h>
#include <libxml/xmlerror.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "korla.h"

namespace {

const char *kModule = R"(<module xmlns="urn:ietf:params:xml:ns:yang:yin:1" name="tm">
  <namespace uri="urn:tm"/><prefix value="p"/>
  <typedef name="pct"><type name="int32"><range value="0..100"/></type></typedef>
  <typedef name="low"><type name="p:pct"><range value="min..20"/></type></typedef>
  <typedef name="mid"><type name="pct"><range value="10..20"/></type></typedef>
  <typedef name="price"><type name="decimal64"><fraction-digits value="2"/>
    <range value="-1.5..12.34 | 100"/></type></typedef>
  <typedef name="short"><type name="string"><length value="1..8"/></type></typedef>
  <container name="top">
    <leaf name="low"><type name="low"/></leaf>
    <leaf name="mid"><type name="mid"/></leaf>
    <leaf name="price"><type name="price"/></leaf>
    <leaf name="code"><type name="short"><length value="min..3"/></type></leaf>
    <leaf name="small"><type name="uint8"><range value="1..10 | 20..max"/></type></leaf>
  </container>
</module>)";

uint32_t CollectMessage(const char *, const char *, uint32_t, const char *message, const KzSysTime *, void *arg)
{
    static_cast<std::vector<std::string> *>(arg)->emplace_back(message);
    return 0;
}

class TypesModule : public ::testing::Test {
protected:
    void SetUp() override
    {
        ctx_ = KZ_CTX_Create(0);
        ASSERT_NE(ctx_, nullptr);
        ASSERT_EQ(KZ_CTX_LoadMemory(ctx_, kModule), 0u);
    }
    void TearDown() override { KZ_CTX_Delete(ctx_); }

    uint32_t Check(const char *leaf, const char *value)
    {
        KzsNode *node = KZ_CTX_GetTargetNode(ctx_, (std::string("/tm:top/") + leaf).c_str(), nullptr);
        EXPECT_NE(node, nullptr) << leaf;
        return KZ_NODE_ValidateValue(node, KZ_VAL_INPUT_STRING, value);
    }

    KzCtx *ctx_ = nullptr;
};

} // namespace

TEST_F(TypesModule, ValuesAlongTypedefChains)
{
    struct Row {
        const char *leaf;
        const char *value;
        uint32_t ret;
    };
    const Row rows[] = {
        // min..20 over 0..100: the parent supplies "min"
        {"low", "0", 0}, {"low", "20", 0}, {"low", "-1", 28680}, {"low", "21", 28680},
        // 10..20 over 0..100: only the outer range counts
        {"mid", "15", 0}, {"mid", "50", 28680}, {"mid", "9", 28680},
        {"price", "12.34", 0}, {"price", "-1.5", 0}, {"price", "100", 0}, {"price", "+12", 0},
        {"price", "12.345", 28680}, {"price", "12.35", 28680}, {"price", "50", 28680},
        // min..3 over 1..8
        {"code", "abc", 0}, {"code", "", 28677}, {"code", "abcd", 28677},
        {"small", "10", 0}, {"small", "255", 0}, {"small", "15", 28680}, {"small", "0", 28680},
        {"small", "256", 28680},
    };
    for (const Row &r : rows) {
        EXPECT_EQ(Check(r.leaf, r.value), r.ret) << r.leaf << " = \"" << r.value << '"';
    }
}

TEST(TypesModuleLoad, BadRangeFailsTheModuleWithTheTypeMessage)
{
    KzCtx *ctx = KZ_CTX_Create(0);
    ASSERT_NE(ctx, nullptr);
    const char *bad = R"(<module xmlns="urn:ietf:params:xml:ns:yang:yin:1" name="bad">
      <namespace uri="urn:bad"/><prefix value="b"/>
      <leaf name="x"><type name="uint8"><range value="-1..5"/></type></leaf>
    </module>)";
    EXPECT_NE(KZ_CTX_LoadMemory(ctx, bad), 0u);
    std::vector<std::string> msgs;
    KZ_CTX_ScanAllSchemaLoadFail(ctx, CollectMessage, &msgs);
    ASSERT_FALSE(msgs.empty());
    EXPECT_EQ(msgs[0], "Failed to parse value \"uint8\" of statement \"type\".");
    KZ_CTX_Delete(ctx);
}

namespace {

int g_genericErrors = 0;

void CountGenericError(void *, const char *, ...)
{
    ++g_genericErrors;
}

/* Everything written to fd 2 while fn runs. */
template <typename Fn>
std::string CaptureStderr(Fn fn)
{
    int fds[2];
    if (pipe(fds) != 0) {
        ADD_FAILURE() << "pipe";
        return {};
    }
    fflush(stderr);
    const int saved = dup(STDERR_FILENO);
    dup2(fds[1], STDERR_FILENO);
    close(fds[1]);
    fn();
    fflush(stderr);
    dup2(saved, STDERR_FILENO);
    close(saved);
    std::string out;
    char buf[256];
    for (ssize_t n; (n = read(fds[0], buf, sizeof(buf))) > 0;) {
        out.append(buf, static_cast<size_t>(n));
    }
    close(fds[0]);
    return out;
}

const char *kBadPatternModule = R"(<module xmlns="urn:ietf:params:xml:ns:yang:yin:1" name="badpat">
  <namespace uri="urn:badpat"/><prefix value="b"/>
  <leaf name="x"><type name="string"><pattern value="[a-"/></type></leaf>
</module>)";

} // namespace

TEST(TypesModuleLoad, BadPatternIsSilentKeepsTheCallersHandlerAndMatchesNothing)
{
    KzCtx *ctx = KZ_CTX_Create(0);
    ASSERT_NE(ctx, nullptr);
    const std::string written = CaptureStderr([&] { EXPECT_EQ(KZ_CTX_LoadMemory(ctx, kBadPatternModule), 0u); });
    EXPECT_EQ(written, "");
    KzsNode *leaf = KZ_CTX_GetTargetNode(ctx, "/badpat:x", nullptr);
    ASSERT_NE(leaf, nullptr);
    EXPECT_NE(KZ_NODE_ValidateValue(leaf, KZ_VAL_INPUT_STRING, "a"), 0u);
    KZ_CTX_Delete(ctx);

    /* A handler the embedding process installed stays in place and hears nothing of ours. */
    int marker = 0;
    g_genericErrors = 0;
    xmlSetGenericErrorFunc(&marker, CountGenericError);
    ctx = KZ_CTX_Create(0);
    ASSERT_NE(ctx, nullptr);
    EXPECT_EQ(KZ_CTX_LoadMemory(ctx, kBadPatternModule), 0u);
    KZ_CTX_Delete(ctx);
    EXPECT_EQ(g_genericErrors, 0);
    EXPECT_EQ(xmlGenericError, CountGenericError);
    EXPECT_EQ(xmlGenericErrorContext, &marker);
    xmlSetGenericErrorFunc(nullptr, nullptr);
}
