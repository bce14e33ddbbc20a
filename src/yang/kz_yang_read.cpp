/* YANG statements to the YIN document: one pass over the text builds the
 * libxml2 tree; then the prefixes get their namespaces and extension instances
 * their argument form, both of which may depend on statements further on or
 * on other modules. */
#include "yang/kz_yang_read.h"

#include <algorithm>
#include <cstring>
#include <climits>
#include <memory>
#include <new>
#include <unordered_map>

#include <sys/stat.h>
#include <time.h>

#include <libxml/dict.h>
#include <libxml/parser.h>

#include "base/kz_xml.h"
#include "yang/kz_yang_keyword.h"
#include "yang/kz_yang_lex.h"
#include "base/kz_kit.h"

namespace kz::yang {
namespace {

/* Namespace given to an import whose module cannot be found, so that its
 * prefix still reaches the loader. */
constexpr const char *kUnresolvedNamespace = "urn:korla:unresolved-module:";

/* RFC 7950 identifier: a letter or '_', then letters, digits, '_', '-', '.'. */
bool IsIdentifier(const char *s, std::size_t len)
{
    auto alpha = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; };
    if (len == 0 || !alpha(s[0])) {
        return false;
    }
    for (std::size_t i = 1; i < len; i++) {
        if (!alpha(s[i]) && !(s[i] >= '0' && s[i] <= '9') && s[i] != '-' && s[i] != '.') {
            return false;
        }
    }
    return true;
}

const char *Str(const xmlChar *s)
{
    return reinterpret_cast<const char *>(s);
}
const xmlChar *XStr(const char *s)
{
    return reinterpret_cast<const xmlChar *>(s);
}

bool IsYinElement(const xmlNode *node, const char *name)
{
    return node->type == XML_ELEMENT_NODE && node->ns != nullptr && node->ns->href != nullptr &&
           std::strcmp(Str(node->ns->href), kYinNamespaceUri) == 0 && std::strcmp(Str(node->name), name) == 0;
}

xmlNode *FirstYinChild(const xmlNode *node, const char *name)
{
    for (xmlNode *child = node->children; child != nullptr; child = child->next) {
        if (IsYinElement(child, name)) {
            return child;
        }
    }
    return nullptr;
}

/* The argument attribute of a YIN child statement, or nullptr. */
const char *ChildArg(const xmlNode *node, const char *child, const char *attr)
{
    const xmlNode *found = FirstYinChild(node, child);
    return found != nullptr ? KZ_XML_GetTargetPropertyValue(found, attr) : nullptr;
}


/* How an extension's argument is written in YIN. */
struct ArgForm {
    std::string name; /* empty: the extension takes no argument */
    bool element = false;
};

/* What other modules' statements need from a module. */
struct ModuleInfo {
    std::string ns;
    std::unordered_map<std::string, ArgForm> extensions;
    bool complete = false; /* extensions read too, not only the namespace */
};

/* A module file's identity and times: a file whose stamp is unchanged and was
 * last modified well before it was read keeps what was learnt from it (file
 * times advance in coarse ticks, so only a rewrite within the tick of the
 * previous one could keep the modification time). */
struct FileStamp {
    dev_t dev = 0;
    ino_t ino = 0;
    off_t size = 0;
    timespec mtime {};
    timespec ctime {};
    bool operator==(const FileStamp &o) const
    {
        return dev == o.dev && ino == o.ino && size == o.size && mtime.tv_sec == o.mtime.tv_sec &&
               mtime.tv_nsec == o.mtime.tv_nsec && ctime.tv_sec == o.ctime.tv_sec && ctime.tv_nsec == o.ctime.tv_nsec;
    }
};

/* The stamp of a file from its status; false when it is too recent to trust. */
bool SettledStamp(const struct stat &st, FileStamp *stamp)
{
    stamp->dev = st.st_dev;
    stamp->ino = st.st_ino;
    stamp->size = st.st_size;
    stamp->mtime = st.st_mtim;
    stamp->ctime = st.st_ctim;
    timespec now {};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec - st.st_mtim.tv_sec >= 2;
}

/* The namespace of a YANG module text, read statement by statement from the
 * top (it comes first, so the rest of the text is not read); "" when absent. */
std::string PeekYangNamespace(const char *text, std::size_t length)
{
    Lexer lex(text, length);
    const char *kw = nullptr;
    std::size_t colon = 0;
    std::string arg;
    if (!lex.SkipSeparators() || lex.ReadKeyword(&kw, &colon) == 0 || !lex.SkipSeparators() || !lex.AtArgument() ||
        !lex.ReadArgument(false, &arg) || !lex.SkipSeparators() || lex.AtEnd() || lex.Peek() != '{') {
        return {};
    }
    lex.Advance();
    for (unsigned depth = 1; depth > 0;) {
        if (!lex.SkipSeparators() || lex.AtEnd()) {
            return {};
        }
        if (lex.Peek() == '}') {
            lex.Advance();
            depth--;
            continue;
        }
        const std::size_t len = lex.ReadKeyword(&kw, &colon);
        const bool isNamespace = depth == 1 && colon == 0 && len == 9 && std::memcmp(kw, "namespace", 9) == 0;
        arg.clear();
        if (len == 0 || !lex.SkipSeparators() || (lex.AtArgument() && !lex.ReadArgument(false, &arg))) {
            return {};
        }
        if (isNamespace) {
            return arg;
        }
        if (!lex.SkipSeparators() || lex.AtEnd() || (lex.Peek() != ';' && lex.Peek() != '{')) {
            return {};
        }
        depth += lex.Peek() == '{' ? 1 : 0;
        if (depth > kMaxNestingDepth) {
            return {};
        }
        lex.Advance();
    }
    return {};
}

void CollectModuleInfo(const xmlNode *root, ModuleInfo *info)
{
    for (const xmlNode *child = root->children; child != nullptr; child = child->next) {
        if (IsYinElement(child, "namespace")) {
            const char *uri = KZ_XML_GetTargetPropertyValue(child, "uri");
            info->ns = uri != nullptr ? uri : "";
        } else if (IsYinElement(child, "extension")) {
            const char *name = KZ_XML_GetTargetPropertyValue(child, "name");
            const xmlNode *argument = FirstYinChild(child, "argument");
            if (name == nullptr) {
                continue;
            }
            ArgForm form;
            if (argument != nullptr) {
                const char *argName = KZ_XML_GetTargetPropertyValue(argument, "name");
                const char *yinElement = ChildArg(argument, "yin-element", "value");
                form.name = argName != nullptr ? argName : "";
                form.element = yinElement != nullptr && std::strcmp(yinElement, "true") == 0;
            }
            info->extensions.emplace(name, std::move(form));
        }
    }
}

} /* namespace */

