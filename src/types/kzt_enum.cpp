/* Enumeration constraint: body, fill with numbering and descriptions, check
 * and name/value scan. */
#include <cstring>
#include <memory>
#include <string>

#include "schema/kzs_ctx.h"
#include "base/kz_scan.h"
#include "base/kz_xml.h"
#include "types/kzt_cons.h"
#include "types/kzt_seg_fill.h"
#include "types/kzt_seg_util.h"

namespace {

/* Explicit values are limited to one less than the int32 extremes. */
constexpr int64_t kEnumValueMax = 2147483646;
constexpr int64_t kEnumValueMin = -2147483647;

xmlNode *FindChild(xmlNode *elem, const char *name)
{
    for (xmlNode *c = elem->children; c != nullptr; c = c->next) {
        if (c->type == XML_ELEMENT_NODE && kz::types::ElemNameIs(c->name, name)) {
            return c;
        }
    }
    return nullptr;
}

xmlNode *FirstChildElement(xmlNode *elem)
{
    for (xmlNode *c = elem->children; c != nullptr; c = c->next) {
        if (c->type == XML_ELEMENT_NODE) {
            return c;
        }
    }
    return nullptr;
}

void ReleaseDescs(KzDict *dict, const char **descs, uint16_t count)
{
    if (descs == nullptr) {
        return;
    }
    for (uint16_t i = 0; i < count; ++i) {
        if (descs[i] != nullptr) {
            KZ_DICT_Remove(dict, descs[i]);
        }
    }
    KZ_MemFree(descs);
}

/* Keeps the first sentence of each enum's description, in enum order. */
uint32_t FillEnumDescs(KzCtx *ctx, KztConsDataEnum *body, xmlNode *typeElem)
{
    const char **descs = kz::ZeroAlloc<const char *>(body->segCount);
    if (descs == nullptr) {
        return KZ_ENOMEM;
    }
    uint16_t idx = 0;
    for (xmlNode *c = typeElem->children; c != nullptr && idx < body->segCount; c = c->next) {
        if (c->type != XML_ELEMENT_NODE || (kz::types::ElemMarks(c->_private) & KZT_MARK_ENUM) == 0) {
            continue;
        }
        const uint16_t i = idx++;
        xmlNode *desc = FindChild(c, "description");
        if (desc == nullptr) {
            continue;
        }
        xmlNode *textElem = FirstChildElement(desc);
        const char *text = (textElem != nullptr) ? KZ_XML_GetElemNodeContent(textElem) : nullptr;
        if (text == nullptr) {
            ReleaseDescs(&ctx->dict, descs, body->segCount);
            return KZ_ENOMEM;
        }
        const char *dot = std::strchr(text, '.');
        const size_t len = (dot != nullptr) ? static_cast<size_t>(dot - text) : std::strlen(text);
        if (len == 0) {
            continue;
        }
        const std::string first(text, len);
        descs[i] = KZ_DICT_Insert(&ctx->dict, first.c_str());
        if (descs[i] == nullptr) {
            ReleaseDescs(&ctx->dict, descs, body->segCount);
            return KZ_ENOMEM;
        }
    }
    body->descs = descs;
    return KZ_OK;
}

} // namespace

