// Validates an arbitrary notification text against the shared module; the
// cleaned text handed to the callback is read in full.
#include <libxml/parser.h>

#include <cstring>

#include "fuzz_module.h"

namespace {

uint32_t ReadResult(const char *text, void *)
{
    volatile size_t n = std::strlen(text);
    (void)n;
    return 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kzfuzz::SilenceLibxml();
    std::string text = kzfuzz::AsText(data, size);
    KZ_CTX_ValidateNotifDataTree(kzfuzz::SharedContext(), text.c_str(), ReadResult, nullptr);
    return 0;
}
