/* Deviation ordering: coupling, uncoupling, undo and redo by coupling sequence, recoupling of restored dependants. */
#include <algorithm>
#include <cstring>
#include <vector>

#include "couple/kzs_couple_int.h"
#include "schema/kzs_ctx.h"
#include "schema/kzs_deviation_undo.h"

using kz::schema::DeviationUndoLog;

namespace {

/* The deviation stage for the life of a scope: back to parsing on every way out,
 * a container's std::bad_alloc included. */
class DeviateStage {
public:
    explicit DeviateStage(KzCtx *ctx) : ctx_(ctx) { KZ_CTX_SetLoadStage(ctx_, KZ_LOAD_STAGE_DEVIATE); }
    ~DeviateStage() { KZ_CTX_SetLoadStage(ctx_, KZ_LOAD_STAGE_PARSE); }
    DeviateStage(const DeviateStage &) = delete;
    DeviateStage &operator=(const DeviateStage &) = delete;

private:
    KzCtx *ctx_;
};

std::vector<KzsDeviation *> CoupledNewestFirst(KzMod *mod, const char *targetMod)
{
    std::vector<KzsDeviation *> devs;
    for (uint16_t i = 0; i < mod->deviationCount; i++) {
        KzsDeviation *dev = &mod->deviations[i];
        if ((dev->flags & KZS_DEVIATION_FLAG_COUPLED) == 0) {
            continue;
        }
        if (targetMod != nullptr) {
            char name[kz::kNameBufSize];
            if (kz::couple::TargetModule(dev->target, name) != 0 || std::strcmp(name, targetMod) != 0) {
                continue;
            }
        }
        devs.push_back(dev);
    }
    std::sort(devs.begin(), devs.end(), [](const KzsDeviation *a, const KzsDeviation *b) {
        return kz::couple::DeviationSeq(a) > kz::couple::DeviationSeq(b);
    });
    return devs;
}

void UndoAndRedo(KzCtx *ctx, const std::vector<kz::couple::DevRef> &devs)
{
    std::vector<const char *> restored;
    std::vector<kz::couple::DevRef> others = kz::couple::UndoDeviations(ctx, devs, &restored);
    // Augments first: later deviations may target nodes they bring.  The
    // undone deviations themselves must not be coupled again here.
    kz::couple::RecoupleRestored(ctx, restored, false);
    kz::couple::RedoDeviations(others);
}

} // namespace

// Couples again what depended on the nodes a rolled-back not-supported put
// back: augments of the modules built on them and, when asked, deviations
// into them.  A failed coupling asks for augments only, so that a deviation
// failing again cannot start over from here.
void kz::couple::RecoupleRestored(KzCtx *ctx, const std::vector<const char *> &names, bool withDeviations)
{
    for (const char *name : names) {
        if (KZ_CTX_GetModuleByModName(ctx, name) == nullptr) {
            continue;
        }
        kz::couple::RecoupleDependants(ctx, name, [](KzMod *) { return false; });
        RelationTbl *tbl = KZ_CTX_FindModRelationTbl(ctx, name);
        std::vector<const char *> deviators;
        if (tbl != nullptr && tbl->items != nullptr) {
            RelationItem *it = tbl->items;
            do {
                if (withDeviations && it->kind == KZ_REL_DEVIATE) {
                    deviators.push_back(it->depModName);
                }
                it = it->next;
            } while (it != nullptr && it != tbl->items);
        }
        for (const char *dep : deviators) {
            KzMod *depMod = KZ_CTX_GetModuleByModName(ctx, dep);
            if (depMod == nullptr) {
                continue;
            }
            for (uint16_t i = 0; i < depMod->deviationCount; i++) {
                (void)KZS_MOD_CoupleDeviation(depMod, &depMod->deviations[i]);
            }
        }
    }
}

uint64_t kz::couple::DeviationSeq(const KzsDeviation *dev)
{
    const DeviationUndoLog *log = DeviationUndoLog::Of(dev);
    return ((dev->flags & KZS_DEVIATION_FLAG_COUPLED) != 0 && log != nullptr) ? log->Seq() : 0;
}

uint32_t KZS_MOD_CoupleDeviation(KzMod *mod, KzsDeviation *dev)
{
    if (mod == nullptr || mod->ctx == nullptr || dev == nullptr) {
        return KZ_EINVAL;
    }
    if ((dev->flags & KZS_DEVIATION_FLAG_COUPLED) != 0) {
        return 0;
    }
    KzCtx *ctx = mod->ctx;
    KzsNode *target = KZ_CTX_GetTargetNode(ctx, dev->target, nullptr);
    if (target == nullptr) {
        return 0;
    }
    KZS_MOD_FreeDeviationUndo(dev); // a log left by an earlier attempt
    DeviationUndoLog *log = DeviationUndoLog::Create(ctx, mod);
    if (log == nullptr) {
        return KZ_ENOMEM;
    }
    dev->undo = log;

    uint32_t ret = 0;
    {
        DeviateStage stage(ctx);
        for (uint16_t i = 0; i < dev->deviateCount && ret == 0; i++) {
            ret = KZS_MOD_CoupleDeviate(mod, dev, &dev->deviates[i], target);
        }
    }

    if (ret != 0) {
        // A deviation applies whole or not at all: what its earlier deviates
        // changed is put back, so that a later attempt starts from the same
        // target.
        std::vector<const char *> restored;
        log->RollBack(&restored);
        KZS_MOD_FreeDeviationUndo(dev);
        kz::couple::RecoupleRestored(ctx, restored, false);
        return ret;
    }
    log->SetSeq(++ctx->devCoupleSeq);
    dev->flags |= KZS_DEVIATION_FLAG_COUPLED;
    return 0;
}

