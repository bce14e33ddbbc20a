/* Deviation records: their release (the undo log they hold included) and comparison. */
#include <cstring>

#include "base/kz_kit.h"
#include "base/kz_mem.h"
#include "schema/kzs_deviation_undo.h"
#include "schema/kzs_mod.h"
#include "schema/kzs_node.h"
#include "types/kzt_type.h"

using kz::schema::DeviationUndoLog;

extern "C" {

void KZS_MOD_ClearDeviate(KzDict *dict, KzsDeviate *deviate)
{
    if (dict == nullptr || deviate == nullptr) {
        return;
    }
    if (deviate->musts != nullptr) {
        KZS_NODE_FreeMusts(dict, deviate->musts, deviate->mustCount);
    }
    for (uint16_t i = 0; deviate->defaults != nullptr && i < deviate->defaultCount; i++) {
        if (deviate->defaults[i] != nullptr) {
            KZ_DICT_Remove(dict, deviate->defaults[i]);
        }
    }
    KZ_MemFree(deviate->defaults);
    if (deviate->type != nullptr) {
        KZT_TYPE_DestroyNytRealTypeInner(dict, deviate->type);
        KZ_MemFree(deviate->type);
    }
    if (deviate->units != nullptr) {
        KZ_DICT_Remove(dict, deviate->units);
    }
    if (deviate->extInsts != nullptr) {
        KZS_EXT_FreeExtInsts(dict, deviate->extInsts, deviate->extInstCount);
    }
    std::memset(deviate, 0, sizeof(*deviate));
}

void KZS_MOD_FreeDeviationUndo(KzsDeviation *dev)
{
    if (dev == nullptr) {
        return;
    }
    DeviationUndoLog::Destroy(DeviationUndoLog::Of(dev));
    dev->undo = nullptr;
    dev->flags &= ~KZS_DEVIATION_FLAG_COUPLED;
}

void KZS_MOD_ClearDeviation(KzDict *dict, KzsDeviation *deviation)
{
    if (dict == nullptr || deviation == nullptr) {
        return;
    }
    if (deviation->undo != nullptr) {
        KZS_MOD_FreeDeviationUndo(deviation);
    }
    if (deviation->target != nullptr) {
        KZ_DICT_Remove(dict, deviation->target);
    }
    for (uint16_t i = 0; deviation->deviates != nullptr && i < deviation->deviateCount; i++) {
        KZS_MOD_ClearDeviate(dict, &deviation->deviates[i]);
    }
    KZ_MemFree(deviation->deviates);
    std::memset(deviation, 0, sizeof(*deviation));
}

void KZS_MOD_FreeDeviation(KzDict *dict, KzsDeviation *deviations, uint16_t count)
{
    if (deviations == nullptr) {
        return;
    }
    for (uint16_t i = 0; i < count; i++) {
        KZS_MOD_ClearDeviation(dict, &deviations[i]);
    }
    KZ_MemFree(deviations);
}

uint32_t KZS_MOD_CheckTwoDeviationSame(const KzsDeviation *a, const KzsDeviation *b)
{
    if (a == nullptr || b == nullptr) {
        return 0;
    }
    return kz::SameText(a->target, b->target) ? 1u : 0u;
}

} /* extern "C" */
