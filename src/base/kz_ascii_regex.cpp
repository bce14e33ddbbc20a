// Position automaton for XML Schema regular expressions over ASCII values.
//
// The expression is parsed into a small tree; counted repetitions are then
// written out (x{2,4} becomes x x (x (x)?)?) and every character class occurrence
// becomes one position.  For each position the builder records which positions
// may follow it; a value matches when some path of positions takes its
// characters in turn and ends on a position that can end the expression.
#include "base/kz_ascii_regex.h"

#include <cstring>
#include <new>
#include <string>

namespace kz::base {

namespace {

constexpr size_t kMaxPositions = 1024; /* larger expressions stay with libxml2 */
constexpr int kMaxDepth = 64;          /* group nesting */
constexpr int kMaxCount = 1000;        /* bound of a counted repetition */
constexpr int kUnbounded = -1;

/* A set of ASCII characters. NUL never occurs in a value, so it is in no set. */
struct CharSet {
    uint64_t bits[2] = {0, 0};

    void Add(uint32_t c)
    {
        if (c > 0 && c < 128) {
            bits[c >> 6] |= uint64_t {1} << (c & 63);
        }
    }
    void AddRange(uint32_t lo, uint32_t hi)
    {
        for (uint32_t c = lo; c <= hi && c < 128; ++c) {
            Add(c);
        }
    }
    void AddAll(const char *chars)
    {
        for (; *chars != '\0'; ++chars) {
            Add(static_cast<unsigned char>(*chars));
        }
    }
    void Merge(const CharSet &o)
    {
        bits[0] |= o.bits[0];
        bits[1] |= o.bits[1];
    }
    CharSet Complement() const
    {
        CharSet out;
        out.bits[0] = ~bits[0] & ~uint64_t {1};
        out.bits[1] = ~bits[1];
        return out;
    }
    bool Has(uint32_t c) const { return c < 128 && (bits[c >> 6] >> (c & 63)) & 1u; }
};

CharSet Letters()
{
    CharSet s;
    s.AddRange('A', 'Z');
    s.AddRange('a', 'z');
    return s;
}

CharSet Digits()
{
    CharSet s;
    s.AddRange('0', '9');
    return s;
}

CharSet Controls()
{
    CharSet s;
    s.AddRange(1, 31);
    s.Add(127);
    return s;
}

CharSet Chars(const char *chars)
{
    CharSet s;
    s.AddAll(chars);
    return s;
}

CharSet Union(CharSet a, const CharSet &b)
{
    a.Merge(b);
    return a;
}

/* The ASCII members of the Unicode general categories (\p{..}); categories with none
 * are listed so that they too are answered here. */
bool CategoryMembers(const std::string &name, CharSet *out)
{
    const CharSet none;
    const CharSet punct = Chars("!\"#%&'()*,-./:;?@[\\]_{}");
    const CharSet symbol = Chars("$+<=>^`|~");
    struct Category {
        const char *name;
        CharSet members;
    };
    const Category categories[] = {
        {"L", Letters()},   {"Lu", [] { CharSet s; s.AddRange('A', 'Z'); return s; }()},
        {"Ll", [] { CharSet s; s.AddRange('a', 'z'); return s; }()},
        {"Lt", none},       {"Lm", none},          {"Lo", none},
        {"M", none},        {"Mn", none},          {"Mc", none},          {"Me", none},
        {"N", Digits()},    {"Nd", Digits()},      {"Nl", none},          {"No", none},
        {"P", punct},       {"Pc", Chars("_")},    {"Pd", Chars("-")},    {"Ps", Chars("([{")},
        {"Pe", Chars(")]}")}, {"Pi", none},        {"Pf", none},          {"Po", Chars("!\"#%&'*,./:;?@\\")},
        {"S", symbol},      {"Sm", Chars("+<=>|~")}, {"Sc", Chars("$")},  {"Sk", Chars("^`")},
        {"So", none},       {"Z", Chars(" ")},     {"Zs", Chars(" ")},    {"Zl", none},
        {"Zp", none},       {"C", Controls()},     {"Cc", Controls()},    {"Cf", none},
        {"Co", none},
    };
    for (const Category &c : categories) {
        if (name == c.name) {
            *out = c.members;
            return true;
        }
    }
    return false; /* blocks (IsBasicLatin...) and unknown names */
}

/* The class of a multi-character escape letter (\s, \d, \w, \i, \c and their capitals). */
bool MultiCharEscape(char letter, CharSet *out)
{
    CharSet s;
    switch (letter | 0x20) {
    case 's': s = Chars(" \t\n\r"); break;
    case 'd': s = Digits(); break;
    case 'w': s = Union(Union(Letters(), Digits()), Chars("$+<=>^`|~")); break;
    case 'i': s = Union(Letters(), Chars("_:")); break;
    case 'c': s = Union(Union(Letters(), Digits()), Chars(".-_:")); break;
    default: return false;
    }
    *out = (letter & 0x20) != 0 ? s : s.Complement();
    return true;
}

/* The character a single-character escape stands for, or 0. */
uint32_t SingleCharEscape(char letter)
{
    switch (letter) {
    case 'n': return '\n';
    case 'r': return '\r';
    case 't': return '\t';
    default: break;
    }
    return std::strchr("\\|.-^?*+{}()[]", letter) != nullptr && letter != '\0' ? static_cast<uint32_t>(letter) : 0;
}

/* Control characters other than tab, newline and carriage return are not XML characters:
 * libxml2 refuses a value holding one whatever the expression, so no position takes them. */
bool IsXmlChar(uint32_t c)
{
    return c >= 0x20 || c == '\t' || c == '\n' || c == '\r';
}

struct Node {
    enum Kind { kClass, kSeq, kAlt, kRepeat } kind;
    CharSet chars;              /* kClass */
    std::vector<size_t> parts;  /* kSeq, kAlt: the parts; kRepeat: the one repeated */
    int min = 0;                /* kRepeat */
    int max = 0;                /* kRepeat, or kUnbounded */
};

/* Recursive descent over the expression; any construct it does not know fails the parse. */
class Parser {
public:
    explicit Parser(const char *expr) : p_(expr) {}

