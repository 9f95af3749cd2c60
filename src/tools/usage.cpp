#include "tools/usage.h"

#include "tools/exitcode.h"

#include <CLI/CLI.hpp>

namespace Ctl {

std::string usageError(const CLI::App* app, const CLI::Error& error)
{
    std::string name = app->get_name();
    const CLI::App* command = app;
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
        name += ' ' + command->get_name();
    }
    return name + ": " + error.what() + '\n' + CLI::Formatter().make_usage(command, name) +
           "Run with --help for more information.\n";
}

void refuseMissingValues(int argc, const char* const* argv)
{
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--")
            return;
        if (word.size() > 3 && word.starts_with("--") && word.find('=') == word.size() - 1)
            throw CLI::ParseError(
                word + " has no value; an empty value is a word of its own: " + word.substr(0, word.size() - 1) + " ''",
                ExitUsage);
    }
}

} // namespace Ctl
