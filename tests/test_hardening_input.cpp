// Hostile input from a remote client or a module author: document type
// declarations and entities, elements in foreign namespaces, module headers
// that lack their keys, parser chatter on stderr or through libxml2's error
// handler, and the input limits.
#include <fcntl.h>
#include <libxml/xmlerror.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <valgrind/valgrind.h>

#include "test_support.h"

namespace {

using kztest::ErrPtr;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true; // the shadow memory does not fit an address-space limit
#else
constexpr bool kSanitized = false;
#endif

const char *kAcme = R"(<module name="acme" xmlns="urn:ietf:params:xml:ns:yang:yin:1" xmlns:a="urn:acme">
  <namespace uri="urn:acme"/><prefix value="a"/>
  <rpc name="op"><input>
    <leaf name="image"><type name="string"/><mandatory value="true"/></leaf>
    <container name="box"><must condition=". != 'zz'"/><leaf name="n"><type name="string"/></leaf></container>
    <anydata name="blob"/>
  </input></rpc>
  <notification name="ev"><leaf name="t"><type name="string"/></leaf></notification>
</module>)";

class HardeningInput : public kztest::SharedModuleTest<HardeningInput> {
public:
    static const char *ModuleText() { return kAcme; }

protected:
    static uint32_t Notify(const std::string &text)
    {
        return KZ_CTX_ValidateNotifDataTree(
            ctx_, text.c_str(), [](const char *, void *) -> uint32_t { return 0; }, nullptr);
    }
};

const char *kBadPatternModule = R"(<module xmlns="urn:ietf:params:xml:ns:yang:yin:1" name="badpat">
  <namespace uri="urn:badpat"/><prefix value="b"/>
  <leaf name="x"><type name="string"><pattern value="[a-"/></type></leaf>
</module>)";

// Everything written to fd 2 while fn runs.
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

// The bytes of address space the process has mapped already (the allocator
// reserves its arena up front).
rlim_t MappedBytes()
{
    std::FILE *f = std::fopen("/proc/self/status", "r");
    unsigned long kb = 0;
    char line[256];
    while (f != nullptr && kb == 0 && std::fgets(line, sizeof line, f) != nullptr) {
        (void)std::sscanf(line, "VmSize: %lu", &kb);
    }
    if (f != nullptr) {
        std::fclose(f);
    }
    return static_cast<rlim_t>(kb) << 10;
}

std::string Op(const std::string &prolog, const std::string &inside)
{
    return prolog + "<op xmlns=\"urn:acme\"><image>x</image>" + inside + "</op>";
}

// Every document type declaration is refused before any of it is read, wherever
// its entities would be used; XInclude is never processed.  In a child process
// that may map at most 512 MB more, so that an expansion could not go unnoticed.
TEST_F(HardeningInput, HostileDocumentsAreRefusedInBoundedMemory)
{
    const std::string big(100000, 'a');
    const std::string internal = "<!DOCTYPE op [<!ENTITY e \"" + big + "\">]>";
    const std::string external = "<!DOCTYPE op [<!ENTITY e SYSTEM \"file:///etc/passwd\">]>";
    const std::string dtd = "<!DOCTYPE op SYSTEM \"http://example.com/op.dtd\">";
    std::string refs;
    for (int i = 0; i < 10000; ++i) {
        refs += "&e;";
    }
    const std::string xinclude = "<xi:include xmlns:xi=\"http://www.w3.org/2001/XInclude\" href=\"/etc/passwd\"/>";
    struct Row {
        std::string text;
        uint32_t tag;
    } rows[] = {
        {Op(internal, "<box><n>" + refs + "</n></box>"), KZ_ERR_TAG_MALFORMED_MESSAGE},
        {Op(internal, "<blob>" + refs + "</blob>"), KZ_ERR_TAG_MALFORMED_MESSAGE},
        {Op(internal, "<box>" + refs + "</box>"), KZ_ERR_TAG_MALFORMED_MESSAGE},
        {Op(external, "<box><n>&e;</n></box>"), KZ_ERR_TAG_MALFORMED_MESSAGE},
        {Op(dtd, "<box><n>a</n></box>"), KZ_ERR_TAG_MALFORMED_MESSAGE},
        {Op("", "<box>" + xinclude + "</box>"), KZ_ERR_TAG_UNKNOWN_ELEMENT},
    };
    const bool limited = RUNNING_ON_VALGRIND == 0 && !kSanitized;
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const rlim_t room = MappedBytes() + (512ul << 20);
        struct rlimit lim = {room, room};
        if (limited && setrlimit(RLIMIT_AS, &lim) != 0) {
            _exit(2);
        }
        int bad = 0;
        for (const Row &row : rows) {
            ErrPtr err = ValidateRpcText(row.text);
            bad += err == nullptr || KZ_GetErrorTag(err.get()) != row.tag;
        }
        bad += Notify("<!DOCTYPE ev [<!ENTITY e \"v\">]><ev xmlns=\"urn:acme\"><t>&e;</t></ev>") != KZ_EINVAL;
        _exit(bad);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);

    ErrPtr err = ValidateRpcText(rows[0].text);
    ASSERT_NE(err, nullptr);
    EXPECT_STREQ(KZ_GetErrorMessage(err.get()), "Unexpected document type declaration.");
    EXPECT_EQ(Notify("<ev xmlns=\"urn:acme\"><t>v</t></ev>"), KZ_OK);
}

