/* Inheritance of config, access-control and status flags, and key marking. */
#include <cstring>

#include "base/kz_scan.h"
#include "schema/kzs_internal.h"
#include "base/kz_kit.h"

using namespace kz::schema;

namespace {

constexpr const char *kNacmModule = "ietf-netconf-acm";

/* Applies one inheritance rule to a node against its parent; true when the
 * node changed, in which case its children must be looked at too. */
using InheritRule = bool (*)(KzsNode *node);

bool InheritConfig(KzsNode *node)
{
    KzsNode *parent = node->parent;
    if (parent == nullptr) {
        return false;
    }
    uint32_t p = parent->flags & KZS_NODE_FLAG_CONFIG_MASK;
    if (p == 0) {
        return false;
    }
    uint32_t c = node->flags & KZS_NODE_FLAG_CONFIG_MASK;
    if ((node->flags & KZS_NODE_FLAG_CONFIG_SET) != 0) {
        /* A node's own config survives, except config true below config false. */
        if ((p & KZS_NODE_FLAG_CONFIG_FALSE) == 0 || (c & KZS_NODE_FLAG_CONFIG_TRUE) == 0) {
            return false;
        }
        node->flags &= ~(KZS_NODE_FLAG_CONFIG_MASK | KZS_NODE_FLAG_CONFIG_SET);
        node->flags |= p;
        return true;
    }
    if (c == p) {
        return false;
    }
    node->flags = (node->flags & ~KZS_NODE_FLAG_CONFIG_MASK) | p;
    return true;
}

bool InheritMasked(KzsNode *node, uint32_t mask)
{
    KzsNode *parent = node->parent;
    if (parent == nullptr) {
        return false;
    }
    uint32_t p = parent->flags & mask;
    if (p == 0 || (node->flags & mask) == p) {
        return false;
    }
    node->flags = (node->flags & ~mask) | p;
    return true;
}

bool InheritNacm(KzsNode *node)
{
    return InheritMasked(node, KZS_NODE_FLAG_NACM_MASK);
}

/* Both directions on purpose: obsolete below deprecated becomes deprecated. */
bool InheritStatus(KzsNode *node)
{
    return InheritMasked(node, KZS_NODE_FLAG_STATUS_MASK);
}

uint32_t InheritVisit(KzsNode *node, uint32_t step, void *cookie)
{
    if (step == KZS_TRAV_PARENT) {
        return 0;
    }
    auto rule = *static_cast<InheritRule *>(cookie);
    return rule(node) ? 0 : KZS_TRAV_SKIP_CHILDREN;
}

/* Runs the rule over the subtree at node, descending only below nodes that
 * changed; iterative through the full walk. */
uint32_t Propagate(KzsNode *node, InheritRule rule)
{
    if (node == nullptr || node->parent == nullptr) {
        return 0;
    }
    if (!rule(node)) {
        return 0;
    }
    auto visitChild = [](KzsNode *child, uint32_t, void *cookie) -> uint32_t {
        return KZ_NODE_TreeScanAllNode(child, InheritVisit, cookie);
    };
    (void)KZ_NODE_IterScanChildrenNode(node, visitChild, &rule);
    return 1;
}

} // namespace

extern "C" {

uint32_t KZS_NODE_UpdateConfigFlag(KzsNode *node)
{
    return Propagate(node, InheritConfig);
}

uint32_t KZS_NODE_UpdateNacmFlag(KzsNode *node)
{
    return Propagate(node, InheritNacm);
}

uint32_t KZS_NODE_UpdateStatusFlag(KzsNode *node)
{
    return Propagate(node, InheritStatus);
}

uint32_t KZS_NODE_ImplUpdateFlagCb(KzsNode *node, uint32_t step, void *cookie)
{
    (void)step;
    (void)cookie;
    (void)KZS_NODE_UpdateConfigFlag(node);
    (void)KZS_NODE_UpdateNacmFlag(node);
    (void)KZS_NODE_UpdateStatusFlag(node);
    return 0;
}

void KZS_NODE_UpdateFlag(KzsNode *node)
{
    if (node == nullptr || (node->flags & KZS_NODE_FLAG_INHERITED_MASK) == 0) {
        return;
    }
    (void)KZ_NODE_IterScanChildrenNode(node, KZS_NODE_ImplUpdateFlagCb, nullptr);
}

void KZS_NODE_SetNacmFlag(KzsNode *node, const char *modName, const char *extName)
{
    if (node == nullptr || modName == nullptr || extName == nullptr || std::strcmp(modName, kNacmModule) != 0) {
        return;
    }
    if (std::strcmp(extName, "default-deny-all") == 0) {
        node->flags |= KZS_NODE_FLAG_NACM_DENY_ALL;
    } else if (std::strcmp(extName, "default-deny-write") == 0) {
        node->flags |= KZS_NODE_FLAG_NACM_DENY_WRITE;
    }
}

uint32_t KZS_NODE_AppendOneExtInst(KzDict *dict, KzsNode *node, const char *modName, const char *extName,
                                   const char *argument)
{
    if (dict == nullptr || node == nullptr) {
        return KZ_EINVAL;
    }
    KzsExtInst inst{};
    uint32_t ret = KZS_EXT_FillExtInst(dict, &inst, modName, extName, argument);
    if (ret != KZ_OK) {
        return ret;
    }
    if (KZS_EXT_FindSameExtInstInArray(node->extInsts, node->extInstCount, &inst) != nullptr) {
        KZS_EXT_ClearExtInst(dict, &inst);
        return KZ_OK;
    }
    ret = KZS_EXT_AppendOneExtInstToArray(&node->extInsts, &node->extInstCount, &inst);
    if (ret != KZ_OK) {
        KZS_EXT_ClearExtInst(dict, &inst);
        return ret;
    }
    if (std::strcmp(modName, kNacmModule) == 0) {
        KZS_NODE_SetNacmFlag(node, modName, extName);
        KZS_NODE_UpdateFlag(node);
    }
    return KZ_OK;
}

/* Carriage return is deliberately not a separator: a key text split by it
 * fails instead of being read as several names. */
uint32_t KZS_NODE_MarkKeyAttrToListLeafs(KzsNode *list, const char *keyText, uint8_t *keyCount)
{
    if (keyText == nullptr) {
        return KZ_OK;
    }
    if (list == nullptr || list->firstChild == nullptr) {
        return KZ_EINVAL;
    }
    const char *p = keyText;
    char name[kz::kNameBufSize];
    for (;;) {
        while (*p == ' ' || *p == '\t' || *p == '\n') {
            ++p;
        }
        if (*p == '\0') {
            return KZ_OK;
        }
        uint32_t len = KZ_UTL_ConsumeIdentNameBestEffort(p);
        if (len == 0 || len >= sizeof(name)) {
            return KZ_EPARSE;
        }
        std::memcpy(name, p, len);
        name[len] = '\0';
        KzsNode *leaf = KZS_NODE_FindChildNodeByName(list, nullptr, name);
        if (leaf == nullptr || leaf->kind != KZS_NODE_LEAF) {
            return KZ_EPARSE;
        }
        leaf->flags |= KZS_NODE_FLAG_KEY;
        if (keyCount != nullptr) {
            ++*keyCount;
        }
        p += len;
    }
}

} // extern "C"
