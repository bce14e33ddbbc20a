/* Prefix resolution and node lookup by schema-node identifier and by path. */
#include <cstdio>
#include <cstring>

#include "base/kz_scan.h"
#include "schema/kzs_internal.h"
#include "base/kz_guard.h"
#include "base/kz_kit.h"

using namespace kz::schema;

namespace {

/* One path step: its module part (possibly empty) and name part. */
struct Step {
    char mod[kz::kNameBufSize];
    char name[kz::kNameBufSize];
};

/* Reads the step at p (predicates skipped); returns the position after it,
 * past a separating "/", or null when the step is malformed. */
const char *ReadStep(const char *p, Step &step)
{
    const char *end =
        KZ_UTL_GetXPathNextPredicatedPrefixNode(p, step.mod, sizeof(step.mod), step.name, sizeof(step.name));
    if (end == nullptr || step.name[0] == '\0') {
        return nullptr;
    }
    if (*end != '/') {
        return end;
    }
    return end[1] != '\0' ? end + 1 : nullptr; /* a trailing "/" promises a step */
}

bool IsDotDotStep(const char *p)
{
    return p[0] == '.' && p[1] == '.' && (p[2] == '/' || p[2] == '\0');
}

} // namespace

extern "C" {

/* ---- Prefixes ---- */

const char *KZS_MOD_GetImportModNameByPrefix(const KzMod *mod, const char *prefix)
{
    KzsImport *imp = KZS_MOD_FindImportByPrefix(mod, prefix);
    return imp != nullptr ? imp->modName : nullptr;
}

const char *KZS_MOD_GetModuleNameByPrefix(const KzMod *mod, const char *prefix)
{
    if (mod == nullptr || prefix == nullptr) {
        return nullptr;
    }
    if (mod->prefix != nullptr && std::strcmp(mod->prefix, prefix) == 0) {
        return mod->name;
    }
    return KZS_MOD_GetImportModNameByPrefix(mod, prefix);
}

char *KZS_MOD_ConvertPrefixValToJsonFormat(const KzMod *mod, const char *value)
{
    if (mod == nullptr || value == nullptr) {
        return nullptr;
    }
    uint32_t firstLen = KZ_UTL_ConsumeIdentNameBestEffort(value);
    if (firstLen == 0 || firstLen >= kz::kNameBufSize) {
        return nullptr;
    }
    const char *modName = nullptr;
    const char *name = value;
    uint32_t nameLen = firstLen;
    if (value[firstLen] == ':') {
        char prefix[kz::kNameBufSize];
        std::memcpy(prefix, value, firstLen);
        prefix[firstLen] = '\0';
        modName = KZS_MOD_GetModuleNameByPrefix(mod, prefix);
        name = value + firstLen + 1;
        nameLen = KZ_UTL_ConsumeIdentNameBestEffort(name);
        if (nameLen == 0 || nameLen >= kz::kNameBufSize) {
            return nullptr;
        }
    } else {
        modName = mod->name;
    }
    if (modName == nullptr || name[nameLen] != '\0') {
        return nullptr;
    }
    size_t modLen = std::strlen(modName);
    size_t total = modLen + 1 + nameLen;
    char *out = static_cast<char *>(KZ_MemMalloc(total + 1));
    if (out == nullptr) {
        return nullptr;
    }
    std::memcpy(out, modName, modLen);
    out[modLen] = ':';
    std::memcpy(out + modLen + 1, name, nameLen);
    out[total] = '\0';
    return out;
}

/* ---- Schema-node identifiers ---- */

/* Every node is a step of its own here, choice and case included. */
KzsNode *KZS_MOD_GetNodeBySchemaNodeId(const KzMod *mod, KzsNode *start, const char *path)
{
    if (mod == nullptr || path == nullptr) {
        return nullptr;
    }
    const char *p = (*path == '/') ? path + 1 : path;
    if (*p == '\0') {
        return nullptr;
    }
    KzsNode *cur = start;
    Step step;
    while (*p != '\0') {
        p = ReadStep(p, step);
        if (p == nullptr) {
            return nullptr;
        }
        cur = (cur != nullptr) ? KZS_NODE_FindChildNodeByName(cur, step.mod, step.name)
                               : KZS_MOD_FindTopLevelSchemaNode(mod, step.name);
        if (cur == nullptr) {
            return nullptr;
        }
    }
    return cur;
}

KzsNode *KZS_MOD_GetNodeUnderAugmentBySchemaNodeId(const KzMod *mod, const char *targetPath, const char *path,
                                                   KzsNode **augment)
{
    if (augment != nullptr) {
        *augment = nullptr;
    }
    if (mod == nullptr || targetPath == nullptr || path == nullptr) {
        return nullptr;
    }
    for (KzsNode *aug = mod->augments; aug != nullptr; aug = aug->next) {
        if (!kz::SameNonNullText(aug->name, targetPath)) {
            continue;
        }
        KzsNode *found = KZS_MOD_GetNodeBySchemaNodeId(mod, aug, path);
        if (found != nullptr) {
            if (augment != nullptr) {
                *augment = aug;
            }
            return found;
        }
    }
    return nullptr;
}

uint32_t KZS_MOD_FindAugNodeTargetInSelfMod(const KzMod *mod, KzsNode *augment, KzsNode **target)
{
    if (target != nullptr) {
        *target = nullptr;
    }
    if (mod == nullptr || augment == nullptr || augment->name == nullptr || target == nullptr) {
        return KZ_EINVAL;
    }
    char modName[kz::kNameBufSize] = {0};
    char *head = nullptr;
    char *tail = nullptr;
    uint32_t ret = KZ_XPATH_SplitTargetNodeXpath(augment->name, modName, sizeof(modName), &head, &tail);
    if (ret == KZ_OK && mod->name != nullptr && std::strcmp(modName, mod->name) == 0) {
        if (head != nullptr && tail != nullptr) {
            /* The path runs through nodes that an augment of this module added. */
            *target = KZS_MOD_GetNodeUnderAugmentBySchemaNodeId(mod, head, tail, nullptr);
        } else {
            *target = KZS_MOD_GetNodeBySchemaNodeId(mod, nullptr, augment->name);
        }
    }
    KZ_MemFree(head);
    KZ_MemFree(tail);
    return ret;
}

/* ---- Data paths ---- */

const char *KZS_MOD_GetRelativePathRealStartNode(const char *path, KzsNode *start, KzsNode **node)
{
    if (path == nullptr || node == nullptr) {
        return nullptr;
    }
    *node = nullptr;
    if (path[0] != '.') {
        *node = start;
        return path;
    }
    /* Relative paths are plain child steps or begin with ".."; "." and
     * "./x" are refused on purpose. */
    KzsNode *cur = start;
    const char *p = path;
    while (p[0] == '.') {
        if (!IsDotDotStep(p) || cur == nullptr || p[2] == '\0') {
            return nullptr;
        }
        cur = KZS_NODE_GetParentDataTreeNode(cur);
        p += 3;
        if (*p == '\0') {
            return nullptr;
        }
    }
    *node = cur;
    return p;
}

const char *KZS_MOD_GetStartPathAndNode(const char *path, KzsNode *start, KzsNode **node)
{
    if (path == nullptr || node == nullptr) {
        return nullptr;
    }
    *node = nullptr;
    if (path[0] == '/') {
        return path + 1;
    }
    if (start == nullptr) {
        return nullptr;
    }
    return KZS_MOD_GetRelativePathRealStartNode(path, start, node);
}

KzsNode *KZS_MOD_GetDataTreeNodeByNodeIdentifier(const KzMod *mod, KzsNode *start, const char *path)
{
    if (mod == nullptr || path == nullptr || *path == '\0') {
        return nullptr;
    }
    KzsNode *cur = start;
    const char *p = path;
    Step step;
    while (*p != '\0') {
        p = ReadStep(p, step);
        if (p == nullptr) {
            return nullptr;
        }
        if (cur != nullptr) {
            cur = KZS_NODE_FindChildDataTreeNodeByName(cur, step.mod, step.name);
        } else {
            /* Above the top: the step's module names where to look. */
            const KzMod *top = mod;
            if (step.mod[0] != '\0') {
                top = (mod->ctx != nullptr) ? KZ_CTX_GetModuleByModName(mod->ctx, step.mod) : nullptr;
                if (top == nullptr && mod->name != nullptr && std::strcmp(mod->name, step.mod) == 0) {
                    top = mod; /* a module not registered (yet) still finds itself */
                }
            }
            cur = KZS_MOD_FindTopLevelSchemaNode(top, step.name);
        }
        if (cur == nullptr) {
            return nullptr;
        }
    }
    return cur;
}

KzsNode *KZS_MOD_GetNodeByXpath(const KzMod *mod, KzsNode *start, const char *path)
{
    if (mod == nullptr || path == nullptr) {
        return nullptr;
    }
    KzsNode *cur = nullptr;
    const char *rest = KZS_MOD_GetStartPathAndNode(path, start, &cur);
    if (rest == nullptr) {
        return nullptr;
    }
    return KZS_MOD_GetDataTreeNodeByNodeIdentifier(mod, cur, rest);
}

KzsNode *KZ_MOD_GetNodeByPrefixedPath(const KzMod *mod, KzsNode *start, const char *path)
{
    return kz::Guarded(nullptr, [&]() -> KzsNode * {
        if (mod == nullptr || path == nullptr) {
            return nullptr;
        }
        char *json = KZ_XPATH_TransformToJsonFormat(mod, path);
        if (json == nullptr) {
            return nullptr;
        }
        KzsNode *found = KZS_MOD_GetNodeByXpath(mod, start, json);
        KZ_MemFree(json);
        return found;
    });
}

} // extern "C"
