/* A loaded module's source written back as YANG or YIN text.  The parsed
 * document is not kept with the module (it would cost far more than the
 * schema built from it): the file the module was read from is read again. */
#include <new>

#include "loader/kzs_loader.h"
#include "base/kz_guard.h"
#include "base/kz_xml.h"
#include "yang/kz_yang_write.h"
#include "base/kz_kit.h"

namespace {

/* Extension definitions of the modules loaded in the context. */
kz::yang::ExtensionArgLookup ContextExtensions(KzCtx *ctx)
{
    return [ctx](const char *nsUri, const char *name, kz::yang::ExtensionArgForm *form) {
        const KzsExtension *ext = KZS_MOD_FindExtensionByName(KZ_CTX_GetModuleByModNs(ctx, nsUri), name);
        if (ext == nullptr) {
            return false;
        }
        form->argName = ext->argName != nullptr ? ext->argName : "";
        form->yinElement = ext->yinElement != 0;
        return true;
    };
}

uint32_t PrintSource(KzCtx *ctx, const KzMod *mod, uint32_t format, KzPrintOutputCb output, void *arg)
{
    /* A module merged from several files has no one source document. */
    if (mod->srcPath == nullptr || mod->mrgSrcCount > 1) {
        return KZ_ENOENT;
    }
    /* No module named: a fault is not recorded against the loaded module. */
    kz::XmlDocPtr doc(KZS_LOADER_ReadModuleFileToXmlDoc(ctx, mod->srcPath, nullptr, nullptr));
    if (doc == nullptr) {
        return KZ_EINVAL;
    }
    if (format == KZ_SRC_FORMAT_YIN) {
        return kz::yang::WriteYin(doc.get(), output, arg);
    }
    return kz::yang::WriteYang(doc.get(), ContextExtensions(ctx), output, arg);
}

} /* namespace */

extern "C" {

KZ_API uint32_t KZ_CTX_PrintModuleSource(KzCtx *ctx, const char *moduleName, uint32_t format,
                                         KzPrintOutputCb output, void *arg)
{
    if (ctx == nullptr || moduleName == nullptr || output == nullptr ||
        (format != KZ_SRC_FORMAT_YANG && format != KZ_SRC_FORMAT_YIN)) {
        return KZ_EINVAL;
    }
    const KzMod *mod = KZ_CTX_GetModuleByModName(ctx, moduleName);
    if (mod == nullptr) {
        return KZ_ERR;
    }
    return kz::Guarded(KZ_ENOMEM, [&] { return PrintSource(ctx, mod, format, output, arg); });
}

} /* extern "C" */
