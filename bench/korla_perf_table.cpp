// korla_perf: one timed run that prints the performance table.
//
// Every library cost stands next to libxml2's own parse of the same text,
// measured in the same run, in CPU time of this thread (the machine is shared,
// wall time is noise). Each figure is the fastest of a few repetitions.
#include <libxml/parser.h>

#include <dirent.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "bench_workloads.h"
#include "korla_perf_peer.h"
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

// Fastest run of each of two operations run in turns.
std::pair<double, double> BestOfEach(int reps, const std::function<void()> &first, const std::function<void()> &second)
{
    std::pair<double, double> best {1e300, 1e300};
    for (int i = 0; i < reps; ++i) {
        best.first = std::min(best.first, BestMs(1, first));
        best.second = std::min(best.second, BestMs(1, second));
    }
    return best;
}

Pair BestOfTurns(int reps, const std::function<void()> &korla, const std::function<void()> &xml)
{
    const auto [korlaMs, xmlMs] = BestOfEach(reps, korla, xml);
    return Pair {korlaMs, xmlMs};
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
    double peer; // the peer library's CPU ms for the same work; negative when not measured
};

// The peer's two columns: its time and how many times slower than korla it is.
std::string PeerColumns(const Row &r)
{
    char cell[64];
    if (!kzbench::PeerBuilt()) {
        std::snprintf(cell, sizeof(cell), " %10s | %10s |", "peer not built", "");
    } else if (r.peer < 0) {
        std::snprintf(cell, sizeof(cell), " %10s | %10s |", "refused", "");
    } else {
        std::snprintf(cell, sizeof(cell), " %10.2f | %9.2fx |", r.peer, r.peer / r.cost.korla);
    }
    return cell;
}

