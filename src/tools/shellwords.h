#ifndef QUORVA_TOOLS_SHELLWORDS_H
#define QUORVA_TOOLS_SHELLWORDS_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/**
 * The words of a line, quoted as in a shell: 'everything' and "everything but \" and \\" are kept as they are, and \ in
 * front of any other character. Nothing else is special: no variables, patterns, pipes or comments, so the | of a
 * table's name needs no quotes.
 */
namespace ShellWords {

struct Line {
    std::vector<std::string> words;
    std::size_t lastBegin = 0; // where the last word begins in the text, its quotes included
    bool endsInWord = false;   // false: it is followed by a blank, or there is none
    bool isOpen = false;       // a quote is not closed, or the last character is a \ of its own
};

Line split(std::string_view text);

/** A word as it is written in a line; quotes only where they are needed. An `open` one lacks the closing quote. */
std::string quoted(const std::string& word, bool open = false);

} // namespace ShellWords

#endif
