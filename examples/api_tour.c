/* A short tour of the C interface: load modules, query the schema, print a tree, check a
 * value, validate a request and read the error record.
 *
 *   cc api_tour.c $(pkg-config --cflags --libs korla) -o api_tour && ./api_tour /path/to/examples/yin
 */
#include <stdio.h>
#include <string.h>

#include "korla.h"

static uint32_t print_chunk(const char *text, uint32_t len, void *arg)
{
    (void)arg;
    return fwrite(text, 1, len, stdout) == len ? 0 : 1;
}

static uint32_t print_diag(const char *module, const char *file, uint32_t level, const char *message,
                           const KzSysTime *time, void *arg)
{
    (void)time;
    (void)arg;
    printf("%s (%s): %s: %s\n", module, file != NULL ? file : "", level == KZ_DIAG_LEVEL_ERROR ? "error" : "warning",
           message != NULL ? message : "");
    return 0;
}

static uint32_t print_top(KzsNode *node, uint32_t step, void *cookie)
{
    (void)step;
    (void)cookie;
    printf("top-level node %s (kind %u)\n", KZ_NODE_GetNodeName(node), KZ_NODE_GetNodeType(node));
    return 0;
}

int main(int argc, char **argv)
{
    if (argc < 2) {
        fprintf(stderr, "usage: %s ABSOLUTE-YIN-DIRECTORY\n", argv[0]);
        return 2;
    }
    /* Load imports transitively and keep descriptions. */
    KzCtx *ctx = KZ_CTX_Create(KZ_CTX_OPT_LOAD_IMPORTS | KZ_CTX_OPT_KEEP_DESCRIPTION);
    if (ctx == NULL || KZ_CTX_SetSearchDir(ctx, argv[1]) != KZ_OK) {
        fprintf(stderr, "cannot use %s\n", argv[1]);
        KZ_CTX_Delete(ctx);
        return 2;
    }
    if (KZ_CTX_LoadModule(ctx, "acme-maintenance") != KZ_OK) {
        KZ_CTX_ScanAllSchemaLoadFail(ctx, print_diag, NULL);
        KZ_CTX_Delete(ctx);
        return 1;
    }

    /* The import acme-system was loaded too. */
    KzMod *sys = KZ_CTX_GetModuleByModName(ctx, "acme-system");
    printf("loaded %s, revision %s\n", KZ_MOD_GetModuleName(sys), KZ_MOD_GetRevision(sys));
    KZ_MOD_IterScanTopmostNode(sys, print_top, NULL);

    /* A module given as YANG text in memory (a search directory may hold .yang files too). */
    if (KZ_CTX_LoadYangMemory(ctx, "module acme-site { yang-version 1.1; namespace urn:acme:site; prefix site;\n"
                                   "  leaf name { type string { length 1..32; } }\n}\n") != KZ_OK) {
        KZ_CTX_ScanAllSchemaLoadFail(ctx, print_diag, NULL);
        KZ_CTX_Delete(ctx);
        return 1;
    }
    printf("loaded %s from YANG text\n", KZ_MOD_GetModuleName(KZ_CTX_GetModuleByModName(ctx, "acme-site")));

    /* Schema queries and value checks on one leaf. */
    KzsNode *hostname = KZ_CTX_GetTargetNode(ctx, "/acme-system:system/hostname", NULL);
    printf("hostname: router-1 -> %u, -bad- -> %u\n", KZ_NODE_ValidateValue(hostname, KZ_VAL_INPUT_STRING, "router-1"),
           KZ_NODE_ValidateValue(hostname, KZ_VAL_INPUT_STRING, "-bad-"));

    /* The text tree of a module. */
    KZ_MOD_PrintModelTree(KZ_CTX_GetModuleByModName(ctx, "acme-maintenance"), print_chunk, NULL);

    /* The file a module was read from, written as YANG (or YIN: KZ_SRC_FORMAT_YIN). */
    if (KZ_CTX_PrintModuleSource(ctx, "acme-maintenance", KZ_SRC_FORMAT_YANG, print_chunk, NULL) != KZ_OK) {
        KZ_CTX_Delete(ctx);
        return 1;
    }

    /* Validate a request; the error record belongs to the caller. */
    const char *request = "<restart xmlns=\"urn:acme:params:xml:ns:yang:acme-system\"><delay>7200</delay>"
                          "<reason>upgrade</reason></restart>";
    KzdErrNode *err = KZ_CTX_ValidateRpcDataTree(ctx, KZ_DATA_KIND_TEXT, (void *)request, NULL, NULL);
    int status = 0;
    if (err != NULL) {
        printf("invalid: tag %u, path %s, message %s\n", KZ_GetErrorTag(err), KZ_GetErrorPath(err),
               KZ_GetErrorMessage(err));
        status = KZ_GetErrorTag(err) == KZ_ERR_TAG_BAD_ELEMENT ? 0 : 1;
        KZ_FreeErrNode(err);
    } else {
        status = 1; /* the delay is out of range: the request must be refused */
    }
    KZ_CTX_Delete(ctx);
    return status;
}
