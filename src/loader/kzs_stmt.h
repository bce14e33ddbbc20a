/* YIN statement identifiers, keyword tables and the sub-statement framework,
 * together with the prototypes of every statement parse function. */
#ifndef KZS_STMT_H
#define KZS_STMT_H

#include <libxml/tree.h>

#include "korla.h"
#include "types/kzt_cons.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Statement identifiers, in keyword-table order. */
enum {
    KZS_STMT_UNKNOWN = 0,
    KZS_STMT_ACTION = 1,
    KZS_STMT_ANYDATA = 2,
    KZS_STMT_ANYXML = 3,
    KZS_STMT_ARGUMENT = 4,
    KZS_STMT_AUGMENT = 5,
    KZS_STMT_BASE = 6,
    KZS_STMT_BELONGS_TO = 7,
    KZS_STMT_BIT = 8,
    KZS_STMT_CASE = 9,
    KZS_STMT_CHOICE = 10,
    KZS_STMT_CONFIG = 11,
    KZS_STMT_CONTACT = 12,
    KZS_STMT_CONTAINER = 13,
    KZS_STMT_DEFAULT = 14,
    KZS_STMT_DESCRIPTION = 15,
    KZS_STMT_DEVIATE = 16,
    KZS_STMT_DEVIATION = 17,
    KZS_STMT_ENUM = 18,
    KZS_STMT_ERROR_APP_TAG = 19,
    KZS_STMT_ERROR_MESSAGE = 20,
    KZS_STMT_EXTENSION = 21,
    KZS_STMT_FEATURE = 22,
    KZS_STMT_FRACTION_DIGITS = 23,
    KZS_STMT_GROUPING = 24,
    KZS_STMT_IDENTITY = 25,
    KZS_STMT_IF_FEATURE = 26,
    KZS_STMT_IMPORT = 27,
    KZS_STMT_INCLUDE = 28,
    KZS_STMT_INPUT = 29,
    KZS_STMT_KEY = 30,
    KZS_STMT_LEAF = 31,
    KZS_STMT_LEAF_LIST = 32,
    KZS_STMT_LENGTH = 33,
    KZS_STMT_LIST = 34,
    KZS_STMT_MANDATORY = 35,
    KZS_STMT_MAX_ELEMENTS = 36,
    KZS_STMT_MIN_ELEMENTS = 37,
    KZS_STMT_MODIFIER = 38,
    KZS_STMT_MODULE = 39,
    KZS_STMT_MUST = 40,
    KZS_STMT_NAMESPACE = 41,
    KZS_STMT_NOTIFICATION = 42,
    KZS_STMT_ORDERED_BY = 43,
    KZS_STMT_ORGANIZATION = 44,
    KZS_STMT_OUTPUT = 45,
    KZS_STMT_PATH = 46,
    KZS_STMT_PATTERN = 47,
    KZS_STMT_POSITION = 48,
    KZS_STMT_PREFIX = 49,
    KZS_STMT_PRESENCE = 50,
    KZS_STMT_RANGE = 51,
    KZS_STMT_REFERENCE = 52,
    KZS_STMT_REFINE = 53,
    KZS_STMT_REQUIRE_INSTANCE = 54,
    KZS_STMT_REVISION = 55,
    KZS_STMT_REVISION_DATE = 56,
    KZS_STMT_RPC = 57,
    KZS_STMT_STATUS = 58,
    KZS_STMT_SUBMODULE = 59,
    KZS_STMT_TYPE = 60,
    KZS_STMT_TYPEDEF = 61,
    KZS_STMT_UNIQUE = 62,
    KZS_STMT_UNITS = 63,
    KZS_STMT_USES = 64,
    KZS_STMT_VALUE = 65,
    KZS_STMT_WHEN = 66,
    KZS_STMT_YANG_VERSION = 67,
    KZS_STMT_YIN_ELEMENT = 68,
    KZS_STMT_TEXT = 69,
    KZS_STMT_EXTENSION_INSTANCE = 70,
    KZS_STMT_MAX = 70
};

#define KZS_STMT_COUNT 71u

