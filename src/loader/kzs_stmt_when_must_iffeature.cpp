/* Conditions of data-definition statements: when, must (with error-message
 * and error-app-tag) and if-feature, and the rewriting of import prefixes
 * inside string literals of a condition. */
#include <cstring>
#include <memory>

#include "loader/kzs_stmt_util.h"
#include "schema/kzs_diag.h"
#include "base/kz_scan.h"
#include "base/kz_xml.h"
#include "schema/kzs_node.h"
#include "xpath/kz_xpath.h"
#include "base/kz_kit.h"

using kz::loader::ElemArg;
using kz::loader::Keyword;
using kz::schema::ModDict;

namespace {

constexpr size_t kCondBufSize = 3097; /* 3096 characters and the terminator */

struct LexFree {
    void operator()(XpathLex *lex) const { KZ_XPATH_FreeXpathLex(lex); }
};

/* Writes cond to out (kCondBufSize bytes) with the import prefixes inside its
 * literals replaced by module names; false when cond does not tokenize or the
 * result does not fit. */
bool RewriteLiteralPrefixes(KzMod *mod, const char *cond, char *out, size_t *used)
{
    std::unique_ptr<XpathLex, LexFree> lex(KZ_XPATH_ExprTokenize(cond));
    if (lex == nullptr) {
        return false;
    }
    *used = 0;
    /* End of what has been copied so far: the text between literals goes in one piece. */
    const char *copied = cond;
    const uint32_t count = KZ_XPATH_GetTokenNumber(lex.get());
    for (uint32_t i = 0; i < count; i++) {
        uint32_t kind = 0;
        uint32_t length = 0;
        const char *token = KZ_XPATH_GetTokenExprByPos(lex.get(), i, &kind, &length);
        if (token == nullptr || token < copied) {
            return false;
        }
        if (kind != KZ_XPATH_TOK_LITERAL) {
            continue;
        }
        uint32_t ret = KZS_LOADER_CopyTokenIntoOutCondition(out, kCondBufSize, used, copied,
                                                            static_cast<size_t>(token - copied));
        if (ret == KZ_OK) {
            ret = KZS_LOADER_AddModuleNameIntoCondition(mod, out, kCondBufSize, used, token, length);
        }
        if (ret != KZ_OK) {
            return false;
        }
        copied = token + length;
    }
    return KZS_LOADER_CopyTokenIntoOutCondition(out, kCondBufSize, used, copied, std::strlen(copied)) == KZ_OK;
}

/* Reads a condition argument, rewrites literal prefixes and interns the result. */
const char *InternCondition(KzMod *mod, const char *value, uint32_t stmt)
{
    char rewritten[kCondBufSize];
    size_t used = 0;
    if (!RewriteLiteralPrefixes(mod, value, rewritten, &used)) {
        /* Keep the text as written; the condition still loads. */
        KZS_LOADER_MOD_ERR(mod, KZS_MSG_TRANS_PREFIX, Keyword(stmt));
        return KZ_DICT_Insert(ModDict(mod), value);
    }
    return KZ_DICT_Insert(ModDict(mod), rewritten);
}

} /* namespace */

