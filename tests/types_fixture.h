// Shared set-up of the type-layer tests: a bare context with its dictionary,
// a module record, and YIN snippets parsed with libxml2.
#ifndef KORLA_TESTS_TYPES_FIXTURE_H
#define KORLA_TESTS_TYPES_FIXTURE_H

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstring>
#include <memory>
#include <string>

#include "schema/kzs_ctx.h"
#include "base/kz_dict.h"
#include "schema/kzs_mod.h"
#include "types/kzt_cons.h"
#include "types/kzt_type.h"
#include "loader/kzs_stmt.h"

namespace kzt_test {

constexpr const char *kYinNs = "urn:ietf:params:xml:ns:yang:yin:1";

struct XmlDocFree {
    void operator()(xmlDoc *doc) const { xmlFreeDoc(doc); }
};
using XmlDocPtr = std::unique_ptr<xmlDoc, XmlDocFree>;

inline XmlDocPtr ParseYin(const std::string &text)
{
    xmlKeepBlanksDefault(0);
    return XmlDocPtr(xmlParseMemory(text.data(), static_cast<int>(text.size())));
}

// `<type name="...">body</type>` in the YIN namespace.
inline std::string TypeYin(const std::string &name, const std::string &body = "")
{
    return "<type xmlns=\"" + std::string(kYinNs) + "\" name=\"" + name + "\">" + body + "</type>";
}

inline uint32_t DictEntries(const KzDict &dict)
{
    uint32_t n = 0;
    for (uint32_t i = 0; i < dict.bucketCount && dict.buckets != nullptr; ++i) {
        for (const KzDictEntry *e = dict.buckets[i].head; e != nullptr; e = e->next) {
            n += e->refCount;
        }
    }
    return n;
}

// A context reduced to what the type layer touches, and one module "m".
class TypesFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::memset(&ctx_, 0, sizeof(ctx_));
        ASSERT_EQ(KZ_DICT_Init(&ctx_.dict), 0u);
        std::memset(&mod_, 0, sizeof(mod_));
        mod_.ctx = &ctx_;
        mod_.name = KZ_DICT_Insert(&ctx_.dict, "m");
        mod_.prefix = KZ_DICT_Insert(&ctx_.dict, "mp");
        baseline_ = DictEntries(ctx_.dict);
    }

    void TearDown() override
    {
        KZ_DICT_Remove(&ctx_.dict, mod_.name);
        KZ_DICT_Remove(&ctx_.dict, mod_.prefix);
        KZ_DICT_Destroy(&ctx_.dict);
    }

    // Parses a whole `type` element into rt (owned by the test).
    uint32_t ParseType(const std::string &yin, KztRealType *rt)
    {
        doc_ = ParseYin(yin);
        if (!doc_) {
            ADD_FAILURE() << "bad XML: " << yin;
            return 1;
        }
        return KZT_LOADER_ParseTypeStmt(&mod_, xmlDocGetRootElement(doc_.get()), KZS_STMT_TYPE_ID, rt);
    }

    void Destroy(KztRealType *rt) { KZT_TYPE_DestroyNytRealTypeInner(&ctx_.dict, rt); }

    uint32_t Leaked() const { return DictEntries(ctx_.dict) - baseline_; }

    static constexpr uint32_t KZS_STMT_TYPE_ID = 60;

    KzCtx ctx_;
    KzMod mod_;
    XmlDocPtr doc_;
    uint32_t baseline_ = 0;
};

} // namespace kzt_test

#endif // KORLA_TESTS_TYPES_FIXTURE_H
