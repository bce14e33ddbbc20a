// korla: command-line front end of libkorla (public API only).
//
//   korla [-p DIR]... [-F MODULE:FEATURE|MODULE:*]... tree MODULE...
//   korla [-p DIR]... check MODULE...
//   korla [-p DIR]... validate [--notification] [-m MODULE]... FILE...
//   korla [-p DIR]... value MODULE PATH VALUE
//   korla [-p DIR]... convert [-f yang|yin] MODULE...
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "korla.h"

namespace {

constexpr const char *kVersion = "korla 0.1.0";
constexpr int kExitOk = 0;
constexpr int kExitInvalid = 1; // a document is invalid or a module has errors
constexpr int kExitUsage = 2;   // bad command line or unusable input

constexpr const char *kUsage =
    "usage: korla [OPTIONS] COMMAND ARGS...\n"
    "\n"
    "commands:\n"
    "  tree MODULE...                 print the schema tree of modules\n"
    "  check MODULE...                load modules with their imports and print every diagnostic\n"
    "  validate [--notification] [-m MODULE]... FILE...\n"
    "                                 validate rpc/action requests (or notifications)\n"
    "  value MODULE PATH VALUE        check one value against a leaf's type\n"
    "  convert [-f yang|yin] MODULE...\n"
    "                                 print the source of modules as YANG or YIN\n"
    "\n"
    "options:\n"
    "  -p DIR                 add a module search directory (repeatable)\n"
    "  -F MODULE:FEATURE      enable a feature; MODULE:* enables all of a module's features\n"
    "  --format text|json     output format (default text)\n"
    "  --help                 show help (also after a command)\n"
    "  --version              show the version\n";

constexpr const char *kCommandHelp[][2] = {
    {"tree", "usage: korla [-p DIR]... [-F MODULE:FEATURE|MODULE:*]... tree MODULE...\n"
             "Loads each module (with its imports) and prints its schema tree.\n"},
    {"check", "usage: korla [-p DIR]... [--format text|json] check MODULE...\n"
              "Loads each module with its imports and prints every diagnostic as\n"
              "module, file, level and message. Exit status 1 when any error was recorded.\n"},
    {"validate", "usage: korla [-p DIR]... [--format text|json] validate [--notification] [-m MODULE]... FILE...\n"
                 "Loads the modules named with -m, then validates each FILE as an rpc/action\n"
                 "request (or, with --notification, as a notification). Prints \"valid\" with the\n"
                 "defaults that were added (or the cleaned notification), or the error record.\n"
                 "Exit status 1 when any file is invalid.\n"},
    {"value", "usage: korla [-p DIR]... [--format text|json] value MODULE PATH VALUE\n"
              "Checks VALUE against the type of the leaf at PATH (\"/module:node/child\" or a\n"
              "prefixed path) and names the matched union member or typedef.\n"},
    {"convert", "usage: korla [-p DIR]... convert [-f yang|yin] MODULE...\n"
                "Loads each module (with its imports) and prints the file it was read from\n"
                "as YANG (the default) or as YIN, in canonical layout.\n"},
};

constexpr const char *kTagNames[] = {
    "",
    "in-use",
    "invalid-value",
    "too-big",
    "missing-attribute",
    "bad-attribute",
    "unknown-attribute",
    "missing-element",
    "bad-element",
    "unknown-element",
    "unknown-namespace",
    "access-denied",
    "lock-denied",
    "resource-denied",
    "rollback-failed",
    "data-exists",
    "data-missing",
    "operation-not-supported",
    "operation-failed",
    "partial-operation",
    "malformed-message",
};

constexpr const char *kTypeNames[] = {"", "transport", "rpc", "protocol", "application"};
constexpr const char *kSeverityNames[] = {"", "error", "warning"};
constexpr const char *kBaseTypeNames[] = {
    "derived", "binary", "bits", "boolean", "decimal64", "empty", "enumeration",
    "identityref", "instance-identifier", "int8", "int16", "int32", "int64",
    "leafref", "string", "uint8", "uint16", "uint32", "uint64", "union",
};

/* Value-check results, from KZ_VAL_ERR_NO_BODY on. */
constexpr const char *kValueResultNames[] = {
    "constraint without body", "typedef chain", "identityref", "bits", "enumeration", "length",
    "leafref", "pattern", "range", "union", "boolean", "binary", "empty",
};

std::string value_result_text(uint32_t rc)
{
    if (rc >= KZ_VAL_ERR_NO_BODY && rc - KZ_VAL_ERR_NO_BODY < sizeof kValueResultNames / sizeof *kValueResultNames) {
        return kValueResultNames[rc - KZ_VAL_ERR_NO_BODY];
    }
    return "status " + std::to_string(rc);
}

template <size_t N>
const char *name_of(const char *const (&table)[N], uint32_t index)
{
    return index < N && table[index][0] != '\0' ? table[index] : "unknown";
}

std::string json_escape(const char *s)
{
    if (s == nullptr) {
        return "null";
    }
    std::string out = "\"";
    for (const unsigned char *p = reinterpret_cast<const unsigned char *>(s); *p != 0; ++p) {
        switch (*p) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (*p < 0x20) {
                char buf[8];
                snprintf(buf, sizeof buf, "\\u%04x", *p);
                out += buf;
            } else {
                out += static_cast<char>(*p);
            }
        }
    }
    return out + "\"";
}

