// korla check: loads modules with their imports and reports every diagnostic recorded.
#include "korla_command.h"

namespace kz::tool {

namespace {

constexpr CommandText kCheckText = {
    "check", "MODULE...", "load modules with their imports and print every diagnostic",
    "usage: korla [-p DIR]... [--format text|json] check MODULE...\n"
    "Loads each module with its imports and prints every diagnostic as\n"
    "module, file, level and message. Exit status 1 when any error was recorded.\n"};

struct Diagnostics {
    std::vector<Record> records;
    bool errors = false;
};

Record DiagnosticRecord(const std::string &module, const std::string &file, const char *level,
                        const std::string &message)
{
    nlohmann::ordered_json data = {{"module", module}, {"file", file}, {"level", level}, {"message", message}};
    return {data, module + ": " + (file.empty() ? "-" : file) + ": " + level + ": " + message, {}, ""};
}

uint32_t CollectDiagnostic(const char *module, const char *file, uint32_t level, const char *message,
                           const KzSysTime *, void *arg)
{
    auto *diags = static_cast<Diagnostics *>(arg);
    diags->records.push_back(DiagnosticRecord(module != nullptr ? module : "", file != nullptr ? file : "",
                                              level == KZ_DIAG_LEVEL_WARNING ? "warning" : "error",
                                              message != nullptr ? message : ""));
    diags->errors = diags->errors || level == KZ_DIAG_LEVEL_ERROR;
    return 0;
}

class CheckCommand : public Command {
public:
    const CommandText &Text() const override { return kCheckText; }

    void Declare(CLI::App &sub) override { sub.add_option("MODULE", modules_); }

    int Run(Session &session, Report &report) override
    {
        if (!HasAny(modules_, "module")) {
            return kExitUsage;
        }
        // A module that is not found is a diagnostic here, not a usage error.
        bool missing = false;
        for (const auto &name : modules_) {
            missing = session.LoadQuietly(name) == nullptr || missing;
        }
        Diagnostics diags;
        KZ_CTX_ScanAllSchemaLoadFail(session.Ctx(), CollectDiagnostic, &diags);
        report.PrintList(diags.records);
        if (diags.records.empty() && !missing) {
            report.Remark("no diagnostics");
        }
        return missing || diags.errors ? kExitInvalid : kExitOk;
    }

private:
    std::vector<std::string> modules_;
};

} // namespace

std::unique_ptr<Command> MakeCheckCommand()
{
    return std::make_unique<CheckCommand>();
}

} // namespace kz::tool
