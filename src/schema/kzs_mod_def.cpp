/* Global definition records of a module: extensions, features, identities,
 * imports, includes and typedefs (deviation records are released by the
 * loader's deviation code). Every family keeps the same
 * shape: fill, append, find, clear, free and (where merging needs it) a
 * sameness test. */
#include <cstring>

#include "schema/kzs_internal.h"
#include "types/kzt_type.h"

using namespace kz::schema;

namespace {

template <typename T, typename Key>
T *FindByKey(T *array, uint16_t count, const char *key, Key keyOf)
{
    if (array == nullptr || key == nullptr) {
        return nullptr;
    }
    for (uint16_t i = 0; i < count; ++i) {
        const char *k = keyOf(array[i]);
        if (k != nullptr && std::strcmp(k, key) == 0) {
            return &array[i];
        }
    }
    return nullptr;
}


} // namespace

extern "C" {

/* ---- Extensions ---- */

uint32_t KZS_MOD_SetExtension(KzDict *dict, KzsExtension *ext, const char *name, const char *argName,
                              uint32_t yinElement)
{
    if (dict == nullptr || ext == nullptr || name == nullptr) {
        return KZ_EINVAL;
    }
    if (!DictPut(dict, ext->name, name) || !DictPut(dict, ext->argName, argName)) {
        KZS_MDL_ClearExtension(dict, ext);
        return KZ_ENOMEM;
    }
    ext->yinElement = yinElement;
    return KZ_OK;
}

uint32_t KZS_MOD_AppendOneExtension(KzMod *mod, const char *name, const char *argName, uint32_t yinElement)
{
    KzDict *dict = ModDict(mod);
    if (dict == nullptr || name == nullptr) {
        return KZ_EINVAL;
    }
    return AppendOne(mod->extensions, mod->extensionCount, [&](KzsExtension *e) {
        return KZS_MOD_SetExtension(dict, e, name, argName, yinElement);
    });
}

KzsExtension *KZS_MOD_FindExtensionByName(const KzMod *mod, const char *name)
{
    if (mod == nullptr) {
        return nullptr;
    }
    return FindByKey(mod->extensions, mod->extensionCount, name, [](const KzsExtension &e) { return e.name; });
}

void KZS_MDL_ClearExtension(KzDict *dict, KzsExtension *ext)
{
    if (ext == nullptr) {
        return;
    }
    DictDrop(dict, ext->name);
    DictDrop(dict, ext->argName);
    ext->yinElement = 0;
}

void KZS_MOD_FreeExtensions(KzDict *dict, KzsExtension *exts, uint16_t count)
{
    FreeArray(dict, exts, count, KZS_MDL_ClearExtension);
}

uint32_t KZS_MOD_CheckTwoExtensionSame(const KzsExtension *a, const KzsExtension *b)
{
    if (a == nullptr || b == nullptr) {
        return 0;
    }
    return (a->name == b->name && a->argName == b->argName && a->yinElement == b->yinElement) ? 1 : 0;
}

/* ---- Features ---- */

uint32_t KZS_MOD_FillFeature(KzDict *dict, KzsFeature *feat, const char *name)
{
    if (dict == nullptr || feat == nullptr || name == nullptr) {
        return KZ_EINVAL;
    }
    return DictPut(dict, feat->name, name) ? KZ_OK : KZ_ENOMEM;
}

uint32_t KZS_MOD_AppendOneFeature(KzMod *mod, const char *name)
{
    KzDict *dict = ModDict(mod);
    if (dict == nullptr || name == nullptr) {
        return KZ_EINVAL;
    }
    return AppendOne(mod->features, mod->featureCount,
                     [&](KzsFeature *f) { return KZS_MOD_FillFeature(dict, f, name); });
}

KzsFeature *KZS_MOD_FindFeatureByName(const KzMod *mod, const char *name)
{
    if (mod == nullptr) {
        return nullptr;
    }
    return FindByKey(mod->features, mod->featureCount, name, [](const KzsFeature &f) { return f.name; });
}

void KZS_MDL_ClearFeature(KzDict *dict, KzsFeature *feat)
{
    if (feat == nullptr) {
        return;
    }
    DictDrop(dict, feat->name);
    FreeArrayAndClear(dict, feat->ifFeatures, feat->ifFeatureCount, KZS_NODE_FreeIfFeatures);
    feat->flags = 0;
}

void KZS_MOD_FreeFeatures(KzDict *dict, KzsFeature *feats, uint16_t count)
{
    FreeArray(dict, feats, count, KZS_MDL_ClearFeature);
}

uint32_t KZS_MOD_CheckTwoFeatureSame(const KzsFeature *a, const KzsFeature *b)
{
    if (a == nullptr || b == nullptr || a->name != b->name) {
        return 0;
    }
    return KZS_NODE_CheckTwoIfFeatureArraySame(a->ifFeatures, a->ifFeatureCount, b->ifFeatures, b->ifFeatureCount);
}

/* ---- Identities ---- */

uint32_t KZS_MOD_FillIdentity(KzDict *dict, KzsIdentity *ident, const char *name, const char *description)
{
    if (dict == nullptr || ident == nullptr || name == nullptr) {
        return KZ_EINVAL;
    }
    if (!DictPut(dict, ident->name, name) || !DictPut(dict, ident->description, description)) {
        KZS_MDL_ClearIdentity(dict, ident);
        return KZ_ENOMEM;
    }
    return KZ_OK;
}

uint32_t KZS_MOD_AppendOneIdentity(KzMod *mod, const char *name, const char *description)
{
    KzDict *dict = ModDict(mod);
    if (dict == nullptr || name == nullptr) {
        return KZ_EINVAL;
    }
    return AppendOne(mod->identities, mod->identityCount,
                     [&](KzsIdentity *i) { return KZS_MOD_FillIdentity(dict, i, name, description); });
}

KzsIdentity *KZS_MOD_FindIdentityByName(const KzMod *mod, const char *name)
{
    if (mod == nullptr) {
        return nullptr;
    }
    return FindByKey(mod->identities, mod->identityCount, name, [](const KzsIdentity &i) { return i.name; });
}

void KZS_MDL_ClearIdentity(KzDict *dict, KzsIdentity *ident)
{
    if (ident == nullptr) {
        return;
    }
    DictDrop(dict, ident->name);
    DictDrop(dict, ident->description);
    FreeArrayAndClear(dict, ident->ifFeatures, ident->ifFeatureCount, KZS_NODE_FreeIfFeatures);
    FreeArrayAndClear(dict, ident->bases, ident->baseCount, KZS_MDL_FreeIdentBases);
}

void KZS_MOD_FreeIdentities(KzDict *dict, KzsIdentity *idents, uint16_t count)
{
    FreeArray(dict, idents, count, KZS_MDL_ClearIdentity);
}

uint32_t KZS_MOD_FillIdentBase(KzDict *dict, KzsIdentBase *base, const char *modName, const char *identName)
{
    if (dict == nullptr || base == nullptr || modName == nullptr || identName == nullptr) {
        return KZ_EINVAL;
    }
    if (!DictPut(dict, base->modName, modName) || !DictPut(dict, base->identName, identName)) {
        KZS_MDL_ClearIdentBase(dict, base);
        return KZ_ENOMEM;
    }
    return KZ_OK;
}

KzsIdentBase *KZS_MOD_CopyIdentBaseArray(KzDict *dict, const KzsIdentBase *src, uint16_t count)
{
    if (dict == nullptr || src == nullptr || count == 0) {
        return nullptr;
    }
    return CopyArray(dict, src, count, KZS_MDL_ClearIdentBase, [dict](KzsIdentBase *dst, const KzsIdentBase &from) {
        return KZS_MOD_FillIdentBase(dict, dst, from.modName, from.identName);
    });
}

void KZS_MDL_ClearIdentBase(KzDict *dict, KzsIdentBase *base)
{
    if (base == nullptr) {
        return;
    }
    DictDrop(dict, base->modName);
    DictDrop(dict, base->identName);
}

void KZS_MDL_FreeIdentBases(KzDict *dict, KzsIdentBase *bases, uint16_t count)
{
    FreeArray(dict, bases, count, KZS_MDL_ClearIdentBase);
}

uint32_t KZS_MOD_CheckTwoIdentBaseSame(const KzsIdentBase *a, const KzsIdentBase *b)
{
    if (a == nullptr || b == nullptr) {
        return 0;
    }
    return (a->modName == b->modName && a->identName == b->identName) ? 1 : 0;
}

/* The description is deliberately left out of the comparison. */
uint32_t KZS_MOD_CheckTwoIdentitySame(const KzsIdentity *a, const KzsIdentity *b)
{
    if (a == nullptr || b == nullptr || a->name != b->name || a->baseCount != b->baseCount) {
        return 0;
    }
    for (uint16_t i = 0; i < a->baseCount; ++i) {
        if (KZS_MOD_CheckTwoIdentBaseSame(&a->bases[i], &b->bases[i]) == 0) {
            return 0;
        }
    }
    return KZS_NODE_CheckTwoIfFeatureArraySame(a->ifFeatures, a->ifFeatureCount, b->ifFeatures, b->ifFeatureCount);
}

/* ---- Imports ---- */

uint32_t KZS_MOD_FillImport(KzDict *dict, KzsImport *imp, const char *modName, const char *prefix)
{
    if (dict == nullptr || imp == nullptr || modName == nullptr || prefix == nullptr) {
        return KZ_EINVAL;
    }
    if (!DictPut(dict, imp->modName, modName) || !DictPut(dict, imp->prefix, prefix)) {
        KZS_MOD_ClearImport(dict, imp);
        return KZ_EINVAL;
    }
    return KZ_OK;
}

uint32_t KZS_MOD_AppendOneImport(KzMod *mod, const char *modName, const char *prefix)
{
    KzDict *dict = ModDict(mod);
    if (dict == nullptr) {
        return KZ_EINVAL;
    }
    return AppendOne(mod->imports, mod->importCount,
                     [&](KzsImport *i) { return KZS_MOD_FillImport(dict, i, modName, prefix); });
}

KzsImport *KZS_MOD_FindImportByPrefix(const KzMod *mod, const char *prefix)
{
    if (mod == nullptr) {
        return nullptr;
    }
    return FindByKey(mod->imports, mod->importCount, prefix, [](const KzsImport &i) { return i.prefix; });
}

void KZS_MOD_ClearImport(KzDict *dict, KzsImport *imp)
{
    if (imp == nullptr) {
        return;
    }
    DictDrop(dict, imp->modName);
    DictDrop(dict, imp->prefix);
}

void KZS_MOD_FreeImports(KzDict *dict, KzsImport *imps, uint16_t count)
{
    FreeArray(dict, imps, count, KZS_MOD_ClearImport);
}

/* ---- Includes ---- */

uint32_t KZS_MOD_FillInclude(KzDict *dict, const char **include, const char *subName)
{
    if (dict == nullptr || include == nullptr || subName == nullptr) {
        return KZ_EINVAL;
    }
    return DictPut(dict, *include, subName) ? KZ_OK : KZ_EINVAL;
}

uint32_t KZS_MOD_AppendOneInclude(KzMod *mod, const char *subName)
{
    KzDict *dict = ModDict(mod);
    if (dict == nullptr) {
        return KZ_EINVAL;
    }
    return AppendOne(mod->includes, mod->includeCount,
                     [&](const char **slot) { return KZS_MOD_FillInclude(dict, slot, subName); });
}

const char **KZS_MOD_FindIncludeBySubName(const KzMod *mod, const char *subName)
{
    if (mod == nullptr) {
        return nullptr;
    }
    return FindByKey(mod->includes, mod->includeCount, subName, [](const char *s) { return s; });
}

void KZS_MOD_ClearInclude(KzDict *dict, const char **include)
{
    if (include != nullptr) {
        DictDrop(dict, *include);
    }
}

void KZS_MOD_FreeIncludes(KzDict *dict, const char **includes, uint16_t count)
{
    FreeArray(dict, includes, count, KZS_MOD_ClearInclude);
}

/* ---- Typedefs ---- */

uint32_t KZS_MOD_FillTypeDef(KzDict *dict, KzsTypedef *tdef, const char *name, const char *dflt,
                             const char *units, const KztRealType *realType)
{
    if (dict == nullptr || tdef == nullptr || name == nullptr) {
        return KZ_EINVAL;
    }
    if (!DictPut(dict, tdef->name, name) || !DictPut(dict, tdef->dflt, dflt) ||
        !DictPut(dict, tdef->units, units)) {
        DictDrop(dict, tdef->name);
        DictDrop(dict, tdef->dflt);
        DictDrop(dict, tdef->units);
        return KZ_ENOMEM;
    }
    if (realType != nullptr && KZT_TYPE_CopyNytRealTypeInner(dict, &tdef->realType, realType) != KZ_OK) {
        DictDrop(dict, tdef->name);
        DictDrop(dict, tdef->dflt);
        DictDrop(dict, tdef->units);
        return KZ_EINVAL;
    }
    return KZ_OK;
}

uint32_t KZS_MOD_AppendOneTypeDef(KzMod *mod, const char *name, const char *dflt, const char *units,
                                  const KztRealType *realType)
{
    KzDict *dict = ModDict(mod);
    if (dict == nullptr || name == nullptr) {
        return KZ_EINVAL;
    }
    return AppendOne(mod->typedefs, mod->typedefCount,
                     [&](KzsTypedef *t) { return KZS_MOD_FillTypeDef(dict, t, name, dflt, units, realType); });
}

KzsTypedef *KZS_MOD_FindTypDefObjByName(const KzMod *mod, const char *name)
{
    if (mod == nullptr) {
        return nullptr;
    }
    return FindByKey(mod->typedefs, mod->typedefCount, name, [](const KzsTypedef &t) { return t.name; });
}

KztRealType *KZS_MOD_FindNysTypDefByName(const KzMod *mod, const char *name)
{
    KzsTypedef *tdef = KZS_MOD_FindTypDefObjByName(mod, name);
    return tdef != nullptr ? &tdef->realType : nullptr;
}

void KZS_TYPE_DestroyTypDefInner(KzDict *dict, KzsTypedef *tdef)
{
    if (tdef == nullptr) {
        return;
    }
    DictDrop(dict, tdef->name);
    DictDrop(dict, tdef->dflt);
    DictDrop(dict, tdef->units);
    KZT_TYPE_DestroyNytRealTypeInner(dict, &tdef->realType);
}

void KZS_TYPE_FreeTypDefArray(KzDict *dict, KzsTypedef *tdefs, uint16_t count)
{
    FreeArray(dict, tdefs, count, KZS_TYPE_DestroyTypDefInner);
}

} // extern "C"
