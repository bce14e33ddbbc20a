/* Statement identifiers: keyword table, parse-function table and the
 * keyword-to-identifier lookup by first letter. */
#include <cstring>

#include "loader/kzs_stmt.h"
#include "schema/kzs_node.h"

extern "C" {

const KzsKeyWord g_kzsKeyWordTbl[KZS_STMT_COUNT] = {
    {"unknown", KZS_STMT_UNKNOWN},
    {"action", KZS_STMT_ACTION},
    {"anydata", KZS_STMT_ANYDATA},
    {"anyxml", KZS_STMT_ANYXML},
    {"argument", KZS_STMT_ARGUMENT},
    {"augment", KZS_STMT_AUGMENT},
    {"base", KZS_STMT_BASE},
    {"belongs-to", KZS_STMT_BELONGS_TO},
    {"bit", KZS_STMT_BIT},
    {"case", KZS_STMT_CASE},
    {"choice", KZS_STMT_CHOICE},
    {"config", KZS_STMT_CONFIG},
    {"contact", KZS_STMT_CONTACT},
    {"container", KZS_STMT_CONTAINER},
    {"default", KZS_STMT_DEFAULT},
    {"description", KZS_STMT_DESCRIPTION},
    {"deviate", KZS_STMT_DEVIATE},
    {"deviation", KZS_STMT_DEVIATION},
    {"enum", KZS_STMT_ENUM},
    {"error-app-tag", KZS_STMT_ERROR_APP_TAG},
    {"error-message", KZS_STMT_ERROR_MESSAGE},
    {"extension", KZS_STMT_EXTENSION},
    {"feature", KZS_STMT_FEATURE},
    {"fraction-digits", KZS_STMT_FRACTION_DIGITS},
    {"grouping", KZS_STMT_GROUPING},
    {"identity", KZS_STMT_IDENTITY},
    {"if-feature", KZS_STMT_IF_FEATURE},
    {"import", KZS_STMT_IMPORT},
    {"include", KZS_STMT_INCLUDE},
    {"input", KZS_STMT_INPUT},
    {"key", KZS_STMT_KEY},
    {"leaf", KZS_STMT_LEAF},
    {"leaf-list", KZS_STMT_LEAF_LIST},
    {"length", KZS_STMT_LENGTH},
    {"list", KZS_STMT_LIST},
    {"mandatory", KZS_STMT_MANDATORY},
    {"max-elements", KZS_STMT_MAX_ELEMENTS},
    {"min-elements", KZS_STMT_MIN_ELEMENTS},
    {"modifier", KZS_STMT_MODIFIER},
    {"module", KZS_STMT_MODULE},
    {"must", KZS_STMT_MUST},
    {"namespace", KZS_STMT_NAMESPACE},
    {"notification", KZS_STMT_NOTIFICATION},
    {"ordered-by", KZS_STMT_ORDERED_BY},
    {"organization", KZS_STMT_ORGANIZATION},
    {"output", KZS_STMT_OUTPUT},
    {"path", KZS_STMT_PATH},
    {"pattern", KZS_STMT_PATTERN},
    {"position", KZS_STMT_POSITION},
    {"prefix", KZS_STMT_PREFIX},
    {"presence", KZS_STMT_PRESENCE},
    {"range", KZS_STMT_RANGE},
    {"reference", KZS_STMT_REFERENCE},
    {"refine", KZS_STMT_REFINE},
    {"require-instance", KZS_STMT_REQUIRE_INSTANCE},
    {"revision", KZS_STMT_REVISION},
    {"revision-date", KZS_STMT_REVISION_DATE},
    {"rpc", KZS_STMT_RPC},
    {"status", KZS_STMT_STATUS},
    {"submodule", KZS_STMT_SUBMODULE},
    {"type", KZS_STMT_TYPE},
    {"typedef", KZS_STMT_TYPEDEF},
    {"unique", KZS_STMT_UNIQUE},
    {"units", KZS_STMT_UNITS},
    {"uses", KZS_STMT_USES},
    {"value", KZS_STMT_VALUE},
    {"when", KZS_STMT_WHEN},
    {"yang-version", KZS_STMT_YANG_VERSION},
    {"yin-element", KZS_STMT_YIN_ELEMENT},
    {"text", KZS_STMT_TEXT},
    {"extension-instance", KZS_STMT_EXTENSION_INSTANCE},
};

const KzsStmtParseFuncMap g_kzStmtParseFuncMapTbl[KZS_STMT_COUNT] = {
    {KZS_STMT_UNKNOWN, nullptr},
    {KZS_STMT_ACTION, KZS_LOADER_ParseAction},
    {KZS_STMT_ANYDATA, KZS_LOADER_ParseAnydata},
    {KZS_STMT_ANYXML, KZS_LOADER_ParseAnyxml},
    {KZS_STMT_ARGUMENT, KZS_LOADER_ParseArgument},
    {KZS_STMT_AUGMENT, KZS_LOADER_ParseAugment},
    {KZS_STMT_BASE, KZS_LOADER_ParseIdentBase},
    {KZS_STMT_BELONGS_TO, nullptr},
    {KZS_STMT_BIT, nullptr},
    {KZS_STMT_CASE, KZS_LOADER_ParseCase},
    {KZS_STMT_CHOICE, KZS_LOADER_ParseChoice},
    {KZS_STMT_CONFIG, KZS_LOADER_ParseConfig},
    {KZS_STMT_CONTACT, nullptr},
    {KZS_STMT_CONTAINER, KZS_LOADER_ParseContainer},
    {KZS_STMT_DEFAULT, KZS_LOADER_ParseDefault},
    {KZS_STMT_DESCRIPTION, KZS_LOADER_ParseDescription},
    {KZS_STMT_DEVIATE, KZS_LOADER_ParseDeviate},
    {KZS_STMT_DEVIATION, KZS_LOADER_ParseDeviation},
    {KZS_STMT_ENUM, nullptr},
    {KZS_STMT_ERROR_APP_TAG, KZS_LOADER_ParseErrorAppTag},
    {KZS_STMT_ERROR_MESSAGE, KZS_LOADER_ParseErrorMessage},
    {KZS_STMT_EXTENSION, KZS_LOADER_ParseExtension},
    {KZS_STMT_FEATURE, KZS_LOADER_ParseFeature},
    {KZS_STMT_FRACTION_DIGITS, nullptr},
    {KZS_STMT_GROUPING, nullptr},
    {KZS_STMT_IDENTITY, KZS_LOADER_ParseIdentity},
    {KZS_STMT_IF_FEATURE, KZS_LOADER_ParseIfFeature},
    {KZS_STMT_IMPORT, nullptr},
    {KZS_STMT_INCLUDE, nullptr},
    {KZS_STMT_INPUT, KZS_LOADER_ParseInput},
    {KZS_STMT_KEY, KZS_LOADER_ParseKey},
    {KZS_STMT_LEAF, KZS_LOADER_ParseLeaf},
    {KZS_STMT_LEAF_LIST, KZS_LOADER_ParseLeafList},
    {KZS_STMT_LENGTH, nullptr},
    {KZS_STMT_LIST, KZS_LOADER_ParseList},
    {KZS_STMT_MANDATORY, KZS_LOADER_ParseMandatory},
    {KZS_STMT_MAX_ELEMENTS, nullptr},
    {KZS_STMT_MIN_ELEMENTS, nullptr},
    {KZS_STMT_MODIFIER, nullptr},
    {KZS_STMT_MODULE, nullptr},
    {KZS_STMT_MUST, KZS_LOADER_ParseMust},
    {KZS_STMT_NAMESPACE, nullptr},
    {KZS_STMT_NOTIFICATION, KZS_LOADER_ParseNotif},
    {KZS_STMT_ORDERED_BY, KZS_LOADER_ParseOrderedBy},
    {KZS_STMT_ORGANIZATION, KZS_LOADER_ParseOrganization},
    {KZS_STMT_OUTPUT, KZS_LOADER_ParseOutput},
    {KZS_STMT_PATH, nullptr},
    {KZS_STMT_PATTERN, nullptr},
    {KZS_STMT_POSITION, nullptr},
    {KZS_STMT_PREFIX, KZS_LOADER_ParsePrefix},
    {KZS_STMT_PRESENCE, KZS_LOADER_ParsePresence},
    {KZS_STMT_RANGE, nullptr},
    {KZS_STMT_REFERENCE, nullptr},
    {KZS_STMT_REFINE, nullptr},
    {KZS_STMT_REQUIRE_INSTANCE, nullptr},
    {KZS_STMT_REVISION, KZS_LOADER_ParseRevision},
    {KZS_STMT_REVISION_DATE, nullptr},
    {KZS_STMT_RPC, KZS_LOADER_ParseRpc},
    {KZS_STMT_STATUS, KZS_LOADER_ParseStatus},
    {KZS_STMT_SUBMODULE, nullptr},
    {KZS_STMT_TYPE, KZT_LOADER_ParseTypeStmt},
    {KZS_STMT_TYPEDEF, KZT_LOADER_ParseTypeDefStmt},
    {KZS_STMT_UNIQUE, nullptr},
    {KZS_STMT_UNITS, KZS_LOADER_ParseUnits},
    {KZS_STMT_USES, nullptr},
    {KZS_STMT_VALUE, KZS_LOADER_ParseValue},
    {KZS_STMT_WHEN, KZS_LOADER_ParseWhen},
    {KZS_STMT_YANG_VERSION, nullptr},
    {KZS_STMT_YIN_ELEMENT, KZS_LOADER_ParseYinElement},
    {KZS_STMT_TEXT, KZS_LOADER_ParseText},
    {KZS_STMT_EXTENSION_INSTANCE, KZS_LOADER_ParseExtInst},
};

} /* extern "C" */

