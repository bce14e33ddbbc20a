/*
 * korla.h - public interface of libkorla, a YANG schema engine and
 * instance-document validator working on modules in their YIN form.
 *
 * The embedding process creates a context, adds absolute search directories,
 * loads modules and then validates rpc/action requests and notifications.
 * Every call returns an errno-style status (see KZ_OK and friends) unless it
 * says otherwise.  This header compiles as C and as C++.
 */
#ifndef KORLA_H
#define KORLA_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define KZ_API __attribute__((visibility("default")))
#else
#define KZ_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Status codes ------------------------------------------------------ */
#define KZ_OK          0u   /* success */
#define KZ_ERR         1u   /* generic failure or not found */
#define KZ_ENOENT      2u   /* module file not found */
#define KZ_ENOMEM      12u  /* out of memory */
#define KZ_ENOTDIR     20u  /* search path relative or not a directory */
#define KZ_EINVAL      22u  /* invalid argument or malformed input */
#define KZ_ELOCK       37u  /* a lock could not be taken */
#define KZ_ECOPY       126u /* a bounded copy failed */
#define KZ_EPARSE      0xFFFFFFFFu

/* Walk steps handed to tree-walk callbacks. */
#define KZS_TRAV_CHILD          0u
#define KZS_TRAV_SIBLING        1u
#define KZS_TRAV_PARENT         2u
#define KZS_TRAV_START          3u
#define KZS_TRAV_SKIP_CHILDREN  0x5a6b7c8du

/* Context option bits (KZ_CTX_Create). */
#define KZ_CTX_OPT_LOAD_IMPORTS      0x1u
#define KZ_CTX_OPT_KEEP_DESCRIPTION  0x2u
#define KZ_CTX_OPT_KEEP_UNITS        0x8u
#define KZ_CTX_OPT_IGNORE_IMPORT_ERR 0x10u
/* Expand grouping and uses in YIN input too (YANG text is always expanded);
 * without it YIN is taken as already expanded and uses are passed over. */
#define KZ_CTX_OPT_EXPAND_GROUPINGS  0x20u

/* Value input kinds (KZ_NODE_ValidateValue and friends). */
#define KZ_VAL_INPUT_STRING  1u
#define KZ_VAL_INPUT_XMLNODE 2u

/* ---- Opaque records ------------------------------------------------------ */
typedef struct KzCtx KzCtx;
typedef struct KzMod KzMod;
typedef struct KzsNode KzsNode;
typedef struct KzsExtInst KzsExtInst;
typedef struct KzsIdentity KzsIdentity;
typedef struct KztRealType KztRealType;
typedef struct KzdErrNode KzdErrNode;

/* Moment at which a diagnostic was recorded. */
typedef struct KzSysTime {
    uint16_t year;
    uint8_t month;
    uint8_t day;
    uint8_t hour;
    uint8_t minute;
    uint8_t second;
    uint8_t reserved;
    uint32_t microsecond;
} KzSysTime;

/* ---- Callback types -------------------------------------------------------- */
typedef void (*KzPridataFreeFunc)(KzCtx *ctx, KzsNode *node, void *priv);
typedef void (*KzFirstAugChildRelinkFunc)(KzCtx *ctx, KzsNode *node);
typedef void (*KzBeforeDeviateNotSupportFunc)(KzCtx *ctx, KzsNode *node);
typedef void (*KzBeforeDeviateExtInstFunc)(KzCtx *ctx, KzsNode *node);
typedef void (*KzReloadModuleCbFunc)(KzCtx *ctx, const char *moduleName);
/* Returns 0 when the extension instance is to be parsed. */
typedef uint32_t (*KzExtInstFilterCbFunc)(const char *moduleName, const char *extName);
/* Diagnostics scan: non-zero stops the scan and is returned. */
typedef uint32_t (*KzLoadFailScanCb)(const char *moduleName, const char *yinFile, uint32_t level,
                                     const char *message, const KzSysTime *time, void *arg);
