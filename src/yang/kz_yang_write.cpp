/* YIN documents written back as YANG text or as canonical YIN text. */
#include "yang/kz_yang_write.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <unordered_map>
#include <unordered_set>

#include "yang/kz_yang_keyword.h"

namespace kz::yang {
namespace {

constexpr std::size_t kFlushAt = 8192;

const char *Str(const xmlChar *s)
{
    return reinterpret_cast<const char *>(s);
}

/* Buffers the text and hands it to the print callback in chunks; after a
 * failed callback everything else is dropped. */
class Sink {
public:
    Sink(KzPrintOutputCb output, void *arg) : output_(output), arg_(arg) {}

    void Put(std::string_view text)
    {
        buffer_.append(text);
        if (buffer_.size() >= kFlushAt) {
            Flush();
        }
    }
    void Put(char c) { Put(std::string_view(&c, 1)); }
    void Indent(std::size_t columns) { buffer_.append(columns, ' '); }

    uint32_t Finish()
    {
        Flush();
        return failed_ ? KZ_ERR : KZ_OK;
    }

private:
    void Flush()
    {
        std::string_view rest(buffer_);
        while (!failed_ && !rest.empty()) {
            const std::size_t n = std::min<std::size_t>(rest.size(), UINT32_MAX);
            failed_ = output_(rest.data(), static_cast<uint32_t>(n), arg_) != 0;
            rest.remove_prefix(n);
        }
        buffer_.clear();
    }

    KzPrintOutputCb output_;
    void *arg_;
    std::string buffer_;
    bool failed_ = false;
};

bool InNamespace(const xmlNode *node, const char *uri)
{
    return node->ns != nullptr && node->ns->href != nullptr && std::strcmp(Str(node->ns->href), uri) == 0;
}

/* Two elements in one namespace (each may declare it anew). */
bool SameNamespace(const xmlNode *a, const xmlNode *b)
{
    return a->ns != nullptr && a->ns->href != nullptr && InNamespace(b, Str(a->ns->href));
}

bool IsYinElement(const xmlNode *node)
{
    return node->type == XML_ELEMENT_NODE && InNamespace(node, kYinNamespaceUri);
}

bool IsYinElement(const xmlNode *node, const char *name)
{
    return IsYinElement(node) && std::strcmp(Str(node->name), name) == 0;
}

const xmlNode *FirstYinChild(const xmlNode *node, const char *name)
{
    for (const xmlNode *c = node->children; c != nullptr; c = c->next) {
        if (IsYinElement(c, name)) {
            return c;
        }
    }
    return nullptr;
}

bool HasElementChild(const xmlNode *node)
{
    for (const xmlNode *c = node->children; c != nullptr; c = c->next) {
        if (c->type == XML_ELEMENT_NODE) {
            return true;
        }
    }
    return false;
}

bool IsTextNode(const xmlNode *node)
{
    return node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
}

/* The text children of an element or an attribute, joined. */
template <typename Node>
std::string TextOf(const Node *node)
{
    std::string text;
    for (const xmlNode *c = node->children; c != nullptr; c = c->next) {
        if (IsTextNode(c) && c->content != nullptr) {
            text += Str(c->content);
        }
    }
    return text;
}

const xmlAttr *FindAttribute(const xmlNode *node, const char *name)
{
    for (const xmlAttr *a = node->properties; a != nullptr; a = a->next) {
        if (a->ns == nullptr && std::strcmp(Str(a->name), name) == 0) {
            return a;
        }
    }
    return nullptr;
}

/* Value attribute of a YIN child statement, or nullptr. */
const char *ChildArgument(const xmlNode *node, const char *child, const char *attr)
{
    const xmlNode *c = FirstYinChild(node, child);
    const xmlAttr *a = c != nullptr ? FindAttribute(c, attr) : nullptr;
    return a != nullptr && a->children != nullptr && a->children->content != nullptr ? Str(a->children->content)
                                                                                      : nullptr;
}

bool IsRoot(const xmlNode *root)
{
    return root != nullptr && (IsYinElement(root, "module") || IsYinElement(root, "submodule"));
}

/* ---- YANG quoting (RFC 7950 section 6.1.3) ---- */

bool NeedsQuotes(std::string_view text)
{
    return text.empty() || text.find_first_of(" \t\r\n'\";{}") != std::string_view::npos ||
           text.find("//") != std::string_view::npos || text.find("/*") != std::string_view::npos ||
           text.find("*/") != std::string_view::npos;
}

/* Double-quoted form.  A line break stays a line break followed by the
 * indentation that the reader strips again, except after a space, which the
 * reader would strip as trailing white space: there it becomes "\n".  In
 * multi-line text a tab is escaped, since in indentation it would count as
 * several columns. */
std::string DoubleQuoted(std::string_view text, std::size_t continuationIndent)
{
    const bool multiLine = text.find('\n') != std::string_view::npos;
    std::string out = "\"";
    for (std::size_t i = 0; i < text.size(); i++) {
        const char c = text[i];
        if (c == '\\' || c == '"') {
            out += '\\';
            out += c;
        } else if (c == '\t' && multiLine) {
            out += "\\t";
        } else if (c == '\n' && i > 0 && text[i - 1] == ' ') {
            out += "\\n";
        } else if (c == '\n') {
            out += '\n';
            if (i + 1 == text.size() || text[i + 1] != '\n') {
                out.append(continuationIndent, ' ');
            }
        } else {
            out += c;
        }
    }
    return out + "\"";
}

/* ---- YANG writer ---- */

class YangWriter {
public:
    YangWriter(const xmlNode *root, const ExtensionArgLookup &lookup, Sink &sink)
        : root_(root), lookup_(lookup), sink_(sink)
    {
        CollectPrefixes();
        CollectOwnExtensions();
    }

