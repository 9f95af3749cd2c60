#ifndef QUORVA_TESTS_TOOLS_HELPTEXT_H
#define QUORVA_TESTS_TOOLS_HELPTEXT_H

#include "support/lines.h"

#include <string>
#include <vector>

/** The names of the commands that a help text lists. */
inline std::vector<std::string> commandsIn(const std::string& help)
{
    std::vector<std::string> names;
    bool isInside = false;
    for (const std::string& line : linesOf(help)) {
        isInside = line == "Subcommands:" || (isInside && line.starts_with("  "));
        if (isInside && line.starts_with("  "))
            names.push_back(line.substr(2, line.find(' ', 2) - 2));
    }
    return names;
}

#endif