struct Options {
    std::vector<std::string> dirs;
    std::vector<std::string> features;
    bool json = false;
    bool help = false;
    bool version = false;
    std::string command;
    std::vector<std::string> args;
};

void fail_line(const std::string &msg)
{
    fprintf(stderr, "korla: %s\n", msg.c_str());
}

// Parses global options up to the command, then leaves the command's own arguments in args.
bool parse_options(int argc, char **argv, Options &opt)
{
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        auto need_value = [&](const char *what) -> const char * {
            if (i + 1 >= argc) {
                fail_line(std::string("option ") + a + " needs " + what);
                return nullptr;
            }
            return argv[++i];
        };
        if (!opt.command.empty()) {
            if (a == "--help" || a == "-h") {
                opt.help = true;
            } else if (a == "--format") {
                const char *v = need_value("text or json");
                if (v == nullptr) {
                    return false;
                }
                if (strcmp(v, "json") != 0 && strcmp(v, "text") != 0) {
                    fail_line(std::string("unknown format: ") + v);
                    return false;
                }
                opt.json = strcmp(v, "json") == 0;
            } else if (a == "-p" || a == "-F") {
                const char *v = need_value(a == "-p" ? "a directory" : "MODULE:FEATURE");
                if (v == nullptr) {
                    return false;
                }
                (a == "-p" ? opt.dirs : opt.features).push_back(v);
            } else {
                opt.args.push_back(a);
            }
            continue;
        }
        if (a == "--help" || a == "-h") {
            opt.help = true;
        } else if (a == "--version") {
            opt.version = true;
        } else if (a == "-p" || a == "-F" || a == "--format") {
            const char *v = need_value(a == "-p" ? "a directory" : a == "-F" ? "MODULE:FEATURE" : "text or json");
            if (v == nullptr) {
                return false;
            }
            if (a == "-p") {
                opt.dirs.push_back(v);
            } else if (a == "-F") {
                opt.features.push_back(v);
            } else if (strcmp(v, "json") == 0 || strcmp(v, "text") == 0) {
                opt.json = strcmp(v, "json") == 0;
            } else {
                fail_line(std::string("unknown format: ") + v);
                return false;
            }
        } else if (!a.empty() && a[0] == '-') {
            fail_line("unknown option: " + a);
            return false;
        } else {
            opt.command = a;
        }
    }
    return true;
}

// Owns one context for the run.
class Session {
public:
    explicit Session(uint32_t flags) : ctx_(KZ_CTX_Create(flags)) {}
    ~Session() { KZ_CTX_Delete(ctx_); }
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;
    KzCtx *ctx() const { return ctx_; }