    std::vector<Node> nodes;

    bool ParseAll(size_t *root) { return ParseAlt(0, root) && *p_ == '\0'; }

private:
    const char *p_;

    size_t Add(Node n)
    {
        nodes.push_back(std::move(n));
        return nodes.size() - 1;
    }

    bool ParseAlt(int depth, size_t *out)
    {
        if (depth > kMaxDepth) {
            return false;
        }
        Node alt {Node::kAlt, {}, {}, 0, 0};
        for (;;) {
            size_t branch = 0;
            if (!ParseBranch(depth, &branch)) {
                return false;
            }
            alt.parts.push_back(branch);
            if (*p_ != '|') {
                break;
            }
            ++p_;
        }
        *out = alt.parts.size() == 1 ? alt.parts[0] : Add(std::move(alt));
        return true;
    }

    bool ParseBranch(int depth, size_t *out)
    {
        Node seq {Node::kSeq, {}, {}, 0, 0};
        while (*p_ != '\0' && *p_ != '|' && *p_ != ')') {
            size_t piece = 0;
            if (!ParsePiece(depth, &piece)) {
                return false;
            }
            seq.parts.push_back(piece);
        }
        *out = Add(std::move(seq));
        return true;
    }

    bool ParsePiece(int depth, size_t *out)
    {
        size_t atom = 0;
        if (!ParseAtom(depth, &atom)) {
            return false;
        }
        int min = 1;
        int max = 1;
        switch (*p_) {
        case '?': min = 0; break;
        case '*': min = 0; max = kUnbounded; break;
        case '+': max = kUnbounded; break;
        case '{':
            if (!ParseCount(&min, &max)) {
                return false;
            }
            break;
        default:
            *out = atom;
            return true;
        }
        /* libxml2 miscounts repeated groups ("(x|){2}" refuses "", "(.{2}|)[-b]{2}" takes "a--"):
         * only a single class repeats here, and a group is at most optional. */
        if (nodes[atom].kind != Node::kClass && !(min == 0 && max == 1)) {
            return false;
        }
        ++p_; /* past the quantifier, or the closing brace of a count */
        *out = Add(Node {Node::kRepeat, {}, {atom}, min, max});
        return true;
    }

    bool ParseNumber(int *out)
    {
        if (*p_ < '0' || *p_ > '9') {
            return false;
        }
        int n = 0;
        while (*p_ >= '0' && *p_ <= '9') {
            n = n * 10 + (*p_++ - '0');
            if (n > kMaxCount) {
                return false;
            }
        }
        *out = n;
        return true;
    }

