/* Module and submodule bodies: header statements, imports and includes
 * (submodules are loaded into the including module's record), body arrays,
 * revision with semantic version, and organization. */
#include <cstring>

#include "loader/kzs_grouping.h"
#include "loader/kzs_loader.h"
#include "loader/kzs_stmt_util.h"
#include "schema/kzs_diag.h"
#include "base/kz_array.h"
#include "base/kz_xml.h"

using kz::loader::ArrayElem;
using kz::loader::ElemArg;
using kz::loader::ElemMark;
using kz::loader::Keyword;
using kz::schema::ModDict;

namespace {

constexpr const char *kSemVerNamespace = "urn:ietf:params:xml:ns:yang:ietf-yang-semver";
constexpr size_t kSemVerMaxLen = 32;

/* Index of each body array in the six counters. */
enum BodyArray : unsigned { kExt = 0, kFeat, kIdent, kTypedef, kDev, kExtInst, kBodyArrayCount };

int BodyArrayIndex(uint32_t stmt)
{
    switch (stmt) {
    case KZS_STMT_EXTENSION:
        return kExt;
    case KZS_STMT_FEATURE:
        return kFeat;
    case KZS_STMT_IDENTITY:
        return kIdent;
    case KZS_STMT_TYPEDEF:
        return kTypedef;
    case KZS_STMT_DEVIATION:
        return kDev;
    case KZS_STMT_EXTENSION_INSTANCE:
        return kExtInst;
    default:
        return -1;
    }
}

SubParseElem NodeElem(uint32_t stmt, KzsTopNodeTails *tails)
{
    return SubParseElem{stmt, tails, nullptr, nullptr, 0, 0};
}

/* Top-level node statements of a module body, and of a submodule body, which
 * also accepts "uses" (it has no parse function and is passed over). */
constexpr uint32_t kModuleNodeStmts[] = {
    KZS_STMT_CONTAINER, KZS_STMT_LEAF,    KZS_STMT_LEAF_LIST, KZS_STMT_LIST, KZS_STMT_CHOICE,
    KZS_STMT_ANYDATA,   KZS_STMT_ANYXML,  KZS_STMT_AUGMENT,   KZS_STMT_RPC,  KZS_STMT_NOTIFICATION,
};
constexpr uint32_t kSubmoduleNodeStmts[] = {
    KZS_STMT_CONTAINER, KZS_STMT_LEAF, KZS_STMT_LEAF_LIST, KZS_STMT_LIST, KZS_STMT_CHOICE,      KZS_STMT_ANYDATA,
    KZS_STMT_ANYXML,    KZS_STMT_USES, KZS_STMT_AUGMENT,   KZS_STMT_RPC,  KZS_STMT_NOTIFICATION,
};

/* The descriptors of a module or submodule body, in the order they are parsed. */
class BodyElems {
public:
    void Add(const SubParseElem &elem)
    {
        if (count_ < kCapacity) {
            elems_[count_++] = elem;
        }
    }
    uint32_t Parse(KzMod *mod, xmlNode *bodyElem, uint32_t bodyStmt)
    {
        return KZS_LOADER_ParseSubStatementsInner(mod, bodyElem, bodyStmt, elems_, count_);
    }

private:
    /* A module body's: revision, description, four arrays, ten node kinds,
     * deviation, extension-instance, organization. */
    static constexpr uint32_t kCapacity = 19;
    SubParseElem elems_[kCapacity];
    uint32_t count_ = 0;
};

/* What module and submodule bodies both read: the definition arrays, filled
 * from the record's own counts up to the grown totals, the top-level nodes,
 * then deviations and extension instances. */
template <size_t N>
void AddSharedBodyElems(BodyElems *body, KzMod *mod, uint16_t *counts, KzsTopNodeTails *tails,
                        const uint32_t (&nodeStmts)[N])
{
    body->Add(ArrayElem(KZS_STMT_EXTENSION, &mod->extensions, &mod->extensionCount, &counts[kExt],
                        sizeof(KzsExtension)));
    body->Add(ArrayElem(KZS_STMT_FEATURE, &mod->features, &mod->featureCount, &counts[kFeat], sizeof(KzsFeature)));
    body->Add(ArrayElem(KZS_STMT_IDENTITY, &mod->identities, &mod->identityCount, &counts[kIdent],
                        sizeof(KzsIdentity)));
    body->Add(ArrayElem(KZS_STMT_TYPEDEF, &mod->typedefs, &mod->typedefCount, &counts[kTypedef],
                        sizeof(KzsTypedef)));
    for (uint32_t stmt : nodeStmts) {
        body->Add(NodeElem(stmt, tails));
    }
    body->Add(ArrayElem(KZS_STMT_DEVIATION, &mod->deviations, &mod->deviationCount, &counts[kDev],
                        sizeof(KzsDeviation)));
    body->Add(ArrayElem(KZS_STMT_EXTENSION_INSTANCE, &mod->extInsts, &mod->extInstCount, &counts[kExtInst],
                        sizeof(KzsExtInst)));
}

/* Imports and includes first (an include loads the submodule into this
 * record), then room for the body arrays; counts gets the new totals. */
uint32_t ParseLinkageAndGrowArrays(KzMod *mod, xmlNode *bodyElem, LoadAssister *assister,
                                   uint16_t (&counts)[kBodyArrayCount])
{
    uint32_t ret = KZS_LOADER_ParseLinkageStmts(mod, bodyElem, assister);
    if (ret != KZ_OK) {
        return ret;
    }
    return KZS_LOADER_CounterAndExpandBodyStmtArray(mod, bodyElem, counts);
}

xmlNode *FirstChildNamed(xmlNode *elem, const char *localName)
{
    for (xmlNode *child = elem->children; child != nullptr; child = child->next) {
        if (child->type == XML_ELEMENT_NODE && child->name != nullptr &&
            std::strcmp(reinterpret_cast<const char *>(child->name), localName) == 0) {
            return child;
        }
    }
    return nullptr;
}

/* The record's import append wants a prefix; an import without one is still
 * kept, with a null prefix, grown by exactly one entry like any append. */
uint32_t AppendImportWithoutPrefix(KzMod *mod, const char *name)
{
    if (mod->importCount == UINT16_MAX) {
        return KZ_EINVAL;
    }
    const char *interned = KZ_DICT_Insert(ModDict(mod), name);
    if (interned == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t ret = KZ_UTL_ExpandArray(reinterpret_cast<void **>(&mod->imports), mod->importCount, 1,
                                      sizeof(KzsImport));
    if (ret != KZ_OK) {
        KZ_DICT_Remove(ModDict(mod), interned);
        return ret;
    }
    mod->imports[mod->importCount].modName = interned;
    mod->imports[mod->importCount].prefix = nullptr;
    mod->importCount++;
    return KZ_OK;
}

/* Frees a libxml2 document when the scope ends. */
struct DocGuard {
    xmlDoc *doc;
    ~DocGuard()
    {
        if (doc != nullptr) {
            xmlFreeDoc(doc);
        }
    }
};

struct PathCollectionGuard {
    PathCollection *coll;
    ~PathCollectionGuard()
    {
        if (coll != nullptr) {
            KZS_LOADER_DestroyPathCollection(coll);
        }
    }
};

} /* namespace */

extern "C" {

/* ---- Header ---- */

KZ_API uint32_t KZS_LOADER_MapModuleHeadStmtToBit(uint32_t stmt)
{
    switch (stmt) {
    case KZS_STMT_YANG_VERSION:
        return 1;
    case KZS_STMT_NAMESPACE:
        return 2;
    case KZS_STMT_PREFIX:
        return 4;
    default:
        return 0;
    }
}

KZ_API uint32_t KZS_LOADER_ParseYangVersion(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    if (mod == nullptr || elem == nullptr || dest == nullptr) {
        return KZ_EINVAL;
    }
    const char *value = kz::loader::RequireArg(mod, elem, KZS_STMT_YANG_VERSION);
    if (value == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t *version = static_cast<uint32_t *>(dest);
    if (std::strcmp(value, "1") == 0) {
        *version = 0;
        return KZ_OK;
    }
    if (std::strcmp(value, "1.1") == 0) {
        *version = 1;
        return KZ_OK;
    }
    KZS_LOADER_MOD_ERR(mod, KZS_MSG_PARSE_VALUE, value, Keyword(KZS_STMT_YANG_VERSION));
    return KZ_EPARSE; /* deliberately not 22 */
}

KZ_API uint32_t KZS_LOADER_ParseNamespace(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    if (mod == nullptr || elem == nullptr || dest == nullptr) {
        return KZ_EINVAL;
    }
    const char *value = kz::loader::RequireArg(mod, elem, KZS_STMT_NAMESPACE);
    if (value == nullptr) {
        return KZ_EINVAL;
    }
    return kz::loader::InternInto(mod, value, dest, KZ_ENOMEM);
}

KZ_API uint32_t KZS_LOADER_ParseModuleHeadStmts(KzMod *mod, xmlNode *moduleElem)
{
    if (mod == nullptr || moduleElem == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t seen = 0;
    for (xmlNode *child = moduleElem->children; child != nullptr && seen != 7; child = child->next) {
        if (child->type != XML_ELEMENT_NODE) {
            continue;
        }
        const uint32_t stmt = ElemMark(child);
        const uint32_t bit = KZS_LOADER_MapModuleHeadStmtToBit(stmt);
        if (bit == 0) {
            continue;
        }
        if ((seen & bit) != 0) {
            KZS_LOADER_MOD_ERR(mod, KZS_MSG_REPEATED, Keyword(stmt), Keyword(KZS_STMT_MODULE));
            return KZ_ERR;
        }
        uint32_t ret;
        if (stmt == KZS_STMT_YANG_VERSION) {
            ret = KZS_LOADER_ParseYangVersion(mod, child, KZS_STMT_MODULE, &mod->yangVersion);
        } else if (stmt == KZS_STMT_NAMESPACE) {
            ret = KZS_LOADER_ParseNamespace(mod, child, KZS_STMT_MODULE, &mod->ns);
        } else {
            ret = KZS_LOADER_ParsePrefix(mod, child, KZS_STMT_MODULE, &mod->prefix);
        }
        if (ret != KZ_OK) {
            KZS_LOADER_MOD_ERR(mod, KZS_MSG_PARSE_STMT, Keyword(stmt));
            return ret;
        }
        seen |= bit;
    }
    return KZ_OK;
}

KZ_API uint32_t KZS_LOADER_ParseSemVersion(KzMod *mod, xmlNode *revisionElem)
{
    if (mod == nullptr || revisionElem == nullptr) {
        return KZ_EINVAL;
    }
    if (mod->semVer != nullptr) {
        return KZ_OK;
    }
    xmlNode *version = nullptr;
    for (xmlNode *child = revisionElem->children; child != nullptr; child = child->next) {
        if (child->type == XML_ELEMENT_NODE && child->name != nullptr && child->ns != nullptr &&
            child->ns->href != nullptr && std::strcmp(reinterpret_cast<const char *>(child->name), "version") == 0 &&
            std::strcmp(reinterpret_cast<const char *>(child->ns->href), kSemVerNamespace) == 0) {
            version = child;
            break;
        }
    }
    if (version == nullptr) {
        return KZ_OK;
    }
    const char *value = ElemArg(version);
    if (value == nullptr) {
        KZS_LOADER_MOD_ERR(mod, KZS_MSG_GET_VALUE, "semantic version");
        return KZ_EINVAL;
    }
    char buf[kSemVerMaxLen + 1] = {0};
    const size_t len = strnlen(value, kSemVerMaxLen);
    std::memcpy(buf, value, len);
    const char *interned = KZ_DICT_Insert(ModDict(mod), buf);
    if (interned == nullptr) {
        return KZ_ENOMEM;
    }
    mod->semVer = interned;
    return KZ_OK;
}

KZ_API uint32_t KZS_LOADER_ParseRevision(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    if (mod == nullptr || elem == nullptr || dest == nullptr) {
        return KZ_EINVAL;
    }
    const char **revision = static_cast<const char **>(dest);
    if (*revision != nullptr) {
        return KZ_OK; /* only the first revision counts */
    }
    const char *value = kz::loader::RequireArg(mod, elem, KZS_STMT_REVISION);
    if (value == nullptr) {
        return KZ_EINVAL;
    }
    const char *interned = KZ_DICT_Insert(ModDict(mod), value);
    if (interned == nullptr) {
        return KZ_ENOMEM;
    }
    *revision = interned;
    return KZS_LOADER_ParseSemVersion(mod, elem);
}

KZ_API uint32_t KZS_LOADER_ParseOrganization(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    if (mod == nullptr || elem == nullptr || dest == nullptr) {
        return KZ_EINVAL;
    }
    SubParseElem text = {KZS_STMT_TEXT, dest, nullptr, nullptr, 0, 0};
    return KZS_LOADER_ParseSubStatements(mod, elem, KZS_STMT_ORGANIZATION, &text, 1);
}

/* ---- Linkage ---- */

KZ_API uint32_t KZS_LOADER_ParseImport(KzMod *mod, xmlNode *importElem)
{
    if (mod == nullptr || importElem == nullptr) {
        return KZ_EINVAL;
    }
    const char *name = kz::loader::RequireArg(mod, importElem, KZS_STMT_IMPORT);
    if (name == nullptr) {
        return KZ_EINVAL;
    }
    const char *prefix = nullptr;
    xmlNode *prefixElem = FirstChildNamed(importElem, "prefix");
    if (prefixElem != nullptr) {
        prefix = ElemArg(prefixElem);
        if (prefix == nullptr) {
            KZS_LOADER_MOD_ERR(mod, KZS_MSG_GET_VALUE, Keyword(KZS_STMT_PREFIX));
            KZS_LOADER_MOD_ERR(mod, KZS_MSG_PARSE_VALUE, name, Keyword(KZS_STMT_IMPORT));
            return KZ_EINVAL;
        }
    }
    const KzsImport *existing = KZS_MOD_FindImportByPrefix(mod, prefix);
    if (existing != nullptr && existing->modName != nullptr && std::strcmp(existing->modName, name) == 0) {
        return KZ_OK; /* the same import again */
    }
    if (prefix != nullptr) {
        return KZS_MOD_AppendOneImport(mod, name, prefix);
    }
    return AppendImportWithoutPrefix(mod, name);
}

KZ_API uint32_t KZS_LOADER_ParseInclude(KzMod *mod, xmlNode *includeElem, LoadAssister *assister)
{
    if (mod == nullptr || includeElem == nullptr) {
        return KZ_EINVAL;
    }
    const char *name = kz::loader::RequireArg(mod, includeElem, KZS_STMT_INCLUDE);
    if (name == nullptr) {
        return KZ_EINVAL;
    }
    if (KZS_MOD_FindIncludeBySubName(mod, name) != nullptr) {
        return KZ_OK;
    }
    /* Recorded before loading, so that an include cycle ends here. */
    uint32_t ret = KZS_MOD_AppendOneInclude(mod, name);
    if (ret != KZ_OK) {
        return ret;
    }
    ret = KZS_LOADER_LoadSubModule(mod->ctx, mod, name, assister);
    if (ret != KZ_OK) {
        KZS_LOADER_MOD_ERR(mod, KZS_MSG_LOAD_SUBMODULE, name);
    }
    return ret;
}

KZ_API uint32_t KZS_LOADER_ParseLinkageStmts(KzMod *mod, xmlNode *elem, LoadAssister *assister)
{
    if (mod == nullptr || elem == nullptr) {
        return KZ_EINVAL;
    }
    if (!kz::loader::MayHaveChildOf(elem, {KZS_STMT_INCLUDE, KZS_STMT_IMPORT})) {
        return KZ_OK;
    }
    for (xmlNode *child = elem->children; child != nullptr; child = child->next) {
        if (child->type != XML_ELEMENT_NODE) {
            continue;
        }
        const uint32_t stmt = ElemMark(child);
        uint32_t ret;
        if (stmt == KZS_STMT_INCLUDE) {
            ret = KZS_LOADER_ParseInclude(mod, child, assister);
        } else if (stmt == KZS_STMT_IMPORT) {
            ret = KZS_LOADER_ParseImport(mod, child);
        } else {
            continue;
        }
        if (ret != KZ_OK) {
            KZS_LOADER_MOD_ERR(mod, KZS_MSG_PARSE_STMT, Keyword(stmt));
            return ret;
        }
    }
    return KZ_OK;
}

/* ---- Body arrays ---- */

KZ_API uint32_t KZS_LOADER_CounterBodyStmt(KzMod *mod, xmlNode *elem, uint16_t counts[6])
{
    if (mod == nullptr || elem == nullptr || counts == nullptr) {
        return KZ_EINVAL;
    }
    if (!kz::loader::MayHaveChildOf(elem, {KZS_STMT_EXTENSION, KZS_STMT_FEATURE, KZS_STMT_IDENTITY, KZS_STMT_TYPEDEF,
                                           KZS_STMT_DEVIATION, KZS_STMT_EXTENSION_INSTANCE})) {
        return KZ_OK;
    }
    for (xmlNode *child = elem->children; child != nullptr; child = child->next) {
        if (child->type != XML_ELEMENT_NODE) {
            continue;
        }
        const int index = BodyArrayIndex(ElemMark(child));
        if (index < 0) {
            continue;
        }
        if (index == kExtInst && KZS_LOADER_IsExtInstNeedParse(mod, child) == 0) {
            kz::loader::ClearElemMark(child); /* never parsed */
            continue;
        }
        if (counts[index] == UINT16_MAX) {
            return KZ_EINVAL;
        }
        counts[index]++;
    }
    return KZ_OK;
}

KZ_API uint32_t KZS_LOADER_ExpandBodyStmtArray(KzMod *mod, uint16_t counts[6])
{
    if (mod == nullptr || counts == nullptr) {
        return KZ_EINVAL;
    }
    struct Target {
        void **array;
        uint16_t current;
        uint32_t size;
    };
    const Target targets[kBodyArrayCount] = {
        {reinterpret_cast<void **>(&mod->extensions), mod->extensionCount, sizeof(KzsExtension)},
        {reinterpret_cast<void **>(&mod->features), mod->featureCount, sizeof(KzsFeature)},
        {reinterpret_cast<void **>(&mod->identities), mod->identityCount, sizeof(KzsIdentity)},
        {reinterpret_cast<void **>(&mod->typedefs), mod->typedefCount, sizeof(KzsTypedef)},
        {reinterpret_cast<void **>(&mod->deviations), mod->deviationCount, sizeof(KzsDeviation)},
        {reinterpret_cast<void **>(&mod->extInsts), mod->extInstCount, sizeof(KzsExtInst)},
    };
    for (unsigned i = 0; i < kBodyArrayCount; i++) {
        const Target &t = targets[i];
        uint32_t ret = KZ_EINVAL;
        if (static_cast<uint32_t>(t.current) + counts[i] <= UINT16_MAX) {
            ret = KZ_UTL_ExpandArray(t.array, t.current, counts[i], t.size);
        }
        if (ret != KZ_OK) {
            if (i == kDev) {
                /* Deliberately not a failure; the caller leaves the deviations unparsed. */
                counts[i] = t.current;
                continue;
            }
            return ret;
        }
        counts[i] = static_cast<uint16_t>(t.current + counts[i]);
    }
    return KZ_OK;
}

KZ_API uint32_t KZS_LOADER_CounterAndExpandBodyStmtArray(KzMod *mod, xmlNode *elem, uint16_t counts[6])
{
    if (counts == nullptr) {
        return KZ_EINVAL;
    }
    std::memset(counts, 0, sizeof(uint16_t) * kBodyArrayCount);
    uint32_t ret = KZS_LOADER_CounterBodyStmt(mod, elem, counts);
    if (ret != KZ_OK) {
        return ret;
    }
    const bool newDeviations = counts[kDev] != 0;
    ret = KZS_LOADER_ExpandBodyStmtArray(mod, counts);
    if (ret != KZ_OK) {
        return ret;
    }
    if (newDeviations && counts[kDev] == mod->deviationCount) {
        /* The deviation array could not grow: its statements are passed over. */
        for (xmlNode *child = elem->children; child != nullptr; child = child->next) {
            if (child->type == XML_ELEMENT_NODE && ElemMark(child) == KZS_STMT_DEVIATION) {
                kz::loader::ClearElemMark(child);
            }
        }
    }
    return KZ_OK;
}

/* ---- Bodies ---- */

KZ_API uint32_t KZS_LOADER_ParseModuleContent(KzMod *mod, xmlNode *moduleElem, LoadAssister *assister)
{
    if (mod == nullptr || mod->ctx == nullptr || moduleElem == nullptr) {
        return KZ_EINVAL;
    }
    KZS_LOADER_MarkSubNode(moduleElem);
    uint32_t ret = KZS_LOADER_ParseModuleHeadStmts(mod, moduleElem);
    if (ret != KZ_OK) {
        return ret;
    }
    uint16_t counts[kBodyArrayCount];
    ret = ParseLinkageAndGrowArrays(mod, moduleElem, assister, counts);
    if (ret != KZ_OK) {
        return ret;
    }
    KzsTopNodeTails tails{};
    BodyElems body;
    body.Add({KZS_STMT_REVISION, &mod->revision, nullptr, nullptr, 0, 0});
    body.Add({KZS_STMT_DESCRIPTION, &mod->description, nullptr, nullptr, 0, KZS_SUB_FLAG_UNIQUE});
    AddSharedBodyElems(&body, mod, counts, &tails, kModuleNodeStmts);
    body.Add({KZS_STMT_ORGANIZATION, &mod->organization, nullptr, nullptr, 0, KZS_SUB_FLAG_UNIQUE});
    return body.Parse(mod, moduleElem, KZS_STMT_MODULE);
}

KZ_API uint32_t KZS_LOADER_ParseSubmoduleContent(KzMod *mod, xmlNode *submoduleElem, LoadAssister *assister)
{
    if (mod == nullptr || mod->ctx == nullptr || submoduleElem == nullptr) {
        return KZ_EINVAL;
    }
    KZS_LOADER_MarkSubNode(submoduleElem);
    uint16_t counts[kBodyArrayCount];
    uint32_t ret = ParseLinkageAndGrowArrays(mod, submoduleElem, assister, counts);
    if (ret != KZ_OK) {
        return ret;
    }
    KzsTopNodeTails tails{};
    BodyElems body;
    AddSharedBodyElems(&body, mod, counts, &tails, kSubmoduleNodeStmts);
    return body.Parse(mod, submoduleElem, KZS_STMT_SUBMODULE);
}

KZ_API uint32_t KZS_LOADER_LoadSubModule(KzCtx *ctx, KzMod *mod, const char *submoduleName, LoadAssister *assister)
{
    if (ctx == nullptr || mod == nullptr || submoduleName == nullptr) {
        return KZ_EINVAL;
    }
    LoadAssister local{};
    LoadAssister *use = assister != nullptr ? assister : &local;
    PathCollectionGuard coll{KZS_LOADER_CollectFilePathMatchedInAllDir(ctx, submoduleName)};
    if (coll.coll == nullptr) {
        return KZ_ENOENT;
    }
    uint32_t ret = KZS_LOADER_AddPathObjToLoadAssister(coll.coll, use);
    const PathObj *path = ret == KZ_OK ? KZS_LOADER_GetNextPathObjToProc(coll.coll, use) : nullptr;
    if (ret == KZ_OK && path == nullptr) {
        ret = KZ_ENOENT;
    }
    if (ret == KZ_OK) {
        DocGuard doc{KZS_LOADER_ReadModuleFileToXmlDoc(ctx, path->path, mod->name, nullptr)};
        const bool expanded =
            kz::loader::ExpandGroupingsForLoad(ctx, doc.doc, kz::loader::IsYangPath(path->path), mod->name);
        xmlNode *root = doc.doc != nullptr && expanded ? xmlDocGetRootElement(doc.doc) : nullptr;
        if (root == nullptr || root->name == nullptr ||
            std::strcmp(reinterpret_cast<const char *>(root->name), "submodule") != 0) {
            ret = KZ_EINVAL;
        } else {
            ret = KZS_LOADER_ParseSubmoduleContent(mod, root, use);
        }
    }
    if (use == &local) {
        KZS_LOADER_ClearLoadAssister(&local);
    }
    return ret;
}

} /* extern "C" */
