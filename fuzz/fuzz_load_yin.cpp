// Writes an arbitrary YIN text back as YANG and YIN, loads it into a fresh
// context, prints what loaded and tears everything down: any crash, leak or
// sanitizer report is a finding.
#include <libxml/parser.h>

#include "fuzz_module.h"
#include "yang/kz_yang_write.h"

namespace {

uint32_t Discard(const char *, uint32_t, void *)
{
    return 0;
}

uint32_t PrintModule(KzMod *mod, void *)
{
    KZ_MOD_PrintModelTree(mod, Discard, nullptr);
    return 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kzfuzz::SilenceLibxml();
    std::string text = kzfuzz::AsText(data, size);
    xmlDoc *doc = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                XML_PARSE_NOBLANKS | XML_PARSE_NONET);
    if (doc != nullptr) {
        kz::yang::WriteYang(doc, {}, Discard, nullptr);
        kz::yang::WriteYin(doc, Discard, nullptr);
        xmlFreeDoc(doc);
    }
    // Option bits: keep descriptions and units so those paths run too.
    KzCtx *ctx = KZ_CTX_Create(0x2u | 0x8u);
    if (ctx == nullptr) {
        return 0;
    }
    if (KZ_CTX_LoadMemory(ctx, text.c_str()) == 0) {
        KzMod *mod = KZ_CTX_GetModuleByModName(ctx, "fz");
        if (mod != nullptr) {
            PrintModule(mod, nullptr);
            KZ_CTX_UnloadModule(ctx, "fz");
        }
    }
    KZ_CTX_Delete(ctx);
    return 0;
}