extern "C" {

void *KZT_CONS_CreateConsDataBodyWithEnum(uint16_t segCount)
{
    return kz::types::NewSegBody<KztConsDataEnum, KztSegEnum>(segCount);
}

void KZT_CONS_DestroyConsDataBodyWithEnum(KzDict *dict, void *body)
{
    auto *e = static_cast<KztConsDataEnum *>(body);
    if (e != nullptr) {
        ReleaseDescs(dict, e->descs, e->segCount);
    }
    kz::types::DestroySegBody<KztConsDataEnum>(dict, body,
                                         [](KzDict *d, KztSegEnum &seg) { kz::base::DictDrop(d, seg.name); });
}

void *KZT_CONS_CopyConsDataBodyWithEnum(KzDict *dict, const void *src)
{
    auto *d = kz::types::CopySegBody<KztConsDataEnum, KztSegEnum>(
        dict, src, KZT_CONS_DestroyConsDataBodyWithEnum,
        [](KzDict *strings, KztSegEnum &to, const KztSegEnum &from) {
            to.value = from.value;
            return kz::base::DictPut(strings, to.name, from.name);
        });
    const auto *s = static_cast<const KztConsDataEnum *>(src);
    if (d == nullptr || s->descs == nullptr || s->segCount == 0) {
        return d;
    }
    d->descs = kz::ZeroAlloc<const char *>(s->segCount);
    bool ok = d->descs != nullptr;
    for (uint16_t i = 0; ok && i < s->segCount; ++i) {
        ok = kz::base::DictPut(dict, d->descs[i], s->descs[i]);
    }
    if (!ok) {
        KZT_CONS_DestroyConsDataBodyWithEnum(dict, d);
        return nullptr;
    }
    return d;
}

uint32_t KZT_LOADER_FillOneConsSegEnum(KzCtx *ctx, KzMod *mod, void *seg, uint8_t *aux, xmlNode *elem)
{
    (void)mod;
    return kz::types::FillOneNumberedSeg<KztSegEnum>(ctx, seg, aux, elem, "value", [](const char *text, KztSegEnum *s) {
        int64_t v = 0;
        if (KZ_UTL_ReadInputStrAsSignedInteger(text, nullptr, 0, &v) != KZ_OK || v > kEnumValueMax ||
            v < kEnumValueMin) {
            return false;
        }
        s->value = static_cast<int32_t>(v);
        return true;
    });
}

uint32_t KZT_LOADER_FillConsDataAndAllEnumSeg(KzCtx *ctx, KzMod *mod, xmlNode *typeElem, KztConsFillArg *arg)
{
    KztConsDataEnum *body = nullptr;
    kz::types::ExplicitMarks explicitVal;
    uint32_t rc = kz::types::FillNumberedSegs<KztConsDataEnum, KztSegEnum>(
        ctx, mod, typeElem, arg, KZT_MARK_ENUM, KZT_LOADER_FillOneConsSegEnum, &body, &explicitVal);
    if (rc != KZ_OK || body->segCount == 0) {
        return rc;
    }
    if ((ctx->flags & KZ_CTX_OPT_KEEP_DESCRIPTION) != 0) {
        rc = FillEnumDescs(ctx, body, typeElem);
        if (rc != KZ_OK) {
            return rc;
        }
    }
    /* Implicit values continue after the highest value seen so far. */
    int64_t next = 0;
    for (uint16_t i = 0; i < body->segCount; ++i) {
        if (explicitVal.get()[i] == 0) {
            if (next > INT32_MAX) {
                return KZ_EINVAL;
            }
            body->segs[i].value = static_cast<int32_t>(next++);
        } else if (body->segs[i].value >= next) {
            next = static_cast<int64_t>(body->segs[i].value) + 1;
        }
    }
    return KZ_OK;
}

uint32_t KZT_CONS_ValidateValueNodeAgainstDataEnum(void *body, uint32_t inputKind, const void *input,
                                                   KztValCheckCtx *chk)
{
    (void)chk;
    const auto *e = static_cast<const KztConsDataEnum *>(body);
    const char *value = KZT_TYPE_GetInputValueAsSimpleStr(inputKind, input);
    if (e == nullptr || value == nullptr) {
        return KZ_VAL_ERR_ENUM;
    }
    for (uint16_t i = 0; i < e->segCount; ++i) {
        if (e->segs[i].name != nullptr && std::strcmp(e->segs[i].name, value) == 0) {
            return KZ_OK;
        }
    }
    return KZ_VAL_ERR_ENUM;
}

uint32_t KZT_CONS_ScanNameValuePairsWithEnum(const void *body, KzTypeNameValueCb cb, void *arg)
{
    const auto *e = static_cast<const KztConsDataEnum *>(body);
    if (e == nullptr || cb == nullptr) {
        return KZ_EINVAL;
    }
    for (uint16_t i = 0; i < e->segCount; ++i) {
        const char *desc = (e->descs != nullptr) ? e->descs[i] : nullptr;
        const uint32_t rc = cb(e->segs[i].name, e->segs[i].value, desc, arg);
        if (rc != 0) {
            return rc;
        }
    }
    return KZ_OK;
}

} // extern "C"
