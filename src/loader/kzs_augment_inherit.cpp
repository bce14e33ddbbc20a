/* An augment's when condition is written with the augment's target as the
 * context node, while conditions are evaluated at the nodes themselves; so
 * the condition is moved one level down and combined into every child, and
 * the augment's if-features are added to every child. */
#include <cstdio>
#include <cstring>

#include "loader/kzs_augment_inherit.h"
#include "schema/kzs_node.h"
#include "xpath/kz_xpath.h"
#include "base/kz_kit.h"

namespace {

constexpr uint32_t kCurrentLen = 7; /* "current" */

uint32_t Append(CondRewrite *rw, const char *text, uint32_t len)
{
    /* The output and its terminating NUL must fit into the buffer. */
    if (len >= rw->cap - rw->len) {
        return KZ_EINVAL;
    }
    std::memcpy(rw->out + rw->len, text, len);
    rw->len += len;
    return KZ_OK;
}

uint32_t TokenKind(const XpathLex *lex, uint32_t index)
{
    return index < lex->count ? lex->tokens[index].kind : static_cast<uint32_t>(KZ_XPATH_TOK_NONE);
}

} /* namespace */

extern "C" {

KZ_API uint32_t KZS_NODE_GetCondAddDDOTNewPath(CondRewrite *rw, uint32_t kind)
{
    if (rw->newPath == 0) {
        return KZ_OK;
    }
    switch (kind) {
    case KZ_XPATH_TOK_DOT:
        rw->newPath = 0;
        return Append(rw, ".", 1);
    case KZ_XPATH_TOK_DDOT:
    case KZ_XPATH_TOK_NAMETEST:
        rw->newPath = 0;
        return Append(rw, "../", 3);
    case KZ_XPATH_TOK_PATH:
        rw->newPath = 0; /* absolute path: unchanged */
        return KZ_OK;
    default:
        return KZ_OK; /* a relative path may still follow */
    }
}

KZ_API uint32_t KZS_NODE_GetCondAddDDOTSetFunc(CondRewrite *rw, uint32_t kind)
{
    if (rw->afterCurrent == 0 || kind != KZ_XPATH_TOK_PATH) {
        return KZ_OK;
    }
    rw->afterCurrent = 0;
    return Append(rw, "/..", 3);
}

KZ_API void KZS_NODE_GetCondUpdateNewPathFlag(CondRewrite *rw, uint32_t kind)
{
    if (kind >= KZ_XPATH_TOK_UNION && kind <= KZ_XPATH_TOK_OR) {
        rw->newPath = 1;
    }
}

KZ_API void KZS_NODE_GetCondUpdateSetFuncFlag(CondRewrite *rw, const XpathLex *lex, uint32_t index)
{
    const XpathToken *tok = &lex->tokens[index];
    if (tok->kind == KZ_XPATH_TOK_FUNCNAME && tok->length == kCurrentLen &&
        std::strncmp(lex->expr + tok->start, "current", kCurrentLen) == 0 &&
        TokenKind(lex, index + 1) == KZ_XPATH_TOK_LPAREN && TokenKind(lex, index + 2) == KZ_XPATH_TOK_RPAREN) {
        rw->afterCurrent = 1;
    }
}

KZ_API uint32_t KZS_NODE_GetCondAddDDOT(CondRewrite *rw, const XpathLex *lex, uint32_t index)
{
    if (rw == nullptr || lex == nullptr || index >= lex->count) {
        return KZ_EINVAL;
    }
    const XpathToken *tok = &lex->tokens[index];
    const uint32_t gapStart = (index == 0) ? 0 : lex->tokens[index - 1].start + lex->tokens[index - 1].length;
    uint32_t ret = Append(rw, lex->expr + gapStart, tok->start - gapStart);
    if (ret == KZ_OK) {
        ret = KZS_NODE_GetCondAddDDOTNewPath(rw, tok->kind);
    }
    if (ret == KZ_OK) {
        ret = KZS_NODE_GetCondAddDDOTSetFunc(rw, tok->kind);
    }
    if (ret == KZ_OK) {
        ret = Append(rw, lex->expr + tok->start, tok->length);
    }
    if (ret != KZ_OK) {
        return ret;
    }
    KZS_NODE_GetCondUpdateNewPathFlag(rw, tok->kind);
    KZS_NODE_GetCondUpdateSetFuncFlag(rw, lex, index);
    return KZ_OK;
}

KZ_API char *KZS_NODE_GetParentCond(const char *cond, const KzsNode *augment)
{
    (void)augment;
    if (cond == nullptr) {
        return nullptr;
    }
    const size_t len = std::strlen(cond);
    if (len > UINT32_MAX / 2) {
        return nullptr;
    }
    CondRewrite rw {};
    rw.cap = static_cast<uint32_t>(len * 2);
    /* An empty condition still yields an (empty) string. */
    rw.out = kz::ZeroAlloc<char>(rw.cap == 0 ? 1 : rw.cap);
    if (rw.out == nullptr) {
        return nullptr;
    }
    XpathLex *lex = KZ_XPATH_ExprTokenize(cond);
    if (lex == nullptr) {
        KZ_MemFree(rw.out);
        return nullptr;
    }
    rw.newPath = 1;
    for (uint32_t i = 0; i < lex->count; i++) {
        if (KZS_NODE_GetCondAddDDOT(&rw, lex, i) != KZ_OK) {
            KZ_XPATH_FreeXpathLex(lex);
            KZ_MemFree(rw.out);
            return nullptr;
        }
    }
    KZ_XPATH_FreeXpathLex(lex);
    return rw.out;
}

KZ_API char *KZS_NODE_CombineTwoWhenCondition(const char *first, const char *second)
{
    if (first == nullptr || second == nullptr) {
        return nullptr;
    }
    const size_t size = std::strlen(first) + std::strlen(second) + 13;
    auto *out = static_cast<char *>(KZ_MemMalloc(size));
    if (out == nullptr) {
        return nullptr;
    }
    const int n = std::snprintf(out, size, "(%s) and (%s)", first, second);
    if (n < 0 || static_cast<size_t>(n) >= size) {
        KZ_MemFree(out);
        return nullptr;
    }
    return out;
}

KZ_API uint32_t KZS_NODE_InheritAugNodeWhenCondToChildNode(KzDict *dict, KzsNode *child, const char *cond)
{
    if (dict == nullptr || child == nullptr || cond == nullptr) {
        return KZ_EINVAL;
    }
    const char *interned = nullptr;
    if (child->when != nullptr) {
        char *combined = KZS_NODE_CombineTwoWhenCondition(cond, child->when);
        if (combined == nullptr) {
            return KZ_EINVAL;
        }
        interned = KZ_DICT_Insert(dict, combined);
        KZ_MemFree(combined);
    } else {
        interned = KZ_DICT_Insert(dict, cond);
    }
    if (interned == nullptr) {
        return KZ_EINVAL;
    }
    if (child->when != nullptr) {
        KZ_DICT_Remove(dict, child->when);
    }
    child->when = interned;
    return KZ_OK;
}

KZ_API uint32_t KZS_NODE_InheritAugNodeIfFeatArrayToChildNode(KzDict *dict, KzsNode *augment, KzsNode *child)
{
    if (dict == nullptr || augment == nullptr || child == nullptr) {
        return KZ_EINVAL;
    }
    for (uint16_t i = 0; i < augment->ifFeatureCount; i++) {
        const KzsIfFeature *feat = &augment->ifFeatures[i];
        bool present = false;
        for (uint16_t j = 0; j < child->ifFeatureCount && !present; j++) {
            present = child->ifFeatures[j].modName == feat->modName && child->ifFeatures[j].featName == feat->featName;
        }
        if (present) {
            continue;
        }
        uint32_t ret = KZS_NODE_AppendOneIfFeat(dict, &child->ifFeatures, &child->ifFeatureCount, feat->modName,
                                                feat->featName);
        if (ret != KZ_OK) {
            return ret;
        }
    }
    return KZ_OK;
}

KZ_API uint32_t KZS_NODE_InheritAugNodeEvalToChildNode(KzDict *dict, KzsNode *augment, KzsNode *child,
                                                       const char *movedWhen)
{
    if (movedWhen != nullptr) {
        uint32_t ret = KZS_NODE_InheritAugNodeWhenCondToChildNode(dict, child, movedWhen);
        if (ret != KZ_OK) {
            return ret;
        }
    }
    return KZS_NODE_InheritAugNodeIfFeatArrayToChildNode(dict, augment, child);
}

KZ_API uint32_t KZS_NODE_InheritAugNodeEvalToAllChildNode(KzDict *dict, KzsNode *augment)
{
    if (dict == nullptr || augment == nullptr) {
        return KZ_EINVAL;
    }
    char *moved = nullptr;
    if (augment->when != nullptr) {
        moved = KZS_NODE_GetParentCond(augment->when, augment);
        if (augment->firstChild == nullptr) {
            KZ_MemFree(moved);
            return KZ_OK;
        }
    }
    if (augment->when == nullptr && augment->ifFeatureCount == 0) {
        return KZ_OK;
    }
    uint32_t ret = KZ_OK;
    for (KzsNode *child = augment->firstChild; child != nullptr; child = child->next) {
        if (child->kind != KZS_NODE_ACTION && child->kind != KZS_NODE_NOTIF) {
            ret = KZS_NODE_InheritAugNodeEvalToChildNode(dict, augment, child, moved);
            if (ret != KZ_OK) {
                break;
            }
        }
        if (child == augment->lastChild) {
            break;
        }
    }
    KZ_MemFree(moved);
    return ret;
}

} /* extern "C" */