/* Schema tree walks: step is one of KZS_TRAV_*. */
typedef uint32_t (*KzNodeWalkCb)(KzsNode *node, uint32_t step, void *cookie);
typedef uint32_t (*KzExtInstScanCb)(KzsExtInst *inst, const char *moduleName, const char *extName,
                                    const char *argument, void *cookie);

/* ==== Runtime: memory, context, search directories, diagnostics ==== */
/* The library's allocator; everything it hands out for the caller to free
 * (noted per call) is released with KZ_MemFree. */
KZ_API void *KZ_MemMalloc(size_t size);
KZ_API void KZ_MemFree(void *ptr);

/* Context life.  flags: KZ_CTX_OPT_* bits; NULL on failure. */
KZ_API KzCtx *KZ_CTX_Create(uint32_t flags);
KZ_API void KZ_CTX_Delete(KzCtx *ctx);

/* Callbacks through which the caller follows schema changes (NULL unsets). */
KZ_API void KZ_CTX_SetPridataFreeFunc(KzCtx *ctx, KzPridataFreeFunc func);
KZ_API void KZ_CTX_SetFirstAugChildRelinkFunc(KzCtx *ctx, KzFirstAugChildRelinkFunc func);
KZ_API void KZ_CTX_SetBeforeDeviateNotSupportFunc(KzCtx *ctx, KzBeforeDeviateNotSupportFunc func);
KZ_API void KZ_CTX_SetBeforeDeviateExtInstFunc(KzCtx *ctx, KzBeforeDeviateExtInstFunc func);
KZ_API void KZ_CTX_SetReloadModuleCbFunc(KzCtx *ctx, KzReloadModuleCbFunc func);
KZ_API void KZ_CTX_SetExtInstFilterCbFunc(KzCtx *ctx, KzExtInstFilterCbFunc func);

/* Search directories: absolute paths of existing directories, searched in the
 * order added.  20 for a relative or missing directory, 22 for NULL or for a
 * path longer than KZ_CTX_SEARCH_DIR_MAX characters (trailing '/' removed). */
#define KZ_CTX_SEARCH_DIR_MAX 175u
KZ_API uint32_t KZ_CTX_SetSearchDir(KzCtx *ctx, const char *path);
/* A NULL path removes every directory. */
KZ_API void KZ_CTX_UnSetSearchDir(KzCtx *ctx, const char *path);

/* Loading and unloading modules.  A module file larger than
 * KZ_CTX_MODULE_FILE_MAX bytes is not read (22, with a diagnostic); a module
 * name must be a YANG identifier of at most KZ_CTX_MODULE_NAME_MAX characters
 * (22 otherwise, nothing searched). */
#define KZ_CTX_MODULE_FILE_MAX (64u * 1024u * 1024u)
#define KZ_CTX_MODULE_NAME_MAX 64u
KZ_API uint32_t KZ_CTX_LoadModule(KzCtx *ctx, const char *moduleName);
KZ_API uint32_t KZ_CTX_LoadMemory(KzCtx *ctx, const char *yinText);
KZ_API uint32_t KZ_CTX_LoadYangMemory(KzCtx *ctx, const char *yangText);
KZ_API uint32_t KZ_CTX_UnloadModule(KzCtx *ctx, const char *moduleName);

/* Lookups (NULL when absent). */
KZ_API KzMod *KZ_CTX_GetModuleByModName(KzCtx *ctx, const char *moduleName);
KZ_API KzMod *KZ_CTX_GetModuleByModNs(KzCtx *ctx, const char *namespaceUri);
/* Schema node of an absolute JSON-form schema path; *augOut (optional) gets the
 * augment node the path ran through, if any. */
KZ_API KzsNode *KZ_CTX_GetTargetNode(KzCtx *ctx, const char *path, KzsNode **augOut);
KZ_API const char *KZ_MOD_GetSemanticVersion(const KzMod *mod);

/* Features: 22 for a NULL argument (IsModFeatureEnable: note that 22 is
 * non-zero), IsModFeatureEnable gives 0 for an unknown feature. */
