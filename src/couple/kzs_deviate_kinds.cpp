/* Deviate kinds (add, delete, replace, not-supported): how each changes its target, saving first what it changes. */
#include <cstring>
#include <utility>
#include <vector>

#include "couple/kzs_couple_int.h"
#include "schema/kzs_ctx.h"
#include "schema/kzs_deviation_undo.h"
#include "schema/kzs_diag.h"
#include "base/kz_mem.h"

using kz::schema::DetachedPlace;
using kz::schema::DeviationUndoLog;
using kz::schema::TextSlot;
using kz::schema::TextSlotOf;

namespace {

constexpr uint16_t CONFIG_BITS = KZS_NODE_FLAG_CONFIG_TRUE | KZS_NODE_FLAG_CONFIG_FALSE;
constexpr uint16_t CONFIG_ALL = CONFIG_BITS | KZS_NODE_FLAG_CONFIG_SET;
constexpr uint16_t MANDATORY_BITS = KZS_NODE_FLAG_MANDATORY_TRUE | KZS_NODE_FLAG_MANDATORY_FALSE;

KzDict *Dict(KzMod *mod)
{
    return &mod->ctx->dict;
}

void Log(KzMod *mod, const char *format, const KzsNode *target)
{
    KZ_CTX_AddModError(mod->ctx, mod->name, format, target->name);
}

// A leaf and a choice each hold one default; their messages differ in wording.
void LogDefault(KzMod *mod, const KzsNode *target, const char *leafFormat, const char *choiceFormat)
{
    Log(mod, target->kind == KZS_NODE_LEAF ? leafFormat : choiceFormat, target);
}

// Saves through the deviation's undo log before a change.  A deviation that
// is not being coupled has no log: nothing can be saved, which fails as out
// of memory like any other save.
template <typename... Params, typename... Args>
uint32_t Save(DeviationUndoLog *log, uint32_t (DeviationUndoLog::*save)(Params...), Args &&...args)
{
    return log != nullptr ? (log->*save)(std::forward<Args>(args)...) : KZ_ENOMEM;
}

// The one default of a leaf or a choice (its default case).
TextSlot SingleDefault(const KzsNode *target)
{
    return target->kind == KZS_NODE_LEAF ? TextSlot::LeafDefault : TextSlot::ChoiceDefault;
}

// The three changes of an interned text slot of target (a default or units),
// each saving what the slot held in the undo log first.

// An empty slot gets text.
uint32_t FillSavingEmpty(DeviationUndoLog *log, KzDict *dict, TextSlot which, KzsNode *target, const char *text)
{
    if (Save(log, &DeviationUndoLog::SaveText, target, which) != 0) {
        return KZ_ENOMEM;
    }
    const char **slot = TextSlotOf(target, which);
    *slot = KZ_DICT_Insert(dict, text);
    return *slot == nullptr ? KZ_ENOMEM : 0;
}

// A set slot is emptied.
uint32_t ClearSavingOld(DeviationUndoLog *log, KzDict *dict, TextSlot which, KzsNode *target)
{
    if (Save(log, &DeviationUndoLog::SaveText, target, which) != 0) {
        return KZ_ENOMEM;
    }
    const char **slot = TextSlotOf(target, which);
    KZ_DICT_Remove(dict, *slot);
    *slot = nullptr;
    return 0;
}

// A set slot gets text; an equal text leaves it alone.
uint32_t ReplaceSavingOld(DeviationUndoLog *log, KzDict *dict, TextSlot which, KzsNode *target, const char *text)
{
    const char **slot = TextSlotOf(target, which);
    if (kz::SameText(*slot, text)) {
        return 0;
    }
    const char *value = KZ_DICT_Insert(dict, text);
    if (value == nullptr) {
        return KZ_ENOMEM;
    }
    if (Save(log, &DeviationUndoLog::SaveText, target, which) != 0) {
        KZ_DICT_Remove(dict, value);
        return KZ_ENOMEM;
    }
    KZ_DICT_Remove(dict, *slot);
    *slot = value;
    return 0;
}

// ---- add -------------------------------------------------------------------

uint32_t AddDefaults(KzMod *mod, DeviationUndoLog *log, KzsDeviate *dvt, KzsNode *target)
{
    KzDict *dict = Dict(mod);
    switch (target->kind) {
    case KZS_NODE_LEAF:
    case KZS_NODE_CHOICE: {
        const char **slot = TextSlotOf(target, SingleDefault(target));
        if (dvt->defaultCount > 1) {
            LogDefault(mod, target,
                "Failed to add default to leaf node \"%s\",  because the number of default to be added > 1.",
                "Failed to add default to choice node \"%s\", because the number of default to be added > 1.");
            return 0;
        }
        if (*slot != nullptr) {
            LogDefault(mod, target,
                "Failed to add default to leaf node \"%s\", because it had been set default statement.",
                "Failed to add default to choice node \"%s\", because it had been set default statement.");
            return KZ_ERR;
        }
        return FillSavingEmpty(log, dict, SingleDefault(target), target, dvt->defaults[0]);
    }
    case KZS_NODE_LEAFLIST: {
        auto *info = static_cast<KzsLeafListInfo *>(target->schemaInfo);
        for (uint16_t i = 0; i < dvt->defaultCount; i++) {
            for (uint32_t j = 0; j < info->defaultCount; j++) {
                if (kz::SameText(dvt->defaults[i], info->defaults[j])) {
                    Log(mod, "Failed to add default to node \"%s\", because this value already exists.", target);
                    return KZ_ERR;
                }
            }
        }
        if (Save(log, &DeviationUndoLog::SaveLeafListDefaults, target) != 0) {
            return KZ_ENOMEM;
        }
        return KZS_NODE_AppendLeaflistDefaults(dict, info, dvt->defaultCount, dvt->defaults) == 0 ? 0 : KZ_ENOMEM;
    }
    default:
        return KZ_ERR;
    }
}

uint32_t AddMusts(KzMod *mod, DeviationUndoLog *log, KzsDeviate *dvt, KzsNode *target)
{
    KzDict *dict = Dict(mod);
    if (Save(log, &DeviationUndoLog::SaveMusts, target) != 0) {
        return KZ_ENOMEM;
    }
    for (uint16_t i = 0; i < dvt->mustCount; i++) {
        const KzsMust *m = &dvt->musts[i];
        uint32_t ret = KZS_NODE_AppendOneMust(dict, &target->musts, &target->mustCount, m->cond, m->errMsg, m->errAppTag);
        if (ret != 0) {
            return ret;
        }
    }
    return 0;
}

uint32_t AddUnits(KzMod *mod, DeviationUndoLog *log, KzsDeviate *dvt, KzsNode *target)
{
    const char **slot = TextSlotOf(target, TextSlot::Units);
    if (slot == nullptr) {
        return KZ_ERR;
    }
    if (*slot != nullptr) {
        Log(mod, "Failed to add units to node \"%s\", because it already has units.", target);
        return KZ_ERR;
    }
    return FillSavingEmpty(log, Dict(mod), TextSlot::Units, target, dvt->units);
}

void NotifyBeforeExtInst(KzsNode *node)
{
    KzCtx *ctx = node->module != nullptr ? node->module->ctx : nullptr;
    if (ctx != nullptr && ctx->beforeDeviateExtInstFunc != nullptr) {
        ctx->beforeDeviateExtInstFunc(ctx, node);
    }
}

uint32_t AddExtInsts(KzMod *mod, DeviationUndoLog *log, KzsDeviate *dvt, KzsNode *target)
{
    KzDict *dict = Dict(mod);
    NotifyBeforeExtInst(target);
    if (Save(log, &DeviationUndoLog::SaveExtInsts, target) != 0 ||
        Save(log, &DeviationUndoLog::SaveSubtreeFlags, target) != 0) {
        return KZ_ENOMEM;
    }
    for (uint16_t i = 0; i < dvt->extInstCount; i++) {
        const KzsExtInst *inst = &dvt->extInsts[i];
        uint32_t ret = KZS_EXT_MergeOneExtInstToArray(dict, &target->extInsts, &target->extInstCount, inst);
        if (ret != 0) {
            return ret;
        }
        if (inst->modName != nullptr && std::strcmp(inst->modName, "ietf-netconf-acm") == 0) {
            KZS_NODE_SetNacmFlag(target, inst->modName, inst->extName);
            KZS_NODE_UpdateFlag(target);
        }
    }
    return 0;
}

// ---- delete ----------------------------------------------------------------

uint32_t DelDefaults(KzMod *mod, DeviationUndoLog *log, KzsDeviate *dvt, KzsNode *target)
{
    KzDict *dict = Dict(mod);
    switch (target->kind) {
    case KZS_NODE_LEAF:
    case KZS_NODE_CHOICE: {
        const char **slot = TextSlotOf(target, SingleDefault(target));
        if (dvt->defaultCount > 1) {
            LogDefault(mod, target,
                "Failed to delete default from leaf node \"%s\", because the number of defaults to be deleted > 1.",
                "Failed to delete default from choice node \"%s\", because default number > 1.");
            return KZ_ERR;
        }
        if (*slot == nullptr) {
            LogDefault(mod, target,
                "Failed to delete default from leaf node \"%s\" without default value.",
                "Failed to delete default from choice node \"%s\" without default value.");
            return KZ_ERR;
        }
        if (dvt->defaultCount == 1 && !kz::SameText(*slot, dvt->defaults[0])) {
            LogDefault(mod, target,
                "Failed to find default value to be deleted in leaf node \"%s\".",
                "Failed to find default value to be deleted in choice node \"%s\".");
            return KZ_ERR;
        }
        return ClearSavingOld(log, dict, SingleDefault(target), target);
    }
    case KZS_NODE_LEAFLIST: {
        auto *info = static_cast<KzsLeafListInfo *>(target->schemaInfo);
        if (Save(log, &DeviationUndoLog::SaveLeafListDefaults, target) != 0) {
            return KZ_ENOMEM;
        }
        uint32_t capacity = info->defaultCount;
        if (dvt->defaultCount == 0) {
            KZS_NODE_FreeDefaults(dict, info->defaults, info->defaultCount);
            info->defaults = nullptr;
            info->defaultCount = 0;
            return 0;
        }
        uint32_t left = capacity;
        for (uint16_t i = 0; i < dvt->defaultCount; i++) {
            if (left == 0) {
                Log(mod, "Failed to delete default value from leaf-list node \"%s\".", target);
                return KZ_ERR;
            }
            uint32_t j = 0;
            while (j < capacity && !(info->defaults[j] != nullptr && kz::SameText(info->defaults[j], dvt->defaults[i]))) {
                j++;
            }
            if (j == capacity) {
                Log(mod, "Failed to find default value to be deleted in leaf-list node \"%s\".", target);
                return KZ_ERR;
            }
            KZ_DICT_Remove(dict, info->defaults[j]);
            info->defaults[j] = nullptr;
            left--;
        }
        return KZS_NODE_SubtractLeaflistDefaults(dict, info, capacity, 0);
    }
    default:
        return KZ_ERR;
    }
}

uint32_t DelMusts(KzMod *mod, DeviationUndoLog *log, KzsDeviate *dvt, KzsNode *target)
{
    KzDict *dict = Dict(mod);
    if (Save(log, &DeviationUndoLog::SaveMusts, target) != 0) {
        return KZ_ENOMEM;
    }
    uint16_t capacity = target->mustCount;
    for (uint16_t i = 0; i < dvt->mustCount; i++) {
        uint16_t j = 0;
        while (j < capacity &&
               !(target->musts[j].cond != nullptr && kz::SameText(target->musts[j].cond, dvt->musts[i].cond))) {
            j++;
        }
        if (j == capacity) {
            Log(mod, "Failed to find must condition to be deleted in target node \"%s\".", target);
            return KZ_ERR;
        }
        KZS_NODE_ClearMust(dict, &target->musts[j]);
    }
    return KZS_NODE_SubtractMustsArray(dict, &target->musts, &target->mustCount, capacity);
}

uint32_t DelUnits(KzMod *mod, DeviationUndoLog *log, KzsDeviate *dvt, KzsNode *target)
{
    const char **slot = TextSlotOf(target, TextSlot::Units);
    if (slot == nullptr || *slot == nullptr || !kz::SameText(*slot, dvt->units)) {
        Log(mod, "Failed to delete units from node \"%s\", because it doesn't have units or the target units.", target);
        return KZ_ERR;
    }
    return ClearSavingOld(log, Dict(mod), TextSlot::Units, target);
}

uint32_t DelExtInsts(KzMod *mod, DeviationUndoLog *log, KzsDeviate *dvt, KzsNode *target)
{
    KzDict *dict = Dict(mod);
    NotifyBeforeExtInst(target);
    if (Save(log, &DeviationUndoLog::SaveExtInsts, target) != 0) {
        return KZ_ENOMEM;
    }
    uint16_t keep = target->extInstCount;
    for (uint16_t i = 0; i < dvt->extInstCount; i++) {
        KzsExtInst *found = KZS_EXT_FindSameExtInstInArray(target->extInsts, target->extInstCount, &dvt->extInsts[i]);
        if (found == nullptr) {
            return KZ_ERR;
        }
        KZ_DICT_Remove(dict, found->extName);
        found->extName = nullptr;
        keep--;
    }
    return KZS_EXT_SubtractExtInstArray(dict, &target->extInsts, &target->extInstCount, keep);
}

// ---- replace ---------------------------------------------------------------

uint32_t ReplDefaults(KzMod *mod, DeviationUndoLog *log, KzsDeviate *dvt, KzsNode *target)
{
    KzDict *dict = Dict(mod);
    switch (target->kind) {
    case KZS_NODE_LEAF:
    case KZS_NODE_CHOICE: {
        const char **slot = TextSlotOf(target, SingleDefault(target));
        if (dvt->defaultCount > 1) {
            LogDefault(mod, target,
                "Failed to replace default of leaf node \"%s\", because the number of defaults to be deleted > 1.",
                "Failed to replace default of choice node \"%s\", because default number > 1.");
            return 0;
        }
        if (*slot == nullptr) {
            LogDefault(mod, target,
                "Failed to replace default of leaf node \"%s\" without default value.",
                "Failed to replace default of choice node \"%s\" without default value.");
            return KZ_ERR;
        }
        return ReplaceSavingOld(log, dict, SingleDefault(target), target, dvt->defaults[0]);
    }
    case KZS_NODE_LEAFLIST: {
        auto *info = static_cast<KzsLeafListInfo *>(target->schemaInfo);
        const char **values = KZS_NODE_CopyDefaults(dict, dvt->defaults, dvt->defaultCount);
        if (values == nullptr || Save(log, &DeviationUndoLog::SaveLeafListDefaults, target) != 0) {
            KZS_NODE_FreeDefaults(dict, values, dvt->defaultCount);
            Log(mod, "Failed to replace defaults of leaf-list node \"%s\".", target);
            return KZ_ENOMEM;
        }
        KZS_NODE_FreeDefaults(dict, info->defaults, info->defaultCount);
        info->defaults = values;
        info->defaultCount = dvt->defaultCount;
        return 0;
    }
    default:
        return KZ_ERR;
    }
}

uint32_t ReplType(KzMod *mod, DeviationUndoLog *log, KzsDeviate *dvt, KzsNode *target)
{
    if (target->kind != KZS_NODE_LEAF && target->kind != KZS_NODE_LEAFLIST) {
        return KZ_ERR;
    }
    auto *rt = static_cast<KztRealType *>(target->schemaInfo);
    if (rt == nullptr) {
        return KZ_EINVAL;
    }
    KztRealType copy;
    std::memset(&copy, 0, sizeof(copy));
    uint32_t ret = KZT_TYPE_CopyNytRealTypeInner(Dict(mod), &copy, dvt->type);
    if (ret != 0) {
        KZT_TYPE_DestroyNytRealTypeInner(Dict(mod), &copy);
        return ret;
    }
    if (Save(log, &DeviationUndoLog::SaveTypeReplacing, target, copy) != 0) {
        KZT_TYPE_DestroyNytRealTypeInner(Dict(mod), &copy);
        return KZ_ENOMEM;
    }
    (void)KZT_TYPE_UpdateRealTypeDerivedFrom(rt, mod);
    return 0;
}

uint32_t ReplUnits(KzMod *mod, DeviationUndoLog *log, KzsDeviate *dvt, KzsNode *target)
{
    const char **slot = TextSlotOf(target, TextSlot::Units);
    if (slot == nullptr || *slot == nullptr) {
        return KZ_ERR;
    }
    return ReplaceSavingOld(log, Dict(mod), TextSlot::Units, target, dvt->units);
}

/* One sub-statement kind of a deviate: whether the deviate carries it, how it
 * changes the target, and the message when that fails. */
struct DeviateStep {
    bool (*present)(const KzsDeviate *dvt);
    uint32_t (*apply)(KzMod *mod, DeviationUndoLog *log, KzsDeviate *dvt, KzsNode *target);
    const char *failure;
};

bool HasDefaults(const KzsDeviate *dvt)
{
    return dvt->defaultCount != 0 && dvt->defaults != nullptr;
}

/* Delete takes its defaults step when either the count or the array is set,
 * where add and replace want both. */
bool MentionsDefaults(const KzsDeviate *dvt)
{
    return dvt->defaultCount != 0 || dvt->defaults != nullptr;
}

bool HasMusts(const KzsDeviate *dvt)
{
    return dvt->mustCount != 0 && dvt->musts != nullptr;
}

bool HasUnits(const KzsDeviate *dvt)
{
    return dvt->units != nullptr;
}

bool HasExtInsts(const KzsDeviate *dvt)
{
    return dvt->extInstCount != 0 && dvt->extInsts != nullptr;
}

bool HasType(const KzsDeviate *dvt)
{
    return dvt->type != nullptr;
}

constexpr DeviateStep kAddSteps[] = {
    {HasDefaults, AddDefaults, "Failed to add default statements to node \"%s\"."},
    {HasMusts, AddMusts, "Failed to add must statements to node \"%s\"."},
    {HasUnits, AddUnits, "Failed to add units statement to node \"%s\"."},
    {HasExtInsts, AddExtInsts, "Failed to deviate-add extension-instance to node \"%s\"."},
};

constexpr DeviateStep kDelSteps[] = {
    {MentionsDefaults, DelDefaults, "Failed to delete default from node \"%s\"."},
    {HasMusts, DelMusts, "Failed to delete must from node \"%s\"."},
    {HasUnits, DelUnits, "Failed to delete units from node \"%s\"."},
    {HasExtInsts, DelExtInsts, "Failed to delete extension-instance to node \"%s\"."},
};

constexpr DeviateStep kReplSteps[] = {
    {HasDefaults, ReplDefaults, "Failed to replace default of node \"%s\"."},
    {HasType, ReplType, "Failed to replace type of node \"%s\"."},
    {HasUnits, ReplUnits, "Failed to replace units of node \"%s\"."},
};

/* Applies the steps the deviate carries, in order; the first failure is logged and ends the run. */
template <size_t N>
uint32_t RunDeviateSteps(KzMod *mod, DeviationUndoLog *log, KzsDeviate *dvt, KzsNode *target,
                         const DeviateStep (&steps)[N])
{
    for (const DeviateStep &step : steps) {
        if (!step.present(dvt)) {
            continue;
        }
        uint32_t ret = step.apply(mod, log, dvt, target);
        if (ret != 0) {
            Log(mod, step.failure, target);
            return ret;
        }
    }
    return 0;
}

constexpr KzsCoupleDeviateFunc kDeviateFuncs[] = {
    nullptr,
    KZS_MOD_CoupleDevAdd,
    KZS_MOD_CoupleDevDel,
    KZS_MOD_CoupleDevNotSup,
    KZS_MOD_CoupleDevRepl,
};

// Where target sits in owner's tree, with the coupled augment of owner whose
// moved range holds it (a range it leaves with it).
DetachedPlace PlaceOf(KzsNode *target, KzMod *owner)
{
    DetachedPlace place{target->parent, target->prev, owner, nullptr, false, false};
    for (KzsNode *aug = owner != nullptr ? owner->augments : nullptr; aug != nullptr; aug = aug->next) {
        if ((aug->flags & KZS_NODE_FLAG_AUG_COUPLED) != 0 && kz::couple::InAugRange(aug, target)) {
            place.rangeAug = aug;
            place.wasFirst = (aug->firstChild == target);
            place.wasLast = (aug->lastChild == target);
            break;
        }
    }
    return place;
}

} // namespace

