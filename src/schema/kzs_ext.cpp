/* Arrays of extension instances. Nested instances form a tree whose depth
 * comes from the module text, so copies and frees use explicit work lists. */
#include <cstring>
#include <new>
#include <vector>

#include "base/kz_array.h"
#include "schema/kzs_internal.h"

using namespace kz::schema;

namespace {

void DropStrings(KzDict *dict, KzsExtInst *inst)
{
    DictDrop(dict, inst->modName);
    DictDrop(dict, inst->extName);
    DictDrop(dict, inst->argument);
}

bool FillStrings(KzDict *dict, KzsExtInst *dst, const KzsExtInst *src)
{
    if (DictPut(dict, dst->modName, src->modName) && DictPut(dict, dst->extName, src->extName) &&
        DictPut(dict, dst->argument, src->argument)) {
        return true;
    }
    DropStrings(dict, dst);
    return false;
}

struct CopyJob {
    KzsExtInst *dst;
    const KzsExtInst *src;
    uint16_t count;
};

} // namespace

extern "C" {

uint32_t KZS_EXT_FillExtInst(KzDict *dict, KzsExtInst *inst, const char *modName, const char *extName,
                             const char *argument)
{
    if (dict == nullptr || inst == nullptr || modName == nullptr || extName == nullptr) {
        return KZ_EINVAL;
    }
    KzsExtInst src{modName, extName, argument, 0, nullptr};
    inst->childCount = 0;
    inst->children = nullptr;
    return FillStrings(dict, inst, &src) ? KZ_OK : KZ_ENOMEM;
}

void KZS_EXT_ClearExtInst(KzDict *dict, KzsExtInst *inst)
{
    if (inst == nullptr) {
        return;
    }
    DropStrings(dict, inst);
    FreeArrayAndClear(dict, inst->children, inst->childCount, KZS_EXT_FreeExtInsts);
}

/* Each nested array is detached from its owner as it is met and queued, so
 * the whole tree is released with one flat list. */
void KZS_EXT_FreeExtInsts(KzDict *dict, KzsExtInst *insts, uint16_t count)
{
    if (insts == nullptr) {
        return;
    }
    struct Pending {
        KzsExtInst *arr;
        uint16_t count;
    };
    std::vector<Pending> work;
    Pending cur{insts, count};
    for (;;) {
        for (uint16_t i = 0; i < cur.count; ++i) {
            KzsExtInst *e = &cur.arr[i];
            DropStrings(dict, e);
            if (e->children != nullptr) {
                try {
                    work.push_back({e->children, e->childCount});
                } catch (const std::bad_alloc &) {
                    KZS_EXT_FreeExtInsts(dict, e->children, e->childCount); /* rare: fall back */
                }
                e->children = nullptr;
                e->childCount = 0;
            }
        }
        KZ_MemFree(cur.arr);
        if (work.empty()) {
            break;
        }
        cur = work.back();
        work.pop_back();
    }
}

KzsExtInst *KZS_EXT_CopyExtInsts(KzDict *dict, const KzsExtInst *src, uint16_t count)
{
    if (dict == nullptr || src == nullptr || count == 0) {
        return nullptr;
    }
    KzsExtInst *top = kz::ZeroAlloc<KzsExtInst>(count);
    if (top == nullptr) {
        return nullptr;
    }
    std::vector<CopyJob> work;
    try {
        work.push_back({top, src, count});
        while (!work.empty()) {
            CopyJob job = work.back();
            work.pop_back();
            for (uint16_t i = 0; i < job.count; ++i) {
                KzsExtInst *d = &job.dst[i];
                const KzsExtInst *s = &job.src[i];
                if (!FillStrings(dict, d, s)) {
                    throw std::bad_alloc();
                }
                if (s->childCount != 0 && s->children != nullptr) {
                    d->children = kz::ZeroAlloc<KzsExtInst>(s->childCount);
                    if (d->children == nullptr) {
                        throw std::bad_alloc();
                    }
                    d->childCount = s->childCount;
                    work.push_back({d->children, s->children, s->childCount});
                }
            }
        }
    } catch (const std::bad_alloc &) {
        /* Entries not reached yet are zero and release nothing. */
        KZS_EXT_FreeExtInsts(dict, top, count);
        return nullptr;
    }
    return top;
}

uint32_t KZS_EXT_UpdateExtInstChildInsts(KzDict *dict, KzsExtInst *dst, const KzsExtInst *src)
{
    if (dict == nullptr || dst == nullptr || src == nullptr) {
        return KZ_EINVAL;
    }
    KzsExtInst *children = nullptr;
    if (src->childCount != 0) {
        children = KZS_EXT_CopyExtInsts(dict, src->children, src->childCount);
        if (children == nullptr) {
            return KZ_ENOMEM;
        }
    }
    KZS_EXT_FreeExtInsts(dict, dst->children, dst->childCount);
    dst->children = children;
    dst->childCount = children != nullptr ? src->childCount : 0;
    return KZ_OK;
}

uint32_t KZS_EXT_CheckTwoExtInstSame(const KzsExtInst *a, const KzsExtInst *b)
{
    if (a == nullptr || b == nullptr) {
        return 0;
    }
    return (a->modName == b->modName && a->extName == b->extName && a->argument == b->argument) ? 1 : 0;
}

KzsExtInst *KZS_EXT_FindSameExtInstInArray(KzsExtInst *insts, uint16_t count, const KzsExtInst *inst)
{
    if (insts == nullptr || inst == nullptr) {
        return nullptr;
    }
    for (uint16_t i = 0; i < count; ++i) {
        if (KZS_EXT_CheckTwoExtInstSame(&insts[i], inst) != 0) {
            return &insts[i];
        }
    }
    return nullptr;
}

uint32_t KZS_EXT_AppendOneExtInstToArray(KzsExtInst **insts, uint16_t *count, const KzsExtInst *inst)
{
    if (insts == nullptr || count == nullptr || inst == nullptr) {
        return KZ_EINVAL;
    }
    if (*count == UINT16_MAX) {
        return KZ_EINVAL;
    }
    uint32_t ret = KZ_UTL_ExpandArray(reinterpret_cast<void **>(insts), *count, 1, sizeof(KzsExtInst));
    if (ret != KZ_OK) {
        return ret;
    }
    (*insts)[*count] = *inst;
    ++*count;
    return KZ_OK;
}

uint32_t KZS_EXT_MergeOneExtInstToArray(KzDict *dict, KzsExtInst **insts, uint16_t *count, const KzsExtInst *inst)
{
    if (dict == nullptr || insts == nullptr || count == nullptr || inst == nullptr) {
        return KZ_EINVAL;
    }
    if (KZS_EXT_FindSameExtInstInArray(*insts, *count, inst) != nullptr) {
        return KZ_OK;
    }
    KzsExtInst *copy = KZS_EXT_CopyExtInsts(dict, inst, 1);
    if (copy == nullptr) {
        return KZ_ENOMEM;
    }
    uint32_t ret = KZS_EXT_AppendOneExtInstToArray(insts, count, copy);
    if (ret != KZ_OK) {
        KZS_EXT_FreeExtInsts(dict, copy, 1);
        return ret;
    }
    KZ_MemFree(copy); /* its one entry now lives in the array */
    return KZ_OK;
}

uint32_t KZS_EXT_MergeExtInsts(KzDict *dict, KzsExtInst **insts, uint16_t *count, const KzsExtInst *src,
                               uint16_t srcCount)
{
    if (dict == nullptr || insts == nullptr || count == nullptr) {
        return KZ_EINVAL;
    }
    for (uint16_t i = 0; src != nullptr && i < srcCount; ++i) {
        uint32_t ret = KZS_EXT_MergeOneExtInstToArray(dict, insts, count, &src[i]);
        if (ret != KZ_OK) {
            return ret;
        }
    }
    return KZ_OK;
}

uint32_t KZS_EXT_SubtractExtInstArray(KzDict *dict, KzsExtInst **insts, uint16_t *count, uint16_t keep)
{
    if (dict == nullptr || insts == nullptr || count == nullptr) {
        return KZ_EINVAL;
    }
    uint16_t survivors = 0;
    for (uint16_t i = 0; *insts != nullptr && i < *count; ++i) {
        if ((*insts)[i].extName != nullptr) {
            ++survivors;
        }
    }
    if (survivors > keep) {
        return KZ_OK; /* the caller's figure is wrong: leave everything as it is */
    }
    KzsExtInst *fresh = nullptr;
    if (survivors != 0) {
        fresh = kz::ZeroAlloc<KzsExtInst>(survivors);
        if (fresh == nullptr) {
            return KZ_ENOMEM;
        }
        uint16_t n = 0;
        for (uint16_t i = 0; i < *count; ++i) {
            const KzsExtInst *e = &(*insts)[i];
            if (e->extName == nullptr) {
                continue;
            }
            KzsExtInst *c = KZS_EXT_CopyExtInsts(dict, e, 1);
            if (c == nullptr) {
                KZS_EXT_FreeExtInsts(dict, fresh, n); /* also releases the block */
                return KZ_ENOMEM;
            }
            fresh[n++] = *c;
            KZ_MemFree(c);
        }
    }
    KZS_EXT_FreeExtInsts(dict, *insts, *count);
    *insts = fresh;
    *count = survivors;
    return KZ_OK;
}

} // extern "C"