namespace {

/* Each letter's keywords in identifier order (search order only matters for speed). */
constexpr KzsKeyWord kStartA[] = {{"action", KZS_STMT_ACTION}, {"anydata", KZS_STMT_ANYDATA},
                                  {"anyxml", KZS_STMT_ANYXML}, {"argument", KZS_STMT_ARGUMENT},
                                  {"augment", KZS_STMT_AUGMENT}};
constexpr KzsKeyWord kStartB[] = {{"base", KZS_STMT_BASE}, {"belongs-to", KZS_STMT_BELONGS_TO},
                                  {"bit", KZS_STMT_BIT}};
constexpr KzsKeyWord kStartC[] = {{"case", KZS_STMT_CASE}, {"choice", KZS_STMT_CHOICE},
                                  {"config", KZS_STMT_CONFIG}, {"contact", KZS_STMT_CONTACT},
                                  {"container", KZS_STMT_CONTAINER}};
constexpr KzsKeyWord kStartD[] = {{"default", KZS_STMT_DEFAULT}, {"description", KZS_STMT_DESCRIPTION},
                                  {"deviate", KZS_STMT_DEVIATE}, {"deviation", KZS_STMT_DEVIATION}};
constexpr KzsKeyWord kStartE[] = {{"enum", KZS_STMT_ENUM}, {"error-app-tag", KZS_STMT_ERROR_APP_TAG},
                                  {"error-message", KZS_STMT_ERROR_MESSAGE}, {"extension", KZS_STMT_EXTENSION}};
constexpr KzsKeyWord kStartF[] = {{"feature", KZS_STMT_FEATURE}, {"fraction-digits", KZS_STMT_FRACTION_DIGITS}};
constexpr KzsKeyWord kStartG[] = {{"grouping", KZS_STMT_GROUPING}};
constexpr KzsKeyWord kStartI[] = {{"identity", KZS_STMT_IDENTITY}, {"if-feature", KZS_STMT_IF_FEATURE},
                                  {"import", KZS_STMT_IMPORT}, {"include", KZS_STMT_INCLUDE},
                                  {"input", KZS_STMT_INPUT}};
constexpr KzsKeyWord kStartK[] = {{"key", KZS_STMT_KEY}};
constexpr KzsKeyWord kStartL[] = {{"leaf", KZS_STMT_LEAF}, {"leaf-list", KZS_STMT_LEAF_LIST},
                                  {"length", KZS_STMT_LENGTH}, {"list", KZS_STMT_LIST}};
constexpr KzsKeyWord kStartM[] = {{"mandatory", KZS_STMT_MANDATORY}, {"max-elements", KZS_STMT_MAX_ELEMENTS},
                                  {"min-elements", KZS_STMT_MIN_ELEMENTS}, {"modifier", KZS_STMT_MODIFIER},
                                  {"module", KZS_STMT_MODULE}, {"must", KZS_STMT_MUST}};
constexpr KzsKeyWord kStartN[] = {{"namespace", KZS_STMT_NAMESPACE}, {"notification", KZS_STMT_NOTIFICATION}};
constexpr KzsKeyWord kStartO[] = {{"ordered-by", KZS_STMT_ORDERED_BY}, {"organization", KZS_STMT_ORGANIZATION},
                                  {"output", KZS_STMT_OUTPUT}};
constexpr KzsKeyWord kStartP[] = {{"path", KZS_STMT_PATH}, {"pattern", KZS_STMT_PATTERN},
                                  {"position", KZS_STMT_POSITION}, {"prefix", KZS_STMT_PREFIX},
                                  {"presence", KZS_STMT_PRESENCE}};
constexpr KzsKeyWord kStartR[] = {{"range", KZS_STMT_RANGE}, {"reference", KZS_STMT_REFERENCE},
                                  {"refine", KZS_STMT_REFINE}, {"require-instance", KZS_STMT_REQUIRE_INSTANCE},
                                  {"revision", KZS_STMT_REVISION}, {"revision-date", KZS_STMT_REVISION_DATE},
                                  {"rpc", KZS_STMT_RPC}};
constexpr KzsKeyWord kStartS[] = {{"status", KZS_STMT_STATUS}, {"submodule", KZS_STMT_SUBMODULE}};
constexpr KzsKeyWord kStartT[] = {{"text", KZS_STMT_TEXT}, {"type", KZS_STMT_TYPE}, {"typedef", KZS_STMT_TYPEDEF}};
constexpr KzsKeyWord kStartU[] = {{"unique", KZS_STMT_UNIQUE}, {"units", KZS_STMT_UNITS}, {"uses", KZS_STMT_USES}};
constexpr KzsKeyWord kStartV[] = {{"value", KZS_STMT_VALUE}};
constexpr KzsKeyWord kStartW[] = {{"when", KZS_STMT_WHEN}};
constexpr KzsKeyWord kStartY[] = {{"yang-version", KZS_STMT_YANG_VERSION}, {"yin-element", KZS_STMT_YIN_ELEMENT}};

template <size_t N>
uint32_t LookUp(const KzsKeyWord (&map)[N], const char *keyword)
{
    return KZS_LOADER_GetStmtFromStmtMap(map, static_cast<uint32_t>(N), keyword);
}

using LetterFunc = uint32_t (*)(const char *);

/* Indexed by letter - 'a'; null for letters that begin no keyword. */
constexpr LetterFunc kLetterFuncs[26] = {
    KZS_LOADER_GetStmtByKeywordStartWithA, KZS_LOADER_GetStmtByKeywordStartWithB,
    KZS_LOADER_GetStmtByKeywordStartWithC, KZS_LOADER_GetStmtByKeywordStartWithD,
    KZS_LOADER_GetStmtByKeywordStartWithE, KZS_LOADER_GetStmtByKeywordStartWithF,
    KZS_LOADER_GetStmtByKeywordStartWithG, nullptr,
    KZS_LOADER_GetStmtByKeywordStartWithI, nullptr,
    KZS_LOADER_GetStmtByKeywordStartWithK, KZS_LOADER_GetStmtByKeywordStartWithL,
    KZS_LOADER_GetStmtByKeywordStartWithM, KZS_LOADER_GetStmtByKeywordStartWithN,
    KZS_LOADER_GetStmtByKeywordStartWithO, KZS_LOADER_GetStmtByKeywordStartWithP,
    nullptr, KZS_LOADER_GetStmtByKeywordStartWithR,
    KZS_LOADER_GetStmtByKeywordStartWithS, KZS_LOADER_GetStmtByKeywordStartWithT,
    KZS_LOADER_GetStmtByKeywordStartWithU, KZS_LOADER_GetStmtByKeywordStartWithV,
    KZS_LOADER_GetStmtByKeywordStartWithW, nullptr,
    KZS_LOADER_GetStmtByKeywordStartWithY, nullptr,
};

// The keyword that creates a node of each kind.
constexpr uint32_t kStmtOfKind[KZS_NODE_KIND_MAX + 1] = {
    KZS_STMT_UNKNOWN, KZS_STMT_CONTAINER, KZS_STMT_LEAF,   KZS_STMT_LEAF_LIST,    KZS_STMT_LIST,
    KZS_STMT_CHOICE,  KZS_STMT_CASE,      KZS_STMT_ANYDATA, KZS_STMT_ANYXML,      KZS_STMT_ACTION,
    KZS_STMT_RPC,     KZS_STMT_NOTIFICATION, KZS_STMT_INPUT, KZS_STMT_OUTPUT,     KZS_STMT_AUGMENT,
};

} /* namespace */

