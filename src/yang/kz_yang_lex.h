/* Lexical layer of the YANG text front end (RFC 7950 section 6.1): separators
 * and comments, keywords, and arguments with their quoting rules. */
#ifndef KZ_YANG_LEX_H
#define KZ_YANG_LEX_H

#include <cstddef>
#include <string>

namespace kz::yang {

/* A fault found while reading: byte offset in the text and a message. */
struct LexFault {
    std::size_t offset = 0;
    std::string message;
};

class Lexer {
public:
    /* A UTF-8 byte order mark at the start is passed over. */
    Lexer(const char *text, std::size_t length);

    /* Skips whitespace and comments.  False on an unterminated block comment. */
    bool SkipSeparators();
    bool AtEnd() const { return p_ == end_; }
    char Peek() const { return *p_; }
    void Advance() { ++p_; }
    std::size_t Offset() const { return static_cast<std::size_t>(p_ - begin_); }

    /* Reads a keyword: an identifier, or prefix ':' identifier.  Returns its
     * length (0 when the next character cannot start one), *colon gets the
     * length of the prefix or 0. */
    std::size_t ReadKeyword(const char **start, std::size_t *colon);

    /* Whether what follows is an argument (not ';', '{', '}' or the end). */
    bool AtArgument() const { return p_ != end_ && *p_ != ';' && *p_ != '{' && *p_ != '}'; }
    /* Reads an argument into *out: an unquoted string, or quoted strings joined
     * by '+'.  yang11 makes an unknown escape in double quotes a fault. */
    bool ReadArgument(bool yang11, std::string *out);

    const LexFault &Fault() const { return fault_; }
    bool Fail(std::size_t offset, std::string message);

private:
    bool ReadUnquoted(std::string *out);
    bool ReadSingleQuoted(std::string *out);
    bool ReadDoubleQuoted(bool yang11, std::string *out);
    /* Columns before the character at p on its line, a tab counting 8 (the
     * RFC's conversion for indentation stripping). */
    std::size_t ColumnOf(const char *p) const;

    const char *begin_;
    const char *p_;
    const char *end_;
    LexFault fault_;
};

/* Offset of the first byte that is not valid UTF-8 or is a control character
 * other than tab, line feed and carriage return; length when there is none. */
std::size_t FindInvalidChar(const char *text, std::size_t length);

/* 1-based line and column (in characters) of a byte offset. */
void LineAndColumn(const char *text, std::size_t offset, unsigned long *line, unsigned long *column);

} /* namespace kz::yang */

#endif /* KZ_YANG_LEX_H */
