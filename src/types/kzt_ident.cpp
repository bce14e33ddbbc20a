/* Identityref constraint: identity bases, the value split into module and
 * identity names (XML or module:name text), and the derivation check. */
#include <cstring>
#include <unordered_map>

#include "schema/kzs_ctx.h"
#include "schema/kzs_diag.h"
#include "base/kz_scan.h"
#include "base/kz_xml.h"
#include "schema/kzs_mod.h"
#include "types/kzt_cons.h"
#include "types/kzt_seg_util.h"
#include "base/kz_kit.h"

namespace {

constexpr size_t kXmlPrefixMax = 1024; /* longest prefix taken from a value */
constexpr size_t kIdentNameBuf = 1025;
constexpr uint32_t kIdentDepthMax = 128;

uint32_t CopyPart(char *dst, size_t dstSize, const char *src, size_t len)
{
    if (dst == nullptr || len >= dstSize) {
        return KZ_EINVAL;
    }
    std::memcpy(dst, src, len);
    dst[len] = '\0';
    return KZ_OK;
}

/* Walks the base links of identities upwards looking for one base.  An
 * identity that already failed at some depth fails again at any depth not
 * smaller, so it is not walked twice: diamond-shaped hierarchies stay
 * linear instead of exploding. */
class IdentWalker {
public:
    IdentWalker(KzCtx *ctx, const KztSegBase *base) : ctx_(ctx), base_(base) {}

    bool Derives(const char *modName, const char *identName, const KzsIdentity *ident, uint32_t depth)
    {
        if (depth > kIdentDepthMax) {
            return false;
        }
        /* The base itself is accepted as well as anything derived from it. */
        if (std::strcmp(modName, base_->modName) == 0 && std::strcmp(identName, base_->identName) == 0) {
            return true;
        }
        auto it = failedAt_.find(ident);
        if (it != failedAt_.end() && it->second <= depth) {
            return false;
        }
        for (uint16_t i = 0; i < ident->baseCount; ++i) {
            const KzsIdentBase &b = ident->bases[i];
            if (b.modName == nullptr || b.identName == nullptr) {
                continue;
            }
            const KzsIdentity *parent = KZ_CTX_FindIdentityByModNameAndIdentName(ctx_, b.modName, b.identName);
            if (parent != nullptr && Derives(b.modName, b.identName, parent, depth + 1)) {
                return true;
            }
        }
        failedAt_[ident] = depth;
        return false;
    }

private:
    KzCtx *ctx_;
    const KztSegBase *base_;
    std::unordered_map<const KzsIdentity *, uint32_t> failedAt_;
};

} // namespace

