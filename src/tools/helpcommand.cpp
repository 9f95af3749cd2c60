#include "tools/helpcommand.h"

#include "tools/messages.h"
#include "tools/suggestion.h"

#include <CLI/CLI.hpp>

namespace Ctl {

HelpCommand::HelpCommand(CLI::App* app)
    : Command(app, "help", "Describe a command, or list them all", "quorvactl help backup start"), app_(app)
{
    parser()->fallthrough(false); // no server, no address
    parser()->add_option("COMMAND", words_, "The command, and its subcommand if it has any");
}

int HelpCommand::run(const ServerAddress&)
{
    const CLI::App* described = app_;
    std::string name = app_->get_name();
    std::string asked;
    for (const std::string& word : words_) {
        asked += (asked.empty() ? "" : " ") + word;
        const auto isMeant = [&](const CLI::App* command) { return command->get_name() == word && !word.empty(); };
        const std::vector<const CLI::App*> meant = described->get_subcommands(isMeant);
        if (meant.empty()) {
            const std::string like = Suggestions::closest(word, Suggestions::commandsOf(*described));
            complain(
                "there is no command \"" + asked + '"',
                {like.empty() ? "try: " + name + " --help, which lists the commands" : Suggestions::question(like)});
            return ExitUsage;
        }
        described = meant.front();
        name += ' ' + word;
    }
    // help() of the program would describe the chosen command, which is this one.
    const std::string text = app_->get_formatter()->make_help(described, name, CLI::AppFormatMode::Normal);
    return printText(QByteArray::fromStdString(text));
}

} // namespace Ctl
