/* RFC 7950 keywords and the YIN form of their arguments (section 13.1),
 * shared by everything that turns statements into YIN elements or back. */
#ifndef KZ_YANG_KEYWORD_H
#define KZ_YANG_KEYWORD_H

#include <cstddef>

namespace kz::yang {

constexpr const char *kYinNamespaceUri = "urn:ietf:params:xml:ns:yang:yin:1";

/* A keyword and its argument's YIN form: the attribute or child element
 * named arg (element true), or no argument at all (arg nullptr). */
struct KeywordArgForm {
    const char *keyword;
    const char *arg;
    bool element;
};

/* Every RFC 7950 keyword, in strcmp order; kKeywordCount is its size. */
extern const KeywordArgForm kKeywordForms[];
constexpr std::size_t kKeywordCount = 68;

/* Index of the keyword text[0..len) in kKeywordForms, or kKeywordCount. */
std::size_t FindKeywordIndex(const char *text, std::size_t len);

/* The form of a keyword, or nullptr for a word RFC 7950 does not define. */
const KeywordArgForm *FindKeywordArgForm(const char *keyword);

} /* namespace kz::yang */

#endif /* KZ_YANG_KEYWORD_H */
