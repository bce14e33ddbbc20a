/* Handing an augment's when condition and if-features down to its children. */
#ifndef KZS_AUGMENT_INHERIT_H
#define KZS_AUGMENT_INHERIT_H

#include "korla.h"
#include "base/kz_dict.h"
#include "schema/kzs_node.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct XpathLex XpathLex;

/* State of the rewriting of one condition one level further down. */
typedef struct CondRewrite {
    char *out;         /* zeroed buffer of cap bytes */
    uint32_t cap;
    uint32_t len;
    uint8_t newPath;      /* the next step starts a relative path */
    uint8_t afterCurrent; /* "current()" was just read */
} CondRewrite;

KZ_API uint32_t KZS_NODE_InheritAugNodeEvalToAllChildNode(KzDict *dict, KzsNode *augment);
/* New string (KZ_MemFree) valid one level below the augment, or null. */
KZ_API char *KZS_NODE_GetParentCond(const char *cond, const KzsNode *augment);
/* New string "(first) and (second)", or null. */
KZ_API char *KZS_NODE_CombineTwoWhenCondition(const char *first, const char *second);
KZ_API uint32_t KZS_NODE_InheritAugNodeWhenCondToChildNode(KzDict *dict, KzsNode *child, const char *cond);
/* movedWhen: the augment's when moved one level down, or null. */
KZ_API uint32_t KZS_NODE_InheritAugNodeEvalToChildNode(KzDict *dict, KzsNode *augment, KzsNode *child,
                                                       const char *movedWhen);
KZ_API uint32_t KZS_NODE_InheritAugNodeIfFeatArrayToChildNode(KzDict *dict, KzsNode *augment, KzsNode *child);

/* Rewriting steps over token index of the lexed condition. */
KZ_API uint32_t KZS_NODE_GetCondAddDDOT(CondRewrite *rw, const XpathLex *lex, uint32_t index);
KZ_API uint32_t KZS_NODE_GetCondAddDDOTNewPath(CondRewrite *rw, uint32_t kind);
KZ_API uint32_t KZS_NODE_GetCondAddDDOTSetFunc(CondRewrite *rw, uint32_t kind);
KZ_API void KZS_NODE_GetCondUpdateNewPathFlag(CondRewrite *rw, uint32_t kind);
KZ_API void KZS_NODE_GetCondUpdateSetFuncFlag(CondRewrite *rw, const XpathLex *lex, uint32_t index);

#ifdef __cplusplus
}
#endif

#endif /* KZS_AUGMENT_INHERIT_H */
