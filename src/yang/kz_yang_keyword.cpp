/* The keyword table of RFC 7950 section 13.1. */
#include "yang/kz_yang_keyword.h"

#include <cstring>

namespace kz::yang {

/* In strcmp order, for the binary search. */
const KeywordArgForm kKeywordForms[] = {
    {"action", "name", false},           {"anydata", "name", false},
    {"anyxml", "name", false},           {"argument", "name", false},
    {"augment", "target-node", false},   {"base", "name", false},
    {"belongs-to", "module", false},     {"bit", "name", false},
    {"case", "name", false},             {"choice", "name", false},
    {"config", "value", false},          {"contact", "text", true},
    {"container", "name", false},        {"default", "value", false},
    {"description", "text", true},       {"deviate", "value", false},
    {"deviation", "target-node", false}, {"enum", "name", false},
    {"error-app-tag", "value", false},   {"error-message", "value", true},
    {"extension", "name", false},        {"feature", "name", false},
    {"fraction-digits", "value", false}, {"grouping", "name", false},
    {"identity", "name", false},         {"if-feature", "name", false},
    {"import", "module", false},         {"include", "module", false},
    {"input", nullptr, false},           {"key", "value", false},
    {"leaf", "name", false},             {"leaf-list", "name", false},
    {"length", "value", false},          {"list", "name", false},
    {"mandatory", "value", false},       {"max-elements", "value", false},
    {"min-elements", "value", false},    {"modifier", "value", false},
    {"module", "name", false},           {"must", "condition", false},
    {"namespace", "uri", false},         {"notification", "name", false},
    {"ordered-by", "value", false},      {"organization", "text", true},
    {"output", nullptr, false},          {"path", "value", false},
    {"pattern", "value", false},         {"position", "value", false},
    {"prefix", "value", false},          {"presence", "value", false},
    {"range", "value", false},           {"reference", "text", true},
    {"refine", "target-node", false},    {"require-instance", "value", false},
    {"revision", "date", false},         {"revision-date", "date", false},
    {"rpc", "name", false},              {"status", "value", false},
    {"submodule", "name", false},        {"type", "name", false},
    {"typedef", "name", false},          {"unique", "tag", false},
    {"units", "name", false},            {"uses", "name", false},
    {"value", "value", false},           {"when", "condition", false},
    {"yang-version", "value", false},    {"yin-element", "value", false},
};

static_assert(sizeof(kKeywordForms) / sizeof(kKeywordForms[0]) == kKeywordCount, "keyword table size");

std::size_t FindKeywordIndex(const char *text, std::size_t len)
{
    if (len == 0) {
        return kKeywordCount;
    }
    std::size_t lo = 0;
    std::size_t hi = kKeywordCount;
    while (lo < hi) {
        const std::size_t mid = (lo + hi) / 2;
        const char *kw = kKeywordForms[mid].keyword;
        /* The first characters decide most steps without a call. */
        int cmp = static_cast<unsigned char>(kw[0]) - static_cast<unsigned char>(text[0]);
        if (cmp == 0) {
            cmp = std::strncmp(kw, text, len);
        }
        if (cmp == 0 && kw[len] != '\0') {
            cmp = 1;
        }
        if (cmp == 0) {
            return mid;
        }
        if (cmp < 0) {
            lo = mid + 1;
        } else {
            hi = mid;
        }
    }
    return kKeywordCount;
}

const KeywordArgForm *FindKeywordArgForm(const char *keyword)
{
    if (keyword == nullptr) {
        return nullptr;
    }
    const std::size_t i = FindKeywordIndex(keyword, std::strlen(keyword));
    return i != kKeywordCount ? &kKeywordForms[i] : nullptr;
}

} /* namespace kz::yang */