/* The YIN namespace; elements of any other namespace are extension instances. */
#define KZS_YIN_NAMESPACE "urn:ietf:params:xml:ns:yang:yin:1"

/* Every statement parser: (module being built, the statement's element,
 * identifier of the parent statement, destination) -> status. */
typedef uint32_t (*KzsStmtParseFunc)(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);

typedef struct KzsKeyWord {
    const char *keyword;
    uint32_t stmt;
} KzsKeyWord;

typedef struct KzsStmtParseFuncMap {
    uint32_t stmt;
    KzsStmtParseFunc parse; /* null where the statement is not parsed through the framework */
} KzsStmtParseFuncMap;

KZ_API extern const KzsKeyWord g_kzsKeyWordTbl[KZS_STMT_COUNT];
KZ_API extern const KzsStmtParseFuncMap g_kzStmtParseFuncMapTbl[KZS_STMT_COUNT];

/* SubParseElem flags. */
#define KZS_SUB_FLAG_UNIQUE 0x2u
#define KZS_SUB_FLAG_ARRAY  0x4u
#define KZS_SUB_FLAG_SEEN   0x8u

/* One accepted child statement. */
typedef struct SubParseElem {
    uint32_t stmt;
    void *dest;          /* single: where the parser writes; array: address of the array pointer */
    uint16_t *fillIndex; /* array: next free slot, advanced per occurrence parsed */
    uint16_t *count;     /* array: occurrences marked */
    uint32_t elemSize;   /* array: size of one element */
    uint32_t flags;      /* KZS_SUB_FLAG_* */
} SubParseElem;

/* Destination of the top-level data-definition statements of one module or
 * submodule body: the last node appended to each of the module's top-level
 * chains (data nodes, rpcs, notifications, augments), so that each append
 * costs the same however many nodes came before. A null destination at the
 * top level appends through the module record alone. */
typedef struct KzsTopNodeTails {
    KzsNode *tails[4];
} KzsTopNodeTails;

/* Per-load state of the file reader (defined with the load sequence). */
typedef struct LoadAssister LoadAssister;

