/* Helpers shared by the coupling sources; not exported. */
#ifndef KZS_COUPLE_INT_H
#define KZS_COUPLE_INT_H

#include <vector>

#include "base/kz_kit.h"
#include "couple/kzs_couple.h"
#include "schema/kzs_node_subtree.h"

namespace kz::couple {

/* Module named by the last module-qualified step of a JSON path; 0 with a
 * non-empty name, else 22 (or the splitter's status). */
uint32_t TargetModule(const char *path, char (&modName)[kNameBufSize]);

/* Whether child lies in the moved range first..last of a coupled augment. */
bool InAugRange(const KzsNode *augment, const KzsNode *child);

/* Whether node is root or lies below it. */
bool IsInSubtree(const KzsNode *root, const KzsNode *node);

/* Takes a coupled augment's children back from wherever they sit now (their
 * current parent), without resolving the target path again; the augment ends
 * uncoupled in every case so that it can be freed. */
void ForceUncouple(KzsNode *augment);

/* Couples the uncoupled augments of every module that augments modName,
 * directly or through others, skipping modules for which skip returns true. */
template <typename Skip>
void RecoupleDependants(KzCtx *ctx, const char *modName, Skip skip)
{
    const char **names = nullptr;
    uint32_t count = 0;
    if (KZ_CTX_CollectDepModNamesRecursive(ctx, modName, KZ_REL_AUGMENT, &names, &count) != 0 || names == nullptr) {
        return;
    }
    MemPtr<const char *> owned(names);
    for (uint32_t i = 0; i < count; i++) {
        KzMod *dep = KZ_CTX_GetModuleByModName(ctx, names[i]);
        if (dep != nullptr && !skip(dep)) {
            (void)KZS_MOD_CoupleAugmentFromDepMods(ctx, modName, names[i], nullptr);
        }
    }
}

/* Undoes one coupled deviation without coupling anything afterwards; the
 * name of a module whose removed nodes came back is reported through
 * restoredModOut (or null). */
uint32_t UndoDeviation(KzMod *mod, KzsDeviation *dev, const char **restoredModOut);

/* Couples again, after nodes of the named modules came back, the augments of
 * the modules built on them and (withDeviations) the deviations into them. */
void RecoupleRestored(KzCtx *ctx, const std::vector<const char *> &names, bool withDeviations);

struct DevRef {
    KzMod *mod;
    KzsDeviation *dev;
};

/* Undoes the given coupled deviations together with every deviation coupled
 * after the oldest of them, newest first; returns the latter (oldest first)
 * for the caller to couple again once the schema is as it wants it.  Names of
 * modules whose removed nodes came back are added to restored. */
std::vector<DevRef> UndoDeviations(KzCtx *ctx, const std::vector<DevRef> &devs, std::vector<const char *> *restored);
void RedoDeviations(const std::vector<DevRef> &devs);

/* Order in which a coupled deviation was applied (0 when not coupled). */
uint64_t DeviationSeq(const KzsDeviation *dev);

} /* namespace kz::couple */

#endif /* KZS_COUPLE_INT_H */
