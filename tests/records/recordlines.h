#ifndef QUORVA_TESTS_RECORDS_RECORDLINES_H
#define QUORVA_TESTS_RECORDS_RECORDLINES_H

#include "support/logcapture.h"

#include <string>
#include <vector>

/**
 * The lines of a capture, with "#" in place of the number after the origin: these numbers have no fixed meaning, while
 * the rest of a line is compared verbatim. Without INFO lines, which the threads of an open environment write at any
 * time; the record layer writes none.
 */
inline std::vector<std::string> recordLines(const LogCapture& log)
{
    std::vector<std::string> kept;
    for (std::string line : log.lines()) {
        if (line.rfind("[INFO] ", 0) == 0)
            continue;
        for (const std::string origin : {"[ERROR] bdb ", "[CRIT] bdb ", "[ERROR] bdbrequest ", "[CRIT] bdbrequest "}) {
            if (line.rfind(origin, 0) != 0)
                continue;
            const std::size_t end = line.find_first_not_of("0123456789", origin.size());
            if (end != std::string::npos && end > origin.size())
                line.replace(origin.size(), end - origin.size(), "#");
        }
        kept.push_back(line);
    }
    return kept;
}

using Lines = std::vector<std::string>;

/** What is logged about a request that lacks a member. */
inline const Lines AttrMissing{"[ERROR] bdbrequest # attr missing"};

#endif
