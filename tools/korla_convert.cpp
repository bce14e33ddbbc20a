// korla convert: prints the source each module was read from, as YANG or YIN.
#include "korla_command.h"

namespace kz::tool {

namespace {

constexpr CommandText kConvertText = {
    "convert", "[-f yang|yin] MODULE...", "print the source of modules as YANG or YIN",
    "usage: korla [-p DIR]... convert [-f yang|yin] MODULE...\n"
    "Loads each module (with its imports) and prints the file it was read from\n"
    "as YANG (the default) or as YIN, in canonical layout.\n"};

std::string SourceFormatComplaint(const std::string &)
{
    return "option -f needs yang or yin";
}

class ConvertCommand : public Command {
public:
    const CommandText &Text() const override { return kConvertText; }

    void Declare(CLI::App &sub) override
    {
        AddChoice<uint32_t>(sub, "-f", format_, {{"yang", KZ_SRC_FORMAT_YANG}, {"yin", KZ_SRC_FORMAT_YIN}},
                            SourceFormatComplaint)
            ->type_name("yang|yin");
        sub.add_option("MODULE", modules_);
    }

    int Run(Session &session, Report &report) override
    {
        if (!HasAny(modules_, "module") || !session.Load(modules_)) {
            return kExitUsage;
        }
        for (const auto &name : modules_) {
            uint32_t rc = KZ_CTX_PrintModuleSource(session.Ctx(), name.c_str(), format_, Report::PassThrough, &report);
            if (rc != KZ_OK) {
                Fail(rc == KZ_ENOENT ? "no single source file for module: " + name
                                     : "cannot print the source of module: " + name);
                return kExitInvalid;
            }
        }
        return kExitOk;
    }

private:
    uint32_t format_ = KZ_SRC_FORMAT_YANG;
    std::vector<std::string> modules_;
};

} // namespace

std::unique_ptr<Command> MakeConvertCommand()
{
    return std::make_unique<ConvertCommand>();
}

} // namespace kz::tool
