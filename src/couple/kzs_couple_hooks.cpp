// The coupling steps handed to the registry and the loader, which sit below
// this layer and so never name its functions.
#include "couple/kzs_couple.h"

namespace kz::couple {

const KzCoupleHooks &Hooks()
{
    static const KzCoupleHooks hooks = {
        {
            {KZS_MOD_CoupleAugmentFromDepMods, KZS_MOD_UnCoupleAugmentFromDepMods},
            {KZS_MOD_CoupleDeviationFromDepMods, KZS_MOD_UnCoupleDeviationFromDepMods},
        },
        KZS_LOADER_CoupleAugmentAndGenRelation,
        KZS_LOADER_CoupleModRemainNodesToTgt,
        KZS_MOD_MergeTwoModuleInSameCtx,
    };
    return hooks;
}

} /* namespace kz::couple */
