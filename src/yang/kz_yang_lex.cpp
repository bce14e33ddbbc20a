/* Separators, comments, keywords and the three string forms of YANG text. */
#include "yang/kz_yang_lex.h"

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kz::yang {
namespace {

bool IsSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

/* Characters that end an unquoted string or a keyword. */
bool EndsToken(char c)
{
    return IsSpace(c) || c == ';' || c == '{' || c == '}';
}

bool IsCommentStart(const char *p, const char *end)
{
    return p[0] == '/' && p + 1 != end && (p[1] == '/' || p[1] == '*');
}

/* Appends a single-quoted or unquoted run, turning CR LF and lone CR into LF
 * as an XML reader does with the same text in a .yin file. */
void AppendNormalizingNewlines(const char *from, const char *to, std::string *out)
{
    const char *cr = static_cast<const char *>(std::memchr(from, '\r', static_cast<std::size_t>(to - from)));
    if (cr == nullptr) {
        out->append(from, to);
        return;
    }
    for (const char *p = from; p != to; ++p) {
        if (*p != '\r') {
            out->push_back(*p);
        } else if (p + 1 == to || p[1] != '\n') {
            out->push_back('\n');
        }
    }
}

/* Length of the UTF-8 sequence starting at p, or 0 when it is invalid
 * (overlong forms, surrogates and values past U+10FFFF included). */
std::size_t Utf8Length(const unsigned char *p, const unsigned char *end)
{
    const unsigned char c = p[0];
    std::size_t len;
    unsigned char lo = 0x80;
    unsigned char hi = 0xBF;
    if (c >= 0xC2 && c <= 0xDF) {
        len = 2;
    } else if (c >= 0xE0 && c <= 0xEF) {
        len = 3;
        lo = (c == 0xE0) ? 0xA0 : 0x80;
        hi = (c == 0xED) ? 0x9F : 0xBF;
    } else if (c >= 0xF0 && c <= 0xF4) {
        len = 4;
        lo = (c == 0xF0) ? 0x90 : 0x80;
        hi = (c == 0xF4) ? 0x8F : 0xBF;
    } else {
        return 0;
    }
    if (static_cast<std::size_t>(end - p) < len || p[1] < lo || p[1] > hi) {
        return 0;
    }
    for (std::size_t i = 2; i < len; i++) {
        if (p[i] < 0x80 || p[i] > 0xBF) {
            return 0;
        }
    }
    return len;
}

#if defined(__SSE2__)
/* One bit for each of the sixteen bytes at p that equals any of the four given. */
unsigned MatchFour(const char *p, char a, char b, char c, char d)
{
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
    const __m128i hit = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8(a)), _mm_cmpeq_epi8(v, _mm_set1_epi8(b))),
                                     _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8(c)), _mm_cmpeq_epi8(v, _mm_set1_epi8(d))));
    return static_cast<unsigned>(_mm_movemask_epi8(hit));
}
#endif

/* Past the blanks and line breaks that start [p, end). */
const char *SkipBlanks(const char *p, const char *end)
{
#if defined(__SSE2__)
    while (end - p >= 16) {
        const unsigned other = ~MatchFour(p, ' ', '\t', '\n', '\r') & 0xFFFFu;
        if (other != 0) {
            return p + __builtin_ctz(other);
        }
        p += 16;
    }
#endif
    while (p != end && IsSpace(*p)) {
        ++p;
    }
    return p;
}

/* Past the leading bytes of [p, end) that end no stretch of double-quoted text
 * (quote, backslash, CR, LF): sixteen at a time where SSE2 is there, else
 * eight-byte blocks; the caller finishes byte by byte. */
const char *SkipPlainQuoted(const char *p, const char *end)
{
#if defined(__SSE2__)
    while (end - p >= 16) {
        const unsigned stops = MatchFour(p, '"', '\\', '\n', '\r');
        if (stops != 0) {
            return p + __builtin_ctz(stops);
        }
        p += 16;
    }
#endif
    constexpr std::uint64_t kOnes = 0x0101010101010101u;
    constexpr std::uint64_t kHigh = 0x8080808080808080u;
    auto hasByte = [](std::uint64_t x, unsigned char b) {
        const std::uint64_t y = x ^ (b * kOnes);
        return ((y - kOnes) & ~y & kHigh) != 0;
    };
    while (end - p >= 8) {
        std::uint64_t x;
        std::memcpy(&x, p, sizeof(x));
        if (hasByte(x, '"') || hasByte(x, '\\') || hasByte(x, '\n') || hasByte(x, '\r')) {
            break;
        }
        p += 8;
    }
    return p;
}

/* Past the leading run of [p, end) that surely needs no closer look: sixteen
 * bytes at a time of printable ASCII, tabs and line breaks (what module texts
 * are almost entirely made of) where SSE2 is there, then eight bytes at a time
 * of printable ASCII alone. */
