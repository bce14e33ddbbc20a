/* Path texts of the schema side: prefixed paths to module-qualified (JSON)
 * form, and the split of a target path at its last module-qualified step. */
#include <cstring>

#include "base/kz_scan.h"
#include "schema/kzs_mod.h"
#include "base/kz_guard.h"
#include "base/kz_kit.h"

namespace {


/* Appends len bytes; false when the buffer (with its NUL) would overflow. */
bool Append(char *buf, uint32_t bufSize, uint32_t *used, const char *text, size_t len)
{
    if (len >= bufSize - *used) {
        return false;
    }
    std::memcpy(buf + *used, text, len);
    *used += static_cast<uint32_t>(len);
    buf[*used] = '\0';
    return true;
}

} // namespace

extern "C" {

uint32_t KZ_XPATH_GetJsonFormatXpath(const KzMod *mod, const char *path, char *buf, uint32_t bufSize)
{
    if (mod == nullptr || path == nullptr || buf == nullptr || bufSize == 0) {
        return KZ_EINVAL;
    }
    buf[0] = '\0';
    uint32_t used = 0;
    char lastPrefix[kz::kNameBufSize] = {0};
    bool prefixSet = false;
    const char *p = path;
    while (*p != '\0') {
        if (*p == '/') {
            if (!Append(buf, bufSize, &used, p, 1)) {
                return KZ_EINVAL;
            }
            p++;
            continue;
        }
        char prefix[kz::kNameBufSize];
        char name[kz::kNameBufSize];
        const char *next = KZ_UTL_GetXPathNextPredicatedPrefixNode(p, prefix, kz::kNameBufSize, name, kz::kNameBufSize);
        if (next == nullptr) {
            return KZ_EINVAL;
        }
        /* the step as written, without its prefix, predicates included */
        const char *step = prefix[0] != '\0' ? p + std::strlen(prefix) + 1 : p;
        size_t stepLen = static_cast<size_t>(next - step);
        bool parent = prefix[0] == '\0' && std::strcmp(name, "..") == 0;
        bool qualify = !parent && (!prefixSet || (prefix[0] != '\0' && std::strcmp(prefix, lastPrefix) != 0));
        if (qualify) {
            const char *usePrefix = prefix[0] != '\0' ? prefix : mod->prefix;
            const char *modName = usePrefix != nullptr ? KZS_MOD_GetModuleNameByPrefix(mod, usePrefix) : nullptr;
            size_t prefixLen = usePrefix != nullptr ? std::strlen(usePrefix) : 0;
            if (modName == nullptr || prefixLen >= kz::kNameBufSize ||
                !Append(buf, bufSize, &used, modName, std::strlen(modName)) ||
                !Append(buf, bufSize, &used, ":", 1)) {
                return KZ_EINVAL;
            }
            std::memcpy(lastPrefix, usePrefix, prefixLen + 1);
            prefixSet = true;
        }
        if (!Append(buf, bufSize, &used, step, stepLen)) {
            return KZ_EINVAL;
        }
        p = next;
    }
    return KZ_OK;
}

char *KZ_XPATH_TransformToJsonFormat(const KzMod *mod, const char *path)
{
    return kz::Guarded(nullptr, [&]() -> char * {
        char buf[KZ_XPATH_JSON_BUF_SIZE];
        if (KZ_XPATH_GetJsonFormatXpath(mod, path, buf, sizeof(buf)) != KZ_OK) {
            return nullptr;
        }
        return kz::DupText(buf);
    });
}

uint32_t KZ_XPATH_SplitTargetNodeXpath(const char *path, char *moduleNameBuffer, uint32_t bufferSize,
                                       char **headOut, char **tailOut)
{
    if (headOut != nullptr) {
        *headOut = nullptr;
    }
    if (tailOut != nullptr) {
        *tailOut = nullptr;
    }
    if (path == nullptr || moduleNameBuffer == nullptr || bufferSize == 0) {
        return KZ_EINVAL;
    }
    moduleNameBuffer[0] = '\0';
    size_t total = std::strlen(path);
    if (total >= UINT32_MAX) {
        return KZ_EINVAL;
    }
    /* Walk steps from the end until one is written module:name. */
    uint32_t pos = static_cast<uint32_t>(total);
    while (pos > 0) {
        uint32_t nameLen = KZ_UTL_ConsumeIdentNameFromTail(path, pos);
        pos -= nameLen;
        if (pos == 0) {
            return KZ_EINVAL;
        }
        char c = path[pos - 1];
        if (c == '/') {
            pos--;
            continue;
        }
        if (c != ':' || nameLen == 0) {
            return KZ_EINVAL;
        }
        uint32_t colon = pos - 1;
        uint32_t modLen = KZ_UTL_ConsumeIdentNameFromTail(path, colon);
        uint32_t start = colon - modLen;
        if (modLen == 0 || start == 0 || path[start - 1] != '/' || modLen >= bufferSize) {
            return KZ_EINVAL;
        }
        uint32_t slash = start - 1;
        char *head = nullptr;
        char *tail = nullptr;
        if (headOut != nullptr && slash != 0) {
            head = kz::DupText(path, slash);
            if (head == nullptr) {
                return KZ_ENOMEM;
            }
        }
        if (tailOut != nullptr) {
            tail = kz::DupText(path + slash);
            if (tail == nullptr) {
                KZ_MemFree(head);
                return KZ_ENOMEM;
            }
        }
        std::memcpy(moduleNameBuffer, path + start, modLen);
        moduleNameBuffer[modLen] = '\0';
        if (headOut != nullptr) {
            *headOut = head;
        }
        if (tailOut != nullptr) {
            *tailOut = tail;
        }
        return KZ_OK;
    }
    return KZ_EINVAL;
}

} // extern "C"
