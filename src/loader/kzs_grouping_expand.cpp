/* Grouping expansion over the YIN document, before the loader walks it.
 *
 * Each grouping is expanded once, in place, in its own document (so that the
 * uses inside it resolve where the grouping is written), then its data
 * definitions are copied for every uses.  Copies from another document get
 * their identifiers rewritten to the using document's prefixes. */
#include "loader/kzs_grouping.h"

#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "loader/kzs_augment_inherit.h"
#include "loader/kzs_grouping_ident.h"
#include "loader/kzs_loader.h"
#include "loader/kzs_stmt_util.h"
#include "schema/kzs_diag.h"
#include "base/kz_xml.h"
#include "base/kz_kit.h"

namespace kz::loader {
namespace {


/* A condition built by the condition helpers, as a string; their null (out of memory) throws. */
std::string TakeCondition(char *built)
{
    if (built == nullptr) {
        throw std::bad_alloc();
    }
    std::string out(built);
    KZ_MemFree(built);
    return out;
}

/* A deep copy of a statement for doc. */
xmlNode *CopyInto(const xmlNode *node, xmlDoc *doc)
{
    xmlNode *copy = xmlDocCopyNode(const_cast<xmlNode *>(node), doc, 1);
    if (copy == nullptr) {
        throw std::bad_alloc();
    }
    return copy;
}

/* Statements a grouping hands to its uses. */
bool IsGroupingDataDef(const xmlNode *node)
{
    static const char *const kKinds[] = {"container", "leaf",   "leaf-list", "list",        "choice",
                                         "anydata",   "anyxml", "action",    "notification"};
    for (const char *kind : kKinds) {
        if (IsYinElement(node, kind)) {
            return true;
        }
    }
    return false;
}

/* Schema nodes a descendant path of refine or augment steps through. */
bool IsPathStep(const xmlNode *node, const std::string &name)
{
    if (IsYinElement(node, "input") || IsYinElement(node, "output")) {
        return name == reinterpret_cast<const char *>(node->name);
    }
    if (!IsGroupingDataDef(node) && !IsYinElement(node, "case")) {
        return false;
    }
    const char *arg = KZ_XML_GetTargetPropertyValue(node, "name");
    return arg != nullptr && name == arg;
}

/* Where a statement stands, for diagnostics: the names of its ancestors. */
std::string PlaceOf(const xmlNode *node)
{
    std::string place;
    for (const xmlNode *cur = node->parent; cur != nullptr && cur->type == XML_ELEMENT_NODE; cur = cur->parent) {
        const char *arg = KZ_XML_GetTargetPropertyValue(cur, "name");
        if (arg == nullptr) {
            arg = KZ_XML_GetTargetPropertyValue(cur, "target-node");
        }
        if (cur->parent == nullptr || cur->parent->type != XML_ELEMENT_NODE) {
            break; /* the module itself */
        }
        place.insert(0, std::string("/") + (arg != nullptr ? arg : reinterpret_cast<const char *>(cur->name)));
    }
    return place.empty() ? "/" : place;
}

/* Elements of a grouping's expanded body, and how deep they nest below it. */
struct BodyShape {
    size_t elements = 0;
    size_t depth = 0;
};

void MeasureSubtree(const xmlNode *node, size_t level, BodyShape *shape)
{
    shape->elements++;
    shape->depth = level > shape->depth ? level : shape->depth;
    for (const xmlNode *child = node->children; child != nullptr; child = child->next) {
        if (child->type == XML_ELEMENT_NODE) {
            MeasureSubtree(child, level + 1, shape);
        }
    }
}

/* Statement level of a node (the module statement is level 1). */
size_t LevelOf(const xmlNode *node)
{
    size_t level = 0;
    for (; node != nullptr && node->type == XML_ELEMENT_NODE; node = node->parent) {
        level++;
    }
    return level;
}

void RemoveChildrenNamed(xmlNode *parent, const char *keyword, std::vector<xmlNode *> *discarded)
{
    for (xmlNode *child = parent->children; child != nullptr;) {
        xmlNode *next = child->next;
        if (IsYinElement(child, keyword)) {
            xmlUnlinkNode(child);
            discarded->push_back(child);
        }
        child = next;
    }
}

/* Which node kinds each refinable statement applies to (RFC 7950 7.13.2). */
bool RefineAllowed(const char *keyword, const xmlNode *target)
{
    struct Rule {
        const char *keyword;
        const char *kinds[7];
    };
    static const Rule kRules[] = {
        {"description", {"*"}},
        {"reference", {"*"}},
        {"if-feature", {"*"}},
        {"config", {"container", "leaf", "leaf-list", "list", "choice", "anydata", "anyxml"}},
        {"default", {"leaf", "leaf-list", "choice"}},
        {"mandatory", {"leaf", "choice", "anydata", "anyxml"}},
        {"presence", {"container"}},
        {"must", {"container", "leaf", "leaf-list", "list", "anydata", "anyxml"}},
        {"min-elements", {"list", "leaf-list"}},
        {"max-elements", {"list", "leaf-list"}},
    };
    for (const Rule &rule : kRules) {
        if (std::strcmp(rule.keyword, keyword) != 0) {
            continue;
        }
        for (const char *kind : rule.kinds) {
            if (kind != nullptr && (kind[0] == '*' || IsYinElement(target, kind))) {
                return true;
            }
        }
        return false;
    }
    return false;
}

/* A module or submodule document, and the names its prefixes stand for. */
struct SourceDoc {
    XmlDocPtr owned; /* null for the document being loaded */
    xmlNode *root = nullptr;
    PrefixScope scope;
    std::unordered_map<std::string, xmlNode *> groupings; /* top level, filled on first use */
    bool groupingsIndexed = false;
};

class Expander {
public:
    Expander(KzCtx *ctx, xmlDoc *doc) : ctx_(ctx)
    {
        SourceDoc *self = Register(XmlDocPtr(), xmlDocGetRootElement(doc));
        selfName_ = RootName(self->root);
        byName_[selfName_] = self;
    }

