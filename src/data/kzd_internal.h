/* Helpers shared by the validation passes (not exported). */
#ifndef KZD_INTERNAL_H
#define KZD_INTERNAL_H

#include <cstdarg>

#include "data/kzd_valid.h"

/* Schema node bound to an element by the structure pass. */
inline KzsNode *kzd_schema_of(const xmlNode *element)
{
    return element != nullptr && element->type == XML_ELEMENT_NODE ? static_cast<KzsNode *>(element->_private)
                                                                     : nullptr;
}

inline xmlNode *kzd_first_element(xmlNode *node)
{
    while (node != nullptr && node->type != XML_ELEMENT_NODE) {
        node = node->next;
    }
    return node;
}

inline xmlNode *kzd_first_child_element(const xmlNode *parent)
{
    return parent != nullptr ? kzd_first_element(parent->children) : nullptr;
}

inline xmlNode *kzd_next_element(const xmlNode *node)
{
    return kzd_first_element(node->next);
}

inline const char *kzd_name(const xmlNode *element)
{
    return reinterpret_cast<const char *>(element->name);
}

/* Calls visit on element and every element below it, in document order, without recursion. */
template <typename Visit>
void kzd_for_each_element(xmlNode *element, Visit visit)
{
    xmlNode *n = element;
    while (n != nullptr) {
        visit(n);
        xmlNode *child = kzd_first_child_element(n);
        if (child != nullptr) {
            n = child;
            continue;
        }
        while (n != element && kzd_next_element(n) == nullptr) {
            n = n->parent;
        }
        n = n == element ? nullptr : kzd_next_element(n);
    }
}

/* Makes the record if there is none yet, then sets its message and bad element (first value
 * wins); returns 22 so that callers can return it directly. */
uint32_t kzd_report(KzdCheckAux *aux, uint32_t tag, xmlNode *element, const char *badElement, const char *format,
                    ...) __attribute__((format(printf, 5, 6)));
void kzd_err_set_msg_v(KzdErrNode *err, const char *format, va_list ap);

/* Evaluates a condition for contextNode, tokenizing each distinct condition once per validation. */
uint32_t kzd_eval_condition(KzdCheckAux *aux, xmlNode *contextNode, const char *cond);
void kzd_cond_cache_free(KzdCheckAux *aux);

/* Unlinks and frees an element of the validated tree. */
inline void kzd_remove_element(xmlNode *element)
{
    xmlUnlinkNode(element);
    xmlFreeNode(element);
}

#endif /* KZD_INTERNAL_H */
