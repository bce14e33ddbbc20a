// The korla command-line tool, run as a process on the bundled examples.
#include <sys/wait.h>
#include "test_support.h"

namespace {

struct ToolRun {
    int status;
    std::string out;
};

// Runs the tool with arguments (a shell fragment) from the source tree; stderr is kept too.
ToolRun korla(const std::string &args)
{
    std::string cmd = std::string("cd '") + KORLA_SOURCE_DIR + "' && '" + KORLA_TOOL_PATH + "' " + args + " 2>&1";
    ToolRun r{-1, ""};
    FILE *p = popen(cmd.c_str(), "r");
    if (p == nullptr) {
        return r;
    }
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, p)) > 0) {
        r.out.append(buf, n);
    }
    int st = pclose(p);
    r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    return r;
}

bool has(const ToolRun &r, const std::string &text)
{
    return r.out.find(text) != std::string::npos;
}

const std::string kDirs = "-p examples/yin -p examples/yang ";
const std::string kReq = "validate -m acme-system -m acme-maintenance examples/requests/";

TEST(ToolCli, TreePrintsModulesWithFeatures)
{
    ToolRun r = korla(kDirs + "tree acme-maintenance");
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_TRUE(has(r, "module: acme-maintenance\n   +--rw maintenance\n      +--rw job* [id]\n")) << r.out;
    EXPECT_TRUE(has(r, "      |  +---w (timing)\n")) << r.out;
    EXPECT_TRUE(has(r, "reboot-delay?   acme-system:restart-delay <5>")) << r.out;

    // Features off by default hide the nodes that depend on them.
    EXPECT_FALSE(has(korla(kDirs + "tree acme-system"), "user* [name]"));
    ToolRun all = korla(kDirs + "-F 'acme-system:*' tree acme-system");
    EXPECT_TRUE(has(all, "+--rw user* [name]")) << all.out;
    EXPECT_EQ(korla(kDirs + "-F acme-system:no-such tree acme-system").status, 2);
}

TEST(ToolCli, CheckReportsDiagnosticsAndStatus)
{
    ToolRun clean = korla(kDirs + "check acme-system acme-system-ext acme-interfaces acme-routing acme-maintenance");
    EXPECT_EQ(clean.status, 0) << clean.out;
    EXPECT_TRUE(has(clean, "no diagnostics"));

    ToolRun missing = korla(kDirs + "check no-such-module");
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(has(missing, "no-such-module: -: warning: Module \"no-such-module\" not found from search directories."))
        << missing.out;

    ToolRun json = korla(kDirs + "--format json check no-such-module");
    EXPECT_TRUE(has(json, "[{\"module\":\"no-such-module\",\"file\":\"\",\"level\":\"warning\"")) << json.out;
}

TEST(ToolCli, ValidateRequestsShowsDefaultsOrTheErrorRecord)
{
    ToolRun ok = korla(kDirs + kReq + "valid-schedule-upgrade.xml");
    EXPECT_EQ(ok.status, 0) << ok.out;
    EXPECT_TRUE(has(ok, "valid-schedule-upgrade.xml: valid\n"));
    EXPECT_TRUE(has(ok, "default added: <window>30</window>"));

    ToolRun bad = korla(kDirs + kReq + "invalid-must-message.xml");
    EXPECT_EQ(bad.status, 1);
    EXPECT_TRUE(has(bad, "  error-type: application\n  error-tag: operation-failed\n  error-severity: error\n"
                         "  error-app-tag: slot-role\n  error-path: /acme-maintenance:schedule-upgrade/target[slot='16']\n"
                         "  error-message: Slot 16 can only be upgraded as a standby.\n  bad-element: target\n"))
        << bad.out;

    ToolRun json = korla(kDirs + "--format json " + kReq + "invalid-missing-choice.xml");
    EXPECT_TRUE(has(json, "\"error-tag\":\"data-missing\"")) << json.out;
    EXPECT_TRUE(has(json, "\"error-app-tag\":\"missing-choice\""));

    // Every invalid example is reported as invalid, every valid one as valid.
    ToolRun all = korla(kDirs + kReq + "*.xml");
    EXPECT_EQ(all.status, 1);
    for (const char *name : {"valid-restart.xml: valid", "valid-cancel-job.xml: valid", "invalid-when.xml: invalid",
                             "invalid-no-action.xml: invalid", "invalid-malformed.xml: invalid"}) {
        EXPECT_TRUE(has(all, name)) << name;
    }
}

