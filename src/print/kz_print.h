/* Text tree of a module's schema, one row per schema node. */
#ifndef KZ_PRINT_H
#define KZ_PRINT_H

#include "korla.h"
#include "schema/kzs_mod.h"

#ifdef __cplusplus
extern "C" {
#endif

#define KZS_PRINT_BUF_SIZE 8192u
#define KZS_PRINT_FLUSH_AT 7168u

/* Print flags. */
#define KZS_PRINT_FLAG_SELF_ONLY 0x1u /* print only the node's own row */
#define KZS_PRINT_FLAG_NO_BAR    0x2u /* no bar for this node's column */

/* Access modes. */
#define KZS_PRINT_RW_FROM_NODE 0u
#define KZS_PRINT_RW_WRITE     1u
#define KZS_PRINT_RW_READ      2u

/* One nesting level of the printer; a child level starts as a copy of its parent's. */
typedef struct KzsPrintPara {
    uint32_t retract; /* bit i: draw a bar in indentation column i */
    uint32_t level;
    uint32_t maxLen;  /* longest printed sibling name at this level */
    uint32_t rwMode;
    uint32_t bufSize;
    uint32_t used;
    char *buffer;
    void *cbArg;
    uint32_t flags;
    KzPrintOutputCb output;
    const KzMod *module; /* the module being printed: its own nodes print without "module:" */
} KzsPrintPara;

KZ_API void KZS_NODE_InheritPrintPara(KzsPrintPara *child, const KzsPrintPara *parent);
KZ_API uint32_t KZS_MOD_PrintModelTreeDataAug(KzMod *mod, KzsPrintPara *para);
KZ_API uint32_t KZS_MOD_PrintModelTreeRpcNotif(KzMod *mod, KzsPrintPara *para);
KZ_API uint32_t KZ_NODE_PrintNodeHeader(KzsNode *node, KzsPrintPara *para);
KZ_API uint32_t KZS_NODE_PrintAncestorNodes(KzsNode *node, KzsPrintPara *para);
KZ_API uint32_t KZS_NODE_PrintSubTree(KzsNode *node, KzsPrintPara *para);
KZ_API uint32_t KZS_NODE_PrintContainer(KzsNode *node, KzsPrintPara *para);
KZ_API uint32_t KZS_NODE_PrintLeaf(KzsNode *node, KzsPrintPara *para);
KZ_API uint32_t KZS_NODE_PrintLeafList(KzsNode *node, KzsPrintPara *para);
KZ_API uint32_t KZS_NODE_PrintList(KzsNode *node, KzsPrintPara *para);
KZ_API uint32_t KZS_NODE_PrintChoice(KzsNode *node, KzsPrintPara *para);
KZ_API uint32_t KZS_NODE_PrintCase(KzsNode *node, KzsPrintPara *para);
KZ_API uint32_t KZS_NODE_PrintAnyDataXml(KzsNode *node, KzsPrintPara *para);
KZ_API uint32_t KZS_NODE_PrintRpcAction(KzsNode *node, KzsPrintPara *para);
KZ_API uint32_t KZS_NODE_PrintNotif(KzsNode *node, KzsPrintPara *para);
KZ_API uint32_t KZS_NODE_PrintInout(KzsNode *node, KzsPrintPara *para);
KZ_API uint32_t KZS_NODE_PrintAugmentTree(KzsNode *augment, KzsPrintPara *para);

/* Row pieces. */
KZ_API uint32_t KZS_NODE_PrintRetract(KzsPrintPara *para);
KZ_API uint32_t KZS_NODE_PrintRWOnly(KzsNode *node, KzsPrintPara *para);
KZ_API uint32_t KZS_NODE_PrintNodeName(KzsNode *node, KzsPrintPara *para, uint32_t *lenOut);
KZ_API uint32_t KZS_NODE_PrintNodeNameAlignSpace(KzsPrintPara *para, uint32_t nameLen);
KZ_API uint32_t KZS_NODE_PrintGetMaxLen(KzsNode *first, KzsNode *last, const KzMod *printed);
KZ_API uint32_t KZS_NODE_PrintGetRetract(uint32_t retract, uint32_t level);
KZ_API uint32_t KZS_NODE_PrintCheckNextCase(KzsNode *node);
KZ_API uint32_t KZS_NODE_PrintType(KzsNode *node, KzsPrintPara *para);

#ifdef __cplusplus
}

/* Internal helpers shared by the printer's files. */
namespace kz::print {
/* Appends formatted text to the print buffer; 22 when it does not fit. */
uint32_t Append(KzsPrintPara *para, const char *fmt, ...) __attribute__((format(printf, 2, 3)));
/* "x" for deprecated, "o" for obsolete, "+" otherwise. */
const char *StatusMark(const KzsNode *node);
} /* namespace kz::print */
#endif

#endif /* KZ_PRINT_H */
