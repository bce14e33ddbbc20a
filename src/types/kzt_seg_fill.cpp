// The generic segment filler of constraint bodies, and the derived-type
// reference, which every constraint kind's YIN filler builds on.
#include <cstdint>
#include <cstring>

#include "base/kz_scan.h"
#include "base/kz_xml.h"
#include "schema/kzs_ctx.h"
#include "schema/kzs_mod.h"
#include "types/kzt_cons.h"
#include "types/kzt_type.h"
#include "base/kz_kit.h"

namespace {

inline uint64_t PrivMark(const xmlNode *node)
{
    return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(node->_private));
}

// Names of a prefix or typedef are bounded like every other identifier step.

} // namespace

extern "C" {

/* ---- Generic segment filler ------------------------------------------------- */

void KZT_LOADER_InitSegFiller(KztSegFiller *filler, uint16_t count, uint32_t segSize, uint32_t mark,
                              KztSegFillOneFunc fillOne)
{
    if (filler == nullptr) {
        return;
    }
    filler->count = count;
    filler->segSize = segSize;
    filler->mark = mark;
    filler->fillOne = fillOne;
    filler->aux = nullptr;
}

uint32_t KZT_LOADER_FillTypeConstraintSeg(KzCtx *ctx, KzMod *mod, void *segs, xmlNode *typeElem,
                                          const KztSegFiller *filler)
{
    if (typeElem == nullptr || filler == nullptr || filler->fillOne == nullptr) {
        return KZ_EINVAL;
    }
    if (filler->count != 0 && segs == nullptr) {
        return KZ_EINVAL;
    }
    uint16_t filled = 0;
    for (xmlNode *child = typeElem->children; child != nullptr && filled < filler->count; child = child->next) {
        if (child->type != XML_ELEMENT_NODE || (PrivMark(child) & filler->mark) == 0) {
            continue;
        }
        void *seg = static_cast<uint8_t *>(segs) + static_cast<size_t>(filled) * filler->segSize;
        uint8_t *aux = filler->aux != nullptr ? &filler->aux[filled] : nullptr;
        uint32_t ret = filler->fillOne(ctx, mod, seg, aux, child);
        if (ret != KZ_OK) {
            return ret;
        }
        ++filled;
    }
    return KZ_OK;
}

/* ---- Derived reference ------------------------------------------------------------ */

uint32_t KZT_LOADER_FillConsDataAndAllDerivedSeg(KzCtx *ctx, KzMod *mod, xmlNode *typeElem, KztConsFillArg *arg)
{
    if (ctx == nullptr || mod == nullptr || typeElem == nullptr || arg == nullptr || arg->entry == nullptr) {
        return KZ_EINVAL;
    }
    auto *body = static_cast<KztConsDataDerived *>(arg->entry->consData);
    const char *name = KZ_XML_GetFirstPropertyValue(typeElem);
    if (body == nullptr || name == nullptr) {
        return KZ_EINVAL;
    }
    char prefix[kz::kNameBufSize];
    char local[kz::kNameBufSize];
    uint32_t ret = KZ_UTL_GetXPathNextPrefixAndNode(name, prefix, kz::kNameBufSize, local, kz::kNameBufSize);
    if (ret != KZ_OK) {
        return ret;
    }
    const char *modName = prefix[0] != '\0' ? KZS_MOD_GetModuleNameByPrefix(mod, prefix) : mod->name;
    if (modName == nullptr) {
        return KZ_EINVAL;
    }
    return KZT_CONS_FillConsDataDerived(&ctx->dict, body, modName, local);
}

} // extern "C"
