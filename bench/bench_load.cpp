// Load time of a large generated module against libxml2's own parse of the
// same text: the difference is what building the schema costs.
#include <benchmark/benchmark.h>

#include <libxml/parser.h>

#include <ctime>
#include <string>

#include "korla.h"

namespace {

constexpr int kContainers = 400;
constexpr int kLeavesPerList = 22;

// One container per group, each holding a keyed list of typed leaves, a choice
// and a leaf-list: 1 + 1 + 22 + 1 + 2 + 1 = 28 schema nodes per group.
std::string MakeModule(int *nodeCount)
{
    std::string t;
    t.reserve(4u << 20);
    t += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<module name=\"bench-inventory\" xmlns=\"urn:ietf:params:xml:ns:yang:yin:1\"\n"
         "        xmlns:inv=\"urn:acme:params:xml:ns:yang:bench-inventory\">\n"
         "  <yang-version value=\"1.1\"/>\n"
         "  <namespace uri=\"urn:acme:params:xml:ns:yang:bench-inventory\"/>\n"
         "  <prefix value=\"inv\"/>\n"
         "  <revision date=\"2024-06-01\"/>\n"
         "  <typedef name=\"slot-number\"><type name=\"uint8\"><range value=\"1..64\"/></type></typedef>\n"
         "  <feature name=\"extended-counters\"/>\n";
    int nodes = 0;
    for (int g = 0; g < kContainers; g++) {
        const std::string n = std::to_string(g);
        t += "  <container name=\"group-" + n + "\">\n";
        t += "    <list name=\"entry\"><key value=\"id\"/>\n";
        t += "      <leaf name=\"id\"><type name=\"uint32\"/></leaf>\n";
        for (int l = 1; l < kLeavesPerList; l++) {
            const std::string ln = std::to_string(l);
            switch (l % 4) {
            case 0:
                t += "      <leaf name=\"label-" + ln + "\"><type name=\"string\"><length value=\"1..64\"/></type></leaf>\n";
                break;
            case 1:
                t += "      <leaf name=\"slot-" + ln + "\"><type name=\"inv:slot-number\"/><default value=\"1\"/></leaf>\n";
                break;
            case 2:
                t += "      <leaf name=\"counter-" + ln +
                     "\"><if-feature name=\"extended-counters\"/><type name=\"uint64\"/><config value=\"false\"/></leaf>\n";
                break;
            default:
                t += "      <leaf name=\"state-" + ln +
                     "\"><type name=\"enumeration\"><enum name=\"up\"/><enum name=\"down\"/></type>"
                     "<when condition=\"../id &gt; 0\"/></leaf>\n";
                break;
            }
        }
        t += "    </list>\n";
        t += "    <choice name=\"mode\"><case name=\"auto\"><leaf name=\"auto\"><type name=\"empty\"/></leaf></case>"
             "</choice>\n";
        t += "    <leaf-list name=\"tag\"><type name=\"string\"/></leaf-list>\n";
        t += "  </container>\n";
        nodes += 1 + 1 + kLeavesPerList + 3 + 1;
    }
    t += "</module>\n";
    *nodeCount = nodes;
    return t;
}

struct GeneratedModule {
    int nodes = 0;
    std::string text = MakeModule(&nodes);
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

// The library parses with blank text nodes dropped; parse the same way.
void ParseOnce(const std::string &text)
{
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#endif
    xmlKeepBlanksDefault(0);
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
    xmlDoc *doc = xmlParseMemory(text.data(), static_cast<int>(text.size()));
    xmlFreeDoc(doc);
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
        ParseOnce(text);
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
        ParseOnce(text);
        const double t2 = ThreadCpuMs();
        loadMs += t1 - t0;
        parseMs += t2 - t1;
    }
    if (state.iterations() > 0 && parseMs > 0.0) {
        const double n = static_cast<double>(state.iterations());
        state.counters["load_cpu_ms"] = loadMs / n;
        state.counters["xmlParseMemory_cpu_ms"] = parseMs / n;
        state.counters["load_over_parse"] = loadMs / parseMs;
    }
    state.counters["schema_nodes"] = ModuleNodes();
}

BENCHMARK(BM_KorlaLoadMemory)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LibXml2ParseMemory)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadOverParseRatio)->Unit(benchmark::kMillisecond);

} // namespace
