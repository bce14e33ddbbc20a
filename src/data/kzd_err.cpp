/* Validation error records: construction, first-value-wins setters, error paths, accessors. */
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "data/kzd_internal.h"
#include "base/kz_xml.h"
#include "base/kz_kit.h"

using namespace kz::data;

namespace {

/* Builds the path backwards into a fixed buffer whose last byte is the terminator. */
class BackwardPath {
public:
    bool prepend(const std::string &piece)
    {
        if (piece.size() > pos_) {
            return false;
        }
        pos_ -= piece.size();
        memcpy(buf_ + pos_, piece.data(), piece.size());
        return true;
    }
    const char *text() const { return buf_ + pos_; }

private:
    char buf_[KZD_ERR_MAX_TEXT] = {};
    size_t pos_ = KZD_ERR_MAX_TEXT - 1;
};

const char *TextOrEmpty(const xmlNode *element)
{
    const char *text = KZ_XML_GetElemNodeContent(element);
    return text != nullptr ? text : "";
}

std::string Quoted(const char *value)
{
    char q = KZD_ERR_GetValueBoundaryQuota(value);
    return std::string(1, q) + value + q;
}

} // namespace

void kz::data::SetErrMsgV(KzdErrNode *err, const char *format, va_list ap)
{
    if (err == nullptr || format == nullptr || err->message != nullptr) {
        return;
    }
    char buf[KZD_ERR_MAX_TEXT + 1];
    int n = vsnprintf(buf, sizeof buf, format, ap);
    if (n <= 0) {
        return;
    }
    err->message = kz::DupText(buf);
}

uint32_t kz::data::Report(KzdCheckAux *aux, uint32_t tag, xmlNode *element, const char *badElement, const char *format, ...)
{
    if (aux->err == nullptr) {
        aux->err = KZD_ERR_NewErrNode(aux, KZ_ERR_TYPE_APPLICATION, KZ_ERR_SEVERITY_ERROR, tag, element);
    }
    va_list ap;
    va_start(ap, format);
    SetErrMsgV(aux->err, format, ap);
    va_end(ap);
    KZD_ERR_SetBadElement(aux->err, badElement);
    return KZ_EINVAL;
}

extern "C" {

KZ_API char KZD_ERR_GetValueBoundaryQuota(const char *value)
{
    return (value != nullptr && strchr(value, '\'') != nullptr) ? '"' : '\'';
}

KZ_API char *KZD_ERR_GeneralErrorPath(KzdCheckAux *aux, xmlNode *element)
{
    BackwardPath path;
    for (xmlNode *e = element; e != nullptr && e != aux->root && e->type == XML_ELEMENT_NODE; e = e->parent) {
        const KzsNode *schema = SchemaOf(e);
        if (schema != nullptr && schema->kind == KZS_NODE_LEAFLIST &&
            !path.prepend("[.=" + Quoted(TextOrEmpty(e)) + "]")) {
            return nullptr;
        }
        for (xmlNode *c = e->children; c != nullptr; c = c->next) {
            if (c->type == XML_ELEMENT_NODE && KZD_NODE_IsKeyLeafNode(c) &&
                !path.prepend("[" + std::string(reinterpret_cast<const char *>(c->name)) + "=" +
                              Quoted(TextOrEmpty(c)) + "]")) {
                return nullptr;
            }
        }
        const char *mod = KZD_NODE_GetModuleName(aux->ctx, e);
        bool top = e->parent == nullptr || e->parent == aux->root || e->parent->type != XML_ELEMENT_NODE;
        std::string step = "/";
        if (mod != nullptr && (top || !kz::SameText(mod, KZD_NODE_GetModuleName(aux->ctx, e->parent)))) {
            step += std::string(mod) + ":";
        }
        step += reinterpret_cast<const char *>(e->name);
        if (!path.prepend(step)) {
            return nullptr;
        }
    }
    return kz::DupText(path.text());
}

KZ_API KzdErrNode *KZD_ERR_NewErrNode(KzdCheckAux *aux, uint32_t type, uint32_t severity, uint32_t tag,
                                      xmlNode *element)
{
    auto *err = kz::ZeroAlloc<KzdErrNode>();
    if (err == nullptr) {
        return nullptr;
    }
    err->errorType = type;
    err->severity = severity;
    err->tag = tag;
    err->path = element != nullptr ? KZD_ERR_GeneralErrorPath(aux, element) : kz::DupText("/");
    return err;
}

KZ_API void KZD_ERR_SetErrorMsg(KzdErrNode *err, const char *format, ...)
{
    va_list ap;
    va_start(ap, format);
    SetErrMsgV(err, format, ap);
    va_end(ap);
}

KZ_API void KZD_ERR_SetErrorAppTag(KzdErrNode *err, const char *text)
{
    if (err != nullptr && err->appTag == nullptr) {
        err->appTag = kz::DupText(text);
    }
}

KZ_API void KZD_ERR_SetBadElement(KzdErrNode *err, const char *text)
{
    if (err != nullptr && err->badElement == nullptr) {
        err->badElement = kz::DupText(text);
    }
}

KZ_API uint32_t KZ_GetErrorType(const KzdErrNode *err)
{
    return err != nullptr ? err->errorType : 0;
}

KZ_API uint32_t KZ_GetErrorSeverity(const KzdErrNode *err)
{
    return err != nullptr ? err->severity : 0;
}

KZ_API uint32_t KZ_GetErrorTag(const KzdErrNode *err)
{
    return err != nullptr ? err->tag : 0;
}

KZ_API const char *KZ_GetErrorAppTag(const KzdErrNode *err)
{
    return err != nullptr ? err->appTag : nullptr;
}

KZ_API const char *KZ_GetErrorMessage(const KzdErrNode *err)
{
    return err != nullptr ? err->message : nullptr;
}

KZ_API const char *KZ_GetErrorPath(const KzdErrNode *err)
{
    return err != nullptr ? err->path : nullptr;
}

KZ_API const char *KZ_GetBadElement(const KzdErrNode *err)
{
    return err != nullptr ? err->badElement : nullptr;
}

KZ_API const char *KZ_GetBadAttribute(const KzdErrNode *err)
{
    return err != nullptr ? err->badAttribute : nullptr;
}

KZ_API void KZ_FreeErrNode(KzdErrNode *err)
{
    if (err == nullptr) {
        return;
    }
    KZ_MemFree(err->appTag);
    KZ_MemFree(err->path);
    KZ_MemFree(err->message);
    KZ_MemFree(err->badElement);
    KZ_MemFree(err->badAttribute);
    KZ_MemFree(err);
}

} // extern "C"
