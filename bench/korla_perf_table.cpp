// korla_perf: one timed run that prints the performance table.
//
// Every library cost stands next to libxml2's own parse of the same text,
// measured in the same run, in CPU time of this thread (the machine is shared,
// wall time is noise). Each figure is the fastest of a few repetitions.
#include <libxml/parser.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "bench_workloads.h"
#include "korla.h"
#include "schema/kzs_mod.h"
#include "schema/kzs_node.h"
#include "yang/kz_yang_read.h"

namespace {

double CpuMs()
{
    timespec ts {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) * 1e3 + static_cast<double>(ts.tv_nsec) / 1e6;
}

// Fastest of `reps` runs of `fn`, in CPU milliseconds.
double BestMs(int reps, const std::function<void()> &fn)
{
    double best = 1e300;
    for (int i = 0; i < reps; ++i) {
        const double t0 = CpuMs();
        fn();
        const double t = CpuMs() - t0;
        best = (t < best) ? t : best;
    }
    return best;
}

// The library's operation and libxml2's parse of the same text, run in turns
// so that both see the same state of a shared machine; fastest run of each.
struct Pair {
    double korla;
    double xml;
};

Pair BestOfTurns(int reps, const std::function<void()> &korla, const std::function<void()> &xml)
{
    Pair best {1e300, 1e300};
    for (int i = 0; i < reps; ++i) {
        best.korla = std::min(best.korla, BestMs(1, korla));
        best.xml = std::min(best.xml, BestMs(1, xml));
    }
    return best;
}

int RepsFor(int scale)
{
    return (scale >= 100000) ? 5 : (scale >= 10000) ? 9 : 25;
}

long RssBytes()
{
    long pages = 0;
    long resident = 0;
    FILE *f = std::fopen("/proc/self/statm", "r");
    if (f == nullptr) {
        return 0;
    }
    if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) {
        resident = 0;
    }
    std::fclose(f);
    return resident * sysconf(_SC_PAGESIZE);
}

const char *kValueModule = R"(<module name="pv" xmlns="urn:ietf:params:xml:ns:yang:yin:1" xmlns:pv="urn:pv">
<namespace uri="urn:pv"/><prefix value="pv"/>
<identity name="crypto"/>
<identity name="aes"><base name="crypto"/></identity>
<identity name="aes256"><base name="aes"/></identity>
<typedef name="pct"><type name="int32"><range value="0..100"/></type></typedef>
<typedef name="ident"><type name="string"><pattern value="[a-z][a-z0-9\-]{0,15}"/></type></typedef>
<leaf name="pct"><type name="pct"/></leaf>
<leaf name="ident"><type name="ident"/></leaf>
<leaf name="u3"><type name="union"><type name="pct"/><type name="boolean"/><type name="ident"/></type></leaf>
<leaf name="alg"><type name="identityref"><base name="crypto"/></type></leaf>
</module>)";

struct Row {
    std::string what;
    Pair cost;
};

void PrintRatioRows(const char *title, const std::vector<Row> &rows, double target)
{
    std::printf("\n%s (CPU ms, fastest of several runs taken in turns)\n", title);
    std::printf("| %-22s | %10s | %10s | %7s |\n", "input", "korla", "libxml2", "ratio");
    std::printf("|%s|%s|%s|%s|\n", "------------------------", "------------", "------------", "---------");
    for (const Row &r : rows) {
        std::printf("| %-22s | %10.2f | %10.2f | %6.2fx |\n", r.what.c_str(), r.cost.korla, r.cost.xml,
                    r.cost.korla / r.cost.xml);
    }
    if (rows.size() == 3) {
        std::printf("growth 10k -> 100k: korla %.2fx, libxml2 %.2fx (target <= 12x); ratio target <= %.0fx\n",
                    rows[2].cost.korla / rows[1].cost.korla, rows[2].cost.xml / rows[1].cost.xml, target);
    }
}

bool LoadTable()
{
    const std::vector<int> scales {1000, 10000, 100000};
    std::vector<Row> rows;
    for (int scale : scales) {
        int nodes = 0;
        const std::string text = kzbench::MakeModule(scale, &nodes);
        bool ok = true;
        const Pair cost = BestOfTurns(
            RepsFor(scale),
            [&] {
                KzCtx *ctx = KZ_CTX_Create(0);
                ok = ok && ctx != nullptr && KZ_CTX_LoadMemory(ctx, text.c_str()) == KZ_OK;
                KZ_CTX_Delete(ctx);
            },
            [&] { kzbench::XmlParse(text); });
        if (!ok) {
            std::fprintf(stderr, "loading the %d-node module failed\n", nodes);
            return false;
        }
        rows.push_back({std::to_string(nodes) + " schema nodes", cost});
    }
    PrintRatioRows("Load (KZ_CTX_LoadMemory vs xmlReadMemory of the same text)", rows, 2.0);
    return true;
}

