/* Public queries on schema nodes for the embedding process. */
#include <cstring>

#include "schema/kzs_internal.h"
#include "types/kzt_cons.h"
#include "types/kzt_type.h"
#include "base/kz_guard.h"

using namespace kz::schema;

namespace {

bool HasFlag(const KzsNode *node, uint32_t flag)
{
    return node != nullptr && (node->flags & flag) != 0;
}

KzCtx *NodeCtx(const KzsNode *node)
{
    return (node != nullptr && node->module != nullptr) ? node->module->ctx : nullptr;
}

/* What a typedef chain scan is looking for: default or units. */
struct TdefFieldScan {
    KzCtx *ctx;
    bool wantUnits;
    const char *found;
};

uint32_t TdefFieldVisit(const char *modName, const char *tdefName, KztRealType *, void *cookie)
{
    auto *scan = static_cast<TdefFieldScan *>(cookie);
    if (modName == nullptr || tdefName == nullptr) {
        return 1;
    }
    KzsTypedef *tdef = KZ_CTX_FindTdefObjByModAndTdefName(scan->ctx, modName, tdefName);
    if (tdef == nullptr) {
        return 1; /* the chain cannot be followed further */
    }
    const char *value = scan->wantUnits ? tdef->units : tdef->dflt;
    if (value != nullptr) {
        scan->found = value;
        return 1;
    }
    return 0;
}

const char *TdefChainField(const KzsNode *node, bool wantUnits)
{
    TdefFieldScan scan{NodeCtx(node), wantUnits, nullptr};
    (void)KZ_NODE_ScanDerivedType(node, TdefFieldVisit, &scan);
    return scan.found;
}

uint32_t LeafrefPathVisit(const char *, const char *, KztRealType *realType, void *cookie)
{
    if (realType == nullptr) {
        return 1;
    }
    KztConsDataPath *path = KZ_TYPE_GetTypeConsDataLeafrefPath(realType);
    if (path != nullptr && path->path != nullptr) {
        *static_cast<const char **>(cookie) = path->path;
        return 1;
    }
    return 0;
}

/* The leafref path of a node: its own type's, or the first one met along
 * its typedef chain. */
const char *LeafrefPathOf(const KzsNode *node)
{
    KztRealType *rt = KZS_NODE_GetLeafSchemaRealType(node);
    if (rt == nullptr) {
        return nullptr;
    }
    KztConsDataPath *own = KZ_TYPE_GetTypeConsDataLeafrefPath(rt);
    if (own != nullptr && own->path != nullptr) {
        return own->path;
    }
    if (rt->baseType != KZT_BASE_DERIVED) {
        return nullptr;
    }
    const char *found = nullptr;
    (void)KZ_NODE_ScanDerivedType(node, LeafrefPathVisit, &found);
    return found;
}

} // namespace