/* ---- Keywords and identifiers ---- */
KZ_API const char *KZS_LOADER_GetKeywordByStmt(uint32_t stmt);
KZ_API KzsStmtParseFunc KZS_LOADER_GetStmtParseFunc(uint32_t stmt);
KZ_API uint32_t KZS_LOADER_GetStmtByKeyword(const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtFromStmtMap(const KzsKeyWord *map, uint32_t count, const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithA(const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithB(const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithC(const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithD(const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithE(const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithF(const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithG(const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithI(const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithK(const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithL(const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithM(const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithN(const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithO(const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithP(const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithR(const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithS(const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithT(const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithU(const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithV(const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithW(const char *keyword);
KZ_API uint32_t KZS_LOADER_GetStmtByKeywordStartWithY(const char *keyword);
/* 0 without namespace, 70 outside the YIN namespace, else the local name's identifier. */
KZ_API uint32_t KZS_LOADER_GetXmlNodeYangStmt(const xmlNode *node);

/* ---- Sub-statement framework ---- */
KZ_API SubParseElem *KZS_LOADER_GetSubParseElem(uint32_t stmt, SubParseElem *elems, uint32_t elemCount);
KZ_API void KZS_LOADER_MarkSubNode(xmlNode *node);
KZ_API uint32_t KZS_LOADER_MarkSubNodeAndCountArraySize(KzMod *mod, xmlNode *node, SubParseElem *elems,
                                                        uint32_t elemCount);
KZ_API uint32_t KZS_LOADER_NewSubStatementsArray(uint32_t parentStmt, SubParseElem *elems, uint32_t elemCount);
KZ_API void *KZS_LOADER_GetSubParseDest(SubParseElem *elem, uint32_t parentStmt);
KZ_API uint32_t KZS_LOADER_CheckUniqueSubStmtRepeat(uint32_t flags);
KZ_API uint32_t KZS_LOADER_ParseSubStatementsInner(KzMod *mod, xmlNode *node, uint32_t parentStmt,
                                                   SubParseElem *elems, uint32_t elemCount);
KZ_API uint32_t KZS_LOADER_ParseSubStatements(KzMod *mod, xmlNode *node, uint32_t parentStmt,
                                              SubParseElem *elems, uint32_t elemCount);
/* 1 when extension instances under this parent live in the schema node handed as dest. */
KZ_API uint32_t KZS_LOADER_IsNodeStmtWithExtInst(uint32_t parentStmt);

/* ---- Text-valued statements ---- */
KZ_API uint32_t KZS_LOADER_ParseText(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseValue(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseDescription(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParsePrefix(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseStatus(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseUnits(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseErrorMessage(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseErrorAppTag(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);

/* ---- Module header, linkage and submodules ---- */
/* Parses the body of a "module" element into mod (name and context already set). */
KZ_API uint32_t KZS_LOADER_ParseModuleContent(KzMod *mod, xmlNode *moduleElem, LoadAssister *assister);
KZ_API uint32_t KZS_LOADER_ParseModuleHeadStmts(KzMod *mod, xmlNode *moduleElem);
KZ_API uint32_t KZS_LOADER_MapModuleHeadStmtToBit(uint32_t stmt);
KZ_API uint32_t KZS_LOADER_ParseYangVersion(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseNamespace(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseRevision(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseSemVersion(KzMod *mod, xmlNode *revisionElem);
KZ_API uint32_t KZS_LOADER_ParseOrganization(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseLinkageStmts(KzMod *mod, xmlNode *elem, LoadAssister *assister);
KZ_API uint32_t KZS_LOADER_ParseImport(KzMod *mod, xmlNode *importElem);
KZ_API uint32_t KZS_LOADER_ParseInclude(KzMod *mod, xmlNode *includeElem, LoadAssister *assister);
/* counts: extension, feature, identity, typedef, deviation, extension-instance. */
KZ_API uint32_t KZS_LOADER_CounterBodyStmt(KzMod *mod, xmlNode *elem, uint16_t counts[6]);
KZ_API uint32_t KZS_LOADER_ExpandBodyStmtArray(KzMod *mod, uint16_t counts[6]);
KZ_API uint32_t KZS_LOADER_CounterAndExpandBodyStmtArray(KzMod *mod, xmlNode *elem, uint16_t counts[6]);
KZ_API uint32_t KZS_LOADER_LoadSubModule(KzCtx *ctx, KzMod *mod, const char *submoduleName,
                                         LoadAssister *assister);
KZ_API uint32_t KZS_LOADER_ParseSubmoduleContent(KzMod *mod, xmlNode *submoduleElem, LoadAssister *assister);

/* ---- Data definition statements (dest: parent KzsNode; at the top level a KzsTopNodeTails or null) ---- */
KZ_API uint32_t KZS_LOADER_ParseContainer(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseLeaf(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseLeafList(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseList(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
/* Runs the list's sub-statements, then marks its key leaves. */
KZ_API uint32_t KZS_LOADER_ParseListInner(KzMod *mod, xmlNode *elem, KzsNode *list);
KZ_API uint32_t KZS_LOADER_ParseChoice(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseCase(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseAnydata(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseAnyxml(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseAnydataInner(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest,
                                             uint32_t kind);
KZ_API uint32_t KZS_LOADER_ParseRpc(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseAction(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseRpcInner(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest,
                                         uint32_t kind);
KZ_API uint32_t KZS_LOADER_ParseInput(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseOutput(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseInout(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest,
                                      uint32_t kind);
KZ_API uint32_t KZS_LOADER_ParseNotif(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseAugment(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
/* Creates the node of a data-definition statement and names it by the element's argument. */
KZ_API KzsNode *KZS_LOADER_ParseNodeCommon(KzMod *mod, xmlNode *elem, uint32_t kind);
KZ_API uint32_t KZS_LOADER_ParseAugmentTargetNode(KzMod *mod, xmlNode *elem, KzsNode *augment);
KZ_API uint32_t KZS_LOADER_AddNodeToSchemaTree(KzMod *mod, KzsNode *parent, KzsNode *node, uint32_t parentStmt);
KZ_API uint32_t KZS_LOADER_RefreshLeafDefaultValue(KzMod *mod, KzsNode *leaf);
KZ_API uint32_t KZS_LOADER_RefreshLeafListDefaultValue(KzMod *mod, KzsNode *leafList);

/* ---- Simple value statements (dest: the node being built, or its flag word) ---- */
KZ_API uint32_t KZS_LOADER_ParseConfig(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseMandatory(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseOrderedBy(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParsePresence(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseKey(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseDefault(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);

/* ---- Conditions ---- */
KZ_API uint32_t KZS_LOADER_ParseWhen(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseMust(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseIfFeature(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
/* Returns a new string (KZ_MemFree) with import prefixes inside literals replaced by module names. */
KZ_API char *KZS_LOADER_TransPrefix2ModNameInLiteral(KzMod *mod, const char *cond);
/* Appends len characters to out (outSize bytes, *used filled); 22 when the result would not fit. */
KZ_API uint32_t KZS_LOADER_CopyTokenIntoOutCondition(char *out, size_t outSize, size_t *used, const char *text,
                                                     size_t len);
/* Appends a literal token, its prefix replaced by the module name when the prefix is known. */
KZ_API uint32_t KZS_LOADER_AddModuleNameIntoCondition(KzMod *mod, char *out, size_t outSize, size_t *used,
                                                      const char *literal, size_t len);

/* ---- Global definition statements ---- */
KZ_API uint32_t KZS_LOADER_ParseExtension(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseArgument(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseYinElement(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
/* 1 when the foreign element is to be parsed as an extension instance. */
KZ_API uint32_t KZS_LOADER_IsExtInstNeedParse(KzMod *mod, xmlNode *elem);
KZ_API uint32_t KZS_LOADER_ParseExtInst(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseFeature(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseIdentity(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseIdentBase(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseDeviation(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZS_LOADER_ParseDeviate(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);

/* Statement identifier of the keyword that creates a node of this kind (0 when none). */
KZ_API uint32_t KZS_NODE_GetStmtByNodeType(uint32_t kind);

/* ---- Type statements ---- */
/* Built-in name to base type; 0 when the name is not built in. */
KZ_API KztBaseType KZT_LOADER_GetBaseTypeFromTypeName(const char *name);

/* Statement parsers (shape of the statement framework): dest is a zeroed
 * KztRealType for "type", a KzsTypedef for "typedef". */
KZ_API uint32_t KZT_LOADER_ParseTypeStmt(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);
KZ_API uint32_t KZT_LOADER_ParseTypeDefStmt(KzMod *mod, xmlNode *elem, uint32_t parentStmt, void *dest);

/* Steps of the type parse. counters has KZT_TYPE_COUNTER_NUM entries. */
KZ_API void KZT_LOADER_CountAndMarkTypeSubElem(xmlNode *typeElem, uint16_t *counters);
KZ_API uint32_t KZT_LOADER_FillAllTypeConstraint(KzCtx *ctx, KzMod *mod, KztRealType *realType, xmlNode *typeElem,
                                                 const uint16_t *counters);
KZ_API uint32_t KZT_LOADER_CreateConsDataInLastConstraint(KzCtx *ctx, KztTypeConstraint *entry, KztConsType kind,
                                                          uint16_t count);

/* The filler of each constraint kind's body; null for an index out of range. */
KZ_API KztConsFillAllSegFunc KZT_LOADER_GetConsDataFillAllSegFunc(KztConsType kind);
KZ_API uint32_t KZT_LOADER_FillConsDataAndAllUnionSeg(KzCtx *ctx, KzMod *mod, xmlNode *typeElem, KztConsFillArg *arg);
KZ_API uint32_t KZT_LOADER_FillOneConsSegUnion(KzCtx *ctx, KzMod *mod, void *seg, uint8_t *aux, xmlNode *elem);


#ifdef __cplusplus
}
#endif

#endif /* KZS_STMT_H */
