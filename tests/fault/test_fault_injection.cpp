// Out-of-memory at every allocation point in turn, in the manner of SQLite's
// fault injection: for N = 1, 2, ... the N-th KZ_MemMalloc (or the N-th
// operator new) of one operation fails, until the operation runs without
// meeting its N-th allocation.  Every run must end in a status or record (no
// exception reaches the C surface), leave the context usable, and leak nothing
// (the sanitizer build checks the last at exit).  A binary of its own, so that
// the replaced operator new stays out of the main test binary.

#include <atomic>
#include <cstdlib>
#include <functional>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

#include "../test_support.h"

namespace {

std::atomic<uint64_t> g_newCountdown{0};

bool CountDown(std::atomic<uint64_t> &countdown)
{
    uint64_t left = countdown.load(std::memory_order_relaxed);
    while (left != 0) {
        if (countdown.compare_exchange_weak(left, left - 1, std::memory_order_relaxed)) {
            return left == 1;
        }
    }
    return false;
}

} // namespace

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void *operator new(std::size_t size)
{
    void *p = CountDown(g_newCountdown) ? nullptr : std::malloc(size != 0 ? size : 1);
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    return p;
}

// The library also allocates with new (std::nothrow): it fails the same way, as a null.
void *operator new(std::size_t size, const std::nothrow_t &) noexcept
{
    return CountDown(g_newCountdown) ? nullptr : std::malloc(size != 0 ? size : 1);
}

void operator delete(void *p) noexcept
{
    std::free(p);
}

void operator delete(void *p, std::size_t) noexcept
{
    std::free(p);
}
#pragma GCC diagnostic pop

namespace {

const char *kBase = R"(<module name="fa" xmlns="urn:ietf:params:xml:ns:yang:yin:1" xmlns:fa="urn:fa">
  <namespace uri="urn:fa"/><prefix value="fa"/>
  <identity name="base"/><identity name="derived"><base name="fa:base"/></identity>
  <typedef name="word"><type name="string"><pattern value="[a-z]+"/></type></typedef>
  <container name="sys"><leaf name="loc"><type name="string"/></leaf>
    <leaf name="contact"><type name="string"/></leaf>
    <leaf name="kind"><type name="identityref"><base name="fa:base"/></type></leaf>
    <leaf name="tag"><type name="union"><type name="fa:word"/><type name="uint8"/></type></leaf></container>
  <rpc name="op"><input>
    <leaf name="image"><type name="string"><length value="1..8"/></type><mandatory value="true"/></leaf>
    <container name="box"><must condition="n != 'zz'"/><leaf name="n"><type name="fa:word"/></leaf>
      <leaf name="k"><type name="identityref"><base name="fa:base"/></type></leaf></container>
    <leaf name="mode"><type name="enumeration"><enum name="a"/><enum name="b"/></type><default value="a"/></leaf>
  </input></rpc>
  <notification name="ev"><leaf name="t"><type name="string"/></leaf></notification>
</module>)";

/* fb is stored as two merge sources, so that a load also scans and merges. */
const char *kExtCore = R"(<module name="fb" xmlns="urn:ietf:params:xml:ns:yang:yin:1" xmlns:fb="urn:fb" xmlns:fa="urn:fa">
  <namespace uri="urn:fb"/><prefix value="fb"/>
  <import module="fa"><prefix value="fa"/></import>
  <augment target-node="/fa:op/fa:input"><leaf name="extra"><type name="uint8"/></leaf></augment>
</module>)";

const char *kExtDev = R"(<module name="fb" xmlns="urn:ietf:params:xml:ns:yang:yin:1" xmlns:fb="urn:fb" xmlns:fa="urn:fa">
  <namespace uri="urn:fb"/><prefix value="fb"/>
  <import module="fa"><prefix value="fa"/></import>
  <deviation target-node="/fa:sys/fa:loc"><deviate value="not-supported"/></deviation>
  <deviation target-node="/fa:sys/fa:contact"><deviate value="add"><must condition=". != 'x'"/></deviate></deviation>
</module>)";

const char *kValid = R"(<op xmlns="urn:fa" xmlns:fa="urn:fa"><image>v1</image><box><n>a</n><k>fa:derived</k></box><extra xmlns="urn:fb">3</extra></op>)";
const char *kInvalid = R"(<op xmlns="urn:fa"><image>v1</image><box><n>zz</n></box></op>)";
const char *kNotif = R"(<ev xmlns="urn:fa"><t>x</t></ev>)";

enum class Fault { Malloc, New };

/* In the sanitizer build, whether anything leaked so far (reported once, at the run that
 * leaked); elsewhere leaks show at exit under valgrind or not at all. */
bool Leaked()
{
#if defined(__SANITIZE_ADDRESS__)
    return __lsan_do_recoverable_leak_check() != 0;
#else
    return false;
#endif
}

void Arm(Fault kind, uint64_t n)
{
    if (kind == Fault::Malloc) {
        kz::base::FailNthAlloc(n);
    } else {
        g_newCountdown.store(n);
    }
}

/* Disarms; true when the failure was injected. */
bool Disarm(Fault kind)
{
    const uint64_t left = kind == Fault::Malloc ? kz::base::PendingAllocFailure() : g_newCountdown.load();
    kz::base::FailNthAlloc(0);
    g_newCountdown.store(0);
    return left == 0;
}

