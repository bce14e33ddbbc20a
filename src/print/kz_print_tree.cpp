/* Schema tree printer: rows per node kind, children, sections and buffering. */
#include "print/kz_print.h"

#include <cstring>

#include "base/kz_guard.h"
#include "base/kz_kit.h"

using namespace kz::print;

namespace {

/* Status mark, connector and access column shared by most rows. */
uint32_t PrintRowStart(KzsNode *node, KzsPrintPara *para)
{
    if (KZS_NODE_PrintRetract(para) != KZ_OK ||
        Append(para, "%s--", StatusMark(node)) != KZ_OK) {
        return KZ_EINVAL;
    }
    return KZS_NODE_PrintRWOnly(node, para);
}

bool IsLastOfRange(const KzsNode *node, const KzsNode *last)
{
    return node == last || node->next == nullptr;
}

/* Prints the children of node one level deeper, each through printOne(child, its
 * parameters). rwMode is the access mode the children inherit. */
template <typename PrintOne>
uint32_t PrintEachChild(KzsNode *node, KzsPrintPara *para, uint32_t rwMode, PrintOne printOne)
{
    if ((para->flags & KZS_PRINT_FLAG_SELF_ONLY) != 0 || node->firstChild == nullptr) {
        return KZ_OK;
    }
    KzsPrintPara child;
    KZS_NODE_InheritPrintPara(&child, para);
    child.level = para->level + 1;
    child.rwMode = rwMode;
    /* A shorthand case (a non-case child of a choice) draws no bar towards the next case. */
    bool shorthand = node->kind != KZS_NODE_CASE && KZS_NODE_PrintCheckNextCase(node) != 0;
    bool bar = (para->flags & KZS_PRINT_FLAG_NO_BAR) == 0 && node->next != nullptr && !shorthand;
    if (bar) {
        child.retract = KZS_NODE_PrintGetRetract(para->retract, child.level);
    }
    /* An augment's children sit in the target's chain; stop at the parent's last child. */
    child.maxLen = KZS_NODE_PrintGetMaxLen(node->firstChild, node->lastChild, para->module);
    for (KzsNode *c = node->firstChild; c != nullptr; c = c->next) {
        KzsPrintPara each = child;
        each.used = para->used;
        uint32_t rc = printOne(c, &each);
        para->used = each.used;
        if (rc != KZ_OK) {
            return rc;
        }
        if (c == node->lastChild) {
            break;
        }
    }
    return KZ_OK;
}

/* Prints the children of node one level deeper; onlyInout keeps only the input
 * and output of an rpc or action. */
uint32_t PrintChildren(KzsNode *node, KzsPrintPara *para, uint32_t rwMode, bool onlyInout)
{
    return PrintEachChild(node, para, rwMode, [onlyInout](KzsNode *c, KzsPrintPara *each) {
        bool inout = c->kind == KZS_NODE_INPUT || c->kind == KZS_NODE_OUTPUT;
        return (!onlyInout || inout) ? KZS_NODE_PrintSubTree(c, each) : KZ_OK;
    });
}

uint32_t FlushIfFull(KzsPrintPara *para)
{
    if (para->used < KZS_PRINT_FLUSH_AT) {
        return KZ_OK;
    }
    if (para->output(para->buffer, para->used, para->cbArg) != 0) {
        return KZ_EINVAL;
    }
    para->used = 0;
    para->buffer[0] = '\0';
    return KZ_OK;
}

/* Prints the nodes first..last (inclusive) of one sibling chain at para's level. */
uint32_t PrintRange(KzsNode *first, KzsNode *last, KzsPrintPara *para)
{
    for (KzsNode *n = first; n != nullptr; n = n->next) {
        KzsPrintPara each = *para;
        each.flags = 0;
        uint32_t rc = KZS_NODE_PrintSubTree(n, &each);
        para->used = each.used;
        if (rc != KZ_OK) {
            return rc;
        }
        if (IsLastOfRange(n, last)) {
            break;
        }
    }
    return KZ_OK;
}

/* Runs a whole print with a freshly allocated buffer and hands the text to the callback. */
template <typename Body>
uint32_t RunPrint(const KzMod *module, KzPrintOutputCb output, void *arg, Body body)
{
    char *buffer = kz::ZeroAlloc<char>(KZS_PRINT_BUF_SIZE);
    if (buffer == nullptr) {
        return KZ_ENOMEM;
    }
    KzsPrintPara para{};
    para.bufSize = KZS_PRINT_BUF_SIZE;
    para.buffer = buffer;
    para.cbArg = arg;
    para.output = output;
    para.module = module;
    uint32_t rc = body(&para);
    if (rc == KZ_OK && output(buffer, para.used, arg) != 0) {
        rc = KZ_ERR;
    }
    KZ_MemFree(buffer);
    return rc == KZ_OK ? KZ_OK : KZ_ERR;
}

/* Real cases print themselves; any other enabled child of a choice is a
 * shorthand case: a case row with its own name, then the child itself one
 * level deeper. */
uint32_t PrintChoiceMember(KzsNode *c, KzsPrintPara *each)
{
    if (c->kind == KZS_NODE_CASE) {
        return KZS_NODE_PrintSubTree(c, each);
    }
    if (KZ_NODE_IsEnabled(c) == 0) {
        return KZ_OK;
    }
    uint32_t rc = FlushIfFull(each);
    if (rc != KZ_OK) {
        return rc;
    }
    if (KZS_NODE_PrintRetract(each) != KZ_OK ||
        Append(each, "%s--:(%s)\n", StatusMark(c), c->name) != KZ_OK) {
        return KZ_EINVAL;
    }
    KzsPrintPara inner = *each;
    inner.level = each->level + 1;
    if (c->next != nullptr && KZS_NODE_PrintCheckNextCase(c) == 0) {
        inner.retract = KZS_NODE_PrintGetRetract(each->retract, inner.level);
    }
    inner.maxLen = KZS_NODE_PrintGetMaxLen(c, c, each->module);
    rc = KZS_NODE_PrintSubTree(c, &inner);
    each->used = inner.used;
    return rc;
}

} // namespace