uint32_t kz::couple::UndoDeviation(KzMod *mod, KzsDeviation *dev, const char **restoredModOut)
{
    if (restoredModOut != nullptr) {
        *restoredModOut = nullptr;
    }
    if (mod == nullptr || dev == nullptr || (dev->flags & KZS_DEVIATION_FLAG_COUPLED) == 0) {
        return KZ_EINVAL;
    }
    DeviationUndoLog *log = DeviationUndoLog::Of(dev);
    std::vector<const char *> restored;
    if (log != nullptr) {
        log->RollBack(&restored);
    }
    KZS_MOD_FreeDeviationUndo(dev);
    if (restoredModOut != nullptr && !restored.empty()) {
        *restoredModOut = restored.front();
    }
    return 0;
}

std::vector<kz::couple::DevRef> kz::couple::UndoDeviations(KzCtx *ctx, const std::vector<kz::couple::DevRef> &devs,
                                                 std::vector<const char *> *restored)
{
    std::vector<kz::couple::DevRef> others;
    if (ctx == nullptr || devs.empty()) {
        return others;
    }
    uint64_t oldest = UINT64_MAX;
    for (const kz::couple::DevRef &r : devs) {
        oldest = std::min(oldest, kz::couple::DeviationSeq(r.dev));
    }
    // A deviation's saved state holds what the deviations coupled before it
    // made; those coupled after it saved states that include its changes.
    // So everything from the oldest one on comes off, newest first, and the
    // deviations not asked for are handed back to be coupled again.
    std::vector<kz::couple::DevRef> stack;
    for (KzMod *mod = KZ_CTX_GetFirstModule(ctx); mod != nullptr; mod = KZ_CTX_GetNextModule(ctx, mod)) {
        for (uint16_t i = 0; i < mod->deviationCount; i++) {
            KzsDeviation *dev = &mod->deviations[i];
            if ((dev->flags & KZS_DEVIATION_FLAG_COUPLED) != 0 && kz::couple::DeviationSeq(dev) >= oldest) {
                stack.push_back({mod, dev});
            }
        }
    }
    std::sort(stack.begin(), stack.end(), [](const kz::couple::DevRef &a, const kz::couple::DevRef &b) {
        return kz::couple::DeviationSeq(a.dev) > kz::couple::DeviationSeq(b.dev);
    });
    for (const kz::couple::DevRef &r : stack) {
        bool asked = std::any_of(devs.begin(), devs.end(), [&](const kz::couple::DevRef &d) { return d.dev == r.dev; });
        const char *owner = nullptr;
        (void)kz::couple::UndoDeviation(r.mod, r.dev, &owner);
        if (owner != nullptr && restored != nullptr &&
            std::find(restored->begin(), restored->end(), owner) == restored->end()) {
            restored->push_back(owner);
        }
        if (!asked) {
            others.push_back(r);
        }
    }
    std::reverse(others.begin(), others.end());
    return others;
}

void kz::couple::RedoDeviations(const std::vector<kz::couple::DevRef> &devs)
{
    for (const kz::couple::DevRef &r : devs) {
        (void)KZS_MOD_CoupleDeviation(r.mod, r.dev);
    }
}

uint32_t KZS_MOD_UnCoupleDeviation(KzMod *mod, KzsDeviation *dev)
{
    if (mod == nullptr || mod->ctx == nullptr || dev == nullptr || (dev->flags & KZS_DEVIATION_FLAG_COUPLED) == 0) {
        return KZ_EINVAL;
    }
    UndoAndRedo(mod->ctx, {{mod, dev}});
    return 0;
}

uint32_t KZS_MOD_CoupleDeviationFromDepMods(KzCtx *ctx, const char *modName, const char *depModName, void *arg)
{
    (void)modName;
    (void)arg;
    KzMod *dep = KZ_CTX_GetModuleByModName(ctx, depModName);
    if (dep == nullptr) {
        return KZ_ERR;
    }
    for (uint16_t i = 0; i < dep->deviationCount; i++) {
        KzsDeviation *dev = &dep->deviations[i];
        char target[kz::kNameBufSize];
        // The relation is kept even while the target is missing, so that the
        // target module's arrival couples the deviation.
        if (kz::couple::TargetModule(dev->target, target) == 0 && std::strcmp(target, dep->name) != 0) {
            (void)KZ_CTX_AddTwoModRelation(ctx, target, dep->name, KZ_REL_DEVIATE);
        }
        (void)KZS_MOD_CoupleDeviation(dep, dev);
    }
    return 0;
}

uint32_t KZS_MOD_UnCoupleDeviationFromDepMods(KzCtx *ctx, const char *modName, const char *depModName, void *arg)
{
    (void)arg;
    KzMod *dep = KZ_CTX_GetModuleByModName(ctx, depModName);
    if (dep == nullptr) {
        return KZ_ERR;
    }
    std::vector<kz::couple::DevRef> devs;
    for (KzsDeviation *dev : CoupledNewestFirst(dep, modName)) {
        devs.push_back({dep, dev});
    }
    UndoAndRedo(ctx, devs);
    return 0;
}

void KZS_MOD_UnCoupleAllDeviations(KzMod *mod)
{
    if (mod == nullptr) {
        return;
    }
    for (KzsDeviation *dev : CoupledNewestFirst(mod, nullptr)) {
        (void)kz::couple::UndoDeviation(mod, dev, nullptr);
    }
}
