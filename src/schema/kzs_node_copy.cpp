/* Deep copies of schema nodes and subtrees into another module. */
#include <cstring>

#include "schema/kzs_internal.h"
#include "types/kzt_type.h"

using namespace kz::schema;

namespace {

struct CopyState {
    KzsNode *resultRoot;
    KzsNode *linkParent;
    KzsNode *lastCreated;
    KzMod *module;
};

uint32_t CopyVisit(KzsNode *node, uint32_t step, void *cookie)
{
    auto *st = static_cast<CopyState *>(cookie);
    switch (step) {
        case KZS_TRAV_START:
            st->linkParent = nullptr;
            break;
        case KZS_TRAV_CHILD:
            st->linkParent = st->lastCreated;
            break;
        case KZS_TRAV_PARENT:
            st->linkParent = st->linkParent != nullptr ? st->linkParent->parent : nullptr;
            return 0;
        default:
            break;
    }
    KzsNode *copy = KZS_NODE_CopyOneNodeToModule(node, st->module);
    if (copy == nullptr) {
        return KZ_ENOMEM;
    }
    if (step == KZS_TRAV_START) {
        st->resultRoot = copy;
    } else if (KZS_NODE_AddChild(st->linkParent, copy) != KZ_OK) {
        KZS_NODE_Free(copy);
        return KZ_ENOMEM;
    }
    st->lastCreated = copy;
    return 0;
}

/* A zeroed leaf or leaf-list record holding a copy of src's real type, or null. */
template <typename Info>
Info *NewInfoWithTypeOf(KzDict *dict, const Info *src)
{
    auto *dst = kz::ZeroAlloc<Info>();
    if (dst == nullptr) {
        return nullptr;
    }
    if (KZT_TYPE_CopyNytRealTypeInner(dict, &dst->realType, &src->realType) != KZ_OK) {
        KZ_MemFree(dst);
        return nullptr;
    }
    return dst;
}

} // namespace

extern "C" {

void *KZS_NODE_CopySchemaLeaf(KzDict *dict, const void *info)
{
    if (dict == nullptr || info == nullptr) {
        return nullptr;
    }
    auto *src = static_cast<const KzsLeafInfo *>(info);
    auto *dst = NewInfoWithTypeOf(dict, src);
    if (dst == nullptr) {
        return nullptr;
    }
    if (!DictPut(dict, dst->dflt, src->dflt) || !DictPut(dict, dst->units, src->units)) {
        KZS_NODE_DestroySchemaLeaf(dict, dst);
        return nullptr;
    }
    return dst;
}

void *KZS_NODE_CopySchemaLeaflist(KzDict *dict, const void *info)
{
    if (dict == nullptr || info == nullptr) {
        return nullptr;
    }
    auto *src = static_cast<const KzsLeafListInfo *>(info);
    auto *dst = NewInfoWithTypeOf(dict, src);
    if (dst == nullptr) {
        return nullptr;
    }
    if (src->defaultCount != 0) {
        dst->defaults = KZS_NODE_CopyDefaults(dict, src->defaults, src->defaultCount);
        if (dst->defaults == nullptr) {
            KZS_NODE_DestroySchemaLeaflist(dict, dst);
            return nullptr;
        }
        dst->defaultCount = src->defaultCount;
    }
    if (!DictPut(dict, dst->units, src->units)) {
        KZS_NODE_DestroySchemaLeaflist(dict, dst);
        return nullptr;
    }
    return dst;
}

void *KZS_NODE_CopySchemaChoice(KzDict *dict, const void *info)
{
    if (dict == nullptr || info == nullptr) {
        return nullptr;
    }
    auto *src = static_cast<const KzsChoiceInfo *>(info);
    auto *dst = kz::ZeroAlloc<KzsChoiceInfo>();
    if (dst == nullptr) {
        return nullptr;
    }
    if (!DictPut(dict, dst->defaultCase, src->defaultCase)) {
        KZ_MemFree(dst);
        return nullptr;
    }
    return dst;
}

void *KZS_NODE_CopySchemaByType(KzDict *dict, uint32_t kind, const void *info)
{
    switch (kind) {
        case KZS_NODE_LEAF:
            return KZS_NODE_CopySchemaLeaf(dict, info);
        case KZS_NODE_LEAFLIST:
            return KZS_NODE_CopySchemaLeaflist(dict, info);
        case KZS_NODE_CHOICE:
            return KZS_NODE_CopySchemaChoice(dict, info);
        default:
            return nullptr;
    }
}

KzsNode *KZS_NODE_CopyOneNodeToModule(KzsNode *node, KzMod *mod)
{
    KzDict *dict = ModDict(mod);
    if (node == nullptr || dict == nullptr) {
        return nullptr;
    }
    KzsNode *copy = KZS_NODE_New(node->kind);
    if (copy == nullptr) {
        return nullptr;
    }
    copy->module = mod; /* from here on KZS_NODE_Free can undo a partial copy */
    if (!DictPut(dict, copy->name, node->name) || !DictPut(dict, copy->description, node->description)) {
        KZS_NODE_Free(copy);
        return nullptr;
    }
    if (node->extInstCount != 0) {
        copy->extInsts = KZS_EXT_CopyExtInsts(dict, node->extInsts, node->extInstCount);
        if (copy->extInsts == nullptr) {
            KZS_NODE_Free(copy);
            return nullptr;
        }
        copy->extInstCount = node->extInstCount;
    }
    if (node->kind == KZS_NODE_LIST) {
        copy->keyCount = node->keyCount;
    }
    if (node->schemaInfo != nullptr && KZS_NODE_GetInfoSize(node->kind) != 0) {
        void *info = KZS_NODE_CopySchemaByType(dict, node->kind, node->schemaInfo);
        if (info == nullptr) {
            KZS_NODE_Free(copy);
            return nullptr;
        }
        KZ_MemFree(copy->schemaInfo); /* the zeroed one made by KZS_NODE_New */
        copy->schemaInfo = info;
        KztRealType *rt = KZS_NODE_GetLeafSchemaRealType(copy);
        if (rt != nullptr) {
            /* A reference the target module cannot bind stays unresolved and is
             * looked up at validation time, so the result is not a failure. */
            (void)KZT_TYPE_UpdateRealTypeDerivedFrom(rt, mod);
        }
    }
    return copy;
}

KzsNode *KZS_NODE_CopyNodeTreeToModule(KzsNode *root, KzMod *mod)
{
    if (root == nullptr || ModDict(mod) == nullptr) {
        return nullptr;
    }
    CopyState st{nullptr, nullptr, nullptr, mod};
    if (KZ_NODE_TreeScanAllNode(root, CopyVisit, &st) != KZ_OK) {
        KZS_NODE_Free(st.resultRoot);
        return nullptr;
    }
    return st.resultRoot;
}

} // extern "C"