    uint32_t Write() { return WriteStatement(root_, 0); }

private:
    /* One statement: keyword, argument (if any) and the child element that
     * holds the argument (skipped among the sub-statements). */
    struct Statement {
        std::string keyword;
        bool hasArg = false;
        std::string arg;
        const xmlNode *argElement = nullptr;
    };

    void CollectPrefixes()
    {
        std::unordered_set<std::string> prefixes;
        auto add = [&prefixes](const char *p) {
            if (p != nullptr) {
                prefixes.insert(p);
            }
        };
        const xmlNode *belongsTo = FirstYinChild(root_, "belongs-to");
        const char *own = ChildArgument(belongsTo != nullptr ? belongsTo : root_, "prefix", "value");
        add(own);
        for (const xmlNode *c = root_->children; c != nullptr; c = c->next) {
            if (IsYinElement(c, "import")) {
                add(ChildArgument(c, "prefix", "value"));
            }
        }
        for (const xmlNs *ns = root_->nsDef; ns != nullptr; ns = ns->next) {
            if (ns->prefix == nullptr || ns->href == nullptr || prefixes.count(Str(ns->prefix)) == 0) {
                continue;
            }
            prefixByUri_.emplace(Str(ns->href), Str(ns->prefix));
            /* The own prefix's namespace (a submodule has no namespace statement). */
            if (own != nullptr && std::strcmp(own, Str(ns->prefix)) == 0) {
                ownUri_ = Str(ns->href);
            }
        }
        const char *declared = ChildArgument(root_, "namespace", "uri");
        if (ownUri_.empty() && declared != nullptr) {
            ownUri_ = declared;
        }
    }

