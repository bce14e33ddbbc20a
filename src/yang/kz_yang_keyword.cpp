/* The keyword table of RFC 7950 section 13.1. */
#include "yang/kz_yang_keyword.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace kz::yang {
namespace {

/* In strcmp order, for the binary search. */
constexpr KeywordArgForm kForms[] = {
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

} /* namespace */

const KeywordArgForm *FindKeywordArgForm(const char *keyword)
{
    if (keyword == nullptr) {
        return nullptr;
    }
    const auto *end = std::end(kForms);
    const auto *it = std::lower_bound(std::begin(kForms), end, keyword, [](const KeywordArgForm &f, const char *k) {
        return std::strcmp(f.keyword, k) < 0;
    });
    return it != end && std::strcmp(it->keyword, keyword) == 0 ? it : nullptr;
}

} /* namespace kz::yang */