const unsigned char *SkipPlainText(const unsigned char *p, const unsigned char *end)
{
#if defined(__SSE2__)
    const __m128i space = _mm_set1_epi8(0x20);
    const __m128i del = _mm_set1_epi8(0x7F);
    const __m128i tab = _mm_set1_epi8('\t');
    const __m128i lf = _mm_set1_epi8('\n');
    const __m128i cr = _mm_set1_epi8('\r');
    while (end - p >= 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
        /* Signed: bytes from 0x80 up count as below the space too. */
        const __m128i low = _mm_cmplt_epi8(v, space);
        const __m128i breaks = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, tab), _mm_cmpeq_epi8(v, lf)),
                                            _mm_cmpeq_epi8(v, cr));
        const int odd = _mm_movemask_epi8(_mm_or_si128(_mm_andnot_si128(breaks, low), _mm_cmpeq_epi8(v, del)));
        if (odd != 0) {
            return p + __builtin_ctz(static_cast<unsigned>(odd));
        }
        p += 16;
    }
#endif
    constexpr std::uint64_t kOnes = 0x0101010101010101u;
    constexpr std::uint64_t kHigh = 0x8080808080808080u;
    /* None below 0x20, none with the high bit, none equal to DEL. */
    while (end - p >= 8) {
        std::uint64_t x;
        std::memcpy(&x, p, sizeof(x));
        const std::uint64_t del8 = x ^ (0x7F * kOnes);
        if (((x | (x - 0x20 * kOnes) | ((del8 - kOnes) & ~del8)) & kHigh) != 0) {
            break;
        }
        p += 8;
    }
    return p;
}

} /* namespace */

std::size_t FindInvalidChar(const char *text, std::size_t length)
{
    const auto *p = reinterpret_cast<const unsigned char *>(text);
    const auto *end = p + length;
    while (p != end) {
        p = SkipPlainText(p, end);
        if (p == end) {
            break;
        }
        const unsigned char c = *p;
        if (c >= 0x20 && c < 0x7F) {
            ++p;
        } else if (c == '\t' || c == '\n' || c == '\r') {
            ++p;
        } else if (c < 0x80) {
            break; /* other control characters, DEL included */
        } else {
            const std::size_t len = Utf8Length(p, end);
            if (len == 0) {
                break;
            }
            p += len;
        }
    }
    return static_cast<std::size_t>(p - reinterpret_cast<const unsigned char *>(text));
}

void LineAndColumn(const char *text, std::size_t offset, unsigned long *line, unsigned long *column)
{
    unsigned long l = 1;
    unsigned long c = 1;
    for (std::size_t i = 0; i < offset; i++) {
        const auto ch = static_cast<unsigned char>(text[i]);
        if (ch == '\n') {
            l++;
            c = 1;
        } else if ((ch & 0xC0) != 0x80) {
            c++; /* continuation bytes belong to the character before */
        }
    }
    *line = l;
    *column = c;
}

Lexer::Lexer(const char *text, std::size_t length) : begin_(text), p_(text), end_(text + length)
{
    if (length >= 3 && std::memcmp(text, "\xEF\xBB\xBF", 3) == 0) {
        p_ += 3;
    }
}

bool Lexer::Fail(std::size_t offset, std::string message)
{
    fault_.offset = offset;
    fault_.message = std::move(message);
    return false;
}

bool Lexer::SkipSeparators()
{
    while (p_ != end_) {
        p_ = SkipBlanks(p_, end_);
        if (p_ == end_) {
            break;
        }
        if (!IsCommentStart(p_, end_)) {
            return true;
        } else if (p_[1] == '/') {
            const void *nl = std::memchr(p_, '\n', static_cast<std::size_t>(end_ - p_));
            p_ = (nl == nullptr) ? end_ : static_cast<const char *>(nl) + 1;
        } else {
            const char *start = p_;
            const char *q = p_ + 2;
            for (;;) {
                q = static_cast<const char *>(std::memchr(q, '*', static_cast<std::size_t>(end_ - q)));
                if (q == nullptr || q + 1 == end_) {
                    return Fail(static_cast<std::size_t>(start - begin_), "unterminated comment");
                }
                if (q[1] == '/') {
                    break;
                }
                ++q;
            }
            p_ = q + 2;
        }
    }
    return true;
}

std::size_t Lexer::ReadKeyword(const char **start, std::size_t *colon)
{
    *start = p_;
    *colon = 0;
    while (p_ != end_ && !EndsToken(*p_) && *p_ != '"' && *p_ != '\'' && !IsCommentStart(p_, end_)) {
        if (*p_ == ':' && *colon == 0) {
            *colon = static_cast<std::size_t>(p_ - *start);
        }
        ++p_;
    }
    return static_cast<std::size_t>(p_ - *start);
}