extern "C" {

KZ_API const char *KZS_LOADER_GetKeywordByStmt(uint32_t stmt)
{
    if (stmt > KZS_STMT_MAX) {
        return g_kzsKeyWordTbl[KZS_STMT_UNKNOWN].keyword;
    }
    return g_kzsKeyWordTbl[stmt].keyword;
}

KZ_API KzsStmtParseFunc KZS_LOADER_GetStmtParseFunc(uint32_t stmt)
{
    if (stmt > KZS_STMT_MAX) {
        return nullptr;
    }
    return g_kzStmtParseFuncMapTbl[stmt].parse;
}

KZ_API uint32_t KZS_LOADER_GetStmtFromStmtMap(const KzsKeyWord *map, uint32_t count, const char *keyword)
{
    if (map == nullptr || keyword == nullptr || keyword[0] == '\0') {
        return KZS_STMT_UNKNOWN;
    }
    /* The first character already selected this map; the second tells most entries apart. */
    for (uint32_t i = 0; i < count; i++) {
        if (map[i].keyword[1] == keyword[1] && std::strcmp(map[i].keyword + 1, keyword + 1) == 0) {
            return map[i].stmt;
        }
    }
    return KZS_STMT_UNKNOWN;
}

KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithA(const char *keyword) { return LookUp(kStartA, keyword); }
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithB(const char *keyword) { return LookUp(kStartB, keyword); }
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithC(const char *keyword) { return LookUp(kStartC, keyword); }
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithD(const char *keyword) { return LookUp(kStartD, keyword); }
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithE(const char *keyword) { return LookUp(kStartE, keyword); }
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithF(const char *keyword) { return LookUp(kStartF, keyword); }
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithG(const char *keyword) { return LookUp(kStartG, keyword); }
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithI(const char *keyword) { return LookUp(kStartI, keyword); }
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithK(const char *keyword) { return LookUp(kStartK, keyword); }
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithL(const char *keyword) { return LookUp(kStartL, keyword); }
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithM(const char *keyword) { return LookUp(kStartM, keyword); }
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithN(const char *keyword) { return LookUp(kStartN, keyword); }
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithO(const char *keyword) { return LookUp(kStartO, keyword); }
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithP(const char *keyword) { return LookUp(kStartP, keyword); }
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithR(const char *keyword) { return LookUp(kStartR, keyword); }
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithS(const char *keyword) { return LookUp(kStartS, keyword); }
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithT(const char *keyword) { return LookUp(kStartT, keyword); }
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithU(const char *keyword) { return LookUp(kStartU, keyword); }
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithV(const char *keyword) { return LookUp(kStartV, keyword); }
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithW(const char *keyword) { return LookUp(kStartW, keyword); }
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithY(const char *keyword) { return LookUp(kStartY, keyword); }

KZ_API uint32_t KZS_LOADER_GetStmtByKeyword(const char *keyword)
{
    if (keyword == nullptr) {
        return KZS_STMT_UNKNOWN;
    }
    const char first = keyword[0];
    if (first < 'a' || first > 'z') {
        return KZS_STMT_UNKNOWN;
    }
    LetterFunc func = kLetterFuncs[first - 'a'];
    return func == nullptr ? static_cast<uint32_t>(KZS_STMT_UNKNOWN) : func(keyword);
}

KZ_API uint32_t KZS_LOADER_GetXmlNodeYangStmt(const xmlNode *node)
{
    if (node == nullptr || node->ns == nullptr) {
        return KZS_STMT_UNKNOWN;
    }
    const char *href = reinterpret_cast<const char *>(node->ns->href);
    if (href == nullptr || std::strcmp(href, KZS_YIN_NAMESPACE) != 0) {
        return KZS_STMT_EXTENSION_INSTANCE;
    }
    return KZS_LOADER_GetStmtByKeyword(reinterpret_cast<const char *>(node->name));
}

KZ_API uint32_t KZS_NODE_GetStmtByNodeType(uint32_t kind)
{
    return kind <= KZS_NODE_KIND_MAX ? kStmtOfKind[kind] : static_cast<uint32_t>(KZS_STMT_UNKNOWN);
}

} /* extern "C" */