extern "C" {

KZ_API uint32_t KZS_NODE_PrintContainer(KzsNode *node, KzsPrintPara *para)
{
    if (PrintRowStart(node, para) != KZ_OK || KZS_NODE_PrintNodeName(node, para, nullptr) != KZ_OK ||
        Append(para, "%s\n", (node->flags & KZS_NODE_FLAG_PRESENCE) ? "!" : "") != KZ_OK) {
        return KZ_EINVAL;
    }
    return PrintChildren(node, para, para->rwMode, false);
}

KZ_API uint32_t KZS_NODE_PrintLeaf(KzsNode *node, KzsPrintPara *para)
{
    uint32_t len = 0;
    bool solid = (node->flags & (KZS_NODE_FLAG_KEY | KZS_NODE_FLAG_MANDATORY_TRUE)) != 0;
    if (PrintRowStart(node, para) != KZ_OK || KZS_NODE_PrintNodeName(node, para, &len) != KZ_OK ||
        Append(para, "%s", solid ? " " : "?") != KZ_OK ||
        KZS_NODE_PrintNodeNameAlignSpace(para, len) != KZ_OK || KZS_NODE_PrintType(node, para) != KZ_OK) {
        return KZ_EINVAL;
    }
    const char *dflt = KZ_NODE_GetDefaultValueStr(node);
    if (dflt != nullptr && Append(para, " <%s>", dflt) != KZ_OK) {
        return KZ_EINVAL;
    }
    return Append(para, "\n");
}

KZ_API uint32_t KZS_NODE_PrintLeafList(KzsNode *node, KzsPrintPara *para)
{
    uint32_t len = 0;
    if (PrintRowStart(node, para) != KZ_OK || KZS_NODE_PrintNodeName(node, para, &len) != KZ_OK ||
        Append(para, "*") != KZ_OK || KZS_NODE_PrintNodeNameAlignSpace(para, len) != KZ_OK ||
        KZS_NODE_PrintType(node, para) != KZ_OK) {
        return KZ_EINVAL;
    }
    return Append(para, "\n");
}

KZ_API uint32_t KZS_NODE_PrintList(KzsNode *node, KzsPrintPara *para)
{
    if (PrintRowStart(node, para) != KZ_OK || KZS_NODE_PrintNodeName(node, para, nullptr) != KZ_OK ||
        Append(para, "*") != KZ_OK) {
        return KZ_EINVAL;
    }
    if (node->keyCount > 0) {
        uint32_t printed = 0;
        if (Append(para, " [") != KZ_OK) {
            return KZ_EINVAL;
        }
        for (KzsNode *c = node->firstChild; c != nullptr && printed < node->keyCount; c = c->next) {
            if (c->kind != KZS_NODE_LEAF || (c->flags & KZS_NODE_FLAG_KEY) == 0) {
                continue;
            }
            ++printed;
            if (Append(para, "%s%s", c->name, printed == node->keyCount ? "]" : " ") != KZ_OK) {
                return KZ_EINVAL;
            }
        }
        if (printed < node->keyCount && Append(para, "]") != KZ_OK) {
            return KZ_EINVAL;
        }
    }
    if (Append(para, "\n") != KZ_OK) {
        return KZ_EINVAL;
    }
    return PrintChildren(node, para, para->rwMode, false);
}

KZ_API uint32_t KZS_NODE_PrintCase(KzsNode *node, KzsPrintPara *para)
{
    if (KZS_NODE_PrintRetract(para) != KZ_OK ||
        Append(para, "%s--:(%s)\n", StatusMark(node), node->name) != KZ_OK) {
        return KZ_EINVAL;
    }
    return PrintChildren(node, para, para->rwMode, false);
}

KZ_API uint32_t KZS_NODE_PrintChoice(KzsNode *node, KzsPrintPara *para)
{
    const KzsChoiceInfo *info = static_cast<const KzsChoiceInfo *>(node->schemaInfo);
    if (PrintRowStart(node, para) != KZ_OK || Append(para, "(%s)", node->name) != KZ_OK ||
        ((node->flags & KZS_NODE_FLAG_MANDATORY_TRUE) == 0 && Append(para, "?") != KZ_OK)) {
        return KZ_EINVAL;
    }
    if (info != nullptr && info->defaultCase != nullptr &&
        Append(para, " <%s>", info->defaultCase) != KZ_OK) {
        return KZ_EINVAL;
    }
    if (Append(para, "\n") != KZ_OK) {
        return KZ_EINVAL;
    }
    return PrintEachChild(node, para, para->rwMode, PrintChoiceMember);
}

KZ_API uint32_t KZS_NODE_PrintAnyDataXml(KzsNode *node, KzsPrintPara *para)
{
    uint32_t len = 0;
    bool mandatory = (node->flags & KZS_NODE_FLAG_MANDATORY_TRUE) != 0;
    if (PrintRowStart(node, para) != KZ_OK || KZS_NODE_PrintNodeName(node, para, &len) != KZ_OK ||
        Append(para, "%s", mandatory ? " " : "?") != KZ_OK ||
        KZS_NODE_PrintNodeNameAlignSpace(para, len) != KZ_OK ||
        Append(para, "%s\n", node->kind == KZS_NODE_ANYDATA ? "anydata" : "anyxml") != KZ_OK) {
        return KZ_EINVAL;
    }
    return KZ_OK;
}

KZ_API uint32_t KZS_NODE_PrintRpcAction(KzsNode *node, KzsPrintPara *para)
{
    if (KZS_NODE_PrintRetract(para) != KZ_OK ||
        Append(para, "%s---x %s\n", StatusMark(node), node->name) != KZ_OK) {
        return KZ_EINVAL;
    }
    return PrintChildren(node, para, para->rwMode, true);
}

KZ_API uint32_t KZS_NODE_PrintNotif(KzsNode *node, KzsPrintPara *para)
{
    if (KZS_NODE_PrintRetract(para) != KZ_OK ||
        Append(para, "%s---n %s\n", StatusMark(node), node->name) != KZ_OK) {
        return KZ_EINVAL;
    }
    return PrintChildren(node, para, KZS_PRINT_RW_READ, false);
}

KZ_API uint32_t KZS_NODE_PrintInout(KzsNode *node, KzsPrintPara *para)
{
    bool input = node->kind == KZS_NODE_INPUT;
    if (KZS_NODE_PrintRetract(para) != KZ_OK ||
        Append(para, "%s %s\n", input ? "+---w" : "+--ro", node->name) != KZ_OK) {
        return KZ_EINVAL;
    }
    return PrintChildren(node, para, input ? KZS_PRINT_RW_WRITE : KZS_PRINT_RW_READ, false);
}

KZ_API uint32_t KZS_NODE_PrintSubTree(KzsNode *node, KzsPrintPara *para)
{
    if (node == nullptr || para == nullptr || para->buffer == nullptr) {
        return KZ_EINVAL;
    }
    if (FlushIfFull(para) != KZ_OK) {
        return KZ_EINVAL;
    }
    if (KZ_NODE_IsEnabled(node) == 0) {
        return KZ_OK;
    }
    switch (node->kind) {
    case KZS_NODE_CONTAINER:
        return KZS_NODE_PrintContainer(node, para);
    case KZS_NODE_LEAF:
        return KZS_NODE_PrintLeaf(node, para);
    case KZS_NODE_LEAFLIST:
        return KZS_NODE_PrintLeafList(node, para);
    case KZS_NODE_LIST:
        return KZS_NODE_PrintList(node, para);
    case KZS_NODE_CHOICE:
        return KZS_NODE_PrintChoice(node, para);
    case KZS_NODE_CASE:
        return KZS_NODE_PrintCase(node, para);
    case KZS_NODE_ANYDATA:
    case KZS_NODE_ANYXML:
        return KZS_NODE_PrintAnyDataXml(node, para);
    case KZS_NODE_ACTION:
    case KZS_NODE_RPC:
        return KZS_NODE_PrintRpcAction(node, para);
    case KZS_NODE_NOTIF:
        return KZS_NODE_PrintNotif(node, para);
    case KZS_NODE_INPUT:
    case KZS_NODE_OUTPUT:
        return KZS_NODE_PrintInout(node, para);
    default:
        return KZ_OK;
    }
}

KZ_API uint32_t KZS_NODE_PrintAugmentTree(KzsNode *augment, KzsPrintPara *para)
{
    if (Append(para, "augment %s:\n", augment->name) != KZ_OK) {
        return KZ_EINVAL;
    }
    if (augment->firstChild == nullptr) {
        return KZ_OK;
    }
    para->level = 2;
    para->retract = 0;
    para->maxLen = KZS_NODE_PrintGetMaxLen(augment->firstChild, augment->lastChild, para->module);
    return PrintRange(augment->firstChild, augment->lastChild, para);
}

KZ_API uint32_t KZS_MOD_PrintModelTreeDataAug(KzMod *mod, KzsPrintPara *para)
{
    para->level = 2;
    para->retract = 0;
    para->maxLen = KZS_NODE_PrintGetMaxLen(mod->dataNodes, nullptr, mod);
    if (PrintRange(mod->dataNodes, nullptr, para) != KZ_OK) {
        return KZ_EINVAL;
    }
    for (KzsNode *aug = mod->augments; aug != nullptr; aug = aug->next) {
        if (KZS_NODE_PrintAugmentTree(aug, para) != KZ_OK) {
            return KZ_EINVAL;
        }
    }
    return KZ_OK;
}

KZ_API uint32_t KZS_MOD_PrintModelTreeRpcNotif(KzMod *mod, KzsPrintPara *para)
{
    const struct {
        KzsNode *head;
        const char *title;
    } sections[] = {{mod->rpcs, "rpcs:\n"}, {mod->notifs, "notifications:\n"}};
    for (const auto &sec : sections) {
        if (sec.head == nullptr) {
            continue;
        }
        if (Append(para, "%s", sec.title) != KZ_OK) {
            return KZ_EINVAL;
        }
        para->level = 2;
        para->retract = 0;
        para->rwMode = KZS_PRINT_RW_FROM_NODE;
        para->maxLen = KZS_NODE_PrintGetMaxLen(sec.head, nullptr, mod);
        if (PrintRange(sec.head, nullptr, para) != KZ_OK) {
            return KZ_EINVAL;
        }
    }
    return KZ_OK;
}

KZ_API uint32_t KZ_NODE_PrintNodeHeader(KzsNode *node, KzsPrintPara *para)
{
    KzsNode *root = node;
    while (root->parent != nullptr) {
        if (root->parent->kind == KZS_NODE_AUGMENT) {
            return KZ_EINVAL;
        }
        root = root->parent;
    }
    if (Append(para, "module: %s\n", node->module->name) != KZ_OK) {
        return KZ_EINVAL;
    }
    if (root->kind == KZS_NODE_NOTIF) {
        return Append(para, "notifications:\n");
    }
    if (root->kind == KZS_NODE_RPC) {
        return Append(para, "rpcs:\n");
    }
    return KZ_OK;
}

KZ_API uint32_t KZS_NODE_PrintAncestorNodes(KzsNode *node, KzsPrintPara *para)
{
    /* Collect the ancestors without recursion, root first. */
    uint32_t depth = 0;
    for (KzsNode *a = node->parent; a != nullptr; a = a->parent) {
        ++depth;
    }
    KzsNode **chain = nullptr;
    if (depth > 0) {
        chain = static_cast<KzsNode **>(KZ_MemMalloc(depth * sizeof(KzsNode *)));
        if (chain == nullptr) {
            return KZ_EINVAL;
        }
        uint32_t i = depth;
        for (KzsNode *a = node->parent; a != nullptr; a = a->parent) {
            chain[--i] = a;
        }
    }
    KzsNode *first = depth > 0 ? chain[0] : node;
    while (first->prev != nullptr && first->prev->next == first) {
        first = first->prev;
    }
    para->level = 2;
    para->retract = 0;
    para->maxLen = KZS_NODE_PrintGetMaxLen(first, nullptr, para->module);
    uint32_t rc = KZ_OK;
    for (uint32_t i = 0; i < depth && rc == KZ_OK; ++i) {
        KzsNode *a = chain[i];
        para->flags = KZS_PRINT_FLAG_SELF_ONLY;
        rc = KZS_NODE_PrintSubTree(a, para);
        para->flags = 0;
        para->level += 1;
        para->maxLen = KZS_NODE_PrintGetMaxLen(a->firstChild, a->lastChild, para->module);
        if (a->kind == KZS_NODE_INPUT) {
            para->rwMode = KZS_PRINT_RW_WRITE;
        } else if (a->kind == KZS_NODE_OUTPUT || a->kind == KZS_NODE_NOTIF) {
            para->rwMode = KZS_PRINT_RW_READ;
        }
    }
    KZ_MemFree(chain);
    return rc;
}

KZ_API uint32_t KZ_MOD_PrintModelTree(KzMod *mod, KzPrintOutputCb output, void *arg)
{
    return kz::Guarded(KZ_ENOMEM, [&]() -> uint32_t {
        if (output == nullptr) {
            return KZ_EINVAL;
        }
        if (mod == nullptr) {
            return KZ_ERR;
        }
        return RunPrint(mod, output, arg, [mod](KzsPrintPara *para) {
            if (Append(para, "module: %s\n", mod->name) != KZ_OK ||
                KZS_MOD_PrintModelTreeDataAug(mod, para) != KZ_OK ||
                KZS_MOD_PrintModelTreeRpcNotif(mod, para) != KZ_OK) {
                return KZ_ERR;
            }
            return KZ_OK;
        });
    });
}

KZ_API uint32_t KZ_NODE_PrintNodesTree(KzsNode *node, KzPrintOutputCb output, void *arg)
{
    return kz::Guarded(KZ_ENOMEM, [&]() -> uint32_t {
        if (output == nullptr || node == nullptr || node->module == nullptr) {
            return KZ_EINVAL;
        }
        return RunPrint(node->module, output, arg, [node](KzsPrintPara *para) {
            if (KZ_NODE_PrintNodeHeader(node, para) != KZ_OK || KZS_NODE_PrintAncestorNodes(node, para) != KZ_OK) {
                return KZ_ERR;
            }
            para->flags = KZS_PRINT_FLAG_NO_BAR;
            return KZS_NODE_PrintSubTree(node, para) == KZ_OK ? KZ_OK : KZ_ERR;
        });
    });
}

} // extern "C"
