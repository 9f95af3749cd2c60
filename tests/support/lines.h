#ifndef QUORVA_TESTS_SUPPORT_LINES_H
#define QUORVA_TESTS_SUPPORT_LINES_H

#include <sstream>
#include <string>
#include <vector>

/** The lines of a text, without line feeds. */
inline std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

#endif
