// Validates an arbitrary request text against the shared module, and the same
// text once more as a caller-owned libxml2 tree.
#include <libxml/parser.h>

#include "fuzz_module.h"

namespace {

void CountAdded(struct _xmlNode *, void *arg)
{
    ++*static_cast<unsigned *>(arg);
}

void Inspect(KzdErrNode *err)
{
    if (err == nullptr) {
        return;
    }
    // Touch every field so that a dangling string shows up under ASan.
    volatile size_t sink = 0;
    for (const char *s : {KZ_GetErrorAppTag(err), KZ_GetErrorMessage(err), KZ_GetErrorPath(err),
                          KZ_GetBadElement(err), KZ_GetBadAttribute(err)}) {
        if (s != nullptr) {
            sink += std::string(s).size();
        }
    }
    sink += KZ_GetErrorType(err) + KZ_GetErrorSeverity(err) + KZ_GetErrorTag(err);
    (void)sink;
    KZ_FreeErrNode(err);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kzfuzz::SilenceLibxml();
    KzCtx *ctx = kzfuzz::SharedContext();
    std::string text = kzfuzz::AsText(data, size);
    unsigned added = 0;
    Inspect(KZ_CTX_ValidateRpcDataTree(ctx, KZ_DATA_KIND_TEXT, const_cast<char *>(text.c_str()), CountAdded,
                                       &added));

    xmlDoc *doc = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                XML_PARSE_NONET | XML_PARSE_NOBLANKS | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    if (doc != nullptr) {
        xmlNode *root = xmlDocGetRootElement(doc);
        if (root != nullptr) {
            Inspect(KZ_CTX_ValidateRpcDataTree(ctx, KZ_DATA_KIND_XMLTREE, root, CountAdded, &added));
        }
        xmlFreeDoc(doc);
    }
    return 0;
}