KZ_API uint32_t KZ_CTX_DisableModFeature(KzCtx *ctx, const char *moduleName, const char *featureName);
KZ_API uint32_t KZ_CTX_IsModFeatureEnable(KzCtx *ctx, const char *moduleName, const char *featureName);

/* Modules whose augments target a module.  A KzMod pointer may be passed as
 * the reference: it starts with the same two fields. */
typedef struct KzModRef {
    KzCtx *ctx;
    const char *moduleName;
} KzModRef;
/* ordinal counts augmenting modules from 1; non-zero stops the scan. */
typedef uint32_t (*KzAugModScanCb)(const char *depModName, uint32_t ordinal, void *arg);
KZ_API uint32_t KZ_MOD_ScanAugmentModules(const KzModRef *modRef, KzAugModScanCb callback, void *arg);

/* Load diagnostics: visits every kept record (at most two per module, modules
 * in name order).  yinFile and message are NULL for a record emptied by a
 * stage clear.  The callback runs under the read lock: it must not load. */
KZ_API uint32_t KZ_CTX_ScanAllSchemaLoadFail(KzCtx *ctx, KzLoadFailScanCb callback, void *arg);
#define KZ_DIAG_LEVEL_ERROR   0u
#define KZ_DIAG_LEVEL_WARNING 1u

/* ==== Module loading ==== */
/* Loads a module by name from the search directories; with option bit 0 its
 * imports are loaded too.  0, 2 when no file was found, else the failing status. */
KZ_API uint32_t KZ_CTX_LoadModule(KzCtx *ctx, const char *moduleName);
/* Loads a module from a NUL-terminated YIN text; imports are not loaded. */
KZ_API uint32_t KZ_CTX_LoadMemory(KzCtx *ctx, const char *yinText);
/* The same from a NUL-terminated YANG text (RFC 7950 or RFC 6020 syntax).
 * A syntax fault gives 22 and is recorded against the module name as
 * "LINE:COLUMN: message"; extension definitions of imported modules are read
 * from the search directories. */
KZ_API uint32_t KZ_CTX_LoadYangMemory(KzCtx *ctx, const char *yangText);

/* ==== Schema nodes and modules ==== */
/* Node kinds returned by KZ_NODE_GetNodeType. */
#define KZ_NODE_KIND_UNKNOWN   0u
#define KZ_NODE_KIND_CONTAINER 1u
#define KZ_NODE_KIND_LEAF      2u
#define KZ_NODE_KIND_LEAFLIST  3u
#define KZ_NODE_KIND_LIST      4u
#define KZ_NODE_KIND_CHOICE    5u
#define KZ_NODE_KIND_CASE      6u
#define KZ_NODE_KIND_ANYDATA   7u
#define KZ_NODE_KIND_ANYXML    8u
#define KZ_NODE_KIND_ACTION    9u
#define KZ_NODE_KIND_RPC       10u
#define KZ_NODE_KIND_NOTIF     11u
#define KZ_NODE_KIND_INPUT     12u
#define KZ_NODE_KIND_OUTPUT    13u
#define KZ_NODE_KIND_AUGMENT   14u

/* Typedef chain scan: (module name, typedef name, that typedef's real type, cookie). */
typedef uint32_t (*KzDerivedTypeScanCb)(const char *modName, const char *tdefName, KztRealType *realType,
                                        void *cookie);
typedef uint32_t (*KzImportScanCb)(KzMod *mod, const char *importedModName, void *cookie);
typedef uint32_t (*KzIdentityScanCb)(KzsIdentity *identity, void *cookie);
typedef uint32_t (*KzIdentBaseScanCb)(const char *modName, const char *identName, void *cookie);

