#include "tools/suggestion.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

namespace Suggestions {

namespace {

std::size_t editsBetween(const std::string& from, const std::string& to)
{
    // The rows of the usual table for the last two prefixes of `from`, and for the current one.
    std::vector<std::size_t> beforeLast;
    std::vector<std::size_t> last(to.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t i = 1; i <= from.size(); ++i) {
        std::vector<std::size_t> current{i};
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t replaced = last[j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
            current.push_back(std::min({replaced, last[j] + 1, current[j - 1] + 1}));
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1])
                current[j] = std::min(current[j], beforeLast[j - 2] + 1);
        }
        beforeLast = std::exchange(last, std::move(current));
    }
    return last[to.size()];
}

/** The command that the parsed words chose, however deep. */
const CLI::App& chosenCommand(const CLI::App& root)
{
    const CLI::App* command = &root;
    while (!command->get_subcommands().empty())
        command = command->get_subcommands().front();
    return *command;
}

/** The words that were not understood: those of no option, and the word where a command is expected. */
std::vector<std::string> strangeWords(const CLI::App& root, const CLI::App& command)
{
    std::vector<std::string> words = root.remaining(true);
    if (&command == &root || !commandsOf(command).empty()) {
        // A word that is not a command is treated as an operation.
        const CLI::Option* operation = root.get_option_no_throw("OPERATION");
        if (operation != nullptr && operation->count() > 0)
            words.insert(words.begin(), operation->results().front());
    }
    return words;
}

} // namespace

std::string closest(const std::string& word, const std::vector<std::string>& candidates)
{
    const auto length =
        static_cast<std::size_t>(std::count_if(word.begin(), word.end(), [](char c) { return c != '-'; }));
    std::size_t fewest = std::max<std::size_t>(1, length / 3) + 1;
    std::string found;
    for (const std::string& candidate : candidates) {
        const std::size_t edits = editsBetween(word, candidate);
        if (edits < fewest) {
            fewest = edits;
            found = candidate;
        }
    }
    return found;
}

std::string question(const std::string& word)
{
    return "did you mean " + word + '?';
}

std::vector<std::string> commandsOf(const CLI::App& app)
{
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        if (!command->get_name().empty() && !command->get_group().empty())
            names.push_back(command->get_name());
    }
    return names;
}

std::vector<std::string> optionsOf(const CLI::App& command)
{
    std::vector<std::string> names;
    const auto add = [&names](const std::string& name) {
        if (std::find(names.begin(), names.end(), name) == names.end())
            names.push_back(name);
    };
    std::vector<const CLI::App*> apps =
        command.get_subcommands([](const CLI::App* app) { return app->get_name().empty(); });
    apps.insert(apps.begin(), &command);
    for (const CLI::App* app : apps) {
        for (const CLI::Option* option : app->get_options()) {
            for (const std::string& name : option->get_lnames())
                add("--" + name);
        }
    }
    if (command.get_parent() == nullptr || !command.get_fallthrough())
        return names;
    for (const std::string& name : optionsOf(*command.get_parent())) {
        if (name != "--version") // only without a command
            add(name);
    }
    return names;
}

std::string forCommandLine(const CLI::App& root)
{
    const CLI::App& command = chosenCommand(root);
    for (const std::string& word : strangeWords(root, command)) {
        const std::string name = word.substr(0, word.find('='));
        return name.starts_with("--") ? closest(name, optionsOf(command)) : closest(name, commandsOf(command));
    }
    return {};
}

} // namespace Suggestions
