// Reads an arbitrary text as a YANG module: first through the reader alone,
// over exactly the input bytes (no terminator to lean on), then through the
// context, printing whatever loaded.  Any crash, hang, leak or sanitizer
// report is a finding.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <libxml/tree.h>

#include "fuzz_module.h"
#include "yang/kz_yang_read.h"

namespace {

uint32_t Discard(const char *, uint32_t, void *)
{
    return 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kzfuzz::SilenceLibxml();
    std::unique_ptr<char[]> exact(new char[size == 0 ? 1 : size]);
    std::memcpy(exact.get(), data, size);
    std::string error;
    xmlFreeDoc(kz::yang::ReadYang(exact.get(), size, "fuzz.yang", {}, &error));

    std::string text = kzfuzz::AsText(data, size);
    KzCtx *ctx = KZ_CTX_Create(0x2u | 0x8u);
    if (ctx == nullptr) {
        return 0;
    }
    const std::string name = kz::yang::PeekYangModuleName(text.data(), text.size());
    if (KZ_CTX_LoadYangMemory(ctx, text.c_str()) == 0) {
        KzMod *mod = KZ_CTX_GetModuleByModName(ctx, name.c_str());
        if (mod != nullptr) {
            KZ_MOD_PrintModelTree(mod, Discard, nullptr);
            KZ_CTX_UnloadModule(ctx, name.c_str());
        }
    }
    KZ_CTX_Delete(ctx);
    return 0;
}