extern "C" {

void *KZT_CONS_CreateConsDataBodyWithBase(uint16_t segCount)
{
    return kz::types::NewSegBody<KztConsDataBase, KztSegBase>(segCount);
}

void KZT_CONS_DestroyConsDataBodyWithBase(KzDict *dict, void *body)
{
    kz::types::DestroySegBody<KztConsDataBase>(dict, body, [](KzDict *d, KztSegBase &seg) {
        kz::base::DictDrop(d, seg.modName);
        kz::base::DictDrop(d, seg.identName);
    });
}

void *KZT_CONS_CopyConsDataBodyWithBase(KzDict *dict, const void *src)
{
    return kz::types::CopySegBody<KztConsDataBase, KztSegBase>(
        dict, src, KZT_CONS_DestroyConsDataBodyWithBase, [](KzDict *d, KztSegBase &to, const KztSegBase &from) {
            return kz::base::DictPut(d, to.modName, from.modName) && kz::base::DictPut(d, to.identName, from.identName);
        });
}

uint32_t KZT_LOADER_FillOneConsSegBase(KzCtx *ctx, KzMod *mod, void *seg, uint8_t *aux, xmlNode *elem)
{
    (void)aux;
    auto *s = static_cast<KztSegBase *>(seg);
    if (ctx == nullptr || mod == nullptr || s == nullptr || elem == nullptr) {
        return KZ_EINVAL;
    }
    const char *value = KZ_XML_GetFirstPropertyValue(elem);
    if (value == nullptr) {
        KZ_CTX_AddModError(ctx, mod->name, "Failed to get value of statement \"%s\".", "base");
        return KZ_EINVAL;
    }
    char prefix[kz::kNameBufSize];
    char name[kz::kNameBufSize];
    if (KZ_UTL_GetXPathNextPrefixAndNode(value, prefix, sizeof(prefix), name, sizeof(name)) != KZ_OK) {
        return KZ_EINVAL;
    }
    const char *modName = (prefix[0] != '\0') ? KZS_MOD_GetModuleNameByPrefix(mod, prefix) : mod->name;
    if (modName == nullptr) {
        return KZ_EINVAL;
    }
    s->modName = KZ_DICT_Insert(&ctx->dict, modName);
    if (s->modName == nullptr) {
        return KZ_ENOMEM;
    }
    s->identName = KZ_DICT_Insert(&ctx->dict, name);
    return (s->identName != nullptr) ? KZ_OK : KZ_ENOMEM;
}

uint32_t KZT_LOADER_FillConsDataAndAllBaseSeg(KzCtx *ctx, KzMod *mod, xmlNode *typeElem, KztConsFillArg *arg)
{
    if (ctx == nullptr || typeElem == nullptr || arg == nullptr || arg->entry == nullptr ||
        arg->entry->consData == nullptr) {
        return KZ_EINVAL;
    }
    auto *body = static_cast<KztConsDataBase *>(arg->entry->consData);
    KztSegFiller filler;
    KZT_LOADER_InitSegFiller(&filler, body->segCount, sizeof(KztSegBase), KZT_MARK_BASE,
                             KZT_LOADER_FillOneConsSegBase);
    return KZT_LOADER_FillTypeConstraintSeg(ctx, mod, body->segs, typeElem, &filler);
}

const char *KZT_CONS_GetIdentLeafXmlNsHref(xmlNode *node, const char *prefix)
{
    if (node == nullptr) {
        return nullptr;
    }
    xmlNs *ns = xmlSearchNs(node->doc, node, reinterpret_cast<const xmlChar *>(prefix));
    if (ns == nullptr && prefix == nullptr) {
        /* No default namespace in scope: the element's own one. */
        return KZ_XML_GetXmlNodeDefaultNs(node);
    }
    return (ns != nullptr) ? reinterpret_cast<const char *>(ns->href) : nullptr;
}

uint32_t KZT_CONS_GetLeafXmlNodeAsIdentModAndName(KzCtx *ctx, xmlNode *node, char *modName, size_t modSize,
                                                  char *identName, size_t identSize)
{
    const char *text = KZ_XML_GetElemNodeContent(node);
    if (ctx == nullptr || text == nullptr) {
        return KZ_EINVAL;
    }
    const char *colon = std::strchr(text, ':');
    const char *href = nullptr;
    const char *ident = text;
    if (colon != nullptr) {
        char prefix[kXmlPrefixMax + 1];
        if (CopyPart(prefix, sizeof(prefix), text, static_cast<size_t>(colon - text)) != KZ_OK) {
            return KZ_EINVAL;
        }
        href = KZT_CONS_GetIdentLeafXmlNsHref(node, prefix);
        ident = colon + 1;
    } else {
        href = KZT_CONS_GetIdentLeafXmlNsHref(node, nullptr);
    }
    if (href == nullptr || ident[0] == '\0') {
        return KZ_EINVAL;
    }
    const KzMod *mod = KZ_CTX_GetModuleByModNs(ctx, href);
    if (mod == nullptr || mod->name == nullptr) {
        return KZ_EINVAL;
    }
    if (CopyPart(modName, modSize, mod->name, std::strlen(mod->name)) != KZ_OK || std::strlen(mod->name) >= kz::kNameBufSize) {
        return KZ_EINVAL;
    }
    return CopyPart(identName, identSize, ident, std::strlen(ident));
}

uint32_t KZT_CONS_GetLeafJsonStrAsIdentModAndName(const char *value, char *modName, size_t modSize,
                                                  char *identName, size_t identSize)
{
    if (value == nullptr) {
        return KZ_EINVAL;
    }
    const char *colon = std::strchr(value, ':');
    if (colon == nullptr || colon[1] == '\0') {
        return KZ_EINVAL;
    }
    const size_t modLen = static_cast<size_t>(colon - value);
    if (modLen >= kz::kNameBufSize || CopyPart(modName, modSize, value, modLen) != KZ_OK) {
        return KZ_EINVAL;
    }
    return CopyPart(identName, identSize, colon + 1, std::strlen(colon + 1));
}

uint32_t KZT_CONS_GetInputValAsIdentModAndName(KzCtx *ctx, uint32_t inputKind, const void *input, char *modName,
                                               size_t modSize, char *identName, size_t identSize)
{
    if (input == nullptr || modName == nullptr || identName == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t rc = KZ_EINVAL;
    if (inputKind == KZ_VAL_INPUT_XMLNODE) {
        rc = KZT_CONS_GetLeafXmlNodeAsIdentModAndName(ctx, static_cast<xmlNode *>(const_cast<void *>(input)), modName,
                                                      modSize, identName, identSize);
    } else if (inputKind == KZ_VAL_INPUT_STRING) {
        rc = KZT_CONS_GetLeafJsonStrAsIdentModAndName(static_cast<const char *>(input), modName, modSize, identName,
                                                      identSize);
    }
    if (rc == KZ_OK && modName[0] == '\0') {
        rc = KZ_EINVAL;
    }
    return rc;
}

uint32_t KZT_CONS_CheckInputIdentMatchWithSegBase(KzCtx *ctx, const char *modName, const char *identName,
                                                  const KztSegBase *base)
{
    if (ctx == nullptr || modName == nullptr || identName == nullptr || base == nullptr ||
        base->modName == nullptr || base->identName == nullptr) {
        return KZ_EINVAL;
    }
    const KzsIdentity *ident = KZ_CTX_FindIdentityByModNameAndIdentName(ctx, modName, identName);
    if (ident == nullptr) {
        return KZ_EINVAL;
    }
    IdentWalker walker(ctx, base);
    return walker.Derives(modName, identName, ident, 0) ? KZ_OK : KZ_EINVAL;
}

uint32_t KZT_CONS_ValidateValueNodeAgainstDataBase(void *body, uint32_t inputKind, const void *input,
                                                   KztValCheckCtx *chk)
{
    const auto *b = static_cast<const KztConsDataBase *>(body);
    if (b == nullptr || chk == nullptr || b->segCount == 0) {
        return KZ_VAL_ERR_IDENTREF;
    }
    char modName[kz::kNameBufSize];
    char identName[kIdentNameBuf];
    if (KZT_CONS_GetInputValAsIdentModAndName(chk->ctx, inputKind, input, modName, sizeof(modName), identName,
                                              sizeof(identName)) != KZ_OK) {
        return KZ_VAL_ERR_IDENTREF;
    }
    /* Any one base suffices. */
    for (uint16_t i = 0; i < b->segCount; ++i) {
        if (KZT_CONS_CheckInputIdentMatchWithSegBase(chk->ctx, modName, identName, &b->segs[i]) == KZ_OK) {
            return KZ_OK;
        }
    }
    return KZ_VAL_ERR_IDENTREF;
}

} // extern "C"