struct ImportFacts {
    struct Known {
        FileStamp stamp;
        ModuleInfo info;
    };
    std::unordered_map<std::string, Known> byPath; /* one per imported module file read */
};

namespace {

/* An extension instance whose namespace and argument wait for the whole text. */
struct PendingExtension {
    xmlNode *node;
    std::string prefix;
    std::string arg;
    bool hasArg;
    std::size_t offset;
};

class Reader {
public:
    Reader(const char *text, std::size_t length, const std::vector<std::string> &dirs, KzDirCache *listings,
           ImportFacts *facts, bool resolveImports)
        : text_(text), length_(length), lex_(text, length), dirs_(dirs), listings_(listings), facts_(facts),
          resolveImports_(resolveImports)
    {
    }

    /* The document, or nullptr with Fault() set. */
    xmlDoc *Run();
    const LexFault &Fault() const { return fault_.message.empty() ? lex_.Fault() : fault_; }

private:
    bool Fail(std::size_t offset, std::string message)
    {
        fault_.offset = offset;
        fault_.message = std::move(message);
        return false;
    }
    bool ParseStatements();
    bool ParseStatement();
    xmlNode *NewStatementNode(std::size_t keyword, const char *kw, std::size_t len, std::size_t colon);
    /* The argument as an attribute or child element named name (from the
     * document's dictionary). */
    bool AddArgument(xmlNode *node, xmlNs *ns, const xmlChar *name, bool element, const std::string &value);
    /* A name from the document's dictionary, kept per keyword in *slot. */
    const xmlChar *DictName(const xmlChar **slot, const char *name);
    bool ResolvePrefixes();
    /* What the module of that name defines, read from the search directories
     * once; withExtensions: its extension definitions are needed, not only
     * its namespace. */
    const ModuleInfo *FindModule(const std::string &name, bool withExtensions);
    ArgForm FindExtension(const std::string &moduleName, const char *extension);