// A caller's tree that still holds entity references is refused the same way,
// and a condition's string value never expands one.
TEST_F(HardeningInput, EntityReferencesInACallersTree)
{
    kztest::DocPtr doc = kztest::ParseXml(Op("<!DOCTYPE op [<!ENTITY e \"zz\">]>", "<box><n>&e;</n></box>"));
    ASSERT_NE(doc, nullptr);
    xmlNode *top = xmlDocGetRootElement(doc.get());
    ErrPtr err(KZ_CTX_ValidateRpcDataTree(ctx_, KZ_DATA_KIND_XMLTREE, top, nullptr, nullptr));
    ASSERT_NE(err, nullptr);
    EXPECT_EQ(KZ_GetErrorTag(err.get()), KZ_ERR_TAG_MALFORMED_MESSAGE);
    EXPECT_STREQ(KZ_GetErrorMessage(err.get()), "Unexpected entity reference: e.");

    xmlNode *n = top->children->next->children;
    EXPECT_EQ(KZ_XPATH_EvalCondition(top, n, ". = ''"), 0u);
    EXPECT_EQ(KZ_XPATH_EvalCondition(top, n, ". = 'zz'"), KZ_XPATH_FALSE);
}

// An element binds only through the namespace of a loaded module.
TEST_F(HardeningInput, ForeignNamespacesNeverBind)
{
    for (const char *image : {"<image xmlns=\"urn:attacker:ns\">x</image>", "<image xmlns=\"\">x</image>",
                              "<a:image xmlns:a=\"urn:other\">x</a:image>"}) {
        ErrPtr err = ValidateRpcText(std::string("<op xmlns=\"urn:acme\">") + image + "</op>");
        ASSERT_NE(err, nullptr) << image;
        EXPECT_EQ(KZ_GetErrorTag(err.get()), KZ_ERR_TAG_UNKNOWN_ELEMENT) << image;
        EXPECT_STREQ(KZ_GetBadElement(err.get()), "image") << image;
    }
    EXPECT_EQ(ValidateRpcText("<op xmlns=\"urn:acme\"><a:image xmlns:a=\"urn:acme\">x</a:image></op>"), nullptr);
}

class HardeningHeaders : public kztest::CtxTest {};

// A module without a name, namespace or prefix is refused when it would be
// registered, with a diagnostic; later loads and lookups are not disturbed.
TEST_F(HardeningHeaders, BrokenHeadersThenAValidLoad)
{
    const std::string yin = "urn:ietf:params:xml:ns:yang:yin:1";
    struct Row {
        std::string text;
        const char *diag;
    } rows[] = {
        {"<module name=\"nons\" xmlns=\"" + yin + "\"><prefix value=\"p\"/></module>",
         "Module \"nons\" has no namespace."},
        {"<module name=\"nopfx\" xmlns=\"" + yin + "\"><namespace uri=\"urn:nopfx\"/></module>",
         "Module \"nopfx\" has no prefix."},
        {"<module name=\"\" xmlns=\"" + yin + "\"><namespace uri=\"urn:e\"/><prefix value=\"e\"/></module>",
         "Module \"\" has no name."},
        {"<module name=\"alien\" xmlns=\"urn:not-yin\"><namespace uri=\"urn:alien\"/><prefix value=\"x\"/></module>",
         "Module \"alien\" has no namespace."},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(KZ_CTX_LoadMemory(ctx_, row.text.c_str()), KZ_EINVAL) << row.text;
    }
    std::vector<std::string> diags = kztest::LoadMessages(ctx_);
    for (const Row &row : rows) {
        EXPECT_NE(std::find(diags.begin(), diags.end(), row.diag), diags.end()) << row.diag;
    }
    EXPECT_EQ(KZ_CTX_GetModuleByModNs(ctx_, "urn:anything"), nullptr);
    ASSERT_EQ(KZ_CTX_LoadMemory(ctx_, kAcme), KZ_OK);
    ErrPtr err(KZ_CTX_ValidateRpcDataTree(ctx_, KZ_DATA_KIND_TEXT, const_cast<char *>("<op xmlns=\"urn:other\"/>"),
                                          nullptr, nullptr));
    ASSERT_NE(err, nullptr);
    EXPECT_EQ(KZ_GetErrorTag(err.get()), KZ_ERR_TAG_UNKNOWN_NAMESPACE);
}

