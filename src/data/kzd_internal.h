/* Helpers shared by the validation passes (not exported). */
#ifndef KZD_INTERNAL_H
#define KZD_INTERNAL_H

#include <cstdarg>

#include <new>

#include "data/kzd_valid.h"
#include "base/kz_small_vec.h"

namespace kz::data {

/* Schema node bound to an element by the structure pass. */
inline KzsNode *SchemaOf(const xmlNode *element)
{
    return element != nullptr && element->type == XML_ELEMENT_NODE ? static_cast<KzsNode *>(element->_private)
                                                                     : nullptr;
}

inline xmlNode *FirstElement(xmlNode *node)
{
    while (node != nullptr && node->type != XML_ELEMENT_NODE) {
        node = node->next;
    }
    return node;
}

inline xmlNode *FirstChildElement(const xmlNode *parent)
{
    return parent != nullptr ? FirstElement(parent->children) : nullptr;
}

inline xmlNode *NextElement(const xmlNode *node)
{
    return FirstElement(node->next);
}

inline const char *ElementName(const xmlNode *element)
{
    return reinterpret_cast<const char *>(element->name);
}

/* A tree larger than the cache has left it by the time completion reads list entries (the
 * other passes run without this at the same speed). Going along siblings, each asks for the
 * next one's children and the one after it: that one was asked for a step earlier, so reading
 * where its children are costs no wait. Always inlined: the compiler counts a call that only
 * prefetches as one without effect, and drops it. */
[[gnu::always_inline]] inline void PrefetchAhead(const xmlNode *node)
{
    if (const xmlNode *sibling = node->next) {
        __builtin_prefetch(sibling->next);
        __builtin_prefetch(sibling->children);
        __builtin_prefetch(sibling->last);
    }
}

/* Calls visit on element and every element below it, in document order, without recursion. */
template <typename Visit>
void ForEachElement(xmlNode *element, Visit visit)
{
    xmlNode *n = element;
    while (n != nullptr) {
        visit(n);
        xmlNode *child = FirstChildElement(n);
        if (child != nullptr) {
            n = child;
            continue;
        }
        while (n != element && NextElement(n) == nullptr) {
            n = n->parent;
        }
        n = n == element ? nullptr : NextElement(n);
    }
}

/* Schema children picked once for a list, then visited in every entry. */
using ChildList = kz::SmallVec<KzsNode *, 16>;

/* Appends the children of schemaNode for which keep holds, in schema order. */
template <typename Keep>
uint32_t ChildrenWhere(KzsNode *schemaNode, ChildList &out, Keep keep)
{
    try {
        for (KzsNode *c = schemaNode->firstChild; c != nullptr; c = c->next) {
            if (keep(c)) {
                out.push_back(c);
            }
            if (c == schemaNode->lastChild) {
                break;
            }
        }
    } catch (const std::bad_alloc &) {
        return KZ_ENOMEM;
    }
    return KZ_OK;
}

/* Calls visit(entry, child) for every instance entry of the list under parent and every
 * child that pick chooses from the list's schema children (chosen once, at the first entry);
 * stops at the first result other than KZ_OK and returns it. */
template <typename Visit>
uint32_t ForEachEntryChild(xmlNode *parent, KzsNode *list, uint32_t (*pick)(KzsNode *, ChildList &),
                                  Visit visit)
{
    ChildList children;
    bool picked = false;
    for (xmlNode *e = FirstChildElement(parent); e != nullptr; e = NextElement(e)) {
        PrefetchAhead(e);
        if (SchemaOf(e) != list) {
            continue;
        }
        if (!picked) {
            uint32_t rc = pick(list, children);
            if (rc != KZ_OK || children.empty()) {
                return rc; /* nothing chosen: no entry needs a visit */
            }
            picked = true;
        }
        for (KzsNode *c : children) {
            uint32_t rc = visit(e, c);
            if (rc != KZ_OK) {
                return rc;
            }
        }
    }
    return KZ_OK;
}

/* Makes the record if there is none yet, then sets its message and bad element (first value
 * wins); returns 22 so that callers can return it directly. */
uint32_t Report(KzdCheckAux *aux, uint32_t tag, xmlNode *element, const char *badElement, const char *format,
                    ...) __attribute__((format(printf, 5, 6)));
void SetErrMsgV(KzdErrNode *err, const char *format, va_list ap);

/* Evaluates a condition for contextNode, tokenizing each distinct condition once per validation. */
uint32_t EvalCondition(KzdCheckAux *aux, xmlNode *contextNode, const char *cond);
void FreeCondCache(KzdCheckAux *aux);

/* Unlinks and frees an element of the validated tree. */
inline void RemoveElement(xmlNode *element)
{
    xmlUnlinkNode(element);
    xmlFreeNode(element);
}

} /* namespace kz::data */

#endif /* KZD_INTERNAL_H */
