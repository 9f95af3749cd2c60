#include "tools/shellwords.h"

#include <algorithm>

namespace ShellWords {

namespace {

constexpr std::string_view Blanks = " \t\n";

bool isBlank(char character)
{
    return Blanks.find(character) != std::string_view::npos;
}

} // namespace

Line split(std::string_view text)
{
    Line line;
    char quote = '\0';
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char character = text[i];
        if (quote == '\0' && isBlank(character)) {
            line.endsInWord = false;
            continue;
        }
        if (!line.endsInWord) {
            line.words.emplace_back();
            line.lastBegin = i;
            line.endsInWord = true;
        }
        const bool escapes = character == '\\' && quote != '\'';
        if (character == quote)
            quote = '\0';
        else if (quote == '\0' && (character == '\'' || character == '"'))
            quote = character;
        else if (escapes && i + 1 == text.size())
            line.isOpen = true;
        else if (escapes && (quote == '\0' || text[i + 1] == '"' || text[i + 1] == '\\'))
            line.words.back() += text[++i];
        else
            line.words.back() += character;
    }
    line.isOpen = line.isOpen || quote != '\0';
    if (!line.endsInWord)
        line.lastBegin = text.size();
    return line;
}

std::string quoted(const std::string& word, bool open)
{
    const bool isPlain = std::none_of(word.begin(), word.end(), [](char character) {
        return isBlank(character) || character == '\'' || character == '"' || character == '\\';
    });
    if (isPlain && (open || !word.empty()))
        return word;
    std::string text = "'";
    for (const char character : word) {
        if (character == '\'')
            text += "'\\''";
        else
            text += character;
    }
    return open ? text : text + '\'';
}

} // namespace ShellWords
