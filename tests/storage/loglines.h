#ifndef QUORVA_TESTS_STORAGE_LOGLINES_H
#define QUORVA_TESTS_STORAGE_LOGLINES_H

#include "support/logcapture.h"

#include <regex>
#include <string>
#include <vector>

/**
 * The lines of a capture as tests compare them: with "#" in place of the number after the origin `bdb`, which has no
 * fixed meaning, and without the lines of the checkpoint that every environment writes soon after it is opened.
 */
inline std::vector<std::string> ownLines(const LogCapture& log)
{
    static const std::regex origin(R"(^(\[(?:ERROR|CRIT)\] bdb )[1-9][0-9]* )");
    std::vector<std::string> lines;
    for (const std::string& line : log.lines()) {
        if (line != "[INFO] Starting txn_checkpoint" && !line.starts_with("[INFO] Done txn_checkpoint "))
            lines.push_back(std::regex_replace(line, origin, "$1# "));
    }
    return lines;
}

#endif
