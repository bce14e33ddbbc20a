// Range and length expressions and decimal64 text.  Input: a selector byte,
// a fraction-digits byte, then "<expression>\n<value>".  The expression is
// scanned on its own, then used as the range or length of a leaf in a small
// module that is loaded, and the value is checked against that leaf.
#include <libxml/parser.h>

#include <cstring>

#include "fuzz_module.h"
#include "types/kzt_cons.h"
#include "types/kzt_type.h"

namespace {

struct Base {
    const char *name;
    KztBaseType base;
    bool length;
};

constexpr Base kBases[] = {
    {"int8", KZT_BASE_INT8, false},     {"int16", KZT_BASE_INT16, false},   {"int32", KZT_BASE_INT32, false},
    {"int64", KZT_BASE_INT64, false},   {"uint8", KZT_BASE_UINT8, false},   {"uint16", KZT_BASE_UINT16, false},
    {"uint32", KZT_BASE_UINT32, false}, {"uint64", KZT_BASE_UINT64, false}, {"decimal64", KZT_BASE_DECIMAL64, false},
    {"string", KZT_BASE_STRING, true},  {"binary", KZT_BASE_BINARY, true},
};

uint32_t CountPart(KztRealType *, KztTypeConstraint *, uint16_t *filled, const SegInt64 *)
{
    ++*filled;
    return 0;
}

std::string Escape(const std::string &in)
{
    std::string out;
    for (char c : in) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        default: out += c;
        }
    }
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kzfuzz::SilenceLibxml();
    if (size < 2) {
        return 0;
    }
    const Base &base = kBases[data[0] % (sizeof(kBases) / sizeof(kBases[0]))];
    const uint8_t fracDigits = data[1];
    std::string rest = kzfuzz::AsText(data + 2, size - 2);
    rest = rest.substr(0, rest.find('\0'));
    size_t nl = rest.find('\n');
    std::string expr = rest.substr(0, nl);
    std::string value = nl == std::string::npos ? std::string() : rest.substr(nl + 1);

    int64_t scaled = 0;
    KZT_CONS_ConvertValStrToDecimal64PowerInteger(value.c_str(), fracDigits, &scaled);
    KZT_CONS_ConvertValStrToDecimal64PowerInteger(expr.c_str(), static_cast<uint8_t>(fracDigits % 19), &scaled);

    if (base.base != KZT_BASE_DECIMAL64) {
        KztRealType realType;
        std::memset(&realType, 0, sizeof(realType));
        realType.baseType = base.base;
        KztRangePushArg arg{};
        arg.realType = &realType;
        KZT_LOADER_ScanParseRangeExprWithCb(expr.c_str(), CountPart, &arg);
    }

    // The same expression inside a module, restricting a typedef and then a
    // leaf of that typedef again, so the parent-bounds path runs as well.
    const char *stmt = base.length ? "length" : "range";
    std::string fd;
    if (base.base == KZT_BASE_DECIMAL64) {
        fd = "<fraction-digits value=\"" + std::to_string(1 + fracDigits % 18) + "\"/>";
    }
    std::string restrict = std::string("<") + stmt + " value=\"" + Escape(expr) + "\"/>";
    std::string yin = std::string(R"(<module name="rg" xmlns="urn:ietf:params:xml:ns:yang:yin:1" xmlns:rg="urn:example:rg">)"
                                  R"(<namespace uri="urn:example:rg"/><prefix value="rg"/>)") +
                      "<typedef name=\"t\"><type name=\"" + base.name + "\">" + fd + restrict + "</type></typedef>" +
                      "<container name=\"c\"><leaf name=\"a\"><type name=\"rg:t\"/></leaf>" +
                      "<leaf name=\"b\"><type name=\"rg:t\">" + restrict + "</type></leaf></container></module>";
    KzCtx *ctx = KZ_CTX_Create(0);
    if (ctx == nullptr) {
        return 0;
    }
    if (KZ_CTX_LoadMemory(ctx, yin.c_str()) == 0) {
        for (const char *path : {"/rg:c/a", "/rg:c/b"}) {
            KzsNode *leaf = KZ_CTX_GetTargetNode(ctx, path, nullptr);
            if (leaf != nullptr) {
                KZ_NODE_ValidateValue(leaf, KZ_VAL_INPUT_STRING, value.c_str());
                KZ_TYPE_ScanStartEndPair(KZ_NODE_GetRealType(leaf),
                                         [](const KztBoundVal *, const KztBoundVal *, void *) -> uint32_t { return 0; },
                                         nullptr);
            }
        }
    }
    KZ_CTX_Delete(ctx);
    return 0;
}
