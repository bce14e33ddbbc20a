// Validation cost against libxml2's own parse of the same request text, by input size.
#include <benchmark/benchmark.h>

#include <string>

#include "bench_workloads.h"
#include "korla.h"

namespace {


KzCtx *loaded_context()
{
    static KzCtx *ctx = [] {
        KzCtx *c = KZ_CTX_Create(0);
        if (c == nullptr || KZ_CTX_LoadMemory(c, kzbench::kRequestModule) != KZ_OK) {
            return static_cast<KzCtx *>(nullptr);
        }
        return c;
    }();
    return ctx;
}

void BM_ValidateRequest(benchmark::State &state)
{
    KzCtx *ctx = loaded_context();
    if (ctx == nullptr) {
        state.SkipWithError("module did not load");
        return;
    }
    std::string text = kzbench::MakeRequest(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        KzdErrNode *err = KZ_CTX_ValidateRpcDataTree(ctx, KZ_DATA_KIND_TEXT, text.data(), nullptr, nullptr);
        if (err != nullptr) {
            state.SkipWithError(KZ_GetErrorMessage(err) != nullptr ? KZ_GetErrorMessage(err) : "invalid");
            KZ_FreeErrNode(err);
            return;
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
    state.counters["entries"] = static_cast<double>(state.range(0));
}

void BM_LibxmlParseRequest(benchmark::State &state)
{
    std::string text = kzbench::MakeRequest(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        kzbench::XmlParse(text);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
    state.counters["entries"] = static_cast<double>(state.range(0));
}

} // namespace

BENCHMARK(BM_LibxmlParseRequest)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ValidateRequest)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