    /* {n}, {n,} or {n,m}; leaves p_ on the closing brace. */
    bool ParseCount(int *min, int *max)
    {
        ++p_;
        if (!ParseNumber(min)) {
            return false;
        }
        *max = *min;
        if (*p_ == ',') {
            ++p_;
            *max = kUnbounded;
            if (*p_ != '}' && (!ParseNumber(max) || *max < *min)) {
                return false;
            }
        }
        return *p_ == '}';
    }

    bool ParseAtom(int depth, size_t *out)
    {
        CharSet chars;
        const char c = *p_;
        if (c == '(') {
            ++p_;
            if (!ParseAlt(depth + 1, out) || *p_ != ')') {
                return false;
            }
            ++p_;
            return true;
        }
        if (c == '[') {
            if (!ParseClass(&chars)) {
                return false;
            }
        } else if (c == '.') {
            ++p_;
            chars = Chars("\n\r").Complement();
        } else if (c == '\\') {
            uint32_t single = 0;
            if (!ParseEscape(&chars, &single)) {
                return false;
            }
            chars.Add(single);
        } else if (std::strchr("?*+{}])^$", c) != nullptr) {
            return false;
        } else {
            uint32_t cp = 0;
            if (!ParseChar(&cp)) {
                return false;
            }
            chars.Add(cp); /* a character outside ASCII takes no ASCII value */
        }
        *out = Add(Node {Node::kClass, chars, {}, 0, 0});
        return true;
    }

    /* One UTF-8 encoded character of the expression. */
    bool ParseChar(uint32_t *cp)
    {
        const auto lead = static_cast<unsigned char>(*p_);
        int extra = lead < 0x80 ? 0 : lead >= 0xC2 && lead < 0xE0 ? 1 : lead >= 0xE0 && lead < 0xF0 ? 2
                                   : lead >= 0xF0 && lead < 0xF5 ? 3 : -1;
        if (extra < 0) {
            return false;
        }
        uint32_t value = extra == 0 ? lead : lead & (0x3Fu >> extra);
        ++p_;
        for (; extra > 0; --extra, ++p_) {
            const auto next = static_cast<unsigned char>(*p_);
            if ((next & 0xC0) != 0x80) {
                return false;
            }
            value = (value << 6) | (next & 0x3F);
        }
        *cp = value;
        return true;
    }

    /* After a backslash: a single-character escape sets *single, any other a class. */
    bool ParseEscape(CharSet *chars, uint32_t *single)
    {
        const char letter = *++p_;
        if (letter == '\0') {
            return false;
        }
        ++p_;
        *single = SingleCharEscape(letter);
        if (*single != 0) {
            return true;
        }
        /* libxml2 misreads a negated category next to a character it holds ("b?\\P{N}" refuses
         * "b"); such expressions keep libxml2's answers. */
        if (letter == 'p') {
            const char *close = *p_ == '{' ? std::strchr(p_, '}') : nullptr;
            if (close == nullptr || !CategoryMembers(std::string(p_ + 1, close), chars)) {
                return false;
            }
            p_ = close + 1;
            return true;
        }
        return MultiCharEscape(letter, chars);
    }

    /* One end of a range inside brackets: a plain character or a single-character escape. */
    bool ParseRangeEnd(uint32_t *cp)
    {
        if (*p_ == '\\') {
            CharSet unused;
            return ParseEscape(&unused, cp) && *cp != 0;
        }
        if (*p_ == '[' || *p_ == ']' || *p_ == '-' || *p_ == '\0') {
            return false;
        }
        return ParseChar(cp);
    }