    ~Expander()
    {
        for (xmlNode *node : discarded_) {
            xmlFreeNode(node);
        }
    }

    bool Run(xmlDoc *doc, std::string *error)
    {
        const bool ok = ExpandChildren(xmlDocGetRootElement(doc));
        *error = error_;
        return ok;
    }

private:
    static std::string RootName(const xmlNode *root)
    {
        const char *name = KZ_XML_GetTargetPropertyValue(root, "name");
        return name != nullptr ? name : "";
    }

    SourceDoc *Register(XmlDocPtr owned, xmlNode *root)
    {
        HoistScopedTypedefs(root);
        auto src = std::make_unique<SourceDoc>();
        src->owned = std::move(owned);
        src->root = root;
        src->scope = ReadPrefixScope(root);
        SourceDoc *raw = src.get();
        docs_[root->doc] = std::move(src);
        return raw;
    }

    SourceDoc *DocOf(const xmlNode *node)
    {
        auto it = docs_.find(node->doc);
        return it != docs_.end() ? it->second.get() : nullptr;
    }

    /* A module or submodule read from the search directories, once. */
    SourceDoc *LoadByName(const std::string &name)
    {
        auto it = byName_.find(name);
        if (it != byName_.end()) {
            return it->second;
        }
        SourceDoc *src = nullptr;
        PathCollection *coll = KZS_LOADER_CollectFilePathMatchedInAllDir(ctx_, name.c_str());
        for (uint16_t i = 0; coll != nullptr && i < coll->count && src == nullptr; i++) {
            if (coll->objs[i].suffix[0] != '\0') {
                continue;
            }
            XmlDocPtr doc(KZS_LOADER_ReadModuleFileToXmlDoc(ctx_, coll->objs[i].path, nullptr, nullptr));
            xmlNode *root = doc != nullptr ? xmlDocGetRootElement(doc.get()) : nullptr;
            if (root != nullptr && RootName(root) == name) {
                src = Register(std::move(doc), root);
            }
        }
        KZS_LOADER_DestroyPathCollection(coll);
        byName_[name] = src;
        return src;
    }