std::size_t Lexer::ColumnOf(const char *p) const
{
    const char *lineStart = p;
    while (lineStart != begin_ && lineStart[-1] != '\n' && lineStart[-1] != '\r') {
        --lineStart;
    }
    std::size_t col = 0;
    for (const char *q = lineStart; q != p; ++q) {
        if (*q == '\t') {
            col += 8;
        } else if ((static_cast<unsigned char>(*q) & 0xC0) != 0x80) {
            col++;
        }
    }
    return col;
}

bool Lexer::ReadUnquoted(std::string *out)
{
    const char *start = p_;
    while (p_ != end_ && !EndsToken(*p_) && !IsCommentStart(p_, end_)) {
        if (*p_ == '"' || *p_ == '\'') {
            return Fail(Offset(), "a quote inside an unquoted string");
        }
        ++p_;
    }
    out->append(start, p_);
    return true;
}

bool Lexer::ReadSingleQuoted(std::string *out)
{
    const std::size_t open = Offset();
    const char *start = p_ + 1;
    const void *close = std::memchr(start, '\'', static_cast<std::size_t>(end_ - start));
    if (close == nullptr) {
        return Fail(open, "unterminated string");
    }
    p_ = static_cast<const char *>(close);
    AppendNormalizingNewlines(start, p_, out);
    ++p_;
    return true;
}

bool Lexer::ReadDoubleQuoted(bool yang11, std::string *out)
{
    const char *quote = p_;
    std::size_t indent = std::string::npos; /* columns stripped after a line break, known at the first one */
    std::size_t blanksFrom = std::string::npos; /* start in *out of the blanks that may end a line */
    ++p_;
    for (;;) {
        /* One append per stretch up to a quote, escape or line break; blanks
         * ending the stretch are remembered, as a line break drops them. */
        const char *run = p_;
        p_ = SkipPlainQuoted(p_, end_);
        while (p_ != end_ && *p_ != '"' && *p_ != '\\' && *p_ != '\n' && *p_ != '\r') {
            ++p_;
        }
        if (p_ != run) {
            const char *blanks = p_;
            while (blanks != run && (blanks[-1] == ' ' || blanks[-1] == '\t')) {
                --blanks;
            }
            if (blanks != run || blanksFrom == std::string::npos) {
                blanksFrom = (blanks == p_) ? std::string::npos : out->size() + static_cast<std::size_t>(blanks - run);
            }
            out->append(run, p_);
        }
        if (p_ == end_) {
            return Fail(static_cast<std::size_t>(quote - begin_), "unterminated string");
        }
        const char c = *p_;
        if (c == '"') {
            ++p_;
            return true;
        }
        if (c == '\\') {
            if (p_ + 1 == end_) {
                return Fail(static_cast<std::size_t>(quote - begin_), "unterminated string");
            }
            const char e = p_[1];
            const char *known = std::strchr("nt\"\\", e);
            if (known != nullptr && e != '\0') {
                out->push_back(e == 'n' ? '\n' : e == 't' ? '\t' : e);
                p_ += 2;
            } else if (yang11) {
                const bool printable = e > ' ' && e < 0x7F;
                return Fail(Offset(), printable ? std::string("bad escape \"\\") + e + "\" in a double-quoted string"
                                                : std::string("bad escape in a double-quoted string"));
            } else {
                out->push_back('\\'); /* YANG 1 keeps an unknown escape as it stands */
                ++p_;
            }
            blanksFrom = std::string::npos;
            continue;
        }
        /* A line break: blanks before it go, and so does the indentation after it. */
        if (blanksFrom != std::string::npos) {
            out->resize(blanksFrom);
            blanksFrom = std::string::npos;
        }
        p_ += (c == '\r' && p_ + 1 != end_ && p_[1] == '\n') ? 2 : 1;
        out->push_back('\n');
        if (indent == std::string::npos) {
            indent = ColumnOf(quote) + 1;
        }
        std::size_t budget = indent;
        while (budget != 0 && p_ != end_ && (*p_ == ' ' || *p_ == '\t')) {
            const std::size_t width = (*p_ == ' ') ? 1 : 8;
            ++p_;
            if (width > budget) {
                blanksFrom = out->size();
                out->append(width - budget, ' '); /* the part of a tab past the quote's column stays */
                break;
            }
            budget -= width;
        }
    }
}

bool Lexer::ReadArgument(bool yang11, std::string *out)
{
    out->clear();
    if (*p_ != '"' && *p_ != '\'') {
        return ReadUnquoted(out);
    }
    for (;;) {
        const bool ok = (*p_ == '"') ? ReadDoubleQuoted(yang11, out) : ReadSingleQuoted(out);
        if (!ok || !SkipSeparators()) {
            return false;
        }
        if (p_ == end_ || *p_ != '+') {
            return true;
        }
        ++p_;
        if (!SkipSeparators()) {
            return false;
        }
        if (p_ == end_ || (*p_ != '"' && *p_ != '\'')) {
            return Fail(Offset(), "a quoted string must follow \"+\"");
        }
    }
}

} /* namespace kz::yang */
