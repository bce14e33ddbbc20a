/* Small helpers shared by the schema sources (not exported). */
#ifndef KZS_INTERNAL_H
#define KZS_INTERNAL_H

#include <cstring>

#include "schema/kzs_ctx.h"
#include "base/kz_dict.h"
#include "base/kz_kit.h"
#include "base/kz_array.h"
#include "schema/kzs_mod.h"
#include "schema/kzs_node.h"

namespace kz::schema {

/* The dictionary a module's texts are interned in; null for a missing module
 * or one not (yet) in a context. */
inline KzDict *ModDict(const KzMod *mod)
{
    return (mod != nullptr && mod->ctx != nullptr) ? &mod->ctx->dict : nullptr;
}

inline KzDict *NodeDict(const KzsNode *node)
{
    return node != nullptr ? ModDict(node->module) : nullptr;
}

using kz::base::DictDrop;
using kz::base::DictPut;

/* Frees an owned array through its free function (dictionary, array, count)
 * and leaves the holder empty. */
template <typename T, typename Count, typename Free>
inline void FreeArrayAndClear(KzDict *dict, T *&array, Count &count, Free free)
{
    free(dict, array, count);
    array = nullptr;
    count = 0;
}

inline bool IsDataOrOperation(const KzsNode *node)
{
    return KZS_NODE_IS_DATA(node->kind) || KZS_NODE_IS_OPERATION(node->kind);
}

/* Grows an array by one zeroed entry, lets fill complete it and raises the
 * count only when the fill succeeded. */
template <typename T, typename Fill>
uint32_t AppendOne(T *&array, uint16_t &count, Fill fill)
{
    if (count == UINT16_MAX) {
        return KZ_EINVAL;
    }
    uint32_t ret = KZ_UTL_ExpandArray(reinterpret_cast<void **>(&array), count, 1, sizeof(T));
    if (ret != KZ_OK) {
        return ret;
    }
    ret = fill(&array[count]);
    if (ret == KZ_OK) {
        ++count;
    }
    return ret;
}

template <typename T, typename Clear>
void FreeArray(KzDict *dict, T *array, uint16_t count, Clear clear)
{
    if (array == nullptr) {
        return;
    }
    for (uint16_t i = 0; i < count; ++i) {
        clear(dict, &array[i]);
    }
    KZ_MemFree(array);
}

/* A zeroed copy of count records, each completed by fill(&copy, source); when
 * one fails (fill leaves that one empty) the ones before it are released and
 * the result is null. */
template <typename T, typename Clear, typename Fill>
T *CopyArray(KzDict *dict, const T *src, uint16_t count, Clear clear, Fill fill)
{
    if (dict == nullptr || src == nullptr || count == 0) {
        return nullptr;
    }
    T *dst = kz::ZeroAlloc<T>(count);
    if (dst == nullptr) {
        return nullptr;
    }
    for (uint16_t i = 0; i < count; ++i) {
        if (fill(&dst[i], src[i]) != KZ_OK) {
            FreeArray(dict, dst, i, clear);
            return nullptr;
        }
    }
    return dst;
}

/* Calls visit on each record in order; the first non-zero result stops the
 * scan and is returned. */
template <typename T, typename Visit>
uint32_t ScanEach(T *array, uint16_t count, Visit visit)
{
    for (uint16_t i = 0; i < count; ++i) {
        uint32_t ret = visit(array[i]);
        if (ret != 0) {
            return ret;
        }
    }
    return KZ_OK;
}

/* Hands each extension instance of an array to a public scan callback. */
inline uint32_t ScanExtInsts(KzsExtInst *insts, uint16_t count, KzExtInstScanCb callback, void *cookie)
{
    return ScanEach(insts, count,
                    [&](KzsExtInst &e) { return callback(&e, e.modName, e.extName, e.argument, cookie); });
}

} // namespace kz::schema

#endif /* KZS_INTERNAL_H */
