/* RFC 7950 keywords and the YIN form of their arguments (section 13.1),
 * shared by everything that turns statements into YIN elements or back. */
#ifndef KZ_YANG_KEYWORD_H
#define KZ_YANG_KEYWORD_H

namespace kz::yang {

constexpr const char *kYinNamespaceUri = "urn:ietf:params:xml:ns:yang:yin:1";

/* A keyword and its argument's YIN form: the attribute or child element
 * named arg (element true), or no argument at all (arg nullptr). */
struct KeywordArgForm {
    const char *keyword;
    const char *arg;
    bool element;
};

/* The form of a keyword, or nullptr for a word RFC 7950 does not define. */
const KeywordArgForm *FindKeywordArgForm(const char *keyword);

} /* namespace kz::yang */

#endif /* KZ_YANG_KEYWORD_H */