extern "C" {

KZ_API uint32_t KZS_LOADER_CopyTokenIntoOutCondition(char *out, size_t outSize, size_t *used, const char *text,
                                                     size_t len)
{
    if (out == nullptr || used == nullptr || (text == nullptr && len != 0)) {
        return KZ_EINVAL;
    }
    /* The output must keep its terminator inside the buffer. */
    if (*used + len >= outSize) {
        return KZ_EINVAL;
    }
    if (len != 0) {
        std::memcpy(out + *used, text, len);
    }
    *used += len;
    out[*used] = '\0';
    return KZ_OK;
}

KZ_API uint32_t KZS_LOADER_AddModuleNameIntoCondition(KzMod *mod, char *out, size_t outSize, size_t *used,
                                                      const char *literal, size_t len)
{
    if (mod == nullptr || literal == nullptr || len < 2) {
        return KZS_LOADER_CopyTokenIntoOutCondition(out, outSize, used, literal, len);
    }
    /* literal = quote, body, quote; only a body holding a colon has a prefix. */
    const char *body = literal + 1;
    const size_t bodyLen = len - 2;
    const void *colon = std::memchr(body, ':', bodyLen);
    if (colon == nullptr) {
        return KZS_LOADER_CopyTokenIntoOutCondition(out, outSize, used, literal, len);
    }
    const size_t prefixLen = static_cast<const char *>(colon) - body;
    const char *modName = nullptr;
    if (prefixLen < kz::kNameBufSize) {
        char prefix[kz::kNameBufSize] = {0};
        std::memcpy(prefix, body, prefixLen);
        modName = KZS_MOD_GetModuleNameByPrefix(mod, prefix);
    }
    if (modName == nullptr) {
        return KZS_LOADER_CopyTokenIntoOutCondition(out, outSize, used, literal, len);
    }
    uint32_t ret = KZS_LOADER_CopyTokenIntoOutCondition(out, outSize, used, literal, 1);
    if (ret == KZ_OK) {
        ret = KZS_LOADER_CopyTokenIntoOutCondition(out, outSize, used, modName, std::strlen(modName));
    }
    if (ret == KZ_OK) {
        ret = KZS_LOADER_CopyTokenIntoOutCondition(out, outSize, used, static_cast<const char *>(colon),
                                                   len - 1 - prefixLen);
    }
    return ret;
}

KZ_API char *KZS_LOADER_TransPrefix2ModNameInLiteral(KzMod *mod, const char *cond)
{
    if (mod == nullptr || cond == nullptr) {
        return nullptr;
    }
    char out[kCondBufSize];
    size_t used = 0;
    return RewriteLiteralPrefixes(mod, cond, out, &used) ? kz::DupText(out, used) : nullptr;
}

KZ_API uint32_t KZS_LOADER_ParseWhen(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    if (mod == nullptr || elem == nullptr || dest == nullptr) {
        return KZ_EINVAL;
    }
    const char *value = kz::loader::RequireArg(mod, elem, KZS_STMT_WHEN);
    if (value == nullptr) {
        return KZ_EINVAL;
    }
    const char *interned = InternCondition(mod, value, KZS_STMT_WHEN);
    if (interned == nullptr) {
        return KZ_ENOMEM;
    }
    kz::loader::ReplaceInterned(ModDict(mod), static_cast<const char **>(dest), interned);
    return KZ_OK;
}

KZ_API uint32_t KZS_LOADER_ParseMust(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    if (mod == nullptr || elem == nullptr || dest == nullptr) {
        return KZ_EINVAL;
    }
    const char *value = kz::loader::RequireArg(mod, elem, KZS_STMT_MUST);
    if (value == nullptr) {
        return KZ_EINVAL;
    }
    KzsMust *must = static_cast<KzsMust *>(dest);
    const char *cond = InternCondition(mod, value, KZS_STMT_MUST);
    if (cond == nullptr) {
        return KZ_ENOMEM;
    }
    kz::loader::ReplaceInterned(ModDict(mod), &must->cond, cond);
    SubParseElem elems[] = {
        {KZS_STMT_ERROR_MESSAGE, &must->errMsg, nullptr, nullptr, 0, KZS_SUB_FLAG_UNIQUE},
        {KZS_STMT_ERROR_APP_TAG, &must->errAppTag, nullptr, nullptr, 0, KZS_SUB_FLAG_UNIQUE},
    };
    uint32_t ret = KZS_LOADER_ParseSubStatements(mod, elem, KZS_STMT_MUST, elems, 2);
    if (ret != KZ_OK) {
        KZS_LOADER_MOD_ERR(mod, KZS_MSG_PARSE_VALUE, must->cond, Keyword(KZS_STMT_MUST));
        KZS_NODE_ClearMust(ModDict(mod), must);
    }
    return ret;
}

KZ_API uint32_t KZS_LOADER_ParseIfFeature(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest)
{
    (void)parentStmt;
    if (mod == nullptr || elem == nullptr || dest == nullptr) {
        return KZ_EINVAL;
    }
    const char *value = kz::loader::RequireArg(mod, elem, KZS_STMT_IF_FEATURE);
    if (value == nullptr) {
        return KZ_EINVAL;
    }
    char prefix[kz::kNameBufSize] = {0};
    char feature[kz::kNameBufSize] = {0};
    uint32_t ret = KZ_UTL_GetXPathNextPrefixAndNode(value, prefix, sizeof(prefix), feature, sizeof(feature));
    const char *modName = nullptr;
    if (ret != KZ_OK) {
        /* Only a single prefix:name reference is supported, no expressions. */
        KZS_LOADER_MOD_ERR(mod, KZS_MSG_PARSE_XPATH, value);
    } else if (prefix[0] != '\0') {
        modName = KZS_MOD_GetModuleNameByPrefix(mod, prefix);
        if (modName == nullptr) {
            KZS_LOADER_MOD_ERR(mod, KZS_MSG_FIND_PREFIX, prefix);
        }
    } else {
        modName = mod->name;
    }
    if (modName != nullptr) {
        ret = KZS_NODE_FillIfFeature(ModDict(mod), static_cast<KzsIfFeature *>(dest), modName, feature);
        if (ret == KZ_OK) {
            return KZ_OK;
        }
    }
    KZS_LOADER_MOD_ERR(mod, KZS_MSG_PARSE_VALUE, value, Keyword(KZS_STMT_IF_FEATURE));
    return KZ_EINVAL;
}

} /* extern "C" */
