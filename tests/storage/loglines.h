#ifndef QUORVA_TESTS_STORAGE_LOGLINES_H
#define QUORVA_TESTS_STORAGE_LOGLINES_H

#include "support/logcapture.h"

#include <string>
#include <string_view>
#include <vector>

/** Puts "#" in place of the number after the origin `bdb` of an error's line. */
inline void hideNumber(std::string& line)
{
    for (const std::string_view origin : {"[ERROR] bdb ", "[CRIT] bdb "}) {
        if (!line.starts_with(origin))
            continue;
        const std::size_t begin = origin.size();
        const std::size_t end = line.find_first_not_of("0123456789", begin);
        if (end != std::string::npos && end > begin && line[end] == ' ' && line[begin] != '0')
            line.replace(begin, end - begin, "#");
    }
}

/**
 * The lines of a capture as tests compare them: with "#" in place of the number after the origin `bdb`, which has no
 * fixed meaning, and without the lines of the checkpoint that every environment writes soon after it is opened.
 */
inline std::vector<std::string> ownLines(const LogCapture& log)
{
    std::vector<std::string> lines;
    for (std::string& line : log.lines()) {
        if (line == "[INFO] Starting txn_checkpoint" || line.starts_with("[INFO] Done txn_checkpoint "))
            continue;
        hideNumber(line);
        lines.push_back(std::move(line));
    }
    return lines;
}

#endif
