#include "tools/completion.h"

#include "protocol/operations.h"
#include "tools/messages.h"
#include "tools/suggestion.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstddef>
#include <set>

namespace Completions {

namespace {

/** Whether an argument or an option names a file or a directory. */
bool takesFiles(const std::string& name)
{
    static const std::set<std::string> others{"ITEM", "BACKUP", "TARGET", "--state", "--to", "--scratch"};
    return name.find("FILE") != std::string::npos || name.find("DIR") != std::string::npos || others.contains(name);
}

bool takesTable(const std::string& name)
{
    return name.find("TABLE") != std::string::npos;
}

bool isRepeated(const CLI::Option& option)
{
    return option.get_items_expected_max() >= CLI::detail::expected_max_vector_size;
}

/** How many words an option takes after its name. */
int valuesOf(const CLI::Option& option)
{
    return isRepeated(option) ? 1 : option.get_items_expected_max();
}

/** The values that an option is limited to, which its type shows as "TEXT:{none,old}"; none if it is not limited. */
std::vector<std::string> allowedValues(const CLI::Option& option)
{
    const std::string type = option.get_type_name();
    const std::size_t begin = type.find('{');
    const std::size_t end = type.find('}');
    if (begin == std::string::npos || end == std::string::npos)
        return {};
    return CLI::detail::split(type.substr(begin + 1, end - begin - 1), ',');
}

/** An option of a command, of its groups, or of what it falls through to; null if there is none. */
const CLI::Option* findOption(const CLI::App& command, const std::string& name)
{
    const CLI::App* app = &command;
    for (;;) {
        // It also finds positional arguments, by a name without dashes.
        const CLI::Option* option = name.starts_with('-') ? app->get_option_no_throw(name) : nullptr;
        if (option != nullptr || app->get_parent() == nullptr || !app->get_fallthrough())
            return option;
        app = app->get_parent();
    }
}

/** Reads the words before the one to complete. */
class Reader {
public:
    explicit Reader(const CLI::App& root) : root_(root), command_(&root) {}

    void read(const std::string& word)
    {
        if (awaited_ > 0) {
            --awaited_;
            options_[option_->get_name()] = word;
        } else if (!onlyArguments_ && word == "--") {
            onlyArguments_ = true;
        } else if (!onlyArguments_ && word.size() > 1 && word.starts_with('-')) {
            readOption(word);
        } else {
            readArgument(word);
        }
    }

    Answer complete(const std::string& word)
    {
        answer_.options = options_;
        const std::size_t equals = word.find('=');
        if (awaited_ > 0)
            offerValues(*option_);
        else if (onlyArguments_ || !word.starts_with('-'))
            offerArguments();
        else if (equals == std::string::npos)
            offer(Suggestions::optionsOf(*command_));
        else if (const CLI::Option* option = findOption(*command_, word.substr(0, equals))) {
            answer_.prefix = word.substr(0, equals + 1);
            offerValues(*option);
        }
        const std::string begun = word.substr(answer_.prefix.size());
        std::erase_if(answer_.words, [&](const std::string& one) { return !one.starts_with(begun); });
        std::sort(answer_.words.begin(), answer_.words.end());
        return answer_;
    }

private:
    void readOption(const std::string& word)
    {
        const std::size_t equals = word.find('=');
        option_ = findOption(*command_, word.substr(0, equals));
        if (option_ == nullptr)
            return;
        if (equals == std::string::npos)
            awaited_ = valuesOf(*option_);
        else
            options_[option_->get_name()] = word.substr(equals + 1);
    }

    void readArgument(const std::string& word)
    {
        const auto isMeant = [&](const CLI::App* app) { return app->get_name() == word && !word.empty(); };
        const std::vector<const CLI::App*> commands = command_->get_subcommands(isMeant);
        if (arguments_.empty() && !commands.empty())
            command_ = commands.front();
        else
            arguments_.push_back(word);
    }

    void offer(std::vector<std::string> words) { answer_.words = std::move(words); }

    void offerOperations()
    {
        for (const Operations::Operation& operation : Operations::Api)
            answer_.words.emplace_back(operation.name);
    }

    void offerValues(const CLI::Option& option)
    {
        if (takesFiles(option.get_name()))
            answer_.kind = Kind::Files;
        else
            offer(allowedValues(option));
    }

    void offerArguments()
    {
        const std::vector<std::string> commands = Suggestions::commandsOf(*command_);
        if (!commands.empty() && arguments_.empty()) {
            offer(commands);
            if (command_ == &root_)
                offerOperations();
            return;
        }
        std::size_t position = 0;
        for (const CLI::Option* argument : command_->get_options()) {
            if (!argument->get_positional())
                continue;
            if (position == arguments_.size() || (isRepeated(*argument) && argument->get_name(true) != "ITEM")) {
                offerArgument(*argument);
                return;
            }
            ++position;
        }
    }

    void offerArgument(const CLI::Option& argument)
    {
        const std::string name = argument.get_name(true);
        if (takesTable(name))
            answer_.kind = Kind::Tables;
        else if (name == "COMMAND")
            offerHelp();
        else if (name == "OPERATION")
            offerOperations();
        else if (takesFiles(name))
            answer_.kind = Kind::Files;
    }

    /** The commands, or the subcommands of those that were given. */
    void offerHelp()
    {
        const CLI::App* described = &root_;
        for (const std::string& word : arguments_) {
            const auto isMeant = [&](const CLI::App* app) { return app->get_name() == word && !word.empty(); };
            const std::vector<const CLI::App*> commands = described->get_subcommands(isMeant);
            if (commands.empty())
                return;
            described = commands.front();
        }
        offer(Suggestions::commandsOf(*described));
    }

    const CLI::App& root_;
    const CLI::App* command_;
    std::vector<std::string> arguments_; // of the command
    bool onlyArguments_ = false;         // after "--"
    const CLI::Option* option_ = nullptr;
    int awaited_ = 0; // the number of further words that are values of `option_`
    std::map<std::string, std::string> options_;
    Answer answer_;
};

} // namespace

Answer find(const CLI::App& root, const std::vector<std::string>& words)
{
    Reader reader(root);
    for (std::size_t i = 0; i + 1 < words.size(); ++i)
        reader.read(words[i]);
    return reader.complete(words.empty() ? std::string() : words.back());
}

int print(const CLI::App& root, const std::vector<std::string>& words)
{
    const Answer answer = find(root, words);
    std::vector<std::string> found = answer.words;
    std::string kind = "words";
    if (answer.kind == Kind::Files)
        kind = "files";
    if (answer.kind == Kind::Tables) {
        kind = "tables";
        found = tables(words.empty() ? std::string() : words.back(), answer.options);
    }
    std::string text = kind + '\n';
    for (const std::string& word : found)
        text += answer.prefix + word + '\n';
    return Ctl::printText(QByteArray::fromStdString(text));
}

} // namespace Completions