/* Node queries: 0 or null for a null node. */
KZ_API const char *KZ_NODE_GetNodeName(const KzsNode *node);
KZ_API KzMod *KZ_NODE_GetModule(const KzsNode *node);
KZ_API uint32_t KZ_NODE_GetNodeType(const KzsNode *node);
KZ_API const char *KZ_NODE_GetDescription(const KzsNode *node);
KZ_API const char *KZ_NODE_GetWhenCond(const KzsNode *node);
KZ_API uint32_t KZ_NODE_GetNodeKeyNum(const KzsNode *node);
KZ_API KztRealType *KZ_NODE_GetRealType(const KzsNode *node);
KZ_API void *KZ_NODE_GetPrivate(const KzsNode *node);
/* Stores data and returns the previous value. */
KZ_API void *KZ_NODE_SetPrivate(KzsNode *node, void *data);
/* The parent, or null when the parent is an augment node. */
KZ_API KzsNode *KZ_NODE_GetParentNode(const KzsNode *node);
KZ_API KzsNode *KZ_NODE_GetNonChoiceCaseParent(const KzsNode *node);
KZ_API uint32_t KZ_NODE_IsKey(const KzsNode *node);
KZ_API uint32_t KZ_NODE_IsRwConfig(const KzsNode *node);
KZ_API uint32_t KZ_NODE_IsMandatory(const KzsNode *node);
KZ_API uint32_t KZ_NODE_IsOrderedByNode(const KzsNode *node);
KZ_API uint32_t KZ_NODE_IsNacmDefaultDenyAll(const KzsNode *node);
KZ_API uint32_t KZ_NODE_IsNacmDefaultDenyWrite(const KzsNode *node);
KZ_API uint32_t KZ_NODE_IsPresenceContainer(const KzsNode *node);
KZ_API uint32_t KZ_NODE_IsDeprecatedNode(const KzsNode *node);
KZ_API uint32_t KZ_NODE_IsObsoleteNode(const KzsNode *node);
/* 1 when every if-feature of the node is enabled (or it has none). */
KZ_API uint32_t KZ_NODE_IsEnabled(const KzsNode *node);
/* Effective default and units, looking through the typedef chain. */
KZ_API const char *KZ_NODE_GetDefaultValueStr(const KzsNode *node);
KZ_API const char *KZ_NODE_GetUnitsValueStr(const KzsNode *node);
KZ_API uint32_t KZ_NODE_ScanDerivedType(const KzsNode *node, KzDerivedTypeScanCb callback, void *cookie);
/* Target of a leafref; with follow set, the end of a chain of leafrefs. */
KZ_API KzsNode *KZ_NODE_GetLeafrefTargetNode(const KzsNode *node, uint32_t follow);
KZ_API KzsNode *KZ_NODE_GetAugmentTargetNode(const KzsNode *node);

/* Node walks: a non-zero callback result stops the walk and is returned
 * (KZS_TRAV_SKIP_CHILDREN only leaves the children out in the full walk). */
KZ_API uint32_t KZ_NODE_TreeScanAllNode(KzsNode *root, KzNodeWalkCb callback, void *cookie);
KZ_API uint32_t KZ_NODE_IterScanChildrenNode(KzsNode *node, KzNodeWalkCb callback, void *cookie);
KZ_API uint32_t KZ_NODE_IterScanSiblingNode(KzsNode *node, KzNodeWalkCb callback, void *cookie);

/* Extension instances of a node. */
KZ_API uint32_t KZ_NODE_ScanAllExtInsts(const KzsNode *node, KzExtInstScanCb callback, void *cookie);
KZ_API uint32_t KZ_EXT_ScanAllChildExtInsts(const KzsExtInst *inst, KzExtInstScanCb callback, void *cookie);
KZ_API uint32_t KZ_NODE_AppendExtInst(KzsNode *node, const char *modName, const char *extName,
                                      const char *argument);
/* dst's extension instances become a deep copy of src's; 22 when src has none. */
KZ_API uint32_t KZ_NODE_ReplaceDstExtInst(KzsNode *dst, const KzsNode *src);
KZ_API void KZ_NODE_CleanExtInsts(KzsNode *node);