    /* [...] and [^...]; subtraction and other rarities stay with libxml2. */
    bool ParseClass(CharSet *out)
    {
        ++p_;
        const bool negated = *p_ == '^';
        p_ += negated ? 1 : 0;
        CharSet chars;
        bool any = false;
        while (*p_ != ']') {
            if (*p_ == '-' && (!any || p_[1] == ']')) {
                chars.Add('-'); /* a dash first or last stands for itself */
                ++p_;
                any = true;
                continue;
            }
            if (*p_ == '^') {
                return false;
            }
            uint32_t lo = 0;
            if (*p_ == '\\') {
                CharSet escaped;
                if (!ParseEscape(&escaped, &lo)) {
                    return false;
                }
                /* An escape never starts a range here: libxml2 reads [\[-\^] as three characters. */
                if (*p_ == '-' && p_[1] != ']') {
                    return false;
                }
                chars.Merge(escaped);
                chars.Add(lo);
                any = true;
                continue;
            } else if (!ParseRangeEnd(&lo)) {
                return false;
            }
            uint32_t hi = lo;
            if (*p_ == '-' && p_[1] != ']') {
                ++p_;
                if (!ParseRangeEnd(&hi) || hi < lo) {
                    return false;
                }
            }
            chars.AddRange(lo, hi);
            any = true;
        }
        ++p_;
        if (!any) {
            return false;
        }
        *out = negated ? chars.Complement() : chars;
        return true;
    }
};

/* Positions the tree expands to, counted before any set is sized; saturates past the limit. */
size_t CountPositions(const std::vector<Node> &nodes, size_t at)
{
    const Node &n = nodes[at];
    size_t total = 0;
    switch (n.kind) {
    case Node::kClass: return 1;
    case Node::kSeq:
    case Node::kAlt:
        for (size_t part : n.parts) {
            total += CountPositions(nodes, part);
            if (total > kMaxPositions) {
                return kMaxPositions + 1;
            }
        }
        return total;
    case Node::kRepeat: {
        const size_t once = CountPositions(nodes, n.parts[0]);
        const size_t copies = n.max == kUnbounded ? static_cast<size_t>(n.min) + 1 : static_cast<size_t>(n.max);
        return once != 0 && copies > kMaxPositions / once ? kMaxPositions + 1 : once * copies;
    }
    }
    return kMaxPositions + 1;
}

} // namespace

/* Lays out positions and their follow sets for a parsed tree. */
class AsciiRegexBuilder {
public:
    AsciiRegexBuilder(const std::vector<Node> &nodes, AsciiRegex &re, size_t positions)
        : nodes_(nodes), re_(re), words_((positions + 63) / 64 == 0 ? 1 : (positions + 63) / 64)
    {
        re_.words_ = words_;
        re_.follow_.assign(positions * words_, 0);
        re_.accepts_.assign(128 * words_, 0);
    }

    void Build(size_t root)
    {
        Fragment whole = Expand(root);
        re_.nullable_ = whole.nullable;
        re_.first_ = std::move(whole.first);
        re_.last_ = std::move(whole.last);
    }

    /* Whether no character can be taken by two positions at any step: the start, or after
     * any position. libxml2 reads such expressions exactly; where two classes overlap it
     * can follow one and miss a match ("[a-c]?[^a]x" refuses "bx"), and those answers are
     * kept by leaving the expression to it. */
    bool Deterministic() const
    {
        if (!Disjoint(re_.first_.data())) {
            return false;
        }
        for (size_t pos = 0; pos < next_; ++pos) {
            if (!Disjoint(&re_.follow_[pos * words_])) {
                return false;
            }
        }
        return true;
    }

private:
    /* What a part of the expression contributes: whether it can take no characters,
     * and the positions it can start and end on. */
    struct Fragment {
        bool nullable;
        std::vector<uint64_t> first;
        std::vector<uint64_t> last;
    };

    const std::vector<Node> &nodes_;
    AsciiRegex &re_;
    size_t words_;
    size_t next_ = 0;

    bool Disjoint(const uint64_t *set) const
    {
        for (uint32_t c = 1; c < 128; ++c) {
            int takers = 0;
            for (size_t w = 0; w < words_; ++w) {
                takers += __builtin_popcountll(set[w] & re_.accepts_[c * words_ + w]);
            }
            if (takers > 1) {
                return false;
            }
        }
        return true;
    }

    Fragment Empty() const { return {true, std::vector<uint64_t>(words_, 0), std::vector<uint64_t>(words_, 0)}; }

    static void OrInto(std::vector<uint64_t> &to, const std::vector<uint64_t> &from)
    {
        for (size_t w = 0; w < to.size(); ++w) {
            to[w] |= from[w];
        }
    }

    /* Every position in from may be followed by every position in to. */
    void Link(const std::vector<uint64_t> &from, const std::vector<uint64_t> &to)
    {
        for (size_t w = 0; w < words_; ++w) {
            for (uint64_t bits = from[w]; bits != 0; bits &= bits - 1) {
                const size_t pos = w * 64 + static_cast<size_t>(__builtin_ctzll(bits));
                for (size_t v = 0; v < words_; ++v) {
                    re_.follow_[pos * words_ + v] |= to[v];
                }
            }
        }
    }

