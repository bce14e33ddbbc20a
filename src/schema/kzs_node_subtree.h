/* Pre-order walk of a schema subtree along its child and sibling links. */
#ifndef KZS_NODE_SUBTREE_H
#define KZS_NODE_SUBTREE_H

#include "schema/kzs_node.h"

namespace kz::schema {

/* Next node of a pre-order walk of the subtree at root, or null. */
inline KzsNode *NextInSubtree(KzsNode *root, KzsNode *node)
{
    if (node->firstChild != nullptr) {
        return node->firstChild;
    }
    while (node != root && node->next == nullptr) {
        node = node->parent;
    }
    return node == root ? nullptr : node->next;
}

} /* namespace kz::schema */

#endif /* KZS_NODE_SUBTREE_H */
