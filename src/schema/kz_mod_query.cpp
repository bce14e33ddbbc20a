/* Public queries and scans on modules for the embedding process. */
#include <cstring>

#include "schema/kzs_internal.h"

using namespace kz::schema;

namespace {

uint32_t ScanChain(KzsNode *head, KzNodeWalkCb callback, void *cookie)
{
    KzsNode *node = head;
    while (node != nullptr) {
        KzsNode *next = node->next; /* the callback may relink the node */
        uint32_t ret = callback(node, KZS_TRAV_START, cookie);
        if (ret != 0) {
            return ret;
        }
        node = next;
    }
    return KZ_OK;
}

} // namespace

extern "C" {

const char *KZ_MOD_GetModuleName(const KzMod *mod)
{
    return mod != nullptr ? mod->name : nullptr;
}

const char *KZ_MOD_GetModuleNs(const KzMod *mod)
{
    return mod != nullptr ? mod->ns : nullptr;
}

const char *KZ_MOD_GetModulePrefix(const KzMod *mod)
{
    return mod != nullptr ? mod->prefix : nullptr;
}

const char *KZ_MOD_GetOrganization(const KzMod *mod)
{
    return mod != nullptr ? mod->organization : nullptr;
}

const char *KZ_MOD_GetRevision(const KzMod *mod)
{
    return mod != nullptr ? mod->revision : nullptr;
}

void *KZ_MOD_GetPrivate(const KzMod *mod)
{
    return mod != nullptr ? mod->priv : nullptr;
}

void *KZ_MOD_SetPrivate(KzMod *mod, void *data)
{
    if (mod == nullptr) {
        return nullptr;
    }
    void *old = mod->priv;
    mod->priv = data;
    return old;
}

KztRealType *KZ_MOD_GetRealTypeByTypDefName(const KzMod *mod, const char *name)
{
    return KZS_MOD_FindNysTypDefByName(mod, name);
}

uint32_t KZ_MOD_EnableFeature(KzMod *mod, const char *name)
{
    if (mod == nullptr || name == nullptr) {
        return KZ_EINVAL;
    }
    if (std::strcmp(name, "*") == 0) {
        for (uint16_t i = 0; i < mod->featureCount; ++i) {
            mod->features[i].flags |= KZS_FEATURE_FLAG_ENABLED;
        }
        return KZ_OK;
    }
    KzsFeature *feat = KZS_MOD_FindFeatureByName(mod, name);
    if (feat == nullptr) {
        return KZ_EINVAL;
    }
    feat->flags |= KZS_FEATURE_FLAG_ENABLED;
    return KZ_OK;
}

/* No wildcard here on purpose: "*" only names a feature called "*". */
uint32_t KZ_MOD_DisableFeature(KzMod *mod, const char *name)
{
    KzsFeature *feat = KZS_MOD_FindFeatureByName(mod, name);
    if (feat == nullptr) {
        return KZ_EINVAL;
    }
    feat->flags &= static_cast<uint16_t>(~KZS_FEATURE_FLAG_ENABLED);
    return KZ_OK;
}

uint32_t KZ_MOD_ScanAllExtInsts(const KzMod *mod, KzExtInstScanCb callback, void *cookie)
{
    if (mod == nullptr || callback == nullptr) {
        return KZ_EINVAL;
    }
    return ScanExtInsts(mod->extInsts, mod->extInstCount, callback, cookie);
}

uint32_t KZ_MOD_IterScanTopmostNode(const KzMod *mod, KzNodeWalkCb callback, void *cookie)
{
    if (mod == nullptr || callback == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t ret = ScanChain(mod->dataNodes, callback, cookie);
    if (ret == KZ_OK) {
        ret = ScanChain(mod->rpcs, callback, cookie);
    }
    if (ret == KZ_OK) {
        ret = ScanChain(mod->notifs, callback, cookie);
    }
    return ret;
}

uint32_t KZ_MOD_IterScanAugmentNode(const KzMod *mod, KzNodeWalkCb callback, void *cookie)
{
    if (mod == nullptr || callback == nullptr) {
        return KZ_EINVAL;
    }
    return ScanChain(mod->augments, callback, cookie);
}

uint32_t KZ_MOD_ScanImportModules(KzMod *mod, KzImportScanCb callback, void *cookie)
{
    if (mod == nullptr || callback == nullptr) {
        return KZ_EINVAL;
    }
    return ScanEach(mod->imports, mod->importCount,
                    [&](const KzsImport &imp) { return callback(mod, imp.modName, cookie); });
}

uint32_t KZ_MOD_ScanAllIdentity(const KzMod *mod, KzIdentityScanCb callback, void *cookie)
{
    if (mod == nullptr || callback == nullptr) {
        return KZ_EINVAL;
    }
    return ScanEach(mod->identities, mod->identityCount,
                    [&](KzsIdentity &ident) { return callback(&ident, cookie); });
}

uint32_t KZ_MOD_ScanIdentityBase(const KzsIdentity *identity, KzIdentBaseScanCb callback, void *cookie)
{
    if (identity == nullptr || callback == nullptr) {
        return KZ_EINVAL;
    }
    return ScanEach(identity->bases, identity->baseCount,
                    [&](const KzsIdentBase &base) { return callback(base.modName, base.identName, cookie); });
}

const char *KZ_MOD_GetIdentityName(const KzsIdentity *identity)
{
    return identity != nullptr ? identity->name : nullptr;
}

const char *KZ_MOD_GetIdentityDescription(const KzsIdentity *identity)
{
    return identity != nullptr ? identity->description : nullptr;
}

} // extern "C"
