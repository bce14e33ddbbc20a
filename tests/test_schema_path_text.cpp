// Path texts: prefixed paths to module-qualified form, target-path splitting.

#include "test_support.h"

namespace {

class XPathJsonForm : public ::testing::Test {
protected:
    void SetUp() override
    {
        imports_[0] = KzsImport{"other-mod", "ot"};
        imports_[1] = KzsImport{"third", "th"};
        mod_.name = "mymod";
        mod_.prefix = "my";
        mod_.imports = imports_;
        mod_.importCount = 2;
    }

    std::string Json(const char *path) { return kztest::TakeText(KZ_XPATH_TransformToJsonFormat(&mod_, path)); }

    KzsImport imports_[2];
    KzMod mod_{};
};

struct Split {
    uint32_t ret;
    std::string mod;
    std::string head;
    std::string tail;

    // "status module head tail", for tabled rows.
    std::string Text() const
    {
        return std::to_string(ret) + " " + mod + " " + head + " " + tail;
    }
};

Split DoSplit(const char *path, uint32_t bufSize = 65)
{
    char buf[65] = "untouched";
    char *head = nullptr;
    char *tail = nullptr;
    Split r;
    r.ret = KZ_XPATH_SplitTargetNodeXpath(path, buf, bufSize, &head, &tail);
    r.mod = buf;
    r.head = kztest::TakeText(head);
    r.tail = kztest::TakeText(tail);
    return r;
}

} // namespace

TEST_F(XPathJsonForm, ModuleNameOnFirstStepWherePrefixChangesAndInPredicatesNot)
{
    kztest::ExpectRows([this](const char *p) { return Json(p); }, {
        {"/my:a/my:b", "/mymod:a/b"}, {"/my:a/ot:b/ot:c/my:d", "/mymod:a/other-mod:b/c/mymod:d"},
        {"/ot:a/b/th:c", "/other-mod:a/b/third:c"},
        // A first step without prefix belongs to the module itself.
        {"/a/b", "/mymod:a/b"}, {"a/ot:b", "mymod:a/other-mod:b"},
        // A later step without prefix inherits, even after a prefixed one of another module.
        {"/ot:a/b/my:c/d", "/other-mod:a/b/mymod:c/d"},
        // Parent steps.
        {"../x", "../mymod:x"}, {"../../ot:x/ot:y", "../../other-mod:x/y"},
        {"/my:a/../ot:b", "/mymod:a/../other-mod:b"},
        // Predicates are copied as written, prefixes inside them included.
        {"/my:a[my:k='1']/my:b", "/mymod:a[my:k='1']/b"},
        {"/ot:l[ot:k=current()/../x][ot:j='2']/ot:v", "/other-mod:l[ot:k=current()/../x][ot:j='2']/v"},
        // Unknown prefixes, a bad character after a step, a predicate never closed.
        {"/zz:a", "(null)"}, {"/my:a/zz:b", "(null)"}, {"/my:a b", "(null)"}, {"/my:a[k='1'", "(null)"},
        {"current()/x", "(null)"},
    });
    EXPECT_EQ(KZ_XPATH_TransformToJsonFormat(nullptr, "/a"), nullptr);
    EXPECT_EQ(KZ_XPATH_TransformToJsonFormat(&mod_, nullptr), nullptr);
    // The result must fit 3095 characters: "mymod:" adds 6 to the input.
    std::string longPath;
    for (int i = 0; i < 1544; i++) {
        longPath += "/a";
    }
    longPath += "x"; // 3089 characters
    EXPECT_EQ(Json(longPath.c_str()).size(), 3095u);
    longPath += "y";
    EXPECT_EQ(Json(longPath.c_str()), "(null)");
}

TEST(XPathTargetSplit, SplitsAtTheLastModuleQualifiedStep)
{
    kztest::ExpectRows([](const char *p) { return DoSplit(p).Text(); }, {
        {"/a:x/b:y/z", "0 b /a:x /b:y/z"},
        {"/mod-a:x.1/y/z", "0 mod-a (null) /mod-a:x.1/y/z"}, // the split is at the very start
        {"/a:x/b:y/c:z", "0 c /a:x/b:y /c:z"},
    });
    // Reaching the start of the text, no module-qualified step, "module:" not preceded by "/".
    for (const char *bad : {"a:x", "/x/y", "/a:x/b:", "/a:x/:y", "/a:x[k='1']", "/a:x/p b:y", ""}) {
        EXPECT_EQ(DoSplit(bad).ret, KZ_EINVAL) << bad;
    }

    char buf[8];
    EXPECT_EQ(KZ_XPATH_SplitTargetNodeXpath("/a:x/b:y", buf, sizeof(buf), nullptr, nullptr), KZ_OK);
    EXPECT_STREQ(buf, "b");
    Split r = DoSplit("/abc:x", 3); // module name does not fit
    EXPECT_EQ(r.ret, KZ_EINVAL);
    EXPECT_EQ(r.head, "(null)");
    EXPECT_EQ(r.tail, "(null)");
    EXPECT_EQ(KZ_XPATH_SplitTargetNodeXpath(nullptr, buf, sizeof(buf), nullptr, nullptr), KZ_EINVAL);
    EXPECT_EQ(KZ_XPATH_SplitTargetNodeXpath("/a:x", nullptr, 4, nullptr, nullptr), KZ_EINVAL);
}