    void CollectOwnExtensions()
    {
        for (const xmlNode *c = root_->children; c != nullptr; c = c->next) {
            const xmlAttr *name = IsYinElement(c, "extension") ? FindAttribute(c, "name") : nullptr;
            if (name == nullptr) {
                continue;
            }
            ExtensionArgForm form;
            const xmlNode *argument = FirstYinChild(c, "argument");
            const xmlAttr *argName = argument != nullptr ? FindAttribute(argument, "name") : nullptr;
            if (argName != nullptr) {
                form.argName = TextOf(argName);
                const char *yinElement = ChildArgument(argument, "yin-element", "value");
                form.yinElement = yinElement != nullptr && std::strcmp(yinElement, "true") == 0;
            }
            ownExtensions_.emplace(TextOf(name), form);
        }
    }

    bool FindExtension(const xmlNode *elem, ExtensionArgForm *form) const
    {
        const char *uri = Str(elem->ns->href);
        if (uri != nullptr && ownUri_ == uri) {
            auto it = ownExtensions_.find(Str(elem->name));
            if (it != ownExtensions_.end()) {
                *form = it->second;
                return true;
            }
        }
        return uri != nullptr && lookup_ && lookup_(uri, Str(elem->name), form);
    }

    /* Takes the argument from the attribute or the child element `name`. */
    static bool TakeArgument(const xmlNode *elem, const char *name, bool element, Statement *st)
    {
        if (element) {
            for (const xmlNode *c = elem->children; c != nullptr; c = c->next) {
                if (c->type == XML_ELEMENT_NODE && SameNamespace(c, elem) && std::strcmp(Str(c->name), name) == 0) {
                    st->argElement = c;
                    st->arg = TextOf(c);
                    return st->hasArg = true;
                }
            }
            return false;
        }
        const xmlAttr *a = FindAttribute(elem, name);
        if (a != nullptr) {
            st->arg = TextOf(a);
            st->hasArg = true;
        }
        return st->hasArg;
    }

    /* Without a definition: the first plain attribute, or a first child
     * element of the same namespace that holds only text. */
    static void GuessArgument(const xmlNode *elem, Statement *st)
    {
        for (const xmlAttr *a = elem->properties; a != nullptr; a = a->next) {
            if (a->ns == nullptr) {
                st->arg = TextOf(a);
                st->hasArg = true;
                return;
            }
        }
        const xmlNode *first = elem->children;
        while (first != nullptr && first->type != XML_ELEMENT_NODE) {
            first = first->next;
        }
        if (first != nullptr && SameNamespace(first, elem) && first->properties == nullptr &&
            first->children != nullptr && !HasElementChild(first)) {
            st->argElement = first;
            st->arg = TextOf(first);
            st->hasArg = true;
        }
    }

    bool Describe(const xmlNode *elem, Statement *st) const
    {
        if (IsYinElement(elem)) {
            st->keyword = Str(elem->name);
            const KeywordArgForm *form = FindKeywordArgForm(Str(elem->name));
            if (form == nullptr) {
                GuessArgument(elem, st);
            } else if (form->arg != nullptr) {
                (void)TakeArgument(elem, form->arg, form->element, st);
            }
            return true;
        }
        if (elem->ns == nullptr || elem->ns->href == nullptr) {
            return false;
        }
        auto it = prefixByUri_.find(Str(elem->ns->href));
        const char *prefix = it != prefixByUri_.end() ? it->second.c_str() : Str(elem->ns->prefix);
        if (prefix == nullptr) {
            return false;
        }
        st->keyword = std::string(prefix) + ":" + Str(elem->name);
        ExtensionArgForm form;
        if (!FindExtension(elem, &form)) {
            GuessArgument(elem, st);
        } else if (!form.argName.empty() && !TakeArgument(elem, form.argName.c_str(), form.yinElement, st)) {
            GuessArgument(elem, st);
        }
        return true;
    }

    static bool OpensBlock(const xmlNode *elem, const Statement &st)
    {
        for (const xmlNode *c = elem->children; c != nullptr; c = c->next) {
            if (c->type == XML_ELEMENT_NODE && c != st.argElement) {
                return true;
            }
        }
        return false;
    }