void PrintRatioRows(const char *title, const std::vector<Row> &rows, double target)
{
    std::printf("\n%s (CPU ms, fastest of several runs taken in turns)\n", title);
    std::printf("| %-22s | %10s | %10s | %7s | %10s | %10s |\n", "input", "korla", "libxml2", "ratio", "peer",
                "peer/korla");
    std::printf("|%s|%s|%s|%s|%s|%s|\n", "------------------------", "------------", "------------", "---------",
                "------------", "------------");
    for (const Row &r : rows) {
        std::printf("| %-22s | %10.2f | %10.2f | %6.2fx |%s\n", r.what.c_str(), r.cost.korla, r.cost.xml,
                    r.cost.korla / r.cost.xml, PeerColumns(r).c_str());
    }
    if (rows.size() == 3) {
        std::printf("growth 10k -> 100k: korla %.2fx, libxml2 %.2fx (target <= 12x); ratio target <= %.1fx\n",
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
        rows.push_back({std::to_string(nodes) + " schema nodes", cost, kzbench::PeerLoadMs(text, RepsFor(scale))});
    }
    PrintRatioRows("Load (KZ_CTX_LoadMemory vs xmlReadMemory of the same text)", rows, 1.3);
    return true;
}

// Loads of N and 4N distinct names: the cost per name must not grow with N.
bool NameGrowthTable()
{
    struct Variant {
        const char *label;
        bool descriptions;
    };
    const Variant variants[] = {{"names only", false}, {"long descriptions kept", true}};
    std::printf("\nLoad growth with distinct names (CPU ms, fastest of 5 taken in turns; target 40k -> 160k <= 4.5x)\n");
    std::printf("| %-24s | %10s | %10s | %7s |\n", "module", "40k leaves", "160k leaves", "growth");
    std::printf("|--------------------------|------------|-------------|---------|\n");
    for (const Variant &v : variants) {
        const uint32_t options = v.descriptions ? KZ_CTX_OPT_KEEP_DESCRIPTION : 0;
        const std::string small = kzbench::MakeNamesModule(40000, v.descriptions);
        const std::string large = kzbench::MakeNamesModule(160000, v.descriptions);
        bool ok = true;
        auto load = [&](const std::string &text) {
            KzCtx *ctx = KZ_CTX_Create(options);
            ok = ok && ctx != nullptr && KZ_CTX_LoadMemory(ctx, text.c_str()) == KZ_OK;
            KZ_CTX_Delete(ctx);
        };
        // In turns, so that both sizes see the same state of a shared machine.
        const auto [smallMs, largeMs] = BestOfEach(5, [&] { load(small); }, [&] { load(large); });
        if (!ok) {
            std::fprintf(stderr, "loading the distinct leaves failed\n");
            return false;
        }
        std::printf("| %-24s | %10.1f | %11.1f | %6.2fx |\n", v.label, smallMs, largeMs, largeMs / smallMs);
    }
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
        rows.push_back({std::to_string(scale) + " list entries", cost,
                        kzbench::PeerValidateMs(kzbench::kRequestModule, text, RepsFor(scale))});
    }
    KZ_CTX_Delete(ctx);
    if (!ok) {
        std::fprintf(stderr, "a generated request was rejected\n");
        return false;
    }
    PrintRatioRows("Validate (KZ_CTX_ValidateRpcDataTree vs xmlReadMemory of the same text)", rows, 1.6);
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
    // Touch the parser once so that libxml2's own start-up is not counted. Free heap pages
    // go back to the system on both sides of the load, so that what stays resident is what
    // the module holds, whatever free space earlier parses left in the heap.
    kzbench::XmlParse(text);
    malloc_trim(0);
    const long before = RssBytes();
    const bool ok = ctx != nullptr && KZ_CTX_LoadMemory(ctx, text.c_str()) == KZ_OK;
    malloc_trim(0);
    const long after = RssBytes();
    KZ_CTX_Delete(ctx);
    if (!ok) {
        std::fprintf(stderr, "loading the %d-node module failed\n", nodes);
        return false;
    }
    std::printf("\nResident memory per loaded schema node: %.0f bytes (%d nodes, RSS +%.1f MiB; target <= 200)\n",
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

// The generated module with each group's content in one grouping that every
// container uses, against the same module written flat, both from YANG text:
// expansion must keep the per-node cost.
bool GroupingTable()
{
    std::printf("\nGrouping-expanded vs flat module, YANG input (CPU ms, fastest of several runs taken in turns)\n");
    std::printf("| %-22s | %10s | %10s | %7s |\n", "input", "grouped", "flat", "ratio");
    std::printf("|%s|%s|%s|%s|\n", "------------------------", "------------", "------------", "---------");
    for (int scale : {10000, 100000}) {
        int nodes = 0;
        const std::string flat = kzbench::MakeModule(scale, &nodes, true);
        const std::string grouped = kzbench::MakeModule(scale, &nodes, true, true);
        bool ok = true;
        auto load = [&ok](const std::string &text) {
            KzCtx *ctx = KZ_CTX_Create(0);
            ok = ok && ctx != nullptr && KZ_CTX_LoadYangMemory(ctx, text.c_str()) == KZ_OK &&
                 KZ_CTX_GetTargetNode(ctx, "/perf-inventory:group-0/entry/slot-1", nullptr) != nullptr;
            KZ_CTX_Delete(ctx);
        };
        const Pair cost = BestOfTurns(RepsFor(scale), [&] { load(grouped); }, [&] { load(flat); });
        if (!ok) {
            std::fprintf(stderr, "loading the %d-node grouped module failed\n", nodes);
            return false;
        }
        std::printf("| %-22s | %10.2f | %10.2f | %6.2fx |\n", (std::to_string(nodes) + " schema nodes").c_str(),
                    cost.korla, cost.xml, cost.korla / cost.xml);
    }
    return true;
}

// Names of the modules (not submodules) whose YANG files are in `dir`, sorted.
std::vector<std::string> FolderModules(const char *dir)
{
    std::vector<std::string> names;
    DIR *d = opendir(dir);
    if (d == nullptr) {
        return names;
    }
    for (const dirent *ent = readdir(d); ent != nullptr; ent = readdir(d)) {
        const std::string file = ent->d_name;
        if (file.size() <= 5 || file.compare(file.size() - 5, 5, ".yang") != 0) {
            continue;
        }
        std::ifstream in(std::string(dir) + "/" + file);
        std::string first;
        in >> first;
        if (first == "module") {
            names.push_back(file.substr(0, std::min(file.find('@'), file.size() - 5)));
        }
    }
    closedir(d);
    std::sort(names.begin(), names.end());
    return names;
}

const char *const kFolder = "/usr/share/yuma/modules/ietf";

// One fresh context loading every module of `names` from `dir`.
bool LoadFolder(const char *dir, const std::vector<std::string> &names)
{
    KzCtx *ctx = KZ_CTX_Create(KZ_CTX_OPT_LOAD_IMPORTS | KZ_CTX_OPT_EXPAND_GROUPINGS);
    bool ok = ctx != nullptr && KZ_CTX_SetSearchDir(ctx, dir) == KZ_OK;
    for (const std::string &name : names) {
        ok = ok && KZ_CTX_LoadModule(ctx, name.c_str()) == KZ_OK;
    }
    KZ_CTX_Delete(ctx);
    return ok;
}

// Every module of a folder of real modules loaded into one fresh context,
// imports followed and groupings expanded, context created and freed inside
// the timing; the peer does the same with all features on.
bool FolderTable()
{
    const char *dir = kFolder;
    const std::vector<std::string> names = FolderModules(dir);
    if (names.empty()) {
        std::printf("\nFolder load: skipped, no modules in %s\n", dir);
        return true;
    }
    bool ok = true;
    auto korla = [&] { ok = LoadFolder(dir, names) && ok; };
    bool peerOk = kzbench::PeerBuilt();
    const Pair cost = BestOfTurns(9, korla, [&] { peerOk = peerOk && kzbench::PeerLoadFolder(dir, names); });
    if (!ok) {
        std::fprintf(stderr, "loading the modules of %s failed\n", dir);
        return false;
    }
    std::printf("\nFolder load: %zu modules of %s into one fresh context (CPU ms, fastest of 9 taken in turns)\n",
                names.size(), dir);
    std::printf("| %10s | %10s | %10s |\n", "korla", "peer", "peer/korla");
    std::printf("|------------|------------|------------|\n");
    if (!kzbench::PeerBuilt() || !peerOk) {
        std::printf("| %10.2f | %10s | %10s |\n", cost.korla, kzbench::PeerBuilt() ? "refused" : "not built", "");
    } else {
        std::printf("| %10.2f | %10.2f | %9.2fx |\n", cost.korla, cost.xml, cost.xml / cost.korla);
    }
    return true;
}

// With "load N", "names N" (distinct leaves with descriptions) "validate N" or "parse N" (libxml2 alone,
// on the request that "validate N" checks), performs just that one operation,
// `reps` times (an optional third argument), with "folder N" the folder load N times, for a profiler.
int ProfileOne(const char *what, int scale, int reps)
{
    if (std::strcmp(what, "folder") == 0) {
        const std::vector<std::string> names = FolderModules(kFolder);
        bool ok = !names.empty();
        for (int i = 0; i < scale && ok; ++i) {
            ok = LoadFolder(kFolder, names);
        }
        return ok ? 0 : 1;
    }
    const bool names = std::strcmp(what, "names") == 0;
    if (names || std::strcmp(what, "load") == 0) {
        int nodes = 0;
        const std::string text = names ? kzbench::MakeNamesModule(scale, true) : kzbench::MakeModule(scale, &nodes);
        bool ok = true;
        for (int i = 0; i < reps && ok; ++i) {
            KzCtx *ctx = KZ_CTX_Create(names ? KZ_CTX_OPT_KEEP_DESCRIPTION : 0);
            ok = ctx != nullptr && KZ_CTX_LoadMemory(ctx, text.c_str()) == KZ_OK;
            KZ_CTX_Delete(ctx);
        }
        return ok ? 0 : 1;
    }
    std::string text = kzbench::MakeRequest(scale);
    if (std::strcmp(what, "parse") == 0) {
        for (int i = 0; i < reps; ++i) {
            kzbench::XmlParse(text);
        }
        return 0;
    }
    KzCtx *ctx = KZ_CTX_Create(0);
    bool ok = ctx != nullptr && KZ_CTX_LoadMemory(ctx, kzbench::kRequestModule) == KZ_OK;
    for (int i = 0; i < reps && ok; ++i) {
        KzdErrNode *err = KZ_CTX_ValidateRpcDataTree(ctx, KZ_DATA_KIND_TEXT, text.data(), nullptr, nullptr);
        ok = err == nullptr;
        KZ_FreeErrNode(err);
    }
    KZ_CTX_Delete(ctx);
    return ok ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    // No fast bins: every free settles in place, so each column pays for its own frees.
    // Otherwise the C heap defers merging freed chunks until some later large request,
    // and one operation's clean-up (a parsed document freed, a context deleted) is billed
    // to whichever operation of the other column runs next. Freed heap stays with the
    // process, so that no run pays for zeroing pages that the previous one gave back.
    mallopt(M_MXFAST, 0);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    xmlInitParser();
    if (argc == 3 || argc == 4) {
        return ProfileOne(argv[1], std::atoi(argv[2]), argc == 4 ? std::atoi(argv[3]) : 1);
    }
    // Memory first, while the heap is fresh and the RSS delta is the module's own.
    const std::pair<const char *, bool (*)()> tables[] = {
        {"memory", MemoryTable}, {"load", LoadTable},   {"growth", NameGrowthTable},  {"validate", ValidateTable},
        {"values", ValueTable},  {"yang", YangTable},   {"grouping", GroupingTable}, {"folder", FolderTable},
    };
    // With a table's name, prints that table alone.
    bool ok = true;
    bool found = false;
    for (const auto &[name, table] : tables) {
        if (argc == 1 || (argc == 2 && std::strcmp(argv[1], name) == 0)) {
            ok = table() && ok;
            found = true;
        }
    }
    if (!found) {
        std::fprintf(stderr, "usage: korla_perf [TABLE | OPERATION N [REPEATS]]\n");
        ok = false;
    }
    xmlCleanupParser();
    return ok ? 0 : 1;
}