    Fragment Then(Fragment a, Fragment b)
    {
        Link(a.last, b.first);
        if (a.nullable) {
            OrInto(b.first, a.first);
        } else {
            b.first = std::move(a.first);
        }
        if (b.nullable) {
            OrInto(b.last, a.last);
        }
        b.nullable = a.nullable && b.nullable;
        return b;
    }

    Fragment Position(const CharSet &chars)
    {
        const size_t pos = next_++;
        Fragment f = Empty();
        f.nullable = false;
        f.first[pos / 64] |= uint64_t {1} << (pos % 64);
        f.last = f.first;
        for (uint32_t c = 1; c < 128; ++c) {
            if (chars.Has(c) && IsXmlChar(c)) {
                re_.accepts_[c * words_ + pos / 64] |= uint64_t {1} << (pos % 64);
            }
        }
        return f;
    }

    Fragment Expand(size_t at)
    {
        const Node &n = nodes_[at];
        switch (n.kind) {
        case Node::kClass: return Position(n.chars);
        case Node::kSeq: {
            Fragment f = Empty();
            for (size_t part : n.parts) {
                f = Then(std::move(f), Expand(part));
            }
            return f;
        }
        case Node::kAlt: {
            Fragment f = Empty();
            f.nullable = false;
            for (size_t part : n.parts) {
                Fragment branch = Expand(part);
                f.nullable = f.nullable || branch.nullable;
                OrInto(f.first, branch.first);
                OrInto(f.last, branch.last);
            }
            return f;
        }
        case Node::kRepeat: {
            Fragment f = Empty();
            for (int i = 0; i < n.min; ++i) {
                f = Then(std::move(f), Expand(n.parts[0]));
            }
            if (n.max == kUnbounded) {
                Fragment loop = Expand(n.parts[0]);
                Link(loop.last, loop.first);
                loop.nullable = true;
                return Then(std::move(f), std::move(loop));
            }
            /* x{0,3} is (x(x(x)?)?)?, not x?x?x?: each copy is followed only by the next one
             * or by what comes after, so copies never compete for a character. */
            Fragment optional = Empty();
            for (int i = n.min; i < n.max; ++i) {
                optional = Then(Expand(n.parts[0]), std::move(optional));
                optional.nullable = true;
            }
            return Then(std::move(f), std::move(optional));
        }
        }
        return Empty();
    }
};

std::unique_ptr<AsciiRegex> AsciiRegex::Compile(const char *expr) noexcept
{
    if (expr == nullptr) {
        return nullptr;
    }
    try {
        Parser parser(expr);
        size_t root = 0;
        if (!parser.ParseAll(&root)) {
            return nullptr;
        }
        const size_t positions = CountPositions(parser.nodes, root);
        if (positions > kMaxPositions) {
            return nullptr;
        }
        std::unique_ptr<AsciiRegex> re(new AsciiRegex());
        AsciiRegexBuilder builder(parser.nodes, *re, positions);
        builder.Build(root);
        return builder.Deterministic() ? std::move(re) : nullptr;
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

AsciiRegex::Result AsciiRegex::Match(const char *value) const noexcept
{
    const auto *s = reinterpret_cast<const unsigned char *>(value);
    if (*s == 0) {
        return nullable_ ? Result::kMatch : Result::kNoMatch;
    }
    /* The expression is deterministic, so at most one position takes each character:
     * the walk follows a single position, its follow set naming who may take the next. */
    const uint64_t *reach = first_.data();
    size_t pos = 0;
    for (; *s != 0; ++s) {
        if (*s >= 128) {
            return Result::kNotAscii;
        }
        const uint64_t *accepts = &accepts_[*s * words_];
        size_t w = 0;
        while (w < words_ && (reach[w] & accepts[w]) == 0) {
            ++w;
        }
        if (w == words_) {
            return Result::kNoMatch; /* no continuation of this prefix matches */
        }
        pos = w * 64 + static_cast<size_t>(__builtin_ctzll(reach[w] & accepts[w]));
        reach = &follow_[pos * words_];
    }
    return (last_[pos / 64] >> (pos % 64)) & 1u ? Result::kMatch : Result::kNoMatch;
}

} // namespace kz::base
