// Value checks per second for typical leaf types, and what keeping compiled
// patterns with their constraint saves over compiling them for every value.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "korla.h"
#include "base/kz_str.h"
#include "schema/kzs_mod.h"
#include "schema/kzs_node.h"
#include "types/kzt_cons.h"

namespace {

const char *kModA = R"(<module name="ba" xmlns="urn:ietf:params:xml:ns:yang:yin:1" xmlns:ba="urn:ba">
<namespace uri="urn:ba"/><prefix value="ba"/>
<identity name="crypto"/>
</module>)";

const char *kModB = R"(<module name="bb" xmlns="urn:ietf:params:xml:ns:yang:yin:1" xmlns:bb="urn:bb">
<namespace uri="urn:bb"/><prefix value="bb"/>
<import module="ba"><prefix value="a"/></import>
<identity name="block"><base name="a:crypto"/></identity>
<identity name="aes"><base name="block"/></identity>
<identity name="aes256"><base name="aes"/></identity>
<typedef name="pct"><type name="int32"><range value="0..100"/></type></typedef>
<typedef name="ident"><type name="string"><pattern value="[a-z][a-z0-9\-]{0,15}"/></type></typedef>
<typedef name="host"><type name="string"><length value="1..253"/>
  <pattern value="((([a-zA-Z0-9_]([a-zA-Z0-9\-_]){0,61})?[a-zA-Z0-9]\.)*([a-zA-Z0-9_]([a-zA-Z0-9\-_]){0,61})?[a-zA-Z0-9]\.?)|\."/>
</type></typedef>
<leaf name="pct"><type name="pct"/></leaf>
<leaf name="ident"><type name="ident"/></leaf>
<leaf name="host"><type name="host"/></leaf>
<leaf name="u3"><type name="union"><type name="pct"/><type name="boolean"/><type name="ident"/></type></leaf>
<leaf name="alg"><type name="identityref"><base name="a:crypto"/></type></leaf>
</module>)";

KzCtx *LoadedContext()
{
    static KzCtx *ctx = [] {
        KzCtx *c = KZ_CTX_Create(0);
        if (c == nullptr || KZ_CTX_LoadMemory(c, kModA) != KZ_OK || KZ_CTX_LoadMemory(c, kModB) != KZ_OK) {
            return static_cast<KzCtx *>(nullptr);
        }
        return c;
    }();
    return ctx;
}

KzsNode *Leaf(const char *name)
{
    KzCtx *ctx = LoadedContext();
    KzMod *mod = (ctx != nullptr) ? KZ_CTX_GetModuleByModName(ctx, "bb") : nullptr;
    for (KzsNode *n = (mod != nullptr) ? mod->dataNodes : nullptr; n != nullptr; n = n->next) {
        if (std::strcmp(n->name, name) == 0) {
            return n;
        }
    }
    return nullptr;
}

/* Checks one leaf's value over and over; items are value checks. */
void RunLeafCheck(benchmark::State &state, const char *leaf, const char *value)
{
    KzsNode *node = Leaf(leaf);
    if (node == nullptr || KZ_NODE_ValidateValue(node, KZ_VAL_INPUT_STRING, value) != KZ_OK) {
        state.SkipWithError("leaf missing or value rejected");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(KZ_NODE_ValidateValue(node, KZ_VAL_INPUT_STRING, value));
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

void BM_ValueInt32Range(benchmark::State &state) { RunLeafCheck(state, "pct", "42"); }
void BM_ValuePatternLeaf(benchmark::State &state) { RunLeafCheck(state, "ident", "eth0-uplink"); }
/* The value only matches the third member, so all three are tried. */
void BM_ValueUnionOfThree(benchmark::State &state) { RunLeafCheck(state, "u3", "eth0-uplink"); }
void BM_ValueIdentityref(benchmark::State &state) { RunLeafCheck(state, "alg", "bb:aes256"); }

/* The pattern check alone, on the body's compiled expressions (arg 0) or
 * compiling each pattern again for the value (arg 1), as the check would
 * without the cache. */
void RunPatternCheck(benchmark::State &state, const char *typedefName, const char *value)
{
    KzCtx *ctx = LoadedContext();
    KztRealType *type =
        (ctx != nullptr) ? KZ_MOD_GetRealTypeByTypDefName(KZ_CTX_GetModuleByModName(ctx, "bb"), typedefName) : nullptr;
    auto *body = static_cast<KztConsDataPattern *>(KZT_TYPE_GetTypeConsDataByConsType(type, KZT_CONS_PATTERN));
    if (body == nullptr) {
        state.SkipWithError("pattern typedef missing");
        return;
    }
    const bool perValue = state.range(0) != 0;
    for (auto _ : state) {
        uint32_t rc = KZ_OK;
        if (perValue) {
            for (uint16_t i = 0; i < body->segCount && rc == KZ_OK; ++i) {
                const bool matched = KZ_UTL_MatchStrWithPattern(value, body->segs[i].pattern) == 0;
                rc = (matched == (body->segs[i].invertMatch != 0)) ? KZ_VAL_ERR_PATTERN : KZ_OK;
            }
        } else {
            KztValCheckCtx chk{};
            rc = KZT_CONS_ValidateValueNodeAgainstDataPattern(body, KZ_VAL_INPUT_STRING, value, &chk);
        }
        if (rc != KZ_OK) {
            state.SkipWithError("value rejected");
            return;
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
    state.SetLabel(perValue ? "compiled per value" : "compiled once");
}

void BM_PatternShort(benchmark::State &state) { RunPatternCheck(state, "ident", "eth0-uplink"); }
void BM_PatternHostName(benchmark::State &state) { RunPatternCheck(state, "host", "router-17.lab.example.net"); }

} // namespace

BENCHMARK(BM_ValueInt32Range);
BENCHMARK(BM_ValuePatternLeaf);
BENCHMARK(BM_ValueUnionOfThree);
BENCHMARK(BM_ValueIdentityref);
BENCHMARK(BM_PatternShort)->Arg(0)->Arg(1);
BENCHMARK(BM_PatternHostName)->Arg(0)->Arg(1);