    void WriteArgument(const Statement &st, std::size_t indent)
    {
        if (!st.hasArg) {
            return;
        }
        if (st.arg.find('\n') == std::string::npos) {
            sink_.Put(' ');
            sink_.Put(FormatYangArgument(st.arg, 0));
            return;
        }
        /* A multi-line text starts on a line of its own, one step deeper. */
        sink_.Put('\n');
        sink_.Indent(indent + 2);
        sink_.Put(FormatYangArgument(st.arg, indent + 3));
    }

    /* Writes the statement of elem and its sub-statements. */
    uint32_t WriteStatement(const xmlNode *elem, unsigned depth)
    {
        Statement st;
        if (depth >= kMaxWriteDepth || !Describe(elem, &st)) {
            return KZ_EINVAL;
        }
        const std::size_t indent = 2u * depth;
        sink_.Indent(indent);
        sink_.Put(st.keyword);
        WriteArgument(st, indent);
        if (!OpensBlock(elem, st)) {
            sink_.Put(";\n");
            return KZ_OK;
        }
        sink_.Put(" {\n");
        /* In the module body a blank line sets off every block. */
        bool previousBlock = false;
        bool first = true;
        for (const xmlNode *c = elem->children; c != nullptr; c = c->next) {
            if (c->type != XML_ELEMENT_NODE || c == st.argElement) {
                continue;
            }
            const bool block = depth == 0 && IsBlock(c);
            if (!first && (block || previousBlock)) {
                sink_.Put('\n');
            }
            uint32_t ret = WriteStatement(c, depth + 1);
            if (ret != KZ_OK) {
                return ret;
            }
            previousBlock = block;
            first = false;
        }
        sink_.Indent(indent);
        sink_.Put("}\n");
        return KZ_OK;
    }

    bool IsBlock(const xmlNode *elem) const
    {
        Statement st;
        return Describe(elem, &st) && OpensBlock(elem, st);
    }

    const xmlNode *root_;
    const ExtensionArgLookup &lookup_;
    Sink &sink_;
    std::unordered_map<std::string, std::string> prefixByUri_;
    std::string ownUri_;
    std::unordered_map<std::string, ExtensionArgForm> ownExtensions_;
};

/* ---- Canonical YIN writer ---- */

void PutEscaped(Sink &sink, std::string_view text, bool attribute)
{
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); i++) {
        const char *entity = nullptr;
        switch (text[i]) {
        case '&': entity = "&amp;"; break;
        case '<': entity = "&lt;"; break;
        case '>': entity = "&gt;"; break;
        case '\r': entity = "&#13;"; break;
        /* Attribute values are normalised on reading: keep these as references. */
        case '"': entity = attribute ? "&quot;" : nullptr; break;
        case '\n': entity = attribute ? "&#10;" : nullptr; break;
        case '\t': entity = attribute ? "&#9;" : nullptr; break;
        default: break;
        }
        if (entity != nullptr) {
            sink.Put(text.substr(start, i - start));
            sink.Put(entity);
            start = i + 1;
        }
    }
    sink.Put(text.substr(start));
}

void PutQName(Sink &sink, const xmlNs *ns, const xmlChar *name)
{
    if (ns != nullptr && ns->prefix != nullptr) {
        sink.Put(Str(ns->prefix));
        sink.Put(':');
    }
    sink.Put(Str(name));
}

/* Whether the node has a text child that is not empty (with blankCounts)
 * or holds more than white space. */
bool HasText(const xmlNode *node, bool blankCounts)
{
    for (const xmlNode *c = node->children; c != nullptr; c = c->next) {
        const char *text = IsTextNode(c) && c->content != nullptr ? Str(c->content) : "";
        if (text[blankCounts ? 0 : std::strspn(text, " \t\r\n")] != '\0') {
            return true;
        }
    }
    return false;
}