class FaultInjection : public ::testing::TestWithParam<Fault> {
protected:
    static void SetUpTestSuite()
    {
        dir_ = std::make_unique<kztest::ScratchDir>();
        dir_->Write("fa.yin", kBase);
        dir_->Write("fb@@core.yin", kExtCore);
        dir_->Write("fb@@dev.yin", kExtDev);
    }
    static void TearDownTestSuite() { dir_.reset(); }

    static KzCtx *NewCtx(bool loaded)
    {
        KzCtx *ctx = KZ_CTX_Create(KZ_CTX_OPT_LOAD_IMPORTS);
        EXPECT_NE(ctx, nullptr);
        EXPECT_EQ(KZ_CTX_SetSearchDir(ctx, dir_->Path().c_str()), KZ_OK);
        if (loaded) {
            EXPECT_EQ(KZ_CTX_LoadModule(ctx, "fb"), KZ_OK);
        }
        return ctx;
    }

    static bool IsValid(KzCtx *ctx, const char *text)
    {
        KzdErrNode *err = KZ_CTX_ValidateRpcDataTree(ctx, KZ_DATA_KIND_TEXT, const_cast<char *>(text), nullptr, nullptr);
        KZ_FreeErrNode(err);
        return err == nullptr;
    }

    /* Both modules loaded and coupled: the augment and the deviations are in force. */
    static void ExpectUsable(KzCtx *ctx, const std::string &where)
    {
        EXPECT_EQ(KZ_CTX_LoadModule(ctx, "fb"), KZ_OK) << where;
        EXPECT_TRUE(IsValid(ctx, kValid)) << where;
        EXPECT_FALSE(IsValid(ctx, kInvalid)) << where;
        EXPECT_EQ(KZ_CTX_GetTargetNode(ctx, "/fa:sys/fa:loc", nullptr), nullptr) << where;
        EXPECT_EQ(KZ_CTX_ValidateNotifDataTree(ctx, kNotif, nullptr, nullptr), KZ_OK) << where;
    }

    /* Runs op on a fresh context with the N-th allocation failing, for every N until op
     * meets no N-th allocation; check then looks at the context op gives back (null when
     * op deleted it).  Returns the number of allocation points. */
    static uint64_t Sweep(bool loaded, const std::function<KzCtx *(KzCtx *)> &op,
                          const std::function<void(KzCtx *, const std::string &)> &check)
    {
        constexpr uint64_t kMaxPoints = 20000;
        const Fault kind = GetParam();
        for (uint64_t n = 1; n < kMaxPoints; n++) {
            KzCtx *ctx = NewCtx(loaded);
            Arm(kind, n);
            ctx = op(ctx);
            const bool injected = Disarm(kind);
            const std::string where = "allocation " + std::to_string(n);
            if (ctx != nullptr && check) {
                check(ctx, where);
            }
            KZ_CTX_Delete(ctx);
            EXPECT_FALSE(Leaked()) << where;
            if (!injected || ::testing::Test::HasFailure()) {
                return n - 1;
            }
        }
        ADD_FAILURE() << "more than " << kMaxPoints << " allocations";
        return kMaxPoints;
    }

    inline static std::unique_ptr<kztest::ScratchDir> dir_;
};

TEST_P(FaultInjection, LoadCoupleValidateUnloadDelete)
{
    const uint64_t load = Sweep(
        false,
        [](KzCtx *ctx) {
            (void)KZ_CTX_LoadModule(ctx, "fb");
            return ctx;
        },
        ExpectUsable);
    const uint64_t validate = Sweep(
        true,
        [](KzCtx *ctx) {
            (void)IsValid(ctx, kValid);
            (void)IsValid(ctx, kInvalid);
            (void)KZ_CTX_ValidateNotifDataTree(ctx, kNotif, nullptr, nullptr);
            return ctx;
        },
        ExpectUsable);
    const uint64_t unload = Sweep(
        true,
        [](KzCtx *ctx) {
            (void)KZ_CTX_UnloadModule(ctx, "fa");
            return ctx;
        },
        [](KzCtx *ctx, const std::string &where) {
            /* whatever the failed unload left is loaded again or unloaded whole */
            (void)KZ_CTX_UnloadModule(ctx, "fa");
            EXPECT_EQ(KZ_CTX_GetModuleByModName(ctx, "fb"), nullptr) << where;
            ExpectUsable(ctx, where);
        });
    const uint64_t destroy = Sweep(
        true,
        [](KzCtx *ctx) -> KzCtx * {
            KZ_CTX_Delete(ctx);
            return nullptr;
        },
        nullptr);
    EXPECT_GT(validate, 0u); /* the sweep did inject */
    std::printf("allocation points: load %llu, validate %llu, unload %llu, delete %llu\n",
                static_cast<unsigned long long>(load), static_cast<unsigned long long>(validate),
                static_cast<unsigned long long>(unload), static_cast<unsigned long long>(destroy));
}

INSTANTIATE_TEST_SUITE_P(Kinds, FaultInjection, ::testing::Values(Fault::Malloc, Fault::New),
                         [](const ::testing::TestParamInfo<Fault> &info) {
                             return info.param == Fault::Malloc ? std::string("KzMemMalloc")
                                                                : std::string("OperatorNew");
                         });

} // namespace
