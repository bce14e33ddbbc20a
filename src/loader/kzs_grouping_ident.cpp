/* Prefix rewriting for grouping copies that cross documents. */
#include "loader/kzs_grouping_ident.h"

#include <cstring>
#include <new>

#include "loader/kzs_stmt.h"
#include "base/kz_xml.h"

namespace kz::loader {
namespace {

const xmlChar *X(const char *s)
{
    return reinterpret_cast<const xmlChar *>(s);
}

const char *Arg(const xmlNode *node, const char *attr)
{
    return KZ_XML_GetTargetPropertyValue(node, attr);
}

const xmlNode *FirstYinChild(const xmlNode *node, const char *keyword)
{
    for (const xmlNode *child = node->children; child != nullptr; child = child->next) {
        if (IsYinElement(child, keyword)) {
            return child;
        }
    }
    return nullptr;
}

bool IsBuiltinType(const std::string &name)
{
    static const char *const kBuiltins[] = {
        "binary", "bits",  "boolean", "decimal64", "empty",  "enumeration", "identityref", "instance-identifier",
        "int8",   "int16", "int32",   "int64",     "leafref", "string",     "uint8",       "uint16",
        "uint32", "uint64", "union"};
    for (const char *builtin : kBuiltins) {
        if (name == builtin) {
            return true;
        }
    }
    return false;
}

bool IsIdentStart(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool IsIdentChar(char c)
{
    return IsIdentStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

/* A leaf or leaf-list typed identityref directly: its bare defaults name
 * identities of the module that wrote them. */
bool HasIdentityrefType(const xmlNode *node)
{
    const xmlNode *type = node != nullptr ? FirstYinChild(node, "type") : nullptr;
    const char *name = type != nullptr ? Arg(type, "name") : nullptr;
    return name != nullptr && std::strcmp(name, "identityref") == 0;
}

class Rewriter {
public:
    Rewriter(const PrefixScope &from, PrefixScope *to, xmlNode *toRoot) : from_(from), to_(to), toRoot_(toRoot) {}

    void Walk(xmlNode *node)
    {
        if (IsYinElement(node, "type")) {
            MapAttr(node, "name", [this](const std::string &v) { return MapName(v, !IsBuiltinType(v)); });
        } else if (IsYinElement(node, "base")) {
            MapAttr(node, "name", [this](const std::string &v) { return MapName(v, true); });
        } else if (IsYinElement(node, "if-feature")) {
            MapAttr(node, "name", [this](const std::string &v) { return MapText(v, true); });
        } else if (IsYinElement(node, "default") && HasIdentityrefType(node->parent)) {
            MapAttr(node, "value", [this](const std::string &v) { return MapName(v, true); });
        } else if (IsYinElement(node, "path") || IsYinElement(node, "default")) {
            MapAttr(node, "value", [this](const std::string &v) { return MapText(v, false); });
        } else if (IsYinElement(node, "when") || IsYinElement(node, "must")) {
            MapAttr(node, "condition", [this](const std::string &v) { return MapText(v, false); });
        }
        for (xmlNode *child = node->children; child != nullptr; child = child->next) {
            if (child->type == XML_ELEMENT_NODE) {
                Walk(child);
            }
        }
    }

private:
    template <typename Map>
    static void MapAttr(xmlNode *node, const char *attr, Map map)
    {
        const char *value = Arg(node, attr);
        if (value == nullptr) {
            return;
        }
        const std::string mapped = map(std::string(value));
        if (mapped != value && xmlSetProp(node, X(attr), X(mapped.c_str())) == nullptr) {
            throw std::bad_alloc();
        }
    }

    /* The using document's prefix for a module; an import is added when it has none. */
    std::string PrefixFor(const std::string &module)
    {
        if (module == to_->module) {
            return to_->ownPrefix;
        }
        auto it = to_->moduleToPrefix.find(module);
        if (it != to_->moduleToPrefix.end()) {
            return it->second;
        }
        std::string prefix = module;
        for (unsigned n = 1; prefix == to_->ownPrefix || to_->prefixToModule.count(prefix) != 0; n++) {
            prefix = module + "-" + std::to_string(n);
        }
        AddImport(module, prefix);
        to_->prefixToModule[prefix] = module;
        to_->moduleToPrefix[module] = prefix;
        return prefix;
    }

    void AddImport(const std::string &module, const std::string &prefix)
    {
        xmlNode *import = xmlNewDocNode(toRoot_->doc, toRoot_->ns, X("import"), nullptr);
        if (import == nullptr) {
            throw std::bad_alloc();
        }
        xmlNode *prefixElem = xmlNewChild(import, toRoot_->ns, X("prefix"), nullptr);
        if (xmlSetProp(import, X("module"), X(module.c_str())) == nullptr || prefixElem == nullptr ||
            xmlSetProp(prefixElem, X("value"), X(prefix.c_str())) == nullptr) {
            xmlFreeNode(import);
            throw std::bad_alloc();
        }
        xmlAddChild(toRoot_, import);
    }

    /* A prefix of `from` given its meaning in `to`; unknown prefixes stay. */
    bool MapPrefix(const std::string &prefix, std::string *out)
    {
        if (prefix == from_.ownPrefix) {
            *out = PrefixFor(from_.module);
            return true;
        }
        auto it = from_.prefixToModule.find(prefix);
        if (it == from_.prefixToModule.end()) {
            return false;
        }
        *out = PrefixFor(it->second);
        return true;
    }

    /* A single (maybe prefixed) name; unprefixedIsFrom: a bare name means the
     * grouping's module (typedefs, identities, features). */
    std::string MapName(const std::string &name, bool unprefixedIsFrom)
    {
        const size_t colon = name.find(':');
        std::string prefix;
        if (colon == std::string::npos) {
            return unprefixedIsFrom && from_.module != to_->module ? PrefixFor(from_.module) + ":" + name : name;
        }
        return MapPrefix(name.substr(0, colon), &prefix) ? prefix + name.substr(colon) : name;
    }

    /* Prefixed names in an XPath expression, path, if-feature expression or
     * default: every "prefix:" of a name, in string literals too (identity
     * values); bareIsFrom: an if-feature expression, where bare names are
     * the grouping module's features. */
    std::string MapText(const std::string &text, bool bareIsFrom)
    {
        std::string out;
        out.reserve(text.size());
        size_t i = 0;
        while (i < text.size()) {
            const bool boundary = i == 0 || !IsIdentChar(text[i - 1]);
            if (!boundary || !IsIdentStart(text[i])) {
                out += text[i++];
                continue;
            }
            size_t end = i;
            while (end < text.size() && IsIdentChar(text[end])) {
                end++;
            }
            const std::string name = text.substr(i, end - i);
            const bool prefixed = end + 1 < text.size() && text[end] == ':' && text[end + 1] != ':';
            std::string mapped;
            if (prefixed && MapPrefix(name, &mapped)) {
                out += mapped;
            } else if (!prefixed && bareIsFrom && name != "and" && name != "or" && name != "not") {
                out += MapName(name, true);
            } else {
                out += name;
            }
            i = end;
        }
        return out;
    }

    const PrefixScope &from_;
    PrefixScope *to_;
    xmlNode *toRoot_;
};

} /* namespace */

bool IsYinElement(const xmlNode *node, const char *keyword)
{
    const char *name = node != nullptr ? reinterpret_cast<const char *>(node->name) : nullptr;
    if (name == nullptr || node->type != XML_ELEMENT_NODE || name[0] != keyword[0] || std::strcmp(name, keyword) != 0) {
        return false;
    }
    return node->ns == nullptr || node->ns->href == nullptr ||
           std::strcmp(reinterpret_cast<const char *>(node->ns->href), KZS_YIN_NAMESPACE) == 0;
}

PrefixScope ReadPrefixScope(const xmlNode *root)
{
    PrefixScope scope;
    const xmlNode *owner = IsYinElement(root, "submodule") ? FirstYinChild(root, "belongs-to") : nullptr;
    const char *module = owner != nullptr ? Arg(owner, "module") : Arg(root, "name");
    const xmlNode *prefixElem = FirstYinChild(owner != nullptr ? owner : root, "prefix");
    const char *prefix = prefixElem != nullptr ? Arg(prefixElem, "value") : nullptr;
    scope.module = module != nullptr ? module : "";
    scope.ownPrefix = prefix != nullptr ? prefix : "";
    for (const xmlNode *child = root->children; child != nullptr; child = child->next) {
        const char *imported = IsYinElement(child, "import") ? Arg(child, "module") : nullptr;
        const xmlNode *importPrefix = imported != nullptr ? FirstYinChild(child, "prefix") : nullptr;
        const char *value = importPrefix != nullptr ? Arg(importPrefix, "value") : nullptr;
        if (value != nullptr) {
            scope.prefixToModule[value] = imported;
            scope.moduleToPrefix.emplace(imported, value);
        }
    }
    return scope;
}

void RewriteIdentifiers(xmlNode *copy, const PrefixScope &from, PrefixScope *to, xmlNode *toRoot)
{
    Rewriter(from, to, toRoot).Walk(copy);
}

} /* namespace kz::loader */