    bool add_dirs(const std::vector<std::string> &dirs)
    {
        for (const auto &d : dirs) {
            struct stat st;
            if (stat(d.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
                fail_line("no such directory: " + d);
                return false;
            }
            std::string abs = d;
            if (abs[0] != '/') {
                char *real = realpath(d.c_str(), nullptr);
                if (real == nullptr) {
                    fail_line("cannot resolve directory: " + d);
                    return false;
                }
                abs = real;
                free(real);
            }
            if (KZ_CTX_SetSearchDir(ctx_, abs.c_str()) != KZ_OK) {
                fail_line("cannot use directory: " + d);
                return false;
            }
        }
        return true;
    }

    // Loads a module; a module that cannot be found is a usage error.
    KzMod *load(const std::string &name)
    {
        uint32_t rc = KZ_CTX_LoadModule(ctx_, name.c_str());
        KzMod *mod = KZ_CTX_GetModuleByModName(ctx_, name.c_str());
        if (mod == nullptr) {
            fail_line(rc == KZ_ENOENT ? "unknown module: " + name : "failed to load module: " + name);
        }
        return mod;
    }

    // Loads every module; false at the first that cannot be loaded.
    bool load_all(const std::vector<std::string> &names)
    {
        for (const auto &name : names) {
            if (load(name) == nullptr) {
                return false;
            }
        }
        return true;
    }

    bool enable_features(const std::vector<std::string> &features)
    {
        for (const auto &f : features) {
            size_t colon = f.find(':');
            if (colon == std::string::npos || colon == 0 || colon + 1 == f.size()) {
                fail_line("feature must be MODULE:FEATURE or MODULE:*: " + f);
                return false;
            }
            std::string mod = f.substr(0, colon);
            std::string feat = f.substr(colon + 1);
            KzMod *m = KZ_CTX_GetModuleByModName(ctx_, mod.c_str());
            if (m == nullptr) {
                fail_line("unknown module: " + mod);
                return false;
            }
            if (KZ_MOD_EnableFeature(m, feat.c_str()) != KZ_OK) {
                fail_line("unknown feature: " + f);
                return false;
            }
        }
        return true;
    }

private:
    KzCtx *ctx_;
};

uint32_t write_stdout(const char *text, uint32_t len, void *)
{
    return fwrite(text, 1, len, stdout) == len ? 0 : 1;
}

int cmd_tree(Session &s, const Options &opt)
{
    if (opt.args.empty()) {
        fail_line("tree needs at least one module");
        return kExitUsage;
    }
    std::vector<KzMod *> mods;
    for (const auto &name : opt.args) {
        KzMod *m = s.load(name);
        if (m == nullptr) {
            return kExitUsage;
        }
        mods.push_back(m);
    }
    if (!s.enable_features(opt.features)) {
        return kExitUsage;
    }
    for (KzMod *m : mods) {
        if (KZ_MOD_PrintModelTree(m, write_stdout, nullptr) != KZ_OK) {
            fail_line(std::string("cannot print module: ") + KZ_MOD_GetModuleName(m));
            return kExitInvalid;
        }
    }
    return kExitOk;
}

struct Diag {
    std::string module, file, message;
    uint32_t level;
};

uint32_t collect_diag(const char *mod, const char *file, uint32_t level, const char *msg, const KzSysTime *,
                      void *arg)
{
    static_cast<std::vector<Diag> *>(arg)->push_back(
        {mod != nullptr ? mod : "", file != nullptr ? file : "", msg != nullptr ? msg : "", level});
    return 0;
}

int cmd_check(Session &s, const Options &opt)
{
    if (opt.args.empty()) {
        fail_line("check needs at least one module");
        return kExitUsage;
    }
    bool missing = false;
    for (const auto &name : opt.args) {
        KZ_CTX_LoadModule(s.ctx(), name.c_str());
        missing = missing || KZ_CTX_GetModuleByModName(s.ctx(), name.c_str()) == nullptr;
    }
    std::vector<Diag> diags;
    KZ_CTX_ScanAllSchemaLoadFail(s.ctx(), collect_diag, &diags);
    bool errors = missing;
    if (opt.json) {
        printf("[");
        for (size_t i = 0; i < diags.size(); ++i) {
            const Diag &d = diags[i];
            printf("%s{\"module\":%s,\"file\":%s,\"level\":\"%s\",\"message\":%s}", i ? "," : "",
                   json_escape(d.module.c_str()).c_str(), json_escape(d.file.c_str()).c_str(),
                   d.level == KZ_DIAG_LEVEL_WARNING ? "warning" : "error", json_escape(d.message.c_str()).c_str());
        }
        printf("]\n");
    } else {
        for (const Diag &d : diags) {
            printf("%s: %s: %s: %s\n", d.module.c_str(), d.file.empty() ? "-" : d.file.c_str(),
                   d.level == KZ_DIAG_LEVEL_WARNING ? "warning" : "error", d.message.c_str());
        }
        if (diags.empty() && !missing) {
            printf("no diagnostics\n");
        }
    }
    for (const Diag &d : diags) {
        errors = errors || d.level == KZ_DIAG_LEVEL_ERROR;
    }
    return errors ? kExitInvalid : kExitOk;
}

bool read_file(const std::string &path, std::string &out)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return false;
    }
    std::ostringstream ss;
    ss << in.rdbuf();
    out = ss.str();
    return true;
}