    const char *text_;
    std::size_t length_;
    Lexer lex_;
    const std::vector<std::string> &dirs_;
    KzDirCache *listings_;
    ImportFacts *facts_;
    bool resolveImports_;
    LexFault fault_;
    XmlDocPtr doc_;
    xmlNs *yin_ = nullptr;
    bool yang11_ = false;
    std::string arg_;
    std::vector<xmlNode *> open_;           /* statements whose block is open */
    std::vector<std::size_t> openOffsets_;  /* where each block opened */
    std::vector<PendingExtension> extensions_;
    const xmlChar *names_[kKeywordCount] = {};
    const xmlChar *argNames_[kKeywordCount] = {};
    std::unordered_map<std::string, ModuleInfo> modules_; /* other modules, by name */
    std::unordered_map<std::string, std::string> prefixModule_; /* prefix -> module name */
    std::string ownModule_;
    ModuleInfo own_;
};

xmlDoc *Reader::Run()
{
    const std::size_t bad = FindInvalidChar(text_, length_);
    if (bad != length_) {
        Fail(bad, "invalid UTF-8 or control character");
        return nullptr;
    }
    doc_.reset(xmlNewDoc(XStr("1.0")));
    if (doc_ == nullptr) {
        Fail(0, "out of memory");
        return nullptr;
    }
    doc_->dict = xmlDictCreate();
    if (doc_->dict == nullptr) {
        Fail(0, "out of memory");
        return nullptr;
    }
    if (!ParseStatements() || (resolveImports_ && !ResolvePrefixes())) {
        return nullptr;
    }
    return doc_.release();
}

bool Reader::ParseStatements()
{
    if (!lex_.SkipSeparators()) {
        return false;
    }
    for (;;) {
        if (lex_.AtEnd()) {
            if (!open_.empty()) {
                unsigned long line = 0;
                unsigned long column = 0;
                LineAndColumn(text_, openOffsets_.back(), &line, &column);
                return Fail(lex_.Offset(), "missing \"}\" for the block of \"" + std::string(Str(open_.back()->name)) +
                                               "\" opened at line " + std::to_string(line));
            }
            return xmlDocGetRootElement(doc_.get()) != nullptr || Fail(0, "no module or submodule statement");
        }
        if (lex_.Peek() == '}') {
            if (open_.empty()) {
                return Fail(lex_.Offset(), "unexpected \"}\"");
            }
            open_.pop_back();
            openOffsets_.pop_back();
            lex_.Advance();
        } else if (open_.empty() && xmlDocGetRootElement(doc_.get()) != nullptr) {
            return Fail(lex_.Offset(), "text after the end of the module");
        } else if (!ParseStatement()) {
            return false;
        }
        if (!lex_.SkipSeparators()) {
            return false;
        }
    }
}

bool Reader::ParseStatement()
{
    const std::size_t offset = lex_.Offset();
    const char *kw = nullptr;
    std::size_t colon = 0;
    const std::size_t len = lex_.ReadKeyword(&kw, &colon);
    if (len == 0) {
        return Fail(offset, lex_.Peek() == '"' || lex_.Peek() == '\'' ? "a keyword expected, not a string"
                                                                     : std::string("a keyword expected before \"") +
                                                                           lex_.Peek() + "\"");
    }
    std::size_t keyword = kKeywordCount;
    if (colon == 0) {
        keyword = FindKeywordIndex(kw, len);
        if (keyword == kKeywordCount) {
            return Fail(offset, "unknown keyword \"" + std::string(kw, len) + "\"");
        }
    } else if (!IsIdentifier(kw, colon) || !IsIdentifier(kw + colon + 1, len - colon - 1)) {
        return Fail(offset, "invalid extension keyword \"" + std::string(kw, len) + "\"");
    }
    const bool isRoot = xmlDocGetRootElement(doc_.get()) == nullptr;
    if (isRoot && keyword != FindKeywordIndex("module", 6) && keyword != FindKeywordIndex("submodule", 9)) {
        return Fail(offset, "a module or submodule statement expected");
    }
    if (open_.size() >= kMaxNestingDepth) {
        return Fail(offset, "statements nested deeper than " + std::to_string(kMaxNestingDepth) + " levels");
    }
    if (!lex_.SkipSeparators()) {
        return false;
    }
    const std::size_t argOffset = lex_.Offset();
    const bool hasArg = lex_.AtArgument();
    if (hasArg && !lex_.ReadArgument(yang11_, &arg_)) {
        return false;
    }
    if (!lex_.SkipSeparators()) {
        return false;
    }
    const KeywordArgForm *form = keyword != kKeywordCount ? &kKeywordForms[keyword] : nullptr;
    if (form != nullptr && form->arg != nullptr && !hasArg) {
        return Fail(lex_.Offset(), "missing argument of \"" + std::string(kw, len) + "\"");
    }
    if (form != nullptr && form->arg == nullptr && hasArg) {
        return Fail(argOffset, "\"" + std::string(kw, len) + "\" takes no argument");
    }
    if (lex_.AtEnd() || (lex_.Peek() != ';' && lex_.Peek() != '{')) {
        return Fail(lex_.Offset(), "missing \";\" or \"{\" after \"" + std::string(kw, len) + "\"");
    }
    xmlNode *node = NewStatementNode(keyword, kw, len, colon);
    if (node == nullptr) {
        return Fail(offset, "out of memory");
    }
    if (form == nullptr) {
        extensions_.push_back({node, std::string(kw, colon), hasArg ? arg_ : std::string(), hasArg, offset});
    } else if (hasArg) {
        const xmlChar *argName = DictName(&argNames_[keyword], form->arg);
        if (argName == nullptr || !AddArgument(node, yin_, argName, form->element, arg_)) {
            return Fail(offset, "out of memory");
        }
    }
    if (open_.size() == 1 && std::strcmp(form != nullptr ? form->keyword : "", "yang-version") == 0) {
        yang11_ = arg_ == "1.1";
    }
    if (lex_.Peek() == '{') {
        open_.push_back(node);
        openOffsets_.push_back(lex_.Offset());
    }
    lex_.Advance();
    return true;
}

xmlNode *Reader::NewStatementNode(std::size_t keyword, const char *kw, std::size_t len, std::size_t colon)
{
    xmlDoc *doc = doc_.get();
    xmlNode *node = nullptr;
    if (keyword == kKeywordCount) {
        const std::string local(kw + colon + 1, len - colon - 1);
        node = xmlNewDocNode(doc, nullptr, XStr(local.c_str()), nullptr);
    } else {
        const xmlChar *name = DictName(&names_[keyword], kKeywordForms[keyword].keyword);
        if (name == nullptr) {
            return nullptr;
        }
        node = xmlNewDocNodeEatName(doc, yin_, const_cast<xmlChar *>(name), nullptr);
    }
    if (node == nullptr) {
        return nullptr;
    }
    if (open_.empty()) {
        xmlDocSetRootElement(doc, node);
        yin_ = xmlNewNs(node, XStr(kYinNamespaceUri), nullptr);
        if (yin_ == nullptr) {
            return nullptr;
        }
        xmlSetNs(node, yin_);
    } else {
        xmlAddChild(open_.back(), node);
    }
    return node;
}

const xmlChar *Reader::DictName(const xmlChar **slot, const char *name)
{
    if (*slot == nullptr) {
        *slot = xmlDictLookup(doc_->dict, XStr(name), -1);
    }
    return *slot;
}

bool Reader::AddArgument(xmlNode *node, xmlNs *ns, const xmlChar *name, bool element, const std::string &value)
{
    xmlChar *owned = const_cast<xmlChar *>(name); /* the dictionary keeps it: "eating" it frees nothing */
    if (!element) {
        return xmlNewNsPropEatName(node, nullptr, owned, XStr(value.c_str())) != nullptr;
    }
    xmlNode *child = xmlNewDocNodeEatName(doc_.get(), ns, owned, nullptr);
    if (child == nullptr) {
        return false;
    }
    xmlNode *content = xmlNewDocText(doc_.get(), XStr(value.c_str()));
    if (content == nullptr) {
        xmlFreeNode(child);
        return false;
    }
    xmlAddChild(child, content);
    /* The argument comes before the statement's sub-statements. */
    if (node->children != nullptr) {
        xmlAddPrevSibling(node->children, child);
    } else {
        xmlAddChild(node, child);
    }
    return true;
}

const ModuleInfo *Reader::FindModule(const std::string &name, bool withExtensions)
{
    auto cached = modules_.find(name);
    if (cached != modules_.end() && (cached->second.complete || !withExtensions)) {
        return cached->second.ns.empty() ? nullptr : &cached->second;
    }
    ModuleInfo &info = modules_[name];
    info.complete = true;
    std::string text;
    XmlDocPtr doc;
    for (const std::string &dir : dirs_) {
        const std::string yin = dir + "/" + name + ".yin";
        if (ReadWholeFile(yin.c_str(), &text) && text.size() <= static_cast<std::size_t>(INT_MAX)) {
            doc.reset(xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                    XML_PARSE_NOBLANKS | XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
            break;
        }
    }
    if (doc == nullptr) {
        struct stat found {};
        const std::string path = FindYangFile(dirs_, name.c_str(), listings_, &found);
        FileStamp stamp;
        const bool settled = !path.empty() && facts_ != nullptr && SettledStamp(found, &stamp);
        if (settled) {
            auto known = facts_->byPath.find(path);
            if (known != facts_->byPath.end() && known->second.stamp == stamp &&
                (known->second.info.complete || !withExtensions)) {
                info = known->second.info;
                return info.ns.empty() ? nullptr : &info;
            }
        }
        if (path.empty() || !ReadWholeFile(path.c_str(), &text)) {
            return nullptr;
        }
        if (!withExtensions) {
            info.ns = PeekYangNamespace(text.data(), text.size());
            info.complete = false;
        } else {
            /* Only its own statements are needed: its imports are not followed. */
            doc.reset(Reader(text.data(), text.size(), dirs_, listings_, nullptr, false).Run());
            const xmlNode *root = doc != nullptr ? xmlDocGetRootElement(doc.get()) : nullptr;
            if (root != nullptr) {
                CollectModuleInfo(root, &info);
            }
        }
        if (settled) {
            facts_->byPath[path] = ImportFacts::Known {stamp, info};
        }
        return info.ns.empty() ? nullptr : &info;
    }
    const xmlNode *root = doc != nullptr ? xmlDocGetRootElement(doc.get()) : nullptr;
    if (root != nullptr) {
        CollectModuleInfo(root, &info);
    }
    return info.ns.empty() ? nullptr : &info;
}

ArgForm Reader::FindExtension(const std::string &moduleName, const char *extension)
{
    const ModuleInfo *info = moduleName == ownModule_ ? &own_ : FindModule(moduleName, true);
    if (info != nullptr) {
        auto found = info->extensions.find(extension);
        if (found != info->extensions.end()) {
            return found->second;
        }
    }
    /* A submodule's prefix also names what its module defines. */
    if (moduleName == ownModule_ && !own_.ns.empty()) {
        const xmlNode *root = xmlDocGetRootElement(doc_.get());
        const char *parent = IsYinElement(root, "submodule") ? ChildArg(root, "belongs-to", "module") : nullptr;
        if (parent != nullptr && (info = FindModule(parent, true)) != nullptr) {
            auto found = info->extensions.find(extension);
            if (found != info->extensions.end()) {
                return found->second;
            }
        }
    }
    ArgForm unknown;
    unknown.name = "value";
    return unknown;
}

bool Reader::ResolvePrefixes()
{
    xmlNode *root = xmlDocGetRootElement(doc_.get());
    CollectModuleInfo(root, &own_);
    const char *name = KZ_XML_GetTargetPropertyValue(root, "name");
    ownModule_ = name != nullptr ? name : "";
    std::vector<std::pair<std::string, std::string>> prefixes; /* prefix, namespace, in declaration order */
    if (IsYinElement(root, "module")) {
        const char *prefix = ChildArg(root, "prefix", "value");
        if (prefix != nullptr) {
            prefixes.emplace_back(prefix, own_.ns);
            prefixModule_.emplace(prefix, ownModule_);
        }
    } else if (const xmlNode *belongsTo = FirstYinChild(root, "belongs-to"); belongsTo != nullptr) {
        const char *parent = KZ_XML_GetTargetPropertyValue(belongsTo, "module");
        const char *prefix = ChildArg(belongsTo, "prefix", "value");
        if (parent != nullptr && prefix != nullptr) {
            const ModuleInfo *info = FindModule(parent, false);
            own_.ns = info != nullptr ? info->ns : kUnresolvedNamespace + std::string(parent);
            prefixes.emplace_back(prefix, own_.ns);
            prefixModule_.emplace(prefix, ownModule_);
        }
    }
    for (const xmlNode *child = root->children; child != nullptr; child = child->next) {
        const char *module = IsYinElement(child, "import") ? KZ_XML_GetTargetPropertyValue(child, "module") : nullptr;
        const char *prefix = module != nullptr ? ChildArg(child, "prefix", "value") : nullptr;
        if (prefix == nullptr || !prefixModule_.emplace(prefix, module).second) {
            continue;
        }
        const ModuleInfo *info = FindModule(module, false);
        prefixes.emplace_back(prefix, info != nullptr ? info->ns : kUnresolvedNamespace + std::string(module));
    }
    std::unordered_map<std::string, xmlNs *> declared;
    for (const auto &[prefix, ns] : prefixes) {
        xmlNs *decl = xmlNewNs(root, XStr(ns.c_str()), XStr(prefix.c_str()));
        if (decl != nullptr) {
            declared.emplace(prefix, decl);
        }
    }
    for (const PendingExtension &ext : extensions_) {
        auto found = declared.find(ext.prefix);
        if (found == declared.end()) {
            return Fail(ext.offset, "unknown prefix \"" + ext.prefix + "\"");
        }
        xmlSetNs(ext.node, found->second);
        if (!ext.hasArg) {
            continue;
        }
        const ArgForm form = FindExtension(prefixModule_[ext.prefix], Str(ext.node->name));
        /* An argument the definition does not declare keeps the same fallback form. */
        const char *argName = form.name.empty() ? "value" : form.name.c_str();
        const xmlChar *name = xmlDictLookup(doc_->dict, XStr(argName), -1);
        if (name == nullptr || !AddArgument(ext.node, found->second, name, form.element, ext.arg)) {
            return Fail(ext.offset, "out of memory");
        }
    }
    return true;
}

} /* namespace */

xmlDocPtr ReadYang(const char *text, std::size_t length, const char *fileName, const std::vector<std::string> &dirs,
                   std::string *error, KzDirCache *listings, ImportFacts *facts)
{
    try {
        Reader reader(text, length, dirs, listings, facts, true);
        xmlDoc *doc = reader.Run();
        if (doc == nullptr && error != nullptr) {
            unsigned long line = 0;
            unsigned long column = 0;
            LineAndColumn(text, reader.Fault().offset, &line, &column);
            std::string where = (fileName != nullptr && fileName[0] != '\0') ? std::string(fileName) + ":" : "";
            *error = where + std::to_string(line) + ":" + std::to_string(column) + ": " + reader.Fault().message;
        }
        return doc;
    } catch (const std::bad_alloc &) {
        if (error != nullptr) {
            error->clear(); /* the message itself may not fit; an empty one still means failure */
        }
        return nullptr;
    }
}

ImportFacts *NewImportFacts()
{
    return new (std::nothrow) ImportFacts();
}

void FreeImportFacts(void *facts)
{
    delete static_cast<ImportFacts *>(facts);
}

std::string PeekYangModuleName(const char *text, std::size_t length)
{
    try {
        Lexer lex(text, length);
        const char *kw = nullptr;
        std::size_t colon = 0;
        std::string name;
        if (!lex.SkipSeparators()) {
            return {};
        }
        const std::size_t len = lex.ReadKeyword(&kw, &colon);
        const bool header = (len == 6 && std::memcmp(kw, "module", 6) == 0) ||
                            (len == 9 && std::memcmp(kw, "submodule", 9) == 0);
        if (!header || !lex.SkipSeparators() || !lex.AtArgument() || !lex.ReadArgument(false, &name)) {
            return {};
        }
        return FindInvalidChar(name.data(), name.size()) == name.size() ? name : std::string();
    } catch (const std::bad_alloc &) {
        return {};
    }
}

} /* namespace kz::yang */