bool ValidateTable()
{
    KzCtx *ctx = KZ_CTX_Create(0);
    if (ctx == nullptr || KZ_CTX_LoadMemory(ctx, kzbench::kRequestModule) != KZ_OK) {
        std::fprintf(stderr, "rpc module did not load\n");
        KZ_CTX_Delete(ctx);
        return false;
    }
    const std::vector<int> scales {1000, 10000, 100000};
    std::vector<Row> rows;
    bool ok = true;
    for (int scale : scales) {
        std::string text = kzbench::MakeRequest(scale);
        const Pair cost = BestOfTurns(
            RepsFor(scale),
            [&] {
                KzdErrNode *err = KZ_CTX_ValidateRpcDataTree(ctx, KZ_DATA_KIND_TEXT, text.data(), nullptr, nullptr);
                if (err != nullptr) {
                    ok = false;
                    KZ_FreeErrNode(err);
                }
            },
            [&] { kzbench::XmlParse(text); });
        rows.push_back({std::to_string(scale) + " list entries", cost});
    }
    KZ_CTX_Delete(ctx);
    if (!ok) {
        std::fprintf(stderr, "a generated request was rejected\n");
        return false;
    }
    PrintRatioRows("Validate (KZ_CTX_ValidateRpcDataTree vs xmlReadMemory of the same text)", rows, 3.0);
    return true;
}

bool ValueTable()
{
    KzCtx *ctx = KZ_CTX_Create(0);
    KzMod *mod = nullptr;
    if (ctx != nullptr && KZ_CTX_LoadMemory(ctx, kValueModule) == KZ_OK) {
        mod = KZ_CTX_GetModuleByModName(ctx, "pv");
    }
    if (mod == nullptr) {
        std::fprintf(stderr, "value module did not load\n");
        KZ_CTX_Delete(ctx);
        return false;
    }
    struct Case {
        const char *leaf;
        const char *value;
        const char *label;
    };
    const Case cases[] = {
        {"pct", "42", "int32 with range"},
        {"ident", "eth0-uplink", "string with pattern"},
        {"u3", "eth0-uplink", "union, third member"},
        {"alg", "pv:aes256", "identityref"},
    };
    std::printf("\nValue checks (KZ_NODE_ValidateValue)\n");
    std::printf("| %-22s | %14s |\n", "type", "checks/s");
    std::printf("|------------------------|----------------|\n");
    constexpr int kChecks = 200000;
    bool ok = true;
    for (const Case &c : cases) {
        const KzsNode *node = mod->dataNodes;
        while (node != nullptr && std::strcmp(node->name, c.leaf) != 0) {
            node = node->next;
        }
        if (node == nullptr || KZ_NODE_ValidateValue(node, KZ_VAL_INPUT_STRING, c.value) != KZ_OK) {
            std::fprintf(stderr, "leaf %s missing or value rejected\n", c.leaf);
            ok = false;
            continue;
        }
        const double ms = BestMs(3, [&] {
            for (int i = 0; i < kChecks; ++i) {
                ok = ok && KZ_NODE_ValidateValue(node, KZ_VAL_INPUT_STRING, c.value) == KZ_OK;
            }
        });
        std::printf("| %-22s | %14.0f |\n", c.label, kChecks / (ms / 1e3));
    }
    KZ_CTX_Delete(ctx);
    return ok;
}

bool MemoryTable()
{
    int nodes = 0;
    const std::string text = kzbench::MakeModule(100000, &nodes);
    KzCtx *ctx = KZ_CTX_Create(0);
    // Touch the parser once so that libxml2's own start-up is not counted.
    kzbench::XmlParse(text);
    const long before = RssBytes();
    const bool ok = ctx != nullptr && KZ_CTX_LoadMemory(ctx, text.c_str()) == KZ_OK;
    const long after = RssBytes();
    KZ_CTX_Delete(ctx);
    if (!ok) {
        std::fprintf(stderr, "loading the %d-node module failed\n", nodes);
        return false;
    }
    std::printf("\nResident memory per loaded schema node: %.0f bytes (%d nodes, RSS +%.1f MiB; target <= 512)\n",
                static_cast<double>(after - before) / nodes, nodes, static_cast<double>(after - before) / 1048576.0);
    return true;
}