KzsCoupleDeviateFunc KZS_MOD_GetCoupleDeviateFunc(uint32_t kind)
{
    return kind < sizeof(kDeviateFuncs) / sizeof(kDeviateFuncs[0]) ? kDeviateFuncs[kind] : nullptr;
}

void KZS_NODE_NotifyBeforeDeviateNotSupport(KzsNode *node)
{
    KzCtx *ctx = (node != nullptr && node->module != nullptr) ? node->module->ctx : nullptr;
    if (ctx != nullptr && ctx->beforeDeviateNotSupportFunc != nullptr) {
        ctx->beforeDeviateNotSupportFunc(ctx, node);
    }
}

uint32_t KZS_MOD_AddNodeMandatory(KzMod *mod, KzsNode *target, uint16_t mandatoryBits)
{
    if (mod == nullptr || target == nullptr) {
        return KZ_EINVAL;
    }
    if ((target->flags & MANDATORY_BITS) != 0) {
        Log(mod, "Failed to add mandatory flag to node \"%s\".", target);
        return KZ_ERR;
    }
    target->flags |= (mandatoryBits & MANDATORY_BITS);
    return 0;
}

uint32_t KZS_MOD_CoupleDevAddFlag(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target)
{
    if (mod == nullptr || dev == nullptr || dvt == nullptr || target == nullptr) {
        return KZ_EINVAL;
    }
    DeviationUndoLog *log = DeviationUndoLog::Of(dev);
    if ((dvt->flags & CONFIG_BITS) != 0) {
        if ((target->flags & KZS_NODE_FLAG_CONFIG_SET) != 0) {
            Log(mod, "Failed to add config to node \"%s\", because it had been set config statement.", target);
            return KZ_ERR;
        }
        if (Save(log, &DeviationUndoLog::SaveSubtreeFlags, target) != 0) {
            return KZ_ENOMEM;
        }
        target->flags = (target->flags & ~static_cast<uint32_t>(CONFIG_ALL)) | (dvt->flags & CONFIG_ALL);
        KZS_NODE_UpdateFlag(target);
    }
    if ((dvt->flags & MANDATORY_BITS) != 0) {
        if ((target->flags & MANDATORY_BITS) == 0 && Save(log, &DeviationUndoLog::SaveFlags, target) != 0) {
            return KZ_ENOMEM;
        }
        return KZS_MOD_AddNodeMandatory(mod, target, dvt->flags & MANDATORY_BITS);
    }
    return 0;
}

