// A matcher for XML Schema regular expressions over ASCII values.
//
// libxml2's automaton costs a few hundred instructions per character and may
// allocate while it backtracks through counted repetitions.  Most patterns in
// real modules (addresses, names, dates) use only character classes,
// sequences, alternatives and quantifiers, and most values are ASCII.  For
// those this matcher runs a position automaton (one state per character class
// of the expression with its counted repetitions written out) over bit sets:
// each character costs a few word operations and nothing is allocated.
//
// It answers only what it can answer exactly: an expression with anything
// else is not compiled, and a value with a byte outside ASCII is handed back,
// in both cases to libxml2.  Compiled matchers are read-only, so any number of
// threads may run one at once.
#ifndef KZ_ASCII_REGEX_H
#define KZ_ASCII_REGEX_H

#include <cstdint>
#include <memory>
#include <vector>

namespace kz::base {

class AsciiRegex {
public:
    enum class Result { kMatch, kNoMatch, kNotAscii };

    /* The matcher for expr (matching whole values, as patterns do), or null when
     * expr uses a construct left to libxml2 or is not a valid expression. */
    static std::unique_ptr<AsciiRegex> Compile(const char *expr) noexcept;

    Result Match(const char *value) const noexcept;

private:
    AsciiRegex() = default;

    size_t words_ = 0;               /* 64-bit words per set of positions */
    bool nullable_ = false;          /* the empty value matches */
    std::vector<uint64_t> first_;    /* positions that can take the first character */
    std::vector<uint64_t> last_;     /* positions that can take the last character */
    std::vector<uint64_t> follow_;   /* per position, the positions that can come next */
    std::vector<uint64_t> accepts_;  /* per ASCII character, the positions whose class holds it */

    friend class AsciiRegexBuilder;
};

} // namespace kz::base

#endif
