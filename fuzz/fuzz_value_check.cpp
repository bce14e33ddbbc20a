// Checks an arbitrary value against one leaf of each base type of the shared
// module: the selector byte picks the leaf, the rest is the value, given both
// as a string and as the text of an element.
#include <libxml/tree.h>

#include <vector>

#include "fuzz_module.h"

namespace {

constexpr const char *kLeaves[] = {
    "v-binary", "v-bits",   "v-boolean", "v-decimal64", "v-dec18",  "v-empty",  "v-enumeration",
    "v-identityref", "v-instance-identifier", "v-int8", "v-int16", "v-int32", "v-int64", "v-leafref",
    "v-string", "v-uint8",  "v-uint16",  "v-uint32",    "v-uint64", "v-union",  "v-pattern",
};

const std::vector<KzsNode *> &Leaves()
{
    static std::vector<KzsNode *> leaves = [] {
        std::vector<KzsNode *> out;
        for (const char *name : kLeaves) {
            KzsNode *n = KZ_CTX_GetTargetNode(kzfuzz::SharedContext(), (std::string("/fz:top/") + name).c_str(),
                                              nullptr);
            if (n == nullptr) {
                __builtin_trap();
            }
            out.push_back(n);
        }
        return out;
    }();
    return leaves;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::vector<KzsNode *> &leaves = Leaves();
    if (size == 0) {
        return 0;
    }
    KzsNode *leaf = leaves[data[0] % leaves.size()];
    std::string value = kzfuzz::AsText(data + 1, size - 1);
    value = value.substr(0, value.find('\0'));

    uint32_t asString = KZ_NODE_ValidateValue(leaf, KZ_VAL_INPUT_STRING, value.c_str());
    KZ_NODE_FindRealTypeMatchedValue(leaf, KZ_VAL_INPUT_STRING, value.c_str());

    // The element form needs well-formed UTF-8 text for libxml2; skip otherwise.
    if (xmlCheckUTF8(reinterpret_cast<const xmlChar *>(value.c_str())) != 0) {
        xmlNode *elem = xmlNewNode(nullptr, reinterpret_cast<const xmlChar *>("v"));
        xmlNodeAddContent(elem, reinterpret_cast<const xmlChar *>(value.c_str()));
        uint32_t asElement = KZ_NODE_ValidateValue(leaf, KZ_VAL_INPUT_XMLNODE, elem);
        (void)asElement;
        (void)asString;
        xmlFreeNode(elem);
    }
    return 0;
}
