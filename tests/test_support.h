// Helpers shared by the test files: owning pointers for library and libxml2
// objects, contexts with modules loaded from memory, the recorded load
// messages and child-name lists of schema nodes.
#ifndef KORLA_TESTS_TEST_SUPPORT_H
#define KORLA_TESTS_TEST_SUPPORT_H

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "korla.h"
#include "schema/kzs_node.h"

namespace kztest {

struct DocFree {
    void operator()(xmlDoc *doc) const { xmlFreeDoc(doc); }
};
using DocPtr = std::unique_ptr<xmlDoc, DocFree>;

struct ErrFree {
    void operator()(KzdErrNode *err) const { KZ_FreeErrNode(err); }
};
using ErrPtr = std::unique_ptr<KzdErrNode, ErrFree>;

inline DocPtr ParseXml(const std::string &text, int options = XML_PARSE_NOBLANKS)
{
    return DocPtr(xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, options));
}

// Every recorded load message in order; only module's when one is named.
inline std::vector<std::string> LoadMessages(KzCtx *ctx, const char *module = nullptr)
{
    struct Arg {
        const char *module;
        std::vector<std::string> out;
    } arg{module, {}};
    (void)KZ_CTX_ScanAllSchemaLoadFail(
        ctx,
        [](const char *mod, const char *, uint32_t, const char *message, const KzSysTime *, void *p) -> uint32_t {
            auto *a = static_cast<Arg *>(p);
            if (a->module == nullptr || (mod != nullptr && std::string(mod) == a->module)) {
                a->out.emplace_back(message != nullptr ? message : "");
            }
            return 0;
        },
        &arg);
    return arg.out;
}

// Names of first and the siblings after it.
inline std::vector<std::string> SiblingNames(const KzsNode *first)
{
    std::vector<std::string> names;
    for (const KzsNode *n = first; n != nullptr; n = n->next) {
        names.emplace_back(n->name);
    }
    return names;
}

inline std::vector<std::string> ChildNames(const KzsNode *node)
{
    return SiblingNames(node != nullptr ? node->firstChild : nullptr);
}

// The node called name among first and the siblings after it.
inline KzsNode *FindSibling(KzsNode *first, const std::string &name)
{
    for (KzsNode *n = first; n != nullptr; n = n->next) {
        if (name == n->name) {
            return n;
        }
    }
    return nullptr;
}

// fn(in) equals want for every {in, want} row.
template <class Fn>
void ExpectRows(Fn fn, std::initializer_list<std::pair<const char *, std::string>> rows)
{
    for (const auto &row : rows) {
        EXPECT_EQ(fn(row.first), row.second) << row.first;
    }
}

// A fresh context for every test; Reopen swaps in one with other options.
class CtxTest : public ::testing::Test {
protected:
    void SetUp() override { Reopen(0); }
    void TearDown() override
    {
        KZ_CTX_Delete(ctx_);
        ctx_ = nullptr;
    }

    void Reopen(uint32_t flags)
    {
        KZ_CTX_Delete(ctx_);
        ctx_ = KZ_CTX_Create(flags);
        ASSERT_NE(ctx_, nullptr);
    }

    // Loads a module text; returns the module called name, or null when refused.
    KzMod *LoadAs(const std::string &text, const char *name)
    {
        status_ = KZ_CTX_LoadMemory(ctx_, text.c_str());
        return KZ_CTX_GetModuleByModName(ctx_, name);
    }

    KzCtx *ctx_ = nullptr;
    uint32_t status_ = 0;
};

// One context holding Suite::ModuleText(), loaded once for the whole suite:
// the services under test only read it.
template <class Suite>
class SharedModuleTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        ctx_ = KZ_CTX_Create(0);
        ASSERT_NE(ctx_, nullptr);
        ASSERT_EQ(KZ_CTX_LoadMemory(ctx_, Suite::ModuleText()), KZ_OK);
    }
    static void TearDownTestSuite()
    {
        KZ_CTX_Delete(ctx_);
        ctx_ = nullptr;
    }

    static ErrPtr ValidateRpcText(const std::string &text)
    {
        return ErrPtr(
            KZ_CTX_ValidateRpcDataTree(ctx_, KZ_DATA_KIND_TEXT, const_cast<char *>(text.c_str()), nullptr, nullptr));
    }

    inline static KzCtx *ctx_ = nullptr;
};

} // namespace kztest

#endif // KORLA_TESTS_TEST_SUPPORT_H