void print_error_record(const std::string &file, const KzdErrNode *err, bool json)
{
    uint32_t type = KZ_GetErrorType(err);
    uint32_t tag = KZ_GetErrorTag(err);
    uint32_t sev = KZ_GetErrorSeverity(err);
    if (json) {
        printf("{\"file\":%s,\"valid\":false,\"error\":{\"error-type\":\"%s\",\"error-tag\":\"%s\","
               "\"error-severity\":\"%s\",\"error-app-tag\":%s,\"error-path\":%s,\"error-message\":%s,"
               "\"bad-element\":%s}}\n",
               json_escape(file.c_str()).c_str(), name_of(kTypeNames, type), name_of(kTagNames, tag),
               name_of(kSeverityNames, sev), json_escape(KZ_GetErrorAppTag(err)).c_str(),
               json_escape(KZ_GetErrorPath(err)).c_str(), json_escape(KZ_GetErrorMessage(err)).c_str(),
               json_escape(KZ_GetBadElement(err)).c_str());
        return;
    }
    printf("%s: invalid\n", file.c_str());
    printf("  error-type: %s\n", name_of(kTypeNames, type));
    printf("  error-tag: %s\n", name_of(kTagNames, tag));
    printf("  error-severity: %s\n", name_of(kSeverityNames, sev));
    auto line = [](const char *label, const char *value) {
        if (value != nullptr) {
            printf("  %s: %s\n", label, value);
        }
    };
    line("error-app-tag", KZ_GetErrorAppTag(err));
    line("error-path", KZ_GetErrorPath(err));
    line("error-message", KZ_GetErrorMessage(err));
    line("bad-element", KZ_GetBadElement(err));
}

void collect_default(struct _xmlNode *added, void *arg)
{
    xmlBufferPtr buf = xmlBufferCreate();
    if (buf == nullptr) {
        return;
    }
    xmlNodeDump(buf, added->doc, added, 0, 0);
    static_cast<std::vector<std::string> *>(arg)->emplace_back(reinterpret_cast<const char *>(xmlBufferContent(buf)));
    xmlBufferFree(buf);
}

uint32_t keep_notification(const char *text, void *arg)
{
    *static_cast<std::string *>(arg) = text != nullptr ? text : "";
    return 0;
}

