// Load time of a large generated module against libxml2's own parse of the
// same text: the difference is what building the schema costs.
#include <benchmark/benchmark.h>

#include <ctime>
#include <string>

#include "bench_workloads.h"
#include "korla.h"

namespace {

// About 11,200 schema nodes: large enough that building the schema, not
// start-up, dominates.
constexpr int kSchemaNodes = 11200;

struct GeneratedModule {
    int nodes = 0;
    std::string text = kzbench::MakeModule(kSchemaNodes, &nodes);
};

const GeneratedModule &Generated()
{
    static const GeneratedModule generated;
    return generated;
}

const std::string &ModuleText()
{
    return Generated().text;
}

int ModuleNodes()
{
    return Generated().nodes;
}

bool LoadOnce(const std::string &text)
{
    KzCtx *ctx = KZ_CTX_Create(0);
    if (ctx == nullptr) {
        return false;
    }
    const uint32_t ret = KZ_CTX_LoadMemory(ctx, text.c_str());
    KZ_CTX_Delete(ctx);
    return ret == 0;
}

void BM_KorlaLoadMemory(benchmark::State &state)
{
    const std::string &text = ModuleText();
    for (auto _ : state) {
        if (!LoadOnce(text)) {
            state.SkipWithError("KZ_CTX_LoadMemory failed");
            break;
        }
    }
    state.counters["schema_nodes"] = ModuleNodes();
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}

void BM_LibXml2ParseMemory(benchmark::State &state)
{
    const std::string &text = ModuleText();
    for (auto _ : state) {
        kzbench::XmlParse(text);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}

// CPU time of this thread: the ratio stays meaningful on a busy machine.
double ThreadCpuMs()
{
    timespec ts {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) * 1e3 + static_cast<double>(ts.tv_nsec) / 1e6;
}

// Both costs measured side by side in one benchmark, so that their ratio comes
// from the same run on the same machine state.
void BM_LoadOverParseRatio(benchmark::State &state)
{
    const std::string &text = ModuleText();
    double loadMs = 0.0;
    double parseMs = 0.0;
    for (auto _ : state) {
        const double t0 = ThreadCpuMs();
        if (!LoadOnce(text)) {
            state.SkipWithError("KZ_CTX_LoadMemory failed");
            break;
        }
        const double t1 = ThreadCpuMs();
        kzbench::XmlParse(text);
        const double t2 = ThreadCpuMs();
        loadMs += t1 - t0;
        parseMs += t2 - t1;
    }
    if (state.iterations() > 0 && parseMs > 0.0) {
        const double n = static_cast<double>(state.iterations());
        state.counters["load_cpu_ms"] = loadMs / n;
        state.counters["xmlReadMemory_cpu_ms"] = parseMs / n;
        state.counters["load_over_parse"] = loadMs / parseMs;
    }
    state.counters["schema_nodes"] = ModuleNodes();
}

BENCHMARK(BM_KorlaLoadMemory)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LibXml2ParseMemory)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadOverParseRatio)->Unit(benchmark::kMillisecond);

} // namespace