/* Module queries: 0 or null for a null module. */
KZ_API const char *KZ_MOD_GetModuleName(const KzMod *mod);
KZ_API const char *KZ_MOD_GetModuleNs(const KzMod *mod);
KZ_API const char *KZ_MOD_GetModulePrefix(const KzMod *mod);
KZ_API const char *KZ_MOD_GetOrganization(const KzMod *mod);
KZ_API const char *KZ_MOD_GetRevision(const KzMod *mod);
KZ_API void *KZ_MOD_GetPrivate(const KzMod *mod);
KZ_API void *KZ_MOD_SetPrivate(KzMod *mod, void *data);
KZ_API KztRealType *KZ_MOD_GetRealTypeByTypDefName(const KzMod *mod, const char *name);
/* "*" enables every feature of the module. */
KZ_API uint32_t KZ_MOD_EnableFeature(KzMod *mod, const char *name);
/* "*" is an ordinary name here. */
KZ_API uint32_t KZ_MOD_DisableFeature(KzMod *mod, const char *name);
/* Finds a node by a path written with the module's prefixes. */
KZ_API KzsNode *KZ_MOD_GetNodeByPrefixedPath(const KzMod *mod, KzsNode *start, const char *path);

/* Module scans: 22 for a null module or callback, the first non-zero callback
 * result, else 0. */
KZ_API uint32_t KZ_MOD_ScanAllExtInsts(const KzMod *mod, KzExtInstScanCb callback, void *cookie);
KZ_API uint32_t KZ_MOD_IterScanTopmostNode(const KzMod *mod, KzNodeWalkCb callback, void *cookie);
KZ_API uint32_t KZ_MOD_IterScanAugmentNode(const KzMod *mod, KzNodeWalkCb callback, void *cookie);
KZ_API uint32_t KZ_MOD_ScanImportModules(KzMod *mod, KzImportScanCb callback, void *cookie);
KZ_API uint32_t KZ_MOD_ScanAllIdentity(const KzMod *mod, KzIdentityScanCb callback, void *cookie);
KZ_API uint32_t KZ_MOD_ScanIdentityBase(const KzsIdentity *identity, KzIdentBaseScanCb callback, void *cookie);
KZ_API const char *KZ_MOD_GetIdentityName(const KzsIdentity *identity);
KZ_API const char *KZ_MOD_GetIdentityDescription(const KzsIdentity *identity);

/* ==== Types and value checks ==== */
/* Built-in base type of a real type: 0 derived, 1 "binary" .. 19 "union";
 * 20 for a null real type. */
#define KZ_TYPE_BASE_INVALID 20u

/* Value check results (0 means valid). */
#define KZ_VAL_ERR_NO_BODY      28672u /* a constraint entry has no body */
#define KZ_VAL_ERR_DERIVED      28673u /* derived chain too deep or typedef not found */
#define KZ_VAL_ERR_IDENTREF     28674u
#define KZ_VAL_ERR_BITS         28675u
#define KZ_VAL_ERR_ENUM         28676u
#define KZ_VAL_ERR_LENGTH       28677u
#define KZ_VAL_ERR_LEAFREF      28678u
#define KZ_VAL_ERR_PATTERN      28679u
#define KZ_VAL_ERR_RANGE        28680u /* integer, range or decimal64 */
#define KZ_VAL_ERR_UNION        28681u
#define KZ_VAL_ERR_BOOLEAN      28682u
#define KZ_VAL_ERR_BINARY       28683u
#define KZ_VAL_ERR_EMPTY        28684u

/* Flags of a start/end bound. */
#define KZ_BOUND_SIGNED   0x1u
#define KZ_BOUND_UNSIGNED 0x2u
#define KZ_BOUND_MIN      0x4u
#define KZ_BOUND_MAX      0x8u

/* One bound of a range or length part; value is read as uint64_t when
 * KZ_BOUND_UNSIGNED is set, and is meaningless with KZ_BOUND_MIN/MAX. */
typedef struct KztBoundVal {
    int64_t value;
    uint32_t flags;
} KztBoundVal;

/* Leafref path of a type: the path in module:name form, and whether an
 * instance is required (0 or 1). */
typedef struct KztConsDataPath {
    const char *path;
    uint32_t requireInstance;
} KztConsDataPath;

/* Scan callbacks: a non-zero result stops the scan and is returned. */
typedef uint32_t (*KzTypeRealTypeCb)(const char *modName, const char *tdefName, KztRealType *realType,
                                     void *arg);