uint32_t KZS_MOD_CoupleDevReplFlag(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target)
{
    if (mod == nullptr || dev == nullptr || dvt == nullptr || target == nullptr) {
        return KZ_EINVAL;
    }
    DeviationUndoLog *log = DeviationUndoLog::Of(dev);
    if ((dvt->flags & CONFIG_BITS) != 0 && (dvt->flags & CONFIG_BITS) != (target->flags & CONFIG_BITS)) {
        if (Save(log, &DeviationUndoLog::SaveSubtreeFlags, target) != 0) {
            return KZ_ENOMEM;
        }
        target->flags = (target->flags & ~static_cast<uint32_t>(CONFIG_ALL)) | (dvt->flags & CONFIG_ALL);
        KZS_NODE_UpdateFlag(target);
    }
    if ((dvt->flags & MANDATORY_BITS) != 0) {
        if (Save(log, &DeviationUndoLog::SaveFlags, target) != 0) {
            return KZ_ENOMEM;
        }
        target->flags = (target->flags & ~static_cast<uint32_t>(MANDATORY_BITS)) | (dvt->flags & MANDATORY_BITS);
    }
    return 0;
}

uint32_t KZS_MOD_CoupleDevAdd(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target)
{
    if (mod == nullptr || mod->ctx == nullptr || dev == nullptr || dvt == nullptr || target == nullptr) {
        return KZ_EINVAL;
    }
    if ((dvt->flags & (CONFIG_BITS | MANDATORY_BITS)) != 0) {
        uint32_t ret = KZS_MOD_CoupleDevAddFlag(mod, dev, dvt, target);
        if (ret != 0) {
            Log(mod, "Failed to add config or mandatory to node \"%s\".", target);
            return ret;
        }
    }
    return RunDeviateSteps(mod, DeviationUndoLog::Of(dev), dvt, target, kAddSteps);
}

