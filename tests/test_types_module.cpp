// A bad pattern in a loaded module: refused values, and libxml2's error
// output left as the embedding process set it.
#include <libxml/xmlerror.h>

#include "test_support.h"

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