typedef uint32_t (*KzTypeIdentBaseCb)(const char *modName, const char *identName, void *arg);
typedef uint32_t (*KzTypePatternCb)(const char *pattern, uint32_t invertMatch, void *arg);
/* bit: (name, position, null); enum: (name, value, description or null) */
typedef uint32_t (*KzTypeNameValueCb)(const char *name, int64_t value, const char *desc, void *arg);
typedef uint32_t (*KzTypeStartEndCb)(const KztBoundVal *start, const KztBoundVal *end, void *arg);

KZ_API uint32_t KZ_TYPE_GetBuiltInBaseType(const KztRealType *realType);
KZ_API uint8_t KZ_TYPE_GetDecimal64Fraction(const KztRealType *realType);
/* The leafref path body of a real type, or null. */
KZ_API KztConsDataPath *KZ_TYPE_GetTypeConsDataLeafrefPath(const KztRealType *realType);

/* Value checks: input is a NUL-terminated string (KZ_VAL_INPUT_STRING) or an
 * xmlNode whose text is the value (KZ_VAL_INPUT_XMLNODE). */
KZ_API uint32_t KZ_NODE_ValidateValue(const KzsNode *node, uint32_t inputKind, const void *input);
KZ_API KztRealType *KZ_NODE_FindRealTypeMatchedValue(const KzsNode *node, uint32_t inputKind, const void *input);

KZ_API uint32_t KZ_TYPE_IterRealTypeDerivedName(KztRealType *realType, KzCtx *ctx, KzTypeRealTypeCb cb, void *arg);
KZ_API uint32_t KZ_TYPE_ScanUnionSubType(const KztRealType *realType, KzTypeRealTypeCb cb, void *arg);
KZ_API uint32_t KZ_TYPE_ScanIdentRefBase(const KztRealType *realType, KzTypeIdentBaseCb cb, void *arg);
KZ_API uint32_t KZ_TYPE_ScanPatternInvertMatch(const KztRealType *realType, KzTypePatternCb cb, void *arg);
KZ_API uint32_t KZ_TYPE_ScanNameValuePair(const KztRealType *realType, KzTypeNameValueCb cb, void *arg);
KZ_API uint32_t KZ_TYPE_ScanStartEndPair(const KztRealType *realType, KzTypeStartEndCb cb, void *arg);

/* ==== XPath ==== */
struct _xmlNode; /* libxml2 element */
typedef struct XpathLex XpathLex;

/* Results of condition evaluation: 0 true, KZ_XPATH_FALSE false, others failed. */
#define KZ_XPATH_FALSE          0x7100u /* condition evaluated to false */
#define KZ_XPATH_ETOKENIZE      0x7101u /* tokenizing failed */
#define KZ_XPATH_EPAREN         0x7102u /* unbalanced parentheses or malformed call */
#define KZ_XPATH_ENOEVALFUNC    0x7103u /* arithmetic or union operator */
#define KZ_XPATH_ENOOPCODE      0x7104u /* operator token without an operation */
#define KZ_XPATH_EPRIMARY       0x7105u /* token cannot start a primary expression */
#define KZ_XPATH_EROOTDSLASH    0x7106u /* "//" at the start of an absolute path */
#define KZ_XPATH_ESTEPKIND      0x7107u /* unsupported step kind */
#define KZ_XPATH_EUNKNOWNFUNC   0x7108u /* unknown function */
#define KZ_XPATH_EFUNCARG       0x7109u /* derived-from arguments missing or mistyped */
#define KZ_XPATH_ENOSCHEMA      0x710Au /* derived-from node without a schema node */
#define KZ_XPATH_ESUBSTART      0x710Bu /* sub-expression does not start at "(" or "," */
#define KZ_XPATH_ESUBEND        0x710Cu /* sub-expression does not end at ")" or "," */
#define KZ_XPATH_EPREDICATE     0x710Du /* "[" without "]" */

