#include "tools/usage.h"

#include "tools/exitcode.h"
#include "tools/suggestion.h"

#include <CLI/CLI.hpp>

#include <cstdlib>

namespace Ctl {

namespace {

/** Names the environment variable with the value that an error is about, if the value is not from an option. */
std::string environmentHint(const CLI::App& app, const std::string& error)
{
    for (const CLI::Option* option : app.get_options()) {
        const char* value = std::getenv(option->get_envname().c_str());
        if (value != nullptr && error.starts_with(option->get_name() + ':') && option->count() == 1 &&
            option->results().front() == value)
            return "  the value is that of the environment variable " + option->get_envname() + '\n';
    }
    return {};
}

} // namespace

std::string usageError(const CLI::App* app, const CLI::Error& error)
{
    std::string name = app->get_name();
    const CLI::App* command = app;
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
        name += ' ' + command->get_name();
    }
    const std::string like = Suggestions::forCommandLine(*app);
    const std::string hint = like.empty() ? like : "  " + Suggestions::question(like) + '\n';
    return name + ": " + error.what() + '\n' + hint + environmentHint(*app, error.what()) +
           CLI::Formatter().make_usage(command, name) + "Run with --help for more information.\n";
}

void refuseMissingValues(const std::vector<std::string>& words)
{
    for (const std::string& word : words) {
        if (word == "--")
            return;
        if (word.size() > 3 && word.starts_with("--") && word.find('=') == word.size() - 1)
            throw CLI::ParseError(word + " has no value; write an empty value as a separate word: " +
                                      word.substr(0, word.size() - 1) + " ''",
                                  ExitUsage);
    }
}

} // namespace Ctl
