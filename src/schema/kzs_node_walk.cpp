/* Walks over schema nodes: the full depth-first walk and the data-tree walk
 * that looks through choice, case, input and output. None of them recurses. */
#include "schema/kzs_internal.h"

using namespace kz::schema;

namespace {

/* The node after which a walk from root must climb instead of moving on:
 * a coupled augment's children are followed in the target's chain by
 * nodes that do not belong to the augment. */
bool EndsRange(const KzsNode *root, const KzsNode *node)
{
    if (root->kind == KZS_NODE_AUGMENT && node == root->lastChild) {
        return true;
    }
    return node->parent != nullptr && node->parent->lastChild == node;
}

/* Next sibling, or the nearest ancestor's next sibling, staying below stop
 * and never leaving a data or operation parent. */
KzsNode *NextRaw(KzsNode *node, KzsNode *stop)
{
    if (stop == nullptr) {
        return nullptr;
    }
    while (node != nullptr) {
        if (node->next != nullptr) {
            return node->next;
        }
        KzsNode *parent = node->parent;
        if (parent == nullptr || parent == stop || IsDataOrOperation(parent)) {
            return nullptr;
        }
        node = parent;
    }
    return nullptr;
}

} // namespace

extern "C" {

KzsNode *KZS_NODE_GetTreeNodeSibOrParent(KzsNode *root, KzsNode *node, uint32_t *step)
{
    if (root == nullptr || node == nullptr || step == nullptr || node == root) {
        return nullptr;
    }
    bool last = EndsRange(root, node);
    if (!last && node->next != nullptr) {
        *step = KZS_TRAV_SIBLING;
        return node->next;
    }
    KzsNode *parent = (root->kind == KZS_NODE_AUGMENT && node == root->lastChild) ? root : node->parent;
    if (parent == nullptr) {
        return nullptr;
    }
    *step = KZS_TRAV_PARENT;
    return parent;
}

KzsNode *KZS_NODE_GetTreeNodeNextNode(KzsNode *root, KzsNode *node, uint32_t *step)
{
    if (root == nullptr || node == nullptr || step == nullptr) {
        return nullptr;
    }
    if (*step != KZS_TRAV_PARENT && node->firstChild != nullptr) {
        *step = KZS_TRAV_CHILD;
        return node->firstChild;
    }
    return KZS_NODE_GetTreeNodeSibOrParent(root, node, step);
}

uint32_t KZ_NODE_TreeScanAllNode(KzsNode *root, KzNodeWalkCb callback, void *cookie)
{
    if (root == nullptr || callback == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t step = KZS_TRAV_START;
    KzsNode *node = root;
    while (node != nullptr) {
        uint32_t ret = callback(node, step, cookie);
        if (ret == KZS_TRAV_SKIP_CHILDREN) {
            node = KZS_NODE_GetTreeNodeSibOrParent(root, node, &step);
        } else if (ret != 0) {
            return ret;
        } else {
            node = KZS_NODE_GetTreeNodeNextNode(root, node, &step);
        }
    }
    return KZ_OK;
}

uint32_t KZ_NODE_IterScanChildrenNode(KzsNode *node, KzNodeWalkCb callback, void *cookie)
{
    if (node == nullptr || callback == nullptr) {
        return KZ_EINVAL;
    }
    KzsNode *child = node->firstChild;
    while (child != nullptr) {
        /* Taken before the call, which may relink the child. */
        KzsNode *next = child->next;
        bool last = child == node->lastChild;
        uint32_t ret = callback(child, KZS_TRAV_CHILD, cookie);
        if (ret != 0) {
            return ret;
        }
        if (last) {
            break;
        }
        child = next;
    }
    return KZ_OK;
}

uint32_t KZ_NODE_IterScanSiblingNode(KzsNode *node, KzNodeWalkCb callback, void *cookie)
{
    if (node == nullptr || callback == nullptr) {
        return KZ_EINVAL;
    }
    while (node != nullptr) {
        KzsNode *next = node->next;
        uint32_t ret = callback(node, KZS_TRAV_SIBLING, cookie);
        if (ret != 0) {
            return ret;
        }
        node = next;
    }
    return KZ_OK;
}

KzsNode *KZS_NODE_GetParentDataTreeNode(KzsNode *node)
{
    if (node == nullptr) {
        return nullptr;
    }
    for (KzsNode *p = node->parent; p != nullptr; p = p->parent) {
        if (IsDataOrOperation(p)) {
            return p;
        }
    }
    return nullptr;
}

KzsNode *KZS_NODE_GetFirstSlibingDataTreeNode(KzsNode *node, KzsNode *stop)
{
    KzsNode *cur = node;
    while (cur != nullptr) {
        if (IsDataOrOperation(cur)) {
            return cur;
        }
        cur = (cur->firstChild != nullptr) ? cur->firstChild : NextRaw(cur, stop);
    }
    return nullptr;
}

KzsNode *KZS_NODE_GetNextDataTreeNode(KzsNode *node, KzsNode *stop)
{
    if (node == nullptr) {
        return nullptr;
    }
    KzsNode *next = NextRaw(node, stop);
    return next != nullptr ? KZS_NODE_GetFirstSlibingDataTreeNode(next, stop) : nullptr;
}

/* Depth-first over the schema-only children, which are looked into but
 * never match by their own name. */
KzsNode *KZS_NODE_FindChildDataTreeNodeByName(KzsNode *node, const char *modName, const char *name)
{
    if (node == nullptr || name == nullptr) {
        return nullptr;
    }
    if (modName == nullptr || modName[0] == '\0') {
        modName = node->module != nullptr ? node->module->name : nullptr;
    }
    KzsNode *cur = node->firstChild;
    while (cur != nullptr) {
        if (IsDataOrOperation(cur)) {
            if (kz::SameNonNullText(cur->name, name) &&
                (modName == nullptr || (cur->module != nullptr && kz::SameNonNullText(cur->module->name, modName)))) {
                return cur;
            }
        } else if (cur->firstChild != nullptr) {
            cur = cur->firstChild;
            continue;
        }
        /* Move on: next sibling within the parent's range, else climb. */
        while (cur != nullptr) {
            KzsNode *parent = cur->parent;
            if (parent == nullptr) {
                return nullptr;
            }
            if (cur != parent->lastChild && cur->next != nullptr) {
                cur = cur->next;
                break;
            }
            if (parent == node) {
                return nullptr;
            }
            cur = parent;
        }
    }
    return nullptr;
}

} // extern "C"