/* Tokenizer. The list borrows `expr`, which must outlive it; null on failure. */
KZ_API XpathLex *KZ_XPATH_ExprTokenize(const char *expr);
KZ_API void KZ_XPATH_FreeXpathLex(XpathLex *lex);
KZ_API uint32_t KZ_XPATH_GetTokenNumber(const XpathLex *lex);
/* Start of token `index` in the expression text; kind and length through the optional outs. */
KZ_API const char *KZ_XPATH_GetTokenExprByPos(const XpathLex *lex, uint32_t index, uint32_t *kindOut,
                                              uint32_t *lengthOut);

/* Evaluates a when/must condition for `contextNode`; `rootNode` stands for the
 * document root (absolute paths start there, ".." never climbs to it). */
KZ_API uint32_t KZ_XPATH_EvalCondition(struct _xmlNode *rootNode, struct _xmlNode *contextNode, const char *expr);
/* Same with a token list made once by KZ_XPATH_ExprTokenize; the list is only
 * read, so it can be kept per schema node and shared between threads.
 * A null list gives KZ_XPATH_ETOKENIZE. */
KZ_API uint32_t KZ_XPATH_EvalTokenizedCondition(struct _xmlNode *rootNode, struct _xmlNode *contextNode,
                                                const XpathLex *lex);

/* Rewrites a prefixed schema path of `mod` into module-qualified form; the
 * caller frees the result with KZ_MemFree. Null on failure. */
KZ_API char *KZ_XPATH_TransformToJsonFormat(const KzMod *mod, const char *path);
/* Splits a JSON-form path at its last module-qualified step: the module name
 * goes to moduleNameBuffer, the text before that step's "/" to *headOut (null
 * when the step is the first) and the rest to *tailOut (both freed with
 * KZ_MemFree; either out may be null). 0, 12 or 22. */
KZ_API uint32_t KZ_XPATH_SplitTargetNodeXpath(const char *path, char *moduleNameBuffer, uint32_t bufferSize,
                                             char **headOut, char **tailOut);

/* ==== Validation and error records ==== */
/* RFC 6241 error-type values of an error record. */
#define KZ_ERR_TYPE_TRANSPORT   1u
#define KZ_ERR_TYPE_RPC         2u
#define KZ_ERR_TYPE_PROTOCOL    3u
#define KZ_ERR_TYPE_APPLICATION 4u
/* error-severity values. */
#define KZ_ERR_SEVERITY_ERROR   1u
#define KZ_ERR_SEVERITY_WARNING 2u
/* error-tag values: position in RFC 6241's list, counted from 1. */
#define KZ_ERR_TAG_IN_USE                  1u
#define KZ_ERR_TAG_INVALID_VALUE           2u
#define KZ_ERR_TAG_TOO_BIG                 3u
#define KZ_ERR_TAG_MISSING_ATTRIBUTE       4u
#define KZ_ERR_TAG_BAD_ATTRIBUTE           5u
#define KZ_ERR_TAG_UNKNOWN_ATTRIBUTE       6u
#define KZ_ERR_TAG_MISSING_ELEMENT         7u
#define KZ_ERR_TAG_BAD_ELEMENT             8u
#define KZ_ERR_TAG_UNKNOWN_ELEMENT         9u
#define KZ_ERR_TAG_UNKNOWN_NAMESPACE       10u
#define KZ_ERR_TAG_ACCESS_DENIED           11u
#define KZ_ERR_TAG_LOCK_DENIED             12u
#define KZ_ERR_TAG_RESOURCE_DENIED         13u
#define KZ_ERR_TAG_ROLLBACK_FAILED         14u
#define KZ_ERR_TAG_DATA_EXISTS             15u
#define KZ_ERR_TAG_DATA_MISSING            16u
#define KZ_ERR_TAG_OPERATION_NOT_SUPPORTED 17u
#define KZ_ERR_TAG_OPERATION_FAILED        18u
#define KZ_ERR_TAG_PARTIAL_OPERATION       19u
#define KZ_ERR_TAG_MALFORMED_MESSAGE       20u

