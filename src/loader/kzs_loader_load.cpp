/* Reading module files, building module records from them, and registering
 * the result in the context. */
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include <libxml/parser.h>

#include "loader/kzs_grouping.h"
#include "loader/kzs_loader.h"
#include "loader/kzs_stmt.h"
#include "loader/kzs_stmt_util.h"
#include "schema/kzs_diag.h"
#include "base/kz_dir_cache.h"
#include "base/kz_array.h"
#include "base/kz_safe.h"
#include "base/kz_xml.h"
#include "types/kzt_type.h"
#include "yang/kz_yang_read.h"
#include "base/kz_guard.h"
#include "base/kz_kit.h"

namespace {

constexpr const char *kMsgNotFound = "Module \"%s\" not found from search directories.";
constexpr const char *kMsgReadContent = "Failed to read content from the yin file.";
constexpr const char *kMsgParseModule = "Failed to parse module \"%s\" from the yin file.";
constexpr const char *kMsgMergeModule = "Failed to merge module \"%s\".";
constexpr const char *kMsgUpdateTypedef = "Failed to update typedef statements.";
constexpr const char *kMsgCoupleAugment = "Failed to couple augment statements.";
constexpr const char *kMsgCoupleDeviation = "Failed to couple deviation statements.";
constexpr const char *kMsgLoadModule = "Failed to load module \"%s\".";
constexpr const char *kMsgHeaderMissing = "Module \"%s\" has no %s.";


/* The context's record of imported module files, made on first use. */
kz::yang::ImportFacts *ImportFactsOf(KzCtx *ctx)
{
    if (ctx->importFacts == nullptr) {
        ctx->importFacts = kz::yang::NewImportFacts();
        ctx->freeImportFacts = ctx->importFacts != nullptr ? kz::yang::FreeImportFacts : nullptr;
    }
    return static_cast<kz::yang::ImportFacts *>(ctx->importFacts);
}

/* Parses a whole buffer as XML without keeping blank text nodes. Options per call
 * rather than the parser's global defaults: nothing shared is changed, the parser's
 * complaints land in report instead of stderr, element names come from the parser
 * dictionary instead of a copy per node, and short argument texts are kept inside
 * their text node instead of a block of their own.  Each element is recorded
 * while it is read (see ParseRecorder). */
xmlDoc *ParseXmlBuffer(const char *buf, size_t size, kz::base::ParseReport *report)
{
    constexpr int kOptions = XML_PARSE_NOBLANKS | XML_PARSE_NONET | XML_PARSE_COMPACT;
    kz::loader::ParseRecorder recorder;
    return kz::base::ParseXmlMemory(buf, size, kOptions, kz::base::kSkipIds, report, kz::loader::ParseRecorder::Note,
                                    &recorder);
}

/* Reads a whole module file, its size checked before anything is allocated for it. */
xmlDoc *ReadFileAsDoc(FILE *file, kz::base::ParseReport *report)
{
    if (file == nullptr || std::fseek(file, 0, SEEK_END) != 0) {
        return nullptr;
    }
    const long size = std::ftell(file);
    if (size < 0 || std::fseek(file, 0, SEEK_SET) != 0) {
        return nullptr;
    }
    if (static_cast<unsigned long>(size) > KZ_CTX_MODULE_FILE_MAX) {
        (void)kz::base::SnprintfS(report->message, sizeof report->message, "The file of %ld bytes exceeds the limit of %u.",
                            size, KZ_CTX_MODULE_FILE_MAX);
        return nullptr;
    }
    kz::MemPtr<char> buf(static_cast<char *>(KZ_MemMalloc(static_cast<size_t>(size) + 1)));
    if (buf == nullptr) {
        return nullptr;
    }
    const size_t got = std::fread(buf.get(), 1, static_cast<size_t>(size), file);
    buf.get()[got] = '\0';
    return ParseXmlBuffer(buf.get(), got, report);
}

xmlDoc *ReadYinFile(const char *path, kz::base::ParseReport *report)
{
    kz::FilePtr file(std::fopen(path, "rb"));
    if (file == nullptr) {
        return nullptr;
    }
    (void)std::setvbuf(file.get(), nullptr, _IOFBF, BUFSIZ);
    return ReadFileAsDoc(file.get(), report);
}

/* The read failure, followed by what the parser (or the size check) said about it. */
void RecordReadFailure(KzCtx *ctx, const char *name, const kz::base::ParseReport &report)
{
    if (report.message[0] == '\0') {
        KZ_CTX_AddModError(ctx, name, "%s", kMsgReadContent);
    } else if (report.line > 0) {
        KZ_CTX_AddModError(ctx, name, "%s Line %d: %s", kMsgReadContent, report.line, report.message);
    } else {
        KZ_CTX_AddModError(ctx, name, "%s %s", kMsgReadContent, report.message);
    }
}

/* A module that failed to be registered is either still in the registry (a
 * registered module re-read) or was never in it. */
void DiscardModule(KzCtx *ctx, KzMod *mod)
{
    if (mod->name != nullptr && KZ_CTX_GetModuleByModName(ctx, mod->name) == mod) {
        KZ_CTX_DestroyModuleNode(ctx, mod);
    } else {
        KZS_MOD_Free(mod);
    }
}

/* Registers the module of a document read from memory; a module of that
 * name already loaded stays. */
uint32_t LoadParsedDoc(KzCtx *ctx, kz::XmlDocPtr doc)
{
    if (doc == nullptr) {
        return KZ_EINVAL;
    }
    KzMod *mod = KZS_LOADER_ParseYinContent(ctx, doc.get(), nullptr);
    doc.reset();
    if (mod == nullptr) {
        return KZ_ERR;
    }
    if (KZ_CTX_GetModuleByModName(ctx, mod->name) != nullptr) {
        KZS_MOD_Free(mod);
        return KZ_OK;
    }
    uint32_t ret = KZS_LOADER_AppendModuleToCtx(ctx, mod, nullptr);
    if (ret != KZ_OK) {
        DiscardModule(ctx, mod);
        return ret;
    }
    KZ_CTX_NotifyModuleChange(ctx, mod->name, 0, nullptr);
    return KZ_OK;
}

/* The name a module document gives itself, for diagnostics. */
const char *ModuleNameOf(xmlDoc *doc)
{
    xmlNode *root = xmlDocGetRootElement(doc);
    return root != nullptr ? KZ_XML_GetTargetPropertyValue(root, "name") : nullptr;
}

bool IsEmpty(const char *s)
{
    return s == nullptr || s[0] == '\0';
}

/* A module enters the registry only with a name, a namespace and a prefix: the registry
 * and every namespace lookup are keyed by them. */
uint32_t CheckHeaderComplete(KzCtx *ctx, const KzMod *mod)
{
    const char *missing = IsEmpty(mod->name) ? "name" : IsEmpty(mod->ns) ? "namespace" : IsEmpty(mod->prefix) ? "prefix"
                                                                                                       : nullptr;
    if (missing == nullptr) {
        return KZ_OK;
    }
    const char *name = mod->name != nullptr ? mod->name : "";
    KZ_CTX_AddModError(ctx, name, kMsgHeaderMissing, name, missing);
    return KZ_EINVAL;
}

} /* namespace */