    /* The module of a document and all submodules it includes, in order. */
    const std::vector<SourceDoc *> &Family(const std::string &module)
    {
        auto it = families_.find(module);
        if (it != families_.end()) {
            return it->second;
        }
        std::vector<SourceDoc *> &family = families_[module];
        std::unordered_set<std::string> seen;
        std::vector<std::string> pending{module};
        while (!pending.empty()) {
            const std::string name = pending.back();
            pending.pop_back();
            SourceDoc *src = seen.insert(name).second ? LoadByName(name) : nullptr;
            if (src == nullptr) {
                continue;
            }
            family.push_back(src);
            for (const xmlNode *child = src->root->children; child != nullptr; child = child->next) {
                const char *sub = IsYinElement(child, "include") ? KZ_XML_GetTargetPropertyValue(child, "module")
                                                                 : nullptr;
                if (sub != nullptr) {
                    pending.emplace_back(sub);
                }
            }
        }
        return family;
    }

    static xmlNode *ChildGrouping(SourceDoc *src, const std::string &name)
    {
        if (!src->groupingsIndexed) {
            src->groupingsIndexed = true;
            for (xmlNode *child = src->root->children; child != nullptr; child = child->next) {
                const char *arg = IsYinElement(child, "grouping") ? KZ_XML_GetTargetPropertyValue(child, "name")
                                                                  : nullptr;
                if (arg != nullptr) {
                    src->groupings.emplace(arg, child);
                }
            }
        }
        auto it = src->groupings.find(name);
        return it != src->groupings.end() ? it->second : nullptr;
    }

    xmlNode *TopLevelGrouping(const std::string &module, const std::string &name)
    {
        for (SourceDoc *src : Family(module)) {
            if (xmlNode *found = ChildGrouping(src, name)) {
                return found;
            }
        }
        return nullptr;
    }

    /* A grouping defined directly in a scope (container, list, grouping, ...). */
    xmlNode *ScopeGrouping(const xmlNode *scope, const std::string &name)
    {
        auto it = scopes_.find(scope);
        if (it == scopes_.end()) {
            auto &index = scopes_[scope];
            for (xmlNode *child = scope->children; child != nullptr; child = child->next) {
                const char *arg = IsYinElement(child, "grouping") ? KZ_XML_GetTargetPropertyValue(child, "name")
                                                                  : nullptr;
                if (arg != nullptr) {
                    index.emplace(arg, child);
                }
            }
            it = scopes_.find(scope);
        }
        auto found = it->second.find(name);
        return found != it->second.end() ? found->second : nullptr;
    }

    xmlNode *FindGrouping(const xmlNode *uses, const char *ref)
    {
        SourceDoc *src = DocOf(uses);
        const char *colon = std::strchr(ref, ':');
        if (colon != nullptr) {
            const std::string prefix(ref, colon);
            const std::string name(colon + 1);
            if (prefix == src->scope.ownPrefix) {
                return TopLevelGrouping(src->scope.module, name);
            }
            auto mod = src->scope.prefixToModule.find(prefix);
            return mod != src->scope.prefixToModule.end() ? TopLevelGrouping(mod->second, name) : nullptr;
        }
        const std::string name(ref);
        for (const xmlNode *scope = uses->parent; scope != nullptr && scope != src->root; scope = scope->parent) {
            if (xmlNode *found = ScopeGrouping(scope, name)) {
                return found;
            }
        }
        if (xmlNode *found = ChildGrouping(src, name)) {
            return found;
        }
        return TopLevelGrouping(src->scope.module, name);
    }

    bool Fail(const std::string &message)
    {
        if (error_.empty()) {
            error_ = message;
        }
        return false;
    }

    bool ExpandChildren(xmlNode *parent)
    {
        for (xmlNode *child = parent->children; child != nullptr;) {
            xmlNode *next = child->next;
            if (IsYinElement(child, "uses")) {
                if (!ExpandUses(child)) {
                    return false;
                }
            } else if (IsYinElement(child, "grouping")) {
                /* expanded when used, where it is written */
            } else if (child->type == XML_ELEMENT_NODE && !ExpandChildren(child)) {
                return false;
            }
            child = next;
        }
        return true;
    }

