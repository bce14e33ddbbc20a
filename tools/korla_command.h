// The commands of the korla tool. Each lives in a file of its own, declares its arguments on a
// CLI11 subcommand and runs once the command line is parsed; main lists them in AllCommands().
#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "korla_report.h"
#include "korla_session.h"

namespace kz::tool {

constexpr int kExitOk = 0;
constexpr int kExitInvalid = 1; // a document is invalid or a module has errors
constexpr int kExitUsage = 2;   // bad command line or unusable input

// How a command shows in the tool's usage text and in its own --help. These texts are the
// whole help: options and arguments are declared on CLI11 without descriptions.
struct CommandText {
    const char *name;
    const char *synopsis; // its arguments, for the command list
    const char *summary;  // one line, for the command list
    const char *help;     // all of "korla COMMAND --help"
};

class Command {
public:
    virtual ~Command() = default;
    virtual const CommandText &Text() const = 0;
    // Declares the command's own options and arguments on its subcommand.
    virtual void Declare(CLI::App &sub) = 0;
    // Runs the parsed command and returns the exit status.
    virtual int Run(Session &session, Report &report) = 0;

protected:
    // False, after saying so, when the command got none of the arguments it works on.
    bool HasAny(const std::vector<std::string> &args, const std::string &what) const
    {
        if (args.empty()) {
            Fail(std::string(Text().name) + " needs at least one " + what);
        }
        return !args.empty();
    }
};

std::unique_ptr<Command> MakeTreeCommand();
std::unique_ptr<Command> MakeCheckCommand();
std::unique_ptr<Command> MakeValidateCommand();
std::unique_ptr<Command> MakeValueCommand();
std::unique_ptr<Command> MakeConvertCommand();

// A command-line mistake found while parsing, reported as "korla: MESSAGE" with kExitUsage.
class UsageError : public CLI::ParseError {
public:
    explicit UsageError(std::string message)
        : CLI::ParseError("UsageError", std::move(message), CLI::ExitCodes::ValidationError)
    {
    }
};

// Declares an option that takes one value each time it is given and keeps them all, in order.
inline CLI::Option *AddRepeatable(CLI::App &app, const std::string &name, std::vector<std::string> &into,
                                  const std::string &type)
{
    return app.add_option(name, into)->type_name(type)->allow_extra_args(false);
}

// Declares an option that takes one of the words of `choices` and stores what the word stands
// for; any other word stops the parse with complaint(word). The last one given counts.
template <typename T>
CLI::Option *AddChoice(CLI::App &app, const std::string &name, T &into, std::map<std::string, T> choices,
                       std::string (*complaint)(const std::string &word))
{
    auto store = [&into, choices = std::move(choices), complaint](const std::string &word) {
        auto choice = choices.find(word);
        if (choice == choices.end()) {
            throw UsageError(complaint(word));
        }
        into = choice->second;
    };
    return app.add_option(name)->each(store)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

} // namespace kz::tool
