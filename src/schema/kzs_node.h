/* Schema nodes: the record, its per-kind information, links, walks and flags. */
#ifndef KZS_NODE_H
#define KZS_NODE_H

#include "korla.h"
#include "types/kzt_type.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct KzDict KzDict;

/* Node kinds. */
enum {
    KZS_NODE_UNKNOWN = 0,
    KZS_NODE_CONTAINER = 1,
    KZS_NODE_LEAF = 2,
    KZS_NODE_LEAFLIST = 3,
    KZS_NODE_LIST = 4,
    KZS_NODE_CHOICE = 5,
    KZS_NODE_CASE = 6,
    KZS_NODE_ANYDATA = 7,
    KZS_NODE_ANYXML = 8,
    KZS_NODE_ACTION = 9,
    KZS_NODE_RPC = 10,
    KZS_NODE_NOTIF = 11,
    KZS_NODE_INPUT = 12,
    KZS_NODE_OUTPUT = 13,
    KZS_NODE_AUGMENT = 14,
    KZS_NODE_KIND_MAX = 14
};

/* Node flag bits. */
#define KZS_NODE_FLAG_AUG_COUPLED        0x1u
#define KZS_NODE_FLAG_CONFIG_TRUE        0x2u
#define KZS_NODE_FLAG_CONFIG_FALSE       0x4u
#define KZS_NODE_FLAG_CONFIG_SET         0x8u
#define KZS_NODE_FLAG_MANDATORY_TRUE     0x10u
#define KZS_NODE_FLAG_MANDATORY_FALSE    0x20u
#define KZS_NODE_FLAG_ORDERED_BY_USER    0x80u
#define KZS_NODE_FLAG_KEY                0x100u
#define KZS_NODE_FLAG_DEPRECATED         0x200u
#define KZS_NODE_FLAG_OBSOLETE           0x400u
#define KZS_NODE_FLAG_PRESENCE           0x800u
#define KZS_NODE_FLAG_NACM_DENY_WRITE    0x1000u
#define KZS_NODE_FLAG_NACM_DENY_ALL      0x2000u

struct KzsExtInst {
    const char *modName;  /* interned: module defining the extension */
    const char *extName;  /* interned */
    const char *argument; /* interned or null */
    uint16_t childCount;
    KzsExtInst *children; /* nested extension instances */
};

typedef struct KzsIfFeature {
    const char *modName;  /* interned */
    const char *featName; /* interned */
} KzsIfFeature;

typedef struct KzsMust {
    const char *cond;      /* interned, required */
    const char *errMsg;    /* interned or null */
    const char *errAppTag; /* interned or null */
} KzsMust;

struct KzsNode {
    KzsNode *parent;
    KzsNode *firstChild;
    KzsNode *lastChild;
    KzsNode *next;
    KzsNode *prev;
    KzMod *module;
    const char *name;
    const char *description;
    uint32_t kind;
    uint32_t flags;
    const char *when;
    KzsIfFeature *ifFeatures;
    KzsMust *musts;
    uint16_t ifFeatureCount;
    uint16_t mustCount;
    uint16_t extInstCount;
    uint8_t keyCount;
    KzsExtInst *extInsts;
    void *schemaInfo;
    void *priv;
};

typedef struct KzsLeafInfo {
    KztRealType realType; /* first member: the node's real type is the info itself */
    const char *dflt;
    const char *units;
} KzsLeafInfo;

typedef struct KzsLeafListInfo {
    KztRealType realType;
    const char **defaults;
    uint32_t defaultCount;
    const char *units;
} KzsLeafListInfo;

typedef struct KzsChoiceInfo {
    const char *defaultCase;
} KzsChoiceInfo;

/* (function declarations of schema nodes follow) */

#ifdef __cplusplus
}
#endif

#endif /* KZS_NODE_H */
