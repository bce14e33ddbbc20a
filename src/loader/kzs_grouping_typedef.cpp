/* Typedefs defined inside groupings and data definitions: the loader knows
 * typedefs at a module's top level only, so each scoped typedef moves there
 * (renamed only when its name is taken) and the type statements of its scope
 * that name it follow. */
#include <cstring>
#include <new>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "loader/kzs_grouping_ident.h"
#include "base/kz_xml.h"

namespace kz::loader {
namespace {

const xmlChar *X(const char *s)
{
    return reinterpret_cast<const xmlChar *>(s);
}

class Hoister {
public:
    explicit Hoister(xmlNode *root) : root_(root)
    {
        for (const xmlNode *child = root->children; child != nullptr; child = child->next) {
            const char *name = IsYinElement(child, "typedef") ? KZ_XML_GetTargetPropertyValue(child, "name") : nullptr;
            if (name != nullptr) {
                taken_.insert(name);
            }
        }
    }

    void Run()
    {
        for (xmlNode *child = root_->children; child != nullptr; child = child->next) {
            if (child->type == XML_ELEMENT_NODE) {
                Walk(child, IsYinElement(child, "typedef"));
            }
        }
        for (xmlNode *typedefElem : hoisted_) {
            xmlUnlinkNode(typedefElem);
            xmlAddChild(root_, typedefElem);
        }
    }

private:
    using Scope = std::unordered_map<std::string, std::string>; /* name -> top-level name */

    /* topLevelTypedef: the node is (inside) a top-level typedef, whose types
     * name top-level typedefs only. */
    void Walk(xmlNode *node, bool topLevelTypedef)
    {
        Scope scope;
        for (xmlNode *child = node->children; child != nullptr; child = child->next) {
            const char *name = IsYinElement(child, "typedef") ? KZ_XML_GetTargetPropertyValue(child, "name") : nullptr;
            if (name != nullptr && !topLevelTypedef) {
                const std::string own(name); /* renaming frees the attribute text */
                scope.emplace(own, Hoist(child, own));
            }
        }
        /* Only scopes that define typedefs are searched. */
        if (!scope.empty()) {
            scopes_.push_back(&scope);
        }
        if (!scopes_.empty() && IsYinElement(node, "type")) {
            Rename(node);
        }
        for (xmlNode *child = node->children; child != nullptr; child = child->next) {
            if (child->type == XML_ELEMENT_NODE) {
                Walk(child, topLevelTypedef);
            }
        }
        if (!scope.empty()) {
            scopes_.pop_back();
        }
    }

    std::string Hoist(xmlNode *typedefElem, const std::string &name)
    {
        std::string unique = name;
        for (unsigned n = 2; taken_.count(unique) != 0; n++) {
            unique = name + "-" + std::to_string(n);
        }
        taken_.insert(unique);
        if (unique != name && xmlSetProp(typedefElem, X("name"), X(unique.c_str())) == nullptr) {
            throw std::bad_alloc();
        }
        hoisted_.push_back(typedefElem);
        return unique;
    }

    /* An unprefixed type name takes the name its innermost scoped typedef got. */
    void Rename(xmlNode *type)
    {
        const char *text = KZ_XML_GetTargetPropertyValue(type, "name");
        if (text == nullptr || std::strchr(text, ':') != nullptr) {
            return;
        }
        const std::string name(text);
        for (auto it = scopes_.rbegin(); it != scopes_.rend(); ++it) {
            auto found = (*it)->find(name);
            if (found != (*it)->end()) {
                if (found->second != name && xmlSetProp(type, X("name"), X(found->second.c_str())) == nullptr) {
                    throw std::bad_alloc();
                }
                return;
            }
        }
    }

    xmlNode *root_;
    std::unordered_set<std::string> taken_;
    std::vector<const Scope *> scopes_;
    std::vector<xmlNode *> hoisted_;
};

/* Whether any typedef sits below the top level: most modules have none, and
 * then hoisting changes nothing. */
bool HasScopedTypedef(xmlNode *root)
{
    uint32_t direction = KZ_XML_DIR_START;
    for (xmlNode *n = root; n != nullptr; n = KZ_XML_GetXmlDomNextNode(root, n, &direction)) {
        if (direction != KZ_XML_DIR_PARENT && n->parent != root && n != root && IsYinElement(n, "typedef")) {
            return true;
        }
    }
    return false;
}

} /* namespace */

void HoistScopedTypedefs(xmlNode *root)
{
    if (HasScopedTypedef(root)) {
        Hoister(root).Run();
    }
}

} /* namespace kz::loader */