    /* Expands a grouping's own uses once; its element count is kept for the limit. */
    bool EnsureExpanded(xmlNode *grouping, const char *ref, const xmlNode *uses)
    {
        if (shapes_.count(grouping) != 0) {
            return true;
        }
        if (active_.count(grouping) != 0) {
            return Fail(std::string("Grouping \"") + ref + "\" used at \"" + PlaceOf(uses) + "\" uses itself.");
        }
        if (active_.size() >= kMaxGroupingNesting) {
            return Fail(std::string("Groupings nested too deeply at \"") + PlaceOf(uses) + "\".");
        }
        active_.insert(grouping);
        const bool ok = ExpandChildren(grouping);
        active_.erase(grouping);
        if (!ok) {
            return false;
        }
        BodyShape shape;
        for (const xmlNode *child = grouping->children; child != nullptr; child = child->next) {
            if (IsGroupingDataDef(child)) {
                MeasureSubtree(child, 1, &shape);
            }
        }
        shapes_[grouping] = shape;
        return true;
    }

    bool ExpandUses(xmlNode *uses)
    {
        const char *ref = KZ_XML_GetTargetPropertyValue(uses, "name");
        if (ref == nullptr) {
            return Fail("A uses without a grouping name at \"" + PlaceOf(uses) + "\".");
        }
        xmlNode *grouping = FindGrouping(uses, ref);
        if (grouping == nullptr) {
            return Fail(std::string("Grouping \"") + ref + "\" used at \"" + PlaceOf(uses) + "\" not found.");
        }
        if (!EnsureExpanded(grouping, ref, uses)) {
            return false;
        }
        const BodyShape &shape = shapes_[grouping];
        expanded_ += shape.elements;
        if (expanded_ > kMaxExpandedElements || LevelOf(uses->parent) + shape.depth > kMaxExpandedDepth) {
            return Fail(std::string("Expanding grouping \"") + ref + "\" at \"" + PlaceOf(uses) +
                        "\" exceeds the expansion limit.");
        }
        for (xmlNode *child = uses->children; child != nullptr; child = child->next) {
            if (IsYinElement(child, "augment") && !ExpandChildren(child)) {
                return false;
            }
        }
        std::vector<xmlNode *> copies;
        SourceDoc *from = DocOf(grouping);
        SourceDoc *to = DocOf(uses);
        for (const xmlNode *child = grouping->children; child != nullptr; child = child->next) {
            if (!IsGroupingDataDef(child)) {
                continue;
            }
            xmlNode *copy = CopyInto(child, uses->doc);
            xmlAddPrevSibling(uses, copy);
            copies.push_back(copy);
            if (from != to) {
                RewriteIdentifiers(copy, from->scope, &to->scope, to->root);
            }
        }
        for (xmlNode *child = uses->children; child != nullptr; child = child->next) {
            const bool ok = IsYinElement(child, "refine")    ? ApplyRefine(child, copies)
                            : IsYinElement(child, "augment") ? ApplyAugment(child, copies)
                                                             : true;
            if (!ok) {
                return false;
            }
        }
        if (!HandDownConditions(uses, copies)) {
            return false;
        }
        xmlUnlinkNode(uses);
        discarded_.push_back(uses);
        return true;
    }

    /* The node a descendant path (refine or augment target) names among the copies. */
    static xmlNode *ResolveDescendant(const std::vector<xmlNode *> &copies, const char *path)
    {
        xmlNode *current = nullptr;
        xmlNode *shorthand = nullptr; /* a choice's case written without "case" */
        const char *step = path;
        while (step != nullptr && *step != '\0') {
            const char *slash = std::strchr(step, '/');
            std::string name = slash != nullptr ? std::string(step, slash) : std::string(step);
            step = slash != nullptr ? slash + 1 : nullptr;
            const size_t colon = name.find(':');
            if (colon != std::string::npos) {
                name.erase(0, colon + 1);
            }
            if (shorthand != nullptr) {
                if (KZ_XML_GetTargetPropertyValue(shorthand, "name") == nullptr ||
                    name != KZ_XML_GetTargetPropertyValue(shorthand, "name")) {
                    return nullptr;
                }
                current = shorthand;
                shorthand = nullptr;
                continue;
            }
            xmlNode *found = nullptr;
            if (current == nullptr) {
                for (xmlNode *copy : copies) {
                    found = IsPathStep(copy, name) ? copy : found;
                }
            } else {
                for (xmlNode *child = current->children; child != nullptr && found == nullptr; child = child->next) {
                    found = IsPathStep(child, name) ? child : nullptr;
                }
            }
            if (found == nullptr) {
                return nullptr;
            }
            if (current != nullptr && IsYinElement(current, "choice") && !IsYinElement(found, "case")) {
                shorthand = found;
                continue;
            }
            current = found;
        }
        return shorthand != nullptr ? shorthand : current;
    }