int g_genericErrors = 0;

void CountGenericError(void *, const char *, ...)
{
    ++g_genericErrors;
}

// The library reports through results and diagnostics only: malformed modules
// and documents, and a pattern libxml2 cannot compile (it matches nothing),
// leave the process's stderr untouched, and the error handler the embedding
// process installed stays in place and hears nothing of ours.
TEST_F(HardeningHeaders, NothingIsWrittenToStderrOrTheCallersErrorHandler)
{
    int marker = 0;
    g_genericErrors = 0;
    xmlSetGenericErrorFunc(&marker, CountGenericError);
    Reopen(0);
    kztest::ScratchDir dir;
    dir.Write("broken.yin", "<module name=\"broken\"");
    EXPECT_EQ(KZ_CTX_SetSearchDir(ctx_, dir.Path().c_str()), KZ_OK);
    const std::string written = CaptureStderr([&] {
        EXPECT_EQ(KZ_CTX_LoadModule(ctx_, "broken"), KZ_EINVAL);
        EXPECT_EQ(KZ_CTX_LoadMemory(ctx_, "<module name=\"m\"><oops></module>"), KZ_EINVAL);
        EXPECT_NE(ErrPtr(KZ_CTX_ValidateRpcDataTree(ctx_, KZ_DATA_KIND_TEXT, const_cast<char *>("<op><unclosed></op>"),
                                                    nullptr, nullptr)),
                  nullptr);
        EXPECT_EQ(KZ_CTX_ValidateNotifDataTree(ctx_, "<!DOCTYPE x [<!ENTITY", nullptr, nullptr), KZ_EINVAL);
        EXPECT_EQ(KZ_CTX_LoadMemory(ctx_, kBadPatternModule), KZ_OK);
        KzsNode *leaf = KZ_CTX_GetTargetNode(ctx_, "/badpat:x", nullptr);
        EXPECT_NE(leaf != nullptr ? KZ_NODE_ValidateValue(leaf, KZ_VAL_INPUT_STRING, "a") : 0u, 0u);
    });
    EXPECT_EQ(written, "");
    const std::vector<std::string> diags = kztest::LoadMessages(ctx_, "broken");
    const std::string unreadable = "Failed to read content from the yin file. Line 1: ";
    EXPECT_EQ(diags.empty() ? "" : diags[0].substr(0, unreadable.size()), unreadable);
    Reopen(0);
    EXPECT_EQ(g_genericErrors, 0);
    EXPECT_EQ(xmlGenericError, CountGenericError);
    EXPECT_EQ(xmlGenericErrorContext, &marker);
    xmlSetGenericErrorFunc(nullptr, nullptr);
}

// Limits refuse at once instead of failing later without a word.
TEST_F(HardeningHeaders, LimitsAreRefusedUpFront)
{
    kztest::ScratchDir dir;
    std::string longDir = dir.Path();
    while (longDir.size() <= KZ_CTX_SEARCH_DIR_MAX) {
        longDir += "/dddddddddddddddddddddddddddddd";
        ASSERT_EQ(mkdir(longDir.c_str(), 0700), 0);
    }
    EXPECT_EQ(KZ_CTX_SetSearchDir(ctx_, longDir.c_str()), KZ_EINVAL);
    ASSERT_EQ(KZ_CTX_SetSearchDir(ctx_, dir.Path().c_str()), KZ_OK);

    dir.Write("mx.yin", kztest::Module("mx", ""));
    const std::vector<std::string> names{"m*", "m?", "[m]x", "1mx", "mx/", "", std::string(65, 'm')};
    for (const std::string &name : names) {
        EXPECT_EQ(KZ_CTX_LoadModule(ctx_, name.c_str()), KZ_EINVAL) << name;
    }
    EXPECT_TRUE(kztest::LoadMessages(ctx_).empty());

    const std::string big = dir.File("big.yin");
    const int fd = open(big.c_str(), O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(ftruncate(fd, static_cast<off_t>(KZ_CTX_MODULE_FILE_MAX) + 1), 0);
    close(fd);
    EXPECT_EQ(KZ_CTX_LoadModule(ctx_, "big"), KZ_EINVAL);
    std::vector<std::string> diags = kztest::LoadMessages(ctx_, "big");
    ASSERT_FALSE(diags.empty());
    EXPECT_NE(diags[0].find("exceeds the limit"), std::string::npos) << diags[0];

    ASSERT_EQ(KZ_CTX_LoadMemory(ctx_, kAcme), KZ_OK);
    ErrPtr err(KZ_CTX_ValidateRpcDataTree(ctx_, 3, const_cast<char *>("<op xmlns=\"urn:acme\"><image>x</image></op>"),
                                          nullptr, nullptr));
    ASSERT_NE(err, nullptr);
    EXPECT_EQ(KZ_GetErrorTag(err.get()), KZ_ERR_TAG_OPERATION_FAILED);
}

} // namespace