extern "C" {

const char *KZ_NODE_GetNodeName(const KzsNode *node)
{
    return node != nullptr ? node->name : nullptr;
}

KzMod *KZ_NODE_GetModule(const KzsNode *node)
{
    return node != nullptr ? node->module : nullptr;
}

uint32_t KZ_NODE_GetNodeType(const KzsNode *node)
{
    return node != nullptr ? node->kind : 0;
}

const char *KZ_NODE_GetDescription(const KzsNode *node)
{
    return node != nullptr ? node->description : nullptr;
}

const char *KZ_NODE_GetWhenCond(const KzsNode *node)
{
    return node != nullptr ? node->when : nullptr;
}

uint32_t KZ_NODE_GetNodeKeyNum(const KzsNode *node)
{
    return node != nullptr ? node->keyCount : 0;
}

KztRealType *KZ_NODE_GetRealType(const KzsNode *node)
{
    return KZS_NODE_GetLeafSchemaRealType(node);
}

void *KZ_NODE_GetPrivate(const KzsNode *node)
{
    return node != nullptr ? node->priv : nullptr;
}

void *KZ_NODE_SetPrivate(KzsNode *node, void *data)
{
    if (node == nullptr) {
        return nullptr;
    }
    void *old = node->priv;
    node->priv = data;
    return old;
}

KzsNode *KZ_NODE_GetParentNode(const KzsNode *node)
{
    if (node == nullptr || node->parent == nullptr || node->parent->kind == KZS_NODE_AUGMENT) {
        return nullptr;
    }
    return node->parent;
}

KzsNode *KZ_NODE_GetNonChoiceCaseParent(const KzsNode *node)
{
    if (node == nullptr) {
        return nullptr;
    }
    KzsNode *p = node->parent;
    while (p != nullptr && (p->kind == KZS_NODE_CHOICE || p->kind == KZS_NODE_CASE)) {
        p = p->parent;
    }
    return p;
}

uint32_t KZ_NODE_IsKey(const KzsNode *node)
{
    return (node != nullptr && node->kind == KZS_NODE_LEAF && HasFlag(node, KZS_NODE_FLAG_KEY) &&
            node->parent != nullptr && node->parent->kind == KZS_NODE_LIST)
               ? 1
               : 0;
}

uint32_t KZ_NODE_IsRwConfig(const KzsNode *node)
{
    if (node == nullptr) {
        return 0;
    }
    uint32_t cfg = node->flags & KZS_NODE_FLAG_CONFIG_MASK;
    return (cfg == 0 || (cfg & KZS_NODE_FLAG_CONFIG_TRUE) != 0) ? 1 : 0;
}

uint32_t KZ_NODE_IsMandatory(const KzsNode *node)
{
    return HasFlag(node, KZS_NODE_FLAG_MANDATORY_TRUE) ? 1 : 0;
}

uint32_t KZ_NODE_IsOrderedByNode(const KzsNode *node)
{
    return HasFlag(node, KZS_NODE_FLAG_ORDERED_BY_USER) ? 1 : 0;
}

uint32_t KZ_NODE_IsNacmDefaultDenyAll(const KzsNode *node)
{
    return HasFlag(node, KZS_NODE_FLAG_NACM_DENY_ALL) ? 1 : 0;
}

uint32_t KZ_NODE_IsNacmDefaultDenyWrite(const KzsNode *node)
{
    return HasFlag(node, KZS_NODE_FLAG_NACM_DENY_WRITE) ? 1 : 0;
}

uint32_t KZ_NODE_IsPresenceContainer(const KzsNode *node)
{
    return (node != nullptr && node->kind == KZS_NODE_CONTAINER && HasFlag(node, KZS_NODE_FLAG_PRESENCE)) ? 1 : 0;
}

uint32_t KZ_NODE_IsDeprecatedNode(const KzsNode *node)
{
    return HasFlag(node, KZS_NODE_FLAG_DEPRECATED) ? 1 : 0;
}

uint32_t KZ_NODE_IsObsoleteNode(const KzsNode *node)
{
    return HasFlag(node, KZS_NODE_FLAG_OBSOLETE) ? 1 : 0;
}

/* Only the node's own if-features count, not its ancestors'. */
uint32_t KZ_NODE_IsEnabled(const KzsNode *node)
{
    if (node == nullptr || node->module == nullptr) {
        return 0;
    }
    for (uint16_t i = 0; i < node->ifFeatureCount; ++i) {
        const KzsIfFeature *f = &node->ifFeatures[i];
        if (KZ_CTX_IsModFeatureEnable(node->module->ctx, f->modName, f->featName) != 1) {
            return 0;
        }
    }
    return 1;
}

uint32_t KZ_NODE_ScanDerivedType(const KzsNode *node, KzDerivedTypeScanCb callback, void *cookie)
{
    KzCtx *ctx = NodeCtx(node);
    KztRealType *rt = KZS_NODE_GetLeafSchemaRealType(node);
    if (ctx == nullptr || callback == nullptr || rt == nullptr) {
        return KZ_EINVAL;
    }
    return KZ_TYPE_IterRealTypeDerivedName(rt, ctx, callback, cookie);
}

const char *KZ_NODE_GetDefaultValueStr(const KzsNode *node)
{
    if (node == nullptr || node->kind != KZS_NODE_LEAF || node->schemaInfo == nullptr ||
        HasFlag(node, KZS_NODE_FLAG_MANDATORY_TRUE)) {
        return nullptr;
    }
    auto *info = static_cast<const KzsLeafInfo *>(node->schemaInfo);
    return info->dflt != nullptr ? info->dflt : TdefChainField(node, false);
}

const char *KZ_NODE_GetUnitsValueStr(const KzsNode *node)
{
    if (node == nullptr || node->schemaInfo == nullptr) {
        return nullptr;
    }
    const char *own = nullptr;
    if (node->kind == KZS_NODE_LEAF) {
        own = static_cast<const KzsLeafInfo *>(node->schemaInfo)->units;
    } else if (node->kind == KZS_NODE_LEAFLIST) {
        own = static_cast<const KzsLeafListInfo *>(node->schemaInfo)->units;
    } else {
        return nullptr;
    }
    return own != nullptr ? own : TdefChainField(node, true);
}

/* At most KZS_NODE_LEAFREF_FOLLOW_MAX resolutions; reaching the last one
 * yields null whatever it found, so that a cycle cannot hold the caller. */
KzsNode *KZ_NODE_GetLeafrefTargetNode(const KzsNode *node, uint32_t follow)
{
    if (node == nullptr || node->module == nullptr) {
        return nullptr;
    }
    const KzsNode *cur = node;
    for (uint32_t made = 1;; ++made) {
        const char *path = LeafrefPathOf(cur);
        if (path == nullptr) {
            return cur == node ? nullptr : const_cast<KzsNode *>(cur);
        }
        KzsNode *target = KZS_MOD_GetNodeByXpath(cur->module, const_cast<KzsNode *>(cur), path);
        if (target == nullptr || made >= KZS_NODE_LEAFREF_FOLLOW_MAX) {
            return nullptr;
        }
        if (follow == 0) {
            return target;
        }
        cur = target;
    }
}

KzsNode *KZ_NODE_GetAugmentTargetNode(const KzsNode *node)
{
    KzCtx *ctx = NodeCtx(node);
    if (ctx == nullptr || node->kind != KZS_NODE_AUGMENT || node->name == nullptr) {
        return nullptr;
    }
    return KZ_CTX_GetTargetNode(ctx, node->name, nullptr);
}

uint32_t KZ_NODE_ScanAllExtInsts(const KzsNode *node, KzExtInstScanCb callback, void *cookie)
{
    if (node == nullptr || callback == nullptr) {
        return KZ_EINVAL;
    }
    return ScanExtInsts(node->extInsts, node->extInstCount, callback, cookie);
}

uint32_t KZ_EXT_ScanAllChildExtInsts(const KzsExtInst *inst, KzExtInstScanCb callback, void *cookie)
{
    if (inst == nullptr || callback == nullptr) {
        return KZ_EINVAL;
    }
    return ScanExtInsts(inst->children, inst->childCount, callback, cookie);
}

uint32_t KZ_NODE_AppendExtInst(KzsNode *node, const char *modName, const char *extName, const char *argument)
{
    return kz::Guarded(KZ_ENOMEM, [&]() -> uint32_t {
        KzDict *dict = NodeDict(node);
        if (dict == nullptr || modName == nullptr || extName == nullptr) {
            return KZ_EINVAL;
        }
        return KZS_NODE_AppendOneExtInst(dict, node, modName, extName, argument);
    });
}

uint32_t KZ_NODE_ReplaceDstExtInst(KzsNode *dst, const KzsNode *src)
{
    return kz::Guarded(KZ_ENOMEM, [&]() -> uint32_t {
        KzDict *dict = NodeDict(dst);
        if (dict == nullptr || src == nullptr || src->extInstCount == 0 || src->extInsts == nullptr) {
            return KZ_EINVAL;
        }
        KzsExtInst *copy = KZS_EXT_CopyExtInsts(dict, src->extInsts, src->extInstCount);
        if (copy == nullptr) {
            return KZ_ENOMEM;
        }
        KZS_EXT_FreeExtInsts(dict, dst->extInsts, dst->extInstCount);
        dst->extInsts = copy;
        dst->extInstCount = src->extInstCount;
        return KZ_OK;
    });
}

void KZ_NODE_CleanExtInsts(KzsNode *node)
{
    KzDict *dict = NodeDict(node);
    if (dict == nullptr) {
        return;
    }
    FreeArrayAndClear(dict, node->extInsts, node->extInstCount, KZS_EXT_FreeExtInsts);
}

} // extern "C"