    bool ApplyRefine(const xmlNode *refine, const std::vector<xmlNode *> &copies)
    {
        const char *path = KZ_XML_GetTargetPropertyValue(refine, "target-node");
        xmlNode *target = path != nullptr ? ResolveDescendant(copies, path) : nullptr;
        if (target == nullptr) {
            return Fail(std::string("Refine target \"") + (path != nullptr ? path : "") + "\" at \"" +
                        PlaceOf(refine) + "\" not found.");
        }
        std::unordered_set<std::string> replaced;
        for (const xmlNode *stmt = refine->children; stmt != nullptr; stmt = stmt->next) {
            if (stmt->type != XML_ELEMENT_NODE) {
                continue;
            }
            const char *keyword = reinterpret_cast<const char *>(stmt->name);
            const bool extension = !IsYinElement(stmt, keyword);
            if (!extension && !RefineAllowed(keyword, target)) {
                return Fail(std::string("Refine of \"") + path + "\" at \"" + PlaceOf(refine) + "\": \"" + keyword +
                            "\" does not apply to a " + reinterpret_cast<const char *>(target->name) + ".");
            }
            const bool added = extension || std::strcmp(keyword, "must") == 0 || std::strcmp(keyword, "if-feature") == 0;
            if (!added && replaced.insert(keyword).second) {
                RemoveChildrenNamed(target, keyword, &discarded_);
            }
            xmlAddChild(target, CopyInto(stmt, target->doc));
        }
        return true;
    }

    /* An augment inside a uses: its nodes move into the target, taking its
     * when (shifted down one level) and if-features, as a uses' own do. */
    bool ApplyAugment(xmlNode *augment, const std::vector<xmlNode *> &copies)
    {
        const char *path = KZ_XML_GetTargetPropertyValue(augment, "target-node");
        xmlNode *target = path != nullptr ? ResolveDescendant(copies, path) : nullptr;
        if (target == nullptr) {
            return Fail(std::string("Augment target \"") + (path != nullptr ? path : "") + "\" at \"" +
                        PlaceOf(augment) + "\" not found.");
        }
        if (target->parent != nullptr && IsYinElement(target->parent, "choice") && !IsYinElement(target, "case")) {
            target = MakeCaseExplicit(target);
        }
        std::vector<xmlNode *> moved;
        for (xmlNode *child = augment->children; child != nullptr;) {
            xmlNode *next = child->next;
            if (IsGroupingDataDef(child) || IsYinElement(child, "case")) {
                xmlUnlinkNode(child);
                xmlAddChild(target, child);
                moved.push_back(child);
            }
            child = next;
        }
        return HandDownConditions(augment, moved);
    }

    /* A choice's case written without "case", made explicit so that an
     * augment can add nodes to it. */
    static xmlNode *MakeCaseExplicit(xmlNode *shorthand)
    {
        xmlNode *wrapper = xmlNewDocNode(shorthand->doc, shorthand->ns, reinterpret_cast<const xmlChar *>("case"), nullptr);
        const char *name = KZ_XML_GetTargetPropertyValue(shorthand, "name");
        if (wrapper == nullptr || name == nullptr ||
            xmlSetProp(wrapper, reinterpret_cast<const xmlChar *>("name"), reinterpret_cast<const xmlChar *>(name)) ==
                nullptr) {
            xmlFreeNode(wrapper);
            throw std::bad_alloc();
        }
        xmlAddPrevSibling(shorthand, wrapper);
        xmlUnlinkNode(shorthand);
        xmlAddChild(wrapper, shorthand);
        return wrapper;
    }

