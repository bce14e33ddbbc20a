/* Token lists kept per condition text for repeated evaluation. */
#include "xpath/kz_xpath.h"

#include <new>
#include <unordered_map>


struct KzXpathLexCache {
    /* text address -> token list (null when the text does not tokenize) */
    std::unordered_map<const char *, XpathLex *> lists;
};

extern "C" {

KzXpathLexCache *KZ_XPATH_CreateLexCache(void)
{
    void *mem = KZ_MemMalloc(sizeof(KzXpathLexCache));
    if (mem == nullptr) {
        return nullptr;
    }
    return new (mem) KzXpathLexCache();
}

void KZ_XPATH_DestroyLexCache(KzXpathLexCache *cache)
{
    if (cache == nullptr) {
        return;
    }
    for (auto &entry : cache->lists) {
        KZ_XPATH_FreeXpathLex(entry.second);
    }
    cache->~KzXpathLexCache();
    KZ_MemFree(cache);
}

const XpathLex *KZ_XPATH_GetCachedLex(KzXpathLexCache *cache, const char *expr)
{
    if (cache == nullptr || expr == nullptr) {
        return nullptr;
    }
    auto found = cache->lists.find(expr);
    if (found != cache->lists.end()) {
        return found->second;
    }
    XpathLex *lex = KZ_XPATH_ExprTokenize(expr);
    try {
        cache->lists.emplace(expr, lex);
    } catch (const std::bad_alloc &) {
        KZ_XPATH_FreeXpathLex(lex);
        return nullptr;
    }
    return lex;
}

uint32_t KZ_XPATH_EvalCachedCondition(KzXpathLexCache *cache, struct _xmlNode *rootNode,
                                      struct _xmlNode *contextNode, const char *expr)
{
    if (cache == nullptr || rootNode == nullptr || contextNode == nullptr || expr == nullptr) {
        return KZ_EINVAL;
    }
    return KZ_XPATH_EvalTokenizedCondition(rootNode, contextNode, KZ_XPATH_GetCachedLex(cache, expr));
}

} // extern "C"
