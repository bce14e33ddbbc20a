// The peer library's side of korla_perf (see korla_perf_peer.h).
#include "korla_perf_peer.h"

#include <time.h>

#include <algorithm>

#ifdef KORLA_PERF_PEER
#include <libyang/libyang.h>
#endif

namespace kzbench {

#ifdef KORLA_PERF_PEER

namespace {

double ThreadCpuMs()
{
    timespec ts {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) * 1e3 + static_cast<double>(ts.tv_nsec) / 1e6;
}

ly_ctx *NewContext()
{
    ly_ctx *ctx = nullptr;
    return ly_ctx_new(nullptr, LY_CTX_NO_YANGLIBRARY, &ctx) == LY_SUCCESS ? ctx : nullptr;
}

// Parse the request, then validate it as an rpc input (defaults, when, must,
// mandatory): the peer's equivalent of one korla validation.
bool ParseAndValidate(const ly_ctx *ctx, const std::string &xml)
{
    ly_in *in = nullptr;
    if (ly_in_new_memory(xml.c_str(), &in) != LY_SUCCESS) {
        return false;
    }
    lyd_node *tree = nullptr;
    bool ok = lyd_parse_op(ctx, nullptr, in, LYD_XML, LYD_TYPE_RPC_YANG, &tree, nullptr) == LY_SUCCESS &&
              lyd_validate_op(tree, nullptr, LYD_TYPE_RPC_YANG, nullptr) == LY_SUCCESS;
    lyd_free_all(tree);
    ly_in_free(in, 0);
    return ok;
}

}  // namespace

bool PeerBuilt()
{
    return true;
}

double PeerLoadMs(const std::string &yin, int reps)
{
    ly_log_options(0);
    double best = -1;
    for (int i = 0; i < reps; ++i) {
        ly_ctx *ctx = NewContext();
        const double t0 = ThreadCpuMs();
        const bool ok = ctx != nullptr && lys_parse_mem(ctx, yin.c_str(), LYS_IN_YIN, nullptr) == LY_SUCCESS;
        const double t = ThreadCpuMs() - t0;
        ly_ctx_destroy(ctx);
        if (!ok) {
            return -1;
        }
        best = (best < 0) ? t : std::min(best, t);
    }
    return best;
}

double PeerValidateMs(const std::string &yin, const std::string &xml, int reps)
{
    ly_log_options(0);
    ly_ctx *ctx = NewContext();
    double best = -1;
    if (ctx != nullptr && lys_parse_mem(ctx, yin.c_str(), LYS_IN_YIN, nullptr) == LY_SUCCESS) {
        for (int i = 0; i < reps; ++i) {
            const double t0 = ThreadCpuMs();
            const bool ok = ParseAndValidate(ctx, xml);
            const double t = ThreadCpuMs() - t0;
            if (!ok) {
                best = -1;
                break;
            }
            best = (best < 0) ? t : std::min(best, t);
        }
    }
    ly_ctx_destroy(ctx);
    return best;
}

bool PeerLoadFolder(const std::string &dir, const std::vector<std::string> &names)
{
    ly_log_options(0);
    ly_ctx *ctx = nullptr;
    if (ly_ctx_new(dir.c_str(), LY_CTX_NO_YANGLIBRARY | LY_CTX_DISABLE_SEARCHDIR_CWD, &ctx) != LY_SUCCESS) {
        return false;
    }
    const char *all[] = {"*", nullptr};
    bool ok = true;
    for (const std::string &name : names) {
        ok = ly_ctx_load_module(ctx, name.c_str(), nullptr, all) != nullptr && ok;
    }
    ly_ctx_destroy(ctx);
    return ok;
}

#else

bool PeerBuilt()
{
    return false;
}

double PeerLoadMs(const std::string &, int)
{
    return -1;
}

double PeerValidateMs(const std::string &, const std::string &, int)
{
    return -1;
}

bool PeerLoadFolder(const std::string &, const std::vector<std::string> &)
{
    return false;
}

#endif

}  // namespace kzbench