uint32_t KZS_MOD_CoupleDevDel(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target)
{
    if (mod == nullptr || mod->ctx == nullptr || dev == nullptr || dvt == nullptr || target == nullptr) {
        return KZ_EINVAL;
    }
    return RunDeviateSteps(mod, DeviationUndoLog::Of(dev), dvt, target, kDelSteps);
}

uint32_t KZS_MOD_CoupleDevRepl(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target)
{
    if (mod == nullptr || mod->ctx == nullptr || dev == nullptr || dvt == nullptr || target == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t ret = KZS_MOD_CoupleDevReplFlag(mod, dev, dvt, target);
    if (ret != 0) {
        return ret;
    }
    return RunDeviateSteps(mod, DeviationUndoLog::Of(dev), dvt, target, kReplSteps);
}

uint32_t KZS_MOD_RemoveAllModAugmentStartsWithDeviationPath(KzMod *mod, const char *path)
{
    if (mod == nullptr || mod->ctx == nullptr || path == nullptr) {
        return KZ_EINVAL;
    }
    KzCtx *ctx = mod->ctx;
    KzsNode *root = KZ_CTX_GetTargetNode(ctx, path, nullptr);
    if (root == nullptr) {
        return 0;
    }
    const char **names = nullptr;
    uint32_t count = 0;
    uint32_t ret = KZ_CTX_CollectDepModNamesRecursive(ctx, mod->name, KZ_REL_AUGMENT, &names, &count);
    if (ret != 0) {
        return ret;
    }
    // Collected first and uncoupled afterwards: uncoupling an enclosing
    // augment moves the targets of the augments nested in it.
    std::vector<KzsNode *> found;
    for (uint32_t i = 0; i < count && names != nullptr; i++) {
        KzMod *dep = KZ_CTX_GetModuleByModName(ctx, names[i]);
        if (dep == nullptr) {
            continue;
        }
        for (KzsNode *aug = dep->augments; aug != nullptr; aug = aug->next) {
            if ((aug->flags & KZS_NODE_FLAG_AUG_COUPLED) == 0) {
                continue;
            }
            const KzsNode *tgt = aug->firstChild != nullptr ? aug->firstChild->parent
                                                            : KZ_CTX_GetTargetNode(ctx, aug->name, nullptr);
            if (tgt != nullptr && kz::couple::IsInSubtree(root, tgt)) {
                found.push_back(aug);
            }
        }
    }
    KZ_MemFree(names);
    for (KzsNode *aug : found) {
        kz::couple::ForceUncouple(aug);
    }
    return 0;
}

uint32_t KZS_MOD_CoupleDevNotSup(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target)
{
    (void)dvt;
    if (mod == nullptr || mod->ctx == nullptr || dev == nullptr || target == nullptr) {
        return KZ_EINVAL;
    }
    if (target->kind == KZS_NODE_AUGMENT) {
        return KZ_EINVAL;
    }
    KZS_NODE_NotifyBeforeDeviateNotSupport(target);
    KzMod *owner = target->module;
    // Augments of other modules that sit at or below the target leave first:
    // they take their nodes back and couple again when the target returns.
    uint32_t ret = KZS_MOD_RemoveAllModAugmentStartsWithDeviationPath(owner, dev->target);
    if (ret != 0) {
        return ret;
    }
    DetachedPlace place = PlaceOf(target, owner);
    if (Save(DeviationUndoLog::Of(dev), &DeviationUndoLog::SaveDetached, target, place) != 0) {
        return KZ_ENOMEM;
    }
    if (place.rangeAug != nullptr) {
        KZS_NODE_RemoveCoupledAugmentNodeChildLink(place.rangeAug, target);
    }
    // The subtree is kept detached rather than freed so that the deviation
    // can be undone; it is freed with the deviation's undo log.
    KZS_NODE_Unlink(target);
    return 0;
}

uint32_t KZS_MOD_RefreshDeviateDefaults(KzMod *mod, KzsDeviate *dvt, KzsNode *target)
{
    if (mod == nullptr || mod->ctx == nullptr || dvt == nullptr || target == nullptr) {
        return KZ_EINVAL;
    }
    if (dvt->defaults == nullptr || dvt->defaultCount == 0 ||
        (target->kind != KZS_NODE_LEAF && target->kind != KZS_NODE_LEAFLIST) || target->schemaInfo == nullptr) {
        return 0;
    }
    if (!KZT_TYPE_IsTypeWithIdentref(static_cast<const KztRealType *>(target->schemaInfo))) {
        return 0;
    }
    KzDict *dict = Dict(mod);
    for (uint16_t i = 0; i < dvt->defaultCount; i++) {
        const char *value = dvt->defaults[i];
        if (value == nullptr) {
            continue;
        }
        // A value already in module-name form has no prefix that resolves and
        // stays as it is, so refreshing twice changes nothing.
        char *converted = KZS_MOD_ConvertPrefixValToJsonFormat(mod, value);
        if (converted == nullptr) {
            continue;
        }
        if (std::strcmp(converted, value) != 0) {
            const char *interned = KZ_DICT_Insert(dict, converted);
            if (interned == nullptr) {
                KZ_MemFree(converted);
                return KZ_ENOMEM;
            }
            KZ_DICT_Remove(dict, value);
            dvt->defaults[i] = interned;
        }
        KZ_MemFree(converted);
    }
    return 0;
}

uint32_t KZS_MOD_CoupleDeviate(KzMod *mod, KzsDeviation *dev, KzsDeviate *dvt, KzsNode *target)
{
    if (mod == nullptr || dev == nullptr || dvt == nullptr || target == nullptr) {
        return KZ_EINVAL;
    }
    uint32_t ret = KZS_MOD_RefreshDeviateDefaults(mod, dvt, target);
    if (ret != 0) {
        return ret;
    }
    KzsCoupleDeviateFunc func = KZS_MOD_GetCoupleDeviateFunc(dvt->kind);
    if (func == nullptr) {
        return KZ_ERR;
    }
    return func(mod, dev, dvt, target);
}
