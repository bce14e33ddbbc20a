/* Undo log of a coupled deviation: what its deviates changed, saved so that undoing it restores the target. */
#ifndef KZS_DEVIATION_UNDO_H
#define KZS_DEVIATION_UNDO_H

#include <cstdint>
#include <vector>

#include "schema/kzs_ctx.h"
#include "schema/kzs_mod.h"

namespace kz::schema {

/* The interned texts of a node that deviates change. */
enum class TextSlot : uint32_t {
    LeafDefault,   /* a leaf's default */
    ChoiceDefault, /* a choice's default case */
    Units,         /* units of a leaf or leaf-list */
};

/* Where node keeps that text; for units null when the node has none to keep. */
const char **TextSlotOf(KzsNode *node, TextSlot which);

/* Where a node sat before a not-supported took it out of its tree. */
struct DetachedPlace {
    KzsNode *parent;   /* null at the top level of owner */
    KzsNode *prev;
    KzMod *owner;      /* module whose tree held it */
    KzsNode *rangeAug; /* coupled augment of owner whose moved range held it, or null */
    bool wasFirst;     /* it began rangeAug's range */
    bool wasLast;      /* it ended rangeAug's range */
};

/* Everything a coupling of one deviation changed in the schema, each saved
 * before the change, so that undoing the deviation leaves the target exactly
 * as it was before.  KzsDeviation.undo points at it while coupled. */
class DeviationUndoLog {
public:
    /* An empty log for a deviation of devMod, in KZ_MemMalloc memory; null
     * when out of memory.  Destroy releases it. */
    static DeviationUndoLog *Create(KzCtx *ctx, KzMod *devMod);
    static void Destroy(DeviationUndoLog *log);
    /* The log hung on dev (KzsDeviation.undo), or null. */
    static DeviationUndoLog *Of(const KzsDeviation *dev);

    /* Releases what the entries still hold.  A removed node never put back is
     * freed; it is handed to the deviating module first because its own
     * module may already be gone when a context is deleted. */
    ~DeviationUndoLog();
    DeviationUndoLog(const DeviationUndoLog &) = delete;
    DeviationUndoLog &operator=(const DeviationUndoLog &) = delete;

    /* Order in which the deviation was coupled (from KzCtx.devCoupleSeq). */
    uint64_t Seq() const { return seq_; }
    void SetSeq(uint64_t seq) { seq_ = seq; }

    /* Each save records what it names as it is now: 0, or KZ_ENOMEM with
     * nothing recorded. */
    uint32_t SaveFlags(KzsNode *node);
    /* Flags of the subtree's nodes of root's own module: flag inheritance may
     * change any of them.  Nodes of other modules (moved in by augments) may
     * be gone by the time the deviation is undone, so they are not saved. */
    uint32_t SaveSubtreeFlags(KzsNode *root);
    uint32_t SaveText(KzsNode *node, TextSlot which);
    uint32_t SaveLeafListDefaults(KzsNode *node);
    uint32_t SaveMusts(KzsNode *node);
    uint32_t SaveExtInsts(KzsNode *node);
    /* The type of a leaf or leaf-list moves into the log whole, so that
     * undoing gives back the very record with its bindings, and replacement
     * takes its place. */
    uint32_t SaveTypeReplacing(KzsNode *node, const KztRealType &replacement);
    /* node is about to leave its tree from place. */
    uint32_t SaveDetached(KzsNode *node, const DetachedPlace &place);

    /* Puts everything back, newest first, and leaves the log empty.  The
     * names of modules whose removed nodes came back are appended to restored
     * (when given), so that what depended on those nodes can couple again. */
    void RollBack(std::vector<const char *> *restored);

private:
    struct Entry;

    DeviationUndoLog(KzCtx *ctx, KzMod *devMod) : ctx_(ctx), devMod_(devMod) {}
    KzDict *Dict() const { return &ctx_->dict; }
    /* A zeroed entry at the end, or null when out of memory. */
    Entry *Push(uint32_t kind, KzsNode *node);
    /* Takes back the entry just pushed, which holds nothing yet. */
    void DropLast() { count_--; }
    template <typename Arr, typename Count, typename Copy>
    uint32_t SaveArrayCopy(uint32_t kind, KzsNode *node, uint32_t count, Arr Entry::*arrField,
                           Count Entry::*countField, Copy copy);
    void Apply(Entry *e);
    void Release(Entry *e);

    KzCtx *ctx_;
    KzMod *devMod_;
    uint64_t seq_ = 0;
    Entry *entries_ = nullptr;
    uint32_t count_ = 0;
    uint32_t cap_ = 0;
};

} /* namespace kz::schema */

#endif /* KZS_DEVIATION_UNDO_H */
