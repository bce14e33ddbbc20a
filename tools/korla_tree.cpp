// korla tree: prints the schema trees of modules, with the -F features applied.
#include "korla_command.h"

namespace kz::tool {

namespace {

constexpr CommandText kTreeText = {
    "tree", "MODULE...", "print the schema tree of modules",
    "usage: korla [-p DIR]... [-F MODULE:FEATURE|MODULE:*]... tree MODULE...\n"
    "Loads each module (with its imports) and prints its schema tree.\n"};

class TreeCommand : public Command {
public:
    const CommandText &Text() const override { return kTreeText; }

    void Declare(CLI::App &sub) override { sub.add_option("MODULE", modules_); }

    int Run(Session &session, Report &report) override
    {
        if (!HasAny(modules_, "module")) {
            return kExitUsage;
        }
        std::optional<std::vector<KzMod *>> mods = session.LoadWithFeatures(modules_);
        if (!mods) {
            return kExitUsage;
        }
        for (KzMod *mod : *mods) {
            if (KZ_MOD_PrintModelTree(mod, Report::PassThrough, &report) != KZ_OK) {
                Fail(std::string("cannot print module: ") + KZ_MOD_GetModuleName(mod));
                return kExitInvalid;
            }
        }
        return kExitOk;
    }

private:
    std::vector<std::string> modules_;
};

} // namespace

std::unique_ptr<Command> MakeTreeCommand()
{
    return std::make_unique<TreeCommand>();
}

} // namespace kz::tool
