/* Pattern constraint: XML Schema regular expressions, compiled once when the
 * constraint is filled or copied and shared by every check afterwards.
 *
 * Sharing is safe: xmlRegexpExec keeps all matching state in a context on
 * its own stack and only reads the compiled automaton, and the ASCII matcher
 * is read-only too, so any number of threads may check values against one
 * constraint at once (exercised by the concurrent value-check tests). */
#include <cstring>
#include <string>

#include "schema/kzs_ctx.h"
#include "base/kz_ascii_regex.h"
#include "base/kz_xml.h"
#include "types/kzt_cons.h"
#include "types/kzt_seg_util.h"

#include <libxml/xmlregexp.h>

namespace {

/* Compiles pattern for libxml2 and, where it applies, for the ASCII matcher. The ASCII
 * matcher is only built beside a libxml2 expression: a pattern libxml2 refuses matches nothing. */
void Compile(KztSegPattern &seg)
{
    seg.regexp = kz::base::CompileRegexpQuietly(seg.pattern);
    seg.ascii = seg.regexp != nullptr ? kz::base::AsciiRegex::Compile(seg.pattern).release() : nullptr;
}

bool Matches(const KztSegPattern &seg, const char *value)
{
    if (seg.ascii != nullptr) {
        const auto result = seg.ascii->Match(value);
        if (result != kz::base::AsciiRegex::Result::kNotAscii) {
            return result == kz::base::AsciiRegex::Result::kMatch;
        }
    }
    return seg.regexp != nullptr && xmlRegexpExec(seg.regexp, reinterpret_cast<const xmlChar *>(value)) == 1;
}

bool HasChildNamed(const xmlNode *elem, const char *name)
{
    for (const xmlNode *c = elem->children; c != nullptr; c = c->next) {
        if (c->type == XML_ELEMENT_NODE && kz::types::ElemNameIs(c->name, name)) {
            return true;
        }
    }
    return false;
}

} // namespace

extern "C" {

void *KZT_CONS_CreateConsDataBodyWithPattern(uint16_t segCount)
{
    return kz::types::NewSegBody<KztConsDataPattern, KztSegPattern>(segCount);
}

void KZT_CONS_DestroyConsDataBodyWithPattern(KzDict *dict, void *body)
{
    kz::types::DestroySegBody<KztConsDataPattern>(dict, body, [](KzDict *d, KztSegPattern &seg) {
        if (seg.regexp != nullptr) {
            xmlRegFreeRegexp(seg.regexp);
        }
        delete seg.ascii;
        kz::base::DictDrop(d, seg.pattern);
    });
}

void *KZT_CONS_CopyConsDataBodyWithPattern(KzDict *dict, const void *src)
{
    return kz::types::CopySegBody<KztConsDataPattern, KztSegPattern>(
        dict, src, KZT_CONS_DestroyConsDataBodyWithPattern,
        [](KzDict *d, KztSegPattern &to, const KztSegPattern &from) {
            to.invertMatch = from.invertMatch;
            if (!kz::base::DictPut(d, to.pattern, from.pattern)) {
                return false;
            }
            /* libxml2 has no copy of a compiled expression: compile it again. */
            Compile(to);
            return true;
        });
}

uint32_t KZT_LOADER_FillOneConsSegPattern(KzCtx *ctx, KzMod *mod, void *seg, uint8_t *aux, xmlNode *elem)
{
    (void)mod;
    (void)aux;
    auto *s = static_cast<KztSegPattern *>(seg);
    const char *expr = KZ_XML_GetFirstPropertyValue(elem);
    if (ctx == nullptr || s == nullptr || expr == nullptr) {
        return KZ_EINVAL;
    }
    /* Patterns always match the whole value, so explicit anchors are noise. */
    const size_t len = std::strlen(expr);
    if (len >= 2 && expr[0] == '^' && expr[len - 1] == '$') {
        const std::string bare(expr + 1, len - 2);
        s->pattern = KZ_DICT_Insert(&ctx->dict, bare.c_str());
    } else {
        s->pattern = KZ_DICT_Insert(&ctx->dict, expr);
    }
    if (s->pattern == nullptr) {
        return KZ_ENOMEM;
    }
    /* Any modifier inverts: "invert-match" is the only one defined. */
    s->invertMatch = HasChildNamed(elem, "modifier") ? 1u : 0u;
    /* A pattern that does not compile matches nothing, exactly as when it is
     * compiled again for every value. */
    Compile(*s);
    return KZ_OK;
}

uint32_t KZT_LOADER_FillConsDataAndAllPatternSeg(KzCtx *ctx, KzMod *mod, xmlNode *typeElem, KztConsFillArg *arg)
{
    if (ctx == nullptr || typeElem == nullptr || arg == nullptr || arg->entry == nullptr ||
        arg->entry->consData == nullptr) {
        return KZ_EINVAL;
    }
    auto *body = static_cast<KztConsDataPattern *>(arg->entry->consData);
    KztSegFiller filler;
    KZT_LOADER_InitSegFiller(&filler, body->segCount, sizeof(KztSegPattern), KZT_MARK_PATTERN,
                             KZT_LOADER_FillOneConsSegPattern);
    return KZT_LOADER_FillTypeConstraintSeg(ctx, mod, body->segs, typeElem, &filler);
}

uint32_t KZT_CONS_ValidateValueNodeAgainstDataPattern(void *body, uint32_t inputKind, const void *input,
                                                      KztValCheckCtx *chk)
{
    (void)chk;
    const auto *p = static_cast<const KztConsDataPattern *>(body);
    const char *value = KZT_TYPE_GetInputValueAsSimpleStr(inputKind, input);
    if (p == nullptr || value == nullptr) {
        return KZ_VAL_ERR_PATTERN;
    }
    for (uint16_t i = 0; i < p->segCount; ++i) {
        const KztSegPattern &seg = p->segs[i];
        if (Matches(seg, value) == (seg.invertMatch != 0)) {
            return KZ_VAL_ERR_PATTERN;
        }
    }
    return KZ_OK;
}

} // extern "C"