/* Kinds of data handed to KZ_CTX_ValidateRpcDataTree. */
#define KZ_DATA_KIND_TEXT    1u /* NUL-terminated XML text */
#define KZ_DATA_KIND_XMLTREE 2u /* top element of a libxml2 tree owned by the caller */

/* Called once per added default subtree (its top element) when a request is valid. */
typedef void (*KzDefaultAddedCb)(struct _xmlNode *added, void *arg);
/* Receives the validated, cleaned notification text; its result is returned. */
typedef uint32_t (*KzNotifResultCb)(const char *text, void *arg);

/* Validates an rpc or action request.  NULL when valid, otherwise one error
 * record that the caller frees with KZ_FreeErrNode.  A text with a document
 * type declaration, or a tree holding entity references, is refused with tag
 * KZ_ERR_TAG_MALFORMED_MESSAGE; an unknown data kind gets the generic record. */
KZ_API KzdErrNode *KZ_CTX_ValidateRpcDataTree(KzCtx *ctx, uint32_t dataKind, void *data,
                                              KzDefaultAddedCb defaultAddedCb, void *defaultAddedArg);
/* Validates a notification text: 0 (or resultCb's result) when valid, 22 otherwise
 * (a document type declaration included). */
KZ_API uint32_t KZ_CTX_ValidateNotifDataTree(KzCtx *ctx, const char *text, KzNotifResultCb resultCb,
                                             void *resultArg);

/* Error record accessors: 0 or NULL for a NULL record. */
KZ_API uint32_t KZ_GetErrorType(const KzdErrNode *err);
KZ_API uint32_t KZ_GetErrorSeverity(const KzdErrNode *err);
KZ_API uint32_t KZ_GetErrorTag(const KzdErrNode *err);
KZ_API const char *KZ_GetErrorAppTag(const KzdErrNode *err);
KZ_API const char *KZ_GetErrorMessage(const KzdErrNode *err);
KZ_API const char *KZ_GetErrorPath(const KzdErrNode *err);
KZ_API const char *KZ_GetBadElement(const KzdErrNode *err);
KZ_API const char *KZ_GetBadAttribute(const KzdErrNode *err);
KZ_API void KZ_FreeErrNode(KzdErrNode *err);

/* ==== Schema tree printer ==== */
/* Receives the tree text in chunks; non-zero means failure. */
typedef uint32_t (*KzPrintOutputCb)(const char *text, uint32_t len, void *arg);
/* Prints a module's schema tree; 22 without callback, 12 out of memory, 1 on any failure. */
KZ_API uint32_t KZ_MOD_PrintModelTree(KzMod *mod, KzPrintOutputCb output, void *arg);
/* Prints the branch from the module header through the node's ancestors down to its subtree. */
KZ_API uint32_t KZ_NODE_PrintNodesTree(KzsNode *node, KzPrintOutputCb output, void *arg);

/* ==== Module source writer ==== */
#define KZ_SRC_FORMAT_YANG 1u /* RFC 7950 YANG text */
#define KZ_SRC_FORMAT_YIN  2u /* YIN, RFC 7950 section 13 */
/* Writes the source of a loaded module through output in the form format
 * asks for, whether its file is .yang or .yin: statements in source order,
 * two spaces per level; YANG arguments quoted only where needed, multi-line
 * texts indented under their statement; YIN one element per line.  Writing
 * YANG and reading it back gives the same YIN text.
 * The parsed source is not kept with the module (it would cost more than the
 * schema): the file the module was loaded from is read again, so the text is
 * that file as it is now.  A module loaded from memory text (KZ_CTX_LoadMemory,
 * KZ_CTX_LoadYangMemory), or merged from several files (name@@suffix), has no
 * source file to read: 2.  22 for a null argument or an unknown format, 1 when
 * the module is not loaded or output fails, 12 out of memory; 22 also when
 * the file no longer holds a readable module. */
KZ_API uint32_t KZ_CTX_PrintModuleSource(KzCtx *ctx, const char *moduleName, uint32_t format,
                                         KzPrintOutputCb output, void *arg);

#ifdef __cplusplus
}
#endif

#endif /* KORLA_H */