extern "C" {

KZ_API uint32_t KZS_LOADER_CheckParsedModNameMatched(const char *nameAttr, const LoadAssister *assister)
{
    if (nameAttr == nullptr) {
        return KZ_EINVAL;
    }
    if (assister == nullptr || assister->modName == nullptr) {
        return KZ_OK;
    }
    return std::strcmp(nameAttr, assister->modName) == 0 ? KZ_OK : KZ_EINVAL;
}

KZ_API xmlDoc *KZS_LOADER_ReadFileContentAsDoc(FILE *file)
{
    kz::base::ParseReport report;
    return ReadFileAsDoc(file, &report);
}

KZ_API xmlDoc *KZS_LOADER_ReadYinFileToXmlDoc(const char *path)
{
    if (path == nullptr) {
        return nullptr;
    }
    kz::base::ParseReport report;
    return ReadYinFile(path, &report);
}

KZ_API xmlDoc *KZS_LOADER_ReadYangTextToXmlDoc(KzCtx *ctx, const char *text, size_t length, const char *fileName,
                                               const char *moduleName)
{
    if (ctx == nullptr || text == nullptr) {
        return nullptr;
    }
    try {
        std::string error;
        xmlDoc *doc = kz::yang::ReadYang(text, length, fileName, kz::loader::SearchDirList(ctx), &error,
                                                kz::schema::DirCacheOf(ctx), ImportFactsOf(ctx));
        if (doc == nullptr && moduleName != nullptr && moduleName[0] != '\0') {
            KZ_CTX_AddModError(ctx, moduleName, "%s", error.c_str());
        }
        return doc;
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

KZ_API xmlDoc *KZS_LOADER_ReadModuleFileToXmlDoc(KzCtx *ctx, const char *path, const char *moduleName,
                                                 uint32_t *reported)
{
    uint32_t unused = 0;
    reported = reported != nullptr ? reported : &unused;
    *reported = 0;
    if (!kz::loader::IsYangPath(path)) {
        kz::base::ParseReport report;
        xmlDoc *doc = path != nullptr ? ReadYinFile(path, &report) : nullptr;
        if (doc == nullptr && moduleName != nullptr && moduleName[0] != '\0') {
            RecordReadFailure(ctx, moduleName, report);
            *reported = 1;
        }
        return doc;
    }
    try {
        std::string text;
        if (!kz::yang::ReadWholeFile(path, &text)) {
            return nullptr;
        }
        xmlDoc *doc = KZS_LOADER_ReadYangTextToXmlDoc(ctx, text.data(), text.size(), path, moduleName);
        *reported = doc == nullptr ? 1 : 0;
        return doc;
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

KZ_API KzMod *KZS_LOADER_ParseYinDocToNyMod(KzCtx *ctx, xmlNode *root, LoadAssister *assister)
{
    if (ctx == nullptr || root == nullptr || root->name == nullptr ||
        std::strcmp(reinterpret_cast<const char *>(root->name), "module") != 0) {
        return nullptr;
    }
    const char *nameAttr = KZ_XML_GetTargetPropertyValue(root, "name");
    if (KZS_LOADER_CheckParsedModNameMatched(nameAttr, assister) != KZ_OK) {
        return nullptr;
    }
    auto *mod = kz::ZeroAlloc<KzMod>();
    if (mod == nullptr) {
        return nullptr;
    }
    mod->ctx = ctx;
    mod->name = KZ_DICT_Insert(&ctx->dict, nameAttr);
    if (mod->name == nullptr) {
        KZ_MemFree(mod);
        return nullptr;
    }
    if (KZS_LOADER_ParseModuleContent(mod, root, assister) != KZ_OK) {
        KZS_MOD_Free(mod);
        return nullptr;
    }
    return mod;
}

KZ_API KzMod *KZS_LOADER_ParseYinContent(KzCtx *ctx, xmlDoc *doc, LoadAssister *assister)
{
    if (ctx == nullptr || doc == nullptr) {
        return nullptr;
    }
    return KZS_LOADER_ParseYinDocToNyMod(ctx, xmlDocGetRootElement(doc), assister);
}

KZ_API KzMod *KZS_LOADER_ReadFilePathToNyMod(KzCtx *ctx, const char *path, const char *name,
                                             LoadAssister *assister)
{
    if (ctx == nullptr || path == nullptr) {
        return nullptr;
    }
    uint32_t reported = 0;
    kz::XmlDocPtr doc(KZS_LOADER_ReadModuleFileToXmlDoc(ctx, path, name, &reported));
    if (doc == nullptr) {
        if (reported == 0) {
            KZ_CTX_AddModError(ctx, name, "%s", kMsgReadContent);
        }
        return nullptr;
    }
    if (!kz::loader::ExpandGroupingsForLoad(ctx, doc.get(), kz::loader::IsYangPath(path), name)) {
        return nullptr;
    }
    return KZS_LOADER_ParseYinContent(ctx, doc.get(), assister);
}

KZ_API uint32_t KZS_LOADER_LoadModuleByPath(KzCtx *ctx, const char *path, const char *name,
                                            LoadAssister *assister, KzMod **buildingInOut)
{
    if (ctx == nullptr || path == nullptr || name == nullptr || buildingInOut == nullptr) {
        return KZ_EINVAL;
    }
    KZ_CTX_SetCurYinFile(ctx, path);
    KzMod *mod = KZS_LOADER_ReadFilePathToNyMod(ctx, path, name, assister);
    if (mod == nullptr) {
        KZ_CTX_AddModError(ctx, name, kMsgParseModule, name);
        KZ_CTX_ClearCurYinFile(ctx);
        return KZ_EINVAL;
    }
    if (*buildingInOut != nullptr) {
        uint32_t ret = ctx->couple != nullptr ? ctx->couple->mergeModules(*buildingInOut, mod) : KZ_ERR;
        KZS_MOD_Free(mod);
        if (ret != KZ_OK) {
            KZ_CTX_AddModError(ctx, name, kMsgMergeModule, name);
            KZ_CTX_ClearCurYinFile(ctx);
            return ret;
        }
    } else {
        mod->srcPath = KZ_DICT_Insert(&ctx->dict, path); /* null only costs printing the source */
        *buildingInOut = mod;
    }
    KZ_CTX_ClearCurYinFile(ctx);
    return KZ_OK;
}

KZ_API uint32_t KZS_LOADER_FindSuffixInModMrgSource(const KzMod *mod, const char *suffix)
{
    if (mod == nullptr || suffix == nullptr) {
        return 0;
    }
    for (uint16_t i = 0; i < mod->mrgSrcCount; i++) {
        if (mod->mrgSrcs[i] != nullptr && std::strcmp(mod->mrgSrcs[i], suffix) == 0) {
            return 1;
        }
    }
    return 0;
}

KZ_API uint32_t KZS_LOADER_AddSuffixToModMrgSource(KzMod *mod, const char *suffix)
{
    if (mod == nullptr || mod->ctx == nullptr || suffix == nullptr) {
        return KZ_EINVAL;
    }
    if (mod->mrgSrcCount == UINT16_MAX) {
        return KZ_EINVAL;
    }
    const char *interned = KZ_DICT_Insert(&mod->ctx->dict, suffix);
    if (interned == nullptr) {
        return KZ_ENOMEM;
    }
    void *arr = static_cast<void *>(mod->mrgSrcs);
    uint32_t ret = KZ_UTL_ExpandArray(&arr, mod->mrgSrcCount, 1, sizeof(const char *));
    if (ret != KZ_OK) {
        KZ_DICT_Remove(&mod->ctx->dict, interned);
        return ret;
    }
    mod->mrgSrcs = static_cast<const char **>(arr);
    mod->mrgSrcs[mod->mrgSrcCount] = interned;
    mod->mrgSrcCount++;
    return KZ_OK;
}

KZ_API uint32_t KZS_LOADER_SaveSuccLoadingSuffix(KzMod *mod, const LoadAssister *assister)
{
    if (mod == nullptr || assister == nullptr) {
        return KZ_EINVAL;
    }
    /* Only the sources actually read count as merged: a source left over by
     * the per-load file limit is read by a later load. */
    for (uint16_t i = 0; i < assister->suffixCount; i++) {
        const LoadSuffix *entry = &assister->suffixes[i];
        if (entry->processed == 0 || entry->suffix[0] == '\0' ||
            KZS_LOADER_FindSuffixInModMrgSource(mod, entry->suffix) != 0) {
            continue;
        }
        uint32_t ret = KZS_LOADER_AddSuffixToModMrgSource(mod, entry->suffix);
        if (ret != KZ_OK) {
            return ret;
        }
    }
    return KZ_OK;
}

KZ_API uint32_t KZS_LOADER_AppendModuleToCtx(KzCtx *ctx, KzMod *mod, LoadAssister *assister)
{
    if (ctx == nullptr || mod == nullptr) {
        return KZ_EINVAL;
    }
    if (KZ_CTX_GetModuleByModName(ctx, mod->name) == nullptr) {
        uint32_t ret = CheckHeaderComplete(ctx, mod);
        if (ret == KZ_OK) {
            ret = KZ_CTX_AddModuleNode(ctx, mod);
        }
        if (ret != KZ_OK) {
            return ret;
        }
    }
    for (uint16_t i = 0; i < mod->typedefCount; i++) {
        if (KZT_TYPE_UpdateRealTypeDerivedFrom(&mod->typedefs[i].realType, mod) != KZ_OK) {
            KZ_CTX_AddModError(ctx, mod->name, "%s", kMsgUpdateTypedef);
            break;
        }
    }
    const KzCoupleHooks *couple = ctx->couple;
    if (couple == nullptr || couple->coupleNewAugments(ctx, mod) != KZ_OK) {
        KZ_CTX_AddModError(ctx, mod->name, "%s", kMsgCoupleAugment);
    }
    if (couple == nullptr ||
        couple->modChange[KZ_REL_DEVIATE][KZ_MOD_EVENT_COUPLE](ctx, nullptr, mod->name, nullptr) != KZ_OK) {
        KZ_CTX_AddModError(ctx, mod->name, "%s", kMsgCoupleDeviation);
    }
    if (assister != nullptr) {
        (void)KZS_LOADER_SaveSuccLoadingSuffix(mod, assister);
    }
    return KZ_OK;
}

KZ_API uint32_t KZS_LOADER_LoadModuleByModName(KzCtx *ctx, const char *name)
{
    if (ctx == nullptr || name == nullptr) {
        return KZ_EINVAL;
    }
    PathCollection *coll = KZS_LOADER_CollectFilePathMatchedInAllDir(ctx, name);
    KzMod *existing = KZ_CTX_GetModuleByModName(ctx, name);
    if (existing == nullptr) {
        KZ_CTX_DeleteErrNodeByModName(ctx->errMng, name); /* a fresh load starts clean */
    }
    if (coll == nullptr) {
        KZ_CTX_AddModWarning(ctx, name, kMsgNotFound, name);
        return KZ_ENOENT;
    }
    LoadAssister assister {};
    assister.modName = name;
    uint32_t needLoad = 1;
    uint32_t ret = KZS_LOADER_PreFillLoadAssisterFromExisting(existing, coll, &assister, &needLoad);
    if (ret != KZ_OK || needLoad == 0) {
        KZS_LOADER_ClearLoadAssister(&assister);
        KZS_LOADER_DestroyPathCollection(coll);
        return ret;
    }
    coll->maxToProcess = KZS_LOADER_MAX_FILES;
    KzMod *building = existing;
    for (PathObj *obj = KZS_LOADER_GetNextPathObjToProc(coll, &assister); obj != nullptr;
         obj = KZS_LOADER_GetNextPathObjToProc(coll, &assister)) {
        ret = KZS_LOADER_LoadModuleByPath(ctx, obj->path, name, &assister, &building);
        if (ret != KZ_OK) {
            break;
        }
        KZS_LOADER_ResetCurrentLoadingSuffix(&assister, 1);
    }
    /* What was merged before a failing file stays loaded. */
    if (building != nullptr) {
        ret = KZS_LOADER_AppendModuleToCtx(ctx, building, &assister);
        if (ret != KZ_OK) {
            DiscardModule(ctx, building);
        }
    }
    KZS_LOADER_ClearLoadAssister(&assister);
    KZS_LOADER_DestroyPathCollection(coll);
    return ret;
}

KZ_API uint32_t KZ_CTX_LoadModule(KzCtx *ctx, const char *moduleName)
{
    return kz::Guarded(KZ_ENOMEM, [&]() -> uint32_t {
        if (ctx == nullptr || KZ_CTX_IsValidModuleName(moduleName) == 0) {
            return KZ_EINVAL;
        }
        uint32_t ret = KZS_LOADER_LoadModuleByModName(ctx, moduleName);
        if (ret != KZ_OK) {
            if (KZ_CTX_GetErrNodeByModName(ctx, moduleName) == nullptr) {
                KZ_CTX_AddModError(ctx, moduleName, kMsgLoadModule, moduleName);
            }
            return ret;
        }
        if ((ctx->flags & KZ_CTX_OPT_LOAD_IMPORTS) != 0) {
            return KZS_LOADER_LoadModuleImportedNames(ctx, moduleName);
        }
        KZ_CTX_NotifyModuleChange(ctx, moduleName, 0, nullptr);
        return KZ_OK;
    });
}

KZ_API uint32_t KZ_CTX_LoadMemory(KzCtx *ctx, const char *yinText)
{
    return kz::Guarded(KZ_ENOMEM, [&]() -> uint32_t {
        if (ctx == nullptr || yinText == nullptr) {
            return KZ_EINVAL;
        }
        kz::base::ParseReport report;
        kz::XmlDocPtr doc(ParseXmlBuffer(yinText, std::strlen(yinText), &report));
        if (doc != nullptr && !kz::loader::ExpandGroupingsForLoad(ctx, doc.get(), false, ModuleNameOf(doc.get()))) {
            return KZ_ERR;
        }
        return LoadParsedDoc(ctx, std::move(doc));
    });
}

KZ_API uint32_t KZ_CTX_LoadYangMemory(KzCtx *ctx, const char *yangText)
{
    return kz::Guarded(KZ_ENOMEM, [&]() -> uint32_t {
        if (ctx == nullptr || yangText == nullptr) {
            return KZ_EINVAL;
        }
        const size_t length = std::strlen(yangText);
        const std::string name = kz::yang::PeekYangModuleName(yangText, length);
        kz::XmlDocPtr doc(KZS_LOADER_ReadYangTextToXmlDoc(ctx, yangText, length, "", name.c_str()));
        if (doc != nullptr && !kz::loader::ExpandGroupingsForLoad(ctx, doc.get(), true, name.c_str())) {
            return KZ_ERR;
        }
        return LoadParsedDoc(ctx, std::move(doc));
    });
}

} /* extern "C" */
