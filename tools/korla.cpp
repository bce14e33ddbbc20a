// korla: command-line front end of libkorla (public API only).
//
//   korla [-p DIR]... [-F MODULE:FEATURE|MODULE:*]... [--format text|json] COMMAND ARGS...
//
// The options every command shares are declared here, once, and may also follow the command.
// Each command lives in korla_<command>.cpp and is listed in AllCommands().
#include <cstdio>

#include "korla_command.h"

namespace kz::tool {

namespace {

using Commands = std::vector<std::unique_ptr<Command>>;

constexpr const char *kVersion = "korla 0.1.0";

constexpr const char *kOptionsHelp =
    "options:\n"
    "  -p DIR                 add a module search directory (repeatable)\n"
    "  -F MODULE:FEATURE      enable a feature; MODULE:* enables all of a module's features\n"
    "  --format text|json     output format (default text)\n"
    "  --help                 show help (also after a command)\n"
    "  --version              show the version\n";

Commands AllCommands()
{
    Commands commands;
    commands.push_back(MakeTreeCommand());
    commands.push_back(MakeCheckCommand());
    commands.push_back(MakeValidateCommand());
    commands.push_back(MakeValueCommand());
    commands.push_back(MakeConvertCommand());
    return commands;
}

// "  NAME SYNOPSIS" with the summary in a column of its own, or below when there is no room.
std::string CommandLine(const CommandText &text)
{
    constexpr size_t kSummaryColumn = 33;
    std::string line = std::string("  ") + text.name + " " + text.synopsis;
    line += line.size() < kSummaryColumn ? std::string(kSummaryColumn - line.size(), ' ')
                                         : "\n" + std::string(kSummaryColumn, ' ');
    return line + text.summary + "\n";
}

std::string UsageText(const Commands &commands)
{
    std::string text = "usage: korla [OPTIONS] COMMAND ARGS...\n\ncommands:\n";
    for (const auto &command : commands) {
        text += CommandLine(command->Text());
    }
    return text + "\n" + kOptionsHelp;
}

// --help prints a fixed text rather than one CLI11 lays out.
void SetHelpText(CLI::App &app, std::string text)
{
    app.formatter_fn([text = std::move(text)](const CLI::App *, std::string, CLI::AppFormatMode) { return text; });
}

std::string FormatComplaint(const std::string &word)
{
    return "unknown format: " + word;
}

void DeclareSharedOptions(CLI::App &app, SharedOptions &shared)
{
    AddRepeatable(app, "-p", shared.dirs, "DIR");
    AddRepeatable(app, "-F", shared.features, "MODULE:FEATURE");
    AddChoice<Format>(app, "--format", shared.format, {{"text", Format::kText}, {"json", Format::kJson}},
                      FormatComplaint)
        ->type_name("text|json");
    app.set_version_flag("--version", kVersion);
}

void BuildApp(CLI::App &app, SharedOptions &shared, const Commands &commands)
{
    app.fallthrough();              // shared options may follow the command
    app.require_subcommand(0, 1);   // so an argument named like a command stays an argument
    app.allow_extras();             // words no command takes are named by UnexpectedWord()
    DeclareSharedOptions(app, shared);
    SetHelpText(app, UsageText(commands));
    for (const auto &command : commands) {
        const CommandText &text = command->Text();
        CLI::App *sub = app.add_subcommand(text.name);
        SetHelpText(*sub, text.help);
        command->Declare(*sub);
    }
}

// True, after saying so, when the command line has a word that no command takes.
bool UnexpectedWord(const CLI::App &app)
{
    std::vector<std::string> words = app.remaining();
    if (words.empty()) {
        return false;
    }
    const std::string &word = words.front();
    Fail((!word.empty() && word.front() == '-' ? "unknown option: " : "unknown command: ") + word);
    return true;
}

Command *SelectedCommand(const CLI::App &app, const Commands &commands)
{
    for (const auto &command : commands) {
        if (app.got_subcommand(command->Text().name)) {
            return command.get();
        }
    }
    return nullptr;
}

int RunTool(int argc, char **argv)
{
    SharedOptions shared;
    Commands commands = AllCommands();
    CLI::App app("", "korla");
    BuildApp(app, shared, commands);
    bool help = false;
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        help = true;
    } catch (const CLI::CallForVersion &version) {
        printf("%s\n", version.what());
        return kExitOk;
    } catch (const CLI::ParseError &error) {
        Fail(error.what());
        return kExitUsage;
    }
    if (UnexpectedWord(app)) {
        return kExitUsage;
    }
    Command *command = SelectedCommand(app, commands);
    if (help || command == nullptr) {
        fputs(app.help().c_str(), help ? stdout : stderr);
        return help ? kExitOk : kExitUsage;
    }
    Report report(shared.format);
    Session session(shared);
    return session.Open() ? command->Run(session, report) : kExitUsage;
}

} // namespace

} // namespace kz::tool

int main(int argc, char **argv)
{
    return kz::tool::RunTool(argc, argv);
}
