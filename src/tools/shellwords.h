#ifndef QUORVA_TOOLS_SHELLWORDS_H
#define QUORVA_TOOLS_SHELLWORDS_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/**
 * The words of a line, quoted as in a shell: with '...', with "..." in which only \" and \\ are special, or with \
 * before a character. Nothing else is special: no variables, patterns, pipes or comments, so the | of a table's name
 * needs no quotes.
 */
namespace ShellWords {

struct Line {
    std::vector<std::string> words;
    std::size_t lastBegin = 0; // where the last word begins in the text, its quotes included
    bool endsInWord = false;   // false: the last word is followed by a space, or there is none
    bool isOpen = false;       // a quote is not closed, or the text ends in a \ that escapes nothing
};

Line split(std::string_view text);

/** A word as it is written in a line; quotes only where they are needed. An `open` one lacks the closing quote. */
std::string quoted(const std::string& word, bool open = false);

} // namespace ShellWords

#endif
