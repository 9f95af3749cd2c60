#ifndef QUORVA_TOOLS_SUGGESTION_H
#define QUORVA_TOOLS_SUGGESTION_H

#include <string>
#include <vector>

namespace CLI {
class App;
}

/** What somebody who mistyped a command or an option may have meant. */
namespace Suggestions {

/**
 * The candidate that is fewest edits away from `word`: insertions, deletions, replacements and swaps of neighbours. The
 * first one of several. Empty when all are too different, which is more than one edit for every three characters.
 */
std::string closest(const std::string& word, const std::vector<std::string>& candidates);

/** How messages suggest a word: "did you mean put?". */
std::string question(const std::string& word);

/** The commands of a parser, without hidden ones. */
std::vector<std::string> commandsOf(const CLI::App& app);

/** The names of the options that are accepted after a command, "--port" as well. */
std::vector<std::string> optionsOf(const CLI::App& command);

/**
 * The command or option that was probably meant by the first word that the parser did not understand; empty if it
 * understood all words, or nothing is similar to that word.
 */
std::string forCommandLine(const CLI::App& root);

} // namespace Suggestions

#endif