    /* The when and if-features of a uses (or augment in a uses) go to each
     * node it brings; the when, written for the parent, moves one level down
     * except on a choice, which has no data node of its own. */
    bool HandDownConditions(const xmlNode *from, const std::vector<xmlNode *> &nodes)
    {
        const xmlNode *when = nullptr;
        for (const xmlNode *child = from->children; child != nullptr; child = child->next) {
            when = IsYinElement(child, "when") ? child : when;
        }
        const char *cond = when != nullptr ? KZ_XML_GetTargetPropertyValue(when, "condition") : nullptr;
        char *shifted = cond != nullptr ? KZS_NODE_GetParentCond(cond, nullptr) : nullptr;
        if (cond != nullptr && shifted == nullptr) {
            return Fail(std::string("The when condition \"") + cond + "\" at \"" + PlaceOf(when) +
                        "\" cannot be handed down.");
        }
        const std::string moved = cond != nullptr ? TakeCondition(shifted) : "";
        for (xmlNode *node : nodes) {
            if (IsYinElement(node, "action") || IsYinElement(node, "notification")) {
                continue;
            }
            for (const xmlNode *child = from->children; child != nullptr; child = child->next) {
                if (IsYinElement(child, "if-feature")) {
                    xmlAddChild(node, CopyInto(child, node->doc));
                }
            }
            if (cond != nullptr) {
                AddWhen(node, IsYinElement(node, "choice") ? cond : moved.c_str());
            }
        }
        return true;
    }

    static void AddWhen(xmlNode *node, const char *cond)
    {
        for (xmlNode *child = node->children; child != nullptr; child = child->next) {
            if (IsYinElement(child, "when")) {
                const char *own = KZ_XML_GetTargetPropertyValue(child, "condition");
                const std::string both = TakeCondition(KZS_NODE_CombineTwoWhenCondition(cond, own != nullptr ? own : "true()"));
                if (xmlSetProp(child, reinterpret_cast<const xmlChar *>("condition"),
                               reinterpret_cast<const xmlChar *>(both.c_str())) == nullptr) {
                    throw std::bad_alloc();
                }
                return;
            }
        }
        xmlNode *when = xmlNewChild(node, node->ns, reinterpret_cast<const xmlChar *>("when"), nullptr);
        if (when == nullptr ||
            xmlSetProp(when, reinterpret_cast<const xmlChar *>("condition"),
                       reinterpret_cast<const xmlChar *>(cond)) == nullptr) {
            throw std::bad_alloc();
        }
    }

    KzCtx *ctx_;
    std::string selfName_;
    std::unordered_map<const xmlDoc *, std::unique_ptr<SourceDoc>> docs_;
    std::unordered_map<std::string, SourceDoc *> byName_;
    std::unordered_map<std::string, std::vector<SourceDoc *>> families_;
    std::unordered_map<const xmlNode *, std::unordered_map<std::string, xmlNode *>> scopes_;
    std::unordered_map<const xmlNode *, BodyShape> shapes_;
    std::unordered_set<const xmlNode *> active_;
    std::vector<xmlNode *> discarded_;
    size_t expanded_ = 0;
    std::string error_;
};

} /* namespace */

bool IsYangPath(const char *path)
{
    const size_t len = path != nullptr ? std::strlen(path) : 0;
    return len >= 5 && std::strcmp(path + len - 5, ".yang") == 0;
}

bool ExpandGroupings(KzCtx *ctx, xmlDoc *doc, std::string *error)
{
    xmlNode *root = doc != nullptr ? xmlDocGetRootElement(doc) : nullptr;
    if (ctx == nullptr || root == nullptr) {
        return true;
    }
    Expander expander(ctx, doc);
    return expander.Run(doc, error);
}

bool ExpandGroupingsForLoad(KzCtx *ctx, xmlDoc *doc, bool fromYang, const char *moduleName)
{
    if (ctx == nullptr || doc == nullptr || (!fromYang && (ctx->flags & KZ_CTX_OPT_EXPAND_GROUPINGS) == 0)) {
        TrustParseRecords(doc, true);
        return true;
    }
    TrustParseRecords(doc, false);
    std::string error;
    bool ok = false;
    try {
        ok = ExpandGroupings(ctx, doc, &error);
    } catch (const std::exception &) { /* out of memory, whatever the container reports */
        error = "Out of memory while expanding groupings.";
    }
    if (!ok && moduleName != nullptr) {
        KZ_CTX_AddModError(ctx, moduleName, "%s", error.c_str());
    }
    return ok;
}

} /* namespace kz::loader */