int cmd_validate(Session &s, const Options &opt)
{
    bool notification = false;
    std::vector<std::string> modules, files;
    for (size_t i = 0; i < opt.args.size(); ++i) {
        const std::string &a = opt.args[i];
        if (a == "--notification") {
            notification = true;
        } else if (a == "-m") {
            if (i + 1 >= opt.args.size()) {
                fail_line("option -m needs a module");
                return kExitUsage;
            }
            modules.push_back(opt.args[++i]);
        } else if (!a.empty() && a[0] == '-') {
            fail_line("unknown option: " + a);
            return kExitUsage;
        } else {
            files.push_back(a);
        }
    }
    if (files.empty()) {
        fail_line("validate needs at least one file");
        return kExitUsage;
    }
    if (!s.load_all(modules) || !s.enable_features(opt.features)) {
        return kExitUsage;
    }
    int status = kExitOk;
    for (const auto &file : files) {
        std::string text;
        if (!read_file(file, text)) {
            fail_line("cannot read file: " + file);
            return kExitUsage;
        }
        if (notification) {
            std::string cleaned;
            uint32_t rc = KZ_CTX_ValidateNotifDataTree(s.ctx(), text.c_str(), keep_notification, &cleaned);
            if (opt.json) {
                printf("{\"file\":%s,\"valid\":%s,\"notification\":%s}\n", json_escape(file.c_str()).c_str(),
                       rc == KZ_OK ? "true" : "false", rc == KZ_OK ? json_escape(cleaned.c_str()).c_str() : "null");
            } else if (rc == KZ_OK) {
                printf("%s: valid\n%s", file.c_str(), cleaned.c_str());
            } else {
                printf("%s: invalid (status %u)\n", file.c_str(), rc);
            }
            status = rc == KZ_OK ? status : kExitInvalid;
            continue;
        }
        std::vector<std::string> defaults;
        KzdErrNode *err = KZ_CTX_ValidateRpcDataTree(s.ctx(), KZ_DATA_KIND_TEXT, const_cast<char *>(text.c_str()),
                                                     collect_default, &defaults);
        if (err != nullptr) {
            print_error_record(file, err, opt.json);
            KZ_FreeErrNode(err);
            status = kExitInvalid;
        } else if (opt.json) {
            printf("{\"file\":%s,\"valid\":true,\"defaults-added\":[", json_escape(file.c_str()).c_str());
            for (size_t i = 0; i < defaults.size(); ++i) {
                printf("%s%s", i ? "," : "", json_escape(defaults[i].c_str()).c_str());
            }
            printf("]}\n");
        } else {
            printf("%s: valid\n", file.c_str());
            for (const auto &d : defaults) {
                printf("  default added: %s\n", d.c_str());
            }
        }
    }
    return status;
}

struct MatchSearch {
    const KztRealType *matched;
    std::string name;
};

uint32_t find_typedef(const char *mod, const char *tdef, KztRealType *rt, void *arg)
{
    auto *search = static_cast<MatchSearch *>(arg);
    if (rt == search->matched && tdef != nullptr) {
        search->name = std::string(mod != nullptr ? mod : "") + ":" + tdef;
        return 1;
    }
    return 0;
}

uint32_t first_typedef(const char *mod, const char *tdef, KztRealType *, void *arg)
{
    if (tdef != nullptr) {
        *static_cast<std::string *>(arg) = std::string(mod != nullptr ? mod : "") + ":" + tdef;
    }
    return 1;
}

// Names the type that accepted a value: a typedef of the leaf's chain, or a union member.
std::string describe_match(KzCtx *ctx, const KzsNode *leaf, KztRealType *matched)
{
    MatchSearch search{matched, ""};
    KZ_NODE_ScanDerivedType(leaf, find_typedef, &search);
    if (!search.name.empty()) {
        return "typedef " + search.name;
    }
    uint32_t base = KZ_TYPE_GetBuiltInBaseType(matched);
    if (base == 0) {
        std::string name;
        KZ_TYPE_IterRealTypeDerivedName(matched, ctx, first_typedef, &name);
        return "typedef " + (name.empty() ? std::string("?") : name);
    }
    return std::string("built-in type ") + (base < 20 ? kBaseTypeNames[base] : "invalid");
}

