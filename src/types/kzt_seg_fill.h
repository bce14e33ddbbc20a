/* Private fill helpers for the constraint bodies whose segments carry a name
 * and an optional explicit number (enumeration values, bit positions).
 * Not exported. */
#ifndef KZT_SEG_FILL_H
#define KZT_SEG_FILL_H

#include <cstdint>
#include <memory>
#include <utility>

#include "schema/kzs_ctx.h"
#include "base/kz_xml.h"
#include "types/kzt_cons.h"
#include "types/kzt_seg_util.h"

namespace kz::types {

/* First child element named `name` that carries a property value, or null. */
inline xmlNode *FindValuedChild(xmlNode *elem, const char *name)
{
    for (xmlNode *c = elem->children; c != nullptr; c = c->next) {
        if (c->type == XML_ELEMENT_NODE && ElemNameIs(c->name, name) &&
            KZ_XML_GetFirstPropertyValue(c) != nullptr) {
            return c;
        }
    }
    return nullptr;
}

/* One byte per segment: nonzero where the number was given explicitly. */
using ExplicitMarks = kz::MemPtr<uint8_t>;

/* Fills one named segment. When the element has a valued `numberChild`,
 * `readNumber(text, seg)` stores it (false: malformed or out of range) and the
 * segment's aux byte records that the number was explicit. The name is
 * interned last so a bad number leaves nothing to release. */
template <typename Seg, typename ReadNumber>
uint32_t FillOneNumberedSeg(KzCtx *ctx, void *seg, uint8_t *aux, xmlNode *elem, const char *numberChild,
                            ReadNumber readNumber)
{
    auto *s = static_cast<Seg *>(seg);
    const char *name = KZ_XML_GetFirstPropertyValue(elem);
    if (ctx == nullptr || s == nullptr || name == nullptr) {
        return KZ_EINVAL;
    }
    xmlNode *numElem = FindValuedChild(elem, numberChild);
    if (numElem != nullptr) {
        if (!readNumber(KZ_XML_GetFirstPropertyValue(numElem), s)) {
            return KZ_EINVAL;
        }
        if (aux != nullptr) {
            *aux = 1;
        }
    }
    s->name = KZ_DICT_Insert(&ctx->dict, name);
    return (s->name != nullptr) ? KZ_OK : KZ_ENOMEM;
}

/* Fills every segment of the numbered body held by `arg` and hands back the
 * body and which segments were numbered explicitly (empty for a body without
 * segments), so the caller can number the rest. */
template <typename Body, typename Seg>
uint32_t FillNumberedSegs(KzCtx *ctx, KzMod *mod, xmlNode *typeElem, KztConsFillArg *arg, uint32_t mark,
                          KztSegFillOneFunc fillOne, Body **bodyOut, ExplicitMarks *marksOut)
{
    if (ctx == nullptr || typeElem == nullptr || arg == nullptr || arg->entry == nullptr ||
        arg->entry->consData == nullptr) {
        return KZ_EINVAL;
    }
    auto *body = static_cast<Body *>(arg->entry->consData);
    *bodyOut = body;
    if (body->segCount == 0) {
        return KZ_OK;
    }
    ExplicitMarks marks(kz::ZeroAlloc<uint8_t>(body->segCount));
    if (!marks) {
        return KZ_ENOMEM;
    }
    KztSegFiller filler;
    KZT_LOADER_InitSegFiller(&filler, body->segCount, sizeof(Seg), mark, fillOne);
    filler.aux = marks.get();
    const uint32_t rc = KZT_LOADER_FillTypeConstraintSeg(ctx, mod, body->segs, typeElem, &filler);
    if (rc == KZ_OK) {
        *marksOut = std::move(marks);
    }
    return rc;
}

} // namespace kz::types

#endif /* KZT_SEG_FILL_H */
