/* Row pieces of the schema tree printer: indentation, marks, names, alignment, types. */
#include "print/kz_print.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "types/kzt_type.h"

namespace {

constexpr const char *kBaseTypeNames[] = {
    "",        "binary", "bits",  "boolean", "decimal64", "empty", "enumeration",
    "identityref", "instance-identifier", "int8", "int16", "int32", "int64",
    "leafref", "string", "uint8", "uint16", "uint32", "uint64", "union",
};

uint32_t NameLen(const KzsNode *node, const KzMod *printed)
{
    uint32_t len = static_cast<uint32_t>(strlen(node->name != nullptr ? node->name : ""));
    if (node->module != printed && node->module != nullptr && node->module->name != nullptr) {
        len += static_cast<uint32_t>(strlen(node->module->name)) + 1;
    }
    return len;
}

} // namespace

using namespace kz::print;

const char *kz::print::StatusMark(const KzsNode *node)
{
    if (node->flags & KZS_NODE_FLAG_DEPRECATED) {
        return "x";
    }
    if (node->flags & KZS_NODE_FLAG_OBSOLETE) {
        return "o";
    }
    return "+";
}

uint32_t kz::print::Append(KzsPrintPara *para, const char *fmt, ...)
{
    if (para == nullptr || para->buffer == nullptr || para->used >= para->bufSize) {
        return KZ_EINVAL;
    }
    size_t room = para->bufSize - para->used;
    va_list ap;
    va_start(ap, fmt);
    int n = vsnprintf(para->buffer + para->used, room, fmt, ap);
    va_end(ap);
    if (n < 0 || static_cast<size_t>(n) >= room) {
        para->buffer[para->used] = '\0';
        return KZ_EINVAL;
    }
    para->used += static_cast<uint32_t>(n);
    return KZ_OK;
}

extern "C" {

KZ_API void KZS_NODE_InheritPrintPara(KzsPrintPara *child, const KzsPrintPara *parent)
{
    *child = *parent;
    child->flags = 0;
}

KZ_API uint32_t KZS_NODE_PrintGetRetract(uint32_t retract, uint32_t level)
{
    if (level == 0 || level - 1 >= 32) {
        return retract;
    }
    return retract | (1u << (level - 1));
}

KZ_API uint32_t KZS_NODE_PrintRetract(KzsPrintPara *para)
{
    for (uint32_t col = 1; col + 1 <= para->level; ++col) {
        bool bar = col < 32 && (para->retract & (1u << col)) != 0;
        if (Append(para, "%s", bar ? "|  " : "   ") != KZ_OK) {
            return KZ_EINVAL;
        }
    }
    return KZ_OK;
}

KZ_API uint32_t KZS_NODE_PrintRWOnly(KzsNode *node, KzsPrintPara *para)
{
    switch (para->rwMode) {
    case KZS_PRINT_RW_READ:
        return Append(para, "ro ");
    case KZS_PRINT_RW_WRITE:
        return Append(para, "-w ");
    default:
        return Append(para, "%s ", (node->flags & KZS_NODE_FLAG_CONFIG_FALSE) ? "ro" : "rw");
    }
}

KZ_API uint32_t KZS_NODE_PrintNodeName(KzsNode *node, KzsPrintPara *para, uint32_t *lenOut)
{
    const char *name = node->name != nullptr ? node->name : "";
    uint32_t rc;
    if (node->module != para->module && node->module != nullptr && node->module->name != nullptr) {
        rc = Append(para, "%s:%s", node->module->name, name);
    } else {
        rc = Append(para, "%s", name);
    }
    if (rc == KZ_OK && lenOut != nullptr) {
        *lenOut = NameLen(node, para->module);
    }
    return rc;
}

KZ_API uint32_t KZS_NODE_PrintNodeNameAlignSpace(KzsPrintPara *para, uint32_t nameLen)
{
    if (nameLen > para->maxLen) {
        return KZ_EINVAL;
    }
    return Append(para, "%*s", static_cast<int>(para->maxLen - nameLen + 3), "   ");
}

/* Longest printed name among the data-node siblings from first up to and including last
 * (or to the end of the chain when last is null). */
KZ_API uint32_t KZS_NODE_PrintGetMaxLen(KzsNode *first, KzsNode *last, const KzMod *printed)
{
    uint32_t maxLen = 0;
    for (KzsNode *n = first; n != nullptr; n = n->next) {
        if (n->kind >= KZS_NODE_CONTAINER && n->kind <= KZS_NODE_ANYXML) {
            uint32_t len = NameLen(n, printed);
            if (len > maxLen) {
                maxLen = len;
            }
        }
        if (n == last) {
            break;
        }
    }
    return maxLen;
}

KZ_API uint32_t KZS_NODE_PrintType(KzsNode *node, KzsPrintPara *para)
{
    const KztRealType *rt = static_cast<const KztRealType *>(node->schemaInfo);
    if (rt == nullptr || rt->baseType >= KZT_BASE_INVALID) {
        return Append(para, "x");
    }
    if (rt->baseType == KZT_BASE_DERIVED) {
        const KztConsDataDerived *der = nullptr;
        if (rt->consCount > 0 && rt->constraints != nullptr &&
            rt->constraints[0].consType == KZT_CONS_DERIVED) {
            der = static_cast<const KztConsDataDerived *>(rt->constraints[0].consData);
        }
        if (der == nullptr || der->tdefName == nullptr) {
            return Append(para, "x");
        }
        const char *printedName = para->module != nullptr ? para->module->name : nullptr;
        if (der->modName != nullptr && der->modName != printedName &&
            (printedName == nullptr || strcmp(der->modName, printedName) != 0)) {
            return Append(para, "%s:%s", der->modName, der->tdefName);
        }
        return Append(para, "%s", der->tdefName);
    }
    if (rt->baseType == KZT_BASE_LEAFREF) {
        const char *path = nullptr;
        for (uint16_t i = 0; i < rt->consCount; ++i) {
            if (rt->constraints[i].consType == KZT_CONS_PATH && rt->constraints[i].consData != nullptr) {
                /* The path body starts with the leafref path text. */
                path = *static_cast<const char *const *>(rt->constraints[i].consData);
                break;
            }
        }
        return Append(para, "-> %s", path != nullptr ? path : "");
    }
    return Append(para, "%s", kBaseTypeNames[rt->baseType]);
}

KZ_API uint32_t KZS_NODE_PrintCheckNextCase(KzsNode *node)
{
    if (node == nullptr || node->parent == nullptr) {
        return 0;
    }
    uint32_t pk = node->parent->kind;
    if (pk != KZS_NODE_CHOICE && pk != KZS_NODE_CASE) {
        return 0;
    }
    KzsNode *next = node->next;
    if (next == nullptr || next->parent == nullptr) {
        return 0;
    }
    return (next->parent->kind == KZS_NODE_CHOICE) ? 1u : 0u;
}

} // extern "C"
