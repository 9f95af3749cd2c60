#ifndef QUORVA_TESTS_CRASH_WRITEBACK_KILLS_H
#define QUORVA_TESTS_CRASH_WRITEBACK_KILLS_H

#include <string>

namespace WriteBack {

/** Kills this process when the synchronisation of this path is the one that is asked for. */
void dieIfAsked(const std::string& path);

/** Kills this process when a removal of this path is asked for. */
void dieWhenRemoved(const std::string& path);

} // namespace WriteBack

#endif
