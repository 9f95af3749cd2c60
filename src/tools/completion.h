#ifndef QUORVA_TOOLS_COMPLETION_H
#define QUORVA_TOOLS_COMPLETION_H

#include <map>
#include <string>
#include <vector>

namespace CLI {
class App;
}

/** What can complete the last word of a command line, for bash, zsh, fish and quorvactl's own shell. */
namespace Completions {

/** The kinds of words that are possible at a position. */
enum class Kind { Words, Files, Tables };

struct Answer {
    Kind kind = Kind::Words;
    std::vector<std::string> words;             // of Kind::Words: all that begin with the last word, sorted
    std::string prefix;                         // what precedes the value of an option in the words: "--return="
    std::map<std::string, std::string> options; // those before the word that have a value: "--port" and "4568"
};

/** `words` are those after the program's name, the one to complete last. Everything is derived from the parser. */
Answer find(const CLI::App& root, const std::vector<std::string>& words);

/** What can complete a word that names files, in the current directory if it is relative; directories end in "/". */
std::vector<std::string> files(const std::string& word, bool directoriesOnly = false);

/**
 * What can complete the name of a table: names that the server lists for the directory before the "|", or for that of
 * QUORVA_DIRECTORY; directories for a word without a "|". Without a server there are no tables. `options` are those of
 * the answer; they say where the server is.
 */
std::vector<std::string> tables(const std::string& word, const std::map<std::string, std::string>& options);

/**
 * All of this for a shell: prints the kind of words, "words", "files" or "tables", then one word per line.
 */
[[nodiscard]] int print(const CLI::App& root, const std::vector<std::string>& words);

} // namespace Completions

#endif
