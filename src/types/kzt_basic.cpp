/* Base-type checks of "binary", "boolean" and "empty", and the
 * fraction-digits constraint. */
#include <cstring>

#include "base/kz_scan.h"
#include "base/kz_xml.h"
#include "types/kzt_cons.h"

namespace {

bool IsTrailingSpace(char c)
{
    return c == '\t' || c == '\n' || c == ' ';
}

bool IsBase64Data(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+';
}

} // namespace

extern "C" {

uint32_t KZT_CONS_CheckInputValueStrInBase64Encoded(const char *text, size_t len, uint32_t *padCount)
{
    if (text == nullptr || padCount == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t pads = 0;
    for (size_t i = 0; i < len; ++i) {
        const char c = text[i];
        if (IsBase64Data(c) || c == '/') {
            /* Data after padding means the padding was not at the end. */
            if (pads != 0) {
                return KZ_EINVAL;
            }
        } else if (c == '=') {
            ++pads;
        }
        /* Anything else is tolerated: senders wrap long values and the
         * decoder downstream skips what it does not know. */
    }
    if (pads > 2) {
        return KZ_EINVAL;
    }
    *padCount = pads;
    return KZ_OK;
}

uint32_t KZT_CONS_CheckValStrAgainstDefRestrictBinary(KztBaseType baseType, const char *value, KztValCheckCtx *chk)
{
    if (value == nullptr || chk == nullptr) {
        return KZ_VAL_ERR_BINARY;
    }
    const char *start = KZ_UTL_ConsumeAllSpaceChar(value);
    size_t len = std::strlen(start);
    while (len != 0 && IsTrailingSpace(start[len - 1])) {
        --len;
    }
    uint32_t pads = 0;
    if (len != 0) {
        if (len % 4 != 0) {
            return KZ_VAL_ERR_BINARY;
        }
        if (KZT_CONS_CheckInputValueStrInBase64Encoded(start, len, &pads) != KZ_OK) {
            return KZ_VAL_ERR_BINARY;
        }
    }
    const size_t bytes = (len / 4) * 3 - pads;
    if (bytes > UINT32_MAX) {
        return KZ_VAL_ERR_BINARY;
    }
    chk->binLen = static_cast<uint32_t>(bytes);
    /* A binary value is length-restricted like a string, on its decoded size. */
    return KZT_CONS_CheckValStrAgainstDefRestrictLength(baseType, value, chk);
}

uint32_t KZT_CONS_CheckValStrAgainstDefRestrictBoolean(KztBaseType baseType, const char *value, KztValCheckCtx *chk)
{
    (void)baseType;
    (void)chk;
    if (value != nullptr && (std::strcmp(value, "true") == 0 || std::strcmp(value, "false") == 0)) {
        return KZ_OK;
    }
    return KZ_VAL_ERR_BOOLEAN;
}

uint32_t KZT_CONS_CheckValStrAgainstDefRestrictEmpty(KztBaseType baseType, const char *value, KztValCheckCtx *chk)
{
    (void)baseType;
    (void)chk;
    return (value == nullptr || value[0] == '\0') ? KZ_OK : KZ_VAL_ERR_EMPTY;
}

uint32_t KZT_LOADER_FillConsDataAndAllFractionSeg(KzCtx *ctx, KzMod *mod, xmlNode *typeElem, KztConsFillArg *arg)
{
    (void)ctx;
    (void)mod;
    if (typeElem == nullptr || arg == nullptr || arg->entry == nullptr || arg->entry->consData == nullptr) {
        return KZ_EINVAL;
    }
    xmlNode *elem = KZ_XML_GetFirstChildNodeWithPriVal(typeElem, KZT_MARK_FRACTION);
    const char *text = (elem != nullptr) ? KZ_XML_GetFirstPropertyValue(elem) : nullptr;
    if (text == nullptr) {
        return KZ_EINVAL;
    }
    const char *end = nullptr;
    uint64_t digits = 0;
    if (KZ_UTL_ReadInputStrAsUnsignedInteger(text, &end, 10, &digits) != KZ_OK || end == nullptr ||
        *KZ_UTL_ConsumeAllSpaceChar(end) != '\0') {
        return KZ_EINVAL;
    }
    /* Beyond 18 digits a decimal64 cannot hold even the value 1. */
    if (digits < 1 || digits > 18) {
        return KZ_EINVAL;
    }
    static_cast<KztConsDataFraction *>(arg->entry->consData)->fracDigits = static_cast<uint8_t>(digits);
    return KZ_OK;
}

/* The digits are applied by the decimal64 checks; nothing to test here. */
uint32_t KZT_CONS_ValidateValueNodeAgainstDataFraction(void *body, uint32_t inputKind, const void *input,
                                                       KztValCheckCtx *chk)
{
    (void)body;
    (void)inputKind;
    (void)input;
    (void)chk;
    return KZ_OK;
}

} // extern "C"
