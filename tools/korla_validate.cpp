// korla validate: validates rpc/action requests, or notifications, against loaded modules.
#include <libxml/tree.h>

#include <fstream>
#include <sstream>

#include "korla_command.h"

namespace kz::tool {

namespace {

constexpr CommandText kValidateText = {
    "validate", "[--notification] [-m MODULE]... FILE...", "validate rpc/action requests (or notifications)",
    "usage: korla [-p DIR]... [--format text|json] validate [--notification] [-m MODULE]... FILE...\n"
    "Loads the modules named with -m, then validates each FILE as an rpc/action\n"
    "request (or, with --notification, as a notification). Prints \"valid\" with the\n"
    "defaults that were added (or the cleaned notification), or the error record.\n"
    "Exit status 1 when any file is invalid.\n"};

// Names of the error record's enumerations, indexed by their values.
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

template <size_t N>
const char *NameOf(const char *const (&table)[N], uint32_t index)
{
    return index < N && table[index][0] != '\0' ? table[index] : "unknown";
}

nlohmann::ordered_json TextOrNull(const char *text)
{
    return text != nullptr ? nlohmann::ordered_json(text) : nlohmann::ordered_json(nullptr);
}

bool ReadFile(const std::string &path, std::string &out)
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

void CollectDefault(struct _xmlNode *added, void *arg)
{
    std::unique_ptr<xmlBuffer, decltype(&xmlBufferFree)> buf(xmlBufferCreate(), xmlBufferFree);
    if (buf == nullptr) {
        return;
    }
    xmlNodeDump(buf.get(), added->doc, added, 0, 0);
    auto *defaults = static_cast<std::vector<std::string> *>(arg);
    defaults->emplace_back(reinterpret_cast<const char *>(xmlBufferContent(buf.get())));
}

uint32_t KeepNotification(const char *text, void *arg)
{
    *static_cast<std::string *>(arg) = text != nullptr ? text : "";
    return 0;
}

// The error record; text lists the fields that are present.
Record RefusedRequest(const std::string &file, const KzdErrNode *err)
{
    nlohmann::ordered_json error = {
        {"error-type", NameOf(kTypeNames, KZ_GetErrorType(err))},
        {"error-tag", NameOf(kTagNames, KZ_GetErrorTag(err))},
        {"error-severity", NameOf(kSeverityNames, KZ_GetErrorSeverity(err))},
        {"error-app-tag", TextOrNull(KZ_GetErrorAppTag(err))},
        {"error-path", TextOrNull(KZ_GetErrorPath(err))},
        {"error-message", TextOrNull(KZ_GetErrorMessage(err))},
        {"bad-element", TextOrNull(KZ_GetBadElement(err))},
    };
    Record record{{{"file", file}, {"valid", false}, {"error", error}}, file + ": invalid", {}, ""};
    for (const auto &field : error.items()) {
        if (!field.value().is_null()) {
            record.details.emplace_back(field.key(), field.value().get<std::string>());
        }
    }
    return record;
}

Record AcceptedRequest(const std::string &file, const std::vector<std::string> &defaults)
{
    Record record{{{"file", file}, {"valid", true}, {"defaults-added", defaults}}, file + ": valid", {}, ""};
    for (const auto &added : defaults) {
        record.details.emplace_back("default added", added);
    }
    return record;
}

bool ValidateRequest(KzCtx *ctx, const std::string &file, std::string &text, Record &record)
{
    std::vector<std::string> defaults;
    std::unique_ptr<KzdErrNode, decltype(&KZ_FreeErrNode)> err(
        KZ_CTX_ValidateRpcDataTree(ctx, KZ_DATA_KIND_TEXT, text.data(), CollectDefault, &defaults), KZ_FreeErrNode);
    record = err != nullptr ? RefusedRequest(file, err.get()) : AcceptedRequest(file, defaults);
    return err == nullptr;
}

// A valid notification is shown cleaned; an invalid one by its status.
bool ValidateNotification(KzCtx *ctx, const std::string &file, const std::string &text, Record &record)
{
    std::string cleaned;
    uint32_t rc = KZ_CTX_ValidateNotifDataTree(ctx, text.c_str(), KeepNotification, &cleaned);
    bool valid = rc == KZ_OK;
    nlohmann::ordered_json shown = valid ? nlohmann::ordered_json(cleaned) : nlohmann::ordered_json();
    record.data = {{"file", file}, {"valid", valid}, {"notification", shown}};
    record.headline = file + (valid ? ": valid" : ": invalid (status " + std::to_string(rc) + ")");
    record.body = valid ? cleaned : "";
    return valid;
}

class ValidateCommand : public Command {
public:
    const CommandText &Text() const override { return kValidateText; }

    void Declare(CLI::App &sub) override
    {
        sub.add_flag("--notification", notification_);
        AddRepeatable(sub, "-m", modules_, "MODULE");
        sub.add_option("FILE", files_);
    }

    int Run(Session &session, Report &report) override
    {
        if (!HasAny(files_, "file") || !session.LoadWithFeatures(modules_)) {
            return kExitUsage;
        }
        int status = kExitOk;
        for (const auto &file : files_) {
            std::string text;
            if (!ReadFile(file, text)) {
                Fail("cannot read file: " + file);
                return kExitUsage;
            }
            Record record;
            bool valid = notification_ ? ValidateNotification(session.Ctx(), file, text, record)
                                       : ValidateRequest(session.Ctx(), file, text, record);
            report.Print(record);
            status = valid ? status : kExitInvalid;
        }
        return status;
    }

private:
    bool notification_ = false;
    std::vector<std::string> modules_;
    std::vector<std::string> files_;
};

} // namespace

std::unique_ptr<Command> MakeValidateCommand()
{
    return std::make_unique<ValidateCommand>();
}

} // namespace kz::tool