void PutStartTag(Sink &sink, const xmlNode *elem)
{
    sink.Put('<');
    PutQName(sink, elem->ns, elem->name);
    for (const xmlAttr *a = elem->properties; a != nullptr; a = a->next) {
        sink.Put(' ');
        PutQName(sink, a->ns, a->name);
        sink.Put("=\"");
        PutEscaped(sink, TextOf(a), true);
        sink.Put('"');
    }
    for (const xmlNs *ns = elem->nsDef; ns != nullptr; ns = ns->next) {
        sink.Put(" xmlns");
        if (ns->prefix != nullptr) {
            sink.Put(':');
            sink.Put(Str(ns->prefix));
        }
        sink.Put("=\"");
        PutEscaped(sink, ns->href != nullptr ? Str(ns->href) : "", true);
        sink.Put('"');
    }
}

/* pretty: the element sits on its own indented line.  Text beside child
 * elements is not YIN, but is kept exactly: such an element and everything
 * in it is written without added white space. */
uint32_t PutElement(Sink &sink, const xmlNode *elem, unsigned depth, bool pretty)
{
    if (depth >= kMaxWriteDepth) {
        return KZ_EINVAL;
    }
    if (pretty) {
        sink.Indent(2u * depth);
    }
    PutStartTag(sink, elem);
    const bool elements = HasElementChild(elem);
    const bool text = HasText(elem, false);
    if (!elements && !HasText(elem, true)) {
        sink.Put(pretty ? "/>\n" : "/>");
        return KZ_OK;
    }
    sink.Put('>');
    const bool inner = pretty && elements && !text;
    if (inner) {
        sink.Put('\n');
    }
    for (const xmlNode *c = elem->children; c != nullptr; c = c->next) {
        if (c->type == XML_ELEMENT_NODE) {
            uint32_t ret = PutElement(sink, c, depth + 1, inner);
            if (ret != KZ_OK) {
                return ret;
            }
        } else if (IsTextNode(c) && c->content != nullptr && !inner) {
            PutEscaped(sink, Str(c->content), false);
        }
    }
    if (inner) {
        sink.Indent(2u * depth);
    }
    sink.Put("</");
    PutQName(sink, elem->ns, elem->name);
    sink.Put(pretty ? ">\n" : ">");
    return KZ_OK;
}

const xmlNode *RootOf(const xmlDoc *doc)
{
    return doc != nullptr ? xmlDocGetRootElement(const_cast<xmlDoc *>(doc)) : nullptr;
}

} /* namespace */

std::string FormatYangArgument(std::string_view text, std::size_t continuationIndent)
{
    if (text.find('\n') != std::string_view::npos) {
        return DoubleQuoted(text, continuationIndent);
    }
    if (!NeedsQuotes(text)) {
        return std::string(text);
    }
    if (text.find_first_of("\"\\") == std::string_view::npos) {
        return "\"" + std::string(text) + "\"";
    }
    if (text.find('\'') == std::string_view::npos) {
        return "'" + std::string(text) + "'";
    }
    return DoubleQuoted(text, continuationIndent);
}

uint32_t WriteYang(const xmlDoc *doc, const ExtensionArgLookup &lookup, KzPrintOutputCb output, void *arg)
{
    const xmlNode *root = RootOf(doc);
    if (!IsRoot(root) || output == nullptr) {
        return KZ_EINVAL;
    }
    Sink sink(output, arg);
    uint32_t ret = YangWriter(root, lookup, sink).Write();
    return ret != KZ_OK ? ret : sink.Finish();
}

uint32_t WriteYin(const xmlDoc *doc, KzPrintOutputCb output, void *arg)
{
    const xmlNode *root = RootOf(doc);
    if (!IsRoot(root) || output == nullptr) {
        return KZ_EINVAL;
    }
    Sink sink(output, arg);
    sink.Put("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
    uint32_t ret = PutElement(sink, root, 0, true);
    return ret != KZ_OK ? ret : sink.Finish();
}

} /* namespace kz::yang */