int cmd_value(Session &s, const Options &opt)
{
    if (opt.args.size() != 3) {
        fail_line("value needs MODULE PATH VALUE");
        return kExitUsage;
    }
    KzMod *mod = s.load(opt.args[0]);
    if (mod == nullptr || !s.enable_features(opt.features)) {
        return kExitUsage;
    }
    const std::string &path = opt.args[1];
    const std::string &value = opt.args[2];
    KzsNode *node = KZ_CTX_GetTargetNode(s.ctx(), path.c_str(), nullptr);
    if (node == nullptr) {
        node = KZ_MOD_GetNodeByPrefixedPath(mod, nullptr, path.c_str());
    }
    uint32_t kind = KZ_NODE_GetNodeType(node);
    if (node == nullptr || (kind != KZ_NODE_KIND_LEAF && kind != KZ_NODE_KIND_LEAFLIST)) {
        fail_line("no leaf at path: " + path);
        return kExitUsage;
    }
    uint32_t rc = KZ_NODE_ValidateValue(node, KZ_VAL_INPUT_STRING, value.c_str());
    std::string match;
    if (rc == KZ_OK) {
        match = describe_match(s.ctx(), node, KZ_NODE_FindRealTypeMatchedValue(node, KZ_VAL_INPUT_STRING, value.c_str()));
    }
    if (opt.json) {
        printf("{\"path\":%s,\"value\":%s,\"valid\":%s,\"status\":%u,\"failed-check\":%s,\"matched\":%s}\n",
               json_escape(path.c_str()).c_str(), json_escape(value.c_str()).c_str(), rc == KZ_OK ? "true" : "false",
               rc, rc == KZ_OK ? "null" : json_escape(value_result_text(rc).c_str()).c_str(),
               rc == KZ_OK ? json_escape(match.c_str()).c_str() : "null");
    } else if (rc == KZ_OK) {
        printf("valid: %s\n", match.c_str());
    } else {
        printf("invalid: %s check failed (status %u)\n", value_result_text(rc).c_str(), rc);
    }
    return rc == KZ_OK ? kExitOk : kExitInvalid;
}

int cmd_convert(Session &s, const Options &opt)
{
    uint32_t format = KZ_SRC_FORMAT_YANG;
    std::vector<std::string> names;
    for (size_t i = 0; i < opt.args.size(); ++i) {
        const std::string &a = opt.args[i];
        if (a == "-f") {
            const std::string v = i + 1 < opt.args.size() ? opt.args[++i] : "";
            if (v != "yang" && v != "yin") {
                fail_line("option -f needs yang or yin");
                return kExitUsage;
            }
            format = v == "yin" ? KZ_SRC_FORMAT_YIN : KZ_SRC_FORMAT_YANG;
        } else if (!a.empty() && a[0] == '-') {
            fail_line("unknown option: " + a);
            return kExitUsage;
        } else {
            names.push_back(a);
        }
    }
    if (names.empty()) {
        fail_line("convert needs at least one module");
        return kExitUsage;
    }
    if (!s.load_all(names)) {
        return kExitUsage;
    }
    for (const auto &name : names) {
        uint32_t rc = KZ_CTX_PrintModuleSource(s.ctx(), name.c_str(), format, write_stdout, nullptr);
        if (rc != KZ_OK) {
            fail_line(rc == KZ_ENOENT ? "no single source file for module: " + name
                                      : "cannot print the source of module: " + name);
            return kExitInvalid;
        }
    }
    return kExitOk;
}

const char *command_help(const std::string &cmd)
{
    for (const auto &h : kCommandHelp) {
        if (cmd == h[0]) {
            return h[1];
        }
    }
    return nullptr;
}

} // namespace

int main(int argc, char **argv)
{
    Options opt;
    if (!parse_options(argc, argv, opt)) {
        return kExitUsage;
    }
    if (opt.version) {
        printf("%s\n", kVersion);
        return kExitOk;
    }
    if (opt.command.empty()) {
        fputs(kUsage, opt.help ? stdout : stderr);
        return opt.help ? kExitOk : kExitUsage;
    }
    const char *help = command_help(opt.command);
    if (help == nullptr) {
        fail_line("unknown command: " + opt.command);
        return kExitUsage;
    }
    if (opt.help) {
        fputs(help, stdout);
        return kExitOk;
    }
    // Imports are loaded with each module; "check" reports their failures too.
    uint32_t flags = KZ_CTX_OPT_LOAD_IMPORTS | KZ_CTX_OPT_KEEP_DESCRIPTION | KZ_CTX_OPT_EXPAND_GROUPINGS;
    Session session(flags);
    if (session.ctx() == nullptr) {
        fail_line("cannot create a context");
        return kExitUsage;
    }
    if (!session.add_dirs(opt.dirs)) {
        return kExitUsage;
    }
    if (opt.command == "tree") {
        return cmd_tree(session, opt);
    }
    if (opt.command == "check") {
        return cmd_check(session, opt);
    }
    if (opt.command == "validate") {
        return cmd_validate(session, opt);
    }
    if (opt.command == "convert") {
        return cmd_convert(session, opt);
    }
    return cmd_value(session, opt);
}