// The generated module read from its YANG text and from its YIN text: the
// reader alone (text to YIN document, against libxml2's parse of the YIN
// text) and the whole load (KZ_CTX_LoadYangMemory against KZ_CTX_LoadMemory).
bool YangTable()
{
    std::printf("\nYANG vs YIN input (CPU ms, fastest of several runs taken in turns)\n");
    std::printf("| %-20s | %9s | %9s | %6s | %9s | %9s | %6s | %15s |\n", "input", "read yang", "parse yin", "ratio",
                "load yang", "load yin", "ratio", "KiB yang / yin");
    std::printf("|----------------------|-----------|-----------|--------|-----------|-----------|--------|-----------------|\n");
    const std::vector<std::string> noDirs;
    std::vector<Pair> loads;
    for (int scale : {1000, 10000, 100000}) {
        int nodes = 0;
        const std::string yin = kzbench::MakeModule(scale, &nodes);
        const std::string yang = kzbench::MakeModule(scale, &nodes, true);
        bool ok = true;
        const Pair read = BestOfTurns(
            RepsFor(scale),
            [&] {
                xmlDoc *doc = kz::yang::ReadYang(yang.data(), yang.size(), "", noDirs, nullptr);
                ok = ok && doc != nullptr;
                xmlFreeDoc(doc);
            },
            [&] { kzbench::XmlParse(yin); });
        auto loadWith = [&ok](uint32_t (*load)(KzCtx *, const char *), const std::string &text) {
            KzCtx *ctx = KZ_CTX_Create(0);
            ok = ok && ctx != nullptr && load(ctx, text.c_str()) == KZ_OK;
            KZ_CTX_Delete(ctx);
        };
        const Pair load = BestOfTurns(
            RepsFor(scale), [&] { loadWith(KZ_CTX_LoadYangMemory, yang); }, [&] { loadWith(KZ_CTX_LoadMemory, yin); });
        if (!ok) {
            std::fprintf(stderr, "reading the %d-node module from YANG failed\n", nodes);
            return false;
        }
        loads.push_back(load);
        std::printf("| %-20s | %9.2f | %9.2f | %5.2fx | %9.2f | %9.2f | %5.2fx | %6zu / %-6zu |\n",
                    (std::to_string(nodes) + " schema nodes").c_str(), read.korla, read.xml, read.korla / read.xml,
                    load.korla, load.xml, load.korla / load.xml, yang.size() / 1024, yin.size() / 1024);
    }
    std::printf("growth 10k -> 100k: load yang %.2fx, load yin %.2fx (target <= 12x); ratio target <= 1x\n",
                loads[2].korla / loads[1].korla, loads[2].xml / loads[1].xml);
    return true;
}

// With "load N" or "validate N", performs just that one operation, for a profiler.
int ProfileOne(const char *what, int scale)
{
    if (std::strcmp(what, "load") == 0) {
        int nodes = 0;
        const std::string text = kzbench::MakeModule(scale, &nodes);
        KzCtx *ctx = KZ_CTX_Create(0);
        const bool ok = ctx != nullptr && KZ_CTX_LoadMemory(ctx, text.c_str()) == KZ_OK;
        KZ_CTX_Delete(ctx);
        return ok ? 0 : 1;
    }
    KzCtx *ctx = KZ_CTX_Create(0);
    std::string text = kzbench::MakeRequest(scale);
    bool ok = ctx != nullptr && KZ_CTX_LoadMemory(ctx, kzbench::kRequestModule) == KZ_OK;
    KzdErrNode *err = ok ? KZ_CTX_ValidateRpcDataTree(ctx, KZ_DATA_KIND_TEXT, text.data(), nullptr, nullptr) : nullptr;
    ok = ok && err == nullptr;
    KZ_FreeErrNode(err);
    KZ_CTX_Delete(ctx);
    return ok ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    xmlInitParser();
    if (argc == 3) {
        return ProfileOne(argv[1], std::atoi(argv[2]));
    }
    // Memory first, while the heap is fresh and the RSS delta is the module's own.
    bool ok = MemoryTable();
    ok = LoadTable() && ok;
    ok = ValidateTable() && ok;
    ok = ValueTable() && ok;
    ok = YangTable() && ok;
    xmlCleanupParser();
    return ok ? 0 : 1;
}