TEST(ToolCli, ValidateNotificationsPrintsTheCleanedDocument)
{
    ToolRun r = korla(kDirs + "validate --notification -m acme-maintenance examples/notifications/valid-upgrade-finished.xml");
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_TRUE(has(r, "<result>success</result>"));
    EXPECT_FALSE(has(r, "error-text"));
    EXPECT_EQ(korla(kDirs + "validate --notification -m acme-system "
                            "examples/notifications/invalid-not-a-notification.xml")
                  .status,
              1);
}

TEST(ToolCli, ConvertPrintsModulesAsYangOrYin)
{
    ToolRun yang = korla(kDirs + "convert acme-system");
    EXPECT_EQ(yang.status, 0) << yang.out;
    EXPECT_EQ(yang.out.rfind("module acme-system {\n  yang-version 1.1;\n  namespace urn:acme:params:xml:ns:yang:acme-system;\n", 0),
              0u) << yang.out;

    ToolRun yin = korla(kDirs + "convert -f yin acme-system acme-system-ext");
    EXPECT_EQ(yin.status, 0) << yin.out;
    EXPECT_TRUE(has(yin, "\n<module name=\"acme-system-ext\" xmlns=\"urn:ietf:params:xml:ns:yang:yin:1\"")) << yin.out;
}

// Runs whose whole output is one line: value checks, a refused convert, and bad invocations (status 2).
TEST(ToolCli, OneLineOutcomes)
{
    struct Case {
        std::string args, message;
        int status = 2;
    } cases[] = {
        {kDirs + "value acme-system /acme-system:system/hostname router-1", "valid: typedef acme-system:hostname\n", 0},
        {kDirs + "value acme-system /acme-system:system/clock/timezone-offset 900",
         "invalid: range check failed (status 28680)\n", 1},
        {kDirs + "convert acme-routing", "korla: no single source file for module: acme-routing\n", 1},
        {"-p /no/such/dir tree acme-system", "korla: no such directory: /no/such/dir\n"},
        {kDirs + "tree no-such-module", "korla: unknown module: no-such-module\n"},
        {kDirs + "validate -m acme-system /no/such/file.xml", "korla: cannot read file: /no/such/file.xml\n"},
        {"frobnicate", "korla: unknown command: frobnicate\n"},
        {kDirs + "value acme-system /acme-system:system/nothing 1", "korla: no leaf at path: /acme-system:system/nothing\n"},
        {kDirs + "convert -f json acme-system", "korla: option -f needs yang or yin\n"},
        {kDirs + "convert", "korla: convert needs at least one module\n"},
        {kDirs + "convert no-such-module", "korla: unknown module: no-such-module\n"},
    };
    for (const auto &c : cases) {
        ToolRun r = korla(c.args);
        EXPECT_EQ(r.status, c.status) << c.args;
        EXPECT_EQ(r.out, c.message) << c.args;
    }
    EXPECT_EQ(korla("--version").out, "korla 0.1.0\n");
    for (const char *cmd : {"tree", "check", "validate", "value", "convert"}) {
        ToolRun help = korla(std::string(cmd) + " --help");
        EXPECT_EQ(help.status, 0);
        EXPECT_TRUE(has(help, std::string("usage: korla"))) << cmd;
    }
}

} // namespace
